#include "platform/Random.h"

namespace {
uint32_t gRandState = 1;
}

int kwRand() {
    gRandState = gRandState * 214013u + 2531011u;
    return static_cast<int>((gRandState >> 16) & 0x7FFF);
}

void kwSrand(uint32_t seed) { gRandState = seed; }
