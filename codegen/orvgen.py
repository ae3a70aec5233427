#!/usr/bin/env python3
"""orvgen -- generates the message model of orvsoap from schema/*.xsd and schema/typeids.map.

Usage:
    orvgen.py --schema DIR --out DIR     write every output under DIR (model/*.h, frame/*.cpp, ...)
    orvgen.py --list                     print the relative paths of the outputs, one a line
    orvgen.py --schema DIR --check       bind only: exit 0 if the schema can be bound

What it emits: declarations and tables.  Each class becomes its declaration (members in wire order,
the seven virtual operations, the back pointer `soap` last in a root class), a member table and an
info record; each enumeration a code table; each pointer, vector and wrapper type one-line functions.
All behaviour lives once in frame/frame.cpp and walks those tables.

Naming rules (the only ones; everything else follows the schema's wire names):
  * A type "p:Local" is the C++ name p__Local, with '.' written _x002e and '-' written _;
    an element with an anonymous type "p:elem" is _p__elem.  The schema may fix a name with
    orv:name (protocol:Server.Redirection-term, type id 713, is protocol__Server_x002eRedirection_term:
    the id list's spelling with the hyphen is no C++ identifier).
  * A member is named by the local part of its element (attribute), with the same escapes; a C++
    keyword or a name of the frame ("soap", "soap_in", ...) gets a trailing underscore, and so does a
    name met twice in one class.
  * An enumerator is <Enumeration>__<text>, every byte of the text that is not a letter, digit or
    underscore written _xHHHH (four lower-case hex digits of its code): "Client.postDocument" ->
    protocol__Reciprocity__Client_x002epostDocument, "UTF-8" -> protocol__Encoding__UTF_x002d8,
    "v1.0.17.1" -> protocol__ProtocolWsdlVersion__v1_x002e0_x002e17_x002e1.  Two texts that would
    give one name are refused.
  * Pointer and vector functions: soap_in_PointerTo<T>, soap_in_std__vectorTemplateOfPointerTo<T>
    for a vector of records, soap_in_std__vectorTemplateOf<T> for texts (std__string) and enumerations.
  * Wrappers __<prefix>__<op> and __<prefix>__<op>Response hold one pointer named after their element:
    protocolProfile__createRequest, protocolProfile__createResponse.

Deterministic: same input, same bytes.  A schema that cannot be bound (unknown type, class or
enumeration without id, duplicate id, unsupported construct) gives "file:line: message" on stderr
and exit status 1; nothing is written then.
"""

import argparse
import os
import sys

sys.dont_write_bytecode = True  # the source tree stays as it is; the build tree holds the outputs
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

from emit import Emitter, NCHUNKS  # noqa: E402
from model import MODEL_PREFIXES, Model  # noqa: E402
from xsdload import BindError  # noqa: E402


def output_list():
    out = ["model/orvtypes.h", "model/orvmodel.h", "model/orvwrappers.h", "model/orvvectors.h", "model/soapenv.h"]
    out += ["model/%s.h" % p for p in MODEL_PREFIXES]
    out += ["frame/orvinfo.h", "frame/orvenums.cpp", "frame/orvvalues.cpp", "frame/orvwrappers.cpp",
            "frame/orvenv.cpp", "frame/orvnamespaces.cpp", "frame/orvdispatch.cpp"]
    out += ["frame/orvclasses_%02d.cpp" % k for k in range(1, NCHUNKS + 1)]
    return out


def main(argv):
    ap = argparse.ArgumentParser(description="generate the orvsoap message model")
    ap.add_argument("--schema", help="directory with typeids.map and the *.xsd files")
    ap.add_argument("--out", help="output directory")
    ap.add_argument("--list", action="store_true", help="print the output paths and exit")
    ap.add_argument("--check", action="store_true", help="bind the schema, write nothing")
    ap.add_argument("--stats", action="store_true", help="print counts of what was bound")
    ap.add_argument("--test-cases", metavar="FILE", help="also write the class list of the model tests")
    args = ap.parse_args(argv)
    if args.list:
        sys.stdout.write("\n".join(output_list()) + "\n")
        return 0
    if not args.schema or not (args.out or args.check):
        ap.error("--schema and --out (or --check) are required")
    try:
        model = Model(args.schema)
        emitter = Emitter(model)
        files = emitter.run()
        cases = emitter.test_cases() if args.test_cases else None
    except BindError as e:
        sys.stderr.write("%s\n" % e)
        return 1
    expected = set(output_list())
    if set(files) != expected:
        sys.stderr.write("orvgen: internal error: outputs %s differ from the list\n" % sorted(set(files) ^ expected))
        return 2
    if args.stats:
        classes = model.class_list()
        per = {}
        for c in classes:
            per[c.prefix] = per.get(c.prefix, 0) + 1
        sys.stdout.write("classes %d (+ xsd__base64Binary), roots %d, enumerations %d, wrappers %d\n" % (
            len(classes), sum(1 for c in classes if c.base is None), len(model.enums), len(model.wrappers)))
        for p in sorted(per):
            sys.stdout.write("  %s: %d\n" % (p, per[p]))
    if cases is not None:
        os.makedirs(os.path.dirname(os.path.abspath(args.test_cases)), exist_ok=True)
        with open(args.test_cases, "wb") as f:
            f.write(cases.encode("utf-8"))
    if args.check:
        return 0
    for rel in sorted(files):
        path = os.path.join(args.out, rel)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        data = files[rel].encode("utf-8")
        tmp = path + ".tmp"
        with open(tmp, "wb") as f:
            f.write(data)
        os.replace(tmp, path)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
