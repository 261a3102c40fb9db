/// @file
/// Streams of the container model. Every byte of a file or a container is
/// reached through an svIoStream; streams layered on a backing file name it as
/// their `base`, and an error on the base shows through every layer above it.
/// Errors are kept as state (`streamAccess`), never thrown, except where a
/// file stream is told to raise (returnOnError).
#pragma once
#include "qzservices/export.hpp"
#include <string>

QZSERVICES_API_BEGIN

class svFile;

/// The error state, byte order and error policy every stream of the model has.
class svIoStream {
public:
    /// -1 before anything happened; 1 to 11 are errors (see the tables).
    typedef int StreamAccessReturnValue;
    /// 0 big-endian, 1 little-endian.
    typedef int Endianness;

    /// No error yet (-1), the computer's byte order, errors kept as state.
    svIoStream();
    virtual ~svIoStream();
    svIoStream(svIoStream const&) = delete;
    svIoStream& operator=(svIoStream const&) = delete;

    ///@{
    /// Open and close the stream on its object; false with streamAccess set.
    virtual bool open() = 0;
    virtual bool open(char const* mode) = 0;
    virtual bool close() = 0;
    ///@}
    /// Whether the stream's code is an error (a layered stream asks its base).
    virtual bool hasErrorOnStream() const;

    ///@{
    /// The last result code and the object the stream reads.
    StreamAccessReturnValue getStreamAccess() const { return streamAccess; }
    void setStreamAccess(StreamAccessReturnValue value) { streamAccess = value; }
    svFile* getStreamFile() const { return streamFile; }
    ///@}
    /// Deletes the previous non-null file, even when it is the same one: a
    /// stream's file is set once, on a fresh stream (intended, keep it so).
    void setStreamFile(svFile* file);
    ///@{
    /// The byte order of the data, and the error policy: with returnOnError a
    /// failure raises; with continueNotFound a missing file still does not.
    Endianness getEndianness() const { return endianness; }
    void setEndianness(Endianness e) { endianness = e; }
    bool getReturnOnError() const { return returnOnError; }
    void setReturnOnError(bool on) { returnOnError = on; }
    bool getContinueNotFound() const { return continueNotFound; }
    void setContinueNotFound(bool on) { continueNotFound = on; }
    ///@}

    /// The byte order of the machine the code runs on.
    Endianness getComputerEndianness() const;
    static bool isError(StreamAccessReturnValue value) { return value >= 1 && value < 12; }  ///< codes 1 to 11
    ///@{
    /// Neither checks its range (callers pass 0 to 11).
    /// The English message and the identifier's last part for a code.
    static std::string getStreamAccessStrings(int value);
    static std::string getStreamAccessMnenomics(int value);
    ///@}
    /// Copies four bytes, reversed when the stream's byte order is not the computer's.
    void memcpyFourBytes(void* dst, void const* src) const;

    ///@{
    /// The platform's parts of two messages: "" after the permission text,
    /// "Unix" in "Reserved Unix device".
    static char const* const fio_maxopen_extra_text;
    static char const* const fio_reserved_device_platform;
    ///@}

protected:
    StreamAccessReturnValue streamAccess;  ///< the last result code; -1 before any
    svFile* streamFile;  ///< not owned but through setStreamFile
    Endianness endianness;  ///< the data's byte order
    bool returnOnError;  ///< a failure raises an error
    bool continueNotFound;  ///< a missing file does not raise, even with returnOnError
};

/// A stream over the bytes of one file.
class svContainerFileIoStream : public svIoStream {
public:
    svContainerFileIoStream() : base(nullptr) {}
    /// Reads `count` bytes into a fresh buffer of count + 1 zeroed bytes from
    /// uvCalloc, which the caller owns (allocated even when the read fails);
    /// returns the number of bytes read.
    virtual unsigned long read(unsigned char** buffer, unsigned long count) = 0;
    ///@{
    /// The position in the file's bytes; setpos is false when it cannot go there.
    virtual long getpos() = 0;
    virtual bool setpos(long position) = 0;
    ///@}
    bool hasErrorOnStream() const override;  ///< the base stream's answer when there is a base

    /// The stream on the backing file this one reads through, or null.
    svContainerFileIoStream* getBase() const { return base; }
    void setBase(svContainerFileIoStream* b) { base = b; }  ///< not owned: the caller keeps `b` alive

protected:
    svContainerFileIoStream* base;  ///< not owned
};

/// A stream over the entries of one directory or container.
class svContainerDirIoStream : public svIoStream {
public:
    svContainerDirIoStream() : base(nullptr) {}
    /// Steps to the next entry; false when there is none.
    virtual bool read() = 0;
    /// A packed list ("." and ".." first, then the names, one more zero byte)
    /// from uvCalloc, freed by the caller with uvFree; may be null.
    virtual char* getDirList() = 0;
    ///@{
    /// The current entry's name, type, size and offset; null or 0 where the
    /// stream keeps no entry record.
    virtual char const* getEntryName() const = 0;
    virtual int getEntryType() const = 0;
    virtual unsigned long getEntrySize() const = 0;
    virtual long getEntryOffset() const = 0;
    ///@}
    bool hasErrorOnStream() const override;  ///< the base stream's answer when there is a base

    /// The stream on the file that holds the directory, or null.
    svContainerFileIoStream* getBase() const { return base; }
    void setBase(svContainerFileIoStream* b) { base = b; }  ///< not owned: the caller keeps `b` alive

protected:
    svContainerFileIoStream* base;  ///< not owned
};

QZSERVICES_API_END
