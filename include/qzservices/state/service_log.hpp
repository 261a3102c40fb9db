/// @file
/// The service log: a copy of the command window's output in a file or on a
/// standard descriptor. Choosing a target (svLogToFile, svLogToOutput) only
/// records it; svOpenLog opens it and publishes the stream in
/// services::io::CXStream::logStreamPtr_, where the active output proxy writes.
/// No lock: callers keep these apart from the writing of output.
#pragma once
#include "qzservices/export.hpp"
#include <boost/shared_ptr.hpp>
#include <iosfwd>
#include <string>

QZSERVICES_API_BEGIN

/// Mode 2 (appended) with `append`, else 1 (truncated at open).
void svLogToFile(std::string const& name, bool append);
/// Mode 4 (standard error) with the argument true, else 3 (standard output).
void svLogToOutput(bool toStandardError);
/// Opens the chosen target: 0 on success or with nothing chosen; -1, with the
/// choice dropped as by svReleaseLog, when it cannot be opened.
int svOpenLog();
/// Ends the log: no stream, mode 0, no name.
void svReleaseLog();
///@{
/// Installs a stream (flushing the one before). A stream with any of its
/// error bits set is refused: nothing is installed then.
void svSetLogStream(boost::shared_ptr<std::ostream> stream);
boost::shared_ptr<std::ostream> svGetLogStream();  ///< null while there is no log
///@}
/// "stdout" in mode 3, "stderr" in mode 4, otherwise the recorded file name.
std::string svGetLogFileName();

QZSERVICES_API_END
