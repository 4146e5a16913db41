#include "xp/object/number.h"

#include "tests/support/objects.h"
#include "xp/object/boolean.h"
#include "xp/object/null.h"
#include "xp/object/record.h"
#include "xp/object/type.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

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
  ref shared = num(5);
  EXPECT_NE(real(5.0).get(), shared.get());
  EXPECT_EQ(ref::adopt(xp_duplicate(shared.get(), 0)).get(), shared.get());
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

TEST_F(number_test, the_integer_of_a_float_is_cut_and_saturated) {
  const std::pair<double, int64_t> cases[] = {{0.9, 0},
                                              {-0.9, 0},
                                              {2.5, 2},
                                              {-2.5, -2},
                                              {0x1p53, int64_t{1} << 53},
                                              {0x1p63, INT64_MAX},
                                              {nextafter(0x1p63, 0), INT64_MAX - 1023},
                                              {-0x1p63, INT64_MIN},
                                              {nextafter(-0x1p63, -INFINITY), INT64_MIN},
                                              {1e300, INT64_MAX},
                                              {-INFINITY, INT64_MIN},
                                              {NAN, 0}};
  for (auto [value, integer] : cases)
    EXPECT_EQ(xp_value(real(value).get()), integer) << value;
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

TEST_F(number_test, zero_is_false_and_nan_is_true) {
  auto truth = [](const ref &number) { return xp_truthy(number.get()); };
  expect({truth(num(0)), truth(num(-1)), truth(real(-0.0)), truth(real(0.25)), truth(real(NAN))},
         "0 1 0 1 1");
}

TEST_F(number_test, text_of_the_ends_and_of_what_is_cut) {
  expect({num(INT64_MIN), num(INT64_MAX), real(-0.0), real(5e-324), real(INFINITY), real(-INFINITY),
          real(NAN), real(-NAN)},
         "-9223372036854775808 9223372036854775807 -0.0 5e-324 inf -inf nan nan");
  ref number = num(-12345);
  char buffer[8] = "#######";
  expect({xp_textify(number.get(), buffer, 3), buffer, xp_textify(number.get(), buffer, 0),
          xp_textify(number.get(), buffer, -1), buffer},
         "3 -12#### 0 0 -12####");
}

TEST_F(number_test, integers_are_read_up_to_what_does_not_fit) {
  for (const char *text :
       {"", "abc", "-", "--5", "+-5", ".", "-.", "e5", "- 5", " 5", "0x10", "inf", "nan", "-inf", "-0"})
    expect({parse(text), xp_number_isfloat(parse(text).get())}, "0 0");
  const std::pair<std::string, int64_t> cases[] = {{"01", 1},
                                                   {"+7", 7},
                                                   {"12abc", 12},
                                                   {std::string("5\0006", 3), 5},
                                                   {"1,5", 1},
                                                   {"000000000000000000000000000000000000000042", 42},
                                                   {"9223372036854775807", INT64_MAX},
                                                   {"-9223372036854775808", INT64_MIN}};
  for (const auto &[text, value] : cases)
    expect({parse(text), xp_number_isfloat(parse(text).get())}, std::to_string(value) + " 0");
  expect({xp_number_parse("123", -1), xp_number_parse("123", 2), xp_number_parse(nullptr, -1)}, "123 12 0");
}

TEST_F(number_test, floats_are_read_as_the_c_library_reads_them_whatever_their_size) {
  const std::string zeros(5000, '0');
  const std::string texts =
      "1.5 -1.5e3x 1E2 1. .5 -.5 -0.0 1e 1e+ 1.5.5 9223372036854775808 -9223372036854775809 1" + zeros +
      " -1e309 1e-400 -1e-400 0.0001e309 0." + zeros + "1 0." + zeros +
      "1e5002 0e999999999999999999999999 1e999999999999999999999999 "
      "1e-999999999999999999999999";
  for (const auto &[text, same] : pairs_of(texts)) {
    ref number = parse(text);
    EXPECT_EQ(std::bit_cast<uint64_t>(xp_number_float(number.get())),
              std::bit_cast<uint64_t>(strtod(text.c_str(), nullptr)))
        << text;
    EXPECT_EQ(xp_number_isfloat(number.get()), 1) << text;
  }
}

TEST_F(number_test, coercing_takes_numbers_as_they_are_and_others_by_value) {
  ref number = real(2.5);
  EXPECT_EQ(ref::adopt(xp_number_coerce(number.get())).get(), number.get());
  ref truth = ref::adopt(xp_boolean_new(1));
  ref nothing = ref::adopt(xp_null_new());
  expect({xp_number_coerce(truth.get()), xp_number_coerce(nothing.get()), xp_number_coerce(nullptr)},
         "1 0 null");
}

// The record that an object adds, as it would be received; a record set keeps the last.
struct last_record : xp_obj {
  static constexpr uint32_t code = xp_code("last");
  char bytes[64];
};

int64_t keep_record(xp_obj *obj, uint32_t code, int64_t /*argument*/, void *pointer) {
  if (code != XP_CTL_ADDRECORD) return 0;
  char *bytes = xp::as<last_record>(obj)->bytes;
  const auto *record = static_cast<xp_record *>(pointer);
  memcpy(bytes, &record->name, 4);
  memcpy(bytes + 4, &record->type, 4);
  xp::store_be32(reinterpret_cast<unsigned char *>(bytes) + 8, record->length);
  memcpy(bytes + 12, record->data, record->length);
  return 12 + record->length;
}

std::string record_of(const ref &obj, uint32_t name) {
  auto *set = xp::make<last_record>({.retain = xp_obj_retain,
                                     .release = xp_obj_release,
                                     .compare = nullptr,
                                     .textify = nullptr,
                                     .control = keep_record});
  ref owner = ref::adopt(set);
  const int64_t length = xp_control(obj.get(), XP_CTL_SERIALIZE, name, set);
  return {set->bytes, static_cast<size_t>(length)};
}

ref read_back(const ref &prototype, uint32_t name, std::string record, char length) {
  record[11] = length;
  return ref::adopt(xp_deserialize(prototype.get(), name, record.data()));
}

TEST_F(number_test, records_hold_the_integer_big_endian_and_need_eight_bytes) {
  const ref any = num(0);
  const std::string record = record_of(real(-2.75), xp_code("age"));
  EXPECT_EQ(record, std::string("age\0xnum\0\0\0\x08\xff\xff\xff\xff\xff\xff\xff\xfe", 20));
  expect({read_back(any, xp_code("age"), record, 8), read_back(any, 0, record, 8),
          read_back(any, xp_code("aged"), record, 8), read_back(any, 0, record, 7),
          read_back(any, 0, record, '\xff'), xp_deserialize(any.get(), 0, nullptr)},
         "-2 -2 null null -2 null");
  const ref five = num(5);
  EXPECT_EQ(read_back(any, 0, record_of(five, 0), 8).get(), five.get());
  EXPECT_EQ(xp_control(five.get(), XP_CTL_SERIALIZE, 0, nullptr), 0);
}

TEST_F(boolean_test, there_are_exactly_two) {
  ref yes = ref::adopt(xp_boolean_new(1));
  ref no = ref::adopt(xp_boolean_new(0));
  EXPECT_EQ(ref::adopt(xp_boolean_new(int64_t{1} << 32)).get(), yes.get());
  EXPECT_EQ(ref::adopt(xp_boolean_new(-1)).get(), yes.get());
  EXPECT_EQ(ref::adopt(xp_boolean_new(0)).get(), no.get());
  EXPECT_EQ(ref::adopt(xp_duplicate(no.get(), 0)).get(), no.get());
  EXPECT_LT(xp_compare(no.get(), yes.get()), 0);
  EXPECT_GT(xp_compare(yes.get(), no.get()), 0);
  expect({xp_truthy(no.get()), xp_truthy(yes.get()), xp_value(yes.get()), yes, no}, "0 1 1 true false");
  uint32_t length = 0;
  EXPECT_STREQ(xp::result_pointer<const char>(xp_control(no.get(), XP_CTL_POINTER, 0, &length)), "false");
  EXPECT_EQ(length, 5u);
  EXPECT_EQ(xp_control(no.get(), XP_CTL_POINTER, 1, &length), 0);
}

TEST_F(boolean_test, records_hold_four_bytes_of_value_and_four_of_zero) {
  ref yes = ref::adopt(xp_boolean_new(1));
  const std::string record = record_of(yes, xp_code("flag"));
  EXPECT_EQ(record, std::string("flagbool\0\0\0\x08\0\0\0\x01\0\0\0\0", 20));
  expect({read_back(yes, 0, record, 8), read_back(yes, 0, record, 4), read_back(yes, 0, record, 3),
          read_back(num(1), 0, record, 8)},
         "true true null null");
}

}  // namespace
