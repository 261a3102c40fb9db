// The compiled form behind RX_Tree, and the matcher's access to results.
#pragma once
#include "rx/rx.hpp"

#include <boost/regex/icu.hpp>

#include <vector>

struct RX_Tree::Impl {
    boost::u32regex regex;
    // The units with which every match begins, when the pattern says so
    // plainly (at most four); empty when any unit might begin one.
    std::vector<unsigned short> firstUnits;
};

struct RX_TreeAccess {
    static std::vector<RX_Token>& tokens(RX_Results& r) { return r.tokens_.tokens_; }
    static void setMatch(RX_Results& r, size_t start, size_t length) {
        r.matched_ = true;
        r.start_ = start;
        r.length_ = length;
    }
    static void abandon(RX_Results& r) { r.abandoned_ = true; }
};
