#include "setup/daemon_request.h"
#include "setup/methods.h"
#include "setup/values.h"
#include "setup/vane.h"
#include "xp/plist/plist.h"

namespace {

// What the daemon is asked for.
enum : uint32_t {
  code_logon = 0x410e,
  code_connection = 0x4117,
  code_audit = 0x4124,
  code_host = 0x4133,
  code_dex = 0x4135,
  code_run_scripts = 0x4137,
  code_ticket = 0x4138,
};

// Record `what` of code_dex.
enum : int32_t {
  dex_stats = 0,
  dex_history = 1,
  dex_scripts = 2,
};

// The low two bits of the connection's status, and their value when the client is connected.
constexpr int32_t status_mask = 3;
constexpr int32_t status_connected = 1;

// "failure" of a ticket that could not be handed to the daemon.
constexpr int64_t ticket_call_failed = -55;

constexpr int64_t tag_length = 4;

// A string record of a reply and the key under which the page sees it.
struct field {
  const char *key;
  uint32_t record;
};

constexpr field connection_fields[] = {
    {"server", xp_code("host")},
    {"serveraddress", xp_code("zone")},
    {"username", xp_code("user")},
    {"computerid", xp_code("maid")},
};

constexpr field host_fields[] = {
    {"computername", xp_code("name")},
    {"macaddress", xp_code("madr")},
    {"serialnumber", xp_code("oeid")},
};

template <size_t Count>
void store_fields(xp_obj *result, const cv_setup_daemon_request &request, const field (&fields)[Count]) {
  for (const field &row : fields)
    cv_setup_store_string(result, row.key, request.reply_string(row.record));
}

// Calls the daemon and returns the tree in the reply's text. The style is fixed: the daemon writes JSON, and
// no other form of text may get into script that the page runs.
xp::ref call_for_tree(cv_setup_daemon_request &request) {
  if (!request.call()) return nullptr;
  const xp::ref text = request.reply_string(xp_code("parm"));
  if (!text) return nullptr;
  const xp::ref list =
      xp::ref::adopt(xp_plist_parse(xp_str_getptr(text.get()), xp_str_length(text.get()), XP_PLIST_JSON));
  return xp::ref::adopt(xp_plist_get(list.get(), nullptr));
}

xp::ref dex(int32_t what) {
  cv_setup_daemon_request request(code_dex);
  request.number(xp_code("what"), what);
  return call_for_tree(request);
}

}  // namespace

xp::ref cv_setup_conn_info(xp_obj *) {
  xp::ref result = xp::ref::adopt(xp_dict_new(0));
  cv_setup_daemon_request connection(code_connection);
  connection.number(xp_code("indx"), 0);
  if (connection.call()) {
    store_fields(result.get(), connection, connection_fields);
    const int32_t status = connection.reply_number(xp_code("stat"));
    cv_setup_store_boolean(result.get(), "connected", (status & status_mask) == status_connected);
  }
  cv_setup_daemon_request audit(code_audit);
  if (audit.call()) cv_setup_store_boolean(result.get(), "audit", audit.reply_number(xp_code("cook")) != 0);
  return result;
}

xp::ref cv_setup_host_info(xp_obj *) {
  xp::ref result = xp::ref::adopt(xp_dict_new(0));
  cv_setup_daemon_request request(code_host);
  if (request.call()) store_fields(result.get(), request, host_fields);
  return result;
}

xp::ref cv_setup_dex_stats(xp_obj *) {
  return dex(dex_stats);
}

xp::ref cv_setup_dex_history(xp_obj *args) {
  const xp::ref tag = cv_setup_string(args, "tag");
  if (xp_str_length(tag.get()) < tag_length) return nullptr;
  cv_setup_daemon_request request(code_dex);
  request.number(xp_code("what"), dex_history);
  request.tag(xp_code("targ"), xp_str_getptr(tag.get()));
  return call_for_tree(request);
}

xp::ref cv_setup_script_list(xp_obj *) {
  return dex(dex_scripts);
}

xp::ref cv_setup_run_scripts(xp_obj *args) {
  const xp::ref remediation = cv_setup_text(args, "remediation");
  if (!remediation) return nullptr;
  cv_setup_daemon_request request(code_run_scripts);
  request.string(xp_code("what"), remediation.get());
  request.call_and_forget();
  return nullptr;
}

xp::ref cv_setup_logon(xp_obj *args) {
  bool ok = false;
  if (const xp::ref address = cv_setup_string(args, "address")) {
    cv_setup_daemon_request request(code_logon);
    request.number(xp_code("trns"), 1);
    request.string(xp_code("host"), address.get());
    ok = request.call_and_forget();
  }
  // The server is set; whether the user could be authenticated with it shows in the session's state later.
  if (ok) cv_setup_getvane()->VaneAuthenticate(0);
  xp::ref result = xp::ref::adopt(xp_dict_new(0));
  cv_setup_store_boolean(result.get(), "ok", ok);
  return result;
}

xp::ref cv_setup_ticket(xp_obj *args) {
  const xp::ref subject = cv_setup_text(args, "subject");
  if (!subject) return nullptr;
  cv_setup_daemon_request request(code_ticket);
  request.string(xp_code("what"), subject.get());
  if (const xp::ref text = cv_setup_string(args, "description")) request.string(xp_code("desc"), text.get());
  if (const xp::ref text = cv_setup_string(args, "username")) request.string(xp_code("name"), text.get());
  request.number(xp_code("prio"), xp_truthy(cv_setup_value(args, "urgency").get()) != 0 ? 1 : 0);

  const bool called = request.call();
  const int64_t failure = called ? request.reply_number(xp_code("resn")) : ticket_call_failed;
  xp::ref result = xp::ref::adopt(xp_dict_new(0));
  if (failure != 0) cv_setup_store_number(result.get(), "failure", failure);
  if (called) cv_setup_store_string(result.get(), "token", request.reply_string(xp_code("tokn")));
  return result;
}
