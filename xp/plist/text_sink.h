// Where the writer's text goes: nowhere (measuring), into a buffer, through an output function, or into a
// growing block that becomes a string. All four collect into a window of memory and differ in what happens
// when it is full, so writing a piece is a bounds check and a copy. For one thread.

#ifndef XP_PLIST_TEXT_SINK_H
#define XP_PLIST_TEXT_SINK_H

#include "xp/object/object.h"
#include "xp/object/short_copy.h"

#include <stdint.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace xp {

class text_sink {
public:
  text_sink(const text_sink &) = delete;
  text_sink &operator=(const text_sink &) = delete;

  void put(std::string_view text) {
    if (text.size() > room()) return overflow(text);
    copy_short(at_, text.data(), text.size());
    at_ += text.size();
  }

  // The same for a text that is most often a single byte.
  void put_mark(std::string_view text) {
    if (text.size() != 1 || at_ == end_) return put(text);
    *at_++ = text[0];
  }

  // Where `size` bytes can be written at once; null when the window has no room for them. What was written,
  // up to `end`, counts when it is told by took.
  char *room_for(size_t size) { return size <= room() ? at_ : nullptr; }
  void took(char *end) { at_ = end; }

  // Tells that a piece of the text could not be made: memory is exhausted.
  virtual void fail() {}

  void put(char byte) { put_mark({&byte, 1}); }

  // An xp_writer; the context is the sink.
  static int64_t write(void *sink, const char *bytes, int64_t length) {
    static_cast<text_sink *>(sink)->put({bytes, static_cast<size_t>(length)});
    return length;
  }

protected:
  text_sink() = default;
  ~text_sink() = default;

  void set_window(char *begin, size_t size) {
    begin_ = at_ = begin;
    end_ = begin + size;
  }

  // Takes a piece that the window has no room for.
  virtual void overflow(std::string_view text) = 0;

  size_t room() const { return static_cast<size_t>(end_ - at_); }
  std::string_view window() const { return {begin_, static_cast<size_t>(at_ - begin_)}; }

  char *begin_ = nullptr;
  char *at_ = nullptr;
  char *end_ = nullptr;
};

// Counts.
class measuring_sink final : public text_sink {
public:
  measuring_sink() { set_window(scratch_.data(), scratch_.size()); }

  int64_t length() const { return counted_ + static_cast<int64_t>(window().size()); }

private:
  void overflow(std::string_view text) override;

  int64_t counted_ = 0;
  std::array<char, 256> scratch_;
};

// Fills the caller's buffer and drops the rest.
class buffer_sink final : public text_sink {
public:
  buffer_sink(char *buffer, int64_t capacity) {
    set_window(buffer, capacity > 0 ? static_cast<size_t>(capacity) : 0);
  }

  int64_t length() const { return static_cast<int64_t>(window().size()); }

private:
  void overflow(std::string_view text) override;
};

// Hands the text on in pieces; after the first negative result it hands on nothing more.
class stream_sink final : public text_sink {
public:
  stream_sink(xp_writer writer, void *context) : writer_(writer), context_(context) {
    set_window(scratch_.data(), scratch_.size());
  }

  // Hands on what is left. The bytes handed on in all, the writer's negative result, or -1 after fail().
  int64_t finish();

  void fail() override { result_ = -1; }

private:
  void overflow(std::string_view text) override;
  void send(std::string_view text);

  xp_writer writer_;
  void *context_;
  int64_t result_ = 0;
  std::array<char, 512> scratch_;
};

// Grows; short texts never touch the heap before the string is made.
class string_sink final : public text_sink {
public:
  string_sink() { set_window(first_.data(), first_.size()); }
  ~string_sink();

  // The text as a new string; null when memory was exhausted on the way.
  xp_obj *string() const;

  void fail() override { failed_ = true; }

private:
  void overflow(std::string_view text) override;

  bool failed_ = false;
  std::array<char, 2048> first_;
};

}  // namespace xp

#endif
