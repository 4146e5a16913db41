// corvane-standin: a daemon to run the settings application against where the client is not installed, and
// the maker of the private root in which both find each other.

#include "ipc/connection.h"
#include "ipc/session.h"
#include "standin/daemon.h"
#include "standin/private_root.h"
#include "standin/service.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <charconv>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace {

enum exit_status : int {
  EXIT_OK = 0,
  EXIT_FAILED = 1,
  EXIT_USAGE = 2,
};

constexpr const char *help_text =
    "Usage: corvane-standin [--root DIR] [--state FILE] [--session N]\n"
    "       corvane-standin --make-root DIR\n"
    "\n"
    "Serves the client daemon's endpoint, and below a root its message service as well, with invented data\n"
    "until it is stopped (SIGTERM, SIGINT).\n"
    "\n"
    "  --root DIR       look for the client's files below DIR, as CORVANE_ROOT=DIR does\n"
    "  --state FILE     the data: a JSON file, written when it is missing, read again when it changes.\n"
    "                   Default: Library/Corvane/standin.json below the root, without a root\n"
    "                   corvane-standin/state.json in $XDG_STATE_HOME or ~/.local/state\n"
    "  --session N      serve session N (0 to 2147483647) instead of the one the session helper names\n"
    "  --make-root DIR  lay out a private root: the session helper with a session number of its own\n"
    "  --help           show this text\n"
    "\n"
    "Exit status: 0 stopped cleanly, 1 could not serve, 2 wrong arguments.\n";

struct options {
  std::string root;
  std::string state;
  std::string make_root;
  std::optional<uint32_t> session;
  bool help = false;
};

int fail(const std::string &line, int status) {
  fprintf(stderr, "corvane-standin: %s\n", line.c_str());
  return status;
}

bool parse_session(std::string_view text, std::optional<uint32_t> &session) {
  uint32_t number = 0;
  const char *const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end || number > STANDIN_LAST_SESSION) return false;
  session = number;
  return true;
}

// Returns an empty text, or what is wrong with the arguments.
std::string parse_arguments(int count, char **arguments, options &wanted) {
  const struct {
    std::string_view name;
    std::string *value;
  } texts[] = {
      {"--root", &wanted.root},
      {"--state", &wanted.state},
      {"--make-root", &wanted.make_root},
  };
  std::string session;
  for (int i = 1; i < count; ++i) {
    const std::string_view name = arguments[i];
    if (name == "--help") {
      wanted.help = true;
      continue;
    }
    std::string *value = name == "--session" ? &session : nullptr;
    for (const auto &row : texts)
      if (row.name == name) value = row.value;
    if (value == nullptr) return "unknown argument " + std::string(name) + " (see --help)";
    if (i + 1 == count || *arguments[i + 1] == '\0') return std::string(name) + " needs a value";
    *value = arguments[++i];
    if (value == &session && !parse_session(session, wanted.session))
      return "--session needs a number from 0 to " + std::to_string(STANDIN_LAST_SESSION);
  }
  return {};
}

fs::path default_state_file() {
  const auto environment = [](const char *name) {
    const char *value = getenv(name);
    return std::string(value == nullptr ? "" : value);
  };
  const std::string root = environment("CORVANE_ROOT");
  if (!root.empty()) return fs::path(root) / "Library/Corvane/standin.json";
  const std::string state = environment("XDG_STATE_HOME");
  const fs::path base = state.empty() ? fs::path(environment("HOME")) / ".local/state" : fs::path(state);
  return base / "corvane-standin/state.json";
}

// Blocked before the serving thread starts, so that it inherits the mask and the main thread alone gets them.
sigset_t block_stop_signals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int serve(const options &wanted) {
  const sigset_t stop = block_stop_signals();
  const fs::path file = wanted.state.empty() ? default_state_file() : fs::path(wanted.state);
  standin_state state(file);
  if (!state.prepare()) return fail("cannot write " + file.string(), EXIT_FAILED);

  const int32_t spec = wanted.session ? ipc_session_explicit(*wanted.session) : IPC_SESSION_HELPER;
  const uint32_t session = __builtin_bswap32(ipc_session_id(spec));
  // Binding replaces a socket that is there: a daemon that answers on it keeps it.
  if (ipc_exists(STANDIN_ENDPOINT, spec) == 0 && ipc_check(spec, STANDIN_ENDPOINT, 0, 0) == 0)
    return fail("another daemon serves HXca in session " + std::to_string(session), EXIT_FAILED);

  constexpr int32_t reply_limit_ms = 5000;
  xp_obj *const connection = ipc_alloc(STANDIN_ENDPOINT, spec);
  const int32_t error = ipc_receive(connection, standin_answer, &state, IPC_MODE_THREAD, reply_limit_ms);
  std::optional<standin_service> service;
  std::string failure = error == 0 ? "" : "cannot serve HXca: error " + std::to_string(error);
  if (failure.empty()) failure = service.emplace(spec, standin_answer, &state).start();
  if (failure.empty()) {
    fprintf(stderr, "corvane-standin: serving HXca in session %u (%08X) from %s\n", session, session,
            file.c_str());
    int signal = 0;
    sigwait(&stop, &signal);
  }
  service.reset();
  ipc_close(connection);
  ipc_free(connection);
  return failure.empty() ? EXIT_OK : fail(failure, EXIT_FAILED);
}

int make_root(const fs::path &root) {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  const std::string failure = standin_make_root(root, self.parent_path() / "quorn");
  return failure.empty() ? EXIT_OK : fail(failure, EXIT_FAILED);
}

}  // namespace

int main(int argc, char **argv) {
  options wanted;
  const std::string wrong = parse_arguments(argc, argv, wanted);
  if (!wrong.empty()) return fail(wrong, EXIT_USAGE);
  if (wanted.help) {
    fputs(help_text, stdout);
    return EXIT_OK;
  }
  if (!wanted.make_root.empty()) return make_root(wanted.make_root);
  if (!wanted.root.empty()) setenv("CORVANE_ROOT", wanted.root.c_str(), 1);
  return serve(wanted);
}
