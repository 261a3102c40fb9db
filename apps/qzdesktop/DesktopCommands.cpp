// The desktop's commands exit, help and dir, with links for the page.
#include "DesktopCommands.hpp"

#include <qzlang/Session.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <dirent.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

namespace qzdesktop {

namespace {

typedef std::vector<std::string> Words;
using qzlang::CommandResult;
using qzlang::Session;

CommandResult leave(Session&, Words const&) { return CommandResult::Exit; }

// Each command's name is a link that opens its help beside the window (with
// hot links on, as they are at the desktop level).
CommandResult help(Session& s, Words const&) {
    bool const links = uvGetHotLinks();
    uvPuts("Statements: name = expression, or an expression (shown as ans); end one with ';' to show nothing.\n"
           "Commands (click one for its help):\n");
    for (auto const& c : s.commands().all()) {
        std::string const rest = c.usage.size() > c.name.size() ? c.usage.substr(c.name.size()) : std::string();
        if (links)
            uvPrintf("  <a href=\"calyx:helpPopup %s\">%s</a>%s\n", c.name.c_str(), c.name.c_str(), rest.c_str());
        else
            uvPrintf("  %s\n", c.usage.c_str());
    }
    return CommandResult::Continue;
}

// dir [FOLDER]: the folder's names; each plain file is a link that opens the
// viewer at its first line.
CommandResult dir(Session&, Words const& w) {
    if (w.size() > 1) vxErrMsgId("qzdesktop:dir", "Use: dir [FOLDER]");
    std::string const folder = w.empty() ? std::string(".") : w[0];
    char full[PATH_MAX];
    DIR* d = ::realpath(folder.c_str(), full) != nullptr ? ::opendir(full) : nullptr;
    if (d == nullptr) vxErrMsgId("qzdesktop:dir", "The folder %s cannot be read.", folder.c_str());
    std::vector<std::string> names;
    while (dirent* e = ::readdir(d)) names.push_back(e->d_name);
    ::closedir(d);
    std::sort(names.begin(), names.end());
    for (std::string const& name : names) {
        if (name == "." || name == "..") continue;
        std::string const path = std::string(full) + "/" + name;
        struct stat st;
        // A quote would end the link's address early; such a name stays plain.
        if (uvGetHotLinks() && ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
            path.find('"') == std::string::npos)
            uvPrintf("<a href=\"calyx:opentoline 1 %s\">%s</a>\n", path.c_str(), name.c_str());
        else
            uvPrintf("%s\n", name.c_str());
    }
    return CommandResult::Continue;
}

} // namespace

void addDesktopCommands(qzlang::CommandTable& table) {
    table.add({"exit", "exit, quit        leave", &leave});
    table.add({"quit", "quit              leave", &leave});
    table.add({"help", "help              this list", &help});
    table.add({"dir", "dir [FOLDER]      the folder's names; files open in the viewer", &dir});
}

} // namespace qzdesktop
