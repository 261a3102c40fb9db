// Helpers for the statement-language tests: a session whose output is
// captured, and readers of the values it holds.
#pragma once
#include "support/capture.hpp"

#include <qzlang/Session.hpp>
#include <qzservices/display/settings.hpp>
#include <qzservices/io/window.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qztest {

class LanguageTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        oldColumns_ = ioSetNumWindowColumns(80);
    }
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
    std::string errorOf(std::string const& text) {
        Capture capture;
        try {
            session.execute(text);
        } catch (vx::Error const& e) {
            return e.what();
        }
        return "";
    }
    vxArray const* var(char const* name) {
        vxArray const* a = session.find(name);
        EXPECT_NE(a, nullptr) << name;
        return a;
    }
    std::vector<size_t> dims(char const* name) { return qzlang::dimsOf(var(name)); }
    // Real parts in column-major order.
    std::vector<double> values(char const* name) {
        vxArray const* a = var(name);
        qzlang::ArrayPtr full = qzlang::toFull(a);
        std::vector<double> out;
        for (size_t k = 0; k < vxGetNumberOfElements(full.get()); ++k) out.push_back(qzlang::realAt(full.get(), k));
        return out;
    }
    std::vector<double> imags(char const* name) {
        vxArray const* a = var(name);
        std::vector<double> out;
        for (size_t k = 0; k < vxGetNumberOfElements(a); ++k) out.push_back(qzlang::imagAt(a, k));
        return out;
    }

    qzlang::Session session;

private:
    size_t oldColumns_ = 80;
};

typedef std::vector<size_t> Dims;
typedef std::vector<double> Values;

} // namespace qztest
