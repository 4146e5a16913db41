// Nodes of a property list by their path (xp/plist/plist.h) as plain values, and plain values stored at a
// path. Texts of styles that know nothing but strings are taken for what they say: "12" is a number, "true" a
// boolean, base64 is data. A node that is missing or null, is a container or says nothing of the kind reads
// as 0, or null; who must tell those apart asks xp_plist_get. For one thread at a time, as the list is.

#ifndef XP_PLIST_VALUE_H
#define XP_PLIST_VALUE_H

#include "xp/object/object.h"

#include <stdint.h>

// --- Getting ---

// The integer value (xp_value): of numbers, cut towards zero; of booleans; of strings that begin with one.
int64_t xp_plist_getvalue(xp_obj *p, const char *path);

// The number as a float; of a string what xp_number_parse reads; of a boolean 1 or 0.
double xp_plist_getnumber(xp_obj *p, const char *path);

// 1 or 0: a boolean; a number that is not 0; a string that is "true", "yes" or "on" in any case, or begins
// with a number that is not 0.
int32_t xp_plist_getboolean(xp_obj *p, const char *path);

// The text of a string, zero-terminated and borrowed: good until the list changes. Null for anything else.
const char *xp_plist_getstring(xp_obj *p, const char *path);

// The text of anything but a container or data as a string object: a string itself, of other objects a new
// one.
xp_obj *xp_plist_getxpstr(xp_obj *p, const char *path);

// The same text into a buffer, as xp_textify gives it: at most `capacity` bytes, without a terminating zero.
// The bytes written, or with a null buffer those that are needed.
int64_t xp_plist_gettext(xp_obj *p, const char *path, char *buffer, int64_t capacity);

// Data; of a string that is base64, either alphabet, with line breaks and padding or without, new data of its
// bytes.
xp_obj *xp_plist_getdata(xp_obj *p, const char *path);

// A four-character code: the first four bytes of a string, missing ones as zero bytes; a number's lower 32
// bits.
uint32_t xp_plist_gettag(xp_obj *p, const char *path);

// --- Setting: as xp_plist_set does, 0 or -1 ---

int32_t xp_plist_setboolean(xp_obj *p, const char *path, int32_t value);

// A number without a fraction below 2^53 becomes an integer, any other a float.
int32_t xp_plist_setnumber(xp_obj *p, const char *path, double value);

// A copy of the text; of the bytes. A null text is the empty string; null bytes are zeros.
int32_t xp_plist_setstring(xp_obj *p, const char *path, const char *text, int64_t length);
int32_t xp_plist_setdata(xp_obj *p, const char *path, const void *bytes, int64_t length);

// A string of the code's characters; zero bytes at its end are left out.
int32_t xp_plist_settag(xp_obj *p, const char *path, uint32_t tag);

// What a text says when a person types it: true, false and null (stored as a null value); a number as JSON
// writes one, so that "007" and "1.2.3" stay texts; an object or array of JSON. Everything else is a string
// as it stands, a text that only begins like one of these among it.
int32_t xp_plist_seteval(xp_obj *p, const char *path, const char *text, int64_t length);

#endif
