#include <X11/Xlib.h>

#include <cstdio>

#include "core/Batch.h"
#include "core/CommandLine.h"
#include "core/Startup.h"

int main(int argc, char** argv) {
    // The process loader uses a second GL context on another thread.
    XInitThreads();
    const CommandLine cl = parseCommandLine(argc, argv);
    switch (cl.mode) {
    case CommandLine::Mode::Version:
        std::printf("Kestrelwing %s\n", KW_VERSION);
        return 0;
    case CommandLine::Mode::Help:
        std::fputs(usageText(), stdout);
        return 0;
    case CommandLine::Mode::Error:
        std::fprintf(stderr, "kestrelwing: %s\n%s", cl.error.c_str(), usageText());
        return 2;
    case CommandLine::Mode::Info:
    case CommandLine::Mode::Render:
    case CommandLine::Mode::ExportVideo:
        // No window: these run without a display server.
        return runBatch(cl);
    case CommandLine::Mode::Run:
        break;
    }
    return runProgram(cl);
}
