// Output styles of the property-list writer, as records of the texts that stand around each kind of node. The
// writer knows no style by number; a new style is a new record.
//
//   0  the XML property list format            5  CSS-like blocks
//   1  compact JSON                            6  item list in XML, on one line
//   2  JSON, one item per line                 7  item list in XML, one item per line
//   3  sections                                8  compact JSON without a final line break
//   4  URL query
//
// What a form can hold, and what becomes of the rest:
//
//  - All forms but JSON and XML read back as trees of dictionaries and strings. An array, and a dictionary
//    that nests deeper than `levels`, is written there as a string: its text in style 8.
//  - XML (0, 6, 7) is well formed whatever strings and keys hold. Control bytes that XML has no character for
//    become spaces and bytes that are no UTF-8 (U+FFFE and U+FFFF too) "?", one each, as in JSON. Carriage
//    returns are character references, as are line breaks and tabs in attributes; a "]]>" is spread over two
//    CDATA sections. In keys, which never are CDATA, & < > and the quote are entities. Infinite and undefined
//    reals are "inf", "-inf" and "nan". Style 0 has no text for null: nothing stands in its place.
//  - An item list labels the value's own element: <field label="a" type="long">1</field>. Without a key, in
//    arrays and at the top, that is <field type="long">1</field>, and a container is its bare <list> or
//    <item>; with a key it stands inside of <field label="a"> and </field>. Null is an empty field without a
//    type.
//  - Sections (3) are the dictionaries of the root: "[name]" and "name=value" lines. Any other value of the
//    root is a line "[name]=value". A comma ends each line but the last.
//  - CSS-like (5) dictionaries are blocks: "name {" at the top, "name:{" below; values "name:value;".
//  - Keys and values of 3 and 5 that hold a byte of `special`, or begin or end with white space, stand in
//    quotes with each quote among them doubled; zero bytes become spaces.
//  - Everything in a URL query (4) but integers and booleans is percent-encoded, keys too.

#ifndef XP_PLIST_STYLE_H
#define XP_PLIST_STYLE_H

#include <stdint.h>

#include <string_view>

enum : uint32_t {
  XP_STYLE_LINES = 1,    // a line break and indentation per item
  XP_STYLE_FLAT = 4,     // no indentation all the same
  XP_STYLE_CODED = 768,  // keys and values are percent-encoded
};

// How strings and keys are kept from being taken for something else.
enum class xp_plist_escape : uint8_t {
  literal,  // as string literals; keys as they are
  percent,  // percent-encoded
  quotes,   // in quotes, which double inside
  markup,   // in CDATA; keys with entities
};

// What stands before and after something. A text whose data() is null is absent: there is no such thing in
// the style.
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
  std::string_view object_lead;       // before the first item of an object; not at a top without brackets
  std::string_view object_separator;  // before later items
  std::string_view array_lead;        // before the first item of an array
  std::string_view array_separator;   // before later items
  std::string_view null;              // a null value; absent: keys with null values are never written

  // Beyond the texts that every style has:
  xp_plist_escape escape;
  xp_plist_around element;    // of a value without a key, of a container with one; absent: no such element
  xp_plist_around top_value;  // a key at the top level whose value is no dictionary
  int32_t levels;             // of dictionaries inside each other, as far as the style can hold them
};

// The record of a style number; that of style 1 for a number without one.
const xp_plist_style &xp_plist_stylerecord(int32_t number);

#endif
