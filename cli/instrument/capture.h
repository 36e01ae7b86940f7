// capture.h - writes what the virtual instrument plays to a CSV file while it plays.
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
    /// Writes the samples. Called on the instrument's thread.
    void Take(const sim::Instrument& instrument, std::span<const sim::Sample> samples);
    /// Closes the file. Throws Failure when anything could not be written. Does nothing without Open.
    void Finish();

private:
    std::string path_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, &std::fclose};
    double seconds_ = 0.0; // of signal written so far
    int error_ = 0;        // errno of the first write that failed
};

} // namespace zeka::cli
