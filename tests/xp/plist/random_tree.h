// Random trees of what a form can hold.

#ifndef TESTS_XP_PLIST_RANDOM_TREE_H
#define TESTS_XP_PLIST_RANDOM_TREE_H

#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/service/url.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

struct tree_shape {
  // A letter for each kind of value: null, integer, float, half (a fraction that every program reads alike),
  // boolean, time, data, string, url; Array, Dictionary, which stand last. What stands there twice comes
  // twice as often.
  std::string_view kinds;
  int levels = 4;              // of containers
  unsigned lowest_byte = 256;  // texts hold bytes from this one on; 256: they are well-formed
  size_t longest = 80;         // bytes of a text, now and then
  bool returns = true;         // texts hold carriage returns
};

class random_trees {
public:
  random_trees(const tree_shape &shape, uint32_t seed) : shape_(shape), random_(seed) {}

  size_t below(size_t limit) { return random_() % limit; }

  xp::ref value(int levels) {
    const size_t containers = shape_.kinds.find_first_of("AD");
    const size_t kinds = levels > 0 ? shape_.kinds.size() : std::min(containers, shape_.kinds.size());
    const auto bits = static_cast<int64_t>(uint64_t{random_()} << 32 | random_()) >> below(64);
    switch (shape_.kinds[below(kinds)]) {
      case 'i': return num(bits);
      case 'f': return xp::ref::adopt(xp_number_newfloat(static_cast<double>(bits) / std::pow(10, below(9))));
      case 'h': return xp::ref::adopt(xp_number_newfloat(static_cast<double>(below(1000000)) / 64));
      case 'b': return xp::ref::adopt(xp_boolean_new(bits & 1));
      case 't': return xp::ref::adopt(xp_date_make(bits & 0xFFFFFFFF));
      case 'd': return data(text());
      case 's': return str(text());
      case 'u': return xp::ref::adopt(xp_url_new("http://a/?b=1&c", -1));
      case 'A': return array(levels);
      case 'D': return dict(levels);
      default: return nullptr;
    }
  }

  // No two keys differ in the case of letters alone.
  xp::ref dict(int levels) {
    static constexpr uint32_t flags[] = {0, XP_DICT_LOCKED, XP_DICT_SKIPNULLS, XP_DICT_NOCASE};
    xp::ref result = xp::ref::adopt(xp_dict_new(flags[below(4)]));
    for (size_t left = size(); left > 0; --left) {
      const std::string key = "k" + std::to_string(left) + text();
      xp_dict_store(result.get(), key.data(), std::ssize(key), value(levels - 1).get());
    }
    return result;
  }
  xp::ref dict() { return dict(shape_.levels); }

  xp::ref array(int levels) {
    xp::ref result = xp::ref::adopt(xp_array_new(static_cast<uint32_t>(below(2)) * XP_ARRAY_LOCKED));
    for (size_t left = size(); left > 0; --left)
      xp_array_insert(result.get(), value(levels - 1).get(), -1);
    return result;
  }

  std::string text() {
    std::string result;
    for (size_t left = below(16) == 0 ? below(shape_.longest) : below(9); left > 0; --left) {
      if (shape_.lowest_byte < 256 && below(9) == 0)
        result += static_cast<char>(shape_.lowest_byte + below(256 - shape_.lowest_byte));
      else
        result += below(4) != 0 && left > 9 ? "a" : piece();
    }
    if (!shape_.returns) std::replace(result.begin(), result.end(), '\r', '\n');
    return result;
  }

private:
  std::string_view piece() {
    static constexpr std::string_view pieces =
        "a|Zz|1|end| "
        "|\n|\r|\t|\r\n|,|]]>|<![CDATA[|&lt;|<&>|=|[|]|{|}|;|:|/*|*/|#|%|%41|+|\"|\"|'|\\|\\|?|-->|"
        "\xC3\xA4|\xE4\xB8\xAD|\xF0\x9F\x98\x80|";
    const size_t end = pieces.find('|', below(pieces.size()));
    const size_t begin = pieces.rfind('|', end - 1) + 1;
    return pieces.substr(begin, end - begin);
  }

  static xp::ref data(const std::string &bytes) {
    return xp::ref::adopt(xp_data_new(bytes.data(), std::ssize(bytes)));
  }

  size_t size() { return below(8) == 0 ? below(20) : below(5); }

  tree_shape shape_;
  std::mt19937 random_;
};

#endif
