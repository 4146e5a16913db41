#include "xp/object/ref.h"
#include "xp/service/data.h"
#include "xp/service/file.h"
#include "xp/string/string.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t chunk_size = 16384;

ssize_t read_some(int descriptor, void *buffer, size_t size) {
  ssize_t count;
  do {
    count = read(descriptor, buffer, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

// Everything up to the end of the file as data; null beyond the limit. The size that the file system tells is
// not relied upon: the file may grow meanwhile, and some files tell none.
xp_obj *read_all(int descriptor, int64_t limit) {
  xp::ref content = xp::ref::adopt(xp_data_new(nullptr, 0));
  char chunk[chunk_size];
  for (;;) {
    ssize_t count = read_some(descriptor, chunk, sizeof chunk);
    if (count < 0 || !content) return nullptr;
    if (count == 0) return content.leak();
    int64_t length = xp_data_append(content.get(), chunk, count);
    if (length < 0 || (limit >= 0 && length > limit)) return nullptr;
  }
}

}  // namespace

int32_t xp_file_openat(int32_t folder, const char *path, int32_t flags) {
  if (path == nullptr) return XP_ERR_ARGUMENT;
  // Without O_NONBLOCK a pipe in the place of the file would hold the caller for ever.
  int descriptor = openat(folder, path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags);
  if (descriptor < 0) return xp_err_errno(errno);
  struct stat status;
  int32_t failure = fstat(descriptor, &status) != 0 ? xp_err_errno(errno) : XP_ERR_KIND;
  if (failure == XP_ERR_KIND && S_ISREG(status.st_mode)) return descriptor;
  close(descriptor);
  return failure;
}

xp_obj *xp_file_readfd(int32_t descriptor, int64_t limit) {
  xp::ref content = xp::ref::adopt(read_all(descriptor, limit));
  if (!content) return nullptr;
  return xp_str_make(static_cast<const char *>(xp_data_getptr(content.get())), xp_data_length(content.get()));
}

xp_obj *xp_file_read(const char *path, int64_t limit) {
  int descriptor = xp_file_openat(AT_FDCWD, path, 0);
  if (descriptor < 0) return nullptr;
  xp_obj *content = xp_file_readfd(descriptor, limit);
  close(descriptor);
  return content;
}

xp_obj *xp_file_load(xp_obj *f, int64_t limit) {
  return xp_file_read(xp_file_getptr(f), limit);
}

int64_t xp_file_size(xp_obj *f) {
  struct stat status;
  const char *path = xp_file_getptr(f);
  if (path == nullptr) return XP_ERR_ARGUMENT;
  if (stat(path, &status) != 0) return xp_err_errno(errno);
  return S_ISREG(status.st_mode) ? status.st_size : XP_ERR_KIND;
}
