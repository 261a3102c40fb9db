// Hot links: <a href="..."> text </a> and <strong> text </strong>. The
// markup takes no room on the screen, so measuring and stripping need to know
// where the tags are; tokens 0 and 2 of a match are the tags, token 1 the
// text between. The wrapper looks for the next link at every link, so the
// common forms are found by a plain scan, and the pattern decides the rest.
#include "qzservices/io/wrapping.hpp"
#include "io/hot_links.hpp"

#include "io/wrap_units.hpp"

#include <string>

namespace {

// linkAt below reads this pattern by hand: a change here is a change there.
RX_Node buildHyperlinkPattern() {
    RX_Builder_Space b;
    RX_Node const space = b.set(RX_Builder_Space::SET_SPACE);
    RX_Node const w = b.kleene(space);
    RX_Node const fewestAny = b.kleene(b.set(RX_Builder_Space::SET_ANY), false);
    RX_Node const link = b.capture("<a" + space + w + "href" + w + "=" + w + "\"" + b.kleene(b.none_of("\"")) +
                                   "\"" + b.kleene(b.none_of(">")) + ">") +
                         b.capture(fewestAny) + b.capture(b.text("</a>"));
    RX_Node const strong = b.capture(b.text("<strong>")) + b.capture(fewestAny) + b.capture(b.text("</strong>"));
    return b.global_or(link, strong);
}

} // namespace

RX_Tree const& hyperlinkTree() {
    static RX_Tree const tree(buildHyperlinkPattern(), 0);
    return tree;
}

std::basic_string<unsigned short> hyperlinkPattern() {
    std::string const& source = hyperlinkTree().source();
    // The builder writes ASCII only (escapes for everything else).
    return std::basic_string<unsigned short>(source.begin(), source.end());
}

void ioStripHotLinks(char* text) {
    if (text == nullptr) return;
    static RX_Replace const innerText("$2");
    innerText.replace_in_place(hyperlinkTree(), text);
}

namespace {

typedef unsigned short Unit;
using services::io::detail::findUnit;

bool unitsAre(Unit const* text, size_t at, size_t length, char const* literal) {
    for (; *literal != '\0'; ++literal, ++at)
        if (at >= length || text[at] != static_cast<unsigned char>(*literal)) return false;
    return true;
}

// The first occurrence of `literal` (which starts with '<') from `from`, or `length`.
size_t findText(Unit const* text, size_t from, size_t length, char const* literal) {
    for (;; ++from) {
        from = findUnit(text, from, length, '<');
        if (from >= length || unitsAre(text, from, length, literal)) return from;
    }
}

// What the scan can say about a start.
enum class Verdict { Link, NoLink, Unsure };

// Whether a unit is white space to the pattern: sure only of ASCII's printable
// characters and of the four blanks that every definition counts.
enum class Space { Yes, No, Unknown };

Space spaceKind(Unit u) {
    if (u == ' ' || u == '\t' || u == '\n' || u == '\r') return Space::Yes;
    if (u > 0x20 && u < 0x7f) return Space::No;
    return Space::Unknown;
}

// Moves `i` over white space; false when a unit of unknown kind comes first.
bool skipSpace(Unit const* text, size_t length, size_t& i) {
    for (; i < length; ++i) {
        Space const kind = spaceKind(text[i]);
        if (kind == Space::No) return true;
        if (kind == Space::Unknown) return false;
    }
    return true;
}

// The pattern tried at a '<' at `at`. The parts of an opening tag admit one
// way each to match (each repeat stops at a unit that what follows it cannot
// be), and the text between the tags ends at the first closing tag, so the
// first reading that works is the pattern's match. Where the scan would run to
// the end of the text (a tag never closed), the pattern decides, so that it
// gives up on text too costly for it exactly where it always did.
Verdict linkAt(Unit const* text, size_t length, size_t at, HotLinkTags& tags) {
    size_t i = at + 1;
    size_t openEnd = 0;
    char const* close = nullptr;
    if (unitsAre(text, i, length, "strong>")) {
        openEnd = i + 7;
        close = "</strong>";
    } else if (unitsAre(text, i, length, "a")) {
        ++i;
        if (i >= length) return Verdict::NoLink;
        Space const first = spaceKind(text[i]);
        if (first == Space::Unknown) return Verdict::Unsure;
        if (first == Space::No) return Verdict::NoLink;
        if (!skipSpace(text, length, i)) return Verdict::Unsure;
        if (!unitsAre(text, i, length, "href")) return Verdict::NoLink;
        i += 4;
        if (!skipSpace(text, length, i)) return Verdict::Unsure;
        if (!unitsAre(text, i, length, "=")) return Verdict::NoLink;
        ++i;
        if (!skipSpace(text, length, i)) return Verdict::Unsure;
        if (!unitsAre(text, i, length, "\"")) return Verdict::NoLink;
        i = findUnit(text, i + 1, length, '"');
        if (i < length) i = findUnit(text, i + 1, length, '>');
        if (i >= length) return Verdict::Unsure;
        openEnd = i + 1;
        close = "</a>";
    } else {
        return Verdict::NoLink;
    }
    size_t const closeStart = findText(text, openEnd, length, close);
    if (closeStart >= length) return Verdict::Unsure;
    tags.openStart = at;
    tags.openLength = openEnd - at;
    tags.closeStart = closeStart;
    tags.closeLength = std::char_traits<char>::length(close);
    return Verdict::Link;
}

bool linkByPattern(Unit const* text, size_t length, size_t from, HotLinkTags& tags) {
    RX_Results match;
    if (!hyperlinkTree().match(text, length, from, match)) return false;
    size_t start = 0, count = 0;
    if (!match.tokens().get(0, tags.openStart, tags.openLength) || !match.tokens().get(2, start, count)) return false;
    tags.closeStart = start;
    tags.closeLength = count;
    return true;
}

} // namespace

bool findHotLink(Unit const* text, size_t length, size_t from, HotLinkTags& tags) {
    if (text == nullptr) return false;
    for (size_t at = findUnit(text, from, length, '<'); at < length; at = findUnit(text, at + 1, length, '<')) {
        switch (linkAt(text, length, at, tags)) {
        case Verdict::Link: return true;
        case Verdict::NoLink: break;
        case Verdict::Unsure: return linkByPattern(text, length, at, tags);
        }
    }
    return false;
}
