// private_dev_main.cpp - zeka-private-dev PROGRAM ARGS...: runs a program with a private /dev and /var/lock.
#include "sim/private_dev.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc < 2 || argv[1][0] == '-') {
        std::fprintf(stderr, "usage: zeka-private-dev PROGRAM [ARGUMENTS...]\n");
        return 2;
    }
    return zeka::sim::RunInPrivateDev(argv + 1, zeka::sim::NoPrivateDev::kFail);
}
