// Dictionaries made at once from a model, and the ways to a key's hash.

#include "tests/support/leak_check.h"
#include "xp/dict/build.h"
#include "xp/dict/dict.h"
#include "xp/dict/hash.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"

#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr uint32_t seed = 20261122;

using dict_build = leak_check;

std::string entries_of(const xp::ref &d) {
  std::string text;
  const auto add = [](xp_obj *, const char *key, int64_t length, xp_obj *value, void *to) -> int64_t {
    *static_cast<std::string *>(to) +=
        std::string(key, static_cast<size_t>(length)) + "=" + std::to_string(xp_value(value)) + "\n";
    return 0;
  };
  xp_dict_enum(d.get(), add, &text);
  return text;
}

// The order of the entries, and all that comes later, are those of the model's keys stored one by one.
TEST_F(dict_build, a_copy_of_a_model_is_the_dictionary_of_single_steps) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  for (int i = 0; i < 1000; ++i) {
    std::vector<std::string> keys(random() % 20);
    std::vector<xp::dict_member> first, second;
    std::set<std::string> distinct;
    const xp::ref steps = xp::ref::adopt(xp_dict_new(XP_DICT_NOCASE));
    for (std::string &key : keys) {
      key = std::string(random() % (random() % 8 == 0 ? 255 : 12), 'k') +
            static_cast<char>('A' + random() % 26);
      distinct.insert(key);
      const auto length = static_cast<uint32_t>(key.size());
      const uint32_t hash = xp::dict_hash::of(key.data(), length, true);
      first.push_back(
          {.value = xp_number_new(100 + i), .key = key.data(), .key_length = length, .hash = hash});
      const auto value = static_cast<int64_t>(random() % 1000);
      second.push_back({.value = xp_number_new(value), .key = nullptr, .key_length = 0, .hash = 0});
      xp_dict_adopt(steps.get(), key.data(), length, xp_number_new(value));
    }
    const xp::ref once = xp::ref::adopt(xp::dict_of(first));
    const xp::dict_model model = xp::dict_model_of(once.get(), keys.size());
    const bool usable = !keys.empty() && keys.size() <= 16 && distinct.size() == keys.size();
    ASSERT_EQ(model.dictionary != nullptr, usable);
    const xp::ref copy = xp::ref::adopt(usable ? xp::dict_like(model, second) : nullptr);
    for (const xp::dict_member &m : second)
      if (!usable) xp_release(m.value);
    if (!usable) continue;
    ASSERT_EQ(entries_of(copy), entries_of(steps));
    for (int change = 0; change < 20; ++change) {
      const std::string &key = keys[random() % keys.size()];
      const std::string other = "new" + std::to_string(random() % 20);
      for (xp_obj *d : {copy.get(), steps.get()}) {
        xp_dict_erase(d, key.data(), static_cast<int64_t>(key.size()));
        xp_dict_adopt(d, other.data(), -1, xp_number_new(change));
      }
      ASSERT_EQ(entries_of(copy), entries_of(steps));
      const xp::ref found = xp::ref::adopt(xp_dict_fetch(copy.get(), other.data(), -1));
      EXPECT_EQ(xp_value(found.get()), change);
    }
  }
}

TEST(dict_hash, all_ways_lead_to_the_value_of_the_bytes) {
  std::mt19937 random(seed);
  for (size_t length = 0; length <= 255; ++length) {
    std::string text(16 + length, '\0');
    for (char &c : text)
      c = static_cast<char>(random() % 2 == 0 ? random() : 'Z' + random() % 35);
    const char *key = text.data() + 16;
    for (bool nocase : {false, true}) {
      const uint32_t hash = xp::dict_hash::by_bytes(key, length, nocase);
      EXPECT_EQ(xp::dict_hash::of(key, length, nocase), hash);
      EXPECT_EQ(xp::dict_hash::by_words(key, length, nocase), hash);
      if (length == 0 || length > 16) continue;
      EXPECT_EQ(xp::dict_hash::of_tail(key + length, length, nocase), hash);
    }
  }
}

}  // namespace
