// A line of display text gathered on the stack and written in one piece at
// the line's end (or earlier when it would not fit). The pages of cells and
// handles build each row here: one write a row instead of one a cell, and
// nothing to free when an interrupt leaves at a row start, where the buffer
// is always empty. The matrix pages use a larger one for their rows.
#pragma once
#include <uv/uv.hpp>

#include <cstddef>
#include <cstring>

namespace display_text {

template <size_t Capacity>
class BasicLineBuffer {
public:
    static constexpr size_t kCapacity = Capacity;

    BasicLineBuffer() = default;
    BasicLineBuffer(BasicLineBuffer const&) = delete;
    BasicLineBuffer& operator=(BasicLineBuffer const&) = delete;

    // Room for `need` bytes written in place (need <= kCapacity); what was
    // there before goes out first if needed. used() then counts what was written.
    char* room(size_t need) {
        if (length_ + need > kCapacity) flush();
        return text_ + length_;
    }
    void used(size_t n) { length_ += n; }

    void append(char const* s, size_t n) {
        if (length_ + n > kCapacity) flush();
        if (n > kCapacity) {
            uvPutsn(0, s, n);
            return;
        }
        std::memcpy(text_ + length_, s, n);
        length_ += n;
    }
    void append(char const* s) { append(s, std::strlen(s)); }
    void appendBlanks(size_t n) {
        while (n > 0) {
            if (length_ == kCapacity) flush();
            size_t const room = kCapacity - length_;
            size_t const k = n < room ? n : room;
            std::memset(text_ + length_, ' ', k);
            length_ += k;
            n -= k;
        }
    }
    // `s` right-aligned in `width` ("%*s").
    void appendRight(char const* s, size_t width) {
        size_t const n = std::strlen(s);
        if (width > n) appendBlanks(width - n);
        append(s, n);
    }
    // `s` left-aligned in `width` ("%-*s").
    void appendLeft(char const* s, size_t width) {
        size_t const n = std::strlen(s);
        append(s, n);
        if (width > n) appendBlanks(width - n);
    }
    void flush() {
        if (length_ == 0) return;
        size_t const n = length_;
        length_ = 0;  // emptied first, so an exception from the output leaves it empty
        uvPutsn(0, text_, n);
    }

private:
    char text_[kCapacity];
    size_t length_ = 0;
};

using LineBuffer = BasicLineBuffer<8192>;

} // namespace display_text
