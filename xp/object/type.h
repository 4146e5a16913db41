// For those who define an object type: the header that every object begins with, and the one way to build,
// downcast and end an object. Code that only uses objects needs xp/object/object.h.
//
// A type derives its struct from xp_obj, keeps it private to its .cpp file, has one static constexpr xp::ops
// table, builds with xp::make and ends with xp::destroy:
//
//   struct point : xp_obj { static constexpr uint32_t code = xp_code("pnt "); int64_t x, y; };
//   static void point_release(xp_obj *obj) { if (xp_prerelease(obj)) xp::destroy(obj); }
//   static constexpr xp::ops point_ops = {.retain = xp_obj_retain, .release = point_release, .compare =
//   nullptr,
//                                         .textify = nullptr, .control = nullptr};
//   xp_obj *point_new() { return xp::make<point>(point_ops); }

#ifndef XP_OBJECT_TYPE_H
#define XP_OBJECT_TYPE_H

#include "xp/object/memory.h"
#include "xp/object/object.h"

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <type_traits>

// The header. Only the generic operations of xp/object/object.h dispatch through it.
struct xp_obj {
  int32_t refs;                              // owners; touched only through xp/object/refcount.h
  uint32_t type;                             // four-character type code
  xp_obj *(*retain)(xp_obj *obj);            // adds a reference and returns the object
  void (*release)(xp_obj *obj);              // drops a reference, destroys with the last one
  int64_t (*compare)(xp_obj *a, xp_obj *b);  // order of two objects of this type; may be null
  int64_t (*textify)(xp_obj *obj, char *buffer, int64_t capacity);  // see xp_textify; may be null
  int64_t (*control)(xp_obj *obj, uint32_t code, int64_t argument, void *pointer);  // may be null
};

static_assert(std::is_trivial_v<xp_obj> && std::is_standard_layout_v<xp_obj>);

namespace xp {

// The operations of a type, as the constructor writes them into each object.
struct ops {
  xp_obj *(*retain)(xp_obj *obj);
  void (*release)(xp_obj *obj);
  int64_t (*compare)(xp_obj *a, xp_obj *b);
  int64_t (*textify)(xp_obj *obj, char *buffer, int64_t capacity);
  int64_t (*control)(xp_obj *obj, uint32_t code, int64_t argument, void *pointer);
};

// The object as its type's struct; null when it is null or of another type. T::code names the type.
template <typename T>
T *as(xp_obj *obj) {
  static_assert(std::is_base_of_v<xp_obj, T> && std::is_trivially_destructible_v<T>);
  return obj != nullptr && obj->type == T::code ? static_cast<T *>(obj) : nullptr;
}

static_assert(offsetof(xp_obj, retain) + sizeof(ops) == sizeof(xp_obj));

// Writes a type's operations into an object, as one block: the fields stand there in the order of the table.
inline void set_ops(xp_obj *obj, const ops &table) {
  memcpy(reinterpret_cast<char *>(obj) + offsetof(xp_obj, retain), &table, sizeof table);
}

// xp_new for types whose struct asks for more than a pointer's alignment: aligned for everything that is not
// over-aligned.
xp_obj *new_aligned(uint32_t type, size_t size);

// A new zeroed object of type T with count 1 and `tail` further zeroed bytes behind the struct; null when
// memory is exhausted or the sizes overflow.
template <typename T>
T *make(const ops &table, size_t tail = 0) {
  static_assert(std::is_base_of_v<xp_obj, T> && std::is_trivially_destructible_v<T>);
  static_assert(alignof(T) <= alignof(max_align_t));
  if (tail > SIZE_MAX - sizeof(T)) return nullptr;
  xp_obj *obj = nullptr;
  if constexpr (alignof(T) > alignof(xp_obj)) {
    obj = new_aligned(T::code, sizeof(T) + tail);
  } else {
    obj = xp_new(T::code, sizeof(T) + tail);
  }
  if (obj == nullptr) return nullptr;
  set_ops(obj, table);
  return static_cast<T *>(obj);
}

// Frees the block of an object whose contents are gone already.
void destroy(xp_obj *obj);

// How many objects of xp_new live. Counted only in builds with XP_TRACK_OBJECTS; -1 in all others.
int64_t live_objects();

// A pointer as the result of a control operation, and back.
inline int64_t result(const void *pointer) {
  return static_cast<int64_t>(reinterpret_cast<intptr_t>(pointer));
}
template <typename T = xp_obj>
T *result_pointer(int64_t result) {
  return reinterpret_cast<T *>(static_cast<intptr_t>(result));
}
inline int64_t result(xp_streamer streamer) {
  return static_cast<int64_t>(reinterpret_cast<intptr_t>(streamer));
}

}  // namespace xp

#endif
