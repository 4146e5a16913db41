// The arguments of one formatting call. They are taken one after the other; when the format numbers them, the
// whole format is read once beforehand to learn their types, and they are taken from a table.

#ifndef XP_FORMAT_ARGUMENTS_H
#define XP_FORMAT_ARGUMENTS_H

#include <stdarg.h>
#include <stdint.h>

// The same argument list twice, each started or copied by the owner, who also ends them. Starting two lists
// is cheaper than copying one that was started just before.
struct xpf_lists {
  va_list first;
  va_list next;
};

class xpf_arguments {
public:
  // `format` is read again when a directive selects an argument by number. Both lists are used up.
  xpf_arguments(const char *format, xpf_lists &lists) : format_(format), lists_(lists) {}
  xpf_arguments(const xpf_arguments &) = delete;
  xpf_arguments &operator=(const xpf_arguments &) = delete;

  // The next argument: an int or a 64-bit integer, a double, a pointer. 0 or null behind the last one of the
  // table.
  int64_t take_integer(bool wide);
  double take_real();
  const void *take_pointer();

  // Makes the argument of this number, 1-based, the next one.
  void select(int number);

private:
  // An argument that no directive asks for has the type slot: as large as a pointer.
  enum class type : uint8_t { slot, integer, wide, real, pointer };
  enum class mode : uint8_t { sequence, recording, table };

  struct value {
    type kind;
    int64_t integer;
    double real;
    const void *pointer;
  };

  const value *next(type kind);
  int64_t next_integer(bool wide);
  void load();

  // More arguments than any literal format of ours numbers; the ones behind are never read.
  static constexpr int table_size = 32;

  const char *format_;
  xpf_lists &lists_;
  mode mode_ = mode::sequence;
  int at_;                   // index of the next argument, while recording or in the table
  int count_;                // arguments in the table
  value table_[table_size];  // like the two before not set until it is needed
};

inline int64_t xpf_arguments::take_integer(bool wide) {
  if (mode_ != mode::sequence) return next_integer(wide);
  return wide ? va_arg(lists_.next, int64_t) : va_arg(lists_.next, int);
}

inline double xpf_arguments::take_real() {
  return mode_ == mode::sequence ? va_arg(lists_.next, double) : next(type::real)->real;
}

inline const void *xpf_arguments::take_pointer() {
  return mode_ == mode::sequence ? va_arg(lists_.next, const void *) : next(type::pointer)->pointer;
}

#endif
