/* call_driver.cpp -- the client's own work in one proxy call, with the network taken out: submit
 * of the ~10 KB report through ProblemReportSoapBindingProxy whose transport hooks write into
 * memory and read the canned answer from memory (HTTP head, counting pass, writing, reading, the
 * answer's objects, destroy()).  After a warm-up it zeroes callgrind's counters, runs the calls and
 * dumps them as "calls"; bench/run_callgrind.sh divides by the number of calls.  Outside valgrind
 * the client requests are no-ops.
 *
 *   call_driver [calls]   (default 200)
 */
#include <cstdio>
#include <cstdlib>
#include <string>

#if __has_include(<valgrind/callgrind.h>)
#include <valgrind/callgrind.h>
#else
#define CALLGRIND_ZERO_STATS
#define CALLGRIND_DUMP_STATS_AT(s)
#endif

#include "call_fixture.h"

using namespace callbench;

namespace {

struct Memory {
    const std::string *answer;
    size_t pos = 0;
    std::string out;
};

int mem_connect(struct soap *soap, const char *, const char *, int)
{
    Memory *m = static_cast<Memory *>(soap->user);
    m->pos = 0;
    m->out.clear();
    return SOAP_OK;
}

int mem_send(struct soap *soap, const char *s, size_t n)
{
    static_cast<Memory *>(soap->user)->out.append(s, n);
    return SOAP_OK;
}

size_t mem_recv(struct soap *soap, char *buf, size_t len)
{
    Memory *m = static_cast<Memory *>(soap->user);
    size_t n = m->answer->size() - m->pos;
    if (n > len)
        n = len;
    memcpy(buf, m->answer->data() + m->pos, n);
    m->pos += n;
    return n;
}

int mem_close(struct soap *) { return SOAP_OK; }

}  // namespace

int main(int argc, char **argv)
{
    int calls = argc > 1 ? atoi(argv[1]) : 200;
    if (calls < 1)
        calls = 1;
    soapEnableDebug = 0;
    Report report;
    std::string answer = canned_submit_answer(report);
    if (answer.empty())
        return 1;

    ProblemReportSoapBindingProxy p("http://127.0.0.1:9/orv/v1.0/services/ProblemReport", SOAP_IO_KEEPALIVE);
    Memory mem;
    mem.answer = &answer;
    mem.out.reserve(1 << 16);
    p.user = &mem;
    p.fconnect = mem_connect;
    p.fsend = mem_send;
    p.frecv = mem_recv;
    p.fclose = mem_close;
    p.fpoll = nullptr;

    auto one = [&] {
        p.soap_header(&report.header);
        __protocolProblemReport__submitResponse resp;
        int r = p.submit(&report.content, resp);
        bool ok = r == SOAP_OK && resp.protocolProblemReport__submitResponse
                  && resp.protocolProblemReport__submitResponse->answer.size() == 1;
        p.destroy();
        return ok;
    };
    for (int i = 0; i < 5; i++)
        if (!one()) {
            p.soap_print_fault(stderr);
            return 1;
        }
    CALLGRIND_ZERO_STATS;
    int failures = 0;
    for (int i = 0; i < calls; i++)
        failures += !one();
    CALLGRIND_DUMP_STATS_AT("calls");
    printf("calls %d\nrequest_bytes %zu\nanswer_bytes %zu\nfailures %d\n", calls, mem.out.size(), answer.size(),
           failures);
    return failures ? 1 : 0;
}
