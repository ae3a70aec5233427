"""Misbehaviour modes of the reference provider, selected per request by the X-Orv-Test header or by a
header targetURI "test:<mode>[;<real target>]": every mode's exact effect on the wire, and that one
provider process keeps serving normal requests after each of them."""

import socket
import time
import unittest
import xml.etree.ElementTree as ET

from provider_fixture import (ENV11, PROFILE, REPORT, T, Answer, ConnTest, Provider, envelope,
                              header_xml, http_request, post, raw_exchange, read_response, validate)

P = None


def setUpModule():
    global P
    P = Provider("--stall-limit", "20")


def tearDownModule():
    P.stop()


CREATE = envelope("<protocolProfile:createRequest/>", header_xml())


def by_target(mode, version=1):
    return envelope("<protocolProfile:createRequest/>", header_xml(target="test:" + mode), version)


class Test(ConnTest):
    @staticmethod
    def provider():
        return P

    def mode(self, mode, data=CREATE, path=PROFILE):
        return post(self.conn, path, data, {"X-Orv-Test": mode})

    def still_serving(self):
        with socket.create_connection(("127.0.0.1", P.port), timeout=5) as s, s.makefile("rb") as f:
            s.sendall(http_request(PROFILE, CREATE))
            self.assertEqual(read_response(f)[0], 200)


class Faults(Test):
    def test_fault_server_is_server_fault_with_processing_detail(self):
        for a in (self.mode("fault-server"), post(self.conn, PROFILE, by_target("fault-server"))):
            self.assertEqual(a.status, 500)
            code, _, detail = a.fault()
            self.assertEqual(code, "SOAP-ENV:Server")
            self.assertEqual(detail.tag, T("protocol", "Server.Processing"))
            validate(self, a)

    def test_fault_server_in_soap12_is_receiver(self):
        a = post(self.conn, PROFILE, by_target("fault-server", version=2))
        self.assertEqual((a.status, a.version), (500, 2))
        self.assertEqual(a.fault()[0], "SOAP-ENV:Receiver")

    def test_fault_client_is_client_fault_with_invalid_request_detail(self):
        a = self.mode("fault-client")
        code, _, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertEqual(detail.tag, T("protocol", "Client.InvalidRequest"))
        validate(self, a)

    def test_fault_custom_code_carries_an_application_code(self):
        a = self.mode("fault-custom-code")
        code, _, detail = a.fault()
        self.assertEqual(code, "protocol:Server.ServiceUnavailable")
        self.assertEqual(detail.findtext(T("protocol", "retryAfter")), "PT30S")
        validate(self, a)

    def test_fault_unknown_detail_has_a_foreign_detail_element(self):
        code, _, detail = self.mode("fault-unknown-detail").fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertEqual(detail.tag, "{urn:orvsoap:test}diagnostic")

    def test_faults_need_no_credentials(self):
        data = envelope("<protocolProfile:createRequest/>", header_xml(target="test:fault-client", creds=False))
        _, _, detail = post(self.conn, PROFILE, data).fault()
        self.assertEqual(detail.tag, T("protocol", "Client.InvalidRequest"))


class Bodies(Test):
    def test_unknown_child_is_a_non_fault_unknown_first_body_element(self):
        a = self.mode("unknown-child")
        self.assertEqual(a.status, 200)
        self.assertEqual(a.element.tag, "{urn:orvsoap:test}unexpected")
        self.assertEqual(len(a.body_children), 1)

    def test_malformed_is_not_well_formed(self):
        a = self.mode("malformed")
        self.assertEqual(a.status, 200)
        with self.assertRaises(ET.ParseError):
            ET.fromstring(a.body)
        self.still_serving()

    def test_version_mismatch_envelope_is_in_a_foreign_namespace(self):
        a = self.mode("version-mismatch")
        root = ET.fromstring(a.body)
        self.assertEqual(root.tag, "{urn:orvsoap:test:not-an-envelope}Envelope")

    def test_duplicate_response_has_the_response_element_twice(self):
        a = self.mode("duplicate-response")
        self.assertEqual([c.tag for c in a.body_children], [T("protocolProfile", "createResponse")] * 2)
        validate(self, a)

    def test_soap12_answers_soap11_request_in_soap12(self):
        a = self.mode("soap12")
        self.assertEqual(a.version, 2)
        self.assertEqual(a.headers.getheader("Content-Type"), "application/soap+xml; charset=utf-8")
        self.assertEqual(a.element.tag, T("protocolProfile", "createResponse"))
        validate(self, a)

    def test_no_header_leaves_out_the_soap_header(self):
        a = self.mode("no-header")
        self.assertEqual(a.status, 200)
        self.assertNotIn(b"SOAP-ENV:Header", a.body)

    def test_with_header_sends_a_full_header_that_must_be_understood(self):
        a = self.mode("with-header")
        self.assertIsNotNone(a.header)
        self.assertEqual(a.header.get("{%s}mustUnderstand" % ENV11), "1")
        self.assertEqual(a.header.findtext(T("protocol", "note")), "answered by the reference provider")
        self.assertTrue(a.header.findtext(T("protocol", "targetURI")).startswith("urn:orv:profile:"))
        validate(self, a)

    def test_default_answer_has_a_plain_header(self):
        a = post(self.conn, PROFILE, CREATE)
        self.assertIsNotNone(a.header)
        self.assertIsNone(a.header.get("{%s}mustUnderstand" % ENV11))

    def test_target_mode_with_real_target_runs_the_operation_on_that_target(self):
        uri = post(self.conn, PROFILE, CREATE).element.findtext(T("protocolProfile", "thisURI"))
        data = envelope("<protocolProfile:getRequest/>", header_xml(target="test:chunked+soap12;" + uri))
        a = post(self.conn, PROFILE, data)
        self.assertEqual(a.headers.getheader("Transfer-Encoding"), "chunked")
        self.assertEqual(a.version, 2)
        self.assertEqual(a.element.findtext(T("protocolProfile", "thisURI")), uri)

    def test_shaping_modes_still_check_credentials(self):
        data = envelope("<protocolProfile:createRequest/>", header_xml(target="test:chunked", creds=False))
        a = post(self.conn, PROFILE, data)
        self.assertEqual(a.fault()[2].tag, T("protocol", "Client.Authentication.NotAuthorized"))


class Transport(Test):
    def test_chunked_answer_uses_several_chunks(self):
        with socket.create_connection(("127.0.0.1", P.port), timeout=5) as s:
            s.sendall(http_request(PROFILE, CREATE, "X-Orv-Test: chunked\r\n"))
            raw = b""
            while not raw.endswith(b"0\r\n\r\n"):
                raw += s.recv(65536)
        head, body = raw.split(b"\r\n\r\n", 1)
        self.assertIn(b"Transfer-Encoding: chunked", head)
        self.assertNotIn(b"Content-Length", head)
        self.assertTrue(body.startswith(b"1\r\n<\r\n7\r\n?xml ve\r\n40\r\n"), body[:40])

    def test_chunked_answer_keeps_the_connection(self):
        a = self.mode("chunked")
        sock = self.conn.sock
        self.assertEqual(a.element.tag, T("protocolProfile", "createResponse"))
        self.assertEqual(post(self.conn, PROFILE, CREATE).status, 200)
        self.assertIs(self.conn.sock, sock)

    def test_dribble_answer_arrives_whole(self):
        a = self.mode("dribble")
        self.assertEqual(a.element.tag, T("protocolProfile", "createResponse"))

    def test_connection_close_answers_then_closes(self):
        out, how = raw_exchange(P.port, http_request(PROFILE, CREATE, "X-Orv-Test: connection-close\r\n"))
        self.assertEqual(how, "eof")
        self.assertIn(b"Connection: close", out)
        self.assertTrue(out.rstrip().endswith(b"</SOAP-ENV:Envelope>"))

    def test_truncated_cuts_the_envelope_and_closes_without_length(self):
        out, how = raw_exchange(P.port, http_request(PROFILE, CREATE, "X-Orv-Test: truncated\r\n"))
        self.assertEqual(how, "eof")
        head, body = out.split(b"\r\n\r\n", 1)
        self.assertTrue(head.startswith(b"HTTP/1.1 200 OK"))
        self.assertNotIn(b"Content-Length", head)
        self.assertIn(b"<SOAP-ENV:Envelope", body)
        with self.assertRaises(ET.ParseError):
            ET.fromstring(body)

    def test_short_body_announces_more_than_it_sends(self):
        out, how = raw_exchange(P.port, http_request(PROFILE, CREATE, "X-Orv-Test: short-body\r\n"))
        self.assertEqual(how, "eof")
        head, body = out.split(b"\r\n\r\n", 1)
        length = int([h for h in head.split(b"\r\n") if h.startswith(b"Content-Length:")][0].split(b":")[1])
        self.assertEqual(len(body), length // 2)

    def test_reset_closes_with_a_reset_and_no_answer(self):
        out, how = raw_exchange(P.port, http_request(PROFILE, CREATE, "X-Orv-Test: reset\r\n"))
        self.assertEqual(out, b"")
        self.assertEqual(how, "reset")
        self.still_serving()

    def test_reset_by_target(self):
        out, how = raw_exchange(P.port, http_request(PROFILE, by_target("reset")))
        self.assertEqual((out, how), (b"", "reset"))

    def test_stall_says_nothing_until_the_client_gives_up(self):
        started = time.monotonic()
        out, how = raw_exchange(P.port, http_request(PROFILE, by_target("stall")), timeout=0.5)
        self.assertEqual((out, how), (b"", "timeout"))
        self.assertGreaterEqual(time.monotonic() - started, 0.5)
        self.still_serving()

    def test_http_404_is_html(self):
        a = self.mode("http-404")
        self.assertEqual(a.status, 404)
        self.assertTrue(a.headers.getheader("Content-Type").startswith("text/html"))

    def test_http_500_html_is_html_not_soap(self):
        a = post(self.conn, REPORT, by_target("http-500-html"))
        self.assertEqual(a.status, 500)
        self.assertTrue(a.headers.getheader("Content-Type").startswith("text/html"))
        self.assertTrue(a.body.startswith(b"<html>"))

    def test_empty_202_has_no_body_and_keeps_the_connection(self):
        a = self.mode("empty-202")
        sock = self.conn.sock
        self.assertEqual((a.status, a.body), (202, b""))
        self.assertEqual(post(self.conn, PROFILE, CREATE).status, 200)
        self.assertIs(self.conn.sock, sock)

    def test_empty_200_has_no_body(self):
        a = self.mode("empty-200")
        self.assertEqual((a.status, a.body), (200, b""))


class Selection(Test):
    def test_unknown_mode_in_http_header_is_400(self):
        self.assertEqual(self.mode("explode").status, 400)

    def test_unknown_mode_in_target_is_client_fault(self):
        a = post(self.conn, PROFILE, by_target("explode"))
        code, string, detail = a.fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertIn("explode", string)

    def test_two_outcome_modes_cannot_be_combined(self):
        self.assertEqual(self.mode("reset+stall").status, 400)

    def test_http_header_wins_over_target(self):
        a = post(self.conn, PROFILE, by_target("fault-server"), {"X-Orv-Test": "no-header"})
        self.assertEqual(a.status, 200)
        self.assertIsNone(a.header)


class DefaultMode(unittest.TestCase):
    def test_fault_mode_option_applies_to_requests_that_choose_none(self):
        p = Provider("--fault-mode", "fault-server")
        self.addCleanup(p.stop)
        c = p.connect()
        self.addCleanup(c.close)
        self.assertEqual(post(c, PROFILE, CREATE).fault()[0], "SOAP-ENV:Server")
        self.assertEqual(post(c, PROFILE, CREATE, {"X-Orv-Test": "no-header"}).status, 200)


if __name__ == "__main__":
    unittest.main()
