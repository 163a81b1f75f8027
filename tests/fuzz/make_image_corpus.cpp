// Writes the seed corpus of the image fuzzer: small valid files of every
// format the decoders read, each prefixed with its name selector.
//   kw_make_image_corpus <output folder>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "io/ImageCodec.h"
#include "tests/fuzz/FuzzInput.h"
#include "tests/fuzz/ImageBytes.h"

namespace {

namespace fs = std::filesystem;

// 3 x 2 picture, straight RGBA, top row first: opaque red, half green, clear.
std::vector<uint8_t> pattern() {
    return {255, 0, 0, 255, 0, 255, 0, 128, 0, 0, 0, 0, 10, 20, 30, 255, 200, 100, 50, 255, 255, 255, 255, 64};
}

bool writeSeed(const fs::path& folder, const std::string& stem, const std::string& decodeName,
               const std::vector<uint8_t>& bytes) {
    std::ofstream out(folder / (stem + ".seed"), std::ios::binary);
    const char selector = static_cast<char>(fuzzinput::selectorFor(decodeName));
    out.write(&selector, 1);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

// Saves through the program's own writer, bottom-up rows as the canvas has them.
std::vector<uint8_t> savedBytes(const fs::path& folder, const std::string& name) {
    std::vector<uint8_t> topDown = pattern(), bottomUp(topDown.size());
    for (int y = 0; y < 2; ++y)
        std::copy_n(topDown.begin() + (1 - y) * 12, 12, bottomUp.begin() + y * 12);
    const fs::path file = folder / name;
    std::vector<uint8_t> bytes;
    std::string detail;
    if (saveImage(file.string(), bottomUp, 3, 2)) readImageFile(file.string(), bytes, detail);
    fs::remove(file);
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const fs::path folder = argv[1];
    fs::create_directories(folder);
    namespace ib = imagebytes;
    const std::vector<uint8_t> p = pattern();
    bool ok = true;
    for (const char* name : {"f.png", "f.jpg", "f.tif", "f.bmp"}) {
        const std::vector<uint8_t> bytes = savedBytes(folder, std::string("seed_") + name);
        ok = ok && !bytes.empty() && writeSeed(folder, std::string("saved_") + (name + 2), name, bytes);
    }
    ok = ok && writeSeed(folder, "png_rgb_bytes", "f.png", ib::png(3, 2, p, false));
    ok = ok && writeSeed(folder, "png_rgba_bytes", "f.png", ib::png(3, 2, p, true));
    ok = ok && writeSeed(folder, "bmp_bottom_up", "f.bmp", ib::bmp24(3, 2, p, false));
    ok = ok && writeSeed(folder, "bmp_top_down", "f.bmp", ib::bmp24(3, 2, p, true));
    ok = ok && writeSeed(folder, "tga_32_bottom", "f.tga", ib::tga(3, 2, p, 32, false, false));
    ok = ok && writeSeed(folder, "tga_24_top", "f.tga", ib::tga(3, 2, p, 24, true, false));
    ok = ok && writeSeed(folder, "tga_32_rle", "f.tga", ib::tga(3, 2, p, 32, false, true));
    ok = ok && writeSeed(folder, "dds_dxt1", "f.dds", ib::ddsDxt1Solid(8, 4, 0xF800));
    ok = ok && writeSeed(folder, "dds_bgra", "f.dds", ib::ddsBgra(3, 2, p));
    if (!ok) std::fprintf(stderr, "some seeds could not be written\n");
    return ok ? 0 : 1;
}
