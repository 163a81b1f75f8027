#pragma once
// The root of the widget tree. Children join and leave only at the next
// update, and every walk stops when `revision` changes under it, so widgets
// added or removed while an event is delivered are never walked over.
#include <functional>
#include <memory>
#include <vector>

#include "core/RenderArea.h"
#include "widgets/Widget.h"

class GUI : public Widget {
public:
    // windowRect: the window area, owned by the application (not owning).
    explicit GUI(RenderArea* windowRect);

    // Joins the tree at the next update.
    std::shared_ptr<Widget> add(std::shared_ptr<Widget> widget);
    // Leaves the tree at the next update; unknown widgets are ignored.
    void remove(const std::shared_ptr<Widget>& widget);

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    int onDoubleClick(int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;
    Widget* findChild(int32_t childId) override;

    float zoom = 1.0f;
    std::vector<std::shared_ptr<Widget>> children;
    int32_t revision = 0;
    std::vector<std::shared_ptr<Widget>> pendingAdd;
    std::vector<std::shared_ptr<Widget>> pendingRemove;
    RenderArea* windowRect = nullptr;
    // Called when an event was taken by the interface while the pointer zone
    // wasn't already the interface's (the application moves it to 3).
    std::function<void()> onPointerOverInterface;

private:
    template <typename Call> int deliver(Call call);
};
