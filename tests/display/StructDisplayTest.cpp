// Structures, objects and opaque values: the aligned field list of a scalar
// structure with one-line values or summaries, structure arrays by size and
// field names, object sizes from the session's size callback, opaque values
// by class. Expected texts are worked out by hand: a field name stands
// right-aligned in the longest name's length + 4, then ": "; a value line
// has (window - 1) - 3 - that width characters.
#include "display/display_support.hpp"
#include "display/trigger_sink.hpp"
#include "qzservices/display/struct_display.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/callbacks.hpp"

#include <boost/make_shared.hpp>

#include <cmath>
#include <string>
#include <vector>

using namespace qztest;

namespace {

// A 1-by-1 structure with the given fields set to the given values (owned
// by the structure from here on; null leaves a field unset).
ArrayPtr structOf(std::vector<std::pair<char const*, vxArray*>> const& fields) {
    std::vector<char const*> names;
    for (auto const& f : fields) names.push_back(f.first);
    ArrayPtr s(vxCreateStructMatrix(1, 1, static_cast<int>(names.size()), names.data()));
    for (size_t i = 0; i < fields.size(); ++i) vxSetFieldByNumber(s.get(), 0, static_cast<int>(i), fields[i].second);
    return s;
}

vxArray* rangeRow(size_t n) {
    vxArray* a = vxCreateDoubleMatrix(1, n, vxREAL);
    for (size_t i = 0; i < n; ++i) vxGetPr(a)[i] = static_cast<double>(i + 1);
    return a;
}

vxArray* cellRow(std::initializer_list<vxArray*> cells) {
    vxArray* c = vxCreateCellMatrix(1, cells.size());
    size_t i = 0;
    for (vxArray* a : cells) vxSetCell(c, i++, a);
    return c;
}

// Puts the size callback back whatever a test set.
struct SizeCallbackScope {
    vxArray_tag* (*saved)(vxArray_tag const*) = _sv_iocb.sizeCallback;
    ~SizeCallbackScope() { _sv_iocb.sizeCallback = saved; }
};

vxArray* reportedSize(std::initializer_list<double> values) {
    vxArray* a = vxCreateDoubleMatrix(1, values.size(), vxREAL);
    size_t i = 0;
    for (double v : values) vxGetPr(a)[i++] = v;
    return a;
}

} // namespace

class StructDisplay : public DisplayTest {};

TEST_F(StructDisplay, AScalarStructureListsItsFieldsWithOneLineValues) {
    char const* inner[] = {"z"};
    ArrayPtr s = structOf({{"a", rangeRow(3)},
                           {"bcd", rangeRow(1000)},
                           {"inner", vxCreateStructMatrix(1, 1, 1, inner)},
                           {"s", vxCreateString("")},
                           {"empty", vxCreateDoubleMatrix(0, 3, vxREAL)},
                           {"mixed", cellRow({vxCreateDoubleScalar(1), vxCreateString("a")})},
                           {"f", vxCreateFunctionHandle("@sin")},
                           {"unset", nullptr}});
    EXPECT_EQ(show("s", s.get()),
              "\ns = \n\n"
              "        a: [1 2 3]\n"
              "      bcd: [1x1000 double]\n"
              "    inner: [1x1 struct]\n"
              "        s: ''\n"
              "    empty: [0x3 double]\n"
              "    mixed: {[1]  'a'}\n"
              "        f: @sin\n"
              "    unset: []\n"
              "\n");
    compact();
    ArrayPtr one = structOf({{"x", vxCreateDoubleScalar(5)}});
    EXPECT_EQ(show("s", one.get()), "s = \n    x: 5\n");
}

TEST_F(StructDisplay, ValuesThatDoNotFitTheLineFallToTheirSummaries) {
    // One field "x": names 5 wide, values 79 - 3 - 5 = 71, lists up to 69.
    // 1 to 26: 9 one-digit and 17 two-digit values, 25 blanks: 68.
    ArrayPtr fits = structOf({{"x", rangeRow(26)}});
    std::string list = "[1 2 3 4 5 6 7 8 9";
    for (int i = 10; i <= 26; ++i) list += " " + std::to_string(i);
    EXPECT_EQ(show("s", fits.get()), "\ns = \n\n    x: " + list + "]\n\n");
    ArrayPtr over = structOf({{"x", rangeRow(27)}});  // 71
    EXPECT_EQ(show("s", over.get()), "\ns = \n\n    x: [1x27 double]\n\n");

    // A string fits when its quoted form has at most 71 characters.
    std::string const text69(69, 'q');
    ArrayPtr quoted = structOf({{"x", vxCreateString(text69.c_str())}});
    EXPECT_EQ(show("s", quoted.get()), "\ns = \n\n    x: '" + text69 + "'\n\n");
    ArrayPtr longer = structOf({{"x", vxCreateString((text69 + "q").c_str())}});
    EXPECT_EQ(show("s", longer.get()), "\ns = \n\n    x: [1x70 char]\n\n");

    // Only rows are listed.
    ArrayPtr column = structOf({{"x", doubles({{1}, {2}}).release()}});
    EXPECT_EQ(show("s", column.get()), "\ns = \n\n    x: [2x1 double]\n\n");
    // In a cell a string too long for what is left of the line takes its
    // summary; a cell still too long takes its own.
    ArrayPtr oneLong = structOf({{"x", cellRow({vxCreateString(text69.c_str())})}});
    EXPECT_EQ(show("s", oneLong.get()), "\ns = \n\n    x: {[1x69 char]}\n\n");
    std::string const text30(30, 'w');
    ArrayPtr wideCell = structOf({{"x", cellRow({vxCreateString(text30.c_str()), vxCreateString(text30.c_str()),
                                                 vxCreateString(text30.c_str())})}});
    EXPECT_EQ(show("s", wideCell.get()), "\ns = \n\n    x: {1x3 cell}\n\n");
    ArrayPtr matrixCell = structOf({{"x", cellRow({vxCreateDoubleMatrix(2, 2, vxREAL), nullptr})}});
    EXPECT_EQ(show("s", matrixCell.get()), "\ns = \n\n    x: {[2x2 double]  []}\n\n");
}

TEST_F(StructDisplay, LongFormatTextMakesValuesFallToSummariesEarlier) {
    ArrayPtr s = structOf({{"x", doubles({{1.5, 2.5, 3.5, 4.5, 5.5}}).release()}});
    EXPECT_EQ(show("s", s.get()), "\ns = \n\n    x: [1.5000 2.5000 3.5000 4.5000 5.5000]\n\n");
    // Five values of 17 characters and four blanks: 89, past 69.
    EXPECT_EQ(showIn(PrtfmtLong, "s", s.get()), "\ns = \n\n    x: [1x5 double]\n\n");
    ArrayPtr two = structOf({{"x", doubles({{1.5, 2.5}}).release()}});
    EXPECT_EQ(showIn(PrtfmtLong, "s", two.get()), "\ns = \n\n    x: [1.500000000000000 2.500000000000000]\n\n");
}

TEST_F(StructDisplay, StructureArraysShowTheirSizeAndFieldNames) {
    char const* names[] = {"a", "bcd"};
    ArrayPtr s(vxCreateStructMatrix(2, 3, 2, names));
    EXPECT_EQ(show("s", s.get()), "\ns = \n\n2x3 struct array with fields:\n\n    a\n    bcd\n\n");
    ArrayPtr none(vxCreateStructMatrix(1, 2, 0, nullptr));
    EXPECT_EQ(show("s", none.get()), "\ns = \n\n1x2 struct array with no fields.\n\n");
    ArrayPtr empty(vxCreateStructMatrix(0, 0, 2, names));
    EXPECT_EQ(show("s", empty.get()), "\ns = \n\n0x0 struct array with fields:\n\n    a\n    bcd\n\n");
    compact();
    EXPECT_EQ(show("s", s.get()), "s = \n2x3 struct array with fields:\n    a\n    bcd\n");
}

TEST_F(StructDisplay, AStructureWithNoFieldsSaysSo) {
    ArrayPtr s(vxCreateStructMatrix(1, 1, 0, nullptr));
    EXPECT_EQ(show("s", s.get()), "\ns = \n\nstruct with no fields.\n\n");
    // Without a name there is no heading.
    Capture capture;
    ioPrintStructure(nullptr, s.get());
    EXPECT_EQ(capture.outText(), "struct with no fields.\n\n");
}

TEST_F(StructDisplay, AWindowTooNarrowForAnyValueShowsSummaries) {
    // Names 25 wide leave nothing of a 20-column window: no value fits.
    ArrayPtr s = structOf({{"averyveryverylongname", vxCreateDoubleScalar(5)}, {"b", vxCreateString("x")}});
    ioSetNumWindowColumns(20);
    EXPECT_EQ(show("s", s.get()),
              "\ns = \n\n"
              "    averyveryverylongname: [1x1 double]\n"
              "                        b: [1x1 char]\n\n");
}

TEST_F(StructDisplay, AnUnknownPrintFormatIsRefusedBeforeAnythingIsWritten) {
    ArrayPtr s = structOf({{"x", vxCreateDoubleScalar(5)}});
    ArrayPtr c(vxCreateCellMatrix(1, 1));
    vxSetCell(c.get(), 0, vxCreateDoubleScalar(5));
    SetPrtfmt(14);
    for (vxArray const* a : {static_cast<vxArray const*>(s.get()), static_cast<vxArray const*>(c.get())}) {
        Capture capture;
        try {
            ioPrintArray("x", a);
            ADD_FAILURE() << "no error";
        } catch (vx::Error const& e) {
            EXPECT_EQ(e.identifier(), "CALYX:services:invalidPrintFormat");
        }
        EXPECT_EQ(capture.outText(), "");
    }
}

TEST_F(StructDisplay, AStopRequestEndsTheFieldList) {
    ArrayPtr s = structOf({{"a", vxCreateDoubleScalar(1)}, {"b", vxCreateDoubleScalar(2)},
                           {"c", vxCreateDoubleScalar(3)}});
    PushedTrigger sink("a: 1\n");
    ioPrintArray("s", s.get());
    EXPECT_EQ(sink.buffer->text, "\ns = \n\n    a: 1\n\n\n");
}

TEST(StructMember, OneLineFormsAndTheirLimits) {
    std::string text;
    ArrayPtr row = doubles({{1, 2.5, -3}});
    EXPECT_EQ(ioFormatNumberList(row.get(), text, 80), 1);
    EXPECT_EQ(text, "[1 2.5000 -3]");
    // The list itself must leave two places for the brackets.
    EXPECT_EQ(ioFormatNumberList(row.get(), text, 13), 1);
    EXPECT_EQ(ioFormatNumberList(row.get(), text, 12), 0);
    EXPECT_EQ(text, "");
    ArrayPtr one = doubles({{7}});
    EXPECT_EQ(ioFormatNumberList(one.get(), text, 80), 1);
    EXPECT_EQ(text, "7");

    // A handle gets its "@"; one too long shows its class.
    ArrayPtr bare(vxCreateFunctionHandle("cos"));
    EXPECT_EQ(ioFormatNumberList(bare.get(), text, 80), 1);
    EXPECT_EQ(text, "@cos");
    EXPECT_EQ(ioFormatNumberList(bare.get(), text, 3), 1);
    EXPECT_EQ(text, "[function_handle]");

    // Sparse: up to 99 elements in full, more refused.
    ArrayPtr sparse(vxCreateSparse(1, 3, 1, vxREAL));
    vxGetPr(sparse.get())[0] = 4;
    vxGetIr(sparse.get())[0] = 0;
    vxGetJc(sparse.get())[1] = 0;
    vxGetJc(sparse.get())[2] = 1;
    vxGetJc(sparse.get())[3] = 1;
    EXPECT_EQ(ioFormatNumberList(sparse.get(), text, 80), 1);
    EXPECT_EQ(text, "[0 4 0]");
    ArrayPtr bigSparse(vxCreateSparse(10, 10, 1, vxREAL));
    EXPECT_EQ(ioFormatNumberList(bigSparse.get(), text, 1000), 0);

    // Quoting turns NUL units into blanks and keeps the text only if it fits.
    ioUnitString units;
    size_t const dims[2] = {1, 3};
    ArrayPtr chars(vxCreateCharArray(2, dims));
    vxChar* data = static_cast<vxChar*>(vxGetData(chars.get()));
    data[0] = 'a';
    data[1] = 0;
    data[2] = 0x263A;
    EXPECT_EQ(ioQuoteCharRow(chars.get(), units, 5), 1);
    EXPECT_EQ(units, ioUnitString({'\'', 'a', ' ', 0x263A, '\''}));
    EXPECT_EQ(ioQuoteCharRow(chars.get(), units, 4), 0);
    EXPECT_TRUE(units.empty());
}

class StructMemberOutput : public DisplayTest {};

TEST_F(StructMemberOutput, WritesOnlyWhatFits) {
    Capture capture;
    EXPECT_TRUE(ioPrintStructMember(nullptr, 10));
    ArrayPtr cells(cellRow({vxCreateDoubleScalar(1), vxCreateString("ab"), nullptr}));
    // "{[1]  'ab'  []}" is 15 long.
    EXPECT_FALSE(ioPrintStructMember(cells.get(), 14));
    EXPECT_TRUE(ioPrintStructMember(cells.get(), 15));
    ArrayPtr emptyRow(vxCreateCellMatrix(1, 0));
    EXPECT_TRUE(ioPrintStructMember(emptyRow.get(), 10));
    ArrayPtr matrix(vxCreateDoubleMatrix(2, 2, vxREAL));
    EXPECT_FALSE(ioPrintStructMember(matrix.get(), 100));
    EXPECT_EQ(capture.outText(), "[Empty]\n{[1]  'ab'  []}\n{}\n");
}

class ObjectDisplay : public DisplayTest {};

TEST_F(ObjectDisplay, AnObjectShowsItsClassAndItsOwnSize) {
    SizeCallbackScope scope;
    _sv_iocb.sizeCallback = nullptr;
    char const* names[] = {"coef"};
    size_t const dims[2] = {2, 3};
    ArrayPtr p(vxCreateObject("polynom", 2, dims, 1, names));
    EXPECT_EQ(show("p", p.get()), "\np = \n\n\tpolynom object: 2-by-3\n\n");
    size_t const three[3] = {2, 3, 4};
    ArrayPtr cube(vxCreateObject("polynom", 3, three, 1, names));
    EXPECT_EQ(show("p", cube.get()), "\np = \n\n\tpolynom object: 2-by-3-by-4\n\n");
    size_t const four[4] = {2, 3, 4, 5};
    ArrayPtr big(vxCreateObject("polynom", 4, four, 1, names));
    EXPECT_EQ(show("p", big.get()), "\np = \n\n\tpolynom object: 4-D\n\n");
    compact();
    EXPECT_EQ(show("p", p.get()), "p = \n\tpolynom object: 2-by-3\n");
}

TEST_F(ObjectDisplay, TheSizeCallbackDecidesWhenItReportsTwoOrMoreValues) {
    SizeCallbackScope scope;
    size_t const dims[2] = {2, 3};
    ArrayPtr p(vxCreateObject("polynom", 2, dims, 0, nullptr));

    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return reportedSize({4, 5}); };
    EXPECT_EQ(show("p", p.get()), "\np = \n\n\tpolynom object: 4-by-5\n\n");
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return reportedSize({1, HUGE_VAL, NAN}); };
    EXPECT_EQ(show("p", p.get()), "\np = \n\n\tpolynom object: 1-by-Inf-by-NaN\n\n");
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return reportedSize({1, 2, 3, 4, 5}); };
    EXPECT_EQ(show("p", p.get()), "\np = \n\n\tpolynom object: 5-D\n\n");
    // One value, another class, or nothing: the object's own size.
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return reportedSize({7}); };
    EXPECT_EQ(show("p", p.get()), "\np = \n\n\tpolynom object: 2-by-3\n\n");
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return vxCreateString("4x5"); };
    EXPECT_EQ(show("p", p.get()), "\np = \n\n\tpolynom object: 2-by-3\n\n");
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return nullptr; };
    EXPECT_EQ(show("p", p.get()), "\np = \n\n\tpolynom object: 2-by-3\n\n");
}

TEST_F(ObjectDisplay, AnOpaqueValueShowsItsClassAndASizeWhenNotScalar) {
    size_t const one[2] = {1, 1};
    ArrayPtr scalar(vxCreateOpaque("java.lang.String", 2, one));
    EXPECT_EQ(show("j", scalar.get()), "\nj = \n\n\tjava.lang.String\n\n");
    size_t const dims[2] = {2, 3};
    ArrayPtr array(vxCreateOpaque("java.lang.String", 2, dims));
    EXPECT_EQ(show("j", array.get()), "\nj = \n\n\tjava.lang.String: 2-by-3\n\n");
    size_t const three[3] = {2, 3, 4};
    ArrayPtr cube(vxCreateOpaque("java.lang.String", 3, three));
    EXPECT_EQ(show("j", cube.get()), "\nj = \n\n\tjava.lang.String: 2-by-3-by-4\n\n");
    size_t const four[4] = {1, 2, 3, 4};
    ArrayPtr big(vxCreateOpaque("java.lang.String", 4, four));
    EXPECT_EQ(show("j", big.get()), "\nj = \n\n\tjava.lang.String: 4-D\n\n");
    // Deferred dimensions are completed first.
    ArrayPtr later(vxCreateOpaque("java.lang.String", 2, one));
    vxDeferDimensions(later.get(), 2, dims);
    EXPECT_EQ(show("j", later.get()), "\nj = \n\n\tjava.lang.String: 2-by-3\n\n");
}

namespace {
class HotStringSink : public services::io::CXStringSink {
public:
    bool supportsHotlinks() const override { return true; }
};
} // namespace

TEST_F(StructDisplay, TheWordStructIsABoldHelpLinkWhenOutputIsHot) {
    char const* names[] = {"a"};
    ArrayPtr s(vxCreateStructMatrix(2, 1, 1, names));
    ArrayPtr none(vxCreateStructMatrix(1, 1, 0, nullptr));
    auto sink = boost::make_shared<HotStringSink>();
    services::io::CXStream::CXOut.push(sink);
    uvSetHotLinks(true);
    compact();
    ioPrintArray("s", s.get());
    ioPrintArray("t", none.get());
    uvSetHotLinks(false);
    services::io::CXStream::CXOut.flush();
    services::io::CXStream::CXOut.pop();
    std::string const link = "<a href=\"calyx:helpPopup struct\" style=\"font-weight:bold\">struct</a>";
    EXPECT_EQ(sink->getString(),
              "s = \n2x1 " + link + " array with fields:\n    a\n"
              "t = \n" + link + " with no fields.\n");
}
