#include "xp/service/locale.h"

#include <atomic>

namespace {

std::atomic<const xp_intl_values *> chosen = &xp_intl_c;

}  // namespace

const xp_intl_values &xp_intl_current() {
  return *chosen.load(std::memory_order_acquire);
}

void xp_intl_use(const xp_intl_values &values) {
  chosen.store(&values, std::memory_order_release);
}
