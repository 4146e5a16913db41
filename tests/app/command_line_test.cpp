// The program as people and scripts run it: a process of its own, with a client of its own.

#include "tests/standin/standin_process.h"
#include "tests/support/objects.h"

#include <gdk/gdk.h>

#include <set>

namespace {

// Runs the program in an environment that is changed as the program "env" says it.
program_result run_settings(words environment, const words &arguments) {
  environment.insert(environment.begin(), "env");
  environment.emplace_back(CORVANE_SETTINGS);
  environment.insert(environment.end(), arguments.begin(), arguments.end());
  return run_program(environment);
}

// What the page of 720 by 360 and the header bar above it come to, drawn.
void expect_window(const std::string &file) {
  g_autoptr(GdkTexture) texture = gdk_texture_new_from_filename(file.c_str(), nullptr);
  ASSERT_NE(texture, nullptr);
  const auto width = static_cast<size_t>(gdk_texture_get_width(texture));
  const auto height = static_cast<size_t>(gdk_texture_get_height(texture));
  EXPECT_EQ(width, 720U);
  EXPECT_GT(height, 360U + 20);
  EXPECT_LT(height, 360U + 80);
  std::vector<uint32_t> pixels(width * height);
  gdk_texture_download(texture, reinterpret_cast<guchar *>(pixels.data()), width * 4);
  EXPECT_GT(std::set<uint32_t>(pixels.begin(), pixels.end()).size(), 50U)
      << "text and emblem have many shades";
}

TEST(command_line, tells_about_itself_and_what_is_wrong_without_a_display) {
  const struct {
    words arguments;
    int status;
    const char *out, *err;  // parts of the one, the other as a whole
  } cases[] = {{{}, 1, "", "corvane-settings: there is no display to show the window on\n"},
               {{"--bogus", "--install-extension"},
                1,
                "",
                "corvane-settings: this version cannot activate the system extension yet\n"},
               {{"--bogus"}, 2, "", "corvane-settings: unknown option --bogus (--help lists the options)\n"},
               {{"--help"}, 0, "--screenshot FILE", ""},
               {{"--version"}, 0, "corvane-settings ", ""}};
  for (const auto &row : cases) {
    const auto result = run_settings(
        {"-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", "-u", "DBUS_SESSION_BUS_ADDRESS"}, row.arguments);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.err, row.err);
    EXPECT_NE(result.out.find(row.out), std::string::npos) << result.out;
    EXPECT_EQ(result.out.empty(), row.status != 0) << result.out;
  }
}

TEST(command_line, pictures_what_the_client_told) {
  const private_root root;
  const standin_process client(root);
  ASSERT_TRUE(client.serves()) << client.errors();
  const words environment = {"CORVANE_ROOT=" + root.path()};
  const auto result = run_settings(environment, {"--screenshot", root.path() + "/picture.png"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::pair<const char *, const char *> values[] = {{"/conn-info/server", "corvane.example.com"},
                                                          {"/conn-info/connected", "true"},
                                                          {"/conn-info/audit", "false"},
                                                          {"/host-info/serialnumber", "SMPL0042"},
                                                          {"/capabilities/scripts", "true"},
                                                          {"/capabilities/fda", "true"}};
  for (const auto &[path, value] : values)
    EXPECT_EQ(text_of(tree(result.out, path).get()), value) << path;
  expect_window(root.path() + "/picture.png");

  const std::string nowhere = root.path() + "/no/folder.png";
  const auto unwritable = run_settings(environment, {"--screenshot", nowhere});
  EXPECT_EQ(unwritable.status, 1);
  EXPECT_EQ(unwritable.out, "");
  EXPECT_NE(unwritable.err.find("corvane-settings: " + nowhere + ": "), std::string::npos) << unwritable.err;
}

TEST(command_line, pictures_a_client_that_is_not_there) {
  const private_root root;
  const std::string file = root.path() + "/picture.png";
  const auto result = run_settings({"CORVANE_ROOT=" + root.path()}, {"--screenshot", file});
  EXPECT_EQ(result.status, 3) << result.err;
  expect({tree(result.out, "/conn-info/server"), tree(result.out, "/capabilities/scripts")}, "null true");
  expect_window(file);
}

}  // namespace
