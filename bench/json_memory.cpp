// The peak of memory that parsing the large list of records takes: how far the process grows beyond what it
// had before. One reader for each process: "ours" or "RapidJSON" as the argument; prints KiB.

#include "json_texts.h"
#include "xp/plist/plist.h"

#include <rapidjson/document.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// A line of the kernel's account of this process, in KiB.
long account(const char *field) {
  std::FILE *file = std::fopen("/proc/self/status", "r");
  if (file == nullptr) std::abort();
  char line[256];
  long value = -1;
  while (value < 0 && std::fgets(line, sizeof line, file) != nullptr) {
    if (std::strncmp(line, field, std::strlen(field)) == 0) value = std::atol(line + std::strlen(field));
  }
  std::fclose(file);
  return value;
}

bool read_ours(const std::string &text) {
  return xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), XP_PLIST_JSON_BARE) != nullptr;
}

bool read_rapidjson(const std::string &text) {
  static rapidjson::Document document;
  return !document.Parse(text.data(), text.size()).HasParseError();
}

}  // namespace

int main(int argc, char **argv) {
  const std::string who = argc == 2 ? argv[1] : "";
  if (who != "ours" && who != "RapidJSON") return 2;
  const std::string text = bench::json_records();
  const long before = account("VmRSS:");
  if (!(who == "ours" ? read_ours(text) : read_rapidjson(text))) return 1;
  std::printf("%ld\n", account("VmHWM:") - before);
  return 0;
}
