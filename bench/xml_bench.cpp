/* xml_bench.cpp -- how fast the library reads a ~1 MB problem report into objects and writes it
 * from them, measured in the same run as libxml2 (xmlReadMemory building and freeing its tree,
 * xmlTextWriter writing the same elements into memory) and pugixml (parse of the same bytes).
 * Prints Google Benchmark's table, then MB/s, the ratios and the heap calls of one message.
 * Not a test: it asserts nothing beyond the document surviving a round trip.
 *
 *   xml_bench [--benchmark_filter=...] [--benchmark_repetitions=N] [any Google Benchmark flag]
 */
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "xml_alloc_count.h"
#include "xml_baselines.h"
#include "xml_doc.h"

using namespace xmlbench;

namespace {

const size_t kDocumentBytes = 1u << 20;

/* Everything the benchmarks share, made once. */
struct Setup {
    struct soap *owner = nullptr;  /* holds the object the writer writes */
    ReportBuilder *builder = nullptr;
    protocolProblemReport__ProblemReportContent *report = nullptr;
    std::string doc;
    struct soap *reader = nullptr;  /* one context for all messages read, as a proxy has */
    MemChannel rch;
    struct soap *writer = nullptr;
    MemChannel wch;
#ifdef ORVSOAP_HAVE_LIBXML2
    WriterScript script;
    long script_bytes = 0;
#endif
    bool ok = false;

    Setup()
    {
        owner = new_context();
        builder = new ReportBuilder(owner);
        doc = make_document(builder, kDocumentBytes, &report);
        reader = new_context();
        rch.attach(reader);
        writer = new_context();
        wch.attach(writer);
        wch.out.reserve(doc.size() + 4096);
        if (doc.empty())
            return;
        /* the bytes read are the bytes written back */
        protocolProblemReport__ProblemReportContent *back = read_report(reader, &rch, doc);
        if (!back) {
            std::fprintf(stderr, "reading the document failed: error %d\n", reader->error);
            return;
        }
        MemChannel again;
        struct soap *w = new_context();
        again.attach(w);
        int rc = write_report(w, &again, back);
        free_context(w);
        end_message(reader);
        if (rc || again.out != doc) {
            std::fprintf(stderr, "the document read and written again differs (error %d)\n", rc);
            return;
        }
#ifdef ORVSOAP_HAVE_LIBXML2
        if (!script.load(doc)) {
            std::fprintf(stderr, "libxml2 cannot parse the document\n");
            return;
        }
        script_bytes = script.replay(doc.size() + 4096);
#endif
        ok = true;
    }
};

Setup &setup()
{
    static Setup s;
    return s;
}

void BM_orvsoap_read(benchmark::State &st)
{
    Setup &s = setup();
    for (auto _ : st) {
        protocolProblemReport__ProblemReportContent *p = read_report(s.reader, &s.rch, s.doc);
        if (!p) {
            st.SkipWithError("read failed");
            break;
        }
        benchmark::DoNotOptimize(p);
        end_message(s.reader);
    }
    st.SetBytesProcessed(static_cast<int64_t>(st.iterations() * s.doc.size()));
}

/* Prototype: the same, with every allocation of the message (soap_malloc blocks, object list,
   objects, their strings and vectors) carved from one region that is reused for the next message,
   as a context that kept its memory would do. */
void BM_orvsoap_read_arena(benchmark::State &st)
{
    Setup &s = setup();
    const size_t region = 64u << 20;
    for (auto _ : st) {
        arena_arm(region);
        protocolProblemReport__ProblemReportContent *p = read_report(s.reader, &s.rch, s.doc);
        benchmark::DoNotOptimize(p);
        end_message(s.reader);
        arena_disarm();
        if (!p || !arena_reset()) {
            st.SkipWithError(p ? "memory of the message outlived it" : "read failed");
            break;
        }
    }
    st.SetBytesProcessed(static_cast<int64_t>(st.iterations() * s.doc.size()));
}

void BM_orvsoap_write(benchmark::State &st)
{
    Setup &s = setup();
    for (auto _ : st) {
        if (write_report(s.writer, &s.wch, s.report)) {
            st.SkipWithError("write failed");
            break;
        }
        benchmark::DoNotOptimize(s.wch.out.data());
    }
    st.SetBytesProcessed(static_cast<int64_t>(st.iterations() * s.wch.out.size()));
}

#ifdef ORVSOAP_HAVE_LIBXML2
void BM_libxml2_read(benchmark::State &st)
{
    Setup &s = setup();
    for (auto _ : st)
        if (libxml2_read(s.doc) < 0) {
            st.SkipWithError("xmlReadMemory failed");
            break;
        }
    st.SetBytesProcessed(static_cast<int64_t>(st.iterations() * s.doc.size()));
}

void BM_libxml2_write(benchmark::State &st)
{
    Setup &s = setup();
    for (auto _ : st)
        if (s.script.replay(s.doc.size() + 4096) < 0) {
            st.SkipWithError("xmlTextWriter failed");
            break;
        }
    st.SetBytesProcessed(static_cast<int64_t>(st.iterations()) * s.script_bytes);
}
#endif

#ifdef ORVSOAP_HAVE_PUGIXML
void BM_pugixml_read(benchmark::State &st)
{
    Setup &s = setup();
    for (auto _ : st)
        if (pugixml_read(s.doc) < 0) {
            st.SkipWithError("pugixml failed");
            break;
        }
    st.SetBytesProcessed(static_cast<int64_t>(st.iterations() * s.doc.size()));
}
#endif

/* The console table, and per benchmark the best CPU seconds per iteration for the summary: on a
   shared machine the time the process is not running belongs to nobody's parser. */
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> best;

    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &r : runs) {
            if (r.run_type != Run::RT_Iteration || r.error_occurred || r.iterations == 0)
                continue;
            double t = r.cpu_accumulated_time / static_cast<double>(r.iterations);
            std::string name = r.run_name.function_name;
            auto it = best.find(name);
            if (it == best.end() || t < it->second)
                best[name] = t;
        }
    }
};

void print_allocs(const char *what, const AllocCount &c)
{
    std::printf("  %-34s %8zu allocs %8zu reallocs %8zu frees %10zu bytes\n", what, c.allocs, c.reallocs, c.frees,
                c.bytes);
}

/* Heap calls of one message on a warm context (two messages before it). */
void report_allocations(Setup &s)
{
    for (int i = 0; i < 2; i++) {
        read_report(s.reader, &s.rch, s.doc);
        end_message(s.reader);
        write_report(s.writer, &s.wch, s.report);
    }
    std::printf("heap calls of one message (warm context):\n");
    AllocCount a = alloc_count();
    protocolProblemReport__ProblemReportContent *p = read_report(s.reader, &s.rch, s.doc);
    AllocCount b = alloc_count();
    end_message(s.reader);
    AllocCount c = alloc_count();
    write_report(s.writer, &s.wch, s.report);
    AllocCount d = alloc_count();
    (void)p;
    print_allocs("orvsoap read (parse + objects)", alloc_diff(a, b));
    print_allocs("orvsoap end of message (destroy+end)", alloc_diff(b, c));
    print_allocs("orvsoap write (serialize + put)", alloc_diff(c, d));
#ifdef ORVSOAP_HAVE_LIBXML2
    a = alloc_count();
    libxml2_read(s.doc);
    b = alloc_count();
    s.script.replay(s.doc.size() + 4096);
    c = alloc_count();
    print_allocs("libxml2 xmlReadMemory + xmlFreeDoc", alloc_diff(a, b));
    print_allocs("libxml2 xmlTextWriter", alloc_diff(b, c));
#endif
#ifdef ORVSOAP_HAVE_PUGIXML
    a = alloc_count();
    pugixml_read(s.doc);
    b = alloc_count();
    print_allocs("pugixml load_buffer + free", alloc_diff(a, b));
#endif
}

void print_summary(const Setup &s, const SummaryReporter &rep)
{
    /* MB/s of a benchmark that ran, else 0 (filtered out or failed) */
    auto mbs = [&](const char *name, double bytes) -> double {
        auto it = rep.best.find(name);
        return it == rep.best.end() || it->second <= 0 ? 0.0 : bytes / it->second / 1e6;
    };
    auto line = [](const char *what, double v, const char *note) {
        if (v > 0)
            std::printf("  %-34s %8.1f MB/s%s\n", what, v, note);
    };
    auto ratio = [](const char *what, double a, double b, bool target) {
        if (a > 0 && b > 0)
            std::printf("  %-34s %6.2fx%s\n", what, a / b, !target ? "" : a / b >= 2 ? "  (target >= 2: met)" : "  (target >= 2: MISSED)");
    };
    double doc = static_cast<double>(s.doc.size());
    double rd = mbs("BM_orvsoap_read", doc), ra = mbs("BM_orvsoap_read_arena", doc), wr = mbs("BM_orvsoap_write", doc);
    double lr = 0, lw = 0, pr = 0;
#ifdef ORVSOAP_HAVE_LIBXML2
    lr = mbs("BM_libxml2_read", doc);
    lw = mbs("BM_libxml2_write", static_cast<double>(s.script_bytes));
#endif
#ifdef ORVSOAP_HAVE_PUGIXML
    pr = mbs("BM_pugixml_read", doc);
#endif
    std::printf("\nthroughput (MB = 10^6 bytes, best run):\n");
    line("orvsoap read into objects", rd, "");
    line("orvsoap read, arena prototype", ra, "");
    line("libxml2 xmlReadMemory + free", lr, "");
    line("pugixml load_buffer + free", pr, "");
    line("orvsoap write from objects", wr, "");
    line("libxml2 xmlTextWriter", lw, "");
#ifndef ORVSOAP_HAVE_LIBXML2
    std::printf("  libxml2: not found, its baselines skipped\n");
#endif
#ifndef ORVSOAP_HAVE_PUGIXML
    std::printf("  pugixml: not found, its baseline skipped\n");
#endif
    std::printf("ratios:\n");
    ratio("read  orvsoap / libxml2", rd, lr, true);
    ratio("read  arena prototype / libxml2", ra, lr, false);
    ratio("read  orvsoap / pugixml", rd, pr, false);
    ratio("write orvsoap / libxml2", wr, lw, true);
}

}  // namespace

int main(int argc, char **argv)
{
#ifdef ORVSOAP_HAVE_LIBXML2
    xmlInitParser();
#endif
    /* default flags, before the command line's */
    std::vector<char *> args(argv, argv + argc);
    static char interleave[] = "--benchmark_enable_random_interleaving=true";
    static char min_time[] = "--benchmark_min_time=0.2";
    args.insert(args.begin() + 1, {interleave, min_time});
    argc = static_cast<int>(args.size());
    argv = args.data();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    Setup &s = setup();
    if (!s.ok)
        return 1;
    std::printf("document: %zu bytes, protocolProblemReport:submitRequest, round trip identical\n", s.doc.size());
#ifdef ORVSOAP_HAVE_LIBXML2
    std::printf("          %zu elements\n", s.script.elements());
#endif
    report_allocations(s);
    std::fflush(stdout);

    /* every run several times, the runs of all benchmarks shuffled together, so that both sides of
       a ratio see the same machine */
    auto add = [](const char *name, void (*fn)(benchmark::State &)) {
        benchmark::RegisterBenchmark(name, fn)->Unit(benchmark::kMillisecond)->Repetitions(5);
    };
    add("BM_orvsoap_read", BM_orvsoap_read);
    add("BM_orvsoap_read_arena", BM_orvsoap_read_arena);
#ifdef ORVSOAP_HAVE_LIBXML2
    add("BM_libxml2_read", BM_libxml2_read);
#endif
#ifdef ORVSOAP_HAVE_PUGIXML
    add("BM_pugixml_read", BM_pugixml_read);
#endif
    add("BM_orvsoap_write", BM_orvsoap_write);
#ifdef ORVSOAP_HAVE_LIBXML2
    add("BM_libxml2_write", BM_libxml2_write);
#endif
    SummaryReporter rep;
    benchmark::RunSpecifiedBenchmarks(&rep);
    print_summary(s, rep);
    benchmark::Shutdown();
    return 0;
}
