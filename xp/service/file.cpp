#include "xp/service/file.h"

#include "xp/object/memory.h"
#include "xp/object/ref.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t chunk_size = 16384;

// A descriptor of a regular file, or -1.
int open_regular(const char *path) {
  int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return -1;
  struct stat status;
  if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) return descriptor;
  close(descriptor);
  return -1;
}

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

xp_obj *xp_file_read(const char *path, int64_t limit) {
  int descriptor = path == nullptr ? -1 : open_regular(path);
  if (descriptor < 0) return nullptr;
  xp::ref content = xp::ref::adopt(read_all(descriptor, limit));
  close(descriptor);
  if (!content) return nullptr;
  return xp_str_make(static_cast<const char *>(xp_data_getptr(content.get())), xp_data_length(content.get()));
}
