/// @file
/// The exception of a user interrupt, Orrery::System::InterruptException,
/// under the services library's headers: it lives with the other runtime-core
/// types in the orrery library (orrery/InterruptException.hpp).
#pragma once
#include <orrery/InterruptException.hpp>
