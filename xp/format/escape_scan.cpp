#include "xp/format/escape_scan.h"

#include <array>

#ifdef __SSE2__
#include <emmintrin.h>

#include <bit>
#endif

namespace {

// The bytes of a mode that need a look: some single ones and whole ranges.
struct class_row {
  std::string_view bytes;
  bool control = false;  // below 32
  bool high = false;     // from 128 on
};

// In the order of xpf_mode, behind percent_all, whose bytes are all but the unreserved ones.
constexpr class_row classes[] = {
    {},
    {"\"\\", true, true},       // literal
    {"\"&'<>", false, true},    // entity
    {xpf_markup, false, true},  // percent_six
    {xpf_markup, false, true},  // percent_high
    {">", false, false},        // cdata
    {"'", true, false},         // backtick; tabs are looked at and stay
    {"\\\"", false, false},     // quote_double
    {"'", false, false},        // quote_twice
    {"\\'", false, false},      // quote_single
    {},
};

constexpr bool is_unreserved(unsigned c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

constexpr bool is_special(xpf_mode how, unsigned c) {
  if (how == xpf_mode::percent_all) return !is_unreserved(c);
  const class_row &row = classes[static_cast<size_t>(how)];
  return (row.control && c < 32) || (row.high && c >= 0x80) ||
         row.bytes.find(static_cast<char>(c)) != std::string_view::npos;
}

// For each byte one bit per mode.
constexpr auto specials = [] {
  std::array<uint16_t, 256> table{};
  for (unsigned c = 0; c < 256; ++c) {
    for (unsigned how = 0; how < static_cast<unsigned>(xpf_mode::none); ++how) {
      if (is_special(static_cast<xpf_mode>(how), c)) table[c] = static_cast<uint16_t>(table[c] | 1u << how);
    }
  }
  return table;
}();

#ifdef __SSE2__
// Passes over blocks of 16 ordinary bytes; ends at the first special one or before the last, short block.
template <xpf_mode How>
const char *skip_blocks(const char *at, const char *end) {
  constexpr const class_row &row = classes[static_cast<size_t>(How)];
  for (; end - at >= 16; at += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
    // Compared as signed numbers, bytes from 128 on are below 0.
    __m128i hits = _mm_setzero_si128();
    if constexpr (row.control && row.high) {
      hits = _mm_cmplt_epi8(block, _mm_set1_epi8(32));
    } else if constexpr (row.control) {
      hits = _mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(31)), block);
    } else if constexpr (row.high) {
      hits = block;  // the mask below takes the highest bits
    }
    for (char byte : row.bytes)
      hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(byte)));
    const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(hits));
    if (mask != 0) return at + std::countr_zero(mask);
  }
  return at;
}

const char *skip_blocks(xpf_mode how, const char *at, const char *end) {
  switch (how) {
    case xpf_mode::literal: return skip_blocks<xpf_mode::literal>(at, end);
    case xpf_mode::entity: return skip_blocks<xpf_mode::entity>(at, end);
    case xpf_mode::percent_six:
    case xpf_mode::percent_high: return skip_blocks<xpf_mode::percent_high>(at, end);
    case xpf_mode::cdata: return skip_blocks<xpf_mode::cdata>(at, end);
    case xpf_mode::backtick: return skip_blocks<xpf_mode::backtick>(at, end);
    case xpf_mode::quote_double: return skip_blocks<xpf_mode::quote_double>(at, end);
    case xpf_mode::quote_twice: return skip_blocks<xpf_mode::quote_twice>(at, end);
    case xpf_mode::quote_single: return skip_blocks<xpf_mode::quote_single>(at, end);
    case xpf_mode::percent_all:
    case xpf_mode::none: break;
  }
  return at;
}
#endif

}  // namespace

const char *xpf_ordinary_plain(xpf_mode how, const char *at, const char *end) {
  const unsigned bit = 1u << static_cast<unsigned>(how);
  while (at != end && (specials[static_cast<unsigned char>(*at)] & bit) == 0)
    ++at;
  return at;
}

const char *xpf_ordinary(xpf_mode how, const char *at, const char *end) {
#ifdef __SSE2__
  at = skip_blocks(how, at, end);
#endif
  return xpf_ordinary_plain(how, at, end);
}
