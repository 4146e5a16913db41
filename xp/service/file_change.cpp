#include "xp/object/ref.h"
#include "xp/service/file.h"
#include "xp/service/file_descriptor.h"
#include "xp/service/joined_text.h"
#include "xp/string/string.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t folder_mode = 0777;  // less what the process's mask takes away
constexpr mode_t new_file_mode = 0644;
constexpr mode_t permission_bits = 07777;

int32_t outcome(int result) {
  return result == 0 ? 0 : xp_err_errno(errno);
}

// The folder and, below an existing one, all that are missing on the way.
int32_t make_folders(xp_obj *f) {
  int32_t result = outcome(mkdir(xp_file_getptr(f), folder_mode));
  if (result == XP_ERR_ABSENT) {
    xp::ref parent = xp::ref::adopt(xp_file_parent(f));
    if (!parent) return XP_ERR_NOMEMORY;
    result = make_folders(parent.get());
    if (result == 0) result = outcome(mkdir(xp_file_getptr(f), folder_mode));
  }
  return result == XP_ERR_EXISTS && xp_file_isdir(f) != 0 ? 0 : result;
}

// The permissions that the file has, or those of a new one.
mode_t mode_of(const char *path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISREG(status.st_mode) ? status.st_mode & permission_bits
                                                              : new_file_mode;
}

// Writes everything to a new file and waits for the disk.
int32_t fill(int descriptor, mode_t mode, const void *bytes, int64_t length) {
  int64_t written = xp::write_at(descriptor, bytes, length, 0);
  if (written < 0) return static_cast<int32_t>(written);
  if (fchmod(descriptor, mode) != 0) return xp_err_errno(errno);
  return outcome(fsync(descriptor));
}

// Makes the new name last: the folder holds it.
void sync_folder(xp_obj *folder) {
  xp::descriptor opened(open(xp_file_getptr(folder), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened) fsync(opened.get());
}

}  // namespace

int32_t xp_file_mkdir(xp_obj *f, uint32_t flags) {
  const char *path = xp_file_getptr(f);
  if (path == nullptr) return XP_ERR_ARGUMENT;
  return (flags & XP_FILE_PARENTS) != 0 ? make_folders(f) : outcome(mkdir(path, folder_mode));
}

int32_t xp_file_remove(xp_obj *f) {
  const char *path = xp_file_getptr(f);
  return path == nullptr ? XP_ERR_ARGUMENT : outcome(remove(path));
}

int32_t xp_file_rename(xp_obj *f, xp_obj *to) {
  const char *path = xp_file_getptr(f);
  const char *other = xp_file_getptr(to);
  return path == nullptr || other == nullptr ? XP_ERR_ARGUMENT : outcome(rename(path, other));
}

int32_t xp_file_replace(xp_obj *f, const void *bytes, int64_t length) {
  const char *path = xp_file_getptr(f);
  if (path == nullptr || length < 0 || (bytes == nullptr && length > 0)) return XP_ERR_ARGUMENT;
  xp::ref folder = xp::ref::adopt(xp_file_parent(f));
  xp::ref beside = xp::ref::adopt(xp::join_text({path, ".XXXXXX"}));
  if (!beside || !folder) return XP_ERR_NOMEMORY;
  // Nobody else sees this string yet, so its text may be written.
  auto *name = const_cast<char *>(xp_str_getptr(beside.get()));
  xp::descriptor opened(mkostemp(name, O_CLOEXEC));
  if (!opened) return xp_err_errno(errno);
  int32_t result = fill(opened.get(), mode_of(path), bytes, length);
  if (result == 0) result = outcome(rename(name, path));
  if (result != 0) {
    unlink(name);
  } else {
    sync_folder(folder.get());
  }
  return result;
}
