/* frame.cpp -- the object frame, once for all message classes: default, walk, write and read a
 * record from its member table; pointers, texts, enumerations, vectors and wrappers likewise.
 * Not the element dispatch by type id or tag (dispatch.cpp) nor the SOAP frame records (soapenv.cpp).
 */
#include "frame.h"

#include <algorithm>

#include "orvtypes.h"

/* ------------------------------------------------------------------------ */
/* Lookups                                                                   */
/* ------------------------------------------------------------------------ */

const struct soap_class_info *soap_class_info_of(int t)
{
    const struct soap_type_entry *e = soap_type_entry_of(t);
    return e && e->kind == SOAP_TK_CLASS ? static_cast<const soap_class_info *>(e->info) : nullptr;
}

static const soap_enum_info *enum_info(int t)
{
    return static_cast<const soap_enum_info *>(soap_type_table[t].info);
}

static const soap_vector_info *vector_info(int t)
{
    return static_cast<const soap_vector_info *>(soap_type_table[t].info);
}

/* Root first; the generator keeps chains within SOAP_FRAME_MAXDEPTH. */
static int class_chain(const soap_class_info *ci, const soap_class_info **chain)
{
    int n = 0;
    for (const soap_class_info *c = ci; c && n < SOAP_FRAME_MAXDEPTH; c = c->base)
        chain[n++] = c;
    std::reverse(chain, chain + n);
    return n;
}

static bool is_attribute(unsigned char kind)
{
    return kind >= SOAP_MK_ATTR_ENUM && kind <= SOAP_MK_ATTR_PSTRING;
}

static bool is_vector(unsigned char kind)
{
    return kind == SOAP_MK_VSTRING || kind == SOAP_MK_VENUM || kind == SOAP_MK_VCLASS;
}

static const char *local_part(const char *name)
{
    const char *s = std::strchr(name, ':');
    return s ? s + 1 : name;
}

/* Puts a new object (or array) on the context's object list, so that soap_delete frees it with
   soap_fdelete.  Made first and linked after: a failed link gives the object back at once. */
static void *link_object(struct soap *soap, void *p, int t, int n, void (*destroy)(void *, int))
{
    if (!p) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    if (!soap_link(soap, p, t, n, soap_fdelete)) {
        destroy(p, n);
        soap->error = SOAP_EOM;
        return nullptr;
    }
    return p;
}

static void destroy_strings(void *p, int n)
{
    if (n < 0)
        delete static_cast<std::string *>(p);
    else
        delete[] static_cast<std::string *>(p);
}

/* ------------------------------------------------------------------------ */
/* Members                                                                   */
/* ------------------------------------------------------------------------ */

void soap_frame_default_member(const soap_member_info *m, char *base)
{
    char *p = base + m->offset;
    switch (m->kind) {
    case SOAP_MK_STRING:
    case SOAP_MK_TEXT:
    case SOAP_MK_ATTR_STRING:
        reinterpret_cast<std::string *>(p)->erase();
        break;
    case SOAP_MK_VSTRING:
        reinterpret_cast<std::vector<std::string> *>(p)->clear();
        break;
    case SOAP_MK_VENUM:
    case SOAP_MK_VCLASS:
        vector_info(m->vid)->ops->clear(p);
        break;
    case SOAP_MK_ENUM:
    case SOAP_MK_ATTR_ENUM:
    case SOAP_MK_INT: {
        int zero = 0;
        std::memcpy(p, &zero, sizeof zero);
        break;
    }
    case SOAP_MK_BOOL:
        *reinterpret_cast<bool *>(p) = false;
        break;
    case SOAP_MK_DOUBLE:
        *reinterpret_cast<double *>(p) = 0.0;
        break;
    default: /* every pointer */
        soap_frame_store_ptr(p, nullptr);
        break;
    }
}

void soap_frame_serialize_member(struct soap *soap, const soap_member_info *m, const char *base)
{
    const char *p = base + m->offset;
    switch (m->kind) {
    case SOAP_MK_PSTRING:
    case SOAP_MK_PENUM:
    case SOAP_MK_PBOOL:
    case SOAP_MK_PINT:
    case SOAP_MK_PDOUBLE: {
        void *q = soap_frame_load_ptr(p);
        if (q)
            soap_reference(soap, q, m->tid);
        break;
    }
    case SOAP_MK_PCLASS:
        soap_frame_serialize_pclass(soap, soap_class_info_of(m->tid), soap_frame_load_ptr(p));
        break;
    case SOAP_MK_VCLASS:
        soap_frame_serialize_vector(soap, vector_info(m->vid), p);
        break;
    default:
        break;
    }
}

/* A required member that is null goes out as a nil element. */
static int out_nil(struct soap *soap, const soap_member_info *m)
{
    return soap_element_nil(soap, m->tag) ? soap->error : SOAP_OK;
}

int soap_frame_out_member(struct soap *soap, const soap_member_info *m, const char *base)
{
    const char *p = base + m->offset;
    switch (m->kind) {
    case SOAP_MK_STRING:
        return soap_frame_out_string(soap, m->tag, -1, reinterpret_cast<const std::string *>(p), "", m->tid);
    case SOAP_MK_ENUM:
        return soap_frame_out_enum(soap, enum_info(m->tid), m->tag, -1, p, "");
    case SOAP_MK_BOOL:
        return soap_frame_out_bool(soap, m->tag, -1, reinterpret_cast<const bool *>(p), "");
    case SOAP_MK_INT:
        return soap_outint(soap, m->tag, -1, reinterpret_cast<const int *>(p), "", SOAP_TYPE_int);
    case SOAP_MK_DOUBLE:
        return soap_outdouble(soap, m->tag, -1, reinterpret_cast<const double *>(p), "", SOAP_TYPE_double);
    case SOAP_MK_VSTRING:
    case SOAP_MK_VENUM:
    case SOAP_MK_VCLASS:
        return soap_frame_out_vector(soap, vector_info(m->vid), m->tag, -1, p, "");
    case SOAP_MK_PSTRING:
    case SOAP_MK_PENUM:
    case SOAP_MK_PBOOL:
    case SOAP_MK_PINT:
    case SOAP_MK_PDOUBLE:
    case SOAP_MK_PCLASS: {
        const void *q = soap_frame_load_ptr(p);
        if (!q && m->min)
            return out_nil(soap, m);
        if (m->kind == SOAP_MK_PSTRING)
            return soap_frame_out_pstring(soap, m->tag, -1, static_cast<const std::string *>(q), "", m->tid);
        if (m->kind == SOAP_MK_PENUM)
            return soap_frame_out_penum(soap, enum_info(m->tid), m->tag, -1, q, "");
        if (m->kind == SOAP_MK_PCLASS)
            return soap_frame_out_pclass(soap, soap_class_info_of(m->tid), m->tag, -1, q, "");
        return soap_frame_out_pvalue(soap, m->tid, m->tag, -1, q, "");
    }
    default:
        return SOAP_OK;
    }
}

void *soap_frame_in_member(struct soap *soap, const soap_member_info *m, char *base)
{
    char *p = base + m->offset;
    switch (m->kind) {
    case SOAP_MK_STRING:
        return soap_frame_in_string(soap, m->tag, reinterpret_cast<std::string *>(p), m->type, m->tid);
    case SOAP_MK_PSTRING:
        return soap_frame_in_pstring(soap, m->tag, reinterpret_cast<std::string **>(p), m->type, m->tid);
    case SOAP_MK_ENUM:
        return soap_frame_in_enum(soap, enum_info(m->tid), m->tag, p, m->type);
    case SOAP_MK_PENUM:
        return soap_frame_in_penum(soap, enum_info(m->tid), m->tag, reinterpret_cast<void **>(p), m->type);
    case SOAP_MK_BOOL:
        return soap_frame_in_bool(soap, m->tag, reinterpret_cast<bool *>(p), m->type);
    case SOAP_MK_INT:
        return soap_inint(soap, m->tag, reinterpret_cast<int *>(p), m->type, SOAP_TYPE_int);
    case SOAP_MK_DOUBLE:
        return soap_indouble(soap, m->tag, reinterpret_cast<double *>(p), m->type, SOAP_TYPE_double);
    case SOAP_MK_PBOOL:
    case SOAP_MK_PINT:
    case SOAP_MK_PDOUBLE:
        return soap_frame_in_pvalue(soap, m->tid, m->tag, reinterpret_cast<void **>(p), m->type);
    case SOAP_MK_PCLASS:
        return soap_frame_in_pclass(soap, soap_class_info_of(m->tid), m->tag, reinterpret_cast<void **>(p), m->type);
    case SOAP_MK_VSTRING:
    case SOAP_MK_VENUM:
    case SOAP_MK_VCLASS:
        return soap_frame_in_vector(soap, vector_info(m->vid), m->tag, p, m->type);
    default:
        soap->error = SOAP_TAG_MISMATCH;
        return nullptr;
    }
}

/* Attributes are recorded before the element is begun, whatever their place in the table. */
static int out_attributes(struct soap *soap, const soap_class_info *const *chain, int n, const char *base)
{
    for (int k = 0; k < n; k++) {
        const soap_class_info *c = chain[k];
        for (unsigned i = 0; i < c->nmembers; i++) {
            const soap_member_info *m = &c->members[i];
            if (!is_attribute(m->kind))
                continue;
            const char *p = base + m->offset;
            const char *text = nullptr;
            switch (m->kind) {
            case SOAP_MK_ATTR_ENUM: {
                int v;
                std::memcpy(&v, p, sizeof v);
                text = soap_frame_enum2s(soap, enum_info(m->tid), v);
                break;
            }
            case SOAP_MK_ATTR_PENUM: {
                const void *q = soap_frame_load_ptr(p);
                if (q) {
                    int v;
                    std::memcpy(&v, q, sizeof v);
                    text = soap_frame_enum2s(soap, enum_info(m->tid), v);
                }
                break;
            }
            case SOAP_MK_ATTR_STRING:
                text = reinterpret_cast<const std::string *>(p)->c_str();
                break;
            default: {
                const std::string *q = static_cast<const std::string *>(soap_frame_load_ptr(p));
                if (q)
                    text = q->c_str();
                break;
            }
            }
            if (text && soap_set_attr(soap, m->tag, text, 1))
                return soap->error;
        }
    }
    return SOAP_OK;
}

static int in_attributes(struct soap *soap, const soap_class_info *const *chain, int n, char *base)
{
    for (int k = 0; k < n; k++) {
        const soap_class_info *c = chain[k];
        for (unsigned i = 0; i < c->nmembers; i++) {
            const soap_member_info *m = &c->members[i];
            if (!is_attribute(m->kind))
                continue;
            const char *s = soap_attr_value(soap, m->tag, m->min ? 1 : 0);
            if (!s) {
                if (soap->error)
                    return soap->error;
                continue;
            }
            char *p = base + m->offset;
            switch (m->kind) {
            case SOAP_MK_ATTR_ENUM:
                if (soap_frame_s2enum(soap, enum_info(m->tid), s, p))
                    return soap->error;
                break;
            case SOAP_MK_ATTR_PENUM: {
                void *v = soap_malloc(soap, sizeof(int));
                if (!v)
                    return soap->error = SOAP_EOM;
                if (soap_frame_s2enum(soap, enum_info(m->tid), s, v))
                    return soap->error;
                soap_frame_store_ptr(p, v);
                break;
            }
            case SOAP_MK_ATTR_STRING:
                reinterpret_cast<std::string *>(p)->assign(s);
                break;
            default: {
                std::string *v = static_cast<std::string *>(soap_frame_instantiate_string(soap, m->tid, -1, nullptr));
                if (!v)
                    return soap->error;
                v->assign(s);
                soap_frame_store_ptr(p, v);
                break;
            }
            }
        }
    }
    return SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Classes                                                                   */
/* ------------------------------------------------------------------------ */

void soap_frame_default(struct soap *soap, const soap_class_info *ci, void *a)
{
    char *base = static_cast<char *>(a);
    soap_frame_store_ptr(base + ci->soap_offset, soap);
    for (const soap_class_info *c = ci; c; c = c->base)
        for (unsigned i = 0; i < c->nmembers; i++)
            soap_frame_default_member(&c->members[i], base);
}

void soap_frame_serialize(struct soap *soap, const soap_class_info *ci, const void *a)
{
    const soap_class_info *chain[SOAP_FRAME_MAXDEPTH];
    int n = class_chain(ci, chain);
    const char *base = static_cast<const char *>(a);
    for (int k = 0; k < n; k++)
        for (unsigned i = 0; i < chain[k]->nmembers; i++)
            soap_frame_serialize_member(soap, &chain[k]->members[i], base);
}

int soap_frame_put(struct soap *soap, const soap_class_info *ci, const void *a, const char *tag, const char *type)
{
    int id = soap_embed(soap, a, nullptr, 0, tag, ci->type);
    if (!tag) {
        const soap_class_info *dyn = soap_class_info_of(ci->ops->vtype(a));
        tag = dyn ? dyn->name : ci->name;
    }
    if (ci->ops->vout(a, soap, tag, id, type))
        return soap->error;
    return soap_putindependent(soap);
}

int soap_frame_out(struct soap *soap, const soap_class_info *ci, const char *tag, int id, const void *a,
                   const char *type)
{
    const soap_class_info *chain[SOAP_FRAME_MAXDEPTH];
    int n = class_chain(ci, chain);
    const char *base = static_cast<const char *>(a);
    if ((ci->flags & SOAP_CF_ATTRIBUTES) && out_attributes(soap, chain, n, base))
        return soap->error;
    if (ci->flags & SOAP_CF_SIMPLE) {
        /* the text member is the element; a root class writes the type it was given */
        for (unsigned i = 0; i < ci->nmembers; i++)
            if (ci->members[i].kind == SOAP_MK_TEXT)
                return soap_frame_out_string(soap, tag, id,
                                             reinterpret_cast<const std::string *>(base + ci->members[i].offset),
                                             ci->base ? ci->name : type, SOAP_TYPE_std__string);
        return SOAP_OK;
    }
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, ci->type), ci->base ? ci->name : type))
        return soap->error;
    for (int k = 0; k < n; k++) {
        const soap_class_info *c = chain[k];
        for (unsigned i = 0; i < c->nmembers; i++)
            if (!is_attribute(c->members[i].kind) && soap_frame_out_member(soap, &c->members[i], base))
                return soap->error;
    }
    return soap_element_end_out(soap, tag);
}

/* The class has a required element member that the counters say is missing. */
static bool missing_required(const soap_class_info *const *chain, int n, const unsigned char *cnt, const char *base)
{
    int idx = 0;
    for (int k = 0; k < n; k++) {
        const soap_class_info *c = chain[k];
        for (unsigned i = 0; i < c->nmembers; i++, idx++) {
            const soap_member_info *m = &c->members[i];
            if (!m->min || is_attribute(m->kind) || m->kind == SOAP_MK_TEXT)
                continue;
            if (is_vector(m->kind)) {
                size_t size = m->kind == SOAP_MK_VSTRING
                                  ? reinterpret_cast<const std::vector<std::string> *>(base + m->offset)->size()
                                  : vector_info(m->vid)->ops->size(base + m->offset);
                if (size < m->min)
                    return true;
            } else if (!cnt || cnt[idx]) {
                return true;
            }
        }
    }
    return false;
}

static void *frame_in_simple(struct soap *soap, const soap_class_info *ci, const char *tag, void *a,
                             const char *type)
{
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    a = soap_id_enter(soap, soap->id, a, ci->type, ci->size, 0, soap->type, soap->arrayType, soap_instantiate);
    if (!a)
        return nullptr;
    soap_revert(soap);
    *soap->id = '\0';
    /* an object made here is in its default state already: its constructor put it there */
    if (soap->alloced && soap->clist && soap->clist->type != ci->type)
        return ci->ops->vin(a, soap, tag, type);
    const soap_class_info *chain[SOAP_FRAME_MAXDEPTH];
    int n = class_chain(ci, chain);
    char *base = static_cast<char *>(a);
    if ((ci->flags & SOAP_CF_ATTRIBUTES) && in_attributes(soap, chain, n, base))
        return nullptr;
    for (unsigned i = 0; i < ci->nmembers; i++)
        if (ci->members[i].kind == SOAP_MK_TEXT) {
            if (!soap_frame_in_string(soap, tag, reinterpret_cast<std::string *>(base + ci->members[i].offset),
                                      ci->name, SOAP_TYPE_std__string))
                return nullptr;
            return a;
        }
    return a;
}

/* The element of a record class, begun already. */
static void *frame_in_begun(struct soap *soap, const soap_class_info *ci, const char *tag, void *a,
                            const char *type)
{
    if (soap->level > SOAP_FRAME_MAXNEST) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    a = soap_id_enter(soap, soap->id, a, ci->type, ci->size, 0, soap->type, soap->arrayType, soap_instantiate);
    if (!a)
        return nullptr;
    /* an object made here is in its default state already (its constructor put it there); when
       a derived one was made, its own reader takes the element from the start */
    if (soap->alloced && soap->clist && soap->clist->type != ci->type) {
        soap_revert(soap);
        *soap->id = '\0';
        return ci->ops->vin(a, soap, tag, type);
    }
    const soap_class_info *chain[SOAP_FRAME_MAXDEPTH];
    int n = class_chain(ci, chain);
    char *base = static_cast<char *>(a);
    if ((ci->flags & SOAP_CF_ATTRIBUTES) && in_attributes(soap, chain, n, base))
        return nullptr;
    if (soap->body && !*soap->href) {
        unsigned char cnt[SOAP_FRAME_MAXMEMBERS];
        const soap_member_info *flat[SOAP_FRAME_MAXMEMBERS];
        int total = 0;
        for (int k = 0; k < n; k++)
            for (unsigned i = 0; i < chain[k]->nmembers && total < SOAP_FRAME_MAXMEMBERS; i++, total++) {
                flat[total] = &chain[k]->members[i];
                cnt[total] = !is_vector(flat[total]->kind);
            }
        /* With all local names different at most one member can take an element, so the search
           may start where the schema order makes the next element most likely. */
        const bool distinct = (ci->flags & SOAP_CF_DISTINCT) != 0;
        int from = 0;
        for (;;) {
            /* The next element's local name rules out most members at the cost of a string
               compare; the others are tried in full.  A failed look leaves its error, as the
               first member tried would have. */
            const char *local = nullptr;
            if (!soap_peek_element(soap)) {
                soap->error = SOAP_TAG_MISMATCH;
                if (!soap->other) {
                    const char *colon = std::strchr(soap->tag, ':');
                    local = colon ? colon + 1 : soap->tag;
                }
            }
            const int first = distinct && local ? from : 0;
            bool took = false;
            for (int j = 0; j < total; j++) {
                int idx = first + j < total ? first + j : first + j - total;
                const soap_member_info *m = flat[idx];
                if (is_attribute(m->kind) || m->kind == SOAP_MK_TEXT)
                    continue;
                bool single = !is_vector(m->kind);
                if (single && !cnt[idx])
                    continue;
                bool text = m->kind == SOAP_MK_STRING || m->kind == SOAP_MK_PSTRING;
                if (!(soap->error == SOAP_TAG_MISMATCH || (text && soap->error == SOAP_NO_TAG)))
                    continue;
                if (local && m->local && (m->tag[m->local] != *local || std::strcmp(m->tag + m->local, local)))
                    continue;
                if (soap_frame_in_member(soap, m, base)) {
                    if (single)
                        cnt[idx]--;
                    took = true;
                    from = idx + 1 < total ? idx + 1 : 0;
                    break;
                }
            }
            if (took)
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
        if ((soap->mode & SOAP_XML_STRICT) && missing_required(chain, n, cnt, base)) {
            soap->error = SOAP_OCCURS;
            return nullptr;
        }
    } else {
        a = soap_id_forward(soap, soap->href, a, 0, ci->type, 0, ci->size, 0, soap_frame_copy);
        if (!a)
            return nullptr;
        if (soap->body && soap_element_end_in(soap, tag))
            return nullptr;
        if ((soap->mode & SOAP_XML_STRICT) && (ci->flags & SOAP_CF_REQUIRED) &&
            missing_required(chain, n, nullptr, base)) {
            soap->error = SOAP_OCCURS;
            return nullptr;
        }
    }
    return a;
}

void *soap_frame_in(struct soap *soap, const soap_class_info *ci, const char *tag, void *a, const char *type)
{
    if (ci->flags & SOAP_CF_SIMPLE)
        return frame_in_simple(soap, ci, tag, a, type);
    if (soap_element_begin_in(soap, tag, 0, nullptr))
        return nullptr;
    return frame_in_begun(soap, ci, tag, a, type);
}

void *soap_frame_get(struct soap *soap, const soap_class_info *ci, void *a, const char *tag, const char *type)
{
    void *p = soap_frame_in(soap, ci, tag, a, type);
    if (p && soap_getindependent(soap))
        return nullptr;
    return p;
}

/* The class to make for an element of class ci: the descendant that xsi:type names, else ci. */
static const soap_class_info *pick_class(struct soap *soap, const soap_class_info *ci, const char *type)
{
    if (type && *type && ci->ndescendants) {
        /* a match needs equal local parts; compare those first, then the namespaces */
        const char *local = local_part(type);
        for (unsigned i = 0; i < ci->ndescendants; i++) {
            const soap_class_info *d = ci->descendants[i];
            if (!std::strcmp(local, local_part(d->name)) && !soap_match_tag(soap, type, d->name))
                return d;
        }
    }
    return ci;
}

/* A new object (n < 0) or array of class ci, on the context's object list. */
static void *make_linked(struct soap *soap, const soap_class_info *ci, int n)
{
    return link_object(soap, ci->ops->make(soap, n), ci->type, n, ci->ops->destroy);
}

void *soap_frame_instantiate(struct soap *soap, const soap_class_info *ci, int n, const char *type,
                             const char *arrayType, size_t *size)
{
    (void)arrayType;
    const soap_class_info *make = pick_class(soap, ci, type);
    void *p = make_linked(soap, make, n);
    if (p && size)
        *size = n < 0 ? make->size : static_cast<size_t>(n) * make->size;
    return p;
}

void soap_frame_copy(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n)
{
    (void)soap;
    (void)tt;
    (void)len;
    const soap_type_entry *e = soap_type_entry_of(st);
    if (e && e->kind == SOAP_TK_CLASS)
        static_cast<const soap_class_info *>(e->info)->ops->copy(p, q);
    else if (e && e->kind == SOAP_TK_STRING)
        *static_cast<std::string *>(p) = *static_cast<const std::string *>(q);
    else
        std::memcpy(p, q, n);
}

/* ------------------------------------------------------------------------ */
/* Pointers to classes                                                       */
/* ------------------------------------------------------------------------ */

void soap_frame_serialize_pclass(struct soap *soap, const soap_class_info *ci, const void *p)
{
    if (p && !soap_reference(soap, p, ci->type))
        ci->ops->vserialize(p, soap);
}

int soap_frame_out_pclass(struct soap *soap, const soap_class_info *ci, const char *tag, int id, const void *p,
                          const char *type)
{
    id = soap_element_id(soap, tag, id, p, nullptr, 0, type, ci->type);
    if (id < 0)
        return soap->error;
    return ci->ops->vout(p, soap, tag, id, type);
}

void **soap_frame_in_pclass(struct soap *soap, const soap_class_info *ci, const char *tag, void **a,
                            const char *type)
{
    (void)type;
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    if (!a && !(a = static_cast<void **>(soap_malloc(soap, sizeof(void *))))) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    soap_frame_store_ptr(a, nullptr);
    if (!soap->null && *soap->href != '#') {
        const soap_class_info *made = pick_class(soap, ci, soap->type);
        void *p = make_linked(soap, made, -1);
        if (!p)
            return nullptr;
        soap_frame_store_ptr(a, p);  /* made in its default state, by its constructor */
        /* the element is begun: a record class goes on with it as the object's own reader would */
        if (made->flags & (SOAP_CF_SIMPLE | SOAP_CF_OWNREADER)) {
            soap_revert(soap);
            p = made->ops->vin(p, soap, tag, nullptr);
        } else {
            p = frame_in_begun(soap, made, tag, p, nullptr);
        }
        return p ? a : nullptr;
    }
    void **r = soap_id_lookup(soap, soap->href, a, ci->type, ci->size, 0);
    for (unsigned i = 0; !r && soap->error == SOAP_HREF && i < ci->ndescendants; i++) {
        soap->error = SOAP_OK;
        r = soap_id_lookup(soap, soap->href, a, ci->descendants[i]->type, ci->descendants[i]->size, 0);
    }
    if (!r)
        return nullptr;
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return r;
}

/* ------------------------------------------------------------------------ */
/* Texts                                                                     */
/* ------------------------------------------------------------------------ */

int soap_frame_out_string(struct soap *soap, const char *tag, int id, const std::string *s, const char *type,
                          int tid)
{
    if (s->empty() && (soap->mode & SOAP_C_NILSTRING))
        return soap_element_null(soap, tag, id, type);
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, s, tid), type) ||
        soap_string_out(soap, s->c_str(), 0) || soap_element_end_out(soap, tag))
        return soap->error;
    return SOAP_OK;
}

/* The element of a text, begun already. */
static std::string *string_begun(struct soap *soap, const char *tag, std::string *s, int tid)
{
    size_t n = 0;
    const char *run = soap->body && !*soap->href ? soap_text_run(soap, &n) : nullptr;
    if (!s && !*soap->id) {
        /* what soap_id_enter would do, without the type dispatch; a new text is made with its
           content when that is a plain run */
        s = static_cast<std::string *>(link_object(
            soap, run ? new (std::nothrow) std::string(run, n) : new (std::nothrow) std::string, tid, -1,
            destroy_strings));
        if (!s)
            return nullptr;
        soap->alloced = 1;
    } else {
        s = static_cast<std::string *>(
            soap_id_enter(soap, soap->id, s, tid, sizeof(std::string), 0, nullptr, nullptr, soap_instantiate));
        if (!s)
            return nullptr;
        if (run)
            s->assign(run, n);
    }
    if (*soap->href) {
        s = static_cast<std::string *>(
            soap_id_forward(soap, soap->href, s, 0, tid, 0, sizeof(std::string), 0, soap_frame_copy));
        if (!s)
            return nullptr;
    } else if (soap->body && !run) {
        /* up to a NUL that a character reference may have put in, as a copied C string would */
        const char *t = soap_string_in_lab(soap, 1, -1, -1, nullptr);
        if (!t)
            return nullptr;
        s->assign(t);
    }
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return s;
}

std::string *soap_frame_in_string(struct soap *soap, const char *tag, std::string *s, const char *type, int tid)
{
    (void)type;
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    return string_begun(soap, tag, s, tid);
}

int soap_frame_out_pstring(struct soap *soap, const char *tag, int id, const std::string *p, const char *type,
                           int tid)
{
    id = soap_element_id(soap, tag, id, p, nullptr, 0, type, tid);
    if (id < 0)
        return soap->error;
    return soap_frame_out_string(soap, tag, id, p, type, tid);
}

std::string **soap_frame_in_pstring(struct soap *soap, const char *tag, std::string **a, const char *type, int tid)
{
    (void)type;
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    if (!a && !(a = static_cast<std::string **>(soap_malloc(soap, sizeof(std::string *))))) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    soap_frame_store_ptr(a, nullptr);
    if (!soap->null && *soap->href != '#') {
        std::string *s = string_begun(soap, tag, nullptr, tid);  /* the element is begun */
        if (!s)
            return nullptr;
        soap_frame_store_ptr(a, s);
        return a;
    }
    a = reinterpret_cast<std::string **>(
        soap_id_lookup(soap, soap->href, reinterpret_cast<void **>(a), tid, sizeof(std::string), 0));
    if (!a)
        return nullptr;
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return a;
}

void *soap_frame_instantiate_string(struct soap *soap, int tid, int n, size_t *size)
{
    void *p = n < 0 ? static_cast<void *>(new (std::nothrow) std::string) : new (std::nothrow) std::string[n];
    p = link_object(soap, p, tid, n, destroy_strings);
    if (p && size)
        *size = n < 0 ? sizeof(std::string) : static_cast<size_t>(n) * sizeof(std::string);
    return p;
}

/* ------------------------------------------------------------------------ */
/* Enumerations                                                              */
/* ------------------------------------------------------------------------ */

const char *soap_frame_enum2s(struct soap *soap, const soap_enum_info *ei, long n)
{
    const char *s = soap_code_str(ei->codes, n);
    return s ? s : soap_long2s(soap, n);
}

int soap_frame_s2enum(struct soap *soap, const soap_enum_info *ei, const char *s, void *a)
{
    if (!s)
        return soap->error;
    const struct soap_code_map *row = soap_code(ei->codes, s);
    int v;
    if (row) {
        v = static_cast<int>(row->code);
    } else {
        if (soap_s2int(soap, s, &v))
            return soap->error = SOAP_TYPE;
        if ((soap->mode & SOAP_XML_STRICT) && static_cast<unsigned long>(static_cast<unsigned int>(v)) >=
                                                  static_cast<unsigned long>(ei->count))
            return soap->error = SOAP_TYPE;
    }
    std::memcpy(a, &v, sizeof v);
    return SOAP_OK;
}

int soap_frame_out_enum(struct soap *soap, const soap_enum_info *ei, const char *tag, int id, const void *a,
                        const char *type)
{
    int v;
    std::memcpy(&v, a, sizeof v);
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, ei->type), type) ||
        soap_send(soap, soap_frame_enum2s(soap, ei, v)) || soap_element_end_out(soap, tag))
        return soap->error;
    return SOAP_OK;
}

void *soap_frame_in_enum(struct soap *soap, const soap_enum_info *ei, const char *tag, void *a, const char *type)
{
    if (soap_element_begin_in(soap, tag, 0, type))
        return nullptr;
    a = soap_id_enter(soap, soap->id, a, ei->type, sizeof(int), 0, nullptr, nullptr, nullptr);
    if (!a)
        return nullptr;
    if (soap->body && !*soap->href) {
        if (soap_frame_s2enum(soap, ei, soap_value(soap), a))
            return nullptr;
    } else {
        a = soap_id_forward(soap, soap->href, a, 0, ei->type, 0, sizeof(int), 0, nullptr);
        if (!soap->body)
            return a;
    }
    if (soap_element_end_in(soap, tag))
        return nullptr;
    return a;
}

int soap_frame_out_penum(struct soap *soap, const soap_enum_info *ei, const char *tag, int id, const void *p,
                         const char *type)
{
    id = soap_element_id(soap, tag, id, p, nullptr, 0, type, ei->type);
    if (id < 0)
        return soap->error;
    return soap_frame_out_enum(soap, ei, tag, id, p, type);
}

void **soap_frame_in_penum(struct soap *soap, const soap_enum_info *ei, const char *tag, void **a, const char *type)
{
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    if (!a && !(a = static_cast<void **>(soap_malloc(soap, sizeof(void *))))) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    soap_frame_store_ptr(a, nullptr);
    if (!soap->null && *soap->href != '#') {
        soap_revert(soap);
        void *v = soap_frame_in_enum(soap, ei, tag, nullptr, type);
        if (!v)
            return nullptr;
        soap_frame_store_ptr(a, v);
        return a;
    }
    a = soap_id_lookup(soap, soap->href, a, ei->type, sizeof(int), 0);
    if (!a)
        return nullptr;
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return a;
}

/* ------------------------------------------------------------------------ */
/* bool, int, double                                                         */
/* ------------------------------------------------------------------------ */

static const struct soap_code_map bool_codes[] = {{0, "0"}, {1, "1"}, {0, nullptr}};

const char *soap_frame_bool2s(struct soap *soap, bool n)
{
    (void)soap;
    return soap_code_str(bool_codes, n ? 1 : 0);
}

int soap_frame_s2bool(struct soap *soap, const char *s, bool *a)
{
    if (!s)
        return soap->error;
    const struct soap_code_map *row = soap_code(bool_codes, s);
    if (row) {
        *a = row->code > 0;
        return SOAP_OK;
    }
    int v;
    if (soap_s2int(soap, s, &v) || (v != 0 && v != 1))
        return soap->error = SOAP_TYPE;
    *a = v != 0;
    return SOAP_OK;
}

int soap_frame_out_bool(struct soap *soap, const char *tag, int id, const bool *a, const char *type)
{
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, SOAP_TYPE_bool), type) ||
        soap_send(soap, soap_frame_bool2s(soap, *a)) || soap_element_end_out(soap, tag))
        return soap->error;
    return SOAP_OK;
}

bool *soap_frame_in_bool(struct soap *soap, const char *tag, bool *a, const char *type)
{
    if (soap_element_begin_in(soap, tag, 0, nullptr))
        return nullptr;
    if (*soap->type && soap_match_tag(soap, soap->type, type) && soap_match_tag(soap, soap->type, ":boolean")) {
        soap->error = SOAP_TYPE;
        soap_revert(soap);
        return nullptr;
    }
    a = static_cast<bool *>(soap_id_enter(soap, soap->id, a, SOAP_TYPE_bool, sizeof(bool), 0, nullptr, nullptr, nullptr));
    if (!a)
        return nullptr;
    if (soap->body && !*soap->href) {
        if (soap_frame_s2bool(soap, soap_value(soap), a))
            return nullptr;
    } else {
        a = static_cast<bool *>(soap_id_forward(soap, soap->href, a, 0, SOAP_TYPE_bool, 0, sizeof(bool), 0, nullptr));
        if (!soap->body)
            return a;
    }
    if (soap_element_end_in(soap, tag))
        return nullptr;
    return a;
}

static size_t value_size(int tid)
{
    switch (tid) {
    case SOAP_TYPE_bool:
        return sizeof(bool);
    case SOAP_TYPE_int:
        return sizeof(int);
    case SOAP_TYPE_double:
        return sizeof(double);
    default:
        return sizeof(unsigned char);
    }
}

int soap_frame_out_pvalue(struct soap *soap, int tid, const char *tag, int id, const void *p, const char *type)
{
    id = soap_element_id(soap, tag, id, p, nullptr, 0, type, tid);
    if (id < 0)
        return soap->error;
    switch (tid) {
    case SOAP_TYPE_bool:
        return soap_frame_out_bool(soap, tag, id, static_cast<const bool *>(p), type);
    case SOAP_TYPE_int:
        return soap_outint(soap, tag, id, static_cast<const int *>(p), type, tid);
    case SOAP_TYPE_double:
        return soap_outdouble(soap, tag, id, static_cast<const double *>(p), type, tid);
    default:
        return soap_outunsignedByte(soap, tag, id, static_cast<const unsigned char *>(p), type, tid);
    }
}

void **soap_frame_in_pvalue(struct soap *soap, int tid, const char *tag, void **a, const char *type)
{
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    if (!a && !(a = static_cast<void **>(soap_malloc(soap, sizeof(void *))))) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    soap_frame_store_ptr(a, nullptr);
    if (!soap->null && *soap->href != '#') {
        soap_revert(soap);
        void *v;
        switch (tid) {
        case SOAP_TYPE_bool:
            v = soap_frame_in_bool(soap, tag, nullptr, type);
            break;
        case SOAP_TYPE_int:
            v = soap_inint(soap, tag, nullptr, type, tid);
            break;
        case SOAP_TYPE_double:
            v = soap_indouble(soap, tag, nullptr, type, tid);
            break;
        default:
            v = soap_inunsignedByte(soap, tag, nullptr, type, tid);
            break;
        }
        if (!v)
            return nullptr;
        soap_frame_store_ptr(a, v);
        return a;
    }
    a = soap_id_lookup(soap, soap->href, a, tid, value_size(tid), 0);
    if (!a)
        return nullptr;
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return a;
}

/* ------------------------------------------------------------------------ */
/* Vectors                                                                   */
/* ------------------------------------------------------------------------ */

int soap_frame_out_vector(struct soap *soap, const soap_vector_info *vi, const char *tag, int id, const void *v,
                          const char *type)
{
    size_t n = vi->ops->size(v);
    for (size_t i = 0; i < n; i++) {
        const void *e = vi->ops->elem(v, i);
        int r;
        if (vi->kind == SOAP_VK_CLASS)
            r = soap_frame_out_pclass(soap, soap_class_info_of(vi->elem), tag, id, e, type);
        else if (vi->kind == SOAP_VK_STRING)
            r = soap_frame_out_string(soap, tag, id, static_cast<const std::string *>(e), type, vi->elem);
        else
            r = soap_frame_out_enum(soap, enum_info(vi->elem), tag, id, e, type);
        if (r)
            return soap->error;
    }
    return SOAP_OK;
}

void soap_frame_serialize_vector(struct soap *soap, const soap_vector_info *vi, const void *v)
{
    if (vi->kind != SOAP_VK_CLASS)
        return;
    const soap_class_info *ci = soap_class_info_of(vi->elem);
    size_t n = vi->ops->size(v);
    for (size_t i = 0; i < n; i++)
        soap_frame_serialize_pclass(soap, ci, vi->ops->elem(v, i));
}

/* One element of a run; false leaves the run (the caller decides whether that is a failure). */
static bool in_vector_element(struct soap *soap, const soap_vector_info *vi, const char *tag, void *v,
                              const char *type)
{
    const char *ref = *soap->id ? soap->id : *soap->href ? soap->href : nullptr;
    size_t len = vi->ops->size(v);
    if (vi->kind == SOAP_VK_CLASS) {
        void *slot = nullptr;
        void **target = &slot;
        if (ref) {
            if (!soap_id_forward(soap, ref, v, len, vi->elem, vi->type, sizeof(void *), 1, soap_container_insert))
                return false;
            target = nullptr;
        }
        if (!soap_frame_in_pclass(soap, soap_class_info_of(vi->elem), tag, target, type))
            return false;
        vi->ops->push(v, slot);
        return true;
    }
    if (vi->kind == SOAP_VK_STRING) {
        std::string slot;
        std::string *target = &slot;
        if (ref) {
            if (!soap_id_forward(soap, ref, v, len, vi->elem, vi->type, sizeof(std::string), 1, soap_container_insert))
                return false;
            target = nullptr;
        }
        if (!soap_frame_in_string(soap, tag, target, type, vi->elem))
            return false;
        vi->ops->push(v, &slot);
        if (ref) { /* an id entry may point at the local slot: move it into the vector */
            char *local = reinterpret_cast<char *>(&slot);
            soap_update_pointers(soap, local, local + sizeof slot,
                                 static_cast<char *>(const_cast<void *>(vi->ops->elem(v, len))), local);
        }
        return true;
    }
    int slot = 0;
    int *target = &slot;
    if (ref) {
        if (!soap_id_forward(soap, ref, v, len, vi->elem, vi->type, sizeof(int), 1, soap_container_insert))
            return false;
        target = nullptr;
    }
    if (!soap_frame_in_enum(soap, enum_info(vi->elem), tag, target, type))
        return false;
    vi->ops->push(v, &slot);
    if (ref) { /* an id entry may point at the local slot: move it into the vector */
        char *local = reinterpret_cast<char *>(&slot);
        soap_update_pointers(soap, local, local + sizeof slot,
                             static_cast<char *>(const_cast<void *>(vi->ops->elem(v, len))), local);
    }
    return true;
}

void *soap_frame_in_vector(struct soap *soap, const soap_vector_info *vi, const char *tag, void *v,
                           const char *type)
{
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    if (!v && !(v = soap_frame_instantiate_vector(soap, vi, -1, nullptr)))
        return nullptr;
    bool pseudo = !tag || *tag == '-';
    for (bool first = true;; first = false) {
        if (!pseudo)
            soap_revert(soap);
        if (!in_vector_element(soap, vi, tag, v, type)) {
            if (first)
                return nullptr;
            break;
        }
        if (pseudo || soap_element_begin_in(soap, tag, 1, nullptr))
            break;
    }
    if (soap->error == SOAP_TAG_MISMATCH || soap->error == SOAP_NO_TAG || soap->error == SOAP_OK) {
        soap->error = SOAP_OK;
        return v;
    }
    return nullptr;
}

void *soap_frame_instantiate_vector(struct soap *soap, const soap_vector_info *vi, int n, size_t *size)
{
    void *p = link_object(soap, vi->ops->make(n), vi->type, n, vi->ops->destroy);
    if (p && size)
        *size = n < 0 ? vi->ops->bytes : static_cast<size_t>(n) * vi->ops->bytes;
    return p;
}

/* ------------------------------------------------------------------------ */
/* Operation wrappers                                                        */
/* ------------------------------------------------------------------------ */

void soap_frame_serialize_wrapper(struct soap *soap, const soap_wrapper_info *wi, const void *a)
{
    soap_frame_serialize_pclass(soap, soap_class_info_of(wi->target), soap_frame_load_ptr(a));
}

int soap_frame_out_wrapper(struct soap *soap, const soap_wrapper_info *wi, const char *tag, int id, const void *a,
                           const char *type)
{
    (void)tag;
    (void)id;
    (void)type;
    return soap_frame_out_pclass(soap, soap_class_info_of(wi->target), wi->elem, -1, soap_frame_load_ptr(a), "");
}

int soap_frame_put_wrapper(struct soap *soap, const soap_wrapper_info *wi, const void *a, const char *tag,
                           const char *type)
{
    if (soap_frame_out_wrapper(soap, wi, tag ? tag : wi->tag, -2, a, type))
        return soap->error;
    return SOAP_OK;
}

/* Under SOAP 1.2 with an encoding style an RPC result element may stand before the content. */
static void check_result(struct soap *soap)
{
    if (soap->version == 2 && soap->encodingStyle)
        soap_instring(soap, ":result", nullptr, nullptr, SOAP_TYPE__QName, 2, -1, -1);
}

void *soap_frame_in_wrapper(struct soap *soap, const soap_wrapper_info *wi, const char *tag, void *a,
                            const char *type)
{
    (void)tag;
    (void)type;
    a = soap_id_enter(soap, "", a, wi->type, wi->size, 0, nullptr, nullptr, nullptr);
    if (!a)
        return nullptr;
    soap_frame_store_ptr(a, nullptr);
    const soap_class_info *ci = soap_class_info_of(wi->target);
    bool pending = true;
    bool read = false;
    for (;;) {
        soap->error = SOAP_TAG_MISMATCH;
        if (pending && soap_frame_in_pclass(soap, ci, wi->elem, static_cast<void **>(a), ci->name)) {
            pending = false;
            read = true;
            continue;
        }
        check_result(soap);
        if (soap->error == SOAP_TAG_MISMATCH)
            break;
        if (read && soap->error == SOAP_NO_TAG)
            return a;
        if (soap->error)
            return nullptr;
        read = true;
    }
    if (!read)
        return nullptr;
    soap->error = SOAP_OK;
    return a;
}

void *soap_frame_get_wrapper(struct soap *soap, const soap_wrapper_info *wi, void *a, const char *tag,
                             const char *type)
{
    void *p = soap_frame_in_wrapper(soap, wi, tag, a, type);
    if (p && soap_getindependent(soap))
        return nullptr;
    return p;
}

void *soap_frame_instantiate_wrapper(struct soap *soap, const soap_wrapper_info *wi, int n, size_t *size)
{
    void *p = link_object(soap, wi->make(n), wi->type, n, wi->destroy);
    if (p && size)
        *size = n < 0 ? wi->size : static_cast<size_t>(n) * wi->size;
    return p;
}
