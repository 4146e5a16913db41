#include "ipc/errno_code.h"

#include "ipc/errors.h"

#include <errno.h>

namespace {

struct row {
  ipc_failed operation;
  int error;
  int32_t code;
};

// Everything that is not listed is IpcErrSystem. EACCES is what Linux says to a user whom a socket file's
// mode refuses.
constexpr row rows[] = {
    {ipc_failed::bind, EAGAIN, IpcErrWouldBlock},      {ipc_failed::bind, ENOMEM, IpcErrNoMemory},
    {ipc_failed::connect, ETIMEDOUT, IpcErrTimeout},   {ipc_failed::connect, EPERM, IpcErrPermission},
    {ipc_failed::connect, EACCES, IpcErrPermission},   {ipc_failed::transfer, EAGAIN, IpcErrWouldBlock},
    {ipc_failed::transfer, EPIPE, IpcErrNotConnected}, {ipc_failed::transfer, ETIMEDOUT, IpcErrNotConnected},
};

}  // namespace

int32_t ipc_errno_code(ipc_failed operation, int error) {
  for (const row &r : rows) {
    if (r.operation == operation && r.error == error) return r.code;
  }
  return IpcErrSystem;
}
