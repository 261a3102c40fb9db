// Helpers for the display tests: a fixture that puts the settings, the window
// width and the stop flag in a known state and captures what a display
// writes, builders of small arrays (and the standard headers they need), a table of displays with their texts, and
// a sink for displays that end early.
#pragma once
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/io/CXSink.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/callbacks.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"
#include "support/capture.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <streambuf>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace qztest {

double const kNaN = std::numeric_limits<double>::quiet_NaN();
double const kInf = std::numeric_limits<double>::infinity();

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<vxArray, ArrayDeleter>;

// A matrix of class T from its rows (element type T).
template <class T>
ArrayPtr numeric(vxClassID cls, std::initializer_list<std::initializer_list<T>> rows,
                 vxComplexity complexity = vxREAL) {
    size_t const m = rows.size(), n = m ? rows.begin()->size() : 0;
    ArrayPtr a(vxCreateNumericMatrix(m, n, cls, complexity));
    T* data = static_cast<T*>(vxGetData(a.get()));
    for (size_t r = 0; r < m; ++r)
        for (size_t c = 0; c < n; ++c) data[r + c * m] = rows.begin()[r].begin()[c];
    return a;
}

// A real double matrix from its rows.
inline ArrayPtr doubles(std::initializer_list<std::initializer_list<double>> rows) {
    return numeric<double>(vxDOUBLE_CLASS, rows);
}

// A complex double matrix of one row from (real, imaginary) pairs.
inline ArrayPtr complexRow(std::initializer_list<std::pair<double, double>> values) {
    ArrayPtr a(vxCreateDoubleMatrix(1, values.size(), vxCOMPLEX));
    size_t i = 0;
    for (auto const& v : values) vxGetPr(a.get())[i] = v.first, vxGetPi(a.get())[i++] = v.second;
    return a;
}

// A complex row of an integer class from its real and imaginary parts.
template <class T>
ArrayPtr complexInts(vxClassID cls, std::initializer_list<T> re, std::initializer_list<T> im) {
    ArrayPtr a(vxCreateNumericMatrix(1, re.size(), cls, vxCOMPLEX));
    std::copy(re.begin(), re.end(), static_cast<T*>(vxGetData(a.get())));
    std::copy(im.begin(), im.end(), static_cast<T*>(vxGetImagData(a.get())));
    return a;
}

// An array of any dimensions, its data (element type T, never deduced) in column-major order.
template <class T = double>
ArrayPtr nd(std::vector<size_t> const& dims, std::initializer_list<typename std::common_type<T>::type> values = {},
            vxClassID cls = vxDOUBLE_CLASS) {
    ArrayPtr a(cls == vxLOGICAL_CLASS ? vxCreateLogicalArray(dims.size(), dims.data())
                                      : vxCreateNumericArray(dims.size(), dims.data(), cls, vxREAL));
    std::copy(values.begin(), values.end(), static_cast<T*>(vxGetData(a.get())));
    return a;
}

// A character array from its units in column-major order.
inline ArrayPtr chars(std::vector<size_t> const& dims, std::initializer_list<vxChar> units) {
    ArrayPtr a(vxCreateCharArray(dims.size(), dims.data()));
    std::copy(units.begin(), units.end(), static_cast<vxChar*>(vxGetData(a.get())));
    return a;
}

inline ArrayPtr text(char const* s) { return ArrayPtr(vxCreateString(s)); }

// Arrays to hand over to a cell or a field.
inline vxArray* num(double v) { return vxCreateDoubleScalar(v); }
inline vxArray* str(char const* s) { return vxCreateString(s); }
inline vxArray* zeros(size_t m, size_t n, vxClassID cls = vxDOUBLE_CLASS) {
    return vxCreateNumericMatrix(m, n, cls, vxREAL);
}

// A cell array that takes over the cells listed (column-major); null leaves a cell empty.
inline ArrayPtr cellOf(std::vector<size_t> const& dims, std::initializer_list<vxArray*> cells) {
    ArrayPtr c(vxCreateCellArray(dims.size(), dims.data()));
    size_t i = 0;
    for (vxArray* a : cells) vxSetCell(c.get(), i++, a);
    return c;
}

// A 1-by-1 structure that takes over its fields' values; null leaves a field unset.
inline ArrayPtr structOf(std::vector<std::pair<char const*, vxArray*>> const& fields) {
    std::vector<char const*> names;
    for (auto const& f : fields) names.push_back(f.first);
    ArrayPtr s(vxCreateStructMatrix(1, 1, static_cast<int>(names.size()), names.data()));
    for (size_t i = 0; i < fields.size(); ++i) vxSetFieldByNumber(s.get(), 0, static_cast<int>(i), fields[i].second);
    return s;
}

// A function-handle array with the texts listed (column-major).
inline ArrayPtr handles(std::vector<size_t> const& dims, std::initializer_list<char const*> texts) {
    ArrayPtr h(vxCreateFunctionHandleArray(dims.size(), dims.data()));
    size_t i = 0;
    for (char const* t : texts) vxSetFunctionHandle(h.get(), i++, t);
    return h;
}

// A real sparse matrix from its stored (row, column, value) entries, in column order.
inline ArrayPtr sparse(size_t m, size_t n, std::initializer_list<std::tuple<size_t, size_t, double>> entries) {
    ArrayPtr s(vxCreateSparse(m, n, std::max<size_t>(entries.size(), 1), vxREAL));
    size_t k = 0;
    for (auto [row, column, value] : entries) {
        vxGetPr(s.get())[k] = value;
        vxGetIr(s.get())[k++] = row;
        for (size_t c = column + 1; c <= n; ++c) vxGetJc(s.get())[c] = k;
    }
    return s;
}

// Puts the session's size callback back whatever a test set.
struct SizeCallbackScope {
    vxArray_tag* (*saved)(vxArray_tag const*) = _sv_iocb.sizeCallback;
    ~SizeCallbackScope() { _sv_iocb.sizeCallback = saved; }
};

// One display and the text it must write, in a print format and spacing.
struct Shown {
    char const* name;
    ArrayPtr array;
    std::string expected;
    int format = PrtfmtShort;
    bool compact = false;
};

class DisplayTest : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    // Swaps the window width with the one kept: 80 columns in a test, the old width after it.
    void reset() {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        oldColumns_ = ioSetNumWindowColumns(oldColumns_);
        services::io::setStopPrintingFlag(false);
        uvSetInterruptPending(0);
    }

    static void compact() { GetNewline()[0] = '\0'; }

    // What print(name, array) writes to the output stream.
    static std::string show(char const* name, vxArray const* array,
                            void (*print)(char const*, vxArray const*) = ioPrintArray) {
        Capture capture;
        print(name, array);
        return capture.outText();
    }
    static std::string showIn(int format, char const* name, vxArray const* array) {
        SetPrtfmt(format);
        std::string const out = show(name, array);
        SetPrtfmt(PrtfmtShort);
        return out;
    }
    // Shows every row in its format and spacing and compares the text.
    static void expectShown(std::initializer_list<Shown> rows) {
        int i = 0;
        for (Shown const& row : rows) {
            SCOPED_TRACE("row " + std::to_string(i++) + " (" + (row.name ? row.name : "null") + ")");
            GetNewline()[0] = row.compact ? '\0' : '\n';
            EXPECT_EQ(showIn(row.format, row.name, row.array.get()), row.expected);
        }
        GetNewline()[0] = '\n';
    }

private:
    size_t oldColumns_ = 80;
};

// Records what reaches it and sets the stop flag, or the interrupt flag, once
// `trigger` has passed through.
struct TriggerBuffer : std::streambuf {
    std::string trigger, text;
    bool interrupt, fired = false;
    TriggerBuffer(std::string t, bool i) : trigger(std::move(t)), interrupt(i) {}
    std::streamsize xsputn(char const* s, std::streamsize n) override {
        text.append(s, static_cast<size_t>(n));
        if (!fired && text.find(trigger) != std::string::npos) {
            fired = true;
            interrupt ? uvSetInterruptPending(1) : services::io::setStopPrintingFlag(true);
        }
        return n;
    }
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        char const ch = traits_type::to_char_type(c);
        return xsputn(&ch, 1), c;
    }
};

// Output goes to a TriggerBuffer while this lives.
struct PushedTrigger {
    boost::shared_ptr<TriggerBuffer> buffer;
    explicit PushedTrigger(std::string trigger, bool interrupt = false)
        : buffer(boost::make_shared<TriggerBuffer>(std::move(trigger), interrupt)) {
        services::io::CXStream::CXOut.push(
            boost::make_shared<services::io::CXSink>(boost::shared_ptr<std::streambuf>(buffer)));
    }
    ~PushedTrigger() { services::io::CXStream::CXOut.pop(); }
};

} // namespace qztest
