/* framing_test.cpp -- pins how a message is framed on the way out (flushed,
 * buffered, stored, chunked, counted) and how input is refilled, de-chunked
 * and sniffed, through the in-memory transport.  XML itself isn't tested here.
 */
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "memio.h"
#include "soapengine.h"

namespace {

struct Ctx {
    std::unique_ptr<soap> s{new soap()};
    MemIO io;
    Ctx() { io.attach(s.get()); }
    soap *operator->() { return s.get(); }
    soap *get() { return s.get(); }
};

/* Sends of each fsend call, to see how output is cut. */
struct SendLog {
    std::vector<std::string> sends;
    static int send(struct soap *soap, const char *s, size_t n)
    {
        static_cast<SendLog *>(soap->data[0])->sends.emplace_back(s, n);
        return SOAP_OK;
    }
    void attach(struct soap *soap)
    {
        soap->data[0] = this;
        soap->fsend = send;
    }
    std::string all() const
    {
        std::string r;
        for (auto &x : sends)
            r += x;
        return r;
    }
};

/* Everything the reader would see: refills until the input ends. */
std::string drain(struct soap *soap)
{
    std::string r;
    for (;;) {
        if (soap->bufidx >= soap->buflen && soap_recv(soap))
            break;
        r.append(soap->buf + soap->bufidx, soap->buflen - soap->bufidx);
        soap->bufidx = soap->buflen;
    }
    return r;
}

} // namespace

/* ------------------------------------------------------------------------ */
/* Raw output                                                                */
/* ------------------------------------------------------------------------ */

TEST(FramingSendRaw, ZeroBytesDoNothing)
{
    Ctx c;
    c->mode = SOAP_IO_FLUSH;
    c->ffiltersend = [](struct soap *, const char **, size_t *) { return 99; };
    EXPECT_EQ(SOAP_OK, soap_send_raw(c.get(), "x", 0));
    EXPECT_EQ("", c.io.out);
}

TEST(FramingSendRaw, FlushModeWritesEachCallThrough)
{
    Ctx c;
    SendLog log;
    log.attach(c.get());
    c->mode = SOAP_IO_FLUSH;
    EXPECT_EQ(SOAP_OK, soap_send_raw(c.get(), "abc", 3));
    EXPECT_EQ(SOAP_OK, soap_send_raw(c.get(), "de", 2));
    ASSERT_EQ(2u, log.sends.size());
    EXPECT_EQ("abc", log.sends[0]);
    EXPECT_EQ("de", log.sends[1]);
}

TEST(FramingSendRaw, BufferModeHoldsBytesUntilFlush)
{
    Ctx c;
    SendLog log;
    log.attach(c.get());
    c->mode = SOAP_IO_BUFFER;
    c->bufidx = 0;
    soap_send_raw(c.get(), "abc", 3);
    soap_send_raw(c.get(), "de", 2);
    EXPECT_TRUE(log.sends.empty());
    EXPECT_EQ(5u, c->bufidx);
    EXPECT_EQ(SOAP_OK, soap_flush(c.get()));
    ASSERT_EQ(1u, log.sends.size());
    EXPECT_EQ("abcde", log.sends[0]);
    EXPECT_EQ(0u, c->bufidx);
    EXPECT_EQ(SOAP_OK, soap_flush(c.get())); /* nothing left: no empty send */
    EXPECT_EQ(1u, log.sends.size());
}

TEST(FramingSendRaw, BufferModeSendsFullBuffersOf65536)
{
    Ctx c;
    SendLog log;
    log.attach(c.get());
    c->mode = SOAP_IO_BUFFER;
    c->bufidx = 0;
    std::string big(SOAP_BUFLEN * 2 + 10, 'x');
    big[SOAP_BUFLEN] = 'y';
    EXPECT_EQ(SOAP_OK, soap_send_raw(c.get(), big.data(), big.size()));
    ASSERT_EQ(2u, log.sends.size());
    EXPECT_EQ((size_t)SOAP_BUFLEN, log.sends[0].size());
    EXPECT_EQ((size_t)SOAP_BUFLEN, log.sends[1].size());
    EXPECT_EQ('y', log.sends[1][0]);
    EXPECT_EQ(10u, c->bufidx);
    soap_flush(c.get());
    EXPECT_EQ(big, log.all());
}

TEST(FramingSendRaw, ExactlyFullBufferIsSentAtOnce)
{
    Ctx c;
    SendLog log;
    log.attach(c.get());
    c->mode = SOAP_IO_BUFFER;
    c->bufidx = 0;
    std::string big(SOAP_BUFLEN, 'z');
    EXPECT_EQ(SOAP_OK, soap_send_raw(c.get(), big.data(), big.size()));
    ASSERT_EQ(1u, log.sends.size());
    EXPECT_EQ(0u, c->bufidx);
}

TEST(FramingSendRaw, CountPassOnlyCounts)
{
    Ctx c;
    c->mode = SOAP_IO_BUFFER | SOAP_IO_LENGTH;
    c->count = 0;
    c->bufidx = 0;
    soap_send_raw(c.get(), "hello", 5);
    soap_send_raw(c.get(), "!", 1);
    EXPECT_EQ(6u, c->count);
    EXPECT_EQ(0u, c->bufidx);
    EXPECT_EQ("", c.io.out);
}

TEST(FramingSendRaw, SendFailureIsTheError)
{
    Ctx c;
    c->mode = SOAP_IO_FLUSH;
    c.io.fail_send = SOAP_TCP_ERROR;
    EXPECT_EQ(SOAP_TCP_ERROR, soap_send_raw(c.get(), "abc", 3));
    EXPECT_EQ(SOAP_TCP_ERROR, c->error);
}

TEST(FramingSendRaw, FilterMayReplaceTheBytes)
{
    Ctx c;
    c->mode = SOAP_IO_FLUSH;
    c->ffiltersend = [](struct soap *, const char **s, size_t *n) {
        *s = "XY";
        *n = 2;
        return SOAP_OK;
    };
    soap_send_raw(c.get(), "abc", 3);
    EXPECT_EQ("XY", c.io.out);
}

TEST(FramingSendRaw, PrepareHookSeesCountedBytesOnly)
{
    Ctx c;
    static std::string seen;
    seen.clear();
    c->fpreparesend = [](struct soap *, const char *s, size_t n) {
        seen.append(s, n);
        return SOAP_OK;
    };
    c->mode = SOAP_IO_BUFFER | SOAP_IO_LENGTH;
    soap_send_raw(c.get(), "ab", 2);
    c->mode = SOAP_IO_FLUSH;
    soap_send_raw(c.get(), "cd", 2);
    EXPECT_EQ("ab", seen);
}

/* ------------------------------------------------------------------------ */
/* Chunked output                                                            */
/* ------------------------------------------------------------------------ */

TEST(FramingChunkOut, FirstChunkHasNoLeadingCrlfLaterOnesDo)
{
    Ctx c;
    c->mode = SOAP_IO_CHUNK;
    c->chunksize = 0;
    EXPECT_EQ(SOAP_OK, soap_flush_raw(c.get(), "hello", 5));
    EXPECT_EQ(SOAP_OK, soap_flush_raw(c.get(), std::string(26, 'a').c_str(), 26));
    EXPECT_EQ("5\r\nhello\r\n1A\r\n" + std::string(26, 'a'), c.io.out);
    EXPECT_EQ(31u, c->chunksize);
}

TEST(FramingChunkOut, SizeLineFailureStopsTheChunk)
{
    Ctx c;
    c->mode = SOAP_IO_CHUNK;
    c->chunksize = 0;
    c.io.fail_send = 7;
    EXPECT_EQ(7, soap_flush_raw(c.get(), "hello", 5));
    EXPECT_EQ(0u, c->chunksize);
}

/* ------------------------------------------------------------------------ */
/* Raw input                                                                 */
/* ------------------------------------------------------------------------ */

TEST(FramingRecvRaw, PlainRefillReadsUpTo65536)
{
    Ctx c;
    std::string in(SOAP_BUFLEN + 5, 'q');
    c.io.attach(c.get(), in);
    c->mode = 0;
    c->count = 0;
    EXPECT_EQ(0, soap_recv_raw(c.get()));
    EXPECT_EQ((size_t)SOAP_BUFLEN, c->buflen);
    EXPECT_EQ(0u, c->bufidx);
    EXPECT_EQ(0, soap_recv_raw(c.get()));
    EXPECT_EQ(5u, c->buflen);
    EXPECT_EQ(in.size(), c->count);
    EXPECT_EQ(1, soap_recv_raw(c.get()));
    EXPECT_EQ(0u, c->buflen);
}

TEST(FramingRecvRaw, PrepareHookFailureIsTheError)
{
    Ctx c;
    c.io.attach(c.get(), "abc");
    c->mode = 0;
    c->fpreparerecv = [](struct soap *, const char *, size_t) { return 77; };
    EXPECT_EQ(77, soap_recv_raw(c.get()));
    EXPECT_EQ(77, c->error);
}

/* ------------------------------------------------------------------------ */
/* Chunked input                                                             */
/* ------------------------------------------------------------------------ */

namespace {
void start_chunked(Ctx &c, const std::string &in, size_t piece = SOAP_BUFLEN)
{
    c.io.attach(c.get(), in);
    c.io.chunk = piece;
    c->mode = SOAP_IO_CHUNK;
    c->chunksize = 0;
    c->chunkbuflen = 0;
    c->count = 0;
}
} // namespace

TEST(FramingChunkIn, ChunksAreJoinedAndTheEndIsSticky)
{
    Ctx c;
    start_chunked(c, "5\r\nhello\r\n6\r\n world\r\n0\r\n\r\n");
    EXPECT_EQ("hello world", drain(c.get()));
    EXPECT_EQ(EOF, c->ahead);
    EXPECT_EQ(11u, c->count);
}

TEST(FramingChunkIn, EveryPieceSizeGivesTheSameText)
{
    const std::string in = "5\r\nhello\r\n1a;ext=1\r\nabcdefghijklmnopqrstuvwxyz\r\n3\r\nxyz\r\n0\r\n\r\n";
    for (size_t piece = 1; piece <= in.size(); piece++) {
        Ctx c;
        start_chunked(c, in, piece);
        EXPECT_EQ("helloabcdefghijklmnopqrstuvwxyzxyz", drain(c.get())) << "piece " << piece;
    }
}

TEST(FramingChunkIn, SizeLineExtensionsAreIgnored)
{
    Ctx c;
    start_chunked(c, "4;name=\"va;lue\" x\r\nabcd\r\n0\r\n\r\n");
    EXPECT_EQ("abcd", drain(c.get()));
}

TEST(FramingChunkIn, LowerAndUpperHexDigits)
{
    Ctx c;
    std::string data(0xAb, 'k');
    start_chunked(c, "aB\r\n" + data + "\r\n0\r\n\r\n");
    EXPECT_EQ(data, drain(c.get()));
}

TEST(FramingChunkIn, SeventeenHexDigitsUseTheFirstSixteen)
{
    /* 0000000000000003 then a 17th digit '7' that must not count */
    Ctx c;
    start_chunked(c, "00000000000000037\r\nabc\r\n0\r\n\r\n");
    EXPECT_EQ("abc", drain(c.get()));
}

TEST(FramingChunkIn, EmptyChunkedBodyEndsAtOnce)
{
    Ctx c;
    start_chunked(c, "0\r\n\r\n");
    EXPECT_NE(0, soap_recv(c.get()));
    EXPECT_EQ(EOF, c->ahead);
    EXPECT_EQ(0u, c->buflen);
}

TEST(FramingChunkIn, InputEndingInsideSizeLineIsEnd)
{
    Ctx c;
    start_chunked(c, "5");
    EXPECT_NE(0, soap_recv(c.get()));
    EXPECT_EQ(EOF, c->ahead);
}

TEST(FramingChunkIn, InputEndingInsideChunkGivesWhatCame)
{
    Ctx c;
    start_chunked(c, "a\r\nabc");
    EXPECT_EQ("abc", drain(c.get()));
}

TEST(FramingChunkIn, ChunkLargerThanBufferIsReadAcrossRefills)
{
    Ctx c;
    std::string data(SOAP_BUFLEN + 100, 'r');
    data.back() = 'E';
    start_chunked(c, "10064\r\n" + data + "\r\n0\r\n\r\n");
    EXPECT_EQ(data, drain(c.get()));
}

TEST(FramingChunkIn, BytesAlreadyBufferedAreReadAsChunks)
{
    /* the HTTP head parser leaves the body's start in buf */
    Ctx c;
    start_chunked(c, "3\r\n456\r\n0\r\n\r\n");
    memcpy(c->buf, "HEAD1\r\n2\r\n12\r\n", 14);
    c->bufidx = 7;
    c->chunkbuflen = 14;
    c->buflen = 7;
    EXPECT_EQ("12456", drain(c.get()));
}

TEST(FramingChunkIn, GetChunkCharRefillsAndReportsEnd)
{
    Ctx c;
    start_chunked(c, "ab", 1);
    c->bufidx = c->buflen = 0;
    EXPECT_EQ('a', soap_getchunkchar(c.get()));
    EXPECT_EQ(1u, c->chunkbuflen);
    EXPECT_EQ('b', soap_getchunkchar(c.get()));
    EXPECT_EQ(EOF, soap_getchunkchar(c.get()));
}

/* ------------------------------------------------------------------------ */
/* Input filter                                                              */
/* ------------------------------------------------------------------------ */

TEST(FramingRecvFilter, FilterOutputIsWhatTheReaderSees)
{
    Ctx c;
    c.io.attach(c.get(), "abc");
    c->mode = 0;
    c->ffilterrecv = [](struct soap *, char *b, size_t *n, size_t) {
        for (size_t i = 0; i < *n; i++)
            b[i] = (char)toupper((unsigned char)b[i]);
        return SOAP_OK;
    };
    EXPECT_EQ("ABC", drain(c.get()));
}

TEST(FramingRecvFilter, EndIsDeferredWhileTheFilterHasBytes)
{
    Ctx c;
    c.io.attach(c.get(), "");
    c->mode = 0;
    static int calls;
    calls = 0;
    c->ffilterrecv = [](struct soap *, char *b, size_t *n, size_t) {
        if (calls++ == 0) { /* the filter still holds two bytes when input ends */
            memcpy(b, "zz", 2);
            *n = 2;
        }
        return SOAP_OK;
    };
    EXPECT_EQ(0, soap_recv(c.get()));
    EXPECT_EQ(2u, c->buflen);
    EXPECT_NE(0, c->recverror);
    c->bufidx = c->buflen;
    EXPECT_NE(0, soap_recv(c.get()));
}

TEST(FramingRecvFilter, FilterFailureIsTheError)
{
    Ctx c;
    c.io.attach(c.get(), "abc");
    c->mode = 0;
    c->ffilterrecv = [](struct soap *, char *, size_t *, size_t) { return 55; };
    EXPECT_EQ(55, soap_recv(c.get()));
    EXPECT_EQ(55, c->error);
}

/* ------------------------------------------------------------------------ */
/* Skipping                                                                  */
/* ------------------------------------------------------------------------ */

TEST(FramingMove, SkipsAcrossRefillsAndReportsEnd)
{
    Ctx c;
    c.io.attach(c.get(), "0123456789");
    c.io.chunk = 3;
    c->mode = 0;
    EXPECT_EQ(0, soap_move(c.get(), 7));
    EXPECT_EQ('7', c->buf[c->bufidx]);
    EXPECT_EQ(EOF, soap_move(c.get(), 4));
}

TEST(FramingMove, LookAheadCountsAsOneByte)
{
    Ctx c;
    c.io.attach(c.get(), "bcd");
    c->mode = 0;
    c->ahead = 'a';
    EXPECT_EQ(0, soap_move(c.get(), 2));
    EXPECT_EQ(0, c->ahead);
    EXPECT_EQ('c', c->buf[c->bufidx]);
}

/* ------------------------------------------------------------------------ */
/* Output passes                                                             */
/* ------------------------------------------------------------------------ */

namespace {

/* The same bytes in both passes, as the writer would produce them. */
void write_body(struct soap *soap, size_t n)
{
    std::string piece(1000, 'b');
    while (n) {
        size_t k = std::min(n, piece.size());
        ASSERT_EQ(SOAP_OK, soap_send_raw(soap, piece.data(), k));
        n -= k;
    }
}

struct HeadLog {
    int posts = 0, responses = 0;
    size_t count = (size_t)-1;
    int status = -1;
    static HeadLog *of(struct soap *soap) { return static_cast<HeadLog *>(soap->data[1]); }
    static int post(struct soap *soap, const char *, const char *, int, const char *, const char *, size_t count)
    {
        of(soap)->posts++;
        of(soap)->count = count;
        return soap_send_raw(soap, "HEAD\r\n\r\n", 8);
    }
    static int response(struct soap *soap, int status, size_t count)
    {
        of(soap)->responses++;
        of(soap)->count = count;
        of(soap)->status = status;
        return soap_send_raw(soap, "RESP\r\n\r\n", 8);
    }
    void attach(struct soap *soap)
    {
        soap->data[1] = this;
        soap->fpost = post;
        soap->fresponse = response;
    }
};

} // namespace

TEST(FramingCount, BufferedOutputCountsFirst)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER;
    ASSERT_EQ(SOAP_OK, soap_begin_count(c.get()));
    EXPECT_TRUE(c->mode & SOAP_IO_LENGTH);
    write_body(c.get(), 12345);
    EXPECT_EQ(SOAP_OK, soap_end_count(c.get()));
    EXPECT_EQ(12345u, c->count);
    EXPECT_EQ("", c.io.out);
}

TEST(FramingCount, CountEqualsTheBytesSent)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER;
    soap_begin_count(c.get());
    write_body(c.get(), 70001);
    soap_end_count(c.get());
    size_t counted = c->count;
    ASSERT_EQ(SOAP_OK, soap_begin_send(c.get()));
    EXPECT_FALSE(c->mode & SOAP_IO_LENGTH);
    write_body(c.get(), 70001);
    ASSERT_EQ(SOAP_OK, soap_end_send(c.get()));
    EXPECT_EQ(counted, c.io.out.size());
    EXPECT_EQ(0u, c->count);
    EXPECT_EQ(SOAP_END, c->part);
}

TEST(FramingCount, StoreAndPlainChunkedOutputSkipTheCount)
{
    Ctx c;
    c->omode = SOAP_IO_STORE;
    soap_begin_count(c.get());
    EXPECT_FALSE(c->mode & SOAP_IO_LENGTH);
    c->omode = SOAP_IO_CHUNK;
    soap_begin_count(c.get());
    EXPECT_FALSE(c->mode & SOAP_IO_LENGTH);
    c->fpreparesend = [](struct soap *, const char *, size_t) { return SOAP_OK; };
    soap_begin_count(c.get());
    EXPECT_TRUE(c->mode & SOAP_IO_LENGTH);
}

TEST(FramingCount, PlainXmlIsNotCountedWithoutAHook)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER | SOAP_ENC_XML;
    soap_begin_count(c.get());
    EXPECT_FALSE(c->mode & SOAP_IO_LENGTH);
    c->omode = SOAP_IO_UDP;
    soap_begin_count(c.get());
    EXPECT_TRUE(c->mode & SOAP_ENC_XML);
    EXPECT_FALSE(c->mode & SOAP_IO_LENGTH);
}

TEST(FramingCount, LiteralStyleSelectsTreeModeUnlessGraph)
{
    Ctx c;
    c->encodingStyle = nullptr;
    c->omode = SOAP_IO_BUFFER;
    soap_begin_count(c.get());
    EXPECT_TRUE(c->mode & SOAP_XML_TREE);
    c->omode = SOAP_IO_BUFFER | SOAP_XML_GRAPH;
    soap_begin_count(c.get());
    EXPECT_FALSE(c->mode & SOAP_XML_TREE);
    c->encodingStyle = "";
    c->omode = SOAP_IO_BUFFER;
    soap_begin_count(c.get());
    EXPECT_FALSE(c->mode & SOAP_XML_TREE);
}

TEST(FramingCount, MtomAloneIsDropped)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER | SOAP_ENC_MTOM;
    soap_begin_count(c.get());
    EXPECT_FALSE(c->mode & SOAP_ENC_MTOM);
}

TEST(FramingCount, HooksRunAtTheEdgesOfTheCount)
{
    Ctx c;
    static int init, fin;
    init = fin = 0;
    c->fprepareinitsend = [](struct soap *) { return ++init, SOAP_OK; };
    c->fpreparefinalsend = [](struct soap *) { return ++fin, 66; };
    c->omode = SOAP_IO_BUFFER;
    EXPECT_EQ(SOAP_OK, soap_begin_count(c.get()));
    EXPECT_EQ(66, soap_end_count(c.get()));
    EXPECT_EQ(1, init);
    EXPECT_EQ(1, fin);
    c->omode = SOAP_IO_STORE; /* store mode runs the init hook when it sends */
    soap_begin_count(c.get());
    EXPECT_EQ(1, init);
}

TEST(FramingSend, ElementStateStartsAfresh)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER;
    c->ns = 1;
    c->level = 4;
    c->part = SOAP_END;
    ASSERT_EQ(SOAP_OK, soap_begin_send(c.get()));
    EXPECT_EQ(0, c->ns);
    EXPECT_EQ(0u, c->level);
    EXPECT_EQ(SOAP_BEGIN, c->part);
    EXPECT_EQ(0u, c->bufidx);
}

TEST(FramingSend, KeepAliveNeedsTheModeBit)
{
    Ctx c;
    c->keep_alive = 1;
    c->omode = SOAP_IO_BUFFER;
    soap_begin_send(c.get());
    EXPECT_EQ(0, c->keep_alive);
    c->keep_alive = 1;
    c->omode = SOAP_IO_BUFFER | SOAP_IO_KEEPALIVE;
    soap_begin_send(c.get());
    EXPECT_EQ(1, c->keep_alive);
}

TEST(FramingSend, CountedDatagramAbove65536Fails)
{
    Ctx c;
    c->omode = SOAP_IO_UDP | SOAP_IO_BUFFER;
    c->count = SOAP_BUFLEN + 1;
    EXPECT_EQ(SOAP_UDP_ERROR, soap_begin_send(c.get()));
    c->count = SOAP_BUFLEN;
    EXPECT_EQ(SOAP_OK, soap_begin_send(c.get()));
    EXPECT_TRUE(c->mode & SOAP_ENC_XML);
}

TEST(FramingSend, FlushModeOnASocketBuffersOrStores)
{
    Ctx c;
    c->socket = 99; /* never written to: fsend is MemIO's */
    c->omode = SOAP_IO_FLUSH;
    c->count = 0;
    c->mode = 0;
    soap_begin_send(c.get());
    EXPECT_EQ((uint32_t)SOAP_IO_STORE, c->mode & SOAP_IO);
    c->count = 10;
    c->mode = SOAP_IO_LENGTH;
    soap_begin_send(c.get());
    EXPECT_EQ((uint32_t)SOAP_IO_BUFFER, c->mode & SOAP_IO);
    c->socket = -1;
    soap_end_send(c.get());
    soap_end(c.get());
}

TEST(FramingSend, SendFailureEndsTheMessage)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER;
    soap_begin_send(c.get());
    soap_send_raw(c.get(), "abc", 3);
    c.io.fail_send = SOAP_TCP_ERROR;
    EXPECT_EQ(SOAP_TCP_ERROR, soap_end_send(c.get()));
}

/* ------------------------------------------------------------------------ */
/* Chunked messages                                                          */
/* ------------------------------------------------------------------------ */

TEST(FramingChunkedMessage, Exactly65536BytesIsOneChunk)
{
    Ctx c;
    c->omode = SOAP_IO_CHUNK;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    write_body(c.get(), SOAP_BUFLEN);
    ASSERT_EQ(SOAP_OK, soap_end_send(c.get()));
    const std::string &out = c.io.out;
    ASSERT_EQ(7u + SOAP_BUFLEN + 7u, out.size());
    EXPECT_EQ("10000\r\n", out.substr(0, 7));
    EXPECT_EQ("\r\n0\r\n\r\n", out.substr(out.size() - 7));
}

TEST(FramingChunkedMessage, EmptyBodyIsOnlyTheLastChunk)
{
    Ctx c;
    c->omode = SOAP_IO_CHUNK;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    ASSERT_EQ(SOAP_OK, soap_end_send(c.get()));
    EXPECT_EQ("\r\n0\r\n\r\n", c.io.out);
}

TEST(FramingChunkedMessage, BodyDecodesBackToTheSameBytes)
{
    Ctx c;
    c->omode = SOAP_IO_CHUNK;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    write_body(c.get(), 150000);
    ASSERT_EQ(SOAP_OK, soap_end_send(c.get()));
    Ctx r;
    start_chunked(r, c.io.out, 777);
    EXPECT_EQ(std::string(150000, 'b'), drain(r.get()));
}

/* ------------------------------------------------------------------------ */
/* Stored messages                                                           */
/* ------------------------------------------------------------------------ */

TEST(FramingStore, RequestHeadCarriesTheTrueLength)
{
    Ctx c;
    HeadLog head;
    head.attach(c.get());
    c->status = SOAP_POST;
    c->omode = SOAP_IO_STORE;
    soap_begin_count(c.get());
    ASSERT_EQ(SOAP_OK, soap_begin_send(c.get()));
    write_body(c.get(), 100000);
    EXPECT_EQ("", c.io.out); /* nothing leaves before the end */
    ASSERT_EQ(SOAP_OK, soap_end_send(c.get()));
    EXPECT_EQ(1, head.posts);
    EXPECT_EQ(0, head.responses);
    EXPECT_EQ(100000u, head.count);
    EXPECT_EQ("HEAD\r\n\r\n" + std::string(100000, 'b'), c.io.out);
    EXPECT_EQ((uint32_t)SOAP_IO_STORE, c->mode & SOAP_IO);
}

TEST(FramingStore, ResponseHeadForOtherStatus)
{
    Ctx c;
    HeadLog head;
    head.attach(c.get());
    c->status = 200;
    c->omode = SOAP_IO_STORE;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    write_body(c.get(), 10);
    ASSERT_EQ(SOAP_OK, soap_end_send(c.get()));
    EXPECT_EQ(1, head.responses);
    EXPECT_EQ(200, head.status);
    EXPECT_EQ(10u, head.count);
    EXPECT_EQ("RESP\r\n\r\n" + std::string(10, 'b'), c.io.out);
}

TEST(FramingStore, NoHeadForStopOrPlainXml)
{
    Ctx c;
    HeadLog head;
    head.attach(c.get());
    c->status = SOAP_STOP;
    c->omode = SOAP_IO_STORE;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    write_body(c.get(), 3);
    soap_end_send(c.get());
    c->status = SOAP_POST;
    c->omode = SOAP_IO_STORE | SOAP_ENC_XML;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    write_body(c.get(), 3);
    soap_end_send(c.get());
    EXPECT_EQ(0, head.posts + head.responses);
    EXPECT_EQ("bbbbbb", c.io.out);
}

TEST(FramingStore, HeadFailureSendsNothingMore)
{
    Ctx c;
    c->fpost = [](struct soap *, const char *, const char *, int, const char *, const char *, size_t) { return 28; };
    c->status = SOAP_POST;
    c->omode = SOAP_IO_STORE;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    write_body(c.get(), 5);
    EXPECT_EQ(28, soap_end_send(c.get()));
    EXPECT_EQ("", c.io.out);
}

/* ------------------------------------------------------------------------ */
/* Beginning to receive: what the message is                                 */
/* ------------------------------------------------------------------------ */

namespace {

/* A stand-in for the HTTP parser: takes the head up to the blank line, sets
 * status, length and the input mode from a few fixed headers. */
struct FakeHttp {
    int calls = 0;
    int result = SOAP_OK;
    static int parse(struct soap *soap)
    {
        FakeHttp *f = static_cast<FakeHttp *>(soap->data[2]);
        f->calls++;
        std::string head;
        for (;;) {
            soap_wchar c = soap->ahead;
            if (c)
                soap->ahead = 0;
            else if (soap->bufidx < soap->buflen || !soap_recv(soap))
                c = (unsigned char)soap->buf[soap->bufidx++];
            else
                return SOAP_EOF;
            head += (char)c;
            if (head.size() >= 4 && head.compare(head.size() - 4, 4, "\r\n\r\n") == 0)
                break;
        }
        soap->status = atoi(head.c_str() + 9);
        size_t p = head.find("Content-Length: ");
        soap->length = p == std::string::npos ? 0 : strtoul(head.c_str() + p + 16, nullptr, 10);
        if (head.find("chunked") != std::string::npos)
            soap->imode = (soap->imode & ~SOAP_IO) | SOAP_IO_CHUNK;
        return f->result;
    }
    void attach(struct soap *soap)
    {
        soap->data[2] = this;
        soap->fparse = parse;
    }
};

std::string rest(struct soap *soap)
{
    std::string r;
    if (soap->ahead > 0)
        r += (char)soap->ahead;
    soap->ahead = 0;
    return r + drain(soap);
}

} // namespace

TEST(FramingBeginRecv, XmlWithoutHeadIsReadAsIs)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), " \r\n\t<a/>");
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ(0, http.calls);
    EXPECT_EQ('<', c->ahead);
    EXPECT_EQ("<a/>", rest(c.get()));
}

TEST(FramingBeginRecv, Utf8ByteOrderMarkIsDropped)
{
    Ctx c;
    c.io.attach(c.get(), "\xEF\xBB\xBF  <a/>");
    c->imode = SOAP_ENC_LATIN;
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_FALSE(c->mode & SOAP_ENC_LATIN);
    EXPECT_EQ("<a/>", rest(c.get()));
}

TEST(FramingBeginRecv, Utf8ByteOrderMarkSplitAcrossReads)
{
    Ctx c;
    c.io.attach(c.get(), "\xEF\xBB\xBF<a/>");
    c.io.chunk = 1;
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ("<a/>", rest(c.get()));
}

TEST(FramingBeginRecv, SixteenBitByteOrderMarksAreRefused)
{
    for (const char *bom : {"\xFE\xFF\0<", "\xFF\xFE<\0"}) {
        Ctx c;
        c.io.attach(c.get(), std::string(bom, 4));
        EXPECT_EQ(SOAP_UTF_ERROR, soap_begin_recv(c.get()));
        EXPECT_EQ(SOAP_UTF_ERROR, c->error);
    }
}

TEST(FramingBeginRecv, TwoDashesStartMimeWithoutHead)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), "--boundary\r\nContent-Type: text/xml\r\n\r\n<a/>");
    soap_begin_recv(c.get());
    EXPECT_TRUE(c->mode & SOAP_ENC_MIME);
    EXPECT_EQ(0, http.calls);
}

TEST(FramingBeginRecv, DimeRecordHeadIsRecognised)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), std::string("\x0C\x20\0\0", 4) + "rest");
    soap_begin_recv(c.get());
    EXPECT_TRUE(c->mode & SOAP_ENC_DIME);
    EXPECT_EQ(0, http.calls);
}

TEST(FramingBeginRecv, EmptyInputIsEndOfFile)
{
    Ctx c;
    c.io.attach(c.get(), "  \r\n");
    EXPECT_EQ(SOAP_EOF, soap_begin_recv(c.get()));
}

TEST(FramingBeginRecv, HttpHeadIsParsedThenBodyFollows)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n<a/>");
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ(1, http.calls);
    EXPECT_EQ(200, c->status);
    EXPECT_EQ("<a/>", rest(c.get()));
}

TEST(FramingBeginRecv, ChunkedBodyAfterHeadInTheSameRead)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\n<a/>\r\n3\r\n<b>\r\n0\r\n\r\n");
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ((uint32_t)SOAP_IO_CHUNK, c->mode & SOAP_IO);
    EXPECT_EQ(0u, c->imode & SOAP_IO); /* the parser's input mode isn't kept */
    EXPECT_EQ("<a/><b>", drain(c.get()));
}

TEST(FramingBeginRecv, ChunkedInputModeMakesTheReplyChunked)
{
    Ctx c;
    c.io.attach(c.get(), "<a/>");
    c->imode = SOAP_IO_CHUNK;
    c->omode = SOAP_IO_STORE | SOAP_ENC_XML;
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ((uint32_t)(SOAP_IO_CHUNK | SOAP_ENC_XML), c->omode);
    EXPECT_EQ(0u, c->imode & SOAP_IO);
}

TEST(FramingBeginRecv, BlanksBeforeADimeLikeByteAreSkipped)
{
    /* only the very first byte may open a DIME record */
    Ctx c;
    c.io.attach(c.get(), " \r <a/>");
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_FALSE(c->mode & SOAP_ENC_DIME);
    EXPECT_EQ("<a/>", rest(c.get()));
}

TEST(FramingBeginRecv, EmptyOkAnswerIsNoData)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(SOAP_NO_DATA, soap_begin_recv(c.get()));
}

TEST(FramingBeginRecv, EmptyAcceptedAnswerIsItsStatus)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), "HTTP/1.1 202 Accepted\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(202, soap_begin_recv(c.get()));
}

TEST(FramingBeginRecv, ParserFailureDropsKeepAlive)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    http.result = 404;
    c->imode = SOAP_IO_KEEPALIVE;
    c->keep_alive = 1;
    c.io.attach(c.get(), "HTTP/1.1 404 Not Found\r\n\r\n");
    EXPECT_EQ(404, soap_begin_recv(c.get()));
    EXPECT_EQ(0, c->keep_alive);
}

TEST(FramingBeginRecv, StopFromTheParserIsReturned)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    http.result = SOAP_STOP;
    c.io.attach(c.get(), "GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(SOAP_STOP, soap_begin_recv(c.get()));
}

TEST(FramingBeginRecv, FormStatusGoesToTheFormHook)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    http.result = SOAP_FORM;
    c->fform = [](struct soap *) { return SOAP_OK; };
    c.io.attach(c.get(), "POST / HTTP/1.1\r\nContent-Length: 3\r\n\r\na=b");
    EXPECT_EQ(SOAP_STOP, soap_begin_recv(c.get()));
}

TEST(FramingBeginRecv, StateOfThePreviousMessageIsCleared)
{
    Ctx c;
    c.io.attach(c.get(), "<a/>");
    c->error = 12;
    c->level = 3;
    c->peeked = 1;
    c->version = 2;
    c->status = 500;
    c->action = "x";
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ(0, c->error);
    EXPECT_EQ(0u, c->level);
    EXPECT_EQ(0, c->peeked);
    EXPECT_EQ(0, c->version);
    EXPECT_EQ(0, c->status);
    EXPECT_EQ(nullptr, c->action);
    EXPECT_EQ(SOAP_BEGIN, c->part);
}

/* ------------------------------------------------------------------------ */
/* Ending a received message                                                 */
/* ------------------------------------------------------------------------ */

TEST(FramingEndRecv, KeptConnectionKeepsTheNextMessageInTheBuffer)
{
    Ctx c;
    c.io.attach(c.get(), "<first/>\r\n<second/>");
    c->imode = SOAP_IO_KEEPALIVE;
    c->keep_alive = 1;
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    ASSERT_EQ(0, soap_move(c.get(), 8)); /* the reader takes "<first/>" */
    ASSERT_EQ(SOAP_OK, soap_end_recv(c.get()));
    EXPECT_EQ(SOAP_END, c->part);
    EXPECT_EQ(c.io.in.size(), c.io.pos); /* one read brought both */
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ("<second/>", rest(c.get()));
}

TEST(FramingEndRecv, WithoutKeepAliveTheBufferIsDropped)
{
    Ctx c;
    c.io.attach(c.get(), "<first/><second/>");
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    soap_move(c.get(), 8);
    soap_end_recv(c.get());
    EXPECT_EQ(SOAP_EOF, soap_begin_recv(c.get()));
}

TEST(FramingEndRecv, ChunkedInputIsDrainedToItsEnd)
{
    Ctx c;
    FakeHttp http;
    http.attach(c.get());
    c.io.attach(c.get(), "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n4\r\n<a/>\r\n5\r\nextra\r\n0\r\n\r\n");
    c.io.chunk = 50;
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    soap_move(c.get(), 4);
    ASSERT_EQ(SOAP_OK, soap_end_recv(c.get()));
    EXPECT_EQ(EOF, c->ahead);
    EXPECT_EQ(c.io.in.size(), c.io.pos);
}

TEST(FramingEndRecv, FinalHookRunsLast)
{
    Ctx c;
    c.io.attach(c.get(), "<a/>");
    c->fpreparefinalrecv = [](struct soap *) { return 42; };
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ(42, soap_end_recv(c.get()));
}

TEST(FramingEndRecv, InputFilterIsClearedAtTheEnd)
{
    Ctx c;
    c.io.attach(c.get(), "<a/>");
    c->ffilterrecv = [](struct soap *, char *, size_t *, size_t) { return SOAP_OK; };
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    soap_end_recv(c.get());
    EXPECT_EQ(nullptr, c->ffilterrecv);
}

/* ------------------------------------------------------------------------ */
/* The SOAP record of a DIME message                                         */
/* ------------------------------------------------------------------------ */

namespace {
std::string dime_head(unsigned char b0, unsigned char b1, size_t size)
{
    std::string h(12, '\0');
    h[0] = (char)b0;
    h[1] = (char)b1;
    h[8] = (char)(size >> 24);
    h[9] = (char)(size >> 16);
    h[10] = (char)(size >> 8);
    h[11] = (char)size;
    return h;
}
} // namespace

TEST(FramingDimeRecord, ChunkHeadsAndPaddingAreTakenOut)
{
    /* the first chunk's head has been read already: 5 bytes follow */
    std::string in = "hello" + std::string(3, '\0') + dime_head(0x09, 0x00, 3) + "abc" + std::string(1, '\0') +
                     dime_head(0x0A, 0x00, 2) + "xy" + std::string(2, '\0');
    for (size_t piece : {(size_t)1, (size_t)5, (size_t)7, in.size()}) {
        Ctx c;
        c.io.attach(c.get(), in);
        c.io.chunk = piece;
        c->mode = SOAP_ENC_DIME;
        c->dime.size = 5;
        c->dime.chunksize = 5;
        c->dime.buflen = 0;
        c->dime.flags = 1;
        std::string seen = drain(c.get());
        EXPECT_EQ(0u, seen.find("helloabcxy")) << "piece " << piece;
    }
}
