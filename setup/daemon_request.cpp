#include "setup/daemon_request.h"

#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "setup/apic.h"
#include "xp/string/string.h"

#include <utility>

xp_obj *cv_setup_ntld_getstr(const uint8_t *block, uint32_t tag) {
  const uint8_t *const record = xp_ntld_raw_getbyname(block, tag);
  const uint32_t length = record == nullptr ? 0 : xp_ntld_raw_length(record);
  if (length == 0) return nullptr;
  return xp_str_make(reinterpret_cast<const char *>(xp_ntld_raw_data(record)), length);
}

cv_setup_daemon_request::cv_setup_daemon_request(uint32_t code)
    : request_(vane_apic_start(code, 0)),
      records_(xp::ref::adopt(vane_apic_getntld(request_))),
      complete_(static_cast<bool>(records_)) {}

cv_setup_daemon_request::~cv_setup_daemon_request() {
  // A request ends as a message, whether it was sent or not, and so does its reply.
  vane_apic_stop(request_);
  vane_apic_stop(reply_);
}

void cv_setup_daemon_request::number(uint32_t name, int32_t value) {
  complete_ = complete_ && xp_ntld_add_number(records_.get(), name, value) != 0;
}

void cv_setup_daemon_request::string(uint32_t name, xp_obj *text) {
  complete_ = complete_ && xp_ntld_add_string(records_.get(), name, xp_str_getptr(text)) != 0;
}

void cv_setup_daemon_request::tag(uint32_t name, const void *four_bytes) {
  complete_ = complete_ && xp_ntld_add(records_.get(), name, xp_code("ctag"), 4, four_bytes) != 0;
}

bool cv_setup_daemon_request::call() {
  return send(&reply_);
}

bool cv_setup_daemon_request::call_and_forget() {
  return send(nullptr);
}

bool cv_setup_daemon_request::send(xp_obj **reply) {
  records_ = nullptr;
  return complete_ && vane_apic_call(std::exchange(request_, nullptr), reply) == 0;
}

xp::ref cv_setup_daemon_request::reply_string(uint32_t name) const {
  return xp::ref::adopt(cv_setup_ntld_getstr(vane_apic_getdata(reply_), name));
}

int32_t cv_setup_daemon_request::reply_number(uint32_t name) const {
  const uint8_t *const record = xp_ntld_raw_getbyname(vane_apic_getdata(reply_), name);
  return record == nullptr ? 0 : xp_ntld_raw_long(record);
}
