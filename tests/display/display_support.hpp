// Helpers for the display tests: a fixture that puts the settings, the window
// width and the stop flag in a known state and captures what a display
// writes, and builders of small arrays.
#pragma once
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"
#include "support/capture.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace qztest {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<vxArray, ArrayDeleter>;

// A real double matrix from its rows.
inline ArrayPtr doubles(std::initializer_list<std::initializer_list<double>> rows) {
    size_t const m = rows.size();
    size_t const n = m ? rows.begin()->size() : 0;
    ArrayPtr a(vxCreateDoubleMatrix(m, n, vxREAL));
    size_t r = 0;
    for (auto const& row : rows) {
        size_t c = 0;
        for (double v : row) vxGetPr(a.get())[r + c++ * m] = v;
        ++r;
    }
    return a;
}

// A complex double matrix of one row from (real, imaginary) pairs.
inline ArrayPtr complexRow(std::initializer_list<std::pair<double, double>> values) {
    ArrayPtr a(vxCreateDoubleMatrix(1, values.size(), vxCOMPLEX));
    size_t i = 0;
    for (auto const& v : values) {
        vxGetPr(a.get())[i] = v.first;
        vxGetPi(a.get())[i] = v.second;
        ++i;
    }
    return a;
}

// A matrix of class T from its rows (element type T).
template <class T>
ArrayPtr numeric(vxClassID cls, std::initializer_list<std::initializer_list<T>> rows,
                 vxComplexity complexity = vxREAL) {
    size_t const m = rows.size();
    size_t const n = m ? rows.begin()->size() : 0;
    ArrayPtr a(vxCreateNumericMatrix(m, n, cls, complexity));
    T* data = static_cast<T*>(vxGetData(a.get()));
    size_t r = 0;
    for (auto const& row : rows) {
        size_t c = 0;
        for (T v : row) data[r + c++ * m] = v;
        ++r;
    }
    return a;
}

inline ArrayPtr text(char const* s) { return ArrayPtr(vxCreateString(s)); }

class DisplayTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        oldColumns_ = ioSetNumWindowColumns(80);
        services::io::setStopPrintingFlag(false);
        uvSetInterruptPending(0);
    }
    void TearDown() override {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        ioSetNumWindowColumns(oldColumns_);
        services::io::setStopPrintingFlag(false);
        uvSetInterruptPending(0);
    }

    static void compact() { GetNewline()[0] = '\0'; }

    // What ioPrintArray(name, array) writes to the output stream.
    static std::string show(char const* name, vxArray const* array) {
        Capture capture;
        ioPrintArray(name, array);
        return capture.outText();
    }
    static std::string showMatrix(char const* name, vxArray const* array) {
        Capture capture;
        ioPrintMatrix(name, array);
        return capture.outText();
    }
    static std::string showIn(int format, char const* name, vxArray const* array) {
        SetPrtfmt(format);
        std::string const out = show(name, array);
        SetPrtfmt(PrtfmtShort);
        return out;
    }

private:
    size_t oldColumns_ = 80;
};

} // namespace qztest
