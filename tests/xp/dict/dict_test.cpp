// What the model of dict_model_test.cpp does not know: limits, memory, paths, walks, nesting and sharing.

#include "xp/dict/dict.h"

#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/object/memory_testing.h"
#include "xp/object/number.h"
#include "xp/object/object.h"
#include "xp/service/traversal.h"
#include "xp/string/string.h"

#include <set>
#include <vector>

namespace {

using xp::ref;

class dict : public leak_check {
protected:
  static ref make(uint32_t flags = 0) { return ref::adopt(xp_dict_new(flags)); }
  // A dictionary with one value.
  static ref holding(const std::string &key, const ref &value, uint32_t flags = 0) {
    ref d = make(flags);
    store(d, key, value);
    return d;
  }

  static void store(const ref &d, const std::string &key, const ref &value) {
    ASSERT_EQ(xp_dict_store(d.get(), key.data(), static_cast<int64_t>(key.size()), value.get()), 0);
  }
  static void put(const ref &d, const std::string &key, int64_t value) { store(d, key, num(value)); }
  static ref fetch(const ref &d, const std::string &key) {
    return ref::adopt(xp_dict_fetch(d.get(), key.data(), static_cast<int64_t>(key.size())));
  }
  static int64_t get(const ref &d, const std::string &key) { return xp_value(fetch(d, key).get()); }
  static void fill(const ref &d, int from, int to) {
    for (int i = from; i < to; ++i)
      put(d, "key " + std::to_string(i), i);
  }

  // "key=value" of all that is walked.
  static int64_t log(xp_obj *, const char *key, int64_t keylen, xp_obj *value, void *context) {
    static_cast<std::set<std::string> *>(context)->insert(std::string(key, static_cast<size_t>(keylen)) +
                                                          "=" + text_of(value));
    return 0;
  }
  static std::set<std::string> paths(const ref &d, const char *separator) {
    std::set<std::string> found;
    EXPECT_EQ(xp_dict_traverse(d.get(), separator, log, &found), 0);
    return found;
  }
};

TEST_F(dict, nulls_and_wrong_types_are_harmless) {
  ref number = num(77);
  for (xp_obj *d : {static_cast<xp_obj *>(nullptr), number.get()}) {
    expect({xp_dict_store(d, "a", 1, number.get()), xp_dict_adopt(d, "a", 1, xp_number_new(100)),
            xp_dict_fetch(d, "a", 1), xp_dict_erase(d, "a", 1), xp_dict_count(d), xp_dict_learn(d, 1)},
           "-1 -1 null -1 0 0");
    expect({xp_dict_merge(d, number.get()), xp_dict_extend(d, nullptr), xp_dict_enum(d, log, nullptr),
            xp_dict_enumsorted(d, log, nullptr), xp_dict_enumclear(d, log, nullptr),
            xp_dict_traverse(d, "/", log, nullptr), xp_dict_travnew(d), xp_dict_travobjnew(d)},
           "0 0 0 0 0 0 null null");
    xp_dict_clear(d);
    xp_dict_blank(d, "none");
  }
  ref d = make();
  expect({xp_dict_store(d.get(), nullptr, 3, number.get()),
          xp_dict_adopt(d.get(), nullptr, 3, xp_number_new(100)), xp_dict_erase(d.get(), nullptr, 3),
          xp_dict_fetch(d.get(), nullptr, 3), xp_dict_store(d.get(), "x", 0, number.get()),
          xp_dict_adopt(d.get(), "", -1, xp_number_new(100)), xp_dict_count(d.get())},
         "-1 -1 -1 null 0 0 0");
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

TEST_F(dict, erased_entries_serve_keys_of_their_size_again) {
  ref d = make(XP_DICT_RECYCLE);
  put(d, "ten bytes.", 1);
  const int64_t blocks = xp::testing::live_blocks();
  for (size_t i = 0; i < 1000; ++i) {
    xp_dict_erase(d.get(), std::string(8 + i % 8, 'k').c_str(), -1);
    xp_dict_erase(d.get(), "ten bytes.", -1);
    put(d, std::string(8 + (i + 1) % 8, 'k'), 1);
  }
  EXPECT_EQ(xp::testing::live_blocks(), blocks);
}

TEST_F(dict, what_an_erased_key_left_behind_has_no_part_in_the_order) {
  ref d = make(XP_DICT_RECYCLE);
  for (size_t length = 7; length > 0; --length) {
    put(d, "zzzzzzz", 1);
    xp_dict_erase(d.get(), "zzzzzzz", -1);
    put(d, std::string(length, 'a'), 1);
  }
  const auto note = [](xp_obj *, const char *, int64_t length, xp_obj *, void *lengths) -> int64_t {
    static_cast<std::string *>(lengths)->append(std::to_string(length));
    return 0;
  };
  std::string lengths;
  expect({xp_dict_enumsorted(d.get(), note, &lengths), lengths}, "0 1234567");
}

TEST_F(dict, may_hold_the_last_reference_to_what_is_stored_again) {
  ref d = holding("a", num(500));
  xp_obj *same = fetch(d, "a").get();
  xp_dict_store(d.get(), "a", 1, same);
  expect({xp_refs(same), get(d, "a")}, "1 500");
}

TEST_F(dict, a_blank_value_reads_as_absent) {
  ref d = holding("a", str("none"));
  store(d, "b", str("some"));
  xp_dict_blank(d.get(), "none");
  // The copy does not take the blank value along.
  ref copy = ref::adopt(xp_duplicate(d.get(), 0));
  expect({fetch(d, "a"), fetch(d, "b"), xp_dict_count(d.get()), fetch(copy, "a")}, "null some 2 none");
  xp_dict_blank(d.get(), "");
  expect({fetch(d, "a")}, "none");

  ref plain = make(XP_DICT_RAW);
  xp_dict_blank(plain.get(), "none");
  xp_dict_store(plain.get(), "a", 1, raw(5));
  EXPECT_EQ(xp_dict_fetch(plain.get(), "a", 1), raw(5));
}

// A traversal ends when the table it started on is replaced, which is how growth shows.
TEST_F(dict, the_table_grows_at_17_18_and_then_beyond_each_power_of_two_up_to_32768) {
  auto walk_survives = [](const ref &d, int from, int to) {
    ref walk = ref::adopt(xp_dict_travnew(d.get()));
    fill(d, from, to);
    EXPECT_EQ(xp_trav_count(walk.get()), to);
    return ref::adopt(xp_trav_next(walk.get())) ? 1 : 0;
  };
  ref d = holding("key 0", num(0)), wide = holding("key 0", num(0), XP_DICT_BUCKETS_8K);
  expect({walk_survives(d, 1, 16), walk_survives(d, 16, 17), walk_survives(d, 17, 18),
          walk_survives(d, 18, 32), walk_survives(d, 32, 33)},
         "1 0 0 1 0");
  fill(d, 33, 16384);
  expect({walk_survives(d, 16384, 16385), walk_survives(d, 16385, 33000), get(d, "key 16"),
          get(d, "key 16384"), get(d, "key 32999")},
         "0 1 16 16384 32999");
  expect({walk_survives(wide, 1, 8192), walk_survives(wide, 8192, 8193)}, "1 0");
}

TEST_F(dict, traversals_run_forward_once_and_keep_their_dictionary_alive) {
  ref d = holding("a", num(30), XP_DICT_SKIPNULLS | XP_DICT_BUCKETS_8K);
  store(d, "b", nullptr);
  ref keys = ref::adopt(xp_trav_make(d.get()));
  expect({xp_trav_prev(keys.get()), xp_trav_next(keys.get()), xp_trav_next(keys.get())}, "null a null");
  put(d, "c", 31);
  put(d, "d", 32);
  EXPECT_EQ(xp_trav_next(keys.get()), nullptr) << "one that has ended stays ended";
  xp_trav_reset(keys.get());
  expect({xp_trav_skip(keys.get(), 9), xp_control(d.get(), XP_CTL_TRAVERSE, XP_TRAV_MAKE, nullptr)}, "3 0");

  ref values = ref::adopt(xp_dict_travobjnew(d.get()));
  keys = d = nullptr;
  int64_t sum = 0;
  while (ref value = ref::adopt(xp_trav_next(values.get())))
    sum += xp_value(value.get());
  EXPECT_EQ(sum, 30 + 31 + 32);
}

TEST_F(dict, walks_bear_erasing_and_stop_with_minus_1) {
  auto third = [](xp_obj *, const char *, int64_t, xp_obj *, void *calls) -> int64_t {
    return ++*static_cast<int *>(calls) == 3 ? 9 : 0;
  };
  auto erase = [](xp_obj *from, const char *key, int64_t keylen, xp_obj *, void *) -> int64_t {
    return xp_dict_erase(from, key, keylen);
  };
  for (uint32_t flags : {uint32_t{0}, uint32_t{XP_DICT_RECYCLE}}) {
    ref d = make(flags);
    fill(d, 0, 100);
    int calls = 0;
    EXPECT_EQ(xp_dict_enum(d.get(), third, &calls), -1);
    EXPECT_EQ(xp_dict_enumsorted(d.get(), third, &(calls = 0)), -1);
    EXPECT_EQ(xp_dict_traverse(d.get(), ".", third, &(calls = 0)), -1);
    EXPECT_EQ(calls, 3);
    expect({xp_dict_enum(d.get(), erase, nullptr), xp_dict_count(d.get())}, "0 0");
  }
}

TEST_F(dict, paths_join_the_keys_whatever_their_length) {
  using lines = std::set<std::string>;
  ref d = tree(R"({"a":{"b":1},"c":2})");
  EXPECT_EQ(paths(d, "/"), (lines{"/a/b=1", "/c=2"}));
  EXPECT_EQ(paths(d, "."), (lines{"a.b=1", "c=2"}));
  EXPECT_EQ(paths(d, nullptr), (lines{"ab=1", "c=2"}));
  EXPECT_EQ(paths(d, "/-"), (lines{"/-a/-b=1", "/-c=2"}));
  // 255, 256, 257 bytes and far beyond, where the text leaves the stack.
  for (size_t length : {254u, 255u, 256u, 257u, 1000u}) {
    const std::string separator = "/" + std::string(length - 200, '-');
    const std::string outer(98, 'a'), inner(100, 'b');
    std::string wanted = separator;
    wanted.append(outer).append(separator).append(inner).append("=1");
    EXPECT_EQ(paths(holding(outer, holding(inner, num(1))), separator.c_str()), lines{wanted});
  }
  ref chain = holding("leaf", num(1));
  std::string wanted = "leaf=1";
  for (int i = 0; i < 200; ++i) {
    chain = holding("level", chain);
    wanted.insert(0, "level.");
  }
  EXPECT_EQ(paths(chain, "."), lines{wanted});
}

TEST_F(dict, merging_overwrites_and_extending_goes_deep) {
  ref to = tree(R"({"in":{"x":10,"y":11},"in2":12})");
  ref from = make(XP_DICT_SKIPNULLS);
  xp_dict_merge(from.get(), tree(R"({"in":{"y":20},"in2":{"y":20}})").get());
  store(from, "gone", nullptr);
  ref to_inner = fetch(to, "in"), from_inner = fetch(from, "in");
  EXPECT_EQ(xp_dict_extend(to.get(), from.get()), 0);
  expect({to, from_inner}, R"({"in":{"x":10,"y":20},"in2":{"y":20}} {"y":20})");
  EXPECT_EQ(fetch(to, "in2").get(), fetch(from, "in2").get());
  EXPECT_EQ(xp_dict_extend(to.get(), to.get()), 0);

  EXPECT_EQ(xp_dict_merge(to.get(), from.get()), 0);
  EXPECT_EQ(fetch(to, "in").get(), from_inner.get());
  expect({to_inner}, R"({"x":10,"y":20})");

  // The tree that is extended holds the only reference to the one that extends it, under a key that is
  // overwritten.
  ref target = tree(R"({"a":{"a":{"a":5}}})");
  xp_obj *source = fetch(target, "a").get();
  EXPECT_EQ(xp_dict_extend(target.get(), source), 0);
  expect({target}, R"({"a":{"a":5}})");

  // Raw values never become objects.
  ref plain = make(XP_DICT_RAW);
  xp_dict_store(plain.get(), "raw", -1, raw(1));
  const uint32_t count = xp_dict_count(to.get());
  expect({xp_dict_merge(to.get(), plain.get()), xp_dict_extend(to.get(), plain.get()),
          xp_dict_merge(plain.get(), to.get()), xp_dict_count(to.get()) - count, xp_dict_count(plain.get())},
         "0 0 0 0 1");
}

TEST_F(dict, duplicates_are_deep_or_shallow) {
  ref d = tree(R"({"in":{"x":10}})");
  ref inner = fetch(d, "in");
  xp_dict_learn(d.get(), 1);
  ref deep = ref::adopt(xp_duplicate(d.get(), 0)),
      shallow = ref::adopt(xp_duplicate(d.get(), XP_DUP_SHALLOW));
  EXPECT_EQ(fetch(shallow, "in").get(), inner.get());
  EXPECT_NE(fetch(deep, "in").get(), inner.get());
  expect({fetch(deep, "IN"), xp_dict_learn(deep.get(), -1), xp_truthy(make().get()),
          xp_instanceof(d.get(), xp_code("trav")), xp_instanceof(d.get(), xp_code("list"))},
         R"({"x":10} 1 1 1 0)");
}

TEST_F(dict, a_locked_one_serves_four_threads) {
  ref d = make(XP_DICT_LOCKED | XP_DICT_RECYCLE);
  run_on_threads(4, [&](int number) {
    std::string own = "own " + std::to_string(number);
    for (int i = 0; i < 2000; ++i) {
      put(d, "shared " + std::to_string(i % 40), 1000 + i);
      put(d, own, 100 + i);
      EXPECT_EQ(get(d, own), 100 + i);
      get(d, "shared " + std::to_string(i % 7));
      xp_dict_erase(d.get(), "shared 3", -1);
      xp_dict_learn(d.get(), i % 2);
      if (i % 100 != 0) continue;
      EXPECT_GE(xp_dict_count(d.get()), 1u);
      std::set<std::string> seen;
      xp_dict_enumsorted(d.get(), log, &seen);
      EXPECT_TRUE(seen.contains(own + "=" + std::to_string(100 + i)));
      ref copy = ref::adopt(xp_duplicate(d.get(), 0));
      ref keys = ref::adopt(xp_dict_travnew(d.get()));
      while (ref key = ref::adopt(xp_trav_next(keys.get())))
        EXPECT_GT(xp_str_length(key.get()), 0);
    }
  });
  EXPECT_EQ(get(d, "own 0"), 2099);
}

}  // namespace
