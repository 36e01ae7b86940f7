// consumer.cpp - somebody's C++ program: waits for the instrument on an event of the library's.
#include <cstdio>
#include <string>
#include <zeka/platform.hpp>
#include <zeka/zeka.h>

namespace {
CManualResetEvent connected(false);
}

int main()
{
    if (!ZEKAInit([](bool is_there) {
            if (is_there)
                connected.SetEvent();
        }))
        return 1;
    const bool found = connected.WaitTimeout(20000) == 0;
    const std::string serial = ZEKAGetSerialNumber();
    ZEKAFree();
    if (!found || serial.size() < 2) {
        std::fprintf(stderr, "no instrument\n");
        return 1;
    }
}
