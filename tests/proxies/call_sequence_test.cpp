/* call_sequence_test.cpp -- the behaviour every proxy operation shares: endpoints, the request and
 * response wrappers, the SOAP header, faults and their accessors, keep-alive, and what each way of
 * failing returns and leaves behind (the next call on the same proxy must work).
 */
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "proxy_support.h"

using namespace proxy_test;

namespace {

/* A proxy on the Profile endpoint, with the daemon's header before every call. */
class ProfileCall : public ProxyTest {
protected:
    std::string url = profile_url();
    DaemonHeader hdr;

    ProfileSoapBindingProxy &proxy(int iomode = 0)
    {
        if (!proxy_)
            proxy_ = &make<ProfileSoapBindingProxy>(url.c_str(), iomode);
        return *proxy_;
    }

    /* create, with the header (and its targetURI, if any) set again first */
    int create(__protocolProfile__createResponse &resp)
    {
        proxy().soap_header(&hdr.header);
        return proxy().create(&req.content, resp);
    }

    int create_in_mode(const std::string &mode, __protocolProfile__createResponse &resp)
    {
        hdr.with_target("test:" + mode);
        int r = create(resp);
        hdr.without_target();
        return r;
    }

    /* a plain successful call: the context must be usable after whatever came before */
    void expect_next_call_works()
    {
        __protocolProfile__createResponse resp;
        hdr.without_target();
        EXPECT_EQ(SOAP_OK, create(resp));
        ASSERT_NE(nullptr, resp.protocolProfile__createResponse);
        EXPECT_EQ(1u, resp.protocolProfile__createResponse->thisURI.size());
    }

    ProfileRequest req;

private:
    ProfileSoapBindingProxy *proxy_ = nullptr;
};

/* ------------------------------------------------------------------------ */
/* Endpoints                                                                 */
/* ------------------------------------------------------------------------ */

struct SeenOpen {
    std::string endpoint, host;
    int port = 0;
};

int refuse_open(struct soap *soap, const char *endpoint, const char *host, int port)
{
    SeenOpen *seen = static_cast<SeenOpen *>(soap->user);
    seen->endpoint = endpoint;
    seen->host = host;
    seen->port = port;
    soap->error = SOAP_TCP_ERROR;
    return -1;
}

class Endpoints : public ProxyTest {};

TEST_F(Endpoints, FirstCallWithoutOneInstallsTheProfileDefault)
{
    auto &p = make<ProfileSoapBindingProxy>();
    EXPECT_EQ(nullptr, p.soap_endpoint);
    SeenOpen seen;
    p.user = &seen;
    p.fopen = refuse_open;
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_TCP_ERROR, p.create(&req.content, resp));
    ASSERT_NE(nullptr, p.soap_endpoint);
    EXPECT_STREQ("http://localhost:9080/orv/v1.0/services/Profile", p.soap_endpoint);
    EXPECT_EQ("http://localhost:9080/orv/v1.0/services/Profile", seen.endpoint);
    EXPECT_EQ("localhost", seen.host);
    EXPECT_EQ(9080, seen.port);
    EXPECT_STREQ("/orv/v1.0/services/Profile", p.path);
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
}

TEST_F(Endpoints, FirstCallWithoutOneInstallsTheProblemReportDefault)
{
    auto &p = make<ProblemReportSoapBindingProxy>();
    SeenOpen seen;
    p.user = &seen;
    p.fopen = refuse_open;
    ReportRequest req;
    __protocolProblemReport__submitResponse resp;
    EXPECT_EQ(SOAP_TCP_ERROR, p.submit(&req.content, resp));
    EXPECT_STREQ("http://localhost:9080/orv/v1.0/services/ProblemReport", p.soap_endpoint);
    EXPECT_EQ(9080, seen.port);
    EXPECT_STREQ("/orv/v1.0/services/ProblemReport", p.path);
}

TEST_F(Endpoints, AnEndpointGivenToOneCallStaysForLaterCallsUntilAnotherIsGiven)
{
    std::string url = profile_url();
    std::string dead = "http://127.0.0.1:1/orv/v1.0/services/Profile";
    auto &p = make<ProfileSoapBindingProxy>();
    DaemonHeader hdr;
    ProfileRequest req;
    __protocolProfile__createResponse resp;

    p.soap_header(&hdr.header);
    ASSERT_EQ(SOAP_OK, p.create(url.c_str(), nullptr, &req.content, resp));
    EXPECT_EQ(url.c_str(), p.soap_endpoint);  /* borrowed, not copied */

    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_OK, p.create(&req.content, resp));  /* short form: the same endpoint */
    EXPECT_EQ(url.c_str(), p.soap_endpoint);

    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_TCP_ERROR, p.create(dead.c_str(), nullptr, &req.content, resp));
    EXPECT_EQ(dead.c_str(), p.soap_endpoint);
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_TCP_ERROR, p.create(&req.content, resp));
}

TEST_F(Endpoints, AListMovesToTheNextAddressOnlyAfterAFailedConnection)
{
    std::string list = "http://127.0.0.1:1/orv/v1.0/services/Profile " + profile_url();
    auto &p = make<ProfileSoapBindingProxy>(list.c_str());
    DaemonHeader hdr;
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_OK, p.create(&req.content, resp));
    EXPECT_NE(nullptr, resp.protocolProfile__createResponse);
}

/* ------------------------------------------------------------------------ */
/* Request and response wrappers                                             */
/* ------------------------------------------------------------------------ */

using Wrappers = ProfileCall;

TEST_F(Wrappers, ANullRequestSendsAnEmptyBodyAndIsNoFailureOfTheProxy)
{
    WireTap tap;
    tap.attach(&proxy());
    proxy().soap_header(&hdr.header);
    __protocolProfile__createResponse resp;
    /* the provider refuses a body without a request: a Client fault, not a proxy error */
    EXPECT_EQ(SOAP_CLI_FAULT, proxy().create(nullptr, resp));
    std::string env = tap.last_envelope();
    EXPECT_EQ(std::string::npos, env.find("createRequest")) << env;
    EXPECT_NE(std::string::npos, env.find("<SOAP-ENV:Body></SOAP-ENV:Body>")) << env;
    EXPECT_STREQ("No XML root element", proxy().soap_fault_string());
    expect_next_call_works();
}

TEST_F(Wrappers, ANullResponseReferenceSendsTheRequestAndReadsNothing)
{
    WireTap tap;
    tap.attach(&proxy());
    proxy().soap_header(&hdr.header);
    SOAP_ENV__Header *sent_header = proxy().header;
    EXPECT_EQ(SOAP_OK, proxy().create(&req.content, no_response<__protocolProfile__createResponse>()));
    EXPECT_NE(std::string::npos, tap.last_envelope().find("<protocolProfile:createRequest>"));
    /* nothing was received: the header is still the one that went out */
    EXPECT_EQ(sent_header, proxy().soap_header());
    EXPECT_EQ(&hdr.header, proxy().soap_header()->protocol__header);
    EXPECT_EQ(-1, proxy().socket);  /* closed, since nothing asked to keep it */
    expect_next_call_works();
}

TEST_F(Wrappers, ASecondCallWithoutDestroyLeavesTheFirstResponseValid)
{
    __protocolProfile__createResponse first, second;
    ASSERT_EQ(SOAP_OK, create(first));
    ASSERT_EQ(SOAP_OK, create(second));
    ASSERT_NE(nullptr, first.protocolProfile__createResponse);
    ASSERT_NE(nullptr, second.protocolProfile__createResponse);
    EXPECT_NE(first.protocolProfile__createResponse, second.protocolProfile__createResponse);
    ASSERT_EQ(1u, first.protocolProfile__createResponse->thisURI.size());
    ASSERT_EQ(1u, second.protocolProfile__createResponse->thisURI.size());
    EXPECT_NE(first.protocolProfile__createResponse->thisURI[0], second.protocolProfile__createResponse->thisURI[0]);
    ASSERT_NE(nullptr, first.protocolProfile__createResponse->identity);
    EXPECT_EQ("sp-0042", text(first.protocolProfile__createResponse->identity->systemName));
}

/* Behind the response, SOAP 1.1 reads the Body's other children as independent elements, and a
 * second response element is none that the library knows; SOAP 1.2 reads nothing behind it. */
TEST_F(Wrappers, ASecondResponseElementIsATagMismatchInSoap11)
{
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_TAG_MISMATCH, create_in_mode("duplicate-response", resp));
    ASSERT_NE(nullptr, proxy().soap_fault());
    EXPECT_STREQ("SOAP-ENV:Client", proxy().soap_fault()->faultcode);
    expect_next_call_works();
}

TEST_F(Wrappers, ASecondResponseElementIsLeftUnreadInSoap12)
{
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create_in_mode("duplicate-response+soap12", resp));
    ASSERT_NE(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(1u, resp.protocolProfile__createResponse->thisURI.size());
}

/* A daemon's subclass that wraps the full form; the short form must reach it. */
class CountingProxy : public ProfileSoapBindingProxy {
public:
    using ProfileSoapBindingProxy::ProfileSoapBindingProxy;
    using ProfileSoapBindingProxy::create;
    int calls = 0;
    const char *seen_endpoint = "unset";
    const char *seen_action = "unset";
    int create(const char *endpoint, const char *action, protocolProfile__ProfileContent *request,
               __protocolProfile__createResponse &response) override
    {
        calls++;
        seen_endpoint = endpoint;
        seen_action = action;
        return ProfileSoapBindingProxy::create(endpoint, action, request, response);
    }
};

TEST_F(Wrappers, TheShortFormCallsTheFullFormThroughTheVirtualTable)
{
    auto &p = make<CountingProxy>(url.c_str());
    p.soap_header(&hdr.header);
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_OK, p.create(&req.content, resp));
    EXPECT_EQ(1, p.calls);
    EXPECT_EQ(nullptr, p.seen_endpoint);
    EXPECT_EQ(nullptr, p.seen_action);
    EXPECT_NE(nullptr, resp.protocolProfile__createResponse);
}

/* ------------------------------------------------------------------------ */
/* SOAP header                                                               */
/* ------------------------------------------------------------------------ */

using Header = ProfileCall;

TEST_F(Header, SetHeaderGoesOutAndNoheaderSendsNoneLeavingTheCallersRecordAlone)
{
    WireTap tap;
    tap.attach(&proxy());
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create(resp));
    EXPECT_NE(std::string::npos, tap.last_envelope().find("<SOAP-ENV:Header>"));
    EXPECT_NE(std::string::npos, tap.last_envelope().find("<protocol:username>daemon</protocol:username>"));

    proxy().soap_header(&hdr.header);
    proxy().soap_noheader();
    EXPECT_EQ(nullptr, proxy().soap_header());
    /* without credentials the provider refuses: a Client fault with the typed detail */
    EXPECT_EQ(SOAP_CLI_FAULT, proxy().create(&req.content, resp));
    EXPECT_EQ(std::string::npos, tap.last_envelope().find("SOAP-ENV:Header")) << tap.last_envelope();
    ASSERT_EQ(1u, hdr.header.credentials.size());
    EXPECT_EQ(&hdr.credentials, hdr.header.credentials[0]);
    EXPECT_EQ("daemon", text(hdr.credentials.username));
}

TEST_F(Header, TheResponseHeaderReplacesTheContextsHeader)
{
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create(resp));
    ASSERT_NE(nullptr, resp.protocolProfile__createResponse);
    SOAP_ENV__Header *h = proxy().soap_header();
    ASSERT_NE(nullptr, h);
    ASSERT_NE(nullptr, h->protocol__header);
    EXPECT_NE(&hdr.header, h->protocol__header);
    EXPECT_EQ(resp.protocolProfile__createResponse->thisURI[0], text(h->protocol__header->targetURI));
    EXPECT_NE(nullptr, h->protocol__header->dateTime);
    EXPECT_TRUE(h->protocol__header->credentials.empty());
}

TEST_F(Header, AResponseWithoutHeaderLeavesNone)
{
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create_in_mode("no-header", resp));
    EXPECT_NE(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(nullptr, proxy().soap_header());
}

TEST_F(Header, AMustUnderstandResponseHeaderOfTheProtocolIsRead)
{
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create_in_mode("with-header", resp));
    ASSERT_NE(nullptr, proxy().soap_header());
    protocol__Header *h = proxy().soap_header()->protocol__header;
    ASSERT_NE(nullptr, h);
    EXPECT_EQ(std::vector<std::string>{"answered by the reference provider"}, h->note);
    EXPECT_EQ(1u, h->version.size());
}

TEST_F(Header, DestroyReleasesTheHeaderRecordSoItMustBeSetAgain)
{
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create(resp));
    proxy().destroy();
    EXPECT_EQ(nullptr, proxy().soap_header());
    EXPECT_EQ(nullptr, proxy().soap_fault());
    EXPECT_EQ(SOAP_CLI_FAULT, proxy().create(&req.content, resp));  /* no credentials went out */
    expect_next_call_works();
}

/* ------------------------------------------------------------------------ */
/* Faults                                                                    */
/* ------------------------------------------------------------------------ */

using Faults = ProfileCall;

TEST_F(Faults, AServerFaultReturnsTwoWithTheTypedDetailAndNoResponse)
{
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_SVR_FAULT, create_in_mode("fault-server", resp));
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    SOAP_ENV__Fault *f = proxy().soap_fault();
    ASSERT_NE(nullptr, f);
    EXPECT_STREQ("SOAP-ENV:Server", f->faultcode);
    EXPECT_STREQ("Server fault requested by the test", f->faultstring);
    EXPECT_EQ(nullptr, f->SOAP_ENV__Code);
    EXPECT_STREQ("Server fault requested by the test", proxy().soap_fault_string());
    ASSERT_NE(nullptr, f->detail);
    EXPECT_NE(nullptr, f->detail->protocol__Server_x002eProcessing);
    EXPECT_EQ(nullptr, f->detail->protocol__Server);
    EXPECT_EQ(nullptr, f->detail->protocol__Client_x002eInvalidRequest);
    EXPECT_EQ(nullptr, proxy().soap_fault_detail());  /* nothing left over for the literal text */
    expect_next_call_works();
}

TEST_F(Faults, BadCredentialsReturnOneWithTheNotAuthorizedDetail)
{
    hdr.password = "wrong";
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_CLI_FAULT, create(resp));
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    SOAP_ENV__Fault *f = proxy().soap_fault();
    ASSERT_NE(nullptr, f);
    EXPECT_STREQ("SOAP-ENV:Client", f->faultcode);
    ASSERT_NE(nullptr, f->detail);
    protocol__Client_x002eAuthentication_x002eNotAuthorized *na =
        f->detail->protocol__Client_x002eAuthentication_x002eNotAuthorized;
    ASSERT_NE(nullptr, na);
    EXPECT_EQ(SOAP_TYPE_protocol__Client_x002eAuthentication_x002eNotAuthorized, na->soap_type());
    EXPECT_EQ(1u, na->authorityGroup.size());
    EXPECT_EQ(nullptr, f->detail->protocol__Client_x002eAuthentication_x002eCredentialsExpired);
    hdr.password = "secret";
    expect_next_call_works();
}

TEST_F(Faults, AFaultCodeOutsideTheEnvelopeNamespaceReturnsTwelve)
{
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_FAULT, create_in_mode("fault-custom-code", resp));
    ASSERT_NE(nullptr, proxy().soap_fault());
    EXPECT_STREQ("protocol:Server.ServiceUnavailable", proxy().soap_fault()->faultcode);
    ASSERT_NE(nullptr, proxy().soap_fault()->detail);
    EXPECT_NE(nullptr, proxy().soap_fault()->detail->protocol__Server_x002eServiceUnavailable);
    expect_next_call_works();
}

TEST_F(Faults, ADetailNoClassKnowsIsKeptWholeAsLiteralXml)
{
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_CLI_FAULT, create_in_mode("fault-unknown-detail", resp));
    const char *detail = proxy().soap_fault_detail();
    ASSERT_NE(nullptr, detail);
    std::string d = detail;
    EXPECT_NE(std::string::npos, d.find("diagnostic")) << d;
    EXPECT_NE(std::string::npos, d.find(">42<")) << d;
    EXPECT_NE(std::string::npos, d.find("level=\"high\"")) << d;
    expect_next_call_works();
}

TEST_F(Faults, AnUnknownFirstChildWithoutFaultGivesTagMismatchAndAClientFault)
{
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_TAG_MISMATCH, create_in_mode("unknown-child", resp));
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    SOAP_ENV__Fault *f = proxy().soap_fault();
    ASSERT_NE(nullptr, f);
    EXPECT_STREQ("SOAP-ENV:Client", f->faultcode);
    ASSERT_NE(nullptr, proxy().soap_fault_string());
    EXPECT_NE(std::string::npos, std::string(proxy().soap_fault_string()).find("tag name or namespace mismatch"))
        << proxy().soap_fault_string();
    expect_next_call_works();
}

TEST_F(Faults, AnEnvelopeInAnotherNamespaceGivesVersionMismatch)
{
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_VERSIONMISMATCH, create_in_mode("version-mismatch", resp));
    expect_next_call_works();
}

TEST_F(Faults, ASoap12FaultFillsCodeReasonAndDetailOfItsOwnVersion)
{
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_SVR_FAULT, create_in_mode("fault-server+soap12", resp));
    EXPECT_EQ(2, proxy().version);
    SOAP_ENV__Fault *f = proxy().soap_fault();
    ASSERT_NE(nullptr, f);
    EXPECT_EQ(nullptr, f->faultcode);
    ASSERT_NE(nullptr, f->SOAP_ENV__Code);
    EXPECT_STREQ("SOAP-ENV:Receiver", f->SOAP_ENV__Code->SOAP_ENV__Value);
    ASSERT_NE(nullptr, f->SOAP_ENV__Reason);
    EXPECT_STREQ("Server fault requested by the test", f->SOAP_ENV__Reason->SOAP_ENV__Text);
    EXPECT_STREQ("Server fault requested by the test", proxy().soap_fault_string());
    ASSERT_NE(nullptr, f->SOAP_ENV__Detail);
    EXPECT_NE(nullptr, f->SOAP_ENV__Detail->protocol__Server_x002eProcessing);
    expect_next_call_works();
    EXPECT_EQ(1, proxy().version);  /* the next answer is SOAP 1.1 again */
}

TEST_F(Faults, TheThreePrintersWriteTheSameReport)
{
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_SVR_FAULT, create_in_mode("fault-server", resp));
    const char *expected =
        "SOAP 1.1 fault: SOAP-ENV:Server [no subcode]\n\"Server fault requested by the test\"\nDetail: [no detail]\n";
    char buf[512];
    EXPECT_EQ(buf, proxy().soap_sprint_fault(buf, sizeof buf));
    EXPECT_STREQ(expected, buf);
    std::ostringstream os;
    proxy().soap_stream_fault(os);
    EXPECT_EQ(expected, os.str());
    FILE *f = tmpfile();
    ASSERT_NE(nullptr, f);
    proxy().soap_print_fault(f);
    rewind(f);
    char got[512] = "";
    size_t n = fread(got, 1, sizeof got - 1, f);
    got[n] = '\0';
    fclose(f);
    EXPECT_STREQ(expected, got);
}

TEST_F(Faults, AccessorsWithoutAFaultGiveNullAndMakeAnEmptyRecord)
{
    EXPECT_EQ(nullptr, proxy().soap_fault());
    EXPECT_EQ(nullptr, proxy().soap_fault_string());
    EXPECT_NE(nullptr, proxy().soap_fault());
    EXPECT_EQ(nullptr, proxy().soap_fault_detail());
    proxy().destroy();
    EXPECT_EQ(nullptr, proxy().soap_fault());
}

/* ------------------------------------------------------------------------ */
/* Transport: answers that are not a SOAP message, and broken connections   */
/* ------------------------------------------------------------------------ */

struct TransportCase {
    const char *mode;
    int code;
};

void PrintTo(const TransportCase &c, std::ostream *os) { *os << c.mode << " -> " << c.code; }

class Transport : public ProfileCall, public ::testing::WithParamInterface<TransportCase> {};

TEST_P(Transport, GivesItsCodeAndLeavesTheContextUsable)
{
    const TransportCase &c = GetParam();
    proxy().recv_timeout = -500000;  /* half a second, for the stalled provider */
    __protocolProfile__createResponse resp;
    EXPECT_EQ(c.code, create_in_mode(c.mode, resp));
    if (c.code != SOAP_OK)
        EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
    else
        EXPECT_NE(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(c.code, proxy().error);
    EXPECT_EQ(-1, proxy().socket);
    expect_next_call_works();
}

/* What each answer gives, and why:
 *  - an HTML error page: the HTTP status, not the missing envelope;
 *  - a body that breaks off inside the Envelope start tag (truncated, short-body): the status 200,
 *    which stands in for the end of input;
 *  - a badly formed element where the response should be (malformed): it is never parsed, so the
 *    unexpected first child of the Body gives the tag mismatch;
 *  - an empty 202: its status; an empty 200: no data;
 *  - a reset connection or a stalled one past recv_timeout: end of input. */
INSTANTIATE_TEST_SUITE_P(
    Answers, Transport,
    ::testing::Values(TransportCase{"http-500-html", 500}, TransportCase{"http-404", 404},
                      TransportCase{"truncated", 200}, TransportCase{"short-body", 200},
                      TransportCase{"malformed", SOAP_TAG_MISMATCH}, TransportCase{"empty-202", 202},
                      TransportCase{"empty-200", SOAP_NO_DATA}, TransportCase{"reset", SOAP_EOF},
                      TransportCase{"stall", SOAP_EOF}, TransportCase{"chunked", SOAP_OK},
                      TransportCase{"dribble", SOAP_OK}, TransportCase{"chunked+soap12", SOAP_OK},
                      TransportCase{"connection-close", SOAP_OK}),
    [](const ::testing::TestParamInfo<TransportCase> &info) {
        std::string name;
        for (const char *p = info.param.mode; *p; p++)
            name += (isalnum((unsigned char)*p) ? *p : '_');
        return name;
    });

TEST_F(ProfileCall, ASoap12AnswerSetsTheVersionAndReadsLikeAnyOther)
{
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create_in_mode("soap12", resp));
    EXPECT_EQ(2, proxy().version);
    ASSERT_NE(nullptr, resp.protocolProfile__createResponse);
    EXPECT_EQ(1u, resp.protocolProfile__createResponse->thisURI.size());
    EXPECT_NE(nullptr, proxy().soap_header());
}

/* ------------------------------------------------------------------------ */
/* Output modes                                                              */
/* ------------------------------------------------------------------------ */

struct OutputMode {
    const char *name;
    int omode;
    bool chunked;  /* otherwise sent with a Content-Length, counted or stored */
};

void PrintTo(const OutputMode &m, std::ostream *os) { *os << m.name; }

class OutputModes : public ProfileCall, public ::testing::WithParamInterface<OutputMode> {};

TEST_P(OutputModes, EveryFramingOfTheRequestReachesTheProvider)
{
    const OutputMode &m = GetParam();
    WireTap tap;
    tap.attach(&proxy(m.omode));
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create(resp));
    ASSERT_NE(nullptr, resp.protocolProfile__createResponse);
    size_t head_end = tap.sent.find("\r\n\r\n");
    ASSERT_NE(std::string::npos, head_end);
    std::string head = tap.sent.substr(0, head_end + 2);
    if (m.chunked) {
        EXPECT_NE(std::string::npos, head.find("\r\nTransfer-Encoding: chunked\r\n")) << head;
        EXPECT_EQ(std::string::npos, head.find("Content-Length")) << head;
    } else {
        size_t at = head.find("\r\nContent-Length: ");
        ASSERT_NE(std::string::npos, at) << head;
        EXPECT_EQ(tap.sent.size() - head_end - 4, strtoul(head.c_str() + at + 18, nullptr, 10));
    }
}

INSTANTIATE_TEST_SUITE_P(Framing, OutputModes,
                         ::testing::Values(OutputMode{"flush", SOAP_IO_FLUSH, false},
                                           OutputMode{"buffer", SOAP_IO_BUFFER, false},
                                           OutputMode{"store", SOAP_IO_STORE, false},
                                           OutputMode{"chunk", SOAP_IO_CHUNK, true}),
                         [](const ::testing::TestParamInfo<OutputMode> &info) { return std::string(info.param.name); });

/* ------------------------------------------------------------------------ */
/* Keep-alive                                                                */
/* ------------------------------------------------------------------------ */

using KeepAlive = ProfileCall;

TEST_F(KeepAlive, TheSecondCallReusesTheSameConnection)
{
    WireTap tap;
    tap.attach(&proxy(SOAP_IO_KEEPALIVE));
    __protocolProfile__createResponse a, b;
    ASSERT_EQ(SOAP_OK, create(a));
    int sock = proxy().socket;
    EXPECT_GE(sock, 0);
    EXPECT_EQ(1, proxy().keep_alive);
    ASSERT_EQ(SOAP_OK, create(b));
    EXPECT_EQ(sock, proxy().socket);
    EXPECT_EQ(1, tap.opens);
    EXPECT_EQ(2u, [&] {
        size_t n = 0;
        for (size_t at = tap.sent.find("POST "); at != std::string::npos; at = tap.sent.find("POST ", at + 1))
            n++;
        return n;
    }());
}

TEST_F(KeepAlive, AFaultLeavesTheConnectionForTheNextCall)
{
    WireTap tap;
    tap.attach(&proxy(SOAP_IO_KEEPALIVE));
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_SVR_FAULT, create_in_mode("fault-server", resp));
    EXPECT_GE(proxy().socket, 0);
    expect_next_call_works();
    EXPECT_EQ(1, tap.opens);
}

TEST_F(KeepAlive, AFailureWhileCountingReturnsItAndLeavesTheConnectionAlone)
{
    WireTap tap;
    tap.attach(&proxy(SOAP_IO_KEEPALIVE));
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create(resp));
    int sock = proxy().socket;
    size_t sent = tap.sent.size();
    proxy().fpreparefinalsend = [](struct soap *) { return SOAP_USER_ERROR; };
    EXPECT_EQ(SOAP_USER_ERROR, create(resp));
    EXPECT_EQ(SOAP_USER_ERROR, proxy().error);
    EXPECT_EQ(sock, proxy().socket);
    EXPECT_EQ(1, proxy().keep_alive);
    EXPECT_EQ(sent, tap.sent.size());  /* nothing went out */
    proxy().fpreparefinalsend = nullptr;
    expect_next_call_works();
    EXPECT_EQ(1, tap.opens);
}

TEST_F(KeepAlive, APeerThatClosesEndsItAndTheNextCallConnectsAgain)
{
    WireTap tap;
    tap.attach(&proxy(SOAP_IO_KEEPALIVE));
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create_in_mode("connection-close", resp));
    EXPECT_EQ(0, proxy().keep_alive);
    EXPECT_EQ(-1, proxy().socket);
    expect_next_call_works();
    EXPECT_EQ(2, tap.opens);
    EXPECT_EQ(1, proxy().keep_alive);
}

TEST_F(KeepAlive, CloseSocketKeepsItAndForceCloseSocketDropsIt)
{
    WireTap tap;
    tap.attach(&proxy(SOAP_IO_KEEPALIVE));
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, create(resp));
    int sock = proxy().socket;
    EXPECT_EQ(SOAP_OK, proxy().soap_close_socket());
    EXPECT_EQ(sock, proxy().socket);
    EXPECT_EQ(SOAP_OK, proxy().soap_force_close_socket());
    EXPECT_EQ(-1, proxy().socket);
    EXPECT_EQ(0, proxy().keep_alive);
    expect_next_call_works();
    EXPECT_EQ(2, tap.opens);
}

TEST_F(KeepAlive, ATimeOutClosesTheConnection)
{
    WireTap tap;
    tap.attach(&proxy(SOAP_IO_KEEPALIVE));
    proxy().recv_timeout = -300000;
    __protocolProfile__createResponse resp;
    EXPECT_EQ(SOAP_EOF, create_in_mode("stall", resp));
    EXPECT_EQ(-1, proxy().socket);
    EXPECT_EQ(0, proxy().keep_alive);
    char report[1024];
    EXPECT_STREQ("Error -1 fault: SOAP-ENV:Client [no subcode]\n\"End of file or no input: Operation "
                 "interrupted or timed out (300000us receive delay)\"\nDetail: [no detail]\n",
                 proxy().soap_sprint_fault(report, sizeof report));
    expect_next_call_works();
    EXPECT_EQ(2, tap.opens);
}

}  // namespace
