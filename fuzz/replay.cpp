// Runs a fuzzer's harness over files and folders of files, without a fuzzing engine.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

int replayed = 0;

void replay(const std::filesystem::path &path) {
  if (std::filesystem::is_directory(path)) {
    for (const auto &entry : std::filesystem::directory_iterator(path))
      replay(entry.path());
    return;
  }
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  // Printed first, so that the last line names the file when the harness aborts.
  std::printf("%s (%zu bytes)\n", path.c_str(), bytes.size());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  ++replayed;
}

}  // namespace

int main(int argc, char **argv) {
  for (int i = 1; i < argc; ++i)
    replay(argv[i]);
  std::printf("%d inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
