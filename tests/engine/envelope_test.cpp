/* envelope_test.cpp -- pins the SOAP structure around a message (Envelope,
 * Header, Body in both directions and the version learned from input), the
 * text of every error code, the fault record's fields, the printed forms of a
 * fault, and a fault's way in and out, through the in-memory transport.
 */
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>

#define ORVSOAP_NOFRAME 1
#include "memio.h"
#include "soapengine.h"
#include "soapenv_access.h"

namespace {

const char ENV11[] = "http://schemas.xmlsoap.org/soap/envelope/";
const char ENV12[] = "http://www.w3.org/2003/05/soap-envelope";

struct Ctx {
    std::unique_ptr<soap> s{new soap()};
    MemIO io;
    Ctx()
    {
        io.attach(s.get());
        s->fpoll = nullptr;
    }
    soap *operator->() { return s.get(); }
    soap *get() { return s.get(); }
};

std::string sprint(struct soap *soap)
{
    char buf[2048];
    strcpy(buf, "untouched");
    return soap_sprint_fault(soap, buf, sizeof(buf));
}

std::string print(struct soap *soap, void (*fn)(struct soap *, FILE *))
{
    char *data = nullptr;
    size_t size = 0;
    FILE *f = open_memstream(&data, &size);
    fn(soap, f);
    fclose(f);
    std::string r(data, size);
    free(data);
    return r;
}

/* An envelope with the given prefix bound to the given envelope URI. */
std::string envelope(const std::string &uri, const std::string &body, const std::string &header = "",
                     const std::string &p = "SOAP-ENV")
{
    return "<?xml version=\"1.0\"?>\n<" + p + ":Envelope xmlns:" + p + "=\"" + uri + "\">" + header + "<" + p +
           ":Body>" + body + "</" + p + ":Body></" + p + ":Envelope>";
}

/* Reads up to the first child of the Body, as a proxy does; returns the
 * first failure. */
int open_body(Ctx &c)
{
    if (soap_begin_recv(c.get()) || soap_envelope_begin_in(c.get()) || soap_recv_header(c.get()) ||
        soap_body_begin_in(c.get()))
        return c->error;
    return SOAP_OK;
}

/* The answer element wasn't there: what a proxy then does. */
int expect_answer_then_fault(Ctx &c)
{
    if (open_body(c))
        return soap_closesock(c.get());
    if (!soap_element_begin_in(c.get(), "m:answer", 0, nullptr))
        return SOAP_OK;
    return soap_recv_fault(c.get(), 0);
}

} // namespace

/* ------------------------------------------------------------------------ */
/* Envelope out                                                              */
/* ------------------------------------------------------------------------ */

namespace {
std::string write_envelope(Ctx &c, bool with_fault = false)
{
    c->omode = SOAP_IO_BUFFER;
    EXPECT_EQ(SOAP_OK, soap_begin_count(c.get()));
    auto pieces = [&] {
        return soap_envelope_begin_out(c.get()) || soap_putheader(c.get()) || soap_body_begin_out(c.get()) ||
               (with_fault && soap_putfault(c.get())) || soap_body_end_out(c.get()) ||
               soap_envelope_end_out(c.get());
    };
    EXPECT_FALSE(pieces());
    soap_end_count(c.get());
    size_t counted = c->count;
    EXPECT_EQ(SOAP_OK, soap_begin_send(c.get()));
    EXPECT_FALSE(pieces());
    EXPECT_EQ(SOAP_OK, soap_end_send(c.get()));
    EXPECT_EQ(counted, c.io.out.size()) << "count pass and real pass differ";
    return c.io.out;
}
} // namespace

TEST(EnvelopeOut, LiteralEnvelopeWithEmptyBody)
{
    Ctx c;
    c->encodingStyle = nullptr;
    std::string out = write_envelope(c);
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
              "xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\" "
              "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
              "<SOAP-ENV:Body></SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n",
              out);
    EXPECT_EQ(SOAP_END, c->part);
}

TEST(EnvelopeOut, EncodedSoap11BodyNamesItsStyle)
{
    Ctx c;
    c->encodingStyle = "";
    std::string out = write_envelope(c);
    EXPECT_NE(std::string::npos,
              out.find("<SOAP-ENV:Body SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">"));
}

TEST(EnvelopeOut, BodyIdUnderWsuMode)
{
    Ctx c;
    c->encodingStyle = nullptr;
    c->omode = SOAP_IO_BUFFER | SOAP_SEC_WSUID;
    soap_begin_send(c.get());
    soap_envelope_begin_out(c.get());
    soap_body_begin_out(c.get());
    soap_flush(c.get());
    EXPECT_NE(std::string::npos, c.io.out.find("<SOAP-ENV:Body wsu:Id=\"Body\">"));
}

TEST(EnvelopeOut, PhasesFollowTheElements)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER;
    soap_begin_send(c.get());
    EXPECT_EQ(SOAP_BEGIN, c->part);
    soap_envelope_begin_out(c.get());
    EXPECT_EQ(SOAP_IN_ENVELOPE, c->part);
    soap_body_begin_out(c.get());
    EXPECT_EQ(SOAP_IN_BODY, c->part);
    soap_body_end_out(c.get());
    EXPECT_EQ(SOAP_END_BODY, c->part);
    soap_envelope_end_out(c.get());
    EXPECT_EQ(SOAP_END_ENVELOPE, c->part);
}

TEST(EnvelopeOut, NoHeaderElementWithoutAHeader)
{
    Ctx c;
    EXPECT_EQ(std::string::npos, write_envelope(c).find("Header"));
}

TEST(EnvelopeOut, HeaderRecordGivesHeaderElement)
{
    Ctx c;
    soap_header(c.get());
    ASSERT_NE(nullptr, c->header);
    EXPECT_NE(std::string::npos, write_envelope(c).find("<SOAP-ENV:Header></SOAP-ENV:Header><SOAP-ENV:Body"));
}

TEST(EnvelopeOut, FirstMimePartHead)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER;
    soap_begin_send(c.get());
    c->mode |= SOAP_ENC_MIME;
    c->mime.boundary = (char *)"==b==";
    c->mime.start = "<root>";
    c->version = 1;
    soap_envelope_begin_out(c.get());
    soap_flush(c.get());
    EXPECT_EQ(0u, c.io.out.find("--==b==\r\nContent-Type: text/xml; charset=utf-8\r\n"
                                "Content-Transfer-Encoding: binary\r\nContent-ID: <root>\r\n\r\n<?xml"));
}

TEST(EnvelopeOut, FirstMimePartHeadOfMtomUnderSoap12)
{
    Ctx c;
    c->omode = SOAP_IO_BUFFER;
    soap_begin_send(c.get());
    c->mode |= SOAP_ENC_MIME | SOAP_ENC_MTOM;
    c->mime.boundary = (char *)"B";
    c->mime.start = "<s>";
    c->version = 2;
    soap_envelope_begin_out(c.get());
    soap_flush(c.get());
    EXPECT_EQ(0u, c.io.out.find("--B\r\nContent-Type: application/xop+xml; charset=utf-8; "
                                "type=\"application/soap+xml\"\r\n"));
}

/* ------------------------------------------------------------------------ */
/* Envelope in                                                               */
/* ------------------------------------------------------------------------ */

TEST(EnvelopeIn, Soap11EnvelopeSetsVersion1)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV11, "<m:a xmlns:m=\"urn:m\"/>"));
    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_EQ(1, c->version);
    EXPECT_EQ(nullptr, c->header); /* no Header is no error */
    EXPECT_EQ(SOAP_IN_BODY, c->part);
}

TEST(EnvelopeIn, Soap12EnvelopeSetsVersion2AndItsEncoding)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV12, "", "", "env"));
    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_EQ(2, c->version);
    ASSERT_NE(nullptr, c->local_namespaces);
    ASSERT_NE(nullptr, c->local_namespaces[1].out);
    EXPECT_STREQ("http://www.w3.org/2003/05/soap-encoding", c->local_namespaces[1].out);
}

TEST(EnvelopeIn, EnvelopeInUnknownNamespaceIsVersionMismatch)
{
    Ctx c;
    c.io.attach(c.get(), envelope("urn:not-soap", ""));
    soap_begin_recv(c.get());
    EXPECT_EQ(SOAP_VERSIONMISMATCH, soap_envelope_begin_in(c.get()));
    soap_set_fault(c.get());
    EXPECT_STREQ("SOAP-ENV:VersionMismatch", *soap_faultcode(c.get()));
    EXPECT_STREQ("Invalid SOAP message or SOAP version mismatch", *soap_faultstring(c.get()));
}

TEST(EnvelopeIn, OtherRootElementIsTagMismatch)
{
    Ctx c;
    c.io.attach(c.get(), "<html><body>hi</body></html>");
    soap_begin_recv(c.get());
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_envelope_begin_in(c.get()));
}

TEST(EnvelopeIn, HttpStatusExplainsMissingEnvelope)
{
    /* the fake parser lets a 404 through, as a 400 or 500 would be */
    Ctx c;
    c->fparse = [](struct soap *soap) {
        while (soap->bufidx < soap->buflen && soap->buf[soap->bufidx] != '\n')
            soap->bufidx++;
        soap->bufidx++;
        soap->ahead = 0;
        soap->status = 404;
        return SOAP_OK;
    };
    c.io.attach(c.get(), "HTTP/1.1 404 Not Found\nnot xml at all");
    ASSERT_EQ(SOAP_OK, soap_begin_recv(c.get()));
    EXPECT_EQ(404, soap_envelope_begin_in(c.get()));
    EXPECT_EQ("Error 404 fault: SOAP-ENV:Client [no subcode]\n\"HTTP Error: 404 Not Found\"\nDetail: [no detail]\n",
              sprint(c.get()));
}

TEST(EnvelopeIn, EmptyBodyIsAcceptedAndClosesWithoutReading)
{
    Ctx c;
    c.io.attach(c.get(), "<SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\">"
                         "<SOAP-ENV:Body/></SOAP-ENV:Envelope>");
    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_EQ(SOAP_NO_BODY, c->part);
    c->error = SOAP_NO_TAG;
    EXPECT_EQ(SOAP_OK, soap_body_end_in(c.get()));
    EXPECT_EQ(SOAP_OK, c->error);
    EXPECT_EQ(SOAP_OK, soap_envelope_end_in(c.get()));
    EXPECT_EQ(SOAP_END_ENVELOPE, c->part);
}

TEST(EnvelopeIn, FullMessageClosesCleanly)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV11, "<m:a xmlns:m=\"urn:m\">1</m:a>"));
    ASSERT_EQ(SOAP_OK, open_body(c));
    ASSERT_EQ(SOAP_OK, soap_ignore_element(c.get()));
    EXPECT_EQ(SOAP_OK, soap_body_end_in(c.get()));
    EXPECT_EQ(SOAP_OK, soap_envelope_end_in(c.get()));
    EXPECT_EQ(SOAP_OK, soap_end_recv(c.get()));
    EXPECT_EQ(0u, c->level);
}

TEST(EnvelopeIn, HeaderIsReadAndItsHookRuns)
{
    Ctx c;
    static int hooked;
    hooked = 0;
    c->fheader = [](struct soap *) { return ++hooked, SOAP_OK; };
    c.io.attach(c.get(), envelope(ENV11, "", "<SOAP-ENV:Header><x:h xmlns:x=\"urn:x\">1</x:h></SOAP-ENV:Header>"));
    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_NE(nullptr, c->header);
    EXPECT_EQ(1, hooked);
}

TEST(EnvelopeIn, HeaderEntryThatMustBeUnderstoodFails)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV11, "",
                                  "<SOAP-ENV:Header><x:h xmlns:x=\"urn:x\" SOAP-ENV:mustUnderstand=\"1\">1</x:h>"
                                  "</SOAP-ENV:Header>"));
    EXPECT_EQ(SOAP_MUSTUNDERSTAND, open_body(c));
    soap_set_fault(c.get());
    EXPECT_STREQ("SOAP-ENV:MustUnderstand", *soap_faultcode(c.get()));
}

TEST(EnvelopeIn, VersionFollowsEachMessageOnAKeptConnection)
{
    Ctx c;
    c->imode = SOAP_IO_KEEPALIVE;
    c->keep_alive = 1;
    c.io.attach(c.get(), envelope(ENV12, "", "", "env") + "\r\n" + envelope(ENV11, ""));
    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_EQ(2, c->version);
    ASSERT_EQ(SOAP_OK, soap_body_end_in(c.get()));
    ASSERT_EQ(SOAP_OK, soap_envelope_end_in(c.get()));
    ASSERT_EQ(SOAP_OK, soap_end_recv(c.get()));
    EXPECT_EQ(c.io.in.size(), c.io.pos) << "both messages came in one read";

    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_EQ(1, c->version);
    EXPECT_EQ(nullptr, c->local_namespaces[0].out) << "the SOAP 1.2 variant was forgotten";
    EXPECT_EQ(nullptr, c->local_namespaces[1].out);
    ASSERT_EQ(SOAP_OK, soap_body_end_in(c.get()));
    ASSERT_EQ(SOAP_OK, soap_envelope_end_in(c.get()));
    EXPECT_EQ(SOAP_OK, soap_end_recv(c.get()));
}

TEST(EnvelopeIn, ReplyIsWrittenInTheVersionThatArrived)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV12, "", "", "env"));
    ASSERT_EQ(SOAP_OK, open_body(c));
    soap_body_end_in(c.get());
    soap_envelope_end_in(c.get());
    soap_end_recv(c.get());
    c.io.out.clear();
    c->omode = SOAP_IO_BUFFER;
    c->encodingStyle = nullptr;
    soap_begin_count(c.get());
    soap_begin_send(c.get());
    soap_envelope_begin_out(c.get());
    soap_body_begin_out(c.get());
    soap_body_end_out(c.get());
    soap_envelope_end_out(c.get());
    soap_end_send(c.get());
    EXPECT_NE(std::string::npos, c.io.out.find("xmlns:SOAP-ENV=\"http://www.w3.org/2003/05/soap-envelope\""));
    EXPECT_NE(std::string::npos, c.io.out.find("xmlns:SOAP-ENC=\"http://www.w3.org/2003/05/soap-encoding\""));
}

/* ------------------------------------------------------------------------ */
/* Error texts                                                               */
/* ------------------------------------------------------------------------ */

namespace {
std::string text_of(int code, int version = 1)
{
    Ctx c;
    c->version = (short)version;
    c->error = code;
    soap_set_fault(c.get());
    const char *s = *soap_faultstring(c.get());
    return s ? s : "(null)";
}
} // namespace

TEST(ErrorText, FixedTexts)
{
    EXPECT_EQ("Client fault", text_of(SOAP_CLI_FAULT));
    EXPECT_EQ("Server fault", text_of(SOAP_SVR_FAULT));
    EXPECT_EQ("Well-formedness violation", text_of(SOAP_SYNTAX_ERROR));
    EXPECT_EQ("No XML root element", text_of(SOAP_NO_TAG));
    EXPECT_EQ("Array index out of bounds", text_of(SOAP_IOB));
    EXPECT_EQ("User data error", text_of(SOAP_USER_ERROR));
    EXPECT_EQ("Fatal error", text_of(SOAP_FATAL_ERROR));
    EXPECT_EQ("Data required for operation", text_of(SOAP_NO_DATA));
    EXPECT_EQ("HTTP GET method not implemented", text_of(SOAP_GET_METHOD));
    EXPECT_EQ("HTTP PUT method not implemented", text_of(SOAP_PUT_METHOD));
    EXPECT_EQ("HTTP method not implemented", text_of(SOAP_HTTP_METHOD));
    EXPECT_EQ("Out of memory", text_of(SOAP_EOM));
    EXPECT_EQ("Memory overflow or memory corruption error", text_of(SOAP_MOE));
    EXPECT_EQ("Header line too long", text_of(SOAP_HDR));
    EXPECT_EQ("Message too large for UDP packet", text_of(SOAP_UDP_ERROR));
    EXPECT_EQ("An HTTP processing error occurred", text_of(SOAP_HTTP_ERROR));
    EXPECT_EQ("SSL/TLS error", text_of(SOAP_SSL_ERROR));
    EXPECT_EQ("Zlib/gzip not installed for (de)compression: recompile with -DWITH_GZIP", text_of(SOAP_ZLIB_ERROR));
    EXPECT_EQ("DIME format error", text_of(SOAP_DIME_ERROR));
    EXPECT_EQ("DIME href to missing attachment", text_of(SOAP_DIME_HREF));
    EXPECT_EQ("DIME version/transmission error", text_of(SOAP_DIME_MISMATCH));
    EXPECT_EQ("End of DIME error", text_of(SOAP_DIME_END));
    EXPECT_EQ("MIME format error", text_of(SOAP_MIME_ERROR));
    EXPECT_EQ("MIME href to missing attachment", text_of(SOAP_MIME_HREF));
    EXPECT_EQ("End of MIME error", text_of(SOAP_MIME_END));
    EXPECT_EQ("Invalid SOAP message or SOAP version mismatch", text_of(SOAP_VERSIONMISMATCH));
    EXPECT_EQ("Plugin registry error", text_of(SOAP_PLUGIN_ERROR));
    EXPECT_EQ("Unsupported SOAP data encoding", text_of(SOAP_DATAENCODINGUNKNOWN));
    EXPECT_EQ("Maximum number of open connections was reached (no define HAVE_POLL): increase FD_SETSIZE",
              text_of(SOAP_FD_EXCEEDED));
    EXPECT_EQ("UTF content encoding error", text_of(SOAP_UTF_ERROR));
    EXPECT_EQ("An HTTP NTLM authentication error occurred", text_of(SOAP_NTLM_ERROR));
    EXPECT_EQ("Stopped: no response to be sent or received (informative)", text_of(SOAP_STOP));
}

TEST(ErrorText, CodesWithoutTextAreNumbered)
{
    EXPECT_EQ("Error 17", text_of(17));
    EXPECT_EQ("Error 18", text_of(18));
    EXPECT_EQ("Error 49", text_of(49));
    EXPECT_EQ("Error 200", text_of(200));
    EXPECT_EQ("Error 600", text_of(600));
    EXPECT_EQ("Error -7", text_of(-7));
}

TEST(ErrorText, HttpStatusesCarryTheirPhrase)
{
    EXPECT_EQ("HTTP Error: 201 Created", text_of(201));
    EXPECT_EQ("HTTP Error: 404 Not Found", text_of(404));
    EXPECT_EQ("HTTP Error: 500 Internal Server Error", text_of(500));
    EXPECT_EQ("HTTP Error: 599 ", text_of(599));
}

TEST(ErrorText, FaultCodeAndOkHaveNoText)
{
    EXPECT_EQ("(null)", text_of(SOAP_FAULT));
    EXPECT_EQ("(null)", text_of(SOAP_OK));
}

TEST(ErrorText, ValidationTextsNameTheElement)
{
    Ctx c;
    c->error = SOAP_TAG_MISMATCH;
    strcpy(c->tag, "m:x");
    soap_set_fault(c.get());
    EXPECT_STREQ("Validation constraint violation: tag name or namespace mismatch in element 'm:x'",
                 *soap_faultstring(c.get()));

    Ctx d;
    d->error = SOAP_TYPE;
    d->tag[0] = '\0';
    strcpy(d->type, "xsd:int");
    soap_set_fault(d.get());
    EXPECT_STREQ("Validation constraint violation: data type mismatch xsd:int", *soap_faultstring(d.get()));
}

TEST(ErrorText, AllValidationCodes)
{
    struct {
        int code;
        const char *text;
    } rows[] = {
        {SOAP_NAMESPACE, "namespace error"},
        {SOAP_NULL, "nil not allowed"},
        {SOAP_DUPLICATE_ID, "multiple definitions (use the SOAP_XML_TREE flag) of the same id #i"},
        {SOAP_MISSING_ID, "missing id for ref #i"},
        {SOAP_HREF, "incompatible object type ref/id pair #i"},
        {SOAP_REQUIRED, "missing required attribute"},
        {SOAP_PROHIBITED, "prohibited attribute present"},
        {SOAP_OCCURS, "occurrence violation"},
        {SOAP_LENGTH, "content range or length violation"},
    };
    for (auto &r : rows) {
        Ctx c;
        c->error = r.code;
        c->tag[0] = '\0';
        strcpy(c->id, "#i");
        soap_set_fault(c.get());
        EXPECT_EQ(std::string("Validation constraint violation: ") + r.text, *soap_faultstring(c.get()));
    }
}

TEST(ErrorText, ElementNamesInMustUnderstandAndNoMethod)
{
    Ctx c;
    c->error = SOAP_MUSTUNDERSTAND;
    strcpy(c->tag, "h:x");
    soap_set_fault(c.get());
    EXPECT_STREQ("The data in element 'h:x' must be understood but cannot be handled", *soap_faultstring(c.get()));
    EXPECT_STREQ("SOAP-ENV:MustUnderstand", *soap_faultcode(c.get()));

    Ctx d;
    d->error = SOAP_NO_METHOD;
    strcpy(d->tag, "m:op");
    soap_set_fault(d.get());
    EXPECT_STREQ("Method 'm:op' not implemented: method name or namespace not recognized", *soap_faultstring(d.get()));
}

TEST(ErrorText, OverlongTagIsCutNotOverrun)
{
    Ctx c;
    c->error = SOAP_MUSTUNDERSTAND;
    memset(c->tag, 'x', sizeof(c->tag) - 1);
    c->tag[sizeof(c->tag) - 1] = '\0';
    soap_set_fault(c.get());
    EXPECT_EQ(sizeof(c->msgbuf) - 1, strlen(*soap_faultstring(c.get())));
}

TEST(ErrorText, CodeTextsByVersion)
{
    Ctx c;
    c->version = 2;
    c->error = SOAP_DATAENCODINGUNKNOWN;
    soap_set_fault(c.get());
    EXPECT_STREQ("SOAP-ENV:DataEncodingUnknown", *soap_faultcode(c.get()));

    Ctx d;
    d->version = 2;
    d->error = SOAP_NO_TAG;
    soap_set_fault(d.get());
    EXPECT_STREQ("SOAP-ENV:Sender", *soap_faultcode(d.get()));

    Ctx e;
    e->version = 1;
    e->error = SOAP_NO_TAG;
    soap_set_fault(e.get());
    EXPECT_STREQ("SOAP-ENV:Client", *soap_faultcode(e.get()));
}

TEST(ErrorText, IdErrorsHaveSubcodesUnderSoap12Only)
{
    Ctx c;
    c->version = 2;
    c->error = SOAP_DUPLICATE_ID;
    soap_set_fault(c.get());
    EXPECT_STREQ("SOAP-ENC:DuplicateID", soap_check_faultsubcode(c.get()));
    EXPECT_STREQ("SOAP-ENV:Sender", *soap_faultcode(c.get()));

    Ctx d;
    d->version = 2;
    d->error = SOAP_MISSING_ID;
    soap_set_fault(d.get());
    EXPECT_STREQ("SOAP-ENC:MissingID", soap_check_faultsubcode(d.get()));

    Ctx e;
    e->version = 1;
    e->error = SOAP_MISSING_ID;
    soap_set_fault(e.get());
    EXPECT_STREQ("SOAP-ENV:Client", *soap_faultcode(e.get()));
}

TEST(ErrorText, PresetStringIsKept)
{
    Ctx c;
    c->error = SOAP_MUSTUNDERSTAND;
    *soap_faultstring(c.get()) = "mine";
    soap_set_fault(c.get());
    EXPECT_STREQ("mine", *soap_faultstring(c.get()));
    EXPECT_STREQ("SOAP-ENV:Client", *soap_faultcode(c.get())) << "a set string stops before the code table";
}

TEST(ErrorText, ErrorHookFillsFirst)
{
    Ctx c;
    c->error = SOAP_EOM;
    c->fseterror = [](struct soap *, const char **code, const char **text) {
        *code = "x:Hook";
        *text = "from hook";
    };
    soap_set_fault(c.get());
    EXPECT_STREQ("x:Hook", *soap_faultcode(c.get()));
    EXPECT_STREQ("from hook", *soap_faultstring(c.get()));
}

TEST(ErrorText, EndOfFileNamesTheSystemReason)
{
    Ctx c;
    c->error = SOAP_EOF;
    c->errnum = ECONNRESET;
    soap_set_fault(c.get());
    EXPECT_EQ(std::string("End of file or no input: ") + strerror(ECONNRESET), *soap_faultstring(c.get()));
}

TEST(ErrorText, EndOfFileWithTimeouts)
{
    Ctx c;
    c->error = SOAP_EOF;
    c->errnum = 0;
    c->recv_timeout = 5;
    c->send_timeout = -250000;
    soap_set_fault(c.get());
    EXPECT_STREQ("End of file or no input: Operation interrupted or timed out (5 s receive delay) "
                 "(250000us send delay)",
                 *soap_faultstring(c.get()));
}

TEST(ErrorText, StrerrorWithoutTimeouts)
{
    Ctx c;
    c->errnum = 0;
    c->recv_timeout = c->send_timeout = 0;
    EXPECT_STREQ("Operation interrupted or timed out", soap_strerror(c.get()));
}

TEST(ErrorText, TcpErrorByMode)
{
    Ctx c;
    c->errmode = 1;
    EXPECT_STREQ("WSAStartup failed", tcp_error(c.get()));
    c->errmode = 2;
    const char *names[] = {"Host not found", "Try Again", "No Recovery", "No Data"};
    for (int i = 1; i <= 4; i++) {
        c->errnum = i;
        EXPECT_STREQ(names[i - 1], tcp_error(c.get()));
    }
    c->errnum = 9;
    EXPECT_STREQ("TCP/UDP IP error 9", tcp_error(c.get()));
    c->errmode = 0;
    c->errnum = ECONNREFUSED;
    EXPECT_STREQ(strerror(ECONNREFUSED), tcp_error(c.get()));
    c->error = SOAP_TCP_ERROR;
    soap_set_fault(c.get());
    EXPECT_STREQ(strerror(ECONNREFUSED), *soap_faultstring(c.get()));
}

/* ------------------------------------------------------------------------ */
/* Setting a fault                                                           */
/* ------------------------------------------------------------------------ */

TEST(FaultSet, SetErrorStoresTheGivenTexts)
{
    Ctx c;
    c->version = 2;
    EXPECT_EQ(404, soap_set_error(c.get(), "SOAP-ENV:Sender", "x:Sub", "text", "<d/>", 404));
    EXPECT_EQ(404, c->error);
    EXPECT_STREQ("SOAP-ENV:Sender", *soap_faultcode(c.get()));
    EXPECT_STREQ("x:Sub", soap_check_faultsubcode(c.get()));
    EXPECT_STREQ("text", *soap_faultstring(c.get()));
    EXPECT_STREQ("<d/>", soap_check_faultdetail(c.get()));
}

TEST(FaultSet, EmptySubcodeAndDetailAreLeftOut)
{
    Ctx c;
    c->version = 2;
    soap_set_error(c.get(), "SOAP-ENV:Sender", "", "text", "", 1);
    EXPECT_EQ(nullptr, soap_check_faultsubcode(c.get()));
    EXPECT_EQ(nullptr, soap_check_faultdetail(c.get()));
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Code->SOAP_ENV__Subcode);
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Detail);
}

TEST(FaultSet, SenderAndReceiverCodesByVersion)
{
    Ctx c;
    c->version = 1;
    soap_set_sender_error(c.get(), "s", nullptr, 1);
    EXPECT_STREQ("SOAP-ENV:Client", *soap_faultcode(c.get()));
    soap_set_receiver_error(c.get(), "s", nullptr, 2);
    EXPECT_STREQ("SOAP-ENV:Server", *soap_faultcode(c.get()));
    EXPECT_EQ(2, c->error);
    c->version = 2;
    soap_set_sender_error(c.get(), "s", nullptr, 1);
    EXPECT_STREQ("SOAP-ENV:Sender", *soap_faultcode(c.get()));
    soap_set_receiver_error(c.get(), "s", nullptr, 2);
    EXPECT_STREQ("SOAP-ENV:Receiver", *soap_faultcode(c.get()));
}

TEST(FaultSet, CopiedFaultOutlivesTheCallersTexts)
{
    Ctx c;
    c->version = 2;
    char code[] = "x:Code", sub[] = "x:Sub", text[] = "words", detail[] = "<why/>";
    EXPECT_EQ(SOAP_FAULT, soap_copy_fault(c.get(), code, sub, text, detail));
    code[0] = sub[0] = text[0] = detail[0] = '!';
    EXPECT_STREQ("x:Code", *soap_faultcode(c.get()));
    EXPECT_STREQ("x:Sub", soap_check_faultsubcode(c.get()));
    EXPECT_STREQ("words", *soap_faultstring(c.get()));
    EXPECT_STREQ("<why/>", soap_check_faultdetail(c.get()));
}

TEST(FaultSet, SenderAndReceiverFaultHelpers)
{
    Ctx c;
    c->version = 2;
    EXPECT_EQ(SOAP_FAULT, soap_sender_fault_subcode(c.get(), "x:S", "bad", nullptr));
    EXPECT_STREQ("SOAP-ENV:Sender", *soap_faultcode(c.get()));
    EXPECT_STREQ("x:S", soap_check_faultsubcode(c.get()));
    EXPECT_EQ(SOAP_FAULT, soap_receiver_fault(c.get(), "down", "later"));
    EXPECT_STREQ("SOAP-ENV:Receiver", *soap_faultcode(c.get()));
    EXPECT_STREQ("down", *soap_faultstring(c.get()));
    EXPECT_STREQ("later", soap_check_faultdetail(c.get()));

    Ctx d;
    d->version = 1;
    soap_sender_fault(d.get(), "bad", nullptr);
    EXPECT_STREQ("SOAP-ENV:Client", *soap_faultcode(d.get()));
    soap_receiver_fault_subcode(d.get(), "x:R", "down", nullptr);
    /* SOAP 1.1 has no subcode: it takes the code's place */
    EXPECT_STREQ("x:R", *soap_faultcode(d.get()));
}

TEST(FaultSet, ValidationFaultComposesInMsgbuf)
{
    Ctx c;
    c->tag[0] = '\0';
    EXPECT_EQ(c->msgbuf, soap_set_validation_fault(c.get(), "abc ", nullptr));
    EXPECT_STREQ("Validation constraint violation: abc ", c->msgbuf);
    strcpy(c->tag, "t");
    soap_set_validation_fault(c.get(), "abc ", "def");
    EXPECT_STREQ("Validation constraint violation: abc def in element 't'", c->msgbuf);
}

/* ------------------------------------------------------------------------ */
/* The fault record                                                          */
/* ------------------------------------------------------------------------ */

TEST(FaultRecord, MadeOnFirstUseWithSoap12Parts)
{
    Ctx c;
    c->version = 2;
    EXPECT_EQ(nullptr, c->fault);
    soap_fault(c.get());
    ASSERT_NE(nullptr, c->fault);
    EXPECT_NE(nullptr, c->fault->SOAP_ENV__Code);
    EXPECT_NE(nullptr, c->fault->SOAP_ENV__Reason);
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Detail);
    EXPECT_EQ(&c->fault->SOAP_ENV__Code->SOAP_ENV__Value, (char **)soap_faultcode(c.get()));
    EXPECT_EQ(&c->fault->SOAP_ENV__Reason->SOAP_ENV__Text, (char **)soap_faultstring(c.get()));
}

TEST(FaultRecord, Soap11UsesItsOwnFields)
{
    Ctx c;
    c->version = 1;
    soap_fault(c.get());
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Code);
    EXPECT_EQ(&c->fault->faultcode, (char **)soap_faultcode(c.get()));
    EXPECT_EQ(&c->fault->faultstring, (char **)soap_faultstring(c.get()));
    EXPECT_EQ(&c->fault->faultcode, (char **)soap_faultsubcode(c.get()));
    const char **d = soap_faultdetail(c.get());
    ASSERT_NE(nullptr, c->fault->detail);
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Detail);
    EXPECT_EQ(&c->fault->detail->__any, (char **)d);
}

TEST(FaultRecord, CheckersMakeNothing)
{
    Ctx c;
    c->version = 2;
    EXPECT_EQ(nullptr, soap_check_faultsubcode(c.get()));
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Code->SOAP_ENV__Subcode);
    EXPECT_EQ(nullptr, soap_check_faultdetail(c.get()));
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Detail);
    *soap_faultsubcode(c.get()) = "x:s";
    EXPECT_NE(nullptr, c->fault->SOAP_ENV__Code->SOAP_ENV__Subcode);
    *soap_faultdetail(c.get()) = "d";
    EXPECT_NE(nullptr, c->fault->SOAP_ENV__Detail);
}

TEST(FaultRecord, FreshFaultStringIsNull)
{
    Ctx c;
    EXPECT_EQ(nullptr, *soap_faultstring(c.get()));
}

TEST(FaultRecord, HeaderRecordIsMadeOnce)
{
    Ctx c;
    soap_header(c.get());
    SOAP_ENV__Header *h = c->header;
    ASSERT_NE(nullptr, h);
    soap_header(c.get());
    EXPECT_EQ(h, c->header);
}

TEST(FaultRecord, EndOfMessageMemoryClearsTheRecords)
{
    Ctx c;
    c->version = 2;
    soap_header(c.get());
    soap_sender_fault_subcode(c.get(), "x:a", "b", "c");
    soap_end(c.get());
    EXPECT_EQ(nullptr, c->fault);
    EXPECT_EQ(nullptr, c->header);
    c->error = SOAP_OK;
    EXPECT_EQ(nullptr, soap_check_faultdetail(c.get())); /* a fresh record */
}

TEST(FaultRecord, FailedAllocationLeavesOutOfMemoryAndPrintersCope)
{
    Ctx c;
    c->fmalloc = [](struct soap *, size_t) -> void * { return nullptr; };
    c->error = 404;
    EXPECT_EQ(nullptr, soap_faultcode(c.get()));
    EXPECT_EQ(SOAP_EOM, c->error);
    std::string s = sprint(c.get());
    EXPECT_EQ("Error 20 fault:  [no subcode]\n\"[no reason]\"\nDetail: [no detail]\n", s);
    c->fmalloc = nullptr;
}

/* ------------------------------------------------------------------------ */
/* Printed forms                                                             */
/* ------------------------------------------------------------------------ */

TEST(FaultPrint, NothingWhenThereIsNoError)
{
    Ctx c;
    c->error = SOAP_OK;
    EXPECT_EQ("untouched", sprint(c.get()));
    EXPECT_EQ("", print(c.get(), soap_print_fault));
    std::ostringstream os;
    soap_stream_fault(c.get(), os);
    EXPECT_EQ("", os.str());
    EXPECT_EQ(nullptr, c->fault);
}

TEST(FaultPrint, UnnumberedErrorWithoutVersion)
{
    Ctx c;
    c->version = 0;
    c->error = 17;
    EXPECT_EQ("Error 17 fault: SOAP-ENV:Client [no subcode]\n\"Error 17\"\nDetail: [no detail]\n", sprint(c.get()));
}

TEST(FaultPrint, Soap12FaultWithAllParts)
{
    Ctx c;
    c->version = 2;
    soap_set_error(c.get(), "SOAP-ENV:Receiver", "x:Busy", "try later", "<wait>5</wait>", SOAP_FAULT);
    const std::string expect =
        "SOAP 1.2 fault: SOAP-ENV:Receiver [x:Busy]\n\"try later\"\nDetail: <wait>5</wait>\n";
    EXPECT_EQ(expect, sprint(c.get()));
    EXPECT_EQ(expect, print(c.get(), soap_print_fault));
    std::ostringstream os;
    soap_stream_fault(c.get(), os);
    EXPECT_EQ(expect, os.str());
}

TEST(FaultPrint, Soap11ShowsNoSubcode)
{
    Ctx c;
    c->version = 1;
    soap_set_error(c.get(), "SOAP-ENV:Server", nullptr, "boom", nullptr, SOAP_SVR_FAULT);
    EXPECT_EQ("SOAP 1.1 fault: SOAP-ENV:Server [no subcode]\n\"boom\"\nDetail: [no detail]\n", sprint(c.get()));
}

TEST(FaultPrint, HttpFaultFromTheParserForm)
{
    Ctx c;
    c->version = 0;
    soap_set_sender_error(c.get(), "HTTP/1.1 404 Not Found", "nope\n", 404);
    EXPECT_EQ("Error 404 fault: SOAP-ENV:Client [no subcode]\n\"HTTP/1.1 404 Not Found\"\nDetail: nope\n\n",
              sprint(c.get()));
}

TEST(FaultPrint, BoundedBySize)
{
    Ctx c;
    c->error = 17;
    char buf[10];
    soap_sprint_fault(c.get(), buf, sizeof(buf));
    EXPECT_STREQ("Error 17 ", buf);
}

TEST(FaultPrint, UninitialisedContextTexts)
{
    Ctx c;
    c->error = 17;
    unsigned short state = c->state;
    c->state = 0;
    EXPECT_EQ("Error: soap struct not initialized", sprint(c.get()));
    EXPECT_EQ("Error: soap struct state not initialized\n", print(c.get(), soap_print_fault));
    std::ostringstream os;
    soap_stream_fault(c.get(), os);
    EXPECT_EQ("Error: soap struct state not initialized\n", os.str());
    c->state = state;
}

TEST(FaultPrint, LocationMarksTheReadPosition)
{
    Ctx c;
    c->error = SOAP_SYNTAX_ERROR;
    memcpy(c->buf, "<a><b>x</c></a>", 15);
    c->buflen = 15;
    c->bufidx = 10;
    EXPECT_EQ("<a><b>x</c\n<!-- ** HERE ** -->\n></a>\n", print(c.get(), soap_print_fault_location));
    c->bufidx = 15;
    EXPECT_EQ("<a><b>x</c></a>\n<!-- ** HERE ** -->\n", print(c.get(), soap_print_fault_location));
    EXPECT_EQ(0, memcmp(c->buf, "<a><b>x</c></a>", 15)) << "the buffer is left as it was";
}

TEST(FaultPrint, LocationShowsAtMost1023BytesAfterTheMark)
{
    Ctx c;
    c->error = SOAP_SYNTAX_ERROR;
    memset(c->buf, 'z', SOAP_BUFLEN);
    c->buf[0] = 'A';
    c->buflen = SOAP_BUFLEN;
    c->bufidx = 1;
    std::string out = print(c.get(), soap_print_fault_location);
    EXPECT_EQ("A\n<!-- ** HERE ** -->\n" + std::string(1023, 'z') + "\n", out);
}

TEST(FaultPrint, LocationOnlyForRealErrorsAndSaneBuffers)
{
    Ctx c;
    memcpy(c->buf, "abc", 3);
    c->buflen = 3;
    c->bufidx = 1;
    c->error = SOAP_OK;
    EXPECT_EQ("", print(c.get(), soap_print_fault_location));
    c->error = SOAP_STOP;
    EXPECT_EQ("", print(c.get(), soap_print_fault_location));
    c->error = 5;
    c->bufidx = 4;
    EXPECT_EQ("", print(c.get(), soap_print_fault_location));
    c->bufidx = 0;
    c->buflen = 0;
    EXPECT_EQ("", print(c.get(), soap_print_fault_location));
}

/* ------------------------------------------------------------------------ */
/* Receiving a fault                                                         */
/* ------------------------------------------------------------------------ */

namespace {
std::string fault11(const std::string &code, const std::string &more = "")
{
    return envelope(ENV11, "<SOAP-ENV:Fault><faultcode>" + code + "</faultcode><faultstring>why</faultstring>" +
                               more + "</SOAP-ENV:Fault>");
}

std::string fault12(const std::string &code, const std::string &more = "")
{
    return envelope(ENV12,
                    "<env:Fault><env:Code><env:Value>" + code +
                        "</env:Value></env:Code><env:Reason><env:Text xml:lang=\"en\">why</env:Text></env:Reason>" +
                        more + "</env:Fault>",
                    "", "env");
}
} // namespace

TEST(FaultRecv, Soap11CodesMapToResults)
{
    struct {
        const char *code;
        int result;
    } rows[] = {{"SOAP-ENV:Client", SOAP_CLI_FAULT},
                {"SOAP-ENV:Server", SOAP_SVR_FAULT},
                {"SOAP-ENV:MustUnderstand", SOAP_MUSTUNDERSTAND},
                {"SOAP-ENV:VersionMismatch", SOAP_VERSIONMISMATCH},
                {"SOAP-ENV:Other", SOAP_FAULT}};
    for (auto &r : rows) {
        Ctx c;
        c.io.attach(c.get(), fault11(r.code));
        EXPECT_EQ(r.result, expect_answer_then_fault(c)) << r.code;
        EXPECT_EQ(r.result, c->error);
        EXPECT_STREQ(r.code, *soap_faultcode(c.get()));
        EXPECT_STREQ("why", *soap_faultstring(c.get()));
    }
}

TEST(FaultRecv, Soap11FaultFillsItsFieldsOnly)
{
    Ctx c;
    c.io.attach(c.get(), fault11("SOAP-ENV:Client", "<faultactor>me</faultactor><detail>"
                                                    "<x:info xmlns:x=\"urn:x\">42</x:info></detail>"));
    EXPECT_EQ(SOAP_CLI_FAULT, expect_answer_then_fault(c));
    ASSERT_NE(nullptr, c->fault);
    EXPECT_STREQ("SOAP-ENV:Client", c->fault->faultcode);
    EXPECT_STREQ("why", c->fault->faultstring);
    EXPECT_STREQ("me", c->fault->faultactor);
    ASSERT_NE(nullptr, c->fault->detail);
    EXPECT_NE(nullptr, strstr(c->fault->detail->__any, "42</x:info>"));
    EXPECT_EQ(nullptr, c->fault->SOAP_ENV__Code);
    EXPECT_STREQ(c->fault->detail->__any, soap_check_faultdetail(c.get()));
}

TEST(FaultRecv, OtherPrefixForTheEnvelopeNamespace)
{
    Ctx c;
    c.io.attach(c.get(),
                envelope(ENV11, "<s:Fault><faultcode>s:Server</faultcode><faultstring>x</faultstring></s:Fault>", "",
                         "s"));
    EXPECT_EQ(SOAP_SVR_FAULT, expect_answer_then_fault(c));
    EXPECT_STREQ("SOAP-ENV:Server", *soap_faultcode(c.get()));
}

TEST(FaultRecv, Soap12CodesMapToResults)
{
    struct {
        const char *code;
        int result;
    } rows[] = {{"env:Sender", SOAP_CLI_FAULT},
                {"env:Receiver", SOAP_SVR_FAULT},
                {"env:MustUnderstand", SOAP_MUSTUNDERSTAND},
                {"env:VersionMismatch", SOAP_VERSIONMISMATCH},
                {"env:DataEncodingUnknown", SOAP_FAULT}};
    for (auto &r : rows) {
        Ctx c;
        c.io.attach(c.get(), fault12(r.code));
        EXPECT_EQ(r.result, expect_answer_then_fault(c)) << r.code;
        EXPECT_EQ(2, c->version);
        EXPECT_STREQ("why", *soap_faultstring(c.get()));
    }
}

TEST(FaultRecv, Soap12FaultFillsItsFieldsOnly)
{
    Ctx c;
    c.io.attach(c.get(),
                fault12("env:Sender", "<env:Node>n</env:Node><env:Role>r</env:Role><env:Detail>text</env:Detail>"));
    EXPECT_EQ(SOAP_CLI_FAULT, expect_answer_then_fault(c));
    ASSERT_NE(nullptr, c->fault);
    EXPECT_EQ(nullptr, c->fault->faultcode);
    ASSERT_NE(nullptr, c->fault->SOAP_ENV__Code);
    EXPECT_STREQ("SOAP-ENV:Sender", c->fault->SOAP_ENV__Code->SOAP_ENV__Value);
    ASSERT_NE(nullptr, c->fault->SOAP_ENV__Reason);
    EXPECT_STREQ("why", c->fault->SOAP_ENV__Reason->SOAP_ENV__Text);
    EXPECT_STREQ("n", c->fault->SOAP_ENV__Node);
    EXPECT_STREQ("r", c->fault->SOAP_ENV__Role);
    ASSERT_NE(nullptr, c->fault->SOAP_ENV__Detail);
    EXPECT_STREQ("text", c->fault->SOAP_ENV__Detail->__any);
}

TEST(FaultRecv, Soap12SubcodesAreRead)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV12,
                                  "<env:Fault><env:Code><env:Value>env:Sender</env:Value><env:Subcode>"
                                  "<env:Value xmlns:x=\"urn:x\">x:Deep</env:Value></env:Subcode></env:Code>"
                                  "<env:Reason><env:Text>t</env:Text></env:Reason></env:Fault>",
                                  "", "env"));
    EXPECT_EQ(SOAP_CLI_FAULT, expect_answer_then_fault(c));
    EXPECT_STREQ("\"urn:x\":Deep", soap_check_faultsubcode(c.get()));
}

TEST(FaultRecv, UnknownCodeIsFaultAndTextIsKept)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV11, "<SOAP-ENV:Fault xmlns:x=\"urn:x\"><faultcode>x:Foo</faultcode>"
                                         "<faultstring>custom</faultstring></SOAP-ENV:Fault>"));
    EXPECT_EQ(SOAP_FAULT, expect_answer_then_fault(c));
    EXPECT_STREQ("custom", *soap_faultstring(c.get()));
    EXPECT_STREQ("\"urn:x\":Foo", *soap_faultcode(c.get()));
}

TEST(FaultRecv, MissingAnswerAndNoFaultKeepsTheStatus)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV11, "<m:other xmlns:m=\"urn:m\"/>"));
    EXPECT_EQ(SOAP_TAG_MISMATCH, expect_answer_then_fault(c));
    EXPECT_STREQ("SOAP-ENV:Client", *soap_faultcode(c.get()));
    EXPECT_NE(nullptr, strstr(*soap_faultstring(c.get()), "tag name or namespace mismatch"));
}

TEST(FaultRecv, EmptyBodyIsNoTag)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV11, ""));
    EXPECT_EQ(SOAP_NO_TAG, expect_answer_then_fault(c));
    EXPECT_STREQ("No XML root element", *soap_faultstring(c.get()));
}

TEST(FaultRecv, OtherErrorsPassThroughUntouched)
{
    Ctx c;
    c->error = SOAP_EOM;
    EXPECT_EQ(SOAP_EOM, soap_recv_fault(c.get(), 0));
    EXPECT_EQ(nullptr, c->fault);
    c->error = SOAP_TAG_MISMATCH;
    c->level = 3;
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_recv_fault(c.get(), 0));
}

TEST(FaultRecv, CheckingFindsNoFaultQuietly)
{
    Ctx c;
    c.io.attach(c.get(), envelope(ENV11, "<m:answer xmlns:m=\"urn:m\"/>"));
    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_EQ(SOAP_OK, soap_recv_fault(c.get(), 1));
    EXPECT_EQ(SOAP_OK, c->error);
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(c.get(), "answer", 0, nullptr));
}

TEST(FaultRecv, CheckingReadsAFault)
{
    Ctx c;
    c.io.attach(c.get(), fault11("SOAP-ENV:Server"));
    ASSERT_EQ(SOAP_OK, open_body(c));
    EXPECT_EQ(SOAP_SVR_FAULT, soap_recv_fault(c.get(), 1));
}

TEST(FaultRecv, TruncatedFaultIsEndOfFile)
{
    std::string whole = fault11("SOAP-ENV:Server", "<detail><a>1</a></detail>");
    for (size_t cut = whole.find("<SOAP-ENV:Fault>") + 1; cut < whole.find("</SOAP-ENV:Body>"); cut++) {
        Ctx c;
        c.io.attach(c.get(), whole.substr(0, cut));
        int r = expect_answer_then_fault(c);
        EXPECT_NE(SOAP_OK, r) << cut;
        EXPECT_NE(SOAP_SVR_FAULT, r) << cut;
    }
}

TEST(FaultRecv, DeepSubcodeChainDoesNotRecurseWithoutEnd)
{
    std::string code = "<env:Value>env:Sender</env:Value>", tail;
    for (int i = 0; i < 200; i++) {
        code += "<env:Subcode><env:Value>env:Sender</env:Value>";
        tail += "</env:Subcode>";
    }
    Ctx c;
    c.io.attach(c.get(), envelope(ENV12, "<env:Fault><env:Code>" + code + tail + "</env:Code></env:Fault>", "",
                                  "env"));
    EXPECT_EQ(SOAP_CLI_FAULT, expect_answer_then_fault(c)) << sprint(c.get());
}

/* ------------------------------------------------------------------------ */
/* Sending a fault                                                           */
/* ------------------------------------------------------------------------ */

namespace {
int head_status;
size_t head_count;
int fake_response(struct soap *soap, int status, size_t count)
{
    head_status = status;
    head_count = count;
    return soap_send_raw(soap, "STATUS\r\n\r\n", 10);
}
} // namespace

TEST(FaultSend, FaultGoesOutWithItsHeadAndLength)
{
    Ctx c;
    c->fresponse = fake_response;
    c->omode = SOAP_IO_BUFFER;
    c->version = 1;
    c->encodingStyle = nullptr;
    c->error = SOAP_NO_METHOD;
    strcpy(c->tag, "m:op");
    head_status = -1;
    EXPECT_EQ(SOAP_NO_METHOD, soap_send_fault(c.get()));
    EXPECT_EQ(SOAP_NO_METHOD, head_status);
    const std::string &out = c.io.out;
    ASSERT_EQ(0u, out.find("STATUS\r\n\r\n"));
    EXPECT_EQ(out.size() - 10, head_count);
    EXPECT_NE(std::string::npos,
              out.find("<SOAP-ENV:Body><SOAP-ENV:Fault><faultcode>SOAP-ENV:Client</faultcode><faultstring>"
                       "Method 'm:op' not implemented: method name or namespace not recognized</faultstring>"
                       "</SOAP-ENV:Fault></SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n"));
    EXPECT_EQ(0, c->keep_alive);
}

TEST(FaultSend, Soap12FaultWithLanguageAndDetail)
{
    Ctx c;
    c->fresponse = fake_response;
    c->omode = SOAP_IO_BUFFER;
    c->version = 2;
    c->lang = "de";
    soap_sender_fault_subcode(c.get(), "SOAP-ENV:Sub", "a<b", "<x>1</x>");
    EXPECT_EQ(SOAP_FAULT, soap_send_fault(c.get()));
    EXPECT_NE(std::string::npos,
              c.io.out.find("<SOAP-ENV:Fault><SOAP-ENV:Code><SOAP-ENV:Value>SOAP-ENV:Sender</SOAP-ENV:Value>"
                            "<SOAP-ENV:Subcode><SOAP-ENV:Value>SOAP-ENV:Sub</SOAP-ENV:Value></SOAP-ENV:Subcode>"
                            "</SOAP-ENV:Code><SOAP-ENV:Reason><SOAP-ENV:Text xml:lang=\"de\">a&lt;b</SOAP-ENV:Text>"
                            "</SOAP-ENV:Reason><SOAP-ENV:Detail><x>1</x></SOAP-ENV:Detail></SOAP-ENV:Fault>"))
        << c.io.out;
}

TEST(FaultSend, SentFaultReadsBackToTheSameResult)
{
    Ctx c;
    c->fresponse = [](struct soap *, int, size_t) { return SOAP_OK; };
    c->omode = SOAP_IO_BUFFER;
    c->version = 1;
    soap_receiver_fault(c.get(), "busy", "<n>3</n>");
    soap_send_fault(c.get());
    Ctx r;
    r.io.attach(r.get(), c.io.out);
    EXPECT_EQ(SOAP_SVR_FAULT, expect_answer_then_fault(r));
    EXPECT_STREQ("busy", *soap_faultstring(r.get()));
    EXPECT_STREQ("<n>3</n>", soap_check_faultdetail(r.get()));
}

TEST(FaultSend, ChunkedFaultHasAnUnchunkedHead)
{
    Ctx c;
    c->fresponse = fake_response;
    c->omode = SOAP_IO_CHUNK;
    c->error = SOAP_SVR_FAULT;
    soap_send_fault(c.get());
    const std::string &out = c.io.out;
    ASSERT_EQ(0u, out.find("STATUS\r\n\r\n"));
    EXPECT_EQ("\r\n0\r\n\r\n", out.substr(out.size() - 7));
    Ctx r;
    r.io.attach(r.get(), out.substr(10));
    r.io.chunk = 100;
    r->mode = SOAP_IO_CHUNK;
    std::string body;
    while (!(r->bufidx >= r->buflen && soap_recv(r.get()))) {
        body.append(r->buf + r->bufidx, r->buflen - r->bufidx);
        r->bufidx = r->buflen;
    }
    EXPECT_EQ(0u, body.find("<?xml"));
}

TEST(FaultSend, StopSendsNothing)
{
    Ctx c;
    c->fresponse = fake_response;
    c->error = SOAP_STOP;
    EXPECT_EQ(SOAP_STOP, soap_send_fault(c.get()));
    EXPECT_EQ("", c.io.out);
}

TEST(FaultSend, GonePeerGetsNothing)
{
    Ctx c;
    c->fresponse = fake_response;
    c->error = SOAP_EOF;
    c->recv_timeout = 1;
    EXPECT_EQ(SOAP_EOF, soap_send_fault(c.get()));
    EXPECT_EQ("", c.io.out);

    Ctx d;
    d->fresponse = fake_response;
    d->fpoll = [](struct soap *) { return -1; };
    d->error = SOAP_SVR_FAULT;
    EXPECT_EQ(SOAP_SVR_FAULT, soap_send_fault(d.get()));
    EXPECT_EQ("", d.io.out);
}

TEST(FaultSend, TransportErrorsDropTheHeader)
{
    Ctx c;
    c->fresponse = fake_response;
    soap_header(c.get());
    c->error = SOAP_NO_DATA;
    soap_send_fault(c.get());
    EXPECT_EQ(nullptr, c->header);
    EXPECT_EQ(std::string::npos, c.io.out.find("Header"));

    Ctx d;
    d->fresponse = fake_response;
    soap_header(d.get());
    soap_sender_fault(d.get(), "app", nullptr);
    soap_send_fault(d.get());
    EXPECT_NE(nullptr, d->header);
    EXPECT_NE(std::string::npos, d.io.out.find("<SOAP-ENV:Header></SOAP-ENV:Header>"));
}

TEST(FaultSend, StoredFaultHeadUsesTheFaultStatusAndTrueLength)
{
    Ctx c;
    c->fresponse = fake_response;
    c->omode = SOAP_IO_STORE;
    c->status = 0;
    c->error = SOAP_CLI_FAULT;
    head_status = -1;
    EXPECT_EQ(SOAP_CLI_FAULT, soap_send_fault(c.get()));
    EXPECT_EQ(SOAP_CLI_FAULT, head_status);
    EXPECT_EQ(c.io.out.size() - 10, head_count);
    EXPECT_EQ(0, c->status);
}
