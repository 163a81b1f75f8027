#include <gtest/gtest.h>

#include <memory>

#include "core/Globals.h"
#include "core/InputState.h"
#include "platform/Clock.h"
#include "widgets/Animator.h"
#include "widgets/CustomViewWidget.h"
#include "widgets/Draggable.h"

namespace {
// A 200 x 100 view at (100, 50), no painter (nothing is drawn here).
struct ViewSetup {
    ViewSetup() {
        GuiScale = 1.0f;
        view = std::make_shared<CustomViewWidget>(100, 50, 200, 100, nullptr);
        view->update(0, 0, 0);
    }
    void press(int x, int y) { view->onMouseButton(0, 0, x, y, false); }
    void release(int x, int y) { view->onMouseButton(0, 1, x, y, false); }
    std::shared_ptr<CustomViewWidget> view;
};
} // namespace

TEST(CustomView, CornersWithinTenPixelsElseTheBody) {
    ViewSetup s;
    EXPECT_EQ(s.view->handleAt(103, 53), 1);
    EXPECT_EQ(s.view->handleAt(296, 52), 2);
    EXPECT_EQ(s.view->handleAt(299, 149), 4);
    EXPECT_EQ(s.view->handleAt(102, 148), 8);
    EXPECT_EQ(s.view->handleAt(108, 58), 15) << "8 + 8 squared is 128, not below 100";
    s.view->onMouseMove(200, 100, false);
    EXPECT_EQ(s.view->hoveredHandle, 15);
    s.view->onMouseMove(10, 10, false);
    EXPECT_EQ(s.view->hoveredHandle, -1);
}

TEST(CustomView, BodyDragMovesCornerDragResizesWithTheAspect) {
    ViewSetup s;
    s.press(200, 100);
    EXPECT_EQ(s.view->activeHandle, 15);
    EXPECT_EQ(s.view->onMouseDrag(230, 90, false), 1);
    EXPECT_EQ(s.view->relX, 130.0f);
    EXPECT_EQ(s.view->relY, 40.0f);
    EXPECT_EQ(s.view->width, 200.0f);
    s.release(230, 90);
    EXPECT_EQ(s.view->activeHandle, -1);
    s.view->update(0, 0, 0);

    // Top right corner up by 50: height 150, width follows at 2:1.
    s.press(329, 139);
    ASSERT_EQ(s.view->activeHandle, 4);
    s.view->onMouseDrag(329, 189, false);
    EXPECT_EQ(s.view->height, 150.0f);
    EXPECT_EQ(s.view->width, 300.0f);
    EXPECT_EQ(s.view->relX, 130.0f) << "the left edge stays";
    EXPECT_EQ(s.view->relY, 40.0f);
    s.release(329, 189);
}

TEST(CustomView, CornerDragStopsAtTenPixels) {
    ViewSetup s;
    s.view->keepAspect = false;
    s.press(101, 51); // bottom left
    ASSERT_EQ(s.view->activeHandle, 1);
    s.view->onMouseDrag(600, 400, false);
    EXPECT_EQ(s.view->width, 10.0f);
    EXPECT_EQ(s.view->height, 10.0f);
    EXPECT_EQ(s.view->relX, 290.0f) << "the right edge stays at 300";
    EXPECT_EQ(s.view->relY, 140.0f) << "the top edge stays at 150";
}

TEST(CustomView, RightAlignedViewKeepsItsOffsetFromTheRightEdge) {
    ViewSetup s;
    s.view->hAlign = HAlign::Right;
    s.view->keepAspect = false;
    s.view->relX = -20;
    // A parent with its right edge at 400 aligns the view to 400 - 200.
    s.view->update(0, 200, 0);
    ASSERT_EQ(s.view->absX, 180.0f);
    s.press(181, 51);
    ASSERT_EQ(s.view->activeHandle, 1);
    s.view->onMouseDrag(161, 51, false); // left edge out by 20
    EXPECT_EQ(s.view->width, 220.0f);
    EXPECT_EQ(s.view->relX, -20.0f) << "the right edge decides for a right-aligned view";
    s.view->update(0, 400 - 220, 0);
    EXPECT_EQ(s.view->absX, 160.0f);
}

TEST(CustomView, ThrownViewGlidesFiveStepsFurther) {
    int32_t now = 0;
    platform::setClockOverride([&] { return now; });
    AnimatorRegistry::instance().clear();
    {
        ViewSetup s;
        s.press(200, 100);
        s.view->onMouseDrag(204, 103, false); // last step (4, 3), length 5
        s.release(204, 103);
        for (int t = 0; t < 300; t += 20) {
            now += 20;
            AnimatorRegistry::instance().tick();
        }
        EXPECT_NEAR(s.view->relX, 104.0f + 20.0f, 0.01f);
        EXPECT_NEAR(s.view->relY, 53.0f + 15.0f, 0.01f);
    }
    AnimatorRegistry::instance().clear();
    platform::setClockOverride({});
}

TEST(DraggableEntityTest, FollowsThePointerDelta) {
    math::Vec2 position{10, 20};
    DraggableEntity e([&]() -> math::Vec2& { return position; }, [&](math::Vec2 p) { position = p; });
    EXPECT_FALSE(e.dragTo(50, 50));
    e.begin(100, 100);
    EXPECT_TRUE(e.dragTo(110, 95));
    EXPECT_EQ(position.x, 20.0f);
    EXPECT_EQ(position.y, 15.0f);
    e.end();
    EXPECT_FALSE(e.dragTo(0, 0));
    DraggableItemsList list;
    list.activeHandle = 2;
    list.dropIndex = 4;
    list.reset();
    EXPECT_EQ(list.dropIndex, -1);
    EXPECT_EQ(list.activeHandle, -1);
}
