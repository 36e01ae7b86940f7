// main.cpp - draw_waveforms FOLDER: draws every standard test waveform, as the library hands it out, into PNG
// files for docs/waveforms.md.
//     draw_waveforms docs/waveforms
#include "sim/private_dev.h"
#include "tools/waveforms/families.h"

#include <cstdio>
#include <exception>
#include <filesystem>

int main(int argc, char** argv)
{
    using namespace zeka::waveforms;
    if (argc != 2) {
        std::fprintf(stderr, "usage: draw_waveforms FOLDER\n");
        return 2;
    }
    zeka::sim::EnterPrivateDev(argv); // for the virtual instrument
    try {
        const std::string folder = argv[1];
        std::filesystem::create_directories(folder);
        DrawIec227(folder);
        DrawIec251(folder);
        DrawAne20000(folder);
        DrawIec247(folder);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "draw_waveforms: %s\n", error.what());
        return 1;
    }
}
