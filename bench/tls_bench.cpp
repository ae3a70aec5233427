/* tls_bench.cpp -- what the TLS layer costs on loopback: full and resumed
 * handshakes with a request and an answer, bulk bytes through the engine's
 * TLS send path, and the masking trace filter against a plain write.  Not a
 * test: it asserts nothing and prints one line per measure.
 *
 *   tls_bench [handshakes] [megabytes]      (defaults 200 and 64)
 */
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

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
    if (n < 1 || mb < 1) {
        fprintf(stderr, "usage: tls_bench [handshakes] [megabytes]\n");
        return 2;
    }
    handshakes(n, false);
    handshakes(n, true);
    bulk(mb);
    trace_filter(mb * 4);
    return 0;
}
