#include "widgets/CustomViewWidget.h"

#include <GL/glew.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/Shaders.h"
#include "core/Globals.h"
#include "core/PaintingApplication.h"
#include "core/RenderArea.h"
#include "widgets/Animator.h"
#include "widgets/DrawHelpers.h"

namespace {
constexpr int kBottomLeft = 1, kBottomRight = 2, kTopRight = 4, kTopLeft = 8, kBody = 15;
constexpr float kMinSide = 10;
} // namespace

CustomViewWidget::CustomViewWidget(int x, int y, int width_, int height_, Painter* painter, int32_t id_)
    : Widget(x, y, width_, height_, id_), owner(painter) {}

int CustomViewWidget::handleAt(int x, int y) const {
    const float px = static_cast<float>(x), py = static_cast<float>(y);
    const float corners[4][3] = {{absX, absY, kBottomLeft},
                                 {absX + width, absY, kBottomRight},
                                 {absX + width, absY + height, kTopRight},
                                 {absX, absY + height, kTopLeft}};
    int handle = kBody;
    for (const auto& c : corners) {
        const float dx = c[0] - px, dy = c[1] - py;
        // A later corner overwrites an earlier one.
        if (dx * dx + dy * dy < 100 * GuiScale * GuiScale) handle = static_cast<int>(c[2]);
    }
    return handle;
}

int CustomViewWidget::onMouseMove(int x, int y, bool fromPen) {
    clearHover();
    const int inside = Widget::onMouseMove(x, y, fromPen);
    if (inside) hoveredHandle = handleAt(x, y);
    previousX = lastX, previousY = lastY;
    lastX = static_cast<float>(x), lastY = static_cast<float>(y);
    return inside;
}

int CustomViewWidget::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    const int inside = Widget::onMouseButton(button, state, x, y, fromPen);
    const int released = activeHandle;
    reset();
    if (!inside || button != 0) return inside;
    if (state == 0) {
        activeHandle = handleAt(x, y);
        previousX = lastX = static_cast<float>(x);
        previousY = lastY = static_cast<float>(y);
        return 1;
    }
    if (released == kBody) {
        // Thrown: the last movement carries the view 5 times further, eased out.
        const math::Vec2 v{lastX - previousX, lastY - previousY};
        const float speed = v.length();
        if (speed - 1 > 0) {
            const math::Vec2 from{relX, relY};
            // 5 x the unit vector x |v|: five times the last step.
            const math::Vec2 to = from + v * 5.0f;
            std::weak_ptr<CustomViewWidget> weak = weak_from_this();
            auto a = std::make_shared<FieldEasingInterpolator<math::Vec2, 1>>(
                std::function<void(const math::Vec2&)>([weak](const math::Vec2& p) {
                    if (auto w = weak.lock()) w->relX = p.x, w->relY = p.y;
                }),
                5);
            a->start(0, 250, from, to);
            a->duration = 250;
            AnimatorRegistry::instance().add(0, a);
        }
    }
    return 1;
}

void CustomViewWidget::dragCorner(float dx, float dy) {
    float left = absX, right = absX + width, bottom = absY, top = absY + height;
    const float aspect = height > 0 ? width / height : 1.0f;
    switch (activeHandle) {
    case kBottomLeft: left += dx, bottom += dy; break;
    case kBottomRight: right += dx, bottom += dy; break;
    case kTopRight: right += dx, top += dy; break;
    case kTopLeft: left += dx, top += dy; break;
    default: left += dx, right += dx, bottom += dy, top += dy; break;
    }
    const bool leftEdge = activeHandle == kBottomLeft || activeHandle == kTopLeft;
    const bool bottomEdge = activeHandle == kBottomLeft || activeHandle == kBottomRight;
    if (activeHandle != kBody) {
        // The dragged edges give way before a side gets shorter than 10 pixels.
        if (right - left < kMinSide) {
            if (leftEdge) left = right - kMinSide;
            else right = left + kMinSide;
        }
        if (top - bottom < kMinSide) {
            if (bottomEdge) bottom = top - kMinSide;
            else top = bottom + kMinSide;
        }
        if (keepAspect) {
            const float w = std::max(kMinSide, (top - bottom) * aspect);
            if (leftEdge) left = right - w;
            else right = left + w;
        }
    }
    const float newW = right - left, newH = top - bottom;
    // relX, relY are offsets from the aligned place, which moves with the size
    // for right, centre and top anchors.
    switch (hAlign) {
    case HAlign::Right: relX += right - (absX + width); break;
    case HAlign::Centre: relX += (left + right) * 0.5f - (absX + width * 0.5f); break;
    default: relX += left - absX; break;
    }
    switch (vAlign) {
    case VAlign::Top: relY += top - (absY + height); break;
    case VAlign::Centre: relY += (bottom + top) * 0.5f - (absY + height * 0.5f); break;
    default: relY += bottom - absY; break;
    }
    width = newW;
    height = newH;
    absX = left;
    absY = bottom;
    onSizeChanged();
}

int CustomViewWidget::onMouseDrag(int x, int y, bool fromPen) {
    Widget::onMouseDrag(x, y, fromPen);
    if (activeHandle == -1) return 0;
    const float px = static_cast<float>(x), py = static_cast<float>(y);
    dragCorner(px - lastX, py - lastY);
    previousX = lastX, previousY = lastY;
    lastX = px, lastY = py;
    return 1;
}

void CustomViewWidget::draw(float opacity_) {
    const float a = effectiveAlpha(opacity_);
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_LINE_BIT | GL_TEXTURE_BIT |
                 GL_VIEWPORT_BIT);
    pushOrtho2D(gRenderArea.width, gRenderArea.height);
    if (gApp && gApp->options && gApp->options->guiShadow)
        drawShadow({absX, absY}, {width, height}, 5 * GuiScale, 40 * GuiScale, 0.35f * a);
    // A dark backing, so that the view stands out over the canvas behind it.
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(0.15f, 0.15f, 0.15f, 0.8f * a);
    drawRect(absX, absY, width, height);
    glColor4f(1, 1, 1, 1);
    const Canvas* canvas = owner ? owner->canvas : nullptr;
    if (canvas && canvas->width > 0 && canvas->height > 0) {
        // The whole canvas, scaled to the view's width.
        const float scale = width / static_cast<float>(canvas->width);
        const float h = static_cast<float>(canvas->height) * scale;
        owner->drawCanvas(absX, absY, width, h, false);
        glDisable(GL_TEXTURE_2D);
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        // The main view's window corners on the canvas, then in this view.
        const RenderArea& area = owner->renderArea;
        const math::Vec2 windowCorners[4] = {{area.x, area.y},
                                             {area.x + area.width, area.y},
                                             {area.x + area.width, area.y + area.height},
                                             {area.x, area.y + area.height}};
        math::Vec2 mapped[4];
        bool anyInside = false;
        for (int i = 0; i < 4; ++i) {
            const math::Vec2 c = owner->windowToCanvas(windowCorners[i]);
            mapped[i] = {absX + c.x * scale, absY + c.y * scale};
            anyInside = anyInside || (mapped[i].x > absX && mapped[i].x < absX + width && mapped[i].y > absY &&
                                      mapped[i].y < absY + h);
        }
        if (anyInside && rectDimProgram.compiled) {
            // Darkens all of the small canvas but the main view's rectangle,
            // which may be turned with the camera.
            const math::Vec2 centre = (mapped[0] + mapped[1] + mapped[2] + mapped[3]) * 0.25f;
            const math::Vec2 up = mapped[3] - mapped[0];
            const float upLength = up.length();
            if (upLength > 0) {
                rectDimProgram.use();
                rectDimProgram.setVec2("center", centre.x, centre.y);
                rectDimProgram.setVec2("yAxis", up.x / upLength, up.y / upLength);
                rectDimProgram.setVec2("extent", (mapped[1] - mapped[0]).length() / 2, upLength / 2);
                glColor4f(1, 1, 1, a);
                drawRect(absX, absY, width, h);
                ShaderProgram::useNone();
            }
        }
    }
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(1, 1, 1, 0.5f * a);
    drawFrame(static_cast<int>(absX), static_cast<int>(absY), static_cast<int>(width), static_cast<int>(height), 1);
    const int shown = activeHandle != -1 ? activeHandle : hoveredHandle;
    if (shown != -1) {
        const float arm = 10 * GuiScale;
        auto colour = [&](int handle) {
            if (handle == activeHandle) glColor4f(0, 1, 1, a);
            else if (handle == hoveredHandle) glColor4f(0.5f, 0.8f, 0.8f, a);
            else glColor4f(1, 1, 1, a);
        };
        glLineWidth(2);
        const float cx = absX + width / 2, cy = absY + height / 2;
        colour(shown == kBody ? shown : -2);
        glBegin(GL_LINES);
        glVertex2f(cx - arm, cy), glVertex2f(cx + arm, cy);
        glVertex2f(cx, cy - arm), glVertex2f(cx, cy + arm);
        glEnd();
        const float marks[4][4] = {{absX, absY, 1, 1},
                                   {absX + width, absY, -1, 1},
                                   {absX + width, absY + height, -1, -1},
                                   {absX, absY + height, 1, -1}};
        const int handles[4] = {kBottomLeft, kBottomRight, kTopRight, kTopLeft};
        for (int i = 0; i < 4; ++i) {
            colour(shown == handles[i] ? shown : -2);
            glBegin(GL_LINE_STRIP);
            glVertex2f(marks[i][0] + marks[i][2] * arm, marks[i][1]);
            glVertex2f(marks[i][0], marks[i][1]);
            glVertex2f(marks[i][0], marks[i][1] + marks[i][3] * arm);
            glEnd();
        }
    }
    popOrtho2D();
    glPopAttrib();
}
