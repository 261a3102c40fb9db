// Whether there is a display and whether figure windows may open, with the
// features that report them and the session's beep.
#include "qzservices/io/callbacks.hpp"
#include "qzservices/state/features.hpp"
#include "qzservices/state/graphics.hpp"
#include "qzservices/state/session_modes.hpp"

#include <nd/display.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <cstdlib>

namespace {

struct DisplayState {
    bool displayAllowed = true;
    boost::function<bool()> isDisplayAvailableFcn = &nd::display::isAvailable;
    bool displayQueried = false;
    bool displayOverridden = false;
};

struct NoFiguresState {
    bool noFiguresForced = false;
    boost::function<bool()> hasDisplayFcn = &graphicsHasDisplayProductionImpl;
    bool noFiguresQueried = false;
    bool noFiguresOverridden = false;
};

// Function-local, so that the registrations at load find them built.
DisplayState& display() {
    static DisplayState state;
    return state;
}

NoFiguresState& noFigures() {
    static NoFiguresState state;
    return state;
}

// The display answer without marking a query. A function that is not set
// answers "no display" here, so that a setter never throws.
bool currentHasDisplay() {
    DisplayState const& d = display();
    return d.displayAllowed && !d.isDisplayAvailableFcn.empty() && d.isDisplayAvailableFcn();
}

void updateHasDisplayRecord() {
    if (svFeature* record = svFindFeatureEntry("HasDisplay")) record->value = currentHasDisplay() ? 1 : 0;
}

} // namespace

bool svGraphicsHasDisplay() {
    DisplayState& d = display();
    d.displayQueried = true;
    if (!d.displayAllowed) return false;
    return d.isDisplayAvailableFcn();  // throws boost::bad_function_call when empty
}

void svGraphicsSetHasDisplay(bool allowed) {
    DisplayState& d = display();
    d.displayOverridden = true;
    d.displayAllowed = allowed;
    updateHasDisplayRecord();
}

void svGraphicsResetHasDisplay() {
    DisplayState& d = display();
    d.displayAllowed = true;
    d.displayQueried = false;
    d.displayOverridden = false;
    d.isDisplayAvailableFcn = &nd::display::isAvailable;
    updateHasDisplayRecord();
}

void svGraphicsSetIsDisplayAvailableFcn(boost::function<bool()> fcn) {
    display().isDisplayAvailableFcn = std::move(fcn);
    updateHasDisplayRecord();
}

void svSysBeep() {
    if (svGraphicsHasDisplay())
        nd::display::beep();
    else
        uvPrintf("\a");
}

bool svGraphicsGetNoFigures() {
    noFigures().noFiguresQueried = true;
    return services::Graphics::getNoFigures();
}

void svGraphicsSetNoFigures(bool forced) {
    NoFiguresState& n = noFigures();
    n.noFiguresOverridden = true;
    n.noFiguresForced = forced;
    services::Graphics::updateFeatureValue();
}

void svGraphicsResetNoFigures() {
    NoFiguresState& n = noFigures();
    n.noFiguresForced = false;
    n.noFiguresQueried = false;
    n.noFiguresOverridden = false;
    services::Graphics::setHasDisplayFcn(&graphicsHasDisplayProductionImpl);
    services::Graphics::updateFeatureValue();
}

bool svGraphicsHasDisplayStub() { return std::getenv("DISPLAY") != nullptr; }

bool graphicsHasDisplayProductionImpl() {
    return svGraphicsHasDisplayStub() && svIsJavaEnabled() && svJavaUseAWT();
}

namespace services { namespace Graphics {

bool getNoFigures() {
    NoFiguresState const& n = noFigures();
    return n.noFiguresForced || !n.hasDisplayFcn();
}

void setHasDisplayFcn(boost::function<bool()> fcn) { noFigures().hasDisplayFcn = std::move(fcn); }

void updateFeatureValue() {
    if (svFeature* record = svFindFeatureEntry("NoFigureWindows")) record->value = getNoFigures() ? 1 : 0;
}

bool displayQueried() { return display().displayQueried; }
bool displayOverridden() { return display().displayOverridden; }
bool noFiguresQueried() { return noFigures().noFiguresQueried; }
bool noFiguresOverridden() { return noFigures().noFiguresOverridden; }

}} // namespace services::Graphics

// "HasDisplay": the logical display state, without counting as a query.
void svGraphicsHasDisplayBuiltin(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    DisplayState const& d = display();
    outArgs[0] = vxCreateLogicalScalar(d.displayAllowed && d.isDisplayAvailableFcn());
}

// "NoFigureWindows": the logical no-figures state.
void svGraphicsNoFiguresBuiltin(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    outArgs[0] = vxCreateLogicalScalar(svGraphicsGetNoFigures());
}

namespace {

struct RegisterGraphicsDisplayFeatures {
    RegisterGraphicsDisplayFeatures() {
        svRegisterBuiltin("HasDisplay", 0, &svGraphicsHasDisplayBuiltin);
        svGraphicsResetHasDisplay();  // brings the record up to date
        svSetWS_SysBeepFcn(&svSysBeep);
    }
};

struct GraphicsNoFiguresInit {
    GraphicsNoFiguresInit() {
        svRegisterBuiltin("NoFigureWindows", std::getenv("DISPLAY") == nullptr ? 1 : 0, &svGraphicsNoFiguresBuiltin);
        svGraphicsResetNoFigures();
    }
};

} // namespace

int init_registerGraphicsDisplayFeatures(int) {
    return services::static_manager<RegisterGraphicsDisplayFeatures>::instance(0);
}
int init_graphicsNoFiguresInit(int) { return services::static_manager<GraphicsNoFiguresInit>::instance(0); }

namespace {
int const displayRegisteredAtLoad = init_registerGraphicsDisplayFeatures(0);
int const noFiguresRegisteredAtLoad = init_graphicsNoFiguresInit(0);
} // namespace
