#include <gtest/gtest.h>

#include "core/CommandLine.h"
#include "core/WindowPlacement.h"

TEST(WindowPlacement, NeverSavedIsCentredAndLimitedToScreen) {
    WindowPlacement p = placeWindow(-1, -1, 1024, 700, 1280, 1024);
    EXPECT_EQ(p.x, 128);
    EXPECT_EQ(p.y, 162);
    EXPECT_EQ(p.width, 1024);
    EXPECT_EQ(p.height, 700);
    p = placeWindow(-1, 5, 3000, 2000, 1920, 1080);
    EXPECT_EQ(p.width, 1920);
    EXPECT_EQ(p.height, 1080);
    EXPECT_EQ(p.x, 0);
    EXPECT_EQ(p.y, 0);
}

TEST(WindowPlacement, SavedValuesStandUnchecked) {
    // A position of 0 or above is taken as it is, even a size beyond the screen.
    WindowPlacement p = placeWindow(0, 0, 3000, 2000, 1280, 1024);
    EXPECT_EQ(p.x, 0);
    EXPECT_EQ(p.y, 0);
    EXPECT_EQ(p.width, 3000);
    EXPECT_EQ(p.height, 2000);
    p = placeWindow(5000, 40, 800, 600, 1280, 1024);
    EXPECT_EQ(p.x, 5000);
}

TEST(WindowPlacement, StartCanvasLimitedPerSide) {
    CanvasSize s = limitStartCanvas(20000, 600, true, 16384);
    EXPECT_EQ(s.width, 8192);
    EXPECT_EQ(s.height, 600);
    s = limitStartCanvas(1024, 768, false, 0);
    EXPECT_EQ(s.width, 512);
    EXPECT_EQ(s.height, 512);
    s = limitStartCanvas(1024, 768, true, 16384);
    EXPECT_EQ(s.width, 1024);
    EXPECT_EQ(s.height, 768);
}

TEST(CommandLine, Forms) {
    const char* none[] = {"kestrelwing"};
    EXPECT_EQ(parseCommandLine(1, none).mode, CommandLine::Mode::Run);
    EXPECT_TRUE(parseCommandLine(1, none).file.empty());

    const char* file[] = {"kestrelwing", "my picture.png"};
    CommandLine cl = parseCommandLine(2, file);
    EXPECT_EQ(cl.mode, CommandLine::Mode::Run);
    EXPECT_EQ(cl.file, "my picture.png");

    const char* version[] = {"kestrelwing", "--version"};
    EXPECT_EQ(parseCommandLine(2, version).mode, CommandLine::Mode::Version);
    const char* help[] = {"kestrelwing", "x.png", "--help"};
    EXPECT_EQ(parseCommandLine(3, help).mode, CommandLine::Mode::Help);

    const char* bad[] = {"kestrelwing", "--frobnicate"};
    cl = parseCommandLine(2, bad);
    EXPECT_EQ(cl.mode, CommandLine::Mode::Error);
    EXPECT_NE(cl.error.find("--frobnicate"), std::string::npos);

    const char* two[] = {"kestrelwing", "a.png", "b.png"};
    EXPECT_EQ(parseCommandLine(3, two).mode, CommandLine::Mode::Error);

    // A file whose name begins with a dash comes after "--".
    const char* dashed[] = {"kestrelwing", "--", "-odd.png"};
    cl = parseCommandLine(3, dashed);
    EXPECT_EQ(cl.mode, CommandLine::Mode::Run);
    EXPECT_EQ(cl.file, "-odd.png");
}
