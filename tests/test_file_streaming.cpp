// Saves and loads that stream through small buffers: the same bytes as the
// in-memory writer, the same objects as the in-memory reader, and a save
// that fails half-way (a full disk) leaves the file that was there alone.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "io/BinaryStream.h"
#include "io/DrawingProcess.h"
#include "io/LayeredFile.h"
#include "test_process_support.h"

using processtest::Bytes;

namespace {

namespace fs = std::filesystem;

class ScratchFolder {
public:
    ScratchFolder() {
        path = fs::temp_directory_path() / ("kw_stream_" + std::to_string(::getpid()));
        fs::create_directories(path);
    }
    ~ScratchFolder() { fs::remove_all(path); }
    std::string file(const std::string& name) const { return (path / name).string(); }
    std::size_t entries() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(path), fs::directory_iterator()));
    }
    fs::path path;
};

std::string contents(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

void writeText(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

// Collects what a streaming writer sends, and how many writes it took.
struct CollectingSink : io::ByteSink {
    bool write(const uint8_t* data, std::size_t n) override {
        bytes.insert(bytes.end(), data, data + n);
        ++writes;
        return true;
    }
    std::vector<uint8_t> bytes;
    int writes = 0;
};

// Bytes in memory served as a source, counting the reads.
struct MemorySource : io::ByteSource {
    explicit MemorySource(std::vector<uint8_t> b) : bytes(std::move(b)) {}
    std::size_t size() const override { return bytes.size(); }
    bool readAt(std::size_t offset, uint8_t* out, std::size_t n) override {
        ++reads;
        if (offset + n > bytes.size()) return false;
        std::copy(bytes.begin() + static_cast<long>(offset), bytes.begin() + static_cast<long>(offset + n), out);
        return true;
    }
    std::vector<uint8_t> bytes;
    int reads = 0;
};

LayeredPicture pattern(int32_t w, int32_t h, int count) {
    LayeredPicture p;
    p.width = w;
    p.height = h;
    p.current = count - 1;
    for (int i = 0; i < count; ++i) {
        LayerPixels layer;
        layer.visible = i % 2 == 0;
        layer.opacity = 100 - 10 * i;
        layer.blendMode = i % 2;
        layer.pixels.resize(static_cast<std::size_t>(w) * h * 4);
        for (std::size_t k = 0; k < layer.pixels.size(); ++k) layer.pixels[k] = static_cast<uint8_t>(k * 7 + i);
        p.layers.push_back(std::move(layer));
    }
    return p;
}

// Records of every width written in an order that crosses every buffer edge.
void writeMixed(io::BinaryWriter& w) {
    std::vector<uint8_t> block(300);
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<uint8_t>(i * 13);
    for (int i = 0; i < 50; ++i) {
        w.u8(static_cast<uint8_t>(i));
        w.i32(-i * 1000003);
        w.f32(static_cast<float>(i) / 3.0f);
        w.text(std::string(static_cast<std::size_t>(i % 5), 'a'));
        if (i % 7 == 0) w.raw(std::span(block.data(), static_cast<std::size_t>(i * 5 % 300)));
        if (i % 11 == 0) w.zeros(static_cast<std::size_t>(i * 3));
    }
}

} // namespace

TEST(StreamingWriter, SameBytesAsInMemoryAcrossEveryBufferSize) {
    io::BinaryWriter memory;
    writeMixed(memory);
    // By hand: the first record is 0, then 0 as int32, then 0.0f.
    const std::vector<uint8_t> start{0, 0, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_TRUE(std::equal(start.begin(), start.end(), memory.bytes().begin()));
    for (std::size_t buffer : {1u, 3u, 4u, 17u, 64u, 100u, 4096u}) {
        CollectingSink sink;
        io::BinaryWriter w(sink, buffer);
        writeMixed(w);
        EXPECT_EQ(w.size(), memory.size()) << buffer;
        EXPECT_TRUE(w.flush());
        EXPECT_EQ(sink.bytes, memory.bytes()) << buffer;
        if (buffer <= 100) {
            EXPECT_GT(sink.writes, 1) << "a small buffer is sent in parts";
        }
    }
}

TEST(StreamingReader, SameValuesAsInMemoryAcrossEveryWindow) {
    io::BinaryWriter memory;
    writeMixed(memory);
    const std::vector<uint8_t> bytes = memory.bytes();
    for (std::size_t window : {1u, 2u, 5u, 16u, 4096u}) {
        MemorySource source(bytes);
        io::BinaryReader s(source, window);
        io::BinaryReader m(bytes);
        for (int i = 0; i < 50; ++i) {
            uint8_t a = 0, b = 0;
            int32_t c = 0, d = 0;
            float e = 0, f = 0;
            s.u8(a), m.u8(b);
            s.i32(c), m.i32(d);
            s.f32(e), m.f32(f);
            ASSERT_EQ(a, b);
            ASSERT_EQ(c, d);
            ASSERT_EQ(e, f);
            std::string t1, t2;
            s.text(i % 5, t1), m.text(i % 5, t2);
            ASSERT_EQ(t1, t2);
            if (i % 7 == 0) {
                std::vector<uint8_t> r1(static_cast<std::size_t>(i * 5 % 300)), r2(r1.size());
                s.raw(r1), m.raw(r2);
                ASSERT_EQ(r1, r2);
            }
            if (i % 11 == 0) s.skip(static_cast<std::size_t>(i * 3)), m.skip(static_cast<std::size_t>(i * 3));
            ASSERT_EQ(s.position(), m.position()) << "window " << window << " record " << i;
        }
        EXPECT_TRUE(s.atEnd());
        EXPECT_FALSE(s.failed());
        // Back to the start and one past the end, as the header reader does.
        EXPECT_TRUE(s.seek(1));
        int32_t again = 0;
        s.i32(again);
        EXPECT_EQ(again, 0);
        EXPECT_FALSE(s.seek(bytes.size() + 1));
        EXPECT_TRUE(s.failed());
    }
}

TEST(StreamingReader, ShortDataAndReadErrorsFail) {
    MemorySource source({1, 2, 3});
    io::BinaryReader in(source, 2);
    int32_t v = 0;
    EXPECT_FALSE(in.i32(v));
    EXPECT_NE(in.error().find("unexpected end"), std::string::npos) << in.error();

    // A source that stops answering (a file cut while being read).
    MemorySource lying({1, 2, 3, 4, 5, 6, 7, 8});
    lying.bytes.resize(4); // size() now says 4 while the reader was told 8
    struct Claimed : io::ByteSource {
        MemorySource& inner;
        explicit Claimed(MemorySource& s) : inner(s) {}
        std::size_t size() const override { return 8; }
        bool readAt(std::size_t o, uint8_t* out, std::size_t n) override { return inner.readAt(o, out, n); }
    } claimed(lying);
    io::BinaryReader cut(claimed, 4);
    EXPECT_TRUE(cut.i32(v));
    EXPECT_FALSE(cut.i32(v));
    EXPECT_NE(cut.error().find("read error"), std::string::npos) << cut.error();
}

TEST(StreamingFiles, LayeredSaveAndLoadMatchTheInMemoryForms) {
    ScratchFolder folder;
    const LayeredPicture picture = pattern(37, 23, 3);
    std::string error;
    ASSERT_TRUE(saveLayeredFile(folder.file("a.kwf"), picture, error)) << error;
    const std::string written = contents(folder.file("a.kwf"));
    const std::vector<uint8_t> expected = encodeLayeredFile(picture);
    EXPECT_EQ(written, std::string(expected.begin(), expected.end()));
    // The header by hand: magic, size 40, 37 x 23.
    EXPECT_EQ(written.substr(0, 6), "KWFILE");
    EXPECT_EQ(static_cast<uint8_t>(written[12]), 37);
    EXPECT_EQ(static_cast<uint8_t>(written[16]), 23);

    LayeredFileContent content;
    ASSERT_EQ(readLayeredFile(folder.file("a.kwf"), content, error), LoadResult::Loaded) << error;
    EXPECT_EQ(content.picture, picture);
    EXPECT_EQ(readLayeredFile(folder.file("missing.kwf"), content, error), LoadResult::Failed);
    EXPECT_NE(error.find("missing.kwf"), std::string::npos);
    EXPECT_EQ(folder.entries(), 1u) << "no temporary file is left behind";
}

TEST(StreamingFiles, ProcessSaveAndLoadMatchTheInMemoryForms) {
    ScratchFolder folder;
    // A small process by hand: one fill and one stroke of two points, then the layers.
    Bytes b = processtest::header("3.6", 5, 4, 4, 22, 4);
    b.b[24] = ' '; // the program's own header has a blank after the version's terminator
    b.i32(5).i32(4).i32(0).i32(2);
    b.i32(2).f32(0.25f).f32(0.5f).f32(0.75f);
    b.i32(16);
    processtest::brushRecord(b, 22, 3);
    b.f32(1).f32(0).f32(0).i32(2);
    b.f32(1).f32(1).f32(1).f32(1).f32(0).u8(0);
    b.f32(3).f32(2).f32(0.5f).f32(1).f32(45).u8(0);
    const LayeredPicture layered = pattern(5, 4, 2);
    b.i32(2);
    for (const LayerPixels& layer : layered.layers) b.u8(layer.visible ? 1 : 0).i32(layer.opacity).i32(layer.blendMode);
    b.i32(layered.current);
    for (const LayerPixels& layer : layered.layers) b.append(layer.pixels);
    const std::string path = folder.file("p.dpf");
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(b.b.data()),
                                                static_cast<std::streamsize>(b.b.size()));

    io::FileSource source;
    std::string reason;
    ASSERT_TRUE(source.open(path, reason)) << reason;
    Canvas canvas{1, 1};
    MultiLayeredImage layers;
    ProcessContent streamed;
    io::BinaryReader in(source, 7); // a window smaller than one record
    ASSERT_EQ(parseProcess(in, ActionContext{canvas, layers}, {}, streamed, reason), LoadResult::Loaded) << reason;
    ASSERT_EQ(streamed.actions.size(), 2u);
    EXPECT_EQ(streamed.picture, layered);

    ProcessSaveInput input{&streamed.actions, streamed.actions.size(), &streamed.picture, 5, 4, nullptr, {}, 0, 0};
    ASSERT_TRUE(DrawingProcess::save(folder.file("again.dpf"), input, &reason)) << reason;
    EXPECT_EQ(contents(folder.file("again.dpf")), std::string(b.b.begin(), b.b.end()));
    const std::vector<uint8_t> memory = encodeProcess(input);
    EXPECT_EQ(memory, b.b);

    // The body written by a callback (as the program streams it from the canvas).
    input.layers = nullptr;
    input.layersWidth = 5;
    input.layersHeight = 4;
    input.writeLayeredBody = [&](io::BinaryWriter& out) { writeLayeredBody(out, streamed.picture); };
    ASSERT_TRUE(DrawingProcess::save(folder.file("callback.dpf"), input, &reason)) << reason;
    EXPECT_EQ(contents(folder.file("callback.dpf")), std::string(b.b.begin(), b.b.end()));
}

// A file size limit makes every write past it fail as a full disk does.
class FullDisk : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
        oldHandler = signal(SIGXFSZ, SIG_IGN);
    }
    void TearDown() override {
        setrlimit(RLIMIT_FSIZE, &saved);
        signal(SIGXFSZ, oldHandler);
    }
    void limit(rlim_t bytes) {
        rlimit l = saved;
        l.rlim_cur = bytes;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &l), 0);
    }
    rlimit saved{};
    sighandler_t oldHandler = SIG_DFL;
};

TEST_F(FullDisk, FailedSaveLeavesTheOldFileAndSaysWhy) {
    ScratchFolder folder;
    const std::string kwf = folder.file("picture.kwf"), dpf = folder.file("picture.dpf");
    writeText(kwf, "the picture saved before");
    writeText(dpf, "the process saved before");
    const LayeredPicture picture = pattern(64, 64, 2); // 32 KiB of pixels
    limit(10000);
    std::string error;
    EXPECT_FALSE(saveLayeredFile(kwf, picture, error));
    EXPECT_NE(error.find("File too large"), std::string::npos) << error;
    ProcessSaveInput input{nullptr, 0, &picture, 64, 64, nullptr, {}, 0, 0};
    error.clear();
    EXPECT_FALSE(DrawingProcess::save(dpf, input, &error));
    EXPECT_NE(error.find("File too large"), std::string::npos) << error;
    TearDown();
    EXPECT_EQ(contents(kwf), "the picture saved before");
    EXPECT_EQ(contents(dpf), "the process saved before");
    EXPECT_EQ(folder.entries(), 2u) << "the temporary files are removed";
    // With room again the same saves replace the files.
    ASSERT_TRUE(saveLayeredFile(kwf, picture, error)) << error;
    const std::vector<uint8_t> expected = encodeLayeredFile(picture);
    EXPECT_EQ(contents(kwf), std::string(expected.begin(), expected.end()));
    EXPECT_EQ(folder.entries(), 2u);
}

TEST(StreamingFiles, SizeRefusedBeforeAnyLayerIsRead) {
    ScratchFolder folder;
    // A header of 9000 x 9000 with only the start of a body: refused on its
    // size alone, before the (missing) 309 MiB of pixels would be read.
    Bytes b = processtest::header("3.6", 9000, 9000, 4, 22, 4);
    b.i32(1).u8(1).i32(100).i32(0).i32(0).fill(64, 0);
    const std::string path = folder.file("big.kwf");
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(b.b.data()),
                                                static_cast<std::streamsize>(b.b.size()));
    LayeredFileContent content;
    std::string reason;
    int asked = 0;
    auto cardOf8192 = [&](int32_t w, int32_t h) {
        ++asked;
        return w <= 8192 && h <= 8192;
    };
    EXPECT_EQ(readLayeredFile(path, content, reason, cardOf8192), LoadResult::Failed);
    EXPECT_EQ(asked, 1);
    EXPECT_NE(reason.find("9000 x 9000 is above what this graphics card supports"), std::string::npos) << reason;
    // Without the limit the same file fails on its short body instead.
    EXPECT_EQ(readLayeredFile(path, content, reason), LoadResult::Failed);
    EXPECT_NE(reason.find("does not fit"), std::string::npos) << reason;
}
