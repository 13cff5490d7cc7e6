#!/bin/sh
# The example plug-in, run as the user its policy file names, on a bus that denies
# by default: it owns its name, the framework (root) stops it, and another
# unprivileged user's Stop or Restore is refused and changes nothing.
# Usage: plugin_bus_policy.sh SOURCE_DIR DEMOPLUGIN LUMOCTL LUMO_GWSIM
set -eu
src=$1 plugin=$2 lumoctl=$3 gwsim=$4
plugin_user=daemon
other_user=nobody

if [ "$(id -u)" != 0 ]; then
    echo "skipped: switching to the users $plugin_user and $other_user needs root"
    exit 77
fi
if ! setpriv --reuid="$plugin_user" --regid="$(id -g "$plugin_user")" --clear-groups test -x "$plugin"; then
    echo "skipped: user $plugin_user cannot run $plugin (build tree not readable by others)"
    exit 77
fi

export plugin lumoctl plugin_user other_user
exec "$src/scripts/gwsim-session.sh" --gwsim "$gwsim" --system-policy --plugin "$plugin" \
    --plugin-user "$plugin_user" -- sh -eu -c '
fail() { echo "FAIL: $*" >&2; exit 1; }
bus() { gdbus call --system --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
            --method "org.freedesktop.DBus.$1" "$2"; }
as_other() { setpriv --reuid="$other_user" --regid="$(id -g "$other_user")" --clear-groups "$@"; }
name=com.quv.demoplugin1

uid=$(bus GetConnectionUnixUser "$name" | sed "s/.* \([0-9]*\),)$/\1/")
[ "$uid" = "$(id -u "$plugin_user")" ] || fail "$name is owned by uid $uid, not $plugin_user"

"$lumoctl" app post demoplugin hello >/dev/null
before=$("$lumoctl" app stats demoplugin)
[ "$before" = "{\"messages\":1}" ] || fail "statistics before: $before"

for method in Stop Restore; do
    if out=$(as_other gdbus call --system --dest "$name" --object-path /com/quv/demoplugin1 \
                 --method "$name.management.$method" 2>&1); then
        fail "$other_user may call $method: $out"
    fi
    case $out in *AccessDenied*) ;; *) fail "$method refused for another reason: $out" ;; esac
done
after=$("$lumoctl" app stats demoplugin)
[ "$after" = "$before" ] || fail "refused calls changed the statistics: $after"

"$lumoctl" app stop demoplugin >/dev/null
i=0
while bus NameHasOwner "$name" | grep -q true; do
    [ $i -lt 100 ] || fail "the framework'"'"'s Stop did not stop the plug-in"
    sleep 0.05; i=$((i + 1))
done
echo "ok: owned by $plugin_user, stopped by the framework, refused for $other_user"
'
