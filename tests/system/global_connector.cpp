// global_connector.cpp - a program of the static library whose global object connects and plays in its
// constructor, before main(), and frees in its destructor, after it. Started by unload_test.cpp.
#include "zeka/zeka.h"

#include <cstdio>

namespace {

struct Bench {
    bool plays = ZEKAConnect(0, 20000) == 1 && ZEKASetOutputFunction(1) == 0 && ZEKAIsPlaying();
    ~Bench()
    {
        ZEKAFree();
        if (ZEKAIsConnected())
            std::puts("still connected");
    }
};
const Bench bench;

} // namespace

int main() { return bench.plays ? 0 : 1; }
