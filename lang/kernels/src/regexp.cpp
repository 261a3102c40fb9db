// regexp and regexprep. A pattern written as text is parsed here into the
// rx stand-in's builder nodes (literals, classes, groups, alternation,
// quantifiers, anchors), compiled once, and matched on the text's bytes.
#include "internal.hpp"

#include <rx/rx.hpp>

#include <cctype>
#include <algorithm>
#include <memory>

namespace qzlang { namespace kernels { namespace detail {

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;

std::string const kDigits = "0123456789";
std::string const kSpaces = " \t\n\r\f\v";
std::string const kWord = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";

// The pattern's parse: a node, the names of its captures, and whether the
// node is a single capture (so that a quantifier can go inside it).
struct Parsed {
    RX_Node node;
    bool empty = true;
    bool isCapture = false;
    RX_Node inner;  // a capture's content
    int captures = 0;
};

class PatternParser {
public:
    explicit PatternParser(std::string const& p) : p_(p) {}

    RX_Node parse() {
        Parsed r = alternation();
        if (i_ < p_.size()) error("unbalanced ')'");
        return r.empty ? b_.text("") : r.node;
    }
    std::vector<std::string> const& names() const { return names_; }  // by capture number
    int captures() const { return count_; }

private:
    [[noreturn]] void error(char const* what) {
        fail("Calyx:regexpPattern", "The regular expression '%s' is not valid: %s (at position %zu).", p_.c_str(), what, i_ + 1);
    }

    Parsed alternation() {
        Parsed left = sequence();
        while (i_ < p_.size() && p_[i_] == '|') {
            ++i_;
            Parsed right = sequence();
            RX_Node a = left.empty ? b_.text("") : left.node, c = right.empty ? b_.text("") : right.node;
            left.node = b_.global_or(a, c);
            left.empty = false;
            left.isCapture = false;
            left.captures += right.captures;
        }
        return left;
    }

    Parsed sequence() {
        Parsed seq;
        while (i_ < p_.size() && p_[i_] != '|' && p_[i_] != ')') {
            Parsed a = quantified();
            if (a.empty) continue;
            seq.node = seq.empty ? a.node : seq.node + a.node;
            seq.isCapture = seq.empty && a.isCapture;
            seq.inner = a.inner;
            seq.empty = false;
            seq.captures += a.captures;
        }
        return seq;
    }

    // Repeats `a` between lo and hi times (hi < 0: no limit).
    Parsed repeat(Parsed a, int lo, int hi, bool greedy) {
        if (a.captures > 0) {
            // Captures are not duplicated: the repetition goes inside the
            // outermost capture, which then holds all the repeated text.
            if (!a.isCapture || a.captures != 1) error("a repeated group may hold only one capture");
            Parsed in;
            in.node = a.inner;
            in.empty = false;
            Parsed r = repeat(in, lo, hi, greedy);
            a.node = b_.capture(r.node);
            a.inner = r.node;
            return a;
        }
        size_t copies = size_t(std::max(lo, hi < 0 ? lo + 1 : hi));
        if (copies * a.node.source().size() > 200000) error("a repetition that makes the pattern too large");
        RX_Node out;
        bool any = false;
        for (int k = 0; k < lo; ++k) out = any ? out + a.node : a.node, any = true;
        if (hi < 0) {
            RX_Node star = b_.kleene(a.node, greedy);
            out = any ? out + star : star;
        } else
            for (int k = lo; k < hi; ++k) {
                RX_Node opt = b_.optional(a.node);
                out = any ? out + opt : opt;
                any = true;
            }
        if (!any && hi >= 0) {
            Parsed e;
            return e;
        }
        a.node = out;
        a.isCapture = false;
        return a;
    }

    Parsed quantified() {
        Parsed a = atom();
        for (;;) {
            if (i_ >= p_.size()) return a;
            char c = p_[i_];
            int lo, hi;
            if (c == '*') lo = 0, hi = -1, ++i_;
            else if (c == '+') lo = 1, hi = -1, ++i_;
            else if (c == '?') lo = 0, hi = 1, ++i_;
            else if (c == '{' && std::isdigit((unsigned char)(i_ + 1 < p_.size() ? p_[i_ + 1] : 'x'))) {
                ++i_;
                lo = number();
                hi = lo;
                if (i_ < p_.size() && p_[i_] == ',') {
                    ++i_;
                    hi = (i_ < p_.size() && std::isdigit((unsigned char)p_[i_])) ? number() : -1;
                }
                if (i_ >= p_.size() || p_[i_] != '}') error("'{' without '}'");
                ++i_;
                if (hi >= 0 && hi < lo) error("a repetition count out of order");
                if (lo > 1000 || hi > 1000) error("a repetition count above 1000");
            } else return a;
            if (a.empty) error("a quantifier with nothing to repeat");
            bool greedy = true;
            if (i_ < p_.size() && p_[i_] == '?') greedy = false, ++i_;
            else if (i_ < p_.size() && p_[i_] == '+') ++i_;  // possessive taken as greedy
            a = repeat(a, lo, hi, greedy);
        }
    }

    int number() {
        int v = 0;
        while (i_ < p_.size() && std::isdigit((unsigned char)p_[i_])) v = v * 10 + (p_[i_++] - '0'), v = std::min(v, 100000);
        return v;
    }

    static Parsed of(RX_Node n) {
        Parsed p;
        p.node = n;
        p.empty = false;
        return p;
    }

    // An escape outside a class: a set, an anchor or a literal character.
    Parsed escape() {
        if (i_ >= p_.size()) error("a pattern that ends in '\\'");
        char e = p_[i_++];
        switch (e) {
        case 'd': return of(b_.set(RX_Builder_Space::SET_DIGIT));
        case 'D': return of(b_.none_of(kDigits.c_str()));
        case 's': return of(b_.set(RX_Builder_Space::SET_SPACE));
        case 'S': return of(b_.none_of(kSpaces.c_str()));
        case 'w': return of(b_.set(RX_Builder_Space::SET_WORD));
        case 'W': return of(b_.none_of(kWord.c_str()));
        case '<':
        case '>':
        case 'b': return of(b_.special(RX_Builder_Space::SPECIAL_WORD_BOUNDARY));
        default: return of(b_.text(std::string(1, literalEscape(e))));
        }
    }

    static char literalEscape(char e) {
        switch (e) {
        case 'n': return '\n';
        case 't': return '\t';
        case 'r': return '\r';
        case 'f': return '\f';
        case 'v': return '\v';
        case 'a': return '\a';
        case 'e': return 27;
        default: return e;
        }
    }

    Parsed charClass() {
        bool negate = false;
        if (i_ < p_.size() && p_[i_] == '^') negate = true, ++i_;
        std::string chars;
        bool first = true;
        while (i_ < p_.size() && (p_[i_] != ']' || first)) {
            first = false;
            char c = p_[i_++];
            if (c == '\\' && i_ < p_.size()) {
                char e = p_[i_++];
                if (e == 'd') chars += kDigits;
                else if (e == 's') chars += kSpaces;
                else if (e == 'w') chars += kWord;
                else chars += literalEscape(e);
                continue;
            }
            if (i_ + 1 < p_.size() && p_[i_] == '-' && p_[i_ + 1] != ']') {
                char hi = p_[i_ + 1];
                if (hi == '\\' && i_ + 2 < p_.size()) hi = literalEscape(p_[i_ + 2]), ++i_;
                i_ += 2;
                if ((unsigned char)hi < (unsigned char)c) error("a range out of order");
                for (int k = (unsigned char)c; k <= (unsigned char)hi; ++k) chars += char(k);
                continue;
            }
            chars += c;
        }
        if (i_ >= p_.size()) error("'[' without ']'");
        ++i_;
        for (char c : chars)
            if (c == 0 || (unsigned char)c > 127) error("a class with characters beyond ASCII");
        return of(negate ? b_.none_of(chars.c_str()) : b_.one_of(chars.c_str()));
    }

    Parsed atom() {
        char c = p_[i_++];
        switch (c) {
        case '(': {
            bool capture = true;
            std::string name;
            if (i_ < p_.size() && p_[i_] == '?') {
                if (i_ + 1 < p_.size() && p_[i_ + 1] == ':') capture = false, i_ += 2;
                else if (i_ + 1 < p_.size() && p_[i_ + 1] == '<') {
                    i_ += 2;
                    while (i_ < p_.size() && (std::isalnum((unsigned char)p_[i_]) || p_[i_] == '_')) name += p_[i_++];
                    if (i_ >= p_.size() || p_[i_] != '>' || name.empty()) error("a bad token name");
                    ++i_;
                } else error("a group construct that is not supported");
            }
            int number = capture ? count_++ : -1;
            if (capture) names_.resize(size_t(count_)), names_[size_t(number)] = name;
            Parsed in = alternation();
            if (i_ >= p_.size() || p_[i_] != ')') error("'(' without ')'");
            ++i_;
            RX_Node body = in.empty ? b_.text("") : in.node;
            if (!capture) {
                Parsed r = of(body);
                r.captures = in.captures;
                r.isCapture = in.isCapture;
                r.inner = in.inner;
                return r;
            }
            Parsed r = of(b_.capture(body));
            r.isCapture = true;
            r.inner = body;
            r.captures = in.captures + 1;
            return r;
        }
        case '[': return charClass();
        case '.': return of(b_.set(RX_Builder_Space::SET_ANY));
        case '^': return of(b_.special(RX_Builder_Space::SPECIAL_TEXT_START));
        case '$': return of(b_.special(RX_Builder_Space::SPECIAL_TEXT_END));
        case '\\': return escape();
        case '*':
        case '+':
        case '?': --i_, error("a quantifier with nothing to repeat");
        default: return of(b_.text(std::string(1, c)));
        }
    }

    std::string p_;
    size_t i_ = 0;
    RX_Builder_Space b_;
    std::vector<std::string> names_;
    int count_ = 0;
};

struct Match {
    size_t start, length;
    std::vector<std::pair<size_t, size_t>> tokens;  // start, length; length npos: took no part
};

struct Compiled {
    std::unique_ptr<RX_Tree> tree;
    std::vector<std::string> names;
    int captures = 0;
};

Compiled compile(std::string const& pattern, bool icase) {
    PatternParser parser(pattern);
    RX_Node node = parser.parse();
    Compiled c;
    try {
        c.tree.reset(new RX_Tree(node, icase ? RX_Tree::RX_ICASE : 0));
    } catch (RX_Error const& e) {
        fail("Calyx:regexpPattern", "The regular expression '%s' is not valid: %s.", pattern.c_str(), e.what());
    }
    c.names = parser.names();
    c.captures = parser.captures();
    return c;
}

std::vector<Match> matchAll(Compiled const& c, std::string const& s, bool once) {
    std::vector<Match> all;
    size_t from = 0;
    RX_Results r;
    while (from <= s.size() && c.tree->match(s.data(), s.size(), from, r)) {
        if (r.abandoned()) fail("Calyx:regexpTooComplex", "The regular expression is too costly for this text.");
        Match m{r.start(), r.length(), {}};
        for (int k = 0; k < c.captures; ++k) {
            size_t st = 0, len = 0;
            if (r.tokens().get(size_t(k), st, len)) m.tokens.push_back({st, len});
            else m.tokens.push_back({0, std::string::npos});
        }
        all.push_back(m);
        if (once) break;
        from = r.length() ? r.start() + r.length() : r.start() + 1;
    }
    return all;
}

std::string textArg(vxArray const* a, char const* fname) {
    if (a->class_id() != vxCHAR_CLASS) fail("Calyx:notText", "%s expects text (or a cell of texts).", fname);
    return textOf(a, fname);
}

ArrayPtr rowOf(std::vector<double> const& v) {
    return fromDoubles(vxDOUBLE_CLASS, {v.empty() ? 1u : 1u, v.size()}, v, nullptr);
}

enum class What { Start, End, TokenExtents, Match, Tokens, Names, Split };

ArrayPtr tokensOf(Match const& m, std::string const& s, int captures) {
    if (captures == 0) {
        std::vector<std::string> one{s.substr(m.start, m.length)};
        return cellOfStrings(one);
    }
    std::vector<std::string> t;
    for (auto const& tk : m.tokens) t.push_back(tk.second == std::string::npos ? "" : s.substr(tk.first, tk.second));
    return cellOfStrings(t);
}

ArrayPtr extentsOf(Match const& m, int captures) {
    std::vector<std::pair<size_t, size_t>> tk = m.tokens;
    if (captures == 0) tk = {{m.start, m.length}};
    size_t n = tk.size();
    std::vector<double> v(n * 2);
    for (size_t k = 0; k < n; ++k) {
        bool none = tk[k].second == std::string::npos;
        v[k] = none ? 0 : double(tk[k].first + 1);
        v[k + n] = none ? -1 : double(tk[k].first + tk[k].second);
    }
    return fromDoubles(vxDOUBLE_CLASS, {n, 2}, v, nullptr);
}

ArrayPtr namesOf(std::vector<Match> const& ms, std::string const& s, Compiled const& c, bool once) {
    std::vector<char const*> fields;
    std::vector<int> which;
    for (size_t k = 0; k < c.names.size(); ++k)
        if (!c.names[k].empty()) fields.push_back(c.names[k].c_str()), which.push_back(int(k));
    size_t n = once ? 1 : (fields.empty() ? 1 : std::max<size_t>(ms.size(), ms.empty() ? 0 : 1));
    if (!once && ms.empty() && !fields.empty()) n = 0;
    ArrayPtr st(vxCreateStructMatrix(n ? 1 : 0, n, int(fields.size()), fields.data()));
    for (size_t e = 0; e < n; ++e)
        for (size_t f = 0; f < fields.size(); ++f) {
            std::string v;
            if (e < ms.size()) {
                auto const& tk = ms[e].tokens[size_t(which[f])];
                if (tk.second != std::string::npos) v = s.substr(tk.first, tk.second);
            }
            vxSetFieldByNumber(st.get(), e, int(f), makeString(v).release());
        }
    return st;
}

ArrayPtr resultFor(What w, std::vector<Match> const& ms, std::string const& s, Compiled const& c, bool once) {
    switch (w) {
    case What::Start:
    case What::End: {
        std::vector<double> v;
        for (auto const& m : ms) v.push_back(w == What::Start ? double(m.start + 1) : double(m.start + m.length));
        if (once) return v.empty() ? makeDouble({0, 0}) : scalarDouble(v[0]);
        return v.empty() ? makeDouble({1, 0}) : rowOf(v);
    }
    case What::Match: {
        std::vector<std::string> v;
        for (auto const& m : ms) v.push_back(s.substr(m.start, m.length));
        if (once) return makeString(v.empty() ? "" : v[0]);
        return cellOfStrings(v);
    }
    case What::Tokens: {
        if (once) return ms.empty() ? ArrayPtr(vxCreateCellMatrix(1, 0)) : tokensOf(ms[0], s, c.captures);
        ArrayPtr cell(vxCreateCellMatrix(1, ms.size()));
        for (size_t k = 0; k < ms.size(); ++k) vxSetCell(cell.get(), k, tokensOf(ms[k], s, c.captures).release());
        return cell;
    }
    case What::TokenExtents: {
        if (once) return ms.empty() ? makeDouble({0, 0}) : extentsOf(ms[0], c.captures);
        ArrayPtr cell(vxCreateCellMatrix(1, ms.size()));
        for (size_t k = 0; k < ms.size(); ++k) vxSetCell(cell.get(), k, extentsOf(ms[k], c.captures).release());
        return cell;
    }
    case What::Names: return namesOf(ms, s, c, once);
    case What::Split: {
        std::vector<std::string> parts;
        size_t at = 0;
        for (auto const& m : ms) {
            parts.push_back(s.substr(at, m.start - at));
            at = m.start + m.length;
        }
        parts.push_back(s.substr(at));
        return cellOfStrings(parts);
    }
    }
    return nullptr;
}

void fnRegexp(int nargout, Out& out, In const& in) {
    std::string pattern = textArg(in[1], "regexp");
    bool once = false, icase = false;
    std::vector<What> order;
    for (size_t k = 2; k < in.size(); ++k) {
        std::string o = textArg(in[k], "regexp");
        if (o == "once") once = true;
        else if (o == "ignorecase") icase = true;
        else if (o == "matchcase") icase = false;
        else if (o == "match") order.push_back(What::Match);
        else if (o == "tokens") order.push_back(What::Tokens);
        else if (o == "names") order.push_back(What::Names);
        else if (o == "start") order.push_back(What::Start);
        else if (o == "end") order.push_back(What::End);
        else if (o == "split") order.push_back(What::Split);
        else if (o == "tokenExtents") order.push_back(What::TokenExtents);
        else fail("Calyx:regexpOption", "regexp does not know the option '%s'.", o.c_str());
    }
    // Without selections the outputs come in their usual order.
    std::vector<What> const usual{What::Start, What::End, What::TokenExtents, What::Match, What::Tokens, What::Names, What::Split};
    for (What w : usual)
        if (std::find(order.begin(), order.end(), w) == order.end()) order.push_back(w);
    Compiled c = compile(pattern, icase);
    size_t nout = size_t(std::max(1, nargout));
    if (nout > order.size()) fail("Calyx:tooManyOutputs", "regexp gives at most %zu outputs.", order.size());
    vxArray const* subject = in[0];
    if (subject->class_id() == vxCELL_CLASS) {
        // One result cell per text, each output of the same shape.
        for (size_t o = 0; o < nout; ++o) {
            ArrayPtr cell(vxCreateCellArray(subject->get_number_of_dimensions(), subject->get_dimensions()));
            for (size_t k = 0; k < subject->number_of_elements(); ++k) {
                vxArray* e = vxGetCell(subject, k);
                std::string s = e ? textArg(e, "regexp") : "";
                vxSetCell(cell.get(), k, resultFor(order[o], matchAll(c, s, once), s, c, once).release());
            }
            out.push_back(std::move(cell));
        }
        return;
    }
    std::string s = textArg(subject, "regexp");
    std::vector<Match> ms = matchAll(c, s, once);
    for (size_t o = 0; o < nout; ++o) out.push_back(resultFor(order[o], ms, s, c, once));
}

// The replacement of one match: $0..$9 and $<name>... as tokens, escapes as
// the characters they stand for.
std::string expand(std::string const& rep, Match const& m, std::string const& s) {
    std::string r;
    for (size_t i = 0; i < rep.size(); ++i) {
        char ch = rep[i];
        if (ch == '$' && i + 1 < rep.size() && std::isdigit((unsigned char)rep[i + 1])) {
            size_t k = size_t(rep[++i] - '0');
            if (k == 0) r += s.substr(m.start, m.length);
            else if (k <= m.tokens.size() && m.tokens[k - 1].second != std::string::npos)
                r += s.substr(m.tokens[k - 1].first, m.tokens[k - 1].second);
        } else if (ch == '\\' && i + 1 < rep.size()) {
            char e = rep[++i];
            switch (e) {
            case 'n': r += '\n'; break;
            case 't': r += '\t'; break;
            case 'r': r += '\r'; break;
            default: r += e;
            }
        } else r += ch;
    }
    return r;
}

std::string replaceText(Compiled const& c, std::string const& s, std::string const& rep, bool once) {
    std::vector<Match> ms = matchAll(c, s, once);
    std::string r;
    size_t at = 0;
    for (auto const& m : ms) {
        r += s.substr(at, m.start - at) + expand(rep, m, s);
        at = m.start + m.length;
    }
    return r + s.substr(std::min(at, s.size()));
}

void fnRegexprep(int, Out& out, In const& in) {
    std::string pattern = textArg(in[1], "regexprep"), rep = textArg(in[2], "regexprep");
    bool once = false, icase = false;
    for (size_t k = 3; k < in.size(); ++k) {
        std::string o = textArg(in[k], "regexprep");
        if (o == "once") once = true;
        else if (o == "ignorecase") icase = true;
        else if (o != "matchcase") fail("Calyx:regexpOption", "regexprep does not know the option '%s'.", o.c_str());
    }
    Compiled c = compile(pattern, icase);
    vxArray const* subject = in[0];
    if (subject->class_id() == vxCELL_CLASS) {
        ArrayPtr cell(vxCreateCellArray(subject->get_number_of_dimensions(), subject->get_dimensions()));
        for (size_t k = 0; k < subject->number_of_elements(); ++k) {
            vxArray* e = vxGetCell(subject, k);
            vxSetCell(cell.get(), k, makeString(replaceText(c, e ? textArg(e, "regexprep") : "", rep, once)).release());
        }
        out.push_back(std::move(cell));
        return;
    }
    out.push_back(makeString(replaceText(c, textArg(subject, "regexprep"), rep, once)));
}

} // namespace

void addRegexp(Table& t) {
    t.insert(t.end(), {
        {"regexp", fnRegexp, 2, -1, 7},
        {"regexprep", fnRegexprep, 3, -1, 1},
    });
}

}}} // namespace qzlang::kernels::detail
