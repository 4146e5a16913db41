#include "xp/object/slab.h"

#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#include <algorithm>
#include <utility>

// The layers, from the top:
//
//   hand     one thread's blocks of one class: up to two batches, no lock
//   depot    one class, for all threads: full batches and the chunk that is being cut, one lock
//   chunks   64 KiB of blocks of one class each, on a multiple of 64 KiB, so that a block's address leads to
//            its class; one lock for those that no class uses
//
// A chunk that trim found wholly free goes back to the lowest layer with its memory given to the system,
// except for its first page.

namespace xp::slab {

constinit thread_local hands *mine = nullptr;

namespace {

constexpr size_t region_chunks = 16;  // mapped at a time
constexpr size_t page_size = 4096;

static_assert(alignof(max_align_t) == grain, "heap blocks must not look like slab blocks");

// The start of a chunk; blocks follow from first_block on.
struct chunk {
  size_t of_class;
  chunk *next;    // among those that no class uses
  int64_t cut;    // blocks that were ever handed out
  int64_t found;  // free ones: while trim counts
};

constexpr size_t first_block = 40;  // 8 behind a multiple of 16
static_assert(sizeof(chunk) <= first_block && first_block % grain == 8);

struct alignas(64) depot {
  pthread_mutex_t mutex;
  block *batches;     // full ones
  chunk *cutting;     // or null
  size_t cut_offset;  // of the next block in it
};

depot depots[class_count];  // a zeroed mutex is an open one

// Chunks without a class and the hands of ended threads.
pthread_mutex_t common = PTHREAD_MUTEX_INITIALIZER;
chunk *idle_chunks;
char *region;  // chunks that were never used
size_t region_left;
hands *idle_hands;

constinit thread_local bool ended = false;  // the thread's own destructors run: it gets no hands any more
pthread_key_t end_key;
pthread_once_t end_key_once = PTHREAD_ONCE_INIT;
bool usable;

size_t size_of(size_t of_class) {
  return (of_class + 1) * grain;
}

chunk *chunk_of(void *b) {
  return reinterpret_cast<chunk *>(reinterpret_cast<uintptr_t>(b) & ~(uintptr_t{chunk_size} - 1));
}

class lock {
public:
  explicit lock(pthread_mutex_t &mutex) : mutex_(mutex) { pthread_mutex_lock(&mutex_); }
  ~lock() { pthread_mutex_unlock(&mutex_); }
  lock(const lock &) = delete;
  lock &operator=(const lock &) = delete;

private:
  pthread_mutex_t &mutex_;
};

// --- Chunks, under the common lock ---

bool map_region() {
  constexpr size_t size = (region_chunks + 1) * chunk_size;
  void *mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return false;
  uintptr_t start = (reinterpret_cast<uintptr_t>(mapped) + chunk_size - 1) & ~(uintptr_t{chunk_size} - 1);
  region = reinterpret_cast<char *>(start);
  region_left = region_chunks;
  return true;
}

chunk *new_chunk(size_t of_class) {
  lock held(common);
  chunk *made = idle_chunks;
  if (made != nullptr) {
    idle_chunks = made->next;
  } else {
    if (region_left == 0 && !map_region()) return nullptr;
    made = reinterpret_cast<chunk *>(std::exchange(region, region + chunk_size));
    --region_left;
  }
  *made = {.of_class = of_class, .next = nullptr, .cut = 0, .found = 0};
  return made;
}

// --- Depots, under their locks ---

void put_batch(depot &d, batch put) {
  put.first->next_batch = d.batches;
  put.first->count = put.count;
  d.batches = put.first;
}

// Cuts a batch from fresh memory: one page or so at a time becomes resident.
batch cut_batch(depot &d, size_t of_class) {
  batch made{};
  while (made.count < batch_size) {
    if (d.cutting == nullptr || d.cut_offset + size_of(of_class) > chunk_size) {
      if (made.count != 0) break;
      d.cutting = new_chunk(of_class);
      d.cut_offset = first_block;
      if (d.cutting == nullptr) break;
    }
    auto *b = reinterpret_cast<block *>(reinterpret_cast<char *>(d.cutting) + d.cut_offset);
    d.cut_offset += size_of(of_class);
    ++d.cutting->cut;
    b->next = made.first;
    made.first = b;
    ++made.count;
  }
  return made;
}

// A batch, full except after a trim or at the end of a chunk; empty when memory is exhausted.
batch take_batch(size_t of_class) {
  depot &d = depots[of_class];
  lock held(d.mutex);
  block *first = d.batches;
  if (first == nullptr) return cut_batch(d, of_class);
  d.batches = first->next_batch;
  return {.first = first, .count = first->count};
}

void give_batch(size_t of_class, batch given) {
  if (given.first == nullptr) return;
  depot &d = depots[of_class];
  lock held(d.mutex);
  put_batch(d, given);
}

// --- Hands ---

void put_idle(hands *h) {
  lock held(common);
  h->next = idle_hands;
  idle_hands = h;
}

hands *get_idle() {
  lock held(common);
  hands *got = idle_hands;
  if (got != nullptr) idle_hands = got->next;
  return got;
}

void end_thread(void *held) {
  ended = true;
  mine = nullptr;
  put_idle(static_cast<hands *>(held));
}

void prepare() {
  // Valgrind loads itself into its programs; it is to see every object as a block.
  const char *preloaded = getenv("LD_PRELOAD");
  bool watched = preloaded != nullptr && strstr(preloaded, "vgpreload") != nullptr;
  usable = !watched && pthread_key_create(&end_key, end_thread) == 0;
}

// The hands of an ended thread, or new ones, for this thread. False when it has to do without.
bool get_hands() {
  pthread_once(&end_key_once, prepare);
  if (!usable || ended) return false;
  hands *got = get_idle();
  if (got == nullptr) got = static_cast<hands *>(calloc(1, sizeof(hands)));
  if (got == nullptr) return false;
  if (pthread_setspecific(end_key, got) == 0) {
    mine = got;
  } else {
    put_idle(got);
  }
  return mine != nullptr;
}

block *take_from(batch &from) {
  block *b = from.first;
  from.first = b->next;
  --from.count;
  return b;
}

// --- Trimming ---

void empty_hands(hands *h) {
  for (size_t i = 0; i < class_count; ++i) {
    give_batch(i, std::exchange(h->of_class[i].open, {}));
    give_batch(i, std::exchange(h->of_class[i].spare, {}));
  }
}

// Takes all the depot's free blocks as one chain.
block *all_free(depot &d) {
  block *chain = nullptr;
  while (block *b = d.batches) {
    d.batches = b->next_batch;
    while (b != nullptr) {
      block *next = b->next;
      b->next = chain;
      chain = b;
      b = next;
    }
  }
  return chain;
}

void retire(chunk *c) {
  madvise(reinterpret_cast<char *>(c) + page_size, chunk_size - page_size, MADV_DONTNEED);
  lock held(common);
  c->next = idle_chunks;
  idle_chunks = c;
}

// Whether every block of the chunk is free. The one that is being cut stays.
bool wholly_free(const depot &d, const chunk *c) {
  return c != d.cutting && c->found == c->cut;
}

// Parts the blocks of wholly free chunks from the others, and puts the others back in batches. The chunks,
// linked by the first of their blocks.
block *part(depot &d, block *chain) {
  block *gone = nullptr;
  batch kept{};
  while (block *b = chain) {
    chain = b->next;
    chunk *c = chunk_of(b);
    if (wholly_free(d, c)) {
      if (c->next == nullptr) {
        c->next = c;  // seen
        b->next = gone;
        gone = b;
      }
      continue;
    }
    c->found = 0;
    b->next = kept.first;
    kept.first = b;
    if (++kept.count == batch_size) put_batch(d, std::exchange(kept, {}));
  }
  if (kept.first != nullptr) put_batch(d, kept);
  return gone;
}

int64_t trim_depot(depot &d) {
  lock held(d.mutex);
  block *chain = all_free(d);
  for (block *b = chain; b != nullptr; b = b->next)
    ++chunk_of(b)->found;
  int64_t retired = 0;
  block *gone = part(d, chain);
  while (gone != nullptr) {
    chunk *c = chunk_of(gone);
    gone = gone->next;
    retire(c);
    retired = 1;
  }
  return retired;
}

}  // namespace

void *take_slowly(size_t of_class) {
  if (mine == nullptr && !get_hands()) return nullptr;
  hand &h = mine->of_class[of_class];
  if (h.open.count == 0) {
    h.open = h.spare.count != 0 ? std::exchange(h.spare, {}) : take_batch(of_class);
    if (h.open.count == 0) return nullptr;
  }
  return take_from(h.open);
}

// Deliberate: a thread without hands gives a batch of one, rather than none: blocks that outlive the thread's
// own destructors are few, and losing them would be a leak that no tool sees.
void give_slowly(block *b, size_t of_class) {
  if (mine == nullptr && !get_hands()) {
    b->next = nullptr;
    give_batch(of_class, {.first = b, .count = 1});
    return;
  }
  hand &h = mine->of_class[of_class];
  if (h.open.count == batch_size) {
    give_batch(of_class, std::exchange(h.spare, std::exchange(h.open, {})));
  }
  b->next = h.open.first;
  h.open.first = b;
  ++h.open.count;
}

int64_t trim() {
  if (mine != nullptr) empty_hands(mine);
  hands *idle = nullptr;
  {
    lock held(common);
    idle = std::exchange(idle_hands, nullptr);
  }
  while (idle != nullptr) {
    hands *next = idle->next;
    empty_hands(idle);
    put_idle(std::exchange(idle, next));
  }
  int64_t retired = 0;
  for (depot &d : depots)
    retired |= trim_depot(d);
  return retired;
}

}  // namespace xp::slab
