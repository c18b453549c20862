#!/bin/bash
# killall.sh TOOLS FOLDER: killall as its callers see it, for a program and for scripts. Ends with status 1
# when something is not as it should be.
cd "$2" && mkdir there && export TESSALINE_ROOT=$2/there
# start COMMAND…: until its program has taken the shell's place.
start() {
    "$@" <>pipe >/dev/null &
    until [ "$(readlink /proc/$!/exe)" != "$(readlink /proc/$$/exe)" ] || grep -q Tolvin /proc/$!/cmdline; do
        sleep 0.01
    done
}
# What merely names the script among its arguments, lies elsewhere or has a longer name lives on.
while IFS='|' read -r first command; do
    if [ "$first" ]; then
        printf '%s\nread -r _\n' "$first" >there/Tolvin
    else
        cp /bin/sleep there/Tolvin
    fi
    chmod 755 there/Tolvin && cp there/Tolvin Tolvin && cp there/Tolvin there/Tolvin2 && mkfifo pipe
    start tail -f there/Tolvin && other=$!
    start ./Tolvin 100 && elsewhere=$!
    start there/Tolvin2 100 && longer=$!
    start $command && started=$!
    "$1/killall" Tolvin || echo "$0: does not find $command after $first"
    wait $started
    [ $? = 143 ] || { echo "$0: does not end $command after $first" && failed=1; }
    ! "$1/killall" Tolvin 2>/dev/null || { echo "$0: finds more than $command" && failed=1; }
    for each in $other $elsewhere $longer; do
        kill -KILL $each
        wait $each
        [ $? = 137 ] || { echo "$0: ends more than $command" && failed=1; }
    done 2>/dev/null
    rm pipe
done <<-END
	|there/Tolvin 100
	#!/bin/bash|there/Tolvin
	#!/bin/bash -u|$2/there/Tolvin
	#!/usr/bin/env bash|there/Tolvin
	END
exit ${failed-0}
