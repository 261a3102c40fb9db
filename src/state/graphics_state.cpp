// The graphics version and its features, the root language, the factory
// control font and the hooks of the deployment runtime and native extensions.
#include "qzservices/state/features.hpp"
#include "qzservices/state/graphics.hpp"
#include "qzservices/state/locale_charset.hpp"

#include <msg/calyx_messages.hpp>
#include <uv/lower_case.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <boost/function/function_base.hpp>

#include <strings.h>

#include <string>

namespace {

struct PGState {
    int version = 1;
    bool singleGraphics = false;
    bool production = true;
    bool initialized = false;
    std::string rootLanguage;
};

PGState& pgState() {
    static PGState state;
    return state;
}

std::size_t const kLanguageLength = 32;

char const kUsePG2[] = "UsePG2";
char const kUseGBT2[] = "UseGBT2";
char const kPGUsingCALYXClasses[] = "PGUsingCALYXClasses";
char const kCALYXUsingSingleGraphics[] = "CALYXUsingSingleGraphics";

void setRecord(char const* name, bool value) {
    if (svFeature* record = svFindFeatureEntry(name)) record->value = value ? 1 : 0;
}

// The feature's value after a refresh from the state, as a logical.
void returnFeatureValue(char const* name, vxArray_tag** outArgs) {
    pgValidateFeatures();
    svFeature* record = svFindFeatureEntry(name);
    outArgs[0] = vxCreateLogicalScalar(record != nullptr && record->value != 0);
}

void returnReadOnlyFeatureValue(char const* name, int inCount, vxArray_tag** outArgs) {
    if (inCount > 0) vxErrMsgId(component_CALYX::catalog_pg::key_ReadOnlyFeature(name));
    returnFeatureValue(name, outArgs);
}

} // namespace

int pgGetDefaultVersion() { return 1; }
bool pgGetDefaultSingleGraphics() { return false; }
int pgGetVersion() { return pgState().version; }

void pgSetVersion(int version) {
    if (version != 1 && version != 2) {
        vxWarningMsgId(component_CALYX::catalog_pg::key_InvalidPGVersion(version));
        return;
    }
    pgState().version = version;
}

bool pgIsInitialized() { return pgState().initialized; }
void pgSetInitialized() { pgState().initialized = true; }
bool pgGetSingleGraphics() { return pgState().singleGraphics; }
void pgSetSingleGraphics(bool single) { pgState().singleGraphics = single; }
bool pgIsProduction() { return pgState().production; }
void pgSetProduction(bool production) { pgState().production = production; }
bool pgUsingCalyxClasses() { return pgState().version == 2; }
bool pgIsMixedMode() { return !pgState().singleGraphics; }

void pgValidateFeatures() {
    // Before initialisation the state is not settled: the records keep their load values.
    if (!pgState().initialized) return;
    bool const usingClasses = pgUsingCalyxClasses();
    setRecord(kPGUsingCALYXClasses, usingClasses);
    setRecord(kUsePG2, usingClasses);
    setRecord(kUseGBT2, usingClasses);
    setRecord(kCALYXUsingSingleGraphics, pgState().singleGraphics);
}

char const* UsePG2Str() { return kUsePG2; }
char const* UseGBT2Str() { return kUseGBT2; }
char const* PGUsingCALYXClassesStr() { return kPGUsingCALYXClasses; }
char const* CALYXUsingSingleGraphicsStr() { return kCALYXUsingSingleGraphics; }

char const* svGetRootLanguage() { return pgState().rootLanguage.c_str(); }

void svSetRootLanguage(char const* text) {
    if (text == nullptr) return;
    std::string& language = pgState().rootLanguage;
    if (strncasecmp(text, language.c_str(), kLanguageLength) == 0) return;
    std::string stored(text, strnlen(text, kLanguageLength));
    // "C" names the untranslated messages and keeps its case.
    if (stored != "C") uvLowerCase(&stored[0]);
    language = stored;
    ioLanguageSwitcher(text);
}

// "UsePG2" answers whatever it is given; the three others are read-only.
void isPG2Enabled(int /*outCount*/, vxArray_tag** outArgs, int /*inCount*/, vxArray_tag** /*inArgs*/) {
    returnFeatureValue(kUsePG2, outArgs);
}
void isGBT2Enabled(int /*outCount*/, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    returnReadOnlyFeatureValue(kUseGBT2, inCount, outArgs);
}
void isPGUsingCALYXClasses(int /*outCount*/, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    returnReadOnlyFeatureValue(kPGUsingCALYXClasses, inCount, outArgs);
}
void isCALYXUsingSingleGraphics(int /*outCount*/, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    returnReadOnlyFeatureValue(kCALYXUsingSingleGraphics, inCount, outArgs);
}

namespace services { namespace Graphics {

namespace State {
void initializePGState() {
    PGState& s = pgState();
    s.initialized = false;
    s.version = pgGetDefaultVersion();
    s.singleGraphics = pgGetDefaultSingleGraphics();
    s.production = true;
    clearLanguage();
}
bool isLanguageEmpty() { return pgState().rootLanguage.empty(); }
void clearLanguage() { pgState().rootLanguage.clear(); }
} // namespace State

namespace FactoryFont {
namespace {
char* controlFontName = nullptr;  // from uvStrdup
double controlFontSize = 0;
} // namespace
char const* getFactoryControlFontName() { return controlFontName; }
void setFactoryControlFontName(char const* name) {
    char* copy = uvStrdup(name);  // copied first: `name` may be the old text
    uvFree(controlFontName);
    controlFontName = copy;
}
double getFactoryControlFontSize() { return controlFontSize; }
void setFactoryControlFontSize(double size) { controlFontSize = size; }
void resetFactoryControlfont() {
    uvFree(controlFontName);
    controlFontName = nullptr;
    controlFontSize = 0;
}
} // namespace FactoryFont

namespace CxrHooks {
namespace {
GetCurrentFcn gGetCurrent = nullptr;
ActivationFcn gPushActivation = nullptr;
ActivationFcn gPopActivation = nullptr;
FigureFcn gRegisterFigure = nullptr;
FigureFcn gUnregisterFigure = nullptr;
CxrFromFigureFcn gGetCxrFromFigure = nullptr;

template <class Fn>
Fn require(Fn hook) {
    if (hook == nullptr) throw boost::bad_function_call();
    return hook;
}
} // namespace
void pg_set_cxr_hooks(GetCurrentFcn getCurrent, ActivationFcn pushActivation, ActivationFcn popActivation,
                      FigureFcn registerFigure, FigureFcn unregisterFigure, CxrFromFigureFcn getCxrFromFigure) {
    gGetCurrent = getCurrent;
    gPushActivation = pushActivation;
    gPopActivation = popActivation;
    gRegisterFigure = registerFigure;
    gUnregisterFigure = unregisterFigure;
    gGetCxrFromFigure = getCxrFromFigure;
}
void* getCurrentCxrFcn() { return require(gGetCurrent)(); }
void pushActivationFcn(void* cxr) { require(gPushActivation)(cxr); }
void popActivationFcn(void* cxr) { require(gPopActivation)(cxr); }
void registerFigureFcn(void* figure) { require(gRegisterFigure)(figure); }
void unregisteFigureFcn(void* figure) { require(gUnregisterFigure)(figure); }
void* getCxrFromFigureFcn(void* figure) { return require(gGetCxrFromFigure)(figure); }
void resetCxrCallbacks() { pg_set_cxr_hooks(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr); }
} // namespace CxrHooks

namespace VxeHooks {
namespace {
SetFcn gSet = nullptr;
GetFcn gGet = nullptr;
} // namespace
void setVxeCallbacks(SetFcn set, GetFcn get) {
    gSet = set;
    gGet = get;
}
int vxeSetBridge(double handle, char const* property, vxArray_tag* value) {
    if (gSet == nullptr) throw boost::bad_function_call();
    return gSet(handle, property, value);
}
vxArray_tag* vxeGetBridge(double handle, char const* property) {
    if (gGet == nullptr) throw boost::bad_function_call();
    return gGet(handle, property);
}
SetFcn getVxeSetFcn() { return gSet; }
GetFcn getVxeGetFcn() { return gGet; }
void resetCallbacks() { setVxeCallbacks(nullptr, nullptr); }
} // namespace VxeHooks

}} // namespace services::Graphics

namespace {

struct RegisterPGFeatures {
    RegisterPGFeatures() {
        services::Graphics::State::initializePGState();
        bool const usingClasses = pgUsingCalyxClasses();
        svRegisterBuiltin(kUsePG2, usingClasses ? 1 : 0, &isPG2Enabled);
        svRegisterBuiltin(kUseGBT2, usingClasses ? 1 : 0, &isGBT2Enabled);
        svRegisterBuiltin(kPGUsingCALYXClasses, usingClasses ? 1 : 0, &isPGUsingCALYXClasses);
        svRegisterBuiltin(kCALYXUsingSingleGraphics, pgGetSingleGraphics() ? 1 : 0, &isCALYXUsingSingleGraphics);
    }
};

} // namespace

int init_registerPGFeatures(int) { return services::static_manager<RegisterPGFeatures>::instance(0); }

namespace {
int const pgRegisteredAtLoad = init_registerPGFeatures(0);
} // namespace
