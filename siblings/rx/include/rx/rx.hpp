// Regular expressions built from parts rather than written as text, so that
// no caller has to escape anything: a builder space makes nodes, `+` joins
// them, an RX_Tree compiles the result once and finds matches in UTF-16 text
// (one unit per index) or in narrow text (one byte per index, each byte read
// as one character, which is right for patterns of ASCII), and an RX_Replace
// rewrites every match by a template.
//
// Compiled trees are immutable: one may be matched from several threads.
#pragma once
#include "rx/rx_export.hpp"
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

RX_API_BEGIN

typedef std::basic_string<unsigned short> RX_UString;

// A pattern that cannot be compiled, or a replacement that cannot be made.
class RX_Error : public std::runtime_error {
public:
    explicit RX_Error(std::string const& what) : std::runtime_error(what) {}
};

// A part of a pattern, as source in the Perl syntax of Boost.Regex. A node
// never holds a bare alternation, so joining nodes needs no grouping; a node
// that is not a single atom is grouped when it is repeated. (Fewer groups
// mean fewer states for the engine to walk at each character.)
class RX_Node {
public:
    RX_Node() = default;
    std::string const& source() const { return source_; }
    bool atom() const { return atom_; }  // one character, class or group

private:
    friend class RX_Builder_Space;
    friend RX_Node operator+(RX_Node const& a, RX_Node const& b);
    RX_Node(std::string source, bool atom) : source_(std::move(source)), atom_(atom) {}
    std::string source_;
    bool atom_ = false;
};

// Concatenation: `a` then `b`.
RX_Node operator+(RX_Node const& a, RX_Node const& b);
// A literal text on either side of a node.
RX_Node operator+(RX_Node const& a, char const* literal);
RX_Node operator+(char const* literal, RX_Node const& b);

// Makes nodes. Holds no state; any number may exist.
class RX_Builder_Space {
public:
    // The predefined sets of `set(int)`.
    enum SetKind {
        SET_ANY = 0,    // every character, line ends included
        SET_DIGIT = 1,  // decimal digits
        SET_SPACE = 2,  // white space (Unicode's, line ends included)
        SET_WORD = 3    // letters, digits and the underscore
    };
    // The positions and classes of `special`.
    enum SpecialKind {
        SPECIAL_TEXT_START = 0,
        SPECIAL_TEXT_END = 1,
        SPECIAL_LINE_START = 2,
        SPECIAL_LINE_END = 3,
        SPECIAL_WORD_BOUNDARY = 4
    };

    // The characters of `text` (UTF-8) exactly, nothing special among them.
    RX_Node text(char const* literal) const;
    RX_Node text(std::string const& literal) const { return text(literal.c_str()); }
    // One character of a predefined set; an unknown number raises RX_Error.
    RX_Node set(int kind) const;
    // One character among those of `chars` (ASCII).
    RX_Node one_of(char const* chars) const;
    // One character that is none of those of `chars` (ASCII).
    RX_Node none_of(char const* chars) const;
    // A position or class that is no character of the text; an unknown
    // number raises RX_Error.
    RX_Node special(int kind) const;
    // Any number of `node`, as many as possible when `greedy`, else as few.
    RX_Node kleene(RX_Node const& node, bool greedy = true) const;
    // `node` once or not at all.
    RX_Node optional(RX_Node const& node) const;
    // `node`, remembered as the next token of a match (tokens count from 0
    // in the order their captures open).
    RX_Node capture(RX_Node const& node) const;
    // Either alternative, the first preferred.
    RX_Node global_or(RX_Node const& a, RX_Node const& b) const;
};

// One token of a match: a start and a length, in units of the text.
struct RX_Token {
    size_t start = 0;
    size_t length = 0;
    bool matched = false;
};

// The tokens of one match, by number.
struct RX_TreeAccess;

class RX_Token_Stack {
public:
    // False, with nothing set, when there is no such token or it took no
    // part in the match.
    bool get(size_t index, size_t& start, size_t& length) const;
    size_t size() const { return tokens_.size(); }

private:
    friend struct RX_TreeAccess;
    std::vector<RX_Token> tokens_;
};

// The outcome of one search.
class RX_Results {
public:
    bool matched() const { return matched_; }
    size_t start() const { return start_; }    // of the whole match
    size_t length() const { return length_; }  // of the whole match
    RX_Token_Stack const& tokens() const { return tokens_; }
    // True when the last search gave up because the text was too costly for
    // the engine; it then reported no match.
    bool abandoned() const { return abandoned_; }
    void release() { *this = RX_Results(); }

private:
    friend struct RX_TreeAccess;
    bool matched_ = false;
    bool abandoned_ = false;
    size_t start_ = 0;
    size_t length_ = 0;
    RX_Token_Stack tokens_;
};

// A compiled pattern.
class RX_Tree {
public:
    enum Flags { RX_ICASE = 1 };  // 0: as written
    // Raises RX_Error when the pattern cannot be compiled.
    RX_Tree(RX_Node const& pattern, int flags);
    ~RX_Tree();
    RX_Tree(RX_Tree const&) = delete;
    RX_Tree& operator=(RX_Tree const&) = delete;

    // The first match that starts at `from` or later in text[0, length);
    // what lies before `from` still counts for look-behind and boundaries.
    // Invalid UTF-16 (a lone surrogate) is matched as the unit it is.
    bool match(unsigned short const* text, size_t length, size_t from, RX_Results& results) const;
    bool match(char const* text, size_t length, size_t from, RX_Results& results) const;

    size_t tokenCount() const;  // captures in the pattern
    std::string const& source() const { return source_; }

    struct Impl;

private:
    std::string source_;
    std::unique_ptr<Impl> impl_;
};

// Rewrites every match of a tree by a template in which "$n" (n from 0 to 9)
// stands for capture n (0 the whole match, 1 the first token) and "$$" for a
// dollar; all else is literal. After an empty match the search moves on by one
// character, so that it ends.
class RX_Replace {
public:
    explicit RX_Replace(char const* format);

    RX_UString replace(RX_Tree const& tree, unsigned short const* text, size_t length) const;
    std::string replace(RX_Tree const& tree, char const* text, size_t length) const;
    // In place; returns the new length. The text is NUL-terminated after it
    // when there is room. A result longer than the text raises RX_Error and
    // leaves the text as it was.
    size_t replace_in_place(RX_Tree const& tree, unsigned short* text, size_t length) const;
    size_t replace_in_place(RX_Tree const& tree, char* text) const;

private:
    struct Piece {
        int capture;          // -1 for literal text
        std::string literal;  // narrow
        RX_UString wide;      // the same, as UTF-16 units (ASCII templates only widen bytes)
    };
    std::vector<Piece> pieces_;
};

RX_API_END
