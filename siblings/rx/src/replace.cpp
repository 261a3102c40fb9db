// Replacement by a template, over UTF-16 or narrow text.
#include "rx/rx.hpp"

#include <cstring>

namespace {

bool isLead(unsigned short u) { return u >= 0xD800 && u <= 0xDBFF; }
bool isTrail(unsigned short u) { return u >= 0xDC00 && u <= 0xDFFF; }

// How far to step past an empty match: one character, not half of one.
size_t stepAt(unsigned short const* text, size_t length, size_t pos) {
    return (isLead(text[pos]) && pos + 1 < length && isTrail(text[pos + 1])) ? 2 : 1;
}
size_t stepAt(char const*, size_t, size_t) { return 1; }

} // namespace

struct RX_ReplaceAccess {
    template <class Unit, class Str, class Pieces>
    static Str replaceAll(RX_Tree const& tree, Pieces const& pieces, Unit const* text, size_t length) {
        Str out;
        if (text == nullptr) return out;
        RX_Results r;
        size_t copied = 0;
        size_t from = 0;
        while (from <= length && tree.match(text, length, from, r)) {
            out.append(text + copied, r.start() - copied);
            for (auto const& piece : pieces) {
                if (piece.capture < 0) {
                    appendLiteral(out, piece);
                    continue;
                }
                size_t start = r.start(), count = r.length();
                if (piece.capture == 0 || r.tokens().get(static_cast<size_t>(piece.capture - 1), start, count))
                    out.append(text + start, count);
            }
            copied = r.start() + r.length();
            if (r.length() > 0) {
                from = copied;
            } else {
                if (copied >= length) break;
                from = copied + stepAt(text, length, copied);
            }
        }
        out.append(text + copied, length - copied);
        return out;
    }

    template <class Piece>
    static void appendLiteral(std::string& out, Piece const& piece) { out += piece.literal; }
    template <class Piece>
    static void appendLiteral(RX_UString& out, Piece const& piece) { out += piece.wide; }
};

RX_Replace::RX_Replace(char const* format) {
    std::string literal;
    auto flush = [&] {
        if (literal.empty()) return;
        Piece p{-1, literal, RX_UString(literal.begin(), literal.end())};
        // The wide form of a non-ASCII template would need a decoder; the
        // templates in use are ASCII, and others are refused.
        for (unsigned char c : literal)
            if (c >= 0x80) throw RX_Error("replacement templates must be ASCII");
        pieces_.push_back(p);
        literal.clear();
    };
    for (char const* p = format ? format : ""; *p != '\0'; ++p) {
        if (*p == '$' && p[1] >= '0' && p[1] <= '9') {
            flush();
            pieces_.push_back(Piece{p[1] - '0', std::string(), RX_UString()});
            ++p;
        } else if (*p == '$' && p[1] == '$') {
            literal += '$';
            ++p;
        } else {
            literal += *p;
        }
    }
    flush();
}

RX_UString RX_Replace::replace(RX_Tree const& tree, unsigned short const* text, size_t length) const {
    return RX_ReplaceAccess::replaceAll<unsigned short, RX_UString>(tree, pieces_, text, length);
}

std::string RX_Replace::replace(RX_Tree const& tree, char const* text, size_t length) const {
    return RX_ReplaceAccess::replaceAll<char, std::string>(tree, pieces_, text, length);
}

size_t RX_Replace::replace_in_place(RX_Tree const& tree, unsigned short* text, size_t length) const {
    RX_UString const result = replace(tree, text, length);
    if (result.size() > length) throw RX_Error("the replacement does not fit in place");
    std::copy(result.begin(), result.end(), text);
    if (result.size() < length) text[result.size()] = 0;
    return result.size();
}

size_t RX_Replace::replace_in_place(RX_Tree const& tree, char* text) const {
    if (text == nullptr) return 0;
    size_t const length = std::strlen(text);
    std::string const result = replace(tree, text, length);
    if (result.size() > length) throw RX_Error("the replacement does not fit in place");
    std::memcpy(text, result.data(), result.size());
    text[result.size()] = '\0';
    return result.size();
}
