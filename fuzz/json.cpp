// The JSON readers and the writer: a text becomes a tree, the same by both readers, the tree a text, that one
// a tree and a text again. The two texts are equal, and so are the checksums of what is read from them; that
// of the first tree too, unless it holds what a text cannot. But for the keys, which are written as read, the
// text is strict JSON in every style; measuring, a buffer, a string and a stream agree.

#include "fuzz/strict_json.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/json_build.h"
#include "xp/plist/json_tree.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

void require(bool held, const char *what) {
  if (held) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

std::string_view text_of(const xp::ref &string) {
  return {xp_str_getptr(string.get()), static_cast<size_t>(xp_str_length(string.get()))};
}

// The text in a style, made in every way there is.
xp::ref written(xp_obj *tree, int32_t style) {
  xp::ref string = xp::ref::adopt(xp_plist_string(tree, style, 1));
  require(static_cast<bool>(string), "a string is made");
  const std::string_view text = text_of(string);
  const auto size = static_cast<int64_t>(text.size());
  require(xp_plist_stringify(tree, style, 1, nullptr, 0) == size, "measured length equals the length");
  const std::unique_ptr<char[]> buffer(new char[text.size() / 2]);
  const int64_t fits = xp_plist_stringify(tree, style, 1, buffer.get(), size / 2);
  require(std::string_view(buffer.get(), static_cast<size_t>(fits)) == text.substr(0, text.size() / 2),
          "a short buffer takes the beginning");
  require(fuzz::strict_json(text).holds(), "the text is strict JSON");
  return string;
}

// The same code with and without a terminating zero, the bytes in a block of exactly their size.
int64_t read(std::string_view text, xp_plist_jsonstate &state) {
  const std::unique_ptr<char[]> exact(new char[text.size()]);
  const std::unique_ptr<char[]> terminated(new char[text.size() + 1]);
  text.copy(exact.get(), text.size());
  text.copy(terminated.get(), text.size());
  terminated[text.size()] = '\0';
  const auto size = static_cast<int64_t>(text.size());
  const int64_t checked = xp_json_parse(terminated.get(), nullptr, nullptr);
  require(xp_json_parsetext(exact.get(), size, nullptr, nullptr) == checked, "one code for one text");
  require(checked <= XP_JSON_OK && checked >= XP_JSON_BAD_SYNTAX, "the code is among the listed");
  const int64_t built = xp_json_parsetext(exact.get(), size, xp_plist_jsonparser, &state);
  require(built == checked || built == -1, "the builder stops with -1 only");
  return built;
}

// The reader of one pass, on a block of exactly the text's size.
xp::ref built_at_once(std::string_view text) {
  const std::unique_ptr<char[]> exact(new char[text.size()]);
  text.copy(exact.get(), text.size());
  return xp::ref::adopt(xp::json_build({exact.get(), text.size()}));
}

xp::ref list_of(std::string_view text, int32_t style) {
  return xp::ref::adopt(xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), style));
}

// Whether all that a tree of this text holds comes back when it is written: no bytes that the writer
// replaces, no escapes that could make such bytes, no numbers beyond the range of floats.
bool comes_back(std::string_view text) {
  for (const char c : text) {
    if (c < ' ' || c > '~' || c == '\\' || c == 'e' || c == 'E') return false;
  }
  return text.size() < 300;
}

void round_trip(xp_obj *tree, std::string_view source) {
  const xp::ref first = written(tree, XP_PLIST_JSON);
  for (int32_t style : {XP_PLIST_JSON, XP_PLIST_JSON_INDENTED, XP_PLIST_JSON_BARE}) {
    const xp::ref text = written(tree, style);
    const xp::ref list = list_of(text_of(text), style);
    require(static_cast<bool>(list), "what was written can be read");
    const xp::ref second = xp::ref::adopt(xp_plist_string(list.get(), XP_PLIST_JSON, 1));
    require(text_of(second) == text_of(first), "the second text equals the first");
    const int64_t sum = xp_plist_checksum(list.get());
    const xp::ref third = list_of(text_of(second), XP_PLIST_JSON);
    require(xp_plist_checksum(third.get()) == sum, "the trees of both are equal");
    if (!comes_back(source)) continue;
    const xp::ref original = list_of(source, style);
    require(xp_plist_checksum(original.get()) == sum, "the first tree comes back");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  xp_plist_jsonstate state{};
  const bool holds = read(text, state) == XP_JSON_OK && state.root != nullptr;
  const xp::ref at_once = built_at_once(text.substr(0, text.find('\0')));
  require(static_cast<bool>(at_once) == holds, "both readers accept the same");
  if (holds) {
    require(text_of(written(at_once.get(), XP_PLIST_JSON)) == text_of(written(state.root, XP_PLIST_JSON)),
            "both readers make the same");
    round_trip(state.root, text);
  }
  xp_plist_jsonclear(&state);
  xp_release(xp_plist_parse(text.data(), static_cast<int64_t>(size), XP_PLIST_DETECT));
  return 0;
}
