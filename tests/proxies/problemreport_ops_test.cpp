/* problemreport_ops_test.cpp -- every operation of ProblemReportSoapBindingProxy against the
 * reference provider, with the derived answer and action classes that the response carries.
 */
#include "proxy_support.h"

using namespace proxy_test;

namespace {

class ProblemReportOperations : public ProxyTest {
protected:
    std::string url = report_url();
    DaemonHeader hdr;
    ProblemReportSoapBindingProxy *proxy = nullptr;

    void SetUp() override { proxy = &make<ProblemReportSoapBindingProxy>(url.c_str()); }

    ProblemReportSoapBindingProxy &call()
    {
        proxy->soap_header(&hdr.header);
        return *proxy;
    }

    std::string submit_one()
    {
        ReportRequest req;
        __protocolProblemReport__submitResponse resp;
        EXPECT_EQ(SOAP_OK, call().submit(&req.content, resp));
        if (!resp.protocolProblemReport__submitResponse
            || resp.protocolProblemReport__submitResponse->thisURI.empty())
            return std::string();
        return resp.protocolProblemReport__submitResponse->thisURI[0];
    }

    /* attaches one pending attachment to the report; its URI */
    std::string attach_one(const std::string &report)
    {
        hdr.with_target(report);
        std::string desc = "fan controller log";
        protocol__Attachment a;
        a.description = &desc;
        _protocolProblemReport__attachRequest req;
        req.attachment = &a;
        __protocolProblemReport__attachResponse resp;
        EXPECT_EQ(SOAP_OK, call().attach(&req, resp));
        if (!resp.protocolProblemReport__attachResponse
            || resp.protocolProblemReport__attachResponse->attachment.empty())
            return std::string();
        return text(resp.protocolProblemReport__attachResponse->attachment.back()->thisURI);
    }
};

TEST_F(ProblemReportOperations, SubmitAnswersTheStoredReportWithAnAcknowledgment)
{
    ReportRequest req;
    __protocolProblemReport__submitResponse resp;
    ASSERT_EQ(SOAP_OK, call().submit(&req.content, resp));
    protocolProblemReport__ProblemReportContent *r = resp.protocolProblemReport__submitResponse;
    ASSERT_NE(nullptr, r);
    ASSERT_EQ(1u, r->thisURI.size());
    EXPECT_EQ(0u, r->thisURI[0].rfind("urn:orv:problemreport:", 0));
    ASSERT_NE(nullptr, r->state);
    EXPECT_EQ(protocolProblemReport__ProblemReportState__submitted, *r->state);
    EXPECT_EQ(req.title, text(r->title));
    EXPECT_EQ(req.description, text(r->problemDescription));
    EXPECT_EQ(req.content.problemType, r->problemType);
    EXPECT_NE(nullptr, r->submitDateTime);
    ASSERT_EQ(1u, r->serviceProviderReport.size());
    ASSERT_EQ(1u, r->answer.size());
    EXPECT_EQ(SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eAcknowledgment,
              r->answer[0]->soap_type());
    EXPECT_EQ("Report received", text(r->answer[0]->description));
}

TEST_F(ProblemReportOperations, GetAnswersDerivedAnswersAndActionsAsTheirOwnClasses)
{
    std::string uri = submit_one();
    ASSERT_FALSE(uri.empty());
    hdr.with_target(uri);
    _protocolProblemReport__getRequest req;
    __protocolProblemReport__getResponse resp;
    ASSERT_EQ(SOAP_OK, call().get(&req, resp));
    protocolProblemReport__ProblemReportContent *r = resp.protocolProblemReport__getResponse;
    ASSERT_NE(nullptr, r);
    EXPECT_EQ(std::vector<std::string>{uri}, r->thisURI);
    EXPECT_EQ("PT5M", text(r->processTime));
    ASSERT_EQ(4u, r->answer.size());
    EXPECT_EQ(SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eAcknowledgment,
              r->answer[0]->soap_type());
    ASSERT_EQ(SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAction, r->answer[1]->soap_type());
    ASSERT_EQ(SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAction, r->answer[2]->soap_type());
    EXPECT_EQ(SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eDuplicate,
              r->answer[3]->soap_type());

    auto *install = static_cast<protocolProblemReport__Answer_x002eServer_x002eAction *>(r->answer[1])->action;
    ASSERT_NE(nullptr, install);
    ASSERT_EQ(SOAP_TYPE_protocolProblemReport__Action_x002eUpdate_x002eInstall_x002ePermanent,
              install->soap_type());
    auto *perm = static_cast<protocolProblemReport__Action_x002eUpdate_x002eInstall_x002ePermanent *>(install);
    EXPECT_EQ("Install the permanent fix for the fan controller", text(perm->description));
    EXPECT_EQ(2u, perm->intention.size());
    ASSERT_NE(nullptr, perm->reference);
    EXPECT_EQ(SOAP_TYPE_protocolProblemReport__Answer_x002eServer_x002eAdministration_x002eAcknowledgment,
              perm->reference->soap_type());
    ASSERT_EQ(1u, perm->updateInformation.size());
    EXPECT_EQ("U-2024-001", text(perm->updateInformation[0]->updateId));

    auto *ship = static_cast<protocolProblemReport__Answer_x002eServer_x002eAction *>(r->answer[2])->action;
    ASSERT_NE(nullptr, ship);
    ASSERT_EQ(SOAP_TYPE_protocolProblemReport__Action_x002ePart_x002eShip, ship->soap_type());
    auto *part = static_cast<protocolProblemReport__Action_x002ePart_x002eShip *>(ship);
    ASSERT_EQ(1u, part->partInformation.size());
    EXPECT_EQ("P-4711", text(part->partInformation[0]->partId));
}

TEST_F(ProblemReportOperations, AttachAddsAPendingAttachmentWithAnOpenDataPort)
{
    std::string uri = submit_one();
    ASSERT_FALSE(uri.empty());
    hdr.with_target(uri);
    std::string desc = "fan controller log";
    protocol__Attachment a;
    a.description = &desc;
    _protocolProblemReport__attachRequest req;
    req.attachment = &a;
    __protocolProblemReport__attachResponse resp;
    ASSERT_EQ(SOAP_OK, call().attach(&req, resp));
    protocolProblemReport__ProblemReportContent *r = resp.protocolProblemReport__attachResponse;
    ASSERT_NE(nullptr, r);
    ASSERT_EQ(1u, r->attachment.size());
    protocol__Attachment *got = r->attachment[0];
    EXPECT_EQ(uri + "/attachment/1", text(got->thisURI));
    EXPECT_EQ(desc, text(got->description));
    ASSERT_NE(nullptr, got->state);
    EXPECT_EQ(protocol__AttachmentState__pending, *got->state);
    ASSERT_EQ(1u, got->dataPort.size());
    EXPECT_EQ(uri + "/attachment/1", text(got->dataPort[0]->attachmentURI));
}

TEST_F(ProblemReportOperations, AttachStatusCompletesTheAttachmentAtOneHundredPercent)
{
    std::string uri = submit_one();
    ASSERT_FALSE(uri.empty());
    std::string attachment = attach_one(uri);
    ASSERT_EQ(uri + "/attachment/1", attachment);
    hdr.with_target(uri);
    double done = 100;
    std::string size = "2048";
    protocol__AttachStatusRequest req;
    req.attachmentURI = &attachment;
    req.percentComplete = &done;
    req.sizeTransferred = &size;
    __protocolProblemReport__attachStatusResponse resp;
    ASSERT_EQ(SOAP_OK, call().attachStatus(&req, resp));
    protocolProblemReport__ProblemReportContent *r = resp.protocolProblemReport__attachStatusResponse;
    ASSERT_NE(nullptr, r);
    ASSERT_EQ(1u, r->attachment.size());
    ASSERT_NE(nullptr, r->attachment[0]->state);
    EXPECT_EQ(protocol__AttachmentState__complete, *r->attachment[0]->state);
    EXPECT_EQ("2048", text(r->attachment[0]->size));
}

TEST_F(ProblemReportOperations, RemoveAnswersTheReportClosedAndForgetsIt)
{
    std::string uri = submit_one();
    ASSERT_FALSE(uri.empty());
    protocolProblemReport__ProblemReportContent req;
    req.thisURI.push_back(uri);
    __protocolProblemReport__removeResponse resp;
    ASSERT_EQ(SOAP_OK, call().remove(&req, resp));
    ASSERT_NE(nullptr, resp.protocolProblemReport__removeResponse);
    ASSERT_NE(nullptr, resp.protocolProblemReport__removeResponse->state);
    EXPECT_EQ(protocolProblemReport__ProblemReportState__closed, *resp.protocolProblemReport__removeResponse->state);

    hdr.with_target(uri);
    _protocolProblemReport__getRequest get;
    __protocolProblemReport__getResponse gone;
    EXPECT_EQ(SOAP_CLI_FAULT, call().get(&get, gone));
    EXPECT_EQ(nullptr, gone.protocolProblemReport__getResponse);
    ASSERT_NE(nullptr, proxy->soap_fault());
    ASSERT_NE(nullptr, proxy->soap_fault()->detail);
    ASSERT_NE(nullptr, proxy->soap_fault()->detail->protocol__Client_x002eObjectNotFound);
}

}  // namespace
