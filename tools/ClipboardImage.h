#pragma once
// Copy, cut and paste of pixels through the system clipboard. Our own copies
// offer an exact private target (the 40-byte-header block, premultiplied
// BGRA bottom-up) for a bit-exact round trip, image/bmp, and image/png
// (straight alpha) for other programs. A paste takes the private target,
// then image/png, image/bmp and image/jpeg, and floats the image in the
// transform tool.
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "io/DibBlock.h"
#include "platform/Clipboard.h"

class Painter;

namespace clipimage {

inline constexpr const char* kPrivateTarget = "application/x-kestrelwing-dib";
// The targets a paste asks for, most wanted first.
const std::vector<std::string>& pasteTargets();

// The targets our copy offers for an image of premultiplied BGRA rows
// bottom-up; each one's bytes are made on first request.
std::vector<platform::ClipboardOffer> imageOffers(int32_t width, int32_t height, std::vector<uint8_t> bgra);

// An image from the bytes of one of pasteTargets(); false, with `why`, when
// they do not decode.
bool imageFromTarget(const std::string& target, std::span<const uint8_t> bytes, dib::Image& out, std::string& why);

// The keys. Copy: the whole current layer without a selection (the paste
// then lands centred on canvas point 0, 0); with a selection nothing yet (the
// selected pixels need the canvas's extraction). Cut: nothing yet, for the
// same reason. Paste: drops a selection, then floats the clipboard's image in
// the transform tool; a clipboard without an image changes nothing.
void copy(Painter& painter);
void cut(Painter& painter);
void paste(Painter& painter);
// What a copy puts on the clipboard: premultiplied BGRA rows bottom-up; sets
// the transform tool's centre and rotation so that a paste lands where the
// pixels were. False when there is nothing to copy.
bool grabImage(Painter& painter, int32_t& width, int32_t& height, std::vector<uint8_t>& bgra);
// Floats an image in the transform tool (tool 7 becomes current).
void floatImage(Painter& painter, dib::Image image);

} // namespace clipimage
