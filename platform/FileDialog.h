#pragma once
// File dialogs. A request holds the filters (label, format names, the
// extension a save without one gets), the folder and the name to start with;
// the answer holds the chosen path and, when the backend can tell, the
// chosen filter. Paths are file-system bytes (UTF-8 on this system); the
// program turns them into its Latin-1 text only to show them.
//
// Backends: `zenity` or `kdialog` run as child processes, a script of
// answers for tests (KESTRELWING_FILE_DIALOG names the file), and the
// program's own dialog, which is built from widgets and so is installed from
// above this layer (setInProgramFileDialog).
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

struct FileFilter {
    std::string label;
    std::vector<std::string> names; // format names, upper case: "JPG", "TIFF"
    std::string extension;          // with the dot: what a save with no typed extension gets
};

// The text a dialog shows: the label, " (", "*.NAME" joined by ";", ")".
std::string filterText(const FileFilter& filter);
// The filter itself: "*.JPG;*.JPEG".
std::string filterPatterns(const FileFilter& filter);
// Does a file name end in one of the filter's names (any case)?
bool matchesFilter(const std::string& fileName, const FileFilter& filter);

struct FileDialogRequest {
    bool forSaving = false;
    std::vector<FileFilter> filters;
    std::string folder; // where the dialog starts
    std::string name;   // the name field's first text (saving)
    std::string title;
};

struct FileDialogAnswer {
    bool accepted = false;
    std::string path;
    int filterIndex = -1; // from 0; -1 when the backend cannot tell
};

// What a flow works with: the path, and the lower-case extension that
// chooses the format. Saving with no typed extension appends the chosen
// filter's (the first filter's when the backend cannot tell which).
struct ChosenFile {
    std::string path;
    std::string extension;
};
ChosenFile resolveChoice(const FileDialogRequest& request, const FileDialogAnswer& answer);

class FileDialogBackend {
public:
    virtual ~FileDialogBackend() = default;
    virtual const char* name() const = 0;
    // Blocks until answered. Runs on a thread of its own, unless
    // onMainThread() (the in-program dialog, which pumps the loop itself).
    virtual FileDialogAnswer run(const FileDialogRequest& request) = 0;
    virtual bool onMainThread() const { return false; }
};

// ---- scripted answers (tests) ------------------------------------------------------
// One answer a line: a path, or an empty line for Cancel. A line may begin
// with "@MS " to answer only after MS milliseconds, then "#N " for the
// chosen filter, counted from 1. A "\r" at the end is dropped.
struct ScriptedAnswer {
    FileDialogAnswer answer;
    int delayMs = 0;
};
std::vector<ScriptedAnswer> parseScriptedAnswers(const std::string& text);

// Takes the next line of the script at each run; Cancel once they are used up.
class ScriptedFileDialog : public FileDialogBackend {
public:
    explicit ScriptedFileDialog(std::string scriptPath) : scriptPath_(std::move(scriptPath)) {}
    const char* name() const override { return "script"; }
    FileDialogAnswer run(const FileDialogRequest& request) override;

private:
    std::string scriptPath_;
};

// ---- desktop tools -----------------------------------------------------------------
// Argument lists (argv[0] is the tool's name). zenity matches patterns case
// by case, so each name is given in both cases.
std::vector<std::string> zenityArgs(const FileDialogRequest& request);
std::vector<std::string> kdialogArgs(const FileDialogRequest& request);

// Runs the tool and reads the chosen path from its standard output; exit
// code 0 with a path is an answer, anything else Cancel.
class ToolFileDialog : public FileDialogBackend {
public:
    enum class Tool { Zenity, Kdialog };
    ToolFileDialog(Tool tool, std::string program) : tool_(tool), program_(std::move(program)) {}
    const char* name() const override { return tool_ == Tool::Zenity ? "zenity" : "kdialog"; }
    FileDialogAnswer run(const FileDialogRequest& request) override;

private:
    Tool tool_;
    std::string program_;
};

using FileDialogFactory = std::function<std::unique_ptr<FileDialogBackend>()>;
void setInProgramFileDialog(FileDialogFactory factory);

// The script named by KESTRELWING_FILE_DIALOG when set; else, unless
// preferInProgram, zenity and then kdialog from the PATH; else the
// in-program dialog. Null when none is there.
std::unique_ptr<FileDialogBackend> makeFileDialogBackend(bool preferInProgram);

} // namespace platform
