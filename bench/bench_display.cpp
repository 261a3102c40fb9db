// ioPrintArray of a 1000-by-1000 matrix (format short, loose spacing, a
// window of 80 columns) through CXOut, the active proxy and a PutsFnSink
// whose function counts bytes, against a bare loop that formats each element
// with snprintf and fwrites the same bytes to /dev/null. Paging, log and
// diary are off, as in a batch run. Also measures the heap the display
// holds at its peak, for arrays of several sizes: it must not grow with the
// array.
#include "display_support.hpp"
#include "ratio_main.hpp"

#include <malloc.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>

// ---- heap accounting: every allocation of the process passes through here ----

extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void __libc_free(void*);

namespace {
std::atomic<long long> gLive{0};
std::atomic<long long> gPeak{0};

void noteAllocated(void* p) {
    if (p == nullptr) return;
    long long const now = gLive.fetch_add(static_cast<long long>(malloc_usable_size(p))) +
                          static_cast<long long>(malloc_usable_size(p));
    long long peak = gPeak.load();
    while (now > peak && !gPeak.compare_exchange_weak(peak, now)) {
    }
}
void noteFreed(void* p) {
    if (p != nullptr) gLive.fetch_sub(static_cast<long long>(malloc_usable_size(p)));
}
} // namespace

extern "C" void* malloc(size_t n) {
    void* p = __libc_malloc(n);
    noteAllocated(p);
    return p;
}
extern "C" void* calloc(size_t n, size_t m) {
    void* p = __libc_calloc(n, m);
    noteAllocated(p);
    return p;
}
extern "C" void* realloc(void* old, size_t n) {
    noteFreed(old);
    void* p = __libc_realloc(old, n);
    noteAllocated(p != nullptr ? p : (n != 0 ? old : nullptr));
    return p;
}
extern "C" void free(void* p) {
    noteFreed(p);
    __libc_free(p);
}

namespace {

using qzbench::ArrayPtr;
using qzbench::countedBytes;
using qzbench::CountingCommandWindow;
using qzbench::DisplaySettings;

size_t const kN = 1000;

// Uniform (0, 1): no exact zero, so every element takes the "%10.4f" road.
ArrayPtr uniformMatrix(size_t n, vxComplexity complexity) {
    ArrayPtr a(vxCreateDoubleMatrix(n, n, complexity));
    std::mt19937_64 rng(12345);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    auto draw = [&] {
        double v;
        do v = u(rng);
        while (v == 0.0);
        return v;
    };
    for (size_t i = 0; i < n * n; ++i) vxGetPr(a.get())[i] = draw();
    if (complexity == vxCOMPLEX)
        for (size_t i = 0; i < n * n; ++i) vxGetPi(a.get())[i] = draw();
    return a;
}

// int32 values up to 1e6 in magnitude: " %11d" fields.
ArrayPtr int32Matrix(size_t n) {
    ArrayPtr a(vxCreateNumericMatrix(n, n, vxINT32_CLASS, vxREAL));
    std::mt19937 rng(777);
    std::uniform_int_distribution<int32_t> u(-1000000, 1000000);
    auto* data = static_cast<int32_t*>(vxGetData(a.get()));
    for (size_t i = 0; i < n * n; ++i) data[i] = u(rng);
    return a;
}

ArrayPtr const& doubleA() {
    static ArrayPtr a = uniformMatrix(kN, vxREAL);
    return a;
}
ArrayPtr const& complexA() {
    static ArrayPtr a = uniformMatrix(kN, vxCOMPLEX);
    return a;
}
ArrayPtr const& int32A() {
    static ArrayPtr a = int32Matrix(kN);
    return a;
}

// The bytes the display writes, counted once per matrix so the baseline can
// be checked against them.
size_t displayBytes(vxArray const* a) {
    CountingCommandWindow window;
    countedBytes = 0;
    ioPrintArray("A", a);
    services::io::CXStream::CXOut.flush();
    return countedBytes;
}

template <ArrayPtr const& (*Matrix)()>
void DisplayThroughProxy(benchmark::State& state) {
    DisplaySettings settings;
    vxArray const* a = Matrix().get();
    CountingCommandWindow window;
    for (auto _ : state) {
        countedBytes = 0;
        ioPrintArray("A", a);
        services::io::CXStream::CXOut.flush();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * countedBytes));
}

// The baseline writes the display's text with one snprintf an element and
// plain fwrites: the heading, page headings, row ends and blank lines.
template <class Element>
size_t bareLoop(FILE* out, size_t rows, size_t columns, size_t perPage, Element element) {
    char buf[64];
    size_t bytes = 0;
    auto put = [&](char const* s, size_t n) {
        std::fwrite(s, 1, n, out);
        bytes += n;
    };
    put("\nA =\n\n", 6);
    for (size_t first = 0; first < columns; first += perPage) {
        size_t const stop = first + perPage < columns ? first + perPage : columns;
        int n = qzbench::pageHeading(buf, sizeof buf, first, stop);
        put(buf, static_cast<size_t>(n));
        for (size_t r = 0; r < rows; ++r) {
            for (size_t c = first; c < stop; ++c) {
                n = element(buf, sizeof buf, r + c * rows);
                put(buf, static_cast<size_t>(n));
            }
            put("\n", 1);
        }
        put("\n", 1);
    }
    return bytes;
}

size_t bareDouble(FILE* out) {
    double const* pr = vxGetPr(doubleA().get());
    return bareLoop(out, kN, kN, 7, [pr](char* buf, size_t size, size_t i) {
        return std::snprintf(buf, size, "%10.4f", pr[i]);
    });
}

size_t bareInt32(FILE* out) {
    auto const* data = static_cast<int32_t const*>(vxGetData(int32A().get()));
    return bareLoop(out, kN, kN, 6, [data](char* buf, size_t size, size_t i) {
        return std::snprintf(buf, size, " %11d", data[i]);
    });
}

size_t bareComplex(FILE* out) {
    double const* pr = vxGetPr(complexA().get());
    double const* pi = vxGetPi(complexA().get());
    return bareLoop(out, kN, kN, 4, [pr, pi](char* buf, size_t size, size_t i) {
        return std::snprintf(buf, size, "%9.4f %c%7.4fi", pr[i], pi[i] < 0 ? '-' : '+', std::fabs(pi[i]));
    });
}

template <size_t (*Bare)(FILE*), ArrayPtr const& (*Matrix)()>
void BareSnprintfLoop(benchmark::State& state) {
    DisplaySettings settings;
    size_t const expected = displayBytes(Matrix().get());
    FILE* out = std::fopen("/dev/null", "w");
    size_t bytes = 0;
    for (auto _ : state) bytes = Bare(out);
    std::fclose(out);
    if (bytes != expected) state.SkipWithError("the baseline does not write the display's bytes");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

BENCHMARK_TEMPLATE(DisplayThroughProxy, doubleA)->Name("DisplayDouble")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BareSnprintfLoop, bareDouble, doubleA)->Name("BareDouble")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(DisplayThroughProxy, int32A)->Name("DisplayInt32")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BareSnprintfLoop, bareInt32, int32A)->Name("BareInt32")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(DisplayThroughProxy, complexA)->Name("DisplayComplex")->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BareSnprintfLoop, bareComplex, complexA)->Name("BareComplex")->Unit(benchmark::kMillisecond);

// The heap held at the peak of one display, above what was held before it.
void reportPeakMemory() {
    using namespace services::io;
    {
        // The accounting must see what the process allocates, or a zero below means nothing.
        long long const before = gLive.load();
        std::unique_ptr<char[]> block(new char[1 << 20]);
        benchmark::DoNotOptimize(block.get());
        std::printf("heap accounting sees a 1 MiB block: %s\n", gLive.load() - before >= (1 << 20) ? "yes" : "no");
    }
    DisplaySettings settings;
    CountingCommandWindow window;
    ioPrintArray("W", uniformMatrix(2, vxREAL).get());  // warm up the pipeline's own first-use state
    for (size_t n : {10, 100, 1000, 2000}) {
        ArrayPtr a = uniformMatrix(n, vxREAL);
        long long const before = gLive.load();
        gPeak.store(before);
        ioPrintArray("A", a.get());
        CXStream::CXOut.flush();
        std::printf("peak heap above the start during the display of a %zux%zu double: %lld bytes\n", n, n,
                    gPeak.load() - before);
    }
}

} // namespace

int main(int argc, char** argv) {
    reportPeakMemory();
    return qzbench::runWithRatios(argc, argv,
                                  {{"DisplayDouble", "BareDouble"},
                                   {"DisplayInt32", "BareInt32"},
                                   {"DisplayComplex", "BareComplex"}});
}
