/* noframe.cpp -- the frame of an engine built without a message model: no
 * element is known by tag or type id, the SOAP header has no members, and the
 * fault detail holds literal XML only.  It reads and writes the SOAP 1.1 and
 * 1.2 Fault.  The generated frame replaces this file in the full library; the
 * engine's own tests link it.
 */
#define ORVSOAP_NOFRAME 1
#include <cstring>
#include <new>

#include "soapengine.h"
#include "soapenv_access.h"

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

/* ------------------------------------------------------------------------ */
/* Records: plain blocks of the context, freed by soap_end                   */
/* ------------------------------------------------------------------------ */

namespace {

template <class T> T *new_record(struct soap *soap)
{
    void *p = soap_malloc(soap, sizeof(T));
    if (!p) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    return new (p) T(); /* value-initialised: all pointers null */
}

struct NoFrameEnv {
    typedef SOAP_ENV__Header Header;
    typedef SOAP_ENV__Fault Fault;
    typedef SOAP_ENV__Code Code;
    typedef SOAP_ENV__Reason Reason;
    typedef SOAP_ENV__Detail Detail;
    static Header *new_header(struct soap *soap) { return new_record<Header>(soap); }
    static Fault *new_fault(struct soap *soap) { return new_record<Fault>(soap); }
    static Code *new_code(struct soap *soap) { return new_record<Code>(soap); }
    static Reason *new_reason(struct soap *soap) { return new_record<Reason>(soap); }
    static Detail *new_detail(struct soap *soap) { return new_record<Detail>(soap); }
    static Detail *malloc_detail(struct soap *soap) { return new_record<Detail>(soap); }
};

/* A Subcode chain deeper than this is read over, not kept. */
const int MAX_SUBCODE_DEPTH = 16;

/* ------------------------------------------------------------------------ */
/* Reading                                                                   */
/* ------------------------------------------------------------------------ */

/* A text element: flag 1 plain text, 2 a qualified name.  0 on success;
 * otherwise the error, 3 when the element isn't this one. */
int in_text(struct soap *soap, const char *tag, char **p, int flag)
{
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return soap->error;
    if (soap->null) {
        *p = nullptr;
    } else if (soap->body) {
        char *s = soap_string_in(soap, flag, -1, -1);
        if (!s)
            return soap->error ? soap->error : SOAP_EOM;
        *p = s;
    } else {
        *p = soap_strdup(soap, "");
        if (!*p)
            return soap->error = SOAP_EOM;
    }
    if (soap->body && soap_element_end_in(soap, tag))
        return soap->error;
    return soap->error = SOAP_OK;
}

/* The end of a record's member loop: an unknown child is skipped; 0 to go
 * on, 1 when the content has ended, -1 on failure. */
int member_loop_end(struct soap *soap)
{
    if (soap->error == SOAP_TAG_MISMATCH)
        soap->error = soap_ignore_element(soap);
    if (soap->error == SOAP_NO_TAG)
        return 1;
    return soap->error ? -1 : 0;
}

/* The frame of a record element: begin, a fresh record, the member loop
 * given as `member` (0 read one, else the error), end. */
template <class T, class Member> T *in_record(struct soap *soap, const char *tag, Member member)
{
    if (soap_element_begin_in(soap, tag, 0, nullptr))
        return nullptr;
    T *a = new_record<T>(soap);
    if (!a)
        return nullptr;
    if (soap->body) {
        for (;;) {
            soap->error = SOAP_TAG_MISMATCH;
            if (member(a) == SOAP_OK)
                continue;
            int r = member_loop_end(soap);
            if (r < 0)
                return nullptr;
            if (r > 0)
                break;
        }
        if (soap_element_end_in(soap, tag))
            return nullptr;
    }
    soap->error = SOAP_OK;
    return a;
}

SOAP_ENV__Header *in_header(struct soap *soap, const char *tag)
{
    return in_record<SOAP_ENV__Header>(soap, tag, [](SOAP_ENV__Header *) { return SOAP_TAG_MISMATCH; });
}

SOAP_ENV__Code *in_code(struct soap *soap, const char *tag, int depth)
{
    bool value = true, subcode = true;
    return in_record<SOAP_ENV__Code>(soap, tag, [&](SOAP_ENV__Code *a) {
        if (value && !in_text(soap, "SOAP-ENV:Value", &a->SOAP_ENV__Value, 2)) {
            value = false;
            return SOAP_OK;
        }
        if (subcode && soap->error == SOAP_TAG_MISMATCH) {
            if (depth >= MAX_SUBCODE_DEPTH) {
                /* too deep to keep: dropped whole, without recursion */
                if (soap_element_begin_in(soap, "SOAP-ENV:Subcode", 0, nullptr))
                    return soap->error;
                subcode = false;
                if (soap->body && soap_element_end_in(soap, "SOAP-ENV:Subcode"))
                    return soap->error;
                return SOAP_OK;
            }
            a->SOAP_ENV__Subcode = in_code(soap, "SOAP-ENV:Subcode", depth + 1);
            if (a->SOAP_ENV__Subcode) {
                subcode = false;
                return SOAP_OK;
            }
        }
        return soap->error;
    });
}

SOAP_ENV__Reason *in_reason(struct soap *soap, const char *tag)
{
    bool text = true;
    return in_record<SOAP_ENV__Reason>(soap, tag, [&](SOAP_ENV__Reason *a) {
        if (text && !in_text(soap, "SOAP-ENV:Text", &a->SOAP_ENV__Text, 1)) {
            text = false;
            return SOAP_OK;
        }
        return soap->error;
    });
}

SOAP_ENV__Detail *in_detail(struct soap *soap, const char *tag)
{
    return in_record<SOAP_ENV__Detail>(soap, tag, [&](SOAP_ENV__Detail *a) {
        if (!a->fault && soap->error == SOAP_TAG_MISMATCH) {
            a->fault = soap_getelement(soap, &a->__type);
            if (a->fault)
                return SOAP_OK;
        }
        if (!a->__any && (soap->error == SOAP_TAG_MISMATCH || soap->error == SOAP_NO_TAG)) {
            /* whatever no frame knows stays whole as literal XML */
            soap->error = SOAP_OK;
            if (soap_inliteral(soap, "-any", &a->__any))
                return SOAP_OK;
            if (!soap->error)
                soap->error = SOAP_NO_TAG;
        }
        return soap->error;
    });
}

SOAP_ENV__Fault *in_fault(struct soap *soap, const char *tag)
{
    enum { CODE, STRING, ACTOR, DETAIL, CODE12, REASON, NODE, ROLE, DETAIL12, N };
    bool want[N];
    for (bool &w : want)
        w = true;
    auto once = [&](int k, int r) {
        if (r)
            return false;
        want[k] = false;
        return true;
    };
    return in_record<SOAP_ENV__Fault>(soap, tag, [&](SOAP_ENV__Fault *a) {
        if (want[CODE] && once(CODE, in_text(soap, "faultcode", &a->faultcode, 2)))
            return SOAP_OK;
        if (want[STRING] && soap->error == SOAP_TAG_MISMATCH &&
            once(STRING, in_text(soap, "faultstring", &a->faultstring, 1)))
            return SOAP_OK;
        if (want[ACTOR] && soap->error == SOAP_TAG_MISMATCH &&
            once(ACTOR, in_text(soap, "faultactor", &a->faultactor, 1)))
            return SOAP_OK;
        if (want[DETAIL] && soap->error == SOAP_TAG_MISMATCH && (a->detail = in_detail(soap, "detail"))) {
            want[DETAIL] = false;
            return SOAP_OK;
        }
        if (want[CODE12] && soap->error == SOAP_TAG_MISMATCH &&
            (a->SOAP_ENV__Code = in_code(soap, "SOAP-ENV:Code", 0))) {
            want[CODE12] = false;
            return SOAP_OK;
        }
        if (want[REASON] && soap->error == SOAP_TAG_MISMATCH &&
            (a->SOAP_ENV__Reason = in_reason(soap, "SOAP-ENV:Reason"))) {
            want[REASON] = false;
            return SOAP_OK;
        }
        if (want[NODE] && soap->error == SOAP_TAG_MISMATCH &&
            once(NODE, in_text(soap, "SOAP-ENV:Node", &a->SOAP_ENV__Node, 1)))
            return SOAP_OK;
        if (want[ROLE] && soap->error == SOAP_TAG_MISMATCH &&
            once(ROLE, in_text(soap, "SOAP-ENV:Role", &a->SOAP_ENV__Role, 1)))
            return SOAP_OK;
        if (want[DETAIL12] && soap->error == SOAP_TAG_MISMATCH &&
            (a->SOAP_ENV__Detail = in_detail(soap, "SOAP-ENV:Detail"))) {
            want[DETAIL12] = false;
            return SOAP_OK;
        }
        return soap->error;
    });
}

/* ------------------------------------------------------------------------ */
/* Writing                                                                   */
/* ------------------------------------------------------------------------ */

/* An absent text writes nothing. */
int out_text(struct soap *soap, const char *tag, const char *s)
{
    if (!s)
        return SOAP_OK;
    if (soap_element_begin_out(soap, tag, -1, nullptr) || soap_string_out(soap, s, 0) ||
        soap_element_end_out(soap, tag))
        return soap->error;
    return SOAP_OK;
}

/* A qualified name goes out in its wire form; the conversion may record a
 * namespace declaration for the element, so it comes before the element. */
int out_qname(struct soap *soap, const char *tag, const char *s)
{
    if (!s)
        return SOAP_OK;
    const char *t = soap_QName2s(soap, s);
    if (!t)
        return soap->error ? soap->error : SOAP_EOM;
    return out_text(soap, tag, t);
}

int out_code(struct soap *soap, const char *tag, const SOAP_ENV__Code *a, int depth)
{
    if (!a || depth > MAX_SUBCODE_DEPTH)
        return SOAP_OK;
    if (soap_element_begin_out(soap, tag, -1, nullptr) || out_qname(soap, "SOAP-ENV:Value", a->SOAP_ENV__Value) ||
        out_code(soap, "SOAP-ENV:Subcode", a->SOAP_ENV__Subcode, depth + 1) || soap_element_end_out(soap, tag))
        return soap->error;
    return SOAP_OK;
}

int out_reason(struct soap *soap, const char *tag, const SOAP_ENV__Reason *a)
{
    if (!a)
        return SOAP_OK;
    if (soap_element_begin_out(soap, tag, -1, nullptr))
        return soap->error;
    if (a->SOAP_ENV__Text) {
        if (soap->lang && soap_set_attr(soap, "xml:lang", soap->lang, 1))
            return soap->error;
        if (out_text(soap, "SOAP-ENV:Text", a->SOAP_ENV__Text))
            return soap->error;
    }
    return soap_element_end_out(soap, tag);
}

int out_detail(struct soap *soap, const char *tag, const SOAP_ENV__Detail *a)
{
    if (!a)
        return SOAP_OK;
    if (soap_element_begin_out(soap, tag, -1, nullptr))
        return soap->error;
    if (a->__any && soap_outliteral(soap, "-any", &a->__any, nullptr))
        return soap->error;
    if (soap_putelement(soap, a->fault, "fault", -1, a->__type))
        return soap->error;
    return soap_element_end_out(soap, tag);
}

int out_fault(struct soap *soap, const char *tag, const SOAP_ENV__Fault *a)
{
    if (soap_element_begin_out(soap, tag, -1, nullptr) || out_qname(soap, "faultcode", a->faultcode) ||
        out_text(soap, "faultstring", a->faultstring) || out_text(soap, "faultactor", a->faultactor) ||
        out_detail(soap, "detail", a->detail) || out_code(soap, "SOAP-ENV:Code", a->SOAP_ENV__Code, 0) ||
        out_reason(soap, "SOAP-ENV:Reason", a->SOAP_ENV__Reason) ||
        out_text(soap, "SOAP-ENV:Node", a->SOAP_ENV__Node) || out_text(soap, "SOAP-ENV:Role", a->SOAP_ENV__Role) ||
        out_detail(soap, "SOAP-ENV:Detail", a->SOAP_ENV__Detail) || soap_element_end_out(soap, tag))
        return soap->error;
    return SOAP_OK;
}

} // namespace

/* ------------------------------------------------------------------------ */
/* Entry points of the engine                                                */
/* ------------------------------------------------------------------------ */

int soap_getheader(struct soap *soap)
{
    soap->part = SOAP_IN_HEADER;
    soap->header = in_header(soap, "SOAP-ENV:Header");
    soap->part = SOAP_END_HEADER;
    if (soap->header)
        return SOAP_OK;
    return soap->error ? soap->error : SOAP_TAG_MISMATCH;
}

int soap_putheader(struct soap *soap)
{
    if (!soap->header)
        return SOAP_OK;
    soap->part = SOAP_IN_HEADER;
    if (soap_element_begin_out(soap, "SOAP-ENV:Header", -1, nullptr) ||
        soap_element_end_out(soap, "SOAP-ENV:Header"))
        return soap->error;
    soap->part = SOAP_END_HEADER;
    return SOAP_OK;
}

void soap_serializeheader(struct soap *) {}

void soap_getfault(struct soap *soap)
{
    soap->fault = in_fault(soap, "SOAP-ENV:Fault");
    if (soap->fault && soap_getindependent(soap))
        soap->fault = nullptr;
}

int soap_putfault(struct soap *soap)
{
    if (!soap->fault)
        return SOAP_OK;
    if (out_fault(soap, "SOAP-ENV:Fault", soap->fault))
        return soap->error;
    return soap_putindependent(soap);
}

void soap_serializefault(struct soap *soap)
{
    const SOAP_ENV__Fault *f = soap->fault;
    if (!f)
        return;
    if (f->detail && f->detail->fault)
        soap_markelement(soap, f->detail->fault, f->detail->__type);
    if (f->SOAP_ENV__Detail && f->SOAP_ENV__Detail->fault)
        soap_markelement(soap, f->SOAP_ENV__Detail->fault, f->SOAP_ENV__Detail->__type);
}

void soap_header(struct soap *soap) { soap_env::header<NoFrameEnv>(soap); }
void soap_fault(struct soap *soap) { soap_env::fault<NoFrameEnv>(soap); }
const char **soap_faultcode(struct soap *soap) { return soap_env::faultcode<NoFrameEnv>(soap); }
const char **soap_faultsubcode(struct soap *soap) { return soap_env::faultsubcode<NoFrameEnv>(soap); }
const char *soap_check_faultsubcode(struct soap *soap) { return soap_env::check_faultsubcode<NoFrameEnv>(soap); }
const char **soap_faultstring(struct soap *soap) { return soap_env::faultstring<NoFrameEnv>(soap); }
const char **soap_faultdetail(struct soap *soap) { return soap_env::faultdetail<NoFrameEnv>(soap); }
const char *soap_check_faultdetail(struct soap *soap) { return soap_env::check_faultdetail<NoFrameEnv>(soap); }

/* The default namespace table of an engine without bindings. */
struct Namespace namespaces[] = {
    {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope", nullptr},
    {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding", nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
    {nullptr, nullptr, nullptr, nullptr}};
