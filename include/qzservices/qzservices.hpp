// Everything a host of the services library uses.
#pragma once
#include "qzservices/io/CXSink.hpp"
#include "qzservices/io/CXNoOutputSink.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/CmdWinSink.hpp"
#include "qzservices/io/PutsFnSink.hpp"
#include "qzservices/io/SinkTraits.hpp"
#include "qzservices/io/UnicodeStreams.hpp"
#include "qzservices/io/ioFlush.hpp"
#include "qzservices/prompt/InputRequester.hpp"
#include "qzservices/state/session_modes.hpp"
