// Structure display: a scalar structure as its field names, right-aligned,
// each with its value on one line or its size summary; a structure array as
// its size and the list of its field names.
#include "qzservices/display/struct_display.hpp"
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/number_formats.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/display/sizes.hpp"
#include "qzservices/io/UnicodeStreams.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"
#include "display/display_state.hpp"
#include "display/array_access.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

using display_access::Destroyer;
using display_access::isStructOrObject;

size_t fieldCount(vxArray const* array) {
    if (!isStructOrObject(vxGetClassID(array))) return 0;
    int const n = vxGetNumberOfFields(array);
    return n > 0 ? static_cast<size_t>(n) : 0;
}

// At most one row, and exactly two dimensions.
bool isRow(vxArray const* a) { return vxGetNumberOfDimensions(a) == 2 && vxGetM(a) < 2; }

bool isNumberListClass(vxArray const* a) {
    vxClassID const cls = vxGetClassID(a);
    return vxIsNumeric(a) || cls == vxLOGICAL_CLASS || cls == vxFUNCTION_CLASS;
}

void appendNarrow(ioUnitString& text, std::string const& narrow) {
    for (char ch : narrow) text.push_back(static_cast<unsigned char>(ch));
}

// 16-bit text and a line feed, through the output's UTF-16 buffer so that an
// interrupt raised by the output reaches the caller.
void writeUnitLine(ioUnitString const& text) {
    services::io::uout out;
    std::basic_streambuf<unsigned short>* buffer = out.rdbuf();
    buffer->sputn(text.data(), static_cast<std::streamsize>(text.size()));
    unsigned short const lineFeed = '\n';
    buffer->sputn(&lineFeed, 1);
}

// A cell row on one line, "{[1]  'a'}", when it fits in `width`.
bool printCellMember(vxArray const* value, size_t width) {
    ioUnitString text(1, '{');
    auto const cells = static_cast<vxArray const* const*>(vxGetData(value));
    size_t const count = vxGetNumberOfElements(value);
    for (size_t i = 0; i < count; ++i) {
        if (text.size() + 1 > width) return false;  // the next element would start past the width
        if (i > 0) appendNarrow(text, "  ");
        size_t const remaining = width > text.size() + 1 ? width - text.size() - 1 : 0;
        vxArray const* element = cells[i];
        if (element == nullptr) {
            appendNarrow(text, "[]");
            continue;
        }
        ioUnitString quoted;
        std::string list;
        if (vxGetClassID(element) == vxCHAR_CLASS && isRow(element) && !vxIsEmpty(element) &&
            ioQuoteCharRow(element, quoted, remaining)) {
            text += quoted;
        } else if (isNumberListClass(element) && isRow(element) && !vxIsEmpty(element) &&
                   ioFormatNumberList(element, list, remaining)) {
            // A single number is bracketed here, as a cell shows it; a handle is not.
            bool const bracket = vxGetNumberOfElements(element) == 1 && vxGetClassID(element) != vxFUNCTION_CLASS;
            appendNarrow(text, bracket ? "[" + list + "]" : list);
        } else {
            appendNarrow(text, ioSizeOrEmptyDisplay(element));
        }
    }
    text.push_back('}');
    if (text.size() > width) return false;
    writeUnitLine(text);
    return true;
}

} // namespace

std::string getStructNameWithHotlinks() { return ioCreateBoldHelpHotlink("struct", "struct"); }

int ioQuoteCharRow(vxArray const* value, ioUnitString& text, size_t limit) {
    auto const units = vxm::detail::get_vxchar_ptr_and_len(value);
    text.assign(1, '\'');
    for (size_t i = 0; i < units.second; ++i) text.push_back(units.first[i] == 0 ? ' ' : units.first[i]);
    text.push_back('\'');
    if (text.size() <= limit) return 1;
    text.clear();
    return 0;
}

int ioFormatNumberList(vxArray const* value, std::string& text, size_t limit) {
    text.clear();
    std::unique_ptr<vxArray, Destroyer> full;
    if (vxIsSparse(value)) {
        if (vxGetNumberOfElements(value) > 99) return 0;
        full.reset(vxMustBeFull(value));
        value = full.get();
    }
    size_t const count = vxGetNumberOfElements(value);
    if (vxGetClassID(value) == vxFUNCTION_CLASS) {
        if (count == 0) return 1;
        text = vxFunctionHandleToString(static_cast<function_handle_tag const*>(vxGetData(value)));
        if (text.empty() || text[0] != '@') text.insert(0, 1, '@');
        if (text.size() > limit) text = "[function_handle]";
        return 1;
    }
    if (count == 0) return 1;
    char scratch[IO_FORMAT_ELEMENT_SIZE];
    for (size_t i = 0; i < count; ++i) {
        ioFormatElement(scratch, value, i);
        char const* element = scratch;
        while (*element == ' ') ++element;
        if (i > 0) text.push_back(' ');
        text += element;
        if (text.size() + 2 > limit) {
            text.clear();
            return 0;
        }
    }
    if (count > 1) text = "[" + text + "]";
    return 1;
}

bool ioPrintStructMember(vxArray const* value, size_t width) {
    if (value == nullptr) {
        uvPrintf("[Empty]\n");
        return true;
    }
    if (vxDimensionsIncomplete(value)) _complete_opaque_dimensions(value);
    vxClassID const cls = vxGetClassID(value);
    bool const row = isRow(value);
    if (cls == vxCHAR_CLASS && row && !vxIsEmpty(value)) {
        ioUnitString text;
        if (ioQuoteCharRow(value, text, width)) {
            writeUnitLine(text);
            return true;
        }
    }
    if (isNumberListClass(value)) {
        if (!row || vxIsEmpty(value)) return false;
        std::string text;
        if (!ioFormatNumberList(value, text, width)) return false;
        uvPrintf("%s\n", text.c_str());
        return true;
    }
    if (cls == vxCELL_CLASS && row) return printCellMember(value, width);
    return false;
}

void ioPrintScalarStructureFieldsGroup(vxArray const* array) {
    size_t const avail = std::min<size_t>(ioGetNumWindowColumns(), 256) - 1;
    size_t const fields = fieldCount(array);
    if (fields == 0) return;

    size_t longest = 0;
    for (size_t f = 0; f < fields; ++f)
        longest = std::max(longest, std::strlen(vxGetFieldNameByNumber(array, static_cast<int>(f))));
    size_t const nameWidth = longest + 4;
    char nameFormat[32];
    std::snprintf(nameFormat, sizeof nameFormat, "%%%-zus: ", nameWidth);
    // A narrow window leaves no room: every value then takes its summary.
    size_t const valueWidth = avail > nameWidth + 3 ? avail - 3 - nameWidth : 0;

    for (size_t f = 0; f < fields; ++f) {
        uvLongjmpIfInterruptPending();
        if (ioStopPrinting()) {
            uvPrintf("%s", newline);
            return;
        }
        uvPrintf(nameFormat, vxGetFieldNameByNumber(array, static_cast<int>(f)));
        vxArray const* value = vxGetFieldByNumber(array, 0, static_cast<int>(f));
        if (value == nullptr) {
            uvPrintf("[]\n");
            continue;
        }
        if (vxDimensionsIncomplete(value)) _complete_opaque_dimensions(value);
        if (vxGetNumberOfElements(value) == 0 && !isStructOrObject(vxGetClassID(value))) {
            uvPrintf("%s\n", ioSizeOrEmptyDisplay(value).c_str());
            continue;
        }
        if (!ioPrintStructMember(value, valueWidth)) uvPrintf("%s\n", ioSizeDisplay(value).c_str());
    }
}

void ioPrintStructure(char const* name, vxArray const* array) {
    std::setlocale(LC_NUMERIC, "C");  // not restored
    if (name == nullptr) name = "";
    if (array == nullptr) return;
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);
    size_t const fields = fieldCount(array);
    display_state::checkPrintFormat();  // before anything is written
    ioStopPrinting();  // clears a stale stop request
    if (*name) uvPrintf("%s%s = \n%s", newline, name, newline);

    std::string const word = getStructNameWithHotlinks();
    if (vxIsScalar(array)) {
        if (fields != 0) {
            ioPrintScalarStructureFieldsGroup(array);
            uvPrintf("%s", newline);
        } else {
            uvPrintf("%s with no fields.\n", word.c_str());
            uvPrintf("%s", newline);
        }
        return;
    }

    char size[IO_SIZE_STRING_SIZE];
    ioSizeString(array, size);
    char const* shown = size;
    while (*shown == ' ') ++shown;
    if (fields == 0) {
        uvPrintf("%s %s array with no fields.\n", shown, word.c_str());
        uvPrintf("%s", newline);
        return;
    }
    uvPrintf("%s %s array with fields:\n", shown, word.c_str());
    uvPrintf("%s", newline);
    for (size_t f = 0; f < fields; ++f) {
        uvLongjmpIfInterruptPending();
        if (ioStopPrinting()) break;
        uvPrintf("    %s\n", vxGetFieldNameByNumber(array, static_cast<int>(f)));
    }
    uvPrintf("%s", newline);
}

void ioPrintStructure(vxArray const* array) { ioPrintStructure(ioGetArrayName(array), array); }
