// Pages of columns that fit the window, and the two ways a display ends
// early at a row start: the more prompt's stop request and an interrupt.
#include "display/display_support.hpp"
#include "qzservices/orrery/InterruptException.hpp"

#include <cstdio>

using namespace qztest;

namespace {

// The text of one page of a 1-by-n row shown with "%6ld" (values c % 10).
std::string sixPlaceRow(size_t first, size_t stop) {
    std::string row;
    char field[16];
    for (size_t c = first; c < stop; ++c) {
        std::snprintf(field, sizeof field, "%6d", static_cast<int>(c % 10));
        row += field;
    }
    return row + "\n";
}

ArrayPtr digitsRow(size_t n) {
    ArrayPtr a(vxCreateDoubleMatrix(1, n, vxREAL));
    for (size_t c = 0; c < n; ++c) vxGetPr(a.get())[c] = static_cast<double>(c % 10);
    return a;
}

} // namespace

class DisplayPaging : public DisplayTest {};

TEST_F(DisplayPaging, ARowOfAThousandInEightyColumnsTakesThirteenColumnsAPage) {
    std::string expected = "\nA =\n\n";
    for (size_t first = 0; first < 1000; first += 13) {
        size_t const stop = first + 13 < 1000 ? first + 13 : 1000;
        expected += "  Columns " + std::to_string(first + 1) + " through " + std::to_string(stop) + "\n\n" +
                    sixPlaceRow(first, stop) + "\n";
    }
    EXPECT_EQ(show("A", digitsRow(1000).get()), expected);
    // A last page of one column says "Column": 76 pages of 13, then one.
    std::string const out = show("A", digitsRow(989).get());
    std::string const tail = "  Columns 976 through 988\n\n" + sixPlaceRow(975, 988) + "\n  Column 989\n\n     8\n\n";
    ASSERT_GE(out.size(), tail.size());
    EXPECT_EQ(out.substr(out.size() - tail.size()), tail);
    // int64 is 21 places wide: 3 a page, and 1000 = 3 * 333 + 1.
    std::string const w = show("W", ArrayPtr(zeros(1, 1000, vxINT64_CLASS)).get());
    std::string const last = "  Column 1000\n\n                    0\n\n";
    EXPECT_EQ(w.find("\nW =\n\n  Columns 1 through 3\n\n"), 0u);
    EXPECT_EQ(w.substr(w.size() - last.size()), last);
}

TEST_F(DisplayPaging, TheWindowIsAskedAfreshForEveryArray) {
    // The window's columns, the array, its text, and whether compact.
    std::tuple<size_t, ArrayPtr, std::string, bool> const rows[] = {
        {80, digitsRow(13), "\nA =\n\n" + sixPlaceRow(0, 13) + "\n", false},
        {0, digitsRow(40), "\nA =\n\n" + sixPlaceRow(0, 40) + "\n", false},  // no columns: one page
        {200, digitsRow(20), "\nA =\n\n" + sixPlaceRow(0, 20) + "\n", false},
        {61, digitsRow(20),  // (61 - 1) / 6 = 10 a page
         "\nA =\n\n  Columns 1 through 10\n\n" + sixPlaceRow(0, 10) + "\n  Columns 11 through 20\n\n" + sixPlaceRow(10, 20) + "\n",
         false},
        // Narrower than a column: one column a page.
        {5, doubles({{1.5, 2.5}}), "\nA =\n\n  Column 1\n\n    1.5000\n\n  Column 2\n\n    2.5000\n\n", false},
        {5, doubles({{1.5, 2.5}}), "A =\n  Column 1\n    1.5000\n  Column 2\n    2.5000\n", true},
    };
    for (auto const& [columns, array, expected, compact] : rows) {
        ioSetNumWindowColumns(columns);
        GetNewline()[0] = compact ? '\0' : '\n';
        EXPECT_EQ(show("A", array.get()), expected) << columns << " columns";
    }
}

class DisplayStop : public DisplayTest {};

TEST_F(DisplayStop, AStopRequestEndsTheDisplayAtTheNextRowStart) {
    ArrayPtr a = doubles({{1, 2}, {3, 4}, {5, 6}});
    {
        PushedTrigger sink("     2");
        ioPrintArray("A", a.get());
        EXPECT_EQ(sink.buffer->text, "\nA =\n\n     1     2\n\n");
        EXPECT_FALSE(services::io::getStopPrintingFlag());  // consumed by the display
    }
    {
        // In the sign format it ends at the next element.
        SetPrtfmt(PrtfmtSign);
        PushedTrigger sink("+");
        ioPrintArray("A", doubles({{1, -1}, {1, 1}}).get());
        EXPECT_EQ(sink.buffer->text, "\nA =\n\n+\n");
        SetPrtfmt(PrtfmtShort);
    }
    // A stale request is cleared at the start.
    services::io::setStopPrintingFlag(true);
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n     1     2\n     3     4\n     5     6\n\n");
}

TEST_F(DisplayStop, AnInterruptLeavesAtARowStartAsAnException) {
    ArrayPtr a = doubles({{1, 2}, {3, 4}, {5, 6}});
    {
        PushedTrigger sink("     4", true);
        EXPECT_THROW(ioPrintArray("A", a.get()), Orrery::System::InterruptException);
        // Row 2 was finished; the check at the start of row 3 threw.
        EXPECT_EQ(sink.buffer->text, "\nA =\n\n     1     2\n     3     4\n");
    }
    EXPECT_EQ(uvIsInterruptPending(), 0);
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n     1     2\n     3     4\n     5     6\n\n");

    // A long character row is checked after each piece of 8192 units, so an
    // interrupt during the first piece leaves after it.
    std::string const row(20000, 'x');
    PushedTrigger sink("xxxx", true);
    EXPECT_THROW(ioPrintArray(nullptr, text(row.c_str()).get()), Orrery::System::InterruptException);
    EXPECT_EQ(sink.buffer->text, std::string(8192, 'x'));
}
