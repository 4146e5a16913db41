#include "xp/service/xml.h"

#include "xp/object/memory.h"

#include <expat.h>
#include <string.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr const char *out_of_memory = "out of memory";
constexpr const char *not_predefined = "a reference to an entity that XML does not predefine";

// --- The parser's heap ---

// The parser goes on with the old block when one cannot be resized, which the runtime's own function would
// have freed. So each block knows its size, and resizing copies.
struct alignas(std::max_align_t) block {
  size_t size;
};

void *take(size_t size) {
  if (size > PTRDIFF_MAX - sizeof(block)) return nullptr;
  auto *taken = static_cast<block *>(xp_alloc(sizeof(block) + size));
  if (taken == nullptr) return nullptr;
  taken->size = size;
  return taken + 1;
}

void give(void *bytes) {
  if (bytes != nullptr) xp_free(static_cast<block *>(bytes) - 1);
}

void *resize(void *bytes, size_t size) {
  void *resized = take(size);
  if (resized == nullptr || bytes == nullptr) return resized;
  memcpy(resized, bytes, std::min(size, (static_cast<block *>(bytes) - 1)->size));
  give(bytes);
  return resized;
}

constexpr XML_Memory_Handling_Suite heap = {.malloc_fcn = take, .realloc_fcn = resize, .free_fcn = give};

// --- References in raw markup ---

// A text in units of one or two bytes; a unit that is not ASCII reads as 0.
class raw_text {
public:
  raw_text(const char *bytes, size_t size, size_t unit, size_t low)
      : bytes_(bytes), units_(size / unit), unit_(unit), low_(low) {}

  size_t size() const { return units_; }

  char at(size_t i) const {
    const char *unit = bytes_ + i * unit_;
    return unit_ == 2 && unit[1 - low_] != 0 ? '\0' : unit[low_];
  }

  // Whether `word` and a semicolon stand at a place.
  bool names(size_t at_unit, std::string_view word) const {
    if (units_ - at_unit <= word.size()) return false;
    for (size_t i = 0; i < word.size(); ++i) {
      if (at(at_unit + i) != word[i]) return false;
    }
    return at(at_unit + word.size()) == ';';
  }

private:
  const char *bytes_;
  size_t units_;
  size_t unit_;
  size_t low_;  // which byte of a unit is the lower one
};

// Whether all references are numbers or predefined.
bool only_predefined(const raw_text &markup) {
  for (size_t i = 0; i < markup.size(); ++i) {
    if (markup.at(i) != '&') continue;
    const size_t name = i + 1;
    if (name < markup.size() && markup.at(name) == '#') continue;
    const auto is = [&markup, name](std::string_view word) { return markup.names(name, word); };
    if (!is("lt") && !is("gt") && !is("amp") && !is("quot") && !is("apos")) return false;
  }
  return true;
}

// --- Reading ---

class reader {
public:
  reader(std::string_view text, const xp_xml_handler &handler, void *context)
      : text_(text),
        handler_(handler),
        context_(context),
        parser_(XML_ParserCreate_MM(nullptr, &heap, nullptr)) {}
  ~reader() { XML_ParserFree(parser_); }
  reader(const reader &) = delete;
  reader &operator=(const reader &) = delete;

  // What is left to the parser: the salt of its hash tables, which it takes from the system's random source,
  // so that nobody can choose names that collide. What is told does not depend on it.
  bool run() {
    if (parser_ == nullptr) return refuse(0, out_of_memory);
    if (text_.size() > XP_XML_LONGEST_TEXT) return refuse(XP_XML_LONGEST_TEXT, "a text that is too long");
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, opens, closes);
    XML_SetCharacterDataHandler(parser_, text);
    XML_SetStartDoctypeDeclHandler(parser_, doctype);
    XML_SetSkippedEntityHandler(parser_, skipped);
    // In one piece: markup that spans pieces would be looked at again with each of them.
    if (XML_Parse(parser_, text_.data(), static_cast<int>(text_.size()), XML_TRUE) == XML_STATUS_OK)
      return true;
    return refuse(XML_GetErrorByteIndex(parser_), XML_ErrorString(XML_GetErrorCode(parser_)));
  }

  xp_xml_fault fault() const { return fault_; }

private:
  // The first fault counts.
  bool refuse(int64_t offset, const char *reason) {
    if (fault_.reason == nullptr) fault_ = {.offset = std::max<int64_t>(offset, 0), .reason = reason};
    return false;
  }

  void stop(const char *reason) {
    refuse(XML_GetCurrentByteIndex(parser_), reason);
    XML_StopParser(parser_, XML_FALSE);
  }

  // The parser may tell an event or two after it was stopped.
  bool stopped() const { return fault_.reason != nullptr; }

  const char *open_element(const char *name, const char **pairs) {
    if (++depth_ > XP_XML_DEEPEST) return "elements nested too deep";
    const std::string_view element = name;
    if (element.size() > XP_XML_LONGEST_NAME) return "an element's name that is too long";
    const xp_xml_attributes attributes = {.pairs = pairs,
                                          .count = XML_GetSpecifiedAttributeCount(parser_) / 2};
    if (attributes.count > 0) {
      const char *reason = check(attributes);
      if (reason != nullptr) return reason;
    }
    return handler_.opens(context_, element, &attributes);
  }

  [[nodiscard]] const char *check(const xp_xml_attributes &attributes) {
    if (attributes.count > XP_XML_MOST_ATTRIBUTES) return "too many attributes";
    for (int64_t i = 0; i < attributes.count; ++i) {
      if (strlen(attributes.pairs[2 * i]) > XP_XML_LONGEST_NAME)
        return "an attribute's name that is too long";
    }
    return doctype_seen_ && !only_predefined(markup()) ? not_predefined : nullptr;
  }

  // What the parser looks at, as it stands in the text.
  raw_text markup() const {
    const auto at = static_cast<size_t>(XML_GetCurrentByteIndex(parser_));
    const auto size = static_cast<size_t>(XML_GetCurrentByteCount(parser_));
    const bool big = text_.starts_with("\xFE\xFF") || text_.starts_with("\0<"sv);
    const bool little = text_.starts_with("\xFF\xFE") || text_.starts_with("<\0"sv);
    const std::string_view bytes = text_.substr(std::min(at, text_.size()), size);
    return {bytes.data(), bytes.size(), big || little ? size_t{2} : size_t{1}, big ? size_t{1} : size_t{0}};
  }

  static void opens(void *self, const char *name, const char **pairs) {
    auto &me = *static_cast<reader *>(self);
    if (me.stopped()) return;
    const char *reason = me.open_element(name, pairs);
    if (reason != nullptr) me.stop(reason);
  }

  static void closes(void *self, const char * /*name*/) {
    auto &me = *static_cast<reader *>(self);
    if (me.stopped()) return;
    --me.depth_;
    const char *reason = me.handler_.closes(me.context_);
    if (reason != nullptr) me.stop(reason);
  }

  static void text(void *self, const char *bytes, int length) {
    auto &me = *static_cast<reader *>(self);
    if (me.stopped()) return;
    const char *reason = me.handler_.text(me.context_, {bytes, static_cast<size_t>(length)});
    if (reason != nullptr) me.stop(reason);
  }

  // A document type with nothing of its own is passed over. It makes the parser drop references that it does
  // not know, for the unread rest might declare them: in attributes without a word, elsewhere by `skipped`.
  static void doctype(void *self, const char * /*name*/, const char * /*system*/, const char * /*publicly*/,
                      int declares) {
    auto &me = *static_cast<reader *>(self);
    me.doctype_seen_ = true;
    if (declares != 0 && !me.stopped()) me.stop("a document type with declarations");
  }

  static void skipped(void *self, const char * /*name*/, int /*is_parameter*/) {
    auto &me = *static_cast<reader *>(self);
    if (!me.stopped()) me.stop(not_predefined);
  }

  std::string_view text_;
  const xp_xml_handler &handler_;
  void *context_;
  XML_Parser parser_;
  int64_t depth_ = 0;
  bool doctype_seen_ = false;
  xp_xml_fault fault_ = {};
};

}  // namespace

int32_t xp_xml_parse(const char *text, int64_t length, const xp_xml_handler *handler, void *context,
                     xp_xml_fault *fault) {
  xp_xml_fault found = {.offset = 0, .reason = "no text"};
  if (text != nullptr && handler != nullptr) {
    reader one({text, length < 0 ? strlen(text) : static_cast<size_t>(length)}, *handler, context);
    if (one.run()) return 0;
    found = one.fault();
  }
  if (fault != nullptr) *fault = found;
  return -1;
}

const char *xp_xml_attribute(const xp_xml_attributes *attributes, const char *name) {
  if (attributes == nullptr || name == nullptr) return nullptr;
  for (int64_t i = 0; i < attributes->count; ++i) {
    if (strcmp(attributes->pairs[2 * i], name) == 0) return attributes->pairs[2 * i + 1];
  }
  return nullptr;
}
