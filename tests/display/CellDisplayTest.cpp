// Cell and function-handle arrays: the one-cell forms, inline values and
// aligned summaries, the string limit, pages of columns, the empty messages,
// many-dimensional pages, and a display left by an interrupt. Expected texts
// are worked out by hand: a column is as wide as its widest entry, a summary
// is "[" + size + " " + class + "]" with the size right-aligned on its "x" and
// the class one blank past the widest size.
#include "display/display_support.hpp"
#include "qzservices/display/cell_display.hpp"
#include "qzservices/orrery/InterruptException.hpp"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

using namespace qztest;

class CellDisplay : public DisplayTest {};

TEST_F(CellDisplay, OneCellFormsInlineValuesAndAlignedSummaries) {
    char const* names[] = {"a"};
    std::string const forty = "abcdefghijabcdefghijabcdefghijabcdefghij", twenty = forty.substr(0, 20);
    expectShown({
        // Any empty shape takes the one-cell form; a structure keeps its summary.
        {"c", cellOf({1, 1}, {zeros(0, 0)}), "\nc = \n\n    {[]}\n\n"},
        {"c", cellOf({1, 1}, {}), "\nc = \n\n    {[]}\n\n"},
        {"c", cellOf({1, 1}, {zeros(0, 3)}), "\nc = \n\n    {[]}\n\n"},
        {"c", cellOf({1, 1}, {str("")}), "\nc = \n\n    {''}\n\n"},
        {"c", cellOf({1, 1}, {vxCreateCellMatrix(0, 0)}), "\nc = \n\n    {{}}\n\n"},
        {"c", cellOf({1, 1}, {vxCreateStructMatrix(0, 0, 1, names)}), "\nc = \n\n    [0x0 struct]\n\n"},
        {"c", cellOf({1, 1}, {str("abc")}), "\nc = \n\n    'abc'\n\n"},
        {"c", cellOf({1, 1}, {num(5)}), "\nc = \n\n    [5]\n\n"},
        {"c", cellOf({1, 1}, {num(5)}), "c = \n    [5]\n", PrtfmtShort, true},
        {"c", cellOf({1, 1}, {num(2.5)}), "\nc = \n\n    [2.5000]\n\n"},
        {"c", cellOf({1, 1}, {num(3.141592653589793)}), "\nc = \n\n    [3.141592653589793]\n\n", PrtfmtLong},
        {"c", cellOf({1, 1}, {vxCreateFunctionHandle("@(x)x+1")}), "\nc = \n\n    @(x)x+1\n\n"},
        {"c", cellOf({3, 1}, {zeros(2, 3), zeros(10, 20), zeros(2, 3, vxINT8_CLASS)}),
         "\nc = \n\n    [ 2x3  double]\n    [10x20 double]\n    [ 2x3  int8  ]\n\n"},
        {"c", cellOf({2, 1}, {vxCreateCellMatrix(1, 2), zeros(3, 4)}), "\nc = \n\n    {1x2 cell  }\n    [3x4 double]\n\n"},
        // Column 1: "[ 1]" and "'xy'"; column 2: a summary over an empty cell, right-aligned.
        {"c", cellOf({2, 2}, {num(1), str("xy"), zeros(2, 2), nullptr}),
         "\nc = \n\n    [ 1]    [2x2 double]\n    'xy'              []\n\n"},
        // Three columns in 79: the limit is 26, so strings of up to 20 stay
        // inline; long formats widen the limit to the whole window.
        {"c", cellOf({1, 3}, {str(forty.c_str()), str("ab"), num(7)}), "\nc = \n\n    [1x40 char]    'ab'    [7]\n\n"},
        {"c", cellOf({1, 3}, {str(twenty.c_str()), str("ab"), num(7)}), "\nc = \n\n    '" + twenty + "'    'ab'    [7]\n\n"},
        {"c", cellOf({1, 3}, {str(forty.c_str()), str("ab"), num(7)}), "\nc = \n\n    '" + forty + "'    'ab'    [7]\n\n",
         PrtfmtLong},
        {"c", cellOf({1, 3}, {str(forty.c_str()), str("ab"), num(7)}), "\nc = \n\n    '" + forty + "'    'ab'    [7]\n\n",
         PrtfmtLongG},
        // Line breaks and second rows are never inline.
        {"c", cellOf({1, 1}, {str("a\nb")}), "\nc = \n\n    [1x3 char]\n\n"},
        {"c", cellOf({1, 1}, {str("a\rb")}), "\nc = \n\n    [1x3 char]\n\n"},
        {"c", cellOf({1, 1}, {chars({2, 2}, {}).release()}), "\nc = \n\n    [2x2 char]\n\n"},
        {"c", ArrayPtr(vxCreateCellMatrix(0, 0)), "\nc = \n\n     {}\n\n"},
        {"c", ArrayPtr(vxCreateCellMatrix(0, 3)), "\nc = \n\n   Empty cell array: 0-by-3\n\n"},
        {"c", ArrayPtr(vxCreateCellMatrix(0, 3)), "c = \n   Empty cell array: 0-by-3\n", PrtfmtShort, true},
        {"c", cellOf({2, 0, 4}, {}), "\nc = \n\n   Empty cell array: 2-by-0-by-4\n\n"},
        {"c", cellOf({2, 2, 2}, {num(1), str("xy"), zeros(2, 2), nullptr, vxCreateCellMatrix(0, 0), str("a"),
                                 vxCreateLogicalScalar(true), vxCreateFunctionHandle("@sin")}),
         "\nc(:,:,1) = \n\n    [ 1]    [2x2 double]\n    'xy'              []\n\n"
         "\nc(:,:,2) = \n\n     {}    [ 1]\n    'a'    @sin\n\n"},
        {"d", cellOf({1, 1, 2, 2}, {num(1), num(2), num(3), num(4)}),
         "d(:,:,1,1) = \n    [1]\nd(:,:,2,1) = \n    [2]\nd(:,:,1,2) = \n    [3]\nd(:,:,2,2) = \n    [4]\n", PrtfmtShort, true},
    });
}

TEST_F(CellDisplay, FunctionHandlesAreLeftAlignedInTheirColumnWidths) {
    expectShown({
        {"f", ArrayPtr(vxCreateFunctionHandle("@sin")), "\nf = \n\n    @sin\n\n"},
        {"f", ArrayPtr(vxCreateFunctionHandle("@sin")), "f = \n    @sin\n", PrtfmtShort, true},
        {"f", handles({3, 1}, {"@sin", "cos", "@(x)x+1"}), "\nf = \n\n    @sin\n    @cos\n    @(x)x+1\n\n"},
        // Column widths: "@sin" and "cos" give 5, "@(x)x.^2" gives 9.
        {"f", handles({2, 2}, {"@sin", "cos", "@(x)x.^2", "@tan"}),
         "\nf = \n\n    @sin      @(x)x.^2  \n    @cos      @tan      \n\n"},
        {"f", handles({0, 3}, {}), "\nf = \n\n   Empty function_handle array: 0-by-3\n\n"},
        {"f", handles({1, 1, 2}, {"@sin", "@cos"}), "\nf(:,:,1) = \n\n    @sin\n\n\nf(:,:,2) = \n\n    @cos\n\n"},
    });
}

TEST_F(CellDisplay, PagesOfColumnsFollowTheWindow) {
    ArrayPtr wide(vxCreateCellMatrix(1, 7));
    for (size_t i = 0; i < 7; ++i) vxSetCell(wide.get(), i, zeros(100, 200));
    ArrayPtr small = cellOf({1, 2}, {num(5), str("ab")});
    ArrayPtr h(vxCreateFunctionHandleArray(2, std::vector<size_t>{1, 17}.data()));
    for (size_t i = 0; i < 17; ++i) vxSetFunctionHandle(h.get(), i, "@sin");
    // "[100x200 double]" is 16 wide plus 4 blanks: three fit in 79, four in 99.
    std::string const c = "    [100x200 double]", f = "    @sin  ", f8 = f + f + f + f + f + f + f + f + "\n";
    std::tuple<size_t, vxArray const*, std::string> const rows[] = {
        {80, wide.get(), "\nx = \n\n  Columns 1 through 3\n\n" + c + c + c + "\n\n  Columns 4 through 6\n\n" + c + c + c +
                             "\n\n  Column 7\n\n" + c + "\n\n"},
        {100, wide.get(), "\nx = \n\n  Columns 1 through 4\n\n" + c + c + c + c + "\n\n  Columns 5 through 7\n\n" + c + c + c + "\n\n"},
        // One column leaves nothing available: a column a page; none is a window without limit.
        {1, small.get(), "\nx = \n\n  Column 1\n\n    [5]\n\n  Column 2\n\n    'ab'\n\n"},
        {0, small.get(), "\nx = \n\n    [5]    'ab'\n\n"},
        // A handle column counts 5 + 4 toward the 79: eight a page, and no "Column" heading for one.
        {80, h.get(), "\nx = \n\n  Columns 1 through 8\n\n" + f8 + "\n  Columns 9 through 16\n\n" + f8 + "\n    @sin\n\n"},
    };
    for (auto const& [columns, array, expected] : rows) {
        ioSetNumWindowColumns(columns);
        EXPECT_EQ(show("x", array), expected) << columns << " columns";
    }
}

TEST_F(CellDisplay, AStopEndsThePageAndAnInterruptLeavesNothingAllocated) {
    {
        PushedTrigger sink("'one'");
        ioPrintArray("c", cellOf({3, 1}, {str("one"), str("two"), str("three")}).get());
        EXPECT_EQ(sink.buffer->text, "\nc = \n\n    'one'\n\n");
        EXPECT_FALSE(services::io::getStopPrintingFlag());
    }
    // Long strings and pages: the display holds page counters and texts while it runs.
    ArrayPtr c(vxCreateCellArray(3, std::vector<size_t>{4, 1, 3}.data()));
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
    std::string const out = show("c", c.get());
    EXPECT_NE(out.find("'" + longText + "L'\n\n"), std::string::npos);
}

TEST_F(CellDisplay, ArraysOfTheWrongClassAreRefusedBeforeAnythingIsWritten) {
    ArrayPtr d = doubles({{1}});
    Capture capture;
    EXPECT_THROW(ioPrintCellArray("x", d.get()), vx::Error);
    EXPECT_THROW(ioPrintFunObjArray("x", d.get()), vx::Error);
    ioPrintCellPage(nullptr, 3, 0);  // a page without columns writes nothing
    ioPrintFunObjPage(nullptr, 3, 0);
    EXPECT_EQ(capture.outText(), "");
}

TEST(CellItem, ItemsFitTheirLimitAndWidth) {
    ArrayPtr s(vxCreateString("hello")), x(vxCreateDoubleScalar(-3)), row(vxCreateDoubleMatrix(1, 2, vxREAL));
    ArrayPtr h(vxCreateFunctionHandle("@(x)x.^2+3*x-1")), bare(vxCreateFunctionHandle("cos"));
    // The cell, width, limit, whether only measuring, and the text (null: refused).
    std::tuple<vxArray const*, size_t, size_t, bool, char const*> const rows[] = {
        // Measuring counts a string as two characters in one column; five units need a limit of 11.
        {s.get(), 1, 79, true, "''"}, {s.get(), 9, 79, false, "'hello'  "}, {s.get(), 1, 10, false, nullptr},
        {s.get(), 1, 11, false, "'hello'"}, {nullptr, 1, 79, false, nullptr}, {row.get(), 1, 79, false, nullptr},
        // Past limit - 6 a handle shows only its class; a handle text without "@" gets one.
        {h.get(), 1, 20, false, "@(x)x.^2+3*x-1"}, {h.get(), 1, 19, false, "[function_handle]"},
        {bare.get(), 6, 79, false, "@cos  "}, {x.get(), 6, 79, false, "[  -3]"},
        // A limit below 6 (a long format in a narrow window) wraps round below zero: everything fits.
        {s.get(), 1, 5, false, "'hello'"}, {s.get(), 1, 0, true, "''"}, {h.get(), 1, 5, false, "@(x)x.^2+3*x-1"},
        {bare.get(), 1, 0, false, "@cos"}, {s.get(), 1, 6, false, nullptr}, {h.get(), 1, 6, false, "[function_handle]"},
    };
    char item[IO_CELL_ITEM_SIZE];
    for (auto const& [cell, width, limit, measureOnly, expected] : rows) {
        SCOPED_TRACE(std::to_string(width) + " " + std::to_string(limit));
        EXPECT_EQ(ioFormatCellItem(cell, item, width, limit, measureOnly), expected != nullptr);
        if (expected) {
            EXPECT_STREQ(item, expected);
        }
    }
    // No width overruns the item buffer: the padding is cut at its end.
    ASSERT_TRUE(ioFormatCellItem(s.get(), item, 100000, 79, false));
    EXPECT_EQ(std::string(item), "'hello'" + std::string(IO_CELL_ITEM_SIZE - 8, ' '));
    ASSERT_TRUE(ioFormatCellItem(x.get(), item, 100000, 79, false));
    EXPECT_EQ(std::string(item), "[" + std::string(IO_CELL_ITEM_SIZE - 5, ' ') + "-3]");
}

TEST(CellItem, ColumnWidthsSplitSizesAtTheirFirstSeparator) {
    ArrayPtr big = nd({2, 2, 2, 2}, {}, vxUINT16_CLASS), cube = nd({12, 3, 4});
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
