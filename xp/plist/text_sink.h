// Where the writer's text goes: nowhere (measuring), into a buffer, through an output function, or into a
// growing string. All four collect into a window of memory and differ in what happens when it is full, so
// writing a piece is a bounds check and a copy. For one thread.

#ifndef XP_PLIST_TEXT_SINK_H
#define XP_PLIST_TEXT_SINK_H

#include "xp/object/object.h"
#include "xp/object/short_copy.h"

#include <stdint.h>

#include <array>
#include <cstddef>
#include <string_view>

struct xps_string;

namespace xp {

class text_sink {
public:
  // How many bytes there is always room for, once asked for.
  static constexpr size_t sure_room = 320;

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

  // For those who write straight into the window, from at() to end(), and tell with took how far they came.
  // Asking for room makes the window another one, where there is room for sure_room bytes at least; a string
  // has room for as many as are asked for.
  char *at() const { return at_; }
  char *end() const { return end_; }
  void took(char *end) { at_ = end; }
  void ask(size_t size) {
    if (size > room()) widen(size);
  }

  // Tells that a piece of the text could not be made, so that there is no whole one. What is written after
  // that does not count.
  void fail() { failed_ = true; }

  void put(char byte) { put_mark({&byte, 1}); }

  // An xp_writer; the context is the sink.
  static int64_t write(void *sink, const char *bytes, int64_t length) {
    static_cast<text_sink *>(sink)->put({bytes, static_cast<size_t>(length)});
    return length;
  }

protected:
  using scratch = std::array<char, 512>;
  static_assert(std::tuple_size_v<scratch> >= sure_room);

  text_sink() = default;
  ~text_sink() = default;

  void set_window(char *begin, size_t size) {
    begin_ = at_ = begin;
    end_ = begin + size;
  }

  // Takes a piece that the window has no room for.
  virtual void overflow(std::string_view text) = 0;
  // Makes room, see ask.
  virtual void widen(size_t size) = 0;

  size_t room() const { return static_cast<size_t>(end_ - at_); }
  std::string_view window() const { return {begin_, static_cast<size_t>(at_ - begin_)}; }

  char *begin_ = nullptr;
  char *at_ = nullptr;
  char *end_ = nullptr;
  bool failed_ = false;
};

// Counts.
class measuring_sink final : public text_sink {
public:
  measuring_sink() { set_window(scratch_.data(), scratch_.size()); }

  // The bytes that were written; -1 after fail().
  int64_t length() const { return failed_ ? -1 : counted(); }

private:
  int64_t counted() const { return counted_ + static_cast<int64_t>(window().size()); }
  void overflow(std::string_view text) override;
  void widen(size_t size) override;

  int64_t counted_ = 0;
  scratch scratch_;
};

// Fills the caller's buffer, writes nothing behind the text, and drops what does not fit.
class buffer_sink final : public text_sink {
public:
  buffer_sink(char *buffer, int64_t capacity)
      : buffer_(buffer), capacity_(capacity > 0 ? static_cast<size_t>(capacity) : 0) {
    set_window(scratch_.data(), scratch_.size());
  }

  // Hands on what is left. The bytes in the buffer; -1 after fail().
  int64_t finish();

private:
  void overflow(std::string_view text) override;
  void widen(size_t size) override;
  void keep(std::string_view text);

  char *buffer_;
  size_t capacity_;
  size_t used_ = 0;
  scratch scratch_;
};

// Hands the text on in pieces; after the first negative result and after fail() it hands on nothing more.
class stream_sink final : public text_sink {
public:
  stream_sink(xp_writer writer, void *context) : writer_(writer), context_(context) {
    set_window(scratch_.data(), scratch_.size());
  }

  // Hands on what is left. The bytes handed on in all, the writer's negative result, or -1 after fail().
  int64_t finish();

private:
  void overflow(std::string_view text) override;
  void widen(size_t size) override;
  void send(std::string_view text);

  xp_writer writer_;
  void *context_;
  int64_t result_ = 0;
  scratch scratch_;
};

// Grows. Short texts never touch the heap before the string is made; longer ones are written to their final
// place.
class string_sink final : public text_sink {
public:
  string_sink() { set_window(first_.data(), first_.size()); }
  ~string_sink();

  // The text as a new string, once; null after fail() and when memory was exhausted on the way.
  xp_obj *string();

private:
  void overflow(std::string_view text) override;
  void widen(size_t size) override;

  xps_string *grown_ = nullptr;  // what the text has moved to; owned
  std::array<char, 2048> first_;
};

}  // namespace xp

#endif
