// The statement language over arbitrary text: every input parses and runs to
// its end, or stops at one error. Nothing may crash, hang or leak, and a
// failure must be reported as exactly one line "Error: ..." on the error
// stream. Output is captured in memory; loops and calls stop after a bounded
// number of steps (so "while true, end" ends as an error, and no try can
// catch that error), arrays hold at most 10000 elements, pause never sleeps
// and input() meets the end of input. Each input starts from an empty
// workspace in the same folder with the same path, so that a finding
// replays from its file alone.
#include <qzlang/Session.hpp>
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXStringSink.hpp>

#include <boost/make_shared.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>
#include <unistd.h>

namespace {

qzlang::CommandResult nothing(qzlang::Session&, std::vector<std::string> const&) {
    return qzlang::CommandResult::Continue;
}

qzlang::Session& session() {
    static qzlang::Session* s = [] {
        qzlang::setMaxElements(10000);
        auto* created = new qzlang::Session;
        created->limits().maxSteps = 20000;
        // These reach process-wide state that a host owns (the feature
        // table's built-ins, the command window's screen events).
        for (char const* name : {"feature", "features", "clc", "home", "more"}) created->commands().add({name, name, &nothing});
        created->input().setLineReader([](std::string const&, std::string&) { return false; });
        created->input().setKeyReader([] { return -1; });
        return created;
    }();
    return *s;
}

// What one input may change and the next must not see: the variables, the
// current folder (libFuzzer writes its corpus and findings by relative paths)
// and the search path.
class Baseline {
public:
    explicit Baseline(qzlang::Session& s) : session_(s) {
        char here[4096];
        if (::getcwd(here, sizeof here) == nullptr) std::abort();
        folder_ = here;
        path_ = s.sourcePath().folders();
    }
    void restore() {
        session_.clearAll();
        if (session_.sourcePath().pwd() != folder_) session_.sourcePath().cd(folder_);
        if (session_.sourcePath().folders() != path_) session_.sourcePath().setPath(path_);
    }

private:
    qzlang::Session& session_;
    std::string folder_;
    std::vector<std::string> path_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    using services::io::CXStream;
    qzlang::Session& s = session();
    static Baseline baseline(s);
    std::string const text(reinterpret_cast<char const*>(data), size);

    auto out = boost::make_shared<services::io::CXStringSink>(boost::make_shared<std::stringbuf>());
    auto err = boost::make_shared<services::io::CXStringSink>(boost::make_shared<std::stringbuf>());
    CXStream::CXOut.push(out);
    CXStream::CXErr.push(err);
    bool const ok = qzlang::executeAndReport(s, text);
    CXStream::CXOut.flush();
    CXStream::CXErr.flush();
    CXStream::CXErr.pop();
    CXStream::CXOut.pop();
    baseline.restore();

    std::string const errors = err->getString();
    if (ok && !errors.empty()) std::abort();  // success writes no error line
    if (!ok) {
        if (errors.compare(0, 7, "Error: ") != 0) std::abort();
        if (errors.empty() || errors.back() != '\n' || errors.find('\n') != errors.size() - 1) std::abort();
    }
    return 0;
}
