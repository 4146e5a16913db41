// The main queue: work handed to the main thread from any thread, run in the order in which it was posted.
// What runs it is supplied by the application (the GLib main context) or by a test (pumped by hand).

#ifndef XP_SERVICE_MAIN_QUEUE_H
#define XP_SERVICE_MAIN_QUEUE_H

#include <stdint.h>

using xp_work = void (*)(void *argument);

// Hands one piece of work to the platform's loop. 0, or -1 when it was not taken.
using xp_main_poster = int32_t (*)(xp_work work, void *argument);

// Sets what posts to the main loop. Before it is set, and after it is set to null, work collects in a list of
// its own that xp_main_pump runs. Set it once, before other threads start.
void xp_main_setposter(xp_main_poster poster);

// Queues work(argument) on the main thread. 0, or -1 when memory is exhausted: the work will not run.
int32_t xp_main_post(xp_work work, void *argument);

// Runs the work that has collected so far and returns how many pieces ran. Main thread only; for loops
// without a poster.
int64_t xp_main_pump();

#endif
