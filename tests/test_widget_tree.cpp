#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/Globals.h"
#include "core/RenderArea.h"
#include "widgets/GUI.h"
#include "widgets/Widget.h"

namespace {
// Records the order in which it is offered events; answers with `result`.
class Probe : public Widget {
public:
    Probe(int x, int y, int w, int h, int32_t id, std::vector<std::string>& log_, std::string name_, int result_ = 1)
        : Widget(x, y, w, h, id), log(log_), name(std::move(name_)), result(result_) {}
    int onMouseButton(int button, int state, int x, int y, bool fromPen) override {
        Widget::onMouseButton(button, state, x, y, fromPen);
        log.push_back(name);
        return pointerInside ? result : 0;
    }
    int onKey(int, int, int) override {
        log.push_back(name);
        return 1;
    }
    std::vector<std::string>& log;
    std::string name;
    int result;
};

struct ScaleOne {
    ScaleOne() { GuiScale = 1.0f; }
};
} // namespace

TEST(WidgetTree, HitTestFarEdgesExclusive) {
    ScaleOne s;
    Widget w(20, 0, 10, 10);
    w.update(0, 0, 0);
    EXPECT_TRUE(w.hitTest(29, 5));
    EXPECT_FALSE(w.hitTest(30, 5));
    EXPECT_TRUE(w.hitTest(20, 0));
    EXPECT_FALSE(w.hitTest(19, 0));
}

TEST(WidgetTree, ConstructorScalesByGuiScale) {
    GuiScale = 2.0f;
    Widget w(3, 4, 10, 20);
    EXPECT_FLOAT_EQ(w.relX, 6);
    EXPECT_FLOAT_EQ(w.relY, 8);
    EXPECT_FLOAT_EQ(w.width, 20);
    EXPECT_FLOAT_EQ(w.height, 40);
    GuiScale = 1.0f;
}

TEST(WidgetTree, NewestUnnamedChildFirstNamedLast) {
    ScaleOne s;
    std::vector<std::string> log;
    CompositeWidget c(0, 0, 100, 100);
    for (const char* n : {"A", "B", "C"}) c.add(std::make_shared<Probe>(0, 0, 10, 10, 0, log, n, 0));
    c.add(std::make_shared<Probe>(0, 0, 10, 10, 5, log, "D", 0));
    c.update(0, 0, 0);
    c.focused = true;
    EXPECT_EQ(c.onKey('a', 0, 0), 4);
    EXPECT_EQ(log, (std::vector<std::string>{"C", "B", "A", "D"}));
    EXPECT_EQ(c.tabOrder, (std::vector<int32_t>{-1, -2, -3, 5}));
}

TEST(WidgetTree, ZeroResultPassesEventOnAndOneStops) {
    ScaleOne s;
    std::vector<std::string> log;
    CompositeWidget c(0, 0, 100, 100);
    c.add(std::make_shared<Probe>(0, 0, 50, 50, 1, log, "refuses", 0));
    c.add(std::make_shared<Probe>(0, 0, 50, 50, 2, log, "takes", 1));
    c.add(std::make_shared<Probe>(0, 0, 50, 50, 3, log, "never", 1));
    c.update(0, 0, 0);
    EXPECT_EQ(c.onMouseButton(0, 0, 10, 10, false), 1);
    // Focused children are walked first: none were focused before the press.
    EXPECT_EQ(log, (std::vector<std::string>{"refuses", "takes"}));
}

TEST(WidgetTree, PressOutsideCompositeTellsNoChild) {
    ScaleOne s;
    std::vector<std::string> log;
    CompositeWidget c(0, 0, 100, 100);
    auto child = std::make_shared<Probe>(0, 0, 50, 50, 1, log, "child");
    c.add(child);
    c.update(0, 0, 0);
    EXPECT_EQ(c.onMouseButton(0, 0, 10, 10, false), 1);
    EXPECT_TRUE(child->focused);
    log.clear();
    EXPECT_EQ(c.onMouseButton(0, 0, 500, 500, false), 0);
    EXPECT_FALSE(c.focused);
    EXPECT_TRUE(log.empty());
    EXPECT_TRUE(child->focused) << "the composite returned before telling the child";
}

TEST(WidgetTree, EmptyCompositeReturnsZeroButFollowsPresses) {
    ScaleOne s;
    CompositeWidget c(0, 0, 100, 100);
    c.update(0, 0, 0);
    EXPECT_EQ(c.onMouseButton(0, 0, 10, 10, false), 0);
    EXPECT_TRUE(c.focused);
    EXPECT_EQ(c.onMouseButton(0, 0, 200, 10, false), 0);
    EXPECT_FALSE(c.focused);
}

TEST(WidgetTree, FocusedChildKeepsDragsOutside) {
    ScaleOne s;
    std::vector<std::string> log;
    CompositeWidget c(0, 0, 100, 100);
    auto child = std::make_shared<Probe>(10, 10, 20, 20, 1, log, "child");
    c.add(child);
    c.update(0, 0, 0);
    c.onMouseButton(0, 0, 15, 15, false);
    EXPECT_EQ(c.onMouseDrag(90, 90, false), 1);
    EXPECT_FALSE(child->pointerInside);
    // The child ends inside: outside the composite nothing is hit.
    EXPECT_FALSE(c.hitTest(150, 150));
}

TEST(WidgetTree, FocusedChildReachingOutsideMakesTheCompositeHit) {
    ScaleOne s;
    std::vector<std::string> log;
    // Like an open drop-down list: the child's own area reaches below the composite.
    struct Reaching : Probe {
        using Probe::Probe;
        bool hitTest(int x, int y) const override {
            return Probe::hitTest(x, y) || (x >= absX && x < absX + width && y >= -200 && y < absY);
        }
    };
    CompositeWidget c(0, 0, 100, 100);
    auto child = std::make_shared<Reaching>(10, 10, 20, 20, 1, log, "list");
    c.add(child);
    c.update(0, 0, 0);
    ASSERT_TRUE(child->hitTest(15, -50));
    EXPECT_FALSE(c.hitTest(15, -50)) << "not focused yet: only the composite's own area counts";
    c.onMouseButton(0, 0, 15, 15, false);
    ASSERT_TRUE(child->focused);
    EXPECT_TRUE(c.hitTest(15, -50)) << "the open, focused child makes the composite hit";
    EXPECT_FALSE(c.hitTest(50, -50)) << "beside the child nothing is hit";
    child->visible = false;
    EXPECT_FALSE(c.hitTest(15, -50)) << "a hidden child does not count";
}

TEST(WidgetTree, NestedCompositesRouteToTheDeepestWidget) {
    ScaleOne s;
    std::vector<std::string> log;
    auto outer = std::make_shared<CompositeWidget>(0, 0, 200, 200, 0);
    auto inner = std::make_shared<CompositeWidget>(100, 100, 100, 100, 0);
    auto leaf = std::make_shared<Probe>(10, 10, 20, 20, 7, log, "leaf");
    inner->add(leaf);
    outer->add(inner);
    outer->update(0, 0, 0);
    EXPECT_FLOAT_EQ(leaf->absX, 110);
    EXPECT_EQ(outer->onMouseButton(0, 0, 115, 115, false), 1);
    EXPECT_EQ(log, std::vector<std::string>{"leaf"});
    EXPECT_EQ(outer->findChild(7), leaf.get());
    EXPECT_EQ(outer->findChild(8), nullptr);
}

TEST(WidgetTree, AlignmentPassPlacesAndStretches) {
    ScaleOne s;
    CompositeWidget c(10, 20, 100, 50);
    c.insetLeft = 2;
    auto right = std::make_shared<Widget>(0, 0, 10, 10, 1);
    right->hAlign = HAlign::Right;
    right->vAlign = VAlign::Top;
    auto stretched = std::make_shared<Widget>(0, 0, 10, 10, 2);
    stretched->hAlign = HAlign::Stretch;
    stretched->marginLeft = 60;
    stretched->marginRight = 60;
    auto centred = std::make_shared<Widget>(3, 0, 10, 10, 3);
    centred->hAlign = HAlign::Centre;
    centred->vAlign = VAlign::Centre;
    c.add(right);
    c.add(stretched);
    c.add(centred);
    c.update(0, 0, 0);
    EXPECT_FLOAT_EQ(right->absX, 10 + 2 + 98 - 10);
    EXPECT_FLOAT_EQ(right->absY, 20 + 50 - 10);
    EXPECT_FLOAT_EQ(stretched->width, 0) << "never negative";
    EXPECT_FLOAT_EQ(centred->absX, 12 + 44 + 3);
    EXPECT_FLOAT_EQ(centred->absY, 20 + 20);
}

TEST(WidgetTree, GroupWithoutBackgroundIsTransparent) {
    ScaleOne s;
    GroupWidget g(0, 0, 100, 100);
    g.update(0, 0, 0);
    EXPECT_EQ(g.onMouseButton(0, 0, 10, 10, false), 0);
    EXPECT_EQ(g.onMouseMove(10, 10, false), 0);
    g.drawBackground = true;
    EXPECT_EQ(g.onMouseButton(0, 0, 10, 10, false), 1);
}

TEST(WidgetTree, SetVisibleReportsOnlyChanges) {
    struct Counting : Widget {
        Counting() : Widget(0, 0, 1, 1) {}
        void onVisibilityChanged() override { ++calls; }
        int calls = 0;
    } w;
    w.setVisible(true);
    EXPECT_EQ(w.calls, 0);
    w.setVisible(false);
    w.setVisible(false);
    EXPECT_EQ(w.calls, 1);
}

TEST(WidgetTree, SetFocusedLosesBeforeGaining) {
    std::vector<std::string> log;
    struct F : Widget {
        explicit F(std::vector<std::string>& l) : Widget(0, 0, 1, 1), log(l) {}
        void onFocusGained() override { log.push_back("gained"); }
        void onFocusLost() override { log.push_back("lost"); }
        std::vector<std::string>& log;
    } w(log);
    w.setFocused(true);
    w.setFocused(true);
    w.setFocused(false);
    EXPECT_EQ(log, (std::vector<std::string>{"gained", "lost"}));
}

TEST(GuiRoot, ChildrenJoinAtNextUpdateAndWalksStopOnRevision) {
    ScaleOne s;
    RenderArea area{0, 0, 400, 300};
    GUI root(&area);
    std::vector<std::string> log;
    auto a = std::make_shared<Probe>(0, 0, 50, 50, 0, log, "a", 1);
    root.add(a);
    EXPECT_EQ(root.onMouseButton(0, 0, 10, 10, false), 0) << "not in the tree before the update";
    root.update(20, 0, 0);
    EXPECT_EQ(root.revision, 1);
    int hooks = 0;
    root.onPointerOverInterface = [&] { ++hooks; };
    EXPECT_EQ(root.onMouseButton(0, 0, 10, 10, false), 1);
    EXPECT_EQ(hooks, 1);
    root.remove(a);
    root.remove(std::make_shared<Widget>(0, 0, 1, 1)); // unknown: ignored
    root.update(20, 0, 0);
    EXPECT_TRUE(root.children.empty());
    EXPECT_EQ(root.revision, 2);

    // A widget whose click changes the tree (as a button that opens a dialog
    // does): the walk stops there, the next child is not offered the click.
    struct Rebuilding : Probe {
        Rebuilding(GUI& root_, std::vector<std::string>& log_) : Probe(0, 0, 50, 50, 0, log_, "rebuilds"), root(root_) {}
        int onMouseButton(int button, int state, int x, int y, bool fromPen) override {
            const int r = Probe::onMouseButton(button, state, x, y, fromPen);
            root.add(std::make_shared<Widget>(300, 200, 10, 10));
            root.update(0, 0, 0);
            return r;
        }
        GUI& root;
    };
    root.add(std::make_shared<Rebuilding>(root, log));
    root.add(std::make_shared<Probe>(0, 0, 50, 50, 0, log, "after", 1));
    root.update(20, 0, 0);
    ASSERT_EQ(root.children.size(), 2u);
    log.clear();
    const int32_t before = root.revision;
    EXPECT_EQ(root.onMouseButton(0, 0, 10, 10, false), 1);
    EXPECT_EQ(root.revision, before + 1);
    EXPECT_EQ(log, std::vector<std::string>{"rebuilds"});
    // Without a change the walk offers the click to every child.
    root.remove(root.children[0]);
    root.update(0, 0, 0);
    log.clear();
    root.add(std::make_shared<Probe>(0, 0, 50, 50, 0, log, "plain", 1));
    root.update(0, 0, 0);
    EXPECT_EQ(root.onMouseButton(0, 0, 10, 10, false), 2);
    EXPECT_EQ(log, (std::vector<std::string>{"after", "plain"}));
}

TEST(GuiRoot, RootDisabledIgnoresKeys) {
    RenderArea area{0, 0, 400, 300};
    GUI root(&area);
    std::vector<std::string> log;
    root.add(std::make_shared<Probe>(0, 0, 50, 50, 0, log, "a"));
    root.update(0, 0, 0);
    EXPECT_EQ(root.onKey('x', 0, 0), 1);
    root.enabled = false;
    EXPECT_EQ(root.onKey('x', 0, 0), 0);
}
