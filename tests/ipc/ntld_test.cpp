#include "ipc/ntld.h"

#include "ipc/ntld_raw.h"
#include "tests/ipc/records.h"
#include "tests/support/objects.h"
#include "xp/object/boolean.h"
#include "xp/object/record.h"
#include "xp/object/type.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <memory>
#include <random>
#include <vector>

namespace {

using ntld_test = leak_check;

xp::ref builder(void *buffer, uint32_t size) {
  return xp::ref::adopt(xp_ntld_new(buffer, size));
}

std::string bytes_in(const xp::ref &b) {
  auto *bytes = static_cast<const char *>(xp_ntld_data(b.get()));
  return bytes == nullptr ? "" : std::string(bytes, xp_ntld_length(b.get()));
}

// Every kind of record, nested.
uint64_t fill(xp_obj *b) {
  uint64_t total = xp_ntld_open(b, xp_code("root"), xp_code("data"));
  total += xp_ntld_add_number(b, xp_code("numb"), -2);
  total += xp_ntld_add_tag(b, xp_code("ctag"), xp_code("HXrf"));
  total += xp_ntld_add_string(b, xp_code("text"), "ab");
  xp_ntld_open(b, xp_code("sub1"), xp_code("data"));
  xp_ntld_open(b, xp_code("sub2"), xp_code("data"));
  EXPECT_EQ(xp_ntld_close(b), 12u);
  xp_ntld_add(b, xp_code("zero"), xp_code("data"), 5, nullptr);
  total += xp_ntld_close(b);
  total += xp_ntld_escapedtext(b, xp_code("escp"), 4, "a\\\\b");
  EXPECT_EQ(xp_ntld_close(b), total);
  return total;
}

const std::string filled = record(
    "root", "data",
    record("numb", "long", be32(0xFFFFFFFE)) + record("ctag", "ctag", "HXrf") + record("text", "text", "ab") +
        record("sub1", "data", record("sub2", "data", "") + record("zero", "data", "\0\0\0\0\0"s)) +
        record("escp", "text", "a\\b"));

TEST_F(ntld_test, three_kinds_of_builder_write_the_same_bytes) {
  xp::ref growable = builder(nullptr, XP_NTLD_GROW);
  EXPECT_EQ(fill(growable.get()), filled.size());
  EXPECT_EQ(bytes_in(growable), filled);

  xp::ref measuring = builder(nullptr, 0);
  EXPECT_EQ(fill(measuring.get()), filled.size());
  EXPECT_EQ(xp_ntld_length(measuring.get()), filled.size());
  EXPECT_EQ(xp_ntld_data(measuring.get()), nullptr);
  EXPECT_EQ(xp_ntld_check(measuring.get()), 0u);

  std::vector<uint8_t> fixed(filled.size());
  xp::ref exact = builder(fixed.data(), static_cast<uint32_t>(fixed.size()));
  fill(exact.get());
  EXPECT_EQ(bytes_in(exact), filled);
  EXPECT_EQ(xp_ntld_add(exact.get(), 1, 1, 0, nullptr), 0u);

  // A data object that the caller brings is written from its start.
  xp::ref data = xp::ref::adopt(xp_data_new("old content", 11));
  xp_ntld_reset(exact.get(), data.get(), XP_NTLD_GROW);
  fill(exact.get());
  EXPECT_EQ(bytes_in(exact), filled);
  xp::ref same = xp::ref::adopt(xp_ntld_dyndata(exact.get()));
  EXPECT_EQ(same.get(), data.get());
}

TEST_F(ntld_test, escaped_text) {
  struct {
    int64_t length;
    const char *text;
    std::string data;
  } const cases[] = {{4, "a\\\\b", "a\\b"}, {3, "ab\\", "ab"}, {-1, "\\n\\", "n"},
                     {0, "x", ""},          {1, "\\", ""},     {4, "a\0\\\0", "a\0\0"s}};
  for (const auto &c : cases) {
    xp::ref b = builder(nullptr, XP_NTLD_GROW);
    EXPECT_EQ(xp_ntld_escapedtext(b.get(), xp_code("name"), c.length, c.text),
              record("name", "text", c.data).size());
    // A builder's length does not count the padding of its outermost record.
    EXPECT_EQ(bytes_in(b), lying("name", "text", static_cast<uint32_t>(c.data.size()), c.data));
  }
}

TEST_F(ntld_test, open_containers) {
  // Bytes, length, dynamic data and the release close what is open; check and the readers refuse it.
  uint8_t bytes[24];
  {
    xp::ref b = builder(bytes, sizeof bytes);
    xp_ntld_open(b.get(), xp_code("root"), xp_code("data"));
    xp_ntld_open(b.get(), xp_code("sub1"), xp_code("data"));
    EXPECT_EQ(xp_ntld_check(b.get()), 0u);
    EXPECT_EQ(xp_ntld_count(b.get()), 0u);
    EXPECT_EQ(xp_ntld_next(b.get()), nullptr);
  }
  EXPECT_EQ(std::string(bytes, bytes + 24), record("root", "data", record("sub1", "data", "")));

  xp::ref b = builder(bytes, sizeof bytes);
  xp_ntld_open(b.get(), xp_code("root"), xp_code("data"));
  EXPECT_EQ(xp_ntld_length(b.get()), 12u);
  EXPECT_EQ(xp_ntld_check(b.get()), 12u);
  EXPECT_EQ(xp_ntld_close(b.get()), 0u);
  EXPECT_EQ(xp_ntld_count(b.get()), 0u);
  EXPECT_EQ(xp_ntld_getbyindex(b.get(), 0), nullptr);
}

TEST_F(ntld_test, a_fixed_buffer_of_any_size_is_never_overrun) {
  for (size_t size = 0; size < filled.size(); ++size) {
    auto exact = std::make_unique<uint8_t[]>(size);
    xp::ref b = builder(exact.get(), static_cast<uint32_t>(size));
    xp_ntld_open(b.get(), xp_code("root"), xp_code("data"));
    bool sub = xp_ntld_open(b.get(), xp_code("sub1"), xp_code("data")) != 0;
    bool text = xp_ntld_add_string(b.get(), xp_code("text"), "four") != 0;
    EXPECT_EQ(xp_ntld_close(b.get()), !sub ? 0u : text ? 28u : 12u);
    bool more = xp_ntld_add_number(b.get(), xp_code("numb"), 1) != 0;
    // The refused container's close did not end the one around it.
    std::string expected =
        record("root", "data",
               (sub ? record("sub1", "data", text ? record("text", "text", "four") : "") : "") +
                   (more ? record("numb", "long", be32(1)) : ""));
    EXPECT_EQ(bytes_in(b), size < 12 ? "" : expected) << size;
    EXPECT_EQ(more, size >= expected.size() && more);
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

// An object that writes containers to a given depth, as XP_CTL_SERIALIZE of a runtime type does through the
// set.
struct nested : xp_obj {
  static constexpr uint32_t code = xp_code("nest");
  int64_t depth;
};

int64_t nested_control(xp_obj *obj, uint32_t code, int64_t tag, void *set) {
  if (code != XP_CTL_SERIALIZE) return 0;
  auto *builder_of_set = static_cast<xp_obj *>(set);
  int64_t depth = xp::as<nested>(obj)->depth;
  for (int64_t i = 0; i < depth; ++i)
    xp_ntld_open(builder_of_set, static_cast<uint32_t>(tag), xp_code("data"));
  for (int64_t i = 0; i < depth; ++i)
    xp_ntld_close(builder_of_set);
  return depth;
}

constexpr xp::ops nested_ops = {.retain = xp_obj_retain,
                                .release = xp_obj_release,
                                .compare = nullptr,
                                .textify = nullptr,
                                .control = nested_control};

TEST_F(ntld_test, package_is_exact_at_every_depth) {
  for (int64_t depth : {0, 1, 64, 65, 1000}) {
    auto *object = xp::make<nested>(nested_ops);
    xp::ref held = xp::ref::adopt(object);
    object->depth = depth;
    xp::ref data = xp::ref::adopt(xp_ntld_package(object, xp_code("deep")));
    ASSERT_EQ(xp_data_length(data.get()), depth * 12);
    auto *bytes = static_cast<const uint8_t *>(xp_data_getptr(data.get()));
    for (int64_t i = 0; i < depth; ++i) {
      EXPECT_EQ(xp_ntld_raw_length(bytes + i * 12), (depth - 1 - i) * 12);
    }
  }
}

TEST_F(ntld_test, runtime_objects_serialise_and_come_back) {
  xp::ref text = str("hello");
  xp::ref packed = xp::ref::adopt(xp_ntld_package(text.get(), xp_code("word")));
  auto *bytes = static_cast<const char *>(xp_data_getptr(packed.get()));
  ASSERT_EQ(std::string(bytes, static_cast<size_t>(xp_data_length(packed.get()))),
            record("word", "xstr", "hello"));
  xp::ref back = xp::ref::adopt(xp_deserialize(text.get(), xp_code("word"), bytes));
  expect({back}, "hello");

  uint8_t number[20];
  xp::ref seven = num(7);
  EXPECT_EQ(xp_serialize(seven.get(), xp_code("numb"), number, sizeof number), 20);
  EXPECT_EQ(std::string(number, number + 20), record("numb", "xnum", "\0\0\0\0\0\0\0\7"s));
  EXPECT_EQ(xp_serialize(seven.get(), xp_code("numb"), number, 19), 0);
  EXPECT_EQ(xp_serialize(nullptr, xp_code("numb"), number, sizeof number), 0);
  xp::ref mute = xp::ref::adopt(xp_new(xp_code("mute"), 0));
  EXPECT_EQ(xp_ntld_package(mute.get(), 1), nullptr);
}

// A tree of containers whose leaves are runtime objects, written through the set by themselves.
struct node {
  uint32_t name;
  xp::ref leaf;  // null: a container
  std::vector<node> children;
};

xp::ref random_leaf(std::mt19937_64 &random) {
  std::string bytes(random() % 20, 0);
  for (char &byte : bytes)
    byte = static_cast<char>(random());
  const auto length = std::ssize(bytes);
  const auto number = static_cast<int64_t>(random() >> random() % 64);
  switch (random() % 5) {
    case 0: return xp::ref::adopt(xp_str_make(bytes.data(), length));
    case 1: return xp::ref::adopt(xp_data_new(bytes.data(), length));
    case 2: return xp::ref::adopt(xp_boolean_new(number % 2));
    case 3: return xp::ref::adopt(xp_date_msnew(number));
    default: return num(number);
  }
}

node random_node(std::mt19937_64 &random, int depth) {
  node made = {.name = static_cast<uint32_t>(random()), .leaf = {}, .children = {}};
  if (depth == 0) made.leaf = random_leaf(random);
  for (auto left = depth == 0 ? 0 : random() % 4; left > 0; --left)
    made.children.push_back(random_node(random, static_cast<int>(random() % static_cast<unsigned>(depth))));
  return made;
}

void write(xp_obj *set, const node &from) {
  if (from.leaf) {
    EXPECT_GT(xp_control(from.leaf.get(), XP_CTL_SERIALIZE, from.name, set), 0);
    return;
  }
  xp_ntld_open(set, from.name, xp_code("data"));
  for (const node &child : from.children)
    write(set, child);
  xp_ntld_close(set);
}

void read_back(const uint8_t *record, const node &as) {
  ASSERT_EQ(xp_ntld_raw_name(record), as.name);
  const uint32_t size = xp_ntld_raw_length(record) + XP_NTLD_HEADER;
  if (!as.leaf) {
    ASSERT_EQ(xp_ntld_raw_verify(record, size), size);
    ASSERT_EQ(xp_ntld_raw_count(record), as.children.size());
    for (uint32_t i = 0; i < as.children.size(); ++i)
      read_back(xp_ntld_raw_getbyindex(record, i), as.children[i]);
    return;
  }
  const auto copy = std::make_unique<uint8_t[]>(size);
  memcpy(copy.get(), record, size);
  xp::ref back = xp::ref::adopt(xp_ntld_unpackage(as.leaf.get(), as.name, copy.get(), size));
  ASSERT_EQ(xp_type(back.get()), xp_type(as.leaf.get()));
  EXPECT_EQ(xp_compare(back.get(), as.leaf.get()), 0);
  xp::ref again = xp::ref::adopt(xp_ntld_package(back.get(), as.name));
  EXPECT_EQ(memcmp(xp_data_getptr(again.get()), record, size), 0);
  // Not of this name, not whole, not this type.
  EXPECT_EQ(xp_ntld_unpackage(as.leaf.get(), as.name + 1, copy.get(), size), nullptr);
  for (uint32_t cut = 0; cut < size; ++cut)
    EXPECT_EQ(xp_ntld_unpackage(as.leaf.get(), 0, copy.get(), cut), nullptr);
  copy[4] ^= 1;
  EXPECT_EQ(xp_ntld_unpackage(as.leaf.get(), 0, copy.get(), size), nullptr);
}

TEST_F(ntld_test, trees_of_objects_come_back) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937_64 random(seed);
    const node tree = random_node(random, 5);
    xp::ref measuring = builder(nullptr, 0), growable = builder(nullptr, XP_NTLD_GROW);
    write(measuring.get(), tree);
    write(growable.get(), tree);
    const auto *bytes = static_cast<const uint8_t *>(xp_ntld_data(growable.get()));
    EXPECT_EQ(xp_ntld_length(measuring.get()), xp_ntld_raw_next(bytes) - bytes);
    read_back(bytes, tree);
  }
}

TEST_F(ntld_test, readers_take_builders_and_bytes) {
  xp::ref b = builder(nullptr, XP_NTLD_GROW);
  fill(b.get());
  auto copy = std::make_unique<uint8_t[]>(filled.size());
  memcpy(copy.get(), filled.data(), filled.size());
  for (const void *p : {static_cast<const void *>(b.get()), static_cast<const void *>(copy.get())}) {
    char text[4] = "xyz";
    expect({xp_ntld_verify(p, static_cast<uint32_t>(filled.size())) == filled.size(), xp_ntld_count(p),
            xp_ntld_getlongbyname(p, xp_code("numb")), xp_ntld_getlongbyindex(p, 0),
            xp_ntld_getlongbyname(p, xp_code("text")), xp_ntld_gettagbyname(p, xp_code("numb")),
            xp_ntld_getbytesbyname(p, xp_code("text"), nullptr, 0), xp_ntld_getbytesbyindex(p, 2, text, 1),
            text},
           "1 5 -2 -2 0 0 2 1 ayz");
    EXPECT_EQ(xp_ntld_gettagbyindex(p, 1), xp_code("HXrf"));
    EXPECT_EQ(xp_ntld_getbyindex(p, 5), nullptr);
    const uint8_t *sub = xp_ntld_getbyname(p, xp_code("sub1"));
    EXPECT_EQ(xp_ntld_count(sub), 2u);
    EXPECT_EQ(xp_ntld_next(sub), xp_ntld_getbyname(p, xp_code("escp")));
  }
}

TEST_F(ntld_test, verify) {
  // A builder's record may be shorter than the builder.
  xp::ref b = builder(nullptr, XP_NTLD_GROW);
  xp_ntld_open(b.get(), xp_code("root"), xp_code("data"));
  EXPECT_EQ(xp_ntld_length(b.get()), 12u);
  EXPECT_EQ(xp_ntld_verify(b.get(), 12), 12u);
  EXPECT_EQ(xp_ntld_verify(b.get(), 11), 0u);

  std::string child = record("aaaa", "text", "abcd");
  struct {
    std::string bytes;
    uint32_t available, total;
  } const cases[] = {
      {record("root", "data", ""), 12, 12},
      {record("root", "data", ""), 11, 0},
      {record("root", "data", child), 28, 28},
      {record("root", "data", child), 27, 0},
      {record("root", "data", child + child), 44, 44},
      // A last child whose padding was not counted is fine, one in the middle is not.
      {lying("root", "data", 15, lying("aaaa", "text", 3, "abc")), 27, 27},
      {lying("root", "data", 14 + 12, lying("aaaa", "text", 2, "ab") + lying("bbbb", "text", 0)), 38, 0},
      {lying("root", "data", 11, "abcdefghijk"), 23, 0},
      // Lengths that wrap in 32 bits, outside and inside.
      {lying("root", "data", 0xFFFFFFF4), 12, 0},
      {lying("root", "data", 0xFFFFFFFF), 0xFFFFFFFF, 0},
      {record("root", "data", lying("aaaa", "text", 0xFFFFFFF4, "abcd")), 28, 0},
      {record("root", "data", lying("aaaa", "text", 0xFFFFFFFD, "abcd")), 28, 0},
      {record("root", "data", lying("aaaa", "text", 5, "abcd")), 28, 0},
  };
  for (const auto &c : cases) {
    auto exact = std::make_unique<uint8_t[]>(c.bytes.size());
    memcpy(exact.get(), c.bytes.data(), c.bytes.size());
    EXPECT_EQ(xp_ntld_raw_verify(exact.get(), c.available), c.total) << &c - cases;
    EXPECT_EQ(xp_ntld_verify(exact.get(), c.available), c.total) << &c - cases;
  }
}

}  // namespace
