/// @file
/// UTF-16 output that follows the tops of CXOut and CXErr. The manager holds
/// the current UTF-16 buffer of each stream (set by CXStream at every push and
/// pop); uout and uerr fetch it anew at every call, so objects made before a
/// push follow the new top at once.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"

#include <boost/scoped_ptr.hpp>
#include <boost/thread/once.hpp>
#include <fd/io/uostream.hpp>

QZSERVICES_API_BEGIN

namespace services { namespace io {

/// The current UTF-16 buffers of the two streams.
class unicode_stream_manager {
public:
    static unicode_stream_manager& get_instance();  ///< the one manager, made once

    boost::shared_ptr<ustreambuf> get_current_output_streambuf() const;  ///< CXOut's UTF-16 buffer now
    boost::shared_ptr<ustreambuf> get_current_error_streambuf() const;  ///< CXErr's UTF-16 buffer now
    void set_current_output_streambuf(boost::shared_ptr<ustreambuf> const& buffer);  ///< set by CXOut at push and pop
    void set_current_error_streambuf(boost::shared_ptr<ustreambuf> const& buffer);  ///< set by CXErr at push and pop

    ~unicode_stream_manager();  ///< releases both buffers

private:
    unicode_stream_manager();
    static void init_instance();

    /// Read and replaced atomically: writers on any thread may fetch a buffer
    /// while the signal thread pushes a sink.
    boost::shared_ptr<ustreambuf> output_;
    boost::shared_ptr<ustreambuf> error_;

    static boost::scoped_ptr<unicode_stream_manager> the_instance_ptr;
    static boost::once_flag flag;
};

/// Holds nothing; each call goes to the manager's current buffer.
template <bool IsError>
class forwarding_ustreambuf : public ustreambuf {  // the buffer of uout (IsError false) or uerr (true)
protected:
    /// Writes `n` units to the current buffer.
    std::streamsize xsputn(char_type const* p, std::streamsize n) override { return current()->sputn(p, n); }
    int sync() override { return current()->pubsync(); }  ///< syncs the current buffer
    /// Writes one unit; end of file does nothing.
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return 0;
        return current()->sputc(traits_type::to_char_type(c));
    }

private:
    static boost::shared_ptr<ustreambuf> current() {  // the manager's buffer for this stream
        unicode_stream_manager& m = unicode_stream_manager::get_instance();
        return IsError ? m.get_current_error_streambuf() : m.get_current_output_streambuf();
    }
};

/// A UTF-16 stream onto CXOut's current sink.
class uout : public fd::io::uostream {
public:
    uout();  ///< attached to the forwarding buffer
    ~uout() override;  ///< nothing to release
private:
    forwarding_ustreambuf<false> buf_;
};

/// A UTF-16 stream onto CXErr's current sink.
class uerr : public fd::io::uostream {
public:
    uerr();  ///< attached to the forwarding buffer
    ~uerr() override;  ///< nothing to release
private:
    forwarding_ustreambuf<true> buf_;
};

}} // namespace services::io

QZSERVICES_API_END
