// JSON: text to tree, tree to compact text, beside a document model that pools its memory and two that own
// each value; the one more peer, in json_glib.cpp, shares names with one of these.

#include "json_rows.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <benchmark/benchmark.h>
#include <json.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

namespace {

// Each peer: a tree of a text, and the tree's text, of which size() is asked.

class ours {
public:
  explicit ours(const std::string &text)
      : tree_(xp::ref::adopt(
            xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), XP_PLIST_JSON_BARE))) {
    if (!tree_) std::abort();
  }
  size_t write() const {
    const xp::ref text = xp::ref::adopt(xp_plist_string(tree_.get(), XP_PLIST_JSON_BARE, 1));
    return static_cast<size_t>(xp_str_length(text.get()));
  }

private:
  xp::ref tree_;
};

class rapid {
public:
  explicit rapid(const std::string &text) {
    document_.Parse(text.data(), text.size());
    if (document_.HasParseError()) std::abort();
  }
  size_t write() const {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document_.Accept(writer);
    benchmark::DoNotOptimize(buffer.GetString());
    return buffer.GetSize();
  }

private:
  rapidjson::Document document_;
};

class nlohmann_json {
public:
  explicit nlohmann_json(const std::string &text) : tree_(nlohmann::json::parse(text)) {}
  size_t write() const { return tree_.dump().size(); }

private:
  nlohmann::json tree_;
};

class json_c {
public:
  explicit json_c(const std::string &text) {
    json_tokener *tokener = json_tokener_new();
    tree_ = json_tokener_parse_ex(tokener, text.data(), static_cast<int>(text.size()));
    if (json_tokener_get_error(tokener) != json_tokener_success) std::abort();
    json_tokener_free(tokener);
  }
  json_c(const json_c &) = delete;
  json_c &operator=(const json_c &) = delete;
  ~json_c() { json_object_put(tree_); }
  size_t write() const {
    size_t size = 0;
    json_object_to_json_string_length(tree_, JSON_C_TO_STRING_PLAIN, &size);
    return size;
  }

private:
  json_object *tree_ = nullptr;
};

const bool registered = [] {
  bench::json_rows<ours>("ours");
  bench::json_rows<rapid>("RapidJSON");
  bench::json_rows<nlohmann_json>("nlohmann");
  bench::json_rows<json_c>("json-c");
  return true;
}();

}  // namespace
