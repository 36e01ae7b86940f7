// calls.cpp - see calls.h.
#include "model/calls.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <unistd.h>

#include "zeka/zeka.h"

namespace zeka::test {
namespace {

int Int(Rng& rng, int low, int high)
{
    return low + static_cast<int>(rng() % (static_cast<unsigned>(high - low) + 1));
}
bool Flag(Rng& rng) { return rng() % 2 != 0; }
/// True in one of four cases.
bool Seldom(Rng& rng) { return Chance(rng, 4); }

/// A number in the range, at its ends or just outside.
double Real(Rng& rng, double low, double high)
{
    switch (rng() % 24) {
    case 0:
        return low;
    case 1:
        return high;
    case 2:
        return std::nextafter(low, -1e9);
    case 3:
        return std::nextafter(high, 1e9);
    case 4:
        return high * 2 + 1;
    default:
        return low + (high - low) * (static_cast<double>(rng() % 100001) / 100000.0);
    }
}

/// A whole number in the range, sometimes just outside.
int Whole(Rng& rng, int low, int high)
{
    return Int(rng, low - (Chance(rng, 12) ? 1 : 0), high + (Chance(rng, 12) ? 1 : 0));
}

/// A frequency whose periods end within a test.
double Hz(Rng& rng)
{
    switch (rng() % 8) {
    case 0:
        return Real(rng, 0.017, 500.0);
    case 1:
        return Real(rng, 20.0, 200.0);
    case 2:
        return static_cast<double>(Int(rng, 1, 7));
    case 3:
        return Real(rng, 0.1, 0.5);
    default:
        return Real(rng, 0.8, 6.5);
    }
}

// --- recordings

struct RecordingFile {
    const char* name;
    std::string text;   // as written
    Model::Found found; // as it must be read
    double hz;
    std::vector<double> mv; // of channel 2 in a file with three
    int result;
};

std::string Big(int value, int bytes)
{
    std::string text;
    for (int byte = bytes - 1; byte >= 0; --byte)
        text += static_cast<char>(value >> (8 * byte));
    return text;
}

const std::vector<RecordingFile>& Files()
{
    using enum Model::Found;
    static const auto files = [] {
        std::vector<RecordingFile> all{
            {"three.txt", "250.0\n400\n3\nI,II,III\n", kSamples, 250.0, {}, 400},
            {"early.txt", "1000\n500\n", kSamples, 1000.0, {}, 300},
            {"binary.bin", Big(500, 2) + Big(250, 4), kSamples, 500.0, {}, 250},
            {"slow.txt", "50\n10\n3\nI,II,III\n", kRefusedHead, 50.0, {}, -2},
            {"short.txt", "200\n10\n3\nI,II,III\n1,2,3\n1,2\n", kRefusedLine, 200.0, {}, -7},
            {"none.txt", "", kNothing, 0.0, {}, -1}};
        for (int n = 0; n < 400; ++n) {
            // Beyond 2.5 mV the values are limited.
            const double mv = std::round(3000.0 * std::sin(n * 0.05)) / 1000.0;
            const std::string text = std::to_string(mv);
            all[0].text += "9,-9," + text + "\n";
            all[0].mv.push_back(std::stod(text));
            if (n < 300) {
                all[1].text += text + "\n";
                all[1].mv.push_back(std::stod(text));
            }
            if (n < 250) {
                const int microvolts = (n * 37) % 5000 - 2500;
                all[2].text += Big(microvolts, 2);
                all[2].mv.push_back(microvolts / 1000.0);
            }
        }
        return all;
    }();
    return files;
}

/// Files that are written once and removed at the end. The processes of the sequences read them, and
/// end without running destructors.
class FolderOfFiles {
public:
    FolderOfFiles()
    {
        std::filesystem::create_directories(path);
        for (const RecordingFile& file : Files())
            if (file.found != Model::Found::kNothing)
                std::ofstream(path / file.name, std::ios::binary) << file.text;
    }
    ~FolderOfFiles() { std::filesystem::remove_all(path); }
    FolderOfFiles(const FolderOfFiles&) = delete;
    FolderOfFiles& operator=(const FolderOfFiles&) = delete;

    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("zeka-model-" + std::to_string(::getpid()));
};

const std::filesystem::path& Folder()
{
    static const FolderOfFiles folder;
    return folder.path;
}

Call LoadFile(const char* name, std::size_t n, const std::function<double(const std::string&)>& load)
{
    const RecordingFile& file = Files()[n];
    return {std::string(name) + " " + file.name,
            [=, path = (Folder() / file.name).string()] { return load(path); },
            [&file](Model& m) { return m.Load(file.found, file.hz, file.mv, file.result); }};
}

std::wstring Wide(const std::string& text) { return {text.begin(), text.end()}; }

Call RawData(Rng& rng)
{
    static constexpr double kRates[] = {50.0, 100.0, 250.0, 1000.0, 40000.0};
    const double hz = kRates[rng() % 5];
    const auto count = static_cast<std::size_t>(Int(rng, 10, 900));
    return LoadRaw(hz, count, Flag(rng));
}

// --- recording into buffers

std::array<double, 10000> recorded_ac, recorded_dc;
bool recording = false;

} // namespace

Call LoadRaw(double hz, std::size_t count, bool with_dc)
{
    std::vector<double> ac(count), dc(count);
    for (std::size_t n = 0; n < count; ++n) {
        ac[n] = 6.0 * std::sin(0.02 * static_cast<double>(n));
        dc[n] = with_dc ? 5.0 * static_cast<double>(n) - 1200.0 : 0.0;
    }
    return {"ZEKALoadRawData(" + std::to_string(hz) + ", " + std::to_string(count) +
                (with_dc ? ", dc)" : ", no dc)"),
            [=]() mutable {
                RAW_WAVEFORM_DATA data{hz, static_cast<int>(count), ac.data(), dc.data()};
                return ::ZEKALoadRawData(&data);
            },
            [=](Model& m) { return m.ZEKALoadRawData(hz, ac, dc); }};
}

Call Register(char kind, bool on)
{
    return {std::string(on ? "register " : "unregister ") + kind,
            [=] {
                RegisterWithLibrary(kind, on);
                return 0.0;
            },
            [=](Model& m) {
                m.Register(kind, on);
                return 0.0;
            }};
}

Call StartRecording(int length)
{
    return {"EnableRecordRaw " + std::to_string(length),
            [=] {
                if (!recording) {
                    recorded_ac.fill(std::numeric_limits<double>::quiet_NaN());
                    recorded_dc = recorded_ac;
                }
                recording = true;
                return ::EnableRecordRaw(recorded_ac.data(), recorded_dc.data(), length) ? 1.0 : 0.0;
            },
            [=](Model& m) { return m.EnableRecordRaw(length) ? 1.0 : 0.0; }};
}

Call StopRecording()
{
    return {"DisableRecordRaw",
            [] {
                ::DisableRecordRaw();
                recording = false;
                return 0.0;
            },
            [](Model& m) {
                m.DisableRecordRaw();
                return 0.0;
            }};
}

std::string ValueDifference(const Model& m)
{
    struct Value {
        const char* getter;
        double library, model;
    };
#define V(getter, value)                                                                                     \
    Value { #getter, static_cast < double>(::getter()), static_cast < double>(m.value) }
    const Value values[]{V(ZEKAGetOutputFunction, main_output),
                         V(ZEKAIsPlaying, going),
                         V(ZEKAGetAmplitude, amplitude),
                         V(ZEKAGetFrequency, F),
                         V(ZEKAGetPulseWidth, pulse_width),
                         V(ZEKAGetQRSDuration, qrs),
                         V(ZEKAGetTWave, cus_t),
                         V(ZEKAGetPDuration, p_duration),
                         V(ZEKAGetPRInterval, pr),
                         V(ZEKAGetQTInterval, qt),
                         V(ZEKAGetPWave, cus_p),
                         V(ZEKAGetSTDeviation, cus_st),
                         V(ZEKAGetSTSegment, st_segment),
                         V(ZEKAGetTDuration, t_duration),
                         V(ZEKAGetDCOffset, dc_setting),
                         V(ZEKAGetDCOffsetVariableMode, variable_dc),
                         V(GetDCOffsetCommonMode, common_mode),
                         V(ZEKAGetPacingPulseMode, pacing_pulse),
                         V(ZEKAGetPacingAmplitude, PA),
                         V(ZEKAGetPacingDuration, pacing_duration),
                         V(ZEKAGetPacingRate, pacing_rate),
                         V(ZEKAGetOvershootTimeConstant, overshoot_tc),
                         V(ZEKAGetOvershootAmplitude, POA),
                         V(ZEKAGetFrequencyScan, scan1),
                         V(GetFreqScanSineStartFreq, f_start),
                         V(GetFreqScanSineStopFreq, f_final),
                         V(GetFreqScanSineDuration, f_duration),
                         V(GetFreqScanECG, scan_on),
                         V(ZEKAGetDynamicRangeTest, dynamic),
                         V(GetDynamicRangeTestAmp, a_dynamic),
                         V(GetDynamicRangeTestFreq, f_dynamic),
                         V(GetECG2_27_NoiseFreq, main_noise),
                         V(GetECG2_27_NoiseAmp, noise_amp),
                         V(GetECG2_27_AAMIDriftTest, drift),
                         V(GetECG2_27_AAMIDriftTestAmp, drift_amp),
                         V(GetECG2_27_AAMIDriftTestFreq, DriftHz()),
                         V(GetBaselineResetTest, overload),
                         V(GetSpecialWave227, wave),
                         V(GetSpecialWave251, wave),
                         V(GetSpecialWave247, wave),
                         V(GetANE20000Lead, lead)};
#undef V
    const auto differ = [](const std::string& what, double library, double model) {
        return what + ": library " + std::to_string(library) + ", model " + std::to_string(model);
    };
    for (const Value& value : values)
        if (std::bit_cast<std::uint64_t>(value.library) != std::bit_cast<std::uint64_t>(value.model))
            return differ(value.getter, value.library, value.model);
    const std::size_t count = m.recorded_ac.size();
    for (std::size_t n = 0; n < count; ++n)
        if (recorded_ac[n] != m.recorded_ac[n] || recorded_dc[n] != m.recorded_dc[n])
            return differ("recorded sample " + std::to_string(n), recorded_ac[n], m.recorded_ac[n]);
    const bool beyond = count > 0 && count < recorded_ac.size() && !std::isnan(recorded_ac[count]);
    return beyond ? differ("recorded beyond", static_cast<double>(count), 0) : "";
}

const std::map<std::string, CallKind>& CallKinds()
{
#define KIND(weight, in_callbacks, name, ...)                                                                \
    {                                                                                                        \
#name,                                                                                               \
        {                                                                                                    \
            weight, in_callbacks, []([[maybe_unused]] Rng& rng) { return CALL(name, __VA_ARGS__); }          \
        }                                                                                                    \
    }
    static const std::map<std::string, CallKind> kinds{
        {"ZEKASetOutputFunction",
         {14, true,
          [](Rng& rng) {
              return CALL(ZEKASetOutputFunction, Chance(rng, 8)    ? 0
                                                 : Chance(rng, 20) ? Int(rng, -2, 25)
                                                 : Chance(rng, 2)  ? Int(rng, 7, 8)
                                                                   : Int(rng, 1, 18));
          }}},
        KIND(1, false, ZEKAReset),
        KIND(4, true, ZEKASetAmplitude, Real(rng, -10.0, 10.0)),
        KIND(6, true, ZEKASetFrequency, Hz(rng)),
        KIND(2, true, ZEKASetPulseWidth, Real(rng, 1.0, 300.0)),
        KIND(2, true, ZEKASetQRSDuration, Real(rng, 5.0, 200.0)),
        KIND(2, true, ZEKASetTWave, Real(rng, 0.0, 5.0)),
        KIND(2, true, ZEKASetPDuration, Real(rng, 50.0, 100.0)),
        KIND(2, true, ZEKASetPRInterval, Real(rng, 0.0, 200.0)),
        KIND(2, true, ZEKASetQTInterval, Real(rng, 100.0, 900.0)),
        KIND(2, true, ZEKASetPWave, Real(rng, 0.0, 2.0)),
        KIND(2, true, ZEKASetSTDeviation, Real(rng, -2.0, 2.0)),
        KIND(2, true, ZEKASetSTSegment, Real(rng, 100.0, 900.0)),
        KIND(2, true, ZEKASetTDuration, Real(rng, 100.0, 900.0)),
        KIND(2, true, ZEKASetDCOffset, Whole(rng, 0, 3),
             Chance(rng, 3) ? 300 - 600 * Int(rng, 0, 1) : Whole(rng, -1000, 1000)),
        KIND(2, true, ZEKASetDCOffsetVariableMode, Whole(rng, 0, 3), Flag(rng)),
        KIND(1, true, SetDCOffsetCommonMode, Flag(rng)),
        KIND(3, true, ZEKASetPacingPulseMode, Int(rng, -1, 3)),
        KIND(4, true, ZEKASetPacingAmplitude, Seldom(rng) ? 0.0 : Real(rng, -700.0, 700.0)),
        KIND(2, true, ZEKASetPacingDuration, Real(rng, 0.1, 3.0)),
        KIND(3, true, ZEKASetPacingRate, static_cast<unsigned>(Whole(rng, 10, 360))),
        KIND(2, true, ZEKASetPacingRateSynchronized),
        KIND(3, true, ZEKASetOvershootTimeConstant, static_cast<unsigned>(Int(rng, 0, 110))),
        KIND(2, true, ZEKASetOvershootAmplitude, Real(rng, -5.0, 5.0)),
        KIND(3, true, SetRespiration, Int(rng, 0, 300), Int(rng, -3, 255), Int(rng, 0, 4), Int(rng, 0, 5),
             Int(rng, 0, 60)),
        KIND(1, true, SetApnea, Flag(rng)),
        KIND(3, true, EnableRespiration, !Seldom(rng)),
        KIND(1, true, EnableExternalRespireModule, Flag(rng)),
        KIND(4, true, SetRespireAlgorithmParam, Int(rng, 3, 60), Int(rng, 0, 4),
             Seldom(rng) ? Int(rng, -1, 60) : 0, Seldom(rng) ? 0 : Int(rng, 0, 50),
             Seldom(rng) ? 0 : Int(rng, 0, 50), Flag(rng) ? 0 : Int(rng, 0, 40)),
        KIND(2, true, ZEKASetFrequencyScan, !Seldom(rng), Whole(rng, 10, 60), Real(rng, 0.67, 20.0),
             Real(rng, 0.67, 40.0)),
        KIND(1, true, SetFreqScanECG, !Seldom(rng)),
        KIND(3, true, ZEKASetDynamicRangeTest, !Seldom(rng), Flag(rng), Real(rng, 0.0, 10.0),
             Real(rng, 1.0, 60.0)),
        KIND(3, true, SetECG2_27_Noise, Int(rng, 0, 4), Real(rng, 0.01, 5.0)),
        KIND(2, true, SetECG2_27_AAMIDriftTest, Flag(rng)),
        KIND(1, true, SetECG2_27_AAMIDriftTestAmp, Real(rng, 1.0, 8.0)),
        KIND(1, true, SetECG2_27_AAMIDriftTestFreq, Real(rng, 0.05, 2.0)),
        KIND(2, true, SetBaselineResetTest, Flag(rng) ? 0 : Int(rng, -1, 5)),
        KIND(1, true, SetSpecialWave227, Whole(rng, 0, 9)),
        KIND(1, true, SetSpecialWave251, Whole(rng, 0, 15)),
        KIND(1, true, SetSpecialWave247, Chance(rng, 30) ? 4 : Whole(rng, 0, 3)),
        KIND(1, true, SetANE20000Lead, Whole(rng, 0, 8)),
        KIND(1, true, SetStandardWaveformLoop, Flag(rng)),
        KIND(1, true, ZEKAEnableLoop, Flag(rng)),
        {"ZEKALoadRawData", {3, false, RawData}},
        {"LoadECGtxt",
         {2, false,
          [](Rng& rng) {
              static constexpr std::size_t kMulti[] = {0, 0, 0, 3, 4, 5};
              return LoadFile("LoadECGtxt", kMulti[rng() % 6],
                              [](const std::string& path) { return ::LoadECGtxt(path.c_str(), 2); });
          }}},
        {"LoadECGtxtSingle",
         {1, false,
          [](Rng&) {
              return LoadFile("LoadECGtxtSingle", 1,
                              [](const std::string& path) { return ::LoadECGtxtSingle(path.c_str()); });
          }}},
        {"LoadECGBin",
         {1, false,
          [](Rng&) {
              return LoadFile("LoadECGBin", 2,
                              [](const std::string& path) { return ::LoadECGBin(Wide(path).c_str()); });
          }}},
        KIND(2, false, ZEKAOutputSignal, Int(rng, -1, 9)),
        KIND(1, false, ZEKASaveToStandaloneMode, Chance(rng, 5) ? Int(rng, 9, 18) : Int(rng, 1, 8)),
        KIND(1, false, ZEKASaveDefaultWaveform),
        KIND(1, true, ZEKASetOutputLead, Whole(rng, 0, 3), Int(rng, 0, 2)),
        KIND(1, true, ZEKASetInputImpedanceMode, Whole(rng, 0, 3), Whole(rng, 0, 3)),
        KIND(1, true, ZEKAGetInputImpedanceMode, Int(rng, 0, 3)),
        KIND(1, true, ZEKASetSignalGroundToGNDGround, Whole(rng, 0, 3), Flag(rng)),
        KIND(1, true, ZEKAGetSignalGroundToGNDGround, Int(rng, 0, 3)),
        KIND(1, true, SetAllOutputState, static_cast<unsigned>(Int(rng, 0, 3))),
        KIND(1, true, SetSelectedChannelEnabled, static_cast<unsigned char>(rng()), Flag(rng)),
        KIND(1, true, SetSelectedChannelLeads, static_cast<unsigned char>(rng()), Int(rng, 0, 2)),
        KIND(1, true, ZEKASetCalibrationMode, Flag(rng)),
        KIND(1, true, ZEKASetOutputDac, Int(rng, 0, 70000), Int(rng, -5, 70000)),
        {"Register",
         {6, true,
          [](Rng& rng) {
              const char kind = "gpmfbd"[rng() % 6];
              return Register(kind, !Seldom(rng));
          }}},
        {"EnableRecordRaw", {2, true, [](Rng& rng) { return StartRecording(Int(rng, 1, 10000)); }}},
        {"DisableRecordRaw", {1, true, [](Rng&) { return StopRecording(); }}},
    };
#undef KIND
    (void)Folder();
    return kinds;
}

} // namespace zeka::test
