// Property lists: XML and binary texts to trees, trees to XML texts, beside the library that most programs
// here use. The peer makes the inputs, once, from a tree of records; both release what they made.

#include "xp/plist/plist.h"

#include "xp/array/array.h"
#include "xp/dict/dict.h"
#include "xp/object/boolean.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr int32_t xml = 0;                      // the style
constexpr int64_t seconds_to_2001 = 978307200;  // the peer counts from there

struct peer_free {
  void operator()(void *list) const { plist_free(list); }
};
using peer_list = std::unique_ptr<void, peer_free>;

// One of the entries that a client's inventory holds: most texts differ from each other, keys do not.
plist_t record(int32_t i) {
  const std::string number = std::to_string(i);
  const std::string path = "/opt/packages/package-" + number + "/bin/start";
  const std::string title =
      "Gr\xC3\xB6\xC3\x9F"
      "e " +
      number;
  const std::string digest = "digest of package " + number;
  plist_t one = plist_new_dict();
  plist_dict_set_item(one, "Name", plist_new_string(("package-" + number).c_str()));
  plist_dict_set_item(one, "Path", plist_new_string(path.c_str()));
  plist_dict_set_item(one, "Title", plist_new_string(title.c_str()));
  plist_dict_set_item(one, "Note", plist_new_string("runs once a day & on <request>"));
  plist_dict_set_item(one, "Size", plist_new_uint(static_cast<uint64_t>(i) * 104729));
  plist_dict_set_item(one, "Load", plist_new_real(i + 0.25));
  plist_dict_set_item(one, "Enabled", plist_new_bool(i % 3 == 0));
  plist_dict_set_item(one, "Installed", plist_new_date(700000000 + i * 61, 0));
  plist_dict_set_item(one, "Digest", plist_new_data(digest.data(), digest.size()));
  plist_t tags = plist_new_array();
  plist_array_append_item(tags, plist_new_string("staff"));
  plist_array_append_item(tags, plist_new_string(("tag-" + number).c_str()));
  plist_dict_set_item(one, "Tags", tags);
  return one;
}

peer_list records(int32_t count) {
  plist_t all = plist_new_array();
  for (int32_t i = 0; i < count; ++i)
    plist_array_append_item(all, record(i));
  plist_t root = plist_new_dict();
  plist_dict_set_item(root, "Version", plist_new_string("3.2.1"));
  plist_dict_set_item(root, "Entries", all);
  return peer_list(root);
}

using peer_writer = void (*)(plist_t list, char **text, uint32_t *length);

std::string written(plist_t list, peer_writer write) {
  char *text = nullptr;
  uint32_t length = 0;
  write(list, &text, &length);
  std::string result(text, length);
  std::free(text);
  return result;
}

// --- The peer's tree as ours ---

xp::ref ours(plist_t node);

xp::ref our_dict(plist_t node) {
  xp::ref dict = xp::ref::adopt(xp_dict_new(0));
  plist_dict_iter at = nullptr;
  plist_dict_new_iter(node, &at);
  for (;;) {
    char *key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(node, at, &key, &value);
    if (value == nullptr) break;
    xp_dict_store(dict.get(), key, -1, ours(value).get());
    std::free(key);
  }
  std::free(at);
  return dict;
}

xp::ref our_array(plist_t node) {
  xp::ref array = xp::ref::adopt(xp_array_new(0));
  for (uint32_t i = 0; i < plist_array_get_size(node); ++i)
    xp_array_insert(array.get(), ours(plist_array_get_item(node, i)).get(), -1);
  return array;
}

xp::ref our_date(plist_t node) {
  int32_t seconds = 0;
  int32_t microseconds = 0;
  plist_get_date_val(node, &seconds, &microseconds);
  return xp::ref::adopt(xp_date_make(seconds + seconds_to_2001));
}

xp::ref our_number(plist_t node) {
  if (plist_get_node_type(node) == PLIST_UINT) {
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    return xp::ref::adopt(xp_number_new(static_cast<int64_t>(value)));
  }
  double value = 0;
  plist_get_real_val(node, &value);
  return xp::ref::adopt(xp_number_newfloat(value));
}

xp::ref our_bytes(plist_t node) {
  uint64_t length = 0;
  const char *bytes = plist_get_node_type(node) == PLIST_STRING ? plist_get_string_ptr(node, &length)
                                                                : plist_get_data_ptr(node, &length);
  const auto size = static_cast<int64_t>(length);
  return xp::ref::adopt(plist_get_node_type(node) == PLIST_STRING ? xp_str_make(bytes, size)
                                                                  : xp_data_new(bytes, size));
}

xp::ref ours(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_DICT: return our_dict(node);
    case PLIST_ARRAY: return our_array(node);
    case PLIST_DATE: return our_date(node);
    case PLIST_UINT:
    case PLIST_REAL: return our_number(node);
    case PLIST_STRING:
    case PLIST_DATA: return our_bytes(node);
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return xp::ref::adopt(xp_boolean_new(value));
    }
    default: std::abort();
  }
}

// --- The rows ---

// Some 10 KB and 1 MB of text in each form.
enum class form { xml_short, xml_long, binary_short, binary_long };

int32_t record_count(form which) {
  switch (which) {
    case form::xml_short: return 16;
    case form::xml_long: return 1600;
    case form::binary_short: return 54;
    case form::binary_long: return 5000;
  }
  return 0;
}

bool is_xml(form which) {
  return which == form::xml_short || which == form::xml_long;
}

std::string input(form which) {
  return written(records(record_count(which)).get(), is_xml(which) ? plist_to_xml : plist_to_bin);
}

void count_bytes(benchmark::State &state, int64_t size) {
  state.SetBytesProcessed(state.iterations() * size);
}

void read_ours(benchmark::State &state, form which) {
  const std::string text = input(which);
  for (auto _ : state) {
    xp_obj *list = xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), XP_PLIST_DETECT);
    if (list == nullptr) return state.SkipWithError("not read");
    xp_release(list);
  }
  count_bytes(state, std::ssize(text));
}

void read_libplist(benchmark::State &state, form which) {
  const std::string text = input(which);
  const auto read = is_xml(which) ? plist_from_xml : plist_from_bin;
  for (auto _ : state) {
    plist_t list = nullptr;
    read(text.data(), static_cast<uint32_t>(text.size()), &list);
    if (list == nullptr) std::abort();
    plist_free(list);
  }
  count_bytes(state, std::ssize(text));
}

void write_ours(benchmark::State &state, form which) {
  const xp::ref tree = ours(records(record_count(which)).get());
  int64_t size = 0;
  for (auto _ : state) {
    xp_obj *text = xp_plist_string(tree.get(), xml, 0);
    size = xp_str_length(text);
    if (!std::string_view(xp_str_getptr(text), static_cast<size_t>(size)).starts_with("<?xml")) {
      xp_release(text);
      return state.SkipWithError("not XML");
    }
    xp_release(text);
  }
  count_bytes(state, size);
}

void write_libplist(benchmark::State &state, form which) {
  const peer_list list = records(record_count(which));
  uint32_t size = 0;
  for (auto _ : state) {
    char *text = nullptr;
    plist_to_xml(list.get(), &text, &size);
    if (text == nullptr) std::abort();
    plist_to_xml_free(text);
  }
  count_bytes(state, size);
}

}  // namespace

BENCHMARK_CAPTURE(read_ours, xs, form::xml_short)->Name("plist xml read, 10 KB/ours");
BENCHMARK_CAPTURE(read_libplist, xs, form::xml_short)->Name("plist xml read, 10 KB/libplist");
BENCHMARK_CAPTURE(read_ours, xl, form::xml_long)->Name("plist xml read, 1 MB/ours");
BENCHMARK_CAPTURE(read_libplist, xl, form::xml_long)->Name("plist xml read, 1 MB/libplist");
BENCHMARK_CAPTURE(write_ours, xs, form::xml_short)->Name("plist xml write, 10 KB/ours");
BENCHMARK_CAPTURE(write_libplist, xs, form::xml_short)->Name("plist xml write, 10 KB/libplist");
BENCHMARK_CAPTURE(write_ours, xl, form::xml_long)->Name("plist xml write, 1 MB/ours");
BENCHMARK_CAPTURE(write_libplist, xl, form::xml_long)->Name("plist xml write, 1 MB/libplist");
BENCHMARK_CAPTURE(read_ours, bs, form::binary_short)->Name("plist binary read, 10 KB/ours");
BENCHMARK_CAPTURE(read_libplist, bs, form::binary_short)->Name("plist binary read, 10 KB/libplist");
BENCHMARK_CAPTURE(read_ours, bl, form::binary_long)->Name("plist binary read, 1 MB/ours");
BENCHMARK_CAPTURE(read_libplist, bl, form::binary_long)->Name("plist binary read, 1 MB/libplist");
