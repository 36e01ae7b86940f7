// playback.h (stream) - playback from the instrument's own memory: start, stop, upload of one period.
#pragma once

#include "signal/state.h"

/// Send the start and the stop command; true when it was written whole and answered with 64 bytes.
bool OutputSignal() ZEKA_NEEDS_LOCK;
bool StopOutput() ZEKA_NEEDS_LOCK;

/// Sends one burst of silence (sequence bytes 0xFF 0x00, 0 mV on both channels).
void SendStopPacket() ZEKA_NEEDS_LOCK;

bool WriteWaveformInfo() ZEKA_NEEDS_LOCK;
bool WriteRawData() ZEKA_NEEDS_LOCK;
bool WriteWaveformRawData(unsigned char* data, unsigned int length) ZEKA_NEEDS_LOCK;

/// Computes one period of the selected function: AC in mV, DC codes. The caller owns the arrays (delete[]).
bool GenWaveform(int* count, double** ac, double** dc) ZEKA_NEEDS_LOCK;
