// Arrays, lists, tuples, dictionaries and their traversals without memory.

#include "tests/xp/sweep/sweep.h"
#include "xp/array/array_bulk.h"
#include "xp/service/bag.h"

namespace {

using sweep::story;
using xp::ref;

class container_sweep : public leak_check {};

ref text(const char *words) {
  return ref::adopt(xp_str_new(words));
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

int64_t never(xp_obj * /*value*/, void * /*context*/) {
  return 0;
}

// An array that could not grow is empty or as it was; either way it holds what it counts.
void fill_array(story &told, xp_obj *a, int64_t count) {
  for (int64_t i = 0; i < count; ++i) {
    int64_t before = xp_array_length(a);
    int64_t at = xp_array_insert(a, ref::adopt(xp_number_new(100 + i % 7)).get(), i % 2 == 0 ? -1 : 0);
    int64_t after = xp_array_length(a);
    EXPECT_EQ(after, at >= 0 ? before + 1 : 0) << "an array that cannot grow is left empty";
  }
  told.holds(a);
}

SWEEP(container_sweep, arrays) {
  for (uint32_t flags : {uint32_t{0}, uint32_t{XP_ARRAY_LOCKED}}) {
    ref a = ref::adopt(xp_array_new(flags));
    told.gave(xp_array_setinitial(a.get(), 4));
    fill_array(told, a.get(), 12);
    told.gave(xp_array_setfinal(a.get()));
    ref copy = ref::adopt(xp_array_copy(a.get()));
    told.holds(copy.get());
    told.made_of(xp_duplicate(a.get(), 0));
    told.made_of(xp_duplicate(a.get(), XP_DUP_SHALLOW));
    xp_array_sort(copy.get(), nullptr, nullptr);
    xp_array_unique(copy.get());
    xp_array_reverse(copy.get());
    xp_array_join(copy.get(), a.get());
    xp_array_merge(copy.get(), a.get());
    xp_array_inject(copy.get(), a.get(), 2);
    xp_array_join(copy.get(), copy.get());
    xp_array_condense(copy.get());
    EXPECT_EQ(xp_array_scan(copy.get(), never, nullptr), -1);
    walk(told, xp_array_travnew(a.get()));
    told.made_of(xp_array_coerce(ref::adopt(xp_array_travnew(a.get())).get()));
    told.made_of(xp_array_coerce(text("one").get()));
  }
  ref raw = ref::adopt(xp_array_new(XP_ARRAY_RAW));
  for (intptr_t i = 1; i < 9; ++i)
    xp_array_insert(raw.get(), reinterpret_cast<xp_obj *>(i), -1);
  ref raw_copy = ref::adopt(xp_array_copy(raw.get()));
  told.gave(xp_array_length(raw_copy.get()));
}

SWEEP(container_sweep, lists) {
  for (uint32_t flags : {uint32_t{0}, uint32_t{XP_LIST_LOCKED}, uint32_t{XP_LIST_RECYCLE},
                         uint32_t{XP_LIST_WEAK | XP_LIST_LOCKED | XP_LIST_RECYCLE}}) {
    ref l = ref::adopt(xp_list_new(flags));
    ref kept = text("kept");
    for (int i = 0; i < 3; ++i) {
      int64_t before = xp_list_length(l.get());
      int64_t count = xp_list_append(l.get(), kept.get());
      EXPECT_EQ(xp_list_length(l.get()), count != 0 ? before + 1 : before);
      xp_list_insert(l.get(), ref::adopt(xp_number_new(50 + i)).get());
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
    ref traversal = ref::adopt(xp_list_travnew(l.get()));
    while (ref member = ref::adopt(xp_trav_next(traversal.get())))
      EXPECT_NE(xp_refs(member.get()), 0);
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
    int64_t count = xp_bag_insert(b.get(), ref::adopt(xp_number_new(200 + i % 9)).get());
    EXPECT_EQ(xp_bag_length(b.get()), count > 0 ? before + 1 : before);
  }
  ref copy = ref::adopt(xp_bag_copy(b.get()));
  EXPECT_TRUE(!copy || xp_bag_length(copy.get()) == xp_bag_length(b.get()));
  ref twin = ref::adopt(xp_duplicate(b.get(), 0));
  ref array = ref::adopt(xp_array_coerce(b.get()));
  ref again = ref::adopt(xp_bag_coerce(array.get()));
  told.made_of(xp_array_coerce(ref::adopt(xp_bag_travnew(b.get())).get()));
  ref one = ref::adopt(xp_number_new(201));
  xp_bag_remove(b.get(), one.get());
}

SWEEP(container_sweep, tuples) {
  ref first = text("first");
  ref t = ref::adopt(xp_tuple_new(3, first.get(), first.get(), nullptr));
  told.holds(t.get());
  told.made_of(xp_duplicate(t.get(), 0));
  ref mixed = ref::adopt(xp_tuple_newmixed(2, uint64_t{1}, intptr_t{7}, first.get()));
  told.made(xp_tuple_get(mixed.get(), 1));
}

std::string key(int i) {
  return "key " + std::string(static_cast<size_t>(i % 5 * 40), '-') + std::to_string(i);
}

int64_t count_visits(xp_obj * /*d*/, const char * /*key*/, int64_t /*length*/, xp_obj * /*value*/,
                     void *context) {
  ++*static_cast<int64_t *>(context);
  return 0;
}

// A store that failed changed nothing; one that did not can be fetched, then and after all the others, also
// when 17 and more keys have to stay in two buckets.
void fill_dict(xp_obj *d, int count) {
  std::vector<ref> stored;
  for (int i = 0; i < count; ++i) {
    ref value = ref::adopt(xp_number_new(1000 + i));
    uint32_t before = xp_dict_count(d);
    int32_t result = xp_dict_store(d, key(i).c_str(), -1, value.get());
    uint32_t after = xp_dict_count(d);
    ref found = ref::adopt(xp_dict_fetch(d, key(i).c_str(), -1));
    if (result == 0) {
      EXPECT_EQ(found.get(), value.get());
    } else {
      EXPECT_EQ(found.get(), nullptr);
      EXPECT_EQ(after, before);
    }
    stored.push_back(found);
  }
  for (int i = 0; i < count; ++i)
    EXPECT_EQ(ref::adopt(xp_dict_fetch(d, key(i).c_str(), -1)).get(), stored[static_cast<size_t>(i)].get());
}

template <uint32_t flags>
void dictionary(story &told) {
  ref d = ref::adopt(xp_dict_new(flags));
  fill_dict(d.get(), 40);
  xp_dict_erase(d.get(), key(3).c_str(), -1);
  xp_dict_adopt(d.get(), "adopted", -1, xp_str_new("own"));
  xp_dict_blank(d.get(), "own");
  static_cast<void>(ref::adopt(xp_dict_fetch(d.get(), "missing", -1)));
  // Without a lock: below, the inner dictionary is copied and then extended by its copy, and two locks would
  // be taken in either order.
  ref inner = ref::adopt(xp_dict_new(flags & ~uint32_t{XP_DICT_LOCKED}));
  xp_dict_store(inner.get(), "deep", -1, text("down").get());
  xp_dict_store(d.get(), "inner", -1, inner.get());
  told.holds(d.get());
  ref copy = ref::adopt(xp_duplicate(d.get(), 0));
  told.holds(copy.get());
  told.made_of(xp_duplicate(d.get(), XP_DUP_SHALLOW));
  ref other = ref::adopt(xp_dict_new(flags ^ XP_DICT_LOCKED));
  xp_dict_merge(other.get(), d.get());
  xp_dict_extend(other.get(), copy.get());
  told.holds(other.get());
  int64_t visits = 0;
  int32_t sorted = xp_dict_enumsorted(d.get(), count_visits, &visits);
  EXPECT_TRUE(sorted == 0 || visits == 0) << "a sorted walk without memory visits nothing";
  visits = 0;
  xp_dict_traverse(d.get(), "/", count_visits, &visits);
  EXPECT_LE(visits, int64_t{xp_dict_count(d.get())});
  ref keys = ref::adopt(xp_dict_travnew(d.get()));
  while (ref k = ref::adopt(xp_trav_next(keys.get())))
    EXPECT_GT(xp_str_length(k.get()), 0);
  ref values = ref::adopt(xp_dict_travobjnew(d.get()));
  while (ref v = ref::adopt(xp_trav_next(values.get())))
    EXPECT_NE(xp_refs(v.get()), 0);
  xp_dict_clear(d.get());
}

void raw_dictionary(story & /*told*/) {
  ref raw = ref::adopt(xp_dict_new(XP_DICT_RAW));
  for (intptr_t i = 1; i < 30; ++i)
    xp_dict_store(raw.get(), key(static_cast<int>(i)).c_str(), -1, reinterpret_cast<xp_obj *>(i));
  ref copy = ref::adopt(xp_duplicate(raw.get(), 0));
  EXPECT_LE(xp_dict_count(copy.get()), 29u);
}

TEST_F(container_sweep, dictionaries) {
  sweep::run(dictionary<0>);
  sweep::run(dictionary<XP_DICT_LOCKED>);
  sweep::run(dictionary<XP_DICT_NOCASE | XP_DICT_LEARN>);
  sweep::run(dictionary<XP_DICT_BUCKETS_8K | XP_DICT_RECYCLE>);
  sweep::run(dictionary<XP_DICT_RECYCLE | XP_DICT_SKIPNULLS | XP_DICT_LOCKED>);
  sweep::run(raw_dictionary);
}

}  // namespace
