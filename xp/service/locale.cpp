#include "xp/service/locale.h"

#include "xp/service/locale_reader.h"

#include <langinfo.h>
#include <locale.h>

#include <atomic>

namespace {

std::atomic<const xp_intl_values *> chosen = &xp_intl_c;

struct process_values : xpi_stored_values {
  process_values() { xpi_read(*this, *localeconv(), nl_langinfo); }
};

}  // namespace

const xp_intl_values &xp_intl_current() {
  return *chosen.load(std::memory_order_acquire);
}

const xp_intl_values &xp_intl_process() {
  static const process_values stored;
  return stored.values;
}

void xp_intl_use(const xp_intl_values &values) {
  chosen.store(&values, std::memory_order_release);
}
