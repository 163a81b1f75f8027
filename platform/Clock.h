#pragma once
// The program's one time base: milliseconds since process start on a steady
// clock (glibc's clock() is CPU time, unusable for input and animation).
// Tests can replace it with a fake clock.
#include <cstdint>
#include <functional>

namespace platform {

int32_t nowMs();

// Replace the time source (tests); pass an empty function to restore the real one.
void setClockOverride(std::function<int32_t()> source);

// Sleep on the calling thread, in milliseconds.
void sleepMs(int ms);

} // namespace platform
