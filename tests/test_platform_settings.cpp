#include <gtest/gtest.h>

#include "platform/Settings.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;
using namespace platform;

namespace {

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void writeText(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// Every test gets its own configuration folder.
class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/kw_settings_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        const char* old = std::getenv("XDG_CONFIG_HOME");
        hadOld = old != nullptr;
        if (old) oldValue = old;
        setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
        file = dir + "/Kestrelwing/settings.ini";
    }
    void TearDown() override {
        if (hadOld) setenv("XDG_CONFIG_HOME", oldValue.c_str(), 1);
        else unsetenv("XDG_CONFIG_HOME");
        fs::remove_all(dir);
    }
    std::string dir, file, oldValue;
    bool hadOld = false;
};

} // namespace

TEST_F(SettingsTest, FileLivesUnderXdgConfigHome) {
    EXPECT_EQ(settingsFilePath(), file);
    unsetenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(settingsFilePath(), std::string(home) + "/.config/Kestrelwing/settings.ini");
    // A relative value is invalid and ignored.
    setenv("XDG_CONFIG_HOME", "relative/dir", 1);
    EXPECT_EQ(settingsFilePath(), std::string(home) + "/.config/Kestrelwing/settings.ini");
}

TEST_F(SettingsTest, MissingFileLeavesDefaults) {
    std::string s = "default";
    int i = 7, a = 1, b = 2;
    bool flag = true;
    EXPECT_FALSE(readValue("APP_LANGUAGE", s));
    EXPECT_FALSE(readInt("KWCOUNT", i));
    EXPECT_FALSE(readBool("GUI_SHADOW", flag));
    EXPECT_FALSE(readIntPair("APP_WINDOW_POS", a, b));
    EXPECT_EQ(s, "default");
    EXPECT_EQ(i, 7);
    EXPECT_TRUE(flag);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 2);
}

TEST_F(SettingsTest, WriteCreatesFileWithSection) {
    writeValue("APP_CODE", "0");
    writeValue("APP_LANGUAGE", "ENG");
    EXPECT_EQ(readText(file), "[Software\\Kestrelwing]\nAPP_CODE=0\nAPP_LANGUAGE=ENG\n");
    writeValue("APP_CODE", "1");
    EXPECT_EQ(readText(file), "[Software\\Kestrelwing]\nAPP_CODE=1\nAPP_LANGUAGE=ENG\n");
    std::string v;
    ASSERT_TRUE(readValue("APP_CODE", v));
    EXPECT_EQ(v, "1");
}

TEST_F(SettingsTest, ValuesWithNewlinesAndBackslashesRoundTrip) {
    const std::string path = "/home/a\\b/new\nline\r/x\\n";
    writeValue("curr_dir", path);
    std::string text = readText(file);
    EXPECT_NE(text.find("curr_dir=/home/a\\\\b/new\\nline\\r/x\\\\n\n"), std::string::npos) << text;
    std::string v;
    ASSERT_TRUE(readValue("curr_dir", v));
    EXPECT_EQ(v, path);
    writeValue("EMPTY", "");
    ASSERT_TRUE(readValue("EMPTY", v));
    EXPECT_EQ(v, "");
}

TEST_F(SettingsTest, EscapingCoversEveryByte) {
    std::string all;
    for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
    std::string escaped = escapeSettingValue(all);
    EXPECT_EQ(escaped.find('\n'), std::string::npos);
    EXPECT_EQ(escaped.find('\r'), std::string::npos);
    EXPECT_EQ(unescapeSettingValue(escaped), all);
    // Hand-written unknown escapes and a trailing backslash are kept.
    EXPECT_EQ(unescapeSettingValue("C:\\temp\\"), "C:\\temp\\");
}

TEST_F(SettingsTest, ValueEndsAtNul) {
    writeValue("NAME", std::string("abc\0def", 7));
    std::string v;
    ASSERT_TRUE(readValue("NAME", v));
    EXPECT_EQ(v, "abc");
}

TEST_F(SettingsTest, NamesMatchCaseInsensitivelyAndKeepTheirSpelling) {
    writeValue("curr_dir", "/a");
    writeValue("CURR_DIR", "/b");
    EXPECT_EQ(readText(file), "[Software\\Kestrelwing]\ncurr_dir=/b\n");
    std::string v;
    ASSERT_TRUE(readValue("Curr_Dir", v));
    EXPECT_EQ(v, "/b");
}

TEST_F(SettingsTest, UnstorableNamesAreIgnored) {
    writeValue("", "x");
    writeValue("A=B", "x");
    writeValue("[X]", "x");
    writeValue("two\nlines", "x");
    writeValue(" padded", "x");
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(SettingsTest, GarbledAndForeignLinesAreKeptAndIgnored) {
    writeText(file,
              "; hand-written\r\n"
              "garbage without equals\r\n"
              "[Other Section]\r\n"
              "APP_LANGUAGE=DEU\r\n"
              "[software\\kestrelwing]\r\n"
              "  APP_LANGUAGE = FRA\r\n"
              "=no name\r\n"
              "# COMMENTED=1\r\n"
              "\r\n"
              "[Third]\r\n"
              "KWCOUNT=9\r\n");
    std::string v;
    ASSERT_TRUE(readValue("APP_LANGUAGE", v));
    EXPECT_EQ(v, " FRA"); // the name is trimmed, the value is taken as it is
    EXPECT_FALSE(readValue("KWCOUNT", v));
    EXPECT_FALSE(readValue("# COMMENTED", v));
    EXPECT_FALSE(readValue("", v));
    writeValue("KWCOUNT", "3");
    writeValue("APP_LANGUAGE", "ENG");
    EXPECT_EQ(readText(file),
              "; hand-written\n"
              "garbage without equals\n"
              "[Other Section]\n"
              "APP_LANGUAGE=DEU\n"
              "[software\\kestrelwing]\n"
              "APP_LANGUAGE=ENG\n"
              "=no name\n"
              "# COMMENTED=1\n"
              "KWCOUNT=3\n"
              "\n"
              "[Third]\n"
              "KWCOUNT=9\n");
}

TEST_F(SettingsTest, FileWithoutHeaderStillReads) {
    writeText(file, "DEFAULT_CANVAS_SIZE=2048,1536\n");
    int w = 0, h = 0;
    ASSERT_TRUE(readIntPair("DEFAULT_CANVAS_SIZE", w, h));
    EXPECT_EQ(w, 2048);
    EXPECT_EQ(h, 1536);
    writeValue("APP_CODE", "0");
    EXPECT_EQ(readText(file), "[Software\\Kestrelwing]\nAPP_CODE=0\nDEFAULT_CANVAS_SIZE=2048,1536\n");
    ASSERT_TRUE(readIntPair("DEFAULT_CANVAS_SIZE", w, h));
    EXPECT_EQ(w, 2048);
}

TEST_F(SettingsTest, ConvenienceReaders) {
    writeValue("B1", "1");
    writeValue("B0", "0");
    writeValue("BT", "true");
    writeValue("N", " -42xyz");
    writeValue("BIG", "99999999999");
    writeValue("NAN", "abc");
    writeValue("P", "-1,-1");
    writeValue("P2", "1024, 700");
    writeValue("PBAD", "1024;700");
    writeValue("PHALF", "12");
    bool flag = false;
    ASSERT_TRUE(readBool("B1", flag));
    EXPECT_TRUE(flag);
    ASSERT_TRUE(readBool("B0", flag));
    EXPECT_FALSE(flag);
    flag = true;
    ASSERT_TRUE(readBool("BT", flag));
    EXPECT_FALSE(flag); // only "1" is true
    int n = 5;
    ASSERT_TRUE(readInt("N", n));
    EXPECT_EQ(n, -42);
    n = 5;
    EXPECT_FALSE(readInt("BIG", n));
    EXPECT_FALSE(readInt("NAN", n));
    EXPECT_EQ(n, 5);
    int a = 3, b = 4;
    ASSERT_TRUE(readIntPair("P", a, b));
    EXPECT_EQ(a, -1);
    EXPECT_EQ(b, -1);
    ASSERT_TRUE(readIntPair("P2", a, b));
    EXPECT_EQ(a, 1024);
    EXPECT_EQ(b, 700);
    EXPECT_FALSE(readIntPair("PBAD", a, b));
    EXPECT_FALSE(readIntPair("PHALF", a, b));
    EXPECT_EQ(a, 1024);
    EXPECT_EQ(b, 700);
}

TEST_F(SettingsTest, RewriteReplacesTheFileAndLeavesNoTemporary) {
    writeValue("A", "1");
    struct stat before {};
    ASSERT_EQ(stat(file.c_str(), &before), 0);
    writeValue("A", "2");
    struct stat after {};
    ASSERT_EQ(stat(file.c_str(), &after), 0);
    // A new file was renamed over the old one, not rewritten in place.
    EXPECT_NE(before.st_ino, after.st_ino);
    int count = 0;
    for (const auto& entry : fs::directory_iterator(dir + "/Kestrelwing")) {
        ++count;
        EXPECT_EQ(entry.path().filename(), "settings.ini");
    }
    EXPECT_EQ(count, 1);
}

TEST_F(SettingsTest, WriteFailuresAreIgnored) {
    // The configuration "folder" is a file: nothing can be created below it.
    std::string blocker = dir + "/blocker";
    writeText(blocker, "x");
    setenv("XDG_CONFIG_HOME", blocker.c_str(), 1);
    writeValue("A", "1");
    std::string v;
    EXPECT_FALSE(readValue("A", v));
    // An unreadable settings file (here a folder) is neither read nor replaced.
    setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    fs::create_directories(file);
    writeValue("A", "1");
    EXPECT_FALSE(readValue("A", v));
    EXPECT_TRUE(fs::is_directory(file));
}

TEST_F(SettingsTest, OverlongValueCountsAsUnreadable) {
    writeValue("LONG", std::string(kMaxValueBytes + 1, 'x'));
    writeValue("FITS", std::string(kMaxValueBytes, 'y'));
    std::string v = "default";
    EXPECT_FALSE(readValue("LONG", v));
    EXPECT_EQ(v, "default");
    ASSERT_TRUE(readValue("FITS", v));
    EXPECT_EQ(v.size(), kMaxValueBytes);
}

TEST_F(SettingsTest, EnvironmentIsReadAtEveryCall) {
    writeValue("WHERE", "first");
    std::string second = dir + "/second";
    setenv("XDG_CONFIG_HOME", second.c_str(), 1);
    std::string v;
    EXPECT_FALSE(readValue("WHERE", v));
    writeValue("WHERE", "second");
    setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    ASSERT_TRUE(readValue("WHERE", v));
    EXPECT_EQ(v, "first");
}

TEST_F(SettingsTest, ConcurrentWritersLoseNothing) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 25; ++i) writeValue("T" + std::to_string(t) + "_" + std::to_string(i), "v");
        });
    for (auto& th : threads) th.join();
    std::string v;
    for (int t = 0; t < 4; ++t)
        for (int i = 0; i < 25; ++i)
            EXPECT_TRUE(readValue("T" + std::to_string(t) + "_" + std::to_string(i), v)) << t << " " << i;
}
