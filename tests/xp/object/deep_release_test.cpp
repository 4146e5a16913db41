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

template <typename Put>
xp_obj *with(xp_obj *outer, Put put) {
  put(outer);
  return outer;
}

// A new container that holds `in` alone.
constexpr xp_obj *(*kinds[])(xp_obj *in) = {
    [](xp_obj *in) { return with(xp_array_new(0), [in](xp_obj *a) { xp_array_insert(a, in, -1); }); },
    [](xp_obj *in) { return with(xp_list_new(0), [in](xp_obj *l) { xp_list_append(l, in); }); },
    [](xp_obj *in) { return with(xp_dict_new(0), [in](xp_obj *d) { xp_dict_store(d, "in", -1, in); }); },
    [](xp_obj *in) { return with(xp_bag_new(0), [in](xp_obj *b) { xp_bag_insert(b, in); }); },
    [](xp_obj *in) {
      return with(xp_plist_make(nullptr), [in](xp_obj *p) { xp_plist_set(p, nullptr, in); });
    },
    [](xp_obj *in) { return xp_tuple_new(1, in); },
    [](xp_obj *in) { return xp_str_newvalued("holder", in); },
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
