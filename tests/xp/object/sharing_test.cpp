// What several threads do to one object at once: counts, slots, shared objects, locks, stacks.

#include "tests/support/objects.h"
#include "tests/support/threads.h"
#include "xp/object/lifo.h"
#include "xp/object/lock.h"
#include "xp/object/shared.h"
#include "xp/object/slot.h"
#include "xp/object/type.h"

#include <atomic>
#include <vector>

namespace {

using xp::ref;

constexpr int thread_count = 4;
constexpr int rounds = 20000;

using sharing_test = leak_check;

// An object that checks itself: its mark is wiped when it ends.
struct marked : xp_obj {
  static constexpr uint32_t code = xp_code("mark");
  static constexpr uint64_t alive = 0x600df00d600df00d;
  uint64_t mark;
};

void marked_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  static_cast<marked *>(obj)->mark = 0;
  xp::destroy(obj);
}

xp_obj *marked_new() {
  auto *m = xp::make<marked>({.retain = xp_obj_retain,
                              .release = marked_release,
                              .compare = nullptr,
                              .textify = nullptr,
                              .control = nullptr});
  m->mark = marked::alive;
  return m;
}

bool is_alive(xp_obj *obj) {
  return xp::as<marked>(obj)->mark == marked::alive && xp_refs(obj) > 0;
}

TEST_F(sharing_test, slot_operations_move_references_as_they_say) {
  xp_obj *slot = nullptr;
  ref a = str("a"), b = str("b");
  expect({xp_reclaim(&slot), xp_retrieve(&slot, nullptr, nullptr)}, "null null");
  xp_replace(&slot, a.get());
  xp_replace(&slot, a.get());
  expect({xp_refs(a.get()), xp_restore(&slot, b.get()), xp_retrieve(&slot, nullptr, nullptr),
          xp_refs(a.get()), xp_refs(b.get())},
         "2 0 a 2 1");
  xp_replace(&slot, b.get());
  expect({xp_reclaim(&slot), xp_reclaim(&slot), xp_restore(&slot, xp_retain(b.get())), xp_refs(a.get()),
          xp_refs(b.get())},
         "b null 1 1 2");
  xp_replace(&slot, nullptr);
  EXPECT_EQ(slot, nullptr);

  xp_replace(nullptr, a.get());
  expect({xp_reclaim(nullptr), xp_restore(nullptr, a.get()), xp_retrieve(nullptr, nullptr, nullptr),
          xp_refs(a.get()), xp_refs(b.get())},
         "null 0 null 1 1");
}

// A retain that stands for another thread: it fills the slot while xp_retrieve holds the object in its hands.
xp_obj *contested = nullptr;
xp_obj *newcomer = nullptr;

xp_obj *retain_and_fill(xp_obj *obj) {
  EXPECT_EQ(contested, nullptr);
  xp_replace(&contested, newcomer);
  return xp_obj_retain(obj);
}

TEST_F(sharing_test, what_came_into_the_slot_meanwhile_stays) {
  ref old = ref::adopt(marked_new()), fresh = str("fresh");
  newcomer = fresh.get();
  xp_replace(&contested, old.get());
  old.get()->retain = retain_and_fill;
  ref got = ref::adopt(xp_retrieve(&contested, nullptr, nullptr));
  EXPECT_EQ(got.get(), old.get());
  expect({xp_refs(old.get()), xp_refs(fresh.get()), xp_reclaim(&contested)}, "2 2 fresh");
}

// A count that lost a step would end an object too early, or never.
TEST_F(sharing_test, what_a_slot_hands_out_is_alive) {
  xp_obj *slot = nullptr;
  std::atomic<int> dead = 0;
  std::atomic<int> seen = 0;
  run_on_threads(thread_count, [&](int index) {
    for (int i = 0; i < 5 * rounds; ++i) {
      if (index % 2 == 0) xp_replace(&slot, ref::adopt(marked_new()).get());
      ref fetched = ref::adopt(i % 8 == 7 ? xp_reclaim(&slot) : xp_retrieve(&slot, nullptr, nullptr));
      if (!fetched) continue;
      seen.fetch_add(1, std::memory_order_relaxed);
      if (!is_alive(fetched.get())) dead.fetch_add(1);
      if (i % 16 == 15 && xp_restore(&slot, fetched.get())) static_cast<void>(fetched.leak());
    }
  });
  EXPECT_EQ(dead, 0);
  EXPECT_GT(seen, 0);
  xp_release(xp_reclaim(&slot));
}

TEST_F(sharing_test, an_empty_slot_takes_one_object_of_many) {
  for (int round = 0; round < 500; ++round) {
    xp_obj *slot = nullptr;
    xp_obj *got[thread_count] = {};
    run_on_threads(thread_count, [&](int index) {
      got[index] = xp::shared_get(slot);
      if (got[index] == nullptr) got[index] = xp::shared_set(slot, marked_new());
      for (int i = 0; i < 10; ++i)
        xp_release(xp_retain(got[index]));
    });
    for (xp_obj *obj : got) {
      ASSERT_EQ(obj, slot);
      xp_release(obj);
    }
    ASSERT_EQ(xp_refs(slot), 1);
    xp_release(xp_reclaim(&slot));
  }
}

TEST_F(sharing_test, locks_let_one_thread_in_at_a_time) {
  struct {
    void (*enter)(xp_obj *);
    void (*leave)(xp_obj *);
    ref lock;
  } const locks[] = {{xp_crit_enter, xp_crit_leave, ref::adopt(xp_crit_new())},
                     {xp_mux_lock, xp_mux_unlock, ref::adopt(xp_mux_new())},
                     {[](xp_obj *) { xp_enter(); }, [](xp_obj *) { xp_leave(); }, {}}};
  for (const auto &kind : locks) {
    int entered = 0;
    run_on_threads(thread_count, [&](int) {
      for (int i = 0; i < rounds; ++i) {
        kind.enter(kind.lock.get());
        ++entered;
        kind.leave(kind.lock.get());
      }
    });
    EXPECT_EQ(entered, thread_count * rounds) << &kind - locks;
  }
}

TEST_F(sharing_test, a_section_is_taken_once_and_a_lock_as_often_as_its_thread_likes) {
  ref crit = ref::adopt(xp_crit_new()), mux = ref::adopt(xp_mux_new());
  EXPECT_EQ(xp_type(crit.get()), xp_crit_type());
  EXPECT_EQ(xp_type(mux.get()), xp_mux_type());
  expect({xp_crit_try(crit.get()), xp_crit_try(crit.get())}, "1 0");
  xp_crit_leave(crit.get());
  xp_crit_enter(crit.get());
  EXPECT_EQ(xp_crit_try(crit.get()), 0);
  xp_crit_leave(crit.get());

  std::atomic<bool> taken = false;
  for (int i = 0; i < 3; ++i)
    xp_mux_lock(mux.get());
  std::thread other([&] {
    xp_mux_lock(mux.get());
    taken = true;
    xp_mux_unlock(mux.get());
  });
  for (int i = 0; i < 3; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_FALSE(taken);
    xp_mux_unlock(mux.get());
  }
  other.join();
}

TEST_F(sharing_test, null_locks_and_stacks_and_objects_of_other_types_do_nothing) {
  ref other = str("other");
  for (xp_obj *lock : {static_cast<xp_obj *>(nullptr), other.get()}) {
    xp_crit_enter(lock);
    xp_crit_leave(lock);
    EXPECT_EQ(xp_crit_try(lock), 0);
    xp_mux_lock(lock);
    xp_mux_unlock(lock);
    int64_t item = 0;
    xp_lifo_push(lock, &item);
    EXPECT_EQ(xp_lifo_pop(lock), nullptr);
  }
  expect({other}, "other");
  xp_crit_release(nullptr);
  xp_mux_release(nullptr);
}

struct item {
  void *link;
  std::atomic<int> holders = 0;
};

TEST_F(sharing_test, a_stack_hands_each_item_to_one_thread) {
  ref stack = ref::adopt(xp_lifo_new());
  std::vector<item> items(8);
  for (auto &i : items)
    xp_lifo_push(stack.get(), &i);
  std::atomic<int> shared = 0;
  run_on_threads(thread_count, [&](int) {
    for (int i = 0; i < rounds; ++i) {
      auto *a = static_cast<item *>(xp_lifo_pop(stack.get()));
      auto *b = static_cast<item *>(xp_lifo_pop(stack.get()));
      for (item *held : {a, b}) {
        if (held->holders.fetch_add(1) != 0) shared.fetch_add(1);
      }
      for (item *held : {a, b}) {
        held->holders.fetch_sub(1);
        xp_lifo_push(stack.get(), held);
      }
    }
  });
  EXPECT_EQ(shared, 0);
  std::vector<void *> left;
  while (void *held = xp_lifo_pop(stack.get()))
    left.push_back(held);
  EXPECT_EQ(left.size(), items.size());

  // The last that came goes first.
  for (void *held : left)
    xp_lifo_push(stack.get(), held);
  for (; !left.empty(); left.pop_back())
    EXPECT_EQ(xp_lifo_pop(stack.get()), left.back());
}

}  // namespace
