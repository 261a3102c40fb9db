// The native display library: whether an X display can be reached, and the
// bell. No X library is linked: the display named by DISPLAY counts as
// available when its server's socket is there to connect to.
#pragma once
#include "nd/nd_export.hpp"

ND_API_BEGIN

namespace nd { namespace display {

// DISPLAY is "[host]:number[.screen]". With no host (or "unix") the server's
// socket is /tmp/.X11-unix/X<number> and must exist as a socket; with a host,
// TCP port 6000 + number on it must accept a connection within a second.
// Unset, empty or malformed names give false.
bool isAvailable();

// Rings the bell of the controlling terminal, if the process has one.
void beep();
// The number of beep calls in this process, whether or not a bell rang.
unsigned long beepCount();

}} // namespace nd::display

ND_API_END
