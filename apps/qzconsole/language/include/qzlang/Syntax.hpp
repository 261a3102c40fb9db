// The syntax tree of the console's statement language: literals, matrices,
// cells, ranges, transposes, calls, field reads, and the three kinds of
// statement (assignment, expression, command). Plain data, owned top-down.
#pragma once
#include <memory>
#include <string>
#include <vector>

namespace qzlang {

struct Expr;
typedef std::unique_ptr<Expr> ExprPtr;

enum class ExprKind {
    Number,      // real literal: value
    Imaginary,   // 4i: value is the imaginary part
    String,      // 'text': text
    Name,        // a variable, a constant or a call without arguments: text
    Call,        // text(args...): a built-in, or an error for a variable
    Field,       // args[0].text
    Matrix,      // [ rows ]: rows of elements
    Cell,        // { rows }
    Range,       // args: start, [step,] stop
    Negate,      // -args[0]
    Add,         // args[0] + args[1]
    Subtract,    // args[0] - args[1]
    Transpose,   // args[0]' (conjugating)
    DotTranspose,// args[0].'
    Handle       // @text
};

struct Expr {
    ExprKind kind;
    double value = 0;
    std::string text;
    std::vector<ExprPtr> args;
    std::vector<std::vector<ExprPtr>> rows;
    explicit Expr(ExprKind k) : kind(k) {}
};

// One step of an assignment target after its name: ".field" or "(indices)".
struct TargetStep {
    bool isField;
    std::string field;
    std::vector<ExprPtr> indices;
};

enum class StatementKind { Assign, Expression, Command };

struct Statement {
    StatementKind kind;
    bool quiet = false;                 // ended by ";": no display
    std::string name;                   // assigned variable, or command word
    std::vector<TargetStep> target;     // steps after the name (s.a.b, s(2).a)
    ExprPtr value;                      // the right side, or the expression
    std::vector<std::string> words;     // command arguments
};

} // namespace qzlang
