// What the language fuzz targets share: a session bounded so that any input
// ends (loops and calls stop after a number of steps, arrays hold at most
// 10000 elements, pause never sleeps, input() meets the end of input, the
// commands that reach a host's process-wide state do nothing), the run of one
// input with its output and error text captured, and the reset after it.
#pragma once
#include <qzlang/Session.hpp>
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXStringSink.hpp>

#include <boost/make_shared.hpp>

#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace fuzzsession {

// The error reports the session printed (those with the frames of files)
// during the input running now.
inline std::vector<std::string>& errorReports() {
    static std::vector<std::string> reports;
    return reports;
}

inline qzlang::CommandResult nothing(qzlang::Session&, std::vector<std::string> const&) {
    return qzlang::CommandResult::Continue;
}

// The session is made once: made per input, it would cost more than the input.
inline qzlang::Session& bounded() {
    static qzlang::Session* s = [] {
        qzlang::setMaxElements(10000);
        auto* created = new qzlang::Session;
        created->limits().maxSteps = 20000;
        // These reach process-wide state that a host owns (the feature
        // table's built-ins, the command window's screen events).
        for (char const* name : {"feature", "features", "clc", "home", "more"}) created->commands().add({name, name, &nothing});
        created->input().setLineReader([](std::string const&, std::string&) { return false; });
        created->input().setKeyReader([] { return -1; });
        created->diagnostics().setPrinter([](std::string const& report, bool braces) {
            if (braces) errorReports().push_back(report);
        });
        return created;
    }();
    return *s;
}

// What one input may change and the next must not see: the variables, the
// current folder (libFuzzer writes its corpus and findings by relative paths)
// and the search path. Taken when made; restore() puts them back.
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

struct Outcome {
    bool ok;
    std::string out, err;
    std::vector<std::string> reports;

    // A run that succeeds writes no error line, warnings at most; one that fails says so either
    // in one line "Error: ..." on the error stream or in a report "Error ..."
    // with the frames of files, and not both.
    bool reportedAsItShould() const {
        if (ok) return onlyWarnings();
        bool const line = err.compare(0, 7, "Error: ") == 0 && err.find('\n') == err.size() - 1;
        bool const report = err.empty() && !reports.empty() && reports.back().compare(0, 5, "Error") == 0;
        return line != report;
    }

    // A kernel's warning ("Warning: Rank deficient, ...") goes to the error
    // stream of a run that succeeds.
    bool onlyWarnings() const {
        for (size_t at = 0; at < err.size(); at = err.find('\n', at) + 1) {
            if (err.compare(at, 9, "Warning: ") != 0) return false;
            if (err.find('\n', at) == std::string::npos) return false;
        }
        return true;
    }
};

// Runs `text` as the prompt does (executeAndReport), with CXOut and CXErr
// and the error reports captured.
inline Outcome run(qzlang::Session& s, std::string const& text) {
    using services::io::CXStream;
    auto out = boost::make_shared<services::io::CXStringSink>(boost::make_shared<std::stringbuf>());
    auto err = boost::make_shared<services::io::CXStringSink>(boost::make_shared<std::stringbuf>());
    CXStream::CXOut.push(out);
    CXStream::CXErr.push(err);
    errorReports().clear();
    bool const ok = qzlang::executeAndReport(s, text);
    CXStream::CXOut.flush();
    CXStream::CXErr.flush();
    CXStream::CXErr.pop();
    CXStream::CXOut.pop();
    return {ok, out->getString(), err->getString(), errorReports()};
}

} // namespace fuzzsession
