#include <cstdio>

int main() {
    std::puts("velor 12.6");
    return 0;
}
