// Events ("evnt"): flags that threads wait for. An event is either set or not set. All functions are safe
// from any thread, and everything that a thread did before it set an event is seen by those whom it let
// through.

#ifndef XP_SERVICE_EVENT_H
#define XP_SERVICE_EVENT_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_EVENT_MANUAL = 1,  // stays set, and lets every waiter through, until it is reset
  XP_EVENT_SET = 2,     // set from the start
};

// "evnt"
uint32_t xp_event_type();

// An event that is not set. Without XP_EVENT_MANUAL it resets itself: each setting lets one waiter through,
// now or later; settings do not add up. Null when memory is exhausted.
xp_obj *xp_event_new(uint32_t flags);

// Sets, resets the event. 0, or -1 when `e` is no event.
int32_t xp_event_set(xp_obj *e);
int32_t xp_event_reset(xp_obj *e);

// Waits until the event is set, at most `milliseconds`: 0 only looks, -1 (any below 0) is no limit. 1 when it
// was set, and the waiter of an event that resets itself has reset it; 0 when time ran out; -1 when `e` is no
// event. The caller keeps its reference while it waits. Setting the clock does not matter.
int32_t xp_event_wait(xp_obj *e, int64_t milliseconds);

#endif
