// Source files as the language's file library reads them: help text with and
// without See-also links, the identifier rule of error() and warning(), and
// the file links of error reports, over arbitrary bytes. Byte 0 chooses the
// line for the link (and whether links show); the rest is the file's text.
//
// Besides the sanitizers, it checks what must hold for any text: a file link
// reads back as the path and line it was made from, a help text has no more
// lines than its file, linked help without markup of its own shows the same
// text as the plain one once the links are taken out, and an error report
// starts as one of its two forms.
#include <qzlang/files/Diagnostics.hpp>
#include <qzlang/files/HelpText.hpp>

#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXStringSink.hpp>
#include <qzservices/io/wrapping.hpp>

#include <boost/make_shared.hpp>
#include <uv/uv.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// A window that shows links, pushed once for the whole run.
class LinkSink : public services::io::CXStringSink {
public:
    bool supportsHotlinks() const override { return true; }
};

void pushLinkSinkOnce() {
    static bool pushed = false;
    if (pushed) return;
    services::io::CXStream::CXOut.push(boost::make_shared<LinkSink>());
    pushed = true;
}

void check(bool holds) {
    if (!holds) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size < 1) return 0;
    pushLinkSinkOnce();
    int const line = data[0] >> 1;
    uvSetHotLinks((data[0] & 1) != 0);
    std::string const text(reinterpret_cast<char const*>(data) + 1, size - 1);

    std::string const help = qzlang::files::helpText(text);
    check(std::count(help.begin(), help.end(), '\n') <= std::count(text.begin(), text.end(), '\n') + 1);
    std::string linked = qzlang::files::helpTextWithLinks(text);
    if (!uvGetHotLinks()) {
        check(linked == help);
    } else if (help.find_first_of(std::string("<\0", 2)) == std::string::npos) {
        // Help that holds no markup of its own shows the same once the links'
        // markup is taken out.
        ioStripHotLinks(&linked[0]);
        linked.resize(std::char_traits<char>::length(linked.c_str()));
        check(linked == help);
    }

    std::string const target = qzlang::files::fileLinkTarget(text, line);
    std::string file;
    int back = -1;
    check(qzlang::files::parseFileLinkTarget(target, file, back));
    check(file == text && back == line);
    check(target.find_first_of(" \"<>", sizeof "calyx:openAtLine") == target.rfind(' '));

    (void)qzlang::files::isMessageIdentifier(text);
    std::string const report = qzlang::files::errorReport(text, {{text, text, line}}, true);
    check(report.compare(0, 12, "Error using ") == 0 || report.compare(0, 7, "Error: ") == 0);
    return 0;
}
