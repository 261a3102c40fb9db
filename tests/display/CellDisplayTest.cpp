// Cell arrays: the one-cell forms, inline values and aligned summaries, the
// string limit, pages of columns, the empty messages, the pages of a
// many-dimensional cell, and a display left by an interrupt. Every expected
// text is worked out by hand from the layout rules: a column is as wide as
// its widest entry, a summary is "[" + size + " " + class + "]" with the
// size right-aligned on its "x" and the class one blank past the widest size.
#include "display/display_support.hpp"
#include "display/trigger_sink.hpp"
#include "qzservices/display/cell_display.hpp"
#include "qzservices/orrery/InterruptException.hpp"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <string>

using namespace qztest;

namespace {

// A cell array whose cells are taken from the list (column-major), which
// hands over ownership; a null entry leaves the cell empty.
ArrayPtr cellOf(size_t m, size_t n, std::initializer_list<vxArray*> cells) {
    ArrayPtr c(vxCreateCellMatrix(m, n));
    size_t i = 0;
    for (vxArray* a : cells) vxSetCell(c.get(), i++, a);
    return c;
}

vxArray* zerosOf(size_t m, size_t n, vxClassID cls = vxDOUBLE_CLASS) {
    return vxCreateNumericMatrix(m, n, cls, vxREAL);
}

vxArray* str(char const* s) { return vxCreateString(s); }

} // namespace

class CellDisplay : public DisplayTest {};

TEST_F(CellDisplay, ASingleEmptyCellShowsItsLiteralInBraces) {
    ArrayPtr emptyDouble = cellOf(1, 1, {zerosOf(0, 0)});
    EXPECT_EQ(show("c", emptyDouble.get()), "\nc = \n\n    {[]}\n\n");
    ArrayPtr unset(vxCreateCellMatrix(1, 1));
    EXPECT_EQ(show("c", unset.get()), "\nc = \n\n    {[]}\n\n");
    ArrayPtr emptyText = cellOf(1, 1, {str("")});
    EXPECT_EQ(show("c", emptyText.get()), "\nc = \n\n    {''}\n\n");
    ArrayPtr emptyCell = cellOf(1, 1, {vxCreateCellMatrix(0, 0)});
    EXPECT_EQ(show("c", emptyCell.get()), "\nc = \n\n    {{}}\n\n");
    // Any empty shape, not only 0 by 0, takes the one-cell form.
    ArrayPtr wideEmpty = cellOf(1, 1, {zerosOf(0, 3)});
    EXPECT_EQ(show("c", wideEmpty.get()), "\nc = \n\n    {[]}\n\n");
    // A structure keeps its summary even with no elements.
    char const* names[] = {"a"};
    ArrayPtr emptyStruct = cellOf(1, 1, {vxCreateStructMatrix(0, 0, 1, names)});
    EXPECT_EQ(show("c", emptyStruct.get()), "\nc = \n\n    [0x0 struct]\n\n");
}

TEST_F(CellDisplay, ShortStringsScalarsAndHandlesAreShownInline) {
    ArrayPtr s = cellOf(1, 1, {str("abc")});
    EXPECT_EQ(show("c", s.get()), "\nc = \n\n    'abc'\n\n");
    ArrayPtr five = cellOf(1, 1, {vxCreateDoubleScalar(5)});
    EXPECT_EQ(show("c", five.get()), "\nc = \n\n    [5]\n\n");
    ArrayPtr frac = cellOf(1, 1, {vxCreateDoubleScalar(2.5)});
    EXPECT_EQ(show("c", frac.get()), "\nc = \n\n    [2.5000]\n\n");
    ArrayPtr handle = cellOf(1, 1, {vxCreateFunctionHandle("@(x)x+1")});
    EXPECT_EQ(show("c", handle.get()), "\nc = \n\n    @(x)x+1\n\n");
    compact();
    EXPECT_EQ(show("c", five.get()), "c = \n    [5]\n");
}

TEST_F(CellDisplay, SummariesLineUpTheirSeparatorsClassNamesAndBrackets) {
    ArrayPtr c = cellOf(3, 1, {zerosOf(2, 3), zerosOf(10, 20), zerosOf(2, 3, vxINT8_CLASS)});
    EXPECT_EQ(show("c", c.get()),
              "\nc = \n\n"
              "    [ 2x3  double]\n"
              "    [10x20 double]\n"
              "    [ 2x3  int8  ]\n\n");
    // A cell inside a cell is summarised in braces.
    ArrayPtr nested = cellOf(2, 1, {vxCreateCellMatrix(1, 2), zerosOf(3, 4)});
    EXPECT_EQ(show("c", nested.get()),
              "\nc = \n\n"
              "    {1x2 cell  }\n"
              "    [3x4 double]\n\n");
}

TEST_F(CellDisplay, ColumnsTakeTheWidthOfTheirWidestEntry) {
    // Column 1: "[ 1]" and "'xy'" (4); column 2: a summary (12) over an
    // empty cell, right-aligned.
    ArrayPtr c = cellOf(2, 2, {vxCreateDoubleScalar(1), str("xy"), zerosOf(2, 2), nullptr});
    EXPECT_EQ(show("c", c.get()),
              "\nc = \n\n"
              "    [ 1]    [2x2 double]\n"
              "    'xy'              []\n\n");
}

TEST_F(CellDisplay, AStringPastTheLimitOrWithALineBreakFallsToItsSummary) {
    std::string const forty = "abcdefghijabcdefghijabcdefghijabcdefghij";
    // Three columns in 79: the limit is 26, so strings of up to 20 stay inline.
    ArrayPtr c = cellOf(1, 3, {str(forty.c_str()), str("ab"), vxCreateDoubleScalar(7)});
    EXPECT_EQ(show("c", c.get()), "\nc = \n\n    [1x40 char]    'ab'    [7]\n\n");
    ArrayPtr twenty = cellOf(1, 3, {str(forty.substr(0, 20).c_str()), str("ab"), vxCreateDoubleScalar(7)});
    EXPECT_EQ(show("c", twenty.get()), "\nc = \n\n    '" + forty.substr(0, 20) + "'    'ab'    [7]\n\n");

    ArrayPtr lineFeed = cellOf(1, 1, {str("a\nb")});
    EXPECT_EQ(show("c", lineFeed.get()), "\nc = \n\n    [1x3 char]\n\n");
    ArrayPtr carriageReturn = cellOf(1, 1, {str("a\rb")});
    EXPECT_EQ(show("c", carriageReturn.get()), "\nc = \n\n    [1x3 char]\n\n");
    // Two rows are never inline.
    size_t const dims[2] = {2, 2};
    ArrayPtr block = cellOf(1, 1, {vxCreateCharArray(2, dims)});
    EXPECT_EQ(show("c", block.get()), "\nc = \n\n    [2x2 char]\n\n");
}

TEST_F(CellDisplay, LongFormatsWidenTheLimitToTheWholeWindow) {
    std::string const forty = "abcdefghijabcdefghijabcdefghijabcdefghij";
    ArrayPtr c = cellOf(1, 3, {str(forty.c_str()), str("ab"), vxCreateDoubleScalar(7)});
    EXPECT_EQ(showIn(PrtfmtLong, "c", c.get()), "\nc = \n\n    '" + forty + "'    'ab'    [7]\n\n");
    EXPECT_EQ(showIn(PrtfmtLongG, "c", c.get()), "\nc = \n\n    '" + forty + "'    'ab'    [7]\n\n");
    // Values take the text of the format: pi in long.
    ArrayPtr pi = cellOf(1, 1, {vxCreateDoubleScalar(3.141592653589793)});
    EXPECT_EQ(showIn(PrtfmtLong, "c", pi.get()), "\nc = \n\n    [3.141592653589793]\n\n");
}

TEST_F(CellDisplay, EmptyCellArraysTellTheirShape) {
    ArrayPtr none(vxCreateCellMatrix(0, 0));
    EXPECT_EQ(show("c", none.get()), "\nc = \n\n     {}\n\n");
    ArrayPtr zeroByThree(vxCreateCellMatrix(0, 3));
    EXPECT_EQ(show("c", zeroByThree.get()), "\nc = \n\n   Empty cell array: 0-by-3\n\n");
    size_t const dims[3] = {2, 0, 4};
    ArrayPtr threeD(vxCreateCellArray(3, dims));
    EXPECT_EQ(show("c", threeD.get()), "\nc = \n\n   Empty cell array: 2-by-0-by-4\n\n");
    compact();
    EXPECT_EQ(show("c", zeroByThree.get()), "c = \n   Empty cell array: 0-by-3\n");
}

TEST_F(CellDisplay, AManyDimensionalCellShowsEachPageUnderItsOwnHeading) {
    size_t const dims[3] = {2, 2, 2};
    ArrayPtr c(vxCreateCellArray(3, dims));
    vxSetCell(c.get(), 0, vxCreateDoubleScalar(1));
    vxSetCell(c.get(), 1, str("xy"));
    vxSetCell(c.get(), 2, zerosOf(2, 2));
    vxSetCell(c.get(), 4, vxCreateCellMatrix(0, 0));
    vxSetCell(c.get(), 5, str("a"));
    vxSetCell(c.get(), 6, vxCreateLogicalScalar(true));
    vxSetCell(c.get(), 7, vxCreateFunctionHandle("@sin"));
    EXPECT_EQ(show("c", c.get()),
              "\nc(:,:,1) = \n\n"
              "    [ 1]    [2x2 double]\n"
              "    'xy'              []\n\n"
              "\nc(:,:,2) = \n\n"
              "     {}    [ 1]\n"
              "    'a'    @sin\n\n");

    // The first counter steps fastest.
    size_t const four[4] = {1, 1, 2, 2};
    ArrayPtr d(vxCreateCellArray(4, four));
    for (size_t i = 0; i < 4; ++i) vxSetCell(d.get(), i, vxCreateDoubleScalar(static_cast<double>(i + 1)));
    compact();
    EXPECT_EQ(show("d", d.get()),
              "d(:,:,1,1) = \n    [1]\n"
              "d(:,:,2,1) = \n    [2]\n"
              "d(:,:,1,2) = \n    [3]\n"
              "d(:,:,2,2) = \n    [4]\n");
}

TEST_F(CellDisplay, ACellWiderThanTheWindowIsShownInPagesOfColumns) {
    // Each column is "[100x200 double]", 16 wide plus 4 blanks: three fit in 79.
    ArrayPtr c(vxCreateCellMatrix(1, 7));
    for (size_t i = 0; i < 7; ++i) vxSetCell(c.get(), i, zerosOf(100, 200));
    std::string const one = "    [100x200 double]";
    EXPECT_EQ(show("c", c.get()),
              "\nc = \n\n"
              "  Columns 1 through 3\n\n" + one + one + one + "\n\n"
              "  Columns 4 through 6\n\n" + one + one + one + "\n\n"
              "  Column 7\n\n" + one + "\n\n");
    // In 100 columns four fit.
    ioSetNumWindowColumns(100);
    EXPECT_EQ(show("c", c.get()),
              "\nc = \n\n"
              "  Columns 1 through 4\n\n" + one + one + one + one + "\n\n"
              "  Columns 5 through 7\n\n" + one + one + one + "\n\n");
}

TEST_F(CellDisplay, AStopRequestEndsThePageAtTheNextRowStart) {
    ArrayPtr c = cellOf(3, 1, {str("one"), str("two"), str("three")});
    PushedTrigger sink("'one'");
    ioPrintArray("c", c.get());
    EXPECT_EQ(sink.buffer->text, "\nc = \n\n    'one'\n\n");
    EXPECT_FALSE(services::io::getStopPrintingFlag());
}

TEST_F(CellDisplay, AnInterruptAtARowStartLeavesNothingAllocated) {
    // Long strings and a many-dimensional shape: the display holds page
    // counters and string texts while it runs.
    size_t const dims[3] = {4, 1, 3};
    ArrayPtr c(vxCreateCellArray(3, dims));
    std::string const longText = "a string well past the small-string size";
    for (size_t i = 0; i < 12; ++i) vxSetCell(c.get(), i, str((longText + char('A' + i)).c_str()));
    {
        PushedTrigger sink(longText + "B", true);
        EXPECT_THROW(ioPrintArray("c", c.get()), Orrery::System::InterruptException);
        // Row 2 was written; the check at the start of row 3 left.
        EXPECT_EQ(sink.buffer->text, "\nc(:,:,1) = \n\n    '" + longText + "A'\n    '" + longText + "B'\n");
    }
    EXPECT_EQ(uvIsInterruptPending(), 0);
#if defined(__SANITIZE_ADDRESS__)
    EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0);
#endif
    // The next display is whole.
    std::string const out = show("c", c.get());
    EXPECT_NE(out.find("\nc(:,:,3) = \n\n"), std::string::npos);
    EXPECT_NE(out.find("'" + longText + "L'\n\n"), std::string::npos);
}

TEST_F(CellDisplay, EveryRowStartChecksForAnInterrupt) {
    ArrayPtr c = cellOf(3, 2, {str("a"), str("b"), str("c"), str("d"), str("e"), str("f")});
    unsigned long long const before = uvInterruptCheckCount();
    show("c", c.get());
    EXPECT_EQ(uvInterruptCheckCount() - before, 3u);
}

TEST_F(CellDisplay, WindowsOfOneAndOfNoColumns) {
    ArrayPtr c = cellOf(1, 2, {vxCreateDoubleScalar(5), str("ab")});
    // One column leaves nothing available: a column a page.
    ioSetNumWindowColumns(1);
    EXPECT_EQ(show("c", c.get()), "\nc = \n\n  Column 1\n\n    [5]\n\n  Column 2\n\n    'ab'\n\n");
    // No columns at all wraps around to a window without limit: one page.
    ioSetNumWindowColumns(0);
    EXPECT_EQ(show("c", c.get()), "\nc = \n\n    [5]    'ab'\n\n");
}

TEST_F(CellDisplay, ArraysOfTheWrongClassAreRefusedBeforeAnythingIsWritten) {
    ArrayPtr d = doubles({{1}});
    Capture capture;
    EXPECT_THROW(ioPrintCellArray("x", d.get()), vx::Error);
    EXPECT_THROW(ioPrintFunObjArray("x", d.get()), vx::Error);
    // A page without columns writes nothing.
    ioPrintCellPage(nullptr, 3, 0);
    ioPrintFunObjPage(nullptr, 3, 0);
    EXPECT_EQ(capture.outText(), "");
}

TEST(CellItem, MeasuringCountsAStringAsTwoCharactersInOneColumn) {
    ArrayPtr s(vxCreateString("hello"));
    char item[IO_CELL_ITEM_SIZE];
    ASSERT_TRUE(ioFormatCellItem(s.get(), item, 1, 79, true));
    EXPECT_STREQ(item, "''");
    ASSERT_TRUE(ioFormatCellItem(s.get(), item, 9, 79, false));
    EXPECT_STREQ(item, "'hello'  ");
    // Five units need a limit of at least 11.
    EXPECT_FALSE(ioFormatCellItem(s.get(), item, 1, 10, false));
    EXPECT_TRUE(ioFormatCellItem(s.get(), item, 1, 11, false));
    EXPECT_FALSE(ioFormatCellItem(nullptr, item, 1, 79, false));

    // A handle past limit - 6 shows only its class.
    ArrayPtr h(vxCreateFunctionHandle("@(x)x.^2+3*x-1"));
    ASSERT_TRUE(ioFormatCellItem(h.get(), item, 1, 20, false));
    EXPECT_STREQ(item, "@(x)x.^2+3*x-1");
    ASSERT_TRUE(ioFormatCellItem(h.get(), item, 1, 19, false));
    EXPECT_STREQ(item, "[function_handle]");
    // A handle text without "@" gets one.
    ArrayPtr bare(vxCreateFunctionHandle("cos"));
    ASSERT_TRUE(ioFormatCellItem(bare.get(), item, 6, 79, false));
    EXPECT_STREQ(item, "@cos  ");

    // A scalar is right-aligned inside its brackets.
    ArrayPtr x(vxCreateDoubleScalar(-3));
    ASSERT_TRUE(ioFormatCellItem(x.get(), item, 6, 79, false));
    EXPECT_STREQ(item, "[  -3]");
    ArrayPtr row(vxCreateDoubleMatrix(1, 2, vxREAL));
    EXPECT_FALSE(ioFormatCellItem(row.get(), item, 1, 79, false));

    // No width overruns the item buffer: the padding is cut at its end.
    ASSERT_TRUE(ioFormatCellItem(s.get(), item, 100000, 79, false));
    EXPECT_EQ(std::strlen(item), size_t(IO_CELL_ITEM_SIZE - 1));
    EXPECT_EQ(std::string(item, 8), "'hello' ");
    ASSERT_TRUE(ioFormatCellItem(x.get(), item, 100000, 79, false));
    EXPECT_EQ(std::strlen(item), size_t(IO_CELL_ITEM_SIZE - 1));
    EXPECT_EQ(std::string(item + IO_CELL_ITEM_SIZE - 5), " -3]");
}

TEST(CellItem, ColumnWidthsSplitSizesAtTheirFirstSeparator) {
    size_t const fourD[4] = {2, 2, 2, 2};
    ArrayPtr big(vxCreateNumericArray(4, fourD, vxUINT16_CLASS, vxREAL));
    size_t const threeD[3] = {12, 3, 4};
    ArrayPtr cube(vxCreateNumericArray(3, threeD, vxDOUBLE_CLASS, vxREAL));
    vxArray const* cells[3] = {big.get(), cube.get(), nullptr};
    size_t left = 0, right = 0, cls = 0;
    // "4-D": left 1, right "-D"; "12x3x4": left 2, right "x3x4"; the class "uint16".
    EXPECT_EQ(ioGetColumnWidth(cells, 3, &left, &right, &cls, 79, true), 15u);
    EXPECT_EQ(left, 2u);
    EXPECT_EQ(right, 4u);
    EXPECT_EQ(cls, 6u);
    EXPECT_EQ(ioGetColumnWidth(cells + 2, 1, &left, &right, &cls, 79, true), 2u);
    EXPECT_EQ(left, 0u);
}
