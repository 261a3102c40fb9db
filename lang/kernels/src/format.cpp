// The formatted-text engine of sprintf and fprintf: escapes in the format,
// conversions with flags, width, precision and '*', and the format applied
// again and again while arguments remain.
#include "internal.hpp"

#include <cctype>
#include <cstdio>

namespace qzlang { namespace kernels {
using namespace detail;

namespace {

std::string applyEscapes(std::string const& f) {
    std::string s;
    for (size_t i = 0; i < f.size(); ++i) {
        char c = f[i];
        if (c != '\\' || i + 1 == f.size()) {
            s += c;
            continue;
        }
        char e = f[++i];
        switch (e) {
        case 'n': s += '\n'; break;
        case 't': s += '\t'; break;
        case '\\': s += '\\'; break;
        case 'r': s += '\r'; break;
        case 'a': s += '\a'; break;
        case 'b': s += '\b'; break;
        case 'f': s += '\f'; break;
        case 'v': s += '\v'; break;
        case 'x': {
            unsigned v = 0;
            size_t n = 0;
            while (n < 2 && i + 1 < f.size() && std::isxdigit((unsigned char)f[i + 1])) {
                char h = f[++i];
                v = v * 16 + unsigned(std::isdigit((unsigned char)h) ? h - '0' : (std::tolower(h) - 'a' + 10));
                ++n;
            }
            if (n == 0) s += "\\x";
            else s += char(v);
            break;
        }
        default:
            if (e >= '0' && e <= '7') {
                unsigned v = unsigned(e - '0');
                for (int n = 1; n < 3 && i + 1 < f.size() && f[i + 1] >= '0' && f[i + 1] <= '7'; ++n) v = v * 8 + unsigned(f[++i] - '0');
                s += char(v & 0xff);
            } else {
                // An unknown escape stands for itself, backslash included.
                s += '\\';
                s += e;
            }
        }
    }
    return s;
}

struct Piece {
    std::string literal;  // text before the conversion
    bool conversion = false;
    std::string flags;
    int width = -1, precision = -1;  // -1 none, -2 '*'
    char type = 0;
};

std::vector<Piece> parse(std::string const& f) {
    std::vector<Piece> pieces;
    Piece cur;
    for (size_t i = 0; i < f.size(); ++i) {
        if (f[i] != '%') {
            cur.literal += f[i];
            continue;
        }
        if (i + 1 < f.size() && f[i + 1] == '%') {
            cur.literal += '%';
            ++i;
            continue;
        }
        size_t j = i + 1;
        Piece p;
        while (j < f.size() && std::strchr("-+ 0#", f[j])) p.flags += f[j++];
        if (j < f.size() && f[j] == '*') p.width = -2, ++j;
        else if (j < f.size() && std::isdigit((unsigned char)f[j])) {
            p.width = 0;
            while (j < f.size() && std::isdigit((unsigned char)f[j])) p.width = p.width * 10 + (f[j++] - '0');
        }
        if (j < f.size() && f[j] == '.') {
            ++j;
            if (j < f.size() && f[j] == '*') p.precision = -2, ++j;
            else {
                p.precision = 0;
                while (j < f.size() && std::isdigit((unsigned char)f[j])) p.precision = p.precision * 10 + (f[j++] - '0');
            }
        }
        // Length modifiers of C are accepted and ignored.
        while (j < f.size() && std::strchr("lhLqjzt", f[j])) ++j;
        if (j < f.size() && std::strchr("diuoxXfFeEgGcs", f[j])) {
            p.type = f[j];
            p.conversion = true;
            p.literal = cur.literal;
            pieces.push_back(p);
            cur = Piece();
            i = j;
        } else {
            // Not a conversion: the text stands as written.
            cur.literal += f.substr(i, j - i);
            i = j - 1;
        }
    }
    if (!cur.literal.empty()) pieces.push_back(cur);
    return pieces;
}

// The arguments as a stream: numbers one element at a time, text whole for
// %s and one character at a time for the other conversions.
class Args {
public:
    explicit Args(std::vector<vxArray const*> const& args) {
        for (auto a : args) {
            vxClassID c = a->class_id();
            if (!isArithmetic(c))
                fail("Calyx:sprintfArgument", "Formatted text takes numbers, text or logical values, not values of class %s.", vxGetClassName(a));
            if (isComplex(a)) {
                // Complex arguments give their real parts only.
            }
            if (a->number_of_elements()) args_.push_back(a);
        }
    }
    bool empty() const { return arg_ >= args_.size(); }
    bool anyGiven() const { return !args_.empty(); }
    bool nextIsText() const { return !empty() && args_[arg_]->class_id() == vxCHAR_CLASS; }
    long double number() {
        vxArray const* a = args_[arg_];
        long double v;
        if (a->class_id() == vxINT64_CLASS) v = (long double)static_cast<int64_t const*>(a->real_data())[elem_];
        else if (a->class_id() == vxUINT64_CLASS) v = (long double)static_cast<uint64_t const*>(a->real_data())[elem_];
        else v = realAt(a, elem_);
        advance(1);
        return v;
    }
    std::string text() {
        vxArray const* a = args_[arg_];
        std::string s;
        vxChar const* p = static_cast<vxChar const*>(a->real_data());
        for (size_t k = elem_; k < a->number_of_elements(); ++k) s += p[k] < 256 ? char(p[k]) : '?';
        advance(a->number_of_elements() - elem_);
        return s;
    }
    size_t consumed() const { return taken_; }

private:
    void advance(size_t n) {
        elem_ += n;
        taken_ += n;
        if (elem_ >= args_[arg_]->number_of_elements()) ++arg_, elem_ = 0;
    }
    std::vector<vxArray const*> args_;
    size_t arg_ = 0, elem_ = 0, taken_ = 0;
};

std::string cformat(std::string const& spec, long double v) {
    char buf[512];
    int n = std::snprintf(buf, sizeof buf, spec.c_str(), v);
    if (n < 0) return std::string();
    if (size_t(n) < sizeof buf) return std::string(buf, size_t(n));
    std::vector<char> big(size_t(n) + 1);
    std::snprintf(big.data(), big.size(), spec.c_str(), v);
    return std::string(big.data(), size_t(n));
}

std::string specOf(std::string const& flags, int width, int precision, char const* type) {
    std::string s = "%" + flags;
    if (width >= 0) s += std::to_string(width);
    if (precision >= 0) s += "." + std::to_string(precision);
    return s + type;
}

std::string pad(std::string s, std::string const& flags, int width) {
    if (width > 0 && s.size() < size_t(width)) {
        if (flags.find('-') != std::string::npos) s.append(size_t(width) - s.size(), ' ');
        else s.insert(0, size_t(width) - s.size(), ' ');
    }
    return s;
}

std::string formatNumber(Piece const& p, int width, int precision, long double v) {
    std::string flags = p.flags;
    if (std::isnan(v) || std::isinf(v)) {
        std::string t = std::isnan(v) ? "NaN" : (v < 0 ? "-Inf" : "Inf");
        if (!std::isnan(v) && v > 0 && flags.find('+') != std::string::npos) t = "+Inf";
        return pad(t, flags, width);
    }
    bool whole = v == truncl(v);
    char t = p.type;
    switch (t) {
    case 'd':
    case 'i':
    case 'u':
        if (whole) {
            std::string f;
            for (char c : flags)
                if (c != '#') f += c;
            return cformat(specOf(f, width, -1, ".0Lf"), v);
        }
        return cformat(specOf(flags, width, precision, "Le"), v);
    case 'x':
    case 'X':
    case 'o':
        if (whole && v >= 0 && v <= 18446744073709551615.0L) {
            char buf[128];
            std::string spec = specOf(flags, width, precision, t == 'o' ? "llo" : (t == 'x' ? "llx" : "llX"));
            std::snprintf(buf, sizeof buf, spec.c_str(), (unsigned long long)v);
            return buf;
        }
        return cformat(specOf(flags, width, precision, "Le"), v);
    case 'c':
        if (whole && v >= 0 && v < 65536) return pad(std::string(1, char((unsigned)v & 0xff)), flags, width);
        return cformat(specOf(flags, width, precision, "Le"), v);
    case 's':
        if (whole && v >= 0 && v < 65536) {
            std::string s(1, char((unsigned)v & 0xff));
            return pad(s, flags, width);
        }
        return cformat(specOf(flags, width, precision, "Le"), v);
    default: {
        char type[3] = {'L', t, 0};
        return cformat(specOf(flags, width, precision, type), v);
    }
    }
}

} // namespace

std::string formatText(std::string const& format, std::vector<vxArray const*> const& argv) {
    std::vector<Piece> pieces = parse(applyEscapes(format));
    Args args(argv);
    std::string out;
    if (!args.anyGiven()) {
        // Once, with every conversion writing nothing.
        for (auto const& p : pieces) out += p.literal;
        return out;
    }
    for (;;) {
        size_t before = args.consumed();
        for (auto const& p : pieces) {
            if (!p.conversion) {
                out += p.literal;
                continue;
            }
            // Out of arguments: the text before the conversion, then stop.
            out += p.literal;
            if (args.empty()) return out;
            int width = p.width, precision = p.precision;
            if (width == -2) {
                if (args.empty()) return out;
                long double w = args.number();
                width = w < 0 ? -1 : int(w);
            }
            if (precision == -2) {
                if (args.empty()) return out;
                long double w = args.number();
                precision = w < 0 ? -1 : int(w);
            }
            if (args.empty()) return out;
            if (p.type == 's' && args.nextIsText()) {
                std::string s = args.text();
                if (precision >= 0 && s.size() > size_t(precision)) s.resize(size_t(precision));
                out += pad(s, p.flags, width);
            } else {
                out += formatNumber(p, width, precision, args.number());
            }
        }
        // A format without conversions is written once.
        if (args.empty() || args.consumed() == before) break;
    }
    return out;
}

}} // namespace qzlang::kernels
