#include "core/PixelRegion.h"

#include <algorithm>
#include <cmath>

PixelRect PixelRect::around(float left, float bottom, float right, float top, int32_t margin) {
    if (!(left <= right) || !(bottom <= top)) return {};
    // Beyond this a coordinate is off any surface; clamping keeps the casts defined.
    constexpr float kFar = 1.0e8f;
    const auto lo = [&](float v) { return static_cast<int32_t>(std::floor(std::clamp(v, -kFar, kFar))) - margin; };
    const auto hi = [&](float v) { return static_cast<int32_t>(std::ceil(std::clamp(v, -kFar, kFar))) + margin; };
    const int32_t x0 = lo(left), y0 = lo(bottom), x1 = hi(right), y1 = hi(top);
    return {x0, y0, x1 - x0, y1 - y0};
}

void PixelRegion::reset(int32_t width, int32_t height, int32_t tileSide) {
    tileSide_ = std::max(tileSide, 1);
    width_ = std::max(width, 0);
    height_ = std::max(height, 0);
    columns_ = (width_ + tileSide_ - 1) / tileSide_;
    rows_ = (height_ + tileSide_ - 1) / tileSide_;
    tiles_.assign(static_cast<size_t>(columns_) * static_cast<size_t>(rows_), 0);
    count_ = 0;
}

void PixelRegion::clear() {
    std::fill(tiles_.begin(), tiles_.end(), 0);
    count_ = 0;
}

void PixelRegion::addAll() {
    std::fill(tiles_.begin(), tiles_.end(), 1);
    count_ = static_cast<int32_t>(tiles_.size());
}

void PixelRegion::add(const PixelRect& rect) {
    if (rect.empty()) return;
    const int32_t x0 = std::max(rect.x, 0), y0 = std::max(rect.y, 0);
    const int32_t x1 = std::min(rect.right(), width_), y1 = std::min(rect.top(), height_);
    if (x0 >= x1 || y0 >= y1) return;
    for (int32_t row = y0 / tileSide_; row <= (y1 - 1) / tileSide_; ++row) {
        for (int32_t column = x0 / tileSide_; column <= (x1 - 1) / tileSide_; ++column) {
            uint8_t& t = tiles_[static_cast<size_t>(row) * static_cast<size_t>(columns_) + static_cast<size_t>(column)];
            count_ += t == 0;
            t = 1;
        }
    }
}

void PixelRegion::addCovering(const PixelRegion& other) {
    if (other.width_ != width_ || other.height_ != height_) {
        addAll();
        return;
    }
    for (const PixelRect& r : other.rects()) add(r);
}

void PixelRegion::add(const PixelRegion& other) {
    if (other.tiles_.size() != tiles_.size() || other.tileSide_ != tileSide_) {
        addAll();  // a region of another surface: assume the worst
        return;
    }
    for (size_t i = 0; i < tiles_.size(); ++i) {
        if (other.tiles_[i] && !tiles_[i]) {
            tiles_[i] = 1;
            ++count_;
        }
    }
}

void PixelRegion::subtract(const PixelRegion& other) {
    if (other.tiles_.size() != tiles_.size() || other.tileSide_ != tileSide_) return;
    for (size_t i = 0; i < tiles_.size(); ++i) {
        if (other.tiles_[i] && tiles_[i]) {
            tiles_[i] = 0;
            --count_;
        }
    }
}

bool PixelRegion::containsTile(int32_t column, int32_t row) const {
    if (column < 0 || row < 0 || column >= columns_ || row >= rows_) return false;
    return tiles_[static_cast<size_t>(row) * static_cast<size_t>(columns_) + static_cast<size_t>(column)] != 0;
}

std::vector<PixelRect> PixelRegion::rects() const {
    std::vector<PixelRect> out;
    if (count_ == 0) return out;
    struct Run {
        int32_t first, last;  // columns, inclusive
        size_t rect;          // index into out
    };
    std::vector<Run> previous, current;
    for (int32_t row = 0; row < rows_; ++row) {
        current.clear();
        const uint8_t* line = tiles_.data() + static_cast<size_t>(row) * static_cast<size_t>(columns_);
        for (int32_t column = 0; column < columns_;) {
            if (!line[column]) {
                ++column;
                continue;
            }
            int32_t last = column;
            while (last + 1 < columns_ && line[last + 1]) ++last;
            const int32_t y = row * tileSide_;
            const int32_t top = std::min(y + tileSide_, height_);
            // The same run in the row below: grow that rectangle upwards.
            auto same = std::find_if(previous.begin(), previous.end(),
                                     [&](const Run& r) { return r.first == column && r.last == last; });
            if (same != previous.end()) {
                out[same->rect].height = top - out[same->rect].y;
                current.push_back({column, last, same->rect});
            } else {
                const int32_t x = column * tileSide_;
                const int32_t right = std::min((last + 1) * tileSide_, width_);
                out.push_back({x, y, right - x, top - y});
                current.push_back({column, last, out.size() - 1});
            }
            column = last + 1;
        }
        std::swap(previous, current);
    }
    return out;
}

int64_t PixelRegion::pixelCount() const {
    int64_t n = 0;
    for (const PixelRect& r : rects()) n += static_cast<int64_t>(r.width) * r.height;
    return n;
}
