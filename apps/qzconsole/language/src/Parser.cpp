#include "qzlang/Parser.hpp"
#include "qzlang/Lexer.hpp"

#include <vx/errors.hpp>

#include <cctype>

namespace qzlang {

namespace {

char const* describe(Tok t) {
    switch (t) {
    case Tok::End: return "the end of the statement";
    case Tok::Number: case Tok::Imaginary: return "a number";
    case Tok::String: return "a text";
    case Tok::Ident: return "a name";
    case Tok::LParen: return "'('";
    case Tok::RParen: return "')'";
    case Tok::LBracket: return "'['";
    case Tok::RBracket: return "']'";
    case Tok::LBrace: return "'{'";
    case Tok::RBrace: return "'}'";
    case Tok::Comma: return "','";
    case Tok::Semicolon: return "';'";
    case Tok::Newline: return "a line end";
    case Tok::Plus: return "'+'";
    case Tok::Minus: return "'-'";
    case Tok::Colon: return "':'";
    case Tok::Transpose: return "'''";
    case Tok::DotTranspose: return "'.''";
    case Tok::Dot: return "'.'";
    case Tok::Assign: return "'='";
    case Tok::At: return "'@'";
    case Tok::Bad: return "a bad character";
    }
    return "a token";
}

bool isSeparator(Tok t) { return t == Tok::Comma || t == Tok::Semicolon || t == Tok::Newline; }

bool isCommandWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-';
}

class Parser {
public:
    Parser(std::string const& text, std::function<bool(std::string const&)> const& isCommand, ParseLimits const& limits)
        : text_(text), toks_(tokenize(text)), isCommand_(isCommand), limits_(limits) {}

    std::vector<Statement> statements() {
        std::vector<Statement> out;
        for (;;) {
            while (isSeparator(peek().kind)) ++pos_;
            if (peek().kind == Tok::End) break;
            Statement s = statement();
            Tok const t = peek().kind;
            if (t == Tok::Semicolon) s.quiet = true;
            if (isSeparator(t)) ++pos_;
            else if (t != Tok::End) unexpected();
            out.push_back(std::move(s));
        }
        return out;
    }

private:
    // ---- tokens ----
    Token const& peek(size_t ahead = 0) const {
        size_t const i = pos_ + ahead;
        return i < toks_.size() ? toks_[i] : toks_.back();
    }
    Token const& take() {
        Token const& t = peek();
        if (t.kind != Tok::End) ++pos_;
        return t;
    }
    [[noreturn]] void unexpected() const {
        Token const& t = peek();
        if (t.kind == Tok::Bad) vxErrMsgId("qzconsole:syntax", "%s", t.text.c_str());
        if (t.kind == Tok::End)
            vxErrMsgId("qzconsole:syntax", "The statement ends too early: a value or a closing bracket is missing.");
        vxErrMsgId("qzconsole:syntax", "Unexpected %s at column %zu.", describe(t.kind), t.offset + 1);
    }
    void expect(Tok kind) {
        if (peek().kind != kind) unexpected();
        ++pos_;
    }

    // Counts nesting on the way down; every recursive rule holds one.
    class Depth {
    public:
        explicit Depth(Parser& p) : p_(p) {
            if (++p_.depth_ > p_.limits_.maxDepth)
                vxErrMsgId("qzconsole:tooDeep", "The statement nests more than %d levels deep.", p_.limits_.maxDepth);
        }
        ~Depth() { --p_.depth_; }
    private:
        Parser& p_;
    };

    // ---- statements ----
    Statement statement() {
        if (peek().kind == Tok::Ident) {
            Statement cmd;
            if (command(cmd)) return cmd;
            if (isAssignment()) return assignment();
        }
        Statement s;
        s.kind = StatementKind::Expression;
        s.value = expression();
        return s;
    }

    // A registered word at the start, not followed by "=" or "(", takes the
    // rest of the statement as blank-separated words; quotes keep blanks.
    bool command(Statement& s) {
        size_t const start = peek().offset;
        size_t i = start;
        while (i < text_.size() && isCommandWordChar(text_[i])) ++i;
        std::string const word = text_.substr(start, i - start);
        if (!isCommand_(word)) return false;
        if (i < text_.size() && text_[i] != ' ' && text_[i] != '\t' && text_[i] != ',' && text_[i] != ';' &&
            text_[i] != '\n' && text_[i] != '\r')
            return false;
        size_t j = i;
        while (j < text_.size() && (text_[j] == ' ' || text_[j] == '\t')) ++j;
        if (j < text_.size() && (text_[j] == '(' || (text_[j] == '=' && (j + 1 >= text_.size() || text_[j + 1] != '='))))
            return false;
        s.kind = StatementKind::Command;
        s.name = word;
        std::string current;
        bool inWord = false, quoted = false;
        for (; i < text_.size(); ++i) {
            char const c = text_[i];
            if (quoted) {
                if (c == '\'' && i + 1 < text_.size() && text_[i + 1] == '\'') current.push_back(c), ++i;
                else if (c == '\'') quoted = false;
                else if (c == '\n') break;
                else current.push_back(c);
                continue;
            }
            if (c == ',' || c == ';' || c == '\n') break;
            if (c == ' ' || c == '\t' || c == '\r') {
                if (inWord) s.words.push_back(current), current.clear(), inWord = false;
                continue;
            }
            inWord = true;
            if (c == '\'') quoted = true;
            else current.push_back(c);
        }
        if (inWord) s.words.push_back(current);
        // Resume at the separator that ended the words.
        while (peek().kind != Tok::End && peek().offset < i) ++pos_;
        while (peek().kind != Tok::End && !isSeparator(peek().kind)) ++pos_;
        return true;
    }

    // An "=" at bracket depth 0 before the statement ends.
    bool isAssignment() const {
        int depth = 0;
        for (size_t i = pos_; i < toks_.size(); ++i) {
            Tok const t = toks_[i].kind;
            if (t == Tok::LParen || t == Tok::LBracket || t == Tok::LBrace) ++depth;
            else if (t == Tok::RParen || t == Tok::RBracket || t == Tok::RBrace) --depth;
            else if (depth == 0 && (isSeparator(t) || t == Tok::End)) return false;
            else if (depth == 0 && t == Tok::Assign) return true;
        }
        return false;
    }

    Statement assignment() {
        Statement s;
        s.kind = StatementKind::Assign;
        s.name = take().text;
        for (;;) {
            if (peek().kind == Tok::Dot) {
                ++pos_;
                if (peek().kind != Tok::Ident) unexpected();
                TargetStep step{true, take().text, {}};
                s.target.push_back(std::move(step));
            } else if (peek().kind == Tok::LParen) {
                ++pos_;
                TargetStep step{false, std::string(), arguments(Tok::RParen)};
                s.target.push_back(std::move(step));
            } else {
                break;
            }
        }
        expect(Tok::Assign);
        s.value = expression();
        return s;
    }

    // ---- expressions ----
    ExprPtr expression() {
        Depth d(*this);
        ExprPtr first = additive();
        if (peek().kind != Tok::Colon) return first;
        ++pos_;
        auto range = std::make_unique<Expr>(ExprKind::Range);
        range->args.push_back(std::move(first));
        range->args.push_back(additive());
        if (peek().kind == Tok::Colon) {
            ++pos_;
            range->args.push_back(additive());
        }
        if (peek().kind == Tok::Colon) unexpected();
        return range;
    }

    // Inside [ ] and { }, "1 -2" is two elements and "1 - 2" one.
    bool startsNewElement() const {
        Token const& t = peek();
        return t.inMatrix && t.spaceBefore && !peek(1).spaceBefore;
    }

    ExprPtr additive() {
        ExprPtr left = unary();
        while ((peek().kind == Tok::Plus || peek().kind == Tok::Minus) && !startsNewElement()) {
            bool const plus = take().kind == Tok::Plus;
            auto e = std::make_unique<Expr>(plus ? ExprKind::Add : ExprKind::Subtract);
            e->args.push_back(std::move(left));
            e->args.push_back(unary());
            left = std::move(e);
        }
        return left;
    }

    ExprPtr unary() {
        Depth d(*this);
        if (peek().kind == Tok::Minus) {
            ++pos_;
            auto e = std::make_unique<Expr>(ExprKind::Negate);
            e->args.push_back(unary());
            return e;
        }
        if (peek().kind == Tok::Plus) {
            ++pos_;
            return unary();
        }
        return postfix();
    }

    ExprPtr postfix() {
        ExprPtr e = primary();
        for (;;) {
            Token const& t = peek();
            if (t.kind == Tok::Transpose || t.kind == Tok::DotTranspose) {
                ++pos_;
                auto w = std::make_unique<Expr>(t.kind == Tok::Transpose ? ExprKind::Transpose : ExprKind::DotTranspose);
                w->args.push_back(std::move(e));
                e = std::move(w);
            } else if (t.kind == Tok::Dot && !(t.inMatrix && t.spaceBefore)) {
                ++pos_;
                if (peek().kind != Tok::Ident) unexpected();
                auto w = std::make_unique<Expr>(ExprKind::Field);
                w->text = take().text;
                w->args.push_back(std::move(e));
                e = std::move(w);
            } else if (t.kind == Tok::LParen && !(t.inMatrix && t.spaceBefore)) {
                if (e->kind != ExprKind::Name)
                    vxErrMsgId("qzconsole:syntax", "Only a name can be called with arguments (column %zu).", t.offset + 1);
                ++pos_;
                e->kind = ExprKind::Call;
                e->args = arguments(Tok::RParen);
            } else {
                return e;
            }
        }
    }

    std::vector<ExprPtr> arguments(Tok close) {
        Depth d(*this);
        std::vector<ExprPtr> args;
        if (peek().kind == close) {
            ++pos_;
            return args;
        }
        for (;;) {
            args.push_back(expression());
            if (peek().kind == Tok::Comma) {
                ++pos_;
                continue;
            }
            expect(close);
            return args;
        }
    }

    ExprPtr primary() {
        Depth d(*this);
        Token const& t = peek();
        switch (t.kind) {
        case Tok::Number: case Tok::Imaginary: {
            auto e = std::make_unique<Expr>(t.kind == Tok::Number ? ExprKind::Number : ExprKind::Imaginary);
            e->value = take().value;
            return e;
        }
        case Tok::String: {
            auto e = std::make_unique<Expr>(ExprKind::String);
            e->text = take().text;
            return e;
        }
        case Tok::Ident: {
            auto e = std::make_unique<Expr>(ExprKind::Name);
            e->text = take().text;
            return e;
        }
        case Tok::LParen: {
            ++pos_;
            ExprPtr e = expression();
            expect(Tok::RParen);
            return e;
        }
        case Tok::LBracket: case Tok::LBrace: {
            bool const cell = t.kind == Tok::LBrace;
            ++pos_;
            auto e = std::make_unique<Expr>(cell ? ExprKind::Cell : ExprKind::Matrix);
            e->rows = rows(cell ? Tok::RBrace : Tok::RBracket);
            return e;
        }
        case Tok::At: {
            ++pos_;
            if (peek().kind != Tok::Ident || peek().spaceBefore)
                vxErrMsgId("qzconsole:syntax", "A function handle is '@' and a function name, as in @sin.");
            auto e = std::make_unique<Expr>(ExprKind::Handle);
            e->text = take().text;
            return e;
        }
        default:
            unexpected();
        }
    }

    // Rows of elements up to `close`; empty rows are dropped.
    std::vector<std::vector<ExprPtr>> rows(Tok close) {
        std::vector<std::vector<ExprPtr>> out(1);
        for (;;) {
            Tok const t = peek().kind;
            if (t == close) {
                ++pos_;
                break;
            }
            if (t == Tok::Semicolon || t == Tok::Newline) {
                ++pos_;
                if (!out.back().empty()) out.emplace_back();
                continue;
            }
            if (t == Tok::Comma) {
                // A comma follows an element: "[,1]" and "[1,,2]" are refused.
                if (out.back().empty() || toks_[pos_ - 1].kind == Tok::Comma) unexpected();
                ++pos_;
                continue;
            }
            if (!out.back().empty() && !peek().spaceBefore && pos_ > 0 && toks_[pos_ - 1].kind != Tok::Comma) unexpected();
            out.back().push_back(expression());
        }
        if (out.back().empty()) out.pop_back();
        return out;
    }

    std::string const& text_;
    std::vector<Token> toks_;
    std::function<bool(std::string const&)> const& isCommand_;
    ParseLimits limits_;
    size_t pos_ = 0;
    int depth_ = 0;
};

} // namespace

std::vector<Statement> parse(std::string const& text, std::function<bool(std::string const&)> const& isCommand,
                             ParseLimits const& limits) {
    if (text.size() > limits.maxLength)
        vxErrMsgId("qzconsole:tooLong", "The statement is longer than %zu characters.", limits.maxLength);
    return Parser(text, isCommand, limits).statements();
}

} // namespace qzlang
