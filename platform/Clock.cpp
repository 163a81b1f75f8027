#include "platform/Clock.h"

#include <chrono>
#include <thread>

namespace platform {
namespace {
const auto gStart = std::chrono::steady_clock::now();
std::function<int32_t()> gOverride;
} // namespace

int32_t nowMs() {
    if (gOverride) return gOverride();
    auto elapsed = std::chrono::steady_clock::now() - gStart;
    return static_cast<int32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}

void setClockOverride(std::function<int32_t()> source) { gOverride = std::move(source); }

void sleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

} // namespace platform
