#include "xp/object/number.h"

#include "tests/support/objects.h"
#include "xp/object/boolean.h"
#include "xp/object/null.h"
#include "xp/object/type.h"

#include <math.h>
#include <stdlib.h>

#include <bit>
#include <charconv>
#include <random>

namespace {

using xp::ref;
using namespace std::string_literals;
using number_test = leak_check;
using boolean_test = leak_check;

ref real(double value) {
  return ref::adopt(xp_number_newfloat(value));
}

ref parse(const std::string &text) {
  return ref::adopt(xp_number_parse(text.data(), static_cast<int64_t>(text.size())));
}

TEST_F(number_test, small_integers_are_shared_and_negative_ones_never) {
  for (int64_t value : {int64_t{0}, int64_t{9}, int64_t{-1}, int64_t{10}, INT64_MIN, INT64_MAX}) {
    ref a = num(value);
    int32_t before = xp_refs(a.get());
    ref b = num(value);
    const bool shared = value >= 0 && value < 10;
    EXPECT_EQ(a.get() == b.get(), shared) << value;
    EXPECT_EQ(xp_refs(a.get()), before + shared);
    expect({xp_compare(a.get(), b.get()), xp_value(a.get()), xp_number_isfloat(a.get())},
           "0 " + std::to_string(value) + " 0");
    EXPECT_EQ(xp_number_float(a.get()), static_cast<double>(value));
  }
  ref five = num(5);
  EXPECT_NE(real(5.0).get(), five.get());
  EXPECT_EQ(ref::adopt(xp_duplicate(five.get(), 0)).get(), five.get());
}

// Everyday floats have a writer of their own; their neighbours do not.
TEST_F(number_test, a_number_is_its_shortest_text_and_reads_back_from_it) {
  constexpr unsigned seed = 20261121;
  std::mt19937_64 random(seed);
  for (int i = 0; i < 20000; ++i) {
    SCOPED_TRACE(testing::Message() << "seed " << seed << " round " << i);
    const int64_t integer = static_cast<int64_t>(random()) >> random() % 64;
    const std::string digits = std::to_string(integer);
    ASSERT_EQ(text_of(num(integer).get()), digits);
    ref back = parse(digits);
    ASSERT_EQ(xp_value(back.get()), integer);
    ASSERT_EQ(xp_number_isfloat(back.get()), 0);

    const double places[] = {1, 2, 10, 100, 1000, 10000};
    const double near = static_cast<double>(integer) / places[random() % 6];
    for (double value :
         {near, nextafter(near, 0.0), nextafter(near, HUGE_VAL), std::bit_cast<double>(random())}) {
      if (!isfinite(value)) continue;
      char text[64];
      std::string shortest(text, std::to_chars(text, text + sizeof text, value).ptr);
      if (shortest.find_first_of(".e") == std::string::npos) shortest += ".0";
      ASSERT_EQ(text_of(real(value).get()), shortest);
      ref again = parse(shortest);
      ASSERT_EQ(std::bit_cast<uint64_t>(xp_number_float(again.get())), std::bit_cast<uint64_t>(value));
      ASSERT_EQ(xp_number_isfloat(again.get()), 1);
    }
  }
}

TEST_F(number_test, a_float_is_cut_to_an_integer_and_only_zero_is_false) {
  const struct {
    double value;
    const char *expected;  // text, integer, truth
  } rows[] = {{0.25, "0.25 0 1"},
              {-0.9, "-0.9 0 1"},
              {2.5, "2.5 2 1"},
              {-2.5, "-2.5 -2 1"},
              {0.0, "0.0 0 0"},
              {-0.0, "-0.0 0 0"},
              {nextafter(0x1p63, 0), "9223372036854774784.0 9223372036854774784 1"},
              {0x1p63, "9223372036854775808.0 9223372036854775807 1"},
              {-0x1p63, "-9223372036854775808.0 -9223372036854775808 1"},
              {nextafter(-0x1p63, -INFINITY), "-9223372036854777856.0 -9223372036854775808 1"},
              {INFINITY, "inf 9223372036854775807 1"},
              {-INFINITY, "-inf -9223372036854775808 1"},
              {-NAN, "nan 0 1"}};
  for (const auto &[value, expected] : rows) {
    ref number = real(value);
    expect({number, xp_value(number.get()), xp_truthy(number.get())}, expected);
  }
  expect({xp_truthy(num(0).get()), xp_truthy(num(-1).get())}, "0 1");
}

TEST_F(number_test, order_is_by_integers_unless_one_is_a_float) {
  auto compare = [](const ref &a, const ref &b) { return xp_compare(a.get(), b.get()); };
  // As floats the first two would be equal.
  expect({compare(num(INT64_MAX - 1), num(INT64_MAX)), compare(num(INT64_MIN), num(INT64_MAX)),
          compare(num(INT64_MAX), real(0x1p63)), compare(real(1.5), num(1)), compare(real(-0.0), num(0)),
          compare(real(NAN), num(7)), compare(num(7), real(NAN)), compare(real(-INFINITY), num(INT64_MIN)),
          xp_num_compare(nullptr, num(1).get())},
         "-1 -1 0 1 0 0 0 -1 -1");
}

TEST_F(number_test, text_is_cut_to_the_buffer) {
  ref number = num(-12345);
  char buffer[8] = "#######";
  expect({xp_textify(number.get(), buffer, 3), buffer, xp_textify(number.get(), buffer, -1), buffer},
         "3 -12#### 0 -12####");
}

TEST_F(number_test, integers_are_read_up_to_what_does_not_fit) {
  for (const char *text :
       {"", "abc", "-", "--5", "+-5", ".", "-.", "e5", "- 5", " 5", "0x10", "inf", "nan", "-inf", "-0"})
    expect({parse(text), xp_number_isfloat(parse(text).get())}, "0 0");
  for (const auto &[text, value] :
       pairs_of("01>1 +7>7 12abc>12 1,5>1 000000000000000000000000000000000000000042>42 "
                "9223372036854775807>9223372036854775807 -9223372036854775808>-9223372036854775808"))
    expect({parse(text), xp_number_isfloat(parse(text).get())}, value + " 0");
  expect(
      {parse("5\0006"s), xp_number_parse("123", -1), xp_number_parse("123", 2), xp_number_parse(nullptr, -1)},
      "5 123 12 0");
}

TEST_F(number_test, floats_are_read_as_the_c_library_reads_them_whatever_their_size) {
  const std::string zeros(5000, '0');
  const std::string texts =
      "1.5 -1.5e3x 1E2 1. .5 -.5 -0.0 1e 1e+ 1.5.5 9223372036854775808 -9223372036854775809 1" + zeros +
      " -1e309 1e-400 -1e-400 0.0001e309 0." + zeros + "1 0." + zeros +
      "1e5002 0e999999999999999999999999 1e999999999999999999999999 1e-999999999999999999999999";
  for (const auto &[text, same] : pairs_of(texts)) {
    ref number = parse(text);
    EXPECT_EQ(std::bit_cast<uint64_t>(xp_number_float(number.get())),
              std::bit_cast<uint64_t>(strtod(text.c_str(), nullptr)))
        << text;
    EXPECT_EQ(xp_number_isfloat(number.get()), 1) << text;
  }
}

TEST_F(number_test, coercing_takes_numbers_as_they_are_and_others_by_value) {
  ref number = real(2.5), truth = ref::adopt(xp_boolean_new(1)), nothing = ref::adopt(xp_null_new());
  EXPECT_EQ(ref::adopt(xp_number_coerce(number.get())).get(), number.get());
  expect({xp_number_coerce(truth.get()), xp_number_coerce(nothing.get()), xp_number_coerce(nullptr)},
         "1 0 null");
}

TEST_F(boolean_test, there_are_exactly_two) {
  ref yes = ref::adopt(xp_boolean_new(1)), no = ref::adopt(xp_boolean_new(0));
  EXPECT_EQ(ref::adopt(xp_boolean_new(int64_t{1} << 32)).get(), yes.get());
  EXPECT_EQ(ref::adopt(xp_boolean_new(-1)).get(), yes.get());
  EXPECT_EQ(ref::adopt(xp_boolean_new(0)).get(), no.get());
  EXPECT_EQ(ref::adopt(xp_duplicate(no.get(), 0)).get(), no.get());
  uint32_t length = 0;
  EXPECT_STREQ(xp::result_pointer<const char>(xp_control(no.get(), XP_CTL_POINTER, 0, &length)), "false");
  expect({length, xp_control(no.get(), XP_CTL_POINTER, 1, &length), xp_compare(no.get(), yes.get()),
          xp_compare(yes.get(), no.get()), xp_truthy(no.get()), xp_truthy(yes.get()), xp_value(yes.get()),
          yes, no},
         "5 0 -1 1 0 1 1 true false");
}

// What an object writes into a record of its own.
std::string content_of(const ref &obj) {
  static std::string content;
  ref set = ref::adopt(xp_new(xp_code("set "), 0));
  set.get()->control = [](xp_obj *, uint32_t, int64_t, void *pointer) -> int64_t {
    const auto &record = *static_cast<xp_record *>(pointer);
    content.assign(static_cast<const char *>(record.data), record.length);
    return record.length;
  };
  EXPECT_EQ(xp_control(obj.get(), XP_CTL_SERIALIZE, 0, set.get()), 8);
  return content;
}

// Whole records of every value are seen in tests/ipc.
TEST_F(number_test, records_hold_the_integer_big_endian_and_booleans_in_their_first_half) {
  const ref any = num(0), five = num(5), yes = ref::adopt(xp_boolean_new(1));
  EXPECT_EQ(content_of(real(-2.75)), "\xff\xff\xff\xff\xff\xff\xff\xfe");
  EXPECT_EQ(content_of(yes), "\0\0\0\1\0\0\0\0"s);
  EXPECT_EQ(xp_control(five.get(), XP_CTL_SERIALIZE, 0, nullptr), 0);
  const struct {
    const ref &prototype;
    uint32_t name;
    const char *record, *read;
  } rows[] = {{any, xp_code("age"), "age\0xnum\0\0\0\x08\xff\xff\xff\xff\xff\xff\xff\xfe", "-2"},
              {any, 0, "age\0xnum\0\0\1\0\0\0\0\0\0\0\0\2", "2"},
              {any, xp_code("aged"), "age\0xnum\0\0\0\x08\0\0\0\0\0\0\0\2", "null"},
              {any, 0, "age\0xnum\0\0\0\7\0\0\0\0\0\0\0\2", "null"},
              {any, 0, nullptr, "null"},
              {any, 0, "flagbool\0\0\0\x08\0\0\0\1\0\0\0\0", "null"},
              {yes, 0, "flagbool\0\0\0\x08\1\0\0\0\0\0\0\0", "true"},
              {yes, xp_code("flag"), "flagbool\0\0\0\4\0\0\0\0", "false"},
              {yes, xp_code("flog"), "flagbool\0\0\0\4\0\0\0\1", "null"},
              {yes, 0, "flagbool\0\0\0\3\0\0\0\1", "null"}};
  for (const auto &row : rows)
    EXPECT_EQ(taken(xp_deserialize(row.prototype.get(), row.name, row.record)), row.read) << &row - rows;
  EXPECT_EQ(ref::adopt(xp_deserialize(any.get(), 0, "age\0xnum\0\0\0\x08\0\0\0\0\0\0\0\5")).get(),
            five.get());
}

}  // namespace
