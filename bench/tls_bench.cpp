/* tls_bench.cpp -- what the TLS layer costs on loopback: full and resumed
 * handshakes with a request and an answer, calls over one kept TLS
 * connection beside the same calls over one kept plain TCP connection, bulk
 * bytes through the engine's TLS send path, and the masking trace filter
 * against a plain write.  Not a test: it asserts nothing and prints one line
 * per measure.
 *
 *   tls_bench [handshakes] [megabytes] [kept calls]   (defaults 200, 64, 20000)
 */
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <strings.h>
#include <vector>

#include "tls_server_fixture.h"

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point t0)
{
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

const char kAnswer[] = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\nConnection: close\r\n\r\n<ok/>";

/* One POST and its answer over a fresh connection; 0 or the error. */
int exchange(struct soap *soap, const std::string &url)
{
    const std::string body = "<q/>";
    soap->count = body.size();
    if (soap_connect(soap, url.c_str(), "") || soap_send_raw(soap, body.data(), body.size())
        || soap_end_send(soap) || soap_begin_recv(soap))
        return soap->error;
    for (size_t got = 0; got < soap->length; got++)
        if ((int)soap_getchar(soap) == EOF)
            break;
    soap_end_recv(soap);
    return soap_closesock(soap);
}

void handshakes(int n, bool resume)
{
    CertTemplate tpl;
    tpl.cns = {"127.0.0.1"};
    TlsPeer peer(TestPki::get().keyfile(tpl));
    ScriptedServer server;
    for (int i = 0; i < n; i++)
        server.add(peer.serve(kAnswer));
    struct soap *soap = soap_new();
    soap->connect_timeout = soap->recv_timeout = soap->send_timeout = 5;
    soap_set_sent_logfile(soap, nullptr);
    soap_set_recv_logfile(soap, nullptr);
    soap_ssl_client_context(soap, SOAP_TLS_VERIFY_SERVER | SOAP_TLS_NO_DEFAULT_CA_PATHS, nullptr, nullptr,
                            TestPki::get().ca_file().c_str(), nullptr, nullptr);
    std::string url = server.url("/svc", "https");
    int failed = 0;
    auto t0 = Clock::now();
    for (int i = 0; i < n; i++) {
        if (!resume && soap->session) {
            SSL_SESSION_free(soap->session);
            soap->session = nullptr;
        }
        failed += exchange(soap, url) ? 1 : 0;
    }
    double s = seconds_since(t0);
    server.wait_handled((size_t)n, 10000);
    printf("%-34s %8.0f per s  (%d exchanges, %d resumed by the peer, %d failed)\n",
           resume ? "resumed handshake + exchange" : "full handshake + exchange", n / s, n, peer.reused(), failed);
    soap_end(soap);
    soap_free(soap);
}

/* Where the first HTTP message in `buf` ends (head plus Content-Length
 * body), or 0 while it is incomplete. */
size_t message_end(const std::string &buf)
{
    size_t head = buf.find("\r\n\r\n");
    if (head == std::string::npos)
        return 0;
    size_t len = 0;
    for (size_t at = 0; at < head;) {
        size_t eol = buf.find("\r\n", at);
        if (eol == std::string::npos || eol > head)
            eol = head;
        if (eol - at > 15 && !strncasecmp(buf.data() + at, "Content-Length:", 15))
            len = strtoul(buf.data() + at + 15, nullptr, 10);
        at = eol + 2;
    }
    size_t end = head + 4 + len;
    return buf.size() >= end ? end : 0;
}

/* The server half of a kept connection: every request that `read` brings
 * is answered with `answer` through `write`, until the client closes. */
template <class Read, class Write> void answer_each(Read read, Write write, const std::string &answer)
{
    std::string in;
    char buf[16384];
    for (;;) {
        size_t end;
        while ((end = message_end(in)) == 0) {
            int n = read(buf, (int)sizeof buf);
            if (n <= 0)
                return;
            in.append(buf, (size_t)n);
        }
        in.erase(0, end);
        write(answer);
    }
}

/* One call on a context that keeps its connection: POST `body`, read the
 * answer's body; 0 or the error. */
int kept_call(struct soap *soap, const std::string &url, const std::string &body)
{
    soap_begin(soap);
    soap->count = body.size();
    int rc = 0;
    if (soap_connect(soap, url.c_str(), "") || soap_send_raw(soap, body.data(), body.size()) || soap_end_send(soap)
        || soap_begin_recv(soap)) {
        rc = soap->error;
    } else {
        for (size_t got = 0; got < soap->length; got++)
            if ((int)soap_getchar(soap) == EOF)
                break;
        soap_end_recv(soap);
        rc = soap_closesock(soap);
    }
    soap_end(soap);
    return rc;
}

/* Counts the connections a context opens (through `user` and fopen). */
struct OpenCount {
    int opens = 0;
    int (*next)(struct soap *, const char *, const char *, int) = nullptr;

    void attach(struct soap *soap)
    {
        soap->user = this;
        next = soap->fopen;
        soap->fopen = [](struct soap *soap, const char *endpoint, const char *host, int port) {
            OpenCount *c = static_cast<OpenCount *>(soap->user);
            c->opens++;
            return c->next(soap, endpoint, host, port);
        };
    }
};

/* One kept connection, through TLS or over plain TCP, to a server thread
 * that answers every request with the same bytes. */
class KeptLink {
public:
    KeptLink(bool tls, size_t request_bytes, size_t answer_bytes) : tls_(tls)
    {
        body_ = request_bytes > 7 ? "<q>" + std::string(request_bytes - 7, 'r') + "</q>" : "<q/>";
        xml_ = answer_bytes > 9 ? "<ok>" + std::string(answer_bytes - 9, 'a') + "</ok>" : "<ok/>";
        answer_ = "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: "
                  + std::to_string(xml_.size()) + "\r\nConnection: keep-alive\r\n\r\n" + xml_;
        if (tls) {
            CertTemplate tpl;
            tpl.cns = {"127.0.0.1"};
            peer_.reset(new TlsPeer(TestPki::get().keyfile(tpl)));
            server_.add([this](ScriptedConn &c) {
                if (peer_->accept(c))
                    return;
                SSL *ssl = peer_->context()->ssl;
                answer_each([ssl](char *buf, int len) { return SSL_read(ssl, buf, len); },
                            [this](const std::string &bytes) { peer_->send(bytes); }, answer_);
                peer_->finish();
            });
        } else {
            server_.add([this](ScriptedConn &c) {
                int one = 1;
                setsockopt(c.fd(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
                answer_each([&c](char *buf, int len) { return (int)recv(c.fd(), buf, (size_t)len, 0); },
                            [&c](const std::string &bytes) { c.send(bytes); }, answer_);
            });
        }
        soap_ = soap_new1(SOAP_IO_KEEPALIVE);
        soap_->connect_timeout = soap_->recv_timeout = soap_->send_timeout = 5;
        soap_set_sent_logfile(soap_, nullptr);
        soap_set_recv_logfile(soap_, nullptr);
        count_.attach(soap_);
        if (tls)
            soap_ssl_client_context(soap_, SOAP_TLS_VERIFY_SERVER | SOAP_TLS_NO_DEFAULT_CA_PATHS, nullptr, nullptr,
                                    TestPki::get().ca_file().c_str(), nullptr, nullptr);
        url_ = server_.url("/svc", tls ? "https" : "http");
        /* the connection and its handshake are not part of the figure */
        run(20);
        calls_ = 0;
    }
    ~KeptLink()
    {
        soap_force_closesock(soap_);
        soap_free(soap_);
        server_.wait_handled(1, 10000);
        server_.stop();  /* before the peer that its handler uses */
    }

    /* `n` calls; their seconds */
    double run(int n)
    {
        auto t0 = Clock::now();
        for (int i = 0; i < n; i++)
            failed_ += kept_call(soap_, url_, body_) ? 1 : 0;
        calls_ += n;
        return seconds_since(t0);
    }

    std::string label() const
    {
        char what[64];
        snprintf(what, sizeof what, "kept %s, %zu+%zu B body", tls_ ? "TLS" : "TCP", body_.size(), xml_.size());
        return what;
    }
    int opens() const { return count_.opens; }
    int failed() const { return failed_; }
    int calls() const { return calls_; }

private:
    bool tls_;
    std::string body_, xml_, answer_, url_;
    std::unique_ptr<TlsPeer> peer_;
    ScriptedServer server_;
    struct soap *soap_ = nullptr;
    OpenCount count_;
    int failed_ = 0, calls_ = 0;
};

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

/* Calls per second over one kept TLS connection beside one kept plain TCP
 * connection, in alternating rounds so that both see the same machine; the
 * median round of each. */
void kept(int n)
{
    const int rounds = 9;
    int per_round = n / rounds > 0 ? n / rounds : 1;
    /* a bare exchange, and one of the size of a problem report with a short answer */
    for (size_t request : {4, 10 * 1024}) {
        size_t answer = request < 100 ? 5 : 2 * 1024;
        KeptLink tls(true, request, answer), tcp(false, request, answer);
        std::vector<double> over_tls, over_tcp;
        for (int r = 0; r < rounds; r++) {
            over_tls.push_back(per_round / tls.run(per_round));
            over_tcp.push_back(per_round / tcp.run(per_round));
        }
        for (KeptLink *link : {&tls, &tcp})
            printf("%-34s %8.0f calls/s (%d calls, %d connection%s, %d failed)\n", link->label().c_str(),
                   median(link == &tls ? over_tls : over_tcp), link->calls(), link->opens(),
                   link->opens() == 1 ? "" : "s", link->failed());
        printf("%-34s %8.2f\n", "  TLS / TCP", median(over_tls) / median(over_tcp));
    }
}

void bulk(int megabytes)
{
    CertTemplate tpl;
    tpl.cns = {"127.0.0.1"};
    TlsPeer peer(TestPki::get().keyfile(tpl));
    ScriptedServer server;
    server.add([&peer](ScriptedConn &c) {
        if (!peer.accept(c))
            peer.until_close();
        peer.finish();
    });
    struct soap *soap = soap_new();
    soap->connect_timeout = soap->recv_timeout = soap->send_timeout = 5;
    soap_set_sent_logfile(soap, nullptr);
    soap_ssl_client_context(soap, SOAP_TLS_VERIFY_SERVER | SOAP_TLS_NO_DEFAULT_CA_PATHS, nullptr, nullptr,
                            TestPki::get().ca_file().c_str(), nullptr, nullptr);
    std::string url = server.url("/svc", "https");
    soap->omode |= SOAP_ENC_XML;  /* no HTTP head: raw bytes after the handshake */
    if (soap_connect(soap, url.c_str(), "")) {
        printf("bulk: connect failed (%d)\n", soap->error);
    } else {
        std::string block(SOAP_BUFLEN, 'x');
        long blocks = (long)megabytes * 1024 * 1024 / SOAP_BUFLEN;
        auto t0 = Clock::now();
        for (long i = 0; i < blocks; i++)
            if (soap->fsend(soap, block.data(), block.size()))
                break;
        double s = seconds_since(t0);
        printf("%-34s %8.1f MB/s (%d MB)\n", "TLS send, 64 KB writes", megabytes / s, megabytes);
    }
    soap_end(soap);
    soap_free(soap);
    server.wait_handled(1, 10000);
}

void trace_filter(int megabytes)
{
    struct soap *soap = soap_new();
    soap_set_sent_logfile(soap, "/dev/null");
    std::string xml;
    while (xml.size() < SOAP_BUFLEN - 200)
        xml += "<protocol:item><protocol:name>value &amp; more</protocol:name></protocol:item>\n";
    xml.resize(SOAP_BUFLEN);
    long blocks = (long)megabytes * 1024 * 1024 / SOAP_BUFLEN;
    auto t0 = Clock::now();
    for (long i = 0; i < blocks; i++)
        soap_trace(soap, SOAP_IDX_SENT, xml.data(), xml.size());
    double masked = seconds_since(t0);
    FILE *raw = fopen("/dev/null", "ab");
    t0 = Clock::now();
    for (long i = 0; i < blocks; i++) {
        fwrite(xml.data(), 1, xml.size(), raw);
        fflush(raw);
    }
    double plain = seconds_since(t0);
    fclose(raw);
    printf("%-34s %8.0f MB/s (plain fwrite: %.0f MB/s)\n", "trace with masking", megabytes / masked,
           megabytes / plain);
    soap_end(soap);
    soap_free(soap);
}

}  // namespace

int main(int argc, char **argv)
{
    int n = argc > 1 ? atoi(argv[1]) : 200;
    int mb = argc > 2 ? atoi(argv[2]) : 64;
    int calls = argc > 3 ? atoi(argv[3]) : 20000;
    if (n < 1 || mb < 1 || calls < 1) {
        fprintf(stderr, "usage: tls_bench [handshakes] [megabytes] [kept calls]\n");
        return 2;
    }
    handshakes(n, false);
    handshakes(n, true);
    kept(calls);
    bulk(mb);
    trace_filter(mb * 4);
    return 0;
}
