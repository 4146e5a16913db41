// Hooks for a memory debugger. This runtime carries none: they do nothing, memory trim excepted. Leaks are
// found by xp::live_objects in the tests and by the sanitizers.

#ifndef XP_OBJECT_DEBUG_H
#define XP_OBJECT_DEBUG_H

#include "xp/object/object.h"

#include <stdint.h>

// Blocks in use and statistics of a memory debugger: 0.
int64_t xp_dbg_memcount();
int64_t xp_dbg_memstats();

// Gives free heap memory back to the system. 1 when some was given back, else 0.
int64_t xp_dbg_memtrim();

// Tell a leak tracker that an object is kept for ever, that it is to be watched. They return their argument;
// its references do not change.
xp_obj *xp_dbg_forget(xp_obj *obj);
xp_obj *xp_dbg_follow(xp_obj *obj);

// Output of a memory debugger: nothing is written.
void xp_dbg_piddump();
void xp_dbg_memdump();
void xp_dbg_comment(const char *text);
void xp_dbg_backtrace();
[[gnu::format(printf, 1, 2)]] void xp_dbg_printf(const char *format, ...);
[[gnu::format(printf, 1, 2)]] void xp_dbg_syslog(const char *format, ...);

#endif
