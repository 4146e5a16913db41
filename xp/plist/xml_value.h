// Texts of XML lists as values. Each takes the whole text, white space around it aside (strings: as it
// stands), and gives a new object or the reason why there is none. Internal to the readers of XML lists;
// what is taken stands in xp/plist/xml_forms.h.

#ifndef XP_PLIST_XML_VALUE_H
#define XP_PLIST_XML_VALUE_H

#include "xp/plist/xml_tree.h"

#include <string_view>

namespace xp {

inline bool is_blank(char byte) {
  return byte == ' ' || byte == '\n' || byte == '\t' || byte == '\r';
}

inline bool is_blank(std::string_view text) {
  for (const char byte : text) {
    if (!is_blank(byte)) return false;
  }
  return true;
}

xml_value xml_string(std::string_view text);
xml_value xml_integer(std::string_view text);
xml_value xml_real(std::string_view text);
xml_value xml_boolean(std::string_view text);
xml_value xml_data(std::string_view text);
xml_value xml_date(std::string_view text);
xml_value xml_link(std::string_view text);

// A boolean that an element or an attribute names already.
xml_value xml_truth(bool truth);

}  // namespace xp

#endif
