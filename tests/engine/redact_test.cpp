/* redact_test.cpp -- masking in the wire trace: the one-buffer certificate
 * filter, and the trace writes that mask certificate contents and credentials
 * headers across write boundaries, obey soapEnableDebug, and hold every other
 * byte of a real exchange.
 */
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "memio.h"
#include "soapengine.h"

namespace {

std::string redact(const std::string &in)
{
    size_t n = 12345;
    char *out = soap_trace_redact(in.data(), in.size(), &n);
    EXPECT_NE(out, nullptr);
    std::string r = out ? std::string(out, n) : std::string("<null>");
    delete[] out;
    return r;
}

/* ------------------------------------------------------------------------ */

TEST(TraceRedactBuffer, CertificateContentsGiveWayToThreeDots)
{
    EXPECT_EQ(redact("a<protocol:certificate>XYZ</protocol:certificate>b"),
              "a<protocol:certificate>...</protocol:certificate>b");
    EXPECT_EQ(redact("a<p760:certificate>XYZ</p760:certificate>b"), "a<p760:certificate>...</p760:certificate>b");
}

TEST(TraceRedactBuffer, UnclosedElementDropsAllThatFollows)
{
    EXPECT_EQ(redact("<p760:certificate>XYZ"), "<p760:certificate>...");
}

TEST(TraceRedactBuffer, EmptyElementGrowsByThreeBytes)
{
    std::string in = "<p760:certificate></p760:certificate>";
    std::string out = redact(in);
    EXPECT_EQ(out, "<p760:certificate>...</p760:certificate>");
    EXPECT_EQ(out.size(), in.size() + 3);
}

TEST(TraceRedactBuffer, ClosingTagAloneChangesNothing)
{
    EXPECT_EQ(redact("x</protocol:certificate>y"), "x</protocol:certificate>y");
}

TEST(TraceRedactBuffer, EmptyInputGivesEmptyOutput)
{
    size_t n = 99;
    char *out = soap_trace_redact("", 0, &n);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(n, 0u);
    delete[] out;
}

TEST(TraceRedactBuffer, OnlyExactTagsMatch)
{
    for (const char *in : {"<protocol:certificate xsi:type=\"x\">K</protocol:certificate>",
                           "<Protocol:certificate>K</Protocol:certificate>", "<protocol:certificate >K",
                           "<ns1:certificate>K</ns1:certificate>"})
        EXPECT_EQ(redact(in), in) << in;
}

TEST(TraceRedactBuffer, PrefixesNeedNotAgree)
{
    EXPECT_EQ(redact("<p760:certificate>K</protocol:certificate>z"), "<p760:certificate>...</protocol:certificate>z");
}

TEST(TraceRedactBuffer, SecondOpeningTagInsideWritesItsDotsAgain)
{
    EXPECT_EQ(redact("<protocol:certificate>A<p760:certificate>B</p760:certificate>C"),
              "<protocol:certificate>...<p760:certificate>...</p760:certificate>C");
}

TEST(TraceRedactBuffer, TagCutAtTheEndIsNoTag)
{
    EXPECT_EQ(redact("abc<protocol:certificat"), "abc<protocol:certificat");
    EXPECT_EQ(redact("<p760:certificate>x</p760:certif"), "<p760:certificate>...");
}

TEST(TraceRedactBuffer, BinaryBytesPassUnchanged)
{
    std::string in("a\0b\xff<\0", 6);
    EXPECT_EQ(redact(in), in);
}

/* ------------------------------------------------------------------------ */

std::string slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

bool exists(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

class TraceMask : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/orvsoap-redact-XXXXXX";
        const char *d = mkdtemp(tmpl);
        ASSERT_NE(d, nullptr);
        dir = d;
        sent = dir + "/sent.log";
        recv = dir + "/recv.log";
        soap = soap_new();
        ASSERT_NE(soap, nullptr);
        soap_set_sent_logfile(soap, sent.c_str());
        soap_set_recv_logfile(soap, recv.c_str());
    }
    void TearDown() override
    {
        soap_end(soap);
        soap_free(soap);
        soapEnableDebug = 1;
        std::string cmd = "rm -rf '" + dir + "'";
        (void)system(cmd.c_str());
    }
    /* The sent trace after writing `text` in the given pieces. */
    std::string trace_in_pieces(const std::string &text, const std::vector<size_t> &cuts)
    {
        soap_close_logfiles(soap);
        unlink(sent.c_str());
        size_t at = 0;
        for (size_t cut : cuts) {
            soap_trace(soap, SOAP_IDX_SENT, text.data() + at, cut - at);
            at = cut;
        }
        soap_trace(soap, SOAP_IDX_SENT, text.data() + at, text.size() - at);
        soap_close_logfiles(soap);
        return slurp(sent);
    }
    std::string dir, sent, recv;
    struct soap *soap = nullptr;
};

const char kRequest[] =
    "POST /svc HTTP/1.1\r\n"
    "Host: ws.example\r\n"
    "Authorization: Basic dXNlcjpwYXNz\r\n"
    "Proxy-Authorization: Basic cHU6cHA=\r\n"
    "Content-Length: 99\r\n"
    "\r\n"
    "<m><protocol:certificate>MIIBsecret</protocol:certificate><v>Authorization: x</v></m>";

const char kMasked[] =
    "POST /svc HTTP/1.1\r\n"
    "Host: ws.example\r\n"
    "Authorization: ...\r\n"
    "Proxy-Authorization: ...\r\n"
    "Content-Length: 99\r\n"
    "\r\n"
    "<m><protocol:certificate>...</protocol:certificate><v>Authorization: x</v></m>";

TEST_F(TraceMask, CredentialsAndCertificatesAreMaskedInOneWrite)
{
    EXPECT_EQ(trace_in_pieces(kRequest, {}), kMasked);
}

TEST_F(TraceMask, EveryCutIntoTwoWritesGivesTheSameTrace)
{
    std::string text = kRequest;
    for (size_t cut = 1; cut < text.size(); cut++)
        ASSERT_EQ(trace_in_pieces(text, {cut}), kMasked) << "cut at " << cut;
}

TEST_F(TraceMask, ByteByByteWritesGiveTheSameTrace)
{
    std::string text = kRequest;
    std::vector<size_t> cuts;
    for (size_t i = 1; i < text.size(); i++)
        cuts.push_back(i);
    EXPECT_EQ(trace_in_pieces(text, cuts), kMasked);
}

TEST_F(TraceMask, CertificateMaskingAgreesWithTheBufferFilterAtEveryCut)
{
    std::string text = "x<p760:certificate>AB<protocol:certificate>CD</p760:certificate>EF"
                       "</protocol:certificate>GH<p760:certificate></p760:certificate>";
    std::string want = redact(text);
    for (size_t cut = 0; cut <= text.size(); cut++)
        ASSERT_EQ(trace_in_pieces(text, {cut}), want) << "cut at " << cut;
}

TEST_F(TraceMask, HeaderNamesMatchInAnyCaseAtALineStartOnly)
{
    EXPECT_EQ(trace_in_pieces("authorization: Basic abc\r\nX-Authorization: keep\r\n", {}),
              "authorization: ...\r\nX-Authorization: keep\r\n");
    EXPECT_EQ(trace_in_pieces("PROXY-AUTHORIZATION:Basic abc\nnext", {}), "PROXY-AUTHORIZATION: ...\nnext");
}

TEST_F(TraceMask, FoldedContinuationOfAMaskedValueIsMaskedToo)
{
    EXPECT_EQ(trace_in_pieces("Authorization: Basic\r\n  dXNlcjpwYXNz\r\nHost: h\r\n\r\n", {}),
              "Authorization: ...\r\n  \r\nHost: h\r\n\r\n");
}

TEST_F(TraceMask, LineEndingTheValueIsKeptEvenWhenItArrivesAlone)
{
    EXPECT_EQ(trace_in_pieces("Authorization: secret\r\nA: b", {21, 22}), "Authorization: ...\r\nA: b");
}

TEST_F(TraceMask, EachDirectionKeepsItsOwnState)
{
    soap_close_logfiles(soap);
    unlink(sent.c_str());
    unlink(recv.c_str());
    soap_trace(soap, SOAP_IDX_SENT, "Authoriz", 8);
    soap_trace(soap, SOAP_IDX_RECV, "<protocol:certificate>ab", 24);
    soap_trace(soap, SOAP_IDX_SENT, "ation: pw\r\n<x>", 14);
    soap_trace(soap, SOAP_IDX_RECV, "cd</protocol:certificate>ok", 27);
    soap_close_logfiles(soap);
    EXPECT_EQ(slurp(sent), "Authorization: ...\r\n<x>");
    EXPECT_EQ(slurp(recv), "<protocol:certificate>...</protocol:certificate>ok");
}

TEST_F(TraceMask, UnclosedElementDoesNotSwallowTheNextExchange)
{
    soap_close_logfiles(soap);
    unlink(sent.c_str());
    soap_trace(soap, SOAP_IDX_SENT, "<p760:certificate>cut", 21);
    soap_end(soap);  /* the end of an exchange closes the trace streams */
    soap_trace(soap, SOAP_IDX_SENT, "POST / HTTP/1.1\r\n", 17);
    soap_close_logfiles(soap);
    EXPECT_EQ(slurp(sent), "<p760:certificate>...POST / HTTP/1.1\r\n");
}

TEST_F(TraceMask, TestSlotIsWrittenUnfiltered)
{
    std::string test = dir + "/test.log";
    soap_set_logfile(soap, SOAP_IDX_TEST, test.c_str());
    soap_trace(soap, SOAP_IDX_TEST, "Authorization: pw\n", 18);
    soap_close_logfiles(soap);
    EXPECT_EQ(slurp(test), "Authorization: pw\n");
}

TEST_F(TraceMask, DebugSwitchOffMeansNoTraceAtAll)
{
    soap_close_logfiles(soap);
    unlink(sent.c_str());
    soapEnableDebug = 0;
    soap_trace(soap, SOAP_IDX_SENT, "abc", 3);
    soap_close_logfiles(soap);
    EXPECT_FALSE(exists(sent));
    soapEnableDebug = 1;
    soap_trace(soap, SOAP_IDX_SENT, "def", 3);
    soap_close_logfiles(soap);
    EXPECT_EQ(slurp(sent), "def");
}

TEST_F(TraceMask, UnwritablePathLeavesTheExchangeAlone)
{
    soap_set_sent_logfile(soap, "/nonexistent-dir/trace.log");
    soap_set_recv_logfile(soap, "/nonexistent-dir/trace.log");
    MemIO io;
    io.attach(soap, "<r/>");
    soap->omode = soap->imode = SOAP_ENC_XML;
    ASSERT_EQ(soap_begin_send(soap), 0);
    ASSERT_EQ(soap_send_raw(soap, "Authorization: x\r\n<a/>", 22), 0);
    ASSERT_EQ(soap_end_send(soap), 0);
    EXPECT_EQ(io.out, "Authorization: x\r\n<a/>");
    EXPECT_FALSE(exists("/nonexistent-dir/trace.log"));
}

TEST_F(TraceMask, EveryByteOfAnExchangeIsInTheFileInOrder)
{
    /* one file for both directions, as the process path gives it */
    std::string both = dir + "/both.log";
    soap_set_sent_logfile(soap, both.c_str());
    soap_set_recv_logfile(soap, both.c_str());
    std::string out_text(70000, 'o');
    out_text.replace(0, 5, "<big>");
    std::string in_text = "<in>" + std::string(90000, 'i') + "</in>";
    MemIO io;
    io.attach(soap, in_text);
    io.chunk = 1000;
    soap->omode = soap->imode = SOAP_ENC_XML | SOAP_IO_BUFFER;
    ASSERT_EQ(soap_begin_send(soap), 0);
    ASSERT_EQ(soap_send_raw(soap, out_text.data(), out_text.size()), 0);
    ASSERT_EQ(soap_end_send(soap), 0);
    ASSERT_EQ(soap_begin_recv(soap), 0);
    std::string got;
    for (;;) {
        soap_wchar c = soap_getchar(soap);
        if ((int)c == EOF)
            break;
        got += (char)c;
    }
    ASSERT_EQ(got, in_text);
    soap_close_logfiles(soap);
    EXPECT_EQ(io.out, out_text);
    EXPECT_EQ(slurp(both), out_text + in_text);
}

}  // namespace
