"""The binding model: schema files plus the type id map turned into classes, members, enumerations,
pointer and vector types and operation wrappers, each with its type id.

Everything the emitters need is decided here, once; the emitters only print. Any construct that
cannot be bound raises BindError naming the file and line of the offending declaration.
"""

import glob
import os
import re

from xsdload import XSD_NS, BindError, load, display_path

# Rows 4..13 of the process-wide namespace table, after the four fixed SOAP/XML rows.
NAMESPACE_ROWS = [
    "protocolHTTP", "ns1", "protocolPRFilter", "protocolUpdateOrderFilter", "protocol",
    "protocolInventoryReport", "protocolProblemReport", "protocolProfile", "protocolStatusReport",
    "protocolUpdateOrder",
]

# Prefixes that get a model header of their own (ns1 holds only a text type).
MODEL_PREFIXES = [
    "protocol", "protocolProfile", "protocolProblemReport", "protocolPRFilter", "protocolUpdateOrder",
    "protocolUpdateOrderFilter", "protocolInventoryReport", "protocolStatusReport", "protocolHTTP",
]

# Built-in schema types: local name -> (C name in the id map, category).
#   category: text (std::string held), bool, int, double, class (xsd__base64Binary), prim (no member may use)
BUILTINS = {
    "string": ("std__string", "text"),
    "dateTime": ("xsd__dateTime", "text"),
    "duration": ("xsd__duration", "text"),
    "positiveInteger": ("xsd__positiveInteger", "text"),
    "nonNegativeInteger": ("xsd__nonNegativeInteger", "text"),
    "integer": ("xsd__integer", "text"),
    "anyURI": ("xsd__anyURI", "text"),
    "boolean": ("bool", "bool"),
    "int": ("int", "int"),
    "double": ("double", "double"),
    "base64Binary": ("xsd__base64Binary", "class"),
    "byte": ("byte", "prim"),
    "unsignedByte": ("unsignedByte", "prim"),
    "unsignedInt": ("unsignedInt", "prim"),
}

CXX_KEYWORDS = set("""
alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t char32_t
class compl concept const consteval constexpr constinit const_cast continue co_await co_return co_yield
decltype default delete do double dynamic_cast else enum explicit export extern false float for friend
goto if inline int long mutable namespace new noexcept not not_eq nullptr operator or or_eq private
protected public register reinterpret_cast requires return short signed sizeof static static_assert
static_cast struct switch template this thread_local throw true try typedef typeid typename union
unsigned using virtual void volatile wchar_t while xor xor_eq
soap soap_type soap_default soap_serialize soap_put soap_out soap_get soap_in
""".split())

MAX_MEMBERS = 64    # counters of one class's reading loop live in a fixed array of the runtime (SOAP_FRAME_MAXMEMBERS)
MAX_DEPTH = 16      # length of an inheritance chain the runtime walks


def escape_name(text):
    """Wire name to C name part: '.' -> _x002e, '-' -> _, any other non-identifier byte -> _xHHHH."""
    out = []
    for ch in text:
        if ch.isascii() and (ch.isalnum() or ch == "_"):
            out.append(ch)
        elif ch == "-":
            out.append("_")
        else:
            out.append("_x%04x" % ord(ch))
    return "".join(out)


def enumerator_name(enum_cname, text):
    """The one rule for enumerator identifiers: '<Enum>__' + the text with every byte that is not a
    letter, digit or underscore written as _xHHHH (its code point, four lower-case hex digits).
    "UTF-8" of protocol:Encoding -> protocol__Encoding__UTF_x002d8; "v1.0.17.1" ->
    protocol__ProtocolWsdlVersion__v1_x002e0_x002e17_x002e1. Uniqueness is checked per enumeration."""
    out = []
    for ch in text:
        if ch.isascii() and (ch.isalnum() or ch == "_"):
            out.append(ch)
        else:
            out.append("_x%04x" % ord(ch))
    return enum_cname + "__" + "".join(out)


def member_ident(local):
    name = escape_name(local)
    if not name or name[0].isdigit():
        name = "_" + name
    if name in CXX_KEYWORDS:
        name += "_"
    return name


class TypeIdEntry:
    def __init__(self, tid, kind, name, line):
        self.id = tid
        self.kind = kind
        self.name = name
        self.line = line


class TypeIdMap:
    KINDS = ("prim", "class", "enum", "text", "ptr", "vec", "wrapper", "env")

    def __init__(self, path, shown):
        self.path = shown
        self.entries = {}        # id -> entry
        self.by_kind_name = {}   # (kind, name) -> entry
        try:
            with open(path, encoding="utf-8") as f:
                lines = f.read().split("\n")
        except OSError as e:
            raise BindError(shown, 0, "cannot read: %s" % e.strerror)
        last = 0
        for n, raw in enumerate(lines, 1):
            text = raw.split("#", 1)[0].strip()
            if not text:
                continue
            parts = text.split()
            if len(parts) != 3 or not parts[0].isdigit():
                raise BindError(shown, n, "expected '<id> <kind> <name>', got '%s'" % text)
            tid, kind, name = int(parts[0]), parts[1], parts[2]
            if kind not in self.KINDS:
                raise BindError(shown, n, "unknown kind '%s'" % kind)
            if not re.match(r"^[A-Za-z_][A-Za-z0-9_]*$", name):
                raise BindError(shown, n, "'%s' is not a C++ identifier" % name)
            if tid in self.entries:
                raise BindError(shown, n, "duplicate id %d (first at line %d)" % (tid, self.entries[tid].line))
            if tid <= last:
                raise BindError(shown, n, "ids must be sorted: %d after %d" % (tid, last))
            last = tid
            if tid < 1 or tid > 65535:
                raise BindError(shown, n, "id %d out of range" % tid)
            key = (kind, name)
            if key in self.by_kind_name:
                raise BindError(shown, n, "duplicate %s '%s' (first at line %d)" % (kind, name, self.by_kind_name[key].line))
            entry = TypeIdEntry(tid, kind, name, n)
            self.entries[tid] = entry
            self.by_kind_name[key] = entry

    def find(self, kind, name):
        return self.by_kind_name.get((kind, name))

    def sorted(self):
        return [self.entries[k] for k in sorted(self.entries)]


class EnumType:
    def __init__(self, cname, qname, values, tid, node):
        self.cname = cname
        self.qname = qname
        self.values = values
        self.id = tid
        self.node = node
        self.enumerators = [enumerator_name(cname, v) for v in values]


class TextType:
    def __init__(self, cname, qname, tid):
        self.cname = cname
        self.qname = qname
        self.id = tid


class Member:
    """One member of a class, in wire order.

    form: elem | attr | text      occurs: value | optional | required | repeated
    category: text | enum | bool | int | double | class
    """

    def __init__(self, name, tag, form, node):
        self.name = name
        self.tag = tag
        self.form = form
        self.node = node
        self.occurs = None
        self.min = 0
        self.category = None
        self.target = None       # EnumType / TextType / ClassType / builtin C name
        self.type_qname = None   # wire name of the member's type, the expected xsi:type
        self.type_cname = None   # C name of the value type (typedef or class or enum)
        self.tid = 0             # id of the value/pointee/element type
        self.vid = 0             # id of the pointer or vector type, 0 for values


class ClassType:
    def __init__(self, cname, qname, prefix, node, element_class):
        self.cname = cname
        self.qname = qname
        self.prefix = prefix
        self.node = node
        self.element_class = element_class
        self.anonymous = False   # declared by a global element with an anonymous type
        self.base = None
        self.base_ref = None     # (URI, local, node) until resolved
        self.members = []
        self.simple = False
        self.content_node = None
        self.id = 0
        self.descendants = []
        self.children = []

    def chain(self):
        out = []
        c = self
        while c is not None:
            out.append(c)
            c = c.base
        return list(reversed(out))

    def all_members(self):
        out = []
        for c in self.chain():
            out.extend(c.members)
        return out

    def root(self):
        return self.chain()[0]


class Wrapper:
    def __init__(self, entry, prefix, operation, response, element_q, content, ptr_id):
        self.id = entry.id
        self.cname = entry.name
        self.prefix = prefix
        self.operation = operation
        self.response = response
        self.element = element_q          # "protocolProfile:createRequest"
        self.member = element_q.replace(":", "__")
        self.content = content            # ClassType
        self.ptr_id = ptr_id
        self.tag = "-%s:%s%s" % (prefix, operation, "Response" if response else "")


class Schema:
    def __init__(self, prefix, uri, root, path):
        self.prefix = prefix
        self.uri = uri
        self.root = root
        self.path = path
        self.complex = {}     # local -> node
        self.simple = {}      # local -> node
        self.elements = {}    # local -> node


class Model:
    def __init__(self, schema_dir, base_dir=None):
        self.schema_dir = schema_dir
        self.base_dir = base_dir or os.path.dirname(os.path.abspath(schema_dir))
        map_path = os.path.join(schema_dir, "typeids.map")
        self.map_shown = display_path(map_path, self.base_dir)
        self.ids = TypeIdMap(map_path, self.map_shown)
        self.schemas = {}          # prefix -> Schema
        self.uri_prefix = {}       # URI -> prefix
        self.inputs = [map_path]
        self.classes = {}          # cname -> ClassType
        self.class_by_q = {}       # (URI, local) -> ClassType for named complex types
        self.enums = {}            # cname -> EnumType
        self.enum_by_q = {}
        self.texts = {}            # cname -> TextType
        self.text_by_q = {}
        self.wrappers = []
        self._load_schemas()
        self._collect_types()
        self._bind_ids()
        self._bind_members()
        self._bind_wrappers()
        self._check_map()

    # ---------------------------------------------------------------- loading

    def _load_schemas(self):
        files = sorted(glob.glob(os.path.join(self.schema_dir, "*.xsd")))
        for path in files:
            shown = display_path(path, self.base_dir)
            root = load(path, shown)
            if not root.is_xsd("schema"):
                raise root.error("not an XML Schema document")
            uri = root.get("targetNamespace")
            if uri is None:
                continue      # a driver schema that only imports
            prefix = os.path.splitext(os.path.basename(path))[0]
            if root.nsmap.get(prefix) != uri:
                raise root.error("file %s.xsd must bind prefix '%s' to its targetNamespace" % (prefix, prefix))
            if root.get("elementFormDefault") != "qualified":
                raise root.error("elementFormDefault must be 'qualified'")
            if uri in self.uri_prefix:
                raise root.error("targetNamespace '%s' is also that of %s.xsd" % (uri, self.uri_prefix[uri]))
            self.inputs.append(path)
            schema = Schema(prefix, uri, root, shown)
            self.schemas[prefix] = schema
            self.uri_prefix[uri] = prefix
            for child in root.children:
                if child.ns != XSD_NS:
                    raise child.error("unexpected element '%s' at top level" % child.local)
                if child.local in ("import", "annotation", "include"):
                    continue
                name = child.get("name")
                if child.local == "complexType":
                    table = schema.complex
                elif child.local == "simpleType":
                    table = schema.simple
                elif child.local == "element":
                    table = schema.elements
                else:
                    raise child.error("unsupported top-level declaration xsd:%s" % child.local)
                if not name:
                    raise child.error("top-level xsd:%s without a name" % child.local)
                if name in table:
                    raise child.error("duplicate declaration of '%s:%s' (first at line %d)" % (prefix, name, table[name].line))
                table[name] = child
        for p in NAMESPACE_ROWS:
            if p not in self.schemas:
                raise BindError(self.map_shown, 0, "no schema file for namespace prefix '%s'" % p)

    def prefix_of(self, uri, node):
        if uri == XSD_NS:
            return "xsd"
        if uri not in self.uri_prefix:
            raise node.error("namespace '%s' has no schema file" % uri)
        return self.uri_prefix[uri]

    # ---------------------------------------------------------------- types

    def _collect_types(self):
        for prefix in sorted(self.schemas):
            schema = self.schemas[prefix]
            for local, node in schema.simple.items():
                self._simple_type(schema, local, node)
            for local, node in schema.complex.items():
                cname = node.orv("name") or "%s__%s" % (prefix, escape_name(local))
                cls = ClassType(cname, "%s:%s" % (prefix, local), prefix, node, cname.startswith("_"))
                self._add_class(cls)
                self.class_by_q[(schema.uri, local)] = cls
            for local, node in schema.elements.items():
                anon = node.xsd_children("complexType")
                if anon:
                    if node.get("type"):
                        raise node.error("element '%s' has both a type and an anonymous type" % local)
                    cname = node.orv("name") or "_%s__%s" % (prefix, escape_name(local))
                    cls = ClassType(cname, "%s:%s" % (prefix, local), prefix, anon[0], True)
                    cls.anonymous = True
                    self._add_class(cls)
                elif not node.get("type"):
                    raise node.error("global element '%s' without a type" % local)

    def _add_class(self, cls):
        if cls.cname in self.classes or cls.cname in self.enums or cls.cname in self.texts:
            raise cls.node.error("C++ name '%s' is bound twice" % cls.cname)
        if not re.match(r"^[A-Za-z_][A-Za-z0-9_]*$", cls.cname):
            raise cls.node.error("'%s' is not a C++ identifier" % cls.cname)
        self.classes[cls.cname] = cls

    def _simple_type(self, schema, local, node):
        restriction = node.xsd_children("restriction")
        if len(restriction) != 1 or len(node.xsd_children()) != 1:
            raise node.error("simple type '%s' must be one xsd:restriction" % local)
        r = restriction[0]
        base = r.get("base")
        if not base:
            raise r.error("restriction without a base")
        buri, blocal = r.resolve(base)
        if buri != XSD_NS or blocal not in ("string", "anyURI"):
            raise r.error("simple type '%s' must restrict xsd:string or xsd:anyURI" % local)
        values = []
        for f in r.xsd_children():
            if f.local == "enumeration":
                v = f.get("value")
                if v is None:
                    raise f.error("enumeration without a value")
                if v in values:
                    raise f.error("value '%s' listed twice" % v)
                values.append(v)
            elif f.local not in ("pattern", "minLength", "maxLength", "length", "annotation"):
                raise f.error("unsupported facet xsd:%s" % f.local)
        qname = "%s:%s" % (schema.prefix, local)
        cname = node.orv("name") or "%s__%s" % (schema.prefix, escape_name(local))
        if not re.match(r"^[A-Za-z_][A-Za-z0-9_]*$", cname):
            raise node.error("'%s' is not a C++ identifier" % cname)
        if cname in self.enums or cname in self.texts or cname in self.classes:
            raise node.error("C++ name '%s' is bound twice" % cname)
        if values:
            e = EnumType(cname, qname, values, 0, node)
            seen = {}
            for v, ident in zip(values, e.enumerators):
                if ident in seen:
                    raise node.error("enumerators of '%s' and '%s' would have the same name %s" % (seen[ident], v, ident))
                seen[ident] = v
            self.enums[cname] = e
            self.enum_by_q[(schema.uri, local)] = e
        else:
            t = TextType(cname, qname, 0)
            self.texts[cname] = t
            self.text_by_q[(schema.uri, local)] = t

    def _bind_ids(self):
        for cname in sorted(self.classes):
            cls = self.classes[cname]
            e = self.ids.find("class", cname)
            if e is None:
                raise cls.node.error("class '%s' (%s) has no id in %s" % (cname, cls.qname, self.map_shown))
            cls.id = e.id
        for cname in sorted(self.enums):
            en = self.enums[cname]
            e = self.ids.find("enum", cname)
            if e is None:
                raise en.node.error("enumeration '%s' (%s) has no id in %s" % (cname, en.qname, self.map_shown))
            en.id = e.id
        for cname in sorted(self.texts):
            t = self.texts[cname]
            e = self.ids.find("text", cname)
            if e is None:
                raise BindError(self.map_shown, 0, "text type '%s' has no id" % cname)
            t.id = e.id
        # bases
        for cname in sorted(self.classes):
            cls = self.classes[cname]
            self._read_content(cls)
        for cname in sorted(self.classes):
            cls = self.classes[cname]
            if cls.base_ref:
                uri, local, node = cls.base_ref
                base = self.class_by_q.get((uri, local))
                if base is None:
                    raise node.error("unknown base type '%s:%s'" % (self.prefix_of(uri, node), local))
                cls.base = base
                base.children.append(cls)
        for cname in sorted(self.classes):
            cls = self.classes[cname]
            seen = set()
            c = cls
            depth = 0
            while c is not None:
                if c.cname in seen:
                    raise cls.node.error("class '%s' derives from itself" % cname)
                seen.add(c.cname)
                depth += 1
                c = c.base
            if depth > MAX_DEPTH:
                raise cls.node.error("inheritance chain of '%s' is deeper than %d" % (cname, MAX_DEPTH))
            if cls.simple and cls.base is not None:
                raise cls.node.error("simple-content class '%s' cannot have a base class" % cname)
            if cls.base is not None and cls.base.simple:
                raise cls.node.error("class '%s' cannot derive from simple-content '%s'" % (cname, cls.base.cname))
        for cname in sorted(self.classes):
            cls = self.classes[cname]
            out = []
            stack = sorted(cls.children, key=lambda c: c.id)
            while stack:
                d = stack.pop(0)
                out.append(d)
                stack.extend(sorted(d.children, key=lambda c: c.id))
            cls.descendants = sorted(out, key=lambda c: c.id)

    def _read_content(self, cls):
        node = cls.node
        kids = [c for c in node.xsd_children() if c.local not in ("annotation",)]
        cls.content_node = None
        attrs = []
        seq = None
        if len(kids) == 1 and kids[0].local == "complexContent":
            cc = kids[0]
            ext = cc.xsd_children("extension")
            if len(ext) != 1 or len(cc.xsd_children()) != 1:
                raise cc.error("complexContent must hold one xsd:extension")
            ext = ext[0]
            uri, local = ext.resolve(ext.get("base", ""))
            cls.base_ref = (uri, local, ext)
            body = ext.xsd_children()
        elif len(kids) == 1 and kids[0].local == "simpleContent":
            sc = kids[0]
            ext = sc.xsd_children("extension")
            if len(ext) != 1 or len(sc.xsd_children()) != 1:
                raise sc.error("simpleContent must hold one xsd:extension")
            ext = ext[0]
            uri, local = ext.resolve(ext.get("base", ""))
            if uri != XSD_NS or local != "string":
                raise ext.error("simple content must extend xsd:string")
            cls.simple = True
            body = ext.xsd_children()
            text = Member("text", None, "text", ext)
            text.occurs = "value"
            text.category = "text"
            text.type_qname = "xsd:string"
            text.type_cname = "std::string"
            text.tid = self._id("prim", "std__string", ext)
            cls.members.append(text)
        else:
            body = kids
        for b in body:
            if b.local == "sequence":
                if seq is not None:
                    raise b.error("more than one xsd:sequence")
                if cls.simple:
                    raise b.error("simple content cannot have elements")
                seq = b
            elif b.local == "attribute":
                attrs.append(b)
            elif b.local == "annotation":
                pass
            else:
                raise b.error("unsupported content xsd:%s in '%s'" % (b.local, cls.qname))
        cls._seq = seq
        cls._attrs = attrs

    def _id(self, kind, name, node):
        e = self.ids.find(kind, name)
        if e is None:
            raise node.error("no %s id for '%s' in %s" % (kind, name, self.map_shown))
        return e.id

    # ---------------------------------------------------------------- members

    def _resolve_type(self, qname, node):
        """(category, target, type_qname, type_cname, tid) of a member type given as a QName."""
        uri, local = node.resolve(qname)
        if uri == XSD_NS:
            if local not in BUILTINS:
                raise node.error("unsupported built-in type 'xsd:%s'" % local)
            cname, cat = BUILTINS[local]
            if cat == "prim":
                raise node.error("type 'xsd:%s' cannot be a member type" % local)
            if cat == "class":
                return "class", None, "xsd:" + local, cname, self._id("class", cname, node)
            ctype = {"text": cname if cname != "std__string" else "std::string",
                     "bool": "bool", "int": "int", "double": "double"}[cat]
            return cat, cname, "xsd:" + local, ctype, self._id("prim", cname, node)
        prefix = self.prefix_of(uri, node)
        q = "%s:%s" % (prefix, local)
        if (uri, local) in self.class_by_q:
            c = self.class_by_q[(uri, local)]
            return "class", c, q, c.cname, c.id
        if (uri, local) in self.enum_by_q:
            e = self.enum_by_q[(uri, local)]
            return "enum", e, q, e.cname, e.id
        if (uri, local) in self.text_by_q:
            t = self.text_by_q[(uri, local)]
            return "text", t, q, t.cname, t.id
        raise node.error("unknown type '%s'" % q)

    def _bind_members(self):
        for cname in sorted(self.classes, key=lambda n: self.classes[n].id):
            cls = self.classes[cname]
            names = set(m.name for m in cls.members)
            if cls._seq is not None:
                for el in cls._seq.children:
                    if el.ns != XSD_NS:
                        raise el.error("unexpected element in sequence")
                    if el.local == "annotation":
                        continue
                    if el.local != "element":
                        raise el.error("unsupported particle xsd:%s in '%s' (only xsd:element)" % (el.local, cls.qname))
                    m = self._element_member(cls, el)
                    m.name = self._unique(m.name, names)
                    cls.members.append(m)
            for at in cls._attrs:
                m = self._attribute_member(cls, at)
                m.name = self._unique(m.name, names)
                cls.members.append(m)
            if len(cls.all_members()) > MAX_MEMBERS:
                raise cls.node.error("class '%s' has more than %d members" % (cname, MAX_MEMBERS))
            # attributes first on the wire? No: members keep schema order; attributes are written
            # before the element's content by the runtime whatever their place.

    @staticmethod
    def _unique(name, names):
        while name in names:
            name += "_"
        names.add(name)
        return name

    def _element_member(self, cls, el):
        ref = el.get("ref")
        if ref:
            uri, local = el.resolve(ref)
            prefix = self.prefix_of(uri, el)
            schema = self.schemas.get(prefix)
            target = schema.elements.get(local) if schema else None
            if target is None:
                raise el.error("reference to undeclared global element '%s:%s'" % (prefix, local))
            if target.xsd_children("complexType"):
                raise el.error("reference to element '%s:%s' with an anonymous type" % (prefix, local))
            type_q = target.get("type")
            type_node = target
            tag = "%s:%s" % (prefix, local)
        else:
            local = el.get("name")
            if not local:
                raise el.error("xsd:element without name or ref")
            if el.xsd_children("complexType") or el.xsd_children("simpleType"):
                raise el.error("member '%s' with an anonymous type: give the type a name" % local)
            type_q = el.get("type")
            type_node = el
            if not type_q:
                raise el.error("member '%s' without a type" % local)
            tag = "%s:%s" % (cls.prefix, local)
        m = Member(member_ident(local), tag, "elem", el)
        override = el.orv("type")
        if override:
            found = self.classes.get(override) or self.enums.get(override) or self.texts.get(override)
            if found is None:
                raise el.error("orv:type '%s' names no class, enumeration or text type" % override)
            if isinstance(found, ClassType):
                m.category, m.target, m.type_qname, m.type_cname, m.tid = "class", found, found.qname, found.cname, found.id
            elif isinstance(found, EnumType):
                m.category, m.target, m.type_qname, m.type_cname, m.tid = "enum", found, found.qname, found.cname, found.id
            else:
                m.category, m.target, m.type_qname, m.type_cname, m.tid = "text", found, found.qname, found.cname, found.id
        else:
            m.category, m.target, m.type_qname, m.type_cname, m.tid = self._resolve_type(type_q, type_node)
        lo = el.get("minOccurs", "1")
        hi = el.get("maxOccurs", "1")
        if not lo.isdigit() or not (hi.isdigit() or hi == "unbounded"):
            raise el.error("bad occurrence minOccurs='%s' maxOccurs='%s'" % (lo, hi))
        lo = int(lo)
        nillable = el.get("nillable") == "true"
        if hi == "unbounded" or int(hi) > 1:
            m.occurs = "repeated"
            if lo > 255:
                raise el.error("minOccurs above 255")
        elif int(hi) == 0:
            raise el.error("maxOccurs='0' member")
        elif lo == 0:
            m.occurs = "optional"
        elif nillable:
            m.occurs = "required"
        else:
            m.occurs = "value"
        m.min = lo
        if m.occurs == "value" and m.category == "class":
            raise el.error("member '%s' of class type must be optional, required (nillable) or repeated" % m.name)
        self._member_ids(m, el)
        return m

    def _attribute_member(self, cls, at):
        local = at.get("name")
        if not local or at.get("ref"):
            raise at.error("attributes need a name (no ref)")
        type_q = at.get("type")
        if not type_q:
            raise at.error("attribute '%s' without a type" % local)
        m = Member(member_ident(local), local, "attr", at)
        m.category, m.target, m.type_qname, m.type_cname, m.tid = self._resolve_type(type_q, at)
        if m.category not in ("enum", "text"):
            raise at.error("attribute '%s' must have an enumeration or text type" % local)
        use = at.get("use", "optional")
        if use == "required":
            m.occurs, m.min = "value", 1
        elif use == "optional":
            m.occurs, m.min = "optional", 0
        else:
            raise at.error("attribute use '%s' is not supported" % use)
        return m

    def _member_ids(self, m, node):
        if m.occurs in ("optional", "required"):
            name = self._value_name(m)
            e = self.ids.find("ptr", name)
            if e is None:
                raise node.error("no pointer id for '%s' in %s (member '%s')" % (name, self.map_shown, m.name))
            m.vid = e.id
        elif m.occurs == "repeated":
            if m.category in ("bool", "int", "double"):
                raise node.error("repeated %s members are not supported" % m.category)
            name = self._value_name(m)
            e = self.ids.find("vec", name)
            if e is None and m.category == "text":
                e = self.ids.find("vec", "std__string")
                m.tid = self._id("prim", "std__string", node)
            if e is None:
                raise node.error("no vector id for '%s' in %s (member '%s')" % (name, self.map_shown, m.name))
            m.vid = e.id

    @staticmethod
    def _value_name(m):
        if m.category == "class":
            return m.target.cname if m.target is not None else m.type_cname
        if m.category == "enum":
            return m.target.cname
        if m.category == "text":
            return m.target.cname if isinstance(m.target, TextType) else m.target
        return m.type_cname

    # ---------------------------------------------------------------- wrappers

    def _bind_wrappers(self):
        for e in self.ids.sorted():
            if e.kind != "wrapper":
                continue
            m = re.match(r"^__([A-Za-z0-9]+)__([A-Za-z0-9_]+)$", e.name)
            if not m:
                raise BindError(self.map_shown, e.line, "wrapper name '%s' is not __<prefix>__<operation>" % e.name)
            prefix, op = m.group(1), m.group(2)
            response = op.endswith("Response")
            if response:
                op = op[: -len("Response")]
            schema = self.schemas.get(prefix)
            if schema is None:
                raise BindError(self.map_shown, e.line, "wrapper '%s': no schema for prefix '%s'" % (e.name, prefix))
            elname = op + ("Response" if response else "Request")
            el = schema.elements.get(elname)
            if el is None:
                raise BindError(self.map_shown, e.line, "wrapper '%s': no global element '%s:%s'" % (e.name, prefix, elname))
            if el.xsd_children("complexType"):
                content = self.classes[el.orv("name") or "_%s__%s" % (prefix, escape_name(elname))]
            else:
                cat, target, _, _, _ = self._resolve_type(el.get("type"), el)
                if cat != "class" or target is None:
                    raise el.error("operation element '%s:%s' must have a class type" % (prefix, elname))
                content = target
            p = self.ids.find("ptr", content.cname)
            self.wrappers.append(Wrapper(e, prefix, op, response, "%s:%s" % (prefix, elname), content, p.id if p else 0))

    # ---------------------------------------------------------------- consistency

    def _check_map(self):
        known_classes = set(c.cname for c in self.classes.values()) | {"xsd__base64Binary"}
        value_names = known_classes | set(self.enums) | set(self.texts) | {
            "int", "byte", "string", "_QName", "std__string", "xsd__anyURI", "unsignedInt", "unsignedByte",
            "xsd__dateTime", "xsd__duration", "xsd__integer", "xsd__nonNegativeInteger",
            "xsd__positiveInteger", "bool", "double"}
        envs = {"SOAP_ENV__Header", "SOAP_ENV__Detail", "SOAP_ENV__Code", "SOAP_ENV__Reason", "SOAP_ENV__Fault"}
        for e in self.ids.sorted():
            where = (self.map_shown, e.line)
            if e.kind == "class" and e.name not in known_classes:
                raise BindError(*where, "class '%s' has no schema type" % e.name)
            if e.kind == "enum" and e.name not in self.enums:
                raise BindError(*where, "enumeration '%s' has no schema type" % e.name)
            if e.kind == "text" and e.name not in self.texts:
                raise BindError(*where, "text type '%s' has no schema type" % e.name)
            if e.kind in ("ptr", "vec") and e.name not in value_names:
                raise BindError(*where, "%s of unknown type '%s'" % (e.kind, e.name))
            if e.kind == "vec" and e.name in ("int", "bool", "double", "byte", "string", "_QName", "unsignedInt", "unsignedByte"):
                raise BindError(*where, "vectors of '%s' are not supported" % e.name)
            if e.kind == "env" and e.name not in envs:
                raise BindError(*where, "unknown SOAP frame record '%s'" % e.name)
            if e.kind == "prim" and e.name not in value_names:
                raise BindError(*where, "unknown primitive '%s'" % e.name)
        for name in sorted(envs):
            if self.ids.find("env", name) is None:
                raise BindError(self.map_shown, 0, "missing id of SOAP frame record '%s'" % name)
        for name in ("protocol__Header",):
            if self.ids.find("ptr", name) is None:
                raise BindError(self.map_shown, 0, "missing pointer id of '%s'" % name)

    # ---------------------------------------------------------------- views

    def class_list(self):
        return sorted(self.classes.values(), key=lambda c: c.id)

    def enum_list(self):
        return sorted(self.enums.values(), key=lambda e: e.id)

    def detail_faults(self):
        """The typed members of SOAP_ENV__Detail: the pointer ids that directly follow its own id in
        the map, in id order, each a pointer to a class."""
        detail = self.ids.find("env", "SOAP_ENV__Detail")
        out = []
        tid = detail.id + 1
        while tid in self.ids.entries and self.ids.entries[tid].kind == "ptr":
            e = self.ids.entries[tid]
            cls = self.classes.get(e.name)
            if cls is None:
                raise BindError(self.map_shown, e.line, "detail member '%s' is not a class" % e.name)
            out.append((cls, e.id))
            tid += 1
        if len(out) > MAX_MEMBERS:
            raise BindError(self.map_shown, detail.line, "SOAP_ENV__Detail would have more than %d members" % MAX_MEMBERS)
        return out
