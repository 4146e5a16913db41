// Descriptors: owned until the end of the block, read and written at an offset without being interrupted.
// Part of no object: for code that opens files itself, here and in the layers above.

#ifndef XP_SERVICE_FILE_DESCRIPTOR_H
#define XP_SERVICE_FILE_DESCRIPTOR_H

#include "xp/service/status.h"

#include <errno.h>
#include <stdint.h>
#include <unistd.h>

namespace xp {

class descriptor {
public:
  explicit descriptor(int fd) : fd_(fd) {}
  descriptor(const descriptor &) = delete;
  descriptor &operator=(const descriptor &) = delete;
  ~descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  [[nodiscard]] int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

private:
  int fd_;
};

// Up to `capacity` bytes from `offset` on; 0 at the end, or a code of xp/service/status.h.
inline int64_t read_at(int fd, void *buffer, int64_t capacity, int64_t offset) {
  ssize_t count;
  do {
    count = pread(fd, buffer, static_cast<size_t>(capacity), offset);
  } while (count < 0 && errno == EINTR);
  return count < 0 ? xp_err_errno(errno) : count;
}

// All of the bytes at `offset`: `length`, or a code. A descriptor opened to append writes at the end.
inline int64_t write_at(int fd, const void *bytes, int64_t length, int64_t offset) {
  const auto *from = static_cast<const char *>(bytes);
  for (int64_t done = 0; done < length;) {
    ssize_t count = pwrite(fd, from + done, static_cast<size_t>(length - done), offset + done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count < 0 ? xp_err_errno(errno) : XP_ERR_IO;
    done += count;
  }
  return length;
}

}  // namespace xp

#endif
