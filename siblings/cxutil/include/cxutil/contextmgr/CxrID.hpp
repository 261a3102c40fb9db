// The identity of a settings context: each context has its own settings tree.
// 0 is the process's own context.
#pragma once
#include "cxutil/cxutil_export.hpp"

CXUTIL_API_BEGIN

namespace cxutil { namespace contextmgr {

struct CxrID {
    explicit CxrID(int v = 0) : value(v) {}
    int value;
    bool operator<(CxrID const& other) const { return value < other.value; }
    bool operator==(CxrID const& other) const { return value == other.value; }
};

}} // namespace cxutil::contextmgr

CXUTIL_API_END
