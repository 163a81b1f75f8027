#pragma once
// Drag states for moving things in the interface. A handle number names
// which part of the owner is hovered or dragged (-1: none); its meaning
// belongs to the subclass. (The canvas tools' point handle has its own base
// in tools/, which the toolkit does not include.)
//
//   idle --press on a handle--> active (activeHandle, last pointer kept)
//   active --drag--> the owner follows the pointer's delta
//   active --release--> idle
#include <cstdint>
#include <functional>

#include "core/Math.h"

class DragHandles {
public:
    virtual ~DragHandles() = default;
    virtual void reset() {
        hoveredHandle = -1;
        activeHandle = -1;
    }
    virtual void clearHover() { hoveredHandle = -1; }

    bool dragEnabled = true;
    int32_t hoveredHandle = -1;
    int32_t activeHandle = -1;
    float lastX = 0, lastY = 0; // pointer of the last event, window pixels
};

// Moves a position (a panel's relX, relY) by the pointer's delta.
class DraggableEntity : public DragHandles {
public:
    DraggableEntity(std::function<math::Vec2&()> getPosition_, std::function<void(math::Vec2)> setPosition_)
        : getPosition(std::move(getPosition_)), setPosition(std::move(setPosition_)) {}

    // Handle 0 grabs the whole entity.
    void begin(float x, float y) {
        if (!dragEnabled) return;
        activeHandle = 0;
        lastX = x, lastY = y;
    }
    // True while a drag runs.
    bool dragTo(float x, float y) {
        if (activeHandle == -1) return false;
        const math::Vec2 p = getPosition();
        setPosition({p.x + x - lastX, p.y + y - lastY});
        lastX = x, lastY = y;
        return true;
    }
    void end() { activeHandle = -1; }

    std::function<math::Vec2&()> getPosition;
    std::function<void(math::Vec2)> setPosition;
};

// Reordering in a list: the dragged row is activeHandle, the row it would
// land on dropIndex.
class DraggableItemsList : public DragHandles {
public:
    void reset() override {
        DragHandles::reset();
        dropIndex = -1;
    }
    int32_t dropIndex = -1;
};
