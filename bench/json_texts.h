// The texts of the JSON benchmarks: what a page sends, what a daemon answers, a large list of records, and
// text with many escapes. All peers read the same tree from them.

#ifndef BENCH_JSON_TEXTS_H
#define BENCH_JSON_TEXTS_H

#include <cstddef>
#include <string>

namespace bench {

// About 200 bytes.
inline std::string json_request() {
  return R"({"id":4711,"method":"set-options","args":{"name":"workstation-12","address":"10.0.4.12","port":4443,)"
         R"("secure":true,"limit":0.75,"proxy":null,"groups":["staff","remote"],"note":"first of the week"}})";
}

// Appends the tree's items, each with lists and records of its own.
inline void append_nested(std::string &text, int level, int seed) {
  const std::string number = std::to_string(seed);
  text += R"({"name":"node-)" + number + R"(","level":)" + std::to_string(level);
  text += R"(,"weight":)" + number + R"(.25,"enabled":)" + (seed % 3 == 0 ? "true" : "false");
  text += R"(,"tags":["a","b)" + number + R"("],"range":[)" + number + "," + std::to_string(seed * 37) + "]";
  text += R"(,"children":[)";
  for (int i = 0; i < 3 && level < 4; ++i) {
    if (i > 0) text += ',';
    append_nested(text, level + 1, seed * 3 + i);
  }
  text += "]}";
}

// About 10 KB, five levels of records and lists in each other.
inline std::string json_nested() {
  std::string text;
  append_nested(text, 1, 1);
  return R"({"version":"3.2.1","roots":[)" + text + "," + text + "]}";
}

// About 1 MB of records of eight fields.
inline std::string json_records() {
  std::string text = "[";
  for (int i = 0; text.size() < 1000000; ++i) {
    const std::string number = std::to_string(i);
    text += i == 0 ? R"({"id":)" : R"(,{"id":)";
    text += number + R"(,"name":"package-)" + number + R"(","path":"/opt/packages/package-)" + number;
    text += R"(/bin/start","size":)" + std::to_string(i * 104729L % 9999991);
    text += R"(,"load":)" + std::to_string(i % 97) + "." + std::to_string(i % 89 + 10);
    text += R"(,"enabled":)" + std::string(i % 3 == 0 ? "true" : "false");
    text +=
        R"(,"owner":"user)" + std::to_string(i % 50) + R"(@example.org","tags":["a","b)" + number + R"("]})";
  }
  return text + "]";
}

// About 1 MB of strings of 50 to 250 bytes, an escape every twenty bytes or so, one in eight not ASCII.
inline std::string json_strings() {
  const std::string pieces[] = {R"(runs \"once\" a day )",
                                R"(and on request\n)",
                                R"(C:\\Program Files\\Tools )",
                                "as the administrator ",
                                R"(see http:\/\/example.org\/help )",
                                "or ask "};
  std::string text = "[";
  unsigned random = 12345;
  const auto next = [&random](unsigned below) {
    return (random = random * 1664525 + 1013904223) / 65536 % below;
  };
  while (text.size() < 1000000) {
    text += text.size() == 1 ? "\"" : ",\"";
    if (next(8) == 0)
      text +=
          "Gr\xC3\xB6\xC3\x9F"
          "e ";
    for (unsigned left = 3 + next(10); left > 0; --left)
      text += pieces[next(std::size(pieces))];
    text += '"';
  }
  return text + "]";
}

constexpr struct {
  const char *name;
  std::string (*make)();
} json_texts[] = {
    {"request", json_request}, {"nested", json_nested}, {"records", json_records}, {"strings", json_strings}};

}  // namespace bench

#endif
