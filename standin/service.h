// The stand-in's message service: the other way to reach the daemon, with the same handler, on a thread of
// its own. It lies below the private root that CORVANE_ROOT names; without a private root there is none,
// since the machine's own services are not the stand-in's.
//
// A client sends one request in a packet and gets one packet back (ipc/service_socket.h). A request that
// cannot be answered gets a bare header. Whoever sends anything else, or does not take its reply, is cut off;
// when too many clients are there, the one that has been silent for longest makes room.

#ifndef STANDIN_SERVICE_H
#define STANDIN_SERVICE_H

#include "ipc/connection.h"
#include "xp/object/ref.h"
#include "xp/service/file_descriptor.h"

#include <stdint.h>
#include <sys/types.h>

#include <filesystem>
#include <list>
#include <string>
#include <thread>
#include <vector>

// As many clients stay connected.
constexpr size_t STANDIN_CLIENT_LIMIT = 256;

class standin_service {
public:
  // For the session of `spec`; the handler is called on the service's thread and always has its reply sent.
  standin_service(int32_t spec, ipc_handler handler, void *context);
  standin_service(const standin_service &) = delete;
  standin_service &operator=(const standin_service &) = delete;

  // Ends the thread and removes the socket file and the folders that are empty then.
  ~standin_service();

  // Makes folder and socket file, taking over a file that is there, and serves. An empty text, or one line
  // that says what failed.
  std::string start();

private:
  std::string listen_in(const std::filesystem::path &folder);
  void run();
  void admit();
  bool answer(int client);
  size_t make_reply(size_t request_size);

  ipc_handler handler_;
  void *context_;
  xp::ref endpoint_;            // an idle connection: whom replies come from
  std::filesystem::path file_;  // the socket's, once it is made
  ino_t inode_ = 0;             // of that file
  xp::descriptor listener_;
  xp::descriptor stop_;                // readable when the thread is to end
  std::list<xp::descriptor> clients_;  // the one that was silent for longest first
  std::vector<uint8_t> packet_;        // the request, then its reply
  std::thread thread_;
};

#endif
