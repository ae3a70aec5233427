/* dispatch.cpp -- the dispatchers by type id and by name: read any known element, write, walk,
 * create and delete any object by its id, fill a vector slot that a forward reference waited for.
 * They walk the generated table of all type ids; the per-type behaviour is in frame.cpp.
 */
#include <algorithm>

#include "frame.h"
#include "orvmodel.h"

/* SOAP frame records (soapenv.cpp) */
void *soap_frame_env_instantiate(struct soap *soap, int t, int n, size_t *size);
int soap_frame_env_delete(struct soap_clist *p);
void soap_frame_env_serialize(struct soap *soap, const void *ptr, int t);

/* ------------------------------------------------------------------------ */
/* Reading by type id                                                        */
/* ------------------------------------------------------------------------ */

/* The reader of type t with a null tag and a null object; null for kinds that never stand alone. */
static void *read_type(struct soap *soap, int t, const char *type)
{
    const soap_type_entry *e = soap_type_entry_of(t);
    if (!e)
        return nullptr;
    switch (e->kind) {
    case SOAP_TK_CLASS:
        if (t == SOAP_TYPE_xsd__base64Binary)
            return soap_in_xsd__base64Binary(soap, nullptr, nullptr, type);
        return soap_frame_in(soap, static_cast<const soap_class_info *>(e->info), nullptr, nullptr, type);
    case SOAP_TK_ENUM:
        return soap_frame_in_enum(soap, static_cast<const soap_enum_info *>(e->info), nullptr, nullptr, type);
    case SOAP_TK_STRING:
        return soap_frame_in_string(soap, nullptr, nullptr, type, t);
    case SOAP_TK_CSTRING:
    case SOAP_TK_QNAME: {
        char **p = soap_instring(soap, nullptr, nullptr, type, t, e->kind == SOAP_TK_QNAME ? 2 : 1, -1, -1);
        return p ? *p : nullptr;
    }
    case SOAP_TK_INT:
        return soap_inint(soap, nullptr, nullptr, type, t);
    case SOAP_TK_BYTE:
        return soap_inbyte(soap, nullptr, nullptr, type, t);
    case SOAP_TK_UINT:
        return soap_inunsignedInt(soap, nullptr, nullptr, type, t);
    case SOAP_TK_UBYTE:
        return soap_inunsignedByte(soap, nullptr, nullptr, type, t);
    case SOAP_TK_BOOL:
        return soap_frame_in_bool(soap, nullptr, nullptr, type);
    case SOAP_TK_DOUBLE:
        return soap_indouble(soap, nullptr, nullptr, type, t);
    case SOAP_TK_POINTER: {
        const soap_type_entry *p = soap_type_entry_of(e->target);
        if (!p)
            return nullptr;
        switch (p->kind) {
        case SOAP_TK_CLASS:
            return soap_frame_in_pclass(soap, static_cast<const soap_class_info *>(p->info), nullptr, nullptr, type);
        case SOAP_TK_ENUM:
            return soap_frame_in_penum(soap, static_cast<const soap_enum_info *>(p->info), nullptr, nullptr, type);
        case SOAP_TK_STRING:
            return soap_frame_in_pstring(soap, nullptr, nullptr, type, e->target);
        default:
            return soap_frame_in_pvalue(soap, e->target, nullptr, nullptr, type);
        }
    }
    default:
        return nullptr;
    }
}

static bool has_reader(int t)
{
    const soap_type_entry *e = soap_type_entry_of(t);
    return e && e->kind != SOAP_TK_VECTOR && e->kind != SOAP_TK_WRAPPER && e->kind != SOAP_TK_ENV;
}

void *soap_getelement(struct soap *soap, int *type)
{
    if (soap_peek_element(soap))
        return nullptr;
    *type = 0;
    if (*soap->id)
        *type = soap_lookup_type(soap, soap->id);
    if (!*type)
        *type = soap_lookup_type(soap, soap->href);
    if (has_reader(*type))
        return read_type(soap, *type, soap_type_table[*type].name);

    /* By name: the element's xsi:type, else its tag, against the chain of schema names. A match
       needs an equal local part, so only the names with that local part are tried, in chain order. */
    const char *t = *soap->type ? soap->type : soap->tag;
    const char *colon = std::strchr(t, ':');
    const char *local = colon ? colon + 1 : t;
    const soap_name_index_entry *first = soap_name_index;
    const soap_name_index_entry *last = soap_name_index + soap_name_chain_count;
    const soap_name_index_entry *lo = std::lower_bound(
        first, last, local, [](const soap_name_index_entry &x, const char *k) { return std::strcmp(x.local, k) < 0; });
    for (const soap_name_index_entry *p = lo; p < last && !std::strcmp(p->local, local); p++) {
        int id = soap_name_chain[p->pos];
        if (!soap_match_tag(soap, t, soap_type_table[id].name)) {
            *type = id;
            return read_type(soap, id, nullptr);
        }
    }

    /* Root-element classes, whose names no xsi:type can give, by the element's own tag. */
    for (unsigned i = 0; i < soap_root_element_count; i++) {
        int id = soap_root_elements[i];
        if (!soap_match_tag(soap, soap->tag, soap_type_table[id].name)) {
            *type = id;
            return read_type(soap, id, nullptr);
        }
    }
    soap->error = SOAP_TAG_MISMATCH;
    return nullptr;
}

/* ------------------------------------------------------------------------ */
/* Writing and walking by type id                                            */
/* ------------------------------------------------------------------------ */

int soap_putelement(struct soap *soap, const void *ptr, const char *tag, int id, int type)
{
    const soap_type_entry *e = soap_type_entry_of(type);
    if (!e)
        return SOAP_OK;
    const char *name = e->name;
    switch (e->kind) {
    case SOAP_TK_CLASS:
        return static_cast<const soap_class_info *>(e->info)->ops->vout(ptr, soap, tag, id, name);
    case SOAP_TK_ENUM:
        return soap_frame_out_enum(soap, static_cast<const soap_enum_info *>(e->info), tag, id, ptr, name);
    case SOAP_TK_STRING:
        return soap_frame_out_string(soap, tag, id, static_cast<const std::string *>(ptr), name, type);
    case SOAP_TK_CSTRING: {
        char *s = static_cast<char *>(const_cast<void *>(ptr));
        return soap_outstring(soap, tag, id, &s, name, type);
    }
    case SOAP_TK_QNAME: {
        char *s = static_cast<char *>(const_cast<void *>(ptr));
        return soap_out__QName(soap, tag, id, &s, name);
    }
    case SOAP_TK_INT:
        return soap_outint(soap, tag, id, static_cast<const int *>(ptr), name, type);
    case SOAP_TK_BYTE:
        return soap_outbyte(soap, tag, id, static_cast<const char *>(ptr), name, type);
    case SOAP_TK_UINT:
        return soap_outunsignedInt(soap, tag, id, static_cast<const unsigned int *>(ptr), name, type);
    case SOAP_TK_UBYTE:
        return soap_outunsignedByte(soap, tag, id, static_cast<const unsigned char *>(ptr), name, type);
    case SOAP_TK_BOOL:
        return soap_frame_out_bool(soap, tag, id, static_cast<const bool *>(ptr), name);
    case SOAP_TK_DOUBLE:
        return soap_outdouble(soap, tag, id, static_cast<const double *>(ptr), name, type);
    case SOAP_TK_POINTER: {
        const soap_type_entry *p = soap_type_entry_of(e->target);
        const void *q = soap_frame_load_ptr(ptr);
        if (!p)
            return SOAP_OK;
        switch (p->kind) {
        case SOAP_TK_CLASS:
            return soap_frame_out_pclass(soap, static_cast<const soap_class_info *>(p->info), tag, id, q, name);
        case SOAP_TK_ENUM:
            return soap_frame_out_penum(soap, static_cast<const soap_enum_info *>(p->info), tag, id, q, name);
        case SOAP_TK_STRING:
            return soap_frame_out_pstring(soap, tag, id, static_cast<const std::string *>(q), name, e->target);
        default:
            return soap_frame_out_pvalue(soap, e->target, tag, id, q, name);
        }
    }
    default:
        return SOAP_OK;
    }
}

void soap_markelement(struct soap *soap, const void *ptr, int type)
{
    const soap_type_entry *e = soap_type_entry_of(type);
    if (!e)
        return;
    switch (e->kind) {
    case SOAP_TK_CLASS:
        static_cast<const soap_class_info *>(e->info)->ops->vserialize(ptr, soap);
        break;
    case SOAP_TK_CSTRING:
    case SOAP_TK_QNAME:
        soap_reference(soap, ptr, type);
        break;
    case SOAP_TK_POINTER: {
        const soap_type_entry *p = soap_type_entry_of(e->target);
        const void *q = soap_frame_load_ptr(ptr);
        if (p && p->kind == SOAP_TK_CLASS)
            soap_frame_serialize_pclass(soap, static_cast<const soap_class_info *>(p->info), q);
        else if (q)
            soap_reference(soap, q, e->target);
        break;
    }
    case SOAP_TK_VECTOR:
        soap_frame_serialize_vector(soap, static_cast<const soap_vector_info *>(e->info), ptr);
        break;
    case SOAP_TK_WRAPPER:
        soap_frame_serialize_wrapper(soap, static_cast<const soap_wrapper_info *>(e->info), ptr);
        break;
    case SOAP_TK_ENV:
        soap_frame_env_serialize(soap, ptr, type);
        break;
    default:
        break;
    }
}

/* ------------------------------------------------------------------------ */
/* Independent elements (SOAP 1.1 multi-reference encoding)                   */
/* ------------------------------------------------------------------------ */

int soap_getindependent(struct soap *soap)
{
    if (soap->version == 1) {
        for (;;) {
            int t;
            if (soap_getelement(soap, &t))
                continue;
            if (soap->error)
                break;
            if (soap_ignore_element(soap))
                break;
        }
    }
    if (soap->error == SOAP_NO_TAG || soap->error == SOAP_EOF)
        soap->error = SOAP_OK;
    return soap->error;
}

int soap_putindependent(struct soap *soap)
{
    if (soap->version != 1 || !soap->encodingStyle || (soap->mode & (SOAP_XML_TREE | SOAP_XML_GRAPH)))
        return SOAP_OK;
    for (int i = 0; i < SOAP_PTRHASH; i++)
        for (const struct soap_plist *pp = soap->pht[i]; pp; pp = pp->next)
            if (pp->mark1 == 2 || pp->mark2 == 2)
                if (soap_putelement(soap, pp->ptr, "id", pp->id, pp->type))
                    return soap->error;
    return SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Creation, deletion, forward references into vectors                       */
/* ------------------------------------------------------------------------ */

void *soap_instantiate(struct soap *soap, int t, const char *type, const char *arrayType, size_t *n)
{
    const soap_type_entry *e = soap_type_entry_of(t);
    if (!e)
        return nullptr;
    switch (e->kind) {
    case SOAP_TK_CLASS:
        return soap_frame_instantiate(soap, static_cast<const soap_class_info *>(e->info), -1, type, arrayType, n);
    case SOAP_TK_STRING:
        return soap_frame_instantiate_string(soap, t, -1, n);
    case SOAP_TK_VECTOR:
        return soap_frame_instantiate_vector(soap, static_cast<const soap_vector_info *>(e->info), -1, n);
    case SOAP_TK_WRAPPER:
        return soap_frame_instantiate_wrapper(soap, static_cast<const soap_wrapper_info *>(e->info), -1, n);
    case SOAP_TK_ENV:
        return soap_frame_env_instantiate(soap, t, -1, n);
    default:
        return nullptr;
    }
}

int soap_fdelete(struct soap_clist *p)
{
    const soap_type_entry *e = soap_type_entry_of(p->type);
    if (!e)
        return SOAP_ERR;
    switch (e->kind) {
    case SOAP_TK_CLASS:
        if (p->ptr)
            static_cast<const soap_class_info *>(e->info)->ops->destroy(p->ptr, p->size);
        return SOAP_OK;
    case SOAP_TK_STRING:
        if (p->size < 0)
            delete static_cast<std::string *>(p->ptr);
        else
            delete[] static_cast<std::string *>(p->ptr);
        return SOAP_OK;
    case SOAP_TK_VECTOR:
        if (p->ptr)
            static_cast<const soap_vector_info *>(e->info)->ops->destroy(p->ptr, p->size);
        return SOAP_OK;
    case SOAP_TK_WRAPPER:
        if (p->ptr)
            static_cast<const soap_wrapper_info *>(e->info)->destroy(p->ptr, p->size);
        return SOAP_OK;
    case SOAP_TK_ENV:
        return soap_frame_env_delete(p);
    default:
        return SOAP_ERR;
    }
}

void soap_container_insert(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n)
{
    (void)soap;
    (void)st;
    (void)n;
    const soap_type_entry *e = soap_type_entry_of(tt);
    if (!e || e->kind != SOAP_TK_VECTOR)
        return;
    const soap_vector_info *vi = static_cast<const soap_vector_info *>(e->info);
    if (len < vi->ops->size(p))
        vi->ops->assign(p, len, q);
}
