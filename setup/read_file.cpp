#include "setup/read_file.h"

#include "xp/service/file.h"

#include <fcntl.h>
#include <unistd.h>

#include <string_view>
#include <utility>

namespace {

constexpr int64_t largest_file = 0x7ffffffe;

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

}  // namespace

xp::ref cv_setup_read_below(const std::string &root, const std::string &folder, const std::string &file) {
  if (!folder.empty() && !is_plain_name(folder)) return nullptr;
  if (!is_plain_name(file)) return nullptr;
  const descriptor top = open_folder(root, folder);
  if (!top) return nullptr;
  const descriptor opened(xp_file_openat(top.get(), file.c_str(), O_NOFOLLOW));
  return opened ? xp::ref::adopt(xp_file_readfd(opened.get(), largest_file)) : nullptr;
}
