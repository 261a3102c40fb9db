// A host's errors, warnings and reports, wrapped on the error stream.
#include "qzhost/Messages.hpp"

#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/ioFlush.hpp>
#include <qzservices/io/wrapping.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>
#include <vx/warning_printer.hpp>

#include <exception>

namespace qzhost {

namespace {

using services::io::CXStream;

// The wrapper writes to the output stream; for the length of one message
// that stream writes into the error stream's sink. What the output stream
// held before goes out first, so that the order on the screen is kept.
class OutputIntoErrorStream {
public:
    OutputIntoErrorStream() {
        ioFlush();
        CXStream::CXOut.push(CXStream::CXErr);
    }
    ~OutputIntoErrorStream() {
        CXStream::CXOut.flush();
        CXStream::CXOut.pop();
        ioFlush();
    }
    OutputIntoErrorStream(OutputIntoErrorStream const&) = delete;
    OutputIntoErrorStream& operator=(OutputIntoErrorStream const&) = delete;
};

// A text the wrapper refuses (one that does not convert, say) still goes
// out, as it is. So does a warning from another thread: the sink stacks may
// change on the interpreter's thread only.
void printWrapped(std::string const& text, bool braces) {
    if (!uvIsSignalThread()) {
        std::string const line = text + "\n";
        uvPutsn(1, line.data(), line.size());
        return;
    }
    try {
        OutputIntoErrorStream redirect;
        ioPrintWrapped(text.c_str(), braces);
        return;
    } catch (vx::Error const&) {
    } catch (std::exception const&) {
    }
    std::string const line = text + "\n";
    uvPutsn(1, line.data(), line.size());
    ioFlush();
}

} // namespace

void printError(std::string const& reason) { printWrapped("Error: " + reason, true); }

void printWarning(char const* line) { printWrapped(line == nullptr ? std::string() : std::string(line), false); }

void printReport(std::string const& report, bool braces) { printWrapped(report, braces); }

void installMessagePrinters() { vxSetWarningPrinter(&printWarning); }

} // namespace qzhost
