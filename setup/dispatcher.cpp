#include "setup/dispatcher.h"

#include "setup/methods.h"
#include "setup/resources.h"
#include "setup/values.h"
#include "webview/webview.h"
#include "xp/array/tuple.h"
#include "xp/service/thread.h"

namespace {

// The methods in the order in which their names are compared; ASCII letters are folded.
struct method_row {
  const char *name;
  cv_setup_method run;
};

constexpr method_row methods[] = {
    {"conn-info", cv_setup_conn_info},
    {"host-info", cv_setup_host_info},
    {"dex-stats", cv_setup_dex_stats},
    {"dex-history", cv_setup_dex_history},
    {"script-list", cv_setup_script_list},
    {"run-scripts", cv_setup_run_scripts},
    {"capabilities", cv_setup_capability_list},
    {"logon", cv_setup_logon},
    {"ensure-logon", cv_setup_ensure_logon},
    {"ticket", cv_setup_ticket},
    {"set-options", cv_setup_set_options},
    {"open-page", cv_setup_open_page},
    {"open-app", cv_setup_open_app},
    {"open-fda", cv_setup_open_fda},
};

cv_setup_method find_method(xp_obj *name) {
  for (const method_row &row : methods)
    if (xp_str_icmpq(name, row.name, -1) == 0) return row.run;
  return nullptr;
}

// Hands the request to a thread of its own, or runs it here when none can be made: it is answered either way.
int64_t take_request(xp_obj *view, xp_obj *request) {
  // Nobody could answer what has no place for a result; the wrapper can.
  if (xp_type(request) != xp_dict_type()) return 0;
  xp::ref work = xp::ref::adopt(xp_tuple_new(2, view, request));
  if (!work) return 0;
  xp_obj *const tuple = work.leak();  // cv_setup_native takes it over
  const xp::ref thread = xp::ref::adopt(xp_thr_new(cv_setup_native, tuple));
  if (thread)
    xp_thr_detach(thread.get());
  else
    cv_setup_native(nullptr, tuple);
  return 1;
}

}  // namespace

int64_t cv_setup_ui_callback(xp_obj *view, uint32_t event, xp_obj *argument, uint64_t) {
  switch (event) {
    case XP_WEBVIEW_REQUEST: return take_request(view, argument);
    case XP_WEBVIEW_RESOURCE: cv_setup_answer_resource(argument); return 0;
    default: return 0;
  }
}

int64_t cv_setup_native(void *, void *tuple) {
  const xp::ref work = xp::ref::adopt(static_cast<xp_obj *>(tuple));
  const xp::ref view = xp::ref::adopt(xp_tuple_get(work.get(), 0));
  const xp::ref request = xp::ref::adopt(xp_tuple_get(work.get(), 1));
  const xp::ref name = cv_setup_text(request.get(), "method");
  if (const cv_setup_method run = name ? find_method(name.get()) : nullptr) {
    const xp::ref args = cv_setup_value(request.get(), "args");
    const xp::ref result = run(args.get());
    if (result) xp_dict_store(request.get(), "result", -1, result.get());
  }
  xp_webview_respond(view.get(), request.get());
  return 0;
}
