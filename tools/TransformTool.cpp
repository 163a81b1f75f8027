#include "tools/TransformTool.h"

#include <algorithm>
#include <cmath>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/ImagePlacement.h"
#include "canvas/Painter.h"
#include "canvas/Projection.h"
#include "canvas/Shaders.h"
#include "core/FrameOverlays.h"
#include "core/Globals.h"
#include "core/InputState.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "history/ImageActions.h"
#include "widgets/DrawHelpers.h"
#include "core/Localisation.h"

namespace {
constexpr int kTransformToolIndex = 7;
constexpr int kKeyEnter = 13, kKeyEscape = 27;
constexpr int kKeyLeft = 356, kKeyUp = 357, kKeyRight = 358, kKeyDown = 359;
constexpr int kCornerBits[4] = {TransformTool::kCornerLowerLeft, TransformTool::kCornerLowerRight,
                                TransformTool::kCornerUpperRight, TransformTool::kCornerUpperLeft};

math::Vec2 rotated(math::Vec2 v, float degrees) {
    const float r = degrees / math::kDegreesPerRadian;
    const float c = std::cos(r), s = std::sin(r);
    return {v.x * c - v.y * s, v.x * s + v.y * c};
}

int previousTool(Painter* painter) {
    return static_cast<PaintingApplication*>(painter->application)->previousToolIndex;
}
} // namespace

void TransformTool::setImage(int32_t width, int32_t height, int32_t bytes, std::vector<uint8_t> image) {
    pixels = std::move(image);
    sourceWidth = width;
    sourceHeight = height;
    bytesPerPixel = bytes;
    if (texture) glDeleteTextures(1, &texture);
    texture = makeFloatingTexture(width, height, bytes, pixels.data(), pixels.size());
}

void TransformTool::setSizeFromImage(int32_t width, int32_t height) {
    size = {static_cast<float>(width), static_cast<float>(height)};
    aspect = height == 0 ? 1.0f : static_cast<float>(width) / static_cast<float>(height);
}

void TransformTool::reset() {
    rotation = 0;
    if (!painter || !painter->canvas) return;
    const float w = static_cast<float>(painter->canvas->width), h = static_cast<float>(painter->canvas->height);
    size = {w, h};
    centre = {w / 2, h / 2};
    aspect = h == 0 ? 1.0f : w / h;
}

void TransformTool::onCanvasCreated(int, int) { reset(); }

bool TransformTool::isActive() const {
    return painter && painter->application && static_cast<const PaintingApplication*>(painter->application)->currentToolIndex_ == kTransformToolIndex;
}

// ---- geometry ----------------------------------------------------------------

std::array<math::Vec2, 4> TransformTool::corners() const {
    const math::Vec2 h = size * 0.5f;
    return {centre + rotated({-h.x, -h.y}, rotation), centre + rotated({h.x, -h.y}, rotation),
            centre + rotated({h.x, h.y}, rotation), centre + rotated({-h.x, h.y}, rotation)};
}

bool TransformTool::contains(math::Vec2 canvasPoint) const {
    const math::Vec2 p = rotated(canvasPoint - centre, -rotation);
    return std::abs(p.x) <= size.x / 2 && std::abs(p.y) <= size.y / 2;
}

bool TransformTool::hitTest() const { return contains(painter->windowToCanvas(painter->windowPosition)); }

int TransformTool::grabIndexAt(math::Vec2 windowPoint) const {
    const auto c = corners();
    int grabbed = kWholeImage;
    for (int i = 0; i < 4; ++i) {
        const math::Vec2 d = painter->canvasToWindow(c[static_cast<size_t>(i)]) - windowPoint;
        if (d.dot(d) < GuiScale * GuiScale * 100.0f) grabbed = kCornerBits[i];
    }
    return grabbed;
}

void TransformTool::dragCorner(int bit, math::Vec2 delta, bool keepAspect) {
    const math::Vec2 e = rotated(delta, -rotation);
    const bool movesLeft = bit == kCornerLowerLeft || bit == kCornerUpperLeft;
    const bool movesBottom = bit == kCornerLowerLeft || bit == kCornerLowerRight;
    float left = 0, bottom = 0, right = size.x, top = size.y;
    (movesLeft ? left : right) += e.x;
    (movesBottom ? bottom : top) += e.y;
    if (right - left < kMinExtent) {
        if (movesLeft) left = right - kMinExtent;
        else right = left + kMinExtent;
    }
    if (top - bottom < kMinExtent) {
        if (movesBottom) bottom = top - kMinExtent;
        else top = bottom + kMinExtent;
    }
    if (keepAspect) {
        const float width = aspect * (top - bottom);
        if (movesLeft) left = right - width;
        else right = left + width;
    }
    const math::Vec2 shift{(left + right - size.x) / 2, (bottom + top - size.y) / 2};
    size = {right - left, top - bottom};
    centre += rotated(shift, rotation);
}

// ---- input -----------------------------------------------------------------

int TransformTool::onMouseButton(int button, int state, int, int, bool) {
    resetDrag();
    const bool inside = hitTest();
    if (button != 0 || state != 0) return 1;
    if (!inside) {
        zone = kRotating;
        const math::Vec2 d = painter->canvasPosition - centre;
        rotationOffset = std::atan2(d.y, d.x) * math::kDegreesPerRadian - rotation;
    } else {
        dragIndex = grabIndexAt(painter->windowPosition);
        lastPosition = painter->windowPosition;
    }
    return 1;
}

int TransformTool::onMouseMove(int, int, bool) {
    resetHover();
    if (hitTest()) {
        zone = kInside;
        hoverIndex = grabIndexAt(painter->windowPosition);
    } else {
        zone = kOutside;
    }
    return 0;
}

int TransformTool::onMouseDrag(int, int, bool) {
    if (!gInputState.leftButton && !gInputState.rightButton && !gInputState.middleButton) return 0;
    if (dragIndex != -1) {
        // In canvas units whatever the zoom and the view's rotation.
        const math::Vec2 delta = painter->windowToCanvas(painter->windowPosition) - painter->windowToCanvas(lastPosition);
        lastPosition = painter->windowPosition;
        if (dragIndex == kWholeImage) centre += delta;
        else dragCorner(dragIndex, delta, gInputState.shift);
    } else if (zone == kRotating) {
        const math::Vec2 d = painter->canvasPosition - centre;
        rotation = std::atan2(d.y, d.x) * math::kDegreesPerRadian - rotationOffset;
    }
    return 1;
}

int TransformTool::onKey(int key, int, int) {
    switch (key) {
    case kKeyEnter:
        apply();
        painter->selectTool(previousTool(painter));
        return 1;
    case kKeyEscape: painter->selectTool(previousTool(painter)); return 1;
    case kKeyLeft: centre.x -= 1; return 1;
    case kKeyRight: centre.x += 1; return 1;
    case kKeyUp: centre.y += 1; return 1;
    case kKeyDown: centre.y -= 1; return 1;
    default: return 0;
    }
}

bool TransformTool::update(int, int, int) {
    // Put off to here: a panel button that asks to leave lives in the panel
    // that leaving drops.
    if (finished) {
        finished = false;
        painter->selectTool(previousTool(painter));
    }
    return true;
}

void TransformTool::activate() {
    Tool::activate();
    finished = false;
    zone = kOutside;
    resetDrag();
}

bool TransformTool::deactivate() { return Tool::deactivate(); }

void TransformTool::drawHints(int& line) { printStatusLine(line, tr(tk::TRANSFORM_APPLY_TIP_STR)); }

// ---- apply -------------------------------------------------------------------

void TransformTool::apply() {
    if (pixels.empty() || !painter) return;
    Canvas& canvas = *painter->canvas;
    // Whole pixels, as the stored action is replayed: live and replay place alike.
    centre = {std::trunc(centre.x), std::trunc(centre.y)};
    size = {std::trunc(size.x), std::trunc(size.y)};
    auto action = std::make_unique<ImagePasteAction>(canvas, *painter->layers);
    const int32_t targetWidth = static_cast<int32_t>(std::ceil(size.x));
    const int32_t targetHeight = static_cast<int32_t>(std::ceil(size.y));
    if (sourceWidth <= targetWidth && sourceHeight <= targetHeight) {
        action->imageWidth = sourceWidth;
        action->imageHeight = sourceHeight;
        action->pixels = pixels;
    } else {
        // Never stored larger than it appears: the process stays small.
        action->imageWidth = targetWidth;
        action->imageHeight = targetHeight;
        action->pixels = renderImageAtSize(texture, targetWidth, targetHeight, bytesPerPixel);
        if (action->pixels.empty()) return;
    }
    action->bytesPerPixel = bytesPerPixel;
    action->centreX = centre.x;
    action->centreY = centre.y;
    action->targetWidth = size.x;
    action->targetHeight = size.y;
    action->rotation = rotation;
    gHistory.add(std::move(action), false);
    placeImage(canvas, *painter->layers, texture, centre, size, rotation);
    pixels.clear();
    pixels.shrink_to_fit();
}

// ---- drawing -----------------------------------------------------------------

void TransformTool::drawOnCanvas() {
    if (!texture || !painter) return;
    const auto c = corners();
    std::array<math::Vec2, 4> w;
    for (size_t i = 0; i < 4; ++i) w[i] = painter->canvasToWindow(c[i]);
    const math::Vec2 mid = painter->canvasToWindow(centre);
    const RenderArea& area = painter->renderArea;

    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_LINE_BIT);
    RenderAreaProjection projection(area.width, area.height);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_BLEND);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA); // premultiplied
    auto quad = [&] {
        glBegin(GL_QUADS);
        glTexCoord2f(0, 0); glVertex2f(w[0].x, w[0].y);
        glTexCoord2f(1, 0); glVertex2f(w[1].x, w[1].y);
        glTexCoord2f(1, 1); glVertex2f(w[2].x, w[2].y);
        glTexCoord2f(0, 1); glVertex2f(w[3].x, w[3].y);
        glEnd();
    };
    // 1. The image.
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glColor4f(1, 1, 1, 1);
    quad();
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
    // 2. Whatever of it lies beyond the canvas edge is darkened by half.
    const math::Vec2 origin = painter->canvasToWindow({0, 0});
    const math::Vec2 unitX = painter->canvasToWindow({1, 0}) - origin;
    const math::Vec2 unitY = painter->canvasToWindow({0, 1}) - origin;
    const float zoom = unitX.length();
    const math::Vec2 yAxis = unitY.length() > 0 ? unitY / unitY.length() : math::Vec2{0, 1};
    const math::Vec2 canvasMid = painter->canvasCentreToWindow();
    rectDimProgram.use();
    rectDimProgram.setVec2("center", canvasMid.x + area.x, canvasMid.y + area.y); // framebuffer pixels
    rectDimProgram.setVec2("yAxis", yAxis.x, yAxis.y);
    rectDimProgram.setVec2("extent", painter->canvas->width * zoom / 2, painter->canvas->height * zoom / 2);
    glColor4f(0, 0, 0, 1);
    quad();
    ShaderProgram::useNone();
    // 3. The centre cross along the image's axes; 4. an L at each corner.
    glLineWidth(2);
    auto stateColour = [&](int bit) {
        if (dragIndex == bit) glColor4f(0, 1, 1, 1);
        else if (hoverIndex == bit) glColor4f(0.5f, 0.8f, 0.8f, 1);
        else glColor4f(1, 1, 1, 1);
    };
    const math::Vec2 ax = (w[1] - w[0]).length() > 0 ? (w[1] - w[0]) / (w[1] - w[0]).length() : math::Vec2{1, 0};
    const math::Vec2 ay = (w[3] - w[0]).length() > 0 ? (w[3] - w[0]) / (w[3] - w[0]).length() : math::Vec2{0, 1};
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glBegin(GL_LINES);
    stateColour(kWholeImage);
    for (math::Vec2 a : {ax, ay}) {
        const math::Vec2 p = mid - a * 10.0f, q = mid + a * 10.0f;
        glVertex2f(p.x, p.y);
        glVertex2f(q.x, q.y);
    }
    // Along the two sides that meet at each corner, pointing inwards.
    const math::Vec2 inward[4][2] = {{ax, ay}, {ax * -1.0f, ay}, {ax * -1.0f, ay * -1.0f}, {ax, ay * -1.0f}};
    for (size_t i = 0; i < 4; ++i) {
        stateColour(kCornerBits[i]);
        for (const math::Vec2& dir : inward[i]) {
            const math::Vec2 q = w[i] + dir * 10.0f;
            glVertex2f(w[i].x, w[i].y);
            glVertex2f(q.x, q.y);
        }
    }
    glEnd();
    // 5. The ring that says "drag here to rotate".
    if (zone > kInside) {
        const float r = (w[2] - w[0]).length() / 2;
        const double step = r > 1 ? 2.0 * std::acos(1.0 - 0.25 / r) : 2.0 * std::acos(1.0 - 0.25);
        const int segments = std::max(3, static_cast<int>(2.0 * 3.14159265358979 / step));
        if (zone == kOutside) glColor4f(1, 1, 1, 0.3f);
        else glColor4f(0, 1, 1, 0.5f);
        drawRing(segments, mid.x, mid.y, r * 1.1f, r * 1.15f);
    }
    glPopAttrib();
}
