// Finds the records in bytes of any origin, in the order in which they lie, and the first place where they
// are not well formed. What is wrong in one container leaves its neighbours readable, so the search goes on
// behind it.
//
// Only the type "data" holds records, and it may hold plain bytes just as well. Its content counts as records
// when it is a message ("msgd") or a message's parameters ("ipcp"), when all of it is well formed with names
// and types that can be read, or when it begins with a record of a known type.

#ifndef TOOLS_NTLD_DUMP_RECORDS_H
#define TOOLS_NTLD_DUMP_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>

// Containers inside containers, the outermost included.
constexpr size_t deepest_record = 512;

struct found_record {
  size_t offset;                // of its header, from the first byte
  size_t depth;                 // 0: outermost
  std::string_view name, type;  // four bytes each
  uint32_t length;              // what the header says
  std::string_view data;        // what is there of it; shorter only when the input ends within
  bool container;               // its records follow
};

struct record_fault {
  size_t offset = 0;
  std::string reason;  // empty: none
};

class record_visitor {
public:
  virtual ~record_visitor() = default;
  virtual void record(const found_record &found) = 0;
  // Bytes in which no record could be found.
  virtual void loose(size_t offset, size_t depth, std::string_view bytes) = 0;
};

// Shows every record from `start` on to the visitor. The fault with the lowest offset. Several outermost
// records may follow each other; the padding of the last one may be missing.
record_fault find_records(std::string_view bytes, size_t start, record_visitor &visitor);

// Whether the bytes can be shown as they are: printable ASCII.
bool is_printable(std::string_view bytes);

#endif
