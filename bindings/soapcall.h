/* soapcall.h -- what the two proxy classes share: the one call sequence behind every operation,
 * the record that tells it which wrappers and pseudo tags an operation uses, and small context
 * helpers.  Private to bindings/: the proxy classes are the public face; nothing here is installed.
 */
#ifndef ORVSOAP_BINDINGS_SOAPCALL_H
#define ORVSOAP_BINDINGS_SOAPCALL_H

#include "soapengine.h"

class protocol__Header;

/* What differs from one operation to the next: the pseudo tags of its two wrappers and the four
 * wrapper functions the sequence needs, reached through untyped thunks so that the sequence is
 * compiled once for all operations. */
struct soap_proxy_operation {
    const char *request_tag;   /* "-prefix:operation": the request wrapper writes no element */
    const char *response_tag;  /* "-prefix:operationResponse": read from the first child of Body */
    void (*serialize)(struct soap *, const void *request_wrapper);
    int (*put)(struct soap *, const void *request_wrapper, const char *tag, const char *type);
    void (*defaults)(struct soap *, void *response_wrapper);
    void *(*get)(struct soap *, void *response_wrapper, const char *tag, const char *type);
};

template <class ReqW, class RespW,
          void (*Serialize)(struct soap *, const ReqW *),
          int (*Put)(struct soap *, const ReqW *, const char *, const char *),
          void (*Defaults)(struct soap *, RespW *),
          RespW *(*Get)(struct soap *, RespW *, const char *, const char *)>
struct soap_proxy_thunks {
    static void serialize(struct soap *soap, const void *w) { Serialize(soap, static_cast<const ReqW *>(w)); }
    static int put(struct soap *soap, const void *w, const char *tag, const char *type)
    {
        return Put(soap, static_cast<const ReqW *>(w), tag, type);
    }
    static void defaults(struct soap *soap, void *w) { Defaults(soap, static_cast<RespW *>(w)); }
    static void *get(struct soap *soap, void *w, const char *tag, const char *type)
    {
        return Get(soap, static_cast<RespW *>(w), tag, type);
    }
    static constexpr soap_proxy_operation operation(const char *request_tag, const char *response_tag)
    {
        return {request_tag, response_tag, &serialize, &put, &defaults, &get};
    }
};

/* The operation record of prefix:op, from the generated wrapper names
 * (__prefix__op, __prefix__opResponse and their soap_serialize_/soap_put_/soap_default_/soap_get_). */
#define SOAP_PROXY_OPERATION(prefix, op)                                                                 \
    soap_proxy_thunks<__##prefix##__##op, __##prefix##__##op##Response, soap_serialize___##prefix##__##op, \
                      soap_put___##prefix##__##op, soap_default___##prefix##__##op##Response,            \
                      soap_get___##prefix##__##op##Response>::operation("-" #prefix ":" #op,             \
                                                                        "-" #prefix ":" #op "Response")

/* One call: set-up, marking pass, counting pass, sending, receiving, tear-down.
 *   endpoint_slot    the proxy's soap_endpoint; a non-null `endpoint` replaces it for good, and the
 *                    default fills it when it is still null
 *   request_wrapper  the typed request wrapper on the caller's stack
 *   response_wrapper the caller's response wrapper, or null to send without reading an answer
 * Returns SOAP_OK or the error code; the context's `error` holds the same. */
int soap_proxy_call(struct soap *soap, const char **endpoint_slot, const char *default_endpoint,
                    const char *endpoint, const char *action, const soap_proxy_operation *op,
                    const void *request_wrapper, void *response_wrapper);

/* The copy constructor's work: `dst`, freshly initialised, takes over src's settings, modes and
 * namespace table (soap_copy_context).  If src is not a live context, or the copy fails half-way
 * (out of memory), dst ends as a fresh context, in the second case with `error` SOAP_EOM. */
void soap_proxy_copy_context(struct soap *dst, const struct soap *src);

/* soap_header(h): makes sure a SOAP_ENV__Header record exists, then points it at h. */
void soap_proxy_set_header(struct soap *soap, protocol__Header *h);

/* The text behind a fault accessor's slot, or null when the record could not be made. */
inline const char *soap_proxy_text(const char **slot) { return slot ? *slot : nullptr; }

/* The address behind a reference, with the compiler's knowledge that it is never null taken away:
 * a caller that binds the response reference to a null object says it wants no answer read, and
 * that test must survive optimisation. */
template <class T> inline T *soap_proxy_address(T &ref)
{
    T *p = &ref;
    __asm__("" : "+r"(p));
    return p;
}

#endif /* ORVSOAP_BINDINGS_SOAPCALL_H */
