/// @file
/// The container model: a path runs through directories and containers
/// (svContainer) to a leaf (svContainerFile), each an svFile that keeps its
/// error as state. A look-up returns the deepest object it reached, which owns
/// the whole chain: deleting it (once) releases every object of the chain.
/// Objects belong to the thread that made them; nothing here locks.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/containers/svIoStream.hpp"

QZSERVICES_API_BEGIN

class svContainerDirIoStream;
class svContainerFileIoStream;
class svContainerFile;

/// Path buffers of this subsystem; a name may have PATH_BUFFER_SIZE - 1 characters.
enum { SV_PATH_BUFFER_SIZE = 4353 };

/// An object met on a path: its name, its error state and its stat record.
class svFile {
public:
    /// 0 nothing known or not there, 1 file, 2 directory.
    typedef int FileType;
    enum { typeUnknown = 0, typeFile = 1, typeDirectory = 2 };
    /// 0 clean; 3 permission denied, 4 not found, 5 wrong kind of object, 6 other.
    typedef int FileAccessReturnValue;

    /// What a stat found: time, type, size and the offset of the bytes; -1
    /// (type 0) for what is not known.
    class QZFileStat {
    public:
        ///@{
        /// The four fields: modification time, type, size in bytes, offset in
        /// the backing file; the setters store what they are given.
        long getTime() const { return time; }
        void setTime(long t) { time = t; }
        FileType getType() const { return type; }
        void setType(FileType t) { type = t; }
        long getSize() const { return size; }
        void setSize(long s) { size = s; }
        long getOffset() const { return offset; }
        void setOffset(long o) { offset = o; }
        ///@}

    private:
        long time = -1;
        FileType type = 0;
        long size = -1;
        long offset = -1;  ///< where the object's bytes start inside its backing file
    };

    /// No name, no error, an empty record in slot 0.
    svFile();
    virtual ~svFile();
    svFile(svFile const&) = delete;
    svFile& operator=(svFile const&) = delete;

    ///@{
    /// access(mode) asks the object's family whether it may be used with the
    /// access(2) bits of mode; stat() records its type, size and time. Both
    /// set the object's error state on failure.
    virtual bool access(int mode) = 0;
    virtual bool stat() = 0;
    ///@}
    ///@{
    /// The state questions answer from the type the last stat recorded.
    virtual bool exist() { return getFileType() != typeUnknown; }
    virtual bool isDir() { return getFileType() == typeDirectory; }
    virtual bool isFile() { return getFileType() == typeFile; }
    virtual bool isAccessible() = 0;
    virtual bool isReadable() { return access(4); }
    ///@}
    /// The size in bytes; 0 for a directory.
    virtual long size() = 0;
    /// A SV_PATH_BUFFER_SIZE buffer from uvCalloc; the caller frees it with uvFree.
    virtual char* getFullPath() = 0;

    ///@{
    /// Whether a code is one of the errors 3 to 6, and whether this object has one.
    static bool isError(FileAccessReturnValue value) { return value >= 3 && value < 7; }
    bool hasErrorOnFile() const { return isError(fileAccess); }
    ///@}

    ///@{
    /// The name is a copy of `text` (or of its first `len` bytes); null text,
    /// or a negative len, leaves no name.
    char const* getName() const { return name; }
    void setName(char const* text);
    void setName(char const* text, int len);
    ///@}
    FileAccessReturnValue getFileAccess() const { return fileAccess; }  ///< the error code the object keeps as its state
    void setFileAccess(FileAccessReturnValue value) { fileAccess = value; }  ///< sets the kept error code

    ///@{
    /// The fields of the current record.
    long getOffset() const { return fileStat[0]->getOffset(); }
    void setOffset(long o) { fileStat[0]->setOffset(o); }
    long getSize() const { return fileStat[0]->getSize(); }
    void setSize(long s) { fileStat[0]->setSize(s); }
    FileType getFileType() const { return fileStat[0]->getType(); }
    void setFileType(FileType t) { fileStat[0]->setType(t); }
    long getTime() const { return fileStat[0]->getTime(); }
    void setTime(long t) { fileStat[0]->setTime(t); }
    ///@}

    ///@{
    /// The record of slot 0 (current) or 1 (saved); null for another slot.
    /// Setting takes ownership and deletes the record the slot held.
    QZFileStat* xgetFileStat(int slot) const { return slot == 0 || slot == 1 ? fileStat[slot] : nullptr; }
    void setFileStat(QZFileStat* record, int slot);
    ///@}
    ///@{
    /// Bracket a trial stat: save keeps only the offset in a fresh record;
    /// recover puts the saved record back.
    void saveFileStat();
    void recoverFileStat();
    ///@}

    /// True when the name is "." (the object stands at its own root).
    bool standsAtDot() const;

protected:
    char* name;  ///< owned, uvCalloc
    FileAccessReturnValue fileAccess;  ///< the last error code of this object; 0 clean
    QZFileStat* fileStat[2];  ///< owned: 0 current, 1 saved
};

/// errno to FileAccessReturnValue: 4 for 2 and 20, 3 for 13, 6 otherwise.
svFile::FileAccessReturnValue getFileAccessFromErr(int err);
/// Returns its argument: the one place where a platform would rewrite paths
/// before access and stat.
char* platformPathFix(char* path);

/// A directory or a container: its place in the chain, its partial path and
/// the stream over its entries.
class svContainer : public svFile {
public:
    /// 0 none, 1 plain directory, 2 CAT.
    typedef int ContainerType;
    typedef svIoStream::StreamAccessReturnValue StreamAccessReturnValue;  ///< the codes of svIoStream

    svContainer();
    /// Deletes the directory stream, the file and the parent: the whole chain.
    ~svContainer() override;

    ///@{
    /// Steps the object to the component `name` (`len` bytes); with statIt the
    /// step is checked with a stat. False, with the error kept, when it fails.
    virtual bool enter(char const* name, int len) = 0;
    virtual bool enter(char const* name, int len, bool statIt) = 0;
    ///@}
    /// Prints nothing in both families; kept for the model's interface.
    virtual void display() = 0;
    /// A directory may be walked once it can be read and searched and stat
    /// shows a directory; it has no size of its own.
    bool isAccessible() override { return access(5) && stat() && isDir(); }
    long size() override { return 0; }

    ContainerType getType() const { return type; }  ///< 0 none, 1 plain directory, 2 CAT
    void setType(ContainerType t) { type = t; }  ///< records the family; no other effect
    /// The path walked up to this object, without its own name.
    char* getPartialPath() const { return partialPath; }
    /// Stores `p`; frees the old text only when `p` is null (the joins work in
    /// place and hand back the buffer they were given).
    void setPartialPath(char* p);
    /// Joins the current name to the partial path (unless it is unset or "."),
    /// then takes `newName` as the name: the one way to step.
    void updateFullPath(char const* newName);
    ///@{
    /// Joins `text` (or its first `len` bytes) to the partial path as a subdirectory.
    void appendToPartialPath(char const* text);
    void appendToPartialPath(char const* text, int len);
    ///@}

    ///@{
    /// The links of the chain. The owned ones (stream, parent, file) are
    /// deleted by the setters when replaced; resetFile forgets the file
    /// without deleting it.
    svContainerDirIoStream* getDirStream() const { return dirStream; }
    void setDirStream(svContainerDirIoStream* stream);
    svContainer* getParent() const { return parent; }
    void setParent(svContainer* p) { parent = p; }
    svContainer* getChild() const { return child; }
    void setChild(svContainer* c) { child = c; }
    svContainerFile* getFile() const { return file; }
    void setFile(svContainerFile* f);
    void resetFile() { file = nullptr; }
    ///@}

    ///@{
    /// The first error of the file, then of this object (0 or -1 for none):
    /// the file codes, then the stream codes through every base stream.
    FileAccessReturnValue findFileAccessInError() const;
    bool hasFileError() const;
    StreamAccessReturnValue findStreamAccessInError() const;
    bool hasStreamError() const;
    bool hasErrorOnContainer() const { return hasStreamError() || hasFileError(); }
    ///@}

    /// The three look-ups. Each returns an object carrying its own error
    /// state, or null when the walk made no object at all; the caller deletes
    /// it once.
    static svContainer* svFindContainer(char const* path);

protected:
    ContainerType type;  ///< 0 none, 1 plain directory, 2 CAT
    char* partialPath;  ///< owned, SV_PATH_BUFFER_SIZE bytes
    svContainerDirIoStream* dirStream;  ///< owned
    svContainer* parent;  ///< owned
    svContainer* child;  ///< not owned
    svContainerFile* file;  ///< owned
};

/// A leaf: a file reached through its directory.
class svContainerFile : public svFile {
public:
    svContainerFile();
    /// Deletes the file stream and the directory, and with it the chain.
    ~svContainerFile() override;

    /// A file may be used once it can be read and stat shows a file.
    bool isAccessible() override { return isReadable() && stat() && isFile(); }

    ///@{
    /// The stream over the bytes and the directory, both owned; the setters
    /// delete what they replace; resetDir forgets the directory.
    svContainerFileIoStream* getFileStream() const { return fileStream; }
    void setFileStream(svContainerFileIoStream* stream);
    svContainer* getDir() const { return dir; }
    void setDir(svContainer* d);
    void resetDir() { dir = nullptr; }
    ///@}

    ///@{
    /// The first error of this object, then of its directory, as in svContainer.
    FileAccessReturnValue findFileAccessInError() const;
    bool hasFileError() const;
    svIoStream::StreamAccessReturnValue findStreamAccessInError() const;
    bool hasStreamError() const;
    bool hasErrorOnContainerFile() const { return hasStreamError() || hasFileError(); }
    ///@}

    /// The look-up of a file; a directory at the end gives error 5.
    static svContainerFile* svFindContainerFile(char const* path);

protected:
    svContainerFileIoStream* fileStream;  ///< owned
    svContainer* dir;  ///< owned
};

/// The look-up of either: the file object when the path ends on a file, the
/// container otherwise.
svFile* svFindContainerOrContainerFile(char const* path);

QZSERVICES_API_END
