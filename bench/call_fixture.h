/* call_fixture.h -- what the call benchmark and the call driver share: a ~10 KB problem report as
 * a daemon fills it, the canned HTTP answer to its submit (written once by the library itself),
 * a loopback server in a thread that answers every request on a kept connection with those bytes,
 * and the raw socket client that sends and reads the same bytes (the floor of a call).
 * Not a provider: the server does not look at what it reads beyond where a request ends.
 */
#ifndef ORVSOAP_BENCH_CALL_FIXTURE_H
#define ORVSOAP_BENCH_CALL_FIXTURE_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>
#include <string>
#include <thread>
#include <vector>

#include "orvsoap.h"

namespace callbench {

/* A problem report of about `bytes` on the wire: subject, problem types, title, description and
 * a run of notes.  The strings live here; the content points at them. */
struct Report {
    std::string title = "Fan 3 failed in the processor drawer";
    std::string description = "Fan 3 reports 0 rpm; inlet temperature 71 C above the 70 C threshold & rising.";
    std::string occurred = "2026-05-01T07:59:12Z";
    std::string host = "sp-0042.example.org", serial = "SN-10A4F7", product = "9117";
    std::string user = "daemon", password = "secret";
    protocol__Identity subject;
    protocolProblemReport__ProblemReportContent content;
    protocol__Credentials credentials;
    protocol__Header header;

    explicit Report(size_t bytes = 10 * 1024)
    {
        subject.hostName = &host;
        subject.serialNumber = &serial;
        subject.product = &product;
        content.subject = &subject;
        content.title = &title;
        content.problemDescription = &description;
        content.occurrenceDateTime = &occurred;
        content.problemType.push_back(protocolProblemReport__ProblemType__dysfunction);
        content.impact.push_back(protocolProblemReport__Impact__systemImpaired);
        static const std::string note =
            "fan3 rpm=0 temp=71C threshold=70C since 2026-05-01T07:59:12Z; sensor bus ok; psu ok; event 0x4F21";
        /* each note is its text and about 60 bytes of tags */
        for (size_t n = 1100; n < bytes; n += note.size() + 60)
            content.notes.push_back(note);
        credentials.username = &user;
        credentials.password = &password;
        header.credentials.push_back(&credentials);
    }
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;
};

struct StringSink {
    std::string *out;
};

inline int sink_send(struct soap *soap, const char *s, size_t n)
{
    static_cast<StringSink *>(soap->user)->out->append(s, n);
    return SOAP_OK;
}

/* The whole HTTP answer to a submit of `report`: the report echoed with the provider's additions
 * (URI, state, a provider case and an acknowledgment of a derived answer class), under a header,
 * written by the library so that the proxy reads exactly what it could meet. */
inline std::string canned_submit_answer(Report &report)
{
    std::string body;
    StringSink sink{&body};
    struct soap w;
    soap_set_logfile(&w, SOAP_IDX_SENT, nullptr);
    soap_set_logfile(&w, SOAP_IDX_RECV, nullptr);
    w.user = &sink;
    w.fsend = sink_send;
    w.omode |= SOAP_ENC_XML;  /* the envelope alone; the head is added below */
    soap_begin(&w);
    w.encodingStyle = nullptr;

    std::string uri = "urn:orv:problemreport:1", when = "2026-05-01T08:00:03Z", id = "SP-1", authority = "provider",
                queued = "queued", ack = "Report received";
    protocolProblemReport__ProblemReportState state = protocolProblemReport__ProblemReportState__submitted;
    protocolProblemReport__ServiceProviderReport spr;
    spr.id = &id;
    spr.authority = &authority;
    spr.state = &queued;
    protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eAcknowledgment answer;
    answer.description = &ack;
    protocolProblemReport__ProblemReportContent &c = report.content;
    c.thisURI.push_back(uri);
    c.state = &state;
    c.submitDateTime = &when;
    c.serviceProviderReport.push_back(&spr);
    c.answer.push_back(&answer);

    protocol__Header rh;
    rh.targetURI = &uri;
    rh.dateTime = &when;
    soap_header(&w);
    w.header->protocol__header = &rh;

    __protocolProblemReport__submitResponse resp;
    resp.protocolProblemReport__submitResponse = &c;
    soap_serializeheader(&w);
    soap_serialize___protocolProblemReport__submitResponse(&w, &resp);
    bool ok = !(soap_begin_send(&w) || soap_envelope_begin_out(&w) || soap_putheader(&w) || soap_body_begin_out(&w)
                || soap_put___protocolProblemReport__submitResponse(&w, &resp, "-protocolProblemReport:submitResponse",
                                                                     "")
                || soap_body_end_out(&w) || soap_envelope_end_out(&w) || soap_end_send(&w));

    /* the request goes back to what the daemon filled */
    c.thisURI.clear();
    c.state = nullptr;
    c.submitDateTime = nullptr;
    c.serviceProviderReport.clear();
    c.answer.clear();
    w.header = nullptr;
    soap_delete(&w, nullptr);
    soap_end(&w);
    if (!ok)
        return std::string();
    return "HTTP/1.1 200 OK\r\nServer: canned\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: "
           + std::to_string(body.size()) + "\r\nConnection: keep-alive\r\n\r\n" + body;
}

/* Where one HTTP message ends in `buf` (head plus Content-Length body), or 0 if not yet. */
inline size_t message_end(const std::string &buf)
{
    size_t head = buf.find("\r\n\r\n");
    if (head == std::string::npos)
        return 0;
    size_t len = 0;
    for (size_t at = 0; at < head;) {
        size_t eol = buf.find("\r\n", at);
        if (eol == std::string::npos || eol > head)
            eol = head;
        if (eol - at > 15 && !strncasecmp(buf.data() + at, "Content-Length:", 15))
            len = strtoul(buf.data() + at + 15, nullptr, 10);
        at = eol + 2;
    }
    size_t end = head + 4 + len;
    return buf.size() >= end ? end : 0;
}

/* A loopback server: every connection gets a thread that answers each complete request with the
 * canned bytes, in one write, until the peer closes. */
class CannedServer {
public:
    explicit CannedServer(std::string answer) : answer_(std::move(answer))
    {
        listen_ = socket(AF_INET, SOCK_STREAM, 0);
        int one = 1;
        setsockopt(listen_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        struct sockaddr_in a = {};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (bind(listen_, (struct sockaddr *)&a, sizeof a) || listen(listen_, 16)) {
            perror("canned server");
            exit(1);
        }
        socklen_t len = sizeof a;
        getsockname(listen_, (struct sockaddr *)&a, &len);
        port_ = ntohs(a.sin_port);
        acceptor_ = std::thread([this] { accept_loop(); });
    }
    ~CannedServer()
    {
        stop_ = true;
        shutdown(listen_, SHUT_RDWR);
        close(listen_);
        acceptor_.join();
        for (auto &t : workers_)
            t.join();
    }
    int port() const { return port_; }

private:
    void accept_loop()
    {
        for (;;) {
            int fd = accept(listen_, nullptr, nullptr);
            if (fd < 0)
                return;
            int one = 1;
            setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            workers_.emplace_back([this, fd] { serve(fd); });
        }
    }
    void serve(int fd)
    {
        std::string in;
        char buf[65536];
        for (;;) {
            size_t end;
            while ((end = message_end(in)) == 0) {
                ssize_t n = recv(fd, buf, sizeof buf, 0);
                if (n <= 0) {
                    close(fd);
                    return;
                }
                in.append(buf, (size_t)n);
            }
            in.erase(0, end);
            if (send(fd, answer_.data(), answer_.size(), MSG_NOSIGNAL) != (ssize_t)answer_.size()) {
                close(fd);
                return;
            }
        }
    }

    std::string answer_;
    int listen_ = -1;
    int port_ = 0;
    std::atomic<bool> stop_{false};
    std::thread acceptor_;
    std::vector<std::thread> workers_;
};

/* The floor: one connected socket that sends the request bytes in one write and reads until the
 * answer is complete. */
class RawClient {
public:
    explicit RawClient(int port)
    {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        int one = 1;
        setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        struct sockaddr_in a = {};
        a.sin_family = AF_INET;
        a.sin_port = htons((uint16_t)port);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(fd_, (struct sockaddr *)&a, sizeof a)) {
            perror("raw client");
            exit(1);
        }
        in_.reserve(1 << 16);
    }
    ~RawClient() { close(fd_); }
    /* one exchange; the size of the answer, or 0 on failure */
    size_t call(const std::string &request)
    {
        if (send(fd_, request.data(), request.size(), MSG_NOSIGNAL) != (ssize_t)request.size())
            return 0;
        in_.clear();
        size_t end;
        while ((end = message_end(in_)) == 0) {
            ssize_t n = recv(fd_, buf_, sizeof buf_, 0);
            if (n <= 0)
                return 0;
            in_.append(buf_, (size_t)n);
        }
        return end;
    }

private:
    int fd_ = -1;
    std::string in_;
    char buf_[65536];
};

}  // namespace callbench

#endif /* ORVSOAP_BENCH_CALL_FIXTURE_H */
