// The printf formats and column widths of the number displays, one row per
// print format (row = prtfmt - 1). An empty format is never printed: those
// formats print some other way. The widths are settled values, not derived
// from the formats; where one differs from its format's field (row 7, the 10
// in row 10 of widthComplexImagDouble) that is intended.
#pragma once

namespace display_tables {

int const kRows = 13;

extern char const* const fmtIntSmall[kRows];
extern char const* const fmtIntLarge[kRows];
extern char const* const fmtRealDouble[kRows];
extern char const* const fmtRealSingle[kRows];
extern char const* const fmtComplexRealDouble[kRows];
extern char const* const fmtComplexImagDouble[kRows];
extern char const* const fmtComplexRealSingle[kRows];
extern char const* const fmtComplexImagSingle[kRows];

extern int const widthIntSmall[kRows];
extern int const widthIntLarge[kRows];
extern int const widthRealDouble[kRows];
extern int const widthRealSingle[kRows];
extern int const widthComplexRealDouble[kRows];
extern int const widthComplexImagDouble[kRows];
extern int const widthComplexRealSingle[kRows];
extern int const widthComplexImagSingle[kRows];

} // namespace display_tables
