// Dates ("xdat"): an immutable point in time, in seconds since 1970-01-01T00:00:00 UTC (any 64-bit number of
// them, see xp/service/time.h) and milliseconds. Safe from any thread.
//
//  - Order is that of time, milliseconds included.
//  - Text is the UTC date and time without milliseconds, as in 2026-11-15T03:10:37Z.
//  - Value (xp_value) is the whole seconds, towards the past.
//  - A record holds the milliseconds since 1970 as 8 bytes, big-endian; a date beyond their range, some 292
//    million years, has no record.

#ifndef XP_SERVICE_DATE_H
#define XP_SERVICE_DATE_H

#include "xp/object/object.h"

#include <stdint.h>

// "xdat"
uint32_t xp_date_type();

// A date by its seconds, its milliseconds since 1970 UTC.
xp_obj *xp_date_make(int64_t seconds);
xp_obj *xp_date_msnew(int64_t milliseconds);

// A date by what the local clock shows at it, counted in seconds, in milliseconds, as if that were UTC; how
// times that the clock shows twice or never are taken stands at xp_time_fromlocal. Null also when the system
// has no local time for it.
xp_obj *xp_date_localnew(int64_t seconds);
xp_obj *xp_date_localmsnew(int64_t milliseconds);

// A date itself, retained; of a string the date that it tells by ISO 8601 (xp_time_parse); of a number that
// many seconds, a float's fraction to the nearest millisecond. Null for anything else.
xp_obj *xp_date_coerce(xp_obj *obj);

// The milliseconds since 1970 UTC, cut to the range of 64 bits; 0 for anything but a date.
int64_t xp_date_ms(xp_obj *d);

#endif
