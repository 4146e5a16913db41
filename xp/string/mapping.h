// Strings in upper case, lower case and normal forms, and the repair of texts that are not UTF-8. Pure
// functions, safe from any thread.

#ifndef XP_STRING_MAPPING_H
#define XP_STRING_MAPPING_H

#include "xp/object/object.h"

#include <stdint.h>

// --- Case and normal forms: a new string, or `s` retained when nothing changes ---
// `s` is also what a text that is not well-formed UTF-8 gives, a text of 2 GB or more, and exhausted memory.

// Unicode's full case mapping without regard to a locale: one letter may become several, and a final sigma is
// known by where it stands.
xp_obj *xp_str_upper(xp_obj *s);
xp_obj *xp_str_lower(xp_obj *s);

// Form 0 NFC, 1 NFD, 2 NFKC, 3 NFKD; any other gives `s`.
xp_obj *xp_str_normalize(xp_obj *s, int32_t form);

// --- Repair ---
// Each maximal part of a sequence that is cut short becomes one U+FFFD, each byte that can begin no sequence
// another, as the Unicode standard recommends ("substitution of maximal subparts"): E2 82 41 gives U+FFFD A,
// and F0 80 80 41 gives three U+FFFD and A.

// `s` retained when it is well-formed UTF-8 (RFC 3629), else a new string. Null when memory is exhausted.
xp_obj *xp_str_repair(xp_obj *s);

// A new string of the raw text, repaired; of a null text the empty string.
xp_obj *xp_str_txtrepair(const char *text, int64_t length);
xp_obj *xp_str_strrepair(const char *text);

// xp_str_txtvalid of a zero-terminated text.
int64_t xp_str_strvalid(const char *text);

#endif
