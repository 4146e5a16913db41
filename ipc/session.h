// Login-session numbers. Inside the library a session number is a 32-bit word whose bytes in memory are the
// number in big-endian order: so it travels in messages, and names of sockets and services show the plain
// number. The number of this process is found once and kept; safe from any thread.

#ifndef IPC_SESSION_H
#define IPC_SESSION_H

#include <stdint.h>

// Session specs with a meaning of their own. Any other value is an explicit session, already in big-endian
// order (ipc_session_explicit).
enum : int32_t {
  IPC_SESSION_ZERO = -1,     // session 0, whatever this process belongs to
  IPC_SESSION_INVALID = -2,  // no session: connecting is refused
  IPC_SESSION_LOGIN = -3,    // the kernel's audit session of this process, 0 when it has none
  IPC_SESSION_HELPER = -4,   // the number that the client's session helper prints, 0 when anything fails
  IPC_SESSION_ANY = -10,     // wildcard of ipc_unlink
};

// The session number of a spec. LOGIN and HELPER share one remembered number: whichever is asked first finds
// it. HELPER runs the helper program and may take up to 4 s.
uint32_t ipc_session_id(int32_t spec);

// ipc_session_id(IPC_SESSION_LOGIN).
uint32_t ipc_session();

// The spec of an explicit session, from its plain number.
constexpr int32_t ipc_session_explicit(uint32_t number) {
  return static_cast<int32_t>(__builtin_bswap32(number));
}

#endif
