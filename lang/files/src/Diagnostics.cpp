// The text of errors and warnings, and the warning switches.
#include "qzlang/files/Diagnostics.hpp"

#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/wrapping.hpp>

#include <uv/uv.hpp>

#include <cstdlib>
#include <cstring>

namespace qzlang { namespace files {

namespace {

char const kLinkScheme[] = "calyx:openAtLine ";

bool isWordChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool keepsInLink(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != 0 && std::strchr("/._-~+,=@", c) != nullptr);
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

// NAME, or NAME as a link to its place when there is a file to open.
std::string shownName(std::string const& name, std::string const& file, int line, bool hotLinks) {
    if (!hotLinks || file.empty()) return name;
    return "<a href=\"" + fileLinkTarget(file, line) + "\">" + name + "</a>";
}

void printWrapped(std::string const& report, bool braces) { ioPrintWrapped(report.c_str(), braces); }

} // namespace

bool isMessageIdentifier(std::string const& text) {
    size_t words = 0;
    size_t start = 0;
    while (true) {
        size_t end = text.find(':', start);
        if (end == std::string::npos) end = text.size();
        if (end == start) return false;  // an empty word: "a::b", ":a", "a:"
        for (size_t i = start; i < end; ++i)
            if (!isWordChar(text[i])) return false;
        ++words;
        if (end == text.size()) break;
        start = end + 1;
    }
    return words >= 2;
}

MessageParts splitMessageArguments(std::size_t count, std::string const& first,
                                   std::function<std::string(std::size_t)> const& format) {
    MessageParts parts;
    if (count == 0) return parts;
    if (count == 1) {
        parts.message = first;  // taken literally: no format is applied
        return parts;
    }
    if (isMessageIdentifier(first)) {
        parts.identifier = first;
        parts.message = format(1);
    } else {
        parts.message = format(0);
    }
    return parts;
}

std::string fileLinkTarget(std::string const& file, int line) {
    static char const hex[] = "0123456789ABCDEF";
    std::string target = kLinkScheme;
    for (unsigned char c : file) {
        if (keepsInLink(c)) {
            target += static_cast<char>(c);
        } else {
            target += '%';
            target += hex[c >> 4];
            target += hex[c & 15];
        }
    }
    return target + " " + std::to_string(line);
}

bool parseFileLinkTarget(std::string const& href, std::string& file, int& line) {
    size_t const schemeLength = sizeof kLinkScheme - 1;
    if (href.compare(0, schemeLength, kLinkScheme) != 0) return false;
    size_t const blank = href.find(' ', schemeLength);
    if (blank == std::string::npos || blank + 1 >= href.size()) return false;
    std::string decoded;
    for (size_t i = schemeLength; i < blank; ++i) {
        if (href[i] != '%') {
            decoded += href[i];
            continue;
        }
        if (i + 2 >= blank) return false;
        int const high = hexValue(href[i + 1]);
        int const low = hexValue(href[i + 2]);
        if (high < 0 || low < 0) return false;
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    char* end = nullptr;
    long const number = std::strtol(href.c_str() + blank + 1, &end, 10);
    if (*end != '\0' || number < 0 || number > 0x7fffffff) return false;
    file = decoded;
    line = static_cast<int>(number);
    return true;
}

std::string errorReport(std::string const& message, std::vector<Frame> const& frames, bool hotLinks) {
    std::string report;
    if (!frames.empty() && !frames.front().name.empty() && !frames.front().script) {
        Frame const& f = frames.front();
        report = "Error using " + shownName(f.name, f.file, f.line, hotLinks) + "\n" + message;
    } else {
        report = "Error: " + message;
    }
    std::vector<Frame const*> inFiles;
    for (Frame const& f : frames)
        if (!f.file.empty()) inFiles.push_back(&f);  // a built-in has no line to show
    // A deep recursion would bury the message under hundreds of lines: the
    // innermost and outermost frames tell where it went wrong and where it began.
    std::size_t const kept = kReportEndFrames;
    std::size_t const left = inFiles.size() > 2 * kept + 1 ? inFiles.size() - 2 * kept : 0;
    for (std::size_t k = 0; k < inFiles.size(); ++k) {
        if (left && k == kept) {
            report += "\n... " + std::to_string(left) + " frames left out ...";
            k += left - 1;
            continue;
        }
        Frame const& f = *inFiles[k];
        report += "\nError in " + shownName(f.name, f.file, f.line, hotLinks) + " (line " + std::to_string(f.line) + ")";
    }
    return report;
}

std::string warningReport(std::string const& message, std::vector<Frame> const& frames, bool hotLinks) {
    std::string report = "Warning: " + message;
    for (Frame const& f : frames) {
        if (f.file.empty()) continue;
        report += "\n> In " + shownName(f.name, f.file, f.line, hotLinks) + " (line " + std::to_string(f.line) + ")";
        break;
    }
    return report;
}

std::string syntaxErrorReport(std::string const& message, std::string const& file, int line, int column,
                              bool hotLinks) {
    return "Error: File: " + shownName(file, file, line, hotLinks) + " Line: " + std::to_string(line) +
           " Column: " + std::to_string(column) + "\n" + message;
}

bool hotLinksOn() { return uvGetHotLinks() || services::io::CXStream::CXOut.supportsHotlinks(); }

Diagnostics::Diagnostics() : printer_(&printWrapped) {}

void Diagnostics::setWarningState(std::string const& identifier, bool on) {
    if (identifier == "all") {
        allOn_ = on;
        single_.clear();
        return;
    }
    single_[identifier] = on;
}

bool Diagnostics::isWarningEnabled(std::string const& identifier) const {
    if (identifier.empty()) return allOn_;
    auto const it = single_.find(identifier);
    return it == single_.end() ? allOn_ : it->second;
}

bool Diagnostics::applyWarningCommand(std::vector<std::string> const& args) {
    if (args.empty() || args.size() > 2 || (args[0] != "on" && args[0] != "off")) return false;
    setWarningState(args.size() == 2 ? args[1] : std::string("all"), args[0] == "on");
    return true;
}

bool Diagnostics::warn(std::string const& identifier, std::string const& message, std::vector<Frame> const& frames) {
    if (!isWarningEnabled(identifier)) return false;
    setLastWarning(message, identifier);
    printer_(warningReport(message, frames, hotLinksOn()), false);
    return true;
}

void Diagnostics::reportUncaught(std::string const& identifier, std::string const& message,
                                 std::vector<Frame> const& frames) {
    setLastError(message, identifier);
    printer_(errorReport(message, frames, hotLinksOn()), true);
}

void Diagnostics::reportSyntaxError(std::string const& message, std::string const& file, int line, int column) {
    setLastError(message, std::string());
    printer_(syntaxErrorReport(message, file, line, column, hotLinksOn()), true);
}

void Diagnostics::setLastError(std::string const& message, std::string const& identifier) {
    lastError_ = message;
    lastErrorId_ = identifier;
}

void Diagnostics::setLastWarning(std::string const& message, std::string const& identifier) {
    lastWarning_ = message;
    lastWarningId_ = identifier;
}

void Diagnostics::setPrinter(Printer printer) { printer_ = printer ? printer : Printer(&printWrapped); }

}} // namespace qzlang::files
