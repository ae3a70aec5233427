/* context_test.cpp -- the runtime context's life: defaults after set-up,
 * begin/end/done, copies of a context and of a stream, plugins, and the
 * closing rules of a connection.
 */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include <openssl/ssl.h>

#include "soapengine.h"
#include "soapinternal.h"

namespace {

struct Ctx {
    struct soap *s;
    Ctx() : s(soap_new()) {}
    ~Ctx()
    {
        soap_end(s);
        soap_free(s);
    }
};

bool all_null(void *const *table, size_t n)
{
    for (size_t i = 0; i < n; i++)
        if (table[i])
            return false;
    return true;
}

/* ------------------------------------------------------------------------ */

TEST(ContextInit, EveryNamedFieldHasItsDefault)
{
    Ctx c;
    const struct soap *s = c.s;
    EXPECT_EQ(s->state, 1);
    EXPECT_EQ(s->version, 0);
    EXPECT_EQ(s->mode, 0u);
    EXPECT_EQ(s->imode, 0u);
    EXPECT_EQ(s->omode, 0u);
    EXPECT_STREQ(s->float_format, "%.9G");
    EXPECT_STREQ(s->double_format, "%.17lG");
    EXPECT_STREQ(s->dime_id_format, "cid:id%d");
    EXPECT_STREQ(s->http_version, "1.1");
    EXPECT_EQ(s->http_content, nullptr);
    ASSERT_NE(s->encodingStyle, nullptr);
    EXPECT_STREQ(s->encodingStyle, "");
    EXPECT_EQ(s->actor, nullptr);
    EXPECT_STREQ(s->lang, "en");
    EXPECT_EQ(s->prolog, nullptr);
    EXPECT_EQ(s->idnumber, 0);
    EXPECT_EQ(s->user, nullptr);
    EXPECT_TRUE(all_null(s->data, 4));

    EXPECT_EQ(s->recv_timeout, 0);
    EXPECT_EQ(s->send_timeout, 0);
    EXPECT_EQ(s->connect_timeout, 0);
    EXPECT_EQ(s->accept_timeout, 0);
    EXPECT_EQ(s->socket_flags, 0);
    EXPECT_EQ(s->connect_flags, 0);
    EXPECT_EQ(s->bind_flags, 0);
    EXPECT_EQ(s->accept_flags, 0);
    EXPECT_EQ(s->linger_time, 0);
    EXPECT_EQ(s->master, -1);
    EXPECT_EQ(s->socket, -1);
    EXPECT_EQ(s->os, nullptr);
    EXPECT_EQ(s->is, nullptr);
    EXPECT_EQ(s->sendfd, 1);
    EXPECT_EQ(s->recvfd, 0);
    EXPECT_EQ(s->keep_alive, 0);
    EXPECT_EQ(s->tcp_keep_alive, 0);
    EXPECT_EQ(s->tcp_keep_idle, 0);
    EXPECT_EQ(s->tcp_keep_intvl, 0);
    EXPECT_EQ(s->tcp_keep_cnt, 0);
    EXPECT_EQ(s->max_keep_alive, SOAP_MAXKEEPALIVE);
    EXPECT_EQ(s->ip, 0u);
    EXPECT_EQ(s->port, 0);

    EXPECT_EQ(s->bufidx, 0u);
    EXPECT_EQ(s->buflen, 0u);
    EXPECT_EQ(s->ahead, 0);
    EXPECT_EQ(s->cdata, 0);
    EXPECT_EQ(s->body, 0);
    EXPECT_EQ(s->level, 0u);
    EXPECT_EQ(s->count, 0u);
    EXPECT_EQ(s->length, 0u);
    EXPECT_EQ(s->labbuf, nullptr);
    EXPECT_EQ(s->lablen, 0u);
    EXPECT_EQ(s->labidx, 0u);
    EXPECT_STREQ(s->tag, "");
    EXPECT_STREQ(s->id, "");
    EXPECT_STREQ(s->href, "");
    EXPECT_STREQ(s->type, "");
    EXPECT_STREQ(s->arrayType, "");
    EXPECT_STREQ(s->arraySize, "");
    EXPECT_STREQ(s->arrayOffset, "");
    EXPECT_EQ(s->other, 0);
    EXPECT_EQ(s->position, 0);
    EXPECT_EQ(s->attributes, nullptr);
    EXPECT_EQ(s->encoding, 0);
    EXPECT_EQ(s->mustUnderstand, 0);
    EXPECT_EQ(s->null, 0);
    EXPECT_EQ(s->ns, 0);
    EXPECT_EQ(s->part, SOAP_END);
    EXPECT_EQ(s->alloced, 0);
    EXPECT_EQ(s->peeked, 0);
    EXPECT_EQ(s->chunksize, 0u);
    EXPECT_EQ(s->chunkbuflen, 0u);

    EXPECT_EQ(s->nlist, nullptr);
    EXPECT_EQ(s->blist, nullptr);
    EXPECT_EQ(s->clist, nullptr);
    EXPECT_EQ(s->alist, nullptr);
    EXPECT_TRUE(all_null(reinterpret_cast<void *const *>(s->iht), SOAP_IDHASH));
    EXPECT_TRUE(all_null(reinterpret_cast<void *const *>(s->pht), SOAP_PTRHASH));
    EXPECT_EQ(s->pblk, nullptr);
    EXPECT_EQ(s->pidx, 0);

    EXPECT_EQ(s->namespaces, namespaces);
    EXPECT_EQ(s->local_namespaces, nullptr);
    EXPECT_EQ(s->header, nullptr);
    EXPECT_EQ(s->fault, nullptr);
    EXPECT_EQ(s->dom, nullptr);

    EXPECT_STREQ(s->endpoint, "");
    EXPECT_STREQ(s->path, "");
    EXPECT_STREQ(s->host, "");
    EXPECT_EQ(s->action, nullptr);
    EXPECT_EQ(s->userid, nullptr);
    EXPECT_EQ(s->passwd, nullptr);
    EXPECT_EQ(s->authrealm, nullptr);
    EXPECT_STREQ(s->proxy_http_version, "1.0");
    EXPECT_EQ(s->proxy_host, nullptr);
    EXPECT_EQ(s->proxy_port, 8080);
    EXPECT_EQ(s->proxy_userid, nullptr);
    EXPECT_EQ(s->proxy_passwd, nullptr);
    EXPECT_EQ(s->proxy_from, nullptr);
    EXPECT_EQ(s->status, 0);
    EXPECT_EQ(s->error, SOAP_OK);
    EXPECT_EQ(s->errmode, 0);
    EXPECT_EQ(s->errnum, 0);
    EXPECT_EQ(s->dime.count, 0u);
    EXPECT_EQ(s->dime.size, 0u);
    EXPECT_EQ(s->dime.chunksize, 0u);
    EXPECT_EQ(s->dime.buflen, 0u);
    EXPECT_EQ(s->dime.flags, 0);
    EXPECT_EQ(s->dime.ptr, nullptr);
    EXPECT_EQ(s->dime.id, nullptr);
    EXPECT_EQ(s->dime.list, nullptr);
    EXPECT_EQ(s->dime.first, nullptr);
    EXPECT_EQ(s->dime.last, nullptr);
    EXPECT_EQ(s->mime.boundary, nullptr);
    EXPECT_EQ(s->mime.start, nullptr);
    EXPECT_EQ(s->mime.list, nullptr);
    EXPECT_EQ(s->mime.first, nullptr);
    EXPECT_EQ(s->mime.last, nullptr);
    EXPECT_EQ(s->xlist, nullptr);
    ASSERT_NE(s->logfile[SOAP_IDX_RECV], nullptr);
    ASSERT_NE(s->logfile[SOAP_IDX_SENT], nullptr);
    EXPECT_STREQ(s->logfile[SOAP_IDX_RECV], g_TraceLogFile);
    EXPECT_STREQ(s->logfile[SOAP_IDX_SENT], g_TraceLogFile);
    EXPECT_NE(s->logfile[SOAP_IDX_RECV], s->logfile[SOAP_IDX_SENT]);  /* private copies */
    EXPECT_EQ(s->logfile[SOAP_IDX_TEST], nullptr);
    EXPECT_EQ(s->fdebug[0], nullptr);
    EXPECT_EQ(s->fdebug[1], nullptr);
    EXPECT_EQ(s->fdebug[2], nullptr);
    EXPECT_EQ(s->c14ninclude, nullptr);
    EXPECT_EQ(s->c14nexclude, nullptr);
    EXPECT_EQ(s->cookies, nullptr);
    EXPECT_EQ(s->cookie_max, 32);
    EXPECT_EQ(s->plugins, nullptr);

    EXPECT_EQ(s->fsslauth, ssl_auth_init);
    EXPECT_EQ(s->fsslverify, ssl_verify_callback);
    EXPECT_EQ(s->ssl_flags, 1);
    EXPECT_EQ(s->bio, nullptr);
    EXPECT_EQ(s->ssl, nullptr);
    EXPECT_EQ(s->ctx, nullptr);
    EXPECT_EQ(s->session, nullptr);
    EXPECT_EQ(s->keyfile, nullptr);
    EXPECT_EQ(s->password, nullptr);
    EXPECT_EQ(s->cafile, nullptr);
    EXPECT_EQ(s->capath, nullptr);
    EXPECT_EQ(s->crlfile, nullptr);
    EXPECT_EQ(s->dhfile, nullptr);
    EXPECT_EQ(s->randfile, nullptr);
    EXPECT_STREQ(s->session_host, "");
}

/* The slot table: defaults by name; the null ones are null. */
void expect_default_callbacks(struct soap *s)
{
    EXPECT_EQ(s->fpost, http_post);
    ASSERT_NE(s->fget, nullptr);
    EXPECT_EQ(s->fget(s), SOAP_GET_METHOD);
    EXPECT_EQ(s->fput, http_parse);
    EXPECT_EQ(s->fdel, http_405);
    EXPECT_EQ(s->fopt, http_200);
    EXPECT_EQ(s->fhead, http_200);
    EXPECT_EQ(s->fform, nullptr);
    EXPECT_EQ(s->fposthdr, http_post_header);
    EXPECT_EQ(s->fresponse, http_response);
    EXPECT_EQ(s->fparse, http_parse);
    EXPECT_EQ(s->fparsehdr, http_parse_header);
    EXPECT_EQ(s->fheader, nullptr);
    EXPECT_EQ(s->fresolve, nullptr);
    EXPECT_EQ(s->fconnect, nullptr);
    EXPECT_EQ(s->fdisconnect, nullptr);
    EXPECT_EQ(s->fclosesocket, tcp_closesocket);
    EXPECT_EQ(s->fshutdownsocket, tcp_shutdownsocket);
    EXPECT_EQ(s->fopen, tcp_connect);
    EXPECT_EQ(s->faccept, tcp_accept);
    EXPECT_EQ(s->fclose, tcp_disconnect);
    EXPECT_EQ(s->fsend, soap_io_send);
    EXPECT_EQ(s->frecv, soap_io_recv);
    EXPECT_EQ(s->fpoll, soap_poll);
    EXPECT_EQ(s->fseterror, nullptr);
    EXPECT_EQ(s->fignore, nullptr);
    EXPECT_EQ(s->fserveloop, nullptr);
    EXPECT_EQ(s->fplugin, soap_lookup_plugin);
    EXPECT_EQ(s->fmalloc, nullptr);
    EXPECT_EQ(s->fprepareinitsend, nullptr);
    EXPECT_EQ(s->fprepareinitrecv, nullptr);
    EXPECT_EQ(s->fpreparesend, nullptr);
    EXPECT_EQ(s->fpreparerecv, nullptr);
    EXPECT_EQ(s->fpreparefinalsend, nullptr);
    EXPECT_EQ(s->fpreparefinalrecv, nullptr);
    EXPECT_EQ(s->ffiltersend, nullptr);
    EXPECT_EQ(s->ffilterrecv, nullptr);
    EXPECT_EQ(s->fdimereadopen, nullptr);
    EXPECT_EQ(s->fdimewriteopen, nullptr);
    EXPECT_EQ(s->fdimereadclose, nullptr);
    EXPECT_EQ(s->fdimewriteclose, nullptr);
    EXPECT_EQ(s->fdimeread, nullptr);
    EXPECT_EQ(s->fdimewrite, nullptr);
    EXPECT_EQ(s->fmimereadopen, nullptr);
    EXPECT_EQ(s->fmimewriteopen, nullptr);
    EXPECT_EQ(s->fmimereadclose, nullptr);
    EXPECT_EQ(s->fmimewriteclose, nullptr);
    EXPECT_EQ(s->fmimeread, nullptr);
    EXPECT_EQ(s->fmimewrite, nullptr);
}

TEST(ContextInit, CallbackSlotsHaveTheirDefaults)
{
    Ctx c;
    expect_default_callbacks(c.s);
}

TEST(ContextInit, ModesOfTheConstructorsAndFactories)
{
    struct soap *one = soap_new1(SOAP_XML_STRICT);
    EXPECT_EQ(one->imode, (uint32_t)SOAP_XML_STRICT);
    EXPECT_EQ(one->omode, (uint32_t)SOAP_XML_STRICT);
    EXPECT_EQ(one->mode, (uint32_t)SOAP_XML_STRICT);
    soap_free(one);
    struct soap *two = soap_new2(SOAP_IO_KEEPALIVE, SOAP_XML_INDENT);
    EXPECT_EQ(two->imode, (uint32_t)SOAP_IO_KEEPALIVE);
    EXPECT_EQ(two->omode, (uint32_t)SOAP_XML_INDENT);
    EXPECT_EQ(two->mode, (uint32_t)SOAP_XML_INDENT);
    soap_free(two);
    auto *a = new soap();
    auto *b = new soap(SOAP_ENC_MTOM);
    auto *d = new soap(SOAP_ENC_LATIN, SOAP_IO_CHUNK);
    EXPECT_EQ(a->imode | a->omode | a->mode, 0u);
    EXPECT_EQ(b->imode, (uint32_t)SOAP_ENC_MTOM);
    EXPECT_EQ(b->omode, (uint32_t)SOAP_ENC_MTOM);
    EXPECT_EQ(d->imode, (uint32_t)SOAP_ENC_LATIN);
    EXPECT_EQ(d->omode, (uint32_t)SOAP_IO_CHUNK);
    EXPECT_EQ(d->mode, (uint32_t)SOAP_IO_CHUNK);
    EXPECT_EQ(d->state, 1);
    delete a;
    delete b;
    delete d;
}

TEST(ContextInit, InitAgainAfterDone)
{
    Ctx c;
    soap_done(c.s);
    EXPECT_EQ(c.s->state, 0);
    EXPECT_FALSE(soap_valid_state(c.s));
    soap_init(c.s);
    EXPECT_EQ(c.s->state, 1);
    EXPECT_TRUE(soap_valid_state(c.s));
    EXPECT_NE(soap_malloc(c.s, 4), nullptr);
}

TEST(ContextInit, ValidStateIsOneOrTwo)
{
    Ctx c;
    EXPECT_TRUE(soap_valid_state(c.s));
    c.s->state = 2;
    EXPECT_TRUE(soap_valid_state(c.s));
    c.s->state = 3;
    EXPECT_FALSE(soap_valid_state(c.s));
    c.s->state = 1;
    EXPECT_FALSE(soap_valid_state(nullptr));
}

/* ------------------------------------------------------------------------ */

struct Calls {
    int fclose = 0;
    int fdisconnect = 0;
    int fclose_result = 0;
    int fdisconnect_result = 0;
    static Calls &of(struct soap *s) { return *static_cast<Calls *>(s->user); }
    static int close(struct soap *s)
    {
        of(s).fclose++;
        return of(s).fclose_result;
    }
    static int disconnect(struct soap *s)
    {
        of(s).fdisconnect++;
        return of(s).fdisconnect_result;
    }
    void attach(struct soap *s)
    {
        s->user = this;
        s->fclose = close;
    }
};

TEST(ContextCloseSocket, ClosesWhenNotKeptAlive)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    EXPECT_EQ(soap_closesock(c.s), SOAP_OK);
    EXPECT_EQ(calls.fclose, 1);
}

TEST(ContextCloseSocket, KeepAliveLeavesTheConnectionOpen)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    c.s->keep_alive = 1;
    EXPECT_EQ(soap_closesock(c.s), SOAP_OK);
    EXPECT_EQ(calls.fclose, 0);
    EXPECT_EQ(c.s->keep_alive, 1);
    c.s->error = SOAP_SYNTAX_ERROR;  /* not a transport failure */
    EXPECT_EQ(soap_closesock(c.s), SOAP_SYNTAX_ERROR);
    EXPECT_EQ(calls.fclose, 0);
}

TEST(ContextCloseSocket, TransportFailuresCloseEvenWhenKeptAlive)
{
    for (int status : {SOAP_EOF, SOAP_TCP_ERROR, SOAP_SSL_ERROR}) {
        Calls calls;
        Ctx c;
        calls.attach(c.s);
        c.s->keep_alive = 1;
        c.s->error = status;
        EXPECT_EQ(soap_closesock(c.s), status);
        EXPECT_EQ(c.s->error, status);
        EXPECT_EQ(calls.fclose, 1) << status;
        EXPECT_EQ(c.s->keep_alive, 0);
        c.s->error = SOAP_OK;
    }
}

TEST(ContextCloseSocket, AnErrorForgetsTheAttachments)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    struct soap_multipart part {};
    c.s->mime.first = c.s->mime.last = &part;
    c.s->dime.first = c.s->dime.last = &part;
    c.s->mime.list = &part;
    c.s->error = SOAP_SYNTAX_ERROR;
    soap_closesock(c.s);
    EXPECT_EQ(c.s->mime.first, nullptr);
    EXPECT_EQ(c.s->mime.last, nullptr);
    EXPECT_EQ(c.s->dime.first, nullptr);
    EXPECT_EQ(c.s->dime.last, nullptr);
    EXPECT_EQ(c.s->mime.list, &part);
    c.s->mime.list = nullptr;
    c.s->error = SOAP_OK;
}

TEST(ContextCloseSocket, DisconnectHookGoesFirstAndItsFailureWins)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    c.s->fdisconnect = Calls::disconnect;
    EXPECT_EQ(soap_closesock(c.s), SOAP_OK);
    EXPECT_EQ(calls.fdisconnect, 1);
    EXPECT_EQ(calls.fclose, 1);
    calls.fdisconnect_result = SOAP_TCP_ERROR;
    EXPECT_EQ(soap_closesock(c.s), SOAP_TCP_ERROR);
    EXPECT_EQ(c.s->error, SOAP_TCP_ERROR);
    EXPECT_EQ(calls.fclose, 1);
    c.s->fdisconnect = nullptr;
    c.s->error = SOAP_OK;
}

TEST(ContextCloseSocket, CloseFailureBecomesTheError)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    calls.fclose_result = SOAP_SSL_ERROR;
    EXPECT_EQ(soap_closesock(c.s), SOAP_SSL_ERROR);
    EXPECT_EQ(c.s->error, SOAP_SSL_ERROR);
    c.s->error = SOAP_OK;
}

/* ------------------------------------------------------------------------ */

TEST(ContextBegin, KeptAliveConnectionKeepsItsBufferedBytes)
{
    Ctx c;
    memcpy(c.s->buf, "HTTP/1.1 200", 12);
    c.s->bufidx = 4;
    c.s->buflen = 12;
    c.s->keep_alive = 1;
    c.s->imode = SOAP_IO_KEEPALIVE;
    soap_begin(c.s);
    EXPECT_EQ(c.s->bufidx, 4u);
    EXPECT_EQ(c.s->buflen, 12u);
    EXPECT_EQ(std::string(c.s->buf, 12), "HTTP/1.1 200");
    EXPECT_EQ(c.s->keep_alive, 1);
}

TEST(ContextBegin, WithoutKeepAliveTheBufferIsEmptied)
{
    Ctx c;
    c.s->bufidx = 4;
    c.s->buflen = 12;
    soap_begin(c.s);
    EXPECT_EQ(c.s->bufidx, 0u);
    EXPECT_EQ(c.s->buflen, 0u);
}

TEST(ContextBegin, KeepAliveFollowsTheModeBits)
{
    Ctx c;
    c.s->keep_alive = 1;
    soap_begin(c.s);
    EXPECT_EQ(c.s->keep_alive, 0);
    c.s->omode = SOAP_IO_KEEPALIVE;
    soap_begin(c.s);
    EXPECT_EQ(c.s->keep_alive, 1);
}

TEST(ContextBegin, ClearsThePerMessageState)
{
    Ctx c;
    struct soap *s = c.s;
    s->mode = SOAP_IO_LENGTH | SOAP_ENC_DIME;
    s->error = SOAP_TAG_MISMATCH;
    s->peeked = 1;
    s->ahead = 'x';
    s->idnumber = 12;
    s->level = 3;
    s->count = 100;
    s->length = 200;
    s->cdata = 1;
    s->encoding = 1;
    s->mustUnderstand = 1;
    s->null = 1;
    s->position = 2;
    s->ns = 1;
    s->part = SOAP_IN_BODY;
    strcpy(s->endpoint, "http://x/");
    s->dime.chunksize = 9;
    s->dime.buflen = 9;
    s->omode = SOAP_XML_INDENT;
    int dummy;
    struct soap_plist *pp;
    soap_pointer_enter(s, &dummy, nullptr, 0, 1, &pp);
    soap_enter(s, "#a");
    soap_new_block(s);
    soap_begin(s);
    EXPECT_EQ(s->mode, 0u);
    EXPECT_EQ(s->omode, (uint32_t)SOAP_XML_INDENT);  /* the caller's modes stay */
    EXPECT_EQ(s->error, SOAP_OK);
    EXPECT_EQ(s->peeked, 0);
    EXPECT_EQ(s->ahead, 0);
    EXPECT_EQ(s->idnumber, 0);
    EXPECT_EQ(s->level, 0u);
    EXPECT_EQ(s->count, 0u);
    EXPECT_EQ(s->length, 0u);
    EXPECT_EQ(s->cdata, 0);
    EXPECT_EQ(s->encoding, 0);
    EXPECT_EQ(s->mustUnderstand, 0);
    EXPECT_EQ(s->null, 0);
    EXPECT_EQ(s->position, 0);
    EXPECT_EQ(s->ns, 0);
    EXPECT_EQ(s->part, SOAP_END);
    EXPECT_STREQ(s->endpoint, "");
    EXPECT_EQ(s->dime.chunksize, 0u);
    EXPECT_EQ(s->dime.buflen, 0u);
    EXPECT_EQ(s->pblk, nullptr);
    EXPECT_EQ(soap_lookup(s, "#a"), nullptr);
    EXPECT_EQ(s->blist, nullptr);
}

/* ------------------------------------------------------------------------ */

TEST(ContextEnd, HeaderAndFaultAreNullAfterEnd)
{
    Ctx c;
    c.s->header = static_cast<struct SOAP_ENV__Header *>(soap_malloc(c.s, 16));
    c.s->fault = static_cast<struct SOAP_ENV__Fault *>(soap_malloc(c.s, 16));
    soap_end(c.s);
    EXPECT_EQ(c.s->header, nullptr);
    EXPECT_EQ(c.s->fault, nullptr);
    EXPECT_EQ(c.s->alist, nullptr);
}

TEST(ContextEnd, LeavesCallbacksModesAndPluginsAsSet)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    c.s->omode = SOAP_XML_CANONICAL;
    c.s->imode = SOAP_XML_STRICT;
    c.s->keep_alive = 1;
    soap_end(c.s);
    EXPECT_EQ(c.s->fclose, Calls::close);
    EXPECT_EQ(c.s->omode, (uint32_t)SOAP_XML_CANONICAL);
    EXPECT_EQ(c.s->imode, (uint32_t)SOAP_XML_STRICT);
    EXPECT_EQ(calls.fclose, 0);  /* kept alive: soap_closesock left it */
    EXPECT_EQ(c.s->state, 1);
}

TEST(ContextEnd, ClosesTheConnectionWhenNotKeptAlive)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    soap_end(c.s);
    EXPECT_EQ(calls.fclose, 1);
}

/* ------------------------------------------------------------------------ */

TEST(ContextDone, SecondDoneDoesNothing)
{
    Ctx c;
    soap_done(c.s);
    EXPECT_EQ(c.s->state, 0);
    Calls calls;
    calls.attach(c.s);  /* done reset the slots; a second done must not use them */
    soap_done(c.s);
    soap_end(c.s);
    EXPECT_EQ(calls.fclose, 0);
    EXPECT_EQ(c.s->fclose, Calls::close);
    EXPECT_EQ(c.s->state, 0);
}

TEST(ContextDone, SlotsGoBackToTheirDefaults)
{
    Calls calls;  /* outlives the context, whose end still calls it */
    Ctx c;
    calls.attach(c.s);
    c.s->fmalloc = [](struct soap *, size_t) -> void * { return nullptr; };
    c.s->fheader = [](struct soap *) { return 0; };
    c.s->fsend = [](struct soap *, const char *, size_t) { return 0; };
    c.s->fplugin = nullptr;
    soap_done(c.s);
    EXPECT_EQ(calls.fclose, 1);  /* done closes with the caller's slot first */
    expect_default_callbacks(c.s);
}

TEST(ContextDone, FreesPathsAndClearsUdpOfTheOriginal)
{
    Ctx c;
    c.s->omode = SOAP_IO_UDP | SOAP_XML_TREE;
    c.s->keep_alive = 1;
    soap_done(c.s);
    EXPECT_EQ(c.s->omode, (uint32_t)SOAP_XML_TREE);
    EXPECT_EQ(c.s->keep_alive, 0);
    for (int i = 0; i < SOAP_MAXLOGS; i++) {
        EXPECT_EQ(c.s->logfile[i], nullptr);
        EXPECT_EQ(c.s->fdebug[i], nullptr);
    }
    EXPECT_TRUE(all_null(reinterpret_cast<void *const *>(c.s->mht), SOAP_PTRHASH));
}

TEST(ContextDone, OriginalClosesItsListeningSocketAndTlsContext)
{
    Ctx c;
    int fd = open("/dev/null", O_RDONLY);
    ASSERT_GE(fd, 0);
    c.s->master = fd;
    c.s->ctx = SSL_CTX_new(TLS_client_method());
    ASSERT_NE(c.s->ctx, nullptr);
    soap_done(c.s);
    EXPECT_EQ(c.s->master, -1);
    EXPECT_EQ(c.s->ctx, nullptr);
    if (fcntl(fd, F_GETFD) != -1)
        close(fd);  /* the socket layer's closer is still a stub in this build */
}

TEST(ContextDone, DestructorDeletesObjectsAndFreesBlocks)
{
    static int deleted;
    deleted = 0;
    auto *s = new soap();
    int obj;
    soap_link(s, &obj, 1, -1, [](struct soap_clist *) {
        deleted++;
        return 0;
    });
    soap_malloc(s, 10);
    testing::internal::CaptureStderr();
    delete s;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");  /* no leak report */
    EXPECT_EQ(deleted, 1);
}

/* ------------------------------------------------------------------------ */
/* Plugins                                                                   */

struct PluginLog {
    std::vector<std::string> events;
};
PluginLog plugin_log;
const char plugin_id[] = "test-plugin";

void plugin_delete(struct soap *, struct soap_plugin *p)
{
    plugin_log.events.push_back(std::string("delete ") + static_cast<const char *>(p->data));
}

int plugin_copy(struct soap *, struct soap_plugin *dst, struct soap_plugin *src)
{
    plugin_log.events.push_back(std::string("copy ") + static_cast<const char *>(src->data));
    EXPECT_NE(dst, src);
    EXPECT_EQ(dst->id, src->id);
    dst->data = const_cast<char *>("copied");
    return 0;
}

int plugin_copy_fails(struct soap *, struct soap_plugin *, struct soap_plugin *) { return SOAP_PLUGIN_ERROR; }

int create_plain(struct soap *, struct soap_plugin *p, void *arg)
{
    p->id = plugin_id;
    p->data = arg;
    p->fdelete = plugin_delete;
    return 0;
}

int create_copyable(struct soap *s, struct soap_plugin *p, void *arg)
{
    create_plain(s, p, arg);
    p->id = "copyable";
    p->fcopy = plugin_copy;
    return 0;
}

int create_without_delete(struct soap *, struct soap_plugin *p, void *)
{
    p->id = "nodelete";
    return 0;
}

int create_failing(struct soap *, struct soap_plugin *p, void *)
{
    p->id = "failing";
    p->fdelete = plugin_delete;
    return SOAP_PLUGIN_ERROR;
}

TEST(ContextPlugins, RegisteredPluginIsFoundByPointerAndByText)
{
    Ctx c;
    plugin_log.events.clear();
    char data[] = "plain";
    ASSERT_EQ(soap_register_plugin_arg(c.s, create_plain, data), SOAP_OK);
    EXPECT_EQ(soap_lookup_plugin(c.s, plugin_id), data);
    std::string same_text(plugin_id);
    EXPECT_EQ(soap_lookup_plugin(c.s, same_text.c_str()), data);
    EXPECT_EQ(c.s->fplugin(c.s, plugin_id), data);
    EXPECT_EQ(soap_lookup_plugin(c.s, "other"), nullptr);
    soap_done(c.s);
    EXPECT_EQ(plugin_log.events, std::vector<std::string>{"delete plain"});
    EXPECT_EQ(c.s->plugins, nullptr);
}

TEST(ContextPlugins, NewestPluginComesFirst)
{
    Ctx c;
    plugin_log.events.clear();
    char first[] = "first", second[] = "second";
    soap_register_plugin_arg(c.s, create_plain, first);
    soap_register_plugin_arg(c.s, create_plain, second);
    EXPECT_EQ(soap_lookup_plugin(c.s, plugin_id), second);
    soap_done(c.s);
    EXPECT_EQ(plugin_log.events, (std::vector<std::string>{"delete second", "delete first"}));
}

TEST(ContextPlugins, PluginWithoutDeletionIsNotRegistered)
{
    Ctx c;
    EXPECT_EQ(soap_register_plugin_arg(c.s, create_without_delete, nullptr), SOAP_OK);
    EXPECT_EQ(c.s->plugins, nullptr);
}

TEST(ContextPlugins, FailedCreationIsNotRegisteredAndItsCodeReturned)
{
    Ctx c;
    plugin_log.events.clear();
    EXPECT_EQ(soap_register_plugin_arg(c.s, create_failing, nullptr), SOAP_PLUGIN_ERROR);
    EXPECT_EQ(c.s->plugins, nullptr);
    EXPECT_TRUE(plugin_log.events.empty());
}

/* ------------------------------------------------------------------------ */
/* Copies                                                                    */

TEST(ContextCopy, SamePointerTwiceReturnsItUnchanged)
{
    Ctx c;
    c.s->error = SOAP_TAG_MISMATCH;
    c.s->userid = "me";
    EXPECT_EQ(soap_copy_context(c.s, c.s), c.s);
    EXPECT_EQ(c.s->state, 1);
    EXPECT_EQ(c.s->error, SOAP_TAG_MISMATCH);
    EXPECT_STREQ(c.s->userid, "me");
    c.s->error = SOAP_OK;
}

TEST(ContextCopy, RefusesAFinishedOrMissingSourceOrTarget)
{
    Ctx src, dst;
    EXPECT_EQ(soap_copy_context(dst.s, nullptr), nullptr);
    EXPECT_EQ(soap_copy_context(nullptr, src.s), nullptr);
    soap_done(src.s);
    EXPECT_EQ(soap_copy_context(dst.s, src.s), nullptr);
    EXPECT_EQ(dst.s->state, 1);
    EXPECT_EQ(soap_copy(src.s), nullptr);
}

TEST(ContextCopy, CopyTakesSettingsButNotTheMessage)
{
    Ctx c;
    struct soap *src = c.s;
    src->recv_timeout = -250000;
    src->omode = SOAP_XML_INDENT;
    src->mode = SOAP_IO_LENGTH;
    strcpy(src->endpoint, "https://host/x");
    src->userid = "user";
    src->passwd = "secret";
    src->action = "act";
    src->proxy_host = "proxy";
    src->error = SOAP_SYNTAX_ERROR;
    soap_malloc(src, 4);
    int obj;
    soap_link(src, &obj, 1, -1, nullptr);
    src->header = reinterpret_cast<struct SOAP_ENV__Header *>(&obj);
    soap_set_recv_logfile(src, "/tmp/ctxmem-copy-recv.log");

    struct soap *copy = soap_copy(src);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->state, 2);
    EXPECT_EQ(copy->recv_timeout, -250000);
    EXPECT_EQ(copy->omode, (uint32_t)SOAP_XML_INDENT);
    EXPECT_EQ(copy->mode, (uint32_t)SOAP_IO_LENGTH);
    EXPECT_STREQ(copy->endpoint, "https://host/x");
    EXPECT_STREQ(copy->proxy_host, "proxy");
    EXPECT_EQ(copy->userid, nullptr);
    EXPECT_EQ(copy->passwd, nullptr);
    EXPECT_EQ(copy->action, nullptr);
    EXPECT_EQ(copy->error, SOAP_OK);
    EXPECT_EQ(copy->alist, nullptr);
    EXPECT_EQ(copy->clist, nullptr);
    EXPECT_EQ(copy->header, nullptr);
    EXPECT_EQ(copy->fault, nullptr);
    EXPECT_EQ(copy->plugins, nullptr);
    ASSERT_NE(copy->logfile[SOAP_IDX_RECV], nullptr);
    EXPECT_STREQ(copy->logfile[SOAP_IDX_RECV], "/tmp/ctxmem-copy-recv.log");
    EXPECT_NE(copy->logfile[SOAP_IDX_RECV], src->logfile[SOAP_IDX_RECV]);
    EXPECT_STREQ(copy->logfile[SOAP_IDX_SENT], g_TraceLogFile);
    EXPECT_NE(copy->namespaces, nullptr);
    testing::internal::CaptureStderr();
    soap_end(copy);
    soap_free(copy);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");  /* owns nothing of src */
    src->error = SOAP_OK;
    src->header = nullptr;
    soap_unlink(src, &obj);
}

TEST(ContextCopy, PluginsAreCopiedThroughTheirCopyHook)
{
    Ctx c;
    plugin_log.events.clear();
    char plain[] = "plain", copyable[] = "copyable";
    soap_register_plugin_arg(c.s, create_plain, plain);
    soap_register_plugin_arg(c.s, create_copyable, copyable);
    struct soap *copy = soap_copy(c.s);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(plugin_log.events, std::vector<std::string>{"copy copyable"});
    EXPECT_STREQ(static_cast<const char *>(soap_lookup_plugin(copy, "copyable")), "copied");
    EXPECT_EQ(soap_lookup_plugin(copy, plugin_id), plain);  /* shared data, no hook */
    plugin_log.events.clear();
    soap_free(copy);
    /* the copy deletes only what it copied itself */
    EXPECT_EQ(plugin_log.events, std::vector<std::string>{"delete copied"});
    plugin_log.events.clear();
    soap_done(c.s);
    EXPECT_EQ(plugin_log.events.size(), 2u);
}

TEST(ContextCopy, FailingPluginCopyFailsTheCopy)
{
    Ctx c;
    auto create = [](struct soap *s, struct soap_plugin *p, void *arg) {
        create_plain(s, p, arg);
        p->fcopy = plugin_copy_fails;
        return 0;
    };
    char data[] = "x";
    soap_register_plugin_arg(c.s, create, data);
    struct soap *dst = soap_new();
    soap_done(dst);
    EXPECT_EQ(soap_copy_context(dst, c.s), nullptr);
    EXPECT_EQ(dst->plugins, nullptr);
    dst->socket = -1;
    soap_done(dst);  /* the partial copy is the caller's to finish */
    delete dst;
    EXPECT_EQ(soap_copy(c.s), nullptr);
    plugin_log.events.clear();
}

TEST(ContextCopy, DoneOnACopyLeavesTheOriginalsTlsAndListener)
{
    Ctx c;
    int fd = open("/dev/null", O_RDONLY);
    ASSERT_GE(fd, 0);
    c.s->master = fd;
    c.s->ctx = SSL_CTX_new(TLS_client_method());
    ASSERT_NE(c.s->ctx, nullptr);
    struct soap *copy = soap_copy(c.s);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->ctx, c.s->ctx);
    soap_free(copy);
    EXPECT_NE(fcntl(fd, F_GETFD), -1);
    SSL *ssl = SSL_new(c.s->ctx);  /* still alive */
    EXPECT_NE(ssl, nullptr);
    SSL_free(ssl);
    EXPECT_EQ(c.s->master, fd);
    soap_done(c.s);
    if (fcntl(fd, F_GETFD) != -1)
        close(fd);
}

TEST(ContextCopy, CopyOfACopyIsACopy)
{
    Ctx c;
    struct soap *one = soap_copy(c.s);
    ASSERT_NE(one, nullptr);
    struct soap *two = soap_copy(one);
    ASSERT_NE(two, nullptr);
    EXPECT_EQ(two->state, 2);
    soap_free(two);
    soap_free(one);
}

/* ------------------------------------------------------------------------ */

TEST(ContextCopyStream, TakesTheConnectionBufferAndParserPosition)
{
    Ctx a, b;
    struct soap *src = a.s, *dst = b.s;
    src->socket = 42;
    src->sendfd = 7;
    src->recvfd = 8;
    memcpy(src->buf, "<a><b x=\"1\">", 12);
    src->bufidx = 9;
    src->buflen = 12;
    src->ahead = '>';
    src->mode = SOAP_IO_CHUNK;
    src->imode = SOAP_ENC_MIME;
    src->omode = SOAP_XML_TREE;
    src->recv_timeout = 5;
    src->send_timeout = 6;
    src->keep_alive = 1;
    src->ip = 0x7f000001;
    src->port = 8080;
    strcpy(src->endpoint, "http://h:8080/p");
    strcpy(src->host, "h");
    src->level = 2;
    src->peeked = 1;
    src->body = 1;
    strcpy(src->tag, "b");
    auto *at = static_cast<struct soap_attribute *>(
        soap_track_malloc(src, "soapengine", __LINE__, sizeof(struct soap_attribute) + 1));
    memset(at, 0, sizeof *at);
    strcpy(at->name, "x");
    at->value = static_cast<char *>(soap_track_malloc(src, "soapengine", __LINE__, 4));
    strcpy(at->value, "1");
    at->size = 4;
    at->visible = 2;
    src->attributes = at;

    soap_copy_stream(dst, src);
    EXPECT_EQ(dst->socket, 42);
    EXPECT_EQ(dst->sendfd, 7);
    EXPECT_EQ(dst->recvfd, 8);
    EXPECT_EQ(std::string(dst->buf, 12), "<a><b x=\"1\">");
    EXPECT_EQ(dst->bufidx, 9u);
    EXPECT_EQ(dst->buflen, 12u);
    EXPECT_EQ(dst->ahead, '>');
    EXPECT_EQ(dst->mode, (uint32_t)SOAP_IO_CHUNK);
    EXPECT_EQ(dst->imode, (uint32_t)SOAP_ENC_MIME);
    EXPECT_EQ(dst->omode, (uint32_t)SOAP_XML_TREE);
    EXPECT_EQ(dst->recv_timeout, 5);
    EXPECT_EQ(dst->send_timeout, 6);
    EXPECT_EQ(dst->keep_alive, 1);
    EXPECT_EQ(dst->ip, 0x7f000001u);
    EXPECT_EQ(dst->port, 8080);
    EXPECT_STREQ(dst->endpoint, "http://h:8080/p");
    EXPECT_STREQ(dst->host, "h");
    EXPECT_EQ(dst->level, 2u);
    EXPECT_EQ(dst->peeked, 1);
    EXPECT_EQ(dst->body, 1);
    EXPECT_STREQ(dst->tag, "b");
    EXPECT_EQ(dst->bio, nullptr);
    EXPECT_EQ(dst->ssl, nullptr);
    ASSERT_NE(dst->attributes, nullptr);
    EXPECT_NE(dst->attributes, at);
    EXPECT_STREQ(dst->attributes->name, "x");
    ASSERT_NE(dst->attributes->value, nullptr);
    EXPECT_NE(dst->attributes->value, at->value);  /* its own buffer */
    EXPECT_STREQ(dst->attributes->value, "1");
    EXPECT_EQ(dst->attributes->visible, 2);
    dst->socket = src->socket = -1;
    dst->keep_alive = src->keep_alive = 0;
}

TEST(ContextCopyStream, ToItselfDoesNothing)
{
    Ctx c;
    c.s->bufidx = 3;
    soap_copy_stream(c.s, c.s);
    EXPECT_EQ(c.s->bufidx, 3u);
    EXPECT_EQ(c.s->attributes, nullptr);
}

TEST(ContextCopyStream, RebuildsTheNamespaceStackAtItsLevels)
{
    Ctx a, b;
    struct soap *src = a.s, *dst = b.s;
    src->level = 1;
    ASSERT_NE(soap_push_namespace(src, "env", "http://schemas.xmlsoap.org/soap/envelope/"), nullptr);
    src->level = 2;
    ASSERT_NE(soap_push_namespace(src, "u", "urn:unknown"), nullptr);
    src->level = 3;
    soap_copy_stream(dst, src);
    EXPECT_EQ(dst->level, 3u);
    ASSERT_NE(dst->nlist, nullptr);
    EXPECT_STREQ(dst->nlist->id, "u");
    EXPECT_EQ(dst->nlist->level, 2u);
    ASSERT_NE(dst->nlist->next, nullptr);
    EXPECT_STREQ(dst->nlist->next->id, "env");
    EXPECT_EQ(dst->nlist->next->level, 1u);
    EXPECT_EQ(dst->nlist->next->next, nullptr);
    EXPECT_NE(dst->nlist, src->nlist);
}

TEST(ContextCopyStream, TlsContextIsTakenOnlyFromACopy)
{
    Ctx a, b;
    SSL_CTX *ctx = SSL_CTX_new(TLS_client_method());
    a.s->ctx = ctx;
    soap_copy_stream(b.s, a.s);
    EXPECT_EQ(b.s->ctx, nullptr);
    a.s->state = 2;
    soap_copy_stream(b.s, a.s);
    EXPECT_EQ(b.s->ctx, ctx);
    a.s->state = 1;
    b.s->ctx = nullptr;
}

}  // namespace
