#include "qzlang/Lexer.hpp"

#include <vx/errors.hpp>

#include <cctype>
#include <cstdlib>

namespace qzlang {

namespace {

bool isIdentStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool isIdentChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// A quote right after one of these (with no blank between, inside brackets)
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

class Scanner {
public:
    explicit Scanner(std::string const& text) : s_(text) {}

    std::vector<Token> run() {
        std::vector<Token> out;
        size_t i = 0;
        bool space = false;
        while (i < s_.size()) {
            char c = s_[i];
            if (c == ' ' || c == '\t' || c == '\r') { space = true; ++i; continue; }
            if (c == '%') {  // a comment runs to the line end
                while (i < s_.size() && s_[i] != '\n') ++i;
                continue;
            }
            Token t;
            t.offset = i;
            t.spaceBefore = space || out.empty();
            t.inMatrix = !stack_.empty() && stack_.back() != '(';
            space = false;
            bool const afterValue = !out.empty() && endsValue(out.back().kind) && !t.spaceBefore;
            try {
            if (isDigit(c) || (c == '.' && i + 1 < s_.size() && isDigit(s_[i + 1]))) {
                i = number(i, t);
            } else if (isIdentStart(c)) {
                size_t j = i;
                while (j < s_.size() && isIdentChar(s_[j])) ++j;
                t.kind = Tok::Ident;
                t.text = s_.substr(i, j - i);
                i = j;
            } else if (c == '\'' && afterValue) {
                t.kind = Tok::Transpose;
                ++i;
            } else if (c == '\'') {
                i = string(i, t);
            } else if (c == '.' && i + 1 < s_.size() && s_[i + 1] == '\'') {
                t.kind = Tok::DotTranspose;
                i += 2;
            } else {
                i = punctuation(i, t);
            }
            } catch (vx::Error const& e) {
                // Kept as a token: the parser reports it only if a statement
                // (not a command's words) reaches it.
                t.kind = Tok::Bad;
                t.text = e.what();
                i = i + 1;
                if (c == '\'') {
                    while (i < s_.size() && s_[i] != '\n') ++i;
                }
            }
            t.end = i;
            out.push_back(std::move(t));
        }
        Token end;
        end.kind = Tok::End;
        end.offset = end.end = s_.size();
        end.spaceBefore = true;
        end.inMatrix = !stack_.empty() && stack_.back() != '(';
        out.push_back(end);
        return out;
    }

    std::vector<char> const& openBrackets() const { return stack_; }

private:
    size_t number(size_t i, Token& t) {
        size_t j = i;
        while (j < s_.size() && isDigit(s_[j])) ++j;
        // "1.'" is the number 1 transposed, not 1 followed by a text.
        if (j < s_.size() && s_[j] == '.' && !(j + 1 < s_.size() && s_[j + 1] == '\'')) {
            ++j;
            while (j < s_.size() && isDigit(s_[j])) ++j;
        }
        if (j < s_.size() && (s_[j] == 'e' || s_[j] == 'E')) {
            size_t k = j + 1;
            if (k < s_.size() && (s_[k] == '+' || s_[k] == '-')) ++k;
            if (k < s_.size() && isDigit(s_[k])) {
                while (k < s_.size() && isDigit(s_[k])) ++k;
                j = k;
            }
        }
        t.value = std::strtod(s_.substr(i, j - i).c_str(), nullptr);
        t.kind = Tok::Number;
        if (j < s_.size() && (s_[j] == 'i' || s_[j] == 'j') && !(j + 1 < s_.size() && isIdentChar(s_[j + 1]))) {
            t.kind = Tok::Imaginary;
            ++j;
        }
        return j;
    }

    size_t string(size_t i, Token& t) {
        size_t j = i + 1;
        for (;;) {
            if (j >= s_.size() || s_[j] == '\n')
                vxErrMsgId("qzconsole:syntax", "A text is not terminated: a closing ' is missing.");
            if (s_[j] == '\'') {
                if (j + 1 < s_.size() && s_[j + 1] == '\'') {
                    t.text.push_back('\'');
                    j += 2;
                    continue;
                }
                break;
            }
            t.text.push_back(s_[j++]);
        }
        t.kind = Tok::String;
        return j + 1;
    }

    size_t punctuation(size_t i, Token& t) {
        char const c = s_[i];
        switch (c) {
        case '(': t.kind = Tok::LParen; stack_.push_back(c); break;
        case '[': t.kind = Tok::LBracket; stack_.push_back(c); break;
        case '{': t.kind = Tok::LBrace; stack_.push_back(c); break;
        case ')': t.kind = Tok::RParen; close(c); break;
        case ']': t.kind = Tok::RBracket; close(c); break;
        case '}': t.kind = Tok::RBrace; close(c); break;
        case ',': t.kind = Tok::Comma; break;
        case ';': t.kind = Tok::Semicolon; break;
        case '\n': t.kind = Tok::Newline; break;
        case '+': t.kind = Tok::Plus; break;
        case '-': t.kind = Tok::Minus; break;
        case ':': t.kind = Tok::Colon; break;
        case '.': t.kind = Tok::Dot; break;
        case '=': t.kind = Tok::Assign; break;
        case '@': t.kind = Tok::At; break;
        default:
            if (std::isprint(static_cast<unsigned char>(c)))
                vxErrMsgId("qzconsole:syntax", "The character '%c' is not allowed here.", c);
            vxErrMsgId("qzconsole:syntax", "The character with code %d is not allowed here.",
                       static_cast<int>(static_cast<unsigned char>(c)));
        }
        return i + 1;
    }

    void close(char c) {
        if (stack_.empty() || closerOf(stack_.back()) != c)
            vxErrMsgId("qzconsole:syntax", "The '%c' does not close an open bracket.", c);
        stack_.pop_back();
    }

    std::string const& s_;
    std::vector<char> stack_;
};

} // namespace

std::vector<Token> tokenize(std::string const& text) { return Scanner(text).run(); }

bool needsMoreInput(std::string const& text) {
    Scanner scanner(text);
    for (Token const& t : scanner.run())
        if (t.kind == Tok::Bad) return false;  // an error now, not a longer statement
    return !scanner.openBrackets().empty();
}

} // namespace qzlang
