// What the display fuzz targets share: a reader of the input's bytes that
// answers 0 past the end, an array that frees itself, and output sent
// nowhere for the whole run.
#pragma once
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXNoOutputSink.hpp>
#include <vx/array.hpp>

#include <boost/make_shared.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace fuzzinput {

class Bytes {
public:
    Bytes(uint8_t const* data, size_t size) : data_(data), size_(size) {}
    unsigned next() { return at_ < size_ ? data_[at_++] : 0; }
    bool empty() const { return at_ >= size_; }
    void fill(void* dst, size_t n) {
        auto* out = static_cast<unsigned char*>(dst);
        for (size_t i = 0; i < n; ++i) out[i] = static_cast<unsigned char>(next());
    }

private:
    uint8_t const* data_;
    size_t size_;
    size_t at_ = 0;
};

// Pushes a sink that drops all text on CXOut, once per process.
inline void silenceOutput() {
    static bool const quiet = [] {
        services::io::CXStream::CXOut.push(boost::make_shared<CXNoOutputSink>());
        return true;
    }();
    (void)quiet;
}

// An array that frees itself.
struct ArrayDestroyer {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<vxArray, ArrayDestroyer>;

} // namespace fuzzinput
