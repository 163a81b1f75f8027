// The tile bookkeeping that limits passes: which tiles a rectangle marks, how
// a region comes out as rectangles, and that every marked pixel is covered
// exactly once.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/PixelRegion.h"

namespace {

// Pixel-level truth: 1 where some rectangle of rects() covers the pixel, 2 where two do.
std::vector<int> coverage(const PixelRegion& region) {
    std::vector<int> cover(static_cast<size_t>(region.width()) * region.height(), 0);
    for (const PixelRect& r : region.rects())
        for (int y = r.y; y < r.top(); ++y)
            for (int x = r.x; x < r.right(); ++x) ++cover[static_cast<size_t>(y) * region.width() + x];
    return cover;
}

} // namespace

TEST(PixelRegion, RectAroundABoxRoundsOutwardsWithItsMargin) {
    EXPECT_EQ(PixelRect::around(1.5f, 2.25f, 3.0f, 4.75f, 0), (PixelRect{1, 2, 2, 3}));
    EXPECT_EQ(PixelRect::around(1.5f, 2.25f, 3.0f, 4.75f, 2), (PixelRect{-1, 0, 6, 7}));
    EXPECT_EQ(PixelRect::around(-3.5f, -1.0f, -0.5f, 0.0f, 0), (PixelRect{-4, -1, 4, 1}));
    // Inverted and NaN boxes hold nothing; huge ones stay defined.
    EXPECT_TRUE(PixelRect::around(5, 0, 4, 1, 0).empty());
    EXPECT_TRUE(PixelRect::around(NAN, 0, 4, 1, 0).empty());
    const PixelRect far = PixelRect::around(-1e30f, -1e30f, 1e30f, 1e30f, 1);
    EXPECT_FALSE(far.empty());
    EXPECT_LT(far.x, 0);
}

TEST(PixelRegion, MarksEveryTileARectangleTouches) {
    PixelRegion region(300, 130);  // 5 x 3 tiles, the last column 44 wide, the last row 2 high
    EXPECT_TRUE(region.empty());
    region.add({63, 10, 2, 2});  // straddles columns 0 and 1 of row 0
    EXPECT_EQ(region.tileCount(), 2);
    EXPECT_TRUE(region.containsTile(0, 0));
    EXPECT_TRUE(region.containsTile(1, 0));
    EXPECT_FALSE(region.containsTile(2, 0));
    region.add({-50, -50, 10, 10});   // wholly outside: nothing
    region.add({290, 129, 100, 100}); // the top right corner tile only
    EXPECT_EQ(region.tileCount(), 3);
    EXPECT_TRUE(region.containsTile(4, 2));
    region.add({63, 10, 2, 2});  // again: no tile counted twice
    EXPECT_EQ(region.tileCount(), 3);
    EXPECT_FALSE(region.full());
    region.addAll();
    EXPECT_TRUE(region.full());
    EXPECT_EQ(region.tileCount(), 15);
    const std::vector<PixelRect> all = region.rects();
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0], (PixelRect{0, 0, 300, 130}));
    region.clear();
    EXPECT_TRUE(region.empty());
    EXPECT_TRUE(region.rects().empty());
}

TEST(PixelRegion, RectsJoinRunsAndRowsAndStopAtTheSurface) {
    PixelRegion region(256, 256);  // 4 x 4 tiles
    // An L: columns 0-1 of rows 0-2, and column 3 of row 0.
    region.add({0, 0, 128, 192});
    region.add({200, 0, 1, 1});
    const std::vector<PixelRect> rects = region.rects();
    ASSERT_EQ(rects.size(), 2u);
    EXPECT_EQ(rects[0], (PixelRect{0, 0, 128, 192}));
    EXPECT_EQ(rects[1], (PixelRect{192, 0, 64, 64}));
    EXPECT_EQ(region.pixelCount(), 128 * 192 + 64 * 64);
}

TEST(PixelRegion, SubtractAndAddWorkTileByTile) {
    PixelRegion a(200, 200), b(200, 200);
    a.add({0, 0, 200, 64});  // row 0
    b.add({64, 0, 64, 200}); // column 1
    PixelRegion u = a;
    u.add(b);
    EXPECT_EQ(u.tileCount(), 4 + 3);
    a.subtract(b);
    EXPECT_EQ(a.tileCount(), 3);
    EXPECT_FALSE(a.containsTile(1, 0));
    EXPECT_TRUE(a.containsTile(0, 0));
    // A region of another surface size counts as everything when added.
    PixelRegion other(10, 10);
    other.add({0, 0, 1, 1});
    a.add(other);
    EXPECT_TRUE(a.full());
}

TEST(PixelRegion, RandomRegionsAreCoveredExactlyOnce) {
    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        const int w = 1 + static_cast<int>(rng() % 400), h = 1 + static_cast<int>(rng() % 300);
        PixelRegion region(w, h);
        std::vector<uint8_t> expected(static_cast<size_t>(w) * h, 0);
        const int n = static_cast<int>(rng() % 6);
        for (int i = 0; i < n; ++i) {
            const PixelRect r{static_cast<int>(rng() % (w + 40)) - 20, static_cast<int>(rng() % (h + 40)) - 20,
                              static_cast<int>(rng() % 90), static_cast<int>(rng() % 90)};
            region.add(r);
            // The tile truth, worked out pixel by pixel.
            for (int y = std::max(r.y, 0); y < std::min(r.top(), h); ++y)
                for (int x = std::max(r.x, 0); x < std::min(r.right(), w); ++x) {
                    const int tx = x / PixelRegion::kTileSide, ty = y / PixelRegion::kTileSide;
                    for (int py = ty * 64; py < std::min(ty * 64 + 64, h); ++py)
                        for (int px = tx * 64; px < std::min(tx * 64 + 64, w); ++px)
                            expected[static_cast<size_t>(py) * w + px] = 1;
                }
        }
        const std::vector<int> got = coverage(region);
        for (size_t p = 0; p < got.size(); ++p)
            ASSERT_EQ(got[p], expected[p]) << "round " << round << " pixel " << p % w << "," << p / w;
    }
}

TEST(PixelRegion, FineTilesCoverCoarseOnesExactly) {
    PixelRegion coarse(200, 150);  // 64-pixel tiles
    coarse.add({70, 10, 1, 1});     // tile (1, 0): pixels 64..127 x 0..63
    coarse.add({199, 149, 1, 1});   // the clipped corner tile: 192..199 x 128..149
    PixelRegion fine(200, 150, 16);
    EXPECT_EQ(fine.tileSide(), 16);
    fine.addCovering(coarse);
    // 4 x 4 fine tiles for the whole coarse tile, 1 x 2 for the clipped corner.
    EXPECT_EQ(fine.tileCount(), 16 + 2);
    EXPECT_EQ(fine.pixelCount(), coarse.pixelCount());
    EXPECT_TRUE(fine.containsTile(4, 0));
    EXPECT_TRUE(fine.containsTile(7, 3));
    EXPECT_FALSE(fine.containsTile(8, 0));
    // Regions of different tiles do not mix tile by tile: adding counts as everything.
    PixelRegion other(200, 150, 16);
    other.add(coarse);
    EXPECT_TRUE(other.full());
}
