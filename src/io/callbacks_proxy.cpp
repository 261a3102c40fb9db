// services::io::IOProxy: the base behaviour, the one stored proxy and the
// default object that stands in while none is stored.
#include "qzservices/io/IOProxy.hpp"
#include "qzservices/io/ioFlush.hpp"

#include "uv/uv.hpp"

#include <atomic>

namespace services { namespace io {

namespace {

// Made at load; overrides nothing, so it answers with the base behaviour.
class DummyProxy : public IOProxy {
public:
    ~DummyProxy() override {}
};

DummyProxy const gDummyProxy;
std::atomic<IOProxy const*> gProxy{nullptr};

} // namespace

IOProxy::~IOProxy() {}
int IOProxy::read() const { return 0; }
int IOProxy::flushRead() const { return 0; }

void IOProxy::deleteCurrentLine() const {
    uvPuts("\b\b\b\b\b\b\b\b        \b\b\b\b\b\b\b\b");
    ioFlush();
}

void IOProxy::setCmdWindowLength(int) const {}
int IOProxy::getCmdWindowLength() const { return 0; }
int IOProxy::getCmdWindowCommand(char*, int) const { return 0; }
int IOProxy::getCommandFontSJISFlag() const { return 0; }
void IOProxy::timedBufferFlush() const {}

IOProxy const* IOProxy::setProxy(IOProxy const* proxy) {
    IOProxy const* expected = nullptr;
    // On failure `expected` receives the proxy already stored.
    gProxy.compare_exchange_strong(expected, proxy);
    return expected;
}

IOProxy const* IOProxy::getProxy() {
    IOProxy const* proxy = gProxy.load();
    return proxy != nullptr ? proxy : &gDummyProxy;
}

}} // namespace services::io
