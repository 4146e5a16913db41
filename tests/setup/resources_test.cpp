#include "setup/resources.h"

#include "setup/dispatcher.h"
#include "tests/setup/temp_folder.h"
#include "tests/support/leak_check.h"
#include "webview/webview.h"
#include "xp/dict/dict.h"
#include "xp/object/ref.h"
#include "xp/string/string.h"

#include <sys/stat.h>

#include <string>

namespace {

std::string text_of(xp_obj *string, const char *absent) {
  if (string == nullptr) return absent;
  return {xp_str_getptr(string), static_cast<size_t>(xp_str_length(string))};
}

class resources : public leak_check {
protected:
  void SetUp() override {
    leak_check::SetUp();
    folder_.write("Resources/app/setup.html", "<p>{{not a placeholder yet}}\r\n");
    folder_.write("Resources/app/readme.html", "readme");
    folder_.write("Resources/app/site.css", "body{}");
    folder_.write("Resources/app/.hidden.html", "hidden");
    folder_.write("Resources/app/logo.png", std::string("\x89PNG\0\1", 6));
    folder_.write("Resources/app/deep/inner.css", "inner");
    folder_.write("Resources/app/%2e%2e.html", "encoded");
    folder_.write("Resources/app/empty.js", "");
    folder_.write("Resources/app/.html", "no name");
    folder_.write("Resources/top.html", "top");
    folder_.write("secret.html", "secret");
    cv_setup_setbundle((folder_.path() / "Resources").c_str());
  }
  void TearDown() override {
    cv_setup_setbundle(nullptr);
    leak_check::TearDown();
  }

  // What event 11 answers for an address: "media type|content".
  static std::string answer(const std::string &url) {
    const xp::ref event = xp::ref::adopt(xp_dict_new(XP_DICT_NOCASE));
    xp_dict_adopt(event.get(), "url", -1, xp_str_make(url.data(), static_cast<int64_t>(url.size())));
    EXPECT_EQ(cv_setup_ui_callback(nullptr, XP_WEBVIEW_RESOURCE, event.get(), 0), 0);
    const xp::ref response = xp::ref::adopt(xp_dict_fetch(event.get(), "response", -1));
    const xp::ref type = xp::ref::adopt(xp_dict_fetch(event.get(), "mimetype", -1));
    return text_of(type.get(), "-") + "|" + text_of(response.get(), "-");
  }

  temp_folder folder_;
};

TEST_F(resources, maps_addresses_to_files) {
  const struct {
    std::string url;
    std::string answer;
  } rows[] = {
      {"local://app/setup.html", "text/html|<p>{{not a placeholder yet}}\r\n"},
      {"local://app/setup.html?x=1", "text/html|-"},
      {"local://app/readme", "text/html|readme"},
      {"local://app/readme?x=1", "text/html|readme"},
      {"local://app/readme?v=1.5/6", "text/html|readme"},
      {"local://app/site.css", "text/css|body{}"},
      {"local://app/css/nested/site.css", "text/css|body{}"},
      {"local://app/deep/inner.css", "text/css|-"},
      {"local://app/empty.js", "text/javascript|"},
      {"local://app/logo.png", "-|" + std::string("\x89PNG\0\1", 6)},
      {"local://app/.hidden", "-|hidden"},
      {"local:///top.html", "text/html|top"},
      {"top", "text/html|top"},
      {"local://app/SETUP.html", "text/html|-"},
      {"local://other/setup.html", "text/html|-"},
      {"", "text/html|-"},
  };
  for (const auto &row : rows)
    EXPECT_EQ(answer(row.url), row.answer) << row.url;
}

TEST_F(resources, knows_media_types_by_extension) {
  const struct {
    const char *url;
    const char *type;
  } rows[] = {
      {"local://app/a.HTML", "text/html"},
      {"local://app/a.Css?x.js", "text/css"},
      {"local://app/a.js", "text/javascript"},
      {"local://app/a.min.svg", "image/svg+xml"},
      {"local://app/a.html5", "-"},
      {"local://app/a.htm", "-"},
      {"local://app/a.", "-"},
      {"local://app.css/a", "text/html"},
      {"local://app/a?b.css", "text/html"},
      {"local://app/", "text/html"},
      {"local://app/.css", "text/css"},
  };
  for (const auto &row : rows) {
    const xp::ref url = xp::ref::adopt(xp_str_new(row.url));
    const xp::ref type = xp::ref::adopt(cv_setup_mediatype(url.get()));
    EXPECT_EQ(text_of(type.get(), "-"), row.type) << row.url;
  }
}

TEST_F(resources, stays_below_the_resource_folder) {
  namespace fs = std::filesystem;
  const fs::path bundle = folder_.path() / "Resources";
  fs::create_symlink(folder_.path() / "secret.html", bundle / "app/link.html");
  fs::create_directory_symlink(folder_.path(), bundle / "out");
  fs::create_directory(bundle / "app/folder.html");
  ASSERT_EQ(mkfifo((bundle / "app/pipe.html").c_str(), 0600), 0);
  const std::string rows[] = {
      "local://../secret.html",
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
      "local://app/" + std::string(300, 'a'),
  };
  for (const std::string &url : rows) {
    const std::string got = answer(url);
    EXPECT_EQ(got.substr(got.find('|')), "|-") << url;
  }
  // Names are not decoded: an encoded one is a name like any other.
  EXPECT_EQ(answer("local://app/%2e%2e"), "text/html|encoded");
  EXPECT_EQ(answer("local://app/%2e%2e.html"), "text/html|encoded");
}

TEST_F(resources, finds_nothing_without_a_bundle) {
  for (const char *path : {static_cast<const char *>(nullptr), "", "/nowhere/at/all"}) {
    cv_setup_setbundle(path);
    EXPECT_EQ(answer("local://app/readme.html"), "text/html|-");
  }
  // An event with something else for an address is answered like one without.
  cv_setup_setbundle((folder_.path() / "Resources").c_str());
  const xp::ref event = xp::ref::adopt(xp_dict_new(0));
  xp_dict_store(event.get(), "url", -1, xp::ref::adopt(xp_dict_new(0)).get());
  EXPECT_EQ(cv_setup_ui_callback(nullptr, XP_WEBVIEW_RESOURCE, event.get(), 0), 0);
  EXPECT_EQ(xp::ref::adopt(xp_dict_fetch(event.get(), "response", -1)).get(), nullptr);
}

}  // namespace
