/* ProfileSoapBindingProxy.cpp -- the Profile service's proxy: constructors, the context
 * accessors, and the six operations, each a row for the shared call sequence (soapcall.cpp).
 * Not the call sequence itself, not the wrappers' reading and writing (generated frame).
 */
#include "ProfileSoapBindingProxy.h"

#include <ostream>

#include "namespacerows.h"
#include "soapcall.h"

struct Namespace ProfileSoapBindingProxy_namespaces[] = SOAP_PROXY_NAMESPACE_ROWS;

static const char default_endpoint[] = "http://localhost:9080/orv/v1.0/services/Profile";

ProfileSoapBindingProxy::ProfileSoapBindingProxy() : soap() { ProfileSoapBindingProxy_init(0, 0); }

ProfileSoapBindingProxy::ProfileSoapBindingProxy(int iomode) : soap()
{
    ProfileSoapBindingProxy_init(iomode, iomode);
}

ProfileSoapBindingProxy::ProfileSoapBindingProxy(int imode, int omode) : soap()
{
    ProfileSoapBindingProxy_init(imode, omode);
}

ProfileSoapBindingProxy::ProfileSoapBindingProxy(const char *url) : soap()
{
    ProfileSoapBindingProxy_init(0, 0);
    soap_endpoint = url;
}

ProfileSoapBindingProxy::ProfileSoapBindingProxy(const char *url, int iomode) : soap()
{
    ProfileSoapBindingProxy_init(iomode, iomode);
    soap_endpoint = url;
}

ProfileSoapBindingProxy::ProfileSoapBindingProxy(const soap &other) : soap(), soap_endpoint(nullptr)
{
    soap_proxy_copy_context(this, &other);
}

ProfileSoapBindingProxy::~ProfileSoapBindingProxy() {}

int ProfileSoapBindingProxy::ProfileSoapBindingProxy_init(int imode, int omode)
{
    soap_endpoint = nullptr;
    this->imode = (uint32_t)imode;
    this->omode = (uint32_t)omode;
    return soap_set_namespaces(this, ProfileSoapBindingProxy_namespaces);
}

void ProfileSoapBindingProxy::destroy()
{
    soap_delete(this, nullptr);
    soap_end(this);
}

void ProfileSoapBindingProxy::soap_noheader() { header = nullptr; }

void ProfileSoapBindingProxy::soap_header(protocol__Header *h) { soap_proxy_set_header(this, h); }

SOAP_ENV__Header *ProfileSoapBindingProxy::soap_header() { return header; }

SOAP_ENV__Fault *ProfileSoapBindingProxy::soap_fault() { return fault; }

const char *ProfileSoapBindingProxy::soap_fault_string() { return soap_proxy_text(soap_faultstring(this)); }

const char *ProfileSoapBindingProxy::soap_fault_detail() { return soap_proxy_text(soap_faultdetail(this)); }

int ProfileSoapBindingProxy::soap_close_socket() { return soap_closesock(this); }

int ProfileSoapBindingProxy::soap_force_close_socket() { return soap_force_closesock(this); }

void ProfileSoapBindingProxy::soap_print_fault(FILE *fd) { ::soap_print_fault(this, fd); }

void ProfileSoapBindingProxy::soap_stream_fault(std::ostream &os) { ::soap_stream_fault(this, os); }

char *ProfileSoapBindingProxy::soap_sprint_fault(char *buf, size_t len)
{
    ::soap_sprint_fault(this, buf, len);
    return buf;
}

int ProfileSoapBindingProxy::create(const char *endpoint, const char *action,
                                    protocolProfile__ProfileContent *request,
                                    __protocolProfile__createResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProfile, create);
    __protocolProfile__create wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProfileSoapBindingProxy::get(const char *endpoint, const char *action,
                                 _protocolProfile__getRequest *request,
                                 __protocolProfile__getResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProfile, get);
    __protocolProfile__get wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProfileSoapBindingProxy::set(const char *endpoint, const char *action,
                                 protocolProfile__ProfileContent *request,
                                 __protocolProfile__setResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProfile, set);
    __protocolProfile__set wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProfileSoapBindingProxy::add(const char *endpoint, const char *action,
                                 protocolProfile__ProfileContent *request,
                                 __protocolProfile__addResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProfile, add);
    __protocolProfile__add wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProfileSoapBindingProxy::refreshCredentials(const char *endpoint, const char *action,
                                                _protocolProfile__refreshCredentialsRequest *request,
                                                __protocolProfile__refreshCredentialsResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProfile, refreshCredentials);
    __protocolProfile__refreshCredentials wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProfileSoapBindingProxy::remove(const char *endpoint, const char *action,
                                    protocolProfile__ProfileContent *request,
                                    __protocolProfile__removeResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProfile, remove);
    __protocolProfile__remove wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}
