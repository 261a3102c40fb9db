// Numeric, logical and character arrays of more than two dimensions: one
// two-dimensional page after another, each under its own heading
// "A(:,:,k)", with page names cut short past 496 characters.
#include "display/display_support.hpp"
#include "qzservices/orrery/InterruptException.hpp"

using namespace qztest;

class ManyDimensionalDisplay : public DisplayTest {};

TEST_F(ManyDimensionalDisplay, EachPageIsShownUnderItsOwnHeadingInItsOwnFormat) {
    expectShown({
        {"A", nd({2, 2, 2}, {1, 2, 3, 4, 5, 6, 7, 8}),
         "\nA(:,:,1) =\n\n     1     3\n     2     4\n\n\nA(:,:,2) =\n\n     5     7\n     6     8\n\n"},
        {"A", nd({2, 2, 2}, {1, 2, 3, 4, 5, 6, 7, 8}),
         "A(:,:,1) =\n     1     3\n     2     4\nA(:,:,2) =\n     5     7\n     6     8\n", PrtfmtShort, true},
        {"A", nd({1, 2, 2}, {1, 2, 0.5, 1.25}), "\nA(:,:,1) =\n\n     1     2\n\n\nA(:,:,2) =\n\n    0.5000    1.2500\n\n"},
        {"k", nd<int8_t>({1, 2, 2}, {-100, -50, 0, 50}, vxINT8_CLASS),
         "\nk(:,:,1) =\n\n -100  -50\n\n\nk(:,:,2) =\n\n    0   50\n\n"},
        // The first counter steps fastest.
        {"b", nd<unsigned char>({1, 1, 2, 2}, {0, 0, 1, 0}, vxLOGICAL_CLASS),
         "b(:,:,1,1) =\n     0\nb(:,:,2,1) =\n     0\nb(:,:,1,2) =\n     1\nb(:,:,2,2) =\n     0\n", PrtfmtShort, true},
        {"c", chars({2, 2, 2}, {'a', 'c', 'b', 'd', 'e', 'g', 'f', 'h'}),
         "\nc(:,:,1) =\n\nab\ncd\n\nc(:,:,2) =\n\nef\ngh\n\n"},
        // Without a name: no name in the headings and no blank line at the end.
        {"", chars({2, 2, 2}, {'a', 'c', 'b', 'd', 'e', 'g', 'f', 'h'}), "\n(:,:,1) =\n\nab\ncd\n\n(:,:,2) =\n\nef\ngh\n"},
        {"A", nd({2, 0, 3}), "\nA =\n\n   Empty array: 2-by-0-by-3\n\n"},
    });
    // Complex pages show as two-dimensional arrays under the pages' names would.
    size_t const dims[3] = {1, 2, 2};
    ArrayPtr z(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxCOMPLEX));
    for (size_t i = 0; i < 4; ++i) {
        vxGetPr(z.get())[i] = static_cast<double>(i + 1);
        vxGetPi(z.get())[i] = -static_cast<double>(i) - 0.5;
    }
    EXPECT_EQ(show("z", z.get()), show("z(:,:,1)", complexRow({{1, -0.5}, {2, -1.5}}).get()) +
                                      show("z(:,:,2)", complexRow({{3, -2.5}, {4, -3.5}}).get()));
}

TEST_F(ManyDimensionalDisplay, APageNamePast496CharactersEndsInAnEllipsis) {
    // A name of 480 characters and nine counters: after "(:,:," and seven
    // counters the name is 498 long, so the last two give way to ",...".
    std::string const name(480, 'n');
    std::string const page = name + "(:,:,1,1,1,1,1,1,1,...)";
    std::vector<size_t> eleven(11, 1), fourteen(14, 1);
    eleven.back() = fourteen[2] = fourteen.back() = 2;
    expectShown({
        {name.c_str(), nd(eleven, {0, 5}), "\n" + page + " =\n\n     0\n\n\n" + page + " =\n\n     5\n\n"},
        {"B", nd(eleven), "B(:,:,1,1,1,1,1,1,1,1,1) =\n     0\nB(:,:,1,1,1,1,1,1,1,1,2) =\n     0\n", PrtfmtShort, true},
        // Twelve counters: more than the page counters had room for so far.
        {"C", nd(fourteen, {0, 0, 0, 9}),
         "C(:,:,1,1,1,1,1,1,1,1,1,1,1,1) =\n     0\nC(:,:,2,1,1,1,1,1,1,1,1,1,1,1) =\n     0\n"
         "C(:,:,1,1,1,1,1,1,1,1,1,1,1,2) =\n     0\nC(:,:,2,1,1,1,1,1,1,1,1,1,1,2) =\n     9\n",
         PrtfmtShort, true},
    });
}

TEST_F(ManyDimensionalDisplay, AStopEndsThePageAndAnInterruptTheDisplay) {
    ArrayPtr a = nd({2, 1, 2}, {1, 2, 3, 4});
    {
        PushedTrigger sink("     1\n");
        ioPrintArray("A", a.get());
        EXPECT_EQ(sink.buffer->text, "\nA(:,:,1) =\n\n     1\n\n\nA(:,:,2) =\n\n     3\n     4\n\n");
    }
    {
        PushedTrigger sink("     3\n", true);
        EXPECT_THROW(ioPrintArray("A", a.get()), Orrery::System::InterruptException);
        EXPECT_EQ(sink.buffer->text, "\nA(:,:,1) =\n\n     1\n     2\n\n\nA(:,:,2) =\n\n     3\n");
    }
    // The array's data survived the page header.
    EXPECT_EQ(show("A", a.get()), "\nA(:,:,1) =\n\n     1\n     2\n\n\nA(:,:,2) =\n\n     3\n     4\n\n");
}
