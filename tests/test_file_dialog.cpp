// The parts of the file dialogs that need no window: filter texts, the
// extension a save gets, the script of answers, the argument lists of the
// desktop tools, a tool run as a child process, and the text conversions at
// the boundary.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/ErrorBox.h"
#include "platform/FileDialog.h"
#include "ui/FileFlows.h"
#include "widgets/GlFont.h"

using platform::FileDialogAnswer;
using platform::FileDialogRequest;
using platform::FileFilter;

namespace fs = std::filesystem;

namespace {
FileDialogRequest saveRequest(const std::vector<FileFilter>& filters) {
    FileDialogRequest r;
    r.forSaving = true;
    r.filters = filters;
    return r;
}

FileDialogAnswer answer(const std::string& path, int filterIndex) {
    FileDialogAnswer a;
    a.accepted = true;
    a.path = path;
    a.filterIndex = filterIndex;
    return a;
}

bool contains(const std::vector<std::string>& v, const std::string& s) {
    return std::find(v.begin(), v.end(), s) != v.end();
}

// A private folder for files of one test.
struct TempFolder {
    TempFolder() {
        char tmpl[] = "/tmp/kw-filedialog-XXXXXX";
        path = mkdtemp(tmpl);
    }
    ~TempFolder() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
    std::string file(const std::string& name, const std::string& content, bool executable = false) const {
        const std::string p = path + "/" + name;
        std::ofstream(p, std::ios::binary) << content;
        if (executable) ::chmod(p.c_str(), 0755);
        return p;
    }
    std::string path;
};
} // namespace

TEST(FileDialogFilters, TextsOfTheFlows) {
    const auto& load = fileflows::loadImageFilters();
    ASSERT_EQ(load.size(), 8u);
    EXPECT_EQ(platform::filterText(load[0]),
              "All image formats (*.JPG;*.PNG;*.TGA;*.TIF;*.TIFF;*.KWF;*.ORA;*.RAW;*.CRW;*.NEF;*.CR2;*.DNG;*.ORF;"
              "*.ARW;*.ERF;*.3FR;*.DCR;*.X3F;*.MEF;*.RAF;*.MRW;*.PEF;*.SR2)");
    EXPECT_EQ(platform::filterText(load[4]), "TIFF (*.TIF;*.TIFF)");
    EXPECT_EQ(platform::filterPatterns(load[4]), "*.TIF;*.TIFF");
    EXPECT_EQ(platform::filterText(load[5]), "Kestrelwing file (preserves layers) (*.KWF)");
    EXPECT_EQ(platform::filterText(load[6]), "OpenRaster (*.ORA)");
    EXPECT_EQ(load[6].extension, ".ora");
    EXPECT_EQ(load[7].extension, ".raw");

    const auto& save = fileflows::saveImageFilters();
    ASSERT_EQ(save.size(), 6u);
    const char* labels[] = {"JPEG (*.JPG)", "PNG (*.PNG)", "TGA (*.TGA)", "TIFF (*.TIF;*.TIFF)",
                            "Kestrelwing file (preserves layers) (*.KWF)", "OpenRaster (*.ORA)"};
    const char* extensions[] = {".jpg", ".png", ".tga", ".tif", ".kwf", ".ora"};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(platform::filterText(save[i]), labels[i]);
        EXPECT_EQ(save[i].extension, extensions[i]);
    }
    const auto& process = fileflows::processFilters();
    ASSERT_EQ(process.size(), 2u);
    EXPECT_EQ(platform::filterText(process[0]), "Drawing process file (*.DPF)");
    EXPECT_EQ(platform::filterText(process[1]), "Old DAT file (*.DAT)");
}

TEST(FileDialogFilters, MatchingIgnoresCase) {
    const FileFilter tiff = fileflows::saveImageFilters()[3];
    EXPECT_TRUE(platform::matchesFilter("scan.tif", tiff));
    EXPECT_TRUE(platform::matchesFilter("SCAN.Tiff", tiff));
    EXPECT_FALSE(platform::matchesFilter("scan.tiffx", tiff));
    EXPECT_FALSE(platform::matchesFilter("tif", tiff));
    EXPECT_FALSE(platform::matchesFilter("a.tif/b", tiff));
}

TEST(FileDialogChoice, TypedExtensionDecidesElseTheChosenFilters) {
    const auto& save = fileflows::saveImageFilters();
    const FileDialogRequest request = saveRequest(save);
    // No extension typed: the chosen filter's is appended.
    auto c = platform::resolveChoice(request, answer("/d/picture", 1));
    EXPECT_EQ(c.path, "/d/picture.png");
    EXPECT_EQ(c.extension, ".png");
    c = platform::resolveChoice(request, answer("/d/picture", 4));
    EXPECT_EQ(c.path, "/d/picture.kwf");
    // A backend that cannot tell gives the first filter's.
    c = platform::resolveChoice(request, answer("/d/picture", -1));
    EXPECT_EQ(c.path, "/d/picture.jpg");
    // Typed: that one, lowered, whatever the filter; the path stays as typed.
    c = platform::resolveChoice(request, answer("/d/a.kwf", 1));
    EXPECT_EQ(c.path, "/d/a.kwf");
    EXPECT_EQ(c.extension, ".kwf");
    c = platform::resolveChoice(request, answer("/d/B.PNG", 0));
    EXPECT_EQ(c.path, "/d/B.PNG");
    EXPECT_EQ(c.extension, ".png");
    // A dot in a folder or at the start of the name is no extension.
    c = platform::resolveChoice(request, answer("/d.v2/name", 3));
    EXPECT_EQ(c.path, "/d.v2/name.tif");
    c = platform::resolveChoice(request, answer("/d/.hidden", 1));
    EXPECT_EQ(c.path, "/d/.hidden.png");
    // Loading never appends.
    FileDialogRequest load = request;
    load.forSaving = false;
    c = platform::resolveChoice(load, answer("/d/README", 1));
    EXPECT_EQ(c.path, "/d/README");
    EXPECT_EQ(c.extension, "");
}

TEST(FileDialogScript, LinesBecomeAnswers) {
    const auto answers = platform::parseScriptedAnswers("/a/b.png\n\n@250 #2 /x/y z\r\n#3 c.tif\n@40 \n#x.png\n");
    ASSERT_EQ(answers.size(), 6u);
    EXPECT_TRUE(answers[0].answer.accepted);
    EXPECT_EQ(answers[0].answer.path, "/a/b.png");
    EXPECT_EQ(answers[0].answer.filterIndex, -1);
    EXPECT_EQ(answers[0].delayMs, 0);
    EXPECT_FALSE(answers[1].answer.accepted);
    EXPECT_EQ(answers[2].delayMs, 250);
    EXPECT_EQ(answers[2].answer.filterIndex, 1);
    EXPECT_EQ(answers[2].answer.path, "/x/y z");
    EXPECT_EQ(answers[3].answer.filterIndex, 2);
    EXPECT_EQ(answers[3].answer.path, "c.tif");
    // A delayed Cancel.
    EXPECT_EQ(answers[4].delayMs, 40);
    EXPECT_FALSE(answers[4].answer.accepted);
    // "#" not followed by a number is part of the name.
    EXPECT_EQ(answers[5].answer.path, "#x.png");
}

TEST(FileDialogScript, EachRunTakesTheNextLineThenCancels) {
    TempFolder dir;
    const std::string script = dir.file("answers.txt", "first.png\n\n#2 third\n");
    platform::ScriptedFileDialog one(script), two(script);
    FileDialogRequest r;
    EXPECT_EQ(one.run(r).path, "first.png");
    EXPECT_FALSE(two.run(r).accepted); // the empty line, taken by another dialog
    const FileDialogAnswer third = one.run(r);
    EXPECT_EQ(third.path, "third");
    EXPECT_EQ(third.filterIndex, 1);
    EXPECT_FALSE(one.run(r).accepted);
}

TEST(FileDialogTools, ZenityArguments) {
    FileDialogRequest r = saveRequest(fileflows::saveImageFilters());
    r.folder = "/home/a/pictures";
    r.name = "unnamed_image";
    r.title = "Save image";
    const auto args = platform::zenityArgs(r);
    ASSERT_GE(args.size(), 2u);
    EXPECT_EQ(args[0], "zenity");
    EXPECT_EQ(args[1], "--file-selection");
    EXPECT_TRUE(contains(args, "--save"));
    EXPECT_TRUE(contains(args, "--confirm-overwrite"));
    EXPECT_TRUE(contains(args, "--title=Save image"));
    EXPECT_TRUE(contains(args, "--filename=/home/a/pictures/unnamed_image"));
    EXPECT_TRUE(contains(args, "--file-filter=TIFF (*.TIF;*.TIFF) | *.tif *.TIF *.tiff *.TIFF"));
    // Loading starts in the folder with an empty name and asks no overwrite question.
    r.forSaving = false;
    const auto load = platform::zenityArgs(r);
    EXPECT_FALSE(contains(load, "--save"));
    EXPECT_FALSE(contains(load, "--confirm-overwrite"));
    EXPECT_TRUE(contains(load, "--filename=/home/a/pictures/"));
}

TEST(FileDialogTools, KdialogArguments) {
    FileDialogRequest r;
    r.filters = fileflows::processFilters();
    r.folder = "/w";
    const auto args = platform::kdialogArgs(r);
    ASSERT_EQ(args.size(), 4u);
    EXPECT_EQ(args[0], "kdialog");
    EXPECT_EQ(args[1], "--getopenfilename");
    EXPECT_EQ(args[2], "/w");
    EXPECT_EQ(args[3], "*.dpf *.DPF|Drawing process file (*.DPF)\n*.dat *.DAT|Old DAT file (*.DAT)");
    r.forSaving = true;
    r.name = "x";
    const auto save = platform::kdialogArgs(r);
    EXPECT_EQ(save[1], "--getsavefilename");
    EXPECT_EQ(save[2], "/w/x");
}

// A stand-in for zenity: a script that records its arguments and answers.
TEST(FileDialogTools, ToolOutputIsTheAnswerAndAFailureIsCancel) {
    TempFolder dir;
    const std::string log = dir.path + "/args.txt";
    const std::string answering = dir.file(
        "answering", "#!/bin/sh\nfor a in \"$@\"; do echo \"$a\" >> '" + log + "'; done\nprintf '/p/\\303\\244.png\\n'\n",
        true);
    FileDialogRequest r = saveRequest(fileflows::saveImageFilters());
    r.folder = "/p";
    r.name = "n";
    platform::ToolFileDialog tool(platform::ToolFileDialog::Tool::Zenity, answering);
    const FileDialogAnswer a = tool.run(r);
    EXPECT_TRUE(a.accepted);
    EXPECT_EQ(a.path, "/p/\xC3\xA4.png");
    EXPECT_EQ(a.filterIndex, -1);
    std::ifstream in(log);
    std::string first;
    std::getline(in, first);
    EXPECT_EQ(first, "--file-selection");

    const std::string refusing = dir.file("refusing", "#!/bin/sh\necho /p/ignored.png\nexit 1\n", true);
    platform::ToolFileDialog cancelled(platform::ToolFileDialog::Tool::Kdialog, refusing);
    EXPECT_FALSE(cancelled.run(r).accepted);
    platform::ToolFileDialog missing(platform::ToolFileDialog::Tool::Zenity, dir.path + "/nothing-here");
    EXPECT_FALSE(missing.run(r).accepted);
}

TEST(FileDialogTools, ScriptInTheEnvironmentWins) {
    TempFolder dir;
    const std::string script = dir.file("answers.txt", "/chosen\n");
    ::setenv("KESTRELWING_FILE_DIALOG", script.c_str(), 1);
    auto backend = platform::makeFileDialogBackend(false);
    ::unsetenv("KESTRELWING_FILE_DIALOG");
    ASSERT_TRUE(backend);
    EXPECT_STREQ(backend->name(), "script");
    EXPECT_EQ(backend->run({}).path, "/chosen");
}

TEST(TextBoundary, Latin1AndUtf8) {
    // "Größe" in Latin-1 and in UTF-8, byte by byte.
    const std::string latin1 = "Gr\xF6\xDF" "e";
    const std::string utf8 = "Gr\xC3\xB6\xC3\x9F" "e";
    EXPECT_EQ(platform::latin1ToUtf8(latin1), utf8);
    EXPECT_EQ(utf8ToLatin1(utf8), latin1);
    // Every Latin-1 byte goes there and back.
    std::string all;
    for (int c = 1; c < 256; ++c) all += static_cast<char>(c);
    EXPECT_EQ(utf8ToLatin1(platform::latin1ToUtf8(all)), all);
    // Beyond Latin-1: the euro sign has no byte of its own.
    EXPECT_EQ(utf8ToLatin1("5 \xE2\x82\xAC"), "5 ?");
}
