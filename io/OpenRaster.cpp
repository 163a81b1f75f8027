#include "io/OpenRaster.h"

#include <zip.h>

#include <tinyxml.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <system_error>
#include <thread>

#include "canvas/Canvas.h"
#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Application.h"
#include "history/History.h"
#include "io/BinaryStream.h"
#include "io/Codecs.h"
#include "io/FlatImage.h"
#include "io/ImageCodec.h"
#include "io/ImageLoad.h"
#include "io/Pixels.h"
#include "io/XmlText.h"
#include "io/ProcessFormat.h"
#include "core/Localisation.h"

namespace ora {

namespace {

constexpr int32_t kBlendNormal = 0;
constexpr int32_t kBlendMultiply = 1;

std::size_t pixelBytes(int64_t width, int64_t height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4;
}

std::string zipErrorText(zip_error_t* error) {
    const char* text = zip_error_strerror(error);
    return text ? text : "unknown zip error";
}

// ---- reading ---------------------------------------------------------------------

struct ZipCloser {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
using ZipArchive = std::unique_ptr<zip_t, ZipCloser>;

struct ZipFileCloser {
    void operator()(zip_file_t* file) const { zip_fclose(file); }
};

// Entries of one archive, read with a budget for all of them together.
class EntryReader {
public:
    explicit EntryReader(zip_t* archive) : archive_(archive) {}

    // The size an entry claims, without inflating it; false when it is
    // missing or has no size.
    bool claimedSize(const std::string& name, std::size_t& size) const {
        const zip_int64_t index = zip_name_locate(archive_, name.c_str(), 0);
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (index < 0 || zip_stat_index(archive_, static_cast<zip_uint64_t>(index), 0, &stat) != 0 ||
            !(stat.valid & ZIP_STAT_SIZE))
            return false;
        size = static_cast<std::size_t>(std::min<zip_uint64_t>(stat.size, SIZE_MAX));
        return true;
    }

    // The whole entry, refused when it claims more than maxBytes, when the
    // budget is spent, or when it inflates to anything but its claimed size.
    bool read(const std::string& name, std::size_t maxBytes, std::vector<uint8_t>& out, std::string& reason) {
        out.clear();
        const zip_int64_t index = zip_name_locate(archive_, name.c_str(), 0);
        if (index < 0) {
            reason = "the archive has no \"" + name + "\"";
            return false;
        }
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (zip_stat_index(archive_, static_cast<zip_uint64_t>(index), 0, &stat) != 0 ||
            !(stat.valid & ZIP_STAT_SIZE)) {
            reason = "\"" + name + "\": " + zipErrorText(zip_get_error(archive_));
            return false;
        }
        // Before anything is inflated: the size the entry claims.
        if (stat.size > maxBytes) {
            reason = "\"" + name + "\" claims " + std::to_string(stat.size) + " bytes, more than the " +
                     std::to_string(maxBytes) + " it may have";
            return false;
        }
        if (stat.size > budget_) {
            reason = "\"" + name + "\" claims " + std::to_string(stat.size) +
                     " bytes; the archive inflates to more than " + std::to_string(kMaxInflatedBytes) +
                     " bytes";
            return false;
        }
        std::unique_ptr<zip_file_t, ZipFileCloser> file(
            zip_fopen_index(archive_, static_cast<zip_uint64_t>(index), 0));
        if (!file) {
            reason = "\"" + name + "\": " + zipErrorText(zip_get_error(archive_));
            return false;
        }
        const std::size_t size = static_cast<std::size_t>(stat.size);
        out.resize(size + 1);
        // One byte more than claimed: data beyond the claim is damage, never read on.
        std::size_t got = 0;
        while (got < size + 1) {
            const zip_int64_t n = zip_fread(file.get(), out.data() + got, size + 1 - got);
            if (n < 0) {
                reason = "\"" + name + "\": " + zipErrorText(zip_file_get_error(file.get()));
                out.clear();
                return false;
            }
            if (n == 0) break;
            got += static_cast<std::size_t>(n);
        }
        if (got != size) {
            reason = "\"" + name + "\" inflates to " + (got > size ? "more" : "fewer") + " bytes than the " +
                     std::to_string(size) + " it claims";
            out.clear();
            return false;
        }
        out.resize(size);
        budget_ -= size;
        return true;
    }

private:
    zip_t* archive_;
    std::size_t budget_ = kMaxInflatedBytes;
};

// A layer's src must name an entry inside the archive, plainly.
bool safeEntryName(const std::string& name) {
    if (name.empty() || name.size() > 1024 || name.front() == '/') return false;
    if (name.find('\\') != std::string::npos || name.find(':') != std::string::npos ||
        name.find('\0') != std::string::npos)
        return false;
    std::size_t start = 0;
    while (start <= name.size()) {
        const std::size_t end = std::min(name.find('/', start), name.size());
        const std::string part = name.substr(start, end - start);
        if (part == ".." || part == ".") return false;
        start = end + 1;
    }
    return true;
}

// A layer as stack.xml tells it, before its pixels are read.
struct LayerEntry {
    std::string src, name, compositeOp;
    double opacity = 1.0;
    bool visible = true;
    bool selected = false;
    int32_t x = 0, y = 0;
};

bool readIntAttribute(const TiXmlElement& element, const char* name, int32_t& value, std::string& reason) {
    const char* text = element.Attribute(name);
    if (!text) return true;
    char* end = nullptr;
    errno = 0;
    const long long parsed = std::strtoll(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || parsed < INT32_MIN || parsed > INT32_MAX) {
        reason =
            std::string("<") + element.Value() + "> has " + name + "=\"" + text + "\", not a whole number";
        return false;
    }
    value = static_cast<int32_t>(parsed);
    return true;
}

bool readOpacity(const TiXmlElement& element, double& value, std::string& reason) {
    const char* text = element.Attribute("opacity");
    if (!text) return true;
    char* end = nullptr;
    const double parsed = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(parsed)) {
        reason = std::string("<") + element.Value() + "> has opacity=\"" + text + "\", not a number";
        return false;
    }
    value = std::clamp(parsed, 0.0, 1.0);
    return true;
}

// The layers of a stack, the top one first, nested stacks flattened in place.
bool collectLayers(const TiXmlElement& stack, double opacity, bool visible, int depth,
                   std::vector<LayerEntry>& out, std::string& reason) {
    if (depth > kMaxStackDepth) {
        reason = "stacks nested deeper than " + std::to_string(kMaxStackDepth);
        return false;
    }
    for (const TiXmlElement* child = stack.FirstChildElement(); child; child = child->NextSiblingElement()) {
        const std::string kind = child->Value();
        if (kind != "layer" && kind != "stack") continue; // other elements mean nothing to us
        double ownOpacity = 1.0;
        if (!readOpacity(*child, ownOpacity, reason)) return false;
        const char* visibility = child->Attribute("visibility");
        const bool shown = visible && !(visibility && std::strcmp(visibility, "hidden") == 0);
        if (kind == "stack") {
            if (!collectLayers(*child, opacity * ownOpacity, shown, depth + 1, out, reason)) return false;
            continue;
        }
        if (out.size() >= static_cast<std::size_t>(kwformat::kMaxLayers)) {
            reason = "more than the " + std::to_string(kwformat::kMaxLayers) + " layers a picture may hold";
            return false;
        }
        LayerEntry layer;
        const char* src = child->Attribute("src");
        if (!src) {
            reason = "a <layer> without src";
            return false;
        }
        layer.src = src;
        if (!safeEntryName(layer.src)) {
            reason = "a layer's src \"" + layer.src + "\" points outside the archive";
            return false;
        }
        if (const char* name = child->Attribute("name")) layer.name = name;
        if (const char* op = child->Attribute("composite-op")) layer.compositeOp = op;
        if (const char* selected = child->Attribute("selected"))
            layer.selected = std::strcmp(selected, "true") == 0;
        if (!readIntAttribute(*child, "x", layer.x, reason) ||
            !readIntAttribute(*child, "y", layer.y, reason))
            return false;
        layer.opacity = opacity * ownOpacity;
        layer.visible = shown;
        out.push_back(std::move(layer));
    }
    return true;
}

// The most a layer's PNG may take: 16-bit RGBA rows stored without
// compression, with room for the chunks around them.
std::size_t pngBytesBound(int64_t pixels, int64_t side) {
    const std::size_t raw = static_cast<std::size_t>(pixels) * 8 + static_cast<std::size_t>(side);
    return std::min(raw + raw / 8 + (std::size_t{1} << 20), kMaxImageFileBytes);
}

bool isPng(std::span<const uint8_t> bytes) {
    static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return bytes.size() >= 8 && std::memcmp(bytes.data(), kSignature, 8) == 0;
}

// Copies a decoded layer (canvas form) into the canvas-size block at the
// offset stack.xml gives (x from the left, y from the top), clipped.
void placeLayer(const DecodedImage& image, int32_t x, int32_t y, int32_t width, int32_t height,
                std::vector<uint8_t>& target) {
    const int64_t left = std::max<int64_t>(0, x);
    const int64_t right = std::min<int64_t>(width, int64_t{x} + image.width);
    if (left >= right) return;
    for (int64_t row = 0; row < image.height; ++row) {
        // Canvas form counts rows from the bottom: layer row `row` is
        // image.height - 1 - row from the layer's top.
        const int64_t fromTop = int64_t{y} + (image.height - 1 - row);
        if (fromTop < 0 || fromTop >= height) continue;
        const int64_t canvasRow = height - 1 - fromTop;
        const uint8_t* from =
            image.pixels.data() + (static_cast<std::size_t>(row) * image.width + (left - x)) * 4;
        uint8_t* to = target.data() + (static_cast<std::size_t>(canvasRow) * width + left) * 4;
        std::memcpy(to, from, static_cast<std::size_t>(right - left) * 4);
    }
}

// ---- writing ---------------------------------------------------------------------

// Straight alpha, rows top-down, PNG bytes.
std::vector<uint8_t> canvasFormToPng(std::span<const uint8_t> pixels, int32_t width, int32_t height) {
    std::vector<uint8_t> straight(pixels.begin(), pixels.end());
    unpremultiply(straight.data(), straight.size());
    flipRowsInPlace(straight, width, height);
    return codec::encodePngToMemory(straight.data(), width, height);
}

std::string opacityText(int32_t percent) {
    const int32_t p = std::clamp(percent, 0, 100);
    char text[16];
    std::snprintf(text, sizeof text, "%d.%02d", p / 100, p % 100);
    return text;
}

std::string layerEntryName(std::size_t index) {
    const std::string number = std::to_string(index);
    return "data/layer" + std::string(number.size() < 3 ? 3 - number.size() : 0, '0') + number + ".png";
}

std::string stackXml(const LayeredPicture& picture, const std::vector<std::string>& names) {
    TiXmlDocument document;
    document.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    auto* image = new TiXmlElement("image");
    image->SetAttribute("version", "0.0.5");
    image->SetAttribute("w", picture.width);
    image->SetAttribute("h", picture.height);
    auto* stack = new TiXmlElement("stack");
    // The top layer first.
    for (std::size_t i = picture.layers.size(); i-- > 0;) {
        const LayerPixels& source = picture.layers[i];
        auto* layer = new TiXmlElement("layer");
        const std::string name =
            i < names.size() && !names[i].empty() ? io::xmlSafeText(names[i]) : "Layer " + std::to_string(i + 1);
        layer->SetAttribute("name", name);
        layer->SetAttribute("src", layerEntryName(i));
        layer->SetAttribute("opacity", opacityText(source.opacity));
        layer->SetAttribute("visibility", source.visible ? "visible" : "hidden");
        layer->SetAttribute("x", 0);
        layer->SetAttribute("y", 0);
        layer->SetAttribute("composite-op",
                            source.blendMode == kBlendMultiply ? "svg:multiply" : "svg:src-over");
        if (static_cast<int32_t>(i) == picture.current) layer->SetAttribute("selected", "true");
        stack->LinkEndChild(layer);
    }
    image->LinkEndChild(stack);
    document.LinkEndChild(image);
    TiXmlPrinter printer;
    printer.SetIndent("  ");
    document.Accept(&printer);
    return printer.Str();
}

// An archive written into memory; the entries' bytes must live until close.
class ZipWriter {
public:
    bool open(std::string& error) {
        zip_error_t zerror;
        zip_error_init(&zerror);
        source_ = zip_source_buffer_create(nullptr, 0, 0, &zerror);
        if (source_) archive_ = zip_open_from_source(source_, ZIP_TRUNCATE, &zerror);
        if (!archive_) {
            error = "zip: " + zipErrorText(&zerror);
            zip_error_fini(&zerror);
            return false;
        }
        zip_error_fini(&zerror);
        zip_source_keep(source_); // read back after zip_close
        return true;
    }

    ~ZipWriter() {
        if (archive_) zip_discard(archive_);
        if (source_) zip_source_free(source_);
    }

    bool add(const std::string& name, std::vector<uint8_t> bytes, bool compress, std::string& error) {
        const std::vector<uint8_t>& kept = held_.emplace_back(std::move(bytes));
        zip_source_t* entry = zip_source_buffer(archive_, kept.data(), kept.size(), 0);
        if (!entry) return fail(error);
        const zip_int64_t index = zip_file_add(archive_, name.c_str(), entry, ZIP_FL_ENC_UTF_8);
        if (index < 0) {
            zip_source_free(entry);
            return fail(error);
        }
        if (zip_set_file_compression(archive_, static_cast<zip_uint64_t>(index),
                                     compress ? ZIP_CM_DEFLATE : ZIP_CM_STORE, 0) != 0)
            return fail(error);
        return true;
    }

    // Closes the archive and hands out its bytes.
    bool finish(std::vector<uint8_t>& out, std::string& error) {
        if (zip_close(archive_) != 0) return fail(error);
        archive_ = nullptr;
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (zip_source_open(source_) != 0) return failSource(error);
        if (zip_source_stat(source_, &stat) != 0 || !(stat.valid & ZIP_STAT_SIZE)) {
            zip_source_close(source_);
            return failSource(error);
        }
        out.resize(static_cast<std::size_t>(stat.size));
        const zip_int64_t n = zip_source_read(source_, out.data(), out.size());
        zip_source_close(source_);
        if (n < 0 || static_cast<std::size_t>(n) != out.size()) return failSource(error);
        return true;
    }

private:
    bool fail(std::string& error) {
        error = "zip: " + zipErrorText(zip_get_error(archive_));
        return false;
    }
    bool failSource(std::string& error) {
        error = "zip: " + zipErrorText(zip_source_error(source_));
        return false;
    }

    zip_source_t* source_ = nullptr;
    zip_t* archive_ = nullptr;
    std::deque<std::vector<uint8_t>> held_;
};

} // namespace

// ---- parse -----------------------------------------------------------------------

LoadResult parse(std::span<const uint8_t> bytes, const DecodeLimits& limits, Content& out,
                 std::string& reason, const std::function<bool(int32_t, int32_t)>& acceptSize) {
    out = Content{};
    zip_error_t zerror;
    zip_error_init(&zerror);
    zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &zerror);
    zip_t* opened = source ? zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &zerror) : nullptr;
    if (!opened) {
        reason =
            "not an OpenRaster file: the zip archive is damaged or cut short (" + zipErrorText(&zerror) + ")";
        zip_error_fini(&zerror);
        if (source) zip_source_free(source);
        return LoadResult::Failed;
    }
    zip_error_fini(&zerror);
    ZipArchive archive(opened); // owns the source from here
    EntryReader entries(archive.get());

    std::vector<uint8_t> data;
    if (!entries.read("mimetype", 256, data, reason)) return LoadResult::Failed;
    std::string mime(data.begin(), data.end());
    while (!mime.empty() && (mime.back() == '\n' || mime.back() == '\r'))
        mime.pop_back();
    if (mime != kMimeType) {
        reason = "not an OpenRaster file: its mimetype is \"" + mime.substr(0, 64) + "\"";
        return LoadResult::Failed;
    }

    if (!entries.read("stack.xml", kMaxStackXmlBytes, data, reason)) return LoadResult::Failed;
    const std::string xml(data.begin(), data.end());
    if (xml.find('\0') != std::string::npos) {
        reason = "stack.xml holds a zero byte";
        return LoadResult::Failed;
    }
    // The XML parser steps over a multi-byte character by its first byte
    // alone; text that is not UTF-8 would lead it past the end.
    if (!io::wellFormedUtf8(xml)) {
        reason = "stack.xml is not UTF-8 text";
        return LoadResult::Failed;
    }
    if (io::nestingDepth(xml) > kMaxStackDepth + 2) {
        reason = "stack.xml nests elements deeper than " + std::to_string(kMaxStackDepth);
        return LoadResult::Failed;
    }
    TiXmlDocument document;
    document.Parse(xml.c_str(), nullptr, TIXML_ENCODING_UTF8);
    if (document.Error()) {
        reason = std::string("stack.xml: ") + document.ErrorDesc();
        if (document.ErrorRow() > 0) reason += " (line " + std::to_string(document.ErrorRow()) + ")";
        return LoadResult::Failed;
    }
    const TiXmlElement* image = document.RootElement();
    if (!image || std::strcmp(image->Value(), "image") != 0) {
        reason = "stack.xml has no <image>";
        return LoadResult::Failed;
    }
    int32_t width = 0, height = 0;
    if (!image->Attribute("w") || !image->Attribute("h")) {
        reason = "stack.xml's <image> has no size";
        return LoadResult::Failed;
    }
    if (!readIntAttribute(*image, "w", width, reason) || !readIntAttribute(*image, "h", height, reason))
        return LoadResult::Failed;
    const std::string sizeText = std::to_string(width) + " x " + std::to_string(height);
    if (width < 1 || height < 1) {
        reason = "a picture of " + sizeText;
        return LoadResult::Failed;
    }
    // The caller's test first: it tells the user the card's limit.
    if (acceptSize && !acceptSize(width, height)) {
        reason = "canvas size " + sizeText + " is above what this graphics card supports";
        return LoadResult::Failed;
    }
    if (!limits.accepts(width, height)) {
        reason = "a picture of " + sizeText + ", larger than the " + std::to_string(limits.maxWidth) + " x " +
                 std::to_string(limits.maxHeight) + " opened here";
        return LoadResult::Failed;
    }
    const TiXmlElement* stack = image->FirstChildElement("stack");
    if (!stack) {
        reason = "stack.xml has no <stack>";
        return LoadResult::Failed;
    }
    std::vector<LayerEntry> entriesTopFirst;
    if (!collectLayers(*stack, 1.0, true, 0, entriesTopFirst, reason)) return LoadResult::Failed;
    if (entriesTopFirst.empty()) {
        reason = "a picture without layers";
        return LoadResult::Failed;
    }
    const std::size_t layerBytes = pixelBytes(width, height);
    if (entriesTopFirst.size() > kMaxPictureBytes / layerBytes) {
        reason = std::to_string(entriesTopFirst.size()) + " layers of " + sizeText +
                 " would take more than " + std::to_string(kMaxPictureBytes >> 20) + " MiB";
        return LoadResult::Failed;
    }
    // Every layer's PNG is there, and claims no more than a layer may take,
    // before the first one is inflated.
    DecodeLimits layerLimits = limits;
    layerLimits.maxPixels =
        std::min<int64_t>(limits.maxPixels, std::max<int64_t>(int64_t{4} * width * height, 1 << 22));
    const std::size_t pngLimit =
        pngBytesBound(layerLimits.maxPixels, std::max(layerLimits.maxWidth, layerLimits.maxHeight));
    std::size_t claimed = 0;
    for (const LayerEntry& entry : entriesTopFirst) {
        std::size_t size = 0;
        if (!entries.claimedSize(entry.src, size)) {
            reason = "the archive has no \"" + entry.src + "\" for layer \"" + entry.name + "\"";
            return LoadResult::Failed;
        }
        if (size > pngLimit) {
            reason = "\"" + entry.src + "\" claims " + std::to_string(size) +
                     " bytes, more than a layer of " + sizeText + " may have";
            return LoadResult::Failed;
        }
        claimed += size;
        if (claimed > kMaxInflatedBytes) {
            reason = "the layers claim more than " + std::to_string(kMaxInflatedBytes) + " bytes together";
            return LoadResult::Failed;
        }
    }

    Content content;
    content.picture.width = width;
    content.picture.height = height;
    content.picture.current = -1;
    const std::size_t count = entriesTopFirst.size();
    content.picture.layers.resize(count);
    content.names.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        // The program's list starts at the bottom.
        const LayerEntry& entry = entriesTopFirst[count - 1 - i];
        if (!entries.read(entry.src, pngLimit, data, reason)) return LoadResult::Failed;
        if (!isPng(data)) {
            reason = "\"" + entry.src + "\" is not a PNG";
            return LoadResult::Failed;
        }
        DecodedImage decoded = decodeImageBytes(data, entry.src, layerLimits, true);
        if (!decoded.ok()) {
            reason =
                "\"" + entry.src + "\": " +
                (decoded.detail.empty() ? std::string(decodeStatusText(decoded.status)) : decoded.detail);
            return LoadResult::Failed;
        }
        LayerPixels& layer = content.picture.layers[i];
        layer.pixels.assign(layerBytes, 0);
        placeLayer(decoded, entry.x, entry.y, width, height, layer.pixels);
        layer.visible = entry.visible;
        layer.opacity = static_cast<int32_t>(std::lround(entry.opacity * 100.0));
        layer.blendMode = kBlendNormal;
        if (entry.compositeOp == "svg:multiply") {
            layer.blendMode = kBlendMultiply;
        } else if (!entry.compositeOp.empty() && entry.compositeOp != "svg:src-over") {
            content.notes.push_back("layer \"" + entry.name + "\": blend \"" + entry.compositeOp +
                                    "\" is not known here, loaded as normal");
        }
        content.names[i] = entry.name;
        if (entry.selected && content.picture.current < 0) content.picture.current = static_cast<int32_t>(i);
    }
    if (content.picture.current < 0) content.picture.current = static_cast<int32_t>(count - 1);
    out = std::move(content);
    return LoadResult::Loaded;
}

LoadResult readFile(const std::string& path, const DecodeLimits& limits, Content& out, std::string& reason,
                    const std::function<bool(int32_t, int32_t)>& acceptSize) {
    out = Content{};
    std::vector<uint8_t> bytes;
    if (readImageFile(path, bytes, reason) != DecodeStatus::Ok) return LoadResult::Failed;
    return parse(bytes, limits, out, reason, acceptSize);
}

// ---- encode ----------------------------------------------------------------------

std::vector<uint8_t> thumbnail(std::span<const uint8_t> pixels, int32_t width, int32_t height,
                               int32_t& outWidth, int32_t& outHeight) {
    outWidth = width;
    outHeight = height;
    if (width <= kThumbnailSide && height <= kThumbnailSide) return {pixels.begin(), pixels.end()};
    if (width >= height) {
        outWidth = kThumbnailSide;
        outHeight = std::max<int32_t>(
            1, static_cast<int32_t>((int64_t{height} * kThumbnailSide + width / 2) / width));
    } else {
        outHeight = kThumbnailSide;
        outWidth = std::max<int32_t>(
            1, static_cast<int32_t>((int64_t{width} * kThumbnailSide + height / 2) / height));
    }
    std::vector<uint8_t> out(pixelBytes(outWidth, outHeight));
    for (int32_t oy = 0; oy < outHeight; ++oy) {
        const int64_t y0 = int64_t{oy} * height / outHeight, y1 = int64_t{oy + 1} * height / outHeight;
        for (int32_t ox = 0; ox < outWidth; ++ox) {
            const int64_t x0 = int64_t{ox} * width / outWidth, x1 = int64_t{ox + 1} * width / outWidth;
            uint64_t sum[4] = {0, 0, 0, 0};
            for (int64_t y = y0; y < y1; ++y)
                for (int64_t x = x0; x < x1; ++x)
                    for (int c = 0; c < 4; ++c)
                        sum[c] += pixels[static_cast<std::size_t>((y * width + x) * 4 + c)];
            const uint64_t n = static_cast<uint64_t>((y1 - y0) * (x1 - x0));
            for (int c = 0; c < 4; ++c)
                out[(static_cast<std::size_t>(oy) * outWidth + ox) * 4 + c] =
                    static_cast<uint8_t>((sum[c] + n / 2) / n);
        }
    }
    return out;
}

std::vector<uint8_t> encode(const LayeredPicture& picture, const std::vector<std::string>& names,
                            std::span<const uint8_t> merged, std::string& error) {
    const std::size_t bytes = pixelBytes(picture.width, picture.height);
    if (picture.width < 1 || picture.height < 1 || picture.layers.empty() || merged.size() != bytes) {
        error = "no picture to write";
        return {};
    }
    ZipWriter zip;
    if (!zip.open(error)) return {};
    const std::string mime = kMimeType;
    // Readers find the kind at a fixed place: the first entry, stored.
    if (!zip.add("mimetype", {mime.begin(), mime.end()}, false, error)) return {};
    const std::string xml = stackXml(picture, names);
    if (!zip.add("stack.xml", {xml.begin(), xml.end()}, true, error)) return {};
    // The pictures to encode, in the order of the archive.
    struct Picture {
        std::string entry;
        std::span<const uint8_t> pixels;
        int32_t width, height;
        std::vector<uint8_t> png;
    };
    std::vector<Picture> pictures;
    pictures.push_back({"mergedimage.png", merged, picture.width, picture.height, {}});
    int32_t thumbWidth = 0, thumbHeight = 0;
    const std::vector<uint8_t> small =
        thumbnail(merged, picture.width, picture.height, thumbWidth, thumbHeight);
    pictures.push_back({"Thumbnails/thumbnail.png", small, thumbWidth, thumbHeight, {}});
    const std::vector<uint8_t> clear(bytes, 0);
    for (std::size_t i = 0; i < picture.layers.size(); ++i) {
        const std::vector<uint8_t>& pixels = picture.layers[i].pixels;
        pictures.push_back({layerEntryName(i),
                            pixels.size() == bytes ? std::span<const uint8_t>(pixels) : clear,
                            picture.width,
                            picture.height,
                            {}});
    }
    // PNG compression is nearly all of a save's time: one picture per
    // processor at a time, each worker on pictures of its own.
    std::atomic<std::size_t> next{0};
    auto work = [&] {
        for (std::size_t i; (i = next.fetch_add(1)) < pictures.size();)
            pictures[i].png = canvasFormToPng(pictures[i].pixels, pictures[i].width, pictures[i].height);
    };
    const std::size_t workers = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1,
                                                        std::min<std::size_t>(pictures.size(), 8));
    std::vector<std::thread> threads;
    try {
        for (std::size_t i = 1; i < workers; ++i)
            threads.emplace_back(work);
    } catch (const std::system_error&) {
        // Fewer threads: this one does the rest.
    }
    work();
    for (std::thread& t : threads)
        t.join();
    // PNG data is compressed already: stored as it is.
    for (Picture& p : pictures) {
        if (p.png.empty()) {
            error = "\"" + p.entry + "\" could not be encoded";
            return {};
        }
        if (!zip.add(p.entry, std::move(p.png), false, error)) return {};
    }
    std::vector<uint8_t> out;
    if (!zip.finish(out, error)) return {};
    return out;
}

bool saveFile(const std::string& path, const LayeredPicture& picture, const std::vector<std::string>& names,
              std::span<const uint8_t> merged, std::string& error) {
    const std::vector<uint8_t> bytes = encode(picture, names, merged, error);
    if (bytes.empty()) return false;
    io::AtomicFileSink sink;
    if (!sink.open(path) || !sink.write(bytes.data(), bytes.size()) || !sink.commit()) {
        error = sink.error();
        return false;
    }
    return true;
}

// ---- GL side ---------------------------------------------------------------------

bool writeFromCanvas(const std::string& path, Canvas& canvas, const MultiLayeredImage& layers,
                     std::string& error) {
    const LayeredPicture picture = captureLayers(canvas, layers);
    const std::vector<uint8_t> merged = flatImagePixels(canvas, layers, true);
    if (merged.empty()) {
        error = "the picture could not be read back";
        return false;
    }
    return saveFile(path, picture, {}, merged, error);
}

bool saveImage(const std::string& path, DocumentTarget& doc) {
    doc.canvas.saveCurrentLayer(doc.layers);
    std::string error;
    if (!writeFromCanvas(path, doc.canvas, doc.layers, error)) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), error.c_str());
        if (doc.app) doc.app->showMessage("%s", tr(tk::UNABLE_TO_SAVE_IMAGE_STR).c_str());
        return false;
    }
    // The file holds the layers: the document is saved.
    doc.layers.modificationCount = 0;
    if (doc.app) doc.app->showMessage("%s", loc::fillText(tr(tk::IMAGE_SAVED_AT_LOCATION_S_STR), {path}).c_str());
    return true;
}

LoadResult loadImage(const std::string& path, DocumentTarget& doc) {
    static const FramebufferCapability kNoLimit;
    const DecodeLimits limits = canvasDecodeLimits(doc.capability ? *doc.capability : kNoLimit);
    auto cardTakes = [&doc](int32_t width, int32_t height) {
        return !doc.capability || checkCanvasSize(width, height, *doc.capability, doc.app);
    };
    Content content;
    std::string reason;
    const LoadResult result = readFile(path, limits, content, reason, cardTakes);
    if (result != LoadResult::Loaded) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), reason.c_str());
        return result;
    }
    for (const std::string& note : content.notes)
        std::fprintf(stderr, "%s: %s\n", path.c_str(), note.c_str());
    // The file is whole and valid: only now the open picture goes.
    doc.history.resetForNewPicture(content.picture.width, content.picture.height);
    doc.canvas.resize(content.picture.width, content.picture.height, doc.layers);
    applyLayers(content.picture, doc.canvas, doc.layers);
    doc.history.settleAfterLoad();
    return LoadResult::Loaded;
}

bool openImage(const std::string& path, DocumentTarget& doc) {
    const LoadResult result = loadImage(path, doc);
    if (result != LoadResult::Loaded) {
        const int32_t noVersion[3] = {0, 0, 0};
        reportFailedLoad(doc.app, result, noVersion, tr(tk::UNABLE_TO_LOAD_FILE_STR).c_str());
        return false;
    }
    recordLoadedPicture(doc);
    if (doc.app) doc.app->showMessage("%s", tr(tk::IMAGE_LOADED_STR).c_str());
    return true;
}

} // namespace ora
