// A finished number in its parts. Internal to the format engine.

#ifndef XP_FORMAT_NUMBER_H
#define XP_FORMAT_NUMBER_H

#include "xp/format/engine.h"
#include "xp/service/locale.h"

#include <stdint.h>

#include <string_view>

// The parts in their order, so that neither width nor precision ever needs a buffer of its size.
struct xpf_number {
  std::string_view prefix;    // sign, "0x"
  int64_t leading_zeros = 0;  // of the precision or of the "0" flag; never grouped
  std::string_view digits;    // before the point
  std::string_view point;
  std::string_view fraction;
  int64_t trailing_zeros = 0;  // behind the digits that a double can have
  std::string_view tail;       // exponent
  const xp_intl_grouping *grouping = nullptr;

  // Bytes of the number without what the string stage adds.
  int64_t length() const;
};

// The locale's grouping that the flags ask for, the monetary one before the other; null for none.
const xp_intl_grouping *xpf_grouping(const xpf_directive &directive);

// Puts a finished number out: padding, then the parts through the string stage.
void xpfs_output(xpf_sink &out, const xpf_directive &directive, xpf_number number);

#endif
