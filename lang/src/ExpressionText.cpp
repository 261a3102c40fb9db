// The text of an expression as an anonymous function shows it (display,
// func2str): regenerated from the parse, with no blanks outside text
// literals, elements joined by "," and rows by ";", and the parentheses the
// source wrote.
#include "qzlang/Parser.hpp"

namespace qzlang {

namespace {

char const* binaryText(BinOp op) {
    static char const* const texts[] = {"+", "-", ".*", "./", ".\\", ".^", "*", "/", "\\", "^",
                                        "<", "<=", ">", ">=", "==", "~=", "&", "|"};
    return texts[static_cast<int>(op)];
}

void write(std::string& out, Node const& n);

void writeSteps(std::string& out, std::vector<Step> const& steps) {
    for (Step const& s : steps) {
        switch (s.kind) {
        case Step::Paren:
        case Step::Brace:
            out += s.kind == Step::Paren ? '(' : '{';
            for (size_t k = 0; k < s.args.size(); ++k) {
                if (k) out += ',';
                write(out, *s.args[k]);
            }
            out += s.kind == Step::Paren ? ')' : '}';
            break;
        case Step::Field: out += "." + s.field; break;
        case Step::DynField:
            out += ".(";
            write(out, *s.args[0]);
            out += ")";
            break;
        }
    }
}

void write(std::string& out, Node const& n) {
    if (n.paren) out += '(';
    switch (n.op) {
    case Op::Number: out += n.text; break;
    case Op::Imaginary: out += n.text; break;
    case Op::String: {
        char const q = n.dq ? '"' : '\'';
        out += q;
        for (char c : n.text) {
            if (c == q) out += q;
            out += c;
        }
        out += q;
        break;
    }
    case Op::Var: out += n.text; break;
    case Op::Postfix:
        write(out, *n.kids[0]);
        writeSteps(out, n.steps);
        break;
    case Op::Colon: out += ':'; break;
    case Op::EndIndex: out += "end"; break;
    case Op::Binary:
        write(out, *n.kids[0]);
        out += binaryText(static_cast<BinOp>(n.sub));
        write(out, *n.kids[1]);
        break;
    case Op::AndAnd:
    case Op::OrOr:
        write(out, *n.kids[0]);
        out += n.op == Op::AndAnd ? "&&" : "||";
        write(out, *n.kids[1]);
        break;
    case Op::Unary:
        switch (static_cast<UnOp>(n.sub)) {
        case UnOp::Negate: out += '-'; write(out, *n.kids[0]); break;
        case UnOp::UPlus: out += '+'; write(out, *n.kids[0]); break;
        case UnOp::Not: out += '~'; write(out, *n.kids[0]); break;
        case UnOp::Transpose: write(out, *n.kids[0]); out += ".'"; break;
        case UnOp::CTranspose: write(out, *n.kids[0]); out += "'"; break;
        }
        break;
    case Op::Range:
        for (size_t k = 0; k < n.kids.size(); ++k) {
            if (k) out += ':';
            write(out, *n.kids[k]);
        }
        break;
    case Op::Matrix:
    case Op::CellLit:
        out += n.op == Op::Matrix ? '[' : '{';
        for (size_t r = 0; r < n.rows.size(); ++r) {
            if (r) out += ';';
            for (size_t c = 0; c < n.rows[r].size(); ++c) {
                if (c) out += ',';
                write(out, *n.rows[r][c]);
            }
        }
        out += n.op == Op::Matrix ? ']' : '}';
        break;
    case Op::FuncHandle: out += "@" + n.text; break;
    case Op::AnonFn:
        out += "@(";
        for (size_t k = 0; k < n.paramNames.size(); ++k) {
            if (k) out += ',';
            out += n.paramNames[k];
        }
        out += ')';
        write(out, *n.kids[0]);
        break;
    }
    if (n.paren) out += ')';
}

} // namespace

std::string expressionText(Node const& node) {
    std::string out;
    write(out, node);
    return out;
}

} // namespace qzlang
