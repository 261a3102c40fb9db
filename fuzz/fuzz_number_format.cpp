// Number formatting over arbitrary bit patterns: one element of a double,
// single, integer, logical or character array, real or complex, through
// ioFormatElement in every print format (1 to 13); the same values through
// eng_fcn in both engineering formats, real and imaginary; and the rational
// approximation. Beyond the sanitizers, each result is checked against what
// its contract promises: ioFormatElement stays inside its buffer, eng_fcn
// writes an exponent that is a multiple of three, and ioRationalApprox never
// gives a negative denominator.
#include <qzservices/qzservices.hpp>

#include "fuzz_input.hpp"

#include <vx/errors.hpp>

#include <boost/make_shared.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

vxClassID const kClasses[] = {vxDOUBLE_CLASS, vxSINGLE_CLASS, vxINT8_CLASS,  vxUINT8_CLASS,  vxINT16_CLASS,
                              vxUINT16_CLASS, vxINT32_CLASS,  vxUINT32_CLASS, vxINT64_CLASS, vxUINT64_CLASS,
                              vxLOGICAL_CLASS, vxCHAR_CLASS};

// Reads bytes in order; past the end it gives zeros.
using fuzzinput::Bytes;

void fail(char const* what) {
    std::fprintf(stderr, "contract broken: %s\n", what);
    std::abort();
}

// The exponent eng_fcn wrote ("e+003", "e-012", "e+300") must be a multiple of three.
void checkEngineering(char const* text) {
    if (std::strlen(text) >= 64) fail("eng_fcn wrote past 64 bytes");
    char const* e = std::strrchr(text, 'e');
    if (e == nullptr) return;  // NaN and Inf are written without an exponent
    if (e[1] != '+' && e[1] != '-') fail("eng_fcn exponent has no sign");
    char* end = nullptr;
    long const n = std::strtol(e + 2, &end, 10);
    if (end == e + 2 || std::strlen(e + 2) < 3) fail("eng_fcn exponent has fewer than three digits");
    if (n % 3 != 0) fail("eng_fcn exponent is not a multiple of three");
}

template <class T>
void engineering(T x, vxClassID cls) {
    for (int format : {12, 13}) {
        SetPrtfmt(format);
        for (bool imag : {false, true}) {
            std::unique_ptr<char[]> dst(new char[64]);
            dst[0] = '\0';
            eng_fcn<T>(imag ? std::fabs(x) : x, cls, dst.get(), imag);
            checkEngineering(dst.get());
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    fuzzinput::silenceOutput();

    Bytes in(data, size);
    int const format = 1 + static_cast<int>(in.next() % 13);
    vxClassID const cls = kClasses[in.next() % (sizeof kClasses / sizeof kClasses[0])];
    bool const numeric = cls != vxLOGICAL_CLASS && cls != vxCHAR_CLASS;
    bool const complex = numeric && in.next() % 2 == 1;
    size_t const n = 1 + in.next() % 4;

    fuzzinput::ArrayPtr array;
    if (cls == vxLOGICAL_CLASS) {
        size_t const dims[2] = {1, n};
        array.reset(vxCreateLogicalArray(2, dims));
    } else if (cls == vxCHAR_CLASS) {
        size_t const dims[2] = {1, n};
        array.reset(vxCreateCharArray(2, dims));
    } else {
        array.reset(vxCreateNumericMatrix(1, n, cls, complex ? vxCOMPLEX : vxREAL));
    }
    if (!array) return 0;
    size_t const bytes = n * vxGetElementSize(array.get());
    in.fill(vxGetData(array.get()), bytes);
    if (complex) in.fill(vxGetImagData(array.get()), bytes);

    // One element at a time into a heap buffer of exactly the promised size,
    // so that a write past it is caught.
    SetPrtfmt(format);
    for (size_t i = 0; i < n; ++i) {
        std::unique_ptr<char[]> dst(new char[IO_FORMAT_ELEMENT_SIZE]);
        try {
            ioFormatElement(dst.get(), array.get(), i);
        } catch (vx::Error const&) {
            fail("ioFormatElement refused a class that has a number form");
        }
        if (std::memchr(dst.get(), '\0', IO_FORMAT_ELEMENT_SIZE) == nullptr) fail("ioFormatElement left no NUL");
    }

    // The input's last bytes as a double and as a single.
    double d = 0;
    float f = 0;
    if (size >= 8) std::memcpy(&d, data + size - 8, 8);
    if (size >= 4) std::memcpy(&f, data + size - 4, 4);
    engineering<double>(d, vxDOUBLE_CLASS);
    engineering<float>(f, vxSINGLE_CLASS);
    engineering<double>(d, cls);  // the field of another class: no special-value check applies

    double num = 0, den = 0;
    ioRationalApprox(&num, &den, d);
    if (den < 0) fail("ioRationalApprox gave a negative denominator");
    ioRationalApprox(&num, &den, static_cast<double>(f));
    if (den < 0) fail("ioRationalApprox gave a negative denominator");
    return 0;
}
