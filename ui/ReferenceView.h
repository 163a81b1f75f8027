#pragma once
// The reference view: a picture in one half of the window beside the canvas,
// drawn through the canvas's own camera over a quad of the canvas's size, so
// it pans, zooms and turns in step with the picture. A picture dropped on it
// starts a new canvas of the picture's size, which keeps the two in register.
//
// It lives outside the interface root: it is the last listener of the input
// dispatcher (after the interface and the painter), and the tick and the
// frame update and draw it themselves. Its texture is never saved.
#include <memory>
#include <string>

#include "canvas/GlPixels.h"
#include "core/RenderArea.h"
#include "widgets/Widget.h"

class Canvas;
class GUI;
class GroupWidget;
class ButtonWidget;

class ReferenceView : public Widget {
public:
    // Window pixels; y is 0. Starts without a picture.
    ReferenceView(int x, int width, int height, Canvas* canvas);
    ~ReferenceView() override;

    int onMouseButton(int button, int state, int x, int y, bool fromPen) override;
    int onMouseMove(int x, int y, bool fromPen) override;
    int onMouseDrag(int x, int y, bool fromPen) override;
    int onKey(int key, int x, int y) override;
    int onMouseWheel(int wheel, int direction, int x, int y) override;
    bool update(int elapsedMs, int originX, int originY) override;
    void draw(float opacity) override;

    // Loads the picture and starts a new canvas of its size. A file that
    // can't be read leaves picture, canvas and history as they were (false).
    bool setReferenceImage(const std::string& path);
    bool hasPicture() const { return texture.id() != 0; }
    // The window rectangle the view covers now.
    RenderArea rectangle() const { return {relX, relY, width, height}; }

    // The controls over the view (the flip button), in coordinates relative
    // to the view: events are shifted by the view's origin before they reach it.
    std::unique_ptr<GUI> controlsRoot;
    RenderArea controlsRect;
    std::shared_ptr<GroupWidget> controlsGroup;
    std::shared_ptr<ButtonWidget> flipButton;
    bool flipped = false; // the user's horizontal flip
    Canvas* canvas;       // not owning
    GlTexture texture;
    int32_t pictureWidth = 0, pictureHeight = 0;

private:
    // Forwards an event to the controls when the pointer is over the view.
    template <typename Call> int forward(int x, int y, Call call);
};

// The one instance; null until createReferenceView.
extern std::shared_ptr<ReferenceView> gReferenceView;

// Makes the view over half of the window's width, invisible and disabled,
// and appends it to the input dispatcher's listeners (after the painter).
void createReferenceView(int windowWidth, int windowHeight);
// Takes it out of the dispatcher and frees its texture.
void destroyReferenceView();

// Whether the view exists and shows (the tool bar button's pressed state).
bool referenceViewVisible();
// The command: shows the view, or hides it when it is visible.
void toggleReferenceView();
void showReferenceView();
void hideReferenceView();

// The reshape's share: the view's place and size for a window of this size,
// and the painter's render area x. Returns the painter's width: the whole
// window, or half of it while the view shows.
int placeReferenceView(int windowWidth, int windowHeight, RenderArea& painterArea);

// A drop at (x, y), window pixels with y down, that lands on the visible view
// sets its picture (after the caller's warning) and returns true; anything
// else is for the ordinary open path.
bool referenceViewTakesDrop(const std::string& path, int x, int yDown);

// The frame's step after the canvas: the view, and the perspective grid again
// over it while that grid is in force.
void drawReferenceViewStep();

// Where the view stands for the side option: shown or hidden, in a window of width W.
float referenceViewX(bool visible, bool onLeft, int windowWidth);
