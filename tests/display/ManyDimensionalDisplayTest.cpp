// Numeric, logical and character arrays of more than two dimensions: one
// two-dimensional page after another, each under its own heading
// "A(:,:,k)", with page names cut short past 496 characters. Expected texts
// are worked out by hand from the numeric and character layouts.
#include "display/display_support.hpp"
#include "display/trigger_sink.hpp"
#include "qzservices/orrery/InterruptException.hpp"

#include <string>
#include <vector>

using namespace qztest;

class ManyDimensionalDisplay : public DisplayTest {};

TEST_F(ManyDimensionalDisplay, EachPageOfADoubleArrayHasItsOwnHeading) {
    size_t const dims[3] = {2, 2, 2};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxREAL));
    for (size_t i = 0; i < 8; ++i) vxGetPr(a.get())[i] = static_cast<double>(i + 1);
    EXPECT_EQ(show("A", a.get()),
              "\nA(:,:,1) =\n\n     1     3\n     2     4\n\n"
              "\nA(:,:,2) =\n\n     5     7\n     6     8\n\n");
    compact();
    EXPECT_EQ(show("A", a.get()), "A(:,:,1) =\n     1     3\n     2     4\nA(:,:,2) =\n     5     7\n     6     8\n");
}

TEST_F(ManyDimensionalDisplay, EachPageChoosesItsOwnFormat) {
    // The second page holds fractions: its own format, as a two-dimensional array would.
    size_t const dims[3] = {1, 2, 2};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxREAL));
    double const values[4] = {1, 2, 0.5, 1.25};
    for (size_t i = 0; i < 4; ++i) vxGetPr(a.get())[i] = values[i];
    EXPECT_EQ(show("A", a.get()),
              "\nA(:,:,1) =\n\n     1     2\n\n"
              "\nA(:,:,2) =\n\n    0.5000    1.2500\n\n");
}

TEST_F(ManyDimensionalDisplay, PagesOfComplexAndIntegerArraysMatchTheirTwoDimensionalForms) {
    size_t const dims[3] = {1, 2, 2};
    ArrayPtr z(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxCOMPLEX));
    ArrayPtr i8(vxCreateNumericArray(3, dims, vxINT8_CLASS, vxREAL));
    for (size_t i = 0; i < 4; ++i) {
        vxGetPr(z.get())[i] = static_cast<double>(i + 1);
        vxGetPi(z.get())[i] = -static_cast<double>(i) - 0.5;
        static_cast<signed char*>(vxGetData(i8.get()))[i] = static_cast<signed char>(-100 + 50 * static_cast<int>(i));
    }
    // The pages' values, as two-dimensional arrays shown under the same names.
    ArrayPtr z1 = complexRow({{1, -0.5}, {2, -1.5}});
    ArrayPtr z2 = complexRow({{3, -2.5}, {4, -3.5}});
    EXPECT_EQ(show("z", z.get()), show("z(:,:,1)", z1.get()) + show("z(:,:,2)", z2.get()));
    EXPECT_EQ(show("k", i8.get()), "\nk(:,:,1) =\n\n -100  -50\n\n\nk(:,:,2) =\n\n    0   50\n\n");
}

TEST_F(ManyDimensionalDisplay, PagesOfALogicalArrayFollowTheOdometer) {
    size_t const dims[4] = {1, 1, 2, 2};
    ArrayPtr b(vxCreateLogicalArray(4, dims));
    static_cast<unsigned char*>(vxGetData(b.get()))[2] = 1;
    compact();
    EXPECT_EQ(show("b", b.get()),
              "b(:,:,1,1) =\n     0\n"
              "b(:,:,2,1) =\n     0\n"
              "b(:,:,1,2) =\n     1\n"
              "b(:,:,2,2) =\n     0\n");
}

TEST_F(ManyDimensionalDisplay, ACharacterArrayShowsEachPageAsRows) {
    size_t const dims[3] = {2, 2, 2};
    ArrayPtr c(vxCreateCharArray(3, dims));
    char const* columnMajor = "acbdegfh";  // pages "ab/cd" and "ef/gh"
    for (size_t i = 0; i < 8; ++i) static_cast<vxChar*>(vxGetData(c.get()))[i] = static_cast<vxChar>(columnMajor[i]);
    EXPECT_EQ(show("c", c.get()), "\nc(:,:,1) =\n\nab\ncd\n\nc(:,:,2) =\n\nef\ngh\n\n");
    // Without a name: no headings and no blank line at the end.
    EXPECT_EQ(show("", c.get()), "\n(:,:,1) =\n\nab\ncd\n\n(:,:,2) =\n\nef\ngh\n");
}

TEST_F(ManyDimensionalDisplay, EmptyArraysTellTheirShape) {
    size_t const dims[3] = {2, 0, 3};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxREAL));
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n   Empty array: 2-by-0-by-3\n\n");
}

TEST_F(ManyDimensionalDisplay, APageNamePast496CharactersEndsInAnEllipsis) {
    // A name of 480 characters and nine counters: after "(:,:," and seven
    // counters the name is 498 long, so the last two give way to ",...".
    std::string const name(480, 'n');
    std::vector<size_t> dims(11, 1);
    dims.back() = 2;
    ArrayPtr a(vxCreateNumericArray(dims.size(), dims.data(), vxDOUBLE_CLASS, vxREAL));
    vxGetPr(a.get())[1] = 5;
    std::string const page = name + "(:,:,1,1,1,1,1,1,1,...)";
    EXPECT_EQ(show(name.c_str(), a.get()), "\n" + page + " =\n\n     0\n\n\n" + page + " =\n\n     5\n\n");

    // A short name shows every counter.
    ArrayPtr b(vxCreateNumericArray(dims.size(), dims.data(), vxDOUBLE_CLASS, vxREAL));
    compact();
    EXPECT_EQ(show("B", b.get()), "B(:,:,1,1,1,1,1,1,1,1,1) =\n     0\nB(:,:,1,1,1,1,1,1,1,1,2) =\n     0\n");

    // Twelve counters: more than the page counters had room for so far.
    std::vector<size_t> more(14, 1);
    more[2] = 2;
    more.back() = 2;
    ArrayPtr c(vxCreateNumericArray(more.size(), more.data(), vxDOUBLE_CLASS, vxREAL));
    vxGetPr(c.get())[3] = 9;
    EXPECT_EQ(show("C", c.get()),
              "C(:,:,1,1,1,1,1,1,1,1,1,1,1,1) =\n     0\n"
              "C(:,:,2,1,1,1,1,1,1,1,1,1,1,1) =\n     0\n"
              "C(:,:,1,1,1,1,1,1,1,1,1,1,1,2) =\n     0\n"
              "C(:,:,2,1,1,1,1,1,1,1,1,1,1,2) =\n     9\n");
}

TEST_F(ManyDimensionalDisplay, AStopRequestEndsOnlyTheCurrentPage) {
    size_t const dims[3] = {2, 1, 2};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxREAL));
    for (size_t i = 0; i < 4; ++i) vxGetPr(a.get())[i] = static_cast<double>(i + 1);
    PushedTrigger sink("     1\n");
    ioPrintArray("A", a.get());
    EXPECT_EQ(sink.buffer->text, "\nA(:,:,1) =\n\n     1\n\n\nA(:,:,2) =\n\n     3\n     4\n\n");
}

TEST_F(ManyDimensionalDisplay, AnInterruptLeavesThroughThePagePrinter) {
    size_t const dims[3] = {2, 1, 2};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxREAL));
    for (size_t i = 0; i < 4; ++i) vxGetPr(a.get())[i] = static_cast<double>(i + 1);
    {
        PushedTrigger sink("     3\n", true);
        EXPECT_THROW(ioPrintArray("A", a.get()), Orrery::System::InterruptException);
        EXPECT_EQ(sink.buffer->text, "\nA(:,:,1) =\n\n     1\n     2\n\n\nA(:,:,2) =\n\n     3\n");
    }
    // The array's data survived the page header.
    EXPECT_EQ(vxGetPr(a.get())[3], 4.0);
    EXPECT_EQ(show("A", a.get()), "\nA(:,:,1) =\n\n     1\n     2\n\n\nA(:,:,2) =\n\n     3\n     4\n\n");
}

class FunctionHandleDisplay : public DisplayTest {};

namespace {

ArrayPtr handles(size_t m, size_t n, std::initializer_list<char const*> texts) {
    size_t const dims[2] = {m, n};
    ArrayPtr h(vxCreateFunctionHandleArray(2, dims));
    size_t i = 0;
    for (char const* t : texts) vxSetFunctionHandle(h.get(), i++, t);
    return h;
}

} // namespace

TEST_F(FunctionHandleDisplay, OneColumnShowsEachHandleWithItsAt) {
    ArrayPtr one(vxCreateFunctionHandle("@sin"));
    EXPECT_EQ(show("f", one.get()), "\nf = \n\n    @sin\n\n");
    ArrayPtr column = handles(3, 1, {"@sin", "cos", "@(x)x+1"});
    EXPECT_EQ(show("f", column.get()), "\nf = \n\n    @sin\n    @cos\n    @(x)x+1\n\n");
    compact();
    EXPECT_EQ(show("f", one.get()), "f = \n    @sin\n");
}

TEST_F(FunctionHandleDisplay, SeveralColumnsAreLeftAlignedInTheirWidths) {
    // Column widths: "@sin"/"cos" give 5, "@(x)x.^2" gives 9.
    ArrayPtr h = handles(2, 2, {"@sin", "cos", "@(x)x.^2", "@tan"});
    EXPECT_EQ(show("f", h.get()),
              "\nf = \n\n"
              "    @sin      @(x)x.^2  \n"
              "    @cos      @tan      \n\n");
}

TEST_F(FunctionHandleDisplay, AWideArrayIsPagedWithoutASingleColumnHeading) {
    // Each column counts 5 + 4 toward the 79 available: eight a page. Each is
    // written as "@" and "sin" left-aligned in the width of 5.
    std::string eight;
    for (int i = 0; i < 8; ++i) eight += "    @sin  ";
    eight += "\n";
    ArrayPtr h(vxCreateFunctionHandleArray(2, std::vector<size_t>{1, 17}.data()));
    for (size_t i = 0; i < 17; ++i) vxSetFunctionHandle(h.get(), i, "@sin");
    EXPECT_EQ(show("f", h.get()),
              "\nf = \n\n"
              "  Columns 1 through 8\n\n" + eight + "\n"
              "  Columns 9 through 16\n\n" + eight + "\n"
              "    @sin\n\n");
}

TEST_F(FunctionHandleDisplay, EmptyAndManyDimensionalHandleArrays) {
    size_t const none[2] = {0, 3};
    ArrayPtr empty(vxCreateFunctionHandleArray(2, none));
    EXPECT_EQ(show("f", empty.get()), "\nf = \n\n   Empty function_handle array: 0-by-3\n\n");
    size_t const dims[3] = {1, 1, 2};
    ArrayPtr cube(vxCreateFunctionHandleArray(3, dims));
    vxSetFunctionHandle(cube.get(), 0, "@sin");
    vxSetFunctionHandle(cube.get(), 1, "@cos");
    EXPECT_EQ(show("f", cube.get()), "\nf(:,:,1) = \n\n    @sin\n\n\nf(:,:,2) = \n\n    @cos\n\n");
}
