#include "tools/common/output.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

int write_all(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return errno;
    if (count > 0) bytes.remove_prefix(static_cast<size_t>(count));
  }
  return 0;
}

std::string write_standard_output(std::string_view bytes) {
  const int error = write_all(STDOUT_FILENO, bytes);
  return error == 0 ? "" : strerror(error);
}
