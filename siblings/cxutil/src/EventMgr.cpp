// Publish and subscribe by event type name (EventMgr.hpp).
#include "cxutil/eventmgr/EventMgr.hpp"

#include <boost/make_shared.hpp>
#include <boost/signals2/signal.hpp>
#include <boost/thread/once.hpp>
#include <vector>

namespace cxutil { namespace eventmgr {

namespace {

typedef boost::signals2::signal<void(BaseEvent const&)> Signal;

class SignalConnection : public Connection {
public:
    explicit SignalConnection(boost::signals2::connection c) : c_(std::move(c)) {}
    ~SignalConnection() override = default;
    void disconnect() override { c_.disconnect(); }
    bool connected() const override { return c_.connected(); }
private:
    boost::signals2::connection c_;
};

boost::shared_ptr<EventMgr>* gInstance = nullptr;
boost::once_flag gOnce = BOOST_ONCE_INIT;

void initInstance() {
    // Never destroyed: connections held by static objects of other libraries may
    // still disconnect during their own static destruction.
    gInstance = new boost::shared_ptr<EventMgr>(boost::make_shared<EventMgr>());
}

} // namespace

Connection::~Connection() = default;

struct EventMgr::Impl {
    mutable std::mutex mutex;
    std::map<std::string, boost::shared_ptr<Signal>> signals;

    boost::shared_ptr<Signal> find(std::string const& name) const {
        std::lock_guard<std::mutex> lock(mutex);
        auto it = signals.find(name);
        return it == signals.end() ? boost::shared_ptr<Signal>() : it->second;
    }
};

EventMgr::EventMgr() : impl_(new Impl) {}
EventMgr::~EventMgr() = default;

boost::shared_ptr<EventMgr> EventMgr::instance() {
    boost::call_once(gOnce, initInstance);
    return *gInstance;
}

std::unique_ptr<Connection> EventMgr::subscribeByName(std::string const& eventTypeName, Handler handler) {
    boost::shared_ptr<Signal> signal;
    {
        std::lock_guard<std::mutex> lock(impl_->mutex);
        boost::shared_ptr<Signal>& slot = impl_->signals[eventTypeName];
        if (!slot) slot = boost::make_shared<Signal>();
        signal = slot;
    }
    return std::unique_ptr<Connection>(new SignalConnection(signal->connect(std::move(handler))));
}

void EventMgr::publish(boost::shared_ptr<BaseEvent> const& event, void const* /*source*/) {
    if (!event) return;
    // Copy the signals first, then deliver without the lock.
    std::vector<boost::shared_ptr<Signal>> targets;
    for (std::string const& type : event->getTypes())
        if (boost::shared_ptr<Signal> s = impl_->find(type)) targets.push_back(s);
    for (auto const& s : targets) (*s)(*event);
}

void EventMgr::post(BaseEvent const& event, int /*flags*/) {
    publish(boost::shared_ptr<BaseEvent>(event.clone()), nullptr);
}

bool EventMgr::hasSubscribers(std::string const& eventTypeName) const {
    boost::shared_ptr<Signal> s = impl_->find(eventTypeName);
    return s && !s->empty();
}

size_t EventMgr::subscriberCount(std::string const& eventTypeName) const {
    boost::shared_ptr<Signal> s = impl_->find(eventTypeName);
    return s ? s->num_slots() : 0;
}

}} // namespace cxutil::eventmgr
