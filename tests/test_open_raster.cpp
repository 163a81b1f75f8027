// OpenRaster files: layers written and read back exactly, the archive's
// layout checked with libzip and TinyXML, archives built here by hand
// (entries through libzip, PNGs through libpng, stack.xml typed out) read
// to pixels worked out by hand, and hostile archives refused with a reason
// while the open picture stays as it was.
#include <gtest/gtest.h>

#include <png.h>
#include <tinyxml.h>
#include <zip.h>

#include <cstring>
#include <filesystem>
#include <random>

#include "canvas/GlInfo.h"
#include "io/BinaryStream.h"
#include "io/LayeredFile.h"
#include "io/OpenRaster.h"
#include "io/ProcessFormat.h"
#include "support/GlTestContext.h"
#include "support/TestFiles.h"
#include "test_process_document.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes textBytes(const std::string& text) {
    return Bytes(text.begin(), text.end());
}

// An archive made entry by entry with libzip, in the order given.
struct ZipEntry {
    std::string name;
    Bytes data;
    bool compress = false;
};

Bytes makeZip(const std::vector<ZipEntry>& entries) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* target = zip_source_buffer_create(nullptr, 0, 0, &error);
    zip_t* archive = zip_open_from_source(target, ZIP_TRUNCATE, &error);
    EXPECT_NE(archive, nullptr);
    zip_source_keep(target);
    for (const ZipEntry& e : entries) {
        zip_source_t* s = zip_source_buffer(archive, e.data.data(), e.data.size(), 0);
        const zip_int64_t index = zip_file_add(archive, e.name.c_str(), s, 0);
        EXPECT_GE(index, 0) << e.name;
        zip_set_file_compression(archive, static_cast<zip_uint64_t>(index),
                                 e.compress ? ZIP_CM_DEFLATE : ZIP_CM_STORE, 0);
    }
    EXPECT_EQ(zip_close(archive), 0);
    zip_stat_t stat;
    zip_source_open(target);
    zip_source_stat(target, &stat);
    Bytes out(static_cast<std::size_t>(stat.size));
    zip_source_read(target, out.data(), out.size());
    zip_source_close(target);
    zip_source_free(target);
    zip_error_fini(&error);
    return out;
}

// Straight RGBA, rows top-down, through libpng's own writer.
Bytes makePng(const Bytes& rgba, int width, int height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_RGBA;
    png_alloc_size_t size = 0;
    EXPECT_TRUE(png_image_write_to_memory(&image, nullptr, &size, 0, rgba.data(), width * 4, nullptr));
    Bytes out(size);
    EXPECT_TRUE(png_image_write_to_memory(&image, out.data(), &size, 0, rgba.data(), width * 4, nullptr));
    out.resize(size);
    return out;
}

// A PNG read back as straight RGBA, rows top-down, through libpng's own reader.
Bytes readPng(const Bytes& png, int& width, int& height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, png.data(), png.size())) return {};
    image.format = PNG_FORMAT_RGBA;
    width = static_cast<int>(image.width);
    height = static_cast<int>(image.height);
    Bytes out(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, out.data(), 0, nullptr)) return {};
    return out;
}

// The premultiply of the canvas, worked out here: floor(c * a / 255).
uint8_t premul(unsigned c, unsigned a) {
    return static_cast<uint8_t>(c * a / 255);
}

std::size_t pixelBytes(int width, int height) {
    return static_cast<std::size_t>(width) * height * 4;
}

// Entries of an archive as libzip lists them.
struct Listed {
    std::string name;
    uint16_t method = 0;
    Bytes data;
};

std::vector<Listed> listZip(const Bytes& bytes) {
    std::vector<Listed> out;
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
    zip_t* archive = zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &error);
    zip_error_fini(&error);
    if (!archive) {
        zip_source_free(source);
        return out;
    }
    for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
        zip_stat_t stat;
        zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &stat);
        Listed entry{stat.name, stat.comp_method, Bytes(static_cast<std::size_t>(stat.size))};
        zip_file_t* file = zip_fopen_index(archive, static_cast<zip_uint64_t>(i), 0);
        zip_fread(file, entry.data.data(), entry.data.size());
        zip_fclose(file);
        out.push_back(std::move(entry));
    }
    zip_discard(archive);
    return out;
}

const Listed* findEntry(const std::vector<Listed>& entries, const std::string& name) {
    for (const Listed& e : entries)
        if (e.name == name) return &e;
    return nullptr;
}

// Valid premultiplied pixels from a seed: colour never above alpha.
Bytes premultipliedNoise(int width, int height, unsigned seed, bool opaque) {
    std::mt19937 random(seed);
    Bytes out(static_cast<std::size_t>(width) * height * 4);
    for (std::size_t i = 0; i < out.size(); i += 4) {
        const unsigned a = opaque ? 255 : random() % 256;
        for (int c = 0; c < 3; ++c)
            out[i + c] = premul(random() % 256, a);
        out[i + 3] = static_cast<uint8_t>(a);
    }
    return out;
}

LayeredPicture threeLayerPicture(int width, int height) {
    LayeredPicture picture;
    picture.width = width;
    picture.height = height;
    picture.current = 1;
    picture.layers.push_back(LayerPixels{true, 100, 0, premultipliedNoise(width, height, 1, true)});
    picture.layers.push_back(LayerPixels{true, 37, 1, premultipliedNoise(width, height, 2, false)});
    Bytes sparse = premultipliedNoise(width, height, 3, false);
    for (std::size_t i = 0; i < sparse.size(); i += 8)
        std::fill_n(sparse.begin() + i, 4, 0); // every other pixel clear
    // 29 / 100 * 100 falls short of 29 in binary floating point.
    picture.layers.push_back(LayerPixels{false, 29, 0, sparse});
    return picture;
}

// stack.xml of one layer "data/a.png" in a picture of the given size.
std::string oneLayerStack(int width, int height, const std::string& src = "data/a.png") {
    return "<?xml version='1.0' encoding='UTF-8'?>\n<image w=\"" + std::to_string(width) + "\" h=\"" +
           std::to_string(height) + "\"><stack><layer src=\"" + src + "\" name=\"only\"/></stack></image>\n";
}

Bytes solidPng(int width, int height) {
    Bytes rgba(static_cast<std::size_t>(width) * height * 4);
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        rgba[i] = 10;
        rgba[i + 1] = 200;
        rgba[i + 2] = 30;
        rgba[i + 3] = 255;
    }
    return makePng(rgba, width, height);
}

Bytes validArchive() {
    return makeZip({{"mimetype", textBytes("image/openraster")},
                    {"stack.xml", textBytes(oneLayerStack(4, 4)), true},
                    {"data/a.png", solidPng(4, 4)}});
}

// Sets a 32-bit little-endian field of the local and the central header of an entry.
void patchHeaders(Bytes& zip, const std::string& name, int localOffset, int centralOffset, uint32_t value) {
    auto put = [&](std::size_t at) {
        for (int i = 0; i < 4; ++i)
            zip[at + i] = static_cast<uint8_t>(value >> (8 * i));
    };
    for (std::size_t i = 0; i + 46 + name.size() <= zip.size(); ++i) {
        if (zip[i] == 'P' && zip[i + 1] == 'K' && zip[i + 2] == 3 && zip[i + 3] == 4 &&
            std::memcmp(&zip[i + 30], name.data(), name.size()) == 0)
            put(i + localOffset);
        if (zip[i] == 'P' && zip[i + 1] == 'K' && zip[i + 2] == 1 && zip[i + 3] == 2 &&
            std::memcmp(&zip[i + 46], name.data(), name.size()) == 0)
            put(i + centralOffset);
    }
}

// Every way an archive can be hostile or broken, each with its name.
struct HostileCase {
    std::string name;
    Bytes bytes;
    std::string why; // words the refusal must hold
};

std::vector<HostileCase> hostileArchives() {
    std::vector<HostileCase> cases;
    const Bytes mime = textBytes("image/openraster");
    const Bytes png = solidPng(4, 4);
    auto withStack = [&](const std::string& xml) {
        return makeZip({{"mimetype", mime}, {"stack.xml", textBytes(xml), true}, {"data/a.png", png}});
    };
    // A layer that claims 64 MiB of zeros in a 16 x 16 picture: refused on its claim.
    cases.push_back({"bomb",
                     makeZip({{"mimetype", mime},
                              {"stack.xml", textBytes(oneLayerStack(16, 16)), true},
                              {"data/a.png", Bytes(std::size_t{64} << 20, 0), true}}),
                     "claims 67108864 bytes"});
    cases.push_back({"xml bomb",
                     makeZip({{"mimetype", mime},
                              {"stack.xml", textBytes(oneLayerStack(4, 4) + std::string(5 << 20, ' ')), true},
                              {"data/a.png", png}}),
                     "\"stack.xml\" claims"});
    // A layer whose claimed size is smaller than what it inflates to.
    Bytes understated = makeZip({{"mimetype", mime},
                                 {"stack.xml", textBytes(oneLayerStack(4, 4)), true},
                                 {"data/a.png", Bytes(100000, 0x89), true}});
    patchHeaders(understated, "data/a.png", 22, 24, 100);
    cases.push_back({"understated size", understated, "inflates to more bytes than the 100"});
    cases.push_back({"huge size", withStack(oneLayerStack(100000, 100000)), "100000 x 100000"});
    cases.push_back({"zero size", withStack(oneLayerStack(0, 4)), "0 x 4"});
    cases.push_back({"negative size", withStack(oneLayerStack(-4, 4)), "-4 x 4"});
    cases.push_back({"size beyond int",
                     withStack("<image w=\"99999999999\" h=\"4\"><stack><layer "
                               "src=\"data/a.png\"/></stack></image>"),
                     "not a whole number"});
    {
        // Each layer fits, all of them together would not.
        std::string xml = "<image w=\"16384\" h=\"16384\"><stack>";
        for (int i = 0; i < 3; ++i)
            xml += "<layer src=\"data/a.png\"/>";
        cases.push_back({"picture too large", withStack(xml + "</stack></image>"), "would take more than"});
    }
    cases.push_back({"parent path", withStack(oneLayerStack(4, 4, "../a.png")), "points outside"});
    cases.push_back(
        {"inner parent path", withStack(oneLayerStack(4, 4, "data/../../a.png")), "points outside"});
    cases.push_back({"absolute path", withStack(oneLayerStack(4, 4, "/etc/passwd")), "points outside"});
    cases.push_back({"backslash path", withStack(oneLayerStack(4, 4, "..\\a.png")), "points outside"});
    cases.push_back({"drive path", withStack(oneLayerStack(4, 4, "C:/a.png")), "points outside"});
    cases.push_back({"no stack.xml", makeZip({{"mimetype", mime}, {"data/a.png", png}}), "no \"stack.xml\""});
    cases.push_back({"no layer png", withStack(oneLayerStack(4, 4, "data/b.png")), "no \"data/b.png\""});
    cases.push_back({"layer without src", withStack("<image w=\"4\" h=\"4\"><stack><layer/></stack></image>"),
                     "without src"});
    cases.push_back(
        {"no layers", withStack("<image w=\"4\" h=\"4\"><stack></stack></image>"), "without layers"});
    cases.push_back({"no image", withStack("<stack><layer src=\"data/a.png\"/></stack>"), "no <image>"});
    cases.push_back(
        {"bad xml", withStack("<image w=\"4\" h=\"4\"><stack><layer src=\"data/a.png\">"), "stack.xml: "});
    cases.push_back({"bad opacity",
                     withStack("<image w=\"4\" h=\"4\"><stack><layer src=\"data/a.png\" "
                               "opacity=\"nan\"/></stack></image>"),
                     "not a number"});
    cases.push_back({"bad offset",
                     withStack("<image w=\"4\" h=\"4\"><stack><layer src=\"data/a.png\" "
                               "x=\"1.5\"/></stack></image>"),
                     "not a whole number"});
    {
        std::string deep = "<image w=\"4\" h=\"4\">";
        for (int i = 0; i < 100000; ++i)
            deep += "<stack>";
        cases.push_back({"deep nesting", withStack(deep), "deeper than"});
        // Quoted values that look like tag ends do not hide the depth.
        std::string hidden = "<image w=\"4\" h=\"4\">";
        for (int i = 0; i < 100000; ++i)
            hidden += "<stack a=\"/></>\" b='/>'>";
        cases.push_back({"deep nesting behind quotes", withStack(hidden), "deeper than"});
    }
    cases.push_back({"not utf-8", withStack(oneLayerStack(4, 4) + "<!-- \xC3"), "not UTF-8"});
    cases.push_back({"wrong mimetype",
                     makeZip({{"mimetype", textBytes("image/png")},
                              {"stack.xml", textBytes(oneLayerStack(4, 4)), true},
                              {"data/a.png", png}}),
                     "mimetype is \"image/png\""});
    cases.push_back({"no mimetype",
                     makeZip({{"stack.xml", textBytes(oneLayerStack(4, 4)), true}, {"data/a.png", png}}),
                     "no \"mimetype\""});
    Bytes cutPng(png.begin(), png.begin() + static_cast<std::ptrdiff_t>(png.size() / 2));
    cases.push_back({"damaged png",
                     makeZip({{"mimetype", mime},
                              {"stack.xml", textBytes(oneLayerStack(4, 4)), true},
                              {"data/a.png", cutPng}}),
                     "\"data/a.png\": "});
    cases.push_back({"not a png",
                     makeZip({{"mimetype", mime},
                              {"stack.xml", textBytes(oneLayerStack(4, 4)), true},
                              {"data/a.png", textBytes("GIF89a, not a PNG at all")}}),
                     "is not a PNG"});
    {
        std::string xml = "<image w=\"4\" h=\"4\"><stack>";
        for (int i = 0; i <= kwformat::kMaxLayers; ++i)
            xml += "<layer src=\"data/a.png\"/>";
        cases.push_back({"too many layers", withStack(xml + "</stack></image>"), "more than the 100 layers"});
    }
    const Bytes whole = validArchive();
    cases.push_back({"cut in half",
                     Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2)),
                     "damaged or cut short"});
    cases.push_back({"last byte missing", Bytes(whole.begin(), whole.end() - 1), "damaged or cut short"});
    cases.push_back({"not a zip", textBytes("image/openraster, but no archive"), "damaged or cut short"});
    cases.push_back({"empty", Bytes{}, "no \"mimetype\""});
    return cases;
}

using testfiles::writeFile;

} // namespace

TEST(OpenRaster, RoundTripKeepsLayersNamesAndPixelsExactly) {
    const LayeredPicture picture = threeLayerPicture(37, 23);
    const std::vector<std::string> names{"Ground", "Wash & <glaze>", "Ink \"\xC3\xBC\x62\x65r\""};
    std::string error;
    const Bytes archive = ora::encode(picture, names, picture.layers[0].pixels, error);
    ASSERT_FALSE(archive.empty()) << error;
    ora::Content content;
    std::string reason;
    ASSERT_EQ(ora::parse(archive, DecodeLimits{}, content, reason), LoadResult::Loaded) << reason;
    EXPECT_EQ(content.names, names);
    EXPECT_TRUE(content.notes.empty());
    ASSERT_EQ(content.picture.layers.size(), 3u);
    EXPECT_EQ(content.picture.width, 37);
    EXPECT_EQ(content.picture.height, 23);
    EXPECT_EQ(content.picture.current, 1);
    for (std::size_t i = 0; i < 3; ++i) {
        const LayerPixels& got = content.picture.layers[i];
        const LayerPixels& want = picture.layers[i];
        EXPECT_EQ(got.visible, want.visible) << i;
        EXPECT_EQ(got.opacity, want.opacity) << i;
        EXPECT_EQ(got.blendMode, want.blendMode) << i;
        // Straight 8-bit colour that premultiplies back to the same bytes
        // exists for every valid premultiplied pixel: the layers come back
        // byte for byte, semi-transparent ones too.
        EXPECT_TRUE(got.pixels == want.pixels) << "layer " << i;
    }
}

TEST(OpenRaster, NamesThatXmlCannotHoldAreWrittenReadably) {
    const LayeredPicture picture = threeLayerPicture(3, 2);
    // A lone lead byte, a stray continuation byte, an overlong '/', a tab.
    const std::vector<std::string> names{"a\xE4\"b", "c\x80" "d\xC0\xAF", "tab\there"};
    std::string error;
    const Bytes archive = ora::encode(picture, names, picture.layers[0].pixels, error);
    ora::Content content;
    std::string reason;
    ASSERT_EQ(ora::parse(archive, DecodeLimits{}, content, reason), LoadResult::Loaded) << reason;
    EXPECT_EQ(content.names, (std::vector<std::string>{"a?\"b", "c?d??", "tab here"}));
}

TEST(OpenRaster, LayerPngsHoldStraightColourThatPremultipliesBack) {
    const LayeredPicture picture = threeLayerPicture(19, 11);
    std::string error;
    const std::vector<Listed> entries = listZip(ora::encode(picture, {}, picture.layers[0].pixels, error));
    const Listed* layer = findEntry(entries, "data/layer001.png");
    ASSERT_NE(layer, nullptr);
    int width = 0, height = 0;
    const Bytes straight = readPng(layer->data, width, height);
    ASSERT_EQ(width, 19);
    ASSERT_EQ(height, 11);
    const Bytes& canvas = picture.layers[1].pixels;
    int semi = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            // The PNG's top row is the canvas's last.
            const std::size_t p = (static_cast<std::size_t>(y) * width + x) * 4;
            const std::size_t q = (static_cast<std::size_t>(height - 1 - y) * width + x) * 4;
            const unsigned a = canvas[q + 3];
            ASSERT_EQ(straight[p + 3], a);
            if (a == 0) continue;
            semi += a < 255;
            for (int c = 0; c < 3; ++c) {
                ASSERT_EQ(premul(straight[p + c], a), canvas[q + c]) << x << "," << y;
                // And it is the straight colour a picture at that alpha would
                // have: within 255 / a of colour * 255 / alpha.
                const double exact = canvas[q + c] * 255.0 / a;
                ASSERT_LE(std::abs(straight[p + c] - exact), 255.0 / a + 1e-9) << x << "," << y;
            }
        }
    EXPECT_GT(semi, 100);
}

TEST(OpenRaster, ArchiveLayoutAndStackXml) {
    LayeredPicture picture = threeLayerPicture(600, 300);
    // The flattened picture: left half opaque red, right half half-transparent blue.
    Bytes merged(600 * 300 * 4);
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 600; ++x) {
            uint8_t* p = &merged[(static_cast<std::size_t>(y) * 600 + x) * 4];
            if (x < 300) {
                p[0] = 255;
                p[3] = 255;
            } else {
                p[2] = 128;
                p[3] = 128;
            }
        }
    std::string error;
    const Bytes archive = ora::encode(picture, {"Ground", "", "Top"}, merged, error);
    ASSERT_FALSE(archive.empty()) << error;
    // As the format asks: "mimetype" first, stored, its text at byte 38.
    ASSERT_GT(archive.size(), 54u);
    EXPECT_EQ(std::string(archive.begin() + 30, archive.begin() + 38), "mimetype");
    EXPECT_EQ(std::string(archive.begin() + 38, archive.begin() + 54), "image/openraster");
    const std::vector<Listed> entries = listZip(archive);
    ASSERT_EQ(entries.size(), 7u);
    EXPECT_EQ(entries[0].name, "mimetype");
    EXPECT_EQ(entries[0].method, ZIP_CM_STORE);
    EXPECT_EQ(std::string(entries[0].data.begin(), entries[0].data.end()), "image/openraster");
    EXPECT_EQ(entries[1].name, "stack.xml");
    EXPECT_EQ(entries[2].name, "mergedimage.png");
    EXPECT_EQ(entries[3].name, "Thumbnails/thumbnail.png");
    EXPECT_EQ(entries[4].name, "data/layer000.png");
    EXPECT_EQ(entries[5].name, "data/layer001.png");
    EXPECT_EQ(entries[6].name, "data/layer002.png");

    const std::string xml(entries[1].data.begin(), entries[1].data.end());
    TiXmlDocument document;
    document.Parse(xml.c_str());
    ASSERT_FALSE(document.Error()) << xml;
    const TiXmlElement* image = document.RootElement();
    ASSERT_NE(image, nullptr);
    EXPECT_STREQ(image->Value(), "image");
    EXPECT_STREQ(image->Attribute("w"), "600");
    EXPECT_STREQ(image->Attribute("h"), "300");
    const TiXmlElement* stack = image->FirstChildElement("stack");
    ASSERT_NE(stack, nullptr);
    std::vector<const TiXmlElement*> layers;
    for (const TiXmlElement* l = stack->FirstChildElement("layer"); l; l = l->NextSiblingElement("layer"))
        layers.push_back(l);
    ASSERT_EQ(layers.size(), 3u);
    // The top layer first.
    EXPECT_STREQ(layers[0]->Attribute("name"), "Top");
    EXPECT_STREQ(layers[0]->Attribute("src"), "data/layer002.png");
    EXPECT_STREQ(layers[0]->Attribute("visibility"), "hidden");
    EXPECT_STREQ(layers[0]->Attribute("opacity"), "0.29");
    EXPECT_STREQ(layers[0]->Attribute("composite-op"), "svg:src-over");
    EXPECT_STREQ(layers[1]->Attribute("name"), "Layer 2");
    EXPECT_STREQ(layers[1]->Attribute("opacity"), "0.37");
    EXPECT_STREQ(layers[1]->Attribute("visibility"), "visible");
    EXPECT_STREQ(layers[1]->Attribute("composite-op"), "svg:multiply");
    EXPECT_STREQ(layers[1]->Attribute("selected"), "true");
    EXPECT_STREQ(layers[2]->Attribute("name"), "Ground");
    EXPECT_STREQ(layers[2]->Attribute("src"), "data/layer000.png");
    EXPECT_STREQ(layers[2]->Attribute("opacity"), "1.00");
    for (const TiXmlElement* l : layers) {
        EXPECT_STREQ(l->Attribute("x"), "0");
        EXPECT_STREQ(l->Attribute("y"), "0");
    }

    int width = 0, height = 0;
    const Bytes flat = readPng(entries[2].data, width, height);
    ASSERT_EQ(width, 600);
    ASSERT_EQ(height, 300);
    EXPECT_EQ(Bytes(flat.begin(), flat.begin() + 4), (Bytes{255, 0, 0, 255}));
    EXPECT_EQ(Bytes(flat.end() - 4, flat.end()), (Bytes{0, 0, 255, 128}));
    // The thumbnail: 256 on the long side, the ratio kept, the halves where they were.
    const Bytes thumb = readPng(entries[3].data, width, height);
    ASSERT_EQ(width, 256);
    ASSERT_EQ(height, 128);
    for (int y = 0; y < 128; ++y)
        for (int x = 0; x < 256; ++x) {
            const Bytes pixel(thumb.begin() + (y * 256 + x) * 4, thumb.begin() + (y * 256 + x) * 4 + 4);
            if (x < 127) {
                ASSERT_EQ(pixel, (Bytes{255, 0, 0, 255})) << x << "," << y;
            } else if (x > 128) {
                ASSERT_EQ(pixel, (Bytes{0, 0, 255, 128})) << x << "," << y;
            }
        }
}

TEST(OpenRaster, ThumbnailOfATallPictureKeepsItsRatio) {
    int width = 0, height = 0;
    const Bytes tall(100 * 1000 * 4, 255);
    const Bytes small = ora::thumbnail(tall, 100, 1000, width, height);
    EXPECT_EQ(width, 26); // 100 * 256 / 1000 = 25.6
    EXPECT_EQ(height, 256);
    EXPECT_EQ(small.size(), static_cast<std::size_t>(26 * 256 * 4));
    const Bytes tiny(3 * 2 * 4, 9);
    EXPECT_EQ(ora::thumbnail(tiny, 3, 2, width, height), tiny);
    EXPECT_EQ(width, 3);
    EXPECT_EQ(height, 2);
}

TEST(OpenRaster, HandBuiltArchiveLoadsToTheWorkedOutPixels) {
    constexpr int kW = 6, kH = 5;
    // Bottom layer, the whole picture, opaque: (x * 40, y * 50, 7, 255), y from the top.
    Bytes ground(kW * kH * 4);
    for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
            uint8_t* p = &ground[(y * kW + x) * 4];
            p[0] = static_cast<uint8_t>(x * 40);
            p[1] = static_cast<uint8_t>(y * 50);
            p[2] = 7;
            p[3] = 255;
        }
    // A 3 x 2 layer at x 4, y -1: half of it lies outside, right and above.
    auto patch = [](int x, int y) {
        return Bytes{static_cast<uint8_t>(200 - x * 30), static_cast<uint8_t>(90 + y * 70), 41,
                     static_cast<uint8_t>(128 + x * 20 + y * 60)};
    };
    Bytes small;
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) {
            const Bytes p = patch(x, y);
            small.insert(small.end(), p.begin(), p.end());
        }
    const Bytes full(kW * kH * 4, 255);
    const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<image version="0.0.5" w="6" h="5" xres="72">
  <stack opacity="1.0">
    <layer name="ink" src="data/ink.png" composite-op="svg:multiply" frobnicate="yes"/>
    <text>not a layer</text>
    <stack opacity="0.5" visibility="hidden">
      <layer name="glaze" src="data/glaze.png" opacity="0.8" composite-op="svg:overlay"/>
    </stack>
    <layer name="patch" src="data/patch.png" x="4" y="-1" opacity="0.57" selected="true"/>
    <layer name="ground" src="data/ground.png" visibility="visible"/>
  </stack>
</image>
)";
    const Bytes archive = makeZip({{"mimetype", textBytes("image/openraster")},
                                   {"stack.xml", textBytes(xml), true},
                                   {"data/ground.png", makePng(ground, kW, kH)},
                                   {"data/patch.png", makePng(small, 3, 2), true},
                                   {"data/glaze.png", makePng(full, kW, kH)},
                                   {"data/ink.png", makePng(full, kW, kH)}});
    ora::Content content;
    std::string reason;
    ASSERT_EQ(ora::parse(archive, DecodeLimits{}, content, reason), LoadResult::Loaded) << reason;
    const LayeredPicture& p = content.picture;
    ASSERT_EQ(p.layers.size(), 4u);
    EXPECT_EQ(content.names, (std::vector<std::string>{"ground", "patch", "glaze", "ink"}));
    EXPECT_EQ(p.current, 1); // the selected layer, not the top one
    EXPECT_TRUE(p.layers[0].visible);
    EXPECT_EQ(p.layers[0].opacity, 100);
    EXPECT_EQ(p.layers[1].opacity, 57);
    EXPECT_FALSE(p.layers[2].visible);
    EXPECT_EQ(p.layers[2].opacity, 40); // 0.5 of the stack times 0.8
    EXPECT_EQ(p.layers[2].blendMode, 0);
    EXPECT_EQ(p.layers[3].blendMode, 1);
    ASSERT_EQ(content.notes.size(), 1u);
    EXPECT_NE(content.notes[0].find("svg:overlay"), std::string::npos);
    for (int row = 0; row < kH; ++row) {
        const int fromTop = kH - 1 - row; // canvas rows count from the bottom
        for (int x = 0; x < kW; ++x) {
            const std::size_t at = (static_cast<std::size_t>(row) * kW + x) * 4;
            EXPECT_EQ(Bytes(p.layers[0].pixels.begin() + at, p.layers[0].pixels.begin() + at + 4),
                      (Bytes{static_cast<uint8_t>(x * 40), static_cast<uint8_t>(fromTop * 50), 7, 255}))
                << x << "," << fromTop;
            Bytes want{0, 0, 0, 0};
            const int px = x - 4, py = fromTop + 1;
            if (px >= 0 && px < 3 && py >= 0 && py < 2) {
                const Bytes s = patch(px, py);
                want = {premul(s[0], s[3]), premul(s[1], s[3]), premul(s[2], s[3]), s[3]};
            }
            EXPECT_EQ(Bytes(p.layers[1].pixels.begin() + at, p.layers[1].pixels.begin() + at + 4), want)
                << x << "," << fromTop;
        }
    }
}

TEST(OpenRaster, HostileArchivesAreRefusedWithAReason) {
    for (const auto& [name, bytes, why] : hostileArchives()) {
        ora::Content content;
        std::string reason;
        EXPECT_EQ(ora::parse(bytes, DecodeLimits{}, content, reason), LoadResult::Failed) << name;
        EXPECT_NE(reason.find(why), std::string::npos) << name << ": " << reason;
        EXPECT_TRUE(content.picture.layers.empty()) << name;
    }
    // The valid archive they are made from loads.
    ora::Content content;
    std::string reason;
    EXPECT_EQ(ora::parse(validArchive(), DecodeLimits{}, content, reason), LoadResult::Loaded) << reason;
}

TEST(OpenRaster, SizeTheCallerCannotTakeIsRefusedBeforeTheLayers) {
    int asked = 0;
    ora::Content content;
    std::string reason;
    const auto refuse = [&](int32_t w, int32_t h) {
        ++asked;
        return w <= 2 && h <= 2;
    };
    EXPECT_EQ(ora::parse(validArchive(), DecodeLimits{}, content, reason, refuse), LoadResult::Failed);
    EXPECT_EQ(asked, 1);
    DecodeLimits small;
    small.maxWidth = small.maxHeight = 3;
    EXPECT_EQ(ora::parse(validArchive(), small, content, reason), LoadResult::Failed);
    EXPECT_NE(reason.find("4 x 4"), std::string::npos) << reason;
}

TEST(OpenRaster, DamagedBytesNeverCrashTheReader) {
    const LayeredPicture picture = threeLayerPicture(9, 7);
    std::string error;
    const Bytes archive = ora::encode(picture, {}, picture.layers[0].pixels, error);
    ASSERT_FALSE(archive.empty());
    std::mt19937 random(7);
    int loaded = 0;
    for (int run = 0; run < 3000; ++run) {
        Bytes bytes = archive;
        const int changes = 1 + static_cast<int>(random() % 4);
        for (int i = 0; i < changes; ++i)
            bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
        if (run % 10 == 0) bytes.resize(random() % bytes.size());
        ora::Content content;
        std::string reason;
        const LoadResult result = ora::parse(bytes, DecodeLimits{}, content, reason);
        if (result == LoadResult::Loaded) {
            ++loaded;
            ASSERT_EQ(content.picture.layers.size(), 3u);
        } else {
            ASSERT_FALSE(reason.empty());
        }
    }
    // Changes in places nobody reads (mergedimage.png's bytes, times) still load.
    EXPECT_GT(loaded, 0);
}

TEST(OpenRaster, DamagedStackXmlNeverCrashesTheReader) {
    // The zip's checksums stop most damage before stack.xml is read: here
    // the text itself is damaged and packed into a sound archive.
    const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<image w="5" h="4"><stack opacity="0.5"><layer src="data/a.png" name="a" x="1" y="-1" opacity="0.25"
 visibility="hidden" composite-op="svg:multiply" selected="true"/><stack visibility="hidden"><layer
 src="data/b.png"/></stack><!-- note --><layer src="data/a.png"/></stack></image>)";
    const Bytes a = solidPng(4, 4), b = solidPng(5, 4);
    std::mt19937 random(11);
    int loaded = 0;
    for (int run = 0; run < 1500; ++run) {
        std::string damaged = xml;
        const int changes = 1 + static_cast<int>(random() % 3);
        static const char kChars[] = "<>/=\"' ab-!?&;0123456789.\x80\xff";
        for (int i = 0; i < changes; ++i) {
            const std::size_t at = random() % damaged.size();
            switch (random() % 3) {
            case 0:
                damaged[at] = kChars[random() % (sizeof kChars - 1)];
                break;
            case 1:
                damaged.erase(at, 1 + random() % 8);
                break;
            default:
                damaged.insert(at, damaged.substr(random() % damaged.size(), 1 + random() % 16));
                break;
            }
        }
        const Bytes archive = makeZip({{"mimetype", textBytes("image/openraster")},
                                       {"stack.xml", textBytes(damaged), true},
                                       {"data/a.png", a},
                                       {"data/b.png", b}});
        ora::Content content;
        std::string reason;
        if (ora::parse(archive, DecodeLimits{}, content, reason) == LoadResult::Loaded) {
            ++loaded;
            ASSERT_FALSE(content.picture.layers.empty());
            ASSERT_EQ(content.names.size(), content.picture.layers.size());
            for (const LayerPixels& layer : content.picture.layers) {
                ASSERT_EQ(layer.pixels.size(), pixelBytes(content.picture.width, content.picture.height));
                ASSERT_GE(layer.opacity, 0);
                ASSERT_LE(layer.opacity, 100);
            }
        } else {
            ASSERT_FALSE(reason.empty()) << damaged;
        }
    }
    EXPECT_GT(loaded, 100); // many changes leave the text readable
}

// ---- through the canvas -------------------------------------------------------------

namespace {

class OpenRasterGl : public GlTest {
protected:
    void TearDown() override {
        setDabSink(nullptr);
        GlTest::TearDown();
    }
    std::string path(const std::string& name) const { return folder.file(name); }
    testfiles::TempFolder folder{"kw_ora"};
    const std::filesystem::path& dir = folder.path();
};

void paintThreeLayers(processtest::GlDocument& doc) {
    setDabSink(&doc.canvas);
    Brush brush;
    brush.size = 4;
    doc.perform(processtest::stroke(brush, {1, 0, 0}, 2, 2, 1, 1, 6));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(processtest::stroke(brush, {0, 0, 1}, 9, 2, -1, 1, 6));
    doc.perform(std::make_unique<LayerOpacityChangeAction>(doc.canvas, doc.layers, 45));
    doc.perform(std::make_unique<NewLayerAction>(doc.canvas, doc.layers));
    doc.perform(processtest::stroke(brush, {0, 1, 0}, 1, 7, 1, 0, 9));
    doc.perform(std::make_unique<LayerVisibilityToggleAction>(doc.canvas, doc.layers));
    doc.layers.at(1).blendMode = 1;
    doc.perform(std::make_unique<LayerChangeAction>(doc.canvas, doc.layers, 1));
}

} // namespace

TEST_F(OpenRasterGl, SaveAndLoadGiveTheLayersBack) {
    processtest::GlDocument doc(12, 9);
    paintThreeLayers(doc);
    DocumentTarget target = doc.target();
    doc.layers.modificationCount = 5;
    ASSERT_TRUE(ora::saveImage(path("a.ora"), target));
    EXPECT_EQ(doc.layers.modificationCount, 0);
    const LayeredPicture expected = captureLayers(doc.canvas, doc.layers);
    ASSERT_EQ(expected.layers.size(), 3u);
    EXPECT_FALSE(expected.layers[2].visible);
    int semi = 0;
    for (const LayerPixels& l : expected.layers)
        for (std::size_t i = 3; i < l.pixels.size(); i += 4)
            semi += l.pixels[i] > 0 && l.pixels[i] < 255;
    EXPECT_GT(semi, 10) << "the strokes' soft edges are semi-transparent";

    processtest::GlDocument other(4, 4);
    setDabSink(&other.canvas);
    DocumentTarget otherTarget = other.target();
    other.layers.modificationCount = 3;
    ASSERT_TRUE(ora::openImage(path("a.ora"), otherTarget));
    EXPECT_EQ(other.canvas.width, 12);
    EXPECT_EQ(other.canvas.height, 9);
    EXPECT_EQ(other.history.initialWidth, 12);
    EXPECT_TRUE(captureLayers(other.canvas, other.layers) == expected);
    // As after a layered load: one action, the picture, beyond undo's reach.
    ASSERT_EQ(other.history.actionCount(), 1u);
    EXPECT_EQ(other.history.actions()[0]->type(), MultiLayeredImageLoadAction::kTypeCode);
    EXPECT_FALSE(other.history.undo());
    EXPECT_EQ(other.layers.modificationCount, 0);
    // Saved again, the same layers.
    ASSERT_TRUE(ora::saveImage(path("b.ora"), otherTarget));
    ora::Content first, second;
    std::string reason;
    ASSERT_EQ(ora::readFile(path("a.ora"), DecodeLimits{}, first, reason), LoadResult::Loaded) << reason;
    ASSERT_EQ(ora::readFile(path("b.ora"), DecodeLimits{}, second, reason), LoadResult::Loaded) << reason;
    EXPECT_TRUE(first.picture == second.picture);
    EXPECT_TRUE(first.picture == expected);
    // Painting and undoing after the load end as they do after the same
    // picture's .kwf load.
    ASSERT_TRUE(saveLayeredImage(path("a.kwf"), target));
    processtest::GlDocument viaKwf(4, 4);
    setDabSink(&viaKwf.canvas);
    DocumentTarget kwfTarget = viaKwf.target();
    ASSERT_TRUE(openLayeredImage(path("a.kwf"), kwfTarget));
    Brush brush;
    brush.size = 3;
    viaKwf.perform(processtest::stroke(brush, {1, 1, 0}, 3, 3, 1, 0, 4));
    const LayeredPicture kwfPainted = captureLayers(viaKwf.canvas, viaKwf.layers);
    ASSERT_TRUE(viaKwf.history.undo());
    const LayeredPicture kwfUndone = captureLayers(viaKwf.canvas, viaKwf.layers);
    setDabSink(&other.canvas);
    other.perform(processtest::stroke(brush, {1, 1, 0}, 3, 3, 1, 0, 4));
    EXPECT_FALSE(captureLayers(other.canvas, other.layers) == expected);
    EXPECT_TRUE(captureLayers(other.canvas, other.layers) == kwfPainted);
    ASSERT_TRUE(other.history.undo());
    EXPECT_TRUE(captureLayers(other.canvas, other.layers) == kwfUndone);
    EXPECT_EQ(other.history.actionCount(), viaKwf.history.actionCount());
    EXPECT_EQ(other.history.redoList.size(), viaKwf.history.redoList.size());
}

TEST_F(OpenRasterGl, HostileFilesLeaveThePictureAndTheFilesAlone) {
    processtest::GlDocument doc(12, 9);
    paintThreeLayers(doc);
    doc.layers.modificationCount = 4;
    const LayeredPicture before = captureLayers(doc.canvas, doc.layers);
    const std::size_t actions = doc.history.actionCount();
    FramebufferCapability card;
    card.framebufferTested = card.framebufferSupported = true;
    card.maxRenderbufferSize = 6; // canvases up to 3 x 3
    std::vector<HostileCase> cases = hostileArchives();
    cases.push_back({"larger than the card", validArchive(), ""});
    for (const auto& [name, bytes, why] : cases) {
        const std::string file = path("hostile.ora");
        writeFile(file, bytes);
        DocumentTarget target{doc.canvas, doc.layers, doc.history, &card, nullptr};
        EXPECT_FALSE(ora::openImage(file, target)) << name;
        EXPECT_EQ(doc.canvas.width, 12) << name;
        EXPECT_EQ(doc.history.actionCount(), actions) << name;
        EXPECT_EQ(doc.layers.modificationCount, 4) << name;
        EXPECT_TRUE(captureLayers(doc.canvas, doc.layers) == before) << name;
        Bytes after;
        std::string reason;
        ASSERT_TRUE(io::readWholeFile(file, after, reason));
        EXPECT_EQ(after, bytes) << name;
    }
}

// ---- the command line ------------------------------------------------------------------

namespace {

using testfiles::fileBytes;
using testfiles::RunResult;

} // namespace

TEST_F(OpenRasterGl, RenderWritesAndReadsOpenRaster) {
    processtest::GlDocument doc(12, 9);
    paintThreeLayers(doc);
    doc.canvas.saveCurrentLayer(doc.layers);
    const LayeredPicture picture = captureLayers(doc.canvas, doc.layers);
    writeFile(dir / "pic.kwf", encodeLayeredFile(picture));
    RunResult r = testfiles::runProgram("--render " + path("pic.kwf") + " " + path("pic.ora"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    ora::Content content;
    std::string reason;
    ASSERT_EQ(ora::readFile(path("pic.ora"), DecodeLimits{}, content, reason), LoadResult::Loaded) << reason;
    EXPECT_TRUE(content.picture == picture);
    // The .ora renders to the same flat picture as the .kwf it came from.
    r = testfiles::runProgram("--render " + path("pic.kwf") + " " + path("k.png"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    r = testfiles::runProgram("--render " + path("pic.ora") + " " + path("o.png"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(fileBytes(dir / "k.png"), fileBytes(dir / "o.png"));
    EXPECT_FALSE(fileBytes(dir / "o.png").empty());
    // And to an .ora again with the same layers.
    r = testfiles::runProgram("--render " + path("pic.ora") + " " + path("again.ora"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    ASSERT_EQ(ora::readFile(path("again.ora"), DecodeLimits{}, content, reason), LoadResult::Loaded)
        << reason;
    EXPECT_TRUE(content.picture == picture);

    r = testfiles::runProgram("--info " + path("pic.ora"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("kind: OpenRaster picture"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("size: 12 x 9"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("layers: 3, current 1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("layer 1: visible, opacity 45, blend mode 1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("layer 2: hidden"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("layer 0 name: \"Layer 1\""), std::string::npos) << r.out;
}

TEST_F(OpenRasterGl, RenderRefusesHostileArchivesWithExitTwo) {
    for (const auto& [name, bytes, why] : hostileArchives()) {
        writeFile(dir / "in.ora", bytes);
        for (const std::string& args :
             {"--render " + path("in.ora") + " " + path("out.png"), "--info " + path("in.ora")}) {
            const RunResult r = testfiles::runProgram(args);
            EXPECT_EQ(r.exitCode, 2) << name << ": " << args << "\n" << r.err;
            EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << name << "\n" << r.err;
            EXPECT_NE(r.err.find(path("in.ora")), std::string::npos) << name << ": the line names the file";
        }
        EXPECT_FALSE(std::filesystem::exists(dir / "out.png")) << name;
    }
}
