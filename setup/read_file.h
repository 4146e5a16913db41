// Reads whole files that may be in a stranger's hands: links are not followed, and what is no regular file is
// refused without waiting for it. Internal to setup/.

#ifndef SETUP_READ_FILE_H
#define SETUP_READ_FILE_H

#include "xp/object/ref.h"

#include <string>

// The content of `file` in `folder` (empty: none) below the folder at `root`, as a string; null when it
// cannot be read. Folder and file must be plain names: not ".", "..", no slash, no zero byte. Any thread.
xp::ref cv_setup_read_below(const std::string &root, const std::string &folder, const std::string &file);

#endif
