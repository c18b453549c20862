#!/bin/bash
# Makes an ordinary user and then does what each line of its input says, answering "y" or "n". When
# the input ends, as it also does when the test crashes, all of it is taken back.
user=$1
home=/home/$user
services=() files=() groups=() mark=

# As the user, from a login's clean start.
as_user() { setpriv --reuid="$user" --regid="$user" --init-groups env -i HOME="$home" "$@"; }
# Other programs take their time.
wait_until() {
    for _ in {1..100}; do
        "$@" && return
        sleep 0.05
    done
    return 1
}
password() { echo "$user:$*" | chpasswd; }
# They share the machine's bus and the mark of systemd: one test at a time.
take_turn() { exec 9>/run/tessaline-test.lock && flock 9; }

# polkit HELPER POLICY: a polkit that lets the user start that helper, which the file names by its
# installed path, as it does the other one beside it.
polkit() {
    take_turn
    files+=(/usr/share/polkit-1/actions/com.quorvane.tessaline-test.policy)
    sed "s|\(policykit.exec.path\">\)[^<]*/|\1${1%/*}/|" "$2" >"${files[0]}"
    # The bus starts polkit when it is asked for, and takes it along.
    if ! dbus-send --system --print-reply --dest=org.freedesktop.DBus \
        /org/freedesktop/DBus org.freedesktop.DBus.GetId; then
        files+=(/run/dbus/pid /run/dbus/system_bus_socket)
        mkdir -p /run/dbus && rm -f /run/dbus/pid
        dbus-daemon --system --nofork </dev/null 9>&- &
        services+=($!)
    fi
    answer YES
}

# answer YES|NO: what polkit says to the user from now on. Only the panel's own action is answered: a
# program that polkit does not know by the policy file is refused.
answer() {
    local rule=/etc/polkit-1/rules.d/00-$user.rules
    local action=com.quorvane.tessaline.administer
    files+=("$rule")
    echo "polkit.addRule(function(action, subject) { if (subject.user == '$user')
        return action.id == '$action' ? polkit.Result.$1 : polkit.Result.NO; });" >"$rule"
    wait_until polkit_says "$1" "$action"
}
polkit_says() {
    local said=NO
    as_user sh -c "pkcheck --action-id $2 --process \$\$" && said=YES
    [ "$said" = "$1" ]
}

# manager: systemd's manager for the user, with ~/run as its runtime folder.
manager() {
    take_turn
    mkdir -p /run/systemd && mkdir /run/systemd/system && mark=/run/systemd/system
    as_user mkdir -m 700 "$home/run"
    for tree in /sys/fs/cgroup/{systemd,unified}; do
        mkdir "$tree/$user" && groups+=("$tree/$user")
        chown "$user" "$tree/$user"{,/cgroup.procs,/cgroup.subtree_control}
    done
    run_manager </dev/null 9>&- &
    services+=($!)
    wait_until [ -S "$home/run/systemd/private" ]
}
run_manager() {
    for group in "${groups[@]}"; do
        echo $BASHPID >"$group/cgroup.procs"
    done
    as_user XDG_RUNTIME_DIR="$home/run" /lib/systemd/systemd --user --log-target=null
}

trap '' PIPE # a test that crashed hears no answer
exec 3>&1 >/dev/null 2>&1
useradd --create-home --home-dir "$home" --shell /bin/bash --user-group "$user"
while read -r line; do
    if $line; then echo y; else echo n; fi >&3
done
wait_until eval '! pkill -KILL -u "$user"'
kill "${services[@]}"
wait
rm -f "${files[@]}"
for group in "${groups[@]}"; do
    find "$group" -depth -type d -exec rmdir {} ';'
done
[ -z "$mark" ] || rmdir "$mark"
userdel --force --remove "$user"
