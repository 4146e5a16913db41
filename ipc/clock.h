// The library's clock: milliseconds as 32-bit numbers that wrap after 49.7 days. It never jumps. Safe from
// any thread.

#ifndef IPC_CLOCK_H
#define IPC_CLOCK_H

#include <stdint.h>

// Milliseconds since the start of the second in which the process called this first.
uint32_t ipc_time_msecs();

// b - a in 32-bit arithmetic: the time from a to b. Callers compare it as a signed number.
uint32_t ipc_time_diff(uint32_t a, uint32_t b);

// Whether more than `msecs` milliseconds have passed since `start`; never when msecs is -1, which means no
// limit.
bool ipc_time_expired(uint32_t start, int32_t msecs);

// Sleeps; returns at once when msecs is negative.
void ipc_sleep(int32_t msecs);

#endif
