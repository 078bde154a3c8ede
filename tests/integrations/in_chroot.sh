# in_chroot.sh [NAME...]: what run.sh runs in the chroot, or of it snpp, postfix and so on: every folder of integrations/ put to its place as its README says,
# and an alarm given to the program. The proof is a page in the queue, with its recipient and text.
set -euo pipefail
export MVSMS_HOME=/var/lib/mvsms
mkdir -p /tmp/run
cd /tmp/run

step() { printf '\n-- %s\n' "$*"; }
fail() { echo "FAILED: $*" >&2; mvsms queue list >&2; tail -n 30 ./*.log nagios/nagios.log /var/log/postfix.log >&2 || true; exit 1; }

# await_page RECIPIENT TEXT: a page of this recipient, with this in its text, comes within half a minute.
await_page() {
  local deadline=$((SECONDS + 30))
  until mvsms queue list --json | python3 -c '
import json, sys
found = [p for p in json.load(sys.stdin) if p["recipient"] == sys.argv[1] and sys.argv[2] in p["text"]]
sys.exit(len(found) != 1)' "$1" "$2"; do
    [ $SECONDS -lt $deadline ] || fail "no page, or more than one, to $1 with \"$2\""
    sleep 0.3
  done
  echo "paged $1: $2"
}

# await_word WORD FILE
await_word() {
  local deadline=$((SECONDS + 30))
  until grep --quiet --extended-regexp "$1" "$2"; do
    [ $SECONDS -lt $deadline ] || fail "\"$1\" in $2"
    sleep 0.3
  done
}

begin() {
  useradd --system --home-dir /var/lib/mvsms mvsms
  install --directory --owner mvsms --group mvsms --mode 2770 /var/lib/mvsms
  usermod --append --groups mvsms nagios
  umask 0007
  mvsms modem add Net --kind tcp
  mvsms service add Pager PhoneNumber=127.0.0.1:9 ModemName=Net >/dev/null 2>&1
  mvsms config set DefaultModem Net
  mvsms config set DefaultService Pager
  mvsms group add night 0177
  mvsms serve --http 127.0.0.1:8026 --snpp 127.0.0.1:4444 >serve.log 2>&1 &
  await_word snpp:// serve.log
}

try_snpp() {
  step "SNPP: sendpage of HylaFAX, and Net::SNPP"
  sendpage -h 127.0.0.1:4444 -p 0101 "Pump 1 has stopped" >sendpage.log 2>&1 || fail "sendpage"
  await_page 0101 "Pump 1 has stopped"
  perl -MNet::SNPP -e '
    $snpp = Net::SNPP->new("127.0.0.1", Port => 4444) or die "no greeting";
    $snpp->send(Pager => ["0102", "night"], Message => "Pump 2", Alert => 1, Hold => time + 3600)
      or die $snpp->message;
    $snpp->reset or die;
    $snpp->pager_id("0103") or die $snpp->message;
    $snpp->data("first line\n", ".second\n") or die $snpp->message;
    $snpp->subject("Ward 7") or die;
    $snpp->send or die $snpp->message;
    $snpp->two_way and die "two-way was promised";
    $snpp->quit or die;' || fail "Net::SNPP"
  await_page 0102 "Pump 2"
  await_page 0177 "Pump 2"
  await_page 0103 "Ward 7: first line .second"
}

try_postfix() {
  step "Postfix: a page, an unknown recipient, a queue that is broken for a while"
  sed 's,argv=,argv=/usr/bin/env MVSMS_HOME=/var/lib/mvsms ,' /root/integrations/postfix/master.cf >>/etc/postfix/master.cf
  postconf -e 'transport_maps = inline:{pager.example=pager:}' 'relay_domains = pager.example' \
    'pager_destination_recipient_limit = 1' 'maillog_file = /var/log/postfix.log' \
    'myhostname = test.example' 'mydestination =' 'inet_interfaces = loopback-only' 'inet_protocols = ipv4'
  newaliases 2>/dev/null || true
  postfix start 2>&1 | grep -v starting || true
  printf 'Subject: Disk full\n\n93 %% used\n' | sendmail -f monitor@pager.example 0111@pager.example
  await_page 0111 "Disk full: 93 % used"
  printf 'Subject: x\n\nx\n' | sendmail -f '' nobody@pager.example
  await_word 'to=<nobody@pager.example>.*dsn=5\.1\.1.*status=bounced' /var/log/postfix.log

  chmod 000 /var/lib/mvsms/queue.db
  printf 'Subject: Later\n\nx\n' | sendmail -f monitor@pager.example 0112@pager.example
  await_word 'to=<0112@pager.example>.*dsn=4\.3\.0.*status=deferred' /var/log/postfix.log
  chmod 660 /var/lib/mvsms/queue.db
  postqueue -f
  await_page 0112 "Later: x"
  postfix stop 2>/dev/null || true
}

try_nagios() {
  step "Nagios: a service that fails at once"
  mkdir -p nagios/results
  cat >nagios/nagios.cfg <<'END'
cfg_file=/root/integrations/nagios/mvsms.cfg
cfg_file=/tmp/run/nagios/objects.cfg
log_file=/tmp/run/nagios/nagios.log
object_cache_file=/tmp/run/nagios/cache
status_file=/tmp/run/nagios/status
temp_file=/tmp/run/nagios/temp
temp_path=/tmp/run/nagios
check_result_path=/tmp/run/nagios/results
command_file=/tmp/run/nagios/command
lock_file=/tmp/run/nagios/lock
query_socket=/tmp/run/nagios/query
nagios_user=nagios
nagios_group=nagios
interval_length=1
service_inter_check_delay_method=n
host_inter_check_delay_method=n
illegal_macro_output_chars=`~$&|'"<>
enable_notifications=1
execute_service_checks=1
execute_host_checks=1
END
  cat >nagios/objects.cfg <<'END'
define timeperiod {
  timeperiod_name always
  alias always
  monday 00:00-24:00
  tuesday 00:00-24:00
  wednesday 00:00-24:00
  thursday 00:00-24:00
  friday 00:00-24:00
  saturday 00:00-24:00
  sunday 00:00-24:00
}
define command {
  command_name up
  command_line /bin/true
}
define contact {
  contact_name duty
  pager 0121
  service_notification_period always
  host_notification_period always
  service_notification_options w,u,c,r
  host_notification_options d,r
  service_notification_commands notify-service-by-mvsms
  host_notification_commands notify-host-by-mvsms
}
define host {
  host_name db-1
  address 127.0.0.1
  check_command up
  max_check_attempts 1
  check_period always
  notification_period always
  notification_interval 0
  contacts duty
}
define service {
  host_name db-1
  service_description paging
  check_command check_mvsms
  max_check_attempts 1
  check_interval 2
  retry_interval 2
  check_period always
  notification_period always
  notification_interval 0
  contacts duty
}
END
  chown -R nagios nagios
  chmod 755 /root /tmp/run
  nagios4 -v nagios/nagios.cfg >nagios.log || fail "Nagios' configuration"
  runuser -u nagios -- env MVSMS_HOME=$MVSMS_HOME nagios4 nagios/nagios.cfg >nagios.log 2>&1 &
  local nagios=$!
  # No worker runs here: the check of mvSMS itself is the alarm.
  await_page 0121 "PROBLEM db-1 paging CRITICAL"
  kill $nagios
  wait $nagios || true
}

try_icinga() {
  step "Icinga 2: a host that is down"
  mkdir -p icinga
  cat >icinga/icinga2.conf <<'END'
include <itl>
const ZoneName = "master"
include "/root/integrations/icinga2/mvsms.conf"
object CheckerComponent "checker" { }
object NotificationComponent "notification" { }
object User "duty" { pager = "0131" }
object Endpoint NodeName { }
object Zone "master" { endpoints = [ NodeName ] }
object Host "db-2" {
  check_command = "dummy"
  vars.dummy_state = 2
  vars.dummy_text = "no answer; `id` | 'quoted'"
  max_check_attempts = 1
  check_interval = 1s
}
object Notification "pager" {
  import "mvsms-host"
  host_name = "db-2"
  users = [ "duty" ]
}
END
  chmod -R o+rX icinga
  mkdir -p /run/icinga2/cmd && chown -R nagios /run/icinga2 /var/lib/icinga2 /var/cache/icinga2 /var/log/icinga2
  local -a daemon=(env MVSMS_HOME=$MVSMS_HOME icinga2 daemon --config /tmp/run/icinga/icinga2.conf)
  "${daemon[@]}" -C >icinga.log 2>&1 || fail "Icinga's configuration"
  "${daemon[@]}" >icinga.log 2>&1 &
  local icinga=$!
  await_page 0131 "PROBLEM db-2 DOWN: no answer;"
  kill $icinga
  wait $icinga || true
}

try_alertmanager() {
  step "Alertmanager: an alert through its webhook"
  local status
  status=$(curl --silent --output /dev/null --write-out '%{http_code}' --data '{}' http://127.0.0.1:8026/v1/alertmanager)
  if [ "$status" = 404 ]; then echo "not served"; return; fi
  sed 's/01711234567/0141/; s/group_wait: .*/group_wait: 0s/' /root/integrations/alertmanager/alertmanager.yml >am.yml
  prometheus-alertmanager --config.file=am.yml --storage.path=am --web.listen-address=127.0.0.1:9093 \
    --cluster.listen-address= >am.log 2>&1 &
  local manager=$!
  await_word 'Listening on|listening' am.log
  curl --silent --fail --header 'Content-Type: application/json' http://127.0.0.1:9093/api/v2/alerts --data \
    '[{"labels":{"alertname":"DiskFull","instance":"db-3"},"annotations":{"summary":"Disk full on db-3"}}]'
  await_page 0141 "db-3"
  kill $manager
  wait $manager || true
}

try_scripts() {
  step "Zabbix, netdata, cron, systemd: their scripts and units"
  sh /root/integrations/zabbix/mvsms-page 0151 "Problem: db-4" "-1 % free on db-4"
  await_page 0151 "-1 % free on db-4"
  printf 'Include=/root/integrations/zabbix/mvsms.conf\nHostname=db-4\n' >agent.conf
  zabbix_agentd --config agent.conf --test mvsms.waiting >agent.log
  grep --quiet --extended-regexp '\[[a-z]\|[1-9][0-9]*\]' agent.log || fail "Zabbix' item: $(<agent.log)"
  zabbix_agentd --config agent.conf --test mvsms.check >agent.log
  grep --quiet 'MVSMS CRITICAL: no worker is running' agent.log || fail "Zabbix' item: $(<agent.log)"
  (
    declare -A role_recipients_custom
    . /root/integrations/netdata/health_alarm_notify.conf
    status=CRITICAL host=db-5 name=ram_in_use value_string=99%
    custom_sender "0152 0153"
    status=WARNING custom_sender 0154
  )
  await_page 0152 "CRITICAL db-5 ram-in-use 99%"
  await_page 0153 "CRITICAL db-5 ram-in-use 99%"
  local code=0
  for again in 1 2; do
    sh /root/integrations/cron/page-on-failure 0155 /bin/sh -c "exit 7" || code=$?
    [ $code = 7 ] || fail "the job's exit code: $code"
  done
  await_page 0155 "sh failed with exit code 7"
  sh /root/integrations/cron/page-on-failure 0155 true || fail "a job that is well"
  cp /root/integrations/systemd/mvsms-page@.service /etc/systemd/system
  local said
  said=$(systemd-analyze verify mvsms-page@backup.service 2>&1 | grep mvsms | grep -v 'mvsms-page' || true)
  [ -z "$said" ] || fail "systemd says: $said"
}

begin
[ $# -gt 0 ] || set -- snpp postfix nagios icinga alertmanager scripts
for name in "$@"; do "try_$name"; done
kill %1
wait || true
step "All integrations page"
