#include "qzlang/Parser.hpp"
#include "FunctionFile.hpp"
#include "qzlang/Lexer.hpp"

#include <vx/errors.hpp>

#include <cctype>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>

namespace qzlang {

namespace {

bool isKeyword(std::string const& w) {
    static char const* const words[] = {"if", "elseif", "else", "end", "for", "parfor", "while", "switch", "case",
                                        "otherwise", "try", "catch", "break", "continue", "return", "function",
                                        "global", "persistent"};
    for (char const* k : words)
        if (w == k) return true;
    return false;
}

// The names of an anonymous function's frame: its parameters first, then
// each outside name its body reads, captured when the function is made.
// A slot table that hands each question to the workspace being parsed, so
// that one parser fills the workspaces of several functions.
struct ForwardSlots : SlotTable {
    SlotTable* to = nullptr;
    int slot(std::string const& name) override { return to->slot(name); }
};

struct Scope {
    std::map<std::string, int> names;
    std::vector<Capture> captures;
    int size = 0;
    int params = 0;
};

class Parser {
public:
    Parser(std::string const& text, SlotTable& slots, ParseLimits const& limits,
           std::function<bool(std::string const&)> const& isCommandWord)
        : text_(text), lexer_(text), slots_(slots), limits_(limits), isCommandWord_(isCommandWord) {}

    Block program() {
        Block out = block({});
        if (!at(Tok::End)) fail("This statement is not complete.");
        return out;
    }

    // The functions of a function file, each body parsed against its own
    // workspace (`slots` is the parser's table, pointed at each in turn).
    void functionFile(ParsedFile& out, ForwardSlots& slots);

private:
    // ---- tokens ----
    Token const& peek(size_t k = 0) {
        while (ahead_.size() <= k) ahead_.push_back(lexer_.next());
        return ahead_[k];
    }
    bool at(Tok t) { return peek().kind == t; }
    bool atWord(char const* w) { return peek().kind == Tok::Ident && peek().text == w; }
    Token take() {
        Token t = peek();
        ahead_.pop_front();
        if (t.kind == Tok::Bad) failAt(t, t.text.c_str());
        if (t.kind == Tok::Ident && t.text.size() > kMaxNameLength) {
            std::string const why = "The name '" + t.text + "' has " + std::to_string(t.text.size()) +
                                    " characters; a name has at most 63.";
            failAt(t, why.c_str());
        }
        return t;
    }
    static constexpr size_t kMaxNameLength = 63;
    void expect(Tok t, char const* what) {
        if (!at(t)) fail(what);
        take();
    }
    void seek(size_t offset) {
        ahead_.clear();
        lexer_.seek(offset, lexer_.lineAt(offset));
    }

    [[noreturn]] void failAt(Token const& t, char const* why) {
        if (text_.find('\n') == std::string::npos) vxErrMsgId("Calyx:syntax", "%s", why);
        size_t lineStart = text_.rfind('\n', t.offset == 0 ? 0 : t.offset - 1);
        lineStart = lineStart == std::string::npos || t.offset == 0 ? 0 : lineStart + 1;
        vxErrMsgId("Calyx:syntax", "%s (line %d, column %zu)", why, t.line, t.offset - lineStart + 1);
    }
    [[noreturn]] void fail(char const* why) {
        Token const& t = peek();
        if (t.kind == Tok::Bad) failAt(t, t.text.c_str());
        if (t.kind == Tok::End && std::strcmp(why, "This statement is not complete.") != 0)
            failAt(t, "The statement ends too early.");
        failAt(t, why);
    }

    struct Deeper {
        explicit Deeper(Parser& p) : p_(p) {
            if (++p_.depth_ > p_.limits_.maxDepth)
                vxErrMsgId("Calyx:tooDeep", "The statement nests more than %d levels deep.", p_.limits_.maxDepth);
        }
        ~Deeper() { --p_.depth_; }
        Parser& p_;
    };

    int resolve(std::string const& name) { return resolveIn(static_cast<int>(scopes_.size()) - 1, name); }
    int resolveIn(int level, std::string const& name) {
        if (level < 0) return slots_.slot(name);
        Scope& s = scopes_[level];
        auto it = s.names.find(name);
        if (it != s.names.end()) return it->second;
        int const outer = resolveIn(level - 1, name);
        int const inner = s.size++;
        s.names[name] = inner;
        s.captures.push_back({name, outer, inner});
        return inner;
    }

    // ---- statements ----
    bool atTerminator(std::vector<char const*> const& words) {
        if (!at(Tok::Ident)) return false;
        for (char const* w : words)
            if (peek().text == w) return true;
        return false;
    }

    void skipSeparators() {
        while (at(Tok::Comma) || at(Tok::Semicolon) || at(Tok::Newline)) take();
    }

    Block block(std::vector<char const*> const& terminators) {
        Deeper d(*this);
        Block out;
        for (;;) {
            skipSeparators();
            if (at(Tok::End)) {
                if (!terminators.empty()) fail("A block is not closed: 'end' is missing.");
                return out;
            }
            if (atTerminator(terminators)) return out;
            out.push_back(statement());
        }
    }

    // After a statement: "," or a line end shows its result, ";" hides it.
    void endStatement(Stmt& s) {
        if (at(Tok::Semicolon)) {
            s.quiet = true;
            take();
        } else if (at(Tok::Comma) || at(Tok::Newline)) {
            take();
        } else if (!at(Tok::End)) {
            fail("Statements must be separated by a comma, a semicolon or a line end.");
        }
    }

    // After the head of a block (a condition, a loop range): a separator,
    // which may be left out before the next word.
    void endHead() {
        if (at(Tok::Comma) || at(Tok::Semicolon) || at(Tok::Newline)) take();
    }

    StmtPtr statement() {
        Token const& t = peek();
        if (t.kind == Tok::Ident && isKeyword(t.text)) return keywordStatement();
        if (t.kind == Tok::LBracket && isMultiAssign()) return multiAssign();
        if (t.kind == Tok::Ident && isCommandWord_) {
            // A command whose name is not an identifier, such as "demo-events".
            size_t end = t.offset;
            while (end < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[end])) ||
                                          text_[end] == '_' || text_[end] == '-'))
                ++end;
            std::string const word = text_.substr(t.offset, end - t.offset);
            if (end > t.end && (end == text_.size() || std::strchr(" \t\r\n,;%", text_[end])) && isCommandWord_(word)) {
                Token w = t;
                w.text = word;
                w.end = end;
                return command(w, false);
            }
        }
        if (t.kind == Tok::Ident && isCommandSyntax(t)) return command(t, true);
        return expressionStatement();
    }

    StmtPtr expressionStatement() {
        int const line = peek().line;
        NodePtr e = expression();
        StmtPtr s;
        if (at(Tok::Assign)) {
            take();
            s.reset(new Stmt(StmtKind::Assign));
            s->targets.push_back(targetOf(std::move(e)));
            s->expr = expression();
        } else {
            s.reset(new Stmt(StmtKind::Expr));
            s->expr = std::move(e);
        }
        s->line = line;
        endStatement(*s);
        return s;
    }

    Target targetOf(NodePtr e) {
        Target t;
        if (e->op == Op::Var) {
            t.name = e->text;
            t.slot = e->slot;
            return t;
        }
        if (e->op == Op::Postfix && e->kids[0]->op == Op::Var && !e->paren) {
            t.name = e->kids[0]->text;
            t.slot = e->kids[0]->slot;
            t.steps = std::move(e->steps);
            return t;
        }
        fail("The left side of '=' must be a variable, an indexed variable or a field.");
    }

    // "[a, b] = ..." rather than a matrix: the bracket's match is followed by "=".
    bool isMultiAssign() {
        int depth = 0;
        for (size_t k = 0;; ++k) {
            Token const& t = peek(k);
            if (t.kind == Tok::End || t.kind == Tok::Bad) return false;
            if (t.kind == Tok::LBracket || t.kind == Tok::LParen || t.kind == Tok::LBrace) ++depth;
            if (t.kind == Tok::RBracket || t.kind == Tok::RParen || t.kind == Tok::RBrace) {
                if (--depth == 0) return peek(k + 1).kind == Tok::Assign;
            }
        }
    }

    StmtPtr multiAssign() {
        StmtPtr s(new Stmt(StmtKind::Multi));
        s->line = peek().line;
        take();  // [
        while (!at(Tok::RBracket)) {
            if (at(Tok::Comma)) {
                take();
                continue;
            }
            if (at(Tok::Not)) {
                take();
                s->targets.push_back(Target());
                continue;
            }
            if (!at(Tok::Ident) || isKeyword(peek().text)) fail("Only variables, fields and '~' can receive results.");
            NodePtr e = postfix();
            s->targets.push_back(targetOf(std::move(e)));
        }
        take();  // ]
        expect(Tok::Assign, "'=' is missing.");
        s->expr = expression();
        if (s->targets.empty()) fail("There is nothing on the left of '='.");
        endStatement(*s);
        return s;
    }

    // "word arg ..." when the word is followed by a blank and then neither
    // "=", "(" nor a binary operator followed by a blank.
    bool isCommandSyntax(Token const& word) {
        size_t i = word.end;
        if (i >= text_.size() || (text_[i] != ' ' && text_[i] != '\t')) return false;
        while (i < text_.size() && (text_[i] == ' ' || text_[i] == '\t')) ++i;
        if (i >= text_.size()) return false;
        char const c = text_[i];
        if (std::strchr(",;\n\r%=(", c)) return false;
        static char const* const ops[] = {"&&", "||", "==", "~=", "<=", ">=", ".*", "./", ".\\", ".^",
                                          "+", "-", "*", "/", "\\", "^", "<", ">", "&", "|", ":"};
        for (char const* op : ops) {
            size_t const n = std::strlen(op);
            if (text_.compare(i, n, op) == 0) {
                size_t const after = i + n;
                return !(after >= text_.size() || text_[after] == ' ' || text_[after] == '\t' ||
                         text_[after] == '\n' || text_[after] == '\r');
            }
        }
        return true;
    }

    StmtPtr command(Token const word, bool mayBeVariable) {
        StmtPtr s(new Stmt(StmtKind::Command));
        s->word = word.text;
        s->line = word.line;
        // The same text read as an expression, for when the word turns out to
        // be a variable.
        if (mayBeVariable) try {
            int const depth = depth_;
            StmtPtr alt;
            try {
                alt = expressionStatement();
            } catch (...) {
                depth_ = depth;
                throw;
            }
            s->alt = std::move(alt);
        } catch (vx::Error const& e) {
            if (e.identifier() != "Calyx:syntax") throw;
            s->altError = e.what();
        }
        // The words: split at blanks, quotes keep blanks ('' is a quote).
        size_t i = word.end;
        std::string current;
        bool have = false;
        for (;;) {
            if (i >= text_.size() || text_[i] == '\n' || text_[i] == ',' || text_[i] == ';' || text_[i] == '%') break;
            char const c = text_[i];
            if (c == ' ' || c == '\t' || c == '\r') {
                if (have) s->words.push_back(current);
                current.clear();
                have = false;
                ++i;
                continue;
            }
            if (c == '\'') {
                have = true;
                ++i;
                for (;;) {
                    if (i >= text_.size() || text_[i] == '\n') {
                        Token t = word;
                        failAt(t, "A text is not terminated: a closing ' is missing.");
                    }
                    if (text_[i] == '\'') {
                        if (i + 1 < text_.size() && text_[i + 1] == '\'') {
                            current.push_back('\'');
                            i += 2;
                            continue;
                        }
                        ++i;
                        break;
                    }
                    current.push_back(text_[i++]);
                }
                continue;
            }
            current.push_back(c);
            have = true;
            ++i;
        }
        if (have) s->words.push_back(current);
        seek(i);
        s->quiet = false;
        if (at(Tok::Semicolon)) {
            s->quiet = true;
            take();
        } else if (at(Tok::Comma) || at(Tok::Newline)) {
            take();
        }
        return s;
    }

    StmtPtr keywordStatement() {
        Token const t = peek();
        std::string const& w = t.text;
        if (w == "if") return ifStatement();
        if (w == "for" || w == "parfor") return forStatement();
        if (w == "while") return whileStatement();
        if (w == "switch") return switchStatement();
        if (w == "try") return tryStatement();
        if (w == "break" || w == "continue" || w == "return") {
            take();
            StmtPtr s(new Stmt(w == "break" ? StmtKind::Break : w == "continue" ? StmtKind::Continue : StmtKind::Return));
            s->line = t.line;
            endStatement(*s);
            return s;
        }
        if (w == "function") failAt(t, "Function definitions are allowed in function files only.");
        if (w == "global" || w == "persistent") failAt(t, "Global and persistent variables are not supported.");
        char why[96];
        std::snprintf(why, sizeof why, "'%s' is not expected here.", w.c_str());
        failAt(t, why);
    }

    StmtPtr ifStatement() {
        StmtPtr s(new Stmt(StmtKind::If));
        s->line = take().line;
        for (;;) {
            Clause c;
            c.test = expression();
            endHead();
            c.body = block({"elseif", "else", "end"});
            s->clauses.push_back(std::move(c));
            std::string const w = take().text;
            if (w == "elseif") continue;
            if (w == "else") {
                s->elseBody = block({"end"});
                take();
            }
            break;
        }
        endStatement(*s);
        return s;
    }

    StmtPtr forStatement() {
        StmtPtr s(new Stmt(StmtKind::For));
        s->line = take().line;
        bool const paren = at(Tok::LParen);
        if (paren) take();
        if (!at(Tok::Ident) || isKeyword(peek().text)) fail("A for loop needs a variable name.");
        Token const v = take();
        Target target;
        target.name = v.text;
        target.slot = resolve(v.text);
        s->targets.push_back(std::move(target));
        expect(Tok::Assign, "A for loop needs '=' after its variable.");
        s->expr = expression();
        if (paren) expect(Tok::RParen, "')' is missing.");
        endHead();
        s->body = block({"end"});
        take();
        endStatement(*s);
        return s;
    }

    StmtPtr whileStatement() {
        StmtPtr s(new Stmt(StmtKind::While));
        s->line = take().line;
        s->expr = expression();
        endHead();
        s->body = block({"end"});
        take();
        endStatement(*s);
        return s;
    }

    StmtPtr switchStatement() {
        StmtPtr s(new Stmt(StmtKind::Switch));
        s->line = take().line;
        s->expr = expression();
        endHead();
        skipSeparators();
        bool otherwise = false;
        while (!atWord("end")) {
            if (atWord("case")) {
                if (otherwise) fail("'case' cannot follow 'otherwise'.");
                take();
                Clause c;
                c.test = expression();
                endHead();
                c.body = block({"case", "otherwise", "end"});
                s->clauses.push_back(std::move(c));
            } else if (atWord("otherwise")) {
                if (otherwise) fail("A switch has one 'otherwise' only.");
                take();
                otherwise = true;
                endHead();
                s->elseBody = block({"case", "otherwise", "end"});
            } else {
                fail("A switch holds 'case' and 'otherwise' blocks only.");
            }
        }
        take();
        endStatement(*s);
        return s;
    }

    StmtPtr tryStatement() {
        StmtPtr s(new Stmt(StmtKind::Try));
        s->line = take().line;
        endHead();
        s->body = block({"catch", "end"});
        if (atWord("catch")) {
            Token const c = take();
            Token const& v = peek();
            if (v.kind == Tok::Ident && !isKeyword(v.text) && v.line == c.line) {
                Token const& after = peek(1);
                if (after.kind == Tok::Newline || after.kind == Tok::Semicolon || after.kind == Tok::Comma ||
                    after.kind == Tok::End) {
                    s->catchName = v.text;
                    s->catchSlot = resolve(v.text);
                    take();
                }
            }
            endHead();
            s->elseBody = block({"end"});
        }
        take();
        endStatement(*s);
        return s;
    }

    // ---- expressions, lowest precedence first ----
    NodePtr binary(Op op, unsigned char sub, NodePtr a, NodePtr b) {
        NodePtr n(new Node(op));
        n->sub = sub;
        n->line = a->line;
        n->kids.push_back(std::move(a));
        n->kids.push_back(std::move(b));
        return n;
    }

    NodePtr expression() {
        Deeper d(*this);
        NodePtr a = andAnd();
        while (at(Tok::OrOr)) {
            take();
            a = binary(Op::OrOr, 0, std::move(a), andAnd());
        }
        return a;
    }
    NodePtr andAnd() {
        NodePtr a = elementOr();
        while (at(Tok::AndAnd)) {
            take();
            a = binary(Op::AndAnd, 0, std::move(a), elementOr());
        }
        return a;
    }
    NodePtr elementOr() {
        NodePtr a = elementAnd();
        while (at(Tok::Or) && !splitsElement()) {
            take();
            a = binary(Op::Binary, static_cast<unsigned char>(BinOp::Or), std::move(a), elementAnd());
        }
        return a;
    }
    NodePtr elementAnd() {
        NodePtr a = comparison();
        while (at(Tok::And) && !splitsElement()) {
            take();
            a = binary(Op::Binary, static_cast<unsigned char>(BinOp::And), std::move(a), comparison());
        }
        return a;
    }
    NodePtr comparison() {
        NodePtr a = range();
        for (;;) {
            BinOp op;
            switch (peek().kind) {
            case Tok::Lt: op = BinOp::Lt; break;
            case Tok::Le: op = BinOp::Le; break;
            case Tok::Gt: op = BinOp::Gt; break;
            case Tok::Ge: op = BinOp::Ge; break;
            case Tok::Eq: op = BinOp::Eq; break;
            case Tok::Ne: op = BinOp::Ne; break;
            default: return a;
            }
            take();
            a = binary(Op::Binary, static_cast<unsigned char>(op), std::move(a), range());
        }
    }
    NodePtr range() {
        // ":" alone as a subscript.
        if (at(Tok::Colon) && indexDepth_ > 0) {
            Tok const n = peek(1).kind;
            if (n == Tok::Comma || n == Tok::RParen || n == Tok::RBrace) {
                take();
                return NodePtr(new Node(Op::Colon));
            }
        }
        NodePtr a = additive();
        if (!at(Tok::Colon) || splitsElement()) return a;
        take();
        NodePtr b = additive();
        NodePtr n(new Node(Op::Range));
        n->line = a->line;
        n->kids.push_back(std::move(a));
        n->kids.push_back(std::move(b));
        if (at(Tok::Colon) && !splitsElement()) {
            take();
            n->kids.push_back(additive());
            if (at(Tok::Colon)) fail("A range takes at most three parts; use parentheses.");
        }
        return n;
    }
    // Inside [ ] or { }, "a -b" is two elements: a sign after a blank and
    // before a non-blank starts a new one.
    bool splitsElement() {
        Token const& t = peek();
        return t.inMatrix && t.spaceBefore && !peek(1).spaceBefore && (t.kind == Tok::Plus || t.kind == Tok::Minus);
    }
    NodePtr additive() {
        NodePtr a = multiplicative();
        for (;;) {
            if (!(at(Tok::Plus) || at(Tok::Minus)) || splitsElement()) return a;
            BinOp const op = take().kind == Tok::Plus ? BinOp::Plus : BinOp::Minus;
            a = binary(Op::Binary, static_cast<unsigned char>(op), std::move(a), multiplicative());
        }
    }
    NodePtr multiplicative() {
        NodePtr a = prefix();
        for (;;) {
            BinOp op;
            switch (peek().kind) {
            case Tok::Times: op = BinOp::MTimes; break;
            case Tok::Divide: op = BinOp::MRDivide; break;
            case Tok::LeftDivide: op = BinOp::MLDivide; break;
            case Tok::DotTimes: op = BinOp::Times; break;
            case Tok::DotDivide: op = BinOp::RDivide; break;
            case Tok::DotLeftDivide: op = BinOp::LDivide; break;
            default: return a;
            }
            take();
            a = binary(Op::Binary, static_cast<unsigned char>(op), std::move(a), prefix());
        }
    }
    NodePtr unary(UnOp op, NodePtr a, int line) {
        NodePtr n(new Node(Op::Unary));
        n->sub = static_cast<unsigned char>(op);
        n->line = line;
        n->kids.push_back(std::move(a));
        return n;
    }
    NodePtr prefix() {
        Deeper d(*this);
        Tok const k = peek().kind;
        if (k == Tok::Plus || k == Tok::Minus || k == Tok::Not) {
            int const line = take().line;
            NodePtr a = prefix();
            return unary(k == Tok::Plus ? UnOp::UPlus : k == Tok::Minus ? UnOp::Negate : UnOp::Not, std::move(a), line);
        }
        return power();
    }
    // "^", ".^", "'" and ".'" on one level, left to right; a sign right after
    // "^" belongs to the exponent.
    NodePtr power() {
        NodePtr a = postfix();
        for (;;) {
            Tok const k = peek().kind;
            if (k == Tok::Transpose || k == Tok::DotTranspose) {
                int const line = take().line;
                a = unary(k == Tok::Transpose ? UnOp::CTranspose : UnOp::Transpose, std::move(a), line);
            } else if (k == Tok::Power || k == Tok::DotPower) {
                take();
                NodePtr e = exponent();
                a = binary(Op::Binary, static_cast<unsigned char>(k == Tok::Power ? BinOp::MPower : BinOp::Power),
                           std::move(a), std::move(e));
            } else {
                return a;
            }
        }
    }
    NodePtr exponent() {
        Deeper d(*this);
        Tok const k = peek().kind;
        if (k == Tok::Plus || k == Tok::Minus || k == Tok::Not) {
            int const line = take().line;
            NodePtr a = exponent();
            return unary(k == Tok::Plus ? UnOp::UPlus : k == Tok::Minus ? UnOp::Negate : UnOp::Not, std::move(a), line);
        }
        return postfix();
    }

    NodePtr postfix() {
        NodePtr base = primary();
        if (base->op != Op::Var) return base;
        NodePtr n;
        for (;;) {
            Token const& t = peek();
            bool const split = t.inMatrix && t.spaceBefore;
            Step step;
            if (t.kind == Tok::LParen && !split) {
                step.kind = Step::Paren;
                take();
                arguments(step.args, Tok::RParen);
            } else if (t.kind == Tok::LBrace && !split) {
                step.kind = Step::Brace;
                take();
                arguments(step.args, Tok::RBrace);
            } else if (t.kind == Tok::Dot && !peek(1).spaceBefore &&
                       (peek(1).kind == Tok::Ident || peek(1).kind == Tok::LParen)) {
                take();
                if (at(Tok::Ident)) {
                    step.kind = Step::Field;
                    step.field = take().text;
                } else {
                    take();
                    step.kind = Step::DynField;
                    step.args.push_back(expression());
                    expect(Tok::RParen, "')' is missing after a dynamic field name.");
                }
            } else {
                break;
            }
            if (!n) {
                n.reset(new Node(Op::Postfix));
                n->line = base->line;
                n->kids.push_back(std::move(base));
            }
            n->steps.push_back(std::move(step));
        }
        return n ? std::move(n) : std::move(base);
    }

    void arguments(std::vector<NodePtr>& args, Tok close) {
        Deeper d(*this);
        ++indexDepth_;
        int const saved = anonDepthAtIndex_;
        anonDepthAtIndex_ = static_cast<int>(scopes_.size());
        if (!at(close)) {
            for (;;) {
                args.push_back(expression());
                if (at(close)) break;
                expect(Tok::Comma, close == Tok::RParen ? "')' or ',' is missing." : "'}' or ',' is missing.");
            }
        }
        take();
        --indexDepth_;
        anonDepthAtIndex_ = saved;
    }

    NodePtr primary() {
        Deeper d(*this);
        Token const t = peek();
        switch (t.kind) {
        case Tok::Number:
        case Tok::Imaginary: {
            take();
            NodePtr n(new Node(t.kind == Tok::Number ? Op::Number : Op::Imaginary));
            n->num = t.value;
            n->line = t.line;
            n->text = text_.substr(t.offset, t.end - t.offset);
            return n;
        }
        case Tok::String: {
            take();
            NodePtr n(new Node(Op::String));
            n->text = t.text;
            n->dq = text_[t.offset] == '"';
            n->line = t.line;
            return n;
        }
        case Tok::Ident: {
            if (t.text == "end" && indexDepth_ > 0 && anonDepthAtIndex_ == static_cast<int>(scopes_.size())) {
                take();
                NodePtr n(new Node(Op::EndIndex));
                n->line = t.line;
                return n;
            }
            if (isKeyword(t.text)) {
                char why[96];
                std::snprintf(why, sizeof why, "'%s' cannot be used in an expression.", t.text.c_str());
                fail(why);
            }
            take();
            NodePtr n(new Node(Op::Var));
            n->text = t.text;
            n->slot = resolve(t.text);
            n->line = t.line;
            // A parameter of the anonymous function being read: unset means not given.
            if (!scopes_.empty() && n->slot < scopes_.back().params) n->sub = 1;
            return n;
        }
        case Tok::LParen: {
            take();
            NodePtr n = expression();
            expect(Tok::RParen, "')' is missing.");
            n->paren = true;
            return n;
        }
        case Tok::LBracket:
        case Tok::LBrace: return matrix(t.kind == Tok::LBrace);
        case Tok::At: return handle();
        default: break;
        }
        fail(t.kind == Tok::End ? "The statement ends too early." : "An expression is expected here.");
    }

    NodePtr matrix(bool cell) {
        Token const open = take();
        NodePtr n(new Node(cell ? Op::CellLit : Op::Matrix));
        n->line = open.line;
        Tok const close = cell ? Tok::RBrace : Tok::RBracket;
        std::vector<NodePtr> row;
        for (;;) {
            Tok const k = peek().kind;
            if (k == close) {
                take();
                break;
            }
            if (k == Tok::Semicolon || k == Tok::Newline) {
                take();
                if (!row.empty()) n->rows.push_back(std::move(row));
                row.clear();
                continue;
            }
            if (k == Tok::Comma) {
                if (row.empty()) fail("An element is missing before ','.");
                take();
                if (at(Tok::Comma) || at(close)) fail("An element is missing after ','.");
                continue;
            }
            if (k == Tok::End) fail(cell ? "'}' is missing." : "']' is missing.");
            row.push_back(expression());
        }
        if (!row.empty()) n->rows.push_back(std::move(row));
        return n;
    }

    NodePtr handle() {
        Token const at_ = take();
        if (at(Tok::Ident) && !peek().spaceBefore) {
            NodePtr n(new Node(Op::FuncHandle));
            n->text = take().text;
            while (at(Tok::Dot) && peek(1).kind == Tok::Ident) {  // package names: @pkg.fn
                take();
                n->text += "." + take().text;
            }
            n->line = at_.line;
            return n;
        }
        if (!at(Tok::LParen) || peek().spaceBefore) fail("'@' needs a function name or a parameter list.");
        take();
        NodePtr n(new Node(Op::AnonFn));
        n->line = at_.line;
        scopes_.emplace_back();
        Scope& s = scopes_.back();
        while (!at(Tok::RParen)) {
            if (at(Tok::Comma) && !n->paramNames.empty()) {
                take();
                continue;
            }
            if (at(Tok::Not)) {
                take();
                n->paramNames.push_back("~");
                s.size++;
                continue;
            }
            if (!at(Tok::Ident) || isKeyword(peek().text)) fail("A parameter list holds names only.");
            std::string const name = take().text;
            n->paramNames.push_back(name);
            if (!s.names.count(name)) s.names[name] = s.size;
            s.size++;
        }
        take();
        s.params = s.size;
        int const saved = indexDepth_;
        indexDepth_ = 0;
        n->kids.push_back(expression());
        indexDepth_ = saved;
        n->params = static_cast<int>(n->paramNames.size());
        n->frameSize = scopes_.back().size;
        n->captures = std::move(scopes_.back().captures);
        scopes_.pop_back();
        return n;
    }

    std::string const& text_;
    Lexer lexer_;
    std::deque<Token> ahead_;
    SlotTable& slots_;
    ParseLimits limits_;
    std::function<bool(std::string const&)> const& isCommandWord_;
    std::vector<Scope> scopes_;
    int depth_ = 0;
    int indexDepth_ = 0;
    int anonDepthAtIndex_ = 0;
};


void Parser::functionFile(ParsedFile& out, ForwardSlots& slots) {
    int ended = -1;  // whether the functions end with "end": unknown, no, yes
    for (;;) {
        skipSeparators();
        if (at(Tok::End)) break;
        if (!atWord("function")) fail("Only functions may follow the end of a function.");
        Token const head = take();
        out.functions.emplace_back();
        FunctionDef& f = out.functions.back();
        f.line = head.line;
        if (at(Tok::LBracket)) {
            take();
            while (!at(Tok::RBracket)) {
                if (at(Tok::Comma)) {
                    take();
                    continue;
                }
                if (!at(Tok::Ident) || isKeyword(peek().text)) fail("An output name is expected here.");
                f.outputs.push_back(take().text);
            }
            take();
            expect(Tok::Assign, "'=' is expected after the outputs.");
        } else if (at(Tok::Ident) && peek(1).kind == Tok::Assign) {
            f.outputs.push_back(take().text);
            take();
        }
        if (!at(Tok::Ident) || isKeyword(peek().text)) fail("The function's name is expected here.");
        f.name = take().text;
        if (at(Tok::LParen)) {
            take();
            while (!at(Tok::RParen)) {
                if (at(Tok::Comma)) {
                    take();
                    continue;
                }
                if (at(Tok::Not)) {
                    take();
                    f.params.push_back("~");
                    continue;
                }
                if (!at(Tok::Ident) || isKeyword(peek().text)) fail("A parameter name is expected here.");
                f.params.push_back(take().text);
            }
            take();
        }
        for (size_t k = 0; k < f.params.size(); ++k)
            if (f.params[k] == "varargin" && k + 1 != f.params.size()) fail("varargin must be the last parameter.");
        for (size_t k = 0; k < f.outputs.size(); ++k)
            if (f.outputs[k] == "varargout" && k + 1 != f.outputs.size()) fail("varargout must be the last output.");
        f.varargin = !f.params.empty() && f.params.back() == "varargin";
        f.varargout = !f.outputs.empty() && f.outputs.back() == "varargout";
        // Parameters first, so that slot k is argument k; "~" gets a slot nobody reads.
        for (size_t k = 0; k < f.params.size(); ++k)
            f.slots.slot(f.params[k] == "~" ? "~" + std::to_string(k) : f.params[k]);
        for (std::string const& o : f.outputs) f.outputSlots.push_back(f.slots.slot(o));
        f.narginSlot = f.slots.slot("nargin");
        f.nargoutSlot = f.slots.slot("nargout");
        f.ansSlot = f.slots.slot("ans");
        slots.to = &f.slots;
        endHead();
        Deeper d(*this);
        bool sawEnd = false;
        for (;;) {
            skipSeparators();
            if (at(Tok::End) || atWord("function")) break;
            if (atWord("end")) {
                take();
                sawEnd = true;
                break;
            }
            f.body.push_back(statement());
        }
        if (ended >= 0 && ended != (sawEnd ? 1 : 0))
            fail("Either every function of a file ends with 'end' or none does.");
        ended = sawEnd ? 1 : 0;
        if (sawEnd) endHead();
    }
}

} // namespace

Block parse(std::string const& text, SlotTable& slots, ParseLimits const& limits,
            std::function<bool(std::string const&)> const& isCommandWord) {
    if (text.size() > limits.maxLength)
        vxErrMsgId("Calyx:tooLong", "The statement is longer than %zu characters.", limits.maxLength);
    Parser parser(text, slots, limits, isCommandWord);
    return parser.program();
}

bool isFunctionFile(std::string const& text) {
    Lexer lexer(text);
    for (;;) {
        Token const t = lexer.next();
        if (t.kind == Tok::Newline || t.kind == Tok::Comma || t.kind == Tok::Semicolon) continue;
        return t.kind == Tok::Ident && t.text == "function";
    }
}

void parseFunctionFile(std::string const& text, ParsedFile& out, ParseLimits const& limits,
                       std::function<bool(std::string const&)> const& isCommandWord) {
    if (text.size() > limits.maxLength)
        vxErrMsgId("Calyx:tooLong", "The file is longer than %zu characters.", limits.maxLength);
    ForwardSlots slots;
    Workspace none;
    slots.to = &none;
    Parser parser(text, slots, limits, isCommandWord);
    parser.functionFile(out, slots);
}

} // namespace qzlang
