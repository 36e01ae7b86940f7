// capture.cpp - writes played samples to a CSV file on the virtual instrument's thread.
#include "cli/instrument/capture.h"

#include "cli/shell/failure.h"
#include "sim/measure.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace zeka::cli {

void Capture::Open()
{
    file_.reset(std::fopen(path_.c_str(), "we"));
    if (file_ == nullptr)
        throw Failure(errno == EACCES ? Exit::kPermission : Exit::kCheckFailed,
                      fmt::format("cannot write {}: {}; name another file with --capture", path_,
                                  std::strerror(errno)));
    (void)std::fputs("time_s,ac_mv,dc_mv\n", file_.get()); // the stream keeps an error until Finish
}

void Capture::Take(const sim::Instrument& instrument, std::span<const sim::Sample> samples)
{
    if (error_ != 0)
        return;
    const sim::InstrumentState state = instrument.State();
    const bool memory = state.memory_playing && state.output_record;
    const double step = 1.0 / (memory ? static_cast<double>(state.output_record->sample_rate)
                                      : static_cast<double>(sim::kSampleRate));
    fmt::memory_buffer text;
    for (std::size_t i = 0; i < samples.size(); ++i)
        fmt::format_to(std::back_inserter(text), "{:.6f},{:.6f},{:.4f}\n",
                       seconds_ + static_cast<double>(i) * step, sim::AcMillivolts(samples[i].ac),
                       sim::DcMillivolts(samples[i].dc));
    seconds_ += static_cast<double>(samples.size()) * step;
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size())
        error_ = errno;
}

void Capture::Finish()
{
    if (file_ == nullptr)
        return;
    if (error_ == 0 && (std::ferror(file_.get()) != 0 || std::fflush(file_.get()) != 0))
        error_ = errno;
    if (error_ != 0)
        throw Failure(Exit::kCheckFailed,
                      fmt::format("{} is not complete: {}; make room, or name another file with --capture",
                                  path_, std::strerror(error_)));
}

} // namespace zeka::cli
