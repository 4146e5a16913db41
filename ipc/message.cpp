#include "ipc/message.h"

#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/clock.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/message_impl.h"
#include "ipc/message_record.h"
#include "ipc/ntld.h"
#include "ipc/ntld_impl.h"
#include "ipc/ntld_raw.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"

#include <algorithm>

namespace {

void message_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *m = static_cast<ipc_msg *>(obj);
  // Somebody may still hold the builder: it must not point into a buffer that is gone.
  xp_ntld_reset(m->writer, nullptr, 0);
  xp_release(m->writer);
  xp_release(m->buffer);
  xp_release(m->channel);
  xp::destroy(m);
}

constexpr xp::ops message_ops = {.retain = xp_obj_retain,
                                 .release = message_release,
                                 .compare = nullptr,
                                 .textify = nullptr,
                                 .control = nullptr};

// Verifies the bytes in the buffer and points the writer at them. This is where bytes from outside enter:
// everything behind it reads them without looking twice.
int32_t load(ipc_msg *m) {
  uint8_t *bytes = ipc_mbuf_getptr(m->buffer);
  auto length = static_cast<uint32_t>(ipc_mbuf_getlen(m->buffer));
  uint32_t total = xp_ntld_raw_verify(bytes, length);
  ipc_mbuf_setlen(m->buffer, total);
  xp_ntld_attach(m->writer, bytes, static_cast<uint32_t>(ipc_mbuf_getmax(m->buffer)), total);
  m->params_open = 0;
  m->verified = 0;
  return total == 0 ? IpcErrBadMessage : 0;
}

// The bytes of a message at `bytes` that count: what its length field says, at most n, none when there is no
// header.
int64_t message_length(const uint8_t *bytes, int64_t n) {
  if (bytes == nullptr || n < int64_t{XP_NTLD_HEADER}) return 0;
  return std::min(int64_t{xp_ntld_raw_length(bytes)} + XP_NTLD_HEADER, n);
}

}  // namespace

uint32_t ipc_msg_type() {
  return ipc_msg::code;
}

xp_obj *ipc_msg_alloc(uint32_t name) {
  xp::ref message = xp::ref::adopt(xp::make<ipc_msg>(message_ops));
  auto *m = xp::as<ipc_msg>(message.get());
  if (m == nullptr) return nullptr;
  m->buffer = ipc_mbuf_alloc(IPC_MBUF_STANDARD);
  m->writer = static_cast<xp_ntld *>(xp_ntld_new(nullptr, 0));
  if (m->buffer == nullptr || m->writer == nullptr) return nullptr;
  ipc_msg_reset(m, name);
  return message.leak();
}

void ipc_msg_free(xp_obj *m) {
  xp_release(m);
}

void ipc_msg_reset(xp_obj *obj, uint32_t name) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr) return;
  ipc_mbuf_rewind(m->buffer);
  ipc_mbuf_setlen(m->buffer, 0);
  xp_ntld_reset(m->writer, ipc_mbuf_getptr(m->buffer), static_cast<uint32_t>(ipc_mbuf_getmax(m->buffer)));
  m->verified = 0;
  xp_ntld_open(m->writer, xp_code("msgd"), xp_code("data"));
  ipc_msg_set_param_ex(m, xp_code("call"), xp_code("long"), &name, sizeof name, 0);
}

xp_obj *ipc_msg_copy(xp_obj *m) {
  if (xp::as<ipc_msg>(m) == nullptr) return nullptr;
  xp::ref copy = xp::ref::adopt(ipc_msg_alloc(0));
  ipc_msg_from_buf(copy.get(), ipc_msg_buf(m), ipc_msg_size(m));
  return copy.leak();
}

int32_t ipc_msg_package(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr) return IpcErrBadMessage;
  m->params_open = 0;
  // Whoever had the builder may have closed everything already. Once bytes were consumed they are on their
  // way and the message is left alone.
  bool unsent = ipc_mbuf_getptr(m->buffer) == m->writer->bytes;
  if (unsent) ipc_mbuf_setlen(m->buffer, xp_ntld_length(m->writer));
  return 0;
}

void ipc_msg_clear(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr) return;
  ipc_mbuf_rewind(m->buffer);
  ipc_mbuf_setlen(m->buffer, 0);
  load(m);
}

// --- The bytes ---

xp_obj *ipc_msg_get_ntld(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  return m == nullptr ? nullptr : xp_retain(m->writer);
}

uint8_t *ipc_msg_buf(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  return m == nullptr ? nullptr : ipc_mbuf_getptr(m->buffer);
}

int64_t ipc_msg_size(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  return m == nullptr ? 0 : ipc_mbuf_getlen(m->buffer);
}

xp_obj *ipc_msg_mem(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  return m == nullptr ? nullptr : xp_retain(m->buffer);
}

int32_t ipc_msg_from_buf(xp_obj *obj, const void *bytes, int64_t n) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr) return IpcErrBadMessage;
  ipc_mbuf_set(m->buffer, bytes, message_length(static_cast<const uint8_t *>(bytes), n));
  return load(m);
}

xp_obj *ipc_msg_exchangemem(xp_obj *obj, xp_obj *b) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr || xp_type(b) != ipc_mbuf_type()) return b;
  xp::ref old = xp::ref::adopt(m->buffer);
  m->buffer = b;
  const uint8_t *bytes = ipc_mbuf_getptr(b);
  ipc_mbuf_set(b, bytes, message_length(bytes, ipc_mbuf_getlen(b)));
  load(m);
  ipc_mbuf_rewind(old.get());
  ipc_mbuf_setlen(old.get(), 0);
  return old.leak();
}

// --- Sending ---

void ipc_msg_setcom(xp_obj *obj, xp_obj *channel) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr) return;
  xp::ref old = xp::ref::adopt(m->channel);
  m->channel = xp_retain(channel);
}

int32_t ipc_msg_selfsend(xp_obj *obj, int32_t msecs) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr || m->channel == nullptr) return IpcErrBadMessage;
  ipc_msg_package(m);
  uint32_t start = ipc_time_msecs();
  for (;;) {
    int32_t sent = ipc_com_send(m->channel, m->buffer);
    if (sent != IpcErrWouldBlock || ipc_time_expired(start, msecs)) return sent;
    ipcc_pause(m->channel, true);
  }
}

int32_t ipc_msg_peer(xp_obj *obj, uint32_t *uid) {
  auto *m = xp::as<ipc_msg>(obj);
  return ipc_com_peer(m == nullptr ? nullptr : m->channel, uid);
}
