#!/usr/bin/env bash
# Validates the sample messages against the message-model schema files: every instances/*.xml against
# schema/all.xsd, every query/*.xml against query/query-driver.xsd, and every invalid/*.xml must be
# refused by schema validation (not by a parse error). Not a check of the generated C++ code.
# Usage: check_instances.sh [repo root]   (exit status non-zero on any failure)
set -u
root=$(cd "${1:-$(dirname "$0")/../..}" && pwd)
here=$root/tests/schema
fail=0
command -v xmllint >/dev/null || { echo "FAIL: xmllint not found" >&2; exit 1; }
shopt -s nullglob

# xmllint: 0 valid, 3 invalid by the schema, 1/2/4/5 parse or schema-load trouble.
for f in "$here"/instances/*.xml; do
    out=$(cd "$root/schema" && xmllint --noout --schema all.xsd "$f" 2>&1) \
        || { echo "FAIL: $(basename "$f") does not validate" >&2; echo "$out" >&2; fail=1; }
done
for f in "$here"/query/*.xml; do
    out=$(cd "$here/query" && xmllint --noout --schema query-driver.xsd "$f" 2>&1) \
        || { echo "FAIL: query/$(basename "$f") does not validate" >&2; echo "$out" >&2; fail=1; }
done
for f in "$here"/invalid/*.xml; do
    out=$(cd "$root/schema" && xmllint --noout --schema all.xsd "$f" 2>&1); rc=$?
    if [ $rc -eq 0 ]; then
        echo "FAIL: invalid/$(basename "$f") validates but must not" >&2; fail=1
    elif [ $rc -ne 3 ]; then
        echo "FAIL: invalid/$(basename "$f") is refused for another reason (xmllint status $rc)" >&2
        echo "$out" >&2; fail=1
    fi
done
[ $fail -eq 0 ] && echo "instance check passed"
exit $fail
