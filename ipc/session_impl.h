// The parts of finding a session number, for the tests. Internal to this folder.

#ifndef IPC_SESSION_IMPL_H
#define IPC_SESSION_IMPL_H

#include <stdint.h>

// Runs a helper program and returns the number it prints on descriptor 3; 0 when anything fails or nothing is
// printed within `limit` ms. One that has not ended by then is ended; what it printed counts.
uint32_t ipc_session_helper(const char *path, int32_t limit);

// The number at the start of a text of `length` bytes; 0 when there is none or it does not fit.
uint32_t ipc_session_parse(const char *text, int64_t length);

// Forgets the remembered number.
void ipc_session_forget();

#endif
