// The program started by a file manager or a menu: the desktop entry passes
// the chosen file's absolute path (%f), spaces and all; a launcher that hands
// over URIs passes "file:///...%20...". Each opens the file.
#include <gtest/gtest.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "e2e/AppSession.h"
#include "TestPaths.h"

namespace fs = std::filesystem;

namespace {

// A folder and file name with spaces, as in a user's picture folder.
struct Fixtures {
    fs::path folder;
    fs::path png;
    Fixtures() {
        folder = fs::temp_directory_path() / ("kw e2e desktop " + std::to_string(::getpid()));
        fs::create_directories(folder);
        png = folder / "a blue picture.png";
        // Made by ImageMagick, not by our writer: one known colour.
        const std::string cmd = "convert -size 320x240 xc:'#3080c0' PNG24:'" + png.string() + "'";
        if (std::system(cmd.c_str()) != 0) png.clear();
        const fs::path corpus = fs::path(KW_SOURCE_DIR) / "tests/fuzz/corpus/process";
        fs::copy_file(corpus / "saved_every_action.seed", folder / "every action.dpf");
        fs::copy_file(corpus / "kwf_layer_index1.seed", folder / "three layers.kwf");
    }
    ~Fixtures() {
        std::error_code ec;
        fs::remove_all(folder, ec);
    }
};

bool near(const uint8_t* px, int r, int g, int b) {
    return std::abs(px[0] - r) <= 2 && std::abs(px[1] - g) <= 2 && std::abs(px[2] - b) <= 2;
}

// Starts the program with `argument`, waits for `message`, and returns the
// colour at the window's centre once the fit to window has ended.
void openAndCheck(const std::string& argument, const std::string& message, const std::string& shotName,
                  bool expectBlue) {
    AppSession app;
    ASSERT_TRUE(app.start({argument})) << app.output();
    ASSERT_TRUE(waitForOutput(app, message, 5000)) << argument << "\n" << app.output();
    EXPECT_EQ(app.output().find("unable to load"), std::string::npos) << app.output();
    app.moveMouse(5, 5);
    app.waitFrames(60); // the fit to window
    const Screenshot shot = app.screenshot();
    shot.savePng(artefactPath(shotName));
    const uint8_t* centre = shot.at(app.windowWidth() / 2, app.windowHeight() / 2);
    if (expectBlue) {
        EXPECT_TRUE(near(centre, 0x30, 0x80, 0xc0))
            << "centre " << int(centre[0]) << "," << int(centre[1]) << "," << int(centre[2]);
    }
}

std::string percentEncoded(const std::string& path) {
    std::string out;
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '/' || c == '.' || c == '-' || c == '_') {
            out += static_cast<char>(c);
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X", c);
            out += hex;
        }
    }
    return out;
}

} // namespace

TEST(DesktopLaunchE2E, FileManagerPathsOpenEachKind) {
    Fixtures f;
    ASSERT_FALSE(f.png.empty()) << "ImageMagick could not make the picture";
    // A blank start shows the grey new image, not the picture's blue.
    openAndCheck(f.png.string(), "image loaded", "desktop_launch_png.png", true);
    openAndCheck((f.folder / "every action.dpf").string(), "drawing process loaded", "desktop_launch_dpf.png", false);
    openAndCheck((f.folder / "three layers.kwf").string(), "image loaded", "desktop_launch_kwf.png", false);
}

TEST(DesktopLaunchE2E, FileUriOpensTheFile) {
    Fixtures f;
    ASSERT_FALSE(f.png.empty()) << "ImageMagick could not make the picture";
    const std::string uri = "file://" + percentEncoded(f.png.string());
    ASSERT_NE(uri.find("%20"), std::string::npos);
    openAndCheck(uri, "image loaded", "desktop_launch_uri.png", true);
}

// The class the desktop entry's StartupWMClass names, so a dock shows the
// program's icon for the window and groups its windows.
TEST(DesktopLaunchE2E, WindowCarriesTheProgramsClass) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    XClassHint hint{};
    ASSERT_NE(XGetClassHint(app.xDisplay(), app.windowId(), &hint), 0) << "the window has no WM_CLASS";
    EXPECT_STREQ(hint.res_name, "kestrelwing");
    EXPECT_STREQ(hint.res_class, "Kestrelwing");
    XFree(hint.res_name);
    XFree(hint.res_class);
}
