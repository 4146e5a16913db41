#include "xp/service/byte_queue.h"
#include "xp/service/stream_kinds.h"
#include "xp/service/stream_type.h"

namespace {

using xp::strm;

constexpr int64_t chunk_size = 4096;

struct filtered : strm {
  static constexpr uint32_t code = xp_code("stmx");
  xp_obj *inner;
  xp_strm_filter filter;
  void *context;
  xp::byte_queue ready;  // changed bytes that wait to be read
  bool ended;            // the inner stream's end has been handed to the filter
  bool wrote;            // the filter may keep written bytes back
};

int32_t open(strm *s) {
  auto *f = static_cast<filtered *>(s);
  f->ready.drop(f->ready.size());
  f->ended = f->wrote = false;
  return xp_strm_open(f->inner, f->mode);
}

int32_t close(strm *s) {
  auto *f = static_cast<filtered *>(s);
  int64_t flushed = 0;
  if (f->wrote && f->status > 0) flushed = f->filter(f->context, nullptr, 0, xp_strm_writer, f->inner);
  f->wrote = false;
  int32_t closed = xp_strm_close(f->inner);
  return flushed < 0 ? static_cast<int32_t>(flushed) : closed;
}

int64_t keep(void *context, const char *bytes, int64_t length) {
  auto *queue = static_cast<xp::byte_queue *>(context);
  return queue->append(bytes, length) ? length : XP_ERR_NOMEMORY;
}

// One piece of the inner stream through the filter, or its end.
int64_t advance(filtered *f) {
  char chunk[chunk_size];
  int64_t count = xp_strm_read(f->inner, chunk, chunk_size);
  if (count < 0) return count;
  f->ended = count == 0;
  return f->filter(f->context, count == 0 ? nullptr : chunk, count, keep, &f->ready);
}

int64_t read(strm *s, void *buffer, int64_t capacity) {
  auto *f = static_cast<filtered *>(s);
  while (f->ready.size() == 0 && !f->ended) {
    int64_t result = advance(f);
    if (result < 0) return result;
  }
  return f->ready.take(buffer, capacity);
}

int64_t write(strm *s, const void *bytes, int64_t length) {
  auto *f = static_cast<filtered *>(s);
  f->wrote = true;
  int64_t result = f->filter(f->context, static_cast<const char *>(bytes), length, xp_strm_writer, f->inner);
  return result < 0 ? result : length;
}

void end(strm *s) {
  auto *f = static_cast<filtered *>(s);
  f->ready.free();
  xp_release(f->inner);
}

constexpr xp::strm_ops filtered_ops = {.open = open,
                                       .close = close,
                                       .read = read,
                                       .write = write,
                                       .length = nullptr,
                                       .ioctl = nullptr,
                                       .end = end,
                                       .seeks = false};

}  // namespace

xp_obj *xp_strm_newfiltered(xp_obj *stream, xp_strm_filter filter, void *context) {
  if (xp::as_stream(stream) == nullptr || filter == nullptr) return nullptr;
  auto *f = xp::make_stream<filtered>(filtered_ops);
  if (f == nullptr) return nullptr;
  f->inner = xp_retain(stream);
  f->filter = filter;
  f->context = context;
  return f;
}
