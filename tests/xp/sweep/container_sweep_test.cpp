// Arrays, lists, bags, tuples, dictionaries and their traversals without memory.

#include "tests/support/objects.h"
#include "tests/xp/sweep/sweep.h"
#include "xp/array/array_bulk.h"
#include "xp/service/bag.h"

namespace {

using sweep::story;
using xp::ref;

class container_sweep : public leak_check {};

void copies(story &told, xp_obj *container) {
  told.holds(container);
  told.made_of(xp_duplicate(container, 0));
  told.made_of(xp_duplicate(container, XP_DUP_SHALLOW));
}

void walk(story &told, xp_obj *made) {
  ref traversal = ref::adopt(made);
  for (int i = 0; i < 3; ++i)
    told.made(xp_trav_next(traversal.get()));
  told.made(xp_trav_prev(traversal.get()));
  told.gave(xp_trav_skip(traversal.get(), 1));
  told.gave(xp_trav_count(traversal.get()));
  xp_trav_reset(traversal.get());
}

// A walk of which nothing can be told: how far it comes depends on what failed.
void go_through(xp_obj *made) {
  ref traversal = ref::adopt(made);
  while (ref member = ref::adopt(xp_trav_next(traversal.get())))
    EXPECT_NE(xp_refs(member.get()), 0);
}

SWEEP(container_sweep, arrays) {
  for (uint32_t flags : {uint32_t{0}, uint32_t{XP_ARRAY_LOCKED}}) {
    ref a = ref::adopt(xp_array_new(flags));
    told.gave(xp_array_setinitial(a.get(), 4));
    for (int64_t i = 0; i < 12; ++i) {
      int64_t before = xp_array_length(a.get());
      int64_t at = xp_array_insert(a.get(), num(100 + i % 7).get(), i % 2 == 0 ? -1 : 0);
      EXPECT_EQ(xp_array_length(a.get()), at >= 0 ? before + 1 : 0) << "one that cannot grow is left empty";
    }
    told.gave(xp_array_setfinal(a.get()));
    copies(told, a.get());
    ref copy = ref::adopt(xp_array_copy(a.get()));
    told.holds(copy.get());
    xp_array_sort(copy.get(), nullptr, nullptr);
    xp_array_unique(copy.get());
    xp_array_reverse(copy.get());
    xp_array_join(copy.get(), a.get());
    xp_array_merge(copy.get(), a.get());
    xp_array_inject(copy.get(), a.get(), 2);
    xp_array_join(copy.get(), copy.get());
    xp_array_condense(copy.get());
    EXPECT_EQ(xp_array_scan(
                  copy.get(), [](xp_obj *, void *) { return int64_t{0}; }, nullptr),
              -1);
    walk(told, xp_array_travnew(a.get()));
    told.made_of(xp_array_coerce(ref::adopt(xp_array_travnew(a.get())).get()));
    told.made_of(xp_array_coerce(str("one").get()));
  }
  ref raws = ref::adopt(xp_array_new(XP_ARRAY_RAW));
  for (uintptr_t i = 1; i < 9; ++i)
    xp_array_insert(raws.get(), raw(i), -1);
  told.gave(xp_array_length(ref::adopt(xp_array_copy(raws.get())).get()));
}

SWEEP(container_sweep, lists) {
  for (uint32_t flags : {uint32_t{0}, uint32_t{XP_LIST_LOCKED}, uint32_t{XP_LIST_RECYCLE},
                         uint32_t{XP_LIST_WEAK | XP_LIST_LOCKED | XP_LIST_RECYCLE}}) {
    ref l = ref::adopt(xp_list_new(flags)), kept = str("kept");
    for (int i = 0; i < 3; ++i) {
      int64_t before = xp_list_length(l.get());
      int64_t count = xp_list_append(l.get(), kept.get());
      EXPECT_EQ(xp_list_length(l.get()), count != 0 ? before + 1 : before);
      xp_list_insert(l.get(), num(50 + i).get());
    }
    xp_list_remove(l.get(), kept.get());
    xp_list_append(l.get(), kept.get());
    ref copy = ref::adopt(xp_list_copy(l.get()));
    told.holds(copy.get());
    told.made_of(xp_duplicate(l.get(), 0));
    xp_list_join(copy.get(), l.get());
    xp_list_join(copy.get(), copy.get());
    xp_list_merge(l.get(), copy.get());
    xp_list_delete(copy.get(), kept.get());
    xp_list_reverse(copy.get());
    told.holds(l.get());
    static_cast<void>(ref::adopt(xp_list_shift(l.get())));
    go_through(xp_list_travnew(l.get()));
    static_cast<void>(ref::adopt(xp_array_coerce(l.get())));
  }
  // An adopting list takes the reference over only when it took the member.
  ref adopting = ref::adopt(xp_list_new(XP_LIST_ADOPT));
  xp_obj *given = xp_str_new("given");
  if (xp_list_append(adopting.get(), given) == 0) xp_release(given);
  told.holds(adopting.get());
}

// A bag that could not take a member is as it was.
SWEEP(container_sweep, bags) {
  ref b = ref::adopt(xp_bag_new(XP_BAG_LOCKED));
  xp_bag_setinitial(b.get(), 3);
  for (int i = 0; i < 40; ++i) {
    int64_t before = xp_bag_length(b.get());
    int64_t count = xp_bag_insert(b.get(), num(200 + i % 9).get());
    EXPECT_EQ(xp_bag_length(b.get()), count > 0 ? before + 1 : before);
  }
  ref copy = ref::adopt(xp_bag_copy(b.get())), twin = ref::adopt(xp_duplicate(b.get(), 0));
  EXPECT_TRUE(!copy || xp_bag_length(copy.get()) == xp_bag_length(b.get()));
  ref array = ref::adopt(xp_array_coerce(b.get())), again = ref::adopt(xp_bag_coerce(array.get()));
  told.made_of(xp_array_coerce(ref::adopt(xp_bag_travnew(b.get())).get()));
  xp_bag_remove(b.get(), num(201).get());
}

SWEEP(container_sweep, tuples) {
  ref first = str("first"), t = ref::adopt(xp_tuple_new(3, first.get(), first.get(), nullptr));
  copies(told, t.get());
  ref mixed = ref::adopt(xp_tuple_newmixed(2, uint64_t{1}, intptr_t{7}, first.get()));
  told.made(xp_tuple_get(mixed.get(), 1));
}

std::string key(int64_t i) {
  return "key " + std::string(static_cast<size_t>(i % 5 * 40), '-') + std::to_string(i);
}

int64_t count_visits(xp_obj * /*d*/, const char * /*key*/, int64_t /*length*/, xp_obj * /*value*/,
                     void *context) {
  ++*static_cast<int64_t *>(context);
  return 0;
}

// A store that failed changed nothing; one that did not can be fetched, then and after all the others, also
// when 17 and more keys have to stay in two buckets.
void fill_dict(xp_obj *d) {
  std::vector<ref> stored;
  for (int64_t i = 0; i < 40; ++i) {
    ref value = num(1000 + i);
    uint32_t before = xp_dict_count(d);
    bool held = xp_dict_store(d, key(i).c_str(), -1, value.get()) == 0;
    EXPECT_TRUE(held || xp_dict_count(d) == before);
    ref found = ref::adopt(xp_dict_fetch(d, key(i).c_str(), -1));
    EXPECT_EQ(found.get(), held ? value.get() : nullptr);
    stored.push_back(found);
  }
  for (int64_t i = 0; i < std::ssize(stored); ++i)
    EXPECT_EQ(ref::adopt(xp_dict_fetch(d, key(i).c_str(), -1)).get(), stored[static_cast<size_t>(i)].get());
}

template <uint32_t flags>
void dictionary(story &told) {
  ref d = ref::adopt(xp_dict_new(flags));
  fill_dict(d.get());
  xp_dict_erase(d.get(), key(3).c_str(), -1);
  xp_dict_adopt(d.get(), "adopted", -1, xp_str_new("own"));
  xp_dict_blank(d.get(), "own");
  static_cast<void>(ref::adopt(xp_dict_fetch(d.get(), "missing", -1)));
  // Without a lock: below, the inner dictionary is copied and then extended by its copy, and two locks would
  // be taken in either order.
  ref inner = ref::adopt(xp_dict_new(flags & ~uint32_t{XP_DICT_LOCKED}));
  xp_dict_store(inner.get(), "deep", -1, str("down").get());
  xp_dict_store(d.get(), "inner", -1, inner.get());
  copies(told, d.get());
  ref copy = ref::adopt(xp_duplicate(d.get(), 0)), other = ref::adopt(xp_dict_new(flags ^ XP_DICT_LOCKED));
  xp_dict_merge(other.get(), d.get());
  xp_dict_extend(other.get(), copy.get());
  told.holds(other.get());
  int64_t visits = 0;
  int32_t sorted = xp_dict_enumsorted(d.get(), count_visits, &visits);
  EXPECT_TRUE(sorted == 0 || visits == 0) << "a sorted walk without memory visits nothing";
  visits = 0;
  xp_dict_traverse(d.get(), "/", count_visits, &visits);
  EXPECT_LE(visits, int64_t{xp_dict_count(d.get())});
  go_through(xp_dict_travnew(d.get()));
  go_through(xp_dict_travobjnew(d.get()));
  xp_dict_clear(d.get());
}

void raw_dictionary(story & /*told*/) {
  ref raws = ref::adopt(xp_dict_new(XP_DICT_RAW));
  for (int64_t i = 1; i < 30; ++i)
    xp_dict_store(raws.get(), key(i).c_str(), -1, raw(static_cast<uintptr_t>(i)));
  EXPECT_LE(xp_dict_count(ref::adopt(xp_duplicate(raws.get(), 0)).get()), 29u);
}

TEST_F(container_sweep, dictionaries) {
  for (auto *play : {dictionary<0>, dictionary<XP_DICT_LOCKED>, dictionary<XP_DICT_NOCASE | XP_DICT_LEARN>,
                     dictionary<XP_DICT_BUCKETS_8K | XP_DICT_RECYCLE>,
                     dictionary<XP_DICT_RECYCLE | XP_DICT_SKIPNULLS | XP_DICT_LOCKED>, raw_dictionary})
    sweep::run(play);
}

}  // namespace
