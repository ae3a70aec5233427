#!/bin/sh
# validate_docs.sh DOCDIR XSD COUNT -- every document the round-trip test kept validates against the
# message model (schema/all.xsd, through XSD's root element), and there is one per class.
set -eu
dir=$1 xsd=$2 want=$3
n=$(find "$dir" -maxdepth 1 -name '*.xml' | wc -l)
if [ "$n" -ne "$want" ]; then
    echo "expected $want documents in $dir, found $n" >&2
    exit 1
fi
find "$dir" -maxdepth 1 -name '*.xml' -print0 | sort -z | xargs -0 xmllint --noout --schema "$xsd" 2>&1 |
    { fail=0; while IFS= read -r line; do
          case $line in *" validates") ;; *) echo "$line"; fail=1 ;; esac
      done; exit $fail; }
