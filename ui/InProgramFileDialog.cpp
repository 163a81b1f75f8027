#include "ui/InProgramFileDialog.h"

#include <GL/glew.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "core/Globals.h"
#include "platform/ErrorBox.h"
#include "ui/FileFlows.h"
#include "widgets/ButtonWidget.h"
#include "widgets/ComboWidget.h"
#include "widgets/Dialog.h"
#include "widgets/DrawHelpers.h"
#include "widgets/EditControl.h"
#include "widgets/GlFont.h"
#include "widgets/ScrollWidgets.h"
#include "widgets/TextWidget.h"
#include "core/Localisation.h"

namespace fs = std::filesystem;

namespace {

constexpr int kEnter = 13;

// A row of the folder grid: a name, "/" after a folder.
class EntryItem : public Widget {
public:
    EntryItem(std::string fileName, bool isFolder, int width_)
        : Widget(0, 0, width_, 22), fileName(std::move(fileName)), folder(isFolder) {}
    bool acceptsFocus() const override { return false; }
    void draw(float opacity_) override {
        if (!gFontGui) return;
        const float a = effectiveAlpha(opacity_);
        if (folder) glColor4f(1.0f, 0.92f, 0.6f, a);
        else glColor4f(1, 1, 1, a);
        const std::string text = utf8ToLatin1(fileName) + (folder ? "/" : "");
        printRaw(*gFontGui, static_cast<float>(static_cast<int>(absX) + 6), static_cast<float>(static_cast<int>(absY) + 5),
                 text.c_str());
    }
    std::string fileName; // file-system bytes
    bool folder;
};

// Any printable Latin-1 byte but the folder separator makes a file name.
class NameEdit : public EditControl {
public:
    using EditControl::EditControl;
    bool acceptsChar(int key) const override { return key >= 32 && key < 256 && key != 127 && key != '/'; }
};

class FileBrowserDialog : public Dialog {
public:
    FileBrowserDialog(const platform::FileDialogRequest& request_, const std::string& title_)
        : Dialog(600, 470, title_), request(request_) {
        folder = request.folder.empty() ? fs::current_path().string() : request.folder;
    }

    void build() {
        auto* d = this; // the widgets live inside the dialog
        folderText = std::make_shared<TextWidget>(10, 400, "", 0);
        folderText->vAlign = VAlign::Bottom;
        add(folderText, true);
        grid = std::make_shared<GridWidget>(10, 110, 560, 280, 1, 12);
        grid->onSelect = [d](Widget* w) {
            if (auto* e = dynamic_cast<EntryItem*>(w)) {
                // Rebuilding the grid inside its own callback would pull the
                // item away under it: the next update enters the folder.
                if (e->folder) d->pendingFolder = e->fileName;
                else d->name->setText(utf8ToLatin1(e->fileName), true);
            }
        };
        add(grid);
        add(std::make_shared<TextWidget>(10, 80, tr(tk::FILE_NAME_LABEL_STR), 0), true);
        name = std::make_shared<NameEdit>(70, 72, 500, 26, 255, 0, utf8ToLatin1(request.name));
        name->onEnter = [d] { d->tryAccept(); };
        add(name);
        add(std::make_shared<TextWidget>(10, 48, tr(tk::FILE_TYPE_LABEL_STR), 0), true);
        filters = std::make_shared<ComboWidget>(70, 44, 500, 0, [d](int) { d->pendingFolder = d->folder; });
        for (const auto& f : request.filters) filters->addItem(filterLabel(f));
        filters->selected = request.filters.empty() ? -1 : 0;
        add(filters);
        addCancelAndAccept(*this, tr(tk::OK_BTN_STR), [d] { d->tryAccept(); });
        name->setFocused(true);
        fill();
    }

    int onKey(int key, int x, int y) override {
        if (name && name->focused && key == kEnter) {
            tryAccept();
            return 1;
        }
        if (const int r = fileflows::dialogKey(*this, key); r != 0) return r;
        return Dialog::onKey(key, x, y);
    }

    bool update(int elapsedMs, int originX, int originY) override {
        if (!pendingFolder.empty()) {
            const std::string next = pendingFolder;
            pendingFolder.clear();
            enter(next);
        }
        return Dialog::update(elapsedMs, originX, originY);
    }

    void tryAccept() {
        std::string typed = platform::latin1ToUtf8(name->text());
        if (typed.empty()) return;
        const fs::path p = typed.front() == '/' ? fs::path(typed) : fs::path(folder) / typed;
        std::error_code ec;
        if (fs::is_directory(p, ec)) {
            name->setText("", false);
            pendingFolder = p.string();
            return;
        }
        if (!request.forSaving && !fs::exists(p, ec)) {
            name->invalid = true;
            return;
        }
        chosenPath = p.lexically_normal().string();
        chosenFilter = filters ? filters->selected : -1;
        accept();
    }

    std::string chosenPath;
    int chosenFilter = -1;
    std::string folder;
    std::string pendingFolder;
    std::shared_ptr<NameEdit> name;

private:
    static std::string filterLabel(const platform::FileFilter& f) {
        // The patterns of long lists would not fit the field: the label says enough.
        // Filter texts are UTF-8; the widgets show Latin-1.
        return utf8ToLatin1(f.names.size() > 4 ? f.label : platform::filterText(f));
    }

    void enter(const std::string& target) {
        std::error_code ec;
        fs::path p = target == ".." ? fs::path(folder).parent_path() : fs::path(target);
        if (p.is_relative()) p = fs::path(folder) / p;
        p = fs::weakly_canonical(p, ec);
        if (ec || !fs::is_directory(p, ec)) return;
        folder = p.string();
        fill();
    }

    void fill() {
        folderText->text = utf8ToLatin1(folder);
        std::vector<std::string> folders, files;
        std::error_code ec;
        for (fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, ec), end;
             !ec && it != end; it.increment(ec)) {
            const std::string n = it->path().filename().string();
            if (n.empty() || n[0] == '.') continue;
            std::error_code e2;
            if (it->is_directory(e2)) folders.push_back(n);
            else if (matchesChosenFilter(n)) files.push_back(n);
        }
        auto byName = [](const std::string& a, const std::string& b) {
            return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
                return std::tolower(static_cast<unsigned char>(x)) < std::tolower(static_cast<unsigned char>(y));
            });
        };
        std::sort(folders.begin(), folders.end(), byName);
        std::sort(files.begin(), files.end(), byName);
        grid->items.clear();
        grid->selectedRow = grid->selectedColumn = -1;
        grid->scrollbar.firstVisible = 0;
        const int w = static_cast<int>(grid->width / GuiScale) - 20;
        if (fs::path(folder).has_parent_path() && fs::path(folder) != fs::path(folder).root_path())
            grid->addItem(std::make_shared<EntryItem>("..", true, w));
        for (const auto& n : folders) grid->addItem(std::make_shared<EntryItem>(n, true, w));
        for (const auto& n : files) grid->addItem(std::make_shared<EntryItem>(n, false, w));
    }

    bool matchesChosenFilter(const std::string& fileName) const {
        if (!filters || filters->selected < 0 || filters->selected >= static_cast<int>(request.filters.size()))
            return true;
        return platform::matchesFilter(fileName, request.filters[static_cast<std::size_t>(filters->selected)]);
    }

    platform::FileDialogRequest request;
    std::shared_ptr<TextWidget> folderText;
    std::shared_ptr<GridWidget> grid;
    std::shared_ptr<ComboWidget> filters;
};

std::weak_ptr<Dialog> gOpenDialog;

} // namespace

platform::FileDialogAnswer InProgramFileDialog::run(const platform::FileDialogRequest& request) {
    const std::string title =
        !request.title.empty() ? utf8ToLatin1(request.title) : tr(request.forSaving ? tk::SAVE_FILE_TITLE_STR : tk::OPEN_FILE_TITLE_STR);
    auto dialog = std::make_shared<FileBrowserDialog>(request, title);
    dialog->build();
    gOpenDialog = dialog;
    platform::FileDialogAnswer answer;
    for (;;) {
        const int result = dialog->runModal();
        if (result != kDialogOk) break;
        std::error_code ec;
        // Replacing a file is a question of its own, as on every desktop.
        if (request.forSaving && fs::exists(dialog->chosenPath, ec) &&
            confirmBox(loc::fillText(tr(tk::FILE_EXISTS_REPLACE_STR),
                                     {utf8ToLatin1(fs::path(dialog->chosenPath).filename().string())}),
                       tr(tk::REPLACE_BTN_STR)) != kDialogOk) {
            dialog = std::make_shared<FileBrowserDialog>(request, title);
            dialog->build();
            gOpenDialog = dialog;
            continue;
        }
        answer.accepted = true;
        answer.path = dialog->chosenPath;
        answer.filterIndex = dialog->chosenFilter;
        break;
    }
    gOpenDialog.reset();
    return answer;
}

void installInProgramFileDialog() {
    platform::setInProgramFileDialog([] { return std::make_unique<InProgramFileDialog>(); });
}

Dialog* openInProgramFileDialog() {
    auto d = gOpenDialog.lock();
    return d && !d->closed ? d.get() : nullptr;
}
