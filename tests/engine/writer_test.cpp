/* writer_test.cpp -- the XML writer byte for byte: escaping, tags and their
 * attributes, indentation, nil and reference elements, arrays, literal
 * text, attachment references, and the agreement of the count and write passes.
 */
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <string>
#include <vector>

#include "memio.h"
#include "soapengine.h"

namespace {

class Writer : public ::testing::Test {
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
        soap->ns = 1;  /* inside a message: no declaration, no namespace list */
        soap->level = 0;
        soap->body = 0;
    }
    void TearDown() override { delete soap; }

    /* Everything written since the last call. */
    std::string out()
    {
        soap_flush(soap);
        std::string s = io.out;
        io.out.clear();
        return s;
    }
    std::string text(const char *s, int flag)
    {
        EXPECT_EQ(SOAP_OK, soap_string_out(soap, s, flag));
        return out();
    }
    std::string utf8(unsigned long c)
    {
        EXPECT_EQ(SOAP_OK, soap_pututf8(soap, c));
        return out();
    }
};

/* ---- escaping ----------------------------------------------------------- */

TEST_F(Writer, ContentEscapesLtGtAmpLfCrButNotQuoteApostropheTab)
{
    EXPECT_EQ("a&lt;b&gt;&amp;c\"d'e&#xA;&#xD;\tf", text("a<b>&c\"d'e\n\r\tf", 0));
}

TEST_F(Writer, AttributeEscapesQuoteTabLfButNotGreaterThanOrApostrophe)
{
    EXPECT_EQ("a&lt;b>&amp;c&quot;d'e&#xA;&#xD;&#x9;f", text("a<b>&c\"d'e\n\r\tf", 1));
}

TEST_F(Writer, FlagTwoEscapesLikeAnAttributeAndPassesUtf8)
{
    EXPECT_EQ("&quot;&#x9;>\xC3\xA9", text("\"\t>\xC3\xA9", 2));
}

TEST_F(Writer, CanonicalKeepsLineFeedInContentOnly)
{
    soap->mode |= SOAP_XML_CANONICAL;
    EXPECT_EQ("a\nb&#xD;", text("a\nb\r", 0));
    EXPECT_EQ("a&#xA;b", text("a\nb", 1));
}

TEST_F(Writer, Latin1ByteBecomesTwoUtf8Bytes)
{
    EXPECT_EQ("caf\xC3\xA9!", text("caf\xE9!", 0));
    EXPECT_EQ("\xC3\xBF", text("\xFF", 1));
}

TEST_F(Writer, Utf8StringModePassesHighBytes)
{
    soap->mode |= SOAP_C_UTFSTRING;
    EXPECT_EQ("caf\xE9&lt;", text("caf\xE9<", 0));
}

TEST_F(Writer, ControlBytesGoUnchanged)
{
    EXPECT_EQ("\x01\x1F", text("\x01\x1F", 0));
}

TEST_F(Writer, NullAndEmptyTextWriteNothing)
{
    EXPECT_EQ("", text(nullptr, 0));
    EXPECT_EQ("", text("", 1));
}

TEST_F(Writer, LongTextIsEscapedAcrossBufferFlushes)
{
    std::string in, want;
    for (int i = 0; i < 30000; i++) {
        in += "ab<&";
        want += "ab&lt;&amp;";
    }
    EXPECT_EQ(want, text(in.c_str(), 0));
    EXPECT_GT(want.size(), (size_t)SOAP_BUFLEN);
}

TEST_F(Writer, MultibyteModeDecodesLocaleText)
{
    const char *old = setlocale(LC_CTYPE, nullptr);
    std::string saved = old ? old : "C";
    if (!setlocale(LC_CTYPE, "C.UTF-8") && !setlocale(LC_CTYPE, "C.utf8"))
        GTEST_SKIP() << "no UTF-8 locale";
    soap->mode |= SOAP_C_MBSTRING;
    std::string got = text("\xE2\x82\xAC<\xC3\xA9", 0);
    std::string bad = text("\xE9x", 0);  /* not UTF-8: taken as Latin-1 */
    setlocale(LC_CTYPE, saved.c_str());
    EXPECT_EQ("\xE2\x82\xAC&lt;\xC3\xA9", got);
    EXPECT_EQ("\xC3\xA9x", bad);
}

TEST_F(Writer, WideTextEscapesAndEncodesUtf8)
{
    EXPECT_EQ(SOAP_OK, soap_wstring_out(soap, L"a<\x20AC>\"\t\n", 0));
    EXPECT_EQ("a&lt;\xE2\x82\xAC&gt;\"\t&#xA;", out());
    EXPECT_EQ(SOAP_OK, soap_wstring_out(soap, L"a<\x20AC>\"\t", 1));
    EXPECT_EQ("a&lt;\xE2\x82\xAC>&quot;&#x9;", out());
    EXPECT_EQ(SOAP_OK, soap_wstring_out(soap, L"\xE9", 0));
    EXPECT_EQ("\xC3\xA9", out());
}

TEST_F(Writer, LongWideTextIsWholeAcrossItsStagingBuffer)
{
    std::wstring in;
    std::string want;
    for (int i = 0; i < 1000; i++) {
        in += L"\x20AC&";
        want += "\xE2\x82\xAC&amp;";
    }
    EXPECT_EQ(SOAP_OK, soap_wstring_out(soap, in.c_str(), 0));
    EXPECT_EQ(want, out());
}

/* ---- UTF-8, base64, hex ------------------------------------------------- */

TEST_F(Writer, Utf8FormsUpToSixBytes)
{
    EXPECT_EQ("A", utf8(0x41));
    EXPECT_EQ("\x7F", utf8(0x7F));
    EXPECT_EQ("\xC2\x80", utf8(0x80));
    EXPECT_EQ("\xDF\xBF", utf8(0x7FF));
    EXPECT_EQ("\xE0\xA0\x80", utf8(0x800));
    EXPECT_EQ("\xEF\xBF\xBF", utf8(0xFFFF));
    EXPECT_EQ("\xF0\x90\x80\x80", utf8(0x10000));
    EXPECT_EQ("\xF7\xBF\xBF\xBF", utf8(0x1FFFFF));
    EXPECT_EQ("\xF8\x88\x80\x80\x80", utf8(0x200000));
    EXPECT_EQ("\xFB\xBF\xBF\xBF\xBF", utf8(0x3FFFFFF));
    EXPECT_EQ("\xFC\x84\x80\x80\x80\x80", utf8(0x4000000));
    EXPECT_EQ("\xFD\xBF\xBF\xBF\xBF\xBF", utf8(0x7FFFFFFF));
}

TEST_F(Writer, Base64PadsShortLastGroup)
{
    EXPECT_EQ(SOAP_OK, soap_putbase64(soap, (const unsigned char *)"a", 1));
    EXPECT_EQ("YQ==", out());
    EXPECT_EQ(SOAP_OK, soap_putbase64(soap, (const unsigned char *)"ab", 2));
    EXPECT_EQ("YWI=", out());
    EXPECT_EQ(SOAP_OK, soap_putbase64(soap, (const unsigned char *)"abc", 3));
    EXPECT_EQ("YWJj", out());
    EXPECT_EQ(SOAP_OK, soap_putbase64(soap, (const unsigned char *)"abc", 0));
    EXPECT_EQ("", out());
}

TEST_F(Writer, Base64StreamAgreesWithTextConversion)
{
    unsigned char data[2000];
    for (int i = 0; i < 2000; i++)
        data[i] = (unsigned char)(i * 7 + 3);
    for (int n : {1999, 2000, 768, 769}) {
        EXPECT_EQ(SOAP_OK, soap_putbase64(soap, data, n));
        EXPECT_EQ(std::string(soap_s2base64(soap, data, nullptr, n)), out()) << n;
    }
}

TEST_F(Writer, HexIsTwoUpperCaseDigitsPerByte)
{
    const unsigned char b[] = {0xDE, 0xAD, 0xBE, 0xEF};
    EXPECT_EQ(SOAP_OK, soap_puthex(soap, b, 4));
    EXPECT_EQ("DEADBEEF", out());
    const unsigned char ab = 0xAB;
    EXPECT_EQ(SOAP_OK, soap_puthex(soap, &ab, 1));
    EXPECT_EQ("AB", out());
}

TEST_F(Writer, SendWritesStringsInOrder)
{
    EXPECT_EQ(SOAP_OK, soap_send(soap, nullptr));
    EXPECT_EQ(SOAP_OK, soap_send2(soap, "a", "b"));
    EXPECT_EQ(SOAP_OK, soap_send3(soap, "c", nullptr, "d"));
    EXPECT_EQ("abcd", out());
}

/* ---- start and end tags ------------------------------------------------- */

TEST_F(Writer, RootElementGetsXmlDeclaration)
{
    soap->ns = 0;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "r", 0, nullptr));
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r>", out());
    EXPECT_EQ(1, soap->ns);
    EXPECT_EQ(1u, soap->level);
}

TEST_F(Writer, PrologReplacesDeclaration)
{
    soap->ns = 0;
    soap->prolog = "";
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "r", 0, nullptr));
    EXPECT_EQ("<r>", out());
}

TEST_F(Writer, CanonicalRootHasNoDeclaration)
{
    soap->ns = 0;
    soap->mode |= SOAP_XML_CANONICAL;
    soap->c14nexclude = nullptr;
    EXPECT_EQ(SOAP_OK, soap_element(soap, "r", 0, nullptr));
    EXPECT_EQ("<r", out());
}

TEST_F(Writer, ElementWithIdAndType)
{
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "x", 5, "xsd:int"));
    EXPECT_EQ("<x id=\"_5\" xsi:type=\"xsd:int\">", out());
    EXPECT_EQ(SOAP_OK, soap_element_end_out(soap, "x"));
    EXPECT_EQ("</x>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Writer, NegativeOrZeroIdWritesNoIdAttribute)
{
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "x", -1, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "y", 0, ""));
    EXPECT_EQ("<x><y>", out());
}

TEST_F(Writer, NoTypeModeSuppressesXsiType)
{
    soap->mode |= SOAP_XML_NOTYPE;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "x", 0, "xsd:int"));
    EXPECT_EQ("<x>", out());
}

TEST_F(Writer, HeaderPhaseSuppressesXsiType)
{
    soap->part = SOAP_IN_HEADER;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "x", 0, "xsd:int"));
    EXPECT_EQ("<x>", out());
}

TEST_F(Writer, DashTagStandsForNoElement)
{
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "-any", 0, "t"));
    EXPECT_EQ(SOAP_OK, soap_element_end_out(soap, "-any"));
    EXPECT_EQ("", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Writer, StartEndWithTagClosesEmptyAndLeavesLevel)
{
    EXPECT_EQ(SOAP_OK, soap_element(soap, "e", 0, nullptr));
    EXPECT_EQ(1u, soap->level);
    EXPECT_EQ(SOAP_OK, soap_element_start_end_out(soap, "e"));
    EXPECT_EQ("<e/>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Writer, PositionAttributeOnNextElementThenCleared)
{
    soap->null = 1;
    soap->position = 2;
    soap->positions[0] = 1;
    soap->positions[1] = 2;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "x", 0, nullptr));
    EXPECT_EQ("<x SOAP-ENC:position=\"[1,2]\">", out());
    EXPECT_EQ(0, soap->null);
    EXPECT_EQ(0, soap->position);
}

TEST_F(Writer, MustUnderstandWithActorInSoap11)
{
    soap->version = 1;
    soap->actor = "urn:a";
    soap->mustUnderstand = 1;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "h", 0, nullptr));
    EXPECT_EQ("<h SOAP-ENV:actor=\"urn:a\" SOAP-ENV:mustUnderstand=\"1\">", out());
    EXPECT_EQ(0, soap->mustUnderstand);
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "g", 0, nullptr));
    EXPECT_EQ("<g>", out());
}

TEST_F(Writer, MustUnderstandWithRoleInSoap12)
{
    soap->version = 2;
    soap->actor = "urn:r";
    soap->mustUnderstand = 1;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "h", 0, nullptr));
    EXPECT_EQ("<h SOAP-ENV:role=\"urn:r\" SOAP-ENV:mustUnderstand=\"true\">", out());
}

TEST_F(Writer, MustUnderstandWithoutActor)
{
    soap->version = 1;
    soap->actor = "";
    soap->mustUnderstand = 1;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "h", 0, nullptr));
    EXPECT_EQ("<h SOAP-ENV:mustUnderstand=\"1\">", out());
}

TEST_F(Writer, EncodingFlagWithoutNamespaceTableIsDropped)
{
    soap->encoding = 1;
    soap->encodingStyle = "urn:enc";
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "x", 0, nullptr));
    EXPECT_EQ("<x>", out());
    EXPECT_EQ(0, soap->encoding);
}

/* ---- indentation -------------------------------------------------------- */

TEST_F(Writer, IndentPutsTextOnlyEndTagOnSameLine)
{
    soap->mode |= SOAP_XML_INDENT;
    soap_element_begin_out(soap, "r", 0, nullptr);
    soap_element_begin_out(soap, "a", 0, nullptr);
    soap_string_out(soap, "t", 0);
    soap_element_end_out(soap, "a");
    soap_element_begin_out(soap, "b", 0, nullptr);
    soap_element_end_out(soap, "b");
    soap_element_end_out(soap, "r");
    EXPECT_EQ("\n<r>\n\t<a>t</a>\n\t<b></b>\n</r>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Writer, IndentStopsGrowingAtNineTabs)
{
    soap->mode |= SOAP_XML_INDENT;
    for (int i = 0; i < 12; i++)
        soap_element_begin_out(soap, "a", 0, nullptr);
    std::string s = out();
    const std::string nine = "\n\t\t\t\t\t\t\t\t\t<a>";
    /* depths 10, 11 and 12 are all indented by nine tabs */
    ASSERT_GE(s.size(), 3 * nine.size());
    EXPECT_EQ(nine + nine + nine, s.substr(s.size() - 3 * nine.size()));
    EXPECT_EQ(std::string::npos, s.find("\t\t\t\t\t\t\t\t\t\t"));
    EXPECT_EQ(12u, soap->level);
    soap_element_end_out(soap, "a");
    soap_element_end_out(soap, "a");
    EXPECT_EQ("</a>\n\t\t\t\t\t\t\t\t\t</a>", out());
}

/* ---- attributes --------------------------------------------------------- */

TEST_F(Writer, WaitingAttributesComeOutInReverseOrderOfSetting)
{
    soap_set_attr(soap, "a", "1", 1);
    soap_set_attr(soap, "b", "2", 1);
    soap_element_begin_out(soap, "x", 0, nullptr);
    EXPECT_EQ("<x b=\"2\" a=\"1\">", out());
}

TEST_F(Writer, AttributeSetTwiceKeepsFirstValue)
{
    soap_set_attr(soap, "a", "1", 1);
    soap_set_attr(soap, "a", "2", 1);
    soap_element_begin_out(soap, "x", 0, nullptr);
    EXPECT_EQ("<x a=\"1\">", out());
}

TEST_F(Writer, AttributesAreConsumedByTheNextStartTag)
{
    soap_set_attr(soap, "a", "1", 1);
    soap_element_begin_out(soap, "x", 0, nullptr);
    soap_element_begin_out(soap, "y", 0, nullptr);
    soap_set_attr(soap, "a", "a much longer value than before", 1);
    soap_element_begin_out(soap, "z", 0, nullptr);
    EXPECT_EQ("<x a=\"1\"><y><z a=\"a much longer value than before\">", out());
}

TEST_F(Writer, AttributeWithoutValueWritesNameOnly)
{
    soap_set_attr(soap, "flag", nullptr, 1);
    soap_element_begin_out(soap, "x", 0, nullptr);
    EXPECT_EQ("<x flag>", out());
}

TEST_F(Writer, AttributeValueIsEscapedByItsFlag)
{
    soap_set_attr(soap, "a", "<\"&>'\t", 1);
    soap_set_attr(soap, "b", "<\"&>'\t", 0);
    soap_element_begin_out(soap, "x", 0, nullptr);
    EXPECT_EQ("<x b=\"&lt;\"&amp;&gt;'\t\" a=\"&lt;&quot;&amp;>'&#x9;\">", out());
}

TEST_F(Writer, TypeIsRecordedWhenAttributesWait)
{
    soap_set_attr(soap, "a", "1", 1);
    soap_element_begin_out(soap, "x", 0, "t:T");
    EXPECT_EQ("<x xsi:type=\"t:T\" a=\"1\">", out());
}

TEST_F(Writer, ImmediateAttributeIsWrittenAtOnce)
{
    soap_element(soap, "x", 0, nullptr);
    soap_attribute(soap, "k", "v\"");
    soap_attribute(soap, "n", nullptr);
    soap_element_start_end_out(soap, nullptr);
    EXPECT_EQ("<x k=\"v&quot;\" n>", out());
}

TEST_F(Writer, WsuIdIsCopiedToId)
{
    soap_set_attr(soap, "wsu:Id", "Body", 1);
    EXPECT_STREQ("Body", soap->id);
}

TEST_F(Writer, ClearedAttributesAreNotWritten)
{
    soap_set_attr(soap, "a", "1", 1);
    soap_clr_attr(soap);
    soap_element_begin_out(soap, "x", 0, nullptr);
    EXPECT_EQ("<x>", out());
    EXPECT_NE(nullptr, soap->attributes);  /* kept for reuse */
}

/* ---- nil, null, href, ref, id ------------------------------------------- */

TEST_F(Writer, NilElement)
{
    EXPECT_EQ(SOAP_OK, soap_element_nil(soap, "x"));
    EXPECT_EQ("<x xsi:nil=\"true\"/>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Writer, NullWritesNothingByDefault)
{
    soap->mustUnderstand = 1;
    soap->position = 1;
    EXPECT_EQ(SOAP_OK, soap_element_null(soap, "x", 0, "xsd:string"));
    EXPECT_EQ("", out());
    EXPECT_EQ(1, soap->null);
    EXPECT_EQ(0, soap->mustUnderstand);
    EXPECT_EQ(0, soap->position);
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Writer, NullWritesXsiNilInNilMode)
{
    soap->mode |= SOAP_XML_NIL;
    EXPECT_EQ(SOAP_OK, soap_element_null(soap, "x", 0, nullptr));
    EXPECT_EQ("<x xsi:nil=\"true\"/>", out());
}

TEST_F(Writer, NullWithIdIsWritten)
{
    EXPECT_EQ(SOAP_OK, soap_element_null(soap, "x", 3, nullptr));
    EXPECT_EQ("<x id=\"_3\" xsi:nil=\"true\"/>", out());
}

TEST_F(Writer, NullWithWaitingAttributeCarriesItInsteadOfNil)
{
    soap_set_attr(soap, "a", "1", 1);
    EXPECT_EQ(SOAP_OK, soap_element_null(soap, "x", 0, nullptr));
    EXPECT_EQ("<x a=\"1\"/>", out());
}

TEST_F(Writer, NullAtArrayPositionInSoap12IsWritten)
{
    soap->version = 2;
    soap->position = 1;
    soap->positions[0] = 4;
    EXPECT_EQ(SOAP_OK, soap_element_null(soap, "x", 0, nullptr));
    EXPECT_EQ("<x xsi:nil=\"true\"/>", out());
}

TEST_F(Writer, HrefElementIsEmpty)
{
    EXPECT_EQ(SOAP_OK, soap_element_href(soap, "x", 0, "href", "#_1"));
    EXPECT_EQ("<x href=\"#_1\"/>", out());
}

TEST_F(Writer, ReferenceIsHrefInSoap11AndRefInSoap12)
{
    soap->version = 1;
    EXPECT_EQ(SOAP_OK, soap_element_ref(soap, "x", 0, 7));
    EXPECT_EQ("<x href=\"#_7\"/>", out());
    soap->version = 2;
    EXPECT_EQ(SOAP_OK, soap_element_ref(soap, "x", 0, 7));
    EXPECT_EQ("<x SOAP-ENC:ref=\"_7\"/>", out());
}

TEST_F(Writer, ElementIdOfNullPointerIsANullElement)
{
    EXPECT_EQ(-1, soap_element_id(soap, "x", 0, nullptr, nullptr, 0, nullptr, 1));
    EXPECT_EQ("", out());
    soap->mode |= SOAP_XML_NIL;
    EXPECT_EQ(-1, soap_element_id(soap, "x", 0, nullptr, nullptr, 0, nullptr, 1));
    EXPECT_EQ("<x xsi:nil=\"true\"/>", out());
}

TEST_F(Writer, ElementIdInTreeModeOrWithGivenId)
{
    int v = 1;
    EXPECT_EQ(4, soap_element_id(soap, "x", 4, &v, nullptr, 0, nullptr, 1));
    EXPECT_EQ(0, soap_element_id(soap, "x", -1, &v, nullptr, 0, nullptr, 1));  /* never entered */
    soap->mode |= SOAP_XML_TREE;
    EXPECT_EQ(0, soap_element_id(soap, "x", 4, &v, nullptr, 0, nullptr, 1));
    EXPECT_EQ("", out());
}

TEST_F(Writer, SharedObjectGetsIdFirstAndReferenceAfter)
{
    int v = 1;
    soap->version = 0;
    soap->encodingStyle = nullptr;
    soap_reference(soap, &v, 7);
    soap_reference(soap, &v, 7);  /* seen twice: multi-reference */
    int id = soap_element_id(soap, "x", -1, &v, nullptr, 0, nullptr, 7);
    EXPECT_GT(id, 0);
    EXPECT_EQ(-1, soap_element_id(soap, "y", -1, &v, nullptr, 0, nullptr, 7));
    EXPECT_EQ("<y href=\"#_" + std::to_string(id) + "\"/>", out());
}

/* ---- arrays ------------------------------------------------------------- */

TEST_F(Writer, Soap11ArrayHasArrayTypeAndOffset)
{
    soap->version = 1;
    EXPECT_EQ(SOAP_OK, soap_array_begin_out(soap, "a", 0, "xsd:int[3]", nullptr));
    EXPECT_EQ("<a xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:arrayType=\"xsd:int[3]\">", out());
    EXPECT_EQ(SOAP_OK, soap_array_begin_out(soap, "b", 0, "xsd:int[3]", "[1]"));
    EXPECT_EQ("<b xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:offset=\"[1]\" SOAP-ENC:arrayType=\"xsd:int[3]\">", out());
}

TEST_F(Writer, Soap12ArraySplitsItemTypeAndSize)
{
    soap->version = 2;
    int sizes[2] = {3, 4};
    const char *t = soap_putsizes(soap, "xsd:int", sizes, 2);
    EXPECT_STREQ("xsd:int[3 4", t);
    EXPECT_EQ(SOAP_OK, soap_array_begin_out(soap, "a", 0, t, nullptr));
    EXPECT_EQ("<a xsi:type=\"SOAP-ENC:Array\" SOAP-ENC:itemType=\"xsd:int\" SOAP-ENC:arraySize=\"3 4\">", out());
}

TEST_F(Writer, ArrayWithoutTypeIsPlainElement)
{
    EXPECT_EQ(SOAP_OK, soap_array_begin_out(soap, "a", 0, "", nullptr));
    EXPECT_EQ(SOAP_OK, soap_array_begin_out(soap, "b", 0, nullptr, nullptr));
    EXPECT_EQ("<a><b>", out());
}

TEST_F(Writer, ArraySizeTexts)
{
    soap->version = 1;
    EXPECT_STREQ("xsd:int[3]", soap_putsize(soap, "xsd:int", 3));
    EXPECT_EQ(soap->type, soap_putsize(soap, "xsd:int", 3));
    int sizes[2] = {2, 3}, offsets[2] = {1, 1};
    EXPECT_STREQ("xsd:int[2,3]", soap_putsizes(soap, "xsd:int", sizes, 2));
    EXPECT_STREQ("xsd:int[3,4]", soap_putsizesoffsets(soap, "xsd:int", sizes, offsets, 2));
    EXPECT_EQ(nullptr, soap_putsizes(soap, nullptr, sizes, 2));
    soap->version = 2;
    EXPECT_STREQ("xsd:int[2 3", soap_putsizes(soap, "xsd:int", sizes, 2));
}

TEST_F(Writer, ArraySizeTextNeverRunsPastItsField)
{
    std::string longtype(2000, 't');
    int sizes[1] = {5};
    const char *t = soap_putsizes(soap, longtype.c_str(), sizes, 1);
    EXPECT_EQ(SOAP_TAGLEN - 1, (int)strlen(t));
}

TEST_F(Writer, PositionTexts)
{
    int pos[2] = {1, 2};
    EXPECT_STREQ("[1,2]", soap_putpositions(soap, 2, pos));
    EXPECT_EQ(soap->arrayOffset, soap_putposition(soap, 4));
    EXPECT_STREQ("[4]", soap->arrayOffset);
}

TEST_F(Writer, RpcResultOnlyInEncodedSoap12)
{
    soap->version = 1;
    soap->encodingStyle = "";
    EXPECT_EQ(SOAP_OK, soap_element_result(soap, "ns:out"));
    EXPECT_EQ("", out());
    soap->version = 2;
    soap->encodingStyle = nullptr;
    EXPECT_EQ(SOAP_OK, soap_element_result(soap, "ns:out"));
    EXPECT_EQ("", out());
    soap->encodingStyle = "";
    EXPECT_EQ(SOAP_OK, soap_element_result(soap, "ns:out"));
    EXPECT_EQ("<SOAP-RPC:result xmlns:SOAP-RPC=\"http://www.w3.org/2003/05/soap-rpc\">ns:out</SOAP-RPC:result>",
              out());
    EXPECT_EQ(0u, soap->level);
}

/* ---- strings and literals ----------------------------------------------- */

TEST_F(Writer, StringElementIsEscaped)
{
    char *s = const_cast<char *>("a&b");
    EXPECT_EQ(SOAP_OK, soap_outstring(soap, "s", -1, &s, nullptr, 1));
    EXPECT_EQ("<s>a&amp;b</s>", out());
}

TEST_F(Writer, NullStringIsAbsentAndEmptyStringIsEmptyElement)
{
    char *n = nullptr;
    char *e = const_cast<char *>("");
    EXPECT_EQ(SOAP_OK, soap_outstring(soap, "s", -1, &n, nullptr, 1));
    EXPECT_EQ(SOAP_OK, soap_outstring(soap, "s", -1, &e, nullptr, 1));
    EXPECT_EQ("<s></s>", out());
}

TEST_F(Writer, EmptyStringIsNullInNilStringMode)
{
    char *e = const_cast<char *>("");
    soap->mode |= SOAP_C_NILSTRING;
    EXPECT_EQ(SOAP_OK, soap_outstring(soap, "s", -1, &e, nullptr, 1));
    EXPECT_EQ("", out());
    soap->mode |= SOAP_XML_NIL;
    EXPECT_EQ(SOAP_OK, soap_outstring(soap, "s", -1, &e, nullptr, 1));
    EXPECT_EQ("<s xsi:nil=\"true\"/>", out());
}

TEST_F(Writer, WideStringElementIsUtf8)
{
    wchar_t *w = const_cast<wchar_t *>(L"\x20AC<");
    EXPECT_EQ(SOAP_OK, soap_outwstring(soap, "s", -1, &w, nullptr, 1));
    EXPECT_EQ("<s>\xE2\x82\xAC&lt;</s>", out());
}

TEST_F(Writer, LiteralTextIsNotEscaped)
{
    char *s = const_cast<char *>("<a>&x</a>");
    EXPECT_EQ(SOAP_OK, soap_outliteral(soap, "d", &s, nullptr));
    EXPECT_EQ("<d><a>&x</a></d>", out());
    EXPECT_EQ(SOAP_OK, soap_outliteral(soap, "-any", &s, nullptr));
    EXPECT_EQ(SOAP_OK, soap_outliteral(soap, nullptr, &s, nullptr));
    EXPECT_EQ("<a>&x</a><a>&x</a>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Writer, WideLiteralIsUtf8WithoutEscapes)
{
    wchar_t *w = const_cast<wchar_t *>(L"<\x20AC>");
    EXPECT_EQ(SOAP_OK, soap_outwliteral(soap, "d", &w, nullptr));
    EXPECT_EQ("<d><\xE2\x82\xAC></d>", out());
}

/* ---- attachments -------------------------------------------------------- */

class Attachment : public Writer {
protected:
    unsigned char data[4] = {1, 2, 3, 4};
    struct soap_array blob;
    void SetUp() override
    {
        Writer::SetUp();
        blob.__ptr = data;
        blob.__size = 4;
        soap->encodingStyle = nullptr;
    }
    int put(const char *tag, const char *aid, const char *atype)
    {
        return soap_attachment(soap, tag, 0, &blob, &blob, aid, atype, nullptr, 1, nullptr, 42);
    }
};

TEST_F(Attachment, DimeReferenceIsHrefAndListedOnceInCountPass)
{
    soap->mode = SOAP_IO_LENGTH | SOAP_ENC_DIME;
    soap->count = 0;
    EXPECT_EQ(-1, put("b", "cid:x1", "image/png"));
    EXPECT_EQ(-1, put("c", "cid:x1", "image/png"));  /* second reference, same data */
    EXPECT_EQ("", out());
    size_t counted = soap->count;
    ASSERT_NE(nullptr, soap->dime.first);
    EXPECT_EQ(soap->dime.first, soap->dime.last);
    EXPECT_STREQ("x1", soap->dime.first->id);
    EXPECT_STREQ("image/png", soap->dime.first->type);
    EXPECT_EQ(3, soap->dime.first->encoding);
    EXPECT_EQ((char *)data, soap->dime.first->ptr);
    EXPECT_EQ(4u, soap->dime.first->size);
    EXPECT_EQ(nullptr, soap->mime.first);

    soap->mode = SOAP_IO_BUFFER | SOAP_ENC_DIME;
    EXPECT_EQ(-1, put("b", "cid:x1", "image/png"));
    EXPECT_EQ(-1, put("c", "cid:x1", "image/png"));
    std::string s = out();
    EXPECT_EQ("<b href=\"cid:x1\"/><c href=\"cid:x1\"/>", s);
    EXPECT_EQ(counted, s.size());
    EXPECT_EQ(soap->dime.first, soap->dime.last);  /* the write pass adds nothing */
}

TEST_F(Attachment, MissingIdIsMadeFromIdFormat)
{
    soap->mode = SOAP_IO_LENGTH;
    EXPECT_EQ(-1, put("b", nullptr, "image/png"));
    ASSERT_NE(nullptr, soap->dime.first);
    struct soap_plist *pp = nullptr;
    int id = soap_array_pointer_lookup(soap, &blob, &blob, 1, 42, &pp);
    ASSERT_GT(id, 0);
    EXPECT_EQ("id" + std::to_string(id), std::string(soap->dime.first->id));
    soap->mode = SOAP_IO_BUFFER;
    EXPECT_EQ(-1, put("b", nullptr, "image/png"));
    EXPECT_EQ("<b href=\"cid:id" + std::to_string(id) + "\"/>", out());
}

TEST_F(Attachment, MtomReferenceIsXopIncludeOnMimeList)
{
    soap->mode = SOAP_IO_LENGTH | SOAP_ENC_MTOM;
    EXPECT_EQ(-1, put("b", "cid:x1", "image/png"));
    ASSERT_NE(nullptr, soap->mime.first);
    EXPECT_STREQ("<x1>", soap->mime.first->id);
    EXPECT_EQ(nullptr, soap->dime.first);
    soap->mode = SOAP_IO_BUFFER | SOAP_ENC_MTOM;
    EXPECT_EQ(-1, put("b", "cid:x1", "image/png"));
    EXPECT_EQ("<b><xop:Include xmlns:xop=\"http://www.w3.org/2004/08/xop/include\" href=\"cid:x1\"/></b>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(Attachment, MtomXopIncludeTagGetsPlainHref)
{
    soap->mode = SOAP_IO_BUFFER | SOAP_ENC_MTOM;
    EXPECT_EQ(-1, put("xop:Include", "cid:x1", "image/png"));
    EXPECT_EQ("<xop:Include href=\"cid:x1\"/>", out());
}

TEST_F(Attachment, IdWithoutCidPrefixIsStoredUnchanged)
{
    soap->mode = SOAP_IO_LENGTH | SOAP_ENC_MTOM;
    EXPECT_EQ(-1, put("b", "urn:x", "image/png"));
    ASSERT_NE(nullptr, soap->mime.first);
    EXPECT_STREQ("urn:x", soap->mime.first->id);
}

TEST_F(Attachment, NeitherIdNorTypeIsAnOrdinaryElement)
{
    EXPECT_EQ(0, put("b", nullptr, nullptr));
    EXPECT_EQ("", out());
    EXPECT_EQ(nullptr, soap->dime.first);
    EXPECT_EQ(-1, soap_attachment(soap, "b", 0, nullptr, nullptr, "cid:x", "t", nullptr, 1, nullptr, 42));
    EXPECT_EQ("", out());
}

/* ---- passes, failures, two messages ------------------------------------- */

static void write_sample(struct soap *soap)
{
    soap_set_attr(soap, "a", "1<", 1);
    soap_element_begin_out(soap, "r", 3, "t:R");
    soap_element_begin_out(soap, "x", 0, nullptr);
    soap_string_out(soap, "caf\xE9 & \"q\"\n", 0);
    soap_element_end_out(soap, "x");
    soap_element_nil(soap, "n");
    const unsigned char b[] = {0xAB, 0xCD, 0xEF};
    soap_element_begin_out(soap, "b", 0, nullptr);
    soap_putbase64(soap, b, 3);
    soap_puthex(soap, b, 3);
    soap_element_end_out(soap, "b");
    soap_element_end_out(soap, "r");
}

TEST_F(Writer, CountPassCountsExactlyWhatTheWritePassWrites)
{
    soap->mode = SOAP_IO_LENGTH;
    soap->count = 0;
    write_sample(soap);
    EXPECT_EQ("", out());
    size_t counted = soap->count;
    soap->mode = SOAP_IO_BUFFER;
    write_sample(soap);
    std::string s = out();
    EXPECT_EQ("<r id=\"_3\" xsi:type=\"t:R\" a=\"1&lt;\"><x>caf\xC3\xA9 &amp; \"q\"&#xA;</x><n xsi:nil=\"true\"/>"
              "<b>q83vABCDEF</b></r>",
              s);
    EXPECT_EQ(counted, s.size());
}

TEST_F(Writer, SecondMessageOnSameContextIsIdentical)
{
    write_sample(soap);
    std::string first = out();
    EXPECT_EQ(0u, soap->level);
    write_sample(soap);
    EXPECT_EQ(first, out());
}

TEST_F(Writer, SendFailureIsReturnedAndKept)
{
    soap->mode = SOAP_IO_FLUSH;
    io.fail_send = SOAP_TCP_ERROR;
    EXPECT_EQ(SOAP_TCP_ERROR, soap_element_begin_out(soap, "x", 0, nullptr));
    EXPECT_EQ(SOAP_TCP_ERROR, soap->error);
    EXPECT_EQ(SOAP_TCP_ERROR, soap_string_out(soap, "a<b", 0));
    EXPECT_EQ(SOAP_TCP_ERROR, soap_element_end_out(soap, "x"));
}

/* ---- the same bytes whatever the position, length or output mode -------- */

/* Every special byte at every place in a text, and the text at every start
 * offset: one entity where the byte was, nothing else changed. */
TEST_F(Writer, EscapingIsTheSameAtEveryPositionAndAlignment)
{
    struct Case {
        char c;
        int flag;
        const char *entity;
    };
    const Case cases[] = {{'<', 0, "&lt;"}, {'>', 0, "&gt;"}, {'&', 0, "&amp;"}, {'\n', 0, "&#xA;"},
                          {'\r', 0, "&#xD;"}, {'"', 1, "&quot;"}, {'\t', 1, "&#x9;"}, {'\n', 1, "&#xA;"},
                          {'<', 1, "&lt;"}, {'\xE9', 0, "\xC3\xA9"}};
    alignas(16) char buf[96];
    for (const Case &k : cases) {
        for (size_t off = 0; off < 16; off++) {
            for (size_t at = 0; at < 40; at++) {
                std::string in(40, 'a'), want;
                in[at] = k.c;
                want = in.substr(0, at) + k.entity + in.substr(at + 1);
                memcpy(buf + off, in.c_str(), in.size() + 1);
                ASSERT_EQ(want, text(buf + off, k.flag)) << "byte " << (int)(unsigned char)k.c << " at " << at
                                                         << " offset " << off;
            }
        }
    }
}

TEST_F(Writer, TextEndsAtItsNulAtEveryLengthAndAlignment)
{
    alignas(16) char buf[64];
    memset(buf, 'z', sizeof(buf));
    for (size_t off = 0; off < 16; off++) {
        for (size_t len = 0; len < 40; len++) {
            memset(buf, 'z', sizeof(buf));
            memset(buf + off, 'b', len);
            buf[off + len] = '\0';
            ASSERT_EQ(std::string(len, 'b'), text(buf + off, 0)) << len << " at offset " << off;
        }
    }
}

TEST_F(Writer, RareControlBytesAndCanonicalLineFeedsStayInLongText)
{
    std::string in = std::string(20, 'x') + "\x01\x0B\x0C" + std::string(20, 'y') + "\x1F";
    EXPECT_EQ(in, text(in.c_str(), 0));
    EXPECT_EQ(in, text(in.c_str(), 1));
    soap->mode |= SOAP_XML_CANONICAL;
    std::string lines = std::string(30, 'l') + "\n" + std::string(30, 'm') + "\n\n<";
    EXPECT_EQ(std::string(30, 'l') + "\n" + std::string(30, 'm') + "\n\n&lt;", text(lines.c_str(), 0));
}

/* The same calls in write-through, buffered and stored output. */
static void write_mixed(struct soap *soap, const std::string &longtag, const std::string &longval)
{
    soap_element(soap, "r", 0, nullptr);
    soap_attribute(soap, "plain", "value");
    soap_attribute(soap, "esc", "a\"b<c");
    soap_attribute(soap, "long", longval.c_str());
    soap_attribute(soap, "bare", nullptr);
    soap_element_start_end_out(soap, nullptr);
    soap_element_begin_out(soap, longtag.c_str(), 0, nullptr);
    soap_string_out(soap, "x & y <z>", 0);
    soap_element_end_out(soap, longtag.c_str());
    soap_element_begin_out(soap, "e", 0, nullptr);
    soap_element_end_out(soap, "e");
    soap_element_end_out(soap, "r");
}

TEST_F(Writer, OutputModesWriteTheSameBytes)
{
    const std::string longtag(300, 't');
    const std::string longval = std::string(150, 'v') + "&" + std::string(150, 'w');
    const std::string want = "<r plain=\"value\" esc=\"a&quot;b&lt;c\" long=\"" + std::string(150, 'v') + "&amp;" +
                             std::string(150, 'w') + "\" bare><" + longtag + ">x &amp; y &lt;z&gt;</" + longtag +
                             "><e></e></r>";
    const uint32_t modes[] = {SOAP_IO_FLUSH, SOAP_IO_BUFFER, SOAP_IO_STORE};
    for (uint32_t m : modes) {
        soap->mode = m;
        if (m == SOAP_IO_STORE) {
            ASSERT_NE(nullptr, soap_new_block(soap));
        }
        write_mixed(soap, longtag, longval);
        if (m == SOAP_IO_STORE) {
            soap_flush(soap);
            std::string s;
            for (char *p = soap_first_block(soap, nullptr); p; p = soap_next_block(soap, nullptr))
                s.append(p, soap_block_size(soap, nullptr));
            soap_end_block(soap, nullptr);
            EXPECT_EQ(want, s);
        } else {
            EXPECT_EQ(want, out()) << "mode " << m;
        }
        EXPECT_EQ(0u, soap->level);
    }
    soap->mode = SOAP_IO_LENGTH;
    soap->count = 0;
    write_mixed(soap, longtag, longval);
    EXPECT_EQ(want.size(), soap->count);
}

TEST_F(Writer, WriteThroughSendsEachTagAndEachAttributeInOneWrite)
{
    struct Log {
        static int send(struct soap *soap, const char *s, size_t n)
        {
            static_cast<std::vector<std::string> *>(soap->data[0])->push_back(std::string(s, n));
            return SOAP_OK;
        }
    };
    std::vector<std::string> writes;
    soap->data[0] = &writes;
    soap->fsend = Log::send;
    soap->mode = SOAP_IO_FLUSH;
    soap_element_begin_out(soap, "a", 0, nullptr);
    soap_element_end_out(soap, "a");
    soap_element(soap, "b", 0, nullptr);
    soap_attribute(soap, "k", "v");
    soap_element_start_end_out(soap, "b");
    const std::vector<std::string> want = {"<a>", "</a>", "<b", " k=\"v\"", "/>"};
    EXPECT_EQ(want, writes);
}

TEST_F(Writer, BufferBoundaryInsideATagOrEntityKeepsTheBytes)
{
    for (size_t fill = SOAP_BUFLEN - 12; fill < SOAP_BUFLEN; fill++) {
        std::string pad(fill, 'p');
        soap_send_raw(soap, pad.data(), pad.size());
        soap_element_begin_out(soap, "tag", 0, nullptr);
        soap_string_out(soap, "<&>", 0);
        soap_element_end_out(soap, "tag");
        ASSERT_EQ(pad + "<tag>&lt;&amp;&gt;</tag>", out()) << fill;
    }
}

/* ---- with the namespace table ------------------------------------------- */

static struct Namespace test_namespaces[] = {
    {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", nullptr, nullptr},
    {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", nullptr, nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", nullptr, nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", nullptr, nullptr},
    {"ns", "urn:ns", nullptr, nullptr},
    {"", "urn:empty-prefix", nullptr, nullptr},
    {"none", nullptr, nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr}};

#define DECL_ENV " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
#define DECL_ENC " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\""
#define DECL_XSI " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
#define DECL_XSD " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""

class WriterNs : public Writer {
protected:
    void SetUp() override
    {
        Writer::SetUp();
        soap->namespaces = test_namespaces;
        soap_set_local_namespaces(soap);
        soap->ns = 0;
    }
};

TEST_F(WriterNs, RootDeclaresEveryUsableRowInTableOrder)
{
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "SOAP-ENV:Envelope", 0, nullptr));
    EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SOAP-ENV:Envelope" DECL_ENV DECL_ENC DECL_XSI DECL_XSD
              " xmlns:ns=\"urn:ns\">",
              out());
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "SOAP-ENV:Body", 0, nullptr));
    EXPECT_EQ("<SOAP-ENV:Body>", out());  /* declared once, on the root */
}

TEST_F(WriterNs, EncodingStyleDefaultsToSecondRow)
{
    soap->ns = 1;
    soap->encoding = 1;
    soap->encodingStyle = "";
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "x", 0, nullptr));
    EXPECT_EQ("<x SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">", out());
    EXPECT_EQ(0, soap->encoding);
    soap->encoding = 1;
    soap->encodingStyle = "urn:mine";
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "y", 0, nullptr));
    EXPECT_EQ("<y SOAP-ENV:encodingStyle=\"urn:mine\">", out());
    soap->encoding = 1;
    soap->encodingStyle = nullptr;
    EXPECT_EQ(SOAP_OK, soap_element_begin_out(soap, "z", 0, nullptr));
    EXPECT_EQ("<z>", out());
}

TEST_F(WriterNs, LiteralWithPrefixDeclaresDefaultNamespace)
{
    soap->ns = 1;
    char *s = const_cast<char *>("<q/>");
    EXPECT_EQ(SOAP_OK, soap_outliteral(soap, "ns:detail", &s, nullptr));
    EXPECT_EQ("<detail xmlns=\"urn:ns\"><q/></detail>", out());
    EXPECT_EQ(SOAP_OK, soap_outliteral(soap, "zz:detail", &s, nullptr));
    EXPECT_EQ("<detail xmlns=\"\"><q/></detail>", out());
    EXPECT_EQ(0u, soap->level);
}

TEST_F(WriterNs, DefaultNamespaceModeWritesLocalNames)
{
    soap->mode |= SOAP_XML_DEFAULTNS;
    soap->prolog = "";
    soap_element_begin_out(soap, "SOAP-ENV:Envelope", 0, nullptr);
    EXPECT_EQ("<Envelope xmlns=\"http://schemas.xmlsoap.org/soap/envelope/\"" DECL_ENV DECL_ENC DECL_XSI DECL_XSD ">",
              out());
    soap_set_attr(soap, "ns:attr", "v", 1);
    soap_element_begin_out(soap, "ns:child", 0, "xsd:int");
    EXPECT_EQ("<child xmlns=\"urn:ns\" xsi:type=\"int\" attr=\"v\">", out());
    soap_element_end_out(soap, "ns:child");
    EXPECT_EQ("</child>", out());
    soap_element_begin_out(soap, "SOAP-ENV:Body", 0, nullptr);
    EXPECT_EQ("<Body>", out());  /* the envelope's namespace is in force again */
    soap_element_end_out(soap, "SOAP-ENV:Body");
    soap_element_begin_out(soap, "plain", 0, nullptr);
    soap_element_begin_out(soap, "unknown:x", 0, nullptr);
    EXPECT_EQ("</Body><plain><x>", out());
}

TEST_F(WriterNs, CanonicalDeclaresOnlyUsedNamespacesWhereFirstUsed)
{
    soap->mode |= SOAP_XML_CANONICAL;
    soap->c14nexclude = nullptr;
    soap_element_begin_out(soap, "SOAP-ENV:Envelope", 0, nullptr);
    EXPECT_EQ("<SOAP-ENV:Envelope" DECL_ENV ">", out());
    soap_element_begin_out(soap, "SOAP-ENV:Body", 0, nullptr);
    EXPECT_EQ("<SOAP-ENV:Body>", out());
    soap_set_attr(soap, "b", "2", 1);
    soap_set_attr(soap, "a", "1", 1);
    soap_element_begin_out(soap, "x", 0, "xsd:string");
    EXPECT_EQ("<x" DECL_XSD DECL_XSI " a=\"1\" b=\"2\" xsi:type=\"xsd:string\">", out());
}

TEST_F(WriterNs, CanonicalEmptyElementHasEndTag)
{
    soap->mode |= SOAP_XML_CANONICAL;
    soap->ns = 1;
    soap_element(soap, "a", 0, nullptr);
    soap_element_start_end_out(soap, "a");
    EXPECT_EQ("<a></a>", out());
    EXPECT_EQ(0u, soap->level);
    EXPECT_EQ(SOAP_OK, soap_element_nil(soap, "n"));
    EXPECT_EQ(std::string::npos, out().find("/>"));
}

TEST_F(WriterNs, CanonicalOrdersPrefixedAttributesByUriThenName)
{
    soap->mode |= SOAP_XML_CANONICAL;
    soap->c14nexclude = nullptr;
    soap_element_begin_out(soap, "r", 0, nullptr);
    out();
    soap_set_attr(soap, "xsd:z", "1", 1);    /* http://www.w3.org/2001/XMLSchema */
    soap_set_attr(soap, "ns:a", "2", 1);     /* urn:ns */
    soap_set_attr(soap, "xsi:b", "3", 1);    /* ...XMLSchema-instance */
    soap_set_attr(soap, "xsd:y", "4", 1);
    soap_set_attr(soap, "plain", "5", 1);
    soap_element_begin_out(soap, "e", 0, nullptr);
    EXPECT_EQ("<e xmlns:ns=\"urn:ns\"" DECL_XSD DECL_XSI " plain=\"5\" xsd:y=\"4\" xsd:z=\"1\" xsi:b=\"3\" ns:a=\"2\">",
              out());
}

TEST_F(WriterNs, CanonicalClearFreesWaitingAttributes)
{
    soap->mode |= SOAP_XML_CANONICAL;
    soap_set_attr(soap, "a", "1", 1);
    soap_clr_attr(soap);
    EXPECT_EQ(nullptr, soap->attributes);
}

TEST_F(WriterNs, CanonicalXmlnsAttributeIsNotWrittenDirectly)
{
    soap->mode |= SOAP_XML_CANONICAL;
    soap->ns = 1;
    soap_element(soap, "a", 0, nullptr);
    soap_attribute(soap, "xmlns:q", "urn:q");
    soap_element_start_end_out(soap, nullptr);
    EXPECT_EQ("<a>", out());
}

} // namespace
