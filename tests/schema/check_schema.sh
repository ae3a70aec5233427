#!/usr/bin/env bash
# Checks the message-model schema files: each is well-formed and loads as a schema on its own, the driver
# all.xsd loads every namespace together, a few sample messages validate, and typeids.map agrees with the
# types the files declare. Not a check of the generated C++ code.
# Usage: check_schema.sh [repo root]   (exit status non-zero on any error)
set -u
root=${1:-$(cd "$(dirname "$0")/../.." && pwd)}
dir=$root/schema
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail=0
bad() { echo "FAIL: $*" >&2; fail=1; }

command -v xmllint >/dev/null || { echo "FAIL: xmllint not found" >&2; exit 1; }
[ -f "$dir/all.xsd" ] || { echo "FAIL: $dir/all.xsd missing" >&2; exit 1; }

# Every file that all.xsd imports must be there; a missing import is only a warning for xmllint.
for loc in $(grep -o 'schemaLocation="[^"]*"' "$dir/all.xsd" | cut -d'"' -f2); do
    [ -f "$dir/$loc" ] || bad "all.xsd imports $loc, which does not exist"
done

# Loading a schema and validating a document with no matching root: status 3 means the schema compiled;
# anything that mentions an error or warning other than the expected root mismatch is a fault.
echo '<orvsoap-compile-check xmlns="urn:orvsoap:nothing"/>' > "$tmp/none.xml"
compile() {
    local xsd=$1 out rc
    out=$(cd "$dir" && xmllint --noout --schema "$xsd" "$tmp/none.xml" 2>&1); rc=$?
    if [ $rc -ne 3 ] || echo "$out" | grep -v 'No matching global declaration\|fails to validate' \
                        | grep -qi 'error\|warning\|skipping'; then
        bad "$xsd does not load as a schema (xmllint status $rc)"; echo "$out" | head -20 >&2
    fi
}
for f in "$dir"/*.xsd; do
    xmllint --noout "$f" || { bad "$(basename "$f") is not well-formed"; continue; }
    compile "$(basename "$f")"
done

# WSDL files, wherever they stand in the schema directory or a wsdl directory: well-formed.
for f in "$dir"/*.wsdl "$root"/wsdl/*.wsdl; do
    [ -f "$f" ] || continue
    xmllint --noout "$f" || bad "$f is not well-formed"
done

# Sample messages that must validate against the whole model.
P='xmlns:protocol="http://xml.orvsoap.org/xmlns/b2b/orv/v1.0"'
X='xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"'
cat > "$tmp/header.xml" <<EOF
<protocol:header $P $X>
  <protocol:targetURI>urn:t</protocol:targetURI>
  <protocol:compoundTargetURI><protocol:uri>a</protocol:uri><protocol:compoundURI><protocol:uri>b</protocol:uri></protocol:compoundURI></protocol:compoundTargetURI>
  <protocol:credentials><protocol:state>valid</protocol:state><protocol:certificate>AAEC</protocol:certificate></protocol:credentials>
  <protocol:sequenceId>7</protocol:sequenceId>
  <protocol:reciprocity>Client.postDocument</protocol:reciprocity>
  <protocol:version><protocol:item>wsdl</protocol:item><protocol:value>v1.0.17.1</protocol:value></protocol:version>
  <protocol:compliance xsi:type="protocol:ProductFullNameCompliance"><protocol:compliant>1</protocol:compliant></protocol:compliance>
</protocol:header>
EOF
cat > "$tmp/fault.xml" <<EOF
<protocol:Client.Authentication.NotAuthorized $P>
  <protocol:subcode>s</protocol:subcode>
  <protocol:detail><protocol:nestedFault><protocol:description>d</protocol:description></protocol:nestedFault></protocol:detail>
  <protocol:credentials><protocol:name>n</protocol:name></protocol:credentials>
  <protocol:authorityGroup><protocol:authority>a</protocol:authority></protocol:authorityGroup>
</protocol:Client.Authentication.NotAuthorized>
EOF
cat > "$tmp/redirect.xml" <<EOF
<protocol:Server.Redirection $P><protocol:uri>u</protocol:uri><protocol:term>exchange</protocol:term></protocol:Server.Redirection>
EOF
cat > "$tmp/attachment.xml" <<EOF
<protocol:attachment $P $X>
  <protocol:state>pending</protocol:state>
  <protocol:metaData xsi:type="protocol:VersionMetaData"><protocol:version>1</protocol:version>
    <protocol:restriction xsi:type="protocol:LevelRestriction"><protocol:type>t</protocol:type></protocol:restriction></protocol:metaData>
  <protocol:data encoding="UTF-8">text</protocol:data>
  <protocol:dataHandler>cid:x</protocol:dataHandler>
  <protocol:dataPort><protocol:direction>inout</protocol:direction><protocol:transportDetail xsi:type="protocol:ExchangeDetail"/></protocol:dataPort>
  <protocol:error xsi:type="protocol:Server.DataTooLarge"><protocol:maxSize>9</protocol:maxSize></protocol:error>
  <protocol:attachment><protocol:sequenceNumber>2</protocol:sequenceNumber></protocol:attachment>
</protocol:attachment>
EOF
for f in header fault redirect attachment; do
    (cd "$dir" && xmllint --noout --schema all.xsd "$tmp/$f.xml" 2>"$tmp/$f.err") \
        || { bad "sample $f does not validate"; cat "$tmp/$f.err" >&2; }
done
# ...and ones that must not: a value outside an enumeration, and a redirection without its term.
echo "<protocol:Server.Redirection $P><protocol:uri>u</protocol:uri><protocol:term>never</protocol:term></protocol:Server.Redirection>" > "$tmp/n1.xml"
echo "<protocol:Server.Redirection $P><protocol:uri>u</protocol:uri></protocol:Server.Redirection>" > "$tmp/n2.xml"
for f in n1 n2; do
    (cd "$dir" && xmllint --noout --schema all.xsd "$tmp/$f.xml" 2>/dev/null) && bad "invalid sample $f validates"
done

# typeids.map against the schema files: every class, enumeration and text type has its declaration,
# and every declared type has its id.
if command -v python3 >/dev/null; then
    python3 - "$dir" <<'PYEOF' || fail=1
import glob, os, re, sys, collections
import xml.etree.ElementTree as ET
d = sys.argv[1]
XS = '{http://www.w3.org/2001/XMLSchema}'
ORV = '{urn:orvsoap:binding}name'
errs = []
def cname(prefix, local):
    return prefix + '__' + local.replace('.', '_x002e').replace('-', '_')
declared = {}   # C++ name -> (kind, file)
for f in sorted(glob.glob(os.path.join(d, '*.xsd'))):
    prefix = os.path.basename(f)[:-4]
    if prefix == 'all':
        continue
    root = ET.parse(f).getroot()
    for el in root:
        n = el.get('name')
        if el.tag == XS + 'complexType':
            kind = 'class'
        elif el.tag == XS + 'simpleType':
            kind = 'enum' if el.find(f'{XS}restriction/{XS}enumeration') is not None else 'text'
        elif el.tag == XS + 'element' and el.find(XS + 'complexType') is not None:
            kind, n = 'class', None
            name = '_' + prefix + '__' + el.get('name')
        else:
            continue
        if n is not None:
            name = el.get(ORV) or cname(prefix, n)
        if name in declared:
            errs.append(f'{name} declared twice ({declared[name][1]}, {os.path.basename(f)})')
        declared[name] = (kind, os.path.basename(f))
ids = collections.defaultdict(list)
for line in open(os.path.join(d, 'typeids.map')):
    if line.startswith('#') or not line.strip():
        continue
    i, kind, name = line.split()
    ids[(kind, name)].append(int(i))
seen = set()
for (kind, name), nums in ids.items():
    if len(nums) > 1 and kind in ('class', 'enum', 'text'):
        errs.append(f'{kind} {name} has several ids {nums}')
    if kind in ('class', 'enum', 'text') and name != 'xsd__base64Binary':
        seen.add(name)
        if name not in declared:
            errs.append(f'{kind} {name} (id {nums[0]}) has no declaration in the schema files')
        elif declared[name][0] != kind:
            errs.append(f'{name} is a {kind} in typeids.map but a {declared[name][0]} in {declared[name][1]}')
for name, (kind, f) in declared.items():
    if name not in seen:
        errs.append(f'{kind} {name} of {f} has no type id')
allids = [i for nums in ids.values() for i in nums]
dups = [i for i, c in collections.Counter(allids).items() if c > 1]
if dups:
    errs.append(f'duplicate ids {sorted(dups)}')
n_class = sum(1 for k, _ in ids if k == 'class')
if n_class != 408:
    errs.append(f'{n_class} classes in typeids.map, expected 408')
for e in errs:
    print('FAIL:', e, file=sys.stderr)
per = collections.Counter((f, k) for k, f in declared.values())
for f in sorted({f for f, _ in per}):
    print(f'{f}: {per[(f, "class")]} classes, {per[(f, "enum")]} enums, {per[(f, "text")]} text types')
sys.exit(1 if errs else 0)
PYEOF
else
    echo "note: python3 not found, typeids.map cross-check skipped"
fi

[ $fail -eq 0 ] && echo "schema check passed"
exit $fail
