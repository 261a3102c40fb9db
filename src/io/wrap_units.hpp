// The word wrapper's scans over 16-bit text, the hot-link search's among
// them: eight units at a time with SSE2 (every x86-64 has it), one at a time
// elsewhere.
#pragma once
#include <cstddef>

namespace services { namespace io { namespace detail {

// The first index from `from` (below `end`) whose unit could be breakable or
// a backspace: one at most 0x20 or at least U+1680. The units it passes over
// are neither.
size_t skipPlainUnits(unsigned short const* text, size_t from, size_t end);

// Whether the text holds a tab and whether it holds a backspace, in one pass
// that stops once both are known.
void findTabAndBackspace(unsigned short const* text, size_t length, bool& hasTab, bool& hasBackspace);

// The first index from `from` below `length` that holds `wanted`, or `length`.
size_t findUnit(unsigned short const* text, size_t from, size_t length, unsigned short wanted);

}}} // namespace services::io::detail
