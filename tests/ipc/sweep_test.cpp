// Messages and calls without memory.

#include "tests/xp/sweep/sweep.h"

#include "ipc/connection.h"
#include "ipc/errors.h"
#include "ipc/session.h"
#include "tests/ipc/records.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/service/data.h"
#include "xp/string/string.h"

#include <memory>

namespace {

using sweep::story;
using xp::ref;

class ipc_sweep : public leak_check {};

const int32_t session = ipc_session_explicit(0x00012345);

// A message that could not be built whole is refused by its reader, never read in part.
void messages(story &told) {
  ref m = ref::adopt(ipc_msg_alloc(xp_code("APIC")));
  int32_t failed = ipc_msg_start_params(m.get());
  failed |= ipc_msg_set_param_long(m.get(), xp_code("long"), 7);
  failed |= ipc_msg_set_param_xpstr(m.get(), xp_code("text"), ref::adopt(xp_str_new("a text")).get());
  failed |= ipc_msg_end_params(m.get());
  failed |= ipc_msg_package(m.get());
  ref copy = ref::adopt(ipc_msg_copy(m.get()));
  int32_t number = 0;
  if (copy && failed == 0) {
    EXPECT_EQ(ipc_msg_get_param_long(copy.get(), xp_code("long"), &number), 0);
    EXPECT_EQ(number, 7);
  }
  xp_obj *text = nullptr;
  ipc_msg_get_param_xpstr(copy.get(), xp_code("text"), &text);
  told.made(text);
  ref builder = ref::adopt(ipc_msg_get_ntld(m.get()));
  ref memory = ref::adopt(ipc_msg_mem(m.get()));
  told.gave(failed, IpcErrBadMessage);
}

TEST_F(ipc_sweep, messages) {
  sweep::run(messages);
}

void records(story &told) {
  const ref text = ref::adopt(xp_str_new("a text"));
  const ref packed = ref::adopt(xp_ntld_package(text.get(), xp_code("text")));
  const auto size = static_cast<uint32_t>(xp_data_length(packed.get()));
  told.made(xp_ntld_unpackage(text.get(), 0, xp_data_getptr(packed.get()), size));
  const ref growing = ref::adopt(xp_ntld_new(nullptr, XP_NTLD_GROW));
  xp_ntld_open(growing.get(), xp_code("root"), xp_code("data"));
  const uint32_t added = xp_ntld_add(growing.get(), xp_code("zero"), xp_code("data"), 10000, nullptr);
  told.gave(added, 0);
  EXPECT_EQ(xp_ntld_length(growing.get()), growing && xp_ntld_data(growing.get()) ? added + 12 : 0);
  told.gave(xp_serialize(text.get(), 1, nullptr, XP_NTLD_GROW), 0);
}

TEST_F(ipc_sweep, records) {
  sweep::run(records);
}

// The answer to the first call lies on the wire already.
void call(story &told) {
  socket_pair wire;
  ref client = ref::adopt(ipc_alloc(0x1000000, session));
  if (ipc_connect_to(client.get(), wire.library_end(), xp_code("HXca"), 0, 0) == 0) wire.take();
  ipc_settimeout(client.get(), 200);
  wire.write(reply_bytes(0, record("rslt", "long", be32(7))));
  ref request = request_of(xp_code("APIC"), "question");
  ref reply = ref::adopt(ipc_msg_alloc(0));
  int32_t result = ipc_call(client.get(), request.get(), reply.get());
  int32_t answer = 0;
  int32_t found = ipc_msg_get_param_long(reply.get(), xp_code("rslt"), &answer);
  EXPECT_TRUE(result != 0 || found != 0 || answer == 7);
  told.gave(answer);
}

TEST_F(ipc_sweep, call) {
  sweep::run(call);
}

// A request that the server has no memory for gets no answer or an empty one.
void serve(story &told) {
  socket_pair wire;
  ref server = ref::adopt(ipc_alloc(xp_code("HXca"), session));
  ipc_settimeout(server.get(), 0);
  if (ipc_receive_on(server.get(), wire.library_end(), echo, nullptr, IPC_MODE_POLL, 0) == 0) wire.take();
  wire.write(record("msgd", "data",
                    record("call", "long", "APIC") + record("vers", "long", be32(1)) +
                        record("msgn", "long", be32(0)) + record("ptyp", "long", "clnt") +
                        record("ptid", "long", be32(0)) +
                        record("ipcp", "data", record("text", "text", "question"))));
  for (int i = 0; i < 3; ++i)
    ipc_poll(server.get());
  char answer[1000];
  ssize_t length = recv(wire.peer(), answer, sizeof answer, MSG_DONTWAIT);
  std::string_view bytes(answer, length > 0 ? static_cast<size_t>(length) : 0);
  told.gave(bytes.find("question") != std::string_view::npos ? 1 : 0);
}

TEST_F(ipc_sweep, serve) {
  sweep::run(serve);
}

}  // namespace
