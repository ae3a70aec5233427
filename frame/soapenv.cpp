/* soapenv.cpp -- the records of the SOAP frame in the full library: the Header with the protocol
 * header, the Fault of both SOAP versions with Code, Reason and a Detail that knows every typed
 * application fault; their readers, writers and walkers, and the engine's entry points to them.
 * Not the envelope itself (engine/envelope.cpp) nor the fault texts' policy (the engine's).
 */
#include <new>

#include "frame.h"
#include "orvmodel.h"
#include "soapenv_access.h"

extern const soap_class_info soap_ci_protocol__Header;
extern const soap_member_info soap_detail_members[];
extern const unsigned short soap_detail_member_count;

namespace {

/* A Subcode chain deeper than this is left to the element skipper. */
const int MAX_SUBCODE_DEPTH = 16;

template <class T> T *make_record(struct soap *soap, int t, int n, size_t *size)
{
    T *p = n < 0 ? new (std::nothrow) T() : new (std::nothrow) T[n]();
    if (!p) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    if (!soap_link(soap, p, t, n, soap_fdelete)) {
        if (n < 0)
            delete p;
        else
            delete[] p;
        soap->error = SOAP_EOM;
        return nullptr;
    }
    if (size)
        *size = n < 0 ? sizeof(T) : static_cast<size_t>(n) * sizeof(T);
    return p;
}

template <class T> int delete_record(struct soap_clist *p)
{
    if (p->size < 0)
        delete static_cast<T *>(p->ptr);
    else
        delete[] static_cast<T *>(p->ptr);
    return SOAP_OK;
}

struct FrameEnv {
    typedef SOAP_ENV__Header Header;
    typedef SOAP_ENV__Fault Fault;
    typedef SOAP_ENV__Code Code;
    typedef SOAP_ENV__Reason Reason;
    typedef SOAP_ENV__Detail Detail;
    static Header *new_header(struct soap *soap) { return soap_instantiate_SOAP_ENV__Header(soap, -1, nullptr, nullptr, nullptr); }
    static Fault *new_fault(struct soap *soap) { return soap_instantiate_SOAP_ENV__Fault(soap, -1, nullptr, nullptr, nullptr); }
    static Code *new_code(struct soap *soap) { return soap_instantiate_SOAP_ENV__Code(soap, -1, nullptr, nullptr, nullptr); }
    static Reason *new_reason(struct soap *soap) { return soap_instantiate_SOAP_ENV__Reason(soap, -1, nullptr, nullptr, nullptr); }
    static Detail *new_detail(struct soap *soap) { return soap_instantiate_SOAP_ENV__Detail(soap, -1, nullptr, nullptr, nullptr); }
    static Detail *malloc_detail(struct soap *soap)
    {
        void *p = soap_malloc(soap, sizeof(Detail));
        if (!p) {
            soap->error = SOAP_EOM;
            return nullptr;
        }
        return new (p) Detail(); /* pointers and an int: nothing to destroy */
    }
};

/* A record element: begin, enter (or make) the record, default it, run the member loop given as
   `member` (0: one member read, else the error), end. */
template <class T, class Member>
T *in_record(struct soap *soap, const char *tag, T *a, int t, Member member)
{
    if (soap_element_begin_in(soap, tag, 0, nullptr))
        return nullptr;
    a = static_cast<T *>(soap_id_enter(soap, soap->id, a, t, sizeof(T), 0, nullptr, nullptr, soap_instantiate));
    if (!a)
        return nullptr;
    *a = T();
    if (soap->body && !*soap->href) {
        for (;;) {
            soap->error = SOAP_TAG_MISMATCH;
            if (member(a) == SOAP_OK)
                continue;
            if (soap->error == SOAP_TAG_MISMATCH)
                soap->error = soap_ignore_element(soap);
            if (soap->error == SOAP_NO_TAG)
                break;
            if (soap->error)
                return nullptr;
        }
        if (soap_element_end_in(soap, tag))
            return nullptr;
    } else if (soap->body && soap_element_end_in(soap, tag)) {
        return nullptr;
    }
    soap->error = SOAP_OK;
    return a;
}

/* A pointer member of record type: nil and references as for any pointer. */
template <class T, class Reader> int in_pointer(struct soap *soap, const char *tag, T **a, int t, Reader read)
{
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return soap->error;
    *a = nullptr;
    if (!soap->null && *soap->href != '#') {
        soap_revert(soap);
        *a = read(soap, tag);
        return *a ? SOAP_OK : soap->error;
    }
    if (!soap_id_lookup(soap, soap->href, reinterpret_cast<void **>(a), t, sizeof(T), 0))
        return soap->error;
    if (soap->body && soap_element_end_in(soap, tag))
        return soap->error;
    return SOAP_OK;
}

int in_text(struct soap *soap, const char *tag, char **p, bool qname)
{
    return (qname ? soap_in__QName(soap, tag, p, "") : soap_in_string(soap, tag, p, "")) ? SOAP_OK : soap->error;
}

SOAP_ENV__Code *in_code(struct soap *soap, const char *tag, SOAP_ENV__Code *a, int depth)
{
    bool value = true, subcode = depth < MAX_SUBCODE_DEPTH;
    return in_record(soap, tag, a, SOAP_TYPE_SOAP_ENV__Code, [&](SOAP_ENV__Code *r) {
        if (value && !in_text(soap, "SOAP-ENV:Value", &r->SOAP_ENV__Value, true)) {
            value = false;
            return SOAP_OK;
        }
        if (subcode && soap->error == SOAP_TAG_MISMATCH &&
            !in_pointer(soap, "SOAP-ENV:Subcode", &r->SOAP_ENV__Subcode, SOAP_TYPE_SOAP_ENV__Code,
                        [&](struct soap *s, const char *t) { return in_code(s, t, nullptr, depth + 1); })) {
            subcode = false;
            return SOAP_OK;
        }
        return soap->error;
    });
}

int out_text(struct soap *soap, const char *tag, char *const *p, bool qname)
{
    if (!*p)
        return SOAP_OK;
    return qname ? soap_out__QName(soap, tag, -1, p, "") : soap_out_string(soap, tag, -1, p, "");
}

int out_code(struct soap *soap, const char *tag, int id, const SOAP_ENV__Code *a, const char *type, int depth)
{
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, SOAP_TYPE_SOAP_ENV__Code), type) ||
        out_text(soap, "SOAP-ENV:Value", &a->SOAP_ENV__Value, true))
        return soap->error;
    if (a->SOAP_ENV__Subcode && depth < MAX_SUBCODE_DEPTH &&
        out_code(soap, "SOAP-ENV:Subcode", -1, a->SOAP_ENV__Subcode, "", depth + 1))
        return soap->error;
    return soap_element_end_out(soap, tag);
}

bool blank(const char *s)
{
    if (!s)
        return true;
    while (*s == ' ' || *s == '\t' || *s == '\r' || *s == '\n')
        s++;
    return !*s;
}

int out_detail_pointer(struct soap *soap, const char *tag, const SOAP_ENV__Detail *a)
{
    if (!a)
        return SOAP_OK;
    return soap_out_SOAP_ENV__Detail(soap, tag, -1, a, "");
}

} // namespace

/* ------------------------------------------------------------------------ */
/* SOAP_ENV__Header                                                          */
/* ------------------------------------------------------------------------ */

void soap_default_SOAP_ENV__Header(struct soap *, struct SOAP_ENV__Header *a) { a->protocol__header = nullptr; }

void soap_serialize_SOAP_ENV__Header(struct soap *soap, const struct SOAP_ENV__Header *a)
{
    soap_frame_serialize_pclass(soap, &soap_ci_protocol__Header, a->protocol__header);
}

int soap_out_SOAP_ENV__Header(struct soap *soap, const char *tag, int id, const struct SOAP_ENV__Header *a,
                              const char *type)
{
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, SOAP_TYPE_SOAP_ENV__Header), type))
        return soap->error;
    if (a->protocol__header) {
        soap->mustUnderstand = 1;
        if (soap_frame_out_pclass(soap, &soap_ci_protocol__Header, "protocol:header", -1, a->protocol__header, ""))
            return soap->error;
    }
    return soap_element_end_out(soap, tag);
}

int soap_put_SOAP_ENV__Header(struct soap *soap, const struct SOAP_ENV__Header *a, const char *tag, const char *type)
{
    int id = soap_embed(soap, a, nullptr, 0, tag, SOAP_TYPE_SOAP_ENV__Header);
    if (soap_out_SOAP_ENV__Header(soap, tag ? tag : "SOAP-ENV:Header", id, a, type))
        return soap->error;
    return soap_putindependent(soap);
}

struct SOAP_ENV__Header *soap_in_SOAP_ENV__Header(struct soap *soap, const char *tag, struct SOAP_ENV__Header *a,
                                                  const char *)
{
    bool header = true;
    return in_record(soap, tag, a, SOAP_TYPE_SOAP_ENV__Header, [&](SOAP_ENV__Header *r) {
        if (header && soap_frame_in_pclass(soap, &soap_ci_protocol__Header, "protocol:header",
                                           reinterpret_cast<void **>(&r->protocol__header), "protocol:Header")) {
            header = false;
            return SOAP_OK;
        }
        return soap->error;
    });
}

struct SOAP_ENV__Header *soap_get_SOAP_ENV__Header(struct soap *soap, struct SOAP_ENV__Header *a, const char *tag,
                                                   const char *type)
{
    a = soap_in_SOAP_ENV__Header(soap, tag, a, type);
    if (a && soap_getindependent(soap))
        return nullptr;
    return a;
}

struct SOAP_ENV__Header *soap_instantiate_SOAP_ENV__Header(struct soap *soap, int n, const char *, const char *,
                                                           size_t *size)
{
    return make_record<SOAP_ENV__Header>(soap, SOAP_TYPE_SOAP_ENV__Header, n, size);
}

/* ------------------------------------------------------------------------ */
/* SOAP_ENV__Code and SOAP_ENV__Reason                                       */
/* ------------------------------------------------------------------------ */

void soap_default_SOAP_ENV__Code(struct soap *, struct SOAP_ENV__Code *a) { *a = SOAP_ENV__Code(); }

void soap_serialize_SOAP_ENV__Code(struct soap *soap, const struct SOAP_ENV__Code *a)
{
    for (int depth = 0; a && depth <= MAX_SUBCODE_DEPTH; a = a->SOAP_ENV__Subcode, depth++)
        if (a->SOAP_ENV__Value)
            soap_reference(soap, a->SOAP_ENV__Value, SOAP_TYPE__QName);
}

int soap_out_SOAP_ENV__Code(struct soap *soap, const char *tag, int id, const struct SOAP_ENV__Code *a,
                            const char *type)
{
    return out_code(soap, tag, id, a, type, 0);
}

int soap_put_SOAP_ENV__Code(struct soap *soap, const struct SOAP_ENV__Code *a, const char *tag, const char *type)
{
    int id = soap_embed(soap, a, nullptr, 0, tag, SOAP_TYPE_SOAP_ENV__Code);
    if (soap_out_SOAP_ENV__Code(soap, tag ? tag : "SOAP-ENV:Code", id, a, type))
        return soap->error;
    return soap_putindependent(soap);
}

struct SOAP_ENV__Code *soap_in_SOAP_ENV__Code(struct soap *soap, const char *tag, struct SOAP_ENV__Code *a,
                                              const char *)
{
    return in_code(soap, tag, a, 0);
}

struct SOAP_ENV__Code *soap_get_SOAP_ENV__Code(struct soap *soap, struct SOAP_ENV__Code *a, const char *tag,
                                               const char *type)
{
    a = soap_in_SOAP_ENV__Code(soap, tag, a, type);
    if (a && soap_getindependent(soap))
        return nullptr;
    return a;
}

struct SOAP_ENV__Code *soap_instantiate_SOAP_ENV__Code(struct soap *soap, int n, const char *, const char *,
                                                       size_t *size)
{
    return make_record<SOAP_ENV__Code>(soap, SOAP_TYPE_SOAP_ENV__Code, n, size);
}

void soap_default_SOAP_ENV__Reason(struct soap *, struct SOAP_ENV__Reason *a) { a->SOAP_ENV__Text = nullptr; }

void soap_serialize_SOAP_ENV__Reason(struct soap *soap, const struct SOAP_ENV__Reason *a)
{
    if (a->SOAP_ENV__Text)
        soap_reference(soap, a->SOAP_ENV__Text, SOAP_TYPE_string);
}

int soap_out_SOAP_ENV__Reason(struct soap *soap, const char *tag, int id, const struct SOAP_ENV__Reason *a,
                              const char *type)
{
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, SOAP_TYPE_SOAP_ENV__Reason), type))
        return soap->error;
    if (a->SOAP_ENV__Text) {
        if (soap->lang && soap_set_attr(soap, "xml:lang", soap->lang, 1))
            return soap->error;
        if (out_text(soap, "SOAP-ENV:Text", &a->SOAP_ENV__Text, false))
            return soap->error;
    }
    return soap_element_end_out(soap, tag);
}

int soap_put_SOAP_ENV__Reason(struct soap *soap, const struct SOAP_ENV__Reason *a, const char *tag, const char *type)
{
    int id = soap_embed(soap, a, nullptr, 0, tag, SOAP_TYPE_SOAP_ENV__Reason);
    if (soap_out_SOAP_ENV__Reason(soap, tag ? tag : "SOAP-ENV:Reason", id, a, type))
        return soap->error;
    return soap_putindependent(soap);
}

struct SOAP_ENV__Reason *soap_in_SOAP_ENV__Reason(struct soap *soap, const char *tag, struct SOAP_ENV__Reason *a,
                                                  const char *)
{
    bool text = true;
    return in_record(soap, tag, a, SOAP_TYPE_SOAP_ENV__Reason, [&](SOAP_ENV__Reason *r) {
        if (text && !in_text(soap, "SOAP-ENV:Text", &r->SOAP_ENV__Text, false)) {
            text = false;
            return SOAP_OK;
        }
        return soap->error;
    });
}

struct SOAP_ENV__Reason *soap_get_SOAP_ENV__Reason(struct soap *soap, struct SOAP_ENV__Reason *a, const char *tag,
                                                   const char *type)
{
    a = soap_in_SOAP_ENV__Reason(soap, tag, a, type);
    if (a && soap_getindependent(soap))
        return nullptr;
    return a;
}

struct SOAP_ENV__Reason *soap_instantiate_SOAP_ENV__Reason(struct soap *soap, int n, const char *, const char *,
                                                           size_t *size)
{
    return make_record<SOAP_ENV__Reason>(soap, SOAP_TYPE_SOAP_ENV__Reason, n, size);
}

/* ------------------------------------------------------------------------ */
/* SOAP_ENV__Detail                                                          */
/* ------------------------------------------------------------------------ */

void soap_default_SOAP_ENV__Detail(struct soap *, struct SOAP_ENV__Detail *a) { *a = SOAP_ENV__Detail(); }

void soap_serialize_SOAP_ENV__Detail(struct soap *soap, const struct SOAP_ENV__Detail *a)
{
    const char *base = reinterpret_cast<const char *>(a);
    for (unsigned i = 0; i < soap_detail_member_count; i++)
        soap_frame_serialize_member(soap, &soap_detail_members[i], base);
    if (a->fault)
        soap_markelement(soap, a->fault, a->__type);
}

int soap_out_SOAP_ENV__Detail(struct soap *soap, const char *tag, int id, const struct SOAP_ENV__Detail *a,
                              const char *type)
{
    const char *base = reinterpret_cast<const char *>(a);
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, SOAP_TYPE_SOAP_ENV__Detail), type))
        return soap->error;
    if (a->__any && soap_outliteral(soap, "-any", &a->__any, nullptr))
        return soap->error;
    for (unsigned i = 0; i < soap_detail_member_count; i++)
        if (soap_frame_out_member(soap, &soap_detail_members[i], base))
            return soap->error;
    if (a->fault && soap_putelement(soap, a->fault, "fault", -1, a->__type))
        return soap->error;
    return soap_element_end_out(soap, tag);
}

int soap_put_SOAP_ENV__Detail(struct soap *soap, const struct SOAP_ENV__Detail *a, const char *tag, const char *type)
{
    int id = soap_embed(soap, a, nullptr, 0, tag, SOAP_TYPE_SOAP_ENV__Detail);
    if (soap_out_SOAP_ENV__Detail(soap, tag ? tag : "SOAP-ENV:Detail", id, a, type))
        return soap->error;
    return soap_putindependent(soap);
}

struct SOAP_ENV__Detail *soap_in_SOAP_ENV__Detail(struct soap *soap, const char *tag, struct SOAP_ENV__Detail *a,
                                                  const char *)
{
    bool want[SOAP_FRAME_MAXMEMBERS];
    for (unsigned i = 0; i < soap_detail_member_count; i++)
        want[i] = true;
    return in_record(soap, tag, a, SOAP_TYPE_SOAP_ENV__Detail, [&](SOAP_ENV__Detail *r) {
        char *base = reinterpret_cast<char *>(r);
        for (unsigned i = 0; i < soap_detail_member_count; i++)
            if (want[i] && soap->error == SOAP_TAG_MISMATCH && soap_frame_in_member(soap, &soap_detail_members[i], base)) {
                want[i] = false;
                return SOAP_OK;
            }
        if (!r->fault && soap->error == SOAP_TAG_MISMATCH) {
            r->fault = soap_getelement(soap, &r->__type);
            if (r->fault)
                return SOAP_OK;
        }
        if (!r->__any && (soap->error == SOAP_TAG_MISMATCH || soap->error == SOAP_NO_TAG)) {
            /* what no reader knows stays whole as literal XML */
            soap->error = SOAP_OK;
            if (soap_inliteral(soap, "-any", &r->__any)) {
                if (!blank(r->__any))
                    return SOAP_OK;
                r->__any = nullptr; /* nothing but the end of the detail */
            }
            if (!soap->error)
                soap->error = SOAP_NO_TAG;
        }
        return soap->error;
    });
}

struct SOAP_ENV__Detail *soap_get_SOAP_ENV__Detail(struct soap *soap, struct SOAP_ENV__Detail *a, const char *tag,
                                                   const char *type)
{
    a = soap_in_SOAP_ENV__Detail(soap, tag, a, type);
    if (a && soap_getindependent(soap))
        return nullptr;
    return a;
}

struct SOAP_ENV__Detail *soap_instantiate_SOAP_ENV__Detail(struct soap *soap, int n, const char *, const char *,
                                                           size_t *size)
{
    return make_record<SOAP_ENV__Detail>(soap, SOAP_TYPE_SOAP_ENV__Detail, n, size);
}

/* ------------------------------------------------------------------------ */
/* SOAP_ENV__Fault                                                           */
/* ------------------------------------------------------------------------ */

void soap_default_SOAP_ENV__Fault(struct soap *, struct SOAP_ENV__Fault *a) { *a = SOAP_ENV__Fault(); }

void soap_serialize_SOAP_ENV__Fault(struct soap *soap, const struct SOAP_ENV__Fault *a)
{
    if (a->faultcode)
        soap_reference(soap, a->faultcode, SOAP_TYPE__QName);
    if (a->faultstring)
        soap_reference(soap, a->faultstring, SOAP_TYPE_string);
    if (a->faultactor)
        soap_reference(soap, a->faultactor, SOAP_TYPE_string);
    if (a->detail && !soap_reference(soap, a->detail, SOAP_TYPE_SOAP_ENV__Detail))
        soap_serialize_SOAP_ENV__Detail(soap, a->detail);
    if (a->SOAP_ENV__Code && !soap_reference(soap, a->SOAP_ENV__Code, SOAP_TYPE_SOAP_ENV__Code))
        soap_serialize_SOAP_ENV__Code(soap, a->SOAP_ENV__Code);
    if (a->SOAP_ENV__Reason && !soap_reference(soap, a->SOAP_ENV__Reason, SOAP_TYPE_SOAP_ENV__Reason))
        soap_serialize_SOAP_ENV__Reason(soap, a->SOAP_ENV__Reason);
    if (a->SOAP_ENV__Node)
        soap_reference(soap, a->SOAP_ENV__Node, SOAP_TYPE_string);
    if (a->SOAP_ENV__Role)
        soap_reference(soap, a->SOAP_ENV__Role, SOAP_TYPE_string);
    if (a->SOAP_ENV__Detail && !soap_reference(soap, a->SOAP_ENV__Detail, SOAP_TYPE_SOAP_ENV__Detail))
        soap_serialize_SOAP_ENV__Detail(soap, a->SOAP_ENV__Detail);
}

int soap_out_SOAP_ENV__Fault(struct soap *soap, const char *tag, int id, const struct SOAP_ENV__Fault *a,
                             const char *type)
{
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, SOAP_TYPE_SOAP_ENV__Fault), type) ||
        out_text(soap, "faultcode", &a->faultcode, true) || out_text(soap, "faultstring", &a->faultstring, false) ||
        out_text(soap, "faultactor", &a->faultactor, false) || out_detail_pointer(soap, "detail", a->detail) ||
        (a->SOAP_ENV__Code && soap_out_SOAP_ENV__Code(soap, "SOAP-ENV:Code", -1, a->SOAP_ENV__Code, "")) ||
        (a->SOAP_ENV__Reason && soap_out_SOAP_ENV__Reason(soap, "SOAP-ENV:Reason", -1, a->SOAP_ENV__Reason, "")) ||
        out_text(soap, "SOAP-ENV:Node", &a->SOAP_ENV__Node, false) ||
        out_text(soap, "SOAP-ENV:Role", &a->SOAP_ENV__Role, false) ||
        out_detail_pointer(soap, "SOAP-ENV:Detail", a->SOAP_ENV__Detail))
        return soap->error;
    return soap_element_end_out(soap, tag);
}

int soap_put_SOAP_ENV__Fault(struct soap *soap, const struct SOAP_ENV__Fault *a, const char *tag, const char *type)
{
    int id = soap_embed(soap, a, nullptr, 0, tag, SOAP_TYPE_SOAP_ENV__Fault);
    if (soap_out_SOAP_ENV__Fault(soap, tag ? tag : "SOAP-ENV:Fault", id, a, type))
        return soap->error;
    return soap_putindependent(soap);
}

struct SOAP_ENV__Fault *soap_in_SOAP_ENV__Fault(struct soap *soap, const char *tag, struct SOAP_ENV__Fault *a,
                                                const char *)
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
    auto detail = [](struct soap *s, const char *t) { return soap_in_SOAP_ENV__Detail(s, t, nullptr, ""); };
    return in_record(soap, tag, a, SOAP_TYPE_SOAP_ENV__Fault, [&](SOAP_ENV__Fault *r) {
        if (want[CODE] && once(CODE, in_text(soap, "faultcode", &r->faultcode, true)))
            return SOAP_OK;
        if (want[STRING] && soap->error == SOAP_TAG_MISMATCH &&
            once(STRING, in_text(soap, "faultstring", &r->faultstring, false)))
            return SOAP_OK;
        if (want[ACTOR] && soap->error == SOAP_TAG_MISMATCH &&
            once(ACTOR, in_text(soap, "faultactor", &r->faultactor, false)))
            return SOAP_OK;
        if (want[DETAIL] && soap->error == SOAP_TAG_MISMATCH &&
            once(DETAIL, in_pointer(soap, "detail", &r->detail, SOAP_TYPE_SOAP_ENV__Detail, detail)))
            return SOAP_OK;
        if (want[CODE12] && soap->error == SOAP_TAG_MISMATCH &&
            once(CODE12, in_pointer(soap, "SOAP-ENV:Code", &r->SOAP_ENV__Code, SOAP_TYPE_SOAP_ENV__Code,
                                    [](struct soap *s, const char *t) { return in_code(s, t, nullptr, 0); })))
            return SOAP_OK;
        if (want[REASON] && soap->error == SOAP_TAG_MISMATCH &&
            once(REASON, in_pointer(soap, "SOAP-ENV:Reason", &r->SOAP_ENV__Reason, SOAP_TYPE_SOAP_ENV__Reason,
                                    [](struct soap *s, const char *t) { return soap_in_SOAP_ENV__Reason(s, t, nullptr, ""); })))
            return SOAP_OK;
        if (want[NODE] && soap->error == SOAP_TAG_MISMATCH &&
            once(NODE, in_text(soap, "SOAP-ENV:Node", &r->SOAP_ENV__Node, false)))
            return SOAP_OK;
        if (want[ROLE] && soap->error == SOAP_TAG_MISMATCH &&
            once(ROLE, in_text(soap, "SOAP-ENV:Role", &r->SOAP_ENV__Role, false)))
            return SOAP_OK;
        if (want[DETAIL12] && soap->error == SOAP_TAG_MISMATCH &&
            once(DETAIL12, in_pointer(soap, "SOAP-ENV:Detail", &r->SOAP_ENV__Detail, SOAP_TYPE_SOAP_ENV__Detail, detail)))
            return SOAP_OK;
        return soap->error;
    });
}

struct SOAP_ENV__Fault *soap_get_SOAP_ENV__Fault(struct soap *soap, struct SOAP_ENV__Fault *a, const char *tag,
                                                 const char *type)
{
    a = soap_in_SOAP_ENV__Fault(soap, tag, a, type);
    if (a && soap_getindependent(soap))
        return nullptr;
    return a;
}

struct SOAP_ENV__Fault *soap_instantiate_SOAP_ENV__Fault(struct soap *soap, int n, const char *, const char *,
                                                         size_t *size)
{
    return make_record<SOAP_ENV__Fault>(soap, SOAP_TYPE_SOAP_ENV__Fault, n, size);
}

/* ------------------------------------------------------------------------ */
/* Dispatch by id (dispatch.cpp)                                             */
/* ------------------------------------------------------------------------ */

void *soap_frame_env_instantiate(struct soap *soap, int t, int n, size_t *size)
{
    switch (t) {
    case SOAP_TYPE_SOAP_ENV__Header:
        return make_record<SOAP_ENV__Header>(soap, t, n, size);
    case SOAP_TYPE_SOAP_ENV__Detail:
        return make_record<SOAP_ENV__Detail>(soap, t, n, size);
    case SOAP_TYPE_SOAP_ENV__Code:
        return make_record<SOAP_ENV__Code>(soap, t, n, size);
    case SOAP_TYPE_SOAP_ENV__Reason:
        return make_record<SOAP_ENV__Reason>(soap, t, n, size);
    case SOAP_TYPE_SOAP_ENV__Fault:
        return make_record<SOAP_ENV__Fault>(soap, t, n, size);
    default:
        return nullptr;
    }
}

int soap_frame_env_delete(struct soap_clist *p)
{
    if (!p->ptr)
        return SOAP_OK;
    switch (p->type) {
    case SOAP_TYPE_SOAP_ENV__Header:
        return delete_record<SOAP_ENV__Header>(p);
    case SOAP_TYPE_SOAP_ENV__Detail:
        return delete_record<SOAP_ENV__Detail>(p);
    case SOAP_TYPE_SOAP_ENV__Code:
        return delete_record<SOAP_ENV__Code>(p);
    case SOAP_TYPE_SOAP_ENV__Reason:
        return delete_record<SOAP_ENV__Reason>(p);
    case SOAP_TYPE_SOAP_ENV__Fault:
        return delete_record<SOAP_ENV__Fault>(p);
    default:
        return SOAP_ERR;
    }
}

void soap_frame_env_serialize(struct soap *soap, const void *ptr, int t)
{
    switch (t) {
    case SOAP_TYPE_SOAP_ENV__Header:
        soap_serialize_SOAP_ENV__Header(soap, static_cast<const SOAP_ENV__Header *>(ptr));
        break;
    case SOAP_TYPE_SOAP_ENV__Detail:
        soap_serialize_SOAP_ENV__Detail(soap, static_cast<const SOAP_ENV__Detail *>(ptr));
        break;
    case SOAP_TYPE_SOAP_ENV__Code:
        soap_serialize_SOAP_ENV__Code(soap, static_cast<const SOAP_ENV__Code *>(ptr));
        break;
    case SOAP_TYPE_SOAP_ENV__Reason:
        soap_serialize_SOAP_ENV__Reason(soap, static_cast<const SOAP_ENV__Reason *>(ptr));
        break;
    case SOAP_TYPE_SOAP_ENV__Fault:
        soap_serialize_SOAP_ENV__Fault(soap, static_cast<const SOAP_ENV__Fault *>(ptr));
        break;
    default:
        break;
    }
}

/* ------------------------------------------------------------------------ */
/* Entry points of the engine                                                */
/* ------------------------------------------------------------------------ */

int soap_getheader(struct soap *soap)
{
    soap->part = SOAP_IN_HEADER;
    soap->header = soap_in_SOAP_ENV__Header(soap, "SOAP-ENV:Header", nullptr, nullptr);
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
    if (soap_put_SOAP_ENV__Header(soap, soap->header, "SOAP-ENV:Header", ""))
        return soap->error;
    soap->part = SOAP_END_HEADER;
    return SOAP_OK;
}

void soap_serializeheader(struct soap *soap)
{
    if (soap->header)
        soap_serialize_SOAP_ENV__Header(soap, soap->header);
}

void soap_getfault(struct soap *soap)
{
    soap->fault = soap_get_SOAP_ENV__Fault(soap, nullptr, "SOAP-ENV:Fault", nullptr);
}

int soap_putfault(struct soap *soap)
{
    if (!soap->fault)
        return SOAP_OK;
    return soap_put_SOAP_ENV__Fault(soap, soap->fault, "SOAP-ENV:Fault", nullptr);
}

void soap_serializefault(struct soap *soap)
{
    if (soap->fault)
        soap_serialize_SOAP_ENV__Fault(soap, soap->fault);
}

void soap_header(struct soap *soap) { soap_env::header<FrameEnv>(soap); }
void soap_fault(struct soap *soap) { soap_env::fault<FrameEnv>(soap); }
const char **soap_faultcode(struct soap *soap) { return soap_env::faultcode<FrameEnv>(soap); }
const char **soap_faultsubcode(struct soap *soap) { return soap_env::faultsubcode<FrameEnv>(soap); }
const char *soap_check_faultsubcode(struct soap *soap) { return soap_env::check_faultsubcode<FrameEnv>(soap); }
const char **soap_faultstring(struct soap *soap) { return soap_env::faultstring<FrameEnv>(soap); }
const char **soap_faultdetail(struct soap *soap) { return soap_env::faultdetail<FrameEnv>(soap); }
const char *soap_check_faultdetail(struct soap *soap) { return soap_env::check_faultdetail<FrameEnv>(soap); }
