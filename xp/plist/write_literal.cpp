// Text between the quotes of JSON, sixteen bytes at a step. What is written is defined by the format engine's
// string stage with the "~" option, in which all this is written more plainly.

#include "xp/plist/byte_scan.h"
#include "xp/plist/writer_text.h"
#include "xp/string/text.h"

#include <string.h>

#include <algorithm>
#include <array>
#include <bit>

namespace {

constexpr int64_t step = xp::string_step;

template <typename Word>
Word load(const char *at) {
  Word word;
  memcpy(&word, at, sizeof word);
  return word;
}

// What stands for a byte. Of a plain one it is the byte itself, so that a byte can be written without asking
// what it is.
struct escape {
  char text[2];
  uint8_t size;
  bool looks_behind;  // what is written depends on the bytes behind it, too
};

constexpr auto escapes = [] {
  std::array<escape, 256> table{};
  for (size_t i = 0; i < table.size(); ++i)
    table[i] = {.text = {i < ' ' ? ' ' : static_cast<char>(i)}, .size = 1, .looks_behind = i >= 128};
  table['\t'] = {.text = {'\\', 't'}, .size = 2, .looks_behind = false};
  table['\n'] = {.text = {'\\', 'n'}, .size = 2, .looks_behind = false};
  table['\r'] = {.text = {'\\', 'n'}, .size = 2, .looks_behind = true};
  table['"'] = {.text = {'\\', '"'}, .size = 2, .looks_behind = false};
  table['\\'] = {.text = {'\\', '\\'}, .size = 2, .looks_behind = false};
  return table;
}();

// Writes the well-formed part of a run of bytes from 128 on, and "?" for each other one; where the run ends.
[[gnu::noinline]] xp::literal_run write_high(xp::literal_run run, const char *end) {
  while (run.at < end && static_cast<signed char>(*run.at) < 0) {
    const int32_t size = xp_str_sequence(run.at, end - run.at);
    if (size == 0) {
      ++run.at;
      *run.to++ = '?';
    } else {
      memcpy(run.to, run.at, static_cast<size_t>(size));
      run.at += size;
      run.to += size;
    }
    if (run.at >= run.stop) break;
  }
  return run;
}

// Writes the byte at `at`.
inline xp::literal_run write_byte(xp::literal_run run, const char *end) {
  const escape &text = escapes[static_cast<unsigned char>(*run.at)];
  if (text.looks_behind) {
    if (*run.at != '\r') return write_high(run, end);
    if (end - run.at > 1 && run.at[1] == '\n') ++run.at;
  }
  memcpy(run.to, text.text, 2);
  run.to += text.size;
  ++run.at;
  return run;
}

// Passes over the plain bytes of a block.
inline void pass(xp::literal_run &run, uint32_t marks, size_t size) {
  const size_t clean = marks == 0 ? size : static_cast<size_t>(std::countr_zero(marks));
  run.at += clean;
  run.to += clean;
}

// Copies fewer than sixteen bytes; a bit for each that is not plain.
inline uint32_t copy_short_run(char *to, const char *at, size_t size) {
  if (size >= 8) {
    const auto first = load<uint64_t>(at);
    const auto last = load<uint64_t>(at + size - 8);
    memcpy(to, &first, 8);
    memcpy(to + size - 8, &last, 8);
    const uint32_t marks = xp::literal_marks(first, last);
    return (marks & 0xFF) | (marks >> 8) << (size - 8);
  }
  if (size >= 4) {
    const auto first = load<uint32_t>(at);
    const auto last = load<uint32_t>(at + size - 4);
    memcpy(to, &first, 4);
    memcpy(to + size - 4, &last, 4);
    const uint32_t marks = xp::literal_marks(first | uint64_t{last} << 32, xp::each_byte * ' ');
    return (marks & 0xF) | (marks >> 4) << (size - 4);
  }
  // One to three: the first, the middle and the last, which may be the same.
  uint32_t marks = 0;
  for (const size_t place : {size_t{0}, size / 2, size - 1}) {
    const char byte = at[place];
    to[place] = byte;
    marks |= uint32_t{byte < ' ' || byte == '"' || byte == '\\'} << place;
  }
  return marks;
}

}  // namespace

xp::literal_run xp::write_literal_run(literal_run run, const char *end) {
  // Below 0 behind a character that reached beyond the stop.
  const auto left = [&run] { return run.stop - run.at; };
  uint32_t marks = 0;
  for (; left() >= step && marks == 0; pass(run, marks, step)) {
    memcpy(run.to, run.at, step);
    marks = literal_marks(run.at);
  }
  // A text with one escape has more of them, at places that nobody can predict: from here on each step takes
  // the byte behind the plain ones, too, whatever it is.
  while (left() > step) {
    memcpy(run.to, run.at, step);
    pass(run, literal_marks(run.at) | 1U << step, step);
    run = write_byte(run, end);
  }
  while (run.at < run.stop) {
    const auto size = static_cast<size_t>(std::min<int64_t>(left(), step - 1));
    marks = copy_short_run(run.to, run.at, size);
    pass(run, marks, size);
    if (marks != 0) run = write_byte(run, end);
  }
  return run;
}

void xp::write_literal(text_sink &out, std::string_view text) {
  const char *end = text.data() + text.size();
  for (const char *at = text.data(); at < end;) {
    out.ask(literal_room(static_cast<size_t>(end - at)));
    const size_t size = literal_fits(static_cast<size_t>(out.end() - out.at()));
    const char *stop = at + std::min(size, static_cast<size_t>(end - at));
    const literal_run run = write_literal_run({.at = at, .stop = stop, .to = out.at()}, end);
    at = run.at;
    out.took(run.to);
  }
}
