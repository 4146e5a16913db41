#include "xp/service/stream.h"

#include "tests/support/objects.h"
#include "tests/support/temp_folder.h"
#include "tests/support/threads.h"
#include "xp/object/object.h"
#include "xp/service/file.h"
#include "xp/service/stream_kinds.h"
#include "xp/string/string.h"

#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace {

using xp::ref;

constexpr unsigned seed = 1137;

// Opens, reads to the end and closes.
std::string drain(xp_obj *s) {
  EXPECT_EQ(xp_strm_open(s, XP_STRM_READ), 0);
  std::string all = taken(xp_strm_string(s, -1));
  EXPECT_EQ(xp_strm_close(s), 0);
  return all;
}

ref memory(const std::string &content) {
  ref s = ref::adopt(xp_strm_newmem());
  xp_strm_open(s.get(), XP_STRM_WRITE);
  xp_strm_write(s.get(), content.data(), static_cast<int64_t>(content.size()));
  xp_strm_close(s.get());
  return s;
}

class stream_test : public leak_check {
protected:
  std::string path(const std::string &name) const { return folder_.path() / name; }
  ref file(const std::string &name) const { return ref::adopt(xp_strm_newfile(str(path(name)).get())); }

private:
  temp_folder folder_;
};

// Deals random calls to streams and to a string that stands for what they should do.
struct model {
  std::string content;
  size_t read = 0;
  size_t write = 0;
  bool append = false;

  std::string take(size_t count) {
    std::string taken = read < content.size() ? content.substr(read, count) : "";
    read += taken.size();
    return taken;
  }
  void put(const std::string &bytes) {
    if (append) write = content.size();
    if (write + bytes.size() > content.size()) content.resize(write + bytes.size());
    content.replace(write, bytes.size(), bytes);
    write += bytes.size();
  }
};

// One random call to each stream, with the same outcome as on the string.
void step(std::mt19937 &random, const std::vector<ref> &streams, model &expected) {
  const auto size = static_cast<int64_t>(random() % 100 + 1);
  const auto what = random() % 10;
  const std::string bytes(static_cast<size_t>(size), static_cast<char>(random()));
  const std::string wanted = what < 4 ? expected.take(bytes.size()) : "";
  const uint32_t modes[] = {0, XP_STRM_READ | XP_STRM_WRITE | XP_STRM_APPEND,
                            XP_STRM_READ | XP_STRM_WRITE | XP_STRM_EMPTY};
  const uint32_t mode = modes[std::min<int64_t>(size / 40, 2)];
  if (what >= 4 && what < 8) expected.put(bytes);
  if (what == 8) expected.read = expected.write = 2 * bytes.size();
  if (what == 9)
    expected = {(mode & XP_STRM_EMPTY) != 0 ? "" : expected.content, 0, 0, (mode & XP_STRM_APPEND) != 0};
  for (const ref &s : streams) {
    if (what < 4) {
      std::string got(bytes.size(), 0);
      got.resize(static_cast<size_t>(xp_strm_read(s.get(), got.data(), size)));
      ASSERT_EQ(got, wanted);
    } else if (what < 8) {
      ASSERT_EQ(xp_strm_write(s.get(), bytes.data(), size), size);
    } else if (what == 8) {
      ASSERT_EQ(xp_strm_seek(s.get(), 2 * size), 2 * size);
    } else {
      ASSERT_EQ(xp_strm_open(s.get(), mode), 0);
    }
    xp_strm_position at{};
    expect({xp_strm_ioctl(s.get(), XP_STRM_TELL, 0, &at), at.read, at.write, xp_strm_length(s.get())},
           "0 " + std::to_string(expected.read) + " " + std::to_string(expected.write) + " " +
               std::to_string(expected.content.size()));
  }
}

TEST_F(stream_test, files_memory_and_guards_hold_what_a_string_would) {
  std::mt19937 random(seed);
  const std::vector<ref> streams = {file("plain"), ref::adopt(xp_strm_newmem()),
                                    ref::adopt(xp_strm_newguarded(ref::adopt(xp_strm_newmem()).get())),
                                    ref::adopt(xp_strm_newguarded(file("guarded").get()))};
  for (const ref &s : streams)
    ASSERT_EQ(xp_strm_open(s.get(), 0), 0);
  model expected;
  for (int i = 0; i < 3000; ++i) {
    step(random, streams, expected);
    ASSERT_FALSE(HasFailure()) << "step " << i << ", seed " << seed;
  }
  for (const ref &s : streams)
    expect({xp_strm_ioctl(s.get(), XP_STRM_SEEK, 0, nullptr), xp_strm_string(s.get(), -1),
            xp_strm_close(s.get())},
           "0 " + expected.content + " 0");
  EXPECT_EQ(taken(xp_strm_memstring(streams[1].get())), expected.content);
}

TEST_F(stream_test, the_status_follows_the_protocol) {
  ref s = memory("abc");
  char byte = 0;
  expect({xp_strm_status(s.get()) == XP_STRM_CLOSED, xp_strm_read(s.get(), &byte, 1),
          xp_strm_write(s.get(), "x", 1), xp_strm_seek(s.get(), 1)},
         "1 0 0 0");
  EXPECT_EQ(xp_strm_open(s.get(), XP_STRM_READ), 0);
  for (const int64_t refused :
       {xp_strm_write(s.get(), "x", 1), int64_t{xp_strm_ioctl(s.get(), XP_STRM_SYNC, 0, nullptr)},
        xp_strm_seek(s.get(), -1), xp_strm_write(nullptr, "x", 1)})
    EXPECT_EQ(refused, XP_ERR_REFUSED);
  EXPECT_EQ(xp_strm_status(s.get()), XP_STRM_OPEN);
  expect({xp_strm_string(s.get(), 3), xp_strm_seek(s.get(), 1), xp_strm_string(s.get(), 1),
          xp_strm_close(s.get()), xp_strm_close(s.get())},
         "abc 1 null 0 0");
  expect({xp_instanceof(s.get(), xp_strm_type()), xp_instanceof(s.get(), xp_code("stmm"))}, "1 1");

  const ref word = str("stmm");
  EXPECT_EQ(xp_strm_open(word.get(), 0), XP_ERR_REFUSED);
  EXPECT_EQ(xp_strm_newtee(s.get(), word.get()), nullptr);
  expect({xp_strm_ioctl(s.get(), XP_STRM_HOLD, 0, word.get()),
          xp_strm_ioctl(s.get(), XP_STRM_HOLD, 0, word.get()), xp_refs(word.get())},
         "0 0 2");
  s = nullptr;
  EXPECT_EQ(xp_refs(word.get()), 1);
}

TEST_F(stream_test, file_streams_open_regular_files_as_asked) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  std::filesystem::create_directory(path("folder"));
  EXPECT_EQ(xp_strm_open(file("none").get(), XP_STRM_READ), XP_ERR_ABSENT);
  EXPECT_EQ(xp_strm_open(file("pipe").get(), XP_STRM_READ), XP_ERR_KIND);
  EXPECT_EQ(xp_strm_open(file("pipe").get(), XP_STRM_WRITE), XP_ERR_KIND);
  EXPECT_EQ(xp_strm_open(file("folder").get(), XP_STRM_READ), XP_ERR_KIND);
  const ref s = file("new");
  EXPECT_EQ(xp_strm_length(s.get()), XP_ERR_ABSENT);
  expect({xp_strm_open(s.get(), XP_STRM_WRITE | XP_STRM_FRESH), xp_strm_writef(s.get(), "%d-%s", 7, "x"),
          xp_strm_ioctl(s.get(), XP_STRM_SYNC, 0, nullptr)},
         "0 3 0");
  for (const int64_t exists :
       {int64_t{xp_strm_open(s.get(), XP_STRM_WRITE | XP_STRM_FRESH)}, int64_t{xp_strm_status(s.get())},
        xp_strm_write(s.get(), "x", 1), int64_t{xp_strm_close(s.get())}})
    EXPECT_EQ(exists, XP_ERR_EXISTS);
  EXPECT_EQ(xp_strm_status(s.get()), XP_STRM_CLOSED);
  EXPECT_EQ(drain(s.get()), "7-x");
  // Left open: the last reference closes the descriptor, which the fixture looks for.
  EXPECT_EQ(xp_strm_open(s.get(), XP_STRM_READ), 0);
}

TEST_F(stream_test, texts_are_read_from_where_they_are) {
  const auto read = [](xp_obj *made) { return drain(ref::adopt(made).get()); };
  const std::string zeros("a\0b", 3);
  const ref number = num(-42);
  const ref object = ref::adopt(xp_strm_newobject(number.get()));
  expect({read(xp_strm_newconst(zeros.data(), 3)), read(xp_strm_newconst("text", -1)),
          read(xp_strm_newconst(nullptr, 0)), read(xp_strm_newstring(str(zeros).get())),
          read(xp_strm_newformat("%s=%d", "k", 12)), xp_strm_length(object.get()), drain(object.get()),
          drain(object.get())},
         zeros + " text  " + zeros + " k=12 3 -42 -42");
  EXPECT_EQ(xp_strm_write(object.get(), "x", 1), XP_ERR_REFUSED);
  expect({xp_strm_newstring(number.get()), xp_strm_newobject(nullptr)}, "null null");
}

TEST_F(stream_test, chains_pass_everything_on) {
  const ref a = memory("one ");
  const ref b = memory("two");
  xp_obj *const all[] = {a.get(), nullptr, b.get(), a.get()};
  const ref sequence = ref::adopt(xp_strm_newsequence(all, 4));
  const ref copy = ref::adopt(xp_strm_newmem());
  const ref tee = ref::adopt(xp_strm_newtee(sequence.get(), copy.get()));
  expect({xp_strm_length(sequence.get()), drain(tee.get()), xp_strm_memstring(copy.get())},
         "11 one twoone  one twoone ");
  EXPECT_EQ(xp_strm_status(a.get()), XP_STRM_CLOSED);

  const ref left = ref::adopt(xp_strm_newmem());
  const ref both = ref::adopt(xp_strm_newtee(left.get(), copy.get()));
  expect(
      {xp_strm_open(both.get(), XP_STRM_WRITE | XP_STRM_APPEND), xp_strm_writeobj(both.get(), num(5).get()),
       xp_strm_close(both.get()), xp_strm_memstring(left.get()), xp_strm_memstring(copy.get())},
      "0 1 0 5 one twoone 5");

  const ref null = ref::adopt(xp_strm_newnull());
  xp_strm_position at{};
  expect(
      {drain(null.get()), xp_strm_open(null.get(), XP_STRM_WRITE), xp_strm_open(sequence.get(), XP_STRM_READ),
       xp_strm_copy(sequence.get(), null.get()), xp_strm_ioctl(null.get(), XP_STRM_TELL, 0, &at), at.write},
      " 0 0 11 0 11");

  // A part that fails stops the whole.
  const ref missing = file("missing");
  xp_obj *const broken[] = {b.get(), missing.get()};
  const ref bad = ref::adopt(xp_strm_newsequence(broken, 2));
  expect({xp_strm_open(bad.get(), XP_STRM_READ), xp_strm_string(bad.get(), -1)}, "0 null");
  EXPECT_EQ(xp_strm_status(bad.get()), XP_ERR_ABSENT);
  EXPECT_EQ(xp_strm_close(bad.get()), XP_ERR_ABSENT);
}

// A filter that turns every two bytes around, so that it keeps one back.
struct swapper {
  char kept = 0;
  bool holds = false;

  static int64_t run(void *context, const char *bytes, int64_t length, xp_writer out, void *out_context) {
    auto *self = static_cast<swapper *>(context);
    std::string swapped;
    for (int64_t i = 0; i < length; ++i) {
      if (self->holds) swapped += {bytes[i], self->kept};
      self->kept = bytes[i];
      self->holds = !self->holds;
    }
    if (bytes == nullptr && std::exchange(self->holds, false)) swapped += self->kept;
    return swapped.empty() ? 0 : out(out_context, swapped.data(), static_cast<int64_t>(swapped.size()));
  }
};

TEST_F(stream_test, filters_change_what_passes_in_both_directions) {
  std::string content;
  for (int i = 0; content.size() < 8000; ++i)
    content += std::to_string(i);
  content.resize(7001);
  const ref inner = ref::adopt(xp_strm_newmem());
  swapper swap;
  const ref filtered = ref::adopt(xp_strm_newfiltered(inner.get(), swapper::run, &swap));
  ASSERT_EQ(xp_strm_open(filtered.get(), XP_STRM_WRITE), 0);
  for (size_t i = 0; i < content.size(); i += 7)
    ASSERT_GT(xp_strm_write(filtered.get(), content.substr(i, 7).c_str(), -1), 0);
  EXPECT_EQ(xp_strm_close(filtered.get()), 0);
  const std::string changed = taken(xp_strm_memstring(inner.get()));
  EXPECT_EQ(changed.substr(0, 4), "1032");
  EXPECT_EQ(changed.size(), content.size());
  EXPECT_EQ(drain(filtered.get()), content);

  const auto refuse = [](void *, const char *, int64_t, xp_writer, void *) -> int64_t { return XP_ERR_IO; };
  const ref failing = ref::adopt(xp_strm_newfiltered(inner.get(), refuse, nullptr));
  ASSERT_EQ(xp_strm_open(failing.get(), 0), 0);
  EXPECT_EQ(xp_strm_write(failing.get(), "x", 1), XP_ERR_IO);
  EXPECT_EQ(xp_strm_close(failing.get()), XP_ERR_IO);
}

TEST_F(stream_test, scannable_streams_look_ahead_without_passing) {
  const std::string line(5000, 'x');
  const ref s = ref::adopt(xp_strm_newscannable(memory("one\r\n\n" + line + "\nlast").get()));
  ASSERT_EQ(xp_strm_open(s.get(), XP_STRM_READ), 0);
  char bytes[3] = {};
  EXPECT_EQ(xp_strm_peek(s.get(), bytes, 3), 3);
  EXPECT_EQ(memcmp(bytes, "one", 3), 0);
  EXPECT_EQ(xp_strm_scan(s.get(), '\n', 4), XP_ERR_FULL);
  expect({xp_strm_scan(s.get(), '\n', 5), xp_strm_tell(s.get()), xp_strm_readline(s.get(), 4),
          xp_strm_readline(s.get(), 0), xp_strm_readline(s.get(), 4999), xp_strm_readline(s.get(), 5000),
          xp_strm_tell(s.get())},
         "5 0 one  null " + line + " 5007");
  expect({xp_strm_readline(s.get(), 3), xp_strm_scan(s.get(), '\n', -1), xp_strm_readline(s.get(), 4),
          xp_strm_readline(s.get(), -1), xp_strm_peek(s.get(), bytes, 3)},
         "null 4 last null 0");
  EXPECT_EQ(drain(s.get()), "one\r\n\n" + line + "\nlast");
}

TEST_F(stream_test, base_streams_call_their_makers_functions) {
  std::string calls;
  static const auto log = [](void *context, const std::string &call) {
    *static_cast<std::string *>(context) += call + " ";
  };
  static const xp_strm_calls table = {
      .open = [](void *c, uint32_t mode) -> int32_t { return log(c, "open " + std::to_string(mode)), 0; },
      .close = nullptr,
      .read = nullptr,
      .write =
          [](void *c, const void *bytes, int64_t length) {
            log(c, std::string("write ") + static_cast<const char *>(bytes));
            return length > 1 ? int64_t{XP_ERR_FULL} : length;
          },
      .end = [](void *c) { log(c, "end"); }};
  ref s = ref::adopt(xp_strm_newbase(&table, &calls));
  EXPECT_EQ(xp_strm_open(s.get(), 0), 0);
  EXPECT_EQ(xp_strm_read(s.get(), calls.data(), 1), XP_ERR_REFUSED);
  EXPECT_EQ(xp_strm_write(s.get(), "a", -1), 1);
  for (const int64_t full :
       {xp_strm_write(s.get(), "bc", -1), xp_strm_write(s.get(), "d", -1), int64_t{xp_strm_close(s.get())}})
    EXPECT_EQ(full, XP_ERR_FULL);
  s = nullptr;
  EXPECT_EQ(calls, "open 3 write a write bc end ");
  EXPECT_EQ(xp_strm_newbase(nullptr, nullptr), nullptr);
}

TEST_F(stream_test, threads_share_a_guarded_stream) {
  const ref inner = ref::adopt(xp_strm_newmem());
  const ref s = ref::adopt(xp_strm_newguarded(inner.get()));
  ASSERT_EQ(xp_strm_open(s.get(), 0), 0);
  run_on_threads(4, [&](int index) {
    const std::string word(10, static_cast<char>('a' + index));
    for (int i = 0; i < 500; ++i)
      EXPECT_EQ(xp_strm_write(s.get(), word.data(), 10), 10);
  });
  const std::string all = taken(xp_strm_memstring(inner.get()));
  ASSERT_EQ(all.size(), 4u * 500 * 10);
  for (size_t i = 0; i < all.size(); i += 10)
    ASSERT_EQ(all.substr(i, 10), std::string(10, all[i]));
}

}  // namespace
