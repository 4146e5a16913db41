// The system log.

#ifndef XP_WEBVIEW_LOG_H
#define XP_WEBVIEW_LOG_H

#include <string>

// Writes one line under the program's name. Control characters become spaces, so that words of an engine or a
// page cannot forge a second line.
void xp_wv_log(std::string line);

#endif
