// The network side of qzdesktop: HTTP and WebSocket on the loopback
// interface, on a thread of its own.
//
// Contract: the network thread never touches the interpreter. Each valid
// message of a page goes to `deliver`, which must only hand it over to the
// main thread; `interrupt` is called for an interrupt as well, at once, since
// a running statement does not read its messages. broadcast may be called
// from any thread; the text goes to every open page in order.
//
// Security: every request needs the token, in the query ("?token=") or in the
// cookie that the page's own response sets; a WebSocket upgrade must also come
// from the page's own origin. A malformed or oversized message closes its
// connection, with the reason on standard error; other pages go on.
#pragma once
#include "Protocol.hpp"

#include <functional>
#include <memory>
#include <string>

namespace qzdesktop {

struct ServerOptions {
    unsigned short port = 0;        // 0: any free port
    std::string token;              // the secret of the address
    std::string webRoot;            // the folder of the page's files
    std::size_t messageLimit = 1 << 20;  // the largest message a page may send, in bytes
};

class Server {
public:
    using Deliver = std::function<void(ClientMessage&&)>;

    // Binds 127.0.0.1 at once (throws std::system_error when it cannot).
    Server(ServerOptions const& options, Deliver deliver, std::function<void()> interrupt);
    ~Server();  // stops the thread
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    unsigned short port() const;
    void start();  // the network thread begins to serve
    void stop();   // closes every connection and joins the thread

    // Sends `message` to every open page. The last variables and the last
    // word of what the session waits for (a statement, the more key, a line)
    // are kept, so that a page that opens later is told them.
    void broadcast(std::shared_ptr<std::string const> message);
    // Blocks while more than `bytes` of broadcast text wait to be written, so
    // that a display does not run ahead of a slow page without limit. Ends
    // early when an interrupt is pending or no page is open.
    void waitForBacklogBelow(std::size_t bytes);

    struct Impl;  // the network thread's state, in Server.cpp

private:
    std::shared_ptr<Impl> impl_;
};

// A random token of 32 hexadecimal digits from the system's random source.
std::string makeToken();

} // namespace qzdesktop
