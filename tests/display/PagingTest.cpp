// Pages of columns that fit the window, and the two ways a display ends
// early at a row start: the more prompt's stop request and an interrupt.
#include "display/display_support.hpp"
#include "display/trigger_sink.hpp"
#include "qzservices/io/CXSink.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/orrery/InterruptException.hpp"

#include <boost/make_shared.hpp>

#include <cstdint>
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
    ArrayPtr a = digitsRow(1000);
    std::string expected = "\nA =\n\n";
    for (size_t first = 0; first < 1000; first += 13) {
        size_t const stop = first + 13 < 1000 ? first + 13 : 1000;
        char heading[64];
        std::snprintf(heading, sizeof heading, "  Columns %zu through %zu\n\n", first + 1, stop);
        expected += heading + sixPlaceRow(first, stop) + "\n";
    }
    std::string const out = show("A", a.get());
    EXPECT_EQ(out, expected);
    EXPECT_EQ(out.find("  Columns 1 through 13\n\n     0     1     2"), 6u);
    EXPECT_NE(out.find("  Columns 989 through 1000\n"), std::string::npos);
}

TEST_F(DisplayPaging, ALastPageOfOneColumnSaysColumn) {
    ArrayPtr a = digitsRow(989);  // 76 pages of 13, then one column
    std::string const out = show("A", a.get());
    std::string const tail = "  Columns 976 through 988\n\n" + sixPlaceRow(975, 988) + "\n  Column 989\n\n     8\n\n";
    ASSERT_GE(out.size(), tail.size());
    EXPECT_EQ(out.substr(out.size() - tail.size()), tail);

    // int64 is 21 places wide: 3 a page, and 1000 = 3 * 333 + 1.
    ArrayPtr wide(vxCreateNumericMatrix(1, 1000, vxINT64_CLASS, vxREAL));
    std::string const w = show("W", wide.get());
    EXPECT_EQ(w.find("\nW =\n\n  Columns 1 through 3\n\n"), 0u);
    std::string const last = "  Column 1000\n\n                    0\n\n";
    EXPECT_EQ(w.substr(w.size() - last.size()), last);
}

TEST_F(DisplayPaging, AnArrayThatFitsHasNoPageHeading) {
    ArrayPtr a = digitsRow(13);
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n" + sixPlaceRow(0, 13) + "\n");
}

TEST_F(DisplayPaging, AWindowNarrowerThanAColumnShowsOneColumnAPage) {
    ioSetNumWindowColumns(5);
    ArrayPtr a = doubles({{1.5, 2.5}});
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n  Column 1\n\n    1.5000\n\n  Column 2\n\n    2.5000\n\n");
    compact();
    EXPECT_EQ(show("A", a.get()), "A =\n  Column 1\n    1.5000\n  Column 2\n    2.5000\n");
}

TEST_F(DisplayPaging, AWindowOfNoColumnsGivesOnePage) {
    ioSetNumWindowColumns(0);
    ArrayPtr a = digitsRow(40);
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n" + sixPlaceRow(0, 40) + "\n");
}

TEST_F(DisplayPaging, TheWindowIsAskedAfreshForEveryArray) {
    ArrayPtr a = digitsRow(20);
    ioSetNumWindowColumns(200);
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n" + sixPlaceRow(0, 20) + "\n");
    ioSetNumWindowColumns(61);  // (61 - 1) / 6 = 10 a page
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n  Columns 1 through 10\n\n" + sixPlaceRow(0, 10) +
                                      "\n  Columns 11 through 20\n\n" + sixPlaceRow(10, 20) + "\n");
}

class DisplayStop : public DisplayTest {};

TEST_F(DisplayStop, AStopRequestEndsTheDisplayAtTheNextRowStart) {
    ArrayPtr a = doubles({{1, 2}, {3, 4}, {5, 6}});
    PushedTrigger sink("     2");
    ioPrintArray("A", a.get());
    EXPECT_EQ(sink.buffer->text, "\nA =\n\n     1     2\n\n");
    EXPECT_FALSE(services::io::getStopPrintingFlag());  // consumed by the display
}

TEST_F(DisplayStop, AStaleStopRequestIsClearedAtTheStart) {
    ArrayPtr a = doubles({{1}, {2}});
    services::io::setStopPrintingFlag(true);
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n     1\n     2\n\n");
}

TEST_F(DisplayStop, StopInTheSignFormatEndsAtTheNextElement) {
    ArrayPtr a = doubles({{1, -1}, {1, 1}});
    SetPrtfmt(PrtfmtSign);
    PushedTrigger sink("+");
    ioPrintArray("A", a.get());
    SetPrtfmt(PrtfmtShort);
    EXPECT_EQ(sink.buffer->text, "\nA =\n\n+\n");
}

TEST_F(DisplayStop, AnInterruptLeavesAtARowStartAsAnException) {
    ArrayPtr a = doubles({{1, 2}, {3, 4}, {5, 6}});
    PushedTrigger sink("     4", true);
    EXPECT_THROW(ioPrintArray("A", a.get()), Orrery::System::InterruptException);
    // Row 2 was finished; the check at the start of row 3 threw.
    EXPECT_EQ(sink.buffer->text, "\nA =\n\n     1     2\n     3     4\n");
    EXPECT_EQ(uvIsInterruptPending(), 0);
    // The next display is whole and named again.
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n     1     2\n     3     4\n     5     6\n\n");
}

TEST_F(DisplayStop, EveryRowStartChecksForAnInterrupt) {
    ArrayPtr a = doubles({{1, 2}, {3, 4}, {5, 6}});
    unsigned long long const before = uvInterruptCheckCount();
    show("A", a.get());
    EXPECT_EQ(uvInterruptCheckCount() - before, 3u);
}

TEST_F(DisplayStop, ALongCharacterRowIsCheckedAfterEachPieceOf8192Units) {
    std::string const row(20000, 'x');
    ArrayPtr s = text(row.c_str());
    unsigned long long const before = uvInterruptCheckCount();
    std::string const out = show(nullptr, s.get());
    EXPECT_EQ(uvInterruptCheckCount() - before, 3u);  // 8192 + 8192 + 3616
    EXPECT_EQ(out, row + "\n");

    // An interrupt that arrives during the first piece leaves after it.
    PushedTrigger sink("xxxx", true);
    EXPECT_THROW(ioPrintArray(nullptr, s.get()), Orrery::System::InterruptException);
    EXPECT_EQ(sink.buffer->text, std::string(8192, 'x'));
}
