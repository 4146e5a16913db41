// Dictionaries ("dict"): hash tables from byte-string keys to object references (or raw pointer-sized
// values). Keys are copied; values are retained. A dictionary created with XP_DICT_LOCKED locks itself around
// every operation, and its lock is not recursive: a callback must not store into it. Any other is for one
// thread at a time.
//
// Invariants: (1) a key is 1 to 255 bytes; longer ones are cut to 255, both in storing and looking up; (2)
// the bucket count is a power of two from 2 to 32768; (3) entries never move and are freed with the
// dictionary only. Unsorted order is bucket order and means nothing. A walk over an unlocked dictionary
// allows its callback to erase the key that it is called for; when the callback stores new keys, the walk may
// meet keys twice or not at all.

#ifndef XP_DICT_DICT_H
#define XP_DICT_DICT_H

#include "xp/object/object.h"

#include <stdint.h>

enum : uint32_t {
  XP_DICT_RAW = 1,           // values are raw: never retained, released, compared with the blank value
  XP_DICT_LOCKED = 4,        // the dictionary owns a lock and takes it in every operation
  XP_DICT_NOCASE = 64,       // ASCII letters in keys are folded; a key keeps its first spelling
  XP_DICT_LEARN = 128,       // a fetch that misses stores the key with a null value
  XP_DICT_BUCKETS_8K = 256,  // initial bucket count 8192, 16384, 32768 instead of 2
  XP_DICT_BUCKETS_16K = 512,
  XP_DICT_BUCKETS_32K = 768,
  XP_DICT_RECYCLE = 0x10000,    // storing null erases the key; erased entries are reused
  XP_DICT_SKIPNULLS = 0x20000,  // walks pass over keys whose value is null
};

// Called for an entry, key and value borrowed: both are good until the callback changes the dictionary.
// Nonzero stops the walk.
using xp_dict_visitor = int64_t (*)(xp_obj *d, const char *key, int64_t keylen, xp_obj *value, void *context);

// "dict"
uint32_t xp_dict_type();

// An empty dictionary; null when memory is exhausted. xp_duplicate, without XP_DUP_SHALLOW, copies the
// values, too, and recurses as deep as they nest; keys with null values are copied, also where walks pass
// over them.
xp_obj *xp_dict_new(uint32_t flags);

// Stores a value under a key. A null value makes the key present with a null value, or erases it under
// XP_DICT_RECYCLE. 0 (also for an empty key, which is never stored), or -1 when `d` or `key` is null or
// memory is exhausted.
int32_t xp_dict_store(xp_obj *d, const char *key, int64_t keylen, xp_obj *value);

// The same, taking over the caller's reference to the value, also on failure: for makers of fresh values.
// When `d` is null the value must be an object.
int32_t xp_dict_adopt(xp_obj *d, const char *key, int64_t keylen, xp_obj *value);

// The value as a new reference; null when the key is absent, its value null or equal to the blank value.
xp_obj *xp_dict_fetch(xp_obj *d, const char *key, int64_t keylen);

// Removes a key. 0 whether or not it was there; -1 when `d` or `key` is null.
int32_t xp_dict_erase(xp_obj *d, const char *key, int64_t keylen);

// Number of keys. Not locked.
uint32_t xp_dict_count(xp_obj *d);

// Sets every value to null.
// Deliberate: the keys stay present and the count unchanged.
void xp_dict_clear(xp_obj *d);

// Sets the text whose value reads as absent in xp_dict_fetch; null or empty: none. Nothing happens on raw
// values.
void xp_dict_blank(xp_obj *d, const char *text);

// Switches learning on (> 0), off (0), or only asks (< 0). The state before: 1 or 0.
int32_t xp_dict_learn(xp_obj *d, int32_t on);

// Stores every entry of `src` into `dst`. Two locked dictionaries must not be merged into each other from two
// threads. Always 0; nothing happens when only one of them holds raw values.
int32_t xp_dict_merge(xp_obj *dst, xp_obj *src);

// The same, but a dictionary that meets a dictionary is extended by it, recursively. A nested dictionary that
// meets nothing is shared, not copied. Recurses as deep as the tree.
int32_t xp_dict_extend(xp_obj *dst, xp_obj *src);

// Calls `visit` for every entry in bucket order, in byte order of the keys. -1 when it returned nonzero (or
// the sorted walk found no memory), else 0. The lock is held throughout.
int32_t xp_dict_enum(xp_obj *d, xp_dict_visitor visit, void *context);
int32_t xp_dict_enumsorted(xp_obj *d, xp_dict_visitor visit, void *context);

// Walks like xp_dict_enum; releases and nulls the values for which `visit` returns nonzero; the keys stay.
// Always 0.
int32_t xp_dict_enumclear(xp_obj *d, xp_dict_visitor visit, void *context);

// Walks nested dictionaries depth first and calls `visit` with the path of every value that is not a
// dictionary: the keys from the top, joined by `separator` (null: nothing); a separator that begins with "/"
// also begins the path. `visit` gets the dictionary that holds the value. -1 when `visit` returned nonzero or
// memory ran out, else 0. Recurses as deep as the tree.
int32_t xp_dict_traverse(xp_obj *d, const char *separator, xp_dict_visitor visit, void *context);

// Traversals (xp/service/traversal.h) of the keys, as strings, and of the values, null ones skipped. Forward
// only. A dictionary counts as something to walk ("trav"), but its control operation names no constructor,
// for there are two: xp_trav_make walks the keys. One ends early when the table is rehashed while it walks.
// Under XP_DICT_RECYCLE one must not go on from a key that was erased: it would miss others, or meet erased
// ones.
xp_obj *xp_dict_travnew(xp_obj *d);
xp_obj *xp_dict_travobjnew(xp_obj *d);

#endif
