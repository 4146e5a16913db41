// Runs a fuzzer's harness over files and folders of files, without a fuzzing engine. Files behind --damaged
// are also cut at every length and changed here and there, the same way each time.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

int replayed = 0;
bool damages = false;

void run(std::string_view bytes) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
}

// Single bits change, and bytes into others of the file, which mean something there.
void run_damaged(const std::string &bytes) {
  constexpr size_t largest = 1000;
  constexpr int rounds = 300;
  if (bytes.empty() || bytes.size() > largest) return;
  for (size_t length = 0; length < bytes.size(); ++length)
    run(std::string_view(bytes).substr(0, length));
  std::mt19937 random(20261121);
  const auto any = [&] { return random() % bytes.size(); };
  for (int round = 0; round < rounds; ++round) {
    std::string damaged = bytes;
    for (auto changes = random() % 3; changes-- > 0;)
      damaged[any()] = bytes[any()];
    const size_t at = any();
    if (random() % 2 == 0)
      damaged.erase(at, 1);
    else
      damaged[at] = static_cast<char>(damaged[at] ^ 1 << random() % 8);
    run(damaged);
  }
}

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
  run(bytes);
  if (damages) run_damaged(bytes);
  ++replayed;
}

}  // namespace

int main(int argc, char **argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "--damaged")
      damages = true;
    else
      replay(argv[i]);
  }
  std::printf("%d inputs\n", replayed);
  return replayed > 0 ? 0 : 1;
}
