// Structures, objects and opaque values: the aligned field list of a scalar
// structure with one-line values or summaries, structure arrays by size and
// field names, object sizes from the session's size callback, opaque values
// by class. Expected texts are worked out by hand: a field name stands
// right-aligned in the longest name's length + 4, then ": "; a value line
// has (window - 1) - 3 - that width characters.
#include "display/display_support.hpp"
#include "qzservices/display/sizes.hpp"
#include "qzservices/display/struct_display.hpp"
#include "qzservices/io/CXStringSink.hpp"

using namespace qztest;

namespace {

vxArray* rangeRow(size_t n) {
    vxArray* a = vxCreateDoubleMatrix(1, n, vxREAL);
    for (size_t i = 0; i < n; ++i) vxGetPr(a)[i] = static_cast<double>(i + 1);
    return a;
}

vxArray* cellRow(std::initializer_list<vxArray*> cells) { return cellOf({1, cells.size()}, cells).release(); }

vxArray* sizeRow(std::initializer_list<double> values) { return doubles({values}).release(); }

} // namespace

class StructDisplay : public DisplayTest {};

TEST_F(StructDisplay, FieldListsWithOneLineValuesOrSummaries) {
    char const* inner[] = {"z"};
    std::string const q69(69, 'q'), w30(30, 'w');
    std::string list = "[1 2 3 4 5 6 7 8 9";
    for (int i = 10; i <= 26; ++i) list += " " + std::to_string(i);
    expectShown({
        {"s", structOf({{"a", rangeRow(3)}, {"bcd", rangeRow(1000)}, {"inner", vxCreateStructMatrix(1, 1, 1, inner)},
                        {"s", str("")}, {"empty", zeros(0, 3)}, {"mixed", cellRow({num(1), str("a")})},
                        {"f", vxCreateFunctionHandle("@sin")}, {"unset", nullptr}}),
         "\ns = \n\n        a: [1 2 3]\n      bcd: [1x1000 double]\n    inner: [1x1 struct]\n        s: ''\n"
         "    empty: [0x3 double]\n    mixed: {[1]  'a'}\n        f: @sin\n    unset: []\n\n"},
        {"s", structOf({{"x", num(5)}}), "s = \n    x: 5\n", PrtfmtShort, true},
        // One field "x": names 5 wide, values 79 - 3 - 5 = 71, lists up to 69.
        // 1 to 26: 9 one-digit and 17 two-digit values, 25 blanks: 68.
        {"s", structOf({{"x", rangeRow(26)}}), "\ns = \n\n    x: " + list + "]\n\n"},
        {"s", structOf({{"x", rangeRow(27)}}), "\ns = \n\n    x: [1x27 double]\n\n"},
        // A string fits when its quoted form has at most 71 characters.
        {"s", structOf({{"x", str(q69.c_str())}}), "\ns = \n\n    x: '" + q69 + "'\n\n"},
        {"s", structOf({{"x", str((q69 + "q").c_str())}}), "\ns = \n\n    x: [1x70 char]\n\n"},
        {"s", structOf({{"x", zeros(2, 1)}}), "\ns = \n\n    x: [2x1 double]\n\n"},  // only rows are listed
        // In a cell a string too long for what is left of the line takes its
        // summary; a cell still too long takes its own.
        {"s", structOf({{"x", cellRow({str(q69.c_str())})}}), "\ns = \n\n    x: {[1x69 char]}\n\n"},
        {"s", structOf({{"x", cellRow({str(w30.c_str()), str(w30.c_str()), str(w30.c_str())})}}),
         "\ns = \n\n    x: {1x3 cell}\n\n"},
        {"s", structOf({{"x", cellRow({zeros(2, 2), nullptr})}}), "\ns = \n\n    x: {[2x2 double]  []}\n\n"},
        {"s", structOf({{"x", sizeRow({1.5, 2.5, 3.5, 4.5, 5.5})}}), "\ns = \n\n    x: [1.5000 2.5000 3.5000 4.5000 5.5000]\n\n"},
        // Five values of 17 characters and four blanks: 89, past 69.
        {"s", structOf({{"x", sizeRow({1.5, 2.5, 3.5, 4.5, 5.5})}}), "\ns = \n\n    x: [1x5 double]\n\n", PrtfmtLong},
        {"s", structOf({{"x", sizeRow({1.5, 2.5})}}), "\ns = \n\n    x: [1.500000000000000 2.500000000000000]\n\n", PrtfmtLong},
    });
    // Names 25 wide leave nothing of a 20-column window: no value fits.
    ioSetNumWindowColumns(20);
    EXPECT_EQ(show("s", structOf({{"averyveryverylongname", num(5)}, {"b", str("x")}}).get()),
              "\ns = \n\n    averyveryverylongname: [1x1 double]\n                        b: [1x1 char]\n\n");
}

TEST_F(StructDisplay, ArraysAndStructuresWithoutFieldsShowTheirSize) {
    char const* names[] = {"a", "bcd"};
    expectShown({
        {"s", ArrayPtr(vxCreateStructMatrix(2, 3, 2, names)), "\ns = \n\n2x3 struct array with fields:\n\n    a\n    bcd\n\n"},
        {"s", ArrayPtr(vxCreateStructMatrix(2, 3, 2, names)), "s = \n2x3 struct array with fields:\n    a\n    bcd\n",
         PrtfmtShort, true},
        {"s", ArrayPtr(vxCreateStructMatrix(0, 0, 2, names)), "\ns = \n\n0x0 struct array with fields:\n\n    a\n    bcd\n\n"},
        {"s", ArrayPtr(vxCreateStructMatrix(1, 2, 0, nullptr)), "\ns = \n\n1x2 struct array with no fields.\n\n"},
        {"s", ArrayPtr(vxCreateStructMatrix(1, 1, 0, nullptr)), "\ns = \n\nstruct with no fields.\n\n"},
    });
    Capture capture;  // without a name there is no heading
    ioPrintStructure(nullptr, ArrayPtr(vxCreateStructMatrix(1, 1, 0, nullptr)).get());
    EXPECT_EQ(capture.outText(), "struct with no fields.\n\n");
}

TEST_F(StructDisplay, AStopRequestEndsTheFieldList) {
    PushedTrigger sink("a: 1\n");
    ioPrintArray("s", structOf({{"a", num(1)}, {"b", num(2)}, {"c", num(3)}}).get());
    EXPECT_EQ(sink.buffer->text, "\ns = \n\n    a: 1\n\n\n");
}

namespace {
class HotStringSink : public services::io::CXStringSink {
public:
    bool supportsHotlinks() const override { return true; }
};
} // namespace

TEST_F(StructDisplay, TheWordStructIsABoldHelpLinkWhenOutputIsHot) {
    char const* names[] = {"a"};
    EXPECT_EQ(ioCreateBoldHelpHotlink("struct", "struct"), "struct");
    auto sink = boost::make_shared<HotStringSink>();
    services::io::CXStream::CXOut.push(sink);
    compact();
    uvSetHotLinks(true);
    ioPrintArray("s", ArrayPtr(vxCreateStructMatrix(2, 1, 1, names)).get());
    ioPrintArray("t", ArrayPtr(vxCreateStructMatrix(1, 1, 0, nullptr)).get());
    std::string const plain = ioCreateHelpHotlink("text \"x\"", "topic");
    uvSetHotLinks(false);
    std::string const off = ioCreateHelpHotlink("struct", "struct");
    services::io::CXStream::CXOut.flush();
    services::io::CXStream::CXOut.pop();
    std::string const link = "<a href=\"calyx:helpPopup struct\" style=\"font-weight:bold\">struct</a>";
    EXPECT_EQ(sink->getString(), "s = \n2x1 " + link + " array with fields:\n    a\nt = \n" + link + " with no fields.\n");
    EXPECT_EQ(plain, "<a href=\"calyx:helpPopup topic\">text \"x\"</a>");  // nothing is escaped
    EXPECT_EQ(off, "struct");
}

TEST(StructMember, OneLineFormsAndTheirLimits) {
    std::string text;
    ArrayPtr row = doubles({{1, 2.5, -3}}), one = doubles({{7}}), bare(vxCreateFunctionHandle("cos"));
    ArrayPtr sparse1x3 = sparse(1, 3, {{0, 1, 4}}), bigSparse(vxCreateSparse(10, 10, 1, vxREAL));
    // The value, the limit, and the text (null: refused, the text left empty).
    std::tuple<vxArray const*, size_t, char const*> const rows[] = {
        // The list itself must leave two places for the brackets.
        {row.get(), 80, "[1 2.5000 -3]"}, {row.get(), 13, "[1 2.5000 -3]"}, {row.get(), 12, nullptr}, {one.get(), 80, "7"},
        // A handle gets its "@"; one too long shows its class.
        {bare.get(), 80, "@cos"}, {bare.get(), 3, "[function_handle]"},
        // Sparse: up to 99 elements in full, more refused.
        {sparse1x3.get(), 80, "[0 4 0]"}, {bigSparse.get(), 1000, nullptr},
    };
    for (auto const& [value, limit, expected] : rows) {
        text = "stale";
        EXPECT_EQ(ioFormatNumberList(value, text, limit), expected ? 1 : 0) << limit;
        EXPECT_EQ(text, expected ? expected : "");
    }
    // Quoting turns NUL units into blanks and keeps the text only if it fits.
    ioUnitString units;
    ArrayPtr chars3 = chars({1, 3}, {'a', 0, 0x263A});
    EXPECT_EQ(ioQuoteCharRow(chars3.get(), units, 5), 1);
    EXPECT_EQ(units, ioUnitString({'\'', 'a', ' ', 0x263A, '\''}));
    EXPECT_EQ(ioQuoteCharRow(chars3.get(), units, 4), 0);
    EXPECT_TRUE(units.empty());
}

TEST_F(StructDisplay, StructMembersWriteOnlyWhatFits) {
    Capture capture;
    EXPECT_TRUE(ioPrintStructMember(nullptr, 10));
    ArrayPtr cells(cellRow({num(1), str("ab"), nullptr}));
    EXPECT_FALSE(ioPrintStructMember(cells.get(), 14));  // "{[1]  'ab'  []}" is 15 long
    EXPECT_TRUE(ioPrintStructMember(cells.get(), 15));
    EXPECT_TRUE(ioPrintStructMember(ArrayPtr(vxCreateCellMatrix(1, 0)).get(), 10));
    EXPECT_FALSE(ioPrintStructMember(ArrayPtr(zeros(2, 2)).get(), 100));
    EXPECT_EQ(capture.outText(), "[Empty]\n{[1]  'ab'  []}\n{}\n");
}

TEST_F(StructDisplay, ObjectsAndOpaqueValuesShowTheirClassAndSize) {
    SizeCallbackScope scope;
    _sv_iocb.sizeCallback = nullptr;
    size_t const one[2] = {1, 1};
    auto object = [](std::vector<size_t> d) { return ArrayPtr(vxCreateObject("polynom", d.size(), d.data(), 0, nullptr)); };
    auto opaque = [](std::vector<size_t> d) { return ArrayPtr(vxCreateOpaque("java.lang.String", d.size(), d.data())); };
    expectShown({
        {"p", object({2, 3}), "\np = \n\n\tpolynom object: 2-by-3\n\n"},
        {"p", object({2, 3}), "p = \n\tpolynom object: 2-by-3\n", PrtfmtShort, true},
        {"p", object({2, 3, 4}), "\np = \n\n\tpolynom object: 2-by-3-by-4\n\n"},
        {"p", object({2, 3, 4, 5}), "\np = \n\n\tpolynom object: 4-D\n\n"},
        // The class name is compared whole: "structx" is an object.
        {"x", ArrayPtr(vxCreateObject("structx", 2, one, 0, nullptr)), "\nx = \n\n\tstructx object: 1-by-1\n\n"},
        {"j", opaque({1, 1}), "\nj = \n\n\tjava.lang.String\n\n"},
        {"j", opaque({1, 1}), "j = \n\tjava.lang.String\n", PrtfmtShort, true},
        {"j", opaque({2, 3}), "\nj = \n\n\tjava.lang.String: 2-by-3\n\n"},
        {"j", opaque({2, 3, 4}), "\nj = \n\n\tjava.lang.String: 2-by-3-by-4\n\n"},
        {"j", opaque({1, 2, 3, 4}), "\nj = \n\n\tjava.lang.String: 4-D\n\n"},
    });
    // The size callback decides when it reports two or more values; with one
    // value, another class or nothing the object's own size stands.
    std::pair<vxArray_tag* (*)(vxArray_tag const*), char const*> const rows[] = {
        {[](vxArray_tag const*) { return sizeRow({4, 5}); }, "4-by-5"},
        {[](vxArray_tag const*) { return sizeRow({1, HUGE_VAL, NAN}); }, "1-by-Inf-by-NaN"},
        {[](vxArray_tag const*) { return sizeRow({1, 2, 3, 4, 5}); }, "5-D"},
        {[](vxArray_tag const*) { return sizeRow({7}); }, "2-by-3"},
        {[](vxArray_tag const*) { return str("4x5"); }, "2-by-3"},
        {[](vxArray_tag const*) -> vxArray_tag* { return nullptr; }, "2-by-3"},
    };
    ArrayPtr p = object({2, 3});
    for (auto const& [callback, size] : rows) {
        _sv_iocb.sizeCallback = callback;
        EXPECT_EQ(show("p", p.get()), std::string("\np = \n\n\tpolynom object: ") + size + "\n\n");
    }
}
