// The native side of the settings page: the one callback of its web view, and the request that it runs for
// each call of the page's script. Every request is answered, whatever becomes of it: failure is a missing or
// telling "result".
//
// Requests run on threads of their own, several at once, and share nothing but the framework (setup/vane.h)
// and the host (setup/host.h).

#ifndef SETUP_DISPATCHER_H
#define SETUP_DISPATCHER_H

#include "xp/object/object.h"

#include <stdint.h>

// The callback for xp_webview_new. Event 40 (`argument`: the request dictionary) starts a request thread and
// returns 1: the answer follows by xp_webview_respond. It returns 0, which lets the wrapper answer at once
// without a result, for anything but a dictionary and when memory is exhausted. Event 11 fills in "response"
// and "mimetype" (see setup/resources.h) and returns 0, as every other event does. Main thread.
int64_t cv_setup_ui_callback(xp_obj *view, uint32_t event, xp_obj *argument, uint64_t context);

// Runs one request: `tuple` is an xp_obj * whose reference this function takes over, a tuple of the view and
// the request dictionary. Stores what the method named under "method" returns as "result", then answers.
// Always 0. Any thread; the signature is that of a thread's function.
int64_t cv_setup_native(void *ignored, void *tuple);

#endif
