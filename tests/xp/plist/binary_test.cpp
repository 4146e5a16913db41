#include "xp/plist/binary.h"

#include "tests/support/leak_check.h"
#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/plist/reader.h"
#include "xp/service/date.h"
#include "xp/string/string.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;

using binary = leak_check;

std::string big_endian(uint64_t value, int size) {
  std::string bytes;
  while (size-- > 0)
    bytes += static_cast<char>(value >> 8 * size & 0xFF);
  return bytes;
}

// A list of objects as they are given; the first is the top.
std::string list(const std::vector<std::string> &objects, int offset_size = 2, int reference_size = 1) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string &object : objects) {
    table += big_endian(bytes.size(), offset_size);
    bytes += object;
  }
  const size_t table_at = bytes.size();
  return bytes + table + "\0\0\0\0\0\0"s + big_endian(static_cast<uint64_t>(offset_size), 1) +
         big_endian(static_cast<uint64_t>(reference_size), 1) + big_endian(objects.size(), 8) +
         big_endian(0, 8) + big_endian(table_at, 8);
}

// An array of references of two bytes.
std::string array(const std::vector<uint64_t> &references) {
  std::string bytes = "\xAF\x12" + big_endian(references.size(), 4);
  for (const uint64_t reference : references)
    bytes += big_endian(reference, 2);
  return bytes;
}

// Reads a block of exactly the list's size: the tree as JSON, or "offset: reason".
std::string read(const std::string &bytes) {
  const auto block = std::make_unique<char[]>(bytes.size());
  bytes.copy(block.get(), bytes.size());
  xp_plist_fault fault{.offset = -1, .reason = nullptr};
  const xp::ref tree = xp::ref::adopt(xp::read_binary({block.get(), bytes.size()}, fault));
  if (!tree) return std::to_string(fault.offset) + ": " + (fault.reason == nullptr ? "-" : fault.reason);
  return taken(xp_plist_string(tree.get(), XP_PLIST_JSON_BARE, 1));
}

std::string from_hex(std::string_view digits) {
  std::string bytes;
  for (; digits.size() >= 2; digits.remove_prefix(2))
    bytes += static_cast<char>(std::stoi(std::string(digits.substr(0, 2)), nullptr, 16));
  return bytes;
}

TEST_F(binary, kinds) {
  const auto kinds = pairs_of(R"(
      00>null 08>false 09>true 10FF>255 11FFFE>65534 12FFFFFFFF>4294967295 13FFFFFFFFFFFFFFFE>-2
      1400000000000000000000000000000007>7 14FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF7>-9
      1400000000000000008000000000000000>9223372036854775808.0
      1400000000000000010000000000000000>18446744073709551616.0
      14FFFFFFFFFFFFFFFF0000000000000000>-18446744073709551616.0
      223FA00000>1.25 23C009000000000000>-3.125 430001FF>"AAH/" 5361C3A9>"aé" 5262C3>"b�" 5F100178>"x"
      630061D83DDE00>"a😀" 62DE000062>"�b" 810102>258 87FFFFFFFFFFFFFFFF>18446744073709551616.0
      A0>[] B20202>[1,1] C102>[1] D10302>{"k":1})");
  for (int size = 1; size <= 8; ++size) {
    for (const auto &[digits, value] : kinds) {
      if (size > 1 && digits.size() > 2 && digits[0] >= '8') continue;  // references of a byte
      EXPECT_EQ(read(list({"\xA1" + big_endian(1, size), from_hex(digits), "\x10\x01", "\x51k"}, size, size)),
                "[" + value + "]");
    }
  }
}

TEST_F(binary, dates) {
  const struct {
    double since_2001;
    int64_t milliseconds;  // since 1970
  } cases[] = {
      {0, 978307200000},       {-978307200, 0},       {1.9996, 978307202000},
      {-0.0004, 978307200000}, {-978307200.25, -250}, {0x1p53, (int64_t{1} << 53) * 1000 + 978307200000},
  };
  for (const auto &one : cases) {
    const std::string bytes = list({"\x33" + big_endian(std::bit_cast<uint64_t>(one.since_2001), 8)});
    const xp::ref date = xp::ref::adopt(xp_plist_binaryload(bytes.data(), std::ssize(bytes)));
    EXPECT_EQ(xp_type(date.get()), xp_date_type());
    EXPECT_EQ(xp_date_ms(date.get()), one.milliseconds);
  }
  for (const double never : {0x1p53 + 2, -0x1p53 - 2, HUGE_VAL, std::nan("")})
    EXPECT_EQ(read(list({"\x33" + big_endian(std::bit_cast<uint64_t>(never), 8)})), "9: a date out of range");
}

TEST_F(binary, keys) {
  const std::string most(254, 'k');
  const auto entry = [](const std::string &key) { return list({"\xD1\x01\x02", key, "\x09"}); };
  EXPECT_EQ(read(list({from_hex("D3010203040504"), from_hex("5161"), from_hex("5141"), from_hex("610061"),
                       "\x08", "\x09"})),
            "{\"A\":true,\"a\":false}")
      << "letters tell keys apart, the last of equal ones counts";
  EXPECT_EQ(read(entry("\x5F\x11\x01\x01" + most + "lmn")), "{\"" + most + "l\":true}");
  EXPECT_EQ(read(entry("\x5F\x11\x01\0"s + most + "\xC3\xA9")), "{\"" + most + "\":true}")
      << "cut behind a character";
  std::string wide = "\x6F\x11\x02\0"s, cut;
  for (int i = 0; i < 512; ++i)
    wide += "\0\xE9"s, cut += i < 127 ? "\xC3\xA9" : "";
  EXPECT_EQ(read(entry(wide)), "{\"" + cut + "\":true}");
  EXPECT_EQ(read(entry("\x50")), "9: an empty key");
  EXPECT_EQ(read(entry("\x10\x01")), "9: a key that is not a string");
}

// A sample, and single bytes of it that are wrong.
TEST_F(binary, faults) {
  const std::string sample = list({"\xA2\x01\x02", "\x5F\x10\x02hi", "\x33\0\0\0\0\0\0\0\0"s, "\x10\x01"}, 1);
  ASSERT_TRUE(read(sample).starts_with("[\"hi\",\"2001-01-01T00:00:00")) << read(sample);
  const int64_t end = std::ssize(sample);
  const struct {
    int64_t at;  // below 0: from the end
    unsigned char byte;
    int64_t offset;  // likewise
    const char *reason;
  } cases[] = {
      {7, '1', 7, "no header of a binary property list"},
      {-26, 0, -26, "a size of offsets that is not 1 to 8"},
      {-26, 9, -26, "a size of offsets that is not 1 to 8"},
      {-25, 0, -25, "a size of references that is not 1 to 8"},
      {-25, 9, -25, "a size of references that is not 1 to 8"},
      {-17, 0, -24, "no objects"},
      {-17, 5, -8, "an offset table outside the list"},
      {-24, 0x80, -8, "an offset table outside the list"},
      {-24, 0x20, -8, "an offset table outside the list"},
      {-9, 4, -16, "a reference to no object"},
      {-1, 7, -8, "an offset table outside the list"},
      {-8, 0xFF, -8, "an offset table outside the list"},
      {9, 4, 9, "a reference to no object"},
      {9, 0, 9, "a container inside itself"},
      {-36, 7, -36, "an offset outside the objects"},
      {-36, 27, -36, "an offset outside the objects"},
      {-36, 26, 26, "an unknown kind of object"},
      {8, 0xAF, 9, "a length that is not an integer of up to 8 bytes"},
      {11, 0x0F, 11, "an unknown kind of object"},
      {11, 0x15, 11, "an unknown kind of object"},
      {11, 0x14, 11, "an object that is cut off"},
      {12, 0x14, 12, "a length that is not an integer of up to 8 bytes"},
      {12, 0x13, 11, "an object that is cut off"},
      {13, 14, 11, "an object that is cut off"},
      {17, 0x7F, 17, "a date out of range"},
      {-9, 3, 0, nullptr},
  };
  for (const auto &one : cases) {
    std::string changed = sample;
    changed[static_cast<size_t>(one.at < 0 ? end + one.at : one.at)] = static_cast<char>(one.byte);
    const int64_t offset = one.offset < 0 ? end + one.offset : one.offset;
    EXPECT_EQ(read(changed), one.reason == nullptr ? "1" : std::to_string(offset) + ": " + one.reason)
        << one.at << " " << int{one.byte};
  }
  EXPECT_EQ(read(list({"\0"s})), std::to_string(11 + 16) + ": a null alone");
  EXPECT_EQ(read(list({"\x4F\x13"}, 8)), "8: an object that is cut off") << "its length, too";
  EXPECT_EQ(xp_plist_binaryload(nullptr, 40), nullptr);
  EXPECT_EQ(xp_plist_binaryload(sample.data(), -1), nullptr);
}

TEST_F(binary, levels_at_the_limit_and_one_past_it) {
  const auto nested = [](uint64_t levels) {
    std::vector<std::string> objects;
    for (uint64_t i = 1; i < levels; ++i)
      objects.push_back(i % 2 != 0 ? array({i}) : "\xD1" + big_endian(levels, 2) + big_endian(i, 2));
    objects.insert(objects.end(), {"\xA0", "\x51k"});
    return read(list(objects, 2, 2));
  };
  EXPECT_TRUE(nested(512).starts_with("[{\"k\":[{\"k\":[")) << nested(512);
  EXPECT_TRUE(nested(513).ends_with(": too many levels of containers")) << nested(513);
}

TEST_F(binary, what_a_small_list_may_grow_into) {
  const auto million = [](uint64_t more) {
    std::vector<uint64_t> references(999, 1);
    references.insert(references.end(), more, 2);
    return read(list({array(references), array(std::vector<uint64_t>(1000, 2)), "\x09"}, 2, 2));
  };
  EXPECT_TRUE(million(0).starts_with("[[true,")) << "1 and 999 times 1001 values";
  EXPECT_TRUE(million(1).ends_with(": more values than a list of this size may have")) << million(1);

  std::vector<std::string> doubling;
  for (uint64_t i = 1; i < 100; ++i)
    doubling.push_back(array({i, i}));
  doubling.emplace_back("\x09");
  EXPECT_NE(read(list(doubling, 2, 2)).find(": more memory than"), std::string::npos)
      << "2 to the 99th values";

  const std::string data = "\x4F\x12" + big_endian(100000, 4) + std::string(100000, 'd');
  EXPECT_TRUE(read(list({array(std::vector<uint64_t>(20000, 1)), data}, 4, 2))
                  .ends_with(": more memory than a list of this size may take"));

  const std::string bytes = list({"\xA2\x01\x01", "\xA0"});
  const xp::ref tree = xp::ref::adopt(xp_plist_binaryload(bytes.data(), std::ssize(bytes)));
  const xp::ref first = xp::ref::adopt(xp_array_get(tree.get(), 0));
  const xp::ref second = xp::ref::adopt(xp_array_get(tree.get(), 1));
  EXPECT_NE(first.get(), second.get()) << "a tree shares no container";
}

}  // namespace
