/* namespaces_test.cpp -- wildcard comparison, the working namespace table and
 * the URI variants it learns, prefix binding and scope on input, tag matching,
 * the output-side stack, and the two text forms of qualified names.
 */
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "memio.h"
#include "soapengine.h"

namespace {

const char ENV11[] = "http://schemas.xmlsoap.org/soap/envelope/";
const char ENV12[] = "http://www.w3.org/2003/05/soap-envelope";

struct Namespace table11[] = {
    {"SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope", nullptr},
    {"SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding", nullptr},
    {"xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance", nullptr},
    {"xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema", nullptr},
    {"protocol", "urn:test:protocol", nullptr, nullptr},
    {"old_", "urn:test:old", nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr}};

struct Namespace table12[] = {
    {"SOAP-ENV", "http://www.w3.org/2003/05/soap-envelope", nullptr, nullptr},
    {"SOAP-ENC", "http://www.w3.org/2003/05/soap-encoding", nullptr, nullptr},
    {"protocol", "urn:test:protocol", nullptr, nullptr},
    {"other", "urn:test:other", nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr}};

/* ======================================================================== */
/* Wildcard comparison                                                       */
/* ======================================================================== */

TEST(NamespacesTagCmp, StarMatchesAnyRunAndCaseIsIgnored)
{
    EXPECT_EQ(0, soap_tag_cmp("text/XML; x", "text/xml*"));
    EXPECT_EQ(0, soap_tag_cmp("text/xml", "text/xml*"));
    EXPECT_EQ(0, soap_tag_cmp("http://www.w3.org/2003/05/soap-envelope", "http://www.w3.org/*/soap-envelope"));
    EXPECT_NE(0, soap_tag_cmp("http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope"));
    EXPECT_EQ(0, soap_tag_cmp("ab", "a*b"));
    EXPECT_EQ(0, soap_tag_cmp("axxbyyb", "a*b"));
    EXPECT_NE(0, soap_tag_cmp("axxbyyc", "a*b"));
    EXPECT_EQ(0, soap_tag_cmp("", "*"));
    EXPECT_EQ(0, soap_tag_cmp("anything", "*"));
    EXPECT_EQ(0, soap_tag_cmp("Basic dXNlcg==", "basic *"));
}

TEST(NamespacesTagCmp, DashMatchesAnyOneByte)
{
    EXPECT_EQ(0, soap_tag_cmp("soap.envelope", "soap-envelope"));
    EXPECT_EQ(0, soap_tag_cmp("a-b", "a-b"));
    EXPECT_NE(0, soap_tag_cmp("ab", "a-b"));
}

TEST(NamespacesTagCmp, TextEndsAtADoubleQuote)
{
    EXPECT_EQ(0, soap_tag_cmp("utf-8\" standalone", "utf-8"));
    EXPECT_EQ(0, soap_tag_cmp("ISO-8859-1\"?", "iso-8859-1*"));
    EXPECT_NE(0, soap_tag_cmp("utf\"-8", "utf-8"));
}

TEST(NamespacesTagCmp, ShorterOrLongerTextDiffers)
{
    EXPECT_NE(0, soap_tag_cmp("text", "text/xml"));
    EXPECT_NE(0, soap_tag_cmp("text/xml", "text"));
    EXPECT_NE(0, soap_tag_cmp("", "a"));
    EXPECT_EQ(0, soap_tag_cmp("", ""));
}

TEST(NamespacesTagSearch, FindsWholeWordsInABlankSeparatedList)
{
    const char *list = "xsd  soap xs";
    EXPECT_EQ(list, soap_tagsearch(list, "xsd"));
    EXPECT_EQ(list + 5, soap_tagsearch(list, "soap"));
    EXPECT_EQ(list + 10, soap_tagsearch(list, "xs"));
    EXPECT_EQ(nullptr, soap_tagsearch(list, "so"));
    EXPECT_EQ(nullptr, soap_tagsearch(nullptr, "x"));
}

/* ======================================================================== */
/* Fixture: a context reading XML                                            */
/* ======================================================================== */

class NamespacesBase : public ::testing::Test {
protected:
    struct soap *soap = nullptr;
    MemIO io;

    void SetUp() override
    {
        soap = new struct soap();
        soap_set_logfile(soap, SOAP_IDX_SENT, nullptr);
        soap_set_logfile(soap, SOAP_IDX_RECV, nullptr);
        ASSERT_EQ(SOAP_OK, soap_set_namespaces(soap, table11));
    }
    void TearDown() override
    {
        testing::internal::CaptureStderr();
        delete soap;
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::string::npos, err.find("not freed")) << err;
        EXPECT_EQ(std::string::npos, err.find("double free")) << err;
    }
    int message(const std::string &xml)
    {
        io.attach(soap, xml);
        return soap_begin_recv(soap);
    }
    std::string stack()
    {
        std::string s;
        for (struct soap_nlist *np = soap->nlist; np; np = np->next)
            s += std::string(s.empty() ? "" : " ") + np->id + "@" + std::to_string(np->level) + "#" +
                 std::to_string(np->index) + (np->ns ? std::string("=") + np->ns : std::string());
        return s;
    }
};

/* ======================================================================== */
/* Working table                                                             */
/* ======================================================================== */

class NamespacesTable : public NamespacesBase {};

TEST_F(NamespacesTable, WorkingCopyTellsTheVersionAndStartsWithoutVariants)
{
    ASSERT_NE(nullptr, soap->local_namespaces);
    EXPECT_NE(table11, soap->local_namespaces);
    EXPECT_EQ(1, soap->version);
    EXPECT_STREQ("protocol", soap->local_namespaces[4].id);
    EXPECT_EQ(nullptr, soap->local_namespaces[6].id);
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(nullptr, soap->local_namespaces[i].out);
    ASSERT_EQ(SOAP_OK, soap_set_namespaces(soap, table12));
    EXPECT_EQ(2, soap->version);
    EXPECT_STREQ("other", soap->local_namespaces[3].id);
}

TEST_F(NamespacesTable, WorkingCopyIsMadeOnlyOnce)
{
    struct Namespace *first = soap->local_namespaces;
    soap->version = 0;
    soap_set_local_namespaces(soap);
    EXPECT_EQ(first, soap->local_namespaces);
    EXPECT_EQ(0, soap->version);
}

TEST_F(NamespacesTable, PushFindsTheRowByUriPatternOrNot)
{
    struct soap_nlist *np = soap_push_namespace(soap, "p", "urn:test:protocol");
    ASSERT_NE(nullptr, np);
    EXPECT_EQ(4, np->index);
    EXPECT_EQ(nullptr, np->ns);
    np = soap_push_namespace(soap, "e", ENV12);
    ASSERT_NE(nullptr, np);
    EXPECT_EQ(0, np->index);
    EXPECT_STREQ(ENV12, soap->local_namespaces[0].out);
    np = soap_push_namespace(soap, "u", "urn:unknown");
    ASSERT_NE(nullptr, np);
    EXPECT_EQ(-1, np->index);
    EXPECT_STREQ("urn:unknown", np->ns);
    EXPECT_STREQ("", soap_push_namespace(soap, nullptr, "urn:x")->id);
    EXPECT_EQ("@0#-1=urn:x u@0#-1=urn:unknown e@0#0 p@0#4", stack());
}

TEST_F(NamespacesTable, LearnedVariantIsMatchedAgainAndDroppedOnTheTableUri)
{
    soap_push_namespace(soap, "a", ENV12);
    EXPECT_STREQ(ENV12, soap->local_namespaces[0].out);
    /* once learned, only that variant is taken for the row */
    struct soap_nlist *np = soap_push_namespace(soap, "b", "http://www.w3.org/2001/12/soap-envelope");
    EXPECT_EQ(-1, np->index);
    np = soap_push_namespace(soap, "c", ENV12);
    EXPECT_EQ(0, np->index);
    np = soap_push_namespace(soap, "d", ENV11);
    EXPECT_EQ(0, np->index);
    EXPECT_EQ(nullptr, soap->local_namespaces[0].out);
}

TEST_F(NamespacesTable, PopEndsTheDeclarationsOfTheLevelAndBelow)
{
    soap->level = 1;
    soap_push_namespace(soap, "a", "urn:a");
    soap->level = 2;
    soap_push_namespace(soap, "b", "urn:b");
    soap->level = 3;
    soap_push_namespace(soap, "c", "urn:c");
    soap->level = 2;
    soap_pop_namespace(soap);
    EXPECT_EQ("a@1#-1=urn:a", stack());
    soap_free_ns(soap);
    EXPECT_EQ(nullptr, soap->nlist);
}

TEST_F(NamespacesTable, LookupByPrefixLength)
{
    soap_push_namespace(soap, "ab", "urn:ab");
    soap_push_namespace(soap, "a", "urn:a");
    soap_push_namespace(soap, "", "urn:default");
    EXPECT_STREQ("urn:a", soap_lookup_ns(soap, "a:x", 1)->ns);
    EXPECT_STREQ("urn:ab", soap_lookup_ns(soap, "ab:x", 2)->ns);
    EXPECT_STREQ("urn:default", soap_lookup_ns(soap, "x", 0)->ns);
    EXPECT_EQ(nullptr, soap_lookup_ns(soap, "abc:x", 3));
}

TEST_F(NamespacesTable, NewTableRebindsTheLiveDeclarations)
{
    soap->level = 1;
    soap_push_namespace(soap, "p", "urn:test:protocol");
    soap->level = 2;
    soap_push_namespace(soap, "o", "urn:test:other");
    soap_push_namespace(soap, "e", ENV12);
    soap->level = 5;
    ASSERT_EQ(SOAP_OK, soap_set_namespaces(soap, table12));
    EXPECT_EQ(5u, soap->level);
    /* oldest first again, each at its level, with the rows of the new table */
    EXPECT_EQ("e@2#0 o@2#3 p@1#2", stack());
    EXPECT_EQ(0, soap_match_tag(soap, "o:x", "other:x"));
}

/* ======================================================================== */
/* Matching on input                                                         */
/* ======================================================================== */

class NamespacesMatch : public NamespacesBase {};

TEST_F(NamespacesMatch, AnyPrefixOfTheSameUriMatchesTheProgramsTag)
{
    ASSERT_EQ(SOAP_OK, message("<x:a xmlns:x=\"urn:test:protocol\"/>"));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
}

TEST_F(NamespacesMatch, Soap12EnvelopeMatchesAndTheReplyUsesItsUri)
{
    ASSERT_EQ(SOAP_OK, message(std::string("<e:Envelope xmlns:e=\"") + ENV12 + "\"><e:Body/></e:Envelope>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "SOAP-ENV:Envelope", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "SOAP-ENV:Body", 0, nullptr));
    EXPECT_STREQ(ENV12, soap->local_namespaces[0].out);

    /* output in the same exchange declares the learned URI */
    soap->mode = SOAP_IO_BUFFER;
    soap->ns = 0;
    soap->level = 0;
    io.out.clear();
    ASSERT_EQ(SOAP_OK, soap_element_begin_out(soap, "SOAP-ENV:Envelope", 0, nullptr));
    soap_flush(soap);
    EXPECT_NE(std::string::npos, io.out.find(std::string("xmlns:SOAP-ENV=\"") + ENV12 + "\""));
}

TEST_F(NamespacesMatch, NextExchangeForgetsTheLearnedUri)
{
    ASSERT_EQ(SOAP_OK, message(std::string("<e:Envelope xmlns:e=\"") + ENV12 + "\"/>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "SOAP-ENV:Envelope", 0, nullptr));
    ASSERT_STREQ(ENV12, soap->local_namespaces[0].out);
    ASSERT_EQ(SOAP_OK, message(std::string("<e:Envelope xmlns:e=\"") + ENV11 + "\"/>"));
    EXPECT_EQ(nullptr, soap->local_namespaces[0].out);
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "SOAP-ENV:Envelope", 0, nullptr));
}

TEST_F(NamespacesMatch, UndeclaredPrefixIsSyntaxErrorUnlessNamespacesAreIgnored)
{
    ASSERT_EQ(SOAP_OK, message("<y:a/>"));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap->error);
    soap->mode |= SOAP_XML_IGNORENS;
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
}

TEST_F(NamespacesMatch, PrefixBoundElsewhereIsMismatch)
{
    ASSERT_EQ(SOAP_OK, message("<y:a xmlns:y=\"urn:test:other\"/>"));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
    soap->mode |= SOAP_XML_IGNORENS;
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
}

TEST_F(NamespacesMatch, DefaultNamespaceBindsTheEmptyPrefix)
{
    ASSERT_EQ(SOAP_OK, message("<a xmlns=\"urn:test:protocol\"><b/></a>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:b", 0, nullptr));
}

TEST_F(NamespacesMatch, TagWithoutPrefixAndWithoutDefaultIsInNoNamespace)
{
    ASSERT_EQ(SOAP_OK, message("<a/>"));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
}

TEST_F(NamespacesMatch, InnerDeclarationsEndAtTheNextPeekAtTheSameDepth)
{
    ASSERT_EQ(SOAP_OK, message("<r><a xmlns:x=\"urn:test:protocol\"><x:b/></a><x:c/></r>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:b", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_element_begin_in(soap, "protocol:c", 0, nullptr));
    EXPECT_EQ(nullptr, soap->nlist);
}

TEST_F(NamespacesMatch, OuterDeclarationsReachDeepChildren)
{
    ASSERT_EQ(SOAP_OK, message("<r xmlns:x=\"urn:test:protocol\"><a><b><x:c/></b></a><x:d/></r>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "b", 0, nullptr));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:c", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "b"));
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:d", 0, nullptr));
}

TEST_F(NamespacesMatch, RedeclaredPrefixShadowsAndComesBack)
{
    ASSERT_EQ(SOAP_OK, message("<r xmlns:x=\"urn:test:protocol\"><a xmlns:x=\"urn:test:other\"><x:b/></a><x:c/></r>"));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "r", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "a", 0, nullptr));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "protocol:b", 0, nullptr));
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "a"));
    EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:c", 0, nullptr));
}

TEST_F(NamespacesMatch, APrefixBoundAgainInTheNextMessageIsLookedUpAgain)
{
    for (int round = 0; round < 2; round++) {
        ASSERT_EQ(SOAP_OK, message("<x:a xmlns:x=\"urn:test:protocol\"><x:b/></x:a>"));
        ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
        EXPECT_EQ(SOAP_OK, soap_element_begin_in(soap, "protocol:b", 0, nullptr));
        ASSERT_EQ(SOAP_OK, message("<x:a xmlns:x=\"urn:test:other\"><x:b/></x:a>"));
        EXPECT_EQ(SOAP_TAG_MISMATCH, soap_element_begin_in(soap, "protocol:a", 0, nullptr));
    }
}

TEST_F(NamespacesMatch, TagRules)
{
    soap_push_namespace(soap, "p", "urn:test:protocol");
    soap_push_namespace(soap, "o", "urn:test:other");
    soap_push_namespace(soap, "e", ENV11);
    EXPECT_EQ(0, soap_match_tag(soap, "p:a", "protocol:a"));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_match_tag(soap, "p:a", "protocol:b"));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_match_tag(soap, "o:a", "protocol:a"));
    EXPECT_EQ(0, soap_match_tag(soap, "o:a", "a"));           /* no prefix: any namespace */
    EXPECT_EQ(0, soap_match_tag(soap, "q:int", ":int"));      /* empty prefix: any namespace */
    EXPECT_EQ(0, soap_match_tag(soap, "int", ":int"));
    EXPECT_EQ(0, soap_match_tag(soap, "e:Whatever", "SOAP-ENV:"));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap_match_tag(soap, "p:Whatever", "SOAP-ENV:"));
    EXPECT_EQ(0, soap_match_tag(soap, "anything", nullptr));
    EXPECT_EQ(0, soap_match_tag(soap, "anything", ""));
    EXPECT_EQ(0, soap_match_tag(soap, "xml:lang", "xml:lang"));
    soap->error = SOAP_OK;
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap_match_tag(soap, "zz:a", "protocol:a"));
    EXPECT_EQ(SOAP_SYNTAX_ERROR, soap->error);
}

TEST_F(NamespacesMatch, NamespaceCompareAloneSaysNine)
{
    soap_push_namespace(soap, "o", "urn:test:other");
    soap_push_namespace(soap, "p", "urn:test:protocol");
    soap_push_namespace(soap, "d", "urn:test:old");
    EXPECT_EQ(SOAP_NAMESPACE, soap_match_namespace(soap, "o:a", "protocol:a", 1, 8));
    EXPECT_EQ(0, soap_match_namespace(soap, "p:a", "protocol:a", 1, 8));
    EXPECT_EQ(SOAP_NAMESPACE, soap_match_namespace(soap, "p:a", "proto:a", 1, 5));
    EXPECT_EQ(0, soap_match_namespace(soap, "d:a", "old:a", 1, 3));  /* row "old_" goes on with '_' */
    EXPECT_EQ(SOAP_NAMESPACE, soap_match_namespace(soap, "a", "protocol:a", 0, 8));
    soap->mode |= SOAP_XML_IGNORENS;
    EXPECT_EQ(0, soap_match_namespace(soap, "a", "protocol:a", 0, 8));
}

TEST_F(NamespacesMatch, CurrentNamespaceOfATag)
{
    soap_push_namespace(soap, "p", "urn:test:protocol");
    soap_push_namespace(soap, "u", "urn:unknown");
    soap_push_namespace(soap, "", "urn:test:protocol");
    EXPECT_STREQ("urn:test:protocol", soap_current_namespace(soap, "p:a"));
    EXPECT_STREQ("urn:test:protocol", soap_current_namespace(soap, "a"));
    EXPECT_STREQ("urn:unknown", soap_current_namespace(soap, "u:a"));
    EXPECT_EQ(nullptr, soap_current_namespace(soap, "xml:lang"));
    EXPECT_EQ(nullptr, soap_current_namespace(soap, nullptr));
    EXPECT_EQ(nullptr, soap_current_namespace(soap, "zz:a"));
    EXPECT_EQ(SOAP_NAMESPACE, soap->error);
}

/* ======================================================================== */
/* Output side                                                               */
/* ======================================================================== */

class NamespacesOutput : public NamespacesBase {};

TEST_F(NamespacesOutput, PushIsRefusedForExcludedPrefixesAndRepeatedDeclarations)
{
    soap->c14nexclude = "skip other";
    EXPECT_EQ(nullptr, soap_push_ns(soap, "skip", "urn:s", 0));
    soap->level = 1;
    ASSERT_NE(nullptr, soap_push_ns(soap, "p", "urn:p", 0));
    EXPECT_EQ(nullptr, soap_push_ns(soap, "p", "urn:p", 0));  /* already declared here */
    soap->level = 2;
    EXPECT_EQ(nullptr, soap_push_ns(soap, "p", "urn:p", 0));  /* declared above, not waiting */
    ASSERT_NE(nullptr, soap_push_ns(soap, "p", "urn:q", 0));  /* another URI */
    EXPECT_EQ("p@2#0=urn:q p@1#0=urn:p", stack());
}

TEST_F(NamespacesOutput, WaitingDeclarationIsRepeatedForADeeperElement)
{
    soap->level = 1;
    ASSERT_NE(nullptr, soap_push_ns(soap, "p", "urn:p", 1));
    soap->level = 2;
    struct soap_nlist *np = soap_push_ns(soap, "p", "urn:p", 0);
    ASSERT_NE(nullptr, np);
    EXPECT_EQ(1, np->index);
}

TEST_F(NamespacesOutput, UtilizeMarksPrefixesThatNeedADeclaration)
{
    soap->level = 1;
    soap_push_ns(soap, "p", "urn:p", 0);
    soap_push_ns(soap, "d", "urn:d", 2);
    soap_utilize_ns(soap, "p:a");
    soap_utilize_ns(soap, "d:a");
    soap_utilize_ns(soap, "u:a");
    soap_utilize_ns(soap, "xml:lang");
    soap_utilize_ns(soap, "plain");
    EXPECT_EQ("@1#1 u@1#1 p@1#1=urn:p d@1#2=urn:d p@1#0=urn:p", stack());
}

/* ======================================================================== */
/* Qualified names                                                           */
/* ======================================================================== */

class NamespacesQName : public NamespacesBase {};

TEST_F(NamespacesQName, InputPrefixesBecomeTablePrefixes)
{
    soap_push_namespace(soap, "x", "urn:test:protocol");
    soap_push_namespace(soap, "u", "urn:unknown");
    soap_push_namespace(soap, "o", "urn:test:old");
    char *t = nullptr;
    ASSERT_EQ(SOAP_OK, soap_s2QName(soap, " x:a  u:b o:c xml:lang ", &t, 0, -1));
    EXPECT_STREQ("protocol:a \"urn:unknown\":b \"urn:test:old\":c xml:lang", t);
}

TEST_F(NamespacesQName, NameWithoutPrefixTakesTheDefaultOrNone)
{
    char *t = nullptr;
    soap_push_namespace(soap, "x", "urn:test:protocol");
    ASSERT_EQ(SOAP_OK, soap_s2QName(soap, "a", &t, 0, -1));
    EXPECT_STREQ("\"\":a", t);
    soap_push_namespace(soap, "", "urn:test:protocol");
    ASSERT_EQ(SOAP_OK, soap_s2QName(soap, "a", &t, 0, -1));
    EXPECT_STREQ("protocol:a", t);
}

TEST_F(NamespacesQName, WithoutAStackNamesAreCopied)
{
    char *t = nullptr;
    ASSERT_EQ(SOAP_OK, soap_s2QName(soap, "y:a b", &t, 0, -1));
    EXPECT_STREQ("y:a b", t);
    t = (char *)"kept";
    EXPECT_EQ(SOAP_OK, soap_s2QName(soap, nullptr, &t, 0, -1));
    EXPECT_STREQ("kept", t);
}

TEST_F(NamespacesQName, UnknownPrefixAndLengthLimits)
{
    soap_push_namespace(soap, "x", "urn:test:protocol");
    char *t = nullptr;
    EXPECT_EQ(SOAP_NAMESPACE, soap_s2QName(soap, "x:a zz:b x:c", &t, 0, -1));
    EXPECT_EQ(SOAP_LENGTH, soap_s2QName(soap, "x:abc", &t, 0, 4));
    EXPECT_EQ(SOAP_LENGTH, soap_s2QName(soap, "x:abc", &t, 6, -1));
    EXPECT_EQ(SOAP_OK, soap_s2QName(soap, "x:abc", &t, 5, 5));
}

TEST_F(NamespacesQName, OutputFormFindsTheRowOfAQuotedUri)
{
    const char *s = soap_QName2s(soap, "protocol:a \"urn:test:protocol\":b \"http://www.w3.org/2003/05/soap-envelope\":Receiver");
    ASSERT_NE(nullptr, s);
    EXPECT_STREQ("protocol:a protocol:b SOAP-ENV:Receiver", s);
    EXPECT_EQ(nullptr, soap_QName2s(soap, nullptr));
}

TEST_F(NamespacesQName, UnknownUriGetsAGeneratedPrefixDeclaredOnTheNextElement)
{
    soap->idnumber = 0;
    const char *s = soap_QName2s(soap, "\"urn:x\":a \"urn:y\":b");
    ASSERT_NE(nullptr, s);
    EXPECT_STREQ("_1:a _2:b", s);
    EXPECT_EQ(2, soap->idnumber);
    std::string attrs;
    for (struct soap_attribute *tp = soap->attributes; tp; tp = tp->next)
        if (tp->visible == 2)
            attrs += std::string(tp->name) + "=" + tp->value + " ";
    EXPECT_EQ("xmlns:_2=urn:y xmlns:_1=urn:x ", attrs);
}

TEST_F(NamespacesQName, RoundTripThroughBothForms)
{
    soap_push_namespace(soap, "q", "urn:test:protocol");
    soap_push_namespace(soap, "v", "urn:vendor");
    char *internal = nullptr;
    ASSERT_EQ(SOAP_OK, soap_s2QName(soap, "q:a v:b", &internal, 0, -1));
    soap->idnumber = 6;
    EXPECT_STREQ("protocol:a _7:b", soap_QName2s(soap, internal));
}

}  // namespace
