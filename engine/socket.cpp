/* socket.cpp -- the connection under a call: endpoint lists, TCP connect with
 * its socket options, datagram sockets, the proxy tunnel, the wait primitive
 * behind every time-out, and the raw send and receive of bytes.
 * Not here: the HTTP head (http.cpp), message framing (framing.cpp), the TLS
 * handshake and peer checks (tls.cpp), listening sockets (server.cpp).
 */
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <istream>
#include <ostream>

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include "soapengine.h"
#include "soapinternal.h"

#ifndef MSG_NOSIGNAL
#define MSG_NOSIGNAL 0
#endif

/* The attachments' share of the Content-Length comes from the attachment
 * layer (mime.cpp); an engine built without it sends none, and the length is
 * that of the message alone. */
size_t soap_count_attachments(struct soap *soap) __attribute__((weak));

/* A bound on connect retries after EADDRINUSE (an ephemeral port clash). */
#define SOAP_CONNECT_ADDRINUSE_RETRIES 10

/* ------------------------------------------------------------------------ */
/* Waiting                                                                   */
/* ------------------------------------------------------------------------ */

int soap_socket_wait(struct soap *soap, int fd, int flags, int timeout)
{
    int r;
    soap->errnum = 0;
    if (fd < 0) {
        soap->errnum = EBADF;
        return -1;
    }
    if (fd >= (int)FD_SETSIZE) {
        /* select can't hold this descriptor */
        struct pollfd pfd;
        pfd.fd = fd;
        pfd.events = 0;
        pfd.revents = 0;
        if (flags & 1)
            pfd.events |= POLLIN;
        if (flags & 2)
            pfd.events |= POLLOUT;
        if (flags & 4)
            pfd.events |= POLLERR;
        int ms;
        int rounds = 0;
        if (timeout < 0)
            ms = timeout / -1000;
        else if (timeout > 1000000) {
            ms = 1000000000;
            rounds = timeout / 1000000;
        } else
            ms = timeout * 1000;
        do
            r = poll(&pfd, 1, ms);
        while (r == 0 && rounds-- > 0);
        if (r > 0) {
            /* report as select would: an error or hang-up makes the
             * descriptor readable and writable */
            int hit = 0;
            short fail = pfd.revents & (POLLERR | POLLHUP | POLLNVAL);
            if ((flags & 1) && (pfd.revents & (POLLIN | POLLPRI) || fail))
                hit |= 1;
            if ((flags & 2) && (pfd.revents & POLLOUT || fail))
                hit |= 2;
            if ((flags & 4) && (pfd.revents & (POLLERR | POLLNVAL)))
                hit |= 4;
            return hit ? hit : r;
        }
    } else {
        fd_set rfd, wfd, efd;
        FD_ZERO(&rfd);
        FD_ZERO(&wfd);
        FD_ZERO(&efd);
        if (flags & 1)
            FD_SET(fd, &rfd);
        if (flags & 2)
            FD_SET(fd, &wfd);
        if (flags & 4)
            FD_SET(fd, &efd);
        struct timeval tv;
        if (timeout < 0) {
            tv.tv_sec = -(timeout / 1000000);
            tv.tv_usec = -(timeout % 1000000);
        } else {
            tv.tv_sec = timeout;
            tv.tv_usec = 0;
        }
        r = select(fd + 1, &rfd, &wfd, &efd, &tv);
        if (r > 0) {
            int hit = 0;
            if ((flags & 1) && FD_ISSET(fd, &rfd))
                hit |= 1;
            if ((flags & 2) && FD_ISSET(fd, &wfd))
                hit |= 2;
            if ((flags & 4) && FD_ISSET(fd, &efd))
                hit |= 4;
            return hit;
        }
    }
    if (r < 0)
        soap->errnum = errno;
    return r;
}

static void set_nonblocking(int fd, bool on)
{
    int f = fcntl(fd, F_GETFL, 0);
    if (f < 0)
        return;
    fcntl(fd, F_SETFL, on ? (f | O_NONBLOCK) : (f & ~O_NONBLOCK));
}

/* ------------------------------------------------------------------------ */
/* Connecting                                                                */
/* ------------------------------------------------------------------------ */

/* Fails a connect step: the receiver fault with the socket error text. */
static int tcp_fail(struct soap *soap, int sock, struct addrinfo *res, const char *detail)
{
    soap_set_receiver_error(soap, tcp_error(soap), detail, SOAP_TCP_ERROR);
    if (sock >= 0)
        soap->fclosesocket(soap, sock);
    if (res)
        freeaddrinfo(res);
    return -1;
}

static int set_int_option(int sock, int level, int name, int value)
{
    return setsockopt(sock, level, name, (const char *)&value, sizeof(value));
}

/* The socket options of a new client socket, in a fixed order; returns the
 * detail text of the option that failed, or null. */
static const char *client_options(struct soap *soap, int sock, bool udp)
{
    if (soap->connect_flags == SO_LINGER) {
        struct linger l;
        l.l_onoff = 1;
        l.l_linger = soap->linger_time;
        if (setsockopt(sock, SOL_SOCKET, SO_LINGER, (const char *)&l, sizeof(l)))
            return "setsockopt SO_LINGER failed in tcp_connect()";
    } else if (soap->connect_flags && set_int_option(sock, SOL_SOCKET, soap->connect_flags, 1)) {
        return "setsockopt failed in tcp_connect()";
    }
    if ((soap->keep_alive || soap->tcp_keep_alive) && set_int_option(sock, SOL_SOCKET, SO_KEEPALIVE, 1))
        return "setsockopt SO_KEEPALIVE failed in tcp_connect()";
    if (set_int_option(sock, SOL_SOCKET, SO_SNDBUF, SOAP_BUFLEN))
        return "setsockopt SO_SNDBUF failed in tcp_connect()";
    if (set_int_option(sock, SOL_SOCKET, SO_RCVBUF, SOAP_BUFLEN))
        return "setsockopt SO_RCVBUF failed in tcp_connect()";
    if (soap->tcp_keep_idle && set_int_option(sock, IPPROTO_TCP, TCP_KEEPIDLE, soap->tcp_keep_idle))
        return "setsockopt TCP_KEEPIDLE failed in tcp_connect()";
    if (soap->tcp_keep_intvl && set_int_option(sock, IPPROTO_TCP, TCP_KEEPINTVL, soap->tcp_keep_intvl))
        return "setsockopt TCP_KEEPINTVL failed in tcp_connect()";
    if (soap->tcp_keep_cnt && set_int_option(sock, IPPROTO_TCP, TCP_KEEPCNT, soap->tcp_keep_cnt))
        return "setsockopt TCP_KEEPCNT failed in tcp_connect()";
    if (!udp && set_int_option(sock, IPPROTO_TCP, TCP_NODELAY, 1))
        return "setsockopt TCP_NODELAY failed in tcp_connect()";
    return nullptr;
}

/* The multicast options of a datagram socket; detail text or null. */
static const char *multicast_options(struct soap *soap, int sock)
{
    if (soap->ipv4_multicast_ttl) {
        unsigned char ttl = soap->ipv4_multicast_ttl;
        if (setsockopt(sock, IPPROTO_IP, IP_MULTICAST_TTL, (const char *)&ttl, sizeof(ttl)))
            return "setsockopt IP_MULTICAST_TTL failed in tcp_connect()";
    }
    if (soap->ipv4_multicast_if && !soap->ipv6_multicast_if) {
        if (setsockopt(sock, IPPROTO_IP, IP_MULTICAST_IF, (const char *)soap->ipv4_multicast_if, 4))
            return "setsockopt IP_MULTICAST_IF failed in tcp_connect()";
    }
    return nullptr;
}

/* The CONNECT exchange with a proxy that opens a tunnel to an https:
 * endpoint.  Returns 0, or -1 with the socket closed. */
static int tcp_tunnel(struct soap *soap, int sock, const char *endpoint, const char *host, int port)
{
    uint32_t mode = soap->mode, omode = soap->omode, imode;
    size_t count = soap->count;
    int status = soap->status;
    short keep_alive = soap->keep_alive;
    const char *userid, *passwd;

    soap->omode = (omode & ~(uint32_t)0xFFF) | SOAP_IO_BUFFER;
    if (soap_begin_send(soap))
        goto fail;
    soap->status = SOAP_CONNECT;
    soap->keep_alive = 1;
    if ((soap->error = soap->fpost(soap, endpoint, host, port, nullptr, nullptr, 0)) || soap_end_send(soap))
        goto fail;
    soap->status = status;
    soap->omode = omode;
    imode = soap->imode;
    soap->imode &= ~(uint32_t)0xFFF;
    soap->keep_alive = keep_alive;
    userid = soap->userid;
    passwd = soap->passwd;
    soap->ahead = 0;
    soap->bufidx = soap->buflen = 0;
    if ((soap->error = soap->fparse(soap))) {
        soap->imode = imode;
        soap->omode = omode;
        soap->mode = mode;
        goto fail;
    }
    soap->userid = userid;
    soap->passwd = passwd;
    soap->imode = imode;
    soap->count = count;
    /* the proxy's "200" is not this call's status: the command stays */
    soap->status = status;
    if (soap_begin_send(soap))
        goto fail;
    strncpy(soap->endpoint, endpoint, sizeof(soap->endpoint) - 1);
    soap->endpoint[sizeof(soap->endpoint) - 1] = '\0';
    soap->mode = mode;
    return 0;
fail:
    if (soap->status == SOAP_CONNECT)
        soap->status = status;
    soap->omode = omode;
    soap->keep_alive = keep_alive;
    soap->fclosesocket(soap, sock);
    soap->socket = -1;
    return -1;
}

/* Call point of the TLS client handshake and the peer checks (tls.cpp); it
 * runs on a connected socket (after the proxy tunnel, if any).  On failure
 * the socket is closed.  Returns 0 or -1. */
static int tcp_tls_connect(struct soap *soap, int sock, const char *host, int port)
{
    return soap_ssl_connect(soap, sock, host, port);
}

int tcp_connect(struct soap *soap, const char *endpoint, const char *host, int port)
{
    struct addrinfo hints, *res = nullptr, *ai;
    char name[SOAP_TAGLEN];
    char service[16];
    const char *node;
    int sock = -1, r, retries = 0;
    bool udp = (soap->omode & SOAP_IO_UDP) != 0;

    if (soap->socket >= 0)
        soap->fclosesocket(soap, soap->socket);
    soap->socket = -1;
    /* no socket layer start-up is needed here: it cannot fail */
    soap->errmode = 0;
    memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = udp ? SOCK_DGRAM : SOCK_STREAM;
    soap->errmode = 2;

    if (!soap->proxy_host) {
        node = host;
        snprintf(service, sizeof(service), "%d", port);
    } else {
        const char *close = soap->proxy_host[0] == '[' ? strchr(soap->proxy_host, ']') : nullptr;
        if (close) {
            size_t n = (size_t)(close - soap->proxy_host - 1);
            if (n >= sizeof(name)) {
                soap_set_receiver_error(soap, gai_strerror(EAI_NONAME), "getaddrinfo failed in tcp_connect()",
                                        SOAP_TCP_ERROR);
                return -1;
            }
            memcpy(name, soap->proxy_host + 1, n);
            name[n] = '\0';
            node = name;
        } else {
            node = soap->proxy_host;
        }
        snprintf(service, sizeof(service), "%d", (int)soap->proxy_port);
    }
    if ((r = getaddrinfo(node, service, &hints, &res)) != 0 || !res) {
        soap_set_receiver_error(soap, gai_strerror(r ? r : EAI_NONAME), "getaddrinfo failed in tcp_connect()",
                                SOAP_TCP_ERROR);
        if (res)
            freeaddrinfo(res);
        return -1;
    }

    ai = res;
again:
    sock = socket(ai->ai_family, ai->ai_socktype, ai->ai_protocol);
    soap->errmode = 0;
    if (sock < 0) {
        if (ai->ai_next) {
            ai = ai->ai_next;
            goto again;
        }
        soap->errnum = errno;
        return tcp_fail(soap, -1, res, "socket failed in tcp_connect()");
    }
    {
        const char *detail = client_options(soap, sock, udp);
        if (detail) {
            soap->errnum = errno;
            return tcp_fail(soap, sock, res, detail);
        }
    }
    if (udp) {
        if (soap->ipv6_multicast_if && ai->ai_family == AF_INET6)
            ((struct sockaddr_in6 *)ai->ai_addr)->sin6_scope_id = soap->ipv6_multicast_if;
        const char *detail = multicast_options(soap, sock);
        if (detail) {
            soap->errnum = errno;
            return tcp_fail(soap, sock, res, detail);
        }
        size_t n = ai->ai_addrlen < sizeof(soap->peer) ? ai->ai_addrlen : sizeof(soap->peer);
        memcpy(soap->peer, ai->ai_addr, n);
        soap->peerlen = (uint32_t)n;
        freeaddrinfo(res);
        return sock;
    }
    set_nonblocking(sock, soap->connect_timeout != 0);
    for (;;) {
        if (connect(sock, ai->ai_addr, ai->ai_addrlen) == 0)
            break;
        int e = errno;
        if (e == EISCONN)
            break;
        if (e == EADDRINUSE && retries++ < SOAP_CONNECT_ADDRINUSE_RETRIES) {
            soap->fclosesocket(soap, sock);
            goto again;
        }
        if (soap->connect_timeout && (e == EINPROGRESS || e == EAGAIN)) {
            for (;;) {
                r = soap_socket_wait(soap, sock, 2, soap->connect_timeout);
                if (r > 0) {
                    int err = 0;
                    socklen_t len = sizeof(err);
                    if (!getsockopt(sock, SOL_SOCKET, SO_ERROR, (char *)&err, &len) && !err)
                        goto connected;
                    soap->errnum = err ? err : errno;
                    return tcp_fail(soap, sock, res, "connect failed in tcp_connect()");
                }
                if (r == 0) {
                    soap_set_receiver_error(soap, "Timeout", "connect failed in tcp_connect()", SOAP_TCP_ERROR);
                    soap->fclosesocket(soap, sock);
                    freeaddrinfo(res);
                    return -1;
                }
                if (soap->errnum != EINTR)
                    return tcp_fail(soap, sock, res, "connect failed in tcp_connect()");
            }
        }
        if (ai->ai_next) {
            soap->fclosesocket(soap, sock);
            ai = ai->ai_next;
            goto again;
        }
        if (e == 0 || e == EINTR)
            continue;
        soap->errnum = e;
        return tcp_fail(soap, sock, res, "connect failed in tcp_connect()");
    }
connected:
    soap->peerlen = 0;
    freeaddrinfo(res);
    soap->socket = sock;
    soap->imode &= ~(uint32_t)SOAP_ENC_SSL;
    soap->omode &= ~(uint32_t)SOAP_ENC_SSL;
    if (endpoint && !soap_tag_cmp(endpoint, "https:*")) {
        if (soap->proxy_host && tcp_tunnel(soap, sock, endpoint, host, port))
            return -1;
        if (tcp_tls_connect(soap, sock, host, port))
            return -1;
    }
    set_nonblocking(sock, soap->recv_timeout || soap->send_timeout);
    return sock;
}

int tcp_accept(struct soap *, int fd, struct sockaddr *address, int *length)
{
    socklen_t len = length ? (socklen_t)*length : 0;
    int sock = accept(fd, address, length ? &len : nullptr);
    if (length)
        *length = (int)len;
    return sock;
}

int tcp_closesocket(struct soap *, int fd)
{
    return close(fd);
}

int tcp_shutdownsocket(struct soap *, int fd, int how)
{
    return shutdown(fd, how);
}

int tcp_disconnect(struct soap *soap)
{
    if (soap->ssl) {
        int r, s = 0;
        if (soap->session) {
            SSL_SESSION_free(soap->session);
            soap->session = nullptr;
        }
        if (*soap->host) {
            soap->session = SSL_get1_session(soap->ssl);
            if (soap->session) {
                strcpy(soap->session_host, soap->host);
                soap->session_port = soap->port;
            }
        }
        r = SSL_shutdown(soap->ssl);
        if (r == 0) {
            bool reading = false;
            while (SSL_want(soap->ssl) == SSL_READING) {
                reading = true;
                if (SSL_read(soap->ssl, nullptr, 0) || errno != EAGAIN) {
                    r = SSL_shutdown(soap->ssl);
                    break;
                }
            }
            if (!reading || r == 0) {
                if (soap->socket >= 0 && !soap->fshutdownsocket(soap, soap->socket, SHUT_WR)) {
                    int w = soap_socket_wait(soap, soap->socket, 5, 5);
                    if (w > 0) {
                        r = w;
                    } else if (w == 0 || soap->errnum != EINTR) {
                        soap->errnum = 0;
                        soap->fclosesocket(soap, soap->socket);
                        soap->socket = -1;
                        SSL_free(soap->ssl);
                        soap->ssl = nullptr;
                        return SOAP_OK;
                    }
                }
            }
        }
        if (r != 1) {
            s = (int)ERR_get_error();
            if (s && soap->socket >= 0 && !(soap->omode & SOAP_IO_UDP)) {
                soap->fclosesocket(soap, soap->socket);
                soap->socket = -1;
            }
        }
        SSL_free(soap->ssl);
        soap->ssl = nullptr;
        if (s)
            return SOAP_SSL_ERROR;
    }
    if (soap->socket >= 0 && !(soap->omode & SOAP_IO_UDP)) {
        soap->fshutdownsocket(soap, soap->socket, SHUT_RDWR);
        soap->fclosesocket(soap, soap->socket);
        soap->socket = -1;
    }
    return SOAP_OK;
}

/* ------------------------------------------------------------------------ */
/* Endpoint lists and the request head                                       */
/* ------------------------------------------------------------------------ */

int soap_connect_command_single(struct soap *soap, int command, const char *endpoint, const char *action)
{
    char host[sizeof(soap->host)];
    int port;
    size_t count;

    soap->error = SOAP_OK;
    strcpy(host, soap->host);
    port = soap->port;
    soap->status = command;
    soap_set_endpoint(soap, endpoint);
    if (soap->fconnect) {
        if ((soap->error = soap->fconnect(soap, endpoint, soap->host, soap->port)))
            return soap->error;
    } else {
        soap->action = action ? soap_strdup(soap, action) : nullptr;
        if (action && !soap->action)
            return soap->error = SOAP_EOM;
        if (soap->fopen && *soap->host) {
            if (soap->keep_alive && soap->socket >= 0 && !strcmp(soap->host, host) && soap->port == port
                && soap->fpoll && soap->fpoll(soap) == SOAP_OK) {
                /* the kept connection serves this call */
            } else {
                soap->error = SOAP_OK;
                if (endpoint && !strncmp(endpoint, "soap.udp:", 9)) {
                    soap->omode |= SOAP_IO_UDP;
                } else {
                    soap->keep_alive = 0;
                    soap->omode &= ~(uint32_t)SOAP_IO_UDP;
                }
                soap_closesock(soap);
                if (!(soap->keep_alive && soap->socket >= 0)) {
                    soap->socket = soap->fopen(soap, endpoint, soap->host, soap->port);
                    if (soap->error)
                        return soap->error;
                    soap->keep_alive = (soap->omode & SOAP_IO_KEEPALIVE) ? 1 : 0;
                }
            }
        }
    }
    count = soap_count_attachments ? soap_count_attachments(soap) : soap->count;
    if (soap_begin_send(soap))
        return soap->error;
    if (command == SOAP_GET)
        soap->mode = (soap->mode & ~(uint32_t)SOAP_IO) | SOAP_IO_BUFFER;
    if ((soap->mode & SOAP_IO) != SOAP_IO_STORE && !(soap->mode & SOAP_ENC_XML) && endpoint) {
        uint32_t k = soap->mode;
        soap->mode &= ~(uint32_t)(SOAP_IO | SOAP_ENC_ZLIB);
        if (k & SOAP_IO)
            soap->mode |= SOAP_IO_BUFFER;
        if ((soap->error = soap->fpost(soap, endpoint, soap->host, soap->port, soap->path, action, count)))
            return soap->error;
        if ((k & SOAP_IO) == SOAP_IO_CHUNK) {
            if (soap_flush(soap))
                return soap->error;
        }
        soap->mode = k;
    }
    if (command == SOAP_GET)
        return soap_end_send(soap);
    return SOAP_OK;
}

int soap_connect_command(struct soap *soap, int command, const char *endpoints, const char *action)
{
    if (endpoints && strchr(endpoints, ' ')) {
        size_t n = strlen(endpoints);
        char *list = (char *)soap_malloc(soap, n + 1);
        if (!list)
            return soap->error = SOAP_EOM;
        memcpy(list, endpoints, n + 1);
        char *s = list;
        while (*s == ' ')
            s++;
        for (;;) {
            char *t = s + strcspn(s, " ");
            if (*t)
                *t++ = '\0';
            while (*t == ' ')
                t++;
            soap_connect_command_single(soap, command, s, action);
            /* only a failed connection moves on to the next address */
            if (soap->error != SOAP_TCP_ERROR || !*t)
                break;
            soap->error = SOAP_OK;
            s = t;
        }
        soap_dealloc(soap, list);
        return soap->error;
    }
    return soap_connect_command_single(soap, command, endpoints, action);
}

int soap_connect(struct soap *soap, const char *endpoints, const char *action)
{
    return soap_connect_command(soap, SOAP_POST, endpoints, action);
}

/* ------------------------------------------------------------------------ */
/* Moving bytes                                                              */
/* ------------------------------------------------------------------------ */

static ssize_t udp_send(struct soap *soap, const char *s, size_t n)
{
    int flags = soap->socket_flags | MSG_NOSIGNAL;
    if (soap->peerlen)
        return sendto(soap->socket, s, n, flags, (const struct sockaddr *)soap->peer, (socklen_t)soap->peerlen);
    return send(soap->socket, s, n, flags);
}

int soap_io_send(struct soap *soap, const char *s, size_t n)
{
    if (soap->os) {
        soap->os->write(s, (std::streamsize)n);
        if (soap->os->good())
            return SOAP_OK;
        soap->errnum = (int)soap->os->rdstate();
        return SOAP_EOF;
    }
    while (n) {
        ssize_t r;
        int e = 0;
        if (soap->socket < 0) {
            r = write(soap->sendfd, s, n);
            if (r > 0) {
                s += r;
                n -= (size_t)r;
                continue;
            }
            if (r < 0 && errno != EINTR && errno != EAGAIN && errno != 0) {
                soap->errnum = errno;
                return SOAP_EOF;
            }
            continue;
        }
        if (soap->send_timeout) {
            for (;;) {
                int w = soap_socket_wait(soap, soap->socket, soap->ssl ? 7 : 6, soap->send_timeout);
                if (w > 0)
                    break;
                if (w == 0)
                    return SOAP_EOF;
                if (soap->errnum == 0)
                    return soap->error;
                if (soap->errnum != EINTR && soap->errnum != EAGAIN)
                    return SOAP_EOF;
            }
        }
        errno = 0;
        if (soap->ssl) {
            r = SSL_write(soap->ssl, s, (int)(n > 0x7FFFFFFF ? 0x7FFFFFFF : n));
        } else if (soap->bio) {
            r = BIO_write(soap->bio, s, (int)(n > 0x7FFFFFFF ? 0x7FFFFFFF : n));
        } else if (!(soap->omode & SOAP_IO_UDP)) {
            r = send(soap->socket, s, n, soap->socket_flags | MSG_NOSIGNAL);
        } else {
            r = udp_send(soap, s, n);
            if (r < 0) {
                unsigned int delay = (unsigned int)soap_random() % 201 + 50;
                int tries = (soap->connect_flags & 0x6) ? 2 : 1;
                while (tries-- > 0) {
                    soap_socket_wait(soap, soap->socket, 4, -1000 * (int)delay);
                    r = udp_send(soap, s, n);
                    if (r >= 0)
                        break;
                    delay *= 2;
                    if (delay > 500)
                        delay = 500;
                }
            }
        }
        if (r > 0) {
            s += r;
            n -= (size_t)r;
            continue;
        }
        int err = errno;
        if (soap->ssl) {
            e = SSL_get_error(soap->ssl, (int)r);
            if (e != SSL_ERROR_NONE && e != SSL_ERROR_WANT_READ && e != SSL_ERROR_WANT_WRITE) {
                soap->errnum = err;
                return SOAP_EOF;
            }
        }
        if (err != EAGAIN && err != EWOULDBLOCK) {
            if (err == 0 || err == EINTR)
                continue;
            soap->errnum = err;
            return SOAP_EOF;
        }
        int w = soap_socket_wait(soap, soap->socket, (soap->ssl && e == SSL_ERROR_WANT_READ) ? 5 : 6,
                                 soap->send_timeout ? soap->send_timeout : -10000);
        if (w < 0 && soap->errnum != EINTR)
            return SOAP_EOF;
        if (w == 0 && soap->send_timeout)
            return SOAP_EOF;
    }
    return SOAP_OK;
}

size_t soap_io_recv(struct soap *soap, char *s, size_t n)
{
    soap->errnum = 0;
    if (soap->is) {
        if (!soap->is->good())
            return 0;
        soap->is->read(s, (std::streamsize)n);
        return (size_t)soap->is->gcount();
    }
    if (soap->socket < 0) {
        ssize_t r = read(soap->recvfd, s, n);
        if (r < 0) {
            soap->errnum = errno;
            return 0;
        }
        return (size_t)r;
    }
    int len = n > 0x7FFFFFFF ? 0x7FFFFFFF : (int)n;
    for (int attempt = 0; attempt <= 100; attempt++) {
        int e = 0;
        if (soap->recv_timeout && !soap->ssl) {
            for (;;) {
                int w = soap_socket_wait(soap, soap->socket, 5, soap->recv_timeout);
                if (w > 0)
                    break;
                if (w == 0)
                    return 0;
                if (soap->errnum != EINTR && soap->errnum != EAGAIN)
                    return 0;
            }
        }
        if (soap->ssl) {
            int r = SSL_read(soap->ssl, s, len);
            if (r > 0)
                return (size_t)r;
            e = SSL_get_error(soap->ssl, r);
            if (e != SSL_ERROR_NONE && e != SSL_ERROR_WANT_READ && e != SSL_ERROR_WANT_WRITE)
                return 0;
        } else if (soap->bio) {
            int r = BIO_read(soap->bio, s, len);
            return r > 0 ? (size_t)r : 0;
        } else {
            ssize_t r;
            if (soap->omode & SOAP_IO_UDP) {
                socklen_t k = (socklen_t)sizeof(soap->peer);
                memset(soap->peer, 0, sizeof(soap->peer));
                r = recvfrom(soap->socket, s, n, soap->socket_flags, (struct sockaddr *)soap->peer, &k);
                soap->peerlen = (uint32_t)k;
            } else {
                r = recv(soap->socket, s, n, soap->socket_flags);
            }
            if (r >= 0)
                return (size_t)r;
            if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
                soap->errnum = errno;
                return 0;
            }
        }
        int w = soap_socket_wait(soap, soap->socket, (soap->ssl && e == SSL_ERROR_WANT_WRITE) ? 6 : 5,
                                 soap->recv_timeout ? soap->recv_timeout : 5);
        if (w == 0 && soap->recv_timeout)
            return 0;
        if (w < 0 && soap->errnum != EINTR && soap->errnum != EAGAIN)
            return 0;
    }
    return 0;
}

/* ------------------------------------------------------------------------ */
/* Health of a kept connection                                               */
/* ------------------------------------------------------------------------ */

int soap_poll(struct soap *soap)
{
    int r;
    if (soap->socket >= 0)
        r = soap_socket_wait(soap, soap->socket, 7, 0);
    else if (soap->master >= 0)
        r = soap_socket_wait(soap, soap->master, 2, 0);
    else
        return SOAP_OK;
    if (r > 0) {
        if (r & 4)
            return SOAP_EOF;
        if (soap->socket < 0 || !(r & 2))
            return SOAP_EOF;
        if (!(r & 1))
            return SOAP_OK;
        char c;
        int n;
        if ((soap->imode & SOAP_ENC_SSL) && soap->ssl)
            n = SSL_peek(soap->ssl, &c, 1);
        else
            n = (int)recv(soap->socket, &c, 1, MSG_PEEK);
        return n > 0 ? SOAP_OK : SOAP_EOF;
    }
    if (r == 0)
        return SOAP_EOF;
    if (soap->errnum == EINTR)
        return SOAP_EOF;
    return soap_set_sender_error(soap, tcp_error(soap), "select failed in soap_poll()", SOAP_TCP_ERROR);
}

/* ------------------------------------------------------------------------ */
/* Closing at once                                                           */
/* ------------------------------------------------------------------------ */

/* soap_closesock keeps a connection that keep-alive allows; a caller that
 * knows better (a peer it no longer trusts, a daemon going down) drops the
 * flag first, so the same tear-down runs unconditionally. */
int soap_force_closesock(struct soap *soap)
{
    soap->keep_alive = 0;
    return soap_closesock(soap);
}
