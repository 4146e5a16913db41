#include "xp/service/byte_queue.h"
#include "xp/service/stream_kinds.h"
#include "xp/service/stream_type.h"
#include "xp/string/string.h"

#include <string.h>

#include <algorithm>

namespace {

using xp::strm;

constexpr int64_t chunk_size = 4096;

struct scannable : strm {
  static constexpr uint32_t code = xp_code("stmc");
  xp_obj *inner;
  xp::byte_queue ahead;  // read from the inner stream and not yet from this one
};

int32_t open(strm *s) {
  auto *c = static_cast<scannable *>(s);
  c->ahead.drop(c->ahead.size());
  return xp_strm_open(c->inner, c->mode);
}

int32_t close(strm *s) {
  return xp_strm_close(static_cast<scannable *>(s)->inner);
}

int64_t read(strm *s, void *buffer, int64_t capacity) {
  auto *c = static_cast<scannable *>(s);
  return c->ahead.size() > 0 ? c->ahead.take(buffer, capacity) : xp_strm_read(c->inner, buffer, capacity);
}

int64_t write(strm *s, const void *bytes, int64_t length) {
  return xp_strm_write(static_cast<scannable *>(s)->inner, bytes, length);
}

int64_t length(strm *s) {
  return xp_strm_length(static_cast<scannable *>(s)->inner);
}

void end(strm *s) {
  auto *c = static_cast<scannable *>(s);
  c->ahead.free();
  xp_release(c->inner);
}

constexpr xp::strm_ops scannable_ops = {.open = open,
                                        .close = close,
                                        .read = read,
                                        .write = write,
                                        .length = length,
                                        .ioctl = nullptr,
                                        .end = end,
                                        .seeks = false};

// Reads one piece more ahead. The bytes that came, 0 at the end, or a failure, which becomes the status.
int64_t look_ahead(scannable *c) {
  char *room = c->ahead.room(chunk_size);
  int64_t count = room == nullptr ? XP_ERR_NOMEMORY : xp_strm_read(c->inner, room, chunk_size);
  if (count > 0) c->ahead.put(count);
  if (count < XP_ERR_REFUSED) c->status = static_cast<int32_t>(count);
  return count;
}

// Where the byte stands ahead, its own place counted; see xp_strm_scan.
int64_t scan(scannable *c, char byte, int64_t limit) {
  for (int64_t seen = 0;;) {
    int64_t size = c->ahead.size();
    int64_t until = limit < 0 ? size : std::min(size, limit);
    const char *front = c->ahead.front();
    const void *found =
        until == seen ? nullptr : memchr(front + seen, byte, static_cast<size_t>(until - seen));
    if (found != nullptr) return static_cast<const char *>(found) - front + 1;
    if (limit >= 0 && size >= limit) return XP_ERR_FULL;
    seen = until;
    int64_t more = look_ahead(c);
    if (more < 0) return more;
    if (more == 0) return size;
  }
}

// An open scannable stream that may be read; else null, with the answer that reading would give.
scannable *readable(xp_obj *obj, int64_t &answer) {
  auto *c = xp::as<scannable>(obj);
  answer = XP_ERR_REFUSED;
  if (c == nullptr) return nullptr;
  if (c->status != XP_STRM_OPEN) answer = c->status;
  return c->status == XP_STRM_OPEN && (c->mode & XP_STRM_READ) != 0 ? c : nullptr;
}

}  // namespace

xp_obj *xp_strm_newscannable(xp_obj *stream) {
  if (xp::as_stream(stream) == nullptr) return nullptr;
  auto *c = xp::make_stream<scannable>(scannable_ops);
  if (c != nullptr) c->inner = xp_retain(stream);
  return c;
}

int64_t xp_strm_peek(xp_obj *obj, void *buffer, int64_t capacity) {
  int64_t answer;
  scannable *c = readable(obj, answer);
  if (c == nullptr) return answer;
  if (buffer == nullptr) return 0;
  while (c->ahead.size() < capacity) {
    int64_t count = look_ahead(c);
    if (count < 0) return count;
    if (count == 0) break;
  }
  return c->ahead.peek(buffer, capacity);
}

int64_t xp_strm_scan(xp_obj *obj, char byte, int64_t limit) {
  int64_t answer;
  scannable *c = readable(obj, answer);
  return c == nullptr ? answer : scan(c, byte, limit);
}

xp_obj *xp_strm_readline(xp_obj *obj, int64_t limit) {
  int64_t answer;
  scannable *c = readable(obj, answer);
  if (c == nullptr) return nullptr;
  int64_t size = scan(c, '\n', limit < 0 || limit == INT64_MAX ? -1 : limit + 1);
  if (size <= 0) return nullptr;
  const char *line = c->ahead.front();
  int64_t length = line[size - 1] == '\n' ? size - 1 : size;
  if (limit >= 0 && length > limit) return nullptr;
  if (line[size - 1] == '\n' && length > 0 && line[length - 1] == '\r') --length;
  xp_obj *string = xp_str_make(line, length);
  if (string == nullptr) return nullptr;
  c->ahead.drop(size);
  c->at.read += size;
  return string;
}
