/* soapcall.cpp -- what the two proxy classes share: the fixed sequence of one call (it only orders
 * engine and wrapper calls and decides which exit a failure takes), the copy of a context and the
 * header setter.  Not the XML, HTTP or socket work (the engine), not the wrappers (generated frame).
 */
#include "soapcall.h"

#include "soapenv.h"

/* The error of a failed step is its result; `error` normally holds the same, and where a step
 * returned a code without storing it, the code is stored so that the tear-down reports it. */
static int failed(struct soap *soap, int r)
{
    if (!soap->error)
        soap->error = r;
    return soap->error;
}

static int closed(struct soap *soap, int r)
{
    failed(soap, r);
    return soap_closesock(soap);
}

int soap_proxy_call(struct soap *soap, const char **endpoint_slot, const char *default_endpoint,
                    const char *endpoint, const char *action, const soap_proxy_operation *op,
                    const void *request_wrapper, void *response_wrapper)
{
    int r;

    /* set-up */
    if (endpoint)
        *endpoint_slot = endpoint;
    if (!*endpoint_slot)
        *endpoint_slot = default_endpoint;
    if (!action)
        action = "";
    /* document/literal, and no id/href multi-references */
    soap->encodingStyle = nullptr;
    soap_begin(soap);

    /* marking pass: enter the header and the request tree in the pointer table */
    soap_serializeheader(soap);
    op->serialize(soap, request_wrapper);

    /* counting pass, when the mode asks for a length up front */
    if ((r = soap_begin_count(soap)))
        return failed(soap, r);
    if (soap->mode & SOAP_IO_LENGTH) {
        if ((r = soap_envelope_begin_out(soap)) || (r = soap_putheader(soap)) || (r = soap_body_begin_out(soap))
            || (r = op->put(soap, request_wrapper, op->request_tag, nullptr)) || (r = soap_body_end_out(soap))
            || (r = soap_envelope_end_out(soap)))
            return failed(soap, r);
    }
    if ((r = soap_end_count(soap)))
        return failed(soap, r);

    /* sending */
    if ((r = soap_connect(soap, *endpoint_slot, action)) || (r = soap_envelope_begin_out(soap))
        || (r = soap_putheader(soap)) || (r = soap_body_begin_out(soap))
        || (r = op->put(soap, request_wrapper, op->request_tag, nullptr)) || (r = soap_body_end_out(soap))
        || (r = soap_envelope_end_out(soap)) || (r = soap_end_send(soap)))
        return closed(soap, r);
    if (!response_wrapper)
        return soap_closesock(soap);

    /* receiving */
    op->defaults(soap, response_wrapper);
    if ((r = soap_begin_recv(soap)) || (r = soap_envelope_begin_in(soap)) || (r = soap_recv_header(soap))
        || (r = soap_body_begin_in(soap)))
        return closed(soap, r);
    op->get(soap, response_wrapper, op->response_tag, "");
    if (soap->error)
        return soap_recv_fault(soap, 0);  /* the body's child may be a Fault */
    if ((r = soap_body_end_in(soap)) || (r = soap_envelope_end_in(soap)))
        return closed(soap, r);
    soap_end_recv(soap);  /* its result stays in `error` */
    return soap_closesock(soap);
}

void soap_proxy_copy_context(struct soap *dst, const struct soap *src)
{
    if (!soap_valid_state(src))
        return;
    soap_done(dst);
    if (soap_copy_context(dst, src))
        return;
    /* what the half-made copy holds of the connection is still src's */
    dst->socket = -1;
    dst->keep_alive = 1;
    dst->error = SOAP_OK;
    soap_done(dst);
    soap_init(dst);
    dst->error = SOAP_EOM;
}

void soap_proxy_set_header(struct soap *soap, protocol__Header *h)
{
    soap_header(soap);
    if (soap->header)
        soap->header->protocol__header = h;
}
