// A framework for tests: records each call as a line and answers what the test has set.

#ifndef TESTS_SETUP_SCRIPTED_VANE_H
#define TESTS_SETUP_SCRIPTED_VANE_H

#include "setup/vane.h"

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
  std::vector<std::string> calls;
  std::function<void()> during_logon;  // runs on the caller's thread

  int16_t version_status = 0, options_status = 0, logon_status = 0, session_status = 0;
  uint16_t version = 0x1234;
  uint32_t options = 0, allowed = 0;
  uint64_t session = 0;
  std::map<std::string, std::string>
      preferences;  // by code; what is not there answers 0 and leaves the buffer
  std::map<std::string, int16_t> preference_status;  // by code, default 0

  int16_t VaneVersion(uint16_t *out, cv_vane_zero zero) override {
    log("version %d", int(zero));
    *out = version;
    return version_status;
  }
  int16_t VaneGetOptions(cv_vane_zero zero, uint32_t *out, uint32_t *out_allowed) override {
    log("options %d", int(zero));
    *out = options;
    *out_allowed = allowed;
    return options_status;
  }
  int16_t VaneSetOptions(cv_vane_zero zero, uint32_t values, uint32_t mask) override {
    log("set %d %x %x", int(zero), values, mask);
    return 0;
  }
  int16_t VaneGetPrefData(cv_vane_zero zero, uint32_t code, cv_vane_zero zero2, uint32_t size, void *buffer,
                          cv_vane_zero zero3) override {
    const std::string name(reinterpret_cast<const char *>(&code), sizeof code);
    log("pref %d %s %d %u %d", int(zero), name.c_str(), int(zero2), size, int(zero3));
    const std::string &data = preferences[name];
    memcpy(buffer, data.data(), std::min<size_t>(size, data.size()));
    return preference_status[name];
  }
  int16_t VaneDisplayServerPage(cv_vane_zero zero, uint32_t code) override {
    log("page %d %.4s", int(zero), reinterpret_cast<const char *>(&code));
    return 0;
  }
  int16_t VaneLogon(cv_vane_zero zero, cv_vane_zero zero2, cv_vane_zero zero3) override {
    log("logon %d %d %d", int(zero), int(zero2), int(zero3));
    if (during_logon) during_logon();
    return logon_status;
  }
  int16_t VaneGetSessionStatus(cv_vane_zero zero, cv_vane_zero zero2, cv_vane_zero zero3,
                               uint64_t *status) override {
    log("status %d %d %d %d", int(zero), int(zero2), int(zero3), int(*status));
    *status = session;
    return session_status;
  }
  int16_t VaneAuthenticate(cv_vane_zero zero) override {
    log("authenticate %d", int(zero));
    return -7;
  }

private:
  template <typename... Arguments>
  void log(const char *format, Arguments... arguments) {
    char line[128];
    snprintf(line, sizeof line, format, arguments...);
    const std::lock_guard guard(lock_);
    calls.emplace_back(line);
  }

  std::mutex lock_;
};

#endif
