/// @file
/// The machine that walks paths. A state stands for a kind of container and
/// its successors, in priority order, say what the next component may be; the
/// walker reads a path component by component and builds the chain of
/// containers as it goes. The machine is built once and never changes.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/containers/svFile.hpp"

QZSERVICES_API_BEGIN

/// One state: the tests that decide whether a path component is its kind of
/// container, the objects it makes for that component, and its successors.
class ContainerState {
public:
    /// Room for `n` successors (a negative n gives none), all null.
    explicit ContainerState(int n);
    virtual ~ContainerState();
    ContainerState(ContainerState const&) = delete;
    ContainerState& operator=(ContainerState const&) = delete;

    ///@{
    /// The successors in priority order; an index out of range reads null and
    /// writes nothing. The size is the room made at construction.
    int getNextSize() const { return nextSize; }
    void setNextSize(int n) { nextSize = n; }
    ContainerState* getNext(int i) const { return i >= 0 && i < nextSize ? next[i] : nullptr; }
    void setNext(ContainerState* state, int i) {
        if (i >= 0 && i < nextSize) next[i] = state;
    }
    ///@}

    /// Whether a component with this extension (`len` bytes, not terminated)
    /// can be this state's container.
    virtual bool matchesContainerType(char* ext, int len) = 0;
    /// True for the states of directories below a container's root.
    virtual bool isSubDirectoryState() = 0;
    /// A new container of the state's family, or null; the caller owns it.
    virtual svContainer* viewContainer(svContainer* parent) = 0;
    ///@{
    /// A new leaf object of the family attached to `dir`, taking the name of
    /// `len` bytes (none: the identity the walk left on `dir`).
    /// The two short forms forward to the full one; a family may override them.
    virtual svContainerFile* viewContainerFile() { return viewContainerFile(nullptr, nullptr, 0); }
    virtual svContainerFile* viewContainerFile(svContainer* dir) { return viewContainerFile(dir, nullptr, 0); }
    virtual svContainerFile* viewContainerFile(svContainer* dir, char* name, int len) = 0;
    ///@}

protected:
    int nextSize;  ///< the room in `next`
    ContainerState** next;  ///< uvCalloc
};

/// The head: leads to the four working states and deletes them.
class StartContainerState : public ContainerState {
public:
    StartContainerState() : ContainerState(4) {}
    ~StartContainerState() override;
    bool matchesContainerType(char*, int) override { return false; }
    bool isSubDirectoryState() override { return false; }
    svContainer* viewContainer(svContainer*) override { return nullptr; }
    using ContainerState::viewContainerFile;
    svContainerFile* viewContainerFile(svContainer*, char*, int) override { return nullptr; }
};

/// A plain directory reached from the root or out of a plain directory.
class StdContainerState : public ContainerState {
public:
    StdContainerState() : ContainerState(2) {}
    bool matchesContainerType(char*, int) override { return true; }
    bool isSubDirectoryState() override { return false; }
    svContainer* viewContainer(svContainer* parent) override;
    using ContainerState::viewContainerFile;
    svContainerFile* viewContainerFile(svContainer* dir, char* name, int len) override;
};

/// A plain directory below another plain directory.
class StdContainerSubDirState : public ContainerState {
public:
    StdContainerSubDirState() : ContainerState(2) {}
    bool matchesContainerType(char*, int) override { return true; }
    bool isSubDirectoryState() override { return true; }
    svContainer* viewContainer(svContainer* parent) override;
    using ContainerState::viewContainerFile;
    svContainerFile* viewContainerFile(svContainer* dir, char* name, int len) override;
};

/// A CAT file: a component whose extension is exactly "cat".
class CatContainerState : public ContainerState {
public:
    CatContainerState() : ContainerState(1) {}
    bool matchesContainerType(char* ext, int len) override;
    bool isSubDirectoryState() override { return false; }
    svContainer* viewContainer(svContainer* parent) override;
    using ContainerState::viewContainerFile;
    svContainerFile* viewContainerFile(svContainer* dir, char* name, int len) override;
};

/// A directory stored inside a CAT file (a CAT inside a CAT is one of these).
class CatContainerSubDirState : public ContainerState {
public:
    CatContainerSubDirState() : ContainerState(1) {}
    bool matchesContainerType(char*, int) override { return true; }
    bool isSubDirectoryState() override { return true; }
    svContainer* viewContainer(svContainer* parent) override;
    using ContainerState::viewContainerFile;
    svContainerFile* viewContainerFile(svContainer* dir, char* name, int len) override;
};

/// Builds the machine: the head, the four working states and their links.
class RFSMbuilder {
public:
    RFSMbuilder() : head(nullptr) {}
    /// Does not delete the head: the machine outlives its builder.
    ~RFSMbuilder() {}
    ContainerState* getHead() const { return head; }  ///< the machine last made or set; the destructor leaves it alive
    /// Deletes the head it held before, unless it is `h` again.
    void setHead(ContainerState* h);
    /// A new machine, its head returned; the caller owns it.
    ContainerState* makeRFSM();

private:
    ContainerState* head;
};

/// Walks one path through the machine, component by component.
class RFSMwalker {
public:
    /// Starts in the plain-directory state behind the head of the machine.
    RFSMwalker();
    explicit RFSMwalker(ContainerState* head);  ///< the same behind `head`; nothing to walk from for a null head
    ~RFSMwalker() {}

    ///@{
    /// The deepest container reached and the state that made it.
    svContainer* getTail() const { return tail; }
    void setTail(svContainer* t) { tail = t; }
    ContainerState* getLast() const { return last; }
    void setLast(ContainerState* l) { last = l; }
    ///@}

    /// True when the whole path was resolved; `tail` and `last` are valid
    /// either way, and the chain from `tail` belongs to the caller.
    bool walkRFSM(char const* path, bool statLast);

    /// The root component: "/" (length 1) for an absolute path, else length 0.
    static char const* rootPathName(char const* path, int* len);
    /// The next component after any slashes at `from`, and its length.
    static char* nextPathName(char* from, int* len);
    /// The extension of the `*len` bytes at `name` (after the last dot that is
    /// not the first byte), its length into *len; length 0 for none.
    static char* nameExtension(char* name, int* len);

private:
    svContainer* tail;
    ContainerState* last;
};

QZSERVICES_API_END
