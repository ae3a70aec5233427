/* faultlog.h -- stand-in for the platform error log: a record that a platform
 * service hands back on failure and that its caller commits under two
 * identifying numbers.  Not a logging facility for the library itself: the
 * engine's only use is the failed real-time clock read of the peer
 * certificate check.
 */
#ifndef ORVSOAP_PLATFORM_FAULTLOG_H
#define ORVSOAP_PLATFORM_FAULTLOG_H

#include <cstdint>
#include <string>
#include <vector>

/* Severity and event type of a committed record.  Their registry belongs to
 * the platform; only the values the engine passes are named here. */
enum faultLogSeverity : uint8_t {
    faultLogSeverityUnrecoverable = 0xFF
};
enum faultLogEventType : uint8_t {
    faultLogEventTypeNone = 0
};

/* One record of the error log.  A platform service creates it and the
 * receiver owns it: commit it, then delete it (the destructor is virtual so
 * that a service may hand out a derived record). */
class FaultLogEntry {
public:
    /* `source` names the service that failed, `status` is its own code. */
    FaultLogEntry(const char *source, int32_t status);
    virtual ~FaultLogEntry();
    FaultLogEntry(const FaultLogEntry &) = delete;
    FaultLogEntry &operator=(const FaultLogEntry &) = delete;

    /* Writes the record to the log under (component, reason).  A record may
     * be committed more than once; each commit is one log record. */
    void commit(unsigned short component, unsigned short reason, faultLogSeverity severity,
                faultLogEventType eventType);

private:
    std::string source_;
    int32_t status_;
};

/* ------------------------------------------------------------------------ */
/* Test control: not part of the platform's interface.  Lets tests read back */
/* what was committed and count records that were never destroyed.          */
/* ------------------------------------------------------------------------ */

struct FaultLogRecord {
    unsigned short component;
    unsigned short reason;
    uint8_t severity;
    uint8_t eventType;
    std::string source;
    int32_t status;
};

/* The records committed since the last clear, oldest first (the stand-in
 * keeps the newest 256). */
std::vector<FaultLogRecord> faultlog_test_records();
void faultlog_test_clear();
/* FaultLogEntry objects alive now. */
long faultlog_test_live_entries();

#endif
