/* proxy_support.cpp -- the shared machinery of the proxy tests: the provider child process, the
 * leak-checking fixture, the wire tap and the request builders.  The tests themselves are in the
 * *_test.cpp files beside it.
 */
#include "proxy_support.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

extern char **environ;

namespace proxy_test {

namespace {

/* The reference provider, started once before the first test and stopped after the last. */
class ProviderProcess : public ::testing::Environment {
public:
    std::string base;

    void SetUp() override
    {
        int out[2];
        ASSERT_EQ(0, pipe2(out, O_CLOEXEC));
        posix_spawn_file_actions_t fa;
        posix_spawn_file_actions_init(&fa);
        posix_spawn_file_actions_adddup2(&fa, out[1], 1);
        const char *argv[] = {ORVSOAP_TEST_PYTHON, "-B", ORVSOAP_TEST_PROVIDER, "--port", "0",
                              "--stall-limit", "20", nullptr};
        int rc = posix_spawn(&pid_, argv[0], &fa, nullptr, const_cast<char **>(argv), environ);
        posix_spawn_file_actions_destroy(&fa);
        close(out[1]);
        ASSERT_EQ(0, rc) << "cannot start " << ORVSOAP_TEST_PROVIDER;
        out_ = out[0];

        /* "listening on 127.0.0.1:PORT" */
        std::string line;
        char c;
        while (line.find('\n') == std::string::npos) {
            struct pollfd p = {out_, POLLIN, 0};
            ASSERT_EQ(1, poll(&p, 1, 30000)) << "provider did not start; said: " << line;
            ASSERT_EQ(1, read(out_, &c, 1)) << "provider ended; said: " << line;
            line += c;
        }
        size_t at = line.find("listening on ");
        ASSERT_NE(std::string::npos, at) << line;
        base = "http://" + line.substr(at + 13, line.find_first_of("\r\n", at) - at - 13);

        /* the wire trace of every context of this run goes beside the build, not to the
           platform's path */
        snprintf(trace_, sizeof trace_, "%s/orvsoap_proxy_tests_%d.log",
                 getenv("TMPDIR") ? getenv("TMPDIR") : "/tmp", (int)getpid());
        snprintf(g_TraceLogFile, sizeof g_TraceLogFile, "%s", trace_);
    }

    void TearDown() override
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            int status;
            for (int i = 0; i < 100 && waitpid(pid_, &status, WNOHANG) == 0; i++)
                usleep(50000);
            if (waitpid(pid_, &status, WNOHANG) == 0) {
                kill(pid_, SIGKILL);
                waitpid(pid_, &status, 0);
            }
            pid_ = -1;
        }
        if (out_ >= 0)
            close(out_);
        out_ = -1;
        if (*trace_)
            unlink(trace_);
    }

private:
    pid_t pid_ = -1;
    int out_ = -1;
    char trace_[512] = "";
};

ProviderProcess *const provider = static_cast<ProviderProcess *>(
    ::testing::AddGlobalTestEnvironment(new ProviderProcess));

int tap_send(struct soap *soap, const char *s, size_t n)
{
    WireTap *tap = static_cast<WireTap *>(soap->user);
    tap->sent.append(s, n);
    return tap->next_send(soap, s, n);
}

int tap_open(struct soap *soap, const char *endpoint, const char *host, int port)
{
    WireTap *tap = static_cast<WireTap *>(soap->user);
    tap->opens++;
    return tap->next_open(soap, endpoint, host, port);
}

}  // namespace

const std::string &provider_base() { return provider->base; }

void WireTap::attach(struct soap *soap)
{
    soap->user = this;
    next_send = soap->fsend;
    next_open = soap->fopen;
    soap->fsend = tap_send;
    soap->fopen = tap_open;
}

std::string WireTap::last_envelope() const
{
    size_t at = sent.rfind("<SOAP-ENV:Envelope");
    return at == std::string::npos ? std::string() : sent.substr(at);
}

DaemonHeader::DaemonHeader()
{
    credentials.username = &user;
    credentials.password = &password;
    header.credentials.push_back(&credentials);
}

DaemonHeader &DaemonHeader::with_target(const std::string &uri)
{
    target = uri;
    header.targetURI = &target;
    return *this;
}

DaemonHeader &DaemonHeader::without_target()
{
    header.targetURI = nullptr;
    return *this;
}

ProfileRequest::ProfileRequest()
{
    identity.systemName = &machine;
    identity.serialNumber = &serial;
    contact.name = &contact_name;
    contact.email.push_back(email);
    content.identity = &identity;
    content.contact.push_back(&contact);
}

ReportRequest::ReportRequest()
{
    subject.systemName = &machine;
    subject.serialNumber = &serial;
    content.subject = &subject;
    content.problemType.push_back(protocolProblemReport__ProblemType__dysfunction);
    content.problemType.push_back(protocolProblemReport__ProblemType__permanent);
    content.title = &title;
    content.problemDescription = &description;
}

void ReportRequest::pad_to(size_t bytes)
{
    /* each note is about 120 bytes on the wire with its tags */
    static const std::string line =
        "fan3 rpm=0 temp=71C threshold=70C since 2024-05-01T07:59:12Z; sensor bus ok; psu ok; event 0x4F21";
    for (size_t n = 600; n < bytes; n += line.size() + 50)
        content.notes.push_back(line);
}

void ProxyTest::finish(struct soap &proxy)
{
    for (auto &p : owned_) {
        if (p.get() != &proxy)
            continue;
        testing::internal::CaptureStderr();
        p.reset();
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::string::npos, err.find("not freed")) << err;
        EXPECT_EQ(std::string::npos, err.find("double free")) << err;
    }
}

void ProxyTest::TearDown()
{
    for (auto &p : owned_)
        if (p)
            finish(*p);
    owned_.clear();
}

}  // namespace proxy_test
