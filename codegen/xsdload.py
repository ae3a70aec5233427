"""Loading of schema files into a small tree that remembers where each element stood.

For the generator only: xml.etree drops line numbers, and every refusal must name file:line.
Not a validator: it reads what the binding needs and leaves schema validity to xmllint.
"""

import os
import xml.parsers.expat

XSD_NS = "http://www.w3.org/2001/XMLSchema"
ORV_NS = "urn:orvsoap:binding"


class BindError(Exception):
    """A schema or map the generator cannot bind; str() is 'file:line: message'."""

    def __init__(self, path, line, message):
        self.path = path
        self.line = line
        self.message = message
        super().__init__("%s:%s: %s" % (path, line, message))


class Node:
    """One XML element: its expanded name, attributes, children, and where it began."""

    __slots__ = ("ns", "local", "attrs", "children", "line", "path", "nsmap", "parent")

    def __init__(self, ns, local, attrs, line, path, nsmap, parent):
        self.ns = ns
        self.local = local
        self.attrs = attrs          # raw attribute names as written -> value
        self.children = []
        self.line = line
        self.path = path
        self.nsmap = nsmap          # prefix -> URI in scope ("" for the default namespace)
        self.parent = parent

    def is_xsd(self, local):
        return self.ns == XSD_NS and self.local == local

    def xsd_children(self, local=None):
        return [c for c in self.children if c.ns == XSD_NS and (local is None or c.local == local)]

    def get(self, name, default=None):
        return self.attrs.get(name, default)

    def orv(self, local):
        """Value of an attribute in the binding namespace, whatever its prefix."""
        for key, value in self.attrs.items():
            if ":" in key:
                prefix, name = key.split(":", 1)
                if name == local and self.nsmap.get(prefix) == ORV_NS:
                    return value
        return None

    def error(self, message):
        return BindError(self.path, self.line, message)

    def resolve(self, qname):
        """Split a QName attribute value into (URI, local) by the prefixes in scope."""
        if ":" in qname:
            prefix, local = qname.split(":", 1)
        else:
            prefix, local = "", qname
        if prefix not in self.nsmap:
            raise self.error("unknown namespace prefix '%s' in '%s'" % (prefix, qname))
        return self.nsmap[prefix], local


def load(path, display=None):
    """Parse one file; returns the root Node. Malformed XML is a BindError with its line."""
    shown = display or path
    try:
        with open(path, "rb") as f:
            data = f.read()
    except OSError as e:
        raise BindError(shown, 0, "cannot read: %s" % e.strerror)
    parser = xml.parsers.expat.ParserCreate()
    parser.ordered_attributes = False
    stack = []
    root = []

    def start(name, attrs):
        parent = stack[-1] if stack else None
        nsmap = dict(parent.nsmap) if parent else {"xml": "http://www.w3.org/XML/1998/namespace"}
        for key, value in attrs.items():
            if key == "xmlns":
                nsmap[""] = value
            elif key.startswith("xmlns:"):
                nsmap[key[6:]] = value
        if ":" in name:
            prefix, local = name.split(":", 1)
        else:
            prefix, local = "", name
        if prefix not in nsmap:
            raise BindError(shown, parser.CurrentLineNumber, "unknown element prefix '%s'" % prefix)
        node = Node(nsmap[prefix], local, dict(attrs), parser.CurrentLineNumber, shown, nsmap, parent)
        if parent is not None:
            parent.children.append(node)
        else:
            root.append(node)
        stack.append(node)

    def end(name):
        stack.pop()

    parser.StartElementHandler = start
    parser.EndElementHandler = end
    try:
        parser.Parse(data, True)
    except xml.parsers.expat.ExpatError as e:
        raise BindError(shown, e.lineno, "not well-formed XML: %s" % xml.parsers.expat.errors.messages[e.code])
    if not root:
        raise BindError(shown, 1, "empty document")
    return root[0]


def display_path(path, base):
    """The path as messages show it: relative to the source tree when it lies inside."""
    try:
        rel = os.path.relpath(path, base)
    except ValueError:
        return path
    return path if rel.startswith("..") else rel
