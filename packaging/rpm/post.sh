# The user, its group and the folder that the group shares.
if command -v systemd-sysusers >/dev/null; then systemd-sysusers mvsms.conf || :; fi
if command -v systemd-tmpfiles >/dev/null; then systemd-tmpfiles --create mvsms.conf || :; fi
