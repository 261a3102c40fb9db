// Reading and writing the messages between the page and qzdesktop.
#include "Protocol.hpp"

#include <cstdlib>

namespace qzdesktop {

namespace {

// A decimal number of 1 to 7 digits, nothing else; -1 when it is not one.
long plainNumber(std::string const& text, size_t begin, size_t end) {
    if (end <= begin || end - begin > 7) return -1;
    long value = 0;
    for (size_t i = begin; i < end; ++i) {
        if (text[i] < '0' || text[i] > '9') return -1;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

bool fail(std::string& why, char const* reason) {
    why = reason;
    return false;
}

} // namespace

bool parseClientMessage(std::string const& data, ClientMessage& out, std::string& why) {
    if (data.empty()) return fail(why, "an empty message");
    std::string const body = data.substr(1);
    if (body.find('\0') != std::string::npos) return fail(why, "a NUL in the message");
    out = ClientMessage();
    switch (data[0]) {
    case 'x':
        out.kind = ClientKind::Statement;
        out.text = body;
        return true;
    case 'l':
        out.kind = ClientKind::InputLine;
        out.text = body;
        return true;
    case 'h':
        if (body.empty() || body.size() > 200 || body.find_first_of(" \t\n") != std::string::npos)
            return fail(why, "a help topic that is not one word");
        out.kind = ClientKind::Help;
        out.text = body;
        return true;
    case 'i':
        if (!body.empty()) return fail(why, "an interrupt with text");
        out.kind = ClientKind::Interrupt;
        return true;
    case 'k': {
        long const key = plainNumber(body, 0, body.size());
        if (key < 1 || key > 0x10ffff) return fail(why, "a key that is not a code");
        out.kind = ClientKind::Key;
        out.key = static_cast<int>(key);
        return true;
    }
    case 'r': {
        size_t const blank = body.find(' ');
        if (blank == std::string::npos) return fail(why, "a size that is not two numbers");
        long const columns = plainNumber(body, 0, blank);
        long const rows = plainNumber(body, blank + 1, body.size());
        if (columns < 1 || columns > 10000 || rows < 1 || rows > 10000)
            return fail(why, "a size that is not two numbers from 1 to 10000");
        out.kind = ClientKind::Resize;
        out.columns = static_cast<int>(columns);
        out.rows = static_cast<int>(rows);
        return true;
    }
    default:
        return fail(why, "a message of an unknown kind");
    }
}

} // namespace qzdesktop
