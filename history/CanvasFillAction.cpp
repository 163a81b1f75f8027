#include "history/CanvasFillAction.h"

#include <GL/glew.h>

#include <algorithm>

#include "canvas/Canvas.h"
#include "canvas/GlPixels.h"
#include "canvas/Projection.h"
#include "io/BinaryStream.h"

bool CanvasFillAction::execute() {
    if (canvas_.selectionActive) {
        // Only the selected pixels take the colour, through the mask.
        canvas_.fillSelection({std::clamp(color_[0], 0.0f, 1.0f), std::clamp(color_[1], 0.0f, 1.0f),
                               std::clamp(color_[2], 0.0f, 1.0f)});
        return true;
    }
    Framebuffer& target = canvas_.currentLayerSurface();
    target.bind(GL_DRAW_FRAMEBUFFER);
    {
        glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT | GL_VIEWPORT_BIT);
        CanvasProjection projection(canvas_.width, canvas_.height);
        glDisable(GL_BLEND);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_TEXTURE_2D);
        glUseProgram(0);
        // Stored colours may come from a damaged file: keep them in range.
        glColor4f(std::clamp(color_[0], 0.0f, 1.0f), std::clamp(color_[1], 0.0f, 1.0f),
                  std::clamp(color_[2], 0.0f, 1.0f), 1.0f);
        drawQuad(0.0f, 0.0f, static_cast<float>(canvas_.width), static_cast<float>(canvas_.height));
        glPopAttrib();
    }
    target.unbind();
    canvas_.currentSurfaceChangedEverywhere();
    return true;
}

void CanvasFillAction::write(io::BinaryWriter& out) const {
    for (float c : color_) out.f32(c);
}

void CanvasFillAction::read(io::BinaryReader& in) {
    for (float& c : color_) in.f32(c);
}
