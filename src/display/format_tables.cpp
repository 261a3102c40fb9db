// The printf formats and column widths of the number displays.
#include "display/format_tables.hpp"

namespace display_tables {

// Rows: short, long, short e, long e, short g, long g, hex, two decimals,
// sign, rational, debug, short engineering, long engineering.

char const* const fmtIntSmall[kRows] = {
    "%6ld", "%6ld", "%6ld", "%6ld", "%6ld", "%6ld", "   %08lx%08lx", " %13.2f", "", "%6ld", "%6ld", "", ""};
char const* const fmtIntLarge[kRows] = {
    "%12ld", "%12ld", "%12ld", "%12ld", "%12ld", "%12ld", "   %08lx%08lx", " %13.2f", "", "%12ld", "%12ld", "", ""};
char const* const fmtRealDouble[kRows] = {
    "%10.4f", "%20.15f", "%13.4e", "%26.15e", "%13.5g", "%26.15g", "   %08lx%08lx", " %13.2f", "", "%13.4e",
    "%10.4f", "", ""};
char const* const fmtRealSingle[kRows] = {
    "%10.4f", "%12.7f", "%12.4e", "%16.7e", "%13.5g", "%16.7g", "", " %13.2f", "", "%13.4e", "%10.4f", "", ""};
char const* const fmtComplexRealDouble[kRows] = {
    "%9.4f", "%19.15f", "%13.4e", "%27.15e", "%13.5g", "%27.15g", "   %08lx%08lx", " %13.2f", "", "%13.4e",
    "%9.4f", "", ""};
char const* const fmtComplexImagDouble[kRows] = {
    "%7.4f", "%18.15f", "%11.4e", "%22.15e", "%11.5g", "%22.15g", "   %08lx%08lx", "", "", "%11.4e", "%7.4f", "", ""};
char const* const fmtComplexRealSingle[kRows] = {
    "%9.4f", "%11.7f", "%12.4e", "%15.7e", "%12.5g", "%14.7g", "", " %13.2f", "", "%13.4e", "%9.4f", "", ""};
char const* const fmtComplexImagSingle[kRows] = {
    "%7.4f", "%10.7f", "%10.4e", "%14.7e", "%11.5g", "%13.7g", "", "", "", "%10.4e", "%7.4f", "", ""};

int const widthIntSmall[kRows] = {6, 6, 6, 6, 6, 6, 19, 14, 0, 6, 6, 16, 25};
int const widthIntLarge[kRows] = {12, 12, 12, 12, 12, 12, 19, 14, 0, 12, 12, 16, 25};
int const widthRealDouble[kRows] = {10, 20, 13, 26, 13, 26, 19, 14, 0, 15, 10, 16, 25};
int const widthRealSingle[kRows] = {10, 12, 12, 16, 13, 16, 11, 14, 0, 15, 10, 16, 15};
int const widthComplexRealDouble[kRows] = {9, 19, 13, 27, 13, 27, 19, 14, 0, 15, 9, 16, 25};
int const widthComplexImagDouble[kRows] = {7, 18, 11, 22, 11, 22, 17, 0, 0, 11, 10, 13, 22};
int const widthComplexRealSingle[kRows] = {9, 11, 12, 15, 12, 14, 11, 14, 0, 15, 9, 16, 15};
int const widthComplexImagSingle[kRows] = {7, 10, 10, 14, 11, 13, 9, 0, 0, 10, 7, 13, 15};

} // namespace display_tables
