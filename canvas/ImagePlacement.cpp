#include "canvas/ImagePlacement.h"

#include "canvas/Canvas.h"
#include "canvas/Framebuffer.h"
#include "canvas/GlPixels.h"
#include "canvas/Projection.h"
#include "history/LayerListAction.h"

GLuint makeFloatingTexture(int32_t width, int32_t height, int32_t bytesPerPixel, const uint8_t* pixels,
                           size_t byteCount) {
    if (width <= 0 || height <= 0 || (bytesPerPixel != 3 && bytesPerPixel != 4) || !pixels ||
        byteCount != size_t(width) * size_t(height) * size_t(bytesPerPixel))
        return 0;
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1); // 3-byte rows are not padded
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glTexImage2D(GL_TEXTURE_2D, 0, bytesPerPixel == 3 ? GL_RGB8 : GL_RGBA8, width, height, 0,
                 bytesPerPixel == 3 ? GL_BGR : GL_BGRA, GL_UNSIGNED_BYTE, pixels);
    glPopClientAttrib();
    glBindTexture(GL_TEXTURE_2D, 0);
    return texture;
}

std::vector<uint8_t> renderImageAtSize(GLuint texture, int32_t targetWidth, int32_t targetHeight,
                                       int32_t bytesPerPixel) {
    if (targetWidth <= 0 || targetHeight <= 0 || texture == 0) return {};
    Framebuffer target;
    if (!target.create(targetWidth, targetHeight, false, false)) return {};
    std::vector<uint8_t> pixels(size_t(targetWidth) * size_t(targetHeight) * size_t(bytesPerPixel));
    target.bind(GL_FRAMEBUFFER);
    {
        glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT | GL_VIEWPORT_BIT | GL_COLOR_BUFFER_BIT);
        CanvasProjection projection(targetWidth, targetHeight);
        glDisable(GL_BLEND);
        glDisable(GL_DEPTH_TEST);
        glDisable(GL_LIGHTING);
        glUseProgram(0);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
        glColor4f(1, 1, 1, 1);
        drawQuad(0.0f, 0.0f, static_cast<float>(targetWidth), static_cast<float>(targetHeight));
        glBindTexture(GL_TEXTURE_2D, 0);
        glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glReadPixels(0, 0, targetWidth, targetHeight, bytesPerPixel == 3 ? GL_BGR : GL_BGRA, GL_UNSIGNED_BYTE,
                     pixels.data());
        glPopClientAttrib();
        glPopAttrib();
    }
    target.unbind();
    target.destroy();
    return pixels;
}

bool placeImage(Canvas& canvas, MultiLayeredImage& layers, GLuint texture, math::Vec2 centre, math::Vec2 size,
                float rotation) {
    // Held on the stack, never recorded: the paste stands for it in the history.
    NewLayerAction newLayer(canvas, layers);
    if (!newLayer.execute()) return false;
    if (texture == 0) return true;
    Framebuffer& surface = canvas.currentLayerSurface();
    surface.bind(GL_DRAW_FRAMEBUFFER);
    {
        glPushAttrib(GL_ENABLE_BIT | GL_CURRENT_BIT | GL_TEXTURE_BIT | GL_VIEWPORT_BIT | GL_COLOR_BUFFER_BIT);
        CanvasProjection projection(canvas.width, canvas.height);
        glEnable(GL_BLEND);
        glBlendFunc(GL_ONE, GL_ZERO);
        glDisable(GL_LIGHTING);
        glDisable(GL_DEPTH_TEST);
        glUseProgram(0);
        glTranslatef(centre.x, centre.y, 0);
        glRotatef(rotation, 0, 0, 1);
        glTranslatef(-centre.x, -centre.y, 0);
        glEnable(GL_TEXTURE_2D);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
        glColor4f(1, 1, 1, 1);
        drawQuad(centre.x - size.x / 2, centre.y - size.y / 2, size.x, size.y);
        glBindTexture(GL_TEXTURE_2D, 0);
        glPopAttrib();
    }
    surface.unbind();
    canvas.currentSurfaceChangedEverywhere();
    return true;
}
