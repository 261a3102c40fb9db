// What the display and output benchmarks share: arrays that free themselves,
// the settings every display is measured under, the page heading the
// baselines write, and a command window that counts the bytes it is given
// and keeps none of them.
#pragma once
#include <qzservices/qzservices.hpp>

#include <boost/make_shared.hpp>

#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

namespace qzbench {

struct ArrayDestroyer {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<vxArray, ArrayDestroyer>;

// Format short, loose spacing, 80 columns, no paging.
struct DisplaySettings {
    DisplaySettings() {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        ioSetNumWindowColumns(80);
        services::io::MoreControl(false);
    }
};

// The heading of the page of columns first + 1 to stop and its blank line,
// as the display writes it with loose spacing; its length.
inline int pageHeading(char* buf, size_t size, size_t first, size_t stop) {
    return stop == first + 1 ? std::snprintf(buf, size, "  Column %zu\n\n", stop)
                             : std::snprintf(buf, size, "  Columns %zu through %zu\n\n", first + 1, stop);
}

// The bytes the counting command window was given since this was last zeroed.
inline size_t countedBytes = 0;

// For the length of a scope, CXOut's default sink is a PutsFnSink whose
// function only adds to countedBytes; the factory is taken away at the end.
class CountingCommandWindow {
public:
    CountingCommandWindow() {
        services::io::CmdWinSinkHandle::setFactory(&factory_);
        pushed_.emplace();
    }
    ~CountingCommandWindow() {
        pushed_.reset();  // before its factory goes
        using services::io::CmdWinSinkHandle;
        CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
    }
    CountingCommandWindow(CountingCommandWindow const&) = delete;
    CountingCommandWindow& operator=(CountingCommandWindow const&) = delete;

private:
    static int countBytes(char const* text) {
        countedBytes += std::strlen(text);
        return 0;
    }
    class Factory : public CmdWinSinkFactory {
    public:
        boost::shared_ptr<CmdWinSink> sink = boost::make_shared<services::io::PutsFnSink>(&countBytes);
        boost::shared_ptr<CmdWinSink> getCmdWinSink(bool) const override { return sink; }
    };
    Factory factory_;
    std::optional<CXPushDefaultSink> pushed_;
};

} // namespace qzbench
