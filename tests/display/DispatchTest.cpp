// The front door of display: headings and the one-shot name suppression,
// every empty-array message, sparse and character arrays. Every other class
// reaches its printer through ioPrintArray in its own file.
#include "display/display_support.hpp"
#include "qzservices/display/sizes.hpp"

#include <clocale>

using namespace qztest;

class Dispatch : public DisplayTest {};

TEST_F(Dispatch, HeadingsAndTheOneShotNameSuppression) {
    ArrayPtr a = doubles({{1, 2}});
    ArrayPtr b = doubles({{3}});
    Capture capture;
    ioPrintArray(nullptr, a.get());
    ioPrintArray("B", b.get());
    ioSupressName();
    ioPrintArray("A", b.get());
    ioPrintArray("A", b.get());
    ioPrintMatrixCompact(b.get());
    ioPrintArray("", b.get());
    EXPECT_EQ(capture.outText(), "     1     2\n\n\nB =\n\n     3\n\n     3\n\n\nA =\n\n     3\n\n     3\n\n\nans =\n\n     3\n\n");
}

TEST_F(Dispatch, OneArgumentFormsAskTheNameCallback) {
    ArrayPtr a = doubles({{1}});
    ioSetArrayNameCallback(nullptr);
    EXPECT_THROW(ioPrintArray(a.get()), vx::Error);  // no callback yet: an error, not a call through null
    ioSetArrayNameCallback([](vxArray_tag const*) -> char const* { return "fromCallback"; });
    Capture capture;
    ioPrintArray(a.get());
    ioPrintMatrix(a.get());
    EXPECT_EQ(capture.outText(), "\nfromCallback =\n\n     1\n\n\nfromCallback =\n\n     1\n\n");
}

TEST_F(Dispatch, EmptiesTellTheirShapeOnlyWhenNamed) {
    expectShown({
        {"E", doubles({}), "\nE =\n\n     []\n\n"},
        {"E", ArrayPtr(zeros(0, 3)), "\nE =\n\n   Empty matrix: 0-by-3\n\n"},
        {"E", ArrayPtr(zeros(3, 0)), "\nE =\n\n   Empty matrix: 3-by-0\n\n"},
        {"E", ArrayPtr(zeros(0, 3)), "E =\n   Empty matrix: 0-by-3\n", PrtfmtShort, true},
        {nullptr, ArrayPtr(zeros(0, 3)), ""}, {"", doubles({}), ""}, {"", ArrayPtr(zeros(0, 3)), ""},
        {"", ArrayPtr(zeros(0, 2, vxINT16_CLASS)), ""}, {nullptr, ArrayPtr(), ""}, {"", sparse(0, 4, {}), ""},
        {"I", ArrayPtr(zeros(0, 2, vxINT16_CLASS)), "\nI =\n\n   Empty matrix: 0-by-2\n\n"},
        {"x", ArrayPtr(), "\nx =\n\n     []\n\n"},
        // Through the character path the named form ends with one more blank line.
        {"s", chars({0, 0}, {}), "\ns =\n\n     ''\n\n\n"},
        {"s", chars({1, 0}, {}), "\ns =\n\n   Empty string: 1-by-0\n\n\n"}, {nullptr, chars({0, 0}, {}), "     ''\n\n"},
        // An unnamed sparse without elements still tells its shape, unless it is empty.
        {"S", sparse(3, 4, {}), "\nS =\n\n   All zero sparse: 3-by-4\n\n"},
        {nullptr, sparse(3, 4, {}), "   All zero sparse: 3-by-4\n\n"},
        {"", sparse(3, 4, {}), "   All zero sparse: 3-by-4\n\n"},
        {"S", sparse(0, 4, {}), "\nS =\n\n   All zero sparse: 0-by-4\n\n"},
    });
    // The numeric printer's own messages.
    EXPECT_EQ(show("s", chars({0, 0}, {}).get(), ioPrintMatrix), "\ns =\n\n     ''\n\n");
    EXPECT_EQ(show("s", chars({1, 0}, {}).get(), ioPrintMatrix), "\ns =\n\n   Empty string: 1-by-0\n\n");
    EXPECT_EQ(show("s", chars({0, 2, 3}, {}).get(), ioPrintMatrix), "\ns =\n\n   Empty string: 0-by-2-by-3\n\n");
    EXPECT_EQ(show("E", nd({0, 2, 3}).get(), ioPrintMatrix), "\nE =\n\n   Empty array: 0-by-2-by-3\n\n");
    EXPECT_EQ(show("", nd({0, 2, 3}).get(), ioPrintMatrix), "");
}

TEST_F(Dispatch, SparseAndCharacterArrays) {
    expectShown({
        {"S", sparse(3, 4, {{1, 0, 5}, {0, 2, -1.5}}), "\nS =\n\n   (2,1)       5.0000\n   (1,3)      -1.5000\n\n"},
        {"S", sparse(3, 4, {{1, 0, 5}, {0, 2, -1.5}}), "\nS =\n\n   (2,1)   +\n   (1,3)   -\n\n", PrtfmtSign},
        // Wide shapes widen the prefix around a comma at a fixed place: field
        // 23 with the comma at 11, field 41 with the comma at 20.
        {"S", sparse(12345, 2, {{12344, 1, 7}}), "\nS =\n\n     (12345,2)" + std::string(14, ' ') + "7\n\n"},
        {"S", sparse(100000, 1, {{99999, 0, 1}}),
         "\nS =\n\n" + std::string(13, ' ') + "(100000,1)" + std::string(23, ' ') + "1\n\n"},
        {"s", text("hello"), "\ns =\n\nhello\n\n"}, {nullptr, text("hello"), "hello\n"}, {"", text("hello"), "hello\n"},
        {"s", text("hi"), "s =\nhi\n", PrtfmtShort, true},
        // Rows come from column-major units, and NUL is a blank.
        {"c", chars({2, 3}, {'a', 'd', 0, 'e', 'c', 'f'}), "\nc =\n\na c\ndef\n\n"},
    });
    // Sparse storage that points past its slots is refused before any output.
    ArrayPtr bad(vxCreateSparse(2, 2, 1, vxREAL));
    vxGetJc(bad.get())[2] = 5;
    Capture capture;
    EXPECT_THROW(ioPrintArray("S", bad.get()), vx::Error);
    EXPECT_EQ(capture.outText(), "");
}

TEST_F(Dispatch, CharacterUnitsReachTheSinkUnchangedAndPagesTakeTheirName) {
    Capture capture;
    ioPrintArray(nullptr, text("caf\xC3\xA9 \xE2\x82\xAC").get());
    services::io::CXStream::CXOut.flush();
    EXPECT_EQ(capture.out->getUnicodeString(), (std::basic_string<unsigned short>{'c', 'a', 'f', 0xE9, ' ', 0x20AC, '\n'}));

    Capture pages;
    ArrayPtr s = text("xy");
    dispf_string(s.get(), "name", "page(:,:,2)");
    ioSupressName();
    dispf_string(s.get(), "name", nullptr);
    dispf_string(s.get(), "", nullptr);
    EXPECT_EQ(pages.outText(), "\npage(:,:,2) =\n\nxy\nxy\nxy\n");
}

TEST_F(Dispatch, DeferredDimensionsAreCompletedBeforeTheyAreRead) {
    size_t const one[2] = {1, 1}, later[2] = {2, 3};
    ArrayPtr obj(vxCreateObject("polynom", 2, one, 0, nullptr));
    vxDeferDimensions(obj.get(), 2, later);
    char size[IO_SIZE_STRING_SIZE];
    EXPECT_STREQ(ioSizeString(obj.get(), size), "      2x3");
    ArrayPtr op(vxCreateOpaque("java.lang.String", 2, one));
    vxDeferDimensions(op.get(), 2, later);
    EXPECT_EQ(show("j", op.get()), "\nj = \n\n\tjava.lang.String: 2-by-3\n\n");
}

TEST_F(Dispatch, PrintingSetsTheNumericLocale) {
    std::setlocale(LC_NUMERIC, "");
    show("a", doubles({{1.5}}).get());
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
}
