// ioPrintArray of a 1000-by-10 cell of mixed content (whole scalars, short
// strings and double matrices of several sizes), format short, loose
// spacing, 80 columns, into a sink that counts the bytes and drops them.
// The baseline is a bare loop that writes the same bytes to /dev/null: it
// measures each column with snprintf, splits the columns into pages by the
// same walk, and writes each cell with one snprintf and each row with one
// fwrite. The "cell" column gives the time per cell. Also, with no
// baseline, a scalar structure of 1000 fields of the same mixed content, and
// the time per field.
#include "display_support.hpp"
#include "ratio_main.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

size_t const kRows = 1000;
size_t const kColumns = 10;
size_t const kCells = kRows * kColumns;

// Counts what reaches it and keeps nothing.
class CountingBuffer : public std::streambuf {
public:
    size_t bytes = 0;

protected:
    std::streamsize xsputn(char const*, std::streamsize n) override {
        bytes += static_cast<size_t>(n);
        return n;
    }
    int_type overflow(int_type c) override {
        if (!traits_type::eq_int_type(c, traits_type::eof())) ++bytes;
        return traits_type::not_eof(c);
    }
};

using qzbench::ArrayPtr;
using qzbench::DisplaySettings;

// What cell (i, j) holds: 0 a whole scalar, 1 a string, 2 a matrix.
int kindOf(size_t i, size_t j) { return static_cast<int>((i + j) % 3); }
double scalarOf(size_t i, size_t j) { return static_cast<double>((i * 7 + j) % 1000); }
std::string stringOf(size_t i) {
    char text[16];
    std::snprintf(text, sizeof text, "text%03zu", i % 1000);
    return text;
}
// Rows 1 to 9 and, down a column, always j + 2 columns: the summaries of a
// column have sizes of one length, so they line up without padding.
size_t matrixRows(size_t i) { return i % 9 + 1; }
size_t matrixColumns(size_t j) { return j + 2; }

ArrayPtr makeCell() {
    ArrayPtr c(vxCreateCellMatrix(kRows, kColumns));
    for (size_t j = 0; j < kColumns; ++j) {
        for (size_t i = 0; i < kRows; ++i) {
            vxArray* value = nullptr;
            switch (kindOf(i, j)) {
            case 0: value = vxCreateDoubleScalar(scalarOf(i, j)); break;
            case 1: value = vxCreateString(stringOf(i).c_str()); break;
            default: value = vxCreateDoubleMatrix(matrixRows(i), matrixColumns(j), vxREAL); break;
            }
            vxSetCell(c.get(), i + j * kRows, value);
        }
    }
    return c;
}

ArrayPtr const& mixedCell() {
    static ArrayPtr c = makeCell();
    return c;
}

// The display's bytes into the counting sink; one display per call.
size_t displayOnce(CountingBuffer& counter, vxArray const* c) {
    counter.bytes = 0;
    ioPrintArray("c", c);
    services::io::CXStream::CXOut.flush();
    return counter.bytes;
}

void CellDisplay(benchmark::State& state) {
    using namespace services::io;
    DisplaySettings settings;
    auto counter = boost::make_shared<CountingBuffer>();
    CXStream::CXOut.push(boost::make_shared<CXSink>(boost::shared_ptr<std::streambuf>(counter)));
    size_t bytes = 0;
    for (auto _ : state) bytes = displayOnce(*counter, mixedCell().get());
    CXStream::CXOut.pop();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["cell"] = benchmark::Counter(static_cast<double>(kCells),
                                                benchmark::Counter::kIsIterationInvariantRate |
                                                    benchmark::Counter::kInvert);
}

// The same text by hand: a cell's item, or its summary.
int cellText(char* buf, size_t size, size_t i, size_t j) {
    switch (kindOf(i, j)) {
    case 0: return std::snprintf(buf, size, "%.0f", scalarOf(i, j));
    case 1: return std::snprintf(buf, size, "'%s'", stringOf(i).c_str());
    default: return std::snprintf(buf, size, "[%zux%zu double]", matrixRows(i), matrixColumns(j));
    }
}

size_t bareCellLoop(FILE* out) {
    char buf[128];
    char row[4096];
    size_t bytes = 0;
    auto put = [&](char const* s, size_t n) {
        std::fwrite(s, 1, n, out);
        bytes += n;
    };
    put("\nc = \n\n", 7);
    size_t widths[kColumns];
    for (size_t j = 0; j < kColumns; ++j) {
        size_t w = 0;
        for (size_t i = 0; i < kRows; ++i) {
            size_t n = static_cast<size_t>(cellText(buf, sizeof buf, i, j));
            if (kindOf(i, j) == 0) n += 2;  // the brackets
            w = std::max(w, n);
        }
        widths[j] = w;
    }
    size_t const avail = 79;
    for (size_t first = 0; first < kColumns;) {
        size_t total = 0, k = first;
        while (k < kColumns) {
            total += widths[k++] + 4;
            if (total >= avail) break;
        }
        size_t perPage = k - first - (total > avail ? 1 : 0);
        if (perPage == 0) perPage = 1;
        size_t const stop = std::min(first + perPage, kColumns);
        put(buf, static_cast<size_t>(qzbench::pageHeading(buf, sizeof buf, first, stop)));
        for (size_t i = 0; i < kRows; ++i) {
            size_t length = 0;
            for (size_t j = first; j < stop; ++j) {
                int const w = static_cast<int>(widths[j]);
                int m = 0;
                switch (kindOf(i, j)) {
                case 0: m = std::snprintf(row + length, sizeof row - length, "    [%*.0f]", w - 2, scalarOf(i, j)); break;
                case 1: m = std::snprintf(row + length, sizeof row - length, "    '%s'%*s", stringOf(i).c_str(),
                                          w - static_cast<int>(stringOf(i).size()) - 2, ""); break;
                default:
                    cellText(buf, sizeof buf, i, j);
                    m = std::snprintf(row + length, sizeof row - length, "    %*s", w, buf);
                    break;
                }
                length += static_cast<size_t>(m);
            }
            row[length++] = '\n';
            put(row, length);
        }
        put("\n", 1);
        first = stop;
    }
    return bytes;
}

void BareCellLoop(benchmark::State& state) {
    using namespace services::io;
    DisplaySettings settings;
    auto counter = boost::make_shared<CountingBuffer>();
    CXStream::CXOut.push(boost::make_shared<CXSink>(boost::shared_ptr<std::streambuf>(counter)));
    size_t const expected = displayOnce(*counter, mixedCell().get());
    CXStream::CXOut.pop();
    FILE* out = std::fopen("/dev/null", "w");
    size_t bytes = 0;
    for (auto _ : state) bytes = bareCellLoop(out);
    std::fclose(out);
    if (bytes != expected) state.SkipWithError("the baseline does not write the display's bytes");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["cell"] = benchmark::Counter(static_cast<double>(kCells),
                                                benchmark::Counter::kIsIterationInvariantRate |
                                                    benchmark::Counter::kInvert);
}

// Field k holds what cell (k, 0) holds, and every fourth a row of 1 to 8.
ArrayPtr makeStruct() {
    std::vector<std::string> names;
    for (size_t k = 0; k < kRows; ++k) names.push_back("field" + std::to_string(k));
    std::vector<char const*> pointers;
    for (auto const& n : names) pointers.push_back(n.c_str());
    ArrayPtr s(vxCreateStructMatrix(1, 1, static_cast<int>(kRows), pointers.data()));
    for (size_t k = 0; k < kRows; ++k) {
        vxArray* value = nullptr;
        if (k % 4 == 3) {
            value = vxCreateDoubleMatrix(1, 8, vxREAL);
            for (size_t i = 0; i < 8; ++i) vxGetPr(value)[i] = static_cast<double>(i + 1);
        } else {
            switch (kindOf(k, 0)) {
            case 0: value = vxCreateDoubleScalar(scalarOf(k, 0)); break;
            case 1: value = vxCreateString(stringOf(k).c_str()); break;
            default: value = vxCreateDoubleMatrix(matrixRows(k), matrixColumns(0), vxREAL); break;
            }
        }
        vxSetFieldByNumber(s.get(), 0, static_cast<int>(k), value);
    }
    return s;
}

void StructFieldsDisplay(benchmark::State& state) {
    using namespace services::io;
    DisplaySettings settings;
    static ArrayPtr const s = makeStruct();
    auto counter = boost::make_shared<CountingBuffer>();
    CXStream::CXOut.push(boost::make_shared<CXSink>(boost::shared_ptr<std::streambuf>(counter)));
    size_t bytes = 0;
    for (auto _ : state) bytes = displayOnce(*counter, s.get());
    CXStream::CXOut.pop();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    state.counters["field"] = benchmark::Counter(static_cast<double>(kRows),
                                                 benchmark::Counter::kIsIterationInvariantRate |
                                                     benchmark::Counter::kInvert);
}

BENCHMARK(CellDisplay)->Unit(benchmark::kMillisecond);
BENCHMARK(StructFieldsDisplay)->Unit(benchmark::kMillisecond);
BENCHMARK(BareCellLoop)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) { return qzbench::runWithRatios(argc, argv, {{"CellDisplay", "BareCellLoop"}}); }
