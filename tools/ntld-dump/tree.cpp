#include "tools/ntld-dump/tree.h"

#include "tools/common/output.h"
#include "tools/ntld-dump/values.h"

#include <stdio.h>

namespace {

constexpr size_t held_back = 65536;  // bytes
constexpr size_t step = 2;           // spaces
constexpr size_t offset_width = 10;  // of an offset and what follows it

}  // namespace

void tree_printer::record(const found_record &found) {
  if (found.depth > wanted_.depth) return;
  std::string line = margin(found.offset, found.depth, true) + code_text(found.name) + " " +
                     code_text(found.type) + " " + std::to_string(found.length);
  const size_t missing = found.length - found.data.size();
  if (missing != 0) line += " (" + std::to_string(missing) + " missing)";
  if (found.container) {
    if (found.depth == wanted_.depth) line += " ...";
  } else if (const std::string value = value_text(found.type, found.data, wanted_.limit); !value.empty()) {
    line += "  " + value;
  } else if (!found.data.empty()) {
    line += bytes_text(found.data, wanted_.limit, margin(found.offset, found.depth + 1, false));
  }
  put(line);
}

void tree_printer::loose(size_t offset, size_t depth, std::string_view bytes) {
  if (depth > wanted_.depth) return;
  put(margin(offset, depth, true) + "? " + std::to_string(bytes.size()) +
      bytes_text(bytes, wanted_.limit, margin(offset, depth + 1, false)));
}

std::string tree_printer::margin(size_t offset, size_t depth, bool first_line) const {
  char text[24] = "";
  if (wanted_.offsets && first_line) snprintf(text, sizeof text, "%8zu  ", offset);
  const size_t column = wanted_.offsets && !first_line ? offset_width : 0;
  return text + std::string(column + depth * step, ' ');
}

void tree_printer::put(const std::string &line) {
  held_ += line + "\n";
  if (held_.size() >= held_back) finish();
}

std::string tree_printer::finish() {
  if (failure_.empty()) failure_ = write_standard_output(held_);
  held_.clear();
  return failure_;
}
