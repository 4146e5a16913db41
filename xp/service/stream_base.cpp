#include "xp/service/stream_kinds.h"
#include "xp/service/stream_type.h"

namespace {

using xp::strm;

// --- Base ---

struct base : strm {
  static constexpr uint32_t code = xp_code("stmb");
  const xp_strm_calls *calls;
  void *context;
};

int32_t base_open(strm *s) {
  auto *b = static_cast<base *>(s);
  return b->calls->open == nullptr ? 0 : b->calls->open(b->context, b->mode);
}

int32_t base_close(strm *s) {
  auto *b = static_cast<base *>(s);
  return b->calls->close == nullptr ? 0 : b->calls->close(b->context);
}

int64_t base_read(strm *s, void *buffer, int64_t capacity) {
  auto *b = static_cast<base *>(s);
  return b->calls->read == nullptr ? XP_ERR_REFUSED : b->calls->read(b->context, buffer, capacity);
}

int64_t base_write(strm *s, const void *bytes, int64_t length) {
  auto *b = static_cast<base *>(s);
  return b->calls->write == nullptr ? XP_ERR_REFUSED : b->calls->write(b->context, bytes, length);
}

void base_end(strm *s) {
  auto *b = static_cast<base *>(s);
  if (b->calls->end != nullptr) b->calls->end(b->context);
}

constexpr xp::strm_ops base_ops = {.open = base_open,
                                   .close = base_close,
                                   .read = base_read,
                                   .write = base_write,
                                   .length = nullptr,
                                   .ioctl = nullptr,
                                   .end = base_end,
                                   .seeks = false};

// --- Null ---

struct null : strm {
  static constexpr uint32_t code = xp_code("stmn");
};

int64_t null_read(strm * /*s*/, void * /*buffer*/, int64_t /*capacity*/) {
  return 0;
}

int64_t null_write(strm * /*s*/, const void * /*bytes*/, int64_t length) {
  return length;
}

constexpr xp::strm_ops null_ops = {.open = nullptr,
                                   .close = nullptr,
                                   .read = null_read,
                                   .write = null_write,
                                   .length = nullptr,
                                   .ioctl = nullptr,
                                   .end = nullptr,
                                   .seeks = false};

}  // namespace

xp_obj *xp_strm_newbase(const xp_strm_calls *calls, void *context) {
  if (calls == nullptr) return nullptr;
  auto *b = xp::make_stream<base>(base_ops);
  if (b == nullptr) return nullptr;
  b->calls = calls;
  b->context = context;
  return b;
}

xp_obj *xp_strm_newnull() {
  return xp::make_stream<null>(null_ops);
}
