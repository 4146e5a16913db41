// What the stand-in daemon knows: a JSON file that people may edit while it runs. It is written with invented
// data when it is missing, and read again whenever it has changed; a text that does not parse leaves the last
// good state in force.
//
// One thread at a time: who reads values holds `turn` until it has done with them.

#ifndef STANDIN_STATE_H
#define STANDIN_STATE_H

#include "xp/object/ref.h"

#include <stdint.h>
#include <time.h>

#include <filesystem>
#include <mutex>
#include <utility>

class standin_state {
public:
  std::mutex turn;

  explicit standin_state(std::filesystem::path file) : file_(std::move(file)) {}

  // Writes the file with its first content, folders included, unless it exists. False when that fails.
  bool prepare();

  // The value at a path of the tree ("/computer/name"), as the file stands now; null when there is none.
  xp::ref value(const char *path);

private:
  // Tells one content of the file from another without reading it.
  struct stamp {
    timespec changed{};
    int64_t size = -1;
    uint64_t inode = 0;
  };

  void refresh();

  std::filesystem::path file_;
  stamp read_;
  xp::ref tree_;
};

#endif
