#include "ipc/framework.h"

#include "xp/object/ref.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <dlfcn.h>

#include <string_view>

namespace {

// The file that holds the code of a framework.
xp::ref code_path(std::string_view framework) {
  constexpr std::string_view extension = ".framework";
  xp::ref path = xp::ref::adopt(xp_root_path(framework.data()));
  if (!framework.ends_with(extension)) return path;
  framework.remove_suffix(extension.size());
  const std::string_view name = framework.substr(framework.rfind('/') + 1);
  return xp::ref::adopt(xp_str_format("%O/%S", path.get(), static_cast<int>(name.size()), name.data()));
}

}  // namespace

void *GetFunctionFromFramework(const char *path, const char *name) {
  if (path == nullptr || *path != '/' || name == nullptr) return nullptr;
  const xp::ref file = code_path(path);
  // A null path would give the handle of this program itself.
  void *code = file ? dlopen(xp_str_getptr(file.get()), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE) : nullptr;
  if (code == nullptr) return nullptr;
  void *function = dlsym(code, name);
  dlclose(code);
  return function;
}
