// JSON that a strict parser accepts is the same tree to us, wherever the two grammars agree. Beside all that
// ours accepts and strict JSON forbids, they differ in these:
//
// - Our root is a container.
// - Our keys keep their escapes, are 1 to 255 bytes long, and equal when they differ in the case of letters
// alone.
// - Escaped, "u", "b" and "f" stand for themselves.
// - Integers beyond 64 bits with sign are floats.
// - Floats beyond the range are infinite rather than refused.
// - There are 32 nodes at most in each other: containers, the keys that lead to them, and a value.

#include "tests/support/leak_check.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/dict/hash.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/json_build.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <bit>
#include <random>
#include <set>
#include <string>
#include <string_view>

namespace {

using json_strict = leak_check;

constexpr uint32_t seed = 20261121;

class generator {
public:
  explicit generator(uint32_t from) : random_(from) {}

  size_t below(size_t n) { return random_() % n; }

  template <size_t n>
  std::string_view one_of(const std::string_view (&of)[n]) {
    return of[below(n)];
  }

  // A container in which `nodes` places are left for itself and what is inside; a deep one takes them all.
  std::string container(size_t nodes, bool deep) {
    const bool object = nodes > 3 && below(2) == 0;
    const size_t inside = nodes - (object ? 2 : 1);
    size_t size = below(4) == 0 ? below(25) : below(5);
    if (inside == 0) size = 0;
    if (inside > 0 && deep && size == 0) size = 1;
    std::string text = object ? "{" : "[";
    for (size_t i = 0; i < size; ++i) {
      if (i > 0) text += blank() + ",";
      text += blank();
      if (object) text += key(i) + blank() + ":" + blank();
      const bool deeper = deep && i == 0;
      text += inside > 1 && (deeper || below(7) == 0) ? container(inside, deeper) : scalar();
    }
    return text + blank() + (object ? "}" : "]");
  }

  // One byte changed, left out or put in.
  void damage(std::string &text) {
    static constexpr std::string_view bytes = "0123456789-+.eE\"\\/ntrux[]{},: ";
    const size_t at = below(text.size());
    switch (below(3)) {
      case 0: text[at] = bytes[below(bytes.size())]; break;
      case 1: text.erase(at, 1); break;
      default: text.insert(at, 1, bytes[below(bytes.size())]);
    }
  }

private:
  std::string blank() { return below(8) == 0 ? std::string(one_of({" ", "\n", "\r\n", "\t  "})) : ""; }

  std::string letters() {
    return std::string(one_of({"a", "Zz", " ", "{", "]", ",:", "\x7F", "0123456789abcdef", "\xC3\xA9",
                               "\xE2\x82\xAC", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80", "'", "\xED\x9F\xBF"}));
  }

  std::string key(size_t i) {
    std::string text = "\"" + std::to_string(i);
    for (size_t left = below(6); left > 0; --left)
      text += letters();
    return text + "\"";
  }

  std::string string() {
    std::string text = "\"";
    for (size_t left = below(12) == 0 ? below(300) : below(12); left > 0; --left)
      text += below(6) == 0 ? std::string(one_of({R"(\")", R"(\\)", R"(\/)", R"(\n)", R"(\r)", R"(\t)"}))
                            : letters();
    return text + "\"";
  }

  std::string digits(size_t most) {
    std::string text(1, static_cast<char>('1' + below(9)));
    for (size_t left = below(most); left > 0; --left)
      text += static_cast<char>('0' + below(10));
    return text;
  }

  std::string number() {
    std::string text = below(3) == 0 ? "-" : "";
    text += below(5) == 0 ? "0" : digits(below(4) == 0 ? 25 : 6);
    if (below(3) == 0) text += "." + std::string(below(4), '0') + digits(below(4) == 0 ? 25 : 5);
    // A zero with an exponent reads as a large number there.
    const bool zero = text.find_first_of("123456789") == text.npos;
    if (!zero && below(5) == 0)
      text += std::string(one_of({"e", "E"})) + std::string(one_of({"", "-", "+"})) + digits(2);
    return text;
  }

  std::string scalar() {
    switch (below(4)) {
      case 0: return std::string(one_of({"true", "false", "null"}));
      case 1: return number();
      default: return string();
    }
  }

  std::mt19937 random_;
};

std::string folded(const rapidjson::Value &key) {
  std::string text(key.GetString(), key.GetStringLength());
  for (char &c : text)
    c = static_cast<char>(xp::dict_hash::fold(static_cast<unsigned char>(c)));
  return text;
}

// Whether the tree's keys are the same to both, and it needs no more nodes than are left.
bool shared(const rapidjson::Value &value, int nodes) {
  if (value.IsObject()) {
    std::set<std::string> keys;
    for (const auto &[key, member] : value.GetObject()) {
      const std::string text = folded(key);
      if (text.empty() || text.size() > 255 || !keys.insert(text).second || !shared(member, nodes - 2))
        return false;
      if (text.find_first_of("\"\\/\n\r\t") != text.npos) return false;
    }
  } else if (value.IsArray()) {
    for (const auto &element : value.GetArray()) {
      if (!shared(element, nodes - 1)) return false;
    }
  }
  return nodes > 0;
}

bool same(const rapidjson::Value &value, xp_obj *node);

bool same_members(const rapidjson::Value &value, xp_obj *dict) {
  if (xp_type(dict) != xp_dict_type() || xp_dict_count(dict) != value.MemberCount()) return false;
  for (const auto &[key, member] : value.GetObject()) {
    const xp::ref ours = xp::ref::adopt(xp_dict_fetch(dict, key.GetString(), key.GetStringLength()));
    if (!same(member, ours.get())) return false;
  }
  return true;
}

bool same_elements(const rapidjson::Value &value, xp_obj *array) {
  if (xp_type(array) != xp_array_type() || xp_array_length(array) != value.Size()) return false;
  for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
    if (!same(value[i], xp::ref::adopt(xp_array_get(array, i)).get())) return false;
  }
  return true;
}

bool same_number(const rapidjson::Value &value, xp_obj *number) {
  if (xp_type(number) != xp_number_type()) return false;
  if (value.IsInt64()) return xp_number_isfloat(number) == 0 && xp_value(number) == value.GetInt64();
  const double theirs = value.GetDouble();
  return xp_number_isfloat(number) == 1 &&
         std::bit_cast<uint64_t>(xp_number_float(number)) == std::bit_cast<uint64_t>(theirs);
}

bool same(const rapidjson::Value &value, xp_obj *node) {
  switch (value.GetType()) {
    case rapidjson::kObjectType: return same_members(value, node);
    case rapidjson::kArrayType: return same_elements(value, node);
    case rapidjson::kNumberType: return same_number(value, node);
    case rapidjson::kStringType:
      return xp_type(node) == xp_str_type() &&
             std::string_view(xp_str_getptr(node), static_cast<size_t>(xp_str_length(node))) ==
                 std::string_view(value.GetString(), value.GetStringLength());
    case rapidjson::kNullType: return node == nullptr;
    default: return xp_type(node) == xp_code("bool") && (xp_value(node) != 0) == value.GetBool();
  }
}

// Escapes that differ, and zeros with an exponent, which read as large numbers there.
bool perhaps_different(std::string_view text) {
  for (const char *part : {"\\b", "\\f", "\\u", "0e", "0E"}) {
    if (text.find(part) != text.npos) return true;
  }
  return false;
}

TEST_F(json_strict, what_a_strict_parser_accepts_is_the_same_tree) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  generator random(seed);
  int accepted = 0;
  int damaged = 0;
  for (int i = 0; i < 6000; ++i) {
    std::string text = random.container(32, i % 16 < 2);
    const bool whole = i % 2 == 0;
    if (!whole) random.damage(text);
    rapidjson::Document document;
    document.Parse<rapidjson::kParseFullPrecisionFlag | rapidjson::kParseValidateEncodingFlag>(text.data(),
                                                                                               text.size());
    ASSERT_TRUE(!whole || !document.HasParseError()) << text;
    if (document.HasParseError() || !(document.IsObject() || document.IsArray()) || !shared(document, 32))
      continue;
    if (!whole && perhaps_different(text)) continue;
    const xp::ref tree = xp::ref::adopt(xp::json_build(text));
    ASSERT_TRUE(same(document, tree.get())) << text;
    (whole ? accepted : damaged) += 1;
  }
  EXPECT_EQ(accepted, 3000);
  EXPECT_GT(damaged, 300);
}

}  // namespace
