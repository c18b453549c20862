#!/bin/bash
# launchctl.sh TOOLS ENGINE FOLDER: launchctl as its callers see it. TOOLS is where it is, FOLDER the
# user's runtime folder. At the first thing that is not as it should be, says so and ends with status 1.
export PATH=$1:$PATH TESSALINE_LAUNCHD_ENGINE=$2 XDG_RUNTIME_DIR=$3
folder=$(mktemp -d)
trap 'launchctl unload "$folder" 2>/dev/null; rm -rf "$folder"' EXIT
cd "$folder" || exit

wrong() { echo "$0:${BASH_LINENO[1]}: $*" && exit 1; }
is() { [ "$1" = "$2" ] || wrong "$1 is not $2"; }
# says STATUS TEXT ARGUMENTS…: TEXT is somewhere in what launchctl says.
says() {
    local text status=0
    text=$(launchctl "${@:3}" 2>&1) || status=$?
    [[ $status = "$1" && $text = *"$2"* ]] || wrong "${*:3} gives $status and says $text"
}
# sooner_or_later COMMAND…
sooner_or_later() {
    for _ in {1..3000}; do
        "$@" && return
        sleep 0.01
    done
    wrong "never $*"
}
lists_just() { [ "$(launchctl list | sed 1d | sort)" = "$1" ]; }
is_gone() { [[ ! -e /proc/$1 || $(cut -d' ' -f3 "/proc/$1/stat") = Z ]]; }
someone_waits() {
    grep -q ":$(stat -c %i "$XDG_RUNTIME_DIR"/tessaline/launchd/*:com.example.job) 1 1$" /proc/locks
}
nobody_waits() { ! someone_waits; }
lists() { sooner_or_later lists_just "$@"; }

# job KEYS [LABEL [FILE]]
job() {
    echo "<plist version=\"1.0\"><dict>$(text Label "${2-com.example.job}")$(text Program /bin/true)
        <key>RunAtLoad</key><true/>$1</dict></plist>" >"${3-job.plist}"
}
text() { echo "<key>$1</key><string>$2</string>"; }
# talking_job SECONDS-BETWEEN-STARTS WHEN-TERMINATED [KEEP-ALIVE [PROGRAM]]: a loaded job that says when it
# starts, with a child of its own, and that it is to end, and ends when and how it is told to: one that ignores
# the signal is given an hour, so that the test may take its time. The right working folder is what makes the
# pipes good.
talking_job() {
    rm -f said told && mkfifo said told && exec 8<>said 9<>told
    job "$(text WorkingDirectory "$folder/there/..")<key>ThrottleInterval</key><integer>$1</integer>
        <key>ExitTimeOut</key><integer>3600</integer><key>KeepAlive</key>
        ${3-<dict><key>SuccessfulExit</key><false/></dict>}$(text Program "${4-/bin/bash}")
        <key>ProgramArguments</key><array><string>bash</string><string>-c</string><string>
        trap 'echo TERM >said; $2' TERM; sleep 3600 &amp; echo \$\$ \$! \$TESSALINE_ROOT >said
        until read -r status; do :; done &lt;told; exit \$status</string></array>"
    says 0 '' load job.plist
}
hear() { read -r -t 30 heard child root <&8 || wrong "the job says nothing"; }
tell() { echo "$1" >&9; }

# From load to unload.
mkdir there
talking_job 0 exit
hear && says 0 "PID = $heard" list com.example.job
says 1 'com.example.job: Already loaded' load job.plist
TESSALINE_ROOT=/tmp says 0 '' load job.plist # another sandbox
hear && is "$root" /tmp
TESSALINE_ROOT=/tmp says 0 '' unload job.plist
hear && is "$heard" TERM
tell 3 && hear && kill -KILL "$heard" && hear
tell 0 && lists $'-\t0\tcom.example.job'
sooner_or_later is_gone "$child"
says 0 '' unload job.plist
says 1 'com.example.job: Not loaded' remove com.example.job
lists ''

# Time between two starts.
talking_job 3600 exit
hear && tell 3 && lists $'-\t3\tcom.example.job'
says 0 '' remove com.example.job

# A killed unload ends the job all the same.
talking_job 0 true
hear && first=$heard
kill -STOP "$first"
launchctl unload job.plist &
hear && is "$heard" TERM
kill -KILL $! && wait $! 2>/dev/null
# Loading again waits for the old one's end; who loads need not live to see it.
launchctl load job.plist &
sooner_or_later someone_waits
kill -KILL $! && wait $! 2>/dev/null
tell 0
hear && sooner_or_later is_gone "$first"
# To unload ends the one that waits, too.
launchctl unload job.plist &
hear && is "$heard" TERM
launchctl load job.plist 2>/dev/null &
sooner_or_later someone_waits
says 1 'com.example.job: Already loaded' load job.plist
launchctl remove com.example.job &
sooner_or_later nobody_waits
tell 0
wait $! || wrong 'does not remove both'
wait && lists ''

# Which ends are followed by a start.
while IFS='|' read -r keep status restarts; do
    talking_job 0 exit "$keep"
    hear
    if [ "$status" = -9 ]; then kill -KILL "$heard"; else tell "$status"; fi
    if [ "$restarts" ]; then hear; else lists "-	$status	com.example.job"; fi
    says 0 '' unload job.plist
done <<-END
	<true/>|0|yes
	<true/><key>RunAtLoad</key><false/>|3|yes
	<false/>|3|
	<false/>|-9|
	<dict><key>SuccessfulExit</key><true/></dict>|0|yes
	<dict><key>SuccessfulExit</key><true/></dict>|3|
	END

# A session's jobs end with its bus; another session's are its own, started anew.
talking_job 0 exit
hear && first=$heard
says 1 'Already loaded' load job.plist
[ "$2" = systemd ] || { job '' com.example.outer outer && says 0 '' load outer; }
dbus-run-session bash -c 'launchctl load job.plist && read -r -t 30 text <said && echo $text &&
    launchctl list && launchctl bootout && launchctl load job.plist && read -r -t 30 <said' >/dev/null
[ "$2" = systemd ] || { lists $'-\t0\tcom.example.outer' && says 0 '' unload outer; }
lists ''

# What does not start is not loaded.
for key in Program WorkingDirectory; do
    job "$(text $key /nowhere)"
    says 1 'Cannot ' load job.plist
    lists ''
done
# Unless it is to be kept alive: it is tried again.
job "$(text Program "$folder/late")<key>KeepAlive</key><true/><key>ThrottleInterval</key><integer>0</integer>
    <key>ExitTimeOut</key><integer>1</integer>"
says 0 "Cannot start $folder/late: No such file or directory; tried again" load job.plist
lists $'-\t127\tcom.example.job'
printf '#!/bin/sh\nblocked=$(grep -c "SigBlk.*[1-9a-f]" /proc/self/status)
    trap "" TERM; echo "$blocked $PWD" >%s; exec sleep 3600' "$folder/where" >new && chmod 755 new && mv -f new late
sooner_or_later test -s where && is "$(<where)" '0 /'
says 0 '' unload job.plist
# One that nothing starts is loaded and waits; a label may hold any character, and is shown as it can be.
# In a folder, hidden files and others than lists are no jobs.
job '' com.example.hidden .hidden.plist && job '' com.example.other other
job "<key>RunAtLoad</key><false/>$(text Program '')
    <key>ProgramArguments</key><array><string>/bin/true</string></array>" 'a-b c/ü\&#9;'
launchctl load . <&- >&- || wrong 'does not load without descriptors'
lists $'-\t0\ta-b c/ü\\\\x09'
says 0 '' unload .

# Many at once, each of them three times. On a slow machine one may fail because nobody answers in time.
for i in {0..9}; do job '' "com.example.$i" "$i"; done
for i in {0..9} {0..9} {0..9}; do launchctl load "$i" 2>/dev/null && echo & done >loaded
wait
[ "$(wc -l <loaded)" -le 10 ] || wrong "$(wc -l <loaded) are loaded"
lists "$(printf -- '-\t0\tcom.example.%s\n' {0..9})"
for i in {0..9} {0..9} {0..9}; do launchctl unload "$i" 2>/dev/null & done
wait
lists ''

# A job that keeps failing is told to the desktop, once, in the user's language.
job "$(text Program /bin/false)<key>KeepAlive</key><true/><key>ThrottleInterval</key><integer>0</integer>"
export -f sooner_or_later wrong
LANGUAGE=de_AT:en dbus-run-session bash -c 'dbus-monitor member=Notify >notices &
    sooner_or_later grep -q NameLost notices && launchctl load job.plist
    sooner_or_later grep -q "false schlägt immer wieder fehl" notices && launchctl unload job.plist; kill $!'
is "$(grep -c member=Notify notices)" 1

# Files that others could have written, and files that are no jobs.
while IFS='|' read -r message change spoil; do
    rm -f job.plist
    job "$change"
    eval "${spoil:-true} job.plist"
    says 1 "$message" load job.plist
done <<-END
	"Label" must be a string|<key>Label</key><integer>7</integer>
	is too long|$(text Label "$(printf 'x%.0s' {1..300})")
	Dubious ownership on file (skipping): job.plist||chmod 664
	Dubious ownership on file (skipping): job.plist||chown 12345 2>/dev/null job.plist || chmod 666
	holds no property list dictionary||truncate -s 100
	holds no property list dictionary||LC_ALL=C sed -i $'s/com/\xff/'
	is no job file||mkfifo -m 600 pipe && mv -f pipe
	is no job file||truncate -s 2M
	"Label" must be a string||echo '{ Label = "a\\000b"; Program = "/bin/true"; }' >
	"Program" must be an absolute path|$(text Program bin/true)
	"WorkingDirectory" must be an absolute path|$(text WorkingDirectory there)
	the job is disabled|<key>Disabled</key><true/>
	"ExitTimeOut" must be a number of seconds from 1|<key>ExitTimeOut</key><integer>0</integer>
	"ThrottleInterval" must be a number of seconds from 0|<key>ThrottleInterval</key><integer>86401</integer>
	"KeepAlive" with "Crashed" is not supported|<key>KeepAlive</key><dict><key>Crashed</key><true/></dict>
	Couldn't read job.plist||rm
	END
# A job of the superuser's whose program others could put there, or that cannot be reached; a job of one's
# own is one's own business.
if [ "$(id -u)" = 0 ]; then
    while IFS='|' read -r message spoil; do
        rm -rf there && mkdir -p there/on && cp /bin/true there/on && ln -s there/on/true link
        eval "$spoil"
        job "$(text Program "$folder/link")"
        says 1 "com.example.job is not run: $message" load job.plist
        says 1 "com.example.job is not run: $message" check job.plist
        lists ''
        rm -rf link
    done <<-END
		$folder/there could be changed by other users|chmod 777 there
		$folder/there/on could be changed|chgrp 12345 there/on && chmod 775 there/on
		$folder/there/on/true could be changed|/bin/chown 12345 there/on/true
		$folder/link could be changed|/bin/chown -h 12345 link
		Cannot reach $folder/link|ln -sfn "$folder/link" link
		END
    # Nor is one that others could change by the time it is started again.
    cp /bin/bash there && talking_job 0 exit '<true/>' "$folder/there/bash" && hear
    chmod 777 there && tell 0 && lists $'-\t127\tcom.example.job'
    says 0 '' unload job.plist
    job "$(text Program "$folder/none")"
    TESSALINE_ROOT=/tmp says 1 'Cannot start /' load job.plist

    # At login it loads what is there, for people alone: not for the superuser, nor for a greeter.
    agents=$(dirname "$0")/../../packaging/tessaline-launch-agents
    entry=$(sed -n 's/^Exec=//; T; s/[^ ]*launchctl/echo/g; s, /Library/[^ ]*, /,; s/\\\\/\\/gp' "$agents.desktop.in")
    while read -r user status loads; do
        as="setpriv --reuid=$user --clear-groups"
        $as systemd-analyze condition "$(grep ^Condition "$agents.service.in")" >/dev/null 2>&1
        is "$user $?" "$user $status" && is "$(eval "$as $entry")" "$loads"
    done <<-END
		0 1
		105 1
		1500 0 load /
		END
fi
# A user manager that keeps silent is none that is away: what it keeps is not started a second time.
if [ "$2" = systemd ]; then
    pkill -STOP -x -U "$(id -u)" systemd
    job '' && TESSALINE_LAUNCHD_ENGINE='' says 1 "systemd's user manager does not answer" load job.plist
    pkill -CONT -x -U "$(id -u)" systemd
    lists ''
fi
# What is merely unknown is said and left out; one file in trouble does not stop the others.
job '<key>Nice</key><integer>5</integer>' && touch a.plist
says 1 'the key "Nice" is not supported' load .
says 0 '' remove com.example.job
says 1 'usage: launchctl load' stop com.example.job
