/* faultlog.cpp -- the in-process stand-in of the platform error log: commits
 * go to a bounded list that tests can read.  Not a persistent log.
 */
#include "platform/faultlog.h"

#include <atomic>
#include <deque>
#include <mutex>

namespace {

const size_t kKeep = 256;

std::mutex g_lock;
std::deque<FaultLogRecord> g_records;
std::atomic<long> g_live{0};

}  // namespace

FaultLogEntry::FaultLogEntry(const char *source, int32_t status) : source_(source ? source : ""), status_(status)
{
    g_live++;
}

FaultLogEntry::~FaultLogEntry()
{
    g_live--;
}

void FaultLogEntry::commit(unsigned short component, unsigned short reason, faultLogSeverity severity,
                           faultLogEventType eventType)
{
    std::lock_guard<std::mutex> hold(g_lock);
    if (g_records.size() >= kKeep)
        g_records.pop_front();
    g_records.push_back(FaultLogRecord{component, reason, (uint8_t)severity, (uint8_t)eventType, source_, status_});
}

std::vector<FaultLogRecord> faultlog_test_records()
{
    std::lock_guard<std::mutex> hold(g_lock);
    return std::vector<FaultLogRecord>(g_records.begin(), g_records.end());
}

void faultlog_test_clear()
{
    std::lock_guard<std::mutex> hold(g_lock);
    g_records.clear();
}

long faultlog_test_live_entries()
{
    return g_live.load();
}
