// Text between the quotes of JSON. The format engine's string stage defines what is written; most texts are
// long runs of bytes that it leaves alone, with an escape here and there, and are written here without it,
// sixteen bytes at a step, where the sink has room for the longest outcome.

#include "xp/plist/byte_scan.h"
#include "xp/plist/writer_text.h"
#include "xp/string/text.h"

#include <string.h>

#include <bit>

namespace {

constexpr int64_t step = xp::string_step;

// Writes the bytes that stand for the one at `at`, which is not plain, and moves behind it.
const char *write_special(const char *at, const char *end, char *&to) {
  if (static_cast<signed char>(*at) < 0) {
    const int32_t size = xp_str_sequence(at, end - at);
    if (size == 0) {
      *to++ = '?';
      return at + 1;
    }
    memcpy(to, at, static_cast<size_t>(size));
    to += size;
    return at + size;
  }
  const char byte = *at++;
  if (byte == '\r' && at < end && *at == '\n') ++at;
  switch (byte) {
    case '\t': *to++ = '\\', *to++ = 't'; break;
    case '\n':
    case '\r': *to++ = '\\', *to++ = 'n'; break;
    case '"':
    case '\\': *to++ = '\\', *to++ = byte; break;
    default: *to++ = ' '; break;
  }
  return at;
}

// `to` has room for twice the text and a step.
char *write_runs(std::string_view text, char *to) {
  const char *at = text.data();
  const char *end = at + text.size();
  while (end - at >= step) {
    memcpy(to, at, step);
    const uint32_t marks = xp::literal_marks(at);
    const int clean = marks == 0 ? static_cast<int>(step) : std::countr_zero(marks);
    at += clean;
    to += clean;
    if (marks != 0) at = write_special(at, end, to);
  }
  while (at < end) {
    if (*at >= ' ' && *at != '"' && *at != '\\') {
      *to++ = *at++;
    } else {
      at = write_special(at, end, to);
    }
  }
  return to;
}

}  // namespace

void xp::write_literal(text_sink &out, std::string_view text) {
  const char *end = text.data() + text.size();
  // A lambda, since functions are not inlined where they are passed.
  const auto marks = [](uint64_t word) { return not_plain(word); };
  if (end - text.data() < step && scan(text.data(), end, marks) == end) return out.put(text);
  char *to = out.room_for(2 * text.size() + step);
  if (to == nullptr) return write_literal_plainly(out, text);
  out.took(write_runs(text, to));
}
