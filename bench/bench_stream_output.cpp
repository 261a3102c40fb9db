// 80-character lines written to CXOut with a string sink on top, against the
// same lines through a plain std::ofstream on /dev/null.
#include "ratio_main.hpp"

#include <qzservices/qzservices.hpp>

#include <boost/make_shared.hpp>
#include <fstream>

namespace {

std::string const kLine(79, 'x');  // plus the line feed: 80 characters

void CXOutToStringSink(benchmark::State& state) {
    using namespace services::io;
    auto sink = boost::make_shared<CXStringSink>();
    auto& store = dynamic_cast<CXStringSink::ustringbuf&>(*sink->getUnicodeOutStreamBuffer());
    CXStream::CXOut.push(sink);
    long n = 0;
    for (auto _ : state) {
        CXStream::CXOut << kLine << '\n';
        // Keep the captured text small so that memory growth is not measured.
        if (++n % 4096 == 0) store.str(std::basic_string<unsigned short>());
    }
    CXStream::CXOut.pop();
    state.SetBytesProcessed(state.iterations() * 80);
}

void OfstreamToDevNull(benchmark::State& state) {
    std::ofstream out("/dev/null");
    for (auto _ : state) out << kLine << '\n';
    state.SetBytesProcessed(state.iterations() * 80);
}

BENCHMARK(CXOutToStringSink);
BENCHMARK(OfstreamToDevNull);

} // namespace

int main(int argc, char** argv) {
    return qzbench::runWithRatios(argc, argv, {{"CXOutToStringSink", "OfstreamToDevNull"}});
}
