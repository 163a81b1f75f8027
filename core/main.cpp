#include <cstdio>

int main() {
    std::puts("Kestrelwing");
    return 0;
}
