#!/usr/bin/env bash
# Builds the zelutil tool (release) and shows what it does.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh demo

cmake --preset release -B build/demo -DZEL_BUILD_TESTS=OFF -DZEL_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build build/demo --target zelutil_tool
zelutil=build/demo/tools/zelutil/zelutil

run() { printf '\n$ %s\n' "$*"; "$@" || printf '(exit code %d)\n' "$?"; }
show() { printf '\n$ %s\n' "$1"; bash -c "$1" || printf '(exit code %d)\n' "$?"; }

run "$zelutil" version
show "printf 'Gr\\xc3\\xbc\\xc3\\x9fe, caf\\xc3\\xa9\\n' | $zelutil convert --from UTF-8 --to ISO-8859-1 | od -c"
show "printf 'Gr\\xfc\\xdfe\\n' | $zelutil convert --from ISO-8859-1 --to UTF-8"
show "printf 'price: \\xe2\\x82\\xac 5\\n' | $zelutil convert --from UTF-8 --to ISO-8859-1"
show "printf '\\xc3\\x28' | $zelutil convert --from UTF-8 --to DEFAULT"
run "$zelutil" convert --from UTF-8
run "$zelutil" messages
run "$zelutil" message 21 'lw.brtype:@/store' 'the name is empty'
run "$zelutil" message 1 42
run "$zelutil" message 99
run "$zelutil" tag 3
run "$zelutil" tag ACL: acl-entry --format start --prefix A
run "$zelutil" tag VENDOR: no-such-tag
run "$zelutil" tag 99999
run "$zelutil" selector parse lw.repo.vob:@/store/proj
run "$zelutil" selector parent --chain lw.brtype:a/b@/p
run "$zelutil" selector child lw.brtype:a@/p b/c --namespace lbtype
run "$zelutil" selector encode 'a/b:c%'
run "$zelutil" selector parse 'lw.nosuchtype:x@/p'
run "$zelutil" date 1146711721
run "$zelutil" date --iso8601 'Thu, 04 May 2006 03:02:01 GMT'
run "$zelutil" date 'Thu, 04 may 2006'
run "$zelutil" tmp --dir report.xml
run "$zelutil" uuid -n 3
run "$zelutil" uuid --compact
run "$zelutil" uuid parse 123e4567-e89b-12d3-a456-426614174000
show "$zelutil uuid parse \$($zelutil uuid)"
run "$zelutil" uuid parse not-a-uuid
run "$zelutil" oid -n 2
run "$zelutil" identity make 1 0aff
run "$zelutil" identity parse 2:010aff
run "$zelutil" identity parse 2:010AFF
cred=$(mktemp)
run "$zelutil" credentials write "$cred" --user 2:010aff --group 0:05 --groups 1:0201,1:0202
run "$zelutil" credentials dump "$cred"
run "$zelutil" credentials dump "$cred" --with-strings
rm -f "$cred"
# What an application measured through the arm4-trace ARM runtime looks like
# in the report (a trace as the runtime writes it).
trace=$(mktemp)
printf '%s\n' \
  '{"event":"stop_transaction","name":"Checkout","status":0,"response_ns":1200000}' \
  '{"event":"stop_transaction","name":"Checkout","status":0,"response_ns":900000}' \
  '{"event":"stop_transaction","name":"Checkout","status":2,"response_ns":5100000}' \
  '{"event":"stop_transaction","name":"Lookup","status":0,"response_ns":42000}' >"$trace"
run "$zelutil" arm report "$trace"
rm -f "$trace"
