/* values_test.cpp -- the simple type conversions at their boundaries:
 * integer ranges, floating point specials and locale, dateTime forms and
 * zones, base64 and hex, strings, code tables, and the element readers and
 * writers built on them.
 */
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include "memio.h"
#include "soapengine.h"

namespace {

class Values : public ::testing::Test {
protected:
    struct soap *soap = nullptr;
    MemIO io;

    void SetUp() override
    {
        soap = new struct soap();
        soap_set_logfile(soap, SOAP_IDX_SENT, nullptr);
        soap_set_logfile(soap, SOAP_IDX_RECV, nullptr);
        io.attach(soap);
        soap->mode = SOAP_IO_BUFFER;
        soap->ns = 1;
        soap->level = 0;
    }
    void TearDown() override { delete soap; }

    std::string out()
    {
        soap_flush(soap);
        std::string s = io.out;
        io.out.clear();
        return s;
    }
};

/* ---- integers ----------------------------------------------------------- */

TEST_F(Values, ByteRangeIsMinus128To127AndValueIsStoredAnyway)
{
    char c = 0;
    EXPECT_EQ(SOAP_OK, soap_s2byte(soap, "127", &c));
    EXPECT_EQ(127, c);
    EXPECT_EQ(SOAP_OK, soap_s2byte(soap, "-128", &c));
    EXPECT_EQ(-128, c);
    EXPECT_EQ(SOAP_TYPE, soap_s2byte(soap, "128", &c));
    EXPECT_EQ(SOAP_TYPE, soap->error);
    EXPECT_EQ((char)128, c);
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2byte(soap, "-129", &c));
}

TEST_F(Values, ShortRangeAndStoredValue)
{
    short s = 0;
    EXPECT_EQ(SOAP_OK, soap_s2short(soap, "32767", &s));
    EXPECT_EQ(32767, s);
    EXPECT_EQ(SOAP_OK, soap_s2short(soap, "-32768", &s));
    EXPECT_EQ(SOAP_TYPE, soap_s2short(soap, "32768", &s));
    EXPECT_EQ((short)32768, s);
}

TEST_F(Values, IntRejectsEmptyTrailingAndOverflow)
{
    int i = 7;
    EXPECT_EQ(SOAP_TYPE, soap_s2int(soap, "", &i));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2int(soap, "12a", &i));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2int(soap, "2147483648", &i));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2int(soap, "abc", &i));
    soap->error = 0;
    EXPECT_EQ(SOAP_OK, soap_s2int(soap, "2147483647", &i));
    EXPECT_EQ(2147483647, i);
    EXPECT_EQ(SOAP_OK, soap_s2int(soap, "-2147483648", &i));
    EXPECT_EQ(INT32_MIN, i);
    EXPECT_EQ(SOAP_OK, soap_s2int(soap, "  +42", &i));
    EXPECT_EQ(42, i);
}

TEST_F(Values, NullTextLeavesValueAndReturnsError)
{
    int i = 7;
    EXPECT_EQ(SOAP_OK, soap_s2int(soap, nullptr, &i));
    EXPECT_EQ(7, i);
    soap->error = SOAP_LENGTH;
    EXPECT_EQ(SOAP_LENGTH, soap_s2int(soap, nullptr, &i));
    double d = 1.25;
    EXPECT_EQ(SOAP_LENGTH, soap_s2double(soap, nullptr, &d));
    EXPECT_EQ(1.25, d);
}

TEST_F(Values, LongIsThirtyTwoBits)
{
    long l = 0;
    EXPECT_EQ(SOAP_OK, soap_s2long(soap, "-2147483648", &l));
    EXPECT_EQ(-2147483648L, l);
    EXPECT_EQ(SOAP_TYPE, soap_s2long(soap, "2147483648", &l));
}

TEST_F(Values, Long64Limits)
{
    LONG64 v = 0;
    EXPECT_EQ(SOAP_OK, soap_s2LONG64(soap, "9223372036854775807", &v));
    EXPECT_EQ(INT64_MAX, v);
    EXPECT_EQ(SOAP_OK, soap_s2LONG64(soap, "-9223372036854775808", &v));
    EXPECT_EQ(INT64_MIN, v);
    EXPECT_EQ(SOAP_TYPE, soap_s2LONG64(soap, "9223372036854775808", &v));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2LONG64(soap, "", &v));
}

TEST_F(Values, UnsignedByteRejectsNegativeAndAbove255)
{
    unsigned char c = 0;
    EXPECT_EQ(SOAP_OK, soap_s2unsignedByte(soap, "255", &c));
    EXPECT_EQ(255, c);
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedByte(soap, "-1", &c));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedByte(soap, "256", &c));
    EXPECT_EQ((unsigned char)256, c);
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedByte(soap, "", &c));
}

TEST_F(Values, UnsignedShortRange)
{
    unsigned short s = 0;
    EXPECT_EQ(SOAP_OK, soap_s2unsignedShort(soap, "65535", &s));
    EXPECT_EQ(65535, s);
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedShort(soap, "65536", &s));
}

TEST_F(Values, UnsignedIntEmptyIsZeroUnlessStrict)
{
    unsigned int u = 9;
    EXPECT_EQ(SOAP_OK, soap_s2unsignedInt(soap, "", &u));
    EXPECT_EQ(0u, u);
    soap->mode |= SOAP_XML_STRICT;
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedInt(soap, "", &u));
}

TEST_F(Values, UnsignedIntLimitsAndTrailingText)
{
    unsigned int u = 0;
    EXPECT_EQ(SOAP_OK, soap_s2unsignedInt(soap, "4294967295", &u));
    EXPECT_EQ(4294967295u, u);
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedInt(soap, "4294967296", &u));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedInt(soap, "1 ", &u));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedInt(soap, "-1", &u));
    soap->error = 0;
    unsigned long ul = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2unsignedLong(soap, "4294967296", &ul));
}

TEST_F(Values, ULong64Limits)
{
    ULONG64 v = 1;
    EXPECT_EQ(SOAP_OK, soap_s2ULONG64(soap, "18446744073709551615", &v));
    EXPECT_EQ(UINT64_MAX, v);
    EXPECT_EQ(SOAP_TYPE, soap_s2ULONG64(soap, "18446744073709551616", &v));
    soap->error = 0;
    EXPECT_EQ(SOAP_OK, soap_s2ULONG64(soap, "", &v));
    EXPECT_EQ(0u, v);
}

TEST_F(Values, IntegerTexts)
{
    EXPECT_STREQ("-128", soap_byte2s(soap, -128));
    EXPECT_STREQ("-32768", soap_short2s(soap, -32768));
    EXPECT_STREQ("-2147483648", soap_int2s(soap, INT32_MIN));
    EXPECT_STREQ("255", soap_unsignedByte2s(soap, 255));
    EXPECT_STREQ("4294967295", soap_unsignedInt2s(soap, 4294967295u));
    EXPECT_STREQ("-9223372036854775808", soap_LONG642s(soap, INT64_MIN));
    EXPECT_STREQ("18446744073709551615", soap_ULONG642s(soap, UINT64_MAX));
}

TEST_F(Values, TextLivesInScratchUntilNextConversion)
{
    const char *a = soap_int2s(soap, 1);
    const char *b = soap_int2s(soap, 2);
    EXPECT_EQ(a, b);
    EXPECT_EQ(soap->tmpbuf, a);
    EXPECT_STREQ("2", a);
}

/* ---- floating point ----------------------------------------------------- */

TEST_F(Values, InfinityInAnyCaseAndSign)
{
    double d = 0;
    for (const char *s : {"INF", "inf", "+Inf", "+INF"}) {
        d = 0;
        EXPECT_EQ(SOAP_OK, soap_s2double(soap, s, &d)) << s;
        EXPECT_TRUE(std::isinf(d) && d > 0) << s;
    }
    EXPECT_EQ(SOAP_OK, soap_s2double(soap, "-INF", &d));
    EXPECT_TRUE(std::isinf(d) && d < 0);
    float f = 0;
    EXPECT_EQ(SOAP_OK, soap_s2float(soap, "inf", &f));
    EXPECT_TRUE(std::isinf(f) && f > 0);
    EXPECT_EQ(SOAP_OK, soap_s2float(soap, "-INF", &f));
    EXPECT_TRUE(std::isinf(f) && f < 0);
}

TEST_F(Values, NaNHasAllBitsSetAndRoundTrips)
{
    double d = 0;
    EXPECT_EQ(SOAP_OK, soap_s2double(soap, "NaN", &d));
    uint64_t bits;
    memcpy(&bits, &d, sizeof(bits));
    EXPECT_EQ(UINT64_MAX, bits);
    EXPECT_STREQ("NaN", soap_double2s(soap, d));
    float f = 0;
    EXPECT_EQ(SOAP_OK, soap_s2float(soap, "nan", &f));
    uint32_t fbits;
    memcpy(&fbits, &f, sizeof(fbits));
    EXPECT_EQ(UINT32_MAX, fbits);
    EXPECT_STREQ("NaN", soap_float2s(soap, f));
}

TEST_F(Values, FloatTextsAndSpecials)
{
    EXPECT_STREQ("1.5", soap_double2s(soap, 1.5));
    EXPECT_STREQ("0.10000000000000001", soap_double2s(soap, 0.1));
    EXPECT_STREQ("INF", soap_double2s(soap, HUGE_VAL));
    EXPECT_STREQ("-INF", soap_double2s(soap, -HUGE_VAL));
    EXPECT_STREQ("1.5", soap_float2s(soap, 1.5f));
    EXPECT_STREQ("0.100000001", soap_float2s(soap, 0.1f));
    EXPECT_STREQ("-INF", soap_float2s(soap, -HUGE_VALF));
}

TEST_F(Values, DoubleParsing)
{
    double d = 0;
    EXPECT_EQ(SOAP_OK, soap_s2double(soap, "1.5", &d));
    EXPECT_EQ(1.5, d);
    EXPECT_EQ(SOAP_OK, soap_s2double(soap, "-2.5E3", &d));
    EXPECT_EQ(-2500.0, d);
    EXPECT_EQ(SOAP_TYPE, soap_s2double(soap, "", &d));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2double(soap, "abc", &d));
    soap->error = 0;
    float f = 0;
    EXPECT_EQ(SOAP_OK, soap_s2float(soap, "0.25", &f));
    EXPECT_EQ(0.25f, f);
    EXPECT_EQ(SOAP_TYPE, soap_s2float(soap, "", &f));
}

TEST_F(Values, DoubleTextRoundTripsExactly)
{
    const double values[] = {0.1, 1.0 / 3, 6.02214076e23, -4.9e-324, 1e308};
    for (double v : values) {
        double back = 0;
        std::string t = soap_double2s(soap, v);
        EXPECT_EQ(SOAP_OK, soap_s2double(soap, t.c_str(), &back)) << t;
        EXPECT_EQ(v, back) << t;
    }
}

TEST_F(Values, DecimalCommaLocaleStillWritesAndReadsAPoint)
{
    std::string saved = setlocale(LC_NUMERIC, nullptr);
    const char *names[] = {"de_DE.UTF-8", "de_DE.utf8", "de_DE", "fr_FR.UTF-8", "fr_FR.utf8", "nl_NL.UTF-8",
                           "ru_RU.UTF-8"};
    bool found = false;
    for (const char *n : names) {
        if (setlocale(LC_NUMERIC, n) && !strcmp(localeconv()->decimal_point, ",")) {
            found = true;
            break;
        }
    }
    if (!found) {
        setlocale(LC_NUMERIC, saved.c_str());
        GTEST_SKIP() << "no locale with a decimal comma installed";
    }
    std::string d = soap_double2s(soap, 1.5);
    std::string f = soap_float2s(soap, 1.5f);
    double back = 0;
    int r = soap_s2double(soap, "1.5", &back);
    float fback = 0;
    int rf = soap_s2float(soap, "2.25", &fback);
    setlocale(LC_NUMERIC, saved.c_str());
    EXPECT_EQ("1.5", d);
    EXPECT_EQ("1.5", f);
    EXPECT_EQ(SOAP_OK, r);
    EXPECT_EQ(1.5, back);
    EXPECT_EQ(SOAP_OK, rf);
    EXPECT_EQ(2.25f, fback);
}

/* ---- dateTime ----------------------------------------------------------- */

const time_t T20100102 = 1262401445; /* 2010-01-02T03:04:05Z */

TEST_F(Values, DateTimeFormsOfTheSameInstant)
{
    for (const char *s : {"2010-01-02T03:04:05Z", "2010-01-02T03:04:05.123Z", "2010-01-02T04:04:05+01:00",
                          "20100102T030405Z", "20100102T03:04:05Z", "2010-01-01T22:34:05-04:30"}) {
        time_t t = 0;
        EXPECT_EQ(SOAP_OK, soap_s2dateTime(soap, s, &t)) << s;
        EXPECT_EQ(T20100102, t) << s;
    }
}

TEST_F(Values, DateTimeZoneWithoutColonIsHoursAndMinutes)
{
    time_t t = 0;
    EXPECT_EQ(SOAP_OK, soap_s2dateTime(soap, "2010-01-02T03:04:05-0130", &t));
    EXPECT_EQ(T20100102 + 90 * 60, t);
    EXPECT_EQ(SOAP_OK, soap_s2dateTime(soap, "2010-01-02T03:04:05+0530", &t));
    EXPECT_EQ(T20100102 - 330 * 60, t);
}

TEST_F(Values, DateTimeZoneCarriesIntoThePreviousDay)
{
    time_t t = 0;
    EXPECT_EQ(SOAP_OK, soap_s2dateTime(soap, "2010-01-01T00:10:00+01:00", &t));
    EXPECT_EQ(1262304000 - 50 * 60, t);
}

TEST_F(Values, DateTimeWithoutZoneIsLocalTime)
{
    const char *old = getenv("TZ");
    std::string saved = old ? old : "";
    setenv("TZ", "EST5", 1);
    tzset();
    time_t t = 0;
    int r = soap_s2dateTime(soap, "2010-01-02T03:04:05", &t);
    if (old)
        setenv("TZ", saved.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
    EXPECT_EQ(SOAP_OK, r);
    EXPECT_EQ(T20100102 + 5 * 3600, t);
}

TEST_F(Values, DateTimeYearOneIsTakenAs1970)
{
    time_t t = 1;
    EXPECT_EQ(SOAP_OK, soap_s2dateTime(soap, "0001-01-01T00:00:00Z", &t));
    EXPECT_EQ(0, t);
}

TEST_F(Values, DateTimeWithFewerThanSixNumbersFails)
{
    time_t t = 5;
    EXPECT_EQ(SOAP_TYPE, soap_s2dateTime(soap, "2010-01-02", &t));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2dateTime(soap, "", &t));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2dateTime(soap, "yesterday", &t));
    soap->error = 0;
    EXPECT_EQ(SOAP_TYPE, soap_s2dateTime(soap, "99999999999-01-01T00:00:00Z", &t));
    EXPECT_EQ(5, t);
}

TEST_F(Values, DateTimeText)
{
    EXPECT_STREQ("2010-01-02T03:04:05Z", soap_dateTime2s(soap, T20100102));
    EXPECT_STREQ("1970-01-01T00:00:00Z", soap_dateTime2s(soap, 0));
}

TEST_F(Values, UnbreakableTimePrintsTheSecondBefore1970)
{
    EXPECT_STREQ("1969-12-31T23:59:59Z", soap_dateTime2s(soap, (time_t)INT64_MAX));
}

/* ---- base64 and hex ----------------------------------------------------- */

TEST_F(Values, Base64OfShortInputs)
{
    EXPECT_STREQ("YQ==", soap_s2base64(soap, (const unsigned char *)"a", nullptr, 1));
    EXPECT_STREQ("YWI=", soap_s2base64(soap, (const unsigned char *)"ab", nullptr, 2));
    EXPECT_STREQ("YWJj", soap_s2base64(soap, (const unsigned char *)"abc", nullptr, 3));
    EXPECT_STREQ("", soap_s2base64(soap, (const unsigned char *)"abc", nullptr, 0));
    EXPECT_STREQ("", soap_s2base64(soap, nullptr, nullptr, 3));
    char buf[5];
    EXPECT_EQ(buf, soap_s2base64(soap, (const unsigned char *)"abc", buf, 3));
    EXPECT_STREQ("YWJj", buf);
}

TEST_F(Values, Base64DecodesWithAndWithoutPadding)
{
    int n = -1;
    const char *r = soap_base642s(soap, "YQ==", nullptr, 0, &n);
    ASSERT_NE(nullptr, r);
    EXPECT_EQ(1, n);
    EXPECT_EQ('a', r[0]);
    r = soap_base642s(soap, "YWI", nullptr, 0, &n);
    EXPECT_EQ(2, n);
    EXPECT_EQ(0, memcmp(r, "ab", 2));
    r = soap_base642s(soap, "YWJj", nullptr, 0, &n);
    EXPECT_EQ(3, n);
    EXPECT_STREQ("abc", r);
}

TEST_F(Values, Base64SkipsBlanks)
{
    int n = 0;
    const char *r = soap_base642s(soap, " Y W\n\tJ j\r\n", nullptr, 0, &n);
    EXPECT_EQ(3, n);
    EXPECT_STREQ("abc", r);
}

TEST_F(Values, Base64CharacterOutsideAlphabetFails)
{
    int n = 0;
    EXPECT_EQ(nullptr, soap_base642s(soap, "YQ*=", nullptr, 0, &n));
    EXPECT_EQ(SOAP_TYPE, soap->error);
    for (const char *bad : {"YQ.=", "{Q==", "Y\x80Q=", "Y;Q="}) {
        soap->error = 0;
        EXPECT_EQ(nullptr, soap_base642s(soap, bad, nullptr, 0, &n)) << bad;
        EXPECT_EQ(SOAP_TYPE, soap->error);
    }
}

TEST_F(Values, Base64LengthPast256Groups)
{
    std::string s;
    for (int i = 0; i < 257; i++)
        s += "QUJD";
    int n = 0;
    const char *r = soap_base642s(soap, s.c_str(), nullptr, 0, &n);
    ASSERT_NE(nullptr, r);
    EXPECT_EQ(771, n);
    EXPECT_EQ(0, memcmp(r + 768, "ABC", 3));
}

TEST_F(Values, Base64CapacityEndsTheReading)
{
    char buf[8];
    memset(buf, 'x', sizeof(buf));
    int n = 0;
    EXPECT_EQ(buf, soap_base642s(soap, "YWJjZGVm", buf, 2, &n));
    EXPECT_EQ(2, n);
    EXPECT_EQ(0, memcmp(buf, "abx", 3));  /* no room for a terminator */
    EXPECT_EQ(buf, soap_base642s(soap, "YWJj", buf, 4, &n));
    EXPECT_EQ(3, n);
    EXPECT_STREQ("abc", buf);
}

TEST_F(Values, Base64EmptyOrNullInput)
{
    int n = 5;
    const char *r = soap_base642s(soap, "", nullptr, 0, &n);
    ASSERT_NE(nullptr, r);
    EXPECT_STREQ("", r);
    EXPECT_EQ(0, n);
    n = 5;
    EXPECT_NE(nullptr, soap_base642s(soap, nullptr, nullptr, 0, &n));
    EXPECT_EQ(0, n);
    soap->error = SOAP_TYPE;
    EXPECT_EQ(nullptr, soap_base642s(soap, nullptr, nullptr, 0, &n));
}

TEST_F(Values, Base64RoundTripOfAllByteValues)
{
    unsigned char data[256];
    for (int i = 0; i < 256; i++)
        data[i] = (unsigned char)i;
    for (int len : {0, 1, 2, 3, 254, 255, 256}) {
        char *t = soap_s2base64(soap, data, nullptr, len);
        int n = -1;
        const char *r = soap_base642s(soap, t, nullptr, 0, &n);
        ASSERT_NE(nullptr, r);
        EXPECT_EQ(len, n);
        EXPECT_EQ(0, memcmp(r, data, len));
    }
}

TEST_F(Values, HexIsLowerCaseHereAndUpperCaseInTheWriter)
{
    const unsigned char ab = 0xAB;
    EXPECT_STREQ("ab", soap_s2hex(soap, &ab, nullptr, 1));
    EXPECT_EQ(SOAP_OK, soap_puthex(soap, &ab, 1));
    EXPECT_EQ("AB", out());
    const unsigned char b4[] = {0x00, 0x0F, 0xF0, 0xFF};
    EXPECT_STREQ("000ff0ff", soap_s2hex(soap, b4, nullptr, 4));
}

TEST_F(Values, HexDecodesPairsAndDropsAnOddDigit)
{
    int n = 0;
    const char *r = soap_hex2s(soap, "aBcD", nullptr, 0, &n);
    EXPECT_EQ(2, n);
    EXPECT_EQ((char)0xAB, r[0]);
    EXPECT_EQ((char)0xCD, r[1]);
    r = soap_hex2s(soap, "0f1", nullptr, 0, &n);
    EXPECT_EQ(1, n);
    EXPECT_EQ(0x0F, r[0]);
    char buf[1];
    EXPECT_EQ(buf, soap_hex2s(soap, "abcd", buf, 1, &n));
    EXPECT_EQ(1, n);
    EXPECT_EQ((char)0xAB, buf[0]);
    r = soap_hex2s(soap, "", nullptr, 0, &n);
    EXPECT_EQ(0, n);
}

/* ---- strings ------------------------------------------------------------ */

TEST_F(Values, StringDropsHighBytesUnlessLatinOrUtf8)
{
    char *t = nullptr;
    EXPECT_EQ(SOAP_OK, soap_s2string(soap, "h\xC3\xA9llo", &t, -1, -1));
    EXPECT_STREQ("hllo", t);
    soap->mode |= SOAP_ENC_LATIN;
    EXPECT_EQ(SOAP_OK, soap_s2string(soap, "h\xE9", &t, -1, -1));
    EXPECT_STREQ("h\xE9", t);
    soap->mode = SOAP_C_UTFSTRING;
    EXPECT_EQ(SOAP_OK, soap_s2string(soap, "h\xC3\xA9", &t, -1, -1));
    EXPECT_STREQ("h\xC3\xA9", t);
}

TEST_F(Values, StringLengthLimits)
{
    char *t = nullptr;
    EXPECT_EQ(SOAP_LENGTH, soap_s2string(soap, "abcd", &t, 0, 3));
    EXPECT_EQ(nullptr, t);
    soap->error = 0;
    EXPECT_EQ(SOAP_LENGTH, soap_s2string(soap, "abcd", &t, 5, -1));
    soap->error = 0;
    EXPECT_EQ(SOAP_OK, soap_s2string(soap, "abcd", &t, 4, 4));
    EXPECT_STREQ("abcd", t);
    char *keep = t;
    EXPECT_EQ(SOAP_OK, soap_s2string(soap, nullptr, &t, 0, 4));
    EXPECT_EQ(keep, t);
}

TEST_F(Values, WideStringFromUtf8)
{
    wchar_t *w = nullptr;
    EXPECT_EQ(SOAP_OK, soap_s2wchar(soap, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", &w, -1, -1));
    EXPECT_EQ(std::wstring(L"a\xE9\x20AC\x1F600"), std::wstring(w));
    EXPECT_EQ(SOAP_OK, soap_s2wchar(soap, "\xFD\xBF\xBF\xBF\xBF\xBF", &w, -1, -1));
    EXPECT_EQ(0x7FFFFFFF, w[0]);
}

TEST_F(Values, WideStringStopsAtTruncatedSequence)
{
    wchar_t *w = nullptr;
    EXPECT_EQ(SOAP_OK, soap_s2wchar(soap, "ab\xE2\x82", &w, -1, -1));
    EXPECT_EQ(std::wstring(L"ab"), std::wstring(w));
}

TEST_F(Values, WideStringFromLatin1AndLimitsInCharacters)
{
    wchar_t *w = nullptr;
    soap->mode |= SOAP_ENC_LATIN;
    EXPECT_EQ(SOAP_OK, soap_s2wchar(soap, "\xE9\xFF", &w, 2, 2));
    EXPECT_EQ(std::wstring(L"\xE9\xFF"), std::wstring(w));
    soap->mode = 0;
    EXPECT_EQ(SOAP_OK, soap_s2wchar(soap, "\xC3\xA9\xC3\xA9", &w, 2, 2));  /* 4 bytes, 2 characters */
    EXPECT_EQ(SOAP_LENGTH, soap_s2wchar(soap, "abc", &w, 0, 2));
    soap->error = 0;
    EXPECT_EQ(SOAP_LENGTH, soap_s2wchar(soap, "abc", &w, 4, -1));
}

TEST_F(Values, WideStringToUtf8)
{
    EXPECT_STREQ("a\xC3\xA9\xE2\x82\xAC", soap_wchar2s(soap, L"a\xE9\x20AC"));
    EXPECT_STREQ("\xFD\xBF\xBF\xBF\xBF\xBF", soap_wchar2s(soap, L"\x7FFFFFFF"));
    EXPECT_STREQ("", soap_wchar2s(soap, L""));
    EXPECT_EQ(nullptr, soap_wchar2s(soap, nullptr));
}

/* ---- code tables -------------------------------------------------------- */

const struct soap_code_map colors[] = {{1, "red"}, {2, "green"}, {4, "blue"}, {2, "verde"}, {0, nullptr}};

TEST_F(Values, CodeByExactName)
{
    ASSERT_NE(nullptr, soap_code(colors, "green"));
    EXPECT_EQ(2, soap_code(colors, "green")->code);
    EXPECT_EQ(nullptr, soap_code(colors, "GREEN"));
    EXPECT_EQ(nullptr, soap_code(nullptr, "green"));
}

TEST_F(Values, CodeIntMatchesWithoutCase)
{
    EXPECT_EQ(4, soap_code_int(colors, "BLUE", -1));
    EXPECT_EQ(-1, soap_code_int(colors, "pink", -1));
    EXPECT_EQ(-1, soap_code_int(nullptr, "blue", -1));
}

TEST_F(Values, CodeStrGivesFirstRowOfTheCode)
{
    EXPECT_STREQ("green", soap_code_str(colors, 2));
    EXPECT_EQ(nullptr, soap_code_str(colors, 8));
}

TEST_F(Values, CodeBitsOrsNamesAndUnknownSpoilsAll)
{
    EXPECT_EQ(5, soap_code_bits(colors, "red blue"));
    EXPECT_EQ(3, soap_code_bits(colors, "  red\tgreen\n"));
    EXPECT_EQ(0, soap_code_bits(colors, "red pink"));
    EXPECT_EQ(0, soap_code_bits(colors, ""));
    EXPECT_EQ(0, soap_code_bits(colors, "re"));
}

TEST_F(Values, CodeListNamesEveryRowSharingABit)
{
    EXPECT_STREQ("red blue", soap_code_list(soap, colors, 5));
    EXPECT_STREQ("green verde", soap_code_list(soap, colors, 2));
    EXPECT_STREQ("", soap_code_list(soap, colors, 8));
}

TEST_F(Values, CodeListStopsAtTheEndOfItsBuffer)
{
    static std::string longname(600, 'n');
    const struct soap_code_map big[] = {{1, longname.c_str()}, {1, longname.c_str()}, {1, "x"}, {0, nullptr}};
    const char *s = soap_code_list(soap, big, 1);
    EXPECT_LT(strlen(s), (size_t)SOAP_TAGLEN);
    EXPECT_EQ(longname, std::string(s));
}

/* ---- element writers ---------------------------------------------------- */

TEST_F(Values, ElementWritersPutTextBetweenTags)
{
    int i = -42;
    double d = 1.5;
    time_t t = T20100102;
    unsigned char b = 200;
    EXPECT_EQ(SOAP_OK, soap_outint(soap, "i", -1, &i, "xsd:int", 0));
    EXPECT_EQ(SOAP_OK, soap_outdouble(soap, "d", 0, &d, nullptr, 0));
    EXPECT_EQ(SOAP_OK, soap_outdateTime(soap, "t", 0, &t, nullptr, 0));
    EXPECT_EQ(SOAP_OK, soap_outunsignedByte(soap, "b", 0, &b, nullptr, 0));
    EXPECT_EQ("<i xsi:type=\"xsd:int\">-42</i><d>1.5</d><t>2010-01-02T03:04:05Z</t><b>200</b>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Values, ElementWritersForEveryType)
{
    char c = -1;
    short s = -2;
    long l = -3;
    LONG64 ll = -4;
    unsigned short us = 5;
    unsigned int ui = 6;
    unsigned long ul = 7;
    ULONG64 ull = 8;
    float f = 0.5f;
    soap_outbyte(soap, "a", 0, &c, nullptr, 0);
    soap_outshort(soap, "a", 0, &s, nullptr, 0);
    soap_outlong(soap, "a", 0, &l, nullptr, 0);
    soap_outLONG64(soap, "a", 0, &ll, nullptr, 0);
    soap_outunsignedShort(soap, "a", 0, &us, nullptr, 0);
    soap_outunsignedInt(soap, "a", 0, &ui, nullptr, 0);
    soap_outunsignedLong(soap, "a", 0, &ul, nullptr, 0);
    soap_outULONG64(soap, "a", 0, &ull, nullptr, 0);
    soap_outfloat(soap, "a", 0, &f, nullptr, 0);
    EXPECT_EQ("<a>-1</a><a>-2</a><a>-3</a><a>-4</a><a>5</a><a>6</a><a>7</a><a>8</a><a>0.5</a>", out());
}

TEST_F(Values, ElementWriterOfSpecialDouble)
{
    double n = std::nan("");
    double i = -HUGE_VAL;
    soap_outdouble(soap, "d", 0, &n, nullptr, 0);
    soap_outdouble(soap, "d", 0, &i, nullptr, 0);
    EXPECT_EQ("<d>NaN</d><d>-INF</d>", out());
}

/* ---- type checks -------------------------------------------------------- */

TEST_F(Values, NumericTypeAcceptsSchemaNumbersInAnyNamespace)
{
    soap->type[0] = '\0';
    EXPECT_EQ(SOAP_OK, soap_isnumeric(soap, "xsd:double"));
    for (const char *t : {"xsd:decimal", "unsignedByte", "q:nonNegativeInteger", "xsd:float"}) {
        strcpy(soap->type, t);
        EXPECT_EQ(SOAP_OK, soap_isnumeric(soap, nullptr)) << t;
    }
}

TEST_F(Values, ArrayTypeMatch)
{
    soap->arrayType[0] = '\0';
    EXPECT_EQ(SOAP_OK, soap_match_array(soap, "xsd:int"));
    strcpy(soap->arrayType, "string");
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_match_array(soap, "xsd:int"));
    EXPECT_EQ(SOAP_OK, soap->error);
    strcpy(soap->arrayType, "q:int");  /* prefix bound nowhere: no match, and no error left behind */
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_match_array(soap, "xsd:int"));
    EXPECT_EQ(SOAP_OK, soap->error);
    soap->mode |= SOAP_XML_IGNORENS;
    EXPECT_EQ(SOAP_OK, soap_match_array(soap, "xsd:int"));
    strcpy(soap->arrayType, "q:ur-type");
    EXPECT_EQ(SOAP_OK, soap_match_array(soap, "xsd:int"));
}

/* ---- element readers ---------------------------------------------------- */

#define XMLNS_XSI_XSD " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""

class ValuesReader : public Values {
protected:
    void feed(const std::string &xml)
    {
        io.attach(soap, xml);
        soap->mode = 0;
        soap->imode = 0;
        ASSERT_EQ(SOAP_OK, soap_begin_recv(soap));
    }
};

TEST_F(ValuesReader, IntElementIsRead)
{
    feed("<n>42</n>");
    int v = 0;
    EXPECT_EQ(&v, soap_inint(soap, "n", &v, "xsd:int", 0));
    EXPECT_EQ(42, v);
}

TEST_F(ValuesReader, NarrowerXsiTypeIsAccepted)
{
    feed("<n" XMLNS_XSI_XSD " xsi:type=\"xsd:byte\">-7</n>");
    LONG64 v = 0;
    EXPECT_NE(nullptr, soap_inLONG64(soap, "n", &v, "xsd:long", 0));
    EXPECT_EQ(-7, v);
}

TEST_F(ValuesReader, WiderXsiTypeIsRefused)
{
    feed("<n" XMLNS_XSI_XSD " xsi:type=\"xsd:string\">5</n>");
    int v = 0;
    EXPECT_EQ(nullptr, soap_inint(soap, "n", &v, "xsd:int", 0));
    EXPECT_EQ(SOAP_TYPE, soap->error);
    EXPECT_EQ(1, soap->peeked);  /* handed back */
}

TEST_F(ValuesReader, ByteOutOfRangeFailsTheElement)
{
    feed("<n>128</n>");
    char v = 0;
    EXPECT_EQ(nullptr, soap_inbyte(soap, "n", &v, "xsd:byte", 0));
    EXPECT_EQ(SOAP_TYPE, soap->error);
}

TEST_F(ValuesReader, EmptyIntElementFails)
{
    feed("<n/>");
    int v = 0;
    EXPECT_EQ(nullptr, soap_inint(soap, "n", &v, "xsd:int", 0));
    EXPECT_EQ(SOAP_TYPE, soap->error);
}

TEST_F(ValuesReader, DoubleElementTakesAnyNumericType)
{
    feed("<d" XMLNS_XSI_XSD " xsi:type=\"xsd:decimal\">INF</d>");
    double v = 0;
    EXPECT_NE(nullptr, soap_indouble(soap, "d", &v, "xsd:double", 0));
    EXPECT_TRUE(std::isinf(v));
}

TEST_F(ValuesReader, DoubleElementRefusesNonNumericType)
{
    feed("<d" XMLNS_XSI_XSD " xsi:type=\"xsd:boolean\">1</d>");
    double v = 0;
    EXPECT_EQ(nullptr, soap_indouble(soap, "d", &v, "xsd:double", 0));
    EXPECT_EQ(SOAP_TYPE, soap->error);
}

TEST_F(ValuesReader, DateTimeElementIsRead)
{
    feed("<t>2010-01-02T04:04:05+01:00</t>");
    time_t v = 0;
    EXPECT_NE(nullptr, soap_indateTime(soap, "t", &v, "xsd:dateTime", 0));
    EXPECT_EQ(T20100102, v);
}

TEST_F(ValuesReader, ReaderAllocatesWhenNoTargetIsGiven)
{
    feed("<n>9</n>");
    ULONG64 *p = soap_inULONG64(soap, "n", nullptr, "xsd:unsignedLong", 0);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(9u, *p);
}

TEST_F(ValuesReader, SecondValueDestroysTheFirst)
{
    feed("<r><a>1</a><b>2</b></r>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    const char *first = soap_value(soap);
    ASSERT_NE(nullptr, first);
    EXPECT_STREQ("1", first);
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    const char *second = soap_value(soap);
    EXPECT_EQ(first, second);
    EXPECT_STREQ("2", first);
}

TEST_F(ValuesReader, WrittenValuesReadBack)
{
    io.attach(soap);
    soap->mode = SOAP_IO_BUFFER;
    soap->ns = 1;
    int i = INT32_MIN;
    double d = 0.1;
    time_t t = T20100102;
    soap_element_begin_out(soap, "r", 0, nullptr);
    soap_outint(soap, "i", 0, &i, nullptr, 0);
    soap_outdouble(soap, "d", 0, &d, nullptr, 0);
    soap_outdateTime(soap, "t", 0, &t, nullptr, 0);
    soap_element_end_out(soap, "r");
    std::string xml = out();
    feed(xml);
    int i2 = 0;
    double d2 = 0;
    time_t t2 = 0;
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    EXPECT_NE(nullptr, soap_inint(soap, "i", &i2, nullptr, 0));
    EXPECT_NE(nullptr, soap_indouble(soap, "d", &d2, nullptr, 0));
    EXPECT_NE(nullptr, soap_indateTime(soap, "t", &t2, nullptr, 0));
    EXPECT_EQ(i, i2);
    EXPECT_EQ(d, d2);
    EXPECT_EQ(t, t2);
}

} // namespace
