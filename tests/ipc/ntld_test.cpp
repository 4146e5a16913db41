#include "ipc/ntld.h"

#include "ipc/ntld_raw.h"
#include "tests/ipc/records.h"
#include "tests/support/objects.h"
#include "xp/service/data.h"

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

namespace {

using ntld_test = leak_check;

xp::ref builder(void *buffer, uint32_t size) {
  return xp::ref::adopt(xp_ntld_new(buffer, size));
}

std::string four(uint32_t code) {
  return {reinterpret_cast<const char *>(&code), sizeof code};
}

// What the record at the start of the bytes says of its data.
uint64_t length_of(std::string_view bytes) {
  return xp_ntld_raw_length(reinterpret_cast<const uint8_t *>(bytes.data()));
}

std::string random_bytes(std::mt19937_64 &random, size_t most) {
  std::string bytes(random() % (most + 1), 0);
  for (char &byte : bytes)
    byte = "\\ab\0\xFF"[random() % 5];
  return bytes;
}

std::string without_escapes(const std::string &text) {
  std::string kept;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || ++i < text.size()) kept += text[i];
  }
  return kept;
}

// What a builder must write and answer.
struct model {
  size_t room;     // of a fixed buffer
  bool measuring;  // knows the places of 64 containers
  std::string bytes;
  std::vector<size_t> open;
  int refused = 0;  // openings

  uint32_t put(const std::string &whole) {
    if (refused != 0 || bytes.size() + whole.size() > room) return 0;
    bytes += whole;
    return static_cast<uint32_t>(whole.size());
  }

  uint32_t start(uint32_t name) {
    const uint32_t size = put(record(four(name), "data", ""));
    if (size == 0) ++refused;
    if (size != 0 && !(measuring && open.size() == 64)) open.push_back(bytes.size() - 12);
    return size;
  }

  uint32_t close() {
    if (refused != 0) {
      --refused;
      return 0;
    }
    if (open.empty()) return 0;
    const size_t at = open.back();
    const auto size = static_cast<uint32_t>(bytes.size() - at);
    open.pop_back();
    bytes.replace(at + 8, 4, be32(size - 12));
    return size;
  }

  // Closes everything; the length of the outermost record, or what was counted.
  uint32_t length() {
    refused = 0;
    while (close() != 0) {
    }
    if (measuring || bytes.empty()) return static_cast<uint32_t>(bytes.size());
    return static_cast<uint32_t>(length_of(bytes)) + 12;
  }

  uint32_t check() { return measuring || refused != 0 || !open.empty() ? 0 : length(); }
};

// One random step of a builder and of its model: what each answers.
std::pair<uint32_t, uint32_t> step(xp_obj *b, model &m, std::mt19937_64 &random) {
  const auto name = static_cast<uint32_t>(random()), value = static_cast<uint32_t>(random());
  const std::string code = four(name), text = random_bytes(random, 40), letters(random() % 9, 'x');
  const auto length = static_cast<uint32_t>(text.size());
  switch (random() % 10) {
    case 0:
    case 1: return {xp_ntld_open(b, name, xp_code("data")), m.start(name)};
    case 2: return {xp_ntld_close(b), m.close()};
    case 3: return {xp_ntld_check(b), m.check()};
    case 4: return {xp_ntld_add_tag(b, name, value), m.put(record(code, "ctag", four(value)))};
    case 5:
      return {xp_ntld_add_number(b, name, static_cast<int32_t>(value)),
              m.put(record(code, "long", be32(value)))};
    case 6: return {xp_ntld_add_string(b, name, letters.c_str()), m.put(record(code, "text", letters))};
    case 7:
      return {xp_ntld_escapedtext(b, name, length, text.data()),
              m.put(record(code, "text", without_escapes(text)))};
    case 8:
      return {xp_ntld_add(b, name, value, length, nullptr),
              m.put(record(code, four(value), std::string(length, 0)))};
    default:
      return {xp_ntld_add(b, name, value, length, text.data()), m.put(record(code, four(value), text))};
  }
}

TEST_F(ntld_test, builders_write_what_a_model_writes) {
  for (unsigned seed = 1; seed <= 900; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    const size_t size = random() % 600;
    const auto exact = std::make_unique<uint8_t[]>(size);
    // What is there already is written over.
    memset(exact.get(), 0xAA, size);
    xp::ref data = xp::ref::adopt(xp_data_new("old content", seed % 2 == 0 ? 11 : 0));
    const bool fixed = seed % 3 == 0, measuring = seed % 3 == 1;
    xp::ref b = fixed       ? builder(exact.get(), static_cast<uint32_t>(size))
                : measuring ? builder(nullptr, 0)
                            : builder(data.get(), XP_NTLD_GROW);
    model m = {.room = fixed ? size : SIZE_MAX, .measuring = measuring, .bytes = {}, .open = {}};
    for (auto deep = seed % 5 == 0 ? 70 : 0; deep > 0; --deep)
      EXPECT_EQ(xp_ntld_open(b.get(), 0, xp_code("data")), m.start(0));
    for (auto left = random() % 200; left > 0; --left) {
      const auto [answer, expected] = step(b.get(), m, random);
      ASSERT_EQ(answer, expected);
    }
    // Each of these closes what is open.
    m.length();
    const void *bytes = exact.get();
    if (fixed) {
      b = {};
    } else if (seed % 2 == 0) {
      EXPECT_EQ(xp_ntld_length(b.get()), m.length());
      bytes = xp_ntld_data(b.get());
      EXPECT_EQ(bytes == nullptr, measuring || m.bytes.empty());
    } else {
      const xp::ref same = xp::ref::adopt(xp_ntld_dyndata(b.get()));
      EXPECT_EQ(same.get(), measuring ? nullptr : data.get());
      bytes = xp_data_getptr(same.get());
    }
    if (!measuring && !m.bytes.empty()) {
      ASSERT_EQ(std::string_view(static_cast<const char *>(bytes), m.bytes.size()), m.bytes);
    }
    EXPECT_EQ(xp_ntld_check(b.get()), fixed ? 0 : m.check());
  }
}

TEST_F(ntld_test, sizes_near_four_gigabytes_do_not_wrap) {
  uint8_t bytes[64];
  xp::ref fixed = builder(bytes, sizeof bytes);
  xp::ref measuring = builder(nullptr, 0);
  for (uint32_t length : {0xFFFFFFF4u, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
    EXPECT_EQ(xp_ntld_add(fixed.get(), 1, 1, length, nullptr), 0u);
    EXPECT_EQ(xp_ntld_add(measuring.get(), 1, 1, length, nullptr), 0u);
  }
  EXPECT_EQ(xp_ntld_add(measuring.get(), 1, 1, 0xFFFFFFF0 - 12, nullptr), 0xFFFFFFF0u);
  EXPECT_EQ(xp_ntld_open(measuring.get(), 1, 1), 12u);
  EXPECT_EQ(xp_ntld_open(measuring.get(), 1, 1), 0u);
}

TEST_F(ntld_test, constant_bytes_are_not_written) {
  xp::ref constant = xp::ref::adopt(xp_data_const("constant", 8));
  EXPECT_EQ(xp_ntld_new(constant.get(), XP_NTLD_GROW), nullptr);
}

TEST_F(ntld_test, objects_come_back_from_their_records) {
  const xp::ref object = str("hello"), mute = xp::ref::adopt(xp_new(xp_code("mute"), 0));
  const uint32_t name = xp_code("word");
  uint8_t bytes[20];
  expect({xp_serialize(object.get(), name, bytes, 20), xp_serialize(object.get(), name, bytes, 19),
          xp_serialize(mute.get(), name, bytes, 20), xp_serialize(nullptr, name, bytes, 20),
          xp_ntld_package(mute.get(), name)},
         "20 0 0 0 null");
  EXPECT_EQ(std::string(bytes, bytes + 20), record("word", "xstr", "hello"));
  const xp::ref packed = xp::ref::adopt(xp_ntld_package(object.get(), name));
  ASSERT_EQ(xp_data_length(packed.get()), 20);
  EXPECT_EQ(memcmp(xp_data_getptr(packed.get()), bytes, 20), 0);
  // The padding need not be there.
  for (uint32_t cut = 0; cut <= 20; ++cut) {
    const auto exact = std::make_unique<uint8_t[]>(cut);
    memcpy(exact.get(), bytes, cut);
    expect({xp_ntld_unpackage(object.get(), name, exact.get(), cut)}, cut < 17 ? "null" : "hello");
  }
  expect({xp_ntld_unpackage(object.get(), 0, bytes, 20), xp_ntld_unpackage(object.get(), 1, bytes, 20),
          xp_ntld_unpackage(num(1).get(), name, bytes, 20), xp_ntld_unpackage(object.get(), 0, nullptr, 20)},
         "hello null null null");
}

TEST_F(ntld_test, readers_take_builders_and_bytes) {
  const std::string whole = record(
      "root", "data",
      record("numb", "long", be32(0xFFFFFFFE)) + record("ctag", "ctag", "HXrf") +
          record("text", "text", "ab") +
          record("sub1", "data", record("sub2", "data", "") + record("innr", "long", be32(3))) +
          record("numb", "long", be32(4)) + record("shrt", "long", "abc") + record("tag3", "ctag", "abc"));
  const auto copy = std::make_unique<uint8_t[]>(whole.size());
  memcpy(copy.get(), whole.data(), whole.size());
  xp::ref b = builder(nullptr, XP_NTLD_GROW);
  xp_ntld_open(b.get(), xp_code("root"), xp_code("data"));
  for (uint32_t i = 0; i < xp_ntld_raw_count(copy.get()); ++i) {
    const uint8_t *child = xp_ntld_raw_getbyindex(copy.get(), i);
    xp_ntld_add(b.get(), xp_ntld_raw_name(child), xp_ntld_raw_type(child), xp_ntld_raw_length(child),
                xp_ntld_raw_data(child));
  }
  expect({xp_ntld_count(b.get()), xp_ntld_getlongbyindex(b.get(), 0)}, "0 0");
  EXPECT_EQ(xp_ntld_next(b.get()), nullptr);
  EXPECT_EQ(xp_ntld_close(b.get()), whole.size());
  const xp::ref shared = xp::ref::share(b.get());
  for (const void *p : {static_cast<const void *>(b.get()), static_cast<const void *>(copy.get())}) {
    char text[4] = "xyz";
    expect({xp_ntld_verify(p, static_cast<uint32_t>(whole.size())) == whole.size(), xp_ntld_count(p),
            xp_ntld_getlongbyname(p, xp_code("numb")), xp_ntld_getlongbyindex(p, 4),
            xp_ntld_getlongbyname(p, xp_code("text")), xp_ntld_getlongbyname(p, xp_code("shrt")),
            xp_ntld_gettagbyname(p, xp_code("numb")), xp_ntld_gettagbyname(p, xp_code("tag3")),
            xp_ntld_getbytesbyname(p, xp_code("text"), nullptr, 0), xp_ntld_getbytesbyindex(p, 2, text, 1),
            xp_ntld_getbytesbyname(p, xp_code("none"), text, 4), text},
           "1 7 -2 4 0 0 0 0 2 1 0 ayz");
    EXPECT_EQ(xp_ntld_gettagbyindex(p, 1), xp_code("HXrf"));
    EXPECT_EQ(xp_ntld_gettagbyname(p, xp_code("ctag")), xp_code("HXrf"));
    EXPECT_EQ(xp_ntld_getbyindex(p, 7), nullptr);
    const uint8_t *sub = xp_ntld_getbyname(p, xp_code("sub1"));
    EXPECT_EQ(xp_ntld_count(sub), 2u);
    EXPECT_EQ(xp_ntld_getbyname(sub, xp_code("numb")), nullptr) << "the next one behind it";
    EXPECT_EQ(xp_ntld_count(xp_ntld_getbyindex(sub, 0)), 0u);
    EXPECT_EQ(xp_ntld_getbyindex(xp_ntld_getbyindex(sub, 0), 0), nullptr);
    EXPECT_EQ(xp_ntld_next(sub), xp_ntld_getbyindex(p, 4));
  }
}

// Whether these are records; the padding of the last one may be missing.
bool are_records(std::string_view bytes) {
  if (bytes.empty()) return true;
  if (bytes.size() < 12) return false;
  const uint64_t length = length_of(bytes), size = 12 + (length + 3) / 4 * 4;
  return length + 12 == bytes.size() || (size <= bytes.size() && are_records(bytes.substr(size)));
}

TEST_F(ntld_test, verify) {
  constexpr uint32_t lies[] = {0, 1, 3, 4, 5, 12, 0xFFFFFFF4, 0xFFFFFFFC, 0xFFFFFFFD, 0xFFFFFFFF};
  int good = 0;
  for (unsigned seed = 1; seed <= 3000; ++seed) {
    std::mt19937_64 random(seed);
    std::string bytes;
    for (auto left = random() % 4; left > 0; --left) {
      const std::string child = record("leaf", "text", random_bytes(random, 8));
      bytes += random() % 8 == 0 ? lying("leaf", "text", lies[random() % 10], child.substr(12)) : child;
    }
    bytes.resize(bytes.size() - std::min<size_t>(bytes.size(), random() % 4 == 0 ? random() % 16 : 0));
    const auto length = random() % 8 == 0 ? lies[random() % 10] : static_cast<uint32_t>(bytes.size());
    bytes = lying("root", "data", length, bytes);
    const size_t available = bytes.size() - std::min(bytes.size(), random() % 8 == 0 ? random() % 14 : 0);
    const bool whole = available >= 12 && uint64_t{length} + 12 <= available;
    const uint32_t total = whole && are_records(std::string_view(bytes).substr(12, length)) ? length + 12 : 0;
    const auto exact = std::make_unique<uint8_t[]>(available);
    memcpy(exact.get(), bytes.data(), available);
    EXPECT_EQ(xp_ntld_raw_verify(exact.get(), static_cast<uint32_t>(available)), total) << seed;
    EXPECT_EQ(xp_ntld_verify(exact.get(), static_cast<uint32_t>(available)), total) << seed;
    if (total != 0) ++good;
  }
  EXPECT_GT(good, 1000);
  // A builder's record may be shorter than the builder.
  xp::ref b = builder(nullptr, XP_NTLD_GROW);
  xp_ntld_open(b.get(), xp_code("root"), xp_code("data"));
  expect({xp_ntld_length(b.get()), xp_ntld_verify(b.get(), 12), xp_ntld_verify(b.get(), 11)}, "12 12 0");
}

}  // namespace
