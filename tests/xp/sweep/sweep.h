// Memory that runs out at every place in turn. A script runs once with all its allocations granted and tells
// what came out of each of its steps; then again and again, with the first allocation failing, the second,
// and so on until a run asks for fewer. Each time every step must tell what it told at first, or that it
// failed, and no block may stay behind.

#ifndef TESTS_XP_SWEEP_SWEEP_H
#define TESTS_XP_SWEEP_SWEEP_H

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/array/list.h"
#include "xp/array/tuple.h"
#include "xp/dict/dict.h"
#include "xp/object/memory_testing.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"
#include "xp/service/traversal.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>
#include <stdint.h>

#include <algorithm>
#include <string>
#include <vector>

namespace sweep {

using xp::ref;

// What a script tells, step by step. The number of steps must not depend on what fails.
class story {
public:
  // A made object, whose reference is taken over: its text, or null. `failed`: another text that tells of a
  // failure.
  void made(xp_obj *obj, const char *failed = "null") {
    steps_.push_back({text_of(ref::adopt(obj).get()), failed, {}});
  }

  // A made container, whose reference is taken over, or a borrowed one: its members, of which some may be
  // missing after a failure.
  void made_of(xp_obj *container) { holds(ref::adopt(container).get()); }
  void holds(xp_obj *container) {
    std::vector<std::string> members;
    xp_array_enum(container, add_element, &members);
    xp_list_enum(container, add_member, &members);
    xp_dict_enum(container, add_entry, &members);
    for (int64_t i = 0; i < xp_tuple_length(container); ++i)
      add_member(container, ref::adopt(xp_tuple_get(container, i)).get(), &members);
    std::sort(members.begin(), members.end());
    steps_.push_back({"", "", members});
  }

  // A plain result; -1, 0 and `failed` tell of a failure.
  void gave(int64_t result, int64_t failed = -1) {
    steps_.push_back({std::to_string(result), std::to_string(failed), {}});
  }
  void wrote(const std::string &text) { steps_.push_back({text, "", {}}); }

  // Compares with what was told when nothing failed. Where a step before has failed, the next one gets null
  // and answers 0, null or nothing.
  void expect_like(const story &whole) const {
    ASSERT_EQ(steps_.size(), whole.steps_.size());
    for (size_t i = 0; i < steps_.size(); ++i) {
      const auto &[text, failed, members] = steps_[i];
      const step &full = whole.steps_[i];
      EXPECT_TRUE(text == full.text || text == failed || text == "null" || text == "0" || text == "-1" ||
                  text.empty())
          << "step " << i << " told \"" << text << "\" in place of \"" << full.text << '"';
      EXPECT_TRUE(std::includes(full.members.begin(), full.members.end(), members.begin(), members.end()))
          << "step " << i << " holds what was never put in: " << testing::PrintToString(members);
    }
  }

private:
  struct step {
    std::string text;    // empty for members
    std::string failed;  // the text that tells of a failure
    std::vector<std::string> members;
  };

  static std::string text_of(xp_obj *obj) {
    if (obj == nullptr) return "null";
    std::string text(static_cast<size_t>(std::max<int64_t>(xp_textify(obj, nullptr, 0), 0)), '\0');
    xp_textify(obj, text.data(), static_cast<int64_t>(text.size()));
    return text;
  }

  // Null members count for nothing: that is what a value that could not be made leaves.
  static int64_t add_entry(xp_obj * /*d*/, const char *key, int64_t length, xp_obj *value, void *context) {
    if (value == nullptr) return 0;
    static_cast<std::vector<std::string> *>(context)->push_back(
        std::string(key, static_cast<size_t>(length)) + "=" + text_of(value));
    return 0;
  }
  static int64_t add_member(xp_obj *container, xp_obj *value, void *context) {
    return add_entry(container, "", 0, value, context);
  }
  static int64_t add_element(xp_obj *container, int64_t /*index*/, xp_obj *value, void *context) {
    return add_entry(container, "", 0, value, context);
  }

  std::vector<step> steps_;
};

inline void run(void (*play)(story &told)) {
  namespace heap = xp::testing;
  if (heap::live_blocks() < 0) GTEST_SKIP() << "this build cannot fail allocations";
  // The first time makes what lives for ever.
  story whole;
  play(whole);
  for (heap::failing how : {heap::failing::once, heap::failing::from_then_on}) {
    const int64_t objects = xp::live_objects();
    const int64_t blocks = heap::live_blocks();
    int64_t n = 0;
    do {
      ++n;
      SCOPED_TRACE(testing::Message()
                   << "allocation " << n
                   << (how == heap::failing::once ? " fails" : " and all later ones fail"));
      heap::fail_allocation(n, how);
      story told;
      play(told);
      const int64_t asked = heap::allocations();
      heap::fail_allocation(0);
      told.expect_like(whole);
      ASSERT_EQ(xp::live_objects(), objects);
      ASSERT_EQ(heap::live_blocks(), blocks);
      ASSERT_FALSE(testing::Test::HasFailure());
      if (asked < n) break;
    } while (n < 100000);
    EXPECT_GT(n, 1) << "a script that asks for no memory shows nothing";
  }
}

}  // namespace sweep

// A test that sweeps its own body, a script that tells its story as `told`.
#define SWEEP(suite, name)       \
  void name(sweep::story &told); \
  TEST_F(suite, name) {          \
    sweep::run(name);            \
  }                              \
  void name(sweep::story &told)

#endif
