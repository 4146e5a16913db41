#include "xp/object/ref.h"
#include "xp/service/file.h"
#include "xp/service/file_descriptor.h"
#include "xp/service/stream_kinds.h"
#include "xp/service/stream_type.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using xp::strm;

constexpr mode_t new_file_mode = 0666;  // less what the process's mask takes away
constexpr int no_descriptor = -1;

struct file_stream : strm {
  static constexpr uint32_t code = xp_code("stmf");
  xp_obj *file;
  int descriptor;
};

int flags_of(uint32_t mode) {
  bool reads = (mode & XP_STRM_READ) != 0;
  bool writes = (mode & XP_STRM_WRITE) != 0;
  int flags = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  if (!writes) return flags | O_RDONLY;
  flags |= O_CREAT | (reads ? O_RDWR : O_WRONLY);
  if ((mode & XP_STRM_APPEND) != 0) flags |= O_APPEND;
  if ((mode & XP_STRM_FRESH) != 0) flags |= O_EXCL;
  return flags;
}

int32_t drop(file_stream *f) {
  int descriptor = f->descriptor;
  f->descriptor = no_descriptor;
  return descriptor == no_descriptor || close(descriptor) == 0 ? 0 : xp_err_errno(errno);
}

// What was opened must be a regular file, and is emptied only then.
int32_t accept(int descriptor, bool empty) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return xp_err_errno(errno);
  if (!S_ISREG(status.st_mode)) return XP_ERR_KIND;
  return !empty || ftruncate(descriptor, 0) == 0 ? 0 : xp_err_errno(errno);
}

int32_t open_stream(strm *s) {
  auto *f = static_cast<file_stream *>(s);
  drop(f);
  f->descriptor = open(xp_file_getptr(f->file), flags_of(f->mode), new_file_mode);
  if (f->descriptor == no_descriptor) return xp_err_errno(errno);
  bool empty = (f->mode & (XP_STRM_WRITE | XP_STRM_EMPTY)) == (XP_STRM_WRITE | XP_STRM_EMPTY);
  int32_t result = accept(f->descriptor, empty);
  if (result < 0) drop(f);
  return result;
}

int32_t close_stream(strm *s) {
  return drop(static_cast<file_stream *>(s));
}

int64_t read_stream(strm *s, void *buffer, int64_t capacity) {
  return xp::read_at(static_cast<file_stream *>(s)->descriptor, buffer, capacity, s->at.read);
}

int64_t length_of(strm *s) {
  auto *f = static_cast<file_stream *>(s);
  if (f->descriptor == no_descriptor) return xp_file_size(f->file);
  struct stat status;
  return fstat(f->descriptor, &status) == 0 ? status.st_size : xp_err_errno(errno);
}

int64_t write_stream(strm *s, const void *bytes, int64_t length) {
  auto *f = static_cast<file_stream *>(s);
  if ((f->mode & XP_STRM_APPEND) != 0) {
    int64_t end = length_of(f);
    if (end < 0) return end;
    f->at.write = end;
  }
  return xp::write_at(f->descriptor, bytes, length, f->at.write);
}

int64_t request(strm *s, uint32_t code, int64_t value, void *pointer) {
  auto *f = static_cast<file_stream *>(s);
  if (code != XP_STRM_SYNC) return xp::strm_ioctl(s, code, value, pointer);
  if (f->descriptor == no_descriptor) return XP_ERR_REFUSED;
  return fsync(f->descriptor) == 0 ? 0 : xp_err_errno(errno);
}

void end(strm *s) {
  auto *f = static_cast<file_stream *>(s);
  drop(f);
  xp_release(f->file);
}

constexpr xp::strm_ops file_stream_ops = {.open = open_stream,
                                          .close = close_stream,
                                          .read = read_stream,
                                          .write = write_stream,
                                          .length = length_of,
                                          .ioctl = request,
                                          .end = end,
                                          .seeks = true};

}  // namespace

xp_obj *xp_strm_newfile(xp_obj *file) {
  xp::ref named = xp::ref::adopt(xp_file_coerce(file));
  if (!named) return nullptr;
  auto *f = xp::make_stream<file_stream>(file_stream_ops);
  if (f == nullptr) return nullptr;
  f->file = named.leak();
  f->descriptor = no_descriptor;
  return f;
}
