#!/bin/sh
# A short tour of lumoctl against a simulated gateway, in one command:
# installs what is missing, builds (debug preset), starts a private system bus with
# lumo-gwsim on it, runs the tour and stops everything it started.
#   scripts/demo.sh
set -eu

here=$(cd "$(dirname "$0")/.." && pwd)
build="$here/build/debug"

if [ "${1:-}" != "--tour" ]; then
    cd "$here"
    scripts/setup-deps.sh
    cmake --preset debug >/dev/null
    cmake --build --preset debug -j2 --target lumoctl lumo-gwsim
    # The session exports DBUS_SYSTEM_BUS_ADDRESS and LUMO_SYSROOT for the tour and
    # stops the bus and the simulator when it ends.
    exec scripts/gwsim-session.sh --gwsim "$build/tools/lumo-gwsim" -- "$0" --tour
fi

lumoctl="$build/tools/lumoctl"
tmp=$(mktemp -d "${TMPDIR:-/tmp}/lumoctl-demo-XXXXXX")
watcher=""
finish() {
    [ -n "$watcher" ] && kill "$watcher" 2>/dev/null || true
    rm -rf "$tmp"
}
trap finish EXIT

say() { printf '\n### %s\n' "$*"; }
# Echoes a command, then runs it.
run() {
    printf '$ lumoctl %s\n' "$*"
    "$lumoctl" "$@"
}

say "Device information"
run device get

say "WAN connections"
run wan list

say "LAN hosts (JSON: one object per host)"
run --json lanhost list

say "Port mappings: add a rule, see it, delete it"
run portmap list
printf '$ lumoctl %s\n' "portmap add InternalClient=192.168.1.30 ExternalPort=2222 InternalPort=22 PortMappingProtocol=TCP Enable=true Description=ssh"
added=$("$lumoctl" portmap add InternalClient=192.168.1.30 ExternalPort=2222 InternalPort=22 \
    PortMappingProtocol=TCP Enable=true Description=ssh)
echo "$added"
rule=${added#added }
run portmap get "$rule"
echo "# destructive commands refuse to run without --yes (exit status 2):"
run portmap delete "$rule" || echo "(exit status $?)"
run portmap delete --yes "$rule"

say "A WiFi change seen by watch"
: >"$tmp/watch.out"
: >"$tmp/watch.err"
echo '$ lumoctl watch --count 1 --timeout 10 &'
"$lumoctl" watch --count 1 --timeout 10 >"$tmp/watch.out" 2>"$tmp/watch.err" &
watcher=$!
i=0
until grep -q watching "$tmp/watch.err"; do
    i=$((i + 1))
    if [ $i -gt 200 ] || ! kill -0 "$watcher" 2>/dev/null; then
        echo "demo: watch did not start" >&2
        cat "$tmp/watch.err" >&2
        exit 1
    fi
    sleep 0.05
done
run wifi set Enable2G=false
status=0
wait "$watcher" || status=$?
watcher=""
echo "# watch printed:"
cat "$tmp/watch.out"
[ "$status" -eq 0 ] || { echo "demo: watch ended with status $status" >&2; exit 1; }
run wifi set Enable2G=true

say "A command with status and message"
run system check-loid

say "Done; the simulator and its bus stop now."
