#include "ipc/socket_file.h"

#include "ipc/channel.h"
#include "ipc/errno_code.h"
#include "ipc/session.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string_view>

namespace {

constexpr char real_directory[] = "/var/tmp/com.brindle.pipes";
constexpr size_t code_digits = 9;  // of a name: the code and the hyphen

static_assert(sizeof real_directory + IPCC_NAME_LENGTH <= IPCC_PATH_KEPT);

std::atomic<const char *> in_place = real_directory;

// Everyone may make and use names in the directory, nobody else may list it. Root's has the sticky bit as
// well.
// Deliberate: without that bit one user can remove another's socket file; only root's directory can be relied
// on.
constexpr mode_t user_directory_mode = 0733;
constexpr mode_t root_directory_mode = 01733;

// Who may connect: the user alone, or with a server of root's everyone.
constexpr mode_t user_socket_mode = 0200;
constexpr mode_t root_socket_mode = 0222;

bool is_root() {
  return geteuid() == 0;
}

const char *name_of(const char *path) {
  return strrchr(path, '/') + 1;
}

// The directory as it is, or -1. O_PATH, because only its owner may open it for reading.
int open_directory(const char *directory) {
  return open(directory, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

// Changes the mode of the very directory that is open, and its owner when wanted. 0 or -1.
int set_directory_mode(int directory, bool take_over) {
  int readable = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (readable < 0) return -1;
  int result = take_over ? fchown(readable, 0, 0) : 0;
  if (result == 0) result = fchmod(readable, is_root() ? root_directory_mode : user_directory_mode);
  close(readable);
  return result;
}

}  // namespace

const char *ipcc_directory() {
  return in_place.load(std::memory_order_relaxed);
}

void ipcc_use_directory(const char *directory) {
  in_place.store(directory == nullptr ? real_directory : directory, std::memory_order_relaxed);
}

ipcc_path ipcc_path_of(uint32_t code, uint32_t session) {
  ipcc_path path;
  snprintf(path.text, sizeof path.text, "%s/%08X-%08X", ipcc_directory(), __builtin_bswap32(code),
           __builtin_bswap32(session));
  return path;
}

bool ipcc_address_of(const char *path, sockaddr_un *address) {
  size_t length = strlen(path);
  if (length > IPCC_PATH_LIMIT) return false;
  *address = {};
  address->sun_family = AF_UNIX;
  memcpy(address->sun_path, path, length);
  return true;
}

int32_t ipcc_directory_prepare(const char *path) {
  bool made = mkdir(path, is_root() ? root_directory_mode : user_directory_mode) == 0;
  int directory = open_directory(path);
  struct stat status;
  if (directory < 0 || fstat(directory, &status) != 0) {
    int32_t code = ipc_errno_code(ipc_failed::bind, errno);
    if (directory >= 0) close(directory);
    return code;
  }
  bool foreign = is_root() && status.st_uid != 0;
  if ((made || foreign) && set_directory_mode(directory, foreign) != 0) {
    int32_t code = ipc_errno_code(ipc_failed::bind, errno);
    close(directory);
    return code;
  }
  return directory;
}

int32_t ipcc_file_bind(int32_t directory, int32_t socket, const char *path, uint64_t *inode) {
  sockaddr_un address;
  if (!ipcc_address_of(path, &address)) return ipc_errno_code(ipc_failed::bind, ENAMETOOLONG);
  const char *name = name_of(path);
  mode_t mode = is_root() ? root_socket_mode : user_socket_mode;
  unlinkat(directory, name, 0);
  // The file is made with the socket's own mode, less the umask. Setting the umask instead would reach into
  // files that other threads make meanwhile. The second change gives back what the umask took, and never more
  // than `mode`.
  if (fchmod(socket, mode) != 0 ||
      bind(socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
    return ipc_errno_code(ipc_failed::bind, errno);
  }
  struct stat status;
  if (fchmodat(directory, name, mode, AT_SYMLINK_NOFOLLOW) != 0 ||
      fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
    int32_t code = ipc_errno_code(ipc_failed::bind, errno);
    unlinkat(directory, name, 0);
    return code;
  }
  *inode = status.st_ino;
  return 0;
}

void ipcc_file_unlink(const char *path, uint64_t inode) {
  int directory = open_directory(ipcc_directory());
  if (directory < 0) return;
  struct stat status;
  bool ours = fstatat(directory, name_of(path), &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_ino == inode;
  if (ours) unlinkat(directory, name_of(path), 0);
  close(directory);
}

int32_t ipc_com_exists(uint32_t code, uint32_t session) {
  int directory = open_directory(ipcc_directory());
  if (directory < 0) return -1;
  ipcc_path path = ipcc_path_of(code, session);
  struct stat status;
  bool found = fstatat(directory, name_of(path.text), &status, AT_SYMLINK_NOFOLLOW) == 0;
  close(directory);
  return found && S_ISSOCK(status.st_mode) ? 0 : -1;
}

int32_t ipc_com_unlink(uint32_t code, uint32_t session) {
  bool any_session = session == static_cast<uint32_t>(IPC_SESSION_ANY);
  ipcc_path path = ipcc_path_of(code, session);
  int directory = open_directory(ipcc_directory());
  if (directory < 0) return 0;
  if (code != 0 && !any_session) {
    unlinkat(directory, name_of(path.text), 0);
    close(directory);
    return 0;
  }
  int readable = openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  close(directory);
  DIR *listing = readable < 0 ? nullptr : fdopendir(readable);
  if (listing == nullptr) {
    if (readable >= 0) close(readable);
    return 0;
  }
  const std::string_view wanted(name_of(path.text), IPCC_NAME_LENGTH);
  while (const dirent *entry = readdir(listing)) {
    std::string_view name(entry->d_name);
    if (name.size() != IPCC_NAME_LENGTH) continue;
    if (code != 0 && name.substr(0, code_digits) != wanted.substr(0, code_digits)) continue;
    if (!any_session && name.substr(code_digits - 1) != wanted.substr(code_digits - 1)) continue;
    unlinkat(dirfd(listing), entry->d_name, 0);
  }
  closedir(listing);
  return 0;
}
