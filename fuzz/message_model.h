// A plain model of the records that a call goes by, for the harnesses that send messages.

#ifndef FUZZ_MESSAGE_MODEL_H
#define FUZZ_MESSAGE_MODEL_H

#include "ipc/ntld_raw.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

inline const uint8_t *raw(std::string_view bytes) {
  return reinterpret_cast<const uint8_t *>(bytes.data());
}

// The message that is loaded from these bytes: none, or what its length says of it.
inline std::string_view loaded(std::string_view bytes) {
  if (bytes.size() < XP_NTLD_HEADER) return {};
  bytes = bytes.substr(0, uint64_t{xp_ntld_raw_length(raw(bytes))} + XP_NTLD_HEADER);
  return xp_ntld_raw_verify(raw(bytes), static_cast<uint32_t>(bytes.size())) == 0 ? std::string_view()
                                                                                  : bytes;
}

// The first four data bytes of a record at a message's top level; less when it is shorter, nothing when it is
// missing.
inline std::optional<std::string_view> header(std::string_view message, const char *name) {
  if (message.empty()) return std::nullopt;
  uint32_t code;
  std::memcpy(&code, name, sizeof code);
  const uint8_t *record = xp_ntld_raw_getbyname(raw(message), code);
  if (record == nullptr) return std::nullopt;
  return std::string_view(reinterpret_cast<const char *>(record) + XP_NTLD_HEADER,
                          std::min(xp_ntld_raw_length(record), 4u));
}

// What a loaded message is to the first call on a connection.
struct reply_kind {
  explicit reply_kind(std::string_view message) {
    using namespace std::string_view_literals;
    const auto call = header(message, "call"), vers = header(message, "vers"), msgn = header(message, "msgn");
    complete = call && vers && vers->size() == 4 && msgn && msgn->size() == 4;
    of_version = complete && *vers == "\0\0\0\1"sv;
    mine = of_version && *msgn == "\0\0\0\0"sv && *call == "@!*%";
  }
  bool complete, of_version, mine;
};

#endif
