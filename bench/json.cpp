// JSON: a text to a tree and back, beside a document model that pools its memory. Both release what they
// made.

#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <string>

namespace {

// What a page sends.
const std::string request =
    R"({"id":4711,"method":"set-options","args":{"name":"workstation-12","port":4443,"secure":true,)"
    R"("limit":0.75,"proxy":null,"groups":["staff","remote"]}})";

// What a daemon answers: 24 entries of mixed values, some text escaped, some not ASCII.
const std::string reply = [] {
  std::string text = R"({"version":"3.2.1","entries":[)";
  for (int i = 0; i < 24; ++i) {
    const std::string number = std::to_string(i);
    text += i == 0 ? R"({"name":"package-)" : R"(,{"name":"package-)";
    text += number + R"(","path":"/opt/packages/package-)" + number + R"(/bin/start",)";
    text += R"("note":"runs \"once\" a day\nand on request","title":")";
    text +=
        "Gr\xC3\xB6\xC3\x9F"
        "e " +
        number + R"(","size":)" + std::to_string(i * 104729);
    text += R"(,"load":)" + number + R"(.25,"enabled":)" + (i % 3 == 0 ? "true" : "false");
    text += R"(,"tags":["a","b)" + number + R"("]})";
  }
  return text + "]}";
}();

void read_ours(benchmark::State &state, const std::string &text) {
  for (auto _ : state) {
    xp_obj *list = xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), XP_PLIST_JSON);
    if (list == nullptr) std::abort();
    xp_release(list);
  }
}

void read_rapidjson(benchmark::State &state, const std::string &text) {
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    if (document.HasParseError()) std::abort();
    benchmark::DoNotOptimize(document);
  }
}

void write_ours(benchmark::State &state, const std::string &text) {
  const xp::ref list =
      xp::ref::adopt(xp_plist_parse(text.data(), static_cast<int64_t>(text.size()), XP_PLIST_JSON));
  for (auto _ : state) {
    xp_obj *string = xp_plist_string(list.get(), XP_PLIST_JSON_BARE, 1);
    if (xp_str_length(string) == 0) std::abort();
    xp_release(string);
  }
}

void write_rapidjson(benchmark::State &state, const std::string &text) {
  rapidjson::Document document;
  document.Parse(text.data(), text.size());
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    if (buffer.GetSize() == 0) std::abort();
    benchmark::DoNotOptimize(buffer.GetString());
  }
}

}  // namespace

BENCHMARK_CAPTURE(read_ours, request, request)->Name("json read, request/ours");
BENCHMARK_CAPTURE(read_rapidjson, request, request)->Name("json read, request/rapidjson");
BENCHMARK_CAPTURE(write_ours, request, request)->Name("json write, request/ours");
BENCHMARK_CAPTURE(write_rapidjson, request, request)->Name("json write, request/rapidjson");
BENCHMARK_CAPTURE(read_ours, reply, reply)->Name("json read, reply/ours");
BENCHMARK_CAPTURE(read_rapidjson, reply, reply)->Name("json read, reply/rapidjson");
BENCHMARK_CAPTURE(write_ours, reply, reply)->Name("json write, reply/ours");
BENCHMARK_CAPTURE(write_rapidjson, reply, reply)->Name("json write, reply/rapidjson");
