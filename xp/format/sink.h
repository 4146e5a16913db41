// Where formatted text goes: a caller's buffer, an output function, or nowhere (only the bytes are counted).
// Internal to the runtime; for one thread, on the stack.
//
// A buffer takes whole characters and whole escapes only. What does not fit stops the sink: nothing more is
// taken, so that a short buffer holds a prefix of the text.

#ifndef XP_FORMAT_SINK_H
#define XP_FORMAT_SINK_H

#include "xp/object/object.h"

#include <stdint.h>
#include <string.h>

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
    if (length <= end_ - at_ && !stopped_) {
      memcpy(at_, bytes, static_cast<size_t>(length));
      at_ += length;
    } else {
      overflow(bytes, length, false);
    }
  }

  // Takes all of the bytes, or none and stops.
  void whole(const char *bytes, int64_t length) {
    if (length <= end_ - at_) {
      text(bytes, length);
    } else {
      overflow(bytes, length, true);
    }
  }

  // Takes `count` times the same byte; a count below 1 is nothing.
  void fill(char byte, int64_t count);

  // True when the rest of the text need not be made: the buffer is full or the writer failed.
  bool stopped() const { return stopped_; }

  // Bytes taken so far.
  int64_t total() const { return passed_ + (at_ - begin_); }

  // Ends the text. The bytes taken, or the first negative result of the writer.
  int64_t finish();

private:
  void overflow(const char *bytes, int64_t length, bool indivisible);
  void overflow_buffer(const char *bytes, int64_t length, bool indivisible);
  void pass(const char *bytes, int64_t length);
  void flush();

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

#endif
