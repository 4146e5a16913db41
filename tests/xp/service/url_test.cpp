#include "xp/service/url.h"

#include "tests/support/leak_check.h"
#include "xp/object/ref.h"
#include "xp/service/file.h"
#include "xp/service/url_percent.h"
#include "xp/string/string.h"

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using xp::ref;
using url_test = leak_check;

constexpr unsigned seed = 3986;

std::string text(const ref &obj) {
  ref s = ref::adopt(xp_str_coerce(obj.get()));
  return s ? std::string(xp_str_getptr(s.get()), static_cast<size_t>(xp_str_length(s.get()))) : "(null)";
}

std::string text(xp_obj *taken) {
  return text(ref::adopt(taken));
}

ref parse(const std::string &s) {
  return ref::adopt(xp_url_new(s.data(), static_cast<int64_t>(s.size())));
}

std::string bytes(std::mt19937 &random, std::string_view of, size_t longest) {
  std::string s(random() % (longest + 1), 0);
  for (char &c : s)
    c = of.empty() ? static_cast<char>(random()) : of[random() % of.size()];
  return s;
}

TEST_F(url_test, the_standards_references_resolve) {
  const ref base = parse("http://a/b/c/d;p?q");
  const std::pair<const char *, const char *> cases[] = {
      // 5.4.1, normal
      {"g:h", "g:h"},
      {"g", "http://a/b/c/g"},
      {"./g", "http://a/b/c/g"},
      {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},
      {"//g", "http://g"},
      {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},
      {"#s", "http://a/b/c/d;p?q#s"},
      {"g#s", "http://a/b/c/g#s"},
      {"g?y#s", "http://a/b/c/g?y#s"},
      {";x", "http://a/b/c/;x"},
      {"g;x", "http://a/b/c/g;x"},
      {"g;x?y#s", "http://a/b/c/g;x?y#s"},
      {"", "http://a/b/c/d;p?q"},
      {".", "http://a/b/c/"},
      {"./", "http://a/b/c/"},
      {"..", "http://a/b/"},
      {"../", "http://a/b/"},
      {"../g", "http://a/b/g"},
      {"../..", "http://a/"},
      {"../../", "http://a/"},
      {"../../g", "http://a/g"},
      // 5.4.2, abnormal
      {"../../../g", "http://a/g"},
      {"../../../../g", "http://a/g"},
      {"/./g", "http://a/g"},
      {"/../g", "http://a/g"},
      {"g.", "http://a/b/c/g."},
      {".g", "http://a/b/c/.g"},
      {"g..", "http://a/b/c/g.."},
      {"..g", "http://a/b/c/..g"},
      {"./../g", "http://a/b/g"},
      {"./g/.", "http://a/b/c/g/"},
      {"g/./h", "http://a/b/c/g/h"},
      {"g/../h", "http://a/b/c/h"},
      {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
      {"g;x=1/../y", "http://a/b/c/y"},
      {"g?y/./x", "http://a/b/c/g?y/./x"},
      {"g?y/../x", "http://a/b/c/g?y/../x"},
      {"g#s/./x", "http://a/b/c/g#s/./x"},
      {"g#s/../x", "http://a/b/c/g#s/../x"},
      {"http:g", "http:g"},
  };
  for (const auto &[reference, expected] : cases)
    EXPECT_EQ(text(xp_url_resolve(base.get(), parse(reference).get())), expected) << reference;
  EXPECT_EQ(text(xp_url_resolve(parse("http://h").get(), parse("x").get())), "http://h/x");
  EXPECT_EQ(text(xp_url_resolve(parse("a:/b/c").get(), parse("..//g").get())), "a:/.//g");
  EXPECT_EQ(text(xp_url_resolve(parse("a/b").get(), parse("x").get())), "(null)");
}

TEST_F(url_test, parts_read_as_they_stand) {
  const ref u = parse("foo://us%20er:pw@[2001:db8::7]:8042/over/th%65re?name=ferret#no%20se");
  ASSERT_TRUE(u);
  const xp_url_parts &parts = *xp_url_getparts(u.get());
  EXPECT_EQ(parts.scheme, "foo");
  EXPECT_EQ(parts.user, "us%20er:pw");
  EXPECT_EQ(parts.host, "[2001:db8::7]");
  EXPECT_EQ(parts.query, "name=ferret");
  EXPECT_EQ(xp_url_port(u.get()), 8042);
  EXPECT_EQ(text(xp_url_user(u.get())), "us er:pw");
  EXPECT_EQ(text(xp_url_host(u.get())), "2001:db8::7");
  EXPECT_EQ(text(xp_url_path(u.get())), "/over/there");
  EXPECT_EQ(text(xp_url_fragment(u.get())), "no se");
  EXPECT_EQ(text(xp_url_make(&parts)), text(u));

  const ref bare = parse("x:?#");
  EXPECT_EQ(xp_url_getparts(bare.get())->host.data(), nullptr);
  EXPECT_NE(xp_url_getparts(bare.get())->query.data(), nullptr);
  EXPECT_NE(xp_url_getparts(bare.get())->fragment.data(), nullptr);
  EXPECT_EQ(xp_url_host(bare.get()), nullptr);
  EXPECT_EQ(xp_url_port(parse("x://h:").get()), -1);
  xp_url_parts no_host{.scheme = "a", .path = "//b"};
  EXPECT_EQ(xp_url_make(&no_host), nullptr);
}

TEST_F(url_test, the_grammar_is_kept) {
  for (const char *good :
       {"ftp://ftp.is.co.za/rfc/rfc1808.txt", "http://www.ietf.org/rfc/rfc2396.txt",
        "ldap://[2001:db8::7]/c=GB?objectClass?one", "mailto:John.Doe@example.com",
        "news:comp.infosystems.www.servers.unix", "tel:+1-816-555-1212", "telnet://192.0.2.16:80/",
        "urn:oasis:names:tc:4.1.2", "", "//", "a//b", "?", "./a:b", "local://app/setup.html?x=1#y",
        "x://[::ffff:192.0.2.1]", "x://[v1F.a:b]", "x://h:65535", "x://h:00080", "file:///"})
    EXPECT_TRUE(parse(good)) << good;
  for (const std::string bad :
       {"a b",           "1a:b",      ":b",        "+:x",           "x://h:65536", "x://h:8x",
        "x://h:-1",      "x://[::1",  "x://::1",   "x://[1::2::3]", "x://[::1]8",  "x://[v.a]",
        "x://[vG.a]",    "x://[v1.]", "x://a@b@c", "x://a]b/",      "%",           "%4",
        "%4g",           "a\\b",      "a|b",       "a^b",           "a`b",         "{a}",
        "<a>",           "\"",        "#a#b",      "[a]",           "a\nb",        "caf\xC3\xA9",
        "x://[::1%25lo]"})
    EXPECT_FALSE(parse(bad)) << bad;
  EXPECT_FALSE(parse(std::string("a\0b", 3)));
  EXPECT_EQ(xp_url_new(nullptr, -1), nullptr);
}

TEST_F(url_test, equal_urls_have_one_normal_form) {
  EXPECT_EQ(text(xp_url_normal(parse("HTTP://U@EXAMPLE.com:80/%7euser/%c3%a9/a/./b/../c?%2f%41#%3D").get())),
            "http://U@example.com:80/~user/%C3%A9/a/c?%2FA#%3D");
  EXPECT_EQ(text(xp_url_normal(parse("../%41/./b").get())), "../A/./b");
  EXPECT_EQ(text(xp_url_normal(parse("a:/b/..//c").get())), "a:/.//c");
}

TEST_F(url_test, any_text_that_parses_comes_back) {
  std::mt19937 random(seed);
  int parsed = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string s = bytes(random, "aZ09:/?#[]@%=&;.-", 14);
    const ref u = parse(s);
    if (!u) continue;
    ++parsed;
    ASSERT_EQ(text(u), s);
    ASSERT_EQ(text(xp_url_make(xp_url_getparts(u.get()))), s) << "seed " << seed;
    const ref normal = ref::adopt(xp_url_normal(u.get()));
    ASSERT_EQ(text(xp_url_normal(normal.get())), text(normal)) << s << ", seed " << seed;
    const ref base = parse("s://h/p/q?r");
    const ref whole = ref::adopt(xp_url_resolve(base.get(), u.get()));
    ASSERT_TRUE(whole) << s << ", seed " << seed;
    ASSERT_NE(xp_url_getparts(whole.get())->scheme.data(), nullptr);
  }
  EXPECT_GT(parsed, 1000);
}

TEST_F(url_test, what_is_coded_decodes_to_the_same_bytes) {
  std::mt19937 random(seed);
  for (int i = 0; i < 2000; ++i) {
    const std::string s = bytes(random, "", 40);
    const auto place = static_cast<xp_url_place>(random() % (XP_URL_ARGUMENT + 1));
    const std::string coded = text(xp_url_encode(s.data(), static_cast<int64_t>(s.size()), place));
    for (const uint32_t flags : {0U, static_cast<uint32_t>(XP_URL_STRICT)})
      ASSERT_EQ(text(xp_url_decode(coded.data(), static_cast<int64_t>(coded.size()), flags)), s)
          << "seed " << seed;
    ASSERT_TRUE(parse("?" + (place == XP_URL_HOST ? "" : coded))) << coded;
  }
  EXPECT_EQ(text(xp_url_encode("a-._~/?:@&=+;$,% \x7f\xC3", -1, XP_URL_UNRESERVED)),
            "a-._~%2F%3F%3A%40%26%3D%2B%3B%24%2C%25%20%7F%C3");
  EXPECT_EQ(text(xp_url_encode("/?#&=+;'", -1, XP_URL_ARGUMENT)), "/?%23%26%3D%2B%3B'");
  EXPECT_EQ(text(xp_url_encode("/?#[", -1, XP_URL_PATH)), "/%3F%23%5B");
  EXPECT_EQ(text(xp_url_decode("%4a%4A%%4%zz+%", -1, 0)), "JJ%%4%zz+%");
  EXPECT_EQ(text(xp_url_decode("a+b%2B", -1, XP_URL_PLUS)), "a b+");
  EXPECT_EQ(xp_url_decode("a%4", -1, XP_URL_STRICT), nullptr);
  EXPECT_EQ(text(xp_url_decode(nullptr, 0, 0)), "");
}

using pairs = std::vector<std::pair<std::string, std::string>>;

int64_t collect(xp_obj *name, xp_obj *value, void *context) {
  static_cast<pairs *>(context)->emplace_back(text(ref::share(name)),
                                              value == nullptr ? "-" : text(ref::share(value)));
  return 0;
}

pairs arguments(xp_obj *u) {
  pairs found;
  EXPECT_EQ(xp_url_enumargs(u, collect, &found), 0);
  return found;
}

TEST_F(url_test, arguments_are_found_added_and_taken_away) {
  const ref u = parse("local://app/x?a=1&&b&c=&a=2+3%26&%61=4#f");
  EXPECT_EQ(arguments(u.get()), (pairs{{"a", "1"}, {"b", "-"}, {"c", ""}, {"a", "2 3&"}, {"a", "4"}}));
  EXPECT_EQ(text(xp_url_getarg(u.get(), "a", -1)), "1");
  EXPECT_EQ(text(xp_url_getarg(u.get(), "b", -1)), "");
  EXPECT_EQ(xp_url_getarg(u.get(), "A", -1), nullptr);
  EXPECT_EQ(text(xp_url_removearg(u.get(), "a", -1)), "local://app/x?b&c=#f");
  EXPECT_EQ(text(xp_url_removearg(parse("x?a#f").get(), "a", -1)), "x#f");
  const ref same = ref::adopt(xp_url_removearg(u.get(), "z", -1));
  EXPECT_EQ(same.get(), u.get());
  const ref value = ref::adopt(xp_str_new("x&y=z+ \xC3\xA9"));
  EXPECT_EQ(text(xp_url_addarg(parse("h#f").get(), "k&", -1, value.get())), "h?k%26=x%26y%3Dz%2B%20%C3%A9#f");
  EXPECT_EQ(text(xp_url_addarg(parse("h?a").get(), "b", -1, nullptr)), "h?a&b");
  EXPECT_EQ(text(xp_url_setarg(u.get(), "a", -1, parse("u:v").get())), "local://app/x?b&c=&a=u:v#f");
  EXPECT_EQ(text(xp_url_format("local://%s/%d", "app", 7)), "local://app/7");
  EXPECT_EQ(xp_url_format("local://%s", "a b"), nullptr);

  std::mt19937 random(seed);
  pairs expected;
  ref grown = parse("x:");
  for (int i = 0; i < 200; ++i) {
    const std::string name = bytes(random, "", 8);
    const std::string content = bytes(random, "", 8);
    const ref object = ref::adopt(xp_str_make(content.data(), static_cast<int64_t>(content.size())));
    grown =
        ref::adopt(xp_url_addarg(grown.get(), name.data(), static_cast<int64_t>(name.size()), object.get()));
    expected.emplace_back(name, content);
  }
  EXPECT_EQ(arguments(grown.get()), expected) << "seed " << seed;
}

TEST_F(url_test, files_and_their_urls_name_each_other) {
  const ref f = ref::adopt(xp_file_new("/a b/%41/\xC3\xA9?#", -1));
  const ref u = ref::adopt(xp_url_coerce(f.get()));
  EXPECT_EQ(text(u), "file:///a%20b/%2541/%C3%A9%3F%23");
  EXPECT_EQ(text(xp_file_coerce(u.get())), text(f));
  for (const char *good : {"file:/a/b", "FILE://LOCALHOST/a/b", "file:///a/./b?x#y", "file:///a/%62"})
    EXPECT_EQ(text(xp_file_coerce(ref::adopt(xp_str_new(good)).get())), "/a/b") << good;
  for (const char *bad : {"file://host/a", "file:///a%2Fb", "file:///a%00b", "file:a", "file:"})
    EXPECT_EQ(xp_file_coerce(ref::adopt(xp_str_new(bad)).get()), nullptr) << bad;
  EXPECT_EQ(xp_file_cfnew(parse("local://app/x").get()), nullptr);
}

}  // namespace
