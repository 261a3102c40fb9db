// What the evaluator's files share: small questions about values, the
// frame guard, and the moves of members in and out of cells and structures.
#pragma once
#include "Interp.hpp"

#include <vx/errors.hpp>

#include <cctype>
#include <cmath>

namespace qzlang {
namespace detail {

enum FnKind : unsigned char { NotLooked = 0, KindLang = 1, KindKernel = 2, KindLegacy = 3, KindNone = 4, KindLocal = 5, KindFile = 6 };

// ':' alone as a subscript travels as the text ":".
inline Value const& colonValue() {
    static Value const colon = Value::box(vxCreateString(":"));
    return colon;
}

inline bool isColon(Value const& v) {
    if (!v.isArr()) return false;
    vxArray const* a = v.array();
    if (vxGetClassID(a) != vxCHAR_CLASS || vxGetNumberOfElements(a) != 1) return false;
    return *static_cast<vxChar const*>(vxGetData(a)) == ':';
}

inline bool isEmpty0x0Double(Value const& v) {
    if (!v.isArr()) return false;
    vxArray const* a = v.array();
    return vxGetClassID(a) == vxDOUBLE_CLASS && vxGetNumberOfDimensions(a) == 2 && vxGetM(a) == 0 && vxGetN(a) == 0;
}

inline bool isText(vxArray const* a) {
    return vxGetClassID(a) == vxCHAR_CLASS && (vxGetM(a) == 1 || vxGetNumberOfElements(a) == 0) &&
           vxGetNumberOfDimensions(a) == 2;
}

inline char const* classNameOf(Value const& v) {
    if (v.isArr()) return vxGetClassName(v.array());
    return v.isBool() ? "logical" : "double";
}

inline Value emptyValue() { return Value::box(vxCreateDoubleMatrix(0, 0, vxREAL)); }

inline bool validFieldName(std::string const& n) {
    if (n.empty() || n.size() > 63 || !std::isalpha(static_cast<unsigned char>(n[0]))) return false;
    for (char c : n)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
    return true;
}

// The range count with a little slack, so that 0:0.1:1 has 11 elements.
inline double rangeCount(double a, double s, double b) {
    if (std::isnan(a) || std::isnan(s) || std::isnan(b)) return -1;
    if (s == 0 || (s > 0 && a > b) || (s < 0 && a < b)) return 0;
    return std::floor((b - a) / s + 1e-10) + 1;
}

struct FrameGuard {
    FrameGuard(std::vector<Frame>& frames, Frame f) : frames_(frames) { frames_.push_back(std::move(f)); }
    // A frame without a name or a file, made in place.
    FrameGuard(std::vector<Frame>& frames, std::vector<Value>* slots, int line) : frames_(frames) {
        frames_.emplace_back();
        frames_.back().slots = slots;
        frames_.back().line = line;
    }
    ~FrameGuard() { frames_.pop_back(); }
    std::vector<Frame>& frames_;
};


// Takes the member out of a structure or cell, leaving it unset, so that
// the value taken is held once and can change in place.
inline Value stealMember(vxArray* holder, size_t slotIndex) {
    vxArray*& m = holder->members()[slotIndex];
    vxArray* p = m;
    m = nullptr;
    return p ? Value(ArrayPtr(p)) : Value();
}

inline void putMember(vxArray* holder, size_t slotIndex, Value& v) {
    vxArray*& m = holder->members()[slotIndex];
    vxDestroyArray(m);
    m = v.isSet() ? v.take().release() : nullptr;
}

} // namespace detail

// Sets the block running and its keeper for a scope, and puts the caller's
// back when the scope ends, thrown through or not.
struct Interp::ProgramScope {
    ProgramScope(Interp& in, Block const* program, std::shared_ptr<void const> const* keeper)
        : in_(in), program_(in.program_), keeper_(in.keeper_) {
        in.program_ = program;
        in.keeper_ = keeper;
    }
    ~ProgramScope() {
        in_.program_ = program_;
        in_.keeper_ = keeper_;
    }
    Interp& in_;
    Block const* program_;
    std::shared_ptr<void const> const* keeper_;
};

} // namespace qzlang
