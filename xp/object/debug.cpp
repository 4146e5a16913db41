#include "xp/object/debug.h"

#include "xp/object/slab.h"

#include <malloc.h>

int64_t xp_dbg_memcount() {
  return 0;
}

int64_t xp_dbg_memstats() {
  return 0;
}

int64_t xp_dbg_memtrim() {
  int64_t slabs = xp::slab::in_use ? xp::slab::trim() : 0;
  return malloc_trim(0) != 0 || slabs != 0 ? 1 : 0;
}

xp_obj *xp_dbg_forget(xp_obj *obj) {
  return obj;
}

xp_obj *xp_dbg_follow(xp_obj *obj) {
  return obj;
}

void xp_dbg_piddump() {}

void xp_dbg_memdump() {}

void xp_dbg_comment(const char * /*text*/) {}

void xp_dbg_backtrace() {}

void xp_dbg_printf(const char * /*format*/, ...) {}

void xp_dbg_syslog(const char * /*format*/, ...) {}
