// Random operations on a dictionary and on a plain model of it, compared after every step that reads.

#include "tests/support/objects.h"
#include "xp/dict/build.h"
#include "xp/dict/dict.h"
#include "xp/dict/hash.h"
#include "xp/dict/small_index.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"
#include "xp/string/string.h"

#include <algorithm>
#include <map>
#include <random>
#include <utility>
#include <vector>

namespace {

using random_source = std::mt19937;
constexpr uint32_t seed = 20240131;

// Keys over few bytes, so that they meet often; some around the longest length, some empty.
std::string random_key(random_source &random) {
  static constexpr char alphabet[] = {'a', 'A', 'b', 'Z', 'z', '[', '`', '{', '@', '\0', '\xe4', '\xc4'};
  size_t length = random() % 5;
  if (random() % 16 == 0) length = 253 + random() % 5;
  if (random() % 8 == 0) length = 7 + random() % 20;
  std::string key(length, 'x');
  for (size_t i = 0; i < std::min<size_t>(length, 4); ++i)
    key[i] = alphabet[random() % sizeof alphabet];
  if (length > 250) key[254 % length] = alphabet[random() % 4];
  return key;
}

struct model_entry {
  std::string spelling;
  int64_t value;  // 0: null
};

class dict_model : public leak_check, public testing::WithParamInterface<uint32_t> {
protected:
  bool has(uint32_t flag) const { return (GetParam() & flag) != 0; }

  std::string canonical(std::string key) const {
    key.resize(std::min<size_t>(key.size(), 255));
    if (has(XP_DICT_NOCASE)) {
      for (char &c : key)
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
    }
    return key;
  }

  // The key's length, told or, where no zero byte would cut it, left to be found.
  int64_t length_of(const std::string &key) {
    const bool found = ++calls_ % 4 == 0 && key.find('\0') == std::string::npos;
    return found ? -1 : static_cast<int64_t>(key.size());
  }

  xp_obj *make_value(int64_t value) const {
    if (has(XP_DICT_RAW)) return reinterpret_cast<xp_obj *>(value);
    return value == 0 ? nullptr : xp_number_new(value);
  }
  int64_t take_value(xp_obj *value) const {
    if (has(XP_DICT_RAW)) return reinterpret_cast<intptr_t>(value);
    return xp_value(xp::ref::adopt(value).get());
  }

  void model_store(const std::string &key, int64_t value) {
    std::string at = canonical(key);
    if (at.empty()) return;
    if (value == 0 && has(XP_DICT_RECYCLE)) {
      model.erase(at);
    } else {
      model.try_emplace(at, model_entry{key.substr(0, 255), 0}).first->second.value = value;
    }
  }

  void store(xp_obj *d, const std::string &key, int64_t value, bool adopts) {
    const int64_t length = length_of(key);
    if (adopts) {
      ASSERT_EQ(xp_dict_adopt(d, key.data(), length, make_value(value)), 0);
    } else {
      xp_obj *object = make_value(value);
      ASSERT_EQ(xp_dict_store(d, key.data(), length, object), 0);
      take_value(object);
    }
    model_store(key, value);
  }

  void fetch(xp_obj *d, const std::string &key) {
    int64_t found = take_value(xp_dict_fetch(d, key.data(), length_of(key)));
    auto wanted = model.find(canonical(key));
    ASSERT_EQ(found, wanted == model.end() ? 0 : wanted->second.value);
    if (wanted == model.end() && learning) model_store(key, 0);
  }

  using pairs = std::vector<std::pair<std::string, int64_t>>;

  // The entries that an enumeration meets.
  pairs met(int32_t (*enumerate)(xp_obj *d, xp_dict_visitor visit, void *context), xp_obj *d) const {
    struct collector {
      bool raw;
      pairs found;
    } all{has(XP_DICT_RAW), {}};
    const auto collect = [](xp_obj *, const char *key, int64_t length, xp_obj *value, void *context) {
      auto *to = static_cast<collector *>(context);
      to->found.emplace_back(std::string(key, static_cast<size_t>(length)),
                             to->raw ? reinterpret_cast<intptr_t>(value) : xp_value(value));
      return int64_t{0};
    };
    EXPECT_EQ(enumerate(d, collect, &all), 0);
    return all.found;
  }

  void compare(xp_obj *d) {
    pairs wanted;
    for (const auto &[key, entry] : model) {
      if (entry.value != 0 || !has(XP_DICT_SKIPNULLS)) wanted.emplace_back(entry.spelling, entry.value);
    }
    std::sort(wanted.begin(), wanted.end());
    ASSERT_EQ(xp_dict_count(d), model.size());
    ASSERT_EQ(met(xp_dict_enumsorted, d), wanted);
    pairs any = met(xp_dict_enum, d);
    const xp::ref keys = xp::ref::adopt(xp_dict_travnew(d));
    const xp::ref values = xp::ref::adopt(xp_dict_travobjnew(d));
    for (const auto &[key, value] : any) {
      ASSERT_EQ(taken(xp_trav_next(keys.get())), key);
      const int64_t next = value == 0 ? 0 : take_value(xp_trav_next(values.get()));
      ASSERT_EQ(next, value);
    }
    ASSERT_EQ(xp_trav_next(keys.get()), nullptr);
    ASSERT_EQ(xp_trav_next(values.get()), nullptr);
    std::sort(any.begin(), any.end());
    ASSERT_EQ(any, wanted);
  }

  // The same content in a dictionary that is made at once, or copied from such a one.
  xp::ref at_once() const {
    std::vector<xp::dict_member> members;
    for (const auto &[key, entry] : model) {
      const std::string &name = entry.spelling;
      const auto length = static_cast<uint32_t>(name.size());
      const uint32_t hash = xp::dict_hash::of(name.data(), length, true);
      // A later member takes the place of an earlier one.
      if (length % 8 == 7) members.push_back({xp_number_new(99), name.data(), length, hash});
      members.push_back({make_value(entry.value), name.data(), length, hash});
    }
    xp::ref made = xp::ref::adopt(xp::dict_of(members));
    const xp::dict_model like = xp::dict_model_of(made.get(), members.size());
    const bool distinct = members.size() == model.size();
    EXPECT_EQ(like.dictionary != nullptr, distinct && !members.empty() && members.size() <= 16);
    if (like.dictionary == nullptr) return made;
    for (const xp::dict_member &m : members)
      xp_retain(m.value);
    return xp::ref::adopt(xp::dict_like(like, members));
  }

  void clear_odd(xp_obj *d) {
    xp_dict_enumclear(
        d,
        [](xp_obj *, const char *, int64_t, xp_obj *value, void *raw) -> int64_t {
          return (raw != nullptr ? reinterpret_cast<intptr_t>(value) : xp_value(value)) & 1;
        },
        has(XP_DICT_RAW) ? this : nullptr);
    for (auto &[key, entry] : model)
      entry.value = entry.value % 2 != 0 ? 0 : entry.value;
  }

  void random_step(xp_obj *d, random_source &random) {
    std::string key = random_key(random);
    uint32_t dice = random() % 64;
    if (dice < 20) {
      fetch(d, key);
    } else if (dice < 30) {
      ASSERT_EQ(xp_dict_erase(d, key.data(), length_of(key)), 0);
      model.erase(canonical(key));
    } else if (dice == 30) {
      clear_odd(d);
    } else if (dice == 31 && random() % 8 == 0) {
      xp_dict_clear(d);
      for (auto &[at, entry] : model)
        entry.value = 0;
    } else if (dice == 32) {
      ASSERT_EQ(xp_dict_learn(d, -1), learning);
      ASSERT_EQ(xp_dict_learn(d, !learning), learning);
      learning = !learning;
    } else {
      store(d, key, static_cast<int64_t>(random() % 50), random() % 2 == 0);
    }
  }

  std::map<std::string, model_entry> model;
  bool learning = false;

private:
  unsigned calls_ = 0;
};

TEST_P(dict_model, agrees_with_a_map) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  random_source random(seed);
  // Small ones, then a large one.
  for (int round = 1; round <= 60; ++round) {
    learning = has(XP_DICT_LEARN);
    model.clear();
    xp::ref d = xp::ref::adopt(xp_dict_new(GetParam()));
    for (int i = 0; i < (round == 60 ? 6000 : 40); ++i) {
      random_step(d.get(), random);
      if (GetParam() == XP_DICT_NOCASE && random() % 16 == 0) {
        d = at_once();
        learning = false;
        compare(d.get());
      }
      if (i % 200 == 0) compare(d.get());
      if (HasFatalFailure()) FAIL() << "at step " << i << " of round " << round;
    }
    compare(d.get());

    // A duplicate has the same content and none of the same objects.
    xp::ref copy = xp::ref::adopt(xp_duplicate(d.get(), 0));
    if (has(XP_DICT_RECYCLE)) std::erase_if(model, [](const auto &item) { return item.second.value == 0; });
    compare(copy.get());
  }
}

INSTANTIATE_TEST_SUITE_P(flags, dict_model,
                         testing::Values(0, XP_DICT_NOCASE, XP_DICT_RECYCLE, XP_DICT_SKIPNULLS, XP_DICT_RAW,
                                         XP_DICT_LOCKED, XP_DICT_LEARN | XP_DICT_BUCKETS_8K,
                                         XP_DICT_RAW | XP_DICT_RECYCLE | XP_DICT_NOCASE,
                                         XP_DICT_LOCKED | XP_DICT_RECYCLE | XP_DICT_SKIPNULLS));

TEST(dict_hash, words_give_what_bytes_give) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  using namespace xp::dict_hash;
  random_source random(seed);
  EXPECT_EQ(by_bytes("", 0, false), 5381u);
  EXPECT_EQ(by_bytes("a", 1, false), 5381u * 33 + 'a');
  EXPECT_EQ(by_bytes("a", 1, true), 5381u * 33 + 'A');
  auto same = [](const std::string &a, const std::string &b, bool nocase) {
    // An entry's key has its value in front of it.
    std::string entry = "in front" + b;
    uint64_t x = last_word(a.data(), a.size());
    uint64_t y = last_word_inside(entry.data() + 8, b.size());
    if (nocase) x = fold_word(x), y = fold_word(y);
    return x == y && same_front(a.data(), entry.data() + 8, a.size(), nocase);
  };
  for (size_t length = 0; length <= 255; ++length) {
    std::string key(length, '\0');
    for (char &c : key)
      c = static_cast<char>(random());
    std::string folded = key;
    for (char &c : folded)
      c = static_cast<char>(fold(static_cast<unsigned char>(c)));
    const std::string behind = std::string(tail_size, 'x') + key;
    for (bool nocase : {false, true}) {
      const uint32_t hash = by_bytes(key.data(), length, nocase);
      EXPECT_EQ(of(key.data(), length, nocase), hash);
      EXPECT_EQ(by_words(key.data(), length, nocase), hash);
      if (length == 0 || length > tail_size) continue;
      EXPECT_EQ(of_tail(behind.data() + behind.size(), length, nocase), hash);
    }
    EXPECT_EQ(of(key.data(), length, true), of(folded.data(), length, false));
    if (length == 0) continue;  // no key
    EXPECT_TRUE(same(key, folded, true));
    // One bit apart, at any place: never the same key, unless it is a letter's case bit.
    for (size_t bit = 0; bit < 8 * length; ++bit) {
      std::string near = key;
      near[bit / 8] = static_cast<char>(near[bit / 8] ^ (1 << bit % 8));
      bool letters =
          fold(static_cast<unsigned char>(near[bit / 8])) == static_cast<unsigned char>(folded[bit / 8]);
      EXPECT_EQ(same(key, near, true), letters);
      EXPECT_FALSE(same(key, near, false));
    }
  }
}

TEST(dict_small_index, compares_all_tags_as_one_by_one) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  random_source random(seed);
  for (int i = 0; i < 1000; ++i) {
    xp::dict::small_index index;
    index.init(0, false);
    for (uint8_t &tag : index.tags)
      tag = static_cast<uint8_t>(random() % 4 == 0 ? 0 : 0x80 | random() % 4);
    for (int tag : {0x80, 0x81, 0x83, 0xFF}) {
      auto wanted = static_cast<uint8_t>(tag);
      EXPECT_EQ(index.places_with(wanted), index.places_with_plain(wanted));
    }
  }
}

}  // namespace
