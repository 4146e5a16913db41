// Records as the lines of an indented tree on standard output.

#ifndef TOOLS_NTLD_DUMP_TREE_H
#define TOOLS_NTLD_DUMP_TREE_H

#include "tools/ntld-dump/arguments.h"
#include "tools/ntld-dump/records.h"

class tree_printer : public record_visitor {
public:
  explicit tree_printer(const dump_arguments &wanted) : wanted_(wanted) {}

  void record(const found_record &found) override;
  void loose(size_t offset, size_t depth, std::string_view bytes) override;

  // Writes what is still held back. An empty text, or what went wrong; nothing is written behind a failure.
  std::string finish();

private:
  [[nodiscard]] std::string margin(size_t offset, size_t depth, bool first_line) const;
  void put(const std::string &line);

  const dump_arguments &wanted_;
  std::string held_;  // lines that are not written yet
  std::string failure_;
};

#endif
