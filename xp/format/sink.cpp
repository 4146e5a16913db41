#include "xp/format/sink.h"

#include "xp/string/utf8.h"

#include <algorithm>

xpf_sink::xpf_sink(xp_writer writer, void *context)
    : begin_(chunk_), at_(chunk_), end_(chunk_ + sizeof chunk_), writer_(writer), context_(context) {}

void xpf_sink::stop() {
  stopped_ = true;
  end_ = at_;
}

void xpf_sink::pass(const char *bytes, int64_t length) {
  int64_t result = writer_(context_, bytes, length);
  if (result < 0) {
    error_ = result;
    stop();
  }
  passed_ += length;
}

void xpf_sink::flush() {
  if (at_ == begin_) return;
  int64_t length = at_ - begin_;
  at_ = begin_;
  pass(begin_, length);
}

void xpf_sink::overflow_buffer(const char *bytes, int64_t length, bool indivisible) {
  int64_t fits = indivisible ? 0 : xps_cut(bytes, length, end_ - at_);
  if (fits > 0) put(bytes, fits);
  stop();
}

void xpf_sink::overflow(const char *bytes, int64_t length, bool indivisible) {
  if (stopped_) return;
  if (begin_ == nullptr) {
    passed_ += length;
  } else if (writer_ == nullptr) {
    overflow_buffer(bytes, length, indivisible);
  } else {
    flush();
    if (stopped_) return;
    if (length > end_ - at_) {
      pass(bytes, length);
    } else {
      put(bytes, length);
    }
  }
}

void xpf_sink::overflow_fill(char byte, int64_t count) {
  if (begin_ == nullptr) {
    passed_ += count;
    return;
  }
  char block[64];
  memset(block, byte, sizeof block);
  for (int64_t left = count; left > 0 && !stopped_; left -= 64)
    text(block, std::min<int64_t>(left, 64));
}

int64_t xpf_sink::finish_writing() {
  if (!stopped_) flush();
  return error_ < 0 ? error_ : total();
}
