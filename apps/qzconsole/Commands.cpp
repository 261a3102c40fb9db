#include "Commands.hpp"

#include <qzservices/io/more.hpp>
#include <qzservices/qzservices.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <boost/make_shared.hpp>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <vector>

namespace qzconsole {

namespace {

struct ArrayDeleter {
    void operator()(vxArray_tag* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray_tag, ArrayDeleter> ArrayPtr;

std::vector<std::string> words(std::string const& line) {
    std::istringstream in(line);
    std::vector<std::string> out;
    for (std::string w; in >> w;) out.push_back(w);
    return out;
}

bool parseNumber(std::string const& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0';
}

// more, more on, more off, more N: the built-in, with the page length shown
// when no argument is given.
void more(std::vector<std::string> const& w) {
    if (w.size() == 1) {
        vxArray_tag* result = nullptr;
        ioFullMoreFcn(1, &result, 0, nullptr);
        ArrayPtr owned(result);
        uvPrintf("page length %d, paging %s\n", vxGetScalarInt(result), services::io::isMoreOn() ? "on" : "off");
        return;
    }
    double n = 0;
    ArrayPtr arg(parseNumber(w[1], n) ? vxCreateDoubleScalar(n) : vxCreateString(w[1].c_str()));
    vxArray_tag* in = arg.get();
    ioFullMoreFcn(0, nullptr, 1, &in);
}

void lines(std::vector<std::string> const& w) {
    double n = 20;
    if (w.size() > 1 && !parseNumber(w[1], n)) vxErrMsgId("qzconsole:lines", "lines takes a count.");
    ioStopPrinting();  // a stale stop request must not end this listing
    for (int i = 1; i <= static_cast<int>(n); ++i) {
        if (ioStopPrinting()) break;
        uvPrintf("line %d\n", i);
    }
}

// Everything after the word "echo" and the blanks that follow it.
void echo(std::string const& line) {
    size_t start = line.find("echo") + 4;
    start = line.find_first_not_of(' ', start);
    uvPrintf("%s\n", start == std::string::npos ? "" : line.c_str() + start);
}

void help() {
    uvPuts("  more            show the page length\n"
           "  more on|off     switch paging\n"
           "  more N          pages of N lines (and paging on)\n"
           "  lines [N]       print N numbered lines (20 by default)\n"
           "  echo TEXT       print TEXT\n"
           "  clc             clear the screen\n"
           "  exit, quit      leave\n");
}

} // namespace

Outcome runCommand(std::string const& line) {
    std::vector<std::string> w = words(line);
    if (w.empty()) return Outcome::Continue;
    try {
        if (w[0] == "exit" || w[0] == "quit") return Outcome::Exit;
        if (w[0] == "more") more(w);
        else if (w[0] == "lines") lines(w);
        else if (w[0] == "echo") echo(line);
        else if (w[0] == "help") help();
        else if (w[0] == "clc") cxutil::eventmgr::EventMgr::instance()->publish(boost::make_shared<services::io::CLCEvent>());
        else uvPrintf("Unknown command \"%s\". Type help for the list.\n", w[0].c_str());
    } catch (vx::Error const& e) {
        std::string text = std::string("Error: ") + e.what() + "\n";
        uvPutsn(1, text.data(), text.size());
    }
    return Outcome::Continue;
}

} // namespace qzconsole
