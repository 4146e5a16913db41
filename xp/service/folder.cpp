#include "xp/service/folder.h"

#include "xp/object/ref.h"
#include "xp/string/string.h"

#include <stdlib.h>
#include <unistd.h>

#include <string_view>

namespace {

constexpr std::string_view machine_folder = "/etc/xdg";

// "root/folder/name"
xp_obj *join(std::string_view root, const char *folder, const char *name) {
  while (root.ends_with('/'))
    root.remove_suffix(1);
  xp::ref path = xp::ref::adopt(xp_str_make(root.data(), static_cast<int64_t>(root.size())));
  for (const char *part : {"/", folder, "/", name})
    path = xp::ref::adopt(xp_str_append(path.get(), part, -1));
  return path.leak();
}

bool is_there(xp_obj *path) {
  const char *text = xp_str_getptr(path);
  return text != nullptr && access(text, F_OK) == 0;
}

}  // namespace

xp_obj *xp_file_preferences(const char *folder, const char *name) {
  if (folder == nullptr || name == nullptr) return nullptr;
  const char *variable = getenv("XDG_CONFIG_DIRS");
  std::string_view rest = variable == nullptr ? std::string_view() : variable;
  while (!rest.empty()) {
    std::string_view root = rest.substr(0, rest.find(':'));
    rest.remove_prefix(root.size() < rest.size() ? root.size() + 1 : root.size());
    if (!root.starts_with('/')) continue;
    xp::ref path = xp::ref::adopt(join(root, folder, name));
    if (is_there(path.get())) return path.leak();
  }
  return join(machine_folder, folder, name);
}
