/* proxy_support.h -- what the proxy tests share: the reference provider as a child process on a
 * free loopback port (one per test binary run), a fixture that makes proxies and checks at their
 * end that the context leaked nothing, a recorder of the bytes a proxy sends, and builders of the
 * request objects a daemon would fill.  Not a model of the provider: the tests talk to the real one.
 */
#ifndef ORVSOAP_TESTS_PROXY_SUPPORT_H
#define ORVSOAP_TESTS_PROXY_SUPPORT_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "orvsoap.h"

namespace proxy_test {

/* The provider started for this process: its base URL "http://127.0.0.1:PORT". */
const std::string &provider_base();
inline std::string profile_url() { return provider_base() + "/orv/v1.0/services/Profile"; }
inline std::string report_url() { return provider_base() + "/orv/v1.0/services/ProblemReport"; }

/* A tap on a context's transport (through `user`, fsend and fopen): every byte it sends, kept
 * beside the real send, and the number of connections it opens. */
struct WireTap {
    std::string sent;
    int opens = 0;
    int (*next_send)(struct soap *, const char *, size_t) = nullptr;
    int (*next_open)(struct soap *, const char *, const char *, int) = nullptr;

    void attach(struct soap *soap);
    /* the XML of the last message sent: from its "<SOAP-ENV:Envelope" on */
    std::string last_envelope() const;
};

/* The header a daemon sends: one credentials record, optionally a targetURI. */
struct DaemonHeader {
    std::string user = "daemon";
    std::string password = "secret";
    std::string target;
    protocol__Credentials credentials;
    protocol__Header header;

    DaemonHeader();
    DaemonHeader(const DaemonHeader &) = delete;
    DaemonHeader &operator=(const DaemonHeader &) = delete;
    /* targetURI: the object of get/attach/..., or "test:MODE[;REAL]" for a provider misbehaviour */
    DaemonHeader &with_target(const std::string &uri);
    DaemonHeader &without_target();
};

/* A profile content with an identity and a contact; strings held here. */
struct ProfileRequest {
    std::string machine = "sp-0042";
    std::string serial = "SN-1234567";
    std::string contact_name = "Operations";
    std::string email = "ops@example.org";
    std::string authority;
    protocol__Identity identity;
    protocol__Contact contact;
    protocolProfile__ProfileContent content;

    ProfileRequest();
    ProfileRequest(const ProfileRequest &) = delete;
    ProfileRequest &operator=(const ProfileRequest &) = delete;
};

/* A problem report content: subject, problem types, title, description; optional padding of
 * notes to reach a size (for the soak and the benchmark). */
struct ReportRequest {
    std::string title = "Fan failure in rack 7";
    std::string description = "Fan 3 stopped; temperature rising <above 70 C> & alarm raised";
    std::string machine = "sp-0042";
    std::string serial = "SN-1234567";
    protocol__Identity subject;
    protocolProblemReport__ProblemReportContent content;

    ReportRequest();
    ReportRequest(const ReportRequest &) = delete;
    ReportRequest &operator=(const ReportRequest &) = delete;
    void pad_to(size_t bytes);
};

/* Makes proxies and, when the test ends, destroys them and fails the test if the context's
 * allocation report names a block not freed or freed twice. */
class ProxyTest : public ::testing::Test {
protected:
    template <class P, class... A> P &make(A &&...args)
    {
        P *p = new P(std::forward<A>(args)...);
        owned_.emplace_back(p);
        return *p;
    }
    /* Destroys one proxy now, with the same check. */
    void finish(struct soap &proxy);
    void TearDown() override;

private:
    std::vector<std::unique_ptr<struct soap>> owned_;
};

/* The value behind an optional string member, or "(none)". */
inline std::string text(const std::string *s) { return s ? *s : std::string("(none)"); }

/* A response reference bound to no object: how a caller says "send only, read nothing".
 * Made out of the compiler's and the sanitizer's sight, since binding it is the point. */
template <class T> __attribute__((no_sanitize("undefined"), noinline)) T &no_response()
{
    T *volatile p = nullptr;
    return *p;
}

}  // namespace proxy_test

#endif /* ORVSOAP_TESTS_PROXY_SUPPORT_H */
