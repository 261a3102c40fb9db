// Stream buffers for tests: they record what reaches them and how often they
// were synced, with no put area so every write is seen at once.
#pragma once
#include <streambuf>
#include <string>

namespace qztest {

class RecordingBuffer : public std::streambuf {
public:
    std::string text;
    int syncs = 0;

protected:
    std::streamsize xsputn(char const* s, std::streamsize n) override {
        text.append(s, static_cast<size_t>(n));
        return n;
    }
    int_type overflow(int_type c) override {
        if (!traits_type::eq_int_type(c, traits_type::eof())) text.push_back(traits_type::to_char_type(c));
        return traits_type::not_eof(c);
    }
    int sync() override {
        ++syncs;
        return 0;
    }
};

class RecordingUBuffer : public std::basic_streambuf<unsigned short> {
public:
    std::basic_string<unsigned short> text;
    int syncs = 0;

protected:
    std::streamsize xsputn(unsigned short const* s, std::streamsize n) override {
        text.append(s, static_cast<size_t>(n));
        return n;
    }
    int_type overflow(int_type c) override {
        if (!traits_type::eq_int_type(c, traits_type::eof())) text.push_back(traits_type::to_char_type(c));
        return traits_type::not_eof(c);
    }
    int sync() override {
        ++syncs;
        return 0;
    }
};

inline std::basic_string<unsigned short> u16(std::u16string const& s) {
    return std::basic_string<unsigned short>(s.begin(), s.end());
}

} // namespace qztest
