#pragma once
// A button that shows a cell of the tool bar atlas (or a text label), lights
// up while its isActive predicate holds, and places the shared tool tip after
// the pointer has rested on it for more than half a second.
#include <functional>
#include <string>

#include "widgets/ButtonWidget.h"

// The one tool tip of the interface, shared by every button and drawn by the
// frame over everything else. x < 0 hides it.
struct ToolTipRecord {
    int32_t x = -1, y = -1;
    std::string text;
    int32_t textWidth = 0;
    int32_t lineCount = 0;
    // Box corners from (x, y): text width + 10 wide, 1.5 font heights a line + 4 high.
    float boxWidth = 0, boxHeight = 0;
};
extern ToolTipRecord gToolTip;
// Hides the tip until a button places it again (every pointer move does this).
inline void hideToolTip() { gToolTip.x = gToolTip.y = -1; }
// Draws the tip when it is placed; window pixels, inside the GUI projection.
void drawToolTip();

class ImageButton : public ButtonWidget {
public:
    // Rest time after which the tip shows (the pointer must rest longer).
    static constexpr int kToolTipDelayMs = 500;

    // An atlas icon: the tool bar's buttons, 32 by 32 units.
    ImageButton(int x, int y, int iconColumn, int iconRow, const std::string& tooltip,
                std::function<void(Widget*)> onClick, std::function<bool(const Widget*)> isActive);
    // A text label of this size (menus, the interface toggle).
    ImageButton(int x, int y, int width, int height, const std::string& label, std::function<void(Widget*)> onClick);
    // The brush properties button: 32 by 32, icon (2, 5).
    ImageButton(const std::string& tooltip, std::function<void(Widget*)> onClick);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    bool active() const { return isActive && isActive(this); }
    bool hasIcon() const { return iconColumn >= 0 && iconRow >= 0; }

    int32_t iconColumn = -1, iconRow = -1;
    std::function<bool(const Widget*)> isActive;
    std::string tooltip;
};

// Where the tool tip logic reads the pointer: the application's last
// position (window pixels, y up). Tests put their own in.
void setToolTipPointerSource(std::function<void(int& x, int& y)> source);
