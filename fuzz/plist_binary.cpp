// The reader of binary property lists, over bytes as they are and over objects that get a header, an offset
// table and a trailer that lead to them. A fault lies inside the list and has a reason. A tree is no deeper
// and has no more values than the reader promises; a copy has the same checksum, and what it is written as,
// XML and JSON, reads back with the same checksum where the form can hold all of its values.

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/copy.h"
#include "xp/plist/plist.h"
#include "xp/plist/reader.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr int64_t most_written = 5000;  // values; larger trees are not worth the time
constexpr int64_t json_depth = 15;      // a level of objects takes two of the reader's 32 nodes

void require(bool held, const char *what) {
  if (held) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// What a tree holds, and which forms of text can hold that.
struct survey {
  int64_t values = 0;
  int64_t depth = 0;
  int64_t deepest = 0;
  bool json = true;
  bool xml = true;
};

void look_at(survey &tree, xp_obj *value);

// Bytes that an escape, a rule of XML or a fold of letters may change.
void look_at_text(survey &tree, std::string_view text, bool key) {
  for (const char byte : text) {
    if (static_cast<unsigned char>(byte) < ' ') tree.json = tree.xml = false;
    if (key && (byte == '"' || byte == '\\' || (byte >= 'A' && byte <= 'Z'))) tree.json = false;
  }
  if (text.find("\xEF\xBF\xBE") != text.npos || text.find("\xEF\xBF\xBF") != text.npos) tree.xml = false;
}

int64_t look_at_entry(xp_obj * /*dict*/, const char *key, int64_t length, xp_obj *value, void *context) {
  auto &tree = *static_cast<survey *>(context);
  look_at_text(tree, {key, static_cast<size_t>(length)}, true);
  look_at(tree, value);
  return 0;
}

int64_t look_at_member(xp_obj * /*array*/, int64_t /*index*/, xp_obj *value, void *context) {
  auto &tree = *static_cast<survey *>(context);
  if (value == nullptr) tree.xml = false;
  look_at(tree, value);
  return 0;
}

void look_at(survey &tree, xp_obj *value) {
  ++tree.values;
  tree.deepest = std::max(tree.deepest, ++tree.depth);
  const uint32_t type = xp_type(value);
  if (type == xp_dict_type()) {
    xp_dict_enum(value, look_at_entry, &tree);
  } else if (type == xp_array_type()) {
    xp_array_enum(value, look_at_member, &tree);
  } else if (type == xp_str_type()) {
    look_at_text(tree, {xp_str_getptr(value), static_cast<size_t>(xp_str_length(value))}, false);
  } else if (type == xp_number_type()) {
    if (!std::isfinite(xp_number_float(value))) tree.json = tree.xml = false;
  } else if (type == xp_data_type()) {
    tree.json = false;
  } else if (type == xp_date_type()) {
    tree.json = tree.xml = false;
  } else {
    require(value == nullptr || type == xp_boolean_type(), "a tree holds nothing else");
  }
  --tree.depth;
}

int64_t checksum(xp_obj *list, int32_t style) {
  require(xp_plist_setstyle(list, style) == 0, "there is such a style");
  return xp_plist_checksum(list);
}

void survives(const xp::ref &list, int32_t style) {
  const xp::ref text = xp::ref::adopt(xp_plist_string(list.get(), style, 1));
  const xp::ref read =
      xp::ref::adopt(xp_plist_parse(xp_str_getptr(text.get()), xp_str_length(text.get()), style));
  require(static_cast<bool>(read), "what was written can be read");
  require(checksum(read.get(), style) == checksum(list.get(), style), "and is the same tree");
}

void check(const xp::ref &root, int64_t size) {
  survey tree;
  look_at(tree, root.get());
  require(tree.values <= std::max<int64_t>(1000000, size * 16), "no more values than promised");
  require(tree.deepest <= xp::deepest_list + 1, "no deeper than promised");
  if (tree.values > most_written) return;
  const xp::ref list = xp::ref::adopt(xp_plist_make(root.get()));
  const xp::ref copy = xp::ref::adopt(xp_plist_copy(list.get()));
  require(checksum(copy.get(), XP_PLIST_JSON) == checksum(list.get(), XP_PLIST_JSON),
          "a copy is the same tree");
  if (tree.xml) survives(list, XP_PLIST_XML);
  if (tree.json && tree.deepest <= json_depth && tree.deepest > 1) survives(list, XP_PLIST_JSON);
}

void read(std::string_view bytes) {
  const std::unique_ptr<char[]> exact(new char[bytes.size()]);
  bytes.copy(exact.get(), bytes.size());
  const auto size = static_cast<int64_t>(bytes.size());
  xp_plist_fault fault{};
  const xp::ref root = xp::ref::adopt(xp::read_binary({exact.get(), bytes.size()}, fault));
  if (root) return check(root, size);
  require(fault.reason != nullptr, "a fault has a reason");
  require(fault.offset >= 0 && fault.offset <= size, "a fault lies inside the list");
}

// The first byte is the number of objects, the next ones lead to them, the rest are the objects. References
// and offsets are bytes.
void read_framed(std::string_view text) {
  if (text.empty()) return;
  const auto count = std::min(size_t{static_cast<unsigned char>(text[0])} + 1, text.size() - 1);
  if (count == 0) return;
  const std::string_view leads = text.substr(1, count);
  const std::string objects = std::string(text.substr(1 + count)) + '\0';
  std::string list = "bplist00" + objects;
  for (const char lead : leads)
    list += static_cast<char>(8 + static_cast<unsigned char>(lead) % std::min<size_t>(objects.size(), 240));
  list.append(6, '\0').append("\1\1", 2);
  for (const size_t number : {count, size_t{0}, 8 + objects.size()}) {
    for (int shift = 56; shift >= 0; shift -= 8)
      list += static_cast<char>(number >> shift & 0xFF);
  }
  read(list);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char *>(data), size);
  if (bytes.starts_with("bplist")) {
    read(bytes);
    xp_release(xp_plist_parse(bytes.data(), static_cast<int64_t>(size), XP_PLIST_DETECT));
  } else {
    read_framed(bytes);
  }
  return 0;
}
