"""The Profile service of the reference provider: each operation's answer content, its state across
operations, SOAP 1.1 and 1.2 answers, and schema validity of every answer element."""

import unittest

from provider_fixture import PROFILE, T, ConnTest, Provider, envelope, header_xml, post, validate

P = None


def setUpModule():
    global P
    P = Provider()


def tearDownModule():
    P.stop()


IDENTITY = ("<protocol:identity><protocol:type>system</protocol:type><protocol:product>X1</protocol:product>"
            "<protocol:serialNumber>SN-1</protocol:serialNumber></protocol:identity>")
CONTACT = "<protocol:contact><protocol:name>%s</protocol:name></protocol:contact>"
CREDS = ("<protocol:credentials><protocol:username>machine-7</protocol:username>"
         "<protocol:password>old</protocol:password></protocol:credentials>")


class Test(ConnTest):
    @staticmethod
    def provider():
        return P


def create(conn, content=IDENTITY + CREDS, version=1):
    data = envelope("<protocolProfile:createRequest>%s</protocolProfile:createRequest>" % content,
                    header_xml(), version)
    return post(conn, PROFILE, data)


def texts(elem, prefix, local):
    return [e.text for e in elem.findall(T(prefix, local))]


class ProfileCreate(Test):
    def test_create_answers_active_profile_with_assigned_uri_and_echoed_credentials(self):
        a = create(self.conn)
        self.assertEqual(a.status, 200)
        self.assertEqual(a.headers.getheader("Content-Type"), "text/xml; charset=utf-8")
        e = a.element
        self.assertEqual(e.tag, T("protocolProfile", "createResponse"))
        uris = texts(e, "protocolProfile", "thisURI")
        self.assertEqual(len(uris), 1)
        self.assertTrue(uris[0].startswith("urn:orv:profile:"))
        self.assertEqual(texts(e, "protocolProfile", "state"), ["active"])
        self.assertEqual(e.findtext(T("protocol", "credentials") + "/" + T("protocol", "username")), "machine-7")
        self.assertEqual(e.findtext(T("protocol", "identity") + "/" + T("protocol", "serialNumber")), "SN-1")
        validate(self, a)

    def test_create_without_content_credentials_echoes_header_user_without_password(self):
        a = create(self.conn, IDENTITY)
        c = a.element.find(T("protocol", "credentials"))
        self.assertEqual(c.findtext(T("protocol", "username")), "daemon")
        self.assertIsNone(c.find(T("protocol", "password")))
        validate(self, a)

    def test_two_creates_get_distinct_uris(self):
        conn = self.conn
        u1 = create(conn).element.findtext(T("protocolProfile", "thisURI"))
        u2 = create(conn).element.findtext(T("protocolProfile", "thisURI"))
        self.assertNotEqual(u1, u2)

    def test_members_sent_out_of_order_come_back_in_schema_order(self):
        a = create(self.conn, CREDS + (CONTACT % "ops") + IDENTITY +
                   "<protocolProfile:profileAuthority>acme</protocolProfile:profileAuthority>")
        names = [c.tag.split("}")[1] for c in a.element]
        self.assertEqual(names, ["thisURI", "state", "profileAuthority", "identity", "contact", "credentials"])
        validate(self, a)

    def test_soap12_request_gets_soap12_answer(self):
        a = create(self.conn, version=2)
        self.assertEqual(a.status, 200)
        self.assertEqual(a.version, 2)
        self.assertEqual(a.headers.getheader("Content-Type"), "application/soap+xml; charset=utf-8")
        self.assertEqual(a.element.tag, T("protocolProfile", "createResponse"))
        validate(self, a)

    def test_foreign_prefixes_and_default_namespace_are_understood(self):
        data = ('<?xml version="1.0"?><e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/">'
                '<e:Header><h:header xmlns:h="http://xml.orvsoap.org/xmlns/b2b/orv/v1.0"><h:credentials>'
                '<h:username>daemon</h:username><h:password>secret</h:password></h:credentials></h:header>'
                '</e:Header><e:Body><createRequest xmlns="http://xml.orvsoap.org/xmlns/b2b/orv/v1.0/Profile">'
                '<profileAuthority>acme</profileAuthority></createRequest></e:Body></e:Envelope>').encode()
        a = post(self.conn, PROFILE, data)
        self.assertEqual(a.status, 200)
        self.assertIn(b"<protocolProfile:profileAuthority>acme</protocolProfile:profileAuthority>", a.body)
        self.assertIn(b"<SOAP-ENV:Body>", a.body)
        validate(self, a)


class ProfileLifecycle(Test):
    def setUp(self):
        super().setUp()
        self.uri = create(self.conn).element.findtext(T("protocolProfile", "thisURI"))

    def call(self, op, content="", target=None, version=1):
        body = "<protocolProfile:%sRequest>%s</protocolProfile:%sRequest>" % (op, content, op)
        return post(self.conn, PROFILE, envelope(body, header_xml(target=target), version))

    def test_get_by_target_uri_returns_stored_profile(self):
        a = self.call("get", target=self.uri)
        self.assertEqual(a.element.tag, T("protocolProfile", "getResponse"))
        self.assertEqual(texts(a.element, "protocolProfile", "thisURI"), [self.uri])
        self.assertEqual(a.element.findtext(T("protocol", "identity") + "/" + T("protocol", "product")), "X1")
        self.assertEqual(a.header.findtext(T("protocol", "targetURI")), self.uri)
        self.assertEqual(a.header.findtext(T("protocol", "correlationId")), "tx-1")
        validate(self, a)

    def test_set_replaces_content_and_keeps_uri_and_state(self):
        a = self.call("set", "<protocolProfile:thisURI>%s</protocolProfile:thisURI>%s" % (self.uri, CONTACT % "new"))
        self.assertEqual(texts(a.element, "protocolProfile", "thisURI"), [self.uri])
        self.assertEqual(texts(a.element, "protocolProfile", "state"), ["active"])
        self.assertIsNone(a.element.find(T("protocol", "identity")))
        validate(self, a)
        g = self.call("get", target=self.uri)
        self.assertEqual(g.element.findtext(T("protocol", "contact") + "/" + T("protocol", "name")), "new")
        self.assertIsNone(g.element.find(T("protocol", "identity")))

    def test_set_names_its_object_by_header_target_when_content_has_no_uri(self):
        a = self.call("set", "<protocolProfile:state>inactive</protocolProfile:state>", target=self.uri)
        self.assertEqual(texts(a.element, "protocolProfile", "state"), ["inactive"])
        validate(self, a)

    def test_add_appends_repeated_members_and_keeps_the_rest(self):
        self.call("add", CONTACT % "first", target=self.uri)
        a = self.call("add", CONTACT % "second", target=self.uri)
        names = [c.findtext(T("protocol", "name")) for c in a.element.findall(T("protocol", "contact"))]
        self.assertEqual(names, ["first", "second"])
        self.assertIsNotNone(a.element.find(T("protocol", "identity")))
        validate(self, a)

    def test_refresh_credentials_returns_new_password_token_and_expiry(self):
        a = self.call("refreshCredentials", "<protocolProfile:credentials><protocol:username>machine-7"
                      "</protocol:username></protocolProfile:credentials>", target=self.uri)
        self.assertEqual(a.element.tag, T("protocolProfile", "refreshCredentialsResponse"))
        creds = a.element.findall(T("protocol", "credentials"))
        self.assertEqual(len(creds), 1)
        c = creds[0]
        self.assertEqual(c.findtext(T("protocol", "state")), "valid")
        self.assertEqual(c.findtext(T("protocol", "username")), "machine-7")
        self.assertNotEqual(c.findtext(T("protocol", "password")), "old")
        self.assertTrue(c.findtext(T("protocol", "token")))
        self.assertTrue(c.findtext(T("protocol", "expiration")))
        validate(self, a)
        again = self.call("refreshCredentials", target=self.uri)
        self.assertNotEqual(again.element.findtext(".//" + T("protocol", "token")), c.findtext(T("protocol", "token")))

    def test_refresh_credentials_without_target_finds_profile_by_user_name(self):
        user = "solo-%s" % self.uri.rsplit(":", 1)[1]
        uri = create(self.conn, "<protocol:credentials><protocol:username>%s</protocol:username>"
                                "</protocol:credentials>" % user).element.findtext(T("protocolProfile", "thisURI"))
        a = self.call("refreshCredentials", "<protocolProfile:credentials><protocol:username>%s"
                      "</protocol:username></protocolProfile:credentials>" % user)
        self.assertEqual(texts(a.element, "protocolProfile", "thisURI"), [uri])

    def test_remove_answers_closed_and_forgets_the_profile(self):
        a = self.call("remove", "<protocolProfile:thisURI>%s</protocolProfile:thisURI>" % self.uri)
        self.assertEqual(a.element.tag, T("protocolProfile", "removeResponse"))
        self.assertEqual(texts(a.element, "protocolProfile", "state"), ["closed"])
        validate(self, a)
        g = self.call("get", target=self.uri)
        code, _, detail = g.fault()
        self.assertEqual(code, "SOAP-ENV:Client")
        self.assertEqual(detail.tag, T("protocol", "Client.ObjectNotFound"))

    def test_get_in_soap12_answers_in_soap12(self):
        a = self.call("get", target=self.uri, version=2)
        self.assertEqual(a.version, 2)
        validate(self, a)


if __name__ == "__main__":
    unittest.main()
