// 80-character lines through CXOut, the active proxy and a PutsFnSink whose
// function only counts bytes, against the same lines through a plain
// std::ofstream on /dev/null. Paging, log and diary are off, as in a batch run.
#include "display_support.hpp"
#include "ratio_main.hpp"

#include <fstream>

namespace {

std::string const kLine(79, 'x');  // plus the line feed: 80 characters
std::string const kLine80 = kLine + "\n";

// Writes each line with `write`, as a line-at-a-time printer does.
void lineAsOneWrite() { services::io::CXStream::CXOut.write(kLine80.data(), 80); }
// Inserts the text and then its line feed: two trips through the pipeline.
void lineAndLineFeed() { services::io::CXStream::CXOut << kLine << '\n'; }

template <void (*writeLine)()>
void CXOutThroughProxyToPutsFn(benchmark::State& state) {
    {
        qzbench::CountingCommandWindow window;
        qzbench::countedBytes = 0;
        for (auto _ : state) writeLine();
        services::io::CXStream::CXOut.flush();
        if (qzbench::countedBytes != static_cast<size_t>(state.iterations()) * 80)
            state.SkipWithError("bytes were lost on the way to the sink");
    }
    state.SetBytesProcessed(state.iterations() * 80);
}

void OfstreamToDevNull(benchmark::State& state) {
    std::ofstream out("/dev/null");
    for (auto _ : state) out.write(kLine80.data(), 80);
    state.SetBytesProcessed(state.iterations() * 80);
}

BENCHMARK_TEMPLATE(CXOutThroughProxyToPutsFn, lineAsOneWrite)->Name("ProxyLineAsOneWrite");
BENCHMARK_TEMPLATE(CXOutThroughProxyToPutsFn, lineAndLineFeed)->Name("ProxyLineAndLineFeed");
BENCHMARK(OfstreamToDevNull);

} // namespace

int main(int argc, char** argv) {
    return qzbench::runWithRatios(argc, argv, {{"ProxyLineAsOneWrite", "OfstreamToDevNull"}, {"ProxyLineAndLineFeed", "OfstreamToDevNull"}});
}
