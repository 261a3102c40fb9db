// The three source-file readers.
#include "qzservices/containers/CxfileReader.hpp"
#include "qzservices/containers/io_files.hpp"
#include "qzservices/containers/svFile.hpp"

#include <uv/cycle_counter.hpp>
#include <uv/mem_context.hpp>
#include <uv/uv.hpp>

#include <boost/bind/bind.hpp>

#include <sys/stat.h>

#include <memory>
#include <new>

namespace {

uvCpuCycleCounter* readerCounter() {
    static char const* const names[] = {"   Reader: Open: other  ", "   Reader: size         ",
                                        "   Reader: read         "};
    // Made without a lock on first use: readers run on the interpreter's thread.
    static uvCpuCycleCounter* counter = uvCreateCpuCycleCounter(3, names, "Reader");
    return counter;
}

struct FileCloser {
    void operator()(FILE* f) const { ioFclose(f); }
};

// Frees the buffer from its context if an exception passes while it is filled.
struct ContextBuffer {
    ContextBuffer(_memory_context* c, void* p) : context(c), buffer(p) {}
    ~ContextBuffer() {
        if (buffer) uv_mem_free(context, buffer);
    }
    void* release() {
        void* p = buffer;
        buffer = nullptr;
        return p;
    }
    _memory_context* context;
    void* buffer;
};

// Steps "size" and "read" on an open stream: the whole file, terminated.
void* readWhole(unsigned long* size, _memory_context* context, FILE* stream, uvCpuCycleCounter* counter) {
    unsigned long local = 0;
    if (size == nullptr) size = &local;
    long length;
    {
        uvCycleTimer timer(counter, 1);
        std::fseek(stream, 0, SEEK_END);
        length = std::ftell(stream);
        std::fseek(stream, 0, SEEK_SET);
    }
    if (length < 0) length = 0;  // not seekable: nothing to size
    void* raw = uv_mem_alloc(context, static_cast<size_t>(length) + 1);
    if (raw == nullptr) throw std::bad_alloc();
    ContextBuffer guard(context, raw);
    size_t got;
    {
        uvCycleTimer timer(counter, 2);
        got = std::fread(raw, 1, static_cast<size_t>(length), stream);
    }
    static_cast<char*>(raw)[got] = '\0';
    *size = got;
    return guard.release();
}

// A directory opens like a file here, but its length is nonsense: it is not
// a readable file.
bool isDirectory(FILE* stream) {
    struct stat st;
    return fstat(fileno(stream), &st) == 0 && S_ISDIR(st.st_mode);
}

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};

} // namespace

void* PlaintextCxfileReader::read(unsigned long* size, _memory_context* context, char const* path,
                                  ioErrorMessage* error) {
    ioErrorMessage local = 0;
    if (error == nullptr) error = &local;
    *error = 1;
    uvCpuCycleCounter* counter = readerCounter();
    FILE* opened;
    {
        uvCycleTimer timer(counter, 0);
        opened = ioFopenErrorChk(path, "rb");
    }
    if (opened == nullptr) return nullptr;
    std::unique_ptr<FILE, FileCloser> file(opened);
    if (isDirectory(opened)) return nullptr;  // with the open's code, 1; nothing allocated
    *error = 2;
    void* buffer = readWhole(size, context, file.get(), counter);
    *error = 0;
    return buffer;
}

void* PlaintextCxfileReader::read(unsigned long* size, _memory_context* context, FILE* stream) {
    if (stream == nullptr || isDirectory(stream)) return nullptr;
    return readWhole(size, context, stream, readerCounter());
}

void* ContainerCxfileReader::read(unsigned long* size, _memory_context*, char const* path, ioErrorMessage* error) {
    unsigned long localSize = 0;
    if (size == nullptr) size = &localSize;
    ioErrorMessage localError = 0;
    if (error == nullptr) error = &localError;
    *size = 0;
    // Deleting the file object releases the chain of containers behind it.
    std::unique_ptr<svContainerFile> file(svContainerFile::svFindContainerFile(path));
    if (!file) {
        *error = 1;
        return nullptr;
    }
    svContainerFileIoStream* stream = file->getFileStream();
    if (stream == nullptr) {
        // The walk stopped before a file: report what stopped it.
        int const code = file->findStreamAccessInError();
        *error = code > 0 ? code : (file->getFileAccess() == 5 || file->isDir() ? 1 : 9);
        return nullptr;
    }
    // A walk that went through a file ("a.cat/f.txt/x") names nothing.
    if (file->findFileAccessInError() == 5) {
        *error = 9;
        return nullptr;
    }
    stream->setReturnOnError(true);
    stream->setContinueNotFound(true);
    unsigned char* buffer = nullptr;
    unsigned long wanted = 0;
    if (stream->open("rb")) {
        long const bytes = file->size();
        wanted = bytes > 0 ? static_cast<unsigned long>(bytes) : 0;
        *size = stream->read(&buffer, wanted);
        stream->close();
    }
    *error = stream->getStreamAccess();
    // A stream layered on a CAT file keeps its own code clean; a failure of
    // the file beneath shows through the chain.
    if (!svIoStream::isError(*error)) {
        int const below = file->findStreamAccessInError();
        if (below > 0) *error = below;
    }
    if (*error == 0 && *size != wanted) *error = 2;  // the file is shorter than its record
    if (*error != 0) {
        uvFree(buffer);
        *size = 0;
        return nullptr;
    }
    return buffer;
}

bool ignoreFileName(char const*, boost::function0<bool> const& f) { return f(); }

SwitchableCxfileReader::SwitchableCxfileReader(CxfileReader* f, CxfileReader* s,
                                               boost::function1<bool, char const*> const& c)
    : first(f), second(s), chooser(c) {}

SwitchableCxfileReader::SwitchableCxfileReader(CxfileReader* f, CxfileReader* s, boost::function0<bool> const& c)
    : first(f), second(s), chooser(boost::bind(&ignoreFileName, boost::placeholders::_1, c)) {}

void* SwitchableCxfileReader::read(unsigned long* size, _memory_context* context, char const* path,
                                   ioErrorMessage* error) {
    CxfileReader* const reader = chooser(path) ? first.get() : second.get();
    return reader->read(size, context, path, error);
}
