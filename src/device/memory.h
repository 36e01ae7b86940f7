// memory.h (device) - the instrument's non-volatile memory. Flash and EEPROM have no transport in this
// system, so their functions fail at once; only the ROM commands reach the instrument.
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

/// Whether a ROM item is done; puts the status byte of the reply into *status unless status is null.
bool DoReadFromROM(int item, unsigned char* status);
/// Stores the uploaded waveform and polls up to 80 times for completion. False only when the command was not
/// answered. Silence of the instrument ends the wait after 16 s, the time of 80 pauses.
bool WriteToROM(int item);

namespace zeka {

/// While one lives, no thread waits for a store to be done: the store is carried out, and its end is not
/// polled for any longer. For ZEKAFree, which needs the lock that is held during the wait.
class CutRomWaitShort {
public:
    CutRomWaitShort() noexcept;
    ~CutRomWaitShort();
    CutRomWaitShort(const CutRomWaitShort&) = delete;
    CutRomWaitShort& operator=(const CutRomWaitShort&) = delete;
};

} // namespace zeka
