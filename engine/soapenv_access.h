/* soapenv_access.h -- the engine's way into the SOAP Header and Fault records:
 * making them on first use and giving the addresses of their texts, written
 * once over the record types so that every frame instantiates the same code.
 * Not here: reading and writing the records (the frame does that).
 *
 * A frame supplies a traits class `Env` with the record types
 *   Env::Header, Env::Fault, Env::Code, Env::Reason, Env::Detail
 * (the SOAP_ENV__ records: Fault with faultcode, faultstring, detail,
 * SOAP_ENV__Code, SOAP_ENV__Reason, SOAP_ENV__Detail; Code with
 * SOAP_ENV__Value and SOAP_ENV__Subcode; Reason with SOAP_ENV__Text; Detail
 * with __any) and the allocators
 *   static Env::X *new_header/new_fault/new_code/new_reason/new_detail(soap)
 * each returning a record in its default state owned by the context, or null
 * with `error` 20, and
 *   static Env::Detail *malloc_detail(soap)
 * for the SOAP 1.1 detail, a soap_malloc block in its default state.
 */
#ifndef ORVSOAP_SOAPENV_ACCESS_H
#define ORVSOAP_SOAPENV_ACCESS_H

#include "soapengine.h"

#ifdef ORVSOAP_NOFRAME
/* The plain records of an engine built without a message model: the detail
 * holds literal XML only, the header nothing. */
struct SOAP_ENV__Header {
    char dummy; /* no members */
};

struct SOAP_ENV__Code {
    char *SOAP_ENV__Value;
    struct SOAP_ENV__Code *SOAP_ENV__Subcode;
};

struct SOAP_ENV__Reason {
    char *SOAP_ENV__Text;
};

struct SOAP_ENV__Detail {
    char *__any;
    int __type;
    void *fault;
};

struct SOAP_ENV__Fault {
    char *faultcode;
    char *faultstring;
    char *faultactor;
    struct SOAP_ENV__Detail *detail;
    struct SOAP_ENV__Code *SOAP_ENV__Code;
    struct SOAP_ENV__Reason *SOAP_ENV__Reason;
    char *SOAP_ENV__Node;
    char *SOAP_ENV__Role;
    struct SOAP_ENV__Detail *SOAP_ENV__Detail;
};
#endif

namespace soap_env {

/* The fault texts are char* in the records; the engine hands out their
 * addresses as const char** so that static texts can be stored there. */
inline const char **text_slot(char **p)
{
    return const_cast<const char **>(p);
}

template <class Env> void header(struct soap *soap)
{
    if (!soap->header)
        soap->header = Env::new_header(soap);
}

template <class Env> void fault(struct soap *soap)
{
    if (!soap->fault) {
        soap->fault = Env::new_fault(soap);
        if (!soap->fault)
            return;
    }
    if (soap->version == 2) {
        if (!soap->fault->SOAP_ENV__Code)
            soap->fault->SOAP_ENV__Code = Env::new_code(soap);
        if (!soap->fault->SOAP_ENV__Reason)
            soap->fault->SOAP_ENV__Reason = Env::new_reason(soap);
    }
}

template <class Env> const char **faultcode(struct soap *soap)
{
    fault<Env>(soap);
    if (!soap->fault)
        return nullptr;
    if (soap->version == 2 && soap->fault->SOAP_ENV__Code)
        return text_slot(&soap->fault->SOAP_ENV__Code->SOAP_ENV__Value);
    return text_slot(&soap->fault->faultcode);
}

template <class Env> const char **faultsubcode(struct soap *soap)
{
    fault<Env>(soap);
    if (!soap->fault)
        return nullptr;
    if (soap->version == 2) {
        typename Env::Code *code = soap->fault->SOAP_ENV__Code;
        if (!code)
            return nullptr;
        if (!code->SOAP_ENV__Subcode) {
            code->SOAP_ENV__Subcode = Env::new_code(soap);
            if (!code->SOAP_ENV__Subcode)
                return nullptr;
        }
        return text_slot(&code->SOAP_ENV__Subcode->SOAP_ENV__Value);
    }
    return text_slot(&soap->fault->faultcode);
}

template <class Env> const char *check_faultsubcode(struct soap *soap)
{
    fault<Env>(soap);
    if (!soap->fault)
        return nullptr;
    if (soap->version == 2) {
        typename Env::Code *code = soap->fault->SOAP_ENV__Code;
        if (code && code->SOAP_ENV__Subcode)
            return code->SOAP_ENV__Subcode->SOAP_ENV__Value;
        return nullptr;
    }
    return soap->fault->faultcode;
}

template <class Env> const char **faultstring(struct soap *soap)
{
    fault<Env>(soap);
    if (!soap->fault)
        return nullptr;
    if (soap->version == 2) {
        if (!soap->fault->SOAP_ENV__Reason)
            return nullptr;
        return text_slot(&soap->fault->SOAP_ENV__Reason->SOAP_ENV__Text);
    }
    return text_slot(&soap->fault->faultstring);
}

template <class Env> const char **faultdetail(struct soap *soap)
{
    fault<Env>(soap);
    if (!soap->fault)
        return nullptr;
    if (soap->version == 1) {
        if (!soap->fault->detail) {
            soap->fault->detail = Env::malloc_detail(soap);
            if (!soap->fault->detail)
                return nullptr;
        }
        return text_slot(&soap->fault->detail->__any);
    }
    if (!soap->fault->SOAP_ENV__Detail) {
        soap->fault->SOAP_ENV__Detail = Env::new_detail(soap);
        if (!soap->fault->SOAP_ENV__Detail)
            return nullptr;
    }
    return text_slot(&soap->fault->SOAP_ENV__Detail->__any);
}

template <class Env> const char *check_faultdetail(struct soap *soap)
{
    fault<Env>(soap);
    if (!soap->fault)
        return nullptr;
    if (soap->version == 2 && soap->fault->SOAP_ENV__Detail)
        return soap->fault->SOAP_ENV__Detail->__any;
    if (soap->fault->detail)
        return soap->fault->detail->__any;
    /* before any envelope (version 0) the detail is made in the SOAP 1.2 slot */
    if (soap->version != 1 && soap->fault->SOAP_ENV__Detail)
        return soap->fault->SOAP_ENV__Detail->__any;
    return nullptr;
}

} // namespace soap_env

#endif
