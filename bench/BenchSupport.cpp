#include "bench/BenchSupport.h"

#include <sys/resource.h>
#include <unistd.h>

#include <memory>

#include "canvas/GlInfo.h"
#include "canvas/Shaders.h"
#include "platform/HeadlessGl.h"

namespace bench {

double peakResidentMiB() {
    // VmHWM follows resetPeakResident(); getrusage's peak never goes down.
    if (FILE* f = std::fopen("/proc/self/status", "r")) {
        char line[256];
        long kb = -1;
        while (std::fgets(line, sizeof line, f))
            if (std::sscanf(line, "VmHWM: %ld kB", &kb) == 1) break;
        std::fclose(f);
        if (kb >= 0) return kb / 1024.0;
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0; // kilobytes on Linux
}

void resetPeakResident() {
    if (FILE* f = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", f);
        std::fclose(f);
    }
}

double residentMiB() {
    long pages = 0, resident = 0;
    if (FILE* f = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(f);
    }
    return static_cast<double>(resident) * sysconf(_SC_PAGESIZE) / (1024.0 * 1024.0);
}

bool startGl(std::string& error) {
    static std::unique_ptr<platform::HeadlessGlContext> context;
    context = std::make_unique<platform::HeadlessGlContext>(64, 64);
    if (!context->create(&error)) return false;
    gGlInfo = GlInfo::readFromCurrentContext();
    buildAllShaderPrograms(gGlInfo);
    return true;
}

} // namespace bench
