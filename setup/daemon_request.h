// One request to the daemon, from its first record to the last read of its reply. Internal to setup/; for one
// thread.

#ifndef SETUP_DAEMON_REQUEST_H
#define SETUP_DAEMON_REQUEST_H

#include "xp/object/ref.h"

#include <stdint.h>

// The bytes of the record named `tag` in a block of records (null: none), as a new string; null when there is
// no such record or it is empty.
xp_obj *cv_setup_ntld_getstr(const uint8_t *block, uint32_t tag);

class cv_setup_daemon_request {
public:
  // The request's code. The session number of every request is 0.
  explicit cv_setup_daemon_request(uint32_t code);
  cv_setup_daemon_request(const cv_setup_daemon_request &) = delete;
  cv_setup_daemon_request &operator=(const cv_setup_daemon_request &) = delete;
  ~cv_setup_daemon_request();

  // Records of the request. One that does not fit makes the call fail: nothing is sent without it.
  void number(uint32_t name, int32_t value);
  void string(uint32_t name, xp_obj *text);
  void tag(uint32_t name, const void *four_bytes);

  // Calls the daemon: true when its result is 0. Once.
  bool call();

  // The same without keeping the reply.
  bool call_and_forget();

  // Records of the reply, after call: null or 0 when they are absent.
  [[nodiscard]] xp::ref reply_string(uint32_t name) const;
  [[nodiscard]] int32_t reply_number(uint32_t name) const;

private:
  bool send(xp_obj **reply);

  xp_obj *request_;  // until it is sent
  xp::ref records_;
  bool complete_;
  xp_obj *reply_ = nullptr;
};

#endif
