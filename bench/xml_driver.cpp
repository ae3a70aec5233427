/* xml_driver.cpp -- one pass over the ~1 MB problem report for an instruction profiler: after one
 * warm-up message it reads the document once, ends the message, writes it once (and, when built
 * with them, lets libxml2 and pugixml do the same), dumping callgrind's counters after each phase
 * under the phase's name.  bench/run_callgrind_xml.sh runs it; outside valgrind the dumps are no-ops.
 *
 *   xml_driver [messages [orvsoap]]   (messages: default 1, more for strace -c; orvsoap: ours only)
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

#include "xml_alloc_count.h"
#include "xml_baselines.h"
#include "xml_doc.h"

using namespace xmlbench;

namespace {

void phase_allocs(const char *what, const AllocCount &a, const AllocCount &b)
{
    AllocCount d = alloc_diff(a, b);
    std::printf("allocs %-14s %8zu allocs %8zu reallocs %8zu frees %10zu bytes\n", what, d.allocs, d.reallocs,
                d.frees, d.bytes);
}

}  // namespace

int main(int argc, char **argv)
{
    int messages = argc > 1 ? std::atoi(argv[1]) : 1;
    if (messages < 1)
        messages = 1;
    const bool baselines = !(argc > 2 && std::string(argv[2]) == "orvsoap");
#ifdef ORVSOAP_HAVE_LIBXML2
    xmlInitParser();
#endif
    struct soap *owner = new_context();
    ReportBuilder builder(owner);
    protocolProblemReport__ProblemReportContent *report = nullptr;
    std::string doc = make_document(&builder, 1u << 20, &report);
    if (doc.empty())
        return 1;
#ifdef ORVSOAP_HAVE_LIBXML2
    WriterScript script;
    if (!script.load(doc))
        return 1;
#endif
    struct soap *reader = new_context();
    MemChannel rch;
    rch.attach(reader);
    struct soap *writer = new_context();
    MemChannel wch;
    wch.attach(writer);
    wch.out.reserve(doc.size() + 4096);

    /* warm-up: the first message of a context grows its buffers */
    if (!read_report(reader, &rch, doc))
        return 1;
    end_message(reader);
    if (write_report(writer, &wch, report))
        return 1;
#ifdef ORVSOAP_HAVE_LIBXML2
    libxml2_read(doc);
    script.replay(doc.size() + 4096);
#endif
#ifdef ORVSOAP_HAVE_PUGIXML
    pugixml_read(doc);
#endif

    std::printf("bytes %zu\n", doc.size());
    for (int m = 0; m < messages; m++) {
        bool last = m == messages - 1;
        CALLGRIND_ZERO_STATS;
        AllocCount a = alloc_count();
        if (!read_report(reader, &rch, doc))
            return 1;
        AllocCount b = alloc_count();
        CALLGRIND_DUMP_STATS_AT("orvsoap_read");
        end_message(reader);
        AllocCount c = alloc_count();
        CALLGRIND_DUMP_STATS_AT("orvsoap_end");
        if (write_report(writer, &wch, report))
            return 1;
        AllocCount d = alloc_count();
        CALLGRIND_DUMP_STATS_AT("orvsoap_write");
        if (last) {
            phase_allocs("orvsoap_read", a, b);
            phase_allocs("orvsoap_end", b, c);
            phase_allocs("orvsoap_write", c, d);
        }
        if (!baselines)
            continue;
#ifdef ORVSOAP_HAVE_LIBXML2
        a = alloc_count();
        libxml2_read(doc);
        b = alloc_count();
        CALLGRIND_DUMP_STATS_AT("libxml2_read");
        script.replay(doc.size() + 4096);
        c = alloc_count();
        CALLGRIND_DUMP_STATS_AT("libxml2_write");
        if (last) {
            phase_allocs("libxml2_read", a, b);
            phase_allocs("libxml2_write", b, c);
        }
#endif
#ifdef ORVSOAP_HAVE_PUGIXML
        a = alloc_count();
        pugixml_read(doc);
        b = alloc_count();
        CALLGRIND_DUMP_STATS_AT("pugixml_read");
        if (last)
            phase_allocs("pugixml_read", a, b);
#endif
    }
    free_context(writer);
    free_context(reader);
    free_context(owner);
    return 0;
}
