// The "container" feature: its state, the machine it holds, and its built-in.
#include "qzservices/containers/ContainerFeature.hpp"
#include "qzservices/containers/path_manager_fcns.hpp"
#include "qzservices/state/features.hpp"

#include <fd/i18n/convert.hpp>
#include <msg/calyx_messages.hpp>
#include <px/px.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <cstring>
#include <cwctype>

unsigned short* ContainerFeature::stateNames[2] = {nullptr, nullptr};

namespace {

unsigned short* utf16Copy(char const* text) {
    fd::i18n::ustring const u = fd::i18n::to_ustring(text);
    auto* copy = static_cast<unsigned short*>(uvCallocWithCheck(u.size() + 1, sizeof(unsigned short)));
    std::memcpy(copy, u.data(), u.size() * sizeof(unsigned short));
    return copy;
}

bool equalsIgnoringCase(vxChar const* units, size_t n, char const* word) {
    if (std::strlen(word) != n) return false;
    for (size_t i = 0; i < n; ++i) {
        if (units[i] > 0x7f || std::towlower(units[i]) != static_cast<wint_t>(word[i])) return false;
    }
    return true;
}

vxArray_tag* stateNameArray(ContainerFeature::ContainerFeatureState state) {
    unsigned short const* name = ContainerFeature::getStateName(state);
    size_t n = 0;
    while (name && name[n]) ++n;
    return vxCreateString(utf16_to_lcp(name, n).c_str());
}

struct RegisterContainerFeature {
    RegisterContainerFeature() { getContainerFeature(); }
};

} // namespace

ContainerFeature::ContainerFeature() : state(0), startRFSM(nullptr) {
    setStateName(0, nullptr);
    setStateName(1, nullptr);
    stateNames[0] = utf16Copy("off");
    stateNames[1] = utf16Copy("on");
    RFSMbuilder* builder = new RFSMbuilder;
    startRFSM = builder->makeRFSM();
    delete builder;  // the machine stays
    // The feature is off at load: the path manager starts with the plain set.
    svSetPathManagerDefaultIOFcnsOrig();
    svRegisterBuiltin("container", 0, &containerFeatureBuiltin);
}

ContainerFeature::~ContainerFeature() {
    delete startRFSM;
    setStateName(0, nullptr);
    setStateName(1, nullptr);
}

unsigned short const* ContainerFeature::getStateName(ContainerFeatureState s) {
    return s == 0 || s == 1 ? stateNames[s] : nullptr;
}

void ContainerFeature::setStateName(ContainerFeatureState s, unsigned short const* text) {
    if (s != 0 && s != 1) return;
    uvFree(stateNames[s]);
    stateNames[s] = nullptr;
    if (text == nullptr) return;
    size_t n = 0;
    while (text[n]) ++n;
    stateNames[s] = static_cast<unsigned short*>(uvCallocWithCheck(n + 1, sizeof(unsigned short)));
    std::memcpy(stateNames[s], text, n * sizeof(unsigned short));
}

ContainerFeature& getContainerFeature() {
    // Made at first use (the static initialiser below makes sure that is at
    // load); destroyed at exit, which deletes the machine.
    static ContainerFeature feature;
    return feature;
}

bool svIsContainerFeatureOn() { return getContainerFeature().getState() == 1; }

void containerFeatureBuiltin(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    ContainerFeature& feature = getContainerFeature();
    if (inCount == 0) {
        if (outArgs != nullptr) outArgs[0] = stateNameArray(feature.getState());
        return;
    }
    if (inArgs == nullptr || !vxIsChar(inArgs[0])) vxErrMsgId(CALYX::legacy_two_part::wrongContainerFeatureInput());
    std::pair<vxChar const*, size_t> const text = vxm::detail::get_vxchar_ptr_and_len(inArgs[0]);
    ContainerFeature::ContainerFeatureState next;
    if (equalsIgnoringCase(text.first, text.second, "on")) next = 1;
    else if (equalsIgnoringCase(text.first, text.second, "off")) next = 0;
    else vxErrMsgId(CALYX::legacy_two_part::wrongContainerFeatureValue());
    if (outCount == 1 && outArgs != nullptr) outArgs[0] = stateNameArray(feature.getState());
    feature.setState(next);
    svSetPathManagerDefaultIOFcns();
    pxUpdatePathArrayDefaultIOFcns();
}

int init_registerContainerFeature(int) { return services::static_manager<RegisterContainerFeature>::instance(0); }

namespace {
int const registeredAtLoad = init_registerContainerFeature(0);
}
