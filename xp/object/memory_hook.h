// What those who hand out blocks tell the tests' allocation hook (xp/object/memory_testing.h). Internal to
// xp/object.

#ifndef XP_OBJECT_MEMORY_HOOK_H
#define XP_OBJECT_MEMORY_HOOK_H

namespace xp {

// Whether the next allocation may succeed; that a block was handed out, given back;
// that an object began, ended (xp::live_objects).
#ifdef XP_TRACK_OBJECTS
bool allocation_allowed();
void count_block_taken();
void count_block_given();
void count_object();
void uncount_object();
#else
inline bool allocation_allowed() {
  return true;
}
inline void count_block_taken() {}
inline void count_block_given() {}
inline void count_object() {}
inline void uncount_object() {}
#endif

}  // namespace xp

#endif
