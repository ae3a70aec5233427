/* http_test.cpp -- the HTTP head: endpoint splitting, the request head's
 * exact bytes, status line and header parsing, header value tokens, the
 * response head.  The transport is the in-memory MemIO; socket behaviour is
 * in socket_test.cpp.
 */
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "memio.h"
#include "soapengine.h"
#include "soapinternal.h"

namespace {

class HttpTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        soap = soap_new();
        ASSERT_NE(soap, nullptr);
        io.attach(soap);
    }
    void TearDown() override
    {
        soap_destroy_all();
    }
    void soap_destroy_all()
    {
        if (soap) {
            soap_end(soap);
            soap_free(soap);
            soap = nullptr;
        }
    }
    /* Runs the head parser on `text` as the framing would: I/O field cleared. */
    int parse(const std::string &text)
    {
        io.attach(soap, text);
        soap->imode &= ~(uint32_t)SOAP_IO;
        soap->mode = soap->imode;
        return soap->fparse(soap);
    }
    /* Writes a request head into io.out through the default slots. */
    int post(const char *endpoint, const char *action, size_t count)
    {
        io.out.clear();
        soap->mode = SOAP_IO_FLUSH;
        soap_set_endpoint(soap, endpoint);
        return soap->fpost(soap, endpoint, soap->host, soap->port, soap->path, action, count);
    }
    /* The rest of the input, as the reader would see it. */
    std::string rest()
    {
        std::string r;
        for (;;) {
            soap_wchar c = soap_getchar(soap);
            if ((int)c == EOF)
                return r;
            r += (char)c;
        }
    }

    struct soap *soap = nullptr;
    MemIO io;
};

/* ------------------------------------------------------------------------ */

using HttpEndpoint = HttpTest;

TEST_F(HttpEndpoint, HttpsAddressTakesPort443AndSplitsHostAndPath)
{
    soap_set_endpoint(soap, "https://h/x");
    EXPECT_STREQ(soap->endpoint, "https://h/x");
    EXPECT_STREQ(soap->host, "h");
    EXPECT_EQ(soap->port, 443);
    EXPECT_STREQ(soap->path, "/x");
}

TEST_F(HttpEndpoint, BracketedIpv6HostLosesBracketsAndKeepsPort)
{
    soap_set_endpoint(soap, "http://[::1]:8080/a");
    EXPECT_STREQ(soap->host, "::1");
    EXPECT_EQ(soap->port, 8080);
    EXPECT_STREQ(soap->path, "/a");
}

TEST_F(HttpEndpoint, AddressWithoutPathGetsSlashAndPort80)
{
    soap_set_endpoint(soap, "http://h");
    EXPECT_STREQ(soap->host, "h");
    EXPECT_EQ(soap->port, 80);
    EXPECT_STREQ(soap->path, "/");
}

TEST_F(HttpEndpoint, PortWithoutPathKeepsSlash)
{
    soap_set_endpoint(soap, "http://h:81");
    EXPECT_EQ(soap->port, 81);
    EXPECT_STREQ(soap->path, "/");
}

TEST_F(HttpEndpoint, AddressWithoutSchemeReadsHostAndPort)
{
    soap_set_endpoint(soap, "host:1234/x");
    EXPECT_STREQ(soap->host, "host");
    EXPECT_EQ(soap->port, 1234);
    EXPECT_STREQ(soap->path, "/x");
}

TEST_F(HttpEndpoint, SchemeLettersInAnyCaseSelectTls)
{
    soap_set_endpoint(soap, "HTTPS://h:9/");
    EXPECT_EQ(soap->port, 9);
    soap_set_endpoint(soap, "HTTPS://h/");
    EXPECT_EQ(soap->port, 443);
}

TEST_F(HttpEndpoint, NullOrEmptyAddressClearsThePreviousOne)
{
    soap_set_endpoint(soap, "https://h:5/p");
    soap_set_endpoint(soap, nullptr);
    EXPECT_STREQ(soap->endpoint, "");
    EXPECT_STREQ(soap->host, "");
    EXPECT_EQ(soap->port, 80);
    EXPECT_STREQ(soap->path, "/");
    soap_set_endpoint(soap, "https://h:5/p");
    soap_set_endpoint(soap, "");
    EXPECT_STREQ(soap->host, "");
    EXPECT_STREQ(soap->path, "/");
}

TEST_F(HttpEndpoint, UnclosedBracketTakesTheRestAsHost)
{
    soap_set_endpoint(soap, "http://[::1");
    EXPECT_STREQ(soap->host, "::1");
    EXPECT_STREQ(soap->path, "/");
}

TEST_F(HttpEndpoint, OverlongPartsAreCutAtTheirBuffers)
{
    std::string host(3000, 'h');
    soap_set_endpoint(soap, ("http://" + host).c_str());
    EXPECT_EQ(strlen(soap->endpoint), 1023u);
    EXPECT_EQ(strlen(soap->host), 1023u);
    std::string path = "http://h/" + std::string(3000, 'p');
    soap_set_endpoint(soap, path.c_str());
    EXPECT_EQ(strlen(soap->path), 1023u);
    EXPECT_EQ(soap->path[0], '/');
    std::string v6 = "http://[" + std::string(3000, 'a');
    soap_set_endpoint(soap, v6.c_str());
    EXPECT_EQ(strlen(soap->host), 1023u);
}

/* ------------------------------------------------------------------------ */

using HttpRequestHead = HttpTest;

TEST_F(HttpRequestHead, PostHeadHasEveryHeaderInOrder)
{
    soap->userid = "user";
    soap->passwd = "pass";
    soap->proxy_userid = "pu";
    soap->proxy_passwd = "pp";
    ASSERT_EQ(post("http://h/svc/p", "urn:act", 123), 0);
    EXPECT_EQ(io.out,
              "POST /svc/p HTTP/1.1\r\n"
              "Host: h\r\n"
              "User-Agent: orvsoap/1.0\r\n"
              "Content-Type: text/xml; charset=utf-8\r\n"
              "Content-Length: 123\r\n"
              "Connection: close\r\n"
              "Authorization: Basic dXNlcjpwYXNz\r\n"
              "Proxy-Authorization: Basic cHU6cHA=\r\n"
              "SOAPAction: \"urn:act\"\r\n"
              "\r\n");
}

TEST_F(HttpRequestHead, ChunkedOutputAnnouncesTransferEncodingAndKeepAlive)
{
    soap->omode = SOAP_IO_CHUNK;
    soap->keep_alive = 1;
    ASSERT_EQ(post("http://h/", "", 0), 0);
    EXPECT_EQ(io.out,
              "POST / HTTP/1.1\r\n"
              "Host: h\r\n"
              "User-Agent: orvsoap/1.0\r\n"
              "Content-Type: text/xml; charset=utf-8\r\n"
              "Transfer-Encoding: chunked\r\n"
              "Connection: keep-alive\r\n"
              "SOAPAction: \"\"\r\n"
              "\r\n");
}

TEST_F(HttpRequestHead, Soap12TypeCarriesTheActionParameter)
{
    soap->version = 2;
    soap->action = "urn:a";
    ASSERT_EQ(post("http://h/", nullptr, 10), 0);
    EXPECT_NE(io.out.find("\r\nContent-Type: application/soap+xml; charset=utf-8; action=\"urn:a\"\r\n"),
              std::string::npos)
        << io.out;
    EXPECT_EQ(io.out.find("SOAPAction"), std::string::npos);
}

TEST_F(HttpRequestHead, EmptyUnchunkedMessageIsTextXmlEvenUnderSoap12)
{
    soap->version = 2;
    ASSERT_EQ(post("http://h/", nullptr, 0), 0);
    EXPECT_NE(io.out.find("\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: 0\r\n"), std::string::npos)
        << io.out;
}

TEST_F(HttpRequestHead, HostNamesThePortUnlessItIsTheSchemeDefault)
{
    ASSERT_EQ(post("http://h:443/", nullptr, 0), 0);
    EXPECT_NE(io.out.find("\r\nHost: h:443\r\n"), std::string::npos) << io.out;
    ASSERT_EQ(post("https://h/", nullptr, 0), 0);
    EXPECT_NE(io.out.find("\r\nHost: h:443\r\n"), std::string::npos) << "no TLS session: port is named";
    ASSERT_EQ(post("http://h:80/", nullptr, 0), 0);
    EXPECT_NE(io.out.find("\r\nHost: h\r\n"), std::string::npos) << io.out;
}

TEST_F(HttpRequestHead, NumericIpv6HostIsBracketedWithItsPort)
{
    ASSERT_EQ(post("http://[::1]:9080/x", nullptr, 0), 0);
    EXPECT_EQ(io.out.substr(0, 36), "POST /x HTTP/1.1\r\nHost: [::1]:9080\r\n");
}

TEST_F(HttpRequestHead, ProxyGetsTheAbsoluteAddress)
{
    soap->proxy_host = "proxy";
    ASSERT_EQ(post("http://h:81/svc", nullptr, 0), 0);
    EXPECT_EQ(io.out.substr(0, io.out.find("\r\n")), "POST http://h:81/svc HTTP/1.1");
}

TEST_F(HttpRequestHead, GetWritesNoTypeLengthNorAction)
{
    soap_set_endpoint(soap, "http://h/doc");
    soap->status = SOAP_GET;
    io.out.clear();
    ASSERT_EQ(soap->fpost(soap, "http://h/doc", "h", 80, "/doc", "urn:x", 0), 0);
    EXPECT_EQ(io.out, "GET /doc HTTP/1.1\r\nHost: h\r\nUser-Agent: orvsoap/1.0\r\nConnection: close\r\n\r\n");
}

TEST_F(HttpRequestHead, ConnectNamesTheContextsHostAndPort)
{
    soap_set_endpoint(soap, "https://target:8443/x");
    soap->status = SOAP_CONNECT;
    soap->keep_alive = 1;
    io.out.clear();
    ASSERT_EQ(soap->fpost(soap, "https://target:8443/x", soap->host, soap->port, nullptr, nullptr, 0), 0);
    EXPECT_EQ(io.out,
              "CONNECT target:8443 HTTP/1.1\r\nHost: target:8443\r\nUser-Agent: orvsoap/1.0\r\n"
              "Connection: keep-alive\r\n\r\n");
}

TEST_F(HttpRequestHead, CredentialsAt761CharactersAreLeftOut)
{
    std::string u(400, 'u'), p(361, 'p');
    soap->userid = u.c_str();
    soap->passwd = p.c_str();
    ASSERT_EQ(post("http://h/", nullptr, 0), 0);
    EXPECT_EQ(io.out.find("Authorization"), std::string::npos);
    p.pop_back();
    soap->passwd = p.c_str();
    ASSERT_EQ(post("http://h/", nullptr, 0), 0);
    size_t at = io.out.find("\r\nAuthorization: Basic ");
    ASSERT_NE(at, std::string::npos);
    size_t end = io.out.find("\r\n", at + 2);
    EXPECT_EQ(end - (at + 23), 1016u) << "761 bytes of base64";
}

TEST_F(HttpRequestHead, ActionOver1020CharactersIsSentEmpty)
{
    std::string a(1021, 'a');
    ASSERT_EQ(post("http://h/", a.c_str(), 0), 0);
    EXPECT_NE(io.out.find("\r\nSOAPAction: \"\"\r\n"), std::string::npos);
    a.pop_back();
    ASSERT_EQ(post("http://h/", a.c_str(), 0), 0);
    EXPECT_NE(io.out.find("\r\nSOAPAction: \"" + a + "\"\r\n"), std::string::npos);
}

TEST_F(HttpRequestHead, NonHttpAddressWritesNoHead)
{
    EXPECT_EQ(post("soap.udp://h:9/", "x", 3), 0);
    EXPECT_EQ(io.out, "");
    EXPECT_EQ(soap->fpost(soap, nullptr, "h", 80, "/", "x", 3), 0);
    EXPECT_EQ(io.out, "");
    EXPECT_EQ(post("httpg://h/", nullptr, 0), 0);
    EXPECT_EQ(io.out.substr(0, 15), "POST / HTTP/1.1");
}

TEST_F(HttpRequestHead, AddressTooLongForTheRequestLineIsOutOfMemory)
{
    std::string e = "http://h/" + std::string(942 - 9, 'x');  /* 942 + "1.1" = 945 */
    soap->error = 0;
    EXPECT_EQ(soap->fpost(soap, e.c_str(), "h", 80, "/", nullptr, 0), SOAP_EOM);
    EXPECT_EQ(soap->error, SOAP_EOM);
    EXPECT_EQ(io.out, "");
    e.pop_back();
    EXPECT_EQ(soap->fpost(soap, e.c_str(), "h", 80, "/", nullptr, 0), 0);
}

TEST_F(HttpRequestHead, LineFeedsInsideKeysAndValuesAreDropped)
{
    soap->mode = SOAP_IO_FLUSH;
    ASSERT_EQ(http_post_header(soap, "X-A\n", "v\n1\n"), 0);
    ASSERT_EQ(http_post_header(soap, "Line", nullptr), 0);
    ASSERT_EQ(http_post_header(soap, nullptr, nullptr), 0);
    EXPECT_EQ(io.out, "X-A: v1\r\nLine\r\n\r\n");
}

TEST_F(HttpRequestHead, HeaderLinesOfEveryLengthComeOutWhole)
{
    soap->mode = SOAP_IO_FLUSH;
    /* around the length that still fits one write, and far beyond it */
    for (size_t n : {1010u, 1017u, 1018u, 1019u, 1020u, 1021u, 1022u, 1023u, 1024u, 1025u, 5000u}) {
        std::string key(n / 2, 'k'), value(n - n / 2, 'v');
        std::string lf_key = key + "\n", lf_value = "\n" + value;
        io.out.clear();
        ASSERT_EQ(http_post_header(soap, lf_key.c_str(), lf_value.c_str()), 0);
        ASSERT_EQ(io.out, key + ": " + value + "\r\n") << n;
        io.out.clear();
        std::string line(n, 'l');
        ASSERT_EQ(http_post_header(soap, line.c_str(), nullptr), 0);
        ASSERT_EQ(io.out, line + "\r\n") << n;
    }
}

TEST_F(HttpRequestHead, PortsAndLengthsAreWrittenInDecimal)
{
    ASSERT_EQ(post("http://h:-5/x", nullptr, 0), 0);
    EXPECT_NE(io.out.find("\r\nHost: h:-5\r\n"), std::string::npos) << io.out;
    EXPECT_NE(io.out.find("\r\nContent-Length: 0\r\n"), std::string::npos) << io.out;
    ASSERT_EQ(post("http://h:65535/x", nullptr, (size_t)4294967296ULL), 0);
    EXPECT_NE(io.out.find("\r\nHost: h:65535\r\n"), std::string::npos) << io.out;
    EXPECT_NE(io.out.find("\r\nContent-Length: 4294967296\r\n"), std::string::npos) << io.out;
}

TEST_F(HttpRequestHead, MultipartTypeNamesBoundaryStartAndInnerType)
{
    soap->mode = SOAP_IO_FLUSH | SOAP_ENC_MIME;
    char boundary[] = "==b==";
    soap->mime.boundary = boundary;
    soap->mime.start = "<root>";
    ASSERT_EQ(soap_puthttphdr(soap, SOAP_OK, 5), 0);
    EXPECT_EQ(io.out,
              "Content-Type: multipart/related; charset=utf-8; boundary=\"==b==\"; type=\"text/xml\"; "
              "start=\"<root>\"\r\nContent-Length: 5\r\nConnection: close\r\n");
}

TEST_F(HttpRequestHead, MtomTypeAddsStartInfo)
{
    soap->mode = SOAP_IO_FLUSH | SOAP_ENC_MIME | SOAP_ENC_MTOM;
    soap->version = 2;
    char boundary[] = "B";
    soap->mime.boundary = boundary;
    soap->mime.start = nullptr;
    ASSERT_EQ(soap_puthttphdr(soap, 1, 5), 0);
    EXPECT_EQ(io.out.substr(0, io.out.find("\r\n")),
              "Content-Type: multipart/related; charset=utf-8; boundary=\"B\"; type=\"application/xop+xml\"; "
              "start-info=\"application/soap+xml\"");
}

TEST_F(HttpRequestHead, DimeMessageIsApplicationDime)
{
    soap->mode = SOAP_IO_FLUSH | SOAP_ENC_DIME;
    ASSERT_EQ(soap_puthttphdr(soap, SOAP_OK, 5), 0);
    EXPECT_EQ(io.out.substr(0, io.out.find("\r\n")), "Content-Type: application/dime");
}

TEST_F(HttpRequestHead, SendFailureStopsTheHead)
{
    io.fail_send = SOAP_EOF;
    EXPECT_EQ(post("http://h/", "a", 1), SOAP_EOF);
    EXPECT_EQ(io.out, "");
}

/* ------------------------------------------------------------------------ */

using HttpParse = HttpTest;

TEST_F(HttpParse, StatusAndHeadersFillTheContextAndTheBodyStaysUnread)
{
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\n"
                    "Content-Type: text/xml; charset=utf-8\r\n"
                    "Content-Length: 42\r\n"
                    "SOAPAction: \"urn:x\"\r\n"
                    "X-Forwarded-For: 10.0.0.1\r\n"
                    "\r\n"
                    "<body/>"),
              0);
    EXPECT_EQ(soap->status, 200);
    EXPECT_EQ(soap->length, 42u);
    EXPECT_STREQ(soap->http_content, "text/xml; charset=utf-8");
    EXPECT_STREQ(soap->action, "urn:x");
    EXPECT_STREQ(soap->proxy_from, "10.0.0.1");
    EXPECT_EQ(rest(), "<body/>");
}

TEST_F(HttpParse, HeadersWithBareLineFeedsParseAlike)
{
    ASSERT_EQ(parse("HTTP/1.1 200 OK\nContent-Length: 7\n\n<body/>"), 0);
    EXPECT_EQ(soap->length, 7u);
    EXPECT_EQ(rest(), "<body/>");
}

TEST_F(HttpParse, HeadArrivingOneByteAtATimeParsesAlike)
{
    io.chunk = 1;
    std::string text = "HTTP/1.1 200 OK\r\nContent-Length: 7\r\n\r\n<body/>";
    io.in = text;
    io.pos = 0;
    soap->bufidx = soap->buflen = 0;
    soap->ahead = 0;
    ASSERT_EQ(soap->fparse(soap), 0);
    EXPECT_EQ(soap->length, 7u);
    EXPECT_EQ(rest(), "<body/>");
}

TEST_F(HttpParse, ContinueIsSkippedAndTheRealStatusCounts)
{
    ASSERT_EQ(parse("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc"), 0);
    EXPECT_EQ(soap->status, 200);
    EXPECT_EQ(soap->length, 3u);
    EXPECT_EQ(rest(), "abc");
}

TEST_F(HttpParse, Http10PeerEndsKeepAlive)
{
    soap->keep_alive = 1;
    ASSERT_EQ(parse("HTTP/1.0 200 OK\r\n\r\n"), 0);
    EXPECT_EQ(soap->keep_alive, 0);
}

static short keep_alive_seen;
static int record_keep_alive(struct soap *soap, const char *key, const char *val)
{
    int r = http_parse_header(soap, key, val);
    if (!soap_tag_cmp(key, "Connection"))
        keep_alive_seen = soap->keep_alive;
    return r;
}

TEST_F(HttpParse, KeepAliveHeaderIsMinusOneWhileParsingAndOneAfter)
{
    soap->keep_alive = 1;
    soap->fparsehdr = record_keep_alive;
    keep_alive_seen = 99;
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nConnection: keep-alive\r\n\r\n"), 0);
    EXPECT_EQ(keep_alive_seen, -1);
    EXPECT_EQ(soap->keep_alive, 1);
}

TEST_F(HttpParse, ConnectionCloseEndsKeepAlive)
{
    soap->keep_alive = 1;
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n"), 0);
    EXPECT_EQ(soap->keep_alive, 0);
}

TEST_F(HttpParse, CompressedBodyIsRefusedAtOnce)
{
    EXPECT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 9\r\n\r\n"), SOAP_ZLIB_ERROR);
    EXPECT_EQ(soap->error, SOAP_ZLIB_ERROR);
    EXPECT_EQ(soap->length, 0u) << "headers after the refusal are not read";
    EXPECT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Encoding: Deflate\r\n\r\n"), SOAP_ZLIB_ERROR);
    EXPECT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Encoding: identity\r\n\r\n"), 0);
}

TEST_F(HttpParse, ChunkedTransferSetsTheInputMode)
{
    soap->imode = SOAP_IO_BUFFER | SOAP_XML_STRICT;
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"), 0);
    EXPECT_EQ(soap->imode & SOAP_IO, (uint32_t)SOAP_IO_CHUNK);
    EXPECT_TRUE(soap->imode & SOAP_XML_STRICT);
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nTransfer-Encoding: identity\r\n\r\n"), 0);
    EXPECT_EQ(soap->imode & SOAP_IO, 0u);
}

TEST_F(HttpParse, ServerErrorWithASoapBodyIsLeftToTheSoapReader)
{
    ASSERT_EQ(parse("HTTP/1.1 500 Internal Server Error\r\nContent-Type: text/xml\r\nContent-Length: 9\r\n\r\n<x>f</x>"),
              0);
    EXPECT_EQ(soap->status, 500);
    EXPECT_EQ(rest(), "<x>f</x>");
    ASSERT_EQ(parse("HTTP/1.1 400 Bad Request\r\nContent-Length: 4\r\n\r\n<x/>"), 0);
    ASSERT_EQ(parse("HTTP/1.1 201 Created\r\nContent-Length: 4\r\n\r\n<x/>"), 0);
}

TEST_F(HttpParse, ErrorStatusWithABodyIsThatStatus)
{
    EXPECT_EQ(parse("HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nnope\nMORE"), 404);
    EXPECT_EQ(soap->error, 404);
    const char **s = soap_faultstring(soap);
    ASSERT_TRUE(s && *s);
    EXPECT_STREQ(*s, "HTTP/1.1 404 Not Found");
    EXPECT_STREQ(soap_check_faultdetail(soap), "nope\n");
    EXPECT_STREQ(*soap_faultcode(soap), "SOAP-ENV:Client");
    EXPECT_EQ(soap->keep_alive, 0);
    EXPECT_EQ(rest(), "MORE") << "the body is read to its length";
}

TEST_F(HttpParse, ErrorStatusWithoutBodyIsThatStatus)
{
    EXPECT_EQ(parse("HTTP/1.1 503 Service Unavailable\r\n\r\n"), 503);
    const char **s = soap_faultstring(soap);
    ASSERT_TRUE(s && *s);
    EXPECT_STREQ(*s, "HTTP Error");
    EXPECT_STREQ(soap_check_faultdetail(soap), "HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(parse("HTTP/1.1 202 Accepted\r\nContent-Length: 0\r\n\r\n"), 202);
    EXPECT_EQ(parse("HTTP/1.1 500 Internal Server Error\r\n\r\n"), 500) << "a 500 with nothing to read";
}

TEST_F(HttpParse, ChunkedErrorBodyIsReadToItsLastChunk)
{
    EXPECT_EQ(parse("HTTP/1.1 403 Forbidden\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nno \r\n4;ext=1\r\nway!\r\n0\r\n\r\n"),
              403);
    EXPECT_EQ(soap->keep_alive, 0);
    EXPECT_STREQ(soap_check_faultdetail(soap), "no way!");
}

TEST_F(HttpParse, BodyTextIsReadByLengthOrByChunks)
{
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nnope\nMORE"), 0);
    const char *body = soap_get_http_body(soap);
    ASSERT_NE(body, nullptr);
    EXPECT_STREQ(body, "nope\n");
    EXPECT_EQ(rest(), "MORE");

    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nno \r\n4;ext=1\r\nway!\r\n0\r\n\r\n"), 0);
    body = soap_get_http_body(soap);
    ASSERT_NE(body, nullptr);
    EXPECT_STREQ(body, "no way!");

    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Length: 50\r\n\r\nshort"), 0);
    body = soap_get_http_body(soap);
    ASSERT_NE(body, nullptr);
    EXPECT_STREQ(body, "short") << "a body cut short ends at the end of input";

    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\n\r\nunbounded"), 0);
    EXPECT_EQ(soap_get_http_body(soap), nullptr) << "neither a length nor chunks";
}

TEST_F(HttpParse, RedirectKeepsTheLocationForTheCaller)
{
    EXPECT_EQ(parse("HTTP/1.1 302 Found\r\nLocation: http://other:81/x\r\nContent-Length: 0\r\n\r\n"), 302);
    EXPECT_STREQ(soap->endpoint, "http://other:81/x");
}

TEST_F(HttpParse, ChallengesLeaveTheirRealm)
{
    EXPECT_EQ(parse("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"svc realm\"\r\n\r\n"), 401);
    EXPECT_STREQ(soap->authrealm, "svc realm");
    EXPECT_EQ(parse("HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=px\r\n\r\n"), 407);
    EXPECT_STREQ(soap->authrealm, "px");
    EXPECT_EQ(parse("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic\r\n\r\n"), 401);
    EXPECT_EQ(soap->authrealm, nullptr);
}

TEST_F(HttpParse, FieldsOfThePreviousMessageAreCleared)
{
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: 2\r\nSOAPAction: a\r\n"
                    "X-Forwarded-For: f\r\nLocation: http://l/\r\nAuthorization: Basic dTpw\r\n\r\nxx"),
              0);
    ASSERT_STREQ(soap->userid, "u");
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\n\r\n"), 0);
    EXPECT_EQ(soap->length, 0u);
    EXPECT_EQ(soap->http_content, nullptr);
    EXPECT_EQ(soap->action, nullptr);
    EXPECT_EQ(soap->proxy_from, nullptr);
    EXPECT_EQ(soap->userid, nullptr);
    EXPECT_EQ(soap->passwd, nullptr);
    EXPECT_STREQ(soap->endpoint, "");
}

static std::vector<std::pair<std::string, std::string>> headers_seen;
static int record_header(struct soap *, const char *key, const char *val)
{
    headers_seen.emplace_back(key, val);
    return 0;
}

TEST_F(HttpParse, ValuesAreTrimmedOfBlanksAndOneQuoteEachSide)
{
    headers_seen.clear();
    soap->fparsehdr = record_header;
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nA:   \"v 1\"  \r\nB:x\r\nno colon here\r\nC:\r\nD: \"\"q\"\"\r\n\r\n"), 0);
    ASSERT_EQ(headers_seen.size(), 4u);
    EXPECT_EQ(headers_seen[0], std::make_pair(std::string("A"), std::string("v 1")));
    EXPECT_EQ(headers_seen[1], std::make_pair(std::string("B"), std::string("x")));
    EXPECT_EQ(headers_seen[2], std::make_pair(std::string("C"), std::string("")));
    EXPECT_EQ(headers_seen[3], std::make_pair(std::string("D"), std::string("\"q\"")));
}

TEST_F(HttpParse, FoldedHeaderContinuesOnTheNextLine)
{
    headers_seen.clear();
    soap->fparsehdr = record_header;
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nX-Long: a\r\n b\r\n\tc\r\nY: d\r\n\r\n"), 0);
    ASSERT_EQ(headers_seen.size(), 2u);
    EXPECT_EQ(headers_seen[0].second, "a b\tc");
    EXPECT_EQ(headers_seen[1].second, "d");
}

TEST_F(HttpParse, HeaderLineOf8192CharactersIsAcceptedAndOneMoreIsNot)
{
    std::string line = "X: " + std::string(8192 - 3, 'v');
    ASSERT_EQ(line.size(), 8192u);
    EXPECT_EQ(parse("HTTP/1.1 200 OK\r\n" + line + "\r\n\r\n"), 0);
    EXPECT_EQ(parse("HTTP/1.1 200 OK\r\n" + line + "v\r\n\r\n"), SOAP_HDR);
    EXPECT_EQ(soap->error, SOAP_HDR);
    EXPECT_EQ(parse("HTTP/1.1 200 OK\r\n" + line + std::string(20000, 'v') + "\r\n\r\n"), SOAP_HDR);
}

TEST_F(HttpParse, OverlongFirstLineIs414)
{
    EXPECT_EQ(parse("HTTP/1.1 200 " + std::string(1100, 'O') + "\r\n\r\n"), 414);
    EXPECT_EQ(soap->error, 414);
}

TEST_F(HttpParse, NoInputIsEndOfFile)
{
    EXPECT_EQ(parse(""), SOAP_EOF);
    EXPECT_EQ(parse("HTTP/1.1 200 O"), SOAP_EOF);
}

TEST_F(HttpParse, InputEndingInTheHeadersEndsTheHeaders)
{
    EXPECT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n"), 0);
    EXPECT_EQ(soap->length, 3u);
    EXPECT_EQ(soap->error, 0);
}

TEST_F(HttpParse, StatusIsTakenModulo65536)
{
    EXPECT_EQ(parse("HTTP/1.1 65736 Odd\r\n\r\n"), 0);
    EXPECT_EQ(soap->status, 200);
}

TEST_F(HttpParse, MultipartTypeSetsBoundaryStartAndMimeMode)
{
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Type: Multipart/Related; boundary=\"==x==\"; "
                    "type=\"text/xml\"; start=\"<root>\"\r\n\r\n"),
              0);
    EXPECT_TRUE(soap->imode & SOAP_ENC_MIME);
    EXPECT_STREQ(soap->mime.boundary, "==x==");
    EXPECT_STREQ(soap->mime.start, "<root>");
}

TEST_F(HttpParse, DimeTypeSetsDimeMode)
{
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Type: application/dime\r\n\r\n"), 0);
    EXPECT_TRUE(soap->imode & SOAP_ENC_DIME);
    EXPECT_FALSE(soap->imode & SOAP_ENC_MIME);
}

TEST_F(HttpParse, ActionParameterOfTheMediaTypeIsTheAction)
{
    ASSERT_EQ(parse("HTTP/1.1 200 OK\r\nContent-Type: application/soap+xml; charset=utf-8; action=\"urn:act\"\r\n\r\n"), 0);
    EXPECT_STREQ(soap->action, "urn:act");
}

TEST_F(HttpParse, BasicAuthorizationIsDecoded)
{
    ASSERT_EQ(parse("POST /svc HTTP/1.1\r\nAuthorization: Basic dXNlcjpwOnc=\r\n\r\n"), 0);
    EXPECT_STREQ(soap->userid, "user");
    EXPECT_STREQ(soap->passwd, "p:w");
}

TEST_F(HttpParse, UndecodableAuthorizationIsNoCredentialAndNoError)
{
    ASSERT_EQ(parse("POST /svc HTTP/1.1\r\nAuthorization: Basic !!!!\r\nContent-Length: 4\r\n\r\n"), 0);
    EXPECT_EQ(soap->userid, nullptr);
    EXPECT_EQ(soap->error, 0);
    EXPECT_EQ(soap->length, 4u);
}

/* ------------------------------------------------------------------------ */

using HttpRequestParse = HttpTest;

TEST_F(HttpRequestParse, PostRequestBuildsEndpointAndPath)
{
    ASSERT_EQ(parse("POST /svc/x HTTP/1.1\r\nHost: example:8080\r\n\r\n"), 0);
    EXPECT_EQ(soap->status, 0);
    EXPECT_STREQ(soap->path, "/svc/x");
    EXPECT_STREQ(soap->endpoint, "http://example:8080/svc/x");
}

TEST_F(HttpRequestParse, ExpectContinueIsAnswered)
{
    soap->mode = SOAP_IO_FLUSH;
    ASSERT_EQ(parse("POST / HTTP/1.1\r\nExpect: 100-continue\r\n\r\n"), 0);
    EXPECT_EQ(io.out, "HTTP/1.1 100 Continue\r\n\r\n");
}

TEST_F(HttpRequestParse, OtherMethodsGoToTheirHandlers)
{
    EXPECT_EQ(parse("GET /p HTTP/1.1\r\nHost: h\r\n\r\n"), SOAP_GET_METHOD);
    EXPECT_STREQ(soap->endpoint, "http://h/p");
    EXPECT_EQ(parse("DELETE /p HTTP/1.1\r\n\r\n"), 405);
    EXPECT_EQ(parse("BREW /pot HTTP/1.1\r\n\r\n"), 405);
    EXPECT_EQ(parse("PUT /p HTTP/1.1\r\n\r\nPUT /p HTTP/1.1\r\n\r\n"), SOAP_PUT_METHOD);
}

TEST_F(HttpRequestParse, OptionsIsAnsweredWithAnEmpty200AndStops)
{
    EXPECT_EQ(parse("OPTIONS / HTTP/1.1\r\n\r\n"), SOAP_STOP);
    EXPECT_EQ(io.out.substr(0, io.out.find("\r\n")), "HTTP/1.1 200 OK");
    EXPECT_NE(io.out.find("\r\nContent-Length: 0\r\n"), std::string::npos) << io.out;
}

TEST_F(HttpRequestParse, Http10RequestGetsAStoredAnswerInsteadOfChunks)
{
    soap->omode = SOAP_IO_CHUNK;
    ASSERT_EQ(parse("POST / HTTP/1.0\r\n\r\n"), 0);
    EXPECT_EQ(soap->omode & SOAP_IO, (uint32_t)SOAP_IO_STORE);
    EXPECT_EQ(soap->imode & SOAP_IO, (uint32_t)SOAP_IO_CHUNK);
}

/* ------------------------------------------------------------------------ */

using HttpGetline = HttpTest;

TEST_F(HttpGetline, EmptyLineEndsAtOnceWithoutLookingAhead)
{
    io.attach(soap, "\r\nX");
    char buf[16];
    ASSERT_EQ(soap_getline(soap, buf, sizeof(buf)), 0);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(rest(), "X");
}

TEST_F(HttpGetline, CarriageReturnsAnywhereAreDropped)
{
    io.attach(soap, "a\rb\r\r\nnext");
    char buf[16];
    ASSERT_EQ(soap_getline(soap, buf, sizeof(buf)), 0);
    EXPECT_STREQ(buf, "ab");
    EXPECT_EQ(rest(), "next");
}

TEST_F(HttpGetline, LineOfExactlySizeMinusOneFits)
{
    io.attach(soap, "abc\r\nZ");
    char buf[4];
    ASSERT_EQ(soap_getline(soap, buf, sizeof(buf)), 0);
    EXPECT_STREQ(buf, "abc");
    io.attach(soap, "abcd\r\nZ");
    ASSERT_EQ(soap_getline(soap, buf, sizeof(buf)), 0) << "one byte over is dropped";
    EXPECT_STREQ(buf, "abc");
    io.attach(soap, "abcde\r\nZ");
    soap->error = 0;
    EXPECT_EQ(soap_getline(soap, buf, sizeof(buf)), SOAP_HDR);
    EXPECT_EQ(soap->error, SOAP_HDR);
    EXPECT_STREQ(buf, "abc");
}

TEST_F(HttpGetline, EndOfInputGivesEof)
{
    io.attach(soap, "abc");
    char buf[16];
    soap->error = 0;
    EXPECT_EQ(soap_getline(soap, buf, sizeof(buf)), SOAP_EOF);
}

/* ------------------------------------------------------------------------ */

using HttpHeaderAttribute = HttpTest;

TEST_F(HttpHeaderAttribute, FindsQuotedAndEscapedValuesByKeyInAnyCase)
{
    const char *v = "text/xml; charset=\"utf-8\"; A=%41b%2f%zz, last = end";
    EXPECT_STREQ(soap_get_header_attribute(soap, v, "CHARSET"), "utf-8");
    EXPECT_STREQ(soap_get_header_attribute(soap, v, "a"), "Ab/%zz");
    EXPECT_STREQ(soap_get_header_attribute(soap, v, "last"), "end");
    EXPECT_STREQ(soap_get_header_attribute(soap, v, "text/xml"), "");
    EXPECT_EQ(soap_get_header_attribute(soap, v, "missing"), nullptr);
    EXPECT_EQ(soap_get_header_attribute(soap, nullptr, "a"), nullptr);
}

TEST_F(HttpHeaderAttribute, EmptyValueDoesNotSwallowTheNextParameter)
{
    EXPECT_STREQ(soap_get_header_attribute(soap, "a=;b=1", "a"), "");
    EXPECT_STREQ(soap_get_header_attribute(soap, "a=;b=1", "b"), "1");
}

TEST_F(HttpHeaderAttribute, OverlongValueIsCutAt1023Bytes)
{
    std::string v = "k=\"" + std::string(5000, 'q') + "\"; z=1";
    const char *r = soap_get_header_attribute(soap, v.c_str(), "k");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(strlen(r), 1023u);
    EXPECT_STREQ(soap_get_header_attribute(soap, v.c_str(), "z"), "1");
}

TEST_F(HttpHeaderAttribute, ControlBytesAndStrayQuotesEndTheWalk)
{
    EXPECT_EQ(soap_get_header_attribute(soap, "\x01\x02=\x03;\"unterminated", "x"), nullptr);
    EXPECT_EQ(soap_get_header_attribute(soap, "=====", "x"), nullptr);
}

TEST_F(HttpHeaderAttribute, DecodersReturnThePositionAfterTheToken)
{
    char buf[8];
    const char *s = soap_decode_key(buf, sizeof(buf), " ;key=val;x");
    EXPECT_STREQ(buf, "key");
    EXPECT_EQ(*s, '=');
    s = soap_decode_val(buf, sizeof(buf), s);
    EXPECT_STREQ(buf, "val");
    EXPECT_EQ(*s, ';');
}

/* ------------------------------------------------------------------------ */

TEST(HttpStatusText, KnownCodesHaveTheirPhraseAndOthersNone)
{
    EXPECT_STREQ(soap_http_status_text(nullptr, 200), "OK");
    EXPECT_STREQ(soap_http_status_text(nullptr, 307), "Temporary Redirect");
    EXPECT_STREQ(soap_http_status_text(nullptr, 416), "Requested range not satisfiable");
    EXPECT_STREQ(soap_http_status_text(nullptr, 505), "HTTP Version not supported");
    EXPECT_STREQ(soap_http_status_text(nullptr, 306), "");
    EXPECT_STREQ(soap_http_status_text(nullptr, 0), "");
}

/* ------------------------------------------------------------------------ */

using HttpResponseHead = HttpTest;

TEST_F(HttpResponseHead, EmptyAnswerWithoutConnectionIsAStatusHeader)
{
    soap->mode = SOAP_IO_FLUSH;
    ASSERT_EQ(soap->fresponse(soap, SOAP_OK, 0), 0);
    EXPECT_EQ(io.out,
              "Status: 202 ACCEPTED\r\nServer: orvsoap/1.0\r\nContent-Type: text/xml; charset=utf-8\r\n"
              "Content-Length: 0\r\nConnection: close\r\n\r\n");
}

TEST_F(HttpResponseHead, UnauthorizedNamesTheDefaultRealm)
{
    soap->mode = SOAP_IO_FLUSH;
    ASSERT_EQ(soap->fresponse(soap, 401, 0), 0);
    EXPECT_EQ(io.out.substr(0, io.out.find("\r\nServer")),
              "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"orvsoap Web Service\"");
    io.out.clear();
    soap->authrealm = "mine";
    ASSERT_EQ(soap->fresponse(soap, 401, 0), 0);
    EXPECT_NE(io.out.find("WWW-Authenticate: Basic realm=\"mine\"\r\n"), std::string::npos);
}

TEST_F(HttpResponseHead, RedirectNamesTheLocation)
{
    soap->mode = SOAP_IO_FLUSH;
    strcpy(soap->endpoint, "http://elsewhere/");
    ASSERT_EQ(soap->fresponse(soap, 307, 0), 0);
    EXPECT_EQ(io.out.substr(0, io.out.find("\r\nServer")),
              "HTTP/1.1 307 Temporary Redirect\r\nLocation: http://elsewhere/");
}

TEST_F(HttpResponseHead, MethodErrorsAre405)
{
    soap->mode = SOAP_IO_FLUSH;
    soap->master = 5;  /* a listening socket makes it a status line; never touched */
    ASSERT_EQ(soap->fresponse(soap, SOAP_GET_METHOD, 0), 0);
    soap->master = -1;
    EXPECT_EQ(io.out.substr(0, io.out.find("\r\n")), "HTTP/1.1 405 Method Not Allowed");
}

TEST_F(HttpResponseHead, OverlongVersionIsRefused)
{
    soap->http_version = "1.1.1";
    EXPECT_EQ(soap->fresponse(soap, 200, 0), SOAP_EOM);
    EXPECT_EQ(io.out, "");
}

}  // namespace

/* ------------------------------------------------------------------------ */
/* Saved inputs of the HTTP fuzz target: each must pass the receiving side
 * without a fault of the sanitizers and leave a context that still works. */

#include <dirent.h>

#include <fstream>
#include <iterator>

#include "fuzz/http_driver.h"

namespace {

std::string regress_dir()
{
    std::string here = __FILE__;
    return here.substr(0, here.rfind('/')) + "/regress/http";
}

TEST(HttpRegress, SavedInputsPassTheReceivingSide)
{
    DIR *d = opendir(regress_dir().c_str());
    ASSERT_NE(d, nullptr) << regress_dir();
    int replayed = 0;
    while (struct dirent *e = readdir(d)) {
        if (e->d_name[0] == '.')
            continue;
        std::ifstream f(regress_dir() + "/" + e->d_name, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
        SCOPED_TRACE(e->d_name);
        struct soap *soap = soap_new();
        ASSERT_NE(soap, nullptr);
        http_driver::run(soap, (const unsigned char *)bytes.data(), bytes.size());
        /* the context is still good for a plain answer */
        MemIO io;
        io.attach(soap, "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n<a/>");
        soap->imode = soap->omode = 0;
        soap->keep_alive = 0;
        soap_begin(soap);
        EXPECT_EQ(soap_begin_recv(soap), 0);
        EXPECT_EQ(soap->status, 200);
        soap_end(soap);
        soap_free(soap);
        replayed++;
    }
    closedir(d);
    EXPECT_GT(replayed, 0);
}

}  // namespace
