#include "tools/common/input.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace {

constexpr const char *too_large = "larger than 1 GiB";

std::string error_text() {
  return strerror(errno);
}

// A file that tells its size is refused before its bytes take memory.
std::string read_all(int descriptor, std::string &bytes) {
  struct stat about;
  if (fstat(descriptor, &about) != 0) return error_text();
  if (S_ISREG(about.st_mode)) {
    if (about.st_size > largest_input) return too_large;
    bytes.reserve(static_cast<size_t>(about.st_size) + 1);
  }
  constexpr size_t least_room = 65536;
  for (;;) {
    const size_t size = bytes.size();
    bytes.resize(std::max(bytes.capacity(), size + least_room));
    const ssize_t count = read(descriptor, bytes.data() + size, bytes.size() - size);
    const int error = errno;
    bytes.resize(size + (count > 0 ? static_cast<size_t>(count) : 0));
    if (count == 0) return {};
    if (count < 0 && error != EINTR) return strerror(error);
    if (bytes.size() > largest_input) return too_large;
  }
}

}  // namespace

std::string read_input(const std::string &file, std::string &bytes) {
  if (file == "-") return read_all(STDIN_FILENO, bytes);
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return error_text();
  std::string failure = read_all(descriptor, bytes);
  close(descriptor);
  return failure;
}

std::string shown_name(const std::string &file) {
  return file == "-" ? "standard input" : file;
}
