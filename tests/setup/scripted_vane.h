// A framework for tests: records each call as a line and answers what the test has set.

#ifndef TESTS_SETUP_SCRIPTED_VANE_H
#define TESTS_SETUP_SCRIPTED_VANE_H

#include "setup/vane.h"
#include "tests/support/leak_check.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

class scripted_vane final : public cv_setup_vane {
public:
  using zero = cv_vane_zero;

  std::vector<std::string> calls;
  std::function<void()> during_logon;  // runs on the caller's thread

  int16_t version_status = 0, options_status = 0, preference_status = 0, logon_status = 0, session_status = 0;
  uint16_t version = 0x1234;
  uint32_t options = 0, allowed = 0;
  uint64_t session = 0;
  std::map<std::string, std::string> preferences;  // by code; of the others the buffer is left alone

  int16_t VaneVersion(uint16_t *out, zero z) override {
    *out = version;
    return log(version_status, "version %d", int(z));
  }
  int16_t VaneGetOptions(zero z, uint32_t *out, uint32_t *out_allowed) override {
    *out = options;
    *out_allowed = allowed;
    return log(options_status, "options %d", int(z));
  }
  int16_t VaneSetOptions(zero z, uint32_t values, uint32_t mask) override {
    return log(0, "set %d %x %x", int(z), values, mask);
  }
  int16_t VaneGetPrefData(zero z, uint32_t code, zero z2, uint32_t size, void *buffer, zero z3) override {
    const std::string name(reinterpret_cast<const char *>(&code), sizeof code);
    const std::string &data = preferences[name];
    memcpy(buffer, data.data(), std::min<size_t>(size, data.size()));
    return log(preference_status, "pref %d %s %d %u %d", int(z), name.c_str(), int(z2), size, int(z3));
  }
  int16_t VaneDisplayServerPage(zero z, uint32_t code) override {
    return log(0, "page %d %.4s", int(z), reinterpret_cast<const char *>(&code));
  }
  int16_t VaneLogon(zero z, zero z2, zero z3) override {
    log(0, "logon %d %d %d", int(z), int(z2), int(z3));
    if (during_logon) during_logon();
    return logon_status;
  }
  int16_t VaneGetSessionStatus(zero z, zero z2, zero z3, uint64_t *status) override {
    *status = session;
    return log(session_status, "status %d %d %d", int(z), int(z2), int(z3));
  }
  int16_t VaneAuthenticate(zero z) override { return log(-7, "authenticate %d", int(z)); }

private:
  template <typename... Arguments>
  int16_t log(int16_t status, const char *format, Arguments... arguments) {
    char line[128];
    snprintf(line, sizeof line, format, arguments...);
    const std::lock_guard guard(lock_);
    calls.emplace_back(line);
    return status;
  }

  std::mutex lock_;
};

// A test with the scripted framework in the place of the installed one.
class vane_fixture : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    cv_setup_setvane(&vane_);
  }
  void TearDown() override {
    cv_setup_setvane(nullptr);
    leak_check::TearDown();
  }

  // What the framework was asked since the last call.
  std::vector<std::string> take_calls() { return std::exchange(vane_.calls, {}); }

  scripted_vane vane_;
};

#endif
