#include "LanguageCommands.hpp"
#include "qzlang/Session.hpp"

#include <qzservices/display/ioPrintArray.hpp>
#include <qzservices/display/settings.hpp>
#include <qzservices/io/CmdWinEvents.hpp>
#include <qzservices/io/more.hpp>
#include <qzservices/state/features.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <boost/make_shared.hpp>
#include <cctype>
#include <cstdlib>
#include <strings.h>

namespace qzlang {

namespace {

typedef std::vector<std::string> Words;

bool parseNumber(std::string const& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && end != text.c_str() && *end == '\0';
}

ArrayPtr wordValue(std::string const& w) {
    double n = 0;
    return ArrayPtr(parseNumber(w, n) ? vxCreateDoubleScalar(n) : vxCreateString(w.c_str()));
}

bool equalNoCase(std::string const& a, char const* b) { return strcasecmp(a.c_str(), b) == 0; }

// format, format WORD: the print format or the spacing; several words may
// follow ("format long compact"), and "format long e" reads as "longE".
CommandResult format(Session&, Words const& w) {
    if (w.empty()) {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        return CommandResult::Continue;
    }
    std::string joined;
    for (auto const& x : w) joined += x;
    if (w.size() > 1) {
        if (int f = printFormatOfWord(joined)) {
            SetPrtfmt(f);
            return CommandResult::Continue;
        }
    }
    // Checked whole before anything changes.
    for (auto const& x : w)
        if (!printFormatOfWord(x) && !equalNoCase(x, "compact") && !equalNoCase(x, "loose"))
            vxErrMsgId("qzconsole:format", "Unknown format '%s'.", x.c_str());
    for (auto const& x : w) {
        if (equalNoCase(x, "compact")) GetNewline()[0] = '\0';
        else if (equalNoCase(x, "loose")) GetNewline()[0] = '\n';
        else SetPrtfmt(printFormatOfWord(x));
    }
    return CommandResult::Continue;
}

// more, more on, more off, more N: the built-in, with the page length shown
// when no argument is given.
CommandResult more(Session&, Words const& w) {
    if (w.size() > 1) vxErrMsgId("qzconsole:more", "Use: more, more on, more off or more N.");
    if (w.empty()) {
        vxArray* result = nullptr;
        ioFullMoreFcn(1, &result, 0, nullptr);
        ArrayPtr owned(result);
        uvPrintf("page length %d, paging %s\n", vxGetScalarInt(result), services::io::isMoreOn() ? "on" : "off");
        return CommandResult::Continue;
    }
    ArrayPtr arg = wordValue(w[0]);
    vxArray* in = arg.get();
    ioFullMoreFcn(0, nullptr, 1, &in);
    return CommandResult::Continue;
}

// feature NAME [VALUE]: what the command-language layer of a host does with a
// feature: a built-in is called (with the value as its one input, if given);
// otherwise a value is stored in the record and handed to the one-argument
// callback, and no value shows the record's value.
CommandResult feature(Session&, Words const& w) {
    if (w.empty() || w.size() > 2) vxErrMsgId("qzconsole:feature", "Use: feature NAME [VALUE]");
    svFeature* f = svFindFeatureEntry(w[0].c_str());
    if (f == nullptr) vxErrMsgId("qzconsole:feature", "There is no feature named '%s'.", w[0].c_str());
    if (f->builtin != nullptr) {
        vxArray* out = nullptr;
        ArrayPtr in;
        if (w.size() == 2) in = wordValue(w[1]);
        vxArray* inArgs[1] = {in.get()};
        f->builtin(1, &out, in ? 1 : 0, inArgs);
        ArrayPtr result(out);
        if (result) ioPrintArray(f->name, result.get());
        return CommandResult::Continue;
    }
    if (w.size() == 2) {
        double n = 0;
        if (!parseNumber(w[1], n)) vxErrMsgId("qzconsole:feature", "The feature '%s' takes a number.", f->name);
        f->value = static_cast<int>(n);
        if (f->oneArgCallback != nullptr) f->oneArgCallback(f->value);
        return CommandResult::Continue;
    }
    uvPrintf("%s = %d\n", f->name, f->value);
    return CommandResult::Continue;
}

// features: the table in its own order, with what each entry offers.
CommandResult features(Session&, Words const& w) {
    if (!w.empty()) vxErrMsgId("qzconsole:features", "features takes no words.");
    uvPrintf("%-28s %6s %9s %8s %6s\n", "name", "value", "callback", "builtin", "count");
    for (auto const& entry : FeatureTable::getInstance().entries()) {
        svFeature const& f = entry.second;
        uvPrintf("%-28s %6d %9s %8s %6llu\n", f.name, f.value, f.oneArgCallback ? "yes" : "-",
                 f.builtin ? "yes" : "-", static_cast<unsigned long long>(f.callCount));
    }
    return CommandResult::Continue;
}

template <class Event>
CommandResult publish(Session&, Words const& w) {
    if (!w.empty()) vxErrMsgId("qzconsole:screen", "clc and home take no words.");
    cxutil::eventmgr::EventMgr::instance()->publish(boost::make_shared<Event>());
    return CommandResult::Continue;
}

// clear, clear all, clear variables, clear NAME...
CommandResult clear(Session& s, Words const& w) {
    if (w.empty()) s.clearAll();
    for (auto const& name : w) {
        if (name == "all" || name == "-all" || name == "variables" || name == "-variables") s.clearAll();
        else s.clear(name);
    }
    return CommandResult::Continue;
}

} // namespace

int printFormatOfWord(std::string const& word) {
    static struct {
        char const* name;
        int format;
    } const words[] = {
        {"short", PrtfmtShort},   {"long", PrtfmtLong},           {"shortE", PrtfmtShortE},
        {"longE", PrtfmtLongE},   {"shortG", PrtfmtShortG},       {"longG", PrtfmtLongG},
        {"hex", PrtfmtHex},       {"twoDecimal", PrtfmtTwoDecimal}, {"bank", PrtfmtTwoDecimal},
        {"sign", PrtfmtSign},     {"+", PrtfmtSign},              {"rational", PrtfmtRational},
        {"rat", PrtfmtRational},  {"debug", PrtfmtDebug},         {"shortEng", PrtfmtShortEng},
        {"longEng", PrtfmtLongEng},
    };
    for (auto const& w : words)
        if (equalNoCase(word, w.name)) return w.format;
    return 0;
}

void addLanguageCommands(CommandTable& table) {
    table.add({"format", "format [WORD...]  short, long, shortE, longE, shortG, longG, hex, twoDecimal, sign,\n"
                         "                  rational, debug, shortEng, longEng; compact or loose",
               &format});
    table.add({"more", "more [on|off|N]   paging of long output; N lines a page", &more});
    table.add({"feature", "feature NAME [VALUE]  read or set a feature", &feature});
    table.add({"features", "features          list the feature table", &features});
    table.add({"clc", "clc               clear the command window", &publish<services::io::CLCEvent>});
    table.add({"home", "home              move the cursor to the top left", &publish<services::io::HomeEvent>});
    table.add({"clear", "clear [NAME...]   remove variables", &clear});
}

} // namespace qzlang
