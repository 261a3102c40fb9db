// The harness of the language suites: a session whose output is captured, and
// a compact description of a value ("<class> <dims>: <elements>") that rows
// of expected results are written in.
#pragma once
#include "support/capture.hpp"

#include <qzlang/ArrayOps.hpp>
#include <qzlang/Session.hpp>
#include <qzservices/display/settings.hpp>
#include <qzservices/io/window.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using qztest::Capture;

namespace qztest {

// "<class> <dims>: <elements>" with elements in column-major order: numbers
// as %.15g ("re+imi" when complex), a char array as its text in quotes, a
// function handle as its text, cells and structure elements in { } (fields
// as name=(value)). Sparse arrays start with "sparse" and end with their
// count of stored elements; a missing value is "".
inline std::string describe(vxArray const* a) {
    if (!a) return "";
    std::string out = vxIsSparse(a) ? "sparse " : "";
    out += vxGetClassName(a);
    char const* sep = " ";
    for (size_t d : qzlang::dimsOf(a)) out += sep + std::to_string(d), sep = "x";
    out += ":";
    size_t const n = vxGetNumberOfElements(a);
    switch (vxGetClassID(a)) {
    case vxCHAR_CLASS: return out + " '" + vxArrayToStdString(a) + "'";
    case vxFUNCTION_CLASS:
        return out + " " + vxFunctionHandleToString(static_cast<function_handle_tag const*>(vxGetData(a)));
    case vxCELL_CLASS:
        for (size_t k = 0; k < n; ++k) out += " {" + describe(vxGetCell(a, k)) + "}";
        return out;
    case vxSTRUCT_CLASS:
        for (size_t k = 0; k < n; ++k) {
            out += " {";
            for (int f = 0; f < vxGetNumberOfFields(a); ++f)
                out += (f ? " " : "") + std::string(vxGetFieldNameByNumber(a, f)) + "=(" +
                       describe(vxGetFieldByNumber(a, k, f)) + ")";
            out += "}";
        }
        return out;
    default: break;
    }
    qzlang::ArrayPtr const full = qzlang::toFull(a);
    for (size_t k = 0; k < n; ++k) {
        char text[64];
        if (vxIsComplex(a))
            std::snprintf(text, sizeof text, " %.15g%+.15gi", qzlang::realAt(full.get(), k),
                          qzlang::imagAt(full.get(), k) + 0.0);
        else
            std::snprintf(text, sizeof text, " %.15g", qzlang::realAt(full.get(), k));
        out += text;
    }
    if (vxIsSparse(a)) out += " (" + std::to_string(vxGetJc(a)[vxGetN(a)]) + " stored)";
    return out;
}

class Evaluation : public ::testing::Test {
protected:
    void SetUp() override { oldColumns_ = ioSetNumWindowColumns(80); }
    void TearDown() override {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        ioSetNumWindowColumns(oldColumns_);
    }

    // Runs statements; returns what they showed.
    std::string run(std::string const& text) {
        Capture capture;
        session.execute(text);
        return capture.outText();
    }
    // The reason of the error that the statements raise, or "" if none.
    std::string errorOf(std::string const& text) try {
        Capture capture;
        session.execute(text);
        return "";
    } catch (vx::Error const& e) {
        return e.what();
    }
    std::string describe(char const* name) { return qztest::describe(session.find(name)); }
    // The value of one expression, described.
    std::string value(std::string const& expression) {
        std::string const e = errorOf("ans__ = " + expression + ";");
        if (!e.empty()) return "error: " + e;
        std::string const d = describe("ans__");
        session.clear("ans__");
        return d;
    }

    qzlang::Session session;
    size_t oldColumns_ = 80;
};

} // namespace qztest
