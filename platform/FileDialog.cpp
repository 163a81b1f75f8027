#include "platform/FileDialog.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <mutex>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/ErrorBox.h"

extern char** environ;

namespace platform {

namespace {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::string upper(std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// The extension of the last path component, with its dot; "" when none.
std::string extensionOf(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    const std::size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    if (dot + 1 == path.size()) return {};
    // A leading dot names a hidden file, not an extension.
    if (dot == (slash == std::string::npos ? 0 : slash + 1)) return {};
    return path.substr(dot);
}

// The next line of each script: the program reads its script from the top
// once, whichever dialog asks.
std::mutex gScriptMutex;
std::map<std::string, int> gScriptNext;
FileDialogFactory gInProgram;

} // namespace

std::string filterPatterns(const FileFilter& filter) {
    std::string out;
    for (std::size_t i = 0; i < filter.names.size(); ++i) {
        if (i) out += ';';
        out += "*." + filter.names[i];
    }
    return out;
}

std::string filterText(const FileFilter& filter) { return filter.label + " (" + filterPatterns(filter) + ")"; }

bool matchesFilter(const std::string& fileName, const FileFilter& filter) {
    const std::string ext = upper(extensionOf(fileName));
    for (const std::string& n : filter.names)
        if (ext == "." + upper(n)) return true;
    return false;
}

ChosenFile resolveChoice(const FileDialogRequest& request, const FileDialogAnswer& answer) {
    ChosenFile chosen{answer.path, lower(extensionOf(answer.path))};
    if (request.forSaving && chosen.extension.empty() && !request.filters.empty()) {
        const int index =
            answer.filterIndex >= 0 && answer.filterIndex < static_cast<int>(request.filters.size()) ? answer.filterIndex
                                                                                                   : 0;
        chosen.extension = lower(request.filters[static_cast<std::size_t>(index)].extension);
        chosen.path += chosen.extension;
    }
    return chosen;
}

// ---- script ----------------------------------------------------------------------------

std::vector<ScriptedAnswer> parseScriptedAnswers(const std::string& text) {
    std::vector<ScriptedAnswer> out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        ScriptedAnswer a;
        auto number = [&line](char mark, int& value) {
            if (line.size() < 2 || line[0] != mark || !std::isdigit(static_cast<unsigned char>(line[1]))) return;
            std::size_t i = 1;
            int v = 0;
            while (i < line.size() && std::isdigit(static_cast<unsigned char>(line[i])) && v < 10000000)
                v = v * 10 + (line[i++] - '0');
            if (i < line.size() && line[i] == ' ') ++i;
            value = v;
            line.erase(0, i);
        };
        number('@', a.delayMs);
        int filter = 0;
        number('#', filter);
        a.answer.filterIndex = filter - 1;
        a.answer.accepted = !line.empty();
        a.answer.path = line;
        out.push_back(std::move(a));
    }
    return out;
}

FileDialogAnswer ScriptedFileDialog::run(const FileDialogRequest&) {
    std::ifstream file(scriptPath_, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    const std::vector<ScriptedAnswer> answers = parseScriptedAnswers(text.str());
    int index = 0;
    {
        std::lock_guard<std::mutex> lock(gScriptMutex);
        index = gScriptNext[scriptPath_]++;
    }
    if (index >= static_cast<int>(answers.size())) return {};
    const ScriptedAnswer& a = answers[static_cast<std::size_t>(index)];
    if (a.delayMs > 0) std::this_thread::sleep_for(std::chrono::milliseconds(a.delayMs));
    return a.answer;
}

// ---- zenity and kdialog ----------------------------------------------------------------

std::vector<std::string> zenityArgs(const FileDialogRequest& request) {
    std::vector<std::string> args{"zenity", "--file-selection"};
    if (!request.title.empty()) args.push_back("--title=" + request.title);
    if (request.forSaving) {
        args.push_back("--save");
        args.push_back("--confirm-overwrite");
    }
    std::string start = request.folder.empty() ? std::string(".") : request.folder;
    if (start.back() != '/') start += '/';
    if (request.forSaving) start += request.name;
    args.push_back("--filename=" + start);
    for (const FileFilter& f : request.filters) {
        std::string patterns;
        for (const std::string& n : f.names) patterns += " *." + lower(n) + " *." + upper(n);
        args.push_back("--file-filter=" + filterText(f) + " |" + patterns);
    }
    return args;
}

std::vector<std::string> kdialogArgs(const FileDialogRequest& request) {
    std::vector<std::string> args{"kdialog"};
    if (!request.title.empty()) {
        args.push_back("--title");
        args.push_back(request.title);
    }
    args.push_back(request.forSaving ? "--getsavefilename" : "--getopenfilename");
    std::string start = request.folder.empty() ? std::string(".") : request.folder;
    if (request.forSaving) start += (start.back() == '/' ? "" : "/") + request.name;
    args.push_back(start);
    std::string filters;
    for (const FileFilter& f : request.filters) {
        if (!filters.empty()) filters += '\n';
        for (std::size_t i = 0; i < f.names.size(); ++i)
            filters += (i ? " *." : "*.") + lower(f.names[i]) + " *." + upper(f.names[i]);
        filters += '|' + filterText(f);
    }
    args.push_back(filters);
    return args;
}

FileDialogAnswer ToolFileDialog::run(const FileDialogRequest& request) {
    std::vector<std::string> args = tool_ == Tool::Zenity ? zenityArgs(request) : kdialogArgs(request);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return {};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, program_.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    if (spawned != 0) {
        ::close(fds[0]);
        return {};
    }
    std::string output;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
        if (n > 0) output.append(buffer, static_cast<std::size_t>(n));
        else if (n == 0 || errno != EINTR) break;
    }
    ::close(fds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {}
    while (!output.empty() && (output.back() == '\n' || output.back() == '\r')) output.pop_back();
    FileDialogAnswer answer;
    answer.accepted = WIFEXITED(status) && WEXITSTATUS(status) == 0 && !output.empty();
    if (answer.accepted) answer.path = output;
    return answer;
}

void setInProgramFileDialog(FileDialogFactory factory) { gInProgram = std::move(factory); }

std::unique_ptr<FileDialogBackend> makeFileDialogBackend(bool preferInProgram) {
    const char* script = std::getenv("KESTRELWING_FILE_DIALOG");
    if (script && script[0]) return std::make_unique<ScriptedFileDialog>(script);
    if (!preferInProgram) {
        if (std::string zenity = findOnPath("zenity"); !zenity.empty())
            return std::make_unique<ToolFileDialog>(ToolFileDialog::Tool::Zenity, zenity);
        if (std::string kdialog = findOnPath("kdialog"); !kdialog.empty())
            return std::make_unique<ToolFileDialog>(ToolFileDialog::Tool::Kdialog, kdialog);
    }
    return gInProgram ? gInProgram() : nullptr;
}

} // namespace platform
