/* envelope.cpp -- the SOAP Envelope, Header and Body around a message in both
 * directions, and the error model: the text of every code, the fault record's
 * texts, the printed forms of a fault, and sending and receiving a fault.
 * Not here: the fault and header records themselves and their element readers
 * and writers (the frame), the HTTP head (http.cpp), the framing (framing.cpp).
 */
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>

#include <poll.h>
#include <sys/socket.h>

#include "soapengine.h"

static const char SOAP11_ENV[] = "http://schemas.xmlsoap.org/soap/envelope/";
static const char SOAP11_ENC[] = "http://schemas.xmlsoap.org/soap/encoding/";
static const char SOAP12_ENV[] = "http://www.w3.org/2003/05/soap-envelope";
static const char SOAP12_ENC[] = "http://www.w3.org/2003/05/soap-encoding";

/* Formats into a fixed buffer; a text that doesn't fit is cut, by design. */
static void put_text(char *buf, size_t size, const char *format, ...) __attribute__((format(printf, 3, 4)));
static void put_text(char *buf, size_t size, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    vsnprintf(buf, size, format, ap);
    va_end(ap);
}

static bool valid_state(const struct soap *soap)
{
    return soap && (soap->state == 1 || soap->state == 2);
}

static const char *sender_code(const struct soap *soap)
{
    return soap->version == 2 ? "SOAP-ENV:Sender" : "SOAP-ENV:Client";
}

static const char *receiver_code(const struct soap *soap)
{
    return soap->version == 2 ? "SOAP-ENV:Receiver" : "SOAP-ENV:Server";
}

/* ------------------------------------------------------------------------ */
/* Envelope and Body, output                                                 */
/* ------------------------------------------------------------------------ */

int soap_envelope_begin_out(struct soap *soap)
{
    if ((soap->mode & SOAP_ENC_MIME) && soap->mime.boundary && soap->mime.start &&
        strlen(soap->mime.boundary) + strlen(soap->mime.start) < 944) {
        const char *type;
        if ((soap->mode & SOAP_ENC_DIME) && !(soap->mode & SOAP_ENC_MTOM))
            type = "application/dime";
        else if (soap->mode & SOAP_ENC_MTOM)
            type = soap->version == 2 ? "application/xop+xml; charset=utf-8; type=\"application/soap+xml\""
                                      : "application/xop+xml; charset=utf-8; type=\"text/xml\"";
        else
            type = soap->version == 2 ? "application/soap+xml; charset=utf-8" : "text/xml; charset=utf-8";
        put_text(soap->tmpbuf, sizeof(soap->tmpbuf),
                 "--%s\r\nContent-Type: %s\r\nContent-Transfer-Encoding: binary\r\nContent-ID: %s\r\n\r\n",
                 soap->mime.boundary, type, soap->mime.start);
        if (soap_send_raw(soap, soap->tmpbuf, strlen(soap->tmpbuf)))
            return soap->error;
    }
    if (soap->mode & SOAP_IO_LENGTH)
        soap->dime.size = soap->count;
    if ((soap->mode & SOAP_ENC_DIME) && !(soap->mode & SOAP_IO_LENGTH)) {
        /* PENDING: the DIME record head (soap_putdimehdr) is not part of this
         * engine build yet. */
        return soap->error = SOAP_DIME_ERROR;
    }
    soap->part = SOAP_IN_ENVELOPE;
    return soap_element_begin_out(soap, "SOAP-ENV:Envelope", 0, nullptr);
}

static size_t pad4(size_t n)
{
    return (n + 3) & ~(size_t)3;
}

int soap_envelope_end_out(struct soap *soap)
{
    if (soap_element_end_out(soap, "SOAP-ENV:Envelope"))
        return soap->error;
    if (soap_send_raw(soap, "\r\n", 2))
        return soap->error;
    bool dime = (soap->mode & SOAP_ENC_DIME) && !(soap->mode & SOAP_ENC_MTOM);
    if (dime && (soap->mode & SOAP_IO_LENGTH)) {
        /* the SOAP record of a DIME message: its size and head are known now */
        soap->dime.size = soap->count - soap->dime.size;
        put_text(soap->id, sizeof(soap->id), soap->dime_id_format ? soap->dime_id_format : "cid:id%d", 0);
        soap->dime.id = soap->id;
        soap->dime.type = nullptr;
        if (soap->local_namespaces)
            soap->dime.type = soap->local_namespaces[0].out ? soap->local_namespaces[0].out
                                                            : soap->local_namespaces[0].ns;
        soap->dime.options = nullptr;
        soap->dime.flags = soap->dime.first ? 0x24 : 0x26;
        soap->count += 12 + pad4(strlen(soap->dime.id)) + (soap->dime.type ? pad4(strlen(soap->dime.type)) : 0);
    }
    if (dime) {
        static const char zeros[4] = {0, 0, 0, 0};
        return soap_send_raw(soap, zeros, (0 - soap->dime.size) & 3);
    }
    soap->part = SOAP_END_ENVELOPE;
    return SOAP_OK;
}

int soap_body_begin_out(struct soap *soap)
{
    soap->part = SOAP_IN_BODY;
    if (soap->version == 1)
        soap->encoding = 1;
    if ((soap->mode & SOAP_SEC_WSUID) && soap_set_attr(soap, "wsu:Id", "Body", 1))
        return soap->error;
    return soap_element_begin_out(soap, "SOAP-ENV:Body", 0, nullptr);
}

int soap_body_end_out(struct soap *soap)
{
    if (soap_element_end_out(soap, "SOAP-ENV:Body"))
        return soap->error;
    soap->part = SOAP_END_BODY;
    return SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Envelope, Header and Body, input                                          */
/* ------------------------------------------------------------------------ */

/* The second row's `out` follows the envelope's version, so that a reply is
 * written with the encoding URI of the same SOAP version. */
static void learn_encoding(struct soap *soap, const char *uri)
{
    struct Namespace *row = &soap->local_namespaces[1];
    if (!row->id)
        return;
    if (row->out && !strcmp(row->out, uri))
        return;
    if (row->out) {
        soap_track_free(soap, "soapengine", __LINE__, row->out);
        row->out = nullptr;
    }
    if (row->ns && !strcmp(row->ns, uri))
        return;
    /* owned by the working table, like every learned URI */
    size_t n = strlen(uri) + 1;
    row->out = static_cast<char *>(soap_track_malloc(soap, "soapengine", __LINE__, n));
    if (row->out)
        memcpy(row->out, uri, n);
}

int soap_envelope_begin_in(struct soap *soap)
{
    soap->part = SOAP_IN_ENVELOPE;
    if (soap_element_begin_in(soap, "SOAP-ENV:Envelope", 0, nullptr)) {
        if (soap->error == SOAP_TAG_MISMATCH && !soap_element_begin_in(soap, "Envelope", 0, nullptr))
            return soap->error = SOAP_VERSIONMISMATCH;
        /* an HTTP failure explains more than a missing element */
        if (soap->status)
            soap->error = soap->status;
        return soap->error;
    }
    if (soap->local_namespaces && soap->local_namespaces[0].id) {
        const struct Namespace *row = &soap->local_namespaces[0];
        const char *uri = row->out ? row->out : row->ns;
        if (uri && !strcmp(uri, SOAP11_ENV)) {
            soap->version = 1;
            learn_encoding(soap, SOAP11_ENC);
        } else if (uri && !strcmp(uri, SOAP12_ENV)) {
            soap->version = 2;
            learn_encoding(soap, SOAP12_ENC);
        }
    }
    return SOAP_OK;
}

int soap_envelope_end_in(struct soap *soap)
{
    soap->part = SOAP_END_ENVELOPE;
    return soap_element_end_in(soap, "SOAP-ENV:Envelope");
}

int soap_recv_header(struct soap *soap)
{
    if (soap_getheader(soap) && soap->error == SOAP_TAG_MISMATCH)
        soap->error = SOAP_OK; /* a message without a Header */
    if (!soap->error && soap->fheader)
        soap->error = soap->fheader(soap);
    return soap->error;
}

int soap_body_begin_in(struct soap *soap)
{
    soap->part = SOAP_IN_BODY;
    if (soap_element_begin_in(soap, "SOAP-ENV:Body", 0, nullptr))
        return soap->error;
    if (!soap->body)
        soap->part = SOAP_NO_BODY;
    return SOAP_OK;
}

int soap_body_end_in(struct soap *soap)
{
    if (soap->part == SOAP_NO_BODY) {
        soap->error = SOAP_OK;
        return SOAP_OK;
    }
    soap->part = SOAP_END_BODY;
    return soap_element_end_in(soap, "SOAP-ENV:Body");
}

/* ------------------------------------------------------------------------ */
/* Error texts                                                               */
/* ------------------------------------------------------------------------ */

const char *soap_set_validation_fault(struct soap *soap, const char *s, const char *t)
{
    if (!t)
        t = "";
    if (*soap->tag)
        put_text(soap->msgbuf, sizeof(soap->msgbuf), "Validation constraint violation: %s%s in element '%s'", s, t,
                 soap->tag);
    else
        put_text(soap->msgbuf, sizeof(soap->msgbuf), "Validation constraint violation: %s%s", s, t);
    return soap->msgbuf;
}

static void append_delay(char *buf, size_t size, int timeout, const char *what)
{
    size_t n = strlen(buf);
    if (n < size)
        snprintf(buf + n, size - n, " (%ld%cs %s delay)", timeout < 0 ? -(long)timeout : (long)timeout, timeout < 0 ? 'u' : ' ',
                 what);
}

const char *soap_strerror(struct soap *soap)
{
    if (soap->errnum) {
        char tmp[sizeof(soap->msgbuf)];
        const char *text = strerror_r(soap->errnum, tmp, sizeof(tmp));
        put_text(soap->msgbuf, sizeof(soap->msgbuf), "%s", text);
        return soap->msgbuf;
    }
    put_text(soap->msgbuf, sizeof(soap->msgbuf), "Operation interrupted or timed out");
    if (soap->recv_timeout)
        append_delay(soap->msgbuf, sizeof(soap->msgbuf), soap->recv_timeout, "receive");
    if (soap->send_timeout)
        append_delay(soap->msgbuf, sizeof(soap->msgbuf), soap->send_timeout, "send");
    return soap->msgbuf;
}

const char *tcp_error(struct soap *soap)
{
    switch (soap->errmode) {
    case 1:
        return "WSAStartup failed";
    case 2:
        switch (soap->errnum) {
        case 1:
            return "Host not found";
        case 2:
            return "Try Again";
        case 3:
            return "No Recovery";
        case 4:
            return "No Data";
        default:
            put_text(soap->msgbuf, sizeof(soap->msgbuf), "TCP/UDP IP error %d", (int)soap->errnum);
            return soap->msgbuf;
        }
    default:
        return soap_strerror(soap);
    }
}

/* The fault string of an error code that has a fixed text, or null. */
static const char *fixed_text(int code)
{
    switch (code) {
    case SOAP_CLI_FAULT: return "Client fault";
    case SOAP_SVR_FAULT: return "Server fault";
    case SOAP_SYNTAX_ERROR: return "Well-formedness violation";
    case SOAP_NO_TAG: return "No XML root element";
    case SOAP_IOB: return "Array index out of bounds";
    case SOAP_USER_ERROR: return "User data error";
    case SOAP_FATAL_ERROR: return "Fatal error";
    case SOAP_NO_DATA: return "Data required for operation";
    case SOAP_GET_METHOD: return "HTTP GET method not implemented";
    case SOAP_PUT_METHOD: return "HTTP PUT method not implemented";
    case SOAP_HTTP_METHOD: return "HTTP method not implemented";
    case SOAP_EOM: return "Out of memory";
    case SOAP_MOE: return "Memory overflow or memory corruption error";
    case SOAP_HDR: return "Header line too long";
    case SOAP_UDP_ERROR: return "Message too large for UDP packet";
    case SOAP_HTTP_ERROR: return "An HTTP processing error occurred";
    case SOAP_SSL_ERROR: return "SSL/TLS error";
    case SOAP_ZLIB_ERROR: return "Zlib/gzip not installed for (de)compression: recompile with -DWITH_GZIP";
    case SOAP_DIME_ERROR: return "DIME format error";
    case SOAP_DIME_HREF: return "DIME href to missing attachment";
    case SOAP_DIME_MISMATCH: return "DIME version/transmission error";
    case SOAP_DIME_END: return "End of DIME error";
    case SOAP_MIME_ERROR: return "MIME format error";
    case SOAP_MIME_HREF: return "MIME href to missing attachment";
    case SOAP_MIME_END: return "End of MIME error";
    case SOAP_VERSIONMISMATCH: return "Invalid SOAP message or SOAP version mismatch";
    case SOAP_PLUGIN_ERROR: return "Plugin registry error";
    case SOAP_DATAENCODINGUNKNOWN: return "Unsupported SOAP data encoding";
    case SOAP_FD_EXCEEDED:
        return "Maximum number of open connections was reached (no define HAVE_POLL): increase FD_SETSIZE";
    case SOAP_UTF_ERROR: return "UTF content encoding error";
    case SOAP_NTLM_ERROR: return "An HTTP NTLM authentication error occurred";
    case SOAP_STOP: return "Stopped: no response to be sent or received (informative)";
    default: return nullptr;
    }
}

/* The text of `error`, composed in msgbuf where it has parts. */
static const char *error_text(struct soap *soap)
{
    int code = soap->error;
    if (const char *t = fixed_text(code))
        return t;
    switch (code) {
    case SOAP_OK:
    case SOAP_FAULT:
        return nullptr;
    case SOAP_EOF: {
        static const char prefix[] = "End of file or no input: ";
        const char *t = soap_strerror(soap); /* in msgbuf */
        size_t n = strlen(t);
        if (sizeof(prefix) - 1 + n < 1023) {
            memmove(soap->msgbuf + sizeof(prefix) - 1, t, n + 1);
            memcpy(soap->msgbuf, prefix, sizeof(prefix) - 1);
        }
        return soap->msgbuf;
    }
    case SOAP_TAG_MISMATCH:
        return soap_set_validation_fault(soap, "tag name or namespace mismatch", nullptr);
    case SOAP_TYPE:
        return soap_set_validation_fault(soap, "data type mismatch ", soap->type);
    case SOAP_MUSTUNDERSTAND:
        put_text(soap->msgbuf, sizeof(soap->msgbuf),
                 "The data in element '%s' must be understood but cannot be handled", soap->tag);
        return soap->msgbuf;
    case SOAP_NAMESPACE:
        return soap_set_validation_fault(soap, "namespace error", nullptr);
    case SOAP_NO_METHOD:
        put_text(soap->msgbuf, sizeof(soap->msgbuf),
                 "Method '%s' not implemented: method name or namespace not recognized", soap->tag);
        return soap->msgbuf;
    case SOAP_NULL:
        return soap_set_validation_fault(soap, "nil not allowed", nullptr);
    case SOAP_DUPLICATE_ID:
        return soap_set_validation_fault(soap, "multiple definitions (use the SOAP_XML_TREE flag) of the same id ",
                                         soap->id);
    case SOAP_MISSING_ID:
        return soap_set_validation_fault(soap, "missing id for ref ", soap->id);
    case SOAP_HREF:
        return soap_set_validation_fault(soap, "incompatible object type ref/id pair ", soap->id);
    case SOAP_TCP_ERROR:
        return tcp_error(soap);
    case SOAP_REQUIRED:
        return soap_set_validation_fault(soap, "missing required attribute", nullptr);
    case SOAP_PROHIBITED:
        return soap_set_validation_fault(soap, "prohibited attribute present", nullptr);
    case SOAP_OCCURS:
        return soap_set_validation_fault(soap, "occurrence violation", nullptr);
    case SOAP_LENGTH:
        return soap_set_validation_fault(soap, "content range or length violation", nullptr);
    default:
        break;
    }
    if (code >= 201 && code <= 599)
        put_text(soap->msgbuf, sizeof(soap->msgbuf), "HTTP Error: %d %s", code, soap_http_status_text(soap, code));
    else
        put_text(soap->msgbuf, sizeof(soap->msgbuf), "Error %d", code);
    return soap->msgbuf;
}

void soap_set_fault(struct soap *soap)
{
    const char **c = soap_faultcode(soap);
    const char **s = soap_faultstring(soap);
    if (!c || !s)
        return; /* no record: error says why */
    if (soap->fseterror)
        soap->fseterror(soap, c, s);
    if (!*c)
        *c = sender_code(soap);
    if (*s)
        return;
    switch (soap->error) {
    case SOAP_MUSTUNDERSTAND:
        *c = "SOAP-ENV:MustUnderstand";
        break;
    case SOAP_VERSIONMISMATCH:
        *c = "SOAP-ENV:VersionMismatch";
        break;
    case SOAP_DATAENCODINGUNKNOWN:
        *c = "SOAP-ENV:DataEncodingUnknown";
        break;
    case SOAP_DUPLICATE_ID:
    case SOAP_MISSING_ID:
        if (soap->version == 2) {
            const char **sub = soap_faultsubcode(soap);
            if (sub)
                *sub = soap->error == SOAP_DUPLICATE_ID ? "SOAP-ENC:DuplicateID" : "SOAP-ENC:MissingID";
        }
        break;
    default:
        break;
    }
    *s = error_text(soap);
}

/* ------------------------------------------------------------------------ */
/* Setting a fault                                                           */
/* ------------------------------------------------------------------------ */

int soap_set_error(struct soap *soap, const char *faultcode, const char *faultsubcode, const char *faultstring,
                   const char *faultdetail, int soaperror)
{
    if (const char **c = soap_faultcode(soap))
        *c = faultcode;
    if (faultsubcode && *faultsubcode)
        if (const char **sub = soap_faultsubcode(soap))
            *sub = faultsubcode;
    if (const char **s = soap_faultstring(soap))
        *s = faultstring;
    if (faultdetail && *faultdetail)
        if (const char **d = soap_faultdetail(soap))
            *d = faultdetail;
    return soap->error = soaperror;
}

int soap_set_sender_error(struct soap *soap, const char *faultstring, const char *faultdetail, int soaperror)
{
    return soap_set_error(soap, sender_code(soap), nullptr, faultstring, faultdetail, soaperror);
}

int soap_set_receiver_error(struct soap *soap, const char *faultstring, const char *faultdetail, int soaperror)
{
    return soap_set_error(soap, receiver_code(soap), nullptr, faultstring, faultdetail, soaperror);
}

int soap_copy_fault(struct soap *soap, const char *faultcode, const char *faultsubcode, const char *faultstring,
                    const char *faultdetail)
{
    char *c = soap_strdup(soap, faultcode);
    char *sub = soap_strdup(soap, faultsubcode);
    char *s = soap_strdup(soap, faultstring);
    char *d = soap_strdup(soap, faultdetail);
    return soap_set_error(soap, c, sub, s, d, SOAP_FAULT);
}

int soap_sender_fault(struct soap *soap, const char *faultstring, const char *faultdetail)
{
    return soap_copy_fault(soap, sender_code(soap), nullptr, faultstring, faultdetail);
}

int soap_sender_fault_subcode(struct soap *soap, const char *faultsubcode, const char *faultstring,
                              const char *faultdetail)
{
    return soap_copy_fault(soap, sender_code(soap), faultsubcode, faultstring, faultdetail);
}

int soap_receiver_fault(struct soap *soap, const char *faultstring, const char *faultdetail)
{
    return soap_copy_fault(soap, receiver_code(soap), nullptr, faultstring, faultdetail);
}

int soap_receiver_fault_subcode(struct soap *soap, const char *faultsubcode, const char *faultstring,
                                const char *faultdetail)
{
    return soap_copy_fault(soap, receiver_code(soap), faultsubcode, faultstring, faultdetail);
}

/* ------------------------------------------------------------------------ */
/* Printed forms                                                             */
/* ------------------------------------------------------------------------ */

/* The six values of the printed form of a fault. */
struct fault_view {
    const char *lead;
    int number;
    const char *code;
    const char *subcode;
    const char *reason;
    const char *detail;
};

static const char fault_format[] = "%s%d fault: %s [%s]\n\"%s\"\nDetail: %s\n";

static struct fault_view view_fault(struct soap *soap)
{
    const char **c = soap_faultcode(soap);
    if (c && !*c) {
        soap_set_fault(soap);
        c = soap_faultcode(soap);
    }
    struct fault_view v;
    v.lead = soap->version ? "SOAP 1." : "Error ";
    v.number = soap->version ? soap->version : soap->error;
    v.code = c && *c ? *c : "";
    v.subcode = soap->version == 2 ? soap_check_faultsubcode(soap) : nullptr;
    if (!v.subcode)
        v.subcode = "no subcode";
    const char **s = soap_faultstring(soap);
    v.reason = s && *s ? *s : "[no reason]";
    v.detail = soap_check_faultdetail(soap);
    if (!v.detail)
        v.detail = "[no detail]";
    return v;
}

const char *soap_sprint_fault(struct soap *soap, char *buf, size_t len)
{
    if (!buf || !len)
        return buf;
    if (!valid_state(soap)) {
        snprintf(buf, len, "%s", "Error: soap struct not initialized");
        return buf;
    }
    if (!soap->error)
        return buf;
    struct fault_view v = view_fault(soap);
    snprintf(buf, len, fault_format, v.lead, v.number, v.code, v.subcode, v.reason, v.detail);
    return buf;
}

void soap_print_fault(struct soap *soap, FILE *fd)
{
    if (!valid_state(soap)) {
        fprintf(fd, "Error: soap struct state not initialized\n");
        return;
    }
    if (!soap->error)
        return;
    struct fault_view v = view_fault(soap);
    fprintf(fd, fault_format, v.lead, v.number, v.code, v.subcode, v.reason, v.detail);
}

void soap_stream_fault(struct soap *soap, std::ostream &os)
{
    if (!valid_state(soap)) {
        os << "Error: soap struct state not initialized\n";
        return;
    }
    if (!soap->error)
        return;
    struct fault_view v = view_fault(soap);
    os << v.lead << v.number << " fault: " << v.code << " [" << v.subcode << "]\n\"" << v.reason << "\"\nDetail: "
       << v.detail << "\n";
}

void soap_print_fault_location(struct soap *soap, FILE *fd)
{
    if (!valid_state(soap) || !soap->error || soap->error == SOAP_STOP)
        return;
    if (soap->bufidx > soap->buflen || soap->buflen < 1 || soap->buflen > SOAP_BUFLEN)
        return;
    /* text up to the byte in front of the read position, that byte, the
     * mark, then at most 1023 bytes behind it; text stops at a zero byte */
    size_t i = soap->bufidx ? soap->bufidx - 1 : 0;
    fwrite(soap->buf, 1, strnlen(soap->buf, i), fd);
    fputc((unsigned char)soap->buf[i], fd);
    fputs("\n<!-- ** HERE ** -->\n", fd);
    if (soap->bufidx < soap->buflen) {
        size_t n = soap->buflen - soap->bufidx;
        if (n > 1023)
            n = 1023;
        fwrite(soap->buf + soap->bufidx, 1, strnlen(soap->buf + soap->bufidx, n), fd);
        fputc('\n', fd);
    }
}

/* ------------------------------------------------------------------------ */
/* Faults on the wire                                                        */
/* ------------------------------------------------------------------------ */

/* The code read is in the program's prefixes already; the tag match also
 * accepts any prefix that the message binds to the envelope namespace. */
static bool code_is(struct soap *soap, const char *code, const char *pattern)
{
    if (!strcmp(code, pattern))
        return true;
    int error = soap->error;
    bool match = !soap_match_tag(soap, code, pattern);
    soap->error = error;
    return match;
}

int soap_recv_fault(struct soap *soap, int check)
{
    int status = soap->error;
    if (!check && !(status == SOAP_NO_TAG || (status == SOAP_TAG_MISMATCH && soap->level == 2)))
        return status; /* the expected answer wasn't where a Fault may stand */
    soap->error = SOAP_OK;
    soap_getfault(soap);
    if (soap->error) {
        if (check && soap->error == SOAP_TAG_MISMATCH && soap->level == 2) {
            soap->error = SOAP_OK;
            return SOAP_OK;
        }
        if (const char **c = soap_faultcode(soap))
            *c = sender_code(soap);
        soap->error = status;
        soap_set_fault(soap);
    } else {
        const char **c = soap_faultcode(soap);
        const char *code = c ? *c : nullptr;
        if (!code)
            status = SOAP_FAULT;
        else if (code_is(soap, code, "SOAP-ENV:Server") || code_is(soap, code, "SOAP-ENV:Receiver"))
            status = SOAP_SVR_FAULT;
        else if (code_is(soap, code, "SOAP-ENV:Client") || code_is(soap, code, "SOAP-ENV:Sender"))
            status = SOAP_CLI_FAULT;
        else if (code_is(soap, code, "SOAP-ENV:MustUnderstand"))
            status = SOAP_MUSTUNDERSTAND;
        else if (code_is(soap, code, "SOAP-ENV:VersionMismatch"))
            status = SOAP_VERSIONMISMATCH;
        else
            status = SOAP_FAULT;
        if (!soap_body_end_in(soap))
            soap_envelope_end_in(soap);
    }
    soap_end_recv(soap);
    soap->error = status;
    return soap_closesock(soap);
}

/* Whether the peer of the connection is still there to take a fault. */
static bool peer_gone(struct soap *soap)
{
    if (soap->fpoll && soap->fpoll(soap))
        return true;
    if (soap->socket >= 0) {
        struct pollfd p;
        p.fd = soap->socket;
        p.events = POLLIN | POLLOUT;
        p.revents = 0;
        if (poll(&p, 1, 0) < 0)
            return errno != EINTR;
        if (!(p.revents & POLLOUT))
            return true;
        if (p.revents & (POLLIN | POLLHUP)) {
            char c;
            if (recv(soap->socket, &c, 1, MSG_PEEK) <= 0)
                return true;
        }
    }
    return false;
}

static int put_fault_message(struct soap *soap)
{
    if (soap_envelope_begin_out(soap) || soap_putheader(soap) || soap_body_begin_out(soap) ||
        soap_putfault(soap) || soap_body_end_out(soap) || soap_envelope_end_out(soap))
        return soap->error;
    return SOAP_OK;
}

int soap_send_fault(struct soap *soap)
{
    int status = soap->error;
    if (status == SOAP_STOP)
        return soap_closesock(soap);
    soap->keep_alive = 0;
    soap_set_fault(soap);
    if (soap->error < 200 && soap->error != SOAP_FAULT)
        soap->header = nullptr;
    if ((status == SOAP_EOF && (soap->recv_timeout || soap->send_timeout)) || peer_gone(soap)) {
        /* the peer is gone or too slow: nothing is sent */
        soap->error = status;
        return soap_closesock(soap);
    }
    soap->error = SOAP_OK;
    soap_serializeheader(soap);
    soap_serializefault(soap);
    if (soap_begin_count(soap))
        return soap_closesock(soap);
    if ((soap->mode & SOAP_IO_LENGTH) && put_fault_message(soap))
        return soap_closesock(soap);
    if (soap_end_count(soap))
        return soap_closesock(soap);
    if (soap_begin_send(soap))
        return soap_closesock(soap);
    int old_status = soap->status;
    if ((soap->mode & SOAP_IO) == SOAP_IO_STORE) {
        /* the head is written by soap_end_send, with the true length */
        soap->status = status;
    } else if (!(soap->mode & SOAP_ENC_XML)) {
        /* the head goes out unchunked, buffered with the start of the body */
        uint32_t mode = soap->mode;
        soap->mode &= ~(SOAP_IO | SOAP_ENC_ZLIB);
        if (mode & SOAP_IO)
            soap->mode |= SOAP_IO_BUFFER;
        soap->error = soap->fresponse(soap, status, soap->count);
        if (!soap->error && (mode & SOAP_IO) == SOAP_IO_CHUNK)
            soap_flush(soap);
        soap->mode = mode;
        if (soap->error)
            return soap_closesock(soap);
    }
    if (put_fault_message(soap) || soap_end_send(soap)) {
        soap->status = old_status;
        return soap_closesock(soap);
    }
    soap->status = old_status;
    soap->error = status;
    return soap_closesock(soap);
}
