// The history's bookkeeping without GL: steps, snapshot indices, undo depth,
// the redo list and the modification count. No canvas is attached, so the
// snapshots carry indices and layer flags but no pixels.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "canvas/MultiLayeredImage.h"
#include "history/History.h"

namespace {

// Records the order in which actions execute.
class LoggingAction : public HistoryAction {
public:
    LoggingAction(int id, std::vector<int>* log, int typeCode = 22) : id(id), log(log), typeCode(typeCode) {}
    int type() const override { return typeCode; }
    bool countsAsStep() const override { return true; }
    bool execute() override {
        if (log) log->push_back(id);
        return true;
    }
    int id;
    std::vector<int>* log;
    int typeCode;
};

struct Bench {
    MultiLayeredImage layers;
    History history{nullptr, layers};
    std::vector<int> executed;

    void addSteps(int from, int count) {
        for (int i = from; i < from + count; ++i) history.add(std::make_unique<LoggingAction>(i, &executed), false);
    }
    int lastId() {
        return static_cast<const LoggingAction*>(history.actions().back().get())->id;
    }
};

} // namespace

TEST(HistoryCounters, ThirtyFirstStepTakesSnapshotBeforeItsAction) {
    Bench b;
    b.addSteps(0, 30);
    EXPECT_EQ(b.history.activeSnapshot, 0);
    EXPECT_EQ(b.history.stepsSinceSnapshot, 30);
    b.addSteps(30, 1);
    EXPECT_EQ(b.history.activeSnapshot, 1);
    EXPECT_EQ(b.history.snapshot(1).actionIndex, 30);
    EXPECT_EQ(b.history.actionCount(), 31u);
    EXPECT_EQ(b.history.stepsSinceSnapshot, 0);
    EXPECT_EQ(b.history.undoDepth, 30);
    EXPECT_EQ(b.layers.modificationCount, 31);
    EXPECT_TRUE(b.executed.empty()); // add never executes
    // The next snapshot lands 31 actions later, in the other slot.
    b.addSteps(31, 31);
    EXPECT_EQ(b.history.activeSnapshot, 0);
    EXPECT_EQ(b.history.snapshot(0).actionIndex, 61);
}

TEST(HistoryCounters, UndoAtZeroStepsCrossesToOlderSlot) {
    Bench b;
    b.addSteps(0, 31);
    ASSERT_TRUE(b.history.undo());
    EXPECT_EQ(b.history.activeSnapshot, 0);
    EXPECT_EQ(b.history.snapshot(1).actionIndex, -1);
    EXPECT_EQ(b.history.stepsSinceSnapshot, 29);
    EXPECT_EQ(b.history.actionCount(), 30u);
    EXPECT_EQ(b.history.redoList.size(), 1u);
    EXPECT_TRUE(b.history.replayPending);
    // The rebuild runs every action from the older slot (index 0) on.
    b.history.replayIfPending();
    EXPECT_FALSE(b.history.replayPending);
    ASSERT_EQ(b.executed.size(), 30u);
    for (int i = 0; i < 30; ++i) EXPECT_EQ(b.executed[static_cast<size_t>(i)], i);
}

TEST(HistoryCounters, ThirtyUndosFromAnyPositionThenRefusal) {
    for (int n = 31; n <= 130; ++n) {
        Bench b;
        b.addSteps(0, n);
        for (int k = 0; k < 30; ++k) {
            ASSERT_TRUE(b.history.undo()) << "position " << n << ", undo " << k + 1;
            b.history.replayIfPending();
            ASSERT_EQ(b.lastId(), n - k - 2) << "position " << n;
        }
        EXPECT_FALSE(b.history.undo()) << "position " << n;
        EXPECT_EQ(b.history.actionCount(), static_cast<size_t>(n - 30));
        EXPECT_EQ(b.layers.modificationCount, n - 30);
    }
}

TEST(HistoryCounters, RebuildExecutesAtMostThirtyOneActions) {
    for (int n = 31; n <= 100; n += 7) {
        Bench b;
        b.addSteps(0, n);
        while (true) {
            b.executed.clear();
            if (!b.history.undo()) break;
            b.history.replayIfPending();
            EXPECT_LE(b.executed.size(), 31u) << "position " << n;
            // The rebuild ends with the last surviving action.
            if (!b.executed.empty()) {
                EXPECT_EQ(b.executed.back(), b.lastId());
            }
        }
    }
}

TEST(HistoryCounters, RedoListRules) {
    Bench b;
    b.addSteps(0, 5);
    ASSERT_TRUE(b.history.undo());
    ASSERT_TRUE(b.history.undo());
    ASSERT_TRUE(b.history.undo());
    ASSERT_EQ(b.history.redoList.size(), 3u);
    EXPECT_EQ(b.layers.modificationCount, 2);
    // Redo brings back the action undone last, executes it, keeps the rest.
    b.executed.clear();
    ASSERT_TRUE(b.history.redo());
    EXPECT_EQ(b.lastId(), 2);
    EXPECT_EQ(b.executed, std::vector<int>({2}));
    EXPECT_EQ(b.history.redoList.size(), 2u);
    EXPECT_EQ(b.layers.modificationCount, 3);
    // A new step deletes what is left of the redo list.
    b.addSteps(100, 1);
    EXPECT_TRUE(b.history.redoList.empty());
    EXPECT_FALSE(b.history.redo());
    // clear() keeps the redo list.
    ASSERT_TRUE(b.history.undo());
    b.history.clear();
    EXPECT_EQ(b.history.actionCount(), 0u);
    EXPECT_EQ(b.history.redoList.size(), 1u);
    EXPECT_EQ(b.history.undoDepth, 0);
    EXPECT_FALSE(b.history.undo());
}

TEST(HistoryCounters, NothingToUndoAfterLoadUntilNewStep) {
    Bench b;
    for (int i = 0; i < 50; ++i) b.history.appendLoaded(std::make_unique<LoggingAction>(i, &b.executed));
    b.history.settleAfterLoad();
    EXPECT_EQ(b.history.snapshot(0).actionIndex, 50);
    EXPECT_EQ(b.history.snapshot(1).actionIndex, 50);
    EXPECT_FALSE(b.history.undo());
    EXPECT_EQ(b.history.actionCount(), 50u);
    b.addSteps(50, 1);
    EXPECT_TRUE(b.history.undo());
    b.executed.clear();
    b.history.replayIfPending();
    EXPECT_TRUE(b.executed.empty()); // the snapshot already holds all 50
    EXPECT_FALSE(b.history.undo());
    EXPECT_EQ(b.history.actionCount(), 50u);
}

TEST(HistoryCounters, BaseCountIsNeverUndone) {
    Bench b;
    b.addSteps(0, 1);
    b.history.baseCount = 1;
    b.addSteps(1, 2);
    EXPECT_TRUE(b.history.undo());
    EXPECT_TRUE(b.history.undo());
    EXPECT_FALSE(b.history.undo());
    EXPECT_EQ(b.history.actionCount(), 1u);
}

TEST(HistoryCounters, CyclingLayersLeavesOneEntry) {
    Bench b;
    b.addSteps(0, 3);
    b.history.addOrReplaceLast(std::make_unique<LoggingAction>(10, &b.executed, 5));
    b.history.addOrReplaceLast(std::make_unique<LoggingAction>(11, &b.executed, 5));
    b.history.addOrReplaceLast(std::make_unique<LoggingAction>(12, &b.executed, 5));
    EXPECT_EQ(b.history.actionCount(), 4u);
    EXPECT_EQ(b.lastId(), 12);
    EXPECT_EQ(b.layers.modificationCount, 4);
}

TEST(HistoryCounters, StepsMarkChangedLayers) {
    Bench b;
    b.layers.appendLayer();
    for (Layer& l : b.layers.layers) l.changedSinceSnapshot = false;
    b.layers.current = 1;
    b.addSteps(0, 1);
    EXPECT_FALSE(b.layers.at(0).changedSinceSnapshot);
    EXPECT_TRUE(b.layers.at(1).changedSinceSnapshot);
}
