// UTF-16 output that follows the tops of CXOut and CXErr. The manager holds
// the current UTF-16 buffer of each stream (set by CXStream at every push and
// pop); uout and uerr fetch it anew at every call, so objects made before a
// push follow the new top at once.
#pragma once
#include "qzservices/io/CXSink.hpp"

#include <boost/scoped_ptr.hpp>
#include <boost/thread/once.hpp>
#include <fd/io/uostream.hpp>

namespace services { namespace io {

class unicode_stream_manager {
public:
    static unicode_stream_manager& get_instance();

    boost::shared_ptr<ustreambuf> get_current_output_streambuf() const;
    boost::shared_ptr<ustreambuf> get_current_error_streambuf() const;
    void set_current_output_streambuf(boost::shared_ptr<ustreambuf> const& buffer);
    void set_current_error_streambuf(boost::shared_ptr<ustreambuf> const& buffer);

    ~unicode_stream_manager();

private:
    unicode_stream_manager();
    static void init_instance();

    // Read and replaced atomically: writers on any thread may fetch a buffer
    // while the signal thread pushes a sink.
    boost::shared_ptr<ustreambuf> output_;
    boost::shared_ptr<ustreambuf> error_;

    static boost::scoped_ptr<unicode_stream_manager> the_instance_ptr;
    static boost::once_flag flag;
};

// Holds nothing; each call goes to the manager's current buffer.
template <bool IsError>
class forwarding_ustreambuf : public ustreambuf {
protected:
    std::streamsize xsputn(char_type const* p, std::streamsize n) override { return current()->sputn(p, n); }
    int sync() override { return current()->pubsync(); }
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return 0;
        return current()->sputc(traits_type::to_char_type(c));
    }

private:
    static boost::shared_ptr<ustreambuf> current() {
        unicode_stream_manager& m = unicode_stream_manager::get_instance();
        return IsError ? m.get_current_error_streambuf() : m.get_current_output_streambuf();
    }
};

class uout : public fd::io::uostream {
public:
    uout();
    ~uout() override;
private:
    forwarding_ustreambuf<false> buf_;
};

class uerr : public fd::io::uostream {
public:
    uerr();
    ~uerr() override;
private:
    forwarding_ustreambuf<true> buf_;
};

}} // namespace services::io
