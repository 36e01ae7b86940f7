// firmware.h - what the instrument stores of the commands it receives, and its replies. No clock,
// no input or output: one whole command in, one reply out. Used by the instrument's thread; a
// snapshot hands out InstrumentState.
#pragma once

#include "sim/framer.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zeka::sim {

/// The information page and the reply to the module query.
struct Identity {
    std::array<std::uint8_t, 4> model_code{'Z', 'E', 0x02, 0x3A};
    std::uint8_t serial_block = 21;
    std::uint16_t serial_number = 345;
    std::uint8_t hw_setting0 = 0x11;
    std::uint8_t hw_setting1 = 0x12;
    std::uint8_t stored_info0 = 0x13;
    std::uint8_t stored_info1 = 0x14;
    std::uint8_t query_info = 0x15;
    std::uint8_t letter = 'Z'; // another letter or another model makes it another kind of device
};

/// The control block at power-up: output off, 40000 samples/s, leads at 0. Every byte without a known meaning
/// has a distinct value, so that a host that does not preserve one is detected.
Block PowerUpControlBlock();

struct Respiration {
    std::uint8_t frequency = 0;
    std::uint8_t variation = 0;
    std::uint8_t ratio = 0;
    std::uint8_t baseline = 0;
    bool apnea = false;
};

struct WaveformInfo {
    unsigned samples = 0; // of one period
    double frequency_hz = 0.0;
    unsigned function = 0;
    unsigned pulse_width_byte = 0;
    unsigned noise_selection = 0;
    double noise_amplitude = 0.0;
    int pacing_amplitude_mv = 0;
    unsigned pacing_duration_ms = 0;
    unsigned pacing_rate = 0;
};

struct OutputRecord {
    Block bytes{};
    unsigned sample_rate = 0; // per second
    /// Thousandths of a sample by which a period is longer than its whole samples.
    unsigned fraction_permille = 0;
};

struct InstrumentState {
    bool plugged = false;
    int port = -1;
    std::string node;     // "/dev/ttyACM3"; empty while unplugged
    std::string terminal; // "/dev/pts/7": the same terminal under its own name

    bool output_on = false;      // the host is to stream
    bool memory_playing = false; // the uploaded period is being played
    unsigned sample_rate = 0;    // samples per second, from the control block

    Block control_block{};
    Block information_page{};
    std::uint8_t enabled_mask = 0;
    std::uint8_t lead_mask = 0;
    bool calibration = false;
    std::uint16_t dac_first = 0;
    std::uint16_t dac_second = 0;
    unsigned status_resets = 0;
    Respiration respiration;
    std::optional<WaveformInfo> waveform;
    std::vector<std::uint8_t> image; // uploaded slots, 4 bytes a sample, as far as received
    std::optional<OutputRecord> output_record;
    std::map<unsigned, unsigned> rom_stores;  // item -> times stored
    std::vector<std::uint8_t> rom_image;      // the image at the last store of item 1
    std::optional<WaveformInfo> rom_waveform; // its description
};

struct Reply {
    Block bytes{};
    std::size_t size = 0; // 0: the command has no reply
};

class Firmware {
public:
    /// `rom_busy_polls`: number of status reads after a store that report "not yet".
    Firmware(const Identity& identity, const Block& control_block, unsigned rom_busy_polls);

    /// Clears what a loss of power clears: everything but the information page and the ROM.
    void PowerUp();

    Reply Handle(const Frame& frame);

    void SetRomNeverDone(bool never) { rom_never_done_ = never; }

    InstrumentState& State() { return state_; }
    [[nodiscard]] const InstrumentState& State() const { return state_; }

private:
    Reply Ping() const;
    Reply Page(const Frame& frame);
    Reply ControlBlock(const Frame& frame);
    Reply Channels(const Frame& frame);
    Reply RomStatus(const Frame& frame);
    void KeepRespiration(Bytes p);
    void KeepWaveformInfo(Bytes p);
    void KeepWaveformData(Bytes p);
    void KeepOutputRecord(const Frame& frame);
    void Store(unsigned item);

    Identity identity_;
    Block power_up_block_;
    unsigned rom_busy_polls_;
    unsigned rom_polls_left_ = 0;
    bool rom_never_done_ = false;
    InstrumentState state_;
};

} // namespace zeka::sim
