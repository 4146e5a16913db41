#include "xp/array/array.h"
#include "xp/object/ref.h"
#include "xp/service/file.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

namespace {

constexpr int64_t growth = 64;

DIR *open_folder(const char *path) {
  int descriptor = path == nullptr ? -1 : open(path, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  DIR *folder = fdopendir(descriptor);
  if (folder == nullptr) close(descriptor);
  return folder;
}

bool is_own_name(const char *name) {
  return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

bool add(xp_obj *files, xp_obj *f, const char *name) {
  xp::ref child = xp::ref::adopt(xp_file_child(f, name, -1));
  return child && xp_array_insert(files, child.get(), -1) >= 0;
}

// Fills the array with what is in the folder; false when that fails midway.
bool collect(DIR *folder, xp_obj *f, xp_obj *files) {
  for (;;) {
    errno = 0;
    const dirent *entry = readdir(folder);
    if (entry == nullptr) return errno == 0;
    if (!is_own_name(entry->d_name) && !add(files, f, entry->d_name)) return false;
  }
}

}  // namespace

xp_obj *xp_file_list(xp_obj *f) {
  xp::ref files = xp::ref::adopt(xp_array_new(0));
  if (!files) return nullptr;
  xp_array_setgrowth(files.get(), growth);
  DIR *folder = open_folder(xp_file_getptr(f));
  if (folder == nullptr) return nullptr;
  bool complete = collect(folder, f, files.get());
  closedir(folder);
  if (!complete) return nullptr;
  xp_array_sort(files.get(), nullptr, nullptr);
  return files.leak();
}

xp_obj *xp_file_travnew(xp_obj *f) {
  xp::ref files = xp::ref::adopt(xp_file_list(f));
  return xp_array_travnew(files.get());
}
