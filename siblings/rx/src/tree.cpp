// Compiling and matching. Text is handed to the engine as code points through
// iterators that decode on the fly, so a search never copies the text and a
// match at any start costs only what the engine reads.
#include "rx/rx.hpp"
#include "tree_impl.hpp"

#include <iterator>

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

// UTF-16 as code points. Unlike Boost's own iterator it never throws: a lone
// surrogate is a character of its own value.
class LenientUtf16Iterator : public CodePointIteratorTypes {
public:

    LenientUtf16Iterator() = default;
    LenientUtf16Iterator(unsigned short const* p, unsigned short const* begin, unsigned short const* end)
        : p_(p), begin_(begin), end_(end) {}

    UChar32 operator*() const {
        unsigned short const u = *p_;
        if (isLead(u) && p_ + 1 < end_ && isTrail(p_[1]))
            return 0x10000 + ((static_cast<UChar32>(u) - 0xD800) << 10) + (p_[1] - 0xDC00);
        return u;
    }
    LenientUtf16Iterator& operator++() {
        p_ += (isLead(*p_) && p_ + 1 < end_ && isTrail(p_[1])) ? 2 : 1;
        return *this;
    }
    LenientUtf16Iterator operator++(int) {
        LenientUtf16Iterator old = *this;
        ++*this;
        return old;
    }
    LenientUtf16Iterator& operator--() {
        --p_;
        if (isTrail(*p_) && p_ > begin_ && isLead(p_[-1])) --p_;
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
    unsigned short const* begin_ = nullptr;
    unsigned short const* end_ = nullptr;
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

} // namespace

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
}

RX_Tree::~RX_Tree() = default;

size_t RX_Tree::tokenCount() const { return impl_->regex.mark_count(); }

bool RX_Tree::match(unsigned short const* text, size_t length, size_t from, RX_Results& results) const {
    results.release();
    if (text == nullptr || from > length) return false;
    unsigned short const* end = text + length;
    LenientUtf16Iterator first(text + from, text, end), last(end, text, end), base(text, text, end);
    return search(impl_->regex, first, last, base, text, results);
}

bool RX_Tree::match(char const* text, size_t length, size_t from, RX_Results& results) const {
    results.release();
    if (text == nullptr || from > length) return false;
    return search(impl_->regex, ByteIterator(text + from), ByteIterator(text + length), ByteIterator(text), text,
                  results);
}
