"""SOAP frame of the reference provider: reads a request envelope (version, header, body child) and
writes response envelopes and SOAP 1.1 / 1.2 faults with typed details.
Not the operations themselves (orv_services.py) and not HTTP (orv_http.py)."""

import datetime

from orv_xml import (E, P, SOAP11_ENV, SOAP12_ENV, XML_NS, XMLError, envelope_ns, parse, prefix_table,
                     q, serialize, split)

ORIGINATOR = "orvsoap-provider"


def now_text(delta_seconds=0):
    t = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=delta_seconds)
    return t.strftime("%Y-%m-%dT%H:%M:%SZ")


class SoapFault(Exception):
    """A fault to answer with. sender: blame the request (Client/Sender) or the service (Server/
    Receiver). detail: the typed application fault element, or None. code: a {uri}local fault code
    that replaces the standard one (MustUnderstand, VersionMismatch, or a non-SOAP code)."""

    def __init__(self, sender, string, detail=None, code=None, force_v11=False):
        super().__init__(string)
        self.sender = sender
        self.string = string
        self.detail = detail
        self.code = code
        self.force_v11 = force_v11


def app_fault(kind, description, *extra, transaction_id=None):
    """The typed fault record element "protocol:<kind>" (e.g. "Client.ObjectNotFound"): the root's
    members subcode, description and detail, followed by the members of the derived record in extra."""
    return E(q(P, kind),
             E(q(P, "subcode"), text=kind),
             E(q(P, "description"), text=description),
             E(q(P, "detail"),
               E(q(P, "originator"), text=ORIGINATOR),
               E(q(P, "transactionId"), text=transaction_id) if transaction_id else None,
               E(q(P, "dateTime"), text=now_text())),
             *extra)


class Envelope:
    def __init__(self, version, header_blocks, body_children):
        self.version = version
        self.header_blocks = header_blocks      # children of SOAP-ENV:Header
        self.body_children = body_children      # children of SOAP-ENV:Body

    def block(self, tag):
        for b in self.header_blocks:
            if b.tag == tag:
                return b
        return None


def read_envelope(data):
    """Parses a request message. Raises SoapFault for what a SOAP server would refuse."""
    try:
        root = parse(data)
    except XMLError as e:
        raise SoapFault(True, "Well-formedness violation: %s" % e,
                        app_fault("Client.MalformedRequest", "the request is not well-formed XML"))
    uri, local = split(root.tag)
    if local != "Envelope":
        raise SoapFault(True, "No SOAP envelope",
                        app_fault("Client.MalformedRequest", "the root element is not a SOAP envelope"))
    if uri == SOAP11_ENV:
        version = 1
    elif uri == SOAP12_ENV:
        version = 2
    else:
        raise SoapFault(False, "Invalid SOAP message or SOAP version mismatch",
                        code=q(SOAP11_ENV, "VersionMismatch"), force_v11=True)
    header = root.find(q(uri, "Header"))
    body = root.find(q(uri, "Body"))
    if body is None:
        raise SoapFault(True, "No SOAP body",
                        app_fault("Client.MalformedRequest", "the envelope has no body"))
    blocks = list(header) if header is not None else []
    env = Envelope(version, blocks, list(body))
    for b in blocks:
        if b.tag == q(P, "header"):
            continue
        must = b.get(q(uri, "mustUnderstand"), "").strip()
        if must in ("1", "true"):
            raise SoapFault(True, "The data in element '%s' must be understood but cannot be handled"
                            % split(b.tag)[1], code=q(uri, "MustUnderstand"))
    return env


def fault_element(fault, version):
    env = envelope_ns(version)
    if fault.code is not None:
        code_uri, code_local = split(fault.code)
        code_prefix = {u: p for p, u in prefix_table(version)}.get(code_uri, "SOAP-ENV")
        code = "%s:%s" % (code_prefix, code_local)
    elif version == 2:
        code = "SOAP-ENV:Sender" if fault.sender else "SOAP-ENV:Receiver"
    else:
        code = "SOAP-ENV:Client" if fault.sender else "SOAP-ENV:Server"
    if version == 2:
        subcode = None
        if fault.detail is not None and split(fault.detail.tag)[0] == P:
            subcode = E(q(env, "Subcode"), E(q(env, "Value"), text="protocol:" + split(fault.detail.tag)[1]))
        return E(q(env, "Fault"),
                 E(q(env, "Code"), E(q(env, "Value"), text=code), subcode),
                 E(q(env, "Reason"), E(q(env, "Text"), text=fault.string, attrib={q(XML_NS, "lang"): "en"})),
                 E(q(env, "Detail"), fault.detail) if fault.detail is not None else None)
    return E(q(env, "Fault"),
             E("faultcode", text=code),
             E("faultstring", text=fault.string),
             E("detail", fault.detail) if fault.detail is not None else None)


def write_envelope(version, header, body_children, envelope_uri=None):
    """The whole response document as bytes. header: the protocol:header element or None."""
    table = prefix_table(version)
    if envelope_uri is not None:
        table = [("SOAP-ENV", envelope_uri)] + table[1:]
    decls = "".join(' xmlns:%s="%s"' % (p, u) for p, u in table)
    parts = ['<?xml version="1.0" encoding="UTF-8"?>\n<SOAP-ENV:Envelope%s>' % decls]
    if header is not None:
        parts.append("<SOAP-ENV:Header>%s</SOAP-ENV:Header>" % serialize(header, version))
    parts.append("<SOAP-ENV:Body>")
    for c in body_children:
        parts.append(c if isinstance(c, str) else serialize(c, version))
    parts.append("</SOAP-ENV:Body></SOAP-ENV:Envelope>\r\n")
    return "".join(parts).encode("utf-8")
