#include "xp/format/escape_scan.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

#ifdef __SSE2__
constexpr int block_size = 16;

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

// Passes over blocks without hits.
template <xpf_mode How>
const char *pass_blocks(const char *at, const char *end) {
  while (end - at >= block_size && hits_of<How>(at) == 0)
    at += block_size;
  return at;
}
#endif

}  // namespace

const char *xpf_ordinary(xpf_mode how, const char *at, [[maybe_unused]] const char *end) {
#ifdef __SSE2__
  switch (how) {
    case xpf_mode::literal: return pass_blocks<xpf_mode::literal>(at, end);
    case xpf_mode::entity: return pass_blocks<xpf_mode::entity>(at, end);
    case xpf_mode::percent_six:
    case xpf_mode::percent_high: return pass_blocks<xpf_mode::percent_high>(at, end);
    case xpf_mode::cdata: return pass_blocks<xpf_mode::cdata>(at, end);
    case xpf_mode::backtick: return pass_blocks<xpf_mode::backtick>(at, end);
    case xpf_mode::quote_double: return pass_blocks<xpf_mode::quote_double>(at, end);
    case xpf_mode::quote_twice: return pass_blocks<xpf_mode::quote_twice>(at, end);
    case xpf_mode::quote_single: return pass_blocks<xpf_mode::quote_single>(at, end);
    case xpf_mode::percent_all:
    case xpf_mode::none: break;
  }
#endif
  return at;
}
