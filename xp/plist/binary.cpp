#include "xp/plist/binary.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/memory.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/binary_objects.h"
#include "xp/plist/reader.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/string/encoding.h"
#include "xp/string/string.h"
#include "xp/string/text.h"
#include "xp/string/utf8.h"

#include <math.h>

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

namespace {

using namespace xp::binary;

constexpr int64_t longest_key = 255;  // as dictionaries keep them
constexpr int64_t seconds_to_2001 = 978307200;
constexpr const char *exhausted = "out of memory";

// What a tree may take. The estimates of its parts are not below what they really take.
constexpr int64_t least_values = 1000000;
constexpr int64_t values_per_byte = 16;
constexpr int64_t least_memory = int64_t{64} << 20;
constexpr int64_t memory_per_byte = 128;
constexpr int64_t scalar_memory = 128;  // without the bytes that texts and data hold
constexpr int64_t array_memory = 128;   // and 8 for each member
constexpr int64_t dict_memory = 512;
constexpr int64_t entry_memory = 80;  // without the key's bytes, of which a chunk may be kept free as well

int64_t signed_count(uint64_t count) {
  return static_cast<int64_t>(count);  // lies within the list
}

double real_at(const byte *at, uint64_t size) {
  if (size == sizeof(double)) return std::bit_cast<double>(number_at(at, sizeof(double)));
  return static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(number_at(at, sizeof(float)))));
}

xp_obj *make_unsigned(uint64_t value) {
  return value <= INT64_MAX ? xp_number_new(static_cast<int64_t>(value))
                            : xp_number_newfloat(static_cast<double>(value));
}

// Of 16 bytes, in two's complement.
xp_obj *make_long(const byte *at) {
  const auto high = static_cast<int64_t>(xp::load_be64(at));
  const uint64_t low = xp::load_be64(at + 8);
  if (high == 0) return make_unsigned(low);
  if (high == -1 && low > INT64_MAX) return xp_number_new(static_cast<int64_t>(low));
  return xp_number_newfloat(static_cast<double>(high) * 0x1p64 + static_cast<double>(low));
}

xp_obj *make_integer(const object &from) {
  if (from.count > 8) return make_long(from.body);
  const uint64_t value = number_at(from.body, static_cast<uint32_t>(from.count));
  return from.count == 8 ? xp_number_new(static_cast<int64_t>(value)) : make_unsigned(value);
}

// Text of either kind.
xp_obj *make_text(const object &from) {
  const auto *text = reinterpret_cast<const char *>(from.body);
  if (from.what == kind::text) return xp_str_makedecode(text, signed_count(from.count), XP_ENC_UTF8);
  return xp_str_makedecode(text, signed_count(from.count) * 2, XP_ENC_UTF16BE);
}

class reader {
public:
  reader(std::string_view bytes, xp_plist_fault &fault)
      : objects_(bytes, fault),
        values_left_(std::max(least_values, std::ssize(bytes) * values_per_byte)),
        memory_left_(least_memory + std::ssize(bytes) * memory_per_byte) {}
  ~reader() { xp_free(open_); }
  reader(const reader &) = delete;
  reader &operator=(const reader &) = delete;

  xp_obj *read() {
    if (!objects_.open()) return nullptr;
    open_ = static_cast<uint64_t *>(xp_alloc(objects_.count() / 64 * 8 + 8));
    xp::ref root;
    bool complete =
        open_ != nullptr ? take(objects_.top(), 8, root) : objects_.refuse(objects_.top(), exhausted);
    while (complete && depth_ > 0)
      complete = step(frames_[static_cast<size_t>(depth_ - 1)]);
    if (complete && !root) objects_.refuse(objects_.top(), "a null alone");
    return complete ? root.leak() : nullptr;
  }

private:
  // A container whose members are being read.
  struct frame {
    xp_obj *container;   // borrowed: it stands in its parent already, or is the root
    const byte *keys;    // the next reference to a key; null for an array
    const byte *values;  // the next reference to a value
    uint64_t left;       // members or entries to be read
    uint64_t number;     // of its object
  };

  // Reads the next member of the innermost container, or leaves it.
  bool step(frame &at) {
    if (at.left == 0) {
      mark(at.number, false);
      --depth_;
      return true;
    }
    --at.left;
    const byte *value_reference = at.values;
    at.values += objects_.reference_size();
    xp::ref value;
    if (!take(value_reference, objects_.reference_size(), value)) return false;
    if (at.keys != nullptr) return store(at, std::move(value));
    return xp_array_insert(at.container, value.get(), -1) >= 0 || objects_.refuse(value_reference, exhausted);
  }

  bool store(frame &at, xp::ref value) {
    const byte *reference = at.keys;
    at.keys += objects_.reference_size();
    object key;
    if (!objects_.find(reference, objects_.reference_size(), key)) return false;
    if (key.what != kind::text && key.what != kind::wide_text) {
      return objects_.refuse(reference, "a key that is not a string");
    }
    if (key.count == 0) return objects_.refuse(reference, "an empty key");
    xp::ref owner;
    const std::string_view text = key_text(key, owner);
    if (text.empty()) return objects_.refuse(reference, exhausted);
    if (!charge(reference, entry_memory + 2 * std::ssize(text))) return false;
    if (xp_dict_adopt(at.container, text.data(), std::ssize(text), value.leak()) == 0) return true;
    return objects_.refuse(reference, exhausted);
  }

  // As much of a key as a dictionary keeps, and no more is looked at: a long key may belong to many entries.
  // Most keys are taken from where they stand; others are made strings first. Empty when memory is exhausted.
  static std::string_view key_text(object key, xp::ref &owner) {
    if (key.what == kind::text) {
      const auto *text = reinterpret_cast<const char *>(key.body);
      const int64_t length = xps_cut(text, signed_count(key.count), longest_key);
      if (xp_str_txtvalid(text, length) < 0) return {text, static_cast<size_t>(length)};
      key.count = static_cast<uint64_t>(length);
    } else {
      // No unit takes less than a byte; one more for the partner of the last one.
      key.count = std::min<uint64_t>(key.count, longest_key + 1);
    }
    owner = xp::ref::adopt(make_text(key));
    const char *text = xp_str_getptr(owner.get());
    return {text, static_cast<size_t>(xps_cut(text, xp_str_length(owner.get()), longest_key))};
  }

  // The value that a reference leads to. A container is made empty, and becomes the innermost one.
  bool take(const byte *reference, uint32_t size, xp::ref &value) {
    object from;
    if (!objects_.find(reference, size, from)) return false;
    if (--values_left_ < 0)
      return objects_.refuse(reference, "more values than a list of this size may have");
    switch (from.what) {
      case kind::simple:
        return from.detail == simple_null ||
               keep(reference, xp_boolean_new(from.detail == simple_true), value);
      case kind::array:
      case kind::ordered_set:
      case kind::set: return enter_array(reference, from, value);
      case kind::dict: return enter_dict(reference, from, value);
      default: break;
    }
    const bool made = from.what == kind::date ? make_date(reference, from, value)
                                              : keep(reference, make_scalar(from), value);
    return made &&
           charge(reference, scalar_memory + std::max(signed_count(from.count), xp_str_length(value.get())));
  }

  static xp_obj *make_scalar(const object &from) {
    switch (from.what) {
      case kind::integer: return make_integer(from);
      case kind::real: return xp_number_newfloat(real_at(from.body, from.count));
      case kind::data: return xp_data_new(from.body, signed_count(from.count));
      case kind::uid: return make_unsigned(number_at(from.body, static_cast<uint32_t>(from.count)));
      default: return make_text(from);
    }
  }

  // Milliseconds are counted by whole seconds first: far from 2001 a float has no room for both.
  bool make_date(const byte *reference, const object &from, xp::ref &value) {
    constexpr double bound = 0x1p53;
    const double exact = real_at(from.body, from.count);
    if (!(exact >= -bound && exact <= bound)) return objects_.refuse(from.body, "a date out of range");
    const double seconds = floor(exact);
    const auto milliseconds = static_cast<int64_t>(round((exact - seconds) * 1000));
    const int64_t since_1970 = static_cast<int64_t>(seconds) + seconds_to_2001;
    return keep(reference, xp_date_msnew(since_1970 * 1000 + milliseconds), value);
  }

  bool enter_array(const byte *reference, const object &from, xp::ref &value) {
    const int64_t count = signed_count(from.count);
    if (!may_enter(reference, from) || !charge(reference, array_memory + count * 8)) return false;
    if (!keep(reference, xp_array_new(0), value)) return false;
    if (count > 0 && xp_array_setinitial(value.get(), count) < count)
      return objects_.refuse(reference, exhausted);
    enter({.container = value.get(),
           .keys = nullptr,
           .values = from.body,
           .left = from.count,
           .number = from.number});
    return true;
  }

  bool enter_dict(const byte *reference, const object &from, xp::ref &value) {
    if (!may_enter(reference, from) || !charge(reference, dict_memory)) return false;
    if (!keep(reference, xp_dict_new(0), value)) return false;
    enter({.container = value.get(),
           .keys = from.body,
           .values = from.body + from.count * objects_.reference_size(),
           .left = from.count,
           .number = from.number});
    return true;
  }

  bool may_enter(const byte *reference, const object &from) {
    if ((open_[from.number / 64] >> from.number % 64 & 1) != 0) {
      return objects_.refuse(reference, "a container inside itself");
    }
    return depth_ < xp::deepest_list || objects_.refuse(reference, "too many levels of containers");
  }

  void enter(const frame &inner) {
    mark(inner.number, true);
    frames_[static_cast<size_t>(depth_++)] = inner;
  }

  void mark(uint64_t number, bool on) {
    const uint64_t bit = uint64_t{1} << number % 64;
    open_[number / 64] = on ? open_[number / 64] | bit : open_[number / 64] & ~bit;
  }

  bool keep(const byte *reference, xp_obj *made, xp::ref &value) {
    value = xp::ref::adopt(made);
    return value || objects_.refuse(reference, exhausted);
  }

  bool charge(const byte *reference, int64_t memory) {
    memory_left_ -= memory;
    return memory_left_ >= 0 || objects_.refuse(reference, "more memory than a list of this size may take");
  }

  objects objects_;
  int64_t values_left_;
  int64_t memory_left_;
  uint64_t *open_ = nullptr;  // a bit for each object: it is one of the containers in `frames_`
  int32_t depth_ = 0;
  std::array<frame, xp::deepest_list> frames_;  // only the first depth_ are set
};

}  // namespace

xp_obj *xp::read_binary(std::string_view bytes, xp_plist_fault &fault) {
  return reader(bytes, fault).read();
}

xp_obj *xp_plist_binaryload(const void *bytes, int64_t length) {
  if (bytes == nullptr || length < 0) return nullptr;
  xp_plist_fault ignored{};
  return xp::read_binary({static_cast<const char *>(bytes), static_cast<size_t>(length)}, ignored);
}
