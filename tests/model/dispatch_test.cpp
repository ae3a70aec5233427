/* dispatch_test.cpp -- the frame's rules that the round trip doesn't reach: which class the element
 * dispatch makes (by id, by xsi:type under any prefix, by a root element's tag), derived objects
 * behind base pointers, strict reading (44, 3, 23, 42), the enumeration and boolean codes, the
 * operation wrappers, the SOAP Header and Fault records, and creation, deletion and copying by id.
 */
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "model_support.h"

using model_test::Ctx;

namespace {

std::string uri(const char *prefix)
{
    for (const struct Namespace *p = namespaces; p->id; p++)
        if (!std::strcmp(p->id, prefix))
            return p->ns;
    return "";
}

/* Declarations of the prefixes the documents below use, under the table's names. */
std::string ns()
{
    return " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
           " xmlns:t=\"urn:orvsoap:test\""
           " xmlns:protocol=\"" + uri("protocol") + "\" xmlns:protocolProfile=\"" + uri("protocolProfile") +
           "\" xmlns:protocolPRFilter=\"" + uri("protocolPRFilter") + "\"";
}

std::string doc(const std::string &type, const std::string &content, const std::string &attrs = "")
{
    return "<t:doc" + ns() + " xsi:type=\"" + type + "\"" + attrs + ">" + content + "</t:doc>";
}

/* Reads the document with T's own reader, as a member of type T is read. */
template <class T> T *read_as(Ctx &ctx, const std::string &text, T *(*reader)(struct soap *, const char *, T *, const char *),
                              const char *tag = "t:doc", const char *type = nullptr, short version = 0)
{
    struct soap *soap = ctx.get();
    ctx.io.attach(soap, text);
    soap_begin(soap);
    if (soap_begin_recv(soap))
        return nullptr;
    soap->version = version;
    T *p = reader(soap, tag, nullptr, type);
    if (p && soap_end_recv(soap))
        return nullptr;
    return p;
}

std::string write_with(Ctx &ctx, const std::function<int(struct soap *)> &put)
{
    struct soap *soap = ctx.get();
    ctx.io.out.clear();
    soap_begin(soap);
    soap->encodingStyle = nullptr;
    if (soap_begin_send(soap) || put(soap) || soap_end_send(soap))
        return "error " + std::to_string(soap->error);
    std::string out = ctx.io.out;
    size_t body = out.find("?>");
    if (body != std::string::npos)
        out = out.substr(out.find('<', body));
    return out;
}

/* ------------------------------------------------------------------------ */
/* Element dispatch                                                          */
/* ------------------------------------------------------------------------ */

TEST(ElementDispatch, ReadsAClassNamedByXsiTypeUnderAForeignPrefix)
{
    Ctx ctx;
    int t = 0;
    std::string text = "<x:anything xmlns:x=\"urn:elsewhere\" xmlns:p=\"" + uri("protocol") +
                       "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:Client\">"
                       "<p:subcode>why</p:subcode></x:anything>";
    void *p = ctx.read(text, &t);
    ASSERT_NE(nullptr, p) << ctx->error;
    EXPECT_EQ(SOAP_TYPE_protocol__Client, t);
    protocol__Client *c = static_cast<protocol__Client *>(p);
    EXPECT_EQ(SOAP_TYPE_protocol__Client, c->soap_type());
    ASSERT_NE(nullptr, c->subcode);
    EXPECT_EQ("why", *c->subcode);
    EXPECT_EQ(ctx.get(), c->soap);
}

TEST(ElementDispatch, ReadsARootElementClassByItsOwnTag)
{
    Ctx ctx;
    int t = 0;
    void *p = ctx.read("<pp:getRequest xmlns:pp=\"" + uri("protocolProfile") + "\"/>", &t);
    ASSERT_NE(nullptr, p) << ctx->error;
    EXPECT_EQ(SOAP_TYPE__protocolProfile__getRequest, t);
    EXPECT_EQ(SOAP_TYPE__protocolProfile__getRequest, static_cast<_protocolProfile__getRequest *>(p)->soap_type());
}

TEST(ElementDispatch, ReadsTheElementTypeAndPrimitivesByXsiType)
{
    Ctx ctx;
    int t = 0;
    void *p = ctx.read(doc("protocolProfile:ProfileState", "inactive.revoked"), &t);
    ASSERT_NE(nullptr, p) << ctx->error;
    EXPECT_EQ(SOAP_TYPE_protocolProfile__ProfileState, t);
    EXPECT_EQ(protocolProfile__ProfileState__inactive_x002erevoked, *static_cast<protocolProfile__ProfileState *>(p));
    p = ctx.read(doc("xsd:dateTime", "2001-01-01T00:00:00Z"), &t);
    ASSERT_NE(nullptr, p) << ctx->error;
    EXPECT_EQ(SOAP_TYPE_xsd__dateTime, t);
    EXPECT_EQ("2001-01-01T00:00:00Z", *static_cast<std::string *>(p));
    p = ctx.read(doc("xsd:boolean", "1"), &t);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(SOAP_TYPE_bool, t);
    EXPECT_TRUE(*static_cast<bool *>(p));
}

TEST(ElementDispatch, AnUnknownElementIsLeftPeekedWithTagMismatch)
{
    Ctx ctx;
    int t = -1;
    EXPECT_EQ(nullptr, ctx.read("<x:unknown xmlns:x=\"urn:elsewhere\"><x:a/></x:unknown>", &t));
    EXPECT_EQ(SOAP_TAG_MISMATCH, ctx->error);
    EXPECT_EQ(0, t);
    EXPECT_EQ(1, ctx->peeked);
}

TEST(ElementDispatch, AReferencedElementIsReadByTheTypeTheIdTableKnowsWhateverItsName)
{
    Ctx ctx;
    struct soap *soap = ctx.get();
    std::string text = "<t:all" + ns() + "><t:doc xsi:type=\"protocol:Identity\"><protocol:nameDetails href=\"#n1\"/>"
                       "</t:doc><t:whatever id=\"n1\"><protocol:firstName>F</protocol:firstName></t:whatever></t:all>";
    ctx.io.attach(soap, text);
    soap_begin(soap);
    ASSERT_EQ(SOAP_OK, soap_begin_recv(soap));
    soap->version = 1; /* ids and references are SOAP encoding */
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "t:all", 0, nullptr));
    protocol__Identity *id = soap_in_protocol__Identity(soap, "t:doc", nullptr, nullptr);
    ASSERT_NE(nullptr, id) << soap->error;
    int t = 0;
    void *p = soap_getelement(soap, &t);
    ASSERT_NE(nullptr, p) << soap->error;
    EXPECT_EQ(SOAP_TYPE_protocol__NameDetails, t);
    ASSERT_EQ(SOAP_OK, soap_element_end_in(soap, "t:all"));
    ASSERT_EQ(SOAP_OK, soap_end_recv(soap));
    ASSERT_NE(nullptr, id->nameDetails);
    EXPECT_EQ(p, id->nameDetails);
    ASSERT_NE(nullptr, id->nameDetails->firstName);
    EXPECT_EQ("F", *id->nameDetails->firstName);
}

/* ------------------------------------------------------------------------ */
/* Polymorphism                                                              */
/* ------------------------------------------------------------------------ */

TEST(Polymorphism, AMemberOfABaseTypeGetsTheDerivedClassItsXsiTypeNames)
{
    Ctx ctx;
    auto *c = read_as(ctx, doc("protocol:RecognizedLanguage",
                               "<protocol:language>de</protocol:language><protocol:languageName>Deutsch</protocol:languageName>"),
                      soap_in_protocol__LanguageDetail);
    ASSERT_NE(nullptr, c) << ctx->error;
    EXPECT_EQ(99, c->soap_type());
    EXPECT_NE(nullptr, dynamic_cast<protocol__RecognizedLanguage *>(c));
    ASSERT_NE(nullptr, c->language);
    EXPECT_EQ("de", c->language->text);
}

TEST(Polymorphism, AnXsiTypeOutsideTheTreeOrMissingMakesTheBaseClass)
{
    Ctx ctx;
    auto *c = read_as(ctx, doc("protocol:Contact", "<protocol:languageName>x</protocol:languageName>"),
                      soap_in_protocol__LanguageDetail);
    ASSERT_NE(nullptr, c);
    EXPECT_EQ(SOAP_TYPE_protocol__LanguageDetail, c->soap_type());
    auto *d = read_as(ctx, "<t:doc" + ns() + "><protocol:languageName>x</protocol:languageName></t:doc>",
                      soap_in_protocol__LanguageDetail);
    ASSERT_NE(nullptr, d);
    EXPECT_EQ(SOAP_TYPE_protocol__LanguageDetail, d->soap_type());
}

TEST(Polymorphism, ADerivedObjectBehindABasePointerAnnouncesItself)
{
    Ctx ctx;
    protocol__Fault f;
    protocol__FaultDetail detail;
    protocol__Client_x002eAuthentication_x002eNotAuthorized nested;
    f.detail = &detail;
    detail.nestedFault = &nested;
    std::string out = write_with(ctx, [&](struct soap *s) { return f.soap_put(s, "t:doc", ""); });
    EXPECT_NE(std::string::npos,
              out.find("<protocol:nestedFault xsi:type=\"protocol:Client.Authentication.NotAuthorized\">"))
        << out;
    EXPECT_EQ(std::string::npos, out.find("<t:doc xsi:type")) << "a root class with type \"\" has no xsi:type";
}

TEST(Polymorphism, AnXsiTypeMatchesWithAnyPrefixBoundToTheSameNamespace)
{
    Ctx ctx;
    std::string text = "<t:doc xmlns:t=\"urn:orvsoap:test\" xmlns:q=\"" + uri("protocol") +
                       "\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"q:Server.Redirection\">"
                       "<q:uri>u</q:uri><q:term>exchange</q:term></t:doc>";
    auto *f = read_as(ctx, text, soap_in_protocol__Fault);
    ASSERT_NE(nullptr, f) << ctx->error;
    auto *r = dynamic_cast<protocol__Server_x002eRedirection *>(f);
    ASSERT_NE(nullptr, r);
    EXPECT_EQ("u", r->uri);
    EXPECT_EQ(protocol__Server_x002eRedirection_term__exchange, r->term);
}

/* ------------------------------------------------------------------------ */
/* Reading members                                                           */
/* ------------------------------------------------------------------------ */

TEST(MemberReading, ChildrenInAnyOrderFillTheSameMembers)
{
    Ctx ctx;
    auto *v = read_as(ctx, doc("protocol:Version", "<protocol:value>2</protocol:value><protocol:item>i</protocol:item>"),
                      soap_in_protocol__Version);
    ASSERT_NE(nullptr, v);
    ASSERT_TRUE(v->item && v->value);
    EXPECT_EQ("i", *v->item);
    EXPECT_EQ("2", *v->value);
}

TEST(MemberReading, ASecondSingleElementIsSkippedAndTheFirstKept)
{
    Ctx ctx;
    auto *v = read_as(ctx, doc("protocol:Version", "<protocol:item>first</protocol:item><protocol:item>second</protocol:item>"),
                      soap_in_protocol__Version);
    ASSERT_NE(nullptr, v);
    ASSERT_NE(nullptr, v->item);
    EXPECT_EQ("first", *v->item);
}

TEST(MemberReading, TwoRunsOfARepeatedElementMakeOneVectorInOrder)
{
    Ctx ctx;
    auto *h = read_as(ctx, doc("protocol:Header", "<protocol:note>a</protocol:note><protocol:note>b</protocol:note>"
                                                  "<protocol:targetURI>u</protocol:targetURI><protocol:note>c</protocol:note>"),
                      soap_in_protocol__Header);
    ASSERT_NE(nullptr, h);
    EXPECT_EQ((std::vector<std::string>{"a", "b", "c"}), h->note);
    ASSERT_NE(nullptr, h->targetURI);
}

TEST(MemberReading, AnUnknownChildIsSkippedOutsideStrictMode)
{
    Ctx ctx;
    auto *v = read_as(ctx, doc("protocol:Version", "<protocol:other><protocol:item>x</protocol:item></protocol:other>"
                                                   "<protocol:item>i</protocol:item>"),
                      soap_in_protocol__Version);
    ASSERT_NE(nullptr, v);
    ASSERT_NE(nullptr, v->item);
    EXPECT_EQ("i", *v->item);
}

TEST(MemberReading, AnUnknownChildThatMustBeUnderstoodGivesError8)
{
    Ctx ctx;
    std::string text = doc("protocol:Version", "<protocol:other SOAP-ENV:mustUnderstand=\"1\"/>",
                           " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\"");
    EXPECT_EQ(nullptr, read_as(ctx, text, soap_in_protocol__Version, "t:doc", nullptr, 1));
    EXPECT_EQ(SOAP_MUSTUNDERSTAND, ctx->error);
}

TEST(MemberReading, AMissingRequiredElementLeavesTheMemberAtItsDefaultOutsideStrictMode)
{
    Ctx ctx;
    auto *f = read_as(ctx, doc("protocol:Server.Redirection", "<protocol:uri>u</protocol:uri>"), soap_in_protocol__Fault);
    ASSERT_NE(nullptr, f) << ctx->error;
    auto *r = dynamic_cast<protocol__Server_x002eRedirection *>(f);
    ASSERT_NE(nullptr, r);
    EXPECT_EQ(protocol__Server_x002eRedirection_term__permanent, r->term);
}

TEST(MemberReading, ANewObjectHasANullBackPointerAndAReadOneItsContext)
{
    protocol__Version v;
    EXPECT_EQ(nullptr, v.soap);
    EXPECT_EQ(nullptr, v.item);
    Ctx ctx;
    auto *r = read_as(ctx, doc("protocol:Version", ""), soap_in_protocol__Version);
    ASSERT_NE(nullptr, r);
    EXPECT_EQ(ctx.get(), r->soap);
}

TEST(MemberReading, SoapDefaultEmptiesVectorsWithoutDeletingTheirObjects)
{
    Ctx ctx;
    protocol__Header h;
    protocol__Version v;
    h.version.push_back(&v);
    h.note.push_back("n");
    h.soap_default(ctx.get());
    EXPECT_TRUE(h.version.empty());
    EXPECT_TRUE(h.note.empty());
    EXPECT_EQ(ctx.get(), h.soap);
    EXPECT_EQ(nullptr, v.item); /* still alive */
}

TEST(MemberReading, TheTextContentAndAttributeOfASimpleContentRecord)
{
    Ctx ctx;
    auto *d = read_as(ctx, doc("protocol:Data", "aGk=", " encoding=\"base64\""), soap_in_protocol__Data);
    ASSERT_NE(nullptr, d) << ctx->error;
    EXPECT_EQ("aGk=", d->text);
    ASSERT_NE(nullptr, d->encoding);
    EXPECT_EQ(protocol__Encoding__base64, *d->encoding);
    std::string out = write_with(ctx, [&](struct soap *s) { return soap_out_protocol__Data(s, "protocol:data", -1, d, ""); });
    EXPECT_NE(std::string::npos, out.find("encoding=\"base64\">aGk=</protocol:data>")) << out;
}

TEST(MemberReading, NestingBeyondTheBoundFailsWithOutOfMemoryInsteadOfExhaustingTheStack)
{
    for (int depth : {SOAP_FRAME_MAXNEST - 2, 200000}) {
        Ctx ctx;
        std::string open, close;
        for (int i = 0; i < depth; i++) {
            open += "<protocol:compoundURI>";
            close += "</protocol:compoundURI>";
        }
        auto *c = read_as(ctx, doc("protocol:CompoundURI", open + close), soap_in_protocol__CompoundURI);
        if (depth < SOAP_FRAME_MAXNEST) {
            ASSERT_NE(nullptr, c) << ctx->error;
            EXPECT_EQ(1u, c->compoundURI.size());
        } else {
            EXPECT_EQ(nullptr, c);
            EXPECT_EQ(SOAP_EOM, ctx->error);
        }
    }
}

/* ------------------------------------------------------------------------ */
/* Strict reading                                                            */
/* ------------------------------------------------------------------------ */

TEST(StrictReading, AMissingRequiredElementGivesOccurrenceError44)
{
    Ctx ctx(SOAP_XML_STRICT);
    EXPECT_EQ(nullptr, read_as(ctx, doc("protocol:Server.Redirection", "<protocol:uri>u</protocol:uri>"), soap_in_protocol__Fault));
    EXPECT_EQ(SOAP_OCCURS, ctx->error);
    EXPECT_NE(nullptr, read_as(ctx, doc("protocol:Server.Redirection",
                                        "<protocol:term>exchange</protocol:term><protocol:uri>u</protocol:uri>"),
                               soap_in_protocol__Fault));
}

TEST(StrictReading, AnEmptyElementOfAClassWithRequiredMembersGives44)
{
    Ctx ctx(SOAP_XML_STRICT);
    EXPECT_EQ(nullptr, read_as(ctx, "<t:doc" + ns() + " xsi:type=\"protocol:Server.Redirection\"/>", soap_in_protocol__Fault));
    EXPECT_EQ(SOAP_OCCURS, ctx->error);
}

TEST(StrictReading, AVectorBelowItsLowerBoundGives44)
{
    std::string one = doc("protocolPRFilter:And", "<protocolPRFilter:operand/>");
    std::string two = doc("protocolPRFilter:And", "<protocolPRFilter:operand/><protocolPRFilter:operand/>");
    Ctx strict(SOAP_XML_STRICT);
    EXPECT_EQ(nullptr, read_as(strict, one, soap_in_protocolPRFilter__FilterNode));
    EXPECT_EQ(SOAP_OCCURS, strict->error);
    auto *n = read_as(strict, two, soap_in_protocolPRFilter__FilterNode);
    ASSERT_NE(nullptr, n) << strict->error;
    EXPECT_EQ(2u, dynamic_cast<protocolPRFilter__And &>(*n).operand.size());
    Ctx lax;
    EXPECT_NE(nullptr, read_as(lax, one, soap_in_protocolPRFilter__FilterNode));
}

TEST(StrictReading, AnUnknownChildGivesTagMismatch3)
{
    Ctx ctx(SOAP_XML_STRICT);
    EXPECT_EQ(nullptr, read_as(ctx, doc("protocol:Version", "<protocol:other/>"), soap_in_protocol__Version));
    EXPECT_EQ(SOAP_TAG_MISMATCH, ctx->error);
}

TEST(StrictReading, NilOnARecordElementGives23)
{
    Ctx ctx(SOAP_XML_STRICT);
    EXPECT_EQ(nullptr, read_as(ctx, "<t:doc" + ns() + " xsi:nil=\"true\"/>", soap_in_protocol__Version));
    EXPECT_EQ(SOAP_NULL, ctx->error);
}

TEST(StrictReading, AMissingRequiredAttributeGives42AndIsCodeZeroOtherwise)
{
    std::string text = doc("protocolPRFilter:ProductComparison", "<protocolPRFilter:product>p</protocolPRFilter:product>");
    Ctx strict(SOAP_XML_STRICT);
    EXPECT_EQ(nullptr, read_as(strict, text, soap_in_protocolPRFilter__FilterNode));
    EXPECT_EQ(SOAP_REQUIRED, strict->error);
    Ctx lax;
    auto *n = read_as(lax, text, soap_in_protocolPRFilter__FilterNode);
    ASSERT_NE(nullptr, n) << lax->error;
    auto &c = dynamic_cast<protocolPRFilter__ProductComparison &>(*n);
    EXPECT_EQ(protocolPRFilter__StringCompareOp__equal, c.compareOp);
    ASSERT_NE(nullptr, c.product);
}

TEST(StrictReading, ACompareOpOutsideItsFamilysTableGivesError4)
{
    Ctx ctx;
    EXPECT_EQ(nullptr, read_as(ctx, doc("protocolPRFilter:BooleanComparison", "", " compareOp=\"lessThan\""),
                               soap_in_protocolPRFilter__FilterNode));
    EXPECT_EQ(SOAP_TYPE, ctx->error);
}

TEST(StrictReading, ARequiredNullMemberIsWrittenAsANilElement)
{
    Ctx ctx;
    protocolPRFilter__Not n;
    std::string out = write_with(ctx, [&](struct soap *s) { return n.soap_put(s, "t:doc", ""); });
    EXPECT_NE(std::string::npos, out.find("<protocolPRFilter:operand xsi:nil=\"true\"/>")) << out;
    EXPECT_NE(std::string::npos, out.find("xsi:type=\"protocolPRFilter:Not\"")) << out;
}

/* ------------------------------------------------------------------------ */
/* Enumeration codes                                                         */
/* ------------------------------------------------------------------------ */

struct EnumCase {
    const char *text;
    uint32_t mode;
    int error;
    int code;
};

class EnumerationText : public ::testing::TestWithParam<EnumCase> {};

TEST_P(EnumerationText, ReadsByTheRulesOfTheCodeTable)
{
    const EnumCase &c = GetParam();
    Ctx ctx(c.mode);
    auto *e = read_as(ctx, doc("protocolProfile:ProfileState", c.text), soap_in_protocolProfile__ProfileState);
    if (c.error) {
        EXPECT_EQ(nullptr, e);
        EXPECT_EQ(c.error, ctx->error);
    } else {
        ASSERT_NE(nullptr, e) << ctx->error;
        EXPECT_EQ(c.code, static_cast<int>(*e));
    }
}

INSTANTIATE_TEST_SUITE_P(ProfileState, EnumerationText,
                         ::testing::Values(EnumCase{"inactive.suspended", 0, 0, 2}, EnumCase{"2", 0, 0, 2},
                                           EnumCase{"active", SOAP_XML_STRICT, 0, 0}, EnumCase{"4", SOAP_XML_STRICT, 0, 4},
                                           EnumCase{"9", 0, 0, 9}, EnumCase{"9", SOAP_XML_STRICT, SOAP_TYPE, 0},
                                           EnumCase{"5", SOAP_XML_STRICT, SOAP_TYPE, 0},
                                           EnumCase{"-1", SOAP_XML_STRICT, SOAP_TYPE, 0}, EnumCase{"-1", 0, 0, -1},
                                           EnumCase{"Active", 0, SOAP_TYPE, 0}, EnumCase{"suspended", 0, SOAP_TYPE, 0}));

TEST(EnumerationCodes, AValueOutsideTheTableIsWrittenAsANumber)
{
    Ctx ctx;
    EXPECT_STREQ("inactive.revoked", soap_protocolProfile__ProfileState2s(ctx.get(), protocolProfile__ProfileState__inactive_x002erevoked));
    EXPECT_STREQ("17", soap_protocolProfile__ProfileState2s(ctx.get(), static_cast<protocolProfile__ProfileState>(17)));
    EXPECT_EQ(SOAP_OK, ctx->error);
}

TEST(EnumerationCodes, TheSameTextHasTheCodeOfEachTable)
{
    Ctx ctx;
    protocolProfile__ProfileState a;
    protocol__DataPortState b;
    protocolProblemReport__ProblemReportState c;
    ASSERT_EQ(SOAP_OK, soap_s2protocolProfile__ProfileState(ctx.get(), "closed", &a));
    ASSERT_EQ(SOAP_OK, soap_s2protocol__DataPortState(ctx.get(), "closed", &b));
    ASSERT_EQ(SOAP_OK, soap_s2protocolProblemReport__ProblemReportState(ctx.get(), "closed", &c));
    EXPECT_EQ(4, a);
    EXPECT_EQ(2, b);
    EXPECT_EQ(3, c);
}

TEST(EnumerationCodes, EnumeratorsFollowTheTextRule)
{
    EXPECT_EQ(1, protocol__Encoding__UTF_x002d8);
    EXPECT_EQ(3, protocol__Reciprocity__Client_x002epostDocument);
    EXPECT_EQ(0, protocol__ProtocolWsdlVersion__v1_x002e0_x002e17_x002e1);
    EXPECT_EQ(18, protocol__SubjectProperty__operatingPlatform_displayName);
    EXPECT_EQ(2, protocol__Server_x002eRedirection_term__exchange);
}

TEST(EnumerationCodes, TheOneVersionTextPassesStrictModeOnlyAsCodeZero)
{
    Ctx ctx(SOAP_XML_STRICT);
    ctx->mode = SOAP_XML_STRICT;
    protocol__ProtocolWsdlVersion v;
    EXPECT_EQ(SOAP_OK, soap_s2protocol__ProtocolWsdlVersion(ctx.get(), "v1.0.17.1", &v));
    EXPECT_EQ(SOAP_OK, soap_s2protocol__ProtocolWsdlVersion(ctx.get(), "0", &v));
    EXPECT_EQ(SOAP_TYPE, soap_s2protocol__ProtocolWsdlVersion(ctx.get(), "1", &v));
}

TEST(BooleanCodes, ReadsTheTableTextsAndZeroOrOneOnly)
{
    Ctx ctx;
    bool b = false;
    EXPECT_EQ(SOAP_OK, soap_s2bool(ctx.get(), "1", &b));
    EXPECT_TRUE(b);
    EXPECT_EQ(SOAP_OK, soap_s2bool(ctx.get(), "0", &b));
    EXPECT_FALSE(b);
    EXPECT_EQ(SOAP_OK, soap_s2bool(ctx.get(), "01", &b));
    EXPECT_TRUE(b);
    EXPECT_EQ(SOAP_TYPE, soap_s2bool(ctx.get(), "2", &b));
    EXPECT_EQ(SOAP_TYPE, soap_s2bool(ctx.get(), "true", &b));
    EXPECT_EQ(SOAP_TYPE, soap_s2bool(ctx.get(), "false", &b));
    EXPECT_STREQ("1", soap_bool2s(ctx.get(), true));
    EXPECT_STREQ("0", soap_bool2s(ctx.get(), false));
}

TEST(BooleanCodes, AnElementWithTwoGivesError4)
{
    Ctx ctx;
    EXPECT_EQ(nullptr, read_as(ctx, doc("xsd:boolean", "2"), soap_in_bool, "t:doc", "xsd:boolean"));
    EXPECT_EQ(SOAP_TYPE, ctx->error);
    Ctx other;
    EXPECT_NE(nullptr, read_as(other, doc("xsd:boolean", "1"), soap_in_bool, "t:doc", "xsd:boolean"));
    EXPECT_EQ(nullptr, read_as(other, doc("xsd:int", "1"), soap_in_bool, "t:doc", "xsd:boolean"));
    EXPECT_EQ(SOAP_TYPE, other->error) << "an xsi:type that is no boolean";
}

/* ------------------------------------------------------------------------ */
/* Operation wrappers                                                        */
/* ------------------------------------------------------------------------ */

TEST(OperationWrappers, ARequestWrapperWritesTheRequestElementOnly)
{
    Ctx ctx;
    protocolProfile__ProfileContent content;
    __protocolProfile__create req;
    req.protocolProfile__createRequest = &content;
    std::string out = write_with(ctx, [&](struct soap *s) {
        soap_serialize___protocolProfile__create(s, &req);
        return soap_put___protocolProfile__create(s, &req, "-protocolProfile:create", nullptr);
    });
    EXPECT_EQ(0u, out.find("<protocolProfile:createRequest")) << out;
    EXPECT_EQ(std::string::npos, out.find("xsi:type")) << out;
}

TEST(OperationWrappers, AResponseWrapperReadsOneResponseAndLeavesTheRest)
{
    Ctx ctx;
    struct soap *soap = ctx.get();
    std::string text = "<t:body" + ns() + "><protocolProfile:createResponse><protocolProfile:profileAuthority>a"
                       "</protocolProfile:profileAuthority></protocolProfile:createResponse><protocolProfile:createResponse/></t:body>";
    ctx.io.attach(soap, text);
    soap_begin(soap);
    ASSERT_EQ(SOAP_OK, soap_begin_recv(soap));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "t:body", 0, nullptr));
    __protocolProfile__createResponse resp;
    soap_default___protocolProfile__createResponse(soap, &resp);
    ASSERT_NE(nullptr, soap_get___protocolProfile__createResponse(soap, &resp, "-protocolProfile:createResponse", ""));
    EXPECT_EQ(SOAP_OK, soap->error);
    ASSERT_NE(nullptr, resp.protocolProfile__createResponse);
    ASSERT_NE(nullptr, resp.protocolProfile__createResponse->profileAuthority);
    EXPECT_EQ("a", *resp.protocolProfile__createResponse->profileAuthority);
}

TEST(OperationWrappers, ABodyWithoutTheResponseGivesTagMismatch)
{
    Ctx ctx;
    struct soap *soap = ctx.get();
    ctx.io.attach(soap, "<t:body" + ns() + "><protocolProfile:other/></t:body>");
    soap_begin(soap);
    ASSERT_EQ(SOAP_OK, soap_begin_recv(soap));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "t:body", 0, nullptr));
    __protocolProfile__createResponse resp;
    EXPECT_EQ(nullptr, soap_get___protocolProfile__createResponse(soap, &resp, "-protocolProfile:createResponse", ""));
    EXPECT_EQ(SOAP_TAG_MISMATCH, soap->error);
    EXPECT_EQ(nullptr, resp.protocolProfile__createResponse);
}

/* ------------------------------------------------------------------------ */
/* SOAP frame records                                                        */
/* ------------------------------------------------------------------------ */

TEST(SoapFrameRecords, TheHeaderCarriesTheProtocolHeaderWithMustUnderstand)
{
    Ctx ctx;
    struct soap *soap = ctx.get();
    soap_header(soap);
    ASSERT_NE(nullptr, soap->header);
    protocol__Header h;
    std::string target = "urn:target";
    h.targetURI = &target;
    soap->header->protocol__header = &h;
    std::string out = write_with(ctx, [&](struct soap *s) { return soap_putheader(s); });
    EXPECT_NE(std::string::npos, out.find("<protocol:header SOAP-ENV:mustUnderstand=\"1\">")) << out;
    EXPECT_NE(std::string::npos, out.find("<protocol:targetURI>urn:target</protocol:targetURI>")) << out;
    ctx->header->protocol__header = nullptr;
}

TEST(SoapFrameRecords, ATypedFaultDetailFillsItsPointerAndNoOther)
{
    Ctx ctx;
    auto *f = read_as(ctx, "<SOAP-ENV:Fault xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\"" + ns() +
                               "><faultcode>SOAP-ENV:Client</faultcode><faultstring>no</faultstring><detail>"
                               "<protocol:Client.Authentication.NotAuthorized><protocol:subcode>s</protocol:subcode>"
                               "</protocol:Client.Authentication.NotAuthorized></detail></SOAP-ENV:Fault>",
                      soap_in_SOAP_ENV__Fault, "SOAP-ENV:Fault");
    ASSERT_NE(nullptr, f) << ctx->error;
    EXPECT_STREQ("no", f->faultstring);
    ASSERT_NE(nullptr, f->detail);
    ASSERT_NE(nullptr, f->detail->protocol__Client_x002eAuthentication_x002eNotAuthorized);
    EXPECT_EQ(nullptr, f->detail->protocol__Client);
    EXPECT_EQ(nullptr, f->detail->__any);
    EXPECT_EQ(nullptr, f->detail->fault);
    ASSERT_NE(nullptr, f->detail->protocol__Client_x002eAuthentication_x002eNotAuthorized->subcode);
    EXPECT_EQ(nullptr, f->SOAP_ENV__Code);
}

TEST(SoapFrameRecords, AnUnknownDetailStaysWholeAsLiteralXml)
{
    Ctx ctx;
    auto *d = read_as(ctx, "<detail><x:why xmlns:x=\"urn:x\">because</x:why></detail>", soap_in_SOAP_ENV__Detail, "detail");
    ASSERT_NE(nullptr, d) << ctx->error;
    ASSERT_NE(nullptr, d->__any);
    EXPECT_NE(nullptr, std::strstr(d->__any, "because"));
}

/* ------------------------------------------------------------------------ */
/* Creation, deletion, copying by id                                         */
/* ------------------------------------------------------------------------ */

TEST(Instantiation, AnArrayOfNoObjectsIsARowOfSizeZero)
{
    Ctx ctx;
    size_t size = 1;
    auto *a = soap_instantiate_protocol__LanguageDetail(ctx.get(), 0, nullptr, nullptr, &size);
    ASSERT_NE(nullptr, a);
    ASSERT_NE(nullptr, ctx->clist);
    EXPECT_EQ(0, ctx->clist->size);
    EXPECT_EQ(0u, size);
    auto *b = soap_instantiate_protocol__LanguageDetail(ctx.get(), 3, nullptr, nullptr, &size);
    ASSERT_NE(nullptr, b);
    EXPECT_EQ(3 * sizeof(protocol__LanguageDetail), size);
    EXPECT_EQ(ctx.get(), b[2].soap);
}

TEST(Instantiation, TheRowHasTheTypeOfTheObjectMadeNotOfTheBaseAskedFor)
{
    Ctx ctx;
    struct soap *soap = ctx.get();
    ctx.io.attach(soap, doc("protocol:RecognizedLanguage", ""));
    soap_begin(soap);
    ASSERT_EQ(SOAP_OK, soap_begin_recv(soap));
    ASSERT_EQ(SOAP_OK, soap_element_begin_in(soap, "t:doc", 0, nullptr));
    void *p = soap_instantiate(soap, SOAP_TYPE_protocol__LanguageDetail, soap->type, nullptr, nullptr);
    ASSERT_NE(nullptr, p);
    EXPECT_EQ(99, soap->clist->type);
    EXPECT_EQ(99, static_cast<protocol__LanguageDetail *>(p)->soap_type());
}

TEST(Instantiation, IdsWithoutACaseMakeAndDeleteNothing)
{
    Ctx ctx;
    EXPECT_EQ(nullptr, soap_instantiate(ctx.get(), SOAP_TYPE_int, nullptr, nullptr, nullptr));
    EXPECT_EQ(nullptr, soap_instantiate(ctx.get(), 6, nullptr, nullptr, nullptr));
    EXPECT_EQ(nullptr, soap_instantiate(ctx.get(), 100000, nullptr, nullptr, nullptr));
    struct soap_clist row = {nullptr, nullptr, SOAP_TYPE_int, -1, soap_fdelete};
    EXPECT_EQ(SOAP_ERR, soap_fdelete(&row));
    row.type = SOAP_TYPE_protocol__Version;
    EXPECT_EQ(SOAP_OK, soap_fdelete(&row)) << "a row with a null object";
}

TEST(Instantiation, PutelementOfAnIdWithoutACaseWritesNothing)
{
    Ctx ctx;
    int x = 0;
    std::string out = write_with(ctx, [&](struct soap *s) {
        return soap_putelement(s, &x, "t:doc", -1, 2) || soap_putelement(s, &x, "t:doc", -1, SOAP_TYPE_std__vectorTemplateOfstd__string);
    });
    EXPECT_EQ("", out);
}

TEST(Instantiation, PutelementWritesWithTheTypesNameAsXsiType)
{
    Ctx ctx;
    protocol__Version v;
    std::string out = write_with(ctx, [&](struct soap *s) { return soap_putelement(s, &v, "t:doc", -1, SOAP_TYPE_protocol__Version); });
    EXPECT_NE(std::string::npos, out.find("xsi:type=\"protocol:Version\"")) << out;
}

TEST(Instantiation, CopyAndContainerInsertFillForwardReferences)
{
    Ctx ctx;
    protocol__Version a, b;
    std::string item = "i";
    b.item = &item;
    soap_copy_protocol__Version(ctx.get(), SOAP_TYPE_protocol__Version, 0, &a, 0, &b, sizeof b);
    EXPECT_EQ(&item, a.item);
    std::vector<protocol__Version *> v(2, nullptr);
    protocol__Version *q = &b;
    soap_container_insert(ctx.get(), SOAP_TYPE_protocol__Version, SOAP_TYPE_std__vectorTemplateOfPointerToprotocol__Version, &v, 1,
                          &q, sizeof q);
    EXPECT_EQ(nullptr, v[0]);
    EXPECT_EQ(&b, v[1]);
    std::vector<std::string> s(1);
    std::string text = "t";
    soap_container_insert(ctx.get(), SOAP_TYPE_std__string, SOAP_TYPE_std__vectorTemplateOfstd__string, &s, 0, &text, sizeof text);
    EXPECT_EQ("t", s[0]);
}

TEST(Instantiation, DeletionFreesEveryObjectOnceAndEmptiesTheList)
{
    Ctx ctx;
    for (int t = 1; t <= soap_type_max; t++) {
        const soap_type_entry *e = soap_type_entry_of(t);
        if (e && (e->kind == SOAP_TK_CLASS || e->kind == SOAP_TK_STRING || e->kind == SOAP_TK_VECTOR ||
                  e->kind == SOAP_TK_WRAPPER || e->kind == SOAP_TK_ENV)) {
            EXPECT_NE(nullptr, soap_instantiate(ctx.get(), t, nullptr, nullptr, nullptr)) << t;
        }
    }
    soap_delete(ctx.get(), nullptr);
    EXPECT_EQ(nullptr, ctx->clist);
}

}  // namespace
