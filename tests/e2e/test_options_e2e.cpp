// What the program keeps between runs, on the real binary: the window's
// place and maximised state under a real window manager, and the autosave
// that survives a SIGKILL.
#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "e2e/AppSession.h"
#include "io/BinaryStream.h"
#include "io/DrawingProcess.h"
#include "io/ImageCodec.h"
#include "TestPaths.h"

namespace fs = std::filesystem;

namespace {

void sleepFor(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

std::string slurp(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

std::string runCommand(const std::string& command) {
    std::string out;
    if (FILE* p = popen(command.c_str(), "r")) {
        char buf[512];
        while (fgets(buf, sizeof buf, p)) out += buf;
        pclose(p);
    }
    return out;
}

// Under a manager a window of the last run may vanish between the look-up
// and the next request: such errors are expected here, not fatal.
int ignoreXError(Display*, XErrorEvent*) { return 0; }

// A private X server with openbox managing it; DISPLAY points at it while
// the object lives. ok() is false when it could not be started.
class ManagedDisplay {
public:
    ManagedDisplay() {
        previousHandler_ = XSetErrorHandler(ignoreXError);
        if (std::system("command -v openbox >/dev/null 2>&1 && command -v Xvfb >/dev/null 2>&1") != 0) return;
        int fds[2];
        if (pipe(fds) != 0) return;
        xvfb_ = fork();
        if (xvfb_ == 0) {
            close(fds[0]);
            const std::string fd = std::to_string(fds[1]);
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp",
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        // Xvfb writes the number and the line feed in two writes: read up to
        // the line feed, or a closed pipe makes the second write kill it.
        char buf[32] = {};
        std::size_t n = 0;
        while (n < sizeof buf - 1 && (n == 0 || buf[n - 1] != '\n')) {
            const ssize_t got = read(fds[0], buf + n, sizeof buf - 1 - n);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) break;
            n += static_cast<std::size_t>(got);
        }
        close(fds[0]);
        if (n == 0 || buf[n - 1] != '\n') return;
        name_ = ":" + std::to_string(std::atoi(buf));
        const char* old = std::getenv("DISPLAY");
        if (old) oldDisplay_ = old;
        setenv("DISPLAY", name_.c_str(), 1);
        wm_ = fork();
        if (wm_ == 0) {
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, 1);
            dup2(null, 2);
            execlp("openbox", "openbox", "--sm-disable", static_cast<char*>(nullptr));
            _exit(127);
        }
        ready_ = waitForManager();
    }
    ~ManagedDisplay() {
        XSetErrorHandler(previousHandler_);
        for (pid_t p : {wm_, xvfb_})
            if (p > 0) {
                ::kill(p, SIGTERM);
                waitpid(p, nullptr, 0);
            }
        if (!name_.empty()) {
            if (oldDisplay_.empty()) unsetenv("DISPLAY");
            else setenv("DISPLAY", oldDisplay_.c_str(), 1);
        }
    }
    bool ok() const { return ready_; }

private:
    // The manager announces itself with _NET_SUPPORTING_WM_CHECK on the root.
    bool waitForManager() {
        Display* d = XOpenDisplay(name_.c_str());
        if (!d) return false;
        const Atom check = XInternAtom(d, "_NET_SUPPORTING_WM_CHECK", False);
        bool found = false;
        for (int i = 0; i < 200 && !found; ++i) {
            Atom type;
            int format;
            unsigned long count, after;
            unsigned char* data = nullptr;
            if (XGetWindowProperty(d, DefaultRootWindow(d), check, 0, 1, False, XA_WINDOW, &type, &format, &count,
                                   &after, &data) == Success &&
                count == 1)
                found = true;
            if (data) XFree(data);
            if (!found) sleepFor(50);
        }
        XCloseDisplay(d);
        sleepFor(300);
        return found;
    }

    int (*previousHandler_)(Display*, XErrorEvent*) = nullptr;
    pid_t xvfb_ = -1, wm_ = -1;
    std::string name_, oldDisplay_;
    bool ready_ = false;
};

struct Geometry {
    int x = 0, y = 0, width = 0, height = 0;
};

// What xdotool reports for the window: the client area's corner and size.
bool windowGeometry(Window id, Geometry& g) {
    const std::string out = runCommand("xdotool getwindowgeometry " + std::to_string(id));
    std::smatch m;
    if (!std::regex_search(out, m, std::regex(R"(Position: (-?\d+),(-?\d+))"))) return false;
    g.x = std::stoi(m[1]);
    g.y = std::stoi(m[2]);
    if (!std::regex_search(out, m, std::regex(R"(Geometry: (\d+)x(\d+))"))) return false;
    g.width = std::stoi(m[1]);
    g.height = std::stoi(m[2]);
    return true;
}

std::string settingOf(const AppSession& app, const std::string& name) {
    const std::string text = slurp(fs::path(app.settingsFolder()) / "Kestrelwing" / "settings.ini");
    std::smatch m;
    if (std::regex_search(text, m, std::regex("\n" + name + "=([^\n]*)"))) return m[1];
    return "<missing>";
}

// The exit through the close button and the "Exit?" box.
bool closeCleanly(AppSession& app) {
    app.sendCloseRequest();
    app.waitFrames(25);
    app.xdotool("key Return");
    return app.waitForExit(5000) == 0;
}

bool hasNetState(Window id, const char* state) {
    Display* d = XOpenDisplay(nullptr);
    if (!d) return false;
    const Atom wmState = XInternAtom(d, "_NET_WM_STATE", False), wanted = XInternAtom(d, state, False);
    Atom type;
    int format;
    unsigned long count = 0, after;
    unsigned char* data = nullptr;
    bool found = false;
    if (XGetWindowProperty(d, id, wmState, 0, 32, False, XA_ATOM, &type, &format, &count, &after, &data) == Success &&
        data) {
        const long* atoms = reinterpret_cast<const long*>(data);
        for (unsigned long i = 0; i < count; ++i) found = found || static_cast<Atom>(atoms[i]) == wanted;
    }
    if (data) XFree(data);
    XCloseDisplay(d);
    return found;
}

// Asks the manager to maximise the window, as its title bar button would.
void maximise(Window id) {
    Display* d = XOpenDisplay(nullptr);
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = id;
    ev.xclient.message_type = XInternAtom(d, "_NET_WM_STATE", False);
    ev.xclient.format = 32;
    ev.xclient.data.l[0] = 1;
    ev.xclient.data.l[1] = static_cast<long>(XInternAtom(d, "_NET_WM_STATE_MAXIMIZED_VERT", False));
    ev.xclient.data.l[2] = static_cast<long>(XInternAtom(d, "_NET_WM_STATE_MAXIMIZED_HORZ", False));
    ev.xclient.data.l[3] = 1;
    XSendEvent(d, DefaultRootWindow(d), False, SubstructureRedirectMask | SubstructureNotifyMask, &ev);
    XCloseDisplay(d);
}

} // namespace

TEST(OptionsE2E, WindowKeepsItsPlaceAcrossRestartsUnderAWindowManager) {
    ManagedDisplay wm;
    ASSERT_TRUE(wm.ok()) << "no private X server with openbox (scripts/deps.sh installs both)";
    AppSession app;
    // The first run: centred by the program, then moved by the user.
    ASSERT_TRUE(app.start()) << app.output();
    app.xdotool("windowmove " + std::to_string(app.windowId()) + " 130 90");
    sleepFor(500);
    Geometry first;
    ASSERT_TRUE(windowGeometry(app.windowId(), first));
    app.waitFrames(60); // the placement is observed once a second
    ASSERT_TRUE(closeCleanly(app)) << app.output();
    const std::string storedPos = settingOf(app, "APP_WINDOW_POS");
    for (int run = 0; run < 3; ++run) {
        ASSERT_TRUE(app.start()) << app.output();
        Geometry now;
        ASSERT_TRUE(windowGeometry(app.windowId(), now));
        EXPECT_EQ(now.x, first.x) << "run " << run << ": the window moved";
        EXPECT_EQ(now.y, first.y) << "run " << run << ": the window moved";
        EXPECT_EQ(now.width, first.width) << "run " << run;
        EXPECT_EQ(now.height, first.height) << "run " << run;
        ASSERT_TRUE(closeCleanly(app)) << app.output();
        EXPECT_EQ(settingOf(app, "APP_WINDOW_POS"), storedPos) << "run " << run;
    }
    EXPECT_EQ(settingOf(app, "APP_WINDOW_SIZE"), std::to_string(first.width) + "," + std::to_string(first.height));
}

TEST(OptionsE2E, MaximisedStateIsRestoredAndTheNormalSizeKept) {
    ManagedDisplay wm;
    ASSERT_TRUE(wm.ok()) << "no private X server with openbox (scripts/deps.sh installs both)";
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    Geometry normal;
    ASSERT_TRUE(windowGeometry(app.windowId(), normal));
    app.waitFrames(60);
    maximise(app.windowId());
    sleepFor(1500);
    ASSERT_TRUE(hasNetState(app.windowId(), "_NET_WM_STATE_MAXIMIZED_VERT"));
    Geometry big;
    ASSERT_TRUE(windowGeometry(app.windowId(), big));
    ASSERT_GT(big.width, normal.width);
    ASSERT_TRUE(closeCleanly(app)) << app.output();
    EXPECT_EQ(settingOf(app, "APP_WINDOW_MAXIMIZED"), "1");
    // The size to go back to, not the maximised one.
    EXPECT_EQ(settingOf(app, "APP_WINDOW_SIZE"), std::to_string(normal.width) + "," + std::to_string(normal.height));

    ASSERT_TRUE(app.start()) << app.output();
    bool maximised = false;
    for (int i = 0; i < 60 && !maximised; ++i) {
        maximised = hasNetState(app.windowId(), "_NET_WM_STATE_MAXIMIZED_VERT") &&
                    hasNetState(app.windowId(), "_NET_WM_STATE_MAXIMIZED_HORZ");
        if (!maximised) sleepFor(100);
    }
    EXPECT_TRUE(maximised) << "the window did not come back maximised";
    ASSERT_TRUE(closeCleanly(app)) << app.output();
    EXPECT_EQ(settingOf(app, "APP_WINDOW_MAXIMIZED"), "1");
    EXPECT_EQ(settingOf(app, "APP_WINDOW_SIZE"), std::to_string(normal.width) + "," + std::to_string(normal.height));
}

TEST(OptionsE2E, AutosaveOnDiskAfterSigkillHoldsTheLastSnapshot) {
    AppSession app;
    ASSERT_TRUE(app.start()) << app.output();
    const fs::path autosave = fs::path(app.tempFolder()) / "KW_AUTOSAVE.dpf";
    // The new picture's grey fill is the first action, so the 30th stroke is
    // the 31st action: it fills snapshot slot 1 with the picture of the first
    // 30 (the fill and 29 strokes), which starts the autosave; the strokes
    // from the 30th on are not in the file.
    const int w = app.windowWidth(), h = app.windowHeight();
    for (int i = 0; i < 34; ++i) {
        const int y = h / 4 + (i * (h / 2)) / 34;
        app.drag({{w / 4, y}, {w / 2, y + 5}, {3 * w / 4, y}}, 10);
        app.waitFrames(3);
        if (i == 28) {
            EXPECT_FALSE(fs::exists(autosave)) << "an autosave before slot 1 was filled";
        }
    }
    bool written = false;
    for (int i = 0; i < 100 && !written; ++i) {
        written = fs::exists(autosave) && fs::file_size(autosave) > 40;
        if (!written) sleepFor(100);
    }
    ASSERT_TRUE(written) << app.output();
    app.killNow();
    ASSERT_FALSE(app.running());

    // The file loads, holds the 30 actions of the snapshot and their picture.
    std::vector<uint8_t> bytes;
    std::string error;
    ASSERT_TRUE(io::readWholeFile(autosave.string(), bytes, error)) << error;
    const fs::path out = fs::path(app.tempFolder());
    const std::string bin = KW_BINARY;
    const std::string info = runCommand("env -u DISPLAY " + bin + " --info " + autosave.string() + " 2>&1");
    EXPECT_NE(info.find("actions: 30"), std::string::npos) << info;
    ASSERT_EQ(testfiles::runProgram("--render " + autosave.string() + " " + (out / "stored.png").string()).exitCode, 0);
    ASSERT_EQ(testfiles::runProgram("--render --replay " + autosave.string() + " " +
                           (out / "replayed.png").string()).exitCode,
              0);
    const DecodedImage stored = decodeImage((out / "stored.png").string(), DecodeLimits{});
    const DecodedImage replayed = decodeImage((out / "replayed.png").string(), DecodeLimits{});
    ASSERT_TRUE(stored.ok());
    ASSERT_TRUE(replayed.ok());
    EXPECT_TRUE(stored.pixels == replayed.pixels) << "the stored picture is not that of the stored strokes";
    // Black strokes on the grey of a new picture.
    int painted = 0;
    for (std::size_t i = 0; i + 3 < stored.pixels.size(); i += 4) painted += stored.pixels[i] < 100;
    EXPECT_GT(painted, 29 * 100) << "the strokes are not in the picture";
}
