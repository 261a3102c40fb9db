// Turns statement text into tokens, one at a time, on demand. Knows where
// brackets stand, because inside [ ] and { } a blank separates elements and a
// line end separates rows, and because a quote is a transpose after a value
// but opens a text elsewhere. Comments (% to the line end, %{ ... %} blocks
// that nest) and continuations (... and the rest of its line) make no tokens.
#pragma once
#include <string>
#include <vector>

namespace qzlang {

enum class Tok {
    End, Number, Imaginary, String, Ident,
    LParen, RParen, LBracket, RBracket, LBrace, RBrace,
    Comma, Semicolon, Newline,
    Plus, Minus, Times, Divide, LeftDivide, DotTimes, DotDivide, DotLeftDivide, Power, DotPower,
    Eq, Ne, Lt, Le, Gt, Ge, And, Or, AndAnd, OrOr, Not,
    Colon, Transpose, DotTranspose, Dot, Assign, At,
    Bad  // text that starts no token; text holds the reason
};

struct Token {
    Tok kind = Tok::End;
    std::string text;     // identifier, or the text of a string (quotes resolved)
    double value = 0;     // numbers
    size_t offset = 0;    // where the token starts in the source
    size_t end = 0;       // one past its last character
    int line = 1;         // 1-based line of the start
    bool spaceBefore = false;
    bool inMatrix = false;  // directly inside [ ] or { }
};

class Lexer {
public:
    explicit Lexer(std::string const& text) : text_(text) {}
    Token next();
    // Continues from `offset` at the top level (no open bracket), as after a
    // statement read as a command.
    void seek(size_t offset, int line);
    std::string const& text() const { return text_; }
    int lineAt(size_t offset) const;
    // True when the text ended inside a %{ ... %} block comment.
    bool inOpenComment() const { return openComment_; }
    // True when the text ended in a continuation "..." (and its comment).
    bool endsInContinuation() const { return continued_; }

private:
    bool skipBlanksAndComments(bool& sawBlank);
    bool atBlockCommentLine(char const* marker) const;
    void skipBlockComment();

    std::string const& text_;
    size_t pos_ = 0;
    int line_ = 1;
    std::vector<char> brackets_;
    Tok last_ = Tok::Newline;
    bool lastWasKeyword_ = false;
    bool openComment_ = false;
    bool continued_ = false;
};

// Every token of `text`, ending with one End token; a Bad token carries the
// reason for text that starts none and scanning goes on after it.
std::vector<Token> tokenize(std::string const& text);

// True when `text` ends inside an open bracket or after a continuation, so
// that more lines belong to the same statement. Text that does not scan
// counts as complete (its error comes when it runs).
bool needsMoreInput(std::string const& text);

// The count of blocks (if, for, while, switch, try, function) that `text`
// opens and does not close with `end`.
int openBlocks(std::string const& text);

} // namespace qzlang
