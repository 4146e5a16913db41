#include "setup/read_file.h"

#include "xp/service/file.h"
#include "xp/service/file_descriptor.h"

#include <fcntl.h>

#include <string_view>

namespace {

constexpr int64_t largest_file = 0x7ffffffe;

bool is_plain_name(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

}  // namespace

xp::ref cv_setup_read_below(const std::string &root, const std::string &folder, const std::string &file) {
  if (!folder.empty() && !is_plain_name(folder)) return nullptr;
  if (!is_plain_name(file)) return nullptr;
  constexpr int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  const xp::descriptor top(open(root.c_str(), flags));
  const xp::descriptor below(folder.empty() ? -1 : openat(top.get(), folder.c_str(), flags | O_NOFOLLOW));
  const xp::descriptor &place = folder.empty() ? top : below;
  if (!place) return nullptr;
  const xp::descriptor opened(xp_file_openat(place.get(), file.c_str(), O_NOFOLLOW));
  return opened ? xp::ref::adopt(xp_file_readfd(opened.get(), largest_file)) : nullptr;
}
