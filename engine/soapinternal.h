/* soapinternal.h -- engine-private declarations: the default targets of the
 * context's callback slots and the one-time TLS set-up.  Not installed; the
 * public surface is soapengine.h.
 */
#ifndef ORVSOAP_SOAPINTERNAL_H
#define ORVSOAP_SOAPINTERNAL_H

#include "soapengine.h"

/* Room for n more bytes straight in buf: plain buffered output (no counting pass, no write-through,
   no send filter) with the bytes fitting before the buffer is full; null otherwise, and the bytes
   go through soap_send_raw's other paths. */
static inline char *soap_send_room(struct soap *soap, size_t n)
{
    const uint32_t io = soap->mode & (SOAP_IO_LENGTH | SOAP_IO);
    if (io >= SOAP_IO_BUFFER && io <= SOAP_IO_CHUNK && !soap->ffiltersend && n < SOAP_BUFLEN - soap->bufidx)
        return soap->buf + soap->bufidx;
    return nullptr;
}

/* HTTP defaults (http.cpp) */
int http_post(struct soap *soap, const char *endpoint, const char *host, int port, const char *path,
              const char *action, size_t count);
int http_get(struct soap *soap);            /* fget: SOAP_GET_METHOD */
int http_405(struct soap *soap);            /* fdel: 405 */
int http_200(struct soap *soap);            /* fopt, fhead: empty 200 response */
int http_post_header(struct soap *soap, const char *key, const char *value);
int http_response(struct soap *soap, int status, size_t count);
int http_parse(struct soap *soap);          /* fparse and fput */
int http_parse_header(struct soap *soap, const char *key, const char *value);

/* Socket and stream defaults (socket.cpp) */
int tcp_connect(struct soap *soap, const char *endpoint, const char *host, int port);
int tcp_accept(struct soap *soap, int fd, struct sockaddr *address, int *length);
int tcp_disconnect(struct soap *soap);      /* fclose */
int tcp_closesocket(struct soap *soap, int fd);
int tcp_shutdownsocket(struct soap *soap, int fd, int how);
int soap_io_send(struct soap *soap, const char *bytes, size_t n);  /* fsend: socket, stream or sendfd */
size_t soap_io_recv(struct soap *soap, char *bytes, size_t n);    /* frecv: socket, stream or recvfd */
int soap_poll(struct soap *soap);
/* Waits until fd is readable (flag 1), writable (2) or in error (4); the
 * time-out is in seconds, or in microseconds when negative; 0 polls.
 * Returns the ready flags, 0 on time-out, negative with errnum on failure. */
int soap_socket_wait(struct soap *soap, int fd, int flags, int timeout);

/* TLS (tls.cpp, certcheck.cpp) */
void soap_ssl_init(void);                   /* once per process; guarded by a flag */
int ssl_auth_init(struct soap *soap);       /* fsslauth default */
int ssl_verify_callback(int ok, X509_STORE_CTX *store);  /* fsslverify default */
/* The client handshake and peer checks on the connected `sock`, for the
 * endpoint's `host` and `port`.  Returns 0, or -1 with a fault in the
 * context and the socket closed (`ssl` stays for recycling). */
int soap_ssl_connect(struct soap *soap, int sock, const char *host, int port);
/* 1 when the certificate names `host` (subjectAltName DNS entries exactly,
 * else the subject's common names), else 0. */
int soap_ssl_cert_matches_host(X509 *peer, const char *host);
/* A certificate time as the TLS library prints it ("Mon DD HH:MM:SS YYYY
 * GMT"), through mktime with tm_mon counted from 1. */
time_t soap_cert_printed_time(const char *text);

#endif
