/// @file
/// Scope guards that point a command-window sink at other buffers for a while
/// and put back exactly the kind of buffer (narrow or UTF-16) that was primary.
/// On a null sink they do nothing at either end. Not copyable.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CmdWinSink.hpp"

#include <boost/function.hpp>

QZSERVICES_API_BEGIN

/// Applies a buffer change to a sink and undoes it at the end of the scope.
class CmdWinSinkBufferGuard {
public:
    /// Returns the primary it replaced.
    typedef boost::function1<services::io::StreamBufferVariant, boost::shared_ptr<CmdWinSink> const&> Change;

    /// Applies `change` to `sink`.
    CmdWinSinkBufferGuard(boost::shared_ptr<CmdWinSink> const& sink, Change const& change);
    virtual ~CmdWinSinkBufferGuard();  ///< puts the previous primary back
    CmdWinSinkBufferGuard(CmdWinSinkBufferGuard const&) = delete;  ///< one per scope: not copyable
    CmdWinSinkBufferGuard& operator=(CmdWinSinkBufferGuard const&) = delete;  ///< nor assignable

private:
    class restoring_visitor : public boost::static_visitor<void> {  // puts either kind of buffer back
    public:
        explicit restoring_visitor(boost::shared_ptr<CmdWinSink> sink) : sink_(std::move(sink)) {}  ///< for `sink`
        void operator()(boost::shared_ptr<std::streambuf> const& buffer) const;  ///< a narrow primary
        void operator()(boost::shared_ptr<services::io::ustreambuf> const& buffer) const;  ///< a UTF-16 primary
    private:
        boost::shared_ptr<CmdWinSink> sink_;
    };

    /// Declared in this order so that they are released in the reverse one,
    /// the copies of the buffers last of all.
    boost::shared_ptr<std::streambuf> outStreamBuffer_;
    boost::shared_ptr<services::io::ustreambuf> unicodeOutStreamBuffer_;
    boost::shared_ptr<CmdWinSink> sink_;
    services::io::StreamBufferVariant previous_;
    restoring_visitor visitor_;
};

/// Makes the given buffer the sink's primary buffer until the guard ends.
class CmdWinSinkUseAlternateBuffer {
public:
    /// A narrow buffer as primary; a null sink does nothing.
    CmdWinSinkUseAlternateBuffer(boost::shared_ptr<CmdWinSink> const& sink,
                                 boost::shared_ptr<std::streambuf> const& buffer);
    /// A UTF-16 buffer as primary; a null sink does nothing.
    CmdWinSinkUseAlternateBuffer(boost::shared_ptr<CmdWinSink> const& sink,
                                 boost::shared_ptr<services::io::ustreambuf> const& buffer);
private:
    CmdWinSinkBufferGuard guard_;
};

/// Makes the sink's initial buffers current until the guard ends.
class CmdWinSinkUseInitialBuffer {
public:
    explicit CmdWinSinkUseInitialBuffer(boost::shared_ptr<CmdWinSink> const& sink);  ///< for `sink`; null does nothing
private:
    CmdWinSinkBufferGuard guard_;
};

QZSERVICES_API_END
