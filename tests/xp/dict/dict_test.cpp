#include "xp/dict/dict.h"

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/array/list.h"
#include "xp/array/tuple.h"
#include "xp/object/memory_testing.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"
#include "xp/string/string.h"

#include <stdint.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using xp::ref;

class dict : public leak_check {
protected:
  static ref make(uint32_t flags = 0) { return ref::adopt(xp_dict_new(flags)); }

  static void put(const ref &d, const std::string &key, int64_t value) {
    ASSERT_EQ(xp_dict_adopt(d.get(), key.data(), static_cast<int64_t>(key.size()), xp_number_new(value)), 0);
  }
  static int64_t get(const ref &d, const std::string &key) {
    return xp_value(ref::adopt(xp_dict_fetch(d.get(), key.data(), static_cast<int64_t>(key.size()))).get());
  }
  static void fill(const ref &d, int from, int to) {
    for (int i = from; i < to; ++i)
      put(d, "key " + std::to_string(i), i);
  }

  // "key=value" in the order of the walk, null values as "-".
  static int64_t log(xp_obj *, const char *key, int64_t keylen, xp_obj *value, void *context) {
    std::string text = value == nullptr ? "-" : std::to_string(xp_value(value));
    static_cast<std::string *>(context)->append(key, static_cast<size_t>(keylen)).append("=" + text + " ");
    return 0;
  }
  static std::string sorted(const ref &d) {
    std::string text;
    EXPECT_EQ(xp_dict_enumsorted(d.get(), log, &text), 0);
    return text;
  }
  static std::string paths(const ref &d, const char *separator) {
    std::string text;
    EXPECT_EQ(xp_dict_traverse(d.get(), separator, log, &text), 0);
    return text;
  }
};

TEST_F(dict, nulls_and_wrong_types_are_harmless) {
  ref number = ref::adopt(xp_number_new(77));
  for (xp_obj *d : {static_cast<xp_obj *>(nullptr), number.get()}) {
    EXPECT_EQ(xp_dict_store(d, "a", 1, number.get()), -1);
    EXPECT_EQ(xp_dict_adopt(d, "a", 1, xp_number_new(100)), -1);
    EXPECT_EQ(xp_dict_fetch(d, "a", 1), nullptr);
    EXPECT_EQ(xp_dict_erase(d, "a", 1), -1);
    EXPECT_EQ(xp_dict_count(d), 0u);
    EXPECT_EQ(xp_dict_learn(d, 1), 0);
    EXPECT_EQ(xp_dict_merge(d, number.get()) | xp_dict_extend(d, nullptr), 0);
    EXPECT_EQ(xp_dict_enum(d, log, nullptr) | xp_dict_enumsorted(d, log, nullptr), 0);
    EXPECT_EQ(xp_dict_enumclear(d, log, nullptr) | xp_dict_traverse(d, "/", log, nullptr), 0);
    EXPECT_EQ(xp_dict_travnew(d), nullptr);
    EXPECT_EQ(xp_dict_travobjnew(d), nullptr);
    xp_dict_clear(d);
    xp_dict_blank(d, "none");
  }
  ref d = make();
  EXPECT_EQ(xp_dict_store(d.get(), nullptr, 3, number.get()), -1);
  EXPECT_EQ(xp_dict_adopt(d.get(), nullptr, 3, xp_number_new(100)), -1);
  EXPECT_EQ(xp_dict_erase(d.get(), nullptr, 3), -1);
  EXPECT_EQ(xp_dict_fetch(d.get(), nullptr, 3), nullptr);
  EXPECT_EQ(xp_dict_store(d.get(), "x", 0, number.get()), 0);
  EXPECT_EQ(xp_dict_adopt(d.get(), "", -1, xp_number_new(100)), 0);
  EXPECT_EQ(xp_dict_count(d.get()), 0u);
}

TEST_F(dict, keys_are_cut_to_255_bytes) {
  std::string longest(255, 'k');
  for (int64_t length : {int64_t{300}, int64_t{-1}}) {
    ref d = make();
    std::string longer = longest + std::string(45, 'x');
    ASSERT_EQ(xp_dict_adopt(d.get(), longer.c_str(), length, xp_number_new(20)), 0);
    EXPECT_EQ(get(d, longest), 20);
    EXPECT_EQ(get(d, longest + "y"), 20);
    EXPECT_EQ(get(d, std::string(254, 'k')), 0);
    put(d, longest + "z", 21);
    EXPECT_EQ(sorted(d), longest + "=21 ");
  }
}

// Whatever the room left in a chunk and the size of the next one.
TEST_F(dict, keys_of_every_length_fit) {
  for (size_t first = 1; first <= 255; ++first) {
    ref d = make();
    for (size_t length = first; length > 0; length -= (length + 2) / 3)
      put(d, std::string(length, 'k'), 10);
    for (size_t length = first; length > 0; length -= (length + 2) / 3)
      ASSERT_EQ(get(d, std::string(length, 'k')), 10) << first << ", " << length;
  }
}

TEST_F(dict, erased_entries_are_reused_for_keys_of_their_size) {
  auto remember = [](xp_obj *, const char *key, int64_t, xp_obj *, void *context) -> int64_t {
    *static_cast<const char **>(context) = key;
    return 0;
  };
  const char *before = nullptr;
  const char *after = nullptr;
  for (const char *next : {"eightkey", "fifteen letters", "seven l", "a sixteen-letter"}) {
    ref d = make(XP_DICT_RECYCLE);
    put(d, "ten bytes.", 10);
    xp_dict_enum(d.get(), remember, &before);
    xp_dict_erase(d.get(), "ten bytes.", -1);
    put(d, next, 11);
    xp_dict_enum(d.get(), remember, &after);
    size_t size = std::string(next).size();
    EXPECT_EQ(before == after, size / 8 == 1) << next;
    EXPECT_EQ(get(d, next), 11);
  }
}

TEST_F(dict, references_are_counted_exactly) {
  ref d = make();
  ref value = ref::adopt(xp_number_new(500));
  xp_dict_store(d.get(), "a", 1, value.get());
  EXPECT_EQ(xp_refs(value.get()), 2);
  ref fetched = ref::adopt(xp_dict_fetch(d.get(), "a", 1));
  EXPECT_EQ(xp_refs(value.get()), 3);

  // The dictionary's own reference is the last one while the same value is stored again.
  xp_obj *same = value.get();
  fetched = value = nullptr;
  EXPECT_EQ(xp_refs(same), 1);
  xp_dict_store(d.get(), "a", 1, same);
  EXPECT_EQ(xp_refs(same), 1);
  EXPECT_EQ(get(d, "a"), 500);
}

TEST_F(dict, a_blank_value_reads_as_absent) {
  ref d = make();
  xp_dict_adopt(d.get(), "a", 1, xp_str_new("none"));
  xp_dict_adopt(d.get(), "b", 1, xp_str_new("some"));
  xp_dict_blank(d.get(), "none");
  EXPECT_EQ(xp_dict_fetch(d.get(), "a", 1), nullptr);
  EXPECT_TRUE(ref::adopt(xp_dict_fetch(d.get(), "b", 1)));
  EXPECT_EQ(xp_dict_count(d.get()), 2u);
  // The copy does not take the blank value along.
  ref copy = ref::adopt(xp_duplicate(d.get(), 0));
  EXPECT_TRUE(ref::adopt(xp_dict_fetch(copy.get(), "a", 1)));
  xp_dict_blank(d.get(), "");
  EXPECT_TRUE(ref::adopt(xp_dict_fetch(d.get(), "a", 1)));

  ref raw = make(XP_DICT_RAW);
  xp_dict_blank(raw.get(), "none");
  xp_dict_store(raw.get(), "a", 1, reinterpret_cast<xp_obj *>(uintptr_t{5}));
  EXPECT_NE(xp_dict_fetch(raw.get(), "a", 1), nullptr);
}

// Every key is found whichever allocation fails, also when 17 and more keys have to stay in two buckets.
TEST_F(dict, stays_whole_when_memory_runs_out_while_it_grows) {
  if (xp::testing::live_blocks() < 0) GTEST_SKIP() << "this build cannot fail allocations";
  for (auto how : {xp::testing::failing::once, xp::testing::failing::from_then_on}) {
    for (int64_t n = 1; n <= 12; ++n) {
      ref d = make();
      ref value = ref::adopt(xp_number_new(500));
      std::vector<std::string> stored;
      xp::testing::fail_allocation(n, how);
      for (int i = 0; i < 40; ++i) {
        std::string key = "key " + std::to_string(i);
        if (xp_dict_store(d.get(), key.c_str(), -1, value.get()) == 0) stored.push_back(key);
      }
      xp::testing::fail_allocation(0);
      EXPECT_EQ(xp_dict_count(d.get()), stored.size());
      for (const std::string &key : stored) {
        EXPECT_EQ(get(d, key), 500) << key << ", allocation " << n;
        EXPECT_EQ(xp_dict_erase(d.get(), key.c_str(), -1), 0);
        EXPECT_EQ(get(d, key), 0);
      }
      EXPECT_EQ(xp_dict_count(d.get()), 0u);
    }
  }
}

// A traversal ends when the table it started on is replaced, which is how growth shows.
TEST_F(dict, the_table_grows_at_17_18_and_then_beyond_each_power_of_two_up_to_32768) {
  auto walk_survives = [](const ref &d, int from, int to) {
    ref walk = ref::adopt(xp_dict_travnew(d.get()));
    fill(d, from, to);
    bool alive = ref::adopt(xp_trav_next(walk.get())) ? true : false;
    EXPECT_EQ(xp_trav_count(walk.get()), to);
    return alive;
  };
  ref d = make();
  fill(d, 0, 1);
  EXPECT_TRUE(walk_survives(d, 1, 16));
  EXPECT_FALSE(walk_survives(d, 16, 17));
  EXPECT_FALSE(walk_survives(d, 17, 18));
  EXPECT_TRUE(walk_survives(d, 18, 32));
  EXPECT_FALSE(walk_survives(d, 32, 33));
  fill(d, 33, 16384);
  EXPECT_FALSE(walk_survives(d, 16384, 16385));
  EXPECT_TRUE(walk_survives(d, 16385, 33000));
  for (int i : {0, 16, 16384, 32999})
    EXPECT_EQ(get(d, "key " + std::to_string(i)), i);

  ref wide = make(XP_DICT_BUCKETS_8K);
  fill(wide, 0, 1);
  EXPECT_TRUE(walk_survives(wide, 1, 8192));
  EXPECT_FALSE(walk_survives(wide, 8192, 8193));
}

TEST_F(dict, traversals_run_forward_once) {
  ref d = make(XP_DICT_SKIPNULLS | XP_DICT_BUCKETS_8K);
  put(d, "a", 30);
  xp_dict_store(d.get(), "b", 1, nullptr);
  ref keys = ref::adopt(xp_dict_travnew(d.get()));
  EXPECT_EQ(xp_trav_prev(keys.get()), nullptr);
  ref key = ref::adopt(xp_trav_next(keys.get()));
  EXPECT_STREQ(xp_str_getptr(key.get()), "a");
  EXPECT_EQ(xp_trav_next(keys.get()), nullptr);
  put(d, "c", 31);
  put(d, "d", 32);
  EXPECT_EQ(xp_trav_next(keys.get()), nullptr) << "one that has ended stays ended";
  xp_trav_reset(keys.get());
  EXPECT_TRUE(ref::adopt(xp_trav_next(keys.get())));

  // The traversal keeps its dictionary alive.
  ref values = ref::adopt(xp_dict_travobjnew(d.get()));
  d = nullptr;
  keys = nullptr;
  int64_t sum = 0;
  while (ref value = ref::adopt(xp_trav_next(values.get())))
    sum += xp_value(value.get());
  EXPECT_EQ(sum, 30 + 31 + 32);
}

TEST_F(dict, a_key_may_be_erased_while_it_is_visited) {
  for (uint32_t flags : {uint32_t{0}, uint32_t{XP_DICT_RECYCLE}}) {
    ref d = make(flags);
    fill(d, 0, 100);
    auto erase = [](xp_obj *from, const char *key, int64_t keylen, xp_obj *, void *) -> int64_t {
      return xp_dict_erase(from, key, keylen);
    };
    EXPECT_EQ(xp_dict_enum(d.get(), erase, nullptr), 0);
    EXPECT_EQ(xp_dict_count(d.get()), 0u);
  }
}

TEST_F(dict, walks_stop_with_minus_1) {
  ref d = make();
  fill(d, 0, 20);
  auto third = [](xp_obj *, const char *, int64_t, xp_obj *, void *calls) -> int64_t {
    return ++*static_cast<int *>(calls) == 3 ? 9 : 0;
  };
  int calls = 0;
  EXPECT_EQ(xp_dict_enum(d.get(), third, &calls), -1);
  EXPECT_EQ(xp_dict_enumsorted(d.get(), third, &(calls = 0)), -1);
  EXPECT_EQ(xp_dict_traverse(d.get(), ".", third, &(calls = 0)), -1);
  EXPECT_EQ(calls, 3);
}

TEST_F(dict, paths_join_the_keys) {
  ref inner = make();
  put(inner, "b", 1);
  ref d = make();
  xp_dict_store(d.get(), "a", 1, inner.get());
  put(d, "c", 2);
  EXPECT_EQ(paths(d, "/").find("/c=2 ") != std::string::npos, true);
  auto one_of = [](const std::string &text, const char *one, const char *other) {
    return text == one || text == other;
  };
  EXPECT_TRUE(one_of(paths(d, "/"), "/a/b=1 /c=2 ", "/c=2 /a/b=1 ")) << paths(d, "/");
  EXPECT_TRUE(one_of(paths(d, "."), "a.b=1 c=2 ", "c=2 a.b=1 "));
  EXPECT_TRUE(one_of(paths(d, nullptr), "ab=1 c=2 ", "c=2 ab=1 "));
  EXPECT_TRUE(one_of(paths(d, "/-"), "/-a/-b=1 /-c=2 ", "/-c=2 /-a/-b=1 "));
}

// Paths of 255, 256, 257 bytes and far beyond, where the text leaves the stack.
TEST_F(dict, long_paths_are_whole) {
  for (size_t length : {254u, 255u, 256u, 257u, 1000u}) {
    std::string separator = "/" + std::string(length - 200, '-');
    ref inner = make();
    put(inner, std::string(100, 'b'), 1);
    ref d = make();
    std::string key(98, 'a');
    xp_dict_store(d.get(), key.data(), 98, inner.get());
    std::string wanted = separator + key + separator + std::string(100, 'b') + "=1 ";
    EXPECT_EQ(paths(d, separator.c_str()), wanted);
  }
  ref chain = make();
  put(chain, "leaf", 1);
  std::string wanted = "leaf=1 ";
  for (int i = 0; i < 200; ++i) {
    ref outer = make();
    xp_dict_store(outer.get(), "level", -1, chain.get());
    chain = outer;
    wanted.insert(0, "level.");
  }
  EXPECT_EQ(paths(chain, "."), wanted);
}

TEST_F(dict, merging_overwrites_and_extending_goes_deep) {
  auto nest = [](const ref &d, const ref &inner) { xp_dict_store(d.get(), "in", -1, inner.get()); };
  ref to_inner = make();
  ref from_inner = make();
  put(to_inner, "x", 10);
  put(to_inner, "y", 11);
  put(from_inner, "y", 20);
  ref to = make();
  ref from = make(XP_DICT_SKIPNULLS);
  nest(to, to_inner);
  put(to, "in2", 12);
  nest(from, from_inner);
  xp_dict_store(from.get(), "in2", -1, from_inner.get());
  xp_dict_store(from.get(), "gone", -1, nullptr);

  EXPECT_EQ(xp_dict_extend(to.get(), from.get()), 0);
  EXPECT_EQ(sorted(to_inner), "x=10 y=20 ");
  EXPECT_EQ(sorted(from_inner), "y=20 ");
  ref shared = ref::adopt(xp_dict_fetch(to.get(), "in2", -1));
  EXPECT_EQ(shared.get(), from_inner.get());
  EXPECT_EQ(xp_dict_count(to.get()), 2u);
  EXPECT_EQ(xp_dict_extend(to.get(), to.get()), 0);

  EXPECT_EQ(xp_dict_merge(to.get(), from.get()), 0);
  shared = ref::adopt(xp_dict_fetch(to.get(), "in", -1));
  EXPECT_EQ(shared.get(), from_inner.get());
  EXPECT_EQ(sorted(to_inner), "x=10 y=20 ");

  // The tree that is extended holds the only reference to the one that extends it, under a key that is
  // overwritten.
  ref addition = make();
  put(addition, "a", 5);
  ref source = make();
  xp_dict_store(source.get(), "a", 1, addition.get());
  ref target = make();
  xp_dict_store(target.get(), "a", 1, source.get());
  addition = nullptr;
  EXPECT_EQ(xp_dict_extend(target.get(), source.get()), 0);
  EXPECT_EQ(sorted(source), "a=5 ");

  // Raw values never become objects.
  ref raw = make(XP_DICT_RAW);
  xp_dict_store(raw.get(), "raw", -1, reinterpret_cast<xp_obj *>(uintptr_t{1}));
  EXPECT_EQ(xp_dict_merge(to.get(), raw.get()) | xp_dict_extend(to.get(), raw.get()), 0);
  EXPECT_EQ(xp_dict_merge(raw.get(), to.get()), 0);
  EXPECT_EQ(xp_dict_count(to.get()) + xp_dict_count(raw.get()), 3u);
}

TEST_F(dict, duplicates_are_deep_or_shallow) {
  ref inner = make();
  put(inner, "x", 10);
  ref d = make(XP_DICT_NOCASE | XP_DICT_LEARN);
  xp_dict_store(d.get(), "in", -1, inner.get());
  xp_dict_store(d.get(), "null", -1, nullptr);

  ref deep = ref::adopt(xp_duplicate(d.get(), 0));
  ref deep_inner = ref::adopt(xp_dict_fetch(deep.get(), "IN", -1));
  EXPECT_NE(deep_inner.get(), inner.get());
  EXPECT_EQ(sorted(deep_inner), "x=10 ");
  EXPECT_EQ(xp_dict_count(deep.get()), 2u);
  EXPECT_EQ(xp_dict_learn(deep.get(), -1), 1);

  ref shallow = ref::adopt(xp_duplicate(d.get(), XP_DUP_SHALLOW));
  ref shared = ref::adopt(xp_dict_fetch(shallow.get(), "in", -1));
  EXPECT_EQ(shared.get(), inner.get());
}

TEST_F(dict, counts_as_true_and_as_something_to_walk) {
  ref d = make();
  EXPECT_EQ(xp_truthy(d.get()), 1);
  EXPECT_EQ(xp_instanceof(d.get(), xp_code("trav")), 1);
  EXPECT_EQ(xp_instanceof(d.get(), xp_code("list")), 0);
  EXPECT_EQ(xp_control(d.get(), XP_CTL_TRAVERSE, XP_TRAV_MAKE, nullptr), 0);
  put(d, "key", 1);
  ref keys = ref::adopt(xp_trav_make(d.get()));
  EXPECT_STREQ(xp_str_getptr(ref::adopt(xp_trav_next(keys.get())).get()), "key");
  EXPECT_EQ(xp_type(d.get()), xp_dict_type());
}

TEST_F(dict, a_locked_one_serves_four_threads) {
  ref d = make(XP_DICT_LOCKED | XP_DICT_RECYCLE);
  auto work = [&](int number) {
    std::string own = "own " + std::to_string(number);
    for (int i = 0; i < 2000; ++i) {
      put(d, "shared " + std::to_string(i % 40), 1000 + i);
      put(d, own, 100 + i);
      EXPECT_EQ(get(d, own), 100 + i);
      get(d, "shared " + std::to_string(i % 7));
      xp_dict_erase(d.get(), "shared 3", -1);
      xp_dict_learn(d.get(), i % 2);
      if (i % 100 == 0) {
        EXPECT_GE(xp_dict_count(d.get()), 1u);
        std::string text;
        xp_dict_enumsorted(d.get(), log, &text);
        EXPECT_NE(text.find(own + "=" + std::to_string(100 + i)), std::string::npos);
        ref copy = ref::adopt(xp_duplicate(d.get(), 0));
        ref keys = ref::adopt(xp_dict_travnew(d.get()));
        while (ref key = ref::adopt(xp_trav_next(keys.get())))
          EXPECT_GT(xp_str_length(key.get()), 0);
      }
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back(work, i);
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(get(d, "own 0"), 2099);
}

// Chains of a million containers, in all mixtures, come down without taking the stack along.
TEST_F(dict, deep_nesting_is_released_without_recursion) {
  ref innermost = ref::adopt(xp_number_new(4711));
  ref inner = innermost;
  for (int i = 0; i < 1000000; ++i) {
    ref outer;
    switch (i % 4) {
      case 0: outer = make(i % 8 == 0 ? uint32_t{XP_DICT_LOCKED} : 0); break;
      case 1: outer = ref::adopt(xp_array_new(0)); break;
      case 2: outer = ref::adopt(xp_list_new(XP_LIST_RECYCLE)); break;
      case 3: outer = ref::adopt(xp_tuple_new(2, inner.get(), nullptr)); break;
    }
    if (i % 4 == 0) xp_dict_store(outer.get(), "in", -1, inner.get());
    if (i % 4 == 1) xp_array_insert(outer.get(), inner.get(), -1);
    if (i % 4 == 2) xp_list_append(outer.get(), inner.get());
    inner = outer;
  }
  EXPECT_EQ(xp_refs(innermost.get()), 2);
  inner = nullptr;
  EXPECT_EQ(xp_refs(innermost.get()), 1) << "all of it is gone when the release returns";
}

}  // namespace
