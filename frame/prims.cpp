/* prims.cpp -- the free functions of the primitive types and the frame of xsd__base64Binary, the
 * one record that reads and writes itself by hand: base64 text inline, or an attachment reference.
 * Not the text types held in std::string (generated from the map, frame.h's SOAP_FRAME_TEXT).
 */
#include <cstddef>

#include "frame.h"
#include "orvtypes.h"

/* ------------------------------------------------------------------------ */
/* bool, int, double                                                         */
/* ------------------------------------------------------------------------ */

const char *soap_bool2s(struct soap *soap, bool n) { return soap_frame_bool2s(soap, n); }
int soap_s2bool(struct soap *soap, const char *s, bool *a) { return soap_frame_s2bool(soap, s, a); }
void soap_default_bool(struct soap *, bool *a) { *a = false; }
int soap_out_bool(struct soap *soap, const char *tag, int id, const bool *a, const char *type)
{
    return soap_frame_out_bool(soap, tag, id, a, type);
}
bool *soap_in_bool(struct soap *soap, const char *tag, bool *a, const char *type)
{
    return soap_frame_in_bool(soap, tag, a, type);
}
void soap_serialize_PointerTobool(struct soap *soap, bool *const *a)
{
    if (*a)
        soap_reference(soap, *a, SOAP_TYPE_bool);
}
int soap_out_PointerTobool(struct soap *soap, const char *tag, int id, bool *const *a, const char *type)
{
    return soap_frame_out_pvalue(soap, SOAP_TYPE_bool, tag, id, *a, type);
}
bool **soap_in_PointerTobool(struct soap *soap, const char *tag, bool **a, const char *type)
{
    return reinterpret_cast<bool **>(soap_frame_in_pvalue(soap, SOAP_TYPE_bool, tag, reinterpret_cast<void **>(a), type));
}

void soap_default_int(struct soap *, int *a) { *a = 0; }
int soap_out_int(struct soap *soap, const char *tag, int id, const int *a, const char *type)
{
    return soap_outint(soap, tag, id, a, type, SOAP_TYPE_int);
}
int *soap_in_int(struct soap *soap, const char *tag, int *a, const char *type)
{
    return soap_inint(soap, tag, a, type, SOAP_TYPE_int);
}
void soap_serialize_PointerToint(struct soap *soap, int *const *a)
{
    if (*a)
        soap_reference(soap, *a, SOAP_TYPE_int);
}
int soap_out_PointerToint(struct soap *soap, const char *tag, int id, int *const *a, const char *type)
{
    return soap_frame_out_pvalue(soap, SOAP_TYPE_int, tag, id, *a, type);
}
int **soap_in_PointerToint(struct soap *soap, const char *tag, int **a, const char *type)
{
    return reinterpret_cast<int **>(soap_frame_in_pvalue(soap, SOAP_TYPE_int, tag, reinterpret_cast<void **>(a), type));
}

void soap_default_double(struct soap *, double *a) { *a = 0.0; }
int soap_out_double(struct soap *soap, const char *tag, int id, const double *a, const char *type)
{
    return soap_outdouble(soap, tag, id, a, type, SOAP_TYPE_double);
}
double *soap_in_double(struct soap *soap, const char *tag, double *a, const char *type)
{
    return soap_indouble(soap, tag, a, type, SOAP_TYPE_double);
}
void soap_serialize_PointerTodouble(struct soap *soap, double *const *a)
{
    if (*a)
        soap_reference(soap, *a, SOAP_TYPE_double);
}
int soap_out_PointerTodouble(struct soap *soap, const char *tag, int id, double *const *a, const char *type)
{
    return soap_frame_out_pvalue(soap, SOAP_TYPE_double, tag, id, *a, type);
}
double **soap_in_PointerTodouble(struct soap *soap, const char *tag, double **a, const char *type)
{
    return reinterpret_cast<double **>(
        soap_frame_in_pvalue(soap, SOAP_TYPE_double, tag, reinterpret_cast<void **>(a), type));
}

/* ------------------------------------------------------------------------ */
/* Types only the element dispatch meets                                     */
/* ------------------------------------------------------------------------ */

int soap_out_byte(struct soap *soap, const char *tag, int id, const char *a, const char *type)
{
    return soap_outbyte(soap, tag, id, a, type, SOAP_TYPE_byte);
}
char *soap_in_byte(struct soap *soap, const char *tag, char *a, const char *type)
{
    return soap_inbyte(soap, tag, a, type, SOAP_TYPE_byte);
}
int soap_out_unsignedByte(struct soap *soap, const char *tag, int id, const unsigned char *a, const char *type)
{
    return soap_outunsignedByte(soap, tag, id, a, type, SOAP_TYPE_unsignedByte);
}
unsigned char *soap_in_unsignedByte(struct soap *soap, const char *tag, unsigned char *a, const char *type)
{
    return soap_inunsignedByte(soap, tag, a, type, SOAP_TYPE_unsignedByte);
}
int soap_out_unsignedInt(struct soap *soap, const char *tag, int id, const unsigned int *a, const char *type)
{
    return soap_outunsignedInt(soap, tag, id, a, type, SOAP_TYPE_unsignedInt);
}
unsigned int *soap_in_unsignedInt(struct soap *soap, const char *tag, unsigned int *a, const char *type)
{
    return soap_inunsignedInt(soap, tag, a, type, SOAP_TYPE_unsignedInt);
}
int soap_out_PointerTounsignedByte(struct soap *soap, const char *tag, int id, unsigned char *const *a,
                                   const char *type)
{
    return soap_frame_out_pvalue(soap, SOAP_TYPE_unsignedByte, tag, id, *a, type);
}
unsigned char **soap_in_PointerTounsignedByte(struct soap *soap, const char *tag, unsigned char **a,
                                              const char *type)
{
    return reinterpret_cast<unsigned char **>(
        soap_frame_in_pvalue(soap, SOAP_TYPE_unsignedByte, tag, reinterpret_cast<void **>(a), type));
}

int soap_out_string(struct soap *soap, const char *tag, int id, char *const *a, const char *type)
{
    return soap_outstring(soap, tag, id, a, type, SOAP_TYPE_string);
}
char **soap_in_string(struct soap *soap, const char *tag, char **a, const char *type)
{
    return soap_instring(soap, tag, a, type, SOAP_TYPE_string, 1, -1, -1);
}

/* A qualified name goes out with the prefix of the table; the conversion may record a namespace
   declaration for the element, so it runs before the element is begun. */
int soap_out__QName(struct soap *soap, const char *tag, int id, char *const *a, const char *type)
{
    if (!*a)
        return soap_outstring(soap, tag, id, a, type, SOAP_TYPE__QName);
    char *s = const_cast<char *>(soap_QName2s(soap, *a));
    if (!s)
        return soap->error ? soap->error : (soap->error = SOAP_EOM);
    return soap_outstring(soap, tag, id, &s, type, SOAP_TYPE__QName);
}
char **soap_in__QName(struct soap *soap, const char *tag, char **a, const char *type)
{
    return soap_instring(soap, tag, a, type, SOAP_TYPE__QName, 2, -1, -1);
}

/* ------------------------------------------------------------------------ */
/* xsd__base64Binary                                                         */
/* ------------------------------------------------------------------------ */

#pragma GCC diagnostic ignored "-Winvalid-offsetof"
extern const soap_class_info soap_ci_xsd__base64Binary = {
    SOAP_TYPE_xsd__base64Binary, "xsd:base64Binary", nullptr, nullptr, 0, SOAP_CF_OWNREADER, offsetof(xsd__base64Binary, soap),
    sizeof(xsd__base64Binary), &soap_class_thunks<xsd__base64Binary>::ops, nullptr, 0};

int xsd__base64Binary::soap_type() const { return SOAP_TYPE_xsd__base64Binary; }
void xsd__base64Binary::soap_default(struct soap *soap)
{
    this->soap = soap;
    __ptr = nullptr;
    __size = 0;
    id = nullptr;
    type = nullptr;
    options = nullptr;
}
void xsd__base64Binary::soap_serialize(struct soap *soap) const
{
    if (__ptr)
        soap_array_reference(soap, this, reinterpret_cast<const struct soap_array *>(&__ptr), 1,
                             SOAP_TYPE_xsd__base64Binary);
}
int xsd__base64Binary::soap_put(struct soap *soap, const char *tag, const char *type) const
{
    return soap_put_xsd__base64Binary(soap, this, tag, type);
}
int xsd__base64Binary::soap_out(struct soap *soap, const char *tag, int id, const char *type) const
{
    return soap_out_xsd__base64Binary(soap, tag, id, this, type);
}
void *xsd__base64Binary::soap_get(struct soap *soap, const char *tag, const char *type)
{
    return soap_get_xsd__base64Binary(soap, this, tag, type);
}
void *xsd__base64Binary::soap_in(struct soap *soap, const char *tag, const char *type)
{
    return soap_in_xsd__base64Binary(soap, tag, this, type);
}
xsd__base64Binary::xsd__base64Binary() { xsd__base64Binary::soap_default(nullptr); }
xsd__base64Binary::~xsd__base64Binary() {}

void soap_default_xsd__base64Binary(struct soap *soap, xsd__base64Binary *a) { a->soap_default(soap); }
void soap_serialize_xsd__base64Binary(struct soap *soap, const xsd__base64Binary *a) { a->soap_serialize(soap); }

int soap_put_xsd__base64Binary(struct soap *soap, const xsd__base64Binary *a, const char *tag, const char *type)
{
    return soap_frame_put(soap, &soap_ci_xsd__base64Binary, a, tag ? tag : "xsd:base64Binary", type);
}

int soap_out_xsd__base64Binary(struct soap *soap, const char *tag, int id, const xsd__base64Binary *a,
                               const char *type)
{
    id = soap_attachment(soap, tag, id, a, reinterpret_cast<const struct soap_array *>(&a->__ptr), a->id, a->type,
                         a->options, 1, type, SOAP_TYPE_xsd__base64Binary);
    if (id < 0)
        return soap->error;
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, a, SOAP_TYPE_xsd__base64Binary), type) ||
        soap_putbase64(soap, a->__ptr, a->__size) || soap_element_end_out(soap, tag))
        return soap->error;
    return SOAP_OK;
}

xsd__base64Binary *soap_get_xsd__base64Binary(struct soap *soap, xsd__base64Binary *a, const char *tag,
                                              const char *type)
{
    a = soap_in_xsd__base64Binary(soap, tag, a, type);
    if (a && soap_getindependent(soap))
        return nullptr;
    return a;
}

xsd__base64Binary *soap_in_xsd__base64Binary(struct soap *soap, const char *tag, xsd__base64Binary *a,
                                             const char *type)
{
    if (soap_element_begin_in(soap, tag, 1, nullptr))
        return nullptr;
    if (*soap->type && soap_match_tag(soap, soap->type, type) && soap_match_tag(soap, soap->type, ":base64Binary") &&
        soap_match_tag(soap, soap->type, ":base64")) {
        soap->error = SOAP_TYPE;
        return nullptr;
    }
    a = static_cast<xsd__base64Binary *>(soap_id_enter(soap, soap->id, a, SOAP_TYPE_xsd__base64Binary,
                                                       sizeof(xsd__base64Binary), 0, nullptr, nullptr,
                                                       soap_instantiate));
    if (!a)
        return nullptr;
    if (soap->alloced) {
        a->soap_default(soap);
    } else {
        a->__ptr = nullptr;
        a->__size = 0;
        a->id = a->type = a->options = nullptr;
    }
    if (*soap->href && *soap->href != '#') {
        /* an attachment: filled in when the attachment is read */
        if (soap_xop_forward(soap, &a->__ptr, &a->__size, &a->id, &a->type, &a->options))
            return nullptr;
    } else if (*soap->href) {
        a = static_cast<xsd__base64Binary *>(soap_id_forward(soap, soap->href, a, 0, SOAP_TYPE_xsd__base64Binary, 0,
                                                             sizeof(xsd__base64Binary), 0, soap_frame_copy));
        if (!a)
            return nullptr;
    } else if (soap->body) {
        a->__ptr = soap_getbase64(soap, &a->__size);
        if (!a->__ptr && soap->error)
            return nullptr;
    }
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return a;
}

xsd__base64Binary *soap_instantiate_xsd__base64Binary(struct soap *soap, int n, const char *type,
                                                      const char *arrayType, size_t *size)
{
    return static_cast<xsd__base64Binary *>(
        soap_frame_instantiate(soap, &soap_ci_xsd__base64Binary, n, type, arrayType, size));
}

void soap_copy_xsd__base64Binary(struct soap *, int, int, void *p, size_t, const void *q, size_t)
{
    *static_cast<xsd__base64Binary *>(p) = *static_cast<const xsd__base64Binary *>(q);
}

void soap_serialize_PointerToxsd__base64Binary(struct soap *soap, xsd__base64Binary *const *a)
{
    soap_frame_serialize_pclass(soap, &soap_ci_xsd__base64Binary, *a);
}
int soap_out_PointerToxsd__base64Binary(struct soap *soap, const char *tag, int id, xsd__base64Binary *const *a,
                                        const char *type)
{
    return soap_frame_out_pclass(soap, &soap_ci_xsd__base64Binary, tag, id, *a, type);
}
xsd__base64Binary **soap_in_PointerToxsd__base64Binary(struct soap *soap, const char *tag, xsd__base64Binary **a,
                                                       const char *type)
{
    return reinterpret_cast<xsd__base64Binary **>(
        soap_frame_in_pclass(soap, &soap_ci_xsd__base64Binary, tag, reinterpret_cast<void **>(a), type));
}
