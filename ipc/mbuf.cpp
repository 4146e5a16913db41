#include "ipc/mbuf.h"

#include "ipc/block.h"
#include "xp/object/type.h"

#include <string.h>

#include <algorithm>

namespace {

struct mbuf : xp_obj {
  static constexpr uint32_t code = xp_code("ipcb");
  int64_t capacity;  // bytes of the data area, which follows this struct
  int64_t end;       // offset behind the last valid byte
  int64_t start;     // offset of the first byte not consumed

  uint8_t *data() { return reinterpret_cast<uint8_t *>(this + 1); }
};

constexpr int64_t page = 4096;
constexpr int64_t page_raise = page - static_cast<int64_t>(sizeof(mbuf));

static_assert(page_raise == 4024, "a raised capacity fills whole pages together with the header");
static_assert(IPC_MBUF_STANDARD + page_raise == IPC_MBUF_STANDARD_CAPACITY);

static_assert(sizeof(mbuf) + IPC_MBUF_STANDARD_CAPACITY == ipc_block_size);

void mbuf_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *b = static_cast<mbuf *>(obj);
  if (b->capacity == IPC_MBUF_STANDARD_CAPACITY) {
    ipc_block_give(b);
  } else {
    xp::destroy(b);
  }
}

constexpr xp::ops mbuf_ops = {.retain = xp_obj_retain,
                              .release = mbuf_release,
                              .compare = nullptr,
                              .textify = nullptr,
                              .control = nullptr};

mbuf *make_standard() {
  void *block = ipc_block_take();
  if (block == nullptr) return nullptr;
  memset(block, 0, sizeof(mbuf));
  xp_obj *obj = xp_obj_init(block, mbuf::code);
  xp::set_ops(obj, mbuf_ops);
  return static_cast<mbuf *>(obj);
}

}  // namespace

uint32_t ipc_mbuf_type() {
  return mbuf::code;
}

xp_obj *ipc_mbuf_alloc(int64_t capacity) {
  if (capacity < 0 || capacity > INT64_MAX - page) return nullptr;
  if (capacity % page == 0) capacity += page_raise;
  mbuf *b = capacity == IPC_MBUF_STANDARD_CAPACITY ? make_standard()
                                                   : xp::make<mbuf>(mbuf_ops, static_cast<size_t>(capacity));
  if (b != nullptr) b->capacity = capacity;
  return b;
}

uint8_t *ipc_mbuf_getptr(xp_obj *b) {
  auto *m = xp::as<mbuf>(b);
  return m == nullptr ? nullptr : m->data() + m->start;
}

int64_t ipc_mbuf_getlen(xp_obj *b) {
  auto *m = xp::as<mbuf>(b);
  return m == nullptr ? 0 : m->end - m->start;
}

int64_t ipc_mbuf_getmax(xp_obj *b) {
  auto *m = xp::as<mbuf>(b);
  return m == nullptr ? 0 : m->capacity - m->start;
}

int64_t ipc_mbuf_set(xp_obj *b, const void *src, int64_t n) {
  auto *m = xp::as<mbuf>(b);
  if (m == nullptr) return 0;
  int64_t count = src == nullptr ? 0 : std::clamp(n, int64_t{0}, m->capacity);
  if (count != 0 && src != m->data()) memmove(m->data(), src, static_cast<size_t>(count));
  m->start = 0;
  m->end = count;
  return count;
}

int64_t ipc_mbuf_setlen(xp_obj *b, int64_t n) {
  auto *m = xp::as<mbuf>(b);
  if (m == nullptr) return 0;
  m->end = m->start + std::clamp(n, int64_t{0}, m->capacity - m->start);
  return m->end - m->start;
}

int64_t ipc_mbuf_consume(xp_obj *b, int64_t n) {
  auto *m = xp::as<mbuf>(b);
  if (m == nullptr) return 0;
  m->start += std::clamp(n, int64_t{0}, m->end - m->start);
  return m->end - m->start;
}

void ipc_mbuf_rewind(xp_obj *b) {
  auto *m = xp::as<mbuf>(b);
  if (m != nullptr) m->start = 0;
}
