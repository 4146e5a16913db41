// The command line of corvane-settings. Options are taken as they are spelt, never abbreviated.

#ifndef APP_OPTIONS_H
#define APP_OPTIONS_H

#include <span>
#include <string>

struct cv_options {
  bool help = false;
  bool version = false;
  bool safe_graphics = false;
  std::string screenshot;  // the file to write; empty: an ordinary run
  std::string error;       // what is wrong with the command line, one line; empty: nothing
};

// True when "--install-extension" stands anywhere behind the program's name. It is looked for before anything
// else and comes without a window, whatever else the command line says.
bool cv_wants_extension(std::span<const char *const> arguments);

// Reads the arguments, the program's name among them. Reading ends at the first fault.
cv_options cv_read_options(std::span<const char *const> arguments);

// The text of --help.
std::string cv_help_text();

#endif
