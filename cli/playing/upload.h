// upload.h - uploads one period of a signal into the instrument's memory: what can be stored there, how it is
// sent, and what the virtual instrument plays of it. Shared by upload, save and default.
#pragma once

#include "cli/playing/comparison.h"

#include <string>

namespace zeka::cli {

/// One period as it is sent to the instrument.
struct UploadPlan {
    int samples = 0;
    int rate = 0; // samples per second
    std::size_t packets = 0;

    [[nodiscard]] std::string Text() const;
    [[nodiscard]] JsonValue ToJson() const;
};

/// Adds the signal's options; help leaves out those that CheckUpload refuses.
void AddUploadOptions(const Command& command, SignalOptions& options);

/// Like CheckSignal, and also refuses what a period in the instrument's memory
/// cannot hold. Throws Failure(kUsage).
Selection CheckUpload(SignalOptions& options);

/// Plans for the frequency that is set in the library.
UploadPlan PlanUpload();

/// "ecg, 1.2 Hz, 1 mV", from the settings of the library.
std::string SignalText(const Selection& selection);

enum class Confirmed { kYes, kNotTold };

/// Uploads and makes the instrument play. The library does not report whether that worked, so the bytes on
/// the port are counted. Throws Failure.
Confirmed UploadAndPlay(const Selection& selection, const UploadPlan& plan, Console& console);

/// Uploads and stores; returns when the instrument has reported that it is done. Throws Failure.
void UploadAndStore(const Selection& selection, const UploadPlan& plan, Console& console);

/// Stops what plays from memory. Throws Failure.
void StopMemory(Console& console);

/// Compares the description and the samples that the virtual instrument received with what was requested.
std::vector<Row> CompareUpload(const SignalOptions& options, const Selection& selection,
                               const UploadPlan& plan, const sim::WaveformInfo& told,
                               PlayedSignal::Window window);

} // namespace zeka::cli
