#include "xp/dict/dict_impl.h"
#include "xp/object/ref.h"

namespace xp::dict {
namespace {

// The dictionary that `value` is, when values of `d` are objects.
object *nested(object *d, xp_obj *value) {
  return d->raw() ? nullptr : as<object>(value);
}

// Whether one can take entries from the other: a dictionary has nothing to take from itself, and raw values
// and objects cannot stand for each other.
bool can_merge(object *to, object *from) {
  return to != nullptr && from != nullptr && to != from && to->raw() == from->raw();
}

void extend(object *to, object *from);

void extend_key(object *to, object *from, entry *e) {
  if (object *addition = nested(from, e->value)) {
    // Where the trees share dictionaries, extending one may overwrite the key that holds the other.
    ref held = ref::share(addition);
    ref present = ref::adopt(xp_dict_fetch(to, e->key(), e->key_length));
    if (object *grown = as<object>(present.get())) return extend(grown, addition);
  }
  xp_dict_store(to, e->key(), e->key_length, e->value);
}

// A step whose store finds no memory loses that key alone: neither merging nor extending has a failure to
// report.
void extend(object *to, object *from) {
  if (!can_merge(to, from)) return;
  crit_guard guard(from->lock);
  walk(from, [=](entry *e) {
    extend_key(to, from, e);
    return 0;
  });
}

}  // namespace

xp_obj *duplicate(object *d, uint32_t flags) {
  ref copy = ref::adopt(xp_dict_new(std::atomic_ref(d->flags).load(std::memory_order_relaxed)));
  if (!copy) return nullptr;
  bool shares = (flags & XP_DUP_SHALLOW) != 0 || d->raw();
  crit_guard guard(d->lock);
  int64_t failure = walk_all(d, [&](entry *e) {
    if (shares) return xp_dict_store(copy.get(), e->key(), e->key_length, e->value);
    return xp_dict_adopt(copy.get(), e->key(), e->key_length, xp_duplicate(e->value, flags));
  });
  return failure != 0 ? nullptr : copy.leak();
}

}  // namespace xp::dict

using namespace xp::dict;

int32_t xp_dict_merge(xp_obj *dst, xp_obj *src) {
  auto *to = xp::as<object>(dst);
  auto *from = xp::as<object>(src);
  if (!can_merge(to, from)) return 0;
  xp::crit_guard guard(from->lock);
  walk(from, [=](entry *e) {
    xp_dict_store(to, e->key(), e->key_length, e->value);
    return 0;
  });
  return 0;
}

int32_t xp_dict_extend(xp_obj *dst, xp_obj *src) {
  extend(xp::as<object>(dst), xp::as<object>(src));
  return 0;
}
