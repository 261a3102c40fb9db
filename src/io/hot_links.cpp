// Hot links: <a href="..."> text </a> and <strong> text </strong>. The
// markup takes no room on the screen, so measuring and stripping need to know
// where the tags are; tokens 0 and 2 of a match are the tags, token 1 the
// text between.
#include "qzservices/io/wrapping.hpp"
#include "io/hot_links.hpp"

namespace {

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
