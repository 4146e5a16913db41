#include "xp/format/directive.h"

#include <limits.h>
#include <string.h>

#include <array>

namespace {

struct flag_row {
  char letter;
  uint32_t flag;
};

constexpr flag_row front_flags[] = {{' ', XPF_SPACE}, {'#', XPF_ALTERNATE}, {'\'', XPF_GROUP},
                                    {'+', XPF_PLUS},  {',', XPF_MONEY},     {'-', XPF_LEFT},
                                    {'0', XPF_ZERO}};

// "'" is not here: it counts.
constexpr flag_row brace_flags[] = {{'$', XPF_MONEY},    {'^', XPF_UPPER},   {'_', XPF_LOWER},
                                    {'`', XPF_BACKTICK}, {'<', XPF_CDATA},   {'~', XPF_LITERAL},
                                    {'&', XPF_ENTITY},   {'@', XPF_PERCENT}, {'/', XPF_PERCENT_HIGH}};

struct kind_row {
  char conversion;
  xpf_kind kind;
};

constexpr kind_row conversions[] = {{'%', xpf_kind::percent},
                                    {'d', xpf_kind::signed_integer},
                                    {'i', xpf_kind::signed_integer},
                                    {'u', xpf_kind::unsigned_integer},
                                    {'o', xpf_kind::unsigned_integer},
                                    {'x', xpf_kind::unsigned_integer},
                                    {'X', xpf_kind::unsigned_integer},
                                    {'p', xpf_kind::pointer},
                                    {'c', xpf_kind::character},
                                    {'s', xpf_kind::text},
                                    {'S', xpf_kind::counted},
                                    {'P', xpf_kind::prefixed},
                                    {'T', xpf_kind::code},
                                    {'O', xpf_kind::object},
                                    {'e', xpf_kind::real},
                                    {'f', xpf_kind::real},
                                    {'g', xpf_kind::real},
                                    {'E', xpf_kind::real},
                                    {'F', xpf_kind::real},
                                    {'G', xpf_kind::real},
                                    {'H', xpf_kind::long_dump},
                                    {'h', xpf_kind::long_dump},
                                    {'D', xpf_kind::local_time},
                                    {'z', xpf_kind::local_time},
                                    {'Z', xpf_kind::utc_time},
                                    {'a', xpf_kind::unknown_real},
                                    {'A', xpf_kind::unknown_real}};

constexpr kind_row pointer_forms[] = {
    {'O', xpf_kind::object}, {'P', xpf_kind::prefixed}, {'S', xpf_kind::counted}, {'H', xpf_kind::dump},
    {'h', xpf_kind::dump},   {'B', xpf_kind::base64},   {'b', xpf_kind::base64},  {'U', xpf_kind::uuid}};

constexpr kind_row integer_forms[] = {
    {'z', xpf_kind::local_time}, {'Z', xpf_kind::utc_time}, {'T', xpf_kind::code}};

constexpr auto kind_table = [] {
  std::array<xpf_kind, 128> table{};
  for (const kind_row &row : conversions)
    table[static_cast<unsigned char>(row.conversion)] = row.kind;
  return table;
}();

template <typename Rows>
consteval auto make_flag_table(const Rows &rows) {
  std::array<uint32_t, 256> table{};
  for (const flag_row &row : rows)
    table[static_cast<unsigned char>(row.letter)] = row.flag;
  return table;
}

constexpr auto front_table = make_flag_table(front_flags);
constexpr auto brace_table = make_flag_table(brace_flags);

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Digits; a number that does not fit is as large as can be.
int read_number(const char *&at) {
  int value = 0;
  for (; is_digit(*at); ++at) {
    int digit = *at - '0';
    value = value > (INT_MAX - digit) / 10 ? INT_MAX : value * 10 + digit;
  }
  return value;
}

void read_position(const char *&at, xpf_arguments &arguments) {
  if (!is_digit(*at)) return;
  const char *digits = at;
  int number = read_number(digits);
  if (*digits != '$') return;
  arguments.select(number);
  at = digits + 1;
}

int take_int(xpf_arguments &arguments) {
  return static_cast<int>(arguments.take_integer(false));
}

void read_width(const char *&at, xpf_arguments &arguments, xpf_directive &directive) {
  if (*at != '*') {
    directive.width = read_number(at);
    return;
  }
  ++at;
  int width = take_int(arguments);
  if (width < 0) directive.flags |= XPF_LEFT;
  directive.width = width == INT_MIN ? INT_MAX : (width < 0 ? -width : width);
}

void read_precision(const char *&at, xpf_arguments &arguments, xpf_directive &directive) {
  if (*at != '.') return;
  if (*++at != '*') {
    directive.precision = read_number(at);
    return;
  }
  ++at;
  int precision = take_int(arguments);
  directive.precision = precision < 0 ? -1 : precision;
}

void read_length(const char *&at, xpf_directive &directive) {
  if (*at == 't') {
    directive.flags |= XPF_DIFF;
    ++at;
  } else if (*at == 'l') {
    bool twice = *++at == 'l';
    directive.flags |= twice ? XPF_LONG | XPF_QUAD : XPF_LONG;
    if (twice) ++at;
  } else if (strncmp(at, "I64", 3) == 0) {
    directive.flags |= XPF_QUAD;
    at += 3;
  }
}

// The brace part, when it has one of its shapes: {o} {o:flags} {o:flags:parameter} {:flags}
// {:flags:parameter}.
struct braces {
  char option = 0;
  const char *flags = nullptr;
  const char *flags_end = nullptr;
  const char *parameter = nullptr;
  const char *end = nullptr;  // the closing brace; null when the text is of no such shape
};

braces find_braces(const char *at) {
  braces result;
  if (*at++ != '{') return result;
  if (*at != 0 && *at != ':' && *at != '}') result.option = *at++;
  if (*at == '}' && result.option != 0) {
    result.end = at;
  } else if (*at == ':') {
    result.flags = ++at;
    while (*at != 0 && *at != ':' && *at != '}')
      ++at;
    result.flags_end = at;
    if (*at == ':') {
      result.parameter = ++at;
      while (*at != 0 && *at != '}')
        ++at;
    }
    if (*at == '}') result.end = at;
  }
  return result;
}

template <typename Rows>
void apply_option(const Rows &rows, char option, xpf_directive &directive) {
  for (const kind_row &row : rows) {
    if (row.conversion != option) continue;
    directive.kind = row.kind;
    directive.form = option;
  }
}

void read_braces(const char *&at, xpf_directive &directive) {
  braces part = find_braces(at);
  if (part.end == nullptr) return;
  if (directive.kind == xpf_kind::pointer) {
    apply_option(pointer_forms, part.option, directive);
  } else if (directive.kind == xpf_kind::signed_integer || directive.kind == xpf_kind::unsigned_integer) {
    apply_option(integer_forms, part.option, directive);
  }
  for (const char *flag = part.flags; flag != part.flags_end; ++flag) {
    if (*flag == '\'') {
      uint32_t quotes = ((directive.flags & XPF_QUOTES) << 1) | XPF_QUOTE_SINGLE;
      directive.flags |= quotes & XPF_QUOTES;
    } else {
      directive.flags |= brace_table[static_cast<unsigned char>(*flag)];
    }
  }
  directive.parameter = part.parameter;
  if (part.parameter != nullptr) directive.parameter_length = part.end - part.parameter;
  at = part.end + 1;
}

}  // namespace

const char *xpf_parse(const char *at, xpf_arguments &arguments, xpf_directive &directive) {
  read_position(at, arguments);
  while (uint32_t flag = front_table[static_cast<unsigned char>(*at)]) {
    directive.flags |= flag;
    ++at;
  }
  read_width(at, arguments, directive);
  read_precision(at, arguments, directive);
  read_length(at, directive);
  if (directive.has(XPF_LEFT)) directive.flags &= ~XPF_ZERO;
  if (directive.has(XPF_PLUS)) directive.flags &= ~XPF_SPACE;
  if (*at == 0) return at;
  directive.conversion = directive.form = *at++;
  auto index = static_cast<unsigned char>(directive.conversion);
  if (index < kind_table.size()) directive.kind = kind_table[index];
  if (directive.kind == xpf_kind::real && directive.conversion < 'a') directive.flags |= XPF_UPPER;
  if (*at == '{' && directive.kind != xpf_kind::percent) read_braces(at, directive);
  return at;
}

xpf_value xpf_take(const xpf_directive &directive, xpf_arguments &arguments) {
  xpf_value value;
  bool wide = directive.has(XPF_WIDE_INTEGER);
  switch (directive.kind) {
    case xpf_kind::percent: break;
    case xpf_kind::unknown: arguments.take_integer(true); break;
    case xpf_kind::unknown_real:
    case xpf_kind::real: value.real = arguments.take_real(); break;
    case xpf_kind::signed_integer:
    case xpf_kind::unsigned_integer:
    case xpf_kind::local_time:
    case xpf_kind::utc_time:
      value.number = arguments.take_integer(wide);
      // An unsigned int comes out of the arguments with its upper half filled by the sign.
      if (!wide && directive.takes_unsigned()) value.number &= UINT32_MAX;
      break;
    case xpf_kind::character:
    case xpf_kind::code: value.number = arguments.take_integer(false); break;
    case xpf_kind::counted:
    case xpf_kind::long_dump:
      value.number = arguments.take_integer(false);
      value.pointer = arguments.take_pointer();
      break;
    case xpf_kind::dump:
    case xpf_kind::base64:
      value.number = directive.precision;
      value.pointer = arguments.take_pointer();
      break;
    case xpf_kind::pointer:
    case xpf_kind::text:
    case xpf_kind::prefixed:
    case xpf_kind::object:
    case xpf_kind::uuid: value.pointer = arguments.take_pointer(); break;
  }
  return value;
}

void xpf_scan(const char *format, xpf_arguments &arguments) {
  while ((format = strchr(format, '%')) != nullptr) {
    xpf_directive directive;
    format = xpf_parse(format + 1, arguments, directive);
    if (directive.conversion == 0) return;
    xpf_take(directive, arguments);
  }
}
