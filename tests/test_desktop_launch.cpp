#include <gtest/gtest.h>

#include "core/CommandLine.h"

// What a file manager or a menu hands the program when a file is opened with it.
TEST(DesktopLaunch, PathWithSpacesIsOneFile) {
    const char* argv[] = {"kestrelwing", "/home/u/My Pictures/a picture.dpf"};
    const CommandLine cl = parseCommandLine(2, argv);
    EXPECT_EQ(cl.mode, CommandLine::Mode::Run);
    EXPECT_EQ(cl.file, "/home/u/My Pictures/a picture.dpf");
}

TEST(DesktopLaunch, FileUriBecomesItsPath) {
    const char* argv[] = {"kestrelwing", "file:///home/u/My%20Pictures/caf%C3%A9.kwf"};
    const CommandLine cl = parseCommandLine(2, argv);
    EXPECT_EQ(cl.mode, CommandLine::Mode::Run);
    EXPECT_EQ(cl.file, "/home/u/My Pictures/caf\xC3\xA9.kwf");
    const char* local[] = {"kestrelwing", "--", "file://localhost/tmp/a%23b.png"};
    EXPECT_EQ(parseCommandLine(3, local).file, "/tmp/a#b.png");
}

TEST(DesktopLaunch, OtherArgumentsStayAsGiven) {
    // Not a local file: the load fails later with its own message, naming it.
    const char* remote[] = {"kestrelwing", "http://example.org/a%20b.png"};
    EXPECT_EQ(parseCommandLine(2, remote).file, "http://example.org/a%20b.png");
    const char* otherHost[] = {"kestrelwing", "file://elsewhere/a.png"};
    EXPECT_EQ(parseCommandLine(2, otherHost).file, "file://elsewhere/a.png");
    // A relative name with a percent sign is a name, not an encoding.
    const char* percent[] = {"kestrelwing", "100%25.png"};
    EXPECT_EQ(parseCommandLine(2, percent).file, "100%25.png");
}
