// Property lists in XML: five forms of text, each with a reader of its own, over xp_xml_parse (whose rules
// hold: UTF-8 or what the text says, nothing expands, nothing is fetched). A reader gives a new tree, or null
// with *fault (never null) telling where and why: a text that is not well-formed, an element that the form
// does not know or that stands where it cannot, a value that cannot be read, memory ("out of memory"). Safe
// from any thread.
//
// What holds for all forms:
//  - Dictionaries tell letters of keys apart (flags 0). Of equal keys the last value counts. A key that is
//    longer than dictionaries keep is cut in front of the character that does not fit. An empty key is a
//    fault, for no dictionary holds it.
//  - Text is taken as it stands, marked sections (CDATA) included, line breaks as "\n" (XML's own rule).
//    White space around numbers, dates, booleans and base64, and between elements, means nothing; other text
//    there is a fault. An element inside a value that is text is a fault.
//  - Containers nest 512 levels deep (xp::deepest_list); one more is a fault.
//  - Attributes that are not named below, and the version of a list, are ignored.
//  - An integer is decimal or, behind 0x, hexadecimal, with or without a sign; beyond 64 bits with a sign it
//    becomes a float. A real is decimal, with or without an exponent, or "inf", "infinity", "nan", in any
//    case and with or without a sign. Base64 is read leniently. A date is ISO 8601, UTC when it names no
//    zone.

#ifndef XP_PLIST_XML_FORMS_H
#define XP_PLIST_XML_FORMS_H

#include "xp/object/object.h"
#include "xp/plist/fault.h"

#include <stdint.h>

#include <string_view>

// The XML property list format (style 0): <plist> around one value, or that value alone.
//   <dict> <key>..</key> value ..   dictionary; a key without a value, a value without a key are faults
//   <array> value ..                array
//   <string> <integer> <real>       string; number; <date> a date; <data> data of base64
//   <true/> <false/>                booleans
xp_obj *xp_plist_plistparser(std::string_view text, xp_plist_fault *fault);

// The dictionary file (style 0): one dictionary of strings.
//   <dict> <translation> <string>text</string> <string>its translation</string> </translation> ..
// The first string is the key. A translation with one string alone translates into the empty string.
xp_obj *xp_plist_dicparser(std::string_view text, xp_plist_fault *fault);

// XML-RPC (style 6): a dictionary. A call has the keys "methodName" and "params", an array (empty when the
// call has none); a response "params" or, instead, "fault" with the fault's value.
//   <struct> <member> <name>..</name> <value>..   dictionary; <array> <data> <value>.. array
//   <string> <int> <i4> <double> <base64>         string; integer; float; data
//   <boolean>                                     1 or 0; true and false are read, too
//   <dateTime.iso8601>                            date
//   <value>text</value>                           string; white space beside an element in it means nothing
xp_obj *xp_plist_xmlrpcparser(std::string_view text, xp_plist_fault *fault);

// SOAP (style 6): the root's name ends in ":Envelope". An element with elements inside is a dictionary of
// them by their names without prefix; any other is the string of its text. Elements of one name in one parent
// become an array of their values in that key, which is no level of its own. Attributes, types among them,
// are ignored, so all leaves are strings. The result is the envelope's dictionary (of "Header" and "Body"),
// also when it is empty.
xp_obj *xp_plist_soapparser(std::string_view text, xp_plist_fault *fault);

// The item list (style 7): one list, item or field.
//   <list>                 array of the lists, items and fields inside
//   <item>                 dictionary of the fields, lists and items inside, each by its attribute "label",
//                          else "ident", else "rel"; one without a key is a fault
//   <field type="..">      by its type: "text" (also without one) a string, "long" an integer, "real" a
//                          float, "data" data, "date" a date, "boolean" a boolean (true, false, 1, 0); "link"
//                          a URL, that of the attribute "href" when it is there, else the text; a string when
//                          it is no URL by its grammar. A type "true" or "false" is that boolean, and no text
//                          may stand inside; an empty field without a type is null
//   <field> <list> or <item> </field>   that container, whatever the type
xp_obj *xp_plist_xmlparser(std::string_view text, xp_plist_fault *fault);

#endif
