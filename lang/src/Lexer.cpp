#include "qzlang/Lexer.hpp"

#include <vx/errors.hpp>

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace qzlang {

namespace {

bool isIdentStart(char c) { return std::isalpha(static_cast<unsigned char>(c)); }
bool isIdentChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A quote right after one of these (with no blank between inside brackets)
// is a transpose; anywhere else it opens a text.
bool endsValue(Tok t) {
    switch (t) {
    case Tok::Number: case Tok::Imaginary: case Tok::String: case Tok::Ident:
    case Tok::RParen: case Tok::RBracket: case Tok::RBrace:
    case Tok::Transpose: case Tok::DotTranspose:
        return true;
    default:
        return false;
    }
}

char closerOf(char open) { return open == '(' ? ')' : open == '[' ? ']' : '}'; }

[[noreturn]] void bad(char const* why) { vxErrMsgId("Calyx:syntax", "%s", why); }

} // namespace

int Lexer::lineAt(size_t offset) const {
    int line = 1;
    for (size_t i = 0; i < offset && i < text_.size(); ++i) line += text_[i] == '\n';
    return line;
}

void Lexer::seek(size_t offset, int line) {
    pos_ = offset;
    line_ = line;
    brackets_.clear();
    last_ = Tok::Newline;
}

// A line that holds only the marker ("%{" or "%}") and blanks.
bool Lexer::atBlockCommentLine(char const* marker) const {
    size_t start = pos_;
    while (start > 0 && text_[start - 1] != '\n') --start;
    for (size_t i = start; i < pos_; ++i)
        if (text_[i] != ' ' && text_[i] != '\t') return false;
    if (text_.compare(pos_, 2, marker) != 0) return false;
    for (size_t i = pos_ + 2; i < text_.size() && text_[i] != '\n'; ++i)
        if (text_[i] != ' ' && text_[i] != '\t' && text_[i] != '\r') return false;
    return true;
}

void Lexer::skipBlockComment() {
    int depth = 0;
    while (pos_ < text_.size()) {
        while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t')) ++pos_;
        if (atBlockCommentLine("%{")) ++depth;
        else if (atBlockCommentLine("%}")) --depth;
        while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
        if (depth == 0) return;  // the newline after "%}" ends the statement before it
        if (pos_ < text_.size()) ++pos_, ++line_;
    }
    openComment_ = true;
}

bool Lexer::skipBlanksAndComments(bool& sawBlank) {
    for (;;) {
        if (pos_ >= text_.size()) return false;
        char const c = text_[pos_];
        if (c == ' ' || c == '\t' || c == '\r') {
            sawBlank = true;
            ++pos_;
        } else if (c == '%') {
            if (atBlockCommentLine("%{")) {
                skipBlockComment();
            } else {
                while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
            }
        } else if (c == '.' && text_.compare(pos_, 3, "...") == 0) {
            // A continuation: the rest of the line is a comment, and the
            // statement goes on at the next line.
            while (pos_ < text_.size() && text_[pos_] != '\n') ++pos_;
            if (pos_ < text_.size()) ++pos_, ++line_;
            else continued_ = true;
            sawBlank = true;
        } else {
            return true;
        }
    }
}

Token Lexer::next() {
    Token t;
    bool blank = false;
    bool const more = skipBlanksAndComments(blank);
    t.offset = pos_;
    t.line = line_;
    t.spaceBefore = blank;
    t.inMatrix = !brackets_.empty() && brackets_.back() != '(';
    if (!more) {
        t.kind = Tok::End;
        t.end = pos_;
        t.spaceBefore = true;
        return t;
    }
    size_t const start = pos_;
    char const c = text_[pos_];
    char const n1 = pos_ + 1 < text_.size() ? text_[pos_ + 1] : '\0';
    // A quote after a blank opens a text inside brackets and after a keyword
    // ("case 'a'"); elsewhere it transposes the value before it.
    bool const afterValue = endsValue(last_) && !(blank && (t.inMatrix || lastWasKeyword_));
    try {
        if (isDigit(c) || (c == '.' && isDigit(n1))) {
            size_t j = pos_;
            while (j < text_.size() && isDigit(text_[j])) ++j;
            // "1.'" and "2.^x" keep the dot for the operator.
            if (j < text_.size() && text_[j] == '.' &&
                !(j + 1 < text_.size() && std::strchr("'*/\\^", text_[j + 1]) && text_[j + 1] != '\0')) {
                ++j;
                while (j < text_.size() && isDigit(text_[j])) ++j;
            }
            if (j < text_.size() && (text_[j] == 'e' || text_[j] == 'E')) {
                size_t k = j + 1;
                if (k < text_.size() && (text_[k] == '+' || text_[k] == '-')) ++k;
                if (k < text_.size() && isDigit(text_[k])) {
                    while (k < text_.size() && isDigit(text_[k])) ++k;
                    j = k;
                }
            }
            t.value = std::strtod(text_.substr(pos_, j - pos_).c_str(), nullptr);
            t.kind = Tok::Number;
            if (j < text_.size() && (text_[j] == 'i' || text_[j] == 'j' || text_[j] == 'I' || text_[j] == 'J') &&
                !(j + 1 < text_.size() && isIdentChar(text_[j + 1]))) {
                t.kind = Tok::Imaginary;
                ++j;
            }
            if (j < text_.size() && (isIdentChar(text_[j]) || (text_[j] == '.' && j + 1 < text_.size() && isDigit(text_[j + 1]))))
                bad("A number runs into a name or another number.");
            pos_ = j;
        } else if (isIdentStart(c)) {
            size_t j = pos_;
            while (j < text_.size() && isIdentChar(text_[j])) ++j;
            t.kind = Tok::Ident;
            t.text = text_.substr(pos_, j - pos_);
            pos_ = j;
        } else if (c == '\'' && afterValue) {
            t.kind = Tok::Transpose;
            ++pos_;
        } else if (c == '\'' || c == '"') {
            size_t j = pos_ + 1;
            for (;;) {
                if (j >= text_.size() || text_[j] == '\n') {
                    pos_ = j;
                    bad(c == '\'' ? "A text is not terminated: a closing ' is missing."
                                  : "A text is not terminated: a closing \" is missing.");
                }
                if (text_[j] == c) {
                    if (j + 1 < text_.size() && text_[j + 1] == c) {
                        t.text.push_back(c);
                        j += 2;
                        continue;
                    }
                    break;
                }
                t.text.push_back(text_[j++]);
            }
            t.kind = Tok::String;
            pos_ = j + 1;
        } else {
            ++pos_;
            auto two = [&](char next, Tok yes, Tok no) {
                if (n1 == next) {
                    ++pos_;
                    return yes;
                }
                return no;
            };
            switch (c) {
            case '(': t.kind = Tok::LParen; brackets_.push_back(c); break;
            case '[': t.kind = Tok::LBracket; brackets_.push_back(c); break;
            case '{': t.kind = Tok::LBrace; brackets_.push_back(c); break;
            case ')': case ']': case '}':
                t.kind = c == ')' ? Tok::RParen : c == ']' ? Tok::RBracket : Tok::RBrace;
                if (brackets_.empty() || closerOf(brackets_.back()) != c) {
                    char msg[64];
                    std::snprintf(msg, sizeof msg, "The '%c' does not close an open bracket.", c);
                    bad(msg);
                }
                brackets_.pop_back();
                break;
            case ',': t.kind = Tok::Comma; break;
            case ';': t.kind = Tok::Semicolon; break;
            case '\n': t.kind = Tok::Newline; ++line_; break;
            case '+': t.kind = Tok::Plus; break;
            case '-': t.kind = Tok::Minus; break;
            case '*': t.kind = Tok::Times; break;
            case '/': t.kind = Tok::Divide; break;
            case '\\': t.kind = Tok::LeftDivide; break;
            case '^': t.kind = Tok::Power; break;
            case ':': t.kind = Tok::Colon; break;
            case '@': t.kind = Tok::At; break;
            case '=': t.kind = two('=', Tok::Eq, Tok::Assign); break;
            case '~': case '!': t.kind = two('=', Tok::Ne, Tok::Not); break;
            case '<': t.kind = two('=', Tok::Le, Tok::Lt); break;
            case '>': t.kind = two('=', Tok::Ge, Tok::Gt); break;
            case '&': t.kind = two('&', Tok::AndAnd, Tok::And); break;
            case '|': t.kind = two('|', Tok::OrOr, Tok::Or); break;
            case '.':
                switch (n1) {
                case '*': ++pos_; t.kind = Tok::DotTimes; break;
                case '/': ++pos_; t.kind = Tok::DotDivide; break;
                case '\\': ++pos_; t.kind = Tok::DotLeftDivide; break;
                case '^': ++pos_; t.kind = Tok::DotPower; break;
                case '\'': ++pos_; t.kind = Tok::DotTranspose; break;
                default: t.kind = Tok::Dot; break;
                }
                break;
            default: {
                char msg[80];
                if (std::isprint(static_cast<unsigned char>(c)))
                    std::snprintf(msg, sizeof msg, "The character '%c' is not allowed here.", c);
                else
                    std::snprintf(msg, sizeof msg, "The character with code %d is not allowed here.",
                                  static_cast<int>(static_cast<unsigned char>(c)));
                bad(msg);
            }
            }
        }
    } catch (vx::Error const& e) {
        // Kept as a token: the parser reports it only if a statement (not a
        // command's words) reaches it.
        t.kind = Tok::Bad;
        t.text = e.what();
        if (pos_ == start) ++pos_;
    }
    t.end = pos_;
    last_ = t.kind;
    lastWasKeyword_ = t.kind == Tok::Ident &&
                      (t.text == "case" || t.text == "switch" || t.text == "if" || t.text == "elseif" ||
                       t.text == "while" || t.text == "otherwise" || t.text == "return" || t.text == "else");
    return t;
}

std::vector<Token> tokenize(std::string const& text) {
    Lexer lexer(text);
    std::vector<Token> out;
    for (;;) {
        out.push_back(lexer.next());
        if (out.back().kind == Tok::End) return out;
    }
}

namespace {

// The open brackets at the end of the text, or -1 when the text does not
// scan; `blocks` gets the blocks left open.
int scanOpen(std::string const& text, int& blocks, bool& continued) {
    Lexer lexer(text);
    int depth = 0;
    blocks = 0;
    Tok prev = Tok::Newline;
    bool statementStart = true;
    for (;;) {
        Token t = lexer.next();
        if (t.kind == Tok::End) break;
        if (t.kind == Tok::Bad) return -1;
        switch (t.kind) {
        case Tok::LParen: case Tok::LBracket: case Tok::LBrace: ++depth; break;
        case Tok::RParen: case Tok::RBracket: case Tok::RBrace: --depth; break;
        default: break;
        }
        if (t.kind == Tok::Ident && depth == 0 && prev != Tok::Dot) {
            static char const* const openers[] = {"if", "for", "parfor", "while", "switch", "try", "function"};
            bool opener = false;
            for (char const* o : openers) opener = opener || t.text == o;
            if (opener && statementStart) ++blocks;
            else if (t.text == "end") --blocks;
        }
        statementStart = depth == 0 && (t.kind == Tok::Newline || t.kind == Tok::Comma || t.kind == Tok::Semicolon ||
                                         (t.kind == Tok::Ident && (t.text == "else" || t.text == "try" ||
                                                                   t.text == "otherwise")));
        prev = t.kind;
    }
    if (lexer.inOpenComment()) return depth + 1;
    continued = lexer.endsInContinuation();
    return depth;
}

} // namespace

bool needsMoreInput(std::string const& text) {
    int blocks = 0;
    bool continued = false;
    int const depth = scanOpen(text, blocks, continued);
    return depth > 0 || (depth == 0 && continued);
}

int openBlocks(std::string const& text) {
    int blocks = 0;
    bool continued = false;
    if (scanOpen(text, blocks, continued) < 0) return 0;
    return blocks > 0 ? blocks : 0;
}

} // namespace qzlang
