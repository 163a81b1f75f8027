#include <gtest/gtest.h>

#include "platform/Paths.h"
#include "TestPaths.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using namespace platform;

namespace {

// Sets an environment variable for the life of the object.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name(name) {
        const char* old = std::getenv(name);
        had = old != nullptr;
        if (old) oldValue = old;
        if (value) setenv(name, value, 1);
        else unsetenv(name);
    }
    ~ScopedEnv() {
        if (had) setenv(name, oldValue.c_str(), 1);
        else unsetenv(name);
    }

private:
    const char* name;
    std::string oldValue;
    bool had = false;
};

std::string makeTempDir() {
    char tmpl[] = "/tmp/kw_paths_XXXXXX";
    return mkdtemp(tmpl) ? tmpl : "";
}

void touch(const fs::path& p) { std::ofstream(p) << "x"; }

} // namespace

TEST(Paths, ExeDirIsTheTestBinaryFolderWhateverTheWorkingDirectory) {
    std::string dir = exeDir();
    ASSERT_FALSE(dir.empty());
    EXPECT_EQ(dir[0], '/');
    EXPECT_NE(dir.back(), '/');
    EXPECT_TRUE(fs::exists(fs::path(dir) / "kestrelwing_tests"));
    fs::path old = fs::current_path();
    fs::current_path("/");
    EXPECT_EQ(exeDir(), dir);
    EXPECT_EQ(dataDir(), fs::path(dir).parent_path().string() + "/data");
    fs::current_path(old);
}

TEST(Paths, DataAndLanguageFoldersAreNormalisedSiblingsOfTheExeFolder) {
    std::string parent = fs::path(exeDir()).parent_path().string();
    EXPECT_EQ(dataDir(), parent + "/data");
    EXPECT_EQ(languagesDir(), parent + "/languages");
    EXPECT_EQ(dataDir().find(".."), std::string::npos);
    // The build copies the data folder next to bin/.
    EXPECT_EQ(fs::weakly_canonical(dataDir()), fs::weakly_canonical(KW_TEST_DATA_DIR));
}

TEST(Paths, InstalledTreeKeepsTheRunTimeFilesUnderShare) {
    const std::string prefix = makeTempDir();
    ASSERT_FALSE(prefix.empty());
    fs::create_directories(fs::path(prefix) / "bin");
    // No share/kestrelwing/data yet: the build-tree form, beside bin/.
    EXPECT_EQ(resourceDirFor(prefix + "/bin"), prefix);
    // share/kestrelwing alone is not enough: the data folder decides.
    fs::create_directories(fs::path(prefix) / "share/kestrelwing/languages");
    EXPECT_EQ(resourceDirFor(prefix + "/bin"), prefix);
    fs::create_directories(fs::path(prefix) / "share/kestrelwing/data");
    EXPECT_EQ(resourceDirFor(prefix + "/bin"), prefix + "/share/kestrelwing");
    EXPECT_EQ(resourceDirFor(prefix + "/bin/"), prefix + "/share/kestrelwing");
    fs::remove_all(prefix);
}

TEST(Paths, UserDataDirFollowsXdgDataHome) {
    {
        ScopedEnv env("XDG_DATA_HOME", "/some/where//");
        EXPECT_EQ(userDataDir(), "/some/where/Kestrelwing");
    }
    ScopedEnv home("HOME", "/home/tester");
    {
        ScopedEnv env("XDG_DATA_HOME", nullptr);
        EXPECT_EQ(userDataDir(), "/home/tester/.local/share/Kestrelwing");
    }
    ScopedEnv env("XDG_DATA_HOME", "not/absolute");
    EXPECT_EQ(userDataDir(), "/home/tester/.local/share/Kestrelwing");
}

TEST(Paths, TempDirFollowsTmpdir) {
    std::string tmp = makeTempDir();
    {
        ScopedEnv env("TMPDIR", tmp.c_str());
        EXPECT_EQ(tempDir(), tmp);
    }
    ScopedEnv env("TMPDIR", nullptr);
    EXPECT_EQ(tempDir(), "/tmp");
    fs::remove_all(tmp);
}

TEST(Paths, ParseUserDirs) {
    const std::string text =
        "# This file is written by xdg-user-dirs-update\n"
        "XDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
        "  XDG_DOCUMENTS_DIR=\"$HOME/My Documents\"\r\n"
        "XDG_MUSIC_DIR=\"/srv/music\"\n"
        "XDG_VIDEOS_DIR=\"relative\"\n";
    EXPECT_EQ(parseUserDirs(text, "XDG_DOCUMENTS_DIR", "/home/u"), "/home/u/My Documents");
    EXPECT_EQ(parseUserDirs(text, "XDG_MUSIC_DIR", "/home/u"), "/srv/music");
    EXPECT_EQ(parseUserDirs(text, "XDG_VIDEOS_DIR", "/home/u"), "");
    EXPECT_EQ(parseUserDirs(text, "XDG_PICTURES_DIR", "/home/u"), "");
    EXPECT_EQ(parseUserDirs("XDG_DOCUMENTS_DIR=\"$HOME/a\"\nXDG_DOCUMENTS_DIR=\"$HOME/b\"\n",
                            "XDG_DOCUMENTS_DIR", "/h"),
              "/h/b");
    EXPECT_EQ(parseUserDirs("", "XDG_DOCUMENTS_DIR", "/h"), "");
}

TEST(Paths, DocumentsDirUsesTheUsersConfiguredFolder) {
    std::string home = makeTempDir();
    ScopedEnv envHome("HOME", home.c_str());
    ScopedEnv envConfig("XDG_CONFIG_HOME", (home + "/.config").c_str());
    // Nothing configured: the home folder.
    EXPECT_EQ(documentsDir(), home);
    fs::create_directories(home + "/.config");
    std::ofstream(home + "/.config/user-dirs.dirs") << "XDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n";
    // Configured but missing folders are not offered.
    EXPECT_EQ(documentsDir(), home);
    fs::create_directories(home + "/Papers");
    EXPECT_EQ(documentsDir(), home + "/Papers");
    fs::remove_all(home);
}

TEST(Paths, WildcardMatchIgnoresCase) {
    EXPECT_TRUE(wildcardMatch("*.png", "round.PNG"));
    EXPECT_TRUE(wildcardMatch("*.PNG", "round.png"));
    EXPECT_TRUE(wildcardMatch("*.png", "a.b.png"));
    EXPECT_FALSE(wildcardMatch("*.png", "round.png.txt"));
    EXPECT_FALSE(wildcardMatch("*.png", "roundpng"));
    EXPECT_TRUE(wildcardMatch("localization_???.txt", "localization_DEU.TXT"));
    EXPECT_FALSE(wildcardMatch("localization_???.txt", "localization_DE.txt"));
    EXPECT_FALSE(wildcardMatch("localization_???.txt", "localization_DEUT.txt"));
    EXPECT_TRUE(wildcardMatch("*", ""));
    EXPECT_TRUE(wildcardMatch("a*b*c", "aXXbYYbc"));
    EXPECT_FALSE(wildcardMatch("a*b*c", "aXXbYYbcd"));
}

TEST(Paths, ListFilesIsSortedAndCaseInsensitive) {
    std::string dir = makeTempDir();
    for (const char* name : {"rake.png", "Flat.PNG", "round.Png", "leaf.png.bak", "grass.txt", "B.png", "b.png",
                             "a.png"})
        touch(fs::path(dir) / name);
    fs::create_directory(fs::path(dir) / "folder.png"); // folders are not listed
    fs::create_symlink(fs::path(dir) / "rake.png", fs::path(dir) / "zlink.png");
    fs::create_symlink(fs::path(dir) / "missing", fs::path(dir) / "broken.png");
    std::vector<std::string> expected = {"a.png", "B.png", "b.png", "Flat.PNG", "rake.png", "round.Png", "zlink.png"};
    EXPECT_EQ(listFiles(dir, ".png"), expected);
    EXPECT_EQ(listFiles(dir, "PNG"), expected);
    EXPECT_EQ(listFilesMatching(dir, "*.TXT"), std::vector<std::string>{"grass.txt"});
    EXPECT_EQ(listFiles(dir, "").size(), 9u);
    fs::remove_all(dir);
}

TEST(Paths, ListingAMissingFolderIsEmpty) {
    EXPECT_TRUE(listFiles("/nonexistent/kestrelwing/folder", ".png").empty());
    EXPECT_TRUE(listFiles("", ".png").empty());
}

TEST(Paths, LessNoCaseIsAStrictOrder) {
    EXPECT_TRUE(lessNoCase("apple", "Banana"));
    EXPECT_TRUE(lessNoCase("B", "b"));
    EXPECT_FALSE(lessNoCase("b", "B"));
    EXPECT_FALSE(lessNoCase("a", "a"));
    EXPECT_TRUE(lessNoCase("ab", "ABC"));
    // '_' sorts after letters once they are upper-cased, as on NTFS.
    EXPECT_TRUE(lessNoCase("zeta", "_a"));
}
