#!/usr/bin/env python3
"""check_protocol.py SOURCE - docs/protocol.md tells the packets as the code lays them out: offsets, opcodes and lengths.

Reads the constants out of the sources, where most are private to a file. A place (k...At) that the page does not tell is a
fault too."""

import re
import sys
from pathlib import Path

top = Path(sys.argv[1])
FILES = ("device/packets.h", "device/memory.cpp", "stream/burst.h", "stream/upload.cpp", "stream/playback.cpp",
         "signal/respiration_commands.cpp")
NOT_OF_THE_PAGE = ("memory::kMfgInfoAt", "memory::kCalibrationAt", "rom::kGroupAt")  # memory areas; byte 0 as everywhere
complaints = []


def value_of(text, known):
    """A number, or a list of bytes."""
    if text.startswith("{"):
        return [value_of(item.strip(), known) for item in text.strip("{}").split(",") if item.strip()]
    if re.fullmatch(r"'.'", text):
        return ord(text[1])
    return known.get(text, int(text, 0) if re.fullmatch(r"0x[0-9A-Fa-f]+|\d+", text) else None)


def constants(path):
    room, found, known = Path(path).stem, {}, {"kRead": 0x00, "kWrite": 0xFF}
    text = re.sub(r"//.*", "", (top / "src" / path).read_text())
    for space, end, name, value, braced in re.findall(
            r"^namespace (\w+) \{|^(\})|constexpr [^=;{(]*?\b(k\w+)\s*(?:=\s*([^;]+)|(\{[^;]*\}));", text, flags=re.M):
        if space or end:
            room = Path(path).stem if end or space == "zeka" else space
        else:
            found[f"{room}::{name}"] = known[name] = value_of((braced or value).strip(), known)
    return found


CODE = {}
for file in FILES:
    CODE.update(constants(file))
used = set()


def code(name):
    used.add(name)
    if CODE.get(name) is None:
        sys.exit(f"check_protocol: the sources have no number {name}; correct the list here")
    return CODE[name]


def sections():
    """Name of a section, or of a packet in bold within one, to its lines."""
    found, name = {}, ""
    for line in (top / "docs/protocol.md").read_text().splitlines():
        heading = re.match(r"#+ (.*)|\*\*(.*?)\*\*", line)
        if heading:
            name = heading[1] or heading[2]
        found.setdefault(name, []).append(line)
    return found


PAGE = sections()


def says(section, text):
    if text not in re.sub(r"\s+", " ", " ".join(PAGE.get(section, []))):
        complaints.append(f"{section}: should say: {text}")


def row(section, label, *cells):
    """The row that has this label in it begins with these cells."""
    rows = [[cell.strip() for cell in line.strip("| ").split(" |")] for line in PAGE.get(section, []) if line.startswith("|")]
    rows = [cut for cut in rows if any(re.search(label, cell) for cell in cut)]
    if not rows or all(cut[: len(cells)] != list(cells) for cut in rows):
        complaints.append(f"{section}, {label}: should be {' | '.join(cells)}, is {rows}")


def span(name, count=1):
    """Bytes as the page writes them: 5, or 5, 6, or 5 to 8."""
    first = code(name)
    return {1: f"{first}", 2: f"{first}, {first + 1}"}.get(count, f"{first} to {first + count - 1}")


def row_bytes(name, length=0):
    values = code(name)
    return " ".join(f"{byte:02X}" for byte in values + [0] * (length - len(values)))


def byte(name):
    return f"{code(name):02X}"


def streaming():
    row("Sample request", "^0$", "0", byte("sample_request::kByte0"))
    row("Sample request", "^1$", "1", byte("sample_request::kByte1"))
    packets, length = code("burst::kBurstPackets"), code("sample_packet::kBytes")
    says("Burst", f"{packets} sample packets in one piece, {packets * length} bytes")
    says("What holds for all exchanges", f"| 01 | sample packet | {length}, {packets} in a row | none |")
    row("Sample packet", "samples in the packet", "5", byte("sample_packet::kSamples"))
    row("Sample packet", "sequence number", span("sample_packet::kSequenceAt", 2))
    slot, step = code("sample_packet::kSlotsAt"), code("sample_packet::kSlotBytes")
    row("Sample packet", "DC word", f"{slot} + {step}k, {slot + 1} + {step}k")
    row("Sample packet", "AC word", f"{slot + 2} + {step}k, {slot + 3} + {step}k")
    says("Sample packet", f"sequence number {code('playback::kSilentSequence'):04X}")


def identity():
    says("Identity ping", f"Host to instrument: `{row_bytes('identity::kPing')}`")
    says("Identity ping", f"The reply has {code('identity::kReplyBytes')} bytes")
    says("What holds for all exchanges", f"| 55 | identity ping | 3 | {code('identity::kReplyBytes')} |")
    row("Identity ping", "ZZE", span("identity::kReplyMarkerAt", 3), row_bytes("identity::kMarker"))
    row("Identity ping", "^model code", span("identity::kModelCodeAt", 4))
    row("Identity ping", "serial block", span("identity::kSerialBlockAt"))
    row("Identity ping", "serial number", span("identity::kSerialNumberAt", 2))
    says("Module query", f"`{row_bytes('identity::kModuleQuery')}`")
    says("Module query", f"reply of {code('identity::kModuleReplyBytes')} bytes, of which byte {span('identity::kModuleInfoAt')}")
    says("What holds for all exchanges", f"| AA | module query | 2 | {code('identity::kModuleReplyBytes')} |")


def information_page():
    name = "Information page"
    says(name, f"Read with the 12 bytes `{row_bytes('page::kReadInformation', 12)}`")
    says(name, f"64 bytes, `{row_bytes('page::kReadBeforeWrite')}` and zeros")
    says(name, f"FF in byte {span('page::kDirectionAt')}; the reply confirms in byte {span('page::kStatusAt')}")
    row(name, "letter Z", span("page::kDataAt"))
    row(name, "model code", span("page::kModelCodeAt", 4))
    row(name, "serial block", span("page::kSerialBlockAt"))
    row(name, "serial number", span("page::kSerialNumberAt", 2))
    row(name, "hardware settings", f"{span('page::kHwSetting0At')}, {span('page::kHwSetting1At')}")
    row(name, "stored information", f"{span('page::kStoredInfo0At')}, {span('page::kStoredInfo1At')}")


def control_block():
    name, block = "Control block", "control_block::"
    row(name, "direction", span("packets::kDirectionAt"))
    row(name, "output state", span(block + "kOutputStateAt"), "output state",
        f"{byte(block + 'kFunctionSelected')} on: the host streams; {byte(block + 'kNoFunction')} off")
    row(name, "sample rate", span(block + "kSampleRateAt", 2))
    at, size = code(block + "kChannelsAt"), code(block + "kChannelBytes")
    row(name, "channel c", f"{at} + {size}c to {at + size - 1} + {size}c")
    row("Output record", "four channels", f"{at} to {at + 4 * size - 1}")
    a, b, c = (span(f"{block}kImpedance{network}At") for network in "ABC")
    on, off = byte(block + "kFlagOn"), byte(block + "kFlagOff")
    row(name, "impedance network", f"{a}, {b}, {c}", "input impedance network",
        f"{on} in byte {a}: mode 1, in byte {b}: mode 2, in byte {c}: mode 3; none: mode 0")
    row(name, "DC source", span(block + "kDcSourceAt"), "DC source",
        f"{byte(block + 'kDcNone')} none, {byte(block + 'kDcPlus300')} +300 mV, {byte(block + 'kDcMinus300')} -300 mV, "
        f"{byte(block + 'kDcVariable')} variable: the DC word of the samples")
    row(name, "^lead$", span(block + "kLeadAt"), "lead", f"{on}: lead 0; {off}: any other")
    row(name, "signal ground", span(block + "kSignalGroundAt"))


def hardware():
    name, group, status = "Channel state", byte("hardware::kGroup"), span("packets::kStatusAt")
    write, read = f"{group} {byte('packets::kWrite')}", f"{group} {byte('packets::kRead')}"
    row(name, "^read$", "read", f"`{read} {byte('hardware::kChannelState')} 00 00 00`")
    row(name, "^write$", "write", f"`{write} {byte('hardware::kChannelState')} 00` enabled, leads")
    says(name, f"FF in byte {status}; enabled in byte {span('hardware::kEnabledMaskAt')}, "
               f"leads in byte {span('hardware::kLeadMaskAt')}")
    name = "Reset, calibration mode, converters"
    says(name, f"the command and FF in byte {status}")
    row(name, "reset", "reset the hardware's status", f"{write} {byte('hardware::kReset')}")
    row(name, "calibration", "calibration mode", f"{write} {byte('hardware::kCalibrationMode')}",
        f"byte {span('hardware::kCalibrationOnAt')}: 01 on, 00 off")
    row(name, "codes straight", "codes straight to the converters", f"{write} {byte('hardware::kDirectDac')}",
        f"bytes {span('hardware::kFirstDacAt', 2)} the first; {span('hardware::kSecondDacAt', 2)} the second")


def respiration():
    name, command = "Respiration", "respiration_command::"
    says(name, f"{code(command + 'kBytes')} bytes.")
    says("What holds for all exchanges", f"| EA 01 | respiration | {code(command + 'kBytes')} | 64 |")
    row(name, "^0 to 2$", "0 to 2", row_bytes(command + "kHead"))
    row(name, "rate code", span(command + "kFrequencyAt"))
    row(name, "variation", span(command + "kVariationAt"))
    row(name, "ratio", span(command + "kRatioAt"))
    row(name, "baseline", span(command + "kBaselineAt"))
    row(name, "apnea", span(command + "kApneaAt"))
    says(name, f"confirms in byte {span(command + 'kStatusAt')}; the host leaves {code(command + 'kPauseMs')} ms")


def upload():
    name, info = "Waveform information", "info_packet::"
    row(name, "^0 to 2$", "0 to 2", row_bytes(info + "kHead"))
    row(name, "samples in the period", span(info + "kSamplesAt", 2))
    row(name, "frequency", span(info + "kFrequencyAt", 2))
    row(name, "output function", span(info + "kFunctionAt"))
    row(name, "pulse width", span(info + "kPulseWidthAt"))
    row(name, "noise: ", span(info + "kNoiseAt", 2))
    row(name, "noise in", span(info + "kNoiseAmplitudeAt", 2))
    row(name, "pacing pulses", span(info + "kPacingAmplitudeAt", 2))
    row(name, "their width", span(info + "kPacingDurationAt", 2))
    row(name, "their rate", span(info + "kPacingRateAt", 2))
    name, data = "Waveform data", "data_packet::"
    says(name, f"{code(data + 'kSamples')} samples, answered with the same 64 bytes but for FF in byte {span(data + 'kStatusAt')}")
    row(name, "^0 to 2$", "0 to 2", row_bytes(data + "kHead"))
    row(name, "index", span(data + "kIndexAt", 2))
    row(name, "samples as in", span(data + "kSlotsAt", code(data + "kSamples") * code(data + "kSlotBytes")))


def playback():
    name, record = "Output record", "output_control::"
    row(name, "^0 to 2$", "0 to 2", f"{byte(record + 'kGroup')} {byte('packets::kWrite')} 00")
    row(name, "play", span(record + "kOutputOnAt"))
    row(name, "samples per second", span(record + "kSampleRateAt", 2))
    row(name, "thousandths", span(record + "kFractionAt", 2))
    row(name, "^04$", span(record + "kFormatAt"), byte(record + "kFormat"))
    says(name, f"`{row_bytes('playback::kStopRequest')}`")
    for other in ("playback::kOutputOnAt", "upload::kOutputOnAt"):
        if code(other) != code(record + "kOutputOnAt"):
            complaints.append(f"{other} is not {record}kOutputOnAt")
    item = code("rom::kItemAt")
    for request, key in (("kStoreRequest", "^store$"), ("kStatusRequest", "is it done")):
        CODE["with item 1"] = [*code(f"rom::{request}")[:item], 1, *code(f"rom::{request}")[item + 1:]]
        row("Store", key, key.strip("^$") if key.startswith("^") else "is it done?", f"`{row_bytes('with item 1')}`")
    says("Store", f"FF in byte {span('rom::kDoneAt')} when it is, status in byte {span('rom::kStatusAt')}")
    says("Store", f"every {code('rom::kPollPauseMs')} ms, at most {code('rom::kMaxPolls')} times")


for check in (streaming, identity, information_page, control_block, hardware, respiration, upload, playback):
    check()
complaints += [f"the page does not tell {name}" for name in CODE
               if re.search(r"::k\w+At$", name) and name not in used and name not in NOT_OF_THE_PAGE]
for complaint in complaints:
    print(complaint)
print(f"{len(used)} constants of the code compared with docs/protocol.md, {len(complaints)} complaints")
sys.exit(bool(complaints))
