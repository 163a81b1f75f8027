#include "widgets/ShapeButton.h"

#include <GL/glew.h>

#include "core/Globals.h"

ShapeButton::ShapeButton(int x, int y, int width_, int height_, int shapeIndex_, std::vector<math::Vec3> vertices_,
                         const int* currentIndex_, std::function<void(Widget*)> onClick_)
    : ImageButton(x, y, width_, height_, "", std::move(onClick_)), vertices(std::move(vertices_)),
      shapeIndex(shapeIndex_), currentIndex(currentIndex_) {}

float ShapeButton::inset() const { return 5.0f * GuiScale; }

void ShapeButton::figureColor(float rgba[4]) const {
    const bool on = current();
    rgba[0] = on ? 0.0f : 1.0f;
    rgba[1] = rgba[2] = rgba[3] = 1.0f;
}

void ShapeButton::draw(float opacity_) {
    ImageButton::draw(opacity_);
    float c[4];
    figureColor(c);
    glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT);
    glDisable(GL_TEXTURE_2D);
    glColor4f(c[0], c[1], c[2], c[3] * effectiveAlpha(opacity_));
    const float x0 = static_cast<float>(static_cast<int>(absX)) + inset();
    const float y0 = static_cast<float>(static_cast<int>(absY)) + inset();
    glBegin(GL_POLYGON);
    for (const math::Vec3& p : vertices) glVertex2f(x0 + p.x, y0 + p.y);
    glEnd();
    glPopAttrib();
}
