#!/usr/bin/env bash
# Runs the generated bash completion against the simulator (inside
# scripts/gwsim-session.sh) and checks the candidates offered.
# Usage: completion.sh COMPLETION_SCRIPT LUMOCTL
set -u
source "$1"
PATH=$(dirname "$2"):$PATH
failed=0
# expect "WORDS..." "CANDIDATE..." : every listed candidate is offered.
expect() {
    local -a words
    read -r -a words <<<"$1"
    [[ $1 == *" " ]] && words+=("")
    COMP_WORDS=(lumoctl "${words[@]}")
    COMP_CWORD=${#words[@]}
    COMPREPLY=()
    _lumoctl
    local want
    for want in $2; do
        if [[ " ${COMPREPLY[*]} " != *" $want "* ]]; then
            echo "lumoctl $1<TAB>: '$want' not among: ${COMPREPLY[*]}"
            failed=1
        fi
    done
}
expect "dev" "device"
expect "--js" "--json"
expect "portmap " "list get set add delete"
expect "portmap add Inter" "InternalPort= InternalClient="
expect "lanhost get --m" "--mac"
expect "portmap set " "ExternalPort= /com/quv/igd1/Config/PortMapping/1"
expect "wan get " "/com/quv/igd1/Info/Network/WANConnectionDb/1 /com/quv/igd1/Info/Network/WANConnectionDb/2"
# No gateway: no paths, and no waiting beyond the short limit.
expect "--address unix:path=/nonexistent portmap get " ""
[[ ${#COMPREPLY[@]} == 0 ]] || { echo "paths offered without a gateway: ${COMPREPLY[*]}"; failed=1; }
exit $failed
