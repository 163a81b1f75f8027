// Texts the user sees must come from the text table (tr), so that a language
// file can replace them. This scan fails on string literals that reach the
// status line, message boxes and widget labels directly, in every source and
// header of the program.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "TestPaths.h"

namespace fs = std::filesystem;

namespace {

// The widget demo screen (KESTRELWING_WIDGET_DEMO=1) is a developer's view of
// the toolkit, not part of the program's interface: its sample texts stay.
const char* const kNotShownToUsers[] = {"widgets/WidgetDemo.cpp"};

struct Finding {
    std::string file;
    int line = 0;
    std::string literal;
};

// A literal that holds a word: two letters in a row. Formats ("%s", "%d%%"),
// separators and one-letter marks ("x", "X") pass.
bool looksLikeText(const std::string& literal) {
    for (std::size_t i = 0; i + 1 < literal.size(); ++i)
        if (std::isalpha(static_cast<unsigned char>(literal[i])) && std::isalpha(static_cast<unsigned char>(literal[i + 1])))
            return !(literal[i] == 'l' && literal.size() <= 4); // "%ld", "%lu"
    return false;
}

// Calls and constructions that put their text in front of the user.
const std::regex& userTextCall() {
    static const std::regex re(
        R"((?:showMessage|postMessage|messageBox|confirmBox|yesNoCancelBox|setLabel|addItem|addTab|addCancelAndAccept|addButton|addCheckBox|announce|printStatusLine|notify|chooseFile)\s*\(([^;]*))"
        R"(|(?:TextWidget|ButtonWidget|CheckBoxWidget|HyperLinkWidget|TabButton|Dialog|EnterAcceptsDialog)>\s*\(([^;]*))"
        R"(|\b(?:label|title|text)\s*=\s*("[^;]*))");
    return re;
}

std::vector<Finding> scanText(const std::string& file, const std::string& text) {
    std::vector<Finding> found;
    std::istringstream in(text);
    std::string line;
    int number = 0;
    static const std::regex literal(R"re("((?:[^"\\]|\\.)*)")re");
    while (std::getline(in, line)) {
        ++number;
        const auto comment = line.find("//");
        const std::string code = comment == std::string::npos ? line : line.substr(0, comment);
        for (auto m = std::sregex_iterator(code.begin(), code.end(), userTextCall()); m != std::sregex_iterator(); ++m) {
            std::string args;
            for (std::size_t g = 1; g < m->size(); ++g)
                if ((*m)[g].matched) args = (*m)[g].str();
            for (auto l = std::sregex_iterator(args.begin(), args.end(), literal); l != std::sregex_iterator(); ++l) {
                const std::string value = (*l)[1].str();
                if (looksLikeText(value)) found.push_back({file, number, value});
            }
        }
    }
    return found;
}

std::vector<Finding> scanTree(const fs::path& root) {
    std::vector<Finding> found;
    for (const char* folder : {"core", "canvas", "tools", "widgets", "ui", "io", "history", "brush"}) {
        if (!fs::exists(root / folder)) continue;
        for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
            if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
            const std::string relative = fs::relative(entry.path(), root).string();
            bool shown = true;
            for (const char* n : kNotShownToUsers) shown = shown && relative != n;
            if (!shown) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            std::stringstream ss;
            ss << in.rdbuf();
            auto f = scanText(fs::relative(entry.path(), root).string(), ss.str());
            found.insert(found.end(), f.begin(), f.end());
        }
    }
    return found;
}

} // namespace

TEST(TrLiterals, ScannerFindsDirectTextsAndLetsTranslatedOnesPass) {
    const auto found = scanText("sample.cpp",
                                "app.showMessage(\"layer deleted\");\n"
                                "app.showMessage(\"%s\", tr(tk::LAYER_DELETED_STR).c_str());\n"
                                "auto b = std::make_shared<ButtonWidget>(0, 0, 110, 30, \"Apply\", 0);\n"
                                "auto c = std::make_shared<ButtonWidget>(0, 0, 110, 30, tr(tk::APPLY_BTN_STR));\n"
                                "box->label = \"Autopan & zoom\";\n"
                                "auto x = std::make_shared<ButtonWidget>(0, 0, 20, 20, \"x\");\n"
                                "// showMessage(\"in a comment\");\n"
                                "int n = messageBox(\"Exit?\");\n"
                                "printStatusLine(line, \"[ESC] to undo selection\");\n"
                                "printStatusLine(line, tr(tk::ESC_TO_UNDO_SELECTION_STR));\n"
                                "announce(\"crop mode\");\n");
    ASSERT_EQ(found.size(), 6u);
    EXPECT_EQ(found[0].line, 1);
    EXPECT_EQ(found[0].literal, "layer deleted");
    EXPECT_EQ(found[1].literal, "Apply");
    EXPECT_EQ(found[2].literal, "Autopan & zoom");
    EXPECT_EQ(found[3].literal, "Exit?");
    EXPECT_EQ(found[4].literal, "[ESC] to undo selection");
    EXPECT_EQ(found[5].literal, "crop mode");
}

TEST(TrLiterals, NoSourceShowsDirectText) {
    const fs::path root = KW_SOURCE_DIR;
    ASSERT_TRUE(fs::exists(root / "core")) << "source tree not found at " << root;
    for (const Finding& f : scanTree(root))
        ADD_FAILURE() << f.file << ":" << f.line << ": \"" << f.literal << "\" is shown without tr";
}
