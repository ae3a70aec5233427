/* values.cpp -- the simple schema types: text to value and value to text for
 * integers, floating point, dateTime, strings, base64 and hex, the whole
 * element readers and writers built on them, and the code tables.
 * Not here: the XML text itself (reader.cpp, writer.cpp), QNames (namespaces.cpp).
 */
#include <cerrno>
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "soapengine.h"

/* ------------------------------------------------------------------------ */
/* Integers                                                                  */
/* ------------------------------------------------------------------------ */

/* Signed decimal text in [lo, hi].  *v gets the value in any case (clamped
 * to the 64-bit range on overflow).  Empty text, no digits, trailing text,
 * overflow and a value outside [lo, hi] all fail. */
static bool parse_signed(const char *s, long long lo, long long hi, long long *v)
{
    char *end;
    errno = 0;
    long long r = strtoll(s, &end, 10);
    *v = r;
    if (end == s || *end || errno == ERANGE)
        return false;
    return r >= lo && r <= hi;
}

/* Unsigned decimal text up to hi.  Empty text gives 0: *empty tells the
 * caller, who decides.  A minus sign is refused for any value but zero. */
static bool parse_unsigned(const char *s, unsigned long long hi, unsigned long long *v, bool *empty)
{
    char *end;
    const char *p = s;
    while (*p > 0 && *p <= 32)
        p++;
    bool neg = *p == '-';
    errno = 0;
    unsigned long long r = strtoull(s, &end, 10);
    *v = r;
    *empty = !*s;
    if (!*s)
        return true;
    if (end == s || *end || errno == ERANGE)
        return false;
    if (neg && r)
        return false;
    return r <= hi;
}

static inline long clamp32(long long v)
{
    return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : (long)v;
}

int soap_s2byte(struct soap *soap, const char *s, char *p)
{
    if (!s)
        return soap->error;
    long long v;
    bool ok = parse_signed(s, -128, 127, &v);
    *p = (char)clamp32(v);
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

int soap_s2short(struct soap *soap, const char *s, short *p)
{
    if (!s)
        return soap->error;
    long long v;
    bool ok = parse_signed(s, -32768, 32767, &v);
    *p = (short)clamp32(v);
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

int soap_s2int(struct soap *soap, const char *s, int *p)
{
    if (!s)
        return soap->error;
    long long v;
    bool ok = parse_signed(s, INT32_MIN, INT32_MAX, &v);
    *p = (int)clamp32(v);
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

int soap_s2long(struct soap *soap, const char *s, long *p)
{
    if (!s)
        return soap->error;
    long long v;
    bool ok = parse_signed(s, INT32_MIN, INT32_MAX, &v);  /* long is 32 bits on the wire */
    *p = clamp32(v);
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

int soap_s2LONG64(struct soap *soap, const char *s, LONG64 *p)
{
    if (!s)
        return soap->error;
    long long v;
    bool ok = parse_signed(s, LLONG_MIN, LLONG_MAX, &v);
    *p = v;
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

int soap_s2unsignedByte(struct soap *soap, const char *s, unsigned char *p)
{
    if (!s)
        return soap->error;
    unsigned long long v;
    bool empty;
    bool ok = parse_unsigned(s, 255, &v, &empty) && !empty;
    *p = (unsigned char)v;
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

int soap_s2unsignedShort(struct soap *soap, const char *s, unsigned short *p)
{
    if (!s)
        return soap->error;
    unsigned long long v;
    bool empty;
    bool ok = parse_unsigned(s, 65535, &v, &empty) && !empty;
    *p = (unsigned short)v;
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

/* The 32- and 64-bit unsigned forms: empty text is 0, an error only when strict. */
static int s2unsigned_wide(struct soap *soap, const char *s, unsigned long long hi, unsigned long long *v)
{
    bool empty;
    bool ok = parse_unsigned(s, hi, v, &empty);
    if (ok && empty && (soap->mode & SOAP_XML_STRICT))
        ok = false;
    return ok ? SOAP_OK : (soap->error = SOAP_TYPE);
}

int soap_s2unsignedInt(struct soap *soap, const char *s, unsigned int *p)
{
    if (!s)
        return soap->error;
    unsigned long long v;
    int r = s2unsigned_wide(soap, s, UINT32_MAX, &v);
    *p = (unsigned int)(v > UINT32_MAX ? UINT32_MAX : v);
    return r;
}

int soap_s2unsignedLong(struct soap *soap, const char *s, unsigned long *p)
{
    if (!s)
        return soap->error;
    unsigned long long v;
    int r = s2unsigned_wide(soap, s, UINT32_MAX, &v);  /* unsigned long is 32 bits on the wire */
    *p = (unsigned long)(v > UINT32_MAX ? UINT32_MAX : v);
    return r;
}

int soap_s2ULONG64(struct soap *soap, const char *s, ULONG64 *p)
{
    if (!s)
        return soap->error;
    unsigned long long v;
    int r = s2unsigned_wide(soap, s, ULLONG_MAX, &v);
    *p = v;
    return r;
}

static const char *put_long(struct soap *soap, long n)
{
    snprintf(soap->tmpbuf, sizeof(soap->tmpbuf), "%ld", n);
    return soap->tmpbuf;
}

static const char *put_ulong(struct soap *soap, unsigned long n)
{
    snprintf(soap->tmpbuf, sizeof(soap->tmpbuf), "%lu", n);
    return soap->tmpbuf;
}

const char *soap_byte2s(struct soap *soap, char n) { return put_long(soap, n); }
const char *soap_short2s(struct soap *soap, short n) { return put_long(soap, n); }
const char *soap_int2s(struct soap *soap, int n) { return put_long(soap, n); }
const char *soap_long2s(struct soap *soap, long n) { return put_long(soap, n); }
const char *soap_unsignedByte2s(struct soap *soap, unsigned char n) { return put_ulong(soap, n); }
const char *soap_unsignedShort2s(struct soap *soap, unsigned short n) { return put_ulong(soap, n); }
const char *soap_unsignedInt2s(struct soap *soap, unsigned int n) { return put_ulong(soap, n); }
const char *soap_unsignedLong2s(struct soap *soap, unsigned long n) { return put_ulong(soap, n); }

const char *soap_LONG642s(struct soap *soap, LONG64 n)
{
    snprintf(soap->tmpbuf, sizeof(soap->tmpbuf), "%lld", (long long)n);
    return soap->tmpbuf;
}

const char *soap_ULONG642s(struct soap *soap, ULONG64 n)
{
    snprintf(soap->tmpbuf, sizeof(soap->tmpbuf), "%llu", (unsigned long long)n);
    return soap->tmpbuf;
}

/* ------------------------------------------------------------------------ */
/* Floating point                                                            */
/* ------------------------------------------------------------------------ */

/* strtod in a locale whose decimal point isn't '.': the text we write always
 * has a point, so read it back with the locale's own character. */
static double strtod_point(const char *s, char **end)
{
    double d = strtod(s, end);
    if (**end != '.')
        return d;
    const char *dp = localeconv()->decimal_point;
    if (!dp || !strcmp(dp, "."))
        return d;
    char buf[128];
    size_t at = (size_t)(*end - s), n = strlen(s), dl = strlen(dp);
    if (n + dl >= sizeof(buf))
        return d;
    memcpy(buf, s, at);
    memcpy(buf + at, dp, dl);
    memcpy(buf + at + dl, s + at + 1, n - at);  /* the rest with its terminator */
    char *e;
    double d2 = strtod(buf, &e);
    size_t used = (size_t)(e - buf);
    if (used < at + dl)
        return d;
    *end = const_cast<char *>(s) + used - dl + 1;
    return d2;
}

/* INF, +INF, -INF and NaN by the one wildcard compare; 1 when s named one. */
static int special_double(const char *s, double *d)
{
    if (!soap_tag_cmp(s, "INF") || !soap_tag_cmp(s, "+INF")) {
        *d = HUGE_VAL;
        return 1;
    }
    if (!soap_tag_cmp(s, "-INF")) {
        *d = -HUGE_VAL;
        return 1;
    }
    if (!soap_tag_cmp(s, "NaN")) {
        uint64_t bits = ~(uint64_t)0;
        memcpy(d, &bits, sizeof(*d));
        return 1;
    }
    return 0;
}

int soap_s2double(struct soap *soap, const char *s, double *p)
{
    if (!s)
        return soap->error;
    if (!*s)
        return soap->error = SOAP_TYPE;
    if (special_double(s, p))
        return SOAP_OK;
    char *end;
    double d = strtod_point(s, &end);
    if (*end) {
        if (sscanf(s, "%lg", &d) != 1)
            return soap->error = SOAP_TYPE;
    }
    *p = d;
    return SOAP_OK;
}

int soap_s2float(struct soap *soap, const char *s, float *p)
{
    if (!s)
        return soap->error;
    if (!*s)
        return soap->error = SOAP_TYPE;
    double d;
    if (special_double(s, &d)) {
        if (std::isnan(d)) {
            uint32_t bits = ~(uint32_t)0;
            memcpy(p, &bits, sizeof(*p));
        } else {
            *p = d > 0 ? HUGE_VALF : -HUGE_VALF;
        }
        return SOAP_OK;
    }
    char *end;
    d = strtod_point(s, &end);
    float f = (float)d;
    if (*end) {
        if (sscanf(s, "%g", &f) != 1)
            return soap->error = SOAP_TYPE;
    }
    *p = f;
    return SOAP_OK;
}

/* Numbers always go out with a decimal point, whatever the locale. */
static void point_fix(char *s)
{
    char *c = strchr(s, ',');
    if (c)
        *c = '.';
}

const char *soap_double2s(struct soap *soap, double n)
{
    if (std::isnan(n))
        return "NaN";
    if (std::isinf(n))
        return n > 0 ? "INF" : "-INF";
    snprintf(soap->tmpbuf, sizeof(soap->tmpbuf), soap->double_format, n);
    point_fix(soap->tmpbuf);
    return soap->tmpbuf;
}

const char *soap_float2s(struct soap *soap, float n)
{
    if (std::isnan(n))
        return "NaN";
    if (std::isinf(n))
        return n > 0 ? "INF" : "-INF";
    snprintf(soap->tmpbuf, sizeof(soap->tmpbuf), soap->float_format, (double)n);
    point_fix(soap->tmpbuf);
    return soap->tmpbuf;
}

/* ------------------------------------------------------------------------ */
/* dateTime                                                                  */
/* ------------------------------------------------------------------------ */

const char *soap_dateTime2s(struct soap *soap, time_t n)
{
    struct tm T;
    if (!gmtime_r(&n, &T) || !strftime(soap->tmpbuf, sizeof(soap->tmpbuf), "%Y-%m-%dT%H:%M:%SZ", &T))
        strcpy(soap->tmpbuf, "1969-12-31T23:59:59Z");
    return soap->tmpbuf;
}

/* Floor division with a non-negative remainder: *v becomes the remainder and
 * the quotient is returned. */
static inline int carry(int *v, int base)
{
    int q = *v / base, r = *v % base;
    if (r < 0) {
        r += base;
        q--;
    }
    *v = r;
    return q;
}

/* Bounds that keep every field's arithmetic inside int. */
static inline bool sane(long v) { return v > -100000000L && v < 100000000L; }

int soap_s2dateTime(struct soap *soap, const char *s, time_t *p)
{
    if (!s)
        return soap->error;
    struct tm T;
    memset(&T, 0, sizeof(T));
    char zone[32];
    zone[0] = '\0';
    const char *fmt;
    if (strchr(s, '-'))
        fmt = "%d-%d-%dT%d:%d:%d%31s";
    else if (strchr(s, ':'))
        fmt = "%4d%2d%2dT%d:%d:%d%31s";
    else
        fmt = "%4d%2d%2dT%2d%2d%2d%31s";
    if (sscanf(s, fmt, &T.tm_year, &T.tm_mon, &T.tm_mday, &T.tm_hour, &T.tm_min, &T.tm_sec, zone) < 6)
        return soap->error = SOAP_TYPE;
    if (!sane(T.tm_year) || !sane(T.tm_mon) || !sane(T.tm_mday) || !sane(T.tm_hour) || !sane(T.tm_min) ||
        !sane(T.tm_sec))
        return soap->error = SOAP_TYPE;
    if (T.tm_year == 1)
        T.tm_year = 70;
    else
        T.tm_year -= 1900;
    T.tm_mon--;
    const char *z = zone;
    if (*z == '.') {  /* fractions of seconds are dropped */
        z++;
        while (*z >= '0' && *z <= '9')
            z++;
    }
    if (!*z) {  /* no zone: local time */
        T.tm_isdst = -1;
        *p = mktime(&T);
        return SOAP_OK;
    }
    if (*z == '+' || *z == '-') {
        int h = 0, m = 0;
        if (z[1] && z[2] && z[3] == ':') {
            sscanf(z, "%d:%d", &h, &m);
            if (h < 0)
                m = -m;
        } else {
            long v = strtol(z, nullptr, 10);
            if (!sane(v))
                return soap->error = SOAP_TYPE;
            h = (int)(v / 100);
            m = (int)(v % 100);
        }
        if (!sane(h) || !sane(m))
            return soap->error = SOAP_TYPE;
        T.tm_min -= m;
        T.tm_hour += carry(&T.tm_min, 60);
        T.tm_hour -= h;
        T.tm_mday += carry(&T.tm_hour, 24);
    }
    *p = timegm(&T);
    return SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Strings                                                                   */
/* ------------------------------------------------------------------------ */

int soap_s2string(struct soap *soap, const char *s, char **t, long minlen, long maxlen)
{
    if (!s)
        return soap->error;
    size_t l = strlen(s);
    if ((maxlen >= 0 && l > (size_t)maxlen) || (minlen > 0 && l < (size_t)minlen))
        return soap->error = SOAP_LENGTH;
    char *r = static_cast<char *>(soap_malloc(soap, l + 1));
    if (!r)
        return soap->error = SOAP_EOM;
    if (soap->mode & (SOAP_ENC_LATIN | SOAP_C_UTFSTRING)) {
        memcpy(r, s, l + 1);
    } else {
        /* text in memory is Latin-1 here, and these bytes came as UTF-8 */
        char *q = r;
        for (const unsigned char *c = (const unsigned char *)s; *c; c++)
            if (*c < 128)
                *q++ = (char)*c;
        *q = '\0';
    }
    *t = r;
    return SOAP_OK;
}

int soap_s2wchar(struct soap *soap, const char *s, wchar_t **t, long minlen, long maxlen)
{
    if (!s)
        return soap->error;
    size_t len = strlen(s);
    wchar_t *r = static_cast<wchar_t *>(soap_malloc(soap, (len + 1) * sizeof(wchar_t)));
    if (!r)
        return soap->error = SOAP_EOM;
    const unsigned char *c = (const unsigned char *)s;
    wchar_t *q = r;
    if (soap->mode & SOAP_ENC_LATIN) {
        while (*c)
            *q++ = (wchar_t)*c++;
    } else {
        while (*c) {
            uint32_t v = *c++;
            if (v >= 0x80) {
                int more;
                if (v < 0xE0) {
                    v &= 0x1F;
                    more = 1;
                } else if (v < 0xF0) {
                    v &= 0x0F;
                    more = 2;
                } else if (v < 0xF8) {
                    v &= 0x07;
                    more = 3;
                } else if (v < 0xFC) {
                    v &= 0x03;
                    more = 4;
                } else {
                    v &= 0x01;
                    more = 5;
                }
                /* continuation bytes aren't checked, but the text's end is */
                for (; more > 0 && *c; more--)
                    v = (v << 6) | (*c++ & 0x3F);
                if (more)
                    break;
            }
            *q++ = (wchar_t)v;
        }
    }
    *q = 0;
    long l = (long)(q - r);
    if ((maxlen >= 0 && l > maxlen) || l < minlen)
        return soap->error = SOAP_LENGTH;
    *t = r;
    return SOAP_OK;
}

static size_t utf8_put(char *t, uint32_t c)
{
    if (c < 0x80) {
        t[0] = (char)c;
        return 1;
    }
    size_t n = c < 0x800 ? 2 : c < 0x10000 ? 3 : c < 0x200000 ? 4 : c < 0x4000000 ? 5 : 6;
    static const unsigned char lead[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
    for (size_t i = n - 1; i > 0; i--) {
        t[i] = (char)(0x80 | (c & 0x3F));
        c >>= 6;
    }
    t[0] = (char)(lead[n] | (c & (n == 6 ? 0x01 : 0x3F >> (n - 1))));
    return n;
}

const char *soap_wchar2s(struct soap *soap, const wchar_t *s)
{
    if (!s)
        return nullptr;
    size_t n = 1;
    for (const wchar_t *w = s; *w; w++)
        n += ((uint32_t)*w >= 1 && (uint32_t)*w < 128) ? 1 : 6;
    char *r = static_cast<char *>(soap_malloc(soap, n));
    if (!r)
        return nullptr;
    char *q = r;
    for (; *s; s++)
        q += utf8_put(q, (uint32_t)*s);
    *q = '\0';
    return r;
}

/* ------------------------------------------------------------------------ */
/* base64 and hexadecimal                                                    */
/* ------------------------------------------------------------------------ */

static constexpr char base64_alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct Base64Table {
    unsigned char v[80];
};

/* Decode table indexed by c - '+'; 64 marks a byte outside the alphabet. */
static constexpr Base64Table make_base64_table()
{
    Base64Table t{};
    for (int i = 0; i < 80; i++)
        t.v[i] = 64;
    for (int i = 0; i < 64; i++)
        t.v[base64_alphabet[i] - '+'] = (unsigned char)i;
    return t;
}

static constexpr Base64Table base64_table = make_base64_table();

char *soap_s2base64(struct soap *soap, const unsigned char *s, char *t, int n)
{
    if (n < 0)
        n = 0;
    if (!t) {
        t = static_cast<char *>(soap_malloc(soap, ((size_t)n + 2) / 3 * 4 + 1));
        if (!t)
            return nullptr;
    }
    char *q = t;
    if (s) {
        for (; n > 2; n -= 3, s += 3) {
            unsigned long m = ((unsigned long)s[0] << 16) | ((unsigned long)s[1] << 8) | s[2];
            *q++ = base64_alphabet[(m >> 18) & 0x3F];
            *q++ = base64_alphabet[(m >> 12) & 0x3F];
            *q++ = base64_alphabet[(m >> 6) & 0x3F];
            *q++ = base64_alphabet[m & 0x3F];
        }
        if (n > 0) {
            unsigned long m = (unsigned long)s[0] << 16;
            if (n > 1)
                m |= (unsigned long)s[1] << 8;
            *q++ = base64_alphabet[(m >> 18) & 0x3F];
            *q++ = base64_alphabet[(m >> 12) & 0x3F];
            *q++ = n > 1 ? base64_alphabet[(m >> 6) & 0x3F] : '=';
            *q++ = '=';
        }
    }
    *q = '\0';
    return t;
}

/* The result for null or empty input: a zero-length text, or null after an error. */
static const char *empty_binary(struct soap *soap, char *t, size_t l)
{
    if (soap->error)
        return nullptr;
    if (t) {
        if (l)
            *t = '\0';
        return t;
    }
    return "";
}

const char *soap_base642s(struct soap *soap, const char *s, char *t, size_t l, int *n)
{
    if (n)
        *n = 0;
    if (!s || !*s)
        return empty_binary(soap, t, l);
    if (!t) {
        l = (strlen(s) + 3) / 4 * 3 + 1;
        t = static_cast<char *>(soap_malloc(soap, l));
        if (!t)
            return nullptr;
    }
    size_t k = 0;
    unsigned long m = 0;
    int j = 0;
    const unsigned char *p = (const unsigned char *)s;
    for (;;) {
        unsigned int c = *p++;
        if (c == '=' || !c) {
            /* a short last group: two characters give one byte, three give two */
            if (j == 2 && k < l) {
                t[k++] = (char)((m >> 4) & 0xFF);
            } else if (j == 3) {
                if (k < l)
                    t[k++] = (char)((m >> 10) & 0xFF);
                if (k < l)
                    t[k++] = (char)((m >> 2) & 0xFF);
            }
            break;
        }
        if (c <= 32)
            continue;
        c -= '+';
        if (c >= 80 || base64_table.v[c] > 63) {
            soap->error = SOAP_TYPE;
            return nullptr;
        }
        m = (m << 6) | base64_table.v[c];
        if (++j == 4) {
            if (k < l)
                t[k++] = (char)((m >> 16) & 0xFF);
            if (k < l)
                t[k++] = (char)((m >> 8) & 0xFF);
            if (k < l)
                t[k++] = (char)(m & 0xFF);
            if (k >= l)
                break;  /* the capacity ends the reading */
            j = 0;
            m = 0;
        }
    }
    if (k < l)
        t[k] = '\0';
    if (n)
        *n = (int)k;
    return t;
}

char *soap_s2hex(struct soap *soap, const unsigned char *s, char *t, int n)
{
    static const char digits[] = "0123456789abcdef";
    if (n < 0)
        n = 0;
    if (!t) {
        t = static_cast<char *>(soap_malloc(soap, 2 * (size_t)n + 1));
        if (!t)
            return nullptr;
    }
    char *q = t;
    if (s) {
        for (int i = 0; i < n; i++) {
            *q++ = digits[s[i] >> 4];
            *q++ = digits[s[i] & 0x0F];
        }
    }
    *q = '\0';
    return t;
}

/* A digit's value without a check: letters by their low three bits. */
static inline unsigned hex_value(unsigned char c) { return c > 64 ? (c & 7) + 9 : c & 0x0F; }

const char *soap_hex2s(struct soap *soap, const char *s, char *t, size_t l, int *n)
{
    if (n)
        *n = 0;
    if (!s || !*s)
        return empty_binary(soap, t, l);
    if (!t) {
        l = strlen(s) / 2 + 1;
        t = static_cast<char *>(soap_malloc(soap, l));
        if (!t)
            return nullptr;
    }
    size_t k = 0;
    const unsigned char *p = (const unsigned char *)s;
    while (k < l && p[0] && p[1]) {
        t[k++] = (char)((hex_value(p[0]) << 4) | hex_value(p[1]));
        p += 2;
    }
    if (k < l)
        t[k] = '\0';
    if (n)
        *n = (int)k;
    return t;
}

/* ------------------------------------------------------------------------ */
/* Type checks                                                               */
/* ------------------------------------------------------------------------ */

static const char *const numeric_types[] = {
    "float", "double", "decimal", "integer", "positiveInteger", "negativeInteger", "nonPositiveInteger",
    "nonNegativeInteger", "long", "int", "short", "byte", "unsignedLong", "unsignedInt", "unsignedShort",
    "unsignedByte", nullptr};

/* Whether the element's xsi:type is the reader's own type or one of the
 * local names it also takes, in any namespace.  A failed namespace compare
 * along the way leaves no error behind. */
static bool type_accepted(struct soap *soap, const char *type, const char *const *names)
{
    int saved = soap->error;
    bool ok = type && *type && !soap_match_tag(soap, soap->type, type);
    soap->error = saved;
    if (ok)
        return true;
    const char *local = strchr(soap->type, ':');
    local = local ? local + 1 : soap->type;
    for (; *names; names++)
        if (!strcmp(local, *names))
            return true;
    return false;
}

int soap_isnumeric(struct soap *soap, const char *type)
{
    if (!*soap->type || type_accepted(soap, type, numeric_types))
        return SOAP_OK;
    soap->error = SOAP_TYPE;
    soap_revert(soap);
    return -1;
}

int soap_match_array(struct soap *soap, const char *type)
{
    if (!*soap->arrayType)
        return SOAP_OK;
    int saved = soap->error;
    bool ok = (type && !soap_match_tag(soap, soap->arrayType, type)) ||
              !soap_match_tag(soap, soap->arrayType, "xsd:anyType") ||
              !soap_match_tag(soap, soap->arrayType, "xsd:ur-type");
    soap->error = saved;
    return ok ? SOAP_OK : SOAP_TAG_MISMATCH;
}

/* ------------------------------------------------------------------------ */
/* Element readers and writers                                               */
/* ------------------------------------------------------------------------ */

static const char *const byte_types[] = {"byte", nullptr};
static const char *const short_types[] = {"short", "byte", nullptr};
static const char *const int_types[] = {"int", "short", "byte", nullptr};
static const char *const long64_types[] = {"integer", "positiveInteger", "negativeInteger", "nonPositiveInteger",
                                           "nonNegativeInteger", "long", "int", "short", "byte", nullptr};
static const char *const ubyte_types[] = {"unsignedByte", nullptr};
static const char *const ushort_types[] = {"unsignedShort", "unsignedByte", nullptr};
static const char *const uint_types[] = {"unsignedInt", "unsignedShort", "unsignedByte", nullptr};
static const char *const ulong64_types[] = {"positiveInteger", "nonNegativeInteger", "unsignedLong", "unsignedInt",
                                            "unsignedShort", "unsignedByte", nullptr};
static const char *const datetime_types[] = {"dateTime", nullptr};

/* The reader pattern of every simple element.  names null: the numeric check
 * of float and double. */
template <typename T>
static T *in_value(struct soap *soap, const char *tag, T *p, const char *type, int t, const char *const *names,
                   int (*conv)(struct soap *, const char *, T *))
{
    if (soap_element_begin_in(soap, tag, 0, nullptr))
        return nullptr;
    if (*soap->type) {
        if (!names) {
            if (soap_isnumeric(soap, type))
                return nullptr;
        } else if (!type_accepted(soap, type, names)) {
            soap->error = SOAP_TYPE;
            soap_revert(soap);
            return nullptr;
        }
    }
    p = static_cast<T *>(soap_id_enter(soap, soap->id, p, t, sizeof(T), 0, nullptr, nullptr, nullptr));
    if (*soap->href) {
        p = static_cast<T *>(soap_id_forward(soap, soap->href, p, 0, t, t, sizeof(T), 0, nullptr));
    } else if (p) {
        if (conv(soap, soap_value(soap), p))
            return nullptr;
    }
    if (soap->body && soap_element_end_in(soap, tag))
        return nullptr;
    return p;
}

/* The writer pattern: start tag, value text, end tag.  The text is made after
 * the start tag, which may use the scratch buffer itself. */
template <typename T>
static int out_value(struct soap *soap, const char *tag, int id, const T *p, const char *type, int t,
                     const char *(*conv)(struct soap *, T))
{
    if (!p)
        return soap_element_null(soap, tag, id, type);
    if (soap_element_begin_out(soap, tag, soap_embedded_id(soap, id, p, t), type) ||
        soap_string_out(soap, conv(soap, *p), 0))
        return soap->error;
    return soap_element_end_out(soap, tag);
}

char *soap_inbyte(struct soap *soap, const char *tag, char *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, byte_types, soap_s2byte);
}
short *soap_inshort(struct soap *soap, const char *tag, short *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, short_types, soap_s2short);
}
int *soap_inint(struct soap *soap, const char *tag, int *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, int_types, soap_s2int);
}
long *soap_inlong(struct soap *soap, const char *tag, long *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, int_types, soap_s2long);
}
LONG64 *soap_inLONG64(struct soap *soap, const char *tag, LONG64 *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, long64_types, soap_s2LONG64);
}
unsigned char *soap_inunsignedByte(struct soap *soap, const char *tag, unsigned char *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, ubyte_types, soap_s2unsignedByte);
}
unsigned short *soap_inunsignedShort(struct soap *soap, const char *tag, unsigned short *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, ushort_types, soap_s2unsignedShort);
}
unsigned int *soap_inunsignedInt(struct soap *soap, const char *tag, unsigned int *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, uint_types, soap_s2unsignedInt);
}
unsigned long *soap_inunsignedLong(struct soap *soap, const char *tag, unsigned long *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, uint_types, soap_s2unsignedLong);
}
ULONG64 *soap_inULONG64(struct soap *soap, const char *tag, ULONG64 *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, ulong64_types, soap_s2ULONG64);
}
float *soap_infloat(struct soap *soap, const char *tag, float *p, const char *type, int t)
{
    return in_value<float>(soap, tag, p, type, t, nullptr, soap_s2float);
}
double *soap_indouble(struct soap *soap, const char *tag, double *p, const char *type, int t)
{
    return in_value<double>(soap, tag, p, type, t, nullptr, soap_s2double);
}
time_t *soap_indateTime(struct soap *soap, const char *tag, time_t *p, const char *type, int t)
{
    return in_value(soap, tag, p, type, t, datetime_types, soap_s2dateTime);
}

int soap_outbyte(struct soap *soap, const char *tag, int id, const char *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_byte2s);
}
int soap_outshort(struct soap *soap, const char *tag, int id, const short *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_short2s);
}
int soap_outint(struct soap *soap, const char *tag, int id, const int *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_int2s);
}
int soap_outlong(struct soap *soap, const char *tag, int id, const long *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_long2s);
}
int soap_outLONG64(struct soap *soap, const char *tag, int id, const LONG64 *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_LONG642s);
}
int soap_outunsignedByte(struct soap *soap, const char *tag, int id, const unsigned char *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_unsignedByte2s);
}
int soap_outunsignedShort(struct soap *soap, const char *tag, int id, const unsigned short *p, const char *type,
                          int t)
{
    return out_value(soap, tag, id, p, type, t, soap_unsignedShort2s);
}
int soap_outunsignedInt(struct soap *soap, const char *tag, int id, const unsigned int *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_unsignedInt2s);
}
int soap_outunsignedLong(struct soap *soap, const char *tag, int id, const unsigned long *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_unsignedLong2s);
}
int soap_outULONG64(struct soap *soap, const char *tag, int id, const ULONG64 *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_ULONG642s);
}
int soap_outfloat(struct soap *soap, const char *tag, int id, const float *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_float2s);
}
int soap_outdouble(struct soap *soap, const char *tag, int id, const double *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_double2s);
}
int soap_outdateTime(struct soap *soap, const char *tag, int id, const time_t *p, const char *type, int t)
{
    return out_value(soap, tag, id, p, type, t, soap_dateTime2s);
}

/* ------------------------------------------------------------------------ */
/* Code tables                                                               */
/* ------------------------------------------------------------------------ */

const struct soap_code_map *soap_code(const struct soap_code_map *map, const char *str)
{
    if (map && str)
        for (; map->string; map++)
            if (*map->string == *str && !strcmp(str, map->string))
                return map;
    return nullptr;
}

long soap_code_int(const struct soap_code_map *map, const char *str, long other)
{
    if (map && str)
        for (; map->string; map++)
            if (!soap_tag_cmp(str, map->string))
                return map->code;
    return other;
}

const char *soap_code_str(const struct soap_code_map *map, long code)
{
    if (!map)
        return nullptr;
    while (map->string && map->code != code)
        map++;
    return map->string;
}

long soap_code_bits(const struct soap_code_map *map, const char *str)
{
    if (!map || !str)
        return 0;
    long bits = 0;
    const unsigned char *s = (const unsigned char *)str;
    for (;;) {
        while (*s && *s <= 32)
            s++;
        if (!*s)
            break;
        size_t n = 0;
        while (s[n] > 32)
            n++;
        const struct soap_code_map *p = map;
        while (p->string && (strncmp(p->string, (const char *)s, n) || p->string[n]))
            p++;
        if (!p->string)
            return 0;  /* one unknown name spoils the whole text */
        bits |= p->code;
        s += n;
    }
    return bits;
}

const char *soap_code_list(struct soap *soap, const struct soap_code_map *map, long code)
{
    size_t k = 0;
    soap->tmpbuf[0] = '\0';
    if (!map)
        return soap->tmpbuf;
    for (; map->string; map++) {
        if (!(map->code & code))
            continue;
        size_t n = strlen(map->string);
        size_t need = (k ? 1 : 0) + n;
        if (k + need >= sizeof(soap->tmpbuf))
            break;
        if (k)
            soap->tmpbuf[k++] = ' ';
        memcpy(soap->tmpbuf + k, map->string, n);
        k += n;
        soap->tmpbuf[k] = '\0';
    }
    return soap->tmpbuf;
}
