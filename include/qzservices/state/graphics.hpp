/// @file
/// What the graphics system needs to know before it exists: whether there is a
/// display, whether figure windows may open, the graphics version and its
/// features, hooks for the deployment runtime and native extensions, and the
/// factory control font.
///
/// Two notions of display differ on purpose: svGraphicsHasDisplay asks the
/// native display library, while the no-figures state needs DISPLAY set and a
/// running Java with the AWT. Both questions can be answered by functions a
/// host or a test installs. No locks: everything is set on the main thread.
#pragma once
#include "qzservices/export.hpp"
#include <boost/function.hpp>

#include <string>

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// ---- display ----
/// False when the display was taken away, else the display function's answer.
/// Marks the display as queried. An empty function throws boost::bad_function_call.
bool svGraphicsHasDisplay();
/// Stores whether a display is allowed: true cannot create a display that the
/// display function denies, so in effect this only takes the display away.
void svGraphicsSetHasDisplay(bool allowed);
/// Display allowed again, flags cleared, nd::display::isAvailable asked again.
void svGraphicsResetHasDisplay();
/// Replaces the display function (a host's or a test's) and updates the record.
void svGraphicsSetIsDisplayAvailableFcn(boost::function<bool()> fcn);
/// The bell of the display, or a BEL character on the command window without one.
void svSysBeep();

/// ---- figures ----
/// Figures can be forced off; otherwise there are none without a display.
bool svGraphicsGetNoFigures();  ///< marks the state as queried
/// Forces figures off (or lifts the force) and updates the feature's value.
void svGraphicsSetNoFigures(bool forced);
///@{
/// No force, flags cleared, the production display question put back.
void svGraphicsResetNoFigures();
bool svGraphicsHasDisplayStub();  ///< DISPLAY is set, whatever its text
bool graphicsHasDisplayProductionImpl();  ///< the stub, Java enabled, and the AWT in use
///@}

// ---- graphics version and state ----
int pgGetDefaultVersion();  ///< 1
bool pgGetDefaultSingleGraphics();  ///< false
int pgGetVersion();  ///< 1 or 2
/// Accepts 1 and 2; anything else warns and leaves the version.
void pgSetVersion(int version);
///@{
/// The flags of the graphics state, plain data until pgValidateFeatures
/// copies them into the features: initialised (never cleared but by
/// initializePGState), single graphics, production.
bool pgIsInitialized();
void pgSetInitialized();
bool pgGetSingleGraphics();
void pgSetSingleGraphics(bool single);
bool pgIsProduction();
void pgSetProduction(bool production);
bool pgUsingCalyxClasses();  ///< version 2
bool pgIsMixedMode();  ///< not single graphics
///@}
/// Once initialised, copies the state into the four graphics features' values.
void pgValidateFeatures();
///@{
/// The names of the four graphics features.
char const* UsePG2Str();
char const* UseGBT2Str();
char const* PGUsingCALYXClassesStr();
char const* CALYXUsingSingleGraphicsStr();
///@}

///@{
/// The root language: equal texts (ignoring case, over 32 characters) change
/// nothing; otherwise the text is stored cut at 32 characters, lowered unless
/// it is exactly "C", and ioLanguageSwitcher is told the text as given.
char const* svGetRootLanguage();
void svSetRootLanguage(char const* text);
///@}

///@{
/// Built-ins of the features, each returning a logical. The display one asks
/// the display function; the four graphics ones validate the features first,
/// and all but "UsePG2" refuse an argument as read-only.
void svGraphicsHasDisplayBuiltin(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void svGraphicsNoFiguresBuiltin(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void isPG2Enabled(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void isGBT2Enabled(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void isPGUsingCALYXClasses(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
void isCALYXUsingSingleGraphics(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
///@}

///@{
/// Registration of "HasDisplay", "NoFigureWindows" and the four graphics
/// features; each runs once, at load.
int init_registerGraphicsDisplayFeatures(int);
int init_graphicsNoFiguresInit(int);
int init_registerPGFeatures(int);
///@}

namespace services { namespace Graphics {

/// Forced off, or no display by the display question: unlike
/// svGraphicsGetNoFigures it does not mark the state as queried.
bool getNoFigures();
/// Replaces the no-figures state's display question.
void setHasDisplayFcn(boost::function<bool()> fcn);
/// Writes getNoFigures() into the "NoFigureWindows" record.
void updateFeatureValue();
///@{
/// Set by the queries and setters above, cleared by the resets; kept for
/// diagnostics, nothing in this library decides on them.
bool displayQueried();
bool displayOverridden();
bool noFiguresQueried();
bool noFiguresOverridden();
///@}

namespace State {
/// The start state: not initialised, version 1, not single graphics,
/// production, no root language.
void initializePGState();
///@{
/// Whether no root language is stored, and forgetting it (no switcher call).
bool isLanguageEmpty();
void clearLanguage();
///@}
} // namespace State

namespace FactoryFont {
char const* getFactoryControlFontName();  ///< null until set
void setFactoryControlFontName(char const* name);  ///< copies; frees the old text
double getFactoryControlFontSize();  ///< 0 until set
void setFactoryControlFontSize(double size);  ///< the size in points, stored as given
void resetFactoryControlfont();  ///< no name, size 0
} // namespace FactoryFont

/// Hooks of the deployment runtime. A hook must be set before it is called;
/// calling one that is not set throws boost::bad_function_call.
namespace CxrHooks {
/// The hooks' types, the setter of all six (null unsets one), a caller for
/// each, and the reset that unsets them all.
typedef void* (*GetCurrentFcn)();
typedef void (*ActivationFcn)(void*);  ///< the push and pop hooks: take a runtime
typedef void (*FigureFcn)(void*);  ///< the register and unregister hooks: take a figure
typedef void* (*CxrFromFigureFcn)(void*);  ///< the hook that finds a figure's runtime
/// Installs all six hooks at once; a null argument unsets that hook.
void pg_set_cxr_hooks(GetCurrentFcn getCurrent, ActivationFcn pushActivation, ActivationFcn popActivation,
                      FigureFcn registerFigure, FigureFcn unregisterFigure, CxrFromFigureFcn getCxrFromFigure);
void* getCurrentCxrFcn();  ///< calls the getCurrent hook: the runtime in use
void pushActivationFcn(void* cxr);  ///< calls the pushActivation hook with `cxr`
void popActivationFcn(void* cxr);  ///< calls the popActivation hook with `cxr`
void registerFigureFcn(void* figure);  ///< calls the registerFigure hook with `figure`
void unregisteFigureFcn(void* figure);  ///< one "r" short, as the hook has always been named
void* getCxrFromFigureFcn(void* figure);  ///< calls the getCxrFromFigure hook: `figure`'s runtime
void resetCxrCallbacks();  ///< unsets all six hooks
} // namespace CxrHooks

/// Bridges of native extensions to figure properties; an unset bridge throws
/// boost::bad_function_call.
namespace VxeHooks {
///@{
/// The setter and getter of a property, installed together (null unsets),
/// called through the bridges, read back, and unset by the reset.
typedef int (*SetFcn)(double handle, char const* property, vxArray_tag* value);
typedef vxArray_tag* (*GetFcn)(double handle, char const* property);
void setVxeCallbacks(SetFcn set, GetFcn get);
int vxeSetBridge(double handle, char const* property, vxArray_tag* value);
vxArray_tag* vxeGetBridge(double handle, char const* property);
SetFcn getVxeSetFcn();
GetFcn getVxeGetFcn();
void resetCallbacks();
///@}
} // namespace VxeHooks

}} // namespace services::Graphics

QZSERVICES_API_END
