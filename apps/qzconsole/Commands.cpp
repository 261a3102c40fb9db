#include "Commands.hpp"
#include "DemoEvents.hpp"
#include "Demo.hpp"

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

// A short text form of a feature's answer, until the console shows arrays.
void printAnswer(std::string const& name, vxArray_tag const* a) {
    if (a == nullptr) return;
    if (vxGetClassID(a) == vxCHAR_CLASS) {
        uvPrintf("%s = '%s'\n", name.c_str(), vxArrayToStdString(a).c_str());
    } else if (vxGetNumberOfElements(a) == 1 && vxGetClassID(a) != vxSTRUCT_CLASS && vxGetClassID(a) != vxCELL_CLASS) {
        uvPrintf("%s = %.15g\n", name.c_str(), vxGetScalar(a));
    } else {
        uvPrintf("%s = [%zux%zu value of class %d]\n", name.c_str(), vxGetM(a), vxGetN(a), static_cast<int>(vxGetClassID(a)));
    }
}

// feature NAME [VALUE]: what the command-language layer of a host does with a
// feature: a built-in is called (with the value as its one input, if given);
// otherwise a value is stored in the record and handed to the one-argument
// callback, and no value shows the record's value.
void feature(std::vector<std::string> const& w) {
    if (w.size() < 2 || w.size() > 3) vxErrMsgId("qzconsole:feature", "Use: feature NAME [VALUE]");
    svFeature* f = svFindFeatureEntry(w[1].c_str());
    if (f == nullptr) vxErrMsgId("qzconsole:feature", "There is no feature named '%s'.", w[1].c_str());
    if (f->builtin != nullptr) {
        vxArray_tag* out = nullptr;
        ArrayPtr in;
        if (w.size() == 3) {
            double n = 0;
            in.reset(parseNumber(w[2], n) ? vxCreateDoubleScalar(n) : vxCreateString(w[2].c_str()));
        }
        vxArray_tag* inArgs[1] = {in.get()};
        f->builtin(1, &out, in ? 1 : 0, inArgs);
        ArrayPtr result(out);
        printAnswer(f->name, result.get());
        return;
    }
    if (w.size() == 3) {
        double n = 0;
        if (!parseNumber(w[2], n)) vxErrMsgId("qzconsole:feature", "The feature '%s' takes a number.", f->name);
        f->value = static_cast<int>(n);
        if (f->oneArgCallback != nullptr) f->oneArgCallback(f->value);
        return;
    }
    uvPrintf("%s = %d\n", f->name, f->value);
}

// features: the table in its own order, with what each entry offers.
void features() {
    uvPrintf("%-28s %6s %9s %8s %6s\n", "name", "value", "callback", "builtin", "count");
    for (auto const& entry : FeatureTable::getInstance().entries()) {
        svFeature const& f = entry.second;
        uvPrintf("%-28s %6d %9s %8s %6llu\n", f.name, f.value, f.oneArgCallback ? "yes" : "-",
                 f.builtin ? "yes" : "-", static_cast<unsigned long long>(f.callCount));
    }
}

// demo-events [N]: N events and N callbacks from another thread; no count
// reports the current run.
void demo(std::vector<std::string> const& w) {
    if (w.size() > 2) vxErrMsgId("qzconsole:demo", "Use: demo-events [N]");
    if (w.size() == 1) return demoEvents(-1);
    double n = 0;
    if (!parseNumber(w[1], n) || n < 0 || n > 1e8 || n != static_cast<long>(n))
        vxErrMsgId("qzconsole:demo", "demo-events takes a count from 0 to 100000000.");
    demoEvents(static_cast<long>(n));
}

void help() {
    uvPuts("  more            show the page length\n"
           "  more on|off     switch paging\n"
           "  more N          pages of N lines (and paging on)\n"
           "  lines [N]       print N numbered lines (20 by default)\n"
           "  echo TEXT       print TEXT\n"
           "  feature NAME [VALUE]  read or set a feature\n"
           "  features        list the feature table\n"
           "  demo-events [N] post N events and N callbacks from another thread\n"
           "  demo            a tour of array display\n"
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
        else if (w[0] == "feature") feature(w);
        else if (w[0] == "features") features();
        else if (w[0] == "demo-events") demo(w);
        else if (w[0] == "demo") runDemo();
        else if (w[0] == "clc") cxutil::eventmgr::EventMgr::instance()->publish(boost::make_shared<services::io::CLCEvent>());
        else uvPrintf("Unknown command \"%s\". Type help for the list.\n", w[0].c_str());
    } catch (vx::Error const& e) {
        std::string text = std::string("Error: ") + e.what() + "\n";
        uvPutsn(1, text.data(), text.size());
    }
    return Outcome::Continue;
}

} // namespace qzconsole
