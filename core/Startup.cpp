#include "core/Startup.h"

#include <GL/glew.h>
#include <GL/freeglut.h>
#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Painter.h"
#include "canvas/Shaders.h"
#include "canvas/TipTextures.h"
#include "canvas/ViewMath.h"
#include "canvas/ViewNavigation.h"
#include "brush/BrushPresets.h"
#include "brush/BrushTips.h"
#include "history/BrushStrokeAction.h"
#include "core/CommandList.h"
#include "history/History.h"
#include "core/FileNames.h"
#include "io/FileOpen.h"
#include "core/Globals.h"
#include "core/InputCallbacks.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/Localisation.h"
#include "core/MainLoop.h"
#include "core/PaintingApplication.h"
#include "core/Saving.h"
#include "core/WindowPlacement.h"
#include "tools/Tool.h"
#include "tools/ToolPanel.h"
#include "ui/FileFlows.h"
#include "ui/InProgramFileDialog.h"
#include "ui/Interface.h"
#include "ui/InterfaceHooks.h"
#include "ui/ModalFlows.h"
#include "ui/NotificationWidget.h"
#include "ui/ReplaySession.h"
#include "platform/Clock.h"
#include "platform/ErrorBox.h"
#include "platform/LeakReports.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "platform/SharedGlContext.h"
#include "platform/X11Window.h"
#include "widgets/CustomViewWidget.h"
#include "widgets/GUI.h"
#include "widgets/GuiRoot.h"
#include "widgets/ImageButton.h"

namespace {

platform::SharedGlContext gSharedContext;

// Xvfb and some drivers offer no multisample or alpha visual: fall back to the
// best mode that still has depth and stencil.
void chooseDisplayMode() {
    const unsigned modes[] = {0xBA, 0xBA & ~GLUT_MULTISAMPLE, 0xBA & ~GLUT_MULTISAMPLE & ~GLUT_ALPHA,
                              GLUT_DOUBLE | GLUT_RGBA | GLUT_DEPTH};
    for (unsigned mode : modes) {
        glutInitDisplayMode(mode);
        if (glutGet(GLUT_DISPLAY_MODE_POSSIBLE)) return;
    }
}

// freeglut ends the process with a terse line when there is no display;
// say what is wrong and what still works.
void requireDisplay() {
    Display* display = XOpenDisplay(nullptr);
    if (display) {
        XCloseDisplay(display);
        return;
    }
    const char* name = std::getenv("DISPLAY");
    std::fprintf(stderr,
                 "kestrelwing: cannot open the X display \"%s\". The painting window needs one;\n"
                 "--info and --render work without a display.\n",
                 name ? name : "");
    std::exit(1);
}

void createWindow() {
    requireDisplay();
    int argc = 0;
    char name[] = "Kestrelwing";
    char* argv[] = {name, nullptr};
    glutInit(&argc, argv);
    platform::keepGlDriverLoadedForLeakReports();
    glutSetOption(GLUT_ACTION_ON_WINDOW_CLOSE, GLUT_ACTION_CONTINUE_EXECUTION);
    const int screenW = glutGet(GLUT_SCREEN_WIDTH), screenH = glutGet(GLUT_SCREEN_HEIGHT);
    chooseDisplayMode();
    const ApplicationClosingStatus& st = *gApp->closingStatus;
    const WindowPlacement p = placeWindow(st.x, st.y, st.width, st.height, screenW, screenH);
    gRenderArea.width = static_cast<float>(p.width);
    gRenderArea.height = static_cast<float>(p.height);
    glutInitWindowSize(p.width, p.height);
    glutInitWindowPosition(p.x, p.y);
    glutCreateWindow("Kestrelwing");
    platform::installWindowHooks();
    mainloop::trackWindowPlacement(p.x, p.y, p.width, p.height, st.maximized);
    installInputHooks();
    std::string error;
    if (!gSharedContext.create(&error))
        std::fprintf(stderr, "ERROR: while sharing resources among threads: %s\n", error.c_str());
}

void checkGlRequirements() {
    const GLenum glewResult = glewInit();
    gGlInfo = GlInfo::readFromCurrentContext();
    const GlInfo& info = gGlInfo;
    const bool ok = glewResult == GLEW_OK && info.loaded && info.hasExtension("GL_ARB_fragment_program");
    if (ok) return;
    platform::showFatalError(tr(tk::ERROR_STR), loc::fillText(tr(tk::GL_VERSION_TOO_OLD_STR), {info.version}));
    std::exit(0);
}

void setFixedGlState() {
    glShadeModel(GL_SMOOTH);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glHint(GL_PERSPECTIVE_CORRECTION_HINT, GL_NICEST);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_LIGHTING);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    glColorMaterial(GL_FRONT_AND_BACK, GL_AMBIENT_AND_DIFFUSE);
    glEnable(GL_COLOR_MATERIAL);
    glClearStencil(0);
    glClearDepth(1.0);
    glDepthFunc(GL_LEQUAL);
}


// The last used directory, else the documents folder; the executable's folder if both fail.
void enterStartDirectory() {
    std::string dir;
    std::error_code ec;
    if (platform::readValue("curr_dir", dir) && !dir.empty()) {
        std::filesystem::current_path(dir, ec);
        if (!ec) return;
    }
    std::filesystem::current_path(platform::documentsDir(), ec);
}

void registerCallbacks() {
    glutSetCursor(GLUT_CURSOR_NONE);
    glutDisplayFunc(mainloop::display);
    glutTimerFunc(20, mainloop::tick, 20);
    glutTimerFunc(1000, mainloop::slowTick, 1000);
    glutEntryFunc(onGlutEntry);
    glutReshapeFunc(mainloop::reshape);
    glutKeyboardFunc(onGlutKeyboard);
    glutKeyboardUpFunc(onGlutKeyboardUp);
    glutSpecialFunc(onGlutSpecial);
    glutSpecialUpFunc(onGlutSpecialUp);
    glutMouseFunc(onGlutMouse);
    glutMotionFunc(onGlutMotion);
    glutPassiveMotionFunc(onGlutPassiveMotion);
    glutMouseWheelFunc(onGlutMouseWheel);
    // Runs from the tick, so the warning and the load's nested loop may pump.
    platform::setDropFileCallback(fileflows::dropFile);
    platform::setCloseButtonCallback([](int* allowClose) {
        // The window never closes by itself: the program ends through its exit routine.
        *allowClose = 0;
        onWindowCloseRequest();
    });
    installModalHooks();
    installInProgramFileDialog();
}

} // namespace

bool openFile(const std::string& path, const WaitFunction& wait) {
    DocumentTarget doc{gCanvas, gLayers, gHistory, &gFramebufferCapability, gApp};
    LoadFileOptions options;
    options.process.tips = &gBrushTips;
    options.process.sharedContext = gSharedContext.isCreated() ? &gSharedContext : nullptr;
    options.process.wait = wait;
    options.imageHooks = programImageLoadHooks();
    if (!loadFile(path, doc, options)) return false;
    fitToWindow(gPainter);
    return true;
}

void makeBlankImage(int width, int height) {
    // The start-up picture is a new image, grey like every new one.
    fileflows::makeNewPicture(width, height, false);
    fitToWindow(gPainter);
}

int runProgram(const CommandLine& commandLine) {
    gApp->init();
    std::atexit(mainloop::exitHandler);
    createWindow();
    GuiScale = platform::guiScaleFromDisplay();
    checkGlRequirements();
    setFixedGlState();
    buildAllShaderPrograms(gGlInfo);
    glEnable(GL_BLEND);
    glEnable(GL_MULTISAMPLE);
    glLineWidth(1.0f);
    gPainter.renderArea.width = gRenderArea.width;
    gPainter.renderArea.height = gRenderArea.height;
    fitToWindowNow(gPainter);
    gCanvas.brush.SizeFollowsPressure = false;
    gCanvas.brush.FlowFollowsPressure = true;
    loadBrushTips(gBrushTips);
    // Presets name their tips, so they are read once the tip table is built.
    gBrushPresets.load(userPresetsFile(), factoryPresetsFile(), gBrushTips);
    setDabSink(&gCanvas);
    gInputState.reset();
    setInputHost(gApp);
    // The interface gets events before the canvas.
    createGuiRoot(&gRenderArea);
    // The widget demo screen stands alone, with the notifications and the strip.
    const bool demo = widgetDemoRequested();
    if (demo) {
        buildWidgetDemo(*gGui);
        buildDialogDemo(*gGui);
        gApp->notification = createNotificationWidget(*gGui);
    }
    createToolOptionsBar();
    if (demo) {
        placeToolOptionsBar(static_cast<int>(gRenderArea.width), static_cast<int>(gRenderArea.height));
        gGui->add(gToolOptionsBar);
    }
    createToolBar();
    InputDispatcher::instance().add(gApp->painter);
    gApp->setTitle(tr(tk::UNNAMED_IMAGE_STR), "");
    commands::createCommands(*gApp, gPainter);
    // After the commands: the tool tips show their keys.
    if (!demo) buildInterface(true);
    // The settings and help dialogs reach the assembled interface here.
    ui::gRebuildInterface = [] { rebuildInterface(); };
    ui::gApplyInterfaceOptions = [](const PaintingApplicationOptions& options) {
        if (gNavigator) gNavigator->setVisible(options.showSecondView);
        if (gToggleGuiButton) gToggleGuiButton->setVisible(options.showToggleGuiButton);
    };
    ensureFramebufferTested();

    const PaintingApplicationOptions& o = gApp->getOptions();
    const CanvasSize size = limitStartCanvas(o.defaultCanvasWidth, o.defaultCanvasHeight,
                                             gFramebufferCapability.framebufferSupported,
                                             gFramebufferCapability.maxRenderbufferSize);
    // No callbacks exist yet, so this load waits without pumping the loop.
    const bool opened = !commandLine.file.empty() && openFile(commandLine.file, [](const std::function<bool()>& done) {
        while (!done()) platform::sleepMs(20);
    });
    if (!opened) makeBlankImage(size.width, size.height);
    // The start tool shows its panel like any tool selected later.
    if (!demo) gPainter.currentTool->activate();
    if (commandLine.file.empty()) enterStartDirectory();
    gApp->autosavePath = autosaveTarget(platform::tempDir(), gApp->closingStatus->cleanExit,
                                        [](const std::string& p) { return std::filesystem::exists(p); });
    saving::connectAutosave(gHistory, &gBrushTips, [] { return gApp->autosavePath; });
    // For automation (the end-to-end tests): start with this tool current,
    // by the tool bar's numbers, as if its button had been pressed.
    if (const char* tool = std::getenv("KESTRELWING_START_TOOL")) gPainter.selectTool(std::atoi(tool));
    registerCallbacks();
    glutMainLoop();
    return 0;
}
