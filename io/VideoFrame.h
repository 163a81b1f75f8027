#pragma once
// One video frame from the composed picture, without GL: the placement of
// a canvas of w x h pixels in a frame of W x H.
//
//   same size                copied, alpha dropped;
//   canvas fits (s <= 1)     centred at 1:1, black margins of
//                            ceil((W - w) / 2) and ceil((H - h) / 2);
//   canvas larger (s > 1)    shrunk by nearest neighbour with the larger of
//                            sx = w / W, sy = h / H as the scale s; the other
//                            axis gets black margins of
//                            1 + trunc((1 - smaller / larger) / 2 * frame side);
//                            inner pixel (i, j) takes canvas pixel
//                            (trunc(i s), trunc(j s)).
//
// Canvas pixels: RGBA, rows bottom-up, tightly packed (the GL read-back).
// Frame pixels: BGR, rows bottom-up, each row io::VideoWriter::frameStride
// bytes long.
#include <cstdint>
#include <vector>

namespace io {

// Where the canvas lands in the frame: the inner area and the scale.
struct VideoFramePlacement {
    int32_t left = 0, bottom = 0;   // first frame column and row of the inner area
    int32_t width = 0, height = 0;  // inner area
    float scale = 1.0f;             // canvas pixels per frame pixel (1 for 1:1)
    bool shrunk = false;
};

VideoFramePlacement placeCanvasInFrame(int32_t canvasWidth, int32_t canvasHeight, int32_t frameWidth,
                                       int32_t frameHeight);

// Writes the whole frame (margins black). `frame` must hold
// VideoWriter::imageSize(frameWidth, frameHeight) bytes.
void fillVideoFrame(const uint8_t* rgba, int32_t canvasWidth, int32_t canvasHeight, uint8_t* frame,
                    int32_t frameWidth, int32_t frameHeight);

} // namespace io
