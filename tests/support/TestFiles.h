#pragma once
// Files for tests: a private folder per test, whole-file reads and writes,
// and the real binary run without a display.
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace testfiles {

// A fresh folder under the system's temporary folder (unique name with the
// prefix), removed with everything in it at the end.
class TempFolder {
public:
    explicit TempFolder(const std::string& prefix = "kw_test");
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

// The whole file; empty when it cannot be read.
std::vector<uint8_t> fileBytes(const std::filesystem::path& path);
std::string fileText(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);
void writeFile(const std::filesystem::path& path, const std::string& text);

struct RunResult {
    int exitCode = -1;
    std::string out, err;
};

// Runs the program's binary with the arguments (a shell command line) and
// DISPLAY unset, so nothing can reach a window. Output is captured in files
// outside any test folder, so folders being checked see only what the
// program wrote.
RunResult runProgram(const std::string& args);

} // namespace testfiles
