// Validity with AVX2, where the processor has it. Two neighbouring bytes are enough to tell every fault but
// one: each half byte of the two is looked up in a table of the faults it may be part of, and a fault is
// there when all three tables name it. The remaining one is whether the third and fourth bytes of a sequence
// are there.

#include "xp/string/valid.h"

#include <immintrin.h>

// A call costs more than most of these functions do.
#define XPS_AVX2 [[gnu::target("avx2"), gnu::always_inline]] inline

namespace {

using byte = unsigned char;
using block = __m256i;
constexpr int64_t block_bytes = 32;

// A block and the three bytes in front of it.
constexpr int64_t shortest = block_bytes + 3;

enum fault : byte {
  too_short = 1,     // a lead byte and no continuation
  too_long = 2,      // a continuation behind ASCII
  overlong_3 = 4,    // E0 80 to 9F
  too_large = 8,     // F4 90 and above
  surrogate = 16,    // ED A0 to BF
  overlong_2 = 32,   // C0, C1
  overlong_4 = 64,   // F0 80 to 8F; with F5 to FF and 80 to 8F, above the last code point as well
  two_further = 128  // two continuations: no fault where a third byte belongs
};

// Whatever the low half of the first byte is.
constexpr byte any_low = too_short | too_long | two_further;
constexpr byte high_low = any_low | too_large | overlong_4;

// By the high half of the first byte, its low half, the high half of the second.
alignas(16) constexpr byte first_high[16] = {
    too_long,
    too_long,
    too_long,
    too_long,
    too_long,
    too_long,
    too_long,
    too_long,
    two_further,
    two_further,
    two_further,
    two_further,
    too_short | overlong_2,
    too_short,
    too_short | overlong_3 | surrogate,
    too_short | too_large | overlong_4,
};
alignas(16) constexpr byte first_low[16] = {
    any_low | overlong_2 | overlong_3 | overlong_4,
    any_low | overlong_2,
    any_low,
    any_low,
    any_low | too_large,
    high_low,
    high_low,
    high_low,
    high_low,
    high_low,
    high_low,
    high_low,
    high_low,
    high_low | surrogate,
    high_low,
    high_low,
};
constexpr byte further = too_long | overlong_2 | two_further;
alignas(16) constexpr byte second_high[16] = {
    too_short,
    too_short,
    too_short,
    too_short,
    too_short,
    too_short,
    too_short,
    too_short,
    further | overlong_3 | overlong_4,
    further | overlong_3 | too_large,
    further | surrogate | too_large,
    further | surrogate | too_large,
    too_short,
    too_short,
    too_short,
    too_short,
};

XPS_AVX2 block load(const byte *at) {
  return _mm256_loadu_si256(reinterpret_cast<const block *>(at));
}

XPS_AVX2 block fill(int value) {
  return _mm256_set1_epi8(static_cast<char>(value));
}

XPS_AVX2 bool is_ascii(block bytes) {
  return _mm256_movemask_epi8(bytes) == 0;
}

XPS_AVX2 block look_up(const byte (&table)[16], block halves) {
  block both = _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i *>(table)));
  return _mm256_shuffle_epi8(both, halves);
}

XPS_AVX2 block high_halves(block bytes) {
  return _mm256_and_si256(_mm256_srli_epi16(bytes, 4), fill(0x0F));
}

// The bytes that stand `Distance` in front of those of `here`.
template <int Distance>
XPS_AVX2 block in_front(block here, block before) {
  return _mm256_alignr_epi8(here, _mm256_permute2x128_si256(before, here, 0x21), 16 - Distance);
}

// Whether there is a fault in `here`, or one that ends there; a sequence that goes on behind it is none. The
// others are the bytes one, two and three in front.
XPS_AVX2 bool is_faulty(block here, block first, block second, block third) {
  block low = look_up(first_low, _mm256_and_si256(first, fill(0x0F)));
  block pairs = _mm256_and_si256(look_up(first_high, high_halves(first)), low);
  pairs = _mm256_and_si256(pairs, look_up(second_high, high_halves(here)));
  // The top bit is set where a lead byte two or three in front asks for a byte here.
  block asked = _mm256_or_si256(_mm256_subs_epu8(second, fill(0xE0 - 0x80)),
                                _mm256_subs_epu8(third, fill(0xF0 - 0x80)));
  block faults = _mm256_xor_si256(_mm256_and_si256(asked, fill(0x80)), pairs);
  return _mm256_testz_si256(faults, faults) == 0;
}

// Whether one of the last three bytes begins a sequence that goes on behind the text.
bool is_cut(const byte *end) {
  return end[-1] >= 0xC0 || end[-2] >= 0xE0 || end[-3] >= 0xF0;
}

// Bytes from `at` on that are certainly all ASCII: a multiple of 128.
XPS_AVX2 int64_t ascii_run(const byte *text, int64_t at, int64_t length) {
  int64_t start = at;
  for (; length - at >= 4 * block_bytes; at += 4 * block_bytes) {
    block one = _mm256_or_si256(load(text + at), load(text + at + block_bytes));
    block two = _mm256_or_si256(load(text + at + 2 * block_bytes), load(text + at + 3 * block_bytes));
    if (!is_ascii(_mm256_or_si256(one, two))) break;
  }
  return at - start;
}

// The start of the first block in which a fault shows; -1 when there is none.
[[gnu::target("avx2")]] int64_t faulty_block(const byte *text, int64_t length) {
  block before = _mm256_setzero_si256();
  bool ascii = true;
  int64_t at = 0;
  while (true) {
    if (ascii) at += ascii_run(text, at, length);
    if (length - at < block_bytes) break;
    block here = load(text + at);
    bool here_ascii = is_ascii(here);
    if (!(ascii && here_ascii) &&
        is_faulty(here, in_front<1>(here, before), in_front<2>(here, before), in_front<3>(here, before)))
      return at;
    before = here;
    ascii = here_ascii;
    at += block_bytes;
  }
  // The rest, together with what lies before it.
  at = length - block_bytes;
  const byte *last = text + at;
  return is_faulty(load(last), load(last - 1), load(last - 2), load(last - 3)) || is_cut(text + length) ? at
                                                                                                        : -1;
}

// The start of the sequence that goes on at `at`, or `at`; what lies before is well formed.
int64_t sequence_start(const byte *text, int64_t at) {
  for (int64_t back = 1; back <= 3 && back <= at && text[at - back] >= 0x80; ++back) {
    if (text[at - back] >= 0xC0) return at - back;
  }
  return at;
}

}  // namespace

int64_t xps_valid(const char *text, int64_t length) {
  if (length < shortest || !__builtin_cpu_supports("avx2")) return xps_plainly::valid(text, length);
  const auto *bytes = reinterpret_cast<const byte *>(text);
  int64_t at = faulty_block(bytes, length);
  if (at < 0) return -1;
  at = sequence_start(bytes, at);
  int64_t fault = xps_plainly::valid(text + at, length - at);
  return fault < 0 ? -1 : at + fault;
}
