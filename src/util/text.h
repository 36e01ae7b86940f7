// text.h (util) - UTF-8 decoding, trimming in place, version packing. Plain text in, plain text out; no
// state, no lock. Used by link/ (node names), device/ (version) and files/ (paths).
#pragma once

/// Decodes one UTF-8 sequence of at most three bytes to a 16-bit code point. Stores the length of the
/// sequence in *length unless length is null. A null text or an invalid sequence gives 0x22E0 and length 0.
/// Overlong forms and surrogates are accepted.
wchar_t UTF8ToUnicodeChar(const char* s, int* length);

/// Decodes a whole text into out, which has room for one character per byte of s and the terminator. An
/// invalid sequence stores 0x22E0 and ends the text. A null text decodes to the empty one.
void UTF8ToUnicodeBuf(const char* s, wchar_t* out);

/// White space is space, tab, line feed, vertical tab, form feed and carriage return, whatever locale is set.
void StringTrimRight(char* s);
void StringTrimLeft(char* s);
void StringTrim(char* s);

/// Packs "1.0.5.2" to 0x01000502. Missing numbers and a null text count as 0. A number above 255
/// overflows into the one before it.
unsigned int ConvertVersion(const char* text);
