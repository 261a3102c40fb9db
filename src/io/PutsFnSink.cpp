// The command-window sink that hands its text to a function.
#include "qzservices/io/PutsFnSink.hpp"

#include <boost/function/function_base.hpp>
#include <boost/make_shared.hpp>
#include <boost/numeric/conversion/cast.hpp>
#include <cstring>

namespace services { namespace io {

PutsFnStreamBuffer::PutsFnStreamBuffer(PutsFn const& fn) : fn_(fn) {
    setp(store_, store_ + kPutAreaSize);
}

PutsFnStreamBuffer::int_type PutsFnStreamBuffer::overflow(int_type c) {
    // The store has room behind the put area for this character and a NUL.
    // End-of-file is stored like any other value, by design.
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    sync();
    return c;
}

int PutsFnStreamBuffer::sync() {
    if (pptr() == pbase()) return 0;
    *pptr() = '\0';
    // Empty the area before calling out, so that an exception leaves it empty.
    setp(store_, store_ + kPutAreaSize);
    if (fn_.empty()) throw boost::bad_function_call();
    if (fn_(store_) == -1) return 0;
    return boost::numeric_cast<int>(std::strlen(store_));
}

namespace {

int swallow(char const*) { return 0; }

boost::shared_ptr<std::streambuf> makeBuffer(boost::function1<int, char const*> const& fn) {
    return boost::make_shared<PutsFnStreamBuffer>(fn);
}

} // namespace

PutsFnSink::PutsFnSink()
    : CmdWinSink(makeBuffer(&swallow)),
      buffer_(boost::static_pointer_cast<PutsFnStreamBuffer>(getOutStreamBuffer())) {}

PutsFnSink::PutsFnSink(boost::function1<int, char const*> const& fn)
    : CmdWinSink(makeBuffer(fn)), buffer_(boost::static_pointer_cast<PutsFnStreamBuffer>(getOutStreamBuffer())) {}

PutsFnSink::~PutsFnSink() = default;

bool PutsFnSink::isInputRequestNecessary() { return false; }
void PutsFnSink::requestInput() {}

void PutsFnSink::set_function(boost::function1<int, char const*> const& fn) { buffer_->set_function(fn); }

}} // namespace services::io
