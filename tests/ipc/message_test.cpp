#include "ipc/message.h"

#include "ipc/errors.h"
#include "ipc/mbuf.h"
#include "ipc/message_impl.h"
#include "ipc/ntld.h"
#include "ipc/ntld_raw.h"
#include "tests/ipc/records.h"
#include "tests/support/objects.h"
#include "xp/string/string.h"

#include <algorithm>

namespace {

using message_test = leak_check;

xp::ref message() {
  return xp::ref::adopt(ipc_msg_alloc(xp_code("APIC")));
}

int32_t load(const xp::ref &m, const std::string &bytes) {
  return ipc_msg_from_buf(m.get(), bytes.data(), static_cast<int64_t>(bytes.size()));
}

TEST_F(message_test, buffer_arithmetic) {
  for (auto [capacity, room] : {std::pair(int64_t{IPC_MBUF_STANDARD}, 266168), {0, 4024}, {10, 10}})
    EXPECT_EQ(ipc_mbuf_getmax(xp::ref::adopt(ipc_mbuf_alloc(capacity)).get()), room);
  expect({ipc_mbuf_alloc(-1), ipc_mbuf_alloc(INT64_MAX)}, "null null");

  xp::ref b = xp::ref::adopt(ipc_mbuf_alloc(10));
  xp_obj *p = b.get();
  expect({ipc_mbuf_set(p, "0123456789abc", 13), ipc_mbuf_consume(p, 4), *ipc_mbuf_getptr(p) - '0',
          ipc_mbuf_getmax(p), ipc_mbuf_setlen(p, 7), ipc_mbuf_setlen(p, 2), ipc_mbuf_consume(p, 3),
          ipc_mbuf_consume(p, -3)},
         "10 6 4 6 6 2 0 0");
  ipc_mbuf_rewind(p);
  expect({ipc_mbuf_getlen(p), ipc_mbuf_set(p, ipc_mbuf_getptr(p), 3), ipc_mbuf_set(p, "x", -1)}, "6 3 0");
}

TEST_F(message_test, kept_buffers_come_back_empty) {
  for (int round = 0; round < 3; ++round) {
    xp::ref many[12];
    for (xp::ref &b : many) {
      b = xp::ref::adopt(ipc_mbuf_alloc(IPC_MBUF_STANDARD));
      ASSERT_EQ(ipc_mbuf_getlen(b.get()), 0);
      ASSERT_EQ(xp_refs(b.get()), 1);
      ASSERT_EQ(ipc_mbuf_setlen(b.get(), INT64_MAX), 266168);
      memset(ipc_mbuf_getptr(b.get()), 0xA5, 266168);
    }
  }
}

TEST_F(message_test, wire_transcript) {
  xp::ref m = message();
  xp_obj *p = m.get();
  expect({ipc_msg_start_params(p), ipc_msg_set_param_long(p, xp_code("long"), 1),
          ipc_msg_set_param_quad(p, xp_code("quad"), -2),
          ipc_msg_set_param_tag(p, xp_code("tag "), xp_code("HXrf")),
          ipc_msg_set_param_cstr(p, xp_code("cstr"), "abc"),
          ipc_msg_set_param_pstr(p, xp_code("pstr"), reinterpret_cast<const uint8_t *>("\2xyz")),
          ipc_msg_set_param_xpstr(p, xp_code("xstr"), str("h\xC3\xA4").get()),
          ipc_msg_set_param_xpstr(p, xp_code("none"), nullptr),
          ipc_msg_set_param(p, xp_code("whon"), xp_code("ctag"), "HXrf", 4), ipc_msg_end_params(p),
          ipc_msg_set_header(p, {.msgn = __builtin_bswap32(7), .ptyp = 0x1000000, .ptid = 0}),
          ipc_msg_package(p)},
         "0 0 0 0 0 0 0 0 0 0 0 0");
  const std::string expected =
      record("msgd", "data",
             record("call", "long", "APIC") +
                 record("ipcp", "data",
                        record("long", "long", be32(1)) +
                            record("quad", "quad", "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE") +
                            record("tag ", "text", "HXrf") + record("cstr", "text", "abc") +
                            record("pstr", "text", "xy") + record("xstr", "text", "h\xC3\xA4") +
                            record("none", "text", "") + record("whon", "ctag", "HXrf")) +
                 record("vers", "long", be32(1)) + record("msgn", "long", be32(7)) +
                 record("ptyp", "long", "\0\0\0\1"s) + record("ptid", "long", be32(0)));
  EXPECT_EQ(bytes_of(p), expected);
  EXPECT_EQ(ipc_msg_package(p), 0);
  EXPECT_EQ(bytes_of(p), expected);
  xp::ref copy = xp::ref::adopt(ipc_msg_copy(p));
  EXPECT_EQ(bytes_of(copy.get()), expected);

  xp_obj *q = copy.get();
  int32_t number;
  int64_t quad;
  uint32_t tag, name, type, length, ptyp;
  xp_obj *text, *none;
  expect({ipc_msg_get_param_long(q, xp_code("long"), &number),
          ipc_msg_get_param_quad(q, xp_code("quad"), &quad), number, quad},
         "0 0 1 -2");
  expect({ipc_msg_get_param_tag(q, xp_code("tag "), &tag),
          ipc_msg_get_info_param(q, xp_code("tag "), &type, &length), length, ipc_msg_get_name(q, &name),
          ipc_msg_get_word(q, xp_code("ptyp"), &ptyp), ptyp},
         "0 0 4 0 0 16777216");
  EXPECT_EQ(tag, xp_code("HXrf"));
  EXPECT_EQ(type, xp_code("text"));
  EXPECT_EQ(name, xp_code("APIC"));
  expect({ipc_msg_get_param_xpstr(q, xp_code("xstr"), &text),
          ipc_msg_get_param_xpstr(q, xp_code("none"), &none), text, none},
         "0 0 h\xC3\xA4 null");
  EXPECT_EQ(memcmp(ipc_msg_get_param_ptr(q, xp_code("cstr")), "abc", 3), 0);
  EXPECT_EQ(xp_ntld_raw_count(ipc_msg_get_content_ptr(q)), 8u);
}

TEST_F(message_test, outputs_at_their_limits) {
  xp::ref m = request_of(xp_code("APIC"), "abcd");
  ipc_msg_package(m.get());
  const uint32_t text = xp_code("text");
  // What a getter leaves of eight bytes, a zero byte as '0'.
  const auto left = [&]<class Byte>(int32_t (*get)(xp_obj *, uint32_t, Byte *, uint32_t), uint32_t room) {
    char out[] = "########";
    EXPECT_EQ(get(m.get(), text, reinterpret_cast<Byte *>(out), room), 0);
    std::ranges::replace(out, out + 8, '\0', '0');
    return std::string(out);
  };
  auto *const cstr = ipc_msg_get_param_cstr;
  auto *const pstr = ipc_msg_get_param_pstr;
  expect({left(cstr, 0), left(cstr, 1), left(cstr, 4), left(cstr, 5), left(cstr, 8)},
         "######## 0####### abc0#### abcd0### abcd0###");
  expect({left(pstr, 0), left(pstr, 1), left(pstr, 4), left(pstr, 5), left(pstr, 8)},
         "######## 0####### \3abc#### \4abcd### \4abcd###");
  uint32_t size = 0;
  EXPECT_EQ(ipc_msg_get_param(m.get(), text, 0, nullptr, &size), 0);
  EXPECT_EQ(size, 4u);

  xp::ref big = request_of(xp_code("APIC"), std::string(300, 'x'));
  ipc_msg_package(big.get());
  uint8_t pascal[300];
  EXPECT_EQ(ipc_msg_get_param_pstr(big.get(), text, pascal, sizeof pascal), 0);
  EXPECT_EQ(pascal[0], 255);

  // Missing: outputs are cleared first.
  int32_t number = 5;
  int64_t quad = 5;
  uint32_t word = 5;
  size = 8;
  char out[8];
  const uint32_t none = xp_code("none");
  for (const int32_t missing :
       {ipc_msg_get_param_long(m.get(), none, &number), ipc_msg_get_param_quad(m.get(), none, &quad),
        ipc_msg_get_param_tag(m.get(), none, &word), ipc_msg_get_param(m.get(), none, 0, out, &size),
        ipc_msg_get_param_long(nullptr, none, &number)})
    EXPECT_EQ(missing, IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_get_param_ptr(m.get(), none), nullptr);
  EXPECT_EQ(number + quad + word + size, 0);
}

TEST_F(message_test, building_states) {
  xp::ref m = message();
  xp_obj *p = m.get();
  EXPECT_EQ(ipc_msg_end_params(p), IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_set_param_long(p, 1, 1), IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_start_params(p), 0);
  EXPECT_EQ(ipc_msg_start_params(p), IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_set_content(p, "", 0), IpcErrBadMessage);
  for (const int32_t inblock : {0, 2, -1})
    EXPECT_EQ(ipc_msg_set_param_ex(p, 1, 1, nullptr, 0, inblock), IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_set_param_ex(p, xp_code("aaaa"), xp_code("data"), nullptr, 0, 1), 0);
  // Packaging closes both levels; nothing can be added behind the end.
  EXPECT_EQ(ipc_msg_package(p), 0);
  const std::string expected = record(
      "msgd", "data", record("call", "long", "APIC") + record("ipcp", "data", record("aaaa", "data", "")));
  EXPECT_EQ(bytes_of(p), expected);
  EXPECT_EQ(ipc_msg_start_params(p), IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_set_content(p, "", 0), IpcErrBadMessage);
  EXPECT_EQ(bytes_of(p), expected);

  // Whoever had the builder may have closed everything before.
  ipc_msg_reset(p, xp_code("APIC"));
  ipc_msg_set_content(p, record("aaaa", "data", "").data(), 12);
  EXPECT_EQ(ipc_msg_size(p), 0);
  xp_ntld_length(xp::ref::adopt(ipc_msg_get_ntld(p)).get());
  ipc_msg_package(p);
  EXPECT_EQ(bytes_of(p), expected);

  ipc_msg_reset(p, xp_code("NEXT"));
  EXPECT_EQ(ipc_msg_set_content(p, record("text", "text", "a").data(), 16), 0);
  ipc_msg_package(p);
  EXPECT_EQ(bytes_of(p),
            record("msgd", "data",
                   record("call", "long", "NEXT") + record("ipcp", "data", record("text", "text", "a"))));

  // A message that is reset with its block open gets no name.
  ipc_msg_reset(p, xp_code("NEXT"));
  ipc_msg_start_params(p);
  ipc_msg_reset(p, xp_code("LAST"));
  uint32_t name;
  ipc_msg_package(p);
  EXPECT_EQ(ipc_msg_get_name(p, &name), IpcErrBadMessage);
}

TEST_F(message_test, full_to_the_last_byte) {
  // "msgd", "call" and the headers of "ipcp" and the parameter leave exactly this much.
  constexpr uint32_t room = 266168 - 12 - 16 - 12 - 12;
  xp::ref m = message();
  ipc_msg_start_params(m.get());
  EXPECT_EQ(ipc_msg_set_param(m.get(), 1, 1, nullptr, room + 1), IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_set_param(m.get(), 1, 1, nullptr, room), 0);
  EXPECT_EQ(ipc_msg_set_param(m.get(), 1, 1, nullptr, 0), IpcErrBadMessage);
  ipc_msg_end_params(m.get());
  EXPECT_EQ(ipc_msg_start_params(m.get()), IpcErrBadMessage);
  ipc_msg_package(m.get());
  EXPECT_EQ(ipc_msg_size(m.get()), 266168);
  uint32_t length;
  EXPECT_EQ(ipc_msg_get_info_param(m.get(), 1, nullptr, &length), 0);
  EXPECT_EQ(length, room);
}

TEST_F(message_test, loading_received_bytes) {
  xp::ref m = message();
  const std::string good = reply_bytes(3, record("rslt", "long", be32(5)));
  uint32_t name;
  // Whether the bytes load, whether the parameter can be read, and the parameter.
  auto loaded = [&](const std::string &bytes) {
    int32_t number;
    const int32_t loads = load(m, bytes), reads = ipc_msg_get_param_long(m.get(), xp_code("rslt"), &number);
    return loads != 0 ? "no message" : reads != 0 ? "no block" : std::to_string(number);
  };
  EXPECT_EQ(loaded(good), "5");
  // Bytes behind the record do not count, and a loaded message takes nothing more.
  EXPECT_EQ(loaded(good + "tail"), "5");
  EXPECT_EQ(bytes_of(m.get()), good);
  EXPECT_EQ(ipc_msg_set_param_ex(m.get(), 1, 1, nullptr, 0, 0), IpcErrBadMessage);
  EXPECT_EQ(ipc_msg_start_params(m.get()), IpcErrBadMessage);
  // Cut anywhere it is no message, and what it held before is gone.
  for (size_t cut = 0; cut < good.size(); ++cut) {
    ASSERT_EQ(loaded(good), "5");
    ASSERT_EQ(loaded(good.substr(0, cut)), "no message");
    ASSERT_EQ(ipc_msg_get_name(m.get(), &name), IpcErrBadMessage);
    ASSERT_EQ(ipc_msg_size(m.get()), 0);
  }
  EXPECT_EQ(loaded(lying("msgd", "data", 0xFFFFFFF4, "abcd")), "no message");
  // Only the parameter block lies: the header can be read, the block counts as absent.
  EXPECT_EQ(loaded(reply_bytes(3, lying("rslt", "long", 400, be32(5)))), "no block");
  EXPECT_EQ(ipc_msg_get_name(m.get(), &name), 0);
  EXPECT_EQ(ipc_msg_get_content_ptr(m.get()), nullptr);
  EXPECT_EQ(ipc_msg_get_param_ptr(m.get(), xp_code("rslt")), nullptr);
  EXPECT_EQ(loaded(good), "5") << "a good one in the same message afterwards is read";
  EXPECT_EQ(loaded(reply_bytes(3, record("rslt", "long", "\1\2"))), std::to_string(0x01020000))
      << "short numbers are padded with zero bytes at their end";
}

TEST_F(message_test, bytes_that_imitate_an_object_are_read_as_bytes) {
  // The first words look like a builder's header: a count of 1 and the type "ntld".
  xp::ref m = message();
  EXPECT_EQ(load(m, record("\1\0\0\0"s, "ntld", record("call", "long", "APIC"))), 0);
  uint32_t name;
  EXPECT_EQ(ipc_msg_get_name(m.get(), &name), 0);
  EXPECT_EQ(name, xp_code("APIC"));
}

TEST_F(message_test, a_builder_outlives_its_message_harmlessly) {
  xp::ref m = message();
  xp::ref set = xp::ref::adopt(ipc_msg_get_ntld(m.get()));
  ipc_msg_free(m.leak());
  EXPECT_EQ(xp_ntld_data(set.get()), nullptr);
  EXPECT_EQ(xp_ntld_getbyname(set.get(), xp_code("call")), nullptr);
}

}  // namespace
