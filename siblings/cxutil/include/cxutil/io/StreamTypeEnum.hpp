// Which of the two text streams, output or error, a piece of text belongs to.
#pragma once
#include "cxutil/cxutil_export.hpp"

CXUTIL_API_BEGIN

namespace cxutil { namespace io {

// Which of the two text streams a piece of text belongs to.
enum StreamTypeEnum { OUTPUT_STREAM = 0, ERROR_STREAM = 1 };

}} // namespace cxutil::io

CXUTIL_API_END
