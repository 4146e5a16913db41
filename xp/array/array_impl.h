// The inside of an array, for the files of this folder.

#ifndef XP_ARRAY_ARRAY_IMPL_H
#define XP_ARRAY_ARRAY_IMPL_H

#include "xp/array/array.h"
#include "xp/object/lock.h"
#include "xp/object/type.h"

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#include <algorithm>

namespace xp::array {

struct object : xp_obj {
  static constexpr uint32_t code = xp_code("arry");

  xp_obj *lock;  // or null
  uint32_t flags;
  uint32_t spare;    // slots of the vector beyond the capacity, or a part of them
  int64_t capacity;  // slots the array may use
  int64_t growth;    // slots added when full
  int64_t count;
  xp_obj *(*retain_item)(xp_obj *item);
  void (*release_item)(xp_obj *item);
  xp_obj **items;

  // Slots of the vector. They double behind the capacity, so that growing by one does not copy everything
  // each time.
  int64_t slots() { return capacity + spare; }
  // Both at once. A spare part too large for its field is forgotten, the slots are not.
  void set_room(int64_t new_capacity, int64_t new_slots) {
    capacity = new_capacity;
    spare = static_cast<uint32_t>(std::clamp<int64_t>(new_slots - new_capacity, 0, UINT32_MAX));
  }

  // Where the items of an array from array_of stand until it gets another vector.
  xp_obj **first_items() { return reinterpret_cast<xp_obj **>(this + 1); }

  bool raw() { return (flags & XP_ARRAY_RAW) != 0; }
  bool holds(int64_t index) { return index >= 0 && index < count; }
};

constexpr size_t slot_size = sizeof(void *);
constexpr int64_t most_slots = PTRDIFF_MAX / static_cast<int64_t>(slot_size);

// A vector of items that is not in an array: on its way from one to another, or taken out and to be released
// when the lock is left. Owns a reference to each item.
class loose_items {
public:
  explicit loose_items(object *like) : release_item_(like->release_item) {}
  ~loose_items();
  loose_items(const loose_items &) = delete;
  loose_items &operator=(const loose_items &) = delete;

  // Room for `count` items, once; false when memory is exhausted.
  bool reserve(int64_t count);
  void add(xp_obj *item) {
    assert(items_ != nullptr);  // room was reserved
    items_[count_++] = item;
  }

  int64_t count() const { return count_; }
  xp_obj **items() const { return items_; }
  // The items have found another owner.
  void hand_over() { count_ = 0; }

private:
  void (*release_item_)(xp_obj *item);
  xp_obj **items_ = nullptr;
  int64_t count_ = 0;
};

// --- Under the lock ---

// Raises the capacity to `capacity`, with room for `comfortable` slots when there is memory for so many.
// False, with nothing changed, when memory is exhausted.
bool raise_capacity(object *a, int64_t capacity, int64_t comfortable);

// The order of the array's elements when the caller names none: xp_compare, or that of the raw values.
xp_sort_compare natural_order(object *a);

}  // namespace xp::array

#endif
