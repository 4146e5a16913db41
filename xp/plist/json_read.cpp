// Reading JSON as a property list: the tree, or what is wrong and where. A text is read by the fast way
// first; only one that cannot be read is gone through again, by a handler that builds nothing and looks for
// what the builder refuses.

#include "xp/plist/json.h"
#include "xp/plist/json_build.h"
#include "xp/plist/reader.h"

namespace {

// Results of the handler, beside those of the tokenizer.
enum : int64_t {
  second_root = 1,
  empty_key = 2,
};

struct search {
  int32_t depth;  // open containers
  bool root;      // one has closed
};

int64_t look(xp_json_event event, xp_json_node *node, void *context, int64_t) {
  search &at = *static_cast<search *>(context);
  if (event == XP_JSON_OPEN) {
    if (at.root) return second_root;
    ++at.depth;
    return XP_JSON_OK;
  }
  if (event == XP_JSON_CLOSE) at.root = --at.depth == 0;
  return node->previous != nullptr && node->previous->length == 0 ? int64_t{empty_key} : XP_JSON_OK;
}

const char *reason_of(int64_t result, bool root) {
  switch (result) {
    case XP_JSON_TOO_DEEP: return "more than 32 nodes in each other";
    case XP_JSON_NOT_OPEN: return "a closing bracket without an opening one";
    case XP_JSON_TRUNCATED: return "the text ends inside a container";
    case XP_JSON_BAD_TOKEN: return "neither a value nor a bracket";
    case XP_JSON_BAD_SYNTAX: return "a token in the wrong place";
    case second_root: return "a second value after the first";
    case empty_key: return "an empty key";
    default: return root ? "out of memory" : "no value";
  }
}

}  // namespace

xp_obj *xp::read_json(std::string_view text, xp_plist_fault &fault) {
  xp_obj *tree = json_build(text);
  if (tree != nullptr) return tree;
  search at = {.depth = 0, .root = false};
  const int64_t result = xp_json_locate(text, look, &at, &fault.offset);
  fault.reason = reason_of(result, at.root);
  return nullptr;
}
