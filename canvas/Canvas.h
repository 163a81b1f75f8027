#pragma once
// The picture on the graphics card: the six surfaces, the active brush, the
// current colour and the stroke in progress. Knows nothing of the window.
// Only the current layer is a render target: it lives in a pair of surfaces
// used in turn, and every change writes the other one and flips.
#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "brush/Brush.h"
#include "brush/StrokeBuilder.h"
#include "canvas/Framebuffer.h"
#include "core/PixelRegion.h"
#include "history/BrushStrokeAction.h"

class BrushTipTable;
class History;
class MultiLayeredImage;

class Canvas : public DabSink {
public:
    Canvas(int width, int height) : width(width), height(height) {}

    // The history that receives strokes and the tip table that shapes them;
    // set once by the application.
    void attach(History* history, BrushTipTable* tips);

    // The stroke in progress, in canvas pixels. Pressure, pen and motion come
    // from the input state; jitter is drawn here and stored in the points.
    void beginStroke(float x, float y);
    void continueStroke(float x, float y);
    void holdStroke(float x, float y);
    void endStroke();
    // Brush and eraser keep separate settings: 1 paint, 2 erase.
    void selectBrushSlot(int wantedMode);

    // Frame work, with nothing bound: stamps the dabs that arrived since the
    // last frame into the stroke buffer. True when something was drawn.
    bool flushPendingDabs();
    // The stroke work at the head of every frame: stamp the new dabs, merge a
    // finished paint stroke (an erase stroke every frame) into the layer.
    void strokeFrame(bool replayPending);
    // Stamps a finished action's points again (undo, replay), without randomness.
    void renderStrokePoints(const BrushStrokeAction& action);

    // Replay side, also used live: see DabSink.
    void prepareStroke(const Brush& strokeBrush, math::Vec2 firstPoint) override;
    brush::TipFactors tipFactors(int32_t tipIndex) const override;
    void renderDabs(const Brush& strokeBrush, std::span<const brush::Dab> dabs) override;
    // Merges the stroke buffer into the other layer surface and flips.
    bool compositeStroke(const Brush& strokeBrush, brush::Rgb strokeColor) override;

    // Makes all six surfaces anew for a canvas of this size and resets the
    // layer list to one layer. The caller resets the history. Ends with
    // sizeChanged: every new canvas (new image, load, crop, resize, an undo or
    // a replay across a size change) reaches the tools through here alone.
    void resize(int newWidth, int newHeight, MultiLayeredImage& layers);
    // Set by the application on its own canvas (the painter tells its tools).
    std::function<void(int width, int height)> sizeChanged;
    // Where strokes take the mirror's settings from at each point (the
    // mirror tool, set by the application); without it nothing is mirrored.
    std::function<brush::MirrorSettings()> mirrorSource;
    // Frees the surfaces (exit, resize).
    void freeSurfaces();
    bool hasSurfaces() const { return surfacesMade; }

    // Clears the stroke buffer in use to transparent black.
    void clearStrokeBuffer();
    // Clears the current layer surface to a colour (premultiplied).
    void clearCurrentSurface(float r, float g, float b, float a);
    // Reads the current surface back into the current layer's texture.
    void saveCurrentLayer(MultiLayeredImage& layers);
    // Draws a texture 1:1 into the current surface, replacing it.
    void loadSurface(GLuint texture, bool keepFilter);
    void resetStrokeState();
    bool strokeInProgress() const { return builder.strokeInProgress(); }
    // Drops dabs recorded but not drawn yet (a rebuild or a new layer makes them stale).
    void clearPendingDabs() { builder.clearPendingDabs(); }
    bool strokeEnded() const { return builder.strokeEnded(); }
    BrushStrokeAction* currentAction() const { return builder.currentAction(); }
    const brush::StrokeBuilder& strokeBuilder() const { return builder; }

    Framebuffer& currentLayerSurface() { return layerSurface[static_cast<size_t>(currentSurface)]; }
    Framebuffer& otherLayerSurface() { return layerSurface[static_cast<size_t>(1 - currentSurface)]; }
    // The other surface of the pair as scratch space (the bucket fill
    // composes the visible layers there); the next pass brings it up to date.
    Framebuffer& borrowOtherSurface() {
        staleRegion_.addAll();
        return otherLayerSurface();
    }

    // ---- passes limited to what changed ----
    // Every write to the layer surfaces goes through one of these, so the
    // canvas knows where the two surfaces of the pair differ and which
    // content the current one holds.
    //
    // A pass that writes `change` into the other surface and flips:
    // beginSurfacePass brings the other surface up to date outside `change`
    // and returns it; the caller draws over `change` (drawRegion) and calls
    // endSurfacePass, which flips.
    // A caller that draws only part of `change` says so (drawsWholeChange
    // false): the whole stale region is copied first, the change's tiles too.
    Framebuffer& beginSurfacePass(const PixelRegion& change, bool drawsWholeChange = true);
    void endSurfacePass(const PixelRegion& change);
    // The current surface was written in place (a fill, an upload, a mirror).
    void currentSurfaceChanged(const PixelRegion& where);
    void currentSurfaceChangedEverywhere();
    // The region over the whole canvas, and a region as a pass must treat it
    // (the whole canvas when passes are not limited).
    PixelRegion wholeCanvas() const;
    PixelRegion passRegion(const PixelRegion& region) const;
    // Which content the current surface holds: a number that changes with
    // every write and never repeats, so equal numbers mean equal pixels.
    uint64_t surfaceRevision() const { return surfaceRevision_; }
    // Set by whoever puts known content into the current surface.
    void setSurfaceRevision(uint64_t revision) { surfaceRevision_ = revision; }
    // Where the other surface may differ from the current one.
    const PixelRegion& staleRegion() const { return staleRegion_; }
    // Where the current surface's pixels may have changed since the last
    // call (the whole canvas after a resize), and forget it: the video
    // export composes and reads back only there.
    PixelRegion takeSurfaceChanges();
    // The same for the layers panel's thumbnail of the current layer, which
    // draws again only where the surface changed.
    PixelRegion takeThumbnailChanges();
    // Where the stroke buffer in use may hold dabs.
    const PixelRegion& strokeBufferRegion() const { return selectionActive ? rawStrokeUsed_ : strokeUsed_; }

    // ---- the selection ----
    // A closed outline in canvas pixels confines painting: dabs go to
    // rawStrokeBuffer and applyMask passes them through the mask into
    // strokeBuffer, which the preview and the merge read as always.
    // Tessellates the outline, draws the mask (anti-aliased) and raises
    // selectionActive. Fewer than three points give an empty mask.
    void setSelection(std::vector<math::Vec2> outline);
    // selectionActive false, outline and triangles emptied.
    void clearSelection();
    // The same from an outline already tessellated (a snapshot's copy).
    void restoreSelection(std::vector<math::Vec2> outline, std::vector<math::Vec2> triangles);
    const std::vector<math::Vec2>& selectionOutline() const { return selectionOutline_; }
    const std::vector<math::Vec2>& selectionTriangles() const { return selectionTriangles_; }
    // rawStrokeBuffer times the mask's alpha into strokeBuffer, over the raw
    // buffer's used tiles (all four channels: the result stays premultiplied).
    void applyMask();
    // The same over the tiles of `changed` only (where the raw buffer changed).
    void applyMask(const PixelRegion& changed);
    // The current layer under the mask, inside the outline's bounding box
    // (clamped to the canvas): BGRA, rows bottom-up as GL reads them, and the
    // box's centre in canvas pixels. False when the box holds no pixels.
    bool extractSelection(int& width, int& height, std::vector<uint8_t>& bgraPixels, math::Vec2& centre);
    // Removes the selected pixels from the current layer: alpha drops by the
    // mask's alpha, colour scaled to stay premultiplied. A pass that flips.
    void eraseSelectedPixels();
    // Paints the colour (opaque) over the current layer through the mask,
    // with the ordinary merge. Needs a selection.
    void fillSelection(brush::Rgb fillColor);
    // Lays a premultiplied RGBA image of canvas size (rows bottom-up), clear
    // outside `box`, over the current layer as a finished stroke: through the
    // mask when a selection is in force, premultiplied over, one flip. The
    // bucket fill's merge.
    void mergeImage(const uint8_t* rgba, const PixelRect& box);
    // Paints a figure onto the current layer outside any stroke and without
    // the selection's mask (the shape tool): the stroke buffer is cleared to
    // the colour's RGB with alpha 0, `drawFigure` draws into it in canvas
    // pixels (blending off, the colour set), and the smoothed merge lays it
    // over the layer in one pass that flips. `bounds`: all drawFigure touches.
    void paintFigure(const float rgba[4], const PixelRect& bounds, const std::function<void()>& drawFigure);

    // ---- the gradient ----
    // Draws the ramp's strip (core/GradientRamp) into the stroke buffer,
    // replacing what it held: the raw buffer and then the mask under a
    // selection, so the ramp is confined like a stroke. The live preview
    // shows the stroke buffer; mergeGradient lays it on the layer.
    void renderGradient(math::Vec2 start, math::Vec2 end, std::span<const std::array<float, 4>> colors,
                        std::span<const float> positions);
    // The stroke buffer premultiplied over the current layer, one flip.
    void mergeGradient();

    // Off: every pass covers the whole surface, as the reference that the
    // limited passes are tested against. On by default.
    bool limitPassesToChanges = true;

    // Entry 0 keeps the eraser's settings, entry 1 the painting ones, while
    // the other mode is active.
    std::array<Brush, 2> toolBrushes;
    Brush brush;
    // The current colour, and the same as hue, saturation and value, which
    // the colour dynamics start from. Write both through one of the setters
    // only: setColor for colours that come as RGB (picker, files), setColorHsv
    // for the colour selector's, which keeps the hue it is given (a grey keeps
    // the hue the ring shows while the user drags its value).
    float color[3] = {0, 0, 0};
    float colorHsv[3] = {0, 0, 0}; // hue in degrees, saturation, value
    void setColor(brush::Rgb rgb);
    void setColorHsv(brush::Hsv hsv);
    brush::Rgb currentColor() const { return {color[0], color[1], color[2]}; }
    bool selectionActive = false;
    int currentSurface = 0;
    Framebuffer strokeBuffer;
    Framebuffer rawStrokeBuffer;
    std::array<Framebuffer, 2> layerSurface;
    Framebuffer selectionMask;
    Framebuffer eraseBackup;
    bool pictureMirrored = false;
    int width, height;

private:
    brush::StrokeInput strokeInput() const;
    // Draws a texture over the region of a surface (stretched to the canvas
    // size), replacing what was there; `nearest` sets its filters to nearest first.
    void drawTextureInto(Framebuffer& target, GLuint texture, const PixelRegion& region, bool nearest);

    void markStrokeBufferUsed(std::span<const brush::Dab> dabs);
    // Copies a texture of the canvas size into the surface, or the surface into
    // it, by a blit; false (nothing done) for another size or without
    // framebuffer objects.
    bool blitTexture(GLuint texture, Framebuffer& surface, bool intoSurface);
    GLuint copyFramebuffer_ = 0;  // borrows a texture for such blits
    void clearBufferRegion(Framebuffer& buffer, PixelRegion& used, float depth);
    // Copies `source` into `target` over the region, exactly.
    void copyRegion(Framebuffer& target, Framebuffer& source, const PixelRegion& region);

    PixelRegion staleRegion_;        // other layer surface != current one
    PixelRegion surfaceChanges_;     // current surface written since takeSurfaceChanges
    PixelRegion thumbnailChanges_;   // the same since takeThumbnailChanges
    PixelRegion strokeUsed_;         // strokeBuffer may be non-zero here
    PixelRegion strokeFine_;         // the same in 16-pixel tiles: what the merge draws
    PixelRegion rawStrokeUsed_;      // rawStrokeBuffer likewise
    PixelRegion eraseBackupValid_;   // eraseBackup holds the layer before the stroke
    // Where the current surface may hold colour above its alpha. The smoothed
    // merge stores straight colour at the faint rim of a stroke; the erase and
    // smoothed merges turn such pixels black wherever they run, so a limited
    // pass of theirs must run here too to give the whole pass's bytes.
    PixelRegion straightColour_;
    // The stroke buffer (whose used tiles the caller set) premultiplied over
    // the current layer, one flip; the buffer is cleared afterwards so that
    // nothing of it shows as a stroke preview.
    void mergeStrokeBufferOver();
    void buildSelectionMask();
    // The outline's box and a pixel round it, cut to the canvas: where the
    // mask may be non-zero. selectionRegion: its tiles.
    PixelRect selectionBox() const;
    PixelRegion selectionRegion() const;
    std::vector<math::Vec2> selectionOutline_;
    std::vector<math::Vec2> selectionTriangles_;
    uint64_t surfaceRevision_ = 0;
    bool surfacesMade = false;
    brush::StrokeBuilder builder; // the stroke window, flags and pending dabs
    History* history = nullptr;
    BrushTipTable* tips = nullptr;
};
