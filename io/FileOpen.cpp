#include "io/FileOpen.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "canvas/GlInfo.h"
#include "canvas/MultiLayeredImage.h"
#include "core/Application.h"
#include "io/OpenRaster.h"

namespace {

std::string lowerExtension(const std::string& path) {
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ext;
}

void enterFileDirectory(const std::string& path) {
    const std::filesystem::path folder = std::filesystem::absolute(path).parent_path();
    std::error_code ec;
    std::filesystem::current_path(folder, ec);
}

bool loadImageFile(const std::string& path, DocumentTarget& doc, const LoadFileOptions& options) {
    static const FramebufferCapability kNoLimit;
    ImageLoadTarget target{doc.canvas, doc.layers, doc.capability ? *doc.capability : kNoLimit,
                           options.process.wait, options.imageHooks, doc.app};
    const ImageLoadResult result = loadImageAsCanvas(path, target);
    if (doc.app) doc.app->showMessage("%s", imageLoadMessage(result, false));
    if (result != ImageLoadResult::Loaded) return false;
    doc.layers.modificationCount = 0;
    return true;
}

} // namespace

FileKind fileKindFromPath(const std::string& path) {
    const std::string ext = lowerExtension(path);
    if (ext == ".dpf" || ext == ".dat") return FileKind::Process;
    if (ext == ".kwf") return FileKind::Layered;
    if (ext == ".ora") return FileKind::OpenRaster;
    return FileKind::Image;
}

bool loadFile(const std::string& path, DocumentTarget& doc, const LoadFileOptions& options) {
    bool loaded = false;
    switch (fileKindFromPath(path)) {
    case FileKind::Process: loaded = openDrawingProcess(path, doc, options.process); break;
    case FileKind::Layered: loaded = openLayeredImage(path, doc); break;
    case FileKind::OpenRaster: loaded = ora::openImage(path, doc); break;
    case FileKind::Image: loaded = loadImageFile(path, doc, options); break;
    }
    if (loaded) enterFileDirectory(path);
    return loaded;
}
