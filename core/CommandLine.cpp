#include "core/CommandLine.h"

CommandLine parseCommandLine(int argc, const char* const* argv) {
    CommandLine cl;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--version" || arg == "-v") {
            cl.mode = CommandLine::Mode::Version;
            return cl;
        }
        if (arg == "--help" || arg == "-h") {
            cl.mode = CommandLine::Mode::Help;
            return cl;
        }
        if (arg.size() > 1 && arg[0] == '-' && arg != "--") {
            cl.mode = CommandLine::Mode::Error;
            cl.error = "unknown option: " + arg;
            return cl;
        }
        if (arg == "--") {
            if (i + 1 < argc && cl.file.empty()) cl.file = argv[i + 1];
            break;
        }
        if (!cl.file.empty()) {
            cl.mode = CommandLine::Mode::Error;
            cl.error = "only one file can be opened: " + arg;
            return cl;
        }
        cl.file = arg;
    }
    return cl;
}

const char* usageText() {
    return "Usage: kestrelwing [FILE]\n"
           "A digital-painting program.\n"
           "\n"
           "  FILE          an image, a layered picture (.kwf) or a drawing process (.dpf) to open\n"
           "  --version     print the version and exit\n"
           "  --help        print this text and exit\n";
}
