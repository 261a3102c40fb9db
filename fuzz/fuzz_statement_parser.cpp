// The statement language over arbitrary text: every input parses and runs to
// its end, or stops at one error. Nothing may crash, hang or leak, and a
// failure must be reported as exactly one line "Error: ..." on the error
// stream. Output is captured in memory; loops stop after a bounded number of
// passes (so "while true, end" ends as an error) and pause never sleeps.
#include <qzlang/Session.hpp>
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXStringSink.hpp>

#include <boost/make_shared.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

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
        return created;
    }();
    return *s;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    using services::io::CXStream;
    qzlang::Session& s = session();
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

    std::string const errors = err->getString();
    if (ok && !errors.empty()) std::abort();  // success writes no error line
    if (!ok) {
        if (errors.compare(0, 7, "Error: ") != 0) std::abort();
        if (errors.empty() || errors.back() != '\n' || errors.find('\n') != errors.size() - 1) std::abort();
    }
    return 0;
}
