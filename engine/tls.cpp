/* tls.cpp -- the TLS layer of a context: one-time set-up of the TLS library,
 * the TLS context built from the caller's files, the client handshake with
 * its peer and host name checks, the accepting handshake, error texts.
 * Not here: the certificate date callbacks (certcheck.cpp), reading and
 * writing through TLS and the TLS shutdown (socket.cpp).
 */
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "soapengine.h"
#include "soapinternal.h"

/* Set by the first soap_init; hosts create their first context alone, so no
 * lock guards it. */
static bool soap_ssl_initialized = false;

/* Bound on the seeding loop of a TLS library that reports too little
 * randomness: never spin for ever on a broken random source. */
#define SOAP_SSL_SEED_ROUNDS 100000

void soap_ssl_init(void)
{
    if (soap_ssl_initialized)
        return;
    soap_ssl_initialized = true;
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS
                         | OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS
                         | OPENSSL_INIT_NO_LOAD_CONFIG,
                     nullptr);
    if (RAND_load_file("/dev/urandom", 1024) <= 0) {
        unsigned char seed[1024];
        memset(seed, 0, sizeof(seed));
        time_t now = time(nullptr);
        pid_t pid = getpid();
        memcpy(seed, &now, sizeof(now));
        memcpy(seed + sizeof(now), &pid, sizeof(pid));
        RAND_seed(seed, sizeof(seed));
        for (long i = 0; i < SOAP_SSL_SEED_ROUNDS && RAND_status() == 0; i++) {
            int r = rand();
            RAND_seed(&r, sizeof(r));
        }
    }
}

int soap_random(void)
{
    unsigned int r = 0;
    soap_ssl_init();
    if (RAND_bytes(reinterpret_cast<unsigned char *>(&r), sizeof(r)) != 1)
        r = (unsigned int)rand();
    return (int)r;
}

int IsIPAddr(const char *str)
{
    if (!str)
        return 0;
    for (; *str; str++) {
        unsigned char c = (unsigned char)*str | 0x20;
        if (c >= 'a' && c <= 'z')
            return 0;
    }
    return 1;
}

/* ------------------------------------------------------------------------ */
/* Error texts                                                               */
/* ------------------------------------------------------------------------ */

const char *soap_ssl_error(struct soap *soap, int ret)
{
    static const struct {
        int code;
        const char *name;
    } names[] = {
        {SSL_ERROR_SSL, "SSL_ERROR_SSL"},
        {SSL_ERROR_ZERO_RETURN, "SSL_ERROR_ZERO_RETURN"},
        {SSL_ERROR_WANT_READ, "SSL_ERROR_WANT_READ"},
        {SSL_ERROR_WANT_WRITE, "SSL_ERROR_WANT_WRITE"},
        {SSL_ERROR_WANT_CONNECT, "SSL_ERROR_WANT_CONNECT"},
        {SSL_ERROR_WANT_X509_LOOKUP, "SSL_ERROR_WANT_X509_LOOKUP"},
        {SSL_ERROR_SYSCALL, "SSL_ERROR_SYSCALL"},
    };
    int saved_errno = errno;
    /* without a connection object only the error queue can tell */
    int e = soap->ssl ? SSL_get_error(soap->ssl, ret) : SSL_ERROR_SSL;
    const char *name = nullptr;
    for (const auto &n : names)
        if (n.code == e)
            name = n.name;
    if (!name) {
        ERR_error_string_n((unsigned long)e, soap->msgbuf, sizeof(soap->msgbuf));
        return soap->msgbuf;
    }
    strcpy(soap->msgbuf, name);
    if (ERR_peek_error()) {
        size_t len = strlen(soap->msgbuf);
        soap->msgbuf[len++] = '\n';
        soap->msgbuf[len] = '\0';
        unsigned long code;
        while ((code = ERR_get_error()) != 0) {
            len = strlen(soap->msgbuf);
            if (len + 1 < sizeof(soap->msgbuf))
                ERR_error_string_n(code, soap->msgbuf + len, sizeof(soap->msgbuf) - len);
        }
    } else if (ret == -1) {
        snprintf(soap->msgbuf, sizeof(soap->msgbuf), "Error observed by underlying BIO: %s", strerror(saved_errno));
    } else if (ret == 0) {
        strcpy(soap->msgbuf, "EOF was observed that violates the protocol. The client probably provided invalid "
                             "authentication information.");
    }
    return soap->msgbuf;
}

/* ------------------------------------------------------------------------ */
/* The TLS context                                                           */
/* ------------------------------------------------------------------------ */

/* Hands the key's pass phrase to the TLS library; 0 when it doesn't fit. */
static int ssl_password(char *buf, int size, int, void *password)
{
    const char *pw = static_cast<const char *>(password);
    if (!pw || size < 1)
        return 0;
    size_t n = strlen(pw);
    if (n >= (size_t)size)
        return 0;
    memcpy(buf, pw, n + 1);
    return (int)n;
}

static int auth_fail(struct soap *soap, const char *detail)
{
    return soap_set_sender_error(soap, "SSL/TLS error", detail, SOAP_SSL_ERROR);
}

/* DH parameters from a key length ("1024") or a PEM file; null when there
 * are none. */
static EVP_PKEY *load_dh(const char *dhfile, bool *unreadable)
{
    EVP_PKEY *dh = nullptr;
    char *end = nullptr;
    unsigned long n = strtoul(dhfile, &end, 10);
    *unreadable = false;
    if (n > 511 && end && !*end) {
        EVP_PKEY_CTX *pc = EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr);
        if (pc && EVP_PKEY_paramgen_init(pc) > 0 && EVP_PKEY_CTX_set_dh_paramgen_prime_len(pc, (int)n) > 0
            && EVP_PKEY_CTX_set_dh_paramgen_generator(pc, 2) > 0)
            (void)EVP_PKEY_paramgen(pc, &dh);
        EVP_PKEY_CTX_free(pc);
        return dh;
    }
    BIO *bio = BIO_new_file(dhfile, "r");
    if (!bio) {
        *unreadable = true;
        return nullptr;
    }
    dh = PEM_read_bio_Parameters(bio, nullptr);
    BIO_free(bio);
    if (dh && !EVP_PKEY_is_a(dh, "DH")) {
        EVP_PKEY_free(dh);
        dh = nullptr;
    }
    return dh;
}

int ssl_auth_init(struct soap *soap)
{
    soap_ssl_init();
    ERR_clear_error();
    if (!soap->ctx) {
        soap->ctx = SSL_CTX_new(TLS_method());
        if (!soap->ctx)
            return auth_fail(soap, "Can't setup context");
    }
    if (soap->randfile && RAND_load_file(soap->randfile, -1) <= 0)
        return auth_fail(soap, "Can't load randomness");
    if (soap->cafile || soap->capath) {
        if (!SSL_CTX_load_verify_locations(soap->ctx, soap->cafile, soap->capath))
            return auth_fail(soap, "Can't read CA file");
        if (soap->cafile && (soap->ssl_flags & SOAP_TLS_VERIFY_CLIENT))
            SSL_CTX_set_client_CA_list(soap->ctx, SSL_load_client_CA_file(soap->cafile));
    }
    if (!(soap->ssl_flags & SOAP_TLS_NO_DEFAULT_CA_PATHS) && !SSL_CTX_set_default_verify_paths(soap->ctx))
        return auth_fail(soap, "Can't read default CA file and/or directory");
    if (soap->keyfile) {
        /* one file holds the chain and then the key */
        if (!SSL_CTX_use_certificate_chain_file(soap->ctx, soap->keyfile))
            return auth_fail(soap, "Can't read certificate key file");
        if (soap->password) {
            SSL_CTX_set_default_passwd_cb_userdata(soap->ctx, const_cast<char *>(soap->password));
            SSL_CTX_set_default_passwd_cb(soap->ctx, ssl_password);
        }
        if (!SSL_CTX_use_PrivateKey_file(soap->ctx, soap->keyfile, SSL_FILETYPE_PEM))
            return auth_fail(soap, "Can't read key file");
    }
    /* Temporary RSA keys served export ciphers, which the TLS library no
     * longer has: SOAP_TLS_EPHEMERAL_RSA only stands in for the DH step. */
    if (!(soap->ssl_flags & SOAP_TLS_EPHEMERAL_RSA) && soap->dhfile) {
        bool unreadable;
        EVP_PKEY *dh = load_dh(soap->dhfile, &unreadable);
        if (unreadable)
            return auth_fail(soap, "Can't read DH file");
        if (!dh)
            return auth_fail(soap, "Can't set DH parameters");
        EVP_PKEY_CTX *check = EVP_PKEY_CTX_new_from_pkey(nullptr, dh, nullptr);
        bool good = check && EVP_PKEY_param_check(check) == 1;
        EVP_PKEY_CTX_free(check);
        /* on success the TLS context owns the parameters */
        if (!good || SSL_CTX_set0_tmp_dh_pkey(soap->ctx, dh) != 1) {
            EVP_PKEY_free(dh);
            return auth_fail(soap, "Can't set DH parameters");
        }
    }
    uint64_t options = SSL_OP_ALL | SSL_OP_NO_SSLv2 | SSL_OP_NO_TICKET;
    if (soap->ssl_flags & SOAP_TLS_NO_TLSV1)
        options |= SSL_OP_NO_TLSv1;
    if (soap->ssl_flags & SOAP_TLS_NO_SSLV3)
        options |= SSL_OP_NO_SSLv3;
    SSL_CTX_set_options(soap->ctx, options);
    int mode;
    if (soap->ssl_flags & SOAP_TLS_VERIFY_CLIENT)
        mode = SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT;
    else
        mode = (soap->ssl_flags & SOAP_TLS_VERIFY_SERVER) ? SSL_VERIFY_PEER : SSL_VERIFY_NONE;
    /* the callback is set last */
    SSL_CTX_set_verify(soap->ctx, mode, soap->fsslverify);
    SSL_CTX_set_verify_depth(soap->ctx, 9);
    return SOAP_OK;
}

int soap_ssl_client_context(struct soap *soap, unsigned short flags, const char *keyfile, const char *password,
                            const char *cafile, const char *capath, const char *randfile)
{
    soap->dhfile = nullptr;
    soap->randfile = randfile;
    soap->keyfile = keyfile;
    soap->password = password;
    soap->cafile = cafile;
    soap->capath = capath;
    soap->ssl_flags = (unsigned short)(flags | SOAP_TLS_CLIENT_SIDE);
    soap->fsslverify = (flags & SOAP_TLS_ALLOW_EXPIRED) ? ssl_verify_callback_allow_expired : ssl_verify_callback;
    return soap->fsslauth(soap);
}

int soap_ssl_server_context(struct soap *soap, unsigned short flags, const char *keyfile, const char *password,
                            const char *cafile, const char *capath, const char *dhfile, const char *randfile,
                            const char *sid)
{
    soap->keyfile = keyfile;
    soap->password = password;
    soap->cafile = cafile;
    soap->capath = capath;
    soap->dhfile = dhfile;
    soap->randfile = randfile;
    soap->crlfile = nullptr;
    soap->ssl_flags = (unsigned short)(flags | (dhfile ? 0 : SOAP_TLS_EPHEMERAL_RSA));
    int err = soap->fsslauth(soap);
    if (err || !soap->ctx)
        return err;
    if (sid)
        SSL_CTX_set_session_id_context(soap->ctx, reinterpret_cast<const unsigned char *>(sid),
                                       (unsigned int)strlen(sid));
    else
        SSL_CTX_set_session_cache_mode(soap->ctx, SSL_SESS_CACHE_OFF);
    return SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Host name of the peer certificate                                         */
/* ------------------------------------------------------------------------ */

static inline int lower(int c)
{
    return (c >= 'A' && c <= 'Z') ? c + 32 : c;
}

/* Compares a host name with a name of the certificate, as header values are
 * compared (letter case ignored, `-` for any one character, `*` for a run,
 * the host ending at its terminator or a double quote), except that a `*`
 * never spans a dot: "*.zone.lan" covers one leading label only.  The name
 * is the peer's, so this works in bounded time, one row of states per host
 * character, and refuses over-long names. */
static bool cert_name_match(const char *host, const char *name, size_t namelen)
{
    enum { kMax = SOAP_TAGLEN };
    size_t hostlen = 0;
    while (host[hostlen] && host[hostlen] != '"')
        hostlen++;
    if (hostlen >= kMax || namelen >= kMax || memchr(name, '\0', namelen))
        return false;
    /* row[j]: name[0..j) matches the host characters seen so far */
    bool row[kMax + 1];
    row[0] = true;
    for (size_t j = 1; j <= namelen; j++)
        row[j] = row[j - 1] && name[j - 1] == '*';
    for (size_t i = 0; i < hostlen; i++) {
        int c = lower((unsigned char)host[i]);
        bool diag = row[0];
        row[0] = false;
        for (size_t j = 1; j <= namelen; j++) {
            bool up = row[j];
            int p = (unsigned char)name[j - 1];
            bool hit;
            if (p == '*')
                hit = row[j - 1] || (up && c != '.');
            else
                hit = diag && (p == '-' || lower(p) == c);
            diag = up;
            row[j] = hit;
        }
    }
    return row[namelen];
}

/* subjectAltName: a DNS entry equal to the host, byte for byte. */
static int san_match(X509 *peer, const char *host)
{
    int count = X509_get_ext_count(peer);
    size_t hostlen = strlen(host);
    for (int i = 0; i < count; i++) {
        X509_EXTENSION *ext = X509_get_ext(peer, i);
        if (!ext)
            continue;
        int nid = OBJ_obj2nid(X509_EXTENSION_get_object(ext));
        const char *sn = nid != NID_undef ? OBJ_nid2sn(nid) : nullptr;
        if (!sn || strcmp(sn, "subjectAltName"))
            continue;
        /* a kind of extension the TLS library can't decode ends the search */
        if (!X509V3_EXT_get(ext))
            return 0;
        GENERAL_NAMES *names = static_cast<GENERAL_NAMES *>(X509V3_EXT_d2i(ext));
        if (!names)
            continue;
        int found = 0;
        for (int k = 0; k < sk_GENERAL_NAME_num(names) && !found; k++) {
            const GENERAL_NAME *g = sk_GENERAL_NAME_value(names, k);
            if (!g || g->type != GEN_DNS || !g->d.dNSName)
                continue;
            const unsigned char *d = ASN1_STRING_get0_data(g->d.dNSName);
            int n = ASN1_STRING_length(g->d.dNSName);
            /* a name with a NUL inside is no name */
            if (d && n >= 0 && (size_t)n == hostlen && !memcmp(d, host, hostlen))
                found = 1;
        }
        GENERAL_NAMES_free(names);
        if (found)
            return 1;
    }
    return 0;
}

/* commonName entries of the subject. */
static int cn_match(X509 *peer, const char *host)
{
    X509_NAME *subject = X509_get_subject_name(peer);
    if (!subject)
        return 0;
    const char *dot = strchr(host, '.');
    int i = -1;
    while ((i = X509_NAME_get_index_by_NID(subject, NID_commonName, i)) >= 0) {
        X509_NAME_ENTRY *entry = X509_NAME_get_entry(subject, i);
        ASN1_STRING *data = entry ? X509_NAME_ENTRY_get_data(entry) : nullptr;
        if (!data)
            continue;
        const unsigned char *raw = ASN1_STRING_get0_data(data);
        int rawlen = ASN1_STRING_length(data);
        /* a name with a NUL inside never matches (cert_name_match refuses it) */
        if (raw && rawlen >= 0 && cert_name_match(host, (const char *)raw, (size_t)rawlen))
            return 1;
        unsigned char *text = nullptr;
        int len = ASN1_STRING_to_UTF8(&text, data);
        if (!text)
            continue;
        bool match = false;
        if (len >= 0) {
            size_t n = (size_t)len;
            match = IsIPAddr(host) || cert_name_match(host, (const char *)text, n)
                    || (text[0] == '*' && dot && cert_name_match(dot, (const char *)text + 1, n - 1));
        }
        OPENSSL_free(text);
        if (match)
            return 1;
    }
    return 0;
}

int soap_ssl_cert_matches_host(X509 *peer, const char *host)
{
    if (!peer || !host)
        return 0;
    if (san_match(peer, host))
        return 1;
    return cn_match(peer, host);
}

/* ------------------------------------------------------------------------ */
/* Handshakes                                                                */
/* ------------------------------------------------------------------------ */

/* The BIO under a TLS connection: a socket BIO that never closes the
 * socket (the engine does, through fclosesocket) and that sends with
 * MSG_NOSIGNAL, so that a peer gone away is an error code and not a SIGPIPE
 * for the host process. */
static BIO_METHOD *socket_bio_method = nullptr;

static int sockbio_fd(BIO *b)
{
    return (int)(intptr_t)BIO_get_data(b);
}

static int sockbio_write(BIO *b, const char *buf, int len)
{
    errno = 0;
    ssize_t r = send(sockbio_fd(b), buf, (size_t)(len > 0 ? len : 0), MSG_NOSIGNAL);
    BIO_clear_retry_flags(b);
    if (r <= 0 && BIO_sock_should_retry((int)r))
        BIO_set_retry_write(b);
    return (int)r;
}

static int sockbio_read(BIO *b, char *buf, int len)
{
    if (!buf || len <= 0)
        return 0;
    errno = 0;
    ssize_t r = recv(sockbio_fd(b), buf, (size_t)len, 0);
    BIO_clear_retry_flags(b);
    if (r <= 0) {
        if (BIO_sock_should_retry((int)r))
            BIO_set_retry_read(b);
        else if (r == 0)
            BIO_set_flags(b, BIO_FLAGS_IN_EOF);
    }
    return (int)r;
}

static int sockbio_puts(BIO *b, const char *str)
{
    return sockbio_write(b, str, (int)strlen(str));
}

static long sockbio_ctrl(BIO *b, int cmd, long num, void *ptr)
{
    switch (cmd) {
    case BIO_C_SET_FD:
        BIO_set_data(b, (void *)(intptr_t)(ptr ? *static_cast<int *>(ptr) : -1));
        BIO_set_shutdown(b, (int)num);
        BIO_set_init(b, 1);
        return 1;
    case BIO_C_GET_FD:
        if (!BIO_get_init(b))
            return -1;
        if (ptr)
            *static_cast<int *>(ptr) = sockbio_fd(b);
        return sockbio_fd(b);
    case BIO_CTRL_GET_CLOSE:
        return BIO_get_shutdown(b);
    case BIO_CTRL_SET_CLOSE:
        BIO_set_shutdown(b, (int)num);
        return 1;
    case BIO_CTRL_EOF:
        return BIO_test_flags(b, BIO_FLAGS_IN_EOF) != 0;
    case BIO_CTRL_DUP:
    case BIO_CTRL_FLUSH:
        return 1;
    default:
        return 0;
    }
}

static int sockbio_create(BIO *b)
{
    BIO_set_data(b, (void *)(intptr_t)-1);
    BIO_set_init(b, 0);
    return 1;
}

static int sockbio_destroy(BIO *b)
{
    BIO_set_data(b, (void *)(intptr_t)-1);
    BIO_set_init(b, 0);
    return 1;
}

static BIO *new_socket_bio(int sock)
{
    if (!socket_bio_method) {
        BIO_METHOD *m = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK | BIO_TYPE_DESCRIPTOR,
                                     "orvsoap socket");
        if (!m || !BIO_meth_set_write(m, sockbio_write) || !BIO_meth_set_read(m, sockbio_read)
            || !BIO_meth_set_puts(m, sockbio_puts) || !BIO_meth_set_ctrl(m, sockbio_ctrl)
            || !BIO_meth_set_create(m, sockbio_create) || !BIO_meth_set_destroy(m, sockbio_destroy)) {
            BIO_meth_free(m);
            return nullptr;
        }
        socket_bio_method = m;
    }
    BIO *b = BIO_new(socket_bio_method);
    if (b)
        BIO_set_fd(b, sock, BIO_NOCLOSE);
    return b;
}

static void set_nonblocking(int fd, bool on)
{
    int f = fcntl(fd, F_GETFL, 0);
    if (f < 0)
        return;
    fcntl(fd, F_SETFL, on ? (f | O_NONBLOCK) : (f & ~O_NONBLOCK));
}

/* Waits of 100 milliseconds, as many as the time-out allows (at least 100). */
static long handshake_retries(int timeout)
{
    if (!timeout)
        return 100;
    long long r = (long long)timeout * 10;
    return r < 1 ? 100 : (r > 0x7FFFFFFF ? 0x7FFFFFFF : (long)r);
}

#define SOAP_TLS_WAIT (-100000)  /* 100 milliseconds */

/* A fresh or recycled connection object on `sock`; false when none. */
static bool ssl_attach(struct soap *soap, int sock)
{
    if (soap->ssl && !SSL_clear(soap->ssl)) {
        SSL_free(soap->ssl);
        soap->ssl = nullptr;
    }
    if (!soap->ssl) {
        soap->ssl = SSL_new(soap->ctx);
        if (!soap->ssl)
            return false;
    } else {
        /* a recycled object must not offer its last session on its own */
        SSL_set_session(soap->ssl, nullptr);
    }
    BIO *bio = new_socket_bio(sock);
    if (!bio)
        return false;
    SSL_set_bio(soap->ssl, bio, bio);
    return true;
}

static const char kUnverified[] = "SSL/TLS certificate presented by peer cannot be verified in tcp_connect()";

static int peer_checks(struct soap *soap, const char *host)
{
    long v = SSL_get_verify_result(soap->ssl);
    if (v != X509_V_OK)
        return soap_set_receiver_error(soap, X509_verify_cert_error_string(v), kUnverified, SOAP_SSL_ERROR);
    if (soap->ssl_flags & SOAP_TLS_SKIP_HOST_CHECK)
        return SOAP_OK;
    X509 *peer = SSL_get1_peer_certificate(soap->ssl);
    if (!peer)
        return soap_set_receiver_error(soap, "SSL/TLS error",
                                       "No SSL/TLS certificate was presented by the peer in tcp_connect()",
                                       SOAP_SSL_ERROR);
    int ok = soap_ssl_cert_matches_host(peer, host);
    X509_free(peer);
    if (!ok)
        return soap_set_receiver_error(soap, "SSL/TLS error", "SSL/TLS certificate host name mismatch in tcp_connect()",
                                       SOAP_SSL_ERROR);
    return SOAP_OK;
}

/* Closes the socket after a failed handshake.  The connection object goes
 * too: kept, its next shutdown would write to a descriptor number that may
 * belong to someone else by then, and fail the next connect with a stale
 * error. */
static int connect_fail(struct soap *soap, int sock)
{
    if (soap->ssl) {
        SSL_free(soap->ssl);
        soap->ssl = nullptr;
    }
    ERR_clear_error();
    soap->fclosesocket(soap, sock);
    if (soap->socket == sock)
        soap->socket = -1;
    return -1;
}

int soap_ssl_connect(struct soap *soap, int sock, const char *host, int port)
{
    soap->ssl_flags |= SOAP_TLS_CLIENT_SIDE;
    if (!soap->ctx && (soap->error = soap->fsslauth(soap)) != SOAP_OK)
        return connect_fail(soap, sock);
    if (!soap->ctx || !ssl_attach(soap, sock)) {
        soap_set_receiver_error(soap, "SSL/TLS error", "SSL_new() failed in tcp_connect()", SOAP_SSL_ERROR);
        return connect_fail(soap, sock);
    }
    if (soap->session) {
        /* a saved session serves at most one attempt, and only its own peer */
        if (!strcmp(soap->session_host, host ? host : "") && soap->session_port == port)
            SSL_set_session(soap->ssl, soap->session);
        SSL_SESSION_free(soap->session);
        soap->session = nullptr;
    }
    soap->imode |= SOAP_ENC_SSL;
    soap->omode |= SOAP_ENC_SSL;
    set_nonblocking(sock, soap->connect_timeout != 0);
    long retries = handshake_retries(soap->connect_timeout);
    ERR_clear_error();
    for (;;) {
        int r = SSL_connect(soap->ssl);
        if (r > 0) {
            if (SSL_is_init_finished(soap->ssl))
                break;
            continue;
        }
        int e = SSL_get_error(soap->ssl, r);
        int flags;
        if (e == SSL_ERROR_WANT_READ) {
            flags = 5;
        } else if (e == SSL_ERROR_WANT_WRITE || e == SSL_ERROR_WANT_CONNECT) {
            flags = 6;
        } else {
            long v = SSL_get_verify_result(soap->ssl);
            if ((soap->ssl_flags & SOAP_TLS_VERIFY_SERVER) && v != X509_V_OK) {
                /* the library ended the handshake on its verdict: say which */
                ERR_clear_error();
                soap_set_receiver_error(soap, X509_verify_cert_error_string(v), kUnverified, SOAP_SSL_ERROR);
            } else {
                soap_set_receiver_error(soap, soap_ssl_error(soap, r), "SSL_connect error in tcp_connect()",
                                        SOAP_SSL_ERROR);
            }
            return connect_fail(soap, sock);
        }
        int w = soap_socket_wait(soap, sock, flags, SOAP_TLS_WAIT);
        if (w < 0) {
            if (soap->errnum == EINTR)
                continue;
            soap_set_receiver_error(soap, soap_ssl_error(soap, r), "SSL_connect failed in tcp_connect()",
                                    SOAP_TCP_ERROR);
            return connect_fail(soap, sock);
        }
        if (w == 0) {
            if (retries > 0) {
                retries--;
                continue;
            }
            soap_set_receiver_error(soap, "Timeout", "SSL_connect failed in tcp_connect()", SOAP_TCP_ERROR);
            return connect_fail(soap, sock);
        }
    }
    set_nonblocking(sock, true);
    if ((soap->ssl_flags & SOAP_TLS_VERIFY_SERVER) && peer_checks(soap, host ? host : ""))
        return connect_fail(soap, sock);
    set_nonblocking(sock, soap->recv_timeout || soap->send_timeout);
    return SOAP_OK;
}

int soap_ssl_accept(struct soap *soap)
{
    int sock = soap->socket;
    if (sock < 0)
        return soap_set_sender_error(soap, "SSL/TLS error", "No socket in soap_ssl_accept()", SOAP_SSL_ERROR);
    soap->ssl_flags &= (unsigned short)~SOAP_TLS_CLIENT_SIDE;
    if (!soap->ctx && (soap->error = soap->fsslauth(soap)) != SOAP_OK)
        return soap->error;
    if (!soap->ctx || !ssl_attach(soap, sock))
        return soap_set_sender_error(soap, "SSL/TLS error", "SSL_new() failed in soap_ssl_accept()", SOAP_SSL_ERROR);
    long retries = 100;
    if (soap->accept_timeout) {
        set_nonblocking(sock, true);
        retries = handshake_retries(soap->accept_timeout);
    }
    ERR_clear_error();
    int r = 0;
    for (;;) {
        r = SSL_accept(soap->ssl);
        if (r > 0)
            break;
        if (retries < 1)
            goto fail;
        int e = SSL_get_error(soap->ssl, r);
        int w;
        if (e == SSL_ERROR_WANT_READ) {
            w = soap_socket_wait(soap, sock, 5, SOAP_TLS_WAIT);
        } else if (e == SSL_ERROR_WANT_WRITE || e == SSL_ERROR_WANT_ACCEPT) {
            w = soap_socket_wait(soap, sock, 6, SOAP_TLS_WAIT);
        } else {
            soap->errnum = errno;
            goto fail;
        }
        retries--;
        if (w < 0 && soap->errnum != EINTR)
            goto fail;
    }
    if (soap->ssl_flags & SOAP_TLS_VERIFY_CLIENT) {
        long v = SSL_get_verify_result(soap->ssl);
        if (v != X509_V_OK) {
            soap_set_receiver_error(soap, X509_verify_cert_error_string(v),
                                    "SSL certificate presented by peer cannot be verified in soap_ssl_accept()",
                                    SOAP_SSL_ERROR);
            soap_closesock(soap);
            return SOAP_SSL_ERROR;
        }
        X509 *peer = SSL_get1_peer_certificate(soap->ssl);
        if (!peer) {
            soap_set_receiver_error(soap, "SSL/TLS error",
                                    "No SSL certificate was presented by the peer in soap_ssl_accept()",
                                    SOAP_SSL_ERROR);
            soap_closesock(soap);
            return SOAP_SSL_ERROR;
        }
        X509_free(peer);
    }
    set_nonblocking(sock, soap->recv_timeout || soap->send_timeout);
    soap->imode |= SOAP_ENC_SSL;
    soap->omode |= SOAP_ENC_SSL;
    return SOAP_OK;
fail:
    soap_set_sender_error(soap, soap_ssl_error(soap, r), "SSL_accept() failed in soap_ssl_accept()", SOAP_SSL_ERROR);
    soap_closesock(soap);
    return SOAP_SSL_ERROR;
}
