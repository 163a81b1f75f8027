// kestrelwing-bench: prints speed and memory figures as "NAME value unit"
// lines. The figures themselves arrive with the benchmark work; until then
// the program only reports what it would measure on.
#include <cstdio>
#include <thread>

int main() {
    std::printf("machine.cores %u count\n", std::thread::hardware_concurrency());
    return 0;
}
