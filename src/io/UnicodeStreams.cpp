// UTF-16 output, uout and uerr, that follows the tops of CXOut and CXErr.
#include "qzservices/io/UnicodeStreams.hpp"

#include <boost/smart_ptr/atomic_shared_ptr.hpp>

namespace services { namespace io {

namespace {

// Overrides nothing: with no put area every write is refused in the way of the
// base class (xsputn reports 0 units, overflow end-of-file).
class blackhole_ustreambuf : public ustreambuf {
public:
    ~blackhole_ustreambuf() override = default;
};

} // namespace

boost::scoped_ptr<unicode_stream_manager> unicode_stream_manager::the_instance_ptr;
boost::once_flag unicode_stream_manager::flag = BOOST_ONCE_INIT;

unicode_stream_manager::unicode_stream_manager()
    : output_(new blackhole_ustreambuf), error_(new blackhole_ustreambuf) {}

unicode_stream_manager::~unicode_stream_manager() = default;

void unicode_stream_manager::init_instance() { the_instance_ptr.reset(new unicode_stream_manager); }

unicode_stream_manager& unicode_stream_manager::get_instance() {
    boost::call_once(flag, &unicode_stream_manager::init_instance);
    return *the_instance_ptr;
}

boost::shared_ptr<ustreambuf> unicode_stream_manager::get_current_output_streambuf() const {
    return boost::atomic_load(&output_);
}

boost::shared_ptr<ustreambuf> unicode_stream_manager::get_current_error_streambuf() const {
    return boost::atomic_load(&error_);
}

void unicode_stream_manager::set_current_output_streambuf(boost::shared_ptr<ustreambuf> const& buffer) {
    boost::atomic_store(&output_, buffer);
}

void unicode_stream_manager::set_current_error_streambuf(boost::shared_ptr<ustreambuf> const& buffer) {
    boost::atomic_store(&error_, buffer);
}

// The base is made with no buffer because the member is not built yet.
uout::uout() : fd::io::uostream(nullptr) { rdbuf(&buf_); }
uout::~uout() = default;
uerr::uerr() : fd::io::uostream(nullptr) { rdbuf(&buf_); }
uerr::~uerr() = default;

}} // namespace services::io
