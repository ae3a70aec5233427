/* noframe.cpp -- the frame entry points of an engine built without a message
 * model: nothing is known by tag or type id, no header and no fault record
 * exist.  The generated frame replaces this file in the full library; the
 * engine's own tests link it.
 */
#include "soapengine.h"

void *soap_getelement(struct soap *soap, int *type)
{
    *type = 0;
    if (soap_peek_element(soap))
        return nullptr;
    soap->error = SOAP_TAG_MISMATCH;
    return nullptr;
}

int soap_putelement(struct soap *, const void *, const char *, int, int) { return SOAP_OK; }
void soap_markelement(struct soap *, const void *, int) {}

int soap_getindependent(struct soap *soap)
{
    (void)soap;
    return SOAP_OK;
}

int soap_putindependent(struct soap *) { return SOAP_OK; }

void *soap_instantiate(struct soap *soap, int, const char *, const char *, size_t *)
{
    soap->error = SOAP_TAG_MISMATCH;
    return nullptr;
}

int soap_fdelete(struct soap_clist *) { return SOAP_OK; }

void soap_container_insert(struct soap *, int, int, void *, size_t, const void *, size_t) {}

int soap_getheader(struct soap *soap)
{
    soap->header = nullptr;
    soap->error = SOAP_TAG_MISMATCH;
    return soap->error;
}

int soap_putheader(struct soap *) { return SOAP_OK; }
void soap_serializeheader(struct soap *) {}
void soap_getfault(struct soap *soap) { soap->error = SOAP_TAG_MISMATCH; }
int soap_putfault(struct soap *) { return SOAP_OK; }
void soap_serializefault(struct soap *) {}
void soap_header(struct soap *) {}
void soap_fault(struct soap *) {}

/* No default namespace table without the bindings. */
struct Namespace namespaces[] = {
    {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope", nullptr},
    {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding", nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
    {nullptr, nullptr, nullptr, nullptr}};
