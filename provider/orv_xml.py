"""XML plumbing of the reference provider: the namespace table, a parser that resolves xsi:type values
to {uri}local form so that the sender's prefixes don't matter, and a writer that puts everything back
under the library's own prefixes. Not a schema validator and not a general-purpose XML toolkit."""

import xml.etree.ElementTree as ET

ROOT = "http://xml.orvsoap.org/xmlns/b2b/orv/v1.0"
SOAP11_ENV = "http://schemas.xmlsoap.org/soap/envelope/"
SOAP11_ENC = "http://schemas.xmlsoap.org/soap/encoding/"
SOAP12_ENV = "http://www.w3.org/2003/05/soap-envelope"
SOAP12_ENC = "http://www.w3.org/2003/05/soap-encoding"
XSI = "http://www.w3.org/2001/XMLSchema-instance"
XSD = "http://www.w3.org/2001/XMLSchema"
XML_NS = "http://www.w3.org/XML/1998/namespace"

P = ROOT                                   # protocol
PP = ROOT + "/Profile"                     # protocolProfile
PR = ROOT + "/ProblemReport"               # protocolProblemReport
PUO = ROOT + "/UpdateOrder"                # protocolUpdateOrder

# Prefixes in the order the library declares them on its envelopes.
MODEL_PREFIXES = [
    ("protocolHTTP", ROOT + "/Transport/Http"),
    ("ns1", "http://ws-i.org/profiles/basic/1.1/xsd"),
    ("protocolPRFilter", ROOT + "/ProblemReport/Filter"),
    ("protocolUpdateOrderFilter", ROOT + "/UpdateOrder/Filter"),
    ("protocol", P),
    ("protocolInventoryReport", ROOT + "/InventoryReport"),
    ("protocolProblemReport", PR),
    ("protocolProfile", PP),
    ("protocolStatusReport", ROOT + "/StatusReport"),
    ("protocolUpdateOrder", PUO),
]

XSI_TYPE = "{%s}type" % XSI


def envelope_ns(version):
    return SOAP12_ENV if version == 2 else SOAP11_ENV


def prefix_table(version):
    """(prefix, uri) pairs declared on an envelope of the given SOAP version (1 or 2)."""
    env, enc = (SOAP12_ENV, SOAP12_ENC) if version == 2 else (SOAP11_ENV, SOAP11_ENC)
    return [("SOAP-ENV", env), ("SOAP-ENC", enc), ("xsi", XSI), ("xsd", XSD)] + MODEL_PREFIXES


class XMLError(Exception):
    pass


def q(ns, local):
    return "{%s}%s" % (ns, local)


def parse(data):
    """Parses bytes into an ElementTree element. xsi:type values become {uri}local by the namespace
    declarations in scope where they stand. Whitespace between elements is dropped."""
    if b"<!DOCTYPE" in data or b"<!doctype" in data:
        raise XMLError("document type declarations are not accepted")
    parser = ET.XMLPullParser(events=("start-ns", "start", "end"))
    try:
        parser.feed(data)
        parser.close()
    except ET.ParseError as e:
        raise XMLError(str(e))
    scopes = [{"xml": XML_NS}]
    pending = {}
    root = None
    for event, obj in parser.read_events():
        if event == "start-ns":
            pending[obj[0]] = obj[1]
        elif event == "start":
            scope = scopes[-1]
            if pending:
                scope = dict(scope)
                scope.update(pending)
                pending = {}
            scopes.append(scope)
            if root is None:
                root = obj
            value = obj.attrib.get(XSI_TYPE)
            if value is not None:
                value = value.strip()
                prefix, _, local = value.rpartition(":")
                uri = scope.get(prefix)
                if uri is not None:
                    obj.attrib[XSI_TYPE] = q(uri, local)
                elif prefix == "" and not local.startswith("{"):
                    obj.attrib[XSI_TYPE] = local
        elif event == "end":
            scopes.pop()
            if len(obj):
                if obj.text is not None and not obj.text.strip():
                    obj.text = None
                for child in obj:
                    if child.tail is not None and not child.tail.strip():
                        child.tail = None
    if root is None:
        raise XMLError("no root element")
    return root


def split(clark):
    if clark.startswith("{"):
        uri, local = clark[1:].split("}", 1)
        return uri, local
    return None, clark


def _esc_text(s):
    return s.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace("\r", "&#13;")


def _esc_attr(s):
    return (_esc_text(s).replace('"', "&quot;").replace("\n", "&#10;").replace("\t", "&#9;"))


def serialize(elem, version=1, declare=False):
    """Writes elem with the library's prefixes. With declare, the prefix table is declared on elem
    itself (for a stand-alone document); otherwise the caller has declared it on an ancestor."""
    scope = {uri: prefix for prefix, uri in prefix_table(version)}
    scope[XML_NS] = "xml"
    out = []
    _write(elem, scope, out, prefix_table(version) if declare else [], [0])
    return "".join(out)


def _write(e, scope, out, declare, counter):
    decls = list(declare)
    local_scope = scope

    def name(clark):
        nonlocal local_scope
        uri, local = split(clark)
        if uri is None:
            return local
        prefix = local_scope.get(uri)
        if prefix is None:
            counter[0] += 1
            prefix = "orvx%d" % counter[0]
            if local_scope is scope:
                local_scope = dict(scope)
            local_scope[uri] = prefix
            decls.append((prefix, uri))
        return prefix + ":" + local

    tag = name(e.tag)
    attrs = []
    for k, v in e.attrib.items():
        if k == XSI_TYPE and v.startswith("{"):
            v = name(v)
        attrs.append((name(k), v))
    out.append("<" + tag)
    for prefix, uri in decls:
        out.append(' xmlns:%s="%s"' % (prefix, _esc_attr(uri)))
    for k, v in attrs:
        out.append(' %s="%s"' % (k, _esc_attr(v)))
    if e.text is None and len(e) == 0:
        out.append("/>")
    else:
        out.append(">")
        if e.text:
            out.append(_esc_text(e.text))
        for child in e:
            _write(child, local_scope, out, [], counter)
            if child.tail:
                out.append(_esc_text(child.tail))
        out.append("</%s>" % tag)


def E(tag, *children, text=None, xsi_type=None, attrib=None):
    """Element builder: E(q(P, 'name'), child, ..., text='x', xsi_type=q(PR, 'Answer.Client'))."""
    e = ET.Element(tag, dict(attrib or {}))
    if xsi_type is not None:
        e.set(XSI_TYPE, xsi_type)
    if text is not None:
        e.text = text
    for c in children:
        if c is None:
            continue
        if isinstance(c, (list, tuple)):
            for cc in c:
                if cc is not None:
                    e.append(cc)
        else:
            e.append(c)
    return e


def child(e, tag):
    return e.find(tag) if e is not None else None


def text_of(e, tag, default=None):
    c = child(e, tag)
    if c is None or c.text is None:
        return default
    return c.text.strip()


def sort_children(e, order):
    """Puts the children of e in the given element order (stable; unknown tags go last)."""
    rank = {tag: i for i, tag in enumerate(order)}
    kids = list(e)
    kids.sort(key=lambda c: rank.get(c.tag, len(order)))
    for c in list(e):
        e.remove(c)
    e.extend(kids)
    return e


def set_single(e, tag, text, order):
    """Replaces all children named tag by one child holding text, in schema order."""
    for c in e.findall(tag):
        e.remove(c)
    if text is not None:
        e.append(E(tag, text=text))
    sort_children(e, order)
