#include "xp/service/url.h"

#include "tests/support/objects.h"
#include "xp/service/file.h"
#include "xp/service/url_percent.h"

#include <random>
#include <utility>
#include <vector>

namespace {

using xp::ref;
using url_test = leak_check;

constexpr unsigned seed = 3986;

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
  // What follows "http://a" in the result; then the references that change the host.
  const auto cases = pairs_of(
      "g>/b/c/g ./g>/b/c/g g/>/b/c/g/ /g>/g ?y>/b/c/d;p?y g?y>/b/c/g?y #s>/b/c/d;p?q#s g#s>/b/c/g#s "
      "g?y#s>/b/c/g?y#s ;x>/b/c/;x g;x>/b/c/g;x g;x?y#s>/b/c/g;x?y#s >/b/c/d;p?q .>/b/c/ ./>/b/c/ "
      "..>/b/ ../>/b/ ../g>/b/g ../..>/ ../../>/ ../../g>/g ../../../g>/g ../../../../g>/g /./g>/g "
      "/../g>/g g.>/b/c/g. .g>/b/c/.g g..>/b/c/g.. ..g>/b/c/..g ./../g>/b/g ./g/.>/b/c/g/ "
      "g/./h>/b/c/g/h g/../h>/b/c/h g;x=1/./y>/b/c/g;x=1/y g;x=1/../y>/b/c/y g?y/./x>/b/c/g?y/./x "
      "g?y/../x>/b/c/g?y/../x g#s/./x>/b/c/g#s/./x g#s/../x>/b/c/g#s/../x ");
  for (const auto &[reference, expected] : cases)
    EXPECT_EQ(taken(xp_url_resolve(base.get(), parse(reference).get())), std::string("http://a") + expected)
        << reference;
  for (const char *absolute : {"g:h", "http:g"})
    expect({xp_url_resolve(base.get(), parse(absolute).get())}, absolute);
  expect({xp_url_resolve(base.get(), parse("//g").get()),
          xp_url_resolve(parse("http://h").get(), parse("x").get()),
          xp_url_resolve(parse("a:/b/c").get(), parse("..//g").get()),
          xp_url_resolve(parse("a/b").get(), parse("x").get())},
         "http://g http://h/x a:/.//g null");
}

TEST_F(url_test, parts_read_as_they_stand) {
  const ref u = parse("foo://us%20er:pw@[2001:db8::7]:8042/over/th%65re?name=ferret#no%20se");
  ASSERT_TRUE(u);
  const xp_url_parts &parts = *xp_url_getparts(u.get());
  expect({parts.scheme, parts.user, parts.host, parts.query, xp_url_port(u.get()), xp_url_host(u.get()),
          xp_url_path(u.get()), xp_url_user(u.get()), xp_url_fragment(u.get())},
         "foo us%20er:pw [2001:db8::7] name=ferret 8042 2001:db8::7 /over/there us er:pw no se");
  EXPECT_EQ(taken(xp_url_make(&parts)), text_of(u.get()));

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
  auto normal = [](const char *text) { return xp_url_normal(parse(text).get()); };
  expect({normal("HTTP://U@EXAMPLE.com:80/%7euser/%c3%a9/a/./b/../c?%2f%41#%3D"), normal("../%41/./b"),
          normal("a:/b/..//c")},
         "http://U@example.com:80/~user/%C3%A9/a/c?%2FA#%3D ../A/./b a:/.//c");
}

TEST_F(url_test, any_text_that_parses_comes_back) {
  std::mt19937 random(seed);
  int parsed = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string s = bytes(random, "aZ09:/?#[]@%=&;.-", 14);
    const ref u = parse(s);
    if (!u) continue;
    ++parsed;
    ASSERT_EQ(text_of(u.get()), s);
    ASSERT_EQ(taken(xp_url_make(xp_url_getparts(u.get()))), s) << "seed " << seed;
    const ref normal = ref::adopt(xp_url_normal(u.get()));
    ASSERT_EQ(taken(xp_url_normal(normal.get())), text_of(normal.get())) << s << ", seed " << seed;
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
    const std::string coded = taken(xp_url_encode(s.data(), static_cast<int64_t>(s.size()), place));
    for (const uint32_t flags : {0U, static_cast<uint32_t>(XP_URL_STRICT)})
      ASSERT_EQ(taken(xp_url_decode(coded.data(), static_cast<int64_t>(coded.size()), flags)), s)
          << "seed " << seed;
    ASSERT_TRUE(parse("?" + (place == XP_URL_HOST ? "" : coded))) << coded;
  }
  expect({xp_url_encode("a-._~/?:@&=+;$,% \x7f\xC3", -1, XP_URL_UNRESERVED),
          xp_url_encode("/?#&=+;'", -1, XP_URL_ARGUMENT), xp_url_encode("/?#[", -1, XP_URL_PATH)},
         "a-._~%2F%3F%3A%40%26%3D%2B%3B%24%2C%25%20%7F%C3 /?%23%26%3D%2B%3B' /%3F%23%5B");
  expect({xp_url_decode("%4a%4A%%4%zz+%", -1, 0), xp_url_decode("a+b%2B", -1, XP_URL_PLUS),
          xp_url_decode("a%4", -1, XP_URL_STRICT), xp_url_decode(nullptr, 0, 0)},
         "JJ%%4%zz+% a b+ null ");
}

using pairs = std::vector<std::pair<std::string, std::string>>;

int64_t collect(xp_obj *name, xp_obj *value, void *context) {
  static_cast<pairs *>(context)->emplace_back(text_of(name), value == nullptr ? "-" : text_of(value));
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
  expect({xp_url_getarg(u.get(), "a", -1), xp_url_getarg(u.get(), "b", -1), xp_url_getarg(u.get(), "A", -1),
          xp_url_removearg(u.get(), "a", -1), xp_url_removearg(parse("x?a#f").get(), "a", -1)},
         "1  null local://app/x?b&c=#f x#f");
  EXPECT_EQ(ref::adopt(xp_url_removearg(u.get(), "z", -1)).get(), u.get());
  expect({xp_url_addarg(parse("h#f").get(), "k&", -1, str("x&y=z+ \xC3\xA9").get()),
          xp_url_addarg(parse("h?a").get(), "b", -1, nullptr),
          xp_url_setarg(u.get(), "a", -1, parse("u:v").get()), xp_url_format("local://%s/%d", "app", 7),
          xp_url_format("local://%s", "a b")},
         "h?k%26=x%26y%3Dz%2B%20%C3%A9#f h?a&b local://app/x?b&c=&a=u:v#f local://app/7 null");

  std::mt19937 random(seed);
  pairs expected;
  ref grown = parse("x:");
  for (int i = 0; i < 200; ++i) {
    const std::string name = bytes(random, "", 8);
    const std::string content = bytes(random, "", 8);
    grown = ref::adopt(
        xp_url_addarg(grown.get(), name.data(), static_cast<int64_t>(name.size()), str(content).get()));
    expected.emplace_back(name, content);
  }
  EXPECT_EQ(arguments(grown.get()), expected) << "seed " << seed;
}

TEST_F(url_test, files_and_their_urls_name_each_other) {
  const ref f = ref::adopt(xp_file_new("/a b/%41/\xC3\xA9?#", -1));
  const ref u = ref::adopt(xp_url_coerce(f.get()));
  EXPECT_EQ(text_of(u.get()), "file:///a%20b/%2541/%C3%A9%3F%23");
  EXPECT_EQ(taken(xp_file_coerce(u.get())), text_of(f.get()));
  for (const char *good : {"file:/a/b", "FILE://LOCALHOST/a/b", "file:///a/./b?x#y", "file:///a/%62"})
    EXPECT_EQ(taken(xp_file_coerce(str(good).get())), "/a/b") << good;
  for (const char *bad : {"file://host/a", "file:///a%2Fb", "file:///a%00b", "file:a", "file:"})
    EXPECT_EQ(xp_file_coerce(str(bad).get()), nullptr) << bad;
  EXPECT_EQ(xp_file_cfnew(parse("local://app/x").get()), nullptr);
}

}  // namespace
