/* ProblemReportSoapBindingProxy.h -- the client of the ProblemReport service: a `soap` context
 * with the five ProblemReport operations as methods.  Not the message classes (orvmodel.h) nor the engine
 * (soapengine.h): the proxy only runs one call sequence over them.
 */
#ifndef ORVSOAP_PROBLEMREPORTSOAPBINDINGPROXY_H
#define ORVSOAP_PROBLEMREPORTSOAPBINDINGPROXY_H

#include <cstdio>
#include <iosfwd>

#include "orvmodel.h"
#include "soapengine.h"

/* The namespace table the proxy installs: the same rows as the process-wide `namespaces`. */
extern struct Namespace ProblemReportSoapBindingProxy_namespaces[];

/* A proxy is a context: set time-outs, credentials (userid/passwd), proxy settings and so on in
 * its `soap` fields, then call.  One call at a time; one proxy per thread.
 *
 * Ownership: request objects, the protocol__Header given to soap_header(h), and the endpoint and
 * action strings stay the caller's and are only read.  Everything a call produces (the objects a
 * response wrapper points at, the fault, the response header) belongs to the proxy and stays valid
 * until destroy() or the proxy's end.
 *
 * Every operation returns SOAP_OK (0) or an error code, also left in `error`: a server fault comes
 * back as 1 (Client/Sender), 2 (Server/Receiver), 8 (MustUnderstand), 39 (VersionMismatch) or 12
 * (any other code) with soap_fault() filled; a transport or reading failure as its own code. */
class ProblemReportSoapBindingProxy : public soap {
public:
    /* Endpoint list for the next call (several addresses separated by blanks are tried in turn
     * while the connection fails).  Borrowed, never copied: the string must outlive the proxy.
     * Null until a call installs the class default or one is given. */
    const char *soap_endpoint;

    ProblemReportSoapBindingProxy();
    explicit ProblemReportSoapBindingProxy(int iomode);
    ProblemReportSoapBindingProxy(int imode, int omode);
    explicit ProblemReportSoapBindingProxy(const char *url);
    ProblemReportSoapBindingProxy(const char *url, int iomode);
    /* A copy of another context's settings (modes, namespace table, time-outs); no endpoint. */
    explicit ProblemReportSoapBindingProxy(const soap &other);
    virtual ~ProblemReportSoapBindingProxy();

    /* Sets soap_endpoint to null, imode and omode, and the class's namespace table; returns the
     * result of soap_set_namespaces. */
    virtual int ProblemReportSoapBindingProxy_init(int imode, int omode);
    /* Releases everything the calls so far produced; settings and connection stay. */
    virtual void destroy();
    /* The next message goes without SOAP-ENV:Header. */
    virtual void soap_noheader();
    /* The next messages carry `h` (the caller's) in SOAP-ENV:Header. */
    virtual void soap_header(protocol__Header *h);
    /* After a call: the header that came with the response, or null. */
    virtual SOAP_ENV__Header *soap_header();
    /* The fault of the last failed call, or null. */
    virtual SOAP_ENV__Fault *soap_fault();
    /* Fault string and literal detail (an empty fault record is made when there is none). */
    virtual const char *soap_fault_string();
    virtual const char *soap_fault_detail();
    /* Closes the connection unless keep-alive allows it to stay; returns `error`. */
    virtual int soap_close_socket();
    /* Closes the connection at once; returns `error`. */
    virtual int soap_force_close_socket();
    virtual void soap_print_fault(FILE *fd);
    virtual void soap_stream_fault(std::ostream &os);
    /* Writes the fault report into buf (len bytes); returns buf. */
    virtual char *soap_sprint_fault(char *buf, size_t len);

    /* The operations: the short form uses soap_endpoint and the action "". */
    virtual int get(_protocolProblemReport__getRequest *request,
                    __protocolProblemReport__getResponse &response)
    {
        return get(nullptr, nullptr, request, response);
    }
    virtual int get(const char *endpoint, const char *action, _protocolProblemReport__getRequest *request,
                    __protocolProblemReport__getResponse &response);
    virtual int submit(protocolProblemReport__ProblemReportContent *request,
                       __protocolProblemReport__submitResponse &response)
    {
        return submit(nullptr, nullptr, request, response);
    }
    virtual int submit(const char *endpoint, const char *action,
                       protocolProblemReport__ProblemReportContent *request,
                       __protocolProblemReport__submitResponse &response);
    virtual int attach(_protocolProblemReport__attachRequest *request,
                       __protocolProblemReport__attachResponse &response)
    {
        return attach(nullptr, nullptr, request, response);
    }
    virtual int attach(const char *endpoint, const char *action,
                       _protocolProblemReport__attachRequest *request,
                       __protocolProblemReport__attachResponse &response);
    virtual int attachStatus(protocol__AttachStatusRequest *request,
                             __protocolProblemReport__attachStatusResponse &response)
    {
        return attachStatus(nullptr, nullptr, request, response);
    }
    virtual int attachStatus(const char *endpoint, const char *action, protocol__AttachStatusRequest *request,
                             __protocolProblemReport__attachStatusResponse &response);
    virtual int remove(protocolProblemReport__ProblemReportContent *request,
                       __protocolProblemReport__removeResponse &response)
    {
        return remove(nullptr, nullptr, request, response);
    }
    virtual int remove(const char *endpoint, const char *action,
                       protocolProblemReport__ProblemReportContent *request,
                       __protocolProblemReport__removeResponse &response);
};

#endif /* ORVSOAP_PROBLEMREPORTSOAPBINDINGPROXY_H */
