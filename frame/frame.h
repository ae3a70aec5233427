/* frame.h -- the shared runtime of the message model: member descriptions, per-type info records
 * and the generic routines that read, write, walk, create and delete any message class from its
 * description.  The generated code holds declarations and tables and forwards to what is here.
 * Not public API for callers of the library: they use the model headers and the free functions.
 */
#ifndef ORVSOAP_FRAME_H
#define ORVSOAP_FRAME_H

#include <cstddef>
#include <cstring>
#include <new>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "soapengine.h"

/* Bounds the generator checks, so that the reading loop keeps its counters on the stack. */
#define SOAP_FRAME_MAXMEMBERS 64
#define SOAP_FRAME_MAXDEPTH   16

/* Records nest to any depth that memory allows, and the reader's stack is memory: a record
   element deeper than this many elements fails with SOAP_EOM rather than exhausting the stack
   (about 1 KB of stack per level). */
#define SOAP_FRAME_MAXNEST    1000

/* ------------------------------------------------------------------------ */
/* Member descriptions                                                       */
/* ------------------------------------------------------------------------ */

enum soap_member_kind : unsigned char {
    SOAP_MK_STRING = 1,    /* std::string (also the text types), by value */
    SOAP_MK_PSTRING,       /* std::string*                                 */
    SOAP_MK_VSTRING,       /* std::vector<std::string>                     */
    SOAP_MK_ENUM,          /* enumeration, by value                        */
    SOAP_MK_PENUM,         /* enumeration*                                 */
    SOAP_MK_VENUM,         /* std::vector<enumeration>                     */
    SOAP_MK_BOOL,
    SOAP_MK_PBOOL,
    SOAP_MK_INT,
    SOAP_MK_PINT,
    SOAP_MK_DOUBLE,
    SOAP_MK_PDOUBLE,
    SOAP_MK_PCLASS,        /* T* of a message class                        */
    SOAP_MK_VCLASS,        /* std::vector<T*>                              */
    SOAP_MK_TEXT,          /* the text content of a simple-content class   */
    SOAP_MK_ATTR_ENUM,     /* attribute, enumeration by value (required)   */
    SOAP_MK_ATTR_PENUM,    /* attribute, enumeration* (optional)           */
    SOAP_MK_ATTR_STRING,   /* attribute, std::string by value (required)   */
    SOAP_MK_ATTR_PSTRING   /* attribute, std::string* (optional)           */
};

struct soap_member_info {
    const char *tag;        /* qualified element name, or attribute name */
    const char *type;       /* wire name of the member's type, the expected type on reading */
    unsigned int offset;    /* offsetof in the declaring class */
    unsigned short tid;     /* type id of the value, pointee or element */
    unsigned short vid;     /* type id of the pointer or vector, 0 for values */
    unsigned char kind;     /* soap_member_kind */
    unsigned char min;      /* lower bound: non-zero makes the member required in strict reading */
    unsigned char local;    /* offset of the local name in tag; 0: not known, the name is matched in full */
};

/* ------------------------------------------------------------------------ */
/* Per-type info records                                                     */
/* ------------------------------------------------------------------------ */

/* What needs the static type: virtual calls, new and delete, assignment. */
struct soap_class_ops {
    void (*vdefault)(void *, struct soap *);
    void (*vserialize)(const void *, struct soap *);
    int (*vout)(const void *, struct soap *, const char *, int, const char *);
    void *(*vin)(void *, struct soap *, const char *, const char *);
    int (*vtype)(const void *);
    const std::type_info *(*vrtti)(const void *);   /* dynamic type, for checks */
    void *(*make)(struct soap *, int);
    void (*destroy)(void *, int);
    void (*copy)(void *, const void *);
};

#define SOAP_CF_SIMPLE   1   /* text content with attributes, no child elements */
#define SOAP_CF_REQUIRED 2   /* the class or a base has a required member */
#define SOAP_CF_DISTINCT 4   /* its elements' local names (bases' included) are all different */
#define SOAP_CF_OWNREADER 8  /* read by its own soap_in, not by the shared record reader */
#define SOAP_CF_ATTRIBUTES 16 /* the class or a base has attribute members */

struct soap_class_info {
    int type;
    const char *name;                        /* qualified wire name, written as xsi:type by derived classes */
    const struct soap_class_info *base;
    const struct soap_member_info *members;  /* own members, wire order */
    unsigned short nmembers;
    unsigned short flags;
    unsigned int soap_offset;                /* offset of the back pointer `soap` */
    size_t size;
    const struct soap_class_ops *ops;
    const struct soap_class_info *const *descendants;  /* direct and indirect, by id */
    unsigned short ndescendants;
};

struct soap_enum_info {
    int type;
    const char *name;
    const struct soap_code_map *codes;
    long count;
};

struct soap_vector_ops {
    size_t bytes;                                /* sizeof the vector */
    size_t (*size)(const void *);
    void (*clear)(void *);
    const void *(*elem)(const void *, size_t);   /* class vectors: the pointer value; else the element's address */
    void (*push)(void *, const void *);          /* class vectors: the pointer value; else the address of a value */
    void (*assign)(void *, size_t, const void *);/* element i := *q (q: address of a pointer or of a value) */
    void *(*make)(int);
    void (*destroy)(void *, int);
};

enum soap_vector_kind : unsigned char { SOAP_VK_CLASS = 1, SOAP_VK_STRING, SOAP_VK_ENUM };

struct soap_vector_info {
    int type;
    int elem;                      /* element type id */
    unsigned char kind;            /* soap_vector_kind */
    const struct soap_vector_ops *ops;
};

struct soap_wrapper_info {
    int type;
    const char *tag;               /* pseudo tag "-prefix:operation[Response]" */
    const char *elem;              /* element of the one member */
    int target;                    /* class id of the content */
    size_t size;
    void *(*make)(int);
    void (*destroy)(void *, int);
};

/* The dispatch table: one entry per type id (0 where the id is unused). */
enum soap_type_kind : unsigned char {
    SOAP_TK_NONE = 0,
    SOAP_TK_CLASS,      /* info: soap_class_info */
    SOAP_TK_ENUM,       /* info: soap_enum_info */
    SOAP_TK_STRING,     /* std::string and the text types */
    SOAP_TK_CSTRING,    /* char* */
    SOAP_TK_QNAME,      /* char* holding a qualified name */
    SOAP_TK_INT,
    SOAP_TK_BYTE,
    SOAP_TK_UINT,
    SOAP_TK_UBYTE,
    SOAP_TK_BOOL,
    SOAP_TK_DOUBLE,
    SOAP_TK_POINTER,    /* target: pointee id */
    SOAP_TK_VECTOR,     /* info: soap_vector_info */
    SOAP_TK_WRAPPER,    /* info: soap_wrapper_info */
    SOAP_TK_ENV         /* SOAP frame record; handled by name in soapenv.cpp */
};

struct soap_type_entry {
    unsigned char kind;
    unsigned short target;
    const char *name;       /* wire name of the type; null where it has none */
    const void *info;
};

/* Generated tables (orvdispatch.cpp). */
extern const struct soap_type_entry soap_type_table[];
extern const int soap_type_max;
extern const unsigned short soap_name_chain[];          /* ids in the order names are tried */
extern const unsigned short soap_name_chain_count;
struct soap_name_index_entry { const char *local; unsigned short pos; };
extern const struct soap_name_index_entry soap_name_index[];  /* sorted by local name, then position */
extern const unsigned short soap_root_elements[];       /* root-element classes, tried by tag */
extern const unsigned short soap_root_element_count;

inline const struct soap_type_entry *soap_type_entry_of(int t)
{
    return t > 0 && t <= soap_type_max && soap_type_table[t].kind ? &soap_type_table[t] : nullptr;
}
const struct soap_class_info *soap_class_info_of(int t);

/* ------------------------------------------------------------------------ */
/* Generic routines (frame.cpp)                                              */
/* ------------------------------------------------------------------------ */

void soap_frame_default(struct soap *soap, const struct soap_class_info *ci, void *a);
void soap_frame_serialize(struct soap *soap, const struct soap_class_info *ci, const void *a);
int soap_frame_put(struct soap *soap, const struct soap_class_info *ci, const void *a, const char *tag,
                   const char *type);
int soap_frame_out(struct soap *soap, const struct soap_class_info *ci, const char *tag, int id, const void *a,
                   const char *type);
void *soap_frame_in(struct soap *soap, const struct soap_class_info *ci, const char *tag, void *a,
                    const char *type);
void *soap_frame_get(struct soap *soap, const struct soap_class_info *ci, void *a, const char *tag,
                     const char *type);
void *soap_frame_instantiate(struct soap *soap, const struct soap_class_info *ci, int n, const char *type,
                             const char *arrayType, size_t *size);
void soap_frame_copy(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n);

/* Pointers to classes */
void soap_frame_serialize_pclass(struct soap *soap, const struct soap_class_info *ci, const void *p);
int soap_frame_out_pclass(struct soap *soap, const struct soap_class_info *ci, const char *tag, int id,
                          const void *p, const char *type);
void **soap_frame_in_pclass(struct soap *soap, const struct soap_class_info *ci, const char *tag, void **a,
                            const char *type);

/* Text held in std::string, under type id tid */
int soap_frame_out_string(struct soap *soap, const char *tag, int id, const std::string *s, const char *type,
                          int tid);
std::string *soap_frame_in_string(struct soap *soap, const char *tag, std::string *s, const char *type, int tid);
int soap_frame_out_pstring(struct soap *soap, const char *tag, int id, const std::string *p, const char *type,
                           int tid);
std::string **soap_frame_in_pstring(struct soap *soap, const char *tag, std::string **a, const char *type,
                                    int tid);
void *soap_frame_instantiate_string(struct soap *soap, int tid, int n, size_t *size);

/* Enumerations: values are int-sized; a is the address of one */
const char *soap_frame_enum2s(struct soap *soap, const struct soap_enum_info *ei, long n);
int soap_frame_s2enum(struct soap *soap, const struct soap_enum_info *ei, const char *s, void *a);
int soap_frame_out_enum(struct soap *soap, const struct soap_enum_info *ei, const char *tag, int id,
                        const void *a, const char *type);
void *soap_frame_in_enum(struct soap *soap, const struct soap_enum_info *ei, const char *tag, void *a,
                         const char *type);
int soap_frame_out_penum(struct soap *soap, const struct soap_enum_info *ei, const char *tag, int id,
                         const void *p, const char *type);
void **soap_frame_in_penum(struct soap *soap, const struct soap_enum_info *ei, const char *tag, void **a,
                           const char *type);

/* bool, int, double and their pointers */
const char *soap_frame_bool2s(struct soap *soap, bool n);
int soap_frame_s2bool(struct soap *soap, const char *s, bool *a);
int soap_frame_out_bool(struct soap *soap, const char *tag, int id, const bool *a, const char *type);
bool *soap_frame_in_bool(struct soap *soap, const char *tag, bool *a, const char *type);
int soap_frame_out_pvalue(struct soap *soap, int tid, const char *tag, int id, const void *p, const char *type);
void **soap_frame_in_pvalue(struct soap *soap, int tid, const char *tag, void **a, const char *type);

/* Vectors */
int soap_frame_out_vector(struct soap *soap, const struct soap_vector_info *vi, const char *tag, int id,
                          const void *v, const char *type);
void *soap_frame_in_vector(struct soap *soap, const struct soap_vector_info *vi, const char *tag, void *v,
                           const char *type);
void soap_frame_serialize_vector(struct soap *soap, const struct soap_vector_info *vi, const void *v);
void *soap_frame_instantiate_vector(struct soap *soap, const struct soap_vector_info *vi, int n, size_t *size);

/* Operation wrappers: a is the address of the wrapper, whose one member is the content pointer */
void soap_frame_serialize_wrapper(struct soap *soap, const struct soap_wrapper_info *wi, const void *a);
int soap_frame_out_wrapper(struct soap *soap, const struct soap_wrapper_info *wi, const char *tag, int id,
                           const void *a, const char *type);
int soap_frame_put_wrapper(struct soap *soap, const struct soap_wrapper_info *wi, const void *a, const char *tag,
                           const char *type);
void *soap_frame_in_wrapper(struct soap *soap, const struct soap_wrapper_info *wi, const char *tag, void *a,
                            const char *type);
void *soap_frame_get_wrapper(struct soap *soap, const struct soap_wrapper_info *wi, void *a, const char *tag,
                             const char *type);
void *soap_frame_instantiate_wrapper(struct soap *soap, const struct soap_wrapper_info *wi, int n, size_t *size);

/* Generic member walkers, shared with the SOAP frame records */
int soap_frame_out_member(struct soap *soap, const struct soap_member_info *m, const char *base);
void *soap_frame_in_member(struct soap *soap, const struct soap_member_info *m, char *base);
void soap_frame_serialize_member(struct soap *soap, const struct soap_member_info *m, const char *base);
void soap_frame_default_member(const struct soap_member_info *m, char *base);

/* Pointer cells are read and written as void* through memcpy: no aliasing assumptions. */
inline void *soap_frame_load_ptr(const void *cell)
{
    void *p;
    std::memcpy(&p, cell, sizeof p);
    return p;
}
inline void soap_frame_store_ptr(void *cell, const void *p)
{
    std::memcpy(cell, &p, sizeof p);
}

/* ------------------------------------------------------------------------ */
/* Thunks that carry the static type into the generic code                   */
/* ------------------------------------------------------------------------ */

/* Reached only through the info records: kept out of the library's symbol table. */
#define SOAP_FRAME_HIDDEN __attribute__((visibility("hidden")))

template <class T> struct SOAP_FRAME_HIDDEN soap_class_thunks {
    static void vdefault(void *p, struct soap *s) { static_cast<T *>(p)->soap_default(s); }
    static void vserialize(const void *p, struct soap *s) { static_cast<const T *>(p)->soap_serialize(s); }
    static int vout(const void *p, struct soap *s, const char *tag, int id, const char *type)
    {
        return static_cast<const T *>(p)->soap_out(s, tag, id, type);
    }
    static void *vin(void *p, struct soap *s, const char *tag, const char *type)
    {
        return static_cast<T *>(p)->soap_in(s, tag, type);
    }
    static int vtype(const void *p) { return static_cast<const T *>(p)->soap_type(); }
    static const std::type_info *vrtti(const void *p) { return &typeid(*static_cast<const T *>(p)); }
    static void *make(struct soap *s, int n)
    {
        if (n < 0) {
            T *p = new (std::nothrow) T;
            if (p)
                p->soap = s;
            return p;
        }
        T *a = new (std::nothrow) T[n];
        if (a)
            for (int i = 0; i < n; i++)
                a[i].soap = s;
        return a;
    }
    static void destroy(void *p, int n)
    {
        if (n < 0)
            delete static_cast<T *>(p);
        else
            delete[] static_cast<T *>(p);
    }
    static void copy(void *p, const void *q) { *static_cast<T *>(p) = *static_cast<const T *>(q); }
    static constexpr soap_class_ops ops = {vdefault, vserialize, vout, vin, vtype, vrtti, make, destroy, copy};
};

template <class T> struct SOAP_FRAME_HIDDEN soap_plain_thunks {
    static void *make(int n) { return n < 0 ? static_cast<void *>(new (std::nothrow) T()) : new (std::nothrow) T[n](); }
    static void destroy(void *p, int n)
    {
        if (n < 0)
            delete static_cast<T *>(p);
        else
            delete[] static_cast<T *>(p);
    }
};

template <class E> struct soap_vector_thunks;

/* Room for one more element read: a run starts with room for four, so that the short runs of
   most messages grow once instead of three times. */
template <class V> inline void soap_vector_room(V &v)
{
    if (v.size() == v.capacity())
        v.reserve(v.empty() ? 4 : 2 * v.size());
}

template <class T> struct SOAP_FRAME_HIDDEN soap_vector_thunks<std::vector<T *>> {
    typedef std::vector<T *> V;
    static size_t size(const void *v) { return static_cast<const V *>(v)->size(); }
    static void clear(void *v) { static_cast<V *>(v)->clear(); }
    static const void *elem(const void *v, size_t i) { return (*static_cast<const V *>(v))[i]; }
    static void push(void *v, const void *x)
    {
        soap_vector_room(*static_cast<V *>(v));
        static_cast<V *>(v)->push_back(static_cast<T *>(const_cast<void *>(x)));
    }
    static void assign(void *v, size_t i, const void *q)
    {
        (*static_cast<V *>(v))[i] = static_cast<T *>(soap_frame_load_ptr(q));
    }
    static void *make(int n) { return soap_plain_thunks<V>::make(n); }
    static void destroy(void *p, int n) { soap_plain_thunks<V>::destroy(p, n); }
    static constexpr soap_vector_ops ops = {sizeof(V), size, clear, elem, push, assign, make, destroy};
};

template <> struct SOAP_FRAME_HIDDEN soap_vector_thunks<std::vector<std::string>> {
    typedef std::vector<std::string> V;
    static size_t size(const void *v) { return static_cast<const V *>(v)->size(); }
    static void clear(void *v) { static_cast<V *>(v)->clear(); }
    static const void *elem(const void *v, size_t i) { return &(*static_cast<const V *>(v))[i]; }
    /* the reader's slot is spent: its text is moved, not copied */
    static void push(void *v, const void *x)
    {
        soap_vector_room(*static_cast<V *>(v));
        static_cast<V *>(v)->push_back(std::move(*static_cast<std::string *>(const_cast<void *>(x))));
    }
    static void assign(void *v, size_t i, const void *q) { (*static_cast<V *>(v))[i] = *static_cast<const std::string *>(q); }
    static void *make(int n) { return soap_plain_thunks<V>::make(n); }
    static void destroy(void *p, int n) { soap_plain_thunks<V>::destroy(p, n); }
    static constexpr soap_vector_ops ops = {sizeof(V), size, clear, elem, push, assign, make, destroy};
};

/* Enumeration vectors; the element is int-sized and copied bytewise. */
template <class E> struct SOAP_FRAME_HIDDEN soap_enum_vector_thunks {
    typedef std::vector<E> V;
    static_assert(sizeof(E) == sizeof(int), "enumerations are int-sized");
    static size_t size(const void *v) { return static_cast<const V *>(v)->size(); }
    static void clear(void *v) { static_cast<V *>(v)->clear(); }
    static const void *elem(const void *v, size_t i) { return &(*static_cast<const V *>(v))[i]; }
    static void push(void *v, const void *x)
    {
        E e;
        std::memcpy(&e, x, sizeof e);
        soap_vector_room(*static_cast<V *>(v));
        static_cast<V *>(v)->push_back(e);
    }
    static void assign(void *v, size_t i, const void *q) { std::memcpy(&(*static_cast<V *>(v))[i], q, sizeof(E)); }
    static void *make(int n) { return soap_plain_thunks<V>::make(n); }
    static void destroy(void *p, int n) { soap_plain_thunks<V>::destroy(p, n); }
    static constexpr soap_vector_ops ops = {sizeof(V), size, clear, elem, push, assign, make, destroy};
};

/* ------------------------------------------------------------------------ */
/* One-line definitions the generated sources expand                         */
/* ------------------------------------------------------------------------ */

/* The seven operations, constructor and destructor of class T, and its free functions. */
#define SOAP_FRAME_CLASS(T)                                                                              \
    int T::soap_type() const { return SOAP_TYPE_##T; }                                                   \
    void T::soap_default(struct soap *soap) { soap_frame_default(soap, &soap_ci_##T, this); }            \
    void T::soap_serialize(struct soap *soap) const { soap_frame_serialize(soap, &soap_ci_##T, this); }  \
    int T::soap_put(struct soap *soap, const char *tag, const char *type) const                          \
    {                                                                                                    \
        return soap_frame_put(soap, &soap_ci_##T, this, tag, type);                                      \
    }                                                                                                    \
    int T::soap_out(struct soap *soap, const char *tag, int id, const char *type) const                  \
    {                                                                                                    \
        return soap_out_##T(soap, tag, id, this, type);                                                  \
    }                                                                                                    \
    void *T::soap_get(struct soap *soap, const char *tag, const char *type)                              \
    {                                                                                                    \
        return soap_get_##T(soap, this, tag, type);                                                      \
    }                                                                                                    \
    void *T::soap_in(struct soap *soap, const char *tag, const char *type)                               \
    {                                                                                                    \
        return soap_in_##T(soap, tag, this, type);                                                       \
    }                                                                                                    \
    T::T() {} /* the members' initializers give the default state */                                     \
    T::~T() {}                                                                                           \
    void soap_default_##T(struct soap *soap, T *a) { a->soap_default(soap); }                            \
    void soap_serialize_##T(struct soap *soap, const T *a) { a->soap_serialize(soap); }                  \
    int soap_put_##T(struct soap *soap, const T *a, const char *tag, const char *type)                   \
    {                                                                                                    \
        return soap_frame_put(soap, &soap_ci_##T, a, tag, type);                                         \
    }                                                                                                    \
    int soap_out_##T(struct soap *soap, const char *tag, int id, const T *a, const char *type)           \
    {                                                                                                    \
        return soap_frame_out(soap, &soap_ci_##T, tag, id, a, type);                                     \
    }                                                                                                    \
    T *soap_get_##T(struct soap *soap, T *a, const char *tag, const char *type)                          \
    {                                                                                                    \
        return static_cast<T *>(soap_frame_get(soap, &soap_ci_##T, a, tag, type));                       \
    }                                                                                                    \
    T *soap_in_##T(struct soap *soap, const char *tag, T *a, const char *type)                           \
    {                                                                                                    \
        return static_cast<T *>(soap_frame_in(soap, &soap_ci_##T, tag, a, type));                        \
    }                                                                                                    \
    T *soap_instantiate_##T(struct soap *soap, int n, const char *type, const char *arrayType, size_t *size) \
    {                                                                                                    \
        return static_cast<T *>(soap_frame_instantiate(soap, &soap_ci_##T, n, type, arrayType, size));   \
    }                                                                                                    \
    void soap_copy_##T(struct soap *, int, int, void *p, size_t, const void *q, size_t)                  \
    {                                                                                                    \
        *static_cast<T *>(p) = *static_cast<const T *>(q);                                               \
    }                                                                                                    \
    void soap_serialize_PointerTo##T(struct soap *soap, T *const *a)                                     \
    {                                                                                                    \
        soap_frame_serialize_pclass(soap, &soap_ci_##T, *a);                                             \
    }                                                                                                    \
    int soap_out_PointerTo##T(struct soap *soap, const char *tag, int id, T *const *a, const char *type) \
    {                                                                                                    \
        return soap_frame_out_pclass(soap, &soap_ci_##T, tag, id, *a, type);                             \
    }                                                                                                    \
    T **soap_in_PointerTo##T(struct soap *soap, const char *tag, T **a, const char *type)                \
    {                                                                                                    \
        return reinterpret_cast<T **>(                                                                   \
            soap_frame_in_pclass(soap, &soap_ci_##T, tag, reinterpret_cast<void **>(a), type));          \
    }

/* The free functions of enumeration E. */
#define SOAP_FRAME_ENUM(E)                                                                               \
    const char *soap_##E##2s(struct soap *soap, E n) { return soap_frame_enum2s(soap, &soap_ei_##E, n); } \
    int soap_s2##E(struct soap *soap, const char *s, E *a) { return soap_frame_s2enum(soap, &soap_ei_##E, s, a); } \
    void soap_default_##E(struct soap *, E *a) { *a = static_cast<E>(0); }                              \
    int soap_out_##E(struct soap *soap, const char *tag, int id, const E *a, const char *type)           \
    {                                                                                                    \
        return soap_frame_out_enum(soap, &soap_ei_##E, tag, id, a, type);                                \
    }                                                                                                    \
    E *soap_in_##E(struct soap *soap, const char *tag, E *a, const char *type)                           \
    {                                                                                                    \
        return static_cast<E *>(soap_frame_in_enum(soap, &soap_ei_##E, tag, a, type));                   \
    }

/* Pointer functions of enumeration E (where the pointer type has an id). */
#define SOAP_FRAME_ENUM_POINTER(E)                                                                       \
    void soap_serialize_PointerTo##E(struct soap *soap, E *const *a)                                     \
    {                                                                                                    \
        if (*a)                                                                                          \
            soap_reference(soap, *a, SOAP_TYPE_##E);                                                     \
    }                                                                                                    \
    int soap_out_PointerTo##E(struct soap *soap, const char *tag, int id, E *const *a, const char *type) \
    {                                                                                                    \
        return soap_frame_out_penum(soap, &soap_ei_##E, tag, id, *a, type);                              \
    }                                                                                                    \
    E **soap_in_PointerTo##E(struct soap *soap, const char *tag, E **a, const char *type)                \
    {                                                                                                    \
        return reinterpret_cast<E **>(soap_frame_in_penum(soap, &soap_ei_##E, tag, reinterpret_cast<void **>(a), type)); \
    }

/* std::string-held type X under its own id (xsd__dateTime, protocol__Percentage, ...). */
#define SOAP_FRAME_TEXT(X)                                                                               \
    void soap_default_##X(struct soap *, std::string *a) { a->erase(); }                                 \
    void soap_serialize_##X(struct soap *, const std::string *) {}                                       \
    int soap_out_##X(struct soap *soap, const char *tag, int id, const std::string *a, const char *type) \
    {                                                                                                    \
        return soap_frame_out_string(soap, tag, id, a, type, SOAP_TYPE_##X);                             \
    }                                                                                                    \
    std::string *soap_in_##X(struct soap *soap, const char *tag, std::string *a, const char *type)       \
    {                                                                                                    \
        return soap_frame_in_string(soap, tag, a, type, SOAP_TYPE_##X);                                  \
    }                                                                                                    \
    std::string *soap_instantiate_##X(struct soap *soap, int n, const char *, const char *, size_t *size) \
    {                                                                                                    \
        return static_cast<std::string *>(soap_frame_instantiate_string(soap, SOAP_TYPE_##X, n, size));  \
    }                                                                                                    \
    void soap_copy_##X(struct soap *, int, int, void *p, size_t, const void *q, size_t)                  \
    {                                                                                                    \
        *static_cast<std::string *>(p) = *static_cast<const std::string *>(q);                           \
    }

#define SOAP_FRAME_TEXT_POINTER(X)                                                                       \
    void soap_serialize_PointerTo##X(struct soap *soap, std::string *const *a)                           \
    {                                                                                                    \
        if (*a)                                                                                          \
            soap_reference(soap, *a, SOAP_TYPE_##X);                                                     \
    }                                                                                                    \
    int soap_out_PointerTo##X(struct soap *soap, const char *tag, int id, std::string *const *a, const char *type) \
    {                                                                                                    \
        return soap_frame_out_pstring(soap, tag, id, *a, type, SOAP_TYPE_##X);                           \
    }                                                                                                    \
    std::string **soap_in_PointerTo##X(struct soap *soap, const char *tag, std::string **a, const char *type) \
    {                                                                                                    \
        return soap_frame_in_pstring(soap, tag, a, type, SOAP_TYPE_##X);                                 \
    }

/* Vector V = std__vectorTemplateOf... with its C++ type CT. */
#define SOAP_FRAME_VECTOR(V, CT)                                                                         \
    void soap_default_##V(struct soap *, CT *a) { a->clear(); }                                          \
    void soap_serialize_##V(struct soap *soap, const CT *a) { soap_frame_serialize_vector(soap, &soap_vi_##V, a); } \
    int soap_out_##V(struct soap *soap, const char *tag, int id, const CT *a, const char *type)          \
    {                                                                                                    \
        return soap_frame_out_vector(soap, &soap_vi_##V, tag, id, a, type);                              \
    }                                                                                                    \
    CT *soap_in_##V(struct soap *soap, const char *tag, CT *a, const char *type)                         \
    {                                                                                                    \
        return static_cast<CT *>(soap_frame_in_vector(soap, &soap_vi_##V, tag, a, type));                \
    }                                                                                                    \
    CT *soap_instantiate_##V(struct soap *soap, int n, const char *, const char *, size_t *size)         \
    {                                                                                                    \
        return static_cast<CT *>(soap_frame_instantiate_vector(soap, &soap_vi_##V, n, size));            \
    }

/* Operation wrapper W. */
#define SOAP_FRAME_WRAPPER(W)                                                                            \
    void soap_default_##W(struct soap *, struct W *a) { soap_frame_store_ptr(a, nullptr); }          \
    void soap_serialize_##W(struct soap *soap, const struct W *a) { soap_frame_serialize_wrapper(soap, &soap_wi_##W, a); } \
    int soap_out_##W(struct soap *soap, const char *tag, int id, const struct W *a, const char *type)    \
    {                                                                                                    \
        return soap_frame_out_wrapper(soap, &soap_wi_##W, tag, id, a, type);                             \
    }                                                                                                    \
    int soap_put_##W(struct soap *soap, const struct W *a, const char *tag, const char *type)            \
    {                                                                                                    \
        return soap_frame_put_wrapper(soap, &soap_wi_##W, a, tag, type);                                 \
    }                                                                                                    \
    struct W *soap_in_##W(struct soap *soap, const char *tag, struct W *a, const char *type)             \
    {                                                                                                    \
        return static_cast<struct W *>(soap_frame_in_wrapper(soap, &soap_wi_##W, tag, a, type));         \
    }                                                                                                    \
    struct W *soap_get_##W(struct soap *soap, struct W *a, const char *tag, const char *type)            \
    {                                                                                                    \
        return static_cast<struct W *>(soap_frame_get_wrapper(soap, &soap_wi_##W, a, tag, type));        \
    }                                                                                                    \
    struct W *soap_instantiate_##W(struct soap *soap, int n, const char *, const char *, size_t *size)   \
    {                                                                                                    \
        return static_cast<struct W *>(soap_frame_instantiate_wrapper(soap, &soap_wi_##W, n, size));     \
    }

#endif /* ORVSOAP_FRAME_H */
