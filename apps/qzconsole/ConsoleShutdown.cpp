// Leaving the console: its shutdown object and the registry's phases.
#include "ConsoleShutdown.hpp"
#include "DemoEvents.hpp"
#include "LineEditor.hpp"

#include <qzhost/Host.hpp>
#include <qzservices/state/ShutdownRegistry.hpp>

namespace qzconsole {

namespace {

class ConsoleShutdownObject : public ShutdownObject {
public:
    ConsoleShutdownObject() : ShutdownObject("qzconsole") {}
    // No thread of the console may outlive the phases.
    void preTerminate() const override { finishDemoEvents(); }
    // The terminal as the console found it.
    void terminate() const override { lineEditorEnd(); }
};

} // namespace

void registerConsoleShutdown() {
    static bool registered = false;
    if (registered) return;
    registered = true;
    ShutdownRegistry::RegisterObject(new ConsoleShutdownObject);  // the registry owns it
}

bool mayExit() { return qzhost::mayExit(false); }

void askAtEndOfInput() { qzhost::mayExit(true); }

void shutDown() { qzhost::terminate(); }

} // namespace qzconsole
