// The statement language over arbitrary text: every input parses and runs to
// its end, or stops at one error. Nothing may crash, hang or leak, and a
// failure must be reported once: as one line "Error: ..." on the error
// stream, or with its frames when it passed a file. The session is bounded (fuzz_session.hpp): "while true, end" ends
// as an error that no try can catch, and zeros(1e5) fails at once. Each input
// starts from an empty workspace in the same folder with the same path, so
// that a finding replays from its file alone.
#include "fuzz_session.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    qzlang::Session& s = fuzzsession::bounded();
    static fuzzsession::Baseline baseline(s);
    fuzzsession::Outcome const r = fuzzsession::run(s, std::string(reinterpret_cast<char const*>(data), size));
    baseline.restore();

    if (!r.reportedAsItShould()) std::abort();
    return 0;
}
