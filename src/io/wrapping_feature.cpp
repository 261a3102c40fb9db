// The switches of the word wrapper: the WrapWarningsAndErrors feature, the
// scope object that turns wrapping off for a while, and the question whether
// CXOut's text is formatted for display, registered with uv at load.
#include "qzservices/io/wrapping.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/state/features.hpp"

#include <uv/uv.hpp>
#include <uv/warning_utilities.hpp>

char const* const WrappingFeatureRegistration::featureName = "WrapWarningsAndErrors";
bool WrappingFeatureRegistration::enabled = true;
bool WrappingFeatureRegistration::featured = true;

void WrappingFeatureRegistration::setFeatured(int value) { featured = value != 0; }

ioWarningWrappingDisablor::ioWarningWrappingDisablor() : saved_(WrappingFeatureRegistration::enabled) {
    WrappingFeatureRegistration::enabled = false;
}

ioWarningWrappingDisablor::~ioWarningWrappingDisablor() { WrappingFeatureRegistration::enabled = saved_; }

bool needsFormattingForDisplay() { return services::io::CXStream::CXOut.needsFormattingForDisplay(); }

namespace {

struct RegisterWrappingFeature {
    RegisterWrappingFeature() {
        svRegisterOneArg(WrappingFeatureRegistration::featureName, 1, &WrappingFeatureRegistration::setFeatured);
        uvWarningUtilities::registerNeedsFormattingForDisplay(&needsFormattingForDisplay);
    }
};
int const registeredAtLoad = services::static_manager<RegisterWrappingFeature>::instance(0);

} // namespace
