// The reader of binary property lists, over bytes as they are and over objects that get a header, an offset
// table and a trailer that lead to them. A fault lies inside the list and has a reason. A tree is no deeper
// and has no more values than the reader promises; a copy has the same checksum, and what it is written as,
// XML, an item list and JSON, reads back with the same checksum where the form can hold all of its values.

#include "fuzz/survey.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/copy.h"
#include "xp/plist/plist.h"
#include "xp/plist/reader.h"

#include <algorithm>
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
  const fuzz::survey tree(root.get());
  require(tree.known, "a tree holds nothing else");
  require(tree.values <= std::max<int64_t>(1000000, size * 16), "no more values than promised");
  require(tree.deepest <= xp::deepest_list + 1, "no deeper than promised");
  if (tree.values > most_written) return;
  const xp::ref list = xp::ref::adopt(xp_plist_make(root.get()));
  const xp::ref copy = xp::ref::adopt(xp_plist_copy(list.get()));
  require(checksum(copy.get(), XP_PLIST_JSON) == checksum(list.get(), XP_PLIST_JSON),
          "a copy is the same tree");
  if (tree.xml) survives(list, XP_PLIST_XML);
  if (tree.items) survives(list, XP_PLIST_ITEMS_INDENTED);
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
