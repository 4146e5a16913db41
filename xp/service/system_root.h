// Where the client's own files lie. Bundles, frameworks and helpers have fixed absolute paths; when the
// environment variable CORVANE_ROOT is set and not empty they are looked for below that folder instead.

#ifndef XP_SERVICE_SYSTEM_ROOT_H
#define XP_SERVICE_SYSTEM_ROOT_H

#include "xp/object/object.h"

// A new string: the absolute path `path`, below CORVANE_ROOT when that is set.
xp_obj *xp_root_path(const char *path);

#endif
