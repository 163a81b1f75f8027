#include "support/TestFiles.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "io/BinaryStream.h"
#include "TestPaths.h"

namespace testfiles {

namespace fs = std::filesystem;

TempFolder::TempFolder(const std::string& prefix) {
    std::string pattern = (fs::temp_directory_path() / (prefix + "_XXXXXX")).string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("cannot make a temporary folder for " + prefix);
    path_ = pattern;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::vector<uint8_t> fileBytes(const fs::path& path) {
    std::vector<uint8_t> bytes;
    std::string reason;
    if (!io::readWholeFile(path.string(), bytes, reason)) bytes.clear();
    return bytes;
}

std::string fileText(const fs::path& path) {
    const std::vector<uint8_t> bytes = fileBytes(path);
    return {bytes.begin(), bytes.end()};
}

void writeFile(const fs::path& path, const std::vector<uint8_t>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void writeFile(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

RunResult runProgram(const std::string& args) {
    const TempFolder capture("kw_run");
    const std::string out = capture.file("stdout.txt"), err = capture.file("stderr.txt");
    const std::string command = "env -u DISPLAY " + std::string(KW_BINARY) + " " + args + " >" + out + " 2>" + err;
    const int status = std::system(command.c_str());
    RunResult r;
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = fileText(out);
    r.err = fileText(err);
    return r;
}

} // namespace testfiles
