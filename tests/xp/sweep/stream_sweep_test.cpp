// Parts of strings, streams, files and URLs without memory.

#include "tests/xp/sweep/sweep.h"
#include "xp/service/file.h"
#include "xp/service/folder.h"
#include "xp/service/status.h"
#include "xp/service/stream.h"
#include "xp/service/stream_kinds.h"
#include "xp/service/url.h"
#include "xp/string/edit.h"
#include "xp/string/parts.h"
#include "xp/string/scan.h"

#include <unistd.h>

#include <string>

namespace {

using sweep::story;
using xp::ref;

class stream_sweep : public leak_check {};

SWEEP(stream_sweep, parts) {
  ref s = ref::adopt(xp_str_new("one, two, three"));
  told.made(xp_str_substr(s.get(), 5, 3));
  told.made(xp_str_extract(s.get(), ", ", ",", 0, nullptr));
  told.made(xp_str_glyphat(s.get(), 2));
  told.made(xp_str_join("/", "usr", "share", "doc", nullptr));
  told.made(xp_str_replace(s.get(), "t", -1, "long", -1, 0));
  told.made(xp_str_clean(ref::adopt(xp_str_new("a\nb")).get()));
  ref walk = ref::adopt(xp_str_travnew(s.get(), ", ", -1));
  for (int i = 0; i < 3; ++i)
    told.made(xp_trav_next(walk.get()));
  told.made(xp_trav_prev(walk.get()));

  // All of the fields or none.
  xp_obj *first = nullptr;
  xp_obj *rest = nullptr;
  int32_t fields = xp_str_scan(s.get(), "%[a-z], %t", &first, &rest);
  EXPECT_EQ(first != nullptr, fields == 2);
  EXPECT_EQ(rest != nullptr, fields == 2);
  told.made(first);
  told.made(rest);
}

int64_t add_argument(xp_obj *name, xp_obj * /*value*/, void *context) {
  EXPECT_NE(xp_str_length(name), 0);
  ++*static_cast<int64_t *>(context);
  return 0;
}

SWEEP(stream_sweep, urls) {
  ref u = ref::adopt(xp_url_new("HTTP://me@host:80/a/./b%20c/../d?x=1&y=%41#end", -1));
  for (auto *part : {xp_url_string, xp_url_user, xp_url_host, xp_url_path, xp_url_fragment, xp_url_normal})
    told.made(part(u.get()));
  told.made(xp_url_resolve(u.get(), ref::adopt(xp_url_new("../e?z", -1)).get()));
  told.made(xp_url_getarg(u.get(), "y", -1));
  ref value = ref::adopt(xp_str_new("a value & more"));
  // A null value writes no "=": what a value that could not be made leaves.
  ref added = ref::adopt(value ? xp_url_addarg(u.get(), "new", -1, value.get()) : nullptr);
  told.made(xp_url_string(added.get()));
  told.made(value ? xp_url_setarg(added.get(), "x", -1, value.get()) : nullptr);
  told.made(xp_url_removearg(added.get(), "y", -1));
  int64_t count = 0;
  int64_t result = xp_url_enumargs(added.get(), add_argument, &count);
  EXPECT_TRUE(count == 3 || result == -1 || !added);
  told.made(xp_url_format("local://%s/%d", "app", 7));
  told.made(xp_url_make(xp_url_getparts(u.get())));
}

std::string own_folder() {
  return "/tmp/corvane-sweep." + std::to_string(getpid());
}

// A file that could not be replaced is as it was.
SWEEP(stream_sweep, files) {
  ref folder = ref::adopt(xp_file_new(own_folder().c_str(), -1));
  xp_file_mkdir(folder.get(), XP_FILE_PARENTS);
  ref file = ref::adopt(xp_file_child(folder.get(), "kept", -1));
  const std::string path = own_folder() + "/kept";
  int32_t replaced = xp_file_replace(file.get(), "content", 7);
  EXPECT_EQ(access(path.c_str(), F_OK), file && replaced == 0 ? 0 : -1);
  told.made(xp_file_load(file.get(), -1));
  told.made(xp_file_name(file.get()));
  told.made(xp_file_parent(file.get()));
  ref url = ref::adopt(xp_file_url(file.get()));
  told.made(xp_file_cfnew(url.get()));
  told.made(xp_file_coerce(url.get()));
  told.made_of(xp_file_list(folder.get()));
  ref walk = ref::adopt(xp_file_travnew(folder.get()));
  told.made(xp_trav_next(walk.get()));
  ref moved = ref::adopt(xp_file_child(folder.get(), "moved", -1));
  xp_file_rename(file.get(), moved.get());
  told.made(xp_file_folder(XP_FOLDER_TEMPORARY));
  told.made(xp_file_find(XP_FOLDER_MACHINE_PREFERENCES, "corvane", "settings"));

  ref stream = ref::adopt(xp_strm_newfile(file.get()));
  xp_strm_open(stream.get(), XP_STRM_WRITE | XP_STRM_EMPTY);
  xp_strm_write(stream.get(), "by stream", -1);
  xp_strm_close(stream.get());
  unlink(path.c_str());
  unlink((own_folder() + "/moved").c_str());
  EXPECT_TRUE(rmdir(own_folder().c_str()) == 0 || !folder) << "something else was left in the folder";
}

int64_t doubled(void * /*context*/, const char *bytes, int64_t length, xp_writer out, void *out_context) {
  int64_t first = length > 0 ? out(out_context, bytes, length) : 0;
  return first < 0 || length <= 0 ? first : out(out_context, bytes, length);
}

// Reads an owned stream to its end. What was read before a failure is the beginning of what there is.
void read_all(story &told, xp_obj *made, const std::string &whole) {
  ref stream = ref::adopt(made);
  std::string got;
  char buffer[7];
  if (xp_strm_open(stream.get(), XP_STRM_READ) == 0) {
    for (int64_t n = 0; (n = xp_strm_read(stream.get(), buffer, sizeof buffer)) > 0;)
      got.append(buffer, static_cast<size_t>(n));
  }
  xp_strm_close(stream.get());
  EXPECT_TRUE(whole.starts_with(got)) << got;
  told.gave(xp_strm_status(stream.get()), XP_ERR_NOMEMORY);
}

SWEEP(stream_sweep, streams) {
  constexpr char text[] = "first line\nsecond line\r\nthird";
  ref memory = ref::adopt(xp_strm_newmem());
  xp_strm_open(memory.get(), 0);
  std::string written;
  for (int i = 0; i < 40; ++i) {
    if (xp_strm_write(memory.get(), text, -1) == sizeof text - 1) written += text;
  }
  EXPECT_EQ(xp_strm_length(memory.get()), static_cast<int64_t>(written.size()));
  xp_strm_writef(memory.get(), "%d and %s", 7, "text");
  xp_strm_writeobj(memory.get(), ref::adopt(xp_number_new(12345)).get());
  static_cast<void>(ref::adopt(xp_strm_memstring(memory.get())));

  ref string = ref::adopt(xp_str_new(text));
  auto a_string = [&] { return ref::adopt(xp_strm_newstring(string.get())); };
  read_all(told, xp_strm_newconst(text, -1), text);
  read_all(told, xp_strm_newformat("%d of %d", 3, 4), "3 of 4");
  read_all(told, xp_strm_newobject(string.get()), text);
  read_all(told, xp_strm_newguarded(a_string().get()), text);
  read_all(told, xp_strm_newtee(a_string().get(), ref::adopt(xp_strm_newmem()).get()), text);
  ref one = a_string();
  ref two = a_string();
  xp_obj *both[] = {one.get(), two.get()};
  read_all(told, one && two ? xp_strm_newsequence(both, 2) : nullptr, std::string(text) + text);
  read_all(told, xp_strm_newfiltered(a_string().get(), doubled, nullptr), std::string(text) + text);

  ref lines = ref::adopt(xp_strm_newscannable(a_string().get()));
  xp_strm_open(lines.get(), XP_STRM_READ);
  char peeked[5];
  xp_strm_peek(lines.get(), peeked, sizeof peeked);
  told.made(xp_strm_readline(lines.get(), -1));
  xp_strm_close(lines.get());
  ref whole = a_string();
  xp_strm_open(whole.get(), XP_STRM_READ);
  told.made(xp_strm_string(whole.get(), -1));
}

}  // namespace
