// Where things are kept: folders by code, with the places that the XDG base directory rules give them.
//
//   code  folder                          variable          without it
//   sprf  machine-wide preferences        XDG_CONFIG_DIRS   /etc/xdg
//   sdat  machine-wide data               XDG_DATA_DIRS     /usr/local/share, /usr/share
//   pref  the user's preferences          XDG_CONFIG_HOME   .config in the home folder
//   data  the user's data                 XDG_DATA_HOME     .local/share there
//   stat  the user's states and logs      XDG_STATE_HOME    .local/state there
//   cach  the user's caches               XDG_CACHE_HOME    .cache there
//   runt  the session's sockets and such  XDG_RUNTIME_DIR   none
//   temp  short-lived files               TMPDIR            /tmp
//   home  the user's own                  HOME              the password file's
//   root  the top of the file system      -                 /
//
// The first two may be several folders. What a variable holds counts only when it is an absolute path.

#ifndef XP_SERVICE_FOLDER_H
#define XP_SERVICE_FOLDER_H

#include "xp/object/object.h"

#include <stdint.h>

enum xp_folder : uint32_t {
  XP_FOLDER_MACHINE_PREFERENCES = xp_code("sprf"),
  XP_FOLDER_MACHINE_DATA = xp_code("sdat"),
  XP_FOLDER_PREFERENCES = xp_code("pref"),
  XP_FOLDER_DATA = xp_code("data"),
  XP_FOLDER_STATE = xp_code("stat"),
  XP_FOLDER_CACHE = xp_code("cach"),
  XP_FOLDER_RUNTIME = xp_code("runt"),
  XP_FOLDER_TEMPORARY = xp_code("temp"),
  XP_FOLDER_HOME = xp_code("home"),
  XP_FOLDER_ROOT = xp_code("root"),
};

// A new file object: the folder of that code, whether it is there or not; of several the first that is there,
// else the last of those without the variable. Null for an unknown code and when the system names no such
// folder.
xp_obj *xp_file_folder(uint32_t code);

// The file `name` in `folder` (null: none) below the folder of that code: of several the first that holds
// such a file, else in the last of those without the variable. Both must be plain names (xp_file_child).
xp_obj *xp_file_find(uint32_t code, const char *folder, const char *name);

// A new string: the path of the machine-wide preferences file `name` in `folder`, below the first folder of
// XDG_CONFIG_DIRS that holds such a file, else below /etc/xdg, whether it is there or not.
xp_obj *xp_file_preferences(const char *folder, const char *name);

#endif
