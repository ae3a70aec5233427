/* socket_test.cpp -- the connection under a call, against scripted loopback
 * peers: connect and its failures, endpoint lists, kept connections, the
 * proxy tunnel, datagrams, the wait primitive, time-outs of the raw send and
 * receive, and whole POST exchanges through the framing.
 */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <sys/wait.h>
#include <signal.h>
#include <netinet/in.h>

#include <atomic>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "http_server_fixture.h"
#include "soapengine.h"
#include "soapinternal.h"

namespace {

/* Declared first so that the context, destroyed first, closes its socket
 * before the scripted peer waits for that. */
class SocketTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        soap = soap_new();
        ASSERT_NE(soap, nullptr);
    }
    void TearDown() override { finish(); }
    void finish()
    {
        if (soap) {
            soap_end(soap);
            soap_free(soap);
            soap = nullptr;
        }
    }
    /* Sends `body` after the head that soap_connect wrote. */
    int send_body(const std::string &body)
    {
        if (soap_send_raw(soap, body.data(), body.size()))
            return soap->error;
        return soap_end_send(soap);
    }
    /* Reads the answer's head, then the rest of its body as text. */
    int receive(std::string &body)
    {
        body.clear();
        if (soap_begin_recv(soap))
            return soap->error;
        for (;;) {
            soap_wchar c = soap_getchar(soap);
            if ((int)c == EOF)
                break;
            body += (char)c;
        }
        return soap->error;
    }

    /* Reads the answer's head, then exactly n bytes of its body. */
    int receive_n(std::string &body, size_t n)
    {
        body.clear();
        if (soap_begin_recv(soap))
            return soap->error;
        while (body.size() < n) {
            soap_wchar c = soap_getchar(soap);
            if ((int)c == EOF)
                break;
            body += (char)c;
        }
        return soap->error;
    }

    struct soap *soap = nullptr;
};

std::string head_of(const std::string &request)
{
    return request.substr(0, request.find("\r\n\r\n") + 4);
}

/* ------------------------------------------------------------------------ */

using SocketConnect = SocketTest;

TEST_F(SocketConnect, PostHeadReachesThePeerByteForByte)
{
    ScriptedServer server;
    ASSERT_TRUE(server.listening());
    server.add(ScriptedServer::stall());
    soap->userid = "user";
    soap->passwd = "pass";
    soap->count = 4;
    ASSERT_EQ(soap_connect(soap, server.url("/svc").c_str(), "urn:a"), 0);
    ASSERT_GE(soap->socket, 0);
    ASSERT_EQ(send_body("<x/>"), 0);
    finish();
    EXPECT_EQ(server.received(0),
              "POST /svc HTTP/1.1\r\n"
              "Host: " + server.hostport() + "\r\n"
              "User-Agent: orvsoap/1.0\r\n"
              "Content-Type: text/xml; charset=utf-8\r\n"
              "Content-Length: 4\r\n"
              "Connection: close\r\n"
              "Authorization: Basic dXNlcjpwYXNz\r\n"
              "SOAPAction: \"urn:a\"\r\n"
              "\r\n"
              "<x/>");
}

TEST_F(SocketConnect, RefusedConnectionIs28WithTheSystemText)
{
    int port = closed_loopback_port();
    ASSERT_NE(port, 0);
    std::string url = "http://127.0.0.1:" + std::to_string(port) + "/";
    EXPECT_EQ(soap_connect(soap, url.c_str(), ""), SOAP_TCP_ERROR);
    EXPECT_EQ(soap->error, SOAP_TCP_ERROR);
    EXPECT_EQ(soap->errnum, ECONNREFUSED);
    EXPECT_EQ(soap->errmode, 0);
    EXPECT_STREQ(tcp_error(soap), strerror(ECONNREFUSED));
    const char **s = soap_faultstring(soap);
    ASSERT_TRUE(s && *s);
    EXPECT_STREQ(*s, strerror(ECONNREFUSED));
    EXPECT_STREQ(soap_check_faultdetail(soap), "connect failed in tcp_connect()");
    EXPECT_LT(soap->socket, 0);
}

TEST_F(SocketConnect, UnresolvableHostIs28WithTheResolverText)
{
    struct addrinfo hints, *res = nullptr;
    memset(&hints, 0, sizeof(hints));
    hints.ai_socktype = SOCK_STREAM;
    int expected = getaddrinfo("no-such-host.invalid", "80", &hints, &res);
    if (res)
        freeaddrinfo(res);
    ASSERT_NE(expected, 0);
    EXPECT_EQ(soap_connect(soap, "http://no-such-host.invalid/", ""), SOAP_TCP_ERROR);
    EXPECT_EQ(soap->errmode, 2);
    EXPECT_LT(soap->socket, 0);
    const char **s = soap_faultstring(soap);
    ASSERT_TRUE(s && *s);
    EXPECT_STREQ(*s, gai_strerror(expected));
    EXPECT_STREQ(soap_check_faultdetail(soap), "getaddrinfo failed in tcp_connect()");
}

TEST_F(SocketConnect, EndpointListMovesPastAnUnreachableAddress)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    std::string list = "  http://127.0.0.1:" + std::to_string(closed_loopback_port()) + "/a  " + server.url("/b") + " ";
    EXPECT_EQ(soap_connect(soap, list.c_str(), ""), 0);
    EXPECT_EQ(soap->error, 0);
    EXPECT_STREQ(soap->path, "/b");
    ASSERT_EQ(send_body(""), 0);
    finish();
    EXPECT_EQ(server.received(0).substr(0, 18), "POST /b HTTP/1.1\r\n");
}

static std::vector<std::string> posted;
static int refuse_post(struct soap *soap, const char *endpoint, const char *, int, const char *, const char *, size_t)
{
    posted.push_back(endpoint);
    return soap->error = 404;
}

TEST_F(SocketConnect, EndpointListStopsAtAFailureThatIsNotAConnection)
{
    ScriptedServer server;
    server.add(ScriptedServer::close_at_once());
    soap->fpost = refuse_post;
    soap->count = 1;  /* a known length: the head goes out at connect time */
    posted.clear();
    std::string list = server.url("/a") + " " + server.url("/b");
    EXPECT_EQ(soap_connect(soap, list.c_str(), ""), 404);
    ASSERT_EQ(posted.size(), 1u);
    EXPECT_EQ(posted[0], server.url("/a"));
}

TEST_F(SocketConnect, KeptConnectionServesTheNextCallToTheSameHost)
{
    ScriptedServer server;
    server.add([](ScriptedConn &c) {
        c.read_request();
        c.read_request();
        c.wait_peer_close();
    });
    soap->omode = SOAP_IO_KEEPALIVE;
    soap->imode = SOAP_IO_KEEPALIVE;
    soap->keep_alive = 1;
    ASSERT_EQ(soap_connect(soap, server.url("/one").c_str(), ""), 0);
    ASSERT_EQ(send_body(""), 0);
    int first = soap->socket;
    ASSERT_EQ(soap->keep_alive, 1);
    ASSERT_EQ(soap_connect(soap, server.url("/two").c_str(), ""), 0);
    EXPECT_EQ(soap->socket, first);
    ASSERT_EQ(send_body(""), 0);
    finish();
    std::string got = server.received(0);
    EXPECT_NE(got.find("POST /one HTTP/1.1\r\n"), std::string::npos);
    EXPECT_NE(got.find("POST /two HTTP/1.1\r\n"), std::string::npos);
    EXPECT_NE(got.find("Connection: keep-alive\r\n"), std::string::npos);
    EXPECT_TRUE(server.wait_handled(1)) << "one connection carried both calls";
    EXPECT_EQ(server.handled(), 1u);
}

TEST_F(SocketConnect, KeptConnectionThatThePeerClosedIsReplaced)
{
    ScriptedServer server;
    server.add([](ScriptedConn &c) { c.read_request(); });  /* then closes */
    server.add(ScriptedServer::stall());
    soap->omode = SOAP_IO_KEEPALIVE;
    soap->keep_alive = 1;
    ASSERT_EQ(soap_connect(soap, server.url("/one").c_str(), ""), 0);
    ASSERT_EQ(send_body(""), 0);
    ASSERT_TRUE(server.wait_handled(1));
    ASSERT_EQ(soap_poll(soap), SOAP_EOF) << "the peer's close is seen";
    ASSERT_EQ(soap_connect(soap, server.url("/two").c_str(), ""), 0);
    ASSERT_EQ(send_body(""), 0);
    finish();
    EXPECT_EQ(server.received(1).substr(0, 20), "POST /two HTTP/1.1\r\n");
}

TEST_F(SocketConnect, Ipv6LoopbackIsReachedAndNamedInBrackets)
{
    if (!ipv6_loopback_available())
        GTEST_SKIP() << "no ::1 on this machine";
    ScriptedServer server(AF_INET6);
    ASSERT_TRUE(server.listening());
    server.add(ScriptedServer::stall());
    ASSERT_EQ(soap_connect(soap, server.url("/v6").c_str(), ""), 0);
    ASSERT_EQ(send_body(""), 0);
    finish();
    EXPECT_NE(server.received(0).find("\r\nHost: [::1]:" + std::to_string(server.port()) + "\r\n"), std::string::npos);
}

TEST_F(SocketConnect, HttpsPeerThatClosesInTheHandshakeFailsWithTheTlsError)
{
    ScriptedServer server;
    server.add(ScriptedServer::close_at_once());
    EXPECT_EQ(soap_connect(soap, server.url("/", "https").c_str(), ""), SOAP_SSL_ERROR);
    EXPECT_LT(soap->socket, 0);
    EXPECT_STREQ(soap_check_faultdetail(soap), "SSL_connect error in tcp_connect()");
}

TEST_F(SocketConnect, SocketOptionsFollowTheContext)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    soap->connect_flags = SO_LINGER;
    soap->linger_time = 3;
    soap->tcp_keep_alive = 1;
    soap->tcp_keep_idle = 30;
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    struct linger l;
    socklen_t len = sizeof(l);
    ASSERT_EQ(getsockopt(soap->socket, SOL_SOCKET, SO_LINGER, &l, &len), 0);
    EXPECT_EQ(l.l_onoff, 1);
    EXPECT_EQ(l.l_linger, 3);
    int v = 0;
    len = sizeof(v);
    ASSERT_EQ(getsockopt(soap->socket, SOL_SOCKET, SO_KEEPALIVE, &v, &len), 0);
    EXPECT_EQ(v, 1);
    ASSERT_EQ(getsockopt(soap->socket, IPPROTO_TCP, TCP_NODELAY, &v, &len), 0);
    EXPECT_EQ(v, 1);
    ASSERT_EQ(getsockopt(soap->socket, IPPROTO_TCP, TCP_KEEPIDLE, &v, &len), 0);
    EXPECT_EQ(v, 30);
    EXPECT_EQ(fcntl(soap->socket, F_GETFL) & O_NONBLOCK, 0) << "no time-outs: blocking";
}

TEST_F(SocketConnect, TimeoutsMakeTheSocketNonBlocking)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    soap->recv_timeout = -500000;
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    EXPECT_NE(fcntl(soap->socket, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(SocketConnect, ConnectToAFullBacklogTimesOut)
{
    /* A listener that never accepts: once its queue is full, further
     * connection attempts get no answer at all. */
    int l = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in a;
    memset(&a, 0, sizeof(a));
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    ASSERT_EQ(bind(l, (struct sockaddr *)&a, len), 0);
    ASSERT_EQ(listen(l, 0), 0);
    ASSERT_EQ(getsockname(l, (struct sockaddr *)&a, &len), 0);
    std::vector<int> fillers;
    for (int i = 0; i < 4; i++) {
        int f = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        connect(f, (struct sockaddr *)&a, len);
        fillers.push_back(f);
    }
    usleep(50000);
    soap->connect_timeout = -200000;
    std::string url = "http://127.0.0.1:" + std::to_string(ntohs(a.sin_port)) + "/";
    int r = soap_connect(soap, url.c_str(), "");
    for (int f : fillers)
        close(f);
    close(l);
    ASSERT_EQ(r, SOAP_TCP_ERROR);
    const char **s = soap_faultstring(soap);
    ASSERT_TRUE(s && *s);
    EXPECT_STREQ(*s, "Timeout");
    EXPECT_STREQ(soap_check_faultdetail(soap), "connect failed in tcp_connect()");
    EXPECT_LT(soap->socket, 0);
}

/* ------------------------------------------------------------------------ */

using SocketProxy = SocketTest;

TEST_F(SocketProxy, PlainHttpGoesToTheProxyWithTheAbsoluteAddress)
{
    ScriptedServer proxy;
    proxy.add(ScriptedServer::stall());
    std::string proxy_host = "127.0.0.1";
    soap->proxy_host = proxy_host.c_str();
    soap->proxy_port = proxy.port();
    soap->proxy_userid = "pu";
    soap->proxy_passwd = "pp";
    ASSERT_EQ(soap_connect(soap, "http://target.invalid:81/svc", ""), 0);
    ASSERT_EQ(send_body(""), 0);
    finish();
    std::string got = proxy.received(0);
    EXPECT_EQ(got.substr(0, got.find("\r\n")), "POST http://target.invalid:81/svc HTTP/1.1");
    EXPECT_NE(got.find("\r\nHost: target.invalid:81\r\n"), std::string::npos);
    EXPECT_NE(got.find("\r\nProxy-Authorization: Basic cHU6cHA=\r\n"), std::string::npos);
}

TEST_F(SocketProxy, HttpsOpensATunnelFirst)
{
    ScriptedServer proxy;
    std::string connect_request;
    proxy.add([&connect_request](ScriptedConn &c) {
        connect_request = c.read_head();
        c.send("HTTP/1.1 200 Connection established\r\n\r\n");
        c.close();  /* no TLS peer behind the tunnel */
    });
    soap->proxy_host = "127.0.0.1";
    soap->proxy_port = proxy.port();
    soap->proxy_userid = "pu";
    soap->proxy_passwd = "pp";
    /* the tunnel stands; the handshake through it finds no TLS peer */
    EXPECT_EQ(soap_connect(soap, "https://target.invalid/svc", ""), SOAP_SSL_ERROR);
    finish();
    proxy.wait_handled(1);
    EXPECT_EQ(connect_request,
              "CONNECT target.invalid:443 HTTP/1.1\r\n"
              "Host: target.invalid:443\r\n"
              "User-Agent: orvsoap/1.0\r\n"
              "Connection: keep-alive\r\n"
              "Proxy-Authorization: Basic cHU6cHA=\r\n"
              "\r\n");
}

TEST_F(SocketProxy, ProxyDemandingCredentialsEndsTheCallWith407)
{
    ScriptedServer proxy;
    proxy.add(ScriptedServer::reply("HTTP/1.1 407 Proxy Authentication Required\r\n"
                                    "Proxy-Authenticate: Basic realm=\"corp\"\r\nContent-Length: 0\r\n\r\n"));
    soap->proxy_host = "127.0.0.1";
    soap->proxy_port = proxy.port();
    EXPECT_EQ(soap_connect(soap, "https://target.invalid/svc", ""), 407);
    EXPECT_STREQ(soap->authrealm, "corp");
    EXPECT_LT(soap->socket, 0);
}

TEST_F(SocketProxy, BracketedProxyHostIsResolvedWithoutBrackets)
{
    if (!ipv6_loopback_available())
        GTEST_SKIP() << "no ::1 on this machine";
    ScriptedServer proxy(AF_INET6);
    proxy.add(ScriptedServer::stall());
    soap->proxy_host = "[::1]";
    soap->proxy_port = proxy.port();
    ASSERT_EQ(soap_connect(soap, "http://target.invalid/", ""), 0);
    ASSERT_EQ(send_body(""), 0);
    finish();
    EXPECT_EQ(proxy.received(0).substr(0, 38), "POST http://target.invalid/ HTTP/1.1\r\n");
}

TEST_F(SocketProxy, UnclosedBracketIsResolvedAsItStands)
{
    soap->proxy_host = "[::1";
    soap->proxy_port = 1;
    EXPECT_EQ(soap_connect(soap, "http://target.invalid/", ""), SOAP_TCP_ERROR);
    EXPECT_EQ(soap->errmode, 2);
}

TEST_F(SocketProxy, OverlongBracketedProxyHostIsRefused)
{
    std::string h = "[" + std::string(3000, 'a') + "]";
    soap->proxy_host = h.c_str();
    EXPECT_EQ(soap_connect(soap, "http://target.invalid/", ""), SOAP_TCP_ERROR);
}

/* A real HTTP proxy from the system's packages on loopback, started and
 * stopped by the test: plain proxying, proxy authentication and the CONNECT
 * tunnel go through software that isn't ours. */
class Tinyproxy {
public:
    explicit Tinyproxy(const char *basic_auth = nullptr)
    {
        if (access(binary(), X_OK) != 0)
            return;
        port_ = free_port();
        char dir[] = "/tmp/orvsoap-tinyproxy-XXXXXX";
        if (!mkdtemp(dir))
            return;
        dir_ = dir;
        std::string conf = dir_ + "/tinyproxy.conf";
        FILE *f = fopen(conf.c_str(), "w");
        if (!f)
            return;
        fprintf(f, "Port %d\nListen 127.0.0.1\nTimeout 10\nMaxClients 8\nAllow 127.0.0.1\n"
                   "LogLevel Critical\nLogFile \"%s/log\"\nDisableViaHeader Yes\n",
                port_, dir_.c_str());
        if (basic_auth)
            fprintf(f, "BasicAuth %s\n", basic_auth);
        fclose(f);
        pid_ = fork();
        if (pid_ == 0) {
            int null = open("/dev/null", O_RDWR);
            dup2(null, 1);
            dup2(null, 2);
            execl(binary(), "tinyproxy", "-d", "-c", conf.c_str(), (char *)nullptr);
            _exit(127);
        }
        for (int i = 0; i < 200 && !ready(); i++)
            usleep(25000);
    }
    ~Tinyproxy()
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
        if (!dir_.empty()) {
            unlink((dir_ + "/tinyproxy.conf").c_str());
            unlink((dir_ + "/log").c_str());
            rmdir(dir_.c_str());
        }
    }
    static const char *binary() { return access("/usr/bin/tinyproxy", X_OK) == 0 ? "/usr/bin/tinyproxy" : "/usr/sbin/tinyproxy"; }
    bool ready() const
    {
        if (pid_ <= 0)
            return false;
        int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons((uint16_t)port_);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bool ok = connect(fd, (sockaddr *)&a, sizeof a) == 0;
        close(fd);
        return ok;
    }
    int port() const { return port_; }

private:
    static int free_port()
    {
        int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t n = sizeof a;
        bind(fd, (sockaddr *)&a, sizeof a);
        getsockname(fd, (sockaddr *)&a, &n);
        close(fd);
        return ntohs(a.sin_port);
    }
    pid_t pid_ = -1;
    int port_ = 0;
    std::string dir_;
};

using SocketTinyproxy = SocketTest;

#define NEED_TINYPROXY(p)                                                                          \
    if (access(Tinyproxy::binary(), X_OK) != 0)                                                    \
        GTEST_SKIP() << "tinyproxy is not installed";                                              \
    ASSERT_TRUE((p).ready()) << "tinyproxy did not start"

TEST_F(SocketTinyproxy, PostTravelsThroughTheProxyAndTheAnswerComesBack)
{
    Tinyproxy proxy;
    NEED_TINYPROXY(proxy);
    ScriptedServer server;
    server.add(ScriptedServer::reply("HTTP/1.1 200 OK\r\nContent-Length: 4\r\nConnection: close\r\n\r\n<a/>"));
    soap->proxy_host = "127.0.0.1";
    soap->proxy_port = proxy.port();
    soap->count = 4;
    ASSERT_EQ(soap_connect(soap, server.url("/svc").c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    std::string body;
    ASSERT_EQ(receive_n(body, 4), 0);
    EXPECT_EQ(body, "<a/>");
    std::string got = server.received(0);
    EXPECT_EQ(got.substr(0, got.find("\r\n")), "POST /svc HTTP/1.1") << "the proxy asks in origin form";
    EXPECT_EQ(got.substr(got.size() - 4), "<q/>");
}

TEST_F(SocketTinyproxy, ProxyAuthenticationIsRefusedWithoutAndPassedWithCredentials)
{
    Tinyproxy proxy("pu pp");
    NEED_TINYPROXY(proxy);
    ScriptedServer server;
    server.add(ScriptedServer::reply("HTTP/1.1 200 OK\r\nContent-Length: 4\r\nConnection: close\r\n\r\n<a/>"));
    soap->proxy_host = "127.0.0.1";
    soap->proxy_port = proxy.port();
    soap->count = 4;
    ASSERT_EQ(soap_connect(soap, server.url("/svc").c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    std::string body;
    EXPECT_EQ(receive_n(body, 4), 407);
    soap_closesock(soap);

    soap->proxy_userid = "pu";
    soap->proxy_passwd = "pp";
    soap->keep_alive = 0;
    soap_begin(soap);
    soap->count = 4;
    ASSERT_EQ(soap_connect(soap, server.url("/svc").c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    ASSERT_EQ(receive_n(body, 4), 0);
    EXPECT_EQ(body, "<a/>");
}

TEST_F(SocketTinyproxy, HttpsEndpointIsReachedThroughAConnectTunnel)
{
    Tinyproxy proxy;
    NEED_TINYPROXY(proxy);
    ScriptedServer server;
    std::string first_bytes;
    server.add([&first_bytes](ScriptedConn &c) {
        char b[5];
        struct pollfd pfd = {c.fd(), POLLIN, 0};
        if (poll(&pfd, 1, 5000) == 1 && ::recv(c.fd(), b, sizeof b, MSG_WAITALL) == (ssize_t)sizeof b)
            first_bytes.assign(b, sizeof b);
        c.close();
    });
    soap->proxy_host = "127.0.0.1";
    soap->proxy_port = proxy.port();
    soap->connect_timeout = 5;
    soap->recv_timeout = 5;
    /* The origin isn't a TLS server, so the handshake fails; what matters is
     * that its first bytes arrived through the tunnel. */
    EXPECT_EQ(soap_connect(soap, server.url("/svc", "https").c_str(), ""), SOAP_SSL_ERROR);
    server.wait_handled(1);
    ASSERT_EQ(first_bytes.size(), 5u);
    EXPECT_EQ((unsigned char)first_bytes[0], 0x16) << "a TLS handshake record";
}

/* ------------------------------------------------------------------------ */

using SocketDatagram = SocketTest;

TEST_F(SocketDatagram, UdpEndpointSendsOneDatagramWithoutHead)
{
    int r = socket(AF_INET, SOCK_DGRAM, 0);
    struct sockaddr_in a;
    memset(&a, 0, sizeof(a));
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    ASSERT_EQ(bind(r, (struct sockaddr *)&a, len), 0);
    ASSERT_EQ(getsockname(r, (struct sockaddr *)&a, &len), 0);
    std::string url = "soap.udp://127.0.0.1:" + std::to_string(ntohs(a.sin_port));
    soap->omode = SOAP_IO_BUFFER;
    ASSERT_EQ(soap_connect(soap, url.c_str(), ""), 0);
    EXPECT_TRUE(soap->omode & SOAP_IO_UDP);
    EXPECT_GT(soap->peerlen, 0u);
    ASSERT_EQ(send_body("<datagram/>"), 0);
    char buf[256];
    struct pollfd p = {r, POLLIN, 0};
    ASSERT_EQ(poll(&p, 1, 2000), 1);
    ssize_t n = recv(r, buf, sizeof(buf), 0);
    close(r);
    ASSERT_GT(n, 0);
    EXPECT_EQ(std::string(buf, (size_t)n), "<datagram/>");
}

/* ------------------------------------------------------------------------ */

TEST(SocketWait, ReportsReadableAndWritableAndTimesOut)
{
    struct soap *soap = soap_new();
    int sv[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
    EXPECT_EQ(soap_socket_wait(soap, sv[0], 2, 0), 2);
    EXPECT_EQ(soap_socket_wait(soap, sv[0], 1, -1000), 0) << "nothing to read";
    EXPECT_EQ(soap->errnum, 0);
    ASSERT_EQ(write(sv[1], "x", 1), 1);
    EXPECT_EQ(soap_socket_wait(soap, sv[0], 3, 0), 3);
    EXPECT_EQ(soap_socket_wait(soap, sv[0], 1, 1), 1);
    close(sv[0]);
    close(sv[1]);
    EXPECT_LT(soap_socket_wait(soap, -1, 1, 0), 0);
    soap_free(soap);
}

TEST(SocketWait, HighDescriptorGoesThroughPollWithTheSameFlags)
{
    struct rlimit rl;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &rl), 0);
    if (rl.rlim_cur < 1100)
        GTEST_SKIP() << "descriptor limit too low";
    struct soap *soap = soap_new();
    int sv[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
    int high = dup2(sv[0], 1090);
    ASSERT_EQ(high, 1090);
    EXPECT_EQ(soap_socket_wait(soap, high, 2, 0), 2);
    EXPECT_EQ(soap_socket_wait(soap, high, 1, -1000), 0);
    ASSERT_EQ(write(sv[1], "x", 1), 1);
    EXPECT_EQ(soap_socket_wait(soap, high, 3, 0), 3);
    close(sv[1]);
    EXPECT_EQ(soap_socket_wait(soap, high, 1, 0) & 1, 1) << "the peer's close reads as readable";
    close(high);
    close(sv[0]);
    soap_free(soap);
}

/* ------------------------------------------------------------------------ */

using SocketIo = SocketTest;

TEST_F(SocketIo, ReceiveTimeoutLooksLikeEndOfInputAndSaysWhy)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    soap->recv_timeout = -100000;
    soap->send_timeout = 30;
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body(""), 0);
    char buf[16];
    EXPECT_EQ(soap->frecv(soap, buf, sizeof(buf)), 0u);
    EXPECT_EQ(soap->errnum, 0);
    EXPECT_STREQ(tcp_error(soap), "Operation interrupted or timed out (100000us receive delay) (30 s send delay)");
}

TEST_F(SocketIo, SendTimeoutOnAPeerThatDoesNotReadFails)
{
    ScriptedServer server;
    std::atomic<bool> done{false};
    server.add([&done](ScriptedConn &) {
        for (int i = 0; i < 1000 && !done; i++)
            usleep(5000);
    });
    soap->send_timeout = -200000;
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    std::string big(1 << 20, 'x');
    int r = 0;
    for (int i = 0; i < 64 && r == 0; i++)
        r = soap->fsend(soap, big.data(), big.size());
    done = true;
    EXPECT_EQ(r, SOAP_EOF);
    EXPECT_EQ(soap->errnum, 0) << "a time-out, not a system error";
}

TEST_F(SocketIo, ResetByThePeerIsEndOfInputWithTheSystemError)
{
    ScriptedServer server;
    server.add(ScriptedServer::reset_after_request());
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body(""), 0);
    ASSERT_TRUE(server.wait_handled(1));
    char buf[16];
    EXPECT_EQ(soap->frecv(soap, buf, sizeof(buf)), 0u);
    EXPECT_EQ(soap->errnum, ECONNRESET);
}

TEST_F(SocketIo, StreamsTakePrecedenceOverDescriptors)
{
    std::ostringstream out;
    std::istringstream in("abc");
    soap->os = &out;
    soap->is = &in;
    soap->sendfd = -1;
    soap->recvfd = -1;
    EXPECT_EQ(soap->fsend(soap, "xyz", 3), 0);
    EXPECT_EQ(out.str(), "xyz");
    char buf[8];
    EXPECT_EQ(soap->frecv(soap, buf, sizeof(buf)), 3u);
    EXPECT_EQ(std::string(buf, 3), "abc");
    EXPECT_EQ(soap->frecv(soap, buf, sizeof(buf)), 0u) << "an exhausted stream";
    soap->os = nullptr;
    soap->is = nullptr;
}

TEST_F(SocketIo, WithoutSocketOrStreamTheDescriptorsCarryTheBytes)
{
    int p[2];
    ASSERT_EQ(pipe(p), 0);
    soap->sendfd = p[1];
    soap->recvfd = p[0];
    EXPECT_EQ(soap->fsend(soap, "pipe", 4), 0);
    char buf[8];
    EXPECT_EQ(soap->frecv(soap, buf, sizeof(buf)), 4u);
    EXPECT_EQ(std::string(buf, 4), "pipe");
    close(p[1]);
    EXPECT_EQ(soap->frecv(soap, buf, sizeof(buf)), 0u);
    close(p[0]);
    soap->recvfd = -1;
    EXPECT_EQ(soap->frecv(soap, buf, sizeof(buf)), 0u);
    EXPECT_EQ(soap->errnum, EBADF);
    soap->sendfd = -1;
    EXPECT_EQ(soap->fsend(soap, "x", 1), SOAP_EOF);
    EXPECT_EQ(soap->errnum, EBADF);
}

TEST_F(SocketIo, DisconnectClosesTheSocket)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    int fd = soap->socket;
    EXPECT_EQ(soap->fclose(soap), 0);
    EXPECT_LT(soap->socket, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "descriptor released";
}

TEST_F(SocketIo, PollSeesAHealthyAndAClosedConnection)
{
    EXPECT_EQ(soap_poll(soap), 0) << "no socket at all";
    ScriptedServer server;
    server.add([](ScriptedConn &c) { c.read_request(); });
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    EXPECT_EQ(soap_poll(soap), 0);
    ASSERT_EQ(send_body(""), 0);
    ASSERT_TRUE(server.wait_handled(1));
    usleep(20000);
    EXPECT_EQ(soap_poll(soap), SOAP_EOF);
}

/* ------------------------------------------------------------------------ */

using HttpExchange = SocketTest;

TEST_F(HttpExchange, ChunkedAnswerIsDecoded)
{
    ScriptedServer server;
    server.add(ScriptedServer::reply_and_hold("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nTransfer-Encoding: chunked\r\n\r\n"
                                              "5\r\n<a>hi\r\n4\r\n</a>\r\n0\r\n\r\n"));
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    std::string body;
    EXPECT_EQ(receive(body), 0);
    EXPECT_EQ(body, "<a>hi</a>");
    EXPECT_EQ(soap->status, 200);
}

TEST_F(HttpExchange, BodyCutShortEndsAtTheClose)
{
    ScriptedServer server;
    server.add(ScriptedServer::reply("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<a>partial"));
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    std::string body;
    receive(body);
    EXPECT_EQ(body, "<a>partial");
}

TEST_F(HttpExchange, StalledAnswerTimesOutAsEndOfInput)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    soap->recv_timeout = -150000;
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    EXPECT_EQ(soap_begin_recv(soap), SOAP_EOF);
    EXPECT_EQ(soap->errnum, 0);
    EXPECT_STREQ(tcp_error(soap), "Operation interrupted or timed out (150000us receive delay)");
}

TEST_F(HttpExchange, ConnectionClosedBeforeAnswerIsEndOfInput)
{
    ScriptedServer server;
    server.add([](ScriptedConn &c) { c.read_request(); });
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    EXPECT_EQ(soap_begin_recv(soap), SOAP_EOF);
}

TEST_F(HttpExchange, OverlongHeaderLineIs22)
{
    ScriptedServer server;
    server.add(ScriptedServer::reply("HTTP/1.1 200 OK\r\nX-Big: " + std::string(9000, 'b') + "\r\n\r\n<a/>"));
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    EXPECT_EQ(soap_begin_recv(soap), SOAP_HDR);
    EXPECT_EQ(soap->keep_alive, 0);
}

TEST_F(HttpExchange, AcceptedWithEmptyBodyIs202)
{
    ScriptedServer server;
    server.add(ScriptedServer::reply("HTTP/1.1 202 Accepted\r\nContent-Length: 0\r\n\r\n"));
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    EXPECT_EQ(soap_begin_recv(soap), 202);
}

TEST_F(HttpExchange, BadChunkSizeEndsTheBody)
{
    ScriptedServer server;
    server.add(ScriptedServer::reply("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n<a/>\r\n0\r\n\r\n"));
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    std::string body;
    receive(body);
    EXPECT_EQ(body.find("<a/>"), std::string::npos) << "no byte of a chunk whose size can't be read";
}

TEST_F(HttpExchange, StoreModeSendsHeadAndBodyWithTheTrueLength)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    soap->omode = SOAP_IO_STORE;
    ASSERT_EQ(soap_connect(soap, server.url("/s").c_str(), "a"), 0);
    ASSERT_EQ(send_body("<stored/>"), 0);
    finish();
    std::string got = server.received(0);
    EXPECT_NE(got.find("\r\nContent-Length: 9\r\n"), std::string::npos) << got;
    EXPECT_EQ(got.substr(got.size() - 9), "<stored/>");
}

TEST_F(HttpExchange, ChunkedRequestIsFramedInChunks)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    soap->omode = SOAP_IO_CHUNK;
    ASSERT_EQ(soap_connect(soap, server.url("/c").c_str(), ""), 0);
    ASSERT_EQ(send_body("<chunk/>"), 0);
    finish();
    std::string got = server.received(0);
    EXPECT_NE(got.find("\r\nTransfer-Encoding: chunked\r\n"), std::string::npos);
    EXPECT_EQ(got.substr(head_of(got).size()), "8\r\n<chunk/>\r\n0\r\n\r\n");
}

TEST_F(HttpExchange, KeptConnectionCarriesTheNextCallWhenTheAnswerAllowsIt)
{
    ScriptedServer server;
    server.add([](ScriptedConn &c) {
        c.read_request();
        c.send("HTTP/1.1 200 OK\r\nConnection: keep-alive\r\nContent-Length: 4\r\n\r\n<a/>");
        c.read_request();
        c.send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n<b/>");
        c.wait_peer_close();
    });
    soap->imode = soap->omode = SOAP_IO_KEEPALIVE;
    std::string body;
    soap_begin(soap);
    ASSERT_EQ(soap_connect(soap, server.url("/1").c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    ASSERT_EQ(receive_n(body, 4), 0);
    EXPECT_EQ(body, "<a/>");
    EXPECT_EQ(soap->keep_alive, 1);
    int first = soap->socket;
    EXPECT_EQ(soap_closesock(soap), 0);
    EXPECT_EQ(soap->socket, first) << "kept open";

    soap_begin(soap);
    ASSERT_EQ(soap_connect(soap, server.url("/2").c_str(), ""), 0);
    EXPECT_EQ(soap->socket, first);
    ASSERT_EQ(send_body("<q/>"), 0);
    ASSERT_EQ(receive_n(body, 4), 0);
    EXPECT_EQ(body, "<b/>");
    finish();
    EXPECT_TRUE(server.wait_handled(1)) << "one connection carried both calls";
    EXPECT_EQ(server.handled(), 1u);
}

TEST_F(HttpExchange, AnswerThatSaysCloseEndsTheConnection)
{
    ScriptedServer server;
    server.add(ScriptedServer::reply_and_hold("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 4\r\n\r\n<a/>"));
    soap->imode = soap->omode = SOAP_IO_KEEPALIVE;
    std::string body;
    soap_begin(soap);
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    ASSERT_EQ(receive_n(body, 4), 0);
    EXPECT_EQ(soap->keep_alive, 0);
    EXPECT_EQ(soap_closesock(soap), 0);
    EXPECT_LT(soap->socket, 0);
}

TEST_F(HttpExchange, UnauthorizedAnswerIs401WithTheRealm)
{
    ScriptedServer server;
    server.add(ScriptedServer::reply("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"svc\"\r\n"
                                     "Content-Length: 0\r\n\r\n"));
    ASSERT_EQ(soap_connect(soap, server.url().c_str(), ""), 0);
    ASSERT_EQ(send_body("<q/>"), 0);
    EXPECT_EQ(soap_begin_recv(soap), 401);
    EXPECT_STREQ(soap->authrealm, "svc");
    const char **s = soap_faultstring(soap);
    ASSERT_TRUE(s && *s);
    EXPECT_STREQ(*s, "HTTP Error");
}

static int connect_hook_calls;
static int connect_hook(struct soap *, const char *, const char *host, int port)
{
    connect_hook_calls++;
    return strcmp(host, "hooked") == 0 && port == 99 ? SOAP_OK : SOAP_TCP_ERROR;
}

TEST_F(SocketConnect, ConnectHookReplacesTheSocketConnect)
{
    connect_hook_calls = 0;
    soap->fconnect = connect_hook;
    soap->fopen = nullptr;
    soap->count = 1;
    std::ostringstream out;
    soap->os = &out;
    EXPECT_EQ(soap_connect(soap, "http://hooked:99/x", "a"), 0);
    EXPECT_EQ(connect_hook_calls, 1);
    EXPECT_LT(soap->socket, 0);
    EXPECT_EQ(soap_end_send(soap), 0);
    EXPECT_EQ(out.str().substr(0, 18), "POST /x HTTP/1.1\r\n") << "the head goes to the stream";
    EXPECT_EQ(soap_connect(soap, "http://other:99/x", "a"), SOAP_TCP_ERROR);
    soap->os = nullptr;
}

TEST_F(HttpExchange, GetIsSentAtOnce)
{
    ScriptedServer server;
    server.add(ScriptedServer::stall());
    ASSERT_EQ(soap_connect_command(soap, SOAP_GET, server.url("/doc").c_str(), nullptr), 0);
    finish();
    EXPECT_EQ(server.received(0),
              "GET /doc HTTP/1.1\r\nHost: " + server.hostport() + "\r\nUser-Agent: orvsoap/1.0\r\nConnection: close\r\n\r\n");
}

}  // namespace
