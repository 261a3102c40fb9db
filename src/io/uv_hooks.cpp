// Installs the services library's end of the uv output and interrupt calls
// when the library loads (see uv/services_hooks.hpp): uv cannot link the
// library that links it.
#include "qzservices/io/CXStream.hpp"

#include <orrery/exceptions.hpp>
#include <uv/services_hooks.hpp>

namespace {

// Writes through the stream's buffer rather than the stream: an exception of
// the buffer (the quit key of the more prompt) then reaches the caller instead
// of being turned into the stream's badbit. Before the first push the stream
// has no buffer and the text is dropped, as the stream itself would.
void writeToStream(int stream, char const* text, size_t length) {
    services::io::CXStream& to = stream == 1 ? services::io::CXStream::CXErr : services::io::CXStream::CXOut;
    if (std::streambuf* buffer = to.rdbuf()) buffer->sputn(text, static_cast<std::streamsize>(length));
}

bool outputSupportsHotlinks() { return services::io::CXStream::CXOut.supportsHotlinks(); }

void raiseInterrupt(bool fromCtrlC) { throw Orrery::System::InterruptException(fromCtrlC); }

uvServicesHooks const kHooks = {&writeToStream, &outputSupportsHotlinks, &raiseInterrupt};

// Installed during the library's static initialisation; never removed, because
// CXOut and CXErr live as long as the library.
struct InstallHooks {
    InstallHooks() { uvSetServicesHooks(&kHooks); }
} const gInstallHooks;

} // namespace
