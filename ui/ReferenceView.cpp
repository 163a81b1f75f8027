#include "ui/ReferenceView.h"

#include <GL/glew.h>
#include <GL/glu.h>

#include <algorithm>
#include <cmath>

#include "canvas/Canvas.h"
#include "canvas/Painter.h"
#include "canvas/ViewNavigation.h"
#include "core/Camera.h"
#include "core/Globals.h"
#include "core/InputDispatcher.h"
#include "core/InputState.h"
#include "core/MainLoop.h"
#include "core/PaintingApplication.h"
#include "io/ImageCodec.h"
#include "tools/PerspectiveTool.h"
#include "ui/FileFlows.h"
#include "widgets/Animator.h"
#include "widgets/ButtonWidget.h"
#include "widgets/DrawHelpers.h"
#include "widgets/GUI.h"
#include "widgets/GlFont.h"
#include "core/Localisation.h"

std::shared_ptr<ReferenceView> gReferenceView;

namespace {
// Animator keys: the show and hide slide, the controls' fade out.
constexpr int32_t kSlideKey = 0x360F6A43;
constexpr int32_t kControlsFadeKey = static_cast<int32_t>(0xB38F4467u);
constexpr int kPerspectiveToolIndex = 4;

// The left side is the factory choice (also before the options are read).
bool sideIsLeft() { return !gApp || !gApp->options || gApp->getOptions().referenceViewOnLeft; }
int windowWidth() { return static_cast<int>(gRenderArea.width); }
int windowHeight() { return static_cast<int>(gRenderArea.height); }

void runReshape() { mainloop::reshape(windowWidth(), windowHeight()); }

// The painter's render area starts right of the view when the view is on
// the left and shows; otherwise at the window's left edge.
void setPainterAreaX(bool viewShown) {
    gPainter.renderArea.x = viewShown && sideIsLeft() ? static_cast<float>(windowWidth() / 2) : 0.0f;
}
} // namespace

float referenceViewX(bool visible, bool onLeft, int width) {
    const int half = width / 2;
    if (onLeft) return visible ? 0.0f : -static_cast<float>(half);
    return visible ? static_cast<float>(half) : static_cast<float>(width);
}

ReferenceView::ReferenceView(int x, int width_, int height_, Canvas* canvas_) : Widget(0, 0, 0, 0), canvas(canvas_) {
    relX = static_cast<float>(x);
    relY = 0;
    width = static_cast<float>(width_);
    height = static_cast<float>(height_);
    controlsRect = {static_cast<float>(x), 0, width, height};
    controlsRoot = std::make_unique<GUI>(&controlsRect);
    controlsGroup = std::make_shared<GroupWidget>(0, 0, 0, 200);
    controlsGroup->width = width;
    controlsGroup->drawBackground = true;
    controlsGroup->backgroundColor[0] = controlsGroup->backgroundColor[1] = controlsGroup->backgroundColor[2] = 0;
    controlsGroup->backgroundColor[3] = 0.5f;
    flipButton = std::make_shared<ButtonWidget>(0, 100, 110, 30, tr(tk::HORIZONTAL_FLIP_STR), 0,
                                                [this](Widget*) { flipped = !flipped; });
    flipButton->hAlign = HAlign::Centre;
    controlsGroup->add(flipButton);
    controlsGroup->setVisible(false);
    controlsRoot->add(controlsGroup);
    controlsRoot->update(0, 0, 0);
}

ReferenceView::~ReferenceView() = default;

// ---- input -------------------------------------------------------------------

template <typename Call> int ReferenceView::forward(int x, int y, Call call) {
    hoverMs = 0;
    if (!hitTest(x, y)) return 0;
    return call(x - static_cast<int>(absX), y - static_cast<int>(absY));
}

int ReferenceView::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    return forward(x, y, [&](int vx, int vy) { return controlsRoot->onMouseButton(button, state, vx, vy, fromPen); });
}
int ReferenceView::onMouseMove(int x, int y, bool fromPen) {
    return forward(x, y, [&](int vx, int vy) { return controlsRoot->onMouseMove(vx, vy, fromPen); });
}
int ReferenceView::onMouseDrag(int, int, bool) {
    hoverMs = 0;
    return 0;
}
int ReferenceView::onKey(int, int, int) {
    hoverMs = 0;
    return 0;
}
int ReferenceView::onMouseWheel(int, int, int, int) {
    hoverMs = 0;
    return 0;
}

bool ReferenceView::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    hoverMs += elapsedMs;
    controlsRect = {relX, relY, width, height};
    controlsGroup->width = width;
    // The pointer relative to the view.
    const int px = gInputState.mouseX - originX, py = gInputState.mouseY - originY;
    const bool overView = hitTest(px, py);
    if (hoverMs <= 1000) {
        if (overView && !controlsGroup->visible) fadeIn(500, 0, controlsGroup);
    } else if (controlsGroup->visible &&
               !controlsGroup->hitTest(px - static_cast<int>(absX), py - static_cast<int>(absY)) &&
               !AnimatorRegistry::instance().contains(kControlsFadeKey)) {
        // A second without input: the controls fade, unless the pointer rests on them.
        fadeOut(1000, kControlsFadeKey, controlsGroup);
    }
    controlsRoot->update(elapsedMs, 0, 0);
    return true;
}

// ---- drawing -----------------------------------------------------------------

void ReferenceView::draw(float opacity_) {
    const float a = opacity_ * opacity;
    const GLint vx = static_cast<GLint>(relX), vy = static_cast<GLint>(relY);
    const GLsizei vw = static_cast<GLsizei>(width), vh = static_cast<GLsizei>(height);
    if (vw <= 0 || vh <= 0) return;
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_COLOR_BUFFER_BIT | GL_TEXTURE_BIT | GL_VIEWPORT_BIT |
                 GL_TRANSFORM_BIT | GL_LINE_BIT);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glDisable(GL_LIGHTING);
    glDisable(GL_DEPTH_TEST);
    glViewport(vx, vy, vw, vh);
    glMatrixMode(GL_TEXTURE);
    glPushMatrix();
    glLoadIdentity();
    // The user's flip and the canvas's own flip cancel out: a flipped canvas
    // takes the reference with it. (s becomes 1 - s, whatever the wrap mode.)
    if (flipped != canvas->pictureMirrored) {
        glTranslatef(1, 0, 0);
        glScalef(-1, 1, 1);
    }
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    gluPerspective(90.0, static_cast<double>(vw) / vh, 1.0, 10000.0);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    gCamera.apply();
    glColor4f(1, 1, 1, a);
    if (texture.id()) {
        glEnable(GL_TEXTURE_2D);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
        glBindTexture(GL_TEXTURE_2D, texture.id());
    } else {
        glDisable(GL_TEXTURE_2D);
    }
    const float w = static_cast<float>(canvas->width), h = static_cast<float>(canvas->height);
    drawQuad(-w / 2, -h / 2, w, h);
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_TEXTURE);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);

    // The controls in the view's own rectangle (they hold view-relative places).
    if (controlsRoot->visible) controlsRoot->draw(1.0f);

    // Title, hint and frame in window pixels.
    glViewport(0, 0, windowWidth(), windowHeight());
    pushOrtho2D(static_cast<float>(windowWidth()), static_cast<float>(windowHeight()));
    glDisable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    if (gFontTitle) {
        const GlFont& font = *gFontTitle;
        const float top = relY + height;
        const float fontHeight = font.height;
        glColor4f(0.8f, 0.8f, 0.8f, a);
        const char* title = tr(tk::REFERENCE_VIEW_STR).c_str();
        printRaw(font, relX + width - 10 - static_cast<float>(textWidth(&font, title)), top - 5 - fontHeight, title);
        if (!texture.id()) {
            const char* hint = tr(tk::DROP_IMAGE_HERE_STR).c_str();
            printRaw(font, relX + (width - static_cast<float>(textWidth(&font, hint))) / 2,
                     relY + (height - fontHeight) / 2, hint);
        }
    }
    glDisable(GL_TEXTURE_2D);
    glColor4f(0.1f, 0.1f, 0.1f, a);
    drawFrame(relX, relY, width, height, 1.0f);
    popOrtho2D();
    glPopAttrib();
    // Back to the painter's part of the window.
    const RenderArea& r = gPainter.renderArea;
    glViewport(static_cast<GLint>(r.x), static_cast<GLint>(r.y), static_cast<GLsizei>(r.width),
               static_cast<GLsizei>(r.height));
}

bool ReferenceView::setReferenceImage(const std::string& path) {
    // Into a new texture first: a file that can't be read changes nothing.
    GlTexture loaded;
    int32_t w = 0, h = 0, channels = 0;
    if (!loadTexture(path, loaded, w, h, channels) || w <= 0 || h <= 0) {
        if (gApp) gApp->showMessage("%s", tr(tk::REFERENCE_PICTURE_UNREADABLE_STR).c_str());
        return false;
    }
    if (!fileflows::makeNewPicture(w, h, false)) return false;
    texture = std::move(loaded);
    pictureWidth = w;
    pictureHeight = h;
    return true;
}

// ---- the single instance -------------------------------------------------------

void createReferenceView(int windowWidth_, int windowHeight_) {
    if (gReferenceView) destroyReferenceView();
    const bool left = sideIsLeft();
    gReferenceView = std::make_shared<ReferenceView>(static_cast<int>(referenceViewX(false, left, windowWidth_)),
                                                     windowWidth_ / 2, windowHeight_, &gCanvas);
    gReferenceView->setVisible(false);
    gReferenceView->enabled = false;
    InputDispatcher::instance().add(gReferenceView);
}

void destroyReferenceView() {
    if (!gReferenceView) return;
    AnimatorRegistry::instance().remove(kSlideKey);
    InputDispatcher::instance().remove(gReferenceView.get());
    gReferenceView.reset();
}

bool referenceViewVisible() { return gReferenceView && gReferenceView->visible; }

void toggleReferenceView() {
    if (!gReferenceView) return;
    if (gReferenceView->visible) hideReferenceView();
    else showReferenceView();
}

void showReferenceView() {
    if (!gReferenceView) return;
    ReferenceView& view = *gReferenceView;
    AnimatorRegistry::instance().remove(kSlideKey);
    const bool left = sideIsLeft();
    const int W = windowWidth();
    // The slide starts where the view stood before the reshape placed it.
    const math::Vec2 from{view.relX, view.relY};
    view.setVisible(true);
    setPainterAreaX(true);
    runReshape();
    std::weak_ptr<ReferenceView> weak = gReferenceView;
    auto slide = std::make_shared<FieldEasingInterpolator<math::Vec2, 1>>(
        std::function<void(const math::Vec2&)>([weak](const math::Vec2& p) {
            if (auto v = weak.lock()) {
                v->relX = p.x;
                v->relY = p.y;
            }
        }),
        1);
    slide->start(0, 1000, from, math::Vec2{referenceViewX(true, left, W), 0});
    slide->onEnd = [weak] {
        auto v = weak.lock();
        if (!v) return;
        v->enabled = true;
        setPainterAreaX(true);
        runReshape();
    };
    AnimatorRegistry::instance().add(kSlideKey, slide);
}

void hideReferenceView() {
    if (!gReferenceView) return;
    ReferenceView& view = *gReferenceView;
    AnimatorRegistry::instance().remove(kSlideKey);
    view.enabled = false;
    const bool left = sideIsLeft();
    const math::Vec2 from{view.relX, view.relY};
    const math::Vec2 to{referenceViewX(false, left, windowWidth()), 0};
    std::weak_ptr<ReferenceView> weak = gReferenceView;
    auto slide = std::make_shared<FieldLinearInterpolatorWithRamp<math::Vec2>>(
        std::function<void(const math::Vec2&)>([weak](const math::Vec2& p) {
            if (auto v = weak.lock()) {
                v->relX = p.x;
                v->relY = p.y;
            }
        }));
    // 300 ms with a third of it (100 ms) to speed up: acceleration distance / 20000.
    slide->start(0, 300, from, to);
    slide->onEnd = [weak, left] {
        auto v = weak.lock();
        if (!v) return;
        v->setVisible(false);
        if (left) gPainter.renderArea.x = 0;
        runReshape();
    };
    AnimatorRegistry::instance().add(kSlideKey, slide);
}

int placeReferenceView(int windowWidth_, int windowHeight_, RenderArea& painterArea) {
    if (!gReferenceView) {
        painterArea.x = 0;
        return windowWidth_;
    }
    ReferenceView& view = *gReferenceView;
    const bool left = sideIsLeft();
    const bool shown = view.visible;
    // While a slide runs it owns the view's place; it ends at the same spot.
    if (!AnimatorRegistry::instance().contains(kSlideKey)) {
        view.relX = referenceViewX(shown, left, windowWidth_);
        view.relY = 0;
    }
    painterArea.x = shown && left ? static_cast<float>(windowWidth_ / 2) : 0.0f;
    view.width = static_cast<float>(windowWidth_ / 2);
    view.height = static_cast<float>(windowHeight_);
    view.controlsRect = {view.relX, 0, view.width, view.height};
    return shown ? windowWidth_ / 2 : windowWidth_;
}

bool referenceViewTakesDrop(const std::string& path, int x, int yDown) {
    if (!referenceViewVisible()) return false;
    const int y = windowHeight() - yDown;
    const RenderArea r = gReferenceView->rectangle();
    const bool inside = x >= static_cast<int>(r.x) && x < static_cast<int>(r.x + r.width) &&
                        y >= static_cast<int>(r.y) && y < static_cast<int>(r.y + r.height);
    if (!inside) return false;
    if (gReferenceView->setReferenceImage(path)) fitToWindow(gPainter);
    return true;
}

void drawReferenceViewStep() {
    if (!referenceViewVisible()) return;
    gReferenceView->draw(1.0f);
    Tool& perspective = *gPainter.tools[kPerspectiveToolIndex];
    if (perspective.isActive())
        static_cast<PerspectiveTool&>(perspective).drawGrid(gReferenceView->rectangle());
}
