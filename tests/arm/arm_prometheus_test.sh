#!/usr/bin/env bash
# Checks the arm4-prometheus runtime as an operator meets it: an instrumented
# program serves /metrics on a free loopback port and is scraped over HTTP.
# Usage: arm_prometheus_test.sh metrics|refusals|prometheus|concurrent PROGRAM
# (CTest puts the runtime's directory first on LD_LIBRARY_PATH). Exit 77: skipped.
#   metrics     120 good and 7 failed transactions, counted and clean for promtool
#   refusals    custom buckets and the cap on names apply; bad addresses, a taken
#               port and bad buckets leave ARM off, and nothing else
#   prometheus  a real Prometheus server scrapes the program and answers a query
#   concurrent  threads start and stop transactions while /metrics is scraped
set -u
mode=$1
program=$2
tmp=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
  wait 2>/dev/null
  rm -rf "$tmp"
}
trap cleanup EXIT
fail() {
  echo "FAIL $mode: $*"
  for f in "$tmp"/*.out "$tmp"/*.err; do [ -s "$f" ] && { echo "--- $f"; cat "$f"; }; done
  exit 1
}

free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# start NAME FD ARGS...: runs the program in the background, its input held
# open on file descriptor FD until finish closes it.
start() {
  local name=$1 fd=$2
  shift 2
  mkfifo "$tmp/$name.in"
  "$program" "$@" <"$tmp/$name.in" >"$tmp/$name.out" 2>"$tmp/$name.err" &
  pids+=($!)
  eval "exec $fd>\"$tmp/$name.in\""
}

# finish NAME FD: ends the program's input and checks that it exits with 0.
finish() {
  local name=$1 fd=$2 pid=${pids[-1]}
  eval "exec $fd>&-"
  wait "$pid" || fail "$name exited with $?"
  unset 'pids[-1]'
}

# wait_for NAME LINE: up to 60 s for the program's output to hold LINE.
wait_for() {
  for _ in $(seq 600); do
    grep -qx -- "$2" "$tmp/$1.out" && return 0
    sleep 0.1
  done
  fail "$1 never printed '$2'"
}

scrape() { curl -sf --max-time 10 "http://127.0.0.1:$1/metrics" >"$tmp/metrics" || fail "no /metrics on port $1"; }

expect_line() { grep -qxF -- "$1" "$tmp/metrics" || fail "no line '$1' in /metrics"; }

# run_off NAME ENV-ASSIGNMENT... : a short run that must leave ARM off and say
# why on standard error.
run_off() {
  local name=$1 why=$2
  shift 2
  env "$@" "$program" run 5 1 </dev/null >"$tmp/$name.out" 2>"$tmp/$name.err" ||
    fail "$name: the program failed with ARM off"
  grep -qx 'arm off' "$tmp/$name.out" || fail "$name: ARM is not off"
  grep -q -- "$why" "$tmp/$name.err" || fail "$name: standard error lacks '$why'"
  echo "ok   $name"
}

case "$mode" in
  metrics)
    port=$(free_port)
    ZEL_ARM_PROMETHEUS=127.0.0.1:$port start app 3 run 120 7
    wait_for app ran
    grep -qx 'arm on' "$tmp/app.out" || fail "ARM is off"
    grep -qx 'nulls refused' "$tmp/app.out" || fail "a null message buffer was not refused"
    scrape "$port"
    series='application="zel-test",status="%s",transaction="Checkout"'
    good=$(printf "$series" good)
    failed=$(printf "$series" failed)
    expect_line "zel_arm_transactions_total{$good} 120"
    expect_line "zel_arm_transactions_total{$failed} 7"
    expect_line "zel_arm_transactions_total{$(printf "$series" aborted)} 0"
    expect_line "zel_arm_transactions_total{$(printf "$series" unknown)} 1"
    expect_line "zel_arm_transaction_duration_seconds_count{$good} 120"
    expect_line "zel_arm_transaction_duration_seconds_bucket{$failed,le=\"+Inf\"} 7"
    expect_line 'zel_arm_transactions_total{application="zel-test",status="good",transaction="Grüße \"q\"\\"} 1'
    # The default buckets: 100 us doubling up to 26.2144 s, then +Inf.
    [ "$(grep -c "^zel_arm_transaction_duration_seconds_bucket{$good" "$tmp/metrics")" = 20 ] ||
      fail "not 20 buckets in a histogram"
    grep -qF "_bucket{$good,le=\"26.2144\"} 120" "$tmp/metrics" || fail "no 26.2144 s bucket"
    awk -v s="zel_arm_transaction_duration_seconds_sum{$good}" '$1 == s && $2 > 0 {ok = 1}
      END {exit !ok}' "$tmp/metrics" || fail "the good transactions took no time"
    if command -v promtool >/dev/null; then
      promtool check metrics <"$tmp/metrics" || fail "promtool check metrics"
      echo "ok   promtool check metrics"
    else
      echo "promtool not installed: exposition format not checked"
    fi
    finish app 3
    ;;
  refusals)
    # A program with custom buckets and 1,002 names, the last two counted as
    # "other", that then holds its port against a second one.
    port=$(free_port)
    ZEL_ARM_PROMETHEUS=127.0.0.1:$port ZEL_ARM_PROMETHEUS_BUCKETS=0.5,1,2.5 \
      start holder 3 run 2 0 1000
    wait_for holder ran
    scrape "$port"
    good='application="zel-test",status="good",transaction="Checkout"'
    [ "$(grep -c "^zel_arm_transaction_duration_seconds_bucket{$good" "$tmp/metrics")" = 4 ] ||
      fail "ZEL_ARM_PROMETHEUS_BUCKETS=0.5,1,2.5 did not give 4 buckets"
    expect_line "zel_arm_transaction_duration_seconds_bucket{$good,le=\"2.5\"} 2"
    [ "$(grep -c '^zel_arm_transactions_total{.*status="good"' "$tmp/metrics")" = 1001 ] ||
      fail "not 1,000 transaction names and other"
    expect_line 'zel_arm_transactions_total{application="zel-test",status="good",transaction="name-997"} 1'
    expect_line 'zel_arm_transactions_total{application="zel-test",status="good",transaction="other"} 2'
    run_off taken-port "cannot serve metrics on 127.0.0.1:$port" ZEL_ARM_PROMETHEUS=127.0.0.1:$port
    scrape "$port"  # the first program serves on
    for address in nonsense 127.0.0.1: :9464 127.0.0.1:0 127.0.0.1:65536 127.0.0.1:12x \
                   "127.0.0.1:$port,127.0.0.1:1"; do
      run_off "address '$address'" "is not host:port" "ZEL_ARM_PROMETHEUS=$address"
    done
    # Well formed, but not an address of this machine.
    run_off "foreign address" "cannot serve metrics" ZEL_ARM_PROMETHEUS=192.0.2.1:$(free_port)
    for buckets in "" abc "0.5,0.1" "1,1" "0.1,,1" "0,1" "-1" "0.1, 1" "1e999" "nan"; do
      run_off "buckets '$buckets'" "ZEL_ARM_PROMETHEUS_BUCKETS=" \
        ZEL_ARM_PROMETHEUS=127.0.0.1:$(free_port) "ZEL_ARM_PROMETHEUS_BUCKETS=$buckets"
    done
    finish holder 3
    ;;
  prometheus)
    if ! command -v prometheus >/dev/null; then
      echo "SKIP: no prometheus binary (Debian package prometheus) to scrape the program"
      exit 77
    fi
    port=$(free_port)
    ZEL_ARM_PROMETHEUS=127.0.0.1:$port start app 3 run 120 7
    wait_for app ran
    server_port=$(free_port)
    cat >"$tmp/prometheus.yml" <<EOF
global:
  scrape_interval: 1s
scrape_configs:
  - job_name: zel
    static_configs:
      - targets: ['127.0.0.1:$port']
EOF
    prometheus --config.file="$tmp/prometheus.yml" --storage.tsdb.path="$tmp/data" \
      --web.listen-address="127.0.0.1:$server_port" >"$tmp/server.err" 2>&1 &
    pids+=($!)
    query='zel_arm_transactions_total{application="zel-test",transaction="Checkout",status="good"}'
    value=
    for _ in $(seq 60); do
      sleep 1
      curl -sf --max-time 5 "http://127.0.0.1:$server_port/api/v1/query" \
        --data-urlencode "query=$query" >"$tmp/answer.out" 2>/dev/null || continue
      value=$(python3 -c 'import json, sys
result = json.load(sys.stdin)["data"]["result"]
print(result[0]["value"][1] if len(result) == 1 else "")' <"$tmp/answer.out" 2>/dev/null)
      [ "$value" = 120 ] && break
    done
    [ "$value" = 120 ] || fail "Prometheus answered '$value', not 120 good transactions, in 60 s"
    echo "ok   prometheus: $(cat "$tmp/answer.out")"
    kill "${pids[-1]}"
    wait "${pids[-1]}" 2>/dev/null
    unset 'pids[-1]'
    finish app 3
    ;;
  concurrent)
    port=$(free_port)
    ZEL_ARM_PROMETHEUS=127.0.0.1:$port start busy 3 busy 8
    wait_for busy 'arm on'
    previous=0
    for _ in $(seq 20); do
      scrape "$port"
      count=$(awk '$1 == "zel_arm_transactions_total{application=\"zel-test\",status=\"good\",transaction=\"Checkout\"}" {print $2}' "$tmp/metrics")
      [ -n "$count" ] && [ "$count" -ge "$previous" ] || fail "count '$count' after $previous"
      previous=$count
    done
    finish busy 3
    ran=$(sed -n 's/^ran //p' "$tmp/busy.out")
    [ "$ran" -ge "$previous" ] && [ "$previous" -gt 0 ] || fail "scraped $previous of $ran"
    echo "ok   20 scrapes during $ran transactions"
    ;;
  *) echo "usage: $0 metrics|refusals|prometheus|concurrent PROGRAM" >&2; exit 2 ;;
esac
