// Dictionaries: filling an empty one and ending it, finding each key, missing as many, with values whose
// references are counted: a fetch gives a new reference on every side.

#include "xp/dict/dict.h"

#include "busy_process.h"
#include "xp/object/number.h"
#include "xp/object/ref.h"

#include <absl/container/flat_hash_map.h>
#include <benchmark/benchmark.h>
#include <glib.h>
#include <strings.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

std::vector<std::string> keys(int64_t count, const char *prefix) {
  std::vector<std::string> result;
  for (int64_t i = 0; i < count; ++i)
    result.push_back(prefix + std::to_string(i * 7919));
  return result;
}

// --- Ours and the peers, in one form: a container with store, and fetch, which drops its reference again ---

template <uint32_t flags>
class ours {
public:
  void store(const std::string &key) {
    xp_dict_store(dict_.get(), key.data(), static_cast<int64_t>(key.size()), value_.get());
  }
  bool fetch(const std::string &key) const {
    return static_cast<bool>(
        xp::ref::adopt(xp_dict_fetch(dict_.get(), key.data(), static_cast<int64_t>(key.size()))));
  }

private:
  static inline const xp::ref value_ = xp::ref::adopt(xp_number_newfloat(1.5));
  xp::ref dict_ = xp::ref::adopt(xp_dict_new(flags));
};

struct folding_hash {
  size_t operator()(const std::string &key) const {
    char folded[256];
    size_t length = 0;
    for (char c : key)
      folded[length++] = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    return std::hash<std::string_view>{}({folded, length});
  }
};
struct folding_equal {
  bool operator()(const std::string &a, const std::string &b) const {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
  }
};

template <typename Map>
class standard {
public:
  void store(const std::string &key) { map_.insert_or_assign(key, value_); }
  bool fetch(const std::string &key) const {
    auto at = map_.find(key);
    const std::shared_ptr<int> found = at == map_.end() ? nullptr : at->second;
    return found != nullptr;
  }

private:
  static inline const std::shared_ptr<int> value_ = std::make_shared<int>(1);
  Map map_;
};

unsigned glib_folding_hash(const void *key) {
  unsigned hash = 5381;
  for (auto *c = static_cast<const char *>(key); *c != '\0'; ++c)
    hash = hash * 33 + static_cast<unsigned char>(g_ascii_toupper(*c));
  return hash;
}
gboolean glib_folding_equal(const void *a, const void *b) {
  return strcasecmp(static_cast<const char *>(a), static_cast<const char *>(b)) == 0;
}

template <bool nocase>
class glib {
public:
  ~glib() { g_hash_table_unref(table_); }
  void store(const std::string &key) {
    g_hash_table_replace(table_, g_strndup(key.data(), key.size()), g_atomic_rc_box_acquire(value_));
  }
  bool fetch(const std::string &key) const {
    void *found = g_hash_table_lookup(table_, key.c_str());
    if (found == nullptr) return false;
    g_atomic_rc_box_release(g_atomic_rc_box_acquire(found));
    return true;
  }

private:
  static inline void *const value_ = g_atomic_rc_box_alloc(sizeof(int));
  GHashTable *table_ = g_hash_table_new_full(nocase ? glib_folding_hash : g_str_hash,
                                             nocase ? glib_folding_equal : g_str_equal, g_free,
                                             [](void *value) { g_atomic_rc_box_release(value); });
};

// --- The work ---

template <typename Map>
void fill(Map &map, const std::vector<std::string> &names) {
  for (const std::string &name : names)
    map.store(name);
}

template <typename Map>
void build(benchmark::State &state, int64_t count) {
  const bench::busy_process busy;
  const auto names = keys(count, "some-option.");
  for (auto _ : state) {
    Map map;
    fill(map, names);
    benchmark::DoNotOptimize(map);
  }
}

// One fetch an iteration, through all names in turn.
template <typename Map>
void look_up(benchmark::State &state, int64_t count, const char *prefix, bool there) {
  const bench::busy_process busy;
  Map map;
  fill(map, keys(count, "some-option."));
  const auto names = keys(count, prefix);
  size_t next = 0;
  for (auto _ : state) {
    const std::string &name = names[next];
    next = next + 1 == names.size() ? 0 : next + 1;
    if (map.fetch(name) != there) std::abort();
  }
}

template <typename Map>
void rows(const char *who, bool nocase) {
  const auto add = [who](const char *work, int64_t count, const auto &body) {
    const std::string name = std::string("dict ") + work + ", " + std::to_string(count) + " keys/" + who;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) { body(state, count); });
  };
  for (const int64_t count : {16, 1000, 100000}) {
    if (nocase) {
      const auto hit = [](benchmark::State &state, int64_t n) {
        look_up<Map>(state, n, "Some-Option.", true);
      };
      if (count > 16) add("case-insensitive hit", count, hit);
    } else {
      add("build", count, build<Map>);
      add("hit", count,
          [](benchmark::State &state, int64_t n) { look_up<Map>(state, n, "some-option.", true); });
      add("miss", count,
          [](benchmark::State &state, int64_t n) { look_up<Map>(state, n, "none-option.", false); });
    }
  }
}

const bool registered = [] {
  using value = std::shared_ptr<int>;
  rows<ours<0>>("ours", false);
  rows<standard<std::unordered_map<std::string, value>>>("std::unordered_map", false);
  rows<standard<absl::flat_hash_map<std::string, value>>>("absl::flat_hash_map", false);
  rows<glib<false>>("GHashTable", false);
  rows<ours<XP_DICT_NOCASE>>("ours", true);
  rows<standard<std::unordered_map<std::string, value, folding_hash, folding_equal>>>("std::unordered_map",
                                                                                      true);
  rows<standard<absl::flat_hash_map<std::string, value, folding_hash, folding_equal>>>("absl::flat_hash_map",
                                                                                       true);
  rows<glib<true>>("GHashTable", true);
  return true;
}();

}  // namespace
