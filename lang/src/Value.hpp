// The values the interpreter moves around: a tagged union in which a double
// scalar and a logical scalar are plain numbers (never a heap object), and
// every other value is an array of the array library held by a counted box.
// Boxes are shared on copy and copied on write: mutableArray() copies the
// array only when another value still holds the same box, so assigning into
// one element of an array held by one variable never copies it.
// Single-threaded, like the arrays themselves.
#pragma once
#include <qzlang/kernels/Kernels.hpp>
#include <vx/array.hpp>

#include <cstdint>
#include <utility>

namespace qzlang {

// The closure number of an anonymous function handle, 0 for none.
std::uint64_t closureIdOf(vxArray const* handle);
void setClosureId(vxArray* handle, std::uint64_t id);

class Value {
public:
    enum Tag : unsigned char { Unset, Num, Bool, Arr };

    Value() noexcept : tag_(Unset), num_(0) {}
    explicit Value(double d) noexcept : tag_(Num), num_(d) {}
    static Value logical(bool b) noexcept {
        Value v;
        v.tag_ = Bool;
        v.num_ = b ? 1.0 : 0.0;
        return v;
    }
    // Takes ownership; a null array gives an unset value. A real double or
    // logical 1x1 array becomes an unboxed scalar.
    explicit Value(ArrayPtr a);
    // Wraps the array without looking for a scalar (owns it).
    static Value box(vxArray* a);

    Value(Value const& o) noexcept : tag_(o.tag_), num_(o.num_), box_(o.box_) {
        if (box_) ++box_->refs;
    }
    Value(Value&& o) noexcept : tag_(o.tag_), num_(o.num_), box_(o.box_) {
        o.tag_ = Unset;
        o.box_ = nullptr;
    }
    Value& operator=(Value const& o) noexcept {
        if (o.box_) ++o.box_->refs;
        drop();
        tag_ = o.tag_, num_ = o.num_, box_ = o.box_;
        return *this;
    }
    Value& operator=(Value&& o) noexcept {
        if (this != &o) {
            drop();
            tag_ = o.tag_, num_ = o.num_, box_ = o.box_;
            o.tag_ = Unset;
            o.box_ = nullptr;
        }
        return *this;
    }
    Value& operator=(double d) noexcept {
        drop();
        tag_ = Num, num_ = d, box_ = nullptr;
        return *this;
    }
    ~Value() { drop(); }

    Tag tag() const { return tag_; }
    bool isSet() const { return tag_ != Unset; }
    bool isNum() const { return tag_ == Num; }
    bool isBool() const { return tag_ == Bool; }
    // A double or logical scalar without a box: the fast path's operands.
    bool isScalar() const { return tag_ == Num || tag_ == Bool; }
    bool isArr() const { return tag_ == Arr; }
    double num() const { return num_; }

    // The array (boxed values only).
    vxArray const* array() const { return box_->a; }
    // The value as an array: boxed values directly, scalars through `tmp`.
    vxArray const* view(ArrayPtr& tmp) const;
    // An array this value alone owns, to change in place: scalars are boxed,
    // a shared box is copied first. Unset values raise.
    vxArray* mutableArray();
    // Replaces the array of a uniquely held box (after mutableArray).
    void resetArray(vxArray* a);
    // A new array with the value (a copy unless this value held it alone).
    ArrayPtr take();
    ArrayPtr copy() const;

    vxClassID classId() const;
    bool shared() const { return box_ && box_->refs > 1; }

private:
    struct Box {
        unsigned refs;
        vxArray* a;
    };
    // The common case (no box) stays inline; releasing a box does not.
    void drop() noexcept {
        if (box_) release();
    }
    void release() noexcept;

    Tag tag_;
    double num_;
    Box* box_ = nullptr;
};

} // namespace qzlang
