#!/usr/bin/env python3
"""Tests of the generator: the same schema gives the same bytes, every output names its sources,
and a schema it cannot bind is refused with "file:line: message", exit status 1 and no output.

Each refusal case copies schema/ into a scratch directory, breaks one thing, and checks the exact
message, including the line of the broken declaration.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = os.environ.get("ORVSOAP_ROOT", os.path.abspath(os.path.join(os.path.dirname(__file__), "..", "..")))
GEN = os.path.join(ROOT, "codegen", "orvgen.py")


def run(schema, out):
    return subprocess.run([sys.executable, GEN, "--schema", schema, "--out", out],
                          capture_output=True, text=True)


def read_tree(top):
    files = {}
    for dirpath, _, names in os.walk(top):
        for n in names:
            path = os.path.join(dirpath, n)
            with open(path, "rb") as f:
                files[os.path.relpath(path, top)] = f.read()
    return files


def line_of(path, text, nth=1):
    """1-based line of the nth line containing text."""
    seen = 0
    with open(path, encoding="utf-8") as f:
        for n, line in enumerate(f, 1):
            if text in line:
                seen += 1
                if seen == nth:
                    return n
    raise AssertionError("%r not in %s" % (text, path))


class Scratch(unittest.TestCase):
    """A private copy of the schema directory, at <tmp>/schema so that messages read schema/..."""

    def setUp(self):
        self.tmp = tempfile.mkdtemp(prefix="orvgen-")
        self.schema = os.path.join(self.tmp, "schema")
        shutil.copytree(os.path.join(ROOT, "schema"), self.schema)
        self.out = os.path.join(self.tmp, "out")

    def tearDown(self):
        shutil.rmtree(self.tmp)

    def path(self, name):
        return os.path.join(self.schema, name)

    def edit(self, name, old, new, count=1):
        p = self.path(name)
        with open(p, encoding="utf-8") as f:
            text = f.read()
        self.assertIn(old, text)
        text = text.replace(old, new, count)
        with open(p, "w", encoding="utf-8") as f:
            f.write(text)

    def refused(self, expected):
        r = run(self.schema, self.out)
        self.assertEqual(1, r.returncode, r.stderr)
        self.assertEqual(expected + "\n", r.stderr)
        self.assertFalse(os.path.exists(self.out), "nothing is written for a refused schema")


class Determinism(Scratch):
    def test_same_schema_gives_the_same_bytes(self):
        a, b = os.path.join(self.tmp, "a"), os.path.join(self.tmp, "b")
        self.assertEqual(0, run(self.schema, a).returncode)
        self.assertEqual(0, run(self.schema, b).returncode)
        ta, tb = read_tree(a), read_tree(b)
        self.assertEqual(sorted(ta), sorted(tb))
        for name in ta:
            self.assertEqual(ta[name], tb[name], name)

    def test_every_output_names_its_sources_and_is_not_to_be_edited(self):
        self.assertEqual(0, run(self.schema, self.out).returncode)
        listed = subprocess.run([sys.executable, GEN, "--list"], capture_output=True, text=True).stdout.split()
        files = read_tree(self.out)
        self.assertEqual(sorted(listed), sorted(files))
        for name, data in files.items():
            first = data.split(b"\n", 1)[0].decode("utf-8")
            self.assertRegex(first, r"^/\* generated from schema/\S+\.(xsd|map)(, schema/\S+)* by codegen/orvgen\.py "
                                    "\u2014 do not edit \*/$", name)

    def test_a_schema_edit_changes_only_what_depends_on_it(self):
        a, b = os.path.join(self.tmp, "a"), os.path.join(self.tmp, "b")
        self.assertEqual(0, run(self.schema, a).returncode)
        self.edit("protocolProfile.xsd", '<xsd:element name="scope" type="xsd:string" minOccurs="0"/>',
                  '<xsd:element name="scope" type="xsd:string" minOccurs="0"/>\n'
                  '      <xsd:element name="scope2" type="xsd:string" minOccurs="0"/>')
        self.assertEqual(0, run(self.schema, b).returncode)
        ta, tb = read_tree(a), read_tree(b)
        changed = sorted(n for n in ta if ta[n] != tb[n])
        self.assertIn(os.path.join("model", "protocolProfile.h"), changed)
        self.assertNotIn(os.path.join("model", "protocolUpdateOrderFilter.h"), changed)
        self.assertIn(b"std::string *scope2{};", tb[os.path.join("model", "protocolProfile.h")])

    def test_the_same_model_from_files_in_another_order(self):
        # the map's comments and blank lines carry no meaning
        a, b = os.path.join(self.tmp, "a"), os.path.join(self.tmp, "b")
        self.assertEqual(0, run(self.schema, a).returncode)
        with open(self.path("typeids.map"), encoding="utf-8") as f:
            text = f.read()
        with open(self.path("typeids.map"), "w", encoding="utf-8") as f:
            f.write("# extra comment\n\n" + text.replace("\n", "\n\n"))
        self.assertEqual(0, run(self.schema, b).returncode)
        self.assertEqual(read_tree(a), read_tree(b))


class Refusals(Scratch):
    def test_unknown_member_type(self):
        self.edit("protocolProfile.xsd", '<xsd:element name="credentials" type="protocol:Credentials" minOccurs="0"/>',
                  '<xsd:element name="credentials" type="protocol:NoSuchType" minOccurs="0"/>')
        line = line_of(self.path("protocolProfile.xsd"), "protocol:NoSuchType")
        self.refused("schema/protocolProfile.xsd:%d: unknown type 'protocol:NoSuchType'" % line)

    def test_unknown_namespace_prefix(self):
        self.edit("protocolProfile.xsd", 'type="protocol:Credentials" minOccurs="0"/>',
                  'type="nowhere:Credentials" minOccurs="0"/>')
        line = line_of(self.path("protocolProfile.xsd"), "nowhere:Credentials")
        self.refused("schema/protocolProfile.xsd:%d: unknown namespace prefix 'nowhere' in 'nowhere:Credentials'" % line)

    def test_class_without_id(self):
        self.edit("typeids.map", "22 class protocolProfile__Association\n", "")
        line = line_of(self.path("protocolProfile.xsd"), '<xsd:complexType name="Association">')
        self.refused("schema/protocolProfile.xsd:%d: class 'protocolProfile__Association' "
                     "(protocolProfile:Association) has no id in schema/typeids.map" % line)

    def test_enumeration_without_id(self):
        self.edit("typeids.map", "426 enum protocolProfile__ProfileState\n", "")
        line = line_of(self.path("protocolProfile.xsd"), '<xsd:simpleType name="ProfileState">')
        self.refused("schema/protocolProfile.xsd:%d: enumeration 'protocolProfile__ProfileState' "
                     "(protocolProfile:ProfileState) has no id in schema/typeids.map" % line)

    def test_duplicate_id(self):
        self.edit("typeids.map", "21 class protocolProfile__AssociationRelationship\n",
                  "21 class protocolProfile__AssociationRelationship\n21 class protocolProfile__Other\n")
        first = line_of(self.path("typeids.map"), "21 class protocolProfile__AssociationRelationship")
        self.refused("schema/typeids.map:%d: duplicate id 21 (first at line %d)" % (first + 1, first))

    def test_id_line_that_is_not_id_kind_name(self):
        self.edit("typeids.map", "21 class protocolProfile__AssociationRelationship\n",
                  "21 class protocolProfile__AssociationRelationship extra\n")
        line = line_of(self.path("typeids.map"), "extra")
        self.refused("schema/typeids.map:%d: expected '<id> <kind> <name>', got "
                     "'21 class protocolProfile__AssociationRelationship extra'" % line)

    def test_map_class_without_schema_type(self):
        self.edit("typeids.map", "13 ptr unsignedByte\n", "13 ptr unsignedByte\n14 class protocolProfile__Phantom\n")
        line = line_of(self.path("typeids.map"), "14 class protocolProfile__Phantom")
        self.refused("schema/typeids.map:%d: class 'protocolProfile__Phantom' has no schema type" % line)

    def test_unsupported_particle(self):
        self.edit("protocolProfile.xsd", '<xsd:element name="id" type="xsd:string" minOccurs="0"/>',
                  '<xsd:choice><xsd:element name="id" type="xsd:string"/></xsd:choice>')
        line = line_of(self.path("protocolProfile.xsd"), "<xsd:choice>")
        self.refused("schema/protocolProfile.xsd:%d: unsupported particle xsd:choice in 'protocolProfile:Association' "
                     "(only xsd:element)" % line)

    def test_reference_to_undeclared_global_element(self):
        self.edit("protocolProfile.xsd", '<xsd:element ref="protocol:identity" minOccurs="0"/>',
                  '<xsd:element ref="protocol:nosuchelement" minOccurs="0"/>')
        line = line_of(self.path("protocolProfile.xsd"), "protocol:nosuchelement")
        self.refused("schema/protocolProfile.xsd:%d: reference to undeclared global element "
                     "'protocol:nosuchelement'" % line)

    def test_malformed_xml(self):
        self.edit("protocolProfile.xsd", "</xsd:sequence>\n  </xsd:complexType>\n  <xsd:complexType name=\"Association\">",
                  "</xsd:sequence>\n  </xsd:complexTypo>\n  <xsd:complexType name=\"Association\">")
        line = line_of(self.path("protocolProfile.xsd"), "</xsd:complexTypo>")
        self.refused("schema/protocolProfile.xsd:%d: not well-formed XML: mismatched tag" % line)

    def test_enumerators_that_would_share_a_name(self):
        self.edit("protocolProfile.xsd", '<xsd:enumeration value="closed"/>',
                  '<xsd:enumeration value="closed"/>\n      <xsd:enumeration value="inactive_x002esuspended"/>')
        line = line_of(self.path("protocolProfile.xsd"), '<xsd:simpleType name="ProfileState">')
        self.refused("schema/protocolProfile.xsd:%d: enumerators of 'inactive.suspended' and 'inactive_x002esuspended' "
                     "would have the same name protocolProfile__ProfileState__inactive_x002esuspended" % line)

    def test_member_pointer_type_without_id(self):
        self.edit("typeids.map", "492 ptr protocolProfile__AssociationRelationship\n", "")
        line = line_of(self.path("protocolProfile.xsd"), 'name="relationship" type="protocolProfile:AssociationRelationship"')
        self.refused("schema/protocolProfile.xsd:%d: no pointer id for 'protocolProfile__AssociationRelationship' in "
                     "schema/typeids.map (member 'relationship')" % line)


if __name__ == "__main__":
    unittest.main(verbosity=2)
