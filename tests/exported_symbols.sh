#!/bin/sh
# What libsensordll shows the host: its dynamic symbols as names (members of a
# class folded into "Class::"), compared with the list the host may rely on.
# Usage: exported_symbols.sh NM LIBRARY EXPECTED_LIST
set -eu
nm=$1 lib=$2 expected=$3
listed=$(mktemp)
trap 'rm -f "$listed"' EXIT
grep -v '^#' "$expected" | LC_ALL=C sort -u >"$listed"
# Instances of the C++ library's own templates (std::) are left out: an
# unoptimised build shows some of them, and they are the C++ library's ABI.
"$nm" -D --defined-only "$lib" | sed -e 's/^[0-9a-fA-F]* [A-Za-z] //' | grep -Ev '^_ZN?K?St' | c++filt |
  sed -e '/^_/d' -e 's/^\([A-Za-z_][A-Za-z0-9_]*::\).*/\1/' -e 's/(.*//' |
  LC_ALL=C sort -u | diff "$listed" - >&2 || {
  echo "exported names differ from $expected (<: listed only, >: exported only)" >&2
  exit 1
}
echo "$(wc -l <"$listed") exported names, as listed"
