#include "tests/xp/sweep/sweep.h"

#include "xp/array/array.h"
#include "xp/array/list.h"
#include "xp/array/tuple.h"
#include "xp/dict/dict.h"
#include "xp/object/memory_testing.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"

#include <algorithm>

namespace sweep {
namespace {

using xp::ref;

std::string text_of(xp_obj *obj) {
  if (obj == nullptr) return "null";
  std::string text(static_cast<size_t>(std::max<int64_t>(xp_textify(obj, nullptr, 0), 0)), '\0');
  xp_textify(obj, text.data(), static_cast<int64_t>(text.size()));
  return text;
}

// Null members count for nothing: that is what a value that could not be made leaves.
int64_t add_member(xp_obj * /*container*/, xp_obj *value, void *context) {
  if (value == nullptr) return 0;
  static_cast<std::vector<std::string> *>(context)->push_back(text_of(value));
  return 0;
}

int64_t add_element(xp_obj *container, int64_t /*index*/, xp_obj *value, void *context) {
  return add_member(container, value, context);
}

int64_t add_entry(xp_obj * /*d*/, const char *key, int64_t length, xp_obj *value, void *context) {
  if (value == nullptr) return 0;
  static_cast<std::vector<std::string> *>(context)->push_back(std::string(key, static_cast<size_t>(length)) +
                                                              "=" + text_of(value));
  return 0;
}

std::vector<std::string> members_of(xp_obj *container) {
  std::vector<std::string> members;
  xp_array_enum(container, add_element, &members);
  xp_list_enum(container, add_member, &members);
  xp_dict_enum(container, add_entry, &members);
  for (int64_t i = 0; i < xp_tuple_length(container); ++i)
    add_member(container, ref::adopt(xp_tuple_get(container, i)).get(), &members);
  std::sort(members.begin(), members.end());
  return members;
}

}  // namespace

void story::made(xp_obj *obj, const char *failed) {
  steps_.push_back({text_of(ref::adopt(obj).get()), failed, {}});
}

void story::made_of(xp_obj *container) {
  holds(ref::adopt(container).get());
}

void story::holds(xp_obj *container) {
  steps_.push_back({"", "", members_of(container)});
}

void story::gave(int64_t result, int64_t failed) {
  steps_.push_back({std::to_string(result), std::to_string(failed), {}});
}

void story::wrote(const std::string &text) {
  steps_.push_back({text, "", {}});
}

// Where a step before has failed, the next one gets null and answers 0, null or nothing.
void story::expect_like(const story &whole) const {
  ASSERT_EQ(steps_.size(), whole.steps_.size());
  for (size_t i = 0; i < steps_.size(); ++i) {
    const step &told = steps_[i];
    const step &full = whole.steps_[i];
    bool fine = told.text == full.text || told.text == told.failed || told.text == "null" ||
                told.text == "0" || told.text == "-1" || told.text.empty();
    EXPECT_TRUE(fine) << "step " << i << " told \"" << told.text << "\" in place of \"" << full.text << '"';
    EXPECT_TRUE(
        std::includes(full.members.begin(), full.members.end(), told.members.begin(), told.members.end()))
        << "step " << i << " holds what was never put in: " << testing::PrintToString(told.members);
  }
}

void run(script play) {
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
