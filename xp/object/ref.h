// xp::ref owns one reference to an object and releases it. Function bodies use it; signatures use plain
// pointers.

#ifndef XP_OBJECT_REF_H
#define XP_OBJECT_REF_H

#include "xp/object/object.h"

#include <utility>

namespace xp {

class ref {
public:
  ref() = default;
  ref(std::nullptr_t) {}
  ref(const ref &other) : obj_(xp_retain(other.obj_)) {}
  ref(ref &&other) noexcept : obj_(std::exchange(other.obj_, nullptr)) {}
  ~ref() { xp_release(obj_); }

  // By value: serves copies and moves, and releases the old object last.
  ref &operator=(ref other) noexcept {
    std::swap(obj_, other.obj_);
    return *this;
  }

  // Takes over a reference that the caller owns, as constructors and fetches return it.
  [[nodiscard]] static ref adopt(xp_obj *obj) {
    ref result;
    result.obj_ = obj;
    return result;
  }

  // Takes a reference of its own to a borrowed object.
  [[nodiscard]] static ref share(xp_obj *obj) { return adopt(xp_retain(obj)); }

  [[nodiscard]] xp_obj *get() const { return obj_; }

  // Gives the reference up to the caller: only in a return statement or a store into an out parameter.
  [[nodiscard]] xp_obj *leak() { return std::exchange(obj_, nullptr); }

  explicit operator bool() const { return obj_ != nullptr; }

private:
  xp_obj *obj_ = nullptr;
};

}  // namespace xp

#endif
