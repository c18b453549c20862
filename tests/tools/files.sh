#!/bin/bash
# files.sh TOOLS FOLDER: mv, chown and chmod as the superuser, on files that somebody else prepared. Says what
# is not as it should be, and ends with status 1 if anything is not.
export PATH=$1:$PATH
failed=0 folder=$2

# A line a case: STATUS | what was prepared | the command | what holds afterwards. ours/ is written by the
# superuser alone, theirs/ by user 1001; the old file holds "old", the new one "new".
while IFS='|' read -r status prepared command holds; do
    rm -rf "${folder:?}"/* && cd "$folder" || exit
    mkdir -m 755 ours theirs && echo new >theirs/a.plist && echo old >ours/a.plist && echo secret >shadow
    /bin/chown -R 1001:1001 theirs && /bin/chmod 666 theirs/a.plist &&
        /bin/chmod 600 shadow
    result=0
    eval "$prepared"
    said=$(eval "$command" 2>&1) || result=$?
    eval "[[ $result = $status ]] && $holds" && ! compgen -G '*/.moving-*' &&
        [ "$(stat -c %u:%a shadow)" = 0:600 ] && continue
    failed=1 && echo "$prepared: $command gives $result and says $said; not $holds"
done <<-'END'
	0 |echo half >ours/.moving-7|mv -f theirs/a.plist ours/a.plist|[ "$(cat ours/*) $(ls theirs) $(stat -c %u:%g:%a ours/*)" = 'new  0:0:644' ]
	0 |exec 7>>theirs/a.plist|mv -f theirs/a.plist ours; echo planted >&7|[ "$(cat ours/a.plist)" = new ]
	0 ||mv -f ours/a.plist theirs|[ "$(stat -c %u theirs/a.plist) $(cat theirs/a.plist) $(ls ours)" = '0 old ' ]
	0 |ln -s ../shadow ours/b.plist|mv -f theirs/a.plist ours/b.plist|[ ! -L ours/b.plist ]
	0 |mkdir theirs/d.d|mv -f theirs/d.d ours|[ -d ours/d.d ]
	0 |ln -s ../shadow ours/l|mv -f ours/l theirs/l|[ -L theirs/l ]
	0 |mkdir -m 777 /dev/shm/$$|mv -f theirs/a.plist /dev/shm/$$; mv -f /dev/shm/$$/a.plist theirs; rmdir /dev/shm/$$|[ "$(stat -c %u:%a theirs/a.plist)" = 1001:666 ]
	0 |mkdir /dev/shm/$$|mv -f theirs /dev/shm/$$; mv -f /dev/shm/$$/theirs .; rmdir /dev/shm/$$|[ -f theirs/a.plist ]
	1 |ln -sf ../shadow theirs/a.plist|mv -f theirs/a.plist ours/a.plist|[ "$(cat ours/a.plist)" = old ]
	1 |ln -f shadow theirs/a.plist|mv -f theirs/a.plist ours/a.plist|[ "$(cat ours/a.plist)" = old ]
	1 |rm theirs/*; mkfifo theirs/a.plist|mv -f theirs/a.plist ours/a.plist|[ "$(cat ours/a.plist)" = old ]
	1 |mkdir -p ours/b/a.plist/c|mv -f theirs/a.plist ours/b|[ "$(cat theirs/a.plist)" = new ]
	1 ||mv -f theirs/a.plist theirs/../theirs/a.plist|[ "$(cat theirs/a.plist)" = new ]
	1 ||mv -f theirs/a.plist ours/Preferences|[ ! -e ours/Preferences ]
	1 ||mv -f theirs/a.plist none/a.plist|[ "$(cat theirs/a.plist)" = new ]
	1 |truncate -s 1M theirs/a.plist|(ulimit -f 512; mv -f theirs/a.plist ours/a.plist)|[ "$(cat ours/a.plist)" = old ]
	1 ||mv theirs/a.plist ours/a.plist|[ "$(cat ours/a.plist)" = old ]
	1 |ln -s ../shadow ours/l|chmod 644 ours/l|[ -L ours/l ]
	1 |ln shadow ours/l|chmod 644 ours/l|[ -e ours/l ]
	1 |ln -s ../shadow theirs/l|chown 1001:wheel theirs/l|[ -L theirs/l ]
	0 ||chown root:wheel theirs/a.plist; chmod 0640 theirs/a.plist theirs|[ "$(stat -c %u:%g:%a theirs/a.plist)" = 0:0:640 ]
	1 ||chown nobody:nowhere theirs/a.plist|[ "$(stat -c %u theirs/a.plist)" = 1001 ]
	0 |touch -d @7 theirs/a.plist|mv -f theirs/a.plist ours|[ "$(stat -c %Y ours/a.plist)" = 7 ]
	1 ||chmod 00644 ours/a.plist|[ -e ours/a.plist ]
	1 ||chmod u+s ours/a.plist|[ ! -u ours/a.plist ]
	END
exit $failed
