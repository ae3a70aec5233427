"""C++ emission from the binding model: model headers with the class declarations, and frame sources
with member tables, info records and one-line definitions that expand macros of frame/frame.h.

Printing only: every decision about names, kinds and ids was taken in model.py. Output is a dict of
relative path -> text, built in a fixed order so that the same input gives the same bytes.
"""

from model import MODEL_PREFIXES, NAMESPACE_ROWS, ClassType, EnumType, TextType
from xsdload import BindError

NCHUNKS = 10   # frame sources of the classes: enough for a parallel build, few enough to share the headers

FIXED_NAMESPACES = [
    ("SOAP-ENV", "http://schemas.xmlsoap.org/soap/envelope/", "http://www.w3.org/*/soap-envelope"),
    ("SOAP-ENC", "http://schemas.xmlsoap.org/soap/encoding/", "http://www.w3.org/*/soap-encoding"),
    ("xsi", "http://www.w3.org/2001/XMLSchema-instance", "http://www.w3.org/*/XMLSchema-instance"),
    ("xsd", "http://www.w3.org/2001/XMLSchema", "http://www.w3.org/*/XMLSchema"),
]

# Primitive ids of the map: C name -> (dispatch kind, wire name). Text ones are std::string typedefs.
PRIMS = {
    "int": ("SOAP_TK_INT", "xsd:int"),
    "byte": ("SOAP_TK_BYTE", "xsd:byte"),
    "string": ("SOAP_TK_CSTRING", "xsd:string"),
    "_QName": ("SOAP_TK_QNAME", "xsd:QName"),
    "std__string": ("SOAP_TK_STRING", "xsd:string"),
    "xsd__anyURI": ("SOAP_TK_STRING", "xsd:anyURI"),
    "unsignedInt": ("SOAP_TK_UINT", "xsd:unsignedInt"),
    "unsignedByte": ("SOAP_TK_UBYTE", "xsd:unsignedByte"),
    "xsd__dateTime": ("SOAP_TK_STRING", "xsd:dateTime"),
    "xsd__duration": ("SOAP_TK_STRING", "xsd:duration"),
    "xsd__integer": ("SOAP_TK_STRING", "xsd:integer"),
    "xsd__nonNegativeInteger": ("SOAP_TK_STRING", "xsd:nonNegativeInteger"),
    "xsd__positiveInteger": ("SOAP_TK_STRING", "xsd:positiveInteger"),
    "bool": ("SOAP_TK_BOOL", "xsd:boolean"),
    "double": ("SOAP_TK_DOUBLE", "xsd:double"),
}
TEXT_PRIMS = ["std__string", "xsd__anyURI", "xsd__dateTime", "xsd__duration", "xsd__integer",
              "xsd__nonNegativeInteger", "xsd__positiveInteger"]

# The primitives' run of the name chain, in the order the element dispatch tries them.
CHAIN_PRIMS = ["xsd__positiveInteger", "xsd__nonNegativeInteger", "xsd__integer", "xsd__duration",
               "xsd__dateTime", "xsd__base64Binary", "xsd__anyURI", "std__string", "byte", "int", "double",
               "unsignedByte", "unsignedInt", "bool"]

KIND = {
    ("text", "value"): "SOAP_MK_STRING", ("text", "optional"): "SOAP_MK_PSTRING",
    ("text", "required"): "SOAP_MK_PSTRING", ("text", "repeated"): "SOAP_MK_VSTRING",
    ("enum", "value"): "SOAP_MK_ENUM", ("enum", "optional"): "SOAP_MK_PENUM",
    ("enum", "required"): "SOAP_MK_PENUM", ("enum", "repeated"): "SOAP_MK_VENUM",
    ("bool", "value"): "SOAP_MK_BOOL", ("bool", "optional"): "SOAP_MK_PBOOL", ("bool", "required"): "SOAP_MK_PBOOL",
    ("int", "value"): "SOAP_MK_INT", ("int", "optional"): "SOAP_MK_PINT", ("int", "required"): "SOAP_MK_PINT",
    ("double", "value"): "SOAP_MK_DOUBLE", ("double", "optional"): "SOAP_MK_PDOUBLE",
    ("double", "required"): "SOAP_MK_PDOUBLE",
    ("class", "optional"): "SOAP_MK_PCLASS", ("class", "required"): "SOAP_MK_PCLASS",
    ("class", "repeated"): "SOAP_MK_VCLASS",
}
ATTR_KIND = {
    ("enum", "value"): "SOAP_MK_ATTR_ENUM", ("enum", "optional"): "SOAP_MK_ATTR_PENUM",
    ("text", "value"): "SOAP_MK_ATTR_STRING", ("text", "optional"): "SOAP_MK_ATTR_PSTRING",
}


def local_offset(tag):
    """Where the local name starts in a member's qualified tag, for the reader's quick
    comparison; 0 (compare in full) for unprefixed, pseudo or prefix-only tags."""
    if not tag or tag.startswith("-") or ":" not in tag:
        return 0
    k = tag.index(":") + 1
    if k >= len(tag) or k > 255:
        return 0
    return len(tag[:k].encode("utf-8"))


def cstr(text):
    out = ['"']
    for ch in text:
        if ch in '"\\':
            out.append("\\" + ch)
        elif 32 <= ord(ch) < 127:
            out.append(ch)
        else:
            for b in ch.encode("utf-8"):
                out.append("\\%03o" % b)
    out.append('"')
    return "".join(out)


class Emitter:
    def __init__(self, model):
        self.m = model
        self.files = {}
        self.vectors = []      # (entry, vector C name, C++ type, element id, kind)
        self.pointer_value_types = []

    # ------------------------------------------------------------ helpers

    def banner(self, sources, what, purpose):
        src = ", ".join(sources)
        return ("/* generated from %s by codegen/orvgen.py \u2014 do not edit */\n"
                "/* %s -- %s */\n" % (src, what, purpose))

    def all_schema_sources(self):
        return sorted("schema/%s.xsd" % p for p in self.m.schemas) + ["schema/typeids.map"]

    def schema_source(self, prefix):
        return "schema/%s.xsd" % prefix

    def member_ctype(self, mb):
        if mb.form == "text":
            return "std::string"
        cat, occ = mb.category, mb.occurs
        if cat == "class":
            return "std::vector<%s *>" % mb.type_cname if occ == "repeated" else "%s *" % mb.type_cname
        if cat == "text":
            if occ == "repeated":
                return "std::vector<std::string>"
            return mb.type_cname + (" *" if occ in ("optional", "required") else "")
        if occ == "repeated":
            return "std::vector<%s>" % mb.type_cname
        return mb.type_cname + (" *" if occ in ("optional", "required") else "")

    def member_kind(self, mb):
        if mb.form == "text":
            return "SOAP_MK_TEXT"
        if mb.form == "attr":
            return ATTR_KIND[(mb.category, mb.occurs)]
        return KIND[(mb.category, mb.occurs)]

    def vector_cname(self, entry):
        name = entry.name
        if name in self.m.classes or name == "xsd__base64Binary":
            return "std__vectorTemplateOfPointerTo" + name
        return "std__vectorTemplateOf" + name

    def type_macro(self, entry):
        k, n = entry.kind, entry.name
        if k == "ptr":
            return "SOAP_TYPE_PointerTo" + n
        if k == "vec":
            return "SOAP_TYPE_" + self.vector_cname(entry)
        return "SOAP_TYPE_" + n

    def classes_in(self, prefix):
        cls = [c for c in self.m.class_list() if c.prefix == prefix]
        # bases first, otherwise id order
        done, out = set(), []

        def visit(c):
            if c.cname in done:
                return
            if c.base is not None and c.base.prefix == prefix:
                visit(c.base)
            done.add(c.cname)
            out.append(c)
        for c in cls:
            visit(c)
        return out

    # ------------------------------------------------------------ orvtypes.h

    def emit_types(self):
        m = self.m
        L = [self.banner(self.all_schema_sources(), "orvtypes.h",
                         "type ids, forward declarations, enumerations and text types of the message model.\n"
                         " * Included by every model header; holds no behaviour."),
             "#ifndef ORVSOAP_MODEL_ORVTYPES_H", "#define ORVSOAP_MODEL_ORVTYPES_H", "",
             "#include <string>", "#include <vector>", "", '#include "soapengine.h"', "",
             "/* Type ids: fixed for the library; they key the pointer table, the object list and the dispatchers. */"]
        for e in m.ids.sorted():
            L.append("#define %s %d" % (self.type_macro(e), e.id))
        L.append("#define SOAP_TYPE_MAX %d" % max(m.ids.entries))
        L += ["", "/* Types whose values are held as text. */"]
        for n in TEXT_PRIMS[1:]:
            L.append("typedef std::string %s;" % n)
        for t in sorted(m.texts.values(), key=lambda t: t.id):
            L.append("typedef std::string %s;  /* %s */" % (t.cname, t.qname))
        L += ["", "/* Message classes. */", "class xsd__base64Binary;"]
        for c in m.class_list():
            L.append("class %s;" % c.cname)
        L += ["", "/* SOAP frame records and operation wrappers. */"]
        for n in ("SOAP_ENV__Header", "SOAP_ENV__Detail", "SOAP_ENV__Code", "SOAP_ENV__Reason", "SOAP_ENV__Fault"):
            L.append("struct %s;" % n)
        for w in m.wrappers:
            L.append("struct %s;" % w.cname)
        L += ["", "/* Enumerations: codes from 0 in schema order; the wire texts are in the code tables. */"]
        for e in m.enum_list():
            L.append("enum %s : int {  /* %s */" % (e.cname, e.qname))
            for i, (ident, v) in enumerate(zip(e.enumerators, e.values)):
                L.append("    %s = %d%s  /* %s */" % (ident, i, "," if i + 1 < len(e.values) else "", v))
            L.append("};")
        L += ["", "/* Enumeration functions. */"]
        for e in m.enum_list():
            n = e.cname
            L += ["const char *soap_%s2s(struct soap *soap, %s n);" % (n, n),
                  "int soap_s2%s(struct soap *soap, const char *s, %s *a);" % (n, n),
                  "void soap_default_%s(struct soap *soap, %s *a);" % (n, n),
                  "int soap_out_%s(struct soap *soap, const char *tag, int id, const %s *a, const char *type);" % (n, n),
                  "%s *soap_in_%s(struct soap *soap, const char *tag, %s *a, const char *type);" % (n, n, n),
                  "void soap_serialize_PointerTo%s(struct soap *soap, %s *const *a);" % (n, n),
                  "int soap_out_PointerTo%s(struct soap *soap, const char *tag, int id, %s *const *a, const char *type);" % (n, n),
                  "%s **soap_in_PointerTo%s(struct soap *soap, const char *tag, %s **a, const char *type);" % (n, n, n)]
        L += ["", "/* Text type functions (std::string and the types held as text). */"]
        for n in TEXT_PRIMS + [t.cname for t in sorted(m.texts.values(), key=lambda t: t.id)]:
            L += ["void soap_default_%s(struct soap *soap, std::string *a);" % n,
                  "void soap_serialize_%s(struct soap *soap, const std::string *a);" % n,
                  "int soap_out_%s(struct soap *soap, const char *tag, int id, const std::string *a, const char *type);" % n,
                  "std::string *soap_in_%s(struct soap *soap, const char *tag, std::string *a, const char *type);" % n,
                  "std::string *soap_instantiate_%s(struct soap *soap, int n, const char *type, const char *arrayType, size_t *size);" % n,
                  "void soap_copy_%s(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n);" % n,
                  "void soap_serialize_PointerTo%s(struct soap *soap, std::string *const *a);" % n,
                  "int soap_out_PointerTo%s(struct soap *soap, const char *tag, int id, std::string *const *a, const char *type);" % n,
                  "std::string **soap_in_PointerTo%s(struct soap *soap, const char *tag, std::string **a, const char *type);" % n]
        L += ["", '#include "soapprims.h"', "", "#endif", ""]
        self.files["model/orvtypes.h"] = "\n".join(L)

    # ------------------------------------------------------------ model/<prefix>.h

    def class_decl(self, c):
        L = []
        rel = "a root-element class" if c.element_class else ("derived from %s" % c.base.cname if c.base else "a root class")
        L.append("/* %s: %s */" % (c.qname, rel))
        if c.base is not None:
            L.append("class %s : public %s {" % (c.cname, c.base.cname))
        else:
            L.append("class %s {" % c.cname)
        L.append("public:")
        for mb in c.members:
            ctype = self.member_ctype(mb)
            sep = "" if ctype.endswith("*") else " "
            if mb.form == "text":
                what = "text content"
            elif mb.form == "attr":
                what = "attribute \"%s\", %s" % (mb.tag, "required" if mb.occurs == "value" else "optional")
            else:
                occ = mb.occurs
                if occ == "repeated" and mb.min:
                    occ = "repeated, at least %d" % mb.min
                what = "%s, %s" % (mb.tag, occ)
            # {}: the state soap_default gives, so that a new object costs no defaulting pass
            L.append("    %s%s%s{};  /* %s */" % (ctype, sep, mb.name, what))
        if c.base is None:
            L.append("    struct soap *soap{};  /* context that made or defaulted this object, or null */")
        if c.members or c.base is None:
            L.append("")
        L += ["    virtual int soap_type() const;",
              "    virtual void soap_default(struct soap *soap);",
              "    virtual void soap_serialize(struct soap *soap) const;",
              "    virtual int soap_put(struct soap *soap, const char *tag, const char *type) const;",
              "    virtual int soap_out(struct soap *soap, const char *tag, int id, const char *type) const;",
              "    virtual void *soap_get(struct soap *soap, const char *tag, const char *type);",
              "    virtual void *soap_in(struct soap *soap, const char *tag, const char *type);",
              "    %s();" % c.cname,
              "    virtual ~%s();" % c.cname,
              "};"]
        n = c.cname
        L += ["void soap_default_%s(struct soap *soap, %s *a);" % (n, n),
              "void soap_serialize_%s(struct soap *soap, const %s *a);" % (n, n),
              "int soap_put_%s(struct soap *soap, const %s *a, const char *tag, const char *type);" % (n, n),
              "int soap_out_%s(struct soap *soap, const char *tag, int id, const %s *a, const char *type);" % (n, n),
              "%s *soap_get_%s(struct soap *soap, %s *a, const char *tag, const char *type);" % (n, n, n),
              "%s *soap_in_%s(struct soap *soap, const char *tag, %s *a, const char *type);" % (n, n, n),
              "%s *soap_instantiate_%s(struct soap *soap, int n, const char *type, const char *arrayType, size_t *size);" % (n, n),
              "void soap_copy_%s(struct soap *soap, int st, int tt, void *p, size_t len, const void *q, size_t n);" % n,
              "void soap_serialize_PointerTo%s(struct soap *soap, %s *const *a);" % (n, n),
              "int soap_out_PointerTo%s(struct soap *soap, const char *tag, int id, %s *const *a, const char *type);" % (n, n),
              "%s **soap_in_PointerTo%s(struct soap *soap, const char *tag, %s **a, const char *type);" % (n, n, n),
              ""]
        return L

    def header_deps(self):
        deps = {}
        for p in MODEL_PREFIXES:
            deps[p] = set()
        for c in self.m.class_list():
            if c.prefix not in deps:
                raise BindError(c.node.path, c.node.line, "class '%s' is in prefix '%s', which has no model header" % (c.cname, c.prefix))
            if c.base is not None and c.base.prefix != c.prefix:
                deps[c.prefix].add(c.base.prefix)
        # refuse cycles: headers include each other for bases
        state = {}

        def walk(p, path):
            if state.get(p) == 1:
                c = [x for x in self.m.class_list() if x.prefix == p][0]
                raise BindError(c.node.path, c.node.line, "base classes make the model headers include each other: %s" % " -> ".join(path + [p]))
            if state.get(p) == 2:
                return
            state[p] = 1
            for d in sorted(deps[p]):
                walk(d, path + [p])
            state[p] = 2
        for p in MODEL_PREFIXES:
            walk(p, [])
        return deps

    def emit_model_headers(self):
        deps = self.header_deps()
        for p in MODEL_PREFIXES:
            guard = "ORVSOAP_MODEL_%s_H" % p.upper()
            L = [self.banner([self.schema_source(p), "schema/typeids.map"], "%s.h" % p,
                             "the message classes of namespace prefix %s: members in wire order and the\n"
                             " * seven virtual operations; the behaviour is the shared frame's." % p),
                 "#ifndef " + guard, "#define " + guard, "", '#include "orvtypes.h"']
            for d in sorted(deps[p]):
                L.append('#include "%s.h"' % d)
            L.append("")
            for c in self.classes_in(p):
                L += self.class_decl(c)
            L += ["#endif", ""]
            self.files["model/%s.h" % p] = "\n".join(L)

    # ------------------------------------------------------------ wrappers and frame records

    def emit_wrappers_header(self):
        L = [self.banner(self.all_schema_sources(), "orvwrappers.h",
                         "request and response wrappers of the operations: one pointer each, no virtual\n"
                         " * operations; the proxies put requests and get responses through them."),
             "#ifndef ORVSOAP_MODEL_ORVWRAPPERS_H", "#define ORVSOAP_MODEL_ORVWRAPPERS_H", "", '#include "orvtypes.h"', ""]
        for w in self.m.wrappers:
            n = w.cname
            L += ["/* %s of %s:%s; member element %s */" % ("response" if w.response else "request", w.prefix, w.operation, w.element),
                  "struct %s {" % n,
                  "    %s *%s = nullptr;" % (w.content.cname, w.member),
                  "};",
                  "void soap_default_%s(struct soap *soap, struct %s *a);" % (n, n),
                  "void soap_serialize_%s(struct soap *soap, const struct %s *a);" % (n, n),
                  "int soap_out_%s(struct soap *soap, const char *tag, int id, const struct %s *a, const char *type);" % (n, n),
                  "int soap_put_%s(struct soap *soap, const struct %s *a, const char *tag, const char *type);" % (n, n),
                  "struct %s *soap_in_%s(struct soap *soap, const char *tag, struct %s *a, const char *type);" % (n, n, n),
                  "struct %s *soap_get_%s(struct soap *soap, struct %s *a, const char *tag, const char *type);" % (n, n, n),
                  "struct %s *soap_instantiate_%s(struct soap *soap, int n, const char *type, const char *arrayType, size_t *size);" % (n, n),
                  ""]
        L += ["#endif", ""]
        self.files["model/orvwrappers.h"] = "\n".join(L)

    def emit_soapenv_header(self):
        faults = self.m.detail_faults()
        L = [self.banner(["schema/protocol.xsd", "schema/typeids.map"], "soapenv.h",
                         "the records of the SOAP frame: header, fault, code, reason and the detail with\n"
                         " * one pointer per application fault class.  Plain records, no virtual operations."),
             "#ifndef ORVSOAP_MODEL_SOAPENV_H", "#define ORVSOAP_MODEL_SOAPENV_H", "", '#include "orvtypes.h"', "",
             "struct SOAP_ENV__Header {",
             "    class protocol__Header *protocol__header = nullptr;  /* protocol:header */",
             "};", "",
             "struct SOAP_ENV__Code {",
             "    char *SOAP_ENV__Value = nullptr;  /* SOAP-ENV:Value, a qualified name */",
             "    struct SOAP_ENV__Code *SOAP_ENV__Subcode = nullptr;  /* SOAP-ENV:Subcode */",
             "};", "",
             "struct SOAP_ENV__Reason {",
             "    char *SOAP_ENV__Text = nullptr;  /* SOAP-ENV:Text, written with xml:lang */",
             "};", "",
             "struct SOAP_ENV__Detail {",
             "    char *__any = nullptr;  /* literal XML of an unknown detail */"]
        for cls, _ in faults:
            L.append("    class %s *%s = nullptr;  /* %s */" % (cls.cname, cls.cname, cls.qname))
        L += ["    int __type = 0;  /* type id of fault */",
              "    void *fault = nullptr;  /* any other element the dispatcher knows */",
              "};", "",
              "struct SOAP_ENV__Fault {",
              "    char *faultcode = nullptr;  /* SOAP 1.1, a qualified name */",
              "    char *faultstring = nullptr;",
              "    char *faultactor = nullptr;",
              "    struct SOAP_ENV__Detail *detail = nullptr;",
              "    struct SOAP_ENV__Code *SOAP_ENV__Code = nullptr;  /* SOAP 1.2 */",
              "    struct SOAP_ENV__Reason *SOAP_ENV__Reason = nullptr;",
              "    char *SOAP_ENV__Node = nullptr;",
              "    char *SOAP_ENV__Role = nullptr;",
              "    struct SOAP_ENV__Detail *SOAP_ENV__Detail = nullptr;",
              "};", ""]
        for n in ("SOAP_ENV__Header", "SOAP_ENV__Code", "SOAP_ENV__Reason", "SOAP_ENV__Detail", "SOAP_ENV__Fault"):
            L += ["void soap_default_%s(struct soap *soap, struct %s *a);" % (n, n),
                  "void soap_serialize_%s(struct soap *soap, const struct %s *a);" % (n, n),
                  "int soap_out_%s(struct soap *soap, const char *tag, int id, const struct %s *a, const char *type);" % (n, n),
                  "int soap_put_%s(struct soap *soap, const struct %s *a, const char *tag, const char *type);" % (n, n),
                  "struct %s *soap_in_%s(struct soap *soap, const char *tag, struct %s *a, const char *type);" % (n, n, n),
                  "struct %s *soap_get_%s(struct soap *soap, struct %s *a, const char *tag, const char *type);" % (n, n, n),
                  "struct %s *soap_instantiate_%s(struct soap *soap, int n, const char *type, const char *arrayType, size_t *size);" % (n, n),
                  ""]
        L += ["#endif", ""]
        self.files["model/soapenv.h"] = "\n".join(L)

    def emit_model_all(self):
        L = [self.banner(self.all_schema_sources(), "orvmodel.h",
                         "the whole message model in one include."),
             "#ifndef ORVSOAP_MODEL_ORVMODEL_H", "#define ORVSOAP_MODEL_ORVMODEL_H", ""]
        for p in MODEL_PREFIXES:
            L.append('#include "%s.h"' % p)
        L += ['#include "orvvectors.h"', '#include "orvwrappers.h"', '#include "soapenv.h"', "", "#endif", ""]
        self.files["model/orvmodel.h"] = "\n".join(L)

    # ------------------------------------------------------------ frame sources

    def emit_info_header(self):
        L = [self.banner(self.all_schema_sources(), "orvinfo.h",
                         "the info records of all types, for the generated frame sources only."),
             "#ifndef ORVSOAP_FRAME_ORVINFO_H", "#define ORVSOAP_FRAME_ORVINFO_H", "",
             '#include "frame.h"', '#include "orvmodel.h"', "",
             "extern const soap_class_info soap_ci_xsd__base64Binary;"]
        for c in self.m.class_list():
            L.append("extern const soap_class_info soap_ci_%s;" % c.cname)
        for e in self.m.enum_list():
            L.append("extern const soap_enum_info soap_ei_%s;" % e.cname)
        for entry in self.m.ids.sorted():
            if entry.kind == "vec":
                L.append("extern const soap_vector_info soap_vi_%s;" % self.vector_cname(entry))
        for w in self.m.wrappers:
            L.append("extern const soap_wrapper_info soap_wi_%s;" % w.cname)
        L += ["", "#endif", ""]
        self.files["frame/orvinfo.h"] = "\n".join(L)

    def class_source(self, c):
        L = []
        n = c.cname
        if c.members:
            L.append("static const soap_member_info soap_mi_%s[] = {" % n)
            for mb in c.members:
                tag = "nullptr" if mb.form == "text" else cstr(mb.tag)
                L.append("    {%s, %s, offsetof(%s, %s), %d, %d, %s, %d, %d}," % (
                    tag, cstr(mb.type_qname), n, mb.name, mb.tid, mb.vid, self.member_kind(mb),
                    mb.min if mb.form != "text" else 0, local_offset(mb.tag if mb.form != "text" else None)))
            L.append("};")
        if c.descendants:
            L.append("static const soap_class_info *const soap_cd_%s[] = {" % n)
            row = []
            for d in c.descendants:
                row.append("&soap_ci_%s" % d.cname)
            for i in range(0, len(row), 4):
                L.append("    " + ", ".join(row[i:i + 4]) + ",")
            L.append("};")
        flags = []
        if c.simple:
            flags.append("SOAP_CF_SIMPLE")
        elems = [mb.tag for mb in c.all_members() if mb.form == "elem"]
        locals_ = [t[local_offset(t):] for t in elems]
        if all(local_offset(t) for t in elems) and len(set(locals_)) == len(locals_):
            flags.append("SOAP_CF_DISTINCT")
        if any(mb.form == "attr" for mb in c.all_members()):
            flags.append("SOAP_CF_ATTRIBUTES")
        if any(mb.min and mb.form == "elem" for mb in c.all_members()):
            flags.append("SOAP_CF_REQUIRED")
        L.append("extern const soap_class_info soap_ci_%s = {SOAP_TYPE_%s, %s, %s, %s, %d, %s, offsetof(%s, soap), sizeof(%s),\n"
                 "    &soap_class_thunks<%s>::ops, %s, %d};" % (
                     n, n, cstr(c.qname), "&soap_ci_%s" % c.base.cname if c.base else "nullptr",
                     "soap_mi_%s" % n if c.members else "nullptr", len(c.members), " | ".join(flags) or "0",
                     n, n, n, "soap_cd_%s" % n if c.descendants else "nullptr", len(c.descendants)))
        L.append("SOAP_FRAME_CLASS(%s)" % n)
        L.append("")
        return L

    def emit_class_sources(self):
        """The classes in id order, cut into NCHUNKS sources of about equal weight (member count)."""
        cls = self.m.class_list()
        weight = [2 + len(c.members) for c in cls]
        total = sum(weight)
        parts, cur, acc = [], [], 0
        for c, w in zip(cls, weight):
            cur.append(c)
            acc += w
            if acc * NCHUNKS >= total * (len(parts) + 1) and len(parts) < NCHUNKS - 1:
                parts.append(cur)
                cur = []
        parts.append(cur)
        while len(parts) < NCHUNKS:
            parts.append([])
        for k, part in enumerate(parts, 1):
            fname = "frame/orvclasses_%02d.cpp" % k
            prefixes = sorted(set(c.prefix for c in part))
            L = [self.banner([self.schema_source(p) for p in prefixes] + ["schema/typeids.map"], fname.split("/")[1],
                             "member tables, info records and operations of %d message classes." % len(part)),
                 "#include <cstddef>", "", '#include "orvinfo.h"', "",
                 "/* Members are found by offset; these classes are polymorphic with single inheritance. */",
                 '#pragma GCC diagnostic ignored "-Winvalid-offsetof"', ""]
            for c in part:
                L += self.class_source(c)
            self.files[fname] = "\n".join(L)

    def emit_enums(self):
        L = [self.banner(self.all_schema_sources(), "orvenums.cpp",
                         "code tables and functions of the enumerations."),
             '#include "orvinfo.h"', ""]
        for e in self.m.enum_list():
            n = e.cname
            L.append("static const soap_code_map soap_codes_%s[] = {" % n)
            for i, v in enumerate(e.values):
                L.append("    {%d, %s}," % (i, cstr(v)))
            L.append("    {0, nullptr}};")
            L.append("extern const soap_enum_info soap_ei_%s = {SOAP_TYPE_%s, %s, soap_codes_%s, %d};" % (
                n, n, cstr(e.qname), n, len(e.values)))
            L.append("SOAP_FRAME_ENUM(%s)" % n)
            L.append("SOAP_FRAME_ENUM_POINTER(%s)" % n)
            L.append("")
        self.files["frame/orvenums.cpp"] = "\n".join(L)

    def emit_texts_and_vectors(self):
        L = [self.banner(self.all_schema_sources(), "orvvalues.cpp",
                         "functions of the text types and info records and functions of the vectors."),
             '#include "orvinfo.h"', ""]
        for n in TEXT_PRIMS + [t.cname for t in sorted(self.m.texts.values(), key=lambda t: t.id)]:
            L.append("SOAP_FRAME_TEXT(%s)" % n)
            L.append("SOAP_FRAME_TEXT_POINTER(%s)" % n)
        L.append("")
        decls = []
        for entry in self.m.ids.sorted():
            if entry.kind != "vec":
                continue
            vname = self.vector_cname(entry)
            elem = entry.name
            if elem in self.m.classes or elem == "xsd__base64Binary":
                ctype, kind, thunks = "std::vector<%s *>" % elem, "SOAP_VK_CLASS", "soap_vector_thunks<std::vector<%s *>>" % elem
                eid = "SOAP_TYPE_" + elem
            elif elem in self.m.enums:
                ctype, kind, thunks = "std::vector<%s>" % elem, "SOAP_VK_ENUM", "soap_enum_vector_thunks<%s>" % elem
                eid = "SOAP_TYPE_" + elem
            else:
                ctype, kind, thunks = "std::vector<std::string>", "SOAP_VK_STRING", "soap_vector_thunks<std::vector<std::string>>"
                eid = "SOAP_TYPE_" + elem
            L.append("extern const soap_vector_info soap_vi_%s = {SOAP_TYPE_%s, %s, %s, &%s::ops};" % (
                vname, vname, eid, kind, thunks))
            L.append("SOAP_FRAME_VECTOR(%s, %s)" % (vname, ctype))
            decls += ["void soap_default_%s(struct soap *soap, %s *a);" % (vname, ctype),
                      "void soap_serialize_%s(struct soap *soap, const %s *a);" % (vname, ctype),
                      "int soap_out_%s(struct soap *soap, const char *tag, int id, const %s *a, const char *type);" % (vname, ctype),
                      "%s *soap_in_%s(struct soap *soap, const char *tag, %s *a, const char *type);" % (ctype, vname, ctype),
                      "%s *soap_instantiate_%s(struct soap *soap, int n, const char *type, const char *arrayType, size_t *size);" % (ctype, vname)]
        L.append("")
        self.files["frame/orvvalues.cpp"] = "\n".join(L)
        H = [self.banner(self.all_schema_sources(), "orvvectors.h",
                         "functions of the vector types of the members (std::vector of records, texts or enumerations)."),
             "#ifndef ORVSOAP_MODEL_ORVVECTORS_H", "#define ORVSOAP_MODEL_ORVVECTORS_H", "", '#include "orvtypes.h"', ""]
        H += decls
        H += ["", "#endif", ""]
        self.files["model/orvvectors.h"] = "\n".join(H)

    def emit_wrappers_source(self):
        L = [self.banner(self.all_schema_sources(), "orvwrappers.cpp",
                         "info records and functions of the operation wrappers."),
             '#include "orvinfo.h"', ""]
        for w in self.m.wrappers:
            n = w.cname
            L.append("extern const soap_wrapper_info soap_wi_%s = {SOAP_TYPE_%s, %s, %s, SOAP_TYPE_%s, sizeof(struct %s),\n"
                     "    soap_plain_thunks<struct %s>::make, soap_plain_thunks<struct %s>::destroy};" % (
                         n, n, cstr(w.tag), cstr(w.element), w.content.cname, n, n, n))
            L.append("SOAP_FRAME_WRAPPER(%s)" % n)
            L.append("")
        self.files["frame/orvwrappers.cpp"] = "\n".join(L)

    def emit_env_source(self):
        L = [self.banner(["schema/protocol.xsd", "schema/typeids.map"], "orvenv.cpp",
                         "the member table of the typed fault pointers of SOAP_ENV__Detail."),
             "#include <cstddef>", "", '#include "orvinfo.h"', "",
             "extern const soap_member_info soap_detail_members[] = {"]
        faults = self.m.detail_faults()
        for cls, pid in faults:
            L.append("    {%s, %s, offsetof(SOAP_ENV__Detail, %s), %d, %d, SOAP_MK_PCLASS, 0, %d}," % (
                cstr(cls.qname), cstr(cls.qname), cls.cname, cls.id, pid, local_offset(cls.qname)))
        L += ["};", "extern const unsigned short soap_detail_member_count = %d;" % len(faults), ""]
        self.files["frame/orvenv.cpp"] = "\n".join(L)

    def emit_namespaces(self):
        L = [self.banner(self.all_schema_sources(), "orvnamespaces.cpp",
                         "the process-wide namespace table that soap_init installs."),
             '#include "soapengine.h"', "",
             "struct Namespace namespaces[] = {"]
        for p, uri, pattern in FIXED_NAMESPACES:
            L.append("    {%s, %s, %s, nullptr}," % (cstr(p), cstr(uri), cstr(pattern)))
        for p in NAMESPACE_ROWS:
            L.append("    {%s, %s, nullptr, nullptr}," % (cstr(p), cstr(self.m.schemas[p].uri)))
        L += ["    {nullptr, nullptr, nullptr, nullptr}};", ""]
        self.files["frame/orvnamespaces.cpp"] = "\n".join(L)

    # ------------------------------------------------------------ dispatch tables

    def emit_dispatch(self):
        m = self.m
        maxid = max(m.ids.entries)
        rows = []
        names = {}
        for e in m.ids.sorted():
            k, n = e.kind, e.name
            info = "nullptr"
            target = 0
            name = None
            if k == "prim":
                kind, name = PRIMS[n]
            elif k == "text":
                kind, name = "SOAP_TK_STRING", m.texts[n].qname
            elif k == "class":
                kind = "SOAP_TK_CLASS"
                name = "xsd:base64Binary" if n == "xsd__base64Binary" else m.classes[n].qname
                info = "&soap_ci_%s" % n
            elif k == "enum":
                kind, name, info = "SOAP_TK_ENUM", m.enums[n].qname, "&soap_ei_%s" % n
            elif k == "ptr":
                kind = "SOAP_TK_POINTER"
                tgt = m.ids.find("class", n) or m.ids.find("enum", n) or m.ids.find("text", n) or m.ids.find("prim", n)
                target = tgt.id
                if tgt.kind == "class":
                    name = "xsd:base64Binary" if n == "xsd__base64Binary" else m.classes[n].qname
                elif tgt.kind == "enum":
                    name = m.enums[n].qname
                elif tgt.kind == "text":
                    name = m.texts[n].qname
                else:
                    name = PRIMS[n][1]
            elif k == "vec":
                kind, info = "SOAP_TK_VECTOR", "&soap_vi_%s" % self.vector_cname(e)
                tgt = m.ids.find("class", n) or m.ids.find("enum", n) or m.ids.find("text", n) or m.ids.find("prim", n)
                target = tgt.id
            elif k == "wrapper":
                kind, info = "SOAP_TK_WRAPPER", "&soap_wi_%s" % n
                w = [x for x in m.wrappers if x.cname == n][0]
                name = w.tag
            else:
                kind = "SOAP_TK_ENV"
                name = {"SOAP_ENV__Header": "SOAP-ENV:Header", "SOAP_ENV__Detail": "SOAP-ENV:Detail",
                        "SOAP_ENV__Code": "SOAP-ENV:Code", "SOAP_ENV__Reason": "SOAP-ENV:Reason",
                        "SOAP_ENV__Fault": "SOAP-ENV:Fault"}[n]
            names[e.id] = name
            rows.append((e.id, "    /* %d */ {%s, %d, %s, %s}," % (e.id, kind, target, cstr(name) if name else "nullptr", info)))
        L = [self.banner(self.all_schema_sources(), "orvdispatch.cpp",
                         "the dispatch table of all type ids and the name chains of the element dispatch."),
             '#include "orvinfo.h"', "",
             "extern const soap_type_entry soap_type_table[] = {"]
        filled = dict(rows)
        for i in range(maxid + 1):
            if i in filled:
                L.append(filled[i])
            else:
                L.append("    /* %d */ {SOAP_TK_NONE, 0, nullptr, nullptr}," % i)
        L += ["};", "extern const int soap_type_max = %d;" % maxid, ""]
        # name chain: text types, classes, primitives, enumerations (descending ids), QName last
        chain = []
        for t in sorted(m.texts.values(), key=lambda t: -t.id):
            chain.append(t.id)
        for c in sorted(m.classes.values(), key=lambda c: -c.id):
            if not c.element_class:
                chain.append(c.id)
        for n in CHAIN_PRIMS:
            e = m.ids.find("class" if n == "xsd__base64Binary" else "prim", n)
            if e is not None:
                chain.append(e.id)
        enums = sorted(m.enums.values(), key=lambda e: -e.id)
        block = [e for e in enums if e.id < 479]
        chain += [e.id for e in block] + [e.id for e in enums if e.id >= 479]
        q = m.ids.find("prim", "_QName")
        if q is not None:
            chain.append(q.id)
        L.append("/* Names of the element dispatch, in the order they are tried. */")
        L.append("extern const unsigned short soap_name_chain[] = {")
        for i in range(0, len(chain), 12):
            L.append("    " + ", ".join(str(x) for x in chain[i:i + 12]) + ",")
        L += ["};", "extern const unsigned short soap_name_chain_count = %d;" % len(chain), ""]
        index = sorted((names[t].split(":", 1)[-1], pos) for pos, t in enumerate(chain))
        L.append("/* The same names by local part, to try only the candidates with an equal local part. */")
        L.append("extern const soap_name_index_entry soap_name_index[] = {")
        for local, pos in index:
            L.append("    {%s, %d}," % (cstr(local), pos))
        L += ["};", ""]
        roots = [c.id for c in sorted(m.classes.values(), key=lambda c: -c.id) if c.element_class]
        L.append("/* Root-element classes, tried by the element's own tag. */")
        L.append("extern const unsigned short soap_root_elements[] = {%s};" % ", ".join(str(x) for x in roots))
        L += ["extern const unsigned short soap_root_element_count = %d;" % len(roots), ""]
        self.files["frame/orvdispatch.cpp"] = "\n".join(L)

    # ------------------------------------------------------------ test cases

    def test_cases(self):
        """A header for the model tests: every class with its id, C++ type and how a document of it
        is rooted (its own element for classes of anonymous type, else an xsi:type)."""
        L = [self.banner(self.all_schema_sources(), "roundtrip_cases.h",
                         "every message class, for the generated round-trip test."),
             "#include <typeinfo>", "", '#include "orvmodel.h"', "",
             "struct RoundTripCase {",
             "    int type;",
             "    const char *name;             /* C++ name */",
             "    const std::type_info *rtti;",
             "    const char *qname;            /* wire name: xsi:type, or the element of an anonymous type */",
             "    bool anonymous;               /* no schema type: rooted by its own element */",
             "    bool element_class;           /* read back by tag rather than by xsi:type */",
             "};", "",
             "static const RoundTripCase kRoundTripCases[] = {",
             '    {SOAP_TYPE_xsd__base64Binary, "xsd__base64Binary", &typeid(xsd__base64Binary), "xsd:base64Binary", false, false},']
        for c in self.m.class_list():
            L.append('    {SOAP_TYPE_%s, "%s", &typeid(%s), %s, %s, %s},' % (
                c.cname, c.cname, c.cname, cstr(c.qname), "true" if c.anonymous else "false",
                "true" if c.element_class else "false"))
        L += ["};", ""]
        return "\n".join(L)

    # ------------------------------------------------------------ all

    def run(self):
        self.emit_types()
        self.emit_model_headers()
        self.emit_wrappers_header()
        self.emit_soapenv_header()
        self.emit_model_all()
        self.emit_info_header()
        self.emit_class_sources()
        self.emit_enums()
        self.emit_texts_and_vectors()
        self.emit_wrappers_source()
        self.emit_env_source()
        self.emit_namespaces()
        self.emit_dispatch()
        return self.files
