/* reader.cpp -- the XML pull reader: bytes with one symbol of look-ahead,
 * symbols (markup, entities, CDATA), elements (peek, begin, end, skip) and the
 * text readers (strings, literals, base64, hex, simple values).
 * Not here: refilling the buffer (framing.cpp), namespace matching
 * (namespaces.cpp), the id table (references.cpp), number conversion (values.cpp).
 */
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "soapengine.h"

#define SOAP_FILE_TAG "soapengine"
#define MALLOC(soap, n) soap_track_malloc((soap), SOAP_FILE_TAG, __LINE__, (n))
#define FREE(soap, p) soap_track_free((soap), SOAP_FILE_TAG, __LINE__, (p))

static const char SOAP11_NEXT_ACTOR[] = "http://schemas.xmlsoap.org/soap/actor/next";
static const char SOAP12_NEXT_ROLE[] = "http://www.w3.org/2003/05/soap-envelope/role/next";

/* A character from an entity carries bit 31; markup symbols are -1 to -6. */
static inline bool is_entity(soap_wchar c)
{
    return c < SOAP_AP;
}

/* ------------------------------------------------------------------------ */
/* Byte classes                                                              */
/* ------------------------------------------------------------------------ */

/* One table answers "may this byte be copied as part of a run?" for the
 * symbol layer and the attribute values; the other loops scan for byte sets
 * (below). */
enum : unsigned char {
    K_MARKUP = 1,    /* turned into a symbol by soap_get: < > & " ' */
    K_QVAL = 2,      /* stops a quoted attribute value: < & " ' */
    K_UVAL = 4,      /* stops an unquoted attribute value: < & > blank tab CR LF / */
};

struct byte_classes {
    unsigned char k[256];
    constexpr byte_classes() : k()
    {
        for (int c = 0; c < 256; c++) {
            unsigned char v = 0;
            if (c == '<' || c == '>' || c == '&' || c == '"' || c == '\'')
                v |= K_MARKUP;
            if (c == '<' || c == '&' || c == '"' || c == '\'')
                v |= K_QVAL;
            if (c == '<' || c == '&' || c == '>' || c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '/')
                v |= K_UVAL;
            k[c] = v;
        }
    }
};
static constexpr byte_classes CLS;

/* The scanning loops look for the first byte of a small set: sixteen bytes at a time with SSE2
 * (every x86-64 has it), else eight at a time in a plain word, each test exact for "some byte
 * is", then byte by byte for the rest. */
enum : unsigned {
    S_LT = 1, S_AMP = 2, S_SLASH = 4, S_NUL = 8, S_HIGH = 16, S_BLANK = 32, S_GT = 64, S_EQ = 128
};

template <unsigned set>
static inline bool in_set(unsigned char b)
{
    return ((set & S_LT) && b == '<') || ((set & S_AMP) && b == '&') || ((set & S_SLASH) && b == '/') ||
           ((set & S_NUL) && b == 0) || ((set & S_HIGH) && b >= 128) || ((set & S_BLANK) && b <= 32) ||
           ((set & S_GT) && b == '>') || ((set & S_EQ) && b == '=');
}

#ifdef __SSE2__
template <unsigned set>
static inline const unsigned char *scan_set(const unsigned char *q, const unsigned char *e)
{
    for (; e - q >= 16; q += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(q));
        __m128i m = _mm_setzero_si128();
        if (set & S_LT)
            m = _mm_or_si128(m, _mm_cmpeq_epi8(v, _mm_set1_epi8('<')));
        if (set & S_AMP)
            m = _mm_or_si128(m, _mm_cmpeq_epi8(v, _mm_set1_epi8('&')));
        if (set & S_SLASH)
            m = _mm_or_si128(m, _mm_cmpeq_epi8(v, _mm_set1_epi8('/')));
        if (set & S_NUL)
            m = _mm_or_si128(m, _mm_cmpeq_epi8(v, _mm_setzero_si128()));
        if (set & S_GT)
            m = _mm_or_si128(m, _mm_cmpeq_epi8(v, _mm_set1_epi8('>')));
        if (set & S_EQ)
            m = _mm_or_si128(m, _mm_cmpeq_epi8(v, _mm_set1_epi8('=')));
        if (set & S_BLANK) /* at most 32, unsigned */
            m = _mm_or_si128(m, _mm_cmpeq_epi8(_mm_max_epu8(v, _mm_set1_epi8(32)), _mm_set1_epi8(32)));
        unsigned bits = (unsigned)_mm_movemask_epi8(m);
        if (set & S_HIGH)
            bits |= (unsigned)_mm_movemask_epi8(v);
        if (bits)
            return q + __builtin_ctz(bits);
    }
    while (q < e && !in_set<set>(*q))
        q++;
    return q;
}
#else
static const uint64_t ONES = 0x0101010101010101ull, HIGHS = 0x8080808080808080ull;

static inline uint64_t has_byte(uint64_t x, unsigned char b)
{
    uint64_t v = x ^ (ONES * b);
    return (v - ONES) & ~v & HIGHS;
}

template <unsigned set>
static inline const unsigned char *scan_set(const unsigned char *q, const unsigned char *e)
{
    for (; e - q >= 8; q += 8) {
        uint64_t x;
        memcpy(&x, q, sizeof x);
        uint64_t z = 0;
        if (set & S_LT)
            z |= has_byte(x, '<');
        if (set & S_AMP)
            z |= has_byte(x, '&');
        if (set & S_SLASH)
            z |= has_byte(x, '/');
        if (set & S_NUL)
            z |= has_byte(x, 0);
        if (set & S_GT)
            z |= has_byte(x, '>');
        if (set & S_EQ)
            z |= has_byte(x, '=');
        if (set & S_BLANK)
            z |= (x - ONES * 33) & ~x & HIGHS;
        if (set & S_HIGH)
            z |= x & HIGHS;
        if (z)
            break;
    }
    while (q < e && !in_set<set>(*q))
        q++;
    return q;
}
#endif

/* The byte classes of the loops as sets. */
static const unsigned SET_TAGSTOP = S_BLANK | S_GT | S_SLASH;
static const unsigned SET_ATTRSTOP = SET_TAGSTOP | S_EQ;
static const unsigned SET_STR = S_LT | S_AMP | S_SLASH;

/* At '&' in the buffer: one of the five predefined entities whole in it is taken, and given as
 * the symbol layer gives it; else 0 and nothing is taken. */
static soap_wchar predefined_entity(struct soap *soap)
{
    static const struct {
        const char *text;
        unsigned char len, ch;
    } known[] = {{"&amp;", 5, '&'}, {"&lt;", 4, '<'}, {"&gt;", 4, '>'}, {"&quot;", 6, '"'}, {"&apos;", 6, '\''}};
    const char *b = soap->buf + soap->bufidx;
    size_t avail = soap->buflen - soap->bufidx;
    for (const auto &k : known)
        if (avail >= k.len && !memcmp(b, k.text, k.len)) {
            soap->bufidx += k.len;
            return (soap_wchar)((uint32_t)k.ch | (uint32_t)SOAP_ENTITY_BIT);
        }
    return 0;
}

/* "</" whole in the buffer at index i. */
static inline bool end_tag_at(const struct soap *soap, size_t i)
{
    return i + 1 < soap->buflen && soap->buf[i] == '<' && soap->buf[i + 1] == '/';
}

/* Behind '<': a byte that the symbol layer takes as the start of an element name. */
static inline bool starts_name(unsigned char b)
{
    return b > 32 && b != '/' && b != '!' && b != '?' && b != '%';
}

/* ------------------------------------------------------------------------ */
/* Bytes                                                                     */
/* ------------------------------------------------------------------------ */

static soap_wchar refill_byte(struct soap *soap)
{
    if (!soap_recv(soap) && soap->bufidx < soap->buflen)
        return (unsigned char)soap->buf[soap->bufidx++];
    return SOAP_EOF;
}

/* Next byte from the buffer, the look-ahead being known to be empty. */
static inline soap_wchar buf_get(struct soap *soap)
{
    if (soap->bufidx < soap->buflen)
        return (unsigned char)soap->buf[soap->bufidx++];
    return refill_byte(soap);
}

/* soap_getchar without the call. */
static inline soap_wchar raw_get(struct soap *soap)
{
    soap_wchar c = soap->ahead;
    if (c) {
        if (c != SOAP_EOF)
            soap->ahead = 0;
        return c;
    }
    return buf_get(soap);
}

/* The next buffered byte without taking it; refills when the buffer is
 * spent (nothing of it is needed any more).  The look-ahead must be empty. */
static int raw_peek(struct soap *soap)
{
    if (soap->bufidx < soap->buflen)
        return (unsigned char)soap->buf[soap->bufidx];
    if (!soap_recv(soap) && soap->bufidx < soap->buflen)
        return (unsigned char)soap->buf[soap->bufidx];
    return SOAP_EOF;
}

/* Hands back the byte just taken from the buffer.  Used instead of `ahead`
 * where a symbol may still have to go there (the byte behind a '<'). */
static inline void unget_byte(struct soap *soap, soap_wchar c)
{
    if (c != SOAP_EOF && soap->bufidx > 0)
        soap->bufidx--;
}

soap_wchar soap_getchar(struct soap *soap)
{
    return raw_get(soap);
}

/* ------------------------------------------------------------------------ */
/* Growing work buffer                                                       */
/* ------------------------------------------------------------------------ */

int soap_append_lab(struct soap *soap, const char *s, size_t n)
{
    if (soap->labidx + n >= soap->lablen || !soap->labbuf) {
        size_t cap = soap->labbuf ? soap->lablen : SOAP_LABLEN;
        while (soap->labidx + n >= cap) {
            if (cap > SIZE_MAX / 2) {
                cap = 0;
                break;
            }
            cap *= 2;
        }
        char *p = cap ? static_cast<char *>(MALLOC(soap, cap)) : nullptr;
        if (!p) {
            if (soap->labbuf)
                FREE(soap, soap->labbuf);
            soap->labbuf = nullptr;
            soap->lablen = 0;
            soap->labidx = 0;
            return soap->error = SOAP_EOM;
        }
        if (soap->labbuf) {
            if (soap->labidx)
                memcpy(p, soap->labbuf, soap->labidx);
            FREE(soap, soap->labbuf);
        }
        soap->labbuf = p;
        soap->lablen = cap;
    }
    if (s && n) {
        memcpy(soap->labbuf + soap->labidx, s, n);
        soap->labidx += n;
    }
    return SOAP_OK;
}

int soap_set_lab(struct soap *soap, const char *s, size_t n)
{
    soap->labidx = 0;
    return soap_append_lab(soap, s, n);
}

/* soap_append_lab where the bytes fit, without the call. */
static inline int lab_append(struct soap *soap, const char *s, size_t n)
{
    if (soap->labbuf && soap->labidx + n < soap->lablen) {
        memcpy(soap->labbuf + soap->labidx, s, n);
        soap->labidx += n;
        return SOAP_OK;
    }
    return soap_append_lab(soap, s, n);
}

static inline int lab_putc(struct soap *soap, char c)
{
    if (soap->labidx + 1 >= soap->lablen && soap_append_lab(soap, nullptr, 1))
        return SOAP_EOM;
    soap->labbuf[soap->labidx++] = c;
    return SOAP_OK;
}

static inline int lab_puts(struct soap *soap, const char *s)
{
    return soap_append_lab(soap, s, strlen(s));
}

/* Code value as UTF-8, long forms up to six bytes; returns the length. */
static size_t utf8_encode(unsigned long c, char *t)
{
    if (c < 0x80) {
        t[0] = (char)c;
        return 1;
    }
    size_t n;
    if (c < 0x800)
        n = 2;
    else if (c < 0x10000)
        n = 3;
    else if (c < 0x200000)
        n = 4;
    else if (c < 0x4000000)
        n = 5;
    else
        n = 6;
    static const unsigned char lead[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    for (size_t i = n - 1; i > 0; i--) {
        t[i] = (char)(0x80 | (c & 0x3F));
        c >>= 6;
    }
    t[0] = (char)(lead[n] | c);
    return n;
}

/* Stores one character of text in the form the mode asks for. */
static int lab_putcode(struct soap *soap, unsigned long c, bool utf, bool mb)
{
    if (utf) {
        char t[6];
        return soap_append_lab(soap, t, utf8_encode(c, t));
    }
    if (mb && c >= 128) {
        char t[MB_LEN_MAX];
        mbstate_t st;
        memset(&st, 0, sizeof(st));
        size_t k = wcrtomb(t, (wchar_t)c, &st);
        if (k == (size_t)-1 || k == 0)
            return lab_putc(soap, (char)SOAP_UNKNOWN_CHAR);
        return soap_append_lab(soap, t, k);
    }
    return lab_putc(soap, (char)c);
}

/* ------------------------------------------------------------------------ */
/* Symbols                                                                   */
/* ------------------------------------------------------------------------ */

/* The 96 Latin-1 entity names of HTML 4, for 160 to 255 in code order. */
static const char *const html_entities[96] = {
    "nbsp",   "iexcl",  "cent",   "pound",  "curren", "yen",    "brvbar", "sect",   "uml",    "copy",
    "ordf",   "laquo",  "not",    "shy",    "reg",    "macr",   "deg",    "plusmn", "sup2",   "sup3",
    "acute",  "micro",  "para",   "middot", "cedil",  "sup1",   "ordm",   "raquo",  "frac14", "frac12",
    "frac34", "iquest", "Agrave", "Aacute", "Acirc",  "Atilde", "Auml",   "Aring",  "AElig",  "Ccedil",
    "Egrave", "Eacute", "Ecirc",  "Euml",   "Igrave", "Iacute", "Icirc",  "Iuml",   "ETH",    "Ntilde",
    "Ograve", "Oacute", "Ocirc",  "Otilde", "Ouml",   "times",  "Oslash", "Ugrave", "Uacute", "Ucirc",
    "Uuml",   "Yacute", "THORN",  "szlig",  "agrave", "aacute", "acirc",  "atilde", "auml",   "aring",
    "aelig",  "ccedil", "egrave", "eacute", "ecirc",  "euml",   "igrave", "iacute", "icirc",  "iuml",
    "eth",    "ntilde", "ograve", "oacute", "ocirc",  "otilde", "ouml",   "divide", "oslash", "ugrave",
    "uacute", "ucirc",  "uuml",   "yacute", "thorn",  "yuml"};

/* Digits of a character reference; the value saturates so that with bit 31
 * set it can never look like a markup symbol. */
static soap_wchar entity_number(const char *s, int base)
{
    unsigned long v = 0;
    for (;; s++) {
        int d;
        if (*s >= '0' && *s <= '9')
            d = *s - '0';
        else if (base == 16 && *s >= 'a' && *s <= 'f')
            d = *s - 'a' + 10;
        else if (base == 16 && *s >= 'A' && *s <= 'F')
            d = *s - 'A' + 10;
        else
            break;
        v = v * (unsigned long)base + (unsigned long)d;
        if (v > 0x7FFFFFF9UL)
            return SOAP_UNKNOWN_CHAR;
    }
    return (soap_wchar)v;
}

soap_wchar soap_char(struct soap *soap)
{
    char tmp[8];
    int i;
    for (i = 0; i < 7; i++) {
        soap_wchar c = raw_get(soap);
        if (c == ';' || c == SOAP_EOF)
            break;
        tmp[i] = (char)c;
    }
    tmp[i] = '\0';
    if (tmp[0] == '#') {
        if (tmp[1] == 'x' || tmp[1] == 'X')
            return entity_number(tmp + 2, 16);
        return entity_number(tmp + 1, 10);
    }
    if (!strcmp(tmp, "lt"))
        return '<';
    if (!strcmp(tmp, "gt"))
        return '>';
    if (!strcmp(tmp, "amp"))
        return '&';
    if (!strcmp(tmp, "quot"))
        return '"';
    if (!strcmp(tmp, "apos"))
        return '\'';
    for (int k = 0; k < 96; k++)
        if (!strcmp(tmp, html_entities[k]))
            return 160 + k;
    return SOAP_UNKNOWN_CHAR;
}

soap_wchar soap_getpi(struct soap *soap)
{
    char text[64];
    size_t i = 0;
    soap_wchar c;
    while ((c = raw_get(soap)) != SOAP_EOF && c != '?') {
        if (i < sizeof(text) - 1)
            text[i++] = (c >= 0 && c <= 32) ? ' ' : (char)c;
    }
    text[i] = '\0';
    if (!strncmp(text, "xml ", 4)) {
        const char *s = strstr(text, " encoding=");
        if (s && (s[10] == '"' || s[10] == '\'')) {
            s += 11;
            if (!soap_tag_cmp(s, "iso-8859-1*") || !soap_tag_cmp(s, "latin1*"))
                soap->mode |= SOAP_ENC_LATIN;
            else if (!soap_tag_cmp(s, "utf-8*"))
                soap->mode &= ~SOAP_ENC_LATIN;
        }
    }
    if (c != SOAP_EOF)
        c = raw_get(soap);
    return c;
}

soap_wchar soap_get(struct soap *soap)
{
    soap_wchar c = soap->ahead;
    if (c) {
        if (c != SOAP_EOF)
            soap->ahead = 0;
    } else {
        c = buf_get(soap);
    }
    for (;;) {
        if (soap->cdata) {
            if (c != ']')
                return c;
            if (raw_peek(soap) != ']')
                return ']';
            /* "]]": the section ends only at "]]>".  Look without taking
             * while both bytes are buffered; across a refill one ']' has
             * to wait in `ahead`. */
            if (soap->bufidx + 1 < soap->buflen) {
                if (soap->buf[soap->bufidx + 1] != '>')
                    return ']';
                soap->bufidx += 2;
            } else {
                soap->bufidx++;
                if (raw_peek(soap) != '>') {
                    soap->ahead = ']';
                    return ']';
                }
                soap->bufidx++;
            }
            soap->cdata = 0;
            c = buf_get(soap);
        }
        switch (c) {
        case '\'':
            return SOAP_AP;
        case '"':
            return SOAP_QT;
        case '>':
            return SOAP_GT;
        case '&':
            return soap_char(soap) | SOAP_ENTITY_BIT;
        case '<':
            break;
        default:
            return c;
        }
        do
            c = buf_get(soap);
        while (soap_blank(c));
        if (c == '/')
            return SOAP_TT;
        if (c == '!') {
            c = buf_get(soap);
            if (c == '[') {
                do
                    c = buf_get(soap);
                while (c != SOAP_EOF && c != '[');
                soap->cdata = 1;
                c = buf_get(soap);
                continue;
            }
            if (c == '-') {
                c = buf_get(soap);
                if (c == '-') {
                    /* comment: to the next "--" */
                    soap_wchar prev = 0;
                    for (;;) {
                        c = buf_get(soap);
                        if (c == SOAP_EOF || (c == '-' && prev == '-'))
                            break;
                        prev = c;
                    }
                    if (c != SOAP_EOF)
                        c = buf_get(soap);
                }
            }
        } else if (c == '%') {
            c = buf_get(soap);
        } else if (c == '?') {
            c = soap_getpi(soap);
        } else {
            unget_byte(soap, c);
            return SOAP_LT;
        }
        /* to the matching '>', counting nested '<' (a DOCTYPE's subset) */
        for (long depth = 1; c != SOAP_EOF; c = buf_get(soap)) {
            if (c == '<')
                depth++;
            else if (c == '>' && !--depth)
                break;
        }
        if (c == SOAP_EOF)
            return SOAP_EOF;
        c = buf_get(soap);
    }
}

/* soap_get with the common case inline: a plain byte in the buffer. */
static inline soap_wchar get_sym(struct soap *soap)
{
    if (!soap->ahead && !soap->cdata && soap->bufidx < soap->buflen) {
        unsigned char b = (unsigned char)soap->buf[soap->bufidx];
        if (!(CLS.k[b] & K_MARKUP)) {
            soap->bufidx++;
            return b;
        }
    }
    return soap_get(soap);
}

/* The rest of a UTF-8 sequence behind lead byte c (128 to 255), read raw.
 * Continuation bytes aren't checked; a cut sequence takes 63 for what is
 * missing.  A following byte below 128 stays in the input. */
static soap_wchar utf8_tail(struct soap *soap, soap_wchar c)
{
    soap_wchar c1 = raw_get(soap);
    if (c1 < 128) {
        unget_byte(soap, c1);
        return c;
    }
    c1 &= 0x3F;
    if (c < 0xE0)
        return ((c & 0x1F) << 6) | c1;
    soap_wchar c2 = raw_get(soap) & 0x3F;
    if (c < 0xF0)
        return ((c & 0x0F) << 12) | (c1 << 6) | c2;
    soap_wchar c3 = raw_get(soap) & 0x3F;
    if (c < 0xF8)
        return ((c & 0x07) << 18) | (c1 << 12) | (c2 << 6) | c3;
    soap_wchar c4 = raw_get(soap) & 0x3F;
    if (c < 0xFC)
        return ((c & 0x03) << 24) | (c1 << 18) | (c2 << 12) | (c3 << 6) | c4;
    soap_wchar c5 = raw_get(soap) & 0x3F;
    return (soap_wchar)(((unsigned long)(c & 0x01) << 30) | ((unsigned long)c1 << 24) | ((unsigned long)c2 << 18) |
                        ((unsigned long)c3 << 12) | ((unsigned long)c4 << 6) | (unsigned long)c5);
}

soap_wchar soap_getutf8(struct soap *soap)
{
    soap_wchar c = get_sym(soap);
    if (c < 128 || c > 255 || (soap->mode & SOAP_ENC_LATIN))
        return c;
    return utf8_tail(soap, c);
}

/* ------------------------------------------------------------------------ */
/* Names                                                                     */
/* ------------------------------------------------------------------------ */

/* Stores a name that begins with byte c into dst (at most cap - 1 bytes, the
 * rest being dropped) up to a byte of the set `stop`; returns that byte. */
template <unsigned stop>
static soap_wchar read_name(struct soap *soap, soap_wchar c, char *dst, size_t cap)
{
    size_t i = 0;
    while (c >= 0 && (c > 255 || !in_set<stop>((unsigned char)c))) {
        if (i < cap - 1)
            dst[i++] = (char)c;
        if (!soap->ahead) {
            const unsigned char *p = reinterpret_cast<const unsigned char *>(soap->buf) + soap->bufidx;
            const unsigned char *e = reinterpret_cast<const unsigned char *>(soap->buf) + soap->buflen;
            const unsigned char *q = scan_set<stop>(p, e);
            size_t run = (size_t)(q - p);
            size_t k = run < cap - 1 - i ? run : cap - 1 - i;
            memcpy(dst + i, p, k);
            i += k;
            soap->bufidx += run;
        }
        c = raw_get(soap);
    }
    dst[i] = '\0';
    return c;
}

static inline soap_wchar skip_raw_blanks(struct soap *soap, soap_wchar c)
{
    while (soap_blank(c))
        c = raw_get(soap);
    return c;
}

/* ------------------------------------------------------------------------ */
/* Attribute values                                                          */
/* ------------------------------------------------------------------------ */

int soap_getattrval(struct soap *soap, char *s, size_t n, soap_wchar d)
{
    if (d == '"')
        d = SOAP_QT;
    else if (d == '\'')
        d = SOAP_AP;
    const unsigned char stop = (d == SOAP_QT || d == SOAP_AP) ? K_QVAL : (d == ' ' ? K_UVAL : K_QVAL);
    size_t i = 0;
    if (!n)
        return soap->error = SOAP_EOM;
    for (;;) {
        if (!soap->ahead && !soap->cdata) {
            const unsigned char *p = reinterpret_cast<const unsigned char *>(soap->buf) + soap->bufidx;
            const unsigned char *e = reinterpret_cast<const unsigned char *>(soap->buf) + soap->buflen;
            size_t room = n - 1 - i;
            if ((size_t)(e - p) > room)
                e = p + room;
            const unsigned char *q = p;
            while (q < e && !(CLS.k[*q] & stop))
                q++;
            size_t run = (size_t)(q - p);
            memcpy(s + i, p, run);
            i += run;
            soap->bufidx += run;
        }
        if (i + 1 >= n) {
            s[i] = '\0';
            return soap->error = SOAP_EOM;  /* full: the caller goes on in labbuf */
        }
        soap_wchar c = soap_get(soap);
        switch (c) {
        case SOAP_TT:
            s[i++] = '<';
            soap->ahead = '/';
            break;
        case SOAP_LT:
            s[i++] = '<';
            break;
        case SOAP_GT:
            if (d == ' ') {
                soap->ahead = c;
                s[i] = '\0';
                return SOAP_OK;
            }
            s[i++] = '>';
            break;
        case SOAP_QT:
        case SOAP_AP:
            if (d == c) {
                s[i] = '\0';
                return SOAP_OK;
            }
            s[i++] = c == SOAP_QT ? '"' : '\'';
            break;
        case ' ':
        case '\t':
        case '\r':
        case '\n':
        case '/':
            if (d == ' ') {
                soap->ahead = c;
                s[i] = '\0';
                return SOAP_OK;
            }
            s[i++] = (char)c;
            break;
        case SOAP_EOF:
            s[i] = '\0';
            if (!soap->error)
                soap->error = SOAP_EOF;
            return soap->error;
        default:
            s[i++] = (char)c;
        }
    }
}

/* Reads an attribute value into the entry's buffer, continuing in labbuf when
 * it doesn't fit and then giving the entry a buffer of the right size. */
static int read_attr_value(struct soap *soap, struct soap_attribute *tp, soap_wchar d)
{
    /* A full buffer reports 20 through `error`; that report is taken back
     * each time, so that an earlier error stays for the end-of-input case. */
    const int err = soap->error;
    size_t len = 0;
    if (tp->value && tp->size > 1) {
        int r = soap_getattrval(soap, tp->value, tp->size, d);
        if (r != SOAP_EOM)
            return r;
        soap->error = err;
        len = strlen(tp->value);
    }
    if (soap_set_lab(soap, tp->value, len))
        return SOAP_EOM;
    size_t first = soap->lablen;
    int r;
    for (;;) {
        r = soap_getattrval(soap, soap->labbuf + soap->labidx, soap->lablen - soap->labidx, d);
        soap->labidx += strlen(soap->labbuf + soap->labidx);
        if (r != SOAP_EOM)
            break;
        soap->error = err;
        if (soap_append_lab(soap, nullptr, soap->lablen - soap->labidx))
            return SOAP_EOM;  /* real exhaustion: labbuf is gone */
    }
    if (r)
        return r;
    size_t size = soap->labidx + 1;
    if (size < SOAP_LABLEN)
        size = SOAP_LABLEN;
    if (soap->lablen > first && soap->lablen > size)
        size = soap->lablen;
    char *v = static_cast<char *>(MALLOC(soap, size));
    if (!v)
        return soap->error = SOAP_EOM;
    memcpy(v, soap->labbuf, soap->labidx);
    v[soap->labidx] = '\0';
    if (tp->value)
        FREE(soap, tp->value);
    tp->value = v;
    tp->size = size;
    return SOAP_OK;
}

/* Finds or makes the input attribute entry of that name. */
static struct soap_attribute *attr_entry(struct soap *soap, const char *name)
{
    struct soap_attribute *tp, *last = nullptr;
    for (tp = soap->attributes; tp; tp = tp->next) {
        /* (names are never empty: the second byte is there when the first ones are equal) */
        if (tp->name[0] == name[0] && tp->name[1] == name[1] && !strcmp(tp->name, name))
            return tp;
        last = tp;
    }
    size_t n = strlen(name);
    tp = static_cast<struct soap_attribute *>(MALLOC(soap, sizeof(struct soap_attribute) + n));
    if (!tp) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    memcpy(tp->name, name, n + 1);
    tp->value = nullptr;
    tp->size = 0;
    tp->ns = nullptr;
    tp->visible = 0;
    tp->flag = 0;
    /* prefixed names go behind the others */
    if (last && strchr(name, ':')) {
        tp->next = nullptr;
        last->next = tp;
    } else {
        tp->next = soap->attributes;
        soap->attributes = tp;
    }
    return tp;
}

/* ------------------------------------------------------------------------ */
/* Elements                                                                  */
/* ------------------------------------------------------------------------ */

static void copy_field(char *dst, const char *src, size_t n)
{
    if (n > SOAP_TAGLEN - 1)
        n = SOAP_TAGLEN - 1;
    memcpy(dst, src, n);
    dst[n] = '\0';
}

static void copy_ref(char *dst, const char *src)
{
    dst[0] = '#';
    size_t n = strlen(src);
    if (n > SOAP_TAGLEN - 2)
        n = SOAP_TAGLEN - 2;
    memcpy(dst + 1, src, n);
    dst[n + 1] = '\0';
}

static inline bool is_true(const char *v)
{
    return !strcmp(v, "1") || !strcmp(v, "true");
}

static inline bool named(struct soap *soap, const char *name, const char *pattern)
{
    return !soap_match_tag(soap, name, pattern);
}

/* The attributes that the engine itself reads, by their local name first so
 * that an attribute nobody reads costs one string switch. */
static void interpret_attributes(struct soap *soap)
{
    const short version = soap->version;
    for (struct soap_attribute *tp = soap->attributes; tp; tp = tp->next) {
        if (tp->visible != 2 || !tp->value)
            continue;
        const char *name = tp->name;
        const char *v = tp->value;
        const char *colon = strchr(name, ':');
        const char *local = colon ? colon + 1 : name;
        switch (local[0]) {
        case 'i':
            if (!colon && !strcmp(name, "id")) {
                if ((version > 0 && !(soap->mode & SOAP_XML_TREE)) || (soap->mode & SOAP_XML_GRAPH))
                    copy_ref(soap->id, v);
            } else if (version == 2 && !strcmp(local, "itemType") && named(soap, name, "SOAP-ENC:itemType")) {
                copy_field(soap->arrayType, v, strlen(v));
            }
            break;
        case 'h':
            if (!colon && !strcmp(name, "href") &&
                (version == 1 || (soap->mode & (SOAP_XML_GRAPH | SOAP_ENC_MTOM | SOAP_ENC_DIME))))
                copy_field(soap->href, v, strlen(v));
            break;
        case 't':
            if (!strcmp(local, "type") && named(soap, name, "xsi:type"))
                copy_field(soap->type, v, strlen(v));
            break;
        case 'n':
            if ((!strcmp(local, "nil") && named(soap, name, "xsi:nil")) ||
                (!strcmp(local, "null") && named(soap, name, "xsi:null"))) {
                if (is_true(v))
                    soap->null = 1;
            }
            break;
        case 'a':
            if (version == 1 && !strcmp(local, "arrayType") && named(soap, name, "SOAP-ENC:arrayType")) {
                const char *b = strrchr(v, '[');
                if (b && (size_t)(b - v) < SOAP_TAGLEN) {
                    copy_field(soap->arrayType, v, (size_t)(b - v));
                    copy_field(soap->arraySize, b, strlen(b));
                } else {
                    copy_field(soap->arrayType, v, strlen(v));
                }
            } else if (version == 2 && !strcmp(local, "arraySize") && named(soap, name, "SOAP-ENC:arraySize")) {
                copy_field(soap->arraySize, v, strlen(v));
            } else if (version == 1 && !strcmp(local, "actor") && named(soap, name, "SOAP-ENV:actor")) {
                if (!(soap->actor && !strcmp(v, soap->actor)) && strcmp(v, SOAP11_NEXT_ACTOR))
                    soap->other = 1;
            }
            break;
        case 'o':
            if (version == 1 && !strcmp(local, "offset") && named(soap, name, "SOAP-ENC:offset"))
                copy_field(soap->arrayOffset, v, strlen(v));
            break;
        case 'p':
            if (version == 1 && !strcmp(local, "position") && named(soap, name, "SOAP-ENC:position"))
                soap->position = (short)soap_getposition(v, soap->positions);
            break;
        case 'r':
            if (version == 1 && !strcmp(local, "root") && named(soap, name, "SOAP-ENC:root")) {
                soap->root = is_true(v) ? 1 : 0;
            } else if (version == 2 && !strcmp(local, "ref") &&
                       (!colon || named(soap, name, "SOAP-ENC:ref"))) {
                copy_ref(soap->href, v);
            } else if (version == 2 && !strcmp(local, "role") && named(soap, name, "SOAP-ENV:role")) {
                if (!(soap->actor && !strcmp(v, soap->actor)) && strcmp(v, SOAP12_NEXT_ROLE))
                    soap->other = 1;
            } else if (version == 0 && !strcmp(local, "required") && named(soap, name, "wsdl:required")) {
                if (!strcmp(v, "true"))
                    soap->mustUnderstand = 1;
            }
            break;
        case 'm':
            if ((version == 1 || version == 2) && !strcmp(local, "mustUnderstand") &&
                named(soap, name, "SOAP-ENV:mustUnderstand") && is_true(v))
                soap->mustUnderstand = 1;
            break;
        default:
            break;
        }
    }
}

int soap_peek_element(struct soap *soap)
{
    if (soap->peeked) {
        if (*soap->tag)
            return SOAP_OK;
        return soap->error = SOAP_NO_TAG;
    }
    soap->peeked = 1;
    soap->peekserial++;
    soap->mustUnderstand = 0;
    soap->null = 0;
    soap->other = 0;
    soap->position = 0;
    soap->root = -1;
    soap->tag[0] = '\0';
    soap->id[0] = '\0';
    soap->href[0] = '\0';
    soap->type[0] = '\0';
    soap->arrayType[0] = '\0';
    soap->arraySize[0] = '\0';
    soap->arrayOffset[0] = '\0';

    /* byte order mark */
    if (!soap->ahead) {
        int b = raw_peek(soap);
        if (b == 0xEF) {
            soap->bufidx++;
            if (raw_peek(soap) == 0xBB) {
                soap->bufidx++;
                soap_wchar b3 = buf_get(soap);
                if (b3 == 0xBF)
                    soap->mode &= ~SOAP_ENC_LATIN;
                else
                    soap->ahead = b3 == SOAP_EOF ? SOAP_EOF : (0xFEC0 | b3);
            } else {
                soap->ahead = 0xEF;
            }
        } else if (b == 0xFE || b == 0xFF) {
            soap->bufidx++;
            int b2 = raw_peek(soap);
            if ((b == 0xFE && b2 == 0xFF) || (b == 0xFF && b2 == 0xFE))
                return soap->error = SOAP_UTF_ERROR;
            soap->ahead = b;
        }
    }

    soap_wchar c;
    if (!soap->ahead && !soap->cdata && soap->bufidx + 1 < soap->buflen && soap->buf[soap->bufidx] == '<' &&
        starts_name((unsigned char)soap->buf[soap->bufidx + 1])) {
        /* a start tag right here: what the symbol layer would make of it */
        soap->bufidx++;
        c = SOAP_LT;
    } else {
        do
            c = get_sym(soap);
        while (soap_blank(c));
    }
    if (c != SOAP_LT) {
        if (c == SOAP_EOF) {
            if (!soap->error)
                soap->error = SOAP_EOF;
            return soap->error;
        }
        /* a text byte goes back marked, so that it isn't taken for markup again */
        soap->ahead = c >= 0 ? (soap_wchar)((uint32_t)c | (uint32_t)SOAP_ENTITY_BIT) : c;
        return soap->error = SOAP_NO_TAG;
    }

    c = skip_raw_blanks(soap, raw_get(soap));
    c = read_name<SET_TAGSTOP>(soap, c, soap->tag, SOAP_TAGLEN);
    c = skip_raw_blanks(soap, c);

    if (soap->nlist && soap->nlist->level >= soap->level)
        soap_pop_namespace(soap);
    if (soap->attrs_visible) {
        for (struct soap_attribute *tp = soap->attributes; tp; tp = tp->next)
            tp->visible = 0;
        soap->attrs_visible = 0;
    }

    bool attributes = false;
    while (c != '>' && c != '/') {
        attributes = true;
        soap->attrs_visible = 1;
        if (c == SOAP_EOF) {
            if (!soap->error)
                soap->error = SOAP_EOF;
            return soap->error;
        }
        c = read_name<SET_ATTRSTOP>(soap, c, soap->tmpbuf, SOAP_TAGLEN);
        if (!soap->tmpbuf[0])
            return soap->error = SOAP_SYNTAX_ERROR;
        struct soap_attribute *tp = attr_entry(soap, soap->tmpbuf);
        if (!tp)
            return SOAP_EOM;
        c = skip_raw_blanks(soap, c);
        if (c != '=') {
            tp->visible = 1;
            continue;
        }
        do
            c = soap_getutf8(soap);
        while (soap_blank(c));
        soap_wchar d;
        if (c == SOAP_QT || c == SOAP_AP) {
            d = c;
        } else {
            soap->ahead = c;
            d = ' ';
        }
        int r = read_attr_value(soap, tp, d);
        if (r)
            return r;
        c = raw_get(soap);
        if (c == SOAP_GT)
            c = '>';
        c = skip_raw_blanks(soap, c);
        tp->visible = 2;
        if (!strncmp(tp->name, "xmlns", 5) && (!tp->name[5] || tp->name[5] == ':')) {
            if (!soap_push_namespace(soap, tp->name[5] ? tp->name + 6 : "", tp->value))
                return soap->error;
        }
    }
    if (c == '/') {
        soap->body = 0;
        do
            c = raw_get(soap);
        while (soap_blank(c));
    } else {
        soap->body = 1;
    }
    if (attributes)
        interpret_attributes(soap);
    soap->error = SOAP_OK;
    return SOAP_OK;
}

int soap_element_begin_in(struct soap *soap, const char *tag, int nillable, const char *type)
{
    const bool none = tag && *tag == '-';
    if (!(soap->peeked && *soap->tag) && soap_peek_element(soap)) {
        if (soap->error == SOAP_NO_TAG && none)
            soap->error = SOAP_OK;
        else
            return soap->error;
    }
    if (soap->other)
        return soap->error = SOAP_TAG_MISMATCH;
    if (none)
        return SOAP_OK;
    if (!(soap->matched == tag && soap->matchserial == soap->peekserial && soap->matchgen == soap->nsgen)) {
        int r = soap_match_tag(soap, soap->tag, tag);
        if (r)
            return soap->error = r;
        soap->matched = tag;
        soap->matchserial = soap->peekserial;
        soap->matchgen = soap->nsgen;
    }
    soap->peeked = 0;
    if (type && *soap->type && soap_match_tag(soap, soap->type, type))
        return soap->error = SOAP_TYPE;
    if (!nillable && soap->null && (soap->mode & SOAP_XML_STRICT))
        return soap->error = SOAP_NULL;
    if (soap->body)
        soap->level++;
    return SOAP_OK;
}

int soap_element_end_in(struct soap *soap, const char *tag)
{
    if (tag && *tag == '-')
        return SOAP_OK;
    if (soap->error == SOAP_NO_TAG)
        soap->error = SOAP_OK;
    unsigned long n = 0;
    if (soap->peeked) {
        /* a peeked start tag is open unless it was written <x/>, which the
         * peek has read to its end already */
        if (*soap->tag && soap->body)
            n++;
        soap->peeked = 0;
    }
    soap_wchar c;
    for (;;) {
        /* content is dropped: pass over plain bytes in runs */
        if (!soap->ahead && !soap->cdata) {
            const unsigned char *p = reinterpret_cast<const unsigned char *>(soap->buf) + soap->bufidx;
            const unsigned char *e = reinterpret_cast<const unsigned char *>(soap->buf) + soap->buflen;
            const unsigned char *q = scan_set<SET_STR>(p, e);
            soap->bufidx += (size_t)(q - p);
            if (end_tag_at(soap, soap->bufidx)) {
                soap->bufidx += 2;
                c = SOAP_TT;
                goto again;
            }
        }
        c = soap_get(soap);
    again:
        if (c == SOAP_TT) {
            if (!n)
                break;
            n--;
        } else if (c == SOAP_LT) {
            n++;
        } else if (c == '/') {
            c = soap_get(soap);
            if (c == SOAP_GT) {
                if (n)
                    n--;
            } else {
                goto again;
            }
        } else if (c == SOAP_EOF) {
            if (!soap->error)
                soap->error = SOAP_EOF;
            return soap->error;
        }
    }
    c = SOAP_EOF;
    if (tag && !soap->ahead) {
        /* the end tag is mostly written as the caller names it: take it whole */
        size_t k = strlen(tag);
        if (k < SOAP_TAGLEN && soap->buflen - soap->bufidx > k && soap->buf[soap->bufidx + k] == '>' &&
            !memcmp(soap->buf + soap->bufidx, tag, k)) {
            memcpy(soap->tag, tag, k + 1);
            soap->bufidx += k + 1;
            c = '>';
        }
    }
    if (c != '>') {
        c = skip_raw_blanks(soap, raw_get(soap));
        c = read_name<SET_TAGSTOP>(soap, c, soap->tag, SOAP_TAGLEN);
        c = skip_raw_blanks(soap, c);
    }
    if (c != '>') {
        if (c == SOAP_EOF) {
            if (!soap->error)
                soap->error = SOAP_EOF;
            return soap->error;
        }
        return soap->error = SOAP_SYNTAX_ERROR;
    }
    if ((soap->mode & SOAP_XML_STRICT) && tag) {
        soap_pop_namespace(soap);
        if (soap_match_tag(soap, soap->tag, tag))
            return soap->error = SOAP_SYNTAX_ERROR;
    }
    if (soap->level)
        soap->level--;
    return SOAP_OK;
}

const char *soap_attr_value(struct soap *soap, const char *name, int flag)
{
    if (!name)
        return nullptr;
    if (*name == '-')
        return "";
    const int err = soap->error;
    struct soap_attribute *tp;
    for (tp = soap->attributes; tp; tp = tp->next)
        if (tp->visible && !soap_match_tag(soap, tp->name, name))
            break;
    soap->error = err;
    if (tp) {
        if (flag == 2 && (soap->mode & SOAP_XML_STRICT)) {
            soap->error = SOAP_PROHIBITED;
            return nullptr;
        }
        return (tp->visible == 2 && tp->value) ? tp->value : "";
    }
    if (flag == 1 && (soap->mode & SOAP_XML_STRICT)) {
        soap->error = SOAP_REQUIRED;
        return nullptr;
    }
    soap->error = SOAP_OK;
    return nullptr;
}

void soap_revert(struct soap *soap)
{
    if (!soap->peeked) {
        soap->peeked = 1;
        if (soap->body && soap->level)
            soap->level--;
    }
}

void soap_retry(struct soap *soap)
{
    soap->error = SOAP_OK;
    soap_revert(soap);
}

/* Steps of one unwanted element up to its content; *descend tells that its
 * content is to be skipped next. */
static int ignore_start(struct soap *soap, bool *descend)
{
    *descend = false;
    if (soap_peek_element(soap))
        return soap->error;
    if (soap->mustUnderstand && !soap->other)
        return soap->error = SOAP_MUSTUNDERSTAND;
    if ((soap->mode & SOAP_XML_STRICT) && soap->part != SOAP_IN_HEADER)
        return soap->error = SOAP_TAG_MISMATCH;
    if (!soap_match_tag(soap, soap->tag, "SOAP-ENV:"))
        return soap->error = SOAP_TAG_MISMATCH;
    if (*soap->id) {
        /* someone may refer to it: offer it to the frame */
        soap->error = SOAP_OK;
        int t;
        if (soap_getelement(soap, &t))
            return soap->error = SOAP_OK;
    }
    soap->peeked = 0;
    soap->error = soap->fignore ? soap->fignore(soap, soap->tag) : SOAP_OK;
    if (!soap->error && soap->body) {
        soap->level++;
        *descend = true;
    }
    return soap->error;
}

/* Skips one element with all its content.  Nesting is followed with a
 * counter, not by recursion, so that input can't exhaust the stack. */
int soap_ignore_element(struct soap *soap)
{
    unsigned long depth = 0;
    for (;;) {
        bool descend;
        int r = ignore_start(soap, &descend);
        if (!r) {
            if (descend)
                depth++;
            else if (!depth)
                return SOAP_OK;
            continue;
        }
        if (!depth || r != SOAP_NO_TAG)
            return r;
        /* no further child: finish the element at this depth */
        if (soap_element_end_in(soap, nullptr))
            return soap->error;
        if (!--depth)
            return soap->error;
    }
}

/* ------------------------------------------------------------------------ */
/* Simple values                                                             */
/* ------------------------------------------------------------------------ */

const char *soap_value(struct soap *soap)
{
    if (!soap->body)
        return "";
    char *s = soap->tmpbuf;
    size_t i = 0, keep = 0;
    soap_wchar c;
    do
        c = get_sym(soap);
    while (soap_blank(c));
    bool whole = true;
    for (;;) {
        if (c == SOAP_LT || c == SOAP_TT || c == SOAP_EOF)
            break;
        if (i >= SOAP_TAGLEN - 1) {
            whole = false;
            break;
        }
        s[i++] = (char)c;
        if (is_entity(c))
            keep = i;
        if (!soap->ahead && !soap->cdata) {
            const unsigned char *p = reinterpret_cast<const unsigned char *>(soap->buf) + soap->bufidx;
            const unsigned char *e = reinterpret_cast<const unsigned char *>(soap->buf) + soap->buflen;
            if ((size_t)(e - p) > SOAP_TAGLEN - 1 - i)
                e = p + (SOAP_TAGLEN - 1 - i);
            const unsigned char *q = p;
            while (q < e && !(CLS.k[*q] & K_MARKUP))
                q++;
            memcpy(s + i, p, (size_t)(q - p));
            i += (size_t)(q - p);
            soap->bufidx += (size_t)(q - p);
        }
        c = get_sym(soap);
    }
    while (i > keep && (unsigned char)s[i - 1] <= 32)
        i--;
    s[i] = '\0';
    if (whole) {
        soap->ahead = c;
    } else if (soap->mode & SOAP_XML_STRICT) {
        soap->error = SOAP_LENGTH;
        return nullptr;
    }
    return s;
}

int soap_getposition(const char *attr, int *pos)
{
    if (!attr || !*attr)
        return -1;
    const char *s = attr;
    while (*s && (soap_blank((unsigned char)*s) || *s == '['))
        s++;
    int n = 0;
    while (n < SOAP_MAXDIMS) {
        char *end;
        pos[n++] = (int)strtol(s, &end, 10);
        s = end;
        while (*s && soap_blank((unsigned char)*s))
            s++;
        if (*s != ',')
            break;
        s++;
    }
    return n;
}

/* ------------------------------------------------------------------------ */
/* Strings                                                                   */
/* ------------------------------------------------------------------------ */

/* The peeked start tag as text, for readers that take the element itself as
 * content.  tmpbuf bounds it: a longer tag (a long attribute value) is cut at
 * 1023 bytes, in order, and the rest of it is lost. */
static size_t rebuild_start_tag(struct soap *soap)
{
    char *s = soap->tmpbuf;
    const size_t cap = SOAP_TAGLEN - 1;
    size_t i = 0;
    auto put = [&](const char *t, size_t k) {
        if (k > cap - i)
            k = cap - i;
        memcpy(s + i, t, k);
        i += k;
    };
    put("<", 1);
    put(soap->tag, strlen(soap->tag));
    for (struct soap_attribute *tp = soap->attributes; tp; tp = tp->next) {
        if (!tp->visible)
            continue;
        put(" ", 1);
        put(tp->name, strlen(tp->name));
        if (tp->visible == 2 && tp->value) {
            put("=\"", 2);
            put(tp->value, strlen(tp->value));
            put("\"", 1);
        }
    }
    if (!soap->body)
        put("/", 1);
    put(">", 1);
    s[i] = '\0';
    return i;
}

static char *lab_result(struct soap *soap)
{
    char *p = static_cast<char *>(soap_malloc(soap, soap->labidx + 1));
    if (!p)
        return nullptr;
    memcpy(p, soap->labbuf, soap->labidx);
    p[soap->labidx] = '\0';
    return p;
}

/* A symbol left in `ahead` by the symbol layer, at the start of literal
 * reading: entities are written back as entities to keep the text XML. */
static int literal_entity(struct soap *soap, soap_wchar c, bool utf, bool mb)
{
    unsigned long v = (uint32_t)c & 0x7FFFFFFFu;
    switch (v) {
    case '<':
        return lab_puts(soap, "&lt;");
    case '>':
        return lab_puts(soap, "&gt;");
    case '&':
        return lab_puts(soap, "&amp;");
    case '"':
        return lab_puts(soap, "&quot;");
    case '\'':
        return lab_puts(soap, "&apos;");
    default:
        return lab_putcode(soap, v, utf, mb);
    }
}

/* The text is left in labbuf; `copy` hands out a soap_malloc copy of it. */
static char *string_in(struct soap *soap, int flag, long minlen, long maxlen, bool copy)
{
    soap->labidx = 0;
    if (!soap->labbuf && soap_append_lab(soap, nullptr, 0))
        return nullptr;
    long n = 0;  /* open elements inside the text */
    long l = 0;  /* characters read */
    bool rebuilt = false;
    /* A peek that found text, not an element, is answered by reading it. */
    if (soap->peeked && !*soap->tag)
        soap->peeked = 0;
    if (soap->peeked && *soap->tag) {
        size_t k = rebuild_start_tag(soap);
        if (soap_append_lab(soap, soap->tmpbuf, k))
            return nullptr;
        soap->peeked = 0;
        rebuilt = true;
        if (soap->body)
            n = 1;
    }
    const bool utf = (soap->mode & SOAP_C_UTFSTRING) != 0;
    const bool mb = !utf && (soap->mode & SOAP_C_MBSTRING);
    const bool latin = (soap->mode & SOAP_ENC_LATIN) != 0;
    soap_wchar c;
#define COUNT_ONE()                              \
    do {                                         \
        if (++l > maxlen && maxlen >= 0) {       \
            soap->error = SOAP_LENGTH;           \
            return nullptr;                      \
        }                                        \
    } while (0)
    if (flag) {
        for (;;) {
            if (!mb && !soap->ahead && !soap->cdata) {
                const unsigned char *p = reinterpret_cast<const unsigned char *>(soap->buf) + soap->bufidx;
                const unsigned char *e = reinterpret_cast<const unsigned char *>(soap->buf) + soap->buflen;
                const unsigned char *q;
                if (n)
                    q = utf || latin ? scan_set<SET_STR>(p, e) : scan_set<SET_STR | S_HIGH>(p, e);
                else
                    /* '/' is plain where no element opened inside the text can end */
                    q = utf || latin ? scan_set<S_LT | S_AMP>(p, e) : scan_set<S_LT | S_AMP | S_HIGH>(p, e);
                size_t run = (size_t)(q - p);
                if (run) {
                    if (maxlen >= 0 && (unsigned long)run > (unsigned long)(maxlen - l)) {
                        soap->error = SOAP_LENGTH;
                        return nullptr;
                    }
                    if (lab_append(soap, reinterpret_cast<const char *>(p), run))
                        return nullptr;
                    soap->bufidx += run;
                    l += (long)run;
                }
                if (end_tag_at(soap, soap->bufidx)) {
                    /* what the symbol layer makes of an end tag's start */
                    soap->bufidx += 2;
                    c = SOAP_TT;
                    goto again;
                }
                if (soap->bufidx < soap->buflen && soap->buf[soap->bufidx] == '&') {
                    /* and of the five predefined entities */
                    c = predefined_entity(soap);
                    if (c)
                        goto again;
                }
            }
            c = utf ? get_sym(soap) : soap_getutf8(soap);
        again:
            switch (c) {
            case SOAP_TT:
                if (!n)
                    goto end;
                n--;
                if (soap_append_lab(soap, "</", 2))
                    return nullptr;
                break;
            case SOAP_LT:
                if (rebuilt && !n)
                    goto end;
                n++;
                if (lab_putc(soap, '<'))
                    return nullptr;
                break;
            case SOAP_GT:
                if (lab_putc(soap, '>'))
                    return nullptr;
                break;
            case SOAP_QT:
                if (lab_putc(soap, '"'))
                    return nullptr;
                break;
            case SOAP_AP:
                if (lab_putc(soap, '\''))
                    return nullptr;
                break;
            case '/':
                if (lab_putc(soap, '/'))
                    return nullptr;
                if (n) {
                    COUNT_ONE();
                    c = utf ? get_sym(soap) : soap_getutf8(soap);
                    if (c == SOAP_GT)
                        n--;
                    goto again;
                }
                break;
            case SOAP_EOF:
                goto end;
            default:
                if (is_entity(c)) {
                    unsigned long v = (uint32_t)c & 0x7FFFFFFFu;
                    if (v == '<' || v == '>' || v == '&' || v == '"' || v == '\'') {
                        if (lab_putc(soap, (char)v))
                            return nullptr;
                    } else if (lab_putcode(soap, v, utf, mb)) {
                        return nullptr;
                    }
                } else if (utf) {
                    if (lab_putc(soap, (char)c))
                        return nullptr;
                } else if (lab_putcode(soap, (unsigned long)c, false, mb)) {
                    return nullptr;
                }
            }
            COUNT_ONE();
        }
    } else {
        /* Literal XML: raw bytes, so that entities stay as written; comments,
         * CDATA sections and processing instructions are kept whole. */
        int state = 0;
        for (;;) {
            if (!state && !soap->ahead) {
                const unsigned char *p = reinterpret_cast<const unsigned char *>(soap->buf) + soap->bufidx;
                const unsigned char *e = reinterpret_cast<const unsigned char *>(soap->buf) + soap->buflen;
                const unsigned char *q = p;
                while (q < e && *q != '<' && *q != '/' && (*q < 128 || latin))
                    q++;
                size_t run = (size_t)(q - p);
                if (run) {
                    if (maxlen >= 0 && (unsigned long)run > (unsigned long)(maxlen - l)) {
                        soap->error = SOAP_LENGTH;
                        return nullptr;
                    }
                    if (soap_append_lab(soap, reinterpret_cast<const char *>(p), run))
                        return nullptr;
                    soap->bufidx += run;
                    l += (long)run;
                }
            }
            c = raw_get(soap);
            if (c == SOAP_EOF)
                break;
            if (c < 0) {
                /* a symbol from `ahead`; only possible before the first byte */
                if (c == SOAP_TT) {
                    if (!n)
                        break;
                    n--;
                    if (soap_append_lab(soap, "</", 2))
                        return nullptr;
                    COUNT_ONE();
                    continue;
                }
                if (c == SOAP_LT)
                    c = '<';
                else if (c == SOAP_GT)
                    c = '>';
                else if (c == SOAP_QT)
                    c = '"';
                else if (c == SOAP_AP)
                    c = '\'';
                else {
                    if (literal_entity(soap, c, utf, mb))
                        return nullptr;
                    COUNT_ONE();
                    continue;
                }
            }
            if (state) {
                if (lab_putc(soap, (char)c))
                    return nullptr;
                switch (state) {
                case 1:  /* CDATA */
                    if (c == ']')
                        state = 4;
                    break;
                case 4:
                    state = c == ']' ? 5 : 1;
                    break;
                case 5:
                    state = c == '>' ? 0 : (c == ']' ? 5 : 1);
                    break;
                case 2:  /* comment */
                    if (c == '-')
                        state = 6;
                    break;
                case 6:
                    state = c == '-' ? 7 : 2;
                    break;
                case 7:
                    state = c == '>' ? 0 : (c == '-' ? 7 : 2);
                    break;
                case 3:  /* processing instruction */
                    if (c == '?')
                        state = 8;
                    break;
                case 8:
                    state = c == '>' ? 0 : (c == '?' ? 8 : 3);
                    break;
                }
                COUNT_ONE();
                continue;
            }
            if (c == '<') {
                soap_wchar d = raw_get(soap);
                if (d == '/') {
                    if (!n) {
                        c = SOAP_TT;
                        break;
                    }
                    n--;
                    if (soap_append_lab(soap, "</", 2))
                        return nullptr;
                } else if (d == '!') {
                    soap_wchar e = raw_get(soap);
                    if (e == '[') {
                        do
                            e = raw_get(soap);
                        while (e != SOAP_EOF && e != '[');
                        if (lab_puts(soap, "<![CDATA["))
                            return nullptr;
                        state = 1;
                    } else if (e == '-') {
                        if (lab_puts(soap, "<!-"))
                            return nullptr;
                        state = 2;
                    } else {
                        if (lab_puts(soap, "<!"))
                            return nullptr;
                        unget_byte(soap, e);
                    }
                } else if (d == '?') {
                    if (lab_puts(soap, "<?"))
                        return nullptr;
                    state = 3;
                } else {
                    if (rebuilt && !n) {
                        unget_byte(soap, d);
                        c = SOAP_LT;
                        break;
                    }
                    n++;
                    if (lab_putc(soap, '<'))
                        return nullptr;
                    unget_byte(soap, d);
                }
            } else if (c == '/') {
                if (n && raw_peek(soap) == '>')
                    n--;
                if (lab_putc(soap, '/'))
                    return nullptr;
            } else if (c > 255) {
                if (lab_putcode(soap, (unsigned long)c, utf, mb))
                    return nullptr;
            } else if (c >= 128 && !latin) {
                if (lab_putcode(soap, (unsigned long)utf8_tail(soap, c), utf, mb))
                    return nullptr;
            } else if (lab_putc(soap, (char)c)) {
                return nullptr;
            }
            COUNT_ONE();
        }
    }
#undef COUNT_ONE
end:
    soap->ahead = c;
    if (l < minlen) {
        soap->error = SOAP_LENGTH;
        return nullptr;
    }
    if (flag == 2) {
        if (lab_putc(soap, '\0'))
            return nullptr;
        char *t = nullptr;
        if (soap_s2QName(soap, soap->labbuf, &t, -1, -1))
            return nullptr;
        return t;
    }
    if (copy)
        return lab_result(soap);
    if (lab_putc(soap, '\0'))
        return nullptr;
    soap->labidx--;
    return soap->labbuf;
}

char *soap_string_in(struct soap *soap, int flag, long minlen, long maxlen)
{
    return string_in(soap, flag, minlen, maxlen, true);
}

const char *soap_text_run(struct soap *soap, size_t *len)
{
    if (soap->peeked || soap->ahead || soap->cdata)
        return nullptr;
    const unsigned char *p = reinterpret_cast<const unsigned char *>(soap->buf) + soap->bufidx;
    const unsigned char *e = reinterpret_cast<const unsigned char *>(soap->buf) + soap->buflen;
    /* plain ASCII reads the same in every mode; a NUL would end the copied C string */
    const unsigned char *q = scan_set<SET_STR | S_NUL | S_HIGH>(p, e);
    const size_t run = (size_t)(q - p);
    if (!end_tag_at(soap, soap->bufidx + run))
        return nullptr;
    *len = run;
    soap->bufidx += run + 2;
    soap->ahead = SOAP_TT;
    return reinterpret_cast<const char *>(p);
}

const char *soap_string_in_lab(struct soap *soap, int flag, long minlen, long maxlen, size_t *len)
{
    const char *t = string_in(soap, flag == 2 ? 1 : flag, minlen, maxlen, false);
    if (t && len)
        *len = soap->labidx;
    return t;
}

wchar_t *soap_wstring_in(struct soap *soap, int flag, long minlen, long maxlen)
{
    (void)flag;  /* both forms read decoded characters */
    struct soap_blist *b = soap_new_block(soap);
    if (!b)
        return nullptr;
    wchar_t *s = nullptr;
    size_t room = 0;
    auto putw = [&](wchar_t w) -> bool {
        if (!room) {
            s = static_cast<wchar_t *>(soap_push_block(soap, b, SOAP_BLKLEN * sizeof(wchar_t)));
            if (!s)
                return false;
            room = SOAP_BLKLEN;
        }
        *s++ = w;
        room--;
        return true;
    };
    long n = 0, l = 0;
    bool rebuilt = false;
    if (soap->peeked && !*soap->tag)
        soap->peeked = 0;
    if (soap->peeked && *soap->tag) {
        size_t k = rebuild_start_tag(soap);
        for (size_t i = 0; i < k; i++)
            if (!putw((wchar_t)(unsigned char)soap->tmpbuf[i]))
                goto fail;
        soap->peeked = 0;
        rebuilt = true;
        if (soap->body)
            n = 1;
    }
    soap_wchar c;
    for (;;) {
        c = soap_getutf8(soap);
    again:
        switch (c) {
        case SOAP_TT:
            if (!n)
                goto end;
            n--;
            if (!putw(L'<') || !putw(L'/'))
                goto fail;
            break;
        case SOAP_LT:
            if (rebuilt && !n)
                goto end;
            n++;
            if (!putw(L'<'))
                goto fail;
            break;
        case SOAP_GT:
            if (!putw(L'>'))
                goto fail;
            break;
        case SOAP_QT:
            if (!putw(L'"'))
                goto fail;
            break;
        case SOAP_AP:
            if (!putw(L'\''))
                goto fail;
            break;
        case '/':
            if (!putw(L'/'))
                goto fail;
            if (n) {
                if (maxlen >= 0 && ++l > maxlen)
                    goto toolong;
                c = soap_getutf8(soap);
                if (c == SOAP_GT)
                    n--;
                goto again;
            }
            break;
        case SOAP_EOF:
            goto end;
        default:
            if (!putw((wchar_t)((uint32_t)c & 0x7FFFFFFFu)))
                goto fail;
        }
        if (++l > maxlen && maxlen >= 0)
            goto toolong;
    }
end:
    soap->ahead = c;
    if (l < minlen)
        goto toolong;
    if (!putw(L'\0'))
        goto fail;
    soap_size_block(soap, b, (SOAP_BLKLEN - room) * sizeof(wchar_t));
    return reinterpret_cast<wchar_t *>(soap_save_block(soap, b, nullptr, 0));
toolong:
    soap->error = SOAP_LENGTH;
fail:
    soap_end_block(soap, b);
    return nullptr;
}

namespace {

char *empty_text(struct soap *soap, char *) { return soap_strdup(soap, ""); }

wchar_t *empty_text(struct soap *soap, wchar_t *)
{
    wchar_t *w = static_cast<wchar_t *>(soap_malloc(soap, sizeof(wchar_t)));
    if (w)
        *w = L'\0';
    return w;
}

/* A whole string element, narrow or wide: `read` gathers the content. */
template <typename C, typename Read>
C **instring_element(struct soap *soap, const char *tag, C **p, int t, long minlen, Read read)
{
    const bool none = tag && *tag == '-';
    if (soap_element_begin_in(soap, tag, 1, nullptr)) {
        if (!none || soap->error != SOAP_NO_TAG)
            return nullptr;
        soap->error = SOAP_OK;
    }
    if (!p) {
        p = static_cast<C **>(soap_malloc(soap, sizeof(C *)));
        if (!p)
            return nullptr;
    }
    if (soap->null) {
        *p = nullptr;
    } else if (soap->body) {
        *p = read();
        /* the string itself is the object an id names; 4 bytes on the target */
        if (!*p || !soap_id_enter(soap, soap->id, *p, t, sizeof(C *), 0, nullptr, nullptr, nullptr))
            return nullptr;
        if (!**p && none) {
            soap->error = SOAP_NO_TAG;
            return nullptr;
        }
    } else if (none) {
        soap->error = SOAP_NO_TAG;
        return nullptr;
    } else if (!*soap->href && minlen > 0) {
        soap->error = SOAP_LENGTH;
        return nullptr;
    } else {
        *p = empty_text(soap, static_cast<C *>(nullptr));
        if (!*p)
            return nullptr;
    }
    if (*soap->href) {
        p = reinterpret_cast<C **>(
            soap_id_lookup(soap, soap->href, reinterpret_cast<void **>(p), t, sizeof(C *), 0));
        if (!p)
            return nullptr;
    }
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return p;
}

} // namespace

char **soap_instring(struct soap *soap, const char *tag, char **p, const char *type, int t, int flag, long minlen,
                     long maxlen)
{
    (void)type;
    return instring_element(soap, tag, p, t, minlen, [&] { return soap_string_in(soap, flag, minlen, maxlen); });
}

wchar_t **soap_inwstring(struct soap *soap, const char *tag, wchar_t **p, const char *type, int t, long minlen,
                         long maxlen)
{
    (void)type;
    return instring_element(soap, tag, p, t, minlen, [&] { return soap_wstring_in(soap, 1, minlen, maxlen); });
}

/* Shared by the two literal readers: 0 to go on, else null is the answer.
 * *outer says that no element of ours surrounds the text. */
static int literal_begin(struct soap *soap, const char *tag, bool *outer)
{
    *outer = tag && *tag == '-';
    if (soap_element_begin_in(soap, tag, 1, nullptr)) {
        if (soap->error != SOAP_NO_TAG)
            return soap->error;
        /* content without an element: take it as it stands */
        soap_wchar c = soap_get(soap);
        soap->ahead = c;
        if (c == SOAP_TT)
            return soap->error;
        soap->error = SOAP_OK;
        *outer = true;
    }
    return SOAP_OK;
}

namespace {

/* An element with its inner markup kept as text, narrow or wide. */
template <typename C, typename Read>
C **inliteral_element(struct soap *soap, const char *tag, C **p, Read read)
{
    bool outer;
    if (literal_begin(soap, tag, &outer))
        return nullptr;
    if (!p) {
        p = static_cast<C **>(soap_malloc(soap, sizeof(C *)));
        if (!p)
            return nullptr;
    }
    if (outer || soap->body) {
        *p = read();
        if (!*p)
            return nullptr;
    } else if (soap->null) {
        *p = nullptr;
    } else {
        *p = empty_text(soap, static_cast<C *>(nullptr));
        if (!*p)
            return nullptr;
    }
    if (!outer && soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return p;
}

} // namespace

char **soap_inliteral(struct soap *soap, const char *tag, char **p)
{
    return inliteral_element(soap, tag, p, [soap] { return soap_string_in(soap, 0, -1, -1); });
}

wchar_t **soap_inwliteral(struct soap *soap, const char *tag, wchar_t **p)
{
    return inliteral_element(soap, tag, p, [soap] { return soap_wstring_in(soap, 0, -1, -1); });
}

/* ------------------------------------------------------------------------ */
/* Binary text                                                               */
/* ------------------------------------------------------------------------ */

struct base64_table {
    unsigned char v[256];
    constexpr base64_table() : v()
    {
        for (int c = 0; c < 256; c++)
            v[c] = 0xFF;
        for (int c = 'A'; c <= 'Z'; c++)
            v[c] = (unsigned char)(c - 'A');
        for (int c = 'a'; c <= 'z'; c++)
            v[c] = (unsigned char)(c - 'a' + 26);
        for (int c = '0'; c <= '9'; c++)
            v[c] = (unsigned char)(c - '0' + 52);
        v[(int)'+'] = 62;
        v[(int)'/'] = 63;
    }
};
static constexpr base64_table B64;

static unsigned char *lab_bytes(struct soap *soap, int *n)
{
    if (soap->labidx > (size_t)INT_MAX) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    unsigned char *p = static_cast<unsigned char *>(soap_malloc(soap, soap->labidx));
    if (!p)
        return nullptr;
    if (soap->labidx)
        memcpy(p, soap->labbuf, soap->labidx);
    if (n)
        *n = (int)soap->labidx;
    return p;
}

unsigned char *soap_getbase64(struct soap *soap, int *n)
{
    if (soap_set_lab(soap, nullptr, 0))
        return nullptr;
    for (;;) {
        if (soap->labidx + 3 >= soap->lablen && soap_append_lab(soap, nullptr, 3))
            return nullptr;
        unsigned char *t = reinterpret_cast<unsigned char *>(soap->labbuf) + soap->labidx;
        unsigned long m = 0;
        int j = 0;
        while (j < 4) {
            soap_wchar c = get_sym(soap);
            if (is_entity(c))
                c &= 0x7FFFFFFF;
            if (c == '=' || c < 0) {
                if (j == 2) {
                    t[0] = (unsigned char)(m >> 4);
                    soap->labidx += 1;
                } else if (j == 3) {
                    t[0] = (unsigned char)(m >> 10);
                    t[1] = (unsigned char)(m >> 2);
                    soap->labidx += 2;
                }
                if (c == '=') {
                    do
                        c = get_sym(soap);
                    while (c != SOAP_LT && c != SOAP_TT && c != SOAP_EOF);
                }
                soap->ahead = c;
                return lab_bytes(soap, n);
            }
            if (soap_blank(c))
                continue;
            unsigned v = c < 256 ? B64.v[c] : 0xFF;
            if (v > 63) {
                soap->error = SOAP_TYPE;
                return nullptr;
            }
            m = (m << 6) | v;
            j++;
        }
        t[0] = (unsigned char)(m >> 16);
        t[1] = (unsigned char)(m >> 8);
        t[2] = (unsigned char)m;
        soap->labidx += 3;
    }
}

static inline int hex_digit(soap_wchar c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

unsigned char *soap_gethex(struct soap *soap, int *n)
{
    if (soap_set_lab(soap, nullptr, 0))
        return nullptr;
    for (;;) {
        soap_wchar c = get_sym(soap);
        int hi = hex_digit(is_entity(c) ? (c & 0x7FFFFFFF) : c);
        if (hi < 0) {
            soap->ahead = c;
            return lab_bytes(soap, n);
        }
        soap_wchar d = get_sym(soap);
        int lo = hex_digit(is_entity(d) ? (d & 0x7FFFFFFF) : d);
        if (lo < 0) {
            soap->error = SOAP_TYPE;
            return nullptr;
        }
        if (lab_putc(soap, (char)((hi << 4) | lo)))
            return nullptr;
    }
}
