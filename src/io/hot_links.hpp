// The compiled hot-link pattern, shared by the wrapper and the stripper.
#pragma once
#include <rx/rx.hpp>

// Built on first use (thread-safe), destroyed at exit.
RX_Tree const& hyperlinkTree();
