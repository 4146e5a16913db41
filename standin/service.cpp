#include "standin/service.h"

#include "ipc/clock.h"
#include "ipc/mbuf.h"
#include "ipc/message.h"
#include "ipc/message_port.h"
#include "ipc/service_socket.h"
#include "ipc/session.h"
#include "standin/daemon.h"
#include "xp/service/system_root.h"
#include "xp/string/string.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iterator>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr uint32_t ping = xp_code("IPCP");
constexpr int backlog = 64;
constexpr mode_t folder_mode = 0755;

// Who may connect: the user alone, or with a daemon of root's everyone. As for the endpoint's socket.
mode_t socket_mode() {
  return geteuid() == 0 ? 0222 : 0200;
}

bool has_private_root() {
  const char *root = getenv("CORVANE_ROOT");
  return root != nullptr && *root != '\0';
}

fs::path service_folder() {
  const xp::ref path = xp::ref::adopt(xp_root_path(ipc_service_folder_path));
  return xp_str_getptr(path.get());
}

std::string trouble(const char *what, const fs::path &path) {
  return std::string(what) + " " + path.string() + ": " + strerror(errno);
}

}  // namespace

standin_service::standin_service(int32_t spec, ipc_handler handler, void *context)
    : handler_(handler),
      context_(context),
      endpoint_(xp::ref::adopt(ipc_alloc(STANDIN_ENDPOINT, spec))),
      listener_(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      stop_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      packet_(static_cast<size_t>(ipc_port_message_size(IPC_MBUF_STANDARD_CAPACITY))) {
  if (!has_private_root()) return;
  char name[IPC_PORT_NAME_LIMIT];
  ipc_port_service_name(ipc_session_id(spec), name);
  file_ = service_folder() / name;
}

standin_service::~standin_service() {
  if (thread_.joinable()) {
    eventfd_write(stop_.get(), 1);
    thread_.join();
  }
  struct stat status;
  if (inode_ == 0 || lstat(file_.c_str(), &status) != 0 || status.st_ino != inode_) return;
  std::error_code ignored;
  fs::remove(file_, ignored);
  // Only empty folders go. A folder without a service would make clients wait for one.
  if (fs::remove(file_.parent_path(), ignored)) fs::remove(file_.parent_path().parent_path(), ignored);
}

std::string standin_service::start() {
  if (file_.empty()) return {};
  const fs::path folder = file_.parent_path();
  std::error_code error;
  fs::create_directories(folder.parent_path(), error);
  if (mkdir(folder.c_str(), folder_mode) != 0 && errno != EEXIST) return trouble("cannot make", folder);
  std::string failure = listen_in(folder);
  if (failure.empty()) thread_ = std::thread([this] { run(); });
  return failure;
}

std::string standin_service::listen_in(const fs::path &folder) {
  ipc_port_found found;
  const xp::descriptor place(ipc_service_folder(&found));
  if (!place) return "not a folder that clients trust: " + folder.string();
  const std::string name = file_.filename();
  const sockaddr_un address = ipc_service_address(place.get(), name.c_str());
  unlinkat(place.get(), name.c_str(), 0);
  // The file gets the socket's mode less the umask, and then what the umask took.
  struct stat status;
  if (fchmod(listener_.get(), socket_mode()) != 0 ||
      bind(listener_.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
      fchmodat(place.get(), name.c_str(), socket_mode(), AT_SYMLINK_NOFOLLOW) != 0 ||
      fstatat(place.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
    return trouble("cannot make", file_);
  inode_ = status.st_ino;
  if (listen(listener_.get(), backlog) != 0 || !stop_) return trouble("cannot serve", file_);
  return {};
}

// One packet of each client that has one, then one new client: nobody keeps the others from their turn.
void standin_service::run() {
  std::vector<pollfd> waiting;
  for (;;) {
    waiting.assign({{stop_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}});
    for (const xp::descriptor &client : clients_)
      waiting.push_back({client.get(), POLLIN, 0});
    if (poll(waiting.data(), waiting.size(), -1) < 0) continue;
    if (waiting[0].revents != 0) return;
    auto client = clients_.begin();
    for (size_t i = 2; i < waiting.size(); ++i) {
      const auto next = std::next(client);
      if (waiting[i].revents != 0) {
        if (answer(client->get()))
          clients_.splice(clients_.end(), clients_, client);
        else
          clients_.erase(client);
      }
      client = next;
    }
    if (waiting[1].revents != 0) admit();
  }
}

void standin_service::admit() {
  const int client = accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (client >= 0) {
    clients_.emplace_back(client);
    if (clients_.size() > STANDIN_CLIENT_LIMIT) clients_.pop_front();
  } else if (errno == EMFILE || errno == ENFILE) {
    // The listener stays ready until there is a descriptor for the client.
    if (clients_.empty())
      ipc_sleep(10);
    else
      clients_.pop_front();
  }
}

// Answers the packet that a client has sent; false when the client is to go.
bool standin_service::answer(int client) {
  const ssize_t count = recv(client, packet_.data(), packet_.size(), MSG_TRUNC);
  if (count < 0) return errno == EAGAIN || errno == EINTR;
  const auto size = static_cast<size_t>(count);
  if (size > packet_.size() || !ipc_service_sealed(packet_.data(), count, IPC_SERVICE_REQUEST)) return false;
  const size_t reply = make_reply(size);
  ipc_service_seal(packet_.data(), static_cast<uint32_t>(reply), IPC_SERVICE_REPLY);
  return send(client, packet_.data(), reply, MSG_NOSIGNAL) == static_cast<ssize_t>(reply);
}

// Puts the reply behind the header, in the request's place; the size of its packet.
size_t standin_service::make_reply(size_t request_size) {
  uint8_t *const bytes = packet_.data() + IPC_PORT_MESSAGE_HEADER;
  const xp::ref request = xp::ref::adopt(ipc_msg_alloc(0));
  ipc_msg_from_buf(request.get(), bytes, static_cast<int64_t>(request_size - IPC_PORT_MESSAGE_HEADER));
  uint32_t name = 0;
  uint32_t ptyp = 0;
  uint32_t ptid = 0;
  const xp::ref reply = xp::ref::adopt(ipc_prepreply(endpoint_.get(), request.get(), &name, &ptyp, &ptid));
  if (!reply) return IPC_PORT_MESSAGE_HEADER;
  if (name != ping) handler_(request.get(), reply.get(), ptyp, ptid, context_);
  ipc_msg_package(reply.get());
  const auto length = static_cast<size_t>(ipc_msg_size(reply.get()));
  const auto size = static_cast<size_t>(ipc_port_message_size(static_cast<int64_t>(length)));
  if (size > IPC_PORT_MESSAGE_LIMIT) return IPC_PORT_MESSAGE_HEADER;
  memcpy(bytes, ipc_msg_buf(reply.get()), length);
  memset(bytes + length, 0, size - IPC_PORT_MESSAGE_HEADER - length);
  return size;
}
