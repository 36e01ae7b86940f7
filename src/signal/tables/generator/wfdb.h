// wfdb.h (make_tables) - official IEC 60601-2-27 records, each a text header and a file of samples.
#pragma once

#include "signal/tables/generator/ec13.h"
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace zeka::maketables {

/// The header of a record with one signal.
struct WfdbHeader {
    std::string record;
    double rate_hz = 0;
    std::size_t samples = 0;
    std::string data_file;
    int format = 0;              // 16 or 212
    std::size_t data_offset = 0; // bytes before the first sample
    double adc_per_mv = 0;
    int baseline = 0; // code of 0 mV
    int first_code = 0;
    int checksum = 0; // sum of all codes, 16 bits
};

/// Reads a header. Throws InputError, whose text begins with `name`, for anything but
/// one signal of format 16 or 212.
WfdbHeader ParseWfdbHeader(const std::string& text, const std::string& name);

/// The codes in the bytes of a data file behind the offset. Format 16: two bytes each, low byte
/// first; 212: two codes of 12 bits in three bytes. Throws InputError when the bytes are not
/// exactly those of `samples` codes.
std::vector<int> DecodeWfdb(std::span<const std::uint8_t> bytes, int format, std::size_t samples,
                            const std::string& name);

/// One record of `folder` in uV. Throws InputError unless name, rate, length, first code, checksum and
/// range are those of `record`.
Waveform ImportRecord(const std::filesystem::path& folder, const Ec13Record& record);

} // namespace zeka::maketables
