// The Java support level as set from the command line and lowered at start.
#include "qzservices/state/java_support.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/state/features.hpp"
#include "qzservices/state/machine_config.hpp"

#include "msg/calyx_messages.hpp"
#include "uv/uv.hpp"
#include "vx/array.hpp"
#include "vx/errors.hpp"

#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <ostream>

namespace {

struct CmdlineWord {
    char const* word;
    svJavaSupportLevel level;
};

// A "no" word limits the level to the one below its feature; every positive
// word asks for the full desktop.
CmdlineWord const kCmdlineWords[] = {
    {"nojvm", svJavaNone},     {"jvm", svJavaDesktop},   {"noawt", svJavaJVM},
    {"awt", svJavaDesktop},    {"noswing", svJavaAWT},   {"swing", svJavaDesktop},
    {"noqzt", svJavaSwing},    {"qzt", svJavaDesktop},   {"nodesktop", svJavaQZT},
    {"desktop", svJavaDesktop},
};

bool gConflictReported = false;

// The message's text on CXErr, then the same text as a warning under `identifier`.
void reportAndWarn(msg_core::Message const& message, char const* identifier) {
    std::string text = message.text();
    services::io::CXStream::CXErr << text << std::endl;
    vxWarningMsgId(identifier, "%s", text.c_str());
}

// A level outside the table has no name; it is reported as an empty one.
std::string levelName(int level) {
    char const* name = svJavaSupportLevelName(level);
    return name != nullptr ? name : "";
}

} // namespace

bool svJavaUse(char const* what) {
    if (what == nullptr) return false;
    if (strcasecmp(what, "JVM") == 0) return svJavaUseJVM();
    if (strcasecmp(what, "AWT") == 0) return svJavaUseAWT();
    if (strcasecmp(what, "Swing") == 0) return svJavaUseSwing();
    if (strcasecmp(what, "QZT") == 0) return svJavaUseQZT();
    if (strcasecmp(what, "Desktop") == 0) return svJavaUseDesktop();
    return false;
}

svJavaSupportLevel svJavaSetSupport(svJavaSupportLevel level) {
    if (level != svJavaUnspecified) services::state::detail::storeJavaSupportLevel(level);
    if (svJavaUseDesktop()) {
        uvSetHotLinks(true);
        uvSetDocLinks(true);
    } else {
        char const* emacs = std::getenv("EMACS");
        uvSetHotLinks(emacs != nullptr && std::strcmp(emacs, "t") == 0);
        uvSetDocLinks(svJavaUseAWT());
    }
    return static_cast<svJavaSupportLevel>(svJavaGetSupport());
}

bool svJavaProcessCmdlineArg(char const* word, svJavaSupportLevel* level) {
    if (word == nullptr || level == nullptr) return false;
    for (CmdlineWord const& entry : kCmdlineWords) {
        if (std::strcmp(word, entry.word) != 0) continue;
        if (*level == entry.level || *level == svJavaUnspecified || gConflictReported) {
            *level = entry.level;
        } else {
            // Intended: only the first conflict keeps the earlier level; later
            // conflicting words replace it without a word.
            gConflictReported = true;
            reportAndWarn(CALYX::Java::Conflicting(levelName(*level)),
                          "CALYX:SERVICES_STATE_CONFLICTING_JAVA_OPTS");
        }
        return true;
    }
    return false;
}

svJavaSupportLevel svNoJava() {
    if (!svJavaUseJVM()) return static_cast<svJavaSupportLevel>(svJavaGetSupport());
    reportAndWarn(CALYX::Java::Disabling(), "CALYX:SERVICES_STATE_DISABLING_JAVA");
    return svJavaSetSupport(svJavaNone);
}

void svJavaNoDisplay() {
    if (!svJavaUseAWT()) return;
    if (!svIsStandaloneMode())
        reportAndWarn(CALYX::Java::NoWindowSystem(levelName(svJavaGetSupport())), "CALYX:SERVICES_STATE_NO_WINDOW_SYSTEM");
    svJavaSetSupport(svJavaJVM);
}

// The "useJava" feature: one text in, svJavaUse of it out as a logical. With
// no input it does nothing and sets no output.
void useJava(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    if (inCount == 0) return;
    std::string const what = vxArrayToStdString(inArgs[0]);
    outArgs[0] = vxCreateLogicalScalar(svJavaUse(what.c_str()));
}

namespace {

struct RegisterJavaSupportFeatures {
    RegisterJavaSupportFeatures() { svRegisterBuiltin("useJava", 1, &useJava); }
};

} // namespace

int init_registerJavaSupportFeatures(int) {
    return services::static_manager<RegisterJavaSupportFeatures>::instance(0);
}

namespace {
int const registeredAtLoad = init_registerJavaSupportFeatures(0);
}

std::string svGetJreSignature() {
    std::string signature;
    if (svIsJavaEnabled()) signature = services::machine_config::instance().get("Virtual Machine");
    return signature.empty() ? std::string("Java is not enabled") : signature;
}
