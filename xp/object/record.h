// One received record, as XP_CTL_DESERIALIZE gets it, and the byte order of its numbers. Internal to those
// who define types.
//
//   offset  bytes  meaning
//        0      4  name, a four-character code as it lies in memory
//        4      4  type, likewise
//        8      4  length of the data in bytes, big-endian
//       12      -  data

#ifndef XP_OBJECT_RECORD_H
#define XP_OBJECT_RECORD_H

#include "xp/object/object.h"

#include <stdint.h>
#include <string.h>

namespace xp {

constexpr size_t record_header_size = 12;

inline uint32_t load_be32(const void *bytes) {
  uint32_t value;
  memcpy(&value, bytes, sizeof value);
  return __builtin_bswap32(value);
}

inline uint64_t load_be64(const void *bytes) {
  uint64_t value;
  memcpy(&value, bytes, sizeof value);
  return __builtin_bswap64(value);
}

inline void store_be32(void *bytes, uint32_t value) {
  value = __builtin_bswap32(value);
  memcpy(bytes, &value, sizeof value);
}

inline void store_be64(void *bytes, uint64_t value) {
  value = __builtin_bswap64(value);
  memcpy(bytes, &value, sizeof value);
}

// The record at `bytes`; its data stay where they are. Null bytes give a record of length 0 with null data.
inline xp_record record_read(const void *bytes) {
  xp_record record{};
  if (bytes == nullptr) return record;
  const auto *start = static_cast<const unsigned char *>(bytes);
  memcpy(&record.name, start, sizeof record.name);
  memcpy(&record.type, start + 4, sizeof record.type);
  record.length = load_be32(start + 8);
  record.data = start + record_header_size;
  return record;
}

// Whether a record that came with XP_CTL_DESERIALIZE is of this type, bears the expected name (0: any) and
// holds at least `needed` bytes.
inline bool record_fits(const xp_record &record, int64_t name, uint32_t type, uint32_t needed) {
  return record.data != nullptr && record.type == type && record.length >= needed &&
         (name == 0 || record.name == static_cast<uint32_t>(name));
}

// Answers XP_CTL_SERIALIZE: appends one record to the set and returns what the set returns.
inline int64_t record_append(void *set, int64_t name, uint32_t type, const void *data, uint32_t length) {
  xp_record record{.name = static_cast<uint32_t>(name), .type = type, .length = length, .data = data};
  return xp_control(static_cast<xp_obj *>(set), XP_CTL_ADDRECORD, 0, &record);
}

}  // namespace xp

#endif
