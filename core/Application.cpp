#include "core/Application.h"

#include <GL/freeglut.h>

#include <cstdarg>
#include <cstdio>
#include <filesystem>

#include "core/Localisation.h"
#include "platform/ErrorBox.h"
#include "platform/Settings.h"
#include "ui/NotificationWidget.h"

void ApplicationOptions::reset() {
    language = "ENG";
    guiShadow = true;
}

namespace {
bool parseIntPair(const std::string& text, int& a, int& b) {
    int x = 0, y = 0;
    if (std::sscanf(text.c_str(), "%d,%d", &x, &y) != 2) return false;
    a = x;
    b = y;
    return true;
}
} // namespace

void ApplicationClosingStatus::load() {
    std::string v;
    if (platform::readValue("APP_CODE", v)) cleanExit = (v == "1");
    // Written at once: a crash leaves "0" behind and the next start knows.
    platform::writeValue("APP_CODE", "0");
    if (platform::readValue("APP_WINDOW_MAXIMIZED", v)) maximized = (v == "1");
    if (platform::readValue("APP_WINDOW_POS", v)) parseIntPair(v, x, y);
    if (platform::readValue("APP_WINDOW_SIZE", v)) parseIntPair(v, width, height);
}

void ApplicationClosingStatus::saveExit() const {
    platform::writeValue("APP_CODE", "1");
    platform::writeValue("APP_VER", "3.6.4.0");
}

void ApplicationClosingStatus::savePlacement(bool isMaximized, int posX, int posY, int sizeW, int sizeH) const {
    platform::writeValue("APP_WINDOW_MAXIMIZED", isMaximized ? "1" : "0");
    platform::writeValue("APP_WINDOW_POS", std::to_string(posX) + "," + std::to_string(posY));
    platform::writeValue("APP_WINDOW_SIZE", std::to_string(sizeW) + "," + std::to_string(sizeH));
}

Application::Application() = default;
Application::~Application() = default;

void Application::init() {
    options.reset();
    createOptions();
    closingStatus = std::make_unique<ApplicationClosingStatus>();
    loadOptions();
    closingStatus->load();
    std::string version;
    if (!platform::readValue("APP_VER", version) || version != "3.6.4.0") {
        // A new version (or a first run) starts from the factory options.
        options->reset();
        saveOptions();
        onNewVersion();
    }
    // The interface texts of the chosen language, over the English ones.
    loc::initLocalization(options->language);
}

void Application::loadOptions() {
    std::string v;
    if (platform::readValue("APP_LANGUAGE", v)) options->language = v;
    if (platform::readValue("GUI_SHADOW", v)) options->guiShadow = (v == "1");
}

void Application::saveOptions() {
    platform::writeValue("APP_LANGUAGE", options->language);
    platform::writeValue("GUI_SHADOW", options->guiShadow ? "1" : "0");
}

void Application::setInteractionMode(int mode) {
    leaveMode();
    interactionMode = mode;
}

void Application::showMessage(const char* format, ...) {
    char buffer[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    lastMessage = buffer;
    // The terminal gets every status line too (users in a terminal, tests).
    std::printf("%s\n", platform::latin1ToUtf8(buffer).c_str());
    std::fflush(stdout);
    if (notification) notification->show("%s", buffer);
}

void Application::postMessage(const char* format, ...) {
    char buffer[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    postedMessages.post(buffer);
}

void Application::deliverPostedMessages() {
    for (const std::string& text : postedMessages.drain()) showMessage("%s", text.c_str());
}

void Application::storeCurrentDirectory() {
    std::error_code ec;
    const std::filesystem::path dir = std::filesystem::current_path(ec);
    if (!ec) platform::writeValue("curr_dir", dir.string());
}

void Application::setTitle(const std::string& name, const std::string& extension) {
    const std::string title = name + extension + " - Kestrelwing";
    if (glutGetWindow()) glutSetWindowTitle(title.c_str());
}
