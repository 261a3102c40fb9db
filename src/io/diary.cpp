// The diary's file, name and switches. Text reaches the file through
// diaryBuffer, which the output proxy fills through CXStream::diaryStreamPtr_
// and flushes after each write; nmDiaryPrintf writes to the file directly.
#include "qzservices/io/diary.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/containers/io_files.hpp"

#include <msg/calyx_messages.hpp>
#include <px/px.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <boost/make_shared.hpp>

#include <cstdarg>
#include <cstring>
#include <memory>
#include <sstream>
#include <strings.h>

namespace {

enum { kMaxDiaryName = 4352 };

char diaryFileName[kMaxDiaryName + 1] = "diary";
FILE* diaryFile = nullptr;

// Gathers the copied text; each sync writes it to the open file and empties
// itself. Text gathered while no file is open waits for the next one.
class DiaryBuffer : public std::stringbuf {
protected:
    int sync() override {
        if (diaryFile == nullptr) return 0;
        std::fputs(str().c_str(), diaryFile);
        str(std::string());
        return 0;
    }
};

// Never destroyed: the streams may flush the diary during exit, after the
// destructors of this unit's statics would have run.
DiaryBuffer& diaryBuffer() {
    static DiaryBuffer* const buffer = new DiaryBuffer;
    return *buffer;
}

boost::shared_ptr<std::ostream> diaryStream;

// The file may have appeared in the current folder: the path manager drops
// its listing of that folder.
void tellPathManager() {
    pxChangedUnknownDir(pxLookupPath(pxGetCurrentPathname()));
}

// Raises when the file cannot be opened; the diary then stays off.
void openDiary() {
    diaryFile = ioFopenErrorChkPath(diaryFileName, "a");
    diaryStream = boost::make_shared<std::ostream>(&diaryBuffer());
    services::io::CXStream::diaryStreamPtr_ = diaryStream;
}

void closeDiary() {
    // What is gathered belongs to this file, not to the next one opened.
    diaryBuffer().pubsync();
    std::fclose(diaryFile);
    diaryFile = nullptr;
    diaryStream.reset();
    services::io::CXStream::diaryStreamPtr_.reset();
}

} // namespace

bool nmIsDiaryEnabled() { return diaryFile != nullptr; }

FILE* ioGetDiaryFilePointer() { return diaryFile; }

char const* nmGetDiaryFile() { return diaryFileName; }

char const* nmSetDiaryFile(char const* name) {
    if (name == nullptr) vxErrMsg(15);
    if (std::strlen(name) > kMaxDiaryName)
        vxErrMsgId("CALYX:fileio:filenameTooLong", CALYX::services::filenameTooLong());
    std::strcpy(diaryFileName, name);
    if (diaryFile == nullptr) return diaryFileName;
    closeDiary();
    tellPathManager();
    openDiary();
    return diaryFileName;
}

void nmDiaryPrintf(char const* format, ...) {
    if (diaryFile == nullptr || format == nullptr || !services::io::CXStream::CXOut.useDiary()) return;
    va_list args;
    va_start(args, format);
    std::vfprintf(diaryFile, format, args);
    va_end(args);
}

void nmDiaryFcn(char const* arg) {
    if (arg == nullptr) arg = "";
    if (*arg == '\0') {
        if (diaryFile != nullptr) closeDiary();
        else openDiary();
    } else if (strcasecmp(arg, "on") == 0) {
        if (diaryFile == nullptr) openDiary();
    } else if (strcasecmp(arg, "off") == 0) {
        if (diaryFile != nullptr) closeDiary();
    } else {
        nmSetDiaryFile(arg);
        if (diaryFile == nullptr) openDiary();
    }
    tellPathManager();
}

void nmFullDiaryFcn(int outCount, vxArray_tag** /*outArgs*/, int inCount, vxArray_tag** inArgs) {
    if (outCount > 0) vxm::detail::error_maxlhs();
    if (inCount >= 2) vxm::detail::error_maxrhs();
    if (inCount < 0) vxm::detail::error_minrhs();
    struct VxFreer {
        void operator()(char* p) const { vxFree(p); }
    };
    std::unique_ptr<char, VxFreer> text;
    if (inCount == 1) {
        text.reset(vxArray2String(inArgs != nullptr ? inArgs[0] : nullptr));
        if (!text) vxErrMsg(16);
    } else {
        text.reset(static_cast<char*>(vxCalloc(1, 1)));
    }
    nmDiaryFcn(text.get());
}
