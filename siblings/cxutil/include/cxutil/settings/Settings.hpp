// Settings groups. A context's root holds groups ("calyx", ...) that hold
// values by key at two levels: "user" (what the user chose) and "factory"
// (the shipped default). The values are kept in the file "calyx.settings" in
// the preferences directory; a factory value may also come from a function
// registered for the key, asked each time the value is read.
//
// Thread-safe: each context's tree has its own mutex.
#pragma once
#include "cxutil/cxutil_export.hpp"
#include "cxutil/contextmgr/CxrID.hpp"
#include "cxutil/settings/directories.hpp"

#include <boost/any.hpp>
#include <boost/shared_ptr.hpp>
#include <stdexcept>
#include <string>

CXUTIL_API_BEGIN

namespace cxutil { namespace settings {

// The settings file could not be read: it is not in the form of lines
// "<level> <group>/<key>=<value>". The lines before the bad one are kept, and
// the tree works on without the rest.
class FileLoadingError : public std::runtime_error {
public:
    explicit FileLoadingError(std::string const& text) : std::runtime_error(text) {}
};

class Settings {
public:
    // A factory function stores the factory value in its argument, as a
    // ustring or a std::string (UTF-8).
    typedef void (*FactoryFunction)(boost::any&);

    // The root group of a context. Never throws.
    static Settings getSettingsRoot(contextmgr::CxrID const& id);

    // A child group by name. The first access after the file has changed
    // place loads it, and throws FileLoadingError when it is malformed; a
    // second access then succeeds.
    Settings child(std::string const& name) const;

    // The value at `level` ("user" or "factory"), or with an empty level the
    // user value when there is one, else the factory value. Empty when none.
    ustring get(std::string const& key, std::string const& level) const;
    bool hasValue(std::string const& key, std::string const& level) const;
    // Stores a value and writes the file (creating the directory). False when
    // the level is unknown or the file could not be written.
    bool set(std::string const& key, ustring const& value, std::string const& level);
    bool remove(std::string const& key, std::string const& level);

    // The group's path, such as "calyx"; empty for a root.
    std::string const& path() const { return path_; }

    // Registers the factory function of `group`'s `key` for every context.
    static void registerFactoryFunction(std::string const& group, std::string const& key,
                                        FactoryFunction function);

    struct Tree;

private:
    Settings(boost::shared_ptr<Tree> tree, std::string path) : tree_(std::move(tree)), path_(std::move(path)) {}
    boost::shared_ptr<Tree> tree_;
    std::string path_;
};

}} // namespace cxutil::settings

CXUTIL_API_END
