#include "xp/format/escape_scan.h"

#include <string.h>

#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

constexpr int block_size = 16;

#ifdef __SSE2__
// One bit for each byte of the block that needs a look.
template <xpf_mode How>
uint32_t hits_of(const char *at) {
  constexpr const xpf_class &row = xpf_classes[static_cast<size_t>(How)];
  const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at));
  __m128i hits = _mm_setzero_si128();
  if constexpr (row.control && row.high) {
    hits = _mm_cmplt_epi8(block, _mm_set1_epi8(32));  // signed: bytes from 128 on are below 0
  } else if constexpr (row.control) {
    hits = _mm_cmpeq_epi8(_mm_min_epu8(block, _mm_set1_epi8(31)), block);
  } else if constexpr (row.high) {
    hits = block;  // of the result only the highest bits count
  }
  for (char byte : row.bytes)
    hits = _mm_or_si128(hits, _mm_cmpeq_epi8(block, _mm_set1_epi8(byte)));
  return static_cast<uint32_t>(_mm_movemask_epi8(hits));
}

// For at least a block. The last one may overlap the one before, of which no byte needs a look.
template <xpf_mode How>
const char *pass_blocks(const char *at, const char *end, char *to) {
  for (; end - at >= block_size; at += block_size) {
    if (to != nullptr) to = static_cast<char *>(mempcpy(to, at, block_size));
    if (const uint32_t hits = hits_of<How>(at)) return at + std::countr_zero(hits);
  }
  if (at == end) return end;
  const int64_t back = block_size - (end - at);
  at -= back;
  if (to != nullptr) memcpy(to - back, at, block_size);
  const uint32_t hits = hits_of<How>(at);
  return hits != 0 ? at + std::countr_zero(hits) : end;
}
#endif

const char *pass_bytes(xpf_mode how, const char *at, const char *end, char *to) {
  for (; at != end && !xpf_needs_look(how, *at); ++at) {
    if (to != nullptr) *to++ = *at;
  }
  return at;
}

}  // namespace

const char *xpf_ordinary(xpf_mode how, const char *at, const char *end, char *to) {
#ifdef __SSE2__
  if (end - at >= block_size) {
    switch (how) {
      case xpf_mode::literal: return pass_blocks<xpf_mode::literal>(at, end, to);
      case xpf_mode::entity: return pass_blocks<xpf_mode::entity>(at, end, to);
      case xpf_mode::percent_six:
      case xpf_mode::percent_high: return pass_blocks<xpf_mode::percent_high>(at, end, to);
      case xpf_mode::cdata: return pass_blocks<xpf_mode::cdata>(at, end, to);
      case xpf_mode::backtick: return pass_blocks<xpf_mode::backtick>(at, end, to);
      case xpf_mode::quote_double: return pass_blocks<xpf_mode::quote_double>(at, end, to);
      case xpf_mode::quote_twice: return pass_blocks<xpf_mode::quote_twice>(at, end, to);
      case xpf_mode::quote_single: return pass_blocks<xpf_mode::quote_single>(at, end, to);
      case xpf_mode::percent_all:
      case xpf_mode::none: break;
    }
  }
#endif
  return pass_bytes(how, at, end, to);
}
