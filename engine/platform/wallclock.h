/* wallclock.h -- stand-in for the platform's real-time clock service: read
 * the clock as a BCD record, convert that record to binary fields.  Not the
 * operating-system clock (time(), which the TLS library uses), and not a
 * time-zone service: the reading is UTC as the clock holds it.
 */
#ifndef ORVSOAP_PLATFORM_WALLCLOCK_H
#define ORVSOAP_PLATFORM_WALLCLOCK_H

#include <cstdint>

class FaultLogEntry;

/* Status of a clock operation: 0 is success. */
typedef int32_t wclk_status_t;

#define WCLK_STATUS_OK           0
#define WCLK_STATUS_READ_FAILED  0x0101  /* the clock could not be read */
#define WCLK_STATUS_BAD_BCD      0x0102  /* a BCD digit out of range */

/* The clock's own reading, 12 bytes of packed BCD: century, year, month,
 * day, hour, minute, second, hundredths, then four bytes that are zero. */
struct WclkBcdTime {
    uint8_t bcd[12];
};

/* The reading as binary fields, 12 bytes. */
struct WclkBinTime {
    uint16_t year;    /* full year, such as 2014 */
    uint8_t month;    /* 1 to 12 */
    uint8_t day;      /* 1 to 31 */
    uint8_t hour;     /* 0 to 23 */
    uint8_t minute;   /* 0 to 59 */
    uint8_t second;   /* 0 to 59 */
    uint8_t hundredths;
    uint8_t rest[4];
};
static_assert(sizeof(WclkBcdTime) == 12, "the BCD record is 12 bytes");
static_assert(sizeof(WclkBinTime) == 12, "the binary record is 12 bytes");

/* Reads the real-time clock into `time`.  `status` is 0 on entry and carries
 * the failure code out.  The four switches belong to the platform service
 * (the engine passes true, false, false, false); the stand-in records them
 * for tests and otherwise ignores them.  Returns null on success; on failure
 * a new FaultLogEntry that the caller owns (commit it, then delete it). */
FaultLogEntry *wclk_GetTimeOfDay(WclkBcdTime &time, wclk_status_t &status, bool useLocalCopy, bool waitForUpdate,
                                 bool adjustForZone, bool includeHundredths);

/* Converts a BCD reading to binary fields.  Returns `status` unchanged when
 * every digit was valid, else WCLK_STATUS_BAD_BCD. */
wclk_status_t wclk_ConvertBcdToBinary(WclkBinTime &out, const WclkBcdTime &in, wclk_status_t status);

/* ------------------------------------------------------------------------ */
/* Test control: not part of the platform's interface.  By default the      */
/* clock reads the system time (UTC).                                        */
/* ------------------------------------------------------------------------ */

/* The clock reads this fixed time from now on (fields as in WclkBinTime). */
void wclk_test_set_time(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                        unsigned second);
/* The clock fails every read with `status` (non-zero), or reads again when
 * `status` is 0. */
void wclk_test_set_failure(wclk_status_t status);
/* Back to the system time, no failure, read count 0. */
void wclk_test_reset();
/* Reads of wclk_GetTimeOfDay since the last reset. */
long wclk_test_reads();
/* The four switches of the last read, as bits 0..3. */
unsigned wclk_test_last_switches();

#endif
