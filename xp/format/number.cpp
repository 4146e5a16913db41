#include "xp/format/number.h"

#include <algorithm>

namespace {

// Whether a separator stands where so many digits are to the right.
bool is_boundary(const xp_intl_grouping &grouping, size_t right) {
  for (size_t index = 0; right > 0; ++index) {
    const size_t size = grouping.size_of(index);
    if (size == 0 || size > right) return false;
    right -= size;
    if (right == 0) return true;
    // All further groups are of the last size.
    if (index >= grouping.count) return right % size == 0;
  }
  return false;
}

// The digits of an integer or before a point, in groups. `emit(text)` takes them piece by piece.
template <typename Emit>
void each_group(const xpf_number &number, const Emit &emit) {
  const std::string_view digits = number.digits;
  if (number.grouping == nullptr) {
    emit(digits);
    return;
  }
  size_t start = 0;
  for (size_t at = 1; at < digits.size(); ++at) {
    if (!is_boundary(*number.grouping, digits.size() - at)) continue;
    emit(digits.substr(start, at - start));
    emit(number.grouping->separator);
    start = at;
  }
  emit(digits.substr(start));
}

// All parts in their order: `emit(text)` and `zeros(count)`.
template <typename Emit, typename Zeros>
void each_part(const xpf_number &number, const Emit &emit, const Zeros &zeros) {
  emit(number.prefix);
  zeros(number.leading_zeros);
  each_group(number, emit);
  emit(number.point);
  emit(number.fraction);
  zeros(number.trailing_zeros);
  emit(number.tail);
}

// Only what comes from the locale can hold markup.
bool has_markup(const xpf_number &number) {
  bool found = false;
  each_part(
      number, [&found](std::string_view text) { found = found || xpf_has_markup(text); }, [](int64_t) {});
  return found;
}

// The parts through the string stage. A wrap goes around all of them and then decides over the quotes, as it
// does for a text.
void emit_stage(xpf_sink &out, uint32_t flags, const xpf_number &number) {
  const bool wrapped = (flags & XPF_CDATA) != 0 && has_markup(number);
  flags &= ~XPF_CDATA;
  if (wrapped) flags &= ~(XPF_BACKTICK | XPF_QUOTES);
  if (wrapped) out.whole(xpf_cdata_begin.data(), static_cast<int64_t>(xpf_cdata_begin.size()));
  each_part(
      number,
      [&out, flags](std::string_view text) {
        if (flags != 0) {
          xpf_str(out, flags, text.data(), static_cast<int64_t>(text.size()));
        } else {
          out.text(text.data(), static_cast<int64_t>(text.size()));
        }
      },
      [&out](int64_t count) { out.fill('0', count); });
  if (wrapped) out.whole(xpf_cdata_end.data(), static_cast<int64_t>(xpf_cdata_end.size()));
}

}  // namespace

int64_t xpf_number::length() const {
  int64_t sum = 0;
  each_part(
      *this, [&sum](std::string_view text) { sum += static_cast<int64_t>(text.size()); },
      [&sum](int64_t count) { sum += count; });
  return sum;
}

const xp_intl_grouping *xpf_grouping(const xpf_directive &directive) {
  if (!directive.has(XPF_MONEY | XPF_GROUP)) return nullptr;
  const xp_intl_values &values = xp_intl_current();
  const xp_intl_grouping &grouping = directive.has(XPF_MONEY) ? values.money : values.number;
  return grouping.groups() ? &grouping : nullptr;
}

void xpfs_output(xpf_sink &out, const xpf_directive &directive, xpf_number number) {
  const uint32_t flags = directive.stage_flags() & ~XPF_PLUS;
  int64_t padding = directive.width - number.length();
  if (padding > 0 && directive.has(XPF_ZERO)) {
    number.leading_zeros += padding;
    padding = 0;
  } else if (padding > 0 && (flags & XPF_ESCAPES) != 0) {
    xpf_sink counter;
    emit_stage(counter, flags, number);
    padding = directive.width - counter.total();
  }
  if (!directive.has(XPF_LEFT)) out.fill(' ', padding);
  emit_stage(out, flags, number);
  if (directive.has(XPF_LEFT)) out.fill(' ', padding);
}
