// The console's commands for the session's state (version, config, prefs)
// and its diary.
#include "Commands.hpp"

#include <qzlang/Session.hpp>
#include <qzservices/io/diary.hpp>
#include <qzservices/state/machine_config.hpp>
#include <qzservices/state/preferences.hpp>
#include <qzservices/state/runtime_identity.hpp>
#include <px/px.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <string>
#include <sys/stat.h>

namespace qzconsole {

namespace {

using qzlang::CommandResult;
using qzlang::Session;

// version: the version texts of the running library.
CommandResult version(Session&, Words const& w) {
    requireNoWords(w, "version");
    uvPrintf("Version:      %s\n", svCalyxVersion());
    uvPrintf("Release:      %s\n", svCalyxRelease());
    uvPrintf("Build date:   %s\n", svCalyxImageDate());
    uvPrintf("Architecture: %s\n", svCalyxSplashArch());
    uvPrintf("Computer:     %s\n", svComputer());
    return CommandResult::Continue;
}

// config: the machine configuration report.
CommandResult config(Session&, Words const& w) {
    requireNoWords(w, "config");
    svPrintMachineConfiguration(nullptr);
    return CommandResult::Continue;
}

// prefs: the preferences folder and file; prefs KEY: that key's value text.
CommandResult prefs(Session&, Words const& w) {
    if (w.size() > 1) vxErrMsgId("qzconsole:prefs", "Use: prefs [KEY]");
    if (w.size() == 1) {
        char* value = svGetPref(w[0].c_str());
        if (value == nullptr) {
            uvPrintf("%s is not set.\n", w[0].c_str());
        } else {
            uvPrintf("%s=%s\n", w[0].c_str(), value);
            uvFree(value);
        }
        return CommandResult::Continue;
    }
    char const* dir = svGetPreferencesDirectory(false);
    if (dir == nullptr || *dir == '\0') {
        uvPuts("There is no preferences folder.\n");
        return CommandResult::Continue;
    }
    std::string const folder(dir);  // the cell's text changes at the next call
    std::string file(folder.size() + sizeof "/calyx.prf" + 1, '\0');
    pxCombinePathName(&file[0], folder.c_str(), "calyx.prf");
    file.resize(std::char_traits<char>::length(file.c_str()));
    struct stat status {};
    bool const folderThere = ::stat(folder.c_str(), &status) == 0;
    bool const fileThere = ::stat(file.c_str(), &status) == 0;
    uvPrintf("Preferences folder: %s%s\n", folder.c_str(), folderThere ? "" : " (not created yet)");
    uvPrintf("Preferences file:   %s%s\n", file.c_str(), fileThere ? "" : " (none yet)");
    return CommandResult::Continue;
}

// diary, diary on, diary off, diary FILE.
CommandResult diary(Session&, Words const& w) {
    if (w.size() > 1) vxErrMsgId("qzconsole:diary", "Use: diary, diary on, diary off or diary FILE");
    nmDiaryFcn(w.empty() ? "" : w[0].c_str());
    return CommandResult::Continue;
}

} // namespace

void addStateCommands(qzlang::CommandTable& table) {
    table.add({"version", "version           the version texts of the library", &version});
    table.add({"config", "config            the machine configuration", &config});
    table.add({"prefs", "prefs [KEY]       the preferences folder and file, or one key's value", &prefs});
}

void addDiaryCommands(qzlang::CommandTable& table) {
    table.add({"diary", "diary [on|off|FILE]  record the session in a file (\"diary\" by default)", &diary});
}

} // namespace qzconsole
