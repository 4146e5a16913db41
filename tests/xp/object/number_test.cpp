#include "xp/object/number.h"

#include "tests/support/leak_check.h"
#include "xp/object/boolean.h"
#include "xp/object/null.h"
#include "xp/object/record.h"
#include "xp/object/ref.h"
#include "xp/object/type.h"

#include <math.h>
#include <string.h>

#include <bit>
#include <limits>
#include <random>
#include <string>

namespace {

using xp::ref;

class number_test : public leak_check {};
class boolean_test : public leak_check {};

std::string text_of(xp_obj *obj) {
  std::string text(static_cast<size_t>(xp_textify(obj, nullptr, 0)), '\0');
  EXPECT_EQ(xp_textify(obj, text.data(), static_cast<int64_t>(text.size())),
            static_cast<int64_t>(text.size()));
  return text;
}

std::string text_of_float(double value) {
  return text_of(ref::adopt(xp_number_newfloat(value)).get());
}

ref parse(const std::string &text) {
  return ref::adopt(xp_number_parse(text.data(), static_cast<int64_t>(text.size())));
}

// A record set that keeps the last record it was given.
struct last_record : xp_obj {
  static constexpr uint32_t code = xp_code("last");
  xp_record record;
  unsigned char bytes[64];  // the record as it would be received
};

int64_t keep_record(xp_obj *obj, uint32_t code, int64_t /*argument*/, void *pointer) {
  if (code != XP_CTL_ADDRECORD) return 0;
  auto *set = xp::as<last_record>(obj);
  set->record = *static_cast<xp_record *>(pointer);
  memcpy(set->bytes, &set->record.name, 4);
  memcpy(set->bytes + 4, &set->record.type, 4);
  xp::store_be32(set->bytes + 8, set->record.length);
  memcpy(set->bytes + 12, set->record.data, set->record.length);
  return 12 + set->record.length;
}

ref new_record_set() {
  auto *set = xp::make<last_record>({.retain = xp_obj_retain,
                                     .release = xp_obj_release,
                                     .compare = nullptr,
                                     .textify = nullptr,
                                     .control = keep_record});
  return ref::adopt(set);
}

TEST_F(number_test, small_integers_are_shared_and_negative_ones_never) {
  for (int64_t value = 0; value < 10; ++value) {
    ref a = ref::adopt(xp_number_new(value));
    int32_t before = xp_refs(a.get());
    ref b = ref::adopt(xp_number_new(value));
    EXPECT_EQ(a.get(), b.get());
    EXPECT_EQ(xp_refs(a.get()), before + 1);
    EXPECT_EQ(xp_value(a.get()), value);
  }
  for (int64_t value : {int64_t{-1}, int64_t{10}, INT64_MIN, INT64_MAX}) {
    ref a = ref::adopt(xp_number_new(value));
    ref b = ref::adopt(xp_number_new(value));
    EXPECT_NE(a.get(), b.get());
    EXPECT_EQ(xp_compare(a.get(), b.get()), 0);
    EXPECT_EQ(xp_value(a.get()), value);
    EXPECT_EQ(xp_number_isfloat(a.get()), 0);
    EXPECT_EQ(xp_number_float(a.get()), static_cast<double>(value));
  }
  ref shared = ref::adopt(xp_number_new(5));
  EXPECT_NE(ref::adopt(xp_number_newfloat(5.0)).get(), shared.get());
  EXPECT_EQ(ref::adopt(xp_duplicate(shared.get(), 0)).get(), shared.get());
}

TEST_F(number_test, the_integer_of_a_float_is_cut_and_saturated) {
  struct {
    double real;
    int64_t integer;
  } const cases[] = {
      {0.9, 0},
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
      {NAN, 0},
  };
  for (auto [real, integer] : cases) {
    EXPECT_EQ(xp_value(ref::adopt(xp_number_newfloat(real)).get()), integer) << real;
  }
}

TEST_F(number_test, order_is_by_integers_unless_one_is_a_float) {
  auto compare = [](ref a, ref b) { return xp_compare(a.get(), b.get()); };
  auto integer = [](int64_t value) { return ref::adopt(xp_number_new(value)); };
  auto real = [](double value) { return ref::adopt(xp_number_newfloat(value)); };
  // As floats these two would be equal.
  EXPECT_EQ(compare(integer(INT64_MAX - 1), integer(INT64_MAX)), -1);
  EXPECT_EQ(compare(integer(INT64_MIN), integer(INT64_MAX)), -1);
  EXPECT_EQ(compare(integer(INT64_MAX), real(0x1p63)), 0);
  EXPECT_EQ(compare(real(1.5), integer(1)), 1);
  EXPECT_EQ(compare(real(-0.0), integer(0)), 0);
  EXPECT_EQ(compare(real(NAN), integer(7)), 0);
  EXPECT_EQ(compare(integer(7), real(NAN)), 0);
  EXPECT_EQ(compare(real(-INFINITY), integer(INT64_MIN)), -1);
  EXPECT_EQ(xp_num_compare(nullptr, integer(1).get()), -1);
}

TEST_F(number_test, zero_is_false_and_nan_is_true) {
  EXPECT_EQ(xp_truthy(ref::adopt(xp_number_new(0)).get()), 0);
  EXPECT_EQ(xp_truthy(ref::adopt(xp_number_new(-1)).get()), 1);
  EXPECT_EQ(xp_truthy(ref::adopt(xp_number_newfloat(0.0)).get()), 0);
  EXPECT_EQ(xp_truthy(ref::adopt(xp_number_newfloat(-0.0)).get()), 0);
  EXPECT_EQ(xp_truthy(ref::adopt(xp_number_newfloat(0.25)).get()), 1);
  EXPECT_EQ(xp_truthy(ref::adopt(xp_number_newfloat(NAN)).get()), 1);
}

TEST_F(number_test, text_is_the_shortest_that_reads_back) {
  EXPECT_EQ(text_of(ref::adopt(xp_number_new(INT64_MIN)).get()), "-9223372036854775808");
  EXPECT_EQ(text_of(ref::adopt(xp_number_new(INT64_MAX)).get()), "9223372036854775807");
  EXPECT_EQ(text_of_float(1.0), "1.0");
  EXPECT_EQ(text_of_float(-0.0), "-0.0");
  EXPECT_EQ(text_of_float(0.1), "0.1");
  EXPECT_EQ(text_of_float(1e22), "1e+22");
  EXPECT_EQ(text_of_float(123456.0), "123456.0");
  EXPECT_EQ(text_of_float(5e-324), "5e-324");
  EXPECT_EQ(text_of_float(INFINITY), "inf");
  EXPECT_EQ(text_of_float(-INFINITY), "-inf");
  EXPECT_EQ(text_of_float(NAN), "nan");
  EXPECT_EQ(text_of_float(-NAN), "nan");

  ref number = ref::adopt(xp_number_new(-12345));
  char buffer[8] = "#######";
  EXPECT_EQ(xp_textify(number.get(), buffer, 3), 3);
  EXPECT_STREQ(buffer, "-12####");
  EXPECT_EQ(xp_textify(number.get(), buffer, 0), 0);
  EXPECT_EQ(xp_textify(number.get(), buffer, -1), 0);
  EXPECT_STREQ(buffer, "-12####");
}

TEST_F(number_test, random_numbers_survive_text_and_back) {
  std::mt19937_64 random(20240611);
  for (int i = 0; i < 20000; ++i) {
    uint64_t bits = random() >> (random() % 64);
    ref integer = ref::adopt(xp_number_new(static_cast<int64_t>(bits)));
    ref back = parse(text_of(integer.get()));
    ASSERT_EQ(xp_value(back.get()), static_cast<int64_t>(bits));
    ASSERT_EQ(xp_number_isfloat(back.get()), 0);

    auto real = std::bit_cast<double>(random());
    if (!isfinite(real)) continue;
    ref again = parse(text_of_float(real));
    ASSERT_EQ(std::bit_cast<uint64_t>(xp_number_float(again.get())), std::bit_cast<uint64_t>(real)) << real;
    ASSERT_EQ(xp_number_isfloat(again.get()), 1) << real;
  }
}

TEST_F(number_test, integers_are_read_up_to_what_does_not_fit) {
  struct {
    std::string text;
    int64_t value;
  } const cases[] = {
      {"0", 0},
      {"01", 1},
      {"-0", 0},
      {"+7", 7},
      {"12abc", 12},
      {"", 0},
      {"abc", 0},
      {"-", 0},
      {"--5", 0},
      {"+-5", 0},
      {".", 0},
      {"-.", 0},
      {"e5", 0},
      {"- 5", 0},
      {" 5", 0},
      {"0x10", 0},
      {"inf", 0},
      {"nan", 0},
      {"-inf", 0},
      {"5\0006", 5},
      {"1,5", 1},
      {"000000000000000000000000000000000000000042", 42},
      {"9223372036854775807", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
  };
  for (const auto &[text, value] : cases) {
    ref number = parse(text);
    EXPECT_EQ(xp_value(number.get()), value) << text;
    EXPECT_EQ(xp_number_isfloat(number.get()), 0) << text;
  }
  EXPECT_EQ(xp_value(ref::adopt(xp_number_parse("123", -1)).get()), 123);
  EXPECT_EQ(xp_value(ref::adopt(xp_number_parse("123", 2)).get()), 12);
  EXPECT_EQ(xp_value(ref::adopt(xp_number_parse(nullptr, -1)).get()), 0);
}

TEST_F(number_test, floats_are_read_whatever_their_size) {
  std::string zeros(5000, '0');
  struct {
    std::string text;
    double value;
  } const cases[] = {
      {"1.5", 1.5},
      {"-1.5e3x", -1500.0},
      {"1E2", 100.0},
      {"1.", 1.0},
      {".5", 0.5},
      {"-.5", -0.5},
      {"-0.0", -0.0},
      {"1e", 1.0},
      {"1e+", 1.0},
      {"1.5.5", 1.5},
      {"9223372036854775808", 0x1p63},
      {"-9223372036854775809", -0x1p63},
      {"1" + zeros, HUGE_VAL},
      {"-1e309", -HUGE_VAL},
      {"1e-400", 0.0},
      {"-1e-400", -0.0},
      {"0.0001e309", 1e305},
      {"0." + zeros + "1", 0.0},
      {"0." + zeros + "1e5002", 10.0},
      {"0e999999999999999999999999", 0.0},
      {"1e999999999999999999999999", HUGE_VAL},
      {"1e-999999999999999999999999", 0.0},
  };
  for (const auto &[text, value] : cases) {
    ref number = parse(text);
    EXPECT_EQ(std::bit_cast<uint64_t>(xp_number_float(number.get())), std::bit_cast<uint64_t>(value)) << text;
    EXPECT_EQ(xp_number_isfloat(number.get()), 1) << text;
  }
}

TEST_F(number_test, coercing_takes_numbers_as_they_are_and_others_by_value) {
  ref number = ref::adopt(xp_number_newfloat(2.5));
  EXPECT_EQ(ref::adopt(xp_number_coerce(number.get())).get(), number.get());
  ref truth = ref::adopt(xp_boolean_new(1));
  EXPECT_EQ(xp_value(ref::adopt(xp_number_coerce(truth.get())).get()), 1);
  ref nothing = ref::adopt(xp_null_new());
  EXPECT_EQ(xp_value(ref::adopt(xp_number_coerce(nothing.get())).get()), 0);
  EXPECT_EQ(xp_number_coerce(nullptr), nullptr);
}

TEST_F(number_test, records_hold_the_integer_big_endian_and_need_eight_bytes) {
  ref set = new_record_set();
  auto *kept = xp::as<last_record>(set.get());
  ref number = ref::adopt(xp_number_newfloat(-2.75));
  EXPECT_EQ(xp_control(number.get(), XP_CTL_SERIALIZE, xp_code("age"), set.get()), 20);
  EXPECT_EQ(memcmp(kept->bytes, "age\0xnum\0\0\0\x08\xff\xff\xff\xff\xff\xff\xff\xfe", 20), 0);

  ref any = ref::adopt(xp_number_new(0));
  EXPECT_EQ(xp_value(ref::adopt(xp_deserialize(any.get(), xp_code("age"), kept->bytes)).get()), -2);
  EXPECT_EQ(xp_value(ref::adopt(xp_deserialize(any.get(), 0, kept->bytes)).get()), -2);
  EXPECT_EQ(xp_deserialize(any.get(), xp_code("aged"), kept->bytes), nullptr);
  EXPECT_EQ(xp_deserialize(any.get(), 0, nullptr), nullptr);
  xp::store_be32(kept->bytes + 8, 7);
  EXPECT_EQ(xp_deserialize(any.get(), 0, kept->bytes), nullptr);
  xp::store_be32(kept->bytes + 8, 0xffffffff);
  EXPECT_NE(ref::adopt(xp_deserialize(any.get(), 0, kept->bytes)).get(), nullptr);

  ref five = ref::adopt(xp_number_new(5));
  xp_control(five.get(), XP_CTL_SERIALIZE, 0, set.get());
  EXPECT_EQ(ref::adopt(xp_deserialize(any.get(), 0, kept->bytes)).get(), five.get());
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
  EXPECT_EQ(xp_truthy(no.get()), 0);
  EXPECT_EQ(xp_truthy(yes.get()), 1);
  EXPECT_EQ(xp_value(yes.get()), 1);
  EXPECT_EQ(text_of(yes.get()), "true");
  EXPECT_EQ(text_of(no.get()), "false");

  uint32_t length = 0;
  EXPECT_STREQ(xp::result_pointer<const char>(xp_control(no.get(), XP_CTL_POINTER, 0, &length)), "false");
  EXPECT_EQ(length, 5u);
  EXPECT_EQ(xp_control(no.get(), XP_CTL_POINTER, 1, &length), 0);
}

TEST_F(boolean_test, records_hold_four_bytes_of_value_and_four_of_zero) {
  ref set = new_record_set();
  auto *kept = xp::as<last_record>(set.get());
  ref yes = ref::adopt(xp_boolean_new(1));
  EXPECT_EQ(xp_control(yes.get(), XP_CTL_SERIALIZE, xp_code("flag"), set.get()), 20);
  EXPECT_EQ(memcmp(kept->bytes, "flagbool\0\0\0\x08\0\0\0\x01\0\0\0\0", 20), 0);
  EXPECT_EQ(ref::adopt(xp_deserialize(yes.get(), 0, kept->bytes)).get(), yes.get());
  xp::store_be32(kept->bytes + 8, 4);
  EXPECT_EQ(ref::adopt(xp_deserialize(yes.get(), 0, kept->bytes)).get(), yes.get());
  xp::store_be32(kept->bytes + 8, 3);
  EXPECT_EQ(xp_deserialize(yes.get(), 0, kept->bytes), nullptr);
  ref number = ref::adopt(xp_number_new(1));
  EXPECT_EQ(xp_deserialize(number.get(), 0, kept->bytes), nullptr);
}

}  // namespace
