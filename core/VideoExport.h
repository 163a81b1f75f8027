#pragma once
// A drawing process as a film: one frame per replay step, stepped through
// the same ReplayStepper as the player, each frame the picture as the frame
// draws it (layers over the grey surround) placed in the video format
// (io/VideoFrame). Shared by the window's export, which runs it in slices
// inside the frame loop, and by `--export-video`, which runs it at once.
//
//   start --> running --update() false--> done --finish()--> file in place
//   running --abort() / destructor--> no file
//
// While it lives the canvas shows the replay; the destructor brings back
// the picture of the end of the list (both snapshots hold it from start on).
// GL thread, with the canvas's context current.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "history/ReplayStepper.h"
#include "io/VideoWriter.h"

class Canvas;
class GlFont;
class History;
class MultiLayeredImage;
class PixelRegion;
struct Framebuffer;

// The film's container by the output's extension (.avi, .mp4, any case);
// false for any other name.
bool videoContainerForPath(const std::string& path, io::VideoContainer& container);
// The grey of the surround the layers are drawn over (0.4 of full).
inline constexpr float kVideoBackgroundGrey = 0.4f;

class VideoExport {
public:
    VideoExport(History& history, Canvas& canvas, MultiLayeredImage& layers);
    ~VideoExport();
    VideoExport(const VideoExport&) = delete;
    VideoExport& operator=(const VideoExport&) = delete;

    // Opens the file (under a temporary name), sets up the stream, takes
    // both snapshots of the present state and puts the canvas at the blank
    // start. False (reason in error()) with the picture untouched and
    // nothing on disk. format: index into io::kVideoFormats.
    bool start(const std::string& path, int format, io::VideoContainer container);
    // From now on every frame carries "created by <author> with Kestrelwing"
    // in its bottom-left corner, in `font` (not owned; it must outlive the
    // export). Text of single Latin-1 bytes. An empty author, or no font,
    // gives frames without it.
    void setWatermark(const std::string& author, const GlFont* font);
    // Frames until budgetMs have passed (at least one). False when every
    // action has its frame, or on a failure (failed()).
    bool update(int budgetMs);
    // After the last frame: closes the file and renames it into place.
    // False (reason in error()) leaves no file.
    bool finish();
    // Stops; the file written so far is removed.
    void abort();

    int32_t position() const { return stepper.position(); }
    int32_t count() const { return stepper.count(); }
    int32_t framesWritten() const { return writer.framesWritten(); }
    bool failed() const { return failure; }
    const std::string& error() const { return reason; }
    // Milliseconds since the first update, for the estimate of the rest.
    int32_t elapsedMs() const;
    // Every frame composed and read back whole, as a reference; by default
    // a frame is composed and read back only where the step changed the
    // picture, and a step that changed nothing reuses the last frame's bytes.
    void setWholeFrames(bool whole) { wholeFrames = whole; }
    // The last frame handed to the writer: BGR rows, bottom first, padded to 4 bytes.
    const std::vector<uint8_t>& lastFrame() const { return frame; }

private:
    bool writeCurrentFrame();
    void composeFrame();
    void composeRegion(const PixelRegion& changes);
    void drawWatermark();
    std::vector<uint64_t> frameKey() const;
    void restorePicture();

    History& history;
    Canvas& canvas;
    MultiLayeredImage& layers;
    ReplayStepper stepper;
    io::VideoWriter writer;
    std::unique_ptr<Framebuffer> surface; // canvas-sized target of the composition
    std::unique_ptr<Framebuffer> below;   // the layers under the current one, over the grey
    std::vector<uint64_t> belowKey;       // what `below` was composed from
    bool belowUsed = false;               // the last whole composition started from `below`
    std::vector<uint64_t> lastKey;        // all but the current surface's pixels of the last frame
    bool wholeFrames = false;
    std::vector<uint8_t> frame;           // BGR, bottom-up
    std::vector<uint8_t> canvasPixels;    // RGBA read-back of a canvas of another size
    io::VideoFormat format{};
    int32_t startTime = 0;
    bool started = false;
    bool timing = false;
    bool ended = false;
    bool failure = false;
    bool savedMirrored = false;
    std::string reason;
    std::string watermark; // the whole line, empty for none
    const GlFont* watermarkFont = nullptr;
};
