// The readers of XML lists. The chain gives what trying the five readers in turn gives; the short way for
// plain property lists gives what the XML reader gives; and what was read can be written in every XML style
// and read again: the same tree where the style can hold all of it, and without a change from then on.

#include "fuzz/survey.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/plist.h"
#include "xp/plist/reader.h"
#include "xp/plist/style.h"
#include "xp/plist/xml_forms.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

void require(bool held, const char *what) {
  if (held) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

int64_t sum_of(const xp::ref &tree) {
  return xp_plist_ichecksum(tree.get(), &xp_plist_stylerecord(XP_PLIST_ITEMS), 0);
}

bool same(const xp::ref &a, const xp::ref &b) {
  return static_cast<bool>(a) == static_cast<bool>(b) && (!a || sum_of(a) == sum_of(b));
}

struct reading {
  xp::ref tree;
  int32_t style = -1;
  xp_plist_fault fault = {.offset = -1, .reason = nullptr};
};

reading read(std::string_view text) {
  reading one;
  const std::unique_ptr<char[]> exact(new char[text.size()]);
  text.copy(exact.get(), text.size());
  one.tree = xp::ref::adopt(xp::read_xml({exact.get(), text.size()}, one.style, one.fault));
  if (one.tree) return one;
  require(one.fault.reason != nullptr, "a fault has a reason");
  require(one.fault.offset >= 0 && one.fault.offset <= static_cast<int64_t>(text.size()),
          "a fault lies in the text");
  return one;
}

void check_chain(std::string_view text, const reading &chained) {
  const struct {
    xp_obj *(*parse)(std::string_view text, xp_plist_fault *fault);
    int32_t style;
  } parsers[] = {{xp_plist_plistparser, 0},
                 {xp_plist_dicparser, 0},
                 {xp_plist_xmlrpcparser, 6},
                 {xp_plist_soapparser, 6},
                 {xp_plist_xmlparser, 7}};
  for (const auto &one : parsers) {
    xp_plist_fault fault{};
    const xp::ref tree = xp::ref::adopt(one.parse(text, &fault));
    if (!tree) continue;
    require(same(tree, chained.tree) && one.style == chained.style, "the chain is the first that reads");
    return;
  }
  require(!chained.tree, "the chain reads what one of them reads");
}

std::string written(const xp::ref &tree, int32_t style) {
  const xp::ref text = xp::ref::adopt(xp_plist_string(tree.get(), style, 1));
  require(static_cast<bool>(text), "a text is made");
  return {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))};
}

int64_t sum_in(const xp::ref &tree, int32_t style) {
  return xp_plist_ichecksum(tree.get(), &xp_plist_stylerecord(style), 0);
}

// The first writing may lose what a style cannot hold (nulls, milliseconds); nothing is lost after that.
void check_round_trip(const xp::ref &tree, int32_t style, bool holds_all) {
  const std::string first = written(tree, style);
  const reading again = read(first);
  require(static_cast<bool>(again.tree), "what was written can be read");
  require(!holds_all || sum_in(again.tree, style) == sum_in(tree, style), "the first tree comes back");
  const std::string second = written(again.tree, style);
  require(style == XP_PLIST_XML || first == second, "the second text equals the first");
  require(same(read(second).tree, again.tree), "the second tree equals the first");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  const reading first = read(text);
  check_chain(text, first);
  const std::string_view whole = text.substr(0, text.find('\0'));
  if (whole.size() == size) {
    // A comment at the end keeps the short way from being taken.
    require(same(read(std::string(text) + "<!---->").tree, first.tree), "both ways read the same");
  }
  if (!first.tree) return 0;
  const fuzz::survey tree(first.tree.get());
  require(tree.known, "a tree holds nothing else");
  require(tree.deepest <= XP_PLIST_DEEPEST + 1, "every tree can be written");
  check_round_trip(first.tree, XP_PLIST_XML, tree.xml);
  check_round_trip(first.tree, XP_PLIST_ITEMS, tree.items);
  check_round_trip(first.tree, XP_PLIST_ITEMS_INDENTED, tree.items);
  return 0;
}
