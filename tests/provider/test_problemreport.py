"""The ProblemReport service of the reference provider: submit, get with the provider's derived answers
and actions, attach, attachStatus and remove, and schema validity of every answer element."""

import unittest

from provider_fixture import REPORT, T, XSI, ConnTest, Provider, envelope, header_xml, post, validate

P = None


def setUpModule():
    global P
    P = Provider()


def tearDownModule():
    P.stop()


XSI_TYPE = "{%s}type" % XSI
REPORT_CONTENT = (
    "<protocolProblemReport:clientURI>client:42</protocolProblemReport:clientURI>"
    "<protocol:subject><protocol:type>hardware</protocol:type><protocol:component>fan</protocol:component>"
    "</protocol:subject>"
    "<protocolProblemReport:problemType>dysfunction</protocolProblemReport:problemType>"
    "<protocolProblemReport:title>Fan stalls</protocolProblemReport:title>"
    "<protocolProblemReport:severity>2</protocolProblemReport:severity>"
    '<protocolProblemReport:actionTaken xsi:type="protocolProblemReport:Action.Reboot">'
    "<protocolProblemReport:description>rebooted</protocolProblemReport:description>"
    "</protocolProblemReport:actionTaken>")


class Test(ConnTest):
    @staticmethod
    def provider():
        return P

    def call(self, op, content="", target=None, version=1):
        body = "<protocolProblemReport:%sRequest>%s</protocolProblemReport:%sRequest>" % (op, content, op)
        return post(self.conn, REPORT, envelope(body, header_xml(target=target), version))

    def submit(self, content=REPORT_CONTENT):
        a = self.call("submit", content)
        self.assertEqual(a.status, 200, a.body)
        return a, a.element.findtext(T("protocolProblemReport", "thisURI"))


def local(tag):
    return tag.split("}")[1]


class Submit(Test):
    def test_submit_answers_submitted_report_with_uri_provider_record_and_acknowledgment(self):
        a, uri = self.submit()
        e = a.element
        self.assertEqual(e.tag, T("protocolProblemReport", "submitResponse"))
        self.assertTrue(uri.startswith("urn:orv:problemreport:"))
        self.assertEqual(e.findtext(T("protocolProblemReport", "state")), "submitted")
        self.assertEqual(e.findtext(T("protocolProblemReport", "clientURI")), "client:42")
        self.assertTrue(e.findtext(T("protocolProblemReport", "submitDateTime")))
        spr = e.find(T("protocolProblemReport", "serviceProviderReport"))
        self.assertTrue(spr.findtext(T("protocolProblemReport", "id")).startswith("SP-"))
        answers = e.findall(T("protocolProblemReport", "answer"))
        self.assertEqual([x.get(XSI_TYPE) for x in answers],
                         ["protocolProblemReport:Answer.Server.Administration.Acknowledgment"])
        validate(self, a)

    def test_derived_action_sent_under_another_prefix_comes_back_under_the_library_prefix(self):
        content = ('<protocolProblemReport:actionTaken xmlns:pr="http://xml.orvsoap.org/xmlns/b2b/orv/v1.0/'
                   'ProblemReport" xsi:type="pr:Action.Update.Install.Temporary">'
                   "<protocolProblemReport:updateInformation><protocolProblemReport:updateId>U-9"
                   "</protocolProblemReport:updateId></protocolProblemReport:updateInformation>"
                   "</protocolProblemReport:actionTaken>")
        a, _ = self.submit(content)
        act = a.element.find(T("protocolProblemReport", "actionTaken"))
        self.assertEqual(act.get(XSI_TYPE), "protocolProblemReport:Action.Update.Install.Temporary")
        validate(self, a)

    def test_members_come_back_in_schema_order(self):
        a, _ = self.submit("<protocolProblemReport:title>t</protocolProblemReport:title>"
                           "<protocolProblemReport:test>1</protocolProblemReport:test>")
        self.assertEqual([local(c.tag) for c in a.element],
                         ["thisURI", "state", "test", "title", "submitDateTime", "serviceProviderReport", "answer"])


class Get(Test):
    def test_get_returns_report_with_derived_answers_and_actions_by_xsi_type(self):
        _, uri = self.submit()
        a = self.call("get", target=uri)
        e = a.element
        self.assertEqual(e.tag, T("protocolProblemReport", "getResponse"))
        self.assertEqual(e.findtext(T("protocolProblemReport", "thisURI")), uri)
        kinds = [x.get(XSI_TYPE) for x in e.findall(T("protocolProblemReport", "answer"))]
        self.assertEqual(kinds, ["protocolProblemReport:Answer.Server.Administration.Acknowledgment",
                                 "protocolProblemReport:Answer.Server.Action",
                                 "protocolProblemReport:Answer.Server.Action",
                                 "protocolProblemReport:Answer.Server.Administration.Duplicate"])
        server_action = e.findall(T("protocolProblemReport", "answer"))[1]
        action = server_action.find(T("protocolProblemReport", "action"))
        self.assertEqual(action.get(XSI_TYPE), "protocolProblemReport:Action.Update.Install.Permanent")
        self.assertEqual([local(c.tag) for c in action],
                         ["description", "actionDateTime", "timing", "intention", "intention", "result",
                          "reference", "originator", "notes", "updateInformation"])
        self.assertEqual(action.find(T("protocolProblemReport", "reference")).get(XSI_TYPE),
                         "protocolProblemReport:Answer.Server.Administration.Acknowledgment")
        upd = action.find(T("protocolProblemReport", "updateInformation"))
        self.assertEqual(upd.findtext(T("protocolProblemReport", "updateId")), "U-2024-001")
        self.assertEqual(upd.findtext(T("protocolProblemReport", "updateMetaData") + "/" +
                                      T("protocolUpdateOrder", "updateId")), "U-2024-001")
        validate(self, a)

    def test_get_of_unknown_report_is_object_not_found_with_its_uri(self):
        a = self.call("get", target="urn:orv:problemreport:999999")
        code, string, detail = a.fault()
        self.assertEqual(a.status, 500)
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertEqual(detail.tag, T("protocol", "Client.ObjectNotFound"))
        self.assertEqual(detail.findtext(T("protocol", "uri")), "urn:orv:problemreport:999999")
        validate(self, a)

    def test_get_without_target_is_insufficient_information(self):
        _, _, detail = self.call("get").fault()
        self.assertEqual(detail.tag, T("protocol", "Client.InsufficientInformation"))


class Attachments(Test):
    def attach(self, uri, transport=None):
        pref = ("<protocolProblemReport:dataPortPreference><protocol:transport>%s</protocol:transport>"
                "</protocolProblemReport:dataPortPreference>" % transport) if transport else ""
        return self.call("attach", "<protocolProblemReport:attachment><protocol:description>log"
                                   "</protocol:description><protocol:size>1200</protocol:size>"
                                   "</protocolProblemReport:attachment>" + pref, target=uri)

    def status(self, uri, a_uri, members):
        return self.call("attachStatus", "%s<protocol:attachmentURI>%s</protocol:attachmentURI>%s"
                         % (members[0], a_uri, members[1]), target=uri)

    def test_attach_adds_pending_attachment_with_open_data_port(self):
        _, uri = self.submit()
        a = self.attach(uri, transport="HTTP")
        self.assertEqual(a.element.tag, T("protocolProblemReport", "attachResponse"))
        att = a.element.find(T("protocol", "attachment"))
        self.assertEqual(att.findtext(T("protocol", "thisURI")), uri + "/attachment/1")
        self.assertEqual(att.findtext(T("protocol", "state")), "pending")
        self.assertEqual(att.findtext(T("protocol", "description")), "log")
        port = att.find(T("protocol", "dataPort"))
        self.assertEqual(port.findtext(T("protocol", "state")), "open")
        self.assertEqual(port.findtext(T("protocol", "transport")), "HTTP")
        self.assertEqual(port.findtext(T("protocol", "attachmentURI")), uri + "/attachment/1")
        validate(self, a)
        second = self.attach(uri).element.findall(T("protocol", "attachment"))
        self.assertEqual([x.findtext(T("protocol", "thisURI"))[-1:] for x in second], ["1", "2"])

    def test_attach_status_complete_marks_attachment_complete(self):
        _, uri = self.submit()
        self.attach(uri)
        a = self.status(uri, uri + "/attachment/1",
                        ("<protocol:description>done</protocol:description>",
                         "<protocol:percentComplete>100</protocol:percentComplete>"
                         "<protocol:sizeTransferred>1200</protocol:sizeTransferred>"))
        self.assertEqual(a.element.tag, T("protocolProblemReport", "attachStatusResponse"))
        att = a.element.find(T("protocol", "attachment"))
        self.assertEqual(att.findtext(T("protocol", "state")), "complete")
        validate(self, a)

    def test_attach_status_with_problem_marks_attachment_error(self):
        _, uri = self.submit()
        self.attach(uri)
        a = self.status(uri, uri + "/attachment/1",
                        ("", "<protocol:problemEncountered>1</protocol:problemEncountered>"
                             "<protocol:percentComplete>40</protocol:percentComplete>"))
        self.assertEqual(a.element.find(T("protocol", "attachment")).findtext(T("protocol", "state")), "error")

    def test_attach_status_finds_report_from_attachment_uri_alone(self):
        _, uri = self.submit()
        self.attach(uri)
        a = self.status(None, uri + "/attachment/1",
                        ("", "<protocol:recommendedAttachmentState>complete</protocol:recommendedAttachmentState>"))
        self.assertEqual(a.element.findtext(T("protocolProblemReport", "thisURI")), uri)

    def test_attach_status_for_unknown_attachment_is_object_not_found(self):
        _, uri = self.submit()
        a = self.status(uri, uri + "/attachment/7", ("", ""))
        _, _, detail = a.fault()
        self.assertEqual(detail.tag, T("protocol", "Client.ObjectNotFound"))
        self.assertEqual(detail.findtext(T("protocol", "uri")), uri + "/attachment/7")

    def test_attach_without_attachment_is_insufficient_information(self):
        _, uri = self.submit()
        _, _, detail = self.call("attach", "", target=uri).fault()
        self.assertEqual(detail.tag, T("protocol", "Client.InsufficientInformation"))


class MimeRequests(Test):
    def test_multipart_related_request_is_read_from_its_root_part(self):
        _, uri = self.submit()
        soap = envelope("<protocolProblemReport:attachRequest><protocolProblemReport:attachment>"
                        "<protocol:dataHandler>cid:log-1</protocol:dataHandler>"
                        "</protocolProblemReport:attachment></protocolProblemReport:attachRequest>",
                        header_xml(target=uri))
        data = (b"--b0\r\nContent-Type: text/plain\r\nContent-ID: <log-1>\r\n\r\n0123456789\r\n"
                b"--b0\r\nContent-Type: text/xml; charset=utf-8\r\nContent-ID: <root>\r\n\r\n" + soap +
                b"\r\n--b0--\r\n")
        ctype = 'multipart/related; boundary="b0"; type="text/xml"; start="<root>"'
        a = post(self.conn, REPORT, data, {"Content-Type": ctype})
        self.assertEqual(a.status, 200, a.body)
        att = a.element.find(T("protocol", "attachment"))
        self.assertEqual(att.findtext(T("protocol", "state")), "complete")
        self.assertEqual(att.findtext(T("protocol", "size")), "10")
        self.assertIsNone(att.find(T("protocol", "dataPort")))
        validate(self, a)

    def test_unreadable_multipart_body_is_malformed_request(self):
        a = post(self.conn, REPORT, b"no parts here", {"Content-Type": 'multipart/related; boundary="zz"'})
        _, _, detail = a.fault()
        self.assertEqual(detail.tag, T("protocol", "Client.MalformedRequest"))


class Remove(Test):
    def test_remove_answers_closed_and_forgets_the_report(self):
        _, uri = self.submit()
        a = self.call("remove", "<protocolProblemReport:thisURI>%s</protocolProblemReport:thisURI>" % uri)
        self.assertEqual(a.element.tag, T("protocolProblemReport", "removeResponse"))
        self.assertEqual(a.element.findtext(T("protocolProblemReport", "state")), "closed")
        validate(self, a)
        _, _, detail = self.call("get", target=uri).fault()
        self.assertEqual(detail.tag, T("protocol", "Client.ObjectNotFound"))

    def test_soap12_submit_and_get(self):
        a = self.call("submit", REPORT_CONTENT, version=2)
        self.assertEqual(a.version, 2)
        uri = a.element.findtext(T("protocolProblemReport", "thisURI"))
        g = self.call("get", target=uri, version=2)
        self.assertEqual(g.version, 2)
        validate(self, g)


if __name__ == "__main__":
    unittest.main()
