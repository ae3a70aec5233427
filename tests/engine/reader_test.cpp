/* reader_test.cpp -- the XML reader symbol by symbol and element by element:
 * markup, entities, CDATA, byte order marks, start tags and their attributes,
 * skipping, simple values, strings, literals, base64 and hex, and the state
 * that one message leaves for the next.  Every reading test runs with the
 * input handed over whole and in pieces of 1 and 3 bytes.
 */
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <cwchar>
#include <dirent.h>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/reader_driver.h"
#include "memio.h"
#include "soapengine.h"

namespace {

const char ENV11[] = "http://schemas.xmlsoap.org/soap/envelope/";
const char ENV12[] = "http://www.w3.org/2003/05/soap-envelope";

struct Namespace test_namespaces[] = {
    {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope", nullptr},
    {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding", nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
    {"protocol", "urn:test:protocol", nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr}};

const char XSI[] = " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"";

constexpr soap_wchar E(unsigned c) { return (soap_wchar)(0x80000000u | c); }

class ReaderBase : public ::testing::TestWithParam<size_t> {
protected:
    struct soap *soap = nullptr;
    MemIO io;

    void SetUp() override
    {
        soap = new struct soap();
        soap_set_logfile(soap, SOAP_IDX_SENT, nullptr);
        soap_set_logfile(soap, SOAP_IDX_RECV, nullptr);
        ASSERT_EQ(SOAP_OK, soap_set_namespaces(soap, test_namespaces));
        soap->version = 1;
    }
    void TearDown() override
    {
        /* every allocation of the reader is the context's: nothing may be
         * left behind or freed twice */
        testing::internal::CaptureStderr();
        delete soap;
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::string::npos, err.find("not freed")) << err;
        EXPECT_EQ(std::string::npos, err.find("double free")) << err;
    }
    /* Input read from its first byte, with no message head. */
    void feed(const std::string &xml, uint32_t mode = 0)
    {
        io.attach(soap, xml);
        io.chunk = GetParam();
        soap->mode = mode;
        soap->peeked = 0;
        soap->level = 0;
        soap->cdata = 0;
        soap->body = 1;
        soap->error = SOAP_OK;
    }
    std::vector<soap_wchar> symbols(size_t n)
    {
        std::vector<soap_wchar> v;
        for (size_t i = 0; i < n; i++)
            v.push_back(soap_get(soap));
        return v;
    }
    std::string rest()
    {
        std::string s;
        for (soap_wchar c; (c = soap_getchar(soap)) != SOAP_EOF;)
            s += (char)c;
        return s;
    }
    /* Visible input attributes, in list order. */
    std::string attribute_names()
    {
        std::string s;
        for (struct soap_attribute *tp = soap->attributes; tp; tp = tp->next)
            if (tp->visible)
                s += std::string(s.empty() ? "" : " ") + tp->name;
        return s;
    }
};

#define CHUNKS(suite) INSTANTIATE_TEST_SUITE_P(Pieces, suite, ::testing::Values((size_t)SOAP_BUFLEN, (size_t)1, (size_t)3))

/* ======================================================================== */
/* Bytes and symbols                                                         */
/* ======================================================================== */

class ReaderSymbols : public ReaderBase {};
CHUNKS(ReaderSymbols);

TEST_P(ReaderSymbols, LookAheadComesFirstAndEndOfInputStays)
{
    feed("bc");
    soap->ahead = 'a';
    EXPECT_EQ('a', soap_getchar(soap));
    EXPECT_EQ('b', soap_getchar(soap));
    EXPECT_EQ('c', soap_getchar(soap));
    EXPECT_EQ(SOAP_EOF, soap_getchar(soap));
    soap->ahead = SOAP_EOF;
    EXPECT_EQ(SOAP_EOF, soap_getchar(soap));
    EXPECT_EQ(SOAP_EOF, soap_get(soap));
    EXPECT_EQ(SOAP_EOF, soap->ahead);
}

TEST_P(ReaderSymbols, MarkupIsClassifiedAndEntitiesCarryBit31)
{
    feed("<a>'\"&lt;</a>");
    std::vector<soap_wchar> want = {SOAP_LT, 'a', SOAP_GT, SOAP_AP, SOAP_QT, E('<'), SOAP_TT, 'a', SOAP_GT, SOAP_EOF};
    EXPECT_EQ(want, symbols(want.size()));
}

TEST_P(ReaderSymbols, BlanksBehindLessThanAreSkipped)
{
    feed("<  \n/x><\t y");
    std::vector<soap_wchar> want = {SOAP_TT, 'x', SOAP_GT, SOAP_LT, 'y', SOAP_EOF};
    EXPECT_EQ(want, symbols(want.size()));
}

TEST_P(ReaderSymbols, CommentPiAndDoctypeNeverReachTheCaller)
{
    feed("<!-- c > x --><?pi a<b ?><!DOCTYPE x [<!ENTITY a \"b\">]>X<!---->Y");
    std::vector<soap_wchar> want = {'X', 'Y', SOAP_EOF};
    EXPECT_EQ(want, symbols(want.size()));
}

TEST_P(ReaderSymbols, CdataEndsOnlyAtBracketBracketGreaterThan)
{
    feed("<![CDATA[a]]b<&>\"]]]>c");
    std::vector<soap_wchar> want = {'a', ']', ']', 'b', '<', '&', '>', '"', ']', 'c', SOAP_EOF};
    EXPECT_EQ(want, symbols(want.size()));
    EXPECT_EQ(0, soap->cdata);
}

TEST_P(ReaderSymbols, NumericAndNamedEntities)
{
    feed("&#65;&#x41;&#X42;&eacute;&nbsp;&yuml;&amp;&apos;&quot;&gt;");
    std::vector<soap_wchar> want = {E('A'), E('A'), E('B'), E(233), E(160), E(255), E('&'), E('\''), E('"'), E('>')};
    EXPECT_EQ(want, symbols(want.size()));
}

TEST_P(ReaderSymbols, UnknownShortEntityIs127AndItsSemicolonIsTaken)
{
    feed("&zzz;x");
    EXPECT_EQ(E(SOAP_UNKNOWN_CHAR), soap_get(soap));
    EXPECT_EQ('x', soap_get(soap));
}

TEST_P(ReaderSymbols, EntityNameOverSevenBytesIs127AndTheRestStays)
{
    feed("&averyverylongname;&nosuchname;");
    EXPECT_EQ(E(SOAP_UNKNOWN_CHAR), soap_get(soap));
    EXPECT_EQ("rylongname;&nosuchname;", rest());
}

TEST_P(ReaderSymbols, CharacterReferenceIsReadFromAtMostSevenBytes)
{
    feed("&#x10FFFF;&#1234567;&#x;&#-5;");
    EXPECT_EQ(E(0x10FFF), soap_get(soap));
    EXPECT_EQ('F', soap_get(soap));
    EXPECT_EQ(';', soap_get(soap));
    EXPECT_EQ(E(123456), soap_get(soap));
    EXPECT_EQ('7', soap_get(soap));
    EXPECT_EQ(';', soap_get(soap));
    EXPECT_EQ(E(0), soap_get(soap));  /* no digits */
    EXPECT_EQ(E(0), soap_get(soap));  /* no sign: never a markup symbol */
}

TEST_P(ReaderSymbols, Utf8SequencesBecomeOneCodeValue)
{
    feed("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xC3" "A");
    EXPECT_EQ(0xE9, soap_getutf8(soap));
    EXPECT_EQ(0x20AC, soap_getutf8(soap));
    EXPECT_EQ(0x1F600, soap_getutf8(soap));
    EXPECT_EQ(0xC3, soap_getutf8(soap));  /* lead byte before ASCII: taken as Latin-1 */
    EXPECT_EQ('A', soap_getutf8(soap));
}

TEST_P(ReaderSymbols, Utf8CutByEndOfInputTakes63ForTheMissingBits)
{
    feed("\xE2\x82");
    EXPECT_EQ((2 << 12) | (2 << 6) | 63, soap_getutf8(soap));
}

TEST_P(ReaderSymbols, LatinModeTakesEachByteAlone)
{
    feed("\xC3\xA9", SOAP_ENC_LATIN);
    EXPECT_EQ(0xC3, soap_getutf8(soap));
    EXPECT_EQ(0xA9, soap_getutf8(soap));
}

TEST_P(ReaderSymbols, XmlDeclarationSwitchesLatinOnAndOff)
{
    feed("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>");
    EXPECT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_TRUE(soap->mode & SOAP_ENC_LATIN);

    feed("<?xml version='1.0' encoding='latin1'?><a/>");
    EXPECT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_TRUE(soap->mode & SOAP_ENC_LATIN);

    feed("<?xml version='1.0' encoding='UTF-8'?><a/>", SOAP_ENC_LATIN);
    EXPECT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_FALSE(soap->mode & SOAP_ENC_LATIN);

    feed("<?xml version='1.0' encoding='ebcdic'?><a/>", SOAP_ENC_LATIN);
    EXPECT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_TRUE(soap->mode & SOAP_ENC_LATIN);

    feed("<?other encoding='latin1'?><a/>");
    EXPECT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_FALSE(soap->mode & SOAP_ENC_LATIN);
}

/* ======================================================================== */
/* Start tags and attributes                                                 */
/* ======================================================================== */

class ReaderTags : public ReaderBase {};
CHUNKS(ReaderTags);

TEST_P(ReaderTags, EmptyElementHasNoBodyAndLeavesTheLevel)
{
    feed("<a/><b>x</b>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(0, soap->body);
    EXPECT_EQ(0u, soap->level);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    EXPECT_EQ(1, soap->body);
    EXPECT_EQ(1u, soap->level);
    EXPECT_STREQ("x", soap_value(soap));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "b"));
    EXPECT_EQ(0u, soap->level);
}

TEST_P(ReaderTags, NameOf2000BytesIsCutTo1023WithoutError)
{
    std::string name(2000, 'n');
    name[1022] = 'L';
    feed("<" + name + " a='1'>x</" + name + "><z/>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ(name.substr(0, 1023), soap->tag);
    EXPECT_STREQ("1", soap_attr_value(soap, "a", 0));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, nullptr, 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, nullptr));
    EXPECT_EQ(name.substr(0, 1023), soap->tag);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);
}

TEST_P(ReaderTags, AttributesQuotedUnquotedAndWithoutValue)
{
    feed("<a x=\"1\" y='2' z=3 flag w = \"5\" e=\"\">");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("1", soap_attr_value(soap, "x", 0));
    EXPECT_STREQ("2", soap_attr_value(soap, "y", 0));
    EXPECT_STREQ("3", soap_attr_value(soap, "z", 0));
    EXPECT_STREQ("", soap_attr_value(soap, "flag", 0));
    EXPECT_STREQ("5", soap_attr_value(soap, "w", 0));
    EXPECT_STREQ("", soap_attr_value(soap, "e", 0));
    EXPECT_EQ(nullptr, soap_attr_value(soap, "missing", 0));
    EXPECT_EQ(SOAP_OK, soap->error);
    EXPECT_EQ(1, soap->body);
}

TEST_P(ReaderTags, UnquotedValueEndsAtSlashAndGreaterThan)
{
    feed("<a x=1 y=2/><b v=9>t</b>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("1", soap_attr_value(soap, "x", 0));
    EXPECT_STREQ("2", soap_attr_value(soap, "y", 0));
    EXPECT_EQ(0, soap->body);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    EXPECT_STREQ("9", soap_attr_value(soap, "v", 0));
    EXPECT_EQ(nullptr, soap_attr_value(soap, "x", 0));  /* entries stay, invisible */
    EXPECT_STREQ("t", soap_value(soap));
}

TEST_P(ReaderTags, QuoteOfTheOtherKindAndEntitiesInsideValues)
{
    feed("<a s=\"it's\" d='say \"hi\"' e=\"a&lt;b&amp;c&#233;\" l=\"x</y\"/>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("it's", soap_attr_value(soap, "s", 0));
    EXPECT_STREQ("say \"hi\"", soap_attr_value(soap, "d", 0));
    EXPECT_STREQ("a<b&c\xE9", soap_attr_value(soap, "e", 0));
    EXPECT_STREQ("x</y", soap_attr_value(soap, "l", 0));
}

TEST_P(ReaderTags, AttributeValueOf10000BytesIsReadWhole)
{
    std::string v(10000, 'v');
    v[9999] = 'E';
    feed("<a v=\"" + v + "\" w='" + v + "'/><b v=\"short\"/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(v, soap_attr_value(soap, "v", 0));
    EXPECT_EQ(v, soap_attr_value(soap, "w", 0));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("short", soap_attr_value(soap, "v", 0));
    EXPECT_EQ(nullptr, soap_attr_value(soap, "w", 0));
}

TEST_P(ReaderTags, ValuesJustAroundTheBufferSizeOfAnEntry)
{
    /* a first value sizes the entry at 256 bytes; then 254, 255, 256 and
     * 600 bytes go through it or through the work buffer */
    for (size_t len : {3u, 254u, 255u, 256u, 257u, 600u, 10u}) {
        std::string v(len, 'q');
        feed("<a v=\"" + v + "\"/>");
        ASSERT_EQ(SOAP_OK, soap_peek_element(soap)) << len;
        EXPECT_EQ(v, soap_attr_value(soap, "v", 0)) << len;
    }
}

TEST_P(ReaderTags, PrefixlessAttributesComeFirst)
{
    feed("<a p:q=\"4\" x=\"1\" xmlns:p=\"urn:test:protocol\" y=\"2\"/>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ("y x p:q xmlns:p", attribute_names());
    EXPECT_STREQ("4", soap_attr_value(soap, "protocol:q", 0));
}

TEST_P(ReaderTags, AttributeWithoutNameIsSyntaxError)
{
    feed("<a =\"1\"/>");
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_peek_element(soap));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap->error);
}

TEST_P(ReaderTags, EndOfInputInsideAStartTag)
{
    for (const char *in : {"<a x=\"1", "<a x", "<a x=", "<a", "<"}) {
        feed(in);
        EXPECT_EQ(SOAP_EOF, soap_peek_element(soap)) << in;
    }
    feed("<a x=\"1");
    soap->error = SOAP_TCP_ERROR;  /* a transport failure that came first is kept */
    EXPECT_EQ(SOAP_TCP_ERROR, soap_peek_element(soap));
}

TEST_P(ReaderTags, Utf8ByteOrderMarkIsDroppedAndClearsLatin)
{
    feed("\xEF\xBB\xBF<a/>", SOAP_ENC_LATIN);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("a", soap->tag);
    EXPECT_FALSE(soap->mode & SOAP_ENC_LATIN);
}

TEST_P(ReaderTags, Utf16ByteOrderMarksFailWith47)
{
    feed(std::string("\xFF\xFE<\0a\0/\0>\0", 10));
    EXPECT_EQ(SOAP_UTF_ERROR, soap_peek_element(soap));
    EXPECT_EQ(SOAP_UTF_ERROR, soap->error);
    feed(std::string("\xFE\xFF\0<\0a", 6));
    EXPECT_EQ(SOAP_UTF_ERROR, soap_peek_element(soap));
}

TEST_P(ReaderTags, BrokenByteOrderMarksAreNoElement)
{
    feed("\xEF\xBBX<a/>");
    EXPECT_EQ(SOAP_NO_TAG, soap_peek_element(soap));
    feed("\xFE<a/>");
    EXPECT_EQ(SOAP_NO_TAG, soap_peek_element(soap));
    feed("\xEF<a/>");
    EXPECT_EQ(SOAP_NO_TAG, soap_peek_element(soap));
}

TEST_P(ReaderTags, TextWhereAnElementWasWantedIsNoTag)
{
    feed("  text<a/>");
    EXPECT_EQ(SOAP_NO_TAG, soap_peek_element(soap));
    EXPECT_STREQ("", soap->tag);
    EXPECT_EQ(E('t'), soap->ahead);  /* marked, so that it isn't markup again */
    EXPECT_EQ(SOAP_NO_TAG, soap_peek_element(soap));  /* peeked: nothing more is read */
    EXPECT_EQ(E('t'), soap_get(soap));
    EXPECT_EQ('e', soap_get(soap));
}

TEST_P(ReaderTags, EndOfInputWhereAnElementWasWanted)
{
    feed("   ");
    EXPECT_EQ(SOAP_EOF, soap_peek_element(soap));
    EXPECT_EQ(SOAP_EOF, soap->error);
    EXPECT_STREQ("", soap->tag);
}

/* ======================================================================== */
/* Attributes that the engine interprets                                     */
/* ======================================================================== */

class ReaderAttributes : public ReaderBase {};
CHUNKS(ReaderAttributes);

TEST_P(ReaderAttributes, Soap11EncodingAttributes)
{
    feed("<a xmlns:E=\"http://schemas.xmlsoap.org/soap/encoding/\" id=\"i1\" href=\"#i2\""
         " E:arrayType=\"xsd:int[2][3]\" E:offset=\"[1]\" E:position=\"[1,2]\" E:root=\"true\"/>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("#i1", soap->id);
    EXPECT_STREQ("#i2", soap->href);
    EXPECT_STREQ("xsd:int[2]", soap->arrayType);
    EXPECT_STREQ("[3]", soap->arraySize);
    EXPECT_STREQ("[1]", soap->arrayOffset);
    EXPECT_EQ(2, soap->position);
    EXPECT_EQ(1, soap->positions[0]);
    EXPECT_EQ(2, soap->positions[1]);
    EXPECT_EQ(1, soap->root);
}

TEST_P(ReaderAttributes, EachPeekStartsFromCleanFields)
{
    feed("<a xmlns:E=\"http://schemas.xmlsoap.org/soap/encoding/\" id=\"i1\" E:root=\"0\" E:arrayType=\"x\"/><b/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(0, soap->root);
    EXPECT_STREQ("x", soap->arrayType);
    EXPECT_STREQ("", soap->arraySize);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("", soap->id);
    EXPECT_STREQ("", soap->arrayType);
    EXPECT_EQ(-1, soap->root);
}

TEST_P(ReaderAttributes, Soap12EncodingAttributes)
{
    soap->version = 2;
    feed("<a xmlns:enc=\"http://www.w3.org/2003/05/soap-encoding\" id=\"i1\" enc:ref=\"i2\""
         " enc:itemType=\"xsd:int\" enc:arraySize=\"3 4\" href=\"#ignored\"/><b ref=\"_3\"/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_STREQ("#i1", soap->id);
    EXPECT_STREQ("#i2", soap->href);
    EXPECT_STREQ("xsd:int", soap->arrayType);
    EXPECT_STREQ("3 4", soap->arraySize);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("#_3", soap->href);
}

TEST_P(ReaderAttributes, IdIsKeptOnlyWhereReferencesCount)
{
    feed("<a id=\"x\"/>", SOAP_XML_TREE);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("", soap->id);
    feed("<a id=\"x\"/>", SOAP_XML_TREE | SOAP_XML_GRAPH);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("#x", soap->id);
    soap->version = 0;
    feed("<a id=\"x\" href=\"#y\"/>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("", soap->id);
    EXPECT_STREQ("", soap->href);
    feed("<a href=\"#y\"/>", SOAP_ENC_MTOM);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("#y", soap->href);
}

TEST_P(ReaderAttributes, LongIdIsCutTo1023BytesWithItsHash)
{
    std::string v(3000, 'i');
    feed("<a id=\"" + v + "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"" + v + "\"/>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ("#" + v.substr(0, 1022), soap->id);
    EXPECT_EQ(v.substr(0, 1023), soap->type);
}

TEST_P(ReaderAttributes, TypeAndNilByAnyPrefixOfTheInstanceNamespace)
{
    feed("<a xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" i:type=\"xsd:int\" i:nil=\"true\"/>"
         "<b xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" i:nil=\"false\" i:null=\"1\"/>"
         "<c xmlns:i=\"urn:other\" i:type=\"t\" i:nil=\"true\"/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 1, nullptr));
    EXPECT_STREQ("xsd:int", soap->type);
    EXPECT_EQ(1, soap->null);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 1, nullptr));
    EXPECT_EQ(1, soap->null);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "c", 1, nullptr));
    EXPECT_STREQ("", soap->type);
    EXPECT_EQ(0, soap->null);
    EXPECT_EQ(SOAP_OK, soap->error);
}

TEST_P(ReaderAttributes, UndeclaredPrefixOnAnAttributeDoesNotFailThePeek)
{
    feed("<a u:type=\"x\" u:mustUnderstand=\"1\"/>");
    EXPECT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ(SOAP_OK, soap->error);
    EXPECT_STREQ("", soap->type);
    EXPECT_EQ(0, soap->mustUnderstand);
}

TEST_P(ReaderAttributes, RequiredAndProhibitedUnderStrictness)
{
    feed("<a x=\"1\"/>", SOAP_XML_STRICT);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ(nullptr, soap_attr_value(soap, "x", 2));
    EXPECT_EQ(SOAP_PROHIBITED, soap->error);
    EXPECT_EQ(nullptr, soap_attr_value(soap, "y", 1));
    EXPECT_EQ(SOAP_REQUIRED, soap->error);
    EXPECT_STREQ("", soap_attr_value(soap, "-y", 1));
    soap->mode = 0;
    soap->error = SOAP_OK;
    EXPECT_STREQ("1", soap_attr_value(soap, "x", 2));
    EXPECT_EQ(nullptr, soap_attr_value(soap, "y", 1));
    EXPECT_EQ(SOAP_OK, soap->error);
}

/* ======================================================================== */
/* Elements: begin, end, revert, skip                                        */
/* ======================================================================== */

class ReaderElements : public ReaderBase {};
CHUNKS(ReaderElements);

TEST_P(ReaderElements, MismatchLeavesTheElementForTheNextCandidate)
{
    feed("<b/>");
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(1, soap->peeked);
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    EXPECT_EQ(0, soap->peeked);
}

TEST_P(ReaderElements, DashTagTakesNoElementAndAcceptsNone)
{
    feed("<b/>");
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "-x", 0, nullptr));
    EXPECT_EQ(1, soap->peeked);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "-x"));
    feed("text");
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "-x", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap->error);
}

TEST_P(ReaderElements, TypeMismatchConsumesTheElement)
{
    const std::string xsd = " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"";
    feed(std::string("<a") + XSI + xsd + " xsi:type=\"xsd:string\">1</a><a" + XSI + xsd +
         " xsi:type=\"xsd:int\">2</a>");
    EXPECT_EQ(SOAP_TYPE, soap_element_begin_in(soap, "a", 0, "xsd:int"));
    EXPECT_EQ(0, soap->peeked);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, "xsd:int"));
    EXPECT_STREQ("2", soap_value(soap));
}

TEST_P(ReaderElements, NilOnlyWhereAllowedUnderStrictness)
{
    std::string in = std::string("<a") + XSI + " xsi:nil=\"true\"/>";
    feed(in, SOAP_XML_STRICT);
    EXPECT_EQ(SOAP_NULL, soap_element_begin_in(soap, "a", 0, nullptr));
    feed(in, SOAP_XML_STRICT);
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 1, nullptr));
    feed(in);
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(1, soap->null);
}

TEST_P(ReaderElements, EndTagDropsContentAndChildren)
{
    feed("<a>text<b x=\"/\">c<d/>/</b>a/b<c/>tail</a><z/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    EXPECT_STREQ("a", soap->tag);
    EXPECT_EQ(0u, soap->level);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);
}

TEST_P(ReaderElements, EndTagOfAPeekedElementSkipsIt)
{
    feed("<a><b><c>x</c></b><n/></a>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));  /* peeked b counts as open */
    EXPECT_EQ(SOAP_EOF, soap_peek_element(soap));
}

TEST_P(ReaderElements, PeekedEmptyElementIsNotCountedAsOpen)
{
    feed("<a><b/></a><z/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "c", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);
}

TEST_P(ReaderElements, MalformedEndTagIsSyntaxError)
{
    feed("<a>x</a y>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_element_end_in(soap, "a"));
    feed("<a>x</a");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_EOF, soap_element_end_in(soap, "a"));
    feed("<a>x");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_EOF, soap_element_end_in(soap, "a"));
}

TEST_P(ReaderElements, WrongEndTagFailsOnlyUnderStrictness)
{
    feed("<a>x</b>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    feed("<a>x</b>", SOAP_XML_STRICT);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_element_end_in(soap, "a"));
}

TEST_P(ReaderElements, EndTagIsTakenAsWrittenNotAsTheCallerNamesIt)
{
    feed("<a>x</a><ab>y</ab ><a>z</ab>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    EXPECT_STREQ("a", soap->tag);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "ab", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "ab"));
    EXPECT_STREQ("ab", soap->tag);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));  /* "a" is only the start of "ab" */
    EXPECT_STREQ("ab", soap->tag);
    feed("<a>z</ab>", SOAP_XML_STRICT);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_element_end_in(soap, "a"));
}

TEST_P(ReaderElements, ARevertedElementIsMatchedAgainstEachNewName)
{
    feed("<a/><b/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    soap_revert(soap);
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "b", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    /* the same name again, but another element: matched afresh */
    const char *name = "a";
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, name, 0, nullptr));
    EXPECT_STREQ("b", soap->tag);
}

TEST_P(ReaderElements, RevertHandsTheElementBack)
{
    feed("<a>1</a>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(1u, soap->level);
    soap->error = SOAP_TYPE;
    soap_retry(soap);
    EXPECT_EQ(SOAP_OK, soap->error);
    EXPECT_EQ(0u, soap->level);
    EXPECT_EQ(1, soap->peeked);
    soap_revert(soap);  /* already handed back: nothing changes */
    EXPECT_EQ(0u, soap->level);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_STREQ("1", soap_value(soap));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
}

TEST_P(ReaderElements, SkipPassesOverNestedContent)
{
    feed("<u a=\"1\"><v><w>t</w><x/></v>text</u><next/>");
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
    EXPECT_EQ(0u, soap->level);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("next", soap->tag);
}

TEST_P(ReaderElements, SkipOfAnEmptyElementAndOfNothing)
{
    feed("<u/>text");
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
    EXPECT_EQ(SOAP_NO_TAG, soap_ignore_element(soap));
}

TEST_P(ReaderElements, DeepNestingIsSkippedWithoutRecursion)
{
    const int depth = GetParam() == 1 ? 20000 : 200000;
    std::string in;
    in.reserve((size_t)depth * 8 + 16);
    for (int i = 0; i < depth; i++)
        in += "<e>";
    for (int i = 0; i < depth; i++)
        in += "</e>";
    in += "<z/>";
    feed(in);
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
    EXPECT_EQ(0u, soap->level);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);
}

TEST_P(ReaderElements, UnclosedNestingEndsWithEndOfInput)
{
    feed("<a><b><c>");
    EXPECT_EQ(SOAP_EOF, soap_ignore_element(soap));
}

TEST_P(ReaderElements, MustUnderstandElementCannotBeSkipped)
{
    feed(std::string("<h:u xmlns:h=\"urn:h\" xmlns:SOAP-ENV=\"") + ENV11 + "\" SOAP-ENV:mustUnderstand=\"1\"/>");
    EXPECT_EQ(SOAP_MUSTUNDERSTAND, soap_ignore_element(soap));
}

TEST_P(ReaderElements, ElementForAnotherActorIsRejectedAndSkipped)
{
    feed(std::string("<h:u xmlns:h=\"urn:h\" xmlns:S=\"") + ENV11 +
         "\" S:actor=\"urn:someone-else\" S:mustUnderstand=\"1\">x</h:u><next/>");
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "h:u", 0, nullptr));
    EXPECT_EQ(1, soap->other);
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("next", soap->tag);
}

TEST_P(ReaderElements, OwnActorAndNextActorAreNotOthers)
{
    soap->actor = "urn:me";
    for (const char *actor : {"urn:me", "http://schemas.xmlsoap.org/soap/actor/next"}) {
        feed(std::string("<u xmlns:S=\"") + ENV11 + "\" S:actor=\"" + actor + "\" S:mustUnderstand=\"1\"/>");
        ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
        EXPECT_EQ(0, soap->other) << actor;
        EXPECT_EQ(SOAP_MUSTUNDERSTAND, soap_ignore_element(soap)) << actor;
    }
}

TEST_P(ReaderElements, Soap12RoleAndMustUnderstand)
{
    soap->version = 2;
    feed(std::string("<u xmlns:S=\"") + ENV12 + "\" S:role=\"urn:else\" S:mustUnderstand=\"true\"/>"
         "<v xmlns:S=\"" + ENV12 + "\" S:role=\"" + ENV12 + "/role/next\" S:mustUnderstand=\"true\"/>");
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ(1, soap->other);
    EXPECT_EQ(1, soap->mustUnderstand);
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
    EXPECT_EQ(SOAP_MUSTUNDERSTAND, soap_ignore_element(soap));
    EXPECT_EQ(0, soap->other);
}

TEST_P(ReaderElements, StrictSkipsOnlyInTheHeader)
{
    feed("<u/><v/>", SOAP_XML_STRICT);
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_ignore_element(soap));
    soap->part = SOAP_IN_HEADER;
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
}

TEST_P(ReaderElements, EnvelopeElementsAreNeverSkipped)
{
    feed(std::string("<s:Body xmlns:s=\"") + ENV11 + "\"/>");
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_ignore_element(soap));
    soap->version = 2;
    feed(std::string("<s:Body xmlns:s=\"") + ENV12 + "\"/>");
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_ignore_element(soap));
}

std::vector<std::string> ignored;
int record_ignore(struct soap *, const char *tag)
{
    ignored.push_back(tag);
    return ignored.size() == 3 ? 77 : SOAP_OK;
}

TEST_P(ReaderElements, IgnoreCallbackSeesEachSkippedElementAndCanStop)
{
    ignored.clear();
    soap->fignore = record_ignore;
    feed("<a><b/><c/></a>");
    EXPECT_EQ(77, soap_ignore_element(soap));
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), ignored);
}

TEST_P(ReaderElements, ElementWithIdIsOfferedBeforeItIsSkipped)
{
    /* the frame-less build knows no element: it is then skipped as usual */
    feed("<a id=\"x\"><b>1</b></a><z/>");
    EXPECT_EQ(SOAP_OK, soap_ignore_element(soap));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);
}

/* ======================================================================== */
/* Simple values                                                             */
/* ======================================================================== */

class ReaderValues : public ReaderBase {};
CHUNKS(ReaderValues);

TEST_P(ReaderValues, BlanksAroundAreDroppedButAnEntityBlankStays)
{
    feed("<v> \n 12 &#32;  </v>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "v", 0, nullptr));
    EXPECT_STREQ("12  ", soap_value(soap));
    EXPECT_EQ(SOAP_TT, soap->ahead);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "v"));
}

TEST_P(ReaderValues, EmptyElementGivesEmptyText)
{
    feed("<v/><w></w>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "v", 0, nullptr));
    EXPECT_STREQ("", soap_value(soap));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "w", 0, nullptr));
    EXPECT_STREQ("", soap_value(soap));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "w"));
}

TEST_P(ReaderValues, ValueStopsAtAChildElement)
{
    feed("<v>12<c/></v>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "v", 0, nullptr));
    EXPECT_STREQ("12", soap_value(soap));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("c", soap->tag);
}

TEST_P(ReaderValues, ValueOf1023BytesFits)
{
    std::string v(1023, '7');
    feed("<v>" + v + "</v>", SOAP_XML_STRICT);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "v", 0, nullptr));
    EXPECT_EQ(v, soap_value(soap));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "v"));
}

TEST_P(ReaderValues, LongerValueIsCutOrFailsUnderStrictness)
{
    std::string v(1024, '7');
    v += "8888</v><z/>";
    feed("<v>" + v);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "v", 0, nullptr));
    EXPECT_EQ(std::string(1023, '7'), soap_value(soap));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "v"));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);

    feed("<v>" + v, SOAP_XML_STRICT);
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "v", 0, nullptr));
    EXPECT_EQ(nullptr, soap_value(soap));
    EXPECT_EQ(SOAP_LENGTH, soap->error);
}

TEST_P(ReaderValues, SecondValueOverwritesTheFirst)
{
    feed("<a>1</a><b>2</b>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    const char *first = soap_value(soap);
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    const char *second = soap_value(soap);
    EXPECT_EQ(first, second);
    EXPECT_STREQ("2", first);
}

TEST(ReaderPositions, PositionTextGivesCountAndIndexes)
{
    int pos[SOAP_MAXDIMS] = {0};
    EXPECT_EQ(2, soap_getposition("[1,2]", pos));
    EXPECT_EQ(1, pos[0]);
    EXPECT_EQ(2, pos[1]);
    EXPECT_EQ(3, soap_getposition("[ 4 , 5,6 ]", pos));
    EXPECT_EQ(6, pos[2]);
    EXPECT_EQ(-1, soap_getposition("", pos));
    std::string many = "[0";
    for (int i = 1; i < 40; i++)
        many += "," + std::to_string(i);
    many += "]";
    EXPECT_EQ(SOAP_MAXDIMS, soap_getposition(many.c_str(), pos));
    EXPECT_EQ(15, pos[15]);
}

/* ======================================================================== */
/* Strings                                                                   */
/* ======================================================================== */

class ReaderStrings : public ReaderBase {};
CHUNKS(ReaderStrings);

TEST_P(ReaderStrings, TextWithEntitiesAndInnerMarkup)
{
    feed("<s>a&lt;b &amp; &#233;<i k=\"v\">c</i>d/e&gt;</s>");
    char **p = soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("a<b & \xE9<i k=\"v\">c</i>d/e>", *p);
    EXPECT_EQ(0u, soap->level);
}

TEST_P(ReaderStrings, SlashesAndPredefinedEntitiesInTextAndInInnerMarkup)
{
    feed("<s>p/q&quot;&apos;&lt;&gt;<i>a/b<j/>c</i>/r&amp;amp;&#47;</s>");
    char **p = soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("p/q\"'<><i>a/b<j/>c</i>/r&amp;/", *p);
    EXPECT_EQ(0u, soap->level);
}

TEST_P(ReaderStrings, PlainRunIsHandedOutInPlaceOnlyWhenWholeAndPlain)
{
    const bool whole = GetParam() == (size_t)SOAP_BUFLEN;
    feed("<s>plain text</s><t>a&amp;b</t><u>x/y</u><v>caf\xC3\xA9</v>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "s", 0, nullptr));
    size_t n = 0;
    const char *run = soap_text_run(soap, &n);
    if (whole) {
        ASSERT_NE(nullptr, run);
        EXPECT_EQ("plain text", std::string(run, n));
    } else {
        EXPECT_EQ(nullptr, run);  /* the end tag is not in the buffer yet */
        EXPECT_STREQ("plain text", soap_string_in(soap, 1, -1, -1));
    }
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "s"));
    EXPECT_EQ(0u, soap->level);
    const char *const rest[][2] = {{"t", "a&b"}, {"u", "x/y"}, {"v", "caf\xE9"}};
    for (const auto &r : rest) {
        ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, r[0], 0, nullptr));
        EXPECT_EQ(nullptr, soap_text_run(soap, &n)) << r[0];  /* nothing is taken then */
        EXPECT_STREQ(r[1], soap_string_in(soap, 1, -1, -1));
        EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, r[0]));
    }
}

TEST_P(ReaderStrings, ANulInPlainTextEndsTheCopiedString)
{
    feed(std::string("<s>ab\0cd</s>", 12));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "s", 0, nullptr));
    size_t n = 0;
    EXPECT_EQ(nullptr, soap_text_run(soap, &n));
    EXPECT_STREQ("ab", soap_string_in(soap, 1, -1, -1));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "s"));
}

TEST_P(ReaderStrings, Utf8InputBecomesLatin1WithoutUtfStrings)
{
    feed("<s>caf\xC3\xA9 \xE2\x82\xAC</s>");
    char **p = soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("caf\xE9 \xAC", *p);  /* the low byte of a wider character */
}

TEST_P(ReaderStrings, UtfStringsPassInputAndEncodeEntities)
{
    feed("<s>caf\xC3\xA9 &#233;&#x20AC;&lt;</s>", SOAP_C_UTFSTRING);
    char **p = soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("caf\xC3\xA9 \xC3\xA9\xE2\x82\xAC<", *p);
}

TEST_P(ReaderStrings, MultibyteStringsFollowTheLocale)
{
    const char *old = setlocale(LC_CTYPE, nullptr);
    std::string saved = old ? old : "C";
    if (!setlocale(LC_CTYPE, "C.UTF-8"))
        GTEST_SKIP() << "no C.UTF-8 locale";
    feed("<s>\xC3\xA9&#x20AC;</s>", SOAP_C_MBSTRING);
    char **p = soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, -1);
    setlocale(LC_CTYPE, saved.c_str());
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("\xC3\xA9\xE2\x82\xAC", *p);
}

TEST_P(ReaderStrings, CdataInTextComesThroughWhole)
{
    feed("<s>x<![CDATA[a]]b<y>&amp;]]>z</s>");
    char **p = soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("xa]]b<y>&amp;z", *p);
}

TEST_P(ReaderStrings, LengthLimitsCountCharacters)
{
    feed("<s>abcdef</s>");
    char **p = soap_instring(soap, "s", nullptr, nullptr, 1, 1, 6, 6);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("abcdef", *p);
    feed("<s>ab\xC3\xA9" "def</s>");
    EXPECT_NE(nullptr, soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, 6));
    feed("<s>abcdefg</s>");
    EXPECT_EQ(nullptr, soap_instring(soap, "s", nullptr, nullptr, 1, 1, 0, 6));
    EXPECT_EQ(SOAP_LENGTH, soap->error);
    feed("<s>abcde</s>");
    EXPECT_EQ(nullptr, soap_instring(soap, "s", nullptr, nullptr, 1, 1, 6, -1));
    EXPECT_EQ(SOAP_LENGTH, soap->error);
}

TEST_P(ReaderStrings, EmptyNilAndMissingStrings)
{
    feed(std::string("<s/><s") + XSI + " xsi:nil=\"true\"/><s/>");
    char *v = (char *)"unchanged";
    char **p = soap_instring(soap, "s", &v, nullptr, 1, 1, 0, -1);
    ASSERT_EQ(&v, p);
    EXPECT_STREQ("", v);
    p = soap_instring(soap, "s", &v, nullptr, 1, 1, 0, -1);
    ASSERT_EQ(&v, p);
    EXPECT_EQ(nullptr, v);
    EXPECT_EQ(nullptr, soap_instring(soap, "s", &v, nullptr, 1, 1, 1, -1));
    EXPECT_EQ(SOAP_LENGTH, soap->error);
}

TEST_P(ReaderStrings, DashTagReadsTheTextThatStandsThere)
{
    feed("<p>xyz</p><q/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "p", 0, nullptr));
    char **p = soap_instring(soap, "-s", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("xyz", *p);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "p"));
    EXPECT_EQ(nullptr, soap_instring(soap, "-s", nullptr, nullptr, 1, 1, 0, -1));
    EXPECT_EQ(SOAP_NO_TAG, soap->error);
}

TEST_P(ReaderStrings, IdAndReferenceShareOneString)
{
    feed("<r><s id=\"a1\">hello</s><s href=\"#a1\"/></r>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    char **p = soap_instring(soap, "s", nullptr, nullptr, 7, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    char *second = nullptr;
    ASSERT_NE(nullptr, soap_instring(soap, "s", &second, nullptr, 7, 1, 0, -1));
    EXPECT_EQ(*p, second);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "r"));
}

TEST_P(ReaderStrings, QualifiedNameTextIsTranslatedToTablePrefixes)
{
    feed("<q xmlns:x=\"urn:test:protocol\">x:a</q>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "q", 0, nullptr));
    char *s = soap_string_in(soap, 2, 0, -1);
    ASSERT_NE(nullptr, s);
    EXPECT_STREQ("protocol:a", s);
}

TEST_P(ReaderStrings, WideStringsDecodeEverything)
{
    feed("<w>\xC3\xA9&lt;\xE2\x82\xAC&#x263A;\xF0\x9F\x98\x80</w>");
    wchar_t **p = soap_inwstring(soap, "w", nullptr, nullptr, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(std::wstring(L"\xE9<\x20AC\x263A\x1F600"), std::wstring(*p));
}

TEST_P(ReaderStrings, WideStringsLongerThanOneBlock)
{
    std::string text(SOAP_BLKLEN * 3 + 17, 'x');
    text[SOAP_BLKLEN] = 'y';
    feed("<w>" + text + "</w>");
    wchar_t **p = soap_inwstring(soap, "w", nullptr, nullptr, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(text.size(), wcslen(*p));
    EXPECT_EQ(L'y', (*p)[SOAP_BLKLEN]);
    feed("<w>" + text + "</w>");
    EXPECT_EQ(nullptr, soap_inwstring(soap, "w", nullptr, nullptr, 1, 0, (long)text.size() - 1));
    EXPECT_EQ(SOAP_LENGTH, soap->error);
}

TEST_P(ReaderStrings, EmptyAndNilWideStrings)
{
    feed(std::string("<w/><w") + XSI + " xsi:nil=\"1\"/>");
    wchar_t **p = soap_inwstring(soap, "w", nullptr, nullptr, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(L'\0', **p);
    p = soap_inwstring(soap, "w", nullptr, nullptr, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(nullptr, *p);
}

/* ======================================================================== */
/* Literal XML                                                               */
/* ======================================================================== */

class ReaderLiterals : public ReaderBase {};
CHUNKS(ReaderLiterals);

TEST_P(ReaderLiterals, CommentsCdataAndPisAreKeptWhole)
{
    const std::string inner = "<x a=\"1\">t&amp;<![CDATA[<]]>]]><!-- c<d> --><?p ?></x>tail<e/>";
    feed("<d>" + inner + "</d><z/>");
    char **p = soap_inliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(inner, *p);
    EXPECT_EQ(0u, soap->level);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);
}

TEST_P(ReaderLiterals, MarkupInsideCommentAndCdataIsNotCounted)
{
    const std::string inner = "<!-- </d> --><![CDATA[</d>]]]><?p </d> ?>";
    feed("<d>" + inner + "</d>");
    char **p = soap_inliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(inner, *p);
}

TEST_P(ReaderLiterals, Utf8IsDecodedAndStoredByMode)
{
    feed("<d>\xC3\xA9</d>");
    char **p = soap_inliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("\xE9", *p);
    feed("<d>\xC3\xA9</d>", SOAP_C_UTFSTRING);
    p = soap_inliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("\xC3\xA9", *p);
    feed("<d>\xC3\xA9</d>", SOAP_ENC_LATIN);
    p = soap_inliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("\xC3\xA9", *p);
}

TEST_P(ReaderLiterals, AnyElementIsRebuiltFromItsStartTag)
{
    feed("<r><x b=\"2\" a=\"1\" c>in</x>after<y/></r>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    char **p = soap_inliteral(soap, "-any", nullptr);
    ASSERT_NE(nullptr, p);
    /* attributes stand in the order of the entry list */
    EXPECT_STREQ("<x c a=\"1\" b=\"2\">in</x>after", *p);
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("y", soap->tag);
}

TEST_P(ReaderLiterals, RebuiltEmptyElementKeepsItsSlash)
{
    feed("<r><x/>t<y/></r>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    char **p = soap_inliteral(soap, "-any", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("<x/>t", *p);
}

TEST_P(ReaderLiterals, RebuiltStartTagIsCutAtTheScratchBuffer)
{
    std::string v(2000, 'v');
    feed("<r><x v=\"" + v + "\">in</x></r>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    char **p = soap_inliteral(soap, "-any", nullptr);
    ASSERT_NE(nullptr, p);
    std::string head = "<x v=\"" + v;
    EXPECT_EQ(head.substr(0, SOAP_TAGLEN - 1) + "in</x>", *p);
}

TEST_P(ReaderLiterals, ContentWithoutAnElement)
{
    feed("<p>text &amp; <b>more</b></p>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "p", 0, nullptr));
    char **p = soap_inliteral(soap, "q", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("text &amp; <b>more</b>", *p);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "p"));
}

TEST_P(ReaderLiterals, TextReadWhereNoElementStoodLetsTheNextPeekRead)
{
    feed("<p>text</p>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "p", 0, nullptr));
    ASSERT_NE(nullptr, soap_inliteral(soap, "q", nullptr));
    EXPECT_EQ(0, soap->peeked);
    EXPECT_EQ(SOAP_NO_TAG, soap_peek_element(soap));  /* the end tag */
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "p"));
    EXPECT_EQ(SOAP_EOF, soap_peek_element(soap));
}

TEST_P(ReaderLiterals, EntityLeftByAPeekIsWrittenBackAsEntity)
{
    feed("<p>&lt;x&gt;</p>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "p", 0, nullptr));
    char **p = soap_inliteral(soap, "q", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("&lt;x&gt;", *p);
}

TEST_P(ReaderLiterals, NothingBeforeTheEndTagIsNull)
{
    feed("<p></p>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "p", 0, nullptr));
    EXPECT_EQ(nullptr, soap_inliteral(soap, "q", nullptr));
    EXPECT_EQ(SOAP_NO_TAG, soap->error);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "p"));
}

TEST_P(ReaderLiterals, EmptyElementIsEmptyTextOrNullWhenNil)
{
    feed(std::string("<d/><d") + XSI + " xsi:nil=\"true\"/>");
    char **p = soap_inliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("", *p);
    p = soap_inliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(nullptr, *p);
}

TEST_P(ReaderLiterals, WideLiteral)
{
    feed("<d><x>\xC3\xA9</x></d>");
    wchar_t **p = soap_inwliteral(soap, "d", nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(std::wstring(L"<x>\xE9</x>"), std::wstring(*p));
}

/* ======================================================================== */
/* Binary text                                                               */
/* ======================================================================== */

class ReaderBinary : public ReaderBase {};
CHUNKS(ReaderBinary);

TEST_P(ReaderBinary, Base64WithBlanksAndPadding)
{
    feed("<b> YWJj\n ZA== </b><z/>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    int n = -1;
    unsigned char *p = soap_getbase64(soap, &n);
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(4, n);
    EXPECT_EQ(0, memcmp("abcd", p, 4));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "b"));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_STREQ("z", soap->tag);
}

TEST_P(ReaderBinary, Base64GroupsOfTwoAndThreeAtTheEnd)
{
    feed("<b>YQ</b><c>YWI</c><d>YQ==</d>");
    int n = -1;
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    unsigned char *p = soap_getbase64(soap, &n);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(1, n);
    EXPECT_EQ('a', p[0]);
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "b"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "c", 0, nullptr));
    p = soap_getbase64(soap, &n);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(2, n);
    EXPECT_EQ(0, memcmp("ab", p, 2));
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "c"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "d", 0, nullptr));
    p = soap_getbase64(soap, &n);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(1, n);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "d"));
}

TEST_P(ReaderBinary, Base64EntityCountsAsItsCharacter)
{
    feed("<b>&#89;WI=</b>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    int n = -1;
    unsigned char *p = soap_getbase64(soap, &n);
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(2, n);
    EXPECT_EQ(0, memcmp("ab", p, 2));
}

TEST_P(ReaderBinary, Base64BadCharacterIsTypeError)
{
    feed("<b>YW*j</b>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    EXPECT_EQ(nullptr, soap_getbase64(soap, nullptr));
    EXPECT_EQ(SOAP_TYPE, soap->error);
}

TEST_P(ReaderBinary, Base64LargeBlobGrowsTheWorkBuffer)
{
    std::string bytes;
    for (int i = 0; i < 30000; i++)
        bytes += (char)(i * 7);
    char *text = soap_s2base64(soap, (const unsigned char *)bytes.data(), nullptr, (int)bytes.size());
    ASSERT_NE(nullptr, text);
    feed(std::string("<b>") + text + "</b>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    int n = -1;
    unsigned char *p = soap_getbase64(soap, &n);
    ASSERT_NE(nullptr, p);
    ASSERT_EQ((int)bytes.size(), n);
    EXPECT_EQ(0, memcmp(bytes.data(), p, bytes.size()));
}

TEST_P(ReaderBinary, EmptyBase64)
{
    feed("<b></b>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    int n = -1;
    EXPECT_NE(nullptr, soap_getbase64(soap, &n));
    EXPECT_EQ(0, n);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "b"));
}

TEST_P(ReaderBinary, HexPairsMakeBytes)
{
    feed("<h>0aFf7E</h>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "h", 0, nullptr));
    int n = -1;
    unsigned char *p = soap_gethex(soap, &n);
    ASSERT_NE(nullptr, p);
    ASSERT_EQ(3, n);
    EXPECT_EQ(0x0A, p[0]);
    EXPECT_EQ(0xFF, p[1]);
    EXPECT_EQ(0x7E, p[2]);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "h"));
}

TEST_P(ReaderBinary, HexOddDigitIsTypeError)
{
    feed("<h>0aF</h>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "h", 0, nullptr));
    EXPECT_EQ(nullptr, soap_gethex(soap, nullptr));
    EXPECT_EQ(SOAP_TYPE, soap->error);
}

TEST_P(ReaderBinary, HexEndsAtTheFirstNonDigit)
{
    feed("<h>0a zz</h>");
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "h", 0, nullptr));
    int n = -1;
    unsigned char *p = soap_gethex(soap, &n);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(1, n);
    EXPECT_EQ(' ', soap->ahead);
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "h"));
}

/* ======================================================================== */
/* Work buffer                                                               */
/* ======================================================================== */

class ReaderWorkBuffer : public ReaderBase {};
INSTANTIATE_TEST_SUITE_P(Once, ReaderWorkBuffer, ::testing::Values((size_t)SOAP_BUFLEN));

TEST_P(ReaderWorkBuffer, StartsAt256AndDoubles)
{
    EXPECT_EQ(SOAP_OK, soap_set_lab(soap, "abc", 3));
    EXPECT_EQ((size_t)SOAP_LABLEN, soap->lablen);
    EXPECT_EQ(3u, soap->labidx);
    std::string big(300, 'b');
    EXPECT_EQ(SOAP_OK, soap_append_lab(soap, big.data(), big.size()));
    EXPECT_EQ(512u, soap->lablen);
    EXPECT_EQ(303u, soap->labidx);
    EXPECT_EQ("abc" + big, std::string(soap->labbuf, soap->labidx));
    EXPECT_EQ(SOAP_OK, soap_append_lab(soap, nullptr, 209));  /* 303 + 209 reaches 512 */
    EXPECT_EQ(1024u, soap->lablen);
    EXPECT_EQ(303u, soap->labidx);
    EXPECT_EQ(SOAP_OK, soap_set_lab(soap, "z", 1));
    EXPECT_EQ(1u, soap->labidx);
    EXPECT_EQ(1024u, soap->lablen);
}

/* ======================================================================== */
/* Two messages on one context                                               */
/* ======================================================================== */

class ReaderMessages : public ReaderBase {
protected:
    int begin(const std::string &xml)
    {
        io.attach(soap, xml);
        io.chunk = GetParam();
        return soap_begin_recv(soap);
    }
};
CHUNKS(ReaderMessages);

TEST_P(ReaderMessages, MessageCutInsideCdataLeavesNothingForTheNext)
{
    ASSERT_EQ(SOAP_OK, begin("<a><![CDATA[unfinished"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    (void)soap_instring(soap, "-s", nullptr, nullptr, 1, 1, 0, -1);
    EXPECT_EQ(1, soap->cdata);
    soap_end(soap);
    soap_begin(soap);
    ASSERT_EQ(SOAP_OK, begin("<b>ok</b>"));
    char **p = soap_instring(soap, "b", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("ok", *p);
}

TEST_P(ReaderMessages, PeekedElementAndAttributesDoNotSurvive)
{
    ASSERT_EQ(SOAP_OK, begin("<a x=\"1\" xmlns:p=\"urn:test:protocol\"><p:b/>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_peek_element(soap));
    EXPECT_EQ(1u, soap->level);
    EXPECT_EQ(1, soap->peeked);
    ASSERT_EQ(SOAP_OK, begin("<p:c y=\"2\"/>"));
    EXPECT_EQ(0u, soap->level);
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_element_begin_in(soap, "protocol:c", 0, nullptr));  /* p is gone */
    EXPECT_EQ(nullptr, soap_attr_value(soap, "x", 0));
    EXPECT_STREQ("2", soap_attr_value(soap, "y", 0));
}

TEST_P(ReaderMessages, LatinDeclarationLastsOneMessage)
{
    ASSERT_EQ(SOAP_OK, begin("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xE9</a>"));
    char **p = soap_instring(soap, "a", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("\xE9", *p);
    ASSERT_EQ(SOAP_OK, begin("<a>\xC3\xA9</a>"));
    p = soap_instring(soap, "a", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("\xE9", *p);
}

TEST_P(ReaderMessages, EndOfInputOfOneMessageIsNotStickyForTheNext)
{
    ASSERT_EQ(SOAP_OK, begin("<a>1"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_STREQ("1", soap_value(soap));
    EXPECT_EQ(SOAP_EOF, soap->ahead);
    EXPECT_EQ(SOAP_EOF, soap_element_end_in(soap, "a"));
    ASSERT_EQ(SOAP_OK, begin("<b>2</b>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    EXPECT_STREQ("2", soap_value(soap));
    EXPECT_EQ(SOAP_OK, soap_element_end_in(soap, "b"));
}

TEST_P(ReaderMessages, TwoMessagesInOneReadOnAKeptConnection)
{
    soap->keep_alive = 1;
    soap->imode |= SOAP_IO_KEEPALIVE;
    ASSERT_EQ(SOAP_OK, begin("<a>1</a><b>2</b>"));
    char **p = soap_instring(soap, "a", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("1", *p);
    /* the rest of the input is the next message */
    ASSERT_EQ(SOAP_OK, soap_begin_recv(soap));
    p = soap_instring(soap, "b", nullptr, nullptr, 1, 1, 0, -1);
    ASSERT_NE(nullptr, p);
    EXPECT_STREQ("2", *p);
}

/* ======================================================================== */
/* Inputs that once broke the reader                                         */
/* ======================================================================== */

std::string regress_dir()
{
    std::string f = __FILE__;
    return f.substr(0, f.rfind('/')) + "/regress/reader";
}

TEST(ReaderRegress, SavedInputsRunCleanOnFreshAndReusedContexts)
{
    DIR *d = opendir(regress_dir().c_str());
    ASSERT_NE(nullptr, d) << regress_dir();
    std::vector<std::string> files;
    while (struct dirent *e = readdir(d))
        if (e->d_name[0] != '.')
            files.push_back(regress_dir() + "/" + e->d_name);
    closedir(d);
    struct soap *reused = new struct soap();
    soap_set_logfile(reused, SOAP_IDX_SENT, nullptr);
    soap_set_logfile(reused, SOAP_IDX_RECV, nullptr);
    testing::internal::CaptureStderr();
    for (const std::string &f : files) {
        std::ifstream in(f, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        std::string data = ss.str();
        struct soap *fresh = new struct soap();
        soap_set_logfile(fresh, SOAP_IDX_SENT, nullptr);
        soap_set_logfile(fresh, SOAP_IDX_RECV, nullptr);
        reader_driver::run(fresh, (const unsigned char *)data.data(), data.size());
        delete fresh;
        reader_driver::run(reused, (const unsigned char *)data.data(), data.size());
        soap_end(reused);
    }
    delete reused;
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::string::npos, err.find("not freed")) << err;
    EXPECT_EQ(std::string::npos, err.find("double free")) << err;
    EXPECT_EQ(std::string::npos, err.find("corruption")) << err;
}

}  // namespace
