#!/usr/bin/env bash
# Checks the zelutil tool as a person uses it: output, messages and exit codes.
# Usage: zelutil_cli_test.sh PATH-TO-ZELUTIL
set -u
zelutil=$1
failures=0
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# check NAME EXPECTED-EXIT EXPECTED-STDOUT-HEX|- STDERR-PATTERN|- STDIN -- ARGS...
check() {
  local name=$1 want_rc=$2 want_out=$3 want_err=$4 input=$5
  shift 6
  local out err rc
  printf '%b' "$input" | "$zelutil" "$@" >"$tmp/out" 2>"$tmp/err"
  rc=${PIPESTATUS[1]}
  out=$(od -An -tx1 "$tmp/out" | tr -d ' \n')
  err=$(cat "$tmp/err")
  if [ "$rc" != "$want_rc" ]; then
    echo "FAIL $name: exit $rc, expected $want_rc (stderr: $err)"; failures=$((failures + 1)); return
  fi
  if [ "$want_out" != "-" ] && [ "$out" != "$want_out" ]; then
    echo "FAIL $name: stdout $out, expected $want_out"; failures=$((failures + 1)); return
  fi
  if [ "$want_err" != "-" ] && ! grep -q -- "$want_err" <<<"$err"; then
    echo "FAIL $name: stderr '$err' lacks '$want_err'"; failures=$((failures + 1)); return
  fi
  echo "ok   $name"
}

check utf8-to-latin1      0 "4772fcdf65"   -                         'Gr\xc3\xbc\xc3\x9fe' -- convert --from UTF-8 --to ISO-8859-1
check latin1-to-utf8      0 "4772c3bcc39f65" -                       'Gr\xfc\xdfe' -- convert --from ISO-8859-1 --to UTF-8
check through-default     0 "616263"       -                         'abc' -- convert --from UTF-8 --to DEFAULT
check empty-input         0 ""             -                         '' -- convert --from UTF-8 --to UTF-8
check malformed-utf8      1 ""             "not valid UTF-8"         '\xc3\x28' -- convert --from UTF-8 --to UTF-8
check unmappable          1 ""             "without loss"            '\xe2\x82\xac' -- convert --from UTF-8 --to ISO-8859-1
check zero-bytes          1 ""             "without loss"            'abc' -- convert --from UTF-8 --to UTF-16BE
check unknown-charset     1 ""             "unknown character set 'NOPE'" 'abc' -- convert --from NOPE --to UTF-8
check missing-option      2 ""             "--to is required"        '' -- convert --from UTF-8
check no-subcommand       2 ""             "subcommand is required"  '' --
check unknown-subcommand  2 ""             -                         '' -- frobnicate
check message-with-args   0 "$(printf 'QZMLK0671E The selector '"'"'x@y'"'"' is not valid: no name\n' | od -An -tx1 | tr -d ' \n')" - '' -- message 21 'x@y' 'no name'
check message-unknown     1 ""             "no message 22 in the catalogue" '' -- message 22
check message-not-number  2 ""             -                         '' -- message abc
check messages            0 -              -                         '' -- messages
check date-seconds        0 "323030362d30352d30345430333a30323a30315a0a" - '' -- date --iso8601 1146711721
check date-rfc-to-iso     0 "323030362d30352d30345430333a30323a30315a0a" - '' -- date --iso8601 'Thu, 04 May 2006 03:02:01 GMT'
check date-iso-to-rfc     0 "5468752c203034204d617920323030362030333a30323a303120474d540a" - '' -- date --rfc1123 2006-05-04T03:02:01Z
check date-bad            1 ""             "neither a number of seconds" '' -- date 'Thu, 04 may 2006'
check date-both-forms     2 ""             "excludes"                '' -- date --iso8601 --rfc1123
check tmp                 0 -              -                         '' -- tmp
hex() { printf '%b' "$1" | od -An -tx1 | tr -d ' \n'; }
check tag-by-id           0 "$(hex '3\tACL_ENTRY\tACL:\tacl-entry\n')" - '' -- tag 3
check tag-by-name         0 "$(hex '3\tACL_ENTRY\tACL:\tacl-entry\n')" - '' -- tag ACL: acl-entry
check tag-no-namespace    0 "$(hex '1098\tTEAM_STATUS\t-\tstatus\n')" - '' -- tag 1098
check tag-format-prefix   0 "$(hex '</A:acl-entry>\n')" -   '' -- tag 3 --format end --prefix A
check tag-free-id         1 ""             "QZMLK0653E"              '' -- tag 174
check tag-unknown-id      1 ""             "QZMLK0655E"              '' -- tag 99999
check tag-unknown-ns      1 ""             "unknown namespace 'FOO:'" '' -- tag FOO: x
check tag-not-a-number    2 ""             "not a tag id"            '' -- tag ACL:
check tag-bad-format      2 ""             -                         '' -- tag 3 --format middle
check tag-prefix-alone    2 ""             "needs --format"          '' -- tag 3 --prefix A
check tags-of-namespace   0 "$(hex '1125\tVENDOR_KORDA\tVENDOR:\tKORDA\n1126\tVENDOR_MS_ACCESS\tVENDOR:\tMS_ACCESS\n1127\tVENDOR_ORACLE\tVENDOR:\tORACLE\n1128\tVENDOR_SQL_ANYWHERE\tVENDOR:\tSQL_ANYWHERE\n1129\tVENDOR_SQL_SERVER\tVENDOR:\tSQL_SERVER\n')" - '' -- tags VENDOR:
check tags-unknown-ns     1 ""             "unknown namespace"       '' -- tags FOO:
check selector-parse      0 "$(hex 'domain:        0 lw\nnamespace:     4 brtype\nresource type: 0\nname:          main\nrepository:    /store/proj\nshort form:    brtype:main@lw./store/proj\nfull form:     lw.brtype:main@/store/proj\n')" - '' -- selector parse lw.brtype:main@/store/proj
check selector-parse-type 0 "$(hex 'domain:        0 lw\nnamespace:     38 repo\nresource type: 1027 vob\nname:          \nrepository:    /store/proj\nshort form:    repo/vob:@lw./store/proj\nfull form:     lw.repo.vob:@/store/proj\n')" - '' -- selector parse lw.repo.vob:@/store/proj
check selector-parse-bad  1 ""             "QZMLK0671E The selector 'lw.brtype:main' is not valid: missing repository seperator: \"@\"" '' -- selector parse lw.brtype:main
check selector-parse-type-bad 1 ""         "is not valid: unknown resource type: nope" '' -- selector parse lw.repo.nope:x@y
err=$("$zelutil" selector parse 'lw.brtype:' 2>&1 >/dev/null)
if [ "$err" = "QZMLK0671E The selector 'lw.brtype:' is not valid: no name or repository segments" ]; then
  echo "ok   selector-parse-exact-error"
else
  echo "FAIL selector-parse-exact-error: '$err'"; failures=$((failures + 1))
fi
check selector-parent     0 "$(hex 'lw.brtype:a@/store/proj\n')" - '' -- selector parent lw.brtype:a/b@/store/proj
check selector-chain      0 "$(hex 'lw.vob:store\nlw.vob:\nlw:\n(nil)\n')" - '' -- selector parent --chain lw.vob:/store/proj
check selector-child      0 "$(hex 'lw.lbtype:a/b/c@r\n')" - '' -- selector child lw.brtype:a@r /b//c --namespace lbtype
check selector-child-ns   2 ""             "not a selector namespace" '' -- selector child lw.brtype:a@r b --namespace none
check selector-encode     0 "$(hex 'a%/b%:c%%\n')" - '' -- selector encode 'a/b:c%'
check selector-encode-at  0 "$(hex 'x@@y\n')" -   '' -- selector encode 'x@@y'
check selector-decode     0 "$(hex ':\n')" -       '' -- selector decode '%%:'
check selector-alone      2 ""             "subcommand is required" '' -- selector
check help                0 -              -                         '' -- --help
check version             0 -              -                         '' -- version

line=$("$zelutil" version)
if [[ "$line" =~ ^libzelutil\ {24}[0-9]+\.[0-9]+\.[0-9]+\.[0-9]+\ \(.{24}\)$ ]]; then
  echo "ok   version-line"
else
  echo "FAIL version-line: '$line'"; failures=$((failures + 1))
fi

empty=$("$zelutil" tag 3 --format empty)
if [[ "$empty" =~ ^\<acl-entry\ xmlns=\"[a-z]+://[^\"]+/TEAM/ACL\"/\>$ ]]; then
  echo "ok   tag-format-empty"
else
  echo "FAIL tag-format-empty: '$empty'"; failures=$((failures + 1))
fi
count=$("$zelutil" tags | wc -l)
if [ "$count" -eq 1143 ]; then
  echo "ok   tags-all"
else
  echo "FAIL tags-all: $count lines"; failures=$((failures + 1))
fi

[ "$failures" -eq 0 ] || { echo "$failures failure(s)"; exit 1; }
