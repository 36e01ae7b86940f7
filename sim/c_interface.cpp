// c_interface.cpp - the same calls with C linkage. Every exception becomes a result; none leaves this file.
#include "sim/c_interface.h"

#include "sim/instrument.h"
#include "sim/measure.h"
#include "sim/private_dev.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <system_error>

struct ZekaSim {
    explicit ZekaSim(const zeka::sim::InstrumentConfig& config) : instrument(config) {}
    zeka::sim::Instrument instrument;
};

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr int kPorts = 128;
constexpr unsigned kWaveformItem = 1; // the item of a waveform in a ROM store

std::string& LastError()
{
    thread_local std::string text;
    return text;
}

int Refuse(int error, std::string text)
{
    LastError() = std::move(text);
    return error;
}

/// Runs a step; turns an exception into its errno value and its message.
template <typename Step> int Guarded(Step step) noexcept
{
    try {
        return step();
    } catch (const std::system_error& error) {
        return Refuse(error.code().value() != 0 ? error.code().value() : EIO, error.what());
    } catch (const std::bad_alloc&) {
        return ENOMEM; // nor is there memory for a message
    } catch (const std::exception& error) {
        return Refuse(EIO, error.what());
    }
}

ZekaSimChannel Told(const zeka::sim::ChannelReport& channel)
{
    return {.minimum_mv = channel.minimum,
            .maximum_mv = channel.maximum,
            .peak_to_peak_mv = channel.peak_to_peak,
            .mean_mv = channel.mean,
            .rms_mv = channel.rms,
            .frequency_hz = channel.frequency_hz.value_or(kNone),
            .pulse_height_mv = channel.pulse_height.value_or(kNone),
            .pulse_width_ms = channel.pulse_width_ms.empty() ? kNone : channel.pulse_width_ms.front(),
            .pulses_per_minute = channel.pulses_per_minute.value_or(kNone)};
}

} // namespace

int zeka_sim_enter_private_dev(void)
{
    return Guarded([] {
        const int error = zeka::sim::MoveIntoPrivateDev();
        if (error == 0)
            return 0;
        return Refuse(error, error == EBUSY
                                 ? std::string("the process already runs several threads")
                                 : std::string("cannot make a private /dev: ") + std::strerror(error));
    });
}

bool zeka_sim_in_private_dev(void) { return zeka::sim::InPrivateDev(); }

ZekaSim* zeka_sim_new(bool fast)
{
    ZekaSim* sim = nullptr;
    (void)Guarded([&] {
        zeka::sim::InstrumentConfig config;
        config.guard_node = true;
        config.player.clock = fast ? zeka::sim::ClockMode::kFast : zeka::sim::ClockMode::kReal;
        sim = new ZekaSim(config);
        return 0;
    });
    return sim;
}

void zeka_sim_free(ZekaSim* sim) { delete sim; }

int zeka_sim_plug(ZekaSim* sim, int port)
{
    if (port < 0 || port >= kPorts)
        return Refuse(EINVAL, "there is no port " + std::to_string(port) + "; it is 0 to 127");
    return Guarded([=] {
        sim->instrument.Plug(port);
        return 0;
    });
}

int zeka_sim_unplug(ZekaSim* sim)
{
    return Guarded([=] {
        sim->instrument.Unplug();
        return 0;
    });
}

int zeka_sim_capture(ZekaSim* sim, size_t samples, unsigned int timeout_ms, double* ac, double* dc)
{
    return Guarded([=] {
        const auto window = sim->instrument.Capture(samples, std::chrono::milliseconds(timeout_ms));
        if (window.size() < samples)
            return Refuse(ETIMEDOUT, "the instrument played fewer samples than were to be captured");
        std::ranges::copy(zeka::sim::AcMillivolts(window), ac);
        std::ranges::copy(zeka::sim::DcMillivolts(window), dc);
        return 0;
    });
}

int zeka_sim_measure(const double* millivolts, size_t samples, ZekaSimChannel* report)
{
    if (samples == 0)
        return Refuse(EINVAL, "nothing to measure");
    return Guarded([=] {
        *report = Told(zeka::sim::MeasureChannel({millivolts, samples}, zeka::sim::kSampleRate));
        return 0;
    });
}

int zeka_sim_stats(const ZekaSim* sim, ZekaSimStats* stats)
{
    return Guarded([=] {
        const zeka::sim::InstrumentStats now = sim->instrument.Stats();
        *stats = {.bursts = now.stream.bursts,
                  .requests = now.stream.requests,
                  .played_samples = now.stream.played_samples,
                  .sequence_gaps = now.stream.sequence_gaps,
                  .underruns = now.stream.underruns,
                  .bad_headers = now.stream.bad_headers,
                  .commands = now.commands,
                  .unknown_bytes = now.unknown_bytes,
                  .worst_answer_us =
                      now.stream.last_byte_us.empty() ? kNone : std::ranges::max(now.stream.last_byte_us)};
        return 0;
    });
}

int zeka_sim_state(const ZekaSim* sim, ZekaSimState* state)
{
    return Guarded([=] {
        const zeka::sim::InstrumentState now = sim->instrument.State();
        const auto stores = now.rom_stores.find(kWaveformItem);
        *state = {.plugged = now.plugged,
                  .output_on = now.output_on,
                  .memory_playing = now.memory_playing,
                  .port = now.plugged ? now.port : -1,
                  .waveform_stores = stores == now.rom_stores.end() ? 0 : stores->second,
                  .stored_samples = now.rom_waveform ? now.rom_waveform->samples : 0,
                  .stored_function = now.rom_waveform ? now.rom_waveform->function : 0,
                  .stored_frequency_hz = now.rom_waveform ? now.rom_waveform->frequency_hz : 0.0};
        return 0;
    });
}

const char* zeka_sim_last_error(void) { return LastError().c_str(); }
