// The form that all functions of the format engine have which write into a caller's buffer. Internal to the
// format engine.

#ifndef XP_FORMAT_INTO_BUFFER_H
#define XP_FORMAT_INTO_BUFFER_H

#include "xp/format/sink.h"

#include <stdint.h>

// `emit(sink)` makes the text. At most size - 1 bytes and a zero byte are written; the bytes written, or with
// a null buffer the length of the whole text. A size below 1 writes nothing and gives 0.
template <typename Emit>
int64_t xpf_into_buffer(char *buffer, int64_t size, const Emit &emit) {
  if (buffer == nullptr) {
    xpf_sink counter;
    emit(counter);
    return counter.finish();
  }
  if (size < 1) return 0;
  xpf_sink out(buffer, size);
  emit(out);
  return out.finish();
}

#endif
