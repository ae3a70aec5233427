/* certcheck_test.cpp -- the certificate date callbacks against the platform
 * real-time clock: which verdicts they overrule, the strict bounds, the
 * failing clock and its error log record, the allow-expired variant, and the
 * platform stand-ins themselves.
 */
#include <gtest/gtest.h>

#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <cstring>
#include <ctime>
#include <string>

#include "platform/faultlog.h"
#include "platform/wallclock.h"
#include "soapengine.h"
#include "soapinternal.h"
#include "tls_server_fixture.h"

namespace {

/* The store as the TLS library hands it to the callback: handling `cert`
 * with the verdict error `err`. */
class Store {
public:
    Store(X509 *cert, int err)
    {
        store_ = X509_STORE_new();
        ctx_ = X509_STORE_CTX_new();
        X509_STORE_CTX_init(ctx_, store_, cert, nullptr);
        X509_STORE_CTX_set_current_cert(ctx_, cert);
        X509_STORE_CTX_set_error(ctx_, err);
    }
    ~Store()
    {
        X509_STORE_CTX_free(ctx_);
        X509_STORE_free(store_);
    }
    X509_STORE_CTX *get() { return ctx_; }
    int error() { return X509_STORE_CTX_get_error(ctx_); }

private:
    X509_STORE *store_;
    X509_STORE_CTX *ctx_;
};

class CertClock : public ::testing::Test {
protected:
    void SetUp() override
    {
        wclk_test_reset();
        faultlog_test_clear();
        CertTemplate tpl;
        tpl.cns = {"dated.test"};
        tpl.not_before = utc_time(2001, 3, 10, 12, 0, 0);
        tpl.not_after = utc_time(2002, 3, 10, 12, 0, 0);
        cert_ = TestPki::get().make(tpl).release();
    }
    void TearDown() override
    {
        X509_free(cert_);
        wclk_test_reset();
        faultlog_test_clear();
    }
    /* The callback's verdict for error `err` and library verdict `ok`, with
     * the store's error afterwards in `after`. */
    int judge(int err, int ok = 0, int (*cb)(int, X509_STORE_CTX *) = ssl_verify_callback, int *after = nullptr)
    {
        Store store(cert_, err);
        int r = cb(ok, store.get());
        if (after)
            *after = store.error();
        return r;
    }
    X509 *cert_ = nullptr;
};

/* ------------------------------------------------------------------------ */

using CertClockVerdict = CertClock;

TEST_F(CertClockVerdict, ExpiredCertificatePassesWhenTheClockIsInside)
{
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 0, ssl_verify_callback, &after), 1);
    EXPECT_EQ(after, X509_V_OK);
    EXPECT_EQ(wclk_test_reads(), 1);
}

TEST_F(CertClockVerdict, NotYetValidCertificatePassesWhenTheClockIsInside)
{
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_CERT_NOT_YET_VALID, 0, ssl_verify_callback, &after), 1);
    EXPECT_EQ(after, X509_V_OK);
}

TEST_F(CertClockVerdict, ClockOnNotAfterToTheSecondDoesNotPass)
{
    wclk_test_set_time(2002, 3, 10, 12, 0, 0);
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 0, ssl_verify_callback, &after), 0);
    EXPECT_EQ(after, X509_V_ERR_CERT_HAS_EXPIRED);
}

TEST_F(CertClockVerdict, ClockOnNotBeforeToTheSecondDoesNotPass)
{
    wclk_test_set_time(2001, 3, 10, 12, 0, 0);
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_CERT_NOT_YET_VALID, 0, ssl_verify_callback, &after), 0);
    EXPECT_EQ(after, X509_V_ERR_CERT_NOT_YET_VALID);
}

TEST_F(CertClockVerdict, OneSecondInsideEitherBoundPasses)
{
    wclk_test_set_time(2001, 3, 10, 12, 0, 1);
    EXPECT_EQ(judge(X509_V_ERR_CERT_NOT_YET_VALID), 1);
    wclk_test_set_time(2002, 3, 10, 11, 59, 59);
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED), 1);
}

TEST_F(CertClockVerdict, ClockOutsideThePeriodLeavesTheVerdict)
{
    wclk_test_set_time(2003, 1, 1, 0, 0, 0);
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED), 0);
    wclk_test_set_time(2000, 1, 1, 0, 0, 0);
    EXPECT_EQ(judge(X509_V_ERR_CERT_NOT_YET_VALID), 0);
    /* the library's verdict is returned as it came, also a pass */
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 1), 1);
}

TEST_F(CertClockVerdict, BothDateErrorsTakeTheSamePath)
{
    /* an expired verdict with a clock before the period is judged by the
     * period alone, as a not-yet-valid one would be */
    wclk_test_set_time(2001, 12, 1, 0, 0, 0);
    EXPECT_EQ(judge(X509_V_ERR_CERT_NOT_YET_VALID), 1);
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED), 1);
}

TEST_F(CertClockVerdict, OtherErrorsStandWithoutReadingTheClock)
{
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, 0, ssl_verify_callback, &after), 0);
    EXPECT_EQ(after, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY);
    EXPECT_EQ(judge(X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, 0), 0);
    EXPECT_EQ(judge(X509_V_OK, 1), 1);
    EXPECT_EQ(wclk_test_reads(), 0);
}

TEST_F(CertClockVerdict, NoCurrentCertificateLeavesTheVerdict)
{
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    X509_STORE *store = X509_STORE_new();
    X509_STORE_CTX *ctx = X509_STORE_CTX_new();
    X509_STORE_CTX_init(ctx, store, nullptr, nullptr);
    X509_STORE_CTX_set_error(ctx, X509_V_ERR_CERT_HAS_EXPIRED);
    EXPECT_EQ(ssl_verify_callback(0, ctx), 0);
    X509_STORE_CTX_free(ctx);
    X509_STORE_free(store);
    EXPECT_EQ(wclk_test_reads(), 0);
}

TEST_F(CertClockVerdict, UnparsableValidityTimeLeavesVerdictAndClockAlone)
{
    X509 *bad = X509_dup(cert_);
    ASN1_TIME *t = X509_getm_notAfter(bad);
    ASN1_STRING_set(t, "20xx0101000000Z", -1);
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    Store store(bad, X509_V_ERR_CERT_HAS_EXPIRED);
    EXPECT_EQ(ssl_verify_callback(0, store.get()), 0);
    EXPECT_EQ(store.error(), X509_V_ERR_CERT_HAS_EXPIRED);
    X509_free(bad);
    EXPECT_EQ(wclk_test_reads(), 0);
    EXPECT_TRUE(faultlog_test_records().empty());
}

TEST_F(CertClockVerdict, ClockIsAskedWithTheFirstSwitchOnly)
{
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    judge(X509_V_ERR_CERT_HAS_EXPIRED);
    EXPECT_EQ(wclk_test_last_switches(), 1u);
}

/* ------------------------------------------------------------------------ */

using CertClockFailure = CertClock;

TEST_F(CertClockFailure, FailedReadCommitsOneRecordAndKeepsTheRejection)
{
    wclk_test_set_failure(WCLK_STATUS_READ_FAILED);
    testing::internal::CaptureStderr();
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 0, ssl_verify_callback, &after), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(after, X509_V_ERR_CERT_HAS_EXPIRED);
    auto records = faultlog_test_records();
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].component, 0xE000);
    EXPECT_EQ(records[0].reason, 0x2000);
    EXPECT_EQ(records[0].severity, 0xFF);
    EXPECT_EQ(records[0].eventType, 0);
    EXPECT_EQ(records[0].status, WCLK_STATUS_READ_FAILED);
    /* the record was destroyed after its commit */
    EXPECT_EQ(faultlog_test_live_entries(), 0);
}

TEST_F(CertClockFailure, EveryCertificateThatGetsThatFarCommitsItsOwnRecord)
{
    wclk_test_set_failure(WCLK_STATUS_READ_FAILED);
    judge(X509_V_ERR_CERT_HAS_EXPIRED);
    judge(X509_V_ERR_CERT_NOT_YET_VALID);
    judge(X509_V_ERR_CERT_SIGNATURE_FAILURE);  /* never reaches the clock */
    EXPECT_EQ(faultlog_test_records().size(), 2u);
    EXPECT_EQ(faultlog_test_live_entries(), 0);
}

TEST_F(CertClockFailure, ClockThatReadsAgainAfterAFailureIsTrustedAgain)
{
    wclk_test_set_failure(WCLK_STATUS_READ_FAILED);
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED), 0);
    wclk_test_set_failure(WCLK_STATUS_OK);
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED), 1);
    EXPECT_EQ(faultlog_test_records().size(), 1u);
}

/* ------------------------------------------------------------------------ */

using CertAllowExpired = CertClock;

TEST_F(CertAllowExpired, ExpiryByBothClocksIsForgivenWithANote)
{
    wclk_test_set_time(2005, 1, 1, 0, 0, 0);
    testing::internal::CaptureStderr();
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 0, ssl_verify_callback_allow_expired, &after), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ignoring certificate expiration\n");
    EXPECT_EQ(after, X509_V_OK);
}

TEST_F(CertAllowExpired, PlainCallbackRejectsTheSameSilently)
{
    wclk_test_set_time(2005, 1, 1, 0, 0, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 0, ssl_verify_callback), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(CertAllowExpired, NotYetValidStaysRejected)
{
    wclk_test_set_time(2000, 1, 1, 0, 0, 0);
    testing::internal::CaptureStderr();
    int after = -1;
    EXPECT_EQ(judge(X509_V_ERR_CERT_NOT_YET_VALID, 0, ssl_verify_callback_allow_expired, &after), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(after, X509_V_ERR_CERT_NOT_YET_VALID);
}

TEST_F(CertAllowExpired, ClockInsideNeedsNoForgiveness)
{
    wclk_test_set_time(2001, 6, 15, 8, 30, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 0, ssl_verify_callback_allow_expired), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(CertAllowExpired, FailingClockIsLoggedAndExpiryStillForgiven)
{
    wclk_test_set_failure(WCLK_STATUS_READ_FAILED);
    testing::internal::CaptureStderr();
    EXPECT_EQ(judge(X509_V_ERR_CERT_HAS_EXPIRED, 0, ssl_verify_callback_allow_expired), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ignoring certificate expiration\n");
    EXPECT_EQ(faultlog_test_records().size(), 1u);
}

TEST_F(CertAllowExpired, OtherErrorsStand)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(judge(X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, 0, ssl_verify_callback_allow_expired), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

/* ------------------------------------------------------------------------ */

static time_t local_time(int year, int mon, int mday, int hour, int min, int sec)
{
    struct tm tm;
    memset(&tm, 0, sizeof(tm));
    tm.tm_year = year - 1900;
    tm.tm_mon = mon;
    tm.tm_mday = mday;
    tm.tm_hour = hour;
    tm.tm_min = min;
    tm.tm_sec = sec;
    return mktime(&tm);
}

TEST(CertPrintedTime, MonthNameMatchesInAnyLetterCase)
{
    time_t a = soap_cert_printed_time("Jun 15 08:30:00 2001 GMT");
    EXPECT_EQ(soap_cert_printed_time("jun 15 08:30:00 2001 GMT"), a);
    EXPECT_EQ(soap_cert_printed_time("JUN 15 08:30:00 2001 GMT"), a);
}

TEST(CertPrintedTime, MonthsCountFromOneAsTheClockReadingDoes)
{
    /* January goes into tm_mon as 1: the same shift the clock reading gets */
    EXPECT_EQ(soap_cert_printed_time("Jan  2 03:04:05 2024 GMT"), local_time(2024, 1, 2, 3, 4, 5));
    EXPECT_EQ(soap_cert_printed_time("Dec 31 23:59:59 2049 GMT"), local_time(2049, 12, 31, 23, 59, 59));
}

TEST(CertPrintedTime, GeneralizedTimesBeyond2049AreRead)
{
    EXPECT_EQ(soap_cert_printed_time("Mar  1 00:00:00 2090 GMT"), local_time(2090, 3, 1, 0, 0, 0));
}

/* ------------------------------------------------------------------------ */

TEST(PlatformClock, DefaultClockReadsTheSystemTimeAsUtc)
{
    wclk_test_reset();
    WclkBcdTime bcd;
    wclk_status_t status = 0;
    time_t before = time(nullptr);
    FaultLogEntry *e = wclk_GetTimeOfDay(bcd, status, true, false, false, false);
    time_t after = time(nullptr);
    ASSERT_EQ(e, nullptr);
    EXPECT_EQ(status, 0);
    WclkBinTime bin;
    EXPECT_EQ(wclk_ConvertBcdToBinary(bin, bcd, 0), 0);
    time_t read = utc_time(bin.year, bin.month, bin.day, bin.hour, bin.minute, bin.second);
    EXPECT_GE(read, before - 1);
    EXPECT_LE(read, after + 1);
}

TEST(PlatformClock, SetReadingRoundTripsThroughBcd)
{
    wclk_test_set_time(2038, 1, 19, 3, 14, 8);
    WclkBcdTime bcd;
    wclk_status_t status = 0;
    ASSERT_EQ(wclk_GetTimeOfDay(bcd, status, true, false, false, false), nullptr);
    EXPECT_EQ(bcd.bcd[0], 0x20);
    EXPECT_EQ(bcd.bcd[1], 0x38);
    EXPECT_EQ(bcd.bcd[2], 0x01);
    EXPECT_EQ(bcd.bcd[3], 0x19);
    EXPECT_EQ(bcd.bcd[6], 0x08);
    WclkBinTime bin;
    wclk_ConvertBcdToBinary(bin, bcd, 0);
    EXPECT_EQ(bin.year, 2038);
    EXPECT_EQ(bin.month, 1);
    EXPECT_EQ(bin.day, 19);
    EXPECT_EQ(bin.hour, 3);
    EXPECT_EQ(bin.minute, 14);
    EXPECT_EQ(bin.second, 8);
    wclk_test_reset();
}

TEST(PlatformClock, BadBcdDigitIsReported)
{
    WclkBcdTime bcd = {};
    bcd.bcd[0] = 0x20;
    bcd.bcd[2] = 0x1A;
    WclkBinTime bin;
    EXPECT_EQ(wclk_ConvertBcdToBinary(bin, bcd, 0), WCLK_STATUS_BAD_BCD);
}

TEST(PlatformClock, FailureHandsOutARecordTheCallerOwns)
{
    wclk_test_reset();
    faultlog_test_clear();
    wclk_test_set_failure(WCLK_STATUS_READ_FAILED);
    WclkBcdTime bcd;
    wclk_status_t status = 0;
    FaultLogEntry *e = wclk_GetTimeOfDay(bcd, status, true, false, false, false);
    ASSERT_NE(e, nullptr);
    EXPECT_EQ(status, WCLK_STATUS_READ_FAILED);
    EXPECT_EQ(faultlog_test_live_entries(), 1);
    EXPECT_TRUE(faultlog_test_records().empty());  /* nothing until committed */
    e->commit(1, 2, faultLogSeverityUnrecoverable, faultLogEventTypeNone);
    delete e;
    EXPECT_EQ(faultlog_test_live_entries(), 0);
    ASSERT_EQ(faultlog_test_records().size(), 1u);
    EXPECT_EQ(faultlog_test_records()[0].source, "wclk_GetTimeOfDay");
    wclk_test_reset();
    faultlog_test_clear();
}

}  // namespace
