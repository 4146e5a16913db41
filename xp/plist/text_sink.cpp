#include "xp/plist/text_sink.h"

#include "xp/object/memory.h"
#include "xp/string/string.h"

#include <string.h>

#include <algorithm>

namespace xp {

void measuring_sink::overflow(std::string_view text) {
  counted_ = length() + static_cast<int64_t>(text.size());
  at_ = begin_;
}

void buffer_sink::overflow(std::string_view text) {
  put(text.substr(0, room()));
}

void stream_sink::send(std::string_view text) {
  if (result_ < 0 || text.empty()) return;
  const auto length = static_cast<int64_t>(text.size());
  const int64_t written = writer_(context_, text.data(), length);
  result_ = written < 0 ? written : result_ + length;
}

void stream_sink::overflow(std::string_view text) {
  send(window());
  at_ = begin_;
  if (text.size() > scratch_.size()) return send(text);
  put(text);
}

int64_t stream_sink::finish() {
  send(window());
  at_ = begin_;
  return result_;
}

string_sink::~string_sink() {
  xp_free_fast(begin_, first_.data());
}

void string_sink::overflow(std::string_view text) {
  if (failed_) return;
  const size_t used = window().size();
  const size_t size = std::max(2 * static_cast<size_t>(end_ - begin_), used + text.size());
  const bool on_stack = begin_ == first_.data();
  auto *block = static_cast<char *>(xp_realloc(on_stack ? nullptr : begin_, size));
  if (block == nullptr) {
    failed_ = true;
    set_window(first_.data(), 0);
    return;
  }
  if (on_stack) memcpy(block, begin_, used);
  begin_ = block;
  at_ = block + used;
  end_ = block + size;
  put(text);
}

xp_obj *string_sink::string() const {
  if (failed_) return nullptr;
  return xp_str_make(begin_, static_cast<int64_t>(at_ - begin_));
}

}  // namespace xp
