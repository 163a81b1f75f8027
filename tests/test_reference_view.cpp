// The reference view's place beside the canvas for each side option, shown
// and hidden, what the reshape leaves the painter, and where a drop goes;
// without GL (the slides and the drawing are the end-to-end test's).
#include <gtest/gtest.h>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/PaintingApplication.h"
#include "test_command_support.h"
#include "ui/ReferenceView.h"

namespace {
class ReferenceViewPlace : public ::testing::Test {
protected:
    void SetUp() override {
        if (!gApp->options) gApp->createOptions();
        savedLeft = gApp->getOptions().referenceViewOnLeft;
        gApp->getOptions().referenceViewOnLeft = true;
        InputDispatcher& d = InputDispatcher::instance();
        d.listeners.clear();
        d.exclusive = nullptr;
        d.add(gApp->painter);
        savedArea = gPainter.renderArea;
        savedWindow = gRenderArea;
    }
    void TearDown() override {
        destroyReferenceView();
        InputDispatcher::instance().listeners.clear();
        gApp->getOptions().referenceViewOnLeft = savedLeft;
        gPainter.renderArea = savedArea;
        gRenderArea = savedWindow;
    }
    TempSettingsFolder folder;
    bool savedLeft = true;
    RenderArea savedArea, savedWindow;
};
} // namespace

TEST_F(ReferenceViewPlace, SidesShownAndHidden) {
    EXPECT_EQ(referenceViewX(true, true, 1001), 0.0f);
    EXPECT_EQ(referenceViewX(false, true, 1001), -500.0f);
    EXPECT_EQ(referenceViewX(true, false, 1001), 500.0f);
    EXPECT_EQ(referenceViewX(false, false, 1001), 1001.0f);
}

TEST_F(ReferenceViewPlace, MadeHiddenDisabledAndLastInTheDispatcher) {
    EXPECT_FALSE(referenceViewVisible()) << "no view before it is made";
    createReferenceView(1000, 700);
    ASSERT_TRUE(gReferenceView);
    EXPECT_FALSE(gReferenceView->visible);
    EXPECT_FALSE(gReferenceView->enabled);
    EXPECT_FALSE(referenceViewVisible());
    EXPECT_EQ(gReferenceView->width, 500.0f);
    EXPECT_EQ(gReferenceView->height, 700.0f);
    EXPECT_EQ(gReferenceView->relX, -500.0f) << "hidden off the left edge";
    const auto& listeners = InputDispatcher::instance().listeners;
    ASSERT_EQ(listeners.size(), 2u);
    EXPECT_EQ(listeners[0].get(), static_cast<InputListener*>(gApp->painter.get()));
    EXPECT_EQ(listeners[1].get(), static_cast<InputListener*>(gReferenceView.get()));
    destroyReferenceView();
    EXPECT_EQ(InputDispatcher::instance().listeners.size(), 1u);
}

TEST_F(ReferenceViewPlace, ReshapeLeavesThePainterTheOtherHalf) {
    RenderArea area;
    EXPECT_EQ(placeReferenceView(1000, 700, area), 1000) << "no view: the whole window";
    createReferenceView(1000, 700);
    EXPECT_EQ(placeReferenceView(1200, 800, area), 1200);
    EXPECT_EQ(area.x, 0.0f);
    EXPECT_EQ(gReferenceView->relX, -600.0f);
    EXPECT_EQ(gReferenceView->width, 600.0f);
    EXPECT_EQ(gReferenceView->height, 800.0f);
    gReferenceView->setVisible(true);
    EXPECT_TRUE(referenceViewVisible());
    EXPECT_EQ(placeReferenceView(1200, 800, area), 600);
    EXPECT_EQ(area.x, 600.0f) << "view on the left, canvas on the right";
    EXPECT_EQ(gReferenceView->relX, 0.0f);
    gApp->getOptions().referenceViewOnLeft = false;
    EXPECT_EQ(placeReferenceView(1200, 800, area), 600);
    EXPECT_EQ(area.x, 0.0f);
    EXPECT_EQ(gReferenceView->relX, 600.0f);
    gReferenceView->setVisible(false);
    EXPECT_EQ(placeReferenceView(1200, 800, area), 1200);
    EXPECT_EQ(gReferenceView->relX, 1200.0f) << "hidden off the right edge";
}

// A drop lands on the view only while it shows and only inside it; a file
// that can't be read there changes neither the canvas nor the view.
TEST_F(ReferenceViewPlace, DropsOnTheViewOnly) {
    gRenderArea = {0, 0, 1000, 700};
    createReferenceView(1000, 700);
    const std::string missing = folder.dir + "/no-such-picture.png";
    EXPECT_FALSE(referenceViewTakesDrop(missing, 100, 300)) << "hidden: the ordinary path";
    gReferenceView->setVisible(true);
    RenderArea area;
    placeReferenceView(1000, 700, area);
    EXPECT_FALSE(referenceViewTakesDrop(missing, 700, 300)) << "on the canvas half";
    const int w = gCanvas.width, h = gCanvas.height;
    EXPECT_TRUE(referenceViewTakesDrop(missing, 100, 300));
    EXPECT_FALSE(gReferenceView->hasPicture());
    EXPECT_EQ(gCanvas.width, w);
    EXPECT_EQ(gCanvas.height, h);
}
