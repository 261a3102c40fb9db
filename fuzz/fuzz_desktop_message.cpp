// The page's WebSocket messages as qzdesktop reads them, over arbitrary
// bytes. Besides the sanitizers, it checks what must hold for any message: a
// refusal gives its reason; an accepted message has a known kind, fields in
// their ranges and no NUL, and written out again in its plain form it reads
// back as the same message.
#include "Protocol.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

// The plain form of a message: its kind letter and its text or numbers.
std::string written(qzdesktop::ClientMessage const& m) {
    using qzdesktop::ClientKind;
    switch (m.kind) {
    case ClientKind::Key: return "k" + std::to_string(m.key);
    case ClientKind::Resize: return "r" + std::to_string(m.columns) + " " + std::to_string(m.rows);
    case ClientKind::Interrupt: return "i";
    default: return std::string(1, static_cast<char>(m.kind)) + m.text;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    using qzdesktop::ClientKind;
    std::string const text(reinterpret_cast<char const*>(data), size);
    qzdesktop::ClientMessage message;
    std::string why;
    if (!qzdesktop::parseClientMessage(text, message, why)) {
        check(!why.empty());
        return 0;
    }
    check(text.find('\0') == std::string::npos);
    switch (message.kind) {
    case ClientKind::Statement:
    case ClientKind::InputLine:
        check(message.text == text.substr(1));
        break;
    case ClientKind::Help:
        check(!message.text.empty() && message.text.size() <= 200 && message.text.find_first_of(" \t\n") == std::string::npos);
        break;
    case ClientKind::Interrupt: check(text == "i"); break;
    case ClientKind::Key: check(message.key >= 1 && message.key <= 0x10ffff); break;
    case ClientKind::Resize:
        check(message.columns >= 1 && message.columns <= 10000 && message.rows >= 1 && message.rows <= 10000);
        break;
    default: check(false);
    }
    qzdesktop::ClientMessage again;
    std::string whyAgain;
    check(qzdesktop::parseClientMessage(written(message), again, whyAgain));
    check(again.kind == message.kind && again.text == message.text && again.key == message.key &&
          again.columns == message.columns && again.rows == message.rows);
    return 0;
}
