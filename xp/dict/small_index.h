// What finds an entry of a dictionary that still has its two inline buckets, without walking their chains: a
// one-byte tag of each key's hash, all compared at once. It stands behind the fields of a dictionary and
// decides nothing that the chains do not decide as well.

#ifndef XP_DICT_SMALL_INDEX_H
#define XP_DICT_SMALL_INDEX_H

#include <stdint.h>

#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace xp::dict {

struct entry;

struct small_index {
  static constexpr uint32_t most_places = 16;

  uint8_t tags[most_places];  // 0: free
  uint32_t places;            // how many there are
  uint32_t used;              // beyond `places`: some entries had no place, so the chains have to be walked
  entry **entries;            // what the tags lead to

  // Empty, with memory for as many entries as there are places.
  void init(entry **memory, uint32_t count) {
    for (uint8_t &tag : tags)
      tag = 0;
    places = count;
    used = 0;
    entries = memory;
  }

  bool complete() const { return used <= places; }

  void add(entry *e, uint32_t hash) {
    if (used < places) {
      tags[used] = tag_of(hash);
      entries[used] = e;
    }
    if (complete()) ++used;
  }

  void remove(entry *e) {
    if (!complete()) return;
    for (uint32_t i = 0; i < used; ++i) {
      if (entries[i] != e) continue;
      --used;
      tags[i] = tags[used];
      entries[i] = entries[used];
      tags[used] = 0;
      return;
    }
  }

  // The entry with that hash for which matches(entry) is true, or null.
  template <typename Matches>
  entry *find(uint32_t hash, Matches matches) const {
    for (uint32_t left = places_with(tag_of(hash)); left != 0; left &= left - 1) {
      entry *e = entries[std::countr_zero(left)];
      if (matches(e)) return e;
    }
    return nullptr;
  }

  // Never 0. Short keys differ in the low bits of their hashes alone; the multiplication spreads them.
  static uint8_t tag_of(uint32_t hash) { return static_cast<uint8_t>((hash * 0x9E3779B1u) >> 25 | 0x80); }

  // One bit for each place with the tag.
  uint32_t places_with(uint8_t tag) const {
#ifdef __SSE2__
    __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i *>(tags));
    __m128i same = _mm_cmpeq_epi8(all, _mm_set1_epi8(static_cast<char>(tag)));
    return static_cast<uint32_t>(_mm_movemask_epi8(same));
#else
    return places_with_plain(tag);
#endif
  }
  uint32_t places_with_plain(uint8_t tag) const {
    uint32_t found = 0;
    for (uint32_t i = 0; i < most_places; ++i)
      found |= static_cast<uint32_t>(tags[i] == tag) << i;
    return found;
  }
};

}  // namespace xp::dict

#endif
