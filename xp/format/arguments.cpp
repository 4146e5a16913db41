#include "xp/format/arguments.h"

#include "xp/format/directive.h"

#include <algorithm>
#include <iterator>

const xpf_arguments::value *xpf_arguments::next(type kind) {
  static constexpr value none{};
  int index = at_;
  if (at_ < table_size) ++at_;
  if (index >= table_size) return &none;
  value &entry = table_[index];
  if (mode_ == mode::recording) {
    // Taken twice as different integers, the wider one tells how much there is to read.
    if (entry.kind != type::wide || kind != type::integer) entry.kind = kind;
    if (index >= count_) count_ = index + 1;
    return &none;
  }
  return index < count_ ? &entry : &none;
}

int64_t xpf_arguments::next_integer(bool wide) {
  int64_t integer = next(wide ? type::wide : type::integer)->integer;
  return wide ? integer : static_cast<int32_t>(integer);
}

void xpf_arguments::load() {
  for (int i = 0; i < count_; ++i) {
    value &entry = table_[i];
    switch (entry.kind) {
      case type::integer: entry.integer = va_arg(lists_.first, int); break;
      case type::real: entry.real = va_arg(lists_.first, double); break;
      case type::pointer: entry.pointer = va_arg(lists_.first, const void *); break;
      case type::wide:
      case type::slot: entry.integer = va_arg(lists_.first, int64_t); break;
    }
  }
}

void xpf_arguments::select(int number) {
  if (number < 1) return;
  if (mode_ == mode::sequence) {
    mode_ = mode::recording;
    at_ = 0;
    count_ = 0;
    std::fill(std::begin(table_), std::end(table_), value{});
    xpf_scan(format_, *this);
    load();
    mode_ = mode::table;
  }
  at_ = number <= table_size ? number - 1 : table_size;
}
