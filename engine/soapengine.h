/* soapengine.h -- the orvsoap engine: the runtime context `soap` and every
 * free function over it (memory, XML reader and writer, namespaces, reference
 * tables, value converters, envelope and faults, framing, HTTP, sockets, TLS,
 * attachments, trace).
 *
 * C-style by design: one context record, plain functions that take it first,
 * error codes in `soap->error`, no exceptions.  The generated message model
 * and the proxies sit on top of this header.
 */
#ifndef ORVSOAP_SOAPENGINE_H
#define ORVSOAP_SOAPENGINE_H

#include <cstddef>
#include <cstdio>
#include <cstdint>
#include <ctime>
#include <cwchar>
#include <iosfwd>

#include <netinet/in.h>
#include <sys/socket.h>

#include <openssl/ssl.h>
#include <openssl/x509.h>

/* ------------------------------------------------------------------------ */
/* Build-time limits (every one of them observable)                          */
/* ------------------------------------------------------------------------ */

#define SOAP_BUFLEN        65536   /* bytes of buf: I/O buffer, one read, one UDP message */
#define SOAP_TAGLEN        1024    /* bytes of msgbuf, tmpbuf, tag, id, href, type, ... */
#define SOAP_HDRLEN        8192    /* bytes of one HTTP header line */
#define SOAP_LABLEN        256     /* first capacity of labbuf; doubles from there */
#define SOAP_BLKLEN        256     /* wide characters per block in the wide reader */
#define SOAP_MAXDIMS       16      /* entries of positions */
#define SOAP_MAXARRAYSIZE  1000000 /* bound of the product of array dimensions */
#define SOAP_IDHASH        1999    /* buckets of iht */
#define SOAP_PTRHASH       4096    /* buckets of pht and mht */
#define SOAP_PTRBLK        32      /* pointer records per pblk block */
#define SOAP_MAXKEEPALIVE  100     /* default of max_keep_alive */
#define SOAP_CANARY        0xC0DE  /* guard word behind every soap_malloc block */
#define SOAP_MAXLOGS       3       /* log slots */
#define SOAP_IDX_RECV      0
#define SOAP_IDX_SENT      1
#define SOAP_IDX_TEST      2
#define SOAP_MAXCOOKIES    32      /* default of cookie_max */

/* ------------------------------------------------------------------------ */
/* Error codes                                                               */
/* ------------------------------------------------------------------------ */

#define SOAP_EOF                 (-1)
#define SOAP_ERR                 (-1)
#define SOAP_OK                  0
#define SOAP_CLI_FAULT           1
#define SOAP_SVR_FAULT           2
#define SOAP_TAG_MISMATCH        3
#define SOAP_TYPE                4
#define SOAP_SYNTAX_ERROR        5
#define SOAP_NO_TAG              6
#define SOAP_IOB                 7
#define SOAP_MUSTUNDERSTAND      8
#define SOAP_NAMESPACE           9
#define SOAP_USER_ERROR          10
#define SOAP_FATAL_ERROR         11
#define SOAP_FAULT               12
#define SOAP_NO_METHOD           13
#define SOAP_NO_DATA             14
#define SOAP_GET_METHOD          15
#define SOAP_PUT_METHOD          16
#define SOAP_HTTP_METHOD         19
#define SOAP_EOM                 20
#define SOAP_MOE                 21
#define SOAP_HDR                 22
#define SOAP_NULL                23
#define SOAP_DUPLICATE_ID        24
#define SOAP_MISSING_ID          25
#define SOAP_HREF                26
#define SOAP_UDP_ERROR           27
#define SOAP_TCP_ERROR           28
#define SOAP_HTTP_ERROR          29
#define SOAP_SSL_ERROR           30
#define SOAP_ZLIB_ERROR          31
#define SOAP_DIME_ERROR          32
#define SOAP_DIME_HREF           33
#define SOAP_DIME_MISMATCH       34
#define SOAP_DIME_END            35
#define SOAP_MIME_ERROR          36
#define SOAP_MIME_HREF           37
#define SOAP_MIME_END            38
#define SOAP_VERSIONMISMATCH     39
#define SOAP_PLUGIN_ERROR        40
#define SOAP_DATAENCODINGUNKNOWN 41
#define SOAP_REQUIRED            42
#define SOAP_PROHIBITED          43
#define SOAP_OCCURS              44
#define SOAP_LENGTH              45
#define SOAP_FD_EXCEEDED         46
#define SOAP_UTF_ERROR           47
#define SOAP_NTLM_ERROR          48
#define SOAP_STOP                1000

/* status commands (client request forms) and server-side responses */
#define SOAP_POST                2000
#define SOAP_POST_FILE           2001
#define SOAP_GET                 2002
#define SOAP_CONNECT             2003
#define SOAP_STOP_RESPONSE       1000
#define SOAP_FORM                1001
#define SOAP_HTML                1002
#define SOAP_FILE                1003

/* ------------------------------------------------------------------------ */
/* Mode bits (imode, omode, mode share one layout)                           */
/* ------------------------------------------------------------------------ */

#define SOAP_IO                  0x00000003  /* the output discipline field */
#define SOAP_IO_FLUSH            0x00000000
#define SOAP_IO_BUFFER           0x00000001
#define SOAP_IO_STORE            0x00000002
#define SOAP_IO_CHUNK            0x00000003
#define SOAP_IO_UDP              0x00000004
#define SOAP_IO_LENGTH           0x00000008
#define SOAP_IO_KEEPALIVE        0x00000010
#define SOAP_ENC_LATIN           0x00000020
#define SOAP_ENC_XML             0x00000040
#define SOAP_ENC_DIME            0x00000080
#define SOAP_ENC_MIME            0x00000100
#define SOAP_ENC_MTOM            0x00000200
#define SOAP_ENC_ZLIB            0x00000400
#define SOAP_ENC_SSL             0x00000800
#define SOAP_XML_STRICT          0x00001000
#define SOAP_XML_INDENT          0x00002000
#define SOAP_XML_IGNORENS        0x00004000
#define SOAP_XML_DEFAULTNS       0x00008000
#define SOAP_XML_CANONICAL       0x00010000
#define SOAP_XML_TREE            0x00020000
#define SOAP_XML_NIL             0x00040000
#define SOAP_XML_NOTYPE          0x00080000
#define SOAP_C_UTFSTRING         0x02000000
#define SOAP_C_MBSTRING          0x04000000
#define SOAP_C_NILSTRING         0x08000000
#define SOAP_XML_GRAPH           0x20000000
#define SOAP_MIME_POSTCHECK      0x40000000
#define SOAP_SEC_WSUID           0x80000000u

/* ------------------------------------------------------------------------ */
/* Message phase (`part`)                                                    */
/* ------------------------------------------------------------------------ */

#define SOAP_BEGIN               0
#define SOAP_IN_ENVELOPE         2
#define SOAP_IN_HEADER           3
#define SOAP_END_HEADER          4
#define SOAP_NO_BODY             5
#define SOAP_IN_BODY             6
#define SOAP_END_BODY            7
#define SOAP_END_ENVELOPE        8
#define SOAP_END                 9

/* ------------------------------------------------------------------------ */
/* Reader symbols                                                            */
/* ------------------------------------------------------------------------ */

typedef int32_t soap_wchar;

#define SOAP_LT                  ((soap_wchar)-2)  /* < of a start tag */
#define SOAP_TT                  ((soap_wchar)-3)  /* </ of an end tag */
#define SOAP_GT                  ((soap_wchar)-4)  /* > */
#define SOAP_QT                  ((soap_wchar)-5)  /* " */
#define SOAP_AP                  ((soap_wchar)-6)  /* ' */
#define SOAP_UNKNOWN_CHAR        127
#define SOAP_ENTITY_BIT          ((soap_wchar)0x80000000)

#define soap_blank(c)            ((c) >= 0 && (c) <= 32)
#define soap_notblank(c)         ((c) > 32)

/* Wide text is a zero-terminated array of 32-bit code values. */
static_assert(sizeof(wchar_t) == 4, "wide strings are 32-bit code values");

/* 64-bit integers as the converters name them */
typedef int64_t  LONG64;
typedef uint64_t ULONG64;

/* TLS flags (ssl_flags) */
#define SOAP_TLS_VERIFY_SERVER        0x0001  /* verify the peer; host checks after the handshake */
#define SOAP_TLS_VERIFY_CLIENT        0x0002  /* accepting side: demand a verified peer certificate */
#define SOAP_TLS_SKIP_HOST_CHECK      0x0004  /* a clean verification result is enough */
#define SOAP_TLS_ALLOW_EXPIRED        0x0008  /* soap_ssl_client_context: forgive expiry */
#define SOAP_TLS_NO_DEFAULT_CA_PATHS  0x0010  /* don't load the system's CA locations */
#define SOAP_TLS_EPHEMERAL_RSA        0x0020  /* no DH parameters from dhfile (temporary RSA keys no
                                                 longer exist in the TLS library) */
#define SOAP_TLS_NO_TLSV1             0x0040  /* refuse TLS 1.0 */
#define SOAP_TLS_NO_SSLV3             0x0080  /* refuse SSL 3 */
#define SOAP_TLS_CLIENT_SIDE          0x0100  /* set on the client path, cleared by soap_ssl_accept */

struct soap;

/* ------------------------------------------------------------------------ */
/* Records owned by the context                                              */
/* ------------------------------------------------------------------------ */

/* A row of a namespace table; a table ends with a row whose id is null. */
struct Namespace {
    const char *id;   /* prefix used by the program */
    const char *ns;   /* URI written on output */
    const char *in;   /* pattern an input URI may match instead of ns, or null */
    char *out;        /* URI actually seen on input; overrides ns on output; owned by the context */
};

/* An entry of the namespace stack `nlist`, newest first. */
struct soap_nlist {
    struct soap_nlist *next;
    unsigned int level;  /* element depth at which it was declared */
    short index;         /* input: table row or -1; output: 0 seen, 1 to declare, 2 declared */
    char *ns;            /* URI when no row holds it; on output the URI to declare */
    char id[1];          /* prefix, inline; "" for the default namespace */
};

/* Stack of block lists (temporary growing storage). */
struct soap_blist {
    struct soap_blist *next;
    char *ptr;           /* newest block */
    size_t size;         /* bytes in all blocks */
};

/* An entry of the object list `clist`. */
struct soap_clist {
    struct soap_clist *next;
    void *ptr;
    int type;            /* type id */
    int size;            /* -1 for a single object, else the element count of an array */
    int (*fdelete)(struct soap_clist *);  /* deletes ptr; non-zero on failure */
};

/* Memory a context keeps between messages: soap_malloc blocks by size class
 * (whole blocks of 32 << k bytes) and object list entries, taken again by the
 * next message instead of going back to the system.  Bounded by
 * SOAP_MEMCACHE_BYTES; soap_done empties it. */
#define SOAP_MEMCACHE_CLASSES 8
#define SOAP_MEMCACHE_BYTES   (1024 * 1024)
struct soap_memcache {
    void *bins[SOAP_MEMCACHE_CLASSES];
    struct soap_clist *clist;
    size_t bytes;
};

/* Namespace prefixes looked up recently, valid while the stack is unchanged. */
#define SOAP_NSCACHE 4
struct soap_nscache {
    unsigned long gen;                      /* nsgen when filled */
    struct soap_nlist *np[SOAP_NSCACHE];
    unsigned char len[SOAP_NSCACHE];
    char id[SOAP_NSCACHE][24];
    unsigned char next;                     /* slot to fill next */
};

/* Patterns that the tag written exactly like them matched, valid while the stack and the
   namespace table are those they were matched under (soap_match_tag). */
#define SOAP_MATCHCACHE 64
struct soap_matchcache {
    const char *pattern[SOAP_MATCHCACHE];
    unsigned long gen[SOAP_MATCHCACHE];
    const struct Namespace *table[SOAP_MATCHCACHE];
};

/* A tracking record of the allocation table `mht`. */
struct soap_track {
    struct soap_track *next;
    const void *ptr;
    const char *file;
    int line;
    short live;
};

/* An attribute, waiting on output or seen on input. */
struct soap_attribute {
    struct soap_attribute *next;
    char *value;         /* owned, or null */
    size_t size;         /* capacity of value */
    char *ns;            /* for xmlns:p its value; in canonical order the URI of the prefix */
    short visible;       /* 0 absent, 1 name only, 2 name and value */
    short flag;          /* passed to soap_string_out when the value is written */
    char name[1];        /* inline */
};

/* A pointer record of `pht`. */
struct soap_array {
    void *__ptr;
    int __size;
};

struct soap_plist {
    struct soap_plist *next;
    const void *ptr;
    const struct soap_array *array;  /* dynamic array record, or null */
    int type;
    int id;
    char mark1;          /* state in the count pass */
    char mark2;          /* state in the writing pass */
};

struct soap_pblk {
    struct soap_pblk *next;
    struct soap_plist plist[SOAP_PTRBLK];
};

/* A fix-up record: a place that wants a copy of an object read later. */
struct soap_flist {
    struct soap_flist *next;
    int type;
    void *ptr;
    unsigned int level;
    size_t len;
    void (*fcopy)(struct soap *, int, int, void *, size_t, const void *, size_t);
};

/* An id record of `iht`. */
struct soap_ilist {
    struct soap_ilist *next;
    int type;
    size_t size;
    void *link;          /* chain of pointer cells waiting for the address */
    void *copy;          /* chain of places that want a copy */
    struct soap_flist *flist;
    void *ptr;           /* the object, null until read */
    unsigned int level;  /* pointer indirections of ptr */
    char id[1];          /* inline */
};

/* An attachment reference waiting for its attachment (xop:Include). */
struct soap_xlist {
    struct soap_xlist *next;
    unsigned char **ptr;
    int *size;
    char *id;
    char **type;
    char **options;
};

/* One attachment, on its way out or in. */
struct soap_multipart {
    struct soap_multipart *next;
    char *ptr;
    size_t size;
    const char *id;
    const char *type;
    const char *options;
    int encoding;        /* content transfer encoding code */
    const char *location;
    const char *description;
};

/* DIME state of the context. */
struct soap_dime {
    size_t count;
    size_t size;
    size_t chunksize;
    size_t buflen;
    char flags;
    char *ptr;
    const char *id;
    const char *type;
    const char *options;
    struct soap_multipart *list;
    struct soap_multipart *first, *last;
};

/* MIME state of the context. */
struct soap_mime {
    char *boundary;
    const char *start;
    struct soap_multipart *list;
    struct soap_multipart *first, *last;
};

/* A plugin registered on the context. */
struct soap_plugin {
    struct soap_plugin *next;
    const char *id;
    void *data;
    int (*fcopy)(struct soap *soap, struct soap_plugin *dst, struct soap_plugin *src);
    void (*fdelete)(struct soap *soap, struct soap_plugin *p);
};

/* What the trace filter of one log slot carries from one write to the next,
 * so that a masked stretch split over two writes is still masked.  All zero
 * at the start of a stream (a line start, nothing matched). */
struct soap_trace_filter {
    unsigned char dropping;  /* inside a certificate element */
    unsigned char tag[4];    /* bytes matched of each certificate tag */
    unsigned char hdr[2];    /* bytes matched of each credentials header name, 0xFF when the line isn't one */
    unsigned char masking;   /* 1 in a credentials header value, 2 at the start of the line after it,
                                3 in the leading blanks of a folded line that continues it */
};

/* A row of a code table: (code, name), ending with a null name. */
struct soap_code_map {
    long code;
    const char *string;
};

/* Frame records the engine reaches through the generated frame. */
struct SOAP_ENV__Header;
struct SOAP_ENV__Fault;

/* ------------------------------------------------------------------------ */
/* The runtime context                                                       */
/* ------------------------------------------------------------------------ */

struct soap {
    /* state and mode */
    unsigned short state;        /* 0 finished, 1 soap_init, 2 soap_copy_context */
    short version;               /* 0 unknown, 1 SOAP 1.1, 2 SOAP 1.2 */
    uint32_t mode;
    uint32_t imode;
    uint32_t omode;
    const char *float_format;
    const char *double_format;
    const char *dime_id_format;
    const char *http_version;
    const char *http_content;
    const char *encodingStyle;
    const char *actor;
    const char *lang;
    const char *prolog;
    int32_t idnumber;
    void *user;
    void *data[4];

    /* time and socket options */
    int32_t recv_timeout;
    int32_t send_timeout;
    int32_t connect_timeout;
    int32_t accept_timeout;
    int32_t socket_flags;
    int32_t connect_flags;
    int32_t bind_flags;
    int32_t accept_flags;
    unsigned short linger_time;
    int32_t master;
    int32_t socket;
    std::ostream *os;
    std::istream *is;
    int32_t sendfd;
    int32_t recvfd;
    short keep_alive;
    unsigned short tcp_keep_alive;
    int32_t tcp_keep_idle;
    int32_t tcp_keep_intvl;
    int32_t tcp_keep_cnt;
    int32_t max_keep_alive;
    uint32_t ip;
    int32_t port;
    char peer[128];              /* socket address of the peer */
    uint32_t peerlen;
    unsigned char ipv4_multicast_ttl = 0;      /* datagrams: IP_MULTICAST_TTL when non-zero */
    const char *ipv4_multicast_if = nullptr;   /* datagrams: 4-byte interface address, or null */
    unsigned int ipv6_multicast_if = 0;        /* datagrams: scope id given to an IPv6 peer */

    /* input and output position */
    char buf[SOAP_BUFLEN];
    size_t bufidx;
    size_t buflen;
    soap_wchar ahead;
    short cdata;
    short body;
    unsigned int level;
    size_t count;
    size_t length;
    char *labbuf;
    size_t lablen;
    size_t labidx;
    char msgbuf[SOAP_TAGLEN];
    char tmpbuf[SOAP_TAGLEN];
    char tag[SOAP_TAGLEN];
    char id[SOAP_TAGLEN];
    char href[SOAP_TAGLEN];
    char type[SOAP_TAGLEN];
    char arrayType[SOAP_TAGLEN];
    char arraySize[SOAP_TAGLEN];
    char arrayOffset[SOAP_TAGLEN];
    short other;
    short position;
    int positions[SOAP_MAXDIMS];
    short root;
    struct soap_attribute *attributes;
    short encoding;
    short mustUnderstand;
    short null;
    short ns;
    short part;
    short alloced;
    short peeked;
    size_t chunksize;
    size_t chunkbuflen;
    int recverror;               /* a read failure deferred while an input filter has bytes */

    /* memory and references */
    struct soap_nlist *nlist;
    struct soap_blist *blist;
    struct soap_clist *clist;
    void *alist;
    struct soap_ilist *iht[SOAP_IDHASH];
    struct soap_plist *pht[SOAP_PTRHASH];
    struct soap_pblk *pblk;
    short pidx;
    struct soap_track *mht[SOAP_PTRHASH];
    struct soap_memcache memcache;
    unsigned long nsgen;         /* changes whenever nlist does */
    struct soap_nscache nscache;
    unsigned long peekserial;    /* counts the start tags peeked */
    const char *matched;         /* the pattern the peeked tag last matched, when peekserial and */
    unsigned long matchserial;   /* nsgen are still those it was matched under: an element that is */
    unsigned long matchgen;      /* begun again after soap_revert is not matched again */
    struct soap_matchcache matchcache;
    short attrs_visible;         /* some entry of `attributes` may be visible: the next peek hides them */
    short iht_used;              /* some id was entered since the id table was last emptied */

    /* namespaces */
    const struct Namespace *namespaces;
    struct Namespace *local_namespaces;

    /* message records */
    struct SOAP_ENV__Header *header;
    struct SOAP_ENV__Fault *fault;
    void *dom;                   /* not used by this system; always null */

    /* connection and transport text */
    char endpoint[SOAP_TAGLEN];
    char path[SOAP_TAGLEN];
    char host[SOAP_TAGLEN];
    const char *action;
    const char *userid;
    const char *passwd;
    const char *authrealm;
    const char *proxy_http_version;
    const char *proxy_host;
    int32_t proxy_port;
    const char *proxy_userid;
    const char *proxy_passwd;
    const char *proxy_from;
    int32_t status;
    int32_t error;
    int32_t errmode;
    int32_t errnum;
    struct soap_dime dime;
    struct soap_mime mime;
    struct soap_xlist *xlist;
    const char *logfile[SOAP_MAXLOGS];
    FILE *fdebug[SOAP_MAXLOGS];
    struct soap_trace_filter tracefilter[SOAP_MAXLOGS] = {};  /* reset when a slot closes */
    const char *c14ninclude;
    const char *c14nexclude;
    void *cookies;               /* not used by this system */
    const char *cookie_domain;   /* not used by this system */
    const char *cookie_path;     /* not used by this system */
    int32_t cookie_max;          /* not used by this system */

    /* callback slots, in order */
    int (*fpost)(struct soap *, const char *endpoint, const char *host, int port,
                 const char *path, const char *action, size_t count);
    int (*fget)(struct soap *);
    int (*fput)(struct soap *);
    int (*fdel)(struct soap *);
    int (*fopt)(struct soap *);
    int (*fhead)(struct soap *);
    int (*fform)(struct soap *);
    int (*fposthdr)(struct soap *, const char *key, const char *value);
    int (*fresponse)(struct soap *, int status, size_t count);
    int (*fparse)(struct soap *);
    int (*fparsehdr)(struct soap *, const char *key, const char *value);
    int (*fheader)(struct soap *);
    int (*fresolve)(struct soap *, const char *name, struct in_addr *address);
    int (*fconnect)(struct soap *, const char *endpoint, const char *host, int port);
    int (*fdisconnect)(struct soap *);
    int (*fclosesocket)(struct soap *, int fd);
    int (*fshutdownsocket)(struct soap *, int fd, int how);
    int (*fopen)(struct soap *, const char *endpoint, const char *host, int port);
    int (*faccept)(struct soap *, int fd, struct sockaddr *address, int *length);
    int (*fclose)(struct soap *);
    int (*fsend)(struct soap *, const char *bytes, size_t length);
    size_t (*frecv)(struct soap *, char *bytes, size_t length);
    int (*fpoll)(struct soap *);
    void (*fseterror)(struct soap *, const char **faultcode, const char **faultstring);
    int (*fignore)(struct soap *, const char *tag);
    int (*fserveloop)(struct soap *);
    void *(*fplugin)(struct soap *, const char *id);
    void *(*fmalloc)(struct soap *, size_t size);
    int (*fprepareinitsend)(struct soap *);
    int (*fprepareinitrecv)(struct soap *);
    int (*fpreparesend)(struct soap *, const char *bytes, size_t length);
    int (*fpreparerecv)(struct soap *, const char *bytes, size_t length);
    int (*fpreparefinalsend)(struct soap *);
    int (*fpreparefinalrecv)(struct soap *);
    int (*ffiltersend)(struct soap *, const char **bytes, size_t *length);
    int (*ffilterrecv)(struct soap *, char *buffer, size_t *length, size_t capacity);
    void *(*fdimereadopen)(struct soap *, void *handle, const char *id, const char *type, const char *options);
    void *(*fdimewriteopen)(struct soap *, const char *id, const char *type, const char *options);
    void (*fdimereadclose)(struct soap *, void *handle);
    void (*fdimewriteclose)(struct soap *, void *handle);
    size_t (*fdimeread)(struct soap *, void *handle, char *bytes, size_t length);
    int (*fdimewrite)(struct soap *, void *handle, const char *bytes, size_t length);
    void *(*fmimereadopen)(struct soap *, void *handle, const char *id, const char *type, const char *description);
    void *(*fmimewriteopen)(struct soap *, void *handle, const char *id, const char *type,
                            const char *description, int encoding);
    void (*fmimereadclose)(struct soap *, void *handle);
    void (*fmimewriteclose)(struct soap *, void *handle);
    size_t (*fmimeread)(struct soap *, void *handle, char *bytes, size_t length);
    int (*fmimewrite)(struct soap *, void *handle, const char *bytes, size_t length);

    /* plugins, newest first */
    struct soap_plugin *plugins;

    /* TLS */
    int (*fsslauth)(struct soap *);
    int (*fsslverify)(int ok, X509_STORE_CTX *store);
    BIO *bio;
    SSL *ssl;
    SSL_CTX *ctx;
    SSL_SESSION *session;
    unsigned short ssl_flags;
    const char *keyfile;
    const char *password;
    const char *cafile;
    const char *capath;
    const char *crlfile;
    const char *dhfile;
    const char *randfile;
    char session_host[SOAP_TAGLEN];
    int session_port;

    soap();
    explicit soap(uint32_t mode);
    soap(uint32_t imode, uint32_t omode);
    virtual ~soap();

    soap(const soap &) = delete;
    soap &operator=(const soap &) = delete;
};

/* The process-wide default namespace table (bindings provide it). */
extern struct Namespace namespaces[];

/* ------------------------------------------------------------------------ */
/* Context                                                                   */
/* ------------------------------------------------------------------------ */

void soap_init(struct soap *soap);
void soap_init1(struct soap *soap, uint32_t mode);
void soap_init2(struct soap *soap, uint32_t imode, uint32_t omode);
struct soap *soap_new();
struct soap *soap_new1(uint32_t mode);
struct soap *soap_new2(uint32_t imode, uint32_t omode);
struct soap *soap_copy(const struct soap *soap);
struct soap *soap_copy_context(struct soap *dst, const struct soap *src);
void soap_copy_stream(struct soap *dst, struct soap *src);
void soap_begin(struct soap *soap);
void soap_end(struct soap *soap);
void soap_done(struct soap *soap);
void soap_free(struct soap *soap);
int soap_register_plugin_arg(struct soap *soap,
                             int (*fcreate)(struct soap *, struct soap_plugin *, void *), void *arg);
void *soap_lookup_plugin(struct soap *soap, const char *id);
int soap_closesock(struct soap *soap);
/* Closes the connection now, whatever keep_alive says (fdisconnect, then
 * fclose); keep_alive becomes 0.  `error` is left as it was and returned,
 * unless a close hook fails: then its code. */
int soap_force_closesock(struct soap *soap);
int soap_valid_state(const struct soap *soap);  /* state is 1 or 2 */

/* ------------------------------------------------------------------------ */
/* Memory and object tracking                                                */
/* ------------------------------------------------------------------------ */

void *soap_track_malloc(struct soap *soap, const char *file, int line, size_t size);
void soap_track_free(struct soap *soap, const char *file, int line, void *p);
void soap_track_unlink(struct soap *soap, const void *p);
void soap_free_memcache(struct soap *soap);
/* A block of n bytes for the context's own tables, from the memory kept between messages, and its
   return there (the same n). */
void *soap_kept_take(struct soap *soap, size_t n);
void soap_kept_give(struct soap *soap, void *p, size_t n);
void soap_clist_give(struct soap *soap, struct soap_clist *cp);
void *soap_malloc(struct soap *soap, size_t n);
char *soap_strdup(struct soap *soap, const char *s);
wchar_t *soap_wstrdup(struct soap *soap, const wchar_t *s);
void soap_dealloc(struct soap *soap, void *p);
struct soap_clist *soap_link(struct soap *soap, void *p, int type, int size,
                             int (*fdelete)(struct soap_clist *));
void soap_delete(struct soap *soap, void *p);
int soap_unlink(struct soap *soap, const void *p);
void soap_delegate_deletion(struct soap *soap, struct soap *target);
struct soap_blist *soap_new_block(struct soap *soap);
void *soap_push_block(struct soap *soap, struct soap_blist *b, size_t n);
void soap_pop_block(struct soap *soap, struct soap_blist *b);
char *soap_first_block(struct soap *soap, struct soap_blist *b);
char *soap_next_block(struct soap *soap, struct soap_blist *b);
size_t soap_block_size(struct soap *soap, struct soap_blist *b);
size_t soap_size_block(struct soap *soap, struct soap_blist *b, size_t n);
void soap_end_block(struct soap *soap, struct soap_blist *b);
char *soap_save_block(struct soap *soap, struct soap_blist *b, char *target, int relocate);
void soap_update_pointers(struct soap *soap, char *start, char *end, char *p1, char *p2);
int soap_has_copies(struct soap *soap, const char *start, const char *end);
void soap_free_temp(struct soap *soap);
void soap_free_pht(struct soap *soap);
void soap_free_iht(struct soap *soap);

/* ------------------------------------------------------------------------ */
/* XML reader                                                                */
/* ------------------------------------------------------------------------ */

soap_wchar soap_getchar(struct soap *soap);
soap_wchar soap_get(struct soap *soap);
soap_wchar soap_getutf8(struct soap *soap);
soap_wchar soap_char(struct soap *soap);
soap_wchar soap_getpi(struct soap *soap);
const char *soap_value(struct soap *soap);
int soap_getattrval(struct soap *soap, char *buffer, size_t capacity, soap_wchar delimiter);
int soap_peek_element(struct soap *soap);
int soap_element_begin_in(struct soap *soap, const char *tag, int nillable, const char *type);
int soap_element_end_in(struct soap *soap, const char *tag);
const char *soap_attr_value(struct soap *soap, const char *name, int occurrence);
void soap_revert(struct soap *soap);
void soap_retry(struct soap *soap);
int soap_ignore_element(struct soap *soap);
char *soap_string_in(struct soap *soap, int flag, long minlen, long maxlen);
/* soap_string_in without the copy (flag 0 or 1): the text stays in labbuf, NUL-terminated, valid
   until the next read; *len gets its length.  For readers that copy it into their own storage. */
const char *soap_string_in_lab(struct soap *soap, int flag, long minlen, long maxlen, size_t *len);
/* The content of the element just begun when it is plain ASCII text up to an end tag, all of it in
   the input buffer: a pointer to it there and its length, the input left at the end tag (as
   soap_string_in leaves it).  Otherwise null, and nothing is taken. */
const char *soap_text_run(struct soap *soap, size_t *len);
wchar_t *soap_wstring_in(struct soap *soap, int flag, long minlen, long maxlen);
char **soap_instring(struct soap *soap, const char *tag, char **p, const char *type, int t,
                     int flag, long minlen, long maxlen);
wchar_t **soap_inwstring(struct soap *soap, const char *tag, wchar_t **p, const char *type, int t,
                         long minlen, long maxlen);
char **soap_inliteral(struct soap *soap, const char *tag, char **p);
wchar_t **soap_inwliteral(struct soap *soap, const char *tag, wchar_t **p);
unsigned char *soap_getbase64(struct soap *soap, int *n);
unsigned char *soap_gethex(struct soap *soap, int *n);
int soap_append_lab(struct soap *soap, const char *s, size_t n);
int soap_set_lab(struct soap *soap, const char *s, size_t n);
int soap_getposition(const char *attr, int *pos);

/* ------------------------------------------------------------------------ */
/* XML writer                                                                */
/* ------------------------------------------------------------------------ */

int soap_send(struct soap *soap, const char *s);
int soap_send2(struct soap *soap, const char *s1, const char *s2);
int soap_send3(struct soap *soap, const char *s1, const char *s2, const char *s3);
int soap_string_out(struct soap *soap, const char *s, int flag);
int soap_wstring_out(struct soap *soap, const wchar_t *s, int flag);
int soap_pututf8(struct soap *soap, unsigned long c);
int soap_putbase64(struct soap *soap, const unsigned char *s, int n);
int soap_puthex(struct soap *soap, const unsigned char *s, int n);
int soap_element(struct soap *soap, const char *tag, int id, const char *type);
int soap_element_begin_out(struct soap *soap, const char *tag, int id, const char *type);
int soap_element_start_end_out(struct soap *soap, const char *tag);
int soap_element_end_out(struct soap *soap, const char *tag);
int soap_element_nil(struct soap *soap, const char *tag);
int soap_element_null(struct soap *soap, const char *tag, int id, const char *type);
int soap_element_href(struct soap *soap, const char *tag, int id, const char *attribute, const char *value);
int soap_element_ref(struct soap *soap, const char *tag, int id, int href);
int soap_element_id(struct soap *soap, const char *tag, int id, const void *p, const struct soap_array *a,
                    int n, const char *type, int t);
int soap_array_begin_out(struct soap *soap, const char *tag, int id, const char *type, const char *offset);
int soap_element_result(struct soap *soap, const char *tag);
int soap_attribute(struct soap *soap, const char *name, const char *value);
int soap_set_attr(struct soap *soap, const char *name, const char *value, int flag);
void soap_clr_attr(struct soap *soap);
int soap_outstring(struct soap *soap, const char *tag, int id, char *const *p, const char *type, int t);
int soap_outwstring(struct soap *soap, const char *tag, int id, wchar_t *const *p, const char *type, int t);
int soap_outliteral(struct soap *soap, const char *tag, char *const *p, const char *type);
int soap_outwliteral(struct soap *soap, const char *tag, wchar_t *const *p, const char *type);
int soap_attachment(struct soap *soap, const char *tag, int id, const void *p, const struct soap_array *a,
                    const char *aid, const char *atype, const char *aoptions, int n,
                    const char *type, int t);
const char *soap_putsize(struct soap *soap, const char *type, int size);
const char *soap_putsizes(struct soap *soap, const char *type, const int *size, int dim);
const char *soap_putsizesoffsets(struct soap *soap, const char *type, const int *size,
                                 const int *offset, int dim);
const char *soap_putposition(struct soap *soap, int i);
const char *soap_putpositions(struct soap *soap, int dim, const int *pos);

/* ------------------------------------------------------------------------ */
/* Namespaces and qualified names                                            */
/* ------------------------------------------------------------------------ */

int soap_set_namespaces(struct soap *soap, const struct Namespace *table);
void soap_set_local_namespaces(struct soap *soap);
struct soap_nlist *soap_push_namespace(struct soap *soap, const char *prefix, const char *uri);
void soap_pop_namespace(struct soap *soap);
void soap_free_ns(struct soap *soap);
struct soap_nlist *soap_lookup_ns(struct soap *soap, const char *tag, size_t n);
struct soap_nlist *soap_push_ns(struct soap *soap, const char *prefix, const char *uri, short index);
void soap_utilize_ns(struct soap *soap, const char *tag);
int soap_match_namespace(struct soap *soap, const char *tag, const char *pattern, size_t n1, size_t n2);
int soap_match_tag(struct soap *soap, const char *tag, const char *pattern);
int soap_tag_cmp(const char *text, const char *pattern);
const char *soap_tagsearch(const char *list, const char *word);
const char *soap_current_namespace(struct soap *soap, const char *tag);
int soap_s2QName(struct soap *soap, const char *s, char **t, long minlen, long maxlen);
const char *soap_QName2s(struct soap *soap, const char *s);

/* ------------------------------------------------------------------------ */
/* Reference tables                                                          */
/* ------------------------------------------------------------------------ */

int soap_pointer_lookup(struct soap *soap, const void *p, int type, struct soap_plist **ppp);
int soap_array_pointer_lookup(struct soap *soap, const void *p, const struct soap_array *a, int n,
                              int type, struct soap_plist **ppp);
int soap_pointer_enter(struct soap *soap, const void *p, const struct soap_array *a, int n,
                       int type, struct soap_plist **ppp);
int soap_reference(struct soap *soap, const void *p, int type);
int soap_array_reference(struct soap *soap, const void *p, const struct soap_array *a, int n, int type);
int soap_embedded(struct soap *soap, const void *p, int type);
int soap_embedded_id(struct soap *soap, int id, const void *p, int type);
int soap_is_embedded(struct soap *soap, struct soap_plist *pp);
int soap_is_single(struct soap *soap, struct soap_plist *pp);
void soap_set_embedded(struct soap *soap, struct soap_plist *pp);
int soap_embed(struct soap *soap, const void *p, const struct soap_array *a, int n,
               const char *tag, int type);
size_t soap_hash(const char *s);
struct soap_ilist *soap_lookup(struct soap *soap, const char *id);
struct soap_ilist *soap_enter(struct soap *soap, const char *id);
int soap_lookup_type(struct soap *soap, const char *id);
void *soap_id_enter(struct soap *soap, const char *id, void *p, int t, size_t n, unsigned int k,
                    const char *type, const char *arrayType,
                    void *(*finstantiate)(struct soap *, int, const char *, const char *, size_t *));
void **soap_id_lookup(struct soap *soap, const char *id, void **p, int t, size_t n, unsigned int k);
void *soap_id_forward(struct soap *soap, const char *href, void *p, size_t len, int st, int tt,
                      size_t n, unsigned int k,
                      void (*fcopy)(struct soap *, int, int, void *, size_t, const void *, size_t));
int soap_xop_forward(struct soap *soap, unsigned char **ptr, int *size, char **id, char **type,
                     char **options);
int soap_resolve(struct soap *soap);
void soap_resolve_attachment(struct soap *soap, struct soap_multipart *content);
int soap_match_cid(struct soap *soap, const char *s, const char *t);
void soap_fcopy(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n);
int soap_getsizes(const char *attr, int *size, int dim);
int soap_getsize(const char *attr1, const char *attr2, int *j);
int soap_getoffsets(const char *attr, const int *size, int *offset, int dim);
int soap_size(const int *size, int dim);

/* ------------------------------------------------------------------------ */
/* Value converters                                                          */
/* ------------------------------------------------------------------------ */

int soap_s2byte(struct soap *soap, const char *s, char *p);
int soap_s2short(struct soap *soap, const char *s, short *p);
int soap_s2int(struct soap *soap, const char *s, int *p);
int soap_s2long(struct soap *soap, const char *s, long *p);
int soap_s2LONG64(struct soap *soap, const char *s, LONG64 *p);
int soap_s2unsignedByte(struct soap *soap, const char *s, unsigned char *p);
int soap_s2unsignedShort(struct soap *soap, const char *s, unsigned short *p);
int soap_s2unsignedInt(struct soap *soap, const char *s, unsigned int *p);
int soap_s2unsignedLong(struct soap *soap, const char *s, unsigned long *p);
int soap_s2ULONG64(struct soap *soap, const char *s, ULONG64 *p);
int soap_s2float(struct soap *soap, const char *s, float *p);
int soap_s2double(struct soap *soap, const char *s, double *p);
int soap_s2dateTime(struct soap *soap, const char *s, time_t *p);
int soap_s2string(struct soap *soap, const char *s, char **t, long minlen, long maxlen);
int soap_s2wchar(struct soap *soap, const char *s, wchar_t **t, long minlen, long maxlen);

const char *soap_byte2s(struct soap *soap, char n);
const char *soap_short2s(struct soap *soap, short n);
const char *soap_int2s(struct soap *soap, int n);
const char *soap_long2s(struct soap *soap, long n);
const char *soap_LONG642s(struct soap *soap, LONG64 n);
const char *soap_unsignedByte2s(struct soap *soap, unsigned char n);
const char *soap_unsignedShort2s(struct soap *soap, unsigned short n);
const char *soap_unsignedInt2s(struct soap *soap, unsigned int n);
const char *soap_unsignedLong2s(struct soap *soap, unsigned long n);
const char *soap_ULONG642s(struct soap *soap, ULONG64 n);
const char *soap_float2s(struct soap *soap, float n);
const char *soap_double2s(struct soap *soap, double n);
const char *soap_dateTime2s(struct soap *soap, time_t n);
const char *soap_wchar2s(struct soap *soap, const wchar_t *s);

char *soap_inbyte(struct soap *soap, const char *tag, char *p, const char *type, int t);
short *soap_inshort(struct soap *soap, const char *tag, short *p, const char *type, int t);
int *soap_inint(struct soap *soap, const char *tag, int *p, const char *type, int t);
long *soap_inlong(struct soap *soap, const char *tag, long *p, const char *type, int t);
LONG64 *soap_inLONG64(struct soap *soap, const char *tag, LONG64 *p, const char *type, int t);
unsigned char *soap_inunsignedByte(struct soap *soap, const char *tag, unsigned char *p, const char *type, int t);
unsigned short *soap_inunsignedShort(struct soap *soap, const char *tag, unsigned short *p, const char *type, int t);
unsigned int *soap_inunsignedInt(struct soap *soap, const char *tag, unsigned int *p, const char *type, int t);
unsigned long *soap_inunsignedLong(struct soap *soap, const char *tag, unsigned long *p, const char *type, int t);
ULONG64 *soap_inULONG64(struct soap *soap, const char *tag, ULONG64 *p, const char *type, int t);
float *soap_infloat(struct soap *soap, const char *tag, float *p, const char *type, int t);
double *soap_indouble(struct soap *soap, const char *tag, double *p, const char *type, int t);
time_t *soap_indateTime(struct soap *soap, const char *tag, time_t *p, const char *type, int t);

int soap_outbyte(struct soap *soap, const char *tag, int id, const char *p, const char *type, int t);
int soap_outshort(struct soap *soap, const char *tag, int id, const short *p, const char *type, int t);
int soap_outint(struct soap *soap, const char *tag, int id, const int *p, const char *type, int t);
int soap_outlong(struct soap *soap, const char *tag, int id, const long *p, const char *type, int t);
int soap_outLONG64(struct soap *soap, const char *tag, int id, const LONG64 *p, const char *type, int t);
int soap_outunsignedByte(struct soap *soap, const char *tag, int id, const unsigned char *p, const char *type, int t);
int soap_outunsignedShort(struct soap *soap, const char *tag, int id, const unsigned short *p, const char *type, int t);
int soap_outunsignedInt(struct soap *soap, const char *tag, int id, const unsigned int *p, const char *type, int t);
int soap_outunsignedLong(struct soap *soap, const char *tag, int id, const unsigned long *p, const char *type, int t);
int soap_outULONG64(struct soap *soap, const char *tag, int id, const ULONG64 *p, const char *type, int t);
int soap_outfloat(struct soap *soap, const char *tag, int id, const float *p, const char *type, int t);
int soap_outdouble(struct soap *soap, const char *tag, int id, const double *p, const char *type, int t);
int soap_outdateTime(struct soap *soap, const char *tag, int id, const time_t *p, const char *type, int t);

/* Exported: base64 and hexadecimal conversions. */
char *soap_s2base64(struct soap *soap, const unsigned char *s, char *t, int n);
const char *soap_base642s(struct soap *soap, const char *s, char *t, size_t l, int *n);
char *soap_s2hex(struct soap *soap, const unsigned char *s, char *t, int n);
const char *soap_hex2s(struct soap *soap, const char *s, char *t, size_t l, int *n);

int soap_isnumeric(struct soap *soap, const char *type);
int soap_match_array(struct soap *soap, const char *type);
const struct soap_code_map *soap_code(const struct soap_code_map *map, const char *str);
long soap_code_int(const struct soap_code_map *map, const char *str, long other);
const char *soap_code_str(const struct soap_code_map *map, long code);
long soap_code_bits(const struct soap_code_map *map, const char *str);
const char *soap_code_list(struct soap *soap, const struct soap_code_map *map, long code);

/* ------------------------------------------------------------------------ */
/* Envelope and faults                                                       */
/* ------------------------------------------------------------------------ */

int soap_envelope_begin_out(struct soap *soap);
int soap_envelope_end_out(struct soap *soap);
int soap_body_begin_out(struct soap *soap);
int soap_body_end_out(struct soap *soap);
int soap_envelope_begin_in(struct soap *soap);
int soap_envelope_end_in(struct soap *soap);
int soap_body_begin_in(struct soap *soap);
int soap_body_end_in(struct soap *soap);
int soap_recv_header(struct soap *soap);

const char **soap_faultcode(struct soap *soap);
const char **soap_faultsubcode(struct soap *soap);
const char *soap_check_faultsubcode(struct soap *soap);
const char **soap_faultstring(struct soap *soap);
const char **soap_faultdetail(struct soap *soap);
const char *soap_check_faultdetail(struct soap *soap);
void soap_set_fault(struct soap *soap);
int soap_set_error(struct soap *soap, const char *faultcode, const char *faultsubcode,
                   const char *faultstring, const char *faultdetail, int soaperror);
int soap_set_sender_error(struct soap *soap, const char *faultstring, const char *faultdetail, int soaperror);
int soap_set_receiver_error(struct soap *soap, const char *faultstring, const char *faultdetail, int soaperror);
int soap_copy_fault(struct soap *soap, const char *faultcode, const char *faultsubcode,
                    const char *faultstring, const char *faultdetail);
int soap_sender_fault(struct soap *soap, const char *faultstring, const char *faultdetail);
int soap_sender_fault_subcode(struct soap *soap, const char *faultsubcode, const char *faultstring,
                              const char *faultdetail);
int soap_receiver_fault(struct soap *soap, const char *faultstring, const char *faultdetail);
int soap_receiver_fault_subcode(struct soap *soap, const char *faultsubcode, const char *faultstring,
                                const char *faultdetail);
const char *soap_set_validation_fault(struct soap *soap, const char *s, const char *t);
const char *soap_strerror(struct soap *soap);
const char *tcp_error(struct soap *soap);
const char *soap_sprint_fault(struct soap *soap, char *buf, size_t len);
void soap_print_fault(struct soap *soap, FILE *fd);
void soap_stream_fault(struct soap *soap, std::ostream &os);
void soap_print_fault_location(struct soap *soap, FILE *fd);
int soap_send_fault(struct soap *soap);
int soap_recv_fault(struct soap *soap, int check);

/* ------------------------------------------------------------------------ */
/* Message framing                                                           */
/* ------------------------------------------------------------------------ */

int soap_begin_count(struct soap *soap);
int soap_end_count(struct soap *soap);
int soap_begin_send(struct soap *soap);
int soap_end_send(struct soap *soap);
int soap_send_raw(struct soap *soap, const char *s, size_t n);
int soap_flush(struct soap *soap);
int soap_flush_raw(struct soap *soap, const char *s, size_t n);
int soap_begin_recv(struct soap *soap);
int soap_end_recv(struct soap *soap);
int soap_recv_raw(struct soap *soap);
int soap_recv(struct soap *soap);
soap_wchar soap_getchunkchar(struct soap *soap);
int soap_move(struct soap *soap, long n);

/* ------------------------------------------------------------------------ */
/* HTTP and sockets                                                          */
/* ------------------------------------------------------------------------ */

/* Splits an address into endpoint, host, port (80, 443 for https:, or the
 * address's own) and path ("/" when none). */
void soap_set_endpoint(struct soap *soap, const char *endpoint);
/* Opens or reuses the connection and writes the POST head.  `endpoints` may
 * hold several addresses separated by blanks: the next one is tried only
 * after a failed connection (28).  Returns the error code. */
int soap_connect(struct soap *soap, const char *endpoints, const char *action);
/* As soap_connect with the request form `command` (SOAP_POST, SOAP_POST_FILE,
 * SOAP_GET, SOAP_CONNECT); a GET is sent at once. */
int soap_connect_command(struct soap *soap, int command, const char *endpoints, const char *action);
int soap_connect_command_single(struct soap *soap, int command, const char *endpoint, const char *action);
/* Writes Content-Type, Content-Length or Transfer-Encoding, and Connection. */
int soap_puthttphdr(struct soap *soap, int status, size_t count);
/* Reads one header line (folded lines joined, CR dropped) into buf of size
 * bytes.  0, SOAP_HDR (22) when the line is longer, or the end of input. */
int soap_getline(struct soap *soap, char *buf, size_t size);
/* The body of a failed answer as text in a block of the context, or null
 * when there is neither a length nor chunking. */
char *soap_get_http_body(struct soap *soap);
/* Header value tokens: decode one key (up to "=,;") or value (after "=", up
 * to ",;") into buf of len bytes; return the position after it. */
const char *soap_decode_key(char *buf, size_t len, const char *val);
const char *soap_decode_val(char *buf, size_t len, const char *val);
/* The value of attribute `key` in a header value, in tmpbuf; null if absent. */
const char *soap_get_header_attribute(struct soap *soap, const char *line, const char *key);
/* The reason phrase of an HTTP status; "" for an unknown code. */
const char *soap_http_status_text(struct soap *soap, int status);

/* ------------------------------------------------------------------------ */
/* TLS                                                                       */
/* ------------------------------------------------------------------------ */

/* Exported.  Sets the client's TLS files and flags (SOAP_TLS_*; the
 * client-side bit is added) and builds the TLS context through fsslauth.
 * The strings are not copied and must outlive the context; any may be null.
 * `keyfile` holds the client's certificate chain followed by its key.
 * Returns 0, or SOAP_SSL_ERROR with a sender fault. */
int soap_ssl_client_context(struct soap *soap, unsigned short flags, const char *keyfile, const char *password,
                            const char *cafile, const char *capath, const char *randfile);
/* The accepting side's TLS context: as the client's, with DH parameters
 * (`dhfile`: a PEM file, or a key length in bits such as "2048") and a
 * session id context `sid` (null turns the session cache off). */
int soap_ssl_server_context(struct soap *soap, unsigned short flags, const char *keyfile, const char *password,
                            const char *cafile, const char *capath, const char *dhfile, const char *randfile,
                            const char *sid);
/* The TLS handshake on the accepted `socket`.  Returns 0, or SOAP_SSL_ERROR
 * with a fault and the connection closed. */
int soap_ssl_accept(struct soap *soap);
/* Explains the result `ret` of a failed TLS call; the text lies in msgbuf. */
const char *soap_ssl_error(struct soap *soap, int ret);
/* Four random bytes from the TLS library. */
int soap_random(void);
/* Exported.  1 when `str` is non-null and holds no ASCII letter, else 0
 * (no address syntax is checked: "" gives 1). */
int IsIPAddr(const char *str);
/* Certificate verification callbacks (for SSL_CTX_set_verify): a
 * certificate rejected for its dates alone passes when the platform's
 * real-time clock lies strictly inside its validity period.  The second one
 * further forgives expiry, with a note on standard error. */
int ssl_verify_callback(int ok, X509_STORE_CTX *store);
int ssl_verify_callback_allow_expired(int ok, X509_STORE_CTX *store);

/* ------------------------------------------------------------------------ */
/* Wire trace                                                                */
/* ------------------------------------------------------------------------ */

extern char g_TraceLogFile[4096];
extern unsigned char soapEnableDebug;

void soap_set_logfile(struct soap *soap, int slot, const char *path);
void soap_set_recv_logfile(struct soap *soap, const char *path);
void soap_set_sent_logfile(struct soap *soap, const char *path);
void soap_open_logfile(struct soap *soap, int slot);
void soap_close_logfile(struct soap *soap, int slot);
void soap_close_logfiles(struct soap *soap);
/* Appends n bytes to the slot's trace stream; a failing trace is silent. */
void soap_trace(struct soap *soap, int slot, const char *bytes, size_t n);
char *soap_trace_redact(const char *text, size_t size, size_t *out_size);

/* ------------------------------------------------------------------------ */
/* Generated frame: provided by the message model.                           */
/* ------------------------------------------------------------------------ */

void *soap_getelement(struct soap *soap, int *type);
int soap_putelement(struct soap *soap, const void *ptr, const char *tag, int id, int type);
void soap_markelement(struct soap *soap, const void *ptr, int type);
int soap_getindependent(struct soap *soap);
int soap_putindependent(struct soap *soap);
void *soap_instantiate(struct soap *soap, int t, const char *type, const char *arrayType, size_t *n);
int soap_fdelete(struct soap_clist *p);
void soap_container_insert(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n);
int soap_getheader(struct soap *soap);
int soap_putheader(struct soap *soap);
void soap_serializeheader(struct soap *soap);
void soap_getfault(struct soap *soap);
int soap_putfault(struct soap *soap);
void soap_serializefault(struct soap *soap);
void soap_header(struct soap *soap);
void soap_fault(struct soap *soap);

#endif /* ORVSOAP_SOAPENGINE_H */
