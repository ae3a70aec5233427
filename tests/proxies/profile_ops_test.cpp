/* profile_ops_test.cpp -- every operation of ProfileSoapBindingProxy against the reference
 * provider: what goes out and what the typed response holds.
 */
#include "proxy_support.h"

using namespace proxy_test;

namespace {

class ProfileOperations : public ProxyTest {
protected:
    std::string url = profile_url();
    DaemonHeader hdr;
    ProfileSoapBindingProxy *proxy = nullptr;

    void SetUp() override { proxy = &make<ProfileSoapBindingProxy>(url.c_str()); }

    /* the header goes with every request: each response replaces the context's header */
    ProfileSoapBindingProxy &call()
    {
        proxy->soap_header(&hdr.header);
        return *proxy;
    }

    /* a new profile on the provider; its thisURI */
    std::string create_one()
    {
        ProfileRequest req;
        __protocolProfile__createResponse resp;
        EXPECT_EQ(SOAP_OK, call().create(&req.content, resp));
        if (!resp.protocolProfile__createResponse || resp.protocolProfile__createResponse->thisURI.empty())
            return std::string();
        return resp.protocolProfile__createResponse->thisURI[0];
    }
};

TEST_F(ProfileOperations, CreateAnswersTheStoredProfileWithItsNewUriAndActiveState)
{
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, call().create(&req.content, resp));
    protocolProfile__ProfileContent *p = resp.protocolProfile__createResponse;
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(1u, p->thisURI.size());
    EXPECT_EQ(0u, p->thisURI[0].rfind("urn:orv:profile:", 0)) << p->thisURI[0];
    ASSERT_NE(nullptr, p->state);
    EXPECT_EQ(protocolProfile__ProfileState__active, *p->state);
    ASSERT_NE(nullptr, p->identity);
    EXPECT_EQ("sp-0042", text(p->identity->systemName));
    EXPECT_EQ("SN-1234567", text(p->identity->serialNumber));
    ASSERT_EQ(1u, p->contact.size());
    EXPECT_EQ(std::vector<std::string>{"ops@example.org"}, p->contact[0]->email);
    /* the header's credentials are echoed, without the password */
    ASSERT_EQ(1u, p->credentials.size());
    EXPECT_EQ("daemon", text(p->credentials[0]->username));
    EXPECT_EQ(nullptr, p->credentials[0]->password);
    /* the objects are the context's */
    EXPECT_EQ(proxy, p->soap);
}

TEST_F(ProfileOperations, CreateSendsOneRequestElementUnderTheHeaderWithMustUnderstand)
{
    WireTap tap;
    tap.attach(proxy);
    ProfileRequest req;
    __protocolProfile__createResponse resp;
    ASSERT_EQ(SOAP_OK, call().create(&req.content, resp));
    std::string env = tap.last_envelope();
    EXPECT_NE(std::string::npos, env.find("<SOAP-ENV:Header><protocol:header SOAP-ENV:mustUnderstand=\"1\">"))
        << env;
    EXPECT_NE(std::string::npos, env.find("<SOAP-ENV:Body><protocolProfile:createRequest>")) << env;
    EXPECT_NE(std::string::npos, env.find("</protocolProfile:createRequest></SOAP-ENV:Body>")) << env;
    EXPECT_EQ(std::string::npos, env.find("xsi:type")) << env;
    EXPECT_EQ(std::string::npos, env.find(" id=\"")) << env;
    /* the SOAP action is the empty string, sent as such */
    EXPECT_NE(std::string::npos, tap.sent.find("\r\nSOAPAction: \"\"\r\n")) << tap.sent.substr(0, 400);
}

TEST_F(ProfileOperations, GetReadsTheProfileTheHeaderTargets)
{
    std::string uri = create_one();
    ASSERT_FALSE(uri.empty());
    hdr.with_target(uri);
    _protocolProfile__getRequest req;
    __protocolProfile__getResponse resp;
    ASSERT_EQ(SOAP_OK, call().get(&req, resp));
    ASSERT_NE(nullptr, resp.protocolProfile__getResponse);
    ASSERT_EQ(1u, resp.protocolProfile__getResponse->thisURI.size());
    EXPECT_EQ(uri, resp.protocolProfile__getResponse->thisURI[0]);
    ASSERT_NE(nullptr, resp.protocolProfile__getResponse->identity);
    EXPECT_EQ("sp-0042", text(resp.protocolProfile__getResponse->identity->systemName));
}

TEST_F(ProfileOperations, SetReplacesTheNamedProfile)
{
    std::string uri = create_one();
    ASSERT_FALSE(uri.empty());
    ProfileRequest req;
    req.machine = "sp-0099";
    req.content.thisURI.push_back(uri);
    req.content.contact.clear();
    __protocolProfile__setResponse resp;
    ASSERT_EQ(SOAP_OK, call().set(&req.content, resp));
    protocolProfile__ProfileContent *p = resp.protocolProfile__setResponse;
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(std::vector<std::string>{uri}, p->thisURI);
    ASSERT_NE(nullptr, p->identity);
    EXPECT_EQ("sp-0099", text(p->identity->systemName));
    EXPECT_TRUE(p->contact.empty());
    ASSERT_NE(nullptr, p->state);
    EXPECT_EQ(protocolProfile__ProfileState__active, *p->state);
}

TEST_F(ProfileOperations, AddAppendsRepeatedMembers)
{
    std::string uri = create_one();
    ASSERT_FALSE(uri.empty());
    std::string name = "Night shift", mail = "night@example.org";
    protocol__Contact second;
    second.name = &name;
    second.email.push_back(mail);
    protocolProfile__ProfileContent req;
    req.thisURI.push_back(uri);
    req.contact.push_back(&second);
    __protocolProfile__addResponse resp;
    ASSERT_EQ(SOAP_OK, call().add(&req, resp));
    protocolProfile__ProfileContent *p = resp.protocolProfile__addResponse;
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(2u, p->contact.size());
    EXPECT_EQ("Operations", text(p->contact[0]->name));
    EXPECT_EQ("Night shift", text(p->contact[1]->name));
}

TEST_F(ProfileOperations, RefreshCredentialsAnswersFreshCredentials)
{
    std::string uri = create_one();
    ASSERT_FALSE(uri.empty());
    hdr.with_target(uri);
    _protocolProfile__refreshCredentialsRequest req;
    __protocolProfile__refreshCredentialsResponse resp;
    ASSERT_EQ(SOAP_OK, call().refreshCredentials(&req, resp));
    protocolProfile__ProfileContent *p = resp.protocolProfile__refreshCredentialsResponse;
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(1u, p->credentials.size());
    protocol__Credentials *c = p->credentials[0];
    EXPECT_EQ("daemon", text(c->username));
    ASSERT_NE(nullptr, c->password);
    EXPECT_EQ(0u, c->password->rfind("pw-", 0));
    ASSERT_NE(nullptr, c->token);
    EXPECT_EQ(32u, c->token->size());
    ASSERT_NE(nullptr, c->state);
    EXPECT_EQ(protocol__CredentialsState__valid, *c->state);
    EXPECT_NE(nullptr, c->expiration);
}

TEST_F(ProfileOperations, RemoveAnswersTheProfileClosedAndForgetsIt)
{
    std::string uri = create_one();
    ASSERT_FALSE(uri.empty());
    protocolProfile__ProfileContent req;
    req.thisURI.push_back(uri);
    __protocolProfile__removeResponse resp;
    ASSERT_EQ(SOAP_OK, call().remove(&req, resp));
    ASSERT_NE(nullptr, resp.protocolProfile__removeResponse);
    ASSERT_NE(nullptr, resp.protocolProfile__removeResponse->state);
    EXPECT_EQ(protocolProfile__ProfileState__closed, *resp.protocolProfile__removeResponse->state);

    /* a second remove finds nothing: a Client fault with the typed ObjectNotFound detail */
    __protocolProfile__removeResponse again;
    EXPECT_EQ(SOAP_CLI_FAULT, call().remove(&req, again));
    EXPECT_EQ(nullptr, again.protocolProfile__removeResponse);
    ASSERT_NE(nullptr, proxy->soap_fault());
    ASSERT_NE(nullptr, proxy->soap_fault()->detail);
    EXPECT_NE(nullptr, proxy->soap_fault()->detail->protocol__Client_x002eObjectNotFound);
}

}  // namespace
