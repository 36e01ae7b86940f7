// text.h (util) - UTF-8 decoding, trimming in place, version packing. Plain text in, plain text out; no
// state, no lock. Used by link/ (node names), device/ (version) and files/ (paths).
#pragma once

/// One UTF-8 sequence of at most three bytes, as a 16-bit code point; its length goes to *length unless that
/// is null. A null text and every sequence that is none give 0x22E0 and length 0. Overlong forms and
/// surrogates pass.
wchar_t UTF8ToUnicodeChar(const char* s, int* length);

/// Decodes a whole text; out has room for one character per byte of s and the terminator. A sequence that
/// cannot be decoded leaves its 0x22E0 and ends the text there. A null text decodes to the empty one.
void UTF8ToUnicodeBuf(const char* s, wchar_t* out);

/// White space is space, tab, line feed, vertical tab, form feed and carriage return, whatever locale is set.
void StringTrimRight(char* s);
void StringTrimLeft(char* s);
void StringTrim(char* s);

/// "1.0.5.2" to 0x01000502. Missing numbers count as 0, a null text as 0; a number above 255 spills into the
/// one before.
unsigned int ConvertVersion(const char* text);
