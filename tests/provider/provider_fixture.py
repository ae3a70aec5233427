"""Shared helpers of the reference provider's own tests: start the provider on a free port, build request
envelopes the way the C++ client writes them, talk HTTP, read answers, and validate response elements
against schema/all.xsd with xmllint. Not a test module itself."""

import http.client
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import xml.dom.minidom
import xml.etree.ElementTree as ET

REPO = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
PROVIDER = os.path.join(REPO, "provider", "orv_provider.py")
SCHEMA_DIR = os.path.join(REPO, "schema")

ROOT = "http://xml.orvsoap.org/xmlns/b2b/orv/v1.0"
ENV11 = "http://schemas.xmlsoap.org/soap/envelope/"
ENV12 = "http://www.w3.org/2003/05/soap-envelope"
ENC11 = "http://schemas.xmlsoap.org/soap/encoding/"
ENC12 = "http://www.w3.org/2003/05/soap-encoding"
XSI = "http://www.w3.org/2001/XMLSchema-instance"
NS = {
    "protocol": ROOT,
    "protocolProfile": ROOT + "/Profile",
    "protocolProblemReport": ROOT + "/ProblemReport",
    "protocolUpdateOrder": ROOT + "/UpdateOrder",
    "xsi": XSI,
}
PROFILE = "/orv/v1.0/services/Profile"
REPORT = "/orv/v1.0/services/ProblemReport"


def T(prefix, local):
    """ElementTree name of prefix:local."""
    return "{%s}%s" % (NS[prefix], local)


class Provider:
    """A provider process on a free loopback port."""

    def __init__(self, *extra):
        self.proc = subprocess.Popen([sys.executable, PROVIDER, "--port", "0", *extra],
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        line = self.proc.stdout.readline().decode()
        if not line.startswith("listening on 127.0.0.1:"):
            self.proc.kill()
            raise RuntimeError("provider did not start: %r %r" % (line, self.proc.stderr.read()))
        self.port = int(line.rsplit(":", 1)[1])

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
            try:
                self.proc.wait(10)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.proc.stdout.close()
        self.proc.stderr.close()

    def connect(self, timeout=10):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)


class ConnTest(unittest.TestCase):
    """Base of the test classes: self.conn is a fresh HTTP connection to the module's provider, which
    the module names through the class attribute provider()."""

    def setUp(self):
        self.conn = self.provider().connect()
        self.addCleanup(self.conn.close)

    @staticmethod
    def provider():
        raise NotImplementedError


def header_xml(target=None, user="daemon", password="secret", txn="tx-1", creds=True, extra=""):
    parts = ['<protocol:header SOAP-ENV:mustUnderstand="1">']
    if target is not None:
        parts.append("<protocol:targetURI>%s</protocol:targetURI>" % target)
    if creds:
        parts.append("<protocol:credentials><protocol:username>%s</protocol:username>"
                     "<protocol:password>%s</protocol:password></protocol:credentials>" % (user, password))
    if txn:
        parts.append("<protocol:transactionId>%s</protocol:transactionId>" % txn)
    parts.append(extra)
    parts.append("</protocol:header>")
    return "".join(parts)


def envelope(body, header=None, version=1):
    """A request as the C++ client writes it: all namespaces on the Envelope, SOAP-ENV/protocol prefixes."""
    env, enc = (ENV12, ENC12) if version == 2 else (ENV11, ENC11)
    decls = [("SOAP-ENV", env), ("SOAP-ENC", enc), ("xsi", XSI), ("xsd", "http://www.w3.org/2001/XMLSchema"),
             ("protocolHTTP", ROOT + "/Transport/Http"), ("ns1", "http://ws-i.org/profiles/basic/1.1/xsd"),
             ("protocolPRFilter", ROOT + "/ProblemReport/Filter"),
             ("protocolUpdateOrderFilter", ROOT + "/UpdateOrder/Filter"), ("protocol", ROOT),
             ("protocolInventoryReport", ROOT + "/InventoryReport"),
             ("protocolProblemReport", ROOT + "/ProblemReport"), ("protocolProfile", ROOT + "/Profile"),
             ("protocolStatusReport", ROOT + "/StatusReport"), ("protocolUpdateOrder", ROOT + "/UpdateOrder")]
    text = ['<?xml version="1.0" encoding="UTF-8"?>\n<SOAP-ENV:Envelope',
            "".join(' xmlns:%s="%s"' % d for d in decls), ">"]
    if header is not None:
        text.append("<SOAP-ENV:Header>%s</SOAP-ENV:Header>" % header)
    text.append("<SOAP-ENV:Body>%s</SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n" % body)
    return "".join(text).encode("utf-8")


class Answer:
    def __init__(self, status, headers, body):
        self.status = status
        self.headers = headers
        self.body = body
        self.root = None
        self.version = None
        self.header = None
        self.body_children = []
        try:
            self.root = ET.fromstring(body)
        except ET.ParseError:
            return
        for v, env in ((1, ENV11), (2, ENV12)):
            if self.root.tag == "{%s}Envelope" % env:
                self.version = v
                h = self.root.find("{%s}Header" % env)
                self.header = h.find(T("protocol", "header")) if h is not None else None
                b = self.root.find("{%s}Body" % env)
                self.body_children = list(b) if b is not None else []

    @property
    def element(self):
        return self.body_children[0] if self.body_children else None

    def fault(self):
        """(code, string, typed detail element) of a SOAP fault answer."""
        env = ENV12 if self.version == 2 else ENV11
        f = self.element
        assert f is not None and f.tag == "{%s}Fault" % env, self.body
        if self.version == 2:
            code = f.findtext("{%s}Code/{%s}Value" % (env, env))
            string = f.findtext("{%s}Reason/{%s}Text" % (env, env))
            detail = f.find("{%s}Detail" % env)
        else:
            code = f.findtext("faultcode")
            string = f.findtext("faultstring")
            detail = f.find("detail")
        typed = detail[0] if detail is not None and len(detail) else None
        return code, string, typed


def post(conn, path, data, headers=None, chunked=False):
    h = {"Content-Type": "text/xml; charset=utf-8", "SOAPAction": '""'}
    h.update(headers or {})
    if chunked:
        h["Transfer-Encoding"] = "chunked"
        pieces = [data[i:i + 97] for i in range(0, len(data), 97)]
        body = b"".join(b"%x\r\n%s\r\n" % (len(p), p) for p in pieces) + b"0\r\n\r\n"
        conn.putrequest("POST", path, skip_accept_encoding=True)
        for k, v in h.items():
            conn.putheader(k, v)
        conn.endheaders(body)
    else:
        conn.request("POST", path, body=data, headers=h)
    r = conn.getresponse()
    return Answer(r.status, r, r.read())


def raw_exchange(port, data, timeout=5):
    """Sends bytes on a fresh socket and reads until the peer closes or the timeout; returns (bytes,
    how it ended: 'eof', 'reset' or 'timeout')."""
    s = socket.create_connection(("127.0.0.1", port), timeout=timeout)
    out = b""
    how = "eof"
    try:
        s.sendall(data)
        while True:
            d = s.recv(65536)
            if not d:
                break
            out += d
    except ConnectionResetError:
        how = "reset"
    except socket.timeout:
        how = "timeout"
    finally:
        s.close()
    return out, how


def http_request(path, data, extra_headers=""):
    return ("POST %s HTTP/1.1\r\nHost: 127.0.0.1\r\nUser-Agent: orvsoap/1.0\r\n"
            "Content-Type: text/xml; charset=utf-8\r\nContent-Length: %d\r\nConnection: keep-alive\r\n%s"
            "SOAPAction: \"\"\r\n\r\n" % (path, len(data), extra_headers)).encode() + data


def element_documents(answer):
    """Each SOAP header block and each child of the answer's Body (for a fault: its typed detail), as a
    stand-alone document that carries the namespace declarations of the envelope."""
    dom = xml.dom.minidom.parseString(answer.body)
    env = dom.documentElement
    decls = [(a.name, a.value) for a in env.attributes.values() if a.name.startswith("xmlns")]
    parts = {n.localName: n for n in env.childNodes if n.nodeType == n.ELEMENT_NODE}
    blocks = []
    if "Header" in parts:
        for n in parts["Header"].childNodes:
            if n.nodeType == n.ELEMENT_NODE:
                # SOAP-ENV:mustUnderstand and its like belong to the envelope, not to the block's type.
                for a in [a for a in n.attributes.values() if a.namespaceURI == env.namespaceURI]:
                    n.removeAttributeNode(a)
                blocks.append(n)
    docs = []
    for n in blocks + list(parts["Body"].childNodes):
        if n.nodeType != n.ELEMENT_NODE:
            continue
        targets = [n]
        if n.localName == "Fault":
            for d in n.childNodes:
                if d.nodeType == d.ELEMENT_NODE and d.localName in ("detail", "Detail"):
                    targets = [c for c in d.childNodes if c.nodeType == c.ELEMENT_NODE]
        for t in targets:
            for name, value in decls:
                if not t.hasAttribute(name):
                    t.setAttribute(name, value)
            docs.append('<?xml version="1.0" encoding="UTF-8"?>\n' + t.toxml())
    return docs


def xmllint_available():
    return shutil.which("xmllint") is not None


def validate(testcase, answer):
    """Fails testcase unless every header block and response element of answer validates against
    schema/all.xsd."""
    docs = element_documents(answer)
    testcase.assertTrue(docs, "no element to validate in %r" % answer.body[:200])
    if not xmllint_available():
        testcase.skipTest("xmllint not installed")
    with tempfile.TemporaryDirectory() as d:
        files = []
        for i, text in enumerate(docs):
            p = os.path.join(d, "element%d.xml" % i)
            with open(p, "w", encoding="utf-8") as f:
                f.write(text)
            files.append(p)
        r = subprocess.run(["xmllint", "--noout", "--schema", "all.xsd", *files], cwd=SCHEMA_DIR,
                           capture_output=True, text=True)
        testcase.assertEqual(r.returncode, 0, "schema validation failed:\n%s\n%s" % (r.stderr, "\n".join(docs)))


def wait_until(cond, timeout=5.0):
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        if cond():
            return True
        time.sleep(0.02)
    return cond()


def read_response(f):
    """One HTTP response from a socket file: (status, headers dict with lower-case keys, body bytes).
    Understands Content-Length and chunked bodies; None when the peer closed before a status line."""
    line = f.readline()
    if not line:
        return None
    status = int(line.split()[1])
    headers = {}
    while True:
        h = f.readline()
        if h in (b"\r\n", b"\n", b""):
            break
        k, _, v = h.decode("latin-1").partition(":")
        headers[k.strip().lower()] = v.strip()
    if headers.get("transfer-encoding", "").lower() == "chunked":
        body = b""
        while True:
            size = int(f.readline().split(b";")[0], 16)
            if size == 0:
                f.readline()
                break
            body += f.read(size)
            f.readline()
    else:
        body = f.read(int(headers.get("content-length", "0")))
    return status, headers, body
