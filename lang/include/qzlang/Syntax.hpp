// The resolved tree of the statement language: what the parser makes once
// and the evaluator walks. Names of variables are resolved to slot numbers
// of their workspace while parsing, so that reading a variable is an array
// access. Plain data, owned top-down.
#pragma once
#include <memory>
#include <string>
#include <vector>

namespace qzlang {

struct Node;
typedef std::unique_ptr<Node> NodePtr;
struct Stmt;
typedef std::unique_ptr<Stmt> StmtPtr;
typedef std::vector<StmtPtr> Block;

enum class Op : unsigned char {
    Number,      // num
    Imaginary,   // num is the imaginary part
    String,      // text ('...'), `dq` for "..."
    Var,         // a name alone: slot, text (a variable, else a call with no arguments)
    Postfix,     // kids[0] (a Var or any expression) followed by steps
    Colon,       // ':' alone as a subscript
    EndIndex,    // 'end' inside a subscript
    Binary,      // kids[0] op kids[1], sub = BinOp
    Unary,       // op kids[0], sub = UnOp
    AndAnd, OrOr,
    Range,       // kids: start, stop or start, step, stop
    Matrix,      // [ rows ]
    CellLit,     // { rows }
    FuncHandle,  // @text
    AnonFn       // @(params) kids[0]
};

enum class BinOp : unsigned char {
    Plus, Minus, Times, RDivide, LDivide, Power,
    MTimes, MRDivide, MLDivide, MPower,
    Lt, Le, Gt, Ge, Eq, Ne, And, Or
};
enum class UnOp : unsigned char { Negate, UPlus, Not, Transpose, CTranspose };

// One step after a value: "(args)", "{args}", ".name" or ".(expr)".
struct Step {
    enum Kind : unsigned char { Paren, Brace, Field, DynField } kind;
    std::vector<NodePtr> args;  // subscripts, or the one name expression of DynField
    std::string field;
};

// The captures of an anonymous function: the slot outside and the slot
// inside of each name its body reads that is not a parameter.
struct Capture {
    std::string name;
    int outer;
    int inner;
};

struct Node {
    Op op;
    unsigned char sub = 0;
    bool dq = false;
    bool paren = false;  // written in parentheses (kept for the text of anonymous functions)
    int slot = -1;
    int line = 0;
    double num = 0;
    std::string text;
    std::vector<NodePtr> kids;
    std::vector<std::vector<NodePtr>> rows;  // Matrix, CellLit
    std::vector<Step> steps;                 // Postfix
    // AnonFn: parameter count (slots 0..params-1 of its own frame), the
    // frame's size, and what it captures.
    int params = 0;
    int frameSize = 0;
    std::vector<std::string> paramNames;
    std::vector<Capture> captures;
    // The function a name resolved to at its first call, kept so that a loop
    // looks a name up once (the evaluator's cache; 0 kind means not looked up),
    // and the evaluator's stamp of when it was looked up.
    mutable void const* fnCache = nullptr;
    mutable unsigned long long fnStamp = 0;
    mutable unsigned char fnKind = 0;
    explicit Node(Op o) : op(o) {}
};

// The place an assignment writes: a variable and the steps into it.
struct Target {
    std::string name;  // empty for "~"
    int slot = -1;
    std::vector<Step> steps;
};

enum class StmtKind : unsigned char {
    Expr,       // expr
    Assign,     // targets[0] = expr
    Multi,      // [targets] = expr
    Command,    // word args...; `alt` is the same text read as an expression (or null)
    If,         // clauses (condition, body) then elseBody
    For,        // loop variable targets[0], expr, body
    While,      // expr, body
    Break, Continue, Return,
    Switch,     // expr, clauses (case value, body), elseBody (otherwise)
    Try,        // body, catch variable (slot, -1 for none), elseBody as the catch block
    Function    // a function definition (not yet allowed here)
};

struct Clause {
    NodePtr test;
    Block body;
};

struct Stmt {
    StmtKind kind;
    bool quiet = false;     // ended by ";"
    int line = 0;
    NodePtr expr;
    std::vector<Target> targets;
    std::string word;                // Command
    std::vector<std::string> words;  // Command arguments
    StmtPtr alt;                     // Command: the expression reading, when the text parses as one
    std::string altError;            // ... or why it does not
    std::vector<Clause> clauses;
    Block body;
    Block elseBody;
    int catchSlot = -1;
    std::string catchName;
    explicit Stmt(StmtKind k) : kind(k) {}
};

} // namespace qzlang
