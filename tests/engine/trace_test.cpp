/* trace_test.cpp -- the wire trace file: which path each context takes, that
 * the file receives exactly the bytes written in write order, and that a
 * trace that cannot be written is lost without a word.
 */
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "soapengine.h"

namespace {

struct Ctx {
    struct soap *s;
    Ctx() : s(soap_new()) {}
    ~Ctx()
    {
        soap_end(s);
        soap_free(s);
    }
};

struct TempDir {
    std::string path;
    TempDir()
    {
        char tmpl[] = "/tmp/orvsoap-trace-XXXXXX";
        const char *p = mkdtemp(tmpl);
        path = p ? p : "/tmp";
    }
    ~TempDir()
    {
        std::string cmd = "rm -rf '" + path + "'";
        if (path != "/tmp")
            (void)system(cmd.c_str());
    }
    std::string file(const char *name) const { return path + "/" + name; }
};

bool exists(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::string slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

/* Restores the process-wide path after a test changed it. */
struct SavedTracePath {
    char saved[sizeof g_TraceLogFile];
    SavedTracePath() { memcpy(saved, g_TraceLogFile, sizeof saved); }
    ~SavedTracePath() { memcpy(g_TraceLogFile, saved, sizeof saved); }
};

/* ------------------------------------------------------------------------ */

TEST(TracePaths, ProcessWideDefaults)
{
    EXPECT_EQ(sizeof g_TraceLogFile, 4096u);
    EXPECT_EQ(soapEnableDebug, 1);
}

TEST(TracePaths, EveryContextTakesTheProcessPathForBothDirections)
{
    SavedTracePath keep;
    strcpy(g_TraceLogFile, "/tmp/orvsoap-first.log");
    Ctx first;
    strcpy(g_TraceLogFile, "/tmp/orvsoap-second.log");
    Ctx second;
    /* a later change reaches only contexts made after it */
    EXPECT_STREQ(first.s->logfile[SOAP_IDX_RECV], "/tmp/orvsoap-first.log");
    EXPECT_STREQ(first.s->logfile[SOAP_IDX_SENT], "/tmp/orvsoap-first.log");
    EXPECT_STREQ(second.s->logfile[SOAP_IDX_RECV], "/tmp/orvsoap-second.log");
    EXPECT_STREQ(second.s->logfile[SOAP_IDX_SENT], "/tmp/orvsoap-second.log");
    EXPECT_EQ(first.s->logfile[SOAP_IDX_TEST], nullptr);
}

TEST(TracePaths, SetLogfileKeepsAPrivateCopy)
{
    Ctx c;
    char path[] = "/tmp/orvsoap-private.log";
    soap_set_logfile(c.s, SOAP_IDX_TEST, path);
    path[5] = 'X';
    EXPECT_STREQ(c.s->logfile[SOAP_IDX_TEST], "/tmp/orvsoap-private.log");
    soap_set_logfile(c.s, SOAP_IDX_TEST, nullptr);
    EXPECT_EQ(c.s->logfile[SOAP_IDX_TEST], nullptr);
}

TEST(TracePaths, SlotsOutsideTheTableAreIgnored)
{
    Ctx c;
    soap_set_logfile(c.s, -1, "/tmp/x");
    soap_set_logfile(c.s, SOAP_MAXLOGS, "/tmp/x");
    soap_open_logfile(c.s, SOAP_MAXLOGS);
    soap_close_logfile(c.s, -1);
    soap_trace(c.s, SOAP_MAXLOGS, "x", 1);
    EXPECT_EQ(c.s->logfile[SOAP_IDX_TEST], nullptr);
}

/* ------------------------------------------------------------------------ */

TEST(TraceWrites, FileHoldsExactlyTheBytesInWriteOrder)
{
    TempDir dir;
    std::string path = dir.file("wire.log");
    Ctx c;
    soap_set_recv_logfile(c.s, path.c_str());
    soap_set_sent_logfile(c.s, path.c_str());
    const char request[] = "POST / HTTP/1.1\r\n\r\n<a>\0binary\xff</a>";
    soap_trace(c.s, SOAP_IDX_SENT, request, sizeof request - 1);
    soap_trace(c.s, SOAP_IDX_RECV, "HTTP/1.1 200 OK\r\n", 17);
    soap_trace(c.s, SOAP_IDX_SENT, "\r\n0\r\n\r\n", 7);
    soap_trace(c.s, SOAP_IDX_RECV, "", 0);  /* an empty read adds nothing */
    /* each write is flushed at once: visible while the streams are open */
    std::string expect = std::string(request, sizeof request - 1) + "HTTP/1.1 200 OK\r\n" + "\r\n0\r\n\r\n";
    EXPECT_EQ(slurp(path), expect);
    EXPECT_NE(c.s->fdebug[SOAP_IDX_RECV], nullptr);
    EXPECT_NE(c.s->fdebug[SOAP_IDX_SENT], nullptr);
    EXPECT_NE(c.s->fdebug[SOAP_IDX_RECV], c.s->fdebug[SOAP_IDX_SENT]);  /* two streams */
}

TEST(TraceWrites, AppendsToWhatTheFileHeld)
{
    TempDir dir;
    std::string path = dir.file("append.log");
    {
        std::ofstream pre(path, std::ios::binary);
        pre << "before|";
    }
    Ctx c;
    soap_set_sent_logfile(c.s, path.c_str());
    soap_trace(c.s, SOAP_IDX_SENT, "after", 5);
    EXPECT_EQ(slurp(path), "before|after");
}

TEST(TraceWrites, EndClosesTheStreamsAndTheNextWriteReopens)
{
    TempDir dir;
    std::string path = dir.file("reopen.log");
    Ctx c;
    soap_set_recv_logfile(c.s, path.c_str());
    soap_trace(c.s, SOAP_IDX_RECV, "one", 3);
    soap_end(c.s);
    EXPECT_EQ(c.s->fdebug[SOAP_IDX_RECV], nullptr);
    soap_trace(c.s, SOAP_IDX_RECV, "two", 3);
    EXPECT_EQ(slurp(path), "onetwo");
}

TEST(TraceWrites, NewPathClosesTheOldStream)
{
    TempDir dir;
    std::string a = dir.file("a.log"), b = dir.file("b.log");
    Ctx c;
    soap_set_sent_logfile(c.s, a.c_str());
    soap_trace(c.s, SOAP_IDX_SENT, "to-a", 4);
    soap_set_sent_logfile(c.s, b.c_str());
    EXPECT_EQ(c.s->fdebug[SOAP_IDX_SENT], nullptr);
    soap_trace(c.s, SOAP_IDX_SENT, "to-b", 4);
    EXPECT_EQ(slurp(a), "to-a");
    EXPECT_EQ(slurp(b), "to-b");
}

TEST(TraceWrites, TestSlotWritesItsOwnFile)
{
    TempDir dir;
    std::string path = dir.file("test.log");
    Ctx c;
    soap_set_logfile(c.s, SOAP_IDX_TEST, path.c_str());
    soap_open_logfile(c.s, SOAP_IDX_TEST);
    ASSERT_NE(c.s->fdebug[SOAP_IDX_TEST], nullptr);
    soap_trace(c.s, SOAP_IDX_TEST, "t", 1);
    soap_close_logfiles(c.s);
    for (int i = 0; i < SOAP_MAXLOGS; i++)
        EXPECT_EQ(c.s->fdebug[i], nullptr);
    EXPECT_EQ(slurp(path), "t");
}

TEST(TraceWrites, UnwritablePathIsSilentAndRetried)
{
    TempDir dir;
    std::string sub = dir.file("later");
    std::string path = sub + "/wire.log";
    Ctx c;
    soap_set_sent_logfile(c.s, path.c_str());
    testing::internal::CaptureStderr();
    soap_trace(c.s, SOAP_IDX_SENT, "lost", 4);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(c.s->error, SOAP_OK);
    EXPECT_EQ(c.s->fdebug[SOAP_IDX_SENT], nullptr);
    EXPECT_FALSE(exists(path));
    /* the directory appears: the next write opens the file */
    ASSERT_EQ(mkdir(sub.c_str(), 0700), 0);
    soap_trace(c.s, SOAP_IDX_SENT, "kept", 4);
    EXPECT_EQ(slurp(path), "kept");
}

TEST(TraceWrites, EmptyProcessPathMeansNoTrace)
{
    SavedTracePath keep;
    g_TraceLogFile[0] = '\0';
    Ctx c;
    EXPECT_STREQ(c.s->logfile[SOAP_IDX_SENT], "");
    soap_trace(c.s, SOAP_IDX_SENT, "x", 1);
    EXPECT_EQ(c.s->fdebug[SOAP_IDX_SENT], nullptr);
    EXPECT_EQ(c.s->error, SOAP_OK);
}

TEST(TraceWrites, NoPathMeansNoTrace)
{
    Ctx c;
    soap_set_recv_logfile(c.s, nullptr);
    soap_trace(c.s, SOAP_IDX_RECV, "x", 1);
    EXPECT_EQ(c.s->fdebug[SOAP_IDX_RECV], nullptr);
}

TEST(TraceWrites, CopyTracesToTheSourcesPaths)
{
    TempDir dir;
    std::string path = dir.file("copy.log");
    Ctx c;
    soap_set_recv_logfile(c.s, path.c_str());
    soap_set_sent_logfile(c.s, path.c_str());
    struct soap *copy = soap_copy(c.s);
    ASSERT_NE(copy, nullptr);
    soap_trace(c.s, SOAP_IDX_SENT, "orig;", 5);
    soap_trace(copy, SOAP_IDX_RECV, "copy;", 5);
    EXPECT_EQ(slurp(path), "orig;copy;");
    soap_free(copy);
}

TEST(TraceWrites, DoneClosesAndForgetsEverySlot)
{
    TempDir dir;
    std::string path = dir.file("done.log");
    Ctx c;
    soap_set_recv_logfile(c.s, path.c_str());
    soap_trace(c.s, SOAP_IDX_RECV, "x", 1);
    soap_done(c.s);
    for (int i = 0; i < SOAP_MAXLOGS; i++) {
        EXPECT_EQ(c.s->logfile[i], nullptr);
        EXPECT_EQ(c.s->fdebug[i], nullptr);
    }
}

}  // namespace
