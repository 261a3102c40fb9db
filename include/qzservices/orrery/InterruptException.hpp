/// @file
/// The exception of a user interrupt, Orrery::System::InterruptException,
/// under the services library's headers: it lives with the other exceptions
/// of the runtime core in the orrery library (orrery/exceptions.hpp).
#pragma once
#include <orrery/exceptions.hpp>
