// The HTTP and WebSocket server of qzdesktop, on a thread of its own.
#include "Server.hpp"

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <uv/uv.hpp>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <cstdio>
#include <cstring>
#include <deque>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

namespace qzdesktop {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = net::ip::tcp;

namespace {

// The largest HTTP request and the largest file the viewer is sent.
constexpr std::size_t kRequestLimit = 64 * 1024;
constexpr std::size_t kFileLimit = 8 * 1024 * 1024;

void logClose(unsigned id, std::string const& reason) {
    std::fprintf(stderr, "qzdesktop: connection %u closed: %s\n", id, reason.c_str());
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string percentDecoded(beast::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '+') {
            out += ' ';
        } else if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 && hexValue(text[i + 2]) >= 0) {
            out += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

// The decoded value of `name` in the query of `target`, or empty.
std::string queryValue(beast::string_view target, std::string const& name) {
    std::size_t const q = target.find('?');
    if (q == beast::string_view::npos) return std::string();
    beast::string_view rest = target.substr(q + 1);
    while (!rest.empty()) {
        std::size_t const amp = rest.find('&');
        beast::string_view const pair = rest.substr(0, amp);
        std::size_t const eq = pair.find('=');
        if (eq != beast::string_view::npos && pair.substr(0, eq) == name) return percentDecoded(pair.substr(eq + 1));
        if (amp == beast::string_view::npos) break;
        rest = rest.substr(amp + 1);
    }
    return std::string();
}

beast::string_view pathOf(beast::string_view target) { return target.substr(0, target.find('?')); }

// Compares all of both, so that the time taken does not say how much matched.
bool sameSecret(std::string const& a, std::string const& b) {
    if (a.size() != b.size()) return false;
    unsigned char diff = 0;
    for (std::size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

bool readWhole(std::string const& path, std::string& text, std::size_t limit) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    text = s.str();
    return text.size() <= limit;
}

char const* mimeOf(beast::string_view path) {
    if (path.ends_with(".html")) return "text/html; charset=utf-8";
    if (path.ends_with(".css")) return "text/css; charset=utf-8";
    if (path.ends_with(".js")) return "text/javascript; charset=utf-8";
    if (path.ends_with(".png")) return "image/png";
    return "text/plain; charset=utf-8";
}

class WebSocketSession;

} // namespace

struct Server::Impl {
    ServerOptions options;
    Deliver deliver;
    std::function<void()> interrupt;
    // Network thread only: what a page that opens now is sent first.
    std::shared_ptr<std::string const> lastVariables;
    std::shared_ptr<std::string const> lastAwaited;
    net::io_context ioc{1};
    tcp::acceptor acceptor{ioc};
    std::thread thread;
    std::set<std::shared_ptr<WebSocketSession>> pages;  // network thread only
    unsigned nextId = 1;                                 // network thread only
    std::string cookieName;
    // Bytes broadcast and not yet written to every page (or dropped).
    std::mutex backlogLock;
    std::condition_variable backlogShrank;
    std::size_t backlog = 0;  // under backlogLock
    std::atomic<std::size_t> openPages{0};

    void accept();
    bool authorised(http::request<http::string_body> const& req) const;
    std::string pageOrigin() const { return "http://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()); }
};

namespace {

class WebSocketSession : public std::enable_shared_from_this<WebSocketSession> {
public:
    WebSocketSession(tcp::socket&& socket, Server::Impl& server, unsigned id)
        : ws_(std::move(socket)), server_(server), id_(id) {}

    void run(http::request<http::string_body> request) {
        ws_.read_message_max(server_.options.messageLimit);
        ws_.set_option(websocket::stream_base::timeout::suggested(beast::role_type::server));
        ws_.async_accept(request, [self = shared_from_this()](beast::error_code ec) { self->onAccept(ec); });
    }

    void send(std::shared_ptr<std::string const> const& message) {
        if (closing_) return;
        queue_.push_back(message);
        if (queue_.size() == 1) writeNext();
    }

    void close() {
        if (closing_) return;
        closing_ = true;
        beast::error_code ignored;
        beast::get_lowest_layer(ws_).socket().shutdown(tcp::socket::shutdown_both, ignored);
        beast::get_lowest_layer(ws_).close();
    }

private:
    void onAccept(beast::error_code ec) {
        if (ec) {
            logClose(id_, "the upgrade failed: " + ec.message());
            return;
        }
        server_.pages.insert(shared_from_this());
        server_.openPages = server_.pages.size();
        if (server_.lastVariables) send(server_.lastVariables);
        if (server_.lastAwaited) send(server_.lastAwaited);
        readNext();
    }

    void readNext() {
        ws_.async_read(buffer_, [self = shared_from_this()](beast::error_code ec, std::size_t n) { self->onRead(ec, n); });
    }

    void onRead(beast::error_code ec, std::size_t) {
        if (ec) {
            if (ec == websocket::error::message_too_big)
                logClose(id_, "a message over the size limit of " + std::to_string(server_.options.messageLimit) + " bytes");
            else if (ec != websocket::error::closed && ec != net::error::operation_aborted && ec != net::error::eof)
                logClose(id_, ec.message());
            leave();
            return;
        }
        if (!ws_.got_text()) return refuse("a binary message");
        std::string const data = beast::buffers_to_string(buffer_.data());
        buffer_.consume(buffer_.size());
        ClientMessage message;
        std::string why;
        if (!parseClientMessage(data, message, why)) return refuse(why);
        if (message.kind == ClientKind::Interrupt && server_.interrupt) server_.interrupt();
        // An answer to what the session waited for: it is busy until it says otherwise.
        if (message.kind == ClientKind::Statement || message.kind == ClientKind::Key ||
            message.kind == ClientKind::InputLine)
            server_.lastAwaited.reset();
        server_.deliver(std::move(message));
        readNext();
    }

    // Closes this connection with the reason, logged and sent in the close frame.
    void refuse(std::string const& why) {
        logClose(id_, why);
        closing_ = true;
        websocket::close_reason reason(websocket::close_code::policy_error, why);
        ws_.async_close(reason, [self = shared_from_this()](beast::error_code) { self->leave(); });
    }

    void leave() {
        closing_ = true;
        server_.pages.erase(shared_from_this());
        server_.openPages = server_.pages.size();
    }

    void writeNext() {
        ws_.text(true);
        ws_.async_write(net::buffer(*queue_.front()), [self = shared_from_this()](beast::error_code ec, std::size_t) {
            self->queue_.pop_front();
            if (ec) {
                self->queue_.clear();
                return;
            }
            if (!self->queue_.empty() && !self->closing_) self->writeNext();
        });
    }

    websocket::stream<beast::tcp_stream> ws_;
    beast::flat_buffer buffer_;
    std::deque<std::shared_ptr<std::string const>> queue_;
    Server::Impl& server_;
    unsigned id_;
    bool closing_ = false;
};

class HttpSession : public std::enable_shared_from_this<HttpSession> {
public:
    HttpSession(tcp::socket&& socket, Server::Impl& server) : stream_(std::move(socket)), server_(server) {}

    void run() {
        parser_.emplace();
        parser_->body_limit(kRequestLimit);
        parser_->header_limit(kRequestLimit);
        stream_.expires_after(std::chrono::seconds(30));
        http::async_read(stream_, buffer_, *parser_,
                         [self = shared_from_this()](beast::error_code ec, std::size_t) { self->onRead(ec); });
    }

private:
    void onRead(beast::error_code ec) {
        if (ec) return;  // the peer went, or sent no valid request
        http::request<http::string_body> request = parser_->release();
        if (!server_.authorised(request)) return reply(request, http::status::forbidden, "text/plain; charset=utf-8",
                                                       "403 Forbidden: this address needs its token.\n");
        if (websocket::is_upgrade(request)) {
            auto const origin = request[http::field::origin];
            if (origin != server_.pageOrigin()) {
                std::fprintf(stderr, "qzdesktop: a WebSocket upgrade from the origin \"%s\" refused\n",
                             std::string(origin).c_str());
                return reply(request, http::status::forbidden, "text/plain; charset=utf-8",
                             "403 Forbidden: not the page's own origin.\n");
            }
            stream_.expires_never();
            auto page = std::make_shared<WebSocketSession>(stream_.release_socket(), server_, server_.nextId++);
            page->run(std::move(request));
            return;
        }
        if (request.method() != http::verb::get) return reply(request, http::status::method_not_allowed, "text/plain", "");
        beast::string_view const path = pathOf(request.target());
        std::string body;
        if (path == "/file") {
            std::string const file = queryValue(request.target(), "path");
            if (file.empty() || !readWhole(file, body, kFileLimit))
                return reply(request, http::status::not_found, "text/plain; charset=utf-8", "The file cannot be read.\n");
            return reply(request, http::status::ok, "text/plain; charset=utf-8", std::move(body));
        }
        std::string name = path == "/" ? std::string("index.html") : std::string(path.substr(1));
        if (name.find('/') != std::string::npos || name.empty() || name[0] == '.' ||
            !readWhole(server_.options.webRoot + "/" + name, body, kFileLimit))
            return reply(request, http::status::not_found, "text/plain; charset=utf-8", "Not found.\n");
        reply(request, http::status::ok, mimeOf(name), std::move(body));
    }

    void reply(http::request<http::string_body> const& request, http::status status, char const* type, std::string body) {
        auto response = std::make_shared<http::response<http::string_body>>(status, request.version());
        response->set(http::field::server, "qzdesktop");
        response->set(http::field::content_type, type);
        response->set(http::field::cache_control, "no-store");
        if (status == http::status::ok)
            response->set(http::field::set_cookie,
                          server_.cookieName + "=" + server_.options.token + "; Path=/; HttpOnly; SameSite=Strict");
        response->keep_alive(request.keep_alive());
        response->body() = std::move(body);
        response->prepare_payload();
        http::async_write(stream_, *response,
                          [self = shared_from_this(), response](beast::error_code ec, std::size_t) {
                              if (ec || !response->keep_alive()) {
                                  beast::error_code ignored;
                                  self->stream_.socket().shutdown(tcp::socket::shutdown_send, ignored);
                                  return;
                              }
                              self->run();
                          });
    }

    beast::tcp_stream stream_;
    beast::flat_buffer buffer_;
    boost::optional<http::request_parser<http::string_body>> parser_;
    Server::Impl& server_;
};

} // namespace

bool Server::Impl::authorised(http::request<http::string_body> const& request) const {
    if (sameSecret(queryValue(request.target(), "token"), options.token)) return true;
    // The cookie header: "a=1; b=2".
    beast::string_view cookies = request[http::field::cookie];
    std::string const prefix = cookieName + "=";
    while (!cookies.empty()) {
        std::size_t const semi = cookies.find(';');
        beast::string_view item = cookies.substr(0, semi);
        while (!item.empty() && item.front() == ' ') item.remove_prefix(1);
        if (item.starts_with(prefix) && sameSecret(std::string(item.substr(prefix.size())), options.token)) return true;
        if (semi == beast::string_view::npos) break;
        cookies = cookies.substr(semi + 1);
    }
    return false;
}

void Server::Impl::accept() {
    acceptor.async_accept(ioc, [this](beast::error_code ec, tcp::socket socket) {
        if (ec == net::error::operation_aborted) return;
        if (!ec) std::make_shared<HttpSession>(std::move(socket), *this)->run();
        accept();
    });
}

Server::Server(ServerOptions const& options, Deliver deliver, std::function<void()> interrupt)
    : impl_(std::make_shared<Impl>()) {
    impl_->options = options;
    impl_->deliver = std::move(deliver);
    impl_->interrupt = std::move(interrupt);
    tcp::endpoint const endpoint(net::ip::make_address("127.0.0.1"), options.port);
    impl_->acceptor.open(endpoint.protocol());
    impl_->acceptor.set_option(net::socket_base::reuse_address(true));
    impl_->acceptor.bind(endpoint);
    impl_->acceptor.listen();
    // Per port: two servers on one machine keep their cookies apart.
    impl_->cookieName = "qzdesktop_token_" + std::to_string(port());
}

Server::~Server() { stop(); }

unsigned short Server::port() const { return impl_->acceptor.local_endpoint().port(); }

void Server::start() {
    impl_->accept();
    impl_->thread = std::thread([impl = impl_] {
        // The interrupt signal is meant for the interpreter's thread alone.
        sigset_t blocked;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGUSR1);
        pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
        impl->ioc.run();
    });
}

void Server::stop() {
    if (!impl_->thread.joinable()) return;
    net::post(impl_->ioc, [impl = impl_] {
        beast::error_code ignored;
        impl->acceptor.close(ignored);
        auto pages = impl->pages;
        for (auto const& page : pages) page->close();
        impl->pages.clear();
        impl->openPages = 0;
        impl->ioc.stop();
    });
    impl_->thread.join();
}

namespace {

// Holds a broadcast message for as long as a page still has to write it, and
// takes its size off the backlog when the last one is done with it.
struct CountedMessage {
    CountedMessage(std::shared_ptr<std::string const> m, Server::Impl& s) : message(std::move(m)), server(s) {}
    ~CountedMessage() {
        std::lock_guard<std::mutex> lock(server.backlogLock);
        server.backlog -= message->size();
        server.backlogShrank.notify_all();
    }
    std::shared_ptr<std::string const> message;
    Server::Impl& server;
};

} // namespace

void Server::waitForBacklogBelow(std::size_t bytes) {
    std::unique_lock<std::mutex> lock(impl_->backlogLock);
    while (impl_->backlog > bytes && impl_->openPages.load() > 0 && !uvIsInterruptPending())
        impl_->backlogShrank.wait_for(lock, std::chrono::milliseconds(5));
}

void Server::broadcast(std::shared_ptr<std::string const> message) {
    {
        std::lock_guard<std::mutex> lock(impl_->backlogLock);
        impl_->backlog += message->size();
    }
    auto holder = std::make_shared<CountedMessage>(std::move(message), *impl_);
    message = std::shared_ptr<std::string const>(holder, holder->message.get());
    net::post(impl_->ioc, [impl = impl_, message] {
        if (!message->empty()) {
            char const kind = (*message)[0];
            if (kind == 'v') impl->lastVariables = message;
            if (std::strchr("pmknq", kind) != nullptr) impl->lastAwaited = message;
            if (kind == 'M' && impl->lastAwaited && std::strchr("mk", (*impl->lastAwaited)[0]) != nullptr)
                impl->lastAwaited.reset();
        }
        for (auto const& page : impl->pages) page->send(message);
    });
}

std::string makeToken() {
    unsigned char bytes[16] = {};
    std::ifstream random("/dev/urandom", std::ios::binary);
    if (!random.read(reinterpret_cast<char*>(bytes), sizeof bytes)) throw std::runtime_error("no random source");
    static char const digits[] = "0123456789abcdef";
    std::string token;
    for (unsigned char b : bytes) {
        token += digits[b >> 4];
        token += digits[b & 15];
    }
    return token;
}

} // namespace qzdesktop
