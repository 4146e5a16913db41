// The session helper of a private root: writes the number of the login session, in decimal, on descriptor 3.
// The number stands in the file "session" beside the program, where `corvane-standin --make-root` puts both.
//
// Exit status: 0, or 1 when there is no number to tell; nothing is written then, which callers read as
// session 0.

#include <ctype.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <unistd.h>

namespace {

constexpr int answer_descriptor = 3;
constexpr size_t longest_number = 10;

// The path of `name` beside this program; false when it is too long.
bool beside_program(const char *name, char (&path)[PATH_MAX]) {
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path) return false;
  path[length] = '\0';
  char *const slash = strrchr(path, '/');
  if (slash == nullptr) return false;
  const auto room = static_cast<size_t>(path + sizeof path - (slash + 1));
  if (strlen(name) >= room) return false;
  memcpy(slash + 1, name, strlen(name) + 1);
  return true;
}

}  // namespace

int main() {
  char path[PATH_MAX];
  if (!beside_program("session", path)) return 1;
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return 1;
  char text[longest_number + 1];
  const ssize_t length = read(file, text, sizeof text);
  close(file);

  size_t digits = 0;
  while (length > 0 && digits < static_cast<size_t>(length) &&
         isdigit(static_cast<unsigned char>(text[digits])))
    ++digits;
  if (digits == 0 || digits > longest_number) return 1;
  return write(answer_descriptor, text, digits) == static_cast<ssize_t>(digits) ? 0 : 1;
}
