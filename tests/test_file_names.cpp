#include <gtest/gtest.h>

#include <set>

#include "core/FileNames.h"

namespace {
FileExists in(std::set<std::string> files) {
    return [files](const std::string& p) { return files.count(p) != 0; };
}
} // namespace

TEST(FileNames, NumberedSeries) {
    EXPECT_EQ(nextFreeName("/d/a.png", in({})), "/d/a.png");
    EXPECT_EQ(nextFreeName("/d/a.png", in({"/d/a.png"})), "/d/a_1.png");
    EXPECT_EQ(nextFreeName("/d/a.png", in({"/d/a.png", "/d/a_1.png", "/d/a_2.png"})), "/d/a_3.png");
    // A gap ends the walk: the series is read from the start.
    EXPECT_EQ(nextFreeName("/d/a.png", in({"/d/a.png", "/d/a_2.png"})), "/d/a_1.png");
    EXPECT_EQ(lastExistingName("/d/a.png", in({})), "/d/a.png");
    EXPECT_EQ(lastExistingName("/d/a.png", in({"/d/a.png"})), "/d/a.png");
    EXPECT_EQ(lastExistingName("/d/a.png", in({"/d/a.png", "/d/a_1.png", "/d/a_2.png"})), "/d/a_2.png");
    // Names without an extension and with dots in folders.
    EXPECT_EQ(nextFreeName("/d.x/name", in({"/d.x/name"})), "/d.x/name_1");
}

TEST(FileNames, AutosaveTargetAfterCleanAndCrashedRuns) {
    auto files = in({"/tmp/KW_AUTOSAVE.dpf", "/tmp/KW_AUTOSAVE_1.dpf"});
    EXPECT_EQ(autosaveTarget("/tmp", true, files), "/tmp/KW_AUTOSAVE_1.dpf");
    EXPECT_EQ(autosaveTarget("/tmp", false, files), "/tmp/KW_AUTOSAVE_2.dpf");
    EXPECT_EQ(autosaveTarget("/tmp", true, in({})), "/tmp/KW_AUTOSAVE.dpf");
}
