#include "ipc/channel.h"
#include "ipc/channel_impl.h"
#include "ipc/channel_record.h"
#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "xp/array/list.h"
#include "xp/object/ref.h"
#include "xp/service/traversal.h"

#include <errno.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <span>
#include <utility>

// Groups: polling the members of an endpoint and serving the one that is ready.

namespace {

void group_release(xp_obj *obj) {
  if (!xp_prerelease(obj)) return;
  auto *g = static_cast<ipc_group *>(obj);
  xp_release(g->cursor);
  xp_release(g->scan);
  xp_release(g->members);
  if (g->wake >= 0) close(g->wake);
  xp::destroy(g);
}

constexpr xp::ops group_ops = {.retain = xp_obj_retain,
                               .release = group_release,
                               .compare = nullptr,
                               .textify = nullptr,
                               .control = nullptr};

std::atomic_ref<int32_t> wait_of(ipc_group *g) {
  return std::atomic_ref(g->wait);
}

ipc_com *next_member(xp_obj *traversal, xp::ref *member) {
  *member = xp::ref::adopt(xp_trav_next(traversal));
  return xp::as<ipc_com>(member->get());
}

// What is watched in one poll: the group's sets and, as long as they are few, a list, with which the kernel
// is done sooner.
struct watched {
  static constexpr int few = 8;
  int beyond;  // the highest descriptor and 1
  int count;   // descriptors; the list has all of them when they are few
  pollfd list[few];
};

void add(ipc_group *g, watched *w, int descriptor, bool write) {
  FD_SET(descriptor, write ? &g->write_ready : &g->read_ready);
  w->beyond = std::max(w->beyond, descriptor + 1);
  if (w->count < watched::few) {
    w->list[w->count] = {
        .fd = descriptor, .events = static_cast<short>(write ? POLLOUT : POLLIN), .revents = 0};
  }
  ++w->count;
}

// What is to be watched: a member that is sending for writing, any other for reading.
void watch(ipc_group *g, watched *w) {
  w->beyond = w->count = 0;
  FD_ZERO(&g->read_ready);
  FD_ZERO(&g->write_ready);
  add(g, w, g->wake, false);
  xp_trav_reset(g->scan);
  xp::ref held;
  while (const ipc_com *member = next_member(g->scan, &held)) {
    if (ipcc_pollable(member->descriptor)) add(g, w, member->descriptor, member->pending != nullptr);
  }
}

// Waits for `wait` ms with the list. The number of ready descriptors, which the sets then hold; a failure
// leaves the sets as they were.
int poll_list(ipc_group *g, std::span<pollfd> list, int32_t wait) {
  const timespec limit = {.tv_sec = wait / 1000, .tv_nsec = wait % 1000 * 1000000L};
  int ready = ppoll(list.data(), list.size(), wait < 0 ? nullptr : &limit, nullptr);
  if (ready < 0) return ready;
  for (const pollfd &p : list) {
    if (p.revents == 0) FD_CLR(p.fd, p.events == POLLOUT ? &g->write_ready : &g->read_ready);
  }
  return ready;
}

int wait_for(ipc_group *g, watched *w, int32_t wait) {
  if (w->count <= watched::few) {
    int ready = poll_list(g, std::span(w->list, static_cast<size_t>(w->count)), wait);
    // A list that is longer than the process may have descriptors now is refused; the sets are not.
    if (ready >= 0 || errno != EINVAL) return ready;
  }
  timeval limit = {.tv_sec = wait / 1000, .tv_usec = wait % 1000 * 1000L};
  return select(w->beyond, &g->read_ready, &g->write_ready, nullptr, wait < 0 ? nullptr : &limit);
}

// Takes a member's readiness; a descriptor that is closed and opened again in the same walk is not ready.
bool take_ready(ipc_group *g, const ipc_com *member, fd_set *ready) {
  if (!ipcc_pollable(member->descriptor) || !FD_ISSET(member->descriptor, ready)) return false;
  FD_CLR(member->descriptor, ready);
  --g->left;
  return true;
}

// A new client of the listener. 0, as for everything that is no message.
int32_t accept_member(ipc_group *g, ipc_com *listener) {
  xp::ref member = xp::ref::adopt(ipc_com_accept(listener));
  if (member) xp_list_append(g->members, member.get());
  return 0;
}

bool is_gone(int32_t result) {
  return result == IpcErrSystem || result == IpcErrNotConnected || result == 0;
}

// Serves one member as far as it is ready. `last` is the walk's result so far and what a member that is not
// ready answers; `drop` says that the member has to leave.
int32_t serve(ipc_group *g, ipc_com *member, ipcc_place *place, int32_t last, bool *drop) {
  *drop = false;
  // A send that began or ended since the poll changes what the member is to be watched for.
  if (member->pending != nullptr) {
    if (!take_ready(g, member, &g->write_ready)) return last;
    // A reply that could not be sent in time: without this its member would stay ready to write for ever.
    int32_t sent = ipcc_member_try_send(member);
    *drop = sent < 0 && is_gone(sent);
    return *drop ? 0 : last;
  }
  if (!take_ready(g, member, &g->read_ready)) return last;
  if (member->listener != 0) return accept_member(g, member);
  int32_t result = ipcc_member_recv(member, place);
  *drop = is_gone(result);
  return *drop ? 0 : result;
}

// Serves what is ready from the cursor on. The first whole message ends the walk, and the next one goes on
// behind its member.
int32_t walk(ipc_group *g, ipcc_place *place, xp_obj **from) {
  int32_t result = IpcErrWouldBlock;
  xp::ref held;
  ipc_com *member = next_member(g->cursor, &held);
  while (member != nullptr) {
    bool drop;
    result = serve(g, member, place, result, &drop);
    if (result > 0) {
      g->midway = 1;
      if (from != nullptr) *from = held.leak();
      return result;
    }
    xp::ref next_held;
    ipc_com *next = next_member(g->cursor, &next_held);
    // The cursor stands behind the member already when it goes.
    if (drop) xp_list_remove(g->members, member);
    held = std::move(next_held);
    member = next;
  }
  xp_trav_reset(g->cursor);
  g->midway = 0;
  return result;
}

// One round over a group. What one poll found is served to its end before the next poll, so that many clients
// at work share its cost.
int32_t group_recv(ipc_group *g, ipcc_place *place, xp_obj **from) {
  int32_t result = IpcErrWouldBlock;
  if (g->midway != 0 && g->left > 0) result = walk(g, place, from);
  if (result != IpcErrWouldBlock) return result;
  ipc_com_grp_poll(g);
  bool midway = g->midway != 0;
  result = walk(g, place, from);
  // What is ready in front of the cursor.
  return midway && result == IpcErrWouldBlock ? walk(g, place, from) : result;
}

}  // namespace

uint32_t ipc_com_grp_type() {
  return ipc_group::code;
}

xp_obj *ipc_com_grp_alloc() {
  xp::ref group = xp::ref::adopt(xp::make<ipc_group>(group_ops));
  auto *g = xp::as<ipc_group>(group.get());
  if (g == nullptr) return nullptr;
  g->wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  g->members = xp_list_new(0);
  g->cursor = xp_list_travnew(g->members);
  g->scan = xp_list_travnew(g->members);
  return g->wake < 0 || g->cursor == nullptr || g->scan == nullptr ? nullptr : group.leak();
}

int32_t ipc_com_grp_poll(xp_obj *obj) {
  auto *g = xp::as<ipc_group>(obj);
  if (g == nullptr || !ipcc_pollable(g->wake)) return 0;
  g->left = 0;
  watched w;
  watch(g, &w);
  int ready = wait_for(g, &w, wait_of(g).load(std::memory_order_relaxed));
  if (ready < 0) {
    // The sets are as they were, with every member in them: nobody is known to be ready.
    FD_ZERO(&g->read_ready);
    FD_ZERO(&g->write_ready);
    return 0;
  }
  // Deliberate: the wake descriptor is never drained. An interrupt stops a receiving thread for good;
  // drained, it could be lost to a poll that was not the last.
  g->left = ready;
  return ready;
}

int32_t ipc_com_recv(xp_obj *obj, xp_obj *b, xp_obj **from) {
  ipcc_place place = {.buffer = b, .exchange = false, .moved = false};
  return ipcc_recv(obj, &place, from);
}

int32_t ipcc_recv(xp_obj *obj, ipcc_place *place, xp_obj **from) {
  place->moved = false;
  if (from != nullptr) *from = nullptr;
  auto *c = xp::as<ipc_com>(obj);
  if (c == nullptr) return IpcErrBadState;
  if (auto *g = xp::as<ipc_group>(c->group)) return group_recv(g, place, from);
  if (from != nullptr) *from = xp_retain(c);
  return ipcc_member_recv(c, place);
}

void ipc_com_set_msecs(xp_obj *obj, int32_t msecs) {
  auto *c = xp::as<ipc_com>(obj);
  auto *g = c == nullptr ? nullptr : xp::as<ipc_group>(c->group);
  if (g != nullptr) wait_of(g).store(std::max(msecs, -1), std::memory_order_relaxed);
}

int32_t ipc_com_interupt(xp_obj *obj) {
  auto *c = xp::as<ipc_com>(obj);
  auto *g = c == nullptr ? nullptr : xp::as<ipc_group>(c->group);
  if (g == nullptr) return IpcErrBadState;
  constexpr uint64_t once = 1;
  // A counter at its end is readable already, which is all that is wanted.
  ssize_t written = write(g->wake, &once, sizeof once);
  return written == sizeof once ? 0 : IpcErrSystem;
}

void ipc_com_reset(xp_obj *obj) {
  auto *c = xp::as<ipc_com>(obj);
  if (c == nullptr) return;
  xp_release(std::exchange(c->pending, nullptr));
  ipc_mbuf_rewind(c->receive);
  ipc_mbuf_setlen(c->receive, 0);
  auto *g = xp::as<ipc_group>(c->group);
  if (g == nullptr) return;
  xp_trav_reset(g->scan);
  xp::ref held;
  while (ipc_com *member = next_member(g->scan, &held))
    ipc_com_reset(member);
}

xp_obj *ipcc_first(xp_obj *obj) {
  auto *c = xp::as<ipc_com>(obj);
  if (c == nullptr) return nullptr;
  auto *g = xp::as<ipc_group>(c->group);
  xp_obj *first = g == nullptr ? nullptr : xp_list_head(g->members);
  return first != nullptr ? first : xp_retain(c);
}
