// docs/daemon-protocol.md and its client in another language against a stand-in.

#include "tests/ipc/records.h"
#include "tests/standin/standin_process.h"

#include <gtest/gtest.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

namespace {

constexpr const char *page = CORVANE_SOURCE_DIR "/docs/daemon-protocol.md";

// The fenced blocks of the page by the word behind their fence.
std::map<std::string, std::string> blocks() {
  std::map<std::string, std::string> found;
  std::ifstream lines(page);
  std::string block;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("```")) {
      block = block.empty() ? line.substr(3) : "";
    } else if (!block.empty()) {
      found[block] += line + "\n";
    }
  }
  return found;
}

// The bytes of an annotated dump, each line of which must begin with the offset where the one before ended.
std::string bytes_of(const std::string &dump) {
  std::string bytes;
  std::istringstream lines(dump);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream digits(line.substr(0, line.find("  ", 6)));
    size_t value = 0;
    digits >> std::hex >> value;
    EXPECT_EQ(value, bytes.size()) << line;
    while (digits >> value)
      bytes += static_cast<char>(value);
  }
  return bytes;
}

// A message with the number of another session in it.
std::string in_session(std::string message, uint32_t session) {
  return message.replace(message.find("ptidlong\0\0\0\4"s) + 12, 4, be32(session));
}

std::string exchange(int type, const std::string &path, const std::string &request, size_t size) {
  const int stream = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(connect(stream, reinterpret_cast<sockaddr *>(&address), sizeof address), 0) << path;
  EXPECT_EQ(send(stream, request.data(), request.size(), MSG_NOSIGNAL), std::ssize(request));
  std::string reply(size, 0);
  const ssize_t got = recv(stream, reply.data(), size, MSG_WAITALL);
  close(stream);
  return reply.substr(0, static_cast<size_t>(std::max<ssize_t>(got, 0)));
}

// A message as a packet of the message service; `kind`: the last two bytes of the first word.
std::string packet(std::string_view kind, const std::string &message) {
  const auto size = static_cast<uint32_t>(28 + message.size());
  return "\0\0"s + std::string(kind) + be32(size) + std::string(20, 0) + message;
}

TEST(daemon_protocol, the_page_shows_a_real_exchange) {
  const private_root root;
  const standin_process daemon(root);
  ASSERT_TRUE(daemon.serves()) << daemon.errors();
  auto shown = blocks();
  const temp_folder folder;
  for (const char *name : {"request", "reply"})
    folder.write(name, bytes_of(shown[name]));
  const std::string request = in_session(bytes_of(shown["request"]), root.session());
  const std::string reply = in_session(bytes_of(shown["reply"]), root.session());
  EXPECT_EQ(exchange(SOCK_STREAM, root.socket(), request, reply.size()), reply);
  char name[32];
  snprintf(name, sizeof name, "com.brindle.hxapi.ipc-%08X", root.session());
  EXPECT_EQ(exchange(SOCK_SEQPACKET, root.path() + "/run/com.brindle.services/" + name,
                     packet("\x15\x13", request), 65536),
            packet("\0\x12"s, reply));
  const program_result dumped = run_program(
      {"/bin/sh", "-c",
       "PATH=" CORVANE_TOOLS_FOLDER ":$PATH; cd " + folder.path().string() + "; ntld-dump request reply"});
  EXPECT_EQ("$ ntld-dump request reply\n" + dumped.out + dumped.err, shown["console"]);
}

TEST(daemon_protocol, a_client_in_another_language_gets_what_the_daemon_tells) {
  const private_root root;
  const auto ask = [&] {
    return run_program(
        {"env", "CORVANE_ROOT=" + root.path(), "python3", CORVANE_SOURCE_DIR "/docs/examples/conn_info.py"});
  };
  EXPECT_NE(ask().status, 0) << "without a daemon";
  const temp_folder folder;
  const std::string state = folder.write("state.json", R"({"connection":{"server":"höst","address":"",
"user":"\"u\"","status":5,"audit":1}})");
  const standin_process daemon({"--root", root.path(), "--state", state});
  ASSERT_TRUE(daemon.serves()) << daemon.errors();
  const std::string told = "{\n  \"server\": \"h\\u00f6st\",\n  \"username\": \"\\\"u\\\"\",\n";
  EXPECT_EQ(ask().out, told + "  \"connected\": true,\n  \"audit\": true\n}\n");
  folder.write("state.json", R"({"connection":{"server":"höst","user":"\"u\"","status":2}})");
  EXPECT_EQ(ask().out, told + "  \"connected\": false,\n  \"audit\": false\n}\n");
}

}  // namespace
