// The JSON rows of json-glib, in a program of its own: some of its names are those of json-c, too.

#include "json_rows.h"

#include <benchmark/benchmark.h>
#include <json-glib/json-glib.h>

#include <cstdlib>
#include <string>

namespace {

class json_glib {
public:
  explicit json_glib(const std::string &text) {
    JsonParser *parser = json_parser_new_immutable();
    if (!json_parser_load_from_data(parser, text.data(), static_cast<gssize>(text.size()), nullptr))
      std::abort();
    tree_ = json_parser_steal_root(parser);
    g_object_unref(parser);
  }
  json_glib(const json_glib &) = delete;
  json_glib &operator=(const json_glib &) = delete;
  ~json_glib() { json_node_unref(tree_); }
  size_t write() const {
    JsonGenerator *generator = json_generator_new();
    json_generator_set_root(generator, tree_);
    gsize size = 0;
    g_free(json_generator_to_data(generator, &size));
    g_object_unref(generator);
    return size;
  }

private:
  JsonNode *tree_;
};

const bool registered = [] {
  bench::json_rows<json_glib>("json-glib");
  return true;
}();

}  // namespace
