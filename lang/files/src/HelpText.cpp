// Help text out of a source file's comments.
#include "qzlang/files/HelpText.hpp"

#include <qzservices/display/sizes.hpp>

#include <cctype>
#include <vector>

namespace qzlang { namespace files {

namespace {

std::vector<std::string> splitLines(std::string const& text) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

std::string trimmed(std::string const& line) {
    size_t const first = line.find_first_not_of(" \t");
    if (first == std::string::npos) return std::string();
    size_t const last = line.find_last_not_of(" \t");
    return line.substr(first, last - first + 1);
}

bool isNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; }
bool isNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.'; }

bool isFunctionLine(std::string const& t) {
    return t.compare(0, 8, "function") == 0 &&
           (t.size() == 8 || !(std::isalnum(static_cast<unsigned char>(t[8])) || t[8] == '_'));
}

// A list that ends with a comma goes on on the next line.
bool endsWithComma(std::string const& line) {
    std::string const t = trimmed(line);
    return !t.empty() && t.back() == ',';
}

// Whether `text` holds only names, commas, blanks and one final ".".
bool onlyNames(std::string const& text) {
    bool sawName = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char const c = text[i];
        if (isNameStart(c)) {
            sawName = true;
            while (i + 1 < text.size() && isNameChar(text[i + 1]) &&
                   !(text[i + 1] == '.' && i + 2 == text.size()))
                ++i;
        } else if (c == '.' && i + 1 == text.size()) {
        } else if (c != ',' && c != ' ' && c != '\t') {
            return false;
        }
    }
    return sawName;
}

// The names in `text` made into help links; everything between stays.
std::string linkNames(std::string const& text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        if (!isNameStart(text[i])) {
            out += text[i++];
            continue;
        }
        size_t end = i + 1;
        while (end < text.size() && isNameChar(text[end])) ++end;
        // A "." that ends the list is no part of the last name.
        while (end > i + 1 && text[end - 1] == '.') --end;
        std::string const name = text.substr(i, end - i);
        out += ioCreateHelpHotlink(name, name);
        i = end;
    }
    return out;
}

// The lines of the help block, without their line ends.
std::vector<std::string> helpLines(std::string const& source) {
    std::vector<std::string> const lines = splitLines(source);
    size_t i = 0;
    auto skipBlank = [&] {
        while (i < lines.size() && trimmed(lines[i]).empty()) ++i;
    };
    skipBlank();
    if (i < lines.size() && isFunctionLine(trimmed(lines[i]))) {
        // The declaration, with its continuation lines.
        while (i < lines.size()) {
            std::string const t = trimmed(lines[i++]);
            if (t.size() < 3 || t.compare(t.size() - 3, 3, "...") != 0) break;
        }
        skipBlank();
    }
    std::vector<std::string> help;
    if (i < lines.size() && trimmed(lines[i]) == "%{") {
        int depth = 1;
        for (++i; i < lines.size(); ++i) {
            std::string const t = trimmed(lines[i]);
            if (t == "%{") ++depth;
            if (t == "%}" && --depth == 0) break;
            help.push_back(lines[i]);
        }
        return help;
    }
    for (; i < lines.size(); ++i) {
        std::string const t = trimmed(lines[i]);
        if (t.empty() || t[0] != '%' || t == "%{") break;
        help.push_back(lines[i].substr(lines[i].find('%') + 1));
    }
    return help;
}

} // namespace

std::string helpText(std::string const& source) {
    std::string help;
    for (std::string const& line : helpLines(source)) help += line + "\n";
    return help;
}

std::string linkSeeAlsoLine(std::string const& line, bool& continuing) {
    size_t const first = line.find_first_not_of(" \t");
    if (first == std::string::npos) {
        continuing = false;
        return line;
    }
    static char const kSeeAlso[] = "see also";
    size_t const n = sizeof kSeeAlso - 1;
    bool starts = line.size() >= first + n;
    for (size_t k = 0; starts && k < n; ++k)
        starts = std::tolower(static_cast<unsigned char>(line[first + k])) == kSeeAlso[k];
    if (starts) {
        size_t rest = first + n;
        if (rest < line.size() && line[rest] == ':') ++rest;
        // Only a plain list is linked: a line with other text stays as it is.
        if (!onlyNames(line.substr(rest))) {
            continuing = false;
            return line;
        }
        continuing = endsWithComma(line);
        return line.substr(0, rest) + linkNames(line.substr(rest));
    }
    if (continuing && onlyNames(line)) {
        continuing = endsWithComma(line);
        return linkNames(line);
    }
    continuing = false;
    return line;
}

std::string helpTextWithLinks(std::string const& source) {
    std::string out;
    bool continuing = false;
    for (std::string const& line : helpLines(source)) out += linkSeeAlsoLine(line, continuing) + "\n";
    return out;
}

}} // namespace qzlang::files
