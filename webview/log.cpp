#include "webview/log.h"

#include <syslog.h>

#include <algorithm>

void xp_wv_log(std::string line) {
  std::replace_if(
      line.begin(), line.end(), [](char c) { return (c >= 0 && c < ' ') || c == 0x7f; }, ' ');
  syslog(LOG_ERR, "%s", line.c_str());
}
