#pragma once
// The painting randomness: the classic linear congruential generator with
// RAND_MAX 32767 that stored brush jitter was designed around. libc's rand()
// is never used for painting, so results do not depend on the C library.
#include <cstdint>

constexpr int kRandMax = 32767;

int kwRand();
void kwSrand(uint32_t seed);
