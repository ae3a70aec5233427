/* ProfileSoapBindingProxy.h -- the client of the Profile service: a `soap` context with the six
 * Profile operations as methods.  Not the message classes (orvmodel.h) nor the engine
 * (soapengine.h): the proxy only runs one call sequence over them.
 */
#ifndef ORVSOAP_PROFILESOAPBINDINGPROXY_H
#define ORVSOAP_PROFILESOAPBINDINGPROXY_H

#include <cstdio>
#include <iosfwd>

#include "orvmodel.h"
#include "soapengine.h"

/* The namespace table the proxy installs: the same rows as the process-wide `namespaces`. */
extern struct Namespace ProfileSoapBindingProxy_namespaces[];

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
class ProfileSoapBindingProxy : public soap {
public:
    /* Endpoint list for the next call (several addresses separated by blanks are tried in turn
     * while the connection fails).  Borrowed, never copied: the string must outlive the proxy.
     * Null until a call installs the class default or one is given. */
    const char *soap_endpoint;

    ProfileSoapBindingProxy();
    explicit ProfileSoapBindingProxy(int iomode);
    ProfileSoapBindingProxy(int imode, int omode);
    explicit ProfileSoapBindingProxy(const char *url);
    ProfileSoapBindingProxy(const char *url, int iomode);
    /* A copy of another context's settings (modes, namespace table, time-outs); no endpoint. */
    explicit ProfileSoapBindingProxy(const soap &other);
    virtual ~ProfileSoapBindingProxy();

    /* Sets soap_endpoint to null, imode and omode, and the class's namespace table; returns the
     * result of soap_set_namespaces. */
    virtual int ProfileSoapBindingProxy_init(int imode, int omode);
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
    virtual int create(protocolProfile__ProfileContent *request, __protocolProfile__createResponse &response)
    {
        return create(nullptr, nullptr, request, response);
    }
    virtual int create(const char *endpoint, const char *action, protocolProfile__ProfileContent *request,
                       __protocolProfile__createResponse &response);
    virtual int get(_protocolProfile__getRequest *request, __protocolProfile__getResponse &response)
    {
        return get(nullptr, nullptr, request, response);
    }
    virtual int get(const char *endpoint, const char *action, _protocolProfile__getRequest *request,
                    __protocolProfile__getResponse &response);
    virtual int set(protocolProfile__ProfileContent *request, __protocolProfile__setResponse &response)
    {
        return set(nullptr, nullptr, request, response);
    }
    virtual int set(const char *endpoint, const char *action, protocolProfile__ProfileContent *request,
                    __protocolProfile__setResponse &response);
    virtual int add(protocolProfile__ProfileContent *request, __protocolProfile__addResponse &response)
    {
        return add(nullptr, nullptr, request, response);
    }
    virtual int add(const char *endpoint, const char *action, protocolProfile__ProfileContent *request,
                    __protocolProfile__addResponse &response);
    virtual int refreshCredentials(_protocolProfile__refreshCredentialsRequest *request,
                                   __protocolProfile__refreshCredentialsResponse &response)
    {
        return refreshCredentials(nullptr, nullptr, request, response);
    }
    virtual int refreshCredentials(const char *endpoint, const char *action,
                                   _protocolProfile__refreshCredentialsRequest *request,
                                   __protocolProfile__refreshCredentialsResponse &response);
    virtual int remove(protocolProfile__ProfileContent *request, __protocolProfile__removeResponse &response)
    {
        return remove(nullptr, nullptr, request, response);
    }
    virtual int remove(const char *endpoint, const char *action, protocolProfile__ProfileContent *request,
                       __protocolProfile__removeResponse &response);
};

#endif /* ORVSOAP_PROFILESOAPBINDINGPROXY_H */
