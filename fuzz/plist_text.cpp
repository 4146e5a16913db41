// The readers of the text forms and the writer of all nine styles: the first byte chooses sections, URL
// arguments, CSS-like blocks or detection, the rest is the text. A fault lies inside the text. A tree is
// written in every style, in every way there is; what is XML reads as XML again, what is JSON is strict but
// for its keys. In its own style the tree reads back the same; a copy has the same text and checksum.

#include "fuzz/strict_json.h"
#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/copy.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

void require(bool held, const char *what) {
  if (held) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

xp::ref read(std::string_view text, int32_t style) {
  // In a block of exactly its size.
  const std::unique_ptr<char[]> exact(new char[text.size()]);
  text.copy(exact.get(), text.size());
  const auto size = static_cast<int64_t>(text.size());
  xp_plist_fault fault{};
  xp::ref list = xp::ref::adopt(xp_plist_read(exact.get(), size, style, &fault));
  if (!list) {
    require(fault.reason != nullptr, "a fault has a reason");
    require(fault.offset >= 0 && fault.offset <= size, "a fault lies inside the text");
  }
  return list;
}

std::string written(xp_obj *tree, int32_t style) {
  const xp::ref string = xp::ref::adopt(xp_plist_string(tree, style, 1));
  require(static_cast<bool>(string), "a string is made");
  return {xp_str_getptr(string.get()), static_cast<size_t>(xp_str_length(string.get()))};
}

int64_t append(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return length;
}

// The text in a style, made in every way there is.
std::string written_each_way(xp_obj *tree, int32_t style) {
  std::string text = written(tree, style);
  const auto size = static_cast<int64_t>(text.size());
  require(xp_plist_stringify(tree, style, 1, nullptr, 0) == size, "measured length equals the length");
  const std::unique_ptr<char[]> buffer(new char[text.size() / 2]);
  const int64_t fits = xp_plist_stringify(tree, style, 1, buffer.get(), size / 2);
  require(std::string_view(buffer.get(), static_cast<size_t>(fits)) == text.substr(0, text.size() / 2),
          "a short buffer takes the beginning");
  std::string streamed;
  require(xp_plist_streamify(tree, style, 1, append, &streamed) == size, "all is streamed");
  require(streamed == text, "the stream is the text");
  return text;
}

bool is_xml(int32_t style) {
  return style == XP_PLIST_XML || style == XP_PLIST_ITEMS || style == XP_PLIST_ITEMS_INDENTED;
}

bool is_json(int32_t style) {
  return style == XP_PLIST_JSON || style == XP_PLIST_JSON_INDENTED || style == XP_PLIST_JSON_BARE;
}

// Whether keys can be told from what stands around them in JSON, into which they are written raw.
int64_t has_wild_key(xp_obj *, const char *key, int64_t length, xp_obj *value, void *) {
  const std::string_view text(key, static_cast<size_t>(length));
  if (text.find_first_of("\"\\") != std::string_view::npos) return 1;
  return xp_dict_enum(value, has_wild_key, nullptr);
}

void write_all(xp_obj *list, xp_obj *tree, bool json_keys) {
  for (int32_t style = 0; style < XP_PLIST_STYLES; ++style) {
    const std::string text = written_each_way(tree, style);
    if (is_xml(style)) require(static_cast<bool>(read(text, XP_PLIST_XML)), "the XML is well formed");
    if (is_json(style) && json_keys) require(fuzz::strict_json(text).holds(), "the JSON is strict");
  }
  const xp::ref copy = xp::ref::adopt(xp_plist_copy(list));
  require(xp_plist_checksum(copy.get()) == xp_plist_checksum(list), "a copy has the same checksum");
  require(written(copy.get(), XP_PLIST_JSON) == written(tree, XP_PLIST_JSON), "a copy has the same text");
}

// JSON keys are for the JSON fuzzer; XML may hold what its text has no characters for.
void round_trip(xp_obj *tree, int32_t style) {
  const std::string first = written(tree, style);
  const xp::ref again = read(first, style);
  require(static_cast<bool>(again), "what was written can be read");
  const xp::ref root = xp::ref::adopt(xp_plist_get(again.get(), nullptr));
  require(written(root.get(), style) == first, "the second text equals the first");
  require(written(root.get(), XP_PLIST_JSON) == written(tree, XP_PLIST_JSON),
          "the second tree equals the first");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static constexpr int32_t styles[] = {XP_PLIST_SECTIONS, XP_PLIST_QUERY, XP_PLIST_CSS, XP_PLIST_DETECT};
  if (size == 0) return 0;
  const xp::ref list = read({reinterpret_cast<const char *>(data + 1), size - 1}, styles[data[0] % 4]);
  if (!list) return 0;
  const int32_t style = xp_plist_getstyle(list.get());
  const xp::ref root = xp::ref::adopt(xp_plist_get(list.get(), nullptr));
  const bool json_keys = style == XP_PLIST_JSON || xp_dict_enum(root.get(), has_wild_key, nullptr) == 0;
  write_all(list.get(), root.get(), json_keys && !is_xml(style));
  if (!is_json(style) && !is_xml(style)) round_trip(root.get(), style);
  return 0;
}
