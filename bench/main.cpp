// kestrelwing-bench: speed and memory figures as "NAME value unit" lines;
// where a peer exists its figure and our/peer ratio follow, measured in the
// same run. `--quick` runs small sizes only, to check that it works.
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include "bench/BenchSupport.h"
#include "bench/DabBench.h"
#include "bench/FileBench.h"
#include "bench/HistoryBench.h"
#include "bench/ImageBench.h"

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    std::string error;
    if (!bench::startGl(error)) {
        std::fprintf(stderr, "kestrelwing-bench: no OpenGL context: %s\n", error.c_str());
        return 1;
    }
    bench::figure("machine.cores", std::thread::hardware_concurrency(), "count");
    if (quick) {
        bench::runDabBenchmarks({8, 32});
        bench::runStrokeLatency();
        bench::runCompositeTimes({{1024, 768}});
        bench::resetPeakResident();
        bench::runUndoBenchmark(1024, 3);
        bench::resetPeakResident();
        bench::runReplayAndProcessFiles(512, 500);
        bench::resetPeakResident();
        bench::runLayeredFile(512, 3);
    } else {
        bench::runDabBenchmarks({8, 32, 128, 512});
        bench::runStrokeLatency();
        bench::runCompositeTimes({{1024, 768}, {4096, 4096}, {8192, 8192}});
        bench::resetPeakResident();
        bench::runUndoBenchmark(4096, 5);
        bench::resetPeakResident();
        bench::runReplayAndProcessFiles(2048, 10000);
        bench::resetPeakResident();
        bench::runLayeredFile(4096, 10);
    }
    bench::runImageOpen(quick ? 1024 : 6000, quick ? 768 : 4000);

    return 0;
}
