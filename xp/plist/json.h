// The JSON reader: an event-driven tokenizer that allocates nothing, calls a handler for each value and for
// each container's opening and closing, and stops at the first fault. More lenient than RFC 8259: commas are
// optional, literals ignore case, control bytes and bytes from 128 on between tokens are skipped.

#ifndef XP_PLIST_JSON_H
#define XP_PLIST_JSON_H

#include <stdint.h>

#include <string_view>

enum xp_json_kind : int32_t {
  XP_JSON_OBJECT = 0,
  XP_JSON_ARRAY = 1,
  XP_JSON_STRING = 2,
  XP_JSON_NUMBER = 3,
  XP_JSON_BOOLEAN = 4,
  XP_JSON_NULL = 5,
};

enum xp_json_event : int32_t {
  XP_JSON_VALUE = 0,  // a string, number, boolean or null
  XP_JSON_OPEN = 1,   // a container opens
  XP_JSON_CLOSE = 2,  // a container closes
};

enum : int64_t {
  XP_JSON_OK = 0,           // the whole text was read and every container closed; also for an empty text
  XP_JSON_TOO_DEEP = -1,    // more than 32 nodes were needed
  XP_JSON_NOT_OPEN = -2,    // a closing bracket with no open container
  XP_JSON_TRUNCATED = -3,   // the text ended inside a container
  XP_JSON_BAD_TOKEN = -4,   // a byte that cannot start a token, or a misspelt true, false or null
  XP_JSON_BAD_SYNTAX = -5,  // a token in the wrong place
};

// What the handler sees; valid during the call, a container's and its key's until the container has closed.
// `text` points into the input.
struct xp_json_node {
  xp_json_node *parent;    // enclosing container, or null
  xp_json_node *previous;  // for a value inside an object, the node of its key; else null
  xp_json_kind kind;
  int64_t length;    // bytes at `text`
  const char *text;  // strings: what is between the quotes, raw; numbers: their characters; booleans: "1"/"0"
};

// A nonzero result stops the tokenizer, which returns it. `link` is 1 for a value or container inside an
// array, the key's node (as an integer) inside an object, else 0.
using xp_json_handler = int64_t (*)(xp_json_event event, xp_json_node *node, void *context, int64_t link);

// Tokenizes a zero-terminated text: an XP_JSON_ result or the handler's. A null handler only checks the text.
int64_t xp_json_parse(const char *text, xp_json_handler handler, void *context);

// The same for `length` bytes, which need no terminating zero; a zero byte among them ends the text.
int64_t xp_json_parsetext(const char *text, int64_t length, xp_json_handler handler, void *context);

// The same for a text without zero bytes; `place` becomes the offset of the token at which reading stopped,
// the text's size where its end was reached.
int64_t xp_json_locate(std::string_view text, xp_json_handler handler, void *context, int64_t *place);

// 1 when the node's text equals the name, ASCII letters folded; else 0, also for a node of kind null.
int32_t xp_json_nodenamed(const xp_json_node *node, const char *name, int64_t length);

// The node's text as an unsigned integer: "0x" and hexadecimal digits, or decimal digits with an optional K,
// M or G (powers of 1024) that ends it. Reading stops at any other byte; what exceeds 64 bits wraps.
// Deliberate: a minus sign ends the number at once, so negative numbers read as 0 here.
uint64_t xp_json_nodevalue(const xp_json_node *node);

#endif
