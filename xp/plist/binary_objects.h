// Where the objects of a binary property list lie and what their first bytes say. Internal to this folder.
//
// A list, numbers big-endian:
//    0  "bplist00"
//    8  objects
//    t  offset table: the offset of each object from the beginning of the list
//  -32  5 bytes without meaning, 1 for the order of sorting, not looked at
//  -26  bytes of an offset in the table
//  -25  bytes of a reference, which is a place in the offset table
//  -24  8 bytes: number of objects
//  -16  8 bytes: the top object, a reference
//   -8  8 bytes: t
//
// An object begins with a byte of kind and detail. A detail of 15 where it is a length stands for an integer
// object that follows and holds the length.
//   00 08 09  null, false, true
//   1n        integer of 2^n bytes, n to 4: 8 and 16 bytes signed, shorter ones unsigned
//   2n        IEEE float of 2^n bytes, n 2 or 3
//   33        date, an 8-byte float: seconds since 2001-01-01 UTC
//   4n        data of n bytes
//   5n        text of n bytes
//   6n        text of n 16-bit units, UTF-16
//   8n        UID of n + 1 bytes, n to 7, unsigned
//   An Bn Cn  array, ordered set, set of n references
//   Dn        dictionary: n references to its keys, then n to its values

#ifndef XP_PLIST_BINARY_OBJECTS_H
#define XP_PLIST_BINARY_OBJECTS_H

#include "xp/object/record.h"
#include "xp/plist/fault.h"

#include <stdint.h>

#include <string_view>

namespace xp::binary {

using byte = unsigned char;

enum class kind : uint8_t {
  simple = 0x0,
  integer = 0x1,
  real = 0x2,
  date = 0x3,
  data = 0x4,
  text = 0x5,
  wide_text = 0x6,
  uid = 0x8,
  array = 0xA,
  ordered_set = 0xB,
  set = 0xC,
  dict = 0xD,
};

enum : byte { simple_null = 0x0, simple_false = 0x8, simple_true = 0x9 };

struct object {
  kind what;
  byte detail;       // the low half of the first byte
  uint64_t number;   // its place in the offset table
  uint64_t count;    // bytes, units, members or entries, by its kind; 1 for a simple one
  const byte *body;  // behind the length; all that `count` says lies within the list
};

// A number of 1 to 8 bytes. There must be 8 bytes to read: no number ends less than a trailer before the end
// of the list.
inline uint64_t number_at(const byte *at, uint32_t size) {
  return xp::load_be64(at) >> (64 - 8 * size);
}

class objects {
public:
  objects(std::string_view bytes, xp_plist_fault &fault)
      : bytes_(reinterpret_cast<const byte *>(bytes.data())), size_(bytes.size()), fault_(fault) {}

  // Checks header and trailer. Nothing else may be called before it gave true.
  bool open();

  // Where the reference to the top object stands, which is 8 bytes long.
  const byte *top() const { return bytes_ + size_ - 16; }

  uint64_t count() const { return count_; }
  uint32_t reference_size() const { return reference_size_; }

  // The object that the reference at `reference` leads to.
  bool find(const byte *reference, uint32_t reference_size, object &found);

  // Sets the fault at a byte of the list. False.
  bool refuse(const byte *at, const char *reason) {
    return refuse_at(static_cast<uint64_t>(at - bytes_), reason);
  }

private:
  bool refuse_at(uint64_t offset, const char *reason);
  bool has_header();
  bool has_table();
  bool read_head(const byte *at, object &found);
  bool read_length(const byte *at, object &found);

  const byte *bytes_;
  uint64_t size_;
  xp_plist_fault &fault_;
  uint32_t offset_size_ = 0;
  uint32_t reference_size_ = 0;
  uint64_t count_ = 0;
  const byte *table_ = nullptr;  // where the objects end
};

}  // namespace xp::binary

#endif
