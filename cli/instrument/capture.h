// capture.h - what the virtual instrument played, written to a CSV file while it plays.
#pragma once

#include "sim/instrument.h"

#include <cstdio>
#include <memory>
#include <string>

namespace zeka::cli {

class Capture {
public:
    explicit Capture(std::string path) : path_(std::move(path)) {}

    /// Creates the file. Throws Failure that names it.
    void Open();
    /// On the instrument's thread.
    void Take(const sim::Instrument& instrument, std::span<const sim::Sample> samples);
    /// Throws Failure when anything could not be written. Without Open nothing.
    void Finish();

private:
    std::string path_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, &std::fclose};
    double seconds_ = 0.0; // played so far
    int error_ = 0;        // of the first write that failed
};

} // namespace zeka::cli
