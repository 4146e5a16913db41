#include "xp/service/folder.h"

#include "xp/object/ref.h"
#include "xp/service/file.h"
#include "xp/service/joined_text.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <string_view>

namespace {

using xp::ref;

struct place {
  uint32_t code;
  bool several;          // folders separated by colons
  const char *variable;  // null: none
  const char *fallback;  // null: none; below the home folder when it is no absolute path
};

constexpr place places[] = {
    {XP_FOLDER_MACHINE_PREFERENCES, true, "XDG_CONFIG_DIRS", "/etc/xdg"},
    {XP_FOLDER_MACHINE_DATA, true, "XDG_DATA_DIRS", "/usr/local/share:/usr/share"},
    {XP_FOLDER_PREFERENCES, false, "XDG_CONFIG_HOME", ".config"},
    {XP_FOLDER_DATA, false, "XDG_DATA_HOME", ".local/share"},
    {XP_FOLDER_STATE, false, "XDG_STATE_HOME", ".local/state"},
    {XP_FOLDER_CACHE, false, "XDG_CACHE_HOME", ".cache"},
    {XP_FOLDER_RUNTIME, false, "XDG_RUNTIME_DIR", nullptr},
    {XP_FOLDER_TEMPORARY, false, "TMPDIR", "/tmp"},
    {XP_FOLDER_ROOT, false, nullptr, "/"},
};

const place *place_of(uint32_t code) {
  for (const place &p : places)
    if (p.code == code) return &p;
  return nullptr;
}

ref file_at(std::string_view path) {
  return ref::adopt(xp_file_new(path.data(), static_cast<int64_t>(path.size())));
}

// The value of a variable; empty when it is not set.
std::string_view setting(const char *variable) {
  const char *value = variable == nullptr ? nullptr : getenv(variable);
  return value == nullptr ? std::string_view() : value;
}

ref home() {
  std::string_view path = setting("HOME");
  if (path.starts_with('/')) return file_at(path);
  char room[4096];
  passwd entry;
  passwd *found = nullptr;
  bool known = getpwuid_r(getuid(), &entry, room, sizeof room, &found) == 0 && found != nullptr;
  return known && found->pw_dir[0] == '/' ? file_at(found->pw_dir) : ref();
}

// What is looked for below a folder: nothing, or a file in an optional folder. Null when it cannot be.
struct target {
  const char *folder;
  const char *name;

  [[nodiscard]] ref below(ref top) const {
    if (folder != nullptr) top = ref::adopt(xp_file_child(top.get(), folder, -1));
    return name == nullptr ? top : ref::adopt(xp_file_child(top.get(), name, -1));
  }
};

// The target below the first of the folders that holds it, else below the last; null when no folder is
// absolute. `settled` tells that the search is over: it was found, or cannot be made.
ref search(std::string_view folders, const target &wanted, bool &settled) {
  ref last;
  settled = false;
  while (!folders.empty() && !settled) {
    std::string_view top = folders.substr(0, folders.find(':'));
    folders.remove_prefix(top.size() < folders.size() ? top.size() + 1 : top.size());
    if (!top.starts_with('/')) continue;
    last = wanted.below(file_at(top));
    settled = !last || xp_file_exists(last.get()) != 0;
  }
  return last;
}

ref look_up(uint32_t code, const target &wanted) {
  if (code == XP_FOLDER_HOME) return wanted.below(home());
  const place *p = place_of(code);
  if (p == nullptr) return nullptr;
  std::string_view set = setting(p->variable);
  bool settled;
  if (p->several) {
    ref found = search(set, wanted, settled);
    return settled ? found : search(p->fallback, wanted, settled);
  }
  if (set.starts_with('/')) return wanted.below(file_at(set));
  if (p->fallback == nullptr) return nullptr;
  if (p->fallback[0] == '/') return wanted.below(file_at(p->fallback));
  ref user = home();
  return user ? wanted.below(file_at(xp::view(
                    ref::adopt(xp::join_text({xp_file_getptr(user.get()), "/", p->fallback})).get())))
              : ref();
}

}  // namespace

xp_obj *xp_file_folder(uint32_t code) {
  return look_up(code, {.folder = nullptr, .name = nullptr}).leak();
}

xp_obj *xp_file_find(uint32_t code, const char *folder, const char *name) {
  return name == nullptr ? nullptr : look_up(code, {.folder = folder, .name = name}).leak();
}

xp_obj *xp_file_preferences(const char *folder, const char *name) {
  if (folder == nullptr) return nullptr;
  ref found = ref::adopt(xp_file_find(XP_FOLDER_MACHINE_PREFERENCES, folder, name));
  return xp_file_path(found.get());
}
