"""The member orders the reference provider writes by agree with the schema's sequences, and every
misbehaviour mode it knows is documented in provider/README.md."""

import os
import sys
import unittest
import xml.etree.ElementTree as ET

from provider_fixture import REPO, SCHEMA_DIR

sys.path.insert(0, os.path.join(REPO, "provider"))
import orv_http  # noqa: E402
import orv_services  # noqa: E402

XS = "{http://www.w3.org/2001/XMLSchema}"


def sequence(file, type_name):
    """Element names ({ns}local) of a complexType's own sequence, refs resolved by the file's prefixes."""
    path = os.path.join(SCHEMA_DIR, file)
    prefixes = {}
    for event, (prefix, uri) in ET.iterparse(path, events=("start-ns",)):
        prefixes[prefix] = uri
    root = ET.parse(path).getroot()
    tns = root.get("targetNamespace")
    for ct in root.iter(XS + "complexType"):
        if ct.get("name") == type_name:
            names = []
            for el in ct.iter(XS + "element"):
                if el.get("ref"):
                    prefix, local = el.get("ref").split(":")
                    names.append("{%s}%s" % (prefixes[prefix], local))
                else:
                    names.append("{%s}%s" % (tns, el.get("name")))
            return names
    raise AssertionError("%s not in %s" % (type_name, file))


class SchemaOrder(unittest.TestCase):
    def test_profile_content_order(self):
        self.assertEqual(orv_services.PROFILE_ORDER, sequence("protocolProfile.xsd", "ProfileContent"))

    def test_problem_report_content_order(self):
        self.assertEqual(orv_services.REPORT_ORDER, sequence("protocolProblemReport.xsd", "ProblemReportContent"))

    def test_attachment_order(self):
        self.assertEqual(orv_services.ATTACHMENT_ORDER, sequence("protocol.xsd", "Attachment"))

    def test_credentials_order(self):
        self.assertEqual(orv_services.CREDENTIALS_ORDER, sequence("protocol.xsd", "Credentials"))

    def test_header_order(self):
        self.assertEqual(orv_services.HEADER_ORDER, sequence("protocol.xsd", "Header"))


class Documentation(unittest.TestCase):
    def test_every_mode_is_in_the_readme(self):
        with open(os.path.join(REPO, "provider", "README.md"), encoding="utf-8") as f:
            text = f.read()
        for mode in orv_http.MODES:
            self.assertIn("`%s`" % mode, text)


if __name__ == "__main__":
    unittest.main()
