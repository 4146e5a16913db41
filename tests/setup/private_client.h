// The client's installation as the tests see it: a folder of the test program's own under CORVANE_ROOT, with
// a session helper that names a random session and a framework library. Made once, before the first test
// runs, since a process keeps the session number it was told first.

#ifndef TESTS_SETUP_PRIVATE_CLIENT_H
#define TESTS_SETUP_PRIVATE_CLIENT_H

#include <stdint.h>

// The plain number that the session helper tells.
uint32_t private_client_session();

#endif
