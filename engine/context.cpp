/* context.cpp -- life of the runtime context: set-up with its defaults,
 * per-message begin and end, teardown, copies, plugins and closing the
 * connection.  Not the allocators (memory.cpp) nor the transports behind the
 * callback slots (socket.cpp, http.cpp).
 */
#include <cstdlib>
#include <cstring>
#include <new>

#include <openssl/err.h>

#include "soapengine.h"
#include "soapinternal.h"

#define SOAP_FILE_TAG "soapengine"
#define MALLOC(soap, n) soap_track_malloc((soap), SOAP_FILE_TAG, __LINE__, (n))
#define FREE(soap, p) soap_track_free((soap), SOAP_FILE_TAG, __LINE__, (p))

void soap_track_report(struct soap *soap);  /* memory.cpp: leak report, empties mht */

int soap_valid_state(const struct soap *soap)
{
    return soap && (soap->state == 1 || soap->state == 2);
}

/* Every callback slot to its default, the null ones included. */
static void set_default_callbacks(struct soap *soap)
{
    soap->fpost = http_post;
    soap->fget = http_get;
    soap->fput = http_parse;
    soap->fdel = http_405;
    soap->fopt = http_200;
    soap->fhead = http_200;
    soap->fform = nullptr;
    soap->fposthdr = http_post_header;
    soap->fresponse = http_response;
    soap->fparse = http_parse;
    soap->fparsehdr = http_parse_header;
    soap->fheader = nullptr;
    soap->fresolve = nullptr;
    soap->fconnect = nullptr;
    soap->fdisconnect = nullptr;
    soap->fclosesocket = tcp_closesocket;
    soap->fshutdownsocket = tcp_shutdownsocket;
    soap->fopen = tcp_connect;
    soap->faccept = tcp_accept;
    soap->fclose = tcp_disconnect;
    soap->fsend = soap_io_send;
    soap->frecv = soap_io_recv;
    soap->fpoll = soap_poll;
    soap->fseterror = nullptr;
    soap->fignore = nullptr;
    soap->fserveloop = nullptr;
    soap->fplugin = soap_lookup_plugin;
    soap->fmalloc = nullptr;
    soap->fprepareinitsend = nullptr;
    soap->fprepareinitrecv = nullptr;
    soap->fpreparesend = nullptr;
    soap->fpreparerecv = nullptr;
    soap->fpreparefinalsend = nullptr;
    soap->fpreparefinalrecv = nullptr;
    soap->ffiltersend = nullptr;
    soap->ffilterrecv = nullptr;
    soap->fdimereadopen = nullptr;
    soap->fdimewriteopen = nullptr;
    soap->fdimereadclose = nullptr;
    soap->fdimewriteclose = nullptr;
    soap->fdimeread = nullptr;
    soap->fdimewrite = nullptr;
    soap->fmimereadopen = nullptr;
    soap->fmimewriteopen = nullptr;
    soap->fmimereadclose = nullptr;
    soap->fmimewriteclose = nullptr;
    soap->fmimeread = nullptr;
    soap->fmimewrite = nullptr;
}

static void clear_tables(struct soap *soap)
{
    for (size_t i = 0; i < SOAP_IDHASH; i++)
        soap->iht[i] = nullptr;
    for (size_t i = 0; i < SOAP_PTRHASH; i++)
        soap->pht[i] = nullptr;
    soap->pblk = nullptr;
    soap->pidx = 0;
    soap->iht_used = 0;
}

/* What a context keeps for itself between messages: kept memory and remembered lookups. */
static void clear_caches(struct soap *soap)
{
    soap->memcache = soap_memcache{};
    soap->nscache = soap_nscache{};
    soap->matched = nullptr;
    soap->matchcache = soap_matchcache{};
}

/* The parser's view of the element at hand. */
static void clear_parser_state(struct soap *soap)
{
    soap->peeked = 0;
    soap->ahead = 0;
    soap->cdata = 0;
    soap->body = 0;
    soap->level = 0;
    soap->other = 0;
    soap->position = 0;
    soap->root = -1;
    soap->encoding = 0;
    soap->mustUnderstand = 0;
    soap->null = 0;
    soap->ns = 0;
    soap->alloced = 0;
    soap->tag[0] = '\0';
    soap->id[0] = '\0';
    soap->href[0] = '\0';
    soap->type[0] = '\0';
    soap->arrayType[0] = '\0';
    soap->arraySize[0] = '\0';
    soap->arrayOffset[0] = '\0';
}

void soap_init(struct soap *soap)
{
    soap->state = 1;

    for (size_t i = 0; i < SOAP_PTRHASH; i++)
        soap->mht[i] = nullptr;
    for (int i = 0; i < SOAP_MAXLOGS; i++) {
        soap->logfile[i] = nullptr;
        soap->fdebug[i] = nullptr;
    }
    memset(soap->tracefilter, 0, sizeof soap->tracefilter);
    soap_set_recv_logfile(soap, g_TraceLogFile);
    soap_set_sent_logfile(soap, g_TraceLogFile);

    set_default_callbacks(soap);

    /* state and mode */
    soap->version = 0;
    soap->mode = 0;
    soap->imode = 0;
    soap->omode = 0;
    soap->float_format = "%.9G";
    soap->double_format = "%.17lG";
    soap->dime_id_format = "cid:id%d";
    soap->http_version = "1.1";
    soap->http_content = nullptr;
    soap->encodingStyle = "";
    soap->actor = nullptr;
    soap->lang = "en";
    soap->prolog = nullptr;
    soap->idnumber = 0;
    soap->user = nullptr;
    for (int i = 0; i < 4; i++)
        soap->data[i] = nullptr;

    /* time and socket options */
    soap->recv_timeout = 0;
    soap->send_timeout = 0;
    soap->connect_timeout = 0;
    soap->accept_timeout = 0;
    soap->socket_flags = 0;
    soap->connect_flags = 0;
    soap->bind_flags = 0;
    soap->accept_flags = 0;
    soap->linger_time = 0;
    soap->master = -1;
    soap->socket = -1;
    soap->os = nullptr;
    soap->is = nullptr;
    soap->sendfd = 1;
    soap->recvfd = 0;
    soap->keep_alive = 0;
    soap->tcp_keep_alive = 0;
    soap->tcp_keep_idle = 0;
    soap->tcp_keep_intvl = 0;
    soap->tcp_keep_cnt = 0;
    soap->max_keep_alive = SOAP_MAXKEEPALIVE;
    soap->ip = 0;
    soap->port = 0;
    memset(soap->peer, 0, sizeof soap->peer);
    soap->peerlen = 0;
    soap->ipv4_multicast_ttl = 0;
    soap->ipv4_multicast_if = nullptr;
    soap->ipv6_multicast_if = 0;

    /* input and output position */
    soap->bufidx = 0;
    soap->buflen = 0;
    soap->count = 0;
    soap->length = 0;
    soap->labbuf = nullptr;
    soap->lablen = 0;
    soap->labidx = 0;
    soap->msgbuf[0] = '\0';
    soap->tmpbuf[0] = '\0';
    soap->attributes = nullptr;
    soap->chunksize = 0;
    soap->chunkbuflen = 0;
    soap->recverror = 0;

    /* memory and references */
    soap->nlist = nullptr;
    soap->blist = nullptr;
    soap->clist = nullptr;
    soap->alist = nullptr;
    soap->nsgen = 1;  /* the empty caches are stale */
    clear_caches(soap);
    soap->attrs_visible = 0;

    /* namespaces */
    soap->namespaces = namespaces;
    soap->local_namespaces = nullptr;

    /* message records */
    soap->header = nullptr;
    soap->fault = nullptr;
    soap->dom = nullptr;

    /* connection and transport text */
    soap->endpoint[0] = '\0';
    soap->path[0] = '\0';
    soap->host[0] = '\0';
    soap->action = nullptr;
    soap->userid = nullptr;
    soap->passwd = nullptr;
    soap->authrealm = nullptr;
    soap->proxy_http_version = "1.0";
    soap->proxy_host = nullptr;
    soap->proxy_port = 8080;
    soap->proxy_userid = nullptr;
    soap->proxy_passwd = nullptr;
    soap->proxy_from = nullptr;
    soap->status = 0;
    soap->errmode = 0;
    soap->errnum = 0;
    memset(&soap->dime, 0, sizeof soap->dime);
    memset(&soap->mime, 0, sizeof soap->mime);
    soap->xlist = nullptr;
    soap->c14ninclude = nullptr;
    soap->c14nexclude = nullptr;
    soap->cookies = nullptr;
    soap->cookie_domain = nullptr;
    soap->cookie_path = nullptr;
    soap->cookie_max = SOAP_MAXCOOKIES;

    soap->plugins = nullptr;

    /* TLS */
    soap->bio = nullptr;
    soap->ssl = nullptr;
    soap->ctx = nullptr;
    soap->session = nullptr;
    soap->keyfile = nullptr;
    soap->password = nullptr;
    soap->cafile = nullptr;
    soap->capath = nullptr;
    soap->crlfile = nullptr;
    soap->dhfile = nullptr;
    soap->randfile = nullptr;
    soap->session_host[0] = '\0';
    soap->session_port = 0;

    clear_tables(soap);

    soap_ssl_init();
    soap->fsslauth = ssl_auth_init;
    soap->fsslverify = ssl_verify_callback;
    soap->ssl_flags = SOAP_TLS_VERIFY_SERVER;

    soap->part = SOAP_END;
    clear_parser_state(soap);
    soap->error = SOAP_OK;
}

void soap_init1(struct soap *soap, uint32_t mode)
{
    soap_init2(soap, mode, mode);
}

void soap_init2(struct soap *soap, uint32_t imode, uint32_t omode)
{
    soap_init(soap);
    soap->imode = imode;
    soap->mode = omode;
    soap->omode = omode;
}

soap::soap() { soap_init(this); }
soap::soap(uint32_t mode) { soap_init1(this, mode); }
soap::soap(uint32_t imode, uint32_t omode) { soap_init2(this, imode, omode); }

soap::~soap()
{
    soap_delete(this, nullptr);
    soap_end(this);
    soap_done(this);
}

struct soap *soap_new() { return new (std::nothrow) soap(); }
struct soap *soap_new1(uint32_t mode) { return new (std::nothrow) soap(mode); }
struct soap *soap_new2(uint32_t imode, uint32_t omode) { return new (std::nothrow) soap(imode, omode); }

void soap_free(struct soap *soap)
{
    if (!soap)
        return;
    soap_done(soap);
    delete soap;  /* the destructor finds state 0 and does nothing more */
}

struct soap *soap_copy(const struct soap *src)
{
    if (!soap_valid_state(src))
        return nullptr;
    struct soap *copy = new (std::nothrow) soap();
    if (!copy)
        return nullptr;
    /* give back what the constructor's set-up holds before the copy lands */
    soap_done(copy);
    if (!soap_copy_context(copy, src)) {
        /* the connection is still src's */
        copy->socket = -1;
        copy->keep_alive = 1;
        copy->error = SOAP_OK;
        soap_done(copy);
        delete copy;
        return nullptr;
    }
    return copy;
}

/* Frees the object list entries, leaving the objects. */
static void free_clist(struct soap *soap)
{
    while (soap->clist) {
        struct soap_clist *cp = soap->clist;
        soap->clist = cp->next;
        soap_clist_give(soap, cp);
    }
}

struct soap *soap_copy_context(struct soap *dst, const struct soap *src)
{
    if (dst == src)
        return dst;
    if (!soap_valid_state(src) || !dst)
        return nullptr;

    /* Member-wise copy of everything behind the vtable pointer: the record
     * is one flat block of fields and inline buffers. */
    const size_t skip = reinterpret_cast<const char *>(&src->state) - reinterpret_cast<const char *>(src);
    memcpy(&dst->state, &src->state, sizeof(struct soap) - skip);

    dst->state = 2;
    dst->attributes = nullptr;
    dst->error = SOAP_OK;
    dst->userid = nullptr;
    dst->passwd = nullptr;
    dst->nlist = nullptr;
    dst->blist = nullptr;
    dst->clist = nullptr;
    dst->alist = nullptr;
    clear_caches(dst);
    dst->labbuf = nullptr;
    dst->lablen = 0;
    dst->labidx = 0;
    dst->header = nullptr;
    dst->fault = nullptr;
    dst->action = nullptr;
    dst->plugins = nullptr;
    dst->cookies = nullptr;
    dst->bio = nullptr;
    dst->ssl = nullptr;
    dst->session = nullptr;
    /* owned by src: the copy makes its own */
    dst->local_namespaces = nullptr;
    dst->xlist = nullptr;

    for (size_t i = 0; i < SOAP_PTRHASH; i++)
        dst->mht[i] = nullptr;
    for (int i = 0; i < SOAP_MAXLOGS; i++) {
        dst->logfile[i] = nullptr;
        dst->fdebug[i] = nullptr;
    }
    memset(dst->tracefilter, 0, sizeof dst->tracefilter);
    for (int i = 0; i < SOAP_MAXLOGS; i++)
        if (src->logfile[i])
            soap_set_logfile(dst, i, src->logfile[i]);
    clear_tables(dst);

    const struct Namespace *table = src->local_namespaces ? src->local_namespaces : src->namespaces;
    if (table) {
        dst->namespaces = nullptr;
        if (soap_set_namespaces(dst, table))
            return nullptr;
        /* src's working table ends with its message; keep pointing at the
         * table that src itself was given */
        dst->namespaces = src->namespaces;
    }

    for (struct soap_plugin *p = src->plugins; p; p = p->next) {
        struct soap_plugin *q = static_cast<struct soap_plugin *>(MALLOC(dst, sizeof(struct soap_plugin)));
        if (!q) {
            dst->error = SOAP_EOM;
            return nullptr;
        }
        *q = *p;
        q->next = nullptr;
        if (p->fcopy && p->fcopy(dst, q, p)) {
            FREE(dst, q);
            return nullptr;
        }
        q->next = dst->plugins;
        dst->plugins = q;
    }
    return dst;
}

static struct soap_attribute *copy_attribute(struct soap *dst, const struct soap_attribute *tp)
{
    size_t len = strlen(tp->name);
    struct soap_attribute *a =
        static_cast<struct soap_attribute *>(MALLOC(dst, sizeof(struct soap_attribute) + len));
    if (!a)
        return nullptr;
    memcpy(a, tp, sizeof(struct soap_attribute));
    memcpy(a->name, tp->name, len + 1);
    a->next = nullptr;
    if (tp->value) {
        a->value = static_cast<char *>(MALLOC(dst, tp->size ? tp->size : 1));
        if (!a->value) {
            FREE(dst, a);
            return nullptr;
        }
        if (tp->size)
            memcpy(a->value, tp->value, tp->size);
        else
            a->value[0] = '\0';
    }
    return a;
}

void soap_copy_stream(struct soap *dst, struct soap *src)
{
    if (!dst || !src || dst == src)
        return;
    dst->socket = src->socket;
    dst->os = src->os;
    dst->is = src->is;
    dst->sendfd = src->sendfd;
    dst->recvfd = src->recvfd;
    dst->bufidx = src->bufidx;
    dst->buflen = src->buflen;
    dst->ahead = src->ahead;
    dst->cdata = src->cdata;
    dst->chunksize = src->chunksize;
    dst->chunkbuflen = src->chunkbuflen;
    dst->mode = src->mode;
    dst->imode = src->imode;
    dst->omode = src->omode;
    dst->recv_timeout = src->recv_timeout;
    dst->send_timeout = src->send_timeout;
    dst->keep_alive = src->keep_alive;
    dst->max_keep_alive = src->max_keep_alive;
    dst->tcp_keep_alive = src->tcp_keep_alive;
    dst->tcp_keep_idle = src->tcp_keep_idle;
    dst->tcp_keep_intvl = src->tcp_keep_intvl;
    dst->tcp_keep_cnt = src->tcp_keep_cnt;
    memcpy(dst->peer, src->peer, sizeof dst->peer);
    dst->peerlen = src->peerlen;
    dst->ip = src->ip;
    dst->port = src->port;
    memcpy(dst->endpoint, src->endpoint, sizeof dst->endpoint);
    memcpy(dst->host, src->host, sizeof dst->host);
    memcpy(dst->buf, src->buf, sizeof dst->buf);

    dst->bio = nullptr;
    if (src->state == 2)
        dst->ctx = src->ctx;
    if (dst->ssl && dst->ssl != src->ssl)
        SSL_free(dst->ssl);
    dst->ssl = src->ssl ? SSL_dup(src->ssl) : nullptr;

    /* Namespace stack of src, oldest first, each at its own level. */
    size_t n = 0;
    for (struct soap_nlist *np = src->nlist; np; np = np->next)
        n++;
    if (n) {
        struct soap_nlist **stack =
            static_cast<struct soap_nlist **>(MALLOC(dst, n * sizeof(struct soap_nlist *)));
        if (!stack) {
            dst->error = SOAP_EOM;
        } else {
            size_t i = n;
            for (struct soap_nlist *np = src->nlist; np; np = np->next)
                stack[--i] = np;
            const struct Namespace *table = src->local_namespaces ? src->local_namespaces : src->namespaces;
            for (i = 0; i < n; i++) {
                const struct soap_nlist *np = stack[i];
                const char *uri = np->ns;
                if (!uri && np->index >= 0 && table) {
                    const struct Namespace *row = &table[np->index];
                    uri = row->out ? row->out : row->ns;
                }
                if (!uri)
                    continue;
                dst->level = np->level;
                if (!soap_push_namespace(dst, np->id, uri))
                    break;
            }
            FREE(dst, stack);
        }
    }

    dst->level = src->level;
    dst->peeked = src->peeked;
    dst->body = src->body;
    memcpy(dst->tag, src->tag, sizeof dst->tag);

    struct soap_attribute **tail = &dst->attributes;
    while (*tail)
        tail = &(*tail)->next;
    for (const struct soap_attribute *tp = src->attributes; tp; tp = tp->next) {
        struct soap_attribute *a = copy_attribute(dst, tp);
        if (!a) {
            dst->error = SOAP_EOM;
            break;
        }
        *tail = a;
        tail = &a->next;
    }
}

void soap_begin(struct soap *soap)
{
    if (!soap->keep_alive) {
        soap->bufidx = 0;
        soap->buflen = 0;
    }
    soap->keep_alive = ((soap->imode | soap->omode) & SOAP_IO_KEEPALIVE) != 0;
    soap->part = SOAP_END;
    soap->mode = 0;
    soap->error = SOAP_OK;
    soap->peeked = 0;
    soap->ahead = 0;
    soap->idnumber = 0;
    soap->level = 0;
    soap->count = 0;
    soap->length = 0;
    soap->cdata = 0;
    soap->encoding = 0;
    soap->mustUnderstand = 0;
    soap->null = 0;
    soap->position = 0;
    soap->ns = 0;
    soap->endpoint[0] = '\0';
    soap->dime.chunksize = 0;
    soap->dime.buflen = 0;
    soap_free_temp(soap);
}

void soap_end(struct soap *soap)
{
    if (!soap_valid_state(soap))
        return;
    soap_free_temp(soap);
    soap_dealloc(soap, nullptr);
    free_clist(soap);
    soap_closesock(soap);
    soap_close_logfiles(soap);
}

void soap_done(struct soap *soap)
{
    if (!soap_valid_state(soap))
        return;
    soap_free_temp(soap);
    free_clist(soap);

    if (soap->state == 1)
        soap->omode &= ~(uint32_t)SOAP_IO_UDP;
    soap->keep_alive = 0;
    soap_closesock(soap);

    while (soap->plugins) {
        struct soap_plugin *p = soap->plugins;
        soap->plugins = p->next;
        /* a copy only runs the deletion of plugins that made their own data */
        if (p->fdelete && (soap->state == 1 || p->fcopy))
            p->fdelete(soap, p);
        FREE(soap, p);
    }

    set_default_callbacks(soap);

    if (soap->session) {
        SSL_SESSION_free(soap->session);
        soap->session = nullptr;
    }
    if (soap->state == 1 && soap->master >= 0) {
        soap->fclosesocket(soap, soap->master);
        soap->master = -1;
    }
    if (soap->ssl) {
        SSL_free(soap->ssl);
        soap->ssl = nullptr;
        soap->bio = nullptr;
    }
    if (soap->state == 1 && soap->ctx) {
        SSL_CTX_free(soap->ctx);
        soap->ctx = nullptr;
    }
    ERR_clear_error();

    for (int i = 0; i < SOAP_MAXLOGS; i++)
        soap_set_logfile(soap, i, nullptr);

    soap->state = 0;
    soap_free_memcache(soap);
    soap_track_report(soap);
}

int soap_register_plugin_arg(struct soap *soap, int (*fcreate)(struct soap *, struct soap_plugin *, void *),
                             void *arg)
{
    struct soap_plugin *p = static_cast<struct soap_plugin *>(MALLOC(soap, sizeof(struct soap_plugin)));
    if (!p) {
        soap->error = SOAP_EOM;
        return SOAP_EOM;
    }
    memset(p, 0, sizeof *p);
    int r = fcreate(soap, p, arg);
    if (!r && p->fdelete) {
        p->next = soap->plugins;
        soap->plugins = p;
        return SOAP_OK;
    }
    FREE(soap, p);
    return r;
}

void *soap_lookup_plugin(struct soap *soap, const char *id)
{
    for (struct soap_plugin *p = soap->plugins; p; p = p->next)
        if (p->id == id || (id && p->id && !strcmp(p->id, id)))
            return p->data;
    return nullptr;
}

int soap_closesock(struct soap *soap)
{
    int status = soap->error;
    if (status) {
        soap->mime.first = soap->mime.last = nullptr;
        soap->dime.first = soap->dime.last = nullptr;
    }
    if (soap->fdisconnect) {
        int r = soap->fdisconnect(soap);
        if (r)
            return soap->error = r;
    }
    if (status == SOAP_EOF || status == SOAP_TCP_ERROR || status == SOAP_SSL_ERROR || !soap->keep_alive) {
        if (soap->fclose) {
            int r = soap->fclose(soap);
            if (r)
                return soap->error = r;
        }
        soap->keep_alive = 0;
    }
    return soap->error = status;
}
