// A client framework with some of the functions, each of which shows that its arguments arrived.

#include <stdint.h>
#include <string.h>

extern "C" {

int16_t VaneVersion(uint16_t *version, uintptr_t zero) {
  *version = 0x6213;
  return zero == 0 ? 0 : 1;
}

int16_t VaneGetPrefData(uintptr_t zero, uint32_t code, uintptr_t zero2, uint32_t size, void *buffer,
                        uintptr_t zero3) {
  memset(buffer, 0, size);
  memcpy(buffer, &code, sizeof code);
  return zero == 0 && zero2 == 0 && zero3 == 0 ? 0 : 1;
}

int16_t VaneGetSessionStatus(uintptr_t zero, uintptr_t zero2, uintptr_t zero3, uint64_t *status) {
  *status = 0x100000000;
  return zero == 0 && zero2 == 0 && zero3 == 0 ? -300 : 1;
}

}  // extern "C"
