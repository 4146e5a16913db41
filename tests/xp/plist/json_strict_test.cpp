// Three ways to read JSON: in one pass, by tokenizer and builder, and by a strict parser of others. The first
// two make the same of every text. What the strict one takes is the same tree to it, as long as the two
// grammars agree. Beside all that ours accepts and strict JSON forbids, they differ in these:
//
// - Our root is a container.
// - Our keys keep their escapes, are 1 to 255 bytes long, and equal when they differ in the case of letters
// alone.
// - Escaped, "u", "b" and "f" stand for themselves.
// - Integers beyond 64 bits with sign are floats.
// - There are 32 nodes at most in each other: containers, the keys that lead to them, and a value.

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/json_build.h"
#include "xp/plist/json_tree.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <map>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using json_strict = leak_check;
using xp::ref;

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

  // A list of records, most of which have the keys of the one before, some others all but so.
  std::string records(int level) {
    std::vector<std::string> keys(below(4) == 0 ? below(20) : below(5));
    for (std::string &key : keys)
      key = record_key() + (below(2) == 0 ? std::to_string(below(20)) : "");
    const auto at = [&](size_t place) { return keys.begin() + static_cast<ptrdiff_t>(place); };
    std::string text = "[";
    for (size_t left = below(6); left > 0; --left) {
      if (below(3) == 0) keys.insert(at(below(keys.size() + 1)), record_key());
      if (below(3) == 0 && !keys.empty()) keys.erase(at(below(keys.size())));
      text += '{';
      for (const std::string &key : keys)
        text += '"' + key + "\":" + (below(10) == 0 && level < 3 ? records(level + 1) : scalar()) + ',';
      text += below(9) == 0 ? "\"last\":}" : "}";
    }
    return text + ']';
  }

  // A byte changed or left out, or something put in.
  void damage(std::string &text) {
    static constexpr std::string_view bytes = "0123456789-+.eE\"\\/ntrux[]{},: ";
    const size_t at = below(text.size());
    switch (below(4)) {
      case 0: text[at] = bytes[below(bytes.size())]; break;
      case 1: text.erase(at, 1); break;
      case 2: text.insert(at, 1, bytes[below(bytes.size())]); break;
      default:
        text.insert(at,
                    one_of({"007", "1-2", "1.", "\\x4a", "\\101", "\\u", "tru", "Null", "\xC3", "[[", "}"}));
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

  std::string record_key() {
    static constexpr size_t long_ones[] = {40, 255, 256};
    if (below(4) == 0) return std::string(long_ones[below(3)], 'k');
    return std::string(
        one_of({"a", "B", "b", "A", "id", "name", "exactly8", "longer than a word", R"(\"q\\)", "\xC3\xA9"}));
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

std::string outline(const rapidjson::Value &value) {
  std::string text;
  std::map<std::string, std::string> members;
  switch (value.GetType()) {
    case rapidjson::kObjectType:
      for (const auto &[key, member] : value.GetObject())
        members[{key.GetString(), key.GetStringLength()}] = outline(member);
      for (const auto &[key, member] : members)
        text.append(key).append(":").append(member) += ",";
      return "{" + text + "}";
    case rapidjson::kArrayType:
      for (const auto &element : value.GetArray())
        text += outline(element) + ",";
      return "[" + text + "]";
    case rapidjson::kNumberType:
      return value.IsInt64() ? std::to_string(value.GetInt64())
                             : taken(xp_number_newfloat(value.GetDouble()));
    case rapidjson::kStringType: return '"' + std::string(value.GetString(), value.GetStringLength()) + '"';
    case rapidjson::kNullType: return "null";
    default: return value.GetBool() ? "true" : "false";
  }
}

// The same of a tree of ours, with the entries of dictionaries in the order in which `walk` tells them. Each
// must also be found.
struct outliner {
  decltype(&xp_dict_enum) walk;
  std::string text;

  static int64_t member(xp_obj *dict, const char *key, int64_t length, xp_obj *value, void *to) {
    auto &all = *static_cast<outliner *>(to);
    EXPECT_EQ(ref::adopt(xp_dict_fetch(dict, key, length)).get(), value);
    all.text.append(key, static_cast<size_t>(length)) += ":";
    all.add(value);
    all.text += ",";
    return 0;
  }

  void add(xp_obj *node) {
    if (xp_type(node) == xp_dict_type()) {
      text += "{";
      walk(node, member, this);
      text += "}";
    } else if (xp_type(node) == xp_array_type()) {
      text += "[";
      for (int64_t i = 0; i < xp_array_length(node); ++i, text += ",")
        add(ref::adopt(xp_array_get(node, i)).get());
      text += "]";
    } else {
      text += xp_type(node) == xp_str_type() ? '"' + text_of(node) + '"' : text_of(node);
    }
  }
};

std::string outline(const ref &tree, decltype(&xp_dict_enum) walk) {
  outliner all{walk, {}};
  all.add(tree.get());
  return all.text;
}

TEST_F(json_strict, readers_agree) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  generator random(seed);
  for (int i = 0; i < 9000; ++i) {
    const bool strict = i % 3 != 0;
    const bool whole = i % 2 == 0;
    std::string text = strict ? random.container(32, i % 16 < 2) : random.records(0);
    if (!whole) random.damage(text);
    // In a block of its own size, where a step too far is seen.
    const auto block = std::make_unique<char[]>(text.size());
    text.copy(block.get(), text.size());
    const ref tree = ref::adopt(xp::json_build({block.get(), text.size()}));
    const ref in_steps = ref::adopt(xp_plist_jsontree(block.get(), std::ssize(text)));
    ASSERT_EQ(outline(tree, xp_dict_enum), outline(in_steps, xp_dict_enum)) << text;

    if (!strict || !whole) continue;
    rapidjson::Document document;
    document.Parse<rapidjson::kParseFullPrecisionFlag | rapidjson::kParseValidateEncodingFlag>(text.data(),
                                                                                               text.size());
    ASSERT_FALSE(document.HasParseError()) << text;
    ASSERT_EQ(outline(tree, xp_dict_enumsorted), outline(document)) << text;
  }
}

}  // namespace
