// The hot-link pattern, shared by the wrapper and the stripper, and the
// search for the next link that the wrapper makes at every link.
#pragma once
#include <rx/rx.hpp>

#include <cstddef>

// Built on first use (thread-safe), destroyed at exit.
RX_Tree const& hyperlinkTree();

// Where the two tags of one hot link lie, in units of the text.
struct HotLinkTags {
    size_t openStart = 0;
    size_t openLength = 0;
    size_t closeStart = 0;
    size_t closeLength = 0;
};

// The first hot link that starts at `from` or later: the match of
// hyperlinkTree(), found by a plain scan where the scan can be sure of the
// answer and by the pattern where it cannot. False when no link follows.
bool findHotLink(unsigned short const* text, size_t length, size_t from, HotLinkTags& tags);
