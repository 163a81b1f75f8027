#pragma once
// Shared pieces of the benchmark program: timing, the figure lines, the
// headless GL context with the shader programs, memory readings.
#include <chrono>
#include <cstdio>
#include <string>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// One figure: "NAME value unit".
inline void figure(const std::string& name, double value, const char* unit) {
    std::printf("%s %.6g %s\n", name.c_str(), value, unit);
    std::fflush(stdout);
}

// Peak resident memory of the process so far, in MiB.
double peakResidentMiB();
// Starts a new peak from the current resident memory (per-item peaks).
void resetPeakResident();
// Current resident memory, in MiB.
double residentMiB();

// Makes a headless GL context current and builds the shader programs.
bool startGl(std::string& error);

} // namespace bench
