// A reader of XML 1.0 that tells what it meets: an element opens, with its attributes, text, an element
// closes. It builds nothing, keeps nothing and never recurses; time and memory grow with the text alone.
// Reading is safe from any thread.
//
//  - The text is UTF-8, or what its byte order mark or its XML declaration says: UTF-16, ISO-8859-1,
//    US-ASCII. Handlers always get UTF-8, well formed, without zero bytes.
//  - Names are told as written, prefix and colon included. Comments, processing instructions and the
//    document type are passed over; marked sections (CDATA) count as text. Nothing is ever fetched.
//  - Nothing expands: beside the five entities of XML itself (lt, gt, amp, quot, apos) and numbers (&#38;) a
//    reference is a fault, and so is a document type that declares anything of its own.

#ifndef XP_SERVICE_XML_H
#define XP_SERVICE_XML_H

#include <stdint.h>

#include <string_view>

// Limits; one past any of them is a fault.
enum : int64_t {
  XP_XML_DEEPEST = 2048,             // elements open at a time
  XP_XML_LONGEST_NAME = 1024,        // bytes of an element's or an attribute's name
  XP_XML_MOST_ATTRIBUTES = 256,      // of an element
  XP_XML_LONGEST_TEXT = 1LL << 29U,  // bytes of a whole text
};

// Where and why reading stopped. Plain values, nothing to release.
struct xp_xml_fault {
  int64_t offset;      // bytes from the beginning of the text to the markup or text that could not be taken
  const char *reason;  // a literal: lower case, no full stop
};

// The attributes of an element, in the order of the text; borrowed for the time of the call.
struct xp_xml_attributes {
  const char *const *pairs;  // names and values by turns, zero-terminated
  int64_t count;             // of attributes
};

// What is called with each event; all three must be there. Names and texts are borrowed for the time of the
// call; a text may come in several pieces, none of them empty. Null goes on; otherwise the result is the
// reason, a literal, for which reading stops there.
struct xp_xml_handler {
  const char *(*opens)(void *context, std::string_view name, const xp_xml_attributes *attributes);
  const char *(*closes)(void *context);  // the innermost open element
  const char *(*text)(void *context, std::string_view piece);
};

// Reads a whole text. 0; or -1 when it is not well-formed, passes a limit, a handler stopped it, or memory is
// exhausted ("out of memory"), with *fault (unless null) telling more. Events before the fault have been
// told.
int32_t xp_xml_parse(const char *text, int64_t length, const xp_xml_handler *handler, void *context,
                     xp_xml_fault *fault);

// The value of an attribute, borrowed as the attributes are; null when it is not there.
const char *xp_xml_attribute(const xp_xml_attributes *attributes, const char *name);

#endif
