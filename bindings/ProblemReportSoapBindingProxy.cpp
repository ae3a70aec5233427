/* ProblemReportSoapBindingProxy.cpp -- the ProblemReport service's proxy: constructors, the context
 * accessors, and the five operations, each a row for the shared call sequence (soapcall.cpp).
 * Not the call sequence itself, not the wrappers' reading and writing (generated frame).
 */
#include "ProblemReportSoapBindingProxy.h"

#include <ostream>

#include "namespacerows.h"
#include "soapcall.h"

struct Namespace ProblemReportSoapBindingProxy_namespaces[] = SOAP_PROXY_NAMESPACE_ROWS;

static const char default_endpoint[] = "http://localhost:9080/orv/v1.0/services/ProblemReport";

ProblemReportSoapBindingProxy::ProblemReportSoapBindingProxy() : soap()
{
    ProblemReportSoapBindingProxy_init(0, 0);
}

ProblemReportSoapBindingProxy::ProblemReportSoapBindingProxy(int iomode) : soap()
{
    ProblemReportSoapBindingProxy_init(iomode, iomode);
}

ProblemReportSoapBindingProxy::ProblemReportSoapBindingProxy(int imode, int omode) : soap()
{
    ProblemReportSoapBindingProxy_init(imode, omode);
}

ProblemReportSoapBindingProxy::ProblemReportSoapBindingProxy(const char *url) : soap()
{
    ProblemReportSoapBindingProxy_init(0, 0);
    soap_endpoint = url;
}

ProblemReportSoapBindingProxy::ProblemReportSoapBindingProxy(const char *url, int iomode) : soap()
{
    ProblemReportSoapBindingProxy_init(iomode, iomode);
    soap_endpoint = url;
}

ProblemReportSoapBindingProxy::ProblemReportSoapBindingProxy(const soap &other)
    : soap(), soap_endpoint(nullptr)
{
    soap_proxy_copy_context(this, &other);
}

ProblemReportSoapBindingProxy::~ProblemReportSoapBindingProxy() {}

int ProblemReportSoapBindingProxy::ProblemReportSoapBindingProxy_init(int imode, int omode)
{
    soap_endpoint = nullptr;
    this->imode = (uint32_t)imode;
    this->omode = (uint32_t)omode;
    return soap_set_namespaces(this, ProblemReportSoapBindingProxy_namespaces);
}

void ProblemReportSoapBindingProxy::destroy()
{
    soap_delete(this, nullptr);
    soap_end(this);
}

void ProblemReportSoapBindingProxy::soap_noheader() { header = nullptr; }

void ProblemReportSoapBindingProxy::soap_header(protocol__Header *h) { soap_proxy_set_header(this, h); }

SOAP_ENV__Header *ProblemReportSoapBindingProxy::soap_header() { return header; }

SOAP_ENV__Fault *ProblemReportSoapBindingProxy::soap_fault() { return fault; }

const char *ProblemReportSoapBindingProxy::soap_fault_string()
{
    return soap_proxy_text(soap_faultstring(this));
}

const char *ProblemReportSoapBindingProxy::soap_fault_detail()
{
    return soap_proxy_text(soap_faultdetail(this));
}

int ProblemReportSoapBindingProxy::soap_close_socket() { return soap_closesock(this); }

int ProblemReportSoapBindingProxy::soap_force_close_socket() { return soap_force_closesock(this); }

void ProblemReportSoapBindingProxy::soap_print_fault(FILE *fd) { ::soap_print_fault(this, fd); }

void ProblemReportSoapBindingProxy::soap_stream_fault(std::ostream &os) { ::soap_stream_fault(this, os); }

char *ProblemReportSoapBindingProxy::soap_sprint_fault(char *buf, size_t len)
{
    ::soap_sprint_fault(this, buf, len);
    return buf;
}

int ProblemReportSoapBindingProxy::get(const char *endpoint, const char *action,
                                       _protocolProblemReport__getRequest *request,
                                       __protocolProblemReport__getResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProblemReport, get);
    __protocolProblemReport__get wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProblemReportSoapBindingProxy::submit(const char *endpoint, const char *action,
                                          protocolProblemReport__ProblemReportContent *request,
                                          __protocolProblemReport__submitResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProblemReport, submit);
    __protocolProblemReport__submit wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProblemReportSoapBindingProxy::attach(const char *endpoint, const char *action,
                                          _protocolProblemReport__attachRequest *request,
                                          __protocolProblemReport__attachResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProblemReport, attach);
    __protocolProblemReport__attach wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProblemReportSoapBindingProxy::attachStatus(const char *endpoint, const char *action,
                                                protocol__AttachStatusRequest *request,
                                                __protocolProblemReport__attachStatusResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProblemReport, attachStatus);
    __protocolProblemReport__attachStatus wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}

int ProblemReportSoapBindingProxy::remove(const char *endpoint, const char *action,
                                          protocolProblemReport__ProblemReportContent *request,
                                          __protocolProblemReport__removeResponse &response)
{
    static constexpr soap_proxy_operation op = SOAP_PROXY_OPERATION(protocolProblemReport, remove);
    __protocolProblemReport__remove wrapper{request};
    return soap_proxy_call(this, &soap_endpoint, default_endpoint, endpoint, action, &op, &wrapper,
                           soap_proxy_address(response));
}
