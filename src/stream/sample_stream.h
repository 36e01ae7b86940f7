// sample_stream.h (stream) - one burst of samples for the instrument, the scaling of its words, the end of
// playback.
#pragma once

#include <cstdint>

#include "signal/state.h"

/// Builds one burst of 700 samples and writes it, or ends a file that has been played once.
void _SendNextPacket() ZEKA_NEEDS_LOCK;

/// DC word, offset binary: -1000 mV = 0, 0 mV = 32768, +1000 mV = 65535; beyond it the end codes.
std::uint16_t ECG_DC_VoltageToDAC(double millivolts);

/// AC attenuation factor: 1.0, or what the respiration's baseline impedance asks for.
double GetAttenuation() ZEKA_NEEDS_LOCK;

/// True when a file that plays once has run past its end.
bool IsEndOfFile() ZEKA_NEEDS_LOCK;

/// End-of-playback checks of standard waveforms and files that play once: tell the application, stop the
/// stream.
void _CheckStandardLoop() ZEKA_NEEDS_LOCK;
void _CheckFileLoop() ZEKA_NEEDS_LOCK;

/// Tells the signal callback that playback has ended: time -1.0, value 0.0.
void StopCallback();
