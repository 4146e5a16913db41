#include "setup/resources.h"

#include "setup/dispatcher.h"
#include "tests/support/objects.h"
#include "tests/support/temp_folder.h"
#include "webview/webview.h"
#include "xp/dict/dict.h"

#include <sys/stat.h>

namespace {

class resources : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    const std::pair<const char *, std::string> files[] = {{"app/setup.html", "<p>{{no placeholder}}\r\n"},
                                                          {"app/readme.html", "readme"},
                                                          {"app/site.css", "body{}"},
                                                          {"app/.hidden.html", "hidden"},
                                                          {"app/logo.png", std::string("\x89PNG\0\1", 6)},
                                                          {"app/deep/inner.css", "inner"},
                                                          {"app/%2e%2e.html", "encoded"},
                                                          {"app/empty.js", ""},
                                                          {"app/.html", "no name"},
                                                          {"top.html", "top"},
                                                          {"../secret.html", "secret"}};
    for (const auto &[name, text] : files)
      folder_.write(std::filesystem::path("Resources") / name, text);
    cv_setup_setbundle((folder_.path() / "Resources").c_str());
  }
  void TearDown() override {
    cv_setup_setbundle(nullptr);
    leak_check::TearDown();
  }

  // What event 11 answers for an address: "media type|content".
  static std::string answer(const std::string &url) {
    const xp::ref event = xp::ref::adopt(xp_dict_new(XP_DICT_NOCASE));
    xp_dict_store(event.get(), "url", -1, str(url).get());
    EXPECT_EQ(cv_setup_ui_callback(nullptr, XP_WEBVIEW_RESOURCE, event.get(), 0), 0);
    const auto part = [&](const char *key) {
      const xp::ref value = xp::ref::adopt(xp_dict_fetch(event.get(), key, -1));
      return value ? text_of(value.get()) : "-";
    };
    return part("mimetype") + "|" + part("response");
  }

  temp_folder folder_;
};

TEST_F(resources, maps_addresses_to_files) {
  EXPECT_EQ(answer("local://app/setup.html"), "text/html|<p>{{no placeholder}}\r\n");
  EXPECT_EQ(answer("local://app/logo.png"), "-|" + std::string("\x89PNG\0\1", 6));
  EXPECT_EQ(answer(""), "text/html|-");
  const auto rows = pairs_of(
      "local://app/setup.html?x=1>text/html|- local://app/readme>text/html|readme "
      "local://app/readme?x=1>text/html|readme local://app/readme?v=1.5/6>text/html|readme "
      "local://app/site.css>text/css|body{} local://app/css/nested/site.css>text/css|body{} "
      "local://app/deep/inner.css>text/css|- local://app/empty.js>text/javascript| "
      "local://app/.hidden>-|hidden "
      "local:///top.html>text/html|top top>text/html|top local://app/SETUP.html>text/html|- "
      "local://other/setup.html>text/html|- "
      // Media types alone.
      "local://app/a.HTML>text/html|- local://app/a.Css?x.js>text/css|- "
      "local://app/a.min.svg>image/svg+xml|- "
      "local://app/a.html5>-|- local://app/a.htm>-|- local://app/a.>-|- local://app.css/a>text/html|- "
      "local://app/a?b.css>text/html|- local://app/.css>text/css|-");
  for (const auto &[url, expected] : rows)
    EXPECT_EQ(answer(url), expected) << url;
}

TEST_F(resources, stays_below_the_resource_folder) {
  namespace fs = std::filesystem;
  const fs::path bundle = folder_.path() / "Resources";
  fs::create_symlink(folder_.path() / "secret.html", bundle / "app/link.html");
  fs::create_directory_symlink(folder_.path(), bundle / "out");
  fs::create_directory(bundle / "app/folder.html");
  ASSERT_EQ(mkfifo((bundle / "app/pipe.html").c_str(), 0600), 0);
  const std::string rows[] = {"local://../secret.html",
                              "local://./top.html",
                              "local://app/../secret.html",
                              "local://%2e%2e/secret.html",
                              "local://out/secret.html",
                              "local://app/link.html",
                              "local://app/pipe.html",
                              "local://app/folder.html",
                              "local://app/..",
                              "local://app/.",
                              "local://app/",
                              "local://app/?x",
                              "local://app/%2e%2e/secret",
                              "local://app\\..\\secret.html",
                              std::string("local://app/readme\0", 19),
                              std::string("local://..\0/secret.html", 23),
                              "local://app/" + std::string(300, 'a')};
  for (const std::string &url : rows) {
    const std::string got = answer(url);
    EXPECT_EQ(got.substr(got.find('|')), "|-") << url;
  }
  // Names are not decoded: an encoded one is a name like any other.
  EXPECT_EQ(answer("local://app/%2e%2e"), "text/html|encoded");
  EXPECT_EQ(answer("local://app/%2e%2e.html"), "text/html|encoded");
}

TEST_F(resources, finds_nothing_without_a_bundle_or_an_address) {
  const xp::ref event = xp::ref::adopt(xp_dict_new(0));
  xp_dict_store(event.get(), "url", -1, xp::ref::adopt(xp_dict_new(0)).get());
  EXPECT_EQ(cv_setup_ui_callback(nullptr, XP_WEBVIEW_RESOURCE, event.get(), 0), 0);
  EXPECT_FALSE(xp::ref::adopt(xp_dict_fetch(event.get(), "response", -1)));
  for (const char *path : {static_cast<const char *>(nullptr), "", "/nowhere/at/all"}) {
    cv_setup_setbundle(path);
    EXPECT_EQ(answer("local://app/readme.html"), "text/html|-");
  }
}

}  // namespace
