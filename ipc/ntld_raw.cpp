#include "ipc/ntld_raw.h"

#include "xp/object/code.h"
#include "xp/object/record.h"

#include <string.h>

#include <algorithm>

// Sizes are counted in 64 bits throughout: a length is a peer's word, and 32 bits wrap near 4 GiB.

namespace {

constexpr uint64_t header = XP_NTLD_HEADER;

// What a record of so many data bytes occupies.
uint64_t occupied(uint32_t length) {
  return header + ((uint64_t{length} + 3) & ~uint64_t{3});
}

// The direct children of a container, in order. A last child whose padding was not counted ends the walk,
// too.
class children {
public:
  explicit children(const uint8_t *container)
      : at_(container == nullptr ? nullptr : container + header), left_(xp_ntld_raw_length(container)) {}

  // The next child, or null at the end.
  const uint8_t *next() {
    if (left_ == 0) return nullptr;
    const uint8_t *child = at_;
    uint64_t size = occupied(xp_ntld_raw_length(child));
    left_ -= std::min(left_, size);
    at_ += size;
    return child;
  }

private:
  const uint8_t *at_;
  uint64_t left_;
};

uint32_t word(const uint8_t *bytes) {
  uint32_t value;
  memcpy(&value, bytes, sizeof value);
  return value;
}

// The four data bytes of a child of the given type; null when it is of another type or shorter.
const uint8_t *four_bytes(const uint8_t *child, uint32_t type) {
  bool good = child != nullptr && xp_ntld_raw_type(child) == type && xp_ntld_raw_length(child) >= 4;
  return good ? child + header : nullptr;
}

}  // namespace

uint32_t xp_ntld_raw_name(const uint8_t *record) {
  return record == nullptr ? 0 : word(record);
}

uint32_t xp_ntld_raw_type(const uint8_t *record) {
  return record == nullptr ? 0 : word(record + 4);
}

uint32_t xp_ntld_raw_length(const uint8_t *record) {
  return record == nullptr ? 0 : xp::load_be32(record + 8);
}

const uint8_t *xp_ntld_raw_data(const uint8_t *record) {
  return record == nullptr ? nullptr : record + header;
}

const uint8_t *xp_ntld_raw_next(const uint8_t *record) {
  return record == nullptr ? nullptr : record + occupied(xp_ntld_raw_length(record));
}

uint32_t xp_ntld_raw_verify(const uint8_t *record, uint32_t available) {
  if (record == nullptr || available < header) return 0;
  uint32_t length = xp_ntld_raw_length(record);
  if (length + header > available) return 0;
  const uint8_t *child = record + header;
  for (uint64_t left = length; left != 0;) {
    if (left < header) return 0;
    uint32_t child_length = xp::load_be32(child + 8);
    if (child_length + header == left) break;
    uint64_t size = occupied(child_length);
    if (size > left) return 0;
    left -= size;
    child += size;
  }
  return static_cast<uint32_t>(length + header);
}

uint32_t xp_ntld_raw_count(const uint8_t *record) {
  uint32_t count = 0;
  for (children walk(record); walk.next() != nullptr;)
    ++count;
  return count;
}

// The walk of `children` written out: messages are read by name, and each step counts.
const uint8_t *xp_ntld_raw_getbyname(const uint8_t *record, uint32_t name) {
  uint64_t left = xp_ntld_raw_length(record);
  if (left == 0) return nullptr;
  for (const uint8_t *child = record + header;;) {
    if (word(child) == name) return child;
    uint64_t size = occupied(xp::load_be32(child + 8));
    if (size >= left) return nullptr;
    left -= size;
    child += size;
  }
}

const uint8_t *xp_ntld_raw_getbyindex(const uint8_t *record, uint32_t index) {
  children walk(record);
  const uint8_t *child = walk.next();
  for (; child != nullptr && index != 0; --index)
    child = walk.next();
  return child;
}

uint32_t xp_ntld_raw_bytes(const uint8_t *child, void *out, uint32_t max) {
  uint32_t length = xp_ntld_raw_length(child);
  if (child == nullptr || out == nullptr) return length;
  uint32_t count = std::min(length, max);
  memcpy(out, child + header, count);
  return count;
}

uint32_t xp_ntld_raw_tag(const uint8_t *child) {
  const uint8_t *data = four_bytes(child, xp_code("ctag"));
  return data == nullptr ? 0 : word(data);
}

int32_t xp_ntld_raw_long(const uint8_t *child) {
  const uint8_t *data = four_bytes(child, xp_code("long"));
  return data == nullptr ? 0 : static_cast<int32_t>(xp::load_be32(data));
}
