// The stream base: state, byte order and the tables of stream codes.
#include "qzservices/containers/svIoStream.hpp"
#include "qzservices/containers/svFile.hpp"

#include <uv/strings.hpp>

#include <cstring>

char const* const svIoStream::fio_maxopen_extra_text = "";
char const* const svIoStream::fio_reserved_device_platform = "Unix";

namespace {

// Filled by the static initialiser; indexed without a range check by design.
std::string const kMnemonics[12] = {
    "", "cantOpenFile", "cantReadFile", "fileCorrupt", "cantWriteFile", "filenameTooLong",
    "pathTooLong", "tooManyfilesOpen", "cantOpenFileNoPermission", "fileNotFound", "noDiskSpace",
    "reservedDevice"};

std::string const kStrings[12] = {
    "",
    "Can@'t open file",
    "Can@'t read file",
    "File is corrupt",
    "Can@'t write file",
    "Filename is too long",
    "Pathname is too long",
    "Too many files open",
    std::string("Cannot open file: permission denied") + svIoStream::fio_maxopen_extra_text,
    "File not found",
    "Not enough space on disk",
    std::string("Reserved ") + svIoStream::fio_reserved_device_platform + " device"};

} // namespace

svIoStream::svIoStream()
    : streamAccess(-1), streamFile(nullptr), endianness(getComputerEndianness()), returnOnError(false),
      continueNotFound(false) {}

svIoStream::~svIoStream() {}

bool svIoStream::hasErrorOnStream() const { return isError(streamAccess); }

void svIoStream::setStreamFile(svFile* file) {
    delete streamFile;
    streamFile = file;
}

svIoStream::Endianness svIoStream::getComputerEndianness() const {
    unsigned int const probe = 1;
    unsigned char first;
    std::memcpy(&first, &probe, 1);
    return first == 1 ? 1 : 0;
}

std::string svIoStream::getStreamAccessStrings(int value) { return kStrings[value]; }
std::string svIoStream::getStreamAccessMnenomics(int value) { return kMnemonics[value]; }

void svIoStream::memcpyFourBytes(void* dst, void const* src) const {
    std::memcpy(dst, src, 4);
    if (endianness != getComputerEndianness()) uvFlipFourBytes(dst);
}

bool svContainerFileIoStream::hasErrorOnStream() const {
    return base == nullptr ? isError(streamAccess) : base->hasErrorOnStream();
}

bool svContainerDirIoStream::hasErrorOnStream() const {
    return base == nullptr ? isError(streamAccess) : base->hasErrorOnStream();
}
