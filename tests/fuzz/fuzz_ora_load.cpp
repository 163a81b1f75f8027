// libFuzzer entry for the OpenRaster reader, with small limits so that
// every run is quick. The first byte chooses what the rest is: an even one,
// the whole archive; an odd one, the text of stack.xml, packed here into a
// sound archive with two small layers (the zip's checksums would stop nearly
// every change to a packed stack.xml before it is parsed). Whatever loads
// must write back and load again to the same picture.
#include <zip.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "io/Codecs.h"
#include "io/OpenRaster.h"

namespace {

std::vector<uint8_t> archiveAround(std::span<const uint8_t> stackXml) {
    static const std::vector<uint8_t> kLayer = [] {
        std::vector<uint8_t> rgba(4 * 3 * 4);
        for (std::size_t i = 0; i < rgba.size(); ++i) rgba[i] = static_cast<uint8_t>(i * 37);
        return codec::encodePngToMemory(rgba.data(), 4, 3);
    }();
    static const char kMime[] = "image/openraster";
    zip_source_t* target = zip_source_buffer_create(nullptr, 0, 0, nullptr);
    zip_t* archive = zip_open_from_source(target, ZIP_TRUNCATE, nullptr);
    zip_source_keep(target);
    auto add = [&](const char* name, const void* data, std::size_t size) {
        zip_source_t* s = zip_source_buffer(archive, data, size, 0);
        if (zip_file_add(archive, name, s, 0) < 0) zip_source_free(s);
    };
    add("mimetype", kMime, sizeof kMime - 1);
    add("stack.xml", stackXml.data(), stackXml.size());
    add("data/a.png", kLayer.data(), kLayer.size());
    add("data/b.png", kLayer.data(), kLayer.size());
    std::vector<uint8_t> out;
    zip_stat_t stat;
    if (zip_close(archive) == 0 && zip_source_open(target) == 0) {
        if (zip_source_stat(target, &stat) == 0) {
            out.resize(static_cast<std::size_t>(stat.size));
            if (zip_source_read(target, out.data(), out.size()) != static_cast<zip_int64_t>(out.size())) out.clear();
        }
        zip_source_close(target);
    }
    zip_source_free(target);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    DecodeLimits limits;
    limits.maxWidth = limits.maxHeight = 512;
    limits.maxPixels = 1 << 16;
    const std::span<const uint8_t> rest(data + 1, size - 1);
    const std::vector<uint8_t> packed = (data[0] & 1) ? archiveAround(rest) : std::vector<uint8_t>{};
    const std::span<const uint8_t> archive = (data[0] & 1) ? std::span<const uint8_t>(packed) : rest;
    ora::Content content;
    std::string reason;
    const LoadResult result = ora::parse(archive, limits, content, reason);
    if (result != LoadResult::Loaded) {
        if (reason.empty()) __builtin_trap(); // every refusal must say why
        return 0;
    }
    std::string error;
    const std::vector<uint8_t> merged(content.picture.layers[0].pixels);
    const std::vector<uint8_t> again = ora::encode(content.picture, content.names, merged, error);
    ora::Content back;
    if (again.empty() || ora::parse(again, limits, back, reason) != LoadResult::Loaded) __builtin_trap();
    if (!(back.picture == content.picture)) __builtin_trap();
    return 0;
}
