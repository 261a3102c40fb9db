// The display of nested arrays built from arbitrary bytes: cells of cells,
// structures, objects with odd class names, strings with NUL, line breaks
// and units beyond ASCII, function handles with and without "@", numbers
// with NaN and infinities, pages of many dimensions, in any print format,
// any window width and either spacing. A display may refuse with the array
// library's error; anything else (a crash, a sanitizer report, another
// exception) is a fault.
#include <qzservices/qzservices.hpp>

#include "fuzz_input.hpp"

#include <vx/errors.hpp>

#include <boost/make_shared.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using fuzzinput::Bytes;

double numberFrom(Bytes& in) {
    static double const special[] = {0.0,
                                     -0.0,
                                     1.0,
                                     -2.5,
                                     1e-300,
                                     1e300,
                                     std::numeric_limits<double>::max(),
                                     std::numeric_limits<double>::denorm_min(),
                                     std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity(),
                                     std::numeric_limits<double>::quiet_NaN(),
                                     0.001,
                                     99.99999999999999,
                                     1e9,
                                     123456.789,
                                     1.0 / 3.0};
    unsigned const b = in.next();
    if (b < 16) return special[b];
    return (static_cast<double>(b) - 128.0) * std::pow(10.0, static_cast<double>(static_cast<int>(in.next() % 40) - 20));
}

std::vector<size_t> shapeFrom(Bytes& in, size_t maxDims) {
    size_t const ndim = 2 + in.next() % (maxDims - 1);
    std::vector<size_t> dims(ndim);
    for (size_t& d : dims) d = in.next() % 4;
    return dims;
}

std::string textFrom(Bytes& in, size_t maxLength) {
    size_t const n = in.next() % (maxLength + 1);
    std::string s;
    for (size_t i = 0; i < n; ++i) s.push_back(static_cast<char>(in.next()));
    return s;
}

vxArray* build(Bytes& in, int depth);

void fillCells(Bytes& in, vxArray* cell, int depth) {
    size_t const n = vxGetNumberOfElements(cell);
    for (size_t i = 0; i < n; ++i)
        if (in.next() % 5 != 0) vxSetCell(cell, i, build(in, depth + 1));
}

vxArray* build(Bytes& in, int depth) {
    if (in.empty()) return nullptr;
    unsigned const kind = depth >= 3 ? in.next() % 5 : in.next() % 9;
    switch (kind) {
    case 0: {  // a numeric matrix of some class, maybe complex
        static vxClassID const classes[] = {vxDOUBLE_CLASS, vxSINGLE_CLASS, vxINT8_CLASS, vxUINT16_CLASS,
                                            vxINT64_CLASS};
        vxClassID const cls = classes[in.next() % 5];
        size_t const m = in.next() % 4, n = in.next() % 12;
        vxArray* a = vxCreateNumericMatrix(m, n, cls, in.next() % 4 == 0 ? vxCOMPLEX : vxREAL);
        if (cls == vxDOUBLE_CLASS) {
            for (size_t i = 0; i < m * n; ++i) vxGetPr(a)[i] = numberFrom(in);
            if (vxGetPi(a) != nullptr)
                for (size_t i = 0; i < m * n; ++i) vxGetPi(a)[i] = numberFrom(in);
        } else {
            auto* bytes = static_cast<unsigned char*>(vxGetData(a));
            for (size_t i = 0; i < m * n * vxGetElementSize(a); ++i) bytes[i] = static_cast<unsigned char>(in.next());
        }
        return a;
    }
    case 1: {  // a character array of UTF-16 units, usually one row
        size_t const dims[2] = {in.next() % 3 == 0 ? size_t(2) : size_t(1), in.next() % 24};
        vxArray* a = vxCreateCharArray(2, dims);
        auto* units = static_cast<vxChar*>(vxGetData(a));
        for (size_t i = 0; i < dims[0] * dims[1]; ++i) {
            unsigned const b = in.next();
            units[i] = static_cast<vxChar>(b < 200 ? b : 0x2600 + b);
        }
        return a;
    }
    case 2: {  // a scalar or a logical
        if (in.next() % 2) return vxCreateLogicalScalar(in.next() % 2 != 0);
        return vxCreateDoubleScalar(numberFrom(in));
    }
    case 3: {  // a function handle
        std::string text = textFrom(in, 40);
        for (char& ch : text)
            if (ch == '\0') ch = 'z';
        return vxCreateFunctionHandle(text.c_str());
    }
    case 4: {  // an opaque value
        std::vector<size_t> const dims = shapeFrom(in, 4);
        return vxCreateOpaque(in.next() % 2 ? "java.lang.Object" : "a.very.long.opaque.class.name.for.alignment",
                              dims.size(), dims.data());
    }
    case 5: {  // a cell array, two or more dimensions
        std::vector<size_t> const dims = shapeFrom(in, 4);
        vxArray* c = vxCreateCellArray(dims.size(), dims.data());
        fillCells(in, c, depth);
        return c;
    }
    case 6: {  // a structure
        static char const* const names[] = {"a", "bcd", "averyveryverylongfieldname", "x"};
        int const fields = static_cast<int>(in.next() % 5);
        size_t const m = in.next() % 3, n = in.next() % 3;
        vxArray* s = vxCreateStructMatrix(m, n, fields, const_cast<char const**>(names));
        for (size_t e = 0; e < m * n; ++e)
            for (int f = 0; f < fields; ++f)
                if (in.next() % 4 != 0) vxSetFieldByNumber(s, e, f, build(in, depth + 1));
        return s;
    }
    case 7: {  // an object
        std::vector<size_t> const dims = shapeFrom(in, 4);
        static char const* const names[] = {"v"};
        std::string cls = in.next() % 2 ? "polynom" : std::string(300, 'k');
        return vxCreateObject(cls.c_str(), dims.size(), dims.data(), 1, const_cast<char const**>(names));
    }
    default: {  // a many-dimensional numeric, logical or character array
        std::vector<size_t> const dims = shapeFrom(in, 6);
        static vxClassID const classes[] = {vxDOUBLE_CLASS, vxLOGICAL_CLASS, vxCHAR_CLASS, vxUINT8_CLASS};
        vxClassID const cls = classes[in.next() % 4];
        vxArray* a = cls == vxLOGICAL_CLASS ? vxCreateLogicalArray(dims.size(), dims.data())
                     : cls == vxCHAR_CLASS  ? vxCreateCharArray(dims.size(), dims.data())
                                            : vxCreateNumericArray(dims.size(), dims.data(), cls, vxREAL);
        auto* bytes = static_cast<unsigned char*>(vxGetData(a));
        for (size_t i = 0; i < vxGetNumberOfElements(a) * vxGetElementSize(a); ++i)
            bytes[i] = static_cast<unsigned char>(in.next() % (cls == vxLOGICAL_CLASS ? 2 : 256));
        return a;
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    fuzzinput::silenceOutput();
    Bytes in(data, size);
    ioSetNumWindowColumns(in.next());
    SetPrtfmt(1 + static_cast<int>(in.next() % 13));
    GetNewline()[0] = in.next() % 2 ? '\n' : '\0';
    fuzzinput::ArrayPtr root(build(in, 0));
    try {
        ioPrintArray("x", root.get());
    } catch (vx::Error const&) {
        // refused, as the array library's errors are
    }
    return 0;
}
