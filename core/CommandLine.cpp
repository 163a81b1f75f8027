#include "core/CommandLine.h"

#include <vector>

#include "platform/X11Parse.h"

namespace {

// A launcher may hand over a "file:" URI instead of a path (a desktop entry's
// %U): the file it names. Anything else is taken as a path as it is.
std::string fileArgument(const std::string& arg) {
    std::string path = platform::fileUriToPath(arg, "");
    return path.empty() ? arg : path;
}

CommandLine failure(const std::string& reason) {
    CommandLine cl;
    cl.mode = CommandLine::Mode::Error;
    cl.error = reason;
    return cl;
}

// --info FILE, --render [--replay] FILE OUT: the operands after the mode flag.
CommandLine parseBatch(CommandLine::Mode mode, const std::vector<std::string>& args) {
    CommandLine cl;
    cl.mode = mode;
    std::vector<std::string> operands;
    for (const std::string& arg : args) {
        if (arg == "--replay" && mode == CommandLine::Mode::Render) cl.replay = true;
        else if (arg.size() > 1 && arg[0] == '-') return failure("unknown option: " + arg);
        else operands.push_back(arg);
    }
    const std::size_t wanted = mode == CommandLine::Mode::Info ? 1 : 2;
    if (operands.size() != wanted)
        return failure(mode == CommandLine::Mode::Info ? "--info needs one file"
                                                       : "--render needs an input file and an output image");
    cl.file = operands[0];
    if (wanted == 2) cl.output = operands[1];
    return cl;
}

// --export-video FILE.dpf OUT.{avi,mp4} [--format 480p|720p|1080p] [--author NAME]
CommandLine parseExportVideo(const std::vector<std::string>& args) {
    CommandLine cl;
    cl.mode = CommandLine::Mode::ExportVideo;
    std::vector<std::string> operands;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--format") {
            if (i + 1 >= args.size()) return failure("--format needs 480p, 720p or 1080p");
            const std::string& name = args[++i];
            if (name == "480p") cl.videoFormat = 0;
            else if (name == "720p") cl.videoFormat = 1;
            else if (name == "1080p") cl.videoFormat = 2;
            else return failure("unknown video format: " + name + " (480p, 720p or 1080p)");
        } else if (arg == "--author") {
            if (i + 1 >= args.size()) return failure("--author needs a name");
            cl.author = args[++i];
        } else if (arg.size() > 1 && arg[0] == '-') {
            return failure("unknown option: " + arg);
        } else {
            operands.push_back(arg);
        }
    }
    if (operands.size() != 2) return failure("--export-video needs a drawing process and an output film");
    cl.file = operands[0];
    cl.output = operands[1];
    return cl;
}

} // namespace

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
        if ((arg == "--info" || arg == "--render") && i == 1) {
            const std::vector<std::string> rest(argv + 2, argv + argc);
            return parseBatch(arg == "--info" ? CommandLine::Mode::Info : CommandLine::Mode::Render, rest);
        }
        if (arg == "--export-video" && i == 1) return parseExportVideo(std::vector<std::string>(argv + 2, argv + argc));
        if (arg.size() > 1 && arg[0] == '-' && arg != "--") return failure("unknown option: " + arg);
        if (arg == "--") {
            if (i + 1 < argc && cl.file.empty()) cl.file = fileArgument(argv[i + 1]);
            break;
        }
        if (!cl.file.empty()) return failure("only one file can be opened: " + arg);
        cl.file = fileArgument(arg);
    }
    return cl;
}

const char* usageText() {
    return "Usage: kestrelwing [FILE]\n"
           "       kestrelwing --info FILE.dpf\n"
           "       kestrelwing --render [--replay] FILE OUT.png\n"
           "       kestrelwing --export-video FILE.dpf OUT.avi|OUT.mp4 [--format 480p|720p|1080p]\n"
           "                    [--author NAME]\n"
           "A digital-painting program.\n"
           "\n"
           "  FILE          an image, a layered picture (.kwf) or a drawing process (.dpf) to open\n"
           "  --info        print the header, tips, actions and layers of a drawing process\n"
           "  --render      write the picture FILE holds to OUT (.png; .jpg/.jpeg; .tif/.tiff;\n"
           "                .bmp; other names get PNG data), without a window. JPEG and BMP\n"
           "                hold no transparency: it is composed over black\n"
           "  --replay      with --render: execute the process's actions from a blank canvas\n"
           "  --export-video  replay the process into a film, one frame per action, without a\n"
           "                window: AVI (MPEG-4, DIVX) or MP4 (H.264) by OUT's extension;\n"
           "                --format 480p (704 x 480, 30 fps), 720p (1280 x 720, 25 fps,\n"
           "                the default) or 1080p (1920 x 1080, 25 fps); --author NAME writes\n"
           "                \"created by NAME with Kestrelwing\" in the corner of every frame.\n"
           "                Progress on standard error\n"
           "  --version     print the version and exit\n"
           "  --help        print this text and exit\n"
           "\n"
           "Batch exit codes: 0 done, 2 bad input, 1 anything else.\n";
}
