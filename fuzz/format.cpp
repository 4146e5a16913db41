// The directive parser and the format engine. The input makes a format from the grammar, with the arguments
// of the types that it names, and their values: one directive with "*" and everything, or several with
// numbers. Measuring, a buffer and a stream agree; a short buffer holds a prefix that ends in no character
// and no escape; a writer's failure is the result. Every block has exactly the bytes that may be looked at.

#include "xp/format/format.h"

#include "xp/object/ref.h"
#include "xp/string/string.h"
#include "xp/string/text.h"

#include <bit>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

void require(bool held, const char *what, const std::string &format) {
  if (held) return;
  std::fprintf(stderr, "broken: %s: \"%s\"\n", what, format.c_str());
  std::abort();
}

// Takes the input to pieces.
class source {
public:
  source(const uint8_t *data, size_t size) : at_(data), end_(data + size) {}

  unsigned byte() { return at_ == end_ ? 0 : *at_++; }
  uint64_t word() {
    uint64_t value = 0;
    for (int i = 0; i < 8; ++i)
      value = value << 8 | byte();
    return value;
  }
  char pick(std::string_view letters) { return letters[byte() % letters.size()]; }
  std::string bytes(size_t most) {
    std::string result;
    for (size_t count = byte() % (most + 1); count > 0; --count)
      result += static_cast<char>(byte());
    return result;
  }
  // Text for a format, with nothing in it that begins a directive or ends the format.
  std::string words(size_t most) {
    std::string result = bytes(most);
    std::erase_if(result, [](char c) { return c == '%' || c == 0; });
    return result;
  }

private:
  const uint8_t *at_;
  const uint8_t *end_;
};

// A block of exactly these bytes.
std::unique_ptr<char[]> exact(std::string_view bytes) {
  std::unique_ptr<char[]> block(new char[bytes.size()]);
  bytes.copy(block.get(), bytes.size());
  return block;
}

struct stream_end {
  std::string text;
  size_t fails_at;
};

int64_t write(void *context, const char *bytes, int64_t length) {
  auto *to = static_cast<stream_end *>(context);
  if (to->text.size() + static_cast<size_t>(length) > to->fails_at) return -7;
  to->text.append(bytes, static_cast<size_t>(length));
  return length;
}

constexpr int64_t largest = 1 << 15;  // widths and precisions may ask for much more

bool is_valid(std::string_view text) {
  return xp_str_txtvalid(text.data(), static_cast<int64_t>(text.size())) < 0;
}

struct checker {
  std::string format;
  size_t short_size;
  bool percent_encoded;  // every "%" in the text begins an escape

  // The text in a buffer of so many bytes.
  std::string in_buffer(int64_t size, va_list arguments) const {
    const std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(size)]);
    va_list again;
    va_copy(again, arguments);
    const int64_t written = xp_fmt_vformat(buffer.get(), size, format.c_str(), again);
    va_end(again);
    require(written >= 0 && written < size && buffer[static_cast<size_t>(written)] == 0, "the text ends",
            format);
    return {buffer.get(), static_cast<size_t>(written)};
  }

  int64_t in_stream(stream_end &to, va_list arguments) const {
    va_list again;
    va_copy(again, arguments);
    const int64_t result = xp_fmt_vstream(write, &to, format.c_str(), again);
    va_end(again);
    return result;
  }

  void operator()(int dummy, ...) const {
    va_list arguments, again;
    va_start(arguments, dummy);
    va_copy(again, arguments);
    const int64_t length = xp_fmt_vformat(nullptr, 0, format.c_str(), again);
    va_end(again);
    require(length >= 0, "a length", format);
    const bool huge = length > largest;
    const std::string text = in_buffer(huge ? largest : length + 1, arguments);
    require(huge || static_cast<int64_t>(text.size()) == length, "the measured length", format);
    check_short(text, in_buffer(static_cast<int64_t>(short_size % (text.size() + 1) + 1), arguments));
    if (!huge) check_streams(text, arguments);
    va_end(arguments);
  }

  void check_short(const std::string &text, const std::string &beginning) const {
    require(text.starts_with(beginning), "a short buffer holds the beginning", format);
    // The halves of a character may stand in a value and in a format that is no UTF-8 itself.
    require(!is_valid(text) || !is_valid(format) || is_valid(beginning), "characters are whole", format);
    const size_t mark = beginning.rfind('%');
    require(!percent_encoded || mark == std::string::npos || mark + 3 <= beginning.size(),
            "escapes are whole", format);
  }

  void check_streams(const std::string &text, va_list arguments) const {
    stream_end all{"", SIZE_MAX};
    require(in_stream(all, arguments) == static_cast<int64_t>(text.size()) && all.text == text,
            "the stream has the same text", format);
    if (text.empty()) return;
    stream_end failing{"", short_size % text.size()};
    require(in_stream(failing, arguments) == -7 && text.starts_with(failing.text), "a failure is told",
            format);
  }
};

std::string braces(source &in, std::string_view options) {
  if (in.byte() % 2 == 0) return in.words(3) + "|";  // the "|" keeps what follows out of a brace part
  std::string result = "{";
  if (!options.empty()) result += in.pick(options);
  if (options.empty() || in.byte() % 4 != 0) result += ":";
  for (unsigned count = in.byte() % 5; count > 0; --count)
    result += in.pick("$^_'`<~&@/?");
  if (in.byte() % 4 == 0) result += ":" + in.words(12);
  return result + "}";
}

std::string flags(source &in) {
  std::string result;
  for (unsigned count = in.byte() % 4; count > 0; --count)
    result += in.pick(" #'+,-0");
  return result;
}

// A width or a precision: nothing, digits, or a star if there may be one.
std::string amount(source &in, bool &star) {
  switch (in.byte() % (star ? 4 : 3)) {
    case 3: return "*";
    case 2: star = false; return std::to_string(in.byte() % 8 == 0 ? in.word() : in.byte() % 70);
    default: star = false; return "";
  }
}

// One directive with up to two stars, `print` being called with what they take.
struct single {
  source &in;
  std::string format;
  bool plus = false;  // the flag
  bool width_star = true;
  bool precision_star = true;
  int width = 0;
  int precision = 0;
  checker check;

  explicit single(source &from) : in(from), format(in.words(20)) {
    const std::string given = flags(in);
    plus = given.find('+') != std::string::npos;
    format += "%" + given + amount(in, width_star);
    width = static_cast<int>(in.byte() % 8 == 0 ? in.word() : in.byte());
    precision = static_cast<int>(in.byte() % 8 == 0 ? in.word() : in.byte());
  }
  // The digits of a text or of a dump count its bytes: only a star keeps them inside of a block.
  void add_precision(bool digits) {
    if (in.byte() % 2 == 0 && digits) {
      precision_star = false;
      return;
    }
    format += ".";
    if (digits) {
      format += amount(in, precision_star);
    } else {
      format += "*";
    }
  }
  template <typename... Values>
  void run(const std::string &conversion, Values... values) {
    const bool encoded = plus && conversion[0] == 'S';
    const size_t front = format.size();
    format += conversion + in.words(20);
    check = {format, in.byte(), encoded && format.find('%') == format.rfind('%', front)};
    if (width_star && precision_star) {
      check(0, width, precision, values...);
    } else if (width_star) {
      check(0, width, values...);
    } else if (precision_star) {
      check(0, precision, values...);
    } else {
      check(0, values...);
    }
  }
};

// Time 0 is now, which would not be the same from one text to the next.
uint64_t apart_from_now(const std::string &conversion, uint64_t value) {
  return conversion.find_first_of("DzZ") == std::string::npos ? value : value | 1;
}

void one_number(source &in) {
  single one(in);
  one.add_precision(true);
  const uint64_t value = in.word() >> in.byte() % 64;
  switch (in.byte() % 4) {
    case 0: {
      std::string conversion(1, in.pick("diuoxXcTDzZ"));
      conversion += braces(in, conversion == "c" ? "" : "zZTq");
      one.run(conversion, static_cast<int>(apart_from_now(conversion, value)));
      break;
    }
    case 1: {
      std::string conversion = std::string(in.byte() % 2 == 0 ? "l" : "ll") + in.pick("diuoxXDzZ");
      conversion += braces(in, "zZq");
      one.run(conversion, apart_from_now(conversion, value));
      break;
    }
    case 2: one.run(in.pick("efgEFGaA") + braces(in, ""), std::bit_cast<double>(value)); break;
    default: one.run(in.pick("pkn") + std::string("|"), reinterpret_cast<void *>(value));
  }
}

void one_text(source &in) {
  single one(in);
  const std::string text = in.bytes(80);
  const auto size = static_cast<int>(text.size());
  const auto block = exact(text);
  const auto terminated = exact(text + '\0');
  const auto prefixed = exact(static_cast<char>(size) + text);
  const xp::ref object = xp::ref::adopt(xp_str_make(text.data(), size));
  const auto sixteen = exact((text + std::string(16, 'U')).substr(0, 16));
  switch (in.byte() % 8) {
    case 0:
      one.add_precision(true);
      one.run("s" + braces(in, ""), terminated.get());
      break;
    case 1:
      one.precision = size;
      one.add_precision(false);
      one.run("s" + braces(in, ""), block.get());
      break;
    case 2:
      one.add_precision(true);
      one.run("S" + braces(in, ""), size, block.get());
      break;
    case 3:
      one.add_precision(true);
      one.run("P" + braces(in, ""), prefixed.get());
      break;
    case 4:
      one.add_precision(true);
      one.run("O" + braces(in, ""), object.get());
      break;
    case 5:
      one.precision_star = false;
      one.run(in.pick("Hh") + braces(in, ""), size, block.get());
      break;
    case 6:
      one.precision = size;
      one.add_precision(false);
      one.run(std::string("p{") + in.pick("HhBb") + ":" + in.pick("^_+~") + "}", block.get());
      break;
    default: one.precision_star = false; one.run("p{U}", sixteen.get());
  }
}

// Several directives that take their arguments by number. The first ones tell the type of each.
void numbered(source &in) {
  const std::string text = in.bytes(60);
  const auto terminated = exact(text + '\0');
  const auto block = exact(text);
  std::u16string wide;
  for (unsigned count = in.byte() % 12; count > 0; --count)
    wide += static_cast<char16_t>(1 + in.word() % 0xFFFF);
  std::string format = "%d%lu%f%s%S%ls";
  for (unsigned count = in.byte() % 8; count > 0; --count) {
    bool star = false;
    const std::string_view conversions[] = {"d", "lx", "g", "s", "S", "ls"};
    const unsigned index = in.byte() % 6;
    const unsigned number = index + (index == 5 ? 2 : 1);
    format += in.words(6) + "%" + std::to_string(number) + "$" + flags(in) + amount(in, star);
    format += std::string(conversions[index]) + braces(in, "");
  }
  const checker check{format, in.byte(), false};
  check(0, static_cast<int>(in.word()), in.word(), std::bit_cast<double>(in.word()), terminated.get(),
        static_cast<int>(text.size()), block.get(), wide.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  source in(data, size);
  switch (in.byte() % 3) {
    case 0: one_number(in); break;
    case 1: one_text(in); break;
    default: numbered(in);
  }
  return 0;
}
