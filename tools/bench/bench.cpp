// bench.cpp - connects the library to a virtual instrument, plays one signal after the
// other and collects what arrives.
#include "tools/bench/bench.h"

#include "tools/bench/figures.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <zeka/zeka.h>

namespace zeka::accuracy {
namespace {

constexpr int kPort = 0;
constexpr unsigned kConnectMs = 20000;
constexpr std::chrono::seconds kPatience{120}; // for a loaded machine; an arrived signal ends the wait

sim::InstrumentConfig FastClock()
{
    sim::InstrumentConfig config;
    config.player.clock = sim::ClockMode::kFast;
    return config;
}

std::size_t SampleCount(double seconds)
{
    return static_cast<std::size_t>(std::lround(seconds * kSampleRate));
}

/// Passes what is played to a listener while the object lives. The instrument's thread may still be in the
/// consumer when it is removed, so the listener is reached through a shared object with a lock.
class Following {
public:
    Following(sim::Instrument& instrument, const sim::Instrument::Consumer& listener)
        : instrument_(instrument), hand_(std::make_shared<Hand>())
    {
        hand_->listener = listener;
        instrument_.SetConsumer([hand = hand_](std::span<const Sample> played) {
            const std::scoped_lock hold(hand->lock);
            if (hand->listener)
                hand->listener(played);
            hand->heard += played.size();
        });
    }
    ~Following()
    {
        instrument_.SetConsumer({});
        const std::scoped_lock hold(hand_->lock);
        hand_->listener = nullptr;
    }
    Following(const Following&) = delete;
    Following& operator=(const Following&) = delete;

    [[nodiscard]] std::uint64_t Heard() const
    {
        const std::scoped_lock hold(hand_->lock);
        return hand_->heard;
    }

private:
    struct Hand {
        std::mutex lock;
        sim::Instrument::Consumer listener;
        std::uint64_t heard = 0;
    };
    sim::Instrument& instrument_;
    std::shared_ptr<Hand> hand_;
};

} // namespace

void Must(int result, std::string_view call)
{
    if (result != 0)
        throw std::runtime_error(fmt::format("{} returned {}", call, result));
}

Bench::Bench() : instrument_(FastClock())
{
    instrument_.Plug(kPort);
    if (ZEKAConnect(kPort, kConnectMs) == 0)
        throw std::runtime_error("the library did not find the virtual instrument");
    Defaults();
}

Bench::~Bench()
{
    ZEKAFree();
    instrument_.Unplug();
}

void Bench::Defaults()
{
    constexpr int kChannels = 4;
    constexpr double kTDurationMs = 180.0;
    ZEKAReset();
    Must(ZEKASetOvershootAmplitude(0.0), "ZEKASetOvershootAmplitude");
    Must(ZEKASetTDuration(kTDurationMs), "ZEKASetTDuration");
    for (int channel = 0; channel < kChannels; ++channel)
        Must(ZEKASetDCOffsetVariableMode(channel, true), "ZEKASetDCOffsetVariableMode");
}

void Bench::Stop()
{
    Must(ZEKASetOutputFunction(0), "ZEKASetOutputFunction");
    if (!instrument_.WaitFor([this] { return !instrument_.State().output_on; }, kPatience))
        throw std::runtime_error("the output did not go off");
    const sim::StreamStats stream = instrument_.Stats().stream;
    if (stream.sequence_gaps != 0 || stream.bad_headers != 0)
        throw std::runtime_error(fmt::format("{} gaps and {} bad headers in the stream", stream.sequence_gaps,
                                             stream.bad_headers));
}

Samples Bench::Play(int function, double seconds)
{
    return PlayAfter([=] { Must(ZEKASetOutputFunction(function), "ZEKASetOutputFunction"); }, seconds);
}

Samples Bench::PlayAfter(const std::function<void()>& start, double seconds)
{
    instrument_.StartCapture(SampleCount(seconds));
    start();
    if (!instrument_.WaitCaptured(kPatience))
        throw std::runtime_error(fmt::format("function {} stopped playing", ZEKAGetOutputFunction()));
    Samples samples = instrument_.Captured();
    Stop();
    return samples;
}

void Bench::Play(int function, double seconds, const sim::Instrument::Consumer& listener)
{
    const Following following(instrument_, listener);
    Must(ZEKASetOutputFunction(function), "ZEKASetOutputFunction");
    if (!instrument_.WaitFor([&] { return following.Heard() >= SampleCount(seconds); }, kPatience))
        throw std::runtime_error(fmt::format("function {} stopped playing", function));
    Stop();
}

void Bench::PlayToItsEnd(const std::function<void()>& start, const sim::Instrument::Consumer& listener)
{
    const std::uint64_t before = instrument_.Stats().stream.played_samples;
    const Following following(instrument_, listener);
    start();
    // The library stops sending; the next selection of function 0 tells the
    // instrument to switch the output off.
    if (!instrument_.WaitFor([] { return !ZEKAIsPlaying(); }, kPatience))
        throw std::runtime_error("the signal did not end by itself");
    Stop();
    const auto all_heard = [&] {
        return following.Heard() == instrument_.Stats().stream.played_samples - before;
    };
    if (!instrument_.WaitFor(all_heard, kPatience))
        throw std::runtime_error("the instrument played more than it handed over");
}

std::vector<double> Ac(const Samples& samples) { return sim::AcMillivolts(samples); }
std::vector<double> Dc(const Samples& samples) { return sim::DcMillivolts(samples); }

double Highest(std::span<const double> millivolts) { return *std::ranges::max_element(millivolts); }
double Lowest(std::span<const double> millivolts) { return *std::ranges::min_element(millivolts); }

std::vector<double> Rises(std::span<const double> millivolts, double level, double margin)
{
    std::vector<double> instants;
    bool armed = false;
    for (std::size_t i = 1; i < millivolts.size(); ++i) {
        const double before = millivolts[i - 1];
        const double now = millivolts[i];
        armed = armed || before < level - margin;
        if (!armed || now < level)
            continue;
        armed = false;
        instants.push_back((static_cast<double>(i) - (now - level) / (now - before)) * kSampleS);
    }
    return instants;
}

std::vector<double> Falls(std::span<const double> millivolts, double level, double margin)
{
    std::vector<double> turned(millivolts.begin(), millivolts.end());
    for (double& value : turned)
        value = -value;
    return Rises(turned, -level, margin);
}

std::vector<double> FirstSamples(std::vector<double> instants)
{
    constexpr double kRounding = 1e-6; // samples
    for (double& instant : instants)
        instant = std::ceil(instant * kSampleRate - kRounding) / kSampleRate;
    return instants;
}

Intervals Between(const std::vector<double>& instants, double asked)
{
    if (instants.size() < 2)
        throw std::runtime_error(fmt::format("{} events instead of one every {} s", instants.size(), asked));
    Intervals found;
    found.count = instants.size() - 1;
    found.mean = (instants.back() - instants.front()) / static_cast<double>(found.count);
    found.worst = asked;
    for (std::size_t i = 1; i < instants.size(); ++i) {
        const double interval = instants[i] - instants[i - 1];
        if (std::abs(interval - asked) > std::abs(found.worst - asked))
            found.worst = interval;
    }
    return found;
}

} // namespace zeka::accuracy
