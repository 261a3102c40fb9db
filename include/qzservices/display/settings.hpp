/// @file
/// The process-wide display settings: the print format, the blank line of
/// loose spacing, the one-shot suppression of the next heading, and the
/// callback that names an array for the one-argument display forms.
/// Plain data without a lock: display runs on the interpreter's thread only.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// The print formats, the values of prtfmt.
enum PrtfmtEnum {
    PrtfmtShort = 1,  ///< fixed, 4 decimals (the default)
    PrtfmtLong = 2,  ///< fixed, 15 decimals (7 for single)
    PrtfmtShortE = 3,  ///< exponent, 4 decimals
    PrtfmtLongE = 4,  ///< exponent, 15 decimals (7 for single)
    PrtfmtShortG = 5,  ///< shortest of fixed and exponent, 5 digits
    PrtfmtLongG = 6,  ///< shortest of fixed and exponent, 15 digits (7 for single)
    PrtfmtHex = 7,  ///< the stored bits in hexadecimal
    PrtfmtTwoDecimal = 8,  ///< fixed, 2 decimals, real parts only
    PrtfmtSign = 9,  ///< one character an element
    PrtfmtRational = 10,  ///< ratio of two whole numbers
    PrtfmtDebug = 11,  ///< array header first, then as PrtfmtShort
    PrtfmtShortEng = 12,  ///< engineering, 4 decimals
    PrtfmtLongEng = 13  ///< engineering, 14 to 12 decimals
};

/// The print format, 1 to 13. Stored unchecked; a display refuses a value
/// outside the range with "CALYX:services:invalidPrintFormat".
extern int prtfmt;
/// "\n" for loose spacing, "" for compact. Written where a blank line belongs,
/// and between a name and its value. Callers change it through GetNewline by
/// writing the first character.
extern char newline[2];

void SetPrtfmt(int format);  ///< stores the print format unchecked
int GetPrtfmt();  ///< the print format
/// The spacing text, writable: GetNewline()[0] = '\0' gives compact spacing,
/// GetNewline()[0] = '\n' loose spacing again.
char* GetNewline();

/// The next numeric display writes no heading; the one after writes one
/// again. (The single p is the interface's own spelling.)
void ioSupressName();
///@{
/// The name of an array for the one-argument forms of the printers. Must be set
/// before the first one-argument display; until then ioGetArrayName raises
/// "CALYX:services:noArrayNameCallback".
void ioSetArrayNameCallback(char const* (*callback)(vxArray_tag const*));
char const* ioGetArrayName(vxArray_tag const* array);  ///< the callback's name for `array`
///@}

QZSERVICES_API_END
