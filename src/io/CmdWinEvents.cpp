// The command window's clear and home events.
#include "qzservices/io/CmdWinEvents.hpp"

namespace services { namespace io {

CLCEvent::~CLCEvent() = default;
HomeEvent::~HomeEvent() = default;

}} // namespace services::io
