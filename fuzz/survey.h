// What a tree holds, and which forms of text can hold that.

#ifndef FUZZ_SURVEY_H
#define FUZZ_SURVEY_H

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/service/url.h"
#include "xp/string/string.h"

#include <stdint.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace fuzz {

class survey {
public:
  explicit survey(xp_obj *tree) { look_at(tree); }

  // Everything comes back from JSON (depth aside), from an XML property list, from an item list.
  bool json = true;
  bool xml = true;
  bool items = true;

  bool known = true;  // nothing in it that no reader makes
  int64_t values = 0;
  int64_t deepest = 0;

private:
  static int64_t look_at_entry(xp_obj * /*dict*/, const char *key, int64_t length, xp_obj *value,
                               void *self) {
    auto &me = *static_cast<survey *>(self);
    me.look_at_text({key, static_cast<size_t>(length)}, true);
    // A null in an XML property list is a key without a value, and so left out as in all checksums there.
    me.look_at(value);
    return 0;
  }

  static int64_t look_at_member(xp_obj * /*array*/, int64_t /*index*/, xp_obj *value, void *self) {
    auto &me = *static_cast<survey *>(self);
    if (value == nullptr) me.xml = false;
    me.look_at(value);
    return 0;
  }

  // Bytes that an escape, a rule of XML or a fold of letters may change.
  void look_at_text(std::string_view text, bool key) {
    for (const char byte : text) {
      if (static_cast<unsigned char>(byte) < ' ') json = false;
      if (static_cast<unsigned char>(byte) < ' ' && byte != '\t' && byte != '\n' && byte != '\r')
        xml = items = false;
      if (key && (byte == '"' || byte == '\\' || (byte >= 'A' && byte <= 'Z'))) json = false;
    }
    if (text.find("\xEF\xBF\xBE") != text.npos || text.find("\xEF\xBF\xBF") != text.npos) xml = items = false;
  }

  // Whole seconds, in years of four digits.
  static bool can_be_written(int64_t milliseconds) {
    constexpr int64_t year_0 = -62167219200;
    constexpr int64_t year_10000 = 253402300800;
    const int64_t seconds = milliseconds / 1000;
    return milliseconds % 1000 == 0 && seconds >= year_0 && seconds < year_10000;
  }

  void look_at(xp_obj *value) {
    ++values;
    deepest = std::max(deepest, ++depth_);
    const uint32_t type = xp_type(value);
    if (type == xp_dict_type()) {
      xp_dict_enum(value, look_at_entry, this);
    } else if (type == xp_array_type()) {
      xp_array_enum(value, look_at_member, this);
    } else if (type == xp_str_type()) {
      look_at_text({xp_str_getptr(value), static_cast<size_t>(xp_str_length(value))}, false);
    } else if (type == xp_number_type()) {
      if (!std::isfinite(xp_number_float(value))) json = false;
      if (std::isnan(xp_number_float(value))) xml = items = false;
    } else if (type == xp_data_type()) {
      json = false;
    } else if (type == xp_date_type()) {
      json = xml = false;
      if (!can_be_written(xp_date_ms(value))) items = false;
    } else if (type == xp_url_type()) {
      json = xml = false;
    } else if (value != nullptr && type != xp_boolean_type()) {
      known = false;
    }
    --depth_;
  }

  int64_t depth_ = 0;
};

}  // namespace fuzz

#endif
