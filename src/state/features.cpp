// The feature table: named, switchable behaviours of the process.
#include "qzservices/state/features.hpp"

#include <cctype>
#include <msg/calyx_messages.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

bool FeatureTable::icase_less::operator()(std::string const& a, std::string const& b) const {
    size_t const n = a.size() < b.size() ? a.size() : b.size();
    for (size_t i = 0; i < n; ++i) {
        int const ca = std::tolower(static_cast<unsigned char>(a[i]));
        int const cb = std::tolower(static_cast<unsigned char>(b[i]));
        if (ca != cb) return ca < cb;
    }
    return a.size() < b.size();
}

FeatureTable& FeatureTable::getInstance() {
    // Not guarded: the first call comes from a static initialiser on the loading thread.
    static FeatureTable* instance = nullptr;
    if (instance == nullptr) instance = new FeatureTable;
    return *instance;
}

svFeature* FeatureTable::FindFeature(std::string const& name) {
    Map::iterator it = features_.lower_bound(name);
    if (it == features_.end() || features_.key_comp()(name, it->first)) return nullptr;
    ++it->second.callCount;  // not atomic: a debugging count that may lose steps
    return &it->second;
}

void FeatureTable::AddFeature(svFeature& feature) {
    if (FindFeature(feature.name) != nullptr) throw DuplicateFeatureException();
    features_.emplace(std::string(feature.name), feature);
}

namespace {

void addFeature(svFeature feature) {
    std::string const name = feature.name ? feature.name : "";
    try {
        if (feature.name == nullptr) throw std::invalid_argument("null feature name");
        FeatureTable::getInstance().AddFeature(feature);
    } catch (FeatureTable::DuplicateFeatureException const&) {
        vxErrMsgId(CALYX::feature::duplicateFeature(name));
    } catch (...) {
        vxErrMsgId(CALYX::feature::failedToAddFeature(name));
    }
}

svFeature makeFeature(char const* name, int value) {
    svFeature f;
    f.name = name;
    f.value = value;
    f.oneArgCallback = nullptr;
    f.noArgCallback = nullptr;
    f.builtin = nullptr;
    f.callCount = 0;
    return f;
}

} // namespace

void svRegisterFeature(char const* name, int value, void (*callback)(int), svFeatureBuiltin builtin) {
    svFeature f = makeFeature(name, value);
    f.oneArgCallback = callback;
    f.builtin = builtin;
    addFeature(f);
}

void svRegisterNoArg(char const* name, int value, void (*callback)()) {
    svFeature f = makeFeature(name, value);
    f.noArgCallback = callback;
    addFeature(f);
}

void svRegisterBuiltin(char const* name, int value, svFeatureBuiltin builtin) {
    svFeature f = makeFeature(name, value);
    f.builtin = builtin;
    addFeature(f);
}

void svRegisterOneArg(char const* name, int value, void (*callback)(int)) {
    svFeature f = makeFeature(name, value);
    f.oneArgCallback = callback;
    addFeature(f);
}

svFeature* svFindFeatureEntry(char const* name) {
    if (name == nullptr) return nullptr;
    return FeatureTable::getInstance().FindFeature(name);
}

// Deliberately no test for a missing entry: the name must be registered.
int svIsFeatureEnabled(char const* name) { return svFindFeatureEntry(name)->value; }

bool svIsFeatureRegistered(char const* name) { return svFindFeatureEntry(name) != nullptr; }

bool svSetFeatureValue(char const* name, int value) {
    svFeature* f = svFindFeatureEntry(name);
    if (f == nullptr) return false;
    f->value = value;
    if (f->oneArgCallback != nullptr) f->oneArgCallback(value);
    return true;
}

void featureCallCount(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    if (inCount < 1) vxm::detail::error_minrhs();
    if (inArgs[0] == nullptr || vxGetClassID(inArgs[0]) != vxCHAR_CLASS)
        vxErrMsgId(CALYX::feature::FeatureCallCount());
    std::string const name = vxArrayToStdString(inArgs[0]);
    // The look-up counts, so the reported number includes this call's own.
    svFeature* entry = FeatureTable::getInstance().FindFeature(name);
    if (entry == nullptr) vxErrMsgId(CALYX::feature::unknownFeature(name));
    outArgs[0] = vxCreateDoubleScalar(static_cast<double>(entry->callCount));
}

void printFeatureCounts(int outCount, vxArray_tag** /*outArgs*/, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 0) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    for (auto const& entry : FeatureTable::getInstance().entries())
        uvPrintf("%s=%u\n", entry.second.name, static_cast<unsigned>(entry.second.callCount));
}

void clearFeatureCounts(int outCount, vxArray_tag** /*outArgs*/, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 0) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    for (auto& entry : FeatureTable::getInstance().entries()) entry.second.callCount = 0;
}

void svListFeatures(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    FeatureTable::Map& features = FeatureTable::getInstance().entries();
    char const* fields[] = {"name", "value", "has_callback", "has_builtin", "call_count"};
    vxArray_tag* list = vxCreateStructMatrix(1, features.size(), 5, fields);
    size_t i = 0;
    // A walk of the map, not look-ups: listing counts nothing.
    for (auto const& entry : features) {
        svFeature const& f = entry.second;
        vxSetFieldByNumber(list, i, 0, vxCreateString(f.name));
        vxSetFieldByNumber(list, i, 1, vxCreateDoubleScalar(f.value));
        vxSetFieldByNumber(list, i, 2, vxCreateDoubleScalar(f.oneArgCallback != nullptr ? 1.0 : 0.0));
        vxSetFieldByNumber(list, i, 3, vxCreateDoubleScalar(f.builtin != nullptr ? 1.0 : 0.0));
        vxSetFieldByNumber(list, i, 4, vxCreateDoubleScalar(static_cast<double>(f.callCount)));
        ++i;
    }
    outArgs[0] = list;
}
