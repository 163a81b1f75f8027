#include "e2e/AppSession.h"
#include "TestPaths.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <png.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace {
void sleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Sanitizer builds run the program several times slower; their ctest entry
// sets KW_E2E_TIME_SCALE so that waits for frames, output and exits stretch.
int timeScale() {
    const char* s = std::getenv("KW_E2E_TIME_SCALE");
    const int n = s ? std::atoi(s) : 1;
    return n < 1 ? 1 : n > 20 ? 20 : n;
}
int scaled(int ms) { return ms * timeScale(); }

std::string windowName(Display* d, Window w) {
    char* name = nullptr;
    std::string result;
    if (XFetchName(d, w, &name) && name) {
        result = name;
        XFree(name);
    }
    return result;
}

// A colour the program never draws. The root window is painted with it, so
// a new window (no background of its own) shows it until the first frame.
constexpr unsigned long kUndrawnPixel = 0xFD01FB;

void paintRootUndrawn(Display* d) {
    const Window root = DefaultRootWindow(d);
    XSetWindowBackground(d, root, kUndrawnPixel);
    XClearWindow(d, root);
    XSync(d, False);
}

// Depth-first search for viewable windows whose title names the program.
void findByTitle(Display* d, Window root, std::vector<Window>& out) {
    Window rootRet, parent, *children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(d, root, &rootRet, &parent, &children, &count)) return;
    for (unsigned i = 0; i < count; ++i) {
        XWindowAttributes attrs;
        if (XGetWindowAttributes(d, children[i], &attrs) && attrs.map_state == IsViewable &&
            windowName(d, children[i]).find("Kestrelwing") != std::string::npos)
            out.push_back(children[i]);
        findByTitle(d, children[i], out);
    }
    if (children) XFree(children);
}
} // namespace

std::string artefactPath(const std::string& name) {
    fs::create_directories(KW_ARTEFACT_DIR);
    return std::string(KW_ARTEFACT_DIR) + "/" + name;
}

bool Screenshot::savePng(const std::string& path) const {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(f);
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y)
        png_write_row(png, const_cast<png_bytep>(&rgb[static_cast<size_t>(y) * width * 3]));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(f);
    return true;
}

AppSession::AppSession() {
    char tmpl[] = "/tmp/kw-e2e-XXXXXX";
    workDir = mkdtemp(tmpl);
    configDir = workDir + "/config";
    fs::create_directories(configDir);
    fs::create_directories(workDir + "/tmp");
    logPath = workDir + "/output.txt";
    display = XOpenDisplay(nullptr);
}

AppSession::~AppSession() {
    kill();
    if (display) XCloseDisplay(display);
    std::error_code ec;
    fs::remove_all(workDir, ec);
}

bool AppSession::start(const std::vector<std::string>& args, int timeoutMs) {
    if (!display) return false;
    // Other tests of this run may have windows of the same title open.
    existingWindows.clear();
    findByTitle(display, DefaultRootWindow(display), existingWindows);
    paintRootUndrawn(display);
    pid = fork();
    if (pid == 0) {
        setenv("XDG_CONFIG_HOME", configDir.c_str(), 1);
        setenv("XDG_DATA_HOME", (workDir + "/data").c_str(), 1);
        setenv("HOME", workDir.c_str(), 1);
        setenv("TMPDIR", (workDir + "/tmp").c_str(), 1);
        setenv("KESTRELWING_FRAME_PROPERTY", "1", 1);
        for (const auto& [name, value] : extraEnv) setenv(name.c_str(), value.c_str(), 1);
        int fd = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(fd, 1);
        dup2(fd, 2);
        std::vector<char*> argv;
        std::string bin = KW_BINARY;
        argv.push_back(bin.data());
        std::vector<std::string> copy = args;
        for (auto& a : copy) argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(bin.c_str(), argv.data());
        _exit(127);
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(scaled(timeoutMs));
    while (std::chrono::steady_clock::now() < deadline) {
        if (!running()) return false;
        if (findWindow() && firstFrameShown()) {
            waitFrames(15);
            // Mouse events stay closed for the first 500 ms of pointer motion
            // after launch (the settling time that keeps mouse and pen apart):
            // open them the way a hand would, by moving for a while.
            for (int i = 0; i < 8; ++i) {
                moveMouse(1 + i, 1);
                sleepMs(scaled(80));
            }
            return true;
        }
        sleepMs(50);
    }
    return false;
}

bool AppSession::findWindow() {
    std::vector<Window> all;
    findByTitle(display, DefaultRootWindow(display), all);
    window = 0;
    for (Window w : all)
        if (std::find(existingWindows.begin(), existingWindows.end(), w) == existingWindows.end()) window = w;
    if (!window) return false;
    XWindowAttributes attrs;
    XGetWindowAttributes(display, window, &attrs);
    Window child;
    XTranslateCoordinates(display, window, DefaultRootWindow(display), 0, 0, &winX, &winY, &child);
    winW = attrs.width;
    winH = attrs.height;
    return true;
}

// The program has drawn when no sampled pixel of its window shows the root's colour.
bool AppSession::firstFrameShown() {
    XImage* img = XGetImage(display, window, 0, 0, static_cast<unsigned>(winW), static_cast<unsigned>(winH),
                            AllPlanes, ZPixmap);
    if (!img) return false;
    bool drawn = true;
    for (int y = 0; y < winH && drawn; y += 16)
        for (int x = 0; x < winW && drawn; x += 16)
            drawn = (XGetPixel(img, x, y) & 0xFFFFFF) != kUndrawnPixel;
    XDestroyImage(img);
    return drawn;
}

void AppSession::moveMouse(int x, int y) {
    std::ostringstream cmd;
    cmd << "xdotool mousemove " << winX + x << " " << winY + y;
    if (std::system(cmd.str().c_str()) != 0) std::fprintf(stderr, "xdotool failed: %s\n", cmd.str().c_str());
}

void AppSession::xdotool(const std::string& args) {
    const std::string cmd = "xdotool " + args;
    if (std::system(cmd.c_str()) != 0) std::fprintf(stderr, "xdotool failed: %s\n", cmd.c_str());
}

void AppSession::drag(const std::vector<std::pair<int, int>>& points, int stepDelayMs) {
    if (points.empty()) return;
    moveMouse(points[0].first, points[0].second);
    sleepMs(scaled(40));
    xdotool("mousedown 1");
    sleepMs(scaled(40));
    for (size_t i = 1; i < points.size(); ++i) {
        moveMouse(points[i].first, points[i].second);
        sleepMs(stepDelayMs);
    }
    sleepMs(scaled(40));
    xdotool("mouseup 1");
}

namespace {
int ignoreXError(Display*, XErrorEvent*) { return 0; }
} // namespace

long AppSession::framesDrawn() {
    if (!display || !window) return -1;
    // The window may be gone (the program closed or crashed): that is no
    // count, not a fatal X error in the test.
    XSync(display, False);
    const auto previous = XSetErrorHandler(ignoreXError);
    const Atom property = XInternAtom(display, "_KESTRELWING_FRAMES", False);
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    long frames = -1;
    if (XGetWindowProperty(display, window, property, 0, 1, False, XA_CARDINAL, &type, &format, &count, &after,
                           &data) == Success &&
        data && format == 32 && count == 1)
        frames = *reinterpret_cast<long*>(data);
    if (data) XFree(data);
    XSync(display, False);
    XSetErrorHandler(previous);
    return frames;
}

void AppSession::waitFrames(int frames) {
    // Frames the program really drew: one more than asked, so that events
    // sent before the call were read before the last of them began. A program
    // that publishes no count (or stops drawing) gets the old sleep.
    const long start = framesDrawn();
    if (start < 0) {
        sleepMs(scaled(frames * 20 + 50));
        return;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(scaled(frames * 200 + 2000));
    while (std::chrono::steady_clock::now() < deadline) {
        const long now = framesDrawn();
        if (now < 0 || now >= start + frames + 1) return;
        sleepMs(5);
    }
}

Screenshot AppSession::screenshotWhen(const std::function<bool(const Screenshot&)>& ready, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(scaled(timeoutMs));
    Screenshot shot = screenshot();
    while (!ready(shot) && std::chrono::steady_clock::now() < deadline) {
        waitFrames(3);
        shot = screenshot();
    }
    return shot;
}

Screenshot AppSession::screenshot() {
    Screenshot shot;
    XWindowAttributes attrs;
    XGetWindowAttributes(display, window, &attrs);
    XImage* img = XGetImage(display, window, 0, 0, static_cast<unsigned>(attrs.width),
                            static_cast<unsigned>(attrs.height), AllPlanes, ZPixmap);
    if (!img) return shot;
    shot.width = attrs.width;
    shot.height = attrs.height;
    shot.rgb.resize(static_cast<size_t>(shot.width) * shot.height * 3);
    for (int y = 0; y < shot.height; ++y)
        for (int x = 0; x < shot.width; ++x) {
            const unsigned long p = XGetPixel(img, x, y);
            uint8_t* o = &shot.rgb[(static_cast<size_t>(y) * shot.width + x) * 3];
            o[0] = static_cast<uint8_t>((p & img->red_mask) >> __builtin_ctzl(img->red_mask));
            o[1] = static_cast<uint8_t>((p & img->green_mask) >> __builtin_ctzl(img->green_mask));
            o[2] = static_cast<uint8_t>((p & img->blue_mask) >> __builtin_ctzl(img->blue_mask));
        }
    XDestroyImage(img);
    return shot;
}

bool AppSession::resizeWindow(int width, int height) {
    XResizeWindow(display, window, static_cast<unsigned>(width), static_cast<unsigned>(height));
    XFlush(display);
    for (int i = 0; i < 100; ++i) {
        XWindowAttributes attrs;
        XGetWindowAttributes(display, window, &attrs);
        if (attrs.width == width && attrs.height == height) {
            winW = width;
            winH = height;
            waitFrames(10);
            return true;
        }
        sleepMs(20);
    }
    return false;
}

void AppSession::sendCloseRequest() {
    XEvent ev{};
    ev.xclient.type = ClientMessage;
    ev.xclient.window = window;
    ev.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
    ev.xclient.format = 32;
    ev.xclient.data.l[0] = static_cast<long>(XInternAtom(display, "WM_DELETE_WINDOW", False));
    ev.xclient.data.l[1] = CurrentTime;
    XSendEvent(display, window, False, NoEventMask, &ev);
    XFlush(display);
}

std::string AppSession::title() { return window ? windowName(display, window) : std::string(); }

bool AppSession::running() {
    if (pid <= 0) return false;
    int status = 0;
    const pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == 0) return true;
    if (r == pid) exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    pid = -1;
    return false;
}

int AppSession::waitForExit(int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(scaled(timeoutMs));
    while (std::chrono::steady_clock::now() < deadline) {
        if (!running()) return exitCode;
        sleepMs(10);
    }
    return -1;
}

void AppSession::kill() {
    if (pid > 0 && running()) {
        ::kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }
}

std::string AppSession::output() const {
    std::ifstream f(logPath);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

int differingPixels(const Screenshot& a, const Screenshot& b, int x0, int y0, int x1, int y1) {
    int n = 0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) {
            const uint8_t *p = a.at(x, y), *q = b.at(x, y);
            n += p[0] != q[0] || p[1] != q[1] || p[2] != q[2];
        }
    return n;
}

SquareOnScreen findRedSquare(const Screenshot& s, int fromY) {
    auto red = [&](int x, int y) {
        const uint8_t* p = s.at(x, y);
        return p[0] > 230 && p[1] < 25 && p[2] < 25;
    };
    // The top-left pixel: the top of the leftmost column that holds red.
    SquareOnScreen q;
    for (int y = fromY; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x)
            if (red(x, y) && (q.left < 0 || x < q.left)) q.left = x, q.top = y;
    if (q.left < 0) return q;
    q.side = 1;
    while (q.top + q.side < s.height && red(q.left, q.top + q.side)) ++q.side;
    return q;
}

void AppSession::clickAt(int x, int y) {
    moveMouse(x, y);
    waitFrames(3);
    xdotool("click 1");
    waitFrames(6);
}

void AppSession::answerFileDialogs(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& l : lines) text += l + "\n";
    testfiles::writeFile(workDir + "/answers.txt", text);
    setEnv("KESTRELWING_FILE_DIALOG", workDir + "/answers.txt");
}

bool waitForOutput(AppSession& app, const std::string& text, int timeoutMs) {
    for (int t = 0; t < scaled(timeoutMs); t += 50) {
        if (app.output().find(text) != std::string::npos) return true;
        sleepMs(50);
    }
    return false;
}
