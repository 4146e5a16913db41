#include "standin/daemon.h"

#include "ipc/message.h"
#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <string.h>

#include <mutex>
#include <string>

namespace {

// A request in its reader's hands: its records (null: none) and the open block of its reply.
struct exchange {
  const uint8_t *request;
  xp_obj *reply;
  standin_state &state;
};

// Adds a text record from the state; what the state lacks is left out.
void add_text(const exchange &in, uint32_t record, const char *path) {
  const xp::ref text = xp::ref::adopt(xp_str_coerce(in.state.value(path).get()));
  if (text) xp_ntld_add_string(in.reply, record, xp_str_getptr(text.get()));
}

void add_number(const exchange &in, uint32_t record, const char *path) {
  xp_ntld_add_number(in.reply, record, static_cast<int32_t>(xp_value(in.state.value(path).get())));
}

int32_t answer_connection(const exchange &in) {
  add_text(in, xp_code("host"), "/connection/server");
  add_text(in, xp_code("zone"), "/connection/address");
  add_text(in, xp_code("user"), "/connection/user");
  add_text(in, xp_code("maid"), "/connection/computer");
  add_number(in, xp_code("stat"), "/connection/status");
  return 0;
}

int32_t answer_audit(const exchange &in) {
  add_number(in, xp_code("cook"), "/connection/audit");
  return 0;
}

int32_t answer_host(const exchange &in) {
  add_text(in, xp_code("name"), "/computer/name");
  add_text(in, xp_code("madr"), "/computer/mac");
  add_text(in, xp_code("oeid"), "/computer/serial");
  return 0;
}

// Where the state holds what a dex request asks for; empty when the request makes no sense.
std::string dex_path(const exchange &in) {
  const uint8_t *const what = xp_ntld_raw_getbyname(in.request, xp_code("what"));
  switch (what == nullptr ? -1 : xp_ntld_raw_long(what)) {
    case 0: return "/dex/stats";
    case 1: {
      const uint8_t *const targ = xp_ntld_raw_getbyname(in.request, xp_code("targ"));
      const uint32_t tag = targ == nullptr ? 0 : xp_ntld_raw_tag(targ);
      char name[sizeof tag];
      memcpy(name, &tag, sizeof tag);
      const std::string text(name, strnlen(name, sizeof name));
      return text.empty() ? text : "/dex/history/" + text;
    }
    case 2: return "/dex/scripts";
    default: return {};
  }
}

int32_t answer_dex(const exchange &in) {
  const std::string path = dex_path(in);
  if (path.empty()) return STANDIN_BAD_REQUEST;
  const xp::ref tree = in.state.value(path.c_str());
  if (!tree) return STANDIN_NO_DATA;
  const xp::ref text = xp::ref::adopt(xp_plist_string(tree.get(), XP_PLIST_JSON_BARE, 0));
  const auto length = static_cast<uint32_t>(xp_str_length(text.get()));
  return xp_ntld_add(in.reply, xp_code("parm"), xp_code("text"), length, xp_str_getptr(text.get())) != 0
             ? 0
             : STANDIN_NO_DATA;
}

struct answer_row {
  int32_t code;
  int32_t (*answer)(const exchange &in);
};

constexpr answer_row answers[] = {
    {0x4117, answer_connection},
    {0x4124, answer_audit},
    {0x4133, answer_host},
    {0x4135, answer_dex},
};

// Fills the reply's open block and returns the result that goes with it.
int32_t answer(xp_obj *request, xp_obj *reply, standin_state &state) {
  uint32_t name = 0;
  int32_t code = 0;
  if (ipc_msg_get_name(request, &name) != 0 || name != xp_code("APIC") ||
      ipc_msg_get_param_long(request, xp_code("code"), &code) != 0)
    return STANDIN_BAD_REQUEST;
  const xp::ref records = xp::ref::adopt(ipc_msg_get_ntld(reply));
  for (const answer_row &row : answers)
    if (row.code == code) return row.answer({ipc_msg_get_content_ptr(request), records.get(), state});
  return STANDIN_UNKNOWN_CODE;
}

}  // namespace

int32_t standin_answer(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *context) {
  if (ipc_msg_start_params(reply) != 0) return 0;
  auto &state = *static_cast<standin_state *>(context);
  const std::lock_guard guard(state.turn);
  const int32_t result = answer(request, reply, state);
  ipc_msg_set_param_long(reply, xp_code("rslt"), result);
  ipc_msg_end_params(reply);
  return 0;
}
