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
check tag-largest-id      1 ""             "QZMLK0655E"              '' -- tag 2147483647
check tag-least-id        1 ""             "QZMLK0655E"              '' -- tag -2147483648
check tag-too-large       2 ""             "not a tag id"            '' -- tag 2147483648
check tag-too-small       2 ""             "not a tag id"            '' -- tag -2147483649
check tag-bad-format      2 ""             -                         '' -- tag 3 --format middle
check tag-prefix-alone    2 ""             "needs --format"          '' -- tag 3 --prefix A
check tags-of-namespace   0 "$(hex '1125\tVENDOR_KORDA\tVENDOR:\tKORDA\n1126\tVENDOR_MS_ACCESS\tVENDOR:\tMS_ACCESS\n1127\tVENDOR_ORACLE\tVENDOR:\tORACLE\n1128\tVENDOR_SQL_ANYWHERE\tVENDOR:\tSQL_ANYWHERE\n1129\tVENDOR_SQL_SERVER\tVENDOR:\tSQL_SERVER\n')" - '' -- tags VENDOR:
check tags-unknown-ns     1 ""             "unknown namespace"       '' -- tags FOO:
check credentials-write   0 ""             -                         '' -- credentials write "$tmp/cred" --user 2:010aff --group 0:05 --groups 1:0201,1:0202
check credentials-dump    0 "757365722020202020202020202020323a3031306166660a7072696d6172792067726f75702020303a30350a67726f757073202020202020202020320a2020313a303230310a2020313a303230320a" - '' -- credentials dump "$tmp/cred"
check credentials-strings 1 ""             "QZMLK0666E Unable to read file" '' -- credentials dump "$tmp/cred" --with-strings
check credentials-bad-id  1 ""             "QZMLK0661E"              '' -- credentials write "$tmp/cred2" --user 2:010AFF --group 0:05
check credentials-missing 1 ""             "QZMLK0665E Unable to open file" '' -- credentials dump "$tmp/none"
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

hex() { printf '%s' "$1" | od -An -tx1 | tr -d ' \n'; }
sample_fields='long:      123e4567.e89b12d3.a456.42:66:14:17:40:00
compact:   123e4567e89b12d3a456426614174000
version:   1
timestamp: 2228-06-25 19:54:18.9547520 UTC (start of a 104.8576 ms window)
counter:   233817
process:   37211 (the low 16 bits of the process id)
node:      42:66:14:17:40:00
'
check uuid-parse-hyphenated 0 "$(hex "$sample_fields")" - '' -- uuid parse 123e4567-e89b-12d3-a456-426614174000
check uuid-parse-compact  0 "$(hex "$sample_fields")" - '' -- uuid parse 123e4567e89b12d3a456426614174000
check uuid-parse-bad      1 ""             "QZMLK0657E Invalid Oid/Uuid format for arg: 'xyz' with value: 'xyz'" '' -- uuid parse xyz
check uuid-parse-count    2 ""             "only go with generation" '' -- uuid -n 2 parse 123e4567e89b12d3a456426614174000
check uuid-count-negative 2 ""             "not in range" '' -- uuid -n -1
check identity-parse      0 "$(hex 'text:    2:010aff
length:  2
type:    1
data:    0aff
nobody:  no
')" - '' -- identity parse 2:010aff
check identity-upper      1 ""             "QZMLK0661E Invalid Identity - hex conversion error for arg: 'str' with value: '2:010AFF'" '' -- identity parse 2:010AFF
check identity-size       1 ""             "QZMLK0660E" '' -- identity parse 3:010aff
check identity-make       0 "$(hex '2:01aaff
')" - '' -- identity make 1 aAfF
check identity-make-empty 0 "$(hex '0:00
')" - '' -- identity make 0 ''
check identity-make-odd   1 ""             "even number of hex digits" '' -- identity make 1 abc
check identity-make-type  2 ""             "not in range" '' -- identity make 256 00
# The longest data an identity's signed 16-bit length can give, and one byte more.
check identity-make-longest 0 -            -                     '' -- identity make 1 "$(head -c 65534 /dev/zero | tr '\0' a)"
check identity-make-long  1 ""             "longer than 32767 bytes" '' -- identity make 1 "$(head -c 65536 /dev/zero | tr '\0' a)"
check identity-alone      2 ""             "subcommand is required" '' -- identity

# arm report: a trace written by hand, with the figures worked out beforehand.
cat >"$tmp/trace.jsonl" <<'EOF'
{"event":"register_application","app":"server","buffers":[107]}

{"event":"stop_transaction","name":"Read","status":0,"response_ns":1000,"parent":null}
{"event":"stop_transaction","name":"Read","status":2,"response_ns":3000}
{"event":"stop_transaction","name":"Read","status":0,"response_ns":2000}
{"event": "stop_transaction", "name": "W\u00e9rk", "status": 0, "response_ns": 1500000}
EOF
check arm-report          0 "$(hex $'transaction\tcount\tfailures\tp50_us\tp90_us\tp99_us\tmax_us
Read\t3\t1\t2.000\t3.000\t3.000\t3.000
W\xc3\xa9rk\t1\t0\t1500.000\t1500.000\t1500.000\t1500.000
')" - '' -- arm report "$tmp/trace.jsonl"
# Nearest rank over 1..100 us: p50 is the 50th value, p90 the 90th, p99 the 99th.
for i in $(seq 100); do
  printf '{"event":"stop_transaction","name":"R","status":0,"response_ns":%d000}\n' "$i"
done >"$tmp/hundred.jsonl"
check arm-report-json     0 "$(printf '%s' '{
  "transactions": [
    {
      "transaction": "R",
      "count": 100,
      "failures": 0,
      "p50_ns": 50000,
      "p90_ns": 90000,
      "p99_ns": 99000,
      "max_ns": 100000
    }
  ]
}
' | od -An -tx1 | tr -d ' \n')" - '' -- arm report --format json "$tmp/hundred.jsonl"
# Lines that cannot be read are named and skipped; the rest still count.
printf '%s\n' '{"event":"stop_transaction","name":"x",}' '[1]' \
  '{"event":"stop_transaction","name":"x","status":0}' \
  '{"event":"stop_transaction","name":"x","status":"0","response_ns":1}' \
  '{"event":"stop_transaction","name":"x","status":0,"response_ns":-1}' \
  '{"event":"stop_transaction","name":"x","status":1,"response_ns":7000}' >"$tmp/bad.jsonl"
check arm-report-skips    0 "$(hex $'transaction\tcount\tfailures\tp50_us\tp90_us\tp99_us\tmax_us
x\t1\t1\t7.000\t7.000\t7.000\t7.000
')" - '' -- arm report "$tmp/bad.jsonl"
err=$("$zelutil" arm report "$tmp/bad.jsonl" 2>&1 >/dev/null)
for want in 'bad.jsonl:1: not a trace line, skipped: \[json.exception.parse_error' \
            'bad.jsonl:2: not a trace line, skipped: not a JSON object' \
            'bad.jsonl:3: not a trace line, skipped: no "response_ns"' \
            'bad.jsonl:4: not a trace line, skipped: "status" is not a whole number' \
            'bad.jsonl:5: not a trace line, skipped: "response_ns" is negative'; do
  if grep -q -- "$want" <<<"$err"; then echo "ok   arm-report-skip-message"; else
    echo "FAIL arm-report-skip-message: '$err' lacks '$want'"; failures=$((failures + 1)); fi
done
check arm-report-format   2 ""             "--format"                '' -- arm report --format xml "$tmp/bad.jsonl"
check arm-report-missing  1 ""             "cannot read" '' -- arm report "$tmp/none.jsonl"
check arm-alone           2 ""             "subcommand is required" '' -- arm

host_line=$("$zelutil" uuid parse 00000000.00001000.8000.00:01:78:56:34:12 | grep '^node:')
if [ "$host_line" = "node:      00:01:78:56:34:12 (host number 305419896)" ]; then
  echo "ok   uuid-parse-host-number"
else
  echo "FAIL uuid-parse-host-number: '$host_line'"; failures=$((failures + 1))
fi

# Generated ids: the requested number, in the requested form, all distinct.
generated() {
  local name=$1 pattern=$2 want=$3
  shift 3
  local out
  out=$("$zelutil" "$@")
  if [ "$(grep -cE "$pattern" <<<"$out")" = "$want" ] && [ "$(sort -u <<<"$out" | wc -l)" = "$want" ] &&
     [ "$(wc -l <<<"$out")" = "$want" ]; then
    echo "ok   $name"
  else
    echo "FAIL $name: '$out'"; failures=$((failures + 1))
  fi
}
long_form='^[0-9a-f]{8}\.[0-9a-f]{4}1[0-9a-f]{3}\.[89ab][0-9a-f]{3}\.[0-9a-f]{2}(:[0-9a-f]{2}){5}$'
generated uuid-one      "$long_form" 1 uuid
generated uuid-many     "$long_form" 5 uuid -n 5
generated uuid-compact  '^[0-9a-f]{12}1[0-9a-f]{3}[89ab][0-9a-f]{15}$' 4 uuid --compact -n 4
generated oid-many      "$long_form" 3 oid -n 3
check uuid-none           0 ""             - '' -- uuid -n 0

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
