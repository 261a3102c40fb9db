// The builder space: every character taken from the caller is escaped, an
// alternation is always bracketed, and a repeated node that is more than one
// atom is grouped, so that joining and repeating nodes can never change what
// a part means.
#include "rx/rx.hpp"

#include <cstdio>

namespace {

// A character as an escape that means only itself, whatever its context.
void appendEscaped(std::string& out, unsigned char c) {
    bool const plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0x80;
    if (plain) {
        out += static_cast<char>(c);
        return;
    }
    char buffer[12];
    std::snprintf(buffer, sizeof buffer, "\\x{%x}", c);
    out += buffer;
}

std::string escapedClass(char const* chars, bool negated) {
    std::string out = negated ? "[^" : "[";
    bool any = false;
    for (char const* p = chars ? chars : ""; *p != '\0'; ++p) {
        appendEscaped(out, static_cast<unsigned char>(*p));
        any = true;
    }
    // An empty class matches nothing (negated: every character).
    if (!any) return negated ? "." : "(?!)";
    return out + "]";
}

} // namespace

RX_Node operator+(RX_Node const& a, RX_Node const& b) {
    if (a.source_.empty()) return b;
    if (b.source_.empty()) return a;
    return RX_Node(a.source_ + b.source_, false);
}
RX_Node operator+(RX_Node const& a, char const* literal) { return a + RX_Builder_Space().text(literal); }
RX_Node operator+(char const* literal, RX_Node const& b) { return RX_Builder_Space().text(literal) + b; }

RX_Node RX_Builder_Space::text(char const* literal) const {
    std::string out;
    size_t count = 0;
    for (char const* p = literal ? literal : ""; *p != '\0'; ++p, ++count)
        appendEscaped(out, static_cast<unsigned char>(*p));
    return RX_Node(out, count == 1);
}

RX_Node RX_Builder_Space::set(int kind) const {
    switch (kind) {
    // Trees are compiled so that the dot matches line ends too; the dot is
    // much cheaper for the engine than a class of everything.
    case SET_ANY: return RX_Node(".", true);
    case SET_DIGIT: return RX_Node("\\d", true);
    case SET_SPACE: return RX_Node("\\s", true);
    case SET_WORD: return RX_Node("\\w", true);
    default: throw RX_Error("unknown character set " + std::to_string(kind));
    }
}

RX_Node RX_Builder_Space::one_of(char const* chars) const { return RX_Node(escapedClass(chars, false), true); }
RX_Node RX_Builder_Space::none_of(char const* chars) const { return RX_Node(escapedClass(chars, true), true); }

RX_Node RX_Builder_Space::special(int kind) const {
    switch (kind) {
    case SPECIAL_TEXT_START: return RX_Node("\\A", false);
    case SPECIAL_TEXT_END: return RX_Node("\\z", false);
    case SPECIAL_LINE_START: return RX_Node("^", false);
    case SPECIAL_LINE_END: return RX_Node("$", false);
    case SPECIAL_WORD_BOUNDARY: return RX_Node("\\b", false);
    default: throw RX_Error("unknown special " + std::to_string(kind));
    }
}

namespace {
std::string asAtom(RX_Node const& node) { return node.atom() ? node.source() : "(?:" + node.source() + ")"; }
} // namespace

RX_Node RX_Builder_Space::kleene(RX_Node const& node, bool greedy) const {
    return RX_Node(asAtom(node) + (greedy ? "*" : "*?"), false);
}

RX_Node RX_Builder_Space::optional(RX_Node const& node) const { return RX_Node(asAtom(node) + "?", false); }

RX_Node RX_Builder_Space::capture(RX_Node const& node) const { return RX_Node("(" + node.source() + ")", true); }

// A branch reset group: both alternatives number their captures from the same
// start, so a token means the same part of a match whichever side matched.
RX_Node RX_Builder_Space::global_or(RX_Node const& a, RX_Node const& b) const {
    return RX_Node("(?|" + a.source() + "|" + b.source() + ")", true);
}
