/* http_server_fixture.h -- a scripted HTTP peer on the loopback interface for
 * the transport tests: it listens on an ephemeral port of 127.0.0.1 or ::1,
 * runs one scripted handler per accepted connection in its own thread, and
 * keeps the exact bytes that each connection received.  Not a real server:
 * one connection at a time, no parsing beyond finding where a request ends.
 */
#ifndef ORVSOAP_TESTS_HTTP_SERVER_FIXTURE_H
#define ORVSOAP_TESTS_HTTP_SERVER_FIXTURE_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/* One accepted connection, as a handler sees it. */
class ScriptedConn {
public:
    explicit ScriptedConn(int fd, const std::atomic<bool> *stop = nullptr) : fd_(fd), stop_(stop) {}
    ~ScriptedConn() { close(); }
    ScriptedConn(const ScriptedConn &) = delete;
    ScriptedConn &operator=(const ScriptedConn &) = delete;

    int fd() const { return fd_; }
    /* every byte read on this connection so far */
    const std::string &received() const { return received_; }

    /* Reads one whole request: the head to its blank line, then the body by
     * Content-Length or up to the last chunk.  Returns its bytes, or what
     * came before the peer closed or `timeout_ms` passed. */
    std::string read_request(int timeout_ms = 5000)
    {
        size_t start = consumed_;
        size_t head_end;
        while ((head_end = pending().find("\r\n\r\n")) == std::string::npos)
            if (!fill(timeout_ms))
                return take(received_.size() - start);
        std::string head = pending().substr(0, head_end + 4);
        size_t need = head.size();
        std::string lower = head;
        for (auto &c : lower)
            c = (char)tolower((unsigned char)c);
        size_t cl = lower.find("\r\ncontent-length:");
        if (lower.find("\r\ntransfer-encoding: chunked") != std::string::npos) {
            size_t end;
            while ((end = pending().find("\r\n0\r\n\r\n", head.size() - 2)) == std::string::npos
                   && pending().compare(head.size(), 5, "0\r\n\r\n") != 0)
                if (!fill(timeout_ms))
                    return take(pending().size());
            if (end != std::string::npos)
                need = end + 7;
            else
                need = head.size() + 5;
        } else if (cl != std::string::npos) {
            need += strtoul(lower.c_str() + cl + 17, nullptr, 10);
        }
        while (pending().size() < need)
            if (!fill(timeout_ms))
                return take(pending().size());
        return take(need);
    }

    /* Reads to the blank line that ends a head. */
    std::string read_head(int timeout_ms = 5000)
    {
        size_t end;
        while ((end = pending().find("\r\n\r\n")) == std::string::npos)
            if (!fill(timeout_ms))
                return take(pending().size());
        return take(end + 4);
    }

    void send(const std::string &bytes)
    {
        size_t off = 0;
        while (off < bytes.size() && fd_ >= 0) {
            ssize_t n = ::send(fd_, bytes.data() + off, bytes.size() - off, MSG_NOSIGNAL);
            if (n <= 0) {
                if (n < 0 && errno == EINTR)
                    continue;
                return;
            }
            off += (size_t)n;
        }
    }

    /* Orderly close (FIN). */
    void close()
    {
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

    /* Abortive close: the peer sees a reset. */
    void reset()
    {
        if (fd_ < 0)
            return;
        struct linger l = {1, 0};
        setsockopt(fd_, SOL_SOCKET, SO_LINGER, &l, sizeof(l));
        close();
    }

    /* Waits until the peer closes (or `timeout_ms` passes, or the server
     * stops), reading what comes meanwhile.  True when the peer closed. */
    bool wait_peer_close(int timeout_ms = 5000)
    {
        while (fd_ >= 0) {
            if (!readable(timeout_ms))
                return false;
            char buf[4096];
            ssize_t n = recv(fd_, buf, sizeof(buf), 0);
            if (n <= 0)
                return true;
            received_.append(buf, (size_t)n);
        }
        return true;
    }

private:
    std::string pending() const { return received_.substr(consumed_); }
    std::string take(size_t n)
    {
        std::string r = received_.substr(consumed_, n);
        consumed_ += r.size();
        return r;
    }
    bool fill(int timeout_ms)
    {
        if (fd_ < 0 || !readable(timeout_ms))
            return false;
        char buf[65536];
        ssize_t n = recv(fd_, buf, sizeof(buf), 0);
        if (n <= 0)
            return false;
        received_.append(buf, (size_t)n);
        return true;
    }

    /* Waits for input in short slices, so that a stopping server doesn't
     * sit out a handler's whole time-out. */
    bool readable(int timeout_ms)
    {
        for (int waited = 0; waited < timeout_ms || timeout_ms == 0; waited += 20) {
            if (stop_ && *stop_)
                return false;
            struct pollfd p = {fd_, POLLIN, 0};
            int r = poll(&p, 1, timeout_ms == 0 ? 0 : 20);
            if (r > 0)
                return true;
            if (r < 0 && errno != EINTR)
                return false;
            if (timeout_ms == 0)
                return false;
        }
        return false;
    }

    int fd_;
    const std::atomic<bool> *stop_;
    std::string received_;
    size_t consumed_ = 0;
};

/* The listening side.  Handlers are taken in order, one per accepted
 * connection; a connection without a handler is closed at once. */
class ScriptedServer {
public:
    using Handler = std::function<void(ScriptedConn &)>;

    explicit ScriptedServer(int family = AF_INET) : family_(family)
    {
        fd_ = socket(family, SOCK_STREAM, 0);
        if (fd_ < 0)
            return;
        int one = 1;
        setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one));
        struct sockaddr_storage ss;
        socklen_t len;
        memset(&ss, 0, sizeof(ss));
        if (family == AF_INET6) {
            auto *a = (struct sockaddr_in6 *)&ss;
            a->sin6_family = AF_INET6;
            a->sin6_addr = in6addr_loopback;
            len = sizeof(*a);
        } else {
            auto *a = (struct sockaddr_in *)&ss;
            a->sin_family = AF_INET;
            a->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            len = sizeof(*a);
        }
        if (bind(fd_, (struct sockaddr *)&ss, len) || listen(fd_, 16) || getsockname(fd_, (struct sockaddr *)&ss, &len)) {
            ::close(fd_);
            fd_ = -1;
            return;
        }
        port_ = ntohs(family == AF_INET6 ? ((struct sockaddr_in6 *)&ss)->sin6_port
                                         : ((struct sockaddr_in *)&ss)->sin_port);
        thread_ = std::thread([this] { run(); });
    }

    ~ScriptedServer() { stop(); }
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    bool listening() const { return fd_ >= 0; }
    /* True once stop() began: long handlers may poll it. */
    bool stopping() const { return stop_; }
    int port() const { return port_; }
    /* "127.0.0.1" or "[::1]" with the port */
    std::string hostport() const
    {
        return (family_ == AF_INET6 ? std::string("[::1]:") : std::string("127.0.0.1:")) + std::to_string(port_);
    }
    std::string url(const std::string &path = "/", const std::string &scheme = "http") const
    {
        return scheme + "://" + hostport() + path;
    }

    void add(Handler h)
    {
        std::lock_guard<std::mutex> g(mu_);
        handlers_.push_back(std::move(h));
    }

    /* Waits until `n` connections were handled to their end. */
    bool wait_handled(size_t n, int timeout_ms = 5000)
    {
        std::unique_lock<std::mutex> g(mu_);
        return cv_.wait_for(g, std::chrono::milliseconds(timeout_ms), [&] { return records_.size() >= n; });
    }

    /* The bytes received on connection i (0 first), after it was handled. */
    std::string received(size_t i)
    {
        wait_handled(i + 1);
        std::lock_guard<std::mutex> g(mu_);
        return i < records_.size() ? records_[i] : std::string();
    }

    size_t handled()
    {
        std::lock_guard<std::mutex> g(mu_);
        return records_.size();
    }

    void stop()
    {
        if (stop_.exchange(true))
            return;
        if (thread_.joinable())
            thread_.join();
        if (fd_ >= 0)
            ::close(fd_);
        fd_ = -1;
    }

    /* Canned handlers. */
    /* Read one request, answer, close. */
    static Handler reply(std::string response)
    {
        return [response](ScriptedConn &c) {
            c.read_request();
            c.send(response);
        };
    }
    /* Read one request, answer, then hold the connection until the peer closes. */
    static Handler reply_and_hold(std::string response)
    {
        return [response](ScriptedConn &c) {
            c.read_request();
            c.send(response);
            c.wait_peer_close();
        };
    }
    /* Read one request and say nothing until the peer gives up. */
    static Handler stall()
    {
        return [](ScriptedConn &c) {
            c.read_request();
            c.wait_peer_close();
        };
    }
    /* Read one request and reset the connection. */
    static Handler reset_after_request()
    {
        return [](ScriptedConn &c) {
            c.read_request();
            c.reset();
        };
    }
    /* Accept and close at once, before any request. */
    static Handler close_at_once()
    {
        return [](ScriptedConn &c) { c.close(); };
    }

private:
    void run()
    {
        while (!stop_) {
            struct pollfd p = {fd_, POLLIN, 0};
            if (poll(&p, 1, 20) <= 0)
                continue;
            int c = accept(fd_, nullptr, nullptr);
            if (c < 0)
                continue;
            Handler h;
            {
                std::lock_guard<std::mutex> g(mu_);
                if (!handlers_.empty()) {
                    h = std::move(handlers_.front());
                    handlers_.pop_front();
                }
            }
            ScriptedConn conn(c, &stop_);
            if (h)
                h(conn);
            conn.close();
            {
                std::lock_guard<std::mutex> g(mu_);
                records_.push_back(conn.received());
            }
            cv_.notify_all();
        }
    }

    int family_;
    int fd_ = -1;
    int port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread thread_;
    std::mutex mu_;
    std::condition_variable cv_;
    std::deque<Handler> handlers_;
    std::vector<std::string> records_;
};

/* A port on 127.0.0.1 on which nothing listens (bound, then released). */
inline int closed_loopback_port()
{
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in a;
    memset(&a, 0, sizeof(a));
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    int port = 0;
    if (fd >= 0 && !bind(fd, (struct sockaddr *)&a, len) && !getsockname(fd, (struct sockaddr *)&a, &len))
        port = ntohs(a.sin_port);
    if (fd >= 0)
        close(fd);
    return port;
}

/* True when ::1 can be bound on this machine. */
inline bool ipv6_loopback_available()
{
    int fd = socket(AF_INET6, SOCK_STREAM, 0);
    if (fd < 0)
        return false;
    struct sockaddr_in6 a;
    memset(&a, 0, sizeof(a));
    a.sin6_family = AF_INET6;
    a.sin6_addr = in6addr_loopback;
    bool ok = bind(fd, (struct sockaddr *)&a, sizeof(a)) == 0;
    close(fd);
    return ok;
}

#endif
