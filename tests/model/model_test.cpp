// model_test.cpp - plays random and written sequences of calls to the library and the model. ZEKA_MODEL_SEEDS
// sets the number of random sequences; ZEKA_MODEL_SEED plays a single one.
#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iterator>

#include "model/calls.h"

namespace zeka::test {
namespace {

constexpr unsigned kSeeds = 60;
constexpr int kSteps = 120;

unsigned FromEnvironment(const char* name, unsigned otherwise)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

Call RandomCall(Rng& rng, bool in_callback)
{
    static const auto wheel = [] {
        std::vector<const CallKind*> all;
        for (const auto& [name, kind] : CallKinds())
            all.insert(all.end(), static_cast<std::size_t>(kind.weight), &kind);
        return all;
    }();
    for (;;)
        if (const CallKind& kind = *wheel[rng() % wheel.size()]; !in_callback || kind.in_callbacks)
            return kind.make(rng);
}

void RandomSequence(Duel& duel, unsigned seed)
{
    Rng rng(seed);
    for (auto early = rng() % 4; early > 0; --early)
        duel.Do({RandomCall(rng, false)});
    duel.Connect();
    for (int step = 0; step < kSteps && duel.Difference().empty(); ++step) {
        if (Chance(rng, 12))
            duel.Refuse(Chance(rng, 3));
        if (Chance(rng, 8)) {
            const char kind = "gggpmffbbd"[rng() % 10];
            const int nth = 1 + static_cast<int>(rng() % (kind == 'g' ? 200 : 3));
            duel.React({kind, nth, RandomCall(rng, true)});
        }
        std::vector<Call> calls;
        for (auto n = 1 + (Chance(rng, 4) ? rng() % 3 : 0); n > 0; --n)
            calls.push_back(RandomCall(rng, false));
        duel.Do(calls);
        duel.Play(static_cast<int>(Chance(rng, 12) ? rng() % 80 : rng() % 6));
    }
}

void Expect(unsigned seed, const std::function<void(Duel&)>& body)
{
    (void)CallKinds(); // makes their files before the processes are forked
    if (const std::string difference = InFreshLibrary(seed, body); !difference.empty())
        ADD_FAILURE() << "seed " << seed << '\n' << difference;
}

TEST(SignalModel, AgreesInRandomSequences)
{
    const unsigned only = FromEnvironment("ZEKA_MODEL_SEED", 0);
    const unsigned last = only != 0 ? only : FromEnvironment("ZEKA_MODEL_SEEDS", kSeeds);
    for (unsigned seed = only != 0 ? only : 1; seed <= last && !HasFailure(); ++seed)
        Expect(seed, [seed](Duel& duel) { RandomSequence(duel, seed); });
}

/// Streams at 1 Hz with every part of the signal that a setter can change.
void StreamEverything(Duel& duel, int function)
{
    duel.Connect();
    for (const char kind : {'g', 'p', 'f', 'm', 'b'})
        duel.Do({Register(kind, true)});
    duel.Do({CALL(ZEKASetPacingAmplitude, 5.0), CALL(ZEKASetOvershootAmplitude, 1.0),
             CALL(ZEKASetOvershootTimeConstant, 10u), CALL(ZEKASetPacingPulseMode, 1),
             CALL(EnableRespiration, true), CALL(SetRespiration, 2, 20, 1, 0, 10),
             CALL(SetECG2_27_Noise, 1, 0.3), CALL(SetECG2_27_AAMIDriftTest, true),
             CALL(ZEKASetSTDeviation, 0.3), CALL(ZEKASetOutputFunction, function)});
    duel.Play(20);
}

/// A function in whose signal the call's change is visible.
int FunctionFor(const std::string& call)
{
    static const std::map<std::string, int> functions{
        {"ZEKASetPulseWidth", 4},       {"SetSpecialWave227", 9},
        {"SetSpecialWave251", 10},      {"SetSpecialWave247", 16},
        {"SetANE20000Lead", 17},        {"LoadECGtxt", 14},
        {"LoadECGtxtSingle", 14},       {"LoadECGBin", 14},
        {"ZEKALoadRawData", 18},        {"ZEKAEnableLoop", 14},
        {"SetStandardWaveformLoop", 10}};
    const auto found = functions.find(call);
    return found == functions.end() ? 8 : found->second;
}

TEST(SignalModel, EverySetterLandsAsTheTableSays)
{
    for (const auto& line : SetterTable())
        Expect(1, [&line](Duel& duel) {
            const std::string& call = line.first;
            const SetterRow& row = line.second;
            Rng rng(1);
            StreamEverything(duel, FunctionFor(call));
            bool seen = false;
            for (int n = 0; n < 12 && duel.model.going && duel.Difference().empty(); ++n) {
                duel.Do({CallKinds().at(call).make(rng)});
                seen = seen || duel.CallSent() == row.sends;
                if (duel.model.going && duel.CallSent() != row.sends && !duel.CallSent().empty())
                    duel.Differ("setters.tsv: " + call + " sends " + duel.CallSent());
                duel.Play(n < 2 ? 60 : 1);
            }
            if (!seen)
                duel.Differ("setters.tsv: " + call + " never sends " + row.sends);
        });
}

std::vector<Message> BurstsOf(const std::vector<Message>& sent)
{
    std::vector<Message> bursts;
    std::copy_if(sent.begin(), sent.end(), std::back_inserter(bursts),
                 [](const Message& m) { return m.size() == 3200; });
    return bursts;
}

TEST(SignalModel, AResetLibraryPlaysAsAFreshOne)
{
    Expect(1, [](Duel& duel) {
        StreamEverything(duel, 8);
        duel.Do({CALL(ZEKASetAmplitude, 3.0),
                 CALL(ZEKASetFrequency, 2.0),
                 CALL(ZEKASetPulseWidth, 40.0),
                 CALL(ZEKASetQRSDuration, 60.0),
                 CALL(ZEKASetTWave, 0.7),
                 CALL(ZEKASetPRInterval, 40.0),
                 CALL(ZEKASetQTInterval, 300.0),
                 CALL(ZEKASetPWave, 0.4),
                 CALL(ZEKASetSTSegment, 150.0),
                 CALL(ZEKASetTDuration, 250.0),
                 CALL(ZEKASetDCOffset, 2, 300),
                 CALL(SetDCOffsetCommonMode, true),
                 CALL(ZEKASetInputImpedanceMode, 3, 2),
                 CALL(ZEKASetPacingDuration, 1.0),
                 CALL(ZEKASetPacingRate, 90u),
                 CALL(SetECG2_27_AAMIDriftTestAmp, 2.0),
                 CALL(SetECG2_27_AAMIDriftTestFreq, 0.5),
                 CALL(SetStandardWaveformLoop, false),
                 CALL(SetSpecialWave227, 2),
                 CALL(SetANE20000Lead, 3)});
        duel.Play(60);
        duel.Do({CALL(ZEKASetFrequencyScan, false, 20, 1.0, 50.0)});
        duel.Do({CALL(ZEKASetDynamicRangeTest, true, false, 2.0, 30.0)});
        duel.Play(60);
        duel.Do({CALL(ZEKAReset)});

        Model fresh(1);
        fresh.ane20000 = duel.model.ane20000;
        fresh.device = true;
        fresh.variable_dc = false; // the documented exceptions
        fresh.st_segment = 150.0;
        fresh.t_duration = 250.0;
        fresh.POA = 1.0;
        fresh.wave = 2;
        fresh.lead = 3;
        if (const std::string what = ValueDifference(fresh); !what.empty())
            duel.Differ("after the reset: " + what);
        for (const int function : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 13, 15, 16, 17, 0}) {
            fresh.sent.clear();
            duel.Do({CALL(ZEKASetOutputFunction, function)});
            std::vector<Message> bursts = BurstsOf(duel.Sent());
            const bool streamed = fresh.going;
            fresh.ZEKASetOutputFunction(function);
            if (streamed)
                fresh.AnswerRequest();
            for (int n = 0; n < 65 && function != 0; ++n) {
                duel.Play(1);
                const std::vector<Message> more = BurstsOf(duel.Sent());
                bursts.insert(bursts.end(), more.begin(), more.end());
                fresh.AnswerRequest();
            }
            if (bursts != BurstsOf(fresh.sent) && function != 0)
                duel.Differ("function " + std::to_string(function) + " is not that of a fresh library");
        }
        // The reset also forgets the recording's DC channel, so that 300 mV are a fixed source again.
        duel.Do({LoadRaw(250.0, 500, true)});
        duel.Do({CALL(ZEKAReset)});
        duel.Do({CALL(ZEKASetDCOffset, 1, 300)});
    });
}

int WordAt(const Message& m, std::size_t at) { return static_cast<std::int16_t>(m[at] << 8 | m[at + 1]); }

TEST(SignalModel, AnUploadIsThePeriodThatAStreamPlaysNext)
{
    for (int function = 1; function <= 8; ++function)
        Expect(1, [function](Duel& duel) {
            duel.Connect();
            // Breathes once per period.
            duel.Do({CALL(ZEKASetFrequency, 5.0), CALL(ZEKASetAmplitude, 3.0),
                     CALL(ZEKASetPacingAmplitude, 5.0), CALL(ZEKASetPRInterval, 60.0),
                     CALL(ZEKASetDCOffset, 0, 100), CALL(EnableRespiration, true),
                     CALL(SetRespiration, 2, 20, 1, 1, 10), CALL(ZEKASetDCOffsetVariableMode, 0, false),
                     CALL(SetRespireAlgorithmParam, 300, 2, 0, 30, 20, 0)});
            duel.Do({CALL(ZEKASetOutputFunction, function)});
            duel.Play(5);
            // In the gap between two bursts; the next burst begins where the upload began.
            duel.Do({CALL(ZEKAOutputSignal, function)});
            std::vector<int> uploaded, streamed;
            const auto collect = [&] {
                for (const Message& m : duel.Sent())
                    for (std::size_t at = 10; m[0] == 0xEA && m[2] == 0x04 && at < 64; at += 4)
                        uploaded.push_back(WordAt(m, at));
                for (const Message& m : BurstsOf(duel.Sent()))
                    for (std::size_t n = 0; n < 700; ++n)
                        streamed.push_back(WordAt(m, n / 14 * 64 + 10 + n % 14 * 4));
            };
            collect();
            for (int n = 0; n < 12; ++n) {
                duel.Play(1);
                collect();
            }
            int apart = 0; // at the jumps of a square the last digit of the clock decides
            for (std::size_t n = 0; n < 2000 && duel.Difference().empty(); ++n)
                apart += std::abs(uploaded.at(n) - streamed.at(4 * n)) > 1 ? 1 : 0;
            const auto [low, high] = std::minmax_element(uploaded.begin(), uploaded.end());
            if (apart > 2 || *high - *low < 500)
                duel.Differ(std::to_string(apart) + " samples apart");
        });
}

TEST(SignalModel, AgreesOverMinutes)
{
    Expect(1, [](Duel& duel) { // apnea in library and instrument; heart rate and amplitude breathe
        StreamEverything(duel, 7);
        duel.Do({CALL(SetRespireAlgorithmParam, 20, 2, 12, 10, 20, 15)});
        duel.Play(3600);
    });
    Expect(2, [](Duel& duel) { // the first steps of the staircase; both sweeps to their ends
        duel.Connect();
        for (const char kind : {'d', 'f', 'm', 'g'})
            duel.Do({Register(kind, true)});
        duel.Do({CALL(ZEKASetOutputFunction, 15)});
        duel.Play(1230);
        duel.Do({CALL(ZEKASetFrequencyScan, true, 10, 1.0, 40.0)});
        duel.Play(700);
        duel.Do({CALL(SetFreqScanECG, true)});
        duel.Play(1800);
    });
    Expect(3, [](Duel& duel) { // the waveform once, then repeated
        duel.Connect();
        duel.Do({Register('g', true)});
        duel.Do({CALL(SetStandardWaveformLoop, false), CALL(SetSpecialWave227, 3),
                 CALL(SetECG2_27_Noise, 3, 0.4)});
        for (const int function : {10, 17, 9}) {
            duel.Do({CALL(ZEKASetOutputFunction, function)});
            duel.Play(2800);
            duel.Do({CALL(SetBaselineResetTest, 2)}); // starts a stream by itself
            duel.Play(2);
            duel.Do({CALL(ZEKASetOutputFunction, 0)});
        }
    });
}

} // namespace
} // namespace zeka::test
