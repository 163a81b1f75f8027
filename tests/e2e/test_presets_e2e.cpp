// Brush presets and brush sets on the real binary: a damaged presets file in
// the user's folder leaves the program running and the file as it was, and a
// brush set in the user's brush folder is read at start-up.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "e2e/AppSession.h"
#include "tests/fuzz/AbrBytes.h"
#include "TestPaths.h"

namespace fs = std::filesystem;

namespace {

using testfiles::writeFile;
std::string slurp(const fs::path& p) { return testfiles::fileText(p); }

bool closeCleanly(AppSession& app) {
    app.sendCloseRequest();
    app.waitFrames(25);
    app.xdotool("key Return");
    return app.waitForExit(5000) == 0;
}

} // namespace

TEST(PresetsE2E, DamagedPresetsAndBrushSetLeaveTheProgramRunningAndTheFileAsItWas) {
    AppSession app;
    const fs::path user = fs::path(app.workFolder()) / "data" / "Kestrelwing";
    fs::create_directories(user / "brushes");
    // Cut off in the middle of a preset.
    const std::string damaged = "<?xml version=\"1.0\" standalone=\"no\" ?>\n<BRUSH_PRESETS version=\"1.0\">\n"
                                "    <PRESET name=\"Mine\" brush_name=\"chalk\" si";
    writeFile(user / "brush_presets.xml", damaged);
    // A set of two brushes whose second one claims more bytes than the file has.
    abrbytes::Bytes set = abrbytes::oldForm(1, {abrbytes::sampled(5, 5, 1, false), abrbytes::sampled(5, 5, 2, true)});
    set.resize(set.size() - 3);
    writeFile(user / "brushes" / "cut.abr", std::string(set.begin(), set.end()));

    ASSERT_TRUE(app.start()) << app.output();
    app.waitFrames(10);
    EXPECT_TRUE(app.running());
    const std::string out = app.output();
    EXPECT_NE(out.find("the factory presets are used and the file is left as it is"), std::string::npos) << out;
    EXPECT_NE(out.find("cut.abr\" is damaged"), std::string::npos) << out;
    EXPECT_NE(out.find("1 brushes read before it"), std::string::npos) << out;
    EXPECT_TRUE(closeCleanly(app)) << app.output();
    EXPECT_EQ(slurp(user / "brush_presets.xml"), damaged);
}

TEST(PresetsE2E, FirstStartGetsTheFactoryPresets) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    app.waitFrames(10);
    const fs::path user = fs::path(app.workFolder()) / "data" / "Kestrelwing" / "brush_presets.xml";
    EXPECT_EQ(slurp(user), slurp(fs::path(KW_SOURCE_DIR) / "data/brushes/brush_presets.xml"));
    EXPECT_EQ(app.output().find("Brush presets"), std::string::npos) << app.output();
    EXPECT_EQ(app.output().find("Factory brush presets"), std::string::npos) << app.output();
    EXPECT_TRUE(closeCleanly(app)) << app.output();
}
