// The evaluator: walks the resolved tree with variables in slot-indexed
// frames. Double and logical scalars stay unboxed and are computed here (the
// fast path); everything else goes through the kernels. A stack of call
// frames records the function and the line being run, so that errors can
// name them.
#pragma once
#include "Indexing.hpp"
#include <vx/errors.hpp>
#include <cstddef>
#include "Value.hpp"
#include "qzlang/Parser.hpp"
#include "qzlang/Syntax.hpp"
#include "qzlang/files/Diagnostics.hpp"
#include "qzlang/files/SourcePath.hpp"
#include "qzlang/files/InputRequest.hpp"

#include <cstdint>
#include <map>
#include <set>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace qzlang {

class Session;
class Interp;

typedef std::vector<Value> Values;

// A built-in that needs the interpreter: fills `out` with up to
// max(nargout, 1) results (none for a function that only shows something).
typedef void (*LangFunction)(Interp& in, int nargout, Values& out, Values& args);

LangFunction findLangFunction(std::string const& name);
std::vector<std::string> langFunctionNames();

// The variables of a workspace: a name's slot never changes; unset values
// are variables that do not exist.
struct Workspace : SlotTable {
    std::map<std::string, int> slots;
    std::vector<std::string> names;
    std::vector<Value> values;
    int slot(std::string const& name) override {
        auto it = slots.find(name);
        if (it != slots.end()) return it->second;
        int const s = static_cast<int>(values.size());
        slots[name] = s;
        names.push_back(name);
        values.emplace_back();
        return s;
    }
    Value* find(std::string const& name) {
        auto it = slots.find(name);
        if (it == slots.end() || !values[it->second].isSet()) return nullptr;
        return &values[it->second];
    }
};

struct FunctionDef;
struct ParsedFile;

// An anonymous function: its parse (kept alive with the program it came
// from) and the values it captured when it was made; or a handle @name made
// in a file to one of that file's local functions, which calls that function
// wherever the handle goes.
struct Closure {
    std::shared_ptr<void const> program;  // keeps `fn`, `unit` and `local` alive
    Node const* fn = nullptr;
    Values captured;  // by slot of its own frame; unset for names it reads as functions
    std::string text;
    ParsedFile const* unit = nullptr;     // the file it was made in, for its local functions
    FunctionDef const* local = nullptr;   // @name of a local function
};

struct Frame {
    std::vector<Value>* slots;
    std::string name;  // "" at the top level
    std::string file;
    int line = 0;
    // A function of a file: its definition (names of its workspace, its
    // ans) and its file (for its local functions). Null elsewhere.
    FunctionDef const* fn = nullptr;
    ParsedFile const* unit = nullptr;
    bool script = false;
};

// Why a loop or block stopped early.
enum class Flow { Normal, Break, Continue, Return };

class Interp {
public:
    explicit Interp(Session& session);

    Session& session() { return session_; }
    Workspace& workspace() { return workspace_; }

    // Runs a parsed program at the top level.
    void run(std::shared_ptr<Block const> const& program);

    // Calls a function value (a handle) or a function by name.
    Values callValue(Value const& fn, Values& args, int nargout);
    Values callName(std::string const& name, Values& args, int nargout, Node const* site = nullptr);
    bool functionExists(std::string const& name) const;

    // An anonymous function handle made from text (str2func).
    Value handleFromText(std::string const& text);
    // @name: bound to the local function of that name of the file running
    // now, else a handle that resolves the name when it is called.
    Value handleTo(std::string const& name);
    std::string handleText(vxArray const* handle) const;

    void show(char const* name, Value const& v);

    // The elapsed-time stamp of tic.
    unsigned long long ticStamp = 0;
    bool ticSet = false;
    std::string lastError;
    // Set when a command asked to leave the session; the program stops.
    bool exitRequested = false;
    // The variable names of the arguments of the call being made ("" for
    // other expressions), for display(x).
    std::vector<std::string> argNames;

    std::vector<Frame>& frames() { return frames_; }

    // ---- programs in files (UserFunctions.cpp) ----
    // The parse of a file found on the path, kept with the file.
    std::shared_ptr<ParsedFile const> parsedFile(std::shared_ptr<files::SourceFile const> const& file);
    // Calls a function of a file; `keeper` keeps the parse alive and outlives the call.
    Values callUser(std::shared_ptr<void const> const& keeper, ParsedFile const& unit, FunctionDef const& fn, Values& args,
                    int nargout);
    // Runs a script in the workspace of the frame running now.
    void runScript(std::shared_ptr<ParsedFile const> const& unit);
    // The local function of the file running now, or null.
    FunctionDef const* localFunction(std::string const& name) const;
    // The frames of the last error (innermost first), or of now when the error
    // passed no function; taking them forgets them.
    std::vector<files::Frame> takeErrorStack();
    std::vector<files::Frame> currentStack() const;
    // The workspace names of the frame running now (the top level's or a function's).
    SlotTable& currentSlots();
    int ansSlot();
    // Evaluates one expression typed by the user (input) in the workspace running now.
    void evalText(std::string const& text, Values& out);
    // The search path (made at its first use), the reports of errors and
    // warnings, and the user's input.
    files::SourcePath& sourcePath();
    files::Diagnostics diagnostics;
    files::InputRequest input;

private:
    Flow exec(Block const& block);
    Flow execStmt(Stmt const& s);
    void execExpr(Stmt const& s);
    void execCommand(Stmt const& s);
    void execAssign(Stmt const& s);
    void execMulti(Stmt const& s);
    Flow execFor(Stmt const& s);
    Flow execWhile(Stmt const& s);
    Flow execSwitch(Stmt const& s);
    Flow execTry(Stmt const& s);

    Value eval(Node const& n);
    Value evalNode(Node const& n);
    bool scalarOperand(Node const& k, double& out);
    void evalList(Node const& n, Values& out);
    void evalPostfix(Node const& n, Values& out, int nargout, bool statement);
    bool callSiteValue(Node const& n, Value& result);
    // Whether `name` is a variable of the workspace running now.
    bool variableNow(std::string const& name);
    void evalArgs(std::vector<NodePtr> const& args, Values& out, Value const* indexed, size_t count);
    // x .* y + x and the like over double arrays of one size, in one pass;
    // false (nothing evaluated) when the expression does not qualify.
    bool fuse(Node const& n, Value& out);
    bool fuseSteps(Node const& n, std::vector<kernels::FusedStep>& steps, std::vector<vxArray const*>& arrays);
    // Operands are consumed: an unshared one may receive the result.
    Value binary(BinOp op, Value& a, Value& b);
    Value unary(UnOp op, Value const& a);
    Value matrix(Node const& n);
    Value cellLiteral(Node const& n);
    Value range(Node const& n);
    Value makeClosure(Node const& n);
    bool truth(Value const& v, char const* where);

    // Reading: value(subs), value{subs} (a list), value.field (a list).
    void indexParen(Value const& base, Values& subs, Values& out);
    void indexBrace(Value const& base, Values& subs, Values& out);
    void fieldOf(Value const& base, std::string const& field, Values& out);
    std::string fieldName(Step const& step);

    void assignTo(Target const& t, Value rhs);
    void assignPath(Value& holder, std::vector<Step> const& steps, size_t at, Value& rhs, bool deleting);
    void assignField(vxArray* s, size_t e, std::string const& name, std::vector<Step> const& steps, size_t at,
                     Value& rhs, bool deleting);
    size_t growToElement(Value& holder, Values& subs);
    std::vector<Subscript> toSubscripts(vxArray const* a, Values& subs, int reading);

    Value& slot(int s) { return (*frame_)[s]; }
    // Every loop pass and call: a cheap count, and each 1024th a look at the
    // interrupt flag (and the step limit).
    void poll() {
        if ((++polls_ & 1023) == 0) checkInterrupt();
    }
    // At every call: the recursion limit counts calls, but each level may
    // nest expressions up to the parser's depth, so the machine stack is
    // measured too (from where the top-level run started).
    void checkStack() {
        // The frame address, not a local's: a sanitizer may keep locals elsewhere.
        auto const* here = static_cast<char const*>(__builtin_frame_address(0));
        if (stackTop_ && stackTop_ - here > stackBudget_)
            vxErrMsgId("Calyx:recursionLimit", "The calls nest too deeply for the stack.");
    }
    char const* stackTop_ = nullptr;
    std::ptrdiff_t stackBudget_ = 0;  // three quarters of the stack's limit, set by run
    void checkInterrupt();

    Session& session_;
    Workspace workspace_;
    std::vector<Value>* frame_;
    std::vector<Frame> frames_;
    // The block running now, and what keeps it alive: an object that outlives
    // the run of the block, which closures made now copy. Raw pointers, so
    // that a call costs no counting.
    Block const* program_ = nullptr;
    std::shared_ptr<void const> const* keeper_ = nullptr;
    struct ProgramScope;
    std::unordered_map<std::uint64_t, std::shared_ptr<Closure>> closures_;
    std::uint64_t nextClosure_ = 1;
    size_t sweepAt_ = 64;  // the table's size that starts the next sweep
    void sweepClosures();
    unsigned long long polls_ = 0;
public:
    unsigned long long stepLimit = 0;  // from the session's limits, for one run
    // Once the step limit is passed, no try or error handler may catch an
    // error: a loop around the try would otherwise run on for ever. They call
    // this first, and it raises the step limit's error in place of theirs.
    void raiseIfPastStepLimit() {
        if (stepLimit && polls_ > stepLimit) checkInterrupt();
    }
private:
    int callDepth_ = 0;
    std::unique_ptr<files::SourcePath> paths_;
    // The workspaces of the calls of functions in files, one per depth of
    // such calls, kept with their storage: a call in a loop allocates none.
    // Each is held by its own pointer, so that frames may point at it.
    std::vector<std::unique_ptr<std::vector<Value>>> workspaces_;
    size_t workspacesUsed_ = 0;
    struct WorkspaceLease;
    // ---- the call path (Calls.cpp, UserFunctions.cpp) ----
    // What a name calls: its kind and the function (a FunctionDef for a local
    // function, the pin of the file for a file's, the built-in's pointer).
    struct Callee {
        unsigned char kind;
        void const* fn;
    };
    Callee resolve(std::string const& name, Node const* site);
    Callee lookUp(std::string const& name);
    // Resolutions stand while the search path's epoch does: every statement
    // at the prompt, addpath, cd and rehash start a new one.
    unsigned long long resolveStamp() const;
    Values callResolved(Callee callee, std::string const& name, Values& args, int nargout);
    // The parses of files that calls resolved to since the last statement at
    // the prompt, so that a call running survives the path dropping its file.
    std::unordered_map<void const*, std::shared_ptr<void const>> pins_;
    // Arguments of calls of functions in files, on a stack that keeps its
    // storage, so that such a call allocates no argument list.
    Values argStack_;
    // Runs a function of a file on arguments args[0..count) (moved from);
    // its workspace is left in `locals` for the outputs to be taken.
    void runUser(std::shared_ptr<void const> const& keeper, ParsedFile const& unit, FunctionDef const& fn, Value* args,
                 size_t count, int nargout, std::vector<Value>& locals);
    void takeOutputs(FunctionDef const& fn, std::vector<Value>& locals, int nargout, Values& out);
    std::vector<files::Frame> errorStack_;
    bool stackTaken_ = false;
    void noteErrorStack() {
        if (!stackTaken_) errorStack_ = currentStack(), stackTaken_ = true;
    }

    // The value an 'end' inside a subscript measures: the value indexed,
    // the subscript's position and the count of subscripts.
    struct EndContext {
        Value const* value;
        size_t k;
        size_t count;
    };
    std::vector<EndContext> ends_;
    // The plan of a fused expression, kept so that trying one allocates nothing.
    std::vector<kernels::FusedStep> fuseSteps_;
    std::vector<vxArray const*> fuseArrays_;
};

// Messages and identifiers of an error, for try/catch.
struct CaughtError {
    std::string identifier;
    std::string message;
};

} // namespace qzlang
