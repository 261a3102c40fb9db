/// @file
/// Arrays of the array library: a class number, at least two dimensions, and
/// real (plus optional imaginary) data in column-major order.
/// Arrays made by the vxCreate* functions belong to the caller, who frees them
/// with vxDestroyArray. Not thread-safe: an array has one user at a time.
#pragma once
#include "vx/vx_export.hpp"
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

VX_API_BEGIN

/// One UTF-16 code unit of a character array.
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

/// One function handle: a record of 32 bytes in the array's data. The text is
/// owned by the record's array (from uvMalloc); an unset record has none.
struct function_handle_tag {
    char* text;
    unsigned long long reserved[3];
};
static_assert(sizeof(function_handle_tag) == 32, "a function handle record is 32 bytes");

struct vxArray_tag {
    /// Zero-filled data for the given shape. Fewer than two dimensions are
    /// padded (0 dims is 0x0, one is dims[0]x1); singleton dimensions after the
    /// second are dropped. Raises "CALYX:vx:arrayTooLarge" when the byte count
    /// does not fit in size_t. Numeric classes (double to uint64) carry the
    /// numeric flag; structures and objects start with no fields.
    vxArray_tag(vxClassID classID, size_t ndim, size_t const* dims, vxComplexity complexity);
    /// A sparse m-by-n array of class double or logical with room for nzmax
    /// (at least 1) stored elements, none stored yet.
    struct sparse_tag {};
    vxArray_tag(sparse_tag, vxClassID classID, size_t m, size_t n, size_t nzmax, vxComplexity complexity);
    ~vxArray_tag();
    vxArray_tag(vxArray_tag const&) = delete;
    vxArray_tag& operator=(vxArray_tag const&) = delete;

    /// The resolved class: raw numbers above 16 go through
    /// _get_class_id_non_trivial, as vxGetClassID does.
    vxClassID class_id() const;
    vxClassID raw_class_id() const { return classID_; }
    size_t get_number_of_dimensions() const { return dims_.size(); }
    size_t const* get_dimensions() const { return dims_.data(); }
    size_t number_of_elements() const { return numel_; }
    size_t element_size() const { return elementSize_; }
    /// Never null while the array owns its data: an empty array still has a
    /// (1-byte) block, so that a complex empty array can be told from a real one.
    void* real_data() const { return pr_; }
    void* imag_data() const { return pi_; }  ///< null for real arrays
    bool is_numeric() const { return numeric_; }
    bool is_sparse() const { return sparse_; }
    /// Sparse storage: row index of each stored element, and for each column
    /// the index of its first stored element (n + 1 entries, the last one the
    /// number stored). Null for full arrays.
    size_t* ir() const { return ir_; }
    size_t* jc() const { return jc_; }
    size_t nzmax() const { return nzmax_; }

    /// Structures and objects: the field names, in order. The members stand in
    /// the data, element-major: element e, field f at e * fields + f.
    std::vector<std::string>& field_names() { return fieldNames_; }
    std::vector<std::string> const& field_names() const { return fieldNames_; }
    vxArray_tag** members() const { return static_cast<vxArray_tag**>(pr_); }
    /// Objects and opaque values: the class name.
    std::string const& class_name() const { return className_; }
    void set_class_name(std::string name) { className_ = std::move(name); }

    /// Dimensions that are only known once asked for (opaque values and
    /// objects): the flag stays set until _complete_opaque_dimensions runs, and
    /// until then the dimensions read as they were stored at creation.
    bool dimensions_incomplete() const { return !pendingDims_.empty(); }
    std::vector<size_t> const& pending_dimensions() const { return pendingDims_; }
    void defer_dimensions(size_t ndim, size_t const* dims);
    void complete_dimensions();

    /// Raw changes, as the vxSet* functions make them; see there.
    void set_shape(size_t ndim, size_t const* dims);
    void set_real_data(void* data);
    void set_imag_data(void* data);
    void share_data();
    bool shares_data() const { return shared_; }
    /// Grows or shrinks the data block to `bytes`, keeping what fits and
    /// zeroing what is new.
    void resize_data(size_t oldBytes, size_t bytes);

private:
    void allocate(size_t bytes, vxComplexity complexity);

    std::vector<std::string> fieldNames_;
    std::string className_;
    vxClassID classID_;
    std::vector<size_t> dims_;
    std::vector<size_t> pendingDims_;
    size_t numel_;
    size_t elementSize_;
    void* pr_;
    void* pi_;
    size_t* ir_ = nullptr;
    size_t* jc_ = nullptr;
    size_t nzmax_ = 0;
    bool numeric_ = false;
    bool sparse_ = false;
    bool shared_ = false;
};
typedef vxArray_tag vxArray;

/// The signature of every command-language entry point.
typedef void (*vxBuiltinFcn)(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

/// ---- creation and destruction ----
vxArray* vxCreateDoubleScalar(double value);
vxArray* vxCreateDoubleMatrix(size_t m, size_t n, vxComplexity complexity);
/// Numeric arrays of class double, single or the integers (6 to 15); any
/// other class raises "CALYX:vx:invalidClass".
vxArray* vxCreateNumericMatrix(size_t m, size_t n, vxClassID classID, vxComplexity complexity);
vxArray* vxCreateNumericArray(size_t ndim, size_t const* dims, vxClassID classID, vxComplexity complexity);
vxArray* vxCreateLogicalMatrix(size_t m, size_t n);
vxArray* vxCreateLogicalArray(size_t ndim, size_t const* dims);
vxArray* vxCreateLogicalScalar(bool value);
vxArray* vxCreateUint64Scalar(unsigned long long value);
vxArray* vxCreateCharArray(size_t ndim, size_t const* dims);
/// A 1xN character array from text in the native encoding; "" gives 0x0 and
/// null gives null.
vxArray* vxCreateString(char const* text);
/// Class void: a shape and no data; no display or conversion accepts it.
vxArray* vxCreateVoidArray(size_t ndim, size_t const* dims);
/// Sparse double (real or complex) and sparse logical, nzmax raised to 1.
vxArray* vxCreateSparse(size_t m, size_t n, size_t nzmax, vxComplexity complexity);
vxArray* vxCreateSparseLogicalMatrix(size_t m, size_t n, size_t nzmax);
/// A 1x1 function handle with the given text, such as "@sin" or "@(x)x+1".
vxArray* vxCreateFunctionHandle(char const* text);
/// An array of unset handles; vxSetFunctionHandle gives each its text.
vxArray* vxCreateFunctionHandleArray(size_t ndim, size_t const* dims);
/// An opaque value of the named class, such as "java.lang.String".
vxArray* vxCreateOpaque(char const* className, size_t ndim, size_t const* dims);
/// An object array of the named class with the given fields, every member
/// unset. A null class name raises "CALYX:vx:invalidClass", a repeated field
/// name "CALYX:vx:duplicateField".
vxArray* vxCreateObject(char const* className, size_t ndim, size_t const* dims, int nfields,
                        char const** fieldnames);
/// A deep copy: members, cells, handle texts and sparse storage included.
vxArray* vxDuplicateArray(vxArray const* array);  ///< null gives null
/// A 0x0 array of the same class (and class name, fields and complexity),
/// with no elements.
vxArray* vxCreateEmptyCopy(vxArray const* array);
/// A full copy of a sparse array; of a full array, a duplicate.
vxArray* vxMustBeFull(vxArray const* array);
void vxDestroyArray(vxArray* array);  ///< accepts null, destroys members too

/// ---- memory of the array library ----
/// vxMalloc and vxCalloc raise error number 17 (out of memory) on failure.
void* vxMalloc(size_t size);
void* vxCalloc(size_t count, size_t size);
void vxFree(void* p);  ///< accepts null

/// ---- cells ----
vxArray* vxCreateCellMatrix(size_t m, size_t n);
vxArray* vxCreateCellArray(size_t ndim, size_t const* dims);
/// Takes ownership of `value` (which may be null, an empty cell) and destroys
/// the cell it replaces. Raises "CALYX:vx:invalidClass" for anything but a
/// cell array and "CALYX:vx:indexOutOfRange" past the last element.
void vxSetCell(vxArray* array, size_t index, vxArray* value);
/// The cell, still owned by the array, or null (empty or out of range).
vxArray* vxGetCell(vxArray const* array, size_t index);

/// ---- structures and objects ----
/// An m-by-n structure array with the given fields and every member unset.
/// Raises "CALYX:vx:duplicateField" for a repeated field name.
vxArray* vxCreateStructMatrix(size_t m, size_t n, int nfields, char const** fieldnames);
vxArray* vxCreateStructArray(size_t ndim, size_t const* dims, int nfields, char const** fieldnames);
/// Adds a field (unset in every element); its number, or -1 if the array is
/// not a structure or object, or the name exists.
int vxAddField(vxArray* array, char const* name);
int vxGetNumberOfFields(vxArray const* array);
char const* vxGetFieldNameByNumber(vxArray const* array, int fieldnum);  ///< null out of range
int vxGetFieldNumber(vxArray const* array, char const* name);  ///< -1 if none
/// Takes ownership of `value` and destroys the member it replaces. Raises
/// "CALYX:vx:indexOutOfRange" for an element or field out of range.
void vxSetFieldByNumber(vxArray* array, size_t index, int fieldnum, vxArray* value);
/// The member, still owned by the array, or null (unset or out of range).
vxArray* vxGetFieldByNumber(vxArray const* array, size_t index, int fieldnum);

/// ---- function handles ----
/// Gives handle `index` its text (copied). Raises "CALYX:vx:invalidClass" for
/// anything but a handle array, "CALYX:vx:indexOutOfRange" past the end.
void vxSetFunctionHandle(vxArray* array, size_t index, char const* text);
/// The text of one handle record; "" for an unset record or null.
std::string vxFunctionHandleToString(function_handle_tag const* handle);

/// ---- shape and class ----
vxClassID vxGetClassID(vxArray const* array);
/// Resolves a raw class number above 16: an array with a class name and a
/// field table is an object, one with a class name alone is opaque.
vxClassID _get_class_id_non_trivial(vxArray const* array);
/// "double", "int8", "cell", "struct", "function_handle", ...; for objects and
/// opaque values their own class name.
char const* vxGetClassName(vxArray const* array);
size_t vxGetM(vxArray const* array);  ///< the first dimension
size_t vxGetN(vxArray const* array);  ///< the product of all the others
size_t vxGetNumberOfDimensions(vxArray const* array);
size_t const* vxGetDimensions(vxArray const* array);
size_t vxGetNumberOfElements(vxArray const* array);  ///< of a sparse array, m * n
size_t vxGetElementSize(vxArray const* array);
bool vxIsChar(vxArray const* array);
bool vxIsDouble(vxArray const* array);
bool vxIsNumeric(vxArray const* array);  ///< the numeric flag
/// The numeric flag set and imaginary data present.
bool vxIsComplex(vxArray const* array);
bool vxIsSparse(vxArray const* array);
bool vxIsEmpty(vxArray const* array);
bool vxIsScalar(vxArray const* array);

/// Dimensions known only when asked for: the raw dimensions stay as created
/// until _complete_opaque_dimensions installs the deferred ones. Only opaque
/// values and objects defer; other classes raise "CALYX:vx:invalidClass".
void vxDeferDimensions(vxArray* array, size_t ndim, size_t const* dims);
bool vxDimensionsIncomplete(vxArray const* array);
/// Installs the deferred dimensions of an array whose flag is set, resizing
/// its data; a cache fill, so it takes the array as const. No-op otherwise.
void _complete_opaque_dimensions(vxArray const* array);

/// Raw shape changes: the data is neither moved nor resized, so the caller
/// keeps shape and data consistent.
void vxSetM(vxArray* array, size_t m);
void vxSetN(vxArray* array, size_t n);
void vxSetDimensions(vxArray* array, size_t ndim, size_t const* dims);

// ---- data ----
double* vxGetPr(vxArray const* array);  ///< null unless the class is double
double* vxGetPi(vxArray const* array);  ///< null unless double and complex
void* vxGetData(vxArray const* array);
void* vxGetImagData(vxArray const* array);
size_t* vxGetIr(vxArray const* array);  ///< null unless sparse
size_t* vxGetJc(vxArray const* array);  ///< null unless sparse
size_t vxGetNzmax(vxArray const* array);  ///< 0 unless sparse
/// Replace the data pointers. Unless the array shares its data, the block
/// replaced is freed and the new one (from vxMalloc) becomes the array's.
void vxSetData(vxArray* array, void* data);
void vxSetImagData(vxArray* array, void* data);
/// From here on the array owns no data: its own blocks are freed now, and
/// whatever vxSetData gives it later is borrowed and never freed.
void vxSetDataShared(vxArray* array);

/// The real part of the single element of a numeric or logical array, as a
/// double. Raises "CALYX:vx:notNumeric" for other classes (and null) and
/// "CALYX:vx:notScalar" unless there is exactly one element.
double vxGetScalar(vxArray const* array);
/// vxGetScalar truncated toward zero; NaN or a value outside int raises
/// "CALYX:vx:scalarOutOfIntRange".
int vxGetScalarInt(vxArray const* array);

/// ---- text ----
/// The characters in column-major order, in the native encoding. Raises
/// "CALYX:vx:notCharArray" for any other class (and null).
std::string vxArrayToStdString(vxArray const* array);
/// The same as a NUL-terminated copy from uvMalloc, which the caller frees with
/// uvFree; null for anything but a character array.
char* vxArray2String(vxArray const* array);

namespace vxm { namespace detail {
/// The code units of a character array and their count; {null, 0} for any
/// other class. The pointer lives as long as the array.
std::pair<vxChar const*, size_t> get_vxchar_ptr_and_len(vxArray const* array);
}} // namespace vxm::detail

VX_API_END
