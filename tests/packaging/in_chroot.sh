#!/usr/bin/env bash
# in_chroot.sh: installs the packages that lie beside it on a bare Debian, uses them as root, as a
# member of the group and as a stranger, upgrades, and purges. The first thing that is not as it
# should be ends it, with a line that says what. Only for a chroot: it changes users and packages.
set -euo pipefail
cd "$(dirname "$0")"
export LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
unset "${!MVSMS_@}"
home=/var/lib/mvsms

fail() { echo "FAILED: $*" >&2; exit 1; }

is() {  # WHAT WANTED FOUND
  [ "$2" = "$3" ] || fail "$1: wanted \"$2\", found \"$3\""
}

has() {  # WHAT PATTERN TEXT
  grep --quiet --extended-regexp -- "$2" <<<"$3" || fail "$1: no \"$2\" in \"$3\""
}

as() { local user=$1; shift; runuser --user "$user" -- env --chdir=/ HOME="/home/$user" "$@"; }

# Names, kinds, modes and owners of everything that the packages could touch, and what the
# configuration says; without what dpkg and others keep about every installation.
picture() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /tmp -o -path /run -o -path /root \
      -o -path /packages -o -path /home -o -path /var/lib/dpkg -o -path /var/cache -o -path /var/log \
      -o -path /var/mail -o -path /etc/ld.so.cache -o -name '.pwd.lock' \
      -o -path /var/lib/systemd \) -prune -o ! -name '*-' -printf '%y %m %u %g %p %l\n' | sort
  sort /etc/passwd
  cut -d: -f1,4 /etc/group | sort
}

install() { dpkg --install "$@" >/tmp/dpkg.log 2>&1 || { cat /tmp/dpkg.log >&2; fail "install $*"; }; }

start_centre() {
  : >/tmp/centre
  as anna mvsms centre --tcp 0 --quiet >>/tmp/centre &
  centre=$!
  until grep --quiet Listening /tmp/centre; do sleep 0.1; done
  port=$(sed -n 's/.*127\.0\.0\.1://p' /tmp/centre)
}

stop_centre() { kill "$centre" 2>/dev/null && wait "$centre" || true; }

configure() {
  mvsms modem add Line --kind tcp >/dev/null
  mvsms service add Pager Protocol=TAP "PhoneNumber=127.0.0.1:$port" >/dev/null
  mvsms config set WriteLogfile 1 >/dev/null
}

echo "installed, with a user, a group and a folder"
useradd --create-home anna
useradd --create-home bert
picture >/tmp/before
install older.deb
is "the folder" "2770 mvsms mvsms" "$(stat --format='%a %U %G' $home)"
has "the user's groups" dialout "$(id -nG mvsms)"

echo "root, the group and the service's user share it; others have their own"
usermod --append --groups mvsms anna
start_centre
configure
as anna mvsms send --to 0172 --quiet "Pump 3 has stopped" || fail "anna's send"
mvsms send --to 0172 --quiet "Pump 4 has stopped" || fail "root's send"
as mvsms mvsms send --to 0172 --quiet "Pump 5 has stopped" || fail "the service's send"
has "the journal" "Pump 3" "$(mvsms journal)"
is "sends in the log" 3 "$(as anna mvsms log | grep --count 'Begin send message')"
for file in settings.db journal.db SMSLog.txt; do
  is "$file" "660 mvsms" "$(stat --format='%a %G' $home/$file)"
done
is "bert's services" "[]" "$(as bert mvsms service list --json)"
has "bert's folder" "State lies in /home/bert/.config/mvsms;" "$(as bert mvsms --help)"
as bert cat $home/settings.db >/dev/null 2>&1 && fail "bert reads the passwords"

echo "a disk that is full in the middle of the upgrade leaves the earlier version at work"
mvsms apply --export >/tmp/state-before
mount -t tmpfs -o size=4k none /usr/share/mvsms
if dpkg --install mvsms_*.deb >/tmp/dpkg.log 2>&1; then fail "the disk was not full"; fi
umount /usr/share/mvsms
has "the sentence" "No space left on device" "$(cat /tmp/dpkg.log)"
is "the version" "0.9.0-1 installed" "$(dpkg-query --show --showformat='${Version} ${db:Status-Status}' mvsms)"
mvsms apply --export | cmp - /tmp/state-before || fail "the earlier version does not work"

echo "an upgrade keeps what is set, what waits, and what runs"
sqlite3 $home/queue.db <older_queue.sql >/dev/null
chown mvsms:mvsms $home/queue.db
chmod 660 $home/queue.db
install mvsms_*.deb libmvsms1_*.deb libmvsms-dev_*.deb
mvsms apply --export >/tmp/state-after
cmp /tmp/state-before /tmp/state-after || fail "the upgrade changed the settings"
has "a page of before" "the line is busy" "$(as anna mvsms queue show A1 --json)"
is "the queue's format" 3 "$(sqlite3 $home/queue.db 'PRAGMA user_version')"
as anna mvsms queue cancel A1 || fail "a page of before cannot be cancelled"
as anna mvsms send --to 0172 --quiet "Pump 6 has stopped" || fail "a send to the centre of the old package"
stop_centre
shopt -s nullglob
gateway=(mvsms-gateway_*.deb)
shopt -u nullglob
said=$(as anna mvsms serve --http 127.0.0.1:0 2>&1) && fail "served without a gateway"
has "the sentence" "this needs mvsms-gateway, which is a package of its own" "$said"
code=0
as anna mvsms mail 0172@pager <<<"Subject: x" 2>/dev/null || code=$?
is "what the mail system is told" 75 "$code"
is "sends in the journal" 4 "$(mvsms journal --json | grep --count '"outcome": *"accepted"')"

echo "the hub's part, a package of its own"
said=$(as anna mvsms hub status --at host=/nowhere 2>&1) && fail "a hub without its part"
has "the sentence" "install the package mvsms-hub" "$said"
install mvsms-hub_*.deb
said=$(as anna mvsms hub status --at host=/nowhere 2>&1) && fail "a hub that is nowhere"
has "the sentence" "The hub cannot be used: " "$said"

if [ ${#gateway[@]} -gt 0 ]; then
  echo "the gateway, a package of its own"
  install "${gateway[@]}"
  : >/tmp/serve
  as anna mvsms serve --http 127.0.0.1:0 >>/tmp/serve &
  serve=$!
  until grep --quiet Serving /tmp/serve; do sleep 0.1; done
  has "where it serves" '^Serving http://127\.0\.0\.1:[0-9]+$' "$(cat /tmp/serve)"
  kill $serve 2>/dev/null && wait $serve || true
  as anna mvsms mail --quiet 0172@pager <<<"Subject: Pump 7 has stopped" || fail "mail"
  has "the page of a mail" "Pump 7" "$(mvsms queue list)"
fi

echo "the demonstration, the pages, the completions"
as anna mvsms demo >/tmp/demo 2>&1 || { cat /tmp/demo >&2; fail "demo"; }
for page in mvsms mvsms-send mvsms-centre; do
  man --where $page >/dev/null || fail "no page $page"
done
has "the page" "MVSMS_HOME" "$(man mvsms)"
completed=$(as anna bash --norc -c '. /usr/share/bash-completion/bash_completion
  _completion_loader mvsms
  COMP_WORDS=(mvsms send --service P) COMP_CWORD=3; _mvsms mvsms P --service
  echo "${COMPREPLY[@]}"')
is "the completion" Pager "$completed"

echo "the pieces for the system"
logrotate --force /etc/logrotate.d/mvsms --state /tmp/rotated || fail "logrotate"
is "the new log" "660 mvsms mvsms" "$(stat --format='%a %U %G' $home/SMSLog.txt)"
is "the old log" yes "$([ -s $home/SMSLog.txt.1 ] && echo yes)"
for name in mvsms-centre mvsms-worker mvsms-heartbeat ${gateway:+mvsms-serve}; do
  unit=$(find /lib/systemd/system -name $name.service)
  systemd-analyze security --offline=yes --threshold=49 "$unit" >/dev/null || fail "the hardening of $name"
  is "what systemd says of $name" "" "$(systemd-analyze verify "$unit" 2>&1 | grep mvsms || true)"
done
if udevadm verify --help >/dev/null 2>&1; then
  udevadm verify --no-summary "$(find /lib/udev -name '*mvsms.rules')" || fail "the rule"
fi

echo "settings of a newer version are refused, and left as they are"
cp -p $home/settings.db /tmp/settings.db
sqlite3 $home/settings.db 'PRAGMA user_version = 99'
sum=$(sha256sum <$home/settings.db)
code=0
said=$(mvsms send --to 0172 text 2>&1) || code=$?
is "the exit code" 78 "$code"
has "the sentence" "written by a newer version" "$said"
is "the refused file" "$sum" "$(sha256sum <$home/settings.db)"
cp -p /tmp/settings.db $home/settings.db

echo "removed, the state stays; purged, what is ours goes and nothing else"
dpkg --remove ${gateway:+mvsms-gateway} mvsms-hub mvsms >/dev/null 2>&1
is "the settings" yes "$([ -s $home/settings.db ] && echo yes)"
install mvsms_*.deb
has "the services after a new installation" Pager "$(mvsms service list)"
touch $home/backup-of-the-administrator
dpkg --purge libmvsms-dev libmvsms1 ${gateway:+mvsms-gateway} mvsms-hub mvsms >/dev/null 2>&1 </dev/null || fail "purge"
is "what is left" backup-of-the-administrator "$(ls $home)"
rm -r $home
picture >/tmp/after
diff /tmp/before /tmp/after || fail "the purge left something, or took something"

echo "the packages for other distributions have the same"
rpm --dbpath /tmp/rpm --install --nodeps ./*.rpm >/tmp/rpm.log 2>&1 || { cat /tmp/rpm.log >&2; fail "rpm"; }
is "the version" "$(rpm --dbpath /tmp/rpm --query --queryformat '%{VERSION}' mvsms)" \
  "$(mvsms --version | cut -d' ' -f2)"
for file in /usr/lib64/libmvsms.so.1 /usr/lib/sysusers.d/mvsms.conf /etc/logrotate.d/mvsms \
    /usr/share/man/man1/mvsms.1; do
  [ -e $file ] || [ -e $file.gz ] || fail "no $file in the RPM packages"
done
rpm --dbpath /tmp/rpm --erase --nodeps libmvsms-devel libmvsms1 ${gateway:+mvsms-gateway} mvsms-hub mvsms 2>/tmp/rpm.log || fail "rpm --erase"
echo "all is well"
