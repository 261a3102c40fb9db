// The messages between the page and qzdesktop, one WebSocket text message
// each: a kind letter, then its text.
//
// From the page: "x" and a statement, "k" and a key code, "l" and a line for
// an input request, "r" and "COLUMNS ROWS", "i" an interrupt, "h" and a help
// topic. From the host: "o" output text, "e" error text, "p" and the prompt
// (the session waits for a statement), "m" / "M" the more sign on and off,
// "k" one key is wanted, "c" clear, "H" home, "n" a line is wanted, "v" the
// variables (one "name\tsize\tclass\n" each), "h" a topic, a line feed and
// its help text, "b" the bell, "q" the session has ended.
#pragma once
#include <cstddef>
#include <string>

namespace qzdesktop {

enum class ClientKind : char {
    Statement = 'x',
    Key = 'k',
    InputLine = 'l',
    Resize = 'r',
    Interrupt = 'i',
    Help = 'h',
};

struct ClientMessage {
    ClientKind kind = ClientKind::Interrupt;
    std::string text;    // the statement, the line or the topic
    int key = 0;         // Key: the key code
    int columns = 0;     // Resize
    int rows = 0;
};

// Reads one message of the page. False, with the reason in `why`, for one
// that is malformed: empty, of an unknown kind, with a key code outside
// 1..0x10ffff, a size outside 1..10000 or not two plain numbers, a help
// topic or interrupt with a text it does not take, or a statement, line or
// topic holding a NUL.
bool parseClientMessage(std::string const& data, ClientMessage& out, std::string& why);

} // namespace qzdesktop
