#include "tests/setup/private_client.h"

#include "tests/setup/temp_folder.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;

const uint32_t session_number = [] {
  std::random_device source;
  return std::uniform_int_distribution<uint32_t>(1, 0x7fffffff)(source);
}();

class private_client : public testing::Environment {
public:
  void SetUp() override {
    const fs::path contents = "Library/Corvane/Corvane.app/Contents";
    const fs::path helper = root_.write(contents / "SharedSupport/quorn",
                                        "#!/bin/sh\nprintf %s " + std::to_string(session_number) + " >&3\n");
    fs::permissions(helper, fs::perms::owner_all);
    const fs::path bundle = root_.path() / contents / "Frameworks/Vane.framework";
    fs::create_directories(bundle);
    fs::create_symlink(FAKE_VANE_PATH, bundle / "Vane");
    setenv("CORVANE_ROOT", root_.path().c_str(), 1);
  }

private:
  temp_folder root_;
};

const testing::Environment *const registered = testing::AddGlobalTestEnvironment(new private_client);

}  // namespace

uint32_t private_client_session() {
  return session_number;
}
