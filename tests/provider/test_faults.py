"""Refusals of the reference provider: credentials, unknown operations, malformed and foreign envelopes,
header blocks it must understand, and the HTTP errors for wrong paths and methods. Each SOAP fault is
checked for its code, its HTTP status and its typed detail element."""

import unittest

from provider_fixture import (ENV12, PROFILE, REPORT, T, ConnTest, Provider, envelope, header_xml, post,
                              validate)

P = None


def setUpModule():
    global P
    P = Provider()


def tearDownModule():
    P.stop()


CREATE = "<protocolProfile:createRequest/>"


class Test(ConnTest):
    @staticmethod
    def provider():
        return P


class Credentials(Test):
    def test_missing_header_is_client_fault_not_authorized(self):
        a = post(self.conn, PROFILE, envelope(CREATE))
        self.assertEqual(a.status, 500)
        code, string, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertIn("no credentials", string)
        self.assertEqual(detail.tag, T("protocol", "Client.Authentication.NotAuthorized"))
        self.assertEqual(detail.findtext(T("protocol", "description")), "the header carries no credentials")
        self.assertIsNone(a.header)
        validate(self, a)

    def test_header_without_credentials_is_not_authorized(self):
        _, _, detail = post(self.conn, PROFILE, envelope(CREATE, header_xml(creds=False))).fault()
        self.assertEqual(detail.tag, T("protocol", "Client.Authentication.NotAuthorized"))

    def test_wrong_password_echoes_credentials_without_the_password(self):
        a = post(self.conn, PROFILE, envelope(CREATE, header_xml(password="guess")))
        code, _, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertEqual(detail.tag, T("protocol", "Client.Authentication.NotAuthorized"))
        c = detail.find(T("protocol", "credentials"))
        self.assertEqual(c.findtext(T("protocol", "username")), "daemon")
        self.assertEqual(c.findtext(T("protocol", "state")), "invalid")
        self.assertNotIn(b"guess", a.body)
        self.assertEqual(detail.findtext(T("protocol", "detail") + "/" + T("protocol", "transactionId")), "tx-1")
        validate(self, a)

    def test_soap12_refusal_is_sender_fault_with_subcode_and_status_400(self):
        a = post(self.conn, REPORT, envelope("<protocolProblemReport:submitRequest/>",
                                             header_xml(user="nobody"), version=2))
        self.assertEqual(a.status, 400)
        self.assertEqual(a.version, 2)
        code, string, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:Sender")
        self.assertTrue(string)
        f = a.element
        self.assertEqual(f.findtext("{%s}Code/{%s}Subcode/{%s}Value" % (ENV12, ENV12, ENV12)),
                         "protocol:Client.Authentication.NotAuthorized")
        self.assertEqual(f.find("{%s}Reason/{%s}Text" % (ENV12, ENV12)).get(
            "{http://www.w3.org/XML/1998/namespace}lang"), "en")
        self.assertEqual(detail.tag, T("protocol", "Client.Authentication.NotAuthorized"))
        validate(self, a)

    def test_expired_credentials_are_credentials_expired(self):
        h = header_xml(creds=False, extra="<protocol:credentials><protocol:state>expired</protocol:state>"
                       "<protocol:username>daemon</protocol:username><protocol:password>secret"
                       "</protocol:password></protocol:credentials>")
        a = post(self.conn, PROFILE, envelope(CREATE, h))
        _, _, detail = a.fault()
        self.assertEqual(detail.tag, T("protocol", "Client.Authentication.CredentialsExpired"))
        validate(self, a)

    def test_second_credentials_record_may_be_the_accepted_one(self):
        h = header_xml(user="other", extra="<protocol:credentials><protocol:username>daemon</protocol:username>"
                       "<protocol:password>secret</protocol:password></protocol:credentials>")
        a = post(self.conn, PROFILE, envelope(CREATE, h))
        self.assertEqual(a.status, 200, a.body)


class Requests(Test):
    def test_unknown_operation_is_client_fault_invalid_request(self):
        a = post(self.conn, PROFILE, envelope("<protocolProfile:renameRequest/>", header_xml()))
        code, string, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertIn("renameRequest", string)
        self.assertEqual(detail.tag, T("protocol", "Client.InvalidRequest"))
        validate(self, a)

    def test_operation_of_the_other_service_is_refused(self):
        a = post(self.conn, REPORT, envelope(CREATE, header_xml()))
        _, _, detail = a.fault()
        self.assertEqual(detail.tag, T("protocol", "Client.InvalidRequest"))

    def test_empty_body_is_client_fault(self):
        code, _, detail = post(self.conn, PROFILE, envelope("", header_xml())).fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertEqual(detail.tag, T("protocol", "Client.InvalidRequest"))

    def test_not_well_formed_request_is_malformed_request(self):
        a = post(self.conn, PROFILE, envelope("<protocolProfile:createRequest>", header_xml()))
        code, string, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertIn("Well-formedness", string)
        self.assertEqual(detail.tag, T("protocol", "Client.MalformedRequest"))
        validate(self, a)

    def test_document_type_declaration_is_refused(self):
        data = b'<?xml version="1.0"?><!DOCTYPE x [<!ENTITY a "aaaa">]>' + envelope(CREATE).split(b"?>", 1)[1]
        _, _, detail = post(self.conn, PROFILE, data).fault()
        self.assertEqual(detail.tag, T("protocol", "Client.MalformedRequest"))

    def test_envelope_of_unknown_namespace_is_version_mismatch(self):
        data = b'<e:Envelope xmlns:e="urn:not-soap"><e:Body/></e:Envelope>'
        a = post(self.conn, PROFILE, data)
        self.assertEqual(a.status, 500)
        self.assertEqual(a.version, 1)
        code, _, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:VersionMismatch")
        self.assertIsNone(detail)

    def test_unknown_header_block_that_must_be_understood_is_must_understand_fault(self):
        h = header_xml() + '<x:trace xmlns:x="urn:other" SOAP-ENV:mustUnderstand="1">on</x:trace>'
        code, string, _ = post(self.conn, PROFILE, envelope(CREATE, h)).fault()
        self.assertEqual(code, "SOAP-ENV:MustUnderstand")
        self.assertIn("'trace'", string)

    def test_unknown_optional_header_block_is_ignored(self):
        h = header_xml() + '<x:trace xmlns:x="urn:other">on</x:trace>'
        self.assertEqual(post(self.conn, PROFILE, envelope(CREATE, h)).status, 200)


class HttpErrors(Test):
    def test_unknown_path_is_404(self):
        a = post(self.conn, "/orv/v1.0/services/Nothing", envelope(CREATE, header_xml()))
        self.assertEqual(a.status, 404)

    def test_get_method_is_405(self):
        self.conn.request("GET", PROFILE)
        r = self.conn.getresponse()
        r.read()
        self.assertEqual(r.status, 405)
        self.assertEqual(r.getheader("Allow"), "POST")

    def test_query_string_on_the_path_is_ignored(self):
        self.assertEqual(post(self.conn, PROFILE + "?x=1", envelope(CREATE, header_xml())).status, 200)


if __name__ == "__main__":
    unittest.main()
