// The console's commands type and dir, inside CAT archives too.
#include "Commands.hpp"

#include <qzlang/Session.hpp>
#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/CxfileReader.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>
#include <px/px.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

namespace qzconsole {

namespace {

using qzlang::CommandResult;
using qzlang::Session;

// "~" expanded and the path made absolute against the current folder, so
// that a path into a CAT file is looked up from the root.
std::string absolutePath(std::string const& word, char const* command) {
    std::vector<char> expanded(word.size() + 4096 + 2);
    pxTildeExpansion(expanded.data(), word.c_str());
    std::vector<char> full(std::strlen(expanded.data()) + 4096 + 2);
    pxFullPath(full.data(), expanded.data(), full.size());
    if (full[0] == '\0') vxErrMsgId("qzconsole:path", "%s: the path '%s' is too long.", command, word.c_str());
    return full.data();
}

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};

// type PATH: the file's bytes as they are, inside a CAT file too while the
// feature "container" is on.
CommandResult type(Session& session, Words const& w) {
    if (w.size() != 1) vxErrMsgId("qzconsole:type", "Use: type NAME or type PATH");
    // A name the search path finds: that function's or script's file.
    if (w[0].find('/') == std::string::npos && !session.sourcePath().resolve(w[0]).empty()) {
        std::string const text = session.sourcePath().type(w[0]);
        uvPutsn(0, text.data(), text.size());
        return CommandResult::Continue;
    }
    static SwitchableCxfileReader reader(new ContainerCxfileReader, new PlaintextCxfileReader,
                                         boost::function0<bool>(&svIsContainerFeatureOn));
    std::string const path = absolutePath(w[0], "type");
    unsigned long size = 0;
    ioErrorMessage error = 0;
    std::unique_ptr<char, UvFree> text(static_cast<char*>(reader.read(&size, nullptr, path.c_str(), &error)));
    if (!text) {
        switch (error) {
        case 9:
            vxErrMsgId("qzconsole:type", "There is no file '%s'.", w[0].c_str());
        case 3:
            vxErrMsgId("qzconsole:type", "The archive that holds '%s' is corrupt.", w[0].c_str());
        case 1:
            vxErrMsgId("qzconsole:type", "Unable to open the file '%s'.", w[0].c_str());
        default:
            vxErrMsgId("qzconsole:type", "Unable to read the file '%s' (code %d).", w[0].c_str(), error);
        }
    }
    uvPutsn(0, text.get(), size);
    if (size > 0 && text.get()[size - 1] != '\n') uvPuts("\n");
    return CommandResult::Continue;
}

// dir PATH: the names in a folder, in byte order, through the path manager's
// listing function; while the feature "container" is on that function also
// lists the inside of a CAT file.
CommandResult dir(Session&, Words const& w) {
    if (w.size() > 1) vxErrMsgId("qzconsole:dir", "Use: dir [PATH]");
    std::string const path = absolutePath(w.empty() ? std::string(".") : w[0], "dir");
    pxIOFcns const io = pxGetDefaultIOFcns();
    if (io.listDirectory == nullptr) vxErrMsgId("qzconsole:dir", "There is no listing function.");
    std::unique_ptr<char, UvFree> list;
    if (svIsContainerFeatureOn()) {
        // Through the container model, which says how the listing ended: a
        // damaged archive is reported, never listed in part without a word.
        int access = 0;
        list.reset(svContainerListDirectoryAccess(path.c_str(), &access));
        if (access == 3)
            vxErrMsgId("qzconsole:dir", "The archive that holds '%s' is corrupt.", w.empty() ? "." : w[0].c_str());
        if (list && access != 0)
            vxErrMsgId("qzconsole:dir", "Unable to list '%s' (code %d).", w.empty() ? "." : w[0].c_str(), access);
    } else {
        list.reset(io.listDirectory(nullptr, path.c_str(), nullptr));
    }
    if (!list) {
        // An empty folder lists as nothing at all; only a folder that cannot
        // be reached is an error.
        if (io.dirAccessibility == nullptr || io.dirAccessibility(nullptr, path.c_str()) != pxDirAccessible)
            vxErrMsgId("qzconsole:dir", "Unable to list '%s'.", w.empty() ? "." : w[0].c_str());
        return CommandResult::Continue;
    }
    std::vector<std::string> names;
    for (char const* p = list.get(); *p != '\0'; p += std::strlen(p) + 1)
        if (std::strcmp(p, ".") != 0 && std::strcmp(p, "..") != 0) names.push_back(p);
    std::sort(names.begin(), names.end());
    for (auto const& name : names) uvPrintf("%s\n", name.c_str());
    return CommandResult::Continue;
}

} // namespace

void addFileCommands(qzlang::CommandTable& table) {
    table.add({"type", "type NAME|PATH    print a function's file, or a file (inside a CAT file too with the feature container on)", &type});
    table.add({"dir", "dir [PATH]        list a folder (inside a CAT file too with the feature container on)", &dir});
}

} // namespace qzconsole
