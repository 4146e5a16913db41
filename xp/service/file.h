// Files: objects that name a place in the file system. They are immutable, open nothing and know nothing but
// a path, so they may be shared between threads; every question goes to the system anew. Their order and text
// are those of the path.
//
// A path is kept without doubled slashes, "." steps and a slash at the end; ".." steps stay, since links may
// lead elsewhere. Results below 0 are codes of xp/service/status.h. Nothing here waits for another program,
// as opening a pipe would; descriptors are never inherited by other programs.

#ifndef XP_SERVICE_FILE_H
#define XP_SERVICE_FILE_H

#include "xp/object/object.h"
#include "xp/service/status.h"

#include <stdint.h>

// The four characters backslash, colon, asterisk, slash: a code that can be no file's name anywhere.
uint32_t xp_file_type();

// --- Making: null for an empty path, one that holds a zero byte, and when memory is exhausted ---

xp_obj *xp_file_new(const char *path, int64_t length);

// The file that a "file:" URL (a URL or its text) names; null for other schemes and hosts and when a %2F or
// %00 in it would make another path of it. Query and fragment do not count.
xp_obj *xp_file_cfnew(xp_obj *url);

// A file is returned retained; a URL, or a string that begins with "file:", names one as above; another
// string is a path.
xp_obj *xp_file_coerce(xp_obj *obj);

// The top of the file system. Here there are no drives: the drive of any file is the root.
xp_obj *xp_file_root();
xp_obj *xp_file_drive(xp_obj *f);

// --- Names: new references ---

// The file `name` in this folder; null unless it is a plain name: not empty, ".", "..", no slash, no zero
// byte.
xp_obj *xp_file_child(xp_obj *f, const char *name, int64_t length);

// The folder it lies in; null for the root. That of a relative path may be "." or end with "..".
xp_obj *xp_file_parent(xp_obj *f);

// The last part of the path ("/" for the root); the path; the "file:" URL, null for a relative path. The path
// as zero-terminated text, borrowed.
xp_obj *xp_file_name(xp_obj *f);
xp_obj *xp_file_path(xp_obj *f);
xp_obj *xp_file_url(xp_obj *f);
const char *xp_file_getptr(xp_obj *f);

// --- Asking: links are followed ---

// 1 or 0.
int32_t xp_file_exists(xp_obj *f);
int32_t xp_file_isdir(xp_obj *f);

// Bytes of a regular file, or a code.
int64_t xp_file_size(xp_obj *f);

// The files in a folder, in the order of their names' bytes: as an array; as a traversal, which a file also
// answers to xp_trav_make. Null when it cannot be read. What comes and goes meanwhile may be there or not.
xp_obj *xp_file_list(xp_obj *f);
xp_obj *xp_file_travnew(xp_obj *f);

// --- Reading whole ---

// A new string of everything in a regular file, which may hold any bytes. Null when there is no such file, it
// is no regular file (a link to one is), it cannot be read, or it holds more than `limit` bytes (-1: no
// limit).
xp_obj *xp_file_read(const char *path, int64_t limit);
xp_obj *xp_file_load(xp_obj *f, int64_t limit);

// The two steps of it, for callers with a way of their own to the file. A descriptor of the regular file at
// `path` below the folder `folder` (AT_FDCWD: the current one), opened for reading with further flags of
// open, or a code; the rest of a descriptor as a string.
int32_t xp_file_openat(int32_t folder, const char *path, int32_t flags);
xp_obj *xp_file_readfd(int32_t descriptor, int64_t limit);

// --- Changing: 0 or a code ---

enum : uint32_t {
  XP_FILE_PARENTS = 1,  // makes the folders on the way too, and is content when the folder is there
};

int32_t xp_file_mkdir(xp_obj *f, uint32_t flags);

// A file, a link (not what it leads to) or an empty folder.
int32_t xp_file_remove(xp_obj *f);

// Moves it to another path on the same disk, where it takes the place of a file that is there.
int32_t xp_file_rename(xp_obj *f, xp_obj *to);

// Gives a file the content of `length` bytes in one step: readers find all of the old or all of the new, also
// after a power failure. Written beside it and renamed: a link is replaced, not followed; permissions stay
// (0644 for a new file).
int32_t xp_file_replace(xp_obj *f, const void *bytes, int64_t length);

#endif
