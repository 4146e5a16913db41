// What the message module needs of a builder beyond ipc/ntld.h. Internal to this folder.

#ifndef IPC_NTLD_IMPL_H
#define IPC_NTLD_IMPL_H

#include "xp/object/object.h"

#include <stdint.h>

// Points a builder at a fixed buffer that already holds a finished record of `used` bytes, so that the
// readers accept it; used 0 gives a builder that reads as nothing.
void xp_ntld_attach(xp_obj *builder, uint8_t *bytes, uint32_t capacity, uint32_t used);

// Whether a container is open.
bool xp_ntld_isopen(xp_obj *builder);

// The builder's record without closing anything: its bytes when xp_ntld_check accepts it, else null.
const uint8_t *xp_ntld_record(xp_obj *builder);

// The type's release operation: how the readers tell a builder from bytes.
void xp_ntld_release(xp_obj *builder);

#endif
