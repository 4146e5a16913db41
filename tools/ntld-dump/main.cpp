// ntld-dump: prints and checks NTLD records.

#include "tools/common/input.h"
#include "tools/common/output.h"
#include "tools/common/program.h"
#include "tools/ntld-dump/arguments.h"
#include "tools/ntld-dump/records.h"
#include "tools/ntld-dump/tree.h"

#include <stdio.h>

namespace {

class quiet : public record_visitor {
public:
  void record(const found_record & /*found*/) override {}
  void loose(size_t /*offset*/, size_t /*depth*/, std::string_view /*bytes*/) override {}
};

// Prints the records of the input. An empty text, or why they could not be written.
std::string print(const dump_arguments &wanted, const std::string &title, std::string_view bytes,
                  record_fault &fault) {
  std::string failure = write_standard_output(title);
  if (!failure.empty()) return failure;
  tree_printer printer(wanted);
  fault = find_records(bytes, wanted.skip, printer);
  return printer.finish();
}

exit_status run_one(const dump_arguments &wanted, const std::string &file) {
  std::string bytes;
  const std::string name = shown_name(file);
  if (const std::string failure = read_input(file, bytes); !failure.empty())
    return complain("cannot read " + name + ": " + failure);
  record_fault fault;
  if (wanted.check) {
    quiet nothing;
    fault = find_records(bytes, wanted.skip, nothing);
  } else {
    const std::string title = wanted.files.size() > 1 ? name + ":\n" : std::string();
    const std::string failure = print(wanted, title, bytes, fault);
    if (!failure.empty()) return complain("cannot write standard output: " + failure);
  }
  if (fault.reason.empty()) return EXIT_OK;
  fprintf(stderr, "%s: byte %zu: %s\n", name.c_str(), fault.offset, fault.reason.c_str());
  return EXIT_FAILED;
}

exit_status ntld_dump(int count, char **words) {
  dump_arguments wanted;
  if (const auto done = parse_arguments(count, words, wanted)) return *done;
  exit_status worst = EXIT_OK;
  for (const std::string &file : wanted.files) {
    if (run_one(wanted, file) != EXIT_OK) worst = EXIT_FAILED;
  }
  return worst;
}

}  // namespace

int main(int argc, char **argv) {
  return run_tool(argc, argv, ntld_dump);
}
