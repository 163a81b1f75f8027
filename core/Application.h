#pragma once
// The application frame: window state, input state, options, closing status
// and the busy state. PaintingApplication adds the document.
#include <memory>
#include <string>

#include "core/Camera.h"
#include "core/InteractionMode.h"
#include "core/RenderArea.h"
#include "ui/MessageQueue.h"

class NotificationWidget;

// Options that outlive a run. Stored as strings in the settings store.
class ApplicationOptions {
public:
    virtual ~ApplicationOptions() = default;
    virtual void reset();

    std::string language = "ENG";
    bool guiShadow = true;
};

class ApplicationClosingStatus {
public:
    virtual ~ApplicationClosingStatus() = default;

    bool cleanExit = true; // "APP_CODE": "1" clean, "0" running or crashed
    bool maximized = false;
    int x = -1, y = -1;    // -1: never saved, centre the window
    int width = 1024, height = 700;

    // Reads the stored status and marks this run as running ("APP_CODE" = "0").
    void load();
    // Marks a clean exit and stores the version.
    void saveExit() const;
    // Stores the window placement: maximised, the outer corner and the
    // client size of the window when not maximised.
    void savePlacement(bool isMaximized, int posX, int posY, int sizeW, int sizeH) const;
};

class Application {
public:
    Application();
    virtual ~Application();

    virtual void init();
    virtual void onNewVersion() { newVersion = true; }
    virtual void leaveMode() {}
    virtual void setCursorDrawing(bool on) { cursorDrawing = on; }
    virtual void drawCursor() = 0;
    virtual void createOptions() = 0;
    virtual void loadOptions();
    virtual void saveOptions();

    // Every change of the interaction mode goes through here.
    void setInteractionMode(int mode);

    // The transient status line of the whole program (printf-style), on the
    // main thread: shown by the notification widget and printed to stdout.
    void showMessage(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // The same from any thread: queued until the tick delivers it.
    void postMessage(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // Main thread (the tick): shows every posted message, oldest first.
    void deliverPostedMessages();
    // Remembers the working directory as the last used one ("curr_dir").
    void storeCurrentDirectory();
    // Window title: name, extension, " - " and the program name.
    void setTitle(const std::string& name, const std::string& extension);

    bool spinnerActive = false;
    int spinnerPeriod = 0;
    int spinnerFrame = 0;
    bool cancelRequested = false;
    Camera camera;
    RenderArea renderArea{0, 0, 1024.0f, 768.0f};
    bool cursorDrawing = true;
    int interactionMode = kModeTool; // InteractionMode
    std::unique_ptr<ApplicationOptions> options;
    std::unique_ptr<ApplicationClosingStatus> closingStatus;
    bool busy = false;
    int busyRemainingMs = 0;
    int busyEstimateTime = 0;
    bool newVersion = false;
    // Last status text shown.
    std::string lastMessage;
    // The one notification widget; null until the interface is built. The
    // interface root owns it too.
    std::shared_ptr<NotificationWidget> notification;
    MessageQueue postedMessages;
};
