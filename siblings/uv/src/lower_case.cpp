// Case folding of byte strings in the "C" locale's rules.
#include "uv/lower_case.hpp"

extern "C" {

char* uvLowerCase(char* text) {
    if (text == nullptr) return nullptr;
    for (char* p = text; *p != '\0'; ++p)
        if (*p >= 'A' && *p <= 'Z') *p = static_cast<char>(*p - 'A' + 'a');
    return text;
}

} // extern "C"
