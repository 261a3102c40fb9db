// The memory managers of the foundation layer: a registry of the allocators
// the process uses, each with a number, a name and an enabled flag, and the
// aligned heap with its alignment. Registration happens at load; reads are
// safe from any thread.
#pragma once
#include "fd/fd_export.hpp"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

FD_API_BEGIN

namespace fd { namespace mem {

// Thrown when an allocation of the foundation layer (or of an array built on
// it) fails.
class bad_alloc : public std::bad_alloc {
public:
    char const* what() const noexcept override { return "fd::mem::bad_alloc"; }
};

class memory_manager {
public:
    memory_manager(std::int32_t id, std::string name, bool enabled) : id_(id), name_(std::move(name)), enabled_(enabled) {}
    virtual ~memory_manager() = default;
    std::int32_t id() const { return id_; }
    std::string const& name() const { return name_; }
    bool enabled() const { return enabled_; }

    virtual void* allocate(std::size_t size) = 0;
    virtual void deallocate(void* p) = 0;

private:
    std::int32_t id_;
    std::string name_;
    bool enabled_;
};

// Memory aligned to alignment() bytes, freed with deallocate.
class aligned_heap {
public:
    static std::size_t alignment();
    static void* allocate(std::size_t size);  // null on failure
    static void deallocate(void* p);
};

class manager {
public:
    static manager& instance();

    // The registered identifiers, in order of registration.
    std::vector<std::int32_t> registered_ids() const;
    // The manager of that identifier, or null.
    memory_manager* get(std::int32_t id) const;
    // Adds a manager; the identifier must be new (otherwise false, nothing added).
    bool add(std::unique_ptr<memory_manager> m);

private:
    manager();
    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<memory_manager>> managers_;
};

}} // namespace fd::mem

FD_API_END
