// Publish and subscribe by event type name. Delivery is synchronous, on the
// publishing thread; handlers run without any lock of the manager held, so a
// handler may subscribe, disconnect (itself included) or publish again.
#pragma once
#include "cxutil/cxutil_export.hpp"
#include "cxutil/eventmgr/BaseEvent.hpp"

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

CXUTIL_API_BEGIN

namespace cxutil { namespace eventmgr {

class Connection {
public:
    virtual ~Connection();
    virtual void disconnect() = 0;
    virtual bool connected() const = 0;
};

class EventMgr {
public:
    typedef boost::function<void(BaseEvent const&)> Handler;

    static boost::shared_ptr<EventMgr> instance();

    std::unique_ptr<Connection> subscribeByName(std::string const& eventTypeName, Handler handler);

    // Subscribes a handler of `Event const&` under `name`; a delivered event of
    // another class makes the handler's call throw std::bad_cast.
    template <class Event, class H>
    std::unique_ptr<Connection> subscribe(H handler, std::string const& name) {
        return subscribeByName(name, [handler](BaseEvent const& e) { handler(BaseEvent::safeDownCast<Event>(e)); });
    }

    // Delivers to the subscribers of every type name the event answers to.
    // `source` is opaque and passed to nobody; it names the publisher for diagnostics.
    void publish(boost::shared_ptr<BaseEvent> const& event, void const* source = nullptr);

    // Publishes a heap copy of `event` (by its clone()). The flags are the
    // host's delivery options; this stand-in delivers at once, whatever they say.
    void post(BaseEvent const& event, int flags);

    // Cheap test for publishers that would otherwise build an event for nobody.
    bool hasSubscribers(std::string const& eventTypeName) const;
    size_t subscriberCount(std::string const& eventTypeName) const;

    EventMgr();
    ~EventMgr();
    EventMgr(EventMgr const&) = delete;
    EventMgr& operator=(EventMgr const&) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

// Owns one connection and ends it at destruction or on reassignment.
class ScopedConnection {
public:
    ScopedConnection() = default;
    ~ScopedConnection() { disconnect(); }
    ScopedConnection(ScopedConnection const&) = delete;
    ScopedConnection& operator=(ScopedConnection const&) = delete;

    void assign(std::unique_ptr<Connection> connection) {
        disconnect();
        connection_ = std::move(connection);
    }
    void disconnect() {
        if (connection_) connection_->disconnect();
        connection_.reset();
    }
    bool connected() const { return connection_ && connection_->connected(); }

private:
    std::unique_ptr<Connection> connection_;
};

// Subscribes to the events of type T (by T::staticTypeName()) and, at the
// first delivery, disconnects itself and then runs its function: it runs once.
template <class T>
class OnceConnection {
public:
    OnceConnection(boost::function<void()> fn, boost::shared_ptr<EventMgr> const& mgr)
        : state_(std::make_shared<State>()) {
        state_->fn = std::move(fn);
        std::shared_ptr<State> state = state_;
        state_->connection = mgr->subscribeByName(T::staticTypeName(), [state](BaseEvent const&) {
            if (state->fired.exchange(true)) return;
            if (state->connection) state->connection->disconnect();
            if (state->fn) state->fn();
        });
    }
    ~OnceConnection() {
        if (state_->connection) state_->connection->disconnect();
    }
    OnceConnection(OnceConnection const&) = delete;
    OnceConnection& operator=(OnceConnection const&) = delete;

    bool fired() const { return state_->fired.load(); }
    bool connected() const { return state_->connection && state_->connection->connected(); }

private:
    struct State {
        boost::function<void()> fn;
        std::unique_ptr<Connection> connection;
        std::atomic<bool> fired{false};
    };
    std::shared_ptr<State> state_;
};

}} // namespace cxutil::eventmgr

CXUTIL_API_END
