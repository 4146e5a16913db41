#include "standin/state.h"

#include "standin/default_state.h"
#include "xp/plist/plist.h"

#include <stdio.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

bool standin_state::prepare() {
  std::error_code error;
  if (fs::exists(file_, error)) return true;
  if (file_.has_parent_path()) fs::create_directories(file_.parent_path(), error);
  std::ofstream file(file_, std::ios::binary);
  file << standin_default_state;
  file.close();
  return static_cast<bool>(file);
}

xp::ref standin_state::value(const char *path) {
  refresh();
  return xp::ref::adopt(xp_plist_get(tree_.get(), path));
}

void standin_state::refresh() {
  struct stat status;
  if (stat(file_.c_str(), &status) != 0) return;
  const stamp now{status.st_mtim, status.st_size, status.st_ino};
  if (now.changed.tv_sec == read_.changed.tv_sec && now.changed.tv_nsec == read_.changed.tv_nsec &&
      now.size == read_.size && now.inode == read_.inode)
    return;
  read_ = now;
  std::ostringstream text;
  text << std::ifstream(file_, std::ios::binary).rdbuf();
  const std::string content = std::move(text).str();
  xp::ref tree =
      xp::ref::adopt(xp_plist_parse(content.data(), static_cast<int64_t>(content.size()), XP_PLIST_JSON));
  if (tree)
    tree_ = std::move(tree);
  else
    fprintf(stderr, "corvane-standin: %s is no JSON text; the last good state stays\n", file_.c_str());
}
