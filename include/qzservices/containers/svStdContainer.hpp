/// @file
/// The plain family: operating-system directories and files seen through the
/// container model. Every walk starts here, and a plain file stream is the
/// base under every CAT file.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/containers/svFile.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <cstdio>

QZSERVICES_API_BEGIN

/// One struct stat. Every non-directory counts as a file; a directory's size is 0.
class OSFileStat {
public:
    /// stat(2) of `path`; false for null or a failed stat (errno as it left it).
    bool getOSFileStat(char* path);
    long getTime() const { return static_cast<long>(st.st_mtime); }  ///< the modification time, in seconds
    svFile::FileType getType() const { return S_ISDIR(st.st_mode) ? 2 : 1; }  ///< 2 a directory, 1 anything else
    long getSize() const { return S_ISDIR(st.st_mode) ? 0 : static_cast<long>(st.st_size); }  ///< bytes; 0 for a directory

private:
    struct stat st {};
};

/// An operating-system directory being read, and the path it was opened on.
class OSDir {
public:
    OSDir() : path(nullptr), bufsize(0), dir(nullptr), entry(nullptr) {}
    ~OSDir();
    OSDir(OSDir const&) = delete;
    OSDir& operator=(OSDir const&) = delete;

    ///@{
    /// opendir (closing what was open), readdir to the next entry, closedir;
    /// each false when the call fails or, for read, no entry is left.
    bool open(char* p);
    bool read();
    bool close();
    ///@}
    /// The current entry's name, null before the first read and after the last.
    char const* getName() const { return entry ? entry->d_name : nullptr; }
    char* getPath() const { return path; }  ///< the path given to setPath, owned by the OSDir; may be null
    void setPath(char* p);  ///< takes ownership, frees the old text
    ///@{
    /// The size of the list buffer that reAlloc grows.
    unsigned long getBufsize() const { return bufsize; }
    void setBufsize(unsigned long n) { bufsize = n; }
    ///@}
    /// Grows the list buffer by one step of 1024 bytes.
    char* reAlloc(char* buffer);
    /// The list as it is: every list built here is already valid.
    char* validList(char* list) { return list; }

private:
    char* path;
    unsigned long bufsize;
    DIR* dir;
    struct dirent* entry;
};

/// The entries of an operating-system directory.
class svStdContainerDirIoStream : public svContainerDirIoStream {
public:
    svStdContainerDirIoStream();
    ~svStdContainerDirIoStream() override;
    ///@{
    /// The directory stream's operations on the object's full path.
    bool open() override;
    bool open(char const* mode) override;
    bool close() override;
    bool read() override;
    char* getDirList() override;
    ///@}
    ///@{
    /// The plain stream keeps no entry record: null and zeros.
    char const* getEntryName() const override { return nullptr; }
    int getEntryType() const override { return 0; }
    unsigned long getEntrySize() const override { return 0; }
    long getEntryOffset() const override { return 0; }
    ///@}

    ///@{
    /// The open directory, owned by the stream; setting closes and deletes the one before.
    OSDir* getStream() const { return stream; }
    void setStream(OSDir* s);
    ///@}
    /// The directory streams' code for an errno.
    StreamAccessReturnValue getStreamAccessFromErr(int err);

private:
    OSDir* stream;  ///< owned
};

/// The bytes of an operating-system file, through stdio.
class svStdContainerFileBufferIoStream : public svContainerFileIoStream {
public:
    svStdContainerFileBufferIoStream() : stream(nullptr), position(-1), length(-1), mtime(-1) {}
    ~svStdContainerFileBufferIoStream() override;
    bool open() override;
    bool open(char const* mode) override;
    bool close() override;
    unsigned long read(unsigned char** buffer, unsigned long count) override;
    long getpos() override;
    bool setpos(long position) override;

    ///@{
    /// The open file, owned by the stream; setting closes the one before and
    /// forgets what was known of it.
    FILE* getStream() const { return stream; }
    void setStream(FILE* s);
    ///@}
    ///@{
    /// The length and modification time of the open file (one fstat per
    /// open, shared by both), or -1.
    long getLength();
    long getModificationTime();
    ///@}
    /// The code for an errno; with returnOnError set it raises
    /// containerStreamError instead (but for a missing file when
    /// continueNotFound is set).
    StreamAccessReturnValue getStreamAccessFromErr(int err);

private:
    FILE* stream;
    /// Where the stream stands, as far as our own calls moved it (-1 unknown):
    /// a CAT look-up asks to go where it already is often, and each fseek
    /// would throw away stdio's buffer and read it again.
    long position;
    long length;
    long mtime;
    bool statted();
};

/// The text shared by the two file streams' getStreamAccessFromErr.
svIoStream::StreamAccessReturnValue fileStreamAccessFromErr(svIoStream* stream, int err);
/// The table shared by the directory streams of both families.
svIoStream::StreamAccessReturnValue dirStreamAccessFromErr(int err);

/// An operating-system directory on the path.
class svStdContainer : public svContainer {
public:
    /// access(2) and stat(2) of the full path, their failure kept as the error.
    bool access(int mode) override;
    bool stat() override;
    char* getFullPath() override;
    bool enter(char const* name, int len) override { return enter(name, len, false); }
    /// A component starting with "~" is expanded into the partial path.
    bool enter(char const* name, int len, bool statIt) override;
    void display() override {}
};

/// An operating-system file on the path.
class svStdContainerFile : public svContainerFile {
public:
    ///@{
    /// access(2) and stat(2) of the full path, their failure kept as the error.
    bool access(int mode) override;
    bool stat() override;
    ///@}
    ///@{
    /// The size the last stat found; 0 before any stat.
    long size() override;
    char* getFullPath() override;
    ///@}
};

QZSERVICES_API_END
