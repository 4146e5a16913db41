// The client's closed framework, as a seam: its eight functions behind an interface, with the arguments they
// take and the 16-bit status they return (0 for success). The real implementation calls the client's
// installed library; tests supply a scripted one.
//
// Thread rule: every function may be called from several request threads at once.

#ifndef SETUP_VANE_H
#define SETUP_VANE_H

#include <stdint.h>

#include <memory>

// An argument that is always 0: as wide as a pointer, so it is right whether the framework reads a number or
// a pointer.
using cv_vane_zero = uintptr_t;

// What a function answers when the framework, or that function of it, is not there.
constexpr int16_t CV_VANE_ABSENT = -1;

class cv_setup_vane {
public:
  virtual ~cv_setup_vane() = default;

  // The framework's version as four 4-bit fields, the most significant first.
  virtual int16_t VaneVersion(uint16_t *version, cv_vane_zero zero) = 0;

  // The current option bits, and the bits that the user may change.
  virtual int16_t VaneGetOptions(cv_vane_zero zero, uint32_t *options, uint32_t *allowed) = 0;

  // Sets the bits under `mask` to `values`.
  virtual int16_t VaneSetOptions(cv_vane_zero zero, uint32_t values, uint32_t mask) = 0;

  // The data of the preference named by a four-character code, at most `size` bytes, into `buffer`. An unset
  // one leaves the buffer's first byte 0 or gives an error.
  virtual int16_t VaneGetPrefData(cv_vane_zero zero, uint32_t code, cv_vane_zero zero2, uint32_t size,
                                  void *buffer, cv_vane_zero zero3) = 0;

  // Opens the server page named by a four-character code.
  virtual int16_t VaneDisplayServerPage(cv_vane_zero zero, uint32_t code) = 0;

  // Logs the client on to the server if it is not. May wait for the server.
  virtual int16_t VaneLogon(cv_vane_zero zero, cv_vane_zero zero2, cv_vane_zero zero3) = 0;

  // A nonzero 64-bit word in `status` when a session exists.
  virtual int16_t VaneGetSessionStatus(cv_vane_zero zero, cv_vane_zero zero2, cv_vane_zero zero3,
                                       uint64_t *status) = 0;

  // Authenticates the user with the server that was set last.
  virtual int16_t VaneAuthenticate(cv_vane_zero zero) = 0;
};

// Makes `vane` (borrowed) what the native methods call; null brings the client's installed framework back.
// The old one may still be in use by a running request: it must outlive those.
void cv_setup_setvane(cv_setup_vane *vane);

// What the native methods call now; never null. The installed framework is loaded at its first use.
cv_setup_vane *cv_setup_getvane();

// The framework in the library at `path`. Never null: a function that the library lacks, and every one when
// there is no such library, answers CV_VANE_ABSENT. A loaded library is never unloaded.
std::unique_ptr<cv_setup_vane> cv_setup_loadvane(const char *path);

#endif
