// kestrelwing-bench: speed and memory figures as "NAME value unit" lines;
// where a peer exists its figure and our/peer ratio follow, measured in the
// same run. `--quick` runs small sizes only, to check that it works;
// `--only files` (or dabs, undo, replay, image, video, fill, panel) runs one group; files leaves out
// the batch replay of the generated process.
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "bench/BenchSupport.h"
#include "bench/DabBench.h"
#include "bench/FileBench.h"
#include "bench/FloodBench.h"
#include "bench/HistoryBench.h"
#include "bench/ImageBench.h"
#include "bench/PanelBench.h"
#include "bench/VideoBench.h"

int main(int argc, char** argv) {
    bool quick = false;
    std::string only;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quick") == 0) quick = true;
        else if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) only = argv[++i];
    }
    auto group = [&only](const char* name) { return only.empty() || only == name; };
    std::string error;
    if (!bench::startGl(error)) {
        std::fprintf(stderr, "kestrelwing-bench: no OpenGL context: %s\n", error.c_str());
        return 1;
    }
    bench::figure("machine.cores", std::thread::hardware_concurrency(), "count");
    if (quick) {
        if (group("dabs")) {
            bench::runDabBenchmarks({8, 32});
            bench::runStrokeLatency();
            bench::runCompositeTimes({{1024, 768}});
        }
        bench::resetPeakResident();
        if (group("undo")) bench::runUndoBenchmark(1024, 3);
        bench::resetPeakResident();
        if (group("files") || group("replay")) bench::runReplayAndProcessFiles(512, 500, group("replay"));
        bench::resetPeakResident();
        if (group("files")) bench::runLayeredFile(512, 3);
    } else {
        if (group("dabs")) {
            bench::runDabBenchmarks({8, 32, 128, 512});
            bench::runStrokeLatency();
            bench::runCompositeTimes({{1024, 768}, {4096, 4096}, {8192, 8192}});
        }
        bench::resetPeakResident();
        if (group("undo")) bench::runUndoBenchmark(4096, 5);
        bench::resetPeakResident();
        if (group("files") || group("replay")) bench::runReplayAndProcessFiles(2048, 10000, group("replay"));
        bench::resetPeakResident();
        if (group("files")) bench::runLayeredFile(4096, 10);
    }
    if (group("fill")) bench::runFloodFill(quick ? 512 : 4096, quick ? 1 : 3);
    bench::resetPeakResident();
    if (group("image")) bench::runImageOpen(quick ? 1024 : 6000, quick ? 768 : 4000);
    bench::resetPeakResident();
    if (group("video")) bench::runVideoExport(quick ? 100 : 1000);
    bench::resetPeakResident();
    if (group("panel")) bench::runLayersPanel(quick ? 512 : 4096, 20, quick ? 5 : 50);

    return 0;
}
