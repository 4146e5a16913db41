// The program as people and scripts run it: a process of its own, with a client of its own.

#include "tests/app/private_root.h"
#include "tests/app/program.h"
#include "tests/standin/standin_process.h"
#include "xp/object/ref.h"
#include "xp/plist/plist.h"
#include "xp/string/string.h"

#include <gdk/gdk.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace {

using words = std::vector<std::string>;

program_result run_settings(words arguments, const words &environment) {
  arguments.insert(arguments.begin(), CORVANE_SETTINGS);
  return run_program(arguments, environment);
}

int lines_of(const std::string &text) {
  return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

// The value at a path of a JSON text, as a text; "(none)" when there is none.
std::string value_at(const std::string &json, const char *path) {
  const auto tree = xp::ref::adopt(xp_plist_parse(json.data(), static_cast<int64_t>(json.size()), 1));
  const auto value = xp::ref::adopt(xp_plist_get(tree.get(), path));
  const auto text = xp::ref::adopt(xp_str_coerce(value.get()));
  return text ? xp_str_getptr(text.get()) : "(none)";
}

// Size and number of different colours of a PNG file; all 0 when it is none.
struct picture {
  int width = 0;
  int height = 0;
  size_t colours = 0;
};
picture look_at(const std::string &file) {
  GdkTexture *texture = gdk_texture_new_from_filename(file.c_str(), nullptr);
  if (texture == nullptr) return {};
  picture seen = {.width = gdk_texture_get_width(texture), .height = gdk_texture_get_height(texture)};
  std::vector<uint32_t> pixels(static_cast<size_t>(seen.width) * static_cast<size_t>(seen.height));
  gdk_texture_download(texture, reinterpret_cast<guchar *>(pixels.data()),
                       static_cast<gsize>(seen.width) * 4);
  g_object_unref(texture);
  seen.colours = std::set<uint32_t>(pixels.begin(), pixels.end()).size();
  return seen;
}

// What the page of 720 by 360 and the header bar above it come to, drawn.
void expect_window(const picture &seen) {
  EXPECT_EQ(seen.width, 720);
  EXPECT_GT(seen.height, 360 + 20);
  EXPECT_LT(seen.height, 360 + 80);
  EXPECT_GT(seen.colours, 50U) << "text and emblem have many shades";
}

TEST(command_line, says_in_one_line_what_is_wrong) {
  const struct {
    words arguments;
    words environment;
    int status;
    const char *line;
  } cases[] = {
      {{},
       {"DISPLAY", "WAYLAND_DISPLAY"},
       1,
       "corvane-settings: there is no display to show the window on\n"},
      {{"--bogus", "--install-extension"},
       {},
       1,
       "corvane-settings: this version cannot activate the system extension yet\n"},
      {{"--bogus"}, {}, 2, "corvane-settings: unknown option --bogus (--help lists the options)\n"},
      {{"--screenshot"},
       {},
       2,
       "corvane-settings: --screenshot needs the name of a file (--help lists the options)\n"},
  };
  for (const auto &row : cases) {
    const auto result = run_settings(row.arguments, row.environment);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.err, row.line);
    EXPECT_EQ(result.out, "");
  }
}

TEST(command_line, tells_about_itself_without_a_display) {
  const words nowhere = {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS"};
  const auto help = run_settings({"--help"}, nowhere);
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("--screenshot FILE"), std::string::npos);
  const auto version = run_settings({"--version"}, nowhere);
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out.find("corvane-settings "), 0U);
  EXPECT_EQ(lines_of(version.out), 1);
}

TEST(command_line, pictures_what_the_client_told) {
  const private_root root;
  const standin_process client({"--root", root.path()});
  ASSERT_TRUE(client.serves()) << client.errors();
  const words environment = {"CORVANE_ROOT=" + root.path()};
  const std::string file = root.path() + "/picture.png";
  const auto result = run_settings({"--screenshot", file}, environment);
  ASSERT_EQ(result.status, 0) << result.err;

  const std::string &json = result.out;
  EXPECT_GT(lines_of(json), 3) << "for people to read too";
  EXPECT_EQ(value_at(json, "/conn-info/server"), "corvane.example.com");
  EXPECT_EQ(value_at(json, "/conn-info/serveraddress"), "192.0.2.24:443");
  EXPECT_EQ(value_at(json, "/conn-info/username"), "robin.sample");
  EXPECT_EQ(value_at(json, "/conn-info/computerid"), "4F1C-90A2-77DE");
  EXPECT_EQ(value_at(json, "/conn-info/connected"), "true");
  EXPECT_EQ(value_at(json, "/conn-info/audit"), "false");
  EXPECT_EQ(value_at(json, "/host-info/computername"), "sample-laptop");
  EXPECT_EQ(value_at(json, "/host-info/macaddress"), "02:00:5e:10:20:30");
  EXPECT_EQ(value_at(json, "/host-info/serialnumber"), "SMPL0042");
  EXPECT_EQ(value_at(json, "/capabilities/scripts"), "true");
  EXPECT_EQ(value_at(json, "/capabilities/fda"), "true");
  EXPECT_EQ(value_at(json, "/capabilities/kv"), "false");
  expect_window(look_at(file));

  const auto unwritable = run_settings({"--screenshot", root.path() + "/no/folder.png"}, environment);
  EXPECT_EQ(unwritable.status, 1);
  EXPECT_EQ(unwritable.out, "");
  EXPECT_NE(unwritable.err.find("corvane-settings: " + root.path() + "/no/folder.png: "), std::string::npos);
}

TEST(command_line, pictures_a_client_that_is_not_there) {
  const private_root root;
  const std::string file = root.path() + "/picture.png";
  const auto result = run_settings({"--screenshot", file}, {"CORVANE_ROOT=" + root.path()});
  EXPECT_EQ(result.status, 3) << result.err;
  EXPECT_EQ(value_at(result.out, "/conn-info/server"), "(none)");
  EXPECT_EQ(value_at(result.out, "/capabilities/scripts"), "true");
  expect_window(look_at(file));
}

}  // namespace
