#pragma once

namespace cxutil { namespace io {

// Which of the two text streams a piece of text belongs to.
enum StreamTypeEnum { OUTPUT_STREAM = 0, ERROR_STREAM = 1 };

}} // namespace cxutil::io
