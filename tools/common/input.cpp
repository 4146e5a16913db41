#include "tools/common/input.h"

#include "tools/common/escape.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

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
    bytes.reserve(static_cast<size_t>(about.st_size));
  }
  // By pieces that are added: room made in the text itself would be filled with zeros for each read.
  std::array<char, 65536> piece;
  for (;;) {
    const ssize_t count = read(descriptor, piece.data(), piece.size());
    if (count == 0) return {};
    if (count < 0 && errno != EINTR) return error_text();
    if (count > 0) bytes.append(piece.data(), static_cast<size_t>(count));
    if (std::ssize(bytes) > largest_input) return too_large;
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
  return file == "-" ? "standard input" : escaped(file, '\0');
}
