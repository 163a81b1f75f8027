#include "brush/BrushPresets.h"

#include <tinyxml.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "io/BinaryStream.h"
#include "io/XmlText.h"
#include "platform/Paths.h"

namespace fs = std::filesystem;

namespace presets {
namespace {

constexpr const char* kNoTextureName = "no texture";
constexpr const char* kFileName = "brush_presets.xml";
// The document every written file starts from.
constexpr const char* kTemplate = "<?xml version=\"1.0\"  standalone='no' >\n"
                                  "<!-- list of brush presets -->\n"
                                  "<BRUSH_PRESETS>\n"
                                  "</BRUSH_PRESETS>\n";
constexpr int32_t kWrittenMajor = 1, kWrittenMinor = 0;
// The file nests PRESET inside BRUSH_PRESETS; anything much deeper is not ours.
constexpr int kMaxNesting = 8;
// Attributes written only above this magnitude read as 0 when missing.
constexpr double kWriteThreshold = 0.001;
constexpr uint32_t kKnownFlags =
    kBrushFlagNone | kBrushFlagAdditiveStroke | kBrushFlagColorDynamics | kBrushFlagDryBrush;

// A real in the C locale's form; false for anything else, for a value that
// overflows a double, and for NaN and infinities.
bool parseReal(const char* text, double& value) {
    const char* begin = text;
    const char* end = text + std::strlen(text);
    while (begin < end && (*begin == ' ' || *begin == '\t')) ++begin;
    while (end > begin && (end[-1] == ' ' || end[-1] == '\t')) --end;
    if (begin < end && *begin == '+') ++begin;
    if (begin == end) return false;
    const auto [ptr, ec] = std::from_chars(begin, end, value);
    return ec == std::errc() && ptr == end && std::isfinite(value);
}

// "major.minor" as two int32 numbers.
bool parseVersion(const char* text, int32_t& major, int32_t& minor) {
    const char* end = text + std::strlen(text);
    const char* dot = std::find(text, end, '.');
    if (dot == end) return false;
    const auto [p1, e1] = std::from_chars(text, dot, major);
    const auto [p2, e2] = std::from_chars(dot + 1, end, minor);
    return e1 == std::errc() && p1 == dot && e2 == std::errc() && p2 == end;
}

int32_t tipIndexFor(const std::string& name, const BrushTipTable& tips) {
    if (name == kNoTextureName) return 0;
    return tips.findFolderTip(name);
}

std::string tipNameFor(int32_t tipIndex, const BrushTipTable& tips) {
    if (tipIndex < 1) return kNoTextureName;
    const BrushTip* tip = tips.find(tipIndex);
    return tip ? tip->name : std::string();
}

// One PRESET element into a preset. False (reason in problem) when the element
// is not readable; keep is false when its tip does not exist.
bool readPreset(const TiXmlElement& element, const BrushTipTable& tips, BrushPreset& preset, bool& keep,
                std::string& problem) {
    const char* name = element.Attribute("name");
    const char* tipName = element.Attribute("brush_name");
    if (!name || !tipName) {
        problem = std::string("a preset without ") + (name ? "\"brush_name\"" : "\"name\"");
        return false;
    }
    preset.name = name;
    Brush b = defaultBrush();
    b.tipIndex = tipIndexFor(tipName, tips);
    keep = b.tipIndex >= 0;
    // A missing size reads as 0 and is then raised to the smallest size.
    b.size = 0;
    for (const BrushField& field : brushFields()) {
        if (!field.presetKey) continue;
        const std::string_view key = field.name;
        // The hardness shapes the round brush only; a textured preset keeps the default.
        if (key == "hardness" && b.isTextured()) continue;
        const char* text = element.Attribute(field.name);
        if (!text) continue;
        double value = 0.0;
        if (!parseReal(text, value)) {
            problem = "preset \"" + preset.name + "\": " + field.name + "=\"" + text + "\" is not a number";
            return false;
        }
        if (key == "size") {
            value = std::trunc(value);
        } else if (key == "flags") {
            // Read as "%d" and kept to the bits the program knows.
            const double whole = std::clamp(std::trunc(value), -2147483648.0, 2147483647.0);
            b.flags = static_cast<uint32_t>(static_cast<int32_t>(whole)) & kKnownFlags;
            continue;
        }
        setBrushFieldValue(b, field, field.hasRange ? std::clamp(value, field.minValue, field.maxValue)
                                                    : std::clamp(value, 0.0, 1.0));
    }
    const BrushField* size = findBrushField("size");
    b.size = std::clamp(b.size, static_cast<int32_t>(size->minValue), static_cast<int32_t>(size->maxValue));
    preset.brush = b;
    return true;
}

} // namespace

FileContent parseText(const std::string& text, const BrushTipTable& tips) {
    FileContent content;
    content.exists = true;
    if (text.size() > kMaxFileBytes) {
        content.problem = "larger than " + std::to_string(kMaxFileBytes >> 20) + " MiB";
        return content;
    }
    if (text.find('\0') != std::string::npos || !io::wellFormedUtf8(text)) {
        content.problem = "not UTF-8 text";
        return content;
    }
    if (io::nestingDepth(text) > kMaxNesting) {
        content.problem = "elements nest deeper than a presets file does";
        return content;
    }
    TiXmlDocument document;
    // The default encoding takes a UTF-8 byte order mark in its stride.
    document.Parse(text.c_str(), nullptr, TIXML_DEFAULT_ENCODING);
    if (document.Error()) {
        content.problem = std::string(document.ErrorDesc());
        if (document.ErrorRow() > 0) content.problem += " (line " + std::to_string(document.ErrorRow()) + ")";
        return content;
    }
    const TiXmlElement* root = document.FirstChildElement("BRUSH_PRESETS");
    if (!root) {
        content.problem = "no BRUSH_PRESETS element";
        return content;
    }
    const char* version = root->Attribute("version");
    int32_t major = 0, minor = 0;
    if (!version || !parseVersion(version, major, minor)) {
        content.problem = "no version of the form major.minor";
        return content;
    }
    content.versionMajor = major;
    content.versionMinor = minor;
    for (const TiXmlElement* element = root->FirstChildElement("PRESET"); element;
         element = element->NextSiblingElement("PRESET")) {
        BrushPreset preset;
        bool keep = false;
        if (!readPreset(*element, tips, preset, keep, content.problem)) return content;
        if (keep) content.presets.push_back(std::move(preset));
    }
    content.intact = true;
    return content;
}

FileContent readFile(const fs::path& file, const BrushTipTable& tips) {
    FileContent content;
    std::error_code ec;
    if (!fs::exists(file, ec)) return content;
    std::vector<uint8_t> bytes;
    std::string error;
    if (!io::readWholeFile(file.string(), bytes, error, kMaxFileBytes)) {
        content.exists = true;
        content.problem = error;
        return content;
    }
    return parseText(std::string(bytes.begin(), bytes.end()), tips);
}

std::string formatText(const std::vector<BrushPreset>& list, const BrushTipTable& tips) {
    TiXmlDocument document;
    document.Parse(kTemplate);
    TiXmlElement* root = document.FirstChildElement("BRUSH_PRESETS");
    char version[32];
    std::snprintf(version, sizeof version, "%d.%d", kWrittenMajor, kWrittenMinor);
    root->SetAttribute("version", version);
    for (const BrushPreset& preset : list) {
        const Brush& b = preset.brush;
        const std::string tipName = tipNameFor(b.tipIndex, tips);
        // A preset whose tip is gone stays in the list but not in the file.
        if (tipName.empty()) continue;
        auto* element = new TiXmlElement("PRESET");
        element->SetAttribute("name", io::xmlSafeText(preset.name));
        element->SetAttribute("brush_name", io::xmlSafeText(tipName));
        element->SetAttribute("size", b.size);
        element->SetAttribute("SizeFollowsPressure", b.SizeFollowsPressure ? 1 : 0);
        element->SetAttribute("FlowFollowsPressure", b.FlowFollowsPressure ? 1 : 0);
        element->SetDoubleAttribute("opacity", b.opacity);
        if (b.tipIndex < 1) element->SetDoubleAttribute("hardness", b.hardness);
        element->SetDoubleAttribute("spacing", b.spacing);
        const std::pair<const char*, float> optional[] = {{"scattering", b.scattering},
                                                          {"size_jitter", b.size_jitter},
                                                          {"opacity_jitter", b.opacity_jitter},
                                                          {"angle_randomness", b.angle_randomness}};
        for (const auto& [key, value] : optional)
            if (value > kWriteThreshold) element->SetDoubleAttribute(key, value);
        if (b.angle != 0.0f) element->SetDoubleAttribute("angle", b.angle);
        if (b.hasFlag(kBrushFlagColorDynamics)) {
            element->SetDoubleAttribute("colorJitterH", b.colorJitterH);
            element->SetDoubleAttribute("colorJitterS", b.colorJitterS);
            element->SetDoubleAttribute("colorJitterV", b.colorJitterV);
        }
        element->SetAttribute("flags", static_cast<int>(b.flags));
        root->LinkEndChild(element);
    }
    TiXmlPrinter printer;
    document.Accept(&printer);
    // The template carries no byte order mark, so the document asks for none.
    return printer.Str();
}

} // namespace presets

void BrushPresetManager::load(const fs::path& userFile, const fs::path& factoryFile, const BrushTipTable& tips) {
    presets.clear();
    versionMajor = versionMinor = 0;
    presets::FileContent user = presets::readFile(userFile, tips);
    // A damaged file of the user's is neither used nor overwritten.
    const bool userFileTrusted = !user.exists || user.intact;
    if (user.intact) {
        presets = std::move(user.presets);
        versionMajor = user.versionMajor;
        versionMinor = user.versionMinor;
    } else if (user.exists) {
        std::fprintf(stderr, "Brush presets \"%s\" not read (%s); the factory presets are used and the file is left as it is.\n",
                     userFile.c_str(), user.problem.c_str());
    }
    const presets::FileContent factory = presets::readFile(factoryFile, tips);
    if (!factory.intact)
        std::fprintf(stderr, "Factory brush presets \"%s\": %s\n", factoryFile.c_str(),
                     factory.exists ? factory.problem.c_str() : "missing");
    // Lists older than 1.0 take the present factory brushes.
    const bool oldList = versionMajor < 1 || (versionMajor == 1 && versionMinor < 0);
    bool appended = false;
    for (const BrushPreset& preset : factory.presets) {
        bool found = false;
        for (BrushPreset& own : presets) {
            if (own.name != preset.name) continue;
            found = true;
            if (oldList) own.brush = preset.brush;
        }
        if (!found) {
            presets.push_back(preset);
            appended = true;
        }
    }
    if (appended && userFileTrusted && !save(userFile, tips))
        std::fprintf(stderr, "Brush presets \"%s\" could not be written.\n", userFile.c_str());
}

bool BrushPresetManager::save(const fs::path& userFile, const BrushTipTable& tips) const {
    const std::string text = presets::formatText(presets, tips);
    io::AtomicFileSink sink;
    if (!sink.open(userFile.string())) return false;
    if (!sink.write(reinterpret_cast<const uint8_t*>(text.data()), text.size())) return false;
    return sink.commit();
}

fs::path userPresetsFile() { return fs::path(platform::userDataDir()) / presets::kFileName; }

fs::path factoryPresetsFile() { return fs::path(platform::dataDir()) / "brushes" / presets::kFileName; }
