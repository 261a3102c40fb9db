// The regular expression stand-in: built patterns mean exactly their parts,
// tokens are numbered per alternative, positions are units of the text, and
// replacement rewrites every match.
#include <gtest/gtest.h>
#include <rx/rx.hpp>

#include <cstring>
#include <string>

namespace {

RX_UString u16(char const* ascii) { return RX_UString(ascii, ascii + std::strlen(ascii)); }

std::string token(RX_Results const& r, size_t i, std::string const& text) {
    size_t start = 0, length = 0;
    if (!r.tokens().get(i, start, length)) return "<none>";
    return text.substr(start, length);
}

// The hot-link shape: <a href="..."> text </a>, or <strong> text </strong>.
RX_Node linkPattern() {
    RX_Builder_Space b;
    RX_Node const w = b.kleene(b.set(RX_Builder_Space::SET_SPACE));
    RX_Node const anyLazy = b.kleene(b.set(RX_Builder_Space::SET_ANY), false);
    RX_Node const link = b.capture("<a" + b.set(RX_Builder_Space::SET_SPACE) + w + "href" + w + "=" + w + "\"" +
                                   b.kleene(b.none_of("\"")) + "\"" + b.kleene(b.none_of(">")) + ">") +
                         b.capture(anyLazy) + b.capture(b.text("</a>"));
    RX_Node const strong = b.capture(b.text("<strong>")) + b.capture(anyLazy) + b.capture(b.text("</strong>"));
    return b.global_or(link, strong);
}

} // namespace

TEST(RegexBuilder, LiteralsMeanOnlyThemselves) {
    RX_Builder_Space b;
    RX_Tree tree(b.text("a.b*(c)[d]\\$^|?+{1}"), 0);
    RX_Results r;
    std::string const text = "xx a.b*(c)[d]\\$^|?+{1} yy";
    ASSERT_TRUE(tree.match(text.c_str(), text.size(), 0, r));
    EXPECT_EQ(3u, r.start());
    EXPECT_EQ(19u, r.length());
    EXPECT_FALSE(tree.match("aXbbc", 5, 0, r));
    EXPECT_EQ(0u, tree.tokenCount());
}

TEST(RegexBuilder, RepetitionAppliesToTheWholeNode) {
    RX_Builder_Space b;
    // kleene of a two-character text repeats the pair, not its last character.
    RX_Tree tree(b.special(RX_Builder_Space::SPECIAL_TEXT_START) + b.kleene(b.text("ab")) +
                     b.special(RX_Builder_Space::SPECIAL_TEXT_END),
                 0);
    RX_Results r;
    EXPECT_TRUE(tree.match("ababab", 6, 0, r));
    EXPECT_FALSE(tree.match("abbb", 4, 0, r));
    EXPECT_TRUE(tree.match("", 0, 0, r));
}

TEST(RegexBuilder, SetsAndClasses) {
    RX_Builder_Space b;
    RX_Results r;
    RX_Tree digits(b.set(RX_Builder_Space::SET_DIGIT) + b.kleene(b.set(RX_Builder_Space::SET_DIGIT)), 0);
    ASSERT_TRUE(digits.match("ab123c", 6, 0, r));
    EXPECT_EQ(2u, r.start());
    EXPECT_EQ(3u, r.length());
    RX_Tree notQuote(b.kleene(b.none_of("\"]")) + "]", 0);
    ASSERT_TRUE(notQuote.match("x\"ab]", 5, 0, r));
    EXPECT_EQ(2u, r.start());
    RX_Tree vowel(b.one_of("aeiou"), 0);
    ASSERT_TRUE(vowel.match("xyzo", 4, 0, r));
    EXPECT_EQ(3u, r.start());
    EXPECT_THROW(b.set(99), RX_Error);
    EXPECT_THROW(b.special(99), RX_Error);
}

TEST(RegexBuilder, GreedyAndLazyRepetition) {
    RX_Builder_Space b;
    RX_Results r;
    std::string const text = "<b>one</b><b>two</b>";
    RX_Tree lazy(b.text("<b>") + b.capture(b.kleene(b.set(RX_Builder_Space::SET_ANY), false)) + "</b>", 0);
    ASSERT_TRUE(lazy.match(text.c_str(), text.size(), 0, r));
    EXPECT_EQ("one", token(r, 0, text));
    RX_Tree greedy(b.text("<b>") + b.capture(b.kleene(b.set(RX_Builder_Space::SET_ANY))) + "</b>", 0);
    ASSERT_TRUE(greedy.match(text.c_str(), text.size(), 0, r));
    EXPECT_EQ("one</b><b>two", token(r, 0, text));
}

TEST(RegexBuilder, IgnoringCaseIsAFlag) {
    RX_Builder_Space b;
    RX_Results r;
    EXPECT_FALSE(RX_Tree(b.text("href"), 0).match("HREF", 4, 0, r));
    EXPECT_TRUE(RX_Tree(b.text("href"), RX_Tree::RX_ICASE).match("HREF", 4, 0, r));
}

TEST(RegexMatch, AlternativesShareTheirTokenNumbers) {
    RX_Tree tree(linkPattern(), 0);
    EXPECT_EQ(3u, tree.tokenCount());
    RX_Results r;
    std::string const text = "see <a  href = \"x.html\" class=k>the docs</a> and <strong>this</strong>.";
    ASSERT_TRUE(tree.match(text.c_str(), text.size(), 0, r));
    EXPECT_EQ(4u, r.start());
    EXPECT_EQ("<a  href = \"x.html\" class=k>", token(r, 0, text));
    EXPECT_EQ("the docs", token(r, 1, text));
    EXPECT_EQ("</a>", token(r, 2, text));
    ASSERT_TRUE(tree.match(text.c_str(), text.size(), r.start() + r.length(), r));
    EXPECT_EQ("<strong>", token(r, 0, text));
    EXPECT_EQ("this", token(r, 1, text));
    EXPECT_EQ("</strong>", token(r, 2, text));
    EXPECT_FALSE(tree.match(text.c_str(), text.size(), r.start() + r.length(), r));
    EXPECT_FALSE(r.matched());
    size_t s = 7, l = 7;
    EXPECT_FALSE(r.tokens().get(0, s, l));
    EXPECT_EQ(7u, s);
}

TEST(RegexMatch, MalformedLinksDoNotMatch) {
    RX_Tree tree(linkPattern(), 0);
    RX_Results r;
    for (char const* text : {"<ahref=\"x\">t</a>", "<a href=x>t</a>", "<a href=\"x\">t", "<strong>t</strong"}) {
        EXPECT_FALSE(tree.match(text, std::strlen(text), 0, r)) << text;
    }
}

TEST(RegexMatch, Utf16PositionsAreUnits) {
    RX_Tree tree(linkPattern(), 0);
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
    EXPECT_FALSE(tree.match(text.data(), text.size(), text.size() + 1, r));
}

TEST(RegexMatch, EarlierTextCountsForBoundaries) {
    RX_Builder_Space b;
    RX_Tree tree(b.special(RX_Builder_Space::SPECIAL_WORD_BOUNDARY) + "b", 0);
    RX_Results r;
    // From index 1 the "b" of "ab" is inside a word; the next "b" starts one.
    ASSERT_TRUE(tree.match("ab b", 4, 1, r));
    EXPECT_EQ(3u, r.start());
}

TEST(RegexReplace, EveryMatchIsRewrittenByTheTemplate) {
    RX_Tree tree(linkPattern(), 0);
    RX_Replace inner("$2");
    char text[] = "a <a href=\"u\">link</a> b <strong>bold</strong> c";
    EXPECT_EQ(15u, inner.replace_in_place(tree, text));
    EXPECT_STREQ("a link b bold c", text);

    RX_Replace marked("[$1|$$|$0]");
    std::string const out = marked.replace(tree, "x<strong>y</strong>", 19);
    EXPECT_EQ("x[<strong>|$|<strong>y</strong>]", out);
}

TEST(RegexReplace, RepeatedRemovalOfBackspacedUnits) {
    RX_Builder_Space b;
    RX_Tree tree(b.none_of("\b") + "\b", 0);
    RX_Replace drop("");
    RX_UString text = u16("aab\b\bc");
    size_t length = text.size();
    length = drop.replace_in_place(tree, &text[0], length);
    EXPECT_EQ(u16("aa\bc"), text.substr(0, length));
    length = drop.replace_in_place(tree, &text[0], length);
    EXPECT_EQ(u16("ac"), text.substr(0, length));
    EXPECT_EQ(0, text[length]);
    // A leading backspace has nothing before it to take.
    RX_UString lead = u16("\bx");
    EXPECT_EQ(u16("\bx"), drop.replace(tree, lead.data(), lead.size()));
}

TEST(RegexReplace, EmptyMatchesEndAndGrowthInPlaceIsRefused) {
    RX_Builder_Space b;
    RX_Tree maybeX(b.kleene(b.text("x")), 0);
    EXPECT_EQ("-a-b-", RX_Replace("-").replace(maybeX, "ab", 2));
    char text[] = "ab";
    EXPECT_THROW(RX_Replace("-").replace_in_place(maybeX, text), RX_Error);
    EXPECT_STREQ("ab", text);
    EXPECT_THROW(RX_Replace("\xc3\xa9"), RX_Error);
}
