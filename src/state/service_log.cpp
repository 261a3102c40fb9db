// The service log's target: recorded by the choosers, opened by svOpenLog,
// published to the output pipeline through CXStream::logStreamPtr_.
#include "qzservices/state/service_log.hpp"
#include "qzservices/io/CXStream.hpp"

#include <boost/iostreams/device/file_descriptor.hpp>
#include <boost/iostreams/stream.hpp>
#include <boost/make_shared.hpp>

#include <fstream>

namespace {

enum LogMode { kNoLog = 0, kFileTruncated = 1, kFileAppended = 2, kStandardOutput = 3, kStandardError = 4 };

boost::shared_ptr<std::ostream> gLogStream;
std::string gLogFileName;
int gLogMode = kNoLog;

typedef boost::iostreams::stream<boost::iostreams::file_descriptor_sink> DescriptorStream;

boost::shared_ptr<std::ostream> openDescriptor(int fd) {
    // The sink leaves the descriptor open when the stream goes.
    return boost::make_shared<DescriptorStream>(fd, boost::iostreams::never_close_handle);
}

} // namespace

void svLogToFile(std::string const& name, bool append) {
    gLogFileName = name;
    gLogMode = append ? kFileAppended : kFileTruncated;
}

void svLogToOutput(bool toStandardError) { gLogMode = toStandardError ? kStandardError : kStandardOutput; }

int svOpenLog() {
    switch (gLogMode) {
    case kFileTruncated:
        svSetLogStream(boost::make_shared<std::ofstream>(gLogFileName, std::ios_base::out));
        break;
    case kFileAppended:
        svSetLogStream(boost::make_shared<std::ofstream>(gLogFileName, std::ios_base::app));
        break;
    case kStandardOutput:
        svSetLogStream(openDescriptor(1));
        break;
    case kStandardError:
        svSetLogStream(openDescriptor(2));
        break;
    default:
        break;
    }
    if (gLogMode == kNoLog) return 0;
    if (gLogStream) return 0;
    svReleaseLog();
    return -1;
}

void svReleaseLog() {
    svSetLogStream(boost::shared_ptr<std::ostream>());
    gLogMode = kNoLog;
    gLogFileName.clear();
}

void svSetLogStream(boost::shared_ptr<std::ostream> stream) {
    if (stream && !stream->good()) stream.reset();  // a stream in a bad state is never installed
    if (gLogStream) gLogStream->flush();
    gLogStream = stream;
    services::io::CXStream::logStreamPtr_ = stream;
}

boost::shared_ptr<std::ostream> svGetLogStream() { return gLogStream; }

std::string svGetLogFileName() {
    if (gLogMode == kStandardOutput) return "stdout";
    if (gLogMode == kStandardError) return "stderr";
    return gLogFileName;
}
