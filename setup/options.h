// The framework's option bits, preference codes and server pages, as the page names them. Internal to setup/.

#ifndef SETUP_OPTIONS_H
#define SETUP_OPTIONS_H

#include "xp/object/code.h"

#include <stdint.h>

// One option that the page shows and may set.
// Deliberate: two options are inverted, since the framework's bits say "menu hidden" and "do not ask" where
// the page says "showTrayMenu" and "askForFeedback". Read and written alike, they would turn over with each
// change.
struct cv_setup_option {
  const char *key;
  uint32_t bit;
  bool inverted;            // the page's value is true when the bit is clear
  const char *allowed_key;  // where the page learns whether the user may change it; null: it is not told
};

constexpr cv_setup_option cv_setup_options[] = {
    {"pauseDex", 0x800000, false, "pauseDexAllowed"},
    {"ageMessages", 0x80, false, "ageMessagesAllowed"},
    {"showTrayMenu", 0x8, true, nullptr},
    {"askForFeedback", 0x2000000, true, nullptr},
};

// Deliberate: this bit counts in the allowed mask, not in the options, and "locked" is true when it is clear;
// a framework that answers nothing therefore shows locked settings.
constexpr uint32_t CV_SETUP_UNLOCKED_BIT = 0x40000000;

// Preferences whose presence makes a part of the page usable: the first byte of their data is not 0.
struct cv_setup_preference {
  const char *key;
  uint32_t code;
};

constexpr cv_setup_preference cv_setup_preferences[] = {
    {"assets", xp_code("murl")},
    {"info", xp_code("iurl")},
    {"feedback", xp_code("durl")},
    {"problem", xp_code("hurl")},
};

constexpr uint32_t CV_SETUP_TICKET_PREFERENCE = xp_code("ttcl");

// Bytes of a preference's data that are asked for.
constexpr uint32_t CV_SETUP_PREFERENCE_SIZE = 256;

// Server pages, in the order in which their names are compared.
struct cv_setup_page {
  const char *name;
  uint32_t code;
};

constexpr cv_setup_page cv_setup_pages[] = {
    {"assets", xp_code("mine")}, {"info", xp_code("info")},    {"feedback", xp_code("dexf")},
    {"assist", xp_code("asst")}, {"problem", xp_code("dexh")}, {"scripts", xp_code("dexs")},
    {"ticket", xp_code("tckt")},
};

#endif
