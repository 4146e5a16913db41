#include "standin/private_root.h"

#include <fstream>
#include <random>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr const char *info_plist = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>CFBundleIdentifier</key>
	<string>com.brindle.Corvane</string>
	<key>CFBundleName</key>
	<string>Corvane</string>
	<key>CFBundlePackageType</key>
	<string>APPL</string>
	<key>CFBundleShortVersionString</key>
	<string>6.2.0</string>
</dict>
</plist>
)";

std::string trouble(const char *what, const fs::path &path, const std::error_code &error) {
  return std::string(what) + " " + path.string() + ": " + error.message();
}

std::string write_if_missing(const fs::path &path, const std::string &text) {
  std::error_code error;
  if (fs::exists(path, error)) return {};
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  return file ? std::string() : "cannot write " + path.string();
}

std::string random_session() {
  std::random_device source;
  std::uniform_int_distribution<uint32_t> numbers(1, STANDIN_LAST_SESSION);
  return std::to_string(numbers(source)) + "\n";
}

}  // namespace

std::string standin_make_root(const fs::path &root, const fs::path &helper) {
  const fs::path contents = root / "Library/Corvane/Corvane.app/Contents";
  const fs::path support = contents / "SharedSupport";
  std::error_code error;
  fs::create_directories(support, error);
  if (error) return trouble("cannot make", support, error);
  // A copy, not a link: the helper looks for its number beside itself. Moved into place, since a program may
  // be asking the old copy at this moment.
  const fs::path fresh = support / "quorn.new";
  fs::copy_file(helper, fresh, fs::copy_options::overwrite_existing, error);
  if (!error) fs::rename(fresh, support / "quorn", error);
  if (error) return trouble("cannot copy", helper, error);
  std::string failure = write_if_missing(contents / "Info.plist", info_plist);
  if (failure.empty()) failure = write_if_missing(support / "session", random_session());
  return failure;
}
