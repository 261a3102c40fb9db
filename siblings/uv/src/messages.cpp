// The older catalogue of numbered messages and the message context.
#include "uv/messages.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

struct uvMessageCatalog {
    std::mutex mutex;
    std::map<int, uvMessageTable const*> tables;  // by facility
};

struct uvMessageContext {
    std::mutex mutex;
    char language[32];
};

namespace {

std::mutex gContextMutex;
uvMessageContext* gMessageContext = nullptr;  // never freed once made

// The table entry of `code`, or -1 (with *table null).
int findEntry(unsigned int code, uvMessageTable const** table) {
    uvMessageCatalog* catalog = uvGetMessageCatalog();
    std::lock_guard<std::mutex> lock(catalog->mutex);
    *table = nullptr;
    auto it = catalog->tables.find(static_cast<int>(code >> 16));
    if (it == catalog->tables.end()) return -1;
    unsigned int const index = code & 0xffffu;
    if (index < 1 || index > static_cast<unsigned int>(it->second->count)) return -1;
    // Indices run from 1 in the order of the table, which registration checked.
    *table = it->second;
    return static_cast<int>(index - 1);
}

bool tableIsConsistent(uvMessageTable const* table) {
    if (table->count < 0 || table->facility < 0 || table->facility > 0xffff) return false;
    if (table->count > 0 && (table->codes == nullptr || table->names == nullptr || table->texts == nullptr))
        return false;
    for (int i = 0; i < table->count; ++i) {
        unsigned int const expected = (static_cast<unsigned int>(table->facility) << 16) | static_cast<unsigned int>(i + 1);
        if (table->codes[i] != expected || table->names[i] == nullptr || table->texts[i] == nullptr) return false;
    }
    return true;
}

} // namespace

extern "C" {

uvMessageCatalog* uvGetMessageCatalog(void) {
    // Never freed: libraries register at load and look up until the end.
    static uvMessageCatalog* const catalog = new uvMessageCatalog;
    return catalog;
}

int uv_mem_add_primary_message_table(uvMessageCatalog* catalog, uvMessageTable const* table) {
    if (catalog == nullptr || table == nullptr || !tableIsConsistent(table)) return -1;
    std::lock_guard<std::mutex> lock(catalog->mutex);
    return catalog->tables.emplace(table->facility, table).second ? 0 : -1;
}

uvMessageContext* uvGetMessageContext(void) {
    std::lock_guard<std::mutex> lock(gContextMutex);
    return gMessageContext;
}

uvMessageContext* uvCreateMessageContext(char const* language) {
    std::lock_guard<std::mutex> lock(gContextMutex);
    if (gMessageContext == nullptr) {
        gMessageContext = new uvMessageContext;
        std::snprintf(gMessageContext->language, sizeof gMessageContext->language, "%s",
                      language != nullptr ? language : "en");
    }
    return gMessageContext;
}

int uv_change_language(uvMessageContext* context, char const* code) {
    if (context == nullptr || code == nullptr) return -1;
    std::lock_guard<std::mutex> lock(context->mutex);
    std::snprintf(context->language, sizeof context->language, "%s", code);
    return 0;
}

char const* uvGetMessageLanguage(uvMessageContext const* context) {
    // Read without the lock: the language changes on the main thread only.
    return context != nullptr ? context->language : "en";
}

int uv_sprintm(uvMessageContext* /*context*/, char* buffer, size_t size, unsigned int code, ...) {
    // Only primary tables exist, so every language formats the same text.
    uvMessageTable const* table = nullptr;
    int const entry = findEntry(code, &table);
    if (entry < 0) {
        if (buffer != nullptr && size > 0) buffer[0] = '\0';
        return -1;
    }
    va_list args;
    va_start(args, code);
    int const n = std::vsnprintf(buffer, buffer != nullptr ? size : 0, table->texts[entry], args);
    va_end(args);
    return n;
}

char const* uvGetMessageText(unsigned int code) {
    uvMessageTable const* table = nullptr;
    int const entry = findEntry(code, &table);
    return entry < 0 ? nullptr : table->texts[entry];
}

char const* uvGetMessageName(unsigned int code) {
    uvMessageTable const* table = nullptr;
    int const entry = findEntry(code, &table);
    return entry < 0 ? nullptr : table->names[entry];
}

} // extern "C"
