#include "brush/BrushTips.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <system_error>

namespace fs = std::filesystem;

namespace {

std::string lowered(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

// Case-insensitive first, as the folders of the original platform sort;
// the bytes decide between names that differ only in case.
bool nameLess(const fs::path& a, const fs::path& b) {
    const std::string na = a.filename().string(), nb = b.filename().string();
    const std::string la = lowered(na), lb = lowered(nb);
    if (la != lb) return la < lb;
    return na < nb;
}

} // namespace

brush::TipFactors tipFactorsForSize(int32_t width, int32_t height) {
    if (width <= 0 || height <= 0) return {};
    if (width >= height) return {1.0f, static_cast<float>(height) / static_cast<float>(width)};
    return {static_cast<float>(width) / static_cast<float>(height), 1.0f};
}

bool loadTipPng(const fs::path& file, BrushTip& tip, std::string& error) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, file.c_str())) {
        error = image.message;
        png_image_free(&image);
        return false;
    }
    if (image.width == 0 || image.height == 0 || image.width > kMaxTipSide ||
        image.height > kMaxTipSide) {
        error = "size " + std::to_string(image.width) + " x " + std::to_string(image.height) +
                " is outside 1.." + std::to_string(kMaxTipSide);
        png_image_free(&image);
        return false;
    }
    image.format = PNG_FORMAT_RGBA;
    const int32_t w = static_cast<int32_t>(image.width), h = static_cast<int32_t>(image.height);
    std::vector<uint8_t> pixels(static_cast<std::size_t>(w) * h * 4);
    // A negative stride stores the rows bottom-up, as the canvas counts them.
    if (!png_image_finish_read(&image, nullptr, pixels.data(), -w * 4, nullptr)) {
        error = image.message;
        png_image_free(&image);
        return false;
    }
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
        pixels[i] = static_cast<uint8_t>(255 - pixels[i]);
        pixels[i + 1] = static_cast<uint8_t>(255 - pixels[i + 1]);
        pixels[i + 2] = static_cast<uint8_t>(255 - pixels[i + 2]);
    }
    tip.width = w;
    tip.height = h;
    const brush::TipFactors f = tipFactorsForSize(w, h);
    tip.widthFactor = f.widthFactor;
    tip.heightFactor = f.heightFactor;
    tip.pixels = std::move(pixels);
    return true;
}

std::vector<fs::path> listFilesSorted(const fs::path& dir, std::string_view ext) {
    std::vector<fs::path> files;
    std::error_code ec;
    fs::directory_iterator it(dir, ec);
    if (ec) return files;
    const std::string wanted = lowered(std::string(ext));
    for (; it != fs::directory_iterator(); it.increment(ec)) {
        if (ec) break;
        const fs::path& p = it->path();
        std::error_code typeError;
        if (!it->is_regular_file(typeError)) continue;
        if (lowered(p.extension().string()) == wanted) files.push_back(p);
    }
    std::sort(files.begin(), files.end(), nameLess);
    return files;
}

void BrushTipTable::clear() {
    for (BrushTip& t : tips_)
        if (t.texture != 0 && textureDeleter) textureDeleter(t.texture);
    tips_.clear();
    folderCount_ = 0;
}

std::size_t BrushTipTable::build(const fs::path& factoryDir, const fs::path& userDir) {
    clear();
    BrushTip none;
    none.name = "no texture";
    append(std::move(none));
    scanFolder(factoryDir);
    if (!userDir.empty()) scanFolder(userDir);
    folderCount_ = tips_.size();
    return tips_.size();
}

void BrushTipTable::scanFolder(const fs::path& dir) {
    for (const fs::path& file : listFilesSorted(dir, ".png")) {
        BrushTip tip;
        tip.name = file.stem().string();
        std::string error;
        // The entry keeps its id even without pixels, so that the ids of
        // the tips after it stay what stored processes expect.
        if (!loadTipPng(file, tip, error))
            std::fprintf(stderr, "Brush tip \"%s\" not loaded: %s\n", file.c_str(), error.c_str());
        append(std::move(tip));
    }
    for (const fs::path& file : listFilesSorted(dir, ".abr")) {
        if (setImporter_)
            setImporter_(file, *this);
        else
            std::fprintf(stderr, "Brush set \"%s\" skipped: brush sets are not supported yet.\n",
                         file.c_str());
    }
}

int32_t BrushTipTable::append(BrushTip tip) {
    tip.id = static_cast<int32_t>(tips_.size());
    tips_.push_back(std::move(tip));
    return tips_.back().id;
}

int32_t BrushTipTable::appendProcessTip(std::string name, int32_t width, int32_t height,
                                        std::vector<uint8_t> rgba) {
    BrushTip tip;
    tip.name = std::move(name);
    tip.width = width;
    tip.height = height;
    const brush::TipFactors f = tipFactorsForSize(width, height);
    tip.widthFactor = f.widthFactor;
    tip.heightFactor = f.heightFactor;
    tip.pixels = std::move(rgba);
    tip.linearFilter = true;
    return append(std::move(tip));
}

void BrushTipTable::dropProcessTips() {
    for (std::size_t i = folderCount_; i < tips_.size(); ++i)
        if (tips_[i].texture != 0 && textureDeleter) textureDeleter(tips_[i].texture);
    if (tips_.size() > folderCount_) tips_.resize(folderCount_);
}

const BrushTip* BrushTipTable::find(int32_t index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= tips_.size()) return nullptr;
    return &tips_[static_cast<std::size_t>(index)];
}

BrushTip* BrushTipTable::find(int32_t index) {
    return const_cast<BrushTip*>(static_cast<const BrushTipTable*>(this)->find(index));
}

int32_t BrushTipTable::findFolderTip(std::string_view name) const {
    for (std::size_t i = 1; i < folderCount_ && i < tips_.size(); ++i)
        if (tips_[i].name == name) return static_cast<int32_t>(i);
    return -1;
}

brush::TipFactors BrushTipTable::factors(int32_t index) const {
    const BrushTip* t = find(index);
    if (!t) return {};
    return {t->widthFactor, t->heightFactor};
}
