// Streams over other streams that pass bytes on unchanged: guarded, sequence and tee.

#include "xp/object/lock.h"
#include "xp/object/ref.h"
#include "xp/service/stream_kinds.h"
#include "xp/service/stream_type.h"

namespace {

using xp::strm;

// The result of several steps: the first failure.
int32_t first_failure(int32_t a, int32_t b) {
  return a < 0 ? a : b;
}

// --- Guarded ---

struct guarded : strm {
  static constexpr uint32_t code = xp_code("stmg");
  xp_obj *inner;
};

xp_obj *guarded_inner(strm *s) {
  return static_cast<guarded *>(s)->inner;
}

int32_t guarded_open(strm *s) {
  return xp_strm_open(guarded_inner(s), s->mode);
}

int32_t guarded_close(strm *s) {
  return xp_strm_close(guarded_inner(s));
}

int64_t guarded_read(strm *s, void *buffer, int64_t capacity) {
  return xp_strm_read(guarded_inner(s), buffer, capacity);
}

int64_t guarded_write(strm *s, const void *bytes, int64_t length) {
  return xp_strm_write(guarded_inner(s), bytes, length);
}

int64_t guarded_length(strm *s) {
  return xp_strm_length(guarded_inner(s));
}

int64_t guarded_ioctl(strm *s, uint32_t request, int64_t value, void *pointer) {
  // What it holds it holds itself, so that it is there as long as the guard.
  if (request == XP_STRM_HOLD) return xp::strm_ioctl(s, request, value, pointer);
  return xp_strm_ioctl(guarded_inner(s), request, value, pointer);
}

void guarded_end(strm *s) {
  xp_release(guarded_inner(s));
}

constexpr xp::strm_ops guarded_ops = {.open = guarded_open,
                                      .close = guarded_close,
                                      .read = guarded_read,
                                      .write = guarded_write,
                                      .length = guarded_length,
                                      .ioctl = guarded_ioctl,
                                      .end = guarded_end,
                                      .seeks = false};

// --- Sequence ---

struct sequence : strm {
  static constexpr uint32_t code = xp_code("stmq");
  int64_t count;
  int64_t current;  // the part that is open; count when all have ended

  xp_obj **parts() { return reinterpret_cast<xp_obj **>(this + 1); }
};

// Opens the part whose turn it is, if there is one.
int32_t sequence_enter(sequence *q) {
  while (q->current < q->count && q->parts()[q->current] == nullptr)
    ++q->current;
  return q->current < q->count ? xp_strm_open(q->parts()[q->current], XP_STRM_READ) : 0;
}

int32_t sequence_leave(sequence *q) {
  return q->current < q->count ? xp_strm_close(q->parts()[q->current]) : 0;
}

int32_t sequence_open(strm *s) {
  auto *q = static_cast<sequence *>(s);
  sequence_leave(q);
  q->current = 0;
  return sequence_enter(q);
}

int32_t sequence_close(strm *s) {
  auto *q = static_cast<sequence *>(s);
  int32_t result = sequence_leave(q);
  q->current = q->count;
  return result;
}

int64_t sequence_read(strm *s, void *buffer, int64_t capacity) {
  auto *q = static_cast<sequence *>(s);
  while (q->current < q->count) {
    int64_t count = xp_strm_read(q->parts()[q->current], buffer, capacity);
    if (count != 0) return count;
    int32_t result = sequence_leave(q);
    ++q->current;
    result = first_failure(result, sequence_enter(q));
    if (result < 0) return result;
  }
  return 0;
}

int64_t sequence_length(strm *s) {
  auto *q = static_cast<sequence *>(s);
  int64_t total = 0;
  for (int64_t i = 0; i < q->count; ++i) {
    int64_t length = xp_strm_length(q->parts()[i]);
    if (length < 0) return length;
    if (__builtin_add_overflow(total, length, &total)) return INT64_MAX;
  }
  return total;
}

void sequence_end(strm *s) {
  auto *q = static_cast<sequence *>(s);
  for (int64_t i = 0; i < q->count; ++i)
    xp_release(q->parts()[i]);
}

constexpr xp::strm_ops sequence_ops = {.open = sequence_open,
                                       .close = sequence_close,
                                       .read = sequence_read,
                                       .write = nullptr,
                                       .length = sequence_length,
                                       .ioctl = nullptr,
                                       .end = sequence_end,
                                       .seeks = false};

// --- Tee ---

struct tee : strm {
  static constexpr uint32_t code = xp_code("stmt");
  xp_obj *first;
  xp_obj *second;
};

int32_t tee_open(strm *s) {
  auto *t = static_cast<tee *>(s);
  int32_t result = xp_strm_open(t->first, t->mode);
  if (result < 0) return result;
  result = xp_strm_open(t->second, (t->mode & ~static_cast<uint32_t>(XP_STRM_READ)) | XP_STRM_WRITE);
  if (result < 0) xp_strm_close(t->first);
  return result;
}

int32_t tee_close(strm *s) {
  auto *t = static_cast<tee *>(s);
  int32_t result = xp_strm_close(t->first);
  return first_failure(result, xp_strm_close(t->second));
}

// A second stream that takes less than all has failed.
int64_t tee_copy(tee *t, const void *bytes, int64_t length) {
  int64_t written = xp_strm_write(t->second, bytes, length);
  return written == length ? length : written < 0 ? written : XP_ERR_IO;
}

int64_t tee_read(strm *s, void *buffer, int64_t capacity) {
  auto *t = static_cast<tee *>(s);
  int64_t count = xp_strm_read(t->first, buffer, capacity);
  return count <= 0 ? count : tee_copy(t, buffer, count);
}

int64_t tee_write(strm *s, const void *bytes, int64_t length) {
  auto *t = static_cast<tee *>(s);
  int64_t count = xp_strm_write(t->first, bytes, length);
  return count <= 0 ? count : tee_copy(t, bytes, count);
}

int64_t tee_length(strm *s) {
  return xp_strm_length(static_cast<tee *>(s)->first);
}

void tee_end(strm *s) {
  auto *t = static_cast<tee *>(s);
  xp_release(t->first);
  xp_release(t->second);
}

constexpr xp::strm_ops tee_ops = {.open = tee_open,
                                  .close = tee_close,
                                  .read = tee_read,
                                  .write = tee_write,
                                  .length = tee_length,
                                  .ioctl = nullptr,
                                  .end = tee_end,
                                  .seeks = false};

}  // namespace

xp_obj *xp_strm_newguarded(xp_obj *stream) {
  if (xp::as_stream(stream) == nullptr) return nullptr;
  xp::ref lock = xp::ref::adopt(xp_crit_new());
  if (!lock) return nullptr;
  auto *g = xp::make_stream<guarded>(guarded_ops);
  if (g == nullptr) return nullptr;
  g->inner = xp_retain(stream);
  g->lock = lock.leak();
  return g;
}

xp_obj *xp_strm_newsequence(xp_obj *const *streams, int64_t count) {
  if (count < 0 || (streams == nullptr && count > 0)) return nullptr;
  if (count > PTRDIFF_MAX / static_cast<int64_t>(sizeof(void *))) return nullptr;
  for (int64_t i = 0; i < count; ++i)
    if (streams[i] != nullptr && xp::as_stream(streams[i]) == nullptr) return nullptr;
  auto *q = xp::make<sequence>(xp::strm_object_ops, static_cast<size_t>(count) * sizeof(void *));
  if (q == nullptr) return nullptr;
  q->ops = &sequence_ops;
  q->count = q->current = count;
  for (int64_t i = 0; i < count; ++i)
    q->parts()[i] = xp_retain(streams[i]);
  return q;
}

xp_obj *xp_strm_newtee(xp_obj *first, xp_obj *second) {
  if (xp::as_stream(first) == nullptr || xp::as_stream(second) == nullptr) return nullptr;
  auto *t = xp::make_stream<tee>(tee_ops);
  if (t == nullptr) return nullptr;
  t->first = xp_retain(first);
  t->second = xp_retain(second);
  return t;
}
