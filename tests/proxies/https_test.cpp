/* https_test.cpp -- both proxies over HTTPS against the reference provider, which a test suite
 * starts with a certificate for 127.0.0.1 from the test CA: calls and typed faults through TLS,
 * many calls over one kept connection, the saved session resumed on reconnects, the plain text in
 * the trace, and the refusals (an untrusted issuer, another host name, a peer that speaks no TLS),
 * after each of which the same proxy serves the next call.
 */
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

/* the test PKI of the TLS layer's own tests; its helpers come from beside it */
#include "../engine/tls_server_fixture.h"
#include "proxy_support.h"

extern char **environ;

using namespace proxy_test;

namespace {

const unsigned short kVerify = SOAP_TLS_VERIFY_SERVER | SOAP_TLS_NO_DEFAULT_CA_PATHS;
const char kUnverified[] = "SSL/TLS certificate presented by peer cannot be verified in tcp_connect()";
const char kMismatch[] = "SSL/TLS certificate host name mismatch in tcp_connect()";
const char kProfilePath[] = "/orv/v1.0/services/Profile";
const char kReportPath[] = "/orv/v1.0/services/ProblemReport";

/* The reference provider in HTTPS mode, as a child process on a free loopback port. */
class HttpsProvider {
public:
    /* "" when it did not start; `why` says what went wrong */
    std::string port, why;

    explicit HttpsProvider(const std::string &keyfile)
    {
        int out[2];
        if (pipe2(out, O_CLOEXEC)) {
            why = "no pipe";
            return;
        }
        posix_spawn_file_actions_t fa;
        posix_spawn_file_actions_init(&fa);
        posix_spawn_file_actions_adddup2(&fa, out[1], 1);
        /* one PEM file holds the chain and the key */
        const char *argv[] = {ORVSOAP_TEST_PYTHON, "-B", ORVSOAP_TEST_PROVIDER, "--port", "0",
                              "--tls-cert", keyfile.c_str(), "--tls-key", keyfile.c_str(),
                              "--stall-limit", "20", nullptr};
        int rc = posix_spawn(&pid_, argv[0], &fa, nullptr, const_cast<char **>(argv), environ);
        posix_spawn_file_actions_destroy(&fa);
        close(out[1]);
        out_ = out[0];
        if (rc) {
            pid_ = -1;
            why = "cannot start the provider";
            return;
        }
        std::string line;
        char c;
        while (line.find('\n') == std::string::npos) {
            struct pollfd p = {out_, POLLIN, 0};
            if (poll(&p, 1, 30000) != 1 || read(out_, &c, 1) != 1) {
                why = "provider did not start; said: " + line;
                return;
            }
            line += c;
        }
        size_t at = line.find("listening on 127.0.0.1:");
        if (at == std::string::npos) {
            why = line;
            return;
        }
        port = line.substr(at + 23, line.find_first_of("\r\n", at) - at - 23);
    }

    ~HttpsProvider()
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            int status;
            for (int i = 0; i < 100 && waitpid(pid_, &status, WNOHANG) == 0; i++)
                usleep(50000);
            if (waitpid(pid_, &status, WNOHANG) == 0) {
                kill(pid_, SIGKILL);
                waitpid(pid_, &status, 0);
            }
        }
        if (out_ >= 0)
            close(out_);
    }

private:
    pid_t pid_ = -1;
    int out_ = -1;
};

/* What each connection a proxy opened looked like right after its handshake (through `user` and
 * fopen). */
struct ConnTap {
    int opens = 0;
    std::vector<bool> resumed;     /* whether it resumed a saved session */
    std::vector<bool> encrypted;   /* whether both modes were marked encrypted */
    int (*next_open)(struct soap *, const char *, const char *, int) = nullptr;

    void attach(struct soap *soap)
    {
        soap->user = this;
        next_open = soap->fopen;
        soap->fopen = [](struct soap *soap, const char *endpoint, const char *host, int port) {
            ConnTap *tap = static_cast<ConnTap *>(soap->user);
            tap->opens++;
            int fd = tap->next_open(soap, endpoint, host, port);
            tap->resumed.push_back(fd >= 0 && soap->ssl && SSL_session_reused(soap->ssl));
            tap->encrypted.push_back((soap->imode & SOAP_ENC_SSL) && (soap->omode & SOAP_ENC_SSL));
            return fd;
        };
    }
};

class Https : public ProxyTest {
protected:
    static HttpsProvider *provider_;

    static void SetUpTestSuite()
    {
        /* the provider's certificate names its address twice: as common name and as IP entry */
        CertTemplate tpl;
        tpl.cns = {"127.0.0.1"};
        tpl.ips = {"127.0.0.1"};
        provider_ = new HttpsProvider(TestPki::get().keyfile(tpl));
    }
    static void TearDownTestSuite()
    {
        delete provider_;
        provider_ = nullptr;
    }

    void SetUp() override { ASSERT_FALSE(provider_->port.empty()) << provider_->why; }

    std::string ca = TestPki::get().ca_file();
    std::string other_ca = TestPki::get().other_ca_file();
    std::string profile = "https://127.0.0.1:" + provider_->port + kProfilePath;
    std::string report = "https://127.0.0.1:" + provider_->port + kReportPath;
    DaemonHeader hdr;

    /* A proxy for `url` that trusts `cafile` only. */
    template <class P> P &tls_proxy(const std::string &url, int mode = 0, const std::string *cafile = nullptr)
    {
        P &p = make<P>(url.c_str(), mode);
        p.connect_timeout = p.recv_timeout = p.send_timeout = 10;
        EXPECT_EQ(SOAP_OK, soap_ssl_client_context(&p, kVerify, nullptr, nullptr,
                                                   (cafile ? *cafile : ca).c_str(), nullptr, nullptr));
        return p;
    }

    /* a create that must succeed (on `endpoint`, or the proxy's own); the new profile's URI */
    std::string create(ProfileSoapBindingProxy &p, const char *endpoint = nullptr)
    {
        ProfileRequest req;
        __protocolProfile__createResponse resp;
        p.soap_header(&hdr.header);
        int rc = p.create(endpoint, nullptr, &req.content, resp);
        EXPECT_EQ(SOAP_OK, rc) << fault_of(p);
        if (rc || !resp.protocolProfile__createResponse || resp.protocolProfile__createResponse->thisURI.empty())
            return std::string();
        return resp.protocolProfile__createResponse->thisURI[0];
    }

    static std::string fault_of(struct soap &p)
    {
        char buf[1024];
        return soap_sprint_fault(&p, buf, sizeof buf);
    }
    static std::string string_of(struct soap &p)
    {
        const char **s = soap_faultstring(&p);
        return s && *s ? *s : "";
    }
    static std::string detail_of(struct soap &p)
    {
        const char *d = soap_check_faultdetail(&p);
        return d ? d : "";
    }
};

HttpsProvider *Https::provider_ = nullptr;

/* ------------------------------------------------------------------------ */
/* Calls                                                                     */
/* ------------------------------------------------------------------------ */

TEST_F(Https, ProfileCreateAndGetRunOverAVerifiedConnection)
{
    auto &p = tls_proxy<ProfileSoapBindingProxy>(profile);
    ConnTap tap;
    tap.attach(&p);
    std::string uri = create(p);
    ASSERT_EQ(0u, uri.rfind("urn:orv:profile:", 0)) << uri;

    hdr.with_target(uri);
    p.soap_header(&hdr.header);
    _protocolProfile__getRequest req;
    __protocolProfile__getResponse resp;
    ASSERT_EQ(SOAP_OK, p.get(&req, resp)) << fault_of(p);
    ASSERT_NE(nullptr, resp.protocolProfile__getResponse);
    EXPECT_EQ(std::vector<std::string>{uri}, resp.protocolProfile__getResponse->thisURI);
    ASSERT_NE(nullptr, resp.protocolProfile__getResponse->identity);
    EXPECT_EQ("sp-0042", text(resp.protocolProfile__getResponse->identity->systemName));
    /* the provider names itself by its HTTPS base in the answer's header */
    ASSERT_NE(nullptr, p.soap_header());
    ASSERT_NE(nullptr, p.soap_header()->protocol__header);

    /* without keep-alive each call had its own encrypted connection, closed after it */
    EXPECT_EQ(2, tap.opens);
    EXPECT_EQ((std::vector<bool>{true, true}), tap.encrypted);
    EXPECT_EQ(-1, p.socket);
    EXPECT_EQ(nullptr, p.ssl);
}

TEST_F(Https, ProblemReportSubmitThenGetReadsTheReportBack)
{
    auto &p = tls_proxy<ProblemReportSoapBindingProxy>(report);
    ReportRequest req;
    req.pad_to(40 * 1024);  /* more than one TLS record each way */
    __protocolProblemReport__submitResponse sub;
    p.soap_header(&hdr.header);
    ASSERT_EQ(SOAP_OK, p.submit(&req.content, sub)) << fault_of(p);
    ASSERT_NE(nullptr, sub.protocolProblemReport__submitResponse);
    ASSERT_EQ(1u, sub.protocolProblemReport__submitResponse->thisURI.size());
    std::string uri = sub.protocolProblemReport__submitResponse->thisURI[0];
    EXPECT_EQ(0u, uri.rfind("urn:orv:problemreport:", 0)) << uri;

    hdr.with_target(uri);
    p.soap_header(&hdr.header);
    _protocolProblemReport__getRequest get;
    __protocolProblemReport__getResponse got;
    ASSERT_EQ(SOAP_OK, p.get(&get, got)) << fault_of(p);
    protocolProblemReport__ProblemReportContent *r = got.protocolProblemReport__getResponse;
    ASSERT_NE(nullptr, r);
    EXPECT_EQ(std::vector<std::string>{uri}, r->thisURI);
    EXPECT_EQ(req.title, text(r->title));
    EXPECT_EQ(req.description, text(r->problemDescription));
    EXPECT_EQ(req.content.notes, r->notes);
    ASSERT_NE(nullptr, r->state);
    EXPECT_EQ(protocolProblemReport__ProblemReportState__submitted, *r->state);
    EXPECT_FALSE(r->answer.empty());
    /* the objects of the first answer are still the context's */
    EXPECT_EQ(&p, sub.protocolProblemReport__submitResponse->soap);
}

TEST_F(Https, BadCredentialsComeBackAsTheTypedFaultAndTheNextCallWorks)
{
    auto &p = tls_proxy<ProfileSoapBindingProxy>(profile);
    hdr.password = "wrong";
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_CLI_FAULT, p.create(&req.content, resp));
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    SOAP_ENV__Fault *f = p.soap_fault();
    ASSERT_NE(nullptr, f);
    EXPECT_STREQ("SOAP-ENV:Client", f->faultcode);
    ASSERT_NE(nullptr, f->detail);
    ASSERT_NE(nullptr, f->detail->protocol__Client_x002eAuthentication_x002eNotAuthorized);
    EXPECT_EQ(SOAP_TYPE_protocol__Client_x002eAuthentication_x002eNotAuthorized,
              f->detail->protocol__Client_x002eAuthentication_x002eNotAuthorized->soap_type());
    EXPECT_EQ(nullptr, f->detail->protocol__Client_x002eAuthentication_x002eCredentialsExpired);

    hdr.password = "secret";
    EXPECT_FALSE(create(p).empty());
}

/* ------------------------------------------------------------------------ */
/* Connections and sessions                                                  */
/* ------------------------------------------------------------------------ */

TEST_F(Https, KeptAliveCallsShareOneTlsConnectionAcrossAFault)
{
    auto &p = tls_proxy<ProfileSoapBindingProxy>(profile, SOAP_IO_KEEPALIVE);
    ConnTap tap;
    tap.attach(&p);
    std::string uri = create(p);
    ASSERT_FALSE(uri.empty());
    const int sock = p.socket;
    SSL *const ssl = p.ssl;
    ASSERT_GE(sock, 0);
    ASSERT_NE(nullptr, ssl);

    /* get, a fault (which the provider answers on the same connection), set, get */
    hdr.with_target(uri);
    _protocolProfile__getRequest get;
    __protocolProfile__getResponse got;
    p.soap_header(&hdr.header);
    ASSERT_EQ(SOAP_OK, p.get(&get, got)) << fault_of(p);
    EXPECT_EQ(sock, p.socket);

    hdr.password = "wrong";
    ProfileRequest bad;
    __protocolProfile__createResponse refused;
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_CLI_FAULT, p.create(&bad.content, refused));
    EXPECT_EQ(sock, p.socket);
    hdr.password = "secret";

    ProfileRequest changed;
    changed.machine = "sp-0099";
    changed.content.thisURI.push_back(uri);
    __protocolProfile__setResponse set;
    p.soap_header(&hdr.header);
    ASSERT_EQ(SOAP_OK, p.set(&changed.content, set)) << fault_of(p);
    EXPECT_EQ(sock, p.socket);

    for (int i = 0; i < 5; i++) {
        __protocolProfile__getResponse again;
        p.soap_header(&hdr.header);
        ASSERT_EQ(SOAP_OK, p.get(&get, again)) << "call " << i << ": " << fault_of(p);
        ASSERT_NE(nullptr, again.protocolProfile__getResponse);
        ASSERT_NE(nullptr, again.protocolProfile__getResponse->identity);
        EXPECT_EQ("sp-0099", text(again.protocolProfile__getResponse->identity->systemName));
        p.destroy();
    }

    EXPECT_EQ(1, tap.opens);
    EXPECT_EQ(sock, p.socket);
    EXPECT_EQ(ssl, p.ssl);
    EXPECT_NE(0, p.keep_alive);
    EXPECT_EQ(SOAP_OK, p.soap_force_close_socket());
    EXPECT_EQ(-1, p.socket);
    EXPECT_EQ(nullptr, p.ssl);
}

TEST_F(Https, ReconnectsResumeTheSessionSavedAtTheLastDisconnect)
{
    auto &p = tls_proxy<ProblemReportSoapBindingProxy>(report);
    ConnTap tap;
    tap.attach(&p);
    for (int i = 0; i < 3; i++) {
        ReportRequest req;
        __protocolProblemReport__submitResponse resp;
        p.soap_header(&hdr.header);
        ASSERT_EQ(SOAP_OK, p.submit(&req.content, resp)) << "call " << i << ": " << fault_of(p);
        /* saved when the call closed its connection, for this peer */
        ASSERT_NE(nullptr, p.session);
        EXPECT_STREQ("127.0.0.1", p.session_host);
        EXPECT_EQ(atoi(provider_->port.c_str()), p.session_port);
    }
    EXPECT_EQ(3, tap.opens);
    EXPECT_EQ((std::vector<bool>{false, true, true}), tap.resumed);
}

TEST_F(Https, ASessionIsOfferedOnlyToThePeerItCameFrom)
{
    auto &p = tls_proxy<ProfileSoapBindingProxy>(profile);
    ConnTap tap;
    tap.attach(&p);
    ASSERT_FALSE(create(p).empty());
    ASSERT_NE(nullptr, p.session);
    /* the same provider by another name is another peer: the session is dropped unused (and the
       name check refuses the certificate) */
    std::string by_name = "https://localhost:" + provider_->port + kProfilePath;
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_SSL_ERROR, p.create(by_name.c_str(), nullptr, &req.content, resp));
    EXPECT_EQ(nullptr, p.session);
    /* so the next connection to the first peer is a full handshake, and the one after resumes */
    ASSERT_FALSE(create(p, profile.c_str()).empty());
    ASSERT_FALSE(create(p).empty());
    EXPECT_EQ(4, tap.opens);
    EXPECT_EQ((std::vector<bool>{false, false, false, true}), tap.resumed);
}

TEST_F(Https, TraceHoldsThePlainTextOfBothDirections)
{
    char dir[] = "/tmp/orvsoap-https-trace-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    std::string log = std::string(dir) + "/trace.log";
    auto &p = tls_proxy<ProfileSoapBindingProxy>(profile);
    soap_set_sent_logfile(&p, log.c_str());
    soap_set_recv_logfile(&p, log.c_str());
    std::string uri = create(p);
    ASSERT_FALSE(uri.empty());
    soap_close_logfiles(&p);

    std::ifstream in(log, std::ios::binary);
    std::ostringstream got;
    got << in.rdbuf();
    std::string trace = got.str();
    size_t post = trace.find(std::string("POST ") + kProfilePath + " HTTP/1.1\r\n");
    size_t request = trace.find("<protocolProfile:createRequest>");
    size_t status = trace.find("HTTP/1.1 200 OK\r\n");
    size_t answer = trace.find("<protocolProfile:createResponse>");
    EXPECT_EQ(0u, post) << trace.substr(0, 200);
    EXPECT_NE(std::string::npos, request);
    EXPECT_NE(std::string::npos, status);
    EXPECT_NE(std::string::npos, answer);
    EXPECT_LT(request, status);
    EXPECT_LT(status, answer);
    EXPECT_NE(std::string::npos, trace.find(uri, answer));
    std::string cmd = std::string("rm -rf '") + dir + "'";
    (void)system(cmd.c_str());
}

/* ------------------------------------------------------------------------ */
/* Refusals                                                                  */
/* ------------------------------------------------------------------------ */

TEST_F(Https, AnIssuerOutsideTheTrustedCasIsRefusedUntilItsCaIsLoaded)
{
    auto &p = tls_proxy<ProfileSoapBindingProxy>(profile, 0, &other_ca);
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_SSL_ERROR, p.create(&req.content, resp));
    EXPECT_EQ(SOAP_SSL_ERROR, p.error);
    EXPECT_EQ(X509_verify_cert_error_string(X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY), string_of(p));
    EXPECT_EQ(kUnverified, detail_of(p));
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(-1, p.socket);
    EXPECT_EQ(nullptr, p.ssl);
    EXPECT_EQ(nullptr, p.session);

    /* a second attempt is refused the same way: nothing of the first is left over */
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_SSL_ERROR, p.create(&req.content, resp));
    EXPECT_EQ(kUnverified, detail_of(p));

    /* loading the right CA into the same TLS context lets the next call through */
    ASSERT_EQ(SOAP_OK, soap_ssl_client_context(&p, kVerify, nullptr, nullptr, ca.c_str(), nullptr, nullptr));
    EXPECT_FALSE(create(p).empty());
}

TEST_F(Https, ACertificateForAnotherHostNameIsRefusedAndTheRightNameServes)
{
    /* the certificate names 127.0.0.1 only; "localhost" reaches the same provider by name */
    std::string by_name = "https://localhost:" + provider_->port + kProfilePath;
    auto &p = tls_proxy<ProfileSoapBindingProxy>(by_name);
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_SSL_ERROR, p.create(&req.content, resp));
    EXPECT_EQ("SSL/TLS error", string_of(p));
    EXPECT_EQ(kMismatch, detail_of(p));
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(-1, p.socket);
    EXPECT_EQ(nullptr, p.ssl);

    EXPECT_FALSE(create(p, profile.c_str()).empty());
    /* skipping the name check lets a verified peer through under any name */
    ASSERT_EQ(SOAP_OK, soap_ssl_client_context(&p, kVerify | SOAP_TLS_SKIP_HOST_CHECK, nullptr, nullptr, ca.c_str(),
                                               nullptr, nullptr));
    EXPECT_FALSE(create(p, by_name.c_str()).empty());
}

TEST_F(Https, APlainHttpProviderReachedWithHttpsFailsTheHandshakeCleanly)
{
    std::string base = provider_base();
    ASSERT_EQ(0u, base.rfind("http://", 0));
    std::string wrong = "https://" + base.substr(7) + kProfilePath;
    auto &p = tls_proxy<ProfileSoapBindingProxy>(wrong);
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    /* the provider answers the ClientHello with a plain HTTP 400, which is no TLS record */
    EXPECT_EQ(SOAP_SSL_ERROR, p.create(&req.content, resp));
    EXPECT_EQ("SSL_connect error in tcp_connect()", detail_of(p));
    EXPECT_EQ(0u, string_of(p).rfind("SSL_ERROR_SSL\n", 0)) << string_of(p);
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(-1, p.socket);
    EXPECT_EQ(nullptr, p.ssl);

    /* the same proxy then reaches that provider by http and the TLS one by https */
    std::string plain = profile_url();
    EXPECT_FALSE(create(p, plain.c_str()).empty());
    EXPECT_FALSE(create(p, profile.c_str()).empty());
}

TEST_F(Https, ATlsProviderReachedWithHttpDropsTheConnectionAndTheProxyRecovers)
{
    std::string wrong = "http://127.0.0.1:" + provider_->port + kProfilePath;
    auto &p = tls_proxy<ProfileSoapBindingProxy>(wrong);
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    /* the provider's handshake fails on the plain request and it drops the connection unread:
       end of input, by a reset */
    EXPECT_EQ(SOAP_EOF, p.create(&req.content, resp));
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(-1, p.socket);
    EXPECT_FALSE(create(p, profile.c_str()).empty());
}

TEST_F(Https, FailuresOfEveryKindLeaveOneProxyServingInTurn)
{
    auto &p = tls_proxy<ProblemReportSoapBindingProxy>(report, SOAP_IO_KEEPALIVE);
    std::string by_name = "https://localhost:" + provider_->port + kReportPath;
    std::string not_tls = "https://" + provider_base().substr(7) + kReportPath;
    for (int round = 0; round < 3; round++) {
        for (const std::string *wrong : {&by_name, &not_tls}) {
            ReportRequest req;
            __protocolProblemReport__submitResponse resp;
            p.soap_header(&hdr.header);
            EXPECT_EQ(SOAP_SSL_ERROR, p.submit(wrong->c_str(), nullptr, &req.content, resp)) << *wrong;
            EXPECT_EQ(-1, p.socket);

            p.soap_header(&hdr.header);
            ASSERT_EQ(SOAP_OK, p.submit(report.c_str(), nullptr, &req.content, resp)) << fault_of(p);
            ASSERT_NE(nullptr, resp.protocolProblemReport__submitResponse);
            EXPECT_GE(p.socket, 0);  /* kept for the next call */
            p.destroy();
        }
    }
}

}  // namespace
