// The short way for property lists as programs write them: UTF-8, the declaration and document type of the
// format, elements without attributes (but for the version), text, marked sections, the five predefined
// entities. It understands a part of XML and nothing else, so it never says what is wrong: what it does not
// take, the XML reader reads. What it takes, the XML reader reads to the same tree. Internal to the readers
// of XML lists.

#ifndef XP_PLIST_XML_PLAIN_H
#define XP_PLIST_XML_PLAIN_H

#include "xp/plist/xml_form.h"

#include <string_view>

namespace xp {

// Whether the text is such a list; `form`, which must be a new one, has read it then, and something of it
// otherwise.
bool read_plain_plist(std::string_view text, xml_plist_form &form);

}  // namespace xp

#endif
