// One message with four header numbers and six strings: made into bytes, and read from them. Both sides use
// one message object again and again, as a busy end of a connection does.

#include "ipc/message.h"
#include "ipc/message_impl.h"
#include "ipc/ntld_raw.h"
#include "record.pb.h"
#include "xp/object/ref.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr const char *texts[] = {"margaret",
                                 "workstation-12.example.org",
                                 "/Library/Corvane/Corvane.app/Contents/SharedSupport",
                                 "Corvane Settings",
                                 "The protection of this computer is managed by its organisation.",
                                 "on"};
constexpr uint32_t names[] = {xp_code("user"), xp_code("host"), xp_code("path"),
                              xp_code("titl"), xp_code("detl"), xp_code("stat")};
constexpr ipc_header header = {.msgn = 0x01020304, .ptyp = xp_code("HXca"), .ptid = 0xA5860100};

void encode(xp_obj *message) {
  ipc_msg_reset(message, xp_code("conf"));
  ipc_msg_start_params(message);
  for (size_t i = 0; i < std::size(names); ++i)
    ipc_msg_set_param_cstr(message, names[i], texts[i]);
  ipc_msg_end_params(message);
  ipc_msg_set_header(message, header);
  ipc_msg_package(message);
}

void encode(bench::Record *record) {
  record->Clear();
  record->set_version(1);
  record->set_number(header.msgn);
  record->set_endpoint(header.ptyp);
  record->set_session(header.ptid);
  record->set_user(texts[0]);
  record->set_host(texts[1]);
  record->set_path(texts[2]);
  record->set_title(texts[3]);
  record->set_detail(texts[4]);
  record->set_state(texts[5]);
}

void record_encode_ours(benchmark::State &state) {
  xp::ref message = xp::ref::adopt(ipc_msg_alloc(0));
  for (auto _ : state) {
    encode(message.get());
    benchmark::DoNotOptimize(ipc_msg_buf(message.get()));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(record_encode_ours)->Name("record encode/ours");

void record_encode_protobuf(benchmark::State &state) {
  bench::Record record;
  std::vector<char> bytes(4096);
  for (auto _ : state) {
    encode(&record);
    if (!record.SerializeToArray(bytes.data(), static_cast<int>(bytes.size()))) std::abort();
    benchmark::DoNotOptimize(bytes.data());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(record_encode_protobuf)->Name("record encode/protobuf-lite");

// What the reader takes out of a message: the sum of the numbers and of the texts' lengths and first letters.
uint32_t take(const uint8_t *params, uint32_t name) {
  const uint8_t *text = xp_ntld_raw_getbyname(params, name);
  return xp_ntld_raw_length(text) + *xp_ntld_raw_data(text);
}

uint32_t take(const std::string &text) {
  return static_cast<uint32_t>(text.size()) + static_cast<uint8_t>(text[0]);
}

void record_decode_ours(benchmark::State &state) {
  xp::ref source = xp::ref::adopt(ipc_msg_alloc(0));
  encode(source.get());
  xp::ref message = xp::ref::adopt(ipc_msg_alloc(0));
  for (auto _ : state) {
    if (ipc_msg_from_buf(message.get(), ipc_msg_buf(source.get()), ipc_msg_size(source.get())) != 0)
      std::abort();
    const ipc_words words = ipc_msg_get_words(message.get());
    uint32_t sum = words.vers + words.msgn + words.ptyp + words.ptid;
    const uint8_t *params = ipc_msg_get_content_ptr(message.get());
    for (uint32_t name : names)
      sum += take(params, name);
    benchmark::DoNotOptimize(sum);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(record_decode_ours)->Name("record decode/ours");

void record_decode_protobuf(benchmark::State &state) {
  bench::Record record;
  encode(&record);
  const std::string bytes = record.SerializeAsString();
  for (auto _ : state) {
    if (!record.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()))) std::abort();
    uint32_t sum = record.version() + record.number() + record.endpoint() + record.session();
    sum += take(record.user()) + take(record.host()) + take(record.path());
    sum += take(record.title()) + take(record.detail()) + take(record.state());
    benchmark::DoNotOptimize(sum);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(record_decode_protobuf)->Name("record decode/protobuf-lite");

}  // namespace
