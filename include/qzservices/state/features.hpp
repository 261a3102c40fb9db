/// @file
/// The feature table: the process-wide registry of named, switchable
/// behaviours. Names compare without regard to case; every successful look-up
/// counts. Features only appear: there is no removal.
///
/// The table has no lock. Registration happens during static initialisation;
/// look-ups count without atomics, so counts may be lost under concurrency (by
/// design: nothing may wait on this table).
#pragma once
#include "qzservices/export.hpp"
#include <cstdint>
#include <exception>
#include <map>
#include <string>

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// A built-in of the command language: outCount results into outArgs from
/// inCount arguments.
typedef void (*svFeatureBuiltin)(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

/// One feature's record in the table.
struct svFeature {
    char const* name;  ///< not copied: registrants pass literals or static text
    int value;  ///< the owner may rewrite it through svFindFeatureEntry
    void (*oneArgCallback)(int);  ///< what the registrant gave, null where none
    void (*noArgCallback)();  ///< what the registrant gave, null where none
    svFeatureBuiltin builtin;  ///< what the registrant gave, null where none
    std::uint64_t callCount;  ///< successful look-ups since registration or the last clear
};

/// The table itself, one instance.
class FeatureTable {
public:
    /// Compares byte by byte after tolower, so "ab" and "AB" are one name.
    struct icase_less {
        bool operator()(std::string const& a, std::string const& b) const;  ///< a before b, ignoring case
    };
    /// A second registration of a name, in any case.
    class DuplicateFeatureException : public std::exception {
    public:
        char const* what() const noexcept override { return "duplicate feature"; }  ///< "duplicate feature"
    };

    /// Made on the first call, from whichever static initialiser comes first,
    /// and never freed.
    static FeatureTable& getInstance();

    /// Throws DuplicateFeatureException if the name exists in any case.
    void AddFeature(svFeature& feature);
    /// The entry, counted, or null (counting nothing).
    svFeature* FindFeature(std::string const& name);
    size_t NumFeatures() const { return features_.size(); }  ///< counts nothing

    /// Entries by name, case ignored.
    typedef std::map<std::string, svFeature, icase_less> Map;
    /// The entries in listing order, for walks that must not count.
    Map& entries() { return features_; }

private:
    FeatureTable() = default;
    Map features_;
};

///@{
/// Registration, with the callbacks each form takes (the others null);
/// a name registered before throws FeatureTable::DuplicateFeatureException.
void svRegisterFeature(char const* name, int value, void (*callback)(int), svFeatureBuiltin builtin);
void svRegisterNoArg(char const* name, int value, void (*callback)());
void svRegisterBuiltin(char const* name, int value, svFeatureBuiltin builtin);
void svRegisterOneArg(char const* name, int value, void (*callback)(int));
///@}

/// The stored record, or null. Records never move, so the pointer may be kept.
svFeature* svFindFeatureEntry(char const* name);
/// The value of a registered feature. The name must be registered: this does
/// not test for a missing entry (callers guard with svIsFeatureRegistered).
int svIsFeatureEnabled(char const* name);
/// Whether the name is in the table; the look-up counts as any other.
bool svIsFeatureRegistered(char const* name);
/// Sets a feature by name as the command "feature NAME VALUE" does: stores the
/// value in the record and hands it to the one-argument callback, if the
/// feature has one (svSetFeatureValue("ThreadServiceRequest", 3) switches the
/// main-thread callbacks on). Returns false, changing nothing, when no feature
/// has that name. Main thread, like every writer of the table.
bool svSetFeatureValue(char const* name, int value);

///@{
/// Built-ins for the command-language layer: the list of features as a
/// structure array (counting nothing), one feature's count (its own look-up
/// included), every count printed as "name=count", every count cleared.
void svListFeatures(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void featureCallCount(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void printFeatureCounts(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void clearFeatureCounts(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
///@}

/// Registers "memmgr", the memory-manager report, once; called at load.
int init_registerMemCounterFeatures(int);

namespace services {

/// Runs T's constructor once, which makes the unit's svRegister* calls. Each
/// unit calls its init_ function (which returns instance(0)) from its static
/// initialiser; a unit that needs the feature earlier may call it first. A
/// nested call during the construction returns at once. Nothing is
/// unregistered at exit.
template <class T>
class static_manager {
public:
    /// Builds the T the first time (1 on a nested call); the argument is ignored.
    static int instance(int /*ignored*/) {
        static bool entered = false;
        if (entered) return 1;
        struct Entry {
            explicit Entry(bool& flag) : flag_(flag) { flag_ = true; }
            ~Entry() { flag_ = false; }
            bool& flag_;
        } entry(entered);
        static T object;
        return 1;
    }
};

} // namespace services

QZSERVICES_API_END
