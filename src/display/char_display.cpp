// dispf_string: a character array as its rows of 16-bit units, each page of
// a many-dimensional array as a block. A wide row is never broken into
// column pages; it is left to the line wrapping of the output.
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/io/UnicodeStreams.hpp"
#include "display/display_state.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

namespace {

// Rows go out in pieces of this many units, with an interrupt check after each.
size_t const kPiece = 8192;

} // namespace

void dispf_string(vxArray const* array, char const* name, char const* pageName) {
    if (array == nullptr) return;
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);
    size_t const count = vxGetNumberOfElements(array);
    if (count == 0) return;
    if (vxGetClassID(array) != vxCHAR_CLASS) vxErrMsg(15);

    char const* shown = pageName != nullptr ? pageName : (name != nullptr ? name : "");
    if (*shown && display_state::showNameFlag) uvPrintf("%s%s =%s\n", newline, shown, newline);
    display_state::showNameFlag = 1;

    services::io::uout out;
    // Written through the buffer, not the stream, so that an interrupt raised
    // by the output (the more prompt's quit) reaches the caller.
    std::basic_streambuf<unsigned short>* buffer = out.rdbuf();
    auto const* units = static_cast<vxChar const*>(vxGetData(array));
    size_t const* dims = vxGetDimensions(array);
    size_t const rows = dims[0];
    size_t const cols = dims[1];
    size_t const pages = count / rows / cols;

    // One piece at a time on the stack: nothing to free if an interrupt leaves.
    vxChar piece[kPiece];
    for (size_t p = 0; p < pages; ++p) {
        vxChar const* page = units + p * rows * cols;
        for (size_t r = 0; r < rows; ++r) {
            for (size_t start = 0; start < cols; start += kPiece) {
                size_t const n = cols - start < kPiece ? cols - start : kPiece;
                for (size_t k = 0; k < n; ++k) {
                    vxChar const u = page[r + (start + k) * rows];
                    piece[k] = u == 0 ? vxChar(' ') : u;
                }
                buffer->sputn(piece, static_cast<std::streamsize>(n));
                uvLongjmpIfInterruptPending();
            }
            uvPrintf("\n");
        }
    }
}
