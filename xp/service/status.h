// The negative results of files and streams. 0 and above is success everywhere; a result below 0 is one of
// these. The numbers are fixed: they travel in results and tests compare them.

#ifndef XP_SERVICE_STATUS_H
#define XP_SERVICE_STATUS_H

#include <stdint.h>

inline constexpr int32_t XP_ERR_REFUSED = -1;     // the object does not do this, or not in its present state
inline constexpr int32_t XP_ERR_FULL = -34;       // no room on the disk, or beyond a quota
inline constexpr int32_t XP_ERR_IO = -36;         // the system failed in a way that has no code of its own
inline constexpr int32_t XP_ERR_NAME = -37;       // a name that cannot be
inline constexpr int32_t XP_ERR_TOOMANY = -42;    // too many open files
inline constexpr int32_t XP_ERR_ABSENT = -43;     // no such file, or a folder on the way to it is missing
inline constexpr int32_t XP_ERR_BUSY = -47;       // in use, or a folder that is not empty
inline constexpr int32_t XP_ERR_EXISTS = -48;     // there already
inline constexpr int32_t XP_ERR_ARGUMENT = -50;   // an argument that cannot be
inline constexpr int32_t XP_ERR_DENIED = -54;     // not allowed
inline constexpr int32_t XP_ERR_KIND = -58;       // another kind of file: a folder, a pipe, a device
inline constexpr int32_t XP_ERR_NOMEMORY = -108;  // memory is exhausted

// The code of an errno; 0 for 0.
int32_t xp_err_errno(int number);

#endif
