// The front door of display: headings and the one-shot name suppression,
// every empty-array message, character arrays, and the dispatch by class.
#include "display/display_support.hpp"
#include "qzservices/display/sizes.hpp"
#include "qzservices/io/CXStream.hpp"

#include <clocale>

#include <boost/make_shared.hpp>

using namespace qztest;

class DisplayHeading : public DisplayTest {};

TEST_F(DisplayHeading, ANullNameShowsBareValuesAndTheNextDisplayIsNamedAgain) {
    ArrayPtr a = doubles({{1, 2}});
    ArrayPtr b = doubles({{3}});
    Capture capture;
    ioPrintArray(nullptr, a.get());
    ioPrintArray("B", b.get());
    EXPECT_EQ(capture.outText(), "     1     2\n\n\nB =\n\n     3\n\n");
}

TEST_F(DisplayHeading, TheEmptyNameShowsAns) {
    ArrayPtr a = doubles({{5}});
    EXPECT_EQ(show("", a.get()), "\nans =\n\n     5\n\n");
}

TEST_F(DisplayHeading, SuppressionCoversExactlyOneArray) {
    ArrayPtr a = doubles({{7}});
    Capture capture;
    ioSupressName();
    ioPrintArray("A", a.get());
    ioPrintArray("A", a.get());
    EXPECT_EQ(capture.outText(), "     7\n\n\nA =\n\n     7\n\n");
}

TEST_F(DisplayHeading, CompactFormIsTheNullName) {
    ArrayPtr a = doubles({{7}});
    Capture capture;
    ioPrintMatrixCompact(a.get());
    EXPECT_EQ(capture.outText(), "     7\n\n");
}

TEST_F(DisplayHeading, OneArgumentFormsAskTheNameCallback) {
    ArrayPtr b = doubles({{1}});
    ioSetArrayNameCallback(nullptr);
    EXPECT_THROW(ioPrintArray(b.get()), vx::Error);  // no callback yet: an error, not a call through null
    ioSetArrayNameCallback([](vxArray_tag const*) -> char const* { return "fromCallback"; });
    ArrayPtr a = doubles({{1}});
    Capture capture;
    ioPrintArray(a.get());
    ioPrintMatrix(a.get());
    EXPECT_EQ(capture.outText(), "\nfromCallback =\n\n     1\n\n\nfromCallback =\n\n     1\n\n");
    EXPECT_STREQ(ioGetArrayName(a.get()), "fromCallback");
}

class EmptyDisplay : public DisplayTest {};

TEST_F(EmptyDisplay, NamedEmptiesTellTheirShape) {
    ArrayPtr e00(vxCreateDoubleMatrix(0, 0, vxREAL));
    ArrayPtr e03(vxCreateDoubleMatrix(0, 3, vxREAL));
    ArrayPtr e30(vxCreateDoubleMatrix(3, 0, vxREAL));
    EXPECT_EQ(show("E", e00.get()), "\nE =\n\n     []\n\n");
    EXPECT_EQ(show("E", e03.get()), "\nE =\n\n   Empty matrix: 0-by-3\n\n");
    EXPECT_EQ(show("E", e30.get()), "\nE =\n\n   Empty matrix: 3-by-0\n\n");
    compact();
    EXPECT_EQ(show("E", e03.get()), "E =\n   Empty matrix: 0-by-3\n");
}

TEST_F(EmptyDisplay, UnnamedEmptiesPrintNothing) {
    ArrayPtr e00(vxCreateDoubleMatrix(0, 0, vxREAL));
    ArrayPtr e03(vxCreateDoubleMatrix(0, 3, vxREAL));
    EXPECT_EQ(show(nullptr, e03.get()), "");
    EXPECT_EQ(show("", e00.get()), "");
    EXPECT_EQ(show("", e03.get()), "");
    ArrayPtr i(vxCreateNumericMatrix(0, 2, vxINT16_CLASS, vxREAL));
    EXPECT_EQ(show("", i.get()), "");
    EXPECT_EQ(show("I", i.get()), "\nI =\n\n   Empty matrix: 0-by-2\n\n");
}

TEST_F(EmptyDisplay, ANullArrayShowsAsBrackets) {
    EXPECT_EQ(show("x", nullptr), "\nx =\n\n     []\n\n");
    EXPECT_EQ(show(nullptr, nullptr), "");
}

TEST_F(EmptyDisplay, EmptyCharacterArrays) {
    size_t const d00[2] = {0, 0};
    size_t const d10[2] = {1, 0};
    ArrayPtr c00(vxCreateCharArray(2, d00));
    ArrayPtr c10(vxCreateCharArray(2, d10));
    // Through the character path the named form ends with one more blank line.
    EXPECT_EQ(show("s", c00.get()), "\ns =\n\n     ''\n\n\n");
    EXPECT_EQ(show("s", c10.get()), "\ns =\n\n   Empty string: 1-by-0\n\n\n");
    EXPECT_EQ(show(nullptr, c00.get()), "     ''\n\n");
    // The numeric printer's own messages.
    EXPECT_EQ(showMatrix("s", c00.get()), "\ns =\n\n     ''\n\n");
    EXPECT_EQ(showMatrix("s", c10.get()), "\ns =\n\n   Empty string: 1-by-0\n\n");
    size_t const d023[3] = {0, 2, 3};
    ArrayPtr c023(vxCreateCharArray(3, d023));
    EXPECT_EQ(showMatrix("s", c023.get()), "\ns =\n\n   Empty string: 0-by-2-by-3\n\n");
}

TEST_F(EmptyDisplay, ManyDimensionalEmptiesTellEveryDimension) {
    size_t const dims[3] = {0, 2, 3};
    ArrayPtr e(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxREAL));
    EXPECT_EQ(showMatrix("E", e.get()), "\nE =\n\n   Empty array: 0-by-2-by-3\n\n");
    EXPECT_EQ(showMatrix("", e.get()), "");
}

TEST_F(EmptyDisplay, SparseWithNothingStored) {
    ArrayPtr s(vxCreateSparse(3, 4, 2, vxREAL));
    EXPECT_EQ(show("S", s.get()), "\nS =\n\n   All zero sparse: 3-by-4\n\n");
    // Unnamed, it still tells its shape; an unnamed 0-by-4 sparse says nothing.
    EXPECT_EQ(show(nullptr, s.get()), "   All zero sparse: 3-by-4\n\n");
    EXPECT_EQ(show("", s.get()), "   All zero sparse: 3-by-4\n\n");
    ArrayPtr none(vxCreateSparse(0, 4, 1, vxREAL));
    EXPECT_EQ(show("", none.get()), "");
    EXPECT_EQ(show("S", none.get()), "\nS =\n\n   All zero sparse: 0-by-4\n\n");
}

class SparseDisplay : public DisplayTest {};

TEST_F(SparseDisplay, StoredElementsAreLedByTheirIndices) {
    // 3-by-4 with (2,1) = 5 and (1,3) = -1.5.
    ArrayPtr s(vxCreateSparse(3, 4, 2, vxREAL));
    vxGetPr(s.get())[0] = 5;
    vxGetPr(s.get())[1] = -1.5;
    vxGetIr(s.get())[0] = 1;
    vxGetIr(s.get())[1] = 0;
    size_t const jc[5] = {0, 1, 1, 2, 2};
    std::memcpy(vxGetJc(s.get()), jc, sizeof jc);
    EXPECT_EQ(show("S", s.get()), "\nS =\n\n   (2,1)       5.0000\n   (1,3)      -1.5000\n\n");
    EXPECT_EQ(showIn(PrtfmtSign, "S", s.get()), "\nS =\n\n   (2,1)   +\n   (1,3)   -\n\n");
}

TEST_F(SparseDisplay, WideShapesWidenThePrefixAroundAFixedComma) {
    ArrayPtr s(vxCreateSparse(12345, 2, 1, vxREAL));
    vxGetPr(s.get())[0] = 7;
    vxGetIr(s.get())[0] = 12344;
    size_t const jc[3] = {0, 0, 1};
    std::memcpy(vxGetJc(s.get()), jc, sizeof jc);
    // Field 23, comma at place 11: "(12345" fills places 5 to 10.
    EXPECT_EQ(show("S", s.get()), "\nS =\n\n     (12345,2)" + std::string(9 + 5, ' ') + "7\n\n");
    ArrayPtr l(vxCreateSparse(100000, 1, 1, vxREAL));
    vxGetPr(l.get())[0] = 1;
    vxGetIr(l.get())[0] = 99999;
    size_t const jc1[2] = {0, 1};
    std::memcpy(vxGetJc(l.get()), jc1, sizeof jc1);
    // Field 41, comma at place 20.
    EXPECT_EQ(show("S", l.get()), "\nS =\n\n" + std::string(13, ' ') + "(100000,1)" + std::string(18 + 5, ' ') + "1\n\n");
}

TEST_F(SparseDisplay, CorruptStorageIsRefusedBeforeAnyOutput) {
    ArrayPtr s(vxCreateSparse(2, 2, 1, vxREAL));
    size_t const jc[3] = {0, 1, 5};  // claims more than its one slot
    std::memcpy(vxGetJc(s.get()), jc, sizeof jc);
    Capture capture;
    EXPECT_THROW(ioPrintArray("S", s.get()), vx::Error);
    EXPECT_EQ(capture.outText(), "");
}

class CharDisplay : public DisplayTest {};

TEST_F(CharDisplay, ARowIsWrittenAsItsText) {
    ArrayPtr s = text("hello");
    EXPECT_EQ(show("s", s.get()), "\ns =\n\nhello\n\n");
    EXPECT_EQ(show(nullptr, s.get()), "hello\n");
    EXPECT_EQ(show("", s.get()), "hello\n");
}

TEST_F(CharDisplay, RowsComeFromColumnMajorUnitsAndNulIsABlank) {
    size_t const dims[2] = {2, 3};
    ArrayPtr c(vxCreateCharArray(2, dims));
    vxChar const units[6] = {'a', 'd', 0, 'e', 'c', 'f'};  // rows "a c", "def"
    std::memcpy(vxGetData(c.get()), units, sizeof units);
    EXPECT_EQ(show("c", c.get()), "\nc =\n\na c\ndef\n\n");
}

TEST_F(CharDisplay, NonAsciiUnitsReachTheSinkUnchanged) {
    ArrayPtr s = text("caf\xC3\xA9 \xE2\x82\xAC");
    Capture capture;
    ioPrintArray(nullptr, s.get());
    services::io::CXStream::CXOut.flush();
    std::basic_string<unsigned short> const units = capture.out->getUnicodeString();
    std::basic_string<unsigned short> const expected = {'c', 'a', 'f', 0x00E9, ' ', 0x20AC, '\n'};
    EXPECT_EQ(units, expected);
}

TEST_F(CharDisplay, PageNameAndSuppressionOfDispfString) {
    ArrayPtr s = text("xy");
    Capture capture;
    dispf_string(s.get(), "name", "page(:,:,2)");
    ioSupressName();
    dispf_string(s.get(), "name", nullptr);
    dispf_string(s.get(), "", nullptr);
    EXPECT_EQ(capture.outText(), "\npage(:,:,2) =\n\nxy\nxy\nxy\n");
}

TEST_F(CharDisplay, CompactCharacterDisplay) {
    ArrayPtr s = text("hi");
    compact();
    EXPECT_EQ(show("s", s.get()), "s =\nhi\n");
}

class DisplayDispatch : public DisplayTest {};

TEST_F(DisplayDispatch, EachClassReachesItsOwnPrinter) {
    ArrayPtr cell(vxCreateCellMatrix(1, 1));
    char const* names[] = {"a"};
    ArrayPtr st(vxCreateStructMatrix(1, 1, 1, names));
    size_t const one[2] = {1, 1};
    ArrayPtr obj(vxCreateObject("structx", 2, one, 0, nullptr));
    ArrayPtr h(vxCreateFunctionHandle("@sin"));
    ArrayPtr op(vxCreateOpaque("java.lang.Object", 2, one));
    size_t const nd[3] = {1, 1, 2};
    ArrayPtr cube(vxCreateNumericArray(3, nd, vxDOUBLE_CLASS, vxREAL));
    vxGetPr(cube.get())[1] = 7;
    compact();
    EXPECT_EQ(show("x", cell.get()), "x = \n    {[]}\n");
    EXPECT_EQ(show("x", st.get()), "x = \n    a: []\n");
    // The class name is compared whole: "structx" is an object.
    EXPECT_EQ(show("x", obj.get()), "x = \n\tstructx object: 1-by-1\n");
    EXPECT_EQ(show("x", h.get()), "x = \n    @sin\n");
    EXPECT_EQ(show("x", op.get()), "x = \n\tjava.lang.Object\n");
    EXPECT_EQ(show("x", cube.get()), "x(:,:,1) =\n     0\nx(:,:,2) =\n     7\n");
}

TEST_F(DisplayDispatch, DeferredDimensionsAreCompletedBeforeTheyAreRead) {
    char const* names[] = {"v"};
    size_t const one[2] = {1, 1};
    size_t const later[2] = {2, 3};
    ArrayPtr obj(vxCreateObject("polynom", 2, one, 1, names));
    vxDeferDimensions(obj.get(), 2, later);
    char size[IO_SIZE_STRING_SIZE];
    EXPECT_STREQ(ioSizeString(obj.get(), size), "      2x3");
    EXPECT_FALSE(vxDimensionsIncomplete(obj.get()));
}

TEST_F(DisplayDispatch, PrintingSetsTheNumericLocale) {
    std::setlocale(LC_NUMERIC, "");
    ArrayPtr a = doubles({{1.5}});
    show("a", a.get());
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
}
