// The regular expression stand-in beyond what the hot links use: built
// patterns mean exactly their parts, positions are units of the text, and
// replacement rewrites every match by its template.
#include <gtest/gtest.h>
#include <rx/rx.hpp>

#include <cstring>
#include <string>

namespace {

using B = RX_Builder_Space;

RX_UString u16(char const* ascii) { return RX_UString(ascii, ascii + std::strlen(ascii)); }

// Where the whole pattern first matches in text, from index `from`: "start+length", or "-".
std::string where(RX_Tree const& tree, std::string const& text, size_t from = 0) {
    RX_Results r;
    if (!tree.match(text.c_str(), text.size(), from, r)) return "-";
    return std::to_string(r.start()) + "+" + std::to_string(r.length());
}

// The hot-link shape: <a href="..."> text </a>, or <strong> text </strong>.
RX_Node linkPattern() {
    B b;
    RX_Node const w = b.kleene(b.set(B::SET_SPACE));
    RX_Node const anyLazy = b.kleene(b.set(B::SET_ANY), false);
    RX_Node const link = b.capture("<a" + b.set(B::SET_SPACE) + w + "href" + w + "=" + w + "\"" +
                                   b.kleene(b.none_of("\"")) + "\"" + b.kleene(b.none_of(">")) + ">") +
                         b.capture(anyLazy) + b.capture(b.text("</a>"));
    RX_Node const strong = b.capture(b.text("<strong>")) + b.capture(anyLazy) + b.capture(b.text("</strong>"));
    return b.global_or(link, strong);
}

} // namespace

TEST(RegexBuilder, EachBuildingBlockMeansExactlyItsParts) {
    B b;
    RX_Node const anchored = b.special(B::SPECIAL_TEXT_START) + b.kleene(b.text("ab")) + b.special(B::SPECIAL_TEXT_END);
    RX_Node const literal = b.text("a.b*(c)[d]\\$^|?+{1}");
    struct Row {
        RX_Node pattern;
        int flags;
        std::string text, expected;
    } const rows[] = {
        {literal, 0, "xx a.b*(c)[d]\\$^|?+{1} yy", "3+19"},  // literals mean only themselves
        {literal, 0, "aXbbc", "-"},
        {anchored, 0, "ababab", "0+6"},  // kleene repeats the whole pair
        {anchored, 0, "abbb", "-"},
        {anchored, 0, "", "0+0"},
        {b.set(B::SET_DIGIT) + b.kleene(b.set(B::SET_DIGIT)), 0, "ab123c", "2+3"},
        {b.kleene(b.none_of("\"]")) + "]", 0, "x\"ab]", "2+3"},
        {b.one_of("aeiou"), 0, "xyzo", "3+1"},
        {b.text("href"), 0, "HREF", "-"},
        {b.text("href"), RX_Tree::RX_ICASE, "HREF", "0+4"},
        {b.text("<b>") + b.kleene(b.set(B::SET_ANY), false) + "</b>", 0, "<b>one</b><b>two</b>", "0+10"},  // lazy
        {b.text("<b>") + b.kleene(b.set(B::SET_ANY)) + "</b>", 0, "<b>one</b><b>two</b>", "0+20"},  // greedy
    };
    for (Row const& r : rows) EXPECT_EQ(r.expected, where(RX_Tree(r.pattern, r.flags), r.text)) << r.text;
    EXPECT_EQ(0u, RX_Tree(literal, 0).tokenCount());
    // From index 1 the "b" of "ab" is inside a word; the next "b" starts one.
    EXPECT_EQ("3+1", where(RX_Tree(b.special(B::SPECIAL_WORD_BOUNDARY) + "b", 0), "ab b", 1));
    EXPECT_THROW(b.set(99), RX_Error);
    EXPECT_THROW(b.special(99), RX_Error);
}

TEST(RegexMatch, SearchStartsAtTheUnitsThatCanBeginAMatch) {
    B b;
    struct Row {
        RX_Node pattern;
        int flags;
        std::string text, expected;
    } const rows[] = {
        {b.global_or(b.text("cat"), b.text("dog")), 0, "a dog and a cat", "2+3"},
        {b.text("ab"), 0, "aaab", "2+2"},                           // a first unit that fails, then one that matches
        {b.text("<b>"), 0, "a<<b>", "2+3"},                         // an escaped first unit
        {b.kleene(b.text("x")) + "y", 0, "zzy", "2+1"},             // the first atom may be absent
        {b.optional(b.text("x")) + "y", 0, "zy", "1+1"},
        {b.kleene(b.capture(b.text("ab"))) + "c", 0, "xc", "1+1"},  // so may a first group
        {b.one_of("xy") + "z", 0, "ayz", "1+2"},                    // a class begins it
        {b.text("href"), RX_Tree::RX_ICASE, "xHREF", "1+4"},        // folding finds other cases
        {b.text("q"), 0, "", "-"},
    };
    for (Row const& r : rows) EXPECT_EQ(r.expected, where(RX_Tree(r.pattern, r.flags), r.text)) << r.pattern.source();

    // Failing candidates in front, at every place within blocks of units.
    RX_Tree tree(linkPattern(), 0);
    for (size_t pad = 0; pad < 20; ++pad) {
        std::string const narrow = std::string(pad, '<') + "<strong>y</strong>";
        EXPECT_EQ(std::to_string(pad) + "+18", where(tree, narrow)) << pad;
        RX_UString const wide = u16(narrow.c_str());
        RX_Results r;
        ASSERT_TRUE(tree.match(wide.data(), wide.size(), 0, r)) << pad;
        EXPECT_EQ(pad, r.start());
        EXPECT_FALSE(tree.match(wide.data(), wide.size(), pad + 1, r)) << pad;
    }
}

TEST(RegexMatch, Utf16PositionsAreUnits) {
    RX_Tree tree(linkPattern(), 0);
    EXPECT_EQ(3u, tree.tokenCount());  // the alternatives share their numbers
    RX_Results r;
    // An astral character (two units) and a lone surrogate before the link.
    RX_UString text = {0xD83D, 0xDE00, 0xDC00, 'x'};
    text += u16("<strong>\xc3</strong>");
    text[12] = 0xE9;  // the letter inside, as one unit
    ASSERT_TRUE(tree.match(text.data(), text.size(), 0, r));
    EXPECT_EQ(4u, r.start());
    size_t s = 0, l = 0;
    ASSERT_TRUE(r.tokens().get(1, s, l));
    EXPECT_EQ(12u, s);
    EXPECT_EQ(1u, l);
    // Starting past the match finds nothing; starting beyond the text is no error.
    EXPECT_FALSE(tree.match(text.data(), text.size(), 5, r));
    EXPECT_FALSE(r.matched());
    EXPECT_FALSE(r.tokens().get(0, s, l));
    EXPECT_FALSE(tree.match(text.data(), text.size(), text.size() + 1, r));
}

TEST(RegexReplace, EveryMatchIsRewrittenByTheTemplate) {
    RX_Tree tree(linkPattern(), 0);
    char text[] = "a <a href=\"u\">link</a> b <strong>bold</strong> c";
    EXPECT_EQ(15u, RX_Replace("$2").replace_in_place(tree, text));
    EXPECT_STREQ("a link b bold c", text);
    EXPECT_EQ("x[<strong>|$|<strong>y</strong>]", RX_Replace("[$1|$$|$0]").replace(tree, "x<strong>y</strong>", 19));

    // Removing a unit with its backspace, repeated.
    B b;
    RX_Tree backspaced(b.none_of("\b") + "\b", 0);
    RX_Replace drop("");
    RX_UString units = u16("aab\b\bc");
    size_t length = drop.replace_in_place(backspaced, &units[0], units.size());
    EXPECT_EQ(u16("aa\bc"), units.substr(0, length));
    length = drop.replace_in_place(backspaced, &units[0], length);
    EXPECT_EQ(u16("ac"), units.substr(0, length));
    EXPECT_EQ(0, units[length]);
    RX_UString lead = u16("\bx");  // nothing before a leading backspace to take
    EXPECT_EQ(u16("\bx"), drop.replace(backspaced, lead.data(), lead.size()));
}

TEST(RegexReplace, EmptyMatchesEndAndGrowthInPlaceIsRefused) {
    B b;
    RX_Tree maybeX(b.kleene(b.text("x")), 0);
    EXPECT_EQ("-a-b-", RX_Replace("-").replace(maybeX, "ab", 2));
    char text[] = "ab";
    EXPECT_THROW(RX_Replace("-").replace_in_place(maybeX, text), RX_Error);
    EXPECT_STREQ("ab", text);
    EXPECT_THROW(RX_Replace("\xc3\xa9"), RX_Error);
}
