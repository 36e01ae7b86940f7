// memory.h (device) - the instrument's non-volatile memory. Flash and EEPROM have no transport in this
// system: their primitives fail at once; only the ROM commands reach the instrument.
#pragma once

bool FlashErase(unsigned char area, unsigned int address);
int DoReadEEPROM(unsigned int address, unsigned char area, unsigned short* words, unsigned long count);
int DoWriteEEPROM(unsigned int address, unsigned char area, unsigned short* words, unsigned long count);
int DoReadEEPROM(unsigned int address, unsigned char area, unsigned char* bytes, unsigned long count);
int DoWriteEEPROM(unsigned int address, unsigned char area, unsigned char* bytes, unsigned long count);
int DoWriteEEPROM(unsigned int address, unsigned short* words);
int SetDcOffsetCalibration(unsigned char channel, int value);
int ReadDCVariableCalibrationData(unsigned short* words);
int WriteDCVariableCalibrationData(int index, unsigned short value);
int ReadECGMfgInfo(unsigned char* buffer, int length);
bool WriteECGMfgInfo(unsigned char* buffer, int length);

/// Asks whether a ROM item is done; the status byte goes to *status.
bool DoReadFromROM(int item, unsigned char* status);
/// Stores the uploaded waveform and waits up to 80 polls for completion; false only when the request went
/// unanswered. An instrument that falls silent ends the wait after the 16 s of 80 pauses.
bool WriteToROM(int item);

namespace zeka {

/// While one lives, nobody waits for a store to be done: it is carried out, but whether it was is not asked
/// any longer. ZEKAFree needs the lock that is held meanwhile.
class CutRomWaitShort {
public:
    CutRomWaitShort() noexcept;
    ~CutRomWaitShort();
    CutRomWaitShort(const CutRomWaitShort&) = delete;
    CutRomWaitShort& operator=(const CutRomWaitShort&) = delete;
};

} // namespace zeka
