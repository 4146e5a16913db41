// The stand-in daemon: serves the endpoint HXca with the data of a state file, for page requests that only
// read. Every other request is refused with a result that is not 0.

#ifndef STANDIN_DAEMON_H
#define STANDIN_DAEMON_H

#include "standin/state.h"
#include "xp/object/object.h"

#include <stdint.h>

// The endpoint's code.
constexpr uint32_t STANDIN_ENDPOINT = xp_code("HXca");

// Results of a request that was not answered with data.
enum : int32_t {
  STANDIN_BAD_REQUEST = -50,   // no request of the daemon's protocol, or one that lacks a record
  STANDIN_UNKNOWN_CODE = -51,  // a code that the stand-in does not serve
  STANDIN_NO_DATA = -52,       // nothing to tell, as for the history of an unknown tag
};

// A handler for ipc_receive and standin_service; the context is a standin_state.
// Any number of threads may call it at once.
int32_t standin_answer(xp_obj *request, xp_obj *reply, uint32_t ptyp, uint32_t ptid, void *context);

#endif
