#pragma once
// Writes a video file frame by frame through FFmpeg's libraries: AVI with
// the MPEG-4 Part 2 encoder (fourcc DIVX), or MP4 with H.264 (libx264).
//
// The frames come in as 24-bit BGR rows, bottom row first, each row padded
// to frameStride(width) bytes; swscale turns them into the encoder's YUV.
// Frame timing: the period is 1000 / fps milliseconds as an integer and the
// stream's time base is period / 1000 seconds, so 30 fps becomes 1000/33.
//
// The file is written beside its final path under a temporary name and
// renamed into place by finish(); abort(), the destructor or any failure
// leaves no file behind.
//
// A failing call latches the error: every later call returns
// kVideoLatchedError at once. Encoding and muxing run on a worker thread of
// the writer's own, so the caller's next frame is made while the last one
// is encoded; writeFrame() reports a failure of the worker at the next call.
// Every public call comes from one thread.
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace io {

enum class VideoContainer { Avi, Mp4 };

struct VideoFormat {
    const char* label;
    int32_t fps;
    int32_t width;
    int32_t height;
};

// The formats the export offers, by the index its dialog returns.
inline constexpr std::array<VideoFormat, 3> kVideoFormats{{
    {"480p", 30, 704, 480},
    {"720p", 25, 1280, 720},
    {"1080p", 25, 1920, 1080},
}};

// The codes a failing call leaves (HRESULT-style, as the program's video
// writer has always reported them).
inline constexpr uint32_t kVideoOk = 0;
inline constexpr uint32_t kVideoNoWriter = 0x8004406Cu;       // open failed or never ran
inline constexpr uint32_t kVideoBadBitmap = 0x8004406Au;      // frame of the wrong size
inline constexpr uint32_t kVideoLatchedError = 0x800440C7u;   // an earlier call failed
inline constexpr uint32_t kVideoAlreadySetUp = 0x80044070u;   // setUp ran before
inline constexpr uint32_t kVideoDialogCancelled = 0x800440C6u; // the encoder choice was cancelled

class VideoWriter {
public:
    VideoWriter();
    ~VideoWriter(); // aborts an unfinished file
    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;

    // Creates the temporary file beside `path`. False (reason in error())
    // leaves no writer: setUp then fails with kVideoNoWriter.
    bool open(const std::string& path);
    // The stream and its encoder. 0 or a code.
    uint32_t setUp(VideoContainer container, int32_t width, int32_t height, int32_t fps);
    // Frame `frameNumber` (0, 1, 2, ...): imageSize(width, height) bytes.
    // The bytes are copied; the caller may reuse them at once. 0 or a code.
    uint32_t writeFrame(int32_t frameNumber, const uint8_t* pixels, std::size_t bytes);
    // Flushes the encoder, writes the index and renames the file into
    // place. 0 or a code; on failure nothing is left on disk.
    uint32_t finish();
    // Stops and removes the temporary file.
    void abort();

    int32_t framePeriodMs() const { return framePeriod; }
    int32_t framesWritten() const { return frames; }
    // What went wrong, for a message; empty while all is well.
    std::string error() const;
    // Whether this FFmpeg build can encode for the container.
    static bool encoderAvailable(VideoContainer container);

    static int32_t frameStride(int32_t width) { return ((width + 1) * 3) / 4 * 4; }
    static std::size_t imageSize(int32_t width, int32_t height) {
        return static_cast<std::size_t>(frameStride(width)) * static_cast<std::size_t>(height);
    }

    struct State; // FFmpeg objects and the worker

private:
    uint32_t fail(const std::string& reason);

    std::unique_ptr<State> state;
    int32_t framePeriod = 0;
    int32_t frames = 0;
    bool latched = false;
    std::string openError; // the reason once no State holds it

};

} // namespace io
