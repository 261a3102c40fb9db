/// @file
/// Source-file readers: each loads a whole file into one zero-terminated
/// buffer. The plain reader goes to the file system and allocates from the
/// caller's memory context; the container reader goes through the container
/// model (so a file may lie inside a CAT file) and allocates with uvCalloc;
/// the switchable reader asks its chooser which of two readers to use.
#pragma once
#include "qzservices/export.hpp"
#include <boost/function.hpp>
#include <boost/scoped_ptr.hpp>

#include <cstdio>

QZSERVICES_API_BEGIN

struct _memory_context;
/// A status code written by the readers: 0 success; the plain reader's 1
/// (cannot open) and 2 (failed while reading); the container reader's stream
/// codes (9 not found, 3 corrupt, ...).
typedef int ioErrorMessage;

/// A reader of whole source files.
class CxfileReader {
public:
    virtual ~CxfileReader() {}
    /// The bytes (terminated by a zero byte behind `*size` of them), or null.
    virtual void* read(unsigned long* size, _memory_context* context, char const* path, ioErrorMessage* error) = 0;
};

/// Reads from the file system only.
class PlaintextCxfileReader : public CxfileReader {
public:
    void* read(unsigned long* size, _memory_context* context, char const* path, ioErrorMessage* error) override;
    /// The rest of an open stream, from its start; no error code.
    void* read(unsigned long* size, _memory_context* context, FILE* stream);
};

/// Reads through the container model, so a path may run into a CAT file.
class ContainerCxfileReader : public CxfileReader {
public:
    /// `context` is not used: the buffer comes from uvCalloc, freed with uvFree.
    void* read(unsigned long* size, _memory_context* context, char const* path, ioErrorMessage* error) override;
};

/// f(), whatever the name: makes a chooser that takes no path fit the
/// chooser that does.
bool ignoreFileName(char const* name, boost::function0<bool> const& f);

/// Chooses, for each path, between two readers.
class SwitchableCxfileReader : public CxfileReader {
public:
    /// Takes ownership of both readers.
    SwitchableCxfileReader(CxfileReader* first, CxfileReader* second,
                           boost::function1<bool, char const*> const& chooser);
    /// Takes ownership of both readers; the chooser ignores the path.
    SwitchableCxfileReader(CxfileReader* first, CxfileReader* second, boost::function0<bool> const& chooser);
    /// `first` when the chooser says yes for `path`, otherwise `second`. An
    /// empty chooser throws boost::bad_function_call.
    void* read(unsigned long* size, _memory_context* context, char const* path, ioErrorMessage* error) override;

private:
    boost::scoped_ptr<CxfileReader> first;
    boost::scoped_ptr<CxfileReader> second;
    boost::function1<bool, char const*> chooser;
};

QZSERVICES_API_END
