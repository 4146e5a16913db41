// Dates ("xdat"): an immutable point in time, in whole seconds since 1970-01-01T00:00:00 UTC.

#ifndef XP_SERVICE_DATE_H
#define XP_SERVICE_DATE_H

#include "xp/object/object.h"

#include <stdint.h>

// "xdat"
uint32_t xp_date_type();

// A date; its integer value (xp_value) is `seconds`, its text the UTC date and time, as in
// 2026-11-15T03:10:37Z.
xp_obj *xp_date_make(int64_t seconds);

#endif
