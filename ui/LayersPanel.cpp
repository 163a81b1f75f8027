#include "ui/LayersPanel.h"

#include <GL/glew.h>

#include <algorithm>
#include <memory>
#include <string>

#include "canvas/Canvas.h"
#include "canvas/LayerThumbnails.h"
#include "canvas/MultiLayeredImage.h"
#include "canvas/Shaders.h"
#include "core/Globals.h"
#include "core/Localisation.h"
#include "core/PaintingApplication.h"
#include "history/History.h"
#include "history/LayerListAction.h"
#include "history/LayerPropertyAction.h"
#include "io/ProcessFormat.h"
#include "widgets/DrawHelpers.h"
#include "widgets/ImageButton.h"

namespace {

constexpr int kEdgeScrollMs = 801;

int scaled(float units) { return static_cast<int>(units * GuiScale); }

void tell(const std::string& text) {
    if (gApp) gApp->showMessage("%s", text.c_str());
}

// The history owns the action from here on; it runs once now.
bool addAndExecute(std::unique_ptr<HistoryAction> action) {
    HistoryAction& step = *action;
    gHistory.add(std::move(action), false);
    return step.execute();
}

// A run of layer picks or of opacity changes leaves one entry: the new action
// takes the place of a last one of its type.
void replaceOrAddAndExecute(std::unique_ptr<HistoryAction> action) {
    HistoryAction& step = *action;
    gHistory.addOrReplaceLast(std::move(action));
    step.execute();
}

} // namespace

// ---- LayersList ---------------------------------------------------------------------------

LayersWidget::LayersList::LayersList(MultiLayeredImage* layers_, Canvas* canvas_)
    : ScrollableWidget(2, 40, 76, 258, 0, false), maxThumbHeight(scaled(50)), layers(layers_), canvas(canvas_) {
    if (canvas) computeThumbnailSize(canvas->width, canvas->height);
}

int LayersWidget::LayersList::itemCount() const { return layers ? layers->count() : 0; }

float LayersWidget::LayersList::itemSize() const { return static_cast<float>(thumbHeight) + 10 * GuiScale; }

int LayersWidget::LayersList::left() const { return static_cast<int>(absX) + scaled(5); }
int LayersWidget::LayersList::base() const { return static_cast<int>(absY) + scaled(5); }
int LayersWidget::LayersList::rowHeight() const { return thumbHeight + scaled(10); }

void LayersWidget::LayersList::computeThumbnailSize(int canvasWidth, int canvasHeight) {
    cachedCanvasWidth = canvasWidth;
    cachedCanvasHeight = canvasHeight;
    if (canvasWidth < 1 || canvasHeight < 1) return;
    const float avail = static_cast<float>(static_cast<int>(width)) - 10 * GuiScale - scrollbar.width;
    const float aspect = static_cast<float>(canvasHeight) / static_cast<float>(canvasWidth);
    if (static_cast<float>(canvasHeight) / static_cast<float>(maxThumbHeight) <
        static_cast<float>(canvasWidth) / avail) {
        thumbWidth = static_cast<int>(avail);
        thumbHeight = static_cast<int>(avail * aspect);
    } else {
        thumbHeight = maxThumbHeight;
        thumbWidth = static_cast<int>(static_cast<float>(maxThumbHeight) / aspect);
    }
    // A sliver of a canvas still gets a pixel to show.
    thumbWidth = std::max(thumbWidth, 1);
    thumbHeight = std::max(thumbHeight, 1);
}

int LayersWidget::LayersList::dropPosition(int y) const {
    // The upper half of a row counts towards the slot above it.
    const int row = std::clamp((thumbHeight / 2 + y) / rowHeight(), 0, visibleCount());
    return std::clamp(row + scrollbar.firstVisible, 0, itemCount());
}

void LayersWidget::LayersList::scrollToCurrent() {
    if (!layers) return;
    scrollbar.ensureVisible(layers->current);
    scrollbar.update(0, static_cast<int>(absX), static_cast<int>(absY));
}

int LayersWidget::LayersList::onMouseButton(int button, int state, int x, int y, bool fromPen) {
    if (!layers || !canvas) return 0;
    if (dragIndex() != -1 && button == 0 && state == 1) {
        dropIndex = dropPosition(y - (scaled(5) + static_cast<int>(absY)));
        // A drop on the start row, above or below its middle, leaves the order as it is.
        if (dropIndex != dragIndex() && dropIndex != dragIndex() + 1)
            addAndExecute(std::make_unique<LayerMoveAction>(*canvas, *layers, dropIndex));
        reset();
        return 1;
    }
    reset();
    const int result = ScrollableWidget::onMouseButton(button, state, x, y, fromPen);
    if (result == 2) return result;
    if (result != 1 || button != 0 || state != 0) return result;

    const int l = left(), b = base(), rh = rowHeight();
    if (x - l < 0 || x - l > thumbWidth || y - b < 0 || rh <= 0) return result;
    const int row = (y - b) / rh;
    const int index = scrollbar.firstVisible + row;
    // A press in the gap between two thumbnails selects nothing.
    if (index >= itemCount() || y - b - row * rh > thumbHeight) return result;

    activeHandle = index;
    lastPosition = {static_cast<float>(l), static_cast<float>(b + row * rh)};
    pointerOffset = math::Vec2(static_cast<float>(x), static_cast<float>(y)) - lastPosition;
    if (index != layers->current) {
        replaceOrAddAndExecute(std::make_unique<LayerChangeAction>(*canvas, *layers, index));
        tell(loc::fillText(tr(tk::CURRENT_LAYER_N_STR), {std::to_string(layers->current)}));
    }
    return result;
}

int LayersWidget::LayersList::onMouseDrag(int x, int y, bool fromPen) {
    if (dragIndex() == -1) {
        const int bar = scrollbar.onMouseDrag(x, y, fromPen);
        if (bar != 1) pointerInside = hitTest(x, y);
        return bar == 1 ? 1 : 0;
    }
    lastPosition = math::Vec2(static_cast<float>(x), static_cast<float>(y)) - pointerOffset;
    dropIndex = dropPosition(y - (scaled(5) + static_cast<int>(absY)));
    return 1;
}

int LayersWidget::LayersList::onMouseWheel(int wheel, int direction, int x, int y) {
    if (dragIndex() != -1 || !hitTest(x, y)) return 0;
    return scrollbar.onMouseWheel(wheel, direction, x, y);
}

int LayersWidget::LayersList::onDoubleClick(int x, int y) {
    (void)x, (void)y;
    const bool held = dragIndex() != -1;
    if (held && layers && canvas) {
        addAndExecute(std::make_unique<LayerVisibilityToggleAction>(*canvas, *layers));
        tell(loc::fillText(tr(tk::LAYER_N_VISIBILITY_S_STR),
                           {std::to_string(layers->current),
                            tr(layers->currentLayer().visible ? tk::LAYERS_PANEL_ON_STR : tk::LAYERS_PANEL_OFF_STR)}));
    }
    reset();
    return held ? 1 : 0;
}

bool LayersWidget::LayersList::update(int elapsedMs, int originX, int originY) {
    Widget::update(elapsedMs, originX, originY);
    if (canvas && (canvas->width != cachedCanvasWidth || canvas->height != cachedCanvasHeight))
        computeThumbnailSize(canvas->width, canvas->height);
    // Held over the first or the last visible row, the list scrolls on a timer
    // and the insertion line moves with it.
    const int first = scrollbar.firstVisible;
    const bool atBottom = dropIndex != -1 && dropIndex == first;
    const bool atTop = dropIndex != -1 && dropIndex == first + visibleCount();
    if (atBottom || atTop) {
        if (hoverMs < kEdgeScrollMs) {
            hoverMs += elapsedMs;
        } else {
            hoverMs = 0;
            if (atBottom) {
                if (scrollbar.firstVisible > 0) scrollbar.stepLow();
                if (dropIndex > 0) --dropIndex;
            } else {
                scrollbar.stepHigh();
                if (dropIndex < itemCount()) ++dropIndex;
            }
        }
    } else {
        hoverMs = 0;
    }
    scrollbar.update(elapsedMs, static_cast<int>(absX), static_cast<int>(absY));
    return true;
}

void LayersWidget::LayersList::draw(float opacity_) {
    if (!layers || !canvas) return;
    const float a = opacity_ * opacity;
    const int count = itemCount();
    const int first = scrollbar.firstVisible;
    const int n = std::max(0, std::min(visibleCount(), count - first));
    const int l = left(), b = base(), rh = rowHeight();
    const int tw = thumbWidth, th = thumbHeight;

    if (scrollbar.visible) scrollbar.draw(enabled ? a : a * 0.5f);
    glPushAttrib(GL_ENABLE_BIT | GL_COLOR_BUFFER_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT | GL_LINE_BIT);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glDisable(GL_TEXTURE_2D);

    // 1. The checkerboard under each thumbnail.
    glUseProgram(checkerboardProgram.program);
    glColor4f(1, 1, 1, a);
    for (int row = 0; row < n; ++row) drawRect(l, b + row * rh, tw, th);
    glUseProgram(0);

    // 2. The thumbnails: premultiplied pixels, faded by scaling all four channels.
    gLayerThumbnails.prune(*layers);
    glEnable(GL_TEXTURE_2D);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    glColor4f(a, a, a, a);
    for (int row = 0; row < n; ++row) {
        const GLuint texture = gLayerThumbnails.texture(*canvas, *layers, first + row, tw, th);
        if (texture == 0) continue;
        glBindTexture(GL_TEXTURE_2D, texture);
        drawTexturedQuad(l, b + row * rh, tw, th);
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_TEXTURE_2D);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);

    // 3. Frames: the current layer's in cyan.
    glLineWidth(1.5f);
    for (int row = 0; row < n; ++row) {
        if (first + row == layers->current) glColor4f(0.5f, 1, 1, a);
        else glColor4f(0.5f, 0.5f, 0.5f, a);
        drawFrame(l, b + row * rh, tw, th, 1);
    }

    // 4. The held thumbnail under the pointer and the insertion line's arrow.
    if (dragIndex() != -1 && dragIndex() < count) {
        const int x = static_cast<int>(lastPosition.x), y = static_cast<int>(lastPosition.y);
        glColor4f(0.5f, 0.5f, 0.5f, a / 2);
        drawFrame(x, y, tw, th, 1);
        if (const GLuint texture = gLayerThumbnails.texture(*canvas, *layers, dragIndex(), tw, th)) {
            glEnable(GL_TEXTURE_2D);
            glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
            glColor4f(a / 2, a / 2, a / 2, a / 2);
            glBindTexture(GL_TEXTURE_2D, texture);
            drawTexturedQuad(x, y, tw, th);
            glBindTexture(GL_TEXTURE_2D, 0);
            glDisable(GL_TEXTURE_2D);
            glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        }
        const int slot = dropIndex - first;
        if (dropIndex != -1 && slot >= 0 && slot <= n) {
            const float p = static_cast<float>(b - scaled(5) + slot * rh);
            const float lx = static_cast<float>(l);
            glColor4f(1, 1, 1, a);
            glBegin(GL_TRIANGLES);
            glVertex2f(lx - 8, p + 4);
            glVertex2f(lx - 8, p - 4);
            glVertex2f(lx, p);
            glEnd();
        }
    }

    // 5. Visibility marks left of the thumbnails.
    for (int row = 0; row < n; ++row) {
        if (layers->layers[static_cast<std::size_t>(first + row)].visible) glColor4f(0, 1, 1, a);
        else glColor4f(0.5f, 0.5f, 0.5f, a);
        drawRect(static_cast<float>(l - 8), static_cast<float>(b + row * rh) + th / 2.0f - 2.5f, 5.0f, 5.0f);
    }
    glPopAttrib();
}

// ---- LayersWidget -------------------------------------------------------------------------

LayersWidget::LayersWidget(MultiLayeredImage* layers_, Canvas* canvas_)
    : CompositeWidget(0, 0, 80, 300), layers(layers_), canvas(canvas_) {
    auto listWidget = std::make_shared<LayersList>(layers, canvas);
    list = listWidget.get();
    add(listWidget);

    const int sliderWidth = static_cast<int>(width / GuiScale) - 2;
    auto slider = std::make_shared<Slider<int>>(1, 15, sliderWidth, 10, tr(tk::OPACITY_STR));
    slider->minValue = 0;
    slider->maxValue = 100;
    slider->setValue(layers ? layers->currentLayer().opacity : 100, false);
    slider->onChange = [this](int value) { opacityChanged(value); };
    opacitySlider = slider.get();
    add(slider);

    auto button = [this](int x, const char* label, int32_t tip, HAlign align, void (LayersWidget::*op)()) {
        auto b = std::make_shared<ImageButton>(x, 0, 20, 12, label, [this, op](Widget*) { (this->*op)(); });
        b->tooltip = tr(tip);
        b->hAlign = align;
        b->vAlign = VAlign::Bottom;
        add(b);
    };
    button(0, "+", tk::NEW_LAYER, HAlign::Right, &LayersWidget::newLayer);
    button(-21, "-", tk::DELETE_LAYER, HAlign::Right, &LayersWidget::deleteLayer);
    button(0, "_", tk::LAYER_MERGE, HAlign::Left, &LayersWidget::mergeDown);
}

void LayersWidget::newLayer() {
    if (!layers || !canvas) return;
    if (layers->count() >= kwformat::kMaxLayers) {
        tell(loc::fillText(tr(tk::LAYERS_PANEL_AT_MOST_N_STR), {std::to_string(kwformat::kMaxLayers)}));
        return;
    }
    addAndExecute(std::make_unique<NewLayerAction>(*canvas, *layers));
    tell(tr(tk::NEW_LAYER_MSG_STR));
    list->scrollToCurrent();
}

void LayersWidget::deleteLayer() {
    if (!layers || !canvas || layers->count() <= 1) return;
    if (addAndExecute(std::make_unique<DeleteLayerAction>(*canvas, *layers))) tell(tr(tk::LAYER_DELETED_STR));
    list->scrollToCurrent();
}

void LayersWidget::mergeDown() {
    if (!layers || !canvas || layers->count() <= 1) return;
    const int current = layers->current;
    if (current < 1 || !layers->at(current).visible || !layers->at(current - 1).visible) return;
    if (addAndExecute(std::make_unique<LayerMergeDownAction>(*canvas, *layers))) tell(tr(tk::LAYER_MERGED_DOWN_STR));
}

void LayersWidget::opacityChanged(int value) {
    if (!layers || !canvas || value == layers->currentLayer().opacity) return;
    replaceOrAddAndExecute(std::make_unique<LayerOpacityChangeAction>(*canvas, *layers, value));
}

bool LayersWidget::update(int elapsedMs, int originX, int originY) {
    if (layers && opacitySlider && opacitySlider->value != layers->currentLayer().opacity)
        opacitySlider->setValue(layers->currentLayer().opacity, true);
    CompositeWidget::update(elapsedMs, originX, originY);
    return true;
}

void LayersWidget::draw(float opacity_) {
    glColor4f(0, 0, 0, opacity * opacity_ * 0.2f);
    drawRect(absX, absY, width, height);
    CompositeWidget::draw(opacity_);
}
