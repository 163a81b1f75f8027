// The seed corpus of the process fuzzer: files the program writes (every
// action type, a layered file) and older forms built byte by byte. The test
// runs every file of tests/fuzz/corpus/process through both readers; with
// KW_WRITE_PROCESS_CORPUS=1 it first writes the seeds it makes.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "io/BinaryStream.h"
#include "io/LayeredFile.h"
#include "support/GlTestContext.h"
#include "test_process_document.h"
#include "test_process_support.h"
#include "TestPaths.h"

using processtest::Bytes;

namespace {

const std::filesystem::path kCorpus = std::filesystem::path(KW_SOURCE_DIR) / "tests/fuzz/corpus/process";

bool writingSeeds() {
    const char* v = std::getenv("KW_WRITE_PROCESS_CORPUS");
    return v && std::string(v) == "1";
}

void writeSeed(const std::string& name, const std::vector<uint8_t>& bytes) {
    std::filesystem::create_directories(kCorpus);
    std::ofstream((kCorpus / name).string(), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Older forms, one per gate of the header and the bodies.
std::map<std::string, std::vector<uint8_t>> olderForms() {
    std::map<std::string, std::vector<uint8_t>> seeds;
    Bytes dat;
    dat.i32(3).i32(0).i32(2);
    dat.i32(0).f32(1).f32(2).f32(1).f32(0).f32(0).f32(0.5f).i32(0).f32(3).f32(2).f32(1).f32(0).f32(0).f32(0.5f);
    dat.i32(1);
    processtest::brushRecord(dat, 0, 3, 1);
    dat.i32(4);
    seeds["old_dat_format0.seed"] = dat.b;

    Bytes v13 = processtest::header("1.3", 2, 2, 0, 0, 0);
    v13.i32(2).i32(0);
    processtest::brushRecord(v13, 2, 4);
    v13.i32(1).i32(0).f32(1).f32(1).f32(0).f32(1).f32(0).f32(1).i32(12);
    v13.i32(2).fill(32, 200);
    seeds["v1_3_layer_index1.seed"] = v13.b;

    Bytes v27 = processtest::header("2.7", 2, 1, 0, 0, 0);
    v27.i32(2).i32(1).i32(2).i32(13).fill(8, 50).i32(5).i32(1);
    v27.i32(2).u8(1).i32(40).u8(0).i32(90).i32(1).fill(16, 128);
    seeds["v2_7_layer_index2.seed"] = v27.b;

    Bytes v31 = processtest::header("3.1", 2, 2, 3, 0, 6);
    v31.i32(2).i32(2).i32(1).i32(3).i32(5).text("flat!").i32(1).i32(1).fill(4, 255);
    v31.i32(2).i32(16);
    processtest::brushRecord(v31, 9, 4, 3);
    v31.f32(0.5f).f32(0.5f).f32(0.5f).i32(2).f32(0).f32(0).f32(0.5f).f32(1).f32(1).f32(0.5f);
    v31.i32(9).i32(0);
    v31.i32(1).u8(1).i32(100).i32(1).i32(0).fill(16, 3);
    seeds["v3_1_tips_strokes.seed"] = v31.b;

    Bytes v33 = processtest::header("3.3", 2, 2, 3, 0, 0);
    v33.i32(2).i32(2).i32(0).i32(2);
    v33.i32(18).i32(1).i32(1).i32(3).f32(0).f32(0).f32(2).f32(2).fill(3, 9);
    v33.i32(21).i32(0).i32(0).i32(1).i32(2).i32(3).i32(4).f32(0.5f);
    v33.i32(1).u8(1).i32(100).i32(0).i32(0).fill(16, 0);
    seeds["v3_3_paste_bucket.seed"] = v33.b;

    Bytes v35 = processtest::header("3.5", 1, 1, 4, 0, 4, 60);
    v35.i32(1).i32(1).i32(0).i32(2).i32(6).i32(2).f32(0).f32(0).f32(1).f32(1).i32(7);
    v35.i32(1).u8(1).i32(100).i32(0).i32(0).fill(4, 1);
    seeds["v3_5_4_header60.seed"] = v35.b;

    Bytes shortHeader;
    shortHeader.text("KWFILE").u8(0).u8(0).i32(20).i32(4).i32(4).i32(1).i32(3);
    seeds["short_header.seed"] = shortHeader.b;

    Bytes newer = processtest::header("3.6", 10, 10, 4, 23, 9);
    newer.i32(10).i32(10).i32(0).i32(0);
    seeds["too_new.seed"] = newer.b;

    Bytes kwf1 = processtest::header("1.4", 1, 1, 0, 0, 0);
    kwf1.i32(3).fill(12, 60);
    seeds["kwf_layer_index1.seed"] = kwf1.b;
    return seeds;
}

class ProcessCorpus : public GlTest {};

} // namespace

TEST_F(ProcessCorpus, SeedsOfTheProgramAndOlderForms) {
    if (!writingSeeds()) GTEST_SKIP() << "set KW_WRITE_PROCESS_CORPUS=1 to write the seeds";
    processtest::GlDocument doc(6, 5);
    setDabSink(&doc.canvas);
    processtest::performEveryActionType(doc);
    writeSeed("saved_every_action.seed", doc.save());
    doc.canvas.saveCurrentLayer(doc.layers);
    writeSeed("saved_layered.seed", encodeLayeredFile(captureLayers(doc.canvas, doc.layers)));
    setDabSink(nullptr);
    for (const auto& [name, bytes] : olderForms()) writeSeed(name, bytes);
}

TEST(ProcessCorpusRun, EveryFileGoesThroughBothReaders) {
    ASSERT_TRUE(std::filesystem::is_directory(kCorpus)) << kCorpus;
    std::size_t files = 0, loaded = 0;
    for (const auto& entry : std::filesystem::directory_iterator(kCorpus)) {
        std::vector<uint8_t> bytes;
        std::string reason;
        ASSERT_TRUE(io::readWholeFile(entry.path().string(), bytes, reason)) << reason;
        processtest::Parsed p(bytes);
        if (p.result == LoadResult::Failed) {
            EXPECT_FALSE(p.reason.empty()) << entry.path();
        }
        if (p.result == LoadResult::Loaded) ++loaded;
        LayeredFileContent layered;
        parseLayeredFile(bytes, layered, reason);
        ++files;
    }
    EXPECT_GE(files, 10u);
    EXPECT_GE(loaded, 8u); // the seeds themselves are valid files
}

TEST(ProcessCorpusRun, SeedsParseAsExpected) {
    for (const auto& [name, bytes] : olderForms()) {
        processtest::Parsed p(bytes);
        if (name == "too_new.seed") {
            EXPECT_EQ(p.result, LoadResult::TooNew);
        } else if (name.rfind("kwf_", 0) == 0) {
            LayeredFileContent content;
            std::string reason;
            EXPECT_EQ(parseLayeredFile(bytes, content, reason), LoadResult::Loaded) << name << ": " << reason;
            EXPECT_EQ(content.picture.layers.size(), 3u);
        } else {
            EXPECT_EQ(p.result, LoadResult::Loaded) << name << ": " << p.reason;
        }
    }
}
