// The native methods: each takes the page's arguments (any object, or null) and returns the answer's "result"
// as a new reference, or null for an answer without one. They run on request threads, several at once.
// Internal to setup/.

#ifndef SETUP_METHODS_H
#define SETUP_METHODS_H

#include "xp/object/ref.h"

using cv_setup_method = xp::ref (*)(xp_obj *args);

// --- Answered by the daemon (methods_daemon.cpp) ---
xp::ref cv_setup_conn_info(xp_obj *args);
xp::ref cv_setup_host_info(xp_obj *args);
xp::ref cv_setup_dex_stats(xp_obj *args);
xp::ref cv_setup_dex_history(xp_obj *args);
xp::ref cv_setup_script_list(xp_obj *args);
xp::ref cv_setup_run_scripts(xp_obj *args);
xp::ref cv_setup_logon(xp_obj *args);
xp::ref cv_setup_ticket(xp_obj *args);

// --- Answered by the framework and the application (methods_framework.cpp) ---
xp::ref cv_setup_capability_list(xp_obj *args);
xp::ref cv_setup_ensure_logon(xp_obj *args);
xp::ref cv_setup_set_options(xp_obj *args);
xp::ref cv_setup_open_page(xp_obj *args);
xp::ref cv_setup_open_app(xp_obj *args);
xp::ref cv_setup_open_fda(xp_obj *args);

#endif
