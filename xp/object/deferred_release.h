// The end of containers. Releasing a container releases its members, which may be containers in their turn; a
// chain of a million of them must not take a million stack frames. Every container type ends its objects
// through this function, which lets the first levels nest as ordinary calls and puts deeper ones on a list of
// the calling thread. The list is worked off before the outermost end returns, so nothing outlives the
// release that ended it.

#ifndef XP_OBJECT_DEFERRED_RELEASE_H
#define XP_OBJECT_DEFERRED_RELEASE_H

#include "xp/object/object.h"

namespace xp {

// Ends an object whose last reference is gone: calls `destroy`, which releases the contents and frees the
// block, now or before the outermost container that is being ended is done. Takes no memory and cannot fail.
void end_container(xp_obj *obj, void (*destroy)(xp_obj *obj));

}  // namespace xp

#endif
