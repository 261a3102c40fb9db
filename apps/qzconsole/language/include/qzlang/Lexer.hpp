// Turns statement text into tokens. Knows where brackets stand, because inside
// [ ] and { } a blank separates elements and a line end separates rows, and
// because a quote is a transpose after a value but opens a text elsewhere.
#pragma once
#include <string>
#include <vector>

namespace qzlang {

enum class Tok {
    End, Number, Imaginary, String, Ident,
    LParen, RParen, LBracket, RBracket, LBrace, RBrace,
    Comma, Semicolon, Newline,
    Plus, Minus, Colon, Transpose, DotTranspose, Dot, Assign, At,
    Bad  // text that starts no token; text holds the reason
};

struct Token {
    Tok kind;
    std::string text;     // identifier or text of a string (quotes resolved)
    double value = 0;     // numbers
    size_t offset = 0;    // where the token starts in the source
    size_t end = 0;       // one past its last character
    bool spaceBefore = false;
    bool inMatrix = false;  // directly inside [ ] or { }
};

// The tokens of `text`, ending with one End token. A character that starts
// no token, an unterminated text or a closing bracket that matches nothing
// becomes a Bad token carrying the reason; scanning goes on after it.
std::vector<Token> tokenize(std::string const& text);

// True when `text` ends inside an open bracket, so that more lines belong to
// the same statement. Text that does not scan counts as complete (its error
// comes when it runs).
bool needsMoreInput(std::string const& text);

} // namespace qzlang
