/* tls_test.cpp -- the TLS layer against certificates made at test time and a
 * TLS peer on loopback: the TLS context and its failure texts, host name
 * matching, the handshake with its verification, date and clock cases,
 * non-TLS and silent peers, session reuse, shutdown, the accepting side and
 * the error texts.
 */
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "http_server_fixture.h"
#include "platform/faultlog.h"
#include "platform/wallclock.h"
#include "soapengine.h"
#include "soapinternal.h"
#include "tls_server_fixture.h"

namespace {

const char kResponse[] =
    "HTTP/1.1 200 OK\r\n"
    "Content-Type: text/xml; charset=utf-8\r\n"
    "Content-Length: 5\r\n"
    "Connection: close\r\n"
    "\r\n"
    "<ok/>";

const unsigned short kVerify = SOAP_TLS_VERIFY_SERVER | SOAP_TLS_NO_DEFAULT_CA_PATHS;

std::string detail_of(struct soap *soap)
{
    const char *d = soap_check_faultdetail(soap);
    return d ? d : "";
}

std::string string_of(struct soap *soap)
{
    const char **s = soap_faultstring(soap);
    return s && *s ? *s : "";
}

class TlsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        wclk_test_reset();
        faultlog_test_clear();
        soap = soap_new();
        ASSERT_NE(soap, nullptr);
        soap->connect_timeout = 5;
        soap->recv_timeout = 5;
        soap->send_timeout = 5;
    }
    void TearDown() override
    {
        finish();
        wclk_test_reset();
        faultlog_test_clear();
    }
    void finish()
    {
        if (soap) {
            soap_end(soap);
            soap_free(soap);
            soap = nullptr;
        }
    }

    /* The client's TLS context, trusting the test CA (or `cafile`). */
    int client_context(unsigned short flags = kVerify, const char *cafile = nullptr, const char *keyfile = nullptr)
    {
        return soap_ssl_client_context(soap, flags, keyfile, nullptr,
                                       cafile ? cafile : TestPki::get().ca_file().c_str(), nullptr, nullptr);
    }

    /* A TLS peer with a certificate of `tpl`, serving `connections` exchanges. */
    void serve(const CertTemplate &tpl, int connections = 1, unsigned short flags = 0, const char *cafile = nullptr)
    {
        keyfile = TestPki::get().keyfile(tpl);
        server.reset();  /* its handlers call the old peer */
        peer.reset(new TlsPeer(keyfile, flags, cafile));
        ASSERT_EQ(peer->context_error(), 0);
        server.reset(new ScriptedServer());
        ASSERT_TRUE(server->listening());
        for (int i = 0; i < connections; i++)
            server->add(peer->serve(kResponse));
    }

    std::string url(const std::string &path = "/svc") { return server->url(path, "https"); }

    /* POST `body` to the peer and read the answer's body. */
    int exchange(const std::string &body, std::string *answer = nullptr)
    {
        soap->count = body.size();
        if (soap_connect(soap, url().c_str(), ""))
            return soap->error;
        if (soap_send_raw(soap, body.data(), body.size()) || soap_end_send(soap))
            return soap->error;
        if (soap_begin_recv(soap))
            return soap->error;
        /* the body by its length: the peer keeps the connection open */
        std::string got;
        while (got.size() < soap->length) {
            soap_wchar c = soap_getchar(soap);
            if ((int)c == EOF)
                break;
            got += (char)c;
        }
        if (answer)
            *answer = got;
        return soap_end_recv(soap);
    }

    /* The handshake on a plain connection to the peer, for host `host`. */
    int handshake_as(const char *host)
    {
        int fd = socket(AF_INET, SOCK_STREAM, 0);
        struct sockaddr_in a;
        memset(&a, 0, sizeof(a));
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        a.sin_port = htons((uint16_t)server->port());
        if (connect(fd, (struct sockaddr *)&a, sizeof(a))) {
            close(fd);
            return -2;
        }
        soap->socket = fd;
        soap->error = 0;
        return soap_ssl_connect(soap, fd, host, server->port());
    }

    struct soap *soap = nullptr;
    std::string keyfile;
    std::unique_ptr<TlsPeer> peer;            /* outlives the server that calls it */
    std::unique_ptr<ScriptedServer> server;   /* stops (joins) first */
};

CertTemplate named(std::vector<std::string> cns, std::vector<std::string> dns = {})
{
    CertTemplate tpl;
    tpl.cns = std::move(cns);
    tpl.dns = std::move(dns);
    return tpl;
}

/* ------------------------------------------------------------------------ */

int matches(const CertTemplate &tpl, const char *host)
{
    X509Ptr cert = TestPki::get().make(tpl);
    return soap_ssl_cert_matches_host(cert.get(), host);
}

TEST(TlsHostName, SubjectAltNameMatchesExactly)
{
    EXPECT_EQ(matches(named({}, {"zone.lan"}), "zone.lan"), 1);
    EXPECT_EQ(matches(named({}, {"a.lan", "zone.lan"}), "zone.lan"), 1);
    EXPECT_EQ(matches(named({}, {"zone.lan"}), "ZONE.lan"), 0);
    EXPECT_EQ(matches(named({}, {"zone.lan"}), "zone.la"), 0);
}

TEST(TlsHostName, SubjectAltNameHasNoWildcards)
{
    EXPECT_EQ(matches(named({}, {"*.zone.lan"}), "a.zone.lan"), 0);
}

TEST(TlsHostName, CommonNameIgnoresLetterCase)
{
    EXPECT_EQ(matches(named({"zone.lan"}), "ZONE.lan"), 1);
    EXPECT_EQ(matches(named({"zone.lan"}), "zone.lan.evil"), 0);
}

TEST(TlsHostName, WildcardCommonNameCoversOneLeadingLabel)
{
    EXPECT_EQ(matches(named({"*.zone.lan"}), "a.zone.lan"), 1);
    EXPECT_EQ(matches(named({"*.zone.lan"}), "b.a.zone.lan"), 0);
    EXPECT_EQ(matches(named({"*.zone.lan"}), "zone.lan"), 0);
    EXPECT_EQ(matches(named({"*.zone.lan"}), ".zone.lan"), 1);
}

TEST(TlsHostName, CommonNameIsTriedWhenNoAltNameMatches)
{
    EXPECT_EQ(matches(named({"zone.lan"}, {"other.lan"}), "zone.lan"), 1);
    EXPECT_EQ(matches(named({"first.lan", "zone.lan"}), "zone.lan"), 1);
}

TEST(TlsHostName, HostWithoutLettersTakesAnyCommonName)
{
    EXPECT_EQ(matches(named({"anything.lan"}), "192.0.2.7"), 1);
    EXPECT_EQ(matches(named({"anything.lan"}), "::1"), 1);
    CertTemplate ip_only;
    ip_only.ips = {"192.0.2.7"};
    EXPECT_EQ(matches(ip_only, "192.0.2.7"), 0);
}

TEST(TlsHostName, HyphenInCommonNameStandsForAnyCharacter)
{
    EXPECT_EQ(matches(named({"a-c.lan"}), "abc.lan"), 1);
    EXPECT_EQ(matches(named({"a-c.lan"}), "ac.lan"), 0);
}

TEST(TlsHostName, NameWithANulInsideNeverMatches)
{
    EXPECT_EQ(matches(named({std::string("good.lan\0.evil.lan", 18)}), "good.lan"), 0);
}

TEST(TlsHostName, ManyStarsInACommonNameStayBounded)
{
    std::string stars;
    for (int i = 0; i < 32; i++)
        stars += "*a";
    std::string host(1000, 'a');
    host += "b";
    EXPECT_EQ(matches(named({stars}), host.c_str()), 0);
    EXPECT_EQ(matches(named({stars}), std::string(64, 'a').c_str()), 1);
}

TEST(TlsHostName, NothingMatchesWithoutHostOrCertificate)
{
    X509Ptr cert = TestPki::get().make(named({"zone.lan"}));
    EXPECT_EQ(soap_ssl_cert_matches_host(cert.get(), nullptr), 0);
    EXPECT_EQ(soap_ssl_cert_matches_host(nullptr, "zone.lan"), 0);
}

TEST(TlsIsIPAddr, TestsForLettersOnly)
{
    EXPECT_EQ(IsIPAddr("192.0.2.7"), 1);
    EXPECT_EQ(IsIPAddr(""), 1);
    EXPECT_EQ(IsIPAddr(nullptr), 0);
    EXPECT_EQ(IsIPAddr("fe80::1"), 0);
    EXPECT_EQ(IsIPAddr("::1"), 1);
    EXPECT_EQ(IsIPAddr("1.2.3.x"), 0);
    EXPECT_EQ(IsIPAddr("-_:/ 99"), 1);
    EXPECT_EQ(IsIPAddr("\xc3\xa9"), 1);  /* not ASCII letters */
}

/* ------------------------------------------------------------------------ */

using TlsContext = TlsTest;

TEST_F(TlsContext, ClientContextTakesTheFilesAndAddsTheClientSide)
{
    const char *ca = TestPki::get().ca_file().c_str();
    ASSERT_EQ(soap_ssl_client_context(soap, SOAP_TLS_VERIFY_SERVER, nullptr, nullptr, ca, nullptr, nullptr), 0);
    EXPECT_EQ(soap->ssl_flags, SOAP_TLS_VERIFY_SERVER | SOAP_TLS_CLIENT_SIDE);
    EXPECT_EQ(soap->cafile, ca);
    EXPECT_EQ(soap->dhfile, nullptr);
    EXPECT_EQ(soap->fsslverify, ssl_verify_callback);
    ASSERT_NE(soap->ctx, nullptr);
    EXPECT_EQ(SSL_CTX_get_verify_callback(soap->ctx), ssl_verify_callback);
}

TEST_F(TlsContext, AllowExpiredFlagSelectsTheForgivingCallback)
{
    ASSERT_EQ(client_context(kVerify | SOAP_TLS_ALLOW_EXPIRED), 0);
    EXPECT_EQ(soap->fsslverify, ssl_verify_callback_allow_expired);
    EXPECT_EQ(SSL_CTX_get_verify_callback(soap->ctx), ssl_verify_callback_allow_expired);
}

TEST_F(TlsContext, VerifyModeFollowsTheFlags)
{
    ASSERT_EQ(client_context(SOAP_TLS_NO_DEFAULT_CA_PATHS), 0);
    EXPECT_EQ(SSL_CTX_get_verify_mode(soap->ctx), SSL_VERIFY_NONE);
    ASSERT_EQ(client_context(kVerify), 0);
    EXPECT_EQ(SSL_CTX_get_verify_mode(soap->ctx), SSL_VERIFY_PEER);
    ASSERT_EQ(client_context(SOAP_TLS_VERIFY_CLIENT | SOAP_TLS_NO_DEFAULT_CA_PATHS), 0);
    EXPECT_EQ(SSL_CTX_get_verify_mode(soap->ctx), SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT);
    EXPECT_EQ(SSL_CTX_get_verify_depth(soap->ctx), 9);
}

TEST_F(TlsContext, OptionsRefuseTicketsAndTheProtocolsAskedFor)
{
    ASSERT_EQ(client_context(kVerify), 0);
    uint64_t o = SSL_CTX_get_options(soap->ctx);
    EXPECT_TRUE(o & SSL_OP_NO_TICKET);
    EXPECT_FALSE(o & SSL_OP_NO_TLSv1);
    ASSERT_EQ(client_context(kVerify | SOAP_TLS_NO_TLSV1 | SOAP_TLS_NO_SSLV3), 0);
    o = SSL_CTX_get_options(soap->ctx);
    EXPECT_TRUE(o & SSL_OP_NO_TLSv1);
    EXPECT_TRUE(o & SSL_OP_NO_SSLv3);
}

TEST_F(TlsContext, ContextIsBuiltOnceAndReused)
{
    ASSERT_EQ(client_context(), 0);
    SSL_CTX *first = soap->ctx;
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(soap->ctx, first);
}

struct AuthFailure {
    const char *what;
    int code;
    std::string string, detail;
};

AuthFailure fail_of(struct soap *soap, int r)
{
    return AuthFailure{"", r, string_of(soap), detail_of(soap)};
}

TEST_F(TlsContext, MissingCaFileIsASenderFault)
{
    std::string missing = TestPki::get().dir() + "/no-such-ca.pem";
    AuthFailure f = fail_of(soap, client_context(kVerify, missing.c_str()));
    EXPECT_EQ(f.code, SOAP_SSL_ERROR);
    EXPECT_EQ(f.string, "SSL/TLS error");
    EXPECT_EQ(f.detail, "Can't read CA file");
    const char **code = soap_faultcode(soap);
    ASSERT_TRUE(code && *code);
    EXPECT_NE(std::string(*code).find("Client"), std::string::npos) << *code;
}

TEST_F(TlsContext, KeyFileFailuresNameTheirStep)
{
    std::string missing = TestPki::get().dir() + "/no-such-key.pem";
    EXPECT_EQ(client_context(kVerify, nullptr, missing.c_str()), SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "Can't read certificate key file");

    /* a chain without its key */
    X509Ptr cert = TestPki::get().make(named({"c.lan"}));
    BIO *b = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(b, cert.get());
    char *pem = nullptr;
    long n = BIO_get_mem_data(b, &pem);
    std::string only_cert = TestPki::get().file("cert-only.pem", std::string(pem, (size_t)n));
    BIO_free(b);
    EXPECT_EQ(client_context(kVerify, nullptr, only_cert.c_str()), SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "Can't read key file");
}

TEST_F(TlsContext, EncryptedKeyOpensWithItsPassPhraseOnly)
{
    CertTemplate tpl = named({"c.lan"});
    tpl.password = "s3cret";
    std::string key = TestPki::get().keyfile(tpl);
    const char *ca = TestPki::get().ca_file().c_str();
    EXPECT_EQ(soap_ssl_client_context(soap, kVerify, key.c_str(), "s3cret", ca, nullptr, nullptr), 0);
    finish();
    soap = soap_new();
    EXPECT_EQ(soap_ssl_client_context(soap, kVerify, key.c_str(), "wrong", ca, nullptr, nullptr), SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "Can't read key file");
    finish();
    soap = soap_new();
    /* a pass phrase that doesn't fit the library's buffer is refused, not cut */
    std::string huge(5000, 'p');
    EXPECT_EQ(soap_ssl_client_context(soap, kVerify, key.c_str(), huge.c_str(), ca, nullptr, nullptr),
              SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "Can't read key file");
}

TEST_F(TlsContext, MissingRandomnessFileIsReported)
{
    std::string missing = TestPki::get().dir() + "/no-such-rand";
    EXPECT_EQ(soap_ssl_client_context(soap, kVerify, nullptr, nullptr, nullptr, nullptr, missing.c_str()),
              SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "Can't load randomness");
    std::string seed = TestPki::get().file("seed.bin", std::string(256, 'r'));
    EXPECT_EQ(soap_ssl_client_context(soap, kVerify, nullptr, nullptr, nullptr, nullptr, seed.c_str()), 0);
}

TEST_F(TlsContext, ServerContextWithoutDhFileMarksTheEphemeralKey)
{
    std::string key = TestPki::get().keyfile(named({"s.lan"}));
    soap->crlfile = "x";
    ASSERT_EQ(soap_ssl_server_context(soap, 0, key.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(soap->ssl_flags, SOAP_TLS_EPHEMERAL_RSA);
    EXPECT_EQ(soap->crlfile, nullptr);
    EXPECT_EQ(SSL_CTX_get_session_cache_mode(soap->ctx), SSL_SESS_CACHE_OFF);
}

TEST_F(TlsContext, ServerContextWithSessionIdKeepsTheCache)
{
    std::string key = TestPki::get().keyfile(named({"s.lan"}));
    ASSERT_EQ(soap_ssl_server_context(soap, 0, key.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, "sid"), 0);
    EXPECT_NE(SSL_CTX_get_session_cache_mode(soap->ctx), SSL_SESS_CACHE_OFF);
}

TEST_F(TlsContext, DhFileTextIsAKeyLengthOnlyWhenAllDigitsFrom512)
{
    for (const char *name : {"511", "512x", "no-such-dh.pem"}) {
        struct soap *s = soap_new();
        EXPECT_EQ(soap_ssl_server_context(s, SOAP_TLS_NO_DEFAULT_CA_PATHS, nullptr, nullptr, nullptr, nullptr, name,
                                          nullptr, nullptr),
                  SOAP_SSL_ERROR)
            << name;
        EXPECT_EQ(detail_of(s), "Can't read DH file") << name;
        soap_end(s);
        soap_free(s);
    }
    /* "512" is generated; the library may still refuse so short a key */
    int r = soap_ssl_server_context(soap, SOAP_TLS_NO_DEFAULT_CA_PATHS, nullptr, nullptr, nullptr, nullptr, "512",
                                    nullptr, nullptr);
    if (r) {
        EXPECT_EQ(detail_of(soap), "Can't set DH parameters");
    }
}

TEST_F(TlsContext, DhParametersFromAFile)
{
    std::string dh = TestPki::get().dh_file();
    EXPECT_EQ(soap_ssl_server_context(soap, SOAP_TLS_NO_DEFAULT_CA_PATHS, nullptr, nullptr, nullptr, nullptr,
                                      dh.c_str(), nullptr, nullptr),
              0);
    EXPECT_FALSE(soap->ssl_flags & SOAP_TLS_EPHEMERAL_RSA);
    finish();
    soap = soap_new();
    /* a file that holds no DH parameters */
    EXPECT_EQ(soap_ssl_server_context(soap, SOAP_TLS_NO_DEFAULT_CA_PATHS, nullptr, nullptr, nullptr, nullptr,
                                      TestPki::get().ca_file().c_str(), nullptr, nullptr),
              SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "Can't set DH parameters");
}

/* ------------------------------------------------------------------------ */

using TlsErrorText = TlsTest;

TEST_F(TlsErrorText, EndOfInputWithoutAQueuedErrorBlamesThePeer)
{
    ASSERT_EQ(client_context(), 0);
    soap->ssl = SSL_new(soap->ctx);
    ERR_clear_error();
    EXPECT_STREQ(soap_ssl_error(soap, 0),
                 "EOF was observed that violates the protocol. The client probably provided invalid authentication "
                 "information.");
    errno = ECONNRESET;
    EXPECT_EQ(std::string(soap_ssl_error(soap, -1)),
              std::string("Error observed by underlying BIO: ") + strerror(ECONNRESET));
}

TEST_F(TlsErrorText, QueuedErrorsFollowTheNameAndAreTaken)
{
    ASSERT_EQ(client_context(), 0);
    soap->ssl = SSL_new(soap->ctx);
    ERR_clear_error();
    ERR_raise(ERR_LIB_SSL, SSL_R_WRONG_VERSION_NUMBER);
    unsigned long code = ERR_peek_error();
    char text[256];
    ERR_error_string_n(code, text, sizeof(text));
    EXPECT_EQ(std::string(soap_ssl_error(soap, -1)), std::string("SSL_ERROR_SSL\n") + text);
    EXPECT_EQ(ERR_peek_error(), 0u);
}

TEST_F(TlsErrorText, ManyQueuedErrorsStayInsideTheMessageBuffer)
{
    ASSERT_EQ(client_context(), 0);
    soap->ssl = SSL_new(soap->ctx);
    ERR_clear_error();
    for (int i = 0; i < 14; i++)
        ERR_raise(ERR_LIB_SSL, SSL_R_WRONG_VERSION_NUMBER);
    const char *t = soap_ssl_error(soap, -1);
    EXPECT_EQ(t, soap->msgbuf);
    EXPECT_LT(strlen(t), sizeof(soap->msgbuf));
    EXPECT_EQ(strncmp(t, "SSL_ERROR_SSL\n", 14), 0);
}

TEST_F(TlsErrorText, ResultWithoutANameIsTheLibraryText)
{
    ASSERT_EQ(client_context(), 0);
    soap->ssl = SSL_new(soap->ctx);
    ERR_clear_error();
    char text[256];
    ERR_error_string_n(SSL_ERROR_NONE, text, sizeof(text));
    EXPECT_STREQ(soap_ssl_error(soap, 1), text);
}

TEST(TlsRandom, GivesDifferentWords)
{
    int a = soap_random(), b = soap_random(), c = soap_random();
    EXPECT_FALSE(a == b && b == c);
}

/* ------------------------------------------------------------------------ */

using TlsHandshake = TlsTest;

TEST_F(TlsHandshake, ExchangeRunsOverTls)
{
    serve(named({"127.0.0.1"}));
    ASSERT_EQ(client_context(), 0);
    std::string answer;
    ASSERT_EQ(exchange("<q/>", &answer), 0) << string_of(soap) << " / " << detail_of(soap);
    EXPECT_EQ(answer, "<ok/>");
    EXPECT_TRUE(soap->imode & SOAP_ENC_SSL);
    EXPECT_TRUE(soap->omode & SOAP_ENC_SSL);
    EXPECT_TRUE(soap->ssl_flags & SOAP_TLS_CLIENT_SIDE);
    EXPECT_EQ(SSL_get_verify_result(soap->ssl), X509_V_OK);
    finish();
    server->wait_handled(1);
    std::string req = peer->request(0);
    EXPECT_EQ(req.substr(0, 19), "POST /svc HTTP/1.1\r");
    EXPECT_EQ(req.substr(req.size() - 4), "<q/>");
}

TEST_F(TlsHandshake, TraceHoldsThePlainTextOfBothDirections)
{
    char tmpl[] = "/tmp/orvsoap-tlstrace-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    std::string log = std::string(tmpl) + "/trace.log";
    soap_set_sent_logfile(soap, log.c_str());
    soap_set_recv_logfile(soap, log.c_str());
    serve(named({"127.0.0.1"}));
    ASSERT_EQ(client_context(), 0);
    ASSERT_EQ(exchange("<q>plain</q>"), 0);
    finish();
    server->wait_handled(1);
    std::ifstream in(log, std::ios::binary);
    std::ostringstream got;
    got << in.rdbuf();
    EXPECT_EQ(got.str(), peer->request(0) + kResponse);
    std::string cmd = std::string("rm -rf '") + tmpl + "'";
    (void)system(cmd.c_str());
}

TEST_F(TlsHandshake, WrongHostIsAMismatchAndClosesTheSocket)
{
    serve(named({"zone.lan"}, {"zone.lan"}));
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(handshake_as("other.lan"), -1);
    EXPECT_EQ(soap->error, SOAP_SSL_ERROR);
    EXPECT_EQ(string_of(soap), "SSL/TLS error");
    EXPECT_EQ(detail_of(soap), "SSL/TLS certificate host name mismatch in tcp_connect()");
    EXPECT_EQ(soap->socket, -1);
    EXPECT_EQ(soap->ssl, nullptr);
}

TEST_F(TlsHandshake, NamedHostsMatchThroughTheHandshake)
{
    serve(named({"*.zone.lan"}, {"exact.lan"}), 3);
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(handshake_as("exact.lan"), 0) << detail_of(soap);
    soap_closesock(soap);
    EXPECT_EQ(handshake_as("a.zone.lan"), 0) << detail_of(soap);
    soap_closesock(soap);
    EXPECT_EQ(handshake_as("b.a.zone.lan"), -1);
    EXPECT_EQ(detail_of(soap), "SSL/TLS certificate host name mismatch in tcp_connect()");
}

TEST_F(TlsHandshake, SkipHostCheckTakesAnyNameOfAVerifiedPeer)
{
    serve(named({"zone.lan"}));
    ASSERT_EQ(client_context(kVerify | SOAP_TLS_SKIP_HOST_CHECK), 0);
    EXPECT_EQ(handshake_as("other.lan"), 0) << detail_of(soap);
}

TEST_F(TlsHandshake, FailedAttemptLeavesNothingThatSpoilsTheNextConnect)
{
    CertTemplate tpl = named({"127.0.0.1"});
    tpl.issuer = Issuer::OtherCa;
    serve(tpl);
    ASSERT_EQ(client_context(), 0);
    ASSERT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    EXPECT_EQ(soap->ssl, nullptr);
    /* the next connect on the same context succeeds and says so */
    serve(named({"127.0.0.1"}));
    std::string answer;
    EXPECT_EQ(exchange("<q/>", &answer), 0) << string_of(soap) << " / " << detail_of(soap);
    EXPECT_EQ(answer, "<ok/>");
}

TEST_F(TlsHandshake, WithoutVerificationNothingIsChecked)
{
    CertTemplate tpl = named({"zone.lan"});
    tpl.issuer = Issuer::Self;
    serve(tpl);
    ASSERT_EQ(client_context(SOAP_TLS_NO_DEFAULT_CA_PATHS), 0);
    EXPECT_EQ(handshake_as("other.lan"), 0) << detail_of(soap);
}

/* The fault of a handshake whose certificate failed verification with `want`. */
void expect_unverified(struct soap *soap, int want)
{
    EXPECT_EQ(soap->error, SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "SSL/TLS certificate presented by peer cannot be verified in tcp_connect()");
    EXPECT_EQ(string_of(soap), X509_verify_cert_error_string(want));
    EXPECT_EQ(soap->socket, -1);
}

TEST_F(TlsHandshake, SelfSignedCertificateIsRejected)
{
    CertTemplate tpl = named({"127.0.0.1"});
    tpl.issuer = Issuer::Self;
    serve(tpl);
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    expect_unverified(soap, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT);
}

TEST_F(TlsHandshake, CertificateOfAnotherCaIsRejected)
{
    CertTemplate tpl = named({"127.0.0.1"});
    tpl.issuer = Issuer::OtherCa;
    serve(tpl);
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    expect_unverified(soap, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
}

TEST_F(TlsHandshake, TruncatedChainIsRejectedAndTheFullChainAccepted)
{
    CertTemplate tpl = named({"127.0.0.1"});
    tpl.issuer = Issuer::Intermediate;
    tpl.send_intermediate = false;
    serve(tpl);
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    expect_unverified(soap, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    tpl.send_intermediate = true;
    serve(tpl);
    EXPECT_EQ(exchange("<q/>"), 0) << string_of(soap) << " / " << detail_of(soap);
}

/* ------------------------------------------------------------------------ */

using TlsClock = TlsTest;

CertTemplate dated(time_t from, time_t to)
{
    CertTemplate tpl = named({"127.0.0.1"});
    tpl.not_before = from;
    tpl.not_after = to;
    return tpl;
}

TEST_F(TlsClock, ExpiredBySystemClockPassesWhenTheRealTimeClockIsInside)
{
    serve(dated(utc_time(2001, 3, 10, 12), utc_time(2002, 3, 10, 12)));
    ASSERT_EQ(client_context(), 0);
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    ASSERT_EQ(exchange("<q/>"), 0) << string_of(soap) << " / " << detail_of(soap);
    EXPECT_EQ(SSL_get_verify_result(soap->ssl), X509_V_OK);
    EXPECT_GE(wclk_test_reads(), 1);
}

TEST_F(TlsClock, NotYetValidBySystemClockPassesWhenTheRealTimeClockIsInside)
{
    serve(dated(utc_time(2090, 3, 10, 12), utc_time(2091, 3, 10, 12)));
    ASSERT_EQ(client_context(), 0);
    wclk_test_set_time(2090, 6, 15, 8, 30, 0);
    ASSERT_EQ(exchange("<q/>"), 0) << string_of(soap) << " / " << detail_of(soap);
    EXPECT_EQ(SSL_get_verify_result(soap->ssl), X509_V_OK);
}

TEST_F(TlsClock, RealTimeClockOnTheBoundKeepsTheRejection)
{
    serve(dated(utc_time(2001, 3, 10, 12), utc_time(2002, 3, 10, 12)));
    ASSERT_EQ(client_context(), 0);
    wclk_test_set_time(2002, 3, 10, 12, 0, 0);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    expect_unverified(soap, X509_V_ERR_CERT_HAS_EXPIRED);
}

TEST_F(TlsClock, FailingClockRejectsAndLogsOneRecord)
{
    serve(dated(utc_time(2001, 3, 10, 12), utc_time(2002, 3, 10, 12)));
    ASSERT_EQ(client_context(), 0);
    wclk_test_set_failure(WCLK_STATUS_READ_FAILED);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    expect_unverified(soap, X509_V_ERR_CERT_HAS_EXPIRED);
    auto records = faultlog_test_records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].component, 0xE000);
    EXPECT_EQ(records[0].reason, 0x2000);
    EXPECT_EQ(faultlog_test_live_entries(), 0);
}

TEST_F(TlsClock, AllowExpiredAcceptsAServerExpiredByBothClocks)
{
    serve(dated(utc_time(2001, 3, 10, 12), utc_time(2002, 3, 10, 12)));
    ASSERT_EQ(client_context(kVerify | SOAP_TLS_ALLOW_EXPIRED), 0);
    wclk_test_set_time(2005, 1, 1, 0, 0, 0);
    testing::internal::CaptureStderr();
    int r = exchange("<q/>");
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(r, 0) << string_of(soap) << " / " << detail_of(soap);
    EXPECT_EQ(err, "ignoring certificate expiration\n");
}

TEST_F(TlsClock, AllowExpiredKeepsANotYetValidServerOut)
{
    serve(dated(utc_time(2090, 3, 10, 12), utc_time(2091, 3, 10, 12)));
    ASSERT_EQ(client_context(kVerify | SOAP_TLS_ALLOW_EXPIRED), 0);
    wclk_test_set_time(2005, 1, 1, 0, 0, 0);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    expect_unverified(soap, X509_V_ERR_CERT_NOT_YET_VALID);
}

/* ------------------------------------------------------------------------ */

using TlsPeerFaults = TlsTest;

TEST_F(TlsPeerFaults, PeerThatIsNotTlsFailsTheHandshake)
{
    server.reset(new ScriptedServer());
    server->add([](ScriptedConn &c) {
        c.send("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
        c.wait_peer_close();
    });
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "SSL_connect error in tcp_connect()");
    EXPECT_EQ(string_of(soap).substr(0, 14), "SSL_ERROR_SSL\n");
    EXPECT_EQ(soap->socket, -1);
}

TEST_F(TlsPeerFaults, PeerThatClosesAtOnceFailsTheHandshake)
{
    server.reset(new ScriptedServer());
    server->add(ScriptedServer::close_at_once());
    ASSERT_EQ(client_context(), 0);
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_SSL_ERROR);
    EXPECT_EQ(detail_of(soap), "SSL_connect error in tcp_connect()");
    EXPECT_EQ(soap->socket, -1);
}

TEST_F(TlsPeerFaults, SilentPeerTimesTheHandshakeOut)
{
    server.reset(new ScriptedServer());
    server->add([](ScriptedConn &c) { c.wait_peer_close(10000); });
    ASSERT_EQ(client_context(), 0);
    soap->connect_timeout = 1;
    EXPECT_EQ(soap_connect(soap, url().c_str(), ""), SOAP_TCP_ERROR);
    EXPECT_EQ(string_of(soap), "Timeout");
    EXPECT_EQ(detail_of(soap), "SSL_connect failed in tcp_connect()");
    EXPECT_EQ(soap->socket, -1);
}

/* ------------------------------------------------------------------------ */

using TlsSession = TlsTest;

TEST_F(TlsSession, SessionIsSavedAtDisconnectAndResumedOnTheSamePeer)
{
    serve(named({"127.0.0.1"}), 2);
    ASSERT_EQ(client_context(), 0);
    ASSERT_EQ(exchange("<one/>"), 0);
    EXPECT_FALSE(SSL_session_reused(soap->ssl));
    soap_closesock(soap);
    ASSERT_NE(soap->session, nullptr);
    EXPECT_STREQ(soap->session_host, "127.0.0.1");
    EXPECT_EQ(soap->session_port, server->port());
    ASSERT_EQ(exchange("<two/>"), 0) << string_of(soap) << " / " << detail_of(soap);
    EXPECT_TRUE(SSL_session_reused(soap->ssl));
    soap_closesock(soap);
    server->wait_handled(2);
    EXPECT_EQ(peer->reused(), 1);
}

TEST_F(TlsSession, SessionSavedForAnotherPortIsFreedUnused)
{
    serve(named({"127.0.0.1"}), 2);
    ASSERT_EQ(client_context(), 0);
    ASSERT_EQ(exchange("<one/>"), 0);
    soap_closesock(soap);
    ASSERT_NE(soap->session, nullptr);
    soap->session_port = server->port() + 1;
    ASSERT_EQ(soap_connect(soap, url().c_str(), ""), 0);
    EXPECT_EQ(soap->session, nullptr);
    EXPECT_FALSE(SSL_session_reused(soap->ssl));
}

TEST_F(TlsSession, SessionSavedForAnotherHostIsFreedUnused)
{
    serve(named({"127.0.0.1"}), 2);
    ASSERT_EQ(client_context(), 0);
    ASSERT_EQ(exchange("<one/>"), 0);
    soap_closesock(soap);
    ASSERT_NE(soap->session, nullptr);
    strcpy(soap->session_host, "127.0.0.2");
    ASSERT_EQ(soap_connect(soap, url().c_str(), ""), 0);
    EXPECT_EQ(soap->session, nullptr);
    EXPECT_FALSE(SSL_session_reused(soap->ssl));
}

TEST_F(TlsSession, ShutdownTellsThePeerAndFreesTheConnection)
{
    serve(named({"127.0.0.1"}));
    ASSERT_EQ(client_context(), 0);
    ASSERT_EQ(exchange("<q/>"), 0);
    EXPECT_EQ(soap_closesock(soap), 0);
    EXPECT_EQ(soap->ssl, nullptr);
    EXPECT_EQ(soap->socket, -1);
    server->wait_handled(1);
    EXPECT_EQ(peer->close_notifies(), 1);
}

/* ------------------------------------------------------------------------ */

using TlsAccept = TlsTest;

TEST_F(TlsAccept, WithoutASocketNothingIsAccepted)
{
    std::string key = TestPki::get().keyfile(named({"s.lan"}));
    ASSERT_EQ(soap_ssl_server_context(soap, 0, key.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    soap->socket = -1;
    EXPECT_EQ(soap_ssl_accept(soap), SOAP_SSL_ERROR);
    EXPECT_EQ(string_of(soap), "SSL/TLS error");
    EXPECT_EQ(detail_of(soap), "No socket in soap_ssl_accept()");
}

TEST_F(TlsAccept, AcceptedConnectionIsMarkedEncrypted)
{
    serve(named({"127.0.0.1"}));
    ASSERT_EQ(client_context(), 0);
    ASSERT_EQ(exchange("<q/>"), 0);
    finish();
    server->wait_handled(1);
    EXPECT_EQ(peer->accepts(), 1);
    EXPECT_EQ(peer->last_error(), 0);
    EXPECT_EQ(peer->encrypted(), 1);
    EXPECT_EQ(peer->context()->ssl_flags & SOAP_TLS_CLIENT_SIDE, 0);
}

TEST_F(TlsAccept, SilentClientIsGivenUpAndClosed)
{
    peer.reset(new TlsPeer(TestPki::get().keyfile(named({"127.0.0.1"}))));
    server.reset(new ScriptedServer());
    TlsPeer *p = peer.get();
    server->add([p](ScriptedConn &c) { p->accept(c, 1); });
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in a;
    memset(&a, 0, sizeof(a));
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons((uint16_t)server->port());
    ASSERT_EQ(connect(fd, (struct sockaddr *)&a, sizeof(a)), 0);
    ASSERT_TRUE(server->wait_handled(1, 10000));
    close(fd);
    EXPECT_EQ(peer->last_error(), SOAP_SSL_ERROR);
    EXPECT_EQ(peer->detail(), "SSL_accept() failed in soap_ssl_accept()");
    EXPECT_GE(peer->closes(), 1);
}

TEST_F(TlsAccept, ClientCertificateIsDemandedWhenTheServerVerifiesClients)
{
    serve(named({"127.0.0.1"}), 2, SOAP_TLS_VERIFY_CLIENT | SOAP_TLS_NO_DEFAULT_CA_PATHS,
          TestPki::get().ca_file().c_str());
    ASSERT_EQ(client_context(), 0);
    (void)exchange("<q/>");  /* refused by the peer, at or after the handshake */
    soap_closesock(soap);
    ASSERT_TRUE(server->wait_handled(1));
    EXPECT_EQ(peer->last_error(), SOAP_SSL_ERROR);
    EXPECT_EQ(peer->detail(), "SSL_accept() failed in soap_ssl_accept()");
    finish();

    soap = soap_new();
    soap->connect_timeout = soap->recv_timeout = soap->send_timeout = 5;
    std::string mine = TestPki::get().keyfile(named({"client.lan"}));
    ASSERT_EQ(client_context(kVerify, nullptr, mine.c_str()), 0);
    ASSERT_EQ(exchange("<q/>"), 0) << string_of(soap) << " / " << detail_of(soap);
    finish();
    ASSERT_TRUE(server->wait_handled(2));
    EXPECT_EQ(peer->peer_certs(), 1);
}

}  // namespace
