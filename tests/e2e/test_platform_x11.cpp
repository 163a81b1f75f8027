// The window layer against a real X server (run under xvfb-run): a freeglut
// window in this process, and a second X connection playing the window
// manager or another program.
#include <gtest/gtest.h>

#include "e2e/DragSource.h"
#include "platform/Clock.h"
#include "platform/LeakReports.h"
#include "platform/SharedGlContext.h"
#include "platform/X11Window.h"

#include <GL/freeglut.h>
#include <GL/glx.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XInput2.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

namespace {

bool gTrapped = false;
int trapErrors(Display*, XErrorEvent*) {
    gTrapped = true;
    return 0;
}

// Runs freeglut's loop and our pump until done() or the time-out.
bool pumpUntil(const std::function<bool()>& done, int timeoutMs = 1500) {
    int32_t end = platform::nowMs() + timeoutMs;
    while (platform::nowMs() < end) {
        glutMainLoopEvent();
        platform::pumpWindowEvents();
        if (done()) return true;
        platform::sleepMs(2);
    }
    return false;
}

class X11WindowTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        XInitThreads();
        if (!glutGet(GLUT_INIT_STATE)) {
            int argc = 1;
            char name[] = "Kestrelwing";
            char* argv[] = {name, nullptr};
            glutInit(&argc, argv);
            platform::keepGlDriverLoadedForLeakReports();
        }
        // An unvetoed close must not end the test process.
        glutSetOption(GLUT_ACTION_ON_WINDOW_CLOSE, GLUT_ACTION_CONTINUE_EXECUTION);
    }

    void SetUp() override {
        ASSERT_NE(getenv("DISPLAY"), nullptr) << "run under xvfb-run";
        glutInitDisplayMode(GLUT_DOUBLE | GLUT_RGBA | GLUT_DEPTH);
        glutInitWindowSize(640, 480);
        glutInitWindowPosition(0, 0);
        glutWindow = glutCreateWindow("Kestrelwing");
        glutDisplayFunc([] {
            glClear(GL_COLOR_BUFFER_BIT);
            glutSwapBuffers();
        });
        ASSERT_TRUE(platform::installWindowHooks());
        window = static_cast<Window>(glXGetCurrentDrawable());
        other = XOpenDisplay(nullptr);
        ASSERT_NE(other, nullptr);
        // Wait until the window is on screen.
        ASSERT_TRUE(pumpUntil([&] {
            XWindowAttributes a;
            return XGetWindowAttributes(other, window, &a) && a.map_state == IsViewable;
        }));
    }

    void TearDown() override {
        platform::setCloseButtonCallback({});
        platform::setDropFileCallback({});
        platform::setFocusLostCallback({});
        if (glutWindow && windowExists()) {
            stopXInput2Events();
            glutDestroyWindow(glutWindow);
        }
        if (other) XCloseDisplay(other);
        other = nullptr;
        glutMainLoopEvent();
    }

    Atom atom(const char* name) { return XInternAtom(other, name, False); }

    // freeglut neither handles nor frees an XInput2 event that arrives for a
    // window it has already forgotten, and destroying a window under the
    // pointer sends some. Before a window goes: stop them, and let freeglut
    // take the ones in flight while it still knows the window.
    void stopXInput2Events() {
        Display* own = glXGetCurrentDisplay();
        XIEventMask none{XIAllMasterDevices, 0, nullptr};
        XISelectEvents(own, window, &none, 1);
        XSync(own, False);
        glutMainLoopEvent();
    }

    bool windowExists() {
        if (!other) return false;
        XSync(other, False);
        gTrapped = false;
        auto old = XSetErrorHandler(trapErrors);
        XWindowAttributes a;
        XGetWindowAttributes(other, window, &a);
        XSync(other, False);
        XSetErrorHandler(old);
        return !gTrapped;
    }

    void sendClientMessage(Window to, Atom type, long l0, long l1 = 0, long l2 = 0, long l3 = 0, long l4 = 0) {
        XEvent ev{};
        ev.xclient.type = ClientMessage;
        ev.xclient.window = to;
        ev.xclient.message_type = type;
        ev.xclient.format = 32;
        long data[5] = {l0, l1, l2, l3, l4};
        for (int i = 0; i < 5; ++i) ev.xclient.data.l[i] = data[i];
        XSendEvent(other, to, False, NoEventMask, &ev);
        XFlush(other);
    }

    void requestClose(Atom type) { sendClientMessage(window, type, atom("WM_DELETE_WINDOW"), CurrentTime); }

    int glutWindow = 0;
    Window window = 0;
    Display* other = nullptr;
};

TEST_F(X11WindowTest, CloseRequestIsVetoedAndTheWindowStays) {
    int calls = 0;
    platform::setCloseButtonCallback([&](int* allowClose) {
        EXPECT_EQ(*allowClose, 1);
        *allowClose = 0;
        ++calls;
    });
    requestClose(atom("WM_PROTOCOLS"));
    ASSERT_TRUE(pumpUntil([&] { return calls == 1; }));
    // freeglut acts on WM_DELETE_WINDOW whatever the message type says.
    requestClose(atom("SOMETHING_ELSE"));
    ASSERT_TRUE(pumpUntil([&] { return calls == 2; }));
    // A burst interleaved with pointer motion.
    for (int i = 0; i < 50; ++i) {
        requestClose(atom("WM_PROTOCOLS"));
        XWarpPointer(other, None, window, 0, 0, 0, 0, 10 + i, 10 + i);
    }
    XFlush(other);
    ASSERT_TRUE(pumpUntil([&] { return calls == 52; }));
    pumpUntil([] { return false; }, 100);
    EXPECT_EQ(calls, 52);
    EXPECT_TRUE(windowExists());
    EXPECT_EQ(glutGetWindow(), glutWindow);
    EXPECT_EQ(glutGet(GLUT_WINDOW_WIDTH), 640);
}

TEST_F(X11WindowTest, CloseRequestNotVetoedClosesTheWindow) {
    int calls = 0;
    platform::setCloseButtonCallback([&](int*) { ++calls; }); // leaves allowClose at 1
    stopXInput2Events(); // freeglut destroys the window itself
    requestClose(atom("WM_PROTOCOLS"));
    ASSERT_TRUE(pumpUntil([&] { return calls == 1 && !windowExists(); }));
    EXPECT_FALSE(platform::windowHooksInstalled());
    glutWindow = 0;
}

TEST_F(X11WindowTest, MinimumSizeAndDndAwareness) {
    XSizeHints hints{};
    long supplied = 0;
    ASSERT_TRUE(XGetWMNormalHints(other, window, &hints, &supplied));
    EXPECT_TRUE(hints.flags & PMinSize);
    EXPECT_EQ(hints.min_width, 500);
    EXPECT_EQ(hints.min_height, 400);
    Atom type = None;
    int format = 0;
    unsigned long count = 0, after = 0;
    unsigned char* data = nullptr;
    ASSERT_EQ(XGetWindowProperty(other, window, atom("XdndAware"), 0, 1, False, XA_ATOM, &type, &format, &count,
                                 &after, &data),
              Success);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(*reinterpret_cast<long*>(data), 5);
    XFree(data);
}

TEST_F(X11WindowTest, GeometryOfWindowAndScreen) {
    platform::ScreenRect screen;
    ASSERT_TRUE(platform::virtualScreen(screen));
    EXPECT_EQ(screen.x, 0);
    EXPECT_EQ(screen.y, 0);
    EXPECT_EQ(screen.width, DisplayWidth(other, DefaultScreen(other)));
    EXPECT_EQ(screen.height, DisplayHeight(other, DefaultScreen(other)));
    XMoveWindow(other, window, 37, 51);
    XSync(other, False);
    int x = -1, y = -1;
    ASSERT_TRUE(pumpUntil([&] { return platform::windowOrigin(x, y) && x == 37 && y == 51; })) << x << "," << y;
}

TEST_F(X11WindowTest, MaximisedAndMinimisedFollowWindowManagerProperties) {
    EXPECT_FALSE(platform::isWindowMaximised());
    EXPECT_FALSE(platform::isWindowMinimised());
    Atom netState = atom("_NET_WM_STATE");
    long both[] = {static_cast<long>(atom("_NET_WM_STATE_MAXIMIZED_VERT")),
                   static_cast<long>(atom("_NET_WM_STATE_MAXIMIZED_HORZ"))};
    XChangeProperty(other, window, netState, XA_ATOM, 32, PropModeReplace, reinterpret_cast<unsigned char*>(both), 2);
    XSync(other, False);
    EXPECT_TRUE(platform::isWindowMaximised());
    EXPECT_FALSE(platform::isWindowMinimised());
    XChangeProperty(other, window, netState, XA_ATOM, 32, PropModeReplace, reinterpret_cast<unsigned char*>(both), 1);
    XSync(other, False);
    EXPECT_FALSE(platform::isWindowMaximised()); // vertical only
    long hidden = static_cast<long>(atom("_NET_WM_STATE_HIDDEN"));
    XChangeProperty(other, window, netState, XA_ATOM, 32, PropModeReplace, reinterpret_cast<unsigned char*>(&hidden), 1);
    XSync(other, False);
    EXPECT_TRUE(platform::isWindowMinimised());
    XDeleteProperty(other, window, netState);
    Atom wmState = atom("WM_STATE");
    long iconic[] = {IconicState, None};
    XChangeProperty(other, window, wmState, wmState, 32, PropModeReplace, reinterpret_cast<unsigned char*>(iconic), 2);
    XSync(other, False);
    EXPECT_TRUE(platform::isWindowMinimised());
    long normal[] = {NormalState, None};
    XChangeProperty(other, window, wmState, wmState, 32, PropModeReplace, reinterpret_cast<unsigned char*>(normal), 2);
    XSync(other, False);
    EXPECT_FALSE(platform::isWindowMinimised());
}

TEST_F(X11WindowTest, FocusLossIsReported) {
    int losses = 0;
    platform::setFocusLostCallback([&] { ++losses; });
    Window rival = XCreateSimpleWindow(other, DefaultRootWindow(other), 700, 0, 50, 50, 0, 0, 0);
    XMapWindow(other, rival);
    XSync(other, False);
    ASSERT_TRUE(pumpUntil([&] {
        XWindowAttributes a;
        return XGetWindowAttributes(other, rival, &a) && a.map_state == IsViewable;
    }));
    XSetInputFocus(other, window, RevertToParent, CurrentTime);
    XSync(other, False);
    pumpUntil([] { return false; }, 50);
    EXPECT_EQ(losses, 0);
    XSetInputFocus(other, rival, RevertToParent, CurrentTime);
    XSync(other, False);
    EXPECT_TRUE(pumpUntil([&] { return losses == 1; }));
    XDestroyWindow(other, rival);
}

TEST_F(X11WindowTest, GuiScaleHonoursTheOverride) {
    setenv("KESTRELWING_GUI_SCALE", "1.5", 1);
    EXPECT_FLOAT_EQ(platform::guiScaleFromDisplay(), 1.5f);
    unsetenv("KESTRELWING_GUI_SCALE");
    // Xvfb publishes no Xft.dpi unless someone loaded it.
    const char* resources = XResourceManagerString(other);
    if (!resources || !std::strstr(resources, "Xft.dpi")) {
        EXPECT_FLOAT_EQ(platform::guiScaleFromDisplay(), 1.0f);
    }
}

// ---- drag and drop: the second connection plays the drag source --------------

TEST_F(X11WindowTest, DroppedFileArrivesAfterTheSourceIsFinished) {
    std::string gotPath;
    int gotX = -1, gotY = -1, drops = 0;
    platform::setDropFileCallback([&](const std::string& path, int x, int y) {
        gotPath = path;
        gotX = x;
        gotY = y;
        ++drops;
    });
    int originX = 0, originY = 0;
    ASSERT_TRUE(platform::windowOrigin(originX, originY));
    DragSource source(other, window, "text/uri-list",
                      "# dropped\r\nhttp://example.com/x.png\r\nfile:///tmp/kw%20drop/%C3%A9t%C3%A9.png\r\n"
                      "file:///tmp/second.png\r\n");
    XClientMessageEvent reply{};
    source.enter();
    source.position(originX + 30, originY + 40);
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndStatus", reply); }));
    EXPECT_EQ(static_cast<Window>(reply.data.l[0]), window);
    EXPECT_EQ(reply.data.l[1] & 1, 1); // accepted
    EXPECT_EQ(static_cast<Atom>(reply.data.l[4]), atom("XdndActionCopy"));
    source.position(originX + 31, originY + 42); // the last position counts
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndStatus", reply); }));
    source.drop();
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndFinished", reply) && drops == 1; }));
    EXPECT_EQ(reply.data.l[1] & 1, 1);
    EXPECT_EQ(static_cast<Atom>(reply.data.l[2]), atom("XdndActionCopy"));
    EXPECT_EQ(gotPath, "/tmp/kw drop/\xC3\xA9t\xC3\xA9.png");
    EXPECT_EQ(gotX, 31);
    EXPECT_EQ(gotY, 42);
}

TEST_F(X11WindowTest, DropWithoutUriListIsRefused) {
    int drops = 0;
    platform::setDropFileCallback([&](const std::string&, int, int) { ++drops; });
    DragSource source(other, window, "text/plain", "hello");
    XClientMessageEvent reply{};
    source.enter();
    source.position(10, 10);
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndStatus", reply); }));
    EXPECT_EQ(reply.data.l[1] & 1, 0);
    source.drop();
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndFinished", reply); }));
    EXPECT_EQ(reply.data.l[1] & 1, 0);
    pumpUntil([] { return false; }, 50);
    EXPECT_EQ(drops, 0);
}

TEST_F(X11WindowTest, DropOfOnlyRemoteUrisIsRefusedAfterTransfer) {
    int drops = 0;
    platform::setDropFileCallback([&](const std::string&, int, int) { ++drops; });
    DragSource source(other, window, "text/uri-list", "http://example.com/a.png\r\n");
    XClientMessageEvent reply{};
    source.enter();
    source.position(5, 5);
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndStatus", reply); }));
    source.drop();
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndFinished", reply); }));
    EXPECT_EQ(reply.data.l[1] & 1, 0);
    EXPECT_EQ(drops, 0);
}

TEST_F(X11WindowTest, TypeListPropertyIsConsultedForManyTypes) {
    int drops = 0;
    platform::setDropFileCallback([&](const std::string&, int, int) { ++drops; });
    DragSource source(other, window, "text/uri-list", "file:///tmp/a.png\r\n");
    long types[] = {static_cast<long>(atom("text/plain")), static_cast<long>(atom("UTF8_STRING")),
                    static_cast<long>(atom("STRING")), static_cast<long>(atom("text/uri-list"))};
    XChangeProperty(other, source.window, atom("XdndTypeList"), XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(types), 4);
    XSync(other, False);
    source.send("XdndEnter", (5L << 24) | 1, types[0], types[1], types[2]);
    source.position(5, 5);
    XClientMessageEvent reply{};
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndStatus", reply); }));
    EXPECT_EQ(reply.data.l[1] & 1, 1);
    source.drop();
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndFinished", reply) && drops == 1; }));
}

TEST_F(X11WindowTest, CloseVetoStillWorksDuringADrag) {
    int closes = 0;
    platform::setCloseButtonCallback([&](int* allow) {
        *allow = 0;
        ++closes;
    });
    DragSource source(other, window, "text/uri-list", "file:///tmp/a.png\r\n");
    source.enter();
    requestClose(atom("WM_PROTOCOLS"));
    source.position(5, 5);
    XClientMessageEvent reply{};
    ASSERT_TRUE(pumpUntil([&] { return source.poll("XdndStatus", reply) && closes == 1; }));
    source.send("XdndLeave", 0, 0, 0, 0);
    pumpUntil([] { return false; }, 30);
    EXPECT_TRUE(windowExists());
}

// ---- the loader's shared context ----------------------------------------------

TEST_F(X11WindowTest, TextureMadeOnTheWorkerContextIsVisibleOnTheMainOne) {
    platform::SharedGlContext shared;
    std::string error;
    ASSERT_TRUE(shared.create(&error)) << error;
    GLXContext main = glXGetCurrentContext();
    ASSERT_NE(main, nullptr);
    const unsigned char pixels[16] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 10, 20, 30, 40};
    GLuint texture = 0;
    bool workerOk = false;
    std::thread worker([&] {
        if (!shared.makeCurrent()) return;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
        glFinish();
        workerOk = glGetError() == GL_NO_ERROR;
        shared.release();
    });
    worker.join();
    ASSERT_TRUE(workerOk);
    EXPECT_EQ(glXGetCurrentContext(), main); // the main thread's binding is untouched
    ASSERT_TRUE(glIsTexture(texture));
    unsigned char back[16] = {};
    glBindTexture(GL_TEXTURE_2D, texture);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, back);
    EXPECT_EQ(std::memcmp(back, pixels, sizeof pixels), 0);
    glDeleteTextures(1, &texture);
}

TEST(SharedGlContextNoWindow, CreateFailsCleanlyWithoutAContext) {
    std::thread t([] { // a fresh thread has no current context
        platform::SharedGlContext shared;
        std::string error;
        EXPECT_FALSE(shared.create(&error));
        EXPECT_FALSE(error.empty());
        EXPECT_FALSE(shared.makeCurrent());
    });
    t.join();
}

} // namespace
