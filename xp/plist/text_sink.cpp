#include "xp/plist/text_sink.h"

#include "xp/object/memory.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"

#include <string.h>

#include <algorithm>
#include <utility>

namespace xp {

// --- Measuring ---

void measuring_sink::overflow(std::string_view text) {
  counted_ = counted() + static_cast<int64_t>(text.size());
  at_ = begin_;
}

void measuring_sink::widen(size_t /*size*/) {
  overflow({});
}

// --- Into a buffer ---

void buffer_sink::keep(std::string_view text) {
  const size_t kept = std::min(text.size(), capacity_ - used_);
  xp_memcpy(buffer_ + used_, text.data(), kept);
  used_ += kept;
}

void buffer_sink::overflow(std::string_view text) {
  widen(0);
  keep(text);
}

void buffer_sink::widen(size_t /*size*/) {
  keep(window());
  at_ = begin_;
}

int64_t buffer_sink::finish() {
  widen(0);
  return failed_ ? -1 : static_cast<int64_t>(used_);
}

// --- Through an output function ---

void stream_sink::send(std::string_view text) {
  if (result_ < 0 || failed_ || text.empty()) return;
  const auto length = static_cast<int64_t>(text.size());
  const int64_t written = writer_(context_, text.data(), length);
  result_ = written < 0 ? written : result_ + length;
}

void stream_sink::overflow(std::string_view text) {
  widen(text.size());
  if (text.size() > scratch_.size()) return send(text);
  put(text);
}

void stream_sink::widen(size_t /*size*/) {
  send(window());
  at_ = begin_;
}

int64_t stream_sink::finish() {
  widen(0);
  return failed_ && result_ >= 0 ? -1 : result_;
}

// --- Into a string ---

string_sink::~string_sink() {
  xp_str_release(grown_);
}

void string_sink::overflow(std::string_view text) {
  widen(text.size());
  if (text.size() <= room()) put(text);
}

void string_sink::widen(size_t size) {
  // Four times as much while that is little, then twice as much: a large block grows in its place.
  constexpr size_t little = 65536;
  const size_t used = window().size();
  const auto capacity = static_cast<size_t>(end_ - begin_);
  const size_t wanted = std::max((capacity < little ? 4 : 2) * capacity, used + size);
  xps_string *larger = nullptr;
  if (!failed_) {
    xps_string *old = std::exchange(grown_, nullptr);
    larger = old == nullptr ? xps_make(static_cast<int64_t>(wanted))
                            : xps_resize(old, static_cast<int64_t>(wanted));
    failed_ = larger == nullptr;
  }
  // What comes after a failure is written over and over in the first block.
  if (larger == nullptr) return set_window(first_.data(), first_.size());
  if (begin_ == first_.data()) memcpy(xps_room(larger), begin_, used);
  grown_ = larger;
  set_window(xps_room(larger), wanted);
  at_ += used;
}

xp_obj *string_sink::string() {
  if (failed_) return nullptr;
  const std::string_view text = window();
  const auto length = static_cast<int64_t>(text.size());
  if (grown_ == nullptr) return xp_str_make(text.data(), length);
  return xps_resize(std::exchange(grown_, nullptr), length);
}

}  // namespace xp
