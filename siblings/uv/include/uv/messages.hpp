// The utility layer's older message catalogue: tables of numbered messages
// with printf-style texts, registered by each library at load, and a message
// context that carries the session's language.
//
// A code holds the facility in its high 16 bits and the index, from 1, in its
// low 16 bits. Tables are not copied: they must outlive the process's use of
// them (static data). Registration and look-up are safe from any thread.
#pragma once
#include "uv/uv_export.hpp"
#include <cstddef>

UV_API_BEGIN

extern "C" {

typedef struct uvMessageTable {
    int count;                  // entries in each of the three arrays
    int facility;               // the high 16 bits of every code in the table
    unsigned int const* codes;
    char const* const* names;   // "SERVICES_STATE_INVALID_CHARSET", ...
    char const* const* texts;   // printf formats
} uvMessageTable;

typedef struct uvMessageCatalog uvMessageCatalog;
typedef struct uvMessageContext uvMessageContext;

// The catalogue of the primary (English) message tables, kept by the utility
// layer for the whole process. Made on first use; never null.
uvMessageCatalog* uvGetMessageCatalog(void);

// Adds a primary table. 0 on success; -1 for a null argument, a table whose
// counts or codes do not match its facility, or a facility already present.
int uv_mem_add_primary_message_table(uvMessageCatalog* catalog, uvMessageTable const* table);

// The session's message context: null until the host creates it.
uvMessageContext* uvGetMessageContext(void);
// Creates the context with a language (null means "en"), or returns the
// existing one unchanged.
uvMessageContext* uvCreateMessageContext(char const* language);

// Sets the context's language (up to 31 characters). 0 on success, -1 for a
// null context or code.
int uv_change_language(uvMessageContext* context, char const* code);
// The context's language; "en" for a null context.
char const* uvGetMessageLanguage(uvMessageContext const* context);

// Formats the message `code` with the arguments into `buffer` (at most `size`
// bytes, always terminated when size > 0), as snprintf does: the result is
// the length of the full text. An unknown code leaves an empty text and
// returns -1. A null context formats in the primary language.
int uv_sprintm(uvMessageContext* context, char* buffer, size_t size, unsigned int code, ...);

// The format text and the name of a registered code, or null.
char const* uvGetMessageText(unsigned int code);
char const* uvGetMessageName(unsigned int code);

} // extern "C"

UV_API_END
