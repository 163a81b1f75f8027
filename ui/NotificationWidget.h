#pragma once
// The one line of large text over the canvas that tells what just happened.
// No queue: a new message replaces the text and extends the time on screen.
//   hidden -> fading in (400 ms) -> holding (to 800 ms) -> fading out (to 1500 ms) -> hidden
// A new message in any state goes back to the hold, from full or from the
// present opacity, never through 0. It never takes input.
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <string>

#include "widgets/Widget.h"

class GlFont;
class GUI;

class NotificationWidget : public Widget, public std::enable_shared_from_this<NotificationWidget> {
public:
    // Animator keys of the two fades.
    static constexpr int32_t kFadeInKey = 0x20b58515;
    static constexpr int32_t kFadeOutKey = static_cast<int32_t>(0xd29ec0beu);
    static constexpr int kMaxTextBytes = 255;

    // font: not owning; null draws nothing. Starts invisible, 200 x 50 units.
    explicit NotificationWidget(const GlFont* font);

    // printf-style; the text is cut after 255 characters.
    void show(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void showV(const char* format, va_list args);

    // Clicks and moves pass through to whatever lies below.
    int onMouseButton(int, int, int, int, bool) override { return 0; }
    int onMouseMove(int, int, bool) override { return 0; }
    bool acceptsFocus() const override { return false; }
    void draw(float alpha) override;

    std::string text;
    const GlFont* font = nullptr;
};

// Makes the program's notification widget with the notification font, top
// left of the window (10 and 20 units in), adds it to the root and returns it.
std::shared_ptr<NotificationWidget> createNotificationWidget(GUI& root);
