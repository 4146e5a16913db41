// Where formatted text goes: a caller's buffer, an output function, or nowhere (only the bytes are counted).
// Internal to the runtime; for one thread, on the stack.
//
// A buffer takes whole characters and whole escapes only. What does not fit stops the sink: nothing more is
// taken, so that a short buffer holds a prefix of the text.
//
// Invariant: at_..end_ is what can be written without asking; a sink that counts or that has stopped has
// none.

#ifndef XP_FORMAT_SINK_H
#define XP_FORMAT_SINK_H

#include "xp/object/object.h"

#include <stdint.h>
#include <string.h>

// Copies as many bytes as a block has from the start and from the end of a text, which overlap where it is
// shorter than two blocks. The text and its copy never overlap each other, so the ends may be copied in turn.
template <size_t Block>
inline void xpf_copy_ends(char *to, const char *from, size_t length) {
  memcpy(to, from, Block);
  memcpy(to + length - Block, from + length - Block, Block);
}

// Copies a text of at least one byte. Short ones, the most by far, do without a call.
inline void xpf_copy(char *to, const char *from, size_t length) {
  if (length > 64) {
    memcpy(to, from, length);
  } else if (length >= 32) {
    xpf_copy_ends<32>(to, from, length);
  } else if (length >= 16) {
    xpf_copy_ends<16>(to, from, length);
  } else if (length >= 8) {
    xpf_copy_ends<8>(to, from, length);
  } else if (length >= 4) {
    xpf_copy_ends<4>(to, from, length);
  } else {
    to[0] = from[0];
    if (length > 1) to[1] = from[1];
    if (length > 2) to[2] = from[2];
  }
}

class xpf_sink {
public:
  xpf_sink() = default;                       // counts
  xpf_sink(char *buffer, int64_t size);       // size - 1 bytes and a zero byte; size must be at least 1
  xpf_sink(xp_writer writer, void *context);  // in pieces of any size
  xpf_sink(const xpf_sink &) = delete;
  xpf_sink &operator=(const xpf_sink &) = delete;

  // Takes a text, in a buffer the whole characters of it that fit. A length below 1 is nothing.
  void text(const char *bytes, int64_t length) {
    if (length <= 0) return;
    if (length <= end_ - at_) {
      put(bytes, length);
    } else {
      overflow(bytes, length, false);
    }
  }

  // Takes all of the bytes, at least one, or none and stops.
  void whole(const char *bytes, int64_t length) {
    if (length <= end_ - at_) {
      put(bytes, length);
    } else {
      overflow(bytes, length, true);
    }
  }

  // Takes `count` times the same byte; a count below 1 is nothing.
  void fill(char byte, int64_t count) {
    if (count <= 0) return;
    if (count <= end_ - at_) {
      memset(at_, byte, static_cast<size_t>(count));
      at_ += count;
    } else {
      overflow_fill(byte, count);
    }
  }

  // Where at least `length` bytes, more than 0, can be written directly; null when there is no such room at
  // the moment. What has been written up to `end` counts with `advance`.
  char *reserve(int64_t length) { return length <= end_ - at_ ? at_ : nullptr; }
  void advance(char *end) { at_ = end; }

  // How many bytes can be written directly.
  int64_t room() const { return end_ - at_; }

  // True when the rest of the text need not be made: the buffer is full or the writer failed.
  bool stopped() const { return stopped_; }

  // Bytes taken so far.
  int64_t total() const { return passed_ + (at_ - begin_); }

  // Ends the text. The bytes taken, or the first negative result of the writer.
  int64_t finish() {
    if (writer_ != nullptr) return finish_writing();
    if (begin_ != nullptr) *at_ = 0;
    return total();
  }

private:
  // Where there is room.
  void put(const char *bytes, int64_t length) {
    if (at_ == nullptr) __builtin_unreachable();
    xpf_copy(at_, bytes, static_cast<size_t>(length));
    at_ += length;
  }
  void overflow(const char *bytes, int64_t length, bool indivisible);
  void overflow_buffer(const char *bytes, int64_t length, bool indivisible);
  void overflow_fill(char byte, int64_t count);
  void stop();
  void pass(const char *bytes, int64_t length);
  void flush();
  int64_t finish_writing();

  char *begin_ = nullptr;  // the buffer, or chunk_
  char *at_ = nullptr;
  char *end_ = nullptr;
  xp_writer writer_ = nullptr;
  void *context_ = nullptr;
  int64_t passed_ = 0;  // bytes that have left begin_..at_: written, or only counted
  int64_t error_ = 0;   // the writer's
  bool stopped_ = false;
  char chunk_[512];  // collects small pieces for the writer; not initialised
};

inline xpf_sink::xpf_sink(char *buffer, int64_t size)
    : begin_(buffer), at_(buffer), end_(buffer + size - 1) {}

#endif
