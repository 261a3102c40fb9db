// A catalogue message's English text, with its arguments in their holes.
#include "msg/message.hpp"

namespace msg_core {

Message::Message(std::string identifier, std::vector<std::string> arguments)
    : identifier_(std::move(identifier)), arguments_(std::move(arguments)) {}

Message::~Message() = default;

std::string expand(std::string const& pattern, std::vector<std::string> const& arguments) {
    std::string out;
    out.reserve(pattern.size());
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '{') {
            size_t close = pattern.find('}', i);
            if (close != std::string::npos && close > i + 1) {
                std::string digits = pattern.substr(i + 1, close - i - 1);
                if (digits.find_first_not_of("0123456789") == std::string::npos && digits.size() < 4) {
                    size_t k = std::stoul(digits);
                    if (k >= 1 && k <= arguments.size()) {
                        out += arguments[k - 1];
                        i = close;
                        continue;
                    }
                }
            }
        }
        out += pattern[i];
    }
    return out;
}

std::string Message::text() const {
    if (char const* pattern = lookupTemplate(identifier_)) return expand(pattern, arguments_);
    std::string s = identifier_;
    for (auto const& a : arguments_) s += " " + a;
    return s;
}

} // namespace msg_core
