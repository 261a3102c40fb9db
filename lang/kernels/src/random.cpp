// rand, randn, randi and rng over one Mersenne Twister: repeatable, since
// rng(seed) resets it and a session starts at seed 0.
#include "internal.hpp"

#include <mutex>
#include <random>

namespace qzlang { namespace kernels {
namespace detail {

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;

std::mutex gMutex;
std::mt19937& generator() {
    static std::mt19937 g(0);
    return g;
}

// A uniform double in (0, 1) with 53 random bits; never 0.
double uniform() {
    std::mt19937& g = generator();
    for (;;) {
        uint64_t a = g() >> 5, b = g() >> 6;
        double u = (double(a) * 67108864.0 + double(b)) / 9007199254740992.0;
        if (u > 0) return u;
    }
}

// The polar method: two uniforms give a standard normal.
double normal() {
    for (;;) {
        double x = 2 * uniform() - 1, y = 2 * uniform() - 1, s = x * x + y * y;
        if (s > 0 && s < 1) return x * std::sqrt(-2 * std::log(s) / s);
    }
}

vxClassID floatOption(In const& in, size_t& end, char const* fname) {
    vxClassID cls = vxDOUBLE_CLASS;
    if (end > 0 && in[end - 1]->class_id() == vxCHAR_CLASS) {
        std::string name = textOf(in[end - 1], fname);
        if (name == "single") cls = vxSINGLE_CLASS;
        else if (name != "double") fail("Calyx:invalidClassName", "%s makes double or single values, not '%s'.", fname, name.c_str());
        --end;
    }
    return cls;
}

template <bool Normal> void fnRand(int, Out& out, In const& in) {
    char const* fname = Normal ? "randn" : "rand";
    size_t end = in.size();
    vxClassID cls = floatOption(in, end, fname);
    Dims d = dimsArgs(In(in.begin(), in.begin() + end), 0, fname);
    std::vector<double> v(countOf(d));
    std::lock_guard<std::mutex> lock(gMutex);
    for (double& x : v) x = Normal ? normal() : uniform();
    out.push_back(fromDoubles(cls, d, v, nullptr));
}

void fnRandi(int, Out& out, In const& in) {
    vxArray const* r = in[0];
    requireArithmetic(r, "randi");
    double lo = 1, hi;
    if (r->number_of_elements() == 1) hi = realAt(r, 0);
    else if (r->number_of_elements() == 2) lo = realAt(r, 0), hi = realAt(r, 1);
    else fail("Calyx:randiRange", "randi needs a largest value or a range [lo hi].");
    if (lo != std::floor(lo) || hi != std::floor(hi) || !std::isfinite(lo) || !std::isfinite(hi) || hi < lo)
        fail("Calyx:randiRange", "randi needs whole-number limits with the first no larger than the second.");
    if (hi - lo >= 9007199254740992.0) fail("Calyx:randiRange", "randi: the range is too large.");
    size_t end = in.size();
    vxClassID cls = vxDOUBLE_CLASS;
    In dimsIn(in.begin() + 1, in.begin() + end);
    Dims d = dimsArgs(dimsIn, 0, "randi", &cls);
    double span = hi - lo + 1;
    std::vector<double> v(countOf(d));
    std::lock_guard<std::mutex> lock(gMutex);
    for (double& x : v) x = lo + std::floor(uniform() * span);
    out.push_back(fromDoubles(cls, d, v, nullptr));
}

void fnRng(int, Out&, In const& in) {
    if (in.empty()) return;
    uint32_t seed;
    if (in[0]->class_id() == vxCHAR_CLASS) {
        std::string s = textOf(in[0], "rng");
        if (s != "default") fail("Calyx:rngArgument", "rng takes a seed or 'default', not '%s'.", s.c_str());
        seed = 0;
    } else {
        double v = scalarArg(in[0], "rng", "the seed");
        if (v < 0 || v != std::floor(v) || v > 4294967295.0) fail("Calyx:rngSeed", "rng needs a whole-number seed from 0 to 2^32-1.");
        seed = uint32_t(v);
    }
    seedRandom(seed);
}

} // namespace

void addRandom(Table& t) {
    t.insert(t.end(), {
        {"rand", fnRand<false>, 0, -1, 1}, {"randn", fnRand<true>, 0, -1, 1},
        {"randi", fnRandi, 1, -1, 1},      {"rng", fnRng, 0, 2, 0},
    });
}

} // namespace detail

void seedRandom(std::uint32_t seed) {
    std::lock_guard<std::mutex> lock(detail::gMutex);
    detail::generator().seed(seed);
}

}} // namespace qzlang::kernels
