/* certcheck.cpp -- the certificate verification callbacks: a certificate that
 * the TLS library rejects for its dates alone is judged again against the
 * platform's real-time clock.  Not the host name check nor any other
 * certificate property: those verdicts stand as the TLS library gives them.
 */
#include <cstdio>
#include <cstring>
#include <ctime>
#include <strings.h>

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include "platform/faultlog.h"
#include "platform/wallclock.h"
#include "soapengine.h"
#include "soapinternal.h"

/* Identifies this component's clock failure in the platform error log. */
#define CERTCHECK_LOG_COMPONENT 0xE000
#define CERTCHECK_LOG_REASON    0x2000

static const char *const month_names[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/* The printed form is "Mon DD HH:MM:SS YYYY GMT".  The month goes into
 * tm_mon as 1 to 12, and the clock reading below does the same, so the three
 * times stay comparable; no zone correction is made on either side. */
time_t soap_cert_printed_time(const char *text)
{
    struct tm tm;
    char month[4] = "";
    memset(&tm, 0, sizeof(tm));
    if (sscanf(text, "%3s %2d %2d:%2d:%2d %d", month, &tm.tm_mday, &tm.tm_hour, &tm.tm_min, &tm.tm_sec,
               &tm.tm_year) < 1)
        month[0] = '\0';
    for (int i = 1; i <= 12; i++)
        if (!strcasecmp(month_names[i - 1], month))
            tm.tm_mon = i;
    tm.tm_year -= 1900;
    return mktime(&tm);
}

/* Prints an ASN.1 time through a memory BIO and reads it back. */
static time_t cert_time(const ASN1_TIME *t)
{
    char text[64];
    size_t n = 0;
    BIO *bio = BIO_new(BIO_s_mem());
    if (bio) {
        ASN1_TIME_print(bio, t);
        char *data = nullptr;
        long len = BIO_ctrl(bio, BIO_CTRL_INFO, 0, (char *)&data);
        if (data && len > 0) {
            /* the BIO's memory isn't terminated */
            n = (size_t)len < sizeof(text) - 1 ? (size_t)len : sizeof(text) - 1;
            memcpy(text, data, n);
        }
        BIO_free(bio);
    }
    text[n] = '\0';
    return soap_cert_printed_time(text);
}

int ssl_verify_callback(int ok, X509_STORE_CTX *store)
{
    int err = X509_STORE_CTX_get_error(store);
    if (err != X509_V_ERR_CERT_HAS_EXPIRED && err != X509_V_ERR_CERT_NOT_YET_VALID)
        return ok;
    X509 *cert = X509_STORE_CTX_get_current_cert(store);
    if (!cert)
        return ok;
    const ASN1_TIME *before = X509_get0_notBefore(cert);
    const ASN1_TIME *after = X509_get0_notAfter(cert);
    if (!before || !after || !ASN1_TIME_check(before) || !ASN1_TIME_check(after))
        return ok;
    time_t not_before = cert_time(before);
    time_t not_after = cert_time(after);

    WclkBcdTime bcd;
    wclk_status_t status = 0;
    FaultLogEntry *entry = wclk_GetTimeOfDay(bcd, status, true, false, false, false);
    if (entry) {
        entry->commit(CERTCHECK_LOG_COMPONENT, CERTCHECK_LOG_REASON, (faultLogSeverity)0xFF, (faultLogEventType)0);
        delete entry;
        return ok;
    }
    WclkBinTime bin;
    struct tm tm;
    memset(&tm, 0, sizeof(tm));
    (void)wclk_ConvertBcdToBinary(bin, bcd, 0);
    tm.tm_year = bin.year - 1900;
    tm.tm_mon = bin.month;
    tm.tm_mday = bin.day;
    tm.tm_hour = bin.hour;
    tm.tm_min = bin.minute;
    tm.tm_sec = bin.second;
    time_t now = mktime(&tm);

    /* strictly inside: a reading on a bound doesn't pass */
    if (!(difftime(now, not_before) > 0.0))
        return ok;
    if (!(difftime(not_after, now) > 0.0))
        return ok;
    X509_STORE_CTX_set_error(store, X509_V_OK);
    return 1;
}

int ssl_verify_callback_allow_expired(int ok, X509_STORE_CTX *store)
{
    int r = ssl_verify_callback(ok, store);
    if (r)
        return r;
    if (X509_STORE_CTX_get_error(store) != X509_V_ERR_CERT_HAS_EXPIRED)
        return r;
    fputs("ignoring certificate expiration\n", stderr);
    X509_STORE_CTX_set_error(store, X509_V_OK);
    return 1;
}
