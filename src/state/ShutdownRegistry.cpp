// The shutdown registry and the four phases of leaving the program.
#include "qzservices/state/ShutdownRegistry.hpp"

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <boost/weak_ptr.hpp>
#include <atomic>
#include <new>
#include <uv/uv.hpp>
#include <vector>

// ---- ShutdownObject ----

ShutdownObject::ShutdownObject(char const* objectName) : name(objectName ? objectName : "") {}
ShutdownObject::ShutdownObject(ShutdownObject const& other) : name(other.name) {}
ShutdownObject::~ShutdownObject() = default;

bool ShutdownObject::isOkToExit() const { return true; }
bool ShutdownObject::closeAllWindows() const { return true; }
void ShutdownObject::preTerminate() const {}
void ShutdownObject::terminate() const {}

void ShutdownObject::Dealloc(ShutdownObject* object) { uvFree(object); }

void* ShutdownObject::operator new(std::size_t size) {
    void* p = uvMalloc(size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

void ShutdownObject::operator delete(void* p) { uvFree(p); }

// ---- the implementation ----

namespace services { namespace state {

class ShutdownRegistryImpl {
public:
    typedef boost::shared_ptr<ShutdownObject> Ptr;

    void registerObject(ShutdownObject* object) {
        boost::lock_guard<boost::mutex> lock(listMutex_);
        if (!object->getName().empty() && findNamedObject(object->getName()) != objects_.end()) return;
        // If the pointer's own bookkeeping cannot be allocated, its constructor
        // deletes the object before the exception goes on: delete it nowhere else.
        Entry entry{Ptr(object), boost::make_shared<std::atomic<bool>>(true)};
        objects_.push_back(entry);
    }

    void unregisterObject(char const* name) {
        Ptr keep;
        {
            boost::lock_guard<boost::mutex> lock(listMutex_);
            auto it = findNamedObject(name ? name : "");
            if (it == objects_.end()) return;
            keep = it->object;
            it->listed->store(false);  // a phase under way passes it from now on
            objects_.erase(it);  // order kept
        }
        // Barrier: a phase running on another thread finishes before the object
        // can be destroyed. Passes at once on the thread that runs the phase.
        { boost::lock_guard<boost::recursive_mutex> barrier(phaseMutex_); }
        keep.reset();
    }

    bool isOkToExit() {
        bool ok = true;
        walk([&](ShutdownObject const& o) { return (ok = o.isOkToExit()); });
        return ok;
    }

    bool closeAllWindows(bool force) {
        bool ok = true;
        walk([&](ShutdownObject const& o) {
            bool closed = o.closeAllWindows();
            if (force) return true;
            return (ok = closed);
        });
        return force ? true : ok;
    }

    void preTerminate() {
        walk([](ShutdownObject const& o) {
            o.preTerminate();
            return true;
        });
    }

    void terminate() {
        walk([](ShutdownObject const& o) {
            o.terminate();
            return true;
        });
    }

private:
    // What a phase needs of an element, readable without the list mutex.
    struct Entry {
        Ptr object;
        boost::shared_ptr<std::atomic<bool>> listed;  // false once unregistered
    };
    struct Slot {
        boost::weak_ptr<ShutdownObject> object;
        boost::shared_ptr<std::atomic<bool>> listed;
    };

    // The caller holds the list mutex. Names compare by exact bytes; the empty
    // name is looked up too, but no object with it is ever found by name.
    std::vector<Entry>::iterator findNamedObject(std::string const& name) {
        if (name.empty()) return objects_.end();
        for (auto it = objects_.begin(); it != objects_.end(); ++it)
            if (it->object->getName() == name) return it;
        return objects_.end();
    }

    // One phase: newest first, over the objects listed at its start. The list
    // is copied under the list mutex, which is released before the phase mutex
    // is taken: the two are never held together. The copy holds weak
    // references only, so an object that leaves the list during the phase and
    // is destroyed is passed over; one that another thread unregistered (and
    // that waits at the barrier to be destroyed) is passed over by its flag.
    // Objects registered during the phase are not asked. `call` returns false
    // to stop the walk.
    template <class Call>
    void walk(Call call) {
        std::vector<Slot> slots;
        {
            boost::lock_guard<boost::mutex> lock(listMutex_);
            slots.reserve(objects_.size());
            for (Entry const& e : objects_) slots.push_back(Slot{e.object, e.listed});
        }
        boost::lock_guard<boost::recursive_mutex> phase(phaseMutex_);
        for (size_t i = slots.size(); i-- > 0;) {
            if (!slots[i].listed->load()) continue;
            Ptr object = slots[i].object.lock();
            if (!object) continue;
            if (!call(*object)) break;
        }
    }

    std::vector<Entry> objects_;
    boost::mutex listMutex_;
    boost::recursive_mutex phaseMutex_;
};

}} // namespace services::state

// ---- the handle ----

ShutdownRegistry::ShutdownRegistry() : impl_(new services::state::ShutdownRegistryImpl) {}
ShutdownRegistry::~ShutdownRegistry() { delete impl_; }

ShutdownRegistry& ShutdownRegistry::instance() {
    // Made at first use (during the library's static initialisation) and never
    // destroyed: objects of other libraries may unregister during their own unloading.
    static ShutdownRegistry* registry = new ShutdownRegistry;
    return *registry;
}

void ShutdownRegistry::RegisterObject(ShutdownObject* object) {
    if (object) instance().impl_->registerObject(object);
}
void ShutdownRegistry::UnregisterObject(char const* name) { instance().impl_->unregisterObject(name); }
bool ShutdownRegistry::IsOkToExit() { return instance().impl_->isOkToExit(); }
bool ShutdownRegistry::CloseAllAppWindows(bool force) { return instance().impl_->closeAllWindows(force); }
void ShutdownRegistry::PreTerminateApps() { instance().impl_->preTerminate(); }
void ShutdownRegistry::TerminateApps() { instance().impl_->terminate(); }
