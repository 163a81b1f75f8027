#include "ui/FileChooser.h"

#include <atomic>
#include <filesystem>
#include <thread>

#include "core/MainLoop.h"
#include "platform/ErrorBox.h"
#include "platform/Settings.h"
#include "widgets/GlFont.h"

namespace {
bool gOpen = false;
}

bool fileDialogOpen() { return gOpen; }

bool preferInProgramFileDialog() {
    std::string v;
    return platform::readValue("FILE_DIALOG_IN_PROGRAM", v) && v == "1";
}

bool chooseFile(bool forSaving, const std::vector<platform::FileFilter>& filters, ChosenPath& out,
                const std::string& initialName, const std::string& title) {
    if (gOpen) return false;
    std::unique_ptr<platform::FileDialogBackend> backend = platform::makeFileDialogBackend(preferInProgramFileDialog());
    if (!backend) return false;
    platform::FileDialogRequest request;
    request.forSaving = forSaving;
    request.filters = filters;
    std::error_code ec;
    request.folder = std::filesystem::current_path(ec).string();
    if (forSaving) request.name = platform::latin1ToUtf8(initialName);
    request.title = platform::latin1ToUtf8(title);

    gOpen = true;
    platform::FileDialogAnswer answer;
    if (backend->onMainThread()) {
        answer = backend->run(request);
    } else {
        // The dialog blocks its own thread; this one keeps the window alive.
        std::atomic<bool> done{false};
        std::thread worker([&] {
            answer = backend->run(request);
            done = true;
        });
        mainloop::pumpUntil([&done] { return done.load(); });
        worker.join();
    }
    gOpen = false;
    if (!answer.accepted || answer.path.empty()) return false;

    const platform::ChosenFile chosen = platform::resolveChoice(request, answer);
    out.path = std::filesystem::absolute(chosen.path, ec).string();
    if (ec) out.path = chosen.path;
    out.extension = chosen.extension;
    out.shown = utf8ToLatin1(out.path);
    std::filesystem::current_path(std::filesystem::path(out.path).parent_path(), ec);
    return true;
}
