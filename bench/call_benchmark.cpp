/* call_benchmark.cpp -- calls per second of ProblemReportSoapBindingProxy::submit with a ~10 KB
 * report over a kept loopback connection, against a canned-answer server in a thread of the same
 * process, beside a raw socket client that sends the proxy's exact request bytes and reads the
 * same answer: the floor.  The ratio of the two is printed at the end.
 * Not a test of the answer's contents (tests/proxies) and not an instruction count (call_driver).
 *
 *   call_bench [google-benchmark flags]
 */
#include <benchmark/benchmark.h>

#include <sched.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <vector>

#include "call_fixture.h"

using namespace callbench;

namespace {

struct Setup {
    Report report;
    std::string answer;
    std::unique_ptr<CannedServer> server;
    std::string url;
    std::string request;  /* the proxy's own bytes, HTTP head included */

    Setup()
    {
        soapEnableDebug = 0;  /* the floor writes no trace either */
        answer = canned_submit_answer(report);
        if (answer.empty()) {
            fprintf(stderr, "call_bench: cannot write the canned answer\n");
            exit(1);
        }
        server.reset(new CannedServer(answer));
        url = "http://127.0.0.1:" + std::to_string(server->port()) + "/orv/v1.0/services/ProblemReport";

        /* one call through a tap to learn the request bytes */
        ProblemReportSoapBindingProxy p(url.c_str());
        struct Tap {
            std::string *out;
            int (*next)(struct soap *, const char *, size_t);
        } tap{&request, p.fsend};
        p.user = &tap;
        p.fsend = [](struct soap *soap, const char *s, size_t n) {
            Tap *t = static_cast<Tap *>(soap->user);
            t->out->append(s, n);
            return t->next(soap, s, n);
        };
        p.soap_header(&report.header);
        __protocolProblemReport__submitResponse resp;
        if (p.submit(&report.content, resp) || !resp.protocolProblemReport__submitResponse) {
            p.soap_print_fault(stderr);
            exit(1);
        }
        p.destroy();
    }
};

Setup &setup()
{
    static Setup s;
    return s;
}

/* mode: the daemon's output mode; by default the message is counted first for its Content-Length,
 * with SOAP_IO_STORE it is built in memory once and sent with its length */
void BM_ProxySubmit(benchmark::State &state)
{
    Setup &s = setup();
    ProblemReportSoapBindingProxy p(s.url.c_str(), SOAP_IO_KEEPALIVE | (int)state.range(0));
    for (auto _ : state) {
        p.soap_header(&s.report.header);
        __protocolProblemReport__submitResponse resp;
        if (p.submit(&s.report.content, resp) || !resp.protocolProblemReport__submitResponse
            || resp.protocolProblemReport__submitResponse->answer.size() != 1) {
            state.SkipWithError("submit failed");
            break;
        }
        p.destroy();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * (int64_t)(s.request.size() + s.answer.size()));
    state.counters["request_bytes"] = (double)s.request.size();
    state.counters["answer_bytes"] = (double)s.answer.size();
}

void BM_RawSocketSameBytes(benchmark::State &state)
{
    Setup &s = setup();
    RawClient c(s.server->port());
    for (auto _ : state) {
        if (c.call(s.request) != s.answer.size()) {
            state.SkipWithError("raw exchange failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * (int64_t)(s.request.size() + s.answer.size()));
}

BENCHMARK(BM_ProxySubmit)->ArgName("store")->Arg(0)->Arg(SOAP_IO_STORE)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_RawSocketSameBytes)->UseRealTime()->MinTime(2.0);

/* The console report, and the calls per second of each run for the ratio. */
class RatioReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> rate;
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &r : runs) {
            auto it = r.counters.find("items_per_second");
            if (it != r.counters.end() && !r.error_occurred)
                rate[r.benchmark_name()] = it->second;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

}  // namespace

/* The two clients are also timed in alternating rounds of the same run: per round the wall time
   of a batch of calls each, then the median of the rounds. */
void interleaved(int rounds, int batch)
{
    Setup &s = setup();
    ProblemReportSoapBindingProxy p(s.url.c_str(), SOAP_IO_KEEPALIVE);
    RawClient c(s.server->port());
    using Clock = std::chrono::steady_clock;
    std::vector<double> proxy_us, raw_us, ratio;
    for (int r = 0; r < rounds; r++) {
        auto t0 = Clock::now();
        for (int i = 0; i < batch; i++) {
            p.soap_header(&s.report.header);
            __protocolProblemReport__submitResponse resp;
            if (p.submit(&s.report.content, resp)) {
                p.soap_print_fault(stderr);
                return;
            }
            p.destroy();
        }
        auto t1 = Clock::now();
        for (int i = 0; i < batch; i++)
            if (c.call(s.request) != s.answer.size()) {
                fprintf(stderr, "raw exchange failed\n");
                return;
            }
        auto t2 = Clock::now();
        proxy_us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count() / batch);
        raw_us.push_back(std::chrono::duration<double, std::micro>(t2 - t1).count() / batch);
        ratio.push_back(raw_us.back() / proxy_us.back());
    }
    auto median = [](std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v[v.size() / 2];
    };
    auto [lo, hi] = std::minmax_element(raw_us.begin(), raw_us.end());
    printf("interleaved, %d rounds of %d calls each: proxy %.1f us/call, raw socket %.1f us/call "
           "(rounds from %.1f to %.1f), median ratio %.2f (target >= 0.75)\n",
           rounds, batch, median(proxy_us), median(raw_us), *lo, *hi, median(ratio));
}

int main(int argc, char **argv)
{
    /* All threads on one core: a wake-up across cores costs tens of microseconds on these machines
       and falls on either connection by chance, which would measure the scheduler, not the client. */
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu() >= 0 ? sched_getcpu() : 0, &one);
    if (sched_setaffinity(0, sizeof one, &one))
        perror("call_bench: sched_setaffinity");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    double raw = 0;
    for (auto &kv : reporter.rate)
        if (kv.first.rfind("BM_RawSocketSameBytes", 0) == 0)
            raw = kv.second;
    for (auto &kv : reporter.rate)
        if (raw > 0 && kv.first.rfind("BM_ProxySubmit", 0) == 0)
            printf("%s: %.0f calls/s, raw socket %.0f calls/s, ratio %.2f (target >= 0.75)\n", kv.first.c_str(),
                   kv.second, raw, kv.second / raw);
    interleaved(21, 500);
    return 0;
}
