// Kinds of strings beside ordinary and constant ones: adopted, tagged, valued and secure strings. They differ
// in what they carry and in how they end; every other operation of xp/string/string.h works on all of them
// alike. New strings made from one of them are ordinary: neither tag, value nor secrecy travels along.

#ifndef XP_STRING_KINDS_H
#define XP_STRING_KINDS_H

#include "xp/object/object.h"

#include <stdint.h>

// --- Adopted ---

// A string over a zero-terminated text from xp_alloc, which is not copied: the string takes it over and frees
// it at its end. When memory is exhausted the text is freed and null returned, so a caller never frees it.
xp_obj *xp_str_alloc(char *text);

// --- Tagged: an ordinary text with a 64-bit tag, fixed at birth ---

xp_obj *xp_str_newtagged(const char *text, uint64_t tag);
xp_obj *xp_str_maketagged(const char *text, int64_t length, uint64_t tag);

// The tag; 0 for a string without one.
uint64_t xp_str_gettag(xp_obj *s);

// --- Valued: an ordinary text with an object, which the string retains ---

// A null object is allowed.
xp_obj *xp_str_newvalued(const char *text, xp_obj *value);
xp_obj *xp_str_makevalued(const char *text, int64_t length, xp_obj *value);

// A new reference to the object; null when there is none, or `s` is not valued. A thread that asks at the
// very moment another one does may be told null: see xp_retrieve.
xp_obj *xp_str_getvalue(xp_obj *s);

// Puts another object, or none, in its place. 1 when `s` is valued, else 0 and nothing happens. Safe from any
// thread.
int32_t xp_str_setvalue(xp_obj *s, xp_obj *value);

// --- Secure ---

// Makes an ordinary or an adopted string overwrite its text with zeros when its last reference goes; strings
// of other kinds stay as they are. For passwords: call it before the string is shared. Returns `s` itself,
// not a new reference.
xp_obj *xp_str_secure(xp_obj *s);

#endif
