#include "xp/service/main_queue.h"

#include "xp/object/memory.h"

#include <pthread.h>

#include <atomic>

namespace {

struct piece {
  xp_work work;
  void *argument;
  piece *next;
};

std::atomic<xp_main_poster> poster = nullptr;

// The list that collects work while there is no poster.
pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
piece *first = nullptr;
piece *last = nullptr;
int64_t waiting = 0;

int32_t collect(xp_work work, void *argument) {
  auto *fresh = static_cast<piece *>(xp_alloc(sizeof(piece)));
  if (fresh == nullptr) return -1;
  fresh->work = work;
  fresh->argument = argument;
  pthread_mutex_lock(&lock);
  if (last != nullptr) {
    last->next = fresh;
  } else {
    first = fresh;
  }
  last = fresh;
  ++waiting;
  pthread_mutex_unlock(&lock);
  return 0;
}

piece *take_first() {
  pthread_mutex_lock(&lock);
  piece *taken = first;
  if (taken != nullptr) {
    first = taken->next;
    if (first == nullptr) last = nullptr;
    --waiting;
  }
  pthread_mutex_unlock(&lock);
  return taken;
}

int64_t count_waiting() {
  pthread_mutex_lock(&lock);
  int64_t count = waiting;
  pthread_mutex_unlock(&lock);
  return count;
}

}  // namespace

void xp_main_setposter(xp_main_poster function) {
  poster.store(function, std::memory_order_release);
}

int32_t xp_main_post(xp_work work, void *argument) {
  if (work == nullptr) return -1;
  xp_main_poster post = poster.load(std::memory_order_acquire);
  return post != nullptr ? post(work, argument) : collect(work, argument);
}

// One piece at a time: work that pumps again runs what stands behind it, in order.
int64_t xp_main_pump() {
  int64_t ran = 0;
  for (int64_t count = count_waiting(); ran < count; ++ran) {
    piece *taken = take_first();
    if (taken == nullptr) break;
    xp_work work = taken->work;
    void *argument = taken->argument;
    xp_free(taken);
    work(argument);
  }
  return ran;
}
