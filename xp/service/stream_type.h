// For those who define a kind of stream: the struct that every stream begins with, and its operations. Code
// that only uses streams needs xp/service/stream.h.
//
// A kind derives its struct from xp::strm, gives it a type code that begins with "stm" (which is how streams
// are told from other objects) and has one static constexpr xp::strm_ops table. The functions of stream.h do
// what is common before they dispatch: they take the lock, look at status and mode, count the positions and
// keep failures as the status. An operation therefore runs on an open stream that was opened for it.

#ifndef XP_SERVICE_STREAM_TYPE_H
#define XP_SERVICE_STREAM_TYPE_H

#include "xp/object/type.h"
#include "xp/service/stream.h"

#include <stdint.h>

namespace xp {

struct strm;

struct strm_ops {
  // Begins anew, with mode and positions set already. 0 or a negative result. Null: nothing to do.
  int32_t (*open)(strm *s);

  // Ends, also after a failure. 0 or a negative result; the status is 0 then. XP_STRM_OPEN: it stays open.
  // Null: nothing to do.
  int32_t (*close)(strm *s);

  // At s->at.read, s->at.write, which the caller moves on afterwards. The bytes moved or a negative result.
  // Null: refused, whatever the status.
  int64_t (*read)(strm *s, void *buffer, int64_t capacity);
  int64_t (*write)(strm *s, const void *bytes, int64_t length);

  // Null: 0.
  int64_t (*length)(strm *s);

  // Requests that the kind answers in its own way; the others it hands to strm_ioctl. Null: strm_ioctl.
  int64_t (*ioctl)(strm *s, uint32_t request, int64_t value, void *pointer);

  // Frees what the kind's struct owns, with the last reference. Null: nothing.
  void (*end)(strm *s);

  bool seeks;  // the positions are offsets that XP_STRM_SEEK may move
};

struct strm : xp_obj {
  const strm_ops *ops;
  xp_obj *lock;  // a critical section; null except in guarded streams
  xp_obj *held;  // see XP_STRM_HOLD
  xp_strm_position at;
  uint32_t mode;
  int32_t status;
};

// What every kind writes into its objects' headers.
extern const ops strm_object_ops;

// A new closed stream of kind T; null when memory is exhausted.
template <typename T>
T *make_stream(const strm_ops &operations) {
  static_assert(std::is_base_of_v<strm, T> && (T::code & 0xffffff) == xp_code("stm"));
  T *s = make<T>(strm_object_ops);
  if (s != nullptr) s->ops = &operations;
  return s;
}

// The object as a stream of any kind; null when it is none.
strm *as_stream(xp_obj *obj);

// The requests that every stream answers: XP_STRM_TELL, XP_STRM_HOLD and, where the kind seeks, XP_STRM_SEEK.
int64_t strm_ioctl(strm *s, uint32_t request, int64_t value, void *pointer);

}  // namespace xp

#endif
