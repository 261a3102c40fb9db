// Text functions: sprintf, num2str, int2str, mat2str, strcat, strsplit,
// strjoin, strrep, strtrim, upper, lower, strcmp, strcmpi, strncmp, strfind,
// blanks, str2double, isspace. Texts are char rows; several texts are cells.
#include "internal.hpp"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace qzlang { namespace kernels { namespace detail {

ArrayPtr cellOfStrings(std::vector<std::string> const& v, bool column) {
    ArrayPtr c(column ? vxCreateCellMatrix(v.size(), 1) : vxCreateCellMatrix(1, v.size()));
    for (size_t k = 0; k < v.size(); ++k) vxSetCell(c.get(), k, makeString(v[k]).release());
    return c;
}

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;

std::string cfmt(char const* spec, double v) {
    char buf[128];
    std::snprintf(buf, sizeof buf, spec, v);
    return buf;
}

std::string special(double v) { return std::isnan(v) ? "NaN" : (v < 0 ? "-Inf" : "Inf"); }

// The rows of a char matrix.
std::vector<std::string> rowsOfText(vxArray const* a) {
    Dims d = dimsOf(a);
    size_t m = d[0], n = countOf(d) / std::max<size_t>(1, m);
    std::vector<std::string> rows(m);
    vxChar const* p = static_cast<vxChar const*>(a->real_data());
    for (size_t i = 0; i < m; ++i)
        for (size_t j = 0; j < n; ++j) rows[i] += p[i + j * m] < 256 ? char(p[i + j * m]) : '?';
    return rows;
}

ArrayPtr charMatrix(std::vector<std::string> const& rows) {
    size_t w = 0;
    for (auto const& r : rows) w = std::max(w, r.size());
    if (rows.size() == 1) return makeString(rows[0]);
    ArrayPtr r = makeArray(vxCHAR_CLASS, {rows.size(), rows.empty() ? 0 : w});
    vxChar* p = static_cast<vxChar*>(r->real_data());
    for (size_t i = 0; i < rows.size(); ++i)
        for (size_t j = 0; j < w; ++j) p[i + j * rows.size()] = j < rows[i].size() ? (unsigned char)rows[i][j] : ' ';
    return r;
}

// Elements formatted one by one, right-aligned in columns of one width at
// least two blanks apart; blank columns common to every row go.
std::string joinColumns(std::vector<std::string> const& cells, size_t m, size_t n) {
    size_t w = 0;
    for (auto const& c : cells) w = std::max(w, c.size());
    std::vector<std::string> rows(m);
    for (size_t i = 0; i < m; ++i)
        for (size_t j = 0; j < n; ++j) {
            std::string const& c = cells[i + j * m];
            rows[i] += std::string(j ? 2 : 0, ' ') + std::string(w - c.size(), ' ') + c;
        }
    size_t common = std::string::npos;
    for (auto const& r : rows) common = std::min(common, r.find_first_not_of(' ') == std::string::npos ? r.size() : r.find_first_not_of(' '));
    std::string s;
    for (size_t i = 0; i < m; ++i) s += (i ? "\n" : "") + rows[i].substr(common == std::string::npos ? 0 : common);
    return s;
}

std::string realText(double v, char const* spec) {
    if (!std::isfinite(v)) return special(v);
    return cfmt(spec, v);
}

} // namespace

// num2str's rows joined by line ends (the caller turns them into a char matrix).
std::string num2str(vxArray const* a) {
    requireArithmetic(a, "num2str");
    Dims d = dimsOf(a);
    size_t m = d[0], n = countOf(d) / std::max<size_t>(1, m);
    size_t count = a->number_of_elements();
    if (count == 0) return "";
    bool whole = true;
    double big = 0;
    bool complex = isComplex(a);
    for (size_t k = 0; k < count; ++k) {
        double re = realAt(a, k), im = imagAt(a, k);
        if ((std::isfinite(re) && re != std::trunc(re)) || (std::isfinite(im) && im != std::trunc(im))) whole = false;
        if (std::isfinite(re)) big = std::max(big, std::fabs(re));
        if (std::isfinite(im)) big = std::max(big, std::fabs(im));
    }
    std::string spec = "%.0f";
    if (!whole) {
        int digits = big > 0 ? int(std::floor(std::log10(big))) + 5 : 5;
        spec = "%." + std::to_string(std::max(5, digits)) + "g";
    }
    std::vector<std::string> cells(count);
    for (size_t k = 0; k < count; ++k) {
        std::string s;
        if (is64Class(a->class_id())) {
            char buf[32];
            if (a->class_id() == vxINT64_CLASS) std::snprintf(buf, sizeof buf, "%lld", (long long)static_cast<int64_t const*>(a->real_data())[k]);
            else std::snprintf(buf, sizeof buf, "%llu", (unsigned long long)static_cast<uint64_t const*>(a->real_data())[k]);
            s = buf;
        } else s = realText(realAt(a, k), spec.c_str());
        if (complex) {
            double im = imagAt(a, k);
            std::string t = realText(std::fabs(im), spec.c_str());
            if (std::isnan(im)) t = "NaN";
            s += (im < 0 || (std::signbit(im) && im == 0) ? "-" : "+") + t + "i";
        }
        cells[k] = s;
    }
    if (count == 1) return cells[0];
    return joinColumns(cells, m, n);
}

namespace {

std::vector<std::string> splitLines(std::string const& s) {
    std::vector<std::string> rows;
    size_t start = 0;
    for (;;) {
        size_t e = s.find('\n', start);
        rows.push_back(s.substr(start, e == std::string::npos ? std::string::npos : e - start));
        if (e == std::string::npos) break;
        start = e + 1;
    }
    return rows;
}

void fnNum2str(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    if (a->class_id() == vxCHAR_CLASS) {
        out.push_back(ArrayPtr(copyArray(a)));
        return;
    }
    requireArithmetic(a, "num2str");
    if (in.size() > 1) {
        // A precision or a format, applied to each row.
        std::string fmt;
        if (in[1]->class_id() == vxCHAR_CLASS) fmt = textOf(in[1], "num2str");
        else {
            size_t p = countArg(in[1], "num2str", "the precision");
            fmt = "%." + std::to_string(p) + "g";
        }
        Dims d = dimsOf(a);
        size_t m = d[0], n = countOf(d) / std::max<size_t>(1, m);
        std::vector<std::string> rows;
        bool given = in[1]->class_id() == vxCHAR_CLASS;
        for (size_t i = 0; i < m; ++i) {
            std::vector<std::string> cells;
            for (size_t j = 0; j < n; ++j) {
                ArrayPtr v = scalarDouble(realAt(a, i + j * m));
                std::vector<vxArray const*> args{v.get()};
                cells.push_back(formatText(fmt, args));
            }
            if (given) {
                std::string r;
                for (auto const& c : cells) r += c;
                rows.push_back(r);
            } else rows.push_back(joinColumns(cells, 1, n));
        }
        out.push_back(charMatrix(rows));
        return;
    }
    out.push_back(charMatrix(splitLines(num2str(a))));
}

void fnInt2str(int, Out& out, In const& in) {
    requireArithmetic(in[0], "int2str");
    std::vector<ArrayPtr> r;
    auto const* round = find("round");
    round->fn(1, r, {in[0]});
    out.push_back(charMatrix(splitLines(num2str(r[0].get()))));
}

std::string matNumber(double v, int precision) {
    if (!std::isfinite(v)) return special(v);
    std::string s = cfmt(("%." + std::to_string(precision) + "g").c_str(), v);
    return s;
}

void fnMat2str(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    int precision = in.size() > 1 ? int(countArg(in[1], "mat2str", "the precision")) : 15;
    Dims d = dimsOf(a);
    if (d.size() > 2) fail("Calyx:mat2strND", "mat2str needs a 2-D matrix.");
    vxClassID c = a->class_id();
    size_t m = d[0], n = d[1];
    std::string s;
    if (c == vxCHAR_CLASS) {
        std::vector<std::string> rows = rowsOfText(a);
        if (m == 1) s = "'" + rows[0] + "'";
        else if (m == 0) s = "''";
        else {
            s = "[";
            for (size_t i = 0; i < m; ++i) s += (i ? ";'" : "'") + rows[i] + "'";
            s += "]";
        }
        out.push_back(makeString(s));
        return;
    }
    requireArithmetic(a, "mat2str");
    if (m * n == 0) {
        out.push_back(makeString("zeros(" + std::to_string(m) + "," + std::to_string(n) + ")"));
        return;
    }
    auto element = [&](size_t k) {
        if (c == vxLOGICAL_CLASS) return std::string(realAt(a, k) != 0 ? "true" : "false");
        std::string t = matNumber(realAt(a, k), precision);
        if (isComplex(a)) {
            double im = imagAt(a, k);
            t += (im < 0 ? "-" : "+") + matNumber(std::fabs(im), precision) + "i";
        }
        return t;
    };
    if (m * n == 1) s = element(0);
    else {
        s = "[";
        for (size_t i = 0; i < m; ++i) {
            if (i) s += ";";
            for (size_t j = 0; j < n; ++j) s += (j ? " " : "") + element(i + j * m);
        }
        s += "]";
    }
    out.push_back(makeString(s));
}

void fnSprintf(int, Out& out, In const& in) {
    std::string fmt = textOf(in[0], "sprintf");
    out.push_back(makeString(formatText(fmt, In(in.begin() + 1, in.end()))));
}

bool isSpaceChar(unsigned c) { return c == ' ' || (c >= 9 && c <= 13); }

std::string trimmed(std::string const& s) {
    size_t b = 0, e = s.size();
    while (b < e && (isSpaceChar((unsigned char)s[b]) || s[b] == 0)) ++b;
    while (e > b && (isSpaceChar((unsigned char)s[e - 1]) || s[e - 1] == 0)) --e;
    return s.substr(b, e - b);
}

// Applies a text-to-text function to a char row or to each text of a cell.
template <class F> ArrayPtr mapText(vxArray const* a, char const* fname, F f) {
    if (a->class_id() == vxCELL_CLASS) {
        ArrayPtr r(copyArray(a));
        for (size_t k = 0; k < a->number_of_elements(); ++k) {
            vxArray* e = vxGetCell(a, k);
            vxSetCell(r.get(), k, makeString(f(e ? textOf(e, fname) : std::string())).release());
        }
        return r;
    }
    if (a->class_id() != vxCHAR_CLASS) fail("Calyx:notText", "%s expects text or a cell of texts.", fname);
    std::vector<std::string> rows = rowsOfText(a);
    if (rows.size() <= 1) return makeString(f(rows.empty() ? std::string() : rows[0]));
    for (auto& r : rows) r = f(r);
    return charMatrix(rows);
}

void fnStrtrim(int, Out& out, In const& in) { out.push_back(mapText(in[0], "strtrim", trimmed)); }
void fnUpper(int, Out& out, In const& in) {
    if (in[0]->class_id() != vxCHAR_CLASS && in[0]->class_id() != vxCELL_CLASS) {
        out.push_back(ArrayPtr(copyArray(in[0])));
        return;
    }
    ArrayPtr r = mapText(in[0], "upper", [](std::string s) {
        for (char& c : s) c = char(std::toupper((unsigned char)c));
        return s;
    });
    if (in[0]->class_id() == vxCHAR_CLASS) vxSetDimensions(r.get(), in[0]->get_number_of_dimensions(), in[0]->get_dimensions());
    out.push_back(std::move(r));
}
void fnLower(int, Out& out, In const& in) {
    if (in[0]->class_id() != vxCHAR_CLASS && in[0]->class_id() != vxCELL_CLASS) {
        out.push_back(ArrayPtr(copyArray(in[0])));
        return;
    }
    ArrayPtr r = mapText(in[0], "lower", [](std::string s) {
        for (char& c : s) c = char(std::tolower((unsigned char)c));
        return s;
    });
    if (in[0]->class_id() == vxCHAR_CLASS) vxSetDimensions(r.get(), in[0]->get_number_of_dimensions(), in[0]->get_dimensions());
    out.push_back(std::move(r));
}

std::string replaceAll(std::string const& s, std::string const& from, std::string const& to) {
    if (from.empty()) return s;
    std::string r;
    size_t pos = 0;
    for (;;) {
        size_t f = s.find(from, pos);
        if (f == std::string::npos) break;
        r += s.substr(pos, f - pos) + to;
        pos = f + from.size();
    }
    return r + s.substr(pos);
}

void fnStrrep(int, Out& out, In const& in) {
    std::string from = textOf(in[1], "strrep"), to = textOf(in[2], "strrep");
    out.push_back(mapText(in[0], "strrep", [&](std::string const& s) { return replaceAll(s, from, to); }));
}

void fnStrcat(int, Out& out, In const& in) {
    bool anyCell = false;
    size_t count = 1;
    for (auto a : in)
        if (a->class_id() == vxCELL_CLASS) {
            anyCell = true;
            if (a->number_of_elements() != 1) {
                if (count != 1 && count != a->number_of_elements()) fail("Calyx:strcatSizes", "strcat needs cells of the same size.");
                count = a->number_of_elements();
            }
        }
    if (!anyCell) {
        // Trailing blanks of char arguments go; the texts are joined.
        std::string s;
        for (auto a : in) {
            std::string t = textOf(a, "strcat");
            size_t e = t.size();
            while (e > 0 && isSpaceChar((unsigned char)t[e - 1])) --e;
            s += t.substr(0, e);
        }
        out.push_back(makeString(s));
        return;
    }
    std::vector<std::string> r(count);
    vxArray const* shape = nullptr;
    for (auto a : in) {
        if (a->class_id() == vxCELL_CLASS) {
            if (!shape || a->number_of_elements() > 1) shape = a;
            for (size_t k = 0; k < count; ++k) {
                vxArray* e = vxGetCell(a, a->number_of_elements() == 1 ? 0 : k);
                r[k] += e ? textOf(e, "strcat") : "";
            }
        } else {
            std::string t = textOf(a, "strcat");
            for (auto& s : r) s += t;
        }
    }
    ArrayPtr c(vxCreateCellArray(shape->get_number_of_dimensions(), shape->get_dimensions()));
    if (c->number_of_elements() != count) c.reset(vxCreateCellMatrix(1, count));
    for (size_t k = 0; k < count; ++k) vxSetCell(c.get(), k, makeString(r[k]).release());
    out.push_back(std::move(c));
}

std::string unescape(std::string const& s) {
    std::string r;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 1 < s.size()) {
            char e = s[++i];
            r += e == 'n' ? '\n' : e == 't' ? '\t' : e == 'r' ? '\r' : e == '\\' ? '\\' : e == 'f' ? '\f' : e == 'v' ? '\v' : e;
        } else r += s[i];
    }
    return r;
}

void fnStrsplit(int, Out& out, In const& in) {
    std::string s = textOf(in[0], "strsplit");
    std::vector<std::string> delims;
    bool collapse = true;
    size_t k = 1;
    if (in.size() > 1 && !(in.size() > 2 && in.size() % 2 == 1 && in[1]->class_id() == vxCHAR_CLASS &&
                           textOf(in[1], "strsplit") == "CollapseDelimiters")) {
        if (in[1]->class_id() == vxCELL_CLASS)
            for (size_t j = 0; j < in[1]->number_of_elements(); ++j) {
                vxArray* e = vxGetCell(in[1], j);
                delims.push_back(unescape(e ? textOf(e, "strsplit") : ""));
            }
        else delims.push_back(unescape(textOf(in[1], "strsplit")));
        k = 2;
    }
    for (; k + 1 < in.size(); k += 2) {
        std::string opt = textOf(in[k], "strsplit");
        if (opt != "CollapseDelimiters") fail("Calyx:strsplitOption", "strsplit does not know the option '%s'.", opt.c_str());
        collapse = isTrue(in[k + 1]);
    }
    if (k < in.size()) fail("Calyx:strsplitOption", "strsplit options come in name-value pairs.");
    if (delims.empty()) delims = {" ", "\f", "\n", "\r", "\t", "\v"};
    for (auto const& d : delims)
        if (d.empty()) fail("Calyx:strsplitDelimiter", "strsplit needs delimiters that are not empty.");
    std::vector<std::string> parts;
    std::string cur;
    bool lastWasDelim = false;
    for (size_t i = 0; i < s.size();) {
        size_t best = 0;
        for (auto const& d : delims)
            if (s.compare(i, d.size(), d) == 0) best = std::max(best, d.size());
        if (best) {
            if (!(collapse && lastWasDelim)) parts.push_back(cur);
            cur.clear();
            i += best;
            lastWasDelim = true;
        } else {
            cur += s[i++];
            lastWasDelim = false;
        }
    }
    parts.push_back(cur);
    out.push_back(cellOfStrings(parts));
}

void fnStrjoin(int, Out& out, In const& in) {
    if (in[0]->class_id() != vxCELL_CLASS) fail("Calyx:notCell", "strjoin needs a cell of texts.");
    std::string d = in.size() > 1 ? unescape(textOf(in[1], "strjoin")) : " ";
    std::string s;
    for (size_t k = 0; k < in[0]->number_of_elements(); ++k) {
        vxArray* e = vxGetCell(in[0], k);
        s += (k ? d : "") + (e ? textOf(e, "strjoin") : "");
    }
    out.push_back(makeString(s));
}

// The text of a value for comparison, or false when it is not text.
bool asText(vxArray const* a, std::string& s) {
    if (!a || a->class_id() != vxCHAR_CLASS) return false;
    Dims d = dimsOf(a);
    if (d.size() > 2 || (d[0] > 1)) {
        s = std::string("\x01") + sizeText(d);  // char matrices compare whole
        std::string body;
        vxChar const* p = static_cast<vxChar const*>(a->real_data());
        for (size_t k = 0; k < a->number_of_elements(); ++k) body += char(p[k] & 0xff);
        s += body;
        return true;
    }
    s = textOf(a, "strcmp");
    return true;
}

enum class Cmp { Exact, NoCase, Prefix };

bool textsEqual(vxArray const* a, vxArray const* b, Cmp how, size_t n) {
    std::string x, y;
    if (!asText(a, x) || !asText(b, y)) return false;
    if (how == Cmp::NoCase) {
        for (char& c : x) c = char(std::tolower((unsigned char)c));
        for (char& c : y) c = char(std::tolower((unsigned char)c));
    }
    if (how == Cmp::Prefix) {
        if (x.size() < n || y.size() < n) return false;
        return x.compare(0, n, y, 0, n) == 0;
    }
    return x == y;
}

template <Cmp How> void fnStrcmp(int, Out& out, In const& in) {
    size_t n = 0;
    if (How == Cmp::Prefix) n = countArg(in[2], "strncmp", "the count");
    vxArray const *a = in[0], *b = in[1];
    bool ca = a->class_id() == vxCELL_CLASS, cb = b->class_id() == vxCELL_CLASS;
    if (!ca && !cb) {
        out.push_back(scalarLogical(textsEqual(a, b, How, n)));
        return;
    }
    if (ca && cb && a->number_of_elements() != 1 && b->number_of_elements() != 1 && dimsOf(a) != dimsOf(b))
        fail("Calyx:strcmpSizes", "Cells compared must be the same size, or one of them a single text.");
    vxArray const* shape = (ca && (!cb || a->number_of_elements() != 1)) ? a : b;
    ArrayPtr r = makeArray(vxLOGICAL_CLASS, dimsOf(shape));
    bool* z = static_cast<bool*>(r->real_data());
    for (size_t k = 0; k < shape->number_of_elements(); ++k) {
        vxArray const* x = ca ? vxGetCell(a, a->number_of_elements() == 1 ? 0 : k) : a;
        vxArray const* y = cb ? vxGetCell(b, b->number_of_elements() == 1 ? 0 : k) : b;
        ArrayPtr e0, e1;
        if (!x) e0 = makeString(""), x = e0.get();
        if (!y) e1 = makeString(""), y = e1.get();
        z[k] = textsEqual(x, y, How, n);
    }
    out.push_back(std::move(r));
}

ArrayPtr findIn(std::string const& s, std::string const& p) {
    std::vector<double> at;
    if (!p.empty())
        for (size_t k = s.find(p); k != std::string::npos; k = s.find(p, k + 1)) at.push_back(double(k + 1));
    if (at.empty()) return makeDouble({0, 0});
    return fromDoubles(vxDOUBLE_CLASS, {1, at.size()}, at, nullptr);
}

void fnStrfind(int, Out& out, In const& in) {
    std::string p = textOf(in[1], "strfind");
    vxArray const* a = in[0];
    if (a->class_id() == vxCELL_CLASS) {
        ArrayPtr r(vxCreateCellArray(a->get_number_of_dimensions(), a->get_dimensions()));
        for (size_t k = 0; k < a->number_of_elements(); ++k) {
            vxArray* e = vxGetCell(a, k);
            vxSetCell(r.get(), k, findIn(e ? textOf(e, "strfind") : "", p).release());
        }
        out.push_back(std::move(r));
        return;
    }
    out.push_back(findIn(textOf(a, "strfind"), p));
}

void fnBlanks(int, Out& out, In const& in) {
    size_t n = countArg(in[0], "blanks", "the count");
    ArrayPtr r = makeArray(vxCHAR_CLASS, {1, n});
    std::fill_n(static_cast<vxChar*>(r->real_data()), n, vxChar(' '));
    out.push_back(std::move(r));
}

// A number written as text: a real, an imaginary part or both, Inf and NaN;
// NaN for anything else.
bool parseReal(std::string const& s, size_t& i, double& v) {
    size_t start = i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    std::string rest = s.substr(i);
    double sign = (start < s.size() && s[start] == '-') ? -1 : 1;
    auto word = [&](char const* w) {
        size_t n = std::strlen(w);
        if (s.size() - i >= n && strncasecmp(s.c_str() + i, w, n) == 0) {
            i += n;
            return true;
        }
        return false;
    };
    if (word("inf")) {
        v = sign * INFINITY;
        return true;
    }
    if (word("nan")) {
        v = NAN;
        return true;
    }
    size_t digits = 0, j = i;
    while (j < s.size() && std::isdigit((unsigned char)s[j])) ++j, ++digits;
    if (j < s.size() && s[j] == '.') {
        ++j;
        while (j < s.size() && std::isdigit((unsigned char)s[j])) ++j, ++digits;
    }
    if (digits == 0) {
        i = start;
        return false;
    }
    if (j < s.size() && (s[j] == 'e' || s[j] == 'E' || s[j] == 'd' || s[j] == 'D')) {
        size_t k = j + 1;
        if (k < s.size() && (s[k] == '+' || s[k] == '-')) ++k;
        if (k < s.size() && std::isdigit((unsigned char)s[k])) {
            while (k < s.size() && std::isdigit((unsigned char)s[k])) ++k;
            j = k;
        }
    }
    std::string num = s.substr(i, j - i);
    for (char& c : num)
        if (c == 'd' || c == 'D') c = 'e';
    v = sign * std::strtod(num.c_str(), nullptr);
    i = j;
    return true;
}

void parseNumber(std::string text, double& re, double& im) {
    std::string s;
    for (char c : trimmed(text))
        if (c != ',') s += c;  // thousands separators
    re = NAN, im = 0;
    size_t i = 0;
    double a;
    if (!parseReal(s, i, a)) {
        // A bare imaginary unit, as in "i" or "-i".
        size_t j = 0;
        double sg = 1;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) sg = s[j] == '-' ? -1 : 1, ++j;
        if (j + 1 == s.size() && (s[j] == 'i' || s[j] == 'j')) re = 0, im = sg;
        return;
    }
    if (i == s.size()) {
        re = a;
        return;
    }
    if ((s[i] == 'i' || s[i] == 'j') && i + 1 == s.size()) {
        re = 0, im = a;
        return;
    }
    double b;
    size_t k = i;
    if (k < s.size() && (s[k] == '+' || s[k] == '-')) {
        if (parseReal(s, k, b) && k + 1 == s.size() && (s[k] == 'i' || s[k] == 'j')) {
            re = a, im = b;
            return;
        }
        if (i + 2 == s.size() && (s[i + 1] == 'i' || s[i + 1] == 'j')) {
            re = a, im = s[i] == '-' ? -1 : 1;
            return;
        }
    }
    re = NAN, im = 0;
}

void fnStr2double(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    if (a->class_id() == vxCELL_CLASS) {
        size_t n = a->number_of_elements();
        std::vector<double> re(n), im(n);
        for (size_t k = 0; k < n; ++k) {
            vxArray* e = vxGetCell(a, k);
            re[k] = NAN, im[k] = 0;
            if (e && e->class_id() == vxCHAR_CLASS && dimsOf(e)[0] <= 1) parseNumber(textOf(e, "str2double"), re[k], im[k]);
        }
        out.push_back(fromDoubles(vxDOUBLE_CLASS, dimsOf(a), re, &im));
        return;
    }
    double re = NAN, im = 0;
    if (a->class_id() == vxCHAR_CLASS && dimsOf(a)[0] <= 1) parseNumber(textOf(a, "str2double"), re, im);
    std::vector<double> r{re}, i{im};
    out.push_back(fromDoubles(vxDOUBLE_CLASS, {1, 1}, r, &i));
}

void fnIsspace(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    ArrayPtr r = makeArray(vxLOGICAL_CLASS, dimsOf(a));
    if (a->class_id() == vxCHAR_CLASS) {
        vxChar const* p = static_cast<vxChar const*>(a->real_data());
        bool* z = static_cast<bool*>(r->real_data());
        for (size_t k = 0; k < a->number_of_elements(); ++k) z[k] = isSpaceChar(p[k]);
    }
    out.push_back(std::move(r));
}

} // namespace

void addText(Table& t) {
    t.insert(t.end(), {
        {"num2str", fnNum2str, 1, 2, 1},    {"int2str", fnInt2str, 1, 1, 1},  {"mat2str", fnMat2str, 1, 2, 1},
        {"sprintf", fnSprintf, 1, -1, 1},   {"strcat", fnStrcat, 1, -1, 1},   {"strsplit", fnStrsplit, 1, -1, 1},
        {"strjoin", fnStrjoin, 1, 2, 1},    {"strrep", fnStrrep, 3, 3, 1},    {"strtrim", fnStrtrim, 1, 1, 1},
        {"upper", fnUpper, 1, 1, 1},        {"lower", fnLower, 1, 1, 1},      {"strcmp", fnStrcmp<Cmp::Exact>, 2, 2, 1},
        {"strcmpi", fnStrcmp<Cmp::NoCase>, 2, 2, 1}, {"strncmp", fnStrcmp<Cmp::Prefix>, 3, 3, 1},
        {"strfind", fnStrfind, 2, 2, 1},    {"blanks", fnBlanks, 1, 1, 1},    {"str2double", fnStr2double, 1, 1, 1},
        {"isspace", fnIsspace, 1, 1, 1},
    });
}

}}} // namespace qzlang::kernels::detail
