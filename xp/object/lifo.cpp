#include "xp/object/lifo.h"

#include "xp/object/type.h"

#include <pthread.h>

namespace {

// The start of an item while it is on the stack.
struct link {
  link *next;
};

struct lifo : xp_obj {
  static constexpr uint32_t code = xp_code("lifo");
  pthread_mutex_t mutex;  // guards head and the links
  link *head;
};

constexpr xp::ops lifo_ops = {.retain = xp_obj_retain,
                              .release = xp_lifo_release,
                              .compare = nullptr,
                              .textify = nullptr,
                              .control = nullptr};

}  // namespace

uint32_t xp_lifo_type() {
  return lifo::code;
}

xp_obj *xp_lifo_new() {
  auto *stack = xp::make<lifo>(lifo_ops);
  if (stack != nullptr && pthread_mutex_init(&stack->mutex, nullptr) != 0) {
    xp::destroy(stack);
    return nullptr;
  }
  return stack;
}

void xp_lifo_release(xp_obj *l) {
  if (!xp_prerelease(l)) return;
  pthread_mutex_destroy(&static_cast<lifo *>(l)->mutex);
  xp::destroy(l);
}

void xp_lifo_push(xp_obj *l, void *item) {
  auto *stack = xp::as<lifo>(l);
  if (stack == nullptr || item == nullptr) return;
  auto *top = static_cast<link *>(item);
  pthread_mutex_lock(&stack->mutex);
  top->next = stack->head;
  stack->head = top;
  pthread_mutex_unlock(&stack->mutex);
}

void *xp_lifo_pop(xp_obj *l) {
  auto *stack = xp::as<lifo>(l);
  if (stack == nullptr) return nullptr;
  pthread_mutex_lock(&stack->mutex);
  link *top = stack->head;
  if (top != nullptr) stack->head = top->next;
  pthread_mutex_unlock(&stack->mutex);
  return top;
}
