// The NTLD readers for bytes that came from outside: they take the address of a record and never look for an
// object there. Verify a container once with xp_ntld_raw_verify, then read its direct children; verify a
// child container with its own length before reading inside it. Null is an empty record. See ipc/ntld.h for
// each reader's result.

#ifndef IPC_NTLD_RAW_H
#define IPC_NTLD_RAW_H

#include <stdint.h>

enum : uint32_t { XP_NTLD_HEADER = 12 };  // bytes of a record before its data

uint32_t xp_ntld_raw_name(const uint8_t *record);
uint32_t xp_ntld_raw_type(const uint8_t *record);
uint32_t xp_ntld_raw_length(const uint8_t *record);      // of the data
const uint8_t *xp_ntld_raw_data(const uint8_t *record);  // null for null

const uint8_t *xp_ntld_raw_next(const uint8_t *record);
uint32_t xp_ntld_raw_verify(const uint8_t *record, uint32_t available);

uint32_t xp_ntld_raw_count(const uint8_t *record);
const uint8_t *xp_ntld_raw_getbyname(const uint8_t *record, uint32_t name);
const uint8_t *xp_ntld_raw_getbyindex(const uint8_t *record, uint32_t index);

// What the typed getters make of one child that was found.
uint32_t xp_ntld_raw_bytes(const uint8_t *child, void *out, uint32_t max);
uint32_t xp_ntld_raw_tag(const uint8_t *child);
int32_t xp_ntld_raw_long(const uint8_t *child);

#endif
