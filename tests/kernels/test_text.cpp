// Formatted text, number-to-text conversions, text functions and regular
// expressions, against exact text written out by hand from the rules.
#include "helpers.hpp"

#include <memory>

using namespace kt;
using qzlang::kernels::formatText;

namespace {

struct FormatCase {
    char const* format;
    std::vector<std::shared_ptr<vxArray>> args;
    char const* expected;
};

std::string fmt(FormatCase const& c) {
    std::vector<vxArray const*> args;
    for (auto const& a : c.args) args.push_back(a.get());
    return formatText(c.format, args);
}

TEST(KernelFormat, SprintfRecyclingAndEdgeCases) {
    std::vector<FormatCase> table;
    auto add = [&](char const* f, std::vector<std::shared_ptr<vxArray>> a, char const* e) { table.push_back({f, std::move(a), e}); };
    add("%d\\n", {}, "\n");
    add("%d\\n", {mat(0, 0, {})}, "\n");
    add("%d,", {row({1, 2, 3})}, "1,2,3,");
    add("%d and %d\\n", {num(1), num(2), num(3)}, "1 and 2\n3 and ");
    add("%d %s|", {num(1), str("ab"), num(2), str("c")}, "1 ab|2 c|");
    add("%d", {str("ab")}, "9798");
    add("%d", {num(1.5)}, "1.500000e+00");
    add("%x %o", {num(255), num(8)}, "ff 10");
    add("%x", {num(-1)}, "-1.000000e+00");
    add("%s", {num(65)}, "A");
    add("%s", {num(3.5)}, "3.500000e+00");
    add("%c%c", {num(72), num(105)}, "Hi");
    add("%f %d %g", {num(INFINITY), num(-INFINITY), num(NAN)}, "Inf -Inf NaN");
    add("%5.1f|%-6.2e|%+d", {num(3.14159), num(12345), num(7)}, "  3.1|1.23e+04|+7");
    add("%*d|%.*f", {num(4), num(7), num(2), num(3.14159)}, "   7|3.14");
    add("%05.1f", {num(2.25)}, "002.2");
    add("100%% done\\t\\\\", {}, "100% done\t\\");
    add("\\x41\\101", {}, "AA");
    add("no conversions", {num(1), num(2)}, "no conversions");
    add("%s\\n", {str("a\\n")}, "a\\n\n");  // escapes belong to the format only
    add("%d %d\\n", {mat(2, 2, {1, 2, 3, 4})}, "1 3\n2 4\n");
    add("%.3s|%-4s|", {str("abcdef"), str("x")}, "abc|x   |");
    add("%d", {num(9007199254740993.0, vxINT64_CLASS)}, "9007199254740992");
    add("%u %i", {num(3), num(-4)}, "3 -4");
    add("%d", {num(1, vxLOGICAL_CLASS)}, "1");
    for (auto const& c : table) {
        SCOPED_TRACE(c.format);
        EXPECT_EQ(fmt(c), c.expected);
    }
    ArrayPtr big = num(0, vxINT64_CLASS);
    *static_cast<int64_t*>(vxGetData(big.get())) = INT64_MAX;
    std::vector<vxArray const*> args{big.get()};
    EXPECT_EQ(formatText("%d", args), "9223372036854775807");
    ArrayPtr cell(vxCreateCellMatrix(1, 1));
    EXPECT_EQ(errorOf([&] { formatText("%d", {cell.get()}); }), "Calyx:sprintfArgument");
}

TEST(KernelText, Num2strMat2strInt2str) {
    struct Row {
        ArrayPtr value;
        char const* expected;
    };
    std::vector<Row> n2s;
    n2s.push_back({num(M_PI), "3.1416"});
    n2s.push_back({num(123.456), "123.456"});
    n2s.push_back({num(42), "42"});
    n2s.push_back({num(-7), "-7"});
    n2s.push_back({row({1, 10, 100}), "1   10  100"});
    n2s.push_back({num(INFINITY), "Inf"});
    n2s.push_back({num(0.1), "0.1"});
    n2s.push_back({mat(1, 1, {3}, vxDOUBLE_CLASS, {-4}), "3-4i"});
    n2s.push_back({num(200, vxUINT8_CLASS), "200"});
    for (auto const& r : n2s) {
        SCOPED_TRACE(r.expected);
        EXPECT_EQ(textOf(call1("num2str", {r.value.get()}).get()), r.expected);
    }
    ArrayPtr m = call1("num2str", {mat(2, 2, {1, 200, 30, 4}).get()});
    EXPECT_EQ(sizeOf(m.get()), "2x7");  // " 1  200" over "30    4"
    EXPECT_EQ(rowsOf(call1("double", {m.get()}).get())[0], ' ');  // right-aligned columns
    EXPECT_EQ(textOf(call1("num2str", {num(M_PI).get(), num(8).get()}).get()), "3.1415927");
    EXPECT_EQ(textOf(call1("num2str", {num(M_PI).get(), str("%10.4f").get()}).get()), "    3.1416");
    EXPECT_EQ(textOf(call1("int2str", {num(2.5).get()}).get()), "3");

    std::vector<Row> m2s;
    m2s.push_back({mat(2, 2, {1, 2, 3, 4}), "[1 2;3 4]"});
    m2s.push_back({num(5), "5"});
    m2s.push_back({row({0.1, -2.5}), "[0.1 -2.5]"});
    m2s.push_back({num(M_PI), "3.14159265358979"});
    m2s.push_back({str("it"), "'it'"});
    m2s.push_back({row({1, 0}, vxLOGICAL_CLASS), "[true false]"});
    m2s.push_back({col({NAN, -INFINITY}), "[NaN;-Inf]"});
    m2s.push_back({mat(1, 1, {1}, vxDOUBLE_CLASS, {2}), "1+2i"});
    for (auto const& r : m2s) {
        SCOPED_TRACE(r.expected);
        EXPECT_EQ(textOf(call1("mat2str", {r.value.get()}).get()), r.expected);
    }
}

std::vector<std::string> cellTexts(vxArray const* c) {
    std::vector<std::string> v;
    for (size_t k = 0; k < vxGetNumberOfElements(c); ++k) v.push_back(vxGetCell(c, k) ? textOf(vxGetCell(c, k)) : "");
    return v;
}
typedef std::vector<std::string> S;

TEST(KernelText, TextFunctions) {
    EXPECT_EQ(textOf(call1("strcat", {str("a ").get(), str("b").get()}).get()), "ab");
    EXPECT_EQ(cellTexts(call1("strsplit", {str("a b  c").get()}).get()), (S{"a", "b", "c"}));
    EXPECT_EQ(cellTexts(call1("strsplit", {str("a,,b").get(), str(",").get(), str("CollapseDelimiters").get(),
                                           num(0, vxLOGICAL_CLASS).get()}).get()),
              (S{"a", "", "b"}));
    ArrayPtr parts = call1("strsplit", {str("x-y").get(), str("-").get()});
    EXPECT_EQ(textOf(call1("strjoin", {parts.get(), str(", ").get()}).get()), "x, y");
    EXPECT_EQ(textOf(call1("strrep", {str("aXbXc").get(), str("X").get(), str("--").get()}).get()), "a--b--c");
    EXPECT_EQ(textOf(call1("strtrim", {str("  hi \t").get()}).get()), "hi");
    EXPECT_EQ(textOf(call1("upper", {str("abC1").get()}).get()), "ABC1");
    EXPECT_EQ(textOf(call1("lower", {str("ABc").get()}).get()), "abc");
    EXPECT_EQ(rowsOf(call1("strcmp", {str("a").get(), str("a").get()}).get()), (std::vector<double>{1}));
    EXPECT_EQ(rowsOf(call1("strcmp", {str("a").get(), num(97).get()}).get()), (std::vector<double>{0}));
    EXPECT_EQ(rowsOf(call1("strcmp", {parts.get(), str("y").get()}).get()), (std::vector<double>{0, 1}));
    EXPECT_EQ(rowsOf(call1("strcmpi", {str("ABC").get(), str("abc").get()}).get()), (std::vector<double>{1}));
    EXPECT_EQ(rowsOf(call1("strncmp", {str("abcd").get(), str("abxx").get(), num(2).get()}).get()), (std::vector<double>{1}));
    EXPECT_EQ(rowsOf(call1("strfind", {str("abababa").get(), str("aba").get()}).get()), (std::vector<double>{1, 3, 5}));
    EXPECT_EQ(sizeOf(call1("strfind", {str("abc").get(), str("z").get()}).get()), "0x0");
    EXPECT_EQ(textOf(call1("blanks", {num(3).get()}).get()), "   ");
    EXPECT_EQ(rowsOf(call1("str2double", {str(" -1.5e2 ").get()}).get()), (std::vector<double>{-150}));
    EXPECT_TRUE(std::isnan(rowsOf(call1("str2double", {str("12abc").get()}).get())[0]));
    ArrayPtr z = call1("str2double", {str("3-4i").get()});
    EXPECT_EQ(imagRowsOf(z.get()), (std::vector<double>{-4}));
    EXPECT_EQ(rowsOf(call1("isspace", {str("a b\t").get()}).get()), (std::vector<double>{0, 1, 0, 1}));
    EXPECT_EQ(textOf(call1("sprintf", {str("%d-%d").get(), row({1, 2}).get()}).get()), "1-2");
}

TEST(KernelRegexp, MatchesTokensNamesAndReplacement) {
    auto r = call("regexp", {str("ab12cd345").get(), str("\\d+").get(), str("match").get(), str("start").get()}, 2);
    EXPECT_EQ(cellTexts(r[0].get()), (S{"12", "345"}));
    EXPECT_EQ(rowsOf(r[1].get()), (std::vector<double>{3, 7}));
    ArrayPtr first = call1("regexp", {str("ab12cd345").get(), str("[0-9]+").get(), str("match").get(), str("once").get()});
    EXPECT_EQ(textOf(first.get()), "12");
    ArrayPtr tok = call1("regexp", {str("k=v, x=y").get(), str("(\\w)=(\\w)").get(), str("tokens").get()});
    ASSERT_EQ(vxGetNumberOfElements(tok.get()), 2u);
    EXPECT_EQ(cellTexts(vxGetCell(tok.get(), 1)), (S{"x", "y"}));
    ArrayPtr names = call1("regexp", {str("width=42").get(), str("(?<key>[a-z]+)=(?<val>\\d+)").get(), str("names").get()});
    EXPECT_EQ(textOf(vxGetFieldByNumber(names.get(), 0, vxGetFieldNumber(names.get(), "key"))), "width");
    EXPECT_EQ(textOf(vxGetFieldByNumber(names.get(), 0, vxGetFieldNumber(names.get(), "val"))), "42");
    ArrayPtr starts = call1("regexp", {str("aXbxc").get(), str("x").get(), str("ignorecase").get()});
    EXPECT_EQ(rowsOf(starts.get()), (std::vector<double>{2, 4}));
    EXPECT_EQ(cellTexts(call1("regexp", {str("a1b22c").get(), str("\\d+").get(), str("split").get()}).get()), (S{"a", "b", "c"}));
    EXPECT_EQ(cellTexts(call1("regexp", {str("cat cot cut").get(), str("c[^u]t|^$").get(), str("match").get()}).get()),
              (S{"cat", "cot"}));
    EXPECT_EQ(textOf(call1("regexprep", {str("hello world").get(), str("(\\w+) (\\w+)").get(), str("$2 $1").get()}).get()),
              "world hello");
    EXPECT_EQ(textOf(call1("regexprep", {str("aaa").get(), str("a").get(), str("b").get(), str("once").get()}).get()), "baa");
    EXPECT_EQ(textOf(call1("regexprep", {str("a.b").get(), str("\\.").get(), str("\\n").get()}).get()), "a\nb");
    EXPECT_EQ(textOf(call1("regexprep", {str("x1y22").get(), str("\\d{2}").get(), str("#").get()}).get()), "x1y#");
    EXPECT_EQ(errorOf([] { call("regexp", {str("a").get(), str("(a").get()}); }), "Calyx:regexpPattern");
    EXPECT_EQ(errorOf([] { call("regexp", {str("a").get(), str("*").get()}); }), "Calyx:regexpPattern");
}

} // namespace
