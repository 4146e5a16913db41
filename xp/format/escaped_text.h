// Texts through the engine's string stage, and back. For the other escapes use the directive with its flags,
// such as "%s{:~}". Pure functions.
//
// The form is that of xp_fmt_text: at most size - 1 bytes and a terminating zero; the bytes written, or with
// a null buffer the length of the whole text. A length below 0: the text is zero-terminated. Neither a
// character nor an escape is cut.

#ifndef XP_FORMAT_ESCAPED_TEXT_H
#define XP_FORMAT_ESCAPED_TEXT_H

#include <stdint.h>

// Percent-encoding as of "%+s": every byte but letters, digits and -._~ as "%" and two upper-case digits.
int64_t xp_fmt_escapetext(char *buffer, int64_t size, const char *text, int64_t length);

// Takes back every escape that the engine begins with "%": two hexadecimal digits in either case, %dquo;
// %amp; %lt; %gt; and a byte in decimal, %#39; or %#233;. A "%" that begins none of them is itself. A zero
// byte is written like any other.
int64_t xp_fmt_decodetext(char *buffer, int64_t size, const char *text, int64_t length);

// ASCII letters in upper case, in lower case; all other bytes as they are.
int64_t xp_fmt_uppertext(char *buffer, int64_t size, const char *text, int64_t length);
int64_t xp_fmt_lowertext(char *buffer, int64_t size, const char *text, int64_t length);

#endif
