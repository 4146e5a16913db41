#include "tools/xp-plist/commands.h"

#include "tools/common/escape.h"
#include "tools/common/input.h"
#include "tools/common/output.h"
#include "tools/xp-plist/output.h"
#include "tools/xp-plist/style_name.h"
#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/plist/checksum.h"
#include "xp/plist/plist.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <stdio.h>

namespace {

using xp::ref;

// Reads a list; says what is wrong with it and gives null.
ref load(const arguments &wanted, const std::string &file) {
  std::string bytes;
  const std::string name = shown_name(file);
  const std::string failure = read_input(file, bytes);
  if (!failure.empty()) {
    complain("cannot read " + name + ": " + failure);
    return nullptr;
  }
  xp_plist_fault fault = {.offset = 0, .reason = "not a binary property list"};
  ref list;
  if (!wanted.binary || bytes.starts_with("bplist")) {
    list = ref::adopt(
        xp_plist_read(bytes.data(), std::ssize(bytes), wanted.from.value_or(XP_PLIST_DETECT), &fault));
  }
  if (!list)
    fprintf(stderr, "%s: byte %lld: %s\n", name.c_str(), static_cast<long long>(fault.offset), fault.reason);
  return list;
}

// Standard output by its name may be a file, whose other writers would lose it if it were replaced.
exit_status put(const arguments &wanted, std::string_view bytes) {
  const bool standard = wanted.output == "-" || wanted.output == "/dev/stdout";
  const std::string failure = standard ? write_standard_output(bytes) : replace_file(wanted.output, bytes);
  if (failure.empty()) return EXIT_OK;
  return complain("cannot write " + (standard ? "standard output" : shown_name(wanted.output)) + ": " +
                  failure);
}

// Writes a tree in the style that is asked for, `own` if none is.
exit_status put_tree(const arguments &wanted, xp_obj *tree, int32_t own) {
  int32_t style = wanted.to.value_or(own);
  if (wanted.pretty) style = indented_style(style);
  const ref text = ref::adopt(xp_plist_string(tree, style, wanted.nulls ? 1 : 0));
  if (!text) return complain("out of memory");
  return put(wanted, {xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))});
}

// A text as a line, data as its bytes.
exit_status put_value(const arguments &wanted, xp_obj *value) {
  if (xp_type(value) == xp_data_type()) {
    return put(wanted, {static_cast<const char *>(xp_data_getptr(value)),
                        static_cast<size_t>(xp_data_length(value))});
  }
  const ref text = ref::adopt(xp_str_coerce(value));
  if (!text) return complain("out of memory");
  return put(wanted,
             std::string(xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))) + "\n");
}

exit_status get(const arguments &wanted, const ref &list) {
  const ref node = ref::adopt(xp_plist_get(list.get(), wanted.path.c_str()));
  if (!node)
    return complain("nothing at '" + escaped(wanted.path, '\'') + "' in " + shown_name(wanted.files[0]));
  const bool container = xp_type(node.get()) == xp_dict_type() || xp_type(node.get()) == xp_array_type();
  if (!container && !wanted.to && !wanted.pretty) return put_value(wanted, node.get());
  return put_tree(wanted, node.get(), xp_plist_getstyle(list.get()));
}

exit_status sum(const ref &list, const std::string &file) {
  const int64_t checksum = xp_plist_checksum(list.get());
  if (checksum < 0) return complain("out of memory");
  char text[24];
  snprintf(text, sizeof text, "%08llx", static_cast<unsigned long long>(checksum));
  const std::string failure = write_standard_output(text + ("  " + file + "\n"));
  return failure.empty() ? EXIT_OK : complain("cannot write standard output: " + failure);
}

exit_status run_one(const arguments &wanted, const std::string &file) {
  const ref list = load(wanted, file);
  if (!list) return EXIT_FAILED;
  switch (wanted.wanted) {
    case action::get: return get(wanted, list);
    case action::check: return EXIT_OK;
    case action::checksum: return sum(list, file);
    case action::write: break;
  }
  return put_tree(wanted, list.get(), xp_plist_getstyle(list.get()));
}

}  // namespace

exit_status run(const arguments &wanted) {
  exit_status worst = EXIT_OK;
  for (const std::string &file : wanted.files) {
    if (run_one(wanted, file) != EXIT_OK) worst = EXIT_FAILED;
  }
  return worst;
}
