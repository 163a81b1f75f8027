#pragma once
// Checks of written films by FFmpeg's own command-line tools (package
// ffmpeg): ffprobe for the stream's description, ffmpeg for decoded pixels.
// They share nothing with the writer but the libraries, so what they report
// is what a player sees.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace videotest {

inline std::string runAndCapture(const std::string& command) {
    std::string out;
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) return out;
    char buffer[4096];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) out.append(buffer, n);
    ::pclose(pipe);
    return out;
}

inline bool toolsPresent() { return std::system("ffprobe -version >/dev/null 2>&1") == 0; }

// key=value of the first video stream and of the container, as ffprobe
// counts them by decoding every frame (nb_read_frames).
inline std::map<std::string, std::string> probe(const std::string& path) {
    const std::string out = runAndCapture(
        "ffprobe -v error -count_frames -select_streams v:0 -show_entries "
        "stream=codec_name,codec_tag_string,width,height,r_frame_rate,avg_frame_rate,nb_read_frames:format=format_name "
        "-of default=noprint_wrappers=1 '" +
        path + "' 2>&1");
    std::map<std::string, std::string> values;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t eq = line.find('=');
        if (eq != std::string::npos) values[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return values;
}

inline std::vector<uint8_t> readBytes(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}

// Every frame decoded by ffmpeg as RGB24, rows top-down, one after another.
inline std::vector<uint8_t> decodeFrames(const std::string& film, const std::string& scratch) {
    const std::string command = "ffmpeg -v error -y -i '" + film + "' -f rawvideo -pix_fmt rgb24 '" + scratch + "'";
    if (std::system(command.c_str()) != 0) return {};
    return readBytes(scratch);
}

// A picture file decoded by ffmpeg as straight RGBA, rows top-down.
inline std::vector<uint8_t> decodePicture(const std::string& picture, const std::string& scratch) {
    const std::string command =
        "ffmpeg -v error -y -i '" + picture + "' -f rawvideo -pix_fmt rgba '" + scratch + "'";
    if (std::system(command.c_str()) != 0) return {};
    return readBytes(scratch);
}

} // namespace videotest
