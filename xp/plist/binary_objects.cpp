#include "xp/plist/binary_objects.h"

#include <algorithm>

namespace xp::binary {
namespace {

constexpr std::string_view header = "bplist00";
constexpr uint64_t trailer_size = 32;
constexpr uint32_t largest_number = 8;

// Counted from the end.
constexpr uint64_t offset_size_at = 26;
constexpr uint64_t reference_size_at = 25;
constexpr uint64_t count_at = 24;
constexpr uint64_t top_at = 16;
constexpr uint64_t table_at = 8;

constexpr byte length_follows = 15;

// Bytes that an object of a kind takes for each of its count.
uint64_t unit_size(kind what, uint32_t reference_size) {
  switch (what) {
    case kind::wide_text: return 2;
    case kind::array:
    case kind::ordered_set:
    case kind::set: return reference_size;
    case kind::dict: return uint64_t{2} * reference_size;
    default: return 1;
  }
}

bool is_size(uint32_t size) {
  return size >= 1 && size <= largest_number;
}

}  // namespace

bool objects::refuse_at(uint64_t offset, const char *reason) {
  fault_ = {.offset = static_cast<int64_t>(offset), .reason = reason};
  return false;
}

bool objects::has_header() {
  const std::string_view begin(reinterpret_cast<const char *>(bytes_),
                               std::min<uint64_t>(size_, header.size()));
  const auto different = std::mismatch(begin.begin(), begin.end(), header.begin()).first - begin.begin();
  if (begin == header || static_cast<uint64_t>(different) == size_) return true;
  return refuse_at(static_cast<uint64_t>(different), "no header of a binary property list");
}

// The table's bytes are counted by division: the product of two hostile numbers need not fit.
bool objects::has_table() {
  const uint64_t end = size_ - trailer_size;
  const uint64_t table = number_at(bytes_ + size_ - table_at, largest_number);
  if (table < header.size() || table > end || (end - table) / offset_size_ < count_) {
    return refuse_at(size_ - table_at, "an offset table outside the list");
  }
  table_ = bytes_ + table;
  return true;
}

bool objects::open() {
  if (!has_header()) return false;
  if (size_ < header.size() + trailer_size) return refuse_at(size_, "too short for a binary property list");
  const byte *end = bytes_ + size_;
  offset_size_ = *(end - offset_size_at);
  reference_size_ = *(end - reference_size_at);
  count_ = number_at(end - count_at, largest_number);
  if (!is_size(offset_size_)) return refuse(end - offset_size_at, "a size of offsets that is not 1 to 8");
  if (!is_size(reference_size_))
    return refuse(end - reference_size_at, "a size of references that is not 1 to 8");
  if (count_ == 0) return refuse(end - count_at, "no objects");
  if (number_at(end - top_at, largest_number) >= count_)
    return refuse(end - top_at, "a reference to no object");
  return has_table();
}

bool objects::find(const byte *reference, uint32_t reference_size, object &found) {
  found.number = number_at(reference, reference_size);
  if (found.number >= count_) return refuse(reference, "a reference to no object");
  const byte *entry = table_ + found.number * offset_size_;
  const uint64_t offset = number_at(entry, offset_size_);
  if (offset < header.size() || offset >= static_cast<uint64_t>(table_ - bytes_)) {
    return refuse(entry, "an offset outside the objects");
  }
  const byte *at = bytes_ + offset;
  if (!read_head(at, found)) return false;
  const auto room = static_cast<uint64_t>(table_ - found.body);
  if (room / unit_size(found.what, reference_size_) >= found.count) return true;
  return refuse(at, "an object that is cut off");
}

// Kind, detail, and how many bytes, units or references follow where.
bool objects::read_head(const byte *at, object &found) {
  found.what = static_cast<kind>(*at >> 4);
  found.detail = *at & 0x0F;
  found.body = at + 1;
  switch (found.what) {
    case kind::simple:
      found.count = 0;
      if (found.detail == simple_null || found.detail == simple_false || found.detail == simple_true)
        return true;
      break;
    case kind::integer:
      found.count = uint64_t{1} << found.detail;
      if (found.detail <= 4) return true;
      break;
    case kind::real:
      found.count = uint64_t{1} << found.detail;
      if (found.detail == 2 || found.detail == 3) return true;
      break;
    case kind::date:
      found.count = 8;
      if (found.detail == 3) return true;
      break;
    case kind::uid:
      found.count = found.detail + 1;
      if (found.count <= largest_number) return true;
      break;
    case kind::data:
    case kind::text:
    case kind::wide_text:
    case kind::array:
    case kind::ordered_set:
    case kind::set:
    case kind::dict: return read_length(at, found);
  }
  return refuse(at, "an unknown kind of object");
}

bool objects::read_length(const byte *at, object &found) {
  found.count = found.detail;
  if (found.detail != length_follows) return true;
  // The table follows the objects, so there is a byte to look at; it need not be an object's.
  const byte marker = *found.body;
  const uint32_t power = marker & 0x0F;
  if (marker >> 4 != static_cast<byte>(kind::integer) || power > 3) {
    return refuse(found.body, "a length that is not an integer of up to 8 bytes");
  }
  const uint32_t size = uint32_t{1} << power;
  if (table_ - found.body <= static_cast<int64_t>(size)) return refuse(at, "an object that is cut off");
  found.count = number_at(found.body + 1, size);
  found.body += 1 + size;
  return true;
}

}  // namespace xp::binary
