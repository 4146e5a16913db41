// Threads ("thrd"). A thread runs one function with one argument and ends with it. A running thread holds a
// reference to its object; one whose object is released before it was detached or joined is detached. All
// functions are safe from any thread.

#ifndef XP_SERVICE_THREAD_H
#define XP_SERVICE_THREAD_H

#include "xp/object/object.h"

#include <stdint.h>

using xp_thr_main = int64_t (*)(void *ignored, void *argument);

// "thrd"
uint32_t xp_thr_type();

// Starts a thread that runs entry(null, argument) on a stack of 1 MiB; null when no thread can be made.
xp_obj *xp_thr_new(xp_thr_main entry, void *argument);

// Lets the thread end by itself: its object may then be released without waiting. 0, or -1 when detached or
// joined.
int32_t xp_thr_detach(xp_obj *t);

// Waits for the thread's end and stores what it returned (null: not wanted). 0, or -1 when detached or joined
// before. A thread that joins itself is detached instead, and nothing is stored.
int32_t xp_thr_join(xp_obj *t, int64_t *result);

// --- The calling thread ---

// Its object, as a new reference; null on a thread that xp_thr_new did not start.
xp_obj *xp_thr_self();

// Lets other threads run that are ready to.
void xp_thr_yield();

// Sleeps for that many milliseconds, whatever signals arrive and whoever sets the clock; 0 or less returns at
// once.
void xp_thr_sleep(int64_t milliseconds);

#endif
