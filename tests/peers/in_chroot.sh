# in_chroot.sh [NAME...]: what run.sh runs in the chroot, or of it hylafax, kannel: each program with the
# configuration that its package brings, which is told no more than where the centre is. The proof is
# what the centre says that it took.
set -euo pipefail
export MVSMS_HOME=/tmp/home
mkdir -p /tmp/run "$MVSMS_HOME"
cd /tmp/run

step() { printf '\n-- %s\n' "$*"; }
fail() { echo "FAILED: $*" >&2; tail -n 60 ./*.log /var/spool/hylafax/log/c* >&2 || true; exit 1; }

# await LINE FILE: the line comes within a minute.
await() {
  local deadline=$((SECONDS + 60))
  until grep --quiet --line-regexp "$1" "$2" 2>/dev/null; do
    [ $SECONDS -lt $deadline ] || fail "no line \"$1\" in $2"
    sleep 0.2
  done
  grep --line-regexp "$1" "$2"
}

# retry COMMAND...: again and again until it succeeds, for a minute.
retry() {
  local deadline=$((SECONDS + 60))
  until "$@" 2>/dev/null; do
    [ $SECONDS -lt $deadline ] || fail "$*"
    sleep 0.2
  done
}

listens() { (exec 3<>"/dev/tcp/127.0.0.1/$1"); }

# offer NAME OPTION...: starts a centre; $place is where it listens.
offer() {
  mvsms centre --trace "${@:2}" >"$1.log" 2>&1 &
  await 'Listening on .*' "$1.log" >/dev/null
  place=$(sed --quiet 's/^Listening on //p' "$1.log")
}

# page_by_hylafax JOB PROTOCOL PROVIDER PIN LINE: with one modem, of a prototype that the package has. A
# pseudo-terminal has no parity, so the provider is one that wants none.
page_by_hylafax() {
  local job=$1
  shift
  offer "$1" --pty --protocol "$1"
  local spool=/var/spool/hylafax modem=${place#/dev/}
  modem=${modem/\//_}
  cp "$spool/config/class1" "/etc/hylafax/config.$modem"
  printf 'pagingProtocol:"%s"\npagerTTYParity:"none"\n' "${1/tap/ixo}" >"$spool/info/$2"
  faxq
  retry faxmodem "$modem"
  FAXUSER=uucp sendpage -h localhost:444 -p "$3" "Pump 3 has stopped" || fail sendpage
  await "$4" "$1.log"
  await 'state:7' "$spool/doneq/q$job" >/dev/null  # done, as HylaFAX sees it
  start-stop-daemon --stop --quiet --retry 10 --exec /usr/sbin/faxq
  rm "/etc/hylafax/config.$modem"
}

try_hylafax() {
  step "HylaFAX: pagesend over TAP and UCP"
  mount --bind /etc/hylafax /var/spool/hylafax/etc
  touch /var/log/xferfaxlog
  echo localhost >>/etc/hylafax/hosts.hfaxd
  printf '0171.* 0190111111/&\n0172.* 0190222222/&\n' >/etc/hylafax/pagermap
  hfaxd -i 4559 -s 444
  retry listens 444
  page_by_hylafax 1 tap 0190111111 01711234567 \
    'TAP  page  01711234567  "Pump 3 has stopped"  accepted'
  page_by_hylafax 2 ucp 0190222222 01721234567 \
    'UCP  30  01721234567  "Pump 3 has stopped"  accepted'
}

try_kannel() {
  step "Kannel: a text with a notification, UCS-2 and binary over UCP, with a login"
  offer kannel --tcp 0 --protocol ucp --set login-required=on --set password=geheim
  sed 's/^box-deny-ip/smsbox-port = 13001\n&/' /etc/kannel/kannel.conf >kannel.conf
  cat >>kannel.conf <<END

group = smsc
smsc = emi
host = ${place%:*}
port = ${place#*:}
smsc-username = 4711
smsc-password = geheim

group = smsbox
bearerbox-host = 127.0.0.1
sendsms-port = 13013

group = sendsms-user
username = user
password = pass
END
  mkdir -p /var/log/kannel
  bearerbox kannel.conf >bearerbox.log 2>&1 &
  await 'UCP  60  from 4711  accepted' kannel.log
  retry listens 13001
  smsbox kannel.conf >smsbox.log 2>&1 &
  retry listens 13013
  send_by_kannel() {
    curl --silent --show-error --fail --get http://127.0.0.1:13013/cgi-bin/sendsms \
      --data username=user --data password=pass --data to=00491711234567 --data from=4711 \
      --data charset=UTF-8 "$@" || fail sendsms
    echo
  }
  send_by_kannel --data-urlencode 'text=Pump 3 has stopped [1] €' --data dlr-mask=3 \
    --data-urlencode dlr-url=http://127.0.0.1:9/
  send_by_kannel --data coding=2 --data-urlencode 'text=Насос 3'
  send_by_kannel --data coding=1 --data text=bin --data udh=%06%05%04%15%8A%00%00
  local from='UCP  51  00491711234567  from 4711 '
  await "$from \"Pump 3 has stopped \[1\] €\"  accepted" kannel.log
  await "$from \"Насос 3\"  accepted" kannel.log
  await "$from binary 62696E  accepted" kannel.log
  await 'UCP  53  4711  from 00491711234567  "Message for .* has been delivered on .*"  accepted' kannel.log
}

[ $# -gt 0 ] || set -- hylafax kannel
for name in "$@"; do "try_$name"; done
step "All have paged"
