// What xp-plist does with the property lists that it reads.

#ifndef TOOLS_XP_PLIST_COMMANDS_H
#define TOOLS_XP_PLIST_COMMANDS_H

#include "tools/xp-plist/arguments.h"

exit_status run(const arguments &wanted);

#endif
