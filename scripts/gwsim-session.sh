#!/bin/sh
# Runs a private system bus with lumo-gwsim on it, for developing and testing
# against a simulated gateway without a gateway.
#
#   scripts/gwsim-session.sh [options]              prints the environment to use,
#                                                   runs until Ctrl-C
#   scripts/gwsim-session.sh [options] -- CMD ...   runs CMD in that environment,
#                                                   then stops everything
# Options:
#   --root DIR     redirected root (LUMO_SYSROOT); default: a new temporary directory,
#                  removed on exit. The bus address is written to
#                  DIR/var/run/dbus/server_address and the socket lives beside it.
#   --model FILE   model for lumo-gwsim (default: its built-in model)
#   --gwsim PATH   lumo-gwsim binary (default: $LUMO_GWSIM, then the build trees,
#                  then $PATH)
#   --plugin PATH  registers the plug-in application PATH (package name: its file
#                  name) with the simulated framework and starts it: lumoctl app
#                  drives it at once
#   --plugin-user USER  runs the plug-in as USER (needs root)
#   --system-policy     the bus enforces the stock system-bus policy (deny by
#                  default) plus the project's policy files instead of allowing all
set -eu

here=$(cd "$(dirname "$0")/.." && pwd)
root=""
model=""
gwsim="${LUMO_GWSIM:-}"
plugin=""
plugin_user=""
system_policy=0

usage() {
    sed -n '2,23p' "$0" | sed 's/^# \{0,1\}//'
    exit "$1"
}

while [ $# -gt 0 ]; do
    case "$1" in
        --root) root="$2"; shift 2 ;;
        --model) model="$2"; shift 2 ;;
        --gwsim) gwsim="$2"; shift 2 ;;
        --plugin) plugin="$2"; shift 2 ;;
        --plugin-user) plugin_user="$2"; shift 2 ;;
        --system-policy) system_policy=1; shift ;;
        -h|--help) usage 0 ;;
        --) shift; break ;;
        *) echo "gwsim-session: unknown option $1" >&2; usage 2 >&2 ;;
    esac
done

if [ -z "$gwsim" ]; then
    for candidate in "$here/build/debug/tools/lumo-gwsim" "$here/build/release/tools/lumo-gwsim" \
                     "$here/build/asan/tools/lumo-gwsim"; do
        if [ -x "$candidate" ]; then gwsim="$candidate"; break; fi
    done
fi
if [ -z "$gwsim" ]; then gwsim=$(command -v lumo-gwsim || true); fi
if [ -z "$gwsim" ] || [ ! -x "$gwsim" ]; then
    echo "gwsim-session: lumo-gwsim not found; build it (cmake --build --preset debug) or pass --gwsim" >&2
    exit 1
fi
conf="$here/tests/dbus/system-bus.conf"

own_root=0
if [ -z "$root" ]; then
    root=$(mktemp -d "${TMPDIR:-/tmp}/lumo3-gw-XXXXXX")
    own_root=1
fi
mkdir -p "$root/var/run/dbus" "$root/etc/config" "$root/tmp/.uci"
root=$(cd "$root" && pwd)
# The UCI packages a gateway ships and the library writes into: the user device
# names, the application records and the cloud client's restore marker.
[ -e "$root/etc/config/devname" ] || printf "config devname 'macs'\n" > "$root/etc/config/devname"
[ -e "$root/etc/config/appmgr" ] || : > "$root/etc/config/appmgr"
[ -e "$root/etc/config/cloudclient" ] || printf "config cloudclient 'global'\n" > "$root/etc/config/cloudclient"
rundir="$root/var/run/dbus"
address="unix:path=$rundir/system_bus_socket"
logs=$(mktemp -d "${TMPDIR:-/tmp}/lumo3-gwlog-XXXXXX")

bus_pid=""
sim_pid=""
fw_pid=""
plugin_pid=""
cleanup() {
    trap - EXIT INT TERM
    [ -n "$plugin_pid" ] && kill "$plugin_pid" 2>/dev/null && wait "$plugin_pid" 2>/dev/null || true
    [ -n "$fw_pid" ] && kill "$fw_pid" 2>/dev/null && wait "$fw_pid" 2>/dev/null || true
    [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null && wait "$sim_pid" 2>/dev/null || true
    [ -n "$bus_pid" ] && kill "$bus_pid" 2>/dev/null && wait "$bus_pid" 2>/dev/null || true
    rm -rf "$logs"
    if [ "$own_root" = 1 ]; then rm -rf "$root"; else rm -f "$rundir/server_address"; fi
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Waits until FILE has a line matching PATTERN, while PID lives.
wait_for() {
    i=0
    while ! grep -q "$2" "$1" 2>/dev/null; do
        if ! kill -0 "$3" 2>/dev/null || [ $i -ge 200 ]; then return 1; fi
        sleep 0.05
        i=$((i + 1))
    done
}

# The stock system bus: Debian's system-bus policy (its run-time settings
# dropped: no user switch, fork, pid file, syslog or activation; the address
# comes from the command line)
# plus the project's policy files and one for the simulator's own names.
if [ "$system_policy" = 1 ]; then
    stock=/usr/share/dbus-1/system.conf
    [ -r "$stock" ] || { echo "gwsim-session: $stock missing (Debian package dbus)" >&2; exit 1; }
    sed -e '/<user>/d' -e '/<fork\/>/d' -e '/<pidfile>/d' -e '/<syslog\/>/d' -e 's|<listen>.*</listen>|<listen>unix:tmpdir=/tmp</listen>|' \
        -e '/<servicehelper>/d' -e '/<standard_system_servicedirs\/>/d' -e '/<include/d' \
        "$stock" > "$logs/stock.conf"
    policies="$here/build/debug/examples/dbus-1/system.d"
    [ -n "$plugin" ] && policies="$(cd "$(dirname "$plugin")" && pwd)/dbus-1/system.d"
    sim_user=$(id -un)
    names="com.quv.igd1 com.quv.appframework1 com.quv.kest1.framework com.morvane.vpnclient1"
    {
        echo '<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"'
        echo ' "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">'
        echo "<busconfig>"
        echo "  <include>$logs/stock.conf</include>"
        echo "  <includedir>$policies</includedir>"
        echo "  <policy user=\"$sim_user\">"
        for n in $names; do echo "    <allow own=\"$n\"/>"; done
        echo "  </policy>"
        echo "  <policy context=\"default\">"
        for n in $names; do echo "    <allow send_destination=\"$n\"/>"; done
        echo "  </policy>"
        echo "</busconfig>"
    } > "$logs/system.conf"
    conf="$logs/system.conf"
    # Other users must reach the socket and the redirected root.
    chmod 755 "$root" "$root/var" "$root/var/run" "$rundir"
fi

rm -f "$rundir/system_bus_socket"
dbus-daemon --config-file="$conf" --address="$address" --nofork --nopidfile --print-address \
    >"$logs/bus" 2>"$logs/bus.err" &
bus_pid=$!
if ! wait_for "$logs/bus" "unix:" "$bus_pid"; then
    echo "gwsim-session: dbus-daemon did not start:" >&2
    cat "$logs/bus.err" >&2
    exit 1
fi

if [ -n "$model" ]; then
    "$gwsim" --address "$address" --write-address-file "$rundir/server_address" --model "$model" >"$logs/sim" &
else
    "$gwsim" --address "$address" --write-address-file "$rundir/server_address" >"$logs/sim" &
fi
sim_pid=$!
if ! wait_for "$logs/sim" "^ready" "$sim_pid"; then
    echo "gwsim-session: lumo-gwsim did not start" >&2
    exit 1
fi

# A second instance plays the application framework; it finds applications' bus
# names from their control files under the root.
if [ -n "$model" ]; then
    LUMO_SYSROOT="$root" "$gwsim" --address "$address" --name com.quv.appframework1 --model "$model" >"$logs/fw" &
else
    LUMO_SYSROOT="$root" "$gwsim" --address "$address" --name com.quv.appframework1 >"$logs/fw" &
fi
fw_pid=$!
if ! wait_for "$logs/fw" "^ready" "$fw_pid"; then
    echo "gwsim-session: lumo-gwsim (framework) did not start" >&2
    exit 1
fi

# The plug-in: package files as an installation leaves them, registered with
# the framework, running until it is stopped.
if [ -n "$plugin" ]; then
    pkg=$(basename "$plugin")
    mkdir -p "$root/usr/lib/opkg/info"
    printf "Package: %s\nVendor: quv\nDbusVersion: 1\n" "$pkg" > "$root/usr/lib/opkg/info/$pkg.control"
    printf "config app '%s'\n\toption appid '5'\n" "$pkg" >> "$root/etc/config/appmgr"
    chmod -R a+rX "$root/usr" "$root/etc"
    DBUS_SYSTEM_BUS_ADDRESS="$address" gdbus call --system --dest com.quv.appframework1 \
        --object-path /org/lumo3/Simulator --method org.lumo3.Simulator1.AddObject \
        "/com/quv/appframework1/packages/$pkg" \
        "{'org.lumo3.Simulator1.Package': {'Name': <'$pkg'>, 'Text': <'$pkg'>, 'State': <'running'>, 'Number': <uint32 5>}}" \
        >/dev/null
    as_user=""
    if [ -n "$plugin_user" ]; then
        as_user="setpriv --reuid=$plugin_user --regid=$(id -g "$plugin_user") --init-groups"
    fi
    DBUS_SYSTEM_BUS_ADDRESS="$address" LUMO_SYSROOT="$root" $as_user "$plugin" >"$logs/plugin" 2>&1 &
    plugin_pid=$!
    i=0
    until DBUS_SYSTEM_BUS_ADDRESS="$address" gdbus call --system --dest org.freedesktop.DBus \
            --object-path /org/freedesktop/DBus --method org.freedesktop.DBus.NameHasOwner \
            "com.quv.${pkg}1" 2>/dev/null | grep -q true; do
        if ! kill -0 "$plugin_pid" 2>/dev/null || [ $i -ge 200 ]; then
            echo "gwsim-session: $pkg did not take its bus name:" >&2
            cat "$logs/plugin" >&2
            exit 1
        fi
        sleep 0.05
        i=$((i + 1))
    done
fi

if [ $# -gt 0 ]; then
    status=0
    DBUS_SYSTEM_BUS_ADDRESS="$address" LUMO_SYSROOT="$root" "$@" || status=$?
    exit "$status"
fi

cat <<EOF
# Simulated gateway running (lumo-gwsim pid $sim_pid, framework pid $fw_pid, dbus-daemon pid $bus_pid).
# In another shell:
export DBUS_SYSTEM_BUS_ADDRESS='$address'
export LUMO_SYSROOT='$root'
# e.g.  gdbus introspect --system --dest com.quv.igd1 --object-path /com/quv/igd1
# Control:  gdbus call --system --dest com.quv.igd1 --object-path /org/lumo3/Simulator \\
#             --method org.lumo3.Simulator1.GetCallLog
# Framework: gdbus call --system --dest com.quv.appframework1 --object-path /com/quv/appframework1 \\
#             --method com.quv.appframework1.AppAgent.List
# Ctrl-C stops them all.
EOF
[ -n "$plugin" ] && echo "# Plug-in $(basename "$plugin") running (pid $plugin_pid): build/debug/tools/lumoctl app stats $(basename "$plugin")"
wait "$sim_pid" || true
sim_pid=""
