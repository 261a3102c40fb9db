// The tour of array display of `qzconsole --demo` and the demo command.
#include "Demo.hpp"

#include <qzservices/qzservices.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>

namespace qzconsole {

namespace {

struct ArrayDeleter {
    void operator()(vxArray_tag* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray_tag, ArrayDeleter> ArrayPtr;

ArrayPtr matrix(size_t m, size_t n, std::initializer_list<double> columnMajor) {
    ArrayPtr a(vxCreateDoubleMatrix(m, n, vxREAL));
    size_t i = 0;
    for (double v : columnMajor) vxGetPr(a.get())[i++] = v;
    return a;
}

template <class T>
ArrayPtr numeric(vxClassID cls, size_t m, size_t n, std::initializer_list<T> columnMajor) {
    ArrayPtr a(vxCreateNumericMatrix(m, n, cls, vxREAL));
    size_t i = 0;
    for (T v : columnMajor) static_cast<T*>(vxGetData(a.get()))[i++] = v;
    return a;
}

void title(char const* text) { uvPrintf("\n---- %s ----\n", text); }

void inFormat(int format, char const* text, char const* name, vxArray_tag const* a) {
    SetPrtfmt(format);
    title(text);
    ioPrintArray(name, a);
}

} // namespace

void runDemo() {
    int const savedFormat = GetPrtfmt();
    char const savedNewline = GetNewline()[0];
    size_t const savedColumns = ioSetNumWindowColumns(80);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const inf = std::numeric_limits<double>::infinity();

    ArrayPtr whole = matrix(3, 3, {8, 3, 4, 1, 5, 9, 6, 7, 2});
    ArrayPtr mixed = matrix(2, 2, {1.5, 1000.5, -2.25, 2});
    ArrayPtr pi = matrix(1, 1, {M_PI});
    ArrayPtr big = matrix(1, 1, {1234.5});
    ArrayPtr specials = matrix(1, 4, {1, nan, inf, -inf});
    ArrayPtr z(vxCreateDoubleMatrix(1, 2, vxCOMPLEX));
    vxGetPr(z.get())[0] = 3;
    vxGetPi(z.get())[0] = 4;
    vxGetPr(z.get())[1] = -1;
    vxGetPi(z.get())[1] = -0.5;
    ArrayPtr i8 = numeric<int8_t>(vxINT8_CLASS, 1, 3, {-128, 0, 127});
    ArrayPtr u16 = numeric<uint16_t>(vxUINT16_CLASS, 1, 2, {65535, 7});
    ArrayPtr i32 = numeric<int32_t>(vxINT32_CLASS, 2, 2, {-2147483647 - 1, 10, 20, 2147483647});
    ArrayPtr flags(vxCreateLogicalMatrix(1, 3));
    static_cast<unsigned char*>(vxGetData(flags.get()))[0] = 1;
    static_cast<unsigned char*>(vxGetData(flags.get()))[2] = 1;
    ArrayPtr sparse(vxCreateSparse(3, 4, 2, vxREAL));
    vxGetPr(sparse.get())[0] = 5;
    vxGetPr(sparse.get())[1] = -1.5;
    vxGetIr(sparse.get())[0] = 1;
    vxGetIr(sparse.get())[1] = 0;
    size_t const jc[5] = {0, 1, 1, 2, 2};
    std::memcpy(vxGetJc(sparse.get()), jc, sizeof jc);
    ArrayPtr greeting(vxCreateString("hello, world"));
    ArrayPtr empty(vxCreateDoubleMatrix(0, 0, vxREAL));
    ArrayPtr empty03(vxCreateDoubleMatrix(0, 3, vxREAL));
    ArrayPtr ratios = matrix(2, 2, {0.5, 1.0 / 3.0, 0.25, M_PI});
    ArrayPtr eng = matrix(1, 2, {1500, 0.00025});
    ArrayPtr signs = matrix(1, 4, {1, -2, 0, 0.5});
    ArrayPtr row(vxCreateDoubleMatrix(1, 30, vxREAL));
    for (size_t c = 0; c < 30; ++c) vxGetPr(row.get())[c] = static_cast<double>(c + 1);

    GetNewline()[0] = '\n';
    inFormat(PrtfmtShort, "format short: whole numbers", "A", whole.get());
    inFormat(PrtfmtShort, "format short: a common scale factor", "B", mixed.get());
    inFormat(PrtfmtShort, "format short: scalars", "p", pi.get());
    ioPrintArray("y", big.get());
    inFormat(PrtfmtShort, "format short: NaN and Inf", "N", specials.get());
    inFormat(PrtfmtShort, "format short: complex", "z", z.get());
    inFormat(PrtfmtShort, "integer classes and logical", "i8", i8.get());
    ioPrintArray("u16", u16.get());
    ioPrintArray("i32", i32.get());
    ioPrintArray("t", flags.get());
    inFormat(PrtfmtShort, "sparse", "S", sparse.get());
    inFormat(PrtfmtShort, "characters and empty values", "s", greeting.get());
    ioPrintArray("E", empty.get());
    ioPrintArray("E", empty03.get());
    inFormat(PrtfmtLong, "format long", "p", pi.get());
    ioPrintArray("B", mixed.get());
    inFormat(PrtfmtShortE, "format short e", "B", mixed.get());
    inFormat(PrtfmtLongG, "format long g", "B", mixed.get());
    inFormat(PrtfmtHex, "format hex", "p", pi.get());
    ioPrintArray("i8", i8.get());
    inFormat(PrtfmtRational, "format rat", "R", ratios.get());
    inFormat(PrtfmtShortEng, "format short eng", "e", eng.get());
    inFormat(PrtfmtLongEng, "format long eng", "e", eng.get());
    inFormat(PrtfmtSign, "format +", "s", signs.get());
    inFormat(PrtfmtTwoDecimal, "format bank", "z", z.get());
    SetPrtfmt(PrtfmtShort);
    title("format compact");
    GetNewline()[0] = '\0';
    ioPrintArray("A", whole.get());
    GetNewline()[0] = '\n';
    title("pages of columns in 80 columns");
    ioPrintArray("r", row.get());

    SetPrtfmt(savedFormat);
    GetNewline()[0] = savedNewline;
    ioSetNumWindowColumns(savedColumns);
}

} // namespace qzconsole
