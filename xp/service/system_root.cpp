#include "xp/service/system_root.h"

#include "xp/object/ref.h"
#include "xp/string/string.h"

#include <stdlib.h>
#include <string.h>

xp_obj *xp_root_path(const char *path) {
  if (path == nullptr) return nullptr;
  const char *root = getenv("CORVANE_ROOT");
  if (root == nullptr) return xp_str_new(path);
  // A slash at the root's end would stand twice.
  size_t length = strlen(root);
  while (length > 0 && root[length - 1] == '/')
    --length;
  xp::ref folder = xp::ref::adopt(xp_str_make(root, static_cast<int64_t>(length)));
  return xp_str_append(folder.get(), path, -1);
}
