// Numbers, strings, texts, services without memory.

#include "tests/support/objects.h"
#include "tests/xp/sweep/sweep.h"
#include "xp/format/format.h"
#include "xp/object/boolean.h"
#include "xp/object/lifo.h"
#include "xp/object/lock.h"
#include "xp/object/memory.h"
#include "xp/object/null.h"
#include "xp/object/slot.h"
#include "xp/service/base64.h"
#include "xp/service/data.h"
#include "xp/service/date.h"
#include "xp/service/event.h"
#include "xp/service/file.h"
#include "xp/service/folder.h"
#include "xp/service/main_queue.h"
#include "xp/service/system_root.h"
#include "xp/service/thread.h"
#include "xp/string/edit.h"
#include "xp/string/encoding.h"
#include "xp/string/kinds.h"
#include "xp/string/mapping.h"
#include "xp/string/scan.h"

#include <string.h>

namespace {

using sweep::story;
using xp::ref;

class value_sweep : public leak_check {};

int64_t append(void *context, const char *bytes, int64_t length) {
  static_cast<std::string *>(context)->append(bytes, static_cast<size_t>(length));
  return length;
}

// A type whose text is too long for the stack.
int64_t long_textify(xp_obj * /*obj*/, char *buffer, int64_t capacity) {
  if (buffer != nullptr) memset(buffer, 'x', static_cast<size_t>(capacity));
  return 300;
}

SWEEP(value_sweep, objects) {
  told.made(xp_number_new(1000));
  told.made(xp_number_newfloat(0.25));
  told.made(xp_number_parse("12.5e3", -1));
  told.made(xp_number_coerce(str("4711").get()));
  told.made(xp_boolean_new(1));
  told.made(xp_duplicate(num(2000).get(), 0));
  for (xp_obj *made : {xp_null_new(), xp_lifo_new(), xp_crit_new(), xp_mux_new()})
    told.gave(xp_refs(ref::adopt(made).get()));

  xp_obj *slot = nullptr;
  xp_replace(&slot, num(3000).get());
  told.made(xp_retrieve(&slot, nullptr, nullptr));
  told.made(xp_reclaim(&slot));

  void *block = xp_realloc(xp_realloc(xp_realloc(nullptr, 10), 1000), 0);
  xp_free(block);
  xp_free_aligned(xp_alloc_aligned(100, 64));
  char buffer[8];
  xp_free_fast(xp_alloc_fast(9, 0, buffer, sizeof buffer), buffer);

  ref speaker = ref::adopt(xp_new(xp_code("talk"), 0));
  if (speaker) speaker.get()->textify = long_textify;
  std::string heard;
  told.gave(xp_stream(speaker.get(), append, &heard));
  EXPECT_TRUE(heard.empty() || heard == std::string(300, 'x'));
}

constexpr char mixed[] = "Gr\u00fc\u00dfe, \u039f\u0394\u039f\u03a3 und A\u030a";

SWEEP(value_sweep, string_kinds) {
  told.made(xp_str_new("ordinary"));
  told.made(xp_str_make(mixed, -1));
  told.made(xp_str_const("constant"));
  auto *adopted = static_cast<char *>(xp_alloc(8));
  if (adopted != nullptr) strcpy(adopted, "adopted");
  told.made(adopted != nullptr ? xp_str_alloc(adopted) : nullptr);
  told.made(xp_str_newtagged("tagged", 7));
  ref valued = ref::adopt(xp_str_newvalued("valued", num(77).get()));
  told.made(xp_str_getvalue(valued.get()));
  ref secret = str("secret");
  xp_str_secure(secret.get());
  told.made(xp_str_append(secret.get(), " more", -1), " more");
  told.made(xp_str_coerce(num(12345).get()));
  told.made(xp_duplicate(valued.get(), 0));

  told.made(xp_str_encmake("\xe4\xf6", 2, XP_ENC_LATIN1));
  told.made(xp_str_makedecode("\x80\x81", 2, XP_ENC_WINDOWS1252));
  told.made(xp_str_decode(ref::adopt(xp_str_make("a\0b\0", 4)).get(), XP_ENC_UTF16LE),
            std::string("a\0b", 3).c_str());
  told.made(xp_str_wnew(u"wide \U0001f600"));
  xp_cf value = {};
  ref words = str(mixed);
  if (xp_str_cfget(words.get(), &value) != 0) {
    told.made(xp_str_cfmake(&value));
    xp_free(value.text);
  } else {
    EXPECT_EQ(value.text, nullptr);
    told.made(nullptr);
  }
}

SWEEP(value_sweep, string_operations) {
  ref words = str(mixed);
  told.made(xp_str_upper(words.get()), mixed);
  told.made(xp_str_lower(words.get()), mixed);
  for (int32_t form = 0; form < 4; ++form)
    told.made(xp_str_normalize(words.get(), form), mixed);
  told.made(xp_str_repair(str("cut \xe2\x82").get()));
  told.made(xp_str_txtrepair("\xff", 1));
  told.made(xp_str_concat(words.get(), words.get()));
  told.made(xp_str_trim(str("  inside ").get()));
  told.made(xp_str_unescape(str("a\\tb").get()));
  told.made(xp_str_unescaped("\\x41", -1));
  told.made(xp_str_replace(words.get(), " ", -1, "--", -1, 0));
  xp_obj *first = nullptr, *rest = nullptr;
  told.gave(xp_str_scan(words.get(), "%s %t", &first, &rest));
  told.made(first);
  told.made(rest);
  // Other forms of the same text: comparing goes beyond the plain bytes.
  ref other = str("gr\u00dc\u00dfe, \u03bf\u03b4\u03bf\u03c3 und a\u030a");
  if (words && other) {
    EXPECT_EQ(xp_compare(words.get(), other.get()), 0);
    EXPECT_NE(xp_str_cmp(words.get(), xp_str_getptr(other.get()), -1), 0);
    EXPECT_LT(xp_str_valid(words.get()), 0);
    EXPECT_EQ(xp_str_find(words.get(), "UND", 0, 0), xp_str_find(words.get(), "und", XP_FIND_EXACT, 0));
  }
  std::string heard;
  xp_stream(words.get(), append, &heard);
  told.wrote(heard);
}

SWEEP(value_sweep, formats) {
  ref number = num(99999);
  ref words = str(mixed);
  told.made(xp_str_format("%s %d %O", "plain", 7, number.get()), "plain 7 ");
  told.made(xp_str_format("%2$O %1$d %3$s", 7, number.get(), "numbered"), " 7 numbered");
  const std::string big(3000, 'b');
  told.made(xp_str_format("%s%O{&}", big.c_str(), words.get()), big.c_str());
  char buffer[600];
  xp_fmt_format(buffer, sizeof buffer, "%500d|%.400f|%{b}", 7, 0.25);
  told.wrote(buffer);
  // A pattern whose text is longer than any buffer kept ready.
  std::string pattern;
  for (int i = 0; i < 90; ++i)
    pattern += "#A #B ";
  std::string heard;
  told.gave(xp_fmt_stream(append, &heard, ("%Z{:#:" + pattern + "}").c_str(), int64_t{86400}), 0);
  heard.clear();
  told.gave(xp_fmt_stream(append, &heard, "%O{~} %H", words.get(), 3, "abc"), 1 + 6);
  told.gave(xp_fmt_getquad("  -42", -1));
}

int64_t add_one(void * /*ignored*/, void *argument) {
  ++*static_cast<int64_t *>(argument);
  return 5;
}

void count_work(void *argument) {
  ++*static_cast<int64_t *>(argument);
}

SWEEP(value_sweep, services) {
  ref data = ref::adopt(xp_data_new("bytes", 5));
  int64_t length = xp_data_length(data.get());
  for (int i = 0; i < 6; ++i) {
    int64_t longer = xp_data_append(data.get(), mixed, sizeof mixed);
    length = longer > 0 ? length + int64_t{sizeof mixed} : length;
    EXPECT_EQ(xp_data_length(data.get()), length) << "what does not fit changes nothing";
  }
  void *block = xp_alloc(10);
  ref owner = ref::adopt(block != nullptr ? xp_data_alloc(block, 10) : nullptr);
  if (!owner) xp_free(block);
  told.gave(xp_data_length(ref::adopt(xp_data_const("constant", 8)).get()), 0);
  told.gave(xp_data_length(ref::adopt(xp_duplicate(data.get(), 0)).get()), length);

  told.made(xp_date_make(86400));
  told.made(xp_date_msnew(86400500));
  told.made(xp_date_coerce(str("2026-11-15T03:10:37Z").get()));
  char text[64];
  told.wrote(std::string(text, static_cast<size_t>(xp_b64_encode(mixed, 9, 0, text, sizeof text))));
  told.made(xp_trav_next(ref::adopt(xp_trav_one(num(444).get())).get()));

  ref event = ref::adopt(xp_event_new(XP_EVENT_SET));
  told.gave(xp_event_wait(event.get(), 0));
  int64_t ran = 0;
  int64_t answer = 0;
  ref thread = ref::adopt(xp_thr_new(add_one, &ran));
  xp_thr_join(thread.get(), &answer);
  EXPECT_EQ(ran, thread ? 1 : 0);
  told.gave(answer);
  ran = 0;
  int32_t posted = xp_main_post(count_work, &ran);
  xp_main_pump();
  EXPECT_EQ(ran, posted == 0 ? 1 : 0);

  told.made(xp_file_read("/proc/self/comm", -1));
  told.made(xp_file_preferences("corvane", "settings"));
  told.made(xp_root_path("/usr/bin"));
}

}  // namespace
