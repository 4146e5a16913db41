#include "xp/object/object.h"

#include "xp/object/memory.h"
#include "xp/object/memory_hook.h"
#include "xp/object/refcount.h"
#include "xp/object/slab.h"
#include "xp/object/type.h"

#include <algorithm>

namespace {

#ifdef XP_TRACK_OBJECTS
std::atomic<int64_t> live = 0;
#endif

// Texts up to this size are streamed from the stack.
constexpr int64_t stream_buffer_size = 256;

// Sixteen bytes at any multiple of eight.
using grain = uint64_t __attribute__((vector_size(16), aligned(8), may_alias));

// Zeroes a slab block behind the header, up to the next grain: short blocks are done before a call of memset
// has begun.
[[maybe_unused]] void clear_content(xp_obj *obj, size_t size) {
  auto *at = reinterpret_cast<grain *>(obj + 1);
  for (size_t left = sizeof(xp_obj); left < size; left += sizeof(grain)) {
    asm("" : "+r"(at));  // keeps the compiler from making a call of memset of this
    *at++ = grain{};
  }
}

// A block from the slabs, not zeroed; null when it is too large for them and when they may not be used.
xp_obj *slab_block(size_t size) {
  if (!xp::slab::in_use) return nullptr;
  auto *obj = static_cast<xp_obj *>(xp::slab::take(size));
  if (obj != nullptr) xp::count_block_taken();
  return obj;
}

// A zeroed block: from the slabs when it is small, else from the heap.
xp_obj *object_block(size_t size) {
  if (xp::slab::in_use && !xp::allocation_allowed()) return nullptr;
  xp_obj *obj = slab_block(size);
  if (obj == nullptr) return static_cast<xp_obj *>(xp_alloc(size));
  obj->compare = nullptr;
  obj->textify = nullptr;
  obj->control = nullptr;
  clear_content(obj, size);
  return obj;
}

xp_obj *count_and_init(void *block, uint32_t type) {
  if (block != nullptr) xp::count_object();
  return xp_obj_init(block, type);
}

int64_t sign(bool below) {
  return below ? -1 : 1;
}

}  // namespace

namespace xp {

#ifdef XP_TRACK_OBJECTS
void count_object() {
  live.fetch_add(1, std::memory_order_relaxed);
}
void uncount_object() {
  live.fetch_sub(1, std::memory_order_relaxed);
}
#endif

void destroy(xp_obj *obj) {
  if (obj == nullptr) return;
  uncount_object();
  xp_free(obj);
}

xp_obj *new_aligned(uint32_t type, size_t size) {
  return count_and_init(xp_alloc(std::max(size, sizeof(xp_obj))), type);
}

int64_t live_objects() {
#ifdef XP_TRACK_OBJECTS
  return live.load(std::memory_order_relaxed);
#else
  return -1;
#endif
}

}  // namespace xp

// --- Life cycle ---

xp_obj *xp_new(uint32_t type, size_t size) {
  return count_and_init(object_block(std::max(size, sizeof(xp_obj))), type);
}

xp_obj *xp_obj_init(void *memory, uint32_t type) {
  auto *obj = static_cast<xp_obj *>(memory);
  if (obj == nullptr) return nullptr;
  // Nobody else knows the object yet, so its first reference needs no atomic step.
  obj->refs = 1;
  obj->type = type;
  obj->retain = xp_obj_retain;
  obj->release = xp_obj_release;
  return obj;
}

// Most objects have the generic operations: a comparison is cheaper than the call through the pointer.
xp_obj *xp_retain(xp_obj *obj) {
  if (obj == nullptr) return nullptr;
  if (obj->retain != xp_obj_retain) return obj->retain(obj);
  xp::refcount::up(obj->refs);
  return obj;
}

void xp_release(xp_obj *obj) {
  if (obj == nullptr) return;
  if (obj->release != xp_obj_release) return obj->release(obj);
  if (xp::refcount::drop(obj->refs)) xp::destroy(obj);
}

xp_obj *xp_obj_retain(xp_obj *obj) {
  if (obj != nullptr) xp::refcount::up(obj->refs);
  return obj;
}

void xp_obj_release(xp_obj *obj) {
  if (xp_prerelease(obj)) xp::destroy(obj);
}

int32_t xp_prerelease(xp_obj *obj) {
  return obj != nullptr && xp::refcount::drop(obj->refs) ? 1 : 0;
}

int32_t xp_refs(xp_obj *obj) {
  return obj == nullptr ? 0 : xp::refcount::read(obj->refs);
}

uint32_t xp_type(xp_obj *obj) {
  return obj == nullptr ? 0 : obj->type;
}

// --- Comparing ---

int64_t xp_compare(xp_obj *a, xp_obj *b) {
  if (a == b) return 0;
  if (a == nullptr || b == nullptr) return sign(a == nullptr);
  if (a->type != b->type) return sign(a->type < b->type);
  if (a->compare != nullptr && a->compare == b->compare) return a->compare(a, b);
  return sign(reinterpret_cast<uintptr_t>(a) < reinterpret_cast<uintptr_t>(b));
}

int64_t xp_order(void * /*context*/, xp_obj *a, xp_obj *b) {
  return xp_compare(a, b);
}

int64_t xp_match(void * /*context*/, xp_obj *a, xp_obj *b) {
  return xp_compare(a, b);
}

// --- Text ---

int64_t xp_textify(xp_obj *obj, char *buffer, int64_t capacity) {
  return obj == nullptr || obj->textify == nullptr ? 0 : obj->textify(obj, buffer, capacity);
}

int64_t xp_stream(xp_obj *obj, xp_writer writer, void *context) {
  if (obj == nullptr || writer == nullptr) return 0;
  auto streamer =
      reinterpret_cast<xp_streamer>(static_cast<intptr_t>(xp_control(obj, XP_CTL_STREAM, 0, nullptr)));
  if (streamer != nullptr) return streamer(obj, writer, context);

  char short_text[stream_buffer_size];
  int64_t length = std::max<int64_t>(xp_textify(obj, nullptr, 0), 0);
  auto *text =
      static_cast<char *>(xp_alloc_fast(static_cast<size_t>(length), 0, short_text, sizeof short_text));
  if (text == nullptr) return -1;
  int64_t written = std::clamp<int64_t>(xp_textify(obj, text, length), 0, length);
  int64_t result = writer(context, text, written);
  xp_free_fast(text, short_text);
  return result;
}

// --- Control ---

int64_t xp_control(xp_obj *obj, uint32_t code, int64_t argument, void *pointer) {
  return obj == nullptr || obj->control == nullptr ? 0 : obj->control(obj, code, argument, pointer);
}

xp_obj *xp_duplicate(xp_obj *obj, uint32_t flags) {
  auto *copy = xp::result_pointer(xp_control(obj, XP_CTL_DUPLICATE, flags, nullptr));
  return copy != nullptr ? copy : xp_retain(obj);
}

xp_obj *xp_deserialize(xp_obj *prototype, uint32_t name, const void *record) {
  // Types only read the record; the control operation's pointer is not const because others write through it.
  return xp::result_pointer(xp_control(prototype, XP_CTL_DESERIALIZE, name, const_cast<void *>(record)));
}

int32_t xp_instanceof(xp_obj *obj, uint32_t type) {
  if (obj == nullptr) return 0;
  return obj->type == type || xp_control(obj, XP_CTL_INSTANCEOF, type, nullptr) != 0 ? 1 : 0;
}

int32_t xp_falsey(xp_obj *obj) {
  return obj == nullptr || xp_control(obj, XP_CTL_FALSEY, 0, nullptr) != 0 ? 1 : 0;
}

int32_t xp_truthy(xp_obj *obj) {
  return xp_falsey(obj) ? 0 : 1;
}

int64_t xp_value(xp_obj *obj) {
  return xp_control(obj, XP_CTL_VALUE, 0, nullptr);
}
