// The message catalogue: identifiers such as "CALYX:services:filenameTooLong"
// with an English text whose holes {1}, {2}, ... take the message's arguments.
#pragma once
#include "msg/msg_export.hpp"
#include <string>
#include <vector>

MSG_API_BEGIN

namespace msg_core {

class Message {
public:
    explicit Message(std::string identifier, std::vector<std::string> arguments = {});
    virtual ~Message();

    std::string const& identifier() const { return identifier_; }
    std::vector<std::string> const& arguments() const { return arguments_; }
    // The English text with the arguments filled in. An identifier that the
    // catalogue lacks yields the identifier itself followed by the arguments.
    std::string text() const;

private:
    std::string identifier_;
    std::vector<std::string> arguments_;
};

// The English template of an identifier, or null if the catalogue lacks it.
char const* lookupTemplate(std::string const& identifier);
// Fills the holes of `pattern` with `arguments`; a hole without an argument stays as written.
std::string expand(std::string const& pattern, std::vector<std::string> const& arguments);

} // namespace msg_core

MSG_API_END
