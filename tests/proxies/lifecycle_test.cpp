/* lifecycle_test.cpp -- what a proxy is before and between calls: its six constructors, its
 * namespace table, the copy of another context, destroy(), and a long run of calls that must leave
 * nothing behind.
 */
#include <cstring>

#include "proxy_support.h"

using namespace proxy_test;

namespace {

/* ------------------------------------------------------------------------ */
/* Construction                                                              */
/* ------------------------------------------------------------------------ */

class Construction : public ProxyTest {};

template <class P> void expect_constructed(P &p, uint32_t imode, uint32_t omode, const char *endpoint,
                                           const struct Namespace *table)
{
    EXPECT_EQ(1, p.state);
    EXPECT_EQ(imode, p.imode);
    EXPECT_EQ(omode, p.omode);
    EXPECT_EQ(endpoint, p.soap_endpoint);
    EXPECT_EQ(table, p.namespaces);
    EXPECT_EQ(nullptr, p.header);
    EXPECT_EQ(nullptr, p.fault);
}

TEST_F(Construction, TheSixProfileConstructorsSetModesEndpointAndTable)
{
    const char *url = "http://127.0.0.1:1/x";
    const struct Namespace *t = ProfileSoapBindingProxy_namespaces;
    expect_constructed(make<ProfileSoapBindingProxy>(), 0, 0, nullptr, t);
    expect_constructed(make<ProfileSoapBindingProxy>(SOAP_IO_KEEPALIVE), SOAP_IO_KEEPALIVE, SOAP_IO_KEEPALIVE,
                       nullptr, t);
    expect_constructed(make<ProfileSoapBindingProxy>(SOAP_XML_STRICT, SOAP_IO_CHUNK), SOAP_XML_STRICT,
                       SOAP_IO_CHUNK, nullptr, t);
    expect_constructed(make<ProfileSoapBindingProxy>(url), 0, 0, url, t);
    expect_constructed(make<ProfileSoapBindingProxy>(url, SOAP_IO_STORE), SOAP_IO_STORE, SOAP_IO_STORE, url, t);
}

TEST_F(Construction, TheSixProblemReportConstructorsSetModesEndpointAndTable)
{
    const char *url = "http://127.0.0.1:1/y";
    const struct Namespace *t = ProblemReportSoapBindingProxy_namespaces;
    expect_constructed(make<ProblemReportSoapBindingProxy>(), 0, 0, nullptr, t);
    expect_constructed(make<ProblemReportSoapBindingProxy>(SOAP_IO_KEEPALIVE), SOAP_IO_KEEPALIVE,
                       SOAP_IO_KEEPALIVE, nullptr, t);
    expect_constructed(make<ProblemReportSoapBindingProxy>(SOAP_XML_STRICT, SOAP_IO_CHUNK), SOAP_XML_STRICT,
                       SOAP_IO_CHUNK, nullptr, t);
    expect_constructed(make<ProblemReportSoapBindingProxy>(url), 0, 0, url, t);
    expect_constructed(make<ProblemReportSoapBindingProxy>(url, SOAP_IO_STORE), SOAP_IO_STORE, SOAP_IO_STORE,
                       url, t);
}

TEST_F(Construction, ACopyTakesModesTimeOutsAndTableButNoEndpoint)
{
    auto &base = make<ProblemReportSoapBindingProxy>("http://127.0.0.1:1/z", SOAP_IO_KEEPALIVE);
    base.recv_timeout = 7;
    auto &p = make<ProfileSoapBindingProxy>(static_cast<const struct soap &>(base));
    EXPECT_EQ(2, p.state);
    EXPECT_EQ(nullptr, p.soap_endpoint);
    EXPECT_EQ((uint32_t)SOAP_IO_KEEPALIVE, p.imode);
    EXPECT_EQ((uint32_t)SOAP_IO_KEEPALIVE, p.omode);
    EXPECT_EQ(7, p.recv_timeout);
    EXPECT_EQ(static_cast<const struct Namespace *>(ProblemReportSoapBindingProxy_namespaces), p.namespaces);
}

TEST_F(Construction, ACopiedProxyCallsLikeAnyOther)
{
    struct soap plain(SOAP_IO_KEEPALIVE);
    auto &p = make<ProfileSoapBindingProxy>(static_cast<const struct soap &>(plain));
    std::string url = profile_url();
    DaemonHeader hdr;
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    p.soap_header(&hdr.header);
    EXPECT_EQ(SOAP_OK, p.create(url.c_str(), nullptr, &req.content, resp));
    EXPECT_NE(nullptr, resp.protocolProfile__createResponse);
    p.soap_force_close_socket();
}

TEST_F(Construction, InitResetsEndpointModesAndTable)
{
    auto &p = make<ProfileSoapBindingProxy>("http://127.0.0.1:1/x", SOAP_IO_KEEPALIVE);
    soap_set_namespaces(&p, namespaces);
    EXPECT_EQ(SOAP_OK, p.ProfileSoapBindingProxy_init(SOAP_XML_STRICT, SOAP_IO_CHUNK));
    EXPECT_EQ(nullptr, p.soap_endpoint);
    EXPECT_EQ((uint32_t)SOAP_XML_STRICT, p.imode);
    EXPECT_EQ((uint32_t)SOAP_IO_CHUNK, p.omode);
    EXPECT_EQ(static_cast<const struct Namespace *>(ProfileSoapBindingProxy_namespaces), p.namespaces);
}

/* ------------------------------------------------------------------------ */
/* Namespace tables                                                          */
/* ------------------------------------------------------------------------ */

void expect_same_rows(const struct Namespace *a, const struct Namespace *b)
{
    size_t i = 0;
    for (; a[i].id && b[i].id; i++) {
        EXPECT_STREQ(a[i].id, b[i].id) << "row " << i;
        EXPECT_STREQ(a[i].ns, b[i].ns) << "row " << i;
        if (a[i].in || b[i].in) {
            EXPECT_STREQ(a[i].in, b[i].in) << "row " << i;
        }
        EXPECT_EQ(nullptr, a[i].out) << "row " << i;
    }
    EXPECT_EQ(nullptr, a[i].id);
    EXPECT_EQ(nullptr, b[i].id);
    EXPECT_EQ(14u, i);
}

TEST(NamespaceTables, EachProxyHasItsOwnTableWithTheRowsOfTheProcessWideOne)
{
    EXPECT_NE(static_cast<const void *>(ProfileSoapBindingProxy_namespaces),
              static_cast<const void *>(ProblemReportSoapBindingProxy_namespaces));
    expect_same_rows(ProfileSoapBindingProxy_namespaces, namespaces);
    expect_same_rows(ProblemReportSoapBindingProxy_namespaces, namespaces);
    EXPECT_STREQ("SOAP-ENV", ProfileSoapBindingProxy_namespaces[0].id);
    EXPECT_STREQ("protocolUpdateOrder", ProfileSoapBindingProxy_namespaces[13].id);
}

TEST(NamespaceTables, AProxyCallLeavesItsClassTableUntouched)
{
    /* what a message learns goes to the context's working copy, never into the class table */
    std::string url = profile_url();  /* borrowed by the proxy: it must outlive it */
    ProfileSoapBindingProxy p(url.c_str());
    DaemonHeader hdr;
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    hdr.with_target("test:soap12");
    p.soap_header(&hdr.header);
    ASSERT_EQ(SOAP_OK, p.create(&req.content, resp));
    for (const struct Namespace *n = ProfileSoapBindingProxy_namespaces; n->id; n++)
        EXPECT_EQ(nullptr, n->out) << n->id;
    p.destroy();
}

/* ------------------------------------------------------------------------ */
/* A long run                                                                */
/* ------------------------------------------------------------------------ */

class Soak : public ProxyTest {};

/* A daemon's loop: submit, read the answer, destroy, again; one kept connection. The fixture fails
 * the test if the context's allocation report names anything at its end. */
TEST_F(Soak, AThousandCallsWithDestroyBetweenThemLeaveNothingBehind)
{
    std::string url = report_url();
    auto &p = make<ProblemReportSoapBindingProxy>(url.c_str(), SOAP_IO_KEEPALIVE);
    WireTap tap;
    tap.attach(&p);
    DaemonHeader hdr;
    ReportRequest req;
    int failures = 0;
    size_t answers = 0;
    for (int i = 0; i < 1000; i++) {
        p.soap_header(&hdr.header);
        __protocolProblemReport__submitResponse resp;
        if (p.submit(&req.content, resp) != SOAP_OK || !resp.protocolProblemReport__submitResponse)
            failures++;
        else
            answers += resp.protocolProblemReport__submitResponse->answer.size();
        p.destroy();
        EXPECT_EQ(nullptr, p.header);
        EXPECT_EQ(nullptr, p.clist);
        tap.sent.clear();
    }
    EXPECT_EQ(0, failures);
    EXPECT_EQ(1000u, answers);
    EXPECT_LE(tap.opens, 1000 / p.max_keep_alive + 1);
}

}  // namespace
