/// @file
/// The CAT family: a read-only archive of a directory tree, read as
/// containers. The root of the file is the magic ("CATF" big-endian, "FTAC"
/// little-endian) and a directory block; a block is its header length, an
/// entry count (ignored), the packed entries, then the entries' contents in
/// order. A subdirectory's content is again a block; offsets are relative to
/// the block. Every byte comes through the base stream on the CAT file.
///
/// The reader trusts nothing: a header, an entry or a content that would run
/// past the file is reported as "fileCorrupt" (3), a short read as 2.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/containers/svFile.hpp"

QZSERVICES_API_BEGIN

/// The entries of one block of a CAT file, read through the base stream.
class svCatContainerDirIoStream : public svContainerDirIoStream {
public:
    /// One packed entry as read: its name, type, size and offset.
    class DirEntry {
    public:
        DirEntry() : name(nullptr), type(0), size(0), offset(0) {}
        ~DirEntry();
        DirEntry(DirEntry const&) = delete;
        DirEntry& operator=(DirEntry const&) = delete;
        char const* getName() const { return name; }  ///< owned by the entry; null before setName
        void setName(char* n);  ///< takes a uvCalloc buffer, frees the old
        ///@{
        /// The type, size and offset as the entry gives them.
        svFile::FileType getType() const { return type; }
        void setType(svFile::FileType t) { type = t; }
        unsigned long getSize() const { return size; }
        void setSize(unsigned long s) { size = s; }
        long getOffset() const { return offset; }
        void setOffset(long o) { offset = o; }
        ///@}

    private:
        char* name;
        svFile::FileType type;
        unsigned long size;
        long offset;  ///< from the start of the block
    };

    svCatContainerDirIoStream();
    ~svCatContainerDirIoStream() override;
    /// The directory stream's operations over the block at the base stream's
    /// position; the entry accessors read the current DirEntry.
    bool open() override;
    bool open(char const* mode) override;
    bool close() override;
    bool read() override;
    char* getDirList() override;
    char const* getEntryName() const override { return entry ? entry->getName() : nullptr; }
    int getEntryType() const override { return entry ? entry->getType() : 0; }
    unsigned long getEntrySize() const override { return entry ? entry->getSize() : 0; }
    long getEntryOffset() const override { return entry ? entry->getOffset() : 0; }

    /// Reads the block header at the base stream's position; false (with
    /// streamAccess set) for a header that is short or runs past the file.
    bool readDirHeader();
    /// The directory streams' code for an errno.
    StreamAccessReturnValue getStreamAccessFromErr(int err);

    ///@{
    /// The block being read: its entry count and header, where the next entry
    /// starts in the header, and the current entry. The setters of owned
    /// parts free what they held before.
    int getNumberDirEntries() const { return numberDirEntries; }
    void setNumberDirEntries(int n) { numberDirEntries = n; }
    int getHeaderLength() const { return headerLength; }
    void setHeaderLength(int n) { headerLength = n; }
    unsigned char* getHeader() const { return header; }
    void setHeader(unsigned char* h);
    unsigned char* getNextEntryInHeader() const { return nextEntryInHeader; }
    void setNextEntryInHeader(unsigned char* p) { nextEntryInHeader = p; }
    DirEntry* getEntry() const { return entry; }
    void setEntry(DirEntry* e);
    ///@}

private:
    /// The length of the CAT file, from the stat of its plain file; -1 unknown.
    long catFileLength();

    int numberDirEntries;
    int headerLength;
    unsigned char* header;  ///< owned, uvFree
    unsigned char* nextEntryInHeader;
    DirEntry* entry;  ///< owned
    long blockStart;  ///< where the block being read starts in the CAT file
};

/// The bytes of one file inside a CAT file: opening moves the CAT file's base
/// stream to the file's offset; reads and positions are the base stream's.
class svCatContainerFileBufferIoStream : public svContainerFileIoStream {
public:
    bool open() override;
    bool open(char const* mode) override;
    /// The base stream belongs to the CAT file's own object.
    bool close() override { return true; }
    unsigned long read(unsigned char** buffer, unsigned long count) override;
    long getpos() override;
    bool setpos(long position) override;
    /// The file streams' code for an errno.
    StreamAccessReturnValue getStreamAccessFromErr(int err);
};

/// The CAT file itself or a directory inside it.
class svCatContainer : public svContainer {
public:
    /// A CAT is readable once it was opened.
    bool access(int mode) override;
    ///@{
    /// Finds the entry named as the object in its directory's block.
    bool stat() override;
    char* getFullPath() override;
    ///@}
    /// Steps to `name`: at the CAT file's own root, reads its magic first.
    bool enter(char const* name, int len) override;
    bool enter(char const* name, int len, bool statIt) override;
    void display() override {}
    /// Reads the magic and sets the byte order of the directory stream.
    bool isCatContainer();
};

/// A file inside a CAT file.
class svCatContainerFile : public svContainerFile {
public:
    /// Always granted: the CAT file was readable when it was entered.
    bool access(int mode) override;
    bool stat() override;
    long size() override { return getSize(); }
    /// The directory's full path joined with the name.
    char* getFullPath() override;
};

/// The time of the CAT file under a stream (stat'ed when not yet known).
long catFileTime(svContainerFileIoStream* base);

QZSERVICES_API_END
