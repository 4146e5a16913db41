#include "xp/plist/checksum.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/plist/crc32.h"
#include "xp/plist/plist.h"
#include "xp/plist/plist_impl.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <bit>

namespace {

constexpr int64_t failure = -1;

// A walk on its way. Once it has failed it feeds nothing more.
struct walk {
  const bool nulls;  // entries with null values count
  int64_t sum;
  int32_t left = XP_PLIST_DEEPEST;  // levels of containers that may still open

  void feed(std::string_view bytes) {
    if (sum != failure) sum = xp::crc32(static_cast<uint32_t>(sum), bytes);
  }

  // The `count` lowest bytes of a word, lowest first. Words are little-endian everywhere.
  void feed_word(uint64_t word, size_t count = sizeof(uint64_t)) {
    feed({reinterpret_cast<const char *>(&word), count});
  }

  void feed_text(xp_obj *obj) {
    const xp::ref text = xp::ref::adopt(xp_str_coerce(obj));
    if (!text) sum = failure;
    feed({xp_str_getptr(text.get()), static_cast<size_t>(xp_str_length(text.get()))});
  }
};

void feed_node(walk &at, xp_obj *node);

// Whether a container may open here: it is not one level too deep, and the walk has not failed already.
bool enter(walk &at) {
  if (at.left == 0) at.sum = failure;
  if (at.sum == failure) return false;
  --at.left;
  return true;
}

int64_t feed_entry(xp_obj *, const char *key, int64_t keylen, xp_obj *value, void *context) {
  walk &at = *static_cast<walk *>(context);
  if (value == nullptr && !at.nulls) return 0;
  at.feed("key");
  at.feed({key, static_cast<size_t>(keylen)});
  feed_node(at, value);
  return 0;
}

void feed_dict(walk &at, xp_obj *dict) {
  if (!enter(at)) return;
  if (xp_dict_enumsorted(dict, feed_entry, &at) != 0) at.sum = failure;
  ++at.left;
}

int64_t feed_element(xp_obj *, int64_t, xp_obj *value, void *context) {
  feed_node(*static_cast<walk *>(context), value);
  return 0;
}

void feed_array(walk &at, xp_obj *array) {
  if (!enter(at)) return;
  xp_array_enum(array, feed_element, &at);
  ++at.left;
}

void feed_data(walk &at, xp_obj *data) {
  at.feed({static_cast<const char *>(xp_data_getptr(data)), static_cast<size_t>(xp_data_length(data))});
}

uint64_t bits_of(xp_obj *number) {
  return xp_number_isfloat(number) != 0 ? std::bit_cast<uint64_t>(xp_number_float(number))
                                        : static_cast<uint64_t>(xp_value(number));
}

void feed_node(walk &at, xp_obj *node) {
  const uint32_t type = xp_type(node);
  at.feed_word(type, sizeof type);
  switch (type) {
    case xp_code("dict"): return feed_dict(at, node);
    case xp_code("arry"): return feed_array(at, node);
    case xp_code("data"): return feed_data(at, node);
    case xp_code("xnum"): return at.feed_word(bits_of(node));
    case xp_code("xdat"): return at.feed_word(static_cast<uint64_t>(xp_date_ms(node)));
    case xp_code("bool"): return at.feed_word(static_cast<uint64_t>(xp_value(node)), 1);
    case 0: return at.feed("null");
    default: return at.feed_text(node);
  }
}

walk go_on(const xp_plist_style *style, int64_t sum) {
  return {.nulls = style != nullptr && style->null.data() != nullptr, .sum = sum};
}

}  // namespace

int64_t xp_plist_ichecksum(xp_obj *node, const xp_plist_style *style, int64_t sum) {
  walk at = go_on(style, sum);
  feed_node(at, node);
  return at.sum;
}

int64_t xp_plist_dictcsum(xp_obj *dict, const xp_plist_style *style, int64_t sum) {
  walk at = go_on(style, sum);
  if (xp_type(dict) == xp_dict_type()) feed_dict(at, dict);
  return at.sum;
}

int64_t xp_plist_arraycsum(xp_obj *array, const xp_plist_style *style, int64_t sum) {
  walk at = go_on(style, sum);
  if (xp_type(array) == xp_array_type()) feed_array(at, array);
  return at.sum;
}

int64_t xp_plist_checksum(xp_obj *p) {
  const auto *list = xp::as<xp_plist>(p);
  return list == nullptr ? 0 : xp_plist_ichecksum(list->root, list->style, 0);
}

int64_t xp_plist_bookmark(xp_obj *p) {
  auto *list = xp::as<xp_plist>(p);
  const int64_t sum = xp_plist_checksum(p);
  if (list != nullptr && sum != failure) list->settings.bookmark = static_cast<uint32_t>(sum);
  return sum;
}

int64_t xp_plist_modified(xp_obj *p) {
  const auto *list = xp::as<xp_plist>(p);
  const int64_t sum = xp_plist_checksum(p);
  if (list == nullptr || sum == list->settings.bookmark) return 0;
  return sum == 0 ? int64_t{1} << 32 : sum;
}
