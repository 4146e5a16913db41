#include "tools/xp-plist/output.h"

#include "tools/common/output.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

namespace fs = std::filesystem;

namespace {

// The calls below answer with an errno, 0 for success.

int write_in_place(const std::string &file, std::string_view bytes) {
  const int descriptor = open(file.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor < 0) return errno;
  const int error = write_all(descriptor, bytes);
  return close(descriptor) != 0 && error == 0 ? errno : error;
}

// Where a chain of symbolic links ends; the end need not be there.
fs::path follow_links(fs::path file) {
  constexpr int longest_chain = 40;
  std::error_code error;
  for (int i = 0; i < longest_chain && fs::is_symlink(fs::symlink_status(file, error)); ++i)
    file = file.parent_path() / fs::read_symlink(file, error);
  return file;
}

// No signal that people send ends the program while a half-written file lies beside the target.
class uninterrupted {
public:
  uninterrupted() {
    sigset_t signals;
    sigemptyset(&signals);
    for (int signal : {SIGHUP, SIGINT, SIGTERM, SIGQUIT})
      sigaddset(&signals, signal);
    sigprocmask(SIG_BLOCK, &signals, &before_);
  }
  ~uninterrupted() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  uninterrupted(const uninterrupted &) = delete;
  uninterrupted &operator=(const uninterrupted &) = delete;

private:
  sigset_t before_;
};

mode_t mode_of_new_files() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// Gives a new file the owner, where that is allowed, and the permissions of the one in whose place it comes.
int set_access(int descriptor, const std::optional<struct stat> &old) {
  if (!old) return fchmod(descriptor, mode_of_new_files()) != 0 ? errno : 0;
  const bool owned = fchown(descriptor, old->st_uid, old->st_gid) == 0;
  return fchmod(descriptor, old->st_mode & (owned ? 07777U : 0777U)) != 0 ? errno : 0;
}

// Some file systems cannot be told to bring a file to disk.
int bring_to_disk(int descriptor) {
  return fsync(descriptor) == 0 || errno == EINVAL || errno == ENOSYS ? 0 : errno;
}

int write_beside(const fs::path &target, std::string_view bytes, const std::optional<struct stat> &old) {
  const uninterrupted until_the_end;
  // A short name of its own: that of the target may be as long as names can be.
  std::string beside = target.parent_path() / ".xp-plist.XXXXXX";
  const int descriptor = mkostemp(beside.data(), O_CLOEXEC);
  if (descriptor < 0) return errno;
  int error = write_all(descriptor, bytes);
  if (error == 0) error = set_access(descriptor, old);
  if (error == 0) error = bring_to_disk(descriptor);
  if (close(descriptor) != 0 && error == 0) error = errno;
  if (error == 0 && rename(beside.c_str(), target.c_str()) != 0) error = errno;
  if (error != 0) unlink(beside.c_str());
  return error;
}

int replace(const std::string &file, std::string_view bytes) {
  std::optional<struct stat> old(std::in_place);
  if (stat(file.c_str(), &*old) != 0) {
    if (errno != ENOENT) return errno;
    old.reset();
  }
  if (old && !S_ISREG(old->st_mode)) return write_in_place(file, bytes);
  if (old && faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) != 0) return errno;
  return write_beside(follow_links(file), bytes, old);
}

}  // namespace

std::string replace_file(const std::string &file, std::string_view bytes) {
  const int error = replace(file, bytes);
  return error == 0 ? "" : strerror(error);
}
