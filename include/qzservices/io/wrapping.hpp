/// @file
/// Word wrapping of warnings and errors, hot links, and a small column printer.
///
/// ioPrintWrapped re-flows a message to the command window's width between the
/// markers the front end recognises ("[\b" ... "]\b \n" for warnings, "{\b" ...
/// "}\b \n" for errors): it breaks at blanks, indents continuation lines like
/// the first word of their line, measures a hot link by its visible text only,
/// expands tabs for measuring only, and drops each unit that a backspace
/// deletes. Everything goes out through uvPrintf and uvPuts, that is CXOut.
/// Main thread only: the switches below are plain data.
#pragma once
#include "qzservices/export.hpp"
#include <cstddef>
#include <string>

QZSERVICES_API_BEGIN

/// The feature "WrapWarningsAndErrors" and the scope switch of the wrapping.
class WrappingFeatureRegistration {
public:
    static char const* const featureName;  ///< "WrapWarningsAndErrors"
    static bool enabled;  ///< cleared while an ioWarningWrappingDisablor lives
    static bool featured;  ///< the feature's value
    static void setFeatured(int value);  ///< any non-zero is true
};

/// For its lifetime, messages go out unwrapped (still between their markers).
class ioWarningWrappingDisablor {
public:
    /// Clears WrappingFeatureRegistration::enabled; the destructor puts back
    /// what it was, so that these nest.
    ioWarningWrappingDisablor();
    ~ioWarningWrappingDisablor();
    ioWarningWrappingDisablor(ioWarningWrappingDisablor const&) = delete;
    ioWarningWrappingDisablor& operator=(ioWarningWrappingDisablor const&) = delete;

private:
    bool saved_;
};

/// `braces` selects the error markers, else those of a warning. Throws
/// boost::numeric::positive_overflow for a length above 0x7fffffff.
void ioPrintWrapped(unsigned short const* text, size_t length, bool braces);
/// Native text; a null text prints nothing. A text that cannot be converted
/// raises error number 17.
void ioPrintWrapped(char const* text, bool braces);

/// Whether CXOut's top sink wants text formatted for the command window.
bool needsFormattingForDisplay();

/// The hot-link pattern's source, as 16-bit text. Tokens 0 and 2 of its
/// matches are the opening and closing tags, token 1 the text that shows.
std::basic_string<unsigned short> hyperlinkPattern();
/// Replaces every hot link and strong span in `text` by its inner text, in
/// place. Null is ignored.
void ioStripHotLinks(char* text);

/// Prints `count` items in `columns` columns, filled down first: a "\n" per
/// row, then uvPrintf(format, item, column) for each item of the row. Returns
/// the rows per column. A zero `columns`, or null items with a count, raises
/// error number 15.
size_t ioColumnPrint(char const* format, size_t count, char** items, size_t columns);

QZSERVICES_API_END
