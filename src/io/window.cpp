// The window size, eighty-column mode, the beep, and the built-ins that report
// the size.
#include "qzservices/io/window.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/callbacks.hpp"

#include "vx/array.hpp"
#include "vx/errors.hpp"

#include <sys/ioctl.h>

namespace {

size_t windowColumns = 80;
size_t windowRows = 25;
size_t effectiveColumns = 80;
bool useEightyColumns = false;
bool buzzDisabled = false;

// The checks every size built-in makes at its head.
void checkSizeBuiltinArgs(int outCount, int inCount) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    if (inCount < 0) vxm::detail::error_minrhs();
}

} // namespace

void ioUseEightyColumns(int on) {
    useEightyColumns = on != 0;
    effectiveColumns = useEightyColumns ? 80 : windowColumns;
}

size_t ioSetNumWindowColumns(size_t columns) {
    size_t old = effectiveColumns;
    windowColumns = columns;
    if (!useEightyColumns) effectiveColumns = columns;
    return old;
}

size_t ioSetNumWindowRows(size_t rows) {
    size_t old = windowRows;
    windowRows = rows;
    return old;
}

size_t ioGetNumWindowColumns() { return effectiveColumns; }
size_t ioGetNumWindowRows() { return windowRows; }

void ioUpdateWindowSize() {
    struct winsize size {};
    if (ioctl(0, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return;
    ioSetNumWindowColumns(size.ws_col);
    ioSetNumWindowRows(size.ws_row);
}

void ioBuzz() {
    if (buzzDisabled) return;
    if (!services::io::CXStream::CXOut.supportsBuzz()) return;
    _sv_iocb.sysBeep();
}

void ioSetBuzz(int on) { buzzDisabled = !on; }
int ioGetBuzz() { return !buzzDisabled; }

void numWindowColsFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag const**) {
    checkSizeBuiltinArgs(outCount, inCount);
    outArgs[0] = vxCreateDoubleScalar(static_cast<double>(ioGetNumWindowColumns()));
}

void numWindowRowsFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag const**) {
    checkSizeBuiltinArgs(outCount, inCount);
    outArgs[0] = vxCreateDoubleScalar(static_cast<double>(ioGetNumWindowRows()));
}

size_t ioGetRealNumWindowColumns() { return windowColumns; }
bool ioGetUseEightyColumns() { return useEightyColumns; }
