// Where the machine keeps what is not ours: the folders for machine-wide preferences.

#ifndef XP_SERVICE_FOLDER_H
#define XP_SERVICE_FOLDER_H

#include "xp/object/object.h"

// A new string: the path of the preferences file `name` in `folder`, below the first folder of the
// environment variable XDG_CONFIG_DIRS that holds such a file, else below /etc/xdg, whether it is there or
// not. Relative folders in the variable do not count.
xp_obj *xp_file_preferences(const char *folder, const char *name);

#endif
