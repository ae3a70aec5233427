/* soapprims.h -- the free functions of the primitive types (bool, int, double, char*, qualified
 * names, bytes) and the blob record xsd__base64Binary, with its own frame.
 * Included by the generated model/orvtypes.h; the message classes are declared there and after.
 */
#ifndef ORVSOAP_FRAME_SOAPPRIMS_H
#define ORVSOAP_FRAME_SOAPPRIMS_H

#include <cstddef>

#include "soapengine.h"

/* bool: written "0"/"1" from its table, read from the table's texts or a number that is 0 or 1. */
const char *soap_bool2s(struct soap *soap, bool n);
int soap_s2bool(struct soap *soap, const char *s, bool *a);
void soap_default_bool(struct soap *soap, bool *a);
int soap_out_bool(struct soap *soap, const char *tag, int id, const bool *a, const char *type);
bool *soap_in_bool(struct soap *soap, const char *tag, bool *a, const char *type);
void soap_serialize_PointerTobool(struct soap *soap, bool *const *a);
int soap_out_PointerTobool(struct soap *soap, const char *tag, int id, bool *const *a, const char *type);
bool **soap_in_PointerTobool(struct soap *soap, const char *tag, bool **a, const char *type);

/* int ("xsd:int") and double ("xsd:double"), through the engine's value readers and writers. */
void soap_default_int(struct soap *soap, int *a);
int soap_out_int(struct soap *soap, const char *tag, int id, const int *a, const char *type);
int *soap_in_int(struct soap *soap, const char *tag, int *a, const char *type);
void soap_serialize_PointerToint(struct soap *soap, int *const *a);
int soap_out_PointerToint(struct soap *soap, const char *tag, int id, int *const *a, const char *type);
int **soap_in_PointerToint(struct soap *soap, const char *tag, int **a, const char *type);
void soap_default_double(struct soap *soap, double *a);
int soap_out_double(struct soap *soap, const char *tag, int id, const double *a, const char *type);
double *soap_in_double(struct soap *soap, const char *tag, double *a, const char *type);
void soap_serialize_PointerTodouble(struct soap *soap, double *const *a);
int soap_out_PointerTodouble(struct soap *soap, const char *tag, int id, double *const *a, const char *type);
double **soap_in_PointerTodouble(struct soap *soap, const char *tag, double **a, const char *type);

/* The types only the element dispatch meets: "xsd:byte", "xsd:unsignedByte", "xsd:unsignedInt". */
int soap_out_byte(struct soap *soap, const char *tag, int id, const char *a, const char *type);
char *soap_in_byte(struct soap *soap, const char *tag, char *a, const char *type);
int soap_out_unsignedByte(struct soap *soap, const char *tag, int id, const unsigned char *a, const char *type);
unsigned char *soap_in_unsignedByte(struct soap *soap, const char *tag, unsigned char *a, const char *type);
int soap_out_unsignedInt(struct soap *soap, const char *tag, int id, const unsigned int *a, const char *type);
unsigned int *soap_in_unsignedInt(struct soap *soap, const char *tag, unsigned int *a, const char *type);
int soap_out_PointerTounsignedByte(struct soap *soap, const char *tag, int id, unsigned char *const *a,
                                   const char *type);
unsigned char **soap_in_PointerTounsignedByte(struct soap *soap, const char *tag, unsigned char **a,
                                              const char *type);

/* char* as text and as a qualified name (written through soap_QName2s, read with its prefix mapped). */
int soap_out_string(struct soap *soap, const char *tag, int id, char *const *a, const char *type);
char **soap_in_string(struct soap *soap, const char *tag, char **a, const char *type);
int soap_out__QName(struct soap *soap, const char *tag, int id, char *const *a, const char *type);
char **soap_in__QName(struct soap *soap, const char *tag, char **a, const char *type);

/* A blob: base64 text inline, or an attachment when `id` or `type` is set (DIME/MIME). Its bytes
 * and strings belong to the context that read them, or to the caller that set them. */
class xsd__base64Binary {
public:
    unsigned char *__ptr;
    int __size;
    char *id;
    char *type;
    char *options;
    struct soap *soap;

    virtual int soap_type() const;
    virtual void soap_default(struct soap *soap);
    virtual void soap_serialize(struct soap *soap) const;
    virtual int soap_put(struct soap *soap, const char *tag, const char *type) const;
    virtual int soap_out(struct soap *soap, const char *tag, int id, const char *type) const;
    virtual void *soap_get(struct soap *soap, const char *tag, const char *type);
    virtual void *soap_in(struct soap *soap, const char *tag, const char *type);
    xsd__base64Binary();
    virtual ~xsd__base64Binary();
};
void soap_default_xsd__base64Binary(struct soap *soap, xsd__base64Binary *a);
void soap_serialize_xsd__base64Binary(struct soap *soap, const xsd__base64Binary *a);
int soap_put_xsd__base64Binary(struct soap *soap, const xsd__base64Binary *a, const char *tag, const char *type);
int soap_out_xsd__base64Binary(struct soap *soap, const char *tag, int id, const xsd__base64Binary *a,
                               const char *type);
xsd__base64Binary *soap_get_xsd__base64Binary(struct soap *soap, xsd__base64Binary *a, const char *tag,
                                              const char *type);
xsd__base64Binary *soap_in_xsd__base64Binary(struct soap *soap, const char *tag, xsd__base64Binary *a,
                                             const char *type);
xsd__base64Binary *soap_instantiate_xsd__base64Binary(struct soap *soap, int n, const char *type,
                                                      const char *arrayType, size_t *size);
void soap_copy_xsd__base64Binary(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n);
void soap_serialize_PointerToxsd__base64Binary(struct soap *soap, xsd__base64Binary *const *a);
int soap_out_PointerToxsd__base64Binary(struct soap *soap, const char *tag, int id, xsd__base64Binary *const *a,
                                        const char *type);
xsd__base64Binary **soap_in_PointerToxsd__base64Binary(struct soap *soap, const char *tag, xsd__base64Binary **a,
                                                       const char *type);

#endif
