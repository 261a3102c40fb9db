// Memory contexts: buffers that live until freed or until their context goes.
#include "uv/mem_context.hpp"
#include "uv/uv.hpp"

#include <unordered_map>

struct _memory_context {
    std::unordered_map<void*, size_t> blocks;
    size_t bytes = 0;
};

_memory_context* uv_mem_create_context() { return new _memory_context; }

void uv_mem_destroy_context(_memory_context* context) {
    if (context == nullptr) return;
    for (auto& block : context->blocks) uvFree(block.first);
    delete context;
}

void* uv_mem_alloc(_memory_context* context, size_t bytes) {
    void* p = uvMalloc(bytes);
    if (p == nullptr || context == nullptr) return p;
    try {
        context->blocks.emplace(p, bytes);
    } catch (...) {
        uvFree(p);
        return nullptr;
    }
    context->bytes += bytes;
    return p;
}

void uv_mem_free(_memory_context* context, void* p) {
    if (p == nullptr) return;
    if (context == nullptr) {
        uvFree(p);
        return;
    }
    auto it = context->blocks.find(p);
    if (it == context->blocks.end()) return;  // not ours: never free a stranger's block
    context->bytes -= it->second;
    context->blocks.erase(it);
    uvFree(p);
}

size_t uv_mem_context_blocks(_memory_context const* context) { return context ? context->blocks.size() : 0; }
size_t uv_mem_context_bytes(_memory_context const* context) { return context ? context->bytes : 0; }
