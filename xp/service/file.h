// Files, read whole.

#ifndef XP_SERVICE_FILE_H
#define XP_SERVICE_FILE_H

#include "xp/object/object.h"

#include <stdint.h>

// A new string of everything in the regular file at `path`, which may hold any bytes. Null when there is no
// such file, it is no regular file (a link to one is), it cannot be read, or it holds more than `limit` bytes
// (-1: no limit). Never waits for another program, as opening a pipe would.
xp_obj *xp_file_read(const char *path, int64_t limit);

#endif
