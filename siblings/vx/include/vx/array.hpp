// Arrays of the array library: a class number, at least two dimensions, and
// real (plus optional imaginary) data in column-major order.
// Arrays made by the vxCreate* functions belong to the caller, who frees them
// with vxDestroyArray. Not thread-safe: an array has one user at a time.
#pragma once
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// One UTF-16 code unit of a character array.
typedef unsigned short vxChar;

enum vxClassID {
    vxUNKNOWN_CLASS = 0,
    vxCELL_CLASS = 1,
    vxSTRUCT_CLASS = 2,
    vxLOGICAL_CLASS = 3,
    vxCHAR_CLASS = 4,
    vxVOID_CLASS = 5,
    vxDOUBLE_CLASS = 6,
    vxSINGLE_CLASS = 7,
    vxINT8_CLASS = 8,
    vxUINT8_CLASS = 9,
    vxINT16_CLASS = 10,
    vxUINT16_CLASS = 11,
    vxINT32_CLASS = 12,
    vxUINT32_CLASS = 13,
    vxINT64_CLASS = 14,
    vxUINT64_CLASS = 15,
    vxFUNCTION_CLASS = 16,
    vxOPAQUE_CLASS = 17,
    vxOBJECT_CLASS = 18
};

enum vxComplexity { vxREAL = 0, vxCOMPLEX = 1 };

struct vxArray_tag {
    // Zero-filled data for the given shape. Fewer than two dimensions are
    // padded (0 dims is 0x0, one is dims[0]x1); singleton dimensions after the
    // second are dropped. Raises "CALYX:vx:arrayTooLarge" when the byte count
    // does not fit in size_t.
    vxArray_tag(vxClassID classID, size_t ndim, size_t const* dims, vxComplexity complexity);
    ~vxArray_tag();
    vxArray_tag(vxArray_tag const&) = delete;
    vxArray_tag& operator=(vxArray_tag const&) = delete;

    vxClassID class_id() const { return classID_; }
    size_t get_number_of_dimensions() const { return dims_.size(); }
    size_t const* get_dimensions() const { return dims_.data(); }
    size_t number_of_elements() const { return numel_; }
    size_t element_size() const { return elementSize_; }
    // Never null: an empty array still has a (1-byte) block, so that a complex
    // empty array can be told from a real one.
    void* real_data() const { return pr_; }
    void* imag_data() const { return pi_; }  // null for real arrays

    // Structure arrays: the field names, and one owned member per element and
    // field (element-major), null until set.
    std::vector<std::string>& field_names() { return fieldNames_; }
    std::vector<std::string> const& field_names() const { return fieldNames_; }
    std::vector<vxArray_tag*>& members() { return members_; }
    std::vector<vxArray_tag*> const& members() const { return members_; }

private:
    std::vector<std::string> fieldNames_;
    std::vector<vxArray_tag*> members_;
    vxClassID classID_;
    std::vector<size_t> dims_;
    size_t numel_;
    size_t elementSize_;
    void* pr_;
    void* pi_;
};
typedef vxArray_tag vxArray;

// The signature of every command-language entry point.
typedef void (*vxBuiltinFcn)(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

// ---- creation and destruction ----
vxArray* vxCreateDoubleScalar(double value);
vxArray* vxCreateDoubleMatrix(size_t m, size_t n, vxComplexity complexity);
vxArray* vxCreateCharArray(size_t ndim, size_t const* dims);
// A 1xN character array from text in the native encoding; "" gives 0x0 and
// null gives null.
vxArray* vxCreateString(char const* text);
void vxDestroyArray(vxArray* array);  // accepts null, destroys members too
vxArray* vxCreateLogicalScalar(bool value);
vxArray* vxCreateUint64Scalar(unsigned long long value);

// ---- structures ----
// An m-by-n structure array with the given fields and every member unset.
// Raises "CALYX:vx:duplicateField" for a repeated field name.
vxArray* vxCreateStructMatrix(size_t m, size_t n, int nfields, char const** fieldnames);
// Adds a field (unset in every element); its number, or -1 if the array is not
// a structure or the name exists.
int vxAddField(vxArray* array, char const* name);
int vxGetNumberOfFields(vxArray const* array);
char const* vxGetFieldNameByNumber(vxArray const* array, int fieldnum);  // null out of range
int vxGetFieldNumber(vxArray const* array, char const* name);           // -1 if none
// Takes ownership of `value` and destroys the member it replaces. Raises
// "CALYX:vx:indexOutOfRange" for an element or field out of range.
void vxSetFieldByNumber(vxArray* array, size_t index, int fieldnum, vxArray* value);
// The member, still owned by the array, or null (unset or out of range).
vxArray* vxGetFieldByNumber(vxArray const* array, size_t index, int fieldnum);

// ---- shape and class ----
vxClassID vxGetClassID(vxArray const* array);
size_t vxGetM(vxArray const* array);  // the first dimension
size_t vxGetN(vxArray const* array);  // the product of all the others
size_t vxGetNumberOfDimensions(vxArray const* array);
size_t const* vxGetDimensions(vxArray const* array);
size_t vxGetNumberOfElements(vxArray const* array);
bool vxIsChar(vxArray const* array);
bool vxIsDouble(vxArray const* array);
bool vxIsComplex(vxArray const* array);
bool vxIsEmpty(vxArray const* array);
bool vxIsScalar(vxArray const* array);

// ---- data ----
double* vxGetPr(vxArray const* array);  // null unless the class is double
double* vxGetPi(vxArray const* array);  // null unless double and complex
void* vxGetData(vxArray const* array);
void* vxGetImagData(vxArray const* array);

// The real part of the single element of a numeric or logical array, as a
// double. Raises "CALYX:vx:notNumeric" for other classes (and null) and
// "CALYX:vx:notScalar" unless there is exactly one element.
double vxGetScalar(vxArray const* array);
// vxGetScalar truncated toward zero; NaN or a value outside int raises
// "CALYX:vx:scalarOutOfIntRange".
int vxGetScalarInt(vxArray const* array);

// ---- text ----
// The characters in column-major order, in the native encoding. Raises
// "CALYX:vx:notCharArray" for any other class (and null).
std::string vxArrayToStdString(vxArray const* array);
// The same as a NUL-terminated copy from uvMalloc, which the caller frees with
// uvFree; null for anything but a character array.
char* vxArray2String(vxArray const* array);

namespace vxm { namespace detail {
// The code units of a character array and their count; {null, 0} for any
// other class. The pointer lives as long as the array.
std::pair<vxChar const*, size_t> get_vxchar_ptr_and_len(vxArray const* array);
}} // namespace vxm::detail
