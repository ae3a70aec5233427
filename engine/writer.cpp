/* writer.cpp -- the XML writer: escaped text, start and end tags with their
 * attributes, nil and reference elements, arrays and attachment references,
 * all written at once through soap_send_raw.  Not here: framing and the
 * buffer below soap_send_raw (framing.cpp), the namespace stack itself
 * (namespaces.cpp) and the pointer table (references.cpp).
 */
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "soapengine.h"
#include "soapinternal.h"

#define SOAP_FILE_TAG "soapengine"
#define MALLOC(soap, n) soap_track_malloc((soap), SOAP_FILE_TAG, __LINE__, (n))
#define FREE(soap, p) soap_track_free((soap), SOAP_FILE_TAG, __LINE__, (p))

static const char xml_declaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
static const char indent_text[] = "\n\t\t\t\t\t\t\t\t\t"; /* 10 bytes */
static const char rpc12_ns[] = "http://www.w3.org/2003/05/soap-rpc";
static const char xop_include_href[] = "xmlns:xop=\"http://www.w3.org/2004/08/xop/include\" href";

/* ------------------------------------------------------------------------ */
/* Raw output helpers                                                        */
/* ------------------------------------------------------------------------ */

/* The counting pass without hooks: only the length is wanted. */
static inline bool counting(const struct soap *soap)
{
    return (soap->mode & SOAP_IO_LENGTH) && !soap->ffiltersend && !soap->fpreparesend;
}

static inline int out(struct soap *soap, const char *s, size_t n)
{
    if (char *d = soap_send_room(soap, n)) {
        memcpy(d, s, n);
        soap->bufidx += n;
        return SOAP_OK;
    }
    if (counting(soap)) {
        soap->count += n;
        return SOAP_OK;
    }
    return soap_send_raw(soap, s, n);
}

/* A piece of text for outv. */
struct Piece {
    const char *s;
    size_t n;
};

/* outv for more bytes than a small buffer takes: piece by piece. */
static __attribute__((noinline)) int outv_pieces(struct soap *soap, const Piece *v, size_t k)
{
    for (size_t i = 0; i < k; i++)
        if (out(soap, v[i].s, v[i].n))
            return soap->error;
    return SOAP_OK;
}

/* The pieces in one write: the usual "<tag>", "</tag>", ` name="value"`
 * cost one call, not three to five, and in buffered output no call at all.
 * Inlined and unrolled, so that the fixed pieces are copied as constants. */
template <typename... P>
static inline __attribute__((always_inline)) int outv(struct soap *soap, P... v)
{
    const size_t n = (v.n + ...);
    if (char *d = soap_send_room(soap, n)) {
        ((memcpy(d, v.s, v.n), d += v.n), ...);
        soap->bufidx += n;
        return SOAP_OK;
    }
    if (counting(soap)) {
        soap->count += n;
        return SOAP_OK;
    }
    char tmp[256];
    if (n <= sizeof(tmp)) {
        char *d = tmp;
        ((memcpy(d, v.s, v.n), d += v.n), ...);
        return soap_send_raw(soap, tmp, n);
    }
    const Piece all[] = {v...};
    return outv_pieces(soap, all, sizeof...(v));
}

static inline __attribute__((always_inline)) int out3(struct soap *soap, const char *a, size_t na,
                                                      const char *b, size_t nb, const char *c, size_t nc)
{
    return outv(soap, Piece{a, na}, Piece{b, nb}, Piece{c, nc});
}

static void write_indent(struct soap *soap)
{
    size_t n = soap->level < 10 ? soap->level : 10;
    if (n)
        out(soap, indent_text, n);
}

/* Encodes c in the long UTF-8 form (up to six bytes); returns the length.
 * Zero gives nothing: a NUL byte has no place in XML text. */
static inline size_t utf8_encode(char *t, unsigned long c)
{
    c &= 0xFFFFFFFFUL;
    if (c < 0x80) {
        if (!c)
            return 0;
        t[0] = (char)c;
        return 1;
    }
    if (c < 0x800) {
        t[0] = (char)(0xC0 | (c >> 6));
        t[1] = (char)(0x80 | (c & 0x3F));
        return 2;
    }
    if (c < 0x10000) {
        t[0] = (char)(0xE0 | (c >> 12));
        t[1] = (char)(0x80 | ((c >> 6) & 0x3F));
        t[2] = (char)(0x80 | (c & 0x3F));
        return 3;
    }
    if (c < 0x200000) {
        t[0] = (char)(0xF0 | (c >> 18));
        t[1] = (char)(0x80 | ((c >> 12) & 0x3F));
        t[2] = (char)(0x80 | ((c >> 6) & 0x3F));
        t[3] = (char)(0x80 | (c & 0x3F));
        return 4;
    }
    if (c < 0x4000000) {
        t[0] = (char)(0xF8 | (c >> 24));
        t[1] = (char)(0x80 | ((c >> 18) & 0x3F));
        t[2] = (char)(0x80 | ((c >> 12) & 0x3F));
        t[3] = (char)(0x80 | ((c >> 6) & 0x3F));
        t[4] = (char)(0x80 | (c & 0x3F));
        return 5;
    }
    /* values beyond 31 bits keep a valid six-byte lead */
    t[0] = (char)(0xFC | ((c >> 30) & 0x01));
    t[1] = (char)(0x80 | ((c >> 24) & 0x3F));
    t[2] = (char)(0x80 | ((c >> 18) & 0x3F));
    t[3] = (char)(0x80 | ((c >> 12) & 0x3F));
    t[4] = (char)(0x80 | ((c >> 6) & 0x3F));
    t[5] = (char)(0x80 | (c & 0x3F));
    return 6;
}

int soap_send(struct soap *soap, const char *s)
{
    if (!s)
        return SOAP_OK;
    return out(soap, s, strlen(s));
}

int soap_send2(struct soap *soap, const char *s1, const char *s2)
{
    if (soap_send(soap, s1))
        return soap->error;
    return soap_send(soap, s2);
}

int soap_send3(struct soap *soap, const char *s1, const char *s2, const char *s3)
{
    if (soap_send(soap, s1) || soap_send(soap, s2))
        return soap->error;
    return soap_send(soap, s3);
}

int soap_pututf8(struct soap *soap, unsigned long c)
{
    char t[8];
    size_t n = utf8_encode(t, c);
    return n ? out(soap, t, n) : SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Escaped text                                                              */
/* ------------------------------------------------------------------------ */

/* Byte classes: 0 stays in the run, 1 is replaced by an entity, 2 is a byte
 * of 128 or above that needs a decision, 3 ends the text. */
enum { BC_PLAIN = 0, BC_ESCAPE = 1, BC_HIGH = 2, BC_END = 3 };
enum { ESC_CONTENT = 0, ESC_CONTENT_C14N = 1, ESC_ATTR = 2 };

struct ByteClass {
    unsigned char c[256];
};

static constexpr ByteClass make_class(int kind, bool high_plain)
{
    ByteClass t{};
    for (int i = 0; i < 256; i++)
        t.c[i] = i >= 128 ? (high_plain ? BC_PLAIN : BC_HIGH) : BC_PLAIN;
    t.c[0] = BC_END;
    t.c[(unsigned char)'<'] = BC_ESCAPE;
    t.c[(unsigned char)'&'] = BC_ESCAPE;
    t.c[(unsigned char)'\r'] = BC_ESCAPE;
    if (kind == ESC_ATTR) {
        t.c[(unsigned char)'"'] = BC_ESCAPE;
        t.c[(unsigned char)'\t'] = BC_ESCAPE;
        t.c[(unsigned char)'\n'] = BC_ESCAPE;
    } else {
        t.c[(unsigned char)'>'] = BC_ESCAPE;
        if (kind == ESC_CONTENT)
            t.c[(unsigned char)'\n'] = BC_ESCAPE;
    }
    return t;
}

/* [kind][high bytes pass] */
static constexpr ByteClass byte_class[3][2] = {
    {make_class(ESC_CONTENT, false), make_class(ESC_CONTENT, true)},
    {make_class(ESC_CONTENT_C14N, false), make_class(ESC_CONTENT_C14N, true)},
    {make_class(ESC_ATTR, false), make_class(ESC_ATTR, true)},
};

/* Entity for a byte of class BC_ESCAPE; the table decides which bytes get
 * here.  Each is padded to eight bytes, so that it can be copied whole. */
struct Entity {
    char s[8];
    size_t n;
};
static const Entity ent_lt = {"&lt;", 4}, ent_gt = {"&gt;", 4}, ent_amp = {"&amp;", 5},
                    ent_quot = {"&quot;", 6}, ent_lf = {"&#xA;", 5}, ent_cr = {"&#xD;", 5}, ent_tab = {"&#x9;", 5};

static inline const Entity &entity_of(unsigned char c)
{
    switch (c) {
    case '<': return ent_lt;
    case '>': return ent_gt;
    case '&': return ent_amp;
    case '"': return ent_quot;
    case '\n': return ent_lf;
    case '\r': return ent_cr;
    default: return ent_tab;
    }
}

static inline int escape_kind(const struct soap *soap, int flag)
{
    if (flag)
        return ESC_ATTR;
    return (soap->mode & SOAP_XML_CANONICAL) ? ESC_CONTENT_C14N : ESC_CONTENT;
}

#if defined(__SSE2__) && !defined(__SANITIZE_ADDRESS__)
#if defined(__has_feature)
#if !__has_feature(address_sanitizer)
#define WRITER_SCAN16 1
#endif
#else
#define WRITER_SCAN16 1
#endif
#endif

#ifdef WRITER_SCAN16
#include <emmintrin.h>

static inline __m128i eq(__m128i v, char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); }

/* Bit i set when byte i of v may end a run of plain bytes: all bytes that
 * byte_class[Kind][HighPlain] doesn't have as plain, and with them a few
 * rare ones that are plain after all (control bytes up to CR; a line feed
 * in canonical content), which the caller looks at again. */
template <int Kind, bool HighPlain>
static inline unsigned stops16(__m128i v)
{
    const __m128i ctl = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8('\r')), v); /* 0, tab, LF, CR, ... */
    __m128i m;
    if (Kind == ESC_ATTR)
        m = _mm_or_si128(_mm_or_si128(ctl, eq(v, '"')), _mm_or_si128(eq(v, '&'), eq(v, '<')));
    else /* '<' and '>' differ in one bit */
        m = _mm_or_si128(_mm_or_si128(ctl, eq(v, '&')), eq(_mm_or_si128(v, _mm_set1_epi8(2)), '>'));
    unsigned r = (unsigned)_mm_movemask_epi8(m);
    if (!HighPlain)
        r |= (unsigned)_mm_movemask_epi8(v);
    return r;
}

/* The first byte from p on that may not be plain; the text's terminating
 * NUL is one.  Sixteen bytes a step, with aligned loads: a load never
 * reaches a page that the text doesn't touch. */
template <int Kind, bool HighPlain>
static inline const unsigned char *scan16(const unsigned char *p)
{
    size_t off = (uintptr_t)p & 15;
    const __m128i *a = reinterpret_cast<const __m128i *>(p - off);
    unsigned r = stops16<Kind, HighPlain>(_mm_load_si128(a)) >> off;
    if (r)
        return p + __builtin_ctz(r);
    for (;;) {
        ++a;
        r = stops16<Kind, HighPlain>(_mm_load_si128(a));
        if (r)
            return reinterpret_cast<const unsigned char *>(a) + __builtin_ctz(r);
    }
}

/* The first byte from p on that isn't plain. */
template <int Kind, bool HighPlain>
static inline const unsigned char *skip_plain(const unsigned char *p)
{
    const unsigned char *tbl = byte_class[Kind][HighPlain].c;
    for (;;) {
        p = scan16<Kind, HighPlain>(p);
        if (tbl[*p])
            return p;
        p++;
    }
}
#else
template <int Kind, bool HighPlain>
static inline const unsigned char *skip_plain(const unsigned char *p)
{
    const unsigned char *tbl = byte_class[Kind][HighPlain].c;
    for (;; p += 4) {
        if (tbl[p[0]])
            return p;
        if (tbl[p[1]])
            return p + 1;
        if (tbl[p[2]])
            return p + 2;
        if (tbl[p[3]])
            return p + 3;
    }
}
#endif

/* A run and its entity when they can't go straight into buf. */
static __attribute__((noinline)) int out_run_entity(struct soap *soap, const char *run, size_t k, const Entity &e)
{
    return out3(soap, run, k, e.s, e.n, "", 0);
}

/* The text in runs of plain bytes, each run written together with the
 * entity that ends it. */
template <int Kind, bool HighPlain>
static int string_out_kind(struct soap *soap, const unsigned char *p, bool mb, bool utf)
{
    const unsigned char *tbl = byte_class[Kind][HighPlain].c;
    const unsigned char *run = p;
    for (;;) {
        p = skip_plain<Kind, HighPlain>(p);
        unsigned char c = *p;
        unsigned char cls = tbl[c];
        if (cls == BC_END)
            break;
        if (cls == BC_HIGH) {
            if (mb) {
                wchar_t wc;
                mbstate_t st;
                memset(&st, 0, sizeof(st));
                size_t len = mbrtowc(&wc, (const char *)p, MB_CUR_MAX, &st);
                if (len != (size_t)-1 && len != (size_t)-2 && len > 0) {
                    if (p > run && out(soap, (const char *)run, p - run))
                        return soap->error;
                    if (soap_pututf8(soap, (unsigned long)(uint32_t)wc))
                        return soap->error;
                    p += len;
                    run = p;
                    continue;
                }
            }
            if (utf) {  /* UTF-8 already: the byte stays in the run */
                p++;
                continue;
            }
            if (p > run && out(soap, (const char *)run, p - run))
                return soap->error;
            if (soap_pututf8(soap, c))
                return soap->error;
            run = ++p;
            continue;
        }
        const Entity &e = entity_of(c);
        const size_t k = (size_t)(p - run);
        if (char *d = soap_send_room(soap, k + sizeof(e.s))) {
            memcpy(d, run, k);
            memcpy(d + k, e.s, sizeof(e.s));
            soap->bufidx += k + e.n;
        } else if (out_run_entity(soap, (const char *)run, k, e)) {
            return soap->error;
        }
        run = ++p;
    }
    if (p > run)
        return out(soap, (const char *)run, p - run);
    return SOAP_OK;
}

int soap_string_out(struct soap *soap, const char *s, int flag)
{
    if (!s)
        return SOAP_OK;
    const bool mb = (soap->mode & SOAP_C_MBSTRING) != 0;
    const bool utf = flag == 2 || (soap->mode & SOAP_C_UTFSTRING);
    const unsigned char *p = (const unsigned char *)s;
    const bool high = utf && !mb;
    switch (escape_kind(soap, flag)) {
    case ESC_ATTR:
        return high ? string_out_kind<ESC_ATTR, true>(soap, p, mb, utf)
                    : string_out_kind<ESC_ATTR, false>(soap, p, mb, utf);
    case ESC_CONTENT_C14N:
        return high ? string_out_kind<ESC_CONTENT_C14N, true>(soap, p, mb, utf)
                    : string_out_kind<ESC_CONTENT_C14N, false>(soap, p, mb, utf);
    default:
        return high ? string_out_kind<ESC_CONTENT, true>(soap, p, mb, utf)
                    : string_out_kind<ESC_CONTENT, false>(soap, p, mb, utf);
    }
}

/* Length of a text that soap_string_out would write unchanged, or -1. */
static size_t plain_length(const struct soap *soap, const char *s, int flag)
{
    const bool utf = flag == 2 || (soap->mode & SOAP_C_UTFSTRING);
    const bool high = utf && !(soap->mode & SOAP_C_MBSTRING);
    const unsigned char *p = (const unsigned char *)s, *e;
    switch (escape_kind(soap, flag)) {
    case ESC_ATTR:
        e = high ? skip_plain<ESC_ATTR, true>(p) : skip_plain<ESC_ATTR, false>(p);
        break;
    case ESC_CONTENT_C14N:
        e = high ? skip_plain<ESC_CONTENT_C14N, true>(p) : skip_plain<ESC_CONTENT_C14N, false>(p);
        break;
    default:
        e = high ? skip_plain<ESC_CONTENT, true>(p) : skip_plain<ESC_CONTENT, false>(p);
        break;
    }
    return *e ? (size_t)-1 : (size_t)(e - p);
}

int soap_wstring_out(struct soap *soap, const wchar_t *s, int flag)
{
    if (!s)
        return SOAP_OK;
    const unsigned char *tbl = byte_class[escape_kind(soap, flag)][0].c;
    char buf[512];
    size_t k = 0;
    for (; *s; s++) {
        if (k > sizeof(buf) - 8) {
            if (out(soap, buf, k))
                return soap->error;
            k = 0;
        }
        uint32_t c = (uint32_t)*s;
        if (c < 128 && tbl[c] == BC_ESCAPE) {
            const Entity &e = entity_of((unsigned char)c);
            memcpy(buf + k, e.s, e.n);
            k += e.n;
        } else if (c >= 32 && c < 128) {
            buf[k++] = (char)c;
        } else {
            k += utf8_encode(buf + k, c);
        }
    }
    return k ? out(soap, buf, k) : SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Binary as text                                                            */
/* ------------------------------------------------------------------------ */

static const char base64_alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int soap_putbase64(struct soap *soap, const unsigned char *s, int n)
{
    if (!s || n <= 0)
        return SOAP_OK;
    char buf[1024];
    size_t k = 0;
    for (; n > 0; n -= 3, s += 3) {
        unsigned long m = (unsigned long)s[0] << 16;
        if (n > 1)
            m |= (unsigned long)s[1] << 8;
        if (n > 2)
            m |= s[2];
        buf[k] = base64_alphabet[(m >> 18) & 0x3F];
        buf[k + 1] = base64_alphabet[(m >> 12) & 0x3F];
        buf[k + 2] = n > 1 ? base64_alphabet[(m >> 6) & 0x3F] : '=';
        buf[k + 3] = n > 2 ? base64_alphabet[m & 0x3F] : '=';
        k += 4;
        if (k == sizeof(buf)) {
            if (out(soap, buf, k))
                return soap->error;
            k = 0;
        }
        if (n < 3)
            break;
    }
    return k ? out(soap, buf, k) : SOAP_OK;
}

int soap_puthex(struct soap *soap, const unsigned char *s, int n)
{
    static const char digits[] = "0123456789ABCDEF";
    if (!s || n <= 0)
        return SOAP_OK;
    char buf[1024];
    size_t k = 0;
    for (int i = 0; i < n; i++) {
        buf[k++] = digits[s[i] >> 4];
        buf[k++] = digits[s[i] & 0x0F];
        if (k == sizeof(buf)) {
            if (out(soap, buf, k))
                return soap->error;
            k = 0;
        }
    }
    return k ? out(soap, buf, k) : SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Attributes                                                                */
/* ------------------------------------------------------------------------ */

static inline bool is_xmlns(const char *name)
{
    return !strncmp(name, "xmlns", 5) && (name[5] == '\0' || name[5] == ':');
}

/* URI of an attribute's prefix for canonical ordering: the namespace stack
 * first, then an xmlns:p waiting in the list; null for none. */
static const char *attr_uri(struct soap *soap, const char *name)
{
    const char *colon = strchr(name, ':');
    if (!colon)
        return nullptr;
    size_t n = colon - name;
    for (struct soap_nlist *np = soap->nlist; np; np = np->next)
        if (np->ns && !strncmp(np->id, name, n) && np->id[n] == '\0')
            return np->ns;
    for (struct soap_attribute *tp = soap->attributes; tp; tp = tp->next)
        if (tp->visible && tp->ns && !strncmp(tp->name, "xmlns:", 6) && !strncmp(tp->name + 6, name, n) &&
            tp->name[6 + n] == '\0')
            return tp->ns;
    return nullptr;
}

/* Group of an entry in canonical order: xmlns first, then names without a
 * namespace URI, then names with one. */
static inline int c14n_group(const struct soap_attribute *tp)
{
    if (is_xmlns(tp->name))
        return 0;
    return tp->ns ? 2 : 1;
}

static bool c14n_before(const struct soap_attribute *a, const struct soap_attribute *b)
{
    int ga = c14n_group(a), gb = c14n_group(b);
    if (ga != gb)
        return ga < gb;
    if (ga == 0)
        return strcmp(a->name + 5, b->name + 5) < 0;
    if (ga == 2) {
        int r = strcmp(a->ns, b->ns);
        if (r)
            return r < 0;
    }
    return strcmp(a->name, b->name) < 0;
}

/* Places tp in canonical order among the attributes of this element; entries
 * left over from earlier elements (not visible) don't take part. */
static void c14n_insert(struct soap *soap, struct soap_attribute *tp)
{
    struct soap_attribute **tpp = &soap->attributes;
    while (*tpp && (!(*tpp)->visible || !c14n_before(tp, *tpp)))
        tpp = &(*tpp)->next;
    tp->next = *tpp;
    *tpp = tp;
}

int soap_set_attr(struct soap *soap, const char *name, const char *value, int flag)
{
    if (!name)
        return SOAP_OK;
    struct soap_attribute **tpp = &soap->attributes, *tp;
    while ((tp = *tpp) && strcmp(tp->name, name))
        tpp = &tp->next;
    if (tp && tp->visible)
        return SOAP_OK;  /* set once, it stays until written */
    const bool canonical = (soap->mode & SOAP_XML_CANONICAL) != 0;
    if (!tp) {
        size_t n = strlen(name);
        tp = static_cast<struct soap_attribute *>(MALLOC(soap, sizeof(struct soap_attribute) + n));
        if (!tp)
            return soap->error = SOAP_EOM;
        memcpy(tp->name, name, n + 1);
        tp->value = nullptr;
        tp->size = 0;
        tp->ns = nullptr;
        tp->visible = 0;
        tp->flag = 0;
        if (!canonical) {
            /* head of the list: attributes come out in reverse order of setting */
            tp->next = soap->attributes;
            soap->attributes = tp;
        } else {
            tp->next = nullptr;
            *tpp = tp;  /* end of the list for now; placed below */
        }
    }
    if (canonical)
        *tpp = tp->next;  /* unlinked until its place is known */
    if (value) {
        size_t n = strlen(value);
        if (tp->value && tp->size <= n) {
            FREE(soap, tp->value);
            tp->value = nullptr;
            tp->size = 0;
        }
        if (!tp->value) {
            tp->value = static_cast<char *>(MALLOC(soap, n + 1));
            if (!tp->value) {
                if (canonical)
                    c14n_insert(soap, tp);
                return soap->error = SOAP_EOM;
            }
            tp->size = n + 1;
        }
        memcpy(tp->value, value, n + 1);
        if (!strncmp(name, "xmlns:", 6))
            tp->ns = tp->value;
        tp->flag = (short)flag;
    }
    if (canonical && !is_xmlns(name))
        tp->ns = const_cast<char *>(attr_uri(soap, name));
    if (canonical)
        c14n_insert(soap, tp);
    tp->visible = value ? 2 : 1;
    soap->attrs_visible = 1;
    if (value && !strcmp(name, "wsu:Id")) {
        strncpy(soap->id, value, sizeof(soap->id) - 1);
        soap->id[sizeof(soap->id) - 1] = '\0';
    }
    return SOAP_OK;
}

void soap_clr_attr(struct soap *soap)
{
    if (soap->mode & SOAP_XML_CANONICAL) {
        while (soap->attributes) {
            struct soap_attribute *tp = soap->attributes;
            soap->attributes = tp->next;
            if (tp->value)
                FREE(soap, tp->value);
            FREE(soap, tp);
        }
    } else {
        for (struct soap_attribute *tp = soap->attributes; tp; tp = tp->next)
            tp->visible = 0;
    }
}

/* ` name="value"` or ` name`, written now. */
static int put_attribute(struct soap *soap, const char *name, size_t nlen, const char *value, int flag)
{
    if (!value)
        return out3(soap, " ", 1, name, nlen, "", 0);
    size_t vlen = plain_length(soap, value, flag);
    if (vlen != (size_t)-1)
        return outv(soap, Piece{" ", 1}, Piece{name, nlen}, Piece{"=\"", 2}, Piece{value, vlen}, Piece{"\"", 1});
    if (out3(soap, " ", 1, name, nlen, "=\"", 2) || soap_string_out(soap, value, flag))
        return soap->error;
    return out(soap, "\"", 1);
}

int soap_attribute(struct soap *soap, const char *name, const char *value)
{
    if (soap->mode & SOAP_XML_CANONICAL) {
        if (is_xmlns(name)) {
            /* declared where used: the stack decides when it goes out */
            soap_push_ns(soap, name[5] ? name + 6 : "", value, 0);
            return SOAP_OK;
        }
        return soap_set_attr(soap, name, value, 1);
    }
    return put_attribute(soap, name, strlen(name), value, 1);
}

/* ------------------------------------------------------------------------ */
/* Elements                                                                  */
/* ------------------------------------------------------------------------ */

/* Row of the working table that binds the prefix of n bytes, for output. */
static const struct Namespace *find_out_row(struct soap *soap, const char *prefix, size_t n)
{
    if (!soap->local_namespaces)
        return nullptr;
    for (const struct Namespace *p = soap->local_namespaces; p->id; p++)
        if (*p->id && (p->out || p->ns) && !strncmp(p->id, prefix, n) && p->id[n] == '\0')
            return p;
    return nullptr;
}

static inline bool top_prefix_is(const struct soap *soap, const char *prefix, size_t n)
{
    return soap->nlist && !strncmp(soap->nlist->id, prefix, n) && soap->nlist->id[n] == '\0';
}

int soap_element(struct soap *soap, const char *tag, int id, const char *type)
{
    soap->level++;
    if (!soap->ns) {
        if (!(soap->mode & SOAP_XML_CANONICAL) &&
            soap_send(soap, soap->prolog ? soap->prolog : xml_declaration))
            return soap->error;
    } else if (soap->mode & SOAP_XML_INDENT) {
        write_indent(soap);
        if (soap->error)
            return soap->error;
        soap->body = 1;
    }
    const char *colon;
    if ((soap->mode & SOAP_XML_DEFAULTNS) && (colon = strchr(tag, ':'))) {
        size_t n = colon - tag;
        if (out3(soap, "<", 1, colon + 1, strlen(colon + 1), "", 0))
            return soap->error;
        if (!top_prefix_is(soap, tag, n)) {
            const struct Namespace *row = find_out_row(soap, tag, n);
            if (row) {
                const char *uri = row->out ? row->out : row->ns;
                soap_push_ns(soap, row->id, uri, 0);
                if (soap_attribute(soap, "xmlns", uri))
                    return soap->error;
            }
        }
    } else if (out3(soap, "<", 1, tag, strlen(tag), "", 0)) {
        return soap->error;
    }
    if (!soap->ns) {
        if (soap->local_namespaces) {
            char name[SOAP_TAGLEN];
            int rows = 0;
            for (const struct Namespace *p = soap->local_namespaces; p->id; p++) {
                if ((soap->mode & SOAP_XML_DEFAULTNS) && rows++ >= 4)
                    break;
                if (*p->id && (p->out || p->ns)) {
                    /* "xmlns:" and the prefix, cut to the field */
                    size_t k = strlen(p->id);
                    if (k > sizeof(name) - 7)
                        k = sizeof(name) - 7;
                    memcpy(name, "xmlns:", 6);
                    memcpy(name + 6, p->id, k);
                    name[6 + k] = '\0';
                    if (soap_attribute(soap, name, p->out ? p->out : p->ns))
                        return soap->error;
                }
            }
        }
    }
    soap->ns = 1;
    if (soap->mode & SOAP_XML_CANONICAL)
        soap_utilize_ns(soap, tag);
    if (id > 0) {
        char s[16];
        snprintf(s, sizeof(s), "_%d", id);
        if (soap_attribute(soap, "id", s))
            return soap->error;
    }
    if (type && *type && !(soap->mode & SOAP_XML_NOTYPE) && soap->part != SOAP_IN_HEADER) {
        const char *t = type;
        if (soap->mode & SOAP_XML_DEFAULTNS) {
            const char *c = strchr(type, ':');
            if (c)
                t = c + 1;
        }
        if (soap->attributes ? soap_set_attr(soap, "xsi:type", t, 1) : soap_attribute(soap, "xsi:type", t))
            return soap->error;
        if (soap->mode & SOAP_XML_CANONICAL)
            soap_utilize_ns(soap, type);
    }
    if (soap->null && soap->position > 0) {
        char s[SOAP_MAXDIMS * 12 + 4];
        int npos = soap->position > SOAP_MAXDIMS ? SOAP_MAXDIMS : soap->position;
        size_t k = (size_t)snprintf(s, sizeof(s), "[%d", soap->positions[0]);
        for (int i = 1; i < npos; i++)
            k += (size_t)snprintf(s + k, sizeof(s) - k, ",%d", soap->positions[i]);
        snprintf(s + k, sizeof(s) - k, "]");
        if (soap_attribute(soap, "SOAP-ENC:position", s))
            return soap->error;
    }
    if (soap->mustUnderstand) {
        if (soap->actor && *soap->actor &&
            soap_attribute(soap, soap->version == 2 ? "SOAP-ENV:role" : "SOAP-ENV:actor", soap->actor))
            return soap->error;
        if (soap_attribute(soap, "SOAP-ENV:mustUnderstand", soap->version == 2 ? "true" : "1"))
            return soap->error;
        soap->mustUnderstand = 0;
    }
    if (soap->encoding) {
        if (soap->encodingStyle && soap->local_namespaces) {
            if (!*soap->encodingStyle && soap->local_namespaces[0].id && soap->local_namespaces[1].id)
                soap->encodingStyle =
                    soap->local_namespaces[1].out ? soap->local_namespaces[1].out : soap->local_namespaces[1].ns;
            if (soap->encodingStyle && soap_attribute(soap, "SOAP-ENV:encodingStyle", soap->encodingStyle))
                return soap->error;
        }
        soap->encoding = 0;
    }
    soap->null = 0;
    soap->position = 0;
    return SOAP_OK;
}

/* Modes in which a tag is more than its name. */
static const uint32_t TAG_MODES = SOAP_XML_INDENT | SOAP_XML_DEFAULTNS | SOAP_XML_CANONICAL;

static inline bool attributes_waiting(const struct soap *soap)
{
    if (!soap->attrs_visible)
        return false;
    for (const struct soap_attribute *tp = soap->attributes; tp; tp = tp->next)
        if (tp->visible)
            return true;
    return false;
}

/* A start tag with attributes, or at the root, or in one of TAG_MODES. */
static __attribute__((noinline)) int start_tag_full(struct soap *soap, const char *tag, int id, const char *type)
{
    if (soap_element(soap, tag, id, type))
        return soap->error;
    return soap_element_start_end_out(soap, nullptr);
}

int soap_element_begin_out(struct soap *soap, const char *tag, int id, const char *type)
{
    if (*tag == '-')
        return SOAP_OK;
    if (!soap->ns || (soap->mode & TAG_MODES) || id > 0 || (type && *type) || soap->mustUnderstand ||
        soap->encoding || (soap->null && soap->position > 0) || attributes_waiting(soap))
        return start_tag_full(soap, tag, id, type);
    /* nothing but the name: "<tag>" at once */
    soap->level++;
    if (out3(soap, "<", 1, tag, strlen(tag), ">", 1))
        return soap->error;
    soap->null = 0;
    soap->position = 0;
    return SOAP_OK;
}

int soap_element_start_end_out(struct soap *soap, const char *tag)
{
    struct soap_attribute *tp;
    if (soap->mode & SOAP_XML_CANONICAL) {
        for (tp = soap->attributes; tp; tp = tp->next)
            if (tp->visible)
                soap_utilize_ns(soap, tp->name);
        for (struct soap_nlist *np = soap->nlist; np; np = np->next) {
            if (np->index == 1 && np->ns) {
                char name[SOAP_TAGLEN];
                if (*np->id)
                    snprintf(name, sizeof(name), "xmlns:%s", np->id);
                else
                    strcpy(name, "xmlns");
                if (soap_set_attr(soap, name, np->ns, 1))
                    return soap->error;
                np->index = 2;
                soap->nsgen++;  /* what a prefix stands for is remembered by the stack's generation */
            }
        }
    }
    const bool defaultns = (soap->mode & SOAP_XML_DEFAULTNS) != 0;
    for (tp = soap->attributes; tp; tp = tp->next) {
        if (!tp->visible)
            continue;
        const char *name = tp->name;
        if (defaultns) {
            const char *colon = strchr(name, ':');
            if (colon && top_prefix_is(soap, name, colon - name))
                name = colon + 1;
        }
        if (put_attribute(soap, name, strlen(name), tp->visible == 2 ? tp->value : nullptr, tp->flag))
            return soap->error;
        tp->visible = 0;
    }
    if (!tag)
        return out(soap, ">", 1);
    if (soap->mode & SOAP_XML_CANONICAL) {
        /* canonical XML has no empty-element form */
        if (out(soap, ">", 1))
            return soap->error;
        return soap_element_end_out(soap, tag);
    }
    if (soap->level)
        soap->level--;
    return out(soap, "/>", 2);
}

/* What an end tag needs first under indentation, default namespaces or
 * canonical output; the name to write, or null on failure. */
static __attribute__((noinline)) const char *end_tag_modes(struct soap *soap, const char *tag)
{
    if (soap->mode & SOAP_XML_CANONICAL)
        soap_pop_namespace(soap);
    if (soap->mode & SOAP_XML_INDENT) {
        if (!soap->body) {
            write_indent(soap);
            if (soap->error)
                return nullptr;
        }
        soap->body = 0;
    }
    if (soap->mode & SOAP_XML_DEFAULTNS) {
        const char *colon = strchr(tag, ':');
        if (colon) {
            tag = colon + 1;
            soap_pop_namespace(soap);
        }
    }
    return tag;
}

int soap_element_end_out(struct soap *soap, const char *tag)
{
    if (*tag == '-')
        return SOAP_OK;
    if ((soap->mode & TAG_MODES) && !(tag = end_tag_modes(soap, tag)))
        return soap->error;
    if (soap->level)
        soap->level--;
    return out3(soap, "</", 2, tag, strlen(tag), ">", 1);
}

int soap_element_nil(struct soap *soap, const char *tag)
{
    if (soap_element(soap, tag, -1, nullptr) || soap_attribute(soap, "xsi:nil", "true"))
        return soap->error;
    return soap_element_start_end_out(soap, tag);
}

int soap_element_null(struct soap *soap, const char *tag, int id, const char *type)
{
    struct soap_attribute *tp = soap->attributes;
    while (tp && !tp->visible)
        tp = tp->next;
    if (!tp && !(soap->version == 2 && soap->position > 0) && id <= 0 && !(soap->mode & SOAP_XML_NIL)) {
        /* an absent optional value leaves no trace */
        soap->mustUnderstand = 0;
        soap->position = 0;
        soap->null = 1;
        return SOAP_OK;
    }
    if (soap_element(soap, tag, id, type))
        return soap->error;
    if (!tp && soap_attribute(soap, "xsi:nil", "true"))
        return soap->error;
    return soap_element_start_end_out(soap, tag);
}

int soap_element_href(struct soap *soap, const char *tag, int id, const char *attribute, const char *value)
{
    if (soap_element(soap, tag, id, nullptr) || soap_attribute(soap, attribute, value))
        return soap->error;
    return soap_element_start_end_out(soap, tag);
}

int soap_element_ref(struct soap *soap, const char *tag, int id, int href)
{
    char s[16];
    snprintf(s, sizeof(s), "#_%d", href);
    if (soap->version == 2)
        return soap_element_href(soap, tag, id, "SOAP-ENC:ref", s + 1);
    return soap_element_href(soap, tag, id, "href", s);
}

/* soap_element_id for a null pointer, or outside a tree: the pointer table decides. */
static __attribute__((noinline)) int element_id_full(struct soap *soap, const char *tag, int id, const void *p,
                                                      const struct soap_array *a, int n, const char *type, int t)
{
    if (!p) {
        soap_element_null(soap, tag, id, type);
        return -1;
    }
    if (id >= 0)
        return id;
    struct soap_plist *pp = nullptr;
    id = a ? soap_array_pointer_lookup(soap, p, a, n, t, &pp) : soap_pointer_lookup(soap, p, t, &pp);
    if (!id)
        return 0;
    if (soap_is_embedded(soap, pp)) {
        soap_element_ref(soap, tag, 0, id);
        return -1;
    }
    if (soap_is_single(soap, pp))
        return 0;
    soap_set_embedded(soap, pp);
    return id;
}

int soap_element_id(struct soap *soap, const char *tag, int id, const void *p, const struct soap_array *a,
                    int n, const char *type, int t)
{
    if (p && (soap->mode & SOAP_XML_TREE))
        return 0;  /* a tree has neither ids nor references */
    return element_id_full(soap, tag, id, p, a, n, type, t);
}

/* ------------------------------------------------------------------------ */
/* Arrays and RPC result                                                     */
/* ------------------------------------------------------------------------ */

int soap_array_begin_out(struct soap *soap, const char *tag, int id, const char *type, const char *offset)
{
    if (!type || !*type)
        return soap_element_begin_out(soap, tag, id, nullptr);
    if (soap_element(soap, tag, id, "SOAP-ENC:Array"))
        return soap->error;
    if (soap->version == 2) {
        const char *s = strrchr(type, '[');
        if (!s) {
            if (soap_attribute(soap, "SOAP-ENC:itemType", type))
                return soap->error;
        } else if ((size_t)(s - type) < SOAP_TAGLEN) {
            char item[SOAP_TAGLEN];
            memcpy(item, type, s - type);
            item[s - type] = '\0';
            if (soap_attribute(soap, "SOAP-ENC:itemType", item) ||
                soap_attribute(soap, "SOAP-ENC:arraySize", s + 1))
                return soap->error;
        }
    } else {
        if (offset && soap_attribute(soap, "SOAP-ENC:offset", offset))
            return soap->error;
        if (soap_attribute(soap, "SOAP-ENC:arrayType", type))
            return soap->error;
    }
    if (soap->mode & SOAP_XML_CANONICAL)
        soap_utilize_ns(soap, type);
    return soap_element_start_end_out(soap, nullptr);
}

int soap_element_result(struct soap *soap, const char *tag)
{
    if (soap->version != 2 || !soap->encodingStyle)
        return SOAP_OK;
    if (soap_element(soap, "SOAP-RPC:result", 0, nullptr) ||
        soap_attribute(soap, "xmlns:SOAP-RPC", rpc12_ns) || soap_element_start_end_out(soap, nullptr) ||
        soap_string_out(soap, tag, 0))
        return soap->error;
    return soap_element_end_out(soap, "SOAP-RPC:result");
}

/* Appends to a fixed field, never past its end. */
static void field_printf(char *field, size_t *k, const char *fmt, int v)
{
    if (*k >= SOAP_TAGLEN - 1)
        return;
    int r = snprintf(field + *k, SOAP_TAGLEN - *k, fmt, v);
    if (r > 0)
        *k += (size_t)r < SOAP_TAGLEN - *k ? (size_t)r : SOAP_TAGLEN - 1 - *k;
}

const char *soap_putsizesoffsets(struct soap *soap, const char *type, const int *size, const int *offset,
                                 int dim)
{
    if (!type)
        return nullptr;
    char buf[SOAP_TAGLEN];
    size_t k = 0;
    /* the type may be the field itself: build aside, then copy */
    size_t tl = strlen(type);
    if (tl > SOAP_TAGLEN - 1)
        tl = SOAP_TAGLEN - 1;
    memcpy(buf, type, tl);
    k = tl;
    buf[k] = '\0';
    const bool v2 = soap->version == 2;
    for (int i = 0; i < dim; i++) {
        int v = size ? size[i] : 0;
        if (offset)
            v += offset[i];
        field_printf(buf, &k, i ? (v2 ? " %d" : ",%d") : "[%d", v);
    }
    if (dim <= 0 && k < SOAP_TAGLEN - 1) {
        buf[k++] = '[';
        buf[k] = '\0';
    }
    if (!v2 && k < SOAP_TAGLEN - 1) {
        buf[k++] = ']';
        buf[k] = '\0';
    }
    memcpy(soap->type, buf, k + 1);
    return soap->type;
}

const char *soap_putsizes(struct soap *soap, const char *type, const int *size, int dim)
{
    return soap_putsizesoffsets(soap, type, size, nullptr, dim);
}

const char *soap_putsize(struct soap *soap, const char *type, int size)
{
    return soap_putsizes(soap, type, &size, 1);
}

const char *soap_putpositions(struct soap *soap, int dim, const int *pos)
{
    size_t k = 0;
    soap->arrayOffset[0] = '\0';
    for (int i = 0; i < dim; i++)
        field_printf(soap->arrayOffset, &k, i ? ",%d" : "[%d", pos[i]);
    if (dim <= 0 && k < SOAP_TAGLEN - 1) {
        soap->arrayOffset[k++] = '[';
    }
    if (k < SOAP_TAGLEN - 1)
        soap->arrayOffset[k++] = ']';
    soap->arrayOffset[k] = '\0';
    return soap->arrayOffset;
}

const char *soap_putposition(struct soap *soap, int i)
{
    return soap_putpositions(soap, 1, &i);
}

/* ------------------------------------------------------------------------ */
/* Whole elements from strings                                               */
/* ------------------------------------------------------------------------ */

int soap_outstring(struct soap *soap, const char *tag, int id, char *const *p, const char *type, int t)
{
    const char *s = p ? *p : nullptr;
    id = soap_element_id(soap, tag, id, s, nullptr, 0, type, t);
    if (id < 0)
        return soap->error;
    if (!*s && (soap->mode & SOAP_C_NILSTRING))
        return soap_element_null(soap, tag, id, type);
    if (soap_element_begin_out(soap, tag, id, type) || soap_string_out(soap, s, 0))
        return soap->error;
    return soap_element_end_out(soap, tag);
}

int soap_outwstring(struct soap *soap, const char *tag, int id, wchar_t *const *p, const char *type, int t)
{
    const wchar_t *s = p ? *p : nullptr;
    id = soap_element_id(soap, tag, id, s, nullptr, 0, type, t);
    if (id < 0)
        return soap->error;
    if (!*s && (soap->mode & SOAP_C_NILSTRING))
        return soap_element_null(soap, tag, id, type);
    if (soap_element_begin_out(soap, tag, id, type) || soap_wstring_out(soap, s, 0))
        return soap->error;
    return soap_element_end_out(soap, tag);
}

/* Start of a literal element.  *end gets the tag for its end tag, or null
 * for none.  A prefixed tag declares its row's URI as the default namespace. */
static int literal_begin(struct soap *soap, const char *tag, const char *type, const char **end)
{
    *end = nullptr;
    if (!tag || *tag == '-')
        return SOAP_OK;
    const char *colon = strchr(tag, ':');
    if (soap->local_namespaces && colon) {
        size_t n = colon - tag;
        const char *uri = nullptr;
        for (const struct Namespace *p = soap->local_namespaces; p->id; p++) {
            if (!strncmp(p->id, tag, n) && p->id[n] == '\0') {
                uri = p->ns;
                break;
            }
        }
        if (soap_element(soap, colon + 1, 0, type) || soap_attribute(soap, "xmlns", uri ? uri : "") ||
            soap_element_start_end_out(soap, nullptr))
            return soap->error;
        *end = colon + 1;
        return SOAP_OK;
    }
    if (soap_element_begin_out(soap, tag, 0, type))
        return soap->error;
    *end = tag;
    return SOAP_OK;
}

int soap_outliteral(struct soap *soap, const char *tag, char *const *p, const char *type)
{
    const char *end;
    if (literal_begin(soap, tag, type, &end))
        return soap->error;
    if (p && *p && soap_send(soap, *p))
        return soap->error;
    return end ? soap_element_end_out(soap, end) : SOAP_OK;
}

int soap_outwliteral(struct soap *soap, const char *tag, wchar_t *const *p, const char *type)
{
    const char *end;
    if (literal_begin(soap, tag, type, &end))
        return soap->error;
    if (p && *p) {
        for (const wchar_t *s = *p; *s; s++)
            if (soap_pututf8(soap, (unsigned long)(uint32_t)*s))
                return soap->error;
    }
    return end ? soap_element_end_out(soap, end) : SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Attachment references                                                     */
/* ------------------------------------------------------------------------ */

int soap_attachment(struct soap *soap, const char *tag, int id, const void *p, const struct soap_array *a,
                    const char *aid, const char *atype, const char *aoptions, int n, const char *type, int t)
{
    if (!p || !a || !a->__ptr || (!aid && !atype))
        return soap_element_id(soap, tag, id, p, a, n, type, t);
    struct soap_plist *pp = nullptr;
    int i = soap_array_pointer_lookup(soap, p, a, n, t, &pp);
    if (!i) {
        i = soap_pointer_enter(soap, p, a, n, t, &pp);
        if (!i) {
            soap->error = SOAP_EOM;
            return -1;
        }
    }
    if (id <= 0)
        id = pp->id;
    if (!aid) {
        char s[SOAP_TAGLEN];
        snprintf(s, sizeof(s), soap->dime_id_format, id);
        aid = soap_strdup(soap, s);
        if (!aid) {
            soap->error = SOAP_EOM;
            return -1;
        }
    }
    const bool mtom = (soap->mode & SOAP_ENC_MTOM) != 0;
    if (mtom && strcmp(tag, "xop:Include")) {
        if (soap_element_begin_out(soap, tag, 0, type) ||
            soap_element_href(soap, "xop:Include", 0, xop_include_href, aid) || soap_element_end_out(soap, tag))
            return -1;
    } else if (soap_element_href(soap, tag, 0, "href", aid)) {
        return -1;
    }
    if (!(soap->mode & SOAP_IO_LENGTH)) {
        pp->mark2 = 3;
        return -1;
    }
    if (pp->mark1 == 3)
        return -1;  /* one attachment, however often referenced */
    struct soap_multipart *content =
        static_cast<struct soap_multipart *>(soap_malloc(soap, sizeof(struct soap_multipart)));
    if (!content) {
        soap->error = SOAP_EOM;
        return -1;
    }
    memset(content, 0, sizeof(*content));
    if (!strncmp(aid, "cid:", 4)) {
        if (mtom) {
            size_t l = strlen(aid + 4);
            char *s = static_cast<char *>(soap_malloc(soap, l + 3));
            if (!s) {
                soap->error = SOAP_EOM;
                return -1;
            }
            s[0] = '<';
            memcpy(s + 1, aid + 4, l);
            s[l + 1] = '>';
            s[l + 2] = '\0';
            content->id = s;
        } else {
            content->id = aid + 4;
        }
    } else {
        content->id = aid;
    }
    content->ptr = static_cast<char *>(a->__ptr);
    content->size = a->__size > 0 ? (size_t)a->__size : 0;
    content->type = atype;
    content->options = aoptions;
    content->encoding = 3; /* binary */
    struct soap_multipart **first = mtom ? &soap->mime.first : &soap->dime.first;
    struct soap_multipart **last = mtom ? &soap->mime.last : &soap->dime.last;
    if (*last)
        (*last)->next = content;
    else
        *first = content;
    *last = content;
    pp->mark1 = 3;
    return -1;
}
