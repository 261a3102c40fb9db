// Numeric, logical and character arrays of more than two dimensions, shown
// as a series of two-dimensional pages "A(:,:,1)", "A(:,:,2)", ... Each page
// is a header array of the same class that borrows the data of its page and
// goes to the printer of two-dimensional arrays.
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <clocale>
#include <cstdio>
#include <string>

namespace {

// The page counters and their limits, one entry for each dimension above the
// second. Process-wide and grown only when needed, never shrunk or released
// (intended): the display is not reentrant, and the interpreter's thread
// alone runs it.
int* gPageCounters = nullptr;
int* gPageLimits = nullptr;
size_t gPageCapacity = 0;

// Room for `demand` entries in both vectors, grown to the next multiple of ten
// above it; error number 17 when the memory cannot be had.
void reservePageCounters(size_t demand) {
    if (demand <= gPageCapacity) return;
    size_t const capacity = (demand / 10 + 1) * 10;
    int* counters = static_cast<int*>(uvCalloc(capacity, sizeof(int)));
    int* limits = static_cast<int*>(uvCalloc(capacity, sizeof(int)));
    if (counters == nullptr || limits == nullptr) {
        uvFree(counters);
        uvFree(limits);
        vxErrMsg(17);
    }
    uvFree(gPageCounters);
    uvFree(gPageLimits);
    gPageCounters = counters;
    gPageLimits = limits;
    gPageCapacity = capacity;
}

// Holds the page header: destroyed on every way out, and made to borrow its
// data, so that destroying it never frees the array's.
class PageHeader {
public:
    explicit PageHeader(vxArray const* array) : page_(vxCreateEmptyCopy(array)) {
        if (page_ == nullptr) vxErrMsg(17);
        vxSetDataShared(page_);
    }
    ~PageHeader() { vxDestroyArray(page_); }
    PageHeader(PageHeader const&) = delete;
    PageHeader& operator=(PageHeader const&) = delete;
    vxArray* get() const { return page_; }

private:
    vxArray* page_;
};

// "name(:,:,1,2)"; once the text passes 496 characters the rest of the
// counters give way to ",...".
std::string pageName(char const* name, size_t counterCount) {
    std::string text = name;
    text += "(:,:,";
    char number[16];
    for (size_t k = 0; k < counterCount; ++k) {
        if (k > 0) {
            if (text.size() > 496) {
                text += ",...";
                break;
            }
            text += ',';
        }
        std::snprintf(number, sizeof number, "%d", gPageCounters[k]);
        text += number;
    }
    text += ')';
    return text;
}

} // namespace

void ioPrintNDMatrix(char const* name, vxArray const* array) {
    std::setlocale(LC_NUMERIC, "C");  // not restored
    if (name == nullptr) name = "";
    if (array == nullptr) return;
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);
    size_t const ndim = vxGetNumberOfDimensions(array);
    // An empty array's message tells its shape; two dimensions are one page.
    if (vxIsEmpty(array) || ndim <= 2) {
        ioPrintMatrix(name, array);
        return;
    }

    size_t const* dims = vxGetDimensions(array);
    PageHeader header(array);
    vxArray* page = header.get();
    size_t const pageDims[2] = {dims[0], dims[1]};
    vxSetDimensions(page, 2, pageDims);
    auto* re = static_cast<char*>(vxGetData(array));
    auto* im = static_cast<char*>(vxGetImagData(array));
    vxSetData(page, re);
    vxSetImagData(page, im);
    size_t const step = dims[0] * dims[1] * vxGetElementSize(array);

    size_t const counterCount = ndim - 2;
    reservePageCounters(counterCount);
    for (size_t k = 0; k < counterCount; ++k) {
        gPageCounters[k] = 1;
        gPageLimits[k] = static_cast<int>(dims[k + 2]);
    }
    bool const isChar = vxGetClassID(array) == vxCHAR_CLASS;
    for (;;) {
        std::string const shown = pageName(name, counterCount);
        if (isChar)
            dispf_string(page, name, shown.c_str());
        else
            ioPrintMatrix(shown.c_str(), page);

        size_t k = 0;
        while (k < counterCount && ++gPageCounters[k] > gPageLimits[k]) {
            gPageCounters[k] = 1;
            ++k;
        }
        if (k == counterCount) return;  // the last counter has passed its limit
        re += step;
        if (im != nullptr) im += step;
        vxSetData(page, re);
        vxSetImagData(page, im);
    }
}

void ioPrintNDMatrix(vxArray const* array) { ioPrintNDMatrix(ioGetArrayName(array), array); }
