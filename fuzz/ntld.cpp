// NTLD records. The input as a received record: what passes verification can be read by every getter without
// a step outside its bytes. The input as a list of building steps: measuring, a growable and a fixed builder
// agree, and a fixed buffer of any size is never overrun and always holds a record that verifies.

#include "ipc/ntld.h"

#include "ipc/ntld_raw.h"
#include "xp/object/ref.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

namespace {

void require(bool held, const char *what) {
  if (held) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

// Whether the public readers look further than at the type to tell a record from a builder. Bytes from
// outside that know this process are for the raw readers alone, and a fuzzer that watches comparisons knows
// it.
bool may_be_builder(const uint8_t *record) {
  return xp_ntld_raw_type(record) == xp_ntld_type();
}

// The public readers say the same of a record that cannot be taken for a builder.
void check_public(const uint8_t *record, const uint8_t *child, uint32_t index) {
  if (may_be_builder(record)) return;
  uint8_t out[16];
  require(xp_ntld_getbyindex(record, index) == child, "both readers find the child");
  const uint8_t *named = xp_ntld_getbyname(record, xp_ntld_raw_name(child));
  require(named != nullptr && named <= child, "the first child of a name is found");
  require(xp_ntld_getbytesbyindex(record, index, out, sizeof out) <= sizeof out,
          "no more is copied than fits");
  require(xp_ntld_gettagbyindex(record, index) == xp_ntld_raw_tag(child), "both readers find the code");
  require(xp_ntld_getlongbyindex(record, index) == xp_ntld_raw_long(child), "both readers find the number");
}

// Reads a record through every getter, child containers that verify included.
void read_record(const uint8_t *record, int depth) {
  uint8_t out[16];
  const uint32_t count = xp_ntld_raw_count(record);
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t *child = xp_ntld_raw_getbyindex(record, i);
    require(child != nullptr, "every counted child is there");
    require(xp_ntld_raw_getbyname(record, xp_ntld_raw_name(child)) != nullptr, "every child has its name");
    require(xp_ntld_raw_bytes(child, out, sizeof out) <= sizeof out, "no more is copied than fits");
    xp_ntld_raw_tag(child);
    xp_ntld_raw_long(child);
    check_public(record, child, i);
    const uint32_t whole = xp_ntld_raw_length(child) + XP_NTLD_HEADER;
    if (depth < 8 && xp_ntld_raw_verify(child, whole) == whole) read_record(child, depth + 1);
  }
  require(xp_ntld_raw_getbyindex(record, count) == nullptr, "there are no more children than counted");
}

// Bytes to be spent on building steps.
class steps {
public:
  explicit steps(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  bool empty() const { return bytes_.empty(); }
  uint32_t byte() {
    if (bytes_.empty()) return 0;
    const uint8_t value = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return value;
  }
  std::span<const uint8_t> text(size_t length) {
    const auto taken = bytes_.first(std::min(length, bytes_.size()));
    bytes_ = bytes_.subspan(taken.size());
    return taken;
  }

private:
  std::span<const uint8_t> bytes_;
};

// Carries the steps out inside one outermost container; the builder's length.
uint32_t build(xp_obj *builder, std::span<const uint8_t> bytes) {
  xp_ntld_open(builder, xp_code("root"), xp_code("data"));
  int open = 0;
  for (steps script(bytes); !script.empty();) {
    const uint32_t name = script.byte();
    switch (name % 6) {
      case 0: xp_ntld_open(builder, name, xp_code("data")), ++open; break;
      case 1:
        if (open > 0) xp_ntld_close(builder), --open;
        break;
      case 2: xp_ntld_add_number(builder, name, static_cast<int32_t>(script.byte())); break;
      case 3: xp_ntld_add(builder, name, name, script.byte() * 4, nullptr); break;
      default: {
        const auto text = script.text(script.byte());
        const auto length = static_cast<uint32_t>(text.size());
        if (name % 6 == 4) {
          xp_ntld_add(builder, name, name, length, text.data());
        } else {
          xp_ntld_escapedtext(builder, name, length, reinterpret_cast<const char *>(text.data()));
        }
      }
    }
  }
  return xp_ntld_length(builder);
}

// `room`: how much of what is built fits into the fixed buffer, 255 for all of it.
void check_builders(std::span<const uint8_t> bytes, size_t room) {
  const xp::ref measuring = xp::ref::adopt(xp_ntld_new(nullptr, 0));
  const xp::ref growing = xp::ref::adopt(xp_ntld_new(nullptr, XP_NTLD_GROW));
  const uint32_t size = build(measuring.get(), bytes);
  require(build(growing.get(), bytes) == size, "measuring counts what is written");
  const auto *grown = static_cast<const uint8_t *>(xp_ntld_data(growing.get()));
  require(xp_ntld_raw_verify(grown, size) == size, "what was built verifies");

  const size_t fixed_size = size * room / 255;
  const std::unique_ptr<uint8_t[]> buffer(new uint8_t[fixed_size]);
  const xp::ref fixed = xp::ref::adopt(xp_ntld_new(buffer.get(), static_cast<uint32_t>(fixed_size)));
  const uint32_t written = build(fixed.get(), bytes);
  if (fixed_size == size)
    require(std::memcmp(buffer.get(), grown, size) == 0, "both builders write the same");
  if (fixed_size >= XP_NTLD_HEADER) {
    require(xp_ntld_raw_verify(buffer.get(), static_cast<uint32_t>(fixed_size)) == written,
            "a full buffer verifies");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  const std::unique_ptr<uint8_t[]> exact(new uint8_t[size]);
  std::memcpy(exact.get(), data, size);
  const uint32_t total = xp_ntld_raw_verify(exact.get(), static_cast<uint32_t>(size));
  require(total <= size, "a record that verifies lies within its bytes");
  if (size < XP_NTLD_HEADER || !may_be_builder(exact.get()))
    require(xp_ntld_verify(exact.get(), static_cast<uint32_t>(size)) == total, "both readers agree");
  if (total != 0) read_record(exact.get(), 0);
  check_builders({data + 1, size - 1}, data[0]);
  return 0;
}
