/* wallclock.cpp -- the stand-in real-time clock: reads the system time as
 * UTC into the BCD record, or a fixed reading or a failure set by a test.
 * Not the certificate check that uses it.
 */
#include "platform/wallclock.h"

#include <ctime>
#include <mutex>

#include "platform/faultlog.h"

namespace {

struct ClockSetting {
    bool fixed = false;
    WclkBinTime reading = {};
    wclk_status_t failure = WCLK_STATUS_OK;
    long reads = 0;
    unsigned switches = 0;
};

std::mutex g_lock;
ClockSetting g_clock;

uint8_t to_bcd(unsigned v)
{
    return (uint8_t)(((v / 10) % 10) << 4 | (v % 10));
}

/* -1 for a byte that isn't two decimal digits */
int from_bcd(uint8_t b)
{
    unsigned hi = b >> 4, lo = b & 0x0F;
    if (hi > 9 || lo > 9)
        return -1;
    return (int)(hi * 10 + lo);
}

}  // namespace

FaultLogEntry *wclk_GetTimeOfDay(WclkBcdTime &time, wclk_status_t &status, bool useLocalCopy, bool waitForUpdate,
                                 bool adjustForZone, bool includeHundredths)
{
    WclkBinTime now = {};
    bool fixed = false;
    {
        std::lock_guard<std::mutex> hold(g_lock);
        g_clock.reads++;
        g_clock.switches = (useLocalCopy ? 1u : 0u) | (waitForUpdate ? 2u : 0u) | (adjustForZone ? 4u : 0u)
                           | (includeHundredths ? 8u : 0u);
        if (g_clock.failure != WCLK_STATUS_OK) {
            status = g_clock.failure;
            return new FaultLogEntry("wclk_GetTimeOfDay", status);
        }
        if (g_clock.fixed) {
            now = g_clock.reading;
            fixed = true;
        }
    }
    if (!fixed) {
        time_t t = ::time(nullptr);
        struct tm tm;
        if (!gmtime_r(&t, &tm)) {
            status = WCLK_STATUS_READ_FAILED;
            return new FaultLogEntry("wclk_GetTimeOfDay", status);
        }
        now.year = (uint16_t)(tm.tm_year + 1900);
        now.month = (uint8_t)(tm.tm_mon + 1);
        now.day = (uint8_t)tm.tm_mday;
        now.hour = (uint8_t)tm.tm_hour;
        now.minute = (uint8_t)tm.tm_min;
        now.second = (uint8_t)(tm.tm_sec > 59 ? 59 : tm.tm_sec);
    }
    time = WclkBcdTime{};
    time.bcd[0] = to_bcd(now.year / 100u);
    time.bcd[1] = to_bcd(now.year % 100u);
    time.bcd[2] = to_bcd(now.month);
    time.bcd[3] = to_bcd(now.day);
    time.bcd[4] = to_bcd(now.hour);
    time.bcd[5] = to_bcd(now.minute);
    time.bcd[6] = to_bcd(now.second);
    time.bcd[7] = to_bcd(now.hundredths);
    return nullptr;
}

wclk_status_t wclk_ConvertBcdToBinary(WclkBinTime &out, const WclkBcdTime &in, wclk_status_t status)
{
    int v[8];
    bool bad = false;
    for (int i = 0; i < 8; i++) {
        v[i] = from_bcd(in.bcd[i]);
        if (v[i] < 0) {
            v[i] = 0;
            bad = true;
        }
    }
    out = WclkBinTime{};
    out.year = (uint16_t)(v[0] * 100 + v[1]);
    out.month = (uint8_t)v[2];
    out.day = (uint8_t)v[3];
    out.hour = (uint8_t)v[4];
    out.minute = (uint8_t)v[5];
    out.second = (uint8_t)v[6];
    out.hundredths = (uint8_t)v[7];
    return bad ? WCLK_STATUS_BAD_BCD : status;
}

void wclk_test_set_time(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute,
                        unsigned second)
{
    std::lock_guard<std::mutex> hold(g_lock);
    g_clock.fixed = true;
    g_clock.reading = WclkBinTime{};
    g_clock.reading.year = (uint16_t)year;
    g_clock.reading.month = (uint8_t)month;
    g_clock.reading.day = (uint8_t)day;
    g_clock.reading.hour = (uint8_t)hour;
    g_clock.reading.minute = (uint8_t)minute;
    g_clock.reading.second = (uint8_t)second;
}

void wclk_test_set_failure(wclk_status_t status)
{
    std::lock_guard<std::mutex> hold(g_lock);
    g_clock.failure = status;
}

void wclk_test_reset()
{
    std::lock_guard<std::mutex> hold(g_lock);
    g_clock = ClockSetting{};
}

long wclk_test_reads()
{
    std::lock_guard<std::mutex> hold(g_lock);
    return g_clock.reads;
}

unsigned wclk_test_last_switches()
{
    std::lock_guard<std::mutex> hold(g_lock);
    return g_clock.switches;
}
