#include "setup/read_file.h"

#include "xp/object/memory.h"
#include "xp/string/string.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string_view>
#include <utility>

namespace {

class descriptor {
public:
  explicit descriptor(int fd) : fd_(fd) {}
  descriptor(descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  descriptor &operator=(descriptor &&) = delete;
  ~descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  [[nodiscard]] int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

private:
  int fd_;
};

struct block_deleter {
  void operator()(char *block) const { xp_free(block); }
};
using block = std::unique_ptr<char, block_deleter>;

bool is_plain_name(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

descriptor open_folder(const std::string &root, const std::string &folder) {
  constexpr int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  descriptor top(open(root.c_str(), flags));
  if (!top || folder.empty()) return top;
  return descriptor(openat(top.get(), folder.c_str(), flags | O_NOFOLLOW));
}

// Reads up to `size` bytes, fewer at the end of the file; -1 on a failed read.
int64_t read_up_to(int fd, char *bytes, size_t size) {
  size_t count = 0;
  while (count < size) {
    const ssize_t got = TEMP_FAILURE_RETRY(read(fd, bytes + count, size - count));
    if (got < 0) return -1;
    if (got == 0) break;
    count += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(count);
}

}  // namespace

xp::ref cv_setup_read_below(const std::string &root, const std::string &folder, const std::string &file) {
  if (!folder.empty() && !is_plain_name(folder)) return nullptr;
  if (!is_plain_name(file)) return nullptr;
  const descriptor top = open_folder(root, folder);
  if (!top) return nullptr;
  // Without O_NONBLOCK a FIFO in the place of the file would hold the caller for ever.
  const descriptor opened(
      openat(top.get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status;
  if (!opened || fstat(opened.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  const auto size = static_cast<size_t>(status.st_size);
  const block bytes(static_cast<char *>(xp_alloc(size + 1)));
  if (!bytes) return nullptr;
  const int64_t length = read_up_to(opened.get(), bytes.get(), size);
  return length < 0 ? nullptr : xp::ref::adopt(xp_str_make(bytes.get(), length));
}
