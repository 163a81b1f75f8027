#include <gtest/gtest.h>

#include "platform/ErrorBox.h"
#include "platform/X11Parse.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace platform;

TEST(UriList, PercentDecoding) {
    std::string out;
    ASSERT_TRUE(percentDecode("a%20b%2fc%2F%25", out));
    EXPECT_EQ(out, "a b/c/%");
    ASSERT_TRUE(percentDecode("%C3%A9t%c3%a9", out));
    EXPECT_EQ(out, "\xC3\xA9t\xC3\xA9");
    // Malformed escapes stay as they are.
    ASSERT_TRUE(percentDecode("100%", out));
    EXPECT_EQ(out, "100%");
    ASSERT_TRUE(percentDecode("%zz%4", out));
    EXPECT_EQ(out, "%zz%4");
    out = "untouched";
    EXPECT_FALSE(percentDecode("a%00b", out));
    EXPECT_EQ(out, "untouched");
}

TEST(UriList, FileUrisBecomeLocalPaths) {
    EXPECT_EQ(fileUriToPath("file:///home/u/My%20Pictures/cat.png", "box"), "/home/u/My Pictures/cat.png");
    EXPECT_EQ(fileUriToPath("FILE:///tmp/a.png", "box"), "/tmp/a.png");
    EXPECT_EQ(fileUriToPath("file:/tmp/a.png", "box"), "/tmp/a.png");
    EXPECT_EQ(fileUriToPath("file://localhost/tmp/a.png", "box"), "/tmp/a.png");
    EXPECT_EQ(fileUriToPath("file://box/tmp/a.png", "box"), "/tmp/a.png");
    EXPECT_EQ(fileUriToPath("file:///tmp/%E6%97%A5%E6%9C%AC.png", "box"), "/tmp/\xE6\x97\xA5\xE6\x9C\xAC.png");
    EXPECT_EQ(fileUriToPath("file:///tmp/a%23b.png", "box"), "/tmp/a#b.png");
    // Not a local file.
    EXPECT_EQ(fileUriToPath("file://otherhost/tmp/a.png", "box"), "");
    EXPECT_EQ(fileUriToPath("file://localhostx/tmp/a.png", "box"), "");
    EXPECT_EQ(fileUriToPath("http://example.com/a.png", "box"), "");
    EXPECT_EQ(fileUriToPath("file:relative.png", "box"), "");
    EXPECT_EQ(fileUriToPath("file://", "box"), "");
    EXPECT_EQ(fileUriToPath("file:///tmp/a%00.png", "box"), "");
    EXPECT_EQ(fileUriToPath("", "box"), "");
}

TEST(UriList, ParseSkipsCommentsAndBlankLines) {
    std::vector<std::string> uris = parseUriList("# from a file manager\r\nfile:///a\r\n\r\n  file:///b  \nhttp://c");
    ASSERT_EQ(uris.size(), 3u);
    EXPECT_EQ(uris[0], "file:///a");
    EXPECT_EQ(uris[1], "file:///b");
    EXPECT_EQ(uris[2], "http://c");
    EXPECT_TRUE(parseUriList("").empty());
    EXPECT_TRUE(parseUriList("\r\n# only a comment\r\n").empty());
    std::vector<std::string> withNul = parseUriList(std::string("file:///x\r\n\0", 13));
    ASSERT_EQ(withNul.size(), 1u);
    EXPECT_EQ(withNul[0], "file:///x");
}

TEST(UriList, FirstLocalFileWins) {
    EXPECT_EQ(firstDroppedPath("http://x/y.png\r\nfile:///tmp/one%20two.png\r\nfile:///tmp/three.png\r\n", ""),
              "/tmp/one two.png");
    EXPECT_EQ(firstDroppedPath("http://x/y.png\r\n", ""), "");
    EXPECT_EQ(firstDroppedPath("garbage \x01\x02\xff", ""), "");
}

TEST(GuiScale, FromXftDpi) {
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t144\nXft.antialias:\t1\n", nullptr), 1.5f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.antialias:\t1\n  Xft.dpi :  120.0  \n", nullptr), 1.25f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t96\nXft.dpi:\t192\n", nullptr), 2.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t96", nullptr), 1.0f);
}

TEST(GuiScale, UnknownOrAbsurdDpiGivesOne) {
    EXPECT_FLOAT_EQ(guiScaleFromResources(nullptr, nullptr), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("", nullptr), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpix:\t144\n*dpi: 144\n", nullptr), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\tlarge\n", nullptr), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t0\n", nullptr), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t-96\n", nullptr), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t1e30\n", nullptr), 1.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\tnan\n", nullptr), 1.0f);
}

TEST(GuiScale, EnvironmentOverrides) {
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t144\n", "2"), 2.0f);
    EXPECT_FLOAT_EQ(guiScaleFromResources(nullptr, " 1.75 "), 1.75f);
    // Unusable overrides fall back to the display.
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t144\n", "abc"), 1.5f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t144\n", "0"), 1.5f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t144\n", "100"), 1.5f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t144\n", "1,5"), 1.5f);
    EXPECT_FLOAT_EQ(guiScaleFromResources("Xft.dpi:\t144\n", ""), 1.5f);
}

TEST(FatalError, Latin1BecomesUtf8ForTheDialog) {
    EXPECT_EQ(latin1ToUtf8("abc"), "abc");
    EXPECT_EQ(latin1ToUtf8("caf\xE9 \xFF"), "caf\xC3\xA9 \xC3\xBF");
    std::vector<std::string> args = zenityErrorArgs("Fehler", "Gr\xF6\xDF" "e <b>");
    ASSERT_EQ(args.size(), 5u);
    EXPECT_EQ(args[0], "zenity");
    EXPECT_EQ(args[1], "--error");
    EXPECT_EQ(args[2], "--no-markup");
    EXPECT_EQ(args[3], "--title=Fehler");
    EXPECT_EQ(args[4], "--text=Gr\xC3\xB6\xC3\x9F" "e <b>");
}

namespace {

class FatalErrorTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/kw_errbox_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        save("PATH");
        save("DISPLAY");
        save("WAYLAND_DISPLAY");
    }
    void TearDown() override {
        for (auto& [name, value] : saved) {
            if (value.first) setenv(name.c_str(), value.second.c_str(), 1);
            else unsetenv(name.c_str());
        }
        std::filesystem::remove_all(dir);
    }
    void save(const char* name) {
        const char* v = std::getenv(name);
        saved.push_back({name, {v != nullptr, v ? v : ""}});
    }
    // A stand-in zenity that records its arguments, one a line.
    void installFakeZenity() {
        std::string script = dir + "/zenity";
        std::ofstream(script) << "#!/bin/sh\nfor a in \"$@\"; do echo \"$a\"; done > \"" << dir << "/args\"\n";
        chmod(script.c_str(), 0755);
        setenv("PATH", (dir + ":/usr/bin:/bin").c_str(), 1);
    }
    std::string recordedArgs() {
        std::ifstream in(dir + "/args");
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    std::string dir;
    std::vector<std::pair<std::string, std::pair<bool, std::string>>> saved;
};

} // namespace

TEST_F(FatalErrorTest, FindOnPath) {
    installFakeZenity();
    EXPECT_EQ(findOnPath("zenity"), dir + "/zenity");
    EXPECT_EQ(findOnPath("no-such-program-kw"), "");
    EXPECT_EQ(findOnPath("/bin/sh"), "");
}

TEST_F(FatalErrorTest, TextGoesToStderrAndToZenity) {
    installFakeZenity();
    setenv("DISPLAY", ":1234", 1);
    testing::internal::CaptureStderr();
    showFatalError("ERROR", "Sorry, your system is unable to run Kestrelwing.");
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("ERROR: Sorry, your system is unable to run Kestrelwing."), std::string::npos);
    EXPECT_EQ(recordedArgs(),
              "--error\n--no-markup\n--title=ERROR\n--text=Sorry, your system is unable to run Kestrelwing.\n");
}

TEST_F(FatalErrorTest, NoDisplayMeansNoDialogAndNoWait) {
    installFakeZenity();
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    testing::internal::CaptureStderr();
    auto start = std::chrono::steady_clock::now();
    showFatalError("ERROR", "no display");
    auto took = std::chrono::steady_clock::now() - start;
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("ERROR: no display"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(dir + "/args"));
    EXPECT_LT(took, std::chrono::seconds(1));
}

TEST_F(FatalErrorTest, MissingZenityStillReports) {
    setenv("PATH", dir.c_str(), 1); // nothing in there
    setenv("DISPLAY", ":1234", 1);
    testing::internal::CaptureStderr();
    showFatalError("ERROR", "no zenity");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("ERROR: no zenity"), std::string::npos);
}
