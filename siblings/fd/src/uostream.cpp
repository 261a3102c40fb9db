// The foundation layer's UTF-16 output stream and its plain inserters.
#include "fd/io/uostream.hpp"

namespace fd { namespace io {

namespace {

void writeWidened(uostream& os, char const* s, size_t n) {
    unsigned short wide[256];
    while (n > 0) {
        size_t len = n < 256 ? n : 256;
        for (size_t k = 0; k < len; ++k) wide[k] = static_cast<unsigned char>(s[k]);
        os.write(wide, static_cast<std::streamsize>(len));
        s += len;
        n -= len;
    }
}

} // namespace

uostream& operator<<(uostream& os, char const* ascii) {
    if (ascii == nullptr) {
        os.setstate(std::ios_base::badbit);
        return os;
    }
    writeWidened(os, ascii, std::char_traits<char>::length(ascii));
    return os;
}

uostream& operator<<(uostream& os, std::string const& ascii) {
    writeWidened(os, ascii.data(), ascii.size());
    return os;
}

uostream& operator<<(uostream& os, std::basic_string<unsigned short> const& text) {
    os.write(text.data(), static_cast<std::streamsize>(text.size()));
    return os;
}

uostream& uendl(uostream& os) {
    unsigned short lf = '\n';
    os.write(&lf, 1);
    os.flush();
    return os;
}

}} // namespace fd::io
