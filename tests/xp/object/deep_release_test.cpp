// Chains of a million containers of one kind and of all kinds, released on a thread whose stack holds a few
// hundred calls.

#include "tests/support/objects.h"
#include "xp/array/array.h"
#include "xp/array/list.h"
#include "xp/array/tuple.h"
#include "xp/dict/dict.h"
#include "xp/plist/plist.h"
#include "xp/service/bag.h"
#include "xp/string/kinds.h"

#include <pthread.h>

#include <iterator>

namespace {

using xp::ref;

using deep_release = leak_check;

// A new container that holds `inner` alone.
using wrapper = xp_obj *(*)(xp_obj *inner);

constexpr wrapper kinds[] = {
    [](xp_obj *inner) {
      xp_obj *outer = xp_array_new(0);
      xp_array_insert(outer, inner, -1);
      return outer;
    },
    [](xp_obj *inner) {
      xp_obj *outer = xp_list_new(0);
      xp_list_append(outer, inner);
      return outer;
    },
    [](xp_obj *inner) {
      xp_obj *outer = xp_dict_new(0);
      xp_dict_store(outer, "in", -1, inner);
      return outer;
    },
    [](xp_obj *inner) {
      xp_obj *outer = xp_bag_new(0);
      xp_bag_insert(outer, inner);
      return outer;
    },
    [](xp_obj *inner) { return xp_tuple_new(1, inner); },
    [](xp_obj *inner) {
      xp_obj *outer = xp_plist_make(nullptr);
      xp_plist_set(outer, nullptr, inner);
      return outer;
    },
    [](xp_obj *inner) { return xp_str_newvalued("holder", inner); },
};

void *release_all(void *chain) {
  xp_release(static_cast<xp_obj *>(chain));
  return nullptr;
}

TEST_F(deep_release, a_million_levels_of_each_kind_and_of_all_of_them) {
  pthread_attr_t small_stack;
  ASSERT_EQ(pthread_attr_init(&small_stack), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&small_stack, size_t{256} * 1024), 0);
  for (size_t kind = 0; kind <= std::size(kinds); ++kind) {
    ref innermost = num(4711);
    ref chain = innermost;
    for (size_t i = 0; i < 1000000; ++i)
      chain = ref::adopt(kinds[kind < std::size(kinds) ? kind : i % std::size(kinds)](chain.get()));
    ASSERT_EQ(xp_refs(innermost.get()), 2);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &small_stack, release_all, chain.leak()), 0);
    pthread_join(thread, nullptr);
    EXPECT_EQ(xp_refs(innermost.get()), 1);
  }
  pthread_attr_destroy(&small_stack);
}

}  // namespace
