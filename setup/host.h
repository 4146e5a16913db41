// What the native methods need of the application: which parts of it can be used, and the two things it opens
// for the page. The application implements the interface and hands itself over; setup/ never looks up.
//
// Thread rules stand at each function. While a host is being asked, cv_setup_sethost waits, so an
// implementation may be destroyed as soon as it was replaced.

#ifndef SETUP_HOST_H
#define SETUP_HOST_H

#include "xp/object/object.h"

#include <stdint.h>

#include <string_view>

// What the application can do at the moment.
struct cv_setup_capabilities {
  bool kv = false;      // Provetta is installed
  bool kcheck = false;  // Lendora is installed
  bool fda = false;     // Full Disk Access must still be granted
};

class cv_setup_host {
public:
  virtual ~cv_setup_host() = default;

  // Any thread; must not wait for the main thread.
  virtual cv_setup_capabilities capabilities() = 0;

  // Main thread: opens the system's Full Disk Access settings.
  virtual void openFullDiskAccess() = 0;

  // Main thread: opens the sibling application with that page name ("kv", "kcheck"), or says that it could
  // not.
  virtual void openExternalApp(std::string_view name) = 0;
};

// Makes `host` (borrowed) the process-wide host; null takes it away. Main thread. When it returns, no other
// thread is inside the old host.
void cv_setup_sethost(cv_setup_host *host);

// Queues openFullDiskAccess of the host on the main queue and returns at once. Without a host at the time it
// runs, nothing happens. Any thread.
void cv_setup_native_osopenfda();

// The same for openExternalApp with the text of `name`, a string object; nothing for any other object. Any
// thread.
void cv_setup_native_osopenapp(xp_obj *name);

// Stores the booleans "kv", "kcheck" and "fda" in a dictionary; all false without a host. Any thread.
void cv_setup_native_oscapabilities(xp_obj *capabilities);

#endif
