// save.cpp - zeka save and zeka default: stores one period in the instrument, which plays it without a host.
// With the virtual one the stored period is measured.
#include "cli/commands/commands.h"

#include "cli/playing/upload.h"
#include "cli/shell/interrupt.h"
#include "cli/shell/options.h"

#include <fmt/format.h>
#include <memory>
#include <zeka/zeka.h>

namespace zeka::cli {
namespace {

constexpr int kChannels = 4;

struct SaveOptions {
    SignalOptions signal;
    ConnectOptions connect;
};

/// What the instrument would play from its ROM: a few periods, each longer by the fraction of a sample
/// that was sent with the period.
PlayedSignal::Window StoredPeriods(const sim::InstrumentState& state)
{
    constexpr int kPeriods = 4;
    constexpr unsigned kWholeSample = 1000;
    constexpr std::size_t kSlotBytes = 4;
    PlayedSignal::Window window;
    const std::size_t told = state.rom_waveform ? state.rom_waveform->samples : 0;
    const std::size_t samples = std::min(told, state.rom_image.size() / kSlotBytes);
    unsigned fraction = 0;
    for (int period = 0; period < kPeriods && samples > 0; ++period) {
        for (std::size_t i = 0; i < samples; ++i)
            window.samples.push_back(sim::GetSample(state.rom_image, i * kSlotBytes));
        fraction += state.output_record ? state.output_record->fraction_permille : 0;
        if (fraction >= kWholeSample) {
            fraction -= kWholeSample;
            window.samples.push_back(window.samples.back());
        }
    }
    return window;
}

Exit Store(const char* name, const SaveOptions& options, const Selection& selection, const Session& session,
           Context& context)
{
    const UploadPlan plan = PlanUpload();
    const std::string what = fmt::format("{}, {}", SignalText(selection), plan.Text());
    context.console.Note(fmt::format("storing {}", what));
    EndIfInterrupted();
    UploadAndStore(selection, plan, context.console);

    std::vector<Row> rows;
    if (session.Virtual() != nullptr) {
        const sim::InstrumentState state = session.Virtual()->State();
        rows = CompareUpload(options.signal, selection, plan,
                             state.rom_waveform.value_or(sim::WaveformInfo{}), StoredPeriods(state));
    }
    if (context.console.json) {
        JsonValue object{{"instrument", ToJson(session.Who())},
                         {"function", selection.name},
                         {"stored", plan.ToJson()},
                         {"output_off", true}};
        if (session.Virtual() != nullptr)
            object["measured"] = ToJson(rows);
        context.console.Result(name, object);
    } else {
        context.console.Result(fmt::format("stored in the instrument: {}; output off\n", what) +
                               (rows.empty() ? "" : TableOf(rows, context.console)));
    }
    return AnyFailed(rows) ? Exit::kCheckFailed : Exit::kDone;
}

Exit Save(SaveOptions& options, Context& context)
{
    const Selection selection = CheckUpload(options.signal);
    const Session session(options.connect, context);
    ApplySignal(options.signal, selection);
    return Store("save", options, selection, session, context);
}

/// Takes the steps of the library's own call one by one, because that call returns 1 whatever the outcome.
Exit SaveDefault(SaveOptions& options, Context& context)
{
    options.signal.function = "ecg";
    options.signal.values[Id::kFrequency] = 1.0;
    options.signal.values[Id::kAmplitude] = 2.0;
    const Selection selection = CheckUpload(options.signal);
    const Session session(options.connect, context);
    ZEKAReset();
    ApplySignal(options.signal, selection);
    for (int channel = 0; channel < kChannels; ++channel) {
        Require(ZEKASetOutputLead(channel, 0), fmt::format("lead of channel {}", channel));
        Require(ZEKASetInputImpedanceMode(channel, 0), fmt::format("impedance of channel {}", channel));
    }
    return Store("default", options, selection, session, context);
}

} // namespace

void AddSave(const Command& app, Context& context)
{
    auto options = std::make_shared<SaveOptions>();
    const Command command =
        app.AddCommand("save", "store one period in the instrument, to be played without a computer");
    command.Footer(
        "Functions from sine to ecg-custom (see 'zeka play --help') can be stored, in the place of what the\n"
        "instrument has stored before. It takes up to 20 s; Ctrl-C is heeded when it is done.\n"
        "Example: zeka save ecg --rate 60 --amplitude 2 --sim");
    AddUploadOptions(command, options->signal);
    AddConnectOptions(command, options->connect);
    AddCommonOptions(command, context);
    command.OnUse(
        [options, &context] { context.job = [options, &context] { return Save(*options, context); }; });
}

void AddDefault(const Command& app, Context& context)
{
    auto options = std::make_shared<SaveOptions>();
    const Command command =
        app.AddCommand("default", "reset the instrument and store its default waveform, an ECG");
    command.Footer(
        "The default is function ecg with 60 beats per minute and 2 mV. Leads and input impedances go\n"
        "back to 0.");
    AddConnectOptions(command, options->connect);
    AddCommonOptions(command, context);
    command.OnUse([options, &context] {
        context.job = [options, &context] { return SaveDefault(*options, context); };
    });
}

} // namespace zeka::cli
