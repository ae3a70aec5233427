/* http.cpp -- the HTTP head of a message: splitting an endpoint address,
 * writing request and response heads, reading a status line and its headers.
 * Not here: sockets and time-outs (socket.cpp), the body's framing and chunk
 * decoding (framing.cpp), TLS (tls.cpp).
 */
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "soapengine.h"
#include "soapinternal.h"

/* ------------------------------------------------------------------------ */
/* Status texts                                                              */
/* ------------------------------------------------------------------------ */

static const struct soap_code_map http_status_texts[] = {
    {200, "OK"},
    {201, "Created"},
    {202, "Accepted"},
    {203, "Non-Authoritative Information"},
    {204, "No Content"},
    {205, "Reset Content"},
    {206, "Partial Content"},
    {300, "Multiple Choices"},
    {301, "Moved Permanently"},
    {302, "Found"},
    {303, "See Other"},
    {304, "Not Modified"},
    {305, "Use Proxy"},
    {307, "Temporary Redirect"},
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {402, "Payment Required"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {406, "Not Acceptable"},
    {407, "Proxy Authentication Required"},
    {408, "Request Time-out"},
    {409, "Conflict"},
    {410, "Gone"},
    {411, "Length Required"},
    {412, "Precondition Failed"},
    {413, "Request Entity Too Large"},
    {414, "Request-URI Too Large"},
    {415, "Unsupported Media Type"},
    {416, "Requested range not satisfiable"},
    {417, "Expectation Failed"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
    {504, "Gateway Time-out"},
    {505, "HTTP Version not supported"},
    {0, nullptr},
};

const char *soap_http_status_text(struct soap *, int status)
{
    for (const struct soap_code_map *p = http_status_texts; p->string; p++)
        if (p->code == status)
            return p->string;
    return "";
}

/* ------------------------------------------------------------------------ */
/* Endpoint address                                                          */
/* ------------------------------------------------------------------------ */

void soap_set_endpoint(struct soap *soap, const char *endpoint)
{
    soap->endpoint[0] = '\0';
    soap->host[0] = '\0';
    soap->path[0] = '/';
    soap->path[1] = '\0';
    soap->port = 80;
    if (!endpoint || !*endpoint)
        return;
    if (!soap_tag_cmp(endpoint, "https:*"))
        soap->port = 443;
    strncpy(soap->endpoint, endpoint, sizeof(soap->endpoint) - 1);
    soap->endpoint[sizeof(soap->endpoint) - 1] = '\0';

    const char *s = strchr(endpoint, ':');
    if (s && s[1] == '/' && s[2] == '/')
        s += 3;
    else
        s = endpoint;
    size_t n = strlen(s);
    if (n >= sizeof(soap->host))
        n = sizeof(soap->host) - 1;

    size_t i = 0;
    if (*s == '[') {
        /* numeric IPv6 host: the brackets are not part of the name */
        s++;
        while (i < n && s[i] && s[i] != ']') {
            soap->host[i] = s[i];
            i++;
        }
        soap->host[i] = '\0';
        s += i;
        if (*s == ']')
            s++;
    } else {
        while (i < n && s[i] && s[i] != '/' && s[i] != ':') {
            soap->host[i] = s[i];
            i++;
        }
        soap->host[i] = '\0';
        s += i;
    }
    if (*s == ':') {
        soap->port = (int)strtol(s + 1, nullptr, 10);
        s = strchr(s + 1, '/');
        if (!s)
            return;
    }
    if (*s == '/') {
        strncpy(soap->path, s, sizeof(soap->path));
        soap->path[sizeof(soap->path) - 1] = '\0';
    }
}

/* ------------------------------------------------------------------------ */
/* Writing a head                                                            */
/* ------------------------------------------------------------------------ */

/* Sends text with every line feed left out, so that a value cannot end the
 * header line it stands in. */
static int send_without_lf(struct soap *soap, const char *s)
{
    while (*s) {
        size_t n = strcspn(s, "\n");
        if (n && soap_send_raw(soap, s, n))
            return soap->error;
        s += n;
        if (*s == '\n')
            s++;
    }
    return SOAP_OK;
}

/* Appends s to a header line being built in line[0, *k), leaving out line
 * feeds; false when it doesn't fit. */
static bool add_without_lf(char *line, size_t size, size_t *k, const char *s)
{
    size_t n = *k;
    for (; *s; s++) {
        if (*s == '\n')
            continue;
        if (n == size)
            return false;
        line[n++] = *s;
    }
    *k = n;
    return true;
}

int http_post_header(struct soap *soap, const char *key, const char *value)
{
    /* the whole line in one write when it fits */
    char line[SOAP_TAGLEN];
    size_t k = 0;
    bool fits = true;
    if (key) {
        fits = add_without_lf(line, sizeof(line) - 4, &k, key);
        if (fits && value) {
            line[k++] = ':';
            line[k++] = ' ';
            fits = add_without_lf(line, sizeof(line) - 2, &k, value);
        }
    }
    if (fits) {
        line[k++] = '\r';
        line[k++] = '\n';
        return soap_send_raw(soap, line, k);
    }
    if (key) {
        if (send_without_lf(soap, key))
            return soap->error;
        if (value) {
            if (soap_send_raw(soap, ": ", 2) || send_without_lf(soap, value))
                return soap->error;
        }
    }
    return soap_send_raw(soap, "\r\n", 2);
}

/* A line built in a fixed buffer; what doesn't fit is cut, as snprintf cuts. */
class LineText {
public:
    LineText(char *buf, size_t size) : buf_(buf), size_(size) { buf_[0] = '\0'; }
    LineText &add(const char *s) { return add(s, strlen(s)); }
    LineText &add(const char *s, size_t k)
    {
        if (k > size_ - 1 - n_)
            k = size_ - 1 - n_;
        memcpy(buf_ + n_, s, k);
        n_ += k;
        buf_[n_] = '\0';
        return *this;
    }
    LineText &num(long v)
    {
        char t[24];
        size_t i = sizeof(t);
        unsigned long u = v < 0 ? 0UL - (unsigned long)v : (unsigned long)v;
        do
            t[--i] = (char)('0' + u % 10);
        while (u /= 10);
        if (v < 0)
            t[--i] = '-';
        return add(t + i, sizeof(t) - i);
    }

private:
    char *buf_;
    size_t size_;
    size_t n_ = 0;
};

/* Appends text to a bounded buffer; the buffer stays terminated. */
static void append(char *buf, size_t size, const char *s, size_t n = (size_t)-1)
{
    size_t l = strlen(buf);
    if (n == (size_t)-1)
        n = strlen(s);
    if (l + 1 >= size)
        return;
    if (n > size - 1 - l)
        n = size - 1 - l;
    memcpy(buf + l, s, n);
    buf[l + n] = '\0';
}

int soap_puthttphdr(struct soap *soap, int status, size_t count)
{
    int err;
    if (soap->status != SOAP_GET && soap->status != SOAP_CONNECT) {
        const char *s;
        const char *info = nullptr;
        if ((status == SOAP_FILE || soap->status == SOAP_POST_FILE) && soap->http_content)
            s = soap->http_content;
        else if (status == SOAP_HTML)
            s = "text/html; charset=utf-8";
        else if (count == 0 && (soap->omode & SOAP_IO) != SOAP_IO_CHUNK)
            s = "text/xml; charset=utf-8";
        else if (soap->version == 2)
            s = "application/soap+xml; charset=utf-8";
        else
            s = "text/xml; charset=utf-8";
        if (soap->mode & (SOAP_ENC_DIME | SOAP_ENC_MTOM)) {
            if (soap->mode & SOAP_ENC_MTOM) {
                s = "application/xop+xml";
                info = soap->version == 2 ? "application/soap+xml" : "text/xml";
            } else {
                s = "application/dime";
            }
        }
        /* large enough for the multipart form with all its parameters */
        char type[2 * SOAP_TAGLEN];
        type[0] = '\0';
        if ((soap->mode & SOAP_ENC_MIME) && soap->mime.boundary
            && strlen(soap->mime.boundary) + (soap->mime.start ? strlen(soap->mime.start) : 0) < 944) {
            append(type, sizeof(type), "multipart/related; charset=utf-8; boundary=\"");
            append(type, sizeof(type), soap->mime.boundary);
            append(type, sizeof(type), "\"; type=\"");
            append(type, sizeof(type), s, strcspn(s, ";"));
            if (soap->mime.start) {
                append(type, sizeof(type), "\"; start=\"");
                append(type, sizeof(type), soap->mime.start);
            }
            append(type, sizeof(type), "\"");
            if (info) {
                append(type, sizeof(type), "; start-info=\"");
                append(type, sizeof(type), info);
                append(type, sizeof(type), "\"");
            }
        } else {
            append(type, sizeof(type), s);
        }
        if (status == SOAP_OK && soap->version == 2 && soap->action
            && strlen(type) + strlen(soap->action) < 944) {
            append(type, sizeof(type), "; action=\"");
            append(type, sizeof(type), soap->action);
            append(type, sizeof(type), "\"");
        }
        if ((err = soap->fposthdr(soap, "Content-Type", type)))
            return err;
        if ((soap->omode & SOAP_IO) != SOAP_IO_CHUNK) {
            char len[24];
            size_t i = sizeof(len) - 1;
            len[i] = '\0';
            unsigned long u = (unsigned long)count;
            do
                len[--i] = (char)('0' + u % 10);
            while (u /= 10);
            memmove(len, len + i, sizeof(len) - i);
            err = soap->fposthdr(soap, "Content-Length", len);
        } else {
            err = soap->fposthdr(soap, "Transfer-Encoding", "chunked");
        }
        if (err)
            return err;
    }
    return soap->fposthdr(soap, "Connection", soap->keep_alive ? "keep-alive" : "close");
}

/* "Basic " and the base64 form of "userid:passwd", in tmpbuf; null when the
 * pair is too long for the buffer (the header is then left out). */
static const char *basic_credentials(struct soap *soap, const char *userid, const char *passwd)
{
    size_t lu = strlen(userid), lp = strlen(passwd);
    if (lu + lp >= 761)
        return nullptr;
    char plain[762];
    memcpy(plain, userid, lu);
    plain[lu] = ':';
    memcpy(plain + lu + 1, passwd, lp);
    memcpy(soap->tmpbuf, "Basic ", 6);
    if (!soap_s2base64(soap, (const unsigned char *)plain, soap->tmpbuf + 6, (int)(lu + lp + 1)))
        return nullptr;
    return soap->tmpbuf;
}

int http_post(struct soap *soap, const char *endpoint, const char *host, int port, const char *path,
              const char *action, size_t count)
{
    const char *method;
    int err;
    if (soap->status == SOAP_GET)
        method = "GET";
    else if (soap->status == SOAP_CONNECT)
        method = "CONNECT";
    else
        method = "POST";
    if (!endpoint)
        return SOAP_OK;
    if (soap_tag_cmp(endpoint, "http:*") && soap_tag_cmp(endpoint, "https:*")
        && strncmp(endpoint, "httpg:", 6))
        return SOAP_OK;
    if (strlen(endpoint) + strlen(soap->http_version) > 944)
        return soap->error = SOAP_EOM;

    char line[2 * SOAP_TAGLEN];
    if (soap->status == SOAP_CONNECT)
        LineText(line, sizeof(line)).add(method).add(" ").add(soap->host).add(":").num(soap->port)
            .add(" HTTP/").add(soap->http_version);
    else if (soap->proxy_host)
        LineText(line, sizeof(line)).add(method).add(" ").add(endpoint).add(" HTTP/").add(soap->http_version);
    else
        LineText(line, sizeof(line)).add(method).add(" /").add(path ? (*path == '/' ? path + 1 : path) : "")
            .add(" HTTP/").add(soap->http_version);
    if ((err = soap->fposthdr(soap, line, nullptr)))
        return err;

    if (!host)
        host = "";
    if ((soap->ssl && port == 443) || (!soap->ssl && port == 80))
        LineText(line, sizeof(line)).add(host);
    else if (strchr(host, ':') && *host != '[')
        LineText(line, sizeof(line)).add("[").add(host).add("]:").num(port);
    else
        LineText(line, sizeof(line)).add(host).add(":").num(port);
    if ((err = soap->fposthdr(soap, "Host", line))
        || (err = soap->fposthdr(soap, "User-Agent", "orvsoap/1.0"))
        || (err = soap_puthttphdr(soap, SOAP_OK, count)))
        return err;

    const char *auth;
    if (soap->userid && soap->passwd && (auth = basic_credentials(soap, soap->userid, soap->passwd))
        && (err = soap->fposthdr(soap, "Authorization", auth)))
        return err;
    if (soap->proxy_userid && soap->proxy_passwd
        && (auth = basic_credentials(soap, soap->proxy_userid, soap->proxy_passwd))
        && (err = soap->fposthdr(soap, "Proxy-Authorization", auth)))
        return err;
    if (action && soap->status != SOAP_GET) {
        LineText(soap->tmpbuf, sizeof(soap->tmpbuf)).add("\"").add(strlen(action) > 1020 ? "" : action).add("\"");
        if ((err = soap->fposthdr(soap, "SOAPAction", soap->tmpbuf)))
            return err;
    }
    return soap->fposthdr(soap, nullptr, nullptr);
}

int http_response(struct soap *soap, int status, size_t count)
{
    int err;
    char line[SOAP_TAGLEN];
    const char *text = nullptr;
    if (strlen(soap->http_version) >= 5)
        return soap->error = SOAP_EOM;
    if (status == SOAP_OK || status == SOAP_HTML || status == SOAP_FILE) {
        if (count == 0 && (soap->omode & SOAP_IO) != SOAP_IO_CHUNK)
            text = "202 ACCEPTED";
        else
            text = "200 OK";
    } else if (status < 200 || status > 599) {
        if (status >= SOAP_GET_METHOD && status <= SOAP_HTTP_METHOD) {
            text = "405 Method Not Allowed";
        } else if (soap->version == 2) {
            const char **code = soap_faultcode(soap);
            if (!code || !*code || !strcmp(*code, "SOAP-ENV:Sender"))
                text = "400 Bad Request";
            else
                text = "500 Internal Server Error";
        } else {
            text = "500 Internal Server Error";
        }
    }
    if (text) {
        /* a connection gets a status line; anything else is a CGI-style answer */
        if (soap->socket >= 0 || soap->master >= 0) {
            snprintf(line, sizeof(line), "HTTP/%s %s", soap->http_version, text);
            err = soap->fposthdr(soap, line, nullptr);
        } else {
            err = soap->fposthdr(soap, "Status", text);
        }
        if (err)
            return err;
    } else {
        snprintf(line, sizeof(line), "HTTP/%s %d %s", soap->http_version, status,
                 soap_http_status_text(soap, status));
        if ((err = soap->fposthdr(soap, line, nullptr)))
            return err;
        if (status == 401) {
            const char *realm = soap->authrealm;
            if (!realm || strlen(realm) > 1009)
                realm = "orvsoap Web Service";
            snprintf(line, sizeof(line), "Basic realm=\"%s\"", realm);
            if ((err = soap->fposthdr(soap, "WWW-Authenticate", line)))
                return err;
        } else if ((status >= 301 && status <= 303) || status == 307) {
            if ((err = soap->fposthdr(soap, "Location", soap->endpoint)))
                return err;
        }
    }
    if ((err = soap->fposthdr(soap, "Server", "orvsoap/1.0")) || (err = soap_puthttphdr(soap, status, count)))
        return err;
    return soap->fposthdr(soap, nullptr, nullptr);
}

int http_get(struct soap *)
{
    return SOAP_GET_METHOD;
}

int http_405(struct soap *)
{
    return 405;
}

/* An empty 200 answer: the head alone, with a zero length. */
int http_200(struct soap *soap)
{
    uint32_t omode = soap->omode;
    soap->omode = (omode & ~(uint32_t)SOAP_IO) | SOAP_IO_BUFFER;
    if (!soap_begin_send(soap) && !soap->fresponse(soap, 200, 0))
        soap_end_send(soap);
    soap->omode = omode;
    return soap->error;
}

/* ------------------------------------------------------------------------ */
/* Header values: tokens, quoted strings, %XX escapes                        */
/* ------------------------------------------------------------------------ */

static int hexdigit(int c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

/* Copies one token or quoted string of `val` into buf (at most len - 1
 * bytes, always terminated) and returns the position after it.  Leading
 * blanks and control bytes are skipped; a token ends at a byte below 33 or
 * at one of `sep`. */
static const char *soap_decode(char *buf, size_t len, const char *val, const char *sep)
{
    size_t i = 0;
    const unsigned char *s = (const unsigned char *)val;
    while (*s && *s <= 32)
        s++;
    if (*s == '"') {
        s++;
        while (*s && *s != '"') {
            if (i + 1 < len)
                buf[i++] = (char)*s;
            s++;
        }
        if (*s == '"')
            s++;
    } else {
        while (*s > 32 && !strchr(sep, *s)) {
            int c = *s++;
            int h, l;
            if (c == '%' && (h = hexdigit(s[0])) >= 0 && (l = hexdigit(s[1])) >= 0) {
                c = (h << 4) | l;
                s += 2;
            }
            if (i + 1 < len)
                buf[i++] = (char)c;
        }
    }
    if (len)
        buf[i] = '\0';
    return (const char *)s;
}

const char *soap_decode_key(char *buf, size_t len, const char *val)
{
    const unsigned char *s = (const unsigned char *)val;
    while (*s && (*s <= 32 || *s == '=' || *s == ',' || *s == ';'))
        s++;
    return soap_decode(buf, len, (const char *)s, "=,;");
}

const char *soap_decode_val(char *buf, size_t len, const char *val)
{
    const unsigned char *s = (const unsigned char *)val;
    while (*s && *s <= 32)
        s++;
    if (*s != '=') {
        if (len)
            *buf = '\0';
        return (const char *)s;
    }
    return soap_decode(buf, len, (const char *)s + 1, ",;");
}

const char *soap_get_header_attribute(struct soap *soap, const char *line, const char *key)
{
    const char *s = line;
    if (!s || !key)
        return nullptr;
    while (*s) {
        s = soap_decode_key(soap->tmpbuf, sizeof(soap->tmpbuf), s);
        if (!soap_tag_cmp(soap->tmpbuf, key)) {
            soap_decode_val(soap->tmpbuf, sizeof(soap->tmpbuf), s);
            return soap->tmpbuf;
        }
        s = soap_decode_val(soap->tmpbuf, sizeof(soap->tmpbuf), s);
    }
    return nullptr;
}

/* ------------------------------------------------------------------------ */
/* Reading a head                                                            */
/* ------------------------------------------------------------------------ */

int soap_getline(struct soap *soap, char *buf, size_t size)
{
    size_t i = 0;
    if (!size)
        return soap->error = SOAP_HDR;
    for (;;) {
        soap_wchar c;
        for (;;) {
            c = soap_getchar(soap);
            if ((int)c == EOF) {
                buf[i] = '\0';
                return soap->error ? soap->error : SOAP_EOF;
            }
            if (c == '\n')
                break;
            if (c == '\r')
                continue;
            if (i + 1 >= size) {
                /* this byte doesn't fit and is dropped: only the line end may follow */
                do
                    c = soap_getchar(soap);
                while (c == '\r');
                buf[i] = '\0';
                if ((int)c == EOF)
                    return soap->error ? soap->error : SOAP_EOF;
                if (c != '\n')
                    return soap->error = SOAP_HDR;
                break;
            }
            buf[i++] = (char)c;
        }
        buf[i] = '\0';
        if (i == 0)
            return SOAP_OK;
        c = soap_getchar(soap);
        if (c != ' ' && c != '\t') {
            soap->ahead = c;
            return SOAP_OK;
        }
        /* a folded line: the continuation's bytes follow at once */
        if (i + 1 < size)
            buf[i++] = (char)c;
    }
}

/* Reads the input to its end as seen by the reader, or `n` bytes, into a
 * block of the context; zero-terminated. */
static char *read_body(struct soap *soap, size_t n, bool to_end)
{
    size_t cap = 256, len = 0;
    char *t = (char *)malloc(cap);
    if (!t) {
        soap->error = SOAP_EOM;
        return nullptr;
    }
    while (to_end || len < n) {
        soap_wchar c = soap_getchar(soap);
        if ((int)c == EOF)
            break;
        if (len + 1 >= cap) {
            char *u = (char *)realloc(t, 2 * cap);
            if (!u) {
                free(t);
                soap->error = SOAP_EOM;
                return nullptr;
            }
            t = u;
            cap *= 2;
        }
        t[len++] = (char)c;
    }
    t[len] = '\0';
    char *r = (char *)soap_malloc(soap, len + 1);
    if (r)
        memcpy(r, t, len + 1);
    free(t);
    return r;
}

char *soap_get_http_body(struct soap *soap)
{
    bool chunked = (soap->imode & SOAP_IO) == SOAP_IO_CHUNK;
    bool zlib = (soap->imode & SOAP_ENC_ZLIB) != 0;
    if (!chunked && !zlib) {
        if (!soap->length)
            return nullptr;
        return read_body(soap, soap->length, false);
    }
    if (!chunked)
        return read_body(soap, 0, true);
    /* Decode the chunks as the reader would: the bytes buffered behind the
     * head are the start of the chunked stream. */
    uint32_t mode = soap->mode;
    soap->mode = (soap->mode & ~(uint32_t)SOAP_IO) | SOAP_IO_CHUNK;
    soap->chunksize = 0;
    soap->chunkbuflen = soap->buflen;
    soap->buflen = soap->bufidx;
    char *r = read_body(soap, 0, true);
    soap->mode = mode;
    return r;
}

/* Copies a header value without the double quotes around it. */
static char *copy_unquoted(struct soap *soap, const char *s)
{
    size_t n = strlen(s);
    if (n && *s == '"') {
        s++;
        n--;
    }
    if (n && s[n - 1] == '"')
        n--;
    char *t = (char *)soap_malloc(soap, n + 1);
    if (t) {
        memcpy(t, s, n);
        t[n] = '\0';
    }
    return t;
}

int http_parse_header(struct soap *soap, const char *key, const char *val)
{
    if (!soap_tag_cmp(key, "Host")) {
        const char *scheme = (soap->imode & SOAP_ENC_SSL) ? "https://" : "http://";
        size_t l = strlen(scheme);
        memcpy(soap->endpoint, scheme, l + 1);
        size_t n = strlen(val);
        if (n > 1016)
            n = 1016;
        if (n > sizeof(soap->endpoint) - 1 - l)
            n = sizeof(soap->endpoint) - 1 - l;
        memcpy(soap->endpoint + l, val, n);
        soap->endpoint[l + n] = '\0';
    } else if (!soap_tag_cmp(key, "Content-Type")) {
        const char *action;
        if (!(soap->http_content = soap_strdup(soap, val)))
            return SOAP_EOM;
        if (soap_get_header_attribute(soap, val, "application/dime")) {
            soap->imode |= SOAP_ENC_DIME;
        } else if (soap_get_header_attribute(soap, val, "multipart/related")
                   || soap_get_header_attribute(soap, val, "multipart/form-data")) {
            const char *s = soap_get_header_attribute(soap, val, "boundary");
            soap->mime.boundary = s ? soap_strdup(soap, s) : nullptr;
            s = soap_get_header_attribute(soap, val, "start");
            soap->mime.start = s ? soap_strdup(soap, s) : nullptr;
            soap->imode |= SOAP_ENC_MIME;
        }
        if ((action = soap_get_header_attribute(soap, val, "action")))
            soap->action = copy_unquoted(soap, action);
    } else if (!soap_tag_cmp(key, "Content-Length")) {
        soap->length = (size_t)strtoul(val, nullptr, 10);
    } else if (!soap_tag_cmp(key, "Content-Encoding")) {
        if (!soap_tag_cmp(val, "deflate") || !soap_tag_cmp(val, "gzip"))
            return SOAP_ZLIB_ERROR;
    } else if (!soap_tag_cmp(key, "Transfer-Encoding")) {
        soap->imode &= ~(uint32_t)SOAP_IO;
        if (!soap_tag_cmp(val, "chunked"))
            soap->imode |= SOAP_IO_CHUNK;
    } else if (!soap_tag_cmp(key, "Connection")) {
        if (!soap_tag_cmp(val, "keep-alive"))
            soap->keep_alive = -soap->keep_alive;
        else if (!soap_tag_cmp(val, "close"))
            soap->keep_alive = 0;
    } else if (!soap_tag_cmp(key, "Authorization")) {
        if (!soap_tag_cmp(val, "Basic *")) {
            int n = 0;
            int err = soap->error;
            if (soap_base642s(soap, val + 6, soap->tmpbuf, sizeof(soap->tmpbuf) - 1, &n)) {
                if (n < 0)
                    n = 0;
                if ((size_t)n > sizeof(soap->tmpbuf) - 1)
                    n = sizeof(soap->tmpbuf) - 1;
                soap->tmpbuf[n] = '\0';
                char *s = strchr(soap->tmpbuf, ':');
                if (s) {
                    *s = '\0';
                    soap->userid = soap_strdup(soap, soap->tmpbuf);
                    soap->passwd = soap_strdup(soap, s + 1);
                }
            }
            /* credentials that don't decode are no credentials, not an error */
            soap->error = err;
        }
    } else if (!soap_tag_cmp(key, "WWW-Authenticate") || !soap_tag_cmp(key, "Proxy-Authenticate")) {
        const char *realm = strlen(val) > 6 ? soap_get_header_attribute(soap, val + 6, "realm") : nullptr;
        soap->authrealm = realm ? soap_strdup(soap, realm) : nullptr;
    } else if (!soap_tag_cmp(key, "Expect")) {
        if (!soap_tag_cmp(val, "100-continue")) {
            int err;
            if ((err = soap->fposthdr(soap, "HTTP/1.1 100 Continue", nullptr))
                || (err = soap->fposthdr(soap, nullptr, nullptr)))
                return err;
        }
    } else if (!soap_tag_cmp(key, "SOAPAction")) {
        soap->action = copy_unquoted(soap, val);
    } else if (!soap_tag_cmp(key, "Location")) {
        strncpy(soap->endpoint, val, sizeof(soap->endpoint));
        soap->endpoint[sizeof(soap->endpoint) - 1] = '\0';
    } else if (!soap_tag_cmp(key, "X-Forwarded-For")) {
        soap->proxy_from = soap_strdup(soap, val);
    }
    return SOAP_OK;
}

/* The method dispatch of a request that arrived at the context. */
static int http_parse_request(struct soap *soap, const char *http, int remembered)
{
    static const char *const methods[] = {"POST ", "PUT ", "GET ", "DELETE ", "OPTIONS ", "HEAD "};
    const char *line = soap->msgbuf;
    size_t m = 0;
    int k;
    for (k = 0; k < 6; k++) {
        m = strlen(methods[k]);
        if (!strncmp(line, methods[k], m))
            break;
    }
    if (k == 6)
        return soap->error = 405;

    /* the path: between the method and the blank before "HTTP/" */
    const char *s = line + m;
    size_t n = s < http ? (size_t)(http - s) : 0;
    if (n && s[n - 1] == ' ')
        n--;
    size_t used = strlen(soap->endpoint);
    if (n > sizeof(soap->path) - 1)
        n = sizeof(soap->path) - 1;
    if (n > sizeof(soap->endpoint) - 1 - used)
        n = sizeof(soap->endpoint) - 1 - used;
    memcpy(soap->path, s, n);
    soap->path[n] = '\0';
    if (*soap->path != '/') {
        soap->endpoint[0] = '\0';
        used = 0;
    }
    memcpy(soap->endpoint + used, soap->path, n + 1);

    int r;
    switch (k) {
    case 0:
        return remembered ? (soap->error = remembered) : SOAP_OK;
    case 1:
        /* the default PUT handler is this parser: refuse instead of reading
         * request after request on the stack */
        if (soap->fput == http_parse || !soap->fput)
            return soap->error = SOAP_PUT_METHOD;
        r = soap->fput(soap);
        break;
    case 2:
        r = soap->fget ? soap->fget(soap) : SOAP_GET_METHOD;
        break;
    case 3:
        r = soap->fdel ? soap->fdel(soap) : 405;
        break;
    case 4:
        r = soap->fopt ? soap->fopt(soap) : SOAP_HTTP_METHOD;
        break;
    default:
        r = soap->fhead ? soap->fhead(soap) : SOAP_HTTP_METHOD;
        break;
    }
    if (r)
        return soap->error = r;
    return soap->error = SOAP_STOP;
}

/* The fault of a failed answer: the status line, and the body if any. */
static int http_error(struct soap *soap, const char *string, const char *detail)
{
    return soap_set_sender_error(soap, string, detail, soap->status);
}

int http_parse(struct soap *soap)
{
    int remembered = 0;
    char header[SOAP_HDRLEN];

    soap->endpoint[0] = '\0';
    soap->status = 0;
    soap->length = 0;
    soap->userid = nullptr;
    soap->passwd = nullptr;
    soap->authrealm = nullptr;
    soap->proxy_from = nullptr;
    soap->http_content = nullptr;
    soap->action = nullptr;

    do {
        int r = soap_getline(soap, soap->msgbuf, sizeof(soap->msgbuf));
        if (r) {
            if (r == SOAP_EOF)
                return soap->error = SOAP_EOF;
            return soap->error = 414;
        }
        const char *s = strchr(soap->msgbuf, ' ');
        soap->status = 0;
        if (s) {
            char *t;
            unsigned long code = strtoul(s + 1, &t, 10);
            if ((unsigned char)*t <= 32)
                soap->status = (int)(code & 0xFFFF);
        }
        for (;;) {
            r = soap_getline(soap, header, sizeof(header));
            if (r) {
                if (r != SOAP_EOF)
                    return soap->error = r;
                soap->error = SOAP_OK;
                break;
            }
            if (!*header)
                break;
            char *key = header;
            char *val = strchr(key, ':');
            if (!val)
                continue;
            *val++ = '\0';
            while (*val && (unsigned char)*val <= 32)
                val++;
            if (*val == '"')
                val++;
            char *end = val + strlen(val);
            while (end > val && (unsigned char)end[-1] <= 32)
                end--;
            if (end > val && end[-1] == '"')
                end--;
            *end = '\0';
            r = soap->fparsehdr(soap, key, val);
            if (r) {
                if (r < SOAP_STOP)
                    return soap->error = r;
                remembered = r;
                soap->error = SOAP_OK;
            }
        }
    } while (soap->status == 100);

    const char *http = strstr(soap->msgbuf, "HTTP/");
    if (http) {
        /* "HTTP/1.x": the minor version is 7 places on */
        char minor = (http[5] && http[6]) ? http[7] : '\0';
        if (minor != '1') {
            if (soap->keep_alive == 1)
                soap->keep_alive = 0;
            if (soap->status == 0 && (soap->omode & SOAP_IO) == SOAP_IO_CHUNK) {
                soap->imode = (soap->imode & ~(uint32_t)SOAP_IO) | SOAP_IO_CHUNK;
                soap->omode = (soap->omode & ~(uint32_t)SOAP_IO) | SOAP_IO_STORE;
            }
        }
    }
    if (soap->keep_alive < 0)
        soap->keep_alive = 1;

    if (soap->status == 0) {
        if (http)
            return http_parse_request(soap, http, remembered);
        if (remembered)
            return soap->error = remembered;
    }

    int status = soap->status;
    if (status == 0 || status == 200)
        return SOAP_OK;
    /* a copy: msgbuf is reused by later messages and by error texts */
    const char *line = soap_strdup(soap, soap->msgbuf);
    if (!line)
        line = soap->msgbuf;
    if (soap->length == 0 && (soap->imode & SOAP_IO) != SOAP_IO_CHUNK
        && (!soap->http_content || soap->recv_timeout == 0))
        return http_error(soap, "HTTP Error", line);
    if ((status >= 201 && status <= 299) || status == 400 || status == 500)
        return SOAP_OK;
    soap->keep_alive = 0;
    const char *body = soap_get_http_body(soap);
    if (body)
        return http_error(soap, line, body);
    return http_error(soap, "HTTP Error", line);
}
