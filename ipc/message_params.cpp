#include "ipc/errors.h"
#include "ipc/message.h"
#include "ipc/message_impl.h"
#include "ipc/message_record.h"
#include "ipc/ntld.h"
#include "ipc/ntld_impl.h"
#include "ipc/ntld_raw.h"
#include "xp/object/record.h"
#include "xp/string/string.h"

#include <string.h>

#include <algorithm>

// The accessors of parameters and header records. Getters use the raw readers: the bytes may have come from a
// peer and must not be taken for objects.

namespace {

constexpr uint32_t params_name = xp_code("ipcp");
constexpr uint32_t version = 1;

// The parameter block of a finished message. Its children are verified once for each message: a received
// block may lie about them, and counts as absent then.
const uint8_t *params_of(ipc_msg *m, const uint8_t *record) {
  const uint8_t *params = xp_ntld_raw_getbyname(record, params_name);
  uint32_t total = xp_ntld_raw_length(record) + XP_NTLD_HEADER;
  if (params == nullptr) return nullptr;
  if (m->verified != total) {
    m->verified = total;
    m->params_good = xp_ntld_raw_verify(params, xp_ntld_raw_length(params) + XP_NTLD_HEADER) != 0;
  }
  return m->params_good != 0 ? params : nullptr;
}

const uint8_t *find(xp_obj *obj, uint32_t name, int32_t inblock) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr) return nullptr;
  const uint8_t *record = xp_ntld_record(m->writer);
  if (record != nullptr && inblock != 0) record = params_of(m, record);
  return xp_ntld_raw_getbyname(record, name);
}

// Copies at most `room` data bytes of a parameter. The count, or IpcErrBadMessage when it is missing.
int64_t fetch(xp_obj *obj, uint32_t name, int32_t inblock, void *out, uint32_t room) {
  const uint8_t *param = find(obj, name, inblock);
  if (param == nullptr) return IpcErrBadMessage;
  uint32_t count = std::min(xp_ntld_raw_length(param), room);
  if (out != nullptr && count != 0) memcpy(out, xp_ntld_raw_data(param), count);
  return count;
}

int32_t code_of(int64_t fetched) {
  return fetched < 0 ? static_cast<int32_t>(fetched) : 0;
}

// Appends one record at top level or to the parameter block.
int32_t add(xp_obj *obj, uint32_t name, uint32_t type, const void *data, uint32_t length, int32_t inblock) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr || static_cast<uint32_t>(inblock) != m->params_open) return IpcErrBadMessage;
  // A finished message has nothing open: a record would land behind its end, where nobody reads.
  if (!xp_ntld_isopen(m->writer)) return IpcErrBadMessage;
  return xp_ntld_put(m->writer, name, type, length, data) == 0 ? IpcErrBadMessage : 0;
}

int32_t set_text(xp_obj *m, uint32_t name, const void *text, int64_t length) {
  if (length > int64_t{UINT32_MAX}) return IpcErrBadMessage;
  return add(m, name, xp_code("text"), text, static_cast<uint32_t>(length), 1);
}

// Takes the four bytes of the first child of its name; `shortest` bytes make one that counts.
void take_word(const uint8_t *child, uint32_t bit, uint32_t shortest, uint32_t *word, uint32_t *seen,
               uint32_t *found) {
  uint32_t length = xp_ntld_raw_length(child);
  if ((*seen & bit) == 0 && length >= shortest) {
    if (length >= sizeof *word) {
      memcpy(word, xp_ntld_raw_data(child), sizeof *word);  // a load; any other length is a call
    } else {
      memcpy(word, xp_ntld_raw_data(child), length);
    }
    *found |= bit;
  }
  *seen |= bit;
}

}  // namespace

// --- Building ---

int32_t ipc_msg_start_params(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr || m->params_open != 0 || !xp_ntld_isopen(m->writer)) return IpcErrBadMessage;
  if (xp_ntld_open(m->writer, params_name, xp_code("data")) == 0) {
    xp_ntld_close(m->writer);  // the refused opening, so that the outer container is the innermost again
    return IpcErrBadMessage;
  }
  m->params_open = 1;
  return 0;
}

int32_t ipc_msg_end_params(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  if (m == nullptr || m->params_open == 0) return IpcErrBadMessage;
  xp_ntld_close(m->writer);
  m->params_open = 0;
  return 0;
}

bool ipc_msg_params_open(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  return m != nullptr && m->params_open != 0;
}

int32_t ipc_msg_set_content(xp_obj *m, const void *data, uint32_t length) {
  return ipc_msg_set_param_ex(m, params_name, xp_code("data"), data, length, 0);
}

int32_t ipc_msg_set_param_ex(xp_obj *obj, uint32_t name, uint32_t type, const void *data, uint32_t length,
                             int32_t inblock) {
  return add(obj, name, type, data, length, inblock);
}

int32_t ipc_msg_set_param(xp_obj *m, uint32_t name, uint32_t type, const void *data, uint32_t length) {
  return ipc_msg_set_param_ex(m, name, type, data, length, 1);
}

int32_t ipc_msg_set_param_long(xp_obj *m, uint32_t name, int32_t value) {
  uint8_t bytes[4];
  xp::store_be32(bytes, static_cast<uint32_t>(value));
  return ipc_msg_set_param(m, name, xp_code("long"), bytes, sizeof bytes);
}

int32_t ipc_msg_set_param_quad(xp_obj *m, uint32_t name, int64_t value) {
  uint8_t bytes[8];
  xp::store_be64(bytes, static_cast<uint64_t>(value));
  return ipc_msg_set_param(m, name, xp_code("quad"), bytes, sizeof bytes);
}

int32_t ipc_msg_set_param_tag(xp_obj *m, uint32_t name, uint32_t tag) {
  return ipc_msg_set_param(m, name, xp_code("text"), &tag, sizeof tag);
}

int32_t ipc_msg_set_param_cstr(xp_obj *m, uint32_t name, const char *text) {
  return set_text(m, name, text, text == nullptr ? 0 : static_cast<int64_t>(strlen(text)));
}

int32_t ipc_msg_set_param_pstr(xp_obj *m, uint32_t name, const uint8_t *text) {
  return set_text(m, name, text == nullptr ? nullptr : text + 1, text == nullptr ? 0 : text[0]);
}

int32_t ipc_msg_set_param_xpstr(xp_obj *m, uint32_t name, xp_obj *string) {
  return set_text(m, name, xp_str_getptr(string), xp_str_length(string));
}

int32_t ipc_msg_set_header(xp_obj *obj, const ipc_header &header) {
  uint32_t vers;
  xp::store_be32(&vers, version);
  const struct {
    uint32_t name, word;
  } records[] = {{xp_code("vers"), vers},
                 {xp_code("msgn"), header.msgn},
                 {xp_code("ptyp"), header.ptyp},
                 {xp_code("ptid"), header.ptid}};
  constexpr uint32_t size = XP_NTLD_HEADER + sizeof records[0].word;
  auto *m = xp::as<ipc_msg>(obj);
  bool writable = m != nullptr && m->params_open == 0 && xp_ntld_isopen(m->writer);
  uint8_t *at = writable ? xp_ntld_room(m->writer, size * std::size(records)) : nullptr;
  for (const auto &record : records) {
    if (at == nullptr) {
      int32_t error = add(m, record.name, xp_code("long"), &record.word, sizeof record.word, 0);
      if (error != 0) return error;
      continue;
    }
    xp_ntld_write_header(at, record.name, xp_code("long"), sizeof record.word);
    memcpy(at + XP_NTLD_HEADER, &record.word, sizeof record.word);
    at += size;
    m->writer->used += size;
  }
  return 0;
}

// --- Reading ---

int32_t ipc_msg_get_param(xp_obj *m, uint32_t name, uint32_t type, void *out, uint32_t *size) {
  return ipc_msg_get_param_ex(m, name, type, out, size, 1);
}

int32_t ipc_msg_get_param_ex(xp_obj *m, uint32_t name, uint32_t /*type*/, void *out, uint32_t *size,
                             int32_t inblock) {
  uint32_t room = size == nullptr ? 0 : *size;
  if (size != nullptr) *size = 0;
  int64_t count = fetch(m, name, inblock, out, out == nullptr ? UINT32_MAX : room);
  if (size != nullptr && count > 0) *size = static_cast<uint32_t>(count);
  return code_of(count);
}

int32_t ipc_msg_get_param_long(xp_obj *m, uint32_t name, int32_t *out) {
  uint8_t bytes[4] = {};
  int64_t count = fetch(m, name, 1, bytes, sizeof bytes);
  if (out != nullptr) *out = static_cast<int32_t>(xp::load_be32(bytes));
  return code_of(count);
}

int32_t ipc_msg_get_param_quad(xp_obj *m, uint32_t name, int64_t *out) {
  uint8_t bytes[8] = {};
  int64_t count = fetch(m, name, 1, bytes, sizeof bytes);
  if (out != nullptr) *out = static_cast<int64_t>(xp::load_be64(bytes));
  return code_of(count);
}

int32_t ipc_msg_get_param_tag(xp_obj *m, uint32_t name, uint32_t *out) {
  uint32_t tag = 0;
  int64_t count = fetch(m, name, 1, &tag, sizeof tag);
  if (out != nullptr) *out = tag;
  return code_of(count);
}

int32_t ipc_msg_get_param_cstr(xp_obj *m, uint32_t name, char *out, uint32_t size) {
  bool room = out != nullptr && size != 0;
  if (room) out[0] = 0;
  int64_t count = fetch(m, name, 1, room ? out : nullptr, room ? size - 1 : 0);
  if (room && count >= 0) out[count] = 0;
  return code_of(count);
}

int32_t ipc_msg_get_param_pstr(xp_obj *m, uint32_t name, uint8_t *out, uint32_t size) {
  bool room = out != nullptr && size != 0;
  if (room) out[0] = 0;
  int64_t count = fetch(m, name, 1, room ? out + 1 : nullptr, room ? std::min(size - 1, 255u) : 0);
  if (room && count > 0) out[0] = static_cast<uint8_t>(count);
  return code_of(count);
}

int32_t ipc_msg_get_param_xpstr(xp_obj *m, uint32_t name, xp_obj **string) {
  if (string == nullptr) return IpcErrBadState;
  *string = nullptr;
  const uint8_t *param = find(m, name, 1);
  if (param == nullptr) return IpcErrBadMessage;
  uint32_t length = xp_ntld_raw_length(param);
  if (length == 0) return 0;
  *string = xp_str_make(reinterpret_cast<const char *>(xp_ntld_raw_data(param)), length);
  return *string == nullptr ? IpcErrNoMemory : 0;
}

const uint8_t *ipc_msg_get_param_ptr(xp_obj *m, uint32_t name) {
  return xp_ntld_raw_data(find(m, name, 1));
}

int32_t ipc_msg_get_info_param(xp_obj *m, uint32_t name, uint32_t *type, uint32_t *length) {
  return ipc_msg_get_info_param_ex(m, name, type, length, 1);
}

int32_t ipc_msg_get_info_param_ex(xp_obj *m, uint32_t name, uint32_t *type, uint32_t *length,
                                  int32_t inblock) {
  const uint8_t *param = find(m, name, inblock);
  if (type != nullptr) *type = xp_ntld_raw_type(param);
  if (length != nullptr) *length = xp_ntld_raw_length(param);
  return param == nullptr ? IpcErrBadMessage : 0;
}

int32_t ipc_msg_get_name(xp_obj *m, uint32_t *name) {
  uint32_t word = 0;
  int64_t count = fetch(m, xp_code("call"), 0, &word, sizeof word);
  if (name != nullptr) *name = word;
  return code_of(count);
}

int32_t ipc_msg_get_word(xp_obj *m, uint32_t name, uint32_t *word) {
  *word = 0;
  return fetch(m, name, 0, word, sizeof *word) == sizeof *word ? 0 : IpcErrBadMessage;
}

ipc_words ipc_msg_get_words(xp_obj *obj) {
  ipc_words w{};
  uint32_t seen = 0;
  auto *m = xp::as<ipc_msg>(obj);
  const uint8_t *record = m == nullptr ? nullptr : xp_ntld_record(m->writer);
  uint64_t left = xp_ntld_raw_length(record);
  for (const uint8_t *child = xp_ntld_raw_data(record); left != 0;) {
    uint64_t size = xp_ntld_occupied(xp_ntld_raw_length(child));
    switch (xp_ntld_raw_name(child)) {
      case xp_code("call"): take_word(child, IPC_FOUND_NAME, 0, &w.name, &seen, &w.found); break;
      case xp_code("vers"): take_word(child, IPC_FOUND_VERS, 4, &w.vers, &seen, &w.found); break;
      case xp_code("msgn"): take_word(child, IPC_FOUND_MSGN, 4, &w.msgn, &seen, &w.found); break;
      case xp_code("ptyp"): take_word(child, IPC_FOUND_PTYP, 4, &w.ptyp, &seen, &w.found); break;
      case xp_code("ptid"): take_word(child, IPC_FOUND_PTID, 4, &w.ptid, &seen, &w.found); break;
      default: break;
    }
    left -= std::min(left, size);
    child += size;
  }
  return w;
}

const uint8_t *ipc_msg_get_content_ptr(xp_obj *obj) {
  auto *m = xp::as<ipc_msg>(obj);
  const uint8_t *record = m == nullptr ? nullptr : xp_ntld_record(m->writer);
  return record == nullptr ? nullptr : params_of(m, record);
}
