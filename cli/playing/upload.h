// upload.h - one period of a signal on its way into the instrument's memory: what can go there, how it is
// sent, and what the virtual instrument makes of it. Shared by upload, save and default.
#pragma once

#include "cli/playing/comparison.h"

#include <string>

namespace zeka::cli {

/// One period as the instrument gets it.
struct UploadPlan {
    int samples = 0;
    int rate = 0; // per second
    std::size_t packets = 0;

    [[nodiscard]] std::string Text() const;
    [[nodiscard]] JsonValue ToJson() const;
};

/// The signal's options, without those in the help that CheckUpload refuses.
void AddUploadOptions(const Command& command, SignalOptions& options);

/// As CheckSignal, and refuses what one period in the instrument's memory cannot carry. Throws
/// Failure(kUsage).
Selection CheckUpload(SignalOptions& options);

/// For the frequency that the library has now.
UploadPlan PlanUpload();

/// "ecg, 1.2 Hz, 1 mV", from what the library has now.
std::string SignalText(const Selection& selection);

enum class Confirmed { kYes, kNotTold };

/// Uploads and lets the instrument play; the library does not tell whether that worked, so what went over the
/// port is counted. Throws Failure.
Confirmed UploadAndPlay(const Selection& selection, const UploadPlan& plan, Console& console);

/// Uploads and stores; returns when the instrument has said that it is done. Throws Failure.
void UploadAndStore(const Selection& selection, const UploadPlan& plan, Console& console);

/// Stops what plays from memory. Throws Failure.
void StopMemory(Console& console);

/// What the virtual instrument was told of the period, and its samples, beside what was asked for.
std::vector<Row> CompareUpload(const SignalOptions& options, const Selection& selection,
                               const UploadPlan& plan, const sim::WaveformInfo& told,
                               PlayedSignal::Window window);

} // namespace zeka::cli
