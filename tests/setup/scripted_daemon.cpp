#include "tests/setup/scripted_daemon.h"

#include "ipc/session.h"
#include "ipc/socket_file.h"

namespace {

namespace fs = std::filesystem;

std::optional<private_root> root;

class made_before_the_tests : public testing::Environment {
public:
  void SetUp() override {
    root.emplace();
    const fs::path bundle =
        fs::path(root->path()) / "Library/Corvane/Corvane.app/Contents/Frameworks/Vane.framework";
    fs::create_directories(bundle);
    fs::create_symlink(FAKE_VANE_PATH, bundle / "Vane");
    setenv("CORVANE_ROOT", root->path().c_str(), 1);
    ASSERT_EQ(__builtin_bswap32(ipc_session_id(IPC_SESSION_HELPER)), root->session());
    close(ipcc_directory_prepare(ipcc_directory()));
  }
  void TearDown() override { root.reset(); }
};

const testing::Environment *const registered = testing::AddGlobalTestEnvironment(new made_before_the_tests);

}  // namespace

const private_root &private_client() {
  return *root;
}

void scripted_daemon::serve(const scripted_answer &all, const std::map<int32_t, scripted_answer> &others) {
  const std::lock_guard guard(lock_);
  all_ = all;
  others_ = others;
  if (connection_ != nullptr) return;
  connection_ = ipc_alloc(xp_code("HXca"), ipc_session_explicit(root->session()));
  EXPECT_EQ(ipc_receive(connection_, handle, this, IPC_MODE_THREAD, 5000), 0);
}

words scripted_daemon::take_requests() {
  const std::lock_guard guard(lock_);
  return std::exchange(requests_, {});
}

int32_t scripted_daemon::handle(xp_obj *request, xp_obj *reply, uint32_t, uint32_t, void *context) {
  auto *self = static_cast<scripted_daemon *>(context);
  uint32_t type = 0;
  int32_t code = 0;
  EXPECT_EQ(ipc_msg_get_name(request, &type), 0);
  EXPECT_EQ(type, xp_code("APIC"));
  EXPECT_EQ(ipc_msg_get_param_long(request, xp_code("code"), &code), 0);
  const std::string line = described(ipc_msg_get_content_ptr(request));
  const std::string caller = " whon!HXrf whov=25088 code=" + std::to_string(code) + " sess=0";
  EXPECT_TRUE(line.starts_with(caller)) << line;
  char number[16];
  snprintf(number, sizeof number, "%x", static_cast<unsigned>(code));
  scripted_answer answer;
  {
    const std::lock_guard guard(self->lock_);
    self->requests_.push_back(number + line.substr(std::min(line.size(), caller.size())));
    const auto found = self->others_.find(code);
    answer = found == self->others_.end() ? self->all_ : found->second;
  }
  std::this_thread::sleep_for(answer.delay);
  if (answer.result) answer.records += record("rslt", "long", be32(static_cast<uint32_t>(*answer.result)));
  ipc_msg_set_content(reply, answer.records.data(), static_cast<uint32_t>(answer.records.size()));
  return 0;
}

int listen_as_daemon() {
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address;
  ipcc_address_of(root->socket().c_str(), &address);
  unlink(address.sun_path);
  if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
      listen(listener, 5) == 0)
    return listener;
  close(listener);
  return -1;
}

raw_daemon::raw_daemon(std::function<void(int)> serve) : listener_(listen_as_daemon()) {
  EXPECT_GE(listener_, 0);
  thread_ = std::thread([listener = listener_, serve = std::move(serve)] {
    for (int client; (client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0; close(client))
      serve(client);
  });
}

raw_daemon::~raw_daemon() {
  shutdown(listener_, SHUT_RDWR);  // ends the accept
  thread_.join();
  close(listener_);
  unlink(root->socket().c_str());
}
