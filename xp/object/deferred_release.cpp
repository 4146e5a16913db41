#include "xp/object/deferred_release.h"

#include "xp/object/type.h"

#include <bit>

namespace xp {
namespace {

// Levels that nest as calls: more than ordinary data has, few enough for the smallest stacks.
constexpr int nesting_limit = 32;

struct pending_list {
  int depth;
  xp_obj *first;
};

constinit thread_local pending_list pending = {.depth = 0, .first = nullptr};

// A waiting object has no owner left, so nobody calls its operations any more: the place of its release holds
// what will destroy it, the place of its retain the object that waits behind it.
using retain_op = decltype(xp_obj::retain);

void postpone(xp_obj *obj, void (*destroy)(xp_obj *)) {
  obj->release = destroy;
  obj->retain = std::bit_cast<retain_op>(pending.first);
  pending.first = obj;
}

void destroy_next() {
  xp_obj *obj = pending.first;
  pending.first = std::bit_cast<xp_obj *>(obj->retain);
  obj->release(obj);
}

}  // namespace

void end_container(xp_obj *obj, void (*destroy)(xp_obj *)) {
  if (pending.depth >= nesting_limit) return postpone(obj, destroy);
  ++pending.depth;
  destroy(obj);
  if (pending.depth == 1) {
    while (pending.first != nullptr)
      destroy_next();
  }
  --pending.depth;
}

}  // namespace xp
