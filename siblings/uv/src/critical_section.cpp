// The utility layer's older recursive lock.
#include "uv/CriticalSection.hpp"

namespace Orrery { namespace System {

void CriticalSection_DEPRECATED::init() { initialized_ = true; }
void CriticalSection_DEPRECATED::acquire() { mutex_.lock(); }
void CriticalSection_DEPRECATED::release() { mutex_.unlock(); }

}} // namespace Orrery::System
