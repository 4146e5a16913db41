#include "xp/string/scan.h"

#include "xp/string/class.h"
#include "xp/string/string.h"
#include "xp/string/string_impl.h"

#include <stdarg.h>
#include <string.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace {

using view = std::string_view;

// A field as the pattern asks for it.
struct directive {
  bool stored = true;
  size_t most = view::npos;
  char kind = 0;
  view set;  // of a class
};

// What has been read for a field, kept until the whole pattern has matched.
struct field {
  enum { integer, natural, real, text } type = text;
  void *target = nullptr;
  int64_t signed_value = 0;
  uint64_t unsigned_value = 0;
  double real_value = 0;
  view bytes;
  xp_obj *made = nullptr;
};

// The caller's pointers, so that every function takes from the same list.
struct pointer_list {
  va_list at;
};

bool is_blank(char c) {
  return static_cast<unsigned char>(c) < 33;
}

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// The bytes at the start for which `member` holds.
template <typename Member>
size_t run(view text, Member member) {
  return static_cast<size_t>(std::find_if_not(text.begin(), text.end(), member) - text.begin());
}

// Moves the pattern behind the field at its start; false when it is none.
bool take_directive(view &pattern, directive &d) {
  pattern.remove_prefix(1);
  if (pattern.starts_with('*')) {
    d.stored = false;
    pattern.remove_prefix(1);
  }
  if (size_t digits = run(pattern, is_digit); digits > 0) {
    size_t most = 0;
    if (std::from_chars(pattern.data(), pattern.data() + digits, most).ec == std::errc() && most > 0)
      d.most = most;
    pattern.remove_prefix(digits);
  }
  if (pattern.empty()) return false;
  d.kind = pattern.front();
  pattern.remove_prefix(1);
  return true;
}

// Moves the pattern behind the class whose bracket has been read; false when it has no end. Names hold
// brackets of their own.
bool take_set(view &pattern, view &set) {
  for (size_t at = 0; at < pattern.size(); ++at) {
    view here = pattern.substr(at);
    if (here.starts_with("[:")) {
      size_t end = here.find(":]");
      if (end != view::npos) at += end + 1;
    } else if (here.front() == '\\') {
      ++at;
    } else if (here.front() == ']') {
      set = pattern.substr(0, at);
      pattern.remove_prefix(at + 1);
      return true;
    }
  }
  return false;
}

// How many bytes of the text are of the class.
size_t set_run(view text, view set) {
  unsigned char table[256] = {};
  bool inside = !set.starts_with('^');
  if (!inside) set.remove_prefix(1);
  xps_charclass_add(set.data(), static_cast<int64_t>(set.size()), XP_CLASS_EXACT, 1, table);
  return run(text, [&](char c) { return (table[static_cast<unsigned char>(c)] != 0) == inside; });
}

// How many bytes %t takes, by what follows it in the pattern; npos when that is not in the text.
size_t text_run(view text, view pattern) {
  if (pattern.starts_with("%%")) return text.find('%');
  if (pattern.empty() || pattern.front() == '%') return text.size();
  if (is_blank(pattern.front())) return run(text, [](char c) { return !is_blank(c); });
  size_t literal = run(pattern, [](char c) { return c != '%' && !is_blank(c); });
  return text.find(pattern.substr(0, literal));
}

// How many bytes a number takes; 0 when there is none or it does not fit. A "+" is not the library's to read.
template <typename Value, typename Style>
size_t read_number(view text, Value &value, Style style) {
  size_t sign = text.starts_with('+') ? 1 : 0;
  if (sign == 1 && text.substr(1).starts_with('-')) return 0;
  std::from_chars_result read = std::from_chars(text.data() + sign, text.data() + text.size(), value, style);
  return read.ec == std::errc() ? static_cast<size_t>(read.ptr - text.data()) : 0;
}

// Words such as "inf" are numbers to the library, but not here.
size_t read_real(view text, double &value) {
  view digits = text.substr(text.starts_with('+') || text.starts_with('-') ? 1 : 0);
  bool readable = !digits.empty() && (is_digit(digits.front()) || digits.front() == '.');
  return readable ? read_number(text, value, std::chars_format::general) : 0;
}

size_t read_natural(view text, uint64_t &value, int base) {
  return text.starts_with('+') ? 0 : read_number(text, value, base);
}

class scanner {
public:
  scanner(view text, view pattern) : text_(text), pattern_(pattern), length_(text.size()) {}

  // False on a mismatch. The pointers are taken as the fields come.
  bool match(pointer_list &pointers) {
    while (!pattern_.empty()) {
      if (is_blank(pattern_.front())) {
        pattern_.remove_prefix(run(pattern_, is_blank));
        text_.remove_prefix(run(text_, is_blank));
      } else if (pattern_.front() == '%' && !pattern_.starts_with("%%")) {
        if (!match_field(pointers)) return false;
      } else {
        if (!text_.starts_with(pattern_.front())) return false;
        pattern_.remove_prefix(pattern_.front() == '%' ? 2 : 1);
        text_.remove_prefix(1);
      }
    }
    return text_.empty();
  }

  // Makes the strings first: with all of them made nothing can fail.
  int32_t store() {
    for (int32_t i = 0; i < count_; ++i) {
      if (!make(fields_[i])) {
        while (i-- > 0)
          xp_release(fields_[i].made);
        return -1;
      }
    }
    for (int32_t i = 0; i < count_; ++i)
      put(fields_[i]);
    return count_;
  }

private:
  bool match_field(pointer_list &pointers) {
    directive d;
    if (!take_directive(pattern_, d) || (d.kind == '[' && !take_set(pattern_, d.set))) return false;
    field f;
    size_t taken = read(d, f);
    bool may_be_empty = d.kind == 't' || d.kind == 'n';
    if (taken == view::npos || (taken == 0 && !may_be_empty)) return false;
    f.bytes = text_.substr(0, taken);
    text_.remove_prefix(taken);
    if (!d.stored) return true;
    if (count_ == XP_SCAN_FIELDS) return false;
    f.target = va_arg(pointers.at, void *);
    fields_[count_++] = f;
    return true;
  }

  // How many bytes the field takes; npos when it is not one that we know.
  size_t read(const directive &d, field &f) {
    view text = text_.substr(0, d.most);
    switch (d.kind) {
      case 'd': f.type = field::integer; return read_number(text, f.signed_value, 10);
      case 'u': f.type = field::natural; return read_natural(text, f.unsigned_value, 10);
      case 'x': f.type = field::natural; return read_natural(text, f.unsigned_value, 16);
      case 'f': f.type = field::real; return read_real(text, f.real_value);
      case 's': return run(text, [](char c) { return !is_blank(c); });
      case 't': return std::min(text_run(text_, pattern_), text.size());
      case '[': return set_run(text, d.set);
      case 'n':
        f.type = field::integer;
        f.signed_value = static_cast<int64_t>(length_ - text_.size());
        return 0;
      default: return view::npos;
    }
  }

  static bool make(field &f) {
    if (f.type != field::text || f.target == nullptr) return true;
    f.made = xp_str_make(f.bytes.data(), static_cast<int64_t>(f.bytes.size()));
    return f.made != nullptr;
  }

  static void put(const field &f) {
    if (f.target == nullptr) return;
    switch (f.type) {
      case field::integer: *static_cast<int64_t *>(f.target) = f.signed_value; break;
      case field::natural: *static_cast<uint64_t *>(f.target) = f.unsigned_value; break;
      case field::real: *static_cast<double *>(f.target) = f.real_value; break;
      case field::text: *static_cast<xp_obj **>(f.target) = f.made; break;
    }
  }

  view text_;     // what is left of it
  view pattern_;  // what is left of it
  size_t length_;
  field fields_[XP_SCAN_FIELDS];
  int32_t count_ = 0;
};

}  // namespace

int32_t xp_str_scan(xp_obj *obj, const char *pattern, ...) {
  auto *s = xp::as<xps_string>(obj);
  if (s == nullptr || pattern == nullptr) return -1;
  scanner scan({s->text, static_cast<size_t>(s->length)}, pattern);
  pointer_list pointers;
  va_start(pointers.at, pattern);
  bool matched = scan.match(pointers);
  va_end(pointers.at);
  return matched ? scan.store() : -1;
}
