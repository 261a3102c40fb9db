// Memory contexts: a caller hands a context to code that allocates for it, and
// every buffer taken from the context lives until it is freed singly or the
// context is destroyed. A null context is the plain heap: such buffers are
// released with uvFree.
#pragma once
#include "uv/uv_export.hpp"
#include <cstddef>

UV_API_BEGIN

struct _memory_context;

_memory_context* uv_mem_create_context();
// Frees every buffer still held by the context, then the context.
void uv_mem_destroy_context(_memory_context* context);
// Null on failure, like uvMalloc.
void* uv_mem_alloc(_memory_context* context, size_t bytes);
// Releases one buffer of the context (null is ignored).
void uv_mem_free(_memory_context* context, void* p);
// The number of buffers and bytes the context holds now.
size_t uv_mem_context_blocks(_memory_context const* context);
size_t uv_mem_context_bytes(_memory_context const* context);

UV_API_END
