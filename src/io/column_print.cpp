// ioColumnPrint: a list laid out in columns, filled down first.
#include "qzservices/io/wrapping.hpp"

#include <uv/uv.hpp>
#include <vx/errors.hpp>

size_t ioColumnPrint(char const* format, size_t count, char** items, size_t columns) {
    if (columns == 0 || format == nullptr || (items == nullptr && count > 0)) vxErrMsg(15);
    size_t const perColumn = count / columns + 1;
    for (size_t row = 0; row < perColumn; ++row) {
        uvPrintf("\n");
        if (row >= count) continue;
        for (size_t c = 0; c < columns; ++c) {
            size_t const index = row + c * perColumn;
            if (index >= count) break;
            // The caller's format takes the item and its column number.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
            uvPrintf(format, items[index], static_cast<int>(c));
#pragma GCC diagnostic pop
        }
    }
    return perColumn;
}
