/* soapinternal.h -- engine-private declarations: the default targets of the
 * context's callback slots and the one-time TLS set-up.  Not installed; the
 * public surface is soapengine.h.
 */
#ifndef ORVSOAP_SOAPINTERNAL_H
#define ORVSOAP_SOAPINTERNAL_H

#include "soapengine.h"

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

/* TLS (tls.cpp, certcheck.cpp) */
void soap_ssl_init(void);                   /* once per process; guarded by a flag */
int ssl_auth_init(struct soap *soap);       /* fsslauth default */
int ssl_verify_callback(int ok, X509_STORE_CTX *store);  /* fsslverify default */

#endif
