// The socket files: their names and the shared directory they lie in. The directory is always reached through
// a descriptor that was opened without following a link, so that nobody can have modes and owners changed
// elsewhere. Internal to this folder.
//
//   name: "%08X-%08X", 17 characters: the endpoint code's characters as a big-endian number, the plain
//   session number

#ifndef IPC_SOCKET_FILE_H
#define IPC_SOCKET_FILE_H

#include <stdint.h>
#include <sys/un.h>

// Where socket files lie, "/var/tmp/com.brindle.pipes". Without a slash at the end: behind one a link would
// be followed whatever is asked for.
const char *ipcc_directory();

// Puts another directory in its place, null for the real one; for tests, before sockets are made. The text
// stays the caller's, and has to leave room for names below IPCC_PATH_KEPT.
void ipcc_use_directory(const char *directory);

// The longest path a socket may have, in bytes; a channel remembers up to 64 of them.
enum : uint32_t { IPCC_PATH_LIMIT = 104, IPCC_PATH_KEPT = 64, IPCC_NAME_LENGTH = 17 };

struct ipcc_path {
  char text[IPCC_PATH_KEPT + 1];
};

ipcc_path ipcc_path_of(uint32_t code, uint32_t session);

// The address of a socket file; false when the path is too long.
bool ipcc_address_of(const char *path, sockaddr_un *address);

// The directory, made when it is missing, with its mode put right: a descriptor, or a code of ipc/errors.h.
int32_t ipcc_directory_prepare(const char *directory);

// Binds a socket to its file, in place of any file of that name, and tells the file's inode; 0, or a code of
// ipc/errors.h with no file left.
int32_t ipcc_file_bind(int32_t directory, int32_t socket, const char *path, uint64_t *inode);

// Unlinks a socket file, if it still is the one with this inode and not a successor's.
void ipcc_file_unlink(const char *path, uint64_t inode);

#endif
