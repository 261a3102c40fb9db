// Compiling and matching. Text is handed to the engine as code points through
// iterators that decode on the fly, so a search never copies the text and a
// match at any start costs only what the engine reads.
#include "rx/rx.hpp"
#include "tree_impl.hpp"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

bool isLead(unsigned short u) { return u >= 0xD800 && u <= 0xDBFF; }
bool isTrail(unsigned short u) { return u >= 0xDC00 && u <= 0xDFFF; }

// The iterator types of the two text views below: both read code points by value.
struct CodePointIteratorTypes {
    typedef std::bidirectional_iterator_tag iterator_category;
    typedef UChar32 value_type;
    typedef std::ptrdiff_t difference_type;
    typedef UChar32 const* pointer;
    typedef UChar32 reference;
};

// The ends of a text that iterators over it share.
struct TextBounds {
    unsigned short const* begin;
    unsigned short const* end;
};

// UTF-16 as code points. Unlike Boost's own iterator it never throws: a lone
// surrogate is a character of its own value. Two pointers wide, so that the
// engine's functions that return an iterator return it in registers.
class LenientUtf16Iterator : public CodePointIteratorTypes {
public:
    LenientUtf16Iterator() = default;
    LenientUtf16Iterator(unsigned short const* p, TextBounds const* bounds) : p_(p), bounds_(bounds) {}

    UChar32 operator*() const {
        unsigned short const u = *p_;
        if (isLead(u) && p_ + 1 < bounds_->end && isTrail(p_[1]))
            return 0x10000 + ((static_cast<UChar32>(u) - 0xD800) << 10) + (p_[1] - 0xDC00);
        return u;
    }
    LenientUtf16Iterator& operator++() {
        p_ += (isLead(*p_) && p_ + 1 < bounds_->end && isTrail(p_[1])) ? 2 : 1;
        return *this;
    }
    LenientUtf16Iterator operator++(int) {
        LenientUtf16Iterator old = *this;
        ++*this;
        return old;
    }
    LenientUtf16Iterator& operator--() {
        --p_;
        if (isTrail(*p_) && p_ > bounds_->begin && isLead(p_[-1])) --p_;
        return *this;
    }
    LenientUtf16Iterator operator--(int) {
        LenientUtf16Iterator old = *this;
        --*this;
        return old;
    }
    bool operator==(LenientUtf16Iterator const& o) const { return p_ == o.p_; }
    bool operator!=(LenientUtf16Iterator const& o) const { return p_ != o.p_; }
    unsigned short const* base() const { return p_; }

private:
    unsigned short const* p_ = nullptr;
    TextBounds const* bounds_ = nullptr;
};

// Bytes as characters of their own value (Latin-1), so that any byte string
// can be searched and indices stay byte offsets.
class ByteIterator : public CodePointIteratorTypes {
public:

    ByteIterator() = default;
    explicit ByteIterator(char const* p) : p_(p) {}
    UChar32 operator*() const { return static_cast<unsigned char>(*p_); }
    ByteIterator& operator++() { ++p_; return *this; }
    ByteIterator operator++(int) { ByteIterator old = *this; ++p_; return old; }
    ByteIterator& operator--() { --p_; return *this; }
    ByteIterator operator--(int) { ByteIterator old = *this; --p_; return old; }
    bool operator==(ByteIterator const& o) const { return p_ == o.p_; }
    bool operator!=(ByteIterator const& o) const { return p_ != o.p_; }
    char const* base() const { return p_; }

private:
    char const* p_ = nullptr;
};

template <class Iterator, class Unit>
bool search(boost::u32regex const& regex, Iterator first, Iterator last, Iterator base, Unit const* origin,
            RX_Results& results) {
    boost::match_results<Iterator> what;
    boost::match_flag_type flags = boost::match_default;
    if (first != base) flags |= boost::match_prev_avail;
    bool found = false;
    try {
        found = boost::regex_search(first, last, what, regex, flags, base);
    } catch (std::runtime_error const&) {
        // The engine's bound on the work of one search was passed: reported
        // as no match, and said so.
        RX_TreeAccess::abandon(results);
        return false;
    }
    if (!found) return false;
    RX_TreeAccess::setMatch(results, static_cast<size_t>(what[0].first.base() - origin),
                            static_cast<size_t>(what[0].second.base() - what[0].first.base()));
    std::vector<RX_Token>& tokens = RX_TreeAccess::tokens(results);
    tokens.resize(what.size() > 0 ? what.size() - 1 : 0);
    for (size_t i = 1; i < what.size(); ++i) {
        RX_Token& t = tokens[i - 1];
        t.matched = what[i].matched;
        if (t.matched) {
            t.start = static_cast<size_t>(what[i].first.base() - origin);
            t.length = static_cast<size_t>(what[i].second.base() - what[i].first.base());
        }
    }
    return true;
}

// Reads the builder's own notation (literals as letters, digits or \\x{h};
// groups "(", "(?:", "(?|") far enough to tell with which units a match must
// begin. Anything it does not know for sure, such as a class, a dot, an
// anchor, or a first atom that may be repeated zero times, makes it give up.
class FirstUnitsReader {
public:
    explicit FirstUnitsReader(std::string const& source) : s_(source) {}

    // The units, or an empty list when they are not known.
    std::vector<unsigned short> read() {
        std::vector<unsigned short> units;
        if (!alternatives(units) || i_ != s_.size()) return {};
        std::sort(units.begin(), units.end());
        units.erase(std::unique(units.begin(), units.end()), units.end());
        if (units.size() > 4) return {};
        return units;
    }

private:
    // Alternatives up to the ')' that closes them or the end; i_ stays there.
    bool alternatives(std::vector<unsigned short>& units) {
        for (;;) {
            if (!firstOfSequence(units)) return false;
            if (!skipRestOfAlternative()) return false;
            if (i_ >= s_.size() || s_[i_] == ')') return true;
            ++i_;  // '|'
        }
    }

    bool firstOfSequence(std::vector<unsigned short>& units) {
        if (i_ >= s_.size()) return false;
        if (s_[i_] == '(') {
            if (s_.compare(i_, 3, "(?:") == 0 || s_.compare(i_, 3, "(?|") == 0) i_ += 3;
            else if (s_.compare(i_, 2, "(?") == 0) return false;  // look-around and the like
            else i_ += 1;
            if (!alternatives(units) || i_ >= s_.size()) return false;
            ++i_;  // ')'
            return !optionalHere();
        }
        unsigned long unit = 0;
        if (std::isalnum(static_cast<unsigned char>(s_[i_]))) {
            unit = static_cast<unsigned char>(s_[i_++]);
        } else if (s_.compare(i_, 3, "\\x{") == 0) {
            size_t const close = s_.find('}', i_);
            if (close == std::string::npos) return false;
            char* end = nullptr;
            unit = std::strtoul(s_.c_str() + i_ + 3, &end, 16);
            if (end != s_.c_str() + close || unit >= 0xD800) return false;
            i_ = close + 1;
        } else {
            return false;
        }
        if (optionalHere()) return false;
        units.push_back(static_cast<unsigned short>(unit));
        return true;
    }

    // A quantifier that lets the atom before it occur zero times.
    bool optionalHere() const {
        return i_ < s_.size() && (s_[i_] == '*' || s_[i_] == '?' || s_[i_] == '{');
    }

    // Moves to the '|' or ')' that ends the current alternative, or the end.
    bool skipRestOfAlternative() {
        int depth = 0;
        while (i_ < s_.size()) {
            char const c = s_[i_];
            if (c == '\\') {
                i_ += 2;  // the escaped character; the rest of \x{h} is plain
            } else if (c == '[') {
                if (!skipClass()) return false;
            } else if (c == '(') {
                ++depth;
                ++i_;
            } else if (c == ')') {
                if (depth == 0) return true;
                --depth;
                ++i_;
            } else if (c == '|' && depth == 0) {
                return true;
            } else {
                ++i_;
            }
        }
        return true;
    }

    bool skipClass() {
        ++i_;  // '['
        if (i_ < s_.size() && s_[i_] == '^') ++i_;
        while (i_ < s_.size() && s_[i_] != ']') i_ += s_[i_] == '\\' ? 2 : 1;
        if (i_ >= s_.size()) return false;
        ++i_;
        return true;
    }

    std::string const& s_;
    size_t i_ = 0;
};

// The first index from `from` below `length` whose unit is one of `units`
// (one to four of them), or `length`. Eight units at a time with SSE2.
template <class Unit>
size_t findFirstOf(Unit const* text, size_t from, size_t length, std::vector<unsigned short> const& units) {
    size_t i = from;
#if defined(__SSE2__)
    if (sizeof(Unit) == 2) {
        __m128i wanted[4];
        for (size_t k = 0; k < 4; ++k)
            wanted[k] = _mm_set1_epi16(static_cast<short>(units[k < units.size() ? k : 0]));
        for (; i + 8 <= length; i += 8) {
            __m128i const v = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + i));
            __m128i const hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, wanted[0]), _mm_cmpeq_epi16(v, wanted[1])),
                                             _mm_or_si128(_mm_cmpeq_epi16(v, wanted[2]), _mm_cmpeq_epi16(v, wanted[3])));
            int const mask = _mm_movemask_epi8(hit);
            if (mask != 0) return i + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
        }
    }
#endif
    for (; i < length; ++i) {
        unsigned const u = static_cast<typename std::make_unsigned<Unit>::type>(text[i]);
        if (std::find(units.begin(), units.end(), u) != units.end()) return i;
    }
    return length;
}

} // namespace

// No match can begin before the first unit that may begin one, so the engine
// starts there, with what lies before still in view. False when no such unit
// follows `from`.
template <class Unit>
static bool skipToPossibleStart(RX_Tree::Impl const& impl, Unit const* text, size_t length, size_t& from) {
    if (impl.firstUnits.empty()) return true;
    from = findFirstOf(text, from, length, impl.firstUnits);
    return from < length;
}

bool RX_Token_Stack::get(size_t index, size_t& start, size_t& length) const {
    if (index >= tokens_.size() || !tokens_[index].matched) return false;
    start = tokens_[index].start;
    length = tokens_[index].length;
    return true;
}

RX_Tree::RX_Tree(RX_Node const& pattern, int flags) : source_(pattern.source()), impl_(new Impl) {
    // The dot stands for every character, line ends included (set SET_ANY).
    boost::regex_constants::syntax_option_type options = boost::regex_constants::perl | boost::regex_constants::mod_s;
    if (flags & RX_ICASE) options |= boost::regex_constants::icase;
    try {
        impl_->regex = boost::make_u32regex(source_, options);
    } catch (std::exception const& e) {
        throw RX_Error(std::string("cannot compile the pattern ") + source_ + ": " + e.what());
    }
    // Case folding would add units of other cases: no shortcut then.
    if (!(flags & RX_ICASE)) impl_->firstUnits = FirstUnitsReader(source_).read();
}

RX_Tree::~RX_Tree() = default;

size_t RX_Tree::tokenCount() const { return impl_->regex.mark_count(); }

bool RX_Tree::match(unsigned short const* text, size_t length, size_t from, RX_Results& results) const {
    results.release();
    if (text == nullptr || from > length) return false;
    if (!skipToPossibleStart(*impl_, text, length, from)) return false;
    TextBounds const bounds{text, text + length};  // outlives every iterator of the search
    LenientUtf16Iterator first(text + from, &bounds), last(bounds.end, &bounds), base(text, &bounds);
    return search(impl_->regex, first, last, base, text, results);
}

bool RX_Tree::match(char const* text, size_t length, size_t from, RX_Results& results) const {
    results.release();
    if (text == nullptr || from > length) return false;
    if (!skipToPossibleStart(*impl_, text, length, from)) return false;
    return search(impl_->regex, ByteIterator(text + from), ByteIterator(text + length), ByteIterator(text), text,
                  results);
}
