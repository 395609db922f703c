#!/usr/bin/env bash
# demo.sh BUILD_TREE: runs the programs of a release build from the saved key to an answer, in a temporary home. The
# user's own ~/.ferrin and services are not touched. Needs curl; on Linux also libnss-wrapper and runit.
#
# launchd uses the user's own home only. So on macOS the demo starts the relay itself, on a free port, and installs no
# service.
set -euo pipefail

tree=$1
port=8787
label=com.ferrin.third-party-proxy
sentence='This sentence went to the relay without a key, to the provider with one, and came back word by word.'

home=$(mktemp -d "${TMPDIR:-/tmp}/ferrin-demo.XXXXXX")
secrets=$home/.ferrin/secrets
service=$home/.local/share/ferrin-relay/sv/$label
provider_pid=
relay_pid=
outcome='Demo failed'

step() {
  outcome="Demo failed in step $*"
  printf '\n%s\n' "$*"
}
say() { printf '  %s\n' "$*"; }
die() {
  outcome="Demo failed: $*"
  exit 1
}

# eventually COMMAND...: repeats it until it succeeds; fails after ten seconds.
eventually() {
  local deadline=$((SECONDS + 10))
  until "$@"; do
    [ "$SECONDS" -lt "$deadline" ] || return 1
    sleep 0.05
  done
}

# --- stopping

stop_process() {
  [ -n "$1" ] || return 0
  kill "$1" 2>/dev/null || true
  wait "$1" 2>/dev/null || true
}

stop_service() {
  [ -d "$service/supervise" ] || return 0
  sv -w 7 force-shutdown "$service" >/dev/null || true
  eventually service_is_gone
}

service_is_gone() { ! sv status "$service" 2>/dev/null | grep -q '^run:'; }

stop_everything() {
  stop_service || { outcome='Demo failed: the relay could not be stopped'; return 1; }
  stop_process "$relay_pid"
  stop_process "$provider_pid"
  relay_pid='' provider_pid=''
  rm -rf "$home"
}

finish() {
  local status=$?
  trap '' INT TERM
  trap - EXIT
  stop_everything || status=1
  printf '\n%s\n' "$outcome"
  exit "$status"
}
trap finish EXIT
trap 'outcome="Demo stopped before its end"; exit 130' INT TERM

# --- the steps

port_holder() {
  ss -Htlnp "sport = :$port" 2>/dev/null | sed -n 's/.*users:(("\([^"]*\)",pid=\([0-9]*\).*/\1, process \2/p' | head -n 1
}

port_is_taken() { (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; }

check_port() {
  local holder
  port_is_taken || return 0
  holder=$(port_holder)
  die "port $port is in use by ${holder:-a program of another user}, and the relay needs it; stop that first"
}

# base_url FILE: the address in the first line that both programs print.
base_url() { sed -n 's/^listening on \([^ ,]*\).*/\1/p' "$1"; }
has_base_url() { [ -n "$(base_url "$1")" ]; }

save_url_and_key() {
  (
    umask 077
    mkdir -p "$secrets"
    od -An -tx1 -N16 /dev/urandom | tr -d ' ' >"$secrets/openai-proxy-upstream.token"
  )
}

start_provider() {
  "$tree/bin/ferrin-sample-provider" --key-file "$secrets/openai-proxy-upstream.token" --prefix /v1 \
    --echo --delta-bytes 6 --delay-ms 200 --interval-ms 60 >"$home/provider.out" &
  provider_pid=$!
  eventually has_base_url "$home/provider.out" || die 'the sample provider did not start'
  base_url "$home/provider.out" >"$secrets/openai-proxy-upstream.url"
  say "$(base_url "$home/provider.out")"
}

# in_private_home COMMAND...: runs it as a user whose home in the user database is the temporary one, and who has no
# systemd.
in_private_home() {
  printf 'demo:x:%s:%s::%s:/bin/sh\n' "$(id -u)" "$(id -g)" "$home" >"$home/passwd"
  printf 'demo:x:%s:\n' "$(id -g)" >"$home/group"
  env LD_PRELOAD=libnss_wrapper.so NSS_WRAPPER_PASSWD="$home/passwd" NSS_WRAPPER_GROUP="$home/group" \
    HOME="$home" XDG_RUNTIME_DIR="$home" "$@"
}

apply() {
  local line
  line=$(in_private_home "$tree/bin/ferrin-relay" --apply-reference-config 2>&1) || die "$line"
  say "$line"
  relay=http://127.0.0.1:$port
}

start_relay_by_hand() {
  "$tree/Ferrin Relay.app/Contents/Helpers/ferrin-third-party-proxy" --host 127.0.0.1 --port 0 --timeout 600 \
    --upstream "$(cat "$secrets/openai-proxy-upstream.url")" \
    --api-key-file "$secrets/openai-proxy-upstream.token" >"$home/relay.out" 2>&1 &
  relay_pid=$!
  eventually has_base_url "$home/relay.out" || die "the relay did not start: $(cat "$home/relay.out")"
  relay=$(base_url "$home/relay.out")
  relay=${relay%/v1}
}

relay_listens() { curl -fsS -o "$home/health" "$relay/healthz" 2>/dev/null; }

relay_log() { tail -n 3 "$home/.ferrin/logs/third-party-proxy.log" 2>/dev/null; }

# Prints the text of each event as it arrives.
show_deltas() {
  local line delta
  printf '  '
  while IFS= read -r line; do
    case $line in
      'data: {"type":"response.output_text.delta"'*)
        delta=${line##*\"delta\":\"}
        printf '%s' "${delta%%\",\"logprobs\"*}"
        ;;
      *'"type":"response.completed"'*) : >"$home/completed" ;;
    esac
  done
  printf '\n'
}

ask() {
  curl -sS --no-buffer --fail-with-body --max-time 60 -H 'Content-Type: application/json' \
    --write-out '%{stderr}%{time_starttransfer} %{time_total}\n' \
    --data "{\"model\":\"sample-model\",\"input\":\"$sentence\",\"stream\":true}" \
    "$relay/v1/responses" 2>"$home/times" | tee "$home/answer" | show_deltas ||
    die "no answer came through the relay: $(cat "$home/times")$(relay_log)"
  [ -e "$home/completed" ] || die "the answer broke off: $(cat "$home/times")"
  read -r first total < <(awk '{ printf "%d %d\n", $1 * 1000, $2 * 1000 }' "$home/times")
  say "first byte after $first ms, the whole answer after $total ms (the provider waits 200 ms before it begins)"
}

show_status() {
  if [ -z "$relay_pid" ]; then
    say "service:  $(sv status "$service" | sed "s|$service: ||")"
  fi
  relay_listens || die 'the relay stopped answering'
  say "relay:    $(cat "$home/health")"
  say "provider: $(curl -fsS "$(sed 's|/v1$||' "$secrets/openai-proxy-upstream.url")/stats")"
}

if [ "$(uname -s)" = Darwin ]; then
  step '1. A provider on this machine, its address and a new key saved in a private home'
  save_url_and_key
  start_provider
  step '2. The relay, started by hand: launchd and your own ~/.ferrin are left alone'
  start_relay_by_hand
else
  check_port
  step '1. A provider on this machine, its address and a new key saved in a private home'
  save_url_and_key
  start_provider
  step '2. ferrin-relay --apply-reference-config: the relay, installed and run by a service manager (runit)'
  apply
fi
eventually relay_listens || die "the relay does not answer: $(relay_log)"
say "listening on $relay/v1"
step '3. One answer through the relay, as it arrives'
ask
step '4. Status'
show_status
step '5. Stopping everything'
stop_everything || exit 1
outcome="Demo succeeded: an answer came through the relay, first byte after $first ms; everything is stopped"
