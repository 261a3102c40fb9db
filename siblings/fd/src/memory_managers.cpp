// The registry of the process's memory managers and the aligned heap.
#include "fd/mem/manager.hpp"

#include <cstdlib>

namespace fd { namespace mem {

namespace {

// The C heap, which the utility layer's uvMalloc family uses.
class system_heap : public memory_manager {
public:
    system_heap() : memory_manager(0, "system", true) {}
    void* allocate(std::size_t size) override { return std::malloc(size); }
    void deallocate(void* p) override { std::free(p); }
};

class aligned_heap_manager : public memory_manager {
public:
    aligned_heap_manager() : memory_manager(1, "aligned", true) {}
    void* allocate(std::size_t size) override { return aligned_heap::allocate(size); }
    void deallocate(void* p) override { aligned_heap::deallocate(p); }
};

} // namespace

// A cache line: what vector code and false-sharing avoidance want.
std::size_t aligned_heap::alignment() { return 64; }

void* aligned_heap::allocate(std::size_t size) {
    void* p = nullptr;
    // posix_memalign accepts any size, also 0 (aligned_alloc wants a multiple).
    if (posix_memalign(&p, alignment(), size == 0 ? 1 : size) != 0) return nullptr;
    return p;
}

void aligned_heap::deallocate(void* p) { std::free(p); }

manager::manager() {
    managers_.emplace_back(new system_heap);
    managers_.emplace_back(new aligned_heap_manager);
}

manager& manager::instance() {
    static manager* const instance = new manager;  // never destroyed: allocators outlive static destructors
    return *instance;
}

std::vector<std::int32_t> manager::registered_ids() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::int32_t> ids;
    for (auto const& m : managers_) ids.push_back(m->id());
    return ids;
}

memory_manager* manager::get(std::int32_t id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto const& m : managers_)
        if (m->id() == id) return m.get();
    return nullptr;
}

bool manager::add(std::unique_ptr<memory_manager> m) {
    if (!m) return false;
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto const& existing : managers_)
        if (existing->id() == m->id()) return false;
    managers_.push_back(std::move(m));
    return true;
}

}} // namespace fd::mem
