// Output styles of the property-list writer, as records of the texts that stand around each kind of node. The
// writer knows no style by number; a new style is a new record. Records exist for the styles 1, 2 and 8
// (JSON).

#ifndef XP_PLIST_STYLE_H
#define XP_PLIST_STYLE_H

#include <stdint.h>

#include <string_view>

enum : uint32_t {
  XP_STYLE_LINES = 1,  // a line break and indentation per item
  XP_STYLE_FLAT = 4,   // no indentation all the same
};

// What stands before and after something. A text whose data() is null is absent, which only the null text
// tells from an empty one.
struct xp_plist_around {
  std::string_view before;
  std::string_view after;
};

struct xp_plist_style {
  int32_t number;
  uint32_t flags;              // XP_STYLE_
  xp_plist_around document;    // header and footer of the whole text
  xp_plist_around array;       // open and close
  xp_plist_around object;      // open and close, nested levels
  xp_plist_around key;         // nested levels
  xp_plist_around top_object;  // the same two at the top level
  xp_plist_around top_key;
  xp_plist_around data;  // around base64
  xp_plist_around string;
  xp_plist_around integer;
  xp_plist_around real;
  xp_plist_around url;
  xp_plist_around boolean;
  xp_plist_around date;
  xp_plist_around quote;              // around a string that holds a byte of `special`
  std::string_view special;           // bytes that need escaping or quoting
  std::string_view object_lead;       // before the first item of an object
  std::string_view object_separator;  // before later items
  std::string_view array_lead;        // before the first item of an array
  std::string_view array_separator;   // before later items
  std::string_view null;              // a null value; absent: keys with null values are never written
};

// The record of a style number; that of style 1 for a number without one.
const xp_plist_style &xp_plist_stylerecord(int32_t number);

#endif
