// The video export: where the picture lands in a frame (worked by hand),
// the writer's files as ffprobe and ffmpeg see them, the codes it latches,
// an abort in the middle, and `--export-video` on the real binary.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "core/CommandLine.h"
#include "core/VideoExport.h"
#include "io/FlatImage.h"
#include "io/VideoFrame.h"
#include "io/VideoWriter.h"
#include "support/GlTestContext.h"
#include "support/TestFiles.h"
#include "widgets/GlFont.h"
#include "test_process_document.h"
#include "test_process_support.h"
#include "video_test_support.h"
#include "TestPaths.h"

namespace fs = std::filesystem;
using io::VideoContainer;
using io::VideoWriter;

namespace {

// Files in a folder, so that a left-over temporary file shows up too.
std::size_t filesIn(const fs::path& dir) {
    std::size_t n = 0;
    for (const auto& entry : fs::directory_iterator(dir)) n += entry.is_regular_file();
    return n;
}

// A canvas whose every pixel tells where it came from: red = x, green = y,
// blue = 200, alpha 255 (RGBA, rows bottom-up).
std::vector<uint8_t> coordinateCanvas(int w, int h) {
    std::vector<uint8_t> p(static_cast<std::size_t>(w) * h * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* q = &p[(static_cast<std::size_t>(y) * w + x) * 4];
            q[0] = static_cast<uint8_t>(x);
            q[1] = static_cast<uint8_t>(y);
            q[2] = 200;
            q[3] = 255;
        }
    return p;
}

const uint8_t* framePixel(const std::vector<uint8_t>& frame, int W, int x, int y) {
    return &frame[static_cast<std::size_t>(y) * VideoWriter::frameStride(W) + static_cast<std::size_t>(x) * 3];
}

// A frame of solid colour with a bar that moves with the frame number.
std::vector<uint8_t> syntheticFrame(int W, int H, int number) {
    std::vector<uint8_t> f(VideoWriter::imageSize(W, H));
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            uint8_t* p = &f[static_cast<std::size_t>(y) * VideoWriter::frameStride(W) + static_cast<std::size_t>(x) * 3];
            const bool bar = std::abs(x - number * 16) < 24;
            p[0] = bar ? 30 : 180;
            p[1] = bar ? 220 : 90;
            p[2] = static_cast<uint8_t>(40 + y / 4);
        }
    return f;
}

// Writes `frames` synthetic frames; the writer's code of each step must be 0.
void writeFilm(const std::string& path, VideoContainer container, const io::VideoFormat& f, int frames) {
    VideoWriter writer;
    ASSERT_TRUE(writer.open(path)) << writer.error();
    ASSERT_EQ(writer.setUp(container, f.width, f.height, f.fps), io::kVideoOk) << writer.error();
    for (int i = 0; i < frames; ++i) {
        const std::vector<uint8_t> frame = syntheticFrame(f.width, f.height, i);
        ASSERT_EQ(writer.writeFrame(i, frame.data(), frame.size()), io::kVideoOk) << writer.error();
    }
    ASSERT_EQ(writer.finish(), io::kVideoOk) << writer.error();
}

} // namespace

// ---- placement, worked by hand ---------------------------------------------------

TEST(VideoFrame, RowsArePaddedAsTheBitmapHeaderSays) {
    // ((W + 1) * 3) rounded down to a multiple of 4.
    EXPECT_EQ(VideoWriter::frameStride(704), 2112);
    EXPECT_EQ(VideoWriter::frameStride(1280), 3840);
    EXPECT_EQ(VideoWriter::frameStride(1920), 5760);
    EXPECT_EQ(VideoWriter::frameStride(5), 16);  // 18 -> 16
    EXPECT_EQ(VideoWriter::frameStride(6), 20);  // 21 -> 20
    EXPECT_EQ(VideoWriter::imageSize(6, 4), 80u);
}

TEST(VideoFrame, CanvasOfTheFrameSizeIsCopied) {
    const int W = 8, H = 4;
    const std::vector<uint8_t> canvas = coordinateCanvas(W, H);
    std::vector<uint8_t> frame(VideoWriter::imageSize(W, H), 99);
    io::fillVideoFrame(canvas.data(), W, H, frame.data(), W, H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const uint8_t* p = framePixel(frame, W, x, y);
            EXPECT_EQ(p[0], 200) << x << "," << y; // B
            EXPECT_EQ(p[1], y);                    // G
            EXPECT_EQ(p[2], x);                    // R
        }
}

TEST(VideoFrame, SmallerCanvasSitsCentredWithBlackMargins) {
    // 704 x 480 frame, 101 x 50 canvas: margins ceil(603 / 2) = 302 and ceil(430 / 2) = 215.
    const int W = 704, H = 480, w = 101, h = 50;
    const io::VideoFramePlacement place = io::placeCanvasInFrame(w, h, W, H);
    EXPECT_EQ(place.left, 302);
    EXPECT_EQ(place.bottom, 215);
    EXPECT_FALSE(place.shrunk);
    const std::vector<uint8_t> canvas = coordinateCanvas(w, h);
    std::vector<uint8_t> frame(VideoWriter::imageSize(W, H), 99);
    io::fillVideoFrame(canvas.data(), w, h, frame.data(), W, H);
    const uint8_t* corner = framePixel(frame, W, 302, 215);
    EXPECT_EQ(corner[2], 0);
    EXPECT_EQ(corner[1], 0);
    EXPECT_EQ(corner[0], 200);
    const uint8_t* last = framePixel(frame, W, 302 + 100, 215 + 49);
    EXPECT_EQ(last[2], 100);
    EXPECT_EQ(last[1], 49);
    for (const auto& [x, y] : std::vector<std::pair<int, int>>{{301, 215}, {403, 230}, {350, 214}, {350, 265}, {0, 0}, {703, 479}}) {
        const uint8_t* p = framePixel(frame, W, x, y);
        EXPECT_EQ(p[0] + p[1] + p[2], 0) << "margin at " << x << "," << y;
    }
}

TEST(VideoFrame, LargerCanvasIsShrunkByNearestNeighbour) {
    // 40 x 10 canvas into 16 x 8: sx = 2.5, sy = 1.25, s = 2.5. The y axis
    // gets 1 + trunc((1 - 1.25 / 2.5) / 2 * 8) = 1 + 2 = 3 rows of margin on
    // both sides; inner pixel (i, j) takes canvas (trunc(2.5 i), trunc(2.5 j)).
    const int W = 16, H = 8, w = 40, h = 10;
    const io::VideoFramePlacement place = io::placeCanvasInFrame(w, h, W, H);
    EXPECT_TRUE(place.shrunk);
    EXPECT_EQ(place.left, 0);
    EXPECT_EQ(place.bottom, 3);
    EXPECT_EQ(place.height, 2);
    const std::vector<uint8_t> canvas = coordinateCanvas(w, h);
    std::vector<uint8_t> frame(VideoWriter::imageSize(W, H), 99);
    io::fillVideoFrame(canvas.data(), w, h, frame.data(), W, H);
    const int expectX[16] = {0, 2, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27, 30, 32, 35, 37};
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < W; ++i) {
            const uint8_t* p = framePixel(frame, W, i, 3 + j);
            EXPECT_EQ(p[2], expectX[i]) << i << "," << j;
            EXPECT_EQ(p[1], j == 0 ? 0 : 2) << i << "," << j;
        }
    for (int y : {0, 1, 2, 5, 6, 7})
        for (int x = 0; x < W; ++x) EXPECT_EQ(framePixel(frame, W, x, y)[0], 0) << x << "," << y;
}

TEST(VideoFrame, TallCanvasGetsSideMargins) {
    // 10 x 40 into 16 x 8: sx = 0.625, sy = 5, s = 5; x margin
    // 1 + trunc((1 - 0.125) / 2 * 16) = 1 + 7 = 8: nothing left in between
    // but the rule still holds: the frame is black.
    const io::VideoFramePlacement tall = io::placeCanvasInFrame(10, 40, 16, 8);
    EXPECT_EQ(tall.left, 8);
    EXPECT_EQ(tall.width, 0);
    // 30 x 16 into 16 x 8: sx = 1.875, sy = 2, s = 2; x margin 1 + trunc(0.03125 * 16) = 1.
    const io::VideoFramePlacement wide = io::placeCanvasInFrame(30, 16, 16, 8);
    EXPECT_EQ(wide.left, 1);
    EXPECT_EQ(wide.width, 14);
    EXPECT_EQ(wide.bottom, 0);
    EXPECT_FLOAT_EQ(wide.scale, 2.0f);
}

// ---- the writer's files -------------------------------------------------------------

TEST(VideoWriterFiles, EveryFormatInBothContainersAsFfprobeSeesIt) {
    if (!videotest::toolsPresent()) GTEST_SKIP() << "ffprobe (package ffmpeg) is not installed";
    const testfiles::TempFolder folder("kw_video_formats");
    const fs::path& dir = folder.path();
    // The frame period is 1000 / fps in whole milliseconds: 30 fps is 1000/33.
    const char* rates[3] = {"1000/33", "25/1", "25/1"};
    const int frames = 7;
    for (int container = 0; container < 2; ++container)
        for (std::size_t i = 0; i < io::kVideoFormats.size(); ++i) {
            const io::VideoFormat& f = io::kVideoFormats[i];
            const bool avi = container == 0;
            const std::string path = (dir / (std::string(f.label) + (avi ? ".avi" : ".mp4"))).string();
            writeFilm(path, avi ? VideoContainer::Avi : VideoContainer::Mp4, f, frames);
            auto v = videotest::probe(path);
            SCOPED_TRACE(path);
            EXPECT_EQ(v["format_name"], avi ? "avi" : "mov,mp4,m4a,3gp,3g2,mj2");
            EXPECT_EQ(v["codec_name"], avi ? "mpeg4" : "h264");
            if (avi) {
                EXPECT_EQ(v["codec_tag_string"], "DIVX");
            }
            EXPECT_EQ(v["width"], std::to_string(f.width));
            EXPECT_EQ(v["height"], std::to_string(f.height));
            EXPECT_EQ(v["nb_read_frames"], std::to_string(frames));
            EXPECT_EQ(v["avg_frame_rate"], rates[i]);
        }
    EXPECT_EQ(filesIn(dir), 6u) << "no temporary file is left";
}

namespace {
uint32_t le32(const std::vector<uint8_t>& b, std::size_t at) {
    return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}
} // namespace

TEST(VideoWriterFiles, AviStreamHeaderHoldsTheFramePeriod) {
    // Read from the file's bytes: the "strh" chunk is fccType, fccHandler,
    // flags, priority, language, initial frames, then scale and rate.
    const testfiles::TempFolder folder("kw_video_strh");
    const fs::path& dir = folder.path();
    for (std::size_t i = 0; i < io::kVideoFormats.size(); ++i) {
        const io::VideoFormat& f = io::kVideoFormats[i];
        const std::string path = (dir / "h.avi").string();
        writeFilm(path, VideoContainer::Avi, f, 2);
        const std::vector<uint8_t> b = videotest::readBytes(path);
        ASSERT_GT(b.size(), 200u);
        EXPECT_EQ(std::string(b.begin(), b.begin() + 4), "RIFF");
        EXPECT_EQ(std::string(b.begin() + 8, b.begin() + 12), "AVI ");
        const std::string text(b.begin(), b.end());
        const std::size_t strh = text.find("strh");
        ASSERT_NE(strh, std::string::npos);
        const std::size_t body = strh + 8;
        EXPECT_EQ(text.substr(body, 4), "vids");
        EXPECT_EQ(text.substr(body + 4, 4), "DIVX");
        // scale / rate seconds a frame is period / 1000 with the period
        // 1000 / fps in whole milliseconds (33, 40, 40); the muxer stores the
        // fraction reduced, so 40/1000 arrives as 1/25.
        const uint64_t scale = le32(b, body + 20), rate = le32(b, body + 24);
        const uint64_t period = static_cast<uint64_t>(1000 / f.fps);
        EXPECT_EQ(scale * 1000, rate * period) << f.label << ": " << scale << "/" << rate;
        if (f.fps == 30) {
            EXPECT_EQ(scale, 33u);
            EXPECT_EQ(rate, 1000u);
        }
    }
}

TEST(VideoWriterFiles, DecodedFramesMatchWhatWasWritten) {
    if (!videotest::toolsPresent()) GTEST_SKIP() << "ffmpeg is not installed";
    const testfiles::TempFolder folder("kw_video_decoded");
    const fs::path& dir = folder.path();
    const io::VideoFormat f = io::kVideoFormats[0];
    for (int container = 0; container < 2; ++container) {
        const std::string path = (dir / (container == 0 ? "a.avi" : "a.mp4")).string();
        writeFilm(path, container == 0 ? VideoContainer::Avi : VideoContainer::Mp4, f, 4);
        const std::vector<uint8_t> decoded = videotest::decodeFrames(path, (dir / "frames.raw").string());
        const std::size_t frameBytes = static_cast<std::size_t>(f.width) * f.height * 3;
        ASSERT_EQ(decoded.size(), 4 * frameBytes) << path;
        // The last frame, bottom-up BGR in, top-down RGB out. Away from the
        // bar's edges (4:2:0 chroma and the 8-pixel transform blocks blur and
        // ring there) each channel is within 6.
        const std::vector<uint8_t> written = syntheticFrame(f.width, f.height, 3);
        const uint8_t* last = decoded.data() + 3 * frameBytes;
        int checked = 0, off = 0;
        for (int y = 0; y < f.height; y += 5)
            for (int x = 0; x < f.width; x += 3) {
                if (std::abs(std::abs(x - 48) - 24) < 9) continue; // the bar's edges
                const uint8_t* in = &written[static_cast<std::size_t>(y) * VideoWriter::frameStride(f.width) + x * 3];
                const uint8_t* out = &last[(static_cast<std::size_t>(f.height - 1 - y) * f.width + x) * 3];
                ++checked;
                const bool bad =
                    std::abs(in[2] - out[0]) > 6 || std::abs(in[1] - out[1]) > 6 || std::abs(in[0] - out[2]) > 6;
                if (bad && off++ < 3)
                    ADD_FAILURE() << x << "," << y << ": wrote " << int(in[2]) << " " << int(in[1]) << " " << int(in[0])
                                  << ", read " << int(out[0]) << " " << int(out[1]) << " " << int(out[2]);
            }
        EXPECT_GT(checked, 10000);
        EXPECT_EQ(off, 0) << path;
    }
}

TEST(VideoWriterCodes, FailuresLatchAndLeaveNoFile) {
    const testfiles::TempFolder folder("kw_video_codes");
    const fs::path& dir = folder.path();
    const io::VideoFormat f = io::kVideoFormats[0];
    {
        VideoWriter none;
        EXPECT_EQ(none.setUp(VideoContainer::Avi, f.width, f.height, f.fps), io::kVideoNoWriter);
        EXPECT_FALSE(none.open((dir / "missing" / "x.avi").string()));
        EXPECT_FALSE(none.error().empty());
        EXPECT_EQ(none.setUp(VideoContainer::Avi, f.width, f.height, f.fps), io::kVideoNoWriter);
        EXPECT_EQ(none.finish(), io::kVideoNoWriter);
    }
    {
        VideoWriter twice;
        ASSERT_TRUE(twice.open((dir / "twice.avi").string()));
        ASSERT_EQ(twice.setUp(VideoContainer::Avi, f.width, f.height, f.fps), io::kVideoOk);
        EXPECT_EQ(twice.framePeriodMs(), 33);
        EXPECT_EQ(twice.setUp(VideoContainer::Avi, f.width, f.height, f.fps), io::kVideoAlreadySetUp);
        const std::vector<uint8_t> shortFrame(100);
        EXPECT_EQ(twice.writeFrame(0, shortFrame.data(), shortFrame.size()), io::kVideoBadBitmap);
        const std::vector<uint8_t> good = syntheticFrame(f.width, f.height, 0);
        EXPECT_EQ(twice.writeFrame(0, good.data(), good.size()), io::kVideoLatchedError);
        EXPECT_EQ(twice.finish(), io::kVideoLatchedError);
    }
    {
        VideoWriter odd;
        ASSERT_TRUE(odd.open((dir / "odd.avi").string()));
        EXPECT_EQ(odd.setUp(VideoContainer::Avi, 7, 5, 25), io::kVideoLatchedError);
        EXPECT_EQ(odd.writeFrame(0, nullptr, 0), io::kVideoLatchedError);
    }
    {
        // Dropped in the middle: the frames so far go with the temporary file.
        VideoWriter dropped;
        ASSERT_TRUE(dropped.open((dir / "dropped.mp4").string()));
        ASSERT_EQ(dropped.setUp(VideoContainer::Mp4, f.width, f.height, f.fps), io::kVideoOk);
        const std::vector<uint8_t> good = syntheticFrame(f.width, f.height, 0);
        for (int i = 0; i < 5; ++i) ASSERT_EQ(dropped.writeFrame(i, good.data(), good.size()), io::kVideoOk);
        EXPECT_GT(filesIn(dir), 0u) << "the temporary file exists while writing";
        dropped.abort();
    }
    EXPECT_EQ(filesIn(dir), 0u);
}

TEST(VideoWriterCodes, AFinishedFileReplacesTheOldOneOnlyOnSuccess) {
    const testfiles::TempFolder folder("kw_video_replace");
    const fs::path& dir = folder.path();
    const std::string path = (dir / "old.avi").string();
    std::ofstream(path) << "an earlier film";
    {
        VideoWriter writer;
        ASSERT_TRUE(writer.open(path));
        ASSERT_EQ(writer.setUp(VideoContainer::Avi, 64, 48, 25), io::kVideoOk);
        // never finished
    }
    EXPECT_EQ(videotest::readBytes(path).size(), std::string("an earlier film").size());
    EXPECT_EQ(filesIn(dir), 1u);
}

// ---- the export on a GL document -----------------------------------------------------

namespace {

// Strokes over a grey-filled canvas, each one step.
void paintStrokes(processtest::GlDocument& doc, int count) {
    Brush brush;
    brush.size = 9;
    for (int i = 0; i < count; ++i) {
        const float t = static_cast<float>(i) / static_cast<float>(count);
        doc.perform(processtest::stroke(brush, {t, 1.0f - t, 0.5f}, 10.0f + (i % 6) * 22.0f, 10.0f + (i / 6) * 20.0f,
                                        3.0f, 1.5f, 8));
    }
}

class VideoExportGl : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
};

} // namespace

TEST_F(VideoExportGl, AbortInTheMiddleLeavesNoFileAndTheEndPicture) {
    const testfiles::TempFolder folder("kw_video_abort");
    const fs::path& dir = folder.path();
    processtest::GlDocument doc(160, 120);
    setDabSink(&doc.canvas);
    paintStrokes(doc, 20);
    doc.canvas.saveCurrentLayer(doc.layers);
    const std::vector<uint8_t> before = flatImagePixels(doc.canvas, doc.layers, true);
    const std::string path = (dir / "film.avi").string();
    {
        VideoExport job(doc.history, doc.canvas, doc.layers);
        ASSERT_TRUE(job.start(path, 0, VideoContainer::Avi)) << job.error();
        EXPECT_EQ(job.count(), 21); // the grey fill and the strokes
        for (int i = 0; i < 5; ++i) ASSERT_TRUE(job.update(0));
        EXPECT_EQ(job.position(), 5);
        EXPECT_EQ(job.framesWritten(), 5);
        EXPECT_NE(flatImagePixels(doc.canvas, doc.layers, true), before) << "the canvas shows the replay";
        job.abort();
        EXPECT_FALSE(fs::exists(path));
        EXPECT_EQ(filesIn(dir), 0u);
    }
    EXPECT_EQ(flatImagePixels(doc.canvas, doc.layers, true), before) << "the end picture is back";
    // The whole run writes one frame per action and puts the file in place.
    {
        VideoExport job(doc.history, doc.canvas, doc.layers);
        ASSERT_TRUE(job.start(path, 0, VideoContainer::Avi)) << job.error();
        while (job.update(1000)) {
        }
        EXPECT_FALSE(job.failed()) << job.error();
        ASSERT_TRUE(job.finish()) << job.error();
        EXPECT_EQ(job.framesWritten(), 21);
    }
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(filesIn(dir), 1u);
    EXPECT_EQ(flatImagePixels(doc.canvas, doc.layers, true), before);
}

TEST_F(VideoExportGl, AnEmptyListOrAnUnwritableFolderDoesNotStart) {
    const testfiles::TempFolder folder("kw_video_nostart");
    const fs::path& dir = folder.path();
    processtest::GlDocument doc(32, 32);
    setDabSink(&doc.canvas);
    {
        VideoExport job(doc.history, doc.canvas, doc.layers);
        doc.history.clear();
        EXPECT_FALSE(job.start((dir / "a.avi").string(), 0, VideoContainer::Avi));
        EXPECT_FALSE(job.error().empty());
    }
    paintStrokes(doc, 2);
    {
        VideoExport job(doc.history, doc.canvas, doc.layers);
        EXPECT_FALSE(job.start((dir / "no" / "a.avi").string(), 0, VideoContainer::Avi));
        EXPECT_FALSE(job.start((dir / "a.avi").string(), 7, VideoContainer::Avi));
    }
    EXPECT_EQ(filesIn(dir), 0u);
}

// ---- the author's watermark ----------------------------------------------------------------

namespace {

const std::string kTestFont = std::string(KW_TEST_DATA_DIR) + "/fonts/test.TTF";

// Every frame of an export of doc's history, as handed to the writer; with
// `author` set through setWatermark unless it is null.
// Every frame an export writes, before encoding; `whole` composes each frame
// whole instead of only where the step changed it.
std::vector<std::vector<uint8_t>> exportedFrames(processtest::GlDocument& doc, const fs::path& dir, int format,
                                                 const char* author, const GlFont* font, bool whole = false) {
    std::vector<std::vector<uint8_t>> frames;
    VideoExport job(doc.history, doc.canvas, doc.layers);
    job.setWholeFrames(whole);
    if (author) job.setWatermark(author, font);
    const std::string path = (dir / "film.avi").string();
    if (!job.start(path, format, VideoContainer::Avi)) {
        ADD_FAILURE() << job.error();
        return frames;
    }
    bool more = true;
    while (more) {
        more = job.update(0);
        frames.push_back(job.lastFrame());
    }
    EXPECT_FALSE(job.failed()) << job.error();
    EXPECT_TRUE(job.finish()) << job.error();
    fs::remove(path);
    return frames;
}

// Strokes in the middle of the canvas on two layers, the bottom-left corner left grey.
void paintMiddle(processtest::GlDocument& doc) {
    Brush brush;
    brush.size = 30;
    const float cx = doc.canvas.width * 0.5f, cy = doc.canvas.height * 0.5f;
    doc.perform(processtest::stroke(brush, {0.9f, 0.2f, 0.1f}, cx - 100, cy - 40, 20, 8, 10));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(processtest::stroke(brush, {0.1f, 0.3f, 0.9f}, cx - 60, cy + 50, 15, -10, 10));
    doc.perform(processtest::stroke(brush, {1.0f, 1.0f, 1.0f}, cx, cy, 10, 10, 6));
}

} // namespace

TEST_F(VideoExportGl, TheAuthorsLineChangesOnlyTheBottomLeftCornerInBlackAndWhite) {
    const testfiles::TempFolder folder("kw_video_watermark");
    const fs::path& dir = folder.path();
    GlFont font(kTestFont, 10);
    ASSERT_FALSE(font.usedFallback);
    // The 720p frame's own size: the frame is the canvas, one unit a pixel.
    processtest::GlDocument doc(1280, 720);
    setDabSink(&doc.canvas);
    paintMiddle(doc);
    const std::vector<std::vector<uint8_t>> plain = exportedFrames(doc, dir, 1, nullptr, nullptr);
    const std::vector<std::vector<uint8_t>> marked = exportedFrames(doc, dir, 1, "Ada Lovelace", &font);
    ASSERT_EQ(plain.size(), doc.history.actionCount());
    ASSERT_EQ(marked.size(), plain.size());

    // Where the line may land, from the font's own tables: the base line at
    // half the font's height (plus one for the white copy), glyphs no higher
    // than twice the nominal size above it, as wide as the advances say plus
    // the white copy's unit and a glyph's overhang.
    const std::string line = "created by Ada Lovelace with Kestrelwing";
    const int bandWidth = textWidth(&font, line) + 1 + static_cast<int>(font.height);
    const int bandHeight = static_cast<int>(font.height * 2.5f) + 2;
    const int stride = static_cast<int>(io::VideoWriter::imageSize(1280, 720) / 720);
    for (std::size_t k = 0; k < plain.size(); ++k) {
        ASSERT_EQ(plain[k].size(), marked[k].size());
        int changed = 0, outside = 0, coloured = 0, darkest = 255, lightest = 0;
        for (int y = 0; y < 720; ++y) // bottom row first
            for (int x = 0; x < 1280; ++x) {
                const uint8_t* a = &plain[k][static_cast<std::size_t>(y) * stride + x * 3];
                const uint8_t* b = &marked[k][static_cast<std::size_t>(y) * stride + x * 3];
                if (a[0] == b[0] && a[1] == b[1] && a[2] == b[2]) continue;
                ++changed;
                if (x >= bandWidth || y >= bandHeight) ++outside;
                // Black and white over grey stay grey.
                if (a[0] == a[1] && a[1] == a[2] && (b[0] != b[1] || b[1] != b[2])) ++coloured;
                darkest = std::min<int>(darkest, b[0]);
                lightest = std::max<int>(lightest, b[0]);
            }
        EXPECT_GT(changed, 100) << "frame " << k;
        EXPECT_EQ(outside, 0) << "frame " << k;
        EXPECT_EQ(coloured, 0) << "frame " << k;
        EXPECT_LT(darkest, 40) << "frame " << k;
        EXPECT_GT(lightest, 215) << "frame " << k;
    }
}

TEST_F(VideoExportGl, AnEmptyAuthorGivesTheFramesWithoutALine) {
    const testfiles::TempFolder folder("kw_video_nowatermark");
    const fs::path& dir = folder.path();
    GlFont font(kTestFont, 10);
    processtest::GlDocument doc(300, 200);
    setDabSink(&doc.canvas);
    paintMiddle(doc);
    const std::vector<std::vector<uint8_t>> plain = exportedFrames(doc, dir, 0, nullptr, nullptr);
    const std::vector<std::vector<uint8_t>> empty = exportedFrames(doc, dir, 0, "", &font);
    ASSERT_EQ(plain.size(), doc.history.actionCount());
    EXPECT_TRUE(plain == empty);
    // A name on this smaller canvas still lands in the corner, at the same share of the height.
    const std::vector<std::vector<uint8_t>> marked = exportedFrames(doc, dir, 0, "A", &font);
    ASSERT_EQ(marked.size(), plain.size());
    EXPECT_NE(marked.back(), plain.back());
}

// ---- frames redrawn where a step changed them ---------------------------------------------

namespace {

// Strokes on three layers with switches between them and layer operations
// that change no layer's pixels (opacity, visibility, order, mirror).
void paintLayeredSteps(processtest::GlDocument& doc) {
    Canvas& c = doc.canvas;
    MultiLayeredImage& l = doc.layers;
    const float w = static_cast<float>(c.width), h = static_cast<float>(c.height);
    Brush small;
    small.size = 7;
    Brush wide;
    wide.size = 40;
    for (int i = 0; i < 4; ++i)
        doc.perform(processtest::stroke(small, {0.2f * i, 0.8f, 0.3f}, w * (0.1f + 0.2f * i), h * 0.2f, 6, 5, 9));
    doc.perform(std::make_unique<NewLayerAction>(c, l));
    doc.perform(processtest::stroke(wide, {0.9f, 0.1f, 0.1f}, w * 0.3f, h * 0.5f, 9, -3, 12));
    doc.perform(processtest::stroke(small, {0.1f, 0.1f, 0.9f}, 2, 2, 4, 3, 10)); // over the corner
    doc.perform(std::make_unique<LayerChangeAction>(c, l, 0));
    doc.perform(processtest::stroke(wide, {0.1f, 0.7f, 0.9f}, w * 0.25f, h * 0.45f, 7, 4, 12));
    doc.perform(std::make_unique<LayerChangeAction>(c, l, 1));
    doc.perform(std::make_unique<LayerOpacityChangeAction>(c, l, 55));
    doc.perform(processtest::stroke(small, {1, 1, 0}, w * 0.6f, h * 0.7f, -5, -6, 10));
    doc.perform(std::make_unique<LayerVisibilityToggleAction>(c, l));
    doc.perform(processtest::stroke(wide, {0, 0, 0}, w * 0.5f, h * 0.5f, 4, 4, 8)); // on the hidden layer
    doc.perform(std::make_unique<LayerVisibilityToggleAction>(c, l));
    doc.perform(std::make_unique<NewLayerAction>(c, l));
    doc.perform(processtest::stroke(wide, {0.5f, 0.2f, 0.8f}, w * 0.8f, h * 0.3f, -8, 5, 12));
    doc.perform(std::make_unique<LayerMoveAction>(c, l, 0));
    doc.perform(processtest::stroke(small, {0.9f, 0.9f, 0.9f}, w * 0.7f, h * 0.8f, -6, -2, 10));
    doc.perform(std::make_unique<LayerFlipAction>(c, l));
    doc.perform(std::make_unique<LayerChangeAction>(c, l, 2));
    doc.perform(processtest::stroke(small, {0.3f, 0.3f, 0.3f}, w * 0.1f, h * 0.9f, 5, -5, 10));
    doc.perform(std::make_unique<CanvasFlipAction>(c, l));
    doc.perform(processtest::stroke(wide, {0.6f, 0.4f, 0.1f}, w * 0.4f, h * 0.1f, 6, 6, 10));
    doc.perform(std::make_unique<LayerMergeDownAction>(c, l));
    doc.perform(processtest::stroke(small, {0.2f, 0.9f, 0.5f}, w * 0.9f, h * 0.6f, -7, 1, 10));
}

// The first frame where the two exports differ, or -1.
int firstDifference(const std::vector<std::vector<uint8_t>>& a, const std::vector<std::vector<uint8_t>>& b) {
    if (a.size() != b.size()) return 0;
    for (std::size_t k = 0; k < a.size(); ++k)
        if (a[k] != b[k]) return static_cast<int>(k);
    return -1;
}

std::vector<std::vector<uint8_t>> framesOf(processtest::GlDocument& doc, const fs::path& dir, int format,
                                           bool whole, const GlFont* font) {
    return exportedFrames(doc, dir, format, font ? "Ada" : nullptr, font, whole);
}

} // namespace

TEST_F(VideoExportGl, FramesRedrawnWhereTheyChangedEqualWholeCompositions) {
    const testfiles::TempFolder folder("kw_video_partial");
    const fs::path& dir = folder.path();
    GlFont font(kTestFont, 10);
    struct Case {
        int w, h, format;
        bool mark;
    };
    // The frame's own size (read straight into the frame) and a canvas placed in it, with and without a name.
    for (const Case& k : {Case{704, 480, 0, false}, Case{704, 480, 0, true}, Case{300, 200, 0, true},
                          Case{1400, 700, 0, false}}) {
        SCOPED_TRACE(std::to_string(k.w) + " x " + std::to_string(k.h) + (k.mark ? ", named" : ""));
        processtest::GlDocument doc(k.w, k.h);
        setDabSink(&doc.canvas);
        paintLayeredSteps(doc);
        const auto whole = framesOf(doc, dir, k.format, true, k.mark ? &font : nullptr);
        const auto partial = framesOf(doc, dir, k.format, false, k.mark ? &font : nullptr);
        ASSERT_EQ(whole.size(), doc.history.actionCount());
        EXPECT_EQ(firstDifference(whole, partial), -1);
        // The steps do change the picture: equal frames are not for want of change.
        int distinct = 0;
        for (std::size_t i = 1; i < whole.size(); ++i) distinct += whole[i] != whole[i - 1];
        EXPECT_GT(distinct, static_cast<int>(whole.size()) / 2);
        setDabSink(nullptr);
    }
    // Every kind of action, crops and resizes among them.
    processtest::GlDocument doc(40, 30);
    setDabSink(&doc.canvas);
    processtest::performEveryActionType(doc);
    Brush brush;
    brush.size = 5;
    doc.perform(processtest::stroke(brush, {0.9f, 0.5f, 0.1f}, 2, 2, 2, 1, 8));
    const auto whole = framesOf(doc, dir, 0, true, &font);
    const auto partial = framesOf(doc, dir, 0, false, &font);
    ASSERT_EQ(whole.size(), doc.history.actionCount());
    EXPECT_EQ(firstDifference(whole, partial), -1);
}

// ---- the batch command ------------------------------------------------------------------

namespace {

using testfiles::RunResult;
using testfiles::writeFile;

class VideoBatch : public GlTest {
protected:
    void SetUp() override {
        GlTest::SetUp();
        dir = fs::temp_directory_path() / ("kw_video_batch_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
    }
    void TearDown() override {
        if (!std::getenv("KW_KEEP_VIDEO_TEST")) fs::remove_all(dir);
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    std::string file(const std::string& name) const { return (dir / name).string(); }
    // A process of the grey fill and `strokes` strokes, saved as name.
    void saveProcess(const std::string& name, int width, int height, int strokes) {
        processtest::GlDocument doc(width, height);
        setDabSink(&doc.canvas);
        paintStrokes(doc, strokes);
        writeFile(dir / name, doc.save());
        setDabSink(nullptr);
    }
    // Strokes on two layers, going back to the lower one in between: the
    // frames after it must show the lower layer's later strokes.
    std::size_t saveLayeredProcess(const std::string& name, int width, int height) {
        processtest::GlDocument doc(width, height);
        setDabSink(&doc.canvas);
        paintStrokes(doc, 8);
        doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
        paintStrokes(doc, 8);
        doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 0));
        Brush wide;
        wide.size = 60;
        doc.perform(processtest::stroke(wide, {0.1f, 0.2f, 0.9f}, 300, 100, 20, 12, 14));
        doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 1));
        paintStrokes(doc, 3);
        doc.perform(std::make_unique<LayerOpacityChangeAction>(doc.canvas, doc.layers, 70));
        writeFile(dir / name, doc.save());
        setDabSink(nullptr);
        return doc.history.actionCount();
    }
    fs::path dir;
};

} // namespace

TEST(VideoBatchCommandLine, ParsesTheExport) {
    const char* full[] = {"kw", "--export-video", "a.dpf", "b.mp4", "--format", "1080p"};
    CommandLine cl = parseCommandLine(6, full);
    EXPECT_EQ(cl.mode, CommandLine::Mode::ExportVideo);
    EXPECT_EQ(cl.file, "a.dpf");
    EXPECT_EQ(cl.output, "b.mp4");
    EXPECT_EQ(cl.videoFormat, 2);
    const char* plain[] = {"kw", "--export-video", "--format", "480p", "a.dpf", "b.avi"};
    cl = parseCommandLine(6, plain);
    EXPECT_EQ(cl.mode, CommandLine::Mode::ExportVideo);
    EXPECT_EQ(cl.videoFormat, 0);
    const char* deflt[] = {"kw", "--export-video", "a.dpf", "b.avi"};
    EXPECT_EQ(parseCommandLine(4, deflt).videoFormat, 1);
    const char* bad[][6] = {{"kw", "--export-video", "a.dpf", "", "", ""},
                            {"kw", "--export-video", "a.dpf", "b.avi", "--format", "4k"},
                            {"kw", "--export-video", "a.dpf", "b.avi", "--format", ""},
                            {"kw", "--export-video", "a.dpf", "b.avi", "--fast", "x"}};
    const char* named[] = {"kw", "--export-video", "--author", "Ada Lovelace", "a.dpf", "b.avi"};
    cl = parseCommandLine(6, named);
    EXPECT_EQ(cl.mode, CommandLine::Mode::ExportVideo);
    EXPECT_EQ(cl.author, "Ada Lovelace");
    EXPECT_EQ(cl.file, "a.dpf");
    EXPECT_EQ(parseCommandLine(4, deflt).author, "");
    const char* noName[] = {"kw", "--export-video", "a.dpf", "b.avi", "--author"};
    EXPECT_EQ(parseCommandLine(5, noName).mode, CommandLine::Mode::Error);
    const int counts[] = {3, 6, 5, 5};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(parseCommandLine(counts[i], bad[i]).mode, CommandLine::Mode::Error) << i;
}

TEST_F(VideoBatch, FilmsOfEveryFormatHoldOneFramePerAction) {
    if (!videotest::toolsPresent()) GTEST_SKIP() << "ffprobe (package ffmpeg) is not installed";
    saveProcess("p.dpf", 200, 150, 11); // 12 actions with the grey fill
    const char* names[3] = {"480p", "720p", "1080p"};
    const char* rates[3] = {"1000/33", "25/1", "25/1"};
    for (int container = 0; container < 2; ++container)
        for (int i = 0; i < 3; ++i) {
            const std::string out = file(std::string(names[i]) + (container == 0 ? ".avi" : ".mp4"));
            const RunResult r = testfiles::runProgram("--export-video " + file("p.dpf") + " " + out + " --format " + names[i]);
            SCOPED_TRACE(out);
            ASSERT_EQ(r.exitCode, 0) << r.err;
            EXPECT_NE(r.err.find("video export done: 12 frames"), std::string::npos) << r.err;
            auto v = videotest::probe(out);
            EXPECT_EQ(v["codec_name"], container == 0 ? "mpeg4" : "h264");
            if (container == 0) {
                EXPECT_EQ(v["codec_tag_string"], "DIVX");
            }
            EXPECT_EQ(v["width"], std::to_string(io::kVideoFormats[static_cast<std::size_t>(i)].width));
            EXPECT_EQ(v["height"], std::to_string(io::kVideoFormats[static_cast<std::size_t>(i)].height));
            EXPECT_EQ(v["nb_read_frames"], "12");
            EXPECT_EQ(v["avg_frame_rate"], rates[i]);
        }
}

TEST_F(VideoBatch, AnAuthorMarksTheBottomLeftCornerOfTheFilm) {
    if (!videotest::toolsPresent()) GTEST_SKIP() << "ffmpeg is not installed";
    const int W = 704, H = 480;
    saveProcess("p.dpf", W, H, 6);
    RunResult r = testfiles::runProgram("--export-video " + file("p.dpf") + " " + file("plain.avi") + " --format 480p");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    r = testfiles::runProgram("--export-video " + file("p.dpf") + " " + file("marked.avi") + " --format 480p --author 'Ada Lovelace'");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::vector<uint8_t> plain = videotest::decodeFrames(file("plain.avi"), file("plain.raw"));
    const std::vector<uint8_t> marked = videotest::decodeFrames(file("marked.avi"), file("marked.raw"));
    const std::size_t frameBytes = static_cast<std::size_t>(W) * H * 3;
    ASSERT_EQ(plain.size(), 7 * frameBytes);
    ASSERT_EQ(marked.size(), plain.size());
    // The last frame, rows top-down: the line sits within the bottom 60 rows
    // and the left half; the rest differs by coding noise at most.
    const uint8_t* a = plain.data() + 6 * frameBytes;
    const uint8_t* b = marked.data() + 6 * frameBytes;
    long inBand = 0, outside = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            for (int c = 0; c < 3; ++c) {
                const std::size_t i = (static_cast<std::size_t>(y) * W + x) * 3 + c;
                const int d = std::abs(a[i] - b[i]);
                if (y >= H - 60 && x < W / 2) inBand += d > 40;
                else outside = std::max<long>(outside, d);
            }
    EXPECT_GT(inBand, 100);
    EXPECT_LE(outside, 24);
}

TEST_F(VideoBatch, TheLastFrameIsTheReplayedPicture) {
    if (!videotest::toolsPresent()) GTEST_SKIP() << "ffmpeg is not installed";
    const int W = 704, H = 480;
    struct Case {
        int w, h, left, bottom;
        bool layered;
    };
    // 300 x 200 sits centred at 1:1 with margins ceil(404 / 2) = 202 and
    // ceil(280 / 2) = 140; 704 x 480 is the frame itself (copied).
    for (const Case& k : {Case{300, 200, 202, 140, false}, Case{704, 480, 0, 0, false}, Case{704, 480, 0, 0, true}}) {
        const int w = k.w, h = k.h;
        SCOPED_TRACE(std::to_string(w) + " x " + std::to_string(h) + (k.layered ? ", two layers" : ""));
        std::size_t actions = 31;
        if (k.layered) actions = saveLayeredProcess("p.dpf", w, h);
        else saveProcess("p.dpf", w, h, 30);
        RunResult r = testfiles::runProgram("--render --replay " + file("p.dpf") + " " + file("end.png"));
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const std::vector<uint8_t> picture = videotest::decodePicture(file("end.png"), file("end.raw"));
        ASSERT_EQ(picture.size(), static_cast<std::size_t>(w) * h * 4);
        for (const char* film : {"end.avi", "end.mp4"}) {
            SCOPED_TRACE(film);
            r = testfiles::runProgram("--export-video " + file("p.dpf") + " " + file(film) + " --format 480p");
            ASSERT_EQ(r.exitCode, 0) << r.err;
            const std::vector<uint8_t> frames = videotest::decodeFrames(file(film), file("frames.raw"));
            const std::size_t frameBytes = static_cast<std::size_t>(W) * H * 3;
            ASSERT_EQ(frames.size(), actions * frameBytes);
            const uint8_t* last = frames.data() + (actions - 1) * frameBytes;
            // Expected: the straight-alpha picture over the grey surround
            // (0.4 of 255 = 102), placed in the black frame; both top-down here.
            double sum = 0;
            int over12 = 0, margin = 0, marginX = -1, marginY = -1;
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x) {
                    const int cx = x - k.left, cyTop = y - (H - k.bottom - h);
                    int expect[3] = {0, 0, 0};
                    const bool inside = cx >= 0 && cx < w && cyTop >= 0 && cyTop < h;
                    if (inside) {
                        const uint8_t* p = &picture[(static_cast<std::size_t>(cyTop) * w + cx) * 4];
                        for (int c = 0; c < 3; ++c)
                            expect[c] =
                                static_cast<int>(std::lround(p[c] * p[3] / 255.0 + 102.0 * (255 - p[3]) / 255.0));
                    }
                    const uint8_t* got = &last[(static_cast<std::size_t>(y) * W + x) * 3];
                    for (int c = 0; c < 3; ++c) {
                        const int d = std::abs(got[c] - expect[c]);
                        sum += d;
                        over12 += d > 12;
                        if (!inside && d > margin) {
                            margin = d;
                            marginX = x;
                            marginY = y;
                        }
                    }
                }
            // Codec tolerance: 4:2:0 chroma halves the colour resolution, so
            // the rims of coloured strokes on grey (a pixel or two wide, about
            // 0.6% of the samples here) may be off by more; quantiser 2
            // (MPEG-4) and CRF 18 (H.264) keep the mean error near one level.
            const double mean = sum / (W * H * 3.0);
            EXPECT_LT(mean, 1.5);
            EXPECT_LT(over12, W * H * 3 / 100) << "at most 1% of the samples off by more than 12";
            EXPECT_LE(margin, 6) << "the margins stay black; worst at " << marginX << "," << marginY;
        }
    }
}

TEST_F(VideoBatch, BadInputAndFailuresLeaveNoFile) {
    saveProcess("good.dpf", 40, 30, 3);
    processtest::Bytes truncated = processtest::header("3.6", 4, 4, 4, 22, 4);
    truncated.i32(4).i32(4).i32(0).i32(3);
    writeFile(dir / "cut.dpf", truncated.b);
    writeFile(dir / "junk.dpf", std::vector<uint8_t>(300, 0xA5));
    // Bad input, as for the other batch commands: 2 and one line naming the file.
    for (const std::string& args :
         {"--export-video " + file("cut.dpf") + " " + file("x.avi"), "--export-video " + file("junk.dpf") + " " + file("x.mp4"),
          "--export-video " + file("missing.dpf") + " " + file("x.avi"),
          "--export-video " + file("good.dpf") + " " + file("x.mkv"),
          "--export-video " + file("stderr.txt") + " " + file("x.avi")}) {
        const RunResult r = testfiles::runProgram(args);
        EXPECT_EQ(r.exitCode, 2) << args << "\n" << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << args << "\n" << r.err;
        EXPECT_NE(r.err.find(dir.string()), std::string::npos) << r.err;
    }
    // Usage errors: 2 and the usage text.
    for (const std::string& args : {"--export-video " + file("good.dpf"), "--export-video " + file("good.dpf") + " " +
                                                                            file("x.avi") + " --format 360p"}) {
        const RunResult r = testfiles::runProgram(args);
        EXPECT_EQ(r.exitCode, 2) << args;
        EXPECT_NE(r.err.find("Usage:"), std::string::npos) << r.err;
    }
    // A folder that does not exist: the write fails, 1.
    const RunResult r = testfiles::runProgram("--export-video " + file("good.dpf") + " " + file("no/x.avi"));
    EXPECT_EQ(r.exitCode, 1) << r.err;
    std::size_t left = 0;
    for (const auto& entry : fs::directory_iterator(dir)) left += entry.path().filename().string().rfind("x.", 0) == 0;
    EXPECT_EQ(left, 0u) << "no film and no temporary file";
    EXPECT_FALSE(fs::exists(dir / "no"));
}
