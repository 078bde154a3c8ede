#!/usr/bin/env bash
# run.sh MVSMS [NAME...]: the command of that path with the programs that it is made for (integrations/), as Debian
# has them, in a chroot of this machine's release: in_chroot.sh is what happens there. Needs root; the
# chroot's base is kept in the user's cache folder. Nothing in it needs systemd.
set -euo pipefail
commands=("$(realpath "$1")" "$(dirname "$(realpath "$1")")/mvsms-gateway")
cd "$(dirname "$0")/../.."
. scripts/packages.sh
. scripts/chroots.sh

programs=(cron curl hylafax-client icinga2-bin libnet-snpp-perl nagios4-core postfix
          prometheus-alertmanager python3 systemd zabbix-agent)

chroot_with integrations "${programs[@]}"
cp --recursive integrations tests/integrations/in_chroot.sh "$root/root"
enter_chroot "$root" /root bash in_chroot.sh "${@:2}"
