// What finds an entry of a dictionary that still has its two inline buckets, without walking their chains: a
// one-byte tag of each key's hash, all compared at once. It stands behind the fields and the first chunk of a
// dictionary and decides nothing that the chains do not decide as well.
//
// Behind the struct stands a place for each entry: a pointer, or, in a dictionary that was made at once, how
// many steps of eight bytes the entry lies in front of the index, in 16 bits.

#ifndef XP_DICT_SMALL_INDEX_H
#define XP_DICT_SMALL_INDEX_H

#include <stddef.h>
#include <stdint.h>

#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace xp::dict {

struct entry;

struct alignas(8) small_index {
  static constexpr uint32_t most_places = 16;

  uint8_t tags[most_places];  // 0: free
  uint8_t places;             // how many there are
  uint8_t used;               // beyond `places`: some entries have no place, so the chains have to be walked
  bool near;                  // the places hold distances

  // The size of an index with its places.
  static constexpr size_t size(uint32_t places, bool near) {
    const size_t behind = places * (near ? sizeof(uint16_t) : sizeof(void *));
    return sizeof(small_index) + ((behind + 7) & ~size_t{7});
  }

  // Empty, with so many places.
  void init(uint32_t count, bool keeps_distances) {
    for (uint8_t &tag : tags)
      tag = 0;
    places = static_cast<uint8_t>(count);
    used = 0;
    near = keeps_distances;
  }

  bool complete() const { return used <= places; }

  void add(entry *e, uint32_t hash) {
    if (used < places && !set(used, e)) used = places;
    if (used < places) tags[used] = tag_of(hash);
    if (complete()) ++used;
  }

  // add, for an entry in front of an index that keeps distances and has a place left.
  void add_near(entry *e, uint32_t hash) {
    tags[used] = tag_of(hash);
    distances()[used] = static_cast<uint16_t>(distance(e));
    ++used;
  }

  void remove(entry *e) {
    if (!complete()) return;
    for (uint32_t i = 0; i < used; ++i) {
      if (at(i) != e) continue;
      --used;
      tags[i] = tags[used];
      set(i, at(used));
      tags[used] = 0;
      return;
    }
  }

  // Calls visit(entry) for each entry of a complete index.
  template <typename Visit>
  void each(Visit visit) {
    for (uint32_t i = 0; i < used; ++i)
      visit(at(i));
  }

  // The entry with that hash for which matches(entry) is true, or null.
  template <typename Matches>
  entry *find(uint32_t hash, Matches matches) {
    for (uint32_t left = places_with(tag_of(hash)); left != 0; left &= left - 1) {
      entry *e = at(static_cast<uint32_t>(std::countr_zero(left)));
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

private:
  static constexpr uintptr_t step = 8;

  entry **pointers() {
    return reinterpret_cast<entry **>(this + 1);
  }
  uint16_t *distances() {
    return reinterpret_cast<uint16_t *>(this + 1);
  }

  uintptr_t distance(entry *e) const {
    return (reinterpret_cast<uintptr_t>(this) - reinterpret_cast<uintptr_t>(e)) / step;
  }

  entry *at(uint32_t i) {
    if (!near) return pointers()[i];
    return reinterpret_cast<entry *>(reinterpret_cast<unsigned char *>(this) - step * distances()[i]);
  }

  // False for an entry that came later and does not lie in front of the index.
  bool set(uint32_t i, entry *e) {
    if (!near) {
      pointers()[i] = e;
      return true;
    }
    const uintptr_t steps = distance(e);
    if (steps > UINT16_MAX) return false;
    distances()[i] = static_cast<uint16_t>(steps);
    return true;
  }
};
static_assert(sizeof(small_index) == 24);

}  // namespace xp::dict

#endif
