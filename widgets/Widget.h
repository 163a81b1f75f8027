#pragma once
// The widget tree. All geometry and event coordinates are window pixels,
// origin bottom left, y up. Constructors take 96-dpi units and multiply by
// GuiScale at once; after construction everything is in pixels.
//
// Focus: each widget keeps its own `focused` flag. Only a press moves it
// (inside sets it, outside clears it); a focused widget keeps receiving drags
// after the pointer leaves it.
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "core/InputListener.h"

class CompositeWidget;

enum class HAlign : int32_t { Left = 0, Centre = 1, Right = 2, Stretch = 3 };
// y grows upward, so Top is the large-y end.
enum class VAlign : int32_t { Top = 0, Centre = 1, Bottom = 2, Stretch = 3 };

// Counts the widgets alive (made, copied, not yet destroyed), so that a test
// can see that throwing the interface away frees all of it. One increment and
// one decrement a widget (relaxed: widgets live on the main thread, the
// atomic only keeps a stray worker-made widget from being a data race).
class WidgetLiveCount {
public:
    WidgetLiveCount() { count_.fetch_add(1, std::memory_order_relaxed); }
    WidgetLiveCount(const WidgetLiveCount&) { count_.fetch_add(1, std::memory_order_relaxed); }
    WidgetLiveCount& operator=(const WidgetLiveCount&) { return *this; }
    ~WidgetLiveCount() { count_.fetch_sub(1, std::memory_order_relaxed); }
    static int count() { return count_.load(std::memory_order_relaxed); }

private:
    static inline std::atomic<int> count_{0};
};

class Widget : public InputListener {
public:
    // x, y, width, height in 96-dpi units; id 0 means unnamed.
    Widget(int x, int y, int width, int height, int32_t id = 0);
    ~Widget() override = default;

    // Widgets alive in the whole program.
    static int liveCount() { return WidgetLiveCount::count(); }

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    bool update(int elapsedMs, int originX, int originY) override;

    // Main pass and the pass above all neighbours (drop-down lists, tips).
    virtual void draw(float opacity);
    virtual void drawOverlay(float opacity) { (void)opacity; }
    virtual void onVisibilityChanged() {}
    virtual bool acceptsFocus() const { return true; }
    virtual void onFocusGained() {}
    virtual void onFocusLost() {}
    // Far edges exclusive, both ends truncated after adding.
    virtual bool hitTest(int x, int y) const;
    virtual Widget* findChild(int32_t childId) { (void)childId; return nullptr; }
    // Call after writing width or height.
    virtual void onSizeChanged() {}

    void setVisible(bool value);
    void setFocused(bool value);
    // opacity field x argument, halved when disabled.
    float effectiveAlpha(float opacity) const { return opacity * this->opacity * (enabled ? 1.0f : 0.5f); }

    int32_t id = 0;
    bool pointerInside = false;
    bool focused = false;
    bool visible = true;
    int32_t hoverMs = 0;
    float parentOriginX = 0, parentOriginY = 0;
    float absX = 0, absY = 0;
    float width = 0, height = 0;
    float relX = 0, relY = 0;
    int32_t marginLeft = 0, marginRight = 0, marginTop = 0, marginBottom = 0;
    int32_t insetLeft = 0, insetRight = 0, insetTop = 0, insetBottom = 0;
    float opacity = 1.0f;
    HAlign hAlign = HAlign::Left;
    VAlign vAlign = VAlign::Bottom;
    CompositeWidget* parent = nullptr; // not owning
    [[no_unique_address]] WidgetLiveCount liveCounter;

protected:
    // Hit test and focus update of a press; returns pointerInside.
    int pressAndFocus(int state, int x, int y);
    // Places one child inside this widget's inner rectangle and updates it.
    // baseX, baseY: the inner rectangle's origin in window pixels.
    void alignChild(Widget& child, int elapsedMs, int baseX, int baseY, int innerW, int innerH);
};

// Children keyed by int, in ascending key order; unnamed children count down
// from -1, so the newest unnamed child comes first.
class CompositeWidget : public Widget {
public:
    using Widget::Widget;

    std::shared_ptr<Widget> add(std::shared_ptr<Widget> widget, bool skipInTabOrder = false);
    template <typename W> std::shared_ptr<W> add(std::unique_ptr<W> widget, bool skipInTabOrder = false) {
        std::shared_ptr<W> shared = std::move(widget);
        add(std::shared_ptr<Widget>(shared), skipInTabOrder);
        return shared;
    }

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    int onDoubleClick(int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;
    void drawOverlay(float opacity) override;
    bool hitTest(int x, int y) const override;
    Widget* findChild(int32_t childId) override;

    std::map<int32_t, std::shared_ptr<Widget>> children;
    int32_t nextAutoKey = 1;
    std::vector<int32_t> tabOrder;
    std::vector<bool> tabSkip;

private:
    // Visible and enabled children, as copies that stay alive during delivery.
    std::vector<std::shared_ptr<Widget>> liveChildren() const;
};

// Plain ordered children with an optional background and a uniform scale.
// Without a background it is transparent to input that its children refuse.
class GroupWidget : public Widget {
public:
    using Widget::Widget;

    std::shared_ptr<Widget> add(std::shared_ptr<Widget> widget);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    int onDoubleClick(int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;
    void drawOverlay(float opacity) override;
    Widget* findChild(int32_t childId) override;

    float scale = 1.0f;
    std::vector<std::shared_ptr<Widget>> children;
    bool drawBackground = false;
    float backgroundColor[4] = {0, 0, 0, 0.5f};

private:
    std::vector<std::shared_ptr<Widget>> liveChildren() const;
    template <typename Call> int sumChildren(Call call) const;
};
