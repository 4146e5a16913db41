// The text of bridge.js, which the build turns into a constant.

#ifndef XP_WEBVIEW_BRIDGE_SCRIPT_H
#define XP_WEBVIEW_BRIDGE_SCRIPT_H

extern const char xp_bridge_script[];

#endif
